// The group-code stream: ASCII and binary reading, the typed header reads, and writing.
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "interface/test_files.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using velko_test::TempFile;

namespace {

using Bytes = std::vector<uint8_t>;

// A file of the given bytes, open for reading through a stream.
struct Reader {
    Reader(const std::string &name, const Bytes &bytes, CDxfStream::Form form,
           CDxfStream::Release release = CDxfStream::kRelease12)
        : file(name, bytes) {
        EXPECT_EQ(input.Open(file.c_str(), CDB_OPEN_READ), 1);
        stream.AttachInput(&input, form, release);
    }
    Reader(const std::string &name, const std::string &text)
        : Reader(name, Bytes(text.begin(), text.end()), CDxfStream::kAscii) {}

    // Reads one group; `code` and `value` keep their content across failed reads.
    int Next() { return stream.ReadGroup(&code, value); }

    TempFile file;
    CDrawingFile input;
    CDxfStream stream;
    int16_t code = -99;
    char value[CDxfStream::kValueSize] = {};
};

// Builds binary group bytes.
struct BinaryBuilder {
    Bytes bytes;
    BinaryBuilder &Code8(uint8_t c) {
        bytes.push_back(c);
        return *this;
    }
    BinaryBuilder &Code16(uint16_t c) {
        bytes.push_back(static_cast<uint8_t>(c));
        bytes.push_back(static_cast<uint8_t>(c >> 8));
        return *this;
    }
    BinaryBuilder &Text(const std::string &s) {
        bytes.insert(bytes.end(), s.begin(), s.end());
        bytes.push_back(0);
        return *this;
    }
    BinaryBuilder &Real(double v) {
        uint8_t raw[8];
        std::memcpy(raw, &v, 8);
        bytes.insert(bytes.end(), raw, raw + 8);
        return *this;
    }
    BinaryBuilder &Int16(int16_t v) { return Code16(static_cast<uint16_t>(v)); }
    BinaryBuilder &Int32(int32_t v) {
        Code16(static_cast<uint16_t>(v));
        return Code16(static_cast<uint16_t>(static_cast<uint32_t>(v) >> 16));
    }
    BinaryBuilder &Raw(std::initializer_list<uint8_t> list) {
        bytes.insert(bytes.end(), list);
        return *this;
    }
};

Bytes ReadAll(const std::string &path) {
    Bytes bytes;
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f)
        return bytes;
    int c;
    while ((c = std::fgetc(f)) != EOF)
        bytes.push_back(static_cast<uint8_t>(c));
    std::fclose(f);
    return bytes;
}

std::string AsText(const Bytes &bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// A stream writing into a new file; Finish() closes it and returns the bytes.
struct Writer {
    Writer(const std::string &name, int32_t binary) : file(name) {
        EXPECT_EQ(output.Open(file.c_str(), CDB_OPEN_CREATE), 1);
        stream.AttachOutput(&output, binary);
    }
    Bytes Finish() {
        output.Flush();
        output.Close();
        return ReadAll(file.path());
    }
    TempFile file;
    CDrawingFile output;
    CDxfStream stream;
};

std::string FormatReal(double v) {
    CDxfStream stream;
    char out[32];
    int16_t length = stream.FormatReal(v, out);
    EXPECT_EQ(static_cast<size_t>(length), std::strlen(out) + 1);
    return out;
}

std::string FormatInt16(int16_t v) {
    CDxfStream stream;
    char out[32];
    int16_t length = stream.FormatInt16(v, out);
    EXPECT_EQ(static_cast<size_t>(length), std::strlen(out) + 1);
    return out;
}

} // namespace

// ---- ASCII reading ------------------------------------------------------------------------

TEST(DxfStreamAscii, ReadsGroupsOfCodeAndValue) {
    Reader r("groups.dxf", "  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1009\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 0);
    EXPECT_STREQ(r.value, "SECTION");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 2);
    EXPECT_STREQ(r.value, "HEADER");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 9);
    EXPECT_STREQ(r.value, "$ACADVER");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1);
    EXPECT_STREQ(r.value, "AC1009");
    EXPECT_FALSE(r.stream.AtEnd());
    EXPECT_EQ(r.Next(), 0);
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamAscii, OneByteValueLineGivesAnEmptyValue) {
    Reader r("empty.dxf", "  1\n\n  8\nLAYER\n");
    std::memset(r.value, 'x', sizeof r.value);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(r.value[i], 0) << i;
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
    EXPECT_STREQ(r.value, "LAYER");
}

TEST(DxfStreamAscii, CarriageReturnLineEndsReadLikeLineFeeds) {
    const std::string lf = "  0\nLINE\n  8\n0\n 10\n1.5\n  0\nEOF\n";
    std::string crlf;
    for (char c : lf) {
        if (c == '\n')
            crlf += '\r';
        crlf += c;
    }
    Reader a("lf.dxf", lf);
    Reader b("crlf.dxf", crlf);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(a.Next(), 1);
        ASSERT_EQ(b.Next(), 1);
        EXPECT_EQ(a.code, b.code);
        EXPECT_STREQ(a.value, b.value);
    }
    EXPECT_STREQ(b.value, "EOF");
    EXPECT_EQ(a.Next(), 0);
    EXPECT_EQ(b.Next(), 0);
}

TEST(DxfStreamAscii, CarriageReturnInsideAValueIsLost) {
    Reader r("cr.dxf", "  1\nAB\rCD\r\r\n 7\r0\r\nX\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "ABCD");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 70);
    EXPECT_STREQ(r.value, "X");
}

TEST(DxfStreamAscii, CodeLineIsReadAsAtoiReadsIt) {
    Reader r("codes.dxf", "abc\nV1\n  70\nV2\n70xyz\nV3\n-5\nV4\n\nV5\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 0);
    EXPECT_STREQ(r.value, "V1");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 70);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 70);
    EXPECT_STREQ(r.value, "V3");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, -5);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 0);
    EXPECT_STREQ(r.value, "V5");
}

TEST(DxfStreamAscii, LastLineWithoutLineFeedIsNotDelivered) {
    Reader r("nolf.dxf", "  2\nHEADER\n  0\nEOF");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.Next(), 0);
    EXPECT_EQ(r.code, 2) << "code and value keep what they held";
    EXPECT_STREQ(r.value, "HEADER");
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamAscii, CodeLineAtTheEndIsNotAGroup) {
    Reader r("codeonly.dxf", "  2\nHEADER\n  0\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.Next(), 0);
    EXPECT_EQ(r.code, 2);
    EXPECT_STREQ(r.value, "HEADER");
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamAscii, EmptyFileEndsAtOnce) {
    Reader r("nothing.dxf", "");
    EXPECT_EQ(r.Next(), 0);
    EXPECT_TRUE(r.stream.AtEnd());
    EXPECT_EQ(r.code, -99);
}

TEST(DxfStreamAscii, ValueOf510BytesArrivesWhole) {
    std::string v(510, 'a');
    Reader r("v510.dxf", "  1\n" + v + "\n  8\nL\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(std::string(r.value), v);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
    EXPECT_STREQ(r.value, "L");
}

TEST(DxfStreamAscii, ValueOf511BytesSpillsIntoTheNextLineAndShiftsLaterGroups) {
    std::string v(511, 'a');
    Reader r("v511.dxf", "  1\n" + v + "\n  8\nL\n  0\nEOF\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(std::string(r.value), std::string(510, 'a')) << "a real character is cut";
    // What is left of the value line (its line feed) is taken as a code line.
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 0);
    EXPECT_STREQ(r.value, "  8");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 0); // "L"
    EXPECT_STREQ(r.value, "  0");
    EXPECT_EQ(r.Next(), 0); // "EOF" is a code line without a value line
}

TEST(DxfStreamAscii, LongerValueSpillsItsRestAsACodeLine) {
    std::string v = std::string(511, 'b') + "42xyz";
    Reader r("v600.dxf", "  1\n" + v + "\nNEXT\n");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(std::string(r.value), std::string(510, 'b'));
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 42) << "the rest of the value line \"42xyz\" is read as a code";
    EXPECT_STREQ(r.value, "NEXT");
}

TEST(DxfStreamAscii, CarriageReturnsCountAgainstTheLineLimit) {
    std::string v = std::string(300, '\r') + std::string(300, 'c');
    Reader r("crlimit.dxf", "  1\n" + v + "\n");
    ASSERT_EQ(r.Next(), 1);
    // 511 bytes are read: 300 returns dropped, 211 characters, the last of them cut.
    EXPECT_EQ(std::string(r.value), std::string(210, 'c'));
}

TEST(DxfStreamAscii, GroupsSpanningBufferRefillsReadWhole) {
    std::string text;
    std::vector<std::string> values;
    for (int i = 0; text.size() < 70000; ++i) {
        values.push_back("value_" + std::to_string(i) + std::string(i % 37, 'z'));
        text += std::string(" 10") + (i % 2 ? "\r\n" : "\n") + values.back() + "\r\n";
    }
    Reader r("long.dxf", text);
    for (size_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(r.Next(), 1) << i;
        ASSERT_EQ(r.code, 10) << i;
        ASSERT_EQ(std::string(r.value), values[i]) << i;
    }
    EXPECT_EQ(r.Next(), 0);
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamAscii, ZeroByteInsideAValueEndsItsText) {
    std::string text = "  1\nab";
    text += '\0';
    text += "cd\n  8\nL\n";
    Reader r("zero.dxf", text);
    ASSERT_EQ(r.Next(), 1);
    // The line is text up to the zero byte, and its last character is cut as usual.
    EXPECT_STREQ(r.value, "a");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
    EXPECT_STREQ(r.value, "L");
}

namespace {

// One line by single-byte reads: size - 1 bytes at most, carriage returns counted and
// dropped, a line feed kept and ending the line; fails at the end of the file.
bool ReferenceLine(CDrawingFile &file, char *buffer, int size) {
    int stored = 0;
    for (int read = 0; read < size - 1; ++read) {
        char c;
        int32_t before = file.GetPosition();
        if (!file.Read(&c, 1) || file.GetPosition() == before) {
            buffer[stored] = 0;
            return false;
        }
        if (c == '\r')
            continue;
        buffer[stored++] = c;
        if (c == '\n')
            break;
    }
    buffer[stored] = 0;
    return stored > 0;
}

// One group read the plain way, byte by byte: the reference for the stream's scanning.
int ReferenceGroup(CDrawingFile &file, int16_t &code, std::string &value) {
    char line[CDxfStream::kCodeLineSize];
    if (!ReferenceLine(file, line, CDxfStream::kCodeLineSize))
        return 0;
    char text[CDxfStream::kValueSize];
    if (!ReferenceLine(file, text, CDxfStream::kValueSize))
        return 0;
    long number = std::strtol(line, nullptr, 10);
    if (number > INT32_MAX)
        number = INT32_MAX;
    if (number < INT32_MIN)
        number = INT32_MIN;
    code = static_cast<int16_t>(number);
    size_t length = std::strlen(text);
    if (length)
        text[length - 1] = 0;
    value = text;
    return 1;
}

} // namespace

TEST(DxfStreamAscii, MatchesALineByLineReadingOfRandomFiles) {
    const char alphabet[] = {'\r', '\n', '\n', '\n', ' ', ' ', '-', '+',  '1',
                             '7',  '0',  '9',  'a',  'Z', '.', 'e', '\0', '\t'};
    uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (int round = 0; round < 60; ++round) {
        std::string text;
        size_t size = round < 50 ? next() % 3000 : 25000 + next() % 20000;
        while (text.size() < size) {
            uint32_t kind = next() % 10;
            if (kind == 0) // a long run, to reach the line limits
                text += std::string(200 + next() % 400, static_cast<char>('a' + next() % 26));
            else if (kind < 4)
                text += " 10\r\n";
            else
                text += alphabet[next() % sizeof alphabet];
        }
        Reader r("random.dxf", text);
        CDrawingFile reference;
        ASSERT_EQ(reference.Open(r.file.c_str(), CDB_OPEN_READ), 1);
        int16_t expected_code = -99;
        std::string expected_value;
        for (int group = 0;; ++group) {
            int expected = ReferenceGroup(reference, expected_code, expected_value);
            int got = r.Next();
            ASSERT_EQ(got, expected) << round << " " << group;
            if (!got)
                break;
            ASSERT_EQ(r.code, expected_code) << round << " " << group;
            ASSERT_EQ(std::string(r.value), expected_value)
                << round << " " << group << " " << std::strlen(r.value) << " "
                << expected_value.size();
            ASSERT_EQ(r.input.GetPosition(), reference.GetPosition()) << round << " " << group;
        }
        EXPECT_TRUE(r.stream.AtEnd());
    }
}

// ---- Binary reading -----------------------------------------------------------------------

TEST(DxfStreamBinary, Release12ReadsEveryValueType) {
    BinaryBuilder b;
    b.Code8(0).Text("LINE");
    b.Code8(8).Text("0");
    b.Code8(10).Real(0.1);
    b.Code8(62).Int16(-1);
    b.Code8(70).Int16(32767);
    b.Code8(210).Real(-2.5);
    b.Code8(255).Code16(1071).Int32(-100000);
    b.Code8(255).Code16(1070).Int16(12);
    b.Code8(255).Code16(1040).Real(1.0);
    b.Code8(255).Code16(1005).Text("1A");
    b.Code8(255).Code16(1000).Text("str");
    b.Code8(255).Code16(999).Text("comment");
    Reader r("r12.dxb", b.bytes, CDxfStream::kBinary);
    struct {
        int code;
        const char *value;
    } expected[] = {{0, "LINE"},   {8, "0"},      {10, "0.1"},       {62, "-1"},
                    {70, "32767"}, {210, "-2.5"}, {1071, "-100000"}, {1070, "12"},
                    {1040, "1."},  {1005, "1A"},  {1000, "str"},     {999, "comment"}};
    for (const auto &e : expected) {
        ASSERT_EQ(r.Next(), 1);
        EXPECT_EQ(r.code, e.code);
        EXPECT_STREQ(r.value, e.value) << e.code;
    }
    EXPECT_FALSE(r.stream.AtEnd());
}

TEST(DxfStreamBinary, RealReachesTheCallerAtTwelveDigits) {
    BinaryBuilder b;
    b.Code8(10).Real(0.1).Code8(20).Real(0.12345678901234567).Code8(30).Real(1.0 / 3.0);
    b.Code8(40).Real(123456789012345.0).Code8(41).Real(-0.0);
    Reader r("reals.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "0.1");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "0.123456789012") << "digits past the twelfth are lost";
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "0.333333333333");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "1.23456789012e+014");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "-0.");
}

TEST(DxfStreamBinary, Release12Group100LosesAlignment) {
    BinaryBuilder b;
    b.Code8(100).Text("AcDbEntity");
    b.Code8(8).Text("0");
    Reader r("r12_100.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 100);
    EXPECT_STREQ(r.value, "") << "the code is taken, the value bytes are not";
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 'A') << "the value's first byte is read as the next code";
}

TEST(DxfStreamBinary, Release12CodesOutsideItsTableConsumeNothing) {
    for (int code : {59, 60, 90, 105, 140, 170, 280, 310, 330, 1043, 1060}) {
        BinaryBuilder b;
        if (code < 255)
            b.Code8(static_cast<uint8_t>(code));
        else
            b.Code8(255).Code16(static_cast<uint16_t>(code));
        b.Code8(8).Text("LAYER");
        Reader r("r12_none.dxb", b.bytes, CDxfStream::kBinary);
        ASSERT_EQ(r.Next(), 1);
        EXPECT_EQ(r.code, code);
        EXPECT_STREQ(r.value, "");
        ASSERT_EQ(r.Next(), 1);
        EXPECT_EQ(r.code, 8) << code;
        EXPECT_STREQ(r.value, "LAYER");
    }
}

TEST(DxfStreamBinary, EscapeByteIntroducesATwoByteCode) {
    BinaryBuilder b;
    b.Code8(255).Code16(1001).Text("ACAD");
    b.Code8(255).Code16(2).Text("small code escaped");
    Reader r("escape.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1001);
    EXPECT_STREQ(r.value, "ACAD");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 2);
    EXPECT_STREQ(r.value, "small code escaped");
}

TEST(DxfStreamBinary, Release13ReadsTwoByteCodesAndItsOwnTable) {
    BinaryBuilder b;
    b.Code16(0).Text("SECTION");
    b.Code16(90).Int32(-7);
    b.Code16(100).Text("AcDbEntity");
    b.Code16(140).Real(2.5);
    b.Code16(170).Int16(-3);
    b.Code16(271).Int16(4);
    b.Code16(280).Int16(5);
    b.Code16(305).Text("s305");
    b.Code16(330).Text("1F");
    b.Code16(1006).Text("between");
    b.Code16(500).Text("unknown is a string");
    b.Code16(255).Code16(1071).Int32(65536);
    b.Code16(1000).Text("end");
    Reader r("r13.dxb", b.bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    struct {
        int code;
        const char *value;
    } expected[] = {{0, "SECTION"},
                    {90, "-7"},
                    {100, "AcDbEntity"},
                    {140, "2.5"},
                    {170, "-3"},
                    {271, "4"},
                    {280, "5"},
                    {305, "s305"},
                    {330, "1F"},
                    {1006, "between"},
                    {500, "unknown is a string"},
                    {1071, "65536"},
                    {1000, "end"}};
    for (const auto &e : expected) {
        ASSERT_EQ(r.Next(), 1);
        EXPECT_EQ(r.code, e.code);
        EXPECT_STREQ(r.value, e.value) << e.code;
    }
}

TEST(DxfStreamBinary, ChunkIsCutAtItsFirstZeroByteAndConsumedWhole) {
    BinaryBuilder b;
    b.Code8(255).Code16(1004).Raw({4, 7, 0, 9, 9});
    b.Code8(255).Code16(1004).Raw({0});
    b.Code8(255).Code16(1004).Raw({3, 'a', 'b', 'c'});
    b.Code8(8).Text("after");
    Reader r("chunk.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1004);
    EXPECT_EQ(static_cast<uint8_t>(r.value[0]), 4) << "the text begins with the length byte";
    EXPECT_EQ(r.value[1], 7);
    EXPECT_EQ(r.value[2], 0);
    EXPECT_EQ(std::strlen(r.value), 2u);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1004);
    EXPECT_STREQ(r.value, "") << "a chunk of length 0 is empty";
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "\x03"
                          "abc");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
    EXPECT_STREQ(r.value, "after");
}

TEST(DxfStreamBinary, Release13Code310IsAChunk) {
    BinaryBuilder b;
    b.Code16(310).Raw({2, 'h', 'i'});
    b.Code16(8).Text("0");
    Reader r("r13chunk.dxb", b.bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 310);
    EXPECT_STREQ(r.value, "\x02hi");
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
}

TEST(DxfStreamBinary, StringHoldsAtMost299Bytes) {
    BinaryBuilder b;
    b.Code8(1).Text(std::string(299, 's'));
    b.Code8(1).Text(std::string(350, 't'));
    b.Code8(8).Text("next");
    Reader r("longstr.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(std::string(r.value), std::string(299, 's'));
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(std::string(r.value), std::string(299, 't'));
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8) << "the rest of a long string is passed over";
    EXPECT_STREQ(r.value, "next");
}

TEST(DxfStreamBinary, EndOfInputGivesAnEmptyGroupZeroAndAtEnd) {
    BinaryBuilder b;
    b.Code8(0).Text("EOF");
    Reader r("end.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_STREQ(r.value, "EOF");
    EXPECT_FALSE(r.stream.AtEnd());
    r.code = 5;
    std::strcpy(r.value, "old");
    EXPECT_EQ(r.Next(), 1) << "the binary form always answers 1";
    EXPECT_EQ(r.code, 0);
    EXPECT_STREQ(r.value, "");
    EXPECT_TRUE(r.stream.AtEnd());
    EXPECT_EQ(r.Next(), 1);
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamBinary, ValueCutShortByTheEndDeliversWhatItGot) {
    BinaryBuilder b;
    b.Code8(1).Raw({'a', 'b'}); // no terminator
    Reader r("cut.dxb", b.bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1);
    EXPECT_STREQ(r.value, "ab");
    EXPECT_TRUE(r.stream.AtEnd());

    BinaryBuilder c;
    c.Code8(10).Raw({0, 0, 0});
    Reader s("cutreal.dxb", c.bytes, CDxfStream::kBinary);
    ASSERT_EQ(s.Next(), 1);
    EXPECT_EQ(s.code, 10);
    EXPECT_STREQ(s.value, "0.");
    EXPECT_TRUE(s.stream.AtEnd());

    BinaryBuilder d;
    d.Code8(255).Code8(0xE9); // half an escaped code
    Reader t("cutcode.dxb", d.bytes, CDxfStream::kBinary);
    ASSERT_EQ(t.Next(), 1);
    EXPECT_EQ(t.code, 0);
    EXPECT_TRUE(t.stream.AtEnd());

    BinaryBuilder e;
    e.Code8(255).Code16(1004).Raw({200, 1, 2});
    Reader u("cutchunk.dxb", e.bytes, CDxfStream::kBinary);
    ASSERT_EQ(u.Next(), 1);
    EXPECT_EQ(u.code, 1004);
    EXPECT_EQ(static_cast<uint8_t>(u.value[0]), 200);
    EXPECT_EQ(u.value[1], 1);
    EXPECT_EQ(u.value[2], 2);
    EXPECT_EQ(u.value[3], 0);
    EXPECT_TRUE(u.stream.AtEnd());
}

TEST(DxfStreamBinary, StringsAcrossBufferRefillsReadWhole) {
    BinaryBuilder b;
    std::vector<std::string> values;
    for (int i = 0; b.bytes.size() < 70000; ++i) {
        values.push_back("s" + std::to_string(i) + std::string(i % 250, 'q'));
        b.Code8(1).Text(values.back());
        b.Code8(10).Real(i * 0.5);
    }
    Reader r("many.dxb", b.bytes, CDxfStream::kBinary);
    for (size_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(r.Next(), 1);
        ASSERT_EQ(r.code, 1);
        ASSERT_EQ(std::string(r.value), values[i]) << i;
        ASSERT_EQ(r.Next(), 1);
        ASSERT_EQ(r.code, 10);
        ASSERT_EQ(std::strtod(r.value, nullptr), i * 0.5) << i;
    }
    EXPECT_FALSE(r.stream.AtEnd());
    r.Next();
    EXPECT_TRUE(r.stream.AtEnd());
}

TEST(DxfStreamBinary, RandomBytesAreReadToTheEndWithoutHarm) {
    uint32_t seed = 99;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (int round = 0; round < 40; ++round) {
        Bytes bytes(next() % 30000);
        for (uint8_t &b : bytes)
            b = static_cast<uint8_t>(next() % 4 == 0 ? 255 : next());
        CDxfStream::Release release = round % 2 ? CDxfStream::kRelease13 : CDxfStream::kRelease12;
        Reader r("noise.dxb", bytes, CDxfStream::kBinary, release);
        int groups = 0;
        while (!r.stream.AtEnd()) {
            ASSERT_EQ(r.Next(), 1);
            ASSERT_LT(std::strlen(r.value), static_cast<size_t>(CDxfStream::kValueSize));
            ASSERT_LE(++groups, 30001) << "every group consumes at least one byte";
            if (groups % 7 == 0) {
                CDB_POINT3 p;
                r.stream.ReadPoint3(&p);
                r.stream.ReadInt();
                std::free(r.stream.ReadText());
            }
        }
    }
}

// ---- Typed header reads -------------------------------------------------------------------

TEST(DxfStreamHeader, AngbaseUnderCode50ReadsAsZeroFromBinaryAndAsItIsFromAscii) {
    BinaryBuilder b;
    b.Code8(50).Real(90.0);
    b.Code8(40).Real(2.5);
    Reader bin("angbase.dxb", b.bytes, CDxfStream::kBinary);
    EXPECT_EQ(bin.stream.ReadReal(), 0.0);
    EXPECT_EQ(bin.stream.ReadReal(), 2.5) << "the 9 bytes of the first were consumed";

    BinaryBuilder c;
    c.Code16(50).Real(90.0);
    c.Code16(40).Real(2.5);
    Reader bin13("angbase13.dxb", c.bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    EXPECT_EQ(bin13.stream.ReadReal(), 0.0);
    EXPECT_EQ(bin13.stream.ReadReal(), 2.5);

    Reader ascii("angbase.dxf", " 50\n90.0\n 40\n2.5\n");
    EXPECT_EQ(ascii.stream.ReadReal(), 90.0);
    EXPECT_EQ(ascii.stream.ReadReal(), 2.5);
}

TEST(DxfStreamHeader, BinaryRealIsTakenWithoutTheTextDetour) {
    BinaryBuilder b;
    b.Code8(40).Real(0.12345678901234567);
    Reader r("fullreal.dxb", b.bytes, CDxfStream::kBinary);
    EXPECT_EQ(r.stream.ReadReal(), 0.12345678901234567);
}

TEST(DxfStreamHeader, ReadIntReadsFixedRecords) {
    BinaryBuilder b;
    b.Code8(70).Int16(-2).Code8(62).Int16(256);
    Reader r12("int12.dxb", b.bytes, CDxfStream::kBinary);
    EXPECT_EQ(r12.stream.ReadInt(), -2);
    EXPECT_EQ(r12.stream.ReadInt(), 256);

    BinaryBuilder c;
    c.Code16(70).Int16(7).Code16(70).Int16(8);
    Reader r13("int13.dxb", c.bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    EXPECT_EQ(r13.stream.ReadInt(), 7);
    EXPECT_EQ(r13.stream.ReadInt(), 8);

    Reader ascii("int.dxf", " 70\n     3\n 70\n-12\n");
    EXPECT_EQ(ascii.stream.ReadInt(), 3);
    EXPECT_EQ(ascii.stream.ReadInt(), -12);
}

TEST(DxfStreamHeader, PointCoordinateOutsideItsBandStaysZeroAndIsConsumed) {
    Reader ascii("point.dxf", " 10\n1.5\n 40\n2.5\n 30\n3.5\n 10\n4\n 20\n5\n  9\n$NEXT\n");
    CDB_POINT3 p{9, 9, 9};
    ascii.stream.ReadPoint3(&p);
    EXPECT_EQ(p.x, 1.5);
    EXPECT_EQ(p.y, 0.0);
    EXPECT_EQ(p.z, 3.5);
    CDB_POINT2 q{9, 9};
    ascii.stream.ReadPoint2(&q);
    EXPECT_EQ(q.x, 4.0);
    EXPECT_EQ(q.y, 5.0);
    ASSERT_EQ(ascii.Next(), 1);
    EXPECT_STREQ(ascii.value, "$NEXT");

    BinaryBuilder b;
    b.Code8(18).Real(1).Code8(28).Real(2).Code8(39).Real(3);
    b.Code8(20).Real(4).Code8(20).Real(5);
    b.Code8(9).Text("$NEXT");
    Reader r12("point12.dxb", b.bytes, CDxfStream::kBinary);
    r12.stream.ReadPoint3(&p);
    EXPECT_EQ(p.x, 1.0);
    EXPECT_EQ(p.y, 2.0);
    EXPECT_EQ(p.z, 0.0);
    r12.stream.ReadPoint2(&q);
    EXPECT_EQ(q.x, 0.0);
    EXPECT_EQ(q.y, 5.0);
    ASSERT_EQ(r12.Next(), 1);
    EXPECT_STREQ(r12.value, "$NEXT");

    BinaryBuilder c;
    c.Code16(10).Real(1).Code16(20).Real(2).Code16(30).Real(3);
    c.Code16(11).Real(4).Code16(21).Real(5);
    c.Code16(9).Text("$NEXT");
    Reader r13("point13.dxb", c.bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    r13.stream.ReadPoint3(&p);
    EXPECT_EQ(p.x, 1.0);
    EXPECT_EQ(p.y, 2.0);
    EXPECT_EQ(p.z, 3.0);
    r13.stream.ReadPoint2(&q);
    EXPECT_EQ(q.x, 4.0);
    EXPECT_EQ(q.y, 5.0);
    ASSERT_EQ(r13.Next(), 1);
    EXPECT_STREQ(r13.value, "$NEXT");
}

TEST(DxfStreamHeader, ReadTextReturnsANewBlock) {
    BinaryBuilder b;
    b.Code8(1).Text("AC1009").Code8(7).Text("STANDARD");
    Reader r("text.dxb", b.bytes, CDxfStream::kBinary);
    char *first = r.stream.ReadText();
    char *second = r.stream.ReadText();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_STREQ(first, "AC1009");
    EXPECT_STREQ(second, "STANDARD");
    std::free(first);
    std::free(second);

    Reader a("text.dxf", "  1\nAC1009\n");
    char *text = a.stream.ReadText();
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "AC1009");
    std::free(text);
    char *past = a.stream.ReadText();
    ASSERT_NE(past, nullptr);
    EXPECT_STREQ(past, "") << "past the end the block stays empty";
    std::free(past);
}

TEST(DxfStreamHeader, TypedReadsPastTheEndGiveZero) {
    Reader a("typedend.dxf", "");
    EXPECT_EQ(a.stream.ReadInt(), 0);
    EXPECT_EQ(a.stream.ReadReal(), 0.0);
    CDB_POINT3 p{1, 1, 1};
    a.stream.ReadPoint3(&p);
    EXPECT_EQ(p.x, 0.0);
    EXPECT_EQ(p.z, 0.0);
    EXPECT_TRUE(a.stream.AtEnd());

    Reader b("typedend.dxb", Bytes{40}, CDxfStream::kBinary);
    EXPECT_EQ(b.stream.ReadReal(), 0.0);
    EXPECT_TRUE(b.stream.AtEnd());
}

// ---- Formatting ---------------------------------------------------------------------------

TEST(DxfStreamFormat, RealsAtEightDigitsWithTheAddedZero) {
    EXPECT_EQ(FormatReal(100000000.0), "1.e+008");
    EXPECT_EQ(FormatReal(12345678.9), "12345679");
    EXPECT_EQ(FormatReal(0.1), "0.1");
    EXPECT_EQ(FormatReal(0.099), "9.9e-002");
    EXPECT_EQ(FormatReal(1.0), "1.0");
    EXPECT_EQ(FormatReal(0.0), "0.0");
    EXPECT_EQ(FormatReal(0.5), "0.5");
    EXPECT_EQ(FormatReal(0.05), "5.e-002");
    EXPECT_EQ(FormatReal(123456789.0), "1.2345679e+008");
    EXPECT_EQ(FormatReal(-2.5), "-2.5");
    EXPECT_EQ(FormatReal(12.5), "12.5");
    EXPECT_EQ(FormatReal(0.25), "0.25");
}

TEST(DxfStreamFormat, Int16IsPaddedByItsSize) {
    EXPECT_EQ(FormatInt16(10), "    10");
    EXPECT_EQ(FormatInt16(3), "     3");
    EXPECT_EQ(FormatInt16(70), "    70");
    EXPECT_EQ(FormatInt16(256), "    256");
    EXPECT_EQ(FormatInt16(-1), "     -1");
    EXPECT_EQ(FormatInt16(0), "     0");
    EXPECT_EQ(FormatInt16(-32768), "     -32768");
}

TEST(DxfStreamFormat, Int32IsPlainDecimal) {
    CDxfStream stream;
    char out[32];
    EXPECT_EQ(stream.FormatInt32(-123456, out), 8);
    EXPECT_STREQ(out, "-123456");
    EXPECT_EQ(stream.FormatInt32(5, out), 2);
    EXPECT_STREQ(out, "5");
}

TEST(DxfStreamFormat, BinaryFormsAreTheRawBytes) {
    Writer w("rawfmt.dxb", 1);
    char out[32];
    EXPECT_EQ(w.stream.FormatReal(1.5, out), 8);
    double d;
    std::memcpy(&d, out, 8);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(w.stream.FormatInt16(-2, out), 2);
    EXPECT_EQ(static_cast<uint8_t>(out[0]), 0xFE);
    EXPECT_EQ(static_cast<uint8_t>(out[1]), 0xFF);
    EXPECT_EQ(w.stream.FormatInt32(0x01020304, out), 4);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[3], 1);
    w.Finish();
}

// ---- Writing ------------------------------------------------------------------------------

TEST(DxfStreamWrite, AsciiCodeLineBlanksDependOnTheCode) {
    Writer w("codes.dxf", 0);
    const int16_t codes[] = {100, 5, 330, 1001, 0, 10, 210, 1000, 999};
    for (int16_t code : codes) {
        char value[16] = "v";
        ASSERT_EQ(w.stream.WriteGroup(code, value, 2), 1);
        EXPECT_STREQ(value, "v\r\n") << "the line end goes into the caller's buffer";
    }
    EXPECT_EQ(AsText(w.Finish()), "100\r\nv\r\n"
                                  "  5\r\nv\r\n"
                                  " 330\r\nv\r\n"
                                  " 1001\r\nv\r\n"
                                  "  0\r\nv\r\n"
                                  " 10\r\nv\r\n"
                                  " 210\r\nv\r\n"
                                  " 1000\r\nv\r\n"
                                  " 999\r\nv\r\n");
}

TEST(DxfStreamWrite, AsciiTypedWrites) {
    Writer w("typed.dxf", 0);
    const char *layer = "WALLS";
    ASSERT_EQ(w.stream.WriteText(8, layer), 1);
    EXPECT_STREQ(layer, "WALLS");
    ASSERT_EQ(w.stream.WriteText(1, nullptr), 1);
    ASSERT_EQ(w.stream.WriteReal(40, 2.5), 1);
    ASSERT_EQ(w.stream.WriteInt16(70, 1), 1);
    ASSERT_EQ(w.stream.WriteInt32(90, 123456), 1);
    ASSERT_EQ(w.stream.WritePoint3(CDB_POINT3{1, 2.5, 0}, 10), 1);
    ASSERT_EQ(w.stream.WritePoint2(CDB_POINT2{0.1, -3}, 11), 1);
    EXPECT_EQ(AsText(w.Finish()), "  8\r\nWALLS\r\n"
                                  "  1\r\n\r\n"
                                  " 40\r\n2.5\r\n"
                                  " 70\r\n     1\r\n"
                                  " 90\r\n123456\r\n"
                                  " 10\r\n1.0\r\n 20\r\n2.5\r\n 30\r\n0.0\r\n"
                                  " 11\r\n0.1\r\n 21\r\n-3.0\r\n");
}

TEST(DxfStreamWrite, BinaryCodeTakesOneByteBelow1000ElseEscapeAndTwoBytes) {
    Writer w("codes.dxb", 1);
    ASSERT_EQ(w.stream.WriteText(1001, "ACAD"), 1);
    ASSERT_EQ(w.stream.WriteText(8, "0"), 1);
    ASSERT_EQ(w.stream.WriteInt16(70, -2), 1);
    ASSERT_EQ(w.stream.WriteInt32(90, 0x01020304), 1);
    ASSERT_EQ(w.stream.WriteReal(330, 1.0), 1);
    Bytes expected = {0xFF, 0xE9, 0x03, 'A',  'C', 'A', 'D', 0, 8, '0',
                      0,    70,   0xFE, 0xFF, 90,  4,   3,   2, 1, 330 & 0xFF};
    BinaryBuilder real;
    real.Real(1.0);
    expected.insert(expected.end(), real.bytes.begin(), real.bytes.end());
    EXPECT_EQ(w.Finish(), expected);
}

TEST(DxfStreamWrite, BinarySentinelBytes) {
    Writer w("sentinel.dxb", 1);
    ASSERT_EQ(w.stream.WriteBinarySentinel(), 1);
    Bytes expected = {'A', 'u', 't', 'o', 'C', 'A', 'D', ' ', 'B', 'i',  'n',
                      'a', 'r', 'y', ' ', 'D', 'X', 'F', 13,  10,  0x1A, 0};
    EXPECT_EQ(w.Finish(), expected);
}

TEST(DxfStreamWrite, BinaryGroupIsOneRecordOfAtMost400Bytes) {
    Writer w("long.dxb", 1);
    std::string text(500, 'L');
    ASSERT_EQ(w.stream.WriteText(1, text.c_str()), 1);
    ASSERT_EQ(w.stream.WriteText(1000, text.c_str()), 1);
    ASSERT_EQ(w.stream.WriteText(8, "0"), 1);
    Bytes bytes = w.Finish();
    ASSERT_EQ(bytes.size(), 400u + 400u + 3u);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[398], 'L');
    EXPECT_EQ(bytes[399], 0) << "a cut string keeps its terminator";
    EXPECT_EQ(bytes[400], 0xFF);
    EXPECT_EQ(bytes[799], 0);
    EXPECT_EQ(bytes[800], 8);

    // The file stays readable: the cut strings and the next group arrive in order.
    Reader r("long_back.dxb", bytes, CDxfStream::kBinary);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(std::string(r.value), std::string(299, 'L'));
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 1000);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 8);
    EXPECT_STREQ(r.value, "0");
}

TEST(DxfStreamWrite, WithoutAnOutputNothingIsWritten) {
    CDxfStream stream;
    char value[8] = "x";
    EXPECT_EQ(stream.WriteGroup(1, value, 2), 0);
    EXPECT_EQ(stream.WriteText(1, "x"), 0);
    EXPECT_EQ(stream.WriteBinarySentinel(), 0);
}

TEST(DxfStreamWrite, ClosedOutputRefusesTheGroup) {
    Writer w("closed.dxf", 0);
    w.output.Close();
    EXPECT_EQ(w.stream.WriteText(1, "x"), 0);
}

// ---- Round trips --------------------------------------------------------------------------

namespace {

void WriteRun(CDxfStream &s) {
    ASSERT_EQ(s.WriteText(0, "SECTION"), 1);
    ASSERT_EQ(s.WriteText(2, "ENTITIES"), 1);
    ASSERT_EQ(s.WriteText(0, "LINE"), 1);
    ASSERT_EQ(s.WriteText(8, "Layer 1"), 1);
    ASSERT_EQ(s.WriteInt16(62, 5), 1);
    ASSERT_EQ(s.WritePoint3(CDB_POINT3{1.25, -2, 1e10}, 10), 1);
    ASSERT_EQ(s.WritePoint3(CDB_POINT3{0.1, 1.0 / 3.0, 0}, 11), 1);
    ASSERT_EQ(s.WriteText(1001, "ACAD"), 1);
    ASSERT_EQ(s.WriteText(1000, ""), 1);
    ASSERT_EQ(s.WriteInt16(1070, -300), 1);
    ASSERT_EQ(s.WriteInt32(1071, 2000000000), 1);
    ASSERT_EQ(s.WriteReal(1040, 12345678.9), 1);
    ASSERT_EQ(s.WriteText(0, "ENDSEC"), 1);
    ASSERT_EQ(s.WriteText(0, "EOF"), 1);
}

struct Group {
    int code;
    std::string value;
};

std::vector<Group> ReadRun(Reader &r) {
    std::vector<Group> groups;
    while (r.Next() == 1 && !r.stream.AtEnd()) {
        groups.push_back({r.code, r.value});
        if (r.code == 0 && std::string(r.value) == "EOF")
            break;
    }
    return groups;
}

} // namespace

TEST(DxfStreamRoundTrip, AsciiWriteThenRead) {
    Writer w("round.dxf", 0);
    WriteRun(w.stream);
    Bytes bytes = w.Finish();
    Reader r("round_back.dxf", bytes, CDxfStream::kAscii);
    std::vector<Group> groups = ReadRun(r);
    std::vector<Group> expected = {{0, "SECTION"},     {2, "ENTITIES"},     {0, "LINE"},
                                   {8, "Layer 1"},     {62, "     5"},      {10, "1.25"},
                                   {20, "-2.0"},       {30, "1.e+010"},     {11, "0.1"},
                                   {21, "0.33333333"}, {31, "0.0"},         {1001, "ACAD"},
                                   {1000, ""},         {1070, "     -300"}, {1071, "2000000000"},
                                   {1040, "12345679"}, {0, "ENDSEC"},       {0, "EOF"}};
    ASSERT_EQ(groups.size(), expected.size());
    for (size_t i = 0; i < groups.size(); ++i) {
        EXPECT_EQ(groups[i].code, expected[i].code) << i;
        EXPECT_EQ(groups[i].value, expected[i].value) << i;
    }
    EXPECT_EQ(r.Next(), 0);
}

TEST(DxfStreamRoundTrip, BinaryWriteThenReadByTheRelease12Reader) {
    Writer w("round.dxb", 1);
    ASSERT_EQ(w.stream.WriteBinarySentinel(), 1);
    WriteRun(w.stream);
    Bytes bytes = w.Finish();
    Reader r("round_back.dxb", bytes, CDxfStream::kBinary);
    r.input.SetPosition(CDxfStream::kBinarySentinelSize, 0);
    std::vector<Group> groups = ReadRun(r);
    std::vector<Group> expected = {{0, "SECTION"},
                                   {2, "ENTITIES"},
                                   {0, "LINE"},
                                   {8, "Layer 1"},
                                   {62, "5"},
                                   {10, "1.25"},
                                   {20, "-2."},
                                   {30, "10000000000."},
                                   {11, "0.1"},
                                   {21, "0.333333333333"},
                                   {31, "0."},
                                   {1001, "ACAD"},
                                   {1000, ""},
                                   {1070, "-300"},
                                   {1071, "2000000000"},
                                   {1040, "12345678.9"},
                                   {0, "ENDSEC"},
                                   {0, "EOF"}};
    ASSERT_EQ(groups.size(), expected.size());
    for (size_t i = 0; i < groups.size(); ++i) {
        EXPECT_EQ(groups[i].code, expected[i].code) << i;
        EXPECT_EQ(groups[i].value, expected[i].value) << i;
    }
}

TEST(DxfStreamRoundTrip, BinaryFileWrittenHereIsMisreadByTheRelease13Reader) {
    // The writer puts codes below 1000 in one byte for both releases; the release 13
    // reader expects two.
    Writer w("round13.dxb", 1);
    ASSERT_EQ(w.stream.WriteText(0, "SECTION"), 1);
    Bytes bytes = w.Finish();
    Reader r("round13_back.dxb", bytes, CDxfStream::kBinary, CDxfStream::kRelease13);
    ASSERT_EQ(r.Next(), 1);
    EXPECT_EQ(r.code, 'S' << 8);
}

// ---- Bulk access of the file object -------------------------------------------------------

TEST(DxfStreamSpan, SpanAndAdvanceGiveTheBytesThatReadGives) {
    Bytes data(70001);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 131 + i / 977);
    TempFile file("span.bin", data);
    CDrawingFile bulk, single;
    ASSERT_EQ(bulk.Open(file.c_str(), CDB_OPEN_READ), 1);
    ASSERT_EQ(single.Open(file.c_str(), CDB_OPEN_READ), 1);

    Bytes got, expected;
    uint32_t step = 1;
    for (;;) {
        uint32_t available = 0;
        const uint8_t *span = bulk.Span(available);
        if (!available) {
            EXPECT_EQ(bulk.GetPosition(), static_cast<int32_t>(data.size()));
            break;
        }
        ASSERT_NE(span, nullptr);
        ASSERT_LE(static_cast<int32_t>(available), CDrawingFile::kReadCapacity);
        // Take a varying part of the span, sometimes all of it, to cross refills anywhere.
        step = step * 7 + 3;
        uint32_t take = step % 5 == 0 ? available : 1 + step % available;
        got.insert(got.end(), span, span + take);
        bulk.Advance(take);
        // Interleaved single reads on the same object also agree.
        if (step % 11 == 0) {
            uint8_t byte;
            int32_t before = bulk.GetPosition();
            if (bulk.Read(&byte, 1) && bulk.GetPosition() == before + 1)
                got.push_back(byte);
        }
    }
    uint8_t byte;
    while (single.Read(&byte, 1) && expected.size() < data.size() + 1)
        expected.push_back(byte);
    EXPECT_EQ(got, data);
    EXPECT_EQ(expected, data);
}

TEST(DxfStreamSpan, SpanFollowsTheLogicalPosition) {
    Bytes data(30000);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i % 251);
    TempFile file("spanpos.bin", data);
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), CDB_OPEN_READ), 1);
    uint32_t available = 0;
    for (int32_t pos : {25000, 3, 20478, 20479, 20480, 29999}) {
        f.SetPosition(pos, 0);
        const uint8_t *span = f.Span(available);
        ASSERT_NE(span, nullptr) << pos;
        ASSERT_GT(available, 0u);
        EXPECT_LE(pos + static_cast<int32_t>(available), 30000);
        EXPECT_EQ(span[0], data[static_cast<size_t>(pos)]) << pos;
        EXPECT_EQ(span[available - 1], data[static_cast<size_t>(pos) + available - 1]);
    }
    f.SetPosition(30000, 0);
    EXPECT_EQ(f.Span(available), nullptr);
    EXPECT_EQ(available, 0u);
    f.SetPosition(-5, 0);
    EXPECT_EQ(f.Span(available), nullptr);
    EXPECT_EQ(available, 0u);
}
