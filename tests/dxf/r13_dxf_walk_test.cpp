// The flat interface on a release 13 DXF, in both forms (ASCII, and binary with two-byte
// group codes): a hand-made drawing written as a file and opened with CDBStartFileReading,
// then walked as an application does -- the entity walk and ids, counts, CDBNavigate into an
// inserted block and back, the filters, the viewport chain, the extended data cursor, the
// block walk, the tables, header variables by name, view mode, and an external reference to a
// release 13 DWG made by the test builder.
#include "support/dwg13_builder.h"
#include "support/dxf_text.h"
#include "support/r13_dxf_fixture.h"
#include "walk/walk_support.h"

#include "dwg13/r13_entity_kinds.h"
#include "interface/test_files.h"
#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

enum class Form { kAscii, kBinary };

// ---- The drawing --------------------------------------------------------------------------

DxfText &EntityHead(DxfText &d, const char *kind, const char *handle, const char *layer,
                    const char *marker, bool paper = false) {
    d.G(0, kind).G(5, handle).G(100, "AcDbEntity");
    if (paper)
        d.G(67, 1);
    return d.G(8, layer).G(100, marker);
}

DxfText &Line(DxfText &d, const char *handle, const char *layer, double x, bool paper = false) {
    return EntityHead(d, "LINE", handle, layer, "AcDbLine", paper)
        .G(10, x)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, x + 1.0)
        .G(21, 1.0)
        .G(31, 0.0);
}

DxfText &Viewport(DxfText &d, const char *handle, int id, double x) {
    return EntityHead(d, "VIEWPORT", handle, "0", "AcDbViewport", true)
        .G(10, x)
        .G(20, 5.0)
        .G(30, 0.0)
        .G(40, 8.0)
        .G(41, 6.0)
        .G(68, id)
        .G(69, id);
}

DxfText &BlockBegin(DxfText &d, const char *name, const char *handle, int flags,
                    const std::string &path = "") {
    return d.G(0, "BLOCK")
        .G(5, handle)
        .G(100, "AcDbEntity")
        .G(8, "0")
        .G(100, "AcDbBlockBegin")
        .G(2, name)
        .G(70, flags)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(3, name)
        .G(1, path);
}

DxfText &BlockEnd(DxfText &d, const char *handle) {
    return d.G(0, "ENDBLK").G(5, handle).G(100, "AcDbEntity").G(8, "0").G(100, "AcDbBlockEnd");
}

DxfText &Header(DxfText &d) {
    return d.Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1012")
        .G(9, "$HANDSEED")
        .G(5, "FFF")
        .G(9, "$INSBASE")
        .G(10, 3.0)
        .G(20, 4.0)
        .G(30, 0.0)
        .G(9, "$LTSCALE")
        .G(40, 2.5)
        .G(9, "$CLAYER")
        .G(8, "WALLS")
        .EndSection();
}

// Line type CONTINUOUS; layers "0" and "WALLS" (off: colour -2); style STANDARD; applications
// ACAD and VELKO; block records of both spaces, DOOR and, with `xref`, the reference REF.
DxfText &Tables(DxfText &d, bool xref) {
    d.Section("TABLES");
    d.R13Table("LTYPE", "5", 1);
    d.R13Record("LTYPE", "14", "AcDbLinetypeTableRecord")
        .G(2, "CONTINUOUS")
        .G(70, 0)
        .G(3, "Solid line")
        .G(72, 65)
        .G(73, 0)
        .G(40, 0.0);
    d.EndTable();
    d.R13Table("LAYER", "2", 2);
    d.R13Record("LAYER", "10", "AcDbLayerTableRecord")
        .G(2, "0")
        .G(70, 0)
        .G(62, 7)
        .G(6, "CONTINUOUS");
    d.R13Record("LAYER", "11", "AcDbLayerTableRecord")
        .G(2, "WALLS")
        .G(70, 0)
        .G(62, -2)
        .G(6, "CONTINUOUS");
    d.EndTable();
    d.R13Table("STYLE", "3", 1);
    d.R13Record("STYLE", "20", "AcDbTextStyleTableRecord")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(40, 0.0)
        .G(41, 1.0)
        .G(50, 0.0)
        .G(71, 0)
        .G(42, 0.2)
        .G(3, "txt")
        .G(4, "");
    d.EndTable();
    d.R13Table("APPID", "9", 2);
    d.R13Record("APPID", "12", "AcDbRegAppTableRecord").G(2, "ACAD").G(70, 0);
    d.R13Record("APPID", "13", "AcDbRegAppTableRecord").G(2, "VELKO").G(70, 0);
    d.EndTable();
    d.R13Table("BLOCK_RECORD", "1", xref ? 4 : 3);
    d.R13Record("BLOCK_RECORD", "1F", "AcDbBlockTableRecord").G(2, "*MODEL_SPACE");
    d.R13Record("BLOCK_RECORD", "1B", "AcDbBlockTableRecord").G(2, "*PAPER_SPACE");
    d.R13Record("BLOCK_RECORD", "40", "AcDbBlockTableRecord").G(2, "DOOR");
    if (xref)
        d.R13Record("BLOCK_RECORD", "60", "AcDbBlockTableRecord").G(2, "REF");
    d.EndTable();
    return d.EndSection();
}

// DOOR: an attribute definition and a line; REF (with a path): a reference, empty.
DxfText &Blocks(DxfText &d, const std::string &xref_path) {
    d.Section("BLOCKS");
    BlockBegin(d, "*MODEL_SPACE", "21", 0);
    BlockEnd(d, "22");
    BlockBegin(d, "*PAPER_SPACE", "1C", 0);
    BlockEnd(d, "1D");
    BlockBegin(d, "DOOR", "41", 2);
    EntityHead(d, "ATTDEF", "42", "0", "AcDbText")
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(40, 1.0)
        .G(1, "")
        .G(100, "AcDbAttributeDefinition")
        .G(3, "Number?")
        .G(2, "NUMBER")
        .G(70, 0);
    Line(d, "43", "0", 5.0);
    BlockEnd(d, "44");
    if (!xref_path.empty()) {
        BlockBegin(d, "REF", "61", 4, xref_path);
        BlockEnd(d, "62");
    }
    return d.EndSection();
}

// Model space: a line "50" with extended data of VELKO and of ACAD, an insert "51" of DOOR
// with its attribute "52" and end "53", a line "54" on WALLS; paper space: viewports "55"
// (number 1) and "56" (number 2) and a line "57".
DxfText &Entities(DxfText &d) {
    d.Section("ENTITIES");
    Line(d, "50", "0", 0.0)
        .G(1001, "VELKO")
        .G(1000, "hello")
        .G(1070, 7)
        .G(1040, 2.5)
        .G(1001, "ACAD")
        .G(1071, 123456);
    EntityHead(d, "INSERT", "51", "0", "AcDbBlockReference")
        .G(66, 1)
        .G(2, "DOOR")
        .G(10, 10.0)
        .G(20, 0.0)
        .G(30, 0.0);
    EntityHead(d, "ATTRIB", "52", "0", "AcDbText")
        .G(10, 10.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(40, 1.0)
        .G(1, "17")
        .G(100, "AcDbAttribute")
        .G(2, "NUMBER")
        .G(70, 0);
    d.G(0, "SEQEND").G(5, "53").G(100, "AcDbEntity").G(8, "0");
    Line(d, "54", "WALLS", 20.0);
    Viewport(d, "55", 1, 0.0);
    Viewport(d, "56", 2, 10.0);
    Line(d, "57", "0", 30.0, true);
    return d.EndSection();
}

DxfText Drawing(const std::string &xref_path = "") {
    DxfText d;
    Header(d);
    Tables(d, !xref_path.empty());
    Blocks(d, xref_path);
    Entities(d);
    return d.Eof();
}

std::vector<uint8_t> FileBytes(const DxfText &groups, Form form) {
    if (form == Form::kBinary)
        return R13DxfBinary(groups);
    const std::string text = groups.Ascii();
    return std::vector<uint8_t>(text.begin(), text.end());
}

// ---- Opening ------------------------------------------------------------------------------

class R13DxfWalk : public ::testing::TestWithParam<Form> {
protected:
    void Open(const DxfText &groups) {
        file = std::make_unique<TempFile>(GetParam() == Form::kBinary ? "r13_walk_b.dxf"
                                                                      : "r13_walk_a.dxf",
                                          FileBytes(groups, GetParam()));
        h = CDBStartFileReading(file->c_str(), nullptr);
        ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    }
    void TearDown() override {
        if (h >= 0)
            CDBEndOperation(h);
    }

    // The handles of a list, from its first entity by CDBGetNextEntity.
    std::vector<std::string> Handles(int16_t block) {
        std::vector<std::string> handles;
        CDB_ENTITY entity{};
        int32_t id = CDBFirstEntity(h, block);
        if (id >= 0)
            id = CDBGetCurrentEntity(h, &entity);
        for (int guard = 0; id >= 0 && guard < 100; ++guard) {
            handles.push_back(entity.handle ? entity.handle : "");
            walk::FreeCopies(entity);
            entity = CDB_ENTITY{};
            id = CDBGetNextEntity(h, &entity);
        }
        return handles;
    }

    // The handles CDBNavigate gives from the start of the main list.
    std::vector<std::string> Navigated() {
        std::vector<std::string> handles;
        if (CDBFirstEntity(h, -1) < 0)
            return handles;
        CDB_ENTITY entity{};
        for (int guard = 0; guard < 100 && CDBNavigate(h, &entity) >= 0; ++guard) {
            handles.push_back(entity.handle ? entity.handle : "");
            walk::FreeCopies(entity);
            entity = CDB_ENTITY{};
        }
        return handles;
    }

    std::unique_ptr<TempFile> file;
    int16_t h = -1;
};

INSTANTIATE_TEST_SUITE_P(Forms, R13DxfWalk, ::testing::Values(Form::kAscii, Form::kBinary),
                         [](const ::testing::TestParamInfo<Form> &info) {
                             return info.param == Form::kBinary ? "Binary" : "Ascii";
                         });

// ---- The entity walk ----------------------------------------------------------------------

TEST_P(R13DxfWalk, MainListHoldsBothSpacesInFileOrderAndItsCountAgrees) {
    Open(Drawing());
    const std::vector<std::string> main = Handles(-1);
    // Behind the entities, model space's ENDBLK ends the list.
    const std::vector<std::string> expected = {"50", "51", "52", "53", "54",
                                               "55", "56", "57", "22"};
    EXPECT_EQ(main, expected);
    EXPECT_EQ(CDBEntityCount(h, -1), 9);
}

TEST_P(R13DxfWalk, EntityIdsLeadBackToTheirEntitiesAndGotoMovesTheCursor) {
    Open(Drawing());
    const int32_t first = CDBFirstEntity(h, -1);
    ASSERT_GE(first, 0);
    const int32_t second = CDBNextEntity(h);
    ASSERT_GE(second, 0);
    EXPECT_NE(first, second);
    CDB_ENTITY entity{};
    ASSERT_GE(CDBGetEntity(h, second, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_INSERT);
    EXPECT_STREQ(entity.handle, "51");
    walk::FreeCopies(entity);
    // GetEntity leaves the cursor where it stands: on the insert.
    entity = CDB_ENTITY{};
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    EXPECT_STREQ(entity.handle, "51");
    walk::FreeCopies(entity);
    ASSERT_EQ(CDBGotoEntity(h, first), 0);
    entity = CDB_ENTITY{};
    EXPECT_EQ(CDBGetCurrentEntity(h, &entity), first);
    EXPECT_EQ(+entity.entity_type, CDB_LINE);
    EXPECT_STREQ(entity.handle, "50");
    EXPECT_EQ(+entity.line.end_point.x, 1.0);
    walk::FreeCopies(entity);
}

TEST_P(R13DxfWalk, BlockListHoldsItsEntitiesAndItsEnd) {
    Open(Drawing());
    const int16_t door = CDBBlockTableFind(h, "DOOR");
    ASSERT_GE(door, 0);
    // The attribute definition, the line and the ENDBLK.
    EXPECT_EQ(CDBEntityCount(h, door), 3);
    const std::vector<std::string> handles = Handles(door);
    EXPECT_EQ(handles, (std::vector<std::string>{"42", "43", "44"}));
    const int32_t id = CDBFirstEntity(h, door);
    ASSERT_GE(id, 0);
    CDB_ENTITY entity{};
    ASSERT_GE(CDBGetEntity(h, id, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_ATTDEF);
    walk::FreeCopies(entity);
}

TEST_P(R13DxfWalk, NavigateEntersTheInsertedBlockAndComesBackForTheAttributes) {
    Open(Drawing());
    const std::vector<std::string> handles = Navigated();
    // The line; in place of the insert its block's definition and line; then the insert's
    // attribute and end, and the entities behind it.
    EXPECT_EQ(handles,
              (std::vector<std::string>{"50", "42", "43", "52", "53", "54", "55", "56", "57"}));
}

// ---- Filters ------------------------------------------------------------------------------

TEST_P(R13DxfWalk, LayerFilterHidesTheEntitiesOfAnOffLayer) {
    Open(Drawing());
    CDB_ENTITY entity{};
    int32_t id = CDBFirstEntity(h, -1);
    // To the line on WALLS, the fifth entity.
    for (int i = 0; i < 4 && id >= 0; ++i)
        id = CDBNextEntity(h);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    ASSERT_STREQ(entity.handle, "54");
    EXPECT_EQ(+entity.layer_index, CDBLayerTableFind(h, "WALLS"));
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 240);
    ASSERT_EQ(CDBLayerFilter(h, 1), 1);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 15);
    walk::FreeCopies(entity);
    const std::vector<std::string> handles = Navigated();
    EXPECT_NE(std::find(handles.begin(), handles.end(), "50"), handles.end());
    EXPECT_EQ(std::find(handles.begin(), handles.end(), "54"), handles.end());
}

TEST_P(R13DxfWalk, SpaceFilterHidesPaperSpace) {
    Open(Drawing());
    CDB_ENTITY entity{};
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    EXPECT_EQ(+entity.space, 0);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 240);
    entity.space = 1;
    ASSERT_EQ(CDBSpaceFilter(h, 1), 1);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 15);
    walk::FreeCopies(entity);
    const std::vector<std::string> handles = Navigated();
    EXPECT_NE(std::find(handles.begin(), handles.end(), "50"), handles.end());
    EXPECT_EQ(std::find(handles.begin(), handles.end(), "57"), handles.end());
    EXPECT_EQ(std::find(handles.begin(), handles.end(), "55"), handles.end());
}

// ---- Viewports ----------------------------------------------------------------------------

TEST_P(R13DxfWalk, ViewportChainGivesTheViewportsByNumberInFileOrder) {
    Open(Drawing());
    CDB_ENTITY entity{};
    ASSERT_EQ(CDBGetFirstViewport(h, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_VIEWPORT);
    EXPECT_STREQ(entity.handle, "55");
    EXPECT_EQ(+entity.viewport.viewport_id, 1);
    std::free(entity.viewport.frozen_layers);
    entity = CDB_ENTITY{};
    ASSERT_EQ(CDBGetNextViewport(h, &entity), 0);
    EXPECT_STREQ(entity.handle, "56");
    EXPECT_EQ(+entity.viewport.viewport_id, 2);
    std::free(entity.viewport.frozen_layers);
    entity = CDB_ENTITY{};
    EXPECT_EQ(CDBGetNextViewport(h, &entity), -133);
}

// ---- Extended data ------------------------------------------------------------------------

TEST_P(R13DxfWalk, ExtendedDataCursorGivesEachApplicationAndItsValues) {
    Open(Drawing());
    CDB_ENTITY entity{};
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    ASSERT_GT(+entity.eed_size, 0);
    CDB_EED_type cursor{};
    ASSERT_EQ(CDBGetEED(h, &entity, &cursor), 0);
    const int16_t velko = CDBAppidTableFind(h, "VELKO");
    const int16_t acad = CDBAppidTableFind(h, "ACAD");
    ASSERT_GE(velko, 0);
    ASSERT_GE(acad, 0);
    EXPECT_EQ(CDBEEDGetFirstAppid(h, &cursor), velko);
    EXPECT_EQ(CDBEEDGetNextAppid(h, &cursor), acad);
    EXPECT_EQ(CDBEEDGetNextAppid(h, &cursor), -6);
    // The values of every application in file order, each application's opened by code 1 with
    // its index in the application table.
    CDB_EED_VALUES value{};
    ASSERT_EQ(CDBEEDGetFirstValue(h, &cursor, &value), 1);
    EXPECT_EQ(+value.short_value, velko);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 0);
    EXPECT_STREQ(value.text, "hello");
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 70);
    EXPECT_EQ(+value.short_value, 7);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 40);
    EXPECT_EQ(value.real_value, 2.5);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 1);
    EXPECT_EQ(+value.short_value, acad);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 71);
    EXPECT_EQ(+value.long_value, 123456);
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &value), -6);
    walk::FreeCopies(entity);
}

// ---- Blocks, tables, header ---------------------------------------------------------------

TEST_P(R13DxfWalk, BlockWalkGivesEachBlockAndBlockGetTheSame) {
    Open(Drawing());
    std::vector<std::string> names;
    CDB_STARTBLOCK_ENTITY_type block{};
    int16_t status = CDBGetFirstBlock(h, &block);
    for (int guard = 0; status >= 0 && guard < 20; ++guard) {
        names.push_back(block.name ? block.name : "");
        CDB_STARTBLOCK_ENTITY_type current{};
        EXPECT_EQ(CDBGetCurrentBlock(h, &current), status);
        EXPECT_STREQ(current.name, block.name);
        walk::FreeCopies(current);
        walk::FreeCopies(block);
        block = CDB_STARTBLOCK_ENTITY_type{};
        status = CDBGetNextBlock(h, &block);
    }
    EXPECT_EQ(status, CDB_END_OF_BLOCKS);
    EXPECT_EQ(names, std::vector<std::string>{"DOOR"});
    const int16_t door = CDBBlockTableFind(h, "DOOR");
    ASSERT_GE(door, 0);
    block = CDB_STARTBLOCK_ENTITY_type{};
    ASSERT_GE(CDBBlockGet(h, door, &block), 0);
    EXPECT_STREQ(block.name, "DOOR");
    EXPECT_EQ(block.flags & 2, 2);
    EXPECT_EQ(block.base_point.x, 1.0);
    EXPECT_EQ(block.base_point.y, 2.0);
    walk::FreeCopies(block);
}

TEST_P(R13DxfWalk, TablesAnswerTheirCountsAndRecords) {
    Open(Drawing());
    EXPECT_EQ(CDBLayerTableCount(h), 2);
    EXPECT_EQ(CDBLineTypeTableCount(h), 1);
    EXPECT_EQ(CDBStyleTableCount(h), 1);
    EXPECT_EQ(CDBAppidTableCount(h), 2);
    EXPECT_EQ(CDBBlockTableCount(h), 1);
    CDB_LAYER_TBL_type layer{};
    const int16_t walls = CDBLayerTableFind(h, "WALLS");
    ASSERT_GE(walls, 0);
    ASSERT_EQ(CDBLayerTableGet(h, walls, &layer), 0);
    EXPECT_STREQ(layer.name, "WALLS");
    EXPECT_EQ(+layer.color, -2);
    CDB_LTYPE_TBL_type ltype{};
    ASSERT_EQ(CDBLineTypeTableGet(h, 0, &ltype), 0);
    EXPECT_STREQ(ltype.name, "CONTINUOUS");
    CDB_STYLE_TBL_type style{};
    ASSERT_EQ(CDBStyleTableGet(h, 0, &style), 0);
    EXPECT_STREQ(style.font_file, "txt");
    CDB_APPID_TBL_type appid{};
    ASSERT_EQ(CDBAppidTableGet(h, CDBAppidTableFind(h, "VELKO"), &appid), 0);
    EXPECT_STREQ(appid.name, "VELKO");
    CDB_BLOCK_TBL record{};
    ASSERT_EQ(CDBBlockTableGet(h, 0, &record), 0);
    EXPECT_STREQ(record.name, "DOOR");
    EXPECT_EQ(CDBLayerTableGet(h, 2, &layer), -123);
}

TEST_P(R13DxfWalk, HeaderVariablesAnswerByName) {
    Open(Drawing());
    CDB_VAR_VALUE_type value{};
    EXPECT_EQ(CDBGetVariableValue(h, "acadver", &value), CDB_VAR_TEXT);
    EXPECT_STREQ(value.text, "AC1012");
    EXPECT_EQ(CDBGetVariableValue(h, "ltscale", &value), CDB_VAR_REAL);
    EXPECT_EQ(value.real_value, 2.5);
    EXPECT_EQ(CDBGetVariableValue(h, "insbase", &value), CDB_VAR_POINT3);
    EXPECT_EQ(value.point3_value.x, 3.0);
    EXPECT_EQ(value.point3_value.y, 4.0);
    EXPECT_GE(CDBGetVariableValue(h, "clayer", &value), 0);
    EXPECT_EQ(CDBGetVariableValue(h, "nosuchvariable", &value), CDB_VAR_UNKNOWN);
}

// ---- View mode ----------------------------------------------------------------------------

// Takes the handles of what it is handed and frees the records.
class HandleReceiver : public CLibDrawing {
public:
    HandleReceiver() : CLibDrawing(1) {}
    void EntityCall(void *record) override { Take(record, entities); }
    void BlockCall(void *record) override { Take(record, blocks); }
    std::vector<std::string> entities, blocks;

private:
    static void Take(void *record, std::vector<std::string> &into) {
        auto *r = static_cast<CDB_ENTITY *>(record);
        into.push_back(r->handle ? r->handle : "");
        // The record is the receiver's, with the texts it points at (the kinds here own no
        // arrays).
        const int16_t kind = r->entity_type;
        std::free(r->handle);
        std::free(r->layer_handle);
        std::free(r->line_type_handle);
        std::free(r->eed_data);
        FreeOwnedTexts(r);
        for (uint16_t offset : HandleTextsOf(kind))
            std::free(*reinterpret_cast<char **>(reinterpret_cast<uint8_t *>(r) + offset));
        std::free(r);
    }
};

TEST_P(R13DxfWalk, ViewModeHandsTheMainListToEntityCall) {
    Open(Drawing());
    const std::vector<std::string> main = Handles(-1);
    HandleReceiver view;
    ASSERT_EQ(view.OpenDXFFile(file->c_str(), CDB_OPEN_READ, nullptr), 1);
    ASSERT_EQ(view.LoadDXF(), 1);
    view.LoadEntities();
    EXPECT_EQ(view.entities, main);
}

// ---- An external reference to a release 13 DWG -------------------------------------------

// The child: layers "A" and "B" behind "0", INSBASE (5, 6, 7), one line in model space on "B".
std::vector<uint8_t> ChildDrawing() {
    Dwg13Builder b;
    auto &layers = b.tables[Dwg13Builder::kLayerTable].records;
    layers.push_back(LayerObject(0x30, "A"));
    layers.push_back(LayerObject(0x31, "B"));
    b.header.vars.insbase = CDB_POINT3{5, 6, 7};
    const R13EntityKind *kind = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(0x40).Layer("31"));
    line->GetData()->line.end_point = CDB_POINT3{1, 2, 0};
    b.Space(kModelSpaceName)->entities.push_back(EntityObjectOf(*line));
    return b.Build();
}

TEST_P(R13DxfWalk, ReferenceBlockResolvesToTheChildDwg) {
    TempFile child("r13_dxf_xref_child.dwg", ChildDrawing());
    Open(Drawing(child.path()));
    const int16_t ref = CDBBlockTableFind(h, "REF");
    const int16_t door = CDBBlockTableFind(h, "DOOR");
    ASSERT_GE(ref, 0);
    ASSERT_GE(door, 0);
    char buffer[512] = {};
    ASSERT_EQ(CDBGetXREFPath(h, ref, buffer), 0);
    EXPECT_EQ(std::string(buffer), child.path());
    EXPECT_EQ(CDBGetXREFPath(h, door, buffer), -123);
    EXPECT_EQ(CDBResolveXREF(h, door), 0);

    const int layers_before = CDBLayerTableCount(h);
    ASSERT_EQ(CDBResolveXREF(h, ref), 0) << CDBGetErrorNumber(h);
    // The child's three layers follow the host's.
    EXPECT_EQ(CDBLayerTableCount(h), layers_before + 3);
    EXPECT_GE(CDBLayerTableFind(h, "B"), layers_before);
    // The child's model space is the block's list.
    const int32_t id = CDBFirstEntity(h, ref);
    ASSERT_GE(id, 0);
    CDB_ENTITY entity{};
    ASSERT_GE(CDBGetEntity(h, id, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_LINE);
    EXPECT_EQ(+entity.layer_index, layers_before + 2);
    EXPECT_EQ(entity.line.end_point.y, 2.0);
    walk::FreeCopies(entity);
    // The child's INSBASE is the block's base point now.
    CDB_STARTBLOCK_ENTITY_type block{};
    ASSERT_GE(CDBBlockGet(h, ref, &block), 0);
    EXPECT_STREQ(block.name, "REF");
    EXPECT_EQ(block.base_point.x, 5.0);
    EXPECT_EQ(block.base_point.z, 7.0);
    walk::FreeCopies(block);
}

} // namespace
} // namespace velko_test
