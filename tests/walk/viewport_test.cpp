// The viewport chain, the services for a displaying client (PrepareForView,
// IsAnyPaperSpace), and extended data of an entity walked through the flat interface.
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace velko_test {
namespace walk {
namespace {

TEST(WalkViewport, NoViewportsGiveTheEndOfTheWalk) {
    OpenDrawing d("novp.dwg", BuildDrawing(Line(0, 0, 1, 1)));
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetFirstViewport(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetNextViewport(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(Val(r.entity_type), 0);
}

TEST(WalkViewport, TheChainInFileOrderThenTheEnd) {
    Bytes main = Join({Viewport(1, 2, 30, 20, 1), Line(0, 0, 1, 1), Viewport(5, 6, 10, 8, 2)});
    OpenDrawing d("vp.dwg", BuildDrawing(main));
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetFirstViewport(d.handle, &r), 0);
    EXPECT_EQ(Val(r.entity_type), CDB_VIEWPORT);
    EXPECT_EQ(Val(r.viewport.viewport_id), 1);
    EXPECT_EQ(Val(r.viewport.center.x), 1.0);
    EXPECT_EQ(Val(r.viewport.width), 30.0);
    EXPECT_EQ(Val(r.viewport.height), 20.0);
    r = NewRecord();
    ASSERT_EQ(CDBGetNextViewport(d.handle, &r), 0);
    EXPECT_EQ(Val(r.viewport.viewport_id), 2);
    EXPECT_EQ(Val(r.viewport.center.y), 6.0);
    r = NewRecord();
    EXPECT_EQ(CDBGetNextViewport(d.handle, &r), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetNextViewport(d.handle, &r), CDB_END_OF_WALK);
    // A new walk starts at the head.
    ASSERT_EQ(CDBGetFirstViewport(d.handle, &r), 0);
    EXPECT_EQ(Val(r.viewport.viewport_id), 1);
}

TEST(WalkViewport, TheViewportWalkLeavesTheEntityCursorAlone) {
    Bytes main = Join({Viewport(1, 2, 30, 20, 1), Line(7, 0, 1, 1), Viewport(5, 6, 10, 8, 2)});
    OpenDrawing d("vpcursor.dwg", BuildDrawing(main));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    ASSERT_EQ(CDBNextEntity(d.handle), 0x40000001);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetFirstViewport(d.handle, &r), 0);
    ASSERT_EQ(CDBGetNextViewport(d.handle, &r), 0);
    r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000001);
    EXPECT_EQ(Val(r.entity_type), CDB_LINE);
    EXPECT_EQ(Val(r.line.start_point.x), 7.0);
}

TEST(WalkViewport, AViewportWalkFirstLeavesTheEntityCursorAtTheStart) {
    Bytes main = Join({Line(7, 0, 1, 1), Viewport(5, 6, 10, 8, 2)});
    OpenDrawing d("vpfirst.dwg", BuildDrawing(main));
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetFirstViewport(d.handle, &r), 0);
    r = NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000000);
    EXPECT_EQ(Val(r.entity_type), CDB_LINE);
}

TEST(WalkViewport, AViewportInABlockJoinsTheChainBehindTheMainSection) {
    std::vector<BlockDef> blocks = {
        {"B", 0, Join({BlockBegin(), Viewport(9, 9, 1, 1, 3), BlockEnd()})}};
    OpenDrawing d("vpblock.dwg", BuildDrawing(Viewport(1, 1, 1, 1, 2), blocks));
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetFirstViewport(d.handle, &r), 0);
    EXPECT_EQ(Val(r.viewport.viewport_id), 2);
    ASSERT_EQ(CDBGetNextViewport(d.handle, &r), 0);
    EXPECT_EQ(Val(r.viewport.viewport_id), 3);
    EXPECT_EQ(CDBGetNextViewport(d.handle, &r), CDB_END_OF_WALK);
}

TEST(WalkViewport, BadHandle) {
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetFirstViewport(300, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(-123), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBGetNextViewport(-1, &r), CDB_FAIL);
}

// ---- The façade's services for a display ---------------------------------------------------

class TempDrawing {
public:
    TempDrawing(const std::string &name, const Bytes &bytes)
        : path_(::testing::TempDir() + "velko_walkvp_" + name) {
        EXPECT_TRUE(WriteFile(path_, bytes));
    }
    ~TempDrawing() { std::remove(path_.c_str()); }
    const char *c_str() const { return path_.c_str(); }

private:
    std::string path_;
};

TEST(WalkViewportFacade, PrepareForViewGivesOneAlsoWithoutEntities) {
    TempDrawing file("prepare.dwg", BuildDrawing({}));
    CLibDrawing lib(0);
    ASSERT_EQ(lib.OpenDrawing(file.c_str(), nullptr), 1);
    ASSERT_EQ(lib.LoadDWG(), 1);
    EXPECT_EQ(lib.PrepareForView(), 1);
    ASSERT_EQ(lib.TriggerLoading(), 1);
    EXPECT_EQ(lib.PrepareForView(), 1);
}

TEST(WalkViewportFacade, PaperSpaceIsNotedWhileReading) {
    TempDrawing model("model.dwg", BuildDrawing(Line(0, 0, 1, 1)));
    TempDrawing paper(
        "paper.dwg", BuildDrawing(Join({Line(0, 0, 1, 1),
                                        FrameBytes(CDB_CIRCLE).Space(1).Xy(0, 0).F64(1).Build()})));
    CLibDrawing a(0), b(0);
    ASSERT_EQ(a.OpenDrawing(model.c_str(), nullptr), 1);
    ASSERT_EQ(a.LoadDWG(), 1);
    ASSERT_EQ(b.OpenDrawing(paper.c_str(), nullptr), 1);
    ASSERT_EQ(b.LoadDWG(), 1);
    EXPECT_EQ(b.IsAnyPaperSpace(), 0) << "entities are read at the first walk";
    ASSERT_EQ(a.TriggerLoading(), 1);
    ASSERT_EQ(b.TriggerLoading(), 1);
    EXPECT_EQ(a.IsAnyPaperSpace(), 0);
    EXPECT_EQ(b.IsAnyPaperSpace(), 1);
}

TEST(WalkViewportFacade, ViewportsThroughTheFacade) {
    TempDrawing file("facade_vp.dwg",
                     BuildDrawing(Join({Viewport(1, 2, 3, 4, 1), Viewport(5, 6, 7, 8, 2)})));
    CLibDrawing lib(0);
    ASSERT_EQ(lib.OpenDrawing(file.c_str(), nullptr), 1);
    ASSERT_EQ(lib.LoadDWG(), 1);
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(lib.GetFirstViewport(&r), 1);
    EXPECT_EQ(Val(r.viewport.viewport_id), 1);
    EXPECT_EQ(lib.GetNextViewport(&r), 1);
    EXPECT_EQ(Val(r.viewport.viewport_id), 2);
    EXPECT_EQ(lib.GetNextViewport(&r), 0);
}

// ---- Extended data of a walked entity -------------------------------------------------------

TEST(WalkEed, ExtendedDataOfAWalkedEntityWalksThroughTheHandle) {
    // Application 0, the string "hi", a brace, a short 7, a long 70000, a real 2.5.
    Bytes eed = {1, 0, 0, 0, 2, 'h', 'i', 2, 0, 70, 7, 0, 71};
    append_i32(eed, 70000);
    append_u8(eed, 40);
    append_f64(eed, 2.5);
    Bytes line =
        FrameBytes(CDB_LINE).Flags(0x04).Eed(eed).Handle({0x2A, 0x0F}).Xy(0, 0).Xy(1, 1).Build();
    OpenDrawing d("eed_walk.dwg", BuildDrawing(Join({line, Line(5, 5, 6, 6)})));
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_ENTITY r = NewRecord();
    ASSERT_EQ(CDBGetCurrentEntity(d.handle, &r), 0x40000000);
    ASSERT_NE(Val(r.handle), nullptr);
    EXPECT_STREQ(r.handle, "2A0F");
    EXPECT_EQ(Val(r.eed_size), eed.size());
    ASSERT_NE(Val(r.eed_data), nullptr);
    EXPECT_EQ(std::memcmp(r.eed_data, eed.data(), eed.size()), 0);

    CDB_EED_type cursor;
    std::memset(&cursor, 0, sizeof cursor);
    ASSERT_EQ(CDBGetEED(d.handle, &r, &cursor), 0);
    EXPECT_EQ(CDBEEDGetFirstAppid(d.handle, &cursor), 0);
    CDB_EED_VALUES v;
    EXPECT_EQ(CDBEEDGetFirstValue(d.handle, &cursor, &v), 1);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), 0);
    EXPECT_STREQ(v.text, "hi");
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), 2);
    EXPECT_EQ(Val(v.short_value), 0);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), 70);
    EXPECT_EQ(Val(v.short_value), 7);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), 71);
    EXPECT_EQ(Val(v.long_value), 70000);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), 40);
    EXPECT_EQ(Val(v.real_value), 2.5);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &v), CDB_EED_END);

    // The next entity has none.
    r = NewRecord();
    ASSERT_EQ(CDBGetNextEntity(d.handle, &r), 0x40000001);
    EXPECT_EQ(Val(r.eed_size), 0);
    EXPECT_EQ(Val(r.handle), nullptr);
    ASSERT_EQ(CDBGetEED(d.handle, &r, &cursor), 0);
    EXPECT_EQ(CDBEEDGetFirstAppid(d.handle, &cursor), CDB_EED_END);
    EXPECT_EQ(CDBEEDGetFirstValue(d.handle, &cursor, &v), CDB_EED_END);
}

} // namespace
} // namespace walk
} // namespace velko_test
