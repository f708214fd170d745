// View mode: a class derived from CLibDrawing, constructed with view_flag 1, receives in
// EntityCall and BlockCall exactly the records that list mode keeps in its lists.
#include "support/corpus.h"
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace velko_test {
namespace walk {
namespace {

std::string Num(double v) {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.17g", v);
    return buffer;
}

std::string Pt(const CDB_POINT3 &p) {
    return "(" + Num(p.x) + "," + Num(p.y) + "," + Num(p.z) + ")";
}

std::string Txt(const char *t) {
    return t ? "\"" + std::string(t) + "\"" : std::string("null");
}

// The kind, the common part's numbers and the key fields of the kind, as text. Extended
// data counts for viewports only: view mode steps over it for every other kind.
std::string Describe(const CDB_ENTITY &r) {
    std::string s = std::to_string(r.entity_type) + " L" + std::to_string(r.layer_index) + " C" +
                    std::to_string(r.color) + " T" + std::to_string(r.line_type_index) + " E" +
                    Num(r.elevation) + " H" + Num(r.thickness) + " S" + std::to_string(r.space) +
                    " X" + Pt(r.extrusion) + " " + Txt(r.handle) + ":";
    // View mode keeps the extended data of a viewport only.
    if (r.entity_type == CDB_VIEWPORT)
        s += " D" + std::to_string(r.eed_size);
    switch (r.entity_type) {
    case CDB_LINE:
    case CDB_3DLINE:
        return s + Pt(r.line.start_point) + Pt(r.line.end_point);
    case CDB_POINT:
        return s + Pt(r.point.location) + Num(r.point.x_axis_angle);
    case CDB_CIRCLE:
        return s + Pt(r.circle.center) + Num(r.circle.radius);
    case CDB_ARC:
        return s + Pt(r.arc.center) + Num(r.arc.radius) + Num(r.arc.start_angle) +
               Num(r.arc.end_angle);
    case CDB_TRACE:
    case CDB_SOLID:
        return s + Pt(r.trace.corner_1) + Pt(r.trace.corner_2) + Pt(r.trace.corner_3) +
               Pt(r.trace.corner_4);
    case CDB_3DFACE:
        return s + Pt(r.face.corner_1) + Pt(r.face.corner_4) +
               std::to_string(r.face.invisible_edges);
    case CDB_TEXT:
        return s + Pt(r.text.insertion_point) + Num(r.text.height) + Txt(r.text.text) +
               Num(r.text.rotation);
    case CDB_SHAPE:
        return s + Pt(r.shape.insertion_point) + Num(r.shape.size) + Num(r.shape.rotation);
    case CDB_INSERT:
        return s + std::to_string(r.insert.block_index) + Pt(r.insert.insertion_point) +
               Num(r.insert.x_scale) + Num(r.insert.rotation);
    case CDB_ATTDEF:
        return s + Pt(r.attdef.insertion_point) + Txt(r.attdef.default_value) +
               Txt(r.attdef.prompt) + Txt(r.attdef.tag);
    case CDB_ATTRIB:
        return s + Pt(r.attrib.insertion_point) + Txt(r.attrib.value) + Txt(r.attrib.tag);
    case CDB_POLYLINE:
        return s + std::to_string(r.polyline.flags) + Pt(r.polyline.origin);
    case CDB_VERTEX:
        return s + Pt(r.vertex.location) + Num(r.vertex.bulge);
    case CDB_DIMENSION:
        return s + std::to_string(r.dimension.block_index) + Pt(r.dimension.definition_point) +
               Txt(r.dimension.text);
    case CDB_VIEWPORT:
        return s + Pt(r.viewport.center) + Num(r.viewport.width) +
               std::to_string(r.viewport.viewport_id);
    default:
        return s;
    }
}

// Records the description of every record it is handed.
class Recorder : public CLibDrawing {
public:
    Recorder() : CLibDrawing(1) {}
    void EntityCall(void *record) override {
        entities.push_back(Describe(*static_cast<CDB_ENTITY *>(record)));
    }
    void BlockCall(void *record) override {
        blocks.push_back(Describe(*static_cast<CDB_ENTITY *>(record)));
    }
    std::vector<std::string> entities, blocks;
};

// What list mode keeps: the main list without its sentinel, and every block's list in
// block order.
void ListMode(const std::string &path, std::vector<std::string> *entities,
              std::vector<std::string> *blocks) {
    OpenDrawing d(path);
    ASSERT_GE(d.handle, 0) << path << ": " << CDBGetErrorNumber(-123);
    int16_t count = CDBEntityCount(d.handle, -1);
    for (int i = 0; i + 1 < count; ++i) {
        CDB_ENTITY r = NewRecord();
        ASSERT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(-1, static_cast<uint16_t>(i)), &r), i);
        entities->push_back(Describe(r));
        FreeCopies(r);
    }
    int16_t n = CDBBlockTableCount(d.handle);
    for (int16_t b = 0; b < n; ++b) {
        int16_t size = CDBEntityCount(d.handle, b);
        for (int i = 0; i < size; ++i) {
            CDB_ENTITY r = NewRecord();
            ASSERT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(b, static_cast<uint16_t>(i)), &r), i);
            blocks->push_back(Describe(r));
            FreeCopies(r);
        }
    }
}

void ExpectSameRecords(const std::string &path) {
    std::vector<std::string> list_entities, list_blocks;
    ListMode(path, &list_entities, &list_blocks);
    Recorder view;
    ASSERT_EQ(view.OpenDrawing(path.c_str(), nullptr), 1) << path;
    ASSERT_EQ(view.LoadDWG(), 1);
    ASSERT_EQ(view.TriggerLoading(), 1);
    EXPECT_EQ(view.entities, list_entities) << path;
    EXPECT_EQ(view.blocks, list_blocks) << path;
}

TEST(WalkViewMode, RecordsGoToTheCallsInsteadOfTheLists) {
    std::vector<BlockDef> blocks = {
        {"B", 0, Join({BlockBegin(), Text(1, 2, 3, "IN"), Line(3, 0, 4, 0), BlockEnd()})},
        {"GONE", 0x80, {}},
        {"C", 0, Join({BlockBegin(), Circle(0, 0, 1), BlockEnd()})},
    };
    Bytes main = Join({Line(1, 0, 2, 0), Insert(0, 5, 5, 0, true), Attrib(1, 1, "V", "T"), SeqEnd(),
                       Polyline(), Vertex(1, 1), Vertex(2, 2), SeqEnd(), Viewport(1, 2, 3, 4, 2),
                       Circle(4, 0, 1)});
    Bytes bytes = BuildDrawing(main, blocks);
    std::string path = ::testing::TempDir() + "velko_walk_view_mode.dwg";
    ASSERT_TRUE(WriteFile(path, bytes));
    ExpectSameRecords(path);
    std::remove(path.c_str());
}

TEST(WalkViewMode, LoadBlockReadsOneBlockAgainForTheApplication) {
    std::vector<BlockDef> blocks = {
        {"B", 0, Join({BlockBegin(1, 2), Text(1, 2, 3, "IN"), BlockEnd()})},
        {"GONE", 0x80, {}},
        {"C", 0, Join({BlockBegin(7, 8), Circle(0, 0, 1), BlockEnd()})},
    };
    std::string path = ::testing::TempDir() + "velko_walk_load_block.dwg";
    ASSERT_TRUE(WriteFile(path, BuildDrawing(Line(0, 0, 1, 1), blocks)));
    Recorder view;
    ASSERT_EQ(view.OpenDrawing(path.c_str(), nullptr), 1);
    ASSERT_EQ(view.LoadDWG(), 1);
    ASSERT_EQ(view.TriggerLoading(), 1);
    ASSERT_EQ(view.blocks.size(), 4u); // text, end; circle, end
    view.blocks.clear();

    CDB_STARTBLOCK_ENTITY_type *c = view.LoadBlock(2);
    ASSERT_NE(c, nullptr);
    ASSERT_NE(Val(c->name), nullptr);
    EXPECT_STREQ(c->name, "C");
    EXPECT_EQ(Val(c->base_point.x), 7.0);
    ASSERT_EQ(view.blocks.size(), 2u);
    EXPECT_EQ(view.blocks[0].substr(0, 2), "3 ");
    EXPECT_EQ(view.blocks[1].substr(0, 3), "13 ");

    view.blocks.clear();
    CDB_STARTBLOCK_ENTITY_type *gone = view.LoadBlock(1);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(Val(gone->flags), 128);
    EXPECT_TRUE(view.blocks.empty());

    EXPECT_EQ(view.LoadBlock(3), nullptr);
    EXPECT_EQ(view.LoadBlock(-1), nullptr);
    std::remove(path.c_str());
}

std::vector<std::string> Dwg12Files() {
    std::vector<std::string> files;
    for (const json::Value *e : CorpusManifestEntries("dwg12/")) {
        if ((*e)["format"].as_string() == "dwg")
            files.push_back((*e)["path"].as_string());
    }
    if (files.empty())
        files.push_back("");
    return files;
}

class Dwg12WalkViewMode : public testing::TestWithParam<std::string> {};

TEST_P(Dwg12WalkViewMode, RecordsGoToTheCallsInsteadOfTheLists) {
    VELKO_REQUIRE_CORPUS();
    ASSERT_FALSE(GetParam().empty()) << "the manifest lists no release 12 DWG";
    ExpectSameRecords(CorpusPath(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dwg12WalkViewMode, testing::ValuesIn(Dwg12Files()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param.empty() ? std::string("no_corpus")
                                                       : TestNameFor(info.param);
                         });

} // namespace
} // namespace walk
} // namespace velko_test
