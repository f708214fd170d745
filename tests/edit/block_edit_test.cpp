// Blocks of a release 12 drawing: the default record, adding, renaming and deleting, and
// the way the handle seed moves on with handles on and off.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace velko_test {
namespace edit {
namespace {

using walk::Val;

// Seed bytes that read as the text "12".
constexpr std::array<uint8_t, 8> kSeed12 = {0, 0, 0, 0, 0, 0, 0, 0x12};

CDB_STARTBLOCK_ENTITY_type BlockRecord(int16_t h, char *name) {
    CDB_STARTBLOCK_ENTITY_type r;
    EXPECT_EQ(CDBBlockDefault(h, &r), 0);
    r.name = name;
    return r;
}

class BlockEdit : public ::testing::Test {
protected:
    explicit BlockEdit(bool handling = false)
        : drawing("block_edit.dwg", FiveEntityDrawing(handling, kSeed12)) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }
    walk::OpenDrawing drawing;
};

class BlockEditHandles : public BlockEdit {
protected:
    BlockEditHandles() : BlockEdit(true) {}
};

// ---- Default ------------------------------------------------------------------------------

TEST_F(BlockEdit, DefaultIsAByLayerBlockStartAndMovesNothing) {
    CDB_STARTBLOCK_ENTITY_type r;
    std::memset(static_cast<void *>(&r), 0xAB, sizeof r);
    EXPECT_EQ(CDBBlockDefault(h(), &r), 0);
    EXPECT_EQ(+r.entity_type, CDB_BLOCK);
    EXPECT_EQ(+r.line_type_index, -1);
    EXPECT_EQ(+r.color, -1);
    EXPECT_EQ(+r.extrusion.x, 0.0);
    EXPECT_EQ(+r.extrusion.z, 1.0);
    EXPECT_EQ(+r.name, nullptr);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 0);
    EXPECT_EQ(Handseed(h()), "12");
    EXPECT_EQ(CDBBlockDefault(h(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBBlockDefault(200, &r), CDB_FAIL);
}

// ---- Add ----------------------------------------------------------------------------------

TEST_F(BlockEdit, AddGivesTheTableIndexAndAListHoldingItsEndOnly) {
    const int16_t count = CDBBlockTableCount(h());
    char name[] = "Door";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    r.base_point.x = 2.5;
    r.flags = 2;
    const int16_t index = CDBBlockAdd(h(), &r);
    ASSERT_EQ(index, count);
    EXPECT_STREQ(name, "Door") << "the caller's record is left as it was";
    EXPECT_EQ(CDBBlockTableCount(h()), count + 1);

    CDB_BLOCK_TBL table;
    ASSERT_EQ(CDBBlockTableGet(h(), index, &table), 0);
    EXPECT_STREQ(+table.name, "DOOR");
    EXPECT_EQ(+table.flags, 2);
    EXPECT_EQ(CDBBlockTableFind(h(), "DOOR"), index);

    CDB_STARTBLOCK_ENTITY_type read = walk::NewBlockRecord();
    ASSERT_EQ(CDBBlockGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, "DOOR");
    EXPECT_EQ(+read.base_point.x, 2.5);
    EXPECT_EQ(+read.flags, 2);
    walk::FreeCopies(read);

    EXPECT_EQ(CDBEntityCount(h(), index), 1);
    EXPECT_EQ(ListKinds(h(), index), std::vector<int>({CDB_ENDBLK}));
}

TEST_F(BlockEdit, AddOfATakenNameGivesNameExists) {
    const int16_t count = CDBBlockTableCount(h());
    char name[] = "A";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    EXPECT_EQ(CDBBlockAdd(h(), &r), CDB_NAME_EXISTS);
    EXPECT_EQ(CDBBlockTableCount(h()), count);
    EXPECT_EQ(Handseed(h()), "12");
}

TEST_F(BlockEdit, AddOfAnAnonymousNameGivesNameExists) {
    const int16_t count = CDBBlockTableCount(h());
    char name[] = "*U";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    EXPECT_EQ(CDBBlockAdd(h(), &r), CDB_NAME_EXISTS);
    EXPECT_EQ(CDBBlockTableCount(h()), count);
}

TEST_F(BlockEdit, TheNameIsLookedUpBeforeItIsUpperCased) {
    // The lookup respects case, and the name is upper-cased only for the table: a block
    // "a" is not found under the name "A" and goes in as a second "A".
    const int16_t count = CDBBlockTableCount(h());
    char name[] = "a";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    EXPECT_EQ(CDBBlockAdd(h(), &r), count);
    CDB_BLOCK_TBL table;
    ASSERT_EQ(CDBBlockTableGet(h(), count, &table), 0);
    EXPECT_STREQ(+table.name, "A");
    EXPECT_EQ(CDBBlockTableFind(h(), "A"), 0);
}

TEST_F(BlockEdit, AddWithoutARecordOrANameFails) {
    EXPECT_EQ(CDBBlockAdd(h(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), nullptr);
    EXPECT_EQ(CDBBlockAdd(h(), &r), CDB_FAIL);
    EXPECT_EQ(CDBBlockAdd(200, &r), CDB_FAIL);
}

TEST_F(BlockEdit, AddWithHandlesOffMovesTheSeedOnceAndGivesNoHandles) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    ASSERT_GE(index, 0);
    EXPECT_EQ(Handseed(h()), "13");
    CModelBlock *block = R12(h())->Blocks().At(index);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->record->handle, nullptr);
    CDB_ENTITY end = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), CDBPackEntityId(index, 0), &end), 0);
    EXPECT_EQ(Val(end.entity_type), CDB_ENDBLK);
    EXPECT_EQ(+end.handle, nullptr);
}

TEST_F(BlockEditHandles, AddWithHandlesOnGivesTheBlockAndItsEndTheSeedAndMovesItTwice) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    ASSERT_GE(index, 0);
    EXPECT_EQ(Handseed(h()), "14");
    EXPECT_EQ(+r.handle, nullptr) << "the caller's record is left as it was";
    CModelBlock *block = R12(h())->Blocks().At(index);
    ASSERT_NE(block, nullptr);
    ASSERT_NE(block->record->handle, nullptr);
    EXPECT_STREQ(block->record->handle, "12");
    CDB_ENTITY end = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), CDBPackEntityId(index, 0), &end), 0);
    ASSERT_NE(+end.handle, nullptr);
    EXPECT_STREQ(+end.handle, "13");
}

TEST(BlockEditSample, TheShippedSampleReadsItsHexadecimalSeedAsDecimal) {
    walk::OpenDrawing sample(std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg");
    ASSERT_GE(sample.handle, 0);
    ASSERT_EQ(Handseed(sample.handle), "2A0F");
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(sample.handle, name);
    const int16_t index = CDBBlockAdd(sample.handle, &r);
    ASSERT_EQ(index, 0) << "the sample has no blocks";
    // "2A0F" reads as 2: the table record moves it to 3, the end frame to 4.
    EXPECT_EQ(Handseed(sample.handle), "4");
    EXPECT_STREQ(R12(sample.handle)->Blocks().At(0)->record->handle, "2A0F");
    CDB_ENTITY end = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(sample.handle, CDBPackEntityId(0, 0), &end), 0);
    EXPECT_STREQ(+end.handle, "3");
}

// ---- Entities of a new block --------------------------------------------------------------

TEST_F(BlockEdit, AnEntityAddedToABlockGoesBeforeItsEnd) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(h(), index, &line), 0);
    CDB_ENTITY circle;
    CDBEntityDefault(h(), &circle, CDB_CIRCLE);
    EXPECT_EQ(CDBEntityAdd(h(), index, &circle), 1);
    EXPECT_EQ(ListKinds(h(), index), std::vector<int>({CDB_LINE, CDB_CIRCLE, CDB_ENDBLK}));
    // The block walk of the drawing sees them.
    EXPECT_EQ(walk::WalkKinds(h(), index), std::vector<int>({CDB_LINE, CDB_CIRCLE, CDB_ENDBLK}));
}

// ---- Modify -------------------------------------------------------------------------------

TEST_F(BlockEdit, ModifyRenamesToAFreeName) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    const std::string seed = Handseed(h());
    char other[] = "Window";
    CDB_STARTBLOCK_ENTITY_type changed = BlockRecord(h(), other);
    changed.base_point.y = 4.0;
    EXPECT_EQ(CDBBlockModify(h(), index, &changed), 0);
    CDB_BLOCK_TBL table;
    ASSERT_EQ(CDBBlockTableGet(h(), index, &table), 0);
    EXPECT_STREQ(+table.name, "WINDOW");
    CDB_STARTBLOCK_ENTITY_type read = walk::NewBlockRecord();
    ASSERT_EQ(CDBBlockGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, "WINDOW");
    EXPECT_EQ(+read.base_point.y, 4.0);
    walk::FreeCopies(read);
    EXPECT_EQ(CDBBlockTableFind(h(), "DOOR"), CDB_FAIL);
    EXPECT_EQ(Handseed(h()), seed);
    // The list stays.
    EXPECT_EQ(ListKinds(h(), index), std::vector<int>({CDB_ENDBLK}));
}

TEST_F(BlockEdit, ModifyToATakenNameOrItsOwnNameFails) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    char taken[] = "A";
    CDB_STARTBLOCK_ENTITY_type clash = BlockRecord(h(), taken);
    EXPECT_EQ(CDBBlockModify(h(), index, &clash), CDB_FAIL);
    CDB_STARTBLOCK_ENTITY_type same = BlockRecord(h(), name);
    EXPECT_EQ(CDBBlockModify(h(), index, &same), CDB_FAIL);
    char star[] = "*X";
    CDB_STARTBLOCK_ENTITY_type anonymous = BlockRecord(h(), star);
    EXPECT_EQ(CDBBlockModify(h(), index, &anonymous), CDB_FAIL);
    CDB_BLOCK_TBL table;
    ASSERT_EQ(CDBBlockTableGet(h(), index, &table), 0);
    EXPECT_STREQ(+table.name, "DOOR");
}

TEST_F(BlockEdit, ModifyOfABlockThatDoesNotExistFails) {
    char name[] = "FREE";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    EXPECT_EQ(CDBBlockModify(h(), 99, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBBlockModify(h(), -1, &r), CDB_FAIL);
    EXPECT_EQ(CDBBlockModify(h(), 0, nullptr), CDB_FAIL);
}

TEST_F(BlockEditHandles, ModifyKeepsTheBlocksHandleWhenTheRecordHasNone) {
    char name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type r = BlockRecord(h(), name);
    const int16_t index = CDBBlockAdd(h(), &r);
    char other[] = "WINDOW";
    CDB_STARTBLOCK_ENTITY_type changed = BlockRecord(h(), other);
    ASSERT_EQ(CDBBlockModify(h(), index, &changed), 0);
    EXPECT_STREQ(R12(h())->Blocks().At(index)->record->handle, "12");
    EXPECT_EQ(Handseed(h()), "14");
}

// ---- Delete -------------------------------------------------------------------------------

TEST_F(BlockEdit, DeleteFlagsTheBlockAndTheWalksPassItBy) {
    // A walk reads the blocks first: the block object is there when it is deleted.
    ASSERT_EQ(CDBFirstEntity(h(), 0), CDBPackEntityId(0, 0));
    const std::string seed = Handseed(h());
    const int16_t count = CDBBlockTableCount(h());
    EXPECT_EQ(CDBBlockDelete(h(), 0), 0);
    EXPECT_EQ(CDBBlockTableCount(h()), count);
    CDB_BLOCK_TBL table;
    EXPECT_EQ(CDBBlockTableGet(h(), 0, &table), CDB_DELETED);
    EXPECT_EQ(table.flags & 0x80, 0x80);
    EXPECT_EQ(CDBBlockTableFind(h(), "A"), CDB_FAIL);
    EXPECT_EQ(CDBFirstEntity(h(), 0), CDB_END_OF_WALK);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_ENTITY_NOT_FOUND);
    EXPECT_EQ(CDBEntityCount(h(), 0), 0);
    CDB_STARTBLOCK_ENTITY_type read = walk::NewBlockRecord();
    EXPECT_EQ(CDBGetFirstBlock(h(), &read), CDB_DELETED);
    walk::FreeCopies(read);
    EXPECT_EQ(Handseed(h()), seed);
    // Deleting it again is no failure.
    EXPECT_EQ(CDBBlockDelete(h(), 0), 0);
}

TEST_F(BlockEdit, DeleteBeforeTheEntitiesAreReadLeavesTheBlockUnread) {
    // No walk has run: the block table record alone gets the flag, and the block
    // section read after it passes the block by.
    EXPECT_EQ(CDBBlockDelete(h(), 0), 0);
    EXPECT_EQ(CDBFirstEntity(h(), 0), CDB_END_OF_WALK);
    EXPECT_EQ(CDBEntityCount(h(), 0), 0);
}

TEST_F(BlockEdit, DeleteOfABlockThatDoesNotExistFails) {
    EXPECT_EQ(CDBBlockDelete(h(), 5), CDB_FAIL);
    EXPECT_EQ(CDBBlockDelete(h(), -1), CDB_FAIL);
    EXPECT_EQ(CDBBlockDelete(200, 0), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(200), CDB_ERR_INVALID_DRAWING_HANDLE);
}

TEST_F(BlockEdit, AddingToADeletedBlockIsRefusedWhenItHasNoList) {
    // Block 0 deleted before loading has no list: there is nothing to add to.
    ASSERT_EQ(CDBBlockDelete(h(), 0), 0);
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(h(), 0, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
}

} // namespace
} // namespace edit
} // namespace velko_test
