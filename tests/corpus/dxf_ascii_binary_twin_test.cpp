// The ASCII and the binary DXF file of one drawing, each read by the library: the corpus
// holds the drawing of uc.r13a.dxf / uc.r13b.dxf (release 13) and of uc.r12a.dxf /
// uc.r12b.dxf (release 12) in both forms. Read, the two files give the same records: every
// list, block, table record and header variable, reals within 12 significant digits (a
// binary real is the double itself, the ASCII text a rounding of it). No other ASCII and
// binary file of the dxf12 and dxf13 folders holds the same kinds and tables by the
// manifest; a test says so, so that a new pair in the corpus is noticed.
//
// Where the two differ, the test says so:
//  - the two files of release 13 were written at different times, by a writer that numbers
//    the vertices and the sequence end of a polyline afresh each time: those handles and
//    $HANDSEED differ, and so do the time variables $TDINDWG, $TDUPDATE and $TDUSRTIMER;
//  - the binary release 12 file holds dimension style groups (140 to 178) for which the
//    release 12 binary code table gives no value type, so the reader refuses it as a
//    damaged drawing (-408); only the ASCII file of that pair is read.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/mini_json.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {
namespace dxf_ascii_binary_twin {
namespace {

using snapshot::DigitsSink;
using snapshot::Show;
using snapshot::Snapshot;

constexpr int kDigits = 12;

// The 12 digits, but for the fields in which the two release 13 files differ as written.
class WrittenTwiceSink : public DigitsSink {
public:
    WrittenTwiceSink() : DigitsSink(kDigits) {}

    void Real(const std::string &field, int group, double a, double b) override {
        static const std::set<std::string> kTimes = {"$TDINDWG", "$TDUPDATE", "$TDUSRTIMER"};
        if (record_ == "HEADER" && kTimes.count(field)) {
            ++times;
            return;
        }
        DigitsSink::Real(field, group, a, b);
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        const bool renumbered =
            (field == "handle" && (kind_ == CDB_VERTEX || kind_ == CDB_SEQEND)) ||
            (record_ == "HEADER" && field == "$HANDSEED");
        if (renumbered && Show(a) != Show(b)) {
            ++handles;
            return;
        }
        DigitsSink::Text(field, group, a, b);
    }
    int times = 0;
    int handles = 0;
};

// What the manifest says of a drawing's content: its kinds, its block kinds and its tables.
std::string ContentOf(const json::Value &entry) {
    std::string out;
    for (const char *part : {"entities", "block_entities", "tables"})
        for (const auto &[name, count] : entry[part].members())
            out += std::string(part) + "." + name + "=" + std::to_string(count.as_number()) + " ";
    return out;
}

TEST(DxfAsciiBinaryTwin, TheManifestShowsNoOtherPairOfForms) {
    VELKO_REQUIRE_CORPUS();
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const char *folder : {"dxf12/", "dxf13/"}) {
        std::map<std::string, std::vector<std::string>> ascii_by_content;
        const std::vector<const json::Value *> entries = CorpusManifestEntries(folder);
        for (const json::Value *e : entries)
            if ((*e)["form"].as_string() == "ascii")
                ascii_by_content[ContentOf(*e)].push_back((*e)["path"].as_string());
        for (const json::Value *e : entries)
            if ((*e)["form"].as_string() == "binary")
                for (const std::string &ascii : ascii_by_content[ContentOf(*e)])
                    pairs.emplace_back(ascii, (*e)["path"].as_string());
    }
    EXPECT_EQ(pairs, (std::vector<std::pair<std::string, std::string>>{
                         {"dxf12/uc.r12a.dxf", "dxf12/uc.r12b.dxf"},
                         {"dxf13/uc.r13a.dxf", "dxf13/uc.r13b.dxf"}}));
}

TEST(DxfAsciiBinaryTwin, TheTwoFormsOfARelease13DrawingGiveTheSameRecords) {
    VELKO_REQUIRE_CORPUS();
    Snapshot ascii(CorpusPath("dxf13/uc.r13a.dxf"));
    Snapshot binary(CorpusPath("dxf13/uc.r13b.dxf"));
    ASSERT_TRUE(ascii.opened()) << ascii.code();
    ASSERT_TRUE(binary.opened()) << binary.code();
    EXPECT_EQ(CDBGetAutoCADVersion(ascii.handle()), 13);
    EXPECT_EQ(CDBGetAutoCADVersion(binary.handle()), 13);
    EXPECT_EQ(ascii.KindCounts(), binary.KindCounts());
    WrittenTwiceSink sink;
    snapshot::CompareDrawings(ascii, binary, sink, sink);
    // Four vertices, the sequence end and $HANDSEED; the three time variables.
    EXPECT_EQ(sink.handles, 6);
    EXPECT_EQ(sink.times, 3);
}

TEST(DxfAsciiBinaryTwin, TheBinaryRelease12FileIsRefusedForItsUntypedDimensionStyleGroups) {
    VELKO_REQUIRE_CORPUS();
    Snapshot ascii(CorpusPath("dxf12/uc.r12a.dxf"));
    Snapshot binary(CorpusPath("dxf12/uc.r12b.dxf"));
    ASSERT_TRUE(ascii.opened()) << ascii.code();
    EXPECT_EQ(CDBGetAutoCADVersion(ascii.handle()), 12);
    EXPECT_FALSE(binary.opened());
    EXPECT_EQ(binary.code(), CDB_ERR_DRAWING_CORRUPTED);
}

} // namespace
} // namespace dxf_ascii_binary_twin
} // namespace velko_test
