// Corpus tests of release 12 reading, one parametrized suite for both file forms: every
// release 12 DWG and every release 12 DXF (ASCII and binary) of the corpus is opened through
// the flat interface and compared with what MANIFEST.json says of it: the sniff, the open,
// the main entity list kind by kind, the blocks and their lists, the table counts, and a
// display walk to its end.
//
// Where a drawing passes the version check but its reader refuses it, the refusal and its
// code come from the manifest too, never from a list of file names: a binary DXF whose
// manifest entry lists group codes for which the release 12 binary code table gives no value
// type (`codes_without_r12_binary_type`) goes out of step at the first such group, and its
// load ends with "Drawing File Corrupted.".
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
namespace release12 {
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

struct Release12Case {
    std::string path; // relative to the corpus folder; empty for the stand-in
    const json::Value *entry = nullptr;
};

void PrintTo(const Release12Case &c, std::ostream *os) {
    *os << (c.path.empty() ? std::string("(no corpus)") : c.path);
}

std::string CaseName(const testing::TestParamInfo<Release12Case> &info) {
    return info.param.path.empty() ? std::string("no_corpus") : TestNameFor(info.param.path);
}

// The release 12 DWG drawings and the release 12 DXF drawings of the manifest.
std::vector<Release12Case> Release12Cases() {
    std::vector<Release12Case> cases;
    for (const char *folder : {"dwg12/", "dxf12/"}) {
        for (const json::Value *e : CorpusManifestEntries(folder)) {
            const std::string &format = (*e)["format"].as_string();
            if (format == "dwg" || format == "dxf")
                cases.push_back({(*e)["path"].as_string(), e});
        }
    }
    if (cases.empty())
        cases.push_back({}); // reports the missing corpus or manifest
    return cases;
}

bool IsDwg(const json::Value &entry) {
    return entry["format"].as_string() == "dwg";
}

bool IsBinaryDxf(const json::Value &entry) {
    return !IsDwg(entry) && entry["form"].as_string() == "binary";
}

// Whether the version check at open accepts the drawing; an entry without "opens" does.
bool ManifestSaysOpens(const json::Value &entry) {
    const json::Value *opens = entry.find("opens");
    return !opens || opens->as_bool(true);
}

// Whether the manifest lists group codes of a binary DXF that the release 12 binary code
// table gives no value type.
bool HasCodesWithoutBinaryType(const json::Value &entry) {
    const json::Value *codes = entry.find("codes_without_r12_binary_type");
    return codes && codes->size() > 0;
}

// What opening the drawing must give: a handle, or -123 with a code.
struct Expected {
    bool loads = false;
    // The code of a refusal; 0 where the manifest says only that the drawing is refused.
    int16_t code = 0;
    std::string why;
};

Expected ExpectedFor(const json::Value &entry) {
    Expected x;
    if (!ManifestSaysOpens(entry)) {
        x.why = "the manifest says the version check refuses it";
        // A DXF without "$ACADVER" "AC1009" where the check looks is refused by both
        // releases with "Invalid File.".
        if (!IsDwg(entry))
            x.code = CDB_ERR_INVALID_FILE;
    } else if (IsBinaryDxf(entry) && HasCodesWithoutBinaryType(entry)) {
        x.code = CDB_ERR_DRAWING_CORRUPTED;
        x.why = "it carries group codes for which a release 12 binary reader reads no value "
                "bytes: the stream loses its alignment and a group 0 made of the misread bytes "
                "ends a table record with a value that is no record name";
    } else {
        x.loads = true;
    }
    return x;
}

class Release12CorpusTest : public testing::TestWithParam<Release12Case> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        if (GetParam().entry == nullptr) {
            FAIL() << "the corpus manifest lists no release 12 drawing: "
                   << (CorpusManifestError().empty() ? std::string("no matching entries")
                                                     : CorpusManifestError());
        }
        path_ = CorpusPath(GetParam().path);
        expected_ = ExpectedFor(entry());
    }

    const json::Value &entry() const { return *GetParam().entry; }
    const std::string &path() const { return path_; }
    const Expected &expected() const { return expected_; }

private:
    std::string path_;
    Expected expected_;
};

// Skips a test of the loaded drawing for a drawing that the reader refuses.
#define SKIP_IF_REFUSED()                                                                          \
    do {                                                                                           \
        if (!expected().loads)                                                                     \
            GTEST_SKIP() << "refused: " << expected().why;                                         \
    } while (0)

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

// A table's count as the manifest gives it: a number for a DXF, and for a DWG an object
// whose "count" includes the deleted records and whose "deleted" counts them.
int ManifestTableCount(const json::Value &table) {
    return static_cast<int>(table.is_object() ? table["count"].as_number(-1) : table.as_number(-1));
}

int ManifestDeletedCount(const json::Value &table) {
    return static_cast<int>(table.is_object() ? table["deleted"].as_number(0) : 0);
}

// ---------------------------------------------------------------------------
// The sniff and the open
// ---------------------------------------------------------------------------

TEST_P(Release12CorpusTest, FileInfoAgreesWithTheManifest) {
    CDB_FILE_INFO info;
    std::memset(&info, 0x55, sizeof info);
    int16_t r = CDBGetDrawingFileInfo(path().c_str(), &info);
    if (IsBinaryDxf(entry())) {
        // The version of a binary file stands behind the zero byte of its sentinel, where
        // the sniff's text search does not reach.
        EXPECT_EQ(r, CDB_FAIL);
        EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
        return;
    }
    ASSERT_EQ(r, 0) << path();
    EXPECT_EQ(Val(info.file_kind), IsDwg(entry()) ? CDB_FILE_DWG : CDB_FILE_TEXT_DXF);
    EXPECT_EQ(Val(info.release), CDB_RELEASE_12);
    EXPECT_STREQ(info.version, "AC1009");
}

TEST_P(Release12CorpusTest, OpensOrIsRefusedWithTheReadersCode) {
    OpenDrawing d(path());
    if (!expected().loads) {
        EXPECT_EQ(d.handle, CDB_FAIL) << expected().why;
        if (expected().code != 0) {
            EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), expected().code) << expected().why;
        } else {
            EXPECT_NE(CDBGetErrorNumber(CDB_FAIL), 0) << expected().why;
        }
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
    EXPECT_EQ(CDBEndOperation(d.handle), 0);
    d.handle = CDB_FAIL;
}

// ---------------------------------------------------------------------------
// Entities and blocks
// ---------------------------------------------------------------------------

TEST_P(Release12CorpusTest, MainListHoldsTheManifestsEntitiesAndTheEndMarker) {
    SKIP_IF_REFUSED();
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    // The reader hangs a kind 13 after the last entity of the main section.
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

TEST_P(Release12CorpusTest, BlocksHoldTheManifestsBlockEntities) {
    SKIP_IF_REFUSED();
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    // A block's start is its record; its list holds the entities and the closing kind 13.
    // A DWG keeps deleted block records in its table (status 1 here); a DXF has none.
    Counts found;
    int blocks = 0;
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    int16_t status = CDBGetFirstBlock(d.handle, &b);
    for (int16_t index = 0; status >= 0 && index < 32767; ++index) {
        if (!IsDwg(entry())) {
            EXPECT_EQ(status, 0) << "block " << index << " reads as deleted";
        }
        if (status == 0) {
            ++blocks;
            ++found["BLOCK"];
            int32_t end = 0;
            std::vector<int> kinds = WalkList(d.handle, index, &end);
            EXPECT_EQ(static_cast<int>(CDBEntityCount(d.handle, index)),
                      static_cast<int>(kinds.size()))
                << "block " << index;
            if (kinds.size() < static_cast<size_t>(kWalkLimit)) {
                EXPECT_EQ(end, CDB_END_OF_WALK) << "block " << index;
                ASSERT_FALSE(kinds.empty()) << "block " << index << " has no list";
                EXPECT_EQ(kinds.back(), CDB_ENDBLK) << "block " << index << " ends otherwise";
            }
            for (int k : kinds)
                ++found[EntityKindName(k)];
        }
        FreeCopies(b);
        b = NewBlockRecord();
        status = CDBGetNextBlock(d.handle, &b);
    }
    FreeCopies(b);
    EXPECT_EQ(status, CDB_END_OF_BLOCKS);
    EXPECT_EQ(blocks, static_cast<int>(entry()["blocks"].as_number(-1)));
    EXPECT_EQ(Show(found), Show(ManifestCounts(entry()["block_entities"]))) << path();
}

TEST_P(Release12CorpusTest, TableCountsMatchTheManifest) {
    SKIP_IF_REFUSED();
    OpenDrawing d(path());
    ASSERT_GE(d.handle, 0) << path() << ": error " << CDBGetErrorNumber(CDB_FAIL);

    const json::Value &tables = entry()["tables"];
    ASSERT_TRUE(tables.is_object()) << "no \"tables\" in the manifest entry";
    struct CountCheck {
        const char *table;
        int16_t (*count)(int16_t);
    };
    // Each record of the file becomes one record; a DWG keeps its deleted records. The
    // block table of a DXF is checked against the blocks of its BLOCKS section, since
    // BLOCK_RECORD is no release 12 table.
    const CountCheck checks[] = {
        {"LAYER", CDBLayerTableCount},       {"LTYPE", CDBLineTypeTableCount},
        {"STYLE", CDBStyleTableCount},       {"VIEW", CDBViewTableCount},
        {"UCS", CDBUCSTableCount},           {"APPID", CDBAppidTableCount},
        {"DIMSTYLE", CDBDimStyleTableCount}, {"BLOCK", CDBBlockTableCount},
    };
    for (const CountCheck &c : checks) {
        const json::Value *t = tables.find(c.table);
        if (std::strcmp(c.table, "BLOCK") == 0 && !IsDwg(entry())) {
            EXPECT_EQ(c.count(d.handle), static_cast<int>(entry()["blocks"].as_number(-1)))
                << "table BLOCK";
            continue;
        }
        if (!t) {
            ADD_FAILURE() << "the manifest entry has no table " << c.table;
            continue;
        }
        EXPECT_EQ(c.count(d.handle), ManifestTableCount(*t)) << "table " << c.table;
    }

    // A DXF's viewport table is what the file holds. A DWG's drops its deleted records, and
    // an empty one reads as the single record "*ACTIVE" built from the header.
    const json::Value *vport = tables.find("VPORT");
    if (!vport) {
        ADD_FAILURE() << "the manifest entry has no table VPORT";
    } else if (IsDwg(entry())) {
        int expected = ManifestTableCount(*vport) - ManifestDeletedCount(*vport);
        EXPECT_EQ(CDBVportTableCount(d.handle), expected == 0 ? 1 : expected) << "table VPORT";
    } else {
        EXPECT_EQ(CDBVportTableCount(d.handle), ManifestTableCount(*vport)) << "table VPORT";
    }

    // Release 12 has no multiline styles.
    EXPECT_EQ(CDBMLineStyleTableCount(d.handle), CDB_FAIL);
}

TEST_P(Release12CorpusTest, NavigateReachesTheEnd) {
    SKIP_IF_REFUSED();
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

INSTANTIATE_TEST_SUITE_P(Corpus, Release12CorpusTest, testing::ValuesIn(Release12Cases()),
                         CaseName);

// The refusals that the manifest foretells are refusals of drawings that pass the version
// check, and the corpus holds at least one, so that the rule cannot go untested unnoticed.
TEST(Release12CorpusRefusals, ManifestNamesBinaryDrawingsThatPassTheVersionCheck) {
    VELKO_REQUIRE_CORPUS();
    int refusals = 0;
    for (const json::Value *e : CorpusManifestEntries("dxf12/")) {
        if (!HasCodesWithoutBinaryType(*e))
            continue;
        ++refusals;
        EXPECT_TRUE(IsBinaryDxf(*e)) << (*e)["path"].as_string();
        EXPECT_TRUE(ManifestSaysOpens(*e)) << (*e)["path"].as_string();
    }
    EXPECT_GE(refusals, 1);
}

} // namespace
} // namespace release12
} // namespace velko_test
