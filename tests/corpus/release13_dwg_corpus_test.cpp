// Corpus tests of release 13 DWG reading: the drawings of the corpus's dwg13 folder opened
// through the flat interface and compared with what MANIFEST.json says of them -- the
// release, the table counts and the header values -- and every entity object's head
// decoded and compared with the file's object map.
//
// Where the reading of a value differs from the independent reader's by rule (the block
// table holds no record of the two spaces), the test says so at the comparison.
#include "support/corpus.h"
#include "support/mini_json.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/drawing_file.h"
#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace velko_test {
namespace release13 {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";
constexpr char kOriginalOrder[] = "dwg13/example_r13.dwg";

const json::Value *ManifestEntry(const std::string &path) {
    for (const json::Value *entry : CorpusManifestEntries(path))
        if ((*entry)["path"].as_string() == path)
            return entry;
    return nullptr;
}

// The table counts through the flat interface, by the manifest's table names.
std::map<std::string, int> FlatTableCounts(int16_t h) {
    return {
        {"LAYER", CDBLayerTableCount(h)},
        {"LTYPE", CDBLineTypeTableCount(h)},
        {"STYLE", CDBStyleTableCount(h)},
        {"VPORT", CDBVportTableCount(h)},
        {"APPID", CDBAppidTableCount(h)},
        {"DIMSTYLE", CDBDimStyleTableCount(h)},
        {"MLINESTYLE", CDBMLineStyleTableCount(h)},
        {"VIEW", CDBViewTableCount(h)},
        {"UCS", CDBUCSTableCount(h)},
    };
}

TEST(Release13DwgCorpus, RelaidDrawingOpensAsRelease13) {
    VELKO_REQUIRE_CORPUS();
    int16_t h = CDBStartFileReading(CorpusPath(kRelaid).c_str(), nullptr);
    ASSERT_GE(h, 0) << "error " << CDBGetErrorNumber(h);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 13);
    CDB_VAR_VALUE_type value;
    std::memset(&value, 0, sizeof value);
    EXPECT_EQ(CDBGetVariableValue(h, "acadver", &value), CDB_VAR_TEXT);
    EXPECT_STREQ(value.text, "AC1012");
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(Release13DwgCorpus, RelaidDrawingHasTheManifestsTables) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = ManifestEntry(kRelaid);
    ASSERT_NE(entry, nullptr);
    const json::Value &tables = (*entry)["table_records"];
    int16_t h = CDBStartFileReading(CorpusPath(kRelaid).c_str(), nullptr);
    ASSERT_GE(h, 0);
    const std::map<std::string, int> counts = FlatTableCounts(h);
    for (const auto &[name, count] : counts) {
        const int expected = tables.has(name) ? static_cast<int>(tables[name].as_number()) : 0;
        EXPECT_EQ(count, expected) << name;
    }
    // The manifest counts every block header; the block table holds those of the blocks
    // proper, not those named *MODEL_SPACE or *PAPER_SPACE. This drawing has three of
    // them: model space and two paper spaces (a second layout's, under the same name).
    constexpr int kSpaceHeaders = 3;
    EXPECT_EQ(CDBBlockTableCount(h) + kSpaceHeaders,
              static_cast<int>(tables["BLOCK_HEADER"].as_number()));
    EXPECT_EQ(CDBEndOperation(h), 0);

    // The viewport entity headers have no public table.
    CR13Drawing drawing(nullptr, 0);
    ASSERT_EQ(drawing.OpenDWG(CorpusPath(kRelaid).c_str(), CDB_OPEN_READ), 1);
    ASSERT_EQ(drawing.LoadDWG(), 1);
    EXPECT_EQ(drawing.Table(R13Table::kVpEntHdrs).records.Count(),
              static_cast<int>(tables["VX_TABLE_RECORD"].as_number()));
}

TEST(Release13DwgCorpus, RelaidDrawingHasTheManifestsHeader) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = ManifestEntry(kRelaid);
    ASSERT_NE(entry, nullptr);
    const json::Value &expected = (*entry)["header"];
    int16_t h = CDBStartFileReading(CorpusPath(kRelaid).c_str(), nullptr);
    ASSERT_GE(h, 0);
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    ASSERT_EQ(CDBGetAllVariables(h, &header), 0);

    auto point3 = [](const json::Value &v, const CDB_POINT3 &p) {
        EXPECT_DOUBLE_EQ(p.x, v.at(0).as_number());
        EXPECT_DOUBLE_EQ(p.y, v.at(1).as_number());
        EXPECT_DOUBLE_EQ(p.z, v.at(2).as_number());
    };
    EXPECT_DOUBLE_EQ(header.dimscale, expected["DIMSCALE"].as_number());
    point3(expected["EXTMAX"], header.extmax);
    point3(expected["EXTMIN"], header.extmin);
    point3(expected["INSBASE"], header.insbase);
    EXPECT_DOUBLE_EQ(header.limmax.x, expected["LIMMAX"].at(0).as_number());
    EXPECT_DOUBLE_EQ(header.limmax.y, expected["LIMMAX"].at(1).as_number());
    EXPECT_DOUBLE_EQ(header.ltscale, expected["LTSCALE"].as_number());
    EXPECT_DOUBLE_EQ(header.textsize, expected["TEXTSIZE"].as_number());
    EXPECT_EQ(header.treedepth, static_cast<int>(expected["TREEDEPTH"].as_number()));
    // The manifest gives the seed as code, size, value and value: the text is the value in
    // upper-case hexadecimal.
    char seed[32];
    std::snprintf(seed, sizeof seed, "%X",
                  static_cast<unsigned>(expected["HANDSEED"].at(2).as_number()));
    EXPECT_STREQ(header.handseed, seed);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

// Kind name -> count of the entities a walk of list `block` (-1 the main list) delivers,
// the main list's split by space: `space` 0 or 1, or -1 for all.
std::map<std::string, int> WalkCounts(int16_t h, int16_t block, int space) {
    std::map<std::string, int> counts;
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    int32_t id = CDBFirstEntity(h, block);
    id = id < 0 ? id : CDBGetCurrentEntity(h, &r);
    while (id >= 0) {
        if (space < 0 || r.space == space)
            ++counts[EntityKindName(r.entity_type)];
        FreeOwnedTexts(&r);
        std::memset(&r, 0, sizeof r);
        id = CDBGetNextEntity(h, &r);
    }
    return counts;
}

// The manifest's counts of one space or of the blocks, as a map.
std::map<std::string, int> ManifestCounts(const json::Value &counts) {
    std::map<std::string, int> out;
    for (const auto &[name, value] : counts.members())
        out[name] = static_cast<int>(value.as_number());
    return out;
}

TEST(Release13DwgCorpus, TheWalkGivesTheManifestsEntitiesOfEachSpace) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = ManifestEntry(kRelaid);
    ASSERT_NE(entry, nullptr);
    int16_t h = CDBStartFileReading(CorpusPath(kRelaid).c_str(), nullptr);
    ASSERT_GE(h, 0);
    // The main list holds model space and then paper space, each entity with its `space`;
    // the spaces' BLOCK objects are no entities of the lists, and one ENDBLK -- paper
    // space's -- closes the main list. The custom classes of the manifest are dropped.
    std::map<std::string, int> model = ManifestCounts((*entry)["model_space"]);
    model.erase("BLOCK");
    model.erase("ENDBLK");
    std::map<std::string, int> paper = ManifestCounts((*entry)["paper_space"]);
    paper.erase("BLOCK");
    EXPECT_EQ(WalkCounts(h, -1, 0), model);
    EXPECT_EQ(WalkCounts(h, -1, 1), paper);
    for (const auto &[name, count] : (*entry)["custom_entity_classes"].members())
        EXPECT_EQ(WalkCounts(h, -1, -1).count(name), 0u) << name << " " << count.as_number();
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(Release13DwgCorpus, TheBlocksHoldTheManifestsEntities) {
    VELKO_REQUIRE_CORPUS();
    const json::Value *entry = ManifestEntry(kRelaid);
    ASSERT_NE(entry, nullptr);
    int16_t h = CDBStartFileReading(CorpusPath(kRelaid).c_str(), nullptr);
    ASSERT_GE(h, 0);
    std::map<std::string, int> walked;
    for (int16_t b = 0; b < CDBBlockTableCount(h); ++b)
        for (const auto &[name, count] : WalkCounts(h, b, -1))
            walked[name] += count;
    // The manifest counts the blocks' BLOCK objects, which are no entities of the lists, and
    // the second block named *PAPER_SPACE (its ENDBLK and VIEWPORT), which has no record in
    // the block table and so leaves the block list.
    std::map<std::string, int> expected = ManifestCounts((*entry)["block_entities"]);
    expected.erase("BLOCK");
    expected["ENDBLK"] -= 1;
    expected["VIEWPORT"] -= 1;
    if (expected["VIEWPORT"] == 0)
        expected.erase("VIEWPORT");
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(Release13DwgCorpus, EveryEntityHeadOfTheRelaidDrawingDecodes) {
    VELKO_REQUIRE_CORPUS();
    CR13Drawing drawing(nullptr, 0);
    ASSERT_EQ(drawing.OpenDWG(CorpusPath(kRelaid).c_str(), CDB_OPEN_READ), 1);
    ASSERT_EQ(drawing.LoadDWG(), 1);
    CObjectMap &map = drawing.ObjectMap();
    std::map<int32_t, uint32_t> handle_at;
    for (const ObjectMapEntry &e : map.Entries())
        handle_at[e.offset] = e.handle;

    CDrawingFile &file = *drawing.File();
    file.SetPosition(drawing.ObjectsStart(), 0);
    int entities = 0;
    while (file.GetPosition() < static_cast<int32_t>(drawing.FileHead().map_at)) {
        const int32_t at = file.GetPosition();
        std::unique_ptr<uint8_t[]> object = file.ReadObject();
        ASSERT_TRUE(object);
        CBitStream probe(object.get());
        probe.Skip(2, 0);
        const int type = probe.ReadBitShort();
        const R13EntityKind *kind = FindR13EntityKind(type);
        if (!kind)
            continue;
        CR13PlainEntity entity(&drawing, kind->code, static_cast<int16_t>(type), 0);
        CBitStream stream(object.get());
        ASSERT_EQ(entity.ReadCommon(stream), 1) << "object at " << at;
        EXPECT_EQ(entity.FileType(), type);
        ASSERT_TRUE(handle_at.count(at)) << "object at " << at << " is not in the map";
        char expected[16];
        std::snprintf(expected, sizeof expected, "%X", handle_at[at]);
        EXPECT_STREQ(entity.GetData()->handle, expected) << "object at " << at;
        EXPECT_FALSE(stream.Overrun()) << "object at " << at;
        ++entities;
    }
    EXPECT_GT(entities, 5000);
}

TEST(Release13DwgCorpus, DrawingInAnotherWritersOrderIsRefused) {
    VELKO_REQUIRE_CORPUS();
    // Its block headers do not follow the block control, so the first pass meets no block,
    // and without the blocks of the two spaces the load fails. The DWG attempt leaves no
    // code that stops the open, so the DXF attempt follows and refuses the file.
    int16_t h = CDBStartFileReading(CorpusPath(kOriginalOrder).c_str(), nullptr);
    EXPECT_EQ(h, CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_FILE);

    CR13Drawing drawing(nullptr, 0);
    ASSERT_EQ(drawing.OpenDWG(CorpusPath(kOriginalOrder).c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(drawing.LoadDWG(), 0);
    EXPECT_NE(drawing.LoadFailure().find("*MODEL_SPACE"), std::string::npos)
        << drawing.LoadFailure();
}

} // namespace
} // namespace release13
} // namespace velko_test
