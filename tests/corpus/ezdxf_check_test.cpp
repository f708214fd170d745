// An outside check of the DXF writer: every DXF file that the round-trip tests write is
// read by ezdxf, the Python package of another maker, which must read it without an error
// and find the same number of entities of each kind (model space, paper space and blocks)
// as the library counts.
//
// ezdxf is the Debian package python3-ezdxf, run by the system's interpreter
// /usr/bin/python3 (the "python3" on a developer's PATH may be another one, without it).
// When it is missing the test is skipped with the reason, and fails when CI is "true".
//
// The files: each release 12 drawing of the corpus saved as ASCII DXF, as binary DXF and
// as ASCII DXF by way of DWG, written here again under the names the round-trip tests use
// in the round-trip folder, and the files that the edit round trip left there.
#include "support/run_command.h"
#include "support/corpus.h"
#include "support/drawing_snapshot.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#ifndef VELKO_SOURCE_DIR
#define VELKO_SOURCE_DIR "."
#endif

namespace velko_test {
namespace {

using snapshot::RoundTripFolder;
using snapshot::SaveCopy;
using snapshot::SaveForm;
using snapshot::Snapshot;

const char kPython[] = "/usr/bin/python3";

std::string Script() {
    return std::string(VELKO_SOURCE_DIR) + "/tests/support/ezdxf_count.py";
}

// Runs a command and gives its standard output; false when it could not run or failed.
bool RunCommand(const std::string &command, std::string *out) {
    const CommandOutcome outcome = velko_test::RunCommand(command);
    *out += outcome.out;
    return outcome.status == 0;
}

std::string Quoted(const std::string &text) {
    std::string q = "'";
    for (char c : text)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Why ezdxf cannot serve, or "" when it can.
std::string EzdxfMissing() {
    std::error_code ec;
    if (!std::filesystem::exists(kPython, ec))
        return std::string(kPython) + " is missing";
    std::string out;
    if (!RunCommand(std::string(kPython) + " " + Quoted(Script()) + " --probe 2>&1", &out))
        return "ezdxf cannot be imported by " + std::string(kPython) +
               " (install the Debian package python3-ezdxf): " + out;
    return "";
}

// A written file and the drawing whose entities it holds: the file itself when the library
// reads it back, otherwise the drawing it was written from.
struct Written {
    std::string path;
    std::string counted_from;
    std::string source; // the corpus drawing it comes from, "" for none
};

std::string Describe(const std::map<std::string, int> &counts) {
    std::string text;
    for (const auto &kv : counts)
        text += " " + kv.first + "=" + std::to_string(kv.second);
    return text.empty() ? " (none)" : text;
}

TEST(EzdxfCheck, EveryWrittenDxfReadsInEzdxfWithTheLibrarysCounts) {
    VELKO_REQUIRE_CORPUS();
    const std::string missing = EzdxfMissing();
    if (!missing.empty()) {
        if (CorpusRequired())
            FAIL() << missing << " (CI=true: a failure)";
        GTEST_SKIP() << missing;
    }

    // The files, written again as the round-trip tests write them.
    std::vector<Written> files;
    const std::string folder = RoundTripFolder();
    for (const std::string &relative : snapshot::RoundTripSources(true)) {
        const std::string source = CorpusPath(relative);
        {
            Snapshot a(source);
            if (!a.opened())
                continue;
        }
        const std::string stem = folder + TestNameFor(relative);
        const std::string ascii = stem + ".ascii.dxf", binary = stem + ".binary.dxf";
        const std::string dwg = stem + ".via.dwg", via = stem + ".via_dwg.dxf";
        ASSERT_EQ(SaveCopy(source, ascii, SaveForm::kAsciiDxf), "");
        ASSERT_EQ(SaveCopy(source, binary, SaveForm::kBinaryDxf), "");
        ASSERT_EQ(SaveCopy(source, dwg, SaveForm::kDwg), "");
        ASSERT_EQ(SaveCopy(dwg, via, SaveForm::kAsciiDxf), "");
        files.push_back({ascii, ascii, source});
        files.push_back({binary, source, source});
        files.push_back({via, via, source});
    }
    // The edit round trip's files, when that test has left them.
    std::error_code ec;
    for (const auto &entry : std::filesystem::directory_iterator(folder, ec)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, 5, "edit_") != 0 || entry.path().extension() != ".dxf")
            continue;
        // A binary file that the library's binary reader cannot take (dimension styles)
        // counts as its ASCII twin.
        std::string counted = entry.path().string();
        const std::string binary = ".binary.dxf";
        if (counted.size() > binary.size() &&
            counted.compare(counted.size() - binary.size(), binary.size(), binary) == 0)
            counted = counted.substr(0, counted.size() - binary.size()) + ".ascii.dxf";
        files.push_back({entry.path().string(), counted, ""});
    }
    ASSERT_FALSE(files.empty());

    std::string command = std::string(kPython) + " " + Quoted(Script());
    for (const Written &w : files)
        command += " " + Quoted(w.path);
    // The corpus's own DXF files, for the drawings that ezdxf refuses from the start.
    for (const std::string &relative : snapshot::RoundTripSources(true)) {
        if (relative.compare(0, 6, "dxf12/") == 0)
            command += " " + Quoted(CorpusPath(relative));
    }
    std::string out;
    ASSERT_TRUE(RunCommand(command + " 2>&1", &out)) << command << ":\n" << out;

    std::map<std::string, std::string> lines; // file -> its JSON line
    size_t at = 0;
    while (at < out.size()) {
        size_t end = out.find('\n', at);
        if (end == std::string::npos)
            end = out.size();
        const std::string line = out.substr(at, end - at);
        at = end + 1;
        std::string error;
        const json::Value v = json::Parse(line, &error);
        ASSERT_TRUE(error.empty()) << "a line ezdxf_count.py should not give: " << line;
        lines[v["file"].as_string()] = line;
    }

    int checked = 0, refused_alike = 0;
    for (const Written &w : files) {
        const auto it = lines.find(w.path);
        if (it == lines.end()) {
            ADD_FAILURE() << w.path << ": no answer from ezdxf_count.py";
            continue;
        }
        const json::Value v = json::Parse(it->second);
        if (!v["ok"].as_bool()) {
            // A drawing that ezdxf refuses as the corpus has it (blocks without a name, which
            // the writer leaves without one) may be refused as written.
            const auto original = lines.find(w.source);
            if (original != lines.end() && !json::Parse(original->second)["ok"].as_bool()) {
                ++refused_alike;
                continue;
            }
            ADD_FAILURE() << w.path << ": ezdxf refuses it: " << v["error"].as_string();
            continue;
        }
        std::map<std::string, int> theirs;
        for (const auto &m : v["counts"].members())
            theirs[m.first] = static_cast<int>(m.second.as_number());
        Snapshot library(w.path);
        Snapshot source(w.counted_from);
        const Snapshot &counted = library.opened() ? library : source;
        if (!counted.opened()) {
            ADD_FAILURE() << w.path << ": the library reads neither it nor " << w.counted_from;
            continue;
        }
        std::map<std::string, int> ours;
        for (const auto &kv : counted.KindCounts())
            ours[kv.first] = kv.second;
        EXPECT_EQ(Describe(ours), Describe(theirs))
            << w.path << ": the library's counts (of " << counted.path() << ") against ezdxf's";
        ++checked;
    }
    RecordProperty("files", checked);
    RecordProperty("refused_as_the_original", refused_alike);
}

} // namespace
} // namespace velko_test
