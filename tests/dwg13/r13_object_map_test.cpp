// The object map of release 13: modular numbers, the list and its walk, the file form.
#include "dwg13/r13_object_map.h"
#include "interface/test_files.h"
#include "io/drawing_file.h"
#include "records/handle_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

using velko_test::TempFile;
using Bytes = std::vector<uint8_t>;

namespace {

uint32_t Unsigned(const Bytes &bytes, size_t *used = nullptr) {
    size_t pos = 0;
    uint32_t value = 0xDEAD;
    EXPECT_TRUE(ReadModular(bytes.data(), bytes.size(), pos, value));
    if (used)
        *used = pos;
    return value;
}

int32_t Signed(const Bytes &bytes) {
    size_t pos = 0;
    int32_t value = 0x0DEAD;
    EXPECT_TRUE(ReadSignedModular(bytes.data(), bytes.size(), pos, value));
    return value;
}

Bytes PutU(int64_t v) {
    Bytes out;
    PutModular(out, v);
    return out;
}

Bytes PutS(int64_t v) {
    Bytes out;
    PutSignedModular(out, v);
    return out;
}

void PutLe32(Bytes &bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[at + size_t(i)] = static_cast<uint8_t>(value >> (8 * i));
}

uint32_t Le32(const Bytes &bytes, size_t at) {
    return uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
           uint32_t(bytes[at + 3]) << 24;
}

// A file of `head` bytes (zero, with the map's offset and size at 44) followed by `map`.
Bytes FileWithMap(const Bytes &map, size_t head = 64, int64_t stated_size = -1) {
    Bytes file(head + map.size(), 0);
    std::copy(map.begin(), map.end(), file.begin() + std::ptrdiff_t(head));
    PutLe32(file, 44, static_cast<uint32_t>(head));
    PutLe32(file, 48, static_cast<uint32_t>(stated_size < 0 ? int64_t(map.size()) : stated_size));
    return file;
}

int ReadMapOf(const Bytes &bytes, CObjectMap &map) {
    TempFile file("r13_map.bin", bytes);
    CDrawingFile f;
    EXPECT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    f.SetPosition(7, 0);
    const int result = map.Read(f);
    EXPECT_EQ(f.GetPosition(), 7) << "the file position is kept";
    return result;
}

CObjectMap MapOf(std::initializer_list<ObjectMapEntry> entries) {
    CObjectMap map;
    for (const ObjectMapEntry &e : entries)
        map.Add(e);
    return map;
}

} // namespace

// ---- Modular numbers ------------------------------------------------------------------------

TEST(R13ModularNumbers, TwoBytesEightyOneReadAs128) {
    size_t used = 0;
    EXPECT_EQ(Unsigned({0x80, 0x01}, &used), 128u);
    EXPECT_EQ(used, 2u);
}

TEST(R13ModularNumbers, Byte41ReadsAsMinusOneSigned) {
    EXPECT_EQ(Signed({0x41}), -1);
    EXPECT_EQ(Signed({0x01}), 1);
    EXPECT_EQ(Signed({0xC0, 0x00}), 64);
    EXPECT_EQ(Signed({0xC0, 0x40}), -64);
}

TEST(R13ModularNumbers, ANumberRunningOffTheRangeFails) {
    const Bytes bytes = {0x85, 0x81};
    size_t pos = 0;
    uint32_t value = 7;
    EXPECT_FALSE(ReadModular(bytes.data(), bytes.size(), pos, value));
    EXPECT_EQ(pos, bytes.size());
    EXPECT_EQ(value, 7u) << "a failed read leaves the value alone";
    int32_t s = 9;
    pos = 1;
    EXPECT_FALSE(ReadSignedModular(bytes.data(), bytes.size(), pos, s));
    EXPECT_EQ(s, 9);
}

TEST(R13ModularNumbers, LongRunsKeepTheLow32Bits) {
    Bytes bytes(12, 0xFF);
    bytes.push_back(0x01);
    EXPECT_EQ(Unsigned(bytes), 0xFFFFFFFFu);
}

TEST(R13ModularNumbers, PutModularSplitsIntoSevenBitGroups) {
    EXPECT_EQ(PutU(0), Bytes({0x00}));
    EXPECT_EQ(PutU(127), Bytes({0x7F}));
    EXPECT_EQ(PutU(128), Bytes({0x80, 0x01}));
    EXPECT_EQ(PutU(0x3FFF), Bytes({0xFF, 0x7F}));
}

TEST(R13ModularNumbers, PutModularOfANegativeIncreaseIsOneByte) {
    EXPECT_EQ(PutU(-1), Bytes({0xFF}));
    EXPECT_EQ(PutU(-3), Bytes({0xFD}));
}

TEST(R13ModularNumbers, PutSignedModularKeepsTheSignInBitSix) {
    EXPECT_EQ(PutS(0), Bytes({0x00}));
    EXPECT_EQ(PutS(-1), Bytes({0x41}));
    EXPECT_EQ(PutS(63), Bytes({0x3F}));
    EXPECT_EQ(PutS(64), Bytes({0xC0, 0x00}));
    EXPECT_EQ(PutS(-200), Bytes({0xC8, 0x41}));
}

TEST(R13ModularNumbers, WrittenNumbersReadBack) {
    for (int64_t v : {0LL, 1LL, 127LL, 128LL, 300LL, 16383LL, 16384LL, 0x7FFFFFFFLL}) {
        EXPECT_EQ(Unsigned(PutU(v)), uint32_t(v)) << v;
        EXPECT_EQ(Signed(PutS(v)), int32_t(v)) << v;
        EXPECT_EQ(Signed(PutS(-v)), int32_t(-v)) << v;
    }
}

// ---- Handles as text ------------------------------------------------------------------------

TEST(R13CompareHandles, ComparesByValueInBase16) {
    EXPECT_EQ(CompareHandles("A", "9"), 1);
    EXPECT_EQ(CompareHandles("9", "A"), -1);
    EXPECT_EQ(CompareHandles("1F", "1f"), 0);
    EXPECT_EQ(CompareHandles("100", "FF"), 1);
    EXPECT_EQ(CompareHandles("00A", "A"), 0);
}

TEST(R13CompareHandles, ATextNotStartingWithADigitOrLetterCountsAsZero) {
    EXPECT_EQ(CompareHandles("-1", "0"), 0);
    EXPECT_EQ(CompareHandles(" 5", "0"), 0);
    EXPECT_EQ(CompareHandles("", nullptr), 0);
    EXPECT_EQ(CompareHandles("Z", "0"), 0) << "a letter beyond F gives no digit";
    EXPECT_EQ(CompareHandles("-1", "1"), -1);
}

// ---- The list -------------------------------------------------------------------------------

TEST(R13ObjectMap, AddKeepsTheLowestOffset) {
    CObjectMap map;
    EXPECT_EQ(map.LowestOffset(), 0x0FFFFFFF);
    map.Add({1, 500});
    map.Add({2, 300});
    map.Add({3, 900});
    EXPECT_EQ(map.LowestOffset(), 300);
    EXPECT_EQ(map.Count(), 3u);
    EXPECT_EQ(map.NextHandle(), 4u);
}

TEST(R13ObjectMap, NextHandleFollowsTheLastEntryNotTheLargest) {
    CObjectMap map = MapOf({{0x40, 1}, {0x10, 2}});
    EXPECT_EQ(map.NextHandle(), 0x11u);
    EXPECT_EQ(CObjectMap().NextHandle(), 1u);
}

TEST(R13ObjectMap, InsertSortedGoesBehindTheLastEntryNotAbove) {
    CObjectMap map = MapOf({{1, 10}, {5, 50}, {9, 90}});
    map.InsertSorted({6, 0});
    map.InsertSorted({5, 55});
    map.InsertSorted({0x20, 0});
    map.InsertSorted({0, 0});
    std::vector<uint32_t> handles;
    for (const ObjectMapEntry &e : map.Entries())
        handles.push_back(e.handle);
    EXPECT_EQ(handles, (std::vector<uint32_t>{0, 1, 5, 5, 6, 9, 0x20}));
    EXPECT_EQ(map.At(3).offset, 55) << "an equal handle goes behind the one there";
    EXPECT_EQ(map.LowestOffset(), 10) << "only Add moves the lowest offset";
}

TEST(R13ObjectMap, RemoveParsesTheTextAsHexadecimal) {
    CObjectMap map = MapOf({{0x1A, 1}, {0x2B, 2}, {0x1A, 3}});
    EXPECT_EQ(map.Remove("1a"), 1);
    ASSERT_EQ(map.Count(), 2u);
    EXPECT_EQ(map.At(0).handle, 0x2Bu);
    EXPECT_EQ(map.At(1).offset, 3) << "only the first entry of the handle goes";
    EXPECT_EQ(map.Remove("77"), 0);
    EXPECT_EQ(map.Remove("xyz"), 0);
    EXPECT_EQ(map.Remove(nullptr), 0);
    EXPECT_EQ(map.Count(), 2u);
}

TEST(R13ObjectMap, FindWalksFromTheCursorAndKeepsIt) {
    CObjectMap map = MapOf({{1, 10}, {2, 20}, {3, 30}, {4, 40}});
    ASSERT_NE(map.Find(3), nullptr);
    EXPECT_EQ(map.Find(3)->offset, 30);
    EXPECT_EQ(map.GetOffset(1), 10);
    EXPECT_EQ(map.GetOffset(4), 40);
    EXPECT_EQ(map.GetOffset(7), 0) << "a missing handle has the offset 0";
    EXPECT_EQ(map.SetOffset(2, 222), 1);
    EXPECT_EQ(map.GetOffset(2), 222);
    EXPECT_EQ(map.SetOffset(9, 1), 0);
}

TEST(R13ObjectMap, FindOnAnUnsortedMapWalksInOneDirection) {
    // From the head (handle 5): 3 is below, so the walk goes towards the head and ends.
    CObjectMap map = MapOf({{5, 50}, {9, 90}, {3, 30}, {7, 70}});
    EXPECT_EQ(map.Find(3), nullptr);
    // The cursor is now empty: the next walk starts at the head again; 7 is above 5.
    ASSERT_NE(map.Find(7), nullptr);
    EXPECT_EQ(map.Find(7)->offset, 70);
    // From 7 (the tail), 3 is below: towards the head it is met.
    ASSERT_NE(map.Find(3), nullptr);
    EXPECT_EQ(map.Find(3)->offset, 30);
    // From 3, 9 is above: towards the tail only 7 follows, so 9 is not found.
    EXPECT_EQ(map.Find(9), nullptr);
    // From the head again, 9 is above 5 and found.
    ASSERT_NE(map.Find(9), nullptr);
    EXPECT_EQ(map.Find(9)->offset, 90);
}

TEST(R13ObjectMap, FindOnASortedMapGivesTheSameAsTheWalk) {
    CObjectMap map;
    for (uint32_t h = 1; h <= 200; h += 2)
        map.Add({h, int32_t(h * 10)});
    for (uint32_t h = 0; h <= 200; ++h) {
        const ObjectMapEntry *e = map.Find(h);
        if (h % 2) {
            ASSERT_NE(e, nullptr) << h;
            EXPECT_EQ(e->offset, int32_t(h * 10));
        } else {
            EXPECT_EQ(e, nullptr) << h;
        }
    }
    // Walking down from the tail finds every entry too.
    for (int h = 199; h >= 1; h -= 2)
        ASSERT_EQ(map.GetOffset(uint32_t(h)), h * 10) << h;
}

TEST(R13ObjectMap, TheCursorStaysOnItsEntryThroughInsertSorted) {
    // Unsorted, so that the result depends on where the cursor stands.
    CObjectMap map = MapOf({{5, 50}, {9, 90}, {3, 30}, {7, 70}});
    ASSERT_NE(map.Find(9), nullptr);
    map.InsertSorted({2, 20}); // goes to the head: 2 5 9 3 7
    // From 9, 7 is below: the walk goes towards the head and does not meet it.
    EXPECT_EQ(map.Find(7), nullptr);
}

TEST(R13ObjectMap, TheCursorStaysOnItsEntryThroughRemove) {
    CObjectMap map = MapOf({{5, 50}, {9, 90}, {3, 30}, {7, 70}});
    ASSERT_NE(map.Find(9), nullptr);
    ASSERT_EQ(map.Remove("5"), 1); // 9 3 7, the cursor still on 9
    EXPECT_EQ(map.Find(7), nullptr);
    // Removing the entry under the cursor empties it: the walk starts at the head.
    ASSERT_NE(map.Find(9), nullptr);
    ASSERT_EQ(map.Remove("9"), 1); // 3 7
    ASSERT_NE(map.Find(7), nullptr);
    EXPECT_EQ(map.Find(7)->offset, 70);
}

// ---- The file form --------------------------------------------------------------------------

TEST(R13ObjectMap, AMapOfOnlyTheClosingSectionHoldsNoEntries) {
    CObjectMap map;
    EXPECT_EQ(ReadMapOf(FileWithMap({0x00, 0x02, 0x01, 0xD0}), map), 1);
    EXPECT_EQ(map.Count(), 0u);
    EXPECT_EQ(map.LowestOffset(), 0x0FFFFFFF);
}

TEST(R13ObjectMap, EncodingStartsEachSectionAtZero) {
    const Bytes bytes = EncodeObjectMap({{1, 0x100}, {3, 0xF0}});
    const Bytes expected = {0x00, 0x07,       // size: 5 bytes of pairs and the size itself
                            0x01, 0x80, 0x02, // +1, +256
                            0x02, 0x50,       // +2, -16
                            0xFF, 0xFF,       // check
                            0x00, 0x02, 0x01, 0xD0};
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(EncodeObjectMap({}), Bytes({0x00, 0x02, 0x01, 0xD0}));
}

TEST(R13ObjectMap, ASectionClosesAt2016Bytes) {
    std::vector<ObjectMapEntry> entries;
    // Each pair takes 1 + 3 bytes: 504 pairs fill 2016 bytes.
    for (uint32_t i = 0; i < 600; ++i)
        entries.push_back({i + 1, int32_t(i + 1) * 0x2000});
    const Bytes bytes = EncodeObjectMap(entries);
    const size_t first = size_t(bytes[0]) << 8 | bytes[1];
    ASSERT_GE(first - 2, 2016u);
    ASSERT_LT(first - 2, 2016u + 10);
    EXPECT_EQ(bytes[first], 0xFF);
    EXPECT_EQ(bytes[first + 1], 0xFF);
    // The second section starts its numbers at 0 again.
    const size_t second = first + 2;
    size_t pos = second + 2;
    uint32_t handle = 0;
    ASSERT_TRUE(ReadModular(bytes.data(), bytes.size(), pos, handle));
    const size_t pairs_in_first = (first - 2) / 4;
    EXPECT_EQ(handle, entries[pairs_in_first].handle);
    EXPECT_EQ(Bytes(bytes.end() - 4, bytes.end()), Bytes({0x00, 0x02, 0x01, 0xD0}));
}

TEST(R13ObjectMap, WrittenMapReadsBack) {
    CObjectMap written;
    for (uint32_t i = 0; i < 1500; ++i)
        written.Add({0x10 + i * 3, int32_t(0x400 + i * 37 - (i % 5) * 900)});
    TempFile file("r13_map_written.bin");
    {
        CDrawingFile f;
        ASSERT_EQ(f.Open(file.c_str(), kDrawingFileCreate), 1);
        const Bytes head(100, 0x55);
        ASSERT_EQ(f.Write(head.data(), uint32_t(head.size())), 1);
        ASSERT_EQ(written.Write(f), 1);
        const Bytes tail = {0xAB};
        ASSERT_EQ(f.Write(tail.data(), 1), 1) << "the position is left at the end";
    }
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    Bytes all(f.Length());
    ASSERT_EQ(f.Read(all.data(), uint32_t(all.size())), 1);
    EXPECT_EQ(Le32(all, 44), 100u) << "the map starts at the end of what stood before";
    const uint32_t size = Le32(all, 48);
    EXPECT_EQ(size + 100 + 1, all.size());
    EXPECT_EQ(Bytes(all.begin() + 100 + size - 4, all.begin() + 100 + size),
              Bytes({0x00, 0x02, 0x01, 0xD0}));
    EXPECT_EQ(all.back(), 0xAB);
    CObjectMap read;
    EXPECT_EQ(read.Read(f), 1);
    ASSERT_EQ(read.Count(), written.Count());
    for (size_t i = 0; i < read.Count(); ++i) {
        EXPECT_EQ(read.At(i).handle, written.At(i).handle) << i;
        EXPECT_EQ(read.At(i).offset, written.At(i).offset) << i;
    }
    EXPECT_EQ(read.LowestOffset(), written.LowestOffset());
}

TEST(R13ObjectMap, ASectionSizeOf0xFFFFEndsAtTheFile) {
    Bytes map = {0xFF, 0xFF, 0x01, 0x02, 0x01, 0x04, 0x81};
    CObjectMap read;
    EXPECT_EQ(ReadMapOf(FileWithMap(map), read), 1);
    ASSERT_EQ(read.Count(), 2u) << "the pairs the file holds; the cut number ends it";
    EXPECT_EQ(read.At(1).handle, 2u);
    EXPECT_EQ(read.At(1).offset, 6);
}

TEST(R13ObjectMap, AMapSizeBeyondTheFileEndsWithoutACrash) {
    const Bytes map = {0x00, 0x06, 0x05, 0x10, 0x01, 0x01, 0xFF, 0xFF};
    CObjectMap read;
    EXPECT_EQ(ReadMapOf(FileWithMap(map, 64, 0x7FFFFFF0), read), 1);
    ASSERT_EQ(read.Count(), 2u);
    EXPECT_EQ(read.At(1).handle, 6u);
    EXPECT_EQ(read.At(1).offset, 0x11);
}

TEST(R13ObjectMap, AMapOffsetOutsideTheFileReadsNothing) {
    Bytes file = FileWithMap({0x00, 0x02, 0x01, 0xD0});
    PutLe32(file, 44, 0x7FFFFFFF);
    CObjectMap read;
    EXPECT_EQ(ReadMapOf(file, read), 0);
    PutLe32(file, 44, 0xFFFFFFF0);
    EXPECT_EQ(ReadMapOf(file, read), 0);
    EXPECT_EQ(read.Count(), 0u);
}

TEST(R13ObjectMap, ASectionNumberRunningPastItsSectionStopsAtTheSection) {
    // The section says 3 bytes of pairs, but the second number runs on into the check.
    const Bytes map = {0x00, 0x05, 0x01, 0x02, 0x83, 0xFF, 0xFF, 0x00, 0x02, 0x01, 0xD0};
    CObjectMap read;
    EXPECT_EQ(ReadMapOf(FileWithMap(map), read), 1);
    ASSERT_EQ(read.Count(), 1u);
    EXPECT_EQ(read.At(0).handle, 1u);
    EXPECT_EQ(read.At(0).offset, 2);
}

TEST(R13ObjectMap, DamagedSectionSizesOfZeroAndOneEnd) {
    const Bytes map = {0x00, 0x00, 0xFF, 0xFF, 0x00, 0x01, 0xFF, 0xFF, 0x00, 0x02, 0x01, 0xD0};
    CObjectMap read;
    EXPECT_EQ(ReadMapOf(FileWithMap(map), read), 1);
    EXPECT_EQ(read.Count(), 0u);
}
