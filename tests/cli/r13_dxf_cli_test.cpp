// velko on the release 13 DXF drawings of the corpus: info, dump (as text, as JSON, with the
// blocks and along the display walk) and render, on every drawing that opens. Each command
// ends with 0, its output is well formed (every JSON line parses, the page is well-formed
// XML) and the counts it prints agree with the walk of the flat interface. The one drawing
// the reader refuses is refused by every command, with the loader's reason.
#include "interface/test_files.h"
#include "support/corpus.h"
#include "support/mini_json.h"
#include "support/mini_xml.h"
#include "support/run_command.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace velko_test {
namespace r13_dxf_cli {
namespace {

// The drawing the release 13 DXF reader refuses, and the reason velko prints.
constexpr char kRefused[] = "dxf13/ixmilia_r13.dxf";
constexpr char kRefusedReason[] = "no *MODEL_SPACE block";

std::vector<std::string> OpeningDrawings() {
    std::vector<std::string> paths;
    for (const json::Value *entry : CorpusManifestEntries("dxf13/"))
        if ((*entry)["path"].as_string() != kRefused)
            paths.push_back((*entry)["path"].as_string());
    if (paths.empty())
        paths.push_back("dxf13/none");
    return paths;
}

std::string ReadText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// What the flat interface's walk gives: the records of the main list (its end marker
// included), the blocks, and the records of all blocks' lists.
struct WalkCounts {
    int main = 0;
    int blocks = 0;
    int in_blocks = 0;
};

WalkCounts Walk(const std::string &path) {
    WalkCounts counts;
    const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    EXPECT_GE(h, 0) << path;
    if (h < 0)
        return counts;
    for (int32_t id = CDBFirstEntity(h, -1); id >= 0; id = CDBNextEntity(h))
        ++counts.main;
    counts.blocks = CDBBlockTableCount(h);
    for (int16_t b = 0; b < counts.blocks; ++b)
        for (int32_t id = CDBFirstEntity(h, b); id >= 0; id = CDBNextEntity(h))
            ++counts.in_blocks;
    EXPECT_EQ(CDBEndOperation(h), 0);
    return counts;
}

// Every line of a --json dump parsed, counted by its section.
std::map<std::string, int> JsonLines(const std::string &out, const std::string &path) {
    std::map<std::string, int> sections;
    std::istringstream in(out);
    std::string line;
    while (std::getline(in, line)) {
        std::string error;
        json::Value v = json::Parse(line, &error);
        EXPECT_TRUE(error.empty()) << path << ": " << error << "\n" << line;
        if (error.empty())
            ++sections[v["section"].as_string()];
    }
    return sections;
}

class VelkoRelease13Dxf : public ::testing::TestWithParam<std::string> {};

TEST_P(VelkoRelease13Dxf, InfoAsTextAndJson) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(GetParam());
    CommandOutcome text = RunVelko("info " + path);
    EXPECT_EQ(text.status, 0) << text.out;
    EXPECT_NE(text.out.find("release:     13"), std::string::npos) << text.out;
    CommandOutcome r = RunVelko("info --json " + path);
    ASSERT_EQ(r.status, 0) << r.out;
    std::string error;
    json::Value v = json::Parse(r.out, &error);
    ASSERT_TRUE(error.empty()) << error << "\n" << r.out;
    EXPECT_EQ(v["release"].as_number(), 13);
    const WalkCounts walk = Walk(path);
    EXPECT_EQ(v["tables"]["BLOCK"].as_number(), walk.blocks);
}

TEST_P(VelkoRelease13Dxf, DumpCountsAgreeWithTheWalk) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(GetParam());
    const WalkCounts walk = Walk(path);
    CommandOutcome json_dump = RunVelko("dump --json " + path);
    ASSERT_EQ(json_dump.status, 0) << path;
    std::map<std::string, int> sections = JsonLines(json_dump.out, path);
    EXPECT_EQ(sections["entities"], walk.main) << path;
    EXPECT_EQ(sections.size(), 1u) << path;

    CommandOutcome with_blocks = RunVelko("dump --json --blocks " + path);
    ASSERT_EQ(with_blocks.status, 0) << path;
    sections = JsonLines(with_blocks.out, path);
    EXPECT_EQ(sections["entities"], walk.main) << path;
    EXPECT_EQ(sections["block_record"], walk.blocks) << path;
    EXPECT_EQ(sections["block"], walk.in_blocks) << path;

    CommandOutcome text = RunVelko("dump " + path);
    EXPECT_EQ(text.status, 0) << path;
    EXPECT_FALSE(text.out.empty()) << path;
}

TEST_P(VelkoRelease13Dxf, NavigateDumpEnds) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(GetParam());
    CommandOutcome r = RunVelko("dump --navigate --json " + path);
    ASSERT_EQ(r.status, 0) << path;
    const std::map<std::string, int> sections = JsonLines(r.out, path);
    for (const auto &[section, count] : sections)
        EXPECT_EQ(section, "navigate") << path << ": " << count;
    CommandOutcome text = RunVelko("dump --navigate " + path);
    EXPECT_EQ(text.status, 0) << path;
}

TEST_P(VelkoRelease13Dxf, RenderWritesAWellFormedPage) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(GetParam());
    TempFile svg("r13_dxf_render_" + TestNameFor(GetParam()) + ".svg");
    CommandOutcome r = RunVelko("render --json " + path + " " + svg.path());
    ASSERT_EQ(r.status, 0) << r.out;
    std::string error;
    json::Value summary = json::Parse(r.out, &error);
    ASSERT_TRUE(error.empty()) << error << "\n" << r.out;
    // The page's groups: one per entity of model space along the display walk, its
    // vertices, sequence end and attributes drawn with the polyline or insert they follow.
    CommandOutcome walk = RunVelko("dump --navigate --json " + path);
    ASSERT_EQ(walk.status, 0) << path;
    int groups = 0;
    std::istringstream lines(walk.out);
    std::string line;
    while (std::getline(lines, line)) {
        json::Value v = json::Parse(line, &error);
        const std::string kind = v["kind"].as_string();
        if (kind != "VERTEX" && kind != "SEQEND" && kind != "ATTRIB" && v["space"].as_number() == 0)
            ++groups;
    }
    EXPECT_EQ(summary["entities"].as_number(), groups) << path;
    xml::Document page = xml::Parse(ReadText(svg.path()));
    ASSERT_TRUE(page.ok()) << page.error;
    EXPECT_EQ(page.root->name, "svg");
}

INSTANTIATE_TEST_SUITE_P(Dxf13, VelkoRelease13Dxf, ::testing::ValuesIn(OpeningDrawings()),
                         [](const ::testing::TestParamInfo<std::string> &info) {
                             return TestNameFor(info.param);
                         });

TEST(VelkoRelease13DxfRefused, DumpAndRenderRefuseTheDrawingWithoutAModelSpaceBlock) {
    VELKO_REQUIRE_CORPUS();
    const std::string path = CorpusPath(kRefused);
    for (const char *command : {"dump ", "dump --json --blocks ", "dump --navigate "}) {
        CommandOutcome r = RunVelko(std::string(command) + path, true);
        EXPECT_EQ(r.status, 1) << command << r.out;
        EXPECT_NE(r.out.find(kRefusedReason), std::string::npos) << command << r.out;
    }
    TempFile svg("r13_dxf_render_refused.svg");
    CommandOutcome r = RunVelko("render " + path + " " + svg.path(), true);
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find(kRefusedReason), std::string::npos) << r.out;
}

} // namespace
} // namespace r13_dxf_cli
} // namespace velko_test
