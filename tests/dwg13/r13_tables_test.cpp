// The records of the release 13 tables: each kind written with the library's writer and read
// back field by field, and the quirks of their layouts.
#include "dwg13/r13_tables.h"
#include "dwg13/r13_test_objects.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"

#include <gtest/gtest.h>
#include <memory>

using velko_test::Bytes;
using velko_test::Dup;
using velko_test::HandObject;
using velko_test::Ref;
using velko_test::Written;

namespace {

void ExpectLinks(const CDB_TABLE_LINKS &links, int16_t count) {
    EXPECT_EQ(links.link_count, count);
    EXPECT_EQ(links.owner.code, 4);
    EXPECT_EQ(links.owner.value, 0x2u);
    EXPECT_EQ(links.reactor.code, 3);
    EXPECT_EQ(links.reactor.value, 0x44u);
    EXPECT_EQ(links.dictionary.code, 5);
    EXPECT_EQ(links.dictionary.value, 0x1234u);
}

void SetLinks(CDB_TABLE_LINKS &links, int16_t count) {
    links.link_count = count;
    links.owner = Ref(4, 0x2);
    links.reactor = Ref(3, 0x44);
    links.dictionary = Ref(5, 0x1234);
}

} // namespace

TEST(R13Records, EveryObjectEndsInTheCheckAndItsSizeCountsTheData) {
    CR13LayerRecord layer(nullptr);
    layer.Rec().name = Dup("WALLS");
    std::vector<uint8_t> bytes = Written(layer);
    ASSERT_GE(bytes.size(), 6u);
    EXPECT_EQ(bytes[bytes.size() - 2], 0xFF);
    EXPECT_EQ(bytes[bytes.size() - 1], 0xFF);
    EXPECT_EQ(size_t(bytes[0] | (bytes[1] << 8)), bytes.size() - 4);
}

TEST(R13Records, LayerRoundTripsAndKeepsItsRawFlagsAndColourForTheWriter) {
    CR13LayerRecord layer(nullptr);
    CDB_LAYER_TBL_type &r = layer.Rec();
    r.name = Dup("WALLS");
    r.handle = Dup("2A");
    r.flags_copy = 0x01;
    r.color = 5;
    r.line_type_handle = Dup("14");
    layer.body.object_bits = 0x1234;
    SetLinks(r.links, 3);

    CR13LayerRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(Written(layer).data()), 1);
    const CDB_LAYER_TBL_type &b = back.Rec();
    EXPECT_STREQ(b.name, "WALLS");
    EXPECT_STREQ(b.handle, "2A");
    EXPECT_STREQ(back.RecordHandle(), "2A");
    EXPECT_EQ(back.ObjectBits(), 0x1234u);
    EXPECT_EQ(b.flags_copy, 0x01);
    EXPECT_EQ(b.flags, 0x04) << "raw bit 0 gives 4";
    EXPECT_EQ(b.color, 5);
    EXPECT_STREQ(b.line_type_handle, "14");
    ExpectLinks(b.links, 3);
}

TEST(R13Records, LayerRawFlags0x85GiveFlags0x44AndANegatedColour) {
    std::vector<uint8_t> object = HandObject(kR13Layer, "10", [](CBitWriter &w) {
        w.WriteRawLong(0);
        w.WriteBits(0, 4);
        w.WriteText("OFF");
        w.WriteByte(0x85);
        w.WriteBitShort(3);
        for (int i = 0; i < 3; ++i)
            w.WriteHandle(Ref(0, 0));
        w.WriteBits(5, 4);
        w.WriteHandleText("F");
    });
    CR13LayerRecord layer(nullptr);
    ASSERT_EQ(layer.ReadDWG(object.data()), 1);
    EXPECT_EQ(layer.Rec().flags, 0x44);
    EXPECT_EQ(layer.Rec().flags_copy, 0x85);
    EXPECT_EQ(layer.Rec().color, -3);
    EXPECT_STREQ(layer.Rec().line_type_handle, "F");
}

TEST(R13Records, LayerFlagBit3GivesFrozen) {
    CDB_LAYER_TBL_type r{};
    r.flags_copy = 0x08;
    r.color = 7;
    CR13LayerRecord::ConvertLayerFlags(r);
    EXPECT_EQ(r.flags, 0x01);
    EXPECT_EQ(r.color, 7);
}

TEST(R13Records, LineTypeWithDashesRoundTrips) {
    CR13LtypeRecord ltype(nullptr);
    CDB_LTYPE_TBL_type &r = ltype.Rec();
    r.name = Dup("DASHED");
    r.handle = Dup("15");
    r.entry_code = 2;
    r.flags = 3;
    r.description = Dup("__ __ __");
    r.pattern_length = 0.75;
    r.alignment = 65;
    r.dash_count = 2;
    r.dashes = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.complex_types = static_cast<int16_t *>(std::calloc(2, sizeof(int16_t)));
    r.shape_numbers = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.scales = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.rotations = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.x_offsets = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.y_offsets = static_cast<double *>(std::calloc(2, sizeof(double)));
    r.style_handles = static_cast<CHandleRef *>(std::calloc(2, sizeof(CHandleRef)));
    r.dashes[0] = 0.5;
    r.dashes[1] = -0.25;
    r.complex_types[1] = 2;
    r.shape_numbers[1] = 131;
    r.scales[1] = 1.5;
    r.rotations[1] = 0.1;
    r.x_offsets[1] = 0.2;
    r.y_offsets[1] = -0.3;
    r.style_handles[1] = Ref(5, 0x11);
    SetLinks(r.links, 0);

    CR13LtypeRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(Written(ltype).data()), 1);
    const CDB_LTYPE_TBL_type &b = back.Rec();
    EXPECT_STREQ(b.name, "DASHED");
    EXPECT_EQ(b.entry_code, 2);
    EXPECT_EQ(b.flags, 3);
    EXPECT_STREQ(b.description, "__ __ __");
    EXPECT_EQ(b.pattern_length, 0.75);
    EXPECT_EQ(b.alignment, 65);
    ASSERT_EQ(b.dash_count, 2);
    EXPECT_EQ(b.dashes[0], 0.5);
    EXPECT_EQ(b.dashes[1], -0.25);
    EXPECT_EQ(b.complex_types[0], 0);
    EXPECT_EQ(b.complex_types[1], 2);
    EXPECT_EQ(b.shape_numbers[1], 131.0);
    EXPECT_EQ(b.scales[1], 1.5);
    EXPECT_EQ(b.rotations[1], 0.1);
    EXPECT_EQ(b.x_offsets[1], 0.2);
    EXPECT_EQ(b.y_offsets[1], -0.3);
    EXPECT_EQ(b.style_handles[0].value, 0u);
    EXPECT_EQ(b.style_handles[1].code, 5);
    EXPECT_EQ(b.style_handles[1].value, 0x11u);
    ExpectLinks(b.links, 0);
}

TEST(R13Records, LineTypeOfNoDashesHasNullArraysAndStillPassesThePatternText) {
    CR13LtypeRecord ltype(nullptr);
    ltype.Rec().name = Dup("CONTINUOUS");
    SetLinks(ltype.Rec().links, 0);
    std::vector<uint8_t> bytes = Written(ltype);
    EXPECT_GT(bytes.size(), 256u) << "the 256 bytes of pattern text are written";

    CR13LtypeRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(bytes.data()), 1);
    const CDB_LTYPE_TBL_type &b = back.Rec();
    EXPECT_EQ(b.dash_count, 0);
    EXPECT_EQ(b.dashes, nullptr);
    EXPECT_EQ(b.complex_types, nullptr);
    EXPECT_EQ(b.style_handles, nullptr);
    EXPECT_EQ(b.shape_numbers, nullptr);
    EXPECT_EQ(b.y_offsets, nullptr);
    // The references stand behind the 256 bytes.
    ExpectLinks(b.links, 0);
}

TEST(R13Records, LineTypeWithAHugeDashCountInAShortObjectFails) {
    std::vector<uint8_t> object = HandObject(kR13Ltype, "16", [](CBitWriter &w) {
        w.WriteRawLong(0);
        w.WriteBits(0, 4);
        w.WriteText("BAD");
        w.WriteBits(0, 4);
        w.WriteText("");
        w.WriteBitDouble(1.0);
        w.WriteByte(65);
        w.WriteByte(255);
    });
    CR13LtypeRecord ltype(nullptr);
    EXPECT_EQ(ltype.ReadDWG(object.data()), 0);
    EXPECT_EQ(ltype.Rec().dashes, nullptr);
    EXPECT_EQ(ltype.Name(), nullptr) << "a failed decode leaves the record cleared";
}

TEST(R13Records, StyleRoundTripsThroughItsOneByteTypeHead) {
    CR13StyleRecord style(nullptr);
    CDB_STYLE_TBL_type &r = style.Rec();
    r.name = Dup("ROMANS");
    r.handle = Dup("1F");
    r.flags = 4;
    r.height = 0.0;
    r.width_factor = 0.8;
    r.oblique_angle = 15.0;
    r.generation_flags = 2;
    r.last_height = 0.2;
    r.font_file = Dup("romans.shx");
    r.bigfont_file = Dup("");
    SetLinks(r.links, 1);
    std::vector<uint8_t> bytes = Written(style);

    CR13StyleRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(bytes.data()), 1);
    const CDB_STYLE_TBL_type &b = back.Rec();
    EXPECT_STREQ(b.name, "ROMANS");
    EXPECT_STREQ(b.handle, "1F");
    EXPECT_EQ(b.flags, 4);
    EXPECT_EQ(b.width_factor, 0.8);
    EXPECT_NEAR(b.oblique_angle, 15.0, 1e-9);
    EXPECT_EQ(b.generation_flags, 2);
    EXPECT_EQ(b.last_height, 0.2);
    EXPECT_STREQ(b.font_file, "romans.shx");
    EXPECT_STREQ(b.bigfont_file, "");
    ExpectLinks(b.links, 1);
}

TEST(R13Records, StyleFontNamesTakeTheBaseNameAnExtensionAndUpperCase) {
    EXPECT_EQ(CR13StyleRecord::FontName("romans"), "ROMANS.SHX");
    EXPECT_EQ(CR13StyleRecord::FontName("C:\\fonts\\gothic.shx"), "GOTHIC.SHX");
    EXPECT_EQ(CR13StyleRecord::FontName("fonts/big.sHx"), "BIG.SHX");
    EXPECT_EQ(CR13StyleRecord::FontName(""), "");
    EXPECT_EQ(CR13StyleRecord::FontName(nullptr), "");
}

TEST(R13Records, StyleWithoutADrawingHasNoFontSlot) {
    CR13StyleRecord style(nullptr);
    style.Rec().font_file = Dup("txt");
    EXPECT_EQ(style.AttachFont(nullptr), 0);
    EXPECT_EQ(style.ShapeIndex(), -1);
}

TEST(R13Records, ViewRoundTrips) {
    std::unique_ptr<CR13TableRecord> view(MakeR13TableRecord(nullptr, kR13View));
    auto &r = *static_cast<CDB_VIEW_TBL_type *>(view->GetRecord());
    r.name = Dup("TOP");
    r.handle = Dup("40");
    r.flags = 1;
    r.height = 9.0;
    r.width = 15.5;
    r.center = {7.5, 4.5};
    r.direction = {0, 0, 1};
    r.target = {1, 2, 3};
    r.twist_angle = 30.0;
    r.lens_length = 50.0;
    r.front_clip = 0.5;
    r.back_clip = -0.5;
    r.view_mode = 1;
    SetLinks(r.links, 2);
    std::unique_ptr<CR13TableRecord> back(MakeR13TableRecord(nullptr, kR13View));
    ASSERT_EQ(back->ReadDWG(Written(*view).data()), 1);
    const auto &b = *static_cast<CDB_VIEW_TBL_type *>(back->GetRecord());
    EXPECT_STREQ(b.name, "TOP");
    EXPECT_EQ(b.flags, 1);
    EXPECT_EQ(b.height, 9.0);
    EXPECT_EQ(b.width, 15.5);
    EXPECT_EQ(b.center.x, 7.5);
    EXPECT_EQ(b.center.y, 4.5);
    EXPECT_EQ(b.direction.z, 1.0);
    EXPECT_EQ(b.target.x, 1.0);
    EXPECT_EQ(b.target.z, 3.0);
    EXPECT_NEAR(b.twist_angle, 30.0, 1e-9);
    EXPECT_EQ(b.lens_length, 50.0);
    EXPECT_EQ(b.front_clip, 0.5);
    EXPECT_EQ(b.back_clip, -0.5);
    EXPECT_EQ(b.view_mode, 1);
    ExpectLinks(b.links, 2);
}

TEST(R13Records, UcsRoundTrips) {
    std::unique_ptr<CR13TableRecord> ucs(MakeR13TableRecord(nullptr, kR13Ucs));
    auto &r = *static_cast<CDB_UCS_TBL_type *>(ucs->GetRecord());
    r.name = Dup("FRONT");
    r.handle = Dup("41");
    r.flags = 2;
    r.origin = {1, 2, 3};
    r.x_direction = {1, 0, 0};
    r.y_direction = {0, 0, 1};
    SetLinks(r.links, 0);
    std::unique_ptr<CR13TableRecord> back(MakeR13TableRecord(nullptr, kR13Ucs));
    ASSERT_EQ(back->ReadDWG(Written(*ucs).data()), 1);
    const auto &b = *static_cast<CDB_UCS_TBL_type *>(back->GetRecord());
    EXPECT_STREQ(b.name, "FRONT");
    EXPECT_EQ(b.flags, 2);
    EXPECT_EQ(b.origin.y, 2.0);
    EXPECT_EQ(b.x_direction.x, 1.0);
    EXPECT_EQ(b.y_direction.z, 1.0);
    ExpectLinks(b.links, 0);
}

namespace {

void FillVport(CDB_VPORT_TBL_type &r, double view_height) {
    r.name = Dup("*ACTIVE");
    r.handle = Dup("50");
    r.flags = 3;
    r.view_height = view_height;
    r.aspect_ratio = 1.5;
    r.view_center = {6.0, 4.5};
    r.view_target = {0, 1, 0};
    r.view_direction = {0, 0, 1};
    r.twist_angle = 10.0;
    r.lens_length = 50.0;
    r.front_clip = 1.0;
    r.back_clip = 2.0;
    r.view_mode = 1;
    r.lower_left = {0, 0};
    r.upper_right = {1, 1};
    r.circle_zoom = 100;
    r.fast_zoom = 1;
    r.ucs_icon = 1;
    r.snap_mode = 0;
    r.grid_mode = 1;
    r.grid_spacing = {0.5, 0.5};
    r.snap_style = 1;
    r.snap_isopair = 0;
    r.snap_angle = 45.0;
    r.snap_base = {0.25, 0.75};
    r.snap_spacing = {1, 2};
    SetLinks(r.links, 0);
}

void ExpectVportTail(const CDB_VPORT_TBL_type &b) {
    EXPECT_EQ(b.view_center.x, 6.0);
    EXPECT_EQ(b.view_center.y, 4.5);
    EXPECT_EQ(b.view_target.y, 1.0);
    EXPECT_EQ(b.view_direction.z, 1.0);
    EXPECT_NEAR(b.twist_angle, 10.0, 1e-9);
    EXPECT_EQ(b.lens_length, 50.0);
    EXPECT_EQ(b.front_clip, 1.0);
    EXPECT_EQ(b.back_clip, 2.0);
    EXPECT_EQ(b.view_mode, 1);
    EXPECT_EQ(b.upper_right.x, 1.0);
    EXPECT_EQ(b.circle_zoom, 100);
    EXPECT_EQ(b.fast_zoom, 1);
    EXPECT_EQ(b.ucs_icon, 1);
    EXPECT_EQ(b.grid_mode, 1);
    EXPECT_EQ(b.grid_spacing.y, 0.5);
    EXPECT_EQ(b.snap_style, 1);
    EXPECT_NEAR(b.snap_angle, 45.0, 1e-9);
    EXPECT_EQ(b.snap_base.x, 0.25);
    EXPECT_EQ(b.snap_base.y, 0.75);
    EXPECT_EQ(b.snap_spacing.y, 2.0);
    ExpectLinks(b.links, 0);
}

} // namespace

TEST(R13Records, ViewportRoundTripsWithItsAspectRatio) {
    CR13VportRecord vport(nullptr);
    FillVport(vport.Rec(), 9.0);
    CR13VportRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(Written(vport).data()), 1);
    EXPECT_STREQ(back.Rec().name, "*ACTIVE");
    EXPECT_EQ(back.Rec().flags, 3);
    EXPECT_EQ(back.Rec().view_height, 9.0);
    EXPECT_DOUBLE_EQ(back.Rec().aspect_ratio, 1.5);
    ExpectVportTail(back.Rec());
}

TEST(R13Records, ViewportOfHeightZeroReadsNoAspectRatioAndStaysInStep) {
    CR13VportRecord vport(nullptr);
    FillVport(vport.Rec(), 0.0);
    std::vector<uint8_t> without = Written(vport);
    CR13VportRecord tall(nullptr);
    FillVport(tall.Rec(), 9.0);
    EXPECT_LT(without.size(), Written(tall).size()) << "no width is written";

    CR13VportRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(without.data()), 1);
    EXPECT_EQ(back.Rec().view_height, 0.0);
    EXPECT_EQ(back.Rec().aspect_ratio, 0.0) << "no aspect ratio is read";
    ExpectVportTail(back.Rec());
}

TEST(R13Records, ApplicationNameRoundTripsWithItsCode) {
    std::unique_ptr<CR13TableRecord> made(MakeR13TableRecord(nullptr, kR13Appid));
    auto *typed = static_cast<CR13AppidRecord *>(made.get());
    typed->Rec().name = Dup("ACAD");
    typed->Rec().handle = Dup("12");
    typed->Rec().flags = 1;
    typed->body.application_code = 7;
    SetLinks(typed->Rec().links, 0);
    std::unique_ptr<CR13TableRecord> back(MakeR13TableRecord(nullptr, kR13Appid));
    ASSERT_EQ(back->ReadDWG(Written(*made).data()), 1);
    auto *b = static_cast<CR13AppidRecord *>(back.get());
    EXPECT_STREQ(b->Rec().name, "ACAD");
    EXPECT_EQ(b->Rec().flags, 1);
    EXPECT_EQ(b->body.application_code, 7);
    ExpectLinks(b->Rec().links, 0);
}

TEST(R13Records, DimensionStyleRoundTripsWithItsTextStyleReference) {
    CR13DimstyleRecord dim(nullptr);
    CDB_DIMSTYLE_TBL_type &r = dim.Rec();
    r.name = Dup("STANDARD");
    r.handle = Dup("1D");
    r.entry_code = 4;
    r.flags = 1;
    r.dimtol = 1;
    r.dimsoxd = 1;
    r.dimaltd = 2;
    r.dimzin = 8;
    r.dimsd2 = 1;
    r.dimtolj = 3;
    r.dimjust = 5;
    r.dimfit = 3;
    r.dimupt = 1;
    r.dimtzin = 4;
    r.dimaltz = 5;
    r.dimalttz = 6;
    r.dimtad = 1;
    r.dimunit = 2;
    r.dimaunit = 1;
    r.dimdec = 4;
    r.dimtdec = 3;
    r.dimaltu = 2;
    r.dimalttd = 2;
    r.dimscale = 1.0;
    r.dimasz = 0.18;
    r.dimdli = 0.38;
    r.dimtxt = 0.18;
    r.dimaltf = 25.4;
    r.dimgap = 0.09;
    r.dimpost = Dup("mm");
    r.dimapost = Dup("");
    r.dimblk = Dup("DOT");
    r.dimblk1 = Dup("");
    r.dimblk2 = Dup("ARROW2");
    r.dimclrd = 1;
    r.dimclre = 256;
    r.dimclrt = -1;
    r.dimtxsty = Dup("1F");
    dim.body.text_style_code = 5;
    SetLinks(r.links, 0);

    CR13DimstyleRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(Written(dim).data()), 1);
    const CDB_DIMSTYLE_TBL_type &b = back.Rec();
    EXPECT_STREQ(b.name, "STANDARD");
    EXPECT_EQ(b.entry_code, 4);
    EXPECT_EQ(b.flags, 1);
    EXPECT_EQ(b.dimtol, 1);
    EXPECT_EQ(b.dimlim, 0);
    EXPECT_EQ(b.dimsoxd, 1);
    EXPECT_EQ(b.dimaltd, 2);
    EXPECT_EQ(b.dimzin, 8);
    EXPECT_EQ(b.dimsd1, 0);
    EXPECT_EQ(b.dimsd2, 1);
    EXPECT_EQ(b.dimtolj, 3);
    EXPECT_EQ(b.dimjust, 5);
    EXPECT_EQ(b.dimfit, 3);
    EXPECT_EQ(b.dimupt, 1);
    EXPECT_EQ(b.dimtzin, 4);
    EXPECT_EQ(b.dimaltz, 5);
    EXPECT_EQ(b.dimalttz, 6);
    EXPECT_EQ(b.dimtad, 1);
    EXPECT_EQ(b.dimunit, 2);
    EXPECT_EQ(b.dimaunit, 1);
    EXPECT_EQ(b.dimdec, 4);
    EXPECT_EQ(b.dimtdec, 3);
    EXPECT_EQ(b.dimaltu, 2);
    EXPECT_EQ(b.dimalttd, 2);
    EXPECT_EQ(b.dimscale, 1.0);
    EXPECT_EQ(b.dimasz, 0.18);
    EXPECT_EQ(b.dimdli, 0.38);
    EXPECT_EQ(b.dimaltf, 25.4);
    EXPECT_EQ(b.dimgap, 0.09);
    EXPECT_STREQ(b.dimpost, "mm");
    EXPECT_STREQ(b.dimapost, "");
    EXPECT_STREQ(b.dimblk, "DOT");
    EXPECT_STREQ(b.dimblk2, "ARROW2");
    EXPECT_EQ(b.dimclrd, 1);
    EXPECT_EQ(b.dimclre, 256);
    EXPECT_EQ(b.dimclrt, -1);
    EXPECT_STREQ(b.dimtxsty, "1F");
    EXPECT_EQ(back.body.text_style_code, 5);
    ExpectLinks(b.links, 0);
}

TEST(R13Records, MultilineStyleRoundTrips) {
    CR13MlineStyleRecord style(nullptr);
    CDB_MLINESTYLE_TBL_type &r = style.Rec();
    r.name = Dup("STANDARD");
    r.handle = Dup("18");
    r.description = Dup("two lines");
    r.flags = 0x0022;
    r.fill_color = 256;
    r.start_angle = 90.0;
    r.end_angle = 45.0;
    r.element_count = 2;
    r.elements =
        static_cast<CDB_MLINESTYLE_ELEMENT *>(std::calloc(2, sizeof(CDB_MLINESTYLE_ELEMENT)));
    r.elements[0].offset = 0.5;
    r.elements[0].color = 256;
    r.elements[0].line_type_index = -1;
    r.elements[1].offset = -0.5;
    r.elements[1].color = 3;
    r.elements[1].line_type_index = 2;

    CR13MlineStyleRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(Written(style).data()), 1);
    const CDB_MLINESTYLE_TBL_type &b = back.Rec();
    EXPECT_STREQ(b.name, "STANDARD");
    EXPECT_STREQ(b.handle, "18");
    EXPECT_STREQ(b.description, "two lines");
    EXPECT_EQ(b.flags, 0x0022);
    EXPECT_EQ(b.fill_color, 256);
    EXPECT_NEAR(b.start_angle, 90.0, 1e-9);
    EXPECT_NEAR(b.end_angle, 45.0, 1e-9);
    ASSERT_EQ(b.element_count, 2);
    EXPECT_EQ(b.elements[0].offset, 0.5);
    EXPECT_EQ(b.elements[0].color, 256);
    EXPECT_EQ(b.elements[0].line_type_index, -1);
    EXPECT_EQ(b.elements[1].offset, -0.5);
    EXPECT_EQ(b.elements[1].color, 3);
    EXPECT_EQ(b.elements[1].line_type_index, 2);
}

TEST(R13Records, MultilineElementOfColourMinusOneReadsAs256AndLineType32767AsMinusOne) {
    std::vector<uint8_t> object = HandObject(kR13MlineStyle, "19", [](CBitWriter &w) {
        for (int i = 0; i < 5; ++i)
            w.WriteByte(0);
        w.WriteBits(0, 4);
        w.WriteText("S");
        w.WriteText("");
        w.WriteBitShort(0);
        w.WriteBitShort(0);
        w.WriteBitDouble(0.0);
        w.WriteBitDouble(0.0);
        w.WriteBits(1, 8);
        w.WriteBitDouble(0.25);
        w.WriteBitShort(-1);
        w.WriteBitShort(32767);
    });
    CR13MlineStyleRecord style(nullptr);
    ASSERT_EQ(style.ReadDWG(object.data()), 1);
    ASSERT_EQ(style.Rec().element_count, 1);
    EXPECT_EQ(style.Rec().elements[0].offset, 0.25);
    EXPECT_EQ(style.Rec().elements[0].color, 256);
    EXPECT_EQ(style.Rec().elements[0].line_type_index, -1);
}

TEST(R13Records, MultilineFlagGroupsTradePlacesAndTheLowBitsSwap) {
    EXPECT_EQ(CR13MlineStyleRecord::FlagsFromFile(0x4441), 0x2222);
    EXPECT_EQ(CR13MlineStyleRecord::FlagsFromFile(0x0020), 0x0040);
    EXPECT_EQ(CR13MlineStyleRecord::FlagsFromFile(0x0002), 0x0001);
    EXPECT_EQ(CR13MlineStyleRecord::FlagsFromFile(0x0060), 0x0060) << "both groups: no move";
    for (int16_t f : {0x4441, 0x0020, 0x0002, 0x0060, 0x2223})
        EXPECT_EQ(CR13MlineStyleRecord::FlagsToFile(CR13MlineStyleRecord::FlagsFromFile(f)), f);
}

TEST(R13Records, MultilineStyleWithMoreElementsThanTheObjectHoldsFails) {
    std::vector<uint8_t> object = HandObject(kR13MlineStyle, "1A", [](CBitWriter &w) {
        for (int i = 0; i < 5; ++i)
            w.WriteByte(0);
        w.WriteBits(0, 4);
        w.WriteText("S");
        w.WriteText("");
        w.WriteBitShort(0);
        w.WriteBitShort(0);
        w.WriteBitDouble(0.0);
        w.WriteBitDouble(0.0);
        w.WriteBits(255, 8);
    });
    CR13MlineStyleRecord style(nullptr);
    EXPECT_EQ(style.ReadDWG(object.data()), 0);
    EXPECT_EQ(style.Rec().elements, nullptr);
}
