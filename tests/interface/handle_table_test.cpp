// The process-wide table of open drawings, and the façade that an application owns.
#include "interface/drawing_table.h"
#include "interface/test_files.h"
#include "velkow32.h"

#include <gtest/gtest.h>

TEST(DrawingTable, SlotsAreHandedOutLowestFirstUpTo256) {
    CDrawingTable table;
    CLibDrawing lib(0);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(table.AddDrawing(&lib), i);
    EXPECT_EQ(table.AddDrawing(&lib), CDB_FAIL);
    EXPECT_EQ(table.RemoveDrawing(17), 1);
    EXPECT_EQ(table.RemoveDrawing(17), 0);
    EXPECT_EQ(table.GetDrawing(17), nullptr);
    EXPECT_EQ(table.AddDrawing(&lib), 17);
}

TEST(DrawingTable, HandlesOutOfRangeHaveNoDrawing) {
    CDrawingTable table;
    CLibDrawing lib(0);
    table.AddDrawing(&lib);
    EXPECT_EQ(table.GetDrawing(0), &lib);
    EXPECT_EQ(table.GetDrawing(-1), nullptr);
    EXPECT_EQ(table.GetDrawing(256), nullptr);
    EXPECT_EQ(table.GetDrawing(static_cast<int16_t>(0xFF85)), nullptr);
    EXPECT_EQ(table.RemoveDrawing(256), 0);
    EXPECT_EQ(table.RemoveDrawing(-5), 0);
}

namespace {
class CountingDrawing : public CLibDrawing {
public:
    CountingDrawing() : CLibDrawing(1) {}
    void EntityCall(void *) override { ++entities; }
    int entities = 0;
};
} // namespace

TEST(LibDrawing, ApplicationsDeriveAndOpenInViewMode) {
    velko_test::TempFile file("view.dwg", velko_test::MinimalDwg12());
    CountingDrawing lib;
    EXPECT_EQ(lib.ViewFlag(), 1);
    ASSERT_EQ(lib.OpenDrawing(file.c_str(), nullptr), 1);
    EXPECT_EQ(lib.LoadDWG(), 1);
    EXPECT_NE(lib.GetShapeTablePtr(), nullptr);
    EXPECT_EQ(lib.GetError(), 0);
    EXPECT_EQ(lib.CloseDWGFile(), 1);
}

TEST(LibDrawing, OwnCodeIsReadOnlyWithoutADrawing) {
    CLibDrawing lib(0);
    lib.SetError(-410);
    EXPECT_EQ(lib.GetError(), -410);
    lib.AddToDeleteList(nullptr);
}
