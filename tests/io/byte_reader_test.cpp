// The byte reader on hand-made bytes: every read, the end of the block, the failure that
// sticks, and the big-endian variant.
#include "io/byte_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace {

const uint8_t kBytes[] = {0x01, 0xFE, 0xFF, 0x34, 0x12, 0x78, 0x56, 0x34, 0x12,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0x3F};

} // namespace

TEST(ByteReader, ReadsEachLittleEndianValueInTurn) {
    ByteReader in(kBytes, sizeof kBytes);
    uint8_t u8 = 0;
    int8_t i8 = 0;
    int16_t i16 = 0;
    uint32_t u32 = 0;
    double f64 = 0;
    ASSERT_TRUE(in.U8(u8));
    ASSERT_TRUE(in.I8(i8));
    EXPECT_EQ(u8, 0x01);
    EXPECT_EQ(i8, -2);
    uint8_t skip = 0;
    ASSERT_TRUE(in.U8(skip));
    ASSERT_TRUE(in.I16(i16));
    EXPECT_EQ(i16, 0x1234);
    ASSERT_TRUE(in.U32(u32));
    EXPECT_EQ(u32, 0x12345678u);
    ASSERT_TRUE(in.F64(f64));
    EXPECT_EQ(f64, 1.5);
    EXPECT_EQ(in.Position(), sizeof kBytes);
    EXPECT_EQ(in.Remaining(), 0u);
    EXPECT_FALSE(in.Failed());
}

TEST(ByteReader, SignedAndUnsignedSixteenAndThirtyTwoBits) {
    const uint8_t bytes[] = {0xFF, 0xFF, 0x00, 0x80, 0xFE, 0xFF,
                             0xFF, 0xFF, 0x00, 0x00, 0x00, 0x80};
    ByteReader in(bytes, sizeof bytes);
    uint16_t u16 = 0;
    int16_t i16 = 0;
    int32_t i32 = 0;
    uint32_t u32 = 0;
    ASSERT_TRUE(in.U16(u16) && in.I16(i16) && in.I32(i32) && in.U32(u32));
    EXPECT_EQ(u16, 0xFFFF);
    EXPECT_EQ(i16, std::numeric_limits<int16_t>::min());
    EXPECT_EQ(i32, -2);
    EXPECT_EQ(u32, 0x80000000u);
}

TEST(ByteReader, SixtyFourBitIntegers) {
    const uint8_t bytes[] = {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,
                             0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    ByteReader in(bytes, sizeof bytes);
    uint64_t u64 = 0;
    int64_t i64 = 0;
    ASSERT_TRUE(in.U64(u64) && in.I64(i64));
    EXPECT_EQ(u64, 0x0102030405060708u);
    EXPECT_EQ(i64, -1);
}

TEST(ByteReader, AReadPastTheEndFailsAndLeavesTheTargetAlone) {
    ByteReader in(kBytes, 3);
    int16_t i16 = 0;
    ASSERT_TRUE(in.I16(i16));
    uint16_t u16 = 0xBEEF;
    EXPECT_FALSE(in.U16(u16));
    EXPECT_EQ(u16, 0xBEEF);
    EXPECT_TRUE(in.Failed());
    // The failed read did not move the cursor.
    EXPECT_EQ(in.Position(), 2u);
}

TEST(ByteReader, AFailureSticks) {
    ByteReader in(kBytes, sizeof kBytes);
    double f64 = 7;
    uint32_t u32 = 0;
    ASSERT_TRUE(in.U32(u32));
    uint8_t big[64];
    EXPECT_FALSE(in.Bytes(big, sizeof big));
    // Bytes enough remain for these, yet every read after the failure fails.
    uint8_t u8 = 9;
    EXPECT_FALSE(in.U8(u8));
    EXPECT_EQ(u8, 9);
    EXPECT_FALSE(in.F64(f64));
    EXPECT_EQ(f64, 7);
    EXPECT_FALSE(in.Skip(0));
    EXPECT_FALSE(in.Has(0));
    EXPECT_FALSE(in.Seek(0));
}

TEST(ByteReader, EveryKindOfReadFailsAtTheEnd) {
    const uint8_t one[] = {0x2A};
    auto fresh_at_end = [&] {
        ByteReader in(one, sizeof one);
        uint8_t u8 = 0;
        EXPECT_TRUE(in.U8(u8));
        return in;
    };
    {
        ByteReader in = fresh_at_end();
        uint8_t v = 3;
        EXPECT_FALSE(in.U8(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        int8_t v = 3;
        EXPECT_FALSE(in.I8(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        int16_t v = 3;
        EXPECT_FALSE(in.I16(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        int32_t v = 3;
        EXPECT_FALSE(in.I32(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        uint32_t v = 3;
        EXPECT_FALSE(in.U32(v));
        EXPECT_EQ(v, 3u);
    }
    {
        ByteReader in = fresh_at_end();
        int64_t v = 3;
        EXPECT_FALSE(in.I64(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        double v = 3;
        EXPECT_FALSE(in.F64(v));
        EXPECT_EQ(v, 3);
    }
    {
        ByteReader in = fresh_at_end();
        uint8_t v[2] = {3, 3};
        EXPECT_FALSE(in.Bytes(v, 1));
        EXPECT_EQ(v[0], 3);
    }
    {
        ByteReader in = fresh_at_end();
        EXPECT_TRUE(in.Skip(0));
        EXPECT_FALSE(in.Skip(1));
        EXPECT_TRUE(in.Failed());
    }
}

TEST(ByteReader, BytesSkipAndSeek) {
    ByteReader in(kBytes, sizeof kBytes);
    uint8_t two[2] = {};
    ASSERT_TRUE(in.Skip(3));
    ASSERT_TRUE(in.Bytes(two, 2));
    EXPECT_EQ(two[0], 0x34);
    EXPECT_EQ(two[1], 0x12);
    EXPECT_EQ(in.Here(), kBytes + 5);
    ASSERT_TRUE(in.Seek(1));
    int8_t i8 = 0;
    ASSERT_TRUE(in.I8(i8));
    EXPECT_EQ(i8, -2);
    // The end itself is a place to stand; beyond it is not.
    EXPECT_TRUE(in.Seek(sizeof kBytes));
    EXPECT_FALSE(in.Seek(sizeof kBytes + 1));
    EXPECT_TRUE(in.Failed());
}

TEST(ByteReader, HasChecksWithoutMovingAndFailsWhenShort) {
    ByteReader in(kBytes, 4);
    EXPECT_TRUE(in.Has(4));
    EXPECT_EQ(in.Position(), 0u);
    // A count near the largest size must not wrap around.
    EXPECT_FALSE(in.Has(static_cast<size_t>(-1)));
    EXPECT_TRUE(in.Failed());
}

TEST(ByteReader, AnEmptyOrNullBlockHasNothing) {
    ByteReader null_block(nullptr, 10);
    EXPECT_EQ(null_block.Size(), 0u);
    uint8_t v = 0;
    EXPECT_FALSE(null_block.U8(v));
    ByteReader empty(kBytes, 0);
    EXPECT_TRUE(empty.Has(0));
    EXPECT_FALSE(empty.U8(v));
}

TEST(ByteReader, ValueAtAnOffsetIgnoresTheCursorAndItsFailure) {
    ByteReader in(kBytes, sizeof kBytes);
    int16_t i16 = 0;
    ASSERT_TRUE(in.ReadAt(3, i16));
    EXPECT_EQ(i16, 0x1234);
    EXPECT_EQ(in.Position(), 0u);
    double f64 = 0;
    ASSERT_TRUE(in.ReadAt(9, f64));
    EXPECT_EQ(f64, 1.5);
    // Past the end: false, the target untouched, the reader not failed.
    uint32_t u32 = 5;
    EXPECT_FALSE(in.ReadAt(sizeof kBytes - 3, u32));
    EXPECT_EQ(u32, 5u);
    EXPECT_FALSE(in.ReadAt(static_cast<size_t>(-1), u32));
    EXPECT_FALSE(in.Failed());
}

TEST(BigEndianByteReader, ReadsMostSignificantByteFirst) {
    const uint8_t bytes[] = {0x12, 0x34, 0xFF, 0xFE, 0x00, 0x01, 0x00, 0x00,
                             0x3F, 0xF8, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    BigEndianByteReader in(bytes, sizeof bytes);
    uint16_t u16 = 0;
    int16_t i16 = 0;
    uint32_t u32 = 0;
    double f64 = 0;
    ASSERT_TRUE(in.U16(u16) && in.I16(i16) && in.U32(u32) && in.F64(f64));
    EXPECT_EQ(u16, 0x1234);
    EXPECT_EQ(i16, -2);
    EXPECT_EQ(u32, 0x00010000u);
    EXPECT_EQ(f64, 1.5);
    EXPECT_FALSE(in.U8(*reinterpret_cast<uint8_t *>(&u16)));
    uint16_t at = 0;
    ASSERT_TRUE(in.ReadAt(2, at));
    EXPECT_EQ(at, 0xFFFE);
}
