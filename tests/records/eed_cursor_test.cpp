// The records are byte-packed, so their fields may sit at any address. gtest binds its
// arguments by reference; a packed field is therefore handed over as a copy, through
// unary plus.
#include "records/eed_cursor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Builds a block of extended data in the release 12 coding, little-endian.
class EedBlock {
public:
    EedBlock &Code(uint8_t code) { return Byte(code); }
    EedBlock &Byte(uint8_t b) {
        bytes.push_back(b);
        return *this;
    }
    EedBlock &Short(int16_t v) {
        const uint16_t u = static_cast<uint16_t>(v);
        Byte(static_cast<uint8_t>(u & 0xFF));
        return Byte(static_cast<uint8_t>(u >> 8));
    }
    EedBlock &Long(int32_t v) {
        const uint32_t u = static_cast<uint32_t>(v);
        for (int i = 0; i < 4; ++i)
            Byte(static_cast<uint8_t>(u >> (8 * i)));
        return *this;
    }
    EedBlock &Real(double d) {
        uint64_t u;
        std::memcpy(&u, &d, sizeof u);
        for (int i = 0; i < 8; ++i)
            Byte(static_cast<uint8_t>(u >> (8 * i)));
        return *this;
    }
    EedBlock &App(int16_t index) { return Code(1).Short(index); }
    EedBlock &String(const std::string &s) {
        Code(0).Byte(static_cast<uint8_t>(s.size()));
        for (char c : s)
            Byte(static_cast<uint8_t>(c));
        return *this;
    }
    EedBlock &Brace(uint8_t closing) { return Code(2).Byte(closing); }
    EedBlock &Int(int16_t v) { return Code(70).Short(v); }
    EedBlock &Point(uint8_t code, double x, double y, double z) {
        return Code(code).Real(x).Real(y).Real(z);
    }

    // A cursor over the block as an entity would hand it out.
    CDB_EED_type Cursor() {
        CDB_EED_type c;
        c.data = bytes.empty() ? nullptr : bytes.data();
        c.size = static_cast<uint16_t>(bytes.size());
        c.position = 0;
        return c;
    }

    std::vector<uint8_t> bytes;
};

CDB_EED_VALUES Filled(unsigned char byte) {
    CDB_EED_VALUES v;
    std::memset(&v, byte, sizeof v);
    return v;
}

bool Untouched(const CDB_EED_VALUES &v, unsigned char byte) {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(&v);
    for (size_t i = 0; i < sizeof v; ++i)
        if (p[i] != byte)
            return false;
    return true;
}

} // namespace

TEST(EedCursor, AttachPointsAtTheEntityBlockFromTheStart) {
    uint8_t data[5] = {1, 2, 0, 70, 0};
    CDB_ENTITY e;
    std::memset(&e, 0, sizeof e);
    e.eed_data = data;
    e.eed_size = sizeof data;
    CDB_EED_type c;
    c.data = nullptr;
    c.size = 0;
    c.position = 99;
    short error = 0;
    EXPECT_EQ(EedAttach(&e, &c, error), CDB_OK);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(+c.data, data);
    EXPECT_EQ(+c.size, 5);
    EXPECT_EQ(+c.position, 0);
}

TEST(EedCursor, AttachWithNullArgumentFailsWithInvalidParameter) {
    CDB_ENTITY e;
    std::memset(&e, 0, sizeof e);
    CDB_EED_type c;
    short error = 0;
    EXPECT_EQ(EedAttach(nullptr, &c, error), CDB_FAIL);
    EXPECT_EQ(error, CDB_ERR_INVALID_PARAMETER);
    error = 0;
    EXPECT_EQ(EedAttach(&e, nullptr, error), CDB_FAIL);
    EXPECT_EQ(error, CDB_ERR_INVALID_PARAMETER);
}

TEST(EedCursor, EmptyBlockGivesEndOfData) {
    CDB_ENTITY e;
    std::memset(&e, 0, sizeof e);
    CDB_EED_type c;
    short error = 0;
    ASSERT_EQ(EedAttach(&e, &c, error), CDB_OK);
    EXPECT_EQ(EedFirstAppid(&c), CDB_EED_END);
    CDB_EED_VALUES v = Filled(0x33);
    EXPECT_EQ(EedFirstValue(&c, &v), CDB_EED_END);
    EXPECT_TRUE(Untouched(v, 0x33));
    EXPECT_EQ(+c.position, 0);
}

TEST(EedCursor, SizeZeroWithDataGivesEndOfData) {
    uint8_t data[3] = {1, 5, 0};
    CDB_EED_type c = {data, 0, 0};
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstAppid(&c), CDB_EED_END);
    EXPECT_EQ(EedFirstValue(&c, &v), CDB_EED_END);
}

TEST(EedCursor, NullDataGivesEndOfData) {
    CDB_EED_type c = {nullptr, 10, 0};
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstAppid(&c), CDB_EED_END);
    EXPECT_EQ(EedNextAppid(&c), CDB_EED_END);
    EXPECT_EQ(EedFirstValue(&c, &v), CDB_EED_END);
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
}

TEST(EedCursor, NullCursorGivesEndOfData) {
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstAppid(nullptr), CDB_EED_END);
    EXPECT_EQ(EedNextAppid(nullptr), CDB_EED_END);
    EXPECT_EQ(EedFirstValue(nullptr, &v), CDB_EED_END);
    EXPECT_EQ(EedNextValue(nullptr, &v), CDB_EED_END);
}

TEST(EedCursor, EndResultReadsAs65530Unsigned) {
    CDB_EED_type c = {nullptr, 0, 0};
    EXPECT_EQ(static_cast<uint16_t>(EedFirstAppid(&c)), 65530);
}

TEST(EedCursor, FirstValueIsTheApplicationOfTheBlock) {
    EedBlock b;
    b.App(3).Int(12);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled(0);
    EXPECT_EQ(EedFirstValue(&c, &v), 1);
    EXPECT_EQ(+v.short_value, 3);
    EXPECT_EQ(+c.position, 3);
    EXPECT_EQ(EedNextValue(&c, &v), 70);
    EXPECT_EQ(+v.short_value, 12);
    EXPECT_EQ(+c.position, 6);
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
}

TEST(EedCursor, FirstValueRewinds) {
    EedBlock b;
    b.App(7).Int(1).Int(2);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v;
    c.position = 6;
    EXPECT_EQ(EedFirstValue(&c, &v), 1);
    EXPECT_EQ(+v.short_value, 7);
}

TEST(EedCursor, EmptyStringGivesEmptyText) {
    EedBlock b;
    b.String("").Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled('x');
    EXPECT_EQ(EedFirstValue(&c, &v), 0);
    EXPECT_STREQ(+v.text, "");
    EXPECT_EQ(+c.position, 2);
}

TEST(EedCursor, StringIsCopiedIntoZeroFilledText) {
    EedBlock b;
    b.String("hello").Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled('x');
    EXPECT_EQ(EedFirstValue(&c, &v), 0);
    EXPECT_STREQ(+v.text, "hello");
    for (size_t i = 5; i < sizeof v.text; ++i)
        ASSERT_EQ(+v.text[i], '\0') << i;
}

TEST(EedCursor, LongestStringFillsTwoHundredFiftyFiveCharacters) {
    EedBlock b;
    b.String(std::string(255, 'q')).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled('x');
    EXPECT_EQ(EedFirstValue(&c, &v), 0);
    EXPECT_EQ(std::string(v.text), std::string(255, 'q'));
    EXPECT_EQ(+c.position, 257);
}

TEST(EedCursor, BraceGivesShortValueZeroOrOne) {
    EedBlock b;
    b.Brace(0).Brace(1).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled(0xFF);
    EXPECT_EQ(EedFirstValue(&c, &v), 2);
    EXPECT_EQ(+v.short_value, 0);
    v = Filled(0xFF);
    EXPECT_EQ(EedNextValue(&c, &v), 2);
    EXPECT_EQ(+v.short_value, 1);
}

TEST(EedCursor, LayerGivesTableIndexInShortValue) {
    EedBlock b;
    b.Code(3).Short(14).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled(0);
    EXPECT_EQ(EedFirstValue(&c, &v), 3);
    EXPECT_EQ(+v.short_value, 14);
}

TEST(EedCursor, BinaryChunkIsCopiedIntoText) {
    EedBlock b;
    b.Code(4).Byte(3).Byte(0xDE).Byte(0x00).Byte(0x7F).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled('x');
    EXPECT_EQ(EedFirstValue(&c, &v), 4);
    EXPECT_EQ(static_cast<uint8_t>(v.text[0]), 0xDE);
    EXPECT_EQ(+v.text[1], 0);
    EXPECT_EQ(+v.text[2], 0x7F);
    EXPECT_EQ(+v.text[3], 0);
    EXPECT_EQ(+c.position, 5);
}

TEST(EedCursor, HandleIsDeliveredAsHexText) {
    EedBlock b;
    b.Code(5);
    for (uint8_t byte : {0, 0, 0, 0, 0, 0, 0x2A, 0x0F})
        b.Byte(byte);
    b.Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled('x');
    EXPECT_EQ(EedFirstValue(&c, &v), 5);
    EXPECT_STREQ(+v.text, "2A0F");
    EXPECT_EQ(+v.text[511], 0);
    EXPECT_EQ(+c.position, 9);
}

TEST(EedCursor, PointCodesGivePointValue) {
    EedBlock b;
    b.Point(10, 1, 2, 3).Point(11, -1, -2, -3).Point(12, 4, 5, 6).Point(13, 7, 8, 9).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v;
    const double expected[4][3] = {{1, 2, 3}, {-1, -2, -3}, {4, 5, 6}, {7, 8, 9}};
    for (int i = 0; i < 4; ++i) {
        const short code = i == 0 ? EedFirstValue(&c, &v) : EedNextValue(&c, &v);
        EXPECT_EQ(code, 10 + i);
        EXPECT_EQ(+v.point_value.x, expected[i][0]);
        EXPECT_EQ(+v.point_value.y, expected[i][1]);
        EXPECT_EQ(+v.point_value.z, expected[i][2]);
    }
    EXPECT_EQ(+c.position, 4 * 25);
}

TEST(EedCursor, RealCodesGiveRealValue) {
    EedBlock b;
    b.Code(40).Real(2.5).Code(41).Real(-0.125).Code(42).Real(1e10).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstValue(&c, &v), 40);
    EXPECT_EQ(+v.real_value, 2.5);
    EXPECT_EQ(EedNextValue(&c, &v), 41);
    EXPECT_EQ(+v.real_value, -0.125);
    EXPECT_EQ(EedNextValue(&c, &v), 42);
    EXPECT_EQ(+v.real_value, 1e10);
}

TEST(EedCursor, CodeSeventyGivesShortValue) {
    EedBlock b;
    b.Int(-1234).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled(0);
    EXPECT_EQ(EedFirstValue(&c, &v), 70);
    EXPECT_EQ(+v.short_value, -1234);
}

TEST(EedCursor, CodeSeventyOneGivesLongValue) {
    EedBlock b;
    b.Code(71).Long(-70000).Code(71).Long(0x12345678).Int(0);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v = Filled(0);
    EXPECT_EQ(EedFirstValue(&c, &v), 71);
    EXPECT_EQ(+v.long_value, -70000);
    EXPECT_EQ(EedNextValue(&c, &v), 71);
    EXPECT_EQ(+v.long_value, 0x12345678);
}

TEST(EedCursor, CodesOutsideTheTableEndTheWalk) {
    for (int code : {6, 7, 9, 14, 39, 43, 50, 69, 72, 100, 255}) {
        EedBlock b;
        b.Int(5).Code(static_cast<uint8_t>(code)).Real(0).Int(0);
        CDB_EED_type c = b.Cursor();
        CDB_EED_VALUES v;
        EXPECT_EQ(EedFirstValue(&c, &v), 70) << code;
        v = Filled(0x44);
        EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END) << code;
        EXPECT_TRUE(Untouched(v, 0x44)) << code;
        EXPECT_EQ(+c.position, 3) << code;
    }
}

TEST(EedCursor, TruncatedPayloadIsNotDelivered) {
    // Each block ends inside its last value's payload.
    std::vector<EedBlock> blocks(8);
    blocks[0].Code(0).Byte(5).Byte('a').Byte('b');      // string short of its length
    blocks[1].Code(4).Byte(9).Byte(1).Byte(2).Byte(3);  // binary short of its length
    blocks[2].Code(5).Byte(0).Byte(0).Byte(0).Byte(1);  // handle of 4 bytes
    blocks[3].Code(10).Real(1).Real(2).Byte(0);         // point of two doubles
    blocks[4].Code(40).Byte(0).Byte(0).Byte(0).Byte(0); // real of 4 bytes
    blocks[5].Code(71).Byte(1).Byte(2);                 // long of 2 bytes
    blocks[6].Code(70).Byte(1).Byte(2).Byte(3);         // whole, then a lone code below
    blocks[7].Code(0).Byte(0xFF).Byte('z');             // length byte beyond the end
    for (size_t i = 0; i < blocks.size(); ++i) {
        CDB_EED_type c = blocks[i].Cursor();
        CDB_EED_VALUES v = Filled(0x5C);
        if (i == 6) {
            // A short of 70 reads whole, the lone trailing byte is not a value.
            EXPECT_EQ(EedFirstValue(&c, &v), 70);
            v = Filled(0x5C);
            EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
            EXPECT_TRUE(Untouched(v, 0x5C));
            continue;
        }
        EXPECT_EQ(EedFirstValue(&c, &v), CDB_EED_END) << i;
        EXPECT_TRUE(Untouched(v, 0x5C)) << i;
        EXPECT_EQ(+c.position, 0) << i;
    }
}

TEST(EedCursor, TruncatedShortAtTheEndIsNotDelivered) {
    EedBlock b;
    b.Int(1).Code(70).Byte(9);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstValue(&c, &v), 70);
    v = Filled(0x21);
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
    EXPECT_TRUE(Untouched(v, 0x21));
    EXPECT_EQ(+c.position, 3);
}

TEST(EedCursor, WalkStopsWhenPositionReachesTheLastByte) {
    EedBlock b;
    b.Int(8);
    CDB_EED_type c = b.Cursor();
    CDB_EED_VALUES v;
    c.position = 2; // size - 1
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
    c.position = 3;
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
    c.position = 500;
    EXPECT_EQ(EedNextValue(&c, &v), CDB_EED_END);
    EXPECT_EQ(+c.position, 500);
}

TEST(EedCursor, NullValueStillMovesTheCursor) {
    EedBlock b;
    b.App(2).String("abc").Int(4);
    CDB_EED_type c = b.Cursor();
    EXPECT_EQ(EedFirstValue(&c, nullptr), 1);
    EXPECT_EQ(EedNextValue(&c, nullptr), 0);
    EXPECT_EQ(EedNextValue(&c, nullptr), 70);
    EXPECT_EQ(EedNextValue(&c, nullptr), CDB_EED_END);
}

TEST(EedCursor, AppidWalksVisitEachApplicationInTurn) {
    EedBlock b;
    b.App(1).String("one").Int(10);
    const size_t second = b.bytes.size();
    b.App(4).Point(10, 1, 1, 1).Code(40).Real(3);
    const size_t third = b.bytes.size();
    b.App(2).Int(7);
    CDB_EED_type c = b.Cursor();
    EXPECT_EQ(EedFirstAppid(&c), 1);
    EXPECT_EQ(+c.position, 3);
    EXPECT_EQ(EedNextAppid(&c), 4);
    EXPECT_EQ(+c.position, second + 3);
    EXPECT_EQ(EedNextAppid(&c), 2);
    EXPECT_EQ(+c.position, third + 3);
    EXPECT_EQ(EedNextAppid(&c), CDB_EED_END);
    // The failed walk leaves the cursor on the values of the last section.
    EXPECT_EQ(+c.position, third + 3);
    CDB_EED_VALUES v;
    EXPECT_EQ(EedNextValue(&c, &v), 70);
    EXPECT_EQ(+v.short_value, 7);
}

TEST(EedCursor, FirstAppidRewindsFromAnywhere) {
    EedBlock b;
    b.App(5).Int(1).App(6).Int(2);
    CDB_EED_type c = b.Cursor();
    c.position = 6;
    EXPECT_EQ(EedFirstAppid(&c), 5);
    EXPECT_EQ(+c.position, 3);
}

TEST(EedCursor, FirstAppidWithoutApplicationLeavesPositionAtStart) {
    EedBlock b;
    b.Int(1).String("x").Int(2);
    CDB_EED_type c = b.Cursor();
    c.position = 4;
    EXPECT_EQ(EedFirstAppid(&c), CDB_EED_END);
    EXPECT_EQ(+c.position, 0);
}

TEST(EedCursor, NextAppidStoppedByBadCodeKeepsPosition) {
    EedBlock b;
    b.App(1).Int(3).Code(99).App(2);
    CDB_EED_type c = b.Cursor();
    EXPECT_EQ(EedFirstAppid(&c), 1);
    EXPECT_EQ(EedNextAppid(&c), CDB_EED_END);
    EXPECT_EQ(+c.position, 3);
}

TEST(EedCursor, ViewportMviewDataCanBeWalked) {
    // The layout a release 12 viewport keeps under "MVIEW": a version, a group of
    // view values and a closing brace.
    EedBlock b;
    b.App(0).String("MVIEW").Brace(0).Int(16).Point(10, 0, 0, 0).Point(10, 0, 0, 1);
    b.Code(40).Real(9.0).Code(40).Real(7.953781512605).Int(100).Brace(0).Brace(1).Brace(1);
    CDB_EED_type c = b.Cursor();
    EXPECT_EQ(EedFirstAppid(&c), 0);
    std::vector<short> codes;
    CDB_EED_VALUES v;
    c.position = 0;
    for (short code = EedFirstValue(&c, &v); code != CDB_EED_END; code = EedNextValue(&c, &v))
        codes.push_back(code);
    const std::vector<short> expected = {1, 0, 2, 70, 10, 10, 40, 40, 70, 2, 2, 2};
    EXPECT_EQ(codes, expected);
    EXPECT_EQ(+c.position, b.bytes.size());
}

TEST(EedCursor, WalkReadsLittleEndianValues) {
    uint8_t data[] = {70, 0x34, 0x12, 71, 0x78, 0x56, 0x34, 0x12, 70, 0, 0};
    CDB_EED_type c = {data, sizeof data, 0};
    CDB_EED_VALUES v;
    EXPECT_EQ(EedFirstValue(&c, &v), 70);
    EXPECT_EQ(+v.short_value, 0x1234);
    EXPECT_EQ(EedNextValue(&c, &v), 71);
    EXPECT_EQ(+v.long_value, 0x12345678);
}
