// The bit writer: the exact bits of each coding, every value kind written and read back at
// every bit offset, and the growth of the byte buffer.
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/exact_bytes.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

using velko_test::ExactBytes;
using velko_test::Written;

namespace {

using Bytes = std::vector<uint8_t>;

struct Ref {
    int16_t code = 0;
    uint32_t value = 0;
};

std::string Take(char *text) {
    std::string result = text ? text : "<null>";
    std::free(text);
    return result;
}

uint64_t BitsOf(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// `k` padding bits of 1 0 1 ..., so that a write that clears or shifts them shows.
void Pad(CBitWriter &w, int k) {
    for (int i = 0; i < k; ++i)
        w.WriteBit((i & 1) == 0);
}

// Writes `k` padding bits, the value, and a 3-bit marker; reads the padding back, lets
// `read` check the value, and checks the marker, the position and that nothing overran.
// The buffer read is exactly as long as the bytes written.
void AtEveryOffset(const std::function<void(CBitWriter &)> &write,
                   const std::function<void(CBitStream &)> &read) {
    for (int k = 0; k < 8; ++k) {
        SCOPED_TRACE("padding bits " + std::to_string(k));
        CBitWriter w;
        Pad(w, k);
        write(w);
        int32_t end_byte = w.TellByte(), end_bit = w.TellBit();
        w.WriteBits(5, 3);
        ExactBytes bytes(Written(w));
        CBitStream s(bytes.data(), bytes.size());
        for (int i = 0; i < k; ++i)
            ASSERT_EQ(s.ReadBit(), (i & 1) == 0 ? 1 : 0);
        read(s);
        EXPECT_EQ(s.TellByte(), end_byte);
        EXPECT_EQ(s.TellBit(), end_bit);
        EXPECT_EQ(s.ReadBits(3), 5u);
        EXPECT_FALSE(s.Overrun());
    }
}

const double kDoubles[] = {0.0,
                           1.0,
                           -1.0,
                           2.0,
                           0.5,
                           3.141592653589793,
                           -1e-300,
                           std::numeric_limits<double>::denorm_min(),
                           -std::numeric_limits<double>::denorm_min(),
                           DBL_MIN,
                           DBL_MAX,
                           -DBL_MAX,
                           DBL_EPSILON,
                           1.0 + DBL_EPSILON,
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(),
                           123456789.125};

const int32_t kShorts[] = {0, -1,  1,   255, 256,  -2,   32767, -32768,
                           2, 127, 128, 254, -255, -256, 4660};

// The texts of lengths 0, 1, 255 and 256, and a longer one, with bytes above 127.
std::vector<std::string> SampleTexts() {
    std::vector<std::string> texts = {"", "A"};
    for (size_t length : {255u, 256u, 257u, 1000u}) {
        std::string text(length, ' ');
        for (size_t i = 0; i < length; ++i)
            text[i] = static_cast<char>(1 + (i * 37) % 255);
        texts.push_back(text);
    }
    return texts;
}

} // namespace

// ---- The edge cases of the writer ------------------------------------------------------

TEST(BitWriter, BitShort256WritesZeroZeroAndTheBytes00And01) {
    CBitWriter w;
    w.WriteBitShort(256);
    // 00 00000000 00000001
    EXPECT_EQ(Written(w), (Bytes{0x00, 0x00, 0x40}));
    EXPECT_EQ(w.TellByte(), 2);
    EXPECT_EQ(w.TellBit(), 2);
}

TEST(BitWriter, BitShortMinusTwoWritesZeroZeroFEFF) {
    CBitWriter w;
    w.WriteBitShort(-2);
    // 00 11111110 11111111
    EXPECT_EQ(Written(w), (Bytes{0x3F, 0xBF, 0xC0}));
}

TEST(BitWriter, HandleWithValue0x0100WritesTheCodeAndACountOfZero) {
    CBitWriter w;
    Ref ref{6, 0x0100};
    w.WriteHandle(ref);
    EXPECT_EQ(w.TellByte(), 1);
    EXPECT_EQ(w.TellBit(), 0);
    EXPECT_EQ(Written(w), (Bytes{0x60}));
}

TEST(BitWriter, BitDoubleOfNegativeZeroWritesOneZero) {
    CBitWriter w;
    w.WriteBitDouble(-0.0);
    EXPECT_EQ(w.TellBit(), 2);
    EXPECT_EQ(Written(w), (Bytes{0x80}));
}

TEST(BitWriter, WholeByteWrittenAtIndex1024ComesBackAsZero) {
    CBitWriter w;
    for (int i = 0; i < 1024; ++i)
        w.WriteByte(0x11);
    w.WriteByte(0xAB);
    w.WriteByte(0xCD);
    EXPECT_EQ(w.Used(), 1026);
    EXPECT_EQ(w.Data()[1023], 0x11);
    EXPECT_EQ(w.Data()[1024], 0x00);
    EXPECT_EQ(w.Data()[1025], 0xCD);
}

// ---- The exact bits of each coding ----------------------------------------------------------

TEST(BitWriter, BitShortSelectorBits) {
    struct Case {
        int32_t value;
        Bytes bytes;
        int bits;
    } cases[] = {
        {0, {0x80}, 2},                  // 1 0
        {-1, {0xC0}, 2},                 // 1 1
        {1, {0x40, 0x40}, 10},           // 0 1 00000001
        {255, {0x7F, 0xC0}, 10},         // 0 1 11111111
        {32767, {0x3F, 0xDF, 0xC0}, 18}, // 0 0 FF 7F
        {-32768, {0x00, 0x20, 0x00}, 18},
        {65535, {0xC0}, 2}, // taken as 16-bit signed: -1
        {65536, {0x80}, 2}, // and 0
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.value);
        CBitWriter w;
        w.WriteBitShort(c.value);
        EXPECT_EQ(Written(w), c.bytes);
        EXPECT_EQ(w.TellByte() * 8 + w.TellBit(), c.bits);
    }
}

TEST(BitWriter, BitDoubleSelectorBits) {
    CBitWriter zero;
    zero.WriteBitDouble(0.0);
    EXPECT_EQ(Written(zero), (Bytes{0x80}));

    CBitWriter one;
    one.WriteBitDouble(1.0);
    EXPECT_EQ(Written(one), (Bytes{0x40}));

    // 0 0 and the eight bytes of 2.0, low first: 00 .. 00 40.
    CBitWriter two;
    two.WriteBitDouble(2.0);
    EXPECT_EQ(Written(two), (Bytes{0, 0, 0, 0, 0, 0, 0, 0x10, 0x00}));
    EXPECT_EQ(two.TellByte() * 8 + two.TellBit(), 66);
}

TEST(BitWriter, BitFloatIsZeroOneOrFourRawBytes) {
    CBitWriter w;
    w.WriteBitFloat(0.0f);
    w.WriteBitFloat(-0.0f);
    w.WriteBitFloat(1.0f);
    w.WriteBitFloat(-2.5f);
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBits(2), 2u);
    EXPECT_EQ(s.ReadBits(2), 2u);
    EXPECT_EQ(s.ReadBits(2), 1u);
    EXPECT_EQ(s.ReadBits(2), 0u);
    uint32_t raw = s.ReadRawLong();
    float value;
    std::memcpy(&value, &raw, sizeof value);
    EXPECT_EQ(value, -2.5f);
    EXPECT_EQ(s.TellByte(), 5);
    EXPECT_EQ(s.TellBit(), 0);
}

TEST(BitWriter, EmptyTextWritesOneZero) {
    CBitWriter w;
    w.WriteText("");
    w.WriteText(nullptr);
    EXPECT_EQ(Written(w), (Bytes{0xA0}));
    EXPECT_EQ(w.TellBit(), 4);
}

TEST(BitWriter, HandleTextCountIsHalfTheDigitsRoundedUp) {
    CBitWriter w;
    w.WriteHandleText("A5C");
    // count 2, bytes 0A 5C
    EXPECT_EQ(Written(w), (Bytes{0x20, 0xA5, 0xC0}));
    CBitWriter empty;
    empty.WriteHandleText("");
    EXPECT_EQ(empty.TellBit(), 4);
    EXPECT_EQ(Written(empty), (Bytes{0x00}));
}

TEST(BitWriter, HandleTextIsReadAsABase16NumberWhileItsCountComesFromItsLength) {
    CBitWriter w;
    w.WriteHandleText("0x1F"); // four characters: two bytes, 00 1F
    w.WriteHandleText("2Bz");  // the number ends at the z: two bytes, 00 2B
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(Take(s.ReadHandleText()), "01F");
    EXPECT_EQ(Take(s.ReadHandleText()), "02B");
}

TEST(BitWriter, HandleValueIsCutAtItsFirstZeroByte) {
    CBitWriter w;
    w.WriteHandle(Ref{0, 0x010002});
    // code 0, count 1, byte 02
    EXPECT_EQ(Written(w), (Bytes{0x01, 0x02}));
    CBitWriter all;
    all.WriteHandle(Ref{15, 0xFFFFFFFF});
    EXPECT_EQ(Written(all), (Bytes{0xF4, 0xFF, 0xFF, 0xFF, 0xFF}));
    CBitWriter order;
    order.WriteHandle(Ref{2, 0x123456});
    EXPECT_EQ(Written(order), (Bytes{0x23, 0x12, 0x34, 0x56}));
}

TEST(BitWriter, BitsAreOredAndNeverCleared) {
    CBitWriter w;
    w.WriteBits(0xFF, 8);
    w.SeekTo(0, 2);
    w.WriteBits(0, 4);
    EXPECT_EQ(w.Data()[0], 0xFF);
    w.SeekTo(1, 0);
    EXPECT_EQ(Written(w), (Bytes{0xFF}));
}

TEST(BitWriter, BitsWiderThanAWordWriteLeadingZeros) {
    CBitWriter w;
    w.WriteBits(0xFFFFFFFFu, 36);
    EXPECT_EQ(Written(w), (Bytes{0x0F, 0xFF, 0xFF, 0xFF, 0xF0}));
}

TEST(BitWriter, ByteIsStoredWholeOnABoundaryAndAsBitsOffIt) {
    CBitWriter w;
    w.WriteByte(0xA5);
    w.WriteBit(1);
    w.WriteByte(0xFF);
    EXPECT_EQ(Written(w), (Bytes{0xA5, 0xFF, 0x80}));
}

TEST(BitWriter, TellSizeCountsABegunByte) {
    CBitWriter w;
    EXPECT_EQ(w.TellSize(), 0);
    w.WriteBit(0);
    EXPECT_EQ(w.TellSize(), 1);
    w.WriteBits(0, 7);
    EXPECT_EQ(w.TellSize(), 1);
    w.WriteBit(0);
    EXPECT_EQ(w.TellSize(), 2);
    EXPECT_EQ(w.Used(), 2);
}

TEST(BitWriter, AlignMovesToTheNextWholeByteOnlyOffABoundary) {
    CBitWriter w;
    w.Align();
    EXPECT_EQ(w.TellByte(), 0);
    EXPECT_EQ(w.TellBit(), 0);
    w.WriteBit(1);
    w.Align();
    EXPECT_EQ(w.TellByte(), 1);
    EXPECT_EQ(w.TellBit(), 0);
    w.WriteByte(0x42);
    EXPECT_EQ(Written(w), (Bytes{0x80, 0x42}));
}

TEST(BitWriter, PatchShortOverwritesTwoBytesAndLeavesTheCursor) {
    CBitWriter w;
    w.WriteRawShort(0);
    w.WriteBits(0x1FF, 9);
    w.PatchShort(0x1234, 0);
    EXPECT_EQ(w.TellByte(), 3);
    EXPECT_EQ(w.TellBit(), 1);
    EXPECT_EQ(Written(w), (Bytes{0x34, 0x12, 0xFF, 0x80}));
}

// ---- The byte buffer's growth -----------------------------------------------------------------

TEST(ByteBuffer, StartsWithAZeroBlockOf1024AndSizeZero) {
    CByteBuffer b;
    EXPECT_EQ(b.Size(), 0);
    EXPECT_EQ(b.Capacity(), 1024);
    EXPECT_EQ(b.GetByte(1023), 0);
}

TEST(ByteBuffer, TheStoreThatGrowsTheBufferKeepsItsByteZero) {
    CByteBuffer b;
    b.SetByte(0, 7);
    b.SetByte(1023, 9);
    EXPECT_EQ(b.Size(), 1024);
    EXPECT_EQ(b.Capacity(), 1024);
    b.SetByte(1024, 0x55);
    EXPECT_EQ(b.Size(), 1025);
    EXPECT_EQ(b.Capacity(), 2048);
    EXPECT_EQ(b.GetByte(1024), 0);
    EXPECT_EQ(b.GetByte(0), 7) << "the old bytes move to the new block";
    EXPECT_EQ(b.GetByte(1023), 9);
    b.SetByte(1024, 0x55);
    EXPECT_EQ(b.GetByte(1024), 0x55) << "a second store is kept";
}

TEST(ByteBuffer, ByteBuiltBitByBitAtTheBoundaryKeepsItsLaterBits) {
    for (int boundary : {1024, 2048}) {
        SCOPED_TRACE(boundary);
        CBitWriter w;
        for (int i = 0; i < boundary; ++i)
            w.WriteByte(0x11);
        w.WriteBit(1);
        w.WriteBits(0xA5, 8); // the byte at the boundary gets 1 1010010 ..., its first bit lost
        EXPECT_EQ(w.Data()[boundary], 0x52);
        EXPECT_EQ(w.Data()[boundary + 1], 0x80);
        EXPECT_EQ(w.Data()[boundary - 1], 0x11);
    }
}

TEST(ByteBuffer, ByteBuiltFromAZeroBitAtTheBoundaryKeepsAllItsBits) {
    CBitWriter w;
    for (int i = 0; i < 1024; ++i)
        w.WriteByte(0);
    w.WriteBits(0x25, 8); // 0 0100101: the first bit stored is a 0
    EXPECT_EQ(w.Data()[1024], 0x25);
}

// ---- Every kind written and read back at every bit offset ------------------------------------

TEST(BitRoundTrip, Bit) {
    for (int bit : {0, 1})
        AtEveryOffset([&](CBitWriter &w) { w.WriteBit(bit); },
                      [&](CBitStream &s) { EXPECT_EQ(s.ReadBit(), bit); });
}

TEST(BitRoundTrip, BitsOfEveryWidth) {
    for (int n = 1; n <= 32; ++n) {
        uint32_t mask = n == 32 ? 0xFFFFFFFFu : (1u << n) - 1;
        for (uint32_t value : {0u, mask, 0x5A5A5A5Au & mask, 0xC3C3C3C3u & mask, 1u}) {
            SCOPED_TRACE(std::to_string(n) + " bits " + std::to_string(value));
            AtEveryOffset([&](CBitWriter &w) { w.WriteBits(value, n); },
                          [&](CBitStream &s) { EXPECT_EQ(s.ReadBits(n), value); });
        }
    }
}

TEST(BitRoundTrip, RawChar) {
    for (int value : {0, 1, 0x7F, 0x80, 0xA5, 0xFF})
        AtEveryOffset([&](CBitWriter &w) { w.WriteByte(static_cast<uint8_t>(value)); },
                      [&](CBitStream &s) { EXPECT_EQ(s.ReadByte(), value); });
}

TEST(BitRoundTrip, BitShort) {
    for (int32_t value : kShorts) {
        SCOPED_TRACE(value);
        AtEveryOffset([&](CBitWriter &w) { w.WriteBitShort(value); },
                      [&](CBitStream &s) { EXPECT_EQ(s.ReadBitShort(), value); });
    }
}

TEST(BitRoundTrip, PrefixedLongInEachOfItsForms) {
    // The writer has no prefixed long; it is built from its parts, in the shortest form.
    for (uint32_t value : {0u, 1u, 0xFFu, 0x100u, 0xFFFFu, 0x10000u, 0xFFFFFFu, 0x1000000u,
                           0x80000000u, 0xFFFFFFFFu}) {
        int count = value > 0xFFFFFF ? 4 : value > 0xFFFF ? 3 : value > 0xFF ? 2 : 1;
        SCOPED_TRACE(value);
        AtEveryOffset(
            [&](CBitWriter &w) {
                w.WriteBits(static_cast<uint32_t>(count & 3), 2);
                for (int i = 0; i < count; ++i)
                    w.WriteByte(static_cast<uint8_t>(value >> (8 * i)));
            },
            [&](CBitStream &s) { EXPECT_EQ(s.ReadPrefixedLong(), value); });
    }
}

TEST(BitRoundTrip, RawLong) {
    for (uint32_t value : {0u, 1u, 0x12345678u, 0x80000000u, 0xFFFFFFFFu})
        AtEveryOffset([&](CBitWriter &w) { w.WriteRawLong(value); },
                      [&](CBitStream &s) { EXPECT_EQ(s.ReadRawLong(), value); });
}

TEST(BitRoundTrip, ModularSizeShortForm) {
    for (uint16_t value : {0, 1, 5, 0x1234, 0x7FFF}) {
        SCOPED_TRACE(value);
        // The reader takes four bytes and gives two back; the two behind are of the next value.
        for (int k = 0; k < 8; ++k) {
            CBitWriter w;
            Pad(w, k);
            w.WriteRawShort(value);
            w.WriteRawShort(0xBEEF);
            ExactBytes bytes(Written(w));
            CBitStream s(bytes.data(), bytes.size());
            s.ReadBits(k);
            EXPECT_EQ(s.ReadModularSize(), value);
            EXPECT_EQ(s.ReadByte(), 0xEF) << k;
            EXPECT_EQ(s.ReadByte(), 0xBE) << k;
            EXPECT_FALSE(s.Overrun());
        }
    }
}

TEST(BitRoundTrip, ModularSizeLongForm) {
    for (uint32_t size : {0x8000u, 0x12345u, 0x3FFFFFFFu}) {
        uint32_t raw = (size & 0x7FFFu) | 0x8000u | ((size >> 15) << 16);
        SCOPED_TRACE(size);
        AtEveryOffset([&](CBitWriter &w) { w.WriteRawLong(raw); },
                      [&](CBitStream &s) { EXPECT_EQ(s.ReadModularSize(), size); });
    }
}

TEST(BitRoundTrip, RawDouble) {
    for (double value : kDoubles)
        AtEveryOffset([&](CBitWriter &w) { w.WriteRawDouble(value); },
                      [&](CBitStream &s) { EXPECT_EQ(BitsOf(s.ReadRawDouble()), BitsOf(value)); });
    AtEveryOffset([&](CBitWriter &w) { w.WriteRawDouble(-0.0); },
                  [&](CBitStream &s) { EXPECT_TRUE(std::signbit(s.ReadRawDouble())); });
}

TEST(BitRoundTrip, BitDouble) {
    for (double value : kDoubles)
        AtEveryOffset([&](CBitWriter &w) { w.WriteBitDouble(value); },
                      [&](CBitStream &s) { EXPECT_EQ(BitsOf(s.ReadBitDouble()), BitsOf(value)); });
    // Negative zero goes out as the zero selector and comes back as plain zero.
    AtEveryOffset([&](CBitWriter &w) { w.WriteBitDouble(-0.0); },
                  [&](CBitStream &s) { EXPECT_EQ(BitsOf(s.ReadBitDouble()), BitsOf(0.0)); });
}

TEST(BitRoundTrip, Point3) {
    const double points[][3] = {{0, 0, 0}, {1, 1, 1}, {-1.5, 1e300, 0}, {DBL_MAX, -0.25, 1}};
    for (const auto &p : points)
        AtEveryOffset([&](CBitWriter &w) { w.WritePoint3(p); },
                      [&](CBitStream &s) {
                          double q[3];
                          s.ReadPoint3(q);
                          EXPECT_EQ(q[0], p[0]);
                          EXPECT_EQ(q[1], p[1]);
                          EXPECT_EQ(q[2], p[2]);
                      });
}

TEST(BitRoundTrip, Text) {
    for (const std::string &text : SampleTexts()) {
        SCOPED_TRACE(text.size());
        AtEveryOffset([&](CBitWriter &w) { w.WriteText(text.c_str()); },
                      [&](CBitStream &s) { EXPECT_EQ(Take(s.ReadText()), text); });
    }
}

TEST(BitRoundTrip, RawBytes) {
    const uint8_t bytes[] = {0, 1, 0x80, 0xFF, 'z'};
    AtEveryOffset([&](CBitWriter &w) { w.WriteRawBytes(bytes, sizeof bytes); },
                  [&](CBitStream &s) {
                      EXPECT_EQ(s.ReadRawBytes(sizeof bytes),
                                std::string(reinterpret_cast<const char *>(bytes), sizeof bytes));
                  });
}

TEST(BitRoundTrip, HandleText) {
    struct Case {
        const char *written;
        const char *read;
    } cases[] = {{"A5C", "A5C"},           {"0", "0"},     {"12345678", "12345678"},
                 {"FFFFFFFF", "FFFFFFFF"}, {"1", "1"},     {"ab", "AB"},
                 {"0A5C", "A5C"},          {"100", "100"}, {"", ""}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.written);
        AtEveryOffset([&](CBitWriter &w) { w.WriteHandleText(c.written); },
                      [&](CBitStream &s) { EXPECT_EQ(Take(s.ReadHandleText()), c.read); });
    }
}

TEST(BitRoundTrip, Handle) {
    struct Case {
        uint32_t written;
        uint32_t read;
    } cases[] = {{0, 0},         {1, 1},           {0xFF, 0xFF},         {0x0100, 0},
                 {0x010002, 2},  {0x0203, 0x0203}, {0x123456, 0x123456}, {0xFFFFFFFF, 0xFFFFFFFF},
                 {0x80000001, 1}};
    for (const Case &c : cases) {
        for (int16_t code : {0, 5, 15}) {
            SCOPED_TRACE(std::to_string(c.written) + " code " + std::to_string(code));
            AtEveryOffset(
                [&](CBitWriter &w) {
                    w.WriteHandle(Ref{code, c.written});
                },
                [&](CBitStream &s) {
                    Ref ref{-1, 0xDEAD};
                    EXPECT_EQ(s.ReadHandle(ref), 1);
                    EXPECT_EQ(ref.code, code);
                    EXPECT_EQ(ref.value, c.read);
                });
        }
    }
}

TEST(BitRoundTrip, SkipHandle) {
    for (uint32_t value : {0u, 0x12u, 0x12345678u})
        AtEveryOffset([&](CBitWriter &w) { w.WriteHandleValue(value); },
                      [&](CBitStream &s) { s.SkipHandle(); });
}

TEST(BitRoundTrip, RawFloat) {
    for (float value : {0.0f, -0.0f, 1.0f, -2.5f, FLT_MAX, FLT_MIN, FLT_EPSILON})
        AtEveryOffset([&](CBitWriter &w) { w.WriteRawFloat(value); },
                      [&](CBitStream &s) {
                          uint32_t raw = s.ReadRawLong(), want;
                          std::memcpy(&want, &value, sizeof want);
                          EXPECT_EQ(raw, want);
                      });
}

TEST(BitRoundTrip, BitFloat) {
    for (float value : {0.0f, 1.0f, -1.0f, 0.1f, FLT_MAX, FLT_MIN})
        AtEveryOffset([&](CBitWriter &w) { w.WriteBitFloat(value); },
                      [&](CBitStream &s) {
                          uint32_t selector = s.ReadBits(2);
                          float read = selector == 2 ? 0.0f : selector == 1 ? 1.0f : 0.0f;
                          if (selector == 0) {
                              uint32_t raw = s.ReadRawLong();
                              std::memcpy(&read, &raw, sizeof read);
                          }
                          EXPECT_EQ(read, value);
                      });
}

TEST(BitRoundTrip, RawShortAndItsPatch) {
    for (uint16_t value : {0, 1, 0x00FF, 0x1234, 0xFFFF}) {
        SCOPED_TRACE(value);
        for (int k = 0; k < 8; ++k) {
            CBitWriter w;
            Pad(w, k);
            w.Align();
            int32_t index = w.TellByte();
            w.WriteRawShort(0);
            Pad(w, k);
            w.WriteRawShort(0x5AA5);
            int32_t byte = w.TellByte(), bit = w.TellBit();
            w.PatchShort(value, index);
            EXPECT_EQ(w.TellByte(), byte);
            EXPECT_EQ(w.TellBit(), bit);
            ExactBytes bytes(Written(w));
            CBitStream s(bytes.data(), bytes.size());
            s.Seek(index, 0);
            EXPECT_EQ(s.ReadByte(), value & 0xFF);
            EXPECT_EQ(s.ReadByte(), value >> 8);
            s.ReadBits(k);
            EXPECT_EQ(s.ReadByte(), 0xA5);
            EXPECT_EQ(s.ReadByte(), 0x5A);
            EXPECT_FALSE(s.Overrun());
        }
    }
}

TEST(BitRoundTrip, AlignAndTellSize) {
    for (int k = 0; k < 8; ++k) {
        CBitWriter w;
        Pad(w, k);
        EXPECT_EQ(w.TellSize(), k > 0 ? 1 : 0);
        w.Align();
        EXPECT_EQ(w.TellBit(), 0);
        EXPECT_EQ(w.TellByte(), k > 0 ? 1 : 0);
        w.WriteByte(0x3C);
        EXPECT_EQ(w.TellSize(), k > 0 ? 2 : 1);
        ExactBytes bytes(Written(w));
        ASSERT_EQ(bytes.size(), w.TellSize());
        CBitStream s(bytes.data(), bytes.size());
        s.ReadBits(k);
        if (s.TellBit() != 0)
            s.Seek(s.TellByte() + 1, 0);
        EXPECT_EQ(s.ReadByte(), 0x3C);
        EXPECT_FALSE(s.Overrun());
    }
}

TEST(BitRoundTrip, EveryKindInOneStream) {
    CBitWriter w;
    w.WriteBit(1);
    w.WriteBitShort(-2);
    w.WriteText("layer");
    w.WriteBitDouble(0.25);
    w.WriteHandle(Ref{4, 0x2A});
    w.WriteRawLong(0xCAFEBABE);
    w.WriteHandleText("1F");
    w.WritePoint3(1.0, 0.0, -3.5);
    w.WriteByte(0x99);
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBit(), 1);
    EXPECT_EQ(s.ReadBitShort(), -2);
    EXPECT_EQ(Take(s.ReadText()), "layer");
    EXPECT_EQ(s.ReadBitDouble(), 0.25);
    Ref ref;
    s.ReadHandle(ref);
    EXPECT_EQ(ref.code, 4);
    EXPECT_EQ(ref.value, 0x2Au);
    EXPECT_EQ(s.ReadRawLong(), 0xCAFEBABEu);
    EXPECT_EQ(Take(s.ReadHandleText()), "1F");
    double p[3];
    s.ReadPoint3(p);
    EXPECT_EQ(p[0], 1.0);
    EXPECT_EQ(p[1], 0.0);
    EXPECT_EQ(p[2], -3.5);
    EXPECT_EQ(s.ReadByte(), 0x99);
    EXPECT_EQ(s.TellByte() + (s.TellBit() ? 1 : 0), s.Size());
    EXPECT_FALSE(s.Overrun());
}
