// Saving a release 12 drawing as DXF: the HEADER variables, the tables, what the save does
// to the drawing, and the sample drawing saved in both forms and read back.
#include "dxf/r12_dxf_write_support.h"

#include "dxf/r12_dxf_header.h"
#include "dwg12/r12_dxf_layout.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

// The HEADER variables in the order the writer keeps.
const char *const kHeaderOrder[] = {
    "ACADVER",    "INSBASE",    "EXTMIN",     "EXTMAX",    "LIMMIN",     "LIMMAX",    "ORTHOMODE",
    "REGENMODE",  "FILLMODE",   "QTEXTMODE",  "MIRRTEXT",  "DRAGMODE",   "LTSCALE",   "OSMODE",
    "ATTMODE",    "TEXTSIZE",   "TRACEWID",   "TEXTSTYLE", "CLAYER",     "CELTYPE",   "CECOLOR",
    "DIMSCALE",   "DIMASZ",     "DIMEXO",     "DIMDLI",    "DIMRND",     "DIMDLE",    "DIMEXE",
    "DIMTP",      "DIMTM",      "DIMTXT",     "DIMCEN",    "DIMTSZ",     "DIMTOL",    "DIMLIM",
    "DIMTIH",     "DIMTOH",     "DIMSE1",     "DIMSE2",    "DIMTAD",     "DIMZIN",    "DIMBLK",
    "DIMASO",     "DIMSHO",     "DIMPOST",    "DIMAPOST",  "DIMALT",     "DIMALTD",   "DIMALTF",
    "DIMLFAC",    "DIMTOFL",    "DIMTVP",     "DIMTIX",    "DIMSOXD",    "DIMSAH",    "DIMBLK1",
    "DIMBLK2",    "DIMSTYLE",   "DIMCLRD",    "DIMCLRE",   "DIMCLRT",    "DIMTFAC",   "DIMGAP",
    "LUNITS",     "LUPREC",     "SKETCHINC",  "FILLETRAD", "AUNITS",     "AUPREC",    "MENU",
    "ELEVATION",  "PELEVATION", "THICKNESS",  "LIMCHECK",  "BLIPMODE",   "CHAMFERA",  "CHAMFERB",
    "SKPOLY",     "TDCREATE",   "TDUPDATE",   "TDINDWG",   "TDUSRTIMER", "USRTIMER",  "ANGBASE",
    "ANGDIR",     "PDMODE",     "PDSIZE",     "PLINEWID",  "COORDS",     "SPLFRAME",  "SPLINETYPE",
    "SPLINESEGS", "ATTDIA",     "ATTREQ",     "HANDLING",  "HANDSEED",   "SURFTAB1",  "SURFTAB2",
    "SURFTYPE",   "SURFU",      "SURFV",      "UCSNAME",   "UCSORG",     "UCSXDIR",   "UCSYDIR",
    "PUCSNAME",   "PUCSORG",    "PUCSXDIR",   "PUCSYDIR",  "USERI1",     "USERI2",    "USERI3",
    "USERI4",     "USERI5",     "USERR1",     "USERR2",    "USERR3",     "USERR4",    "USERR5",
    "WORLDVIEW",  "SHADEDGE",   "SHADEDIF",   "TILEMODE",  "MAXACTVP",   "PINSBASE",  "PLIMCHECK",
    "PEXTMIN",    "PEXTMAX",    "PLIMMIN",    "PLIMMAX",   "UNITMODE",   "VISRETAIN", "PLINEGEN",
    "PSLTSCALE",  "TREEDEPTH",  "DWGCODEPAGE"};

// The value codes of a variable, by the writer's table of codes.
std::vector<int> ExpectedValueCodes(const std::string &name) {
    static const std::map<std::string, int> kTexts = {
        {"ACADVER", 1},     {"DIMBLK", 1},   {"DIMPOST", 1},  {"DIMAPOST", 1},  {"DIMBLK1", 1},
        {"DIMBLK2", 1},     {"MENU", 1},     {"DIMSTYLE", 2}, {"UCSNAME", 2},   {"PUCSNAME", 2},
        {"DWGCODEPAGE", 3}, {"HANDSEED", 5}, {"CELTYPE", 6},  {"TEXTSTYLE", 7}, {"CLAYER", 8}};
    static const std::set<std::string> kPoint2 = {"LIMMIN", "LIMMAX", "PLIMMIN", "PLIMMAX"};
    static const std::set<std::string> kPoint3 = {"INSBASE",  "EXTMIN",   "EXTMAX",  "UCSORG",
                                                  "UCSXDIR",  "UCSYDIR",  "PUCSORG", "PUCSXDIR",
                                                  "PUCSYDIR", "PINSBASE", "PEXTMIN", "PEXTMAX"};
    static const std::set<std::string> kReals = {
        "LTSCALE",   "TEXTSIZE",  "TRACEWID",   "DIMSCALE",  "DIMASZ",   "DIMEXO",   "DIMDLI",
        "DIMRND",    "DIMDLE",    "DIMEXE",     "DIMTP",     "DIMTM",    "DIMTXT",   "DIMCEN",
        "DIMTSZ",    "DIMALTF",   "DIMLFAC",    "DIMTVP",    "DIMTFAC",  "DIMGAP",   "SKETCHINC",
        "FILLETRAD", "ELEVATION", "PELEVATION", "THICKNESS", "CHAMFERA", "CHAMFERB", "TDCREATE",
        "TDUPDATE",  "TDINDWG",   "TDUSRTIMER", "PDSIZE",    "PLINEWID", "USERR1",   "USERR2",
        "USERR3",    "USERR4",    "USERR5"};
    const auto text = kTexts.find(name);
    if (text != kTexts.end())
        return {text->second};
    if (kPoint2.count(name))
        return {10, 20};
    if (kPoint3.count(name))
        return {10, 20, 30};
    if (name == "ANGBASE")
        return {50};
    if (name == "CECOLOR")
        return {62};
    if (kReals.count(name))
        return {40};
    return {70};
}

// The HEADER section as variables: name (without "$") to the groups of its value.
std::vector<std::pair<std::string, WrittenGroups>> HeaderVariables(const WrittenGroups &all) {
    std::vector<std::pair<std::string, WrittenGroups>> out;
    for (const WrittenGroup &g : SectionOf(all, "HEADER")) {
        if (g.code == 9) {
            EXPECT_EQ(g.value[0], '$');
            out.emplace_back(g.value.substr(1), WrittenGroups());
        } else if (!out.empty()) {
            out.back().second.push_back(g);
        }
    }
    return out;
}

std::string HeaderValue(const WrittenGroups &all, const std::string &name) {
    for (const auto &v : HeaderVariables(all))
        if (v.first == name && !v.second.empty())
            return v.second[0].value;
    return "<none>";
}

template <typename V> void StoreVar(CDB_HEADER_type &vars, uint16_t offset, V value) {
    std::memcpy(reinterpret_cast<uint8_t *>(&vars) + offset, &value, sizeof value);
}

// Gives every numeric variable a value of its own: small integers, reals with a fraction.
void FillHeader(CDB_HEADER_type &vars) {
    size_t count = 0;
    const R12DxfHeaderVariable *list = R12DxfHeaderVariables(count);
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = list[i];
        const double x = double(i) + 0.5;
        switch (v.type) {
        case R12DxfVarType::kPoint3:
            StoreVar(vars, v.offset, CDB_POINT3{x, x + 0.25, -x});
            break;
        case R12DxfVarType::kPoint2:
            StoreVar(vars, v.offset, CDB_POINT2{x, -x});
            break;
        case R12DxfVarType::kReal:
            StoreVar(vars, v.offset, x);
            break;
        case R12DxfVarType::kInt16:
        case R12DxfVarType::kByte:
            StoreVar(vars, v.offset, int16_t(i % 90 + 1));
            break;
        case R12DxfVarType::kText:
            break;
        }
    }
    vars.treedepth = 3020;
    vars.celtype = 1;   // DASHED
    vars.clayer = 1;    // WALLS
    vars.textstyle = 1; // ROMANS
    vars.dimstyle = 0;  // STANDARD
    vars.ucsname = 0;   // MYUCS
    vars.pucsname = -1;
    std::strcpy(vars.menu, "mymenu");
    std::strcpy(vars.dimpost, "<> mm");
    std::strcpy(vars.dimblk, "DOT");
}

// Every one of the 136 variables came back; `skip` names one that may not.
void ExpectSameHeader(const CDB_HEADER_type &a, const CDB_HEADER_type &b,
                      const std::string &skip = "", int digits = 8) {
    size_t count = 0;
    const R12DxfHeaderVariable *list = R12DxfHeaderVariables(count);
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = list[i];
        if (skip == v.name)
            continue;
        const std::string what = v.name;
        switch (v.type) {
        case R12DxfVarType::kPoint3:
            for (size_t k = 0; k < 3; ++k)
                ExpectRealBack(LoadField<double>(&a, v.offset + 8 * k),
                               LoadField<double>(&b, v.offset + 8 * k), what, digits);
            break;
        case R12DxfVarType::kPoint2:
            for (size_t k = 0; k < 2; ++k)
                ExpectRealBack(LoadField<double>(&a, v.offset + 8 * k),
                               LoadField<double>(&b, v.offset + 8 * k), what, digits);
            break;
        case R12DxfVarType::kReal:
            ExpectRealBack(LoadField<double>(&a, v.offset), LoadField<double>(&b, v.offset), what,
                           digits);
            break;
        case R12DxfVarType::kInt16:
        case R12DxfVarType::kByte:
            EXPECT_EQ(LoadField<int16_t>(&a, v.offset), LoadField<int16_t>(&b, v.offset)) << what;
            break;
        case R12DxfVarType::kText:
            if (v.name_of == R12DxfName::kImage || v.name_of == R12DxfName::kDwgcodepage)
                EXPECT_EQ(TextOrNull(LoadField<char *>(&a, v.offset)),
                          TextOrNull(LoadField<char *>(&b, v.offset)))
                    << what;
            else
                EXPECT_EQ(LoadField<int16_t>(&a, v.offset), LoadField<int16_t>(&b, v.offset))
                    << what;
            break;
        }
    }
}

// The first record of each table in the TABLES section, by table name.
std::map<std::string, WrittenGroups> FirstRecords(const WrittenGroups &all) {
    std::map<std::string, WrittenGroups> out;
    for (const WrittenGroups &o : ObjectsOf(SectionOf(all, "TABLES"))) {
        const std::string &name = o[0].value;
        if (name != "TABLE" && name != "ENDTAB" && !out.count(name))
            out[name] = o;
    }
    return out;
}

// The records of `t` in both drawings hold the same values, by the table's DXF layout.
// A null text and an empty one count as the same: a null is written as an empty value.
void ExpectSameTable(CR12Drawing &a, CR12Drawing &b, int t, int digits = 8) {
    const R12DxfLayout *layout = R12DxfTableLayout(t);
    ASSERT_NE(layout, nullptr);
    ASSERT_EQ(a.Table(t).Count(), b.Table(t).Count()) << layout->name;
    auto text = [](const char *s) { return std::string(s ? s : ""); };
    for (int i = 0; i < a.Table(t).Count(); ++i) {
        const void *ra = a.Table(t).At(i)->GetRecord();
        const void *rb = b.Table(t).At(i)->GetRecord();
        EXPECT_EQ(a.Table(t).At(i)->Flags(), b.Table(t).At(i)->Flags());
        for (size_t k = 0; k < layout->count; ++k) {
            const R12DxfGroup &g = layout->groups[k];
            const std::string what = std::string(layout->name) + " " + std::to_string(i) +
                                     " group " + std::to_string(g.code);
            switch (g.value) {
            case R12DxfValue::kName:
            case R12DxfValue::kTextKept:
                EXPECT_EQ(text(LoadField<char *>(ra, g.offset)),
                          text(LoadField<char *>(rb, g.offset)))
                    << what;
                break;
            case R12DxfValue::kReal:
                ExpectRealBack(LoadField<double>(ra, g.offset), LoadField<double>(rb, g.offset),
                               what, digits);
                break;
            case R12DxfValue::kPoint2Next:
            case R12DxfValue::kPoint3Next:
                for (size_t c = 0; c < (g.value == R12DxfValue::kPoint2Next ? 2u : 3u); ++c)
                    ExpectRealBack(LoadField<double>(ra, g.offset + 8 * c),
                                   LoadField<double>(rb, g.offset + 8 * c), what, digits);
                break;
            case R12DxfValue::kInt16:
            case R12DxfValue::kLtypeName:
                EXPECT_EQ(LoadField<int16_t>(ra, g.offset), LoadField<int16_t>(rb, g.offset))
                    << what;
                break;
            case R12DxfValue::kByte:
                EXPECT_EQ(LoadField<uint8_t>(ra, g.offset), LoadField<uint8_t>(rb, g.offset))
                    << what;
                break;
            case R12DxfValue::kDash: {
                const auto *la = static_cast<const CDB_LTYPE_TBL_type *>(ra);
                const auto *lb = static_cast<const CDB_LTYPE_TBL_type *>(rb);
                ASSERT_EQ(+la->dash_count, +lb->dash_count) << what;
                for (int n = 0; n < la->dash_count; ++n)
                    ExpectRealBack(la->dashes[n], lb->dashes[n], what, digits);
                break;
            }
            default:
                break;
            }
        }
    }
}

constexpr int kDxfTables[] = {kR12Vports, kR12Ltypes, kR12Layers, kR12Styles,
                              kR12Views,  kR12Ucs,    kR12Appids, kR12Dimstyles};

} // namespace

// ---- HEADER -------------------------------------------------------------------------------

TEST(R12DxfWriteHeader, AllVariablesInTheirOrderEachOnce) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const auto vars = HeaderVariables(AsciiGroups(d.Save(false)));
    ASSERT_EQ(vars.size(), 136u);
    ASSERT_EQ(sizeof kHeaderOrder / sizeof kHeaderOrder[0], 136u);
    std::set<std::string> seen;
    for (size_t i = 0; i < vars.size(); ++i) {
        EXPECT_EQ(vars[i].first, kHeaderOrder[i]) << i;
        EXPECT_TRUE(seen.insert(vars[i].first).second) << vars[i].first;
    }
}

TEST(R12DxfWriteHeader, EachVariableUnderItsCodesAlsoWhenZero) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    for (const auto &v : HeaderVariables(AsciiGroups(d.Save(false))))
        EXPECT_EQ(CodesOf(v.second), ExpectedValueCodes(v.first)) << v.first;
}

TEST(R12DxfWriteHeader, TableReferencesAreWrittenByName) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    CDB_HEADER_type &vars = d->Header().vars;
    vars.celtype = 1;
    vars.clayer = 1;
    vars.textstyle = 1;
    vars.dimstyle = 1;
    vars.ucsname = 0;
    vars.pucsname = 0;
    const WrittenGroups all = AsciiGroups(d.Save(false));
    EXPECT_EQ(HeaderValue(all, "CELTYPE"), "DASHED");
    EXPECT_EQ(HeaderValue(all, "CLAYER"), "WALLS");
    EXPECT_EQ(HeaderValue(all, "TEXTSTYLE"), "ROMANS");
    EXPECT_EQ(HeaderValue(all, "DIMSTYLE"), "DS2");
    EXPECT_EQ(HeaderValue(all, "UCSNAME"), "MYUCS");
    EXPECT_EQ(HeaderValue(all, "PUCSNAME"), "MYUCS");
    EXPECT_EQ(HeaderValue(all, "ACADVER"), "AC1009");
}

TEST(R12DxfWriteHeader, TableReferencesToNothingUseTheirWords) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    CDB_HEADER_type &vars = d->Header().vars;
    vars.celtype = -1;
    vars.clayer = -1;
    vars.textstyle = -1;
    vars.dimstyle = -1;
    vars.ucsname = -1;
    vars.pucsname = -1;
    WrittenGroups all = AsciiGroups(d.Save(false));
    EXPECT_EQ(HeaderValue(all, "CELTYPE"), "BYLAYER");
    EXPECT_EQ(HeaderValue(all, "CLAYER"), "");
    EXPECT_EQ(HeaderValue(all, "TEXTSTYLE"), "");
    EXPECT_EQ(HeaderValue(all, "DIMSTYLE"), "*UNNAMED");
    EXPECT_EQ(HeaderValue(all, "UCSNAME"), "");
    EXPECT_EQ(HeaderValue(all, "PUCSNAME"), "");
    vars.celtype = -2;
    vars.textstyle = 7;
    all = AsciiGroups(d.Save(false));
    EXPECT_EQ(HeaderValue(all, "CELTYPE"), "BYBLOCK");
    EXPECT_EQ(HeaderValue(all, "TEXTSTYLE"), "");
}

TEST(R12DxfWriteHeader, VariablesComeBackFromTheAsciiFile) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    FillHeader(d->Header().vars);
    R12FromBytes back(d.Save(false));
    ASSERT_TRUE(back.opened());
    ExpectSameHeader(d->Header().vars, back->Header().vars);
}

TEST(R12DxfWriteHeader, VariablesComeBackFromTheBinaryFileButAngbase) {
    R12FromBytes d(BaseDrawing(DxfText(), 1, false));
    ASSERT_TRUE(d.opened());
    FillHeader(d->Header().vars);
    d->Header().vars.dimstyle = -1;
    ASSERT_NE(d->Header().vars.angbase, 0.0);
    R12FromBytes back(d.Save(true));
    ASSERT_TRUE(back.opened());
    ExpectSameHeader(d->Header().vars, back->Header().vars, "$ANGBASE", 12);
    // The binary reader takes a real only under group code 40; $ANGBASE stands under 50.
    EXPECT_EQ(back->Header().vars.angbase, 0.0);
}

// ---- Tables -------------------------------------------------------------------------------

TEST(R12DxfWriteTables, TablesComeInTheirOrderWithTheirCounts) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const WrittenGroups tables = SectionOf(AsciiGroups(d.Save(false)), "TABLES");
    std::vector<std::string> names;
    std::vector<std::string> counts;
    for (size_t i = 0; i + 2 < tables.size(); ++i)
        if (tables[i].code == 0 && tables[i].value == "TABLE") {
            EXPECT_EQ(tables[i + 1].code, 2);
            EXPECT_EQ(tables[i + 2].code, 70);
            names.push_back(tables[i + 1].value);
            counts.push_back(tables[i + 2].value);
        }
    EXPECT_EQ(names, (std::vector<std::string>{"VPORT", "LTYPE", "LAYER", "STYLE", "VIEW", "UCS",
                                               "APPID", "DIMSTYLE"}));
    EXPECT_EQ(counts, (std::vector<std::string>{"     1", "     2", "     2", "     2", "     1",
                                                "     1", "     2", "     2"}));
    EXPECT_EQ(tables.back().value, "ENDTAB");
}

TEST(R12DxfWriteTables, EachRecordWritesItsGroupsInOrder) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const auto records = FirstRecords(AsciiGroups(d.Save(false)));
    std::vector<int> vport = {0,  2,  70, 10, 20, 11, 21, 12, 22, 13, 23, 14, 24, 15,
                              25, 16, 26, 36, 17, 27, 37, 40, 41, 42, 43, 44, 50, 51};
    for (int c = 71; c <= 78; ++c)
        vport.push_back(c);
    std::vector<int> dimstyle = {0, 2, 70, 3, 4, 5, 6, 7};
    for (int c = 40; c <= 48; ++c)
        dimstyle.push_back(c);
    for (int c = 140; c <= 147; ++c)
        dimstyle.push_back(c);
    for (int c = 71; c <= 78; ++c)
        dimstyle.push_back(c);
    for (int c = 170; c <= 178; ++c)
        dimstyle.push_back(c);
    const std::map<std::string, std::vector<int>> expected = {
        {"VPORT", vport},
        {"LTYPE", {0, 2, 70, 3, 72, 73, 40}},
        {"LAYER", {0, 2, 70, 62, 6}},
        {"STYLE", {0, 2, 70, 40, 41, 50, 71, 42, 3, 4}},
        {"VIEW", {0, 2, 70, 40, 10, 20, 41, 11, 21, 31, 12, 22, 32, 42, 43, 44, 50, 71}},
        {"UCS", {0, 2, 70, 10, 20, 30, 11, 21, 31, 12, 22, 32}},
        {"APPID", {0, 2, 70}},
        {"DIMSTYLE", dimstyle},
    };
    ASSERT_EQ(records.size(), expected.size());
    for (const auto &e : expected) {
        ASSERT_TRUE(records.count(e.first)) << e.first;
        EXPECT_EQ(CodesOf(records.at(e.first)), e.second) << e.first;
    }
    EXPECT_EQ(ValueOf(records.at("LAYER"), 6), "CONTINUOUS");
    EXPECT_EQ(ValueOf(records.at("VPORT"), 2), "*ACTIVE");
    EXPECT_EQ(ValueOf(records.at("VPORT"), 26), "-1.0");
}

TEST(R12DxfWriteTables, LineTypeWritesOne49PerDash) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "TABLES"));
    WrittenGroups dashed;
    for (const WrittenGroups &o : objects)
        if (o[0].value == "LTYPE" && ValueOf(o, 2) == "DASHED")
            dashed = o;
    ASSERT_FALSE(dashed.empty());
    EXPECT_EQ(CodesOf(dashed), (std::vector<int>{0, 2, 70, 3, 72, 73, 40, 49, 49}));
    EXPECT_EQ(dashed[7].value, "0.5");
    EXPECT_EQ(dashed[8].value, "-0.25");
}

TEST(R12DxfWriteTables, LineTypeCountWithoutLengthsWritesZeros) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    auto *ltype = d.Record<CDB_LTYPE_TBL_type>(kR12Ltypes, 1);
    std::free(ltype->dashes);
    ltype->dashes = nullptr;
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "TABLES"));
    for (const WrittenGroups &o : objects)
        if (o[0].value == "LTYPE" && ValueOf(o, 2) == "DASHED") {
            ASSERT_EQ(o.size(), 9u);
            EXPECT_EQ(o[7].value, "0.0");
            EXPECT_EQ(o[8].value, "0.0");
        }
}

TEST(R12DxfWriteTables, NullTextsAreEmptyValues) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d.Record<CDB_DIMSTYLE_TBL_type>(kR12Dimstyles, 0)->dimpost, nullptr);
    const auto records = FirstRecords(AsciiGroups(d.Save(false)));
    const WrittenGroups &standard = records.at("DIMSTYLE");
    for (int code = 3; code <= 7; ++code) {
        ASSERT_TRUE(HasCode(standard, code)) << code;
        EXPECT_EQ(ValueOf(standard, code), "") << code;
    }
}

TEST(R12DxfWriteTables, StyleGroup4IsTheBigFont) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    auto *style = d.Record<CDB_STYLE_TBL_type>(kR12Styles, 1);
    style->bigfont_file = static_cast<char *>(std::malloc(8));
    std::strcpy(style->bigfont_file, "big.shx");
    const std::vector<uint8_t> bytes = d.Save(false);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(bytes), "TABLES"));
    WrittenGroups romans;
    for (const WrittenGroups &o : objects)
        if (o[0].value == "STYLE" && ValueOf(o, 2) == "ROMANS")
            romans = o;
    EXPECT_EQ(ValueOf(romans, 3), "romans");
    EXPECT_EQ(ValueOf(romans, 4), "big.shx");
    // The reader appends group 4 to the font file.
    R12FromBytes back(bytes);
    ASSERT_TRUE(back.opened());
    EXPECT_STREQ(back.Record<CDB_STYLE_TBL_type>(kR12Styles, 1)->font_file, "romansbig.shx");
}

TEST(R12DxfWriteTables, CountIncludesDeletedRecordsWhichAreWrittenToo) {
    DxfText entities;
    R12FromBytes d(BaseDrawing(entities));
    ASSERT_TRUE(d.opened());
    // The layer WALLS becomes a deleted record.
    d.Record<CDB_LAYER_TBL_type>(kR12Layers, 1)->flags = 0x84;
    const WrittenGroups tables = SectionOf(AsciiGroups(d.Save(false)), "TABLES");
    int layers = 0;
    for (size_t i = 0; i + 2 < tables.size(); ++i) {
        if (tables[i].value == "TABLE" && tables[i + 1].value == "LAYER") {
            EXPECT_EQ(tables[i + 2].value, "     2");
        }
        if (tables[i].code == 0 && tables[i].value == "LAYER") {
            ++layers;
            if (tables[i + 1].value == "WALLS") {
                EXPECT_EQ(tables[i + 2].value, "    132");
            }
        }
    }
    EXPECT_EQ(layers, 2);
}

TEST(R12DxfWriteTables, RecordsComeBackFromTheAsciiFile) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    R12FromBytes back(d.Save(false));
    ASSERT_TRUE(back.opened());
    for (int t : kDxfTables)
        ExpectSameTable(d.drawing(), back.drawing(), t);
}

TEST(R12DxfWriteTables, RecordsComeBackFromTheBinaryFile) {
    R12FromBytes d(BaseDrawing(DxfText(), 1, false));
    ASSERT_TRUE(d.opened());
    R12FromBytes back(d.Save(true));
    ASSERT_TRUE(back.opened());
    for (int t : kDxfTables)
        ExpectSameTable(d.drawing(), back.drawing(), t, 12);
}

TEST(R12DxfWriteTables, BinaryDimstyleHoldsItsRealsAndWordsInFull) {
    // 140 to 147 are 8-byte reals and 170 to 178 2-byte integers, as in ASCII; the release
    // 12 binary reader does not know these codes.
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const auto records = FirstRecords(BinaryGroups(d.Save(true)));
    ASSERT_TRUE(records.count("DIMSTYLE"));
    const auto objects = ObjectsOf(SectionOf(BinaryGroups(d.Save(true)), "TABLES"));
    WrittenGroups ds2;
    for (const WrittenGroups &o : objects)
        if (o[0].value == "DIMSTYLE" && ValueOf(o, 2) == "DS2")
            ds2 = o;
    EXPECT_EQ(ValueOf(ds2, 140), "0.17999999999999999");
    EXPECT_EQ(ValueOf(ds2, 147), "0.089999999999999997");
    EXPECT_EQ(ValueOf(ds2, 176), "2");
    EXPECT_EQ(ValueOf(ds2, 178), "3");
    EXPECT_EQ(ValueOf(ds2, 3), "<> mm");
}

// ---- What the save does to the drawing ----------------------------------------------------

TEST(R12DxfSave, NewFileBecomesTheDrawingsFileAndFormAndName) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "POINT").G(8, "0")));
    ASSERT_TRUE(d.opened());
    d.Save(true);
    EXPECT_EQ(d->FileKind(), CR12Drawing::kBinaryDxf);
    EXPECT_EQ(std::string(d->GetFileName()), d.LastSavedPath());
    ASSERT_NE(d->File(), nullptr);
    d.Save(false);
    EXPECT_EQ(d->FileKind(), CR12Drawing::kTextDxf);
    EXPECT_EQ(std::string(d->GetFileName()), d.LastSavedPath());
}

TEST(R12DxfSave, DrawingStaysUsableAndSavesAgainToItsOwnName) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "POINT").G(8, "0").G(0, "LINE").G(8, "WALLS")));
    ASSERT_TRUE(d.opened());
    const std::vector<uint8_t> first = d.Save(false);
    EXPECT_EQ(d->Entities().Count(), 3);
    EXPECT_EQ(d->FirstEntity(-1) & 0xFFFF, 0);
    CDB_ENTITY e;
    ASSERT_GE(d->GetCurrentEntity(&e), 0);
    EXPECT_EQ(e.entity_type, CDB_POINT);
    // A second save to the drawing's own name, as a plain save does.
    const std::string own = d->GetFileName();
    EXPECT_EQ(d->SaveAsDXF(own.c_str(), 0), 0);
    EXPECT_EQ(FileBytes(own), first);
    R12FromBytes back(FileBytes(own));
    EXPECT_TRUE(back.opened());
}

TEST(R12DxfSave, SaveIntoAFolderThatIsNotThereFailsWithOpeningError) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->SaveAsDXF("/no/such/folder/out.dxf", 1), CDB_FAIL);
    EXPECT_EQ(d->GetError(), CDB_ERR_OPENING_FILE);
    // The form stays as the save set it.
    EXPECT_EQ(d->FileKind(), CR12Drawing::kBinaryDxf);
    EXPECT_EQ(d->SaveAsDXF(nullptr, 0), CDB_FAIL);
    // A later save works all the same.
    d.Save(false);
}

namespace {

CR12Drawing *g_saving = nullptr;
std::string g_inner_name;
short g_inner_result = 0;
short g_inner_error = 0;
std::vector<int32_t> g_progress;

void SaveAgainWhileSaving(int32_t) {
    g_inner_result = g_saving->SaveAsDXF(g_inner_name.c_str(), 0);
    g_inner_error = g_saving->GetError();
}

void NoteProgress(int32_t written) {
    g_progress.push_back(written);
}

// A drawing of `points` points beside the 13 table records and the block's start, line and
// end.
DxfText Points(int points) {
    DxfText entities;
    for (int i = 0; i < points; ++i)
        entities.G(0, "POINT").G(8, "0").G(10, double(i));
    return BaseDrawing(entities);
}

} // namespace

TEST(R12DxfSave, SaveWhileTheOutputIsOpenFailsWithFileAlreadyOpen) {
    R12FromBytes d(Points(1100));
    ASSERT_TRUE(d.opened());
    TempFile inner(UniqueName("inner.dxf"));
    g_saving = &d.drawing();
    g_inner_name = inner.path();
    g_inner_result = 0;
    d->save_progress = SaveAgainWhileSaving;
    const std::vector<uint8_t> bytes = d.Save(false);
    d->save_progress = nullptr;
    EXPECT_EQ(g_inner_result, CDB_FAIL);
    EXPECT_EQ(g_inner_error, CDB_ERR_FILE_ALREADY_OPEN);
    R12FromBytes back(bytes);
    ASSERT_TRUE(back.opened());
    EXPECT_EQ(back->Entities().Count(), 1101);
}

TEST(R12DxfSave, ProgressCountsEveryEntityAndTableRecord) {
    // 13 table records, the block's start, line and end, and the points: 1024 objects.
    {
        R12FromBytes d(Points(1024 - 16));
        ASSERT_TRUE(d.opened());
        g_progress.clear();
        d->save_progress = NoteProgress;
        d.Save(false);
        EXPECT_EQ(g_progress, (std::vector<int32_t>{1024}));
        g_progress.clear();
        d.Save(true);
        EXPECT_EQ(g_progress, (std::vector<int32_t>{1024}));
    }
    {
        R12FromBytes d(Points(1023 - 16));
        ASSERT_TRUE(d.opened());
        g_progress.clear();
        d->save_progress = NoteProgress;
        d.Save(false);
        EXPECT_TRUE(g_progress.empty());
    }
}

// ---- The sample drawing ------------------------------------------------------------------

namespace {

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

// Entities per kind in the main list (without its end) and in each block's list.
std::map<int, int> KindCounts(CR12Drawing &d) {
    std::map<int, int> counts;
    auto count = [&](const CEntityList *list) {
        for (int i = 0; list && i < list->Count(); ++i) {
            const int code = list->At(i)->Code();
            if (list == &d.Entities() && code == CDB_ENDBLK)
                continue;
            ++counts[code == 21 ? CDB_LINE : code];
        }
    };
    count(&d.Entities());
    for (int b = 0; b < d.Blocks().Count(); ++b)
        if (d.Blocks().At(b) && !(d.Blocks().At(b)->record->flags & 0x80))
            count(d.Blocks().At(b)->entities.get());
    return counts;
}

std::vector<std::string> BlockNames(CR12Drawing &d) {
    std::vector<std::string> names;
    for (int b = 0; b < d.Blocks().Count(); ++b)
        if (d.Blocks().At(b) && !(d.Blocks().At(b)->record->flags & 0x80))
            names.push_back(TextOrNull(d.Blocks().At(b)->record->name));
    return names;
}

// `digits`: 8 for an ASCII file, 12 for a binary one, whose reals reach the reader at 12
// significant digits.
void ExpectSameDrawing(CR12Drawing &a, CR12Drawing &b, bool dimstyles, int digits) {
    for (int t : kDxfTables)
        if (dimstyles || t != kR12Dimstyles)
            ExpectSameTable(a, b, t, digits);
    EXPECT_EQ(KindCounts(a), KindCounts(b));
    EXPECT_EQ(BlockNames(a), BlockNames(b));
}

} // namespace

TEST(R12DxfSaveSample, AsciiReadsBackWithTheSameTablesBlocksAndEntities) {
    R12FromBytes d(FileBytes(kSample), true);
    ASSERT_TRUE(d.opened());
    const std::vector<uint8_t> bytes = d.Save(false);
    R12FromBytes back(bytes);
    ASSERT_TRUE(back.opened());
    ExpectSameDrawing(d.drawing(), back.drawing(), true, 8);
    ExpectSameHeader(d->Header().vars, back->Header().vars);
}

TEST(R12DxfSaveSample, BinaryHoldsTheAsciiGroupsAndReadsBackWithoutItsDimensionStyles) {
    R12FromBytes d(FileBytes(kSample), true);
    ASSERT_TRUE(d.opened());
    ExpectSameGroups(AsciiGroups(d.Save(false)), BinaryGroups(d.Save(true)));
    // The release 12 binary reader does not know the codes 140 to 147 and 170 to 178 of a
    // dimension style: the read-back goes without them.
    while (d->Table(kR12Dimstyles).Count() > 0)
        d->Table(kR12Dimstyles).Remove(0);
    d->Header().vars.dimstyle = -1;
    R12FromBytes back(d.Save(true));
    ASSERT_TRUE(back.opened());
    ExpectSameDrawing(d.drawing(), back.drawing(), false, 12);
    ExpectSameHeader(d->Header().vars, back->Header().vars, "$ANGBASE", 12);
}

TEST(R12DxfSaveSample, EveryKindReadsBackFromABinaryFile) {
    DxfText entities;
    entities.G(0, "LINE").G(8, "WALLS").G(10, 1.0).G(11, 2.0);
    entities.G(0, "POINT").G(8, "0").G(50, 10.0);
    entities.G(0, "CIRCLE").G(8, "0").G(40, 1.0).G(38, 2.0);
    entities.G(0, "ARC").G(8, "0").G(40, 1.0).G(51, 90.0);
    entities.G(0, "TRACE").G(8, "0").G(11, 1.0);
    entities.G(0, "SOLID").G(8, "0").G(12, 1.0);
    entities.G(0, "TEXT").G(8, "0").G(1, "t").G(7, "ROMANS").G(72, 1).G(11, 3.0);
    entities.G(0, "SHAPE").G(8, "0").G(2, "X");
    entities.G(0, "INSERT").G(8, "0").G(66, 1).G(2, "B1").G(41, 2.0);
    entities.G(0, "ATTRIB").G(8, "0").G(1, "v").G(2, "T").G(70, 0).G(1001, "MYAPP").G(1070, 5);
    entities.G(0, "SEQEND").G(8, "0");
    entities.G(0, "ATTDEF").G(8, "0").G(1, "d").G(3, "p").G(2, "T").G(70, 0);
    entities.G(0, "POLYLINE").G(8, "0").G(66, 1).G(70, 1);
    entities.G(0, "VERTEX").G(8, "0").G(10, 1.0).G(42, 0.5);
    entities.G(0, "SEQEND").G(8, "0");
    entities.G(0, "3DFACE").G(8, "0").G(13, 1.0).G(70, 3);
    entities.G(0, "DIMENSION").G(8, "0").G(2, "B1").G(1, "<>").G(13, 1.0);
    entities.G(0, "VIEWPORT").G(8, "0").G(67, 1).G(40, 5.0).G(69, 2);
    R12FromBytes d(BaseDrawing(entities, 1, false));
    ASSERT_TRUE(d.opened());
    R12FromBytes back(d.Save(true));
    ASSERT_TRUE(back.opened());
    ASSERT_EQ(back->Entities().Count(), d->Entities().Count());
    for (int i = 0; i + 1 < d->Entities().Count(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(back->Entities().At(i)->Code(), d->Entities().At(i)->Code());
        // A binary real reaches the reader at 12 significant digits.
        ExpectSameEntity(*d.Entity(i), *back.Entity(i), d->Entities().At(i)->Code(), 12);
    }
}
