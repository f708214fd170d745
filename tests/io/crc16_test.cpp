// The DWG CRC against its check value and against an independent bit-by-bit computation.
#include "io/crc16.h"
#include "support/bitwise_crc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

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

TEST(Crc16, EachCallUsesItsOwnPolynomial) {
    // Polynomial 0x1021 (check values 0x31C3 unreflected, 0x2189 reflected, start 0) and
    // the DWG polynomial by turns in one process, each against the bit-by-bit CRC.
    std::mt19937 random(5);
    std::vector<uint8_t> block(777);
    for (uint8_t &b : block)
        b = static_cast<uint8_t>(random());
    EXPECT_EQ(Crc16(0, kCheck, sizeof kCheck, -1, 1, 0x1021), 0x31C3);
    EXPECT_EQ(Crc16(0, kCheck, sizeof kCheck, -1, -1, 0x1021), 0x2189);
    EXPECT_EQ(DwgCrc(kCheck, sizeof kCheck), 0x7E6C);
    for (int round = 0; round < 3; ++round) {
        for (uint16_t polynomial : {uint16_t(0x1021), uint16_t(0x8005), uint16_t(0x3D65)}) {
            EXPECT_EQ(Crc16(0x1D0F, block.data(), block.size(), -1, 1, polynomial),
                      BitwiseCrc16(polynomial, 0x1D0F, false, block.data(), block.size()))
                << std::hex << polynomial << " unreflected";
            // Reflected, the seed is taken in the unreflected form: 0xFFFF reads the same.
            EXPECT_EQ(Crc16(0xFFFF, block.data(), block.size(), -1, -1, polynomial),
                      BitwiseCrc16(polynomial, 0xFFFF, true, block.data(), block.size()))
                << std::hex << polynomial << " reflected";
        }
        EXPECT_EQ(DwgCrc(block.data(), block.size()), BitwiseDwgCrc(block.data(), block.size()));
    }
}
