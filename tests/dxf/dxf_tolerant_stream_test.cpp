// The tolerant roads of the group stream, beside the original ones: the full code table of a
// binary release 12 file and the comments passed over (ASCII and binary, both releases), each
// with its road off and on, and a small release 12 drawing read through the flat interface
// with comments in both forms. (Release 13 drawings with comments: the corpus test
// dxf_tolerant_read_test.cpp.)
#include "dxf/dxf_stream.h"
#include "interface/test_files.h"
#include "io/drawing_file.h"
#include "support/dxf_text.h"

#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using velko_test::DxfText;
using velko_test::TempFile;

namespace {

using Bytes = std::vector<uint8_t>;

// Binary groups of release 12: one code byte, 255 and two bytes from 255 up.
struct Groups {
    Bytes bytes;
    Groups &Code(int code) {
        if (code < 255) {
            bytes.push_back(static_cast<uint8_t>(code));
        } else {
            bytes.push_back(255);
            bytes.push_back(static_cast<uint8_t>(code));
            bytes.push_back(static_cast<uint8_t>(code >> 8));
        }
        return *this;
    }
    Groups &Text(int code, const std::string &s) {
        Code(code);
        bytes.insert(bytes.end(), s.begin(), s.end());
        bytes.push_back(0);
        return *this;
    }
    Groups &Real(int code, double v) {
        Code(code);
        uint8_t raw[8];
        std::memcpy(raw, &v, 8);
        bytes.insert(bytes.end(), raw, raw + 8);
        return *this;
    }
    Groups &Int(int code, int32_t v, int size) {
        Code(code);
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
        return *this;
    }
};

struct Reader {
    Reader(const std::string &name, const Bytes &bytes, CDxfStream::Form form, int32_t options,
           CDxfStream::Release release = CDxfStream::kRelease12)
        : file(name, bytes) {
        EXPECT_EQ(input.Open(file.c_str(), CDB_OPEN_READ), 1);
        stream.AttachInput(&input, form, release);
        stream.SetReadOptions(options);
    }
    std::string Next() {
        stream.ReadGroup(&code, value);
        return std::to_string(code) + ":" + value;
    }
    TempFile file;
    CDrawingFile input;
    CDxfStream stream;
    int16_t code = 0;
    char value[CDxfStream::kValueSize] = {};
};

// Every code that the original release 12 table leaves without a value, one group each,
// and a last group that shows whether the stream kept its step.
Groups UntypedCodes() {
    Groups g;
    g.Real(140, 2.5).Int(170, -3, 2).Int(90, 70000, 4).Text(100, "AcDbEntity");
    g.Text(102, "{ACAD_REACTORS").Text(105, "1F").Int(271, 4, 2).Int(280, 1, 2);
    g.Real(1043, 0.25).Int(1060, 12, 2).Text(0, "LINE");
    return g;
}

TEST(DxfTolerantStream, TheOriginalRelease12TableReadsNoValueForTheCodesItDoesNotKnow) {
    Reader r("tolerant_untyped_off.bin", UntypedCodes().bytes, CDxfStream::kBinary, 0);
    // The code is taken, no value byte: the next "code" is the first byte of the double.
    EXPECT_EQ(r.Next(), "140:");
    EXPECT_NE(r.Next(), "170:-3");
    EXPECT_EQ(r.stream.TolerantReadsTaken(), 0);
}

TEST(DxfTolerantStream, TheFullCodeTableReadsEveryValueByTheTypeRealFilesGiveIt) {
    Reader r("tolerant_untyped_on.bin", UntypedCodes().bytes, CDxfStream::kBinary,
             CDB_READ_FULL_BINARY_CODES);
    const std::vector<std::string> expected = {
        "140:2.5", "170:-3", "90:70000", "100:AcDbEntity", "102:{ACAD_REACTORS",
        "105:1F",  "271:4",  "280:1",    "1043:0.25",      "1060:12",
        "0:LINE"};
    for (const std::string &group : expected)
        EXPECT_EQ(r.Next(), group);
    EXPECT_EQ(r.stream.TolerantReadsTaken(), CDB_READ_FULL_BINARY_CODES);
}

TEST(DxfTolerantStream, TheFullCodeTableLeavesTheCodesOfTheOriginalTableAndIsNotNotedForThem) {
    Groups g;
    g.Text(0, "LINE").Text(8, "0").Real(10, 1.5).Int(62, 3, 2).Text(1001, "APP").Int(1071, 9, 4);
    Reader r("tolerant_typed.bin", g.bytes, CDxfStream::kBinary, CDB_READ_FULL_BINARY_CODES);
    for (const char *group : {"0:LINE", "8:0", "10:1.5", "62:3", "1001:APP", "1071:9"})
        EXPECT_EQ(r.Next(), group);
    EXPECT_EQ(r.stream.TolerantReadsTaken(), 0);
}

TEST(DxfTolerantStream, CommentsAreHandedOnByTheOriginalRoadAndPassedOverByTheOther) {
    const std::string text = "999\nmade by hand\n  0\nSECTION\n999\nagain\n999\nand again\n"
                             "  2\nHEADER\n999\nlast\n";
    {
        Reader r("tolerant_comments_off.dxf", Bytes(text.begin(), text.end()), CDxfStream::kAscii,
                 0);
        EXPECT_EQ(r.Next(), "999:made by hand");
        EXPECT_EQ(r.Next(), "0:SECTION");
        EXPECT_EQ(r.Next(), "999:again");
        EXPECT_EQ(r.stream.TolerantReadsTaken(), 0);
    }
    Reader r("tolerant_comments_on.dxf", Bytes(text.begin(), text.end()), CDxfStream::kAscii,
             CDB_READ_COMMENTS);
    EXPECT_EQ(r.Next(), "0:SECTION");
    EXPECT_EQ(r.Next(), "2:HEADER");
    EXPECT_EQ(r.stream.TolerantReadsTaken(), CDB_READ_COMMENTS);
    // A comment at the end of the file leaves the end to be found as before.
    r.Next();
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfTolerantStream, CommentsArePassedOverInBinaryFilesOfBothReleases) {
    Groups twelve;
    twelve.Text(999, "note").Text(0, "SECTION");
    Reader r12("tolerant_comments12.bin", twelve.bytes, CDxfStream::kBinary, CDB_READ_COMMENTS);
    EXPECT_EQ(r12.Next(), "0:SECTION");
    // Release 13: two-byte codes.
    Bytes thirteen = {0xE7, 0x03, 'n', 0, 0x00, 0x00, 'S', 'E', 'C', 'T', 'I', 'O', 'N', 0};
    Reader r13("tolerant_comments13.bin", thirteen, CDxfStream::kBinary, CDB_READ_COMMENTS,
               CDxfStream::kRelease13);
    EXPECT_EQ(r13.Next(), "0:SECTION");
    EXPECT_EQ(r13.stream.TolerantReadsTaken(), CDB_READ_COMMENTS);
}

// ---- Whole drawings through the flat interface ----------------------------------------------

class DxfTolerantDrawing : public testing::Test {
protected:
    void SetUp() override { before_ = CDBGetReadOptions(); }
    void TearDown() override { CDBSetReadOptions(before_); }

    // Opens `path` with `options`, counts the main list: the count, or the refusal.
    static int OpenAndCount(const std::string &path, int32_t options, int32_t *roads) {
        CDBSetReadOptions(options);
        const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
        if (h < 0)
            return h;
        const int count = CDBEntityCount(h, -1);
        *roads = CDBGetTolerantReads(h);
        CDBEndOperation(h);
        return count;
    }

private:
    int32_t before_ = 0;
};

// A release 12 drawing with comments before its first section, in a table record, in an
// entity and between sections.
DxfText CommentedRelease12() {
    DxfText d;
    d.G(999, "written by a test").MinimalHeader();
    d.Section("TABLES").Table("LAYER", 1).G(0, "LAYER").G(999, "in a record").G(2, "WALLS");
    d.G(70, 0).G(62, 1).G(6, "CONTINUOUS").EndTable().EndSection();
    d.G(999, "between sections");
    d.Section("ENTITIES").G(0, "LINE").G(8, "WALLS").G(999, "in an entity").G(10, 1.0);
    d.G(20, 2.0).G(30, 0.0).G(11, 3.0).G(21, 4.0).G(31, 0.0).EndSection().Eof();
    return d;
}

TEST_F(DxfTolerantDrawing, ARelease12DxfWithCommentsOpensOnlyOnTheTolerantRoad) {
    const DxfText d = CommentedRelease12();
    TempFile ascii("tolerant_commented12.dxf", d.Ascii());
    TempFile binary("tolerant_commented12b.dxf", d.Binary());
    for (const TempFile *file : {&ascii, &binary}) {
        int32_t roads = -1;
        EXPECT_LT(OpenAndCount(file->path(), 0, &roads), 0) << file->path();
        roads = -1;
        EXPECT_GE(OpenAndCount(file->path(), CDB_READ_COMMENTS, &roads), 1) << file->path();
        EXPECT_EQ(roads, CDB_READ_COMMENTS) << file->path();
    }
}

} // namespace
