// The strict DXF road of the release 12 writer (CDB_WRITE_STRICT_DXF), against the original.
//
// On the original road every VERTEX carries a group 73, an empty code page is written
// empty, and a block without a name is written without one; strict readers refuse each.
// On the strict road a VERTEX carries group 73 only when it holds something, $DWGCODEPAGE
// is "ANSI_1252" for a drawing without a code page, and a nameless block is written as
// "UNNAMED" and its index. Every release 12 drawing of the corpus that opens, written on
// the strict road as ASCII DXF, as binary DXF and as ASCII DXF by way of DWG, is taken by
// two outside readers: ezdxf's strict loader with an audit that finds no error, and
// dxflib (ASCII files only: dxflib reads no binary DXF).
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/mini_json.h"
#include "support/run_command.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#ifndef VELKO_SOURCE_DIR
#define VELKO_SOURCE_DIR "."
#endif

namespace velko_test {
namespace {

using snapshot::SaveCopy;
using snapshot::SaveForm;
using snapshot::Snapshot;

const char kPython[] = "/usr/bin/python3";

// The groups of an ASCII DXF file, code and trimmed value.
std::vector<std::pair<int, std::string>> AsciiGroups(const std::string &path) {
    std::vector<uint8_t> bytes;
    std::vector<std::pair<int, std::string>> groups;
    if (!ReadWholeFile(path, &bytes))
        return groups;
    std::vector<std::string> lines;
    std::string line;
    for (uint8_t c : bytes) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else if (c != '\r') {
            line += char(c);
        }
    }
    lines.push_back(line);
    auto trim = [](const std::string &s) {
        const size_t a = s.find_first_not_of(' ');
        const size_t b = s.find_last_not_of(' ');
        return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
    };
    for (size_t i = 0; i + 1 < lines.size(); i += 2)
        groups.emplace_back(std::atoi(lines[i].c_str()), trim(lines[i + 1]));
    return groups;
}

// The vertices of a file, and how many of them carry a group 73 (and a non-zero one).
struct VertexTally {
    int vertices = 0;
    int with_73 = 0;
    int non_zero_73 = 0;
};

VertexTally TallyVertices(const std::string &path) {
    VertexTally t;
    std::string kind;
    for (const auto &g : AsciiGroups(path)) {
        if (g.first == 0) {
            kind = g.second;
            t.vertices += kind == "VERTEX";
        } else if (g.first == 73 && kind == "VERTEX") {
            ++t.with_73;
            t.non_zero_73 += std::atoi(g.second.c_str()) != 0;
        }
    }
    return t;
}

// The value of header variable `name` ("$DWGCODEPAGE"), "<none>" when the file lacks it.
std::string HeaderValue(const std::string &path, const std::string &name) {
    const auto groups = AsciiGroups(path);
    for (size_t i = 0; i + 1 < groups.size(); ++i)
        if (groups[i].first == 9 && groups[i].second == name)
            return groups[i + 1].second;
    return "<none>";
}

class StrictDxf : public ::testing::Test {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        before_ = CDBGetWriteOptions();
    }
    void TearDown() override { CDBSetWriteOptions(before_); }

    std::string Save(const std::string &from, const std::string &to, SaveForm form,
                     int32_t options) {
        CDBSetWriteOptions(options);
        const std::string failure = SaveCopy(from, to, form);
        CDBSetWriteOptions(before_);
        return failure;
    }

    int32_t before_ = 0;
};

TEST_F(StrictDxf, VertexGroup73IsLeftOutWhereItCarriesNothing) {
    const std::string source = CorpusPath("dxf12/example_r12.dxf");
    TempFile plain("strict_vertex_plain.dxf");
    TempFile strict("strict_vertex_strict.dxf");
    ASSERT_EQ(Save(source, plain.path(), SaveForm::kAsciiDxf, 0), "");
    ASSERT_EQ(Save(source, strict.path(), SaveForm::kAsciiDxf, CDB_WRITE_STRICT_DXF), "");
    const VertexTally p = TallyVertices(plain.path());
    const VertexTally s = TallyVertices(strict.path());
    ASSERT_GT(p.vertices, 100);
    EXPECT_EQ(p.with_73, p.vertices) << "the original road: a group 73 on every vertex";
    EXPECT_EQ(s.vertices, p.vertices);
    EXPECT_EQ(s.with_73, p.non_zero_73) << "the strict road: only where it holds something";
    EXPECT_EQ(s.non_zero_73, p.non_zero_73);

    // Both files read back to the same records.
    Snapshot a(plain.path());
    Snapshot b(strict.path());
    ASSERT_TRUE(a.opened() && b.opened());
    snapshot::ExactSink sink;
    snapshot::CompareDrawings(a, b, sink, sink);
}

TEST_F(StrictDxf, AnEmptyCodePageIsWrittenAsAnsi1252) {
    const std::string source = CorpusPath("dxf12/ASCII_R12.dxf");
    TempFile plain("strict_codepage_plain.dxf");
    TempFile strict("strict_codepage_strict.dxf");
    const int16_t h = CDBStartFileReading(source.c_str(), nullptr);
    ASSERT_GE(h, 0);
    CDB_HEADER_type header;
    std::memset(static_cast<void *>(&header), 0, sizeof header);
    ASSERT_EQ(CDBGetAllVariables(h, &header), 0);
    ASSERT_NE(header.dwgcodepage, nullptr);
    header.dwgcodepage[0] = 0;
    EXPECT_EQ(CDBSetAllVariables(h, &header), 0);
    CDBSetWriteOptions(0);
    EXPECT_EQ(snapshot::SaveOpenDrawing(h, plain.path(), SaveForm::kAsciiDxf), "");
    CDBSetWriteOptions(CDB_WRITE_STRICT_DXF);
    EXPECT_EQ(snapshot::SaveOpenDrawing(h, strict.path(), SaveForm::kAsciiDxf), "");
    CDBSetWriteOptions(before_);
    CDBEndOperation(h);
    EXPECT_EQ(HeaderValue(plain.path(), "$DWGCODEPAGE"), "");
    EXPECT_EQ(HeaderValue(strict.path(), "$DWGCODEPAGE"), "ANSI_1252");

    // A code page of its own stays as it is on both roads.
    const std::string named = CorpusPath("dwg12/ARC1.DWG");
    TempFile kept_plain("strict_codepage_kept_plain.dxf");
    TempFile kept_strict("strict_codepage_kept_strict.dxf");
    ASSERT_EQ(Save(named, kept_plain.path(), SaveForm::kAsciiDxf, 0), "");
    ASSERT_EQ(Save(named, kept_strict.path(), SaveForm::kAsciiDxf, CDB_WRITE_STRICT_DXF), "");
    EXPECT_NE(HeaderValue(kept_plain.path(), "$DWGCODEPAGE"), "");
    EXPECT_EQ(HeaderValue(kept_strict.path(), "$DWGCODEPAGE"),
              HeaderValue(kept_plain.path(), "$DWGCODEPAGE"));
}

TEST_F(StrictDxf, ANamelessBlockIsNamedOnTheStrictRoadOnly) {
    const std::string source = CorpusPath("dxf12/r12_blocks_with_no_names.dxf");
    {
        Snapshot a(source);
        if (!a.opened())
            GTEST_SKIP() << "the library does not open " << source;
    }
    TempFile plain("strict_blocks_plain.dxf");
    TempFile strict("strict_blocks_strict.dxf");
    ASSERT_EQ(Save(source, plain.path(), SaveForm::kAsciiDxf, 0), "");
    ASSERT_EQ(Save(source, strict.path(), SaveForm::kAsciiDxf, CDB_WRITE_STRICT_DXF), "");
    auto names = [](const std::string &path) {
        std::vector<std::string> out;
        const auto groups = AsciiGroups(path);
        for (size_t i = 0; i < groups.size(); ++i) {
            if (groups[i].first != 0 || groups[i].second != "BLOCK")
                continue;
            std::string name = "<none>";
            for (size_t j = i + 1; j < groups.size() && groups[j].first != 0; ++j)
                if (groups[j].first == 2)
                    name = groups[j].second;
            out.push_back(name);
        }
        return out;
    };
    const std::vector<std::string> p = names(plain.path());
    const std::vector<std::string> s = names(strict.path());
    ASSERT_EQ(p.size(), s.size());
    int named = 0;
    for (size_t i = 0; i < p.size(); ++i) {
        if (p[i] == "<none>" || p[i].empty()) {
            EXPECT_EQ(s[i].compare(0, 7, "UNNAMED"), 0) << s[i];
            ++named;
        } else {
            EXPECT_EQ(s[i], p[i]);
        }
    }
    EXPECT_GT(named, 0) << "the corpus file has blocks without a name";
}

// ---- The outside readers ------------------------------------------------------------------

std::string Quoted(const std::string &text) {
    std::string q = "'";
    for (char c : text)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// One JSON line per file of a checker's output, by file.
std::map<std::string, json::Value> LinesByFile(const std::string &out) {
    std::map<std::string, json::Value> lines;
    size_t at = 0;
    while (at < out.size()) {
        size_t end = out.find('\n', at);
        if (end == std::string::npos)
            end = out.size();
        const std::string line = out.substr(at, end - at);
        at = end + 1;
        std::string error;
        json::Value v = json::Parse(line, &error);
        if (error.empty())
            lines[v["file"].as_string()] = v;
    }
    return lines;
}

class StrictDxfOutside : public StrictDxf {
protected:
    // Every release 12 drawing of the corpus that opens, written on the strict road: the
    // ASCII files (direct and by way of DWG) and the binary ones.
    void WriteAll() {
        const std::string folder = snapshot::RoundTripFolder() + "strict_";
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
            const int32_t all = CDB_WRITE_INTEROPERABLE;
            ASSERT_EQ(Save(source, ascii, SaveForm::kAsciiDxf, all), "");
            ASSERT_EQ(Save(source, binary, SaveForm::kBinaryDxf, all), "");
            ASSERT_EQ(Save(source, dwg, SaveForm::kDwg, all), "");
            ASSERT_EQ(Save(dwg, via, SaveForm::kAsciiDxf, all), "");
            ascii_.push_back(ascii);
            ascii_.push_back(via);
            binary_.push_back(binary);
        }
    }

    std::vector<std::string> ascii_;
    std::vector<std::string> binary_;
};

TEST_F(StrictDxfOutside, EveryStrictDxfReadsInEzdxfWithoutAnAuditError) {
    std::error_code ec;
    const std::string script = std::string(VELKO_SOURCE_DIR) + "/tests/support/ezdxf_strict.py";
    const CommandOutcome probe =
        RunCommand(std::string(kPython) + " " + Quoted(script) + " --probe 2>&1");
    if (!std::filesystem::exists(kPython, ec) || probe.status != 0) {
        if (CorpusRequired())
            FAIL() << "ezdxf cannot be imported (python3-ezdxf): " << probe.out;
        GTEST_SKIP() << "ezdxf cannot be imported (python3-ezdxf): " << probe.out;
    }
    WriteAll();
    std::vector<std::string> files = ascii_;
    files.insert(files.end(), binary_.begin(), binary_.end());
    ASSERT_GT(files.size(), 50u);
    std::string command = std::string(kPython) + " " + Quoted(script);
    for (const std::string &f : files)
        command += " " + Quoted(f);
    const CommandOutcome outcome = RunCommand(command + " 2>&1");
    ASSERT_EQ(outcome.status, 0) << outcome.out;
    const std::map<std::string, json::Value> lines = LinesByFile(outcome.out);
    for (const std::string &f : files) {
        const auto it = lines.find(f);
        if (it == lines.end()) {
            ADD_FAILURE() << f << ": no answer from ezdxf_strict.py";
            continue;
        }
        const json::Value &v = it->second;
        EXPECT_TRUE(v["ok"].as_bool()) << f << ": ezdxf refuses it: " << v["error"].as_string();
        if (v["ok"].as_bool()) {
            EXPECT_EQ(v["errors"].items().size(), 0u) << f << ": the audit finds errors";
        }
    }
    RecordProperty("files", int(files.size()));
}

TEST_F(StrictDxfOutside, EveryStrictAsciiDxfReadsInDxflib) {
#ifndef VELKO_DXFLIB_READ
    if (CorpusRequired())
        FAIL() << "dxflib is missing (libdxflib-dev): the reader program was not built";
    GTEST_SKIP() << "dxflib is missing (libdxflib-dev): the reader program was not built";
#else
    WriteAll();
    ASSERT_GT(ascii_.size(), 30u);
    std::string command = Quoted(VELKO_DXFLIB_READ);
    for (const std::string &f : ascii_)
        command += " " + Quoted(f);
    const CommandOutcome outcome = RunCommand(command + " 2>&1");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    const std::map<std::string, json::Value> lines = LinesByFile(outcome.out);
    for (const std::string &f : ascii_) {
        const auto it = lines.find(f);
        if (it == lines.end()) {
            ADD_FAILURE() << f << ": no answer from dxflib: " << outcome.out;
            continue;
        }
        EXPECT_TRUE(it->second["ok"].as_bool()) << f << ": dxflib refuses it";
    }
    RecordProperty("files", int(ascii_.size()));
#endif
}

} // namespace
} // namespace velko_test
