// The shape compiler: reading the text form and laying out the three compiled forms.
#include "shapec/shape_compiler.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

using velko_shapec::CompileShx;
using velko_shapec::EscapeRange;
using velko_shapec::Form;
using velko_shapec::Options;
using velko_shapec::ParseRanges;
using velko_shapec::ParseShapes;
using velko_shapec::ShapeDef;

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<ShapeDef> Parse(const std::string &text) {
    std::vector<ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(ParseShapes(text, &defs, &error)) << error;
    return defs;
}

// The error message of a text that must not parse.
std::string ParseError(const std::string &text) {
    std::vector<ShapeDef> defs;
    std::string error;
    EXPECT_FALSE(ParseShapes(text, &defs, &error)) << text;
    return error;
}

Bytes Text(const std::string &s) {
    return Bytes(s.begin(), s.end());
}

void Append(Bytes &out, const Bytes &more) {
    out.insert(out.end(), more.begin(), more.end());
}

std::string ReadSource(const std::string &name) {
    std::ifstream in(std::string(VELKO_SOURCE_DIR) + "/tests/data/shapes/" + name,
                     std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A font of three shapes, defined out of order.
const char kSmall[] = "*0,4,F\n"
                      "6,2,0,0\n"
                      "*66,2,B\n"
                      "020,0\n"
                      "*65,3,A\n"
                      "1,030,0\n";

} // namespace

TEST(ShapecParse, DecimalAndLeadingZeroHexadecimal) {
    std::vector<ShapeDef> defs = Parse("*100,5,dec\n10,012,0FF,0x1F,0\n"
                                       "*041,1,hex\n0\n"
                                       "*0A,1,ten\n0\n"
                                       "*00391,1,wide\n0\n");
    ASSERT_EQ(defs.size(), 4u);
    EXPECT_EQ(defs[0].number, 100);
    EXPECT_EQ(defs[0].name, "dec");
    EXPECT_EQ(defs[0].bytes, (Bytes{10, 0x12, 0xFF, 0x1F, 0}));
    EXPECT_EQ(defs[0].line, 1);
    EXPECT_EQ(defs[1].number, 0x41);
    EXPECT_EQ(defs[1].line, 3);
    EXPECT_EQ(defs[2].number, 10);
    EXPECT_EQ(defs[3].number, 0x391);
}

TEST(ShapecParse, NegativeValuesAndParentheses) {
    std::vector<ShapeDef> defs = Parse("*1,8,n\n8,(-2,3),12,( -128 , 127,-1 ),0\n");
    ASSERT_EQ(defs.size(), 1u);
    EXPECT_EQ(defs[0].bytes, (Bytes{8, 0xFE, 3, 12, 0x80, 127, 0xFF, 0}));
}

TEST(ShapecParse, CommentsBlankLinesContinuationsAndCrLf) {
    std::vector<ShapeDef> defs = Parse("; a comment line\r\n"
                                       "\r\n"
                                       "*1,6,first ; the name ends before the comment\r\n"
                                       "  1,2,   ; trailing comma continues the list\r\n"
                                       "\r\n"
                                       "(3,\r\n"
                                       " 4),5\r\n"
                                       "0\r\n"
                                       "*2,1,\r\n"
                                       "0");
    ASSERT_EQ(defs.size(), 2u);
    EXPECT_EQ(defs[0].name, "first");
    EXPECT_EQ(defs[0].bytes, (Bytes{1, 2, 3, 4, 5, 0}));
    EXPECT_EQ(defs[1].name, "");
    EXPECT_EQ(defs[1].line, 9);
}

TEST(ShapecParse, NameKeepsItsSpacesAndCase) {
    std::vector<ShapeDef> defs = Parse("*0,4,velko Sample font\n6,2,0,0\n");
    ASSERT_EQ(defs.size(), 1u);
    EXPECT_EQ(defs[0].name, "velko Sample font");
    EXPECT_EQ(velko_shapec::ShapeData(defs[0]),
              Text(std::string("velko Sample font\0\6\2\0\0", 22)));
}

TEST(ShapecParse, CountMismatchNamesTheHeaderLine) {
    EXPECT_EQ(ParseError("; x\n*65,4,A\n1,030,0\n*66,1,B\n0\n"),
              "line 2: shape 65 (A) declares 4 bytes but lists 3");
    EXPECT_EQ(ParseError("*1,1,a\n0\n\n*2,3,b\n1,2,\n3,4,0\n"),
              "line 4: shape 2 (b) declares 3 bytes but lists 5");
    // A header without any bytes behind it, at the end of the text.
    EXPECT_EQ(ParseError("*1,1,a\n0\n*2,2,b\n"),
              "line 3: shape 2 (b) declares 2 bytes but lists 0");
}

TEST(ShapecParse, ErrorsNameTheirLine) {
    EXPECT_EQ(ParseError("*1,3,a\n1,\n256,0\n"), "line 3: '256' does not fit in a byte");
    EXPECT_EQ(ParseError("*1,3,a\n1,-129,0\n"), "line 2: '-129' does not fit in a byte");
    EXPECT_EQ(ParseError("*1,3,a\n1,2x,0\n"), "line 2: '2x' is not a number");
    EXPECT_EQ(ParseError("*1,3,a\n1,,0\n"), "line 2: empty byte in the list");
    EXPECT_EQ(ParseError("*1,3,a\n1,2\n,0\n"), "line 3: empty byte in the list");
    EXPECT_EQ(ParseError("*1,3,a\n1 2,0\n"), "line 2: missing ',' before '2'");
    EXPECT_EQ(ParseError("*1,3,a\n1,2),0\n"), "line 2: ')' without '('");
    EXPECT_EQ(ParseError("*1,3,a\n1,(2,0\n"), "line 1: shape 1 (a): unbalanced parentheses");
    EXPECT_EQ(ParseError("*1,3,a\n1,2,3\n"), "line 1: shape 1 (a): the byte list must end with 0");
    EXPECT_EQ(ParseError("\n1,2,0\n*1,1,a\n0\n"), "line 2: bytes before the first shape header");
    EXPECT_EQ(ParseError("*1,1,a\n0\n*01,1,b\n0\n"), "line 3: shape 1 (b) is defined twice");
    EXPECT_EQ(ParseError("*65\n0\n"), "line 1: a shape header is *number,bytes,name");
    EXPECT_EQ(ParseError("*X,1,a\n0\n"), "line 1: bad shape number 'X'");
    EXPECT_EQ(ParseError("*-1,1,a\n0\n"), "line 1: bad shape number '-1'");
    EXPECT_EQ(ParseError("*010000,1,a\n0\n"), "line 1: bad shape number '010000'");
    EXPECT_EQ(ParseError("*1,0,a\n0\n"), "line 1: bad byte count '0'");
    EXPECT_EQ(ParseError("*1,,a\n0\n"), "line 1: bad byte count ''");
    EXPECT_EQ(ParseError("; nothing\n\n"), "no shape definitions");
}

TEST(ShapecParse, EscapeRanges) {
    std::vector<EscapeRange> ranges;
    std::string error;
    ASSERT_TRUE(ParseRanges("081-09F, 0E0-0FC,0A1", &ranges, &error)) << error;
    ASSERT_EQ(ranges.size(), 3u);
    EXPECT_EQ(ranges[0].low, 0x81);
    EXPECT_EQ(ranges[0].high, 0x9F);
    EXPECT_EQ(ranges[1].low, 0xE0);
    EXPECT_EQ(ranges[1].high, 0xFC);
    EXPECT_EQ(ranges[2].low, 0xA1);
    EXPECT_EQ(ranges[2].high, 0xA1);
    ASSERT_TRUE(ParseRanges("129-130", &ranges, &error)) << error;
    EXPECT_EQ(ranges[0].low, 129);
    EXPECT_FALSE(ParseRanges("", &ranges, &error));
    EXPECT_FALSE(ParseRanges("09F-081", &ranges, &error));
    EXPECT_FALSE(ParseRanges("081-0100", &ranges, &error));
    EXPECT_FALSE(ParseRanges("081-", &ranges, &error));
    EXPECT_FALSE(ParseRanges("081,,082", &ranges, &error));
}

TEST(ShapecParse, ProjectSamplesParse) {
    for (const char *name : {"strokes.shp", "symbols.shp", "unifont.shp", "bigfont.shp"}) {
        std::string text = ReadSource(name);
        ASSERT_FALSE(text.empty()) << name;
        std::vector<ShapeDef> defs;
        std::string error;
        EXPECT_TRUE(ParseShapes(text, &defs, &error)) << name << ": " << error;
    }
}

TEST(ShapecCompile, Shapes11Bytes) {
    Bytes out = CompileShx(Parse(kSmall), Form::kShapes11);
    Bytes expected = Text("AutoCAD-86 shapes 1.1\r\n\x1a");
    expected.resize(0x1C, 0);
    Append(expected, {3, 0});               // count at 0x1C
    Append(expected, {0, 0, 6, 0});         // directory at 0x1E, sorted by number
    Append(expected, {65, 0, 5, 0});        //
    Append(expected, {66, 0, 4, 0});        //
    Append(expected, {'F', 0, 6, 2, 0, 0}); // data at 0x1E + 4 x 3
    Append(expected, {'A', 0, 1, 0x30, 0}); //
    Append(expected, {'B', 0, 0x20, 0});    //
    EXPECT_EQ(out, expected);
    EXPECT_EQ(out.size(), 0x2Au + 15);
}

TEST(ShapecCompile, Shapes10DiffersOnlyInTheHeader) {
    Bytes a = CompileShx(Parse(kSmall), Form::kShapes10);
    Bytes b = CompileShx(Parse(kSmall), Form::kShapes11);
    ASSERT_EQ(a.size(), b.size());
    EXPECT_EQ(std::string(a.begin(), a.begin() + 21), "AutoCAD-86 shapes 1.0");
    EXPECT_TRUE(std::equal(a.begin() + 21, a.end(), b.begin() + 21));
}

TEST(ShapecCompile, ShapesKeepOrderLeavesTheDirectoryAsDefined) {
    Options options;
    options.keep_order = true;
    Bytes out = CompileShx(Parse(kSmall), Form::kShapes11, options);
    ASSERT_GE(out.size(), 0x2Au);
    EXPECT_EQ(Bytes(out.begin() + 0x1E, out.begin() + 0x2A),
              (Bytes{0, 0, 6, 0, 66, 0, 4, 0, 65, 0, 5, 0}));
}

TEST(ShapecCompile, UnifontBytes) {
    Bytes out = CompileShx(Parse(kSmall), Form::kUnifont);
    Bytes expected = Text("AutoCAD-86 unifont 1.0\r\n\x1a");
    ASSERT_EQ(expected.size(), 0x19u);
    Append(expected, {3, 0}); // count at 0x19
    Append(expected, {0, 0, 6, 0, 'F', 0, 6, 2, 0, 0});
    Append(expected, {65, 0, 5, 0, 'A', 0, 1, 0x30, 0});
    Append(expected, {66, 0, 4, 0, 'B', 0, 0x20, 0});
    EXPECT_EQ(out, expected);
}

TEST(ShapecCompile, UnsortedUnifontKeepsTheFontInformationFirst) {
    Options options;
    options.keep_order = true;
    Bytes out = CompileShx(Parse(kSmall), Form::kUnifont, options);
    ASSERT_GT(out.size(), 0x1Bu + 10 + 8);
    EXPECT_EQ(Bytes(out.begin() + 0x1B, out.begin() + 0x1F), (Bytes{0, 0, 6, 0}));
    EXPECT_EQ(Bytes(out.begin() + 0x1B + 10, out.begin() + 0x1B + 14), (Bytes{66, 0, 4, 0}));
}

TEST(ShapecCompile, BigFontBytes) {
    Options options;
    options.ranges = {{0x81, 0x82}};
    std::vector<ShapeDef> defs = Parse("*0,4,F\n8,0,0,0\n*08241,2,Y\n020,0\n*08140,3,X\n1,030,0\n");
    Bytes out = CompileShx(defs, Form::kBigFont, options);
    Bytes expected = Text("AutoCAD-86 bigfont 1.0\r\n\x1a");
    expected.resize(0x1B, 0);
    Append(expected, {3, 0});       // shape count at 0x1B
    Append(expected, {1, 0});       // escape range count at 0x1D
    Append(expected, {0x81, 0x82}); // ranges at 0x1F
    // Directory at 0x21, 8 bytes a shape; the data start at 0x21 + 24 = 0x39.
    Append(expected, {0, 0, 6, 0, 0x39, 0, 0, 0});
    Append(expected, {0x40, 0x81, 5, 0, 0x3F, 0, 0, 0});
    Append(expected, {0x41, 0x82, 4, 0, 0x44, 0, 0, 0});
    Append(expected, {'F', 0, 8, 0, 0, 0});
    Append(expected, {'X', 0, 1, 0x30, 0});
    Append(expected, {'Y', 0, 0x20, 0});
    EXPECT_EQ(out, expected);
}

TEST(ShapecCompile, BigFontWithoutRanges) {
    Bytes out = CompileShx(Parse("*1,1,a\n0\n"), Form::kBigFont);
    ASSERT_EQ(out.size(), 0x1Fu + 8 + 3);
    EXPECT_EQ(out[0x1B], 1);
    EXPECT_EQ(out[0x1D], 0);
    EXPECT_EQ(out[0x1F + 4], 0x1F + 8);
}

TEST(ShapecCompile, CountsSitWhereEachFormKeepsThem) {
    EXPECT_EQ(velko_shapec::CountOffset(Form::kShapes10), 0x1Cu);
    EXPECT_EQ(velko_shapec::CountOffset(Form::kShapes11), 0x1Cu);
    EXPECT_EQ(velko_shapec::CountOffset(Form::kUnifont), 0x19u);
    EXPECT_EQ(velko_shapec::CountOffset(Form::kBigFont), 0x1Bu);
    std::string text = ReadSource("strokes.shp");
    std::vector<ShapeDef> defs = Parse(text);
    for (Form form : {Form::kShapes10, Form::kShapes11, Form::kUnifont, Form::kBigFont}) {
        Bytes out = CompileShx(defs, form);
        size_t at = velko_shapec::CountOffset(form);
        ASSERT_GT(out.size(), at + 2);
        EXPECT_EQ(out[at] | out[at + 1] << 8, static_cast<int>(defs.size()));
        std::string header = velko_shapec::HeaderText(form);
        EXPECT_EQ(std::string(out.begin(), out.begin() + header.size()), header);
        EXPECT_EQ(Bytes(out.begin() + header.size(), out.begin() + header.size() + 3),
                  (Bytes{'\r', '\n', 0x1A}));
    }
}

TEST(ShapecCompile, RefusesWhatTheFormCannotHold) {
    std::string error;
    ShapeDef a;
    a.number = 5;
    a.bytes = {0};
    std::vector<ShapeDef> twice = {a, a};
    EXPECT_TRUE(CompileShx(twice, Form::kShapes11, Options(), &error).empty());
    EXPECT_EQ(error, "shape 5 is defined twice");
    ShapeDef big;
    big.number = 1;
    big.name = "long";
    big.bytes.assign(32763, 0);
    EXPECT_TRUE(CompileShx({big}, Form::kUnifont, Options(), &error).empty());
    EXPECT_EQ(error, "shape 1 (long): name and bytes exceed 32767 bytes");
    big.bytes.pop_back();
    EXPECT_EQ(CompileShx({big}, Form::kUnifont, Options(), &error).size(), 0x1Bu + 4 + 32767);
}
