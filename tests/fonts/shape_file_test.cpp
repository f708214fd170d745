// Loading shape files from disk: shapes 1.0 and 1.1, unifont, big font; the header compare,
// the direct table, the extra shapes, `above` and the widths.
#include "fonts/shape_file.h"
#include "fonts/shx_bytes.h"

#include <cctype>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

using shx_test::Bytes;
using shx_test::ScratchDir;
using shx_test::Shape;

std::string Text(const std::vector<uint8_t> &data) {
    return std::string(data.begin(), data.end());
}

TEST(ShapeFile, Shapes11DirectoryAndData) {
    ScratchDir dir("shx11");
    const std::vector<Shape> shapes = {
        shx_test::FontInfo("TEST", 8), {65, "CAPA", {0x40, 0}}, {66, "CAPB", {0x20, 0x3C, 0}}};
    const Bytes bytes = shx_test::Shx(shapes);
    std::string path = dir.Write("test.shx", bytes);
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->form, CShapeFile::Form::kShapes11);
    EXPECT_EQ(font->max_shape_id, 66);
    ASSERT_EQ(font->shapes.size(), 67u);
    EXPECT_EQ(font->data_offset, 0x1Eu + 4 * 3);
    EXPECT_TRUE(font->extra_shapes.empty());
    EXPECT_EQ(font->above, 8.0);
    // The file name is the path, upper case.
    std::string upper = path;
    for (char &c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(font->file_name, upper);

    const ShapeEntry &a = font->shapes[65];
    EXPECT_EQ(a.data_length, 7);
    EXPECT_EQ(Text(a.data), std::string("CAPA\0\x40\0", 7));
    EXPECT_DOUBLE_EQ(a.width, 4.0);
    const ShapeEntry &b = font->shapes[66];
    EXPECT_EQ(b.data_length, 8);
    EXPECT_DOUBLE_EQ(b.width, 2.0);
    // Numbers the file doesn't define: length 0, no data.
    EXPECT_EQ(font->shapes[64].data_length, 0);
    EXPECT_TRUE(font->shapes[64].data.empty());
    EXPECT_EQ(font->Entry(67), nullptr);
    EXPECT_EQ(font->Entry(-1), nullptr);
    EXPECT_EQ(font->Entry(65), &font->shapes[65]);
    EXPECT_EQ(font->big_font, nullptr);
}

TEST(ShapeFile, Shapes10LoadsAlike) {
    ScratchDir dir("shx10");
    std::string path =
        dir.Write("old.shx", shx_test::Shx({{1, "ONE", {0x10, 0}}}, "AutoCAD-86 shapes 1.0"));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->form, CShapeFile::Form::kShapes10);
    EXPECT_EQ(font->max_shape_id, 1);
    EXPECT_DOUBLE_EQ(font->shapes[1].width, 1.0);
}

TEST(ShapeFile, AboveByteZeroBecomesOne) {
    ScratchDir dir("above");
    std::string zero = dir.Write("zero.shx", shx_test::Shx({shx_test::FontInfo("Z", 0)}));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(zero);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->above, 1.0);
    // The byte is signed.
    std::string negative = dir.Write("neg.shx", shx_test::Shx({shx_test::FontInfo("N", 0xF0)}));
    font = CShapeFile::Load(negative);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->above, -16.0);
    // Only the very first shape counts, whatever its number.
    std::string first =
        dir.Write("first.shx", shx_test::Shx({{70, "F", {21, 0}}, {0, "FONT", {9, 2, 0, 0}}}));
    font = CShapeFile::Load(first);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->above, 21.0);
    // A first shape with nothing behind its name leaves 1.0.
    std::string bare = dir.Write("bare.shx", shx_test::Shx({{5, "BARE", {}}, {6, "X", {7}}}));
    font = CShapeFile::Load(bare);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->above, 1.0);
}

TEST(ShapeFile, ShapeNumber300GoesToExtraShapes) {
    ScratchDir dir("extra");
    std::string path =
        dir.Write("x.shx", shx_test::Shx({{65, "A", {0x10, 0}}, {300, "BIG", {0x50, 0}}}));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    // The largest number, held to 255.
    EXPECT_EQ(font->max_shape_id, 255);
    EXPECT_EQ(font->shapes.size(), 256u);
    ASSERT_EQ(font->extra_shapes.size(), 1u);
    EXPECT_EQ(font->extra_shapes[0].shape_id, 300);
    EXPECT_EQ(font->extra_shapes[0].data_length, 6);
    EXPECT_DOUBLE_EQ(font->extra_shapes[0].width, 5.0);
    EXPECT_EQ(Text(font->extra_shapes[0].data), std::string("BIG\0\x50\0", 6));
}

TEST(ShapeFile, EveryShapeAfterTheFirstBigNumberIsExtra) {
    // In file order: 65, 256, 66. From 256 on, all go to the extra shapes, 66 included.
    ScratchDir dir("order");
    std::string path = dir.Write(
        "o.shx",
        shx_test::Shx({{65, "A", {0x10, 0}}, {256, "DEG", {0x20, 0}}, {66, "B", {0x30, 0}}}));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->shapes[65].data_length, 4);
    EXPECT_EQ(font->shapes[66].data_length, 0);
    ASSERT_EQ(font->extra_shapes.size(), 2u);
    EXPECT_EQ(font->extra_shapes[0].shape_id, 256);
    EXPECT_EQ(font->extra_shapes[1].shape_id, 66);
    EXPECT_DOUBLE_EQ(font->extra_shapes[1].width, 3.0);
}

TEST(ShapeFile, UnsortedUnifontIsSortedIntoItsDirectTable) {
    ScratchDir dir("uni");
    std::string path = dir.Write("u.shx", shx_test::Unifont({{300, "THREEHUNDRED", {0x30, 0}},
                                                             {66, "B", {0x20, 0}},
                                                             {0, "UNI", {12, 3, 0, 0}},
                                                             {0x8041, "HIGH", {0x10, 0}},
                                                             {65, "A", {0x10, 0}}}));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->form, CShapeFile::Form::kUnifont);
    EXPECT_EQ(font->max_shape_id, 255);
    EXPECT_EQ(Text(font->shapes[65].data), std::string("A\0\x10\0", 4));
    EXPECT_EQ(Text(font->shapes[66].data), std::string("B\0\x20\0", 4));
    EXPECT_EQ(font->shapes[0].data_length, 8);
    // After the sort the font information (number 0) comes first and gives `above`.
    EXPECT_EQ(font->above, 12.0);
    // Numbers from 256 up follow in order; 0x8041 sorts above 300.
    ASSERT_EQ(font->extra_shapes.size(), 2u);
    EXPECT_EQ(font->extra_shapes[0].shape_id, 300);
    EXPECT_EQ(font->extra_shapes[1].shape_id, 0x8041);
    // The offset of the first shape in the file.
    EXPECT_EQ(font->data_offset, 0x1Bu + 4);
}

TEST(ShapeFile, UnifontShapesGetNoWidth) {
    ScratchDir dir("uniw");
    std::string path = dir.Write("u.shx", shx_test::Unifont({{65, "A", {0x40, 0}}}));
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->shapes[65].width, 0.0);
}

TEST(ShapeFile, HeaderComparedOverTwentyOneBytes) {
    ScratchDir dir("header");
    const std::vector<Shape> one = {{1, "ONE", {0x10, 0}}};
    // Anything behind the 21 bytes is not looked at.
    Bytes other_tail = shx_test::Shx(one);
    other_tail[21] = 'x';
    other_tail[22] = 'y';
    EXPECT_NE(CShapeFile::Load(dir.Write("tail.shx", other_tail)), nullptr);
    // Another version or another word is refused.
    EXPECT_EQ(CShapeFile::Load(dir.Write("v12.shx", shx_test::Shx(one, "AutoCAD-86 shapes 1.2"))),
              nullptr);
    EXPECT_EQ(CShapeFile::Load(dir.Write("lower.shx", shx_test::Shx(one, "autocad-86 shapes 1.1"))),
              nullptr);
    // The unifont header is compared up to "1.", so any minor version reads.
    Bytes unifont = shx_test::Unifont(one);
    unifont[21] = '7';
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(dir.Write("uni7.shx", unifont));
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->form, CShapeFile::Form::kUnifont);
    // A file shorter than the header.
    EXPECT_EQ(CShapeFile::Load(dir.Write("short.shx", Bytes{'A', 'u', 't', 'o'})), nullptr);
    EXPECT_EQ(CShapeFile::Load(dir.Write("empty.shx", Bytes{})), nullptr);
    EXPECT_EQ(CShapeFile::Load(dir.File("missing.shx")), nullptr);
}

TEST(ShapeFile, BigFontHeaderFailsAsAPrimaryFont) {
    ScratchDir dir("bigprimary");
    std::string path = dir.Write("big.shx", shx_test::BigFontFile({{0x81, 0x9F}}, {}));
    EXPECT_EQ(CShapeFile::Load(path), nullptr);
    EXPECT_NE(CShapeFile::LoadBigFont(path), nullptr);
}

TEST(ShapeFile, BigFontRangesDirectoryAndDataOnDemand) {
    ScratchDir dir("big");
    std::string path = dir.Write(
        "big.shx", shx_test::BigFontFile({{0x81, 0x9F}, {0xE0, 0xFC}},
                                         {{0x8140, "", {0x40, 0}}, {0xE0A1, "KANJI", {1, 2, 0}}}));
    std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(path);
    ASSERT_NE(big, nullptr);
    EXPECT_EQ(big->file_name, path);
    ASSERT_EQ(big->ranges.size(), 2u);
    EXPECT_EQ(big->ranges[1].low, 0xE0);
    EXPECT_EQ(big->ranges[1].high, 0xFC);
    ASSERT_EQ(big->shapes.size(), 2u);
    EXPECT_EQ(big->shapes[0].shape_id, 0x8140);
    EXPECT_EQ(big->shapes[0].data_length, 3);
    EXPECT_EQ(big->shapes[1].shape_id, 0xE0A1);
    EXPECT_EQ(big->shapes[1].data_length, 9);
    EXPECT_TRUE(big->IsLeadByte(0x81));
    EXPECT_TRUE(big->IsLeadByte(0x9F));
    EXPECT_TRUE(big->IsLeadByte(0xE5));
    EXPECT_FALSE(big->IsLeadByte(0x80));
    EXPECT_FALSE(big->IsLeadByte(0xA0));
    std::vector<uint8_t> data;
    ASSERT_TRUE(ReadBigFontShape(*big, 1, &data));
    EXPECT_EQ(Text(data), std::string("KANJI\0\x01\x02\0", 9));
    EXPECT_FALSE(ReadBigFontShape(*big, 2, &data));
}

TEST(ShapeFile, BigFontHeaderIsComparedExactly) {
    ScratchDir dir("bighead");
    Bytes bytes = shx_test::BigFontFile({}, {});
    bytes[21] = '1'; // "bigfont 1.1"
    EXPECT_EQ(CShapeFile::LoadBigFont(dir.Write("b11.shx", bytes)), nullptr);
    // A shape file is no big font.
    EXPECT_EQ(CShapeFile::LoadBigFont(dir.Write("s.shx", shx_test::Shx({}))), nullptr);
    EXPECT_EQ(CShapeFile::LoadBigFont(dir.File("missing.shx")), nullptr);
}

TEST(ShapeFile, CountsBeyondTheFileAreRefused) {
    ScratchDir dir("counts");
    // A shape count that announces more directory rows than the file holds.
    Bytes shx = shx_test::Shx({{1, "ONE", {0x10, 0}}});
    shx_test::Set16(shx, 0x1C, 30000);
    EXPECT_EQ(CShapeFile::Load(dir.Write("count.shx", shx)), nullptr);
    // A negative count.
    shx_test::Set16(shx, 0x1C, 0xFFFF);
    EXPECT_EQ(CShapeFile::Load(dir.Write("neg.shx", shx)), nullptr);
    // A data length past the end.
    Bytes long_data = shx_test::Shx({{1, "ONE", {0x10, 0}}});
    shx_test::Set16(long_data, 0x20, 5000);
    EXPECT_EQ(CShapeFile::Load(dir.Write("long.shx", long_data)), nullptr);
    // A unifont whose inline length runs past the end.
    Bytes uni = shx_test::Unifont({{1, "ONE", {0x10, 0}}});
    shx_test::Set16(uni, 0x1D, 200);
    EXPECT_EQ(CShapeFile::Load(dir.Write("uni.shx", uni)), nullptr);
    // A big font with more rows than bytes.
    Bytes big = shx_test::BigFontFile({{0x81, 0x9F}}, {{0x8140, "", {0}}});
    shx_test::Set16(big, 0x1B, 1000);
    EXPECT_EQ(CShapeFile::LoadBigFont(dir.Write("big.shx", big)), nullptr);
    // A big font shape whose data lie outside the file loads, but its data can't be read.
    Bytes outside = shx_test::BigFontFile({{0x81, 0x9F}}, {{0x8140, "", {0}}});
    shx_test::Set32(outside, 0x1F + 2 + 4, 0x7FFFFFF0u);
    std::unique_ptr<BigFont> font = CShapeFile::LoadBigFont(dir.Write("out.shx", outside));
    ASSERT_NE(font, nullptr);
    std::vector<uint8_t> data;
    EXPECT_FALSE(ReadBigFontShape(*font, 0, &data));
}

TEST(ShapeFile, EmptyDirectoryGivesAnEmptyTable) {
    ScratchDir dir("emptydir");
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(dir.Write("e.shx", shx_test::Shx({})));
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->max_shape_id, -1);
    EXPECT_TRUE(font->shapes.empty());
    EXPECT_EQ(font->Entry(0), nullptr);
}

TEST(ShapeFile, NameWithoutNulHasNoCodes) {
    std::vector<uint8_t> data = {'A', 'B'};
    size_t n = 99;
    EXPECT_EQ(ShapeCodes(data, &n), nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(ShapeNameLength(data), 2u);
    data = {'A', 0, 0x10, 0};
    EXPECT_EQ(ShapeCodes(data, &n), data.data() + 2);
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(ShapeNameLength(data), 1u);
    EXPECT_EQ(ShapeNameLength({}), 0u);
}

} // namespace
