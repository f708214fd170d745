// The records are byte-packed, so their fields may sit at any address. gtest binds its
// arguments by reference; a packed field is therefore handed over as a copy, through
// unary plus.
#include "records/header_vars.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

enum Width { kI16, kF64, kPoint2, kPoint3, kText };

struct Expected {
    const char *name;
    size_t offset; // the field the name reads
    Width width;
    short code_r12; // 0: unknown to release 12
    short code_r13;
};

// Every variable name with the field it reads and the codes each release answers.
const Expected kExpected[] = {
    {"acadver", offsetof(CDB_HEADER_type, acadver), kText, 7, 7},
    {"angbase", offsetof(CDB_HEADER_type, angbase), kF64, 4, 7},
    {"angdir", offsetof(CDB_HEADER_type, angdir), kI16, 2, 2},
    {"attdia", offsetof(CDB_HEADER_type, attdia), kI16, 2, 2},
    {"attmode", offsetof(CDB_HEADER_type, attmode), kI16, 2, 2},
    {"attreq", offsetof(CDB_HEADER_type, attreq), kI16, 2, 2},
    {"aunits", offsetof(CDB_HEADER_type, aunits), kI16, 2, 2},
    {"auprec", offsetof(CDB_HEADER_type, auprec), kI16, 2, 2},
    {"axismode", offsetof(CDB_HEADER_type, axismode), kI16, 2, 2},
    {"axisunit", offsetof(CDB_HEADER_type, axisunit), kPoint2, 5, 5},
    {"blipmode", offsetof(CDB_HEADER_type, blipmode), kI16, 2, 2},
    {"cecolor", offsetof(CDB_HEADER_type, cecolor), kI16, 2, 2},
    {"celtscale", offsetof(CDB_HEADER_type, celtscale), kF64, 0, 4},
    {"celtype", offsetof(CDB_HEADER_type, celtype), kI16, 2, 2},
    {"hceltype", offsetof(CDB_HEADER_type, hceltype), kText, 0, 8},
    {"chamfera", offsetof(CDB_HEADER_type, chamfera), kF64, 4, 4},
    {"chamferb", offsetof(CDB_HEADER_type, chamferb), kF64, 4, 4},
    {"chamferc", offsetof(CDB_HEADER_type, chamferc), kF64, 0, 4},
    {"chamferd", offsetof(CDB_HEADER_type, chamferd), kF64, 0, 4},
    {"clayer", offsetof(CDB_HEADER_type, clayer), kI16, 2, 2},
    {"hclayer", offsetof(CDB_HEADER_type, hclayer), kText, 0, 8},
    {"cmljust", offsetof(CDB_HEADER_type, cmljust), kI16, 0, 2},
    {"hcmlstyle", offsetof(CDB_HEADER_type, hcmlstyle), kText, 0, 8},
    {"cmlstyle", offsetof(CDB_HEADER_type, cmlstyle), kI16, 0, 2},
    {"cmlscale", offsetof(CDB_HEADER_type, cmlscale), kF64, 0, 4},
    {"coords", offsetof(CDB_HEADER_type, coords), kI16, 2, 2},
    {"corrected", offsetof(CDB_HEADER_type, corrected), kI16, 0, 2},
    {"delobj", offsetof(CDB_HEADER_type, delobj), kI16, 0, 2},
    {"dimalt", offsetof(CDB_HEADER_type, dimalt), kI16, 2, 2},
    {"dimaltd", offsetof(CDB_HEADER_type, dimaltd), kI16, 2, 2},
    {"dimalttd", offsetof(CDB_HEADER_type, dimalttd), kI16, 0, 2},
    {"dimaltf", offsetof(CDB_HEADER_type, dimaltf), kF64, 4, 4},
    {"dimaltu", offsetof(CDB_HEADER_type, dimaltu), kI16, 0, 2},
    {"dimaltz", offsetof(CDB_HEADER_type, dimaltz), kI16, 0, 2},
    {"dimalttz", offsetof(CDB_HEADER_type, dimalttz), kI16, 0, 2},
    {"dimapost", offsetof(CDB_HEADER_type, dimapost), kText, 7, 7},
    {"dimaso", offsetof(CDB_HEADER_type, dimaso), kI16, 2, 2},
    {"dimasz", offsetof(CDB_HEADER_type, dimasz), kF64, 2, 4},
    {"dimblk", offsetof(CDB_HEADER_type, dimblk), kText, 7, 7},
    {"dimblk1", offsetof(CDB_HEADER_type, dimblk1), kText, 7, 7},
    {"dimblk2", offsetof(CDB_HEADER_type, dimblk2), kText, 7, 7},
    {"dimcen", offsetof(CDB_HEADER_type, dimcen), kF64, 4, 4},
    {"dimclrd", offsetof(CDB_HEADER_type, dimclrd), kI16, 2, 2},
    {"dimclre", offsetof(CDB_HEADER_type, dimclre), kI16, 2, 2},
    {"dimclrt", offsetof(CDB_HEADER_type, dimclrt), kI16, 2, 2},
    {"dimdec", offsetof(CDB_HEADER_type, dimdec), kI16, 0, 2},
    {"dimtdec", offsetof(CDB_HEADER_type, dimtdec), kI16, 0, 2},
    {"dimdle", offsetof(CDB_HEADER_type, dimdle), kF64, 4, 4},
    {"dimdli", offsetof(CDB_HEADER_type, dimdli), kF64, 4, 4},
    {"dimexe", offsetof(CDB_HEADER_type, dimexe), kF64, 4, 4},
    {"dimexo", offsetof(CDB_HEADER_type, dimexo), kF64, 4, 4},
    {"dimfit", offsetof(CDB_HEADER_type, dimfit), kI16, 0, 2},
    {"dimgap", offsetof(CDB_HEADER_type, dimgap), kF64, 4, 4},
    {"dimjust", offsetof(CDB_HEADER_type, dimjust), kI16, 0, 2},
    {"dimlfac", offsetof(CDB_HEADER_type, dimlfac), kF64, 4, 4},
    {"dimlim", offsetof(CDB_HEADER_type, dimlim), kI16, 2, 2},
    {"dimpost", offsetof(CDB_HEADER_type, dimpost), kText, 7, 7},
    {"dimrnd", offsetof(CDB_HEADER_type, dimrnd), kF64, 4, 4},
    {"dimsah", offsetof(CDB_HEADER_type, dimsah), kI16, 2, 2},
    {"dimscale", offsetof(CDB_HEADER_type, dimscale), kF64, 4, 4},
    {"dimsd1", offsetof(CDB_HEADER_type, dimsd1), kI16, 0, 2},
    {"dimsd2", offsetof(CDB_HEADER_type, dimsd2), kI16, 0, 2},
    {"dimse1", offsetof(CDB_HEADER_type, dimse1), kI16, 2, 2},
    {"dimse2", offsetof(CDB_HEADER_type, dimse2), kI16, 2, 2},
    {"dimsho", offsetof(CDB_HEADER_type, dimsho), kI16, 2, 2},
    {"dimsoh", offsetof(CDB_HEADER_type, dimsoh), kI16, 0, 2},
    {"dimsoxd", offsetof(CDB_HEADER_type, dimsoxd), kI16, 2, 2},
    {"dimstyle", offsetof(CDB_HEADER_type, dimstyle), kI16, 2, 2},
    {"hdimstyle", offsetof(CDB_HEADER_type, hdimstyle), kText, 0, 8},
    {"dimtad", offsetof(CDB_HEADER_type, dimtad), kI16, 2, 2},
    {"dimtfac", offsetof(CDB_HEADER_type, dimtfac), kF64, 4, 4},
    {"dimtih", offsetof(CDB_HEADER_type, dimtih), kI16, 2, 2},
    {"dimtix", offsetof(CDB_HEADER_type, dimtix), kI16, 2, 2},
    {"dimtm", offsetof(CDB_HEADER_type, dimtm), kF64, 4, 4},
    {"dimtofl", offsetof(CDB_HEADER_type, dimtofl), kI16, 2, 2},
    {"dimtoh", offsetof(CDB_HEADER_type, dimtoh), kI16, 2, 2},
    {"dimtol", offsetof(CDB_HEADER_type, dimtol), kI16, 2, 2},
    {"dimtolj", offsetof(CDB_HEADER_type, dimtolj), kI16, 0, 2},
    {"dimtp", offsetof(CDB_HEADER_type, dimtp), kF64, 4, 4},
    {"dimtsz", offsetof(CDB_HEADER_type, dimtsz), kF64, 4, 4},
    {"dimtvp", offsetof(CDB_HEADER_type, dimtvp), kF64, 4, 4},
    {"dimtxt", offsetof(CDB_HEADER_type, dimtxt), kF64, 4, 4},
    {"hdimtxsty", offsetof(CDB_HEADER_type, hdimtxsty), kText, 0, 8},
    {"dimtxsty", offsetof(CDB_HEADER_type, dimtxsty), kI16, 0, 2},
    {"dimupt", offsetof(CDB_HEADER_type, dimupt), kI16, 0, 2},
    {"dimunit", offsetof(CDB_HEADER_type, dimunit), kI16, 0, 2},
    {"dimaunit", offsetof(CDB_HEADER_type, dimaunit), kI16, 0, 2},
    {"dimzin", offsetof(CDB_HEADER_type, dimzin), kI16, 2, 2},
    {"dimtzin", offsetof(CDB_HEADER_type, dimtzin), kI16, 0, 2},
    {"dispsilh", offsetof(CDB_HEADER_type, dispsilh), kI16, 0, 2},
    {"dragmode", offsetof(CDB_HEADER_type, dragmode), kI16, 2, 2},
    {"dwgcodepage", offsetof(CDB_HEADER_type, dwgcodepage), kText, 7, 7},
    {"elevation", offsetof(CDB_HEADER_type, elevation), kF64, 4, 4},
    {"extmax", offsetof(CDB_HEADER_type, extmax), kPoint3, 6, 6},
    {"extmin", offsetof(CDB_HEADER_type, extmin), kPoint3, 6, 6},
    {"fastzoom", offsetof(CDB_HEADER_type, fastzoom), kI16, 2, 2},
    {"filletrad", offsetof(CDB_HEADER_type, filletrad), kF64, 4, 4},
    {"fillmode", offsetof(CDB_HEADER_type, fillmode), kI16, 2, 2},
    {"gridmode", offsetof(CDB_HEADER_type, gridmode), kI16, 2, 2},
    {"gridunit", offsetof(CDB_HEADER_type, gridunit), kPoint2, 5, 5},
    {"handling", offsetof(CDB_HEADER_type, handling), kI16, 2, 2},
    {"handseed", offsetof(CDB_HEADER_type, handseed), kText, 7, 8},
    {"insbase", offsetof(CDB_HEADER_type, insbase), kPoint3, 6, 6},
    {"limcheck", offsetof(CDB_HEADER_type, limcheck), kI16, 2, 2},
    {"limmax", offsetof(CDB_HEADER_type, limmax), kPoint2, 5, 5},
    {"limmin", offsetof(CDB_HEADER_type, limmin), kPoint2, 5, 5},
    {"ltscale", offsetof(CDB_HEADER_type, ltscale), kF64, 4, 4},
    {"lunits", offsetof(CDB_HEADER_type, lunits), kI16, 2, 2},
    {"luprec", offsetof(CDB_HEADER_type, luprec), kI16, 2, 2},
    {"maxactvp", offsetof(CDB_HEADER_type, maxactvp), kI16, 2, 2},
    {"menu", offsetof(CDB_HEADER_type, menu), kText, 7, 7},
    {"mirrtext", offsetof(CDB_HEADER_type, mirrtext), kI16, 2, 2},
    {"orthomode", offsetof(CDB_HEADER_type, orthomode), kI16, 2, 2},
    {"osmode", offsetof(CDB_HEADER_type, osmode), kI16, 2, 2},
    {"pdmode", offsetof(CDB_HEADER_type, pdmode), kI16, 2, 2},
    {"pdsize", offsetof(CDB_HEADER_type, pdsize), kF64, 4, 4},
    {"pelevation", offsetof(CDB_HEADER_type, pelevation), kF64, 4, 4},
    {"pextmax", offsetof(CDB_HEADER_type, pextmax), kPoint3, 6, 6},
    {"pextmin", offsetof(CDB_HEADER_type, pextmin), kPoint3, 6, 6},
    {"pickstyle", offsetof(CDB_HEADER_type, pickstyle), kI16, 0, 2},
    {"plimcheck", offsetof(CDB_HEADER_type, plimcheck), kI16, 2, 2},
    {"plimmax", offsetof(CDB_HEADER_type, plimmax), kPoint2, 5, 5},
    {"plimmin", offsetof(CDB_HEADER_type, plimmin), kPoint2, 5, 5},
    {"plinegen", offsetof(CDB_HEADER_type, plinegen), kI16, 2, 2},
    {"plinewid", offsetof(CDB_HEADER_type, plinewid), kF64, 4, 4},
    {"psltscale", offsetof(CDB_HEADER_type, psltscale), kI16, 2, 2},
    {"pucsname", offsetof(CDB_HEADER_type, pucsname), kI16, 2, 2},
    {"hpucsname", offsetof(CDB_HEADER_type, hpucsname), kText, 0, 8},
    {"pucsorg", offsetof(CDB_HEADER_type, pucsorg), kPoint3, 6, 6},
    {"pucsxdir", offsetof(CDB_HEADER_type, pucsxdir), kPoint3, 6, 6},
    {"pucsydir", offsetof(CDB_HEADER_type, pucsydir), kPoint3, 6, 6},
    {"qtextmode", offsetof(CDB_HEADER_type, qtextmode), kI16, 2, 2},
    {"regenmode", offsetof(CDB_HEADER_type, regenmode), kI16, 2, 2},
    {"saveimages", offsetof(CDB_HEADER_type, saveimages), kI16, 0, 2},
    {"shadedge", offsetof(CDB_HEADER_type, shadedge), kI16, 2, 2},
    {"shadedif", offsetof(CDB_HEADER_type, shadedif), kI16, 2, 2},
    {"sketchinc", offsetof(CDB_HEADER_type, sketchinc), kF64, 4, 4},
    {"skpoly", offsetof(CDB_HEADER_type, skpoly), kI16, 2, 2},
    {"snapang", offsetof(CDB_HEADER_type, snapang), kF64, 4, 4},
    {"snapbase", offsetof(CDB_HEADER_type, snapbase), kPoint2, 5, 5},
    {"snapisopair", offsetof(CDB_HEADER_type, snapisopair), kI16, 2, 2},
    {"snapmode", offsetof(CDB_HEADER_type, snapmode), kI16, 2, 2},
    {"snapstyle", offsetof(CDB_HEADER_type, snapstyle), kI16, 2, 2},
    {"snapunit", offsetof(CDB_HEADER_type, snapunit), kPoint2, 5, 5},
    {"splframe", offsetof(CDB_HEADER_type, splframe), kI16, 2, 2},
    {"splinesegs", offsetof(CDB_HEADER_type, splinesegs), kI16, 2, 2},
    {"splinetype", offsetof(CDB_HEADER_type, splinetype), kI16, 2, 2},
    {"surftab1", offsetof(CDB_HEADER_type, surftab1), kI16, 2, 2},
    {"surftab2", offsetof(CDB_HEADER_type, surftab2), kI16, 2, 2},
    {"surftype", offsetof(CDB_HEADER_type, surftype), kI16, 2, 2},
    {"surfu", offsetof(CDB_HEADER_type, surfu), kI16, 2, 2},
    {"surfv", offsetof(CDB_HEADER_type, surfv), kI16, 2, 2},
    {"tdcreate", offsetof(CDB_HEADER_type, tdcreate), kF64, 4, 4},
    {"tdindwg", offsetof(CDB_HEADER_type, tdindwg), kF64, 4, 4},
    {"tdupdate", offsetof(CDB_HEADER_type, tdupdate), kF64, 4, 4},
    {"tdusrtimer", offsetof(CDB_HEADER_type, tdusrtimer), kF64, 4, 4},
    {"textsize", offsetof(CDB_HEADER_type, textsize), kF64, 4, 4},
    {"textstyle", offsetof(CDB_HEADER_type, textstyle), kI16, 2, 2},
    {"htextstyle", offsetof(CDB_HEADER_type, htextstyle), kText, 0, 8},
    {"thickness", offsetof(CDB_HEADER_type, thickness), kF64, 4, 4},
    {"tilemode", offsetof(CDB_HEADER_type, tilemode), kI16, 2, 2},
    {"tracewid", offsetof(CDB_HEADER_type, tracewid), kF64, 4, 4},
    {"ucsname", offsetof(CDB_HEADER_type, ucsname), kI16, 2, 2},
    {"hucsname", offsetof(CDB_HEADER_type, hucsname), kText, 0, 8},
    {"ucsorg", offsetof(CDB_HEADER_type, ucsorg), kPoint3, 6, 6},
    {"ucsxdir", offsetof(CDB_HEADER_type, ucsxdir), kPoint3, 6, 6},
    {"ucsydir", offsetof(CDB_HEADER_type, ucsydir), kPoint3, 6, 6},
    {"unitmode", offsetof(CDB_HEADER_type, unitmode), kI16, 2, 2},
    {"userivar1", offsetof(CDB_HEADER_type, userivar1), kI16, 2, 2},
    {"userrvar1", offsetof(CDB_HEADER_type, userivar1), kI16, 2, 2},
    {"userivar2", offsetof(CDB_HEADER_type, userivar2), kI16, 2, 2},
    {"userrvar2", offsetof(CDB_HEADER_type, userivar2), kI16, 2, 2},
    {"userivar3", offsetof(CDB_HEADER_type, userivar3), kI16, 2, 2},
    {"userrvar3", offsetof(CDB_HEADER_type, userivar3), kI16, 2, 2},
    {"userivar4", offsetof(CDB_HEADER_type, userivar4), kI16, 2, 2},
    {"userrvar4", offsetof(CDB_HEADER_type, userivar4), kI16, 2, 2},
    {"userivar5", offsetof(CDB_HEADER_type, userivar5), kI16, 2, 2},
    {"userrvar5", offsetof(CDB_HEADER_type, userivar5), kI16, 2, 2},
    {"usrtimer", offsetof(CDB_HEADER_type, usrtimer), kI16, 2, 2},
    {"viewctr", offsetof(CDB_HEADER_type, viewctr), kPoint2, 5, 5},
    {"viewdir", offsetof(CDB_HEADER_type, viewdir), kPoint3, 6, 6},
    {"viewsize", offsetof(CDB_HEADER_type, viewsize), kF64, 4, 4},
    {"visretain", offsetof(CDB_HEADER_type, visretain), kI16, 2, 2},
    {"treedepth", offsetof(CDB_HEADER_type, treedepth), kI16, 2, 2},
    {"worldview", offsetof(CDB_HEADER_type, worldview), kI16, 2, 2},
    {"flatland", offsetof(CDB_HEADER_type, flatland), kI16, 2, 2},
    {"cvport", offsetof(CDB_HEADER_type, cvport), kI16, 2, 2},
    {"pinsbase", offsetof(CDB_HEADER_type, pinsbase), kPoint3, 6, 6},
};

const char *const kReleaseThirteenOnly[] = {
    "hceltype",  "celtscale", "chamferc",  "chamferd",   "hclayer",    "cmlscale",
    "cmljust",   "hcmlstyle", "cmlstyle",  "corrected",  "delobj",     "dimaltz",
    "dimalttz",  "dimaltu",   "dimalttd",  "dimdec",     "dimtdec",    "dimfit",
    "dimjust",   "dimsd1",    "dimsd2",    "dimsoh",     "hdimstyle",  "dimtolj",
    "hdimtxsty", "dimtxsty",  "dimtzin",   "dimupt",     "dimunit",    "dimaunit",
    "dispsilh",  "pickstyle", "hpucsname", "saveimages", "htextstyle", "hucsname",
};

size_t WidthBytes(Width w) {
    switch (w) {
    case kI16:
        return 2;
    case kF64:
        return 8;
    case kPoint2:
        return 16;
    case kPoint3:
        return 24;
    case kText:
        return sizeof(char *);
    }
    return 0;
}

// A header whose every byte is distinct enough to tell fields apart, and whose text
// fields point at texts of their own.
class PatternHeader {
public:
    PatternHeader() {
        unsigned char *bytes = reinterpret_cast<unsigned char *>(&header);
        for (size_t i = 0; i < sizeof header; ++i)
            bytes[i] = static_cast<unsigned char>((i * 37 + 11) & 0xFF);
        for (const Expected &e : kExpected) {
            if (e.width != kText)
                continue;
            texts[e.name] = std::string("text of ") + e.name;
            const char *p = texts[e.name].c_str();
            std::memcpy(bytes + e.offset, &p, sizeof p);
        }
    }
    CDB_HEADER_type header;
    std::map<std::string, std::string> texts;
};

CDB_VAR_VALUE_type Filled(unsigned char byte) {
    CDB_VAR_VALUE_type v;
    std::memset(&v, byte, sizeof v);
    return v;
}

bool Untouched(const CDB_VAR_VALUE_type &v, unsigned char byte) {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(&v);
    for (size_t i = 0; i < sizeof v; ++i)
        if (p[i] != byte)
            return false;
    return true;
}

CDB_HEADER_type ZeroHeader() {
    CDB_HEADER_type h;
    std::memset(&h, 0, sizeof h);
    return h;
}

} // namespace

TEST(HeaderVars, TestTableCoversEveryFieldOfTheRecord) {
    // The record has 188 fields: 183 names of their own and the five real user
    // variables, which no name reaches.
    EXPECT_EQ(sizeof kExpected / sizeof kExpected[0], 188u);
    size_t sum = 5 * sizeof(double);
    std::set<size_t> offsets;
    for (const Expected &e : kExpected) {
        if (std::strncmp(e.name, "userrvar", 8) == 0)
            continue;
        sum += WidthBytes(e.width);
        EXPECT_TRUE(offsets.insert(e.offset).second) << e.name;
    }
    EXPECT_EQ(sum, sizeof(CDB_HEADER_type));
}

TEST(HeaderVars, ReleaseTwelveKnows152NamesAndReleaseThirteen188) {
    EXPECT_EQ(HeaderVariableCount(HeaderRelease::R12), 152);
    EXPECT_EQ(HeaderVariableCount(HeaderRelease::R13), 188);
}

TEST(HeaderVars, EveryNameReadsItsOwnFieldWithItsCode) {
    PatternHeader ph;
    for (const HeaderRelease release : {HeaderRelease::R12, HeaderRelease::R13}) {
        for (const Expected &e : kExpected) {
            SCOPED_TRACE(e.name);
            const short expected = release == HeaderRelease::R12 ? e.code_r12 : e.code_r13;
            CDB_VAR_VALUE_type v = Filled(0xCD);
            const short code = GetHeaderVariable(ph.header, release, e.name, &v);
            ASSERT_EQ(code, expected);
            if (expected == 0) {
                EXPECT_TRUE(Untouched(v, 0xCD));
                continue;
            }
            const unsigned char *field =
                reinterpret_cast<const unsigned char *>(&ph.header) + e.offset;
            if (e.width == kText) {
                EXPECT_STREQ(+v.text, ph.texts[e.name].c_str());
                continue;
            }
            const size_t n = WidthBytes(e.width);
            EXPECT_EQ(std::memcmp(&v, field, n), 0);
            // Nothing is written behind the value.
            const unsigned char *vb = reinterpret_cast<const unsigned char *>(&v);
            for (size_t i = n; i < sizeof v; ++i)
                ASSERT_EQ(vb[i], 0xCD) << "byte " << i;
        }
    }
}

TEST(HeaderVars, ReleaseThirteenOnlyNamesAreUnknownToReleaseTwelve) {
    PatternHeader ph;
    std::set<std::string> only(std::begin(kReleaseThirteenOnly), std::end(kReleaseThirteenOnly));
    EXPECT_EQ(only.size(), 36u);
    for (const Expected &e : kExpected) {
        CDB_VAR_VALUE_type v = Filled(0);
        const bool r12 = GetHeaderVariable(ph.header, HeaderRelease::R12, e.name, &v) != 0;
        const bool r13 = GetHeaderVariable(ph.header, HeaderRelease::R13, e.name, &v) != 0;
        EXPECT_TRUE(r13) << e.name;
        EXPECT_EQ(r12, only.count(e.name) == 0) << e.name;
    }
}

TEST(HeaderVars, TypeCodeCountsOfReleaseThirteen) {
    // By the code CDBGetVariableValue answers in release 13. The record's field types
    // give 109 integers (104 fields and the five user reals that read them) and 39
    // reals (40 doubles less angbase, which answers as text).
    CDB_HEADER_type h = ZeroHeader();
    std::map<short, int> counts;
    for (const Expected &e : kExpected) {
        CDB_VAR_VALUE_type v;
        ++counts[GetHeaderVariable(h, HeaderRelease::R13, e.name, &v)];
    }
    EXPECT_EQ(counts[CDB_VAR_UNKNOWN], 0);
    EXPECT_EQ(counts[CDB_VAR_INT16], 109);
    EXPECT_EQ(counts[CDB_VAR_REAL], 39);
    EXPECT_EQ(counts[CDB_VAR_POINT2], 9);
    EXPECT_EQ(counts[CDB_VAR_POINT3], 13);
    EXPECT_EQ(counts[CDB_VAR_TEXT], 9);
    EXPECT_EQ(counts[CDB_VAR_HANDLE], 9);
}

TEST(HeaderVars, NamesMatchWithoutRegardToCase) {
    CDB_HEADER_type h = ZeroHeader();
    char version[7] = "AC1012";
    h.acadver = version;
    for (const char *name : {"ACADVER", "acadver", "AcAdVeR"}) {
        CDB_VAR_VALUE_type v = Filled(0);
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, name, &v), CDB_VAR_TEXT) << name;
        EXPECT_STREQ(+v.text, "AC1012");
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, name, &v), CDB_VAR_TEXT) << name;
    }
}

TEST(HeaderVars, DollarPrefixedNameIsUnknown) {
    CDB_HEADER_type h = ZeroHeader();
    CDB_VAR_VALUE_type v = Filled(0x5A);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "$ACADVER", &v), CDB_VAR_UNKNOWN);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "$ACADVER", &v), CDB_VAR_UNKNOWN);
    EXPECT_TRUE(Untouched(v, 0x5A));
}

TEST(HeaderVars, UnknownOrPartialNameLeavesValueUntouched) {
    CDB_HEADER_type h = ZeroHeader();
    for (const char *name : {"", "acad", "acadverx", "userrvar6", "nosuchvariable", " clayer"}) {
        CDB_VAR_VALUE_type v = Filled(0x77);
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, name, &v), CDB_VAR_UNKNOWN) << name;
        EXPECT_TRUE(Untouched(v, 0x77)) << name;
    }
}

TEST(HeaderVars, NullNameIsUnknown) {
    CDB_HEADER_type h = ZeroHeader();
    CDB_VAR_VALUE_type v = Filled(0x11);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, nullptr, &v), CDB_VAR_UNKNOWN);
    EXPECT_TRUE(Untouched(v, 0x11));
}

TEST(HeaderVars, NullValueStillAnswersTheCode) {
    CDB_HEADER_type h = ZeroHeader();
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "extmin", nullptr), CDB_VAR_POINT3);
}

TEST(HeaderVars, HandleNameOnReleaseTwelveIsUnknownAndLeavesValueUntouched) {
    CDB_HEADER_type h = ZeroHeader();
    char layer[] = "2A";
    h.hclayer = layer;
    CDB_VAR_VALUE_type v = Filled(0x42);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "hclayer", &v), CDB_VAR_UNKNOWN);
    EXPECT_TRUE(Untouched(v, 0x42));
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "hclayer", &v), CDB_VAR_HANDLE);
    EXPECT_STREQ(+v.text, "2A");
}

TEST(HeaderVars, UserRealVariablesReadTheIntegerFields) {
    CDB_HEADER_type h = ZeroHeader();
    h.userivar1 = 11;
    h.userivar2 = -22;
    h.userivar3 = 33;
    h.userivar4 = 44;
    h.userivar5 = 55;
    h.userrvar1 = 1.5;
    h.userrvar2 = 2.5;
    h.userrvar3 = 3.5;
    h.userrvar4 = 4.5;
    h.userrvar5 = 5.5;
    const int16_t expected[] = {11, -22, 33, 44, 55};
    for (const HeaderRelease release : {HeaderRelease::R12, HeaderRelease::R13}) {
        for (int i = 0; i < 5; ++i) {
            const std::string name = "userrvar" + std::to_string(i + 1);
            CDB_VAR_VALUE_type v = Filled(0);
            EXPECT_EQ(GetHeaderVariable(h, release, name.c_str(), &v), CDB_VAR_INT16) << name;
            EXPECT_EQ(+v.int_value, expected[i]) << name;
            const std::string iname = "userivar" + std::to_string(i + 1);
            CDB_VAR_VALUE_type w = Filled(0);
            EXPECT_EQ(GetHeaderVariable(h, release, iname.c_str(), &w), CDB_VAR_INT16);
            EXPECT_EQ(+w.int_value, expected[i]);
        }
    }
}

TEST(HeaderVars, DimaszInReleaseTwelveAnswersIntegerButCopiesTheDouble) {
    CDB_HEADER_type h = ZeroHeader();
    h.dimasz = 0.18;
    CDB_VAR_VALUE_type v = Filled(0xEE);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "dimasz", &v), CDB_VAR_INT16);
    EXPECT_EQ(+v.real_value, 0.18);
    const unsigned char *vb = reinterpret_cast<const unsigned char *>(&v);
    for (size_t i = 8; i < sizeof v; ++i)
        EXPECT_EQ(vb[i], 0xEE);
}

TEST(HeaderVars, DimaszInReleaseThirteenIsReal) {
    CDB_HEADER_type h = ZeroHeader();
    h.dimasz = 0.25;
    CDB_VAR_VALUE_type v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "DIMASZ", &v), CDB_VAR_REAL);
    EXPECT_EQ(+v.real_value, 0.25);
}

TEST(HeaderVars, AngbaseInReleaseThirteenAnswersTextButCopiesTheDouble) {
    CDB_HEADER_type h = ZeroHeader();
    h.angbase = 90.0;
    CDB_VAR_VALUE_type v = Filled(0xEE);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "angbase", &v), CDB_VAR_TEXT);
    EXPECT_EQ(+v.real_value, 90.0);
    const unsigned char *vb = reinterpret_cast<const unsigned char *>(&v);
    for (size_t i = 8; i < sizeof v; ++i)
        EXPECT_EQ(vb[i], 0xEE);
}

TEST(HeaderVars, AngbaseInReleaseTwelveIsReal) {
    CDB_HEADER_type h = ZeroHeader();
    h.angbase = 45.0;
    CDB_VAR_VALUE_type v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "angbase", &v), CDB_VAR_REAL);
    EXPECT_EQ(+v.real_value, 45.0);
}

TEST(HeaderVars, HandseedIsTextInReleaseTwelveAndHandleInReleaseThirteen) {
    CDB_HEADER_type h = ZeroHeader();
    char seed[30] = "3F2";
    h.handseed = seed;
    CDB_VAR_VALUE_type v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "handseed", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(+v.text, "3F2");
    v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "handseed", &v), CDB_VAR_HANDLE);
    EXPECT_STREQ(+v.text, "3F2");
}

TEST(HeaderVars, IndexAndHandleReferencesStandSideBySide) {
    CDB_HEADER_type h = ZeroHeader();
    h.clayer = 3;
    char layer[] = "1F";
    h.hclayer = layer;
    h.celtype = -1;
    char bylayer[] = "-1";
    h.hceltype = bylayer;
    CDB_VAR_VALUE_type v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "clayer", &v), CDB_VAR_INT16);
    EXPECT_EQ(+v.int_value, 3);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "hclayer", &v), CDB_VAR_HANDLE);
    EXPECT_STREQ(+v.text, "1F");
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "celtype", &v), CDB_VAR_INT16);
    EXPECT_EQ(+v.int_value, -1);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "hceltype", &v), CDB_VAR_HANDLE);
    EXPECT_STREQ(+v.text, "-1");
    for (const char *name : {"clayer", "celtype", "textstyle", "dimstyle"})
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, name, &v), CDB_VAR_INT16) << name;
}

TEST(HeaderVars, PointVariablesCopyTwoOrThreeDoubles) {
    CDB_HEADER_type h = ZeroHeader();
    h.extmin.x = 1;
    h.extmin.y = 2;
    h.extmin.z = 3;
    h.limmax.x = 12;
    h.limmax.y = 9;
    CDB_VAR_VALUE_type v = Filled(0);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "extmin", &v), CDB_VAR_POINT3);
    EXPECT_EQ(+v.point3_value.x, 1);
    EXPECT_EQ(+v.point3_value.y, 2);
    EXPECT_EQ(+v.point3_value.z, 3);
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "limmax", &v), CDB_VAR_POINT2);
    EXPECT_EQ(+v.point2_value.x, 12);
    EXPECT_EQ(+v.point2_value.y, 9);
    for (const char *name : {"extmin", "extmax", "insbase"})
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, name, &v), CDB_VAR_POINT3);
    for (const char *name : {"limmin", "limmax", "viewctr"})
        EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, name, &v), CDB_VAR_POINT2);
}

TEST(HeaderVars, NullTextCopiesEmptyString) {
    CDB_HEADER_type h = ZeroHeader();
    CDB_VAR_VALUE_type v = Filled('x');
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "menu", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(+v.text, "");
    v = Filled('x');
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R13, "hucsname", &v), CDB_VAR_HANDLE);
    EXPECT_STREQ(+v.text, "");
}

TEST(HeaderVars, LongTextIsCutToSixtyThreeCharacters) {
    CDB_HEADER_type h = ZeroHeader();
    std::string menu(100, 'm');
    h.menu = &menu[0];
    CDB_VAR_VALUE_type v = Filled('x');
    EXPECT_EQ(GetHeaderVariable(h, HeaderRelease::R12, "menu", &v), CDB_VAR_TEXT);
    EXPECT_EQ(std::strlen(v.text), 63u);
    EXPECT_EQ(std::string(v.text), std::string(63, 'm'));
}

TEST(CodePage, NumberToTextCoversAllRows) {
    const char *const rows[] = {
        "undefined", "ascii",     "iso8859-1", "iso8859-2", "iso8859-3", "iso8859-4",
        "iso8859-5", "iso8859-6", "iso8859-7", "iso8859-8", "iso8859-9", "dos437",
        "dos850",    "dos852",    "dos855",    "dos857",    "dos860",    "dos861",
        "dos863",    "dos864",    "dos865",    "dos869",    "dos932",    "mac-roman",
    };
    for (int i = 0; i < 24; ++i) {
        char buffer[40] = {};
        EXPECT_EQ(CodePageText(i, buffer, sizeof buffer), 1);
        EXPECT_STREQ(buffer, rows[i]);
        int16_t number = -1;
        EXPECT_EQ(CodePageNumber(rows[i], number), 1);
        EXPECT_EQ(number, i);
    }
}

TEST(CodePage, NumberOutsideTableFails) {
    char buffer[40] = "keep";
    EXPECT_EQ(CodePageText(24, buffer, sizeof buffer), 0);
    EXPECT_EQ(CodePageText(-1, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "keep");
}

TEST(CodePage, TextIsCutToTheBuffer) {
    char buffer[4] = {};
    EXPECT_EQ(CodePageText(23, buffer, sizeof buffer), 1);
    EXPECT_STREQ(buffer, "mac");
    EXPECT_EQ(CodePageText(23, buffer, 0), 0);
    EXPECT_EQ(CodePageText(23, nullptr, 10), 0);
}

TEST(CodePage, TextToNumberIgnoresCase) {
    int16_t number = -1;
    EXPECT_EQ(CodePageNumber("ANSI_1252", number), 0);
    EXPECT_EQ(CodePageNumber("DOS850", number), 1);
    EXPECT_EQ(number, 12);
    EXPECT_EQ(CodePageNumber("Mac-Roman", number), 1);
    EXPECT_EQ(number, 23);
}

TEST(CodePage, UnknownTextFailsAndLeavesNumberUntouched) {
    int16_t number = 99;
    EXPECT_EQ(CodePageNumber("ansi_1252", number), 0);
    EXPECT_EQ(number, 99);
    EXPECT_EQ(CodePageNumber("", number), 0);
    EXPECT_EQ(CodePageNumber("dos", number), 0);
    EXPECT_EQ(CodePageNumber(nullptr, number), 0);
    EXPECT_EQ(number, 99);
}
