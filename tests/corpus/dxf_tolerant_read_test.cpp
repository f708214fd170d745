// The tolerant roads of the DXF readers on the drawings of the corpus, each beside the
// original road that it leaves in place:
//  - the full group code table of binary release 12 files (CDB_READ_FULL_BINARY_CODES): the
//    binary files with dimension styles, refused as damaged (-408) on the original road, give
//    the records of their ASCII twin and agree with ezdxf's reading; the library reads back
//    its own binary file of a drawing with dimension styles and extended data;
//  - comments (CDB_READ_COMMENTS): cc_dxflib.dxf, refused (-405) for the comments before its
//    HEADER, gives the records of the same file without its comments;
//  - long names (CDB_READ_LONG_NAMES): the 38-character layer of ASCII_R12.dxf stays whole,
//    its entities keep it, and the DXF written from the drawing reads in ezdxf.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/mini_json.h"
#include "support/run_command.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#ifndef VELKO_SOURCE_DIR
#define VELKO_SOURCE_DIR "."
#endif

namespace velko_test {
namespace dxf_tolerant_read {
namespace {

using snapshot::DigitsSink;
using snapshot::RoundTripFolder;
using snapshot::SaveForm;
using snapshot::SaveOpenDrawing;
using snapshot::Snapshot;

constexpr int kDigits = 12;

// Sets the read options for one test and restores the ones before.
class DxfTolerantRead : public testing::Test {
protected:
    void SetUp() override { before_ = CDBGetReadOptions(); }
    void TearDown() override { CDBSetReadOptions(before_); }

private:
    int32_t before_ = 0;
};

// ezdxf's reading of `path` (ezdxf_names.py): a null value when ezdxf cannot serve.
json::Value Ezdxf(const std::string &path, std::string *why, bool recover = false) {
    const std::string command = std::string("/usr/bin/python3 '") + VELKO_SOURCE_DIR +
                                "/tests/support/ezdxf_names.py' " + (recover ? "--recover " : "") +
                                "'" + path + "' 2>&1";
    const CommandOutcome outcome = RunCommand(command);
    std::string error;
    json::Value v = json::Parse(outcome.out, &error);
    if (outcome.status != 0 || !error.empty()) {
        *why = "ezdxf_names.py: " + outcome.out;
        return json::Value();
    }
    return v;
}

#define VELKO_REQUIRE_EZDXF(value, path, ...)                                                      \
    std::string why_##value;                                                                       \
    const json::Value value = Ezdxf(path, &why_##value, ##__VA_ARGS__);                            \
    if (!value.is_object()) {                                                                      \
        if (CorpusRequired())                                                                      \
            FAIL() << why_##value;                                                                 \
        GTEST_SKIP() << why_##value;                                                               \
    }

std::map<std::string, int> KindsOf(const Snapshot &s) {
    std::map<std::string, int> kinds;
    for (const auto &kv : s.KindCounts())
        kinds[kv.first] = kv.second;
    return kinds;
}

// The layer names of ezdxf's reading, from the hexadecimal bytes of their DXF form.
std::vector<std::string> TheirLayers(const json::Value &theirs) {
    std::vector<std::string> names;
    for (const json::Value &hex : theirs["layers"].items()) {
        std::string name;
        const std::string &h = hex.as_string();
        for (size_t i = 0; i + 1 < h.size(); i += 2)
            name += static_cast<char>(std::stoi(h.substr(i, 2), nullptr, 16));
        names.push_back(name);
    }
    return names;
}

std::vector<std::string> LayerNames(const Snapshot &s) {
    std::vector<std::string> names;
    for (const CDB_LAYER_TBL_type &layer : s.layers_)
        names.push_back(layer.name ? layer.name : "");
    return names;
}

// The 12 digits, but for the fields in which the two files of uc.r12a/uc.r12b differ as
// written: their writer ran twice and numbered the vertices and the sequence end afresh
// ($HANDSEED with them), and the time variables moved on.
class WrittenTwiceSink : public DigitsSink {
public:
    WrittenTwiceSink() : DigitsSink(kDigits) {}

    void Real(const std::string &field, int group, double a, double b) override {
        if (record_ == "HEADER" &&
            (field == "$TDINDWG" || field == "$TDUPDATE" || field == "$TDUSRTIMER")) {
            ++times;
            return;
        }
        DigitsSink::Real(field, group, a, b);
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        const bool renumbered =
            (field == "handle" && (kind_ == CDB_VERTEX || kind_ == CDB_SEQEND)) ||
            (record_ == "HEADER" && field == "$HANDSEED");
        if (renumbered && snapshot::Show(a) != snapshot::Show(b)) {
            ++handles;
            return;
        }
        DigitsSink::Text(field, group, a, b);
    }
    int times = 0;
    int handles = 0;
};

// ---- The full code table of binary release 12 files ------------------------------------------

TEST_F(DxfTolerantRead, BinaryRelease12WithDimensionStylesIsRefusedOnTheOriginalRoad) {
    VELKO_REQUIRE_CORPUS();
    for (int32_t options : {0, CDB_READ_TOLERANT & ~CDB_READ_FULL_BINARY_CODES}) {
        CDBSetReadOptions(options);
        for (const char *file : {"dxf12/uc.r12b.dxf", "dxf12/bin_dxf_r12.dxf"}) {
            Snapshot binary(CorpusPath(file));
            EXPECT_FALSE(binary.opened()) << file;
            EXPECT_EQ(binary.code(), CDB_ERR_DRAWING_CORRUPTED) << file;
        }
    }
}

TEST_F(DxfTolerantRead, TheFullCodeTableGivesTheRecordsOfTheAsciiTwin) {
    VELKO_REQUIRE_CORPUS();
    CDBSetReadOptions(CDB_READ_FULL_BINARY_CODES);
    Snapshot ascii(CorpusPath("dxf12/uc.r12a.dxf"));
    Snapshot binary(CorpusPath("dxf12/uc.r12b.dxf"));
    ASSERT_TRUE(ascii.opened()) << ascii.code();
    ASSERT_TRUE(binary.opened()) << binary.code();
    EXPECT_EQ(CDBGetAutoCADVersion(binary.handle()), 12);
    EXPECT_EQ(ascii.KindCounts(), binary.KindCounts());
    EXPECT_EQ(binary.dimstyles_.size(), 2u);
    WrittenTwiceSink sink;
    snapshot::CompareDrawings(ascii, binary, sink, sink);
    // Four vertices, the sequence end and $HANDSEED; the three time variables.
    EXPECT_EQ(sink.handles, 6);
    EXPECT_EQ(sink.times, 3);
    // Only the binary file needed the road.
    EXPECT_EQ(CDBGetTolerantReads(ascii.handle()), 0);
    EXPECT_EQ(CDBGetTolerantReads(binary.handle()), CDB_READ_FULL_BINARY_CODES);
}

TEST_F(DxfTolerantRead, TheFullCodeTableReadsBinDxfR12AsEzdxfDoes) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath("dxf12/bin_dxf_r12.dxf");
    VELKO_REQUIRE_EZDXF(theirs, path);
    ASSERT_TRUE(theirs["ok"].as_bool()) << theirs["error"].as_string();
    CDBSetReadOptions(CDB_READ_FULL_BINARY_CODES);
    Snapshot ours(path);
    ASSERT_TRUE(ours.opened()) << ours.code();
    EXPECT_EQ(CDBGetTolerantReads(ours.handle()), CDB_READ_FULL_BINARY_CODES);

    std::map<std::string, int> their_kinds;
    for (const auto &m : theirs["counts"].members())
        their_kinds[m.first] = static_cast<int>(m.second.as_number());
    EXPECT_EQ(KindsOf(ours), their_kinds);

    EXPECT_EQ(LayerNames(ours), TheirLayers(theirs));

    // The lines' end points, to the 12 digits that a binary real reaches the reader with.
    std::vector<const CDB_ENTITY *> lines;
    for (const CDB_ENTITY &e : ours.main_)
        if (e.entity_type == CDB_LINE)
            lines.push_back(&e);
    const auto &their_lines = theirs["lines"].items();
    ASSERT_EQ(lines.size(), their_lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const CDB_LINE_type &line = lines[i]->line;
        const double mine[6] = {line.start_point.x, line.start_point.y, line.start_point.z,
                                line.end_point.x,   line.end_point.y,   line.end_point.z};
        for (int c = 0; c < 6; ++c)
            EXPECT_TRUE(
                snapshot::SameToDigits(mine[c], their_lines[i].items()[c].as_number(), kDigits))
                << "line " << i << " coordinate " << c << ": " << mine[c] << " against "
                << their_lines[i].items()[c].as_number();
    }
}

TEST_F(DxfTolerantRead, TheLibraryReadsBackItsOwnBinaryDxfWithDimensionStylesAndExtendedData) {
    VELKO_REQUIRE_CORPUS();
    // Leader.dxf holds two dimension styles and extended data.
    Snapshot original(CorpusPath("dxf12/Leader.dxf"));
    ASSERT_TRUE(original.opened()) << original.code();
    ASSERT_FALSE(original.dimstyles_.empty());
    const std::string written = RoundTripFolder() + "tolerant_Leader.binary.dxf";
    ASSERT_EQ(SaveOpenDrawing(original.handle(), written, SaveForm::kBinaryDxf), "");

    CDBSetReadOptions(0);
    {
        Snapshot strict(written);
        EXPECT_FALSE(strict.opened());
        EXPECT_EQ(strict.code(), CDB_ERR_DRAWING_CORRUPTED);
    }
    CDBSetReadOptions(CDB_READ_FULL_BINARY_CODES);
    Snapshot back(written);
    ASSERT_TRUE(back.opened()) << back.code();
    EXPECT_EQ(CDBGetTolerantReads(back.handle()), CDB_READ_FULL_BINARY_CODES);
    snapshot::CompareDxfSave(original, back, true);
    std::remove(written.c_str());
}

// ---- Comments ----------------------------------------------------------------------------------

// `text` without its comment groups: every pair of lines whose code line is 999.
std::string WithoutComments(const std::string &text) {
    std::string out;
    size_t at = 0;
    while (at < text.size()) {
        size_t code_end = text.find('\n', at);
        if (code_end == std::string::npos)
            break;
        size_t value_end = text.find('\n', code_end + 1);
        if (value_end == std::string::npos)
            value_end = text.size() - 1;
        const std::string code = text.substr(at, code_end - at);
        if (code.find("999") == std::string::npos)
            out += text.substr(at, value_end + 1 - at);
        at = value_end + 1;
    }
    return out;
}

TEST_F(DxfTolerantRead, CommentsBeforeTheHeaderAreRefusedOnTheOriginalRoadAndPassedOverOnTheOther) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath("dxf12/cc_dxflib.dxf");
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(path, &bytes));
    const std::string bare = WithoutComments(std::string(bytes.begin(), bytes.end()));
    ASSERT_LT(bare.size(), bytes.size());
    const std::string bare_path = RoundTripFolder() + "tolerant_cc_dxflib_bare.dxf";
    ASSERT_TRUE(
        WriteWholeFile(bare_path, reinterpret_cast<const uint8_t *>(bare.data()), bare.size()));

    CDBSetReadOptions(CDB_READ_TOLERANT & ~CDB_READ_COMMENTS);
    {
        Snapshot strict(path);
        EXPECT_FALSE(strict.opened());
        EXPECT_EQ(strict.code(), CDB_ERR_INVALID_FILE);
        Snapshot without(bare_path);
        EXPECT_TRUE(without.opened()) << without.code();
    }
    CDBSetReadOptions(CDB_READ_COMMENTS);
    Snapshot tolerant(path);
    Snapshot without(bare_path);
    ASSERT_TRUE(tolerant.opened()) << tolerant.code();
    ASSERT_TRUE(without.opened()) << without.code();
    EXPECT_EQ(CDBGetTolerantReads(tolerant.handle()), CDB_READ_COMMENTS);
    EXPECT_EQ(CDBGetTolerantReads(without.handle()), 0);
    snapshot::ExactSink sink;
    snapshot::CompareDrawings(without, tolerant, sink);
    std::remove(bare_path.c_str());
}

// `bytes` with comment groups before the first group (behind the sentinel of a binary file)
// and before the last group, "EOF", in the file's own form.
std::vector<uint8_t> WithComments(const std::vector<uint8_t> &bytes, bool binary) {
    std::vector<uint8_t> out(bytes);
    if (binary) {
        const std::vector<uint8_t> comment = {0xE7, 0x03, 'n', 'o', 't', 'e', 0};
        const std::vector<uint8_t> eof = {0, 0, 'E', 'O', 'F', 0};
        out.insert(out.end() - static_cast<long>(eof.size()), comment.begin(), comment.end());
        out.insert(out.begin() + 22, comment.begin(), comment.end());
    } else {
        const std::string comment = "999\r\nnote\r\n";
        const std::string eof = "  0\r\nEOF\r\n";
        out.insert(out.end() - static_cast<long>(eof.size()), comment.begin(), comment.end());
        out.insert(out.begin(), comment.begin(), comment.end());
    }
    return out;
}

TEST_F(DxfTolerantRead, CommentsInRelease13FilesOfBothFormsArePassedOverOnlyOnTheTolerantRoad) {
    VELKO_REQUIRE_CORPUS();
    for (const char *file : {"dxf13/uc.r13a.dxf", "dxf13/uc.r13b.dxf"}) {
        const bool binary = std::string(file).find("r13b") != std::string::npos;
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(ReadWholeFile(CorpusPath(file), &bytes));
        const std::vector<uint8_t> commented = WithComments(bytes, binary);
        const std::string path =
            RoundTripFolder() + "tolerant_commented_" + (binary ? "b" : "a") + ".dxf";
        ASSERT_TRUE(WriteWholeFile(path, commented.data(), commented.size()));
        CDBSetReadOptions(CDB_READ_TOLERANT & ~CDB_READ_COMMENTS);
        {
            Snapshot strict(path);
            EXPECT_FALSE(strict.opened()) << file;
        }
        CDBSetReadOptions(CDB_READ_COMMENTS);
        Snapshot original(CorpusPath(file));
        Snapshot tolerant(path);
        ASSERT_TRUE(original.opened()) << file << " " << original.code();
        ASSERT_TRUE(tolerant.opened()) << file << " " << tolerant.code();
        EXPECT_EQ(CDBGetTolerantReads(tolerant.handle()), CDB_READ_COMMENTS) << file;
        snapshot::ExactSink sink;
        snapshot::CompareDrawings(original, tolerant, sink);
        std::remove(path.c_str());
    }
}

// ---- Long names --------------------------------------------------------------------------------

// The layer of ASCII_R12.dxf: five escapes and three characters of the file's code page.
const std::string kLongLayer = "\\U+039B\\U+0391\\U+0393\\U+0395\\U+03A1\xC4\xDC\xD6";

// The number of entities of the main list and the blocks on layer `index` (its base added
// as the walk hands it out).
int EntitiesOnLayer(const Snapshot &s, int16_t index) {
    int count = 0;
    for (const CDB_ENTITY &e : s.main_)
        count += e.layer_index == index;
    for (const snapshot::BlockCopy &block : s.blocks_)
        for (const CDB_ENTITY &e : block.list)
            count += e.layer_index == index;
    return count;
}

int LayerIndexOf(const Snapshot &s, const std::string &name) {
    for (size_t i = 0; i < s.layers_.size(); ++i)
        if (s.layers_[i].name && name == s.layers_[i].name)
            return static_cast<int>(i);
    return -1;
}

TEST_F(DxfTolerantRead, ALongLayerNameIsCutOnTheOriginalRoadAndKeptWholeOnTheOther) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath("dxf12/ASCII_R12.dxf");
    CDBSetReadOptions(CDB_READ_TOLERANT & ~CDB_READ_LONG_NAMES);
    Snapshot cut(path);
    ASSERT_TRUE(cut.opened()) << cut.code();
    EXPECT_EQ(LayerIndexOf(cut, kLongLayer), -1);
    EXPECT_GE(LayerIndexOf(cut, kLongLayer.substr(0, 31)), 0);
    EXPECT_EQ(CDBGetTolerantReads(cut.handle()), 0);

    CDBSetReadOptions(CDB_READ_LONG_NAMES);
    Snapshot whole(path);
    ASSERT_TRUE(whole.opened()) << whole.code();
    const int layer = LayerIndexOf(whole, kLongLayer);
    ASSERT_GE(layer, 0);
    EXPECT_EQ(CDBGetTolerantReads(whole.handle()), CDB_READ_LONG_NAMES);
    // The three entities that the file puts on the layer keep it (the insert and two lines);
    // none did on the original road.
    const int16_t walked = static_cast<int16_t>(layer);
    EXPECT_EQ(EntitiesOnLayer(whole, walked), 3);
    EXPECT_EQ(
        EntitiesOnLayer(cut, static_cast<int16_t>(LayerIndexOf(cut, kLongLayer.substr(0, 31)))), 0);
}

// ezdxf's strict reader refuses ASCII_R12.dxf itself (it makes a sequence end for the insert
// on the long layer and refuses the backslash of the escape in that layer name); its
// recovering reader takes the corpus file, and serves as the outside reader here.
TEST_F(DxfTolerantRead, TheDxfWrittenFromALongNameReadsInEzdxfWithTheSameLayers) {
    VELKO_REQUIRE_CORPUS();
    CDBSetReadOptions(CDB_READ_LONG_NAMES);
    Snapshot whole(CorpusPath("dxf12/ASCII_R12.dxf"));
    ASSERT_TRUE(whole.opened()) << whole.code();
    const std::string written = RoundTripFolder() + "tolerant_ASCII_R12.long.dxf";
    ASSERT_EQ(SaveOpenDrawing(whole.handle(), written, SaveForm::kAsciiDxf), "");
    VELKO_REQUIRE_EZDXF(theirs, written, true);
    ASSERT_TRUE(theirs["ok"].as_bool()) << theirs["error"].as_string();
    EXPECT_EQ(LayerNames(whole), TheirLayers(theirs));
    // And the library reads it back with the layer whole.
    Snapshot back(written);
    ASSERT_TRUE(back.opened()) << back.code();
    EXPECT_GE(LayerIndexOf(back, kLongLayer), 0);
    std::remove(written.c_str());
}

// A name that the original road cut inside an escape goes out as it stands, and the outside
// reader fails on the broken escape; a strict DXF writer leaves the broken escape out.
TEST_F(DxfTolerantRead, AStrictDxfWriterNeverLeavesANameEndingInsideAnEscape) {
    VELKO_REQUIRE_CORPUS();
    const int32_t write_before = CDBGetWriteOptions();
    CDBSetReadOptions(0);
    Snapshot cut(CorpusPath("dxf12/ASCII_R12.dxf"));
    ASSERT_TRUE(cut.opened()) << cut.code();
    const std::string cut_name = kLongLayer.substr(0, 31);
    ASSERT_GE(LayerIndexOf(cut, cut_name), 0);
    const std::string original = RoundTripFolder() + "tolerant_ASCII_R12.cut.dxf";
    const std::string strict = RoundTripFolder() + "tolerant_ASCII_R12.strict.dxf";
    CDBSetWriteOptions(0);
    ASSERT_EQ(SaveOpenDrawing(cut.handle(), original, SaveForm::kAsciiDxf), "");
    CDBSetWriteOptions(CDB_WRITE_STRICT_DXF);
    ASSERT_EQ(SaveOpenDrawing(cut.handle(), strict, SaveForm::kAsciiDxf), "");
    CDBSetWriteOptions(write_before);

    VELKO_REQUIRE_EZDXF(refused, original, true);
    EXPECT_FALSE(refused["ok"].as_bool());
    VELKO_REQUIRE_EZDXF(theirs, strict, true);
    ASSERT_TRUE(theirs["ok"].as_bool()) << theirs["error"].as_string();
    // The layer goes out as its four whole escapes, in the record and in every reference.
    const std::string shortened = kLongLayer.substr(0, 28);
    const std::vector<std::string> their_layers = TheirLayers(theirs);
    EXPECT_NE(std::find(their_layers.begin(), their_layers.end(), shortened), their_layers.end());
    Snapshot back(strict);
    ASSERT_TRUE(back.opened()) << back.code();
    const int layer = LayerIndexOf(back, shortened);
    ASSERT_GE(layer, 0);
    EXPECT_EQ(EntitiesOnLayer(back, static_cast<int16_t>(layer)), 0);
    std::remove(original.c_str());
    std::remove(strict.c_str());
}

// ---- The whole corpus against its manifest -----------------------------------------------------

namespace manifest_check {

// What differs between the library's reading of a corpus drawing on the tolerant roads and
// what the manifest says it holds: entity counts by kind (main list and blocks together) and
// table counts. "" when they agree, otherwise one "name: ours against theirs" a difference.
std::string Differences(const json::Value &entry, const Snapshot &s) {
    std::map<std::string, int> theirs;
    for (const char *part : {"entities", "block_entities"})
        for (const auto &[kind, count] : entry[part].members())
            if (kind != "BLOCK" && kind != "ENDBLK")
                theirs[kind] += static_cast<int>(count.as_number());
    std::map<std::string, int> ours = KindsOf(s);
    std::string out;
    std::map<std::string, int> all = theirs;
    for (const auto &kv : ours)
        all[kv.first];
    for (const auto &kv : all)
        if (ours[kv.first] != theirs[kv.first])
            out += " " + kv.first + ":" + std::to_string(ours[kv.first]) + "/" +
                   std::to_string(theirs[kv.first]);
    const std::map<std::string, size_t> tables = {
        {"LAYER", s.layers_.size()}, {"LTYPE", s.ltypes_.size()},      {"STYLE", s.styles_.size()},
        {"VPORT", s.vports_.size()}, {"VIEW", s.views_.size()},        {"UCS", s.ucs_.size()},
        {"APPID", s.appids_.size()}, {"DIMSTYLE", s.dimstyles_.size()}};
    for (const auto &[name, count] : tables) {
        const json::Value &t = entry["tables"][name];
        const int expected =
            static_cast<int>(t.is_object() ? t["count"].as_number() : t.as_number());
        if (static_cast<int>(count) != expected)
            out += " table " + name + ":" + std::to_string(count) + "/" + std::to_string(expected);
    }
    return out;
}

} // namespace manifest_check

TEST_F(DxfTolerantRead, EveryDxfOfTheCorpusOnTheTolerantRoadsAgainstTheManifest) {
    VELKO_REQUIRE_CORPUS();
    CDBSetReadOptions(CDB_READ_TOLERANT);
    std::string report;
    for (const char *folder : {"dxf12/", "dxf13/"})
        for (const json::Value *entry : CorpusManifestEntries(folder)) {
            const std::string relative = (*entry)["path"].as_string();
            Snapshot s(CorpusPath(relative));
            std::string line;
            if (!s.opened())
                line = " refused " + std::to_string(s.code());
            else
                line = manifest_check::Differences(*entry, s);
            if (!line.empty())
                report += relative + ":" + line + "\n";
        }
    // What remains is no matter of tolerance in reading groups:
    //  - example_r13.dxf holds two WIPEOUTs, a kind that the library has no class for: the
    //    release 13 reader passes over entities of unknown kinds;
    //  - ixmilia_r13.dxf has no BLOCKS section, so no *MODEL_SPACE block for its ENTITIES to
    //    go into, and the release 13 reader refuses it (-422).
    EXPECT_EQ(report, "dxf13/example_r13.dxf: WIPEOUT:0/2\n"
                      "dxf13/ixmilia_r13.dxf: refused -422\n");
}

} // namespace
} // namespace dxf_tolerant_read
} // namespace velko_test
