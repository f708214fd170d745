// Corpus tests of release 13 DXF reading: every drawing of the corpus's dxf13 folder opened
// as the library opens it, loaded, and compared with what MANIFEST.json says of it -- the
// form and release, the table counts, the blocks, and the entities of the main list and of
// the blocks, kind by kind.
//
// Where the reading gives something else by rule, the comparison says so:
//  - the block table and the block list hold neither "*MODEL_SPACE" nor "*PAPER_SPACE":
//    their records and blocks are kept apart by the drawing;
//  - the main list ends in model space's ENDBLK, and the blocks' lists hold their ENDBLK
//    but not their BLOCK, which is the block's record;
//  - a kind the reader does not know (the manifest's unknown_kinds) is passed over;
//  - a drawing the reader refuses is named below with its code and its reason.
#include "support/corpus.h"
#include "support/mini_json.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_sniff.h"
#include "io/drawing_file.h"
#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>

namespace velko_test {
namespace release13_dxf {
namespace {

// The drawings the reader refuses, with the reason.
struct Refusal {
    const char *path;
    int code; // the drawing's error code, 0 for none
    const char *reason;
};
// ixmilia_r13.dxf has an empty BLOCKS section: the ENTITIES section is read into the
// "*MODEL_SPACE" block, and with no such block the load gives up, without a code.
constexpr Refusal kRefusals[] = {
    {"dxf13/ixmilia_r13.dxf", 0, "the ENTITIES section has no *MODEL_SPACE block to go into"},
};

const Refusal *RefusalOf(const std::string &path) {
    for (const Refusal &r : kRefusals)
        if (path == r.path)
            return &r;
    return nullptr;
}

std::string PathOf(const json::Value *entry) {
    return (*entry)["path"].as_string();
}

int Count(const json::Value &object, const std::string &name) {
    return object.has(name) ? static_cast<int>(object[name].as_number()) : 0;
}

// A drawing opened and loaded the way the library's open does it.
struct Loaded {
    explicit Loaded(const std::string &path) : drawing(nullptr, 0) {
        auto file = std::make_unique<CDrawingFile>();
        if (!file->Open(path.c_str(), kDrawingFileRead))
            return;
        sniff = SniffDxf(*file);
        if (sniff.release != 13)
            return;
        opened =
            drawing.OpenDXFFrom(file, path.c_str(), sniff.form == CDxfStream::kBinary ? 1 : 0) == 1;
        if (opened)
            result = drawing.LoadDWG();
    }
    CR13Drawing drawing;
    DxfSniff sniff;
    bool opened = false;
    int result = 0;
};

// The entities of a list by kind name.
std::map<std::string, int> KindsOf(CEntityList &list) {
    std::map<std::string, int> kinds;
    for (int i = 0; i < list.Count(); ++i) {
        const CDB_ENTITY *record = list.At(i) ? list.At(i)->GetData() : nullptr;
        if (record)
            ++kinds[EntityKindName(record->entity_type)];
    }
    return kinds;
}

class Release13DxfCorpus : public ::testing::TestWithParam<std::string> {};

std::vector<std::string> Dxf13Paths() {
    std::vector<std::string> paths;
    for (const json::Value *entry : CorpusManifestEntries("dxf13/"))
        paths.push_back(PathOf(entry));
    if (paths.empty())
        paths.push_back("dxf13/none");
    return paths;
}

const json::Value *EntryOf(const std::string &path) {
    for (const json::Value *entry : CorpusManifestEntries(path))
        if (PathOf(entry) == path)
            return entry;
    return nullptr;
}

TEST_P(Release13DxfCorpus, OpensAsTheManifestSays) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = EntryOf(GetParam());
    ASSERT_NE(entry, nullptr) << "no manifest entry for " << GetParam();
    ASSERT_EQ((*entry)["version"].as_string(), "AC1012");
    Loaded loaded(CorpusPath(GetParam()));
    EXPECT_EQ(loaded.sniff.release, 13);
    const std::string form = (*entry)["form"].as_string();
    EXPECT_EQ(loaded.sniff.form, form == "binary" ? CDxfStream::kBinary : CDxfStream::kAscii);
    ASSERT_TRUE(loaded.opened);
    EXPECT_EQ(loaded.drawing.FileKind(),
              form == "binary" ? CR13Drawing::kBinaryDxf : CR13Drawing::kTextDxf);
    if (const Refusal *refusal = RefusalOf(GetParam())) {
        EXPECT_EQ(loaded.result, 0);
        EXPECT_EQ(loaded.drawing.LoadFailure(), refusal->reason);
        EXPECT_EQ(loaded.drawing.GetError(), refusal->code);
        return;
    }
    EXPECT_EQ(loaded.result, 1) << loaded.drawing.LoadFailure();
    EXPECT_STREQ(loaded.drawing.Header().vars.acadver, "AC1012");
}

TEST_P(Release13DxfCorpus, TablesAndBlocksMatchTheManifest) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = EntryOf(GetParam());
    ASSERT_NE(entry, nullptr);
    if (RefusalOf(GetParam()))
        GTEST_SKIP() << "refused; see OpensAsTheManifestSays";
    Loaded loaded(CorpusPath(GetParam()));
    ASSERT_EQ(loaded.result, 1) << loaded.drawing.LoadFailure();
    CR13Drawing &d = loaded.drawing;
    const json::Value &tables = (*entry)["tables"];
    const std::map<std::string, R13Table> names = {
        {"LAYER", R13Table::kLayers}, {"LTYPE", R13Table::kLtypes},
        {"STYLE", R13Table::kStyles}, {"VPORT", R13Table::kVports},
        {"APPID", R13Table::kAppids}, {"DIMSTYLE", R13Table::kDimstyles},
        {"UCS", R13Table::kUcs},      {"VIEW", R13Table::kViews},
    };
    for (const auto &[name, table] : names)
        EXPECT_EQ(d.Table(table).records.Count(), Count(tables, name)) << name;
    // The space records are kept apart from the block table.
    const int space_records = (d.ModelSpaceRecord() ? 1 : 0) + (d.PaperSpaceRecord() ? 1 : 0);
    EXPECT_EQ(d.Table(R13Table::kBlocks).records.Count() + space_records,
              Count(tables, "BLOCK_RECORD"));
    // So are the space blocks; the rest stay one to one with the table.
    const int space_blocks = (d.ModelSpaceBlock() ? 1 : 0) + (d.PaperSpaceBlock() ? 1 : 0);
    EXPECT_EQ(d.Blocks().Count() + space_blocks, Count(*entry, "blocks"));
    EXPECT_EQ(d.Blocks().Count(), d.Table(R13Table::kBlocks).records.Count());
}

TEST_P(Release13DxfCorpus, EntitiesMatchTheManifestKindByKind) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = EntryOf(GetParam());
    ASSERT_NE(entry, nullptr);
    if (RefusalOf(GetParam()))
        GTEST_SKIP() << "refused; see OpensAsTheManifestSays";
    Loaded loaded(CorpusPath(GetParam()));
    ASSERT_EQ(loaded.result, 1) << loaded.drawing.LoadFailure();
    CR13Drawing &d = loaded.drawing;
    const json::Value &unknown = (*entry)["unknown_kinds"];

    // The main list: the ENTITIES section, closed by model space's ENDBLK.
    std::map<std::string, int> main = KindsOf(d.Entities());
    EXPECT_EQ(main["ENDBLK"], 1);
    main.erase("ENDBLK");
    std::map<std::string, int> expected;
    const json::Value &entities = (*entry)["entities"];
    for (const auto &[kind, count] : entities.members())
        if (!unknown.has(kind))
            expected[kind] = static_cast<int>(count.as_number());
    EXPECT_EQ(main, expected);

    // The blocks: each list holds its entities and its ENDBLK; the BLOCK is the record.
    std::map<std::string, int> in_blocks;
    int ends = 0;
    for (int b = 0; b < d.Blocks().Count(); ++b)
        for (const auto &[kind, count] : KindsOf(*d.Blocks().At(b)->entities))
            (kind == "ENDBLK" ? ends : in_blocks[kind]) += count;
    for (CR13Block *space : {d.ModelSpaceBlock(), d.PaperSpaceBlock()})
        if (space && space->entities)
            for (const auto &[kind, count] : KindsOf(*space->entities))
                (kind == "ENDBLK" ? ends : in_blocks[kind]) += count;
    // Model space's ENDBLK closes the main list.
    if (d.ModelSpaceBlock())
        ++ends;
    const json::Value &block_entities = (*entry)["block_entities"];
    std::map<std::string, int> expected_blocks;
    for (const auto &[kind, count] : block_entities.members())
        if (kind != "BLOCK" && kind != "ENDBLK" && !unknown.has(kind))
            expected_blocks[kind] = static_cast<int>(count.as_number());
    EXPECT_EQ(in_blocks, expected_blocks);
    EXPECT_EQ(ends, Count(block_entities, "ENDBLK"));
}

TEST_P(Release13DxfCorpus, OpensThroughTheFlatInterfaceAsRelease13) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(GetParam());
    const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (RefusalOf(GetParam())) {
        EXPECT_LT(h, 0);
        return;
    }
    ASSERT_GE(h, 0) << "error " << CDBGetErrorNumber(h);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 13);
    // The walk of the main section hands out its closing ENDBLK as well.
    int walked = 0;
    for (int32_t id = CDBFirstEntity(h, -1); id >= 0; id = CDBNextEntity(h))
        ++walked;
    const json::Value *entry = EntryOf(GetParam());
    ASSERT_NE(entry, nullptr);
    int unknown = 0;
    const json::Value &kinds = (*entry)["unknown_kinds"];
    for (const auto &member : kinds.members())
        unknown += static_cast<int>(member.second.as_number());
    EXPECT_EQ(walked, Count(*entry, "entities_total") - unknown + 1);
    // The viewport walk meets every VIEWPORT, of the main list and of the blocks.
    int viewports = 0;
    CDB_ENTITY viewport;
    std::memset(&viewport, 0, sizeof viewport);
    for (int16_t step = CDBGetFirstViewport(h, &viewport); step == 0;
         step = CDBGetNextViewport(h, &viewport)) {
        EXPECT_EQ(viewport.entity_type, CDB_VIEWPORT);
        FreeOwnedTexts(&viewport);
        std::memset(&viewport, 0, sizeof viewport);
        ++viewports;
    }
    EXPECT_EQ(viewports, Count((*entry)["entities"], "VIEWPORT") +
                             Count((*entry)["block_entities"], "VIEWPORT"));
    EXPECT_EQ(CDBEndOperation(h), 0);
}

INSTANTIATE_TEST_SUITE_P(Dxf13, Release13DxfCorpus, ::testing::ValuesIn(Dxf13Paths()),
                         [](const ::testing::TestParamInfo<std::string> &info) {
                             return TestNameFor(info.param);
                         });

} // namespace
} // namespace release13_dxf
} // namespace velko_test
