// The release 13 DXF reader on hand-made files, each test in both forms: ASCII and binary
// (two-byte group codes, values by the release 13 types). The drawing is opened as the
// library's open does it -- the sniff, then CR13Drawing::OpenDXFFrom -- and loaded.
#include "support/dxf_text.h"
#include "support/r13_dxf_fixture.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_sniff.h"
#include "dxf/r13_dxf_reader.h"
#include "interface/test_files.h"
#include "io/drawing_file.h"

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

// ---- The groups of a small drawing ------------------------------------------------------

DxfText &Header(DxfText &d) {
    return d.Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1012")
        .G(9, "$HANDSEED")
        .G(5, "FF")
        .EndSection();
}

DxfText &Ltypes(DxfText &d) {
    d.R13Table("LTYPE", "5", 2);
    d.R13Record("LTYPE", "14", "AcDbLinetypeTableRecord")
        .G(2, "CONTINUOUS")
        .G(70, 0)
        .G(3, "Solid line")
        .G(72, 65)
        .G(73, 0)
        .G(40, 0.0);
    d.R13Record("LTYPE", "15", "AcDbLinetypeTableRecord")
        .G(2, "DASHED")
        .G(70, 0)
        .G(3, "__ __")
        .G(72, 65)
        .G(73, 2)
        .G(40, 0.75)
        .G(49, 0.5)
        .G(74, 0)
        .G(49, -0.25)
        .G(74, 2);
    return d.EndTable();
}

DxfText &Layers(DxfText &d) {
    d.R13Table("LAYER", "2", 3);
    d.R13Record("LAYER", "10", "AcDbLayerTableRecord")
        .G(2, "0")
        .G(70, 0)
        .G(62, 7)
        .G(6, "CONTINUOUS");
    d.R13Record("LAYER", "11", "AcDbLayerTableRecord")
        .G(2, "WALLS")
        .G(70, 4)
        .G(62, -1)
        .G(6, "DASHED");
    d.R13Record("LAYER", "16", "AcDbLayerTableRecord")
        .G(2, "ODD")
        .G(70, 0)
        .G(62, 3)
        .G(6, "BYBLOCK");
    return d.EndTable();
}

DxfText &OtherTables(DxfText &d) {
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
    d.R13Table("VPORT", "8", 1);
    d.R13Record("VPORT", "30", "AcDbViewportTableRecord")
        .G(2, "*ACTIVE")
        .G(70, 0)
        .G(10, 0.0)
        .G(20, 0.0)
        .G(11, 1.0)
        .G(21, 1.0)
        .G(12, 5.0)
        .G(22, 4.0)
        .G(13, 0.5)
        .G(23, 0.25)
        .G(14, 1.0)
        .G(24, 1.0)
        .G(15, 0.0)
        .G(25, 0.0)
        .G(16, 0.0)
        .G(26, 0.0)
        .G(36, 1.0)
        .G(17, 0.0)
        .G(27, 0.0)
        .G(37, 0.0)
        .G(40, 9.0)
        .G(41, 1.5)
        .G(42, 50.0)
        .G(43, 0.0)
        .G(44, 0.0)
        .G(50, 0.0)
        .G(51, 0.0)
        .G(71, 0)
        .G(72, 100)
        .G(73, 1)
        .G(74, 1)
        .G(75, 1)
        .G(76, 0)
        .G(77, 0)
        .G(78, 0);
    d.EndTable();
    d.R13Table("APPID", "9", 1);
    d.R13Record("APPID", "12", "AcDbRegAppTableRecord").G(2, "ACAD").G(70, 0);
    d.EndTable();
    d.R13Table("DIMSTYLE", "A", 1);
    d.G(0, "DIMSTYLE")
        .G(105, "1D")
        .G(100, "AcDbSymbolTableRecord")
        .G(100, "AcDbDimStyleTableRecord")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "")
        .G(5, "DOT")
        .G(40, 1.0)
        .G(41, 0.18)
        .G(140, 0.18)
        .G(270, 2)
        .G(271, 4)
        .G(272, 3)
        .G(273, 2)
        .G(274, 1)
        .G(340, "20")
        .G(275, 1)
        .G(280, 1)
        .G(281, 1)
        .G(288, 1);
    d.EndTable();
    d.R13Table("BLOCK_RECORD", "1", 3);
    d.R13Record("BLOCK_RECORD", "1F", "AcDbBlockTableRecord").G(2, "*MODEL_SPACE");
    d.R13Record("BLOCK_RECORD", "1B", "AcDbBlockTableRecord").G(2, "*PAPER_SPACE");
    d.R13Record("BLOCK_RECORD", "40", "AcDbBlockTableRecord").G(2, "DOOR").G(70, 0);
    return d.EndTable();
}

DxfText &Block(DxfText &d, const char *name, const char *handle) {
    d.G(0, "BLOCK").G(5, handle).G(100, "AcDbEntity");
    d.G(8, "0")
        .G(100, "AcDbBlockBegin")
        .G(2, name)
        .G(70, 0)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(3, name)
        .G(1, "");
    return d;
}

DxfText &EndBlock(DxfText &d, const char *handle) {
    return d.G(0, "ENDBLK").G(5, handle).G(100, "AcDbEntity").G(8, "0").G(100, "AcDbBlockEnd");
}

DxfText &Line(DxfText &d, const char *handle, double x) {
    return d.G(0, "LINE")
        .G(5, handle)
        .G(100, "AcDbEntity")
        .G(8, "0")
        .G(100, "AcDbLine")
        .G(10, x)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, x + 1.0)
        .G(21, 1.0)
        .G(31, 0.0);
}

DxfText &Blocks(DxfText &d) {
    d.Section("BLOCKS");
    Block(d, "*MODEL_SPACE", "20");
    EndBlock(d, "21");
    Block(d, "*PAPER_SPACE", "1C");
    EndBlock(d, "1D");
    Block(d, "DOOR", "41");
    Line(d, "42", 5.0);
    EndBlock(d, "43");
    return d.EndSection();
}

// The head of a whole drawing up to the ENTITIES section's first entity.
DxfText DrawingHead() {
    DxfText d;
    Header(d);
    d.Section("TABLES");
    Ltypes(d);
    Layers(d);
    OtherTables(d);
    d.EndSection();
    Blocks(d);
    d.Section("ENTITIES");
    return d;
}

// An OBJECTS section with its dictionaries and two multiline styles.
DxfText &Objects(DxfText &d) {
    d.Section("OBJECTS");
    d.G(0, "DICTIONARY")
        .G(5, "C")
        .G(100, "AcDbDictionary")
        .G(3, "ACAD_GROUP")
        .G(350, "D")
        .G(3, "ACAD_MLINESTYLE")
        .G(350, "17");
    d.G(0, "DICTIONARY")
        .G(5, "D")
        .G(102, "{ACAD_REACTORS")
        .G(330, "C")
        .G(102, "}")
        .G(100, "AcDbDictionary");
    d.G(0, "DICTIONARY")
        .G(5, "17")
        .G(102, "{ACAD_REACTORS")
        .G(330, "C")
        .G(102, "}")
        .G(100, "AcDbDictionary")
        .G(3, "STANDARD")
        .G(350, "18")
        .G(3, "TWIN")
        .G(350, "19");
    d.G(0, "MLINESTYLE")
        .G(5, "18")
        .G(102, "{ACAD_REACTORS")
        .G(330, "17")
        .G(102, "}")
        .G(100, "AcDbMlineStyle")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "")
        .G(62, 256)
        .G(51, 90.0)
        .G(52, 90.0)
        .G(71, 2)
        .G(49, 0.5)
        .G(62, 256)
        .G(6, "BYLAYER")
        .G(49, -0.5)
        .G(62, 1)
        .G(6, "DASHED");
    d.G(0, "MLINESTYLE")
        .G(5, "19")
        .G(102, "{ACAD_REACTORS")
        .G(330, "17")
        .G(102, "}")
        .G(100, "AcDbMlineStyle")
        .G(2, "TWIN")
        .G(70, 1)
        .G(3, "two")
        .G(62, 5)
        .G(51, 45.0)
        .G(52, 135.0)
        .G(71, 1)
        .G(49, 0.25)
        .G(62, 2)
        .G(6, "BYBLOCK");
    return d.EndSection();
}

// ---- Opening and loading ------------------------------------------------------------------

class R13DxfRead : public ::testing::TestWithParam<Form> {
protected:
    bool Binary() const { return GetParam() == Form::kBinary; }

    std::vector<uint8_t> Bytes(const DxfText &groups) const {
        if (Binary())
            return R13DxfBinary(groups);
        const std::string text = groups.Ascii();
        return std::vector<uint8_t>(text.begin(), text.end());
    }

    // Opens the bytes as the library's open does and loads them: LoadDWG's result.
    int LoadBytes(const std::vector<uint8_t> &bytes) {
        drawing_.reset();
        file_.reset();
        file_ = std::make_unique<TempFile>(Binary() ? "r13_read_b.dxf" : "r13_read_a.dxf", bytes);
        auto opened = std::make_unique<CDrawingFile>();
        EXPECT_EQ(opened->Open(file_->c_str(), kDrawingFileRead), 1);
        const DxfSniff sniff = SniffDxf(*opened);
        EXPECT_EQ(sniff.release, 13);
        EXPECT_EQ(sniff.form, Binary() ? CDxfStream::kBinary : CDxfStream::kAscii);
        drawing_ = std::make_unique<CR13Drawing>(nullptr, 0);
        EXPECT_EQ(drawing_->OpenDXFFrom(opened, file_->c_str(), Binary() ? 1 : 0), 1);
        return drawing_->LoadDWG();
    }
    int Load(const DxfText &groups) { return LoadBytes(Bytes(groups)); }

    CR13Drawing &D() { return *drawing_; }
    CR13Table &T(R13Table which) { return drawing_->Table(which); }
    template <typename Record> Record &Rec(R13Table which, int index) {
        return *static_cast<Record *>(T(which).records.At(index)->GetRecord());
    }
    int16_t KindAt(int index) {
        const CModelEntity *entity = D().Entities().At(index);
        return entity && entity->GetData() ? entity->GetData()->entity_type : -1;
    }

    std::unique_ptr<TempFile> file_;
    std::unique_ptr<CR13Drawing> drawing_;
};

INSTANTIATE_TEST_SUITE_P(Forms, R13DxfRead, ::testing::Values(Form::kAscii, Form::kBinary),
                         [](const ::testing::TestParamInfo<Form> &info) {
                             return info.param == Form::kAscii ? "Ascii" : "Binary";
                         });

DxfText WholeDrawing() {
    DxfText d = DrawingHead();
    Line(d, "50", 0.0);
    Line(d, "51", 10.0);
    d.EndSection();
    Objects(d);
    return d.Eof();
}

TEST_P(R13DxfRead, ModelSpaceEntitiesFormTheMainListAndTheSpacesLeaveTheBlockList) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    // The two lines, closed by model space's ENDBLK.
    ASSERT_EQ(D().Entities().Count(), 3);
    EXPECT_EQ(KindAt(0), CDB_LINE);
    EXPECT_EQ(KindAt(1), CDB_LINE);
    EXPECT_EQ(KindAt(2), CDB_ENDBLK);
    EXPECT_STREQ(D().Entities().At(1)->GetData()->handle, "51");
    // Only DOOR stays in the block list and in the block table, one to one.
    ASSERT_EQ(D().Blocks().Count(), 1);
    EXPECT_STREQ(D().Blocks().At(0)->record->name, "DOOR");
    EXPECT_EQ(D().Blocks().At(0)->entities->Count(), 2);
    ASSERT_EQ(T(R13Table::kBlocks).records.Count(), 1);
    EXPECT_STREQ(T(R13Table::kBlocks).records.At(0)->RecordName(), "DOOR");
    EXPECT_STREQ(T(R13Table::kBlocks).records.At(0)->RecordHandle(), "40");
    // The record takes the block's base point, as a DWG's holds it.
    auto *door = static_cast<CR13BlockRecord *>(T(R13Table::kBlocks).records.At(0));
    EXPECT_DOUBLE_EQ(door->BasePoint().x, 1.0);
    EXPECT_DOUBLE_EQ(door->BasePoint().y, 2.0);
    EXPECT_EQ(static_cast<CR13Block *>(D().Blocks().At(0))->header, door);
    EXPECT_DOUBLE_EQ(D().Blocks().At(0)->record->base_point.y, 2.0);
    // The spaces are kept apart: their records and their blocks.
    ASSERT_NE(D().ModelSpaceRecord(), nullptr);
    EXPECT_STREQ(D().ModelSpaceRecord()->RecordHandle(), "1F");
    ASSERT_NE(D().PaperSpaceRecord(), nullptr);
    EXPECT_STREQ(D().PaperSpaceRecord()->RecordName(), "*PAPER_SPACE");
    ASSERT_NE(D().ModelSpaceBlock(), nullptr);
    EXPECT_EQ(D().ModelSpaceBlock()->entities->Count(), 0);
    ASSERT_NE(D().PaperSpaceBlock(), nullptr);
    EXPECT_EQ(D().PaperSpaceBlock()->entities->Count(), 1); // its ENDBLK
    EXPECT_EQ(D().IsAnyPaperSpace(), 0);
}

TEST_P(R13DxfRead, AnEntityOfPaperSpaceMarksTheDrawing) {
    DxfText d = DrawingHead();
    Line(d, "50", 0.0).G(67, 1);
    d.EndSection().Eof();
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    EXPECT_EQ(D().Entities().At(0)->GetData()->space, 1);
    EXPECT_EQ(D().IsAnyPaperSpace(), 1);
}

TEST_P(R13DxfRead, UnknownEntityNameIsSkippedGroupByGroup) {
    DxfText d = DrawingHead();
    Line(d, "50", 0.0);
    d.G(0, "WIPEOUT")
        .G(5, "52")
        .G(100, "AcDbEntity")
        .G(8, "0")
        .G(100, "AcDbWipeout")
        .G(90, 0)
        .G(10, 3.0)
        .G(20, 4.0)
        .G(30, 0.0)
        .G(280, 1)
        .G(340, "1F");
    Line(d, "51", 10.0);
    d.EndSection().Eof();
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    ASSERT_EQ(D().Entities().Count(), 3);
    EXPECT_STREQ(D().Entities().At(0)->GetData()->handle, "50");
    EXPECT_STREQ(D().Entities().At(1)->GetData()->handle, "51");
}

TEST_P(R13DxfRead, AValueInsideAnUnknownEntityThatNamesAKindStartsThatKind) {
    DxfText d = DrawingHead();
    d.G(0, "WIPEOUT").G(5, "52").G(1, "LINE").G(5, "53").G(10, 7.0).G(20, 0.0).G(30, 0.0);
    d.EndSection().Eof();
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    ASSERT_EQ(D().Entities().Count(), 2);
    EXPECT_EQ(KindAt(0), CDB_LINE);
    EXPECT_STREQ(D().Entities().At(0)->GetData()->handle, "53");
}

TEST_P(R13DxfRead, ATableWhoseControlRecordLacksItsMarkerLosesItsFirstRecord) {
    DxfText d;
    Header(d);
    d.Section("TABLES");
    Ltypes(d);
    // 5 and 70 only: the reads of the marker and the count take 70 and the first record's
    // group 0, and its groups are then passed over up to the next record.
    d.G(0, "TABLE").G(2, "LAYER").G(5, "2").G(70, 2);
    d.R13Record("LAYER", "10", "AcDbLayerTableRecord").G(2, "0").G(62, 7).G(6, "CONTINUOUS");
    d.R13Record("LAYER", "11", "AcDbLayerTableRecord").G(2, "WALLS").G(62, 1).G(6, "DASHED");
    d.EndTable();
    d.EndSection();
    Blocks(d);
    d.Section("ENTITIES").EndSection().Eof();
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    ASSERT_EQ(T(R13Table::kLayers).records.Count(), 1);
    EXPECT_STREQ(T(R13Table::kLayers).records.At(0)->RecordName(), "WALLS");
    EXPECT_EQ(T(R13Table::kLayers).head.handle, "2");
}

TEST_P(R13DxfRead, AStyleWithoutABigFontHasAnEmptyOne) {
    DxfText d;
    Header(d);
    d.Section("TABLES");
    Ltypes(d);
    Layers(d);
    d.R13Table("STYLE", "3", 1);
    d.R13Record("STYLE", "20", "AcDbTextStyleTableRecord").G(2, "STANDARD").G(70, 0).G(3, "txt");
    d.EndTable();
    d.EndSection();
    Blocks(d);
    d.Section("ENTITIES").EndSection().Eof();
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    auto &style = Rec<CDB_STYLE_TBL_type>(R13Table::kStyles, 0);
    EXPECT_STREQ(style.font_file, "txt");
    ASSERT_NE(style.bigfont_file, nullptr);
    EXPECT_STREQ(style.bigfont_file, "");
}

TEST_P(R13DxfRead, TablesKeepTheirControlRecordsHandleAndCount) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    EXPECT_EQ(T(R13Table::kLtypes).head.handle, "5");
    EXPECT_EQ(T(R13Table::kLtypes).head.entry_count, 2);
    EXPECT_EQ(T(R13Table::kLayers).head.handle, "2");
    EXPECT_EQ(T(R13Table::kLayers).head.entry_count, 3);
    EXPECT_EQ(T(R13Table::kDimstyles).head.handle, "A");
    EXPECT_EQ(T(R13Table::kBlocks).head.handle, "1");
}

TEST_P(R13DxfRead, LayersNameTheirLineTypesByHandle) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    ASSERT_EQ(T(R13Table::kLayers).records.Count(), 3);
    auto &zero = Rec<CDB_LAYER_TBL_type>(R13Table::kLayers, 0);
    EXPECT_STREQ(zero.name, "0");
    EXPECT_STREQ(zero.handle, "10");
    EXPECT_STREQ(zero.line_type_handle, "14");
    EXPECT_EQ(zero.line_type_index, 0);
    auto &walls = Rec<CDB_LAYER_TBL_type>(R13Table::kLayers, 1);
    EXPECT_STREQ(walls.line_type_handle, "15");
    EXPECT_EQ(walls.line_type_index, 1);
    EXPECT_EQ(walls.flags, 4);
    EXPECT_EQ(walls.color, -1);
    EXPECT_STREQ(Rec<CDB_LAYER_TBL_type>(R13Table::kLayers, 2).line_type_handle, "0");
}

TEST_P(R13DxfRead, LineTypesCountTheShapeFlagsOfEachDash) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    auto &dashed = Rec<CDB_LTYPE_TBL_type>(R13Table::kLtypes, 1);
    EXPECT_STREQ(dashed.name, "DASHED");
    EXPECT_STREQ(dashed.handle, "15");
    ASSERT_EQ(dashed.dash_count, 2);
    EXPECT_DOUBLE_EQ(dashed.pattern_length, 0.75);
    EXPECT_DOUBLE_EQ(dashed.dashes[0], 0.5);
    EXPECT_DOUBLE_EQ(dashed.dashes[1], -0.25);
    EXPECT_EQ(dashed.complex_types[0], 0);
    EXPECT_EQ(dashed.complex_types[1], 2);
    EXPECT_EQ(dashed.alignment, 65);
    EXPECT_STREQ(dashed.description, "__ __");
}

TEST_P(R13DxfRead, DimensionStylesKeepTheirHandleUnder105AndDimblkUnder5) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    auto &style = Rec<CDB_DIMSTYLE_TBL_type>(R13Table::kDimstyles, 0);
    EXPECT_STREQ(style.handle, "1D");
    EXPECT_STREQ(style.dimblk, "DOT");
    EXPECT_DOUBLE_EQ(style.dimtxt, 0.18);
    EXPECT_EQ(style.dimunit, 2);
    EXPECT_EQ(style.dimdec, 4);
    EXPECT_EQ(style.dimtdec, 3);
    EXPECT_EQ(style.dimaltu, 2);
    EXPECT_EQ(style.dimalttd, 1);
    EXPECT_EQ(style.dimaunit, 1);
    EXPECT_EQ(style.dimjust, 1);
    EXPECT_EQ(style.dimsd1, 1);
    EXPECT_EQ(style.dimupt, 1);
    EXPECT_STREQ(style.dimtxsty, "20");
}

TEST_P(R13DxfRead, StylesViewportsAndApplicationsTakeTheirReleaseTwelveGroups) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    auto &style = Rec<CDB_STYLE_TBL_type>(R13Table::kStyles, 0);
    EXPECT_STREQ(style.handle, "20");
    EXPECT_STREQ(style.font_file, "txt");
    EXPECT_DOUBLE_EQ(style.last_height, 0.2);
    auto &vport = Rec<CDB_VPORT_TBL_type>(R13Table::kVports, 0);
    EXPECT_STREQ(vport.name, "*ACTIVE");
    EXPECT_DOUBLE_EQ(vport.view_center.x, 5.0);
    EXPECT_DOUBLE_EQ(vport.view_center.y, 4.0);
    EXPECT_DOUBLE_EQ(vport.view_direction.z, 1.0);
    EXPECT_EQ(vport.circle_zoom, 100);
    EXPECT_STREQ(Rec<CDB_APPID_TBL_type>(R13Table::kAppids, 0).handle, "12");
}

TEST_P(R13DxfRead, TwoMultilineStylesOfObjectsGiveTwoStylesAndTheDictionariesNoTrace) {
    ASSERT_EQ(Load(WholeDrawing()), 1) << D().LoadFailure();
    ASSERT_EQ(D().GetMLineStyleTableCount(), 2);
    CDB_MLINESTYLE_TBL_type *standard = D().GetMLineStyleTable(0);
    EXPECT_STREQ(standard->name, "STANDARD");
    EXPECT_STREQ(standard->handle, "18");
    EXPECT_EQ(standard->fill_color, 256);
    EXPECT_DOUBLE_EQ(standard->start_angle, 90.0);
    ASSERT_EQ(standard->element_count, 2);
    EXPECT_DOUBLE_EQ(standard->elements[0].offset, 0.5);
    EXPECT_EQ(standard->elements[0].color, 256);
    EXPECT_EQ(standard->elements[0].line_type_index, -1);
    EXPECT_DOUBLE_EQ(standard->elements[1].offset, -0.5);
    EXPECT_EQ(standard->elements[1].color, 1);
    EXPECT_EQ(standard->elements[1].line_type_index, 1);
    CDB_MLINESTYLE_TBL_type *twin = D().GetMLineStyleTable(1);
    EXPECT_STREQ(twin->name, "TWIN");
    EXPECT_EQ(twin->flags, 1);
    EXPECT_EQ(twin->fill_color, 5);
    EXPECT_STREQ(twin->description, "two");
    EXPECT_DOUBLE_EQ(twin->end_angle, 135.0);
    ASSERT_EQ(twin->element_count, 1);
    EXPECT_EQ(twin->elements[0].color, 2);
    EXPECT_EQ(twin->elements[0].line_type_index, 0);
    // The dictionaries: no entity, no table record, nothing else.
    EXPECT_EQ(D().Entities().Count(), 3);
    EXPECT_EQ(T(R13Table::kBlocks).records.Count(), 1);
    EXPECT_EQ(D().Blocks().Count(), 1);
}

TEST_P(R13DxfRead, TheTailIsEverythingBehindTheEntitiesSection) {
    const DxfText groups = WholeDrawing();
    const std::vector<uint8_t> bytes = Bytes(groups);
    ASSERT_EQ(LoadBytes(bytes), 1) << D().LoadFailure();
    // The tail: OBJECTS and EOF, in the file's form.
    DxfText tail;
    Objects(tail).Eof();
    std::vector<uint8_t> expected = Bytes(tail);
    if (Binary())
        expected.erase(expected.begin(), expected.begin() + 22);
    ASSERT_EQ(D().TailSize(), static_cast<int32_t>(expected.size()));
    EXPECT_EQ(D().TailStart() + D().TailSize(), static_cast<int32_t>(bytes.size()));
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin() + D().TailStart()));
}

// ---- The header ---------------------------------------------------------------------------

DxfText HeaderDrawing(DxfText &variables) {
    DxfText d;
    d.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012");
    for (const auto &g : variables.Groups())
        d.G(g.first, g.second);
    d.EndSection().Section("TABLES");
    Ltypes(d);
    Layers(d);
    OtherTables(d);
    d.EndSection();
    Blocks(d);
    d.Section("ENTITIES").EndSection().Eof();
    return d;
}

TEST_P(R13DxfRead, HeaderVariablesAreReadByTheirTypes) {
    DxfText v;
    v.G(9, "$ANGBASE")
        .G(50, 90.0)
        .G(9, "$LTSCALE")
        .G(40, 2.5)
        .G(9, "$CELTSCALE")
        .G(40, 0.5)
        .G(9, "$GRIDUNIT")
        .G(10, 0.5)
        .G(20, 0.25)
        .G(9, "$VIEWDIR")
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 1.0)
        .G(9, "$EXTMIN")
        .G(10, -1.0)
        .G(20, -2.0)
        .G(30, -3.0)
        .G(9, "$CMLJUST")
        .G(70, 2)
        .G(9, "$DIMUPT")
        .G(70, 1)
        .G(9, "$SNAPMODE")
        .G(70, 1)
        .G(9, "$HANDSEED")
        .G(5, "2A")
        .G(9, "$MENU")
        .G(1, "acad")
        .G(9, "$DWGCODEPAGE")
        .G(3, "ansi_1252")
        .G(9, "$CMLSCALE")
        .G(40, 20.0);
    ASSERT_EQ(Load(HeaderDrawing(v)), 1) << D().LoadFailure();
    const CDB_HEADER_type &h = D().Header().vars;
    EXPECT_STREQ(h.acadver, "AC1012");
    // A binary real under any code but 40 reads as 0.
    EXPECT_DOUBLE_EQ(h.angbase, Binary() ? 0.0 : 90.0);
    EXPECT_DOUBLE_EQ(h.ltscale, 2.5);
    EXPECT_DOUBLE_EQ(h.celtscale, 0.5);
    EXPECT_DOUBLE_EQ(h.cmlscale, 20.0);
    EXPECT_DOUBLE_EQ(h.gridunit.x, 0.5);
    EXPECT_DOUBLE_EQ(h.gridunit.y, 0.25);
    EXPECT_DOUBLE_EQ(h.viewdir.z, 1.0);
    EXPECT_DOUBLE_EQ(h.extmin.z, -3.0);
    EXPECT_EQ(h.cmljust, 2);
    EXPECT_EQ(h.dimupt, 1);
    EXPECT_EQ(h.snapmode, 1);
    EXPECT_STREQ(h.handseed, "2A");
    EXPECT_STREQ(h.menu, "acad");
    EXPECT_STREQ(h.dwgcodepage, "ansi_1252");
    // Not in the file: zero.
    EXPECT_DOUBLE_EQ(h.textsize, 0.0);
}

TEST_P(R13DxfRead, HeaderNamesBecomeHandleTextsAfterTheTables) {
    DxfText v;
    v.G(9, "$CLAYER")
        .G(8, "WALLS")
        .G(9, "$CELTYPE")
        .G(6, "BYBLOCK")
        .G(9, "$TEXTSTYLE")
        .G(7, "STANDARD")
        .G(9, "$DIMSTYLE")
        .G(2, "*UNNAMED")
        .G(9, "$DIMTXSTY")
        .G(7, "STANDARD")
        .G(9, "$UCSNAME")
        .G(2, "")
        .G(9, "$PUCSNAME")
        .G(2, "NOWHERE")
        .G(9, "$CMLSTYLE")
        .G(2, "STANDARD");
    DxfText d = HeaderDrawing(v);
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    const CDB_HEADER_type &h = D().Header().vars;
    EXPECT_STREQ(h.hclayer, "11");
    EXPECT_EQ(h.clayer, 1);
    EXPECT_STREQ(h.hceltype, "0");
    EXPECT_STREQ(h.htextstyle, "20");
    EXPECT_EQ(h.textstyle, 0);
    EXPECT_STREQ(h.hdimstyle, "-1");
    EXPECT_EQ(h.dimstyle, -1);
    EXPECT_STREQ(h.hdimtxsty, "20");
    // No named coordinate system: an empty reference, as a DWG reads it.
    EXPECT_STREQ(h.hucsname, "");
    EXPECT_EQ(h.ucsname, -1);
    // A name the table lacks: no handle.
    EXPECT_EQ(h.hpucsname, nullptr);
    EXPECT_EQ(h.pucsname, -1);
    // No multiline style was read: none to name.
    EXPECT_EQ(h.hcmlstyle, nullptr);
}

TEST_P(R13DxfRead, AnEmptyUcsNameIsAnEmptyReferenceAsInADwg) {
    DxfText v;
    v.G(9, "$UCSNAME").G(2, "").G(9, "$PUCSNAME").G(2, "").G(9, "$CLAYER").G(8, "");
    DxfText d = HeaderDrawing(v);
    ASSERT_EQ(Load(d), 1) << D().LoadFailure();
    const CDB_HEADER_type &h = D().Header().vars;
    EXPECT_STREQ(h.hucsname, "");
    EXPECT_STREQ(h.hpucsname, "");
    EXPECT_EQ(h.ucsname, -1);
    EXPECT_EQ(h.pucsname, -1);
    // Other empty names keep their mark.
    EXPECT_STREQ(h.hclayer, "-1");
}

TEST_P(R13DxfRead, TheActiveViewportFillsTheViewVariablesTheHeaderLeftZero) {
    DxfText v;
    v.G(9, "$VIEWSIZE").G(40, 3.0);
    ASSERT_EQ(Load(HeaderDrawing(v)), 1) << D().LoadFailure();
    const CDB_HEADER_type &h = D().Header().vars;
    EXPECT_DOUBLE_EQ(h.viewsize, 3.0);
    EXPECT_DOUBLE_EQ(h.viewctr.x, 5.0);
    EXPECT_DOUBLE_EQ(h.viewdir.z, 1.0);
    EXPECT_DOUBLE_EQ(h.snapbase.x, 0.5);
    EXPECT_EQ(h.snapmode, 1);
}

// ---- Files the reader cannot go through ---------------------------------------------------

TEST_P(R13DxfRead, A3dLineStallsTheDispatchAndEndsTheLoadAsInvalid) {
    DxfText d = DrawingHead();
    d.G(0, "3DLINE").G(8, "0").G(10, 0.0).G(20, 0.0).G(30, 0.0);
    d.EndSection().Eof();
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE);
}

TEST_P(R13DxfRead, A3dLineInABlockEndsTheLoadAsInvalid) {
    DxfText d;
    Header(d);
    d.Section("BLOCKS");
    Block(d, "*MODEL_SPACE", "20");
    d.G(0, "3DLINE").G(8, "0").G(10, 0.0).G(20, 0.0).G(30, 0.0);
    EndBlock(d, "21");
    d.EndSection().Section("ENTITIES").EndSection().Eof();
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE);
}

TEST_P(R13DxfRead, AnOle2FrameStallsTheDispatchAndEndsTheLoadAsInvalid) {
    DxfText d = DrawingHead();
    d.G(0, "OLE2FRAME").G(8, "0").G(70, 2);
    d.EndSection().Eof();
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE);
}

TEST_P(R13DxfRead, AFileThatEndsInsideAnEntityIsInvalid) {
    DxfText d = DrawingHead();
    d.G(0, "LINE").G(8, "0").G(10, 1.0);
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE);
}

TEST_P(R13DxfRead, AFileThatEndsInsideASectionIsInvalid) {
    for (const char *section : {"HEADER", "TABLES", "BLOCKS"}) {
        DxfText d;
        if (std::strcmp(section, "HEADER") == 0) {
            d.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012").G(9, "$LTSCALE").G(40, 1.0);
        } else {
            Header(d);
            d.Section("TABLES");
            Ltypes(d);
            if (std::strcmp(section, "BLOCKS") == 0) {
                d.EndSection().Section("BLOCKS");
                Block(d, "*MODEL_SPACE", "20");
            }
        }
        EXPECT_EQ(Load(d), 0) << section;
        EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE) << section;
    }
}

TEST_P(R13DxfRead, AFileWithoutEofIsInvalid) {
    DxfText d = DrawingHead();
    Line(d, "50", 0.0);
    d.EndSection();
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), CDB_ERR_INVALID_FILE);
}

TEST_P(R13DxfRead, SomethingOtherThanABlockInBlocksLeavesTheDrawingUnloaded) {
    DxfText d;
    Header(d);
    d.Section("BLOCKS");
    Line(d, "50", 0.0);
    d.EndSection().Section("ENTITIES").EndSection().Eof();
    // The second phase ends there with success, and with the lists not loaded: walks are
    // refused.
    EXPECT_EQ(Load(d), 1);
    EXPECT_EQ(D().TriggerLoading(), 0);
    EXPECT_NE(D().LoadFailure().find("other than a block"), std::string::npos);
}

TEST_P(R13DxfRead, ATableThatStandsTwiceFailsTheLoadWithoutACode) {
    DxfText d;
    Header(d);
    d.Section("TABLES");
    Layers(d);
    Layers(d);
    d.EndSection();
    Blocks(d);
    d.Section("ENTITIES").EndSection().Eof();
    EXPECT_EQ(Load(d), 0);
    EXPECT_EQ(D().GetError(), 0);
    EXPECT_NE(D().LoadFailure().find("twice"), std::string::npos);
}

TEST_P(R13DxfRead, EntitiesWithoutAModelSpaceBlockAreRefused) {
    DxfText d;
    Header(d);
    d.Section("BLOCKS").EndSection().Section("ENTITIES");
    Line(d, "50", 0.0);
    d.EndSection().Eof();
    EXPECT_EQ(Load(d), 0);
    EXPECT_NE(D().LoadFailure().find("*MODEL_SPACE"), std::string::npos);
}

// ---- The binary stream of release 13 ------------------------------------------------------

TEST(R13DxfStream, BinaryBandsOfReleaseThirteenArriveByTheirTypes) {
    DxfText d;
    d.G(0, "SECTION")
        .G(92, 70000)
        .G(99, -2)
        .G(102, "{ACAD_REACTORS")
        .G(105, "1D")
        .G(147, 0.1)
        .G(178, -4)
        .G(275, 3)
        .G(289, 9)
        .G(300, "s300")
        .G(309, "s309")
        .G(310, "41420043")
        .G(340, "1F")
        .G(360, "2A")
        .G(369, "3B")
        .G(1005, "AB")
        .G(1009, "z")
        .G(420, "unknown")
        .G(8, "0");
    TempFile file("r13_bands.dxf", R13DxfBinary(d));
    CDrawingFile input;
    ASSERT_EQ(input.Open(file.c_str(), kDrawingFileRead), 1);
    input.SetPosition(CDxfStream::kBinarySentinelSize, 0);
    CDxfStream stream;
    stream.AttachInput(&input, CDxfStream::kBinary, CDxfStream::kRelease13);
    const char *expected[][2] = {
        {"0", "SECTION"}, {"92", "70000"},    {"99", "-2"},    {"102", "{ACAD_REACTORS"},
        {"105", "1D"},    {"147", "0.1"},     {"178", "-4"},   {"275", "3"},
        {"289", "9"},     {"300", "s300"},    {"309", "s309"}, {"310", "chunk"},
        {"340", "1F"},    {"360", "2A"},      {"369", "3B"},   {"1005", "AB"},
        {"1009", "z"},    {"420", "unknown"}, {"8", "0"},
    };
    for (const auto &e : expected) {
        int16_t code = -1;
        char value[CDxfStream::kValueSize] = {};
        ASSERT_EQ(stream.ReadGroup(&code, value), 1);
        EXPECT_EQ(code, std::atoi(e[0]));
        if (code == 310) {
            // A chunk: its length byte, then the bytes, cut at the first zero.
            EXPECT_EQ(static_cast<uint8_t>(value[0]), 4);
            EXPECT_STREQ(value + 1, "AB");
        } else {
            EXPECT_STREQ(value, e[1]) << code;
        }
    }
    EXPECT_FALSE(stream.AtEnd());
}

TEST(R13DxfSniff, ABinaryFileWithoutItsSentinelIsNoDxfOfEitherRelease) {
    DxfText d;
    d.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012").EndSection().Eof();
    const std::vector<uint8_t> bytes = R13DxfBinary(d);
    TempFile with("r13_sentinel.dxf", bytes);
    TempFile without(
        "r13_no_sentinel.dxf",
        std::vector<uint8_t>(bytes.begin() + CDxfStream::kBinarySentinelSize, bytes.end()));
    CDrawingFile a;
    CDrawingFile b;
    ASSERT_EQ(a.Open(with.c_str(), kDrawingFileRead), 1);
    ASSERT_EQ(b.Open(without.c_str(), kDrawingFileRead), 1);
    const DxfSniff sniffed = SniffDxf(a);
    EXPECT_EQ(sniffed.form, CDxfStream::kBinary);
    EXPECT_EQ(sniffed.release, 13);
    // Without the sentinel the bytes are taken for ASCII, which they are not.
    const DxfSniff bare = SniffDxf(b);
    EXPECT_EQ(bare.form, CDxfStream::kAscii);
    EXPECT_EQ(bare.release, 0);
}

// ---- The dispatch table -------------------------------------------------------------------

TEST(R13DxfDispatch, NamesGiveTheObjectTypesOfTheirKinds) {
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("TEXT"), 1);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("LINE"), 19);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("3DLINE"), 19);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("OLEFRAME"), 500);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("OLE2FRAME"), 500);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("TRACE"), 32);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("MLINE"), 47);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("WIPEOUT"), 0);
    EXPECT_EQ(CR13DxfReader::EntityTypeOfName("line"), 0);
}

} // namespace
} // namespace velko_test
