// CDBGetStyleShapeIndex: the shape table slot of a text style's font, on release 12
// drawings (DWG and DXF) whose styles name test shape files placed beside them.
#include "fonts/shx_bytes.h"
#include "fonts/styled_drawing.h"
#include "model/base_drawing.h"
#include "interface/drawing_table.h"
#include "support/dwg12_builder.h"
#include "support/dxf_text.h"
#include "velkow32.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using shx_test::IndexDirectories;
using shx_test::ScratchDir;
using velko_test::Dwg12FileBuilder;
using velko_test::DxfText;
using velko_test::StyleRec;

using shx_test::DrawingWithStyles;

std::vector<uint8_t> FontA() {
    return shx_test::Shx({shx_test::FontInfo("FONTA", 6), {65, "A_OF_A", {0x20, 0x24, 0}}});
}
std::vector<uint8_t> FontB() {
    return shx_test::Shx({shx_test::FontInfo("FONTB", 6), {65, "A_OF_B", {0x30, 2, 0x10, 0}}});
}

// The codes of shape `number` in the slot, as the flat interface gives them.
std::vector<uint8_t> CodesInSlot(int16_t h, int16_t slot, int16_t number) {
    char buffer[256];
    int16_t length = CDBGetShapeData(h, slot, number, buffer);
    if (length <= 0)
        return {};
    return std::vector<uint8_t>(buffer, buffer + length);
}

struct Fixture {
    ScratchDir dir{"styleslot"};
    ScratchDir index_dir{"styleslotnoindex"};
    IndexDirectories no_index{{index_dir.path()}};
};

TEST(StyleShapeIndex, StylesGiveTheSlotsOfTheirFonts) {
    Fixture f;
    f.dir.Write("fonta.shx", FontA());
    f.dir.Write("FONTB.SHX", FontB());
    std::string drawing =
        f.dir.Write("DRAW.DWG", DrawingWithStyles({"fontb", "fonta", "FONTB.SHX"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 0), 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 1), 1);
    // Two styles of one font share its slot.
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 2), 0);
    // The slot leads to the font's codes.
    EXPECT_EQ(CodesInSlot(h, CDBGetStyleShapeIndex(h, 1), 65),
              (std::vector<uint8_t>{0x20, 0x24, 0}));
    EXPECT_EQ(CodesInSlot(h, CDBGetStyleShapeIndex(h, 0), 65),
              (std::vector<uint8_t>{0x30, 2, 0x10, 0}));
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(StyleShapeIndex, StyleOutsideTheTableFails) {
    Fixture f;
    f.dir.Write("fonta.shx", FontA());
    std::string drawing = f.dir.Write("DRAW.DWG", DrawingWithStyles({"fonta"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 0), 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 1), CDB_FAIL);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, -1), CDB_FAIL);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 32767), CDB_FAIL);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(StyleShapeIndex, StyleWhoseFontWasFoundNowhereFails) {
    Fixture f;
    // Neither the font nor TXT.SHX is beside the drawing, and the index is empty.
    f.dir.Write("fonta.shx", FontA());
    std::string drawing = f.dir.Write("DRAW.DWG", DrawingWithStyles({"nosuch", "fonta"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 0), CDB_FAIL);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 1), 0);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(StyleShapeIndex, MissingFontFallsBackToTheSlotOfTxt) {
    Fixture f;
    f.dir.Write("txt.shx", FontB());
    std::string drawing = f.dir.Write("DRAW.DWG", DrawingWithStyles({"nosuch"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    int16_t slot = CDBGetStyleShapeIndex(h, 0);
    EXPECT_EQ(slot, 0);
    EXPECT_EQ(CodesInSlot(h, slot, 65), (std::vector<uint8_t>{0x30, 2, 0x10, 0}));
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(StyleShapeIndex, BadHandleFailsWithTheHandleError) {
    g_LastError = 0;
    EXPECT_EQ(CDBGetStyleShapeIndex(200, 0), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_DRAWING_HANDLE);
    g_LastError = 0;
    EXPECT_EQ(CDBGetStyleShapeIndex(-1, 0), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_DRAWING_HANDLE);
}

TEST(StyleShapeIndex, DxfStylesGetTheirSlotsToo) {
    Fixture f;
    f.dir.Write("fonta.shx", FontA());
    f.dir.Write("fontb.shx", FontB());
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("TABLES")
        .Table("STYLE", 3)
        .G(0, "STYLE")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "fontb")
        .G(0, "STYLE")
        .G(2, "OTHER")
        .G(70, 0)
        .G(3, "fonta.shx")
        .G(0, "STYLE")
        .G(2, "LOST")
        .G(70, 0)
        .G(3, "nosuch")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    std::string text = dxf.Ascii();
    std::string drawing = f.dir.Write("DRAW.DXF", std::vector<uint8_t>(text.begin(), text.end()));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 0), 0);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 1), 1);
    EXPECT_EQ(CDBGetStyleShapeIndex(h, 2), CDB_FAIL);
    EXPECT_EQ(CodesInSlot(h, CDBGetStyleShapeIndex(h, 1), 65),
              (std::vector<uint8_t>{0x20, 0x24, 0}));
    EXPECT_EQ(CDBEndOperation(h), 0);
}

} // namespace

namespace {

// Release 13 drawings don't open for reading yet; a drawing class that keeps no slots
// answers -1, which the flat function gives as -123.
TEST(StyleShapeIndex, DrawingClassWithoutSlotsHasNone) {
    CBaseDrawing plain(0);
    EXPECT_EQ(plain.StyleShapeIndex(0), -1);
    EXPECT_EQ(plain.StyleShapeIndex(-1), -1);
}

} // namespace
