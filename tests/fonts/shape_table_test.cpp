// The shape table: the search for a font (beside the drawing, along the search path, in the
// index), files found once, big fonts, and the lookups by number and by name.
#include "fonts/shape_table.h"
#include "fonts/shx_bytes.h"

#include <cctype>
#include <gtest/gtest.h>
#include <string>

namespace {

using shx_test::Bytes;
using shx_test::IndexDirectories;
using shx_test::ScratchDir;
using shx_test::SdxFont;
using shx_test::Shape;

std::string Upper(std::string text) {
    for (char &c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// A font whose shape 65 is named `tag`, so that tests can tell files apart.
Bytes Font(const std::string &tag, uint8_t above = 6) {
    return shx_test::Shx(
        {shx_test::FontInfo(tag, above), {65, tag, {0x40, 0}}, {66, "B", {0x20, 0x3C, 0}}});
}

std::string NameOf(const CShapeTable &table, int style, int number) {
    const char *name = nullptr;
    size_t length = 0;
    if (table.ShapeName(style, number, &name, &length) == 0)
        return "<none>";
    return std::string(name, length);
}

// A shape table whose index folder is an empty folder of its own.
struct Fixture {
    ScratchDir dir{"table"};
    ScratchDir index_dir{"noindex"};
    IndexDirectories no_index{{index_dir.path()}};
};

TEST(ShapeTableSearch, FoundInTheDrawingsFolder) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", Font("BESIDE"));
    f.dir.Write("elsewhere/ROMANS.SHX", Font("ELSEWHERE"));
    CShapeTable table;
    EXPECT_TRUE(table.IndexUnavailable());
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.File("elsewhere").c_str());
    EXPECT_EQ(table.LastSlot(), -1);
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(table.Count(), 1);
    EXPECT_EQ(table.File(0)->file_name, Upper(f.dir.File("ROMANS.SHX")));
    EXPECT_EQ(NameOf(table, 0, 65), "BESIDE");
}

TEST(ShapeTableSearch, FoundInTheSecondElementOfTheSearchPath) {
    Fixture f;
    std::string first = f.dir.MakeDir("first");
    f.dir.Write("second/ROMANS.SHX", Font("SECOND"));
    f.dir.Write("third/ROMANS.SHX", Font("THIRD"));
    CShapeTable table;
    std::string search = first + ";" + f.dir.File("second") + "/;" + f.dir.File("third");
    table.SetLocation(f.dir.File("drawings/DRAW.DWG").c_str(), search.c_str());
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(NameOf(table, 0, 65), "SECOND");
    EXPECT_EQ(table.File(0)->file_name, Upper(f.dir.File("second/ROMANS.SHX")));
    // Asked again, the loaded file is found through the search path and not read twice.
    ASSERT_EQ(table.LoadFont("romans"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(table.Count(), 1);
}

TEST(ShapeTableSearch, FoundOnlyInTheIndex) {
    Fixture f;
    ScratchDir index_dir("index");
    index_dir.Write(
        "VELKO.SDX",
        shx_test::Sdx({{"ROMANS",
                        -1,
                        66,
                        {shx_test::FontInfo("ROMANS", 9), {65, "INDEXED", {0x40, 0}, 4.0}},
                        {}}}));
    IndexDirectories with_index({index_dir.path()});
    CShapeTable table;
    EXPECT_FALSE(table.IndexUnavailable());
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.path().c_str());
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    // A font from the index carries its name there.
    EXPECT_EQ(table.File(0)->file_name, "ROMANS");
    EXPECT_EQ(NameOf(table, 0, 65), "INDEXED");
    EXPECT_EQ(table.File(0)->above, 9.0);
    double width = -1;
    EXPECT_EQ(table.ShapeData(0, 65, nullptr, nullptr, &width), 10);
    EXPECT_EQ(width, 4.0);
    // Found in the index again, the font is used again.
    ASSERT_EQ(table.LoadFont("romans"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(table.Count(), 1);
    // A name the index lacks ends the search.
    EXPECT_EQ(table.LoadFont("SIMPLEX.SHX"), 0);
    EXPECT_EQ(table.LastSlot(), 0);
}

TEST(ShapeTableSearch, DiskComesBeforeTheIndex) {
    Fixture f;
    ScratchDir index_dir("index");
    index_dir.Write("VELKO.SDX",
                    shx_test::Sdx({{"ROMANS", -1, 65, {{65, "INDEXED", {0x40, 0}, 4.0}}, {}}}));
    IndexDirectories with_index({index_dir.path()});
    f.dir.Write("ROMANS.SHX", Font("DISK"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(NameOf(table, 0, 65), "DISK");
}

TEST(ShapeTableSearch, NowhereThenTxtShx) {
    Fixture f;
    f.dir.Write("TXT.SHX", Font("TXT"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.path().c_str());
    EXPECT_EQ(table.LoadFont("MISSING.SHX"), 0);
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.LastSlot(), -1);
    ASSERT_EQ(table.LoadFont("TXT.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(NameOf(table, 0, 65), "TXT");
}

TEST(ShapeTableSearch, NowhereAtAll) {
    Fixture f;
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.path().c_str());
    EXPECT_EQ(table.LoadFont("MISSING.SHX"), 0);
    EXPECT_EQ(table.LoadFont("TXT.SHX"), 0);
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.LastSlot(), -1);
    EXPECT_EQ(table.LoadFont(nullptr), 0);
    EXPECT_EQ(table.LoadFont(""), 0);
}

TEST(ShapeTableSearch, FileNamesInAnotherCase) {
    Fixture f;
    f.dir.Write("romans.shx", Font("LOWER"));
    f.dir.Write("Fonts/Simplex.Shx", Font("MIXED"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.File("FONTS").c_str());
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(NameOf(table, 0, 65), "LOWER");
    // The folder of the search path is also written in another case than on disk.
    ASSERT_EQ(table.LoadFont("SIMPLEX.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 1);
    EXPECT_EQ(NameOf(table, 1, 65), "MIXED");
    // The key is upper case: another spelling finds the same file.
    ASSERT_EQ(table.LoadFont("Romans.shx"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
    EXPECT_EQ(table.Count(), 2);
}

TEST(ShapeTableSearch, DosSeparatorsInTheDrawingPathAndSearchPath) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", Font("BESIDE"));
    f.dir.Write("fonts/SIMPLEX.SHX", Font("SEARCHED"));
    CShapeTable table;
    std::string drawing = f.dir.path() + "\\DRAW.DWG";
    std::string search = f.dir.path() + "\\FONTS\\";
    table.SetLocation(drawing.c_str(), search.c_str());
    ASSERT_EQ(table.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(NameOf(table, 0, 65), "BESIDE");
    ASSERT_EQ(table.LoadFont("SIMPLEX.SHX"), 1);
    EXPECT_EQ(NameOf(table, 1, 65), "SEARCHED");
    // The same files through the other separator are the same keys.
    CShapeTable again;
    again.SetLocation(drawing.c_str(), search.c_str());
    ASSERT_EQ(again.LoadFont("ROMANS.SHX"), 1);
    again.SetLocation((f.dir.path() + "/DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(again.LoadFont("ROMANS.SHX"), 1);
    EXPECT_EQ(again.Count(), 1);
}

TEST(ShapeTableSearch, TheFontNamesOwnFolderIsDropped) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", Font("BESIDE"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("C:\\ACAD\\FONTS\\ROMANS.SHX"), 1);
    ASSERT_EQ(table.LoadFont("/no/such/folder/romans"), 1);
    EXPECT_EQ(table.Count(), 1);
}

TEST(ShapeTableSearch, NullOrEmptySearchPathLeavesTheDrawingsFolder) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", Font("BESIDE"));
    f.dir.Write("other/SIMPLEX.SHX", Font("OTHER"));
    for (const char *search : {static_cast<const char *>(nullptr), "", ";;"}) {
        CShapeTable table;
        table.SetLocation(f.dir.File("DRAW.DWG").c_str(), search);
        EXPECT_EQ(table.LoadFont("ROMANS.SHX"), 1) << (search ? search : "null");
        EXPECT_EQ(table.LoadFont("SIMPLEX.SHX"), 0) << (search ? search : "null");
        EXPECT_EQ(table.Count(), 1);
    }
}

TEST(ShapeTableSearch, ExtensionKeptOrShxAdded) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", Font("SHX"));
    f.dir.Write("ROMANS.FNT", Font("FNT"));
    f.dir.Write("ONLY.SHX", Font("ONLY"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("ROMANS"), 1);
    EXPECT_EQ(NameOf(table, table.LastSlot(), 65), "SHX");
    ASSERT_EQ(table.LoadFont("ROMANS.FNT"), 1);
    EXPECT_EQ(NameOf(table, table.LastSlot(), 65), "FNT");
    EXPECT_EQ(table.LastSlot(), 1);
    // An extension that names no file is not replaced by ".shx".
    EXPECT_EQ(table.LoadFont("ONLY.FNT"), 0);
    EXPECT_EQ(table.LoadFont("only"), 1);
}

TEST(ShapeTableSearch, BigFontHeaderInThePrimaryPathFails) {
    Fixture f;
    f.dir.Write("BIG.SHX", shx_test::BigFontFile({{0x81, 0x9F}}, {{0x8140, "", {0x40, 0}}}));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    EXPECT_EQ(table.LoadFont("BIG.SHX"), 0);
    EXPECT_EQ(table.Count(), 0);
}

TEST(ShapeTableBigFont, AttachedAndReadByCode) {
    Fixture f;
    f.dir.Write("MAIN.SHX", Font("MAIN"));
    f.dir.Write("fonts/KANJI.SHX",
                shx_test::BigFontFile(
                    {{0x81, 0x9F}}, {{0x8140, "", {0x40, 0}}, {0x9F41, "LAST", {0x22, 0x2E, 0}}}));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), f.dir.File("fonts").c_str());
    ASSERT_EQ(table.LoadFont("MAIN.SHX", "kanji"), 1);
    ASSERT_NE(table.File(0)->big_font, nullptr);
    std::vector<uint8_t> codes;
    EXPECT_EQ(table.ShapeDataByCode(0, 0x9F, 0x41, &codes), 8);
    EXPECT_EQ(codes, (std::vector<uint8_t>{0x22, 0x2E, 0}));
    EXPECT_EQ(table.ShapeDataByCode(0, 0x81, 0x40, &codes), 3);
    EXPECT_EQ(codes, (std::vector<uint8_t>{0x40, 0}));
    // A lead byte outside the escape ranges, a shape the big font lacks, a bad slot.
    EXPECT_EQ(table.ShapeDataByCode(0, 0x41, 0x40, &codes), 0);
    EXPECT_TRUE(codes.empty());
    EXPECT_EQ(table.ShapeDataByCode(0, 0x81, 0x41, &codes), 0);
    EXPECT_EQ(table.ShapeDataByCode(1, 0x81, 0x40, &codes), 0);
    EXPECT_EQ(table.ShapeDataByCode(-1, 0x81, 0x40, &codes), 0);
}

TEST(ShapeTableBigFont, MissingBigFontKeepsTheFont) {
    Fixture f;
    f.dir.Write("MAIN.SHX", Font("MAIN"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("MAIN.SHX", "NOSUCH.SHX"), 1);
    EXPECT_EQ(table.File(0)->big_font, nullptr);
    std::vector<uint8_t> codes;
    EXPECT_EQ(table.ShapeDataByCode(0, 0x81, 0x40, &codes), 0);
    // A shape file named as big font is no big font.
    f.dir.Write("OTHER.SHX", Font("OTHER"));
    ASSERT_EQ(table.LoadFont("MAIN.SHX", "OTHER.SHX"), 1);
    EXPECT_EQ(table.File(0)->big_font, nullptr);
}

TEST(ShapeTableBigFont, BigFontFromTheIndex) {
    Fixture f;
    ScratchDir index_dir("bigindex");
    SdxFont big;
    big.name = "KANJI";
    big.kind = -2;
    big.ranges = {{0x81, 0x9F}};
    big.shapes = {{0x8140, "", {0x40, 0}}};
    index_dir.Write("VELKO.SDX", shx_test::Sdx({big}));
    IndexDirectories with_index({index_dir.path()});
    f.dir.Write("MAIN.SHX", Font("MAIN"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("MAIN.SHX", "kanji.shx"), 1);
    ASSERT_NE(table.File(0)->big_font, nullptr);
    // The big font keeps the index's path as its file and reads from it on demand.
    EXPECT_EQ(table.File(0)->big_font->file_name, table.Index().Path());
    std::vector<uint8_t> codes;
    EXPECT_EQ(table.ShapeDataByCode(0, 0x81, 0x40, &codes), 3);
    EXPECT_EQ(codes, (std::vector<uint8_t>{0x40, 0}));
}

TEST(ShapeTableLookup, Number300FoundByNameButNotByData) {
    Fixture f;
    f.dir.Write("X.SHX", shx_test::Shx({{65, "A", {0x10, 0}}, {300, "BIG", {0x50, 0}}}));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("X.SHX"), 1);
    const char *name = nullptr;
    size_t length = 0;
    EXPECT_EQ(table.ShapeName(0, 300, &name, &length), 6);
    EXPECT_EQ(std::string(name, length), "BIG");
    const uint8_t *codes = reinterpret_cast<const uint8_t *>(1);
    size_t code_length = 7;
    double width = 7;
    EXPECT_EQ(table.ShapeData(0, 300, &codes, &code_length, &width), 0);
    EXPECT_EQ(codes, nullptr);
    EXPECT_EQ(code_length, 0u);
    EXPECT_EQ(width, 0.0);
    // Number 65 through both.
    EXPECT_EQ(table.ShapeData(0, 65, &codes, &code_length, &width), 4);
    ASSERT_EQ(code_length, 2u);
    EXPECT_EQ(codes[0], 0x10);
    EXPECT_EQ(width, 1.0);
    // Not a number of the file: 0.
    EXPECT_EQ(table.ShapeName(0, 301, &name, &length), 0);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(table.ShapeName(0, 66, &name, &length), 0);
    EXPECT_EQ(table.ShapeName(0, -1, &name, &length), 0);
}

TEST(ShapeTableLookup, StyleOutsideTheArrayAnswersZero) {
    Fixture f;
    f.dir.Write("A.SHX", Font("A"));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    EXPECT_EQ(table.ShapeName(0, 65, nullptr, nullptr), 0);
    ASSERT_EQ(table.LoadFont("A.SHX"), 1);
    EXPECT_EQ(table.ShapeName(0, 65, nullptr, nullptr), 4);
    EXPECT_EQ(table.ShapeName(1, 65, nullptr, nullptr), 0);
    EXPECT_EQ(table.ShapeName(-1, 65, nullptr, nullptr), 0);
    EXPECT_EQ(table.ShapeData(1, 65, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(table.ShapeData(-1, 65, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(table.File(1), nullptr);
}

TEST(ShapeTableLookup, ShapeIdWalksFilesInOrderAndTheirDirectTables) {
    Fixture f;
    f.dir.Write(
        "ONE.SHX",
        shx_test::Shx({{70, "DUP", {0x10, 0}}, {80, "DUP", {0x10, 0}}, {300, "EXTRA", {0x10, 0}}}));
    f.dir.Write("TWO.SHX", shx_test::Shx({{10, "DUP", {0x10, 0}}, {11, "TWO", {0x10, 0}}}));
    CShapeTable table;
    table.SetLocation(f.dir.File("DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(table.LoadFont("ONE"), 1);
    ASSERT_EQ(table.LoadFont("TWO"), 1);
    int16_t style = -9, number = -9;
    ASSERT_EQ(table.ShapeId(style, number, "DUP"), 1);
    EXPECT_EQ(style, 0);
    EXPECT_EQ(number, 70);
    ASSERT_EQ(table.ShapeId(style, number, "TWO"), 1);
    EXPECT_EQ(style, 1);
    EXPECT_EQ(number, 11);
    // Extra shapes are not searched; names compare exactly.
    style = number = -9;
    EXPECT_EQ(table.ShapeId(style, number, "EXTRA"), 0);
    EXPECT_EQ(table.ShapeId(style, number, "dup"), 0);
    EXPECT_EQ(table.ShapeId(style, number, "DU"), 0);
    EXPECT_EQ(table.ShapeId(style, number, nullptr), 0);
    EXPECT_EQ(style, -9);
    EXPECT_EQ(number, -9);
}

TEST(ShapeTableLookup, TablesAreNotShared) {
    Fixture f;
    f.dir.Write("a/FONT.SHX", Font("FIRST"));
    f.dir.Write("b/FONT.SHX", Font("SECOND"));
    CShapeTable one, two;
    one.SetLocation(f.dir.File("a/DRAW.DWG").c_str(), nullptr);
    two.SetLocation(f.dir.File("b/DRAW.DWG").c_str(), nullptr);
    ASSERT_EQ(one.LoadFont("FONT"), 1);
    ASSERT_EQ(two.LoadFont("FONT"), 1);
    EXPECT_EQ(NameOf(one, 0, 65), "FIRST");
    EXPECT_EQ(NameOf(two, 0, 65), "SECOND");
    EXPECT_EQ(one.Count(), 1);
    EXPECT_EQ(two.Count(), 1);
}

} // namespace
