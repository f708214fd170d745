#include "records/handle_text.h"

#include <gtest/gtest.h>

TEST(HandleText, LeadingZeroBytesAreDropped) {
    const uint8_t bytes[8] = {0, 0, 0, 0, 0, 0, 0x2A, 0x0F};
    EXPECT_EQ(HandleBytesToText(bytes, 8), "2A0F");
}

TEST(HandleText, AllZeroBytesGiveZero) {
    const uint8_t bytes[8] = {};
    EXPECT_EQ(HandleBytesToText(bytes, 8), "0");
    EXPECT_EQ(HandleBytesToText(bytes, 1), "0");
}

TEST(HandleText, NoBytesGiveZero) {
    EXPECT_EQ(HandleBytesToText(nullptr, 0), "0");
    EXPECT_EQ(HandleBytesToText(nullptr, 8), "0");
    const uint8_t one = 5;
    EXPECT_EQ(HandleBytesToText(&one, 0), "0");
}

TEST(HandleText, UpperCaseDigitsWithTheFirstByteMostSignificant) {
    const uint8_t bytes[8] = {0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x23, 0x45, 0x67};
    EXPECT_EQ(HandleBytesToText(bytes, 8), "DEADBEEF01234567");
}

TEST(HandleText, LeadingZeroDigitOfTheFirstByteIsDropped) {
    const uint8_t bytes[3] = {0x00, 0x0A, 0x0F};
    EXPECT_EQ(HandleBytesToText(bytes, 3), "A0F");
}

TEST(HandleText, ZeroBytesAfterTheFirstDigitAreKept) {
    const uint8_t bytes[4] = {0x00, 0x01, 0x00, 0x00};
    EXPECT_EQ(HandleBytesToText(bytes, 4), "10000");
    const uint8_t low[2] = {0x00, 0x01};
    EXPECT_EQ(HandleBytesToText(low, 2), "1");
}
