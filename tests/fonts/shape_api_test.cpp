// The shape functions of the flat interface, on release 12 drawings whose text styles name
// shape files: the style's slot in the shape table and the lookups through the handle.
#include "dwg12/r12_drawing.h"
#include "fonts/shape_table.h"
#include "fonts/shx_bytes.h"
#include "fonts/styled_drawing.h"
#include "interface/drawing_table.h"
#include "support/dwg12_builder.h"
#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using shx_test::IndexDirectories;
using shx_test::ScratchDir;
using velko_test::Dwg12FileBuilder;
using velko_test::StyleRec;

using shx_test::DrawingWithStyles;

std::vector<uint8_t> RomansFont() {
    return shx_test::Shx({shx_test::FontInfo("ROMANS", 21),
                          {65, "CAPA", {2, 0x40, 1, 0x14, 0}},
                          {66, "CAPB", {0x30, 0}},
                          {300, "EXTRA", {0x10, 0}}});
}

// The shape slot of each text style of an open release 12 drawing.
std::vector<int> StyleSlots(int16_t h) {
    std::vector<int> slots;
    CLibDrawing *lib = LookupDrawing(h);
    auto *drawing = lib ? dynamic_cast<CR12Drawing *>(lib->Drawing()) : nullptr;
    if (!drawing)
        return slots;
    CR12TableList &styles = drawing->Table(kR12Styles);
    for (int i = 0; i < styles.Count(); ++i)
        slots.push_back(R12StyleShapeIndex(styles.At(i)));
    return slots;
}

struct Fixture {
    ScratchDir dir{"api"};
    ScratchDir index_dir{"apinoindex"};
    IndexDirectories no_index{{index_dir.path()}};
};

TEST(ShapeApi, Release12StyleGetsSlotZeroAndNamesWorkThroughTheHandle) {
    Fixture f;
    f.dir.Write("romans.shx", RomansFont());
    std::string drawing = f.dir.Write("DRAW.DWG", DrawingWithStyles({"romans"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(StyleSlots(h), std::vector<int>{0});
    CLibDrawing *lib = LookupDrawing(h);
    ASSERT_NE(lib, nullptr);
    ASSERT_NE(lib->GetShapeTablePtr(), nullptr);
    EXPECT_EQ(lib->GetShapeTablePtr()->Count(), 1);

    char buffer[256];
    std::memset(buffer, 'x', sizeof buffer);
    // The name, with the shape's data length: "CAPA", NUL and 5 code bytes.
    EXPECT_EQ(CDBGetShapeName(h, 0, 65, buffer), 10);
    EXPECT_STREQ(buffer, "CAPA");
    EXPECT_EQ(g_LastError, 0);
    // The codes behind the name, and their number.
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(CDBGetShapeData(h, 0, 65, buffer), 5);
    EXPECT_EQ(std::vector<uint8_t>(buffer, buffer + 5),
              (std::vector<uint8_t>{2, 0x40, 1, 0x14, 0}));
    // A null buffer still tells the length.
    EXPECT_EQ(CDBGetShapeName(h, 0, 66, nullptr), 7);
    // Number 300: found by name, not by data.
    EXPECT_EQ(CDBGetShapeName(h, 0, 300, buffer), 8);
    EXPECT_STREQ(buffer, "EXTRA");
    EXPECT_EQ(CDBGetShapeData(h, 0, 300, buffer), 0);
    // No such shape, no such style: 0.
    EXPECT_EQ(CDBGetShapeName(h, 0, 67, buffer), 0);
    EXPECT_EQ(CDBGetShapeName(h, 1, 65, buffer), 0);
    EXPECT_EQ(CDBGetShapeData(h, -1, 65, buffer), 0);

    // The reverse lookup.
    int16_t style = -1, number = -1;
    EXPECT_EQ(CDBGetShapeId(h, &style, &number, "CAPB"), 0);
    EXPECT_EQ(style, 0);
    EXPECT_EQ(number, 66);
    EXPECT_EQ(CDBGetShapeId(h, &style, &number, "NOPE"), CDB_FAIL);
    EXPECT_EQ(CDBGetShapeId(h, nullptr, &number, "CAPB"), CDB_FAIL);

    // The entity forms.
    CDB_SHAPE_ENTITY_type shape;
    std::memset(&shape, 0, sizeof shape);
    shape.entity_type = CDB_SHAPE;
    shape.shape_style_index = 0;
    shape.shape_number = 65;
    EXPECT_EQ(CDBGetShapeNameFromEntity(h, &shape, buffer), 10);
    EXPECT_STREQ(buffer, "CAPA");
    EXPECT_EQ(CDBGetShapeDataFromEntity(h, &shape, buffer), 5);
    EXPECT_EQ(CDBGetEntityShapeId(h, &shape, "CAPB"), 0);
    EXPECT_EQ(shape.shape_style_index, 0);
    EXPECT_EQ(shape.shape_number, 66);
    EXPECT_EQ(CDBGetEntityShapeId(h, &shape, "NOPE"), CDB_FAIL);
    EXPECT_EQ(shape.shape_number, 66);
    shape.shape_number = 99;
    EXPECT_EQ(CDBGetShapeNameFromEntity(h, &shape, buffer), 0);
    EXPECT_EQ(CDBGetShapeNameFromEntity(h, nullptr, buffer), CDB_FAIL);
    EXPECT_EQ(CDBGetEntityShapeId(h, nullptr, "CAPB"), CDB_FAIL);

    // The members of the drawing answer -123 where the flat functions report 0.
    EXPECT_EQ(lib->Drawing()->GetShapeName(short(0), short(67), buffer), CDB_FAIL);
    EXPECT_EQ(lib->Drawing()->GetShapeData(short(0), short(300), buffer), CDB_FAIL);
    EXPECT_EQ(lib->Drawing()->GetShapeName(short(0), short(65), buffer), 10);

    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(ShapeApi, BadHandleFails) {
    char buffer[64];
    int16_t style = 0, number = 0;
    CDB_SHAPE_ENTITY_type shape;
    std::memset(&shape, 0, sizeof shape);
    EXPECT_EQ(CDBGetShapeName(200, 0, 65, buffer), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBGetShapeData(-1, 0, 65, buffer), CDB_FAIL);
    EXPECT_EQ(CDBGetShapeNameFromEntity(300, &shape, buffer), CDB_FAIL);
    EXPECT_EQ(CDBGetShapeDataFromEntity(300, &shape, buffer), CDB_FAIL);
    EXPECT_EQ(CDBGetShapeId(300, &style, &number, "A"), CDB_FAIL);
    EXPECT_EQ(CDBGetEntityShapeId(300, &shape, "A"), CDB_FAIL);
}

TEST(ShapeApi, StylesShareAFileAndFallBackToTxt) {
    Fixture f;
    f.dir.Write("ROMANS.SHX", RomansFont());
    f.dir.Write("txt.shx", shx_test::Shx({{65, "TXTA", {0x10, 0}}}));
    std::string drawing = f.dir.Write(
        "DRAW.DWG", DrawingWithStyles({"romans", "C:\\ACAD\\FONTS\\ROMANS.SHX", "nosuch", ""}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    // Both spellings of romans share slot 0; the missing font and the empty name fall back
    // to TXT.SHX, loaded once, in slot 1.
    EXPECT_EQ(StyleSlots(h), (std::vector<int>{0, 0, 1, 1}));
    char buffer[64];
    EXPECT_EQ(CDBGetShapeName(h, 1, 65, buffer), 7);
    EXPECT_STREQ(buffer, "TXTA");
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(ShapeApi, StyleWithoutAnyFontKeepsItsRecord) {
    Fixture f;
    std::string drawing = f.dir.Write("DRAW.DWG", DrawingWithStyles({"nosuch", "other"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(StyleSlots(h), (std::vector<int>{-1, -1}));
    EXPECT_EQ(CDBStyleTableCount(h), 2);
    CDB_STYLE_TBL_type style;
    std::memset(&style, 0, sizeof style);
    EXPECT_EQ(CDBStyleTableGet(h, 1, &style), 0);
    EXPECT_STREQ(style.name, "STYLE1");
    char buffer[64];
    EXPECT_EQ(CDBGetShapeName(h, 0, 65, buffer), 0);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(ShapeApi, SearchPathOfTheOpenIsUsed) {
    Fixture f;
    f.dir.Write("fonts/SIMPLEX.SHX", shx_test::Shx({{65, "SIMPLEXA", {0x10, 0}}}));
    std::string drawing = f.dir.Write("dwg/DRAW.DWG", DrawingWithStyles({"simplex"}));
    std::string search = f.dir.File("nothing") + ";" + f.dir.File("fonts");
    int16_t h = CDBStartFileReading(drawing.c_str(), search.c_str());
    ASSERT_GE(h, 0);
    EXPECT_EQ(StyleSlots(h), std::vector<int>{0});
    char buffer[64];
    EXPECT_EQ(CDBGetShapeName(h, 0, 65, buffer), 11);
    EXPECT_STREQ(buffer, "SIMPLEXA");
    EXPECT_EQ(CDBEndOperation(h), 0);
    // Without the search path, the font is not found.
    h = CDBStartFileReading(drawing.c_str(), "");
    ASSERT_GE(h, 0);
    EXPECT_EQ(StyleSlots(h), std::vector<int>{-1});
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(ShapeApi, FontFromTheIndexForADrawing) {
    ScratchDir dir("apiindexdwg"), index_dir("apiindex");
    index_dir.Write("VELKO.SDX",
                    shx_test::Sdx({{"ROMANS", -1, 65, {{65, "FROMINDEX", {0x10, 0}, 1.0}}, {}}}));
    IndexDirectories dirs({index_dir.path()});
    std::string drawing = dir.Write("DRAW.DWG", DrawingWithStyles({"romans"}));
    int16_t h = CDBStartFileReading(drawing.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(StyleSlots(h), std::vector<int>{0});
    char buffer[64];
    EXPECT_EQ(CDBGetShapeName(h, 0, 65, buffer), 12);
    EXPECT_STREQ(buffer, "FROMINDEX");
    EXPECT_EQ(CDBEndOperation(h), 0);
}

} // namespace
