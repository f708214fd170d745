// Adding, renaming and deleting blocks of a release 13 drawing through the flat interface,
// and the header variables set by name and as a whole.
#include "dwg13/r13_edit_support.h"

#include "dwg13/r13_block.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace velko_test {
namespace r13edit {
namespace {

class R13BlockEdit : public R13EditTest {
protected:
    void SetUp() override { OpenBytes(EditBytes(2, "DOOR")); }
    CDB_STARTBLOCK_ENTITY_type Block(const char *name) {
        CDB_STARTBLOCK_ENTITY_type b;
        CDBBlockDefault(h, &b);
        std::strncpy(name_buffer, name, sizeof name_buffer - 1);
        b.name = name_buffer;
        b.base_point = CDB_POINT3{1.0, 2.0, 0.0};
        return b;
    }
    CR13Block &BlockAt(int index) const {
        return *static_cast<CR13Block *>(D().Blocks().At(index));
    }
    char name_buffer[64] = {};
};

TEST_F(R13BlockEdit, ANewBlockHoldsItsEndOnlyAndTakesThreeHandles) {
    const int16_t count = CDBBlockTableCount(h);
    const size_t entries = D().ObjectMap().Count();
    CDB_STARTBLOCK_ENTITY_type window = Block("window");
    const int16_t index = CDBBlockAdd(h, &window);
    ASSERT_EQ(index, count);
    EXPECT_EQ(CDBBlockTableCount(h), count + 1);
    EXPECT_EQ(D().Blocks().Count(), count + 1);
    EXPECT_EQ(CDBEntityCount(h, index), 1);
    EXPECT_EQ(EntityAt(index, 0)->entity_type, CDB_ENDBLK);

    CR13Block &block = BlockAt(index);
    ASSERT_NE(block.header, nullptr);
    EXPECT_STREQ(block.header->RecordHandle(), "100");
    EXPECT_STREQ(block.header->RecordName(), "WINDOW");
    EXPECT_EQ(block.header, D().Table(R13Table::kBlocks).RecordAt(index));
    ASSERT_NE(block.start, nullptr);
    EXPECT_STREQ(block.start->GetData()->handle, "101");
    EXPECT_STREQ(EntityAt(index, 0)->handle, "102");
    EXPECT_EQ(block.first_handle, "101");
    EXPECT_EQ(block.header->FirstHandle(), "101");
    EXPECT_EQ(block.header->EndBlock(), "102");
    EXPECT_EQ(Seed(), "103");
    EXPECT_EQ(D().ObjectMap().Count(), entries + 3);
    EXPECT_TRUE(MapIsSorted());
    EXPECT_EQ(D().Table(R13Table::kBlocks).head.entries.back().value, 0x100u);

    CDB_STARTBLOCK_ENTITY_type read{};
    EXPECT_EQ(CDBBlockGet(h, index, &read), 0);
    EXPECT_STREQ(read.name, "WINDOW");
    EXPECT_EQ(read.base_point.y, 2.0);
    std::free(read.name);
    std::free(read.name_2);
    std::free(read.xref_path);
}

TEST_F(R13BlockEdit, ANameThatExistsOrBeginsWithAStarGivesMinus5) {
    CDB_STARTBLOCK_ENTITY_type door = Block("door");
    EXPECT_EQ(CDBBlockAdd(h, &door), CDB_NAME_EXISTS);
    CDB_STARTBLOCK_ENTITY_type star = Block("*U");
    EXPECT_EQ(CDBBlockAdd(h, &star), CDB_NAME_EXISTS);
    EXPECT_EQ(Seed(), "100");
}

TEST_F(R13BlockEdit, EntitiesAddedToANewBlockGoBeforeItsEndAndAnInsertRefersToIt) {
    CDB_STARTBLOCK_ENTITY_type window = Block("WINDOW");
    const int16_t index = CDBBlockAdd(h, &window);
    ASSERT_GE(index, 0);
    CDB_ENTITY line = Line(1.0);
    EXPECT_EQ(CDBEntityAdd(h, index, &line), 0);
    EXPECT_EQ(CDBEntityAdd(h, index, &line), 1);
    EXPECT_EQ(CDBEntityCount(h, index), 3);
    EXPECT_EQ(EntityAt(index, 2)->entity_type, CDB_ENDBLK);
    // From the line 0x103 down to its block header 0x100.
    EXPECT_EQ(EntityAt(index, 0)->owner.code, 0xC);
    EXPECT_EQ(EntityAt(index, 0)->owner.value, 3u);
    EXPECT_EQ(BlockAt(index).last_handle, "104");

    CDB_ENTITY insert = Kind(CDB_INSERT);
    insert.insert.block_index = index;
    const int32_t position = CDBEntityAdd(h, -1, &insert);
    ASSERT_GE(position, 0);
    CDB_ENTITY read;
    ASSERT_GE(CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(position)), &read), 0);
    EXPECT_EQ(read.insert.block_index, index);
    EXPECT_STREQ(EntityAt(-1, position)->insert.block_handle, "100");
}

TEST_F(R13BlockEdit, AnInsertOfABlockOutsideTheTableIsRefusedWith430) {
    CDB_ENTITY insert = Kind(CDB_INSERT);
    insert.insert.block_index = 40;
    EXPECT_EQ(CDBEntityAdd(h, -1, &insert), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_BLOCK);
    EXPECT_EQ(Seed(), "100");
}

TEST_F(R13BlockEdit, ATextWithAStyleOutsideTheTableIsRefusedWith429) {
    CDB_ENTITY text = Kind(CDB_TEXT);
    text.text.style_index = 12;
    EXPECT_EQ(CDBEntityAdd(h, -1, &text), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_STYLE);
    text.text.style_index = 0;
    const int32_t position = CDBEntityAdd(h, -1, &text);
    ASSERT_GE(position, 0);
    EXPECT_STREQ(EntityAt(-1, position)->text.style_handle, "11");
}

TEST_F(R13BlockEdit, ADimensionWithADimensionStyleOutsideTheTableIsRefusedWith431) {
    CDB_ENTITY dimension = Kind(CDB_DIMENSION);
    dimension.dimension.block_index = 0;
    dimension.dimension.dimstyle_index = 8;
    EXPECT_EQ(CDBEntityAdd(h, -1, &dimension), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_DIMSTYLE);
}

TEST_F(R13BlockEdit, AMultilineWithAStyleOutsideTheTableIsRefusedWith432) {
    CDB_ENTITY mline = Kind(CDB_MLINE);
    mline.entity_type = CDB_MLINE;
    mline.mline.style_index = 5;
    EXPECT_EQ(CDBEntityAdd(h, -1, &mline), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_MLINESTYLE);
}

TEST_F(R13BlockEdit, ModifyRenamesToAFreeNameOnly) {
    CDB_STARTBLOCK_ENTITY_type renamed = Block("frame");
    EXPECT_EQ(CDBBlockModify(h, 0, &renamed), 0);
    EXPECT_STREQ(BlockAt(0).header->RecordName(), "FRAME");
    EXPECT_STREQ(BlockAt(0).record->name, "FRAME");
    EXPECT_STREQ(BlockAt(0).header->RecordHandle(), "30");
    CDB_STARTBLOCK_ENTITY_type again = Block("FRAME");
    EXPECT_EQ(CDBBlockModify(h, 0, &again), CDB_FAIL);
}

TEST_F(R13BlockEdit, DeleteMarksTheBlockForTheWalkAndKeepsItsIndex) {
    const int16_t count = CDBBlockTableCount(h);
    EXPECT_EQ(CDBBlockDelete(h, 0), 0);
    EXPECT_EQ(CDBBlockTableCount(h), count);
    EXPECT_TRUE(D().Blocks().At(0)->IsDeleted());
    CDB_STARTBLOCK_ENTITY_type read{};
    EXPECT_EQ(CDBGetFirstBlock(h, &read), 2);
    std::free(read.name);
    std::free(read.name_2);
    std::free(read.xref_path);
    // Its name is free again.
    CDB_STARTBLOCK_ENTITY_type door = Block("DOOR");
    EXPECT_EQ(CDBBlockAdd(h, &door), count);
}

// ---- Header variables ----------------------------------------------------------------------

TEST_F(R13BlockEdit, SetVariableValueChangesTheHeaderAndAnUnknownNameNothing) {
    CDB_VAR_VALUE_type value{};
    value.real_value = 2.5;
    EXPECT_EQ(CDBSetVariableValue(h, "LTSCALE", &value), 0);
    CDB_VAR_VALUE_type read{};
    EXPECT_EQ(CDBGetVariableValue(h, "LTSCALE", &read), CDB_VAR_REAL);
    EXPECT_EQ(read.real_value, 2.5);
    EXPECT_EQ(CDBSetVariableValue(h, "NOSUCHVAR", &value), 0);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
}

TEST_F(R13BlockEdit, SetAllVariablesTakesValuesAndCopiesTexts) {
    CDB_HEADER_type all;
    ASSERT_EQ(CDBGetAllVariables(h, &all), 0);
    all.ltscale = 4.0;
    char clayer[] = "10";
    all.hclayer = clayer;
    EXPECT_EQ(CDBSetAllVariables(h, &all), 0);
    CDB_HEADER_type *held = D().GetAllVars();
    EXPECT_EQ(held->ltscale, 4.0);
    ASSERT_NE(held->hclayer, nullptr);
    EXPECT_NE(held->hclayer, clayer);
    EXPECT_STREQ(held->hclayer, "10");
    EXPECT_EQ(Seed(), "100");
}

} // namespace
} // namespace r13edit
} // namespace velko_test
