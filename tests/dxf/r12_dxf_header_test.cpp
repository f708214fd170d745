// The HEADER section of a release 12 DXF: the variable table, the reader (ASCII and binary)
// and the resolution of the names once the tables are in.
#include "dxf/r12_dxf_header.h"

#include "dwg12/r12_header.h"
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "interface/test_files.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

template <typename T> T Val(T value) {
    return value;
}

// ---- Files of groups ----------------------------------------------------------------------

// A group of a test file, given as its ASCII text. The binary form stores the value by the
// release 12 type of its code.
struct Group {
    int code;
    std::string value;
};

enum class Form { kAscii, kBinary };

std::string AsciiFile(const std::vector<Group> &groups) {
    std::string text;
    for (const Group &g : groups) {
        std::string code = std::to_string(g.code);
        text += std::string(code.size() < 3 ? 3 - code.size() : 0, ' ') + code + "\r\n";
        text += g.value + "\r\n";
    }
    return text;
}

void PutLe(Bytes &out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

Bytes BinaryFile(const std::vector<Group> &groups) {
    // The 22 bytes of the sentinel: the literal's own terminator is its last byte.
    static const char sentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    static_assert(sizeof(sentinel) == CDxfStream::kBinarySentinelSize, "sentinel size");
    Bytes out(sentinel, sentinel + sizeof(sentinel));
    for (const Group &g : groups) {
        if (g.code >= 255) {
            out.push_back(255);
            PutLe(out, static_cast<uint16_t>(g.code), 2);
        } else {
            out.push_back(static_cast<uint8_t>(g.code));
        }
        const int c = g.code;
        if ((c >= 10 && c <= 58) || (c >= 210 && c <= 230) || (c >= 1010 && c <= 1042)) {
            const double d = std::strtod(g.value.c_str(), nullptr);
            uint64_t raw;
            std::memcpy(&raw, &d, sizeof(raw));
            PutLe(out, raw, 8);
        } else if ((c >= 62 && c <= 78) || c == 1070) {
            PutLe(out, static_cast<uint16_t>(std::atoi(g.value.c_str())), 2);
        } else if (c == 1071) {
            PutLe(out, static_cast<uint32_t>(std::atol(g.value.c_str())), 4);
        } else {
            out.insert(out.end(), g.value.begin(), g.value.end());
            out.push_back(0);
        }
    }
    return out;
}

// The groups that open a HEADER section, the variables, and the end of the section and the
// file.
std::vector<Group> Section(const std::vector<Group> &variables) {
    std::vector<Group> groups = {{0, "SECTION"}, {2, "HEADER"}};
    groups.insert(groups.end(), variables.begin(), variables.end());
    groups.push_back({0, "ENDSEC"});
    groups.push_back({0, "SECTION"});
    groups.push_back({2, "ENTITIES"});
    groups.push_back({0, "ENDSEC"});
    groups.push_back({0, "EOF"});
    return groups;
}

// One HEADER read: the stream is opened on the file, the two groups before the section's
// variables are read, and ReadR12DxfHeader runs.
struct HeaderRead {
    std::unique_ptr<velko_test::TempFile> temp;
    CDrawingFile file;
    CDxfStream stream;
    CR12Header header;
    R12DxfHeaderNames names;
    int16_t code = -1;
    char value[CDxfStream::kValueSize] = {};
    int result = -1;

    int16_t NextCode() {
        int16_t c = -1;
        stream.ReadGroup(&c, value);
        return c;
    }
};

std::unique_ptr<HeaderRead> ReadRaw(const std::vector<Group> &groups, Form form) {
    static int serial = 0;
    auto read = std::make_unique<HeaderRead>();
    const std::string name = "velko_dxf12_header_" + std::to_string(++serial) +
                             (form == Form::kBinary ? ".bin.dxf" : ".dxf");
    if (form == Form::kBinary)
        read->temp = std::make_unique<velko_test::TempFile>(name, BinaryFile(groups));
    else
        read->temp = std::make_unique<velko_test::TempFile>(name, AsciiFile(groups));
    EXPECT_EQ(read->file.Open(read->temp->c_str(), CDB_OPEN_READ), 1);
    if (form == Form::kBinary) {
        read->file.SetPosition(CDxfStream::kBinarySentinelSize, 0);
        read->stream.AttachInput(&read->file, CDxfStream::kBinary, CDxfStream::kRelease12);
    } else {
        read->stream.AttachInput(&read->file, CDxfStream::kAscii, CDxfStream::kRelease12);
    }
    // "0 SECTION", "2 HEADER"
    read->stream.ReadGroup(&read->code, read->value);
    read->stream.ReadGroup(&read->code, read->value);
    EXPECT_STREQ(read->value, "HEADER");
    // Left-over names from an earlier use must not survive the read.
    std::memset(&read->names, 'x', sizeof(read->names));
    read->result = ReadR12DxfHeader(read->stream, read->file, read->header, read->names, read->code,
                                    read->value);
    return read;
}

std::unique_ptr<HeaderRead> Read(const std::vector<Group> &variables, Form form) {
    return ReadRaw(Section(variables), form);
}

class BothForms : public testing::TestWithParam<Form> {};

std::string FormName(const testing::TestParamInfo<Form> &info) {
    return info.param == Form::kBinary ? "Binary" : "Ascii";
}

// ---- The variable table -------------------------------------------------------------------

const R12DxfHeaderVariable *Variables(size_t &count) {
    return R12DxfHeaderVariables(count);
}

template <typename V> V FieldAt(const CDB_HEADER_type &vars, uint16_t offset) {
    V value;
    std::memcpy(&value, reinterpret_cast<const uint8_t *>(&vars) + offset, sizeof(value));
    return value;
}

} // namespace

TEST(R12DxfHeaderTable, HoldsTheVariablesInTheWritersOrder) {
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    ASSERT_EQ(count, 136u);
    const char *const start[] = {"$ACADVER", "$INSBASE", "$EXTMIN",   "$EXTMAX",
                                 "$LIMMIN",  "$LIMMAX",  "$ORTHOMODE"};
    for (size_t i = 0; i < sizeof(start) / sizeof(start[0]); ++i)
        EXPECT_STREQ(vars[i].name, start[i]);
    const char *const end[] = {"$PLIMMIN",  "$PLIMMAX",   "$UNITMODE",  "$VISRETAIN",
                               "$PLINEGEN", "$PSLTSCALE", "$TREEDEPTH", "$DWGCODEPAGE"};
    for (size_t i = 0; i < sizeof(end) / sizeof(end[0]); ++i)
        EXPECT_STREQ(vars[count - 8 + i].name, end[i]);
    std::set<std::string> names;
    for (size_t i = 0; i < count; ++i)
        EXPECT_TRUE(names.insert(vars[i].name).second) << vars[i].name << " twice";
}

TEST(R12DxfHeaderTable, CountsEachTypeAsTheSectionHasThem) {
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    std::map<R12DxfVarType, int> per_type;
    for (size_t i = 0; i < count; ++i)
        ++per_type[vars[i].type];
    EXPECT_EQ(per_type[R12DxfVarType::kPoint3], 12);
    EXPECT_EQ(per_type[R12DxfVarType::kPoint2], 4);
    EXPECT_EQ(per_type[R12DxfVarType::kReal], 39);
    EXPECT_EQ(per_type[R12DxfVarType::kInt16], 50);
    EXPECT_EQ(per_type[R12DxfVarType::kByte], 16);
    EXPECT_EQ(per_type[R12DxfVarType::kText], 15);
}

TEST(R12DxfHeaderTable, GivesEachVariableItsWritersGroupCode) {
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    const std::map<std::string, int> texts = {
        {"$ACADVER", 1}, {"$DIMBLK", 1},    {"$DIMPOST", 1},     {"$DIMAPOST", 1},
        {"$DIMBLK1", 1}, {"$DIMBLK2", 1},   {"$MENU", 1},        {"$DIMSTYLE", 2},
        {"$UCSNAME", 2}, {"$PUCSNAME", 2},  {"$DWGCODEPAGE", 3}, {"$HANDSEED", 5},
        {"$CELTYPE", 6}, {"$TEXTSTYLE", 7}, {"$CLAYER", 8}};
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = vars[i];
        SCOPED_TRACE(v.name);
        switch (v.type) {
        case R12DxfVarType::kPoint3:
        case R12DxfVarType::kPoint2:
            EXPECT_EQ(v.code, 10);
            break;
        case R12DxfVarType::kReal:
            EXPECT_EQ(v.code, std::string(v.name) == "$ANGBASE" ? 50 : 40);
            break;
        case R12DxfVarType::kInt16:
            EXPECT_EQ(v.code, std::string(v.name) == "$CECOLOR" ? 62 : 70);
            break;
        case R12DxfVarType::kByte:
            EXPECT_EQ(v.code, 70);
            break;
        case R12DxfVarType::kText:
            ASSERT_EQ(texts.count(v.name), 1u);
            EXPECT_EQ(v.code, texts.at(v.name));
            break;
        }
    }
}

TEST(R12DxfHeaderTable, EveryVariableHasAFieldOfTheHeaderBlock) {
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    const R12Layout layout = CR12Header::Layout();
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = vars[i];
        SCOPED_TRACE(v.name);
        const R12Field *field = nullptr;
        for (size_t j = 0; j < layout.count && !field; ++j) {
            if (layout.fields[j].field_offset == v.offset)
                field = &layout.fields[j];
        }
        ASSERT_NE(field, nullptr) << "no field of the header block";
        switch (v.type) {
        case R12DxfVarType::kPoint3:
            EXPECT_EQ(field->kind, R12Kind::kReal);
            EXPECT_EQ(field->size, 24);
            break;
        case R12DxfVarType::kPoint2:
            EXPECT_EQ(field->kind, R12Kind::kReal);
            EXPECT_EQ(field->size, 16);
            break;
        case R12DxfVarType::kReal:
            EXPECT_EQ(field->kind, R12Kind::kReal);
            EXPECT_EQ(field->size, 8);
            break;
        case R12DxfVarType::kInt16:
            EXPECT_TRUE(field->kind == R12Kind::kI16 || field->kind == R12Kind::kTreedepth);
            break;
        case R12DxfVarType::kByte:
            EXPECT_EQ(field->kind, R12Kind::kI8);
            break;
        case R12DxfVarType::kText:
            if (v.name_of == R12DxfName::kImage) {
                EXPECT_TRUE(field->kind == R12Kind::kFixedText ||
                            field->kind == R12Kind::kMenuHead || field->kind == R12Kind::kHandseed);
            } else if (v.name_of == R12DxfName::kDwgcodepage) {
                EXPECT_EQ(field->kind, R12Kind::kCodePage);
            } else {
                EXPECT_TRUE(field->kind == R12Kind::kI16 || field->kind == R12Kind::kCeltype);
            }
            break;
        }
    }
}

TEST(R12DxfHeaderTable, NamesAreFoundExactlyWithTheirDollar) {
    const R12DxfHeaderVariable *v = FindR12DxfHeaderVariable("$LTSCALE");
    ASSERT_NE(v, nullptr);
    EXPECT_STREQ(v->name, "$LTSCALE");
    EXPECT_EQ(FindR12DxfHeaderVariable("LTSCALE"), nullptr);
    EXPECT_EQ(FindR12DxfHeaderVariable("$ltscale"), nullptr);
    EXPECT_EQ(FindR12DxfHeaderVariable("$LTSCALE "), nullptr);
    EXPECT_EQ(FindR12DxfHeaderVariable(""), nullptr);
    EXPECT_EQ(FindR12DxfHeaderVariable(nullptr), nullptr);
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(FindR12DxfHeaderVariable(vars[i].name), &vars[i]);
}

// ---- Reading ------------------------------------------------------------------------------

namespace {

// The values that the all-variables file gives each variable, by its place in the table.
int16_t IntValue(size_t i) {
    return static_cast<int16_t>(i % 100 + 1);
}
double RealValue(size_t i) {
    return static_cast<double>(i) + 0.5;
}
const std::map<std::string, std::string> &TextValues() {
    static const std::map<std::string, std::string> values = {
        {"$ACADVER", "AC1009"}, {"$DIMBLK", "DOT"},        {"$DIMPOST", "<>mm"},
        {"$DIMAPOST", "[]in"},  {"$DIMBLK1", "ARR1"},      {"$DIMBLK2", "ARR2"},
        {"$MENU", "acad"},      {"$HANDSEED", "2A0F"},     {"$TEXTSTYLE", "STANDARD"},
        {"$CLAYER", "WALLS"},   {"$CELTYPE", "DASHED"},    {"$DIMSTYLE", "ISO"},
        {"$UCSNAME", "UCS1"},   {"$PUCSNAME", "PAPERUCS"}, {"$DWGCODEPAGE", "dos850"}};
    return values;
}

std::string Num(double d) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%.17g", d);
    return buffer;
}

std::vector<Group> AllVariables() {
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    std::vector<Group> groups;
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = vars[i];
        groups.push_back({9, v.name});
        switch (v.type) {
        case R12DxfVarType::kPoint3:
            groups.push_back({10, Num(i + 0.25)});
            groups.push_back({20, Num(i + 0.5)});
            groups.push_back({30, Num(i + 0.75)});
            break;
        case R12DxfVarType::kPoint2:
            groups.push_back({10, Num(i + 0.25)});
            groups.push_back({20, Num(i + 0.5)});
            break;
        case R12DxfVarType::kReal:
            groups.push_back({v.code, Num(RealValue(i))});
            break;
        case R12DxfVarType::kInt16:
        case R12DxfVarType::kByte:
            groups.push_back({v.code, std::to_string(IntValue(i))});
            break;
        case R12DxfVarType::kText:
            groups.push_back({v.code, TextValues().at(v.name)});
            break;
        }
    }
    return groups;
}

} // namespace

TEST_P(BothForms, EveryVariableIsReadIntoItsField) {
    auto r = Read(AllVariables(), GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(r->code, 0);
    EXPECT_STREQ(r->value, "ENDSEC");
    const CDB_HEADER_type &h = r->header.vars;
    size_t count = 0;
    const R12DxfHeaderVariable *vars = Variables(count);
    for (size_t i = 0; i < count; ++i) {
        const R12DxfHeaderVariable &v = vars[i];
        SCOPED_TRACE(v.name);
        switch (v.type) {
        case R12DxfVarType::kPoint3: {
            const CDB_POINT3 p = FieldAt<CDB_POINT3>(h, v.offset);
            EXPECT_EQ(p.x, i + 0.25);
            EXPECT_EQ(p.y, i + 0.5);
            EXPECT_EQ(p.z, i + 0.75);
            break;
        }
        case R12DxfVarType::kPoint2: {
            const CDB_POINT2 p = FieldAt<CDB_POINT2>(h, v.offset);
            EXPECT_EQ(p.x, i + 0.25);
            EXPECT_EQ(p.y, i + 0.5);
            break;
        }
        case R12DxfVarType::kReal:
            if (GetParam() == Form::kBinary && v.code != 40) {
                EXPECT_EQ(FieldAt<double>(h, v.offset), 0.0) << "binary reals need code 40";
            } else {
                EXPECT_EQ(FieldAt<double>(h, v.offset), RealValue(i));
            }
            break;
        case R12DxfVarType::kInt16:
        case R12DxfVarType::kByte:
            EXPECT_EQ(FieldAt<int16_t>(h, v.offset), IntValue(i));
            break;
        case R12DxfVarType::kText:
            if (v.name_of == R12DxfName::kImage) {
                const char *text = FieldAt<const char *>(h, v.offset);
                ASSERT_NE(text, nullptr);
                EXPECT_EQ(std::string(text), TextValues().at(v.name));
            } else if (v.name_of != R12DxfName::kDwgcodepage) {
                EXPECT_EQ(FieldAt<int16_t>(h, v.offset), 0) << "indices wait for the tables";
            }
            break;
        }
    }
    EXPECT_STREQ(r->names.textstyle, "STANDARD");
    EXPECT_STREQ(r->names.clayer, "WALLS");
    EXPECT_STREQ(r->names.celtype, "DASHED");
    EXPECT_STREQ(r->names.dimstyle, "ISO");
    EXPECT_STREQ(r->names.ucsname, "UCS1");
    EXPECT_STREQ(r->names.pucsname, "PAPERUCS");
    EXPECT_STREQ(r->names.dwgcodepage, "dos850");
    EXPECT_STREQ(r->names.active, "*ACTIVE");
    EXPECT_STREQ(h.dwgcodepage, "dos850");
    EXPECT_EQ(std::string(r->file.version, 6), "AC1009");
}

TEST_P(BothForms, HeaderWithoutLtscaleLeavesItZero) {
    auto r = Read({{9, "$ACADVER"}, {1, "AC1009"}, {9, "$TEXTSIZE"}, {40, "0.2"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.ltscale), 0.0);
    EXPECT_EQ(Val(r->header.vars.textsize), 0.2);
    EXPECT_EQ(Val(r->header.vars.dimscale), 0.0);
    EXPECT_EQ(Val(r->header.vars.cecolor), 0);
}

TEST_P(BothForms, MissingVariablesAreWhatAClearedImageDecodesTo) {
    auto r = Read({}, GetParam());
    ASSERT_EQ(r->result, 1);
    // The image goes through the DWG decoder: a stored tree depth of 0 reads as 3020, and
    // code page 0 is "undefined"; everything else is zero or empty.
    EXPECT_EQ(Val(r->header.vars.treedepth), 3020);
    EXPECT_STREQ(r->header.vars.dwgcodepage, "undefined");
    EXPECT_STREQ(r->header.vars.acadver, "");
    EXPECT_STREQ(r->header.vars.handseed, "0");
    EXPECT_EQ(Val(r->header.vars.celtype), 0);
    EXPECT_EQ(Val(r->header.vars.insbase.x), 0.0);
}

TEST(R12DxfHeaderRead, AngbaseOf30ReadsAsZeroFromABinaryFile) {
    auto r = Read({{9, "$ANGBASE"}, {50, "30"}}, Form::kBinary);
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.angbase), 0.0);
    EXPECT_STREQ(r->value, "ENDSEC") << "the real's bytes are consumed all the same";
}

TEST(R12DxfHeaderRead, AngbaseOf30ReadsAs30FromAnAsciiFile) {
    auto r = Read({{9, "$ANGBASE"}, {50, "30"}}, Form::kAscii);
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.angbase), 30.0);
}

TEST_P(BothForms, UnknownVariableIsSkipped) {
    auto r = Read({{9, "$NOSUCHVAR"},
                   {70, "5"},
                   {9, "$ORTHOMODE"},
                   {70, "1"},
                   {9, "$ANOTHER"},
                   {1, "text"},
                   {9, "$FILLMODE"},
                   {70, "1"}},
                  GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.orthomode), 1);
    EXPECT_EQ(Val(r->header.vars.fillmode), 1);
    EXPECT_STREQ(r->value, "ENDSEC");
}

TEST_P(BothForms, ValueEqualToAVariableNameIsTakenAsThatVariable) {
    // The unknown variable's value is the name of a known one: the group after it is read
    // as that variable's value.
    auto r = Read({{9, "$NOSUCHVAR"}, {1, "$LTSCALE"}, {40, "2.5"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.ltscale), 2.5);
}

TEST_P(BothForms, SectionEndsAtTheFirstGroupWithCodeZero) {
    auto r = ReadRaw({{0, "SECTION"},
                      {2, "HEADER"},
                      {9, "$ORTHOMODE"},
                      {70, "1"},
                      {0, "ENDSEC"},
                      {9, "$FILLMODE"},
                      {70, "1"},
                      {0, "EOF"}},
                     GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(r->code, 0);
    EXPECT_STREQ(r->value, "ENDSEC");
    EXPECT_EQ(Val(r->header.vars.orthomode), 1);
    EXPECT_EQ(Val(r->header.vars.fillmode), 0) << "read no further than the end";
    EXPECT_EQ(r->NextCode(), 9) << "the stream stands behind the ending group";
    EXPECT_STREQ(r->value, "$FILLMODE");
}

TEST_P(BothForms, SectionEndsAtTheValueSectionUnderAnyCode) {
    auto r = ReadRaw({{0, "SECTION"},
                      {2, "HEADER"},
                      {9, "$ORTHOMODE"},
                      {70, "1"},
                      {2, "SECTION"},
                      {9, "$FILLMODE"},
                      {70, "1"},
                      {0, "EOF"}},
                     GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(r->code, 2);
    EXPECT_STREQ(r->value, "SECTION");
    EXPECT_EQ(Val(r->header.vars.fillmode), 0);
}

TEST_P(BothForms, FileEndingInsideTheSectionReturnsZero) {
    auto r = ReadRaw({{0, "SECTION"}, {2, "HEADER"}, {9, "$ORTHOMODE"}, {70, "1"}}, GetParam());
    EXPECT_EQ(r->result, 0);
    EXPECT_EQ(Val(r->header.vars.orthomode), 1) << "what was read is decoded all the same";
}

TEST_P(BothForms, FileEndingRightAfterAVariableNameReturnsZero) {
    for (const char *name :
         {"$INSBASE", "$LIMMIN", "$LTSCALE", "$ORTHOMODE", "$DIMTOL", "$CLAYER", "$ACADVER"}) {
        SCOPED_TRACE(name);
        auto r = ReadRaw({{0, "SECTION"}, {2, "HEADER"}, {9, name}}, GetParam());
        EXPECT_EQ(r->result, 0);
    }
}

TEST(R12DxfHeaderRead, FileEndingInTheMiddleOfAnAsciiGroupReturnsZero) {
    const std::string text = "  0\r\nSECTION\r\n  2\r\nHEADER\r\n  9\r\n$LTSCALE\r\n 40\r\n1.5";
    velko_test::TempFile temp("velko_dxf12_header_cut.dxf", text);
    CDrawingFile file;
    ASSERT_EQ(file.Open(temp.c_str(), CDB_OPEN_READ), 1);
    CDxfStream stream;
    stream.AttachInput(&file, CDxfStream::kAscii, CDxfStream::kRelease12);
    int16_t code = 0;
    char value[CDxfStream::kValueSize] = {};
    stream.ReadGroup(&code, value);
    stream.ReadGroup(&code, value);
    CR12Header header;
    R12DxfHeaderNames names;
    EXPECT_EQ(ReadR12DxfHeader(stream, file, header, names, code, value), 0);
}

TEST_P(BothForms, AcadverGoesToTheInputFilesVersion) {
    auto r = Read({{9, "$ACADVER"}, {1, "AC1009"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(std::string(r->file.version, 6), "AC1009");
    EXPECT_STREQ(r->header.vars.acadver, "AC1009");
}

TEST_P(BothForms, AcadverUnderAnotherCodeIsPassedOver) {
    auto r = Read({{9, "$ACADVER"}, {2, "AC1009"}, {9, "$ORTHOMODE"}, {70, "1"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(std::string(r->file.version, 6), std::string(6, '\0'));
    EXPECT_STREQ(r->header.vars.acadver, "");
    EXPECT_EQ(Val(r->header.vars.orthomode), 1);
}

TEST_P(BothForms, LongAcadverIsCutToSixCharacters) {
    auto r = Read({{9, "$ACADVER"}, {1, "AC1009XYZ"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(std::string(r->file.version, 6), "AC1009");
    EXPECT_STREQ(r->header.vars.acadver, "AC1009");
}

TEST_P(BothForms, TextsLongerThanTheirFieldsAreCut) {
    const std::string long_name(290, 'n');
    auto r = Read({{9, "$DIMBLK"},
                   {1, std::string(40, 'b')},
                   {9, "$DIMPOST"},
                   {1, std::string(20, 'p')},
                   {9, "$MENU"},
                   {1, std::string(70, 'm')},
                   {9, "$CLAYER"},
                   {8, long_name},
                   {9, "$DWGCODEPAGE"},
                   {3, std::string(50, 'c')}},
                  GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(std::string(r->header.vars.dimblk)), std::string(32, 'b'));
    EXPECT_EQ(Val(std::string(r->header.vars.dimpost)), std::string(15, 'p'));
    EXPECT_EQ(Val(std::string(r->header.vars.menu)), std::string(59, 'm'));
    EXPECT_EQ(std::string(r->names.clayer), std::string(255, 'n'));
    EXPECT_EQ(std::string(r->names.dwgcodepage), std::string(50, 'c'));
    EXPECT_EQ(Val(std::string(r->header.vars.dwgcodepage)), std::string(39, 'c'));
}

TEST_P(BothForms, MenuAndHandseedGoThroughTheImage) {
    auto r =
        Read({{9, "$MENU"}, {1, "C:\\ABCDEFG\\HIJKLMNO\\PQRSTUVW"}, {9, "$HANDSEED"}, {5, "00ab"}},
             GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_STREQ(r->header.vars.menu, "C:\\ABCDEFG\\HIJKLMNO\\PQRSTUVW");
    EXPECT_STREQ(r->header.vars.handseed, "AB") << "the image holds the handle's bytes";
}

TEST_P(BothForms, ByteVariablesKeepOneByte) {
    auto r =
        Read({{9, "$DIMTOL"}, {70, "1"}, {9, "$DIMZIN"}, {70, "200"}, {9, "$DIMSAH"}, {70, "-1"}},
             GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.dimtol), 1);
    EXPECT_EQ(Val(r->header.vars.dimzin), -56) << "200 in a signed byte";
    EXPECT_EQ(Val(r->header.vars.dimsah), -1);
}

TEST_P(BothForms, CodePageNameIsKeptAsTheFileGivesIt) {
    auto r = Read({{9, "$DWGCODEPAGE"}, {3, "ANSI_1252"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_STREQ(r->header.vars.dwgcodepage, "ANSI_1252");
    EXPECT_STREQ(r->names.dwgcodepage, "ANSI_1252");
}

TEST_P(BothForms, CelTypeAndCecolorAreReadUnderTheirCodes) {
    auto r = Read({{9, "$CECOLOR"}, {62, "256"}, {9, "$CELTYPE"}, {6, "BYLAYER"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_EQ(Val(r->header.vars.cecolor), 256);
    EXPECT_STREQ(r->names.celtype, "BYLAYER");
}

TEST_P(BothForms, PointCoordinatesOutsideTheirBandReadAsZero) {
    auto r = Read(
        {{9, "$EXTMIN"}, {10, "1"}, {21, "2"}, {40, "3"}, {9, "$LIMMAX"}, {11, "4"}, {28, "5"}},
        GetParam());
    ASSERT_EQ(r->result, 1);
    const CDB_POINT3 extmin = r->header.vars.extmin;
    EXPECT_EQ(extmin.x, 1.0);
    EXPECT_EQ(extmin.y, 2.0);
    EXPECT_EQ(extmin.z, 0.0) << "code 40 is no z";
    const CDB_POINT2 limmax = r->header.vars.limmax;
    EXPECT_EQ(limmax.x, 4.0);
    EXPECT_EQ(limmax.y, 5.0);
}

TEST_P(BothForms, NamesAreClearedBeforeTheRead) {
    auto r = Read({{9, "$CLAYER"}, {8, "WALLS"}}, GetParam());
    ASSERT_EQ(r->result, 1);
    EXPECT_STREQ(r->names.clayer, "WALLS");
    EXPECT_STREQ(r->names.textstyle, "");
    EXPECT_STREQ(r->names.celtype, "");
    EXPECT_STREQ(r->names.dimstyle, "");
    EXPECT_STREQ(r->names.ucsname, "");
    EXPECT_STREQ(r->names.pucsname, "");
    EXPECT_STREQ(r->names.dwgcodepage, "");
    EXPECT_STREQ(r->names.active, "*ACTIVE");
}

// ---- Resolving the names ------------------------------------------------------------------

namespace {

std::string Upper(const char *text) {
    std::string s(text ? text : "");
    for (char &c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// Tables by name, looked up as the drawing does: case ignored, first match, -1 for none.
struct FakeTables : R12DxfNameLookup {
    std::vector<std::string> layers = {"0", "WALLS"};
    std::vector<std::string> ltypes = {"CONTINUOUS", "DASHED"};
    std::vector<std::string> styles = {"STANDARD", "ROMANS"};
    std::vector<std::string> dimstyles = {"STANDARD", "ISO"};
    std::vector<std::string> ucs = {"UCS1", "UCS2", "PAPERUCS"};
    bool has_active = false;
    CDB_VPORT_TBL_type active{};
    mutable std::vector<std::string> vports_asked;

    static int Find(const std::vector<std::string> &table, const char *name) {
        for (size_t i = 0; i < table.size(); ++i) {
            if (Upper(table[i].c_str()) == Upper(name))
                return static_cast<int>(i);
        }
        return -1;
    }
    int Layer(const char *name) const override { return Find(layers, name); }
    int Ltype(const char *name) const override { return Find(ltypes, name); }
    int Style(const char *name) const override { return Find(styles, name); }
    int Dimstyle(const char *name) const override { return Find(dimstyles, name); }
    int Ucs(const char *name) const override { return Find(ucs, name); }
    bool Vport(const char *name, CDB_VPORT_TBL_type &out) const override {
        vports_asked.push_back(name ? name : "(null)");
        if (!has_active || Upper(name) != "*ACTIVE")
            return false;
        out = active;
        return true;
    }
};

R12DxfHeaderNames Names() {
    R12DxfHeaderNames names;
    std::memset(&names, 0, sizeof(names));
    std::strcpy(names.active, "*ACTIVE");
    return names;
}

CDB_HEADER_type ClearedVars() {
    CDB_HEADER_type vars;
    std::memset(&vars, 0, sizeof(vars));
    return vars;
}

} // namespace

TEST(R12DxfHeaderNames, CeltypeByblockGivesMinusTwo) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.celtype, "BYBLOCK");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    EXPECT_EQ(ResolveR12DxfHeaderNames(names, tables, vars), 1);
    EXPECT_EQ(Val(vars.celtype), -2);
}

TEST(R12DxfHeaderNames, CeltypeBylayerGivesMinusOne) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.celtype, "BYLAYER");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    tables.ltypes.push_back("BYLAYER"); // the word wins over a record of that name
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.celtype), -1);
}

TEST(R12DxfHeaderNames, CeltypeNameGivesTheLineTypesIndex) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.celtype, "dashed");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.celtype), 1);
    std::strcpy(names.celtype, "byblock"); // only the exact word means BYBLOCK
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.celtype), -1);
}

TEST(R12DxfHeaderNames, DimstyleUnnamedGivesMinusOne) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.dimstyle, "*UNNAMED");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    tables.dimstyles.push_back("*UNNAMED");
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.dimstyle), -1);
    std::strcpy(names.dimstyle, "ISO");
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.dimstyle), 1);
}

TEST(R12DxfHeaderNames, ClayerWithNoSuchLayerGivesMinusOne) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.clayer, "NOSUCHLAYER");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.clayer), -1);
    std::strcpy(names.clayer, "walls");
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.clayer), 1);
}

TEST(R12DxfHeaderNames, EmptyNamesGiveMinusOne) {
    R12DxfHeaderNames names = Names();
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    tables.layers.insert(tables.layers.begin(), ""); // an empty name is not looked up
    tables.styles.insert(tables.styles.begin(), "");
    tables.ucs.insert(tables.ucs.begin(), "");
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.clayer), -1);
    EXPECT_EQ(Val(vars.textstyle), -1);
    EXPECT_EQ(Val(vars.ucsname), -1);
    EXPECT_EQ(Val(vars.pucsname), -1);
}

TEST(R12DxfHeaderNames, UcsAndTextStyleNamesGiveTheirIndices) {
    R12DxfHeaderNames names = Names();
    std::strcpy(names.ucsname, "UCS2");
    std::strcpy(names.pucsname, "paperucs");
    std::strcpy(names.textstyle, "ROMANS");
    CDB_HEADER_type vars = ClearedVars();
    FakeTables tables;
    ResolveR12DxfHeaderNames(names, tables, vars);
    EXPECT_EQ(Val(vars.ucsname), 1);
    EXPECT_EQ(Val(vars.pucsname), 2);
    EXPECT_EQ(Val(vars.textstyle), 1);
}

TEST(R12DxfHeaderNames, ActiveViewportFillsZeroViewVariablesOnly) {
    FakeTables tables;
    tables.has_active = true;
    tables.active.snap_angle = 90.0; // degrees in the record
    tables.active.snap_base = CDB_POINT2{1.0, 2.0};
    tables.active.snap_isopair = 2;
    tables.active.snap_mode = 1;
    tables.active.snap_style = 1;
    tables.active.view_center = CDB_POINT2{10.0, 20.0};
    tables.active.view_direction = CDB_POINT3{0.0, 0.0, 1.0};
    tables.active.view_height = 30.0;
    tables.active.snap_spacing = CDB_POINT2{0.5, 0.5};
    tables.active.grid_mode = 1;

    R12DxfHeaderNames names = Names();
    CDB_HEADER_type vars = ClearedVars();
    vars.viewsize = 7.0; // already set: stays
    vars.snapbase = CDB_POINT2{0.0, 3.0};
    vars.snapstyle = 5;
    ResolveR12DxfHeaderNames(names, tables, vars);
    ASSERT_EQ(tables.vports_asked.size(), 1u);
    EXPECT_EQ(tables.vports_asked[0], "*ACTIVE");

    EXPECT_NEAR(Val(vars.snapang), 1.5707963267948966, 1e-15) << "radians in the header";
    EXPECT_EQ(Val(vars.snapbase.x), 0.0) << "a point with any non-zero part stays";
    EXPECT_EQ(Val(vars.snapbase.y), 3.0);
    EXPECT_EQ(Val(vars.snapisopair), 2);
    EXPECT_EQ(Val(vars.snapmode), 1);
    EXPECT_EQ(Val(vars.snapstyle), 5);
    EXPECT_EQ(Val(vars.viewctr.x), 10.0);
    EXPECT_EQ(Val(vars.viewctr.y), 20.0);
    EXPECT_EQ(Val(vars.viewdir.z), 1.0);
    EXPECT_EQ(Val(vars.viewsize), 7.0);
    // Only the view settings: snap spacing and grid are not among them.
    EXPECT_EQ(Val(vars.snapunit.x), 0.0);
    EXPECT_EQ(Val(vars.gridmode), 0);
}

TEST(R12DxfHeaderNames, WithoutTheActiveViewportTheViewVariablesStay) {
    FakeTables tables;
    R12DxfHeaderNames names = Names();
    CDB_HEADER_type vars = ClearedVars();
    EXPECT_EQ(ResolveR12DxfHeaderNames(names, tables, vars), 1);
    EXPECT_EQ(Val(vars.viewsize), 0.0);
    EXPECT_EQ(Val(vars.snapmode), 0);
    EXPECT_EQ(Val(vars.viewdir.z), 0.0);
}

TEST_P(BothForms, HeaderNamesResolveAfterTheRead) {
    auto r = Read({{9, "$CELTYPE"},
                   {6, "BYBLOCK"},
                   {9, "$CLAYER"},
                   {8, "NOSUCHLAYER"},
                   {9, "$DIMSTYLE"},
                   {2, "*UNNAMED"},
                   {9, "$TEXTSTYLE"},
                   {7, "ROMANS"}},
                  GetParam());
    ASSERT_EQ(r->result, 1);
    FakeTables tables;
    EXPECT_EQ(ResolveR12DxfHeaderNames(r->names, tables, r->header.vars), 1);
    EXPECT_EQ(Val(r->header.vars.celtype), -2);
    EXPECT_EQ(Val(r->header.vars.clayer), -1);
    EXPECT_EQ(Val(r->header.vars.dimstyle), -1);
    EXPECT_EQ(Val(r->header.vars.textstyle), 1);
    EXPECT_EQ(Val(r->header.vars.ucsname), -1);
}

INSTANTIATE_TEST_SUITE_P(R12DxfHeaderRead, BothForms, testing::Values(Form::kAscii, Form::kBinary),
                         FormName);
