// The command-line tool on release 12 DXF: velko info and velko dump, run as a user runs
// them, on an ASCII DXF of the corpus and on a binary DXF made from it, against the DWG
// twin of the same drawing.
#include "support/run_command.h"
#include "support/corpus.h"
#include "support/mini_json.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace velko_test {
namespace {

using CliRun = velko_test::CommandOutcome;
CliRun Velko(const std::string &arguments, bool with_stderr = false) {
    return velko_test::RunVelko(arguments, with_stderr);
}

json::Value ParseJson(const std::string &text) {
    std::string error;
    json::Value v = json::Parse(text, &error);
    EXPECT_TRUE(error.empty()) << error << ": " << text.substr(0, 200);
    return v;
}

// ---------------------------------------------------------------------------
// A binary DXF of the same groups as an ASCII one
// ---------------------------------------------------------------------------

// The value type of a group in a release 12 binary file, by its code: 's' string, 'r'
// real, 'h' 16-bit integer, 'l' 32-bit integer, 'c' chunk, 0 none (the file cannot
// carry the group, and it is left out).
char BinaryType(int code) {
    if ((code >= 0 && code <= 9) || (code >= 1000 && code <= 1003) ||
        (code >= 1005 && code <= 1009))
        return 's';
    if ((code >= 10 && code <= 58) || (code >= 210 && code <= 230) ||
        (code >= 1010 && code <= 1042))
        return 'r';
    if ((code >= 62 && code <= 78) || code == 1070)
        return 'h';
    if (code == 1071)
        return 'l';
    if (code == 1004)
        return 'c';
    return 0;
}

// The groups of an ASCII DXF written as a binary DXF: the 22-byte sentinel, then each
// group as a one-byte code (255 and two bytes from 1000 on) and its value.
std::vector<uint8_t> BinaryDxfOf(const std::vector<uint8_t> &ascii) {
    std::vector<std::string> lines;
    std::string line;
    for (uint8_t c : ascii) {
        if (c == '\r')
            continue;
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line.push_back(static_cast<char>(c));
        }
    }
    static const char sentinel[22] = {'A', 'u', 't', 'o', 'C', 'A', 'D', ' ',  'B',  'i',  'n',
                                      'a', 'r', 'y', ' ', 'D', 'X', 'F', '\r', '\n', 0x1A, 0};
    std::vector<uint8_t> out(sentinel, sentinel + sizeof sentinel);
    auto put = [&out](const void *p, size_t n) {
        const uint8_t *b = static_cast<const uint8_t *>(p);
        out.insert(out.end(), b, b + n);
    };
    for (size_t i = 0; i + 1 < lines.size(); i += 2) {
        const int code = static_cast<int>(std::strtol(lines[i].c_str(), nullptr, 10));
        const std::string &value = lines[i + 1];
        const char type = BinaryType(code);
        if (!type)
            continue;
        if (code < 255) {
            out.push_back(static_cast<uint8_t>(code));
        } else {
            out.push_back(255);
            out.push_back(static_cast<uint8_t>(code & 0xFF));
            out.push_back(static_cast<uint8_t>(code >> 8));
        }
        switch (type) {
        case 's':
            put(value.c_str(), value.size() + 1);
            break;
        case 'r': {
            const double d = std::strtod(value.c_str(), nullptr);
            put(&d, 8);
            break;
        }
        case 'h': {
            const int16_t v = static_cast<int16_t>(std::strtol(value.c_str(), nullptr, 10));
            put(&v, 2);
            break;
        }
        case 'l': {
            const int32_t v = static_cast<int32_t>(std::strtol(value.c_str(), nullptr, 10));
            put(&v, 4);
            break;
        }
        default: {
            std::vector<uint8_t> data;
            for (size_t k = 0; k + 1 < value.size() && data.size() < 255; k += 2)
                data.push_back(
                    static_cast<uint8_t>(std::strtol(value.substr(k, 2).c_str(), nullptr, 16)));
            out.push_back(static_cast<uint8_t>(data.size()));
            put(data.data(), data.size());
            break;
        }
        }
    }
    return out;
}

// ---------------------------------------------------------------------------
// The twins
// ---------------------------------------------------------------------------

class DxfCli : public testing::Test {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        dwg_ = CorpusPath("dwg12/entities-2d.dwg");
        dxf_ = CorpusPath("dxf12/entities-2d.dxf");
        std::vector<uint8_t> ascii;
        ASSERT_TRUE(ReadWholeFile(dxf_, &ascii)) << dxf_;
        binary_ = ::testing::TempDir() + "velko_dxf_cli_" + std::to_string(::getpid()) +
                  "_entities-2d.bin.dxf";
        const std::vector<uint8_t> bytes = BinaryDxfOf(ascii);
        ASSERT_TRUE(WriteWholeFile(binary_, bytes.data(), bytes.size()));
    }
    void TearDown() override {
        if (!binary_.empty())
            std::remove(binary_.c_str());
    }

    std::string dwg_, dxf_, binary_;
};

// The table counts and the release that velko info reports for a file.
struct InfoSummary {
    std::string kind, version;
    int release = 0;
    std::map<std::string, int> tables;
};

InfoSummary InfoOf(const std::string &path) {
    InfoSummary s;
    CliRun r = Velko("info --json " + path);
    EXPECT_EQ(r.status, 0) << path << ": " << r.out;
    json::Value v = ParseJson(r.out);
    s.kind = v["kind"].as_string();
    s.version = v["version"].as_string();
    s.release = static_cast<int>(v["release"].as_number(-1));
    for (const json::Value::Member &m : v["tables"].members())
        s.tables[m.first] = static_cast<int>(m.second.as_number(-1));
    return s;
}

std::string Show(const std::map<std::string, int> &counts) {
    std::string s = "{";
    for (const auto &kv : counts)
        s += " " + kv.first + ":" + std::to_string(kv.second);
    return s + " }";
}

TEST_F(DxfCli, InfoNamesTheAsciiFormAndGivesTheDwgTwinsTableCounts) {
    InfoSummary dwg = InfoOf(dwg_);
    InfoSummary dxf = InfoOf(dxf_);
    EXPECT_EQ(dwg.kind, "DWG");
    EXPECT_EQ(dxf.kind, "ASCII DXF");
    EXPECT_EQ(dxf.version, "AC1009");
    EXPECT_EQ(dxf.release, 12);
    EXPECT_FALSE(dxf.tables.empty());
    EXPECT_EQ(Show(dxf.tables), Show(dwg.tables));

    CliRun text = Velko("info " + dxf_);
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("kind:        ASCII DXF"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("AC1009"), std::string::npos) << text.out;
}

TEST_F(DxfCli, InfoNamesTheBinaryFormAndGivesTheDwgTwinsTableCounts) {
    // The library's sniff cannot see the version of a binary file; info reads it from the
    // opened drawing and tells the form by the sentinel.
    InfoSummary dwg = InfoOf(dwg_);
    InfoSummary bin = InfoOf(binary_);
    EXPECT_EQ(bin.kind, "binary DXF");
    EXPECT_EQ(bin.version, "AC1009");
    EXPECT_EQ(bin.release, 12);
    EXPECT_EQ(Show(bin.tables), Show(dwg.tables));

    CliRun text = Velko("info " + binary_);
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("kind:        binary DXF"), std::string::npos) << text.out;
}

TEST_F(DxfCli, InfoOnADxfThatTheVersionCheckRefusesExitsOne) {
    // Comment groups stand before the first section of this drawing: "Invalid File." on
    // the original road.
    CliRun r = Velko("--strict info " + CorpusPath("dxf12/cc_dxflib.dxf"), true);
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find("Invalid File."), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("(-405)"), std::string::npos) << r.out;
}

TEST_F(DxfCli, InfoReadsADxfWithCommentsOnTheTolerantRoadAndSaysSo) {
    CliRun r = Velko("info " + CorpusPath("dxf12/cc_dxflib.dxf"), true);
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("tolerant_reads: comments"), std::string::npos) << r.out;
}

// What velko dump --json --blocks gives, counted: kinds by section ("entities", and
// "block N" for each block's list) and the number of block records.
std::map<std::string, int> DumpCounts(const std::string &path, int *lines) {
    std::map<std::string, int> counts;
    CliRun r = Velko("dump --json --blocks " + path);
    EXPECT_EQ(r.status, 0) << path;
    std::istringstream in(r.out);
    std::string line;
    *lines = 0;
    while (std::getline(in, line)) {
        ++*lines;
        json::Value v = ParseJson(line);
        const std::string &section = v["section"].as_string();
        if (section == "block_record") {
            ++counts["block records"];
            continue;
        }
        std::string where = section;
        if (section == "block")
            where += " " + std::to_string(static_cast<int>(v["block"].as_number(-1)));
        ++counts[where + " " + v["kind"].as_string()];
    }
    return counts;
}

TEST_F(DxfCli, DumpOfBothFormsCountsAsTheDwgTwin) {
    int dwg_lines = 0, dxf_lines = 0, bin_lines = 0;
    const std::map<std::string, int> dwg = DumpCounts(dwg_, &dwg_lines);
    const std::map<std::string, int> dxf = DumpCounts(dxf_, &dxf_lines);
    const std::map<std::string, int> bin = DumpCounts(binary_, &bin_lines);
    // 19 entities and the end marker, 3 block records, 3 lists of 2, 2 and 9.
    EXPECT_EQ(dwg_lines, 20 + 3 + 2 + 2 + 9);
    EXPECT_EQ(Show(dxf), Show(dwg));
    EXPECT_EQ(Show(bin), Show(dwg));
    EXPECT_EQ(dxf_lines, dwg_lines);
    EXPECT_EQ(bin_lines, dwg_lines);
}

TEST_F(DxfCli, DumpOfBothFormsGivesTheSameRecords) {
    // The binary copy carries each real as a double: read back through 12 significant
    // digits it meets the ASCII text's 6 decimals exactly, so the two dumps agree line by
    // line.
    CliRun a = Velko("dump --json --blocks " + dxf_);
    CliRun b = Velko("dump --json --blocks " + binary_);
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(b.status, 0);
    EXPECT_FALSE(a.out.empty());
    EXPECT_EQ(a.out, b.out);
}

TEST_F(DxfCli, NavigateDumpEndsOnBothForms) {
    for (const std::string &path : {dxf_, binary_}) {
        CliRun r = Velko("dump --navigate " + path);
        EXPECT_EQ(r.status, 0) << path;
        EXPECT_NE(r.out.find("DIMENSION"), std::string::npos) << path;
    }
}

} // namespace
} // namespace velko_test
