// An outside check of the release 13 DXF writer: every ASCII DXF it writes of a release 13
// drawing of the corpus is read by ezdxf, the Python package of another maker, which must
// read it without an error and find as many entities in model space, layers and blocks as
// the library has in the drawing it was written from.
//
// ezdxf is the Debian package python3-ezdxf, run by the system's interpreter
// /usr/bin/python3. When it is missing the test is skipped with the reason, and fails when
// CI is "true".
//
// How the two count: ezdxf keeps a polyline with its vertices and an insert with its
// attributes as one entity, so the library's count of model space leaves out VERTEX, ATTRIB
// and SEQEND, and the ENDBLK that closes the library's main list; the blocks are all but
// those of the two spaces, which the library keeps apart; and what ezdxf adds by itself on
// reading (the layer "Defpoints", arrow blocks), not being in the file, is not counted.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/mini_json.h"
#include "support/run_command.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#ifndef VELKO_SOURCE_DIR
#define VELKO_SOURCE_DIR "."
#endif

namespace velko_test {
namespace {

const char kPython[] = "/usr/bin/python3";

// The drawings whose ASCII DXF ezdxf refuses, with the reason.
struct Refusal {
    const char *path;
    const char *reason;
};
// A drawing read from a binary DXF keeps its OBJECTS section and end mark as the input had
// them, so its ASCII DXF ends in binary groups, which no reader of ASCII takes.
constexpr Refusal kRefusedByEzdxf[] = {
    {"dxf13/bin_dxf_r13.dxf", "the ASCII file ends in the binary input's OBJECTS section"},
    {"dxf13/uc.r13b.dxf", "the ASCII file ends in the binary input's OBJECTS section"},
};

const Refusal *RefusedByEzdxf(const std::string &relative) {
    for (const Refusal &r : kRefusedByEzdxf)
        if (relative == r.path)
            return &r;
    return nullptr;
}

std::string Quoted(const std::string &text) {
    std::string q = "'";
    for (char c : text)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string Script() {
    return Quoted(std::string(VELKO_SOURCE_DIR) + "/tests/support/ezdxf_count.py");
}

// Why ezdxf cannot serve, or "" when it can.
std::string EzdxfMissing() {
    std::error_code ec;
    if (!std::filesystem::exists(kPython, ec))
        return std::string(kPython) + " is missing";
    const CommandOutcome probe =
        RunCommand(std::string(kPython) + " " + Script() + " --probe 2>&1");
    if (probe.status != 0)
        return "ezdxf cannot be imported by " + std::string(kPython) +
               " (install the Debian package python3-ezdxf): " + probe.out;
    return "";
}

struct Tallies {
    int modelspace = 0, layers = 0, blocks = 0;
};

std::string Describe(const Tallies &t) {
    return "modelspace " + std::to_string(t.modelspace) + ", layers " + std::to_string(t.layers) +
           ", blocks " + std::to_string(t.blocks);
}

Tallies LibraryTallies(const snapshot::Snapshot &drawing) {
    Tallies t;
    for (const CDB_ENTITY &e : drawing.main_) {
        const int kind = e.entity_type;
        if (e.space == 0 && kind != CDB_VERTEX && kind != CDB_ATTRIB && kind != CDB_SEQEND &&
            kind != CDB_ENDBLK)
            ++t.modelspace;
    }
    t.layers = static_cast<int>(drawing.layers_.size());
    t.blocks = static_cast<int>(drawing.blocks_.size());
    return t;
}

TEST(Release13EzdxfCheck, EveryWrittenAsciiDxfReadsInEzdxfWithTheLibrarysTallies) {
    VELKO_REQUIRE_CORPUS();
    const std::string missing = EzdxfMissing();
    if (!missing.empty()) {
        if (CorpusRequired())
            FAIL() << missing << " (CI=true: a failure)";
        GTEST_SKIP() << missing;
    }
    std::vector<std::string> sources = CorpusFiles("dwg13");
    for (const std::string &f : CorpusFiles("dxf13"))
        sources.push_back(f);

    std::vector<std::unique_ptr<TempFile>> written;
    std::map<std::string, std::pair<std::string, Tallies>> expected; // file -> source, tallies
    for (const std::string &relative : sources) {
        snapshot::Snapshot source(CorpusPath(relative));
        if (!source.opened())
            continue; // refused by the reader: see the reading tests
        written.push_back(
            std::make_unique<TempFile>("r13_ezdxf_" + TestNameFor(relative) + ".dxf"));
        if (CDBSaveAsDXF(source.handle(), written.back()->c_str(), 0) != 0) {
            written.pop_back(); // refused by the writer: see the corpus write tests
            continue;
        }
        expected[written.back()->path()] = {relative, LibraryTallies(source)};
    }
    ASSERT_FALSE(expected.empty());

    std::string command = std::string(kPython) + " " + Script() + " --tallies";
    for (const auto &kv : expected)
        command += " " + Quoted(kv.first);
    const CommandOutcome run = RunCommand(command + " 2>&1");
    ASSERT_EQ(run.status, 0) << command << ":\n" << run.out;

    int checked = 0;
    size_t at = 0;
    while (at < run.out.size()) {
        size_t end = run.out.find('\n', at);
        if (end == std::string::npos)
            end = run.out.size();
        const std::string line = run.out.substr(at, end - at);
        at = end + 1;
        std::string error;
        const json::Value v = json::Parse(line, &error);
        ASSERT_TRUE(error.empty()) << "a line ezdxf_count.py should not give: " << line;
        const auto it = expected.find(v["file"].as_string());
        ASSERT_NE(it, expected.end()) << line;
        const std::string &relative = it->second.first;
        if (!v["ok"].as_bool()) {
            const Refusal *refusal = RefusedByEzdxf(relative);
            EXPECT_NE(refusal, nullptr)
                << relative << ": ezdxf refuses the written file: " << v["error"].as_string();
            checked += refusal ? 1 : 0;
            continue;
        }
        EXPECT_EQ(RefusedByEzdxf(relative), nullptr) << relative << ": ezdxf reads it now";
        Tallies theirs;
        theirs.modelspace = static_cast<int>(v["modelspace"].as_number());
        theirs.layers = static_cast<int>(v["layers"].as_number());
        theirs.blocks = static_cast<int>(v["blocks"].as_number());
        EXPECT_EQ(Describe(it->second.second), Describe(theirs))
            << relative << ": the library's tallies against ezdxf's";
        ++checked;
    }
    EXPECT_EQ(checked, static_cast<int>(expected.size()));
    RecordProperty("files", checked);
}

} // namespace
} // namespace velko_test
