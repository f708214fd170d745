// The bit reader on hand-made bytes: the selectors, the moves, and what happens at and past
// the end of an exactly sized buffer.
#include "io/bit_stream.h"
#include "io/exact_bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using velko_test::ExactBytes;

namespace {

// A text of the reader, freed here.
std::string Take(char *text) {
    std::string result = text ? text : "<null>";
    std::free(text);
    return result;
}

struct Ref {
    int16_t code = -7;
    uint32_t value = 0xDEAD;
};

} // namespace

// ---- The edge cases of the reader ------------------------------------------------------

TEST(BitStream, BitShortOverOneOneIsMinusOne) {
    ExactBytes bytes({0xC0});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBitShort(), -1);
    EXPECT_EQ(s.TellByte(), 0);
    EXPECT_EQ(s.TellBit(), 2);
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, TextOverOneOneReads256Bytes) {
    // Bits 1 1, then 256 bytes shifted by two bits, then one more byte to see where it ends.
    std::vector<uint8_t> plain(257);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = static_cast<uint8_t>('A' + i % 26);
    std::vector<uint8_t> packed(259, 0);
    packed[0] = 0xC0;
    for (size_t i = 0; i < plain.size(); ++i) {
        packed[i] |= plain[i] >> 2;
        packed[i + 1] |= static_cast<uint8_t>(plain[i] << 6);
    }
    ExactBytes bytes(packed);
    CBitStream s(bytes.data(), bytes.size());
    std::string text = Take(s.ReadText());
    EXPECT_EQ(text, std::string(plain.begin(), plain.begin() + 256));
    EXPECT_EQ(s.ReadByte(), plain[256]);
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, BitDoubleOverOneOneConsumesTwoBitsAndIsZero) {
    ExactBytes bytes({0xC0, 0xFF});
    CBitStream s(bytes.data(), bytes.size());
    double value = s.ReadBitDouble();
    EXPECT_EQ(value, 0.0);
    EXPECT_FALSE(std::signbit(value));
    EXPECT_EQ(s.TellByte(), 0);
    EXPECT_EQ(s.TellBit(), 2);
}

TEST(BitStream, SkipNineBitsFromBitSevenCarriesOneByteAndLeavesBitZero) {
    ExactBytes bytes({0, 0, 0, 0});
    CBitStream s(bytes.data(), bytes.size());
    s.Seek(1, 7);
    s.Skip(0, 9);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, SkipToExactlyTheEndIsAllowed) {
    ExactBytes bytes({1, 2, 3});
    CBitStream s(bytes.data(), bytes.size());
    s.Skip(3, 0);
    EXPECT_EQ(s.TellByte(), 3);
    EXPECT_FALSE(s.Overrun());
    s.Skip(1, 0);
    EXPECT_TRUE(s.Overrun()) << "one further is past the end";
    EXPECT_EQ(s.TellByte(), 3) << "a refused move undoes both additions";
}

TEST(BitStream, ModularSizeShortFormReturnsItsValueAndStopsTwoBytesOn) {
    ExactBytes bytes({0x05, 0x00, 0xAB, 0xCD});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadModularSize(), 5u);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_EQ(s.ReadByte(), 0xAB);
}

TEST(BitStream, HandleTextWithCountNineIsEmptyAndConsumesOnlyFourBits) {
    ExactBytes bytes({0x9F, 0xFF});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(Take(s.ReadHandleText()), "");
    EXPECT_EQ(s.TellByte(), 0);
    EXPECT_EQ(s.TellBit(), 4);
}

TEST(BitStream, HandleTextOfBytes0A5CIsA5C) {
    // Count 2, then 0A 5C, four bits off the byte boundary.
    ExactBytes bytes({0x20, 0xA5, 0xC0});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(Take(s.ReadHandleText()), "A5C");
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 4);
}

// ---- More of the handle readers ----------------------------------------------------------

TEST(BitStream, HandleTextCountZeroIsEmptyAndByteZeroReadsAsZero) {
    ExactBytes zero({0x00});
    CBitStream s(zero.data(), zero.size());
    EXPECT_EQ(Take(s.ReadHandleText()), "");
    EXPECT_EQ(s.TellBit(), 4);

    // Count 2, bytes 00 05: the first byte 00 gives "0", the next "05".
    ExactBytes lead({0x20, 0x00, 0x50});
    s.Attach(lead.data(), lead.size());
    EXPECT_EQ(Take(s.ReadHandleText()), "005");
}

TEST(BitStream, HandleFillsCodeAndValueAndNullHandleIsZero) {
    // Code 5, count 2, bytes 01 02; then code 3, count 0.
    ExactBytes bytes({0x52, 0x01, 0x02, 0x30});
    CBitStream s(bytes.data(), bytes.size());
    Ref ref;
    EXPECT_EQ(s.ReadHandle(ref), 1);
    EXPECT_EQ(ref.code, 5);
    EXPECT_EQ(ref.value, 0x0102u);
    EXPECT_EQ(s.ReadHandle(ref), 1);
    EXPECT_EQ(ref.code, 3);
    EXPECT_EQ(ref.value, 0u);
}

TEST(BitStream, HandleOfEightBytesKeepsTheLowThirtyTwoBits) {
    std::vector<uint8_t> packed = {0x08, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    ExactBytes bytes(packed);
    CBitStream s(bytes.data(), bytes.size());
    Ref ref;
    s.ReadHandle(ref);
    EXPECT_EQ(ref.code, 0);
    EXPECT_EQ(ref.value, 0x55667788u);
    s.Attach(bytes.data(), bytes.size());
    s.ReadBits(4);
    EXPECT_EQ(Take(s.ReadHandleText()), "1122334455667788");
}

TEST(BitStream, SkipHandlePassesOverCountedBytesAndNothingForNineOrMore) {
    ExactBytes bytes({0x20, 0xA5, 0xC7});
    CBitStream s(bytes.data(), bytes.size());
    s.SkipHandle();
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 4);
    EXPECT_EQ(s.ReadBits(4), 7u);

    ExactBytes nine({0xA0, 0x00});
    s.Attach(nine.data(), nine.size());
    s.SkipHandle();
    EXPECT_EQ(s.TellByte(), 0);
    EXPECT_EQ(s.TellBit(), 4);
}

// ---- The selectors, bit by bit -----------------------------------------------------------

TEST(BitStream, BitShortSelectorsInStreamOrder) {
    // 1 0: zero.  0 1 and a byte.  0 0 and two bytes, low first.
    ExactBytes zero({0x80});
    CBitStream s(zero.data(), zero.size());
    EXPECT_EQ(s.ReadBitShort(), 0);
    EXPECT_EQ(s.TellBit(), 2);

    // 01 11111111
    ExactBytes byte({0x7F, 0xC0});
    s.Attach(byte.data(), byte.size());
    EXPECT_EQ(s.ReadBitShort(), 255);
    EXPECT_EQ(s.TellByte(), 1);
    EXPECT_EQ(s.TellBit(), 2);

    // 00 00000000 10000000 = 0x8000, sign-extended.
    ExactBytes word({0x00, 0x20, 0x00});
    s.Attach(word.data(), word.size());
    EXPECT_EQ(s.ReadBitShort(), -32768);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 2);
}

TEST(BitStream, PrefixedLongSelectorIsReadHighBitFirst) {
    // 01: one byte. 01 00010010 -> 0x12.
    ExactBytes one({0x44, 0x80});
    CBitStream s(one.data(), one.size());
    EXPECT_EQ(s.ReadPrefixedLong(), 0x12u);
    EXPECT_EQ(s.TellByte(), 1);
    EXPECT_EQ(s.TellBit(), 2);

    // 10: two bytes, 34 12 -> 0x1234.  10 00110100 00010010
    ExactBytes two({0x8D, 0x04, 0x80});
    s.Attach(two.data(), two.size());
    EXPECT_EQ(s.ReadPrefixedLong(), 0x1234u);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 2);

    // 11: three bytes, 56 34 12.
    ExactBytes three({0xD5, 0x8D, 0x04, 0x80});
    s.Attach(three.data(), three.size());
    EXPECT_EQ(s.ReadPrefixedLong(), 0x123456u);
    EXPECT_EQ(s.TellByte(), 3);

    // 00: four bytes, 78 56 34 12.
    ExactBytes four({0x1E, 0x15, 0x8D, 0x04, 0x80});
    s.Attach(four.data(), four.size());
    EXPECT_EQ(s.ReadPrefixedLong(), 0x12345678u);
    EXPECT_EQ(s.TellByte(), 4);
    EXPECT_EQ(s.TellBit(), 2);
}

TEST(BitStream, BitDoubleSelectors) {
    // 1 0: zero.  0 1: one.  0 0: a raw double.
    // 10 01 00 then 2.0 (00 .. 00 40) shifted by 6 bits.
    std::vector<uint8_t> packed(10, 0);
    packed[0] = 0x90;
    packed[7] = 0x01; // 0x40 >> 6
    ExactBytes shifted(packed);
    CBitStream s(shifted.data(), shifted.size());
    EXPECT_EQ(s.ReadBitDouble(), 0.0);
    EXPECT_EQ(s.ReadBitDouble(), 1.0);
    EXPECT_EQ(s.ReadBitDouble(), 2.0);
    EXPECT_EQ(s.TellByte(), 8);
    EXPECT_EQ(s.TellBit(), 6);
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, ModularSizeLongFormXorsTheHighWordInAndKeepsFourBytes) {
    // v = 0x0003_8005: bit 15 set; (5) XOR (3 << 15).
    ExactBytes bytes({0x05, 0x80, 0x03, 0x00, 0xEE});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadModularSize(), 5u ^ (3u << 15));
    EXPECT_EQ(s.TellByte(), 4);
    EXPECT_EQ(s.ReadByte(), 0xEE);
}

TEST(BitStream, RawLongIsLowByteFirstAtAnyBit) {
    // One bit of 1, then 78 56 34 12 shifted by one bit.
    ExactBytes bytes({0xBC, 0x2B, 0x1A, 0x09, 0x00});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBit(), 1);
    EXPECT_EQ(s.ReadRawLong(), 0x12345678u);
    EXPECT_EQ(s.TellByte(), 4);
    EXPECT_EQ(s.TellBit(), 1);
}

TEST(BitStream, RawBytesAreOwnedByTheStreamAndEmptyOnOverrun) {
    ExactBytes bytes({'a', 'b', 'c'});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadRawBytes(2), "ab");
    EXPECT_EQ(s.ReadRawBytes(0), "");
    EXPECT_EQ(s.ReadRawBytes(5), "");
    EXPECT_TRUE(s.Overrun());
}

// ---- Attaching and moving ----------------------------------------------------------------

TEST(BitStream, DefaultStreamIsEmptyAndReadsZeros) {
    CBitStream s;
    EXPECT_EQ(s.Size(), 0);
    EXPECT_EQ(s.ReadBit(), 0);
    EXPECT_EQ(s.ReadByte(), 0);
    EXPECT_TRUE(s.Overrun());
}

TEST(BitStream, ObjectSizeIsTheFirstShortPlusFour) {
    ExactBytes object({0x02, 0x00, 0x11, 0x22, 0xFF, 0xFF});
    CBitStream s(object.data());
    EXPECT_EQ(s.Size(), 6);
    s.Skip(6, 0);
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, AttachResetsPositionAndOverrun) {
    ExactBytes bytes({0x12});
    CBitStream s(bytes.data(), bytes.size());
    s.Skip(2, 0);
    ASSERT_TRUE(s.Overrun());
    s.ReadPrefixedLong();
    s.Attach(bytes.data(), bytes.size());
    EXPECT_FALSE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 0);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_EQ(s.ReadByte(), 0x12);
}

TEST(BitStream, SeekPastTheEndSetsOverrunAndStaysThere) {
    ExactBytes bytes({1, 2});
    CBitStream s(bytes.data(), bytes.size());
    s.Seek(2, 0);
    EXPECT_FALSE(s.Overrun());
    s.Seek(5, 3);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 5);
    EXPECT_EQ(s.TellBit(), 3);
    EXPECT_EQ(s.ReadBits(16), 0u) << "nothing is read from behind the buffer";
}

TEST(BitStream, SkipMayGoBackAndNegativeBitsAreNotNormalised) {
    ExactBytes bytes({0x00, 0xFF});
    CBitStream s(bytes.data(), bytes.size());
    s.Skip(2, 0);
    s.Skip(-1, 0);
    EXPECT_EQ(s.TellByte(), 1);
    s.Skip(0, -1);
    EXPECT_EQ(s.TellByte(), 1);
    EXPECT_EQ(s.TellBit(), -1);
    // Bit "7 minus -1" of the byte is none of its bits: 0, and the bit position becomes 0.
    EXPECT_EQ(s.ReadBit(), 0);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_EQ(s.ReadBit(), 1);
}

// ---- At and past the end of an exactly sized buffer --------------------------------------

TEST(BitStream, AlignedByteAtTheEndSetsOverrunAndDoesNotMove) {
    ExactBytes bytes({0x11, 0x22});
    CBitStream s(bytes.data(), bytes.size());
    s.Skip(2, 0);
    EXPECT_EQ(s.ReadByte(), 0);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 0);
}

TEST(BitStream, BitReadAtTheLastBitCarriesToTheEndWithoutOverrun) {
    ExactBytes bytes({0x01});
    CBitStream s(bytes.data(), bytes.size());
    s.ReadBits(7);
    EXPECT_EQ(s.ReadBit(), 1);
    EXPECT_EQ(s.TellByte(), 1);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_FALSE(s.Overrun());
    // The byte at the end reads as zeros; its last bit carries one further, untested.
    EXPECT_EQ(s.ReadBits(8), 0u);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 0);
    EXPECT_FALSE(s.Overrun());
    // From there every move is refused.
    EXPECT_EQ(s.ReadBit(), 0);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 0);
}

TEST(BitStream, NumbersPastTheEndAreZeroAndOverrunSticks) {
    ExactBytes bytes({0x00}); // BS selector 0 0 wants two more bytes
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBitShort(), 0);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.ReadRawDouble(), 0.0);
    EXPECT_EQ(Take(s.ReadText()), "");
    EXPECT_EQ(s.ReadRawBytes(1), "");
    // Going back does not clear it: even good data reads as zero now.
    s.Seek(0, 0);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.ReadBitShort(), 0);
}

TEST(BitStream, RawDoublePastTheEndIsZero) {
    ExactBytes bytes({0, 0, 0, 0, 0, 0, 0xF0});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadRawDouble(), 0.0);
    EXPECT_TRUE(s.Overrun());
}

TEST(BitStream, TextLongerThanTheDataIsEmptyAndStopsAtTheEnd) {
    // BS 32767 (0 0, FF 7F) and three bytes of text.
    ExactBytes bytes({0x3F, 0xDF, 0xD0, 0x50, 0x50, 0x40});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(Take(s.ReadText()), "");
    EXPECT_TRUE(s.Overrun());
    EXPECT_LE(s.TellByte(), s.Size() + 1);
    // The same with a length of -1 (256) on a byte-aligned text.
    ExactBytes aligned({0xFF, 'x', 'y'});
    s.Attach(aligned.data(), aligned.size());
    s.ReadBits(6);
    EXPECT_EQ(Take(s.ReadText()), "");
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 3);
}

TEST(BitStream, RawBytesWithAHugeCountStopAtTheEnd) {
    ExactBytes bytes({'a', 'b', 'c'});
    CBitStream s(bytes.data(), bytes.size());
    s.ReadBit();
    EXPECT_EQ(s.ReadRawBytes(INT32_MAX), "");
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(s.TellByte(), 4) << "the last bit carried one byte on, untested";
    EXPECT_EQ(s.TellBit(), 0);
    s.Attach(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadRawBytes(INT32_MAX), "");
    EXPECT_EQ(s.TellByte(), 3);
}

TEST(BitStream, RawBytesAfterARefusedSkipStillMoveButAreDropped) {
    ExactBytes bytes({'a', 'b', 'c'});
    CBitStream s(bytes.data(), bytes.size());
    s.Skip(10, 0);
    ASSERT_TRUE(s.Overrun());
    EXPECT_EQ(s.ReadRawBytes(2), "");
    EXPECT_EQ(s.TellByte(), 2);
}

TEST(BitStream, TextThatEndsExactlyAtTheEndIsKept) {
    // 0 1, length 2, "hi", aligned to the end of the buffer: 01 00000010 01101000 01101001
    // plus six bits of padding.
    ExactBytes bytes({0x40, 0x9A, 0x1A, 0x40});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(Take(s.ReadText()), "hi");
    EXPECT_FALSE(s.Overrun());
}

TEST(BitStream, HandleTextPastTheEndGivesZeroDigitsWithoutReadingBehind) {
    ExactBytes bytes({0x4A});
    CBitStream s(bytes.data(), bytes.size());
    std::string text = Take(s.ReadHandleText());
    EXPECT_EQ(text.size(), 8u);
    EXPECT_EQ(text.substr(0, 2), "A0");
}

// ---- The bulk bit read -------------------------------------------------------------------

TEST(BitStream, BitsOfEveryWidthAtEveryOffsetMatchSingleBitReads) {
    std::mt19937 random(1234);
    std::vector<uint8_t> packed(67);
    for (auto &b : packed)
        b = static_cast<uint8_t>(random());
    ExactBytes bytes(packed);
    for (int n = 1; n <= 32; ++n) {
        for (int start = 0; start < 16; ++start) {
            CBitStream bulk(bytes.data(), bytes.size());
            CBitStream single(bytes.data(), bytes.size());
            bulk.Skip(0, start);
            single.Skip(0, start);
            // Read on to the end and past it, where zeros come.
            for (int round = 0; round < 600 / n; ++round) {
                uint32_t want = 0;
                for (int i = 0; i < n; ++i)
                    want = (want << 1) | static_cast<uint32_t>(single.ReadBit());
                ASSERT_EQ(bulk.ReadBits(n), want) << "n " << n << " start " << start;
                ASSERT_EQ(bulk.TellByte(), single.TellByte());
                ASSERT_EQ(bulk.TellBit(), single.TellBit());
                ASSERT_EQ(bulk.Overrun(), single.Overrun());
            }
        }
    }
}

TEST(BitStream, BitsOfZeroWidthReadNothing) {
    ExactBytes bytes({0xFF});
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBits(0), 0u);
    EXPECT_EQ(s.TellBit(), 0);
}
