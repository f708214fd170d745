// Adding, modifying and deleting records of the eight editable tables of a release 12
// drawing. The records are byte-packed: their fields go to the assertion macros as copies
// (unary plus).
#include "edit/edit_support.h"

#include "interface/drawing_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace velko_test {
namespace edit {
namespace {

class TableEdit : public ::testing::Test {
protected:
    TableEdit() : drawing("table_edit.dwg", EditDrawing()) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }

    int16_t h() const { return drawing.handle; }

    CDB_LAYER_TBL_type Layer(const char *name) {
        CDB_LAYER_TBL_type r;
        CDBLayerTableDefault(&r);
        std::strncpy(name_buffer, name, sizeof name_buffer - 1);
        r.name = name_buffer;
        return r;
    }

    walk::OpenDrawing drawing;
    char name_buffer[64] = {};
};

// ---- Add ------------------------------------------------------------------------------------

TEST_F(TableEdit, AddingANameTwiceGivesNameExistsAndTheCallersNameIsUpperCased) {
    const int16_t count = CDBLayerTableCount(h());
    CDB_LAYER_TBL_type walls = Layer("Walls");
    const int16_t index = CDBLayerTableAdd(h(), &walls);
    EXPECT_EQ(index, count);
    EXPECT_STREQ(name_buffer, "WALLS");
    EXPECT_EQ(CDBLayerTableCount(h()), count + 1);

    CDB_LAYER_TBL_type again = Layer("WALLS");
    EXPECT_EQ(CDBLayerTableAdd(h(), &again), CDB_NAME_EXISTS);
    CDB_LAYER_TBL_type lower = Layer("walls");
    EXPECT_EQ(CDBLayerTableAdd(h(), &lower), CDB_NAME_EXISTS);
    EXPECT_STREQ(name_buffer, "WALLS");
    EXPECT_EQ(CDBLayerTableCount(h()), count + 1);
    EXPECT_EQ(CDBLayerTableFind(h(), "WALLS"), index);
}

TEST_F(TableEdit, NamesBeginningWithAStarAlwaysGoIn) {
    const int16_t count = CDBLayerTableCount(h());
    CDB_LAYER_TBL_type a = Layer("*star");
    EXPECT_EQ(CDBLayerTableAdd(h(), &a), count);
    CDB_LAYER_TBL_type b = Layer("*STAR");
    EXPECT_EQ(CDBLayerTableAdd(h(), &b), count + 1);
    EXPECT_EQ(CDBLayerTableCount(h()), count + 2);
}

TEST_F(TableEdit, TheTableKeepsCopiesOfItsOwn) {
    CDB_LAYER_TBL_type walls = Layer("WALLS");
    walls.color = 3;
    walls.line_type_index = 0;
    const int16_t index = CDBLayerTableAdd(h(), &walls);
    ASSERT_GE(index, 0);
    std::strcpy(name_buffer, "CHANGED");
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, "WALLS");
    EXPECT_NE(+read.name, name_buffer);
    EXPECT_EQ(+read.color, 3);
    EXPECT_EQ(+read.flags, 64);
}

TEST_F(TableEdit, ANameLongerThanThirtyOneCharactersIsCut) {
    CDB_LAYER_TBL_type r = Layer("A_VERY_LONG_LAYER_NAME_OF_FORTY_CHARS_X");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_EQ(std::strlen(read.name), 31u);
    EXPECT_EQ(std::string(read.name), std::string(name_buffer).substr(0, 31));
}

TEST_F(TableEdit, ReleaseThirteenReferencesAreNotTaken) {
    CDB_LAYER_TBL_type r = Layer("REFS");
    char handle[] = "1F";
    char ltype_handle[] = "2E";
    r.handle = handle;
    r.line_type_handle = ltype_handle;
    const int16_t index = CDBLayerTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_EQ(+read.handle, nullptr);
    EXPECT_EQ(+read.line_type_handle, nullptr);
}

TEST_F(TableEdit, NullRecordsAreRefusedWithInvalidParameter) {
    EXPECT_EQ(CDBLayerTableAdd(h(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
    EXPECT_EQ(CDBStyleTableModify(h(), 0, nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
}

TEST_F(TableEdit, BadHandleIsInvalidDrawingHandle) {
    CDB_LAYER_TBL_type r = Layer("X");
    EXPECT_EQ(CDBLayerTableAdd(200, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(200), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBLayerTableModify(200, 0, &r), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableDelete(200, 0), CDB_FAIL);
}

TEST_F(TableEdit, TheCaseFreeNameIndexFollowsAddModifyAndDelete) {
    CR12Drawing *d = R12(h());
    ASSERT_NE(d, nullptr);
    CR12TableList &layers = d->Table(kR12Layers);
    EXPECT_EQ(layers.FindNoCase("walls"), -1);
    CDB_LAYER_TBL_type r = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    EXPECT_EQ(layers.FindNoCase("walls"), index);
    CDB_LAYER_TBL_type renamed = Layer("DOORS");
    ASSERT_EQ(CDBLayerTableModify(h(), index, &renamed), 1);
    EXPECT_EQ(layers.FindNoCase("walls"), -1);
    EXPECT_EQ(layers.FindNoCase("doors"), index);
    ASSERT_EQ(CDBLayerTableDelete(h(), index), 0);
    EXPECT_EQ(layers.FindNoCase("doors"), -1);
}

// ---- Modify ---------------------------------------------------------------------------------

TEST_F(TableEdit, ModifyRenamesToAFreeName) {
    CDB_LAYER_TBL_type r = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    CDB_LAYER_TBL_type changed = Layer("DOORS");
    changed.color = -5;
    EXPECT_EQ(CDBLayerTableModify(h(), index, &changed), 1);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, "DOORS");
    EXPECT_EQ(+read.color, -5);
    EXPECT_EQ(CDBLayerTableFind(h(), "WALLS"), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableFind(h(), "DOORS"), index);
}

TEST_F(TableEdit, ModifyKeepingItsOwnNameReplacesTheRecord) {
    CDB_LAYER_TBL_type r = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    // The record handed out points at the table's own name: it is copied before the old
    // record goes.
    read.color = 2;
    EXPECT_EQ(CDBLayerTableModify(h(), index, &read), 1);
    CDB_LAYER_TBL_type again;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &again), 0);
    EXPECT_STREQ(+again.name, "WALLS");
    EXPECT_EQ(+again.color, 2);
}

TEST_F(TableEdit, ModifyToAnotherRecordsNameGivesNameExistsAndChangesNothing) {
    CDB_LAYER_TBL_type a = Layer("WALLS");
    const int16_t walls = CDBLayerTableAdd(h(), &a);
    CDB_LAYER_TBL_type b = Layer("DOORS");
    const int16_t doors = CDBLayerTableAdd(h(), &b);
    CDB_LAYER_TBL_type clash = Layer("WALLS");
    clash.color = 1;
    EXPECT_EQ(CDBLayerTableModify(h(), doors, &clash), CDB_NAME_EXISTS);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), doors, &read), 0);
    EXPECT_STREQ(+read.name, "DOORS");
    EXPECT_EQ(+read.color, 7);
    EXPECT_EQ(CDBLayerTableFind(h(), "WALLS"), walls);
}

TEST_F(TableEdit, ModifyIsCaseSensitiveAndDoesNotUpperCase) {
    CDB_LAYER_TBL_type a = Layer("WALLS");
    CDBLayerTableAdd(h(), &a);
    CDB_LAYER_TBL_type b = Layer("DOORS");
    const int16_t doors = CDBLayerTableAdd(h(), &b);
    CDB_LAYER_TBL_type lower = Layer("walls");
    EXPECT_EQ(CDBLayerTableModify(h(), doors, &lower), 1);
    EXPECT_STREQ(name_buffer, "walls");
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), doors, &read), 0);
    EXPECT_STREQ(+read.name, "walls");
}

TEST_F(TableEdit, ModifyToAStarNamePassesEvenWhenTheNameIsTaken) {
    CDB_LAYER_TBL_type a = Layer("*X");
    const int16_t first = CDBLayerTableAdd(h(), &a);
    CDB_LAYER_TBL_type b = Layer("DOORS");
    const int16_t doors = CDBLayerTableAdd(h(), &b);
    CDB_LAYER_TBL_type star = Layer("*X");
    EXPECT_EQ(CDBLayerTableModify(h(), doors, &star), 1);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), doors, &read), 0);
    EXPECT_STREQ(+read.name, "*X");
    EXPECT_EQ(CDBLayerTableFind(h(), "*X"), first);
}

TEST_F(TableEdit, ModifyOfAnIndexOutsideTheTableFails) {
    CDB_LAYER_TBL_type r = Layer("X");
    EXPECT_EQ(CDBLayerTableModify(h(), CDBLayerTableCount(h()), &r), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableModify(h(), -1, &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_INDEX);
}

// ---- Delete ---------------------------------------------------------------------------------

TEST_F(TableEdit, DeleteKeepsTheSlotAndGetGivesTwo) {
    CDB_LAYER_TBL_type r = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    const int16_t count = CDBLayerTableCount(h());
    EXPECT_EQ(CDBLayerTableDelete(h(), index), 0);
    EXPECT_EQ(CDBLayerTableCount(h()), count);
    CDB_LAYER_TBL_type read;
    EXPECT_EQ(CDBLayerTableGet(h(), index, &read), CDB_DELETED);
    EXPECT_EQ(read.flags & 0x80, 0x80);
    EXPECT_EQ(+read.flags & 0x7F, 64);
    EXPECT_EQ(CDBLayerTableFind(h(), "WALLS"), CDB_FAIL);
    // The name is free again.
    CDB_LAYER_TBL_type again = Layer("WALLS");
    EXPECT_EQ(CDBLayerTableAdd(h(), &again), count);
}

TEST_F(TableEdit, ARecordAlreadyDeletedCanBeDeletedAgain) {
    CDB_LAYER_TBL_type r = Layer("WALLS");
    const int16_t index = CDBLayerTableAdd(h(), &r);
    EXPECT_EQ(CDBLayerTableDelete(h(), index), 0);
    EXPECT_EQ(CDBLayerTableDelete(h(), index), 0);
    CDB_LAYER_TBL_type read;
    EXPECT_EQ(CDBLayerTableGet(h(), index, &read), CDB_DELETED);
}

TEST_F(TableEdit, DeleteOfAnIndexOutsideTheTableFails) {
    EXPECT_EQ(CDBLayerTableDelete(h(), CDBLayerTableCount(h())), CDB_FAIL);
    EXPECT_EQ(CDBAppidTableDelete(h(), -3), CDB_FAIL);
}

TEST_F(TableEdit, EveryFamilyDeletes) {
    // The minimal tables hold one record each of layer, style, line type, viewport and
    // application; views, systems and dimension styles get one first.
    CDB_VIEW_TBL_type view;
    CDBViewTableDefault(&view);
    ASSERT_EQ(CDBViewTableAdd(h(), &view), 0);
    CDB_UCS_TBL_type ucs;
    CDBUCSTableDefault(&ucs);
    ASSERT_EQ(CDBUCSTableAdd(h(), &ucs), 0);
    CDB_DIMSTYLE_TBL_type dim;
    CDBDimStyleTableDefault(&dim);
    ASSERT_EQ(CDBDimStyleTableAdd(h(), &dim), 0);
    for (char *text : {dim.dimpost, dim.dimapost, dim.dimblk, dim.dimblk1, dim.dimblk2})
        std::free(text);

    EXPECT_EQ(CDBLayerTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBLineTypeTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBStyleTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBVportTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBViewTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBUCSTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBAppidTableDelete(h(), 0), 0);
    EXPECT_EQ(CDBDimStyleTableDelete(h(), 0), 0);

    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableGet(h(), 0, &layer), CDB_DELETED);
    CDB_LTYPE_TBL_type ltype;
    EXPECT_EQ(CDBLineTypeTableGet(h(), 0, &ltype), CDB_DELETED);
    CDB_STYLE_TBL_type style;
    EXPECT_EQ(CDBStyleTableGet(h(), 0, &style), CDB_DELETED);
    CDB_VPORT_TBL_type vport;
    EXPECT_EQ(CDBVportTableGet(h(), 0, &vport), CDB_DELETED);
    EXPECT_EQ(CDBViewTableGet(h(), 0, &view), CDB_DELETED);
    EXPECT_EQ(CDBUCSTableGet(h(), 0, &ucs), CDB_DELETED);
    CDB_APPID_TBL_type appid;
    EXPECT_EQ(CDBAppidTableGet(h(), 0, &appid), CDB_DELETED);
    EXPECT_EQ(CDBDimStyleTableGet(h(), 0, &dim), CDB_DELETED);
}

// ---- Records with blocks of their own -----------------------------------------------------

TEST_F(TableEdit, LineTypeKeepsItsDescriptionAndDashesInBlocksOfItsOwn) {
    CDB_LTYPE_TBL_type r;
    CDBLineTypeTableDefault(&r);
    char *default_description = r.description;
    double *default_dashes = r.dashes;
    char name[] = "DASHED";
    r.name = name;
    char description[80];
    std::memset(description, 'd', sizeof description - 1);
    description[sizeof description - 1] = '\0';
    r.description = description;
    double dashes[3] = {0.5, -0.25, 0.0};
    r.dashes = dashes;
    r.dash_count = 3;
    r.pattern_length = 0.75;
    const int16_t index = CDBLineTypeTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    std::free(default_description);
    std::free(default_dashes);

    CDB_LTYPE_TBL_type read;
    ASSERT_EQ(CDBLineTypeTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, "DASHED");
    // The description has the 48 bytes of the file and a terminator.
    ASSERT_NE(+read.description, nullptr);
    EXPECT_EQ(std::strlen(read.description), 48u);
    ASSERT_NE(+read.dashes, nullptr);
    EXPECT_NE(+read.dashes, dashes);
    EXPECT_EQ(+read.dash_count, 3);
    EXPECT_EQ(+read.dashes[0], 0.5);
    EXPECT_EQ(+read.dashes[1], -0.25);
    EXPECT_EQ(+read.dashes[2], 0.0);
    EXPECT_EQ(+read.pattern_length, 0.75);
    EXPECT_EQ(+read.alignment, 65);
}

TEST_F(TableEdit, StyleFontFilesGoIntoBlocksOfSixtyFourBytes) {
    CDB_STYLE_TBL_type r;
    CDBStyleTableDefault(&r);
    char *default_font = r.font_file;
    char *default_bigfont = r.bigfont_file;
    char name[] = "ROMANS";
    r.name = name;
    char font[100];
    std::memset(font, 'f', sizeof font - 1);
    font[sizeof font - 1] = '\0';
    r.font_file = font;
    const int16_t index = CDBStyleTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_STYLE_TBL_type read;
    ASSERT_EQ(CDBStyleTableGet(h(), index, &read), 0);
    ASSERT_NE(+read.font_file, nullptr);
    EXPECT_EQ(std::strlen(read.font_file), 63u);
    ASSERT_NE(+read.bigfont_file, nullptr);
    EXPECT_STREQ(+read.bigfont_file, "");
    EXPECT_NE(+read.bigfont_file, default_bigfont);
    EXPECT_EQ(+read.width_factor, 1.0);
    EXPECT_EQ(+read.last_height, 0.2);
    std::free(default_font);
    std::free(default_bigfont);
}

TEST_F(TableEdit, DimensionStyleTextsAreCutToTheirFields) {
    CDB_DIMSTYLE_TBL_type r;
    CDBDimStyleTableDefault(&r);
    char *defaults[] = {r.dimpost, r.dimapost, r.dimblk, r.dimblk1, r.dimblk2};
    char name[] = "DIMS";
    r.name = name;
    char post[40];
    std::memset(post, 'p', sizeof post - 1);
    post[sizeof post - 1] = '\0';
    char blk[] = "ARROW";
    r.dimpost = post;
    r.dimblk = blk;
    r.dimtxsty = blk;
    const int16_t index = CDBDimStyleTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    for (char *text : defaults)
        std::free(text);
    CDB_DIMSTYLE_TBL_type read;
    ASSERT_EQ(CDBDimStyleTableGet(h(), index, &read), 0);
    EXPECT_EQ(std::strlen(read.dimpost), 16u);
    EXPECT_STREQ(+read.dimblk, "ARROW");
    EXPECT_NE(+read.dimblk, blk);
    EXPECT_STREQ(+read.dimapost, "");
    EXPECT_EQ(+read.dimtxsty, nullptr);
    EXPECT_EQ(+read.dimscale, 1.0);
    EXPECT_EQ(+read.dimtih, 1);
}

} // namespace
} // namespace edit
} // namespace velko_test
