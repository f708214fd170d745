// External references of release 12 drawings: drawings made here with the library's own
// writer, a host whose blocks name them, and what resolving does to the host's tables,
// the block's base point and its entity list.
#include "edit/edit_support.h"
#include "views/xref_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <algorithm>
#include <string>

namespace velko_test {
namespace {

namespace fs = std::filesystem;

constexpr int16_t kXrefFlag = kXrefBlockFlag;

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
        ASSERT_NO_FATAL_FAILURE(AddReferenceBlocks(h, paths, false));
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
    walk::FreeCopies(block);

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

// ---- A host with references in three places ------------------------------------------

// What a walk shows of one entity: its kind, the names its layer and style indices stand
// for, and its line type index as it stands (a child's BYLAYER -1 receives the base too).
struct Seen {
    int kind;
    std::string layer, style;
    int ltype;
    bool operator==(const Seen &o) const {
        return kind == o.kind && layer == o.layer && style == o.style && ltype == o.ltype;
    }
};

std::ostream &operator<<(std::ostream &out, const Seen &s) {
    return out << s.kind << " " << s.layer << "/" << s.style << "/" << s.ltype;
}

Seen See(int16_t h, const CDB_ENTITY &r) {
    Seen seen{r.entity_type, "", "", r.line_type_index};
    CDB_LAYER_TBL_type layer;
    if (CDBLayerTableGet(h, r.layer_index, &layer) == 0 && layer.name)
        seen.layer = layer.name;
    CDB_STYLE_TBL_type style;
    if (r.entity_type == CDB_TEXT && CDBStyleTableGet(h, r.text.style_index, &style) == 0 &&
        style.name)
        seen.style = style.name;
    return seen;
}

std::string LtypeName(int16_t h, int index) {
    CDB_LTYPE_TBL_type ltype;
    if (CDBLineTypeTableGet(h, static_cast<int16_t>(index), &ltype) == 0 && ltype.name)
        return ltype.name;
    return "";
}

// A child's walk as its host sees it: line type indices shifted by the host's base.
std::vector<Seen> Shifted(std::vector<Seen> seen, int ltype_base) {
    for (Seen &s : seen)
        if (s.ltype != -2)
            s.ltype += ltype_base;
    return seen;
}

// The entities of a list, from its first position to its end, as names.
std::vector<Seen> SeeList(int16_t h, int16_t block) {
    std::vector<Seen> seen;
    const int16_t count = CDBEntityCount(h, block);
    for (int16_t i = 0; i < count; ++i) {
        CDB_ENTITY r = walk::NewRecord();
        if (CDBGetEntity(h, CDBPackEntityId(block, i), &r) < 0)
            break;
        if (r.entity_type != CDB_ENDBLK && r.entity_type != CDB_SEQEND)
            seen.push_back(See(h, r));
        walk::FreeCopies(r);
    }
    return seen;
}

struct TableCounts {
    int16_t counts[9];
    bool operator==(const TableCounts &o) const {
        return std::equal(std::begin(counts), std::end(counts), std::begin(o.counts));
    }
};

TableCounts CountTables(int16_t h) {
    return {{CDBBlockTableCount(h), CDBLayerTableCount(h), CDBLineTypeTableCount(h),
             CDBStyleTableCount(h), CDBVportTableCount(h), CDBViewTableCount(h),
             CDBUCSTableCount(h), CDBAppidTableCount(h), CDBDimStyleTableCount(h)}};
}

TableCounts operator+(const TableCounts &a, const TableCounts &b) {
    TableCounts sum{};
    for (int i = 0; i < 9; ++i)
        sum.counts[i] = static_cast<int16_t>(a.counts[i] + b.counts[i]);
    return sum;
}

std::ostream &operator<<(std::ostream &out, const TableCounts &c) {
    for (int16_t n : c.counts)
        out << n << " ";
    return out;
}

class XrefHost : public Xref {
protected:
    // A child whose names all carry `prefix`: a layer, a line type and a text style of its
    // own, a line on the layer with the line type, a text in the style, and an insert of
    // its block "A".
    void MakeRichChild(const std::string &path, const std::string &prefix) {
        walk::OpenDrawing source("xref_rich_source.dwg", edit::FiveEntityDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        std::string layer_name = prefix + "WALLS", ltype_name = prefix + "DASHED",
                    style_name = prefix + "NOTES";
        CDB_LAYER_TBL_type layer;
        ASSERT_EQ(CDBLayerTableDefault(&layer), 0);
        layer.name = layer_name.data();
        const int16_t layer_index = CDBLayerTableAdd(h, &layer);
        ASSERT_GE(layer_index, 1);
        CDB_LTYPE_TBL_type ltype;
        ASSERT_EQ(CDBLineTypeTableDefault(&ltype), 0);
        ltype.name = ltype_name.data();
        const int16_t ltype_index = CDBLineTypeTableAdd(h, &ltype);
        std::free(ltype.description); // the default's own blocks; the table took copies
        std::free(ltype.dashes);
        ASSERT_GE(ltype_index, 1);
        CDB_STYLE_TBL_type style;
        ASSERT_EQ(CDBStyleTableDefault(&style), 0);
        style.name = style_name.data();
        const int16_t style_index = CDBStyleTableAdd(h, &style);
        std::free(style.font_file);
        std::free(style.bigfont_file);
        ASSERT_GE(style_index, 1);

        CDB_ENTITY line;
        ASSERT_EQ(CDBEntityDefault(h, &line, CDB_LINE), 0);
        line.layer_index = layer_index;
        line.line_type_index = ltype_index;
        line.line.start_point.x = 42;
        ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
        CDB_ENTITY text;
        ASSERT_EQ(CDBEntityDefault(h, &text, CDB_TEXT), 0);
        char words[] = "NOTE";
        text.text.text = words;
        text.text.style_index = style_index;
        text.layer_index = layer_index;
        ASSERT_GE(CDBEntityAdd(h, -1, &text), 0);
        CDB_ENTITY insert;
        ASSERT_EQ(CDBEntityDefault(h, &insert, CDB_INSERT), 0);
        insert.insert.block_index = CDBBlockTableFind(h, "A");
        ASSERT_GE(insert.insert.block_index, 0);
        ASSERT_GE(CDBEntityAdd(h, -1, &insert), 0);
        fs::create_directories(fs::path(path).parent_path());
        ASSERT_EQ(CDBSaveAsDWG(h, path.c_str()), 0);
    }

    // The child as it reads on its own: table counts and model space.
    void ReadChild(const std::string &path, TableCounts *counts, std::vector<Seen> *model) {
        const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
        ASSERT_GE(h, 0);
        *counts = CountTables(h);
        *model = SeeList(h, -1);
        CDBEndOperation(h);
    }
};

TEST_F(XrefHost, ResolveAllMergesTheFoundReferencesAndNavigateWalksThem) {
    // One child beside the host under another folder's name, one under the stored path
    // (in another case, with "\" separators), and one missing.
    MakeRichChild(At("beside.dwg"), "B_");
    MakeRichChild(At("lib/under.dwg"), "U_");
    TableCounts beside_counts, under_counts;
    std::vector<Seen> beside_model, under_model;
    ReadChild(At("beside.dwg"), &beside_counts, &beside_model);
    ReadChild(At("lib/under.dwg"), &under_counts, &under_model);
    ASSERT_EQ(beside_model.size(), 8u);

    const std::string under_stored = dir.string() + "\\LIB\\UNDER";
    {
        walk::OpenDrawing source("xref_navhost_source.dwg", edit::EditDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        const std::vector<std::pair<std::string, std::string>> refs = {
            {"REF0", "C:\\far\\away\\Beside"}, {"REF1", under_stored}, {"REF2", "missing"}};
        for (const auto &ref : refs) {
            CDB_STARTBLOCK_ENTITY_type block;
            ASSERT_EQ(CDBBlockDefault(h, &block), 0);
            std::string name = ref.first, path = ref.second;
            block.name = name.data();
            block.xref_path = path.data();
            block.flags = kXrefFlag;
            ASSERT_GE(CDBBlockAdd(h, &block), 0);
        }
        CDB_ENTITY insert;
        ASSERT_EQ(CDBEntityDefault(h, &insert, CDB_INSERT), 0);
        insert.insert.block_index = CDBBlockTableFind(h, "REF0");
        insert.insert.insertion_point = {100, 0, 0};
        ASSERT_GE(CDBEntityAdd(h, -1, &insert), 0);
        ASSERT_EQ(CDBSaveAsDWG(h, At("host.dwg").c_str()), 0);
    }
    host = CDBStartFileReading(At("host.dwg").c_str(), nullptr);
    ASSERT_GE(host, 0);
    const TableCounts before = CountTables(host);

    ASSERT_EQ(CDBResolveAllXREF(host), 0);
    EXPECT_EQ(CountTables(host), before + beside_counts + under_counts)
        << "every table grows by the found children's counts";
    const int beside_ltypes = before.counts[2];
    const int under_ltypes = beside_ltypes + beside_counts.counts[2];
    EXPECT_EQ(SeeList(host, Ref(0)), Shifted(beside_model, beside_ltypes))
        << "each entity names the layer and style it had in the child";
    EXPECT_EQ(SeeList(host, Ref(1)), Shifted(under_model, under_ltypes));
    EXPECT_EQ(CDBEntityCount(host, Ref(2)), 1) << "the missing one keeps its closing entity";

    // The child's insert of its block "A" finds that block among the host's blocks.
    CDB_ENTITY insert = walk::NewRecord();
    ASSERT_GE(CDBGetEntity(host, CDBPackEntityId(Ref(0), 7), &insert), 0);
    ASSERT_EQ(+insert.entity_type, CDB_INSERT);
    CDB_BLOCK_TBL block_a;
    ASSERT_EQ(CDBBlockTableGet(host, insert.insert.block_index, &block_a), 0);
    EXPECT_STREQ(+block_a.name, "A");
    EXPECT_GE(insert.insert.block_index, before.counts[0]);

    // The display walk shows the host's insert as the child's model space, and the child's
    // insert as the child's block "A" (its line).
    std::vector<Seen> walked;
    for (int i = 0; i < 100; ++i) {
        CDB_ENTITY r = walk::NewRecord();
        if (CDBNavigate(host, &r) < 0)
            break;
        walked.push_back(See(host, r));
        walk::FreeCopies(r);
    }
    std::vector<int> kinds;
    for (const Seen &s : walked)
        kinds.push_back(s.kind);

    const std::vector<int> expected = {CDB_LINE, CDB_LINE, CDB_LINE, CDB_CIRCLE,
                                       CDB_TEXT, CDB_LINE, CDB_TEXT, CDB_LINE};
    ASSERT_EQ(kinds, expected);
    EXPECT_EQ(walked[5].layer, "B_WALLS");
    EXPECT_EQ(LtypeName(host, walked[5].ltype), "B_DASHED");
    EXPECT_EQ(walked[6].style, "B_NOTES");
}

TEST_F(XrefHost, PathWithoutSeparatorIsFoundInTheProcessDirectoryFirst) {
    MakeRichChild(At("cwd/here.dwg"), "C_");
    MakeRichChild(At("here.dwg"), "H_");
    MakeHost("host.dwg", {"here"});
    const fs::path previous = fs::current_path();
    fs::current_path(dir / "cwd");
    const int16_t result = CDBResolveXREF(host, Ref(0));
    fs::current_path(previous);
    ASSERT_EQ(result, 0);
    EXPECT_GE(CDBLayerTableFind(host, "C_WALLS"), 0) << "the process's directory comes first";
    EXPECT_EQ(CDBLayerTableFind(host, "H_WALLS"), CDB_FAIL);
}

TEST_F(XrefHost, HostSavedAfterResolvingKeepsTheChildsEntitiesWithTheirNames) {
    MakeRichChild(At("child.dwg"), "K_");
    MakeHost("host.dwg", {"child"});
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    const std::vector<Seen> resolved = SeeList(host, Ref(0));
    const TableCounts counts = CountTables(host);
    ASSERT_EQ(CDBSaveAsDWG(host, At("saved.dwg").c_str()), 0);
    ASSERT_EQ(CDBSaveAsDXF(host, At("saved.dxf").c_str(), 0), 0);
    for (const char *name : {"saved.dwg", "saved.dxf"}) {
        const int16_t h = CDBStartFileReading(At(name).c_str(), nullptr);
        ASSERT_GE(h, 0) << name;
        const int16_t ref = CDBBlockTableFind(h, "REF0");
        ASSERT_GE(ref, 0);
        char path[256] = {};
        EXPECT_EQ(CDBGetXREFPath(h, ref, path), 0) << name << ": still a reference";
        EXPECT_STREQ(path, "child");
        EXPECT_EQ(CountTables(h), counts) << name;
        EXPECT_EQ(SeeList(h, ref), resolved) << name;
        CDBEndOperation(h);
    }
}

TEST_F(XrefHost, AFullDeleteListRefusesAFurtherChild) {
    {
        walk::OpenDrawing source("xref_tiny_source.dwg", edit::EditDrawing());
        ASSERT_GE(source.handle, 0);
        ASSERT_EQ(CDBSaveAsDWG(source.handle, At("tiny.dwg").c_str()), 0);
    }
    MakeHost("host.dwg", {"tiny"});
    // Each resolve makes another child, kept until the drawing ends.
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0) << i;
    const TableCounts counts = CountTables(host);
    EXPECT_EQ(CDBResolveXREF(host, Ref(0)), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(host), CDB_ERR_OPENING_FILE);
    EXPECT_EQ(CountTables(host), counts) << "nothing merged";
    EXPECT_EQ(CDBEntityCount(host, Ref(0)), 1) << "the last child's entities stay";
}

TEST_F(XrefHost, ChildsByblockLineTypeStaysAndItsBylayerReceivesTheBase) {
    {
        walk::OpenDrawing source("xref_ltype_source.dwg", edit::EditDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        for (int16_t ltype : {-2, -1}) {
            CDB_ENTITY line;
            ASSERT_EQ(CDBEntityDefault(h, &line, CDB_LINE), 0);
            line.line_type_index = ltype;
            ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
        }
        ASSERT_EQ(CDBSaveAsDWG(h, At("child.dwg").c_str()), 0);
    }
    MakeHost("host.dwg", {"child"});
    const int16_t ltypes = CDBLineTypeTableCount(host);
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    CDB_ENTITY r = walk::NewRecord();
    ASSERT_GE(CDBGetEntity(host, CDBPackEntityId(Ref(0), 0), &r), 0);
    EXPECT_EQ(+r.line_type_index, -2) << "BYBLOCK is kept as it is";
    ASSERT_GE(CDBGetEntity(host, CDBPackEntityId(Ref(0), 1), &r), 0);
    EXPECT_EQ(+r.line_type_index, ltypes - 1) << "BYLAYER -1 plus the base, like any index";
}

TEST_F(XrefHost, HostReadFromDxfResolvesItsReferencesToo) {
    MakeRichChild(At("child.dwg"), "D_");
    MakeHost("host.dwg", {"child"});
    ASSERT_EQ(CDBSaveAsDXF(host, At("host.dxf").c_str(), 0), 0);
    CDBEndOperation(host);
    host = CDBStartFileReading(At("host.dxf").c_str(), nullptr);
    ASSERT_GE(host, 0);
    const int16_t layers = CDBLayerTableCount(host);
    ASSERT_EQ(CDBResolveXREF(host, Ref(0)), 0);
    EXPECT_GT(CDBLayerTableCount(host), layers);
    const std::vector<Seen> seen = SeeList(host, Ref(0));
    ASSERT_EQ(seen.size(), 8u);
    EXPECT_EQ(seen[5].layer, "D_WALLS");
    EXPECT_EQ(seen[6].style, "D_NOTES");
}

// ---- View mode ---------------------------------------------------------------------------

// A viewer: records the kinds it is handed, and loads the block of every insert it meets
// inside a block, as a display would.
class Viewer : public CLibDrawing {
public:
    Viewer() : CLibDrawing(1) {}
    void EntityCall(void *record) override {
        entities.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    void BlockCall(void *record) override {
        const CDB_ENTITY &r = *static_cast<CDB_ENTITY *>(record);
        blocks.push_back(r.entity_type);
        if (r.entity_type == CDB_LINE)
            line_x.push_back(r.line.start_point.x);
        if (r.entity_type == CDB_INSERT && follow_inserts) {
            CDB_STARTBLOCK_ENTITY_type *block = LoadBlock(r.insert.block_index);
            loaded.push_back(block && block->name ? block->name : "(none)");
        }
    }
    int BlockIndex(const char *name) {
        CBaseDrawing *d = Drawing();
        for (int i = 0; i < d->GetBlockTableCount(); ++i) {
            CDB_BLOCK_TBL *t = d->GetBlockTable(i);
            if (t && t->name && std::strcmp(t->name, name) == 0)
                return i;
        }
        return -1;
    }
    bool follow_inserts = true;
    std::vector<int> entities, blocks;
    std::vector<double> line_x;
    std::vector<std::string> loaded;
};

class XrefViewer : public XrefHost {
protected:
    // The host, closed on the flat side, opened again in `viewer`; its block "REF0".
    void ShowHost(Viewer &viewer, int *ref) {
        CDBEndOperation(host);
        host = -1;
        ASSERT_EQ(viewer.OpenDrawing(At("host.dwg").c_str(), nullptr), 1);
        ASSERT_EQ(viewer.LoadDWG(), 1);
        *ref = viewer.BlockIndex("REF0");
        ASSERT_GE(*ref, 0);
    }
};

TEST_F(XrefViewer, LoadBlockHandsTheChildsModelSpaceToBlockCall) {
    MakeRichChild(At("child.dwg"), "V_");
    MakeHost("host.dwg", {"child"});
    Viewer viewer;
    int ref = -1;
    ASSERT_NO_FATAL_FAILURE(ShowHost(viewer, &ref));
    const int layers = viewer.Drawing()->GetLayerTableCount();
    const int blocks = viewer.Drawing()->GetBlockTableCount();

    CDB_STARTBLOCK_ENTITY_type *record = viewer.LoadBlock(ref);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(+record->base_point.x, 0.0) << "INSBASE of the child (the default)";
    EXPECT_TRUE(viewer.entities.empty()) << "the child's entities belong to the block";
    // Five entities, the line, the text, the insert, and through it block "A"'s line and
    // its closing entity.
    const std::vector<int> expected = {CDB_LINE, CDB_LINE, CDB_LINE,   CDB_CIRCLE, CDB_TEXT,
                                       CDB_LINE, CDB_TEXT, CDB_INSERT, CDB_LINE,   CDB_ENDBLK};
    EXPECT_EQ(viewer.blocks, expected);
    ASSERT_EQ(viewer.loaded.size(), 1u);
    EXPECT_EQ(viewer.loaded[0], "A") << "the child's block, loaded through the child";
    EXPECT_GT(viewer.Drawing()->GetLayerTableCount(), layers) << "the tables were merged";
    EXPECT_GT(viewer.Drawing()->GetBlockTableCount(), blocks);
    // Once shown, the child is gone: its blocks are no longer reachable through it.
    EXPECT_EQ(viewer.LoadBlock(viewer.Drawing()->GetBlockTableCount() + 5), nullptr);
}

TEST_F(XrefViewer, ReferenceThatIsMissingGivesTheBlockAlone) {
    MakeHost("host.dwg", {"missing"});
    Viewer viewer;
    int ref = -1;
    ASSERT_NO_FATAL_FAILURE(ShowHost(viewer, &ref));
    CDB_STARTBLOCK_ENTITY_type *record = viewer.LoadBlock(ref);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->xref_path, "missing");
    EXPECT_TRUE(viewer.blocks.empty());
}

} // namespace
} // namespace velko_test
