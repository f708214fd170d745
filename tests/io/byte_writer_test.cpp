// The byte writer and the stores at a fixed offset, on hand-made bytes.
#include "io/byte_order.h"
#include "io/byte_reader.h"
#include "io/byte_writer.h"
#include "io/record_field.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

using Bytes = std::vector<uint8_t>;

TEST(ByteWriter, AppendsEachValueLittleEndian) {
    Bytes out = {0xAA};
    ByteWriter w(out);
    w.U8(0x01);
    w.I16(-2);
    w.U16(0x1234);
    w.I32(-2);
    w.U32(0x12345678);
    w.F64(1.5);
    const uint8_t text[] = {'a', 'b'};
    w.Bytes(text, sizeof text);
    w.Bytes(nullptr, 0);
    const Bytes want = {0xAA, 0x01, 0xFE, 0xFF, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF, 0x78, 0x56,
                        0x34, 0x12, 0,    0,    0,    0,    0,    0,    0xF8, 0x3F, 'a',  'b'};
    EXPECT_EQ(out, want);
    EXPECT_EQ(w.Size(), want.size());
}

TEST(ByteWriter, WhatItWritesReadsBack) {
    Bytes out;
    ByteWriter w(out);
    w.F64(-0.0);
    w.I16(-32768);
    w.U32(0xFFFFFFFF);
    ByteReader in(out.data(), out.size());
    double f = 1;
    int16_t s = 0;
    uint32_t u = 0;
    ASSERT_TRUE(in.F64(f) && in.I16(s) && in.U32(u));
    EXPECT_TRUE(std::signbit(f));
    EXPECT_EQ(s, -32768);
    EXPECT_EQ(u, 0xFFFFFFFFu);
}

TEST(ByteWriter, OverwritesInsideWhatIsWrittenOnly) {
    Bytes out;
    ByteWriter w(out);
    w.I16(0);
    w.U8(7);
    EXPECT_TRUE(w.WriteAt(0, int16_t(0x0102)));
    EXPECT_EQ(out, (Bytes{0x02, 0x01, 7}));
    // One byte short: nothing changes.
    EXPECT_FALSE(w.WriteAt(2, int16_t(-1)));
    EXPECT_FALSE(w.WriteAt(static_cast<size_t>(-1), uint8_t(1)));
    EXPECT_EQ(out, (Bytes{0x02, 0x01, 7}));
}

TEST(ValueAtOffset, ReadsAndWritesInsideTheBlockOnly) {
    uint8_t block[6] = {};
    EXPECT_TRUE(WriteValueAt(block, sizeof block, 2, uint32_t(0x11223344)));
    EXPECT_EQ(block[2], 0x44);
    EXPECT_EQ(block[5], 0x11);
    EXPECT_FALSE(WriteValueAt(block, sizeof block, 3, uint32_t(0)));
    EXPECT_FALSE(WriteValueAt(block, sizeof block, 7, uint8_t(0)));
    EXPECT_EQ(block[5], 0x11);
    uint32_t u = 0;
    EXPECT_TRUE(ReadValueAt(block, sizeof block, 2, u));
    EXPECT_EQ(u, 0x11223344u);
    int16_t s = 9;
    EXPECT_FALSE(ReadValueAt(block, sizeof block, 5, s));
    EXPECT_FALSE(ReadValueAt(block, sizeof block, static_cast<size_t>(-2), s));
    EXPECT_EQ(s, 9);
    EXPECT_TRUE(ReadValueAt(block, sizeof block, 4, s));
    EXPECT_EQ(s, 0x1122);
}

TEST(ValueAtOffset, BigEndianOnRequest) {
    uint8_t block[4] = {};
    EXPECT_TRUE(WriteValueAt<BigEndian>(block, sizeof block, 0, uint16_t(0x1234)));
    EXPECT_EQ(block[0], 0x12);
    EXPECT_EQ(block[1], 0x34);
    uint16_t v = 0;
    EXPECT_TRUE(ReadValueAt<BigEndian>(block, sizeof block, 0, v));
    EXPECT_EQ(v, 0x1234);
    EXPECT_TRUE(ReadValueAt(block, sizeof block, 0, v));
    EXPECT_EQ(v, 0x3412);
}

TEST(ValueAtOffset, DecodeAndEncodeOfEveryWidth) {
    uint8_t b[8];
    LittleEndian::Encode(b, int8_t(-3));
    EXPECT_EQ(b[0], 0xFD);
    EXPECT_EQ(LittleEndian::Decode<int8_t>(b), -3);
    LittleEndian::Encode(b, uint64_t(0x0102030405060708));
    EXPECT_EQ(b[0], 0x08);
    EXPECT_EQ(b[7], 0x01);
    EXPECT_EQ(BigEndian::Decode<uint64_t>(b), 0x0807060504030201u);
    BigEndian::Encode(b, int32_t(-2));
    EXPECT_EQ(b[0], 0xFF);
    EXPECT_EQ(b[3], 0xFE);
}

TEST(RecordField, LoadsAndStoresUnalignedFieldsAsTheMachineHoldsThem) {
#pragma pack(push, 1)
    struct Packed {
        uint8_t tag;
        double value;
        int16_t count;
        char *text;
    };
#pragma pack(pop)
    Packed record{};
    StoreField(&record, offsetof(Packed, value), 2.25);
    StoreField(&record, offsetof(Packed, count), int16_t(-7));
    char word[] = "w";
    StoreField(&record, offsetof(Packed, text), word);
    EXPECT_EQ(LoadField<double>(&record, offsetof(Packed, value)), 2.25);
    EXPECT_EQ(LoadField<int16_t>(&record, offsetof(Packed, count)), -7);
    EXPECT_EQ(LoadField<char *>(&record, offsetof(Packed, text)), word);
    EXPECT_EQ(record.tag, 0);
}
