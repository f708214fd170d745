// velko convert and velko new on release 13 drawings of the corpus: a DWG converted to DWG
// (and a DXF of release 13 to DWG) is written as "AC1012" and reads back with what the
// input holds; --release refuses an input of another release before anything is loaded;
// a release 13 drawing is written as DXF, ASCII or binary, and one that holds a kind the
// DXF writer refuses ends with a message naming the entity.
#include "interface/test_files.h"
#include "support/corpus.h"
#include "support/mini_json.h"
#include "support/run_command.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using velko_test::CommandOutcome;
using velko_test::CorpusPath;
using velko_test::RunCommand;
using velko_test::RunVelko;
using velko_test::TempFile;
namespace walk = velko_test::walk;

const char kRelaid[] = "dwg13/example_r13_relaid.dwg";
const char kDxf13[] = "dxf13/example_r13.dxf";
const std::string kSample12 = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

// velko with the arguments, stderr captured and stdout dropped.
CommandOutcome VelkoStderr(const std::string &arguments) {
    return RunCommand(std::string(VELKO_CLI) + " " + arguments + " 2>&1 >/dev/null");
}

std::string ReadAll(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool Exists(const std::string &path) {
    return std::ifstream(path).good();
}

// What a comparison across a conversion looks at: every table's size, and the kinds of the
// main list and of each block's list, in order.
struct Contents {
    bool opened = false;
    std::vector<int> tables;
    std::vector<int> main_kinds;
    std::vector<std::vector<int>> block_kinds;
};

Contents ReadContents(const std::string &path) {
    Contents c;
    walk::OpenDrawing d(path);
    c.opened = d.handle >= 0;
    if (!c.opened)
        return c;
    const int16_t h = d.handle;
    c.tables = {CDBBlockTableCount(h),     CDBLayerTableCount(h), CDBLineTypeTableCount(h),
                CDBStyleTableCount(h),     CDBVportTableCount(h), CDBViewTableCount(h),
                CDBUCSTableCount(h),       CDBAppidTableCount(h), CDBDimStyleTableCount(h),
                CDBMLineStyleTableCount(h)};
    c.main_kinds = walk::WalkKinds(h, -1);
    for (int16_t b = 0; b < CDBBlockTableCount(h); ++b)
        c.block_kinds.push_back(walk::WalkKinds(h, b));
    return c;
}

void ExpectSameContents(const Contents &after, const Contents &before) {
    ASSERT_TRUE(after.opened);
    EXPECT_EQ(after.tables, before.tables);
    EXPECT_EQ(after.main_kinds, before.main_kinds);
    EXPECT_EQ(after.block_kinds, before.block_kinds);
}

velko_test::json::Value ParseJson(const std::string &text) {
    std::string error;
    velko_test::json::Value v = velko_test::json::Parse(text, &error);
    EXPECT_TRUE(error.empty()) << error << "\n" << text;
    return v;
}

// The summary of a conversion as JSON, and the conversion's exit status.
struct Summary {
    int status = -1;
    velko_test::json::Value json;
};

Summary ConvertAsJson(const std::string &in, const std::string &out,
                      const std::string &extra = "") {
    Summary s;
    const CommandOutcome r = RunVelko("convert --json " + in + " " + out + " " + extra);
    s.status = r.status;
    if (r.status == 0)
        s.json = ParseJson(r.out);
    return s;
}

// Whether the library saves a release 13 drawing read from DXF as DWG in this build.
} // namespace

// ---- Release 13 DWG to DWG ------------------------------------------------------------------

TEST(Release13ConvertCli, DwgToDwgWritesAc1012HoldingWhatTheInputHolds) {
    VELKO_REQUIRE_CORPUS();
    const std::string in = CorpusPath(kRelaid);
    TempFile out("r13_convert_out.dwg");
    const CommandOutcome r = RunVelko("convert " + in + " " + out.path());
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("from:        DWG"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("to:          DWG"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("entities:"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("seconds:"), std::string::npos) << r.out;

    EXPECT_EQ(ReadAll(out.path()).compare(0, 6, "AC1012"), 0);
    const CommandOutcome info = RunVelko("info " + out.path());
    EXPECT_EQ(info.status, 0) << info.out;
    EXPECT_NE(info.out.find("version:     AC1012"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("release:     13"), std::string::npos) << info.out;
    ExpectSameContents(ReadContents(out.path()), ReadContents(in));
}

TEST(Release13ConvertCli, TheSummaryCountsAgainWhatTheWrittenFileHolds) {
    VELKO_REQUIRE_CORPUS();
    TempFile once("r13_convert_once.dwg"), twice("r13_convert_twice.dwg");
    const Summary first = ConvertAsJson(CorpusPath(kRelaid), once.path());
    ASSERT_EQ(first.status, 0);
    EXPECT_EQ(first.json["from"].as_string(), "DWG");
    EXPECT_EQ(first.json["to"].as_string(), "DWG");
    EXPECT_GT(first.json["entities"].as_number(), 0);
    EXPECT_GT(first.json["blocks"].as_number(), 0);
    EXPECT_GT(first.json["records"].as_number(), 0);
    EXPECT_EQ(first.json["bytes"].as_number(), double(ReadAll(once.path()).size()));

    // The file written, converted in turn, holds as many of each.
    const Summary second = ConvertAsJson(once.path(), twice.path());
    ASSERT_EQ(second.status, 0);
    EXPECT_EQ(second.json["entities"].as_number(), first.json["entities"].as_number());
    EXPECT_EQ(second.json["blocks"].as_number(), first.json["blocks"].as_number());
    EXPECT_EQ(second.json["records"].as_number(), first.json["records"].as_number());
}

TEST(Release13ConvertCli, QuietWritesTheFileAndPrintsNothing) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_convert_quiet.dwg");
    const CommandOutcome r =
        RunVelko("convert --quiet " + CorpusPath(kRelaid) + " " + out.path(), true);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(ReadAll(out.path()).compare(0, 6, "AC1012"), 0);
}

// ---- Release 13 DXF to DWG ------------------------------------------------------------------

TEST(Release13ConvertCli, DxfToDwgWritesAc1012HoldingWhatTheDxfHolds) {
    VELKO_REQUIRE_CORPUS();
    const std::string in = CorpusPath(kDxf13);
    TempFile out("r13_dxf_convert_out.dwg");
    const CommandOutcome r = RunVelko("convert " + in + " " + out.path());
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("from:        ASCII DXF"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("to:          DWG"), std::string::npos) << r.out;
    EXPECT_EQ(ReadAll(out.path()).compare(0, 6, "AC1012"), 0);
    const CommandOutcome info = RunVelko("info " + out.path());
    EXPECT_EQ(info.status, 0) << info.out;
    EXPECT_NE(info.out.find("version:     AC1012"), std::string::npos) << info.out;
    ExpectSameContents(ReadContents(out.path()), ReadContents(in));
}

// ---- A drawing is saved in the release it was read in ---------------------------------------

TEST(Release13ConvertCli, Release12AskedOfARelease13InputIsRefusedBeforeLoading) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_release_refused.dwg");
    const CommandOutcome r =
        VelkoStderr("convert " + CorpusPath(kRelaid) + " " + out.path() + " --release 12");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("release 13 drawing"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("saved in the release it was read in"), std::string::npos) << r.out;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << "one line: " << r.out;
    EXPECT_FALSE(Exists(out.path()));
}

TEST(Release13ConvertCli, Release12AskedOfARelease13DxfIsRefusedInEitherForm) {
    VELKO_REQUIRE_CORPUS();
    for (const char *dxf : {kDxf13, "dxf13/bin_dxf_r13.dxf"}) {
        TempFile out("r13_dxf_release_refused.dwg");
        const CommandOutcome r =
            VelkoStderr("convert --release 12 " + CorpusPath(dxf) + " " + out.path());
        EXPECT_EQ(r.status, 1) << dxf;
        EXPECT_NE(r.out.find("release 13 drawing"), std::string::npos) << r.out;
        EXPECT_FALSE(Exists(out.path())) << dxf;
    }
}

TEST(Release13ConvertCli, Release13AskedOfARelease12InputIsRefusedBeforeLoading) {
    TempFile out("r12_release_refused.dwg");
    const CommandOutcome r = VelkoStderr("convert --release 13 " + kSample12 + " " + out.path());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("release 12 drawing"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("saved in the release it was read in"), std::string::npos) << r.out;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << "one line: " << r.out;
    EXPECT_FALSE(Exists(out.path()));
}

TEST(Release13ConvertCli, TheInputsOwnReleaseConvertsAsWithoutTheOption) {
    TempFile out12("r12_release_kept.dwg");
    EXPECT_EQ(RunVelko("convert --release 12 " + kSample12 + " " + out12.path()).status, 0);
    EXPECT_EQ(ReadAll(out12.path()).compare(0, 6, "AC1009"), 0);
    VELKO_REQUIRE_CORPUS();
    TempFile out13("r13_release_kept.dwg");
    EXPECT_EQ(
        RunVelko("convert " + CorpusPath(kRelaid) + " " + out13.path() + " --release 13").status,
        0);
    EXPECT_EQ(ReadAll(out13.path()).compare(0, 6, "AC1012"), 0);
}

TEST(Release13ConvertCli, AReleaseOtherThan12Or13IsWrongUsage) {
    TempFile out("release_usage.dwg");
    EXPECT_EQ(RunVelko("convert " + kSample12 + " " + out.path() + " --release 14").status, 2);
    EXPECT_EQ(RunVelko("convert " + kSample12 + " " + out.path() + " --release").status, 2);
    EXPECT_EQ(RunVelko("convert --release " + kSample12 + " " + out.path()).status, 2);
    EXPECT_NE(RunVelko("convert --help").out.find("--release 12|13"), std::string::npos);
}

// ---- Release 13 to DXF ----------------------------------------------------------------------

const char kPlainDxf13[] = "dxf13/v.dxf"; // lines and a text: nothing the DXF writer refuses

bool HoldsAc1012(const std::string &path) {
    return ReadAll(path).find("AC1012") != std::string::npos;
}

TEST(Release13ConvertCli, DxfToAsciiDxfWritesAc1012HoldingWhatTheInputHolds) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_to_ascii.dxf");
    const Summary s = ConvertAsJson(CorpusPath(kPlainDxf13), out.path());
    ASSERT_EQ(s.status, 0);
    EXPECT_EQ(s.json["to"].as_string(), "ASCII DXF");
    EXPECT_FALSE(s.json.has("note"));
    EXPECT_EQ(s.json["bytes"].as_number(), double(ReadAll(out.path()).size()));
    EXPECT_TRUE(HoldsAc1012(out.path()));
    ExpectSameContents(ReadContents(out.path()), ReadContents(CorpusPath(kPlainDxf13)));
}

TEST(Release13ConvertCli, DwgToDxfWritesAc1012HoldingWhatTheDwgHolds) {
    VELKO_REQUIRE_CORPUS();
    TempFile dwg("r13_to_dxf_by_dwg.dwg");
    TempFile out("r13_to_dxf_by_dwg.dxf");
    ASSERT_EQ(ConvertAsJson(CorpusPath(kPlainDxf13), dwg.path()).status, 0);
    const Summary s = ConvertAsJson(dwg.path(), out.path());
    ASSERT_EQ(s.status, 0);
    EXPECT_EQ(s.json["from"].as_string(), "DWG");
    EXPECT_EQ(s.json["to"].as_string(), "ASCII DXF");
    EXPECT_TRUE(HoldsAc1012(out.path()));
    ExpectSameContents(ReadContents(out.path()), ReadContents(dwg.path()));
}

// The binary form has no sentinel: the summary says so, and the file opens with the code of
// its first group.
TEST(Release13ConvertCli, BinaryDxfSaysItHasNoSentinel) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_to_binary.dxf");
    const Summary s = ConvertAsJson(CorpusPath(kPlainDxf13), out.path(), "--binary");
    ASSERT_EQ(s.status, 0);
    EXPECT_EQ(s.json["to"].as_string(), "binary DXF");
    EXPECT_NE(s.json["note"].as_string().find("sentinel"), std::string::npos);
    const std::string bytes = ReadAll(out.path());
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes.find("AutoCAD Binary DXF"), std::string::npos);
    EXPECT_TRUE(HoldsAc1012(out.path()));
    const CommandOutcome text =
        RunVelko("convert " + CorpusPath(kPlainDxf13) + " " + out.path() + " --binary");
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("sentinel"), std::string::npos) << text.out;
}

// The corpus's example DXF holds a 3DSOLID and REGIONs, kinds a release 13 DXF has no
// groups for: the save stops at the first of them, and the message names it by kind and
// handle.
TEST(Release13ConvertCli, Release13ToDxfStoppedByAnEntityNamesIt) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_to_dxf.dxf");
    const CommandOutcome r = VelkoStderr("convert " + CorpusPath(kDxf13) + " " + out.path());
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find(out.path()), std::string::npos) << r.out;
    const size_t at = r.out.find("the save stopped at the ");
    ASSERT_NE(at, std::string::npos) << r.out;
    const std::string rest = r.out.substr(at + std::strlen("the save stopped at the "));
    EXPECT_TRUE(rest.rfind("3DSOLID ", 0) == 0 || rest.rfind("REGION ", 0) == 0) << r.out;
    EXPECT_EQ(r.out.find("not written as DXF yet"), std::string::npos) << r.out;
}

// ---- velko new ------------------------------------------------------------------------------

TEST(Release13NewCli, ARelease13TemplateMakesARelease13Dwg) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_new_out.dwg");
    const CommandOutcome r = RunVelko("new --json " + CorpusPath(kRelaid) + " " + out.path());
    ASSERT_EQ(r.status, 0) << r.out;
    const velko_test::json::Value v = ParseJson(r.out);
    EXPECT_EQ(v["to"].as_string(), "DWG");
    EXPECT_EQ(v["bytes"].as_number(), double(ReadAll(out.path()).size()));
    EXPECT_EQ(ReadAll(out.path()).compare(0, 6, "AC1012"), 0);
    ExpectSameContents(ReadContents(out.path()), ReadContents(CorpusPath(kRelaid)));
}

TEST(Release13NewCli, ARelease13TemplateAskedForAsDxfMakesAnAc1012Dxf) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_new_out.dxf");
    const CommandOutcome r = RunVelko("new --json " + CorpusPath(kPlainDxf13) + " " + out.path());
    ASSERT_EQ(r.status, 0) << r.out;
    const velko_test::json::Value v = ParseJson(r.out);
    EXPECT_EQ(v["to"].as_string(), "ASCII DXF");
    EXPECT_TRUE(HoldsAc1012(out.path()));
    ExpectSameContents(ReadContents(out.path()), ReadContents(CorpusPath(kPlainDxf13)));
}

TEST(Release13NewCli, ATemplateTheDxfWriterRefusesNamesTheEntity) {
    VELKO_REQUIRE_CORPUS();
    TempFile out("r13_new_refused.dxf");
    const CommandOutcome r = VelkoStderr("new " + CorpusPath(kDxf13) + " " + out.path());
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find(out.path()), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("the save stopped at the "), std::string::npos) << r.out;
}
