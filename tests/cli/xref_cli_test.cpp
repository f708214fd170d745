// External references through the command-line tool: `velko info` lists a drawing's
// references and whether each file is found; `velko dump --xref` resolves them first, so
// that the referenced drawing's entities show as the content of the reference block.
#include "edit/edit_support.h"
#include "views/xref_support.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace velko_test {
namespace {

namespace fs = std::filesystem;

// The end point of a line that only the child drawing holds: its mark in a dump.
constexpr double kChildMarkX = 4711.5;
const char kChildMarkText[] = "4711.5";

using Outcome = CommandOutcome;

// Runs velko with the arguments, in `folder` when one is given; stdout is captured.
Outcome RunVelkoIn(const std::string &arguments, const std::string &folder = "") {
    return RunCommand((folder.empty() ? "" : "cd " + folder + " && ") + std::string(VELKO_CLI) +
                      " " + arguments + " 2>/dev/null");
}

std::vector<std::string> Lines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool Contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// The path with every "/" turned into "\", as a drawing made elsewhere stores it.
std::string WithBackslashes(std::string path) {
    for (char &c : path)
        if (c == '/')
            c = '\\';
    return path;
}

class XrefCli : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("velko_xref_cli_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir / "SUB");
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    std::string At(const std::string &name) const { return (dir / name).string(); }

    // A child drawing: five entities and a line whose end point is the child's mark.
    void MakeChild(const std::string &name) {
        walk::OpenDrawing source("xref_cli_child_source.dwg", edit::FiveEntityDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        CDB_ENTITY line;
        ASSERT_EQ(CDBEntityDefault(h, &line, CDB_LINE), 0);
        line.line.end_point.x = kChildMarkX;
        ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
        ASSERT_EQ(CDBSaveAsDWG(h, At(name).c_str()), 0);
    }

    // A host with one reference block REF<n> per path, and an insert of each in its
    // entities; saved as DWG under `name`.
    void MakeHost(const std::string &name, const std::vector<std::string> &paths) {
        walk::OpenDrawing source("xref_cli_host_source.dwg", edit::EditDrawing());
        const int16_t h = source.handle;
        ASSERT_GE(h, 0);
        ASSERT_NO_FATAL_FAILURE(AddReferenceBlocks(h, paths, true));
        ASSERT_EQ(CDBSaveAsDWG(h, At(name).c_str()), 0);
    }

    // REF0 found beside the host under another case and a foreign folder, REF1 found under
    // its stored absolute path written with "\" and in capitals, REF2 missing.
    void MakeHostWithThreeReferences() {
        MakeChild("child.dwg");
        MakeChild("SUB/part2.dwg");
        MakeHost("host.dwg", {"C:\\drawings\\PARTS\\Child", WithBackslashes(At("sub/PART2.DWG")),
                              "nowhere\\gone"});
    }

    fs::path dir;
};

TEST_F(XrefCli, InfoListsFoundAndMissingReferences) {
    MakeHostWithThreeReferences();
    const Outcome r = RunVelkoIn("info " + At("host.dwg"));
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(Contains(r.out, "xref REF0 \"C:\\drawings\\PARTS\\Child\" found\n")) << r.out;
    EXPECT_TRUE(
        Contains(r.out, "xref REF1 \"" + WithBackslashes(At("sub/PART2.DWG")) + "\" found\n"))
        << r.out;
    EXPECT_TRUE(Contains(r.out, "xref REF2 \"nowhere\\gone\" missing\n")) << r.out;
}

TEST_F(XrefCli, InfoLooksForARelativePathInTheCurrentFolderThenBesideTheHost) {
    MakeChild("SUB/part2.dwg");
    MakeChild("leaf.dwg");
    MakeHost("host.dwg", {"sub\\Part2", "elsewhere\\LEAF"});
    // From the host's folder the first is found as stored; the second only by its name
    // beside a host given without a folder.
    const Outcome inside = RunVelkoIn("info host.dwg", dir.string());
    ASSERT_EQ(inside.status, 0) << inside.out;
    EXPECT_TRUE(Contains(inside.out, "xref REF0 \"sub\\Part2\" found\n")) << inside.out;
    EXPECT_TRUE(Contains(inside.out, "xref REF1 \"elsewhere\\LEAF\" found\n")) << inside.out;
    // From another folder the relative stored path no longer leads to the file, and
    // "part2.dwg" isn't beside the host.
    const Outcome outside =
        RunVelkoIn("info " + At("host.dwg"), fs::temp_directory_path().string());
    ASSERT_EQ(outside.status, 0) << outside.out;
    EXPECT_TRUE(Contains(outside.out, "xref REF0 \"sub\\Part2\" missing\n")) << outside.out;
    EXPECT_TRUE(Contains(outside.out, "xref REF1 \"elsewhere\\LEAF\" found\n")) << outside.out;
}

TEST_F(XrefCli, InfoAsJsonListsReferencesInAnArray) {
    MakeHostWithThreeReferences();
    const Outcome r = RunVelkoIn("info --json " + At("host.dwg"));
    ASSERT_EQ(r.status, 0) << r.out;
    std::string second_path;
    for (char c : WithBackslashes(At("sub/PART2.DWG")))
        second_path += c == '\\' ? std::string("\\\\") : std::string(1, c);
    const std::string expected =
        R"("xrefs": [{"block": "REF0", "path": "C:\\drawings\\PARTS\\Child", "found": true}, )"
        R"({"block": "REF1", "path": ")" +
        second_path +
        R"(", "found": true}, {"block": "REF2", "path": "nowhere\\gone", "found": false}])";
    EXPECT_TRUE(Contains(r.out, expected)) << r.out;
}

TEST_F(XrefCli, InfoShowsNoReferencesForADrawingWithoutThem) {
    MakeHost("plain.dwg", {});
    const Outcome text = RunVelkoIn("info " + At("plain.dwg"));
    ASSERT_EQ(text.status, 0);
    EXPECT_FALSE(Contains(text.out, "xref ")) << text.out;
    const Outcome json = RunVelkoIn("info --json " + At("plain.dwg"));
    ASSERT_EQ(json.status, 0);
    EXPECT_TRUE(Contains(json.out, "\"xrefs\": []")) << json.out;
}

TEST_F(XrefCli, InfoCountsOnlyTheNameWithDwgAddedAsFound) {
    // Resolving looks for "part.dwg" only: a drawing named "part.dxf" beside the host
    // doesn't count.
    MakeChild("part.dxf");
    MakeHost("host.dwg", {"part"});
    const Outcome r = RunVelkoIn("info " + At("host.dwg"));
    ASSERT_EQ(r.status, 0);
    EXPECT_TRUE(Contains(r.out, "xref REF0 \"part\" missing\n")) << r.out;
}

// The JSON lines of a dump that belong to the entity list of one block.
std::vector<std::string> BlockLines(const std::string &dump, int block) {
    std::vector<std::string> found;
    const std::string key = "\"section\": \"block\", \"block\": " + std::to_string(block) + ",";
    for (const std::string &line : Lines(dump))
        if (Contains(line, key))
            found.push_back(line);
    return found;
}

int BlockIndex(const std::string &dump, const std::string &name) {
    for (const std::string &line : Lines(dump)) {
        if (!Contains(line, "\"section\": \"block_record\"") ||
            !Contains(line, "\"name\": \"" + name + "\""))
            continue;
        const std::string key = "\"block\": ";
        const size_t at = line.find(key);
        return at == std::string::npos ? -1 : std::atoi(line.c_str() + at + key.size());
    }
    return -1;
}

bool AnyHasMark(const std::vector<std::string> &lines) {
    for (const std::string &line : lines)
        if (Contains(line, "\"end_point\": [" + std::string(kChildMarkText) + ", "))
            return true;
    return false;
}

TEST_F(XrefCli, DumpWithXrefShowsTheChildsEntitiesInTheReferenceBlock) {
    MakeHostWithThreeReferences();
    const Outcome r = RunVelkoIn("dump --xref --blocks --json " + At("host.dwg"));
    ASSERT_EQ(r.status, 0) << r.out;
    const int ref0 = BlockIndex(r.out, "REF0"), ref1 = BlockIndex(r.out, "REF1"),
              ref2 = BlockIndex(r.out, "REF2");
    ASSERT_GE(ref0, 0) << r.out;
    ASSERT_GE(ref1, 0);
    ASSERT_GE(ref2, 0);
    EXPECT_TRUE(AnyHasMark(BlockLines(r.out, ref0))) << "found beside the host";
    EXPECT_TRUE(AnyHasMark(BlockLines(r.out, ref1))) << "found under its stored path";
    EXPECT_FALSE(AnyHasMark(BlockLines(r.out, ref2))) << "the missing one stays empty";
    // Five entities, the added line and the block's closing entity of each found child.
    EXPECT_EQ(BlockLines(r.out, ref0).size(), 7u);
    EXPECT_EQ(BlockLines(r.out, ref1).size(), 7u);
}

TEST_F(XrefCli, DumpWithoutXrefLeavesTheReferenceBlocksUnresolved) {
    MakeHostWithThreeReferences();
    const Outcome r = RunVelkoIn("dump --blocks --json " + At("host.dwg"));
    ASSERT_EQ(r.status, 0) << r.out;
    const int ref0 = BlockIndex(r.out, "REF0");
    ASSERT_GE(ref0, 0) << r.out;
    EXPECT_FALSE(AnyHasMark(BlockLines(r.out, ref0)));
    EXPECT_FALSE(Contains(r.out, kChildMarkText)) << "no entity of a child anywhere";
}

TEST_F(XrefCli, DumpWithXrefWalksTheChildThroughAnInsertWhenNavigating) {
    MakeHostWithThreeReferences();
    const Outcome resolved = RunVelkoIn("dump --xref --navigate " + At("host.dwg"));
    ASSERT_EQ(resolved.status, 0) << resolved.out;
    EXPECT_TRUE(Contains(resolved.out, std::string("end_point:   ") + kChildMarkText + ", "))
        << resolved.out;
    const Outcome plain = RunVelkoIn("dump --navigate " + At("host.dwg"));
    ASSERT_EQ(plain.status, 0);
    EXPECT_FALSE(Contains(plain.out, kChildMarkText)) << plain.out;
}

TEST_F(XrefCli, DumpHelpNamesTheXrefOption) {
    const Outcome r = RunVelkoIn("dump --help");
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(Contains(r.out, "[--xref]")) << r.out;
}

} // namespace
} // namespace velko_test
