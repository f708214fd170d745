// The entity cursor of a release 12 drawing: entity ids, the walk over the main section
// and the block lists, and the codes it leaves.
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <vector>

namespace velko_test {
namespace walk {
namespace {

// ---- Entity ids -------------------------------------------------------------------------

TEST(WalkEntityId, MainSectionPacksAs0x4000) {
    EXPECT_EQ(CDBPackEntityId(-1, 7), 0x40000007);
    uint16_t position = 0;
    int16_t block = 0;
    EXPECT_EQ(CDBUnpackEntityId(0x40000007, &position, &block), 0);
    EXPECT_EQ(position, 7);
    EXPECT_EQ(block, -1);
}

TEST(WalkEntityId, NegativeBlockOtherThanMinusOneFails) {
    EXPECT_EQ(CDBPackEntityId(-2, 7), CDB_FAIL);
    EXPECT_EQ(CDBPackEntityId(-32768, 0), CDB_FAIL);
}

TEST(WalkEntityId, BlockNumberIsStoredAsItStands) {
    EXPECT_EQ(CDBPackEntityId(3, 9), 0x00030009);
    EXPECT_EQ(CDBPackEntityId(0, 0xFFFF), 0x0000FFFF);
    uint16_t position = 0;
    int16_t block = 0;
    EXPECT_EQ(CDBUnpackEntityId(0x00030009, &position, &block), 0);
    EXPECT_EQ(position, 9);
    EXPECT_EQ(block, 3);
}

TEST(WalkEntityId, BlockNumbersFrom0x4000ReadAsTheMainSection) {
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(0x40010005, &position, &block);
    EXPECT_EQ(block, -1);
    EXPECT_EQ(position, 5);
    CDBUnpackEntityId(0x7FFF0001, &position, &block);
    EXPECT_EQ(block, -1);
    CDBUnpackEntityId(0x3FFF0002, &position, &block);
    EXPECT_EQ(block, 0x3FFF);
    EXPECT_EQ(position, 2);
}

// ---- The walk -----------------------------------------------------------------------------

// Main section: a line, a circle, a text. Block 0 "A": a line. Block 1 "GONE": deleted.
// Block 2 "C": a circle.
Bytes CursorDrawing() {
    Bytes main = Join({Line(1, 2, 3, 4), Circle(5, 6, 2.5), Text(7, 8, 0.5, "HELLO")});
    std::vector<BlockDef> blocks = {
        {"A", 0, Join({BlockBegin(), Line(0, 0, 1, 1), BlockEnd()})},
        {"GONE", 0x80, {}},
        {"C", 0, Join({BlockBegin(), Circle(0, 0, 1), BlockEnd()})},
    };
    return BuildDrawing(main, blocks);
}

class WalkCursor : public testing::Test {
protected:
    OpenDrawing d{"cursor.dwg", CursorDrawing()};
};

TEST_F(WalkCursor, MainWalkEndsWithTheSentinel) {
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    EXPECT_EQ(WalkKinds(d.handle, -1),
              (std::vector<int>{CDB_LINE, CDB_CIRCLE, CDB_TEXT, CDB_ENDBLK}));
    EXPECT_EQ(CDBEntityCount(d.handle, -1), 4);
}

TEST_F(WalkCursor, IdsPackTheMainSectionAndThePosition) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    EXPECT_EQ(CDBNextEntity(d.handle), 0x40000001);
    EXPECT_EQ(CDBNextEntity(d.handle), 0x40000002);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000002);
    EXPECT_EQ(Val(r.entity_type), CDB_TEXT);
    FreeCopies(r);
}

TEST_F(WalkCursor, CurrentEntityFillsTheRecord) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000000);
    EXPECT_EQ(Val(r.entity_type), CDB_LINE);
    EXPECT_EQ(Val(r.line.start_point.x), 1.0);
    EXPECT_EQ(Val(r.line.start_point.y), 2.0);
    EXPECT_EQ(Val(r.line.end_point.x), 3.0);
    EXPECT_EQ(Val(r.line.end_point.y), 4.0);
    EXPECT_EQ(Val(r.color), -1);
    EXPECT_EQ(Val(r.layer_index), 0);

    r = NewRecord();
    ASSERT_EQ(CDBGetNextEntity(d.handle, &r), 0x40000001);
    EXPECT_EQ(Val(r.entity_type), CDB_CIRCLE);
    EXPECT_EQ(Val(r.circle.center.x), 5.0);
    EXPECT_EQ(Val(r.circle.radius), 2.5);
}

TEST_F(WalkCursor, ANewDrawingStandsOnItsFirstEntity) {
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000000);
    EXPECT_EQ(Val(r.entity_type), CDB_LINE);
    FreeCopies(r);
}

TEST_F(WalkCursor, PastTheEndTheWalkStaysPastTheEnd) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBGotoEntity(d.handle, 0x40000003), 3); // the sentinel
    EXPECT_EQ(CDBNextEntity(d.handle), CDB_END_OF_WALK);
    EXPECT_EQ(CDBNextEntity(d.handle), CDB_END_OF_WALK);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetNextEntity(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(Val(r.entity_type), 0) << "the record is not filled past the end";
    // -133 is the end of a walk, not an error: no code is stored.
    EXPECT_EQ(CDBGetErrorNumber(d.handle), 0);
    // A new walk starts over.
    EXPECT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
}

TEST_F(WalkCursor, GetEntityLeavesTheCursorWhereItIs) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetEntity(d.handle, 0x40000002, &r), 2);
    EXPECT_EQ(Val(r.entity_type), CDB_TEXT);
    ASSERT_NE(Val(r.text.text), nullptr);
    EXPECT_STREQ(r.text.text, "HELLO");
    FreeCopies(r);
    r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000000);
    EXPECT_EQ(Val(r.entity_type), CDB_LINE);
}

TEST_F(WalkCursor, TextsOfTheRecordAreTheCallersOwnCopies) {
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY a = NewRecord(), b = NewRecord();
    ASSERT_EQ(CDBGetEntity(d.handle, 0x40000002, &a), 2);
    ASSERT_EQ(CDBGetEntity(d.handle, 0x40000002, &b), 2);
    ASSERT_NE(Val(a.text.text), nullptr);
    ASSERT_NE(Val(b.text.text), nullptr);
    EXPECT_NE(Val(a.text.text), Val(b.text.text));
    EXPECT_STREQ(a.text.text, b.text.text);
    FreeCopies(a);
    FreeCopies(b);
}

TEST_F(WalkCursor, GetEntityOutsideTheListFails) {
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetEntity(d.handle, 0x40000009, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_ENTITY_NOT_FOUND);
    EXPECT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(7, 0), &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_BLOCK_NOT_FOUND);
}

TEST_F(WalkCursor, GotoEntityMovesTheCursor) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBGotoEntity(d.handle, 0x40000001), 1);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000001);
    EXPECT_EQ(Val(r.entity_type), CDB_CIRCLE);
    // Into a block, and a position outside a list.
    EXPECT_EQ(CDBGotoEntity(d.handle, CDBPackEntityId(2, 1)), 1);
    r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), CDBPackEntityId(2, 1));
    EXPECT_EQ(Val(r.entity_type), CDB_ENDBLK);
    EXPECT_EQ(CDBGotoEntity(d.handle, 0x40000004), CDB_FAIL);
    EXPECT_EQ(CDBGotoEntity(d.handle, CDBPackEntityId(9, 0)), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_BLOCK_NOT_FOUND);
}

TEST_F(WalkCursor, BlockListsHoldTheirEntitiesAndTheEndFrame) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBFirstEntity(d.handle, 0), 0x00000000);
    EXPECT_EQ(CDBNextEntity(d.handle), 0x00000001);
    EXPECT_EQ(CDBNextEntity(d.handle), CDB_END_OF_WALK);
    EXPECT_EQ(WalkKinds(d.handle, 0), (std::vector<int>{CDB_LINE, CDB_ENDBLK}));
    EXPECT_EQ(WalkKinds(d.handle, 2), (std::vector<int>{CDB_CIRCLE, CDB_ENDBLK}));
    EXPECT_EQ(CDBEntityCount(d.handle, 0), 2);
    EXPECT_EQ(CDBEntityCount(d.handle, 2), 2);
    EXPECT_EQ(CDBFirstEntity(d.handle, 2), 0x00020000);
}

TEST_F(WalkCursor, EachListKeepsItsOwnPosition) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    ASSERT_EQ(CDBNextEntity(d.handle), 0x40000001);
    ASSERT_EQ(CDBFirstEntity(d.handle, 0), 0);
    ASSERT_EQ(CDBNextEntity(d.handle), 1);
    // Back to the main section by its id: the block's list stays on its position.
    ASSERT_EQ(CDBGotoEntity(d.handle, 0x40000001), 1);
    EXPECT_EQ(CDBNextEntity(d.handle), 0x40000002);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(0, 1), &r), 1);
    EXPECT_EQ(Val(r.entity_type), CDB_ENDBLK);
}

TEST_F(WalkCursor, FirstEntityOfADeletedBlockEndsWithEntityNotFound) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBFirstEntity(d.handle, 1), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_ENTITY_NOT_FOUND);
    // The cursor stands on the deleted block: the next steps end too.
    EXPECT_EQ(CDBNextEntity(d.handle), CDB_END_OF_WALK);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(CDBEntityCount(d.handle, 1), 0);
    EXPECT_EQ(CDBGotoEntity(d.handle, CDBPackEntityId(1, 0)), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(1, 0), &r), CDB_END_OF_WALK);
}

TEST_F(WalkCursor, BlockNumberWithoutABlock) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBFirstEntity(d.handle, 3), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBFirstEntity(d.handle, -5), CDB_END_OF_WALK);
    EXPECT_EQ(CDBEntityCount(d.handle, 3), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_BLOCK_NOT_FOUND);
}

TEST(WalkCursorBadHandle, EveryCallFailsWithInvalidDrawingHandle) {
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBFirstEntity(300, -1), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(-123), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBNextEntity(-1), CDB_FAIL);
    EXPECT_EQ(CDBGetCurrentEntity(256, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetNextEntity(256, &r), CDB_FAIL);
    EXPECT_EQ(CDBEntityCount(256, -1), CDB_FAIL);
    EXPECT_EQ(CDBGotoEntity(256, 0x40000000), CDB_FAIL);
    EXPECT_EQ(CDBGetEntity(256, 0x40000000, &r), CDB_FAIL);
    EXPECT_EQ(CDBNavigate(256, &r), CDB_FAIL);
}

TEST(WalkCursorEmpty, ADrawingWithoutEntitiesHoldsOnlyTheSentinel) {
    OpenDrawing d("empty.dwg", BuildDrawing({}));
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBEntityCount(d.handle, -1), 1);
    EXPECT_EQ(WalkKinds(d.handle, -1), (std::vector<int>{CDB_ENDBLK}));
}

// A list longer than 32767 entities: the low half of the id, read as a signed number,
// turns negative there, and CDBGetNextEntity ends the walk with it.
TEST(WalkCursorLong, GetNextEntityEndsWhereThePositionTurnsNegative) {
    Bytes main;
    const int n = 32800;
    Bytes one = SeqEnd();
    main.reserve(one.size() * n);
    for (int i = 0; i < n; ++i)
        append_bytes(main, one);
    OpenDrawing d("long.dwg", BuildDrawing(main));
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBEntityCount(d.handle, -1), 32767);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_ENTITY r = NewRecord();
    long delivered = 1;
    int32_t last = 0;
    for (;;) {
        last = CDBGetNextEntity(d.handle, &r);
        if (last < 0)
            break;
        ++delivered;
        ASSERT_LT(delivered, 40000);
    }
    EXPECT_EQ(delivered, 32768);
    EXPECT_EQ(last, -32768);
}

} // namespace
} // namespace walk
} // namespace velko_test
