// Corpus tests of release 12 DXF reading: every dxf12 drawing of the corpus is opened
// through the flat interface and compared with what MANIFEST.json says of it: the main
// entity list kind by kind, the blocks and their lists, the table counts.
//
// The manifest's "opens" tells only whether the version check at open accepts a drawing.
// Past that check the loader reads the tables by the rules of the release 12 reader, and
// those rules refuse a few corpus drawings that other programs wrote in a form the
// reader does not take; they are listed below with the reason, and must be refused with
// the code the reader leaves.
//
// One test instance per drawing, named after the file, so that a failure names it.
#include "records/entity_kinds.h"
#include "support/corpus.h"
#include "support/mini_json.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace velko_test {
namespace dxf12 {
namespace {

using walk::FreeCopies;
using walk::NewBlockRecord;
using walk::NewRecord;
using walk::OpenDrawing;
using walk::Val;

// CDBGetNextEntity reports the end of a list once the position reaches 32768: a list
// walk delivers at most this many entities.
constexpr int kWalkLimit = 32767;

// ---------------------------------------------------------------------------
// Parameters
// ---------------------------------------------------------------------------

struct Dxf12Case {
    std::string path; // relative to the corpus folder; empty for the stand-in
    const json::Value *entry = nullptr;
};

void PrintTo(const Dxf12Case &c, std::ostream *os) {
    *os << (c.path.empty() ? std::string("(no corpus)") : c.path);
}

std::string CaseName(const testing::TestParamInfo<Dxf12Case> &info) {
    return info.param.path.empty() ? std::string("no_corpus") : TestNameFor(info.param.path);
}

std::vector<Dxf12Case> Dxf12Cases() {
    std::vector<Dxf12Case> cases;
    for (const json::Value *e : CorpusManifestEntries("dxf12/"))
        cases.push_back({(*e)["path"].as_string(), e});
    if (cases.empty())
        cases.push_back({}); // reports the missing corpus or manifest
    return cases;
}

// Whether the version check at open accepts the drawing; an entry without "opens" does.
bool ManifestSaysOpens(const json::Value &entry) {
    const json::Value *opens = entry.find("opens");
    return !opens || opens->as_bool(true);
}

// Drawings whose version check passes and whose tables the release 12 reader refuses.
// The table reader takes the group right after the table's name as the record count,
// whatever its code, and the group after that as the first record's group 0, whose
// value must be "ENDTAB" or a record name; anything else is "Drawing File Corrupted."
// and fails the load.
struct TableRefusal {
    const char *path;
    const char *why;
};

// Drawings whose open check passes but whose load the reader refuses. A table head with a
// handle before its count, or with no count at all (Leica_Disto_S910, issue1106,
// ixmilia_r12), is read to its count or its first record and loads.
const TableRefusal kTableRefusals[] = {
    {"dxf12/bin_dxf_r12.dxf",
     "its DIMSTYLE record carries groups 140 to 178, for which a release 12 binary reader "
     "reads no value bytes: the stream loses its alignment and a group 0 made of the "
     "misread bytes ends the record with a value that is no record name"},
};

const TableRefusal *TableRefusalFor(const std::string &path) {
    for (const TableRefusal &r : kTableRefusals) {
        if (path == r.path)
            return &r;
    }
    return nullptr;
}

// What opening the drawing must give: a handle, or -123 with this code.
struct Expected {
    bool loads = false;
    int16_t code = 0;
    std::string why;
};

Expected ExpectedFor(const Dxf12Case &c) {
    Expected x;
    if (!ManifestSaysOpens(*c.entry)) {
        // The version check finds no "$ACADVER" with "AC1009" in the fifth group (or the
        // fourth of a binary file): both releases refuse it, "Invalid File.".
        x.code = CDB_ERR_INVALID_FILE;
        x.why = "the manifest says the version check refuses it";
    } else if (const TableRefusal *r = TableRefusalFor(c.path)) {
        x.code = CDB_ERR_DRAWING_CORRUPTED;
        x.why = r->why;
    } else {
        x.loads = true;
    }
    return x;
}

class Dxf12CorpusTest : public testing::TestWithParam<Dxf12Case> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        if (GetParam().entry == nullptr) {
            FAIL() << "the corpus manifest lists no dxf12 drawing: "
                   << (CorpusManifestError().empty() ? std::string("no matching entries")
                                                     : CorpusManifestError());
        }
        path_ = CorpusPath(GetParam().path);
        expected_ = ExpectedFor(GetParam());
    }

    const json::Value &entry() const { return *GetParam().entry; }
    const std::string &path() const { return path_; }
    const Expected &expected() const { return expected_; }

private:
    std::string path_;
    Expected expected_;
};

// ---------------------------------------------------------------------------
// Helpers
// ---------------------------------------------------------------------------

using Counts = std::map<std::string, int>;

Counts ManifestCounts(const json::Value &object) {
    Counts c;
    for (const json::Value::Member &m : object.members())
        c[m.first] = static_cast<int>(m.second.as_number());
    return c;
}

std::string Show(const Counts &c) {
    std::string s = "{";
    for (const auto &kv : c) {
        if (kv.second != 0)
            s += " " + kv.first + ":" + std::to_string(kv.second);
    }
    return s + " }";
}

// The kinds of one list, walked with CDBFirstEntity and CDBGetNextEntity; `end` gets the
// walk's last result.
std::vector<int> WalkList(int16_t h, int16_t block, int32_t *end) {
    std::vector<int> kinds;
    int32_t id = CDBFirstEntity(h, block);
    if (id >= 0) {
        CDB_ENTITY r = NewRecord();
        id = CDBGetCurrentEntity(h, &r);
        while (id >= 0 && kinds.size() <= static_cast<size_t>(kWalkLimit) + 1) {
            kinds.push_back(r.entity_type);
            FreeCopies(r);
            r = NewRecord();
            id = CDBGetNextEntity(h, &r);
        }
    }
    if (end)
        *end = id;
    return kinds;
}

Counts CountKinds(const std::vector<int> &kinds) {
    Counts c;
    for (int k : kinds)
        ++c[EntityKindName(k)];
    return c;
}

// ---------------------------------------------------------------------------
// Opening
// ---------------------------------------------------------------------------

TEST_P(Dxf12CorpusTest, OpensOrIsRefusedWithTheReadersCode) {
    OpenDrawing d(path());
    if (!expected().loads) {
        EXPECT_EQ(d.handle, CDB_FAIL) << expected().why;
        EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), expected().code) << expected().why;
        return;
    }
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);
    EXPECT_EQ(CDBGetAutoCADVersion(d.handle), 12);
    EXPECT_EQ(CDBGetErrorNumber(d.handle), 0);
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    ASSERT_EQ(CDBGetAllVariables(d.handle, &header), 0);
    ASSERT_NE(Val(header.acadver), nullptr);
    EXPECT_STREQ(header.acadver, "AC1009");
}

TEST_P(Dxf12CorpusTest, SniffAgreesWithTheManifest) {
    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    int16_t r = CDBGetDrawingFileInfo(path().c_str(), &info);
    if (entry()["form"].as_string() == "binary") {
        // The version of a binary file stands behind the zero byte of its sentinel, where
        // the sniff's text search does not reach.
        EXPECT_EQ(r, CDB_FAIL);
        EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
        return;
    }
    ASSERT_EQ(r, 0) << path();
    EXPECT_EQ(Val(info.file_kind), CDB_FILE_TEXT_DXF);
    EXPECT_EQ(Val(info.release), CDB_RELEASE_12);
    EXPECT_STREQ(info.version, "AC1009");
}

// ---------------------------------------------------------------------------
// Entities and blocks
// ---------------------------------------------------------------------------

TEST_P(Dxf12CorpusTest, MainListHoldsTheManifestsEntitiesAndTheEndMarker) {
    if (!expected().loads)
        GTEST_SKIP() << "refused: " << expected().why;
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    // The reader hangs a kind 13 after the last entity of the ENTITIES section.
    Counts expected = ManifestCounts(entry()["entities"]);
    ++expected["ENDBLK"];
    int total = 0;
    for (const auto &kv : expected)
        total += kv.second;

    int32_t end = 0;
    std::vector<int> kinds = WalkList(d.handle, -1, &end);
    EXPECT_EQ(CDBEntityCount(d.handle, -1), total);
    if (total > kWalkLimit) {
        // Only the first 32767 entities are reachable by the walk.
        EXPECT_EQ(static_cast<int>(kinds.size()), kWalkLimit);
        return;
    }
    EXPECT_EQ(end, CDB_END_OF_WALK);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(kinds.back(), CDB_ENDBLK) << "the main list ends with the end marker";
    EXPECT_EQ(Show(CountKinds(kinds)), Show(expected)) << path();
    EXPECT_EQ(static_cast<int>(kinds.size()), total);
}

TEST_P(Dxf12CorpusTest, BlocksHoldTheManifestsBlockEntities) {
    if (!expected().loads)
        GTEST_SKIP() << "refused: " << expected().why;
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    // A block's start is its record; its list holds the entities and the closing kind 13.
    Counts found;
    int blocks = 0;
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    int16_t status = CDBGetFirstBlock(d.handle, &b);
    for (int16_t index = 0; status >= 0 && index < 32767; ++index) {
        EXPECT_EQ(status, 0) << "block " << index << " reads as deleted";
        ++blocks;
        ++found["BLOCK"];
        int32_t end = 0;
        std::vector<int> kinds = WalkList(d.handle, index, &end);
        const int16_t count = CDBEntityCount(d.handle, index);
        EXPECT_EQ(static_cast<int>(count), static_cast<int>(kinds.size())) << "block " << index;
        if (kinds.size() < static_cast<size_t>(kWalkLimit)) {
            EXPECT_EQ(end, CDB_END_OF_WALK) << "block " << index;
            ASSERT_FALSE(kinds.empty()) << "block " << index << " has no list";
            EXPECT_EQ(kinds.back(), CDB_ENDBLK) << "block " << index << " ends otherwise";
        }
        for (int k : kinds)
            ++found[EntityKindName(k)];
        FreeCopies(b);
        b = NewBlockRecord();
        status = CDBGetNextBlock(d.handle, &b);
    }
    FreeCopies(b);
    EXPECT_EQ(status, CDB_END_OF_BLOCKS);
    EXPECT_EQ(blocks, static_cast<int>(entry()["blocks"].as_number(-1)));
    EXPECT_EQ(CDBBlockTableCount(d.handle), static_cast<int>(entry()["blocks"].as_number(-1)));
    EXPECT_EQ(Show(found), Show(ManifestCounts(entry()["block_entities"]))) << path();
}

TEST_P(Dxf12CorpusTest, TableCountsMatchTheManifest) {
    if (!expected().loads)
        GTEST_SKIP() << "refused: " << expected().why;
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    const json::Value &tables = entry()["tables"];
    ASSERT_TRUE(tables.is_object()) << "no \"tables\" in the manifest entry";
    struct CountCheck {
        const char *table;
        int16_t (*count)(int16_t);
    };
    // Each record of the file becomes one record, and the viewport table is what the file
    // holds: the made-up "*ACTIVE" of an empty table belongs to DWG loading. BLOCK_RECORD
    // is no release 12 table: the tables reader passes over its name and its records.
    const CountCheck checks[] = {
        {"LAYER", CDBLayerTableCount},       {"LTYPE", CDBLineTypeTableCount},
        {"STYLE", CDBStyleTableCount},       {"VIEW", CDBViewTableCount},
        {"UCS", CDBUCSTableCount},           {"APPID", CDBAppidTableCount},
        {"DIMSTYLE", CDBDimStyleTableCount}, {"VPORT", CDBVportTableCount},
    };
    for (const CountCheck &c : checks) {
        const json::Value *t = tables.find(c.table);
        if (!t) {
            ADD_FAILURE() << "the manifest entry has no table " << c.table;
            continue;
        }
        EXPECT_EQ(c.count(d.handle), static_cast<int>(t->as_number(-1))) << "table " << c.table;
    }
    // Release 12 has no multiline styles.
    EXPECT_EQ(CDBMLineStyleTableCount(d.handle), CDB_FAIL);
}

TEST_P(Dxf12CorpusTest, NavigateReachesTheEnd) {
    if (!expected().loads)
        GTEST_SKIP() << "refused: " << expected().why;
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);
    ASSERT_GE(CDBFirstEntity(d.handle, -1), 0);
    int16_t result = 0;
    for (int calls = 0; calls < 1000000; ++calls) {
        CDB_ENTITY r = NewRecord();
        result = CDBNavigate(d.handle, &r);
        FreeCopies(r);
        if (result < 0)
            break;
    }
    EXPECT_EQ(result, CDB_END_OF_WALK);
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf12CorpusTest, testing::ValuesIn(Dxf12Cases()), CaseName);

// The list of refusals names drawings that exist in the manifest and pass the version
// check, so that it cannot go stale unnoticed.
TEST(Dxf12CorpusRefusals, NameDrawingsThatPassTheVersionCheck) {
    VELKO_REQUIRE_CORPUS();
    for (const TableRefusal &r : kTableRefusals) {
        bool listed = false;
        for (const json::Value *e : CorpusManifestEntries("dxf12/")) {
            if ((*e)["path"].as_string() == r.path) {
                listed = true;
                EXPECT_TRUE(ManifestSaysOpens(*e)) << r.path;
            }
        }
        EXPECT_TRUE(listed) << r.path << " is not in the manifest";
    }
}

} // namespace
} // namespace dxf12
} // namespace velko_test
