// Adding, modifying and deleting entities of a release 13 drawing through the flat
// interface: the sequence check, the layer and line type validation, the handles the new
// entities take, their links in the chain, and the object map after each edit.
#include "dwg13/r13_edit_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace velko_test {
namespace r13edit {
namespace {

constexpr int16_t kMain = -1;
constexpr int16_t kBlock = 0; // the one block of the drawing, "DOOR"

class R13EntityEdit : public R13EditTest {
protected:
    void SetUp() override { OpenBytes(EditBytes(6, "DOOR")); }
    int32_t Id(int16_t block, int position) const {
        return CDBPackEntityId(block, static_cast<uint16_t>(position));
    }
    int16_t Count(int16_t block) const { return CDBEntityCount(h, block); }
};

// ---- The sequence check ----------------------------------------------------------------------

TEST_F(R13EntityEdit, AVertexWithoutAPolylineIsRefusedWith425) {
    CDB_ENTITY vertex = Kind(CDB_VERTEX);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &vertex), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_WRONG_SEQUENCE);
    EXPECT_EQ(Seed(), "100");
}

TEST_F(R13EntityEdit, APlainLineAfterAPolylineBeforeItsEndIsRefusedWith425) {
    CDB_ENTITY polyline = Kind(CDB_POLYLINE);
    EXPECT_GE(CDBEntityAdd(h, kMain, &polyline), 0);
    CDB_ENTITY vertex = Kind(CDB_VERTEX);
    EXPECT_GE(CDBEntityAdd(h, kMain, &vertex), 0);
    CDB_ENTITY line = Line(2.0);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_WRONG_SEQUENCE);
    CDB_ENTITY end = Kind(CDB_SEQEND);
    EXPECT_GE(CDBEntityAdd(h, kMain, &end), 0);
    EXPECT_GE(CDBEntityAdd(h, kMain, &line), 0);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
}

TEST_F(R13EntityEdit, ASequenceEndWithNoOpenSequenceFailsWithCodeZero) {
    CDB_ENTITY end = Kind(CDB_SEQEND);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &end), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
}

TEST_F(R13EntityEdit, AnAttributeWithoutAnInsertIsRefusedWith425) {
    CDB_ENTITY attribute = Kind(CDB_ATTRIB);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &attribute), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_WRONG_SEQUENCE);
}

// ---- Validation of the references --------------------------------------------------------------

TEST_F(R13EntityEdit, ALayerIndexOutsideTheTableIsRefusedWith427) {
    const size_t entries = D().ObjectMap().Count();
    CDB_ENTITY line = Line(2.0, 7);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_LAYER);
    EXPECT_EQ(Count(kMain), 7);
    EXPECT_EQ(Seed(), "100");
    EXPECT_EQ(D().ObjectMap().Count(), entries);
}

TEST_F(R13EntityEdit, ALineTypeIndexOutsideTheTableIsRefusedWith428) {
    CDB_ENTITY line = Line(2.0, 0, 9);
    EXPECT_EQ(CDBEntityAdd(h, kMain, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_LTYPE);
    EXPECT_EQ(Seed(), "100");
}

TEST_F(R13EntityEdit, AModifyWithABadLayerIsRefusedWith427AndTheEntityStays) {
    CDB_ENTITY line = Line(9.0, 5);
    EXPECT_EQ(CDBEntityModify(h, Id(kMain, 0), &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_LAYER);
    EXPECT_EQ(EntityAt(kMain, 0)->line.end_point.x, 1.0);
}

// ---- Adding ------------------------------------------------------------------------------------

TEST_F(R13EntityEdit, ANewLineTakesTheSeedAndEntersTheMapSorted) {
    const size_t entries = D().ObjectMap().Count();
    CDB_ENTITY line = Line(2.0, 0, 0);
    const int32_t position = CDBEntityAdd(h, kMain, &line);
    EXPECT_EQ(position, 7);
    const CDB_ENTITY *added = EntityAt(kMain, position);
    ASSERT_NE(added, nullptr);
    EXPECT_STREQ(added->handle, "100");
    EXPECT_STREQ(added->layer_handle, "10");
    EXPECT_STREQ(added->line_type_handle, "15");
    EXPECT_EQ(added->line_type_bylayer, 0u);
    EXPECT_EQ(added->mode_model, 1u);
    EXPECT_EQ(added->has_owner, 0u);
    EXPECT_EQ(added->layer_index, 0);
    EXPECT_EQ(added->line_type_index, 0);
    EXPECT_EQ(Seed(), "101");
    EXPECT_EQ(D().ObjectMap().Count(), entries + 1);
    EXPECT_EQ(MapOffset("100"), 0);
    EXPECT_TRUE(MapIsSorted());
}

TEST_F(R13EntityEdit, TheSeedCountsInHexadecimal) {
    CDB_VAR_VALUE_type seed{};
    std::strcpy(seed.text, "FF");
    ASSERT_EQ(CDBSetVariableValue(h, "HANDSEED", &seed), 0);
    ASSERT_EQ(Seed(), "FF");
    CDB_ENTITY line = Line(2.0);
    const int32_t position = CDBEntityAdd(h, kMain, &line);
    EXPECT_STREQ(EntityAt(kMain, position)->handle, "FF");
    EXPECT_EQ(Seed(), "100");
}

TEST_F(R13EntityEdit, ANewLineIsLinkedBehindTheLastOfModelSpace) {
    CDB_ENTITY line = Line(2.0);
    const int32_t first = CDBEntityAdd(h, kMain, &line);
    const int32_t second = CDBEntityAdd(h, kMain, &line);
    const CDB_ENTITY *a = EntityAt(kMain, first);
    const CDB_ENTITY *b = EntityAt(kMain, second);
    // 0x45 (the last line of the file) -> 0x100 -> 0x101, by relative references: one
    // up (code 6) and one down (code 8).
    EXPECT_EQ(a->no_links, 0u);
    EXPECT_EQ(b->no_links, 0u);
    EXPECT_EQ(a->next.code, 6);
    EXPECT_EQ(b->previous.code, 8);
    EXPECT_EQ(EntityAt(kMain, 5)->next.code, 0xA);
    EXPECT_EQ(EntityAt(kMain, 5)->next.value, 0x100u - 0x45u);
    EXPECT_EQ(b->next.code, 4);
    EXPECT_EQ(b->next.value, 0u);
    EXPECT_EQ(D().MainChain().last_handle, "101");
}

TEST_F(R13EntityEdit, AnEntityAddedToABlockGoesBeforeItsEnd) {
    ASSERT_EQ(Count(kBlock), 2);
    CDB_ENTITY line = Line(3.0);
    const int32_t position = CDBEntityAdd(h, kBlock, &line);
    EXPECT_EQ(position, 1);
    EXPECT_EQ(Count(kBlock), 3);
    EXPECT_EQ(EntityAt(kBlock, 1)->entity_type, CDB_LINE);
    EXPECT_EQ(EntityAt(kBlock, 2)->entity_type, CDB_ENDBLK);
    const CDB_ENTITY *added = EntityAt(kBlock, 1);
    EXPECT_EQ(added->mode_model, 0u);
    EXPECT_EQ(added->mode_paper, 0u);
    EXPECT_EQ(added->has_owner, 1u);
    EXPECT_STREQ(added->handle, "100");
    EXPECT_EQ(MapOffset("100"), 0);
}

TEST_F(R13EntityEdit, AnUnknownBlockFailsWith411) {
    CDB_ENTITY line = Line(3.0);
    EXPECT_EQ(CDBEntityAdd(h, 42, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_BLOCK_NOT_FOUND);
}

// ---- Modifying ---------------------------------------------------------------------------------

TEST_F(R13EntityEdit, AModifiedEntityKeepsItsHandleAndLinksAndTakesTheNewValues) {
    CDB_ENTITY read;
    ASSERT_EQ(CDBGetEntity(h, Id(kMain, 2), &read), 2);
    const std::string handle = read.handle;
    const CHandleRef previous = EntityAt(kMain, 2)->previous;
    read.line.end_point.x = 42.0;
    read.line_type_index = 0;
    EXPECT_EQ(CDBEntityModify(h, Id(kMain, 2), &read), 1);
    const CDB_ENTITY *now = EntityAt(kMain, 2);
    EXPECT_EQ(now->line.end_point.x, 42.0);
    EXPECT_EQ(std::string(now->handle), handle);
    EXPECT_STREQ(now->line_type_handle, "15");
    EXPECT_EQ(now->previous.code, previous.code);
    EXPECT_EQ(now->previous.value, previous.value);
    EXPECT_EQ(Seed(), "100");
    EXPECT_EQ(Count(kMain), 7);
}

TEST_F(R13EntityEdit, ARecordWithoutAHandleTakesTheOldEntitysHandle) {
    CDB_ENTITY circle = Kind(CDB_CIRCLE);
    circle.circle.radius = 2.5;
    EXPECT_EQ(CDBEntityModify(h, Id(kMain, 1), &circle), 1);
    const CDB_ENTITY *now = EntityAt(kMain, 1);
    EXPECT_EQ(now->entity_type, CDB_CIRCLE);
    EXPECT_STREQ(now->handle, "41");
    EXPECT_EQ(MapOffset("41"), D().ObjectMap().GetOffset(0x41));
    EXPECT_NE(MapOffset("41"), 0);
}

TEST_F(R13EntityEdit, AModifyPastTheEndGivesZero) {
    CDB_ENTITY line = Line(1.0);
    EXPECT_EQ(CDBEntityModify(h, Id(kMain, 200), &line), 0);
}

// ---- Deleting ----------------------------------------------------------------------------------

TEST_F(R13EntityEdit, DeletingPositionThreeMovesFourToThreeAndTheHandleLeavesTheMap) {
    const std::string fourth = EntityAt(kMain, 4)->handle;
    const std::string third = EntityAt(kMain, 3)->handle;
    ASSERT_GT(MapOffset(third.c_str()), 0);
    EXPECT_EQ(CDBEntityDelete(h, Id(kMain, 3)), 1);
    EXPECT_EQ(std::string(EntityAt(kMain, 3)->handle), fourth);
    EXPECT_EQ(Count(kMain), 6);
    EXPECT_EQ(MapOffset(third.c_str()), -1);
    EXPECT_GT(MapOffset(fourth.c_str()), 0);
}

TEST_F(R13EntityEdit, DeletingPastTheEndGivesZero) {
    const size_t entries = D().ObjectMap().Count();
    EXPECT_EQ(CDBEntityDelete(h, Id(kMain, 300)), 0);
    EXPECT_EQ(D().ObjectMap().Count(), entries);
}

TEST_F(R13EntityEdit, DeleteCurrentTakesTheCursorsEntityOutOfTheMap) {
    ASSERT_GE(CDBFirstEntity(h, kMain), 0);
    ASSERT_GE(CDBNextEntity(h), 0);
    const std::string second = EntityAt(kMain, 1)->handle;
    const std::string third = EntityAt(kMain, 2)->handle;
    EXPECT_EQ(CDBEntityDeleteCurrent(h), 1);
    EXPECT_EQ(MapOffset(second.c_str()), -1);
    EXPECT_EQ(std::string(EntityAt(kMain, 1)->handle), third);
}

TEST_F(R13EntityEdit, AnAddedEntityDeletedAgainLeavesNoEntry) {
    const size_t entries = D().ObjectMap().Count();
    CDB_ENTITY line = Line(2.0);
    const int32_t position = CDBEntityAdd(h, kMain, &line);
    EXPECT_EQ(D().ObjectMap().Count(), entries + 1);
    EXPECT_EQ(CDBEntityDelete(h, Id(kMain, position)), 1);
    EXPECT_EQ(D().ObjectMap().Count(), entries);
    EXPECT_EQ(MapOffset("100"), -1);
}

} // namespace
} // namespace r13edit
} // namespace velko_test
