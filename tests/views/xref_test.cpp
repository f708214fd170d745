// External references of release 12 drawings: drawings made here with the library's own
// writer, a host whose blocks name them, and what resolving does to the host's tables,
// the block's base point and its entity list.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace velko_test {
namespace {

namespace fs = std::filesystem;

constexpr int16_t kXrefFlag = 4;

class Xref : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("velko_xref_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
               "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override {
        if (host >= 0)
            CDBEndOperation(host);
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    std::string At(const std::string &name) const { return (dir / name).string(); }

    // A child: five entities, a layer "WALLS" and a line on it, INSBASE (4, 5, 6); saved
    // as DWG under `name` in the folder. Its layer count in `layers`.
    void MakeChild(const std::string &name, int16_t *layers = nullptr) {
        walk::OpenDrawing source("xref_child_source.dwg", edit::FiveEntityDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        CDB_LAYER_TBL_type layer;
        ASSERT_EQ(CDBLayerTableDefault(&layer), 0);
        char walls[] = "WALLS";
        layer.name = walls;
        const int16_t walls_index = CDBLayerTableAdd(h, &layer);
        ASSERT_GE(walls_index, 1);
        CDB_ENTITY line;
        ASSERT_EQ(CDBEntityDefault(h, &line, CDB_LINE), 0);
        line.layer_index = walls_index;
        line.line.end_point.x = 10;
        ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
        CDB_VAR_VALUE_type insbase{};
        insbase.point3_value = {4, 5, 6};
        CDBSetVariableValue(h, "INSBASE", &insbase);
        if (layers)
            *layers = CDBLayerTableCount(h);
        ASSERT_EQ(CDBSaveAsDWG(h, At(name).c_str()), 0);
    }

    // A host with one reference block per path; saved as `name` and opened again.
    void MakeHost(const std::string &name, const std::vector<std::string> &paths) {
        walk::OpenDrawing source("xref_host_source.dwg", edit::EditDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        int n = 0;
        for (const std::string &path : paths) {
            CDB_STARTBLOCK_ENTITY_type block;
            ASSERT_EQ(CDBBlockDefault(h, &block), 0);
            std::string block_name = "REF" + std::to_string(n++);
            std::string stored = path;
            block.name = block_name.data();
            block.xref_path = stored.data();
            block.flags = kXrefFlag;
            block.base_point = {1, 1, 1};
            ASSERT_GE(CDBBlockAdd(h, &block), 0);
        }
        ASSERT_EQ(CDBSaveAsDWG(h, At(name).c_str()), 0);
        host = CDBStartFileReading(At(name).c_str(), nullptr);
        ASSERT_GE(host, 0);
    }

    int16_t Ref(int n) const {
        return CDBBlockTableFind(host, ("REF" + std::to_string(n)).c_str());
    }

    fs::path dir;
    int16_t host = -1;
};

TEST_F(Xref, SavedReferenceBlockReadsBackAsAReference) {
    MakeHost("host.dwg", {"parts\\Child"});
    const int16_t ref = Ref(0);
    ASSERT_GE(ref, 0);
    CDB_BLOCK_TBL table;
    ASSERT_EQ(CDBBlockTableGet(host, ref, &table), 0);
    EXPECT_TRUE(table.flags & kXrefFlag);
    char path[256] = {};
    ASSERT_EQ(CDBGetXREFPath(host, ref, path), 0);
    EXPECT_STREQ(path, "parts\\Child") << "the stored path, not the resolved one";
}

TEST_F(Xref, PathChecksComeInTheirOrder) {
    MakeHost("host.dwg", {"child"});
    char path[256];
    const int16_t count = CDBBlockTableCount(host);
    EXPECT_EQ(CDBGetXREFPath(250, 0, path), CDB_FAIL);
    EXPECT_EQ(CDBGetXREFPath(host, -1, path), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_INVALID_INDEX);
    EXPECT_EQ(CDBGetXREFPath(host, count + 1, path), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_INVALID_INDEX);
    EXPECT_EQ(CDBGetXREFPath(host, Ref(0), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_INVALID_PARAMETER);
    // The count itself passes the index check; the operation behind it finds no block.
    EXPECT_EQ(CDBGetXREFPath(host, count, path), CDB_FAIL);
    EXPECT_EQ(CDBResolveXREF(host, count), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_OPENING_FILE);
}

TEST_F(Xref, BlockThatIsNoReferenceHasNoPathAndDoesNotResolve) {
    MakeHost("host.dwg", {"child"});
    CDB_STARTBLOCK_ENTITY_type plain;
    ASSERT_EQ(CDBBlockDefault(host, &plain), 0);
    char name[] = "PLAIN";
    plain.name = name;
    const int16_t index = CDBBlockAdd(host, &plain);
    ASSERT_GE(index, 0);
    char path[256];
    EXPECT_EQ(CDBGetXREFPath(host, index, path), CDB_FAIL);
    EXPECT_EQ(CDBResolveXREF(host, index), CDB_FAIL);
}

TEST_F(Xref, PathWithoutExtensionFoundBesideHostInAnotherCase) {
    int16_t child_layers = 0;
    MakeChild("child.dwg", &child_layers);
    MakeHost("host.dwg", {"CHILD"});
    const int16_t layers = CDBLayerTableCount(host);
    const int16_t ref = Ref(0);
    ASSERT_EQ(CDBResolveXREF(host, ref), 0);
    EXPECT_EQ(CDBLayerTableCount(host), layers + child_layers);

    CDB_STARTBLOCK_ENTITY_type block = walk::NewBlockRecord();
    ASSERT_EQ(CDBBlockGet(host, ref, &block), 0);
    EXPECT_EQ(+block.base_point.x, 4.0) << "INSBASE of the child";
    EXPECT_EQ(+block.base_point.y, 5.0);
    EXPECT_EQ(+block.base_point.z, 6.0);
    walk::FreeCopies(reinterpret_cast<CDB_ENTITY &>(block));

    // Five entities, the added line, and the block's own closing entity.
    EXPECT_EQ(CDBEntityCount(host, ref), 7);
    const std::vector<int> kinds = edit::ListKinds(host, ref);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(kinds.back(), CDB_ENDBLK);
    CDB_ENTITY line;
    ASSERT_GE(CDBGetEntity(host, CDBPackEntityId(ref, 5), &line), 0);
    EXPECT_EQ(+line.entity_type, CDB_LINE);
    EXPECT_EQ(+line.layer_index, layers + 1) << "WALLS was the child's layer 1";
    CDB_LAYER_TBL_type layer;
    ASSERT_EQ(CDBLayerTableGet(host, line.layer_index, &layer), 0);
    EXPECT_STREQ(+layer.name, "WALLS");
    EXPECT_EQ(+line.line.end_point.x, 10.0);
}

TEST_F(Xref, PathWithBackslashesAndDwgInCapitalsIsFoundInHostFolder) {
    MakeChild("Child.dwg");
    MakeHost("host.dwg", {"C:\\drawings\\parts\\child.DWG"});
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    EXPECT_EQ(CDBEntityCount(host, Ref(0)), 7);
}

TEST_F(Xref, MissingFileFailsWithOpeningErrorAndResolveAllStillSucceeds) {
    MakeChild("child.dwg");
    MakeHost("host.dwg", {"nowhere", "child"});
    const int16_t layers = CDBLayerTableCount(host);
    EXPECT_EQ(CDBResolveXREF(host, Ref(0)), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_OPENING_FILE);
    EXPECT_EQ(CDBLayerTableCount(host), layers) << "nothing merged";
    EXPECT_EQ(CDBResolveAllXREF(host), 0);
    EXPECT_EQ(CDBEntityCount(host, Ref(1)), 7) << "the found one is resolved";
    EXPECT_GT(CDBLayerTableCount(host), layers);
    EXPECT_EQ(CDBResolveAllXREF(250), CDB_FAIL);
}

TEST_F(Xref, DxfTargetAndNonDrawingFailWithoutHarm) {
    {
        walk::OpenDrawing source("xref_dxf_source.dwg", edit::FiveEntityDrawing());
        ASSERT_GE(source.handle, 0);
        ASSERT_EQ(CDBSaveAsDXF(source.handle, At("asdxf.dwg").c_str(), 0), 0);
    }
    std::ofstream(At("junk.dwg")) << "this is no drawing at all";
    MakeHost("host.dwg", {"asdxf", "junk.dwg"});
    const int16_t blocks = CDBBlockTableCount(host);
    EXPECT_EQ(CDBResolveXREF(host, Ref(0)), CDB_FAIL);
    EXPECT_EQ(CDBResolveXREF(host, Ref(1)), CDB_FAIL);
    EXPECT_EQ(CDBBlockTableCount(host), blocks);
}

TEST_F(Xref, ReferenceToTheHostItselfMergesOnce) {
    MakeHost("host.dwg", {"host"});
    const int16_t blocks = CDBBlockTableCount(host);
    const int16_t layers = CDBLayerTableCount(host);
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    EXPECT_EQ(CDBBlockTableCount(host), 2 * blocks);
    EXPECT_EQ(CDBLayerTableCount(host), 2 * layers);
}

TEST_F(Xref, ChainOfTwoIsResolvedOneLinkAtATime) {
    MakeChild("leaf.dwg");
    {
        walk::OpenDrawing source("xref_mid_source.dwg", edit::EditDrawing());
        ASSERT_GE(source.handle, 0);
        CDB_STARTBLOCK_ENTITY_type block;
        ASSERT_EQ(CDBBlockDefault(source.handle, &block), 0);
        char name[] = "LEAFREF";
        char path[] = "leaf";
        block.name = name;
        block.xref_path = path;
        block.flags = kXrefFlag;
        ASSERT_GE(CDBBlockAdd(source.handle, &block), 0);
        ASSERT_EQ(CDBSaveAsDWG(source.handle, At("mid.dwg").c_str()), 0);
    }
    MakeHost("host.dwg", {"mid"});
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    const int16_t leaf_ref = CDBBlockTableFind(host, "LEAFREF");
    ASSERT_GE(leaf_ref, 0) << "the middle drawing's blocks joined the host";
    EXPECT_EQ(CDBEntityCount(host, leaf_ref), 1) << "not resolved on its own";
    ASSERT_EQ(CDBResolveXREF(host, leaf_ref), 0);
    EXPECT_EQ(CDBEntityCount(host, leaf_ref), 7);
}

} // namespace
} // namespace velko_test
