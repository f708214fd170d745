// Adding, modifying and deleting table records of a release 13 drawing through the flat
// interface, and what each edit leaves in memory: the records, their handles, the handle
// seed, the object map and the tables' control objects.
#include "dwg13/r13_edit_support.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <cstring>
#include <string>

namespace velko_test {
namespace r13edit {
namespace {

class R13TableEdit : public R13EditTest {
protected:
    void SetUp() override { OpenBytes(EditBytes(2)); }

    CDB_LAYER_TBL_type Layer(const char *name) {
        CDB_LAYER_TBL_type r;
        CDBLayerTableDefault(&r);
        std::strncpy(name_buffer, name, sizeof name_buffer - 1);
        r.name = name_buffer;
        return r;
    }
    CR13Table &Layers() const { return D().Table(R13Table::kLayers); }

    char name_buffer[64] = {};
};

TEST_F(R13TableEdit, AddingANameTwiceGivesNameExistsAlsoInLowerCase) {
    const int16_t count = CDBLayerTableCount(h);
    CDB_LAYER_TBL_type walls = Layer("Walls");
    EXPECT_EQ(CDBLayerTableAdd(h, &walls), count);
    EXPECT_STREQ(name_buffer, "WALLS");
    CDB_LAYER_TBL_type again = Layer("WALLS");
    EXPECT_EQ(CDBLayerTableAdd(h, &again), CDB_NAME_EXISTS);
    CDB_LAYER_TBL_type lower = Layer("walls");
    EXPECT_EQ(CDBLayerTableAdd(h, &lower), CDB_NAME_EXISTS);
    EXPECT_STREQ(name_buffer, "WALLS");
    EXPECT_EQ(CDBLayerTableCount(h), count + 1);
    EXPECT_EQ(CDBLayerTableFind(h, "WALLS"), count);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
}

TEST_F(R13TableEdit, NamesBeginningWithAStarBothGoIn) {
    const int16_t count = CDBLayerTableCount(h);
    CDB_LAYER_TBL_type a = Layer("*star");
    EXPECT_EQ(CDBLayerTableAdd(h, &a), count);
    CDB_LAYER_TBL_type b = Layer("*STAR");
    EXPECT_EQ(CDBLayerTableAdd(h, &b), count + 1);
    EXPECT_EQ(CDBLayerTableCount(h), count + 2);
}

// Get gives 2 for a deleted record of release 12 only: here the record comes back with 0
// and its deleted flag.
TEST_F(R13TableEdit, DeleteKeepsTheCountAndTheRecordKeepsItsIndexWithTheFlag) {
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h, &walls);
    const int16_t count = CDBLayerTableCount(h);
    EXPECT_EQ(CDBLayerTableDelete(h, index), 0);
    EXPECT_EQ(CDBLayerTableCount(h), count);
    CDB_LAYER_TBL_type read;
    EXPECT_EQ(CDBLayerTableGet(h, index, &read), 0);
    EXPECT_EQ(read.flags & 0x80, 0x80);
    EXPECT_STREQ(read.name, "WALLS");
    EXPECT_STREQ(Layers().RecordAt(index)->RecordHandle(), "100");
    // A record deleted already can be deleted again; its name is free for a new record.
    EXPECT_EQ(CDBLayerTableDelete(h, index), 0);
    CDB_LAYER_TBL_type again = Layer("WALLS");
    EXPECT_EQ(CDBLayerTableAdd(h, &again), count);
}

TEST_F(R13TableEdit, DefaultTwiceGivesNamesDifferingInTheNumberInOneBuffer) {
    CDB_LAYER_TBL_type a;
    CDB_LAYER_TBL_type b;
    ASSERT_EQ(CDBLayerTableDefault(&a), 0);
    const std::string first = a.name;
    ASSERT_EQ(CDBLayerTableDefault(&b), 0);
    EXPECT_EQ(a.name, b.name);
    EXPECT_NE(first, std::string(b.name));
    EXPECT_EQ(first.substr(0, 5), "LAYER");
    EXPECT_EQ(std::string(b.name).substr(0, 5), "LAYER");
}

TEST_F(R13TableEdit, ANewRecordTakesTheSeedAsItsHandleAndAnEntryOfTheMap) {
    EXPECT_EQ(Seed(), "100");
    const size_t entries = D().ObjectMap().Count();
    const int16_t control_count = Layers().head.entry_count;
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h, &walls);
    ASSERT_GE(index, 0);
    EXPECT_STREQ(Layers().RecordAt(index)->RecordHandle(), "100");
    EXPECT_EQ(Seed(), "101");
    EXPECT_EQ(D().ObjectMap().Count(), entries + 1);
    EXPECT_EQ(MapOffset("100"), 0);
    EXPECT_TRUE(MapIsSorted());
    // The control object refers to the new record with code 2.
    EXPECT_EQ(Layers().head.entry_count, control_count + 1);
    ASSERT_GE(Layers().head.entries.size(), size_t(control_count + 1));
    EXPECT_EQ(Layers().head.entries[control_count].code, 2);
    EXPECT_EQ(Layers().head.entries[control_count].value, 0x100u);
    // Its line type handle follows the line type index.
    EXPECT_STREQ(static_cast<CR13LayerRecord *>(Layers().RecordAt(index))->Rec().line_type_handle,
                 "15");
}

TEST_F(R13TableEdit, TheLineTypeControlKeepsItsTwoReferencesBehindTheEntries) {
    CR13Table &ltypes = D().Table(R13Table::kLtypes);
    const int16_t count = ltypes.head.entry_count;
    const size_t size = ltypes.head.entries.size();
    CDB_LTYPE_TBL_type dashed;
    CDBLineTypeTableDefault(&dashed);
    char name[] = "dashed";
    dashed.name = name;
    const int16_t added = CDBLineTypeTableAdd(h, &dashed);
    // The default's own blocks stay the caller's: the table keeps copies.
    std::free(dashed.description);
    std::free(dashed.dashes);
    ASSERT_GE(added, 0);
    EXPECT_EQ(ltypes.head.entry_count, count + 1);
    ASSERT_EQ(ltypes.head.entries.size(), size + 1);
    EXPECT_EQ(ltypes.head.entries[size_t(count)].value, 0x100u);
}

TEST_F(R13TableEdit, ModifyKeepsTheHandleAndRefusesAnotherRecordsName) {
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h, &walls);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h, index, &read), 0);
    read.color = 5;
    EXPECT_EQ(CDBLayerTableModify(h, index, &read), 1);
    EXPECT_STREQ(Layers().RecordAt(index)->RecordHandle(), "100");
    EXPECT_EQ(Seed(), "101");
    CDB_LAYER_TBL_type again;
    ASSERT_EQ(CDBLayerTableGet(h, index, &again), 0);
    EXPECT_EQ(+again.color, 5);

    CDB_LAYER_TBL_type renamed = Layer("0");
    EXPECT_EQ(CDBLayerTableModify(h, index, &renamed), CDB_NAME_EXISTS);
    CDB_LAYER_TBL_type kept;
    ASSERT_EQ(CDBLayerTableGet(h, index, &kept), 0);
    EXPECT_STREQ(kept.name, "WALLS");
}

TEST_F(R13TableEdit, EveryFamilyAddsWithANewHandle) {
    CDB_STYLE_TBL_type style;
    CDBStyleTableDefault(&style);
    EXPECT_GE(CDBStyleTableAdd(h, &style), 0);
    std::free(style.font_file); // the default's own blocks: the table keeps copies
    std::free(style.bigfont_file);
    CDB_APPID_TBL_type appid;
    CDBAppidTableDefault(&appid);
    EXPECT_GE(CDBAppidTableAdd(h, &appid), 0);
    CDB_UCS_TBL_type ucs;
    CDBUCSTableDefault(&ucs);
    EXPECT_GE(CDBUCSTableAdd(h, &ucs), 0);
    CDB_VIEW_TBL_type view;
    CDBViewTableDefault(&view);
    EXPECT_GE(CDBViewTableAdd(h, &view), 0);
    CDB_VPORT_TBL_type vport;
    CDBVportTableDefault(&vport);
    EXPECT_GE(CDBVportTableAdd(h, &vport), 0);
    CDB_DIMSTYLE_TBL_type dimstyle;
    CDBDimStyleTableDefault(&dimstyle);
    EXPECT_GE(CDBDimStyleTableAdd(h, &dimstyle), 0);
    for (char *text :
         {dimstyle.dimpost, dimstyle.dimapost, dimstyle.dimblk, dimstyle.dimblk1, dimstyle.dimblk2})
        std::free(text);
    EXPECT_EQ(Seed(), "106");
    for (const char *handle : {"100", "101", "102", "103", "104", "105"})
        EXPECT_EQ(MapOffset(handle), 0) << handle;
    EXPECT_TRUE(MapIsSorted());
}

TEST_F(R13TableEdit, TheTableKeepsCopiesOfItsOwn) {
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    walls.color = 3;
    const int16_t index = CDBLayerTableAdd(h, &walls);
    std::strcpy(name_buffer, "CHANGED");
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h, index, &read), 0);
    EXPECT_STREQ(read.name, "WALLS");
    EXPECT_EQ(+read.color, 3);
}

TEST_F(R13TableEdit, ABadIndexFails) {
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    EXPECT_EQ(CDBLayerTableModify(h, 99, &walls), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableDelete(h, 99), CDB_FAIL);
}

} // namespace
} // namespace r13edit
} // namespace velko_test
