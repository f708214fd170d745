// The extended data collector: DXF groups 1000 and up into the stored byte block.
#include "dxf/dxf_eed.h"

#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "interface/test_files.h"
#include "records/eed_cursor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using velko_test::TempFile;

namespace {

using Bytes = std::vector<uint8_t>;

// Upper-case copy, for the table look-ups of the tests.
std::string Upper(const char *text) {
    std::string s(text);
    for (char &c : s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return s;
}

// APPID table: ACAD 0, MYAPP 1. LAYER table: 0 is 0, WALLS is 3.
DxfEedLookup TestLookup() {
    DxfEedLookup lookup;
    lookup.appid = [](const char *name) {
        const std::string n = Upper(name);
        if (n == "ACAD")
            return 0;
        if (n == "MYAPP")
            return 1;
        return -1;
    };
    lookup.layer = [](const char *name) {
        const std::string n = Upper(name);
        if (n == "0")
            return 0;
        if (n == "WALLS")
            return 3;
        return -1;
    };
    return lookup;
}

// Stored bytes of one group added to an empty ASCII collector.
Bytes AddOne(int16_t code, const char *value, bool binary = false) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, binary);
    collector.Add(code, value);
    return collector.Bytes();
}

// The same groups written as an ASCII file and as a release 12 binary file.
class DxfGroups {
public:
    DxfGroups() {
        const char sentinel[] = "AutoCAD Binary DXF\r\n\x1a";
        binary_.assign(sentinel, sentinel + 21);
        binary_.push_back(0);
    }

    DxfGroups &Text(int16_t code, const std::string &value) {
        Ascii(code, value);
        Code(code);
        binary_.insert(binary_.end(), value.begin(), value.end());
        binary_.push_back(0);
        return *this;
    }
    // `text` is the ASCII form; the binary form holds the double itself.
    DxfGroups &Real(int16_t code, double value, const std::string &text) {
        Ascii(code, text);
        Code(code);
        uint64_t raw;
        std::memcpy(&raw, &value, sizeof raw);
        for (int i = 0; i < 8; ++i)
            binary_.push_back(static_cast<uint8_t>(raw >> (8 * i)));
        return *this;
    }
    DxfGroups &Short(int16_t code, int16_t value) {
        Ascii(code, std::to_string(value));
        Code(code);
        const uint16_t u = static_cast<uint16_t>(value);
        binary_.push_back(static_cast<uint8_t>(u & 0xFF));
        binary_.push_back(static_cast<uint8_t>(u >> 8));
        return *this;
    }
    DxfGroups &Long(int16_t code, int32_t value) {
        Ascii(code, std::to_string(value));
        Code(code);
        const uint32_t u = static_cast<uint32_t>(value);
        for (int i = 0; i < 4; ++i)
            binary_.push_back(static_cast<uint8_t>(u >> (8 * i)));
        return *this;
    }
    // A binary chunk: hexadecimal text in ASCII, length byte and data in binary.
    DxfGroups &Chunk(int16_t code, const Bytes &data) {
        static const char digits[] = "0123456789ABCDEF";
        std::string hex;
        for (uint8_t b : data) {
            hex += digits[b >> 4];
            hex += digits[b & 15];
        }
        Ascii(code, hex);
        Code(code);
        binary_.push_back(static_cast<uint8_t>(data.size()));
        binary_.insert(binary_.end(), data.begin(), data.end());
        return *this;
    }
    // Raw bytes appended to the binary form only.
    DxfGroups &RawBinary(const Bytes &bytes) {
        binary_.insert(binary_.end(), bytes.begin(), bytes.end());
        return *this;
    }

    const std::string &AsciiText() const { return ascii_; }
    const Bytes &BinaryBytes() const { return binary_; }

private:
    void Ascii(int16_t code, const std::string &value) {
        ascii_ += std::to_string(code) + "\r\n" + value + "\r\n";
    }
    void Code(int16_t code) {
        if (code >= 255) {
            binary_.push_back(255);
            binary_.push_back(static_cast<uint8_t>(code & 0xFF));
            binary_.push_back(static_cast<uint8_t>((code >> 8) & 0xFF));
        } else {
            binary_.push_back(static_cast<uint8_t>(code));
        }
    }

    std::string ascii_;
    Bytes binary_;
};

// What one collection over a stream gave: the block, the group handed back and the group
// that the stream delivers after it.
struct Collected {
    Bytes block;
    int16_t code = -1;
    std::string value;
    int16_t next_code = -1;
    std::string next_value;
    bool at_end = false;
};

// Opens `path` as a DXF stream of release 12, reads the first group, lets a collector
// run from it and reads one more group afterwards.
Collected CollectFrom(const std::string &path, bool binary) {
    Collected out;
    CDrawingFile file;
    EXPECT_EQ(file.Open(path.c_str(), CDB_OPEN_READ), 1);
    if (binary)
        file.SetPosition(CDxfStream::kBinarySentinelSize, 0);
    CDxfStream stream;
    stream.AttachInput(&file, binary ? CDxfStream::kBinary : CDxfStream::kAscii,
                       CDxfStream::kRelease12);
    int16_t code = 0;
    char value[CDxfStream::kValueSize] = {};
    stream.ReadGroup(&code, value);
    EXPECT_GE(code, 1000);
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, binary);
    collector.Collect(stream, code, value);
    out.block = collector.Bytes();
    out.code = code;
    out.value = value;
    out.at_end = stream.AtEnd();
    if (!out.at_end && stream.ReadGroup(&code, value)) {
        out.next_code = code;
        out.next_value = value;
    }
    file.Close();
    return out;
}

Collected CollectAscii(const DxfGroups &groups, const char *name) {
    TempFile file(name, groups.AsciiText());
    return CollectFrom(file.path(), false);
}

Collected CollectBinary(const DxfGroups &groups, const char *name) {
    TempFile file(name, groups.BinaryBytes());
    return CollectFrom(file.path(), true);
}

// Little-endian bytes of a double, for expected blocks.
Bytes Le(double d) {
    uint64_t raw;
    std::memcpy(&raw, &d, sizeof raw);
    Bytes b;
    for (int i = 0; i < 8; ++i)
        b.push_back(static_cast<uint8_t>(raw >> (8 * i)));
    return b;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

// One sample of every stored kind, followed by a LINE's group 0.
DxfGroups EveryKind() {
    DxfGroups g;
    g.Text(1001, "ACAD")
        .Text(1000, "Hi")
        .Text(1002, "{")
        .Text(1003, "WALLS")
        .Chunk(1004, {0x0A, 0xFF, 0x10})
        .Text(1005, "1A2B")
        .Real(1010, 1.5, "1.5")
        .Real(1020, 2.0, "2.0")
        .Real(1030, -0.5, "-0.5")
        .Real(1040, 0.25, "0.25")
        .Short(1070, -2)
        .Long(1071, 123)
        .Text(1002, "}")
        .Text(0, "LINE");
    return g;
}

Bytes EveryKindBytes() {
    return Cat({{0x01, 0x00, 0x00},
                {0x00, 0x02, 'H', 'i'},
                {0x02, 0x00},
                {0x03, 0x03, 0x00},
                {0x04, 0x03, 0x0A, 0xFF, 0x10},
                {0x05, 0, 0, 0, 0, 0, 0, 0x1A, 0x2B},
                {0x0A},
                Le(1.5),
                Le(2.0),
                Le(-0.5),
                {0x28},
                Le(0.25),
                {0x46, 0xFE, 0xFF},
                {0x47, 0x7B, 0x00, 0x00, 0x00},
                {0x02, 0x01}});
}

} // namespace

// ---- The stored form of each code ----------------------------------------------------------

TEST(DxfEed, StringStoresLengthAndCharacters) {
    EXPECT_EQ(AddOne(1000, "Hi"), (Bytes{0x00, 0x02, 'H', 'i'}));
}

TEST(DxfEed, EmptyStringStoresLengthZero) {
    EXPECT_EQ(AddOne(1000, ""), (Bytes{0x00, 0x00}));
}

TEST(DxfEed, StringLongerThan255BytesIsCutTo255) {
    const std::string text(300, 'x');
    const Bytes b = AddOne(1000, text.c_str());
    ASSERT_EQ(b.size(), 257u);
    EXPECT_EQ(b[0], 0x00);
    EXPECT_EQ(b[1], 255);
    EXPECT_EQ(b[256], 'x');
}

TEST(DxfEed, ApplicationNameStoresItsTableIndex) {
    EXPECT_EQ(AddOne(1001, "ACAD"), (Bytes{0x01, 0x00, 0x00}));
    EXPECT_EQ(AddOne(1001, "myapp"), (Bytes{0x01, 0x01, 0x00}));
}

TEST(DxfEed, UnknownApplicationStoresMinusOne) {
    EXPECT_EQ(AddOne(1001, "NOSUCHAPP"), (Bytes{0x01, 0xFF, 0xFF}));
}

TEST(DxfEed, MissingLookupGivesMinusOne) {
    const DxfEedLookup none;
    CDxfEedCollector collector(none, false);
    collector.Add(1001, "ACAD");
    collector.Add(1003, "WALLS");
    EXPECT_EQ(collector.Bytes(), (Bytes{0x01, 0xFF, 0xFF, 0x03, 0xFF, 0xFF}));
}

TEST(DxfEed, OpeningBraceStoresZeroClosingBraceOne) {
    EXPECT_EQ(AddOne(1002, "{"), (Bytes{0x02, 0x00}));
    EXPECT_EQ(AddOne(1002, "}"), (Bytes{0x02, 0x01}));
}

TEST(DxfEed, BraceComparisonFoldsLettersOnly) {
    // "{" has no case; a fold of letters leaves "[" (which differs from "{" only in the
    // bit that separates cases) a closing value.
    EXPECT_EQ(AddOne(1002, "["), (Bytes{0x02, 0x01}));
    EXPECT_EQ(AddOne(1002, ""), (Bytes{0x02, 0x01}));
    EXPECT_EQ(AddOne(1002, "{{"), (Bytes{0x02, 0x01}));
    EXPECT_EQ(AddOne(1002, " {"), (Bytes{0x02, 0x01}));
}

TEST(DxfEed, LayerNameStoresItsTableIndex) {
    EXPECT_EQ(AddOne(1003, "walls"), (Bytes{0x03, 0x03, 0x00}));
    EXPECT_EQ(AddOne(1003, "NOWHERE"), (Bytes{0x03, 0xFF, 0xFF}));
}

TEST(DxfEed, AsciiBinaryChunkIsHexadecimalText) {
    EXPECT_EQ(AddOne(1004, "0AFF10"), (Bytes{0x04, 0x03, 0x0A, 0xFF, 0x10}));
    EXPECT_EQ(AddOne(1004, "0aff10"), (Bytes{0x04, 0x03, 0x0A, 0xFF, 0x10}));
    EXPECT_EQ(AddOne(1004, ""), (Bytes{0x04, 0x00}));
}

TEST(DxfEed, AsciiBinaryChunkDropsALastSingleDigit) {
    EXPECT_EQ(AddOne(1004, "0AF"), (Bytes{0x04, 0x01, 0x0A}));
}

TEST(DxfEed, AsciiBinaryChunkStopsAtANonHexCharacter) {
    EXPECT_EQ(AddOne(1004, "0A1GFF"), (Bytes{0x04, 0x01, 0x0A}));
    EXPECT_EQ(AddOne(1004, "0A 1B"), (Bytes{0x04, 0x01, 0x0A}));
    EXPECT_EQ(AddOne(1004, "xx"), (Bytes{0x04, 0x00}));
}

TEST(DxfEed, AsciiBinaryChunkHoldsAtMost255Bytes) {
    const std::string hex(510, 'A');
    Bytes b = AddOne(1004, hex.c_str());
    ASSERT_EQ(b.size(), 257u);
    EXPECT_EQ(b[1], 255);
    // A longer text from a caller's own buffer is cut too.
    const std::string longer = std::string(508, 'B') + "CCDD";
    b = AddOne(1004, longer.c_str());
    ASSERT_EQ(b.size(), 257u);
    EXPECT_EQ(b[255], 0xBB);
    EXPECT_EQ(b[256], 0xCC);
}

TEST(DxfEed, BinaryChunkValueBeginsWithItsLength) {
    const char value[] = {3, 'A', 'B', 'C', 0};
    EXPECT_EQ(AddOne(1004, value, true), (Bytes{0x04, 0x03, 'A', 'B', 'C'}));
}

TEST(DxfEed, BinaryChunkShorterThanStatedKeepsWhatArrived) {
    const char value[] = {5, 'A', 'B', 0};
    EXPECT_EQ(AddOne(1004, value, true), (Bytes{0x04, 0x02, 'A', 'B'}));
}

TEST(DxfEed, BinaryChunkLongerThanStatedKeepsTheStatedLength) {
    const char value[] = {1, 'A', 'B', 0};
    EXPECT_EQ(AddOne(1004, value, true), (Bytes{0x04, 0x01, 'A'}));
}

TEST(DxfEed, EmptyBinaryChunkStoresLengthZero) {
    EXPECT_EQ(AddOne(1004, "", true), (Bytes{0x04, 0x00}));
}

TEST(DxfEed, HandleIsBigEndianRightAligned) {
    EXPECT_EQ(AddOne(1005, "1A2B"), (Bytes{0x05, 0, 0, 0, 0, 0, 0, 0x1A, 0x2B}));
    EXPECT_EQ(AddOne(1005, "abc"), (Bytes{0x05, 0, 0, 0, 0, 0, 0, 0x0A, 0xBC}));
    EXPECT_EQ(AddOne(1005, "0123456789ABCDEF"),
              (Bytes{0x05, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST(DxfEed, HandleLongerThan16DigitsKeepsTheLast16) {
    EXPECT_EQ(AddOne(1005, "FF0123456789ABCDEF"),
              (Bytes{0x05, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST(DxfEed, HandleStopsAtANonHexCharacter) {
    EXPECT_EQ(AddOne(1005, "12G4"), (Bytes{0x05, 0, 0, 0, 0, 0, 0, 0, 0x12}));
    EXPECT_EQ(AddOne(1005, "zz"), (Bytes{0x05, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(AddOne(1005, ""), (Bytes{0x05, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(DxfEed, EveryPointCodeStoresThreeDoubles) {
    for (int16_t code = 1010; code <= 1013; ++code) {
        const DxfEedLookup lookup = TestLookup();
        CDxfEedCollector collector(lookup, false);
        collector.Add(code, "1.5");
        collector.Add(static_cast<int16_t>(code + 10), "2");
        collector.Add(static_cast<int16_t>(code + 20), "-0.5");
        EXPECT_EQ(collector.Bytes(),
                  Cat({{static_cast<uint8_t>(code - 1000)}, Le(1.5), Le(2.0), Le(-0.5)}))
            << code;
    }
}

TEST(DxfEed, PointContinuationHasNoCodeByte) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1010, "1.5");
    EXPECT_EQ(collector.Bytes().size(), 25u);
    collector.Add(1020, "2.0");
    collector.Add(1030, "-0.5");
    EXPECT_EQ(collector.Bytes().size(), 25u);
    EXPECT_EQ(collector.Bytes(), Cat({{0x0A}, Le(1.5), Le(2.0), Le(-0.5)}));
}

TEST(DxfEed, PointWithoutZKeepsZeroZ) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1011, "1.5");
    collector.Add(1021, "2.0");
    collector.Add(1070, "7");
    EXPECT_EQ(collector.Bytes(), Cat({{0x0B}, Le(1.5), Le(2.0), Le(0.0), {0x46, 0x07, 0x00}}));
}

TEST(DxfEed, PointCoordinatesFillTheirPlaceInAnyOrder) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1012, "1.5");
    collector.Add(1032, "-0.5");
    collector.Add(1022, "2.0");
    EXPECT_EQ(collector.Bytes(), Cat({{0x0C}, Le(1.5), Le(2.0), Le(-0.5)}));
}

TEST(DxfEed, CoordinateWithoutAnOpenPointIsDropped) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1020, "2.0");
    collector.Add(1030, "3.0");
    EXPECT_TRUE(collector.Bytes().empty());
    collector.Add(1010, "1.0");
    collector.Add(1000, "a");
    collector.Add(1020, "2.0"); // the string closed the point
    EXPECT_EQ(collector.Bytes(), Cat({{0x0A}, Le(1.0), Le(0.0), Le(0.0), {0x00, 0x01, 'a'}}));
}

TEST(DxfEed, RealCodesStoreOneDouble) {
    EXPECT_EQ(AddOne(1040, "0.25"), Cat({{0x28}, Le(0.25)}));
    EXPECT_EQ(AddOne(1041, "10"), Cat({{0x29}, Le(10.0)}));
    EXPECT_EQ(AddOne(1042, "-3.0"), Cat({{0x2A}, Le(-3.0)}));
}

TEST(DxfEed, ShortIntegerStoresTwoBytes) {
    EXPECT_EQ(AddOne(1070, "-2"), (Bytes{0x46, 0xFE, 0xFF}));
    EXPECT_EQ(AddOne(1070, "  300"), (Bytes{0x46, 0x2C, 0x01}));
}

TEST(DxfEed, ShortIntegerOutOfRangeKeepsItsLow16Bits) {
    EXPECT_EQ(AddOne(1070, "70000"), (Bytes{0x46, 0x70, 0x11}));
}

TEST(DxfEed, LongInteger123StoresFourBytes) {
    const Bytes b = AddOne(1071, "123");
    ASSERT_EQ(b.size(), 5u);
    EXPECT_EQ(b, (Bytes{0x47, 0x7B, 0x00, 0x00, 0x00}));
    EXPECT_EQ(AddOne(1071, "-1"), (Bytes{0x47, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(DxfEed, Code1014AndItsCoordinatesAreDropped) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1014, "1.0");
    collector.Add(1024, "2.0");
    collector.Add(1034, "3.0");
    EXPECT_TRUE(collector.Bytes().empty());
}

TEST(DxfEed, CodesOutsideTheTableAreDropped) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    for (int16_t code :
         {1006, 1009, 1015, 1019, 1024, 1035, 1039, 1043, 1060, 1069, 1072, 1100, 2000, 32000}) {
        collector.Add(code, "5");
    }
    EXPECT_TRUE(collector.Bytes().empty());
    collector.Add(999, "5");
    collector.Add(0, "LINE");
    EXPECT_TRUE(collector.Bytes().empty());
}

TEST(DxfEed, DroppedCodeLeavesAnOpenPointOpen) {
    // A dropped group is read past as if it were not there.
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    collector.Add(1010, "1.0");
    collector.Add(1014, "9.0");
    collector.Add(1060, "9");
    collector.Add(1020, "2.0");
    EXPECT_EQ(collector.Bytes(), Cat({{0x0A}, Le(1.0), Le(2.0), Le(0.0)}));
}

// ---- The 16-bit block length -----------------------------------------------------------------

TEST(DxfEed, BlockStopsGrowingBefore65536Bytes) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    const std::string text(255, 'q');
    // 255 strings of 257 bytes fill 65535 bytes exactly.
    for (int i = 0; i < 255; ++i)
        collector.Add(1000, text.c_str());
    EXPECT_EQ(collector.Bytes().size(), 65535u);
    collector.Add(1002, "{");
    collector.Add(1070, "1");
    EXPECT_EQ(collector.Bytes().size(), 65535u);
}

TEST(DxfEed, RefusedItemEndsTheBlock) {
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    const std::string text(255, 'q');
    for (int i = 0; i < 254; ++i)
        collector.Add(1000, text.c_str()); // 65278 bytes
    collector.Add(1000, text.c_str());     // 65535: still fits
    collector.Add(1001, "ACAD");           // would pass it: refused
    collector.Add(1000, "");               // 2 bytes would not fit either
    const Bytes &b = collector.Bytes();
    EXPECT_EQ(b.size(), 65535u);

    CDxfEedCollector second(lookup, false);
    for (int i = 0; i < 254; ++i)
        second.Add(1000, text.c_str()); // 65278 bytes
    second.Add(1010, "1");              // 65303
    for (int i = 0; i < 30; ++i)
        second.Add(1040, "2"); // 9 bytes each: 25 fit (65528), the 26th is refused
    second.Add(1070, "3");     // 3 bytes would fit, but the block is closed
    EXPECT_EQ(second.Bytes().size(), 65528u);
    EXPECT_EQ(second.Bytes().back(), Le(2.0).back());
}

// ---- Collecting from a stream ------------------------------------------------------------------

TEST(DxfEedCollect, EveryKindFromAsciiGivesHandComputedBytes) {
    const Collected c = CollectAscii(EveryKind(), "eed_every.dxf");
    EXPECT_EQ(c.block, EveryKindBytes());
    EXPECT_EQ(c.code, 0);
    EXPECT_EQ(c.value, "LINE");
}

TEST(DxfEedCollect, EveryKindFromBinaryGivesHandComputedBytes) {
    const Collected c = CollectBinary(EveryKind(), "eed_every_bin.dxf");
    EXPECT_EQ(c.block, EveryKindBytes());
    EXPECT_EQ(c.code, 0);
    EXPECT_EQ(c.value, "LINE");
}

TEST(DxfEedCollect, AsciiAndBinaryGiveEqualBytes) {
    DxfGroups g;
    g.Text(1001, "MYAPP")
        .Text(1002, "{")
        .Text(1000, "some text with spaces")
        .Real(1011, 100.0, "100.0")
        .Real(1021, 0.75, "0.75")
        .Real(1031, 3.0, "3.0")
        .Real(1041, -4.0, "-4.0")
        .Short(1070, 32767)
        .Short(1070, -32768)
        .Long(1071, -123456789)
        .Chunk(1004, {0x01, 0x02, 0xFE})
        .Text(1005, "ffff")
        .Text(1003, "0")
        .Text(1002, "}")
        .Text(1001, "nosuch")
        .Real(1014, 1.0, "1.0")
        .Real(1024, 1.0, "1.0")
        .Real(1034, 1.0, "1.0")
        .Real(1042, 2.0, "2.0")
        .Text(0, "ENDSEC");
    const Collected a = CollectAscii(g, "eed_same.dxf");
    const Collected b = CollectBinary(g, "eed_same_bin.dxf");
    EXPECT_FALSE(a.block.empty());
    EXPECT_EQ(a.block, b.block);
    EXPECT_EQ(a.code, b.code);
    EXPECT_EQ(a.value, b.value);
}

TEST(DxfEedCollect, GroupBelow1000EndsCollectionAndIsHandedBack) {
    DxfGroups g;
    g.Text(1001, "ACAD").Short(1070, 5).Text(8, "LAYER1").Real(10, 2.5, "2.5").Text(0, "EOF");
    for (bool binary : {false, true}) {
        const Collected c =
            binary ? CollectBinary(g, "eed_below_bin.dxf") : CollectAscii(g, "eed_below.dxf");
        EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x46, 0x05, 0x00})) << binary;
        EXPECT_EQ(c.code, 8) << binary;
        EXPECT_EQ(c.value, "LAYER1") << binary;
        // Nothing was read beyond the handed-back group.
        EXPECT_EQ(c.next_code, 10) << binary;
        EXPECT_EQ(c.next_value, "2.5") << binary;
    }
}

TEST(DxfEedCollect, Group999EndsCollection) {
    DxfGroups g;
    g.Text(1000, "x").Text(999, "comment").Text(0, "EOF");
    const Collected c = CollectAscii(g, "eed_999.dxf");
    EXPECT_EQ(c.block, (Bytes{0x00, 0x01, 'x'}));
    EXPECT_EQ(c.code, 999);
    EXPECT_EQ(c.value, "comment");
}

TEST(DxfEedCollect, DataAtTheEndOfAnEntityHandsBackTheNextEntityName) {
    DxfGroups g;
    g.Text(1001, "ACAD").Text(1000, "last").Text(0, "CIRCLE").Text(8, "0").Text(0, "EOF");
    for (bool binary : {false, true}) {
        const Collected c =
            binary ? CollectBinary(g, "eed_next_bin.dxf") : CollectAscii(g, "eed_next.dxf");
        EXPECT_EQ(c.code, 0) << binary;
        EXPECT_EQ(c.value, "CIRCLE") << binary;
        EXPECT_EQ(c.next_code, 8) << binary;
        EXPECT_EQ(c.next_value, "0") << binary;
    }
}

TEST(DxfEedCollect, DroppedGroupsAreReadPast) {
    DxfGroups g;
    g.Text(1001, "ACAD")
        .Real(1014, 1.0, "1.0")
        .Real(1024, 2.0, "2.0")
        .Real(1034, 3.0, "3.0")
        .Long(1071, 123)
        .Text(0, "LINE");
    for (bool binary : {false, true}) {
        const Collected c =
            binary ? CollectBinary(g, "eed_drop_bin.dxf") : CollectAscii(g, "eed_drop.dxf");
        EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x47, 0x7B, 0x00, 0x00, 0x00})) << binary;
        EXPECT_EQ(c.code, 0) << binary;
        EXPECT_EQ(c.value, "LINE") << binary;
    }
}

TEST(DxfEedCollect, BinaryChunkCutByAZeroByteKeepsWhatArrived) {
    DxfGroups g;
    // 1004 with a stated length of 4 and a zero byte in the data: the stream delivers
    // the two bytes before the zero.
    g.RawBinary({255, 0xEC, 0x03, 4, 'A', 'B', 0, 'C'}).Text(0, "LINE");
    const Collected c = CollectBinary(g, "eed_chunk_cut.dxf");
    EXPECT_EQ(c.block, (Bytes{0x04, 0x02, 'A', 'B'}));
    EXPECT_EQ(c.code, 0);
    EXPECT_EQ(c.value, "LINE");
}

TEST(DxfEedCollect, BinaryChunkOfLengthZeroIsEmpty) {
    DxfGroups g;
    g.Chunk(1004, {}).Text(0, "LINE");
    const Collected c = CollectBinary(g, "eed_chunk_empty.dxf");
    EXPECT_EQ(c.block, (Bytes{0x04, 0x00}));
    EXPECT_EQ(c.value, "LINE");
}

TEST(DxfEedCollect, AsciiFileEndingInsideTheDataStops) {
    DxfGroups g;
    g.Text(1001, "ACAD").Text(1000, "a").Short(1070, 9);
    // The last line has no line feed, so the 1070 group is never whole.
    std::string text = g.AsciiText();
    text.resize(text.size() - 2);
    TempFile file("eed_cut.dxf", text);
    const Collected c = CollectFrom(file.path(), false);
    EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x00, 0x01, 'a'}));
    EXPECT_TRUE(c.at_end);
}

TEST(DxfEedCollect, AsciiFileEndingAfterTheDataStops) {
    DxfGroups g;
    g.Text(1001, "ACAD").Text(1000, "a").Short(1070, 9);
    const Collected c = CollectAscii(g, "eed_end.dxf");
    EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x00, 0x01, 'a', 0x46, 0x09, 0x00}));
    EXPECT_TRUE(c.at_end);
}

TEST(DxfEedCollect, BinaryFileEndingInsideTheDataStops) {
    DxfGroups g;
    g.Text(1001, "ACAD").Text(1000, "a").RawBinary({255, 0x2E, 0x04, 0x09});
    const Collected c = CollectBinary(g, "eed_cut_bin.dxf");
    EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x00, 0x01, 'a'}));
    EXPECT_TRUE(c.at_end);
}

TEST(DxfEedCollect, BinaryFileEndingAfterTheDataStops) {
    DxfGroups g;
    g.Text(1001, "ACAD").Text(1000, "a");
    const Collected c = CollectBinary(g, "eed_end_bin.dxf");
    EXPECT_EQ(c.block, (Bytes{0x01, 0x00, 0x00, 0x00, 0x01, 'a'}));
    EXPECT_TRUE(c.at_end);
}

TEST(DxfEedCollect, GroupBelow1000GivenAtTheStartIsLeftAlone) {
    DxfGroups g;
    g.Text(1000, "x").Text(0, "EOF");
    TempFile file("eed_start.dxf", g.AsciiText());
    CDrawingFile input;
    ASSERT_EQ(input.Open(file.c_str(), CDB_OPEN_READ), 1);
    CDxfStream stream;
    stream.AttachInput(&input, CDxfStream::kAscii, CDxfStream::kRelease12);
    const DxfEedLookup lookup = TestLookup();
    CDxfEedCollector collector(lookup, false);
    int16_t code = 8;
    char value[CDxfStream::kValueSize] = "LAYER";
    collector.Collect(stream, code, value);
    EXPECT_TRUE(collector.Bytes().empty());
    EXPECT_EQ(code, 8);
    EXPECT_STREQ(value, "LAYER");
    // Nothing was read: the stream still starts at the 1000 group.
    ASSERT_EQ(stream.ReadGroup(&code, value), 1);
    EXPECT_EQ(code, 1000);
    input.Close();
}

TEST(DxfEedCollect, LongAsciiStringIsCutTo255) {
    DxfGroups g;
    g.Text(1000, std::string(400, 'w')).Text(0, "LINE");
    const Collected c = CollectAscii(g, "eed_long.dxf");
    ASSERT_EQ(c.block.size(), 257u);
    EXPECT_EQ(c.block[1], 255);
    EXPECT_EQ(c.value, "LINE");
}

// ---- Read back through the cursor ------------------------------------------------------------

TEST(DxfEedCollect, CursorGivesTheCollectedValuesBack) {
    for (bool binary : {false, true}) {
        const Collected c = binary ? CollectBinary(EveryKind(), "eed_cursor_bin.dxf")
                                   : CollectAscii(EveryKind(), "eed_cursor.dxf");
        Bytes block = c.block;
        CDB_EED_type cursor;
        cursor.data = block.data();
        cursor.size = static_cast<uint16_t>(block.size());
        cursor.position = 0;
        CDB_EED_VALUES v;

        EXPECT_EQ(EedFirstAppid(&cursor), 0) << binary;

        ASSERT_EQ(EedFirstValue(&cursor, &v), 1) << binary;
        EXPECT_EQ(+v.short_value, 0);
        ASSERT_EQ(EedNextValue(&cursor, &v), 0);
        EXPECT_STREQ(v.text, "Hi");
        ASSERT_EQ(EedNextValue(&cursor, &v), 2);
        EXPECT_EQ(+v.short_value, 0);
        ASSERT_EQ(EedNextValue(&cursor, &v), 3);
        EXPECT_EQ(+v.short_value, 3);
        ASSERT_EQ(EedNextValue(&cursor, &v), 4);
        EXPECT_EQ(static_cast<uint8_t>(v.text[0]), 0x0A);
        EXPECT_EQ(static_cast<uint8_t>(v.text[1]), 0xFF);
        EXPECT_EQ(static_cast<uint8_t>(v.text[2]), 0x10);
        ASSERT_EQ(EedNextValue(&cursor, &v), 5);
        EXPECT_STREQ(v.text, "1A2B");
        ASSERT_EQ(EedNextValue(&cursor, &v), 10);
        const CDB_POINT3 p = v.point_value;
        EXPECT_EQ(+p.x, 1.5);
        EXPECT_EQ(+p.y, 2.0);
        EXPECT_EQ(+p.z, -0.5);
        ASSERT_EQ(EedNextValue(&cursor, &v), 40);
        EXPECT_EQ(+v.real_value, 0.25);
        ASSERT_EQ(EedNextValue(&cursor, &v), 70);
        EXPECT_EQ(+v.short_value, -2);
        ASSERT_EQ(EedNextValue(&cursor, &v), 71);
        EXPECT_EQ(+v.long_value, 123);
        ASSERT_EQ(EedNextValue(&cursor, &v), 2);
        EXPECT_EQ(+v.short_value, 1);
        EXPECT_EQ(EedNextValue(&cursor, &v), CDB_EED_END);
    }
}

TEST(DxfEedCollect, CursorFindsEachApplicationSection) {
    DxfGroups g;
    g.Text(1001, "ACAD")
        .Short(1070, 1)
        .Text(1001, "MYAPP")
        .Real(1010, 1.0, "1.0")
        .Real(1020, 2.0, "2.0")
        .Text(1001, "unknown")
        .Text(1000, "z")
        .Text(0, "LINE");
    const Collected c = CollectAscii(g, "eed_apps.dxf");
    Bytes block = c.block;
    CDB_EED_type cursor;
    cursor.data = block.data();
    cursor.size = static_cast<uint16_t>(block.size());
    cursor.position = 0;
    EXPECT_EQ(EedFirstAppid(&cursor), 0);
    EXPECT_EQ(EedNextAppid(&cursor), 1);
    CDB_EED_VALUES v;
    ASSERT_EQ(EedNextValue(&cursor, &v), 10);
    const CDB_POINT3 p = v.point_value;
    EXPECT_EQ(+p.x, 1.0);
    EXPECT_EQ(+p.y, 2.0);
    EXPECT_EQ(+p.z, 0.0);
    EXPECT_EQ(EedNextAppid(&cursor), -1);
    EXPECT_EQ(EedNextValue(&cursor, &v), 0);
    EXPECT_STREQ(v.text, "z");
}
