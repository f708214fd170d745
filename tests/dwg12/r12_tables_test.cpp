#include "records/angles.h"
#include "dwg12/r12_tables.h"

#include "dwg12/r12_test_bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

using r12test::Bytes;
using r12test::PutF64;
using r12test::PutI16;
using r12test::PutText;
using r12test::PutU32;
using r12test::PutU8;
using r12test::Record;
using r12test::TempFile;
using r12test::TestDrawing;
using r12test::Val;

namespace {

// Reads one record of table `t` from a file that holds 7 bytes of padding, the record,
// and 5 bytes behind it; checks that Read took exactly the record's size.
struct ReadResult {
    std::unique_ptr<CR12TableRecord> record;
    int result = -1;
};

ReadResult ReadOne(CBaseDrawing *drawing, int t, const Bytes &record) {
    Bytes file_bytes(7 + record.size() + 5, 0xDD);
    for (size_t i = 0; i < 7; ++i)
        file_bytes[i] = 0xCC;
    for (size_t i = 0; i < record.size(); ++i)
        file_bytes[7 + i] = record[i];
    TempFile temp(file_bytes);
    EXPECT_TRUE(temp.opened);
    ReadResult out;
    out.record.reset(MakeR12TableRecord(drawing, t));
    EXPECT_NE(out.record, nullptr);
    if (!out.record || !temp.opened)
        return out;
    temp.file.SetPosition(7, 0);
    out.result = out.record->Read(temp.file);
    EXPECT_EQ(temp.file.GetPosition(), 7 + R12RecordSize(t));
    return out;
}

} // namespace

TEST(R12Tables, RecordSizesAreTheFormatsConstants) {
    const int sizes[10] = {45, 41, 198, 191, 153, 109, 253, 37, 324, 43};
    TestDrawing drawing;
    for (int t = 0; t < 10; ++t) {
        EXPECT_EQ(R12RecordSize(t), sizes[t]) << t;
        std::unique_ptr<CR12TableRecord> record(MakeR12TableRecord(&drawing, t));
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->GetFileSize(), sizes[t]) << t;
    }
    EXPECT_EQ(R12RecordSize(10), 0);
    EXPECT_EQ(R12RecordSize(-1), 0);
    EXPECT_EQ(MakeR12TableRecord(&drawing, 10), nullptr);
    EXPECT_EQ(MakeR12TableRecord(&drawing, -1), nullptr);
}

TEST(R12Tables, LayerFieldsComeFromTheirOffsets) {
    TestDrawing drawing;
    Bytes b = Record(41, 0x41, "WALLS");
    PutI16(b, 33, 0x7777); // not read
    PutI16(b, 35, -7);
    PutI16(b, 37, 3);
    PutI16(b, 39, 0x1234); // CRC, not read
    ReadResult r = ReadOne(&drawing, kR12Layers, b);
    EXPECT_EQ(r.result, 1);
    auto *layer = static_cast<CDB_LAYER_TBL_type *>(r.record->GetRecord());
    ASSERT_NE(Val(layer->name), nullptr);
    EXPECT_STREQ(layer->name, "WALLS");
    EXPECT_EQ(Val(layer->flags), 0x41);
    EXPECT_EQ(Val(layer->color), -7);
    EXPECT_EQ(Val(layer->line_type_index), 3);
    EXPECT_EQ(Val(layer->handle), nullptr);
    EXPECT_EQ(Val(layer->line_type_handle), nullptr);
    EXPECT_EQ(r.record->Flags(), 0x41);
    EXPECT_EQ(r.record->CompareName("WALLS"), 1);
    EXPECT_EQ(r.record->CompareName("walls"), 0);
    char name[32];
    r.record->GetName(name);
    EXPECT_STREQ(name, "WALLS");
}

TEST(R12Tables, DeletedLayerKeepsItsSlotWithNullName) {
    TestDrawing drawing;
    Bytes b = Record(41, 0x81, "GONE");
    PutI16(b, 35, 5);
    ReadResult r = ReadOne(&drawing, kR12Layers, b);
    EXPECT_EQ(r.result, 0);
    auto *layer = static_cast<CDB_LAYER_TBL_type *>(r.record->GetRecord());
    EXPECT_EQ(Val(layer->name), nullptr);
    EXPECT_EQ(Val(layer->flags), 0x81);
    EXPECT_EQ(Val(layer->color), 0); // nothing behind the flags is decoded
    EXPECT_EQ(r.record->CompareName("GONE"), 0);
    char name[32] = "xxx";
    r.record->GetName(name);
    EXPECT_STREQ(name, "");
}

TEST(R12Tables, EmptyNameStaysNull) {
    TestDrawing drawing;
    Bytes b = Record(41, 0, "");
    PutI16(b, 35, 2);
    ReadResult r = ReadOne(&drawing, kR12Layers, b);
    EXPECT_EQ(r.result, 1);
    auto *layer = static_cast<CDB_LAYER_TBL_type *>(r.record->GetRecord());
    EXPECT_EQ(Val(layer->name), nullptr);
    EXPECT_EQ(Val(layer->color), 2);
    EXPECT_EQ(r.record->CompareName(""), 0);
    char name[32] = "xxx";
    r.record->GetName(name);
    EXPECT_STREQ(name, "");
}

TEST(R12Tables, NameFillingAll32BytesStaysTerminated) {
    TestDrawing drawing;
    const std::string full(32, 'N');
    ReadResult r = ReadOne(&drawing, kR12Appids, Record(37, 0, full));
    EXPECT_EQ(r.result, 1);
    auto *appid = static_cast<CDB_APPID_TBL_type *>(r.record->GetRecord());
    ASSERT_NE(Val(appid->name), nullptr);
    EXPECT_EQ(Val(std::string(appid->name)), full);
    // GetName writes 31 characters and the terminator at most
    char name[kR12NameBufferSize + 8];
    std::memset(name, 0x55, sizeof(name));
    r.record->GetName(name);
    EXPECT_EQ(std::string(name), std::string(31, 'N'));
    EXPECT_EQ(static_cast<uint8_t>(name[kR12NameBufferSize]), 0x55);
}

TEST(R12Tables, BlockOffsetTopByteIsCleared) {
    TestDrawing drawing;
    Bytes b = Record(45, 0x40, "DOOR");
    PutU32(b, 35, 0x40123456u);
    PutU32(b, 39, 0xFFFFFFFFu); // not read
    ReadResult r = ReadOne(&drawing, kR12Blocks, b);
    EXPECT_EQ(r.result, 1);
    EXPECT_EQ(R12BlockOffset(r.record.get()), 0x123456u);
    auto *block = dynamic_cast<CR12BlockRecord *>(r.record.get());
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(Val(block->BlockOffset()), 0x123456u);
    EXPECT_STREQ(block->NameInPlace(), "DOOR");
    auto *record = static_cast<CDB_BLOCK_TBL *>(r.record->GetRecord());
    ASSERT_NE(Val(record->name), nullptr);
    EXPECT_STREQ(record->name, "DOOR");
    EXPECT_NE(Val(record->name), block->NameInPlace()); // a copy, not the same block
    EXPECT_EQ(Val(record->flags), 0x40);
    EXPECT_EQ(Val(record->handle), nullptr);
}

TEST(R12Tables, DeletedBlockHasNoOffsetAndNoName) {
    TestDrawing drawing;
    Bytes b = Record(45, 0x80, "OLD");
    PutU32(b, 35, 0x100);
    ReadResult r = ReadOne(&drawing, kR12Blocks, b);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(R12BlockOffset(r.record.get()), 0u);
    EXPECT_STREQ(dynamic_cast<CR12BlockRecord *>(r.record.get())->NameInPlace(), "");
    EXPECT_EQ(Val(static_cast<CDB_BLOCK_TBL *>(r.record->GetRecord())->name), nullptr);
}

TEST(R12Tables, StyleFieldsComeFromTheirOffsetsAndAnglesTurnToDegrees) {
    TestDrawing drawing;
    Bytes b = Record(198, 0x01, "STANDARD");
    PutF64(b, 35, 2.5);
    PutF64(b, 43, 0.8);
    PutF64(b, 51, kPi / 6);
    PutU8(b, 59, 6);
    PutF64(b, 60, 0.2);
    PutText(b, 68, 64, "romans.shx");
    PutText(b, 132, 64, "");
    ReadResult r = ReadOne(&drawing, kR12Styles, b);
    auto *style = static_cast<CDB_STYLE_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(style->name, "STANDARD");
    EXPECT_EQ(Val(style->flags), 0x01);
    EXPECT_EQ(Val(style->height), 2.5);
    EXPECT_EQ(Val(style->width_factor), 0.8);
    EXPECT_NEAR(style->oblique_angle, 30.0, 1e-12);
    EXPECT_EQ(Val(style->generation_flags), 6);
    EXPECT_EQ(Val(style->last_height), 0.2);
    ASSERT_NE(Val(style->font_file), nullptr);
    EXPECT_STREQ(style->font_file, "romans.shx");
    EXPECT_EQ(Val(style->bigfont_file), nullptr);
    // The result tells whether a font was found for the style.
    const int slot = R12StyleShapeIndex(r.record.get());
    EXPECT_EQ(r.result, slot >= 0 ? 1 : 0);
}

TEST(R12Tables, StyleTextOfFull64BytesStaysTerminated) {
    TestDrawing drawing;
    Bytes b = Record(198, 0, "LONG");
    PutText(b, 68, 64, std::string(64, 'f'));
    PutText(b, 132, 64, std::string(64, 'g'));
    PutU8(b, 196, 'X'); // the CRC bytes follow directly
    PutU8(b, 197, 'Y');
    ReadResult r = ReadOne(&drawing, kR12Styles, b);
    auto *style = static_cast<CDB_STYLE_TBL_type *>(r.record->GetRecord());
    ASSERT_NE(Val(style->font_file), nullptr);
    ASSERT_NE(Val(style->bigfont_file), nullptr);
    EXPECT_EQ(Val(std::string(style->font_file)), std::string(64, 'f'));
    EXPECT_EQ(Val(std::string(style->bigfont_file)), std::string(64, 'g'));
}

TEST(R12Tables, StyleFontNameTakesBaseNameAndUpperCase) {
    EXPECT_EQ(R12StyleFontName(nullptr), "TXT.SHX");
    EXPECT_EQ(R12StyleFontName("txt"), "TXT.SHX");
    EXPECT_EQ(R12StyleFontName("romans"), "ROMANS.SHX");
    EXPECT_EQ(R12StyleFontName("romans.shx"), "ROMANS.SHX");
    EXPECT_EQ(R12StyleFontName("C:\\ACAD\\FONTS\\Gothice.shx"), "GOTHICE.SHX");
    EXPECT_EQ(R12StyleFontName("/usr/share/fonts/simplex"), "SIMPLEX.SHX");
    EXPECT_EQ(R12StyleFontName("fonts.d\\isocp"), "ISOCP.SHX");
    EXPECT_EQ(R12StyleFontName("mixed/dir\\greek.fnt"), "GREEK.FNT");
}

TEST(R12Tables, LineTypeFieldsAndDashes) {
    TestDrawing drawing;
    Bytes b = Record(191, 0, "DASHED");
    PutText(b, 35, 48, "__ __ __");
    PutU8(b, 83, 'A');
    PutU8(b, 84, 4);
    PutF64(b, 85, 0.75);
    const double dashes[4] = {0.5, -0.25, 0.0, -0.125};
    for (int i = 0; i < 4; ++i)
        PutF64(b, 93 + 8 * i, dashes[i]);
    PutF64(b, 93 + 8 * 4, 99.0); // beyond dash_count: not kept
    ReadResult r = ReadOne(&drawing, kR12Ltypes, b);
    EXPECT_EQ(r.result, 1);
    auto *ltype = static_cast<CDB_LTYPE_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(ltype->name, "DASHED");
    ASSERT_NE(Val(ltype->description), nullptr);
    EXPECT_STREQ(ltype->description, "__ __ __");
    EXPECT_EQ(Val(ltype->alignment), 65);
    EXPECT_EQ(Val(ltype->dash_count), 4);
    EXPECT_EQ(Val(ltype->pattern_length), 0.75);
    ASSERT_NE(Val(ltype->dashes), nullptr);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(Val(ltype->dashes[i]), dashes[i]) << i;
    EXPECT_EQ(Val(ltype->complex_types), nullptr);
    EXPECT_EQ(Val(ltype->shape_numbers), nullptr);
}

TEST(R12Tables, LineTypeWithoutDashesHasNoDashBlock) {
    TestDrawing drawing;
    Bytes b = Record(191, 0, "CONTINUOUS");
    PutText(b, 35, 48, "Solid line");
    PutU8(b, 83, 'A');
    ReadResult r = ReadOne(&drawing, kR12Ltypes, b);
    auto *ltype = static_cast<CDB_LTYPE_TBL_type *>(r.record->GetRecord());
    EXPECT_EQ(Val(ltype->dash_count), 0);
    EXPECT_EQ(Val(ltype->dashes), nullptr);
}

TEST(R12Tables, LineTypeDashCountAbove12DoesNotReadPastTheRecord) {
    TestDrawing drawing;
    Bytes b = Record(191, 0, "MANY");
    PutU8(b, 84, 200);
    for (int i = 0; i < 12; ++i)
        PutF64(b, 93 + 8 * i, i + 1.0);
    PutU8(b, 189, 0xFF); // the CRC
    PutU8(b, 190, 0x7F);
    ReadResult r = ReadOne(&drawing, kR12Ltypes, b); // 5 bytes of 0xDD follow the record
    auto *ltype = static_cast<CDB_LTYPE_TBL_type *>(r.record->GetRecord());
    EXPECT_EQ(Val(ltype->dash_count), 200);
    ASSERT_NE(Val(ltype->dashes), nullptr);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(Val(ltype->dashes[i]), i + 1.0) << i;
    for (int i = 12; i < 200; ++i)
        EXPECT_EQ(Val(ltype->dashes[i]), 0.0) << i;
}

TEST(R12Tables, ViewFieldsComeFromTheirOffsets) {
    TestDrawing drawing;
    Bytes b = Record(153, 0x01, "FRONT");
    PutF64(b, 35, 9.0);
    PutF64(b, 43, 7.953782);
    PutF64(b, 51, 4.5);
    PutF64(b, 59, 15.907);
    PutF64(b, 67, 0.0);
    PutF64(b, 75, -1.0);
    PutF64(b, 83, 0.5);
    PutI16(b, 91, 0x5555); // not read
    PutF64(b, 93, 1.0);
    PutF64(b, 101, 2.0);
    PutF64(b, 109, 3.0);
    PutF64(b, 117, 50.0);
    PutF64(b, 125, kPi / 2);
    PutF64(b, 133, 0.25);
    PutF64(b, 141, -0.25);
    PutI16(b, 149, 3);
    ReadResult r = ReadOne(&drawing, kR12Views, b);
    EXPECT_EQ(r.result, 1);
    auto *view = static_cast<CDB_VIEW_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(view->name, "FRONT");
    EXPECT_EQ(Val(view->flags), 0x01);
    EXPECT_EQ(Val(view->height), 9.0);
    EXPECT_EQ(Val(view->center.x), 7.953782);
    EXPECT_EQ(Val(view->center.y), 4.5);
    EXPECT_EQ(Val(view->width), 15.907);
    EXPECT_EQ(Val(view->direction.x), 0.0);
    EXPECT_EQ(Val(view->direction.y), -1.0);
    EXPECT_EQ(Val(view->direction.z), 0.5);
    EXPECT_EQ(Val(view->target.x), 1.0);
    EXPECT_EQ(Val(view->target.y), 2.0);
    EXPECT_EQ(Val(view->target.z), 3.0);
    EXPECT_EQ(Val(view->lens_length), 50.0);
    EXPECT_NEAR(view->twist_angle, 90.0, 1e-12);
    EXPECT_EQ(Val(view->front_clip), 0.25);
    EXPECT_EQ(Val(view->back_clip), -0.25);
    EXPECT_EQ(Val(view->view_mode), 3);
}

TEST(R12Tables, UcsFieldsComeFromTheirOffsets) {
    TestDrawing drawing;
    Bytes b = Record(109, 0, "TILTED");
    for (int i = 0; i < 9; ++i)
        PutF64(b, 35 + 8 * i, 0.5 * (i + 1));
    ReadResult r = ReadOne(&drawing, kR12Ucs, b);
    EXPECT_EQ(r.result, 1);
    auto *ucs = static_cast<CDB_UCS_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(ucs->name, "TILTED");
    EXPECT_EQ(Val(ucs->origin.x), 0.5);
    EXPECT_EQ(Val(ucs->origin.y), 1.0);
    EXPECT_EQ(Val(ucs->origin.z), 1.5);
    EXPECT_EQ(Val(ucs->x_direction.x), 2.0);
    EXPECT_EQ(Val(ucs->x_direction.y), 2.5);
    EXPECT_EQ(Val(ucs->x_direction.z), 3.0);
    EXPECT_EQ(Val(ucs->y_direction.x), 3.5);
    EXPECT_EQ(Val(ucs->y_direction.y), 4.0);
    EXPECT_EQ(Val(ucs->y_direction.z), 4.5);
}

TEST(R12Tables, ViewportFieldsComeFromTheirOffsets) {
    TestDrawing drawing;
    Bytes b = Record(253, 0, "*ACTIVE");
    PutF64(b, 35, 0.0);
    PutF64(b, 43, 0.125);
    PutF64(b, 51, 1.0);
    PutF64(b, 59, 0.875);
    PutF64(b, 67, 10.0);
    PutF64(b, 75, 11.0);
    PutF64(b, 83, 12.0);
    PutF64(b, 91, 0.0);
    PutF64(b, 99, 0.0);
    PutF64(b, 107, 1.0);
    PutF64(b, 115, kPi);
    PutF64(b, 123, 9.0);
    PutF64(b, 131, 6.196998);
    PutF64(b, 139, 4.5);
    PutF64(b, 147, 1.377111);
    PutF64(b, 155, 50.0);
    PutF64(b, 163, 0.5);
    PutF64(b, 171, -0.5);
    for (int i = 0; i < 8; ++i)
        PutI16(b, 179 + 2 * i, static_cast<int16_t>(100 + i));
    PutF64(b, 195, kPi / 4);
    PutF64(b, 203, 1.5);
    PutF64(b, 211, 2.5);
    PutF64(b, 219, 0.25);
    PutF64(b, 227, 0.5);
    PutF64(b, 235, 5.0);
    PutF64(b, 243, 6.0);
    ReadResult r = ReadOne(&drawing, kR12Vports, b);
    EXPECT_EQ(r.result, 1);
    auto *v = static_cast<CDB_VPORT_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(v->name, "*ACTIVE");
    EXPECT_EQ(Val(v->lower_left.x), 0.0);
    EXPECT_EQ(Val(v->lower_left.y), 0.125);
    EXPECT_EQ(Val(v->upper_right.x), 1.0);
    EXPECT_EQ(Val(v->upper_right.y), 0.875);
    EXPECT_EQ(Val(v->view_target.x), 10.0);
    EXPECT_EQ(Val(v->view_target.y), 11.0);
    EXPECT_EQ(Val(v->view_target.z), 12.0);
    EXPECT_EQ(Val(v->view_direction.z), 1.0);
    EXPECT_NEAR(v->twist_angle, 180.0, 1e-12);
    EXPECT_EQ(Val(v->view_height), 9.0);
    EXPECT_EQ(Val(v->view_center.x), 6.196998);
    EXPECT_EQ(Val(v->view_center.y), 4.5);
    EXPECT_EQ(Val(v->aspect_ratio), 1.377111);
    EXPECT_EQ(Val(v->lens_length), 50.0);
    EXPECT_EQ(Val(v->front_clip), 0.5);
    EXPECT_EQ(Val(v->back_clip), -0.5);
    EXPECT_EQ(Val(v->view_mode), 100);
    EXPECT_EQ(Val(v->circle_zoom), 101);
    EXPECT_EQ(Val(v->fast_zoom), 102);
    EXPECT_EQ(Val(v->ucs_icon), 103);
    EXPECT_EQ(Val(v->snap_mode), 104);
    EXPECT_EQ(Val(v->grid_mode), 105);
    EXPECT_EQ(Val(v->snap_style), 106);
    EXPECT_EQ(Val(v->snap_isopair), 107);
    EXPECT_NEAR(v->snap_angle, 45.0, 1e-12);
    EXPECT_EQ(Val(v->snap_base.x), 1.5);
    EXPECT_EQ(Val(v->snap_base.y), 2.5);
    EXPECT_EQ(Val(v->snap_spacing.x), 0.25);
    EXPECT_EQ(Val(v->snap_spacing.y), 0.5);
    EXPECT_EQ(Val(v->grid_spacing.x), 5.0);
    EXPECT_EQ(Val(v->grid_spacing.y), 6.0);
    // fields a file does not carry stay zero
    EXPECT_EQ(Val(v->viewport_status), 0);
    EXPECT_EQ(Val(v->viewport_id), 0);
}

TEST(R12Tables, AppidHasOnlyTheOpening) {
    TestDrawing drawing;
    ReadResult r = ReadOne(&drawing, kR12Appids, Record(37, 0x40, "ACAD"));
    EXPECT_EQ(r.result, 1);
    auto *appid = static_cast<CDB_APPID_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(appid->name, "ACAD");
    EXPECT_EQ(Val(appid->flags), 0x40);
    EXPECT_EQ(Val(appid->handle), nullptr);
}

TEST(R12Tables, DimstyleFieldsComeFromTheirOffsets) {
    TestDrawing drawing;
    Bytes b = Record(324, 0, "ISO");
    for (int i = 0; i < 15; ++i)
        PutF64(b, 35 + 8 * i, 1.0 + i / 8.0);
    for (int i = 0; i < 14; ++i)
        PutU8(b, 155 + i, static_cast<uint8_t>(i + 1));
    PutU8(b, 155, 0xFF); // dimtol: a signed byte
    PutText(b, 169, 16, "<> mm");
    PutText(b, 185, 16, "[]");
    PutText(b, 201, 33, "DOT");
    PutText(b, 234, 33, "");
    PutText(b, 267, 33, "OPEN");
    PutI16(b, 300, 1);
    PutI16(b, 302, 2);
    PutI16(b, 304, 256);
    PutF64(b, 306, 0.75);
    PutF64(b, 314, 0.09);
    ReadResult r = ReadOne(&drawing, kR12Dimstyles, b);
    EXPECT_EQ(r.result, 1);
    auto *d = static_cast<CDB_DIMSTYLE_TBL_type *>(r.record->GetRecord());
    EXPECT_STREQ(d->name, "ISO");
    const double reals[15] = {d->dimscale, d->dimasz, d->dimexo,  d->dimdli,  d->dimexe,
                              d->dimrnd,   d->dimdle, d->dimtp,   d->dimtm,   d->dimtxt,
                              d->dimcen,   d->dimtsz, d->dimaltf, d->dimlfac, d->dimtvp};
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(reals[i], 1.0 + i / 8.0) << i;
    const int16_t bytes[14] = {d->dimtol,  d->dimlim, d->dimtih, d->dimtoh, d->dimse1,
                               d->dimse2,  d->dimtad, d->dimzin, d->dimalt, d->dimaltd,
                               d->dimtofl, d->dimsah, d->dimtix, d->dimsoxd};
    EXPECT_EQ(bytes[0], -1);
    for (int i = 1; i < 14; ++i)
        EXPECT_EQ(bytes[i], i + 1) << i;
    EXPECT_STREQ(d->dimpost, "<> mm");
    EXPECT_STREQ(d->dimapost, "[]");
    EXPECT_STREQ(d->dimblk, "DOT");
    EXPECT_EQ(Val(d->dimblk1), nullptr);
    EXPECT_STREQ(d->dimblk2, "OPEN");
    EXPECT_EQ(Val(d->dimclrd), 1);
    EXPECT_EQ(Val(d->dimclre), 2);
    EXPECT_EQ(Val(d->dimclrt), 256);
    EXPECT_EQ(Val(d->dimtfac), 0.75);
    EXPECT_EQ(Val(d->dimgap), 0.09);
    EXPECT_EQ(Val(d->dimtxsty), nullptr);
    EXPECT_EQ(Val(d->dimunit), 0);
}

TEST(R12Tables, ViewportEntityHeaderIsKeptRawWithByte38Cleared) {
    TestDrawing drawing;
    Bytes b = Record(43, 0x01, "");
    for (size_t i = 33; i < 43; ++i)
        b[i] = static_cast<uint8_t>(0xA0 + i);
    PutI16(b, 39, 0x0203);
    ReadResult r = ReadOne(&drawing, kR12VxHeaders, b);
    EXPECT_EQ(r.result, 1);
    const uint8_t *raw = R12VxRaw(r.record.get());
    ASSERT_NE(raw, nullptr);
    for (size_t i = 0; i < 43; ++i) {
        if (i == 38)
            EXPECT_EQ(raw[i], 0);
        else
            EXPECT_EQ(raw[i], b[i]) << i;
    }
    EXPECT_EQ(raw[39] | (raw[40] << 8), 0x0203);
    EXPECT_EQ(r.record->Flags(), 0x01);
    EXPECT_EQ(r.record->GetFileSize(), 43);
}

TEST(R12Tables, DeletedViewportEntityHeaderKeepsItsRawBytes) {
    TestDrawing drawing;
    Bytes b = Record(43, 0x80, "");
    PutI16(b, 39, 7);
    ReadResult r = ReadOne(&drawing, kR12VxHeaders, b);
    EXPECT_EQ(r.result, 0);
    const uint8_t *raw = R12VxRaw(r.record.get());
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(raw[0], 0x80);
    EXPECT_EQ(raw[39], 7);
    EXPECT_EQ(r.record->Flags(), 0x80);
}

TEST(R12Tables, AccessorsOfOtherTablesAnswerNothing) {
    TestDrawing drawing;
    std::unique_ptr<CR12TableRecord> layer(MakeR12TableRecord(&drawing, kR12Layers));
    EXPECT_EQ(R12VxRaw(layer.get()), nullptr);
    EXPECT_EQ(R12BlockOffset(layer.get()), 0u);
    EXPECT_EQ(R12StyleShapeIndex(layer.get()), -1);
    EXPECT_EQ(R12VxRaw(nullptr), nullptr);
}

TEST(R12Tables, FailedReadAtEndOfFileYieldsZero) {
    TestDrawing drawing;
    TempFile temp(Bytes(10, 0x41));
    ASSERT_TRUE(temp.opened);
    temp.file.SetPosition(10, 0);
    std::unique_ptr<CR12TableRecord> layer(MakeR12TableRecord(&drawing, kR12Layers));
    EXPECT_EQ(layer->Read(temp.file), 0);
    EXPECT_EQ(Val(static_cast<CDB_LAYER_TBL_type *>(layer->GetRecord())->name), nullptr);
}

TEST(R12Tables, ShortReadAtEndDecodesMissingBytesAsZero) {
    TestDrawing drawing;
    Bytes b = Record(41, 0, "HALF");
    PutI16(b, 35, 9);
    b.resize(36); // the file ends inside the colour
    TempFile temp(b);
    ASSERT_TRUE(temp.opened);
    std::unique_ptr<CR12TableRecord> layer(MakeR12TableRecord(&drawing, kR12Layers));
    EXPECT_EQ(layer->Read(temp.file), 1);
    auto *record = static_cast<CDB_LAYER_TBL_type *>(layer->GetRecord());
    EXPECT_STREQ(record->name, "HALF");
    EXPECT_EQ(Val(record->color), 9);
    EXPECT_EQ(Val(record->line_type_index), 0);
}

TEST(R12Tables, ActiveViewportComesFromTheHeader) {
    TestDrawing drawing;
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof(header));
    header.viewctr = CDB_POINT2{3.0, 4.0};
    header.snapbase = CDB_POINT2{0.5, 0.25};
    header.snapunit = CDB_POINT2{2.0, 3.0};
    header.gridunit = CDB_POINT2{10.0, 20.0};
    header.viewdir = CDB_POINT3{0.0, -1.0, 1.0};
    header.viewsize = 12.5;
    header.snapang = kPi / 2;
    header.snapmode = 1;
    header.gridmode = 1;
    header.snapstyle = 1;
    header.snapisopair = 2;
    header.fastzoom = 1;
    std::unique_ptr<CR12TableRecord> record(MakeR12ActiveVport(&drawing, header));
    ASSERT_NE(record, nullptr);
    auto *v = static_cast<CDB_VPORT_TBL_type *>(record->GetRecord());
    EXPECT_STREQ(v->name, "*ACTIVE");
    EXPECT_EQ(record->CompareName("*ACTIVE"), 1);
    EXPECT_EQ(Val(v->flags), 0x40);
    EXPECT_EQ(Val(v->lower_left.x), 0.0);
    EXPECT_EQ(Val(v->lower_left.y), 0.0);
    EXPECT_EQ(Val(v->upper_right.x), 1.0);
    EXPECT_EQ(Val(v->upper_right.y), 1.0);
    EXPECT_EQ(Val(v->view_center.x), 3.0);
    EXPECT_EQ(Val(v->view_center.y), 4.0);
    EXPECT_EQ(Val(v->snap_base.x), 0.5);
    EXPECT_EQ(Val(v->snap_base.y), 0.25);
    EXPECT_EQ(Val(v->snap_spacing.x), 2.0);
    EXPECT_EQ(Val(v->snap_spacing.y), 3.0);
    EXPECT_EQ(Val(v->grid_spacing.x), 10.0);
    EXPECT_EQ(Val(v->grid_spacing.y), 20.0);
    EXPECT_EQ(Val(v->view_direction.y), -1.0);
    EXPECT_EQ(Val(v->view_direction.z), 1.0);
    EXPECT_EQ(Val(v->view_target.x), 0.0);
    EXPECT_EQ(Val(v->view_target.z), 0.0);
    EXPECT_EQ(Val(v->view_height), 12.5);
    EXPECT_NEAR(v->snap_angle, 90.0, 1e-12);
    EXPECT_EQ(Val(v->snap_mode), 1);
    EXPECT_EQ(Val(v->grid_mode), 1);
    EXPECT_EQ(Val(v->snap_style), 1);
    EXPECT_EQ(Val(v->snap_isopair), 2);
    EXPECT_EQ(Val(v->fast_zoom), 1);
    EXPECT_EQ(Val(v->lens_length), 50.0);
    EXPECT_EQ(Val(v->aspect_ratio), 1.377111);
    EXPECT_EQ(Val(v->circle_zoom), 100);
    EXPECT_EQ(Val(v->ucs_icon), 1);
}

TEST(R12Tables, TableListAddsWalksFindsAndRemoves) {
    TestDrawing drawing;
    CR12TableList list(&drawing, kR12Appids);
    EXPECT_EQ(list.TableNumber(), kR12Appids);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.At(0), nullptr);
    EXPECT_EQ(list.First(), nullptr);
    const char *names[3] = {"ACAD", "", "MINE"};
    for (int i = 0; i < 3; ++i) {
        auto *record = static_cast<CR12LayoutRecord *>(MakeR12TableRecord(&drawing, kR12Appids));
        Bytes b = Record(37, 0, names[i]);
        record->Decode(b.data(), b.size());
        EXPECT_EQ(list.Add(record), i);
    }
    EXPECT_EQ(list.Count(), 3);
    EXPECT_EQ(list.FindByName("MINE"), 2);
    EXPECT_EQ(list.FindByName("ACAD"), 0);
    EXPECT_EQ(list.FindByName("acad"), -1);
    EXPECT_EQ(list.FindByName(""), -1);
    EXPECT_EQ(list.FindByName(nullptr), -1);
    EXPECT_EQ(list.First(), list.At(0));
    EXPECT_EQ(list.Next(), list.At(1));
    EXPECT_EQ(list.Next(), list.At(2));
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.At(-1), nullptr);
    list.Remove(0);
    EXPECT_EQ(list.Count(), 2);
    EXPECT_EQ(list.FindByName("MINE"), 1);
    list.Remove(5);
    EXPECT_EQ(list.Count(), 2);
}

TEST(R12Tables, DecodeTwiceReleasesTheFirstBlocks) {
    TestDrawing drawing;
    CR12DimstyleRecord record(&drawing);
    Bytes first = Record(324, 0, "ONE");
    PutText(first, 201, 33, "DOT");
    Bytes second = Record(324, 0, "TWO");
    EXPECT_EQ(record.Decode(first.data(), first.size()), 1);
    EXPECT_STREQ(record.GetTypedRecord().dimblk, "DOT");
    EXPECT_EQ(record.Decode(second.data(), second.size()), 1);
    EXPECT_STREQ(record.GetTypedRecord().name, "TWO");
    EXPECT_EQ(Val(record.GetTypedRecord().dimblk), nullptr);
}
