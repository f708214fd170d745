// The command-line tool, run as a user runs it.
#include "support/run_command.h"
#include "interface/test_files.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

using Outcome = velko_test::CommandOutcome;
using velko_test::RunVelko;

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

} // namespace

TEST(VelkoCli, InfoOnTheShippedDrawing) {
    Outcome r = RunVelko("info " + kSample);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("AC1009"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("LAYER:       4"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("handseed:    2A0F"), std::string::npos) << r.out;
}

TEST(VelkoCli, InfoAsJson) {
    Outcome r = RunVelko("info --json " + kSample);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.front(), '{');
    EXPECT_NE(r.out.find("\"kind\": \"DWG\""), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"extmax\": [12, 9, 0]"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"tables\": {\"BLOCK\": 0, \"LAYER\": 4"), std::string::npos) << r.out;
}

TEST(VelkoCli, RefusedDrawingPrintsTheLibrarysMessageAndExitsOne) {
    velko_test::TempFile file("refused.dwg", std::string("AC1099") + std::string(400, '\0'));
    Outcome r = RunVelko("info " + file.path(), true);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Version Mismatch."), std::string::npos) << r.out;
}

TEST(VelkoCli, WrongUsageExitsTwo) {
    EXPECT_EQ(RunVelko("").status, 2);
    EXPECT_EQ(RunVelko("info").status, 2);
    EXPECT_EQ(RunVelko("frobnicate x").status, 2);
    EXPECT_EQ(RunVelko("--help").status, 0);
    EXPECT_EQ(RunVelko("info --help").status, 0);
}

TEST(VelkoCli, InfoTellsTheTolerantRoadsItsReadingTook) {
    // The shipped drawing needs none of them, read tolerantly (the default) or strictly.
    Outcome tolerant = RunVelko("info " + kSample);
    EXPECT_NE(tolerant.out.find("tolerant_reads: none"), std::string::npos) << tolerant.out;
    Outcome json = RunVelko("info --json " + kSample);
    EXPECT_NE(json.out.find("\"tolerant_reads\": []"), std::string::npos) << json.out;
}

TEST(VelkoCli, StrictIsTakenAnywhereOnTheCommandLine) {
    for (const std::string &line : {"--strict info " + kSample, "info --strict " + kSample,
                                    "info " + kSample + " --strict"}) {
        Outcome r = RunVelko(line);
        EXPECT_EQ(r.status, 0) << line << ": " << r.out;
    }
    Outcome help = RunVelko("--help");
    EXPECT_NE(help.out.find("--strict"), std::string::npos) << help.out;
}

TEST(VelkoCli, ShippedSampleIsWhatTheProjectsMakerWrites) {
    velko_test::TempFile made("sample_again.dwg");
    ASSERT_EQ(
        std::system((std::string(VELKO_MKSAMPLE) + " " + made.path() + " >/dev/null").c_str()), 0);
    std::ifstream a(kSample, std::ios::binary), b(made.path(), std::ios::binary);
    std::string shipped((std::istreambuf_iterator<char>(a)), std::istreambuf_iterator<char>());
    std::string fresh((std::istreambuf_iterator<char>(b)), std::istreambuf_iterator<char>());
    EXPECT_FALSE(shipped.empty());
    EXPECT_EQ(shipped, fresh);
}
