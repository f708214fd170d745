// External references of release 13 hosts, through the flat interface, on drawings made by
// the test builder: a host with a reference block "REF" (header 0x50) whose path names a
// second built drawing, the child, with layers of its own and one line in model space.
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"

#include "velkow32.h"

#include "records/entity_kinds.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Builder = Dwg13Builder;

R13Object LineOn(uint32_t handle, const char *layer) {
    const R13EntityKind *kind = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(handle).Layer(layer));
    line->GetData()->line.end_point = CDB_POINT3{1, 2, 0};
    return EntityObjectOf(*line);
}

// The child: three layers behind "0" ("A", "B", "C"; the line lies on "C", the fourth of
// the table), INSBASE (5, 6, 7).
std::vector<uint8_t> ChildDrawing() {
    Builder b;
    auto &layers = b.tables[Builder::kLayerTable].records;
    layers.push_back(LayerObject(0x30, "A"));
    layers.push_back(LayerObject(0x31, "B"));
    layers.push_back(LayerObject(0x32, "C"));
    b.header.vars.insbase = CDB_POINT3{5, 6, 7};
    b.Space(kModelSpaceName)->entities.push_back(LineOn(0x40, "32"));
    return b.Build();
}

// The host: layer "0", a block "PLAIN" (0x60) and the reference "REF" (0x50) to `path`.
std::vector<uint8_t> HostDrawing(const std::string &path) {
    Builder b;
    R13BlockSpec plain;
    plain.name = "PLAIN";
    plain.header_handle = 0x60;
    plain.start_handle = 0x61;
    plain.end_handle = 0x62;
    b.blocks.push_back(plain);
    R13BlockSpec ref;
    ref.name = "REF";
    ref.header_handle = 0x50;
    ref.start_handle = 0x51;
    ref.end_handle = 0x52;
    ref.xref = true;
    ref.xref_path = path;
    b.blocks.push_back(ref);
    return b.Build();
}

// The child file without its extension: the host stores that.
std::string WithoutExtension(const std::string &path) {
    return path.substr(0, path.size() - 4);
}

// The file name of the child, without its folder.
std::string FileNameOf(const std::string &path) {
    return path.substr(path.find_last_of('/') + 1);
}

class R13Xref : public ::testing::Test {
protected:
    void Open(const std::string &stored) {
        host = std::make_unique<TempFile>("r13_xref_host.dwg", HostDrawing(stored));
        h = CDBStartFileReading(host->c_str(), nullptr);
        ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
        plain = CDBBlockTableFind(h, "PLAIN");
        ref = CDBBlockTableFind(h, "REF");
        ASSERT_GE(plain, 0);
        ASSERT_GE(ref, 0);
    }
    void TearDown() override {
        if (h >= 0)
            CDBEndOperation(h);
    }

    TempFile child{"r13_xref_child.dwg", ChildDrawing()};
    std::unique_ptr<TempFile> host;
    int16_t h = -1;
    int16_t plain = -1;
    int16_t ref = -1;
};

TEST_F(R13Xref, ReferenceBlockGivesItsStoredPathAndAPlainBlockNone) {
    const std::string stored = WithoutExtension(child.path());
    Open(stored);
    char buffer[512] = {};
    ASSERT_EQ(CDBGetXREFPath(h, ref, buffer), 0);
    EXPECT_EQ(std::string(buffer), stored);
    EXPECT_EQ(CDBGetXREFPath(h, plain, buffer), -123);
    EXPECT_EQ(CDBGetXREFPath(h, ref, nullptr), -123);
}

TEST_F(R13Xref, BlockThatIsNoReferenceCountsAsResolved) {
    Open(WithoutExtension(child.path()));
    EXPECT_EQ(CDBResolveXREF(h, plain), 0);
}

TEST_F(R13Xref, PathWithoutExtensionGetsDwgAndTheChildsTablesFollowTheHosts) {
    Open(WithoutExtension(child.path()));
    const int layers_before = CDBLayerTableCount(h);
    const int blocks_before = CDBBlockTableCount(h);
    ASSERT_GT(layers_before, 0);
    ASSERT_EQ(CDBResolveXREF(h, ref), 0) << CDBGetErrorNumber(h);
    // The child's four layers and its blocks (none behind the spaces) are the host's now.
    EXPECT_EQ(CDBLayerTableCount(h), layers_before + 4);
    EXPECT_EQ(CDBBlockTableCount(h), blocks_before);
    EXPECT_GE(CDBLayerTableFind(h, "C"), layers_before);

    // INSBASE of the child is the block's base point.
    // Each step of the block walk hands out copies of the names, the caller's to free.
    CDB_STARTBLOCK_ENTITY_type block{};
    auto free_copies = [&block] {
        std::free(block.name);
        std::free(block.name_2);
        std::free(block.xref_path);
        block.name = block.name_2 = block.xref_path = nullptr;
    };
    int16_t status = CDBGetFirstBlock(h, &block);
    while (status >= 0 && std::string(block.name ? block.name : "") != "REF") {
        free_copies();
        status = CDBGetNextBlock(h, &block);
    }
    ASSERT_GE(status, 0);
    EXPECT_EQ(+block.base_point.x, 5.0);
    EXPECT_EQ(+block.base_point.z, 7.0);
    free_copies();

    // The child's line is the block's content, on host layer count + 3.
    CDB_ENTITY entity{};
    const int32_t id = CDBFirstEntity(h, ref);
    ASSERT_GE(id, 0);
    ASSERT_EQ(CDBGetEntity(h, id, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_LINE);
    EXPECT_EQ(+entity.layer_index, layers_before + 3);
    EXPECT_EQ(+entity.line.end_point.y, 2.0);
}

TEST_F(R13Xref, PathThatEndsInCapitalDwgStaysAsItIs) {
    TempFile capitals("r13_xref_caps.DWG", ChildDrawing());
    Open(capitals.path());
    EXPECT_EQ(CDBResolveXREF(h, ref), 0) << CDBGetErrorNumber(h);
}

TEST_F(R13Xref, PathWithBackslashesIsFoundInTheHostsFolder) {
    Open("\\somewhere\\else\\" + WithoutExtension(FileNameOf(child.path())));
    EXPECT_EQ(CDBResolveXREF(h, ref), 0) << CDBGetErrorNumber(h);
}

TEST_F(R13Xref, PathWithoutSeparatorIsFoundInTheHostsFolder) {
    Open(FileNameOf(child.path()));
    EXPECT_EQ(CDBResolveXREF(h, ref), 0) << CDBGetErrorNumber(h);
}

TEST_F(R13Xref, MissingFileFailsWithOpeningErrorAndResolveAllStillSucceeds) {
    Open("no_such_r13_child");
    EXPECT_EQ(CDBResolveXREF(h, ref), -123);
    EXPECT_EQ(CDBGetErrorNumber(h), -401);
    EXPECT_EQ(CDBResolveAllXREF(h), 0);
}

TEST_F(R13Xref, ResolveAllResolvesTheReference) {
    Open(WithoutExtension(child.path()));
    const int layers_before = CDBLayerTableCount(h);
    EXPECT_EQ(CDBResolveAllXREF(h), 0);
    EXPECT_EQ(CDBLayerTableCount(h), layers_before + 4);
}

// A viewer: records the kinds handed to it.
class Viewer : public CLibDrawing {
public:
    Viewer() : CLibDrawing(1) {}
    void EntityCall(void *record) override { entities.push_back(Take(record)); }
    void BlockCall(void *record) override { blocks.push_back(Take(record)); }
    // A record handed over is the application's, with the texts it points at: the kind is
    // kept and the rest freed (the kinds here own no arrays).
    static int Take(void *record) {
        auto *r = static_cast<CDB_ENTITY *>(record);
        const int kind = r->entity_type;
        std::free(r->handle);
        std::free(r->layer_handle);
        std::free(r->line_type_handle);
        std::free(r->eed_data);
        FreeOwnedTexts(r);
        for (uint16_t offset : HandleTextsOf(kind))
            std::free(*reinterpret_cast<char **>(reinterpret_cast<uint8_t *>(r) + offset));
        std::free(r);
        return kind;
    }
    std::vector<int> entities, blocks;
};

TEST_F(R13Xref, ViewModeLoadBlockOfAReferenceHandsTheChildsLineToBlockCall) {
    Open(WithoutExtension(child.path()));
    CDBEndOperation(h);
    h = -1;
    Viewer viewer;
    ASSERT_EQ(viewer.OpenDrawing(host->c_str(), nullptr), 1);
    ASSERT_EQ(viewer.LoadDWG(), 1);
    const int layers = viewer.Drawing()->GetLayerTableCount();
    CDB_STARTBLOCK_ENTITY_type *record = viewer.LoadBlock(ref);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(+record->base_point.y, 6.0);
    EXPECT_TRUE(viewer.entities.empty());
    ASSERT_FALSE(viewer.blocks.empty());
    EXPECT_EQ(viewer.blocks.front(), CDB_LINE);
    EXPECT_EQ(viewer.Drawing()->GetLayerTableCount(), layers + 4);
}

} // namespace
} // namespace velko_test
