// A drawing read from a release 12 DXF file takes the same edits as one read from DWG:
// its tables, blocks and entity lists are the same objects.
#include "edit/edit_support.h"

#include "interface/test_files.h"
#include "support/dxf_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace velko_test {
namespace edit {
namespace {

std::string SmallDxf() {
    DxfText dxf;
    dxf.Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1009")
        .G(9, "$HANDLING")
        .G(70, 1)
        .G(9, "$HANDSEED")
        .G(5, "20")
        .EndSection();
    dxf.Section("TABLES").Table("LAYER", 1).Layer("0").EndTable().EndSection();
    dxf.Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "BOX")
        .G(70, 0)
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(0, "LINE")
        .G(8, "0")
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, 1.0)
        .G(21, 0.0)
        .G(31, 0.0)
        .G(0, "ENDBLK")
        .G(8, "0")
        .EndSection();
    dxf.Section("ENTITIES")
        .G(0, "CIRCLE")
        .G(8, "0")
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(40, 3.0)
        .EndSection();
    dxf.Eof();
    return dxf.Ascii();
}

TEST(DxfDrawingEdit, TablesBlocksAndEntitiesTakeEdits) {
    TempFile file("edit_small.dxf", SmallDxf());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);

    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "walls";
    layer.name = name;
    EXPECT_EQ(CDBLayerTableAdd(h, &layer), 1);
    EXPECT_EQ(CDBLayerTableFind(h, "WALLS"), 1);

    ASSERT_EQ(CDBBlockTableFind(h, "BOX"), 0);
    CDB_ENTITY circle;
    CDBEntityDefault(h, &circle, CDB_CIRCLE);
    EXPECT_EQ(CDBEntityAdd(h, 0, &circle), 1);
    EXPECT_EQ(ListKinds(h, 0), std::vector<int>({CDB_LINE, CDB_CIRCLE, CDB_ENDBLK}));

    const int16_t count = CDBEntityCount(h, -1);
    CDB_ENTITY line;
    CDBEntityDefault(h, &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(h, -1, &line), count);
    CDB_ENTITY read = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h, CDBPackEntityId(-1, static_cast<uint16_t>(count)), &read), count);
    // Handles are on: the entities took the seeds 20 and 21.
    EXPECT_STREQ(+read.handle, "21");
    EXPECT_EQ(Handseed(h), "22");

    char block_name[] = "DOOR";
    CDB_STARTBLOCK_ENTITY_type block;
    CDBBlockDefault(h, &block);
    block.name = block_name;
    EXPECT_EQ(CDBBlockAdd(h, &block), 1);
    EXPECT_EQ(ListKinds(h, 1), std::vector<int>({CDB_ENDBLK}));
    EXPECT_EQ(CDBBlockDelete(h, 1), 0);
    EXPECT_EQ(CDBFirstEntity(h, 1), CDB_END_OF_WALK);
    CDBEndOperation(h);
}

} // namespace
} // namespace edit
} // namespace velko_test
