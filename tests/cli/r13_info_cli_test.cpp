// velko info on release 13 drawings of the corpus: the release, the tables and the header,
// as text and as JSON; and a release 13 file that opens but does not load, refused with
// the library's message and a line that says what the loader met.
#include "support/corpus.h"
#include "support/mini_json.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using velko_test::CommandOutcome;
using velko_test::CorpusPath;
using velko_test::RunVelko;

TEST(VelkoRelease13Info, ShowsTheReleaseTablesAndHeader) {
    VELKO_REQUIRE_CORPUS();
    CommandOutcome r = RunVelko("info " + CorpusPath("dwg13/example_r13_relaid.dwg"));
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("version:     AC1012"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("release:     13"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("LAYER:       5"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("MLINESTYLE:  1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("limmax:      420, 297"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("handseed:    1FAF"), std::string::npos) << r.out;
}

TEST(VelkoRelease13Info, AsJson) {
    VELKO_REQUIRE_CORPUS();
    CommandOutcome r = RunVelko("info --json " + CorpusPath("dwg13/example_r13_relaid.dwg"));
    EXPECT_EQ(r.status, 0);
    std::string error;
    velko_test::json::Value v = velko_test::json::Parse(r.out, &error);
    ASSERT_TRUE(error.empty()) << error << "\n" << r.out;
    EXPECT_EQ(v["kind"].as_string(), "DWG");
    EXPECT_EQ(v["release"].as_number(), 13);
    EXPECT_EQ(v["tables"]["APPID"].as_number(), 9);
    EXPECT_EQ(v["tables"]["DIMSTYLE"].as_number(), 1);
    EXPECT_EQ(v["header"]["treedepth"].as_number(), 3020);
    EXPECT_EQ(v["header"]["acadver"].as_string(), "AC1012");
}

TEST(VelkoRelease13Info, AFileInAnotherWritersOrderIsRefusedWithTheReason) {
    VELKO_REQUIRE_CORPUS();
    CommandOutcome r = RunVelko("info --strict " + CorpusPath("dwg13/example_r13.dwg"), true);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Invalid File. (-405)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("not laid out in the order"), std::string::npos) << r.out;
}

TEST(VelkoRelease13Info, NamesTheFormAndReleaseOfEveryRelease13Dxf) {
    VELKO_REQUIRE_CORPUS();
    for (const char *file : {"dxf13/example_r13.dxf", "dxf13/small_r13.dxf", "dxf13/v.dxf",
                             "dxf13/uc.r13a.dxf", "dxf13/uc.r13b.dxf", "dxf13/bin_dxf_r13.dxf"}) {
        const bool binary = std::string(file).find("r13b") != std::string::npos ||
                            std::string(file).find("bin_") != std::string::npos;
        CommandOutcome r = RunVelko("info --json " + CorpusPath(file));
        EXPECT_EQ(r.status, 0) << file;
        std::string error;
        velko_test::json::Value v = velko_test::json::Parse(r.out, &error);
        ASSERT_TRUE(error.empty()) << error << "\n" << r.out;
        EXPECT_EQ(v["kind"].as_string(), binary ? "binary DXF" : "ASCII DXF") << file;
        EXPECT_EQ(v["version"].as_string(), "AC1012") << file;
        EXPECT_EQ(v["release"].as_number(), 13) << file;
    }
}

TEST(VelkoRelease13Info, ADxfWithoutAModelSpaceBlockIsRefusedWithTheReason) {
    VELKO_REQUIRE_CORPUS();
    CommandOutcome r = RunVelko("info " + CorpusPath("dxf13/ixmilia_r13.dxf"), true);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("no *MODEL_SPACE block"), std::string::npos) << r.out;
}

} // namespace
