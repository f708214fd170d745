// The one judgement of a file at open: what each attempt decides, and that it hands the
// file it opened on, positioned where a drawing class takes it up.
#include "io/drawing_file.h"
#include "interface/open_sniff.h"
#include "interface/test_files.h"
#include "support/dxf_text.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using velko_test::DxfText;
using velko_test::TempFile;

namespace {

std::string Dwg(const char *version) {
    std::string bytes(version);
    bytes.resize(400, '\0');
    return bytes;
}

DxfText HeaderOf(const char *version) {
    DxfText dxf;
    dxf.Section("HEADER").G(9, "$ACADVER").G(1, version).EndSection().Eof();
    return dxf;
}

// A binary file with the two-byte group codes of release 13: the four groups that name
// the release, strings all.
std::vector<uint8_t> Release13Binary(const char *version) {
    std::vector<uint8_t> bytes;
    const char sentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    bytes.insert(bytes.end(), sentinel, sentinel + sizeof sentinel); // with its NUL: 22
    const std::pair<int, const char *> groups[] = {
        {0, "SECTION"}, {2, "HEADER"}, {9, "$ACADVER"}, {1, version}, {0, "ENDSEC"}};
    for (const auto &g : groups) {
        bytes.push_back(static_cast<uint8_t>(g.first));
        bytes.push_back(0);
        bytes.insert(bytes.end(), g.second, g.second + std::strlen(g.second) + 1);
    }
    return bytes;
}

} // namespace

TEST(OpenSniff, DwgAttemptComparesTheFirstSixBytesExactly) {
    struct Case {
        const char *bytes;
        SniffedDrawing kind;
        short refusal;
    };
    const Case cases[] = {
        {"AC1009", SniffedDrawing::kDwg12, 0},
        {"AC1012", SniffedDrawing::kDwg13, 0},
        {"AC1014", SniffedDrawing::kNone, CDB_ERR_VERSION_MISMATCH},
        {"ac1009", SniffedDrawing::kNone, CDB_ERR_INVALID_FILE},
        {"  0\nSECTION", SniffedDrawing::kNone, CDB_ERR_INVALID_FILE},
    };
    for (const Case &c : cases) {
        TempFile file("sniff.dwg", Dwg(c.bytes));
        OpenSniff sniff = SniffDrawing(file.c_str(), OpenAttempt::kDwg);
        EXPECT_TRUE(sniff.judged) << c.bytes;
        EXPECT_EQ(sniff.kind, c.kind) << c.bytes;
        EXPECT_EQ(sniff.refusal, c.refusal) << c.bytes;
        // Only a file that a drawing class takes is handed on.
        EXPECT_EQ(sniff.file != nullptr, c.kind != SniffedDrawing::kNone) << c.bytes;
    }
}

TEST(OpenSniff, NothingIsJudgedOfAFileThatCannotBeOpenedOrRead) {
    OpenSniff missing = SniffDrawing("/nonexistent/velko/none.dwg", OpenAttempt::kDwg);
    EXPECT_FALSE(missing.judged);
    EXPECT_EQ(missing.refusal, CDB_ERR_OPENING_FILE);

    TempFile empty("sniff_empty.dwg", std::string());
    OpenSniff dwg = SniffDrawing(empty.c_str(), OpenAttempt::kDwg);
    EXPECT_FALSE(dwg.judged);
    EXPECT_EQ(dwg.refusal, CDB_ERR_FILE_READ);

    OpenSniff dxf = SniffDrawing(empty.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(dxf.kind, SniffedDrawing::kNone);
    EXPECT_EQ(dxf.refusal, CDB_ERR_INVALID_FILE);
    EXPECT_EQ(SniffDrawing("/nonexistent/velko/none.dxf", OpenAttempt::kDxf).refusal,
              CDB_ERR_OPENING_FILE);
}

TEST(OpenSniff, DxfAttemptFindsReleaseAndFormAndStandsWhereTheGroupsBegin) {
    TempFile text12("sniff12.dxf", HeaderOf("AC1009").Ascii());
    OpenSniff a = SniffDrawing(text12.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(a.kind, SniffedDrawing::kDxf12);
    EXPECT_EQ(a.binary, 0);
    ASSERT_TRUE(a.file);
    EXPECT_EQ(a.file->GetPosition(), 0);

    TempFile binary12("sniff12b.dxf", HeaderOf("ac1009").Binary());
    OpenSniff b = SniffDrawing(binary12.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(b.kind, SniffedDrawing::kDxf12);
    EXPECT_EQ(b.binary, 1);
    ASSERT_TRUE(b.file);
    EXPECT_EQ(b.file->GetPosition(), 22);

    // Release 13 comes first; should its drawing refuse the file, the code that stands is
    // the one of the release 12 reader.
    TempFile text13("sniff13.dxf", HeaderOf("AC1012").Ascii());
    OpenSniff c = SniffDrawing(text13.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(c.kind, SniffedDrawing::kDxf13);
    EXPECT_EQ(c.refusal, CDB_ERR_INVALID_FILE);
    EXPECT_FALSE(c.also_dxf12);
    ASSERT_TRUE(c.file);
    EXPECT_EQ(c.file->GetPosition(), 0);

    TempFile binary13("sniff13b.dxf", Release13Binary("AC1012"));
    OpenSniff d = SniffDrawing(binary13.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(d.kind, SniffedDrawing::kDxf13);
    EXPECT_EQ(d.binary, 1);
    EXPECT_EQ(d.refusal, CDB_ERR_VERSION_MISMATCH);
}

TEST(OpenSniff, DxfOfNeitherReleaseIsRefusedByItsForm) {
    TempFile text("sniff_r10.dxf", HeaderOf("AC1006").Ascii());
    OpenSniff a = SniffDrawing(text.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(a.kind, SniffedDrawing::kNone);
    EXPECT_EQ(a.refusal, CDB_ERR_INVALID_FILE);
    EXPECT_FALSE(a.file);

    TempFile binary("sniff_r10b.dxf", HeaderOf("AC1006").Binary());
    OpenSniff b = SniffDrawing(binary.c_str(), OpenAttempt::kDxf);
    EXPECT_EQ(b.kind, SniffedDrawing::kNone);
    EXPECT_EQ(b.refusal, CDB_ERR_VERSION_MISMATCH);
}
