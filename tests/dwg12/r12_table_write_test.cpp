// Table records written back: EncodeDWG is the inverse of Decode, by the same layout. A
// record made by the test builder and decoded gives the builder's bytes again, and a
// record written and decoded gives the record again.
#include "dwg12/r12_header.h"
#include "dwg12/r12_tables.h"
#include "model/base_drawing.h"
#include "support/bitwise_crc.h"
#include "support/dwg12_builder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

struct TestDrawing : CBaseDrawing {
    TestDrawing() : CBaseDrawing(0) {}
};

// A double in radians that survives the trip to degrees and back to the file exactly.
double StableRadians(double near) {
    for (double x = near;; x = std::nextafter(x, 10.0))
        if (R12AngleToFile(RadiansToDegrees(x)) == x)
            return x;
}

std::unique_ptr<CR12LayoutRecord> Decoded(CBaseDrawing &drawing, int t, const Bytes &bytes) {
    std::unique_ptr<CR12LayoutRecord> record(
        static_cast<CR12LayoutRecord *>(MakeR12TableRecord(&drawing, t)));
    record->Decode(bytes.data(), bytes.size());
    return record;
}

// The record's file form, its CRC sealed by the test's own CRC.
Bytes Encoded(const CR12TableRecord &record) {
    Bytes block(size_t(record.GetFileSize()), 0);
    EXPECT_EQ(record.EncodeDWG(block.data()), 1);
    const uint16_t crc = BitwiseDwgCrc(block.data(), block.size() - 2);
    block[block.size() - 2] = static_cast<uint8_t>(crc & 0xFF);
    block[block.size() - 1] = static_cast<uint8_t>(crc >> 8);
    return block;
}

// Decodes, encodes and compares with the bytes it came from.
void ExpectSameBytes(int t, const Bytes &bytes) {
    TestDrawing drawing;
    auto record = Decoded(drawing, t, bytes);
    EXPECT_EQ(Encoded(*record), bytes) << "table " << t;
}

} // namespace

TEST(R12TableWrite, EveryTableGivesTheBytesItWasReadFrom) {
    BlockRec block;
    block.name = "DOOR";
    block.block_offset = 0x123456;
    ExpectSameBytes(0, MakeBlockRecord(block));

    LayerRec layer;
    layer.flags = 0x41;
    layer.name = "WALLS";
    layer.color = -3;
    layer.ltype = 4;
    ExpectSameBytes(1, MakeLayerRecord(layer));

    StyleRec style;
    style.flags = 0x04;
    style.height = 2.5;
    style.width_factor = -0.0;
    style.oblique_angle = StableRadians(0.2);
    style.generation_flags = 6;
    style.font_file = "romans.shx";
    style.bigfont_file = "bigfont.shx";
    ExpectSameBytes(2, MakeStyleRecord(style));

    LtypeRec ltype;
    ltype.name = "DASHED";
    ltype.description = "__ __ __";
    ltype.pattern_length = 0.75;
    ltype.dashes = {0.5, -0.25};
    ExpectSameBytes(3, MakeLtypeRecord(ltype));

    ViewRec view;
    view.height = 3.0;
    view.direction[0] = 0.5;
    view.target[2] = -1.0;
    view.twist_angle = StableRadians(1.1);
    view.back_clip = -0.0;
    view.view_mode = 3;
    ExpectSameBytes(4, MakeViewRecord(view));

    UcsRec ucs;
    ucs.origin[0] = 10.0;
    ucs.y_direction[2] = 0.5;
    ExpectSameBytes(5, MakeUcsRecord(ucs));

    VportRec vport;
    vport.twist_angle = StableRadians(0.3);
    vport.snap_angle = StableRadians(0.7);
    vport.snap_isopair = 2;
    vport.grid_spacing[1] = 0.5;
    ExpectSameBytes(6, MakeVportRecord(vport));

    AppidRec appid;
    appid.name = "ACAD";
    ExpectSameBytes(7, MakeAppidRecord(appid));

    DimstyleRec dim;
    dim.dimtol = -1;
    dim.dimsoxd = 1;
    dim.dimpost = "mm";
    dim.dimblk2 = "ARROW";
    dim.dimclrt = 3;
    dim.dimgap = -0.0;
    ExpectSameBytes(8, MakeDimstyleRecord(dim));

    VxRec vx;
    vx.entity_ref = 0x00112233; // byte 38 is cleared on reading
    vx.vx_index = 7;
    ExpectSameBytes(9, MakeVxRecord(vx));
}

TEST(R12TableWrite, ARecordWrittenAndReadAgainIsTheSameRecord) {
    TestDrawing drawing;
    StyleRec style;
    style.oblique_angle = 0.3; // whichever radians: the degrees come back
    style.last_height = 1.75;
    auto first = Decoded(drawing, 2, MakeStyleRecord(style));
    auto second = Decoded(drawing, 2, Encoded(*first));
    const auto &a = *static_cast<const CDB_STYLE_TBL_type *>(first->GetRecord());
    const auto &b = *static_cast<const CDB_STYLE_TBL_type *>(second->GetRecord());
    EXPECT_EQ(+a.oblique_angle, +b.oblique_angle);
    EXPECT_EQ(+a.last_height, +b.last_height);
    EXPECT_STREQ(a.font_file, b.font_file);
    EXPECT_EQ(b.bigfont_file, nullptr);
    EXPECT_STREQ(a.name, b.name);
}

TEST(R12TableWrite, ADeletedRecordLeavesTheBlockAlone) {
    TestDrawing drawing;
    LayerRec layer;
    layer.flags = 0x80;
    auto record = Decoded(drawing, 1, MakeLayerRecord(layer));
    Bytes block(41, 0);
    EXPECT_EQ(record->EncodeDWG(block.data()), 1);
    EXPECT_EQ(block, Bytes(41, 0));

    VxRec vx;
    vx.flags = 0xC0;
    auto raw = Decoded(drawing, 9, MakeVxRecord(vx));
    Bytes vx_block(43, 0);
    EXPECT_EQ(raw->EncodeDWG(vx_block.data()), 1);
    EXPECT_EQ(vx_block, Bytes(43, 0));
}

TEST(R12TableWrite, TextsAreZeroPaddedToTheirFieldSize) {
    TestDrawing drawing;
    LtypeRec ltype;
    ltype.name = "AB";
    ltype.description = std::string(48, 'd'); // fills its field, no terminator
    auto record = Decoded(drawing, 3, MakeLtypeRecord(ltype));
    const Bytes block = Encoded(*record);
    EXPECT_EQ(block[1], 'A');
    EXPECT_EQ(block[2], 'B');
    for (size_t i = 3; i < 33; ++i)
        EXPECT_EQ(block[i], 0) << i;
    for (size_t i = 35; i < 83; ++i)
        EXPECT_EQ(block[i], 'd') << i;
    auto again = Decoded(drawing, 3, block);
    const auto &r = *static_cast<const CDB_LTYPE_TBL_type *>(again->GetRecord());
    EXPECT_EQ(std::string(r.description), std::string(48, 'd'));
}

TEST(R12TableWrite, ANameOf32CharactersFillsItsField) {
    TestDrawing drawing;
    AppidRec appid;
    appid.name = std::string(32, 'N');
    ExpectSameBytes(7, MakeAppidRecord(appid));
}

TEST(R12TableWrite, DashesBeyondTwelveHaveNoRoom) {
    TestDrawing drawing;
    LtypeRec ltype;
    for (int i = 0; i < 12; ++i)
        ltype.dashes.push_back(0.5 + i);
    auto record = Decoded(drawing, 3, MakeLtypeRecord(ltype));
    auto &r = *static_cast<CDB_LTYPE_TBL_type *>(record->GetRecord());
    // Thirteen announced, twelve stored.
    auto *dashes = static_cast<double *>(std::calloc(13, sizeof(double)));
    for (int i = 0; i < 13; ++i)
        dashes[i] = 0.5 + i;
    std::free(r.dashes);
    r.dashes = dashes;
    r.dash_count = 13;
    const Bytes block = Encoded(*record);
    EXPECT_EQ(block[84], 13);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(get_f64(block, 93 + 8 * size_t(i)), 0.5 + i);
    EXPECT_EQ(block[189], static_cast<uint8_t>(BitwiseDwgCrc(block.data(), 189) & 0xFF));
}

TEST(R12TableWrite, NoDashesWriteZeros) {
    TestDrawing drawing;
    LtypeRec ltype;
    ExpectSameBytes(3, MakeLtypeRecord(ltype));
    auto record = Decoded(drawing, 3, MakeLtypeRecord(ltype));
    const Bytes block = Encoded(*record);
    for (size_t i = 93; i < 189; ++i)
        EXPECT_EQ(block[i], 0) << i;
}

TEST(R12TableWrite, BlockOffsetKeepsTheFlagByteTheBlockHolds) {
    TestDrawing drawing;
    BlockRec block;
    block.block_offset = 0x00ABCDEF;
    auto record = Decoded(drawing, 0, MakeBlockRecord(block));
    Bytes bytes(45, 0);
    bytes[38] = 0x40;
    EXPECT_EQ(record->EncodeDWG(bytes.data()), 1);
    EXPECT_EQ(get_u32(bytes, 35), 0x40ABCDEFu);
}

TEST(R12TableWrite, ViewportEntityHeaderIsWrittenRawWithByte38Cleared) {
    TestDrawing drawing;
    VxRec vx;
    vx.entity_ref = 0xAA112233;
    vx.vx_index = 3;
    auto record = Decoded(drawing, 9, MakeVxRecord(vx));
    const Bytes block = Encoded(*record);
    EXPECT_EQ(block[0], 0x40);
    EXPECT_EQ(get_u16(block, 35), 0x2233);
    EXPECT_EQ(block[37], 0x11);
    EXPECT_EQ(block[38], 0);
    EXPECT_EQ(get_u16(block, 39), 3);
}

TEST(R12TableWrite, TheActiveViewportBuiltFromTheHeaderIsWritten) {
    TestDrawing drawing;
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    header.viewctr = CDB_POINT2{6.0, 4.5};
    header.viewsize = 9.0;
    header.snapang = StableRadians(0.5);
    std::unique_ptr<CR12TableRecord> active(MakeR12ActiveVport(&drawing, header));
    const Bytes block = Encoded(*active);
    EXPECT_EQ(block[0], 0x40);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(block.data() + 1)), "*ACTIVE");
    EXPECT_EQ(get_f64(block, 131), 6.0);
    EXPECT_EQ(get_f64(block, 123), 9.0);
    EXPECT_EQ(get_f64(block, 195), header.snapang);
}
