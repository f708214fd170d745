// The objects of a release 13 file as the file object delivers them, one at a time.
#include "interface/test_files.h"
#include "io/bit_stream.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>

#include <vector>

using velko_test::TempFile;

namespace {

using Bytes = std::vector<uint8_t>;

// An object in the short form: the size, the data, two check bytes.
Bytes ShortObject(const Bytes &data) {
    Bytes object = {static_cast<uint8_t>(data.size() & 0xFF),
                    static_cast<uint8_t>((data.size() >> 8) & 0xFF)};
    object.insert(object.end(), data.begin(), data.end());
    object.push_back(0xFF);
    object.push_back(0xFF);
    return object;
}

// An object in the long form: two 16-bit words, (first & 0x7FFF) XOR (second << 15) bytes of
// data, two check bytes.
Bytes LongObject(uint32_t size) {
    uint16_t first = static_cast<uint16_t>(0x8000u | (size & 0x7FFFu));
    uint16_t second = static_cast<uint16_t>(size >> 15);
    Bytes object = {static_cast<uint8_t>(first & 0xFF), static_cast<uint8_t>(first >> 8),
                    static_cast<uint8_t>(second & 0xFF), static_cast<uint8_t>(second >> 8)};
    for (uint32_t i = 0; i < size; ++i)
        object.push_back(static_cast<uint8_t>(0x80 | i));
    object.push_back(0xFF);
    object.push_back(0xFF);
    return object;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

bool Holds(const std::unique_ptr<uint8_t[]> &object, const Bytes &want) {
    if (!object)
        return false;
    for (size_t i = 0; i < want.size(); ++i)
        if (object[i] != want[i])
            return false;
    return true;
}

} // namespace

TEST(DrawingFileObject, ShortFormIsDeliveredWithSizeDataAndCheckBytes) {
    Bytes first = ShortObject({0x11, 0x22, 0x33});
    Bytes second = ShortObject({0x44});
    TempFile file("objects_short.bin", Join({first, second}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    auto object = f.ReadObject();
    ASSERT_TRUE(object);
    EXPECT_TRUE(Holds(object, first));
    EXPECT_FALSE(f.read_failed);
    EXPECT_EQ(f.GetPosition(), 7);
    CBitStream s(object.get());
    EXPECT_EQ(s.Size(), 7);
    object = f.ReadObject();
    EXPECT_TRUE(Holds(object, second));
}

TEST(DrawingFileObject, LongFormIsPassedOverAndTheNextObjectDelivered) {
    Bytes next = ShortObject({0x5A, 0xA5});
    TempFile file("objects_long.bin",
                  Join({LongObject(3), LongObject(0x8001), ShortObject({}), next}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    auto empty = f.ReadObject();
    ASSERT_TRUE(empty);
    EXPECT_TRUE(Holds(empty, ShortObject({})));
    auto object = f.ReadObject();
    EXPECT_TRUE(Holds(object, next));
    EXPECT_FALSE(f.read_failed);
}

TEST(DrawingFileObject, LongFormSizeIsTheXorOfItsWords) {
    // First word 0x8001, second 0x0003: (1) XOR (3 << 15) = 0x18001 bytes of data.
    Bytes skipped = {0x01, 0x80, 0x03, 0x00};
    skipped.resize(4 + 0x18001 + 2, 0x00);
    Bytes next = ShortObject({0x01});
    TempFile file("objects_xor.bin", Join({skipped, next}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    EXPECT_TRUE(Holds(f.ReadObject(), next));
}

TEST(DrawingFileObject, EndOfFileGivesNull) {
    TempFile file("objects_end.bin", ShortObject({0x01, 0x02}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    ASSERT_TRUE(f.ReadObject());
    EXPECT_FALSE(f.ReadObject());
    EXPECT_FALSE(f.read_failed) << "the end of the file is not a failed read";
}

TEST(DrawingFileObject, LongFormRunningPastTheEndGivesNull) {
    TempFile file("objects_long_end.bin", Join({ShortObject({7}), LongObject(40000)}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    ASSERT_TRUE(f.ReadObject());
    EXPECT_FALSE(f.ReadObject());
}

TEST(DrawingFileObject, TruncatedBodyAtTheEndIsZeroFilled) {
    // Size 10, but only four data bytes follow.
    Bytes object = {0x0A, 0x00, 1, 2, 3, 4};
    TempFile file("objects_cut.bin", object);
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    auto read = f.ReadObject();
    ASSERT_TRUE(read);
    EXPECT_FALSE(f.read_failed);
    Bytes want = {0x0A, 0x00, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(Holds(read, want));
    // The stream over it sees 14 bytes, all inside the block.
    CBitStream s(read.get());
    EXPECT_EQ(s.Size(), 14);
    s.Skip(14, 0);
    EXPECT_FALSE(s.Overrun());
    EXPECT_FALSE(f.ReadObject());
}

TEST(DrawingFileObject, SizeWordCutByTheEndIsZeroFilled) {
    TempFile file("objects_one_byte.bin", Bytes{0x01});
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    auto read = f.ReadObject();
    ASSERT_TRUE(read);
    EXPECT_TRUE(Holds(read, Bytes{0x01, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_FALSE(f.ReadObject());
}

TEST(DrawingFileObject, ReadFailedIsClearedAtEachCall) {
    TempFile file("objects_flag.bin", ShortObject({9}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    f.read_failed = true;
    EXPECT_TRUE(f.ReadObject());
    EXPECT_FALSE(f.read_failed);
}

TEST(DrawingFileObject, ClosedFileGivesNull) {
    CDrawingFile f;
    EXPECT_FALSE(f.ReadObject());
    EXPECT_FALSE(f.read_failed);
}
