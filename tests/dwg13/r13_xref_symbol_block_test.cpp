// A block whose name marks it a symbol of an external reference ("REF|DOOR") leaves the
// block table at the end of the load; its block goes with it, so that no block is left
// pointing at a record that is gone and the drawing still walks and saves.
#include "dwg13/r13_edit_support.h"

#include "dwg13/r13_block.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace velko_test {
namespace r13edit {
namespace {

class R13XrefSymbolBlock : public R13EditTest {
protected:
    void SetUp() override { OpenBytes(EditBytes(2, "REF|DOOR")); }
};

TEST_F(R13XrefSymbolBlock, LeavesTheTableAndTheBlockListTogether) {
    EXPECT_EQ(CDBBlockTableCount(h), 0);
    EXPECT_EQ(D().Blocks().Count(), 0);
    EXPECT_EQ(CDBBlockTableFind(h, "REF|DOOR"), CDB_FAIL);
}

TEST_F(R13XrefSymbolBlock, TheDrawingStillSavesAsDwgAndDxf) {
    const std::string dwg = ::testing::TempDir() + "velko_xref_symbol_block.dwg";
    const std::string dxf = ::testing::TempDir() + "velko_xref_symbol_block.dxf";
    EXPECT_EQ(CDBSaveAsDXF(h, dxf.c_str(), 0), 0);
    EXPECT_EQ(CDBSaveAsDWG(h, dwg.c_str()), 0);
    const int16_t again = CDBStartFileReading(dxf.c_str(), nullptr);
    ASSERT_GE(again, 0);
    EXPECT_EQ(CDBSaveAsDWG(again, dwg.c_str()), 0);
    CDBEndOperation(again);
    std::remove(dwg.c_str());
    std::remove(dxf.c_str());
}

} // namespace
} // namespace r13edit
} // namespace velko_test
