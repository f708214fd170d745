// Extended data written back as DXF groups: every item of the stored form, in ASCII and in
// binary, blocks cut short, and the way back through the collector.
#include "dxf/dxf_eed.h"

#include "dxf/dxf_stream.h"
#include "dxf/dxf_written.h"
#include "io/drawing_file.h"
#include "interface/test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using velko_test::AsciiGroups;
using velko_test::BinaryGroups;
using velko_test::CodesOf;
using velko_test::FileBytes;
using velko_test::TempFile;
using velko_test::WrittenGroups;

namespace {

using Bytes = std::vector<uint8_t>;

// APPID table: ACAD 0, MYAPP 1. LAYER table: 0 is "0", 3 is "WALLS".
struct TestNames : DxfEedNames {
    const char *Appid(int index) const override {
        return index == 0 ? "ACAD" : index == 1 ? "MYAPP" : nullptr;
    }
    const char *Layer(int index) const override {
        return index == 0 ? "0" : index == 3 ? "WALLS" : nullptr;
    }
};

void PutI16(Bytes &b, int16_t v) {
    b.push_back(uint8_t(v & 0xFF));
    b.push_back(uint8_t(uint16_t(v) >> 8));
}
void PutI32(Bytes &b, int32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(uint8_t(uint32_t(v) >> (8 * i)));
}
void PutF64(Bytes &b, double v) {
    uint8_t raw[8];
    std::memcpy(raw, &v, 8);
    b.insert(b.end(), raw, raw + 8);
}

std::string Name(const char *what) {
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    return std::string("eedw_") + info->name() + "_" + what;
}

// Writes `eed` through WriteEedDxf into a file and gives the file's bytes; `result` gets
// what WriteEedDxf returned.
Bytes Written(const Bytes &eed, bool binary, int *result = nullptr, size_t size = SIZE_MAX) {
    TempFile file(Name(binary ? "bin" : "ascii"));
    CDrawingFile out;
    EXPECT_EQ(out.Open(file.c_str(), CDB_OPEN_CREATE), 1);
    CDxfStream stream;
    stream.AttachOutput(&out, binary ? 1 : 0);
    if (binary)
        stream.WriteBinarySentinel();
    const int r = WriteEedDxf(stream, eed.empty() ? nullptr : eed.data(),
                              size == SIZE_MAX ? eed.size() : size, TestNames());
    if (result)
        *result = r;
    out.Close();
    return FileBytes(file.path());
}

WrittenGroups AsciiOf(const Bytes &eed) {
    return AsciiGroups(Written(eed, false));
}

// One block with every item of the stored form.
Bytes EveryItem() {
    Bytes b;
    b.push_back(1); // 1001 MYAPP
    PutI16(b, 1);
    b.push_back(0); // 1000 "Hi there"
    b.push_back(8);
    for (char c : std::string("Hi there"))
        b.push_back(uint8_t(c));
    b.push_back(2); // 1002 {
    b.push_back(0);
    b.push_back(3); // 1003 WALLS
    PutI16(b, 3);
    b.push_back(4); // 1004 three bytes
    b.push_back(3);
    b.push_back(0x01);
    b.push_back(0xAB);
    b.push_back(0xFF);
    b.push_back(5); // 1005 handle 2A0F
    for (uint8_t v : {0, 0, 0, 0, 0, 0, 0x2A, 0x0F})
        b.push_back(v);
    b.push_back(11); // 1011 a point
    PutF64(b, 1.5);
    PutF64(b, -2.25);
    PutF64(b, 3.0);
    b.push_back(41); // 1041 a real
    PutF64(b, 0.125);
    b.push_back(70); // 1070
    PutI16(b, -7);
    b.push_back(71); // 1071
    PutI32(b, 123456789);
    b.push_back(2); // 1002 }
    b.push_back(1);
    return b;
}

} // namespace

TEST(DxfEedWrite, EveryItemBecomesItsGroups) {
    const WrittenGroups g = AsciiOf(EveryItem());
    const std::vector<int> expected = {1001, 1000, 1002, 1003, 1004, 1005, 1011,
                                       1021, 1031, 1041, 1070, 1071, 1002};
    ASSERT_EQ(CodesOf(g), expected);
    EXPECT_EQ(g[0].value, "MYAPP");
    EXPECT_EQ(g[1].value, "Hi there");
    EXPECT_EQ(g[2].value, "{");
    EXPECT_EQ(g[3].value, "WALLS");
    EXPECT_EQ(g[4].value, "01ABFF");
    EXPECT_EQ(g[5].value, "2A0F");
    EXPECT_EQ(g[6].value, "1.5");
    EXPECT_EQ(g[7].value, "-2.25");
    EXPECT_EQ(g[8].value, "3.0");
    EXPECT_EQ(g[9].value, "0.125");
    EXPECT_EQ(g[10].value, "     -7");
    EXPECT_EQ(g[11].value, "123456789");
    EXPECT_EQ(g[12].value, "}");
}

TEST(DxfEedWrite, BinaryHoldsTheSameGroupsWithTheRawChunk) {
    const Bytes eed = EveryItem();
    const Bytes bytes = Written(eed, true);
    velko_test::ExpectSameGroups(AsciiOf(eed), BinaryGroups(bytes));
    // The chunk stands as its length byte and its data behind the code 255, 1004.
    const uint8_t chunk[] = {255, 0xEC, 0x03, 3, 0x01, 0xAB, 0xFF};
    EXPECT_NE(std::search(bytes.begin(), bytes.end(), chunk, chunk + sizeof chunk), bytes.end());
}

TEST(DxfEedWrite, EmptyOrNullBlockWritesNothing) {
    int result = 0;
    EXPECT_TRUE(Written(Bytes(), false, &result).empty());
    EXPECT_EQ(result, 1);
    const Bytes one = {2, 0};
    EXPECT_TRUE(Written(one, false, &result, 0).empty());
    EXPECT_EQ(result, 1);
}

TEST(DxfEedWrite, NamesMissingFromTheTablesAreEmptyValues) {
    Bytes b;
    b.push_back(1);
    PutI16(b, 9);
    b.push_back(3);
    PutI16(b, -1);
    const WrittenGroups g = AsciiOf(b);
    ASSERT_EQ(g.size(), 2u);
    EXPECT_EQ(g[0].value, "");
    EXPECT_EQ(g[1].value, "");
}

TEST(DxfEedWrite, TextStopsAtAZeroByteInsideItsLength) {
    const Bytes b = {0, 4, 'a', 'b', 0, 'c'};
    const WrittenGroups g = AsciiOf(b);
    ASSERT_EQ(g.size(), 1u);
    EXPECT_EQ(g[0].value, "ab");
}

TEST(DxfEedWrite, LongestTextAndBinaryItemsAreWrittenWhole) {
    Bytes b = {0, 255};
    b.insert(b.end(), 255, 'x');
    b.push_back(4);
    b.push_back(255);
    b.insert(b.end(), 255, 0x5A);
    const WrittenGroups g = AsciiOf(b);
    ASSERT_EQ(g.size(), 2u);
    EXPECT_EQ(g[0].value, std::string(255, 'x'));
    std::string hex;
    for (int i = 0; i < 255; ++i)
        hex += "5A";
    EXPECT_EQ(g[1].value, hex);
}

TEST(DxfEedWrite, ItemRunningPastTheEndEndsTheWalk) {
    // A real with four of its eight bytes: the brace before it is written, the real not.
    const Bytes b = {2, 0, 40, 1, 2, 3, 4};
    int result = 0;
    const WrittenGroups g = AsciiGroups(Written(b, false, &result));
    EXPECT_EQ(result, 1);
    ASSERT_EQ(g.size(), 1u);
    EXPECT_EQ(g[0].code, 1002);
}

TEST(DxfEedWrite, LengthByteOrDataCutShortEndsTheWalk) {
    EXPECT_TRUE(AsciiOf(Bytes{0}).empty());
    EXPECT_TRUE(AsciiOf(Bytes{0, 5, 'a', 'b'}).empty());
    EXPECT_TRUE(AsciiOf(Bytes{4, 3, 1}).empty());
    EXPECT_TRUE(AsciiOf(Bytes{10, 0, 0, 0}).empty());
}

TEST(DxfEedWrite, CodeOutsideTheStoredFormEndsTheWalk) {
    const Bytes b = {70, 1, 0, 6, 1, 2, 3, 70, 2, 0};
    const WrittenGroups g = AsciiOf(b);
    ASSERT_EQ(g.size(), 1u);
    EXPECT_EQ(g[0].code, 1070);
}

TEST(DxfEedWrite, WrittenGroupsCollectBackToTheSameBlock) {
    const Bytes eed = EveryItem();
    DxfEedLookup lookup;
    lookup.appid = [](const char *name) { return std::string(name) == "MYAPP" ? 1 : -1; };
    lookup.layer = [](const char *name) { return std::string(name) == "WALLS" ? 3 : -1; };
    CDxfEedCollector collector(lookup, false);
    for (const auto &g : AsciiOf(eed))
        collector.Add(static_cast<int16_t>(g.code), g.value.c_str());
    EXPECT_EQ(collector.Bytes(), eed);
}
