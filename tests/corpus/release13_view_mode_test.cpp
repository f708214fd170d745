// View mode on a release 13 DWG of the corpus: LoadEntities and LoadBlock hand over exactly
// the records that list mode keeps, in the same order, less REGION, 3DSOLID, BODY and OLE
// frames, and the records handed over are the application's to free.
#include "support/corpus.h"

#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace release13 {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";
constexpr char kDxf[] = "dxf13/example_r13.dxf";

// What identifies an entity across the two modes: its kind and handle.
std::string Key(const CDB_ENTITY &r) {
    return std::to_string(r.entity_type) + ":" + (r.handle ? r.handle : "");
}

// Frees a record that view mode handed over, with all it points at.
void FreeHandedOver(CDB_ENTITY *r) {
    std::free(r->handle);
    std::free(r->layer_handle);
    std::free(r->line_type_handle);
    std::free(r->eed_data);
    switch (r->entity_type) {
    case CDB_SPLINE:
        std::free(r->spline.knots);
        std::free(r->spline.fit_points);
        std::free(r->spline.control_points);
        break;
    case CDB_LEADER:
        std::free(r->leader.vertices);
        break;
    case CDB_MLINE:
        for (int v = 0; r->mline.vertices && v < r->mline.vertex_count; ++v) {
            for (int l = 0; r->mline.vertices[v].lines && l < r->mline.line_count; ++l) {
                std::free(r->mline.vertices[v].lines[l].segment_parameters);
                std::free(r->mline.vertices[v].lines[l].fill_parameters);
            }
            std::free(r->mline.vertices[v].lines);
        }
        std::free(r->mline.vertices);
        break;
    case CDB_VIEWPORT:
        std::free(r->viewport.frozen_layers);
        break;
    default:
        break;
    }
    FreeOwnedTexts(r);
    for (uint16_t offset : HandleTextsOf(r->entity_type))
        std::free(*reinterpret_cast<char **>(reinterpret_cast<uint8_t *>(r) + offset));
    std::free(r);
}

class Receiver : public CLibDrawing {
public:
    Receiver() : CLibDrawing(1) {}
    void EntityCall(void *record) override { Take(record, entities); }
    void BlockCall(void *record) override { Take(record, blocks); }

    std::vector<std::string> entities, blocks;

private:
    static void Take(void *record, std::vector<std::string> &into) {
        auto *r = static_cast<CDB_ENTITY *>(record);
        into.push_back(Key(*r));
        FreeHandedOver(r);
    }
};

bool HandedOver(int16_t kind) {
    return kind != CDB_REGION && kind != CDB_3DSOLID && kind != CDB_BODY && kind != CDB_OLEFRAME;
}

// The keys of a list walk through the flat interface, less the kinds view mode keeps back.
std::vector<std::string> ListModeKeys(int16_t h, int16_t block) {
    std::vector<std::string> keys;
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    int32_t id = CDBFirstEntity(h, block);
    id = id < 0 ? id : CDBGetCurrentEntity(h, &r);
    while (id >= 0) {
        if (HandedOver(r.entity_type))
            keys.push_back(Key(r));
        FreeOwnedTexts(&r);
        std::memset(&r, 0, sizeof r);
        id = CDBGetNextEntity(h, &r);
    }
    return keys;
}

TEST(Release13ViewMode, HandsOverWhatListModeKeepsLessTheOpaqueKinds) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(kRelaid);
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    ASSERT_GE(h, 0);
    std::vector<std::string> main = ListModeKeys(h, -1);
    std::vector<std::string> blocks;
    const int16_t block_count = CDBBlockTableCount(h);
    for (int16_t b = 0; b < block_count; ++b)
        for (const std::string &key : ListModeKeys(h, b))
            blocks.push_back(key);
    CDBEndOperation(h);

    Receiver view;
    ASSERT_EQ(view.OpenDWGFile(path.c_str(), CDB_OPEN_READ, nullptr), 1);
    ASSERT_EQ(view.LoadDWG(), 1);
    view.LoadEntities();
    for (int b = 0; b < block_count; ++b)
        EXPECT_NE(view.LoadBlock(b), nullptr) << "block " << b;
    EXPECT_EQ(view.LoadBlock(block_count), nullptr);
    EXPECT_EQ(view.entities, main);
    EXPECT_EQ(view.blocks, blocks);
    // A second call finds the lists empty: every record went once.
    view.LoadEntities();
    EXPECT_EQ(view.entities.size(), main.size());
}

// A drawing read from a DXF hands its lists over as one read from a DWG does: everything is
// read at the load, and LoadEntities and LoadBlock hand the records out.
TEST(Release13ViewMode, ADxfHandsOverWhatListModeKeeps) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(kDxf);
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    ASSERT_GE(h, 0);
    std::vector<std::string> main = ListModeKeys(h, -1);
    std::vector<std::string> blocks;
    const int16_t block_count = CDBBlockTableCount(h);
    for (int16_t b = 0; b < block_count; ++b)
        for (const std::string &key : ListModeKeys(h, b))
            blocks.push_back(key);
    CDBEndOperation(h);
    ASSERT_GT(main.size(), 1000u);

    Receiver view;
    ASSERT_EQ(view.OpenDXFFile(path.c_str(), CDB_OPEN_READ, nullptr), 1);
    ASSERT_EQ(view.LoadDXF(), 1);
    EXPECT_TRUE(view.entities.empty());
    view.LoadEntities();
    for (int b = 0; b < block_count; ++b)
        EXPECT_NE(view.LoadBlock(b), nullptr) << "block " << b;
    EXPECT_EQ(view.entities, main);
    EXPECT_EQ(view.blocks, blocks);
}

} // namespace
} // namespace release13
} // namespace velko_test
