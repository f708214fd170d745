// velko batch over the corpus and over a folder of damaged copies: every drawing gets its
// line, the summary counts them, and the exit status says whether all succeeded.
#include "support/corpus.h"
#include "support/mini_json.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <strings.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace json = velko_test::json;
using velko_test::RunVelko;

// A folder under the test temporary folder, removed when the object goes.
class TempFolder {
public:
    explicit TempFolder(const std::string &name)
        : path_(::testing::TempDir() + "velko_batch_" + std::to_string(::getpid()) + "_" + name) {
        fs::remove_all(path_);
        fs::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// The lines of a batch's JSON output: one per file by its name, and the summary.
struct BatchLines {
    std::map<std::string, json::Value> files;
    json::Value summary;
    int unparsed = 0;
};

BatchLines ParseLines(const std::string &out) {
    BatchLines lines;
    std::istringstream in(out);
    std::string line;
    while (std::getline(in, line)) {
        std::string error;
        json::Value v = json::Parse(line, &error);
        if (!error.empty() || !v.is_object())
            ++lines.unparsed;
        else if (v.has("summary"))
            lines.summary = v;
        else
            lines.files[v["file"].as_string()] = v;
    }
    return lines;
}

// Every drawing below the corpus folder, relative to it.
std::vector<std::string> CorpusDrawings() {
    std::vector<std::string> drawings;
    for (const std::string &f : velko_test::CorpusFiles()) {
        const std::string ext = fs::path(f).extension().string();
        if (ext.size() == 4 &&
            (strcasecmp(ext.c_str(), ".dwg") == 0 || strcasecmp(ext.c_str(), ".dxf") == 0))
            drawings.push_back(f);
    }
    return drawings;
}

void ExpectEveryFileReported(const BatchLines &lines, const std::vector<std::string> &files) {
    EXPECT_EQ(lines.unparsed, 0);
    EXPECT_EQ(lines.files.size(), files.size());
    for (const std::string &f : files) {
        auto it = lines.files.find(f);
        ASSERT_NE(it, lines.files.end()) << f << " has no line";
        const std::string result = it->second["result"].as_string();
        EXPECT_TRUE(result == "ok" || result == "refused" || result == "crashed" ||
                    result == "timeout")
            << f << ": " << result;
        EXPECT_TRUE(it->second["entities"].is_number()) << f;
        EXPECT_TRUE(it->second["blocks"].is_number()) << f;
        EXPECT_TRUE(it->second["seconds"].is_number()) << f;
        EXPECT_TRUE(it->second["code"].is_number()) << f;
        EXPECT_TRUE(it->second["message"].is_string()) << f;
    }
    ASSERT_TRUE(lines.summary.is_object());
    EXPECT_EQ(lines.summary["files"].as_number(), static_cast<double>(files.size()));
}

TEST(BatchCli, ConvertsTheCorpusWithAJsonLinePerFile) {
    VELKO_REQUIRE_CORPUS();
    TempFolder out("corpus");
    const auto outcome = RunVelko("batch convert " + velko_test::CorpusDir() + " " + out.path() +
                                  " --jobs 2 --json");
    const std::vector<std::string> files = CorpusDrawings();
    const BatchLines lines = ParseLines(outcome.out);
    ExpectEveryFileReported(lines, files);
    const double ok = lines.summary["ok"].as_number();
    EXPECT_EQ(outcome.status, ok == files.size() ? 0 : 1);
    for (const auto &entry : lines.files) {
        if (entry.second["result"].as_string() == "ok") {
            EXPECT_TRUE(fs::is_regular_file(out.path() + "/" + entry.first)) << entry.first;
        }
    }
    // The originals that the library's own test data shows readable convert.
    EXPECT_GT(ok, files.size() / 2);
}

TEST(BatchCli, StrictReadingRefusesWhatTheTolerantRoadTakes) {
    VELKO_REQUIRE_CORPUS();
    TempFolder out("strict");
    const auto tolerant =
        RunVelko("batch info " + velko_test::CorpusDir() + " " + out.path() + " --json");
    const auto strict =
        RunVelko("batch info " + velko_test::CorpusDir() + " " + out.path() + " --json --strict");
    const BatchLines a = ParseLines(tolerant.out), b = ParseLines(strict.out);
    ASSERT_TRUE(a.summary.is_object());
    ASSERT_TRUE(b.summary.is_object());
    EXPECT_GE(a.summary["ok"].as_number(), b.summary["ok"].as_number());
    EXPECT_EQ(strict.status, 1); // the corpus holds drawings the original reading refuses
    // info writes nothing.
    EXPECT_TRUE(fs::is_empty(out.path()));
}

TEST(BatchCli, DamagedCopiesAreEachChargedAndTheWalkGoesOn) {
    VELKO_REQUIRE_CORPUS();
    TempFolder in("damaged_in"), out("damaged_out");
    std::vector<std::string> files;
    int n = 0;
    for (const std::string &f : CorpusDrawings()) {
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(velko_test::ReadWholeFile(velko_test::CorpusPath(f), &bytes));
        if (bytes.size() < 64)
            continue;
        // Three kinds of damage: cut in half, bytes overwritten in the middle, and the
        // first bytes spoiled.
        std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + bytes.size() / 2);
        std::vector<uint8_t> holed = bytes;
        for (size_t i = bytes.size() / 3; i < bytes.size() / 3 + 32; ++i)
            holed[i] = static_cast<uint8_t>(0xA5 ^ i);
        std::vector<uint8_t> headless = bytes;
        for (size_t i = 0; i < 8; ++i)
            headless[i] = '#';
        const std::string ext = fs::path(f).extension().string();
        const std::string stem = "d" + std::to_string(n++);
        const std::vector<std::pair<std::string, std::vector<uint8_t> *>> copies = {
            {"cut/" + stem + ext, &cut},
            {"holed/" + stem + ext, &holed},
            {"headless/" + stem + ext, &headless}};
        for (const auto &copy : copies) {
            fs::create_directories(fs::path(in.path() + "/" + copy.first).parent_path());
            ASSERT_TRUE(velko_test::WriteWholeFile(in.path() + "/" + copy.first,
                                                   copy.second->data(), copy.second->size()));
            files.push_back(copy.first);
        }
    }
    const auto outcome =
        RunVelko("batch convert " + in.path() + " " + out.path() + " --jobs 2 --json");
    const BatchLines lines = ParseLines(outcome.out);
    ExpectEveryFileReported(lines, files);
    EXPECT_EQ(outcome.status, 1); // spoiled first bytes are refused at least
    EXPECT_GT(lines.summary["refused"].as_number(), 0);
}

std::string Bytes(const std::string &path) {
    std::vector<uint8_t> bytes;
    velko_test::ReadWholeFile(path, &bytes);
    return std::string(bytes.begin(), bytes.end());
}

TEST(BatchCli, AFolderThatAllConvertsEndsWithZeroAndWritesWhatConvertWrites) {
    TempFolder in("good"), out("good_out"), single("single");
    const std::string picture = std::string(VELKO_SOURCE_DIR) + "/data/picture.dwg";
    fs::create_directories(in.path() + "/sub");
    fs::copy_file(picture, in.path() + "/a.DWG");
    fs::copy_file(picture, in.path() + "/sub/b.dwg");
    ASSERT_EQ(RunVelko("convert " + picture + " " + in.path() + "/sub/c.dxf --quiet").status, 0);
    const auto outcome = RunVelko("batch convert " + in.path() + " " + out.path() + " --json");
    EXPECT_EQ(outcome.status, 0);
    const BatchLines lines = ParseLines(outcome.out);
    ExpectEveryFileReported(lines, {"a.DWG", "sub/b.dwg", "sub/c.dxf"});
    EXPECT_EQ(lines.summary["ok"].as_number(), 3);
    EXPECT_GT(lines.files.at("a.DWG")["entities"].as_number(), 0);
    // Each file as velko convert writes it for the same name.
    for (const char *name : {"a.DWG", "sub/b.dwg", "sub/c.dxf"}) {
        const std::string input = in.path() + "/" + name;
        const std::string expected = single.path() + "/" + fs::path(name).filename().string();
        ASSERT_EQ(RunVelko("convert " + input + " " + expected + " --quiet").status, 0);
        EXPECT_EQ(Bytes(out.path() + "/" + name), Bytes(expected)) << name;
    }
}

TEST(BatchCli, AWorkerPastItsTimeIsKilledAndChargedToItsFile) {
    VELKO_REQUIRE_CORPUS();
    TempFolder in("slow"), out("slow_out");
    fs::copy_file(velko_test::CorpusPath("dxf13/example_r13.dxf"), in.path() + "/slow.dxf");
    const auto outcome =
        RunVelko("batch info " + in.path() + " " + out.path() + " --timeout 0.0001 --json");
    EXPECT_EQ(outcome.status, 1);
    const BatchLines lines = ParseLines(outcome.out);
    ExpectEveryFileReported(lines, {"slow.dxf"});
    EXPECT_EQ(lines.files.at("slow.dxf")["result"].as_string(), "timeout");
}

TEST(BatchCli, AWorkerThatDiesIsChargedToItsFileAndTheWalkGoesOn) {
    TempFolder in("dying"), out("dying_out");
    const std::string picture = std::string(VELKO_SOURCE_DIR) + "/data/picture.dwg";
    for (const char *name : {"a.dwg", "b.dwg", "c.dwg"})
        fs::copy_file(picture, in.path() + "/" + name);
    // Under a limit of 2 kB per written file every worker is killed by SIGXFSZ while it
    // saves; the batch itself writes only to its pipe.
    const auto outcome =
        velko_test::RunCommand("ulimit -c 0; ulimit -f 2; " + std::string(VELKO_CLI) +
                               " batch convert " + in.path() + " " + out.path() + " --json");
    EXPECT_EQ(outcome.status, 1);
    const BatchLines lines = ParseLines(outcome.out);
    ExpectEveryFileReported(lines, {"a.dwg", "b.dwg", "c.dwg"});
    EXPECT_EQ(lines.summary["crashed"].as_number(), 3);
    for (const auto &entry : lines.files) {
        EXPECT_EQ(entry.second["result"].as_string(), "crashed");
        EXPECT_NE(entry.second["message"].as_string().find("signal"), std::string::npos);
    }
}

TEST(BatchCli, WrongUsageEndsWithTwo) {
    EXPECT_EQ(RunVelko("batch").status, 2);
    EXPECT_EQ(RunVelko("batch copy a b").status, 2);
    EXPECT_EQ(RunVelko("batch info " + std::string(VELKO_SOURCE_DIR) + "/data").status, 2);
    EXPECT_EQ(RunVelko("batch info /nonexistent/folder /tmp --json").status, 2);
    EXPECT_EQ(
        RunVelko("batch info " + std::string(VELKO_SOURCE_DIR) + "/data /tmp --jobs 0").status, 2);
}

} // namespace
