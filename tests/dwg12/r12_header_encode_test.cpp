#include "dwg12/r12_header.h"
#include "io/byte_order.h"

#include "dwg12/r12_test_bytes.h"
#include "support/corpus.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using r12test::Bytes;
using r12test::PutF64;
using r12test::PutI16;
using r12test::PutText;
using r12test::PutU32;
using r12test::PutU8;
using r12test::Val;

namespace {

Bytes Block(uint8_t fill = 0) {
    return Bytes(CR12Header::kBlockSize, fill);
}

int16_t I16At(const Bytes &b, size_t at) {
    return LittleEndian::Decode<int16_t>(b.data() + at);
}

// The record's text pointers, which differ between two headers by design.
const size_t kTextOffsets[] = {
    offsetof(CDB_HEADER_type, acadver),    offsetof(CDB_HEADER_type, dimapost),
    offsetof(CDB_HEADER_type, dimpost),    offsetof(CDB_HEADER_type, dimblk),
    offsetof(CDB_HEADER_type, dimblk1),    offsetof(CDB_HEADER_type, dimblk2),
    offsetof(CDB_HEADER_type, menu),       offsetof(CDB_HEADER_type, handseed),
    offsetof(CDB_HEADER_type, dwgcodepage)};

const char *TextAt(const CDB_HEADER_type &vars, size_t offset) {
    const char *text = nullptr;
    std::memcpy(&text, reinterpret_cast<const uint8_t *>(&vars) + offset, sizeof(text));
    return text;
}

// Two records are equal when all their bytes but the text pointers are, and the texts are.
::testing::AssertionResult SameRecord(const CDB_HEADER_type &a, const CDB_HEADER_type &b) {
    std::vector<uint8_t> ra(sizeof(a)), rb(sizeof(b));
    std::memcpy(ra.data(), &a, sizeof(a));
    std::memcpy(rb.data(), &b, sizeof(b));
    for (size_t offset : kTextOffsets) {
        const std::string ta = TextAt(a, offset) ? TextAt(a, offset) : "(null)";
        const std::string tb = TextAt(b, offset) ? TextAt(b, offset) : "(null)";
        if (ta != tb)
            return ::testing::AssertionFailure() << "text at record offset " << offset << ": \""
                                                 << ta << "\" vs \"" << tb << "\"";
        std::memset(ra.data() + offset, 0, sizeof(char *));
        std::memset(rb.data() + offset, 0, sizeof(char *));
    }
    for (size_t i = 0; i < ra.size(); ++i) {
        if (ra[i] != rb[i])
            return ::testing::AssertionFailure() << "record byte " << i << " differs";
    }
    return ::testing::AssertionSuccess();
}

// The bytes of the block that Encode writes: the fields of the layout and the descriptor
// copies.
std::vector<bool> CoveredBytes() {
    std::vector<bool> covered(CR12Header::kBlockSize, false);
    for (size_t i = 0; i < CR12Header::kDescriptorCopiesSize; ++i)
        covered[CR12Header::kDescriptorCopiesAt + i] = true;
    const R12Layout layout = CR12Header::Layout();
    for (size_t i = 0; i < layout.count; ++i) {
        const R12Field &f = layout.fields[i];
        for (size_t j = 0; j < f.size; ++j)
            covered[f.file_offset + j] = true;
    }
    return covered;
}

const R12Field *FieldAt(uint16_t file_offset) {
    const R12Layout layout = CR12Header::Layout();
    for (size_t i = 0; i < layout.count; ++i) {
        if (layout.fields[i].file_offset == file_offset)
            return &layout.fields[i];
    }
    return nullptr;
}

// Decode, Encode into a cleared block, Decode again.
Bytes Reencode(const Bytes &block, CR12Header &first, CR12Header &second) {
    first.Decode(block.data());
    Bytes out = Block();
    first.Encode(out.data());
    second.Decode(out.data());
    return out;
}

} // namespace

// ---- Single fields -----------------------------------------------------------------------

TEST(R12HeaderEncode, FieldsGoToTheirOffsets) {
    CR12Header header;
    header.vars.insbase = CDB_POINT3{1.5, 2.5, 3.5};
    header.vars.plinegen = 1;
    header.vars.limmax = CDB_POINT2{12.0, 9.0};
    header.vars.ltscale = 1.25;
    header.vars.clayer = 3;
    header.vars.cecolor = 256;
    header.vars.dimtol = -1;
    header.vars.dimzin = 200; // kept in one byte
    header.vars.angbase = 0.5;
    header.vars.userrvar5 = 5.5;
    header.vars.visretain = 1;
    header.vars.pinsbase = CDB_POINT3{-1.0, -2.0, -3.0};
    Bytes b = Block();
    header.Encode(b.data());
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x5E), 1.5);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x66), 2.5);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x6E), 3.5);
    EXPECT_EQ(I16At(b, 0x76), 1);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0xB8), 12.0);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0xC0), 9.0);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x132), 1.25);
    EXPECT_EQ(I16At(b, 0x14A), 3);
    EXPECT_EQ(I16At(b, 0x31B), 256);
    EXPECT_EQ(b[0x1F3], 0xFF);
    EXPECT_EQ(b[0x2E5], 200);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x353), 0.5)
        << "the header's angles stay as they are";
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x399), 5.5);
    EXPECT_EQ(I16At(b, 0x6BB), 1);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x687), -1.0);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 0x697), -3.0);
}

TEST(R12HeaderEncode, CeltypeBylayerAndByblockGoBackToTheirFileCodes) {
    CR12Header header;
    Bytes b = Block();
    header.vars.celtype = -1;
    header.Encode(b.data());
    EXPECT_EQ(static_cast<uint16_t>(I16At(b, 0x31D)), 0x7FFF);
    header.vars.celtype = -2;
    header.Encode(b.data());
    EXPECT_EQ(static_cast<uint16_t>(I16At(b, 0x31D)), 0x7FFE);
    header.vars.celtype = 4;
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x31D), 4);
}

TEST(R12HeaderEncode, TreedepthIsWrittenAsItStands) {
    CR12Header header;
    Bytes b = Block();
    header.vars.treedepth = 3020;
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x158), 3020);
    header.vars.treedepth = 7;
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x158), 7);
    // Both ways of storing the default read back the same.
    CR12Header again;
    header.vars.treedepth = 3020;
    header.Encode(b.data());
    again.Decode(b.data());
    EXPECT_EQ(Val(again.vars.treedepth), 3020);
}

TEST(R12HeaderEncode, TextsAreZeroPaddedAndCutToTheirFields) {
    CR12Header header;
    std::strcpy(header.vars.acadver, "AC1009");
    std::strcpy(header.vars.dimpost, "<>mm");
    std::strcpy(header.vars.dimblk, std::string(32, 'k').c_str());
    Bytes b = Block(0xAA);
    header.Encode(b.data());
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data()), 6), "AC1009");
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x3A5), 4), "<>mm");
    for (size_t i = 4; i < 16; ++i)
        EXPECT_EQ(b[0x3A5 + i], 0) << "dimpost padding byte " << i;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x2F6), 32),
              std::string(32, 'k'));
    EXPECT_EQ(b[0x2F6 + 32], 0);
    // A text longer than its field (a caller's own block) is cut at the field's size.
    std::string long_text(80, 'z');
    char *saved = header.vars.dimpost;
    header.vars.dimpost = &long_text[0];
    header.Encode(b.data());
    header.vars.dimpost = saved;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x3A5), 16),
              std::string(16, 'z'));
    EXPECT_EQ(b[0x3B5], 0) << "dimapost, behind it, is untouched by the long text";
}

TEST(R12HeaderEncode, NullTextsAreWrittenEmpty) {
    CR12Header header;
    header.vars.acadver = nullptr;
    header.vars.menu = nullptr;
    header.vars.handseed = nullptr;
    header.vars.dwgcodepage = nullptr;
    header.vars.dimblk1 = nullptr;
    Bytes b = Block(0xAA);
    header.Encode(b.data());
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(b[i], 0);
    for (size_t i = 0; i < 15; ++i)
        EXPECT_EQ(b[0x194 + i], 0);
    for (size_t i = 0; i < 45; ++i)
        EXPECT_EQ(b[0x1FC + i], 0);
    for (size_t i = 0; i < 8; ++i)
        EXPECT_EQ(b[0x4EE + i], 0);
    for (size_t i = 0; i < 33; ++i)
        EXPECT_EQ(b[0x47E + i], 0);
    EXPECT_EQ(I16At(b, 0x3F9), -1);
}

TEST(R12HeaderEncode, MenuIsSplitIntoHeadAndTail) {
    CR12Header header;
    std::strcpy(header.vars.menu, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    Bytes b = Block(0xAA);
    header.Encode(b.data());
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x194), 15), "ABCDEFGHIJKLMNO");
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x1FC)), "PQRSTUVWXYZ");
    for (size_t i = 11; i < 45; ++i)
        EXPECT_EQ(b[0x1FC + i], 0);
    CR12Header again;
    again.Decode(b.data());
    EXPECT_STREQ(again.vars.menu, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST(R12HeaderEncode, ShortMenuLeavesTheTailZero) {
    CR12Header header;
    std::strcpy(header.vars.menu, "acad");
    Bytes b = Block(0xAA);
    header.Encode(b.data());
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(b.data() + 0x194)), "acad");
    for (size_t i = 4; i < 15; ++i)
        EXPECT_EQ(b[0x194 + i], 0);
    for (size_t i = 0; i < 45; ++i)
        EXPECT_EQ(b[0x1FC + i], 0);
}

TEST(R12HeaderEncode, LongestMenuSurvivesTheRoundTrip) {
    CR12Header header;
    const std::string menu = std::string(15, 'a') + std::string(44, 'b');
    std::strcpy(header.vars.menu, menu.c_str());
    Bytes b = Block();
    header.Encode(b.data());
    CR12Header again;
    again.Decode(b.data());
    EXPECT_EQ(Val(std::string(again.vars.menu)), menu);
}

TEST(R12HeaderEncode, HandseedTextBecomesBigEndianBytes) {
    CR12Header header;
    Bytes b = Block(0xAA);
    std::strcpy(header.vars.handseed, "2A0F");
    header.Encode(b.data());
    const uint8_t expected[8] = {0, 0, 0, 0, 0, 0, 0x2A, 0x0F};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(b[0x4EE + i], expected[i]) << "byte " << i;

    std::strcpy(header.vars.handseed, "f1f2f3f4f5f6f7f8");
    header.Encode(b.data());
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(b[0x4EE + i], 0xF1 + i) << "byte " << i;

    std::strcpy(header.vars.handseed, "0");
    header.Encode(b.data());
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(b[0x4EE + i], 0) << "byte " << i;

    // Digits stop at the first other character.
    std::strcpy(header.vars.handseed, "1Fx99");
    header.Encode(b.data());
    EXPECT_EQ(b[0x4F5], 0x1F);
    EXPECT_EQ(b[0x4F4], 0);

    // More than 16 digits keep the low ones.
    std::strcpy(header.vars.handseed, "ABCDEF0123456789A");
    header.Encode(b.data());
    EXPECT_EQ(b[0x4EE], 0xBC);
    EXPECT_EQ(b[0x4F5], 0x9A);
}

TEST(R12HeaderEncode, CodePageTextBecomesItsNumber) {
    CR12Header header;
    Bytes b = Block();
    std::strcpy(header.vars.dwgcodepage, "iso8859-1");
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x3F9), 2);
    std::strcpy(header.vars.dwgcodepage, "MAC-ROMAN");
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x3F9), 23) << "case is ignored";
    std::strcpy(header.vars.dwgcodepage, "undefined");
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x3F9), 0);
}

TEST(R12HeaderEncode, CodePageOutsideTheTableIsWrittenAsMinusOneAndReadsBackEmpty) {
    CR12Header header;
    Bytes b = Block();
    std::strcpy(header.vars.dwgcodepage, "ANSI_1252");
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x3F9), -1);
    header.vars.dwgcodepage[0] = 0;
    header.Encode(b.data());
    EXPECT_EQ(I16At(b, 0x3F9), -1);
    CR12Header again;
    again.Decode(b.data());
    EXPECT_STREQ(again.vars.dwgcodepage, "");
}

TEST(R12HeaderEncode, DescriptorCopiesAreWrittenRaw) {
    CR12Header header;
    for (size_t i = 0; i < sizeof(header.descriptor_copies); ++i)
        header.descriptor_copies[i] = static_cast<uint8_t>(i + 1);
    Bytes b = Block();
    header.Encode(b.data());
    for (size_t i = 0; i < CR12Header::kDescriptorCopiesSize; ++i)
        EXPECT_EQ(b[CR12Header::kDescriptorCopiesAt + i], static_cast<uint8_t>(i + 1))
            << "byte " << i;
}

TEST(R12HeaderEncode, BytesOutsideTheLayoutAreLeftAlone) {
    CR12Header header;
    Bytes b = Block(0xAA);
    header.Encode(b.data());
    const std::vector<bool> covered = CoveredBytes();
    for (size_t i = 0; i < b.size(); ++i) {
        if (!covered[i]) {
            EXPECT_EQ(b[i], 0xAA) << "byte " << i << " lies outside the layout";
        }
    }
    // The section copies, the CRC and the late descriptor copies are among them.
    EXPECT_FALSE(covered[0x14]);
    EXPECT_FALSE(covered[0x2B]);
    EXPECT_FALSE(covered[CR12Header::kCrcAt]);
    EXPECT_FALSE(covered[0x3EF]);
    EXPECT_FALSE(covered[0x69F]);
}

TEST(R12HeaderEncode, NullBlockIsIgnored) {
    CR12Header header;
    header.Encode(nullptr);
    SUCCEED();
}

// ---- Round trips -------------------------------------------------------------------------

TEST(R12HeaderEncode, RandomBlocksSurviveDecodeEncodeDecode) {
    std::mt19937 random(12);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> text_char('!', '~');
    std::uniform_int_distribution<int> length(0, 60);
    std::uniform_int_distribution<int> code_page(-3, 26);
    for (int round = 0; round < 400; ++round) {
        Bytes b = Block();
        for (uint8_t &x : b)
            x = static_cast<uint8_t>(byte(random));
        // Texts as a file holds them: characters, then zeros to the field's end.
        const R12Layout layout = CR12Header::Layout();
        for (size_t i = 0; i < layout.count; ++i) {
            const R12Field &f = layout.fields[i];
            if (f.kind != R12Kind::kFixedText && f.kind != R12Kind::kMenuHead &&
                f.kind != R12Kind::kMenuTail)
                continue;
            const size_t n = static_cast<size_t>(length(random)) % (f.size + 1u);
            for (size_t j = 0; j < f.size; ++j)
                b[f.file_offset + j] = j < n ? static_cast<uint8_t>(text_char(random)) : 0;
        }
        // Special values now and then.
        if (round % 4 == 0)
            PutI16(b, 0x158, 0);
        if (round % 5 == 0)
            PutI16(b, 0x31D, round % 10 == 0 ? 0x7FFF : 0x7FFE);
        PutI16(b, 0x3F9, static_cast<int16_t>(code_page(random)));

        CR12Header first, second;
        Bytes encoded = Reencode(b, first, second);
        ASSERT_TRUE(SameRecord(first.vars, second.vars)) << "round " << round;
        ASSERT_EQ(0, std::memcmp(first.descriptor_copies, second.descriptor_copies,
                                 sizeof(first.descriptor_copies)));
        // Encoding what was decoded from an encoded block changes no byte.
        CR12Header third;
        third.Decode(encoded.data());
        Bytes again = Block();
        third.Encode(again.data());
        ASSERT_EQ(encoded, again) << "round " << round;
    }
}

TEST(R12HeaderEncode, RandomRecordValuesSurviveEncodeDecode) {
    std::mt19937 random(34);
    std::uniform_int_distribution<int> i16(-32768, 32767);
    std::uniform_int_distribution<int> i8(-128, 127);
    std::uniform_real_distribution<double> real(-1e6, 1e6);
    const R12Layout layout = CR12Header::Layout();
    for (int round = 0; round < 200; ++round) {
        CR12Header header;
        uint8_t *record = reinterpret_cast<uint8_t *>(&header.vars);
        for (size_t i = 0; i < layout.count; ++i) {
            const R12Field &f = layout.fields[i];
            int16_t v16 = 0;
            switch (f.kind) {
            case R12Kind::kI16:
                v16 = static_cast<int16_t>(i16(random));
                std::memcpy(record + f.field_offset, &v16, 2);
                break;
            case R12Kind::kI8:
                v16 = static_cast<int16_t>(i8(random));
                std::memcpy(record + f.field_offset, &v16, 2);
                break;
            case R12Kind::kCeltype:
                v16 = static_cast<int16_t>(round % 3 == 0 ? -1 : round % 3 == 1 ? -2 : round);
                std::memcpy(record + f.field_offset, &v16, 2);
                break;
            case R12Kind::kTreedepth:
                v16 = static_cast<int16_t>(round % 2 ? 3020 : round + 1);
                std::memcpy(record + f.field_offset, &v16, 2);
                break;
            case R12Kind::kReal:
                for (size_t j = 0; j < f.size; j += 8) {
                    const double d = real(random);
                    std::memcpy(record + f.field_offset + j, &d, 8);
                }
                break;
            default:
                break;
            }
        }
        std::strcpy(header.vars.acadver, "AC1009");
        std::strcpy(header.vars.menu, std::string(static_cast<size_t>(round % 60), 'm').c_str());
        std::strcpy(header.vars.dimblk2, "ARROW2");
        const std::string seed = round == 0 ? "0" : "1" + std::to_string(round * 7919);
        std::strcpy(header.vars.handseed, seed.c_str());
        std::strcpy(header.vars.dwgcodepage, round % 2 ? "dos850" : "");
        for (size_t i = 0; i < sizeof(header.descriptor_copies); ++i)
            header.descriptor_copies[i] = static_cast<uint8_t>(round + i);

        Bytes b = Block();
        header.Encode(b.data());
        CR12Header back;
        back.Decode(b.data());
        ASSERT_TRUE(SameRecord(header.vars, back.vars)) << "round " << round;
        ASSERT_EQ(0, std::memcmp(header.descriptor_copies, back.descriptor_copies,
                                 sizeof(back.descriptor_copies)));
    }
}

TEST(R12HeaderEncode, DecodeThenEncodeReproducesTheCoveredBytesOfAPlainBlock) {
    Bytes b = Block();
    PutText(b, 0, 6, "AC1009");
    for (size_t i = 0; i < CR12Header::kDescriptorCopiesSize; ++i)
        b[CR12Header::kDescriptorCopiesAt + i] = static_cast<uint8_t>(0x30 + i);
    PutF64(b, 0x5E, 1.0);
    PutI16(b, 0x158, 3020);
    PutText(b, 0x194, 15, "ABCDEFGHIJKLMNO");
    PutText(b, 0x1FC, 45, "PQR");
    PutU8(b, 0x1F3, 0xFF);
    PutI16(b, 0x31D, 0x7FFE);
    PutI16(b, 0x3F9, 12);
    PutU8(b, 0x4F5, 0x4D);
    PutF64(b, 0x6AB, 0.09);
    PutU32(b, 0x14, 0x12345678); // outside the layout
    CR12Header header;
    header.Decode(b.data());
    Bytes out = Block();
    header.Encode(out.data());
    const std::vector<bool> covered = CoveredBytes();
    for (size_t i = 0; i < b.size(); ++i) {
        if (covered[i]) {
            EXPECT_EQ(out[i], b[i]) << "byte " << i;
        } else {
            EXPECT_EQ(out[i], 0) << "byte " << i;
        }
    }
}

// Stored forms that the decoder folds together cannot all come back: these are the ones,
// each written in the form a DWG of this library holds.
TEST(R12HeaderEncode, FoldedStoredFormsComeBackInTheirWrittenForm) {
    Bytes b = Block();
    PutI16(b, 0x158, 0);                          // treedepth 0 reads 3020 ...
    PutI16(b, 0x31D, -1);                         // celtype 0xFFFF reads -1 ...
    PutI16(b, 0x3F9, 28);                         // a code page outside the table reads empty ...
    PutText(b, 0x02F6, 33, std::string(33, 'k')); // a full dimblk keeps 32 characters
    CR12Header header;
    header.Decode(b.data());
    Bytes out = Block();
    header.Encode(out.data());
    EXPECT_EQ(I16At(out, 0x158), 3020);
    EXPECT_EQ(static_cast<uint16_t>(I16At(out, 0x31D)), 0x7FFF);
    EXPECT_EQ(I16At(out, 0x3F9), -1);
    EXPECT_EQ(out[0x2F6 + 31], 'k');
    EXPECT_EQ(out[0x2F6 + 32], 0);
}

// ---- The plain field encoder -------------------------------------------------------------

namespace {

struct Plain {
    int16_t i16;
    int16_t small;
    uint8_t byte;
    double reals[3];
    double angle;
    uint32_t offset;
};

R12Field PlainField(uint16_t at, R12Kind kind, size_t field, uint16_t size) {
    return R12Field{at, kind, static_cast<uint16_t>(field), size, 0};
}

} // namespace

TEST(R12HeaderEncode, PlainFieldsAreTheInverseOfTheirDecoding) {
    Plain in{};
    in.i16 = -1234;
    in.small = -3;
    in.byte = 0xC3;
    in.reals[0] = 1.5;
    in.reals[1] = -2.25;
    in.reals[2] = 1e-300;
    in.angle = 90.0;
    in.offset = 0xABCDEF;
    const R12Field fields[] = {
        PlainField(0, R12Kind::kI16, offsetof(Plain, i16), 2),
        PlainField(2, R12Kind::kI8, offsetof(Plain, small), 1),
        PlainField(3, R12Kind::kByte, offsetof(Plain, byte), 1),
        PlainField(4, R12Kind::kReal, offsetof(Plain, reals), 24),
        PlainField(28, R12Kind::kAngle, offsetof(Plain, angle), 8),
        PlainField(36, R12Kind::kU24, offsetof(Plain, offset), 4),
    };
    Bytes b(40, 0);
    b[39] = 0x40; // the flag byte of the u24 field
    for (const R12Field &f : fields)
        ASSERT_TRUE(R12EncodePlainField(f, &in, b.data(), b.size()));
    EXPECT_EQ(I16At(b, 0), -1234);
    EXPECT_EQ(b[2], 0xFD);
    EXPECT_EQ(b[3], 0xC3);
    EXPECT_EQ(LittleEndian::Decode<double>(b.data() + 12), -2.25);
    EXPECT_NEAR(LittleEndian::Decode<double>(b.data() + 28), 1.5707963267948966, 1e-15)
        << "degrees to radians";
    EXPECT_EQ(LittleEndian::Decode<uint32_t>(b.data() + 36), 0x40ABCDEFu) << "the flag byte stays";

    Plain out{};
    for (const R12Field &f : fields)
        ASSERT_TRUE(R12DecodePlainField(f, b.data(), b.size(), &out));
    EXPECT_EQ(Val(out.i16), -1234);
    EXPECT_EQ(Val(out.small), -3);
    EXPECT_EQ(Val(out.byte), 0xC3);
    EXPECT_EQ(out.reals[0], 1.5);
    EXPECT_EQ(out.reals[2], 1e-300);
    EXPECT_EQ(out.angle, 90.0);
    EXPECT_EQ(out.offset, 0xABCDEFu);
}

TEST(R12HeaderEncode, UnsignedByteFieldKeepsItsLowByte) {
    Plain in{};
    in.small = 200;
    const R12Field f = PlainField(0, R12Kind::kU8, offsetof(Plain, small), 1);
    Bytes b(1, 0);
    ASSERT_TRUE(R12EncodePlainField(f, &in, b.data(), b.size()));
    EXPECT_EQ(b[0], 200);
    Plain out{};
    ASSERT_TRUE(R12DecodePlainField(f, b.data(), b.size(), &out));
    EXPECT_EQ(Val(out.small), 200);
}

TEST(R12HeaderEncode, AnglesComeBackExactlyAsDecoded) {
    std::mt19937 random(56);
    std::uniform_real_distribution<double> radians(-10.0, 10.0);
    const R12Field f = PlainField(0, R12Kind::kAngle, offsetof(Plain, angle), 8);
    for (int i = 0; i < 5000; ++i) {
        Bytes b(8, 0);
        PutF64(b, 0, radians(random));
        Plain decoded{};
        ASSERT_TRUE(R12DecodePlainField(f, b.data(), b.size(), &decoded));
        Bytes again(8, 0);
        ASSERT_TRUE(R12EncodePlainField(f, &decoded, again.data(), again.size()));
        Plain twice{};
        ASSERT_TRUE(R12DecodePlainField(f, again.data(), again.size(), &twice));
        ASSERT_EQ(twice.angle, decoded.angle)
            << "radians " << LittleEndian::Decode<double>(b.data());
    }
    EXPECT_TRUE(std::isinf(R12AngleToFile(HUGE_VAL)));
    EXPECT_TRUE(std::isnan(R12AngleToFile(std::nan(""))));
    EXPECT_EQ(R12AngleToFile(0.0), 0.0);
}

TEST(R12HeaderEncode, PlainFieldOutsideTheBlockWritesNothing) {
    Plain in{};
    in.i16 = 7;
    const R12Field f = PlainField(9, R12Kind::kI16, offsetof(Plain, i16), 2);
    Bytes b(10, 0xAA);
    EXPECT_FALSE(R12EncodePlainField(f, &in, b.data(), b.size()));
    for (uint8_t x : b)
        EXPECT_EQ(x, 0xAA);
}

TEST(R12HeaderEncode, PlainEncoderRefusesTheSpecialKinds) {
    Plain in{};
    Bytes b(64, 0xAA);
    for (R12Kind kind : {R12Kind::kText, R12Kind::kFixedText, R12Kind::kDashes, R12Kind::kCeltype,
                         R12Kind::kTreedepth, R12Kind::kMenuHead, R12Kind::kMenuTail,
                         R12Kind::kHandseed, R12Kind::kCodePage}) {
        const R12Field f = PlainField(0, kind, 0, 2);
        EXPECT_FALSE(R12EncodePlainField(f, &in, b.data(), b.size()));
    }
    for (uint8_t x : b)
        EXPECT_EQ(x, 0xAA);
}

// ---- Corpus ------------------------------------------------------------------------------

TEST(R12HeaderEncodeCorpus, HeaderBlocksSurviveDecodeEncodeDecode) {
    VELKO_REQUIRE_CORPUS();
    const std::vector<std::string> files = velko_test::CorpusFiles("dwg12");
    ASSERT_FALSE(files.empty()) << "no release 12 drawing in the corpus";
    const std::vector<bool> covered = CoveredBytes();
    const R12Field *treedepth = FieldAt(0x158);
    const R12Field *codepage = FieldAt(0x3F9);
    const R12Field *menu_head = FieldAt(0x194);
    const R12Field *menu_tail = FieldAt(0x1FC);
    ASSERT_NE(treedepth, nullptr);
    ASSERT_NE(codepage, nullptr);
    ASSERT_NE(menu_head, nullptr);
    ASSERT_NE(menu_tail, nullptr);
    int checked = 0;
    for (const std::string &relative : files) {
        SCOPED_TRACE(relative);
        std::vector<uint8_t> data;
        ASSERT_TRUE(velko_test::ReadWholeFile(velko_test::CorpusPath(relative), &data));
        if (data.size() < CR12Header::kBlockSize || std::memcmp(data.data(), "AC1009", 6) != 0)
            continue;
        const Bytes block(data.begin(), data.begin() + CR12Header::kBlockSize);
        CR12Header first, second;
        const Bytes out = Reencode(block, first, second);
        EXPECT_TRUE(SameRecord(first.vars, second.vars));
        EXPECT_EQ(0, std::memcmp(first.descriptor_copies, second.descriptor_copies,
                                 sizeof(first.descriptor_copies)));

        // Every covered byte comes back, but where the file stores a form that the decoder
        // folds into another: a tree depth of 0 (written back as 3020), a code page number
        // outside the table (written back as -1), and a menu tail behind a head of fewer
        // than 15 characters, which the decoder does not take (written back as zeros).
        const bool depth_folded = I16At(block, treedepth->file_offset) == 0;
        const int16_t page = I16At(block, codepage->file_offset);
        const bool page_folded = page < 0 || page > 23;
        const bool tail_dropped =
            std::memchr(block.data() + menu_head->file_offset, 0, menu_head->size) != nullptr;
        auto inside = [](size_t i, const R12Field *f) {
            return i >= f->file_offset && i < size_t(f->file_offset) + f->size;
        };
        for (size_t i = 0; i < block.size(); ++i) {
            if (!covered[i])
                continue;
            if (depth_folded && inside(i, treedepth))
                continue;
            if (page_folded && inside(i, codepage))
                continue;
            if (tail_dropped && inside(i, menu_tail)) {
                EXPECT_EQ(out[i], 0) << "byte 0x" << std::hex << i;
                continue;
            }
            EXPECT_EQ(out[i], block[i]) << "byte 0x" << std::hex << i;
        }
        if (depth_folded) {
            EXPECT_EQ(I16At(out, treedepth->file_offset), 3020);
        }
        if (page_folded) {
            EXPECT_EQ(I16At(out, codepage->file_offset), -1);
        }
        ++checked;
    }
    EXPECT_GT(checked, 0);
}
