// velko dump, run as a user runs it, on drawings made by the walk tests' helpers.
#include "support/run_command.h"
#include "support/mini_json.h"
#include "walk/walk_support.h"
#include "records/entity_kinds.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace velko_test {
namespace walk {
namespace {

using CliRun = CommandOutcome;

CliRun Velko(const std::string &arguments) {
    return RunVelko(arguments);
}

// Each line of the output as a JSON object.
std::vector<json::Value> Lines(const std::string &out) {
    std::vector<json::Value> lines;
    std::istringstream in(out);
    std::string line;
    while (std::getline(in, line)) {
        std::string error;
        json::Value v = json::Parse(line, &error);
        EXPECT_TRUE(error.empty()) << error << ": " << line;
        lines.push_back(v);
    }
    return lines;
}

class WalkDumpCli : public testing::Test {
protected:
    void SetUp() override {
        std::vector<BlockDef> blocks = {
            {"B", 0, Join({BlockBegin(1, 2), Text(3, 4, 0.5, "IN \"B\""), BlockEnd()})}};
        Bytes eed = {1, 0, 0, 0, 2, 'h', 'i', 70, 7, 0};
        Bytes main = Join(
            {FrameBytes(CDB_LINE).Flags(0x04).Eed(eed).Xy(1, 2).Xy(3, 4).Build(), Insert(0, 5, 6)});
        path_ = ::testing::TempDir() + "velko_walk_dump_" + std::to_string(getpid()) + ".dwg";
        ASSERT_TRUE(WriteFile(path_, BuildDrawing(main, blocks)));
    }
    void TearDown() override { std::remove(path_.c_str()); }
    std::string path_;
};

TEST_F(WalkDumpCli, JsonGivesOneObjectPerEntityInAStableOrder) {
    CliRun r = Velko("dump --json " + path_);
    ASSERT_EQ(r.status, 0) << r.out;
    std::vector<json::Value> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 3u) << r.out; // line, insert, sentinel
    const json::Value &line = lines[0];
    ASSERT_TRUE(line.is_object());
    std::vector<std::string> keys;
    for (const json::Value::Member &m : line.members())
        keys.push_back(m.first);
    const std::vector<std::string> expected = {
        "section", "id",         "position",    "kind",      "type",      "handle",
        "layer",   "layer_name", "line_type",   "color",     "elevation", "thickness",
        "space",   "extrusion",  "start_point", "end_point", "eed"};
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(line["kind"].as_string(), "LINE");
    EXPECT_EQ(line["id"].as_number(), 1073741824.0);
    EXPECT_EQ(line["layer_name"].as_string(), "0");
    EXPECT_EQ(line["start_point"].at(0).as_number(), 1.0);
    EXPECT_EQ(line["end_point"].at(1).as_number(), 4.0);
    const json::Value &eed = line["eed"];
    ASSERT_EQ(eed.size(), 3u) << r.out;
    EXPECT_EQ(eed.at(0).at(0).as_number(), 1001.0);
    EXPECT_EQ(eed.at(1).at(1).as_string(), "hi");
    EXPECT_EQ(eed.at(2).at(0).as_number(), 1070.0);
    EXPECT_EQ(eed.at(2).at(1).as_number(), 7.0);
    EXPECT_EQ(lines[1]["kind"].as_string(), "INSERT");
    EXPECT_EQ(lines[1]["block_index"].as_number(), 0.0);
    EXPECT_EQ(lines[2]["kind"].as_string(), "ENDBLK");

    // The same drawing gives the same text.
    EXPECT_EQ(Velko("dump --json " + path_).out, r.out);
}

TEST_F(WalkDumpCli, BlocksAddTheirRecordsAndEntities) {
    CliRun r = Velko("dump --json --blocks " + path_);
    ASSERT_EQ(r.status, 0);
    std::vector<json::Value> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 6u) << r.out;
    EXPECT_EQ(lines[3]["section"].as_string(), "block_record");
    EXPECT_EQ(lines[3]["name"].as_string(), "B");
    EXPECT_EQ(lines[3]["base_point"].at(1).as_number(), 2.0);
    EXPECT_EQ(lines[4]["section"].as_string(), "block");
    EXPECT_EQ(lines[4]["kind"].as_string(), "TEXT");
    EXPECT_EQ(lines[4]["text"].as_string(), "IN \"B\"");
    EXPECT_EQ(lines[5]["kind"].as_string(), "ENDBLK");
}

TEST_F(WalkDumpCli, NavigatePrintsTheDisplayWalk) {
    CliRun r = Velko("dump --json --navigate " + path_);
    ASSERT_EQ(r.status, 0);
    std::vector<json::Value> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out; // the line, then the block's text
    EXPECT_EQ(lines[0]["kind"].as_string(), "LINE");
    EXPECT_EQ(lines[1]["kind"].as_string(), "TEXT");
    EXPECT_EQ(lines[1]["result"].as_number(), 0.0);
}

TEST_F(WalkDumpCli, TextForm) {
    CliRun r = Velko("dump " + path_);
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("0x40000000 LINE"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("start_point: 1, 2, 0"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("eed:         1001 0; 1000 \"hi\"; 1070 7"), std::string::npos) << r.out;
}

TEST_F(WalkDumpCli, KindNamesAreTheRegistrysNames) {
    CliRun r = Velko("dump --json --blocks " + path_);
    ASSERT_EQ(r.status, 0);
    int entities = 0;
    for (const json::Value &line : Lines(r.out)) {
        if (!line.has("type"))
            continue;
        ++entities;
        const int type = static_cast<int>(line["type"].as_number());
        EXPECT_EQ(line["kind"].as_string(), EntityKindName(type)) << type;
    }
    EXPECT_EQ(entities, 5) << r.out;
}

TEST(WalkDumpCliUsage, WrongUsageAndRefusedFiles) {
    EXPECT_EQ(Velko("dump").status, 2);
    EXPECT_EQ(Velko("dump --nonsense x.dwg").status, 2);
    EXPECT_EQ(Velko("dump /nonexistent/drawing.dwg").status, 1);
}

} // namespace
} // namespace walk
} // namespace velko_test
