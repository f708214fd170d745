// velko convert writes interoperable files by default (the marks of release 12 DWG
// sections, real release 13 checks, strict DXF) and the original bytes with --strict.
#include "interface/test_files.h"
#include "support/corpus.h"
#include "support/run_command.h"

#include "dwg13/r13_checks.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace velko_test {
namespace {

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

std::string ReadAll(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

uint32_t U32(const std::string &b, size_t at) {
    return at + 4 <= b.size()
               ? uint32_t(uint8_t(b[at])) | uint32_t(uint8_t(b[at + 1])) << 8 |
                     uint32_t(uint8_t(b[at + 2])) << 16 | uint32_t(uint8_t(b[at + 3])) << 24
               : 0u;
}

// The 16 bytes behind a release 12 DWG's entity section: its end mark, or zeros.
std::string BehindEntities(const std::string &b) {
    if (b.size() < 154)
        return "";
    const size_t end = U32(b, b.size() - 150 + 4);
    return end + 16 <= b.size() ? b.substr(end, 16) : "";
}

// The same drawing saved by the library with the write options `options`.
std::string SavedByLibrary(const std::string &source, const TempFile &out, int32_t options) {
    const int32_t before = CDBSetWriteOptions(options);
    const int16_t h = CDBStartFileReading(source.c_str(), nullptr);
    EXPECT_GE(h, 0);
    if (h >= 0) {
        EXPECT_EQ(CDBSaveAsDWG(h, out.c_str()), 0);
        CDBEndOperation(h);
    }
    CDBSetWriteOptions(before);
    return ReadAll(out.path());
}

TEST(InteropCli, ConvertMarksRelease12SectionsByDefaultAndKeepsZerosWithStrict) {
    TempFile marked("interop_cli_marked.dwg");
    TempFile plain("interop_cli_plain.dwg");
    ASSERT_EQ(RunVelko("convert --quiet " + kSample + " " + marked.path()).status, 0);
    ASSERT_EQ(RunVelko("convert --quiet --strict " + kSample + " " + plain.path()).status, 0);
    const std::string m = ReadAll(marked.path());
    const std::string p = ReadAll(plain.path());
    EXPECT_EQ(BehindEntities(p), std::string(16, '\0'));
    const std::string end_mark = "\x3B\x91\x97\xAB\x07\x91\xCC\xCF\x9C\xC1\x3E\x7A\xD5\x23\x6B\xFE";
    EXPECT_EQ(BehindEntities(m), end_mark);
    EXPECT_EQ(m.size(), p.size() + 32);

    // --strict gives the bytes of the library's original road, the default those of
    // the interoperable one.
    TempFile original("interop_cli_library_plain.dwg");
    TempFile interoperable("interop_cli_library_marked.dwg");
    EXPECT_TRUE(p == SavedByLibrary(kSample, original, 0));
    EXPECT_TRUE(m == SavedByLibrary(kSample, interoperable, CDB_WRITE_INTEROPERABLE));
}

TEST(InteropCli, ConvertWritesRealRelease13ChecksByDefaultAndFixedOnesWithStrict) {
    VELKO_REQUIRE_CORPUS();
    const std::string source = CorpusPath("dwg13/example_r13_relaid.dwg");
    TempFile real("interop_cli_real.dwg");
    TempFile fixed("interop_cli_fixed.dwg");
    ASSERT_EQ(RunVelko("convert --quiet " + source + " " + real.path()).status, 0);
    ASSERT_EQ(RunVelko("convert --quiet " + source + " " + fixed.path() + " --strict").status, 0);
    // The first object of each file's map.
    for (const auto &[path, checked] :
         {std::make_pair(real.path(), true), std::make_pair(fixed.path(), false)}) {
        const std::string b = ReadAll(path);
        const size_t map = U32(b, 44);
        ASSERT_LT(map + 4, b.size()) << path;
        // The first pair: handle, then the offset as a signed modular number.
        size_t at = map + 2;
        while (at < b.size() && (uint8_t(b[at]) & 0x80))
            ++at;
        ++at;
        uint32_t offset = 0;
        int shift = 0;
        while (at < b.size() && (uint8_t(b[at]) & 0x80)) {
            offset |= uint32_t(uint8_t(b[at++]) & 0x7F) << shift;
            shift += 7;
        }
        ASSERT_LT(at, b.size());
        offset |= uint32_t(uint8_t(b[at]) & 0x3F) << shift;
        ASSERT_LT(size_t(offset) + 2, b.size()) << path;
        const size_t size = uint8_t(b[offset]) | uint8_t(b[offset + 1]) << 8;
        ASSERT_LT(offset + size + 4, b.size()) << path;
        std::vector<uint8_t> object(b.begin() + std::ptrdiff_t(offset),
                                    b.begin() + std::ptrdiff_t(offset + size + 4));
        const std::vector<uint8_t> stored = object;
        R13SealObject(object.data(), object.size(), checked);
        EXPECT_TRUE(object == stored) << path << (checked ? ": a real check" : ": FF FF");
    }
}

TEST(InteropCli, ConvertWritesStrictDxfByDefaultAndTheOriginalGroupsWithStrict) {
    VELKO_REQUIRE_CORPUS();
    const std::string source = CorpusPath("dxf12/entities-2d.dxf");
    TempFile strict_dxf("interop_cli_strict.dxf");
    TempFile original("interop_cli_original.dxf");
    ASSERT_EQ(RunVelko("convert --quiet " + source + " " + strict_dxf.path()).status, 0);
    ASSERT_EQ(RunVelko("convert --strict --quiet " + source + " " + original.path()).status, 0);
    auto vertex_73 = [](const std::string &text) {
        int count = 0;
        std::string kind, code;
        size_t at = 0;
        bool is_code = true;
        while (at < text.size()) {
            size_t end = text.find('\n', at);
            if (end == std::string::npos)
                end = text.size();
            std::string line = text.substr(at, end - at);
            at = end + 1;
            while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
                line.pop_back();
            while (!line.empty() && line.front() == ' ')
                line.erase(0, 1);
            if (is_code)
                code = line;
            else if (code == "0")
                kind = line;
            else if (code == "73" && kind == "VERTEX")
                ++count;
            is_code = !is_code;
        }
        return count;
    };
    EXPECT_GT(vertex_73(ReadAll(original.path())), 0);
    EXPECT_EQ(vertex_73(ReadAll(strict_dxf.path())), 0);
}

} // namespace
} // namespace velko_test
