// The field layouts of release 13 objects: one list written with WriteR13Fields and read
// back with ReadR13Fields, into a packed record whose members lie at odd addresses.
#include "dwg13/r13_fields.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/exact_bytes.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using velko_test::ExactBytes;
using velko_test::Written;

namespace {

#pragma pack(push, 1)
struct Sample {
    uint8_t lead; // puts every member behind it off its natural alignment
    uint8_t flag;
    uint16_t ten_bits;
    uint8_t rc;
    int16_t bs;
    int8_t small_bs;
    uint8_t flags_bs;
    int32_t wide_bs;
    uint32_t rl;
    double rd;
    double bd;
    double angle;
    double degrees;
    double point[3];
    double corner[2];
    char *text;
    char *fixed;
    char *handle_text;
    CHandleRef handle;
    uint8_t after_skip;
};
#pragma pack(pop)

const R13Field kSampleFields[] = {
    R13_FIELD(kB, Sample, flag),
    R13_BITS(10, Sample, ten_bits),
    R13_FIELD(kRC, Sample, rc),
    R13_FIELD(kBS, Sample, bs),
    R13_FIELD(kBS, Sample, small_bs),
    R13_FIELD(kBS, Sample, flags_bs),
    R13_FIELD(kBS, Sample, wide_bs),
    R13_FIELD(kRL, Sample, rl),
    R13_FIELD(kRD, Sample, rd),
    R13_FIELD(kBD, Sample, bd),
    R13_FIELD(kAngle, Sample, angle),
    R13_FIELD(kDegrees, Sample, degrees),
    R13_FIELD(k3BD, Sample, point),
    R13_FIELD(k2RD, Sample, corner),
    R13_FIELD(kTV, Sample, text),
    R13_FIXED_TEXT(Sample, fixed, 8),
    R13_FIELD(kHT, Sample, handle_text),
    R13_FIELD(kH, Sample, handle),
    R13_SKIP(1, 3),
    R13_FIELD(kRC, Sample, after_skip),
};
const R13Layout kSampleLayout = {kSampleFields, sizeof kSampleFields / sizeof kSampleFields[0]};

char kFixedText[] = "LAYER01";

Sample Filled() {
    Sample s{};
    s.lead = 0xEE;
    s.flag = 1;
    s.ten_bits = 0x2A5;
    s.rc = 0xC3;
    s.bs = -2;
    s.small_bs = -1;
    s.flags_bs = 200;
    s.wide_bs = 256;
    s.rl = 0xCAFEBABE;
    s.rd = -0.0;
    s.bd = 1e-300;
    s.angle = 90.0;
    s.degrees = 45.0;
    s.point[0] = 1.0;
    s.point[1] = 0.0;
    s.point[2] = -7.25;
    s.corner[0] = 3.5;
    s.corner[1] = -4.5;
    s.text = const_cast<char *>("walls");
    s.fixed = kFixedText;
    s.handle_text = const_cast<char *>("2B1");
    s.handle.code = 5;
    s.handle.value = 0x1F2E;
    s.after_skip = 0x77;
    return s;
}

uint64_t BitsOf(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

} // namespace

TEST(R13Fields, EveryKindRoundTripsAtEveryBitOffset) {
    const Sample original = Filled();
    for (int k = 0; k < 8; ++k) {
        SCOPED_TRACE(k);
        CBitWriter w;
        w.WriteBits(0x55, k);
        WriteR13Fields(w, kSampleLayout, &original);
        int32_t end_byte = w.TellByte(), end_bit = w.TellBit();
        ExactBytes bytes(Written(w));

        Sample read{};
        char block[8];
        std::memset(block, '#', sizeof block);
        read.fixed = block;
        CBitStream s(bytes.data(), bytes.size());
        s.ReadBits(k);
        ReadR13Fields(s, kSampleLayout, &read);
        EXPECT_FALSE(s.Overrun());
        EXPECT_EQ(s.TellByte(), end_byte);
        EXPECT_EQ(s.TellBit(), end_bit);

        EXPECT_EQ(read.lead, 0) << "a member outside the layout is left alone";
        EXPECT_EQ(read.flag, 1);
        EXPECT_EQ(read.ten_bits, 0x2A5);
        EXPECT_EQ(read.rc, 0xC3);
        EXPECT_EQ(read.bs, -2);
        EXPECT_EQ(read.small_bs, -1);
        EXPECT_EQ(read.flags_bs, 200);
        EXPECT_EQ(read.wide_bs, 256);
        EXPECT_EQ(read.rl, 0xCAFEBABEu);
        EXPECT_EQ(BitsOf(read.rd), BitsOf(-0.0));
        EXPECT_EQ(read.bd, 1e-300);
        EXPECT_NEAR(read.angle, 90.0, 1e-12);
        EXPECT_NEAR(read.degrees, 45.0, 1e-9);
        EXPECT_EQ(read.point[0], 1.0);
        EXPECT_EQ(read.point[1], 0.0);
        EXPECT_EQ(read.point[2], -7.25);
        EXPECT_EQ(read.corner[0], 3.5);
        EXPECT_EQ(read.corner[1], -4.5);
        ASSERT_NE(read.text, nullptr);
        EXPECT_STREQ(read.text, "walls");
        EXPECT_EQ(read.fixed, block);
        EXPECT_STREQ(block, "LAYER01");
        ASSERT_NE(read.handle_text, nullptr);
        EXPECT_STREQ(read.handle_text, "2B1");
        EXPECT_EQ(read.handle.code, 5);
        EXPECT_EQ(read.handle.value, 0x1F2Eu);
        EXPECT_EQ(read.after_skip, 0x77);
        std::free(read.text);
        std::free(read.handle_text);
    }
}

TEST(R13Fields, SignedOneByteMemberWritesMinusOneAsItsOwnSelector) {
    Sample record = Filled();
    const R13Field fields[] = {R13_FIELD(kBS, Sample, small_bs), R13_FIELD(kBS, Sample, flags_bs)};
    CBitWriter w;
    WriteR13Fields(w, R13Layout{fields, 2}, &record);
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBits(2), 3u) << "-1 goes out as the bits 1 1";
    EXPECT_EQ(s.ReadBitShort(), 200) << "an unsigned byte keeps its value";
}

TEST(R13Fields, DroppedFieldsAreReadOverAndWrittenAsZero) {
    const R13Field fields[] = {
        R13_DROP(kBS), R13_DROP(kTV),    R13_DROP(kBD), R13_DROP(kH),
        R13_DROP(kHT), R13_DROP_BITS(3), R13_DROP(kRL), R13_FIELD(kRC, Sample, rc),
    };
    const R13Layout layout{fields, sizeof fields / sizeof fields[0]};

    // Written: zero values in their shortest forms.
    Sample record = Filled();
    CBitWriter w;
    WriteR13Fields(w, layout, &record);
    ExactBytes written(Written(w));
    CBitStream check(written.data(), written.size());
    EXPECT_EQ(check.ReadBits(2), 2u); // BS 0
    EXPECT_EQ(check.ReadBits(2), 2u); // TV empty
    EXPECT_EQ(check.ReadBits(2), 2u); // BD 0
    EXPECT_EQ(check.ReadBits(8), 0u); // H: code 0, count 0
    EXPECT_EQ(check.ReadBits(8), 0u); // HT: four bits, count 0
    EXPECT_EQ(check.ReadBits(3), 0u);
    EXPECT_EQ(check.ReadRawLong(), 0u);
    EXPECT_EQ(check.ReadByte(), 0xC3);

    // Read: values of every dropped field are passed over and nothing else is touched.
    CBitWriter full;
    full.WriteBitShort(1234);
    full.WriteText("gone");
    full.WriteBitDouble(2.5);
    full.WriteHandle(CHandleRef{3, 0x77});
    full.WriteBits(0, 4);
    full.WriteHandleText("ABC");
    full.WriteBits(7, 3);
    full.WriteRawLong(0x12345678);
    full.WriteByte(0x5A);
    ExactBytes bytes(Written(full));
    Sample read{};
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, layout, &read);
    EXPECT_EQ(read.rc, 0x5A);
    EXPECT_EQ(read.text, nullptr);
    EXPECT_EQ(read.bs, 0);
    EXPECT_EQ(read.handle.value, 0u);
    EXPECT_FALSE(s.Overrun());
    EXPECT_EQ(s.TellByte() + (s.TellBit() ? 1 : 0), s.Size());
}

TEST(R13Fields, SkipPassesOverBytesAndBitsAndWritesZeros) {
    const R13Field fields[] = {R13_SKIP(2, 5), R13_FIELD(kB, Sample, flag)};
    const R13Layout layout{fields, 2};
    Sample record = Filled();
    CBitWriter w;
    WriteR13Fields(w, layout, &record);
    EXPECT_EQ(w.TellByte(), 2);
    EXPECT_EQ(w.TellBit(), 6);
    EXPECT_EQ(Written(w), (std::vector<uint8_t>{0, 0, 0x04}));

    ExactBytes bytes({0xFF, 0xFF, 0xFC});
    Sample read{};
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, layout, &read);
    EXPECT_EQ(read.flag, 1);
    EXPECT_EQ(s.TellByte(), 2);
    EXPECT_EQ(s.TellBit(), 6);
}

TEST(R13Fields, FixedTextIsCutToItsRoom) {
    const R13Field fields[] = {R13_FIXED_TEXT(Sample, fixed, 5)};
    CBitWriter w;
    w.WriteText("ABCDEFGHIJ");
    ExactBytes bytes(Written(w));
    char block[8];
    std::memset(block, '#', sizeof block);
    Sample read{};
    read.fixed = block;
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, R13Layout{fields, 1}, &read);
    EXPECT_STREQ(block, "ABCD");
    EXPECT_EQ(block[5], '#') << "nothing is written behind the room";
    EXPECT_EQ(s.TellByte() + (s.TellBit() ? 1 : 0), s.Size()) << "the whole text is read over";
}

TEST(R13Fields, FixedTextWithoutABlockIsReadOver) {
    const R13Field fields[] = {R13_FIXED_TEXT(Sample, fixed, 5), R13_FIELD(kRC, Sample, rc)};
    CBitWriter w;
    w.WriteText("ABCDEFGHIJ");
    w.WriteByte(0x42);
    ExactBytes bytes(Written(w));
    Sample read{};
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, R13Layout{fields, 2}, &read);
    EXPECT_EQ(read.fixed, nullptr);
    EXPECT_EQ(read.rc, 0x42);
}

TEST(R13Fields, NullTextIsWrittenAsTheEmptyText) {
    const R13Field fields[] = {R13_FIELD(kTV, Sample, text), R13_FIELD(kHT, Sample, handle_text)};
    Sample record{};
    CBitWriter w;
    WriteR13Fields(w, R13Layout{fields, 2}, &record);
    EXPECT_EQ(Written(w), (std::vector<uint8_t>{0x80, 0x00}));
    EXPECT_EQ(w.TellBit(), 2);
    EXPECT_EQ(w.TellByte(), 1);
}

TEST(R13Fields, AngleUsesPiCutAtElevenDecimals) {
    EXPECT_EQ(R13ToDegrees(1.0), 1.0 / 3.14159265359 * 180.0);
    EXPECT_EQ(R13ToDegrees(3.14159265359), 180.0);
    EXPECT_NE(R13ToDegrees(3.141592653589793), 180.0);
}

TEST(R13Fields, DegreesUsePiToTheDoublesPrecision) {
    EXPECT_EQ(R13RadiansToDegrees(1.0), 1.0 * 180.0 / 3.141592653589793);
    EXPECT_DOUBLE_EQ(R13RadiansToDegrees(3.141592653589793), 180.0);
    EXPECT_NE(R13RadiansToDegrees(1.0), R13ToDegrees(1.0));
}

TEST(R13Fields, BothAngleKindsGoBackWithTheShortPi) {
    EXPECT_EQ(R13ToRadians(180.0), 3.14159265359);
    EXPECT_EQ(R13ToRadians(30.0), 30.0 / 180.0 * 3.14159265359);
    Sample record = Filled();
    const R13Field fields[] = {R13_FIELD(kAngle, Sample, angle),
                               R13_FIELD(kDegrees, Sample, degrees)};
    CBitWriter w;
    WriteR13Fields(w, R13Layout{fields, 2}, &record);
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    EXPECT_EQ(s.ReadBitDouble(), 90.0 / 180.0 * 3.14159265359);
    EXPECT_EQ(s.ReadBitDouble(), 45.0 / 180.0 * 3.14159265359);
}

TEST(R13Fields, AnglesReadIntoDegreesByTheirOwnPi) {
    Sample read{};
    const R13Field fields[] = {R13_FIELD(kAngle, Sample, angle),
                               R13_FIELD(kDegrees, Sample, degrees)};
    CBitWriter w;
    w.WriteBitDouble(0.5);
    w.WriteBitDouble(0.5);
    ExactBytes bytes(Written(w));
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, R13Layout{fields, 2}, &read);
    EXPECT_EQ(read.angle, 0.5 / 3.14159265359 * 180.0);
    EXPECT_EQ(read.degrees, 0.5 * 180.0 / 3.141592653589793);
}

TEST(R13Fields, TruncatedStreamGivesZerosAndEmptyTexts) {
    Sample original = Filled();
    CBitWriter w;
    WriteR13Fields(w, kSampleLayout, &original);
    std::vector<uint8_t> all = Written(w);
    ExactBytes bytes(std::vector<uint8_t>(all.begin(), all.begin() + 12));
    Sample read{};
    CBitStream s(bytes.data(), bytes.size());
    ReadR13Fields(s, kSampleLayout, &read);
    EXPECT_TRUE(s.Overrun());
    EXPECT_EQ(read.bs, -2) << "read before the end";
    EXPECT_EQ(read.bd, 0.0);
    ASSERT_NE(read.text, nullptr);
    EXPECT_STREQ(read.text, "");
    std::free(read.text);
    std::free(read.handle_text);
}
