// What the shape compiler writes, read back through the library's loader.
#include "fonts/shape_file.h"
#include "shapec/shape_compiler.h"
#include "shapec/shapec_test_util.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using shapec_test::ReadSample;
using shapec_test::ScratchDir;
using velko_shapec::CompileShx;
using velko_shapec::Form;
using velko_shapec::Options;
using velko_shapec::ShapeDef;

namespace {

std::vector<ShapeDef> Parse(const std::string &text) {
    std::vector<ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(velko_shapec::ParseShapes(text, &defs, &error)) << error;
    return defs;
}

double WidthOf(const std::vector<uint8_t> &data) {
    size_t nul = 0;
    while (nul < data.size() && data[nul] != 0)
        ++nul;
    return nul < data.size() ? ShapeWidth(data.data() + nul + 1, data.size() - nul - 1) : 0;
}

// Compiles and writes the definitions, then loads the file back.
std::unique_ptr<CShapeFile> RoundTrip(const ScratchDir &dir, const std::vector<ShapeDef> &defs,
                                      Form form, const Options &options = Options()) {
    std::string error;
    std::vector<uint8_t> bytes = CompileShx(defs, form, options, &error);
    EXPECT_FALSE(bytes.empty()) << error;
    return CShapeFile::Load(dir.Write("ROUND.SHX", bytes));
}

} // namespace

TEST(ShapecRoundTrip, OffsetsAgreeWithTheLoader) {
    EXPECT_EQ(velko_shapec::CountOffset(Form::kShapes11), CShapeFile::kShapesCountOffset);
    EXPECT_EQ(velko_shapec::CountOffset(Form::kUnifont), CShapeFile::kUnifontCountOffset);
    EXPECT_EQ(velko_shapec::CountOffset(Form::kBigFont), CShapeFile::kBigFontCountOffset);
    EXPECT_EQ(std::string(velko_shapec::HeaderText(Form::kShapes11)), CShapeFile::kShapes11Header);
    EXPECT_EQ(std::string(velko_shapec::HeaderText(Form::kShapes10)), CShapeFile::kShapes10Header);
    EXPECT_EQ(std::string(velko_shapec::HeaderText(Form::kBigFont)), CShapeFile::kBigFontHeader);
}

TEST(ShapecRoundTrip, StrokeFontLoadsAsCompiled) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::vector<ShapeDef> defs = Parse(ReadSample("strokes.shp"));
    std::unique_ptr<CShapeFile> file = RoundTrip(dir, defs, Form::kShapes11);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->form, CShapeFile::Form::kShapes11);
    EXPECT_EQ(file->max_shape_id, 67);
    ASSERT_EQ(file->shapes.size(), 68u);
    EXPECT_DOUBLE_EQ(file->above, 6.0);
    EXPECT_TRUE(file->extra_shapes.empty());
    for (const ShapeDef &def : defs) {
        const ShapeEntry &entry = file->shapes[def.number];
        std::vector<uint8_t> data = velko_shapec::ShapeData(def);
        EXPECT_EQ(entry.data, data) << def.name;
        EXPECT_EQ(entry.data_length, static_cast<int16_t>(data.size())) << def.name;
        EXPECT_DOUBLE_EQ(entry.width, WidthOf(data)) << def.name;
    }
    EXPECT_EQ(file->shapes[50].data_length, 0);
    EXPECT_TRUE(file->shapes[50].data.empty());
    EXPECT_DOUBLE_EQ(file->shapes[65].width, 6.0);
    EXPECT_DOUBLE_EQ(file->shapes[32].width, 6.0);
}

TEST(ShapecRoundTrip, Shapes10AndNumbersFrom256Up) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::vector<ShapeDef> defs = Parse(ReadSample("symbols.shp"));
    std::unique_ptr<CShapeFile> file = RoundTrip(dir, defs, Form::kShapes10);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->form, CShapeFile::Form::kShapes10);
    // The largest number, 300, held to 255.
    EXPECT_EQ(file->max_shape_id, 255);
    ASSERT_EQ(file->extra_shapes.size(), 1u);
    EXPECT_EQ(file->extra_shapes[0].shape_id, 300);
    EXPECT_EQ(file->extra_shapes[0].data, velko_shapec::ShapeData(defs.back()));
    ASSERT_EQ(file->shapes.size(), 256u);
    EXPECT_TRUE(file->shapes[4].data.empty());
    EXPECT_EQ(file->shapes[1].data, velko_shapec::ShapeData(defs[0]));
    EXPECT_DOUBLE_EQ(file->shapes[1].width, 4.0);
}

TEST(ShapecRoundTrip, UnsortedUnifontGetsItsDirectTable) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::vector<ShapeDef> defs = Parse("*0,4,u\n6,2,0,0\n"
                                       "*00391,4,alpha\n7,(0,041),0\n"
                                       "*042,2,b\n020,0\n"
                                       "*041,2,a\n030,0\n");
    Options options;
    options.keep_order = true;
    std::unique_ptr<CShapeFile> file = RoundTrip(dir, defs, Form::kUnifont, options);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->form, CShapeFile::Form::kUnifont);
    EXPECT_EQ(file->max_shape_id, 255);
    ASSERT_GT(file->shapes.size(), 0x42u);
    EXPECT_EQ(file->shapes[0x41].data, velko_shapec::ShapeData(defs[3]));
    EXPECT_EQ(file->shapes[0x42].data, velko_shapec::ShapeData(defs[2]));
    EXPECT_DOUBLE_EQ(file->shapes[0x41].width, 0.0);
    ASSERT_EQ(file->extra_shapes.size(), 1u);
    EXPECT_EQ(file->extra_shapes[0].shape_id, 0x391);
    EXPECT_EQ(file->extra_shapes[0].data, velko_shapec::ShapeData(defs[1]));
}

TEST(ShapecRoundTrip, SampleUnifontLoads) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::vector<ShapeDef> defs = Parse(ReadSample("unifont.shp"));
    std::unique_ptr<CShapeFile> file = RoundTrip(dir, defs, Form::kUnifont);
    ASSERT_TRUE(file);
    ASSERT_GT(file->shapes.size(), 0x41u);
    EXPECT_EQ(file->shapes[0x20].data, velko_shapec::ShapeData(defs[1]));
    EXPECT_EQ(file->shapes[0x41].data, velko_shapec::ShapeData(defs[2]));
}

TEST(ShapecRoundTrip, BigFontLoadsThroughTheBigFontPathOnly) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::vector<ShapeDef> defs = Parse(ReadSample("bigfont.shp"));
    Options options;
    options.ranges = {{0x81, 0x82}};
    std::vector<uint8_t> bytes = CompileShx(defs, Form::kBigFont, options);
    std::string path = dir.Write("BIG.SHX", bytes);
    EXPECT_FALSE(CShapeFile::Load(path));
    std::unique_ptr<BigFont> font = CShapeFile::LoadBigFont(path);
    ASSERT_TRUE(font);
    ASSERT_EQ(font->ranges.size(), 1u);
    EXPECT_EQ(font->ranges[0].low, 0x81);
    EXPECT_EQ(font->ranges[0].high, 0x82);
    ASSERT_EQ(font->shapes.size(), defs.size());
    for (size_t i = 0; i < defs.size(); ++i) {
        const BigFont::Shape &s = font->shapes[i];
        std::vector<uint8_t> data = velko_shapec::ShapeData(defs[i]);
        EXPECT_EQ(s.shape_id, defs[i].number);
        ASSERT_EQ(s.data_length, data.size());
        ASSERT_LE(s.data_offset + s.data_length, bytes.size());
        EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + s.data_offset,
                                       bytes.begin() + s.data_offset + s.data_length),
                  data);
    }
}
