// Reading release 12 DXF files into a drawing: sections, tables, blocks, entities and the
// rules that set this reader apart.
#include "interface/test_files.h"
#include "support/dxf_text.h"

#include "dwg12/r12_drawing.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using velko_test::DxfText;
using velko_test::TempFile;

namespace {

// An open drawing from the groups, closed at the end of the test.
class OpenDxf {
public:
    explicit OpenDxf(const DxfText &dxf, bool binary = false)
        : file_(binary ? "read_test.dxf" : "read_test.dxf",
                binary ? dxf.Binary() : ToBytes(dxf.Ascii())) {
        handle_ = CDBStartFileReading(file_.c_str(), nullptr);
        error_ = handle_ == CDB_FAIL ? CDBGetErrorNumber(CDB_FAIL) : 0;
    }
    ~OpenDxf() {
        if (handle_ != CDB_FAIL)
            CDBEndOperation(handle_);
    }
    int16_t handle() const { return handle_; }
    int16_t error() const { return error_; }
    bool ok() const { return handle_ != CDB_FAIL; }

    // The main list's entities, without the closing kind 13.
    std::vector<CDB_ENTITY> Entities() const {
        std::vector<CDB_ENTITY> out;
        CDB_ENTITY e;
        if (CDBFirstEntity(handle_, -1) < 0)
            return out;
        while (CDBGetCurrentEntity(handle_, &e) >= 0) {
            if (e.entity_type != CDB_ENDBLK)
                out.push_back(e);
            if (CDBNextEntity(handle_) < 0)
                break;
        }
        return out;
    }
    CDB_ENTITY First() const {
        std::vector<CDB_ENTITY> all = Entities();
        CDB_ENTITY e;
        std::memset(&e, 0, sizeof e);
        if (!all.empty())
            e = all.front();
        return e;
    }

private:
    static std::vector<uint8_t> ToBytes(const std::string &text) {
        return std::vector<uint8_t>(text.begin(), text.end());
    }
    TempFile file_;
    int16_t handle_ = CDB_FAIL;
    int16_t error_ = 0;
};

// A drawing with two layers and a line type, and `entities` in its ENTITIES section.
DxfText WithTables(const DxfText &entities) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("LTYPE", 1)
        .G(0, "LTYPE")
        .G(2, "CONTINUOUS")
        .G(70, 0)
        .G(3, "Solid line")
        .G(72, 65)
        .G(73, 0)
        .G(40, 0.0)
        .EndTable()
        .Table("LAYER", 2)
        .Layer("0")
        .Layer("Walls", 3)
        .EndTable()
        .EndSection()
        .Section("ENTITIES");
    for (const auto &g : entities.Groups())
        dxf.G(g.first, g.second);
    dxf.EndSection().Eof();
    return dxf;
}

} // namespace

// ---- Sections ------------------------------------------------------------------------------

TEST(R12DxfRead, SectionsInAnyOrderReadInFull) {
    DxfText dxf;
    dxf.Section("TABLES")
        .Table("LAYER", 1)
        .Layer("Walls", 5)
        .EndTable()
        .EndSection()
        .Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1009")
        .G(9, "$CLAYER")
        .G(8, "WALLS")
        .EndSection()
        .Section("ENTITIES")
        .G(0, "INSERT")
        .G(8, "Walls")
        .G(2, "B1")
        .EndSection()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "B1")
        .G(70, 0)
        .G(10, 0.0)
        .G(20, 0.0)
        .G(0, "LINE")
        .G(8, "Walls")
        .G(0, "ENDBLK")
        .EndSection()
        .Eof();
    // The version must stand in the fourth group for the open check: HEADER first there.
    DxfText ordered;
    ordered.MinimalHeader();
    for (const auto &g : dxf.Groups())
        ordered.G(g.first, g.second);
    OpenDxf d(ordered);
    ASSERT_TRUE(d.ok()) << d.error();
    EXPECT_EQ(CDBLayerTableCount(d.handle()), 1);
    EXPECT_EQ(CDBBlockTableCount(d.handle()), 1);
    CDB_HEADER_type header;
    ASSERT_EQ(CDBGetAllVariables(d.handle(), &header), 0);
    EXPECT_EQ(+header.clayer, 0);
    CDB_ENTITY insert = d.First();
    EXPECT_EQ(+insert.entity_type, CDB_INSERT);
    EXPECT_EQ(+insert.insert.block_index, 0);
    EXPECT_EQ(+insert.layer_index, 0);
}

TEST(R12DxfRead, MainListEndsWithTheBlockEndSentinel) {
    DxfText e;
    e.G(0, "LINE").G(8, "0");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    EXPECT_EQ(CDBEntityCount(d.handle(), -1), 2);
    CDB_ENTITY last;
    ASSERT_GE(CDBGetEntity(d.handle(), CDBPackEntityId(-1, 1), &last), 0);
    EXPECT_EQ(+last.entity_type, CDB_ENDBLK);
}

TEST(R12DxfRead, FileWithNeitherBlocksNorEntitiesIsInvalid) {
    DxfText dxf;
    dxf.MinimalHeader().Section("TABLES").Table("LAYER", 1).Layer("A").EndTable().EndSection();
    dxf.Eof();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, MissingSectionsAreToleratedWithTheirEndMarks) {
    DxfText dxf;
    dxf.MinimalHeader().Section("ENTITIES").G(0, "LINE").G(8, "nowhere").EndSection().Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    EXPECT_EQ(CDBLayerTableCount(d.handle()), 0);
    EXPECT_EQ(+d.First().layer_index, -1);
}

// ---- Entities: the common groups -------------------------------------------------------------

TEST(R12DxfRead, LineOnALayerThatIsNotInTheTableHasIndexMinusOne) {
    DxfText e;
    e.G(0, "LINE").G(8, "NoSuchLayer");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    EXPECT_EQ(+d.First().layer_index, -1);
}

TEST(R12DxfRead, LayerLookupIgnoresCase) {
    DxfText e;
    e.G(0, "LINE").G(8, "wALLS");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    EXPECT_EQ(+d.First().layer_index, 1);
}

TEST(R12DxfRead, LineTypeByLayerWithoutGroupAndInLowerCaseAllGiveMinusOne) {
    DxfText e;
    e.G(0, "LINE").G(8, "0").G(6, "BYLAYER");
    e.G(0, "LINE").G(8, "0");
    e.G(0, "LINE").G(8, "0").G(6, "bylayer");
    e.G(0, "LINE").G(8, "0").G(6, "byblock");
    e.G(0, "LINE").G(8, "0").G(6, "BYBLOCK");
    e.G(0, "LINE").G(8, "0").G(6, "continuous");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 6u);
    EXPECT_EQ(+all[0].line_type_index, -1);
    EXPECT_EQ(+all[1].line_type_index, -1);
    EXPECT_EQ(+all[2].line_type_index, -1);
    // Only the exact word gives BYBLOCK.
    EXPECT_EQ(+all[3].line_type_index, -1);
    EXPECT_EQ(+all[4].line_type_index, -2);
    EXPECT_EQ(+all[5].line_type_index, 0);
}

TEST(R12DxfRead, CommonGroupsFillTheCommonPart) {
    DxfText e;
    e.G(0, "LINE").G(5, "1a2b").G(8, "Walls").G(62, 256).G(39, 2.5).G(67, 1);
    e.G(210, 0.0).G(220, 0.0).G(230, -1.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    CDB_ENTITY line = d.First();
    ASSERT_NE(line.handle, nullptr);
    // The handle's text is kept as it stands.
    EXPECT_STREQ(line.handle, "1a2b");
    EXPECT_EQ(+line.color, 256);
    EXPECT_EQ(+line.thickness, 2.5);
    EXPECT_EQ(+line.space, 1);
    EXPECT_EQ(+line.extrusion.z, -1.0);
}

TEST(R12DxfRead, AbsentColourAndLineTypeAreByLayer) {
    DxfText e;
    e.G(0, "POINT").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 3.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    CDB_ENTITY p = d.First();
    EXPECT_EQ(+p.color, -1);
    EXPECT_EQ(+p.line_type_index, -1);
    EXPECT_EQ(+p.extrusion.z, 1.0);
    EXPECT_EQ(+p.point.location.z, 3.0);
}

// ---- Entities: the z of two-dimensional kinds --------------------------------------------------

TEST(R12DxfRead, CircleElevationIsTheLastOfGroup30And38) {
    DxfText e;
    e.G(0, "CIRCLE").G(8, "0").G(10, 1.0).G(20, 1.0).G(30, 5.0).G(38, 7.0).G(40, 1.0);
    e.G(0, "CIRCLE").G(8, "0").G(10, 1.0).G(20, 1.0).G(38, 7.0).G(30, 5.0).G(40, 1.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(+all[0].elevation, 7.0);
    EXPECT_EQ(+all[1].elevation, 5.0);
    EXPECT_EQ(+all[0].circle.center.z, 0.0);
}

TEST(R12DxfRead, ArcKeepsGroup30InElevationAndCentreCircleOnlyInElevation) {
    DxfText e;
    e.G(0, "ARC").G(8, "0").G(10, 1.0).G(20, 1.0).G(30, 5.0).G(40, 2.0).G(50, 10.0).G(51, 20.0);
    e.G(0, "CIRCLE").G(8, "0").G(10, 1.0).G(20, 1.0).G(30, 5.0).G(40, 2.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(+all[0].elevation, 5.0);
    EXPECT_EQ(+all[0].arc.center.z, 5.0);
    EXPECT_EQ(+all[0].arc.start_angle, 10.0);
    EXPECT_EQ(+all[1].elevation, 5.0);
    EXPECT_EQ(+all[1].circle.center.z, 0.0);
}

TEST(R12DxfRead, TextZGoesToElevationAndVertexKeepsItTwice) {
    DxfText e;
    e.G(0, "TEXT").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 3.0).G(40, 0.5).G(1, "abc");
    e.G(0, "VERTEX").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 4.0);
    e.G(0, "SOLID").G(8, "0").G(10, 0.0).G(20, 0.0).G(30, 1.0).G(11, 1.0).G(21, 0.0).G(31, 2.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(+all[0].text.insertion_point.z, 0.0);
    EXPECT_EQ(+all[0].elevation, 3.0);
    EXPECT_EQ(+all[1].vertex.location.z, 4.0);
    EXPECT_EQ(+all[1].elevation, 4.0);
    // Every z group of a solid competes for the elevation: the last one wins.
    EXPECT_EQ(+all[2].elevation, 2.0);
    EXPECT_EQ(+all[2].solid.corner_1.z, 0.0);
    std::free(all[0].text.text);
}

// ---- Entities: texts and names
// -------------------------------------------------------------------

TEST(R12DxfRead, EmptyGroup1OfTextLeavesTheTextNull) {
    DxfText e;
    e.G(0, "TEXT").G(8, "0").G(40, 1.0).G(1, "");
    e.G(0, "TEXT").G(8, "0").G(40, 1.0).G(1, "Hello");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].text.text, nullptr);
    ASSERT_NE(all[1].text.text, nullptr);
    EXPECT_STREQ(all[1].text.text, "Hello");
    std::free(all[1].text.text);
}

TEST(R12DxfRead, FieldsThatTheWriterLeavesOutAtOneStartAtOne) {
    DxfText e;
    e.G(0, "INSERT").G(8, "0").G(2, "X");
    e.G(0, "TEXT").G(8, "0").G(1, "t");
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(+all[0].insert.x_scale, 1.0);
    EXPECT_EQ(+all[0].insert.y_scale, 1.0);
    EXPECT_EQ(+all[0].insert.z_scale, 1.0);
    EXPECT_EQ(+all[0].insert.column_count, 1);
    EXPECT_EQ(+all[0].insert.row_count, 1);
    EXPECT_EQ(+all[1].text.width_factor, 1.0);
    std::free(all[1].text.text);
}

TEST(R12DxfRead, InsertFindsItsBlockByNameIgnoringCaseAndAMissingBlockIsMinusOne) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "Door")
        .G(70, 0)
        .G(0, "ENDBLK")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "Window")
        .G(70, 0)
        .G(0, "ENDBLK")
        .EndSection()
        .Section("ENTITIES")
        .G(0, "INSERT")
        .G(8, "0")
        .G(2, "WINDOW")
        .G(0, "INSERT")
        .G(8, "0")
        .G(2, "Gate")
        .G(0, "DIMENSION")
        .G(8, "0")
        .G(2, "door")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(+all[0].insert.block_index, 1);
    EXPECT_EQ(+all[1].insert.block_index, -1);
    EXPECT_EQ(+all[2].dimension.block_index, 0);
}

TEST(R12DxfRead, TextStyleIsLookedUpInTheStyleTable) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("STYLE", 2)
        .G(0, "STYLE")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "txt")
        .G(0, "STYLE")
        .G(2, "Titles")
        .G(70, 0)
        .G(3, "txt")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .G(0, "TEXT")
        .G(8, "0")
        .G(1, "a")
        .G(7, "TITLES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    CDB_ENTITY text = d.First();
    EXPECT_EQ(+text.text.style_index, 1);
    std::free(text.text.text);
}

TEST(R12DxfRead, AShapeNameThatNoShapeFileKnowsGivesMinusOneTwice) {
    DxfText e;
    e.G(0, "SHAPE").G(8, "0").G(2, "NOSUCHSHAPE").G(40, 1.0);
    OpenDxf d(WithTables(e));
    ASSERT_TRUE(d.ok());
    CDB_ENTITY shape = d.First();
    EXPECT_EQ(+shape.shape.shape_number, -1);
    EXPECT_EQ(+shape.shape.shape_style_index, -1);
}

// ---- Extended data
// ---------------------------------------------------------------------------------

TEST(R12DxfRead, ExtendedDataAtTheEndOfAnEntityHandsBackTheNextName) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("APPID", 1)
        .G(0, "APPID")
        .G(2, "MYAPP")
        .G(70, 0)
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .G(0, "LINE")
        .G(8, "0")
        .G(1001, "MYAPP")
        .G(1071, "123")
        .G(1014, 1.0)
        .G(1024, 2.0)
        .G(1034, 3.0)
        .G(0, "POINT")
        .G(8, "0")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    std::vector<CDB_ENTITY> all = d.Entities();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(+all[1].entity_type, CDB_POINT);
    // 1001: code byte and a 2-byte index; 1071: code byte and 4 bytes; 1014 and its
    // followers are dropped.
    ASSERT_EQ(+all[0].eed_size, 3 + 5);
    const uint8_t expected[] = {1, 0, 0, 71, 123, 0, 0, 0};
    EXPECT_EQ(std::memcmp(all[0].eed_data, expected, sizeof expected), 0);
}

// ---- Tables
// -------------------------------------------------------------------------------------------

TEST(R12DxfRead, ViewTakesTheGroupAfter10AsItsCentreYWhateverItsCode) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("VIEW", 1)
        .G(0, "VIEW")
        .G(2, "V1")
        .G(70, 0)
        .G(10, 1.0)
        .G(40, 9.0)
        .G(11, 0.5)
        .G(41, 0.25)
        .G(21, 0.75)
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    CDB_VIEW_TBL_type view;
    ASSERT_GE(CDBViewTableGet(d.handle(), 0, &view), 0);
    EXPECT_EQ(+view.center.x, 1.0);
    EXPECT_EQ(+view.center.y, 9.0);
    EXPECT_EQ(+view.height, 0.0);
    EXPECT_EQ(+view.direction.x, 0.5);
    EXPECT_EQ(+view.direction.y, 0.25);
    EXPECT_EQ(+view.direction.z, 0.75);
    EXPECT_EQ(+view.width, 0.0);
}

TEST(R12DxfRead, LineTypeDashesArriveInOrderUpToTheCount) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("LTYPE", 1)
        .G(0, "LTYPE")
        .G(2, "DASHED")
        .G(70, 0)
        .G(3, "__ __")
        .G(72, 65)
        .G(73, 2)
        .G(40, 0.75)
        .G(49, 0.5)
        .G(49, -0.25)
        .G(49, 9.0)
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    CDB_LTYPE_TBL_type lt;
    ASSERT_GE(CDBLineTypeTableGet(d.handle(), 0, &lt), 0);
    EXPECT_STREQ(lt.name, "DASHED");
    EXPECT_STREQ(lt.description, "__ __");
    EXPECT_EQ(+lt.alignment, 65);
    ASSERT_EQ(+lt.dash_count, 2);
    EXPECT_EQ(lt.dashes[0], 0.5);
    EXPECT_EQ(lt.dashes[1], -0.25);
}

TEST(R12DxfRead, BigFontNameIsAppendedBehindTheFontFile) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("STYLE", 1)
        .G(0, "STYLE")
        .G(2, "S")
        .G(70, 0)
        .G(3, "txt")
        .G(4, "big")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    CDB_STYLE_TBL_type st;
    ASSERT_GE(CDBStyleTableGet(d.handle(), 0, &st), 0);
    EXPECT_STREQ(st.font_file, "txtbig");
}

TEST(R12DxfRead, LookupSkipsDeletedRecordsAndTakesTheFirstMatch) {
    DxfText e;
    e.G(0, "LINE").G(8, "dup");
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("LAYER", 3)
        .Layer("DUP", 1, "CONTINUOUS", 128)
        .Layer("Dup", 2)
        .Layer("dup", 3)
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .G(0, "LINE")
        .G(8, "dup")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    EXPECT_EQ(+d.First().layer_index, 1);
    // The deleted record keeps its place in the table.
    EXPECT_EQ(CDBLayerTableCount(d.handle()), 3);
}

TEST(R12DxfRead, TableHeadWithAHandleOrWithoutCountStillReadsItsRecords) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .G(0, "TABLE")
        .G(2, "LAYER")
        .G(5, "2")
        .G(70, 1)
        .Layer("A")
        .EndTable()
        .G(0, "TABLE")
        .G(2, "UCS")
        .EndTable()
        .G(0, "TABLE")
        .G(2, "APPID")
        .G(0, "APPID")
        .G(2, "ACAD")
        .G(70, 0)
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    EXPECT_EQ(CDBLayerTableCount(d.handle()), 1);
    EXPECT_EQ(CDBUCSTableCount(d.handle()), 0);
    EXPECT_EQ(CDBAppidTableCount(d.handle()), 1);
}

TEST(R12DxfRead, UnknownTableIsPassedOverAndUnknownRecordIsCorrupted) {
    DxfText ok;
    ok.MinimalHeader()
        .Section("TABLES")
        .Table("BLOCK_RECORD", 1)
        .G(0, "BLOCK_RECORD")
        .G(2, "*MODEL_SPACE")
        .EndTable()
        .Table("LAYER", 1)
        .Layer("0")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf a(ok);
    ASSERT_TRUE(a.ok()) << a.error();
    EXPECT_EQ(CDBLayerTableCount(a.handle()), 1);

    DxfText bad;
    bad.MinimalHeader()
        .Section("TABLES")
        .Table("LAYER", 1)
        .G(0, "FOO")
        .G(2, "x")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf b(bad);
    EXPECT_FALSE(b.ok());
    EXPECT_EQ(b.error(), CDB_ERR_DRAWING_CORRUPTED);
}

TEST(R12DxfRead, ASecondTableOfTheSameNameFailsTheLoad) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("LAYER", 1)
        .Layer("A")
        .EndTable()
        .Table("LAYER", 1)
        .Layer("B")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
}

TEST(R12DxfRead, ManyLayersLoadAsFastAsFew) {
    // Thousands of layers and one entity on each: the name lookup must not walk the table.
    auto build = [](int layers) {
        DxfText dxf;
        dxf.MinimalHeader().Section("TABLES").Table("LAYER", layers);
        for (int i = 0; i < layers; ++i)
            dxf.Layer(("L" + std::to_string(i)).c_str());
        dxf.EndTable().EndSection().Section("ENTITIES");
        for (int i = 0; i < 20000; ++i)
            dxf.G(0, "POINT").G(8, "l" + std::to_string(i % layers));
        dxf.EndSection().Eof();
        return dxf;
    };
    DxfText many = build(5000);
    auto start = std::chrono::steady_clock::now();
    OpenDxf d(many);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_TRUE(d.ok());
    CDB_ENTITY e;
    ASSERT_GE(CDBGetEntity(d.handle(), CDBPackEntityId(-1, 4999), &e), 0);
    EXPECT_EQ(+e.layer_index, 4999);
    // A linear scan would need over fifty million name comparisons here.
    EXPECT_LT(seconds, 2.0);
}

// ---- Blocks
// --------------------------------------------------------------------------------------------

TEST(R12DxfRead, BlockStartFillsTheBlockAndItsTableRecord) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "XREF1")
        .G(70, 4)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 3.0)
        .G(1, "c:\\dwg\\other.dwg")
        .G(0, "LINE")
        .G(8, "0")
        .G(0, "ENDBLK")
        .G(8, "0")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    ASSERT_TRUE(d.ok()) << d.error();
    CDB_BLOCK_TBL record;
    ASSERT_GE(CDBBlockTableGet(d.handle(), 0, &record), 0);
    EXPECT_STREQ(record.name, "XREF1");
    EXPECT_EQ(+record.flags, 4);
    CDB_STARTBLOCK_ENTITY_type block;
    ASSERT_GE(CDBGetFirstBlock(d.handle(), &block), 0);
    EXPECT_STREQ(block.name, "XREF1");
    EXPECT_STREQ(block.xref_path, "c:\\dwg\\other.dwg");
    EXPECT_EQ(+block.base_point.x, 1.0);
    EXPECT_EQ(+block.base_point.z, 0.0);
    std::free(block.name);
    std::free(block.name_2);
    std::free(block.xref_path);
    EXPECT_EQ(CDBEntityCount(d.handle(), 0), 2);
}

TEST(R12DxfRead, AnythingButABlockInTheBlocksSectionFailsTheLoad) {
    DxfText dxf;
    dxf.MinimalHeader().Section("BLOCKS").G(0, "LINE").G(8, "0").EndSection().Eof();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
}

// ---- Files that would stall the reader
// ------------------------------------------------------------

TEST(R12DxfRead, UnknownEntityKindEndsTheLoadAsInvalid) {
    DxfText e;
    e.G(0, "LINE").G(8, "0").G(0, "MTEXT").G(8, "0");
    OpenDxf d(WithTables(e));
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, ThreeDLineInABlockEndsTheLoadAsInvalid) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(2, "B")
        .G(0, "3DLINE")
        .G(8, "0")
        .G(0, "ENDBLK")
        .EndSection()
        .Eof();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_INVALID_FILE);
    // In the ENTITIES section the name is no kind at all.
    DxfText e;
    e.G(0, "3DLINE").G(8, "0");
    OpenDxf d2(WithTables(e));
    EXPECT_FALSE(d2.ok());
    EXPECT_EQ(d2.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, FileWithoutEofEndsTheLoadAsInvalid) {
    DxfText dxf;
    dxf.MinimalHeader().Section("ENTITIES").G(0, "LINE").G(8, "0").EndSection();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, FileEndingInsideAnEntityOrATableEndsTheLoadAsInvalid) {
    DxfText inside_entity;
    inside_entity.MinimalHeader().Section("ENTITIES").G(0, "LINE").G(8, "0").G(10, 1.0);
    OpenDxf a(inside_entity);
    EXPECT_EQ(a.error(), CDB_ERR_INVALID_FILE);

    DxfText inside_table;
    inside_table.MinimalHeader().Section("TABLES").Table("LAYER", 1).G(0, "LAYER").G(2, "A");
    OpenDxf b(inside_table);
    EXPECT_EQ(b.error(), CDB_ERR_INVALID_FILE);

    // Binary files end the same way.
    OpenDxf c(inside_entity, true);
    EXPECT_EQ(c.error(), CDB_ERR_INVALID_FILE);
}

// ---- The version check
// ----------------------------------------------------------------------------------

TEST(R12DxfRead, AsciiFileOfAnotherVersionIsInvalid) {
    DxfText dxf;
    dxf.Section("HEADER").G(9, "$ACADVER").G(1, "AC1006").EndSection().Eof();
    OpenDxf d(dxf);
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, BinaryFileOfAnotherVersionIsAVersionMismatch) {
    DxfText dxf;
    dxf.Section("HEADER").G(9, "$ACADVER").G(1, "AC1006").EndSection().Eof();
    OpenDxf d(dxf, true);
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.error(), CDB_ERR_VERSION_MISMATCH);
}

TEST(R12DxfRead, VersionIsComparedIgnoringCaseAndMustBeTheFourthGroup) {
    DxfText lower;
    lower.Section("HEADER").G(9, "$ACADVER").G(1, "ac1009").EndSection();
    lower.Section("ENTITIES").EndSection().Eof();
    OpenDxf a(lower);
    EXPECT_TRUE(a.ok()) << a.error();

    DxfText comment_first;
    comment_first.G(999, "made by hand").MinimalHeader().Eof();
    OpenDxf b(comment_first);
    EXPECT_FALSE(b.ok());
    EXPECT_EQ(b.error(), CDB_ERR_INVALID_FILE);
}

TEST(R12DxfRead, BinaryAndAsciiOfTheSameGroupsGiveTheSameRecords) {
    DxfText e;
    e.G(0, "ARC").G(8, "Walls").G(10, 0.1).G(20, 1.0 / 3.0).G(30, 2.0).G(40, 1.5);
    e.G(50, 30.0).G(51, 60.0).G(62, 3);
    e.G(0, "TEXT").G(8, "0").G(10, 1.0).G(20, 2.0).G(40, 0.25).G(1, "Label").G(72, 1);
    DxfText dxf = WithTables(e);
    OpenDxf ascii(dxf);
    OpenDxf binary(dxf, true);
    ASSERT_TRUE(ascii.ok());
    ASSERT_TRUE(binary.ok()) << binary.error();
    std::vector<CDB_ENTITY> a = ascii.Entities();
    std::vector<CDB_ENTITY> b = binary.Entities();
    ASSERT_EQ(a.size(), b.size());
    EXPECT_EQ(+a[0].arc.center.x, +b[0].arc.center.x);
    // 12 significant digits: a third keeps 12 of its digits in the binary road.
    EXPECT_NEAR(+a[0].arc.center.y, +b[0].arc.center.y, 1e-12);
    EXPECT_EQ(+a[0].elevation, +b[0].elevation);
    EXPECT_EQ(+a[0].color, +b[0].color);
    EXPECT_EQ(+a[0].layer_index, +b[0].layer_index);
    EXPECT_STREQ(a[1].text.text, b[1].text.text);
    EXPECT_EQ(+a[1].text.horizontal_justification, +b[1].text.horizontal_justification);
    std::free(a[1].text.text);
    std::free(b[1].text.text);
}

// ---- View mode
// --------------------------------------------------------------------------------------------

namespace {
class Viewer : public CLibDrawing {
public:
    Viewer() : CLibDrawing(1) {}
    void EntityCall(void *record) override {
        kinds.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    void BlockCall(void *record) override {
        block_kinds.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    std::vector<int> kinds;
    std::vector<int> block_kinds;
};
} // namespace

TEST(R12DxfRead, ViewModeLeavesTheEntitiesForLoadEntities) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(2, "B")
        .G(0, "CIRCLE")
        .G(8, "0")
        .G(0, "ENDBLK")
        .EndSection()
        .Section("ENTITIES")
        .G(0, "LINE")
        .G(8, "0")
        .G(0, "POINT")
        .G(8, "0")
        .EndSection()
        .Eof();
    std::string text = dxf.Ascii();
    TempFile file("view_mode.dxf", std::vector<uint8_t>(text.begin(), text.end()));
    Viewer viewer;
    ASSERT_EQ(viewer.OpenDXFFile(file.c_str(), CDB_OPEN_READ, nullptr), 1);
    ASSERT_EQ(viewer.LoadDXF(), 1);
    EXPECT_TRUE(viewer.kinds.empty());
    EXPECT_EQ(viewer.block_kinds, (std::vector<int>{CDB_CIRCLE, CDB_ENDBLK}));
    viewer.LoadEntities();
    EXPECT_EQ(viewer.kinds, (std::vector<int>{CDB_LINE, CDB_POINT}));
}

TEST(R12DxfRead, ReleaseThirteenDxfGoesToTheReleaseThirteenReader) {
    DxfText dxf;
    dxf.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012").EndSection();
    dxf.Section("BLOCKS").G(0, "BLOCK").G(8, "0").G(2, "*MODEL_SPACE").G(70, 0);
    dxf.G(0, "ENDBLK").G(8, "0").EndSection();
    dxf.Section("ENTITIES").G(0, "LINE").G(8, "0").EndSection().Eof();
    OpenDxf ascii(dxf);
    ASSERT_TRUE(ascii.ok());
    EXPECT_EQ(CDBGetAutoCADVersion(ascii.handle()), 13);
    EXPECT_EQ(ascii.Entities().size(), 1u);
    // Without a *MODEL_SPACE block the release 13 reader has nowhere to put the entities
    // and refuses the file; the release 12 reader does not take it either.
    DxfText bare;
    bare.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012").EndSection();
    bare.Section("ENTITIES").EndSection().Eof();
    OpenDxf refused(bare);
    EXPECT_FALSE(refused.ok());
    // The release 13 check reads two-byte codes: a release 12 binary file is none of its,
    // and the release 12 reader reports its own version mismatch.
    OpenDxf binary(bare, true);
    EXPECT_FALSE(binary.ok());
    EXPECT_EQ(binary.error(), CDB_ERR_VERSION_MISMATCH);
}
