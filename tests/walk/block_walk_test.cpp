// The block walk of a release 12 drawing: CDBGetFirstBlock, CDBGetNextBlock,
// CDBGetCurrentBlock and CDBBlockGet, and the records they hand out.
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace velko_test {
namespace walk {
namespace {

// Block 0 "FIRST" (base 1, 2), block 1 deleted, block 2 "THIRD" (base 5, 6).
Bytes ThreeBlocks() {
    std::vector<BlockDef> blocks = {
        {"FIRST", 0, Join({BlockBegin(1, 2), Line(0, 0, 1, 1), BlockEnd()})},
        {"GONE", 0x80, {}},
        {"THIRD", 0, Join({BlockBegin(5, 6), Circle(0, 0, 1), Text(0, 0, 1, "T"), BlockEnd()})},
    };
    return BuildDrawing(Insert(0, 3, 3), blocks);
}

class WalkBlocks : public testing::Test {
protected:
    OpenDrawing d{"blocks.dwg", ThreeBlocks()};
};

TEST_F(WalkBlocks, TheWalkGivesEveryBlockAndStopsAtTheDeletedOneWithTwo) {
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    ASSERT_EQ(CDBGetFirstBlock(d.handle, &b), 0);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_STREQ(b.name, "FIRST");
    EXPECT_EQ(Val(b.base_point.x), 1.0);
    EXPECT_EQ(Val(b.base_point.y), 2.0);
    EXPECT_EQ(Val(b.flags) & 0x80, 0);
    FreeCopies(b);

    b = NewBlockRecord();
    b.name = reinterpret_cast<char *>(&b); // overwritten: the record is cleared first
    ASSERT_EQ(CDBGetNextBlock(d.handle, &b), CDB_DELETED);
    EXPECT_EQ(Val(b.flags), 128);
    EXPECT_EQ(Val(b.name), nullptr);
    FreeCopies(b);

    b = NewBlockRecord();
    ASSERT_EQ(CDBGetNextBlock(d.handle, &b), 0);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_STREQ(b.name, "THIRD");
    EXPECT_EQ(Val(b.base_point.x), 5.0);
    EXPECT_EQ(Val(b.base_point.y), 6.0);
    FreeCopies(b);

    b = NewBlockRecord();
    EXPECT_EQ(CDBGetNextBlock(d.handle, &b), CDB_END_OF_BLOCKS);
    EXPECT_EQ(CDBGetNextBlock(d.handle, &b), CDB_END_OF_BLOCKS);
    // The cursor stays on the last block.
    EXPECT_EQ(CDBGetCurrentBlock(d.handle, &b), 0);
    EXPECT_STREQ(b.name, "THIRD");
    FreeCopies(b);
}

TEST_F(WalkBlocks, CurrentBlockBeforeAnyWalkIsTheBlockAtCursorZero) {
    ASSERT_GE(d.handle, 0);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    ASSERT_EQ(CDBGetCurrentBlock(d.handle, &b), 0);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_STREQ(b.name, "FIRST");
    FreeCopies(b);
}

TEST_F(WalkBlocks, CurrentBlockBeforeTheBlockWalkAfterTheEntityWalk) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    ASSERT_EQ(CDBGetCurrentBlock(d.handle, &b), 0);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_STREQ(b.name, "FIRST");
    FreeCopies(b);
}

TEST_F(WalkBlocks, BlockGetStepsToTheIndexAndLeavesTheCursorThere) {
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBBlockTableCount(d.handle), 3);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    EXPECT_EQ(CDBBlockGet(d.handle, 3, &b), CDB_FAIL);
    EXPECT_EQ(CDBBlockGet(d.handle, 100, &b), CDB_FAIL);

    ASSERT_EQ(CDBBlockGet(d.handle, 2, &b), 0);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_STREQ(b.name, "THIRD");
    FreeCopies(b);
    b = NewBlockRecord();
    ASSERT_EQ(CDBGetCurrentBlock(d.handle, &b), 0);
    EXPECT_STREQ(b.name, "THIRD");
    FreeCopies(b);

    // The deleted block: the walk gives 2, CDBBlockGet 0.
    b = NewBlockRecord();
    EXPECT_EQ(CDBBlockGet(d.handle, 1, &b), 0);
    EXPECT_EQ(Val(b.flags), 128);
    EXPECT_EQ(Val(b.name), nullptr);
    b = NewBlockRecord();
    EXPECT_EQ(CDBBlockGet(d.handle, 0, &b), 0);
    EXPECT_STREQ(b.name, "FIRST");
    FreeCopies(b);
    EXPECT_EQ(CDBBlockGet(d.handle, 0, nullptr), CDB_FAIL);
}

TEST_F(WalkBlocks, TheRecordHoldsFreshCopiesOnly) {
    ASSERT_GE(d.handle, 0);
    CDB_STARTBLOCK_ENTITY_type a = NewBlockRecord(), b = NewBlockRecord();
    ASSERT_EQ(CDBGetFirstBlock(d.handle, &a), 0);
    ASSERT_EQ(CDBGetCurrentBlock(d.handle, &b), 0);
    ASSERT_NE(Val(a.name), nullptr);
    ASSERT_NE(Val(b.name), nullptr);
    EXPECT_NE(Val(a.name), Val(b.name));
    // A block frame without a second name or a reference path.
    EXPECT_EQ(Val(a.name_2), nullptr);
    ASSERT_NE(Val(a.xref_path), nullptr) << "a release 12 block start has an xref path";
    EXPECT_STREQ(a.xref_path, "");
    // The common part is not copied.
    EXPECT_EQ(Val(a.handle), nullptr);
    EXPECT_EQ(Val(a.eed_data), nullptr);
    FreeCopies(a);
    FreeCopies(b);
}

TEST_F(WalkBlocks, BlockStartFramesBecomeRecordsAndEndFramesStayInTheLists) {
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(WalkKinds(d.handle, 0), (std::vector<int>{CDB_LINE, CDB_ENDBLK}));
    EXPECT_EQ(WalkKinds(d.handle, 2), (std::vector<int>{CDB_CIRCLE, CDB_TEXT, CDB_ENDBLK}));
}

TEST(WalkBlocksNone, ADrawingWithoutBlocks) {
    OpenDrawing d("noblocks.dwg", BuildDrawing(Line(0, 0, 1, 1)));
    ASSERT_GE(d.handle, 0);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    EXPECT_EQ(CDBGetFirstBlock(d.handle, &b), CDB_END_OF_BLOCKS);
    EXPECT_EQ(CDBGetNextBlock(d.handle, &b), CDB_END_OF_BLOCKS);
    EXPECT_EQ(CDBGetCurrentBlock(d.handle, &b), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBBlockGet(d.handle, 0, &b), CDB_FAIL);
}

TEST(WalkBlocksNone, BadHandle) {
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    EXPECT_EQ(CDBGetFirstBlock(300, &b), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(-123), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBGetNextBlock(300, &b), CDB_FAIL);
    EXPECT_EQ(CDBGetCurrentBlock(300, &b), CDB_FAIL);
    EXPECT_EQ(CDBBlockGet(300, 0, &b), CDB_FAIL);
}

TEST(WalkBlocksFrames, ReferencePathAndSecondNameOfABlockFrame) {
    // options_1 0x02: the reference path; 0x04: the second name.
    Bytes begin =
        FrameBytes(CDB_BLOCK).Options(0x06).Xy(0, 0).Text("C:\\REF.DWG").Text("N2").Build();
    std::vector<BlockDef> blocks = {{"REF", 0x04, Join({begin, BlockEnd()})}};
    OpenDrawing d("xref.dwg", BuildDrawing({}, blocks));
    ASSERT_GE(d.handle, 0);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    ASSERT_EQ(CDBGetFirstBlock(d.handle, &b), 0);
    ASSERT_NE(Val(b.xref_path), nullptr);
    EXPECT_STREQ(b.xref_path, "C:\\REF.DWG");
    ASSERT_NE(Val(b.name_2), nullptr);
    EXPECT_STREQ(b.name_2, "N2");
    EXPECT_EQ(Val(b.flags), 0x04);
    FreeCopies(b);
}

} // namespace
} // namespace walk
} // namespace velko_test
