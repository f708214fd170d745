// The header variables of release 13: the search for the tree depth, the list both ways,
// the section in a file, lookups by name and the indices of the handles.
#include "dwg13/r13_header.h"
#include "interface/test_files.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/drawing_file.h"
#include "records/header_vars.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using velko_test::TempFile;
using Bytes = std::vector<uint8_t>;

namespace {

char *Heap(const char *text) {
    char *copy = static_cast<char *>(std::malloc(std::strlen(text) + 1));
    std::strcpy(copy, text);
    return copy;
}

void Text(char *block, size_t room, const char *text) {
    std::memset(block, 0, room);
    std::strncpy(block, text, room - 1);
}

// A header with a value in every variable the section carries. The tree depth is 3020 and
// the two values in front of it take 12 bits, so that flags and values fill the 56 bits
// that the search steps back over.
void Fill(CR13Header &h, int16_t treedepth = 3020) {
    CDB_HEADER_type &v = h.vars;
    v.dimaso = 1, v.plinegen = 1, v.fillmode = 1, v.psltscale = 1, v.handling = 1;
    v.angdir = 1, v.attreq = 1, v.worldview = 1, v.tilemode = 1, v.visretain = 1;
    v.dispsilh = 1;
    v.saveimages = 0, v.dragmode = 2, v.treedepth = treedepth;
    v.lunits = 2, v.luprec = 4, v.aunits = 0, v.auprec = -1, v.osmode = 300, v.attmode = 1;
    v.coords = 2, v.pdmode = 34, v.pickstyle = 1, v.userivar1 = -5, v.userivar5 = 7;
    v.splinesegs = 8, v.surfu = 6, v.surfv = 6, v.surftype = 6, v.surftab1 = 6;
    v.surftab2 = 6, v.splinetype = 6, v.shadedge = 3, v.shadedif = 70, v.unitmode = 1;
    v.maxactvp = 16, v.cmljust = 2;
    v.ltscale = 2.5, v.textsize = 0.2, v.tracewid = 0.05, v.sketchinc = 0.1;
    v.filletrad = 1.0, v.thickness = -3.25, v.angbase = 0.5, v.pdsize = 0.0;
    v.plinewid = 0.75, v.userrvar1 = 11.5, v.userrvar5 = -2.0, v.chamfera = 0.5;
    v.chamferb = 0.25, v.chamferc = 1.5, v.chamferd = 0.125, v.cmlscale = 1.0;
    v.celtscale = 0.3;
    Text(v.menu, kHeaderMenuSize, "acad");
    v.cecolor = 256;
    h.handseed_code = 0;
    Text(v.handseed, kHeaderHandseedSize, "2F1");
    h.hclayer_code = 5;
    v.hclayer = Heap("F");
    v.htextstyle = Heap("10");
    v.hceltype = Heap("14");
    v.hdimstyle = Heap("1D");
    v.hcmlstyle = Heap("18");
    v.pinsbase = {1, 2, 3}, v.pextmin = {-1, -2, -3}, v.pextmax = {10, 20, 30};
    v.plimmin = {0.5, 0.25}, v.plimmax = {12, 9};
    v.pucsorg = {0, 0, 0}, v.pucsxdir = {1, 0, 0}, v.pucsydir = {0, 1, 0};
    v.hpucsname = Heap("");
    v.insbase = {4, 5, 6}, v.extmin = {-7, -8, -9}, v.extmax = {70, 80, 90};
    v.limmin = {-0.5, -0.25}, v.limmax = {420, 297}, v.elevation = 2.0;
    v.ucsorg = {1, 1, 0}, v.ucsxdir = {0, 1, 0}, v.ucsydir = {-1, 0, 0};
    v.hucsname = Heap("3A");
    v.dimtol = 1, v.dimtih = 1, v.dimse2 = 1, v.dimtofl = 1, v.dimtix = 1;
    v.dimsah = 1, v.dimaltd = 9, v.dimzin = 8, v.dimsd1 = 1, v.dimtolj = 2;
    v.dimjust = 4, v.dimfit = 5, v.dimupt = 1, v.dimtzin = 3, v.dimaltz = 12, v.dimtad = 3;
    v.dimunit = 2, v.dimaunit = 1, v.dimdec = 4, v.dimtdec = 3, v.dimaltu = 2, v.dimalttd = 2;
    v.hdimtxsty = Heap("10");
    v.dimscale = 1.0, v.dimasz = 0.18, v.dimexo = 0.0625, v.dimdli = 0.38, v.dimexe = 0.18;
    v.dimrnd = 0.0, v.dimdle = 0.0, v.dimtp = 0.01, v.dimtm = -0.01, v.dimtxt = 0.18;
    v.dimcen = 0.09, v.dimtsz = 0.0, v.dimaltf = 25.4, v.dimlfac = 1.0, v.dimtvp = 0.0;
    v.dimtfac = 1.0, v.dimgap = 0.09;
    Text(v.dimpost, kHeaderDimpostSize, "<> mm");
    Text(v.dimapost, kHeaderDimapostSize, "[]");
    Text(v.dimblk, kHeaderDimblkSize, "DOT");
    Text(v.dimblk1, kHeaderDimblkSize, "");
    Text(v.dimblk2, kHeaderDimblkSize, "OPEN30");
    v.dimclrd = 1, v.dimclre = 256, v.dimclrt = 0;
    h.SetTextsWithoutFile();
}

// The section: `ones` bits of 1 in front of the header's list.
Bytes Section(const CR13Header &h, int ones, int32_t *end_bit = nullptr) {
    CBitWriter w;
    for (int i = 0; i < ones; ++i)
        w.WriteBit(1);
    h.Write(w);
    if (end_bit)
        *end_bit = w.TellByte() * 8 + w.TellBit();
    return Bytes(w.Data(), w.Data() + w.TellSize());
}

// The record without its 17 pointers, as bytes to compare.
Bytes Values(const CDB_HEADER_type &vars) {
    CDB_HEADER_type v;
    std::memcpy(static_cast<void *>(&v), &vars, sizeof v);
    char **pointers[] = {&v.acadver,    &v.hceltype,    &v.hclayer,  &v.hcmlstyle, &v.dimapost,
                         &v.dimblk,     &v.dimblk1,     &v.dimblk2,  &v.dimpost,   &v.hdimstyle,
                         &v.hdimtxsty,  &v.dwgcodepage, &v.handseed, &v.menu,      &v.hpucsname,
                         &v.htextstyle, &v.hucsname};
    for (char **p : pointers)
        *p = nullptr;
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&v);
    return Bytes(bytes, bytes + sizeof v);
}

std::string S(const char *text) {
    return text ? text : "(null)";
}

void ExpectSameVariables(const CR13Header &a, const CR13Header &b) {
    EXPECT_EQ(Values(a.vars), Values(b.vars));
    const CDB_HEADER_type &x = a.vars;
    const CDB_HEADER_type &y = b.vars;
    EXPECT_EQ(S(x.acadver), S(y.acadver));
    EXPECT_EQ(S(x.dwgcodepage), S(y.dwgcodepage));
    EXPECT_EQ(S(x.menu), S(y.menu));
    EXPECT_EQ(S(x.handseed), S(y.handseed));
    EXPECT_EQ(S(x.hclayer), S(y.hclayer));
    EXPECT_EQ(S(x.htextstyle), S(y.htextstyle));
    EXPECT_EQ(S(x.hceltype), S(y.hceltype));
    EXPECT_EQ(S(x.hdimstyle), S(y.hdimstyle));
    EXPECT_EQ(S(x.hcmlstyle), S(y.hcmlstyle));
    EXPECT_EQ(S(x.hpucsname), S(y.hpucsname));
    EXPECT_EQ(S(x.hucsname), S(y.hucsname));
    EXPECT_EQ(S(x.hdimtxsty), S(y.hdimtxsty));
    EXPECT_EQ(S(x.dimpost), S(y.dimpost));
    EXPECT_EQ(S(x.dimapost), S(y.dimapost));
    EXPECT_EQ(S(x.dimblk), S(y.dimblk));
    EXPECT_EQ(S(x.dimblk1), S(y.dimblk1));
    EXPECT_EQ(S(x.dimblk2), S(y.dimblk2));
    EXPECT_EQ(a.handseed_code, b.handseed_code);
    EXPECT_EQ(a.hclayer_code, b.hclayer_code);
}

void PutLe32(Bytes &bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[at + size_t(i)] = static_cast<uint8_t>(value >> (8 * i));
}

// A file whose head points at `section` (at offset 128), with the stated size.
Bytes FileWithSection(const Bytes &section, int64_t stated_size = -1) {
    Bytes file(128 + section.size(), 0);
    std::copy(section.begin(), section.end(), file.begin() + 128);
    std::memcpy(file.data(), "AC1012", 6);
    PutLe32(file, 26, 128);
    PutLe32(file, 30, uint32_t(stated_size < 0 ? int64_t(section.size()) : stated_size));
    return file;
}

// Seven bytes on which the search goes round: the flags read from the start give a tree
// depth of 0 after three short values and end at bit 32; from there the search finds a
// 3020 whose end is at byte 7, and 7 bytes back is the start again.
Bytes RoundAndRound() {
    CBitWriter w;
    w.WriteBits(0, 26);       // the flags
    w.WriteBits(0b101010, 6); // three values of 0 (bits 1 0 each)
    w.WriteBits(0, 6);        // nothing that reads as 3020
    w.WriteBits(0, 2);        // a value of two bytes:
    w.WriteByte(0xCC);        // 3020, low byte first
    w.WriteByte(0x0B);
    Bytes bytes(w.Data(), w.Data() + w.TellSize());
    bytes.resize(40, 0);
    return bytes;
}

} // namespace

TEST(R13Header, ConstructorPointsTextsAtBlocksAndHandlesAtNothing) {
    CR13Header h;
    for (const char *text :
         {h.vars.acadver, h.vars.dimapost, h.vars.dimpost, h.vars.dimblk, h.vars.dimblk1,
          h.vars.dimblk2, h.vars.menu, h.vars.handseed, h.vars.dwgcodepage}) {
        ASSERT_NE(text, nullptr);
        EXPECT_STREQ(text, "");
    }
    for (const char *handle :
         {h.vars.hclayer, h.vars.htextstyle, h.vars.hceltype, h.vars.hdimstyle, h.vars.hcmlstyle,
          h.vars.hpucsname, h.vars.hucsname, h.vars.hdimtxsty})
        EXPECT_EQ(handle, nullptr);
}

TEST(R13Header, VersionAndCodePageAreSetWithoutTheFile) {
    CR13Header h;
    h.SetTextsWithoutFile();
    EXPECT_STREQ(h.vars.acadver, "AC1012");
    EXPECT_STREQ(h.vars.dwgcodepage, "Not implimented");
}

TEST(R13Header, WrittenListReadsBackAtFourSectionStarts) {
    CR13Header written;
    Fill(written);
    for (int ones : {0, 32, 45, 503}) {
        SCOPED_TRACE(ones);
        int32_t end_bit = 0;
        const Bytes section = Section(written, ones, &end_bit);
        ASSERT_LT(section.size(), 1024u) << "the bit writer keeps every byte below 1024";
        CBitStream stream(section.data(), int32_t(section.size()));
        CR13Header read;
        ASSERT_EQ(read.Read(stream), 1);
        ExpectSameVariables(written, read);
        EXPECT_FALSE(stream.Overrun());
        EXPECT_EQ(stream.TellByte() * 8 + stream.TellBit(), end_bit)
            << "the list is read to its end";
    }
}

TEST(R13Header, TheSeedPlaceIsWhereTheSeedStands) {
    CR13Header written;
    Fill(written);
    written.handseed_code = 3;
    const Bytes section = Section(written, 45);
    CBitStream stream(section.data(), int32_t(section.size()));
    CR13Header read;
    ASSERT_EQ(read.Read(stream), 1);
    EXPECT_EQ(read.handseed_code, 3);
    EXPECT_EQ(read.hclayer_code, 5);
    CBitStream again(section.data(), int32_t(section.size()));
    again.Seek(read.seed_byte, read.seed_bit);
    EXPECT_EQ(again.ReadBits(4), 3u);
    char *seed = again.ReadHandleText();
    EXPECT_STREQ(seed, "2F1");
    std::free(seed);
}

namespace {

// Copies bits [from, to) of `bytes` into `w`.
void CopyBits(const Bytes &bytes, int32_t from, int32_t to, CBitWriter &w) {
    CBitStream s(bytes.data(), int32_t(bytes.size()));
    s.Seek(from / 8, from % 8);
    for (int32_t i = from; i < to; ++i)
        w.WriteBit(s.ReadBit());
}

} // namespace

TEST(R13Header, AFlagOfOneInTheUnkeptPairsTakesADouble) {
    CR13Header written;
    Fill(written); // cecolor 256: a BS of 18 bits in front of the seed
    int32_t end_bit = 0;
    const Bytes plain = Section(written, 0, &end_bit);
    CBitStream probe(plain.data(), int32_t(plain.size()));
    CR13Header where;
    ASSERT_EQ(where.Read(probe), 1);
    const int32_t seed = where.seed_byte * 8 + where.seed_bit;
    const int32_t pairs = seed - 18 - 19; // the writer's pairs take 19 bits
    CBitWriter w;
    CopyBits(plain, 0, pairs, w);
    w.WriteBit(1);
    w.WriteBitDouble(2.5); // dropped
    w.WriteBits(0xA5, 8);
    w.WriteBit(1);
    w.WriteBitDouble(1.0); // dropped
    w.WriteBits(0x1F, 5);
    CopyBits(plain, pairs + 19, end_bit, w);
    const Bytes section(w.Data(), w.Data() + w.TellSize());
    CBitStream stream(section.data(), int32_t(section.size()));
    CR13Header read;
    ASSERT_EQ(read.Read(stream), 1);
    ExpectSameVariables(written, read);
}

TEST(R13Header, TreedepthOf3020AtTheFirstTryTakesNoSearch) {
    // The value behind the tree depth is 3020 too: a search would find it and step back
    // to other flags.
    CR13Header written;
    Fill(written);
    written.vars.lunits = 3020;
    const Bytes section = Section(written, 0);
    CBitStream stream(section.data(), int32_t(section.size()));
    CR13Header read;
    ASSERT_EQ(read.Read(stream), 1);
    ExpectSameVariables(written, read);
}

TEST(R13Header, AnotherTreedepthFallsBackToTheSearch) {
    CR13Header written;
    Fill(written);
    const Bytes section = Section(written, 40);
    CBitStream stream(section.data(), int32_t(section.size()));
    CR13Header read;
    ASSERT_EQ(read.Read(stream), 1);
    EXPECT_EQ(read.vars.treedepth, 3020);
    EXPECT_EQ(read.vars.dimaso, 1) << "the flags are those in front of the find";
    ExpectSameVariables(written, read);
}

TEST(R13Header, WithoutAFindTheListGoesOnBehindTheFlags) {
    CR13Header written;
    Fill(written, 5);
    const Bytes section = Section(written, 0);
    CBitStream stream(section.data(), int32_t(section.size()));
    CR13Header read;
    ASSERT_EQ(read.Read(stream), 1);
    EXPECT_EQ(read.vars.treedepth, 5);
    ExpectSameVariables(written, read);
}

TEST(R13Header, ASearchThatWouldGoRoundForeverGivesZero) {
    const Bytes bytes = RoundAndRound();
    CBitStream stream(bytes.data(), int32_t(bytes.size()));
    CR13Header read;
    EXPECT_EQ(read.Read(stream), 0);
}

TEST(R13Header, ReadHeaderReadsTheSectionTheHeadPointsAt) {
    CR13Header written;
    Fill(written);
    TempFile file("r13_header.dwg", FileWithSection(Section(written, 0)));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    f.SetPosition(3, 0);
    CR13Header read;
    EXPECT_EQ(read.ReadHeader(f), 1);
    EXPECT_EQ(f.GetPosition(), 3) << "the file position is kept";
    ExpectSameVariables(written, read);
}

TEST(R13Header, ASectionSizeBeyondTheFileIsCutToTheFile) {
    CR13Header written;
    Fill(written);
    TempFile file("r13_header_big.dwg", FileWithSection(Section(written, 0), 0x7FFFFFF0));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Header read;
    EXPECT_EQ(read.ReadHeader(f), 1);
    ExpectSameVariables(written, read);
}

TEST(R13Header, ASectionOffsetOutsideTheFileReadsZeros) {
    Bytes bytes = FileWithSection(Bytes(16, 0));
    PutLe32(bytes, 26, 0x7FFFFF00);
    TempFile file("r13_header_far.dwg", bytes);
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Header read;
    EXPECT_EQ(read.ReadHeader(f), 1);
    EXPECT_EQ(read.vars.treedepth, 0);
    EXPECT_STREQ(read.vars.acadver, "AC1012");
}

TEST(R13Header, ReadHeaderOfAFileWithoutAHeadGivesZero) {
    TempFile file("r13_header_short.dwg", Bytes(20, 0));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Header read;
    EXPECT_EQ(read.ReadHeader(f), 0);
}

TEST(R13Header, ReadHeaderOfASectionThatGoesRoundGivesZero) {
    TempFile file("r13_header_round.dwg", FileWithSection(RoundAndRound()));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Header read;
    EXPECT_EQ(read.ReadHeader(f), 0);
}

TEST(R13Header, ReadingAgainFreesTheHandleTexts) {
    CR13Header written;
    Fill(written);
    const Bytes section = Section(written, 0);
    CR13Header read;
    for (int pass = 0; pass < 2; ++pass) {
        CBitStream stream(section.data(), int32_t(section.size()));
        ASSERT_EQ(read.Read(stream), 1);
    }
    ExpectSameVariables(written, read);
}

// ---- Variables by name ----------------------------------------------------------------------

TEST(R13HeaderLookup, KnowsThe188Names) {
    EXPECT_EQ(HeaderVariableCount(HeaderRelease::R13), 188);
    EXPECT_EQ(HeaderVariableCount(HeaderRelease::R12), 152);
}

TEST(R13HeaderLookup, The36NamesOfRelease13AreUnknownToRelease12) {
    const char *only13[] = {
        "hceltype",  "celtscale", "chamferc",  "chamferd",   "hclayer",    "cmlscale",
        "cmljust",   "hcmlstyle", "cmlstyle",  "corrected",  "delobj",     "dimaltz",
        "dimalttz",  "dimaltu",   "dimalttd",  "dimdec",     "dimtdec",    "dimfit",
        "dimjust",   "dimsd1",    "dimsd2",    "dimsoh",     "hdimstyle",  "dimtolj",
        "hdimtxsty", "dimtxsty",  "dimtzin",   "dimupt",     "dimunit",    "dimaunit",
        "dispsilh",  "pickstyle", "hpucsname", "saveimages", "htextstyle", "hucsname"};
    ASSERT_EQ(sizeof only13 / sizeof only13[0], 36u);
    CR13Header h;
    for (const char *name : only13) {
        CDB_VAR_VALUE_type value{};
        EXPECT_NE(h.GetVariable(name, &value), 0) << name;
        EXPECT_EQ(GetHeaderVariable(h.vars, HeaderRelease::R12, name, &value), 0) << name;
    }
}

TEST(R13HeaderLookup, CodesOfRelease13) {
    CR13Header h;
    h.vars.angbase = 0.75;
    h.vars.dimasz = 0.18;
    Text(h.vars.handseed, kHeaderHandseedSize, "2F1");
    h.vars.hclayer = Heap("F");
    h.vars.hceltype = Heap("-1");
    CDB_VAR_VALUE_type value{};
    EXPECT_EQ(h.GetVariable("angbase", &value), 7);
    EXPECT_EQ(value.real_value, 0.75) << "a double, answered as text";
    EXPECT_EQ(h.GetVariable("dimasz", &value), 4);
    EXPECT_EQ(value.real_value, 0.18);
    EXPECT_EQ(h.GetVariable("handseed", &value), 8);
    EXPECT_STREQ(value.text, "2F1");
    EXPECT_EQ(h.GetVariable("hclayer", &value), 8);
    EXPECT_STREQ(value.text, "F");
    EXPECT_EQ(h.GetVariable("hceltype", &value), 8);
    EXPECT_STREQ(value.text, "-1");
    EXPECT_EQ(h.GetVariable("clayer", &value), 2);
    EXPECT_EQ(h.GetVariable("extmin", &value), 6);
    EXPECT_EQ(h.GetVariable("limmin", &value), 5);
    EXPECT_EQ(h.GetVariable("acadver", &value), 7);
}

TEST(R13HeaderLookup, NamesAreMatchedWithoutCaseAndWithoutDollar) {
    CR13Header h;
    h.SetTextsWithoutFile();
    CDB_VAR_VALUE_type value{};
    EXPECT_EQ(h.GetVariable("ACADVER", &value), 7);
    EXPECT_STREQ(value.text, "AC1012");
    std::memset(&value, 0x5A, sizeof value);
    EXPECT_EQ(h.GetVariable("$ACADVER", &value), 0);
    EXPECT_EQ(value.text[0], 0x5A) << "an unknown name leaves the value alone";
}

TEST(R13HeaderLookup, UserRealsAnswerTheIntegers) {
    CR13Header h;
    h.vars.userivar1 = 42;
    h.vars.userrvar1 = 9.5;
    CDB_VAR_VALUE_type value{};
    EXPECT_EQ(h.GetVariable("userrvar1", &value), 2);
    EXPECT_EQ(value.int_value, 42);
}

TEST(R13HeaderLookup, SetGoesIntoTheBlocksAndLeavesHandles) {
    CR13Header h;
    CDB_VAR_VALUE_type value{};
    std::memset(value.text, 'm', 63);
    EXPECT_EQ(h.SetVariable("MENU", value), 7);
    EXPECT_EQ(std::strlen(h.vars.menu), kHeaderMenuSize - 1) << "cut to the block";
    h.vars.hclayer = Heap("F");
    std::strcpy(value.text, "20");
    EXPECT_EQ(h.SetVariable("hclayer", value), 8);
    EXPECT_STREQ(h.vars.hclayer, "F") << "a handle text has no block";
    value.int_value = 77;
    EXPECT_EQ(h.SetVariable("cecolor", value), 2);
    EXPECT_EQ(h.vars.cecolor, 77);
    EXPECT_EQ(h.SetVariable("$cecolor", value), 0);
}

// ---- Handles to indices ---------------------------------------------------------------------

namespace {

struct Asked {
    TableBase table;
    std::string handle;
};

// A lookup that answers 10 times the table's slot plus the handle's length, and notes
// every question.
R13HandleLookup Recording(std::vector<Asked> &asked) {
    return [&asked](TableBase table, const char *handle) {
        asked.push_back({table, handle});
        return int(table) * 10 + int(std::strlen(handle));
    };
}

} // namespace

TEST(R13HeaderIndices, ByLayerAndByBlockNeedNoLookup) {
    CR13Header h;
    h.vars.hceltype = Heap("-1");
    h.vars.hclayer = Heap("0");
    h.vars.hdimstyle = Heap("-1");
    std::vector<Asked> asked;
    h.ResolveIndices(Recording(asked));
    EXPECT_EQ(h.vars.celtype, -1);
    EXPECT_EQ(h.vars.clayer, 0);
    EXPECT_EQ(h.vars.dimstyle, -1);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(h.vars.ucsname, -1) << "an empty handle text gives -1";
    EXPECT_EQ(h.vars.pucsname, -1);
    EXPECT_EQ(h.vars.textstyle, -1);
    EXPECT_EQ(h.vars.dimtxsty, -1);
    EXPECT_EQ(h.vars.cmlstyle, -1);
}

TEST(R13HeaderIndices, HandlesAreLookedUpInTheirTables) {
    CR13Header h;
    h.vars.hceltype = Heap("14");
    h.vars.hclayer = Heap("F");
    h.vars.hdimstyle = Heap("1D");
    h.vars.hucsname = Heap("3A");
    h.vars.hpucsname = Heap("3B0");
    h.vars.htextstyle = Heap("10");
    h.vars.hdimtxsty = Heap("11");
    h.vars.hcmlstyle = Heap("18");
    std::vector<Asked> asked;
    h.ResolveIndices(Recording(asked));
    EXPECT_EQ(h.vars.celtype, 2 * 10 + 2);
    EXPECT_EQ(h.vars.clayer, 1 * 10 + 1);
    EXPECT_EQ(h.vars.dimstyle, 3 * 10 + 2);
    EXPECT_EQ(h.vars.ucsname, 8 * 10 + 2);
    EXPECT_EQ(h.vars.pucsname, 8 * 10 + 3);
    EXPECT_EQ(h.vars.textstyle, 4 * 10 + 2);
    EXPECT_EQ(h.vars.dimtxsty, 4 * 10 + 2);
    EXPECT_EQ(h.vars.cmlstyle, 5 * 10 + 2) << "the multiline styles' slot";
    ASSERT_EQ(asked.size(), 8u);
    EXPECT_EQ(asked[0].table, TableBase::kLtypes);
    EXPECT_EQ(asked[0].handle, "14");
    EXPECT_EQ(asked[7].table, TableBase::kMlineStyles);
}

TEST(R13HeaderIndices, DimstyleZeroWritesTheLineTypeInstead) {
    CR13Header h;
    h.vars.hceltype = Heap("14");
    h.vars.hdimstyle = Heap("0");
    h.vars.dimstyle = 7;
    std::vector<Asked> asked;
    h.ResolveIndices(Recording(asked));
    EXPECT_EQ(h.vars.celtype, 0) << "the line type found first is overwritten";
    EXPECT_EQ(h.vars.dimstyle, 7) << "the dimension style stays as it was";
}

TEST(R13HeaderIndices, AnUnknownHandleGivesWhatTheLookupGives) {
    CR13Header h;
    h.vars.hclayer = Heap("99");
    h.ResolveIndices([](TableBase, const char *) { return -1; });
    EXPECT_EQ(h.vars.clayer, -1);
}
