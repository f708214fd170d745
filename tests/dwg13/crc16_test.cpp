// The DWG CRC against its check value and against an independent bit-by-bit computation.
#include "dwg13/crc16.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

// The reflected CRC-16 bit by bit: reversed polynomial 0xA001, start 0xC0C1, no final XOR.
uint16_t BitwiseDwgCrc(const uint8_t *data, size_t length) {
    uint16_t reg = 0xC0C1;
    for (size_t i = 0; i < length; ++i) {
        reg ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            reg = static_cast<uint16_t>((reg & 1) ? (reg >> 1) ^ 0xA001 : reg >> 1);
    }
    return reg;
}

const uint8_t kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

} // namespace

TEST(DwgCrc, CheckValueOverTheNineDigitsIs7E6C) {
    EXPECT_EQ(DwgCrc(kCheck, sizeof kCheck), 0x7E6C);
}

TEST(DwgCrc, EqualsTheBitwiseReflectedCrcOnRandomBlocks) {
    std::mt19937 random(12);
    for (int round = 0; round < 500; ++round) {
        std::vector<uint8_t> block(random() % 2000);
        for (uint8_t &b : block)
            b = static_cast<uint8_t>(random());
        ASSERT_EQ(DwgCrc(block.data(), block.size()), BitwiseDwgCrc(block.data(), block.size()))
            << block.size() << " bytes";
    }
}

TEST(DwgCrc, EmptyBlockGivesTheStartValue) {
    EXPECT_EQ(DwgCrc(kCheck, 0), 0xC0C1);
}

TEST(Crc16, UnreflectedFormWithZeroStartIsTheMostSignificantBitFirstCrc) {
    // Polynomial 0x8005, start 0, nothing reflected: check value 0xFEE8.
    EXPECT_EQ(Crc16(0, kCheck, sizeof kCheck, -1, 1, 0x8005), 0xFEE8);
}

TEST(Crc16, InitByteStartsTheRegisterInBothHalves) {
    // A start byte of 0 is a zero register, whatever the seed.
    EXPECT_EQ(Crc16(0xC0C1, kCheck, sizeof kCheck, 0, 1, 0x8005),
              Crc16(0, kCheck, sizeof kCheck, -1, 1, 0x8005));
}

TEST(Crc16, LengthThatASixteenBitLoopCouldNotFinishCountsAsEmpty) {
    std::vector<uint8_t> big(65536, 0x55);
    EXPECT_EQ(DwgCrc(big.data(), big.size()), 0xC0C1);
}
