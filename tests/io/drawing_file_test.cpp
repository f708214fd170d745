// The buffered file object.
#include "io/drawing_file.h"
#include "interface/test_files.h"
#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>

using velko_test::TempFile;

// The file object's open modes are the public ones: a caller may pass either.
static_assert(int(kDrawingFileRead) == int(CDB_OPEN_READ), "read mode");
static_assert(int(kDrawingFileWrite) == int(CDB_OPEN_WRITE), "write mode");
static_assert(int(kDrawingFileReadWrite) == int(CDB_OPEN_READWRITE), "read-write mode");
static_assert(int(kDrawingFileCreate) == int(CDB_OPEN_CREATE), "create mode");

namespace {
std::vector<uint8_t> Counting(size_t n) {
    std::vector<uint8_t> bytes(n);
    for (size_t i = 0; i < n; ++i)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    return bytes;
}
} // namespace

TEST(DrawingFile, ShortReadAtTheEndSucceeds) {
    TempFile file("short.bin", Counting(100));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(f.Length(), 100u);
    f.SetPosition(90, 0);
    uint8_t buffer[32] = {};
    EXPECT_EQ(f.Read(buffer, 32), 1);
    EXPECT_EQ(f.GetPosition(), 100);
    EXPECT_EQ(buffer[9], Counting(100)[99]);
    EXPECT_EQ(f.Read(buffer, 1), 0) << "at the end a read fails";
}

TEST(DrawingFile, PositionMovesLogicallyAndMayGoNegative) {
    TempFile file("pos.bin", Counting(50));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(f.SetPosition(-150, 2), 1);
    EXPECT_EQ(f.GetPosition(), -100);
    uint8_t b;
    EXPECT_EQ(f.Read(&b, 1), 0);
    f.SetPosition(10, 0);
    f.SetPosition(5, 1);
    EXPECT_EQ(f.GetPosition(), 15);
    EXPECT_EQ(f.Read(&b, 1), 1);
    EXPECT_EQ(b, Counting(50)[15]);
}

TEST(DrawingFile, ReadsAcrossBufferRefillsAndLargeRequests) {
    std::vector<uint8_t> data = Counting(70000);
    TempFile file("big.bin", data);
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    std::vector<uint8_t> out(data.size());
    size_t done = 0;
    while (done < data.size()) {
        uint32_t step = static_cast<uint32_t>(std::min<size_t>(1727, data.size() - done));
        ASSERT_EQ(f.Read(out.data() + done, step), 1);
        done += step;
    }
    EXPECT_EQ(out, data);
    // A request larger than the buffer grows it.
    f.SetPosition(0, 0);
    std::vector<uint8_t> whole(data.size());
    ASSERT_EQ(f.Read(whole.data(), static_cast<uint32_t>(whole.size())), 1);
    EXPECT_EQ(whole, data);
    // A request that ends exactly at the buffer's end refills and still reads right.
    f.SetPosition(20479 - 10, 0);
    uint8_t piece[10];
    ASSERT_EQ(f.Read(piece, 10), 1);
    EXPECT_EQ(0, memcmp(piece, data.data() + 20469, 10));
}

TEST(DrawingFile, ReadLineDropsCarriageReturnsAndKeepsLineFeeds) {
    TempFile file("lines.txt", std::string("ab\r\ncd\r\r\nlast"));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    char line[64];
    ASSERT_NE(f.ReadLine(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "ab\n");
    ASSERT_NE(f.ReadLine(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "cd\n");
    EXPECT_EQ(f.ReadLine(line, sizeof line), nullptr) << "a last line without line feed";
    EXPECT_STREQ(line, "last") << "the partial line stands in the buffer";
}

TEST(DrawingFile, ReadLineStopsAtMaxMinusOne) {
    TempFile file("long.txt", std::string("abcdefgh\n"));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    char line[4];
    ASSERT_NE(f.ReadLine(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "abc");
}

TEST(DrawingFile, WritesThroughTheBufferAndDirectly) {
    TempFile file("write.bin");
    {
        CDrawingFile f;
        ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_CREATE), 1);
        EXPECT_EQ(f.WriteString("head"), 1);
        std::vector<uint8_t> big = Counting(9000);
        EXPECT_EQ(f.Write(big.data(), static_cast<uint32_t>(big.size())), 1);
        std::vector<uint8_t> fill = Counting(8192);
        EXPECT_EQ(f.Write(fill.data(), 8192), 1);
        EXPECT_EQ(f.WriteString("tail"), 1);
        EXPECT_EQ(f.Flush(), 1);
        EXPECT_EQ(f.Close(), 1);
    }
    CDrawingFile r;
    ASSERT_EQ(r.Open(file.c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(r.Length(), 4u + 9000u + 8192u + 4u);
    char text[5] = {};
    r.SetPosition(-4, 2);
    ASSERT_EQ(r.Read(text, 4), 1);
    EXPECT_STREQ(text, "tail");
}

TEST(DrawingFile, CopyCarriesLayoutWithEmptyBuffers) {
    CDrawingFile a;
    memcpy(a.version, "AC1009", 6);
    a.trailer[0] = 42;
    a.in_entity_section = 1;
    CDrawingFile b(a);
    EXPECT_EQ(0, memcmp(b.version, "AC1009", 6));
    EXPECT_EQ(b.trailer[0], 42);
    EXPECT_EQ(b.in_entity_section, 1);
    EXPECT_FALSE(b.IsOpen());
}

TEST(DrawingFile, DirectoriesAndMissingFilesDoNotOpen) {
    CDrawingFile f;
    EXPECT_EQ(f.Open(::testing::TempDir().c_str(), CDB_OPEN_READ), 0);
    EXPECT_EQ(f.Open("/no/such/file", CDB_OPEN_READ), 0);
}
