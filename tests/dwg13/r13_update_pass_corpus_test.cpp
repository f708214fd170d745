// The update pass on a real drawing: objects appended behind the tables of
// dwg13/example_r13_relaid.dwg (written where its object map stood, the map moved behind
// them and the head's offsets fixed) move and erase its lines.
#include "support/corpus.h"
#include "support/r13_corpus_edit.h"

#include "dwg13/r13_update_pass.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velko_test {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

struct Original {
    std::vector<uint8_t> bytes;
    LoadedR13 loaded;
    int line = -1;
};

bool ReadOriginal(Original &o) {
    if (!ReadWholeFile(CorpusPath(kRelaid), &o.bytes))
        return false;
    o.loaded = LoadR13Bytes(o.bytes, "r13_relaid_original.dwg");
    if (o.loaded.loaded != 1)
        return false;
    const std::vector<int> lines = ReachableEntities(o.loaded.drawing->Entities(), CDB_LINE);
    o.line = lines.empty() ? -1 : lines.front();
    return o.line >= 0;
}

TEST(R13UpdatePassCorpus, ALineMovedBehindTheTablesReplacesTheLineOfItsHandle) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    std::vector<uint8_t> bytes =
        AppendBehindTables(o.bytes, {LineLike(line, R13HandleNumber(line.handle), 1234.5)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_moved.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    ASSERT_EQ(after.Count(), before.Count());
    EXPECT_EQ(HandleNumberAt(after, o.line), HandleNumberAt(before, o.line));
    EXPECT_EQ(after.At(o.line)->GetData()->line.end_point.x, 1234.5);
}

TEST(R13UpdatePassCorpus, ALineErasedThroughThePreviousLinkOfTheUpdateBehindIt) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    const uint32_t erased = R13HandleNumber(line.handle);
    // An update of the handle behind the line whose previous link jumps over it.
    std::vector<uint8_t> bytes = AppendBehindTables(o.bytes, {LineLike(line, erased + 1, 2.0, 2)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_erased.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    EXPECT_EQ(after.Count(), before.Count() - 1);
    for (int i = 0; i < after.Count(); ++i)
        EXPECT_NE(HandleNumberAt(after, i), erased);
}

} // namespace
} // namespace velko_test
