// A release 12 drawing through the flat interface: header variables and tables.
#include "interface/test_files.h"
#include "support/dwg12_builder.h"
#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace velko_test;

namespace {

// Opens bytes as a drawing for the life of the object.
class OpenedDrawing {
public:
    OpenedDrawing(const std::string &name, const Bytes &bytes) : file_(name, bytes) {
        handle = CDBStartFileReading(file_.c_str(), nullptr);
    }
    ~OpenedDrawing() {
        if (handle >= 0)
            CDBEndOperation(handle);
    }
    int16_t handle;

private:
    TempFile file_;
};

Bytes SampleLikeDrawing() {
    Dwg12FileBuilder b;
    b.header().SetI16(hdr::treedepth, 0);
    b.header().SetI16(hdr::celtype, static_cast<int16_t>(0x7FFE));
    b.header().SetHandseed({0, 0, 0, 0, 0, 0, 0x2A, 0x0F});
    b.header().SetPoint3(hdr::extmax, 12, 9, 0);
    b.header().SetI16(hdr::userivar1, 77);
    b.header().SetF64(hdr::userrvar1, 2.5);
    b.header().SetF64(hdr::dimasz, 0.18);
    b.Add(LayerRec{});
    LayerRec deleted;
    deleted.flags = 0x80;
    deleted.name = "GONE";
    b.Add(deleted);
    LayerRec walls;
    walls.name = "WALLS";
    walls.color = -1;
    b.Add(walls);
    LayerRec unnamed;
    unnamed.name = "";
    b.Add(unnamed);
    DimstyleRec standard;
    standard.name = "STANDARD";
    b.Add(standard);
    StyleRec style;
    style.font_file = "nosuchfont";
    b.Add(style);
    return b.Build();
}

} // namespace

TEST(DrawingVariables, HeaderRulesHoldThroughTheInterface) {
    OpenedDrawing d("vars.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    CDB_VAR_VALUE_type v;
    EXPECT_EQ(CDBGetVariableValue(d.handle, "treedepth", &v), CDB_VAR_INT16);
    EXPECT_EQ(v.int_value, 3020);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "celtype", &v), CDB_VAR_INT16);
    EXPECT_EQ(v.int_value, -2);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "HANDSEED", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(v.text, "2A0F");
    EXPECT_EQ(CDBGetVariableValue(d.handle, "extmax", &v), CDB_VAR_POINT3);
    EXPECT_EQ(v.point3_value.x, 12);
    EXPECT_EQ(v.point3_value.y, 9);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "ACADVER", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(v.text, "AC1009");
}

TEST(DrawingVariables, DeliberateMismatchesOfRelease12) {
    OpenedDrawing d("mismatch.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    CDB_VAR_VALUE_type v;
    memset(&v, 0x5A, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "$ACADVER", &v), 0);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "hclayer", &v), 0);
    EXPECT_EQ(static_cast<unsigned char>(v.text[0]), 0x5A) << "value left untouched";
    EXPECT_EQ(CDBGetVariableValue(d.handle, "userrvar1", &v), CDB_VAR_INT16);
    EXPECT_EQ(v.int_value, 77);
    EXPECT_EQ(CDBGetVariableValue(d.handle, "dimasz", &v), CDB_VAR_INT16);
    EXPECT_DOUBLE_EQ(v.real_value, 0.18) << "eight bytes are written all the same";

    CDB_HEADER_type all;
    ASSERT_EQ(CDBGetAllVariables(d.handle, &all), 0);
    EXPECT_DOUBLE_EQ(all.userrvar1, 2.5);
    EXPECT_EQ(all.userivar1, 77);
    EXPECT_EQ(CDBGetAllVariables(d.handle, nullptr), CDB_FAIL);
}

TEST(DrawingTables, DeletedLayerGivesTwoAndIsNeverFound) {
    OpenedDrawing d("layers.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBLayerTableCount(d.handle), 4);
    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableGet(d.handle, 1, &layer), CDB_DELETED);
    EXPECT_EQ(layer.name, nullptr);
    EXPECT_EQ(CDBLayerTableFind(d.handle, "GONE"), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableFind(d.handle, "WALLS"), 2) << "later indexes do not move";
    EXPECT_EQ(CDBLayerTableGet(d.handle, 2, &layer), 0);
    EXPECT_EQ(layer.color, -1);
}

TEST(DrawingTables, EmptyLayerNameIsNullAndNeverMatches) {
    OpenedDrawing d("unnamed.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableGet(d.handle, 3, &layer), 0);
    EXPECT_EQ(layer.name, nullptr);
    EXPECT_EQ(CDBLayerTableFind(d.handle, ""), CDB_FAIL);
}

TEST(DrawingTables, FindRespectsCase) {
    OpenedDrawing d("case.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBDimStyleTableFind(d.handle, "STANDARD"), 0);
    EXPECT_EQ(CDBDimStyleTableFind(d.handle, "Standard"), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableFind(d.handle, nullptr), CDB_FAIL);
}

TEST(DrawingTables, EmptyViewportTableReadsAsActiveFromTheHeader) {
    Dwg12FileBuilder b;
    b.header().SetPoint2(hdr::viewctr, 6, 4.5);
    b.header().SetF64(hdr::viewsize, 9);
    OpenedDrawing d("novports.dwg", b.Build());
    ASSERT_GE(d.handle, 0);
    ASSERT_EQ(CDBVportTableCount(d.handle), 1);
    CDB_VPORT_TBL_type vport;
    ASSERT_EQ(CDBVportTableGet(d.handle, 0, &vport), 0);
    EXPECT_STREQ(vport.name, "*ACTIVE");
    EXPECT_EQ(vport.view_center.x, 6);
    EXPECT_EQ(vport.view_center.y, 4.5);
    EXPECT_EQ(vport.view_height, 9);
    EXPECT_EQ(vport.upper_right.x, 1);
}

TEST(DrawingTables, StyleWithoutItsFontFileStaysInTheTable) {
    OpenedDrawing d("style.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBStyleTableCount(d.handle), 1);
    CDB_STYLE_TBL_type style;
    EXPECT_EQ(CDBStyleTableGet(d.handle, 0, &style), 0);
    EXPECT_STREQ(style.font_file, "nosuchfont");
}

TEST(DrawingTables, BadIndexFailsWhileTheCodeStaysTheDrawings) {
    OpenedDrawing d("index.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableGet(d.handle, 99, &layer), CDB_FAIL);
    EXPECT_EQ(CDBLayerTableGet(d.handle, -1, &layer), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), 0);
    EXPECT_EQ(CDBLayerTableGet(d.handle, 0, nullptr), CDB_FAIL);
    EXPECT_EQ(CDBMLineStyleTableCount(d.handle), CDB_FAIL);
    EXPECT_EQ(CDBMLineStyleTableFind(d.handle, "STANDARD"), CDB_FAIL);
}

TEST(DrawingTables, WrongCrcsChangeNothing) {
    Bytes good = SampleLikeDrawing();
    Bytes bad = good;
    // Spoil the header CRC and the last two bytes of every record and the tail record.
    bad[hdr::crc] ^= 0xFF;
    bad[bad.size() - 17] ^= 0xFF;
    OpenedDrawing a("crc_good.dwg", good);
    OpenedDrawing b("crc_bad.dwg", bad);
    ASSERT_GE(a.handle, 0);
    ASSERT_GE(b.handle, 0);
    CDB_HEADER_type ha, hb;
    CDBGetAllVariables(a.handle, &ha);
    CDBGetAllVariables(b.handle, &hb);
    EXPECT_EQ(ha.treedepth, hb.treedepth);
    EXPECT_EQ(CDBLayerTableCount(a.handle), CDBLayerTableCount(b.handle));
}

TEST(DrawingTables, DescriptorsPastTheEndGiveNoSlots) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    Bytes bytes = b.Build();
    b.OverrideDescriptor(kLayerTable, 41, 5, static_cast<uint32_t>(bytes.size() + 1000));
    OpenedDrawing d("pastend.dwg", b.Build());
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(CDBLayerTableCount(d.handle), 0);
    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableGet(d.handle, 0, &layer), CDB_FAIL);
}

TEST(DrawingEntities, ASaveIntoAMissingFolderFailsAndTheDrawingStaysOpen) {
    OpenedDrawing d("walk.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    const int16_t count = CDBEntityCount(d.handle, -1);
    EXPECT_EQ(CDBSaveAsDWG(d.handle, "no/such/folder/x.dwg"), CDB_FAIL);
    EXPECT_EQ(CDBEntityCount(d.handle, -1), count);
    EXPECT_EQ(CDBLayerTableAdd(d.handle, nullptr), CDB_FAIL);
}

TEST(DrawingRecords, ExtendedDataOfAnyRecordWalksThroughTheHandle) {
    OpenedDrawing d("eed.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    // application 0, the string "hi", a short 7
    uint8_t block[] = {1, 0, 0, 0, 2, 'h', 'i', 70, 7, 0};
    CDB_ENTITY entity;
    ASSERT_EQ(CDBEntityDefault(d.handle, &entity, CDB_LINE), 0);
    entity.eed_data = block;
    entity.eed_size = sizeof block;
    CDB_EED_type cursor;
    ASSERT_EQ(CDBGetEED(d.handle, &entity, &cursor), 0);
    EXPECT_EQ(CDBEEDGetFirstAppid(d.handle, &cursor), 0);
    CDB_EED_VALUES value;
    EXPECT_EQ(CDBEEDGetFirstValue(d.handle, &cursor, &value), 1);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &value), 0);
    EXPECT_STREQ(value.text, "hi");
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &value), 70);
    EXPECT_EQ(+value.short_value, 7);
    EXPECT_EQ(CDBEEDGetNextValue(d.handle, &cursor, &value), CDB_EED_END);
    EXPECT_EQ(CDBEEDGetNextAppid(d.handle, &cursor), CDB_EED_END);

    EXPECT_EQ(CDBGetEED(d.handle, nullptr, &cursor), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), CDB_ERR_INVALID_PARAMETER);
    EXPECT_EQ(CDBEEDGetFirstValue(d.handle, nullptr, &value), CDB_FAIL);
    EXPECT_EQ(CDBGetEED(300, &entity, &cursor), CDB_FAIL);
}

TEST(DrawingRecords, EntityAndBlockDefaultsThroughTheHandle) {
    OpenedDrawing d("defaults.dwg", SampleLikeDrawing());
    ASSERT_GE(d.handle, 0);
    CDB_ENTITY entity;
    EXPECT_EQ(CDBEntityDefault(d.handle, &entity, 5), 0);
    EXPECT_EQ(+entity.entity_type, 0);
    EXPECT_EQ(+entity.color, -1);
    EXPECT_EQ(CDBEntityDefault(300, &entity, CDB_LINE), CDB_FAIL);
    CDB_STARTBLOCK_ENTITY_type block;
    memset(&block, 0x33, sizeof block);
    EXPECT_EQ(CDBBlockDefault(d.handle, &block), 0);
    EXPECT_EQ(+block.entity_type, CDB_BLOCK);
    EXPECT_EQ(+block.line_type_index, -1);
    EXPECT_EQ(+block.color, -1);
    EXPECT_EQ(+block.extrusion.z, 1.0);
    EXPECT_EQ(block.name, nullptr);
}
