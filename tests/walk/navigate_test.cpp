// CDBNavigate: the display walk that follows inserts into their blocks and steps over
// what the filters hide, with its process-wide return stack and its bounds.
#include "walk/walk_support.h"

#include "model/navigate_stack.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velko_test {
namespace walk {
namespace {

struct Step {
    int16_t result;
    int kind;
    double x; // a coordinate that tells the entities apart
};

double KeyOf(const CDB_ENTITY &r) {
    switch (r.entity_type) {
    case CDB_LINE:
        return r.line.start_point.x;
    case CDB_CIRCLE:
        return r.circle.center.x;
    case CDB_TEXT:
        return r.text.insertion_point.x;
    case CDB_VERTEX:
        return r.vertex.location.x;
    case CDB_ATTRIB:
        return r.attrib.insertion_point.x;
    default:
        return 0;
    }
}

// CDBNavigate until -133 (at most `limit` calls); the steps before the end.
std::vector<Step> Navigate(int16_t h, int16_t *end = nullptr, int limit = 1000) {
    std::vector<Step> steps;
    CDB_ENTITY r = NewRecord();
    for (int i = 0; i < limit; ++i) {
        r = NewRecord();
        int16_t result = CDBNavigate(h, &r);
        if (result < 0) {
            if (end)
                *end = result;
            return steps;
        }
        steps.push_back({result, r.entity_type, KeyOf(r)});
        FreeCopies(r);
    }
    ADD_FAILURE() << "no end after " << limit << " calls";
    return steps;
}

std::vector<int> Kinds(const std::vector<Step> &steps) {
    std::vector<int> kinds;
    for (const Step &s : steps)
        kinds.push_back(s.kind);
    return kinds;
}

std::vector<double> Keys(const std::vector<Step> &steps) {
    std::vector<double> keys;
    for (const Step &s : steps)
        keys.push_back(s.x);
    return keys;
}

class WalkNavigate : public testing::Test {
protected:
    void SetUp() override { ResetNavigateStack(); }
    void TearDown() override { ResetNavigateStack(); }
};

TEST_F(WalkNavigate, InsertsAreFollowedIntoTheirBlocks) {
    // Main: line 1, insert of block 0, circle 4. Block 0: text 2, line 3.
    std::vector<BlockDef> blocks = {
        {"B", 0, Join({BlockBegin(), Text(2, 0, 1, "IN"), Line(3, 0, 4, 0), BlockEnd()})}};
    OpenDrawing d("nav.dwg",
                  BuildDrawing(Join({Line(1, 0, 2, 0), Insert(0, 0, 0), Circle(4, 0, 1)}), blocks));
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    int16_t end = 0;
    std::vector<Step> steps = Navigate(d.handle, &end);
    EXPECT_EQ(end, CDB_END_OF_WALK);
    EXPECT_EQ(Kinds(steps), (std::vector<int>{CDB_LINE, CDB_TEXT, CDB_LINE, CDB_CIRCLE}));
    EXPECT_EQ(Keys(steps), (std::vector<double>{1, 2, 3, 4}));
    // The result is the low half of the id: the position in the list the entity is in.
    ASSERT_EQ(steps.size(), 4u);
    EXPECT_EQ(steps[0].result, 0);
    EXPECT_EQ(steps[1].result, 0);
    EXPECT_EQ(steps[2].result, 1);
    EXPECT_EQ(steps[3].result, 2);
    EXPECT_EQ(NavigateStackDepth(), 0u);
    // At the end the walk stays ended.
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBNavigate(d.handle, &r), CDB_END_OF_WALK);
}

TEST_F(WalkNavigate, NestedInsertsComeBackToWhereTheyLeft) {
    // Block 0: line 10. Block 1: line 20, insert of block 0, line 21. Main: insert of
    // block 1, line 30, insert of block 0.
    std::vector<BlockDef> blocks = {
        {"INNER", 0, Join({BlockBegin(), Line(10, 0, 0, 0), BlockEnd()})},
        {"OUTER", 0,
         Join({BlockBegin(), Line(20, 0, 0, 0), Insert(0, 0, 0), Line(21, 0, 0, 0), BlockEnd()})},
    };
    OpenDrawing d(
        "nested.dwg",
        BuildDrawing(Join({Insert(1, 0, 0), Line(30, 0, 0, 0), Insert(0, 0, 0)}), blocks));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    std::vector<Step> steps = Navigate(d.handle);
    EXPECT_EQ(Keys(steps), (std::vector<double>{20, 10, 21, 30, 10}));
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

TEST_F(WalkNavigate, AHiddenPolylineTakesItsVerticesAlong) {
    LayerRec off;
    off.name = "OFF";
    off.color = -1;
    // The polyline stands on the off layer, its vertices and its end on layer "0".
    Bytes main = Join(
        {Line(1, 0, 0, 0), Polyline(1), Vertex(2, 0), Vertex(3, 0), SeqEnd(), Circle(4, 0, 1)});
    OpenDrawing d("pline.dwg", BuildDrawing(main, {}, {off}));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Kinds(Navigate(d.handle)), (std::vector<int>{CDB_LINE, CDB_POLYLINE, CDB_VERTEX,
                                                           CDB_VERTEX, CDB_SEQEND, CDB_CIRCLE}));
    ASSERT_EQ(CDBLayerFilter(d.handle, 1), 1);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    std::vector<Step> steps = Navigate(d.handle);
    EXPECT_EQ(Kinds(steps), (std::vector<int>{CDB_LINE, CDB_CIRCLE}));
    EXPECT_EQ(Keys(steps), (std::vector<double>{1, 4}));
}

TEST_F(WalkNavigate, AHiddenLastVertexTakesTheEndAlong) {
    LayerRec off;
    off.name = "OFF";
    off.color = -1;
    // Only the last vertex stands on the off layer: the kind 17 behind it goes with it.
    Bytes main = Join({Polyline(), Vertex(2, 0), Vertex(3, 0, 1), SeqEnd(), Circle(4, 0, 1)});
    OpenDrawing d("pline_last.dwg", BuildDrawing(main, {}, {off}));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBLayerFilter(d.handle, 1), 1);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Kinds(Navigate(d.handle)), (std::vector<int>{CDB_POLYLINE, CDB_VERTEX, CDB_CIRCLE}));
}

TEST_F(WalkNavigate, HiddenAttributesAreSkippedUpToAndPastTheirEnd) {
    LayerRec off;
    off.name = "OFF";
    off.color = -7;
    std::vector<BlockDef> blocks = {{"B", 0, Join({BlockBegin(), Line(5, 0, 0, 0), BlockEnd()})}};
    Bytes main = Join({Insert(0, 0, 0, 0, true), Attrib(1, 0, "V1", "T1", 1),
                       Attrib(2, 0, "V2", "T2", 1), SeqEnd(), Circle(9, 0, 1)});
    OpenDrawing d("attribs.dwg", BuildDrawing(main, blocks, {off}));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Kinds(Navigate(d.handle)),
              (std::vector<int>{CDB_LINE, CDB_ATTRIB, CDB_ATTRIB, CDB_SEQEND, CDB_CIRCLE}));
    ASSERT_EQ(CDBLayerFilter(d.handle, 1), 1);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Keys(Navigate(d.handle)), (std::vector<double>{5, 9}));
}

TEST_F(WalkNavigate, HiddenEntitiesInsideABlock) {
    std::vector<BlockDef> blocks = {
        {"B", 0,
         Join({BlockBegin(), FrameBytes(CDB_CIRCLE).Space(1).Xy(5, 0).F64(1).Build(),
               Line(6, 0, 0, 0), BlockEnd()})}};
    OpenDrawing d("hidden_in_block.dwg",
                  BuildDrawing(Join({Insert(0, 0, 0), Line(7, 0, 0, 0)}), blocks));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBSpaceFilter(d.handle, 1), 1);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Keys(Navigate(d.handle)), (std::vector<double>{6, 7}));
}

TEST_F(WalkNavigate, AnInsertOfADeletedBlockEndsTheWalkThere) {
    std::vector<BlockDef> blocks = {{"GONE", 0x80, {}}};
    OpenDrawing d("deleted_insert.dwg",
                  BuildDrawing(Join({Line(1, 0, 0, 0), Insert(0, 0, 0), Circle(3, 0, 1)}), blocks));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    int16_t end = 0;
    std::vector<Step> steps = Navigate(d.handle, &end);
    EXPECT_EQ(end, CDB_END_OF_WALK);
    EXPECT_EQ(Keys(steps), (std::vector<double>{1}));
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_ENTITY_NOT_FOUND);
    // The insert's id stays on the shared stack, to pop into the next walk.
    EXPECT_EQ(NavigateStackDepth(), 1u);
}

TEST_F(WalkNavigate, ABlockThatInsertsItselfIsShownOnce) {
    std::vector<BlockDef> blocks = {{"SELF", 0,
                                     Join({BlockBegin(), Line(1, 0, 0, 0), Insert(0, 0, 0),
                                           Insert(0, 0, 0), Line(2, 0, 0, 0), BlockEnd()})}};
    OpenDrawing d("self.dwg", BuildDrawing(Join({Insert(0, 0, 0), Circle(3, 0, 1)}), blocks));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    int16_t end = 0;
    std::vector<Step> steps = Navigate(d.handle, &end);
    EXPECT_EQ(end, CDB_END_OF_WALK);
    EXPECT_EQ(Keys(steps), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

TEST_F(WalkNavigate, BlocksThatInsertEachOtherEnd) {
    std::vector<BlockDef> blocks = {
        {"A", 0, Join({BlockBegin(), Line(1, 0, 0, 0), Insert(1, 0, 0), BlockEnd()})},
        {"B", 0, Join({BlockBegin(), Line(2, 0, 0, 0), Insert(0, 0, 0), BlockEnd()})},
    };
    OpenDrawing d("mutual.dwg", BuildDrawing(Join({Insert(0, 0, 0), Insert(1, 0, 0)}), blocks));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    int16_t end = 0;
    EXPECT_EQ(Keys(Navigate(d.handle, &end)), (std::vector<double>{1, 2, 2, 1}));
    EXPECT_EQ(end, CDB_END_OF_WALK);
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

// Block i inserts block i - 1; block 0 holds a line. The main section inserts the top.
Bytes Chain(int depth) {
    std::vector<BlockDef> blocks;
    blocks.push_back({"B0", 0, Join({BlockBegin(), Line(7, 0, 0, 0), BlockEnd()})});
    for (int i = 1; i < depth; ++i) {
        blocks.push_back(
            {"B" + std::to_string(i), 0,
             Join({BlockBegin(), Insert(static_cast<int16_t>(i - 1), 0, 0), BlockEnd()})});
    }
    return BuildDrawing(Join({Insert(static_cast<int16_t>(depth - 1), 0, 0), Circle(8, 0, 1)}),
                        blocks);
}

TEST_F(WalkNavigate, NestingUpToTheLimitIsFollowed) {
    OpenDrawing d("chain.dwg", Chain(static_cast<int>(kNavigateMaxNesting)));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(Keys(Navigate(d.handle)), (std::vector<double>{7, 8}));
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

TEST_F(WalkNavigate, NestingBeyondTheLimitIsNotEntered) {
    OpenDrawing d("deep.dwg", Chain(static_cast<int>(kNavigateMaxNesting) + 8));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    int16_t end = 0;
    EXPECT_EQ(Keys(Navigate(d.handle, &end)), (std::vector<double>{8}));
    EXPECT_EQ(end, CDB_END_OF_WALK);
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

TEST_F(WalkNavigate, AWalkStoppedInsideABlockLeavesItsInsertOnTheSharedStack) {
    std::vector<BlockDef> blocks = {
        {"B", 0, Join({BlockBegin(), Line(1, 0, 0, 0), Line(2, 0, 0, 0), BlockEnd()})}};
    Bytes bytes = BuildDrawing(Join({Insert(0, 0, 0), Circle(3, 0, 1)}), blocks);
    OpenDrawing a("shared_a.dwg", bytes);
    OpenDrawing b("shared_b.dwg", bytes);
    ASSERT_GE(a.handle, 0);
    ASSERT_GE(b.handle, 0);
    ASSERT_EQ(CDBFirstEntity(a.handle, -1), 0x40000000);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBNavigate(a.handle, &r), 0);
    EXPECT_EQ(NavigateStackDepth(), 1u);
    // Drawing b's walk meets the stale id at the end of its main section and goes on
    // behind the insert it names: the circle comes twice.
    ASSERT_EQ(CDBFirstEntity(b.handle, -1), 0x40000000);
    EXPECT_EQ(Keys(Navigate(b.handle)), (std::vector<double>{1, 2, 3, 3}));
    EXPECT_EQ(NavigateStackDepth(), 0u);
}

TEST_F(WalkNavigate, AFreshDrawingIsWalkedFromItsFirstEntity) {
    OpenDrawing d("nav_fresh.dwg", BuildDrawing(Join({Line(1, 0, 0, 0), Circle(2, 0, 1)})));
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(Keys(Navigate(d.handle)), (std::vector<double>{1, 2}));
}

TEST_F(WalkNavigate, NullRecordFails) {
    OpenDrawing d("null.dwg", BuildDrawing(Line(0, 0, 1, 1)));
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBNavigate(d.handle, nullptr), CDB_FAIL);
}

TEST_F(WalkNavigate, AnEmptyDrawingEndsAtOnce) {
    OpenDrawing d("nav_empty.dwg", BuildDrawing({}));
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBNavigate(d.handle, &r), CDB_END_OF_WALK);
}

} // namespace
} // namespace walk
} // namespace velko_test
