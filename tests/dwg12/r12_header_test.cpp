#include "dwg12/r12_header.h"

#include "dwg12/r12_test_bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using r12test::Bytes;
using r12test::PutF64;
using r12test::PutI16;
using r12test::PutText;
using r12test::PutU8;
using r12test::Val;

namespace {

Bytes Block() {
    return Bytes(CR12Header::kBlockSize, 0);
}

} // namespace

TEST(R12Header, ConstructorPointsTextFieldsAtZeroBlocks) {
    CR12Header header;
    const char *texts[] = {header.vars.acadver, header.vars.dimapost, header.vars.dimpost,
                           header.vars.dimblk,  header.vars.dimblk1,  header.vars.dimblk2,
                           header.vars.menu,    header.vars.handseed, header.vars.dwgcodepage};
    for (const char *text : texts) {
        ASSERT_NE(text, nullptr);
        EXPECT_STREQ(text, "");
    }
    EXPECT_EQ(Val(header.vars.hceltype), nullptr);
    EXPECT_EQ(Val(header.vars.hclayer), nullptr);
    EXPECT_EQ(Val(header.vars.hcmlstyle), nullptr);
    EXPECT_EQ(Val(header.vars.hdimstyle), nullptr);
    EXPECT_EQ(Val(header.vars.hdimtxsty), nullptr);
    EXPECT_EQ(Val(header.vars.hpucsname), nullptr);
    EXPECT_EQ(Val(header.vars.htextstyle), nullptr);
    EXPECT_EQ(Val(header.vars.hucsname), nullptr);
    EXPECT_EQ(Val(header.vars.treedepth), 0);
    EXPECT_EQ(Val(header.vars.viewsize), 0.0);
}

TEST(R12Header, TreedepthZeroReadsAs3020) {
    Bytes b = Block();
    CR12Header header;
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.treedepth), 3020);
    PutI16(b, 0x158, 7);
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.treedepth), 7);
}

TEST(R12Header, CeltypeByblockAndBylayerAreMapped) {
    Bytes b = Block();
    CR12Header header;
    PutI16(b, 0x31D, 0x7FFE);
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.celtype), -2);
    PutI16(b, 0x31D, 0x7FFF);
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.celtype), -1);
    PutI16(b, 0x31D, 5);
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.celtype), 5);
}

TEST(R12Header, OneByteFieldsAreSignExtended) {
    Bytes b = Block();
    PutU8(b, 0x1F3, 0xFF); // dimtol
    PutU8(b, 0x1F9, 0x01); // dimtad
    PutU8(b, 0x2E5, 0x80); // dimzin
    PutU8(b, 0x3A3, 0xFE); // dimaso
    PutU8(b, 0x47D, 0x7F); // dimtofl
    PutU8(b, 0x4C2, 0xFF); // dimsoxd
    CR12Header header;
    header.Decode(b.data());
    EXPECT_EQ(Val(header.vars.dimtol), -1);
    EXPECT_EQ(Val(header.vars.dimtad), 1);
    EXPECT_EQ(Val(header.vars.dimzin), -128);
    EXPECT_EQ(Val(header.vars.dimaso), -2);
    EXPECT_EQ(Val(header.vars.dimtofl), 127);
    EXPECT_EQ(Val(header.vars.dimsoxd), -1);
}

TEST(R12Header, MenuJoinsItsTwoParts) {
    Bytes b = Block();
    PutText(b, 0x194, 15, "ABCDEFGHIJKLMNO");
    PutText(b, 0x1FC, 45, "PQRSTUVWXYZ");
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.menu, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST(R12Header, ShortMenuIsTheHeadAlone) {
    Bytes b = Block();
    PutText(b, 0x194, 15, "acad");
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.menu, "acad");
}

TEST(R12Header, FullMenuStaysTerminatedInItsBlock) {
    Bytes b = Block();
    PutText(b, 0x194, 15, std::string(15, 'a'));
    PutText(b, 0x1FC, 45, std::string(45, 'b'));
    CR12Header header;
    header.Decode(b.data());
    EXPECT_EQ(Val(std::strlen(header.vars.menu)), kHeaderMenuSize - 1);
    EXPECT_EQ(Val(std::string(header.vars.menu)), std::string(15, 'a') + std::string(44, 'b'));
    // the bytes behind the tail (elevation) did not leak in
    EXPECT_EQ(Val(header.vars.menu[kHeaderMenuSize - 1]), 0);
}

TEST(R12Header, HandseedBecomesHexTextWithoutLeadingZeros) {
    Bytes b = Block();
    const uint8_t seed[8] = {0, 0, 0, 0, 0, 0, 0x2A, 0x0F};
    for (int i = 0; i < 8; ++i)
        PutU8(b, 0x4EE + i, seed[i]);
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.handseed, "2A0F");
}

TEST(R12Header, ZeroHandseedReadsAsZero) {
    Bytes b = Block();
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.handseed, "0");
}

TEST(R12Header, FullHandseedUsesAllSixteenDigits) {
    Bytes b = Block();
    for (int i = 0; i < 8; ++i)
        PutU8(b, 0x4EE + i, static_cast<uint8_t>(0xF1 + i));
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.handseed, "F1F2F3F4F5F6F7F8");
}

TEST(R12Header, DwgcodepageIndexBecomesItsName) {
    Bytes b = Block();
    CR12Header header;
    PutI16(b, 0x3F9, 2);
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.dwgcodepage, "iso8859-1");
    PutI16(b, 0x3F9, 23);
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.dwgcodepage, "mac-roman");
    PutI16(b, 0x3F9, 0);
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.dwgcodepage, "undefined");
}

TEST(R12Header, DwgcodepageOutsideTheTableStaysEmpty) {
    Bytes b = Block();
    CR12Header header;
    PutI16(b, 0x3F9, 24);
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.dwgcodepage, "");
    PutI16(b, 0x3F9, -1);
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.dwgcodepage, "");
}

TEST(R12Header, TextFieldsKeepTheirBlocksTerminated) {
    Bytes b = Block();
    PutText(b, 0x0000, 6, "AC1009");
    PutText(b, 0x03A5, 16, std::string(16, 'p')); // dimpost fills its 16 bytes
    PutText(b, 0x03B5, 16, "<>mm");
    PutText(b, 0x02F6, 33, std::string(33, 'k')); // dimblk fills its 33 bytes
    PutText(b, 0x047E, 33, "ARROW1");
    PutText(b, 0x049F, 33, "ARROW2");
    CR12Header header;
    header.Decode(b.data());
    EXPECT_STREQ(header.vars.acadver, "AC1009");
    EXPECT_EQ(Val(std::string(header.vars.dimpost)), std::string(15, 'p'));
    EXPECT_STREQ(header.vars.dimapost, "<>mm");
    EXPECT_EQ(Val(std::string(header.vars.dimblk)), std::string(32, 'k'));
    EXPECT_STREQ(header.vars.dimblk1, "ARROW1");
    EXPECT_STREQ(header.vars.dimblk2, "ARROW2");
}

TEST(R12Header, FieldsComeFromTheirOffsets) {
    Bytes b = Block();
    PutF64(b, 0x05E, 1.5); // insbase
    PutF64(b, 0x066, 2.5);
    PutF64(b, 0x06E, 3.5);
    PutI16(b, 0x076, 1);        // plinegen
    PutF64(b, 0x090, -4.0);     // extmax.x
    PutF64(b, 0x0A0, 4.25);     // extmax.z
    PutF64(b, 0x0B8, 12.0);     // limmax.x
    PutF64(b, 0x0C8, 6.196998); // viewctr
    PutF64(b, 0x0D0, 4.5);
    PutF64(b, 0x0E0, 9.0); // viewsize
    PutI16(b, 0x0E8, 1);   // snapmode
    PutF64(b, 0x0EA, 0.5); // snapunit
    PutF64(b, 0x0F2, 0.75);
    PutF64(b, 0x10A, 0.25);      // snapang, as the file has it
    PutI16(b, 0x114, 2);         // snapisopair
    PutF64(b, 0x120, 10.0);      // gridunit.y
    PutF64(b, 0x132, 1.25);      // ltscale
    PutI16(b, 0x14A, 3);         // clayer
    PutI16(b, 0x156, 1);         // psltscale
    PutI16(b, 0x164, 2);         // lunits
    PutF64(b, 0x172, 7.0);       // axisunit.y
    PutI16(b, 0x18E, 4);         // textstyle
    PutI16(b, 0x192, 1);         // attmode
    PutF64(b, 0x1A3, 2.0);       // dimscale
    PutF64(b, 0x1EB, 0.125);     // dimtsz
    PutI16(b, 0x1FA, 1);         // limcheck
    PutF64(b, 0x229, 8.5);       // elevation
    PutF64(b, 0x231, 0.5);       // thickness
    PutF64(b, 0x249, 1.0);       // viewdir.z
    PutI16(b, 0x2E3, 1);         // blipmode
    PutF64(b, 0x2EE, 0.0625);    // dimdle
    PutI16(b, 0x319, 2);         // coords
    PutI16(b, 0x31B, 256);       // cecolor
    PutF64(b, 0x31F, 2448000.5); // tdcreate
    PutF64(b, 0x337, 0.01);      // tdusrtimer
    PutI16(b, 0x343, -1);        // skpoly
    PutF64(b, 0x353, 0.5);       // angbase
    PutI16(b, 0x35B, 1);         // angdir
    PutF64(b, 0x367, 0.2);       // plinewid
    PutI16(b, 0x36F, 11);        // userivar1
    PutI16(b, 0x377, 15);        // userivar5
    PutF64(b, 0x379, 1.1);       // userrvar1
    PutF64(b, 0x399, 5.5);       // userrvar5
    PutF64(b, 0x3C5, 25.4);      // dimaltf
    PutI16(b, 0x3D5, 8);         // splinesegs
    PutI16(b, 0x3DB, 1);         // attdia
    PutF64(b, 0x3E5, 0.3);       // chamferb
    PutI16(b, 0x3ED, 1);         // mirrtext
    PutF64(b, 0x3FB, 100.0);     // ucsorg.x
    PutF64(b, 0x413, 1.0);       // ucsxdir.x
    PutF64(b, 0x433, 1.0);       // ucsydir.y
    PutF64(b, 0x4C3, 0.09);      // dimtvp
    PutI16(b, 0x4EC, 1);         // handling
    PutI16(b, 0x4F6, 6);         // surfu
    PutI16(b, 0x4FE, 9);         // surftab2
    PutI16(b, 0x50A, 1);         // flatland
    PutI16(b, 0x50C, 6);         // splinetype
    PutI16(b, 0x510, 2);         // ucsname
    PutI16(b, 0x51C, 1);         // worldview
    PutI16(b, 0x52C, 3);         // dimstyle
    PutI16(b, 0x531, 1);         // dimclrd
    PutI16(b, 0x535, 7);         // dimclrt
    PutI16(b, 0x539, 70);        // shadedif
    PutI16(b, 0x53D, 1);         // unitmode
    PutF64(b, 0x5DF, 1.0);       // dimtfac
    PutF64(b, 0x5E7, -3.0);      // pucsorg.x
    PutF64(b, 0x627, 1.0);       // pucsydir.z
    PutI16(b, 0x62F, 4);         // pucsname
    PutI16(b, 0x631, 1);         // tilemode
    PutI16(b, 0x633, 1);         // plimcheck
    PutI16(b, 0x635, 2);         // cvport
    PutF64(b, 0x637, -1.0);      // pextmin.x
    PutF64(b, 0x65F, 2.0);       // pextmax.z
    PutF64(b, 0x67F, 9.0);       // plimmax.y
    PutF64(b, 0x697, 0.5);       // pinsbase.z
    PutI16(b, 0x6A9, 16);        // maxactvp
    PutF64(b, 0x6AB, 0.09);      // dimgap
    PutF64(b, 0x6B3, 3.0);       // pelevation
    PutI16(b, 0x6BB, 1);         // visretain

    CR12Header header;
    header.Decode(b.data());
    const CDB_HEADER_type &v = header.vars;
    EXPECT_EQ(Val(v.insbase.x), 1.5);
    EXPECT_EQ(Val(v.insbase.y), 2.5);
    EXPECT_EQ(Val(v.insbase.z), 3.5);
    EXPECT_EQ(Val(v.plinegen), 1);
    EXPECT_EQ(Val(v.extmax.x), -4.0);
    EXPECT_EQ(Val(v.extmax.z), 4.25);
    EXPECT_EQ(Val(v.limmax.x), 12.0);
    EXPECT_EQ(Val(v.viewctr.x), 6.196998);
    EXPECT_EQ(Val(v.viewctr.y), 4.5);
    EXPECT_EQ(Val(v.viewsize), 9.0);
    EXPECT_EQ(Val(v.snapmode), 1);
    EXPECT_EQ(Val(v.snapunit.x), 0.5);
    EXPECT_EQ(Val(v.snapunit.y), 0.75);
    EXPECT_EQ(Val(v.snapang), 0.25);
    EXPECT_EQ(Val(v.snapisopair), 2);
    EXPECT_EQ(Val(v.gridunit.y), 10.0);
    EXPECT_EQ(Val(v.ltscale), 1.25);
    EXPECT_EQ(Val(v.clayer), 3);
    EXPECT_EQ(Val(v.psltscale), 1);
    EXPECT_EQ(Val(v.lunits), 2);
    EXPECT_EQ(Val(v.axisunit.y), 7.0);
    EXPECT_EQ(Val(v.textstyle), 4);
    EXPECT_EQ(Val(v.attmode), 1);
    EXPECT_EQ(Val(v.dimscale), 2.0);
    EXPECT_EQ(Val(v.dimtsz), 0.125);
    EXPECT_EQ(Val(v.limcheck), 1);
    EXPECT_EQ(Val(v.elevation), 8.5);
    EXPECT_EQ(Val(v.thickness), 0.5);
    EXPECT_EQ(Val(v.viewdir.z), 1.0);
    EXPECT_EQ(Val(v.blipmode), 1);
    EXPECT_EQ(Val(v.dimdle), 0.0625);
    EXPECT_EQ(Val(v.coords), 2);
    EXPECT_EQ(Val(v.cecolor), 256);
    EXPECT_EQ(Val(v.tdcreate), 2448000.5);
    EXPECT_EQ(Val(v.tdusrtimer), 0.01);
    EXPECT_EQ(Val(v.skpoly), -1);
    EXPECT_EQ(Val(v.angbase), 0.5);
    EXPECT_EQ(Val(v.angdir), 1);
    EXPECT_EQ(Val(v.plinewid), 0.2);
    EXPECT_EQ(Val(v.userivar1), 11);
    EXPECT_EQ(Val(v.userivar5), 15);
    EXPECT_EQ(Val(v.userrvar1), 1.1);
    EXPECT_EQ(Val(v.userrvar5), 5.5);
    EXPECT_EQ(Val(v.dimaltf), 25.4);
    EXPECT_EQ(Val(v.splinesegs), 8);
    EXPECT_EQ(Val(v.attdia), 1);
    EXPECT_EQ(Val(v.chamferb), 0.3);
    EXPECT_EQ(Val(v.mirrtext), 1);
    EXPECT_EQ(Val(v.ucsorg.x), 100.0);
    EXPECT_EQ(Val(v.ucsxdir.x), 1.0);
    EXPECT_EQ(Val(v.ucsydir.y), 1.0);
    EXPECT_EQ(Val(v.dimtvp), 0.09);
    EXPECT_EQ(Val(v.handling), 1);
    EXPECT_EQ(Val(v.surfu), 6);
    EXPECT_EQ(Val(v.surftab2), 9);
    EXPECT_EQ(Val(v.flatland), 1);
    EXPECT_EQ(Val(v.splinetype), 6);
    EXPECT_EQ(Val(v.ucsname), 2);
    EXPECT_EQ(Val(v.worldview), 1);
    EXPECT_EQ(Val(v.dimstyle), 3);
    EXPECT_EQ(Val(v.dimclrd), 1);
    EXPECT_EQ(Val(v.dimclrt), 7);
    EXPECT_EQ(Val(v.shadedif), 70);
    EXPECT_EQ(Val(v.unitmode), 1);
    EXPECT_EQ(Val(v.dimtfac), 1.0);
    EXPECT_EQ(Val(v.pucsorg.x), -3.0);
    EXPECT_EQ(Val(v.pucsydir.z), 1.0);
    EXPECT_EQ(Val(v.pucsname), 4);
    EXPECT_EQ(Val(v.tilemode), 1);
    EXPECT_EQ(Val(v.plimcheck), 1);
    EXPECT_EQ(Val(v.cvport), 2);
    EXPECT_EQ(Val(v.pextmin.x), -1.0);
    EXPECT_EQ(Val(v.pextmax.z), 2.0);
    EXPECT_EQ(Val(v.plimmax.y), 9.0);
    EXPECT_EQ(Val(v.pinsbase.z), 0.5);
    EXPECT_EQ(Val(v.maxactvp), 16);
    EXPECT_EQ(Val(v.dimgap), 0.09);
    EXPECT_EQ(Val(v.pelevation), 3.0);
    EXPECT_EQ(Val(v.visretain), 1);
    // variables that a release 12 header does not carry stay zero
    EXPECT_EQ(Val(v.celtscale), 0.0);
    EXPECT_EQ(Val(v.dimfit), 0);
}

TEST(R12Header, UnreadBytesChangeNothing) {
    Bytes plain = Block();
    Bytes noisy = Block();
    // section copies, the descriptor copy at 0x3EF and the bytes at 0x251 and 0x53F
    for (size_t i = 0x14; i < 0x2C; ++i)
        noisy[i] = 0xA5;
    for (size_t i = 0x251; i < 0x2E3; ++i)
        noisy[i] = 0x5A;
    for (size_t i = 0x3EF; i < 0x3F9; ++i)
        noisy[i] = 0x77;
    for (size_t i = 0x53F; i < 0x5DF; ++i)
        noisy[i] = 0x33;
    for (size_t i = 0x6BD; i < CR12Header::kBlockSize; ++i)
        noisy[i] = 0xEE;
    CR12Header a, b;
    a.Decode(plain.data());
    b.Decode(noisy.data());
    // Compare the values; the text fields point at each header's own blocks.
    CDB_HEADER_type va = a.vars, vb = b.vars;
    EXPECT_STREQ(va.acadver, vb.acadver);
    EXPECT_STREQ(va.menu, vb.menu);
    EXPECT_STREQ(va.handseed, vb.handseed);
    EXPECT_STREQ(va.dwgcodepage, vb.dwgcodepage);
    for (CDB_HEADER_type *v : {&va, &vb}) {
        v->acadver = v->dimapost = v->dimpost = v->dimblk = v->dimblk1 = v->dimblk2 = nullptr;
        v->menu = v->handseed = v->dwgcodepage = nullptr;
    }
    EXPECT_EQ(std::memcmp(&va, &vb, sizeof(CDB_HEADER_type)), 0);
}

TEST(R12Header, DescriptorCopiesAreKeptRaw) {
    Bytes b = Block();
    for (size_t i = 0; i < 50; ++i)
        b[0x2C + i] = static_cast<uint8_t>(i + 1);
    CR12Header header;
    header.Decode(b.data());
    for (size_t i = 0; i < 50; ++i)
        EXPECT_EQ(header.descriptor_copies[i], i + 1) << i;
}

TEST(R12Header, DecodeClearsWhatAnEarlierBlockLeft) {
    Bytes first = Block();
    PutF64(first, 0x0E0, 9.0);
    PutText(first, 0x194, 15, "acad");
    Bytes second = Block();
    CR12Header header;
    header.Decode(first.data());
    header.Decode(second.data());
    EXPECT_EQ(Val(header.vars.viewsize), 0.0);
    EXPECT_STREQ(header.vars.menu, "");
}

TEST(R12Header, LayoutDescribesEveryFieldOnceInFileOrder) {
    R12Layout layout = CR12Header::Layout();
    ASSERT_NE(Val(layout.fields), nullptr);
    ASSERT_GT(layout.count, 150u);
    for (size_t i = 1; i < layout.count; ++i)
        EXPECT_GE(Val(layout.fields[i].file_offset),
                  layout.fields[i - 1].file_offset + layout.fields[i - 1].size);
    const R12Field &last = layout.fields[layout.count - 1];
    EXPECT_LE(Val(last.file_offset + last.size), CR12Header::kCrcAt);
}
