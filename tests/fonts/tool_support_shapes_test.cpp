// The tool support calls on shape files: the listing of a shape file or big font as the
// library loads it, the control-shape index written from the sample fonts (read back by the
// index reader), the index writer's refusals, and the strokes of every sample shape.
#include "fonts/shape_file.h"
#include "fonts/shape_index.h"
#include "fonts/shape_index_writer.h"
#include "fonts/shape_strokes.h"
#include "interface/tool_support.h"
#include "shapec/shape_compiler.h"
#include "shapec/shapec_test_util.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using shapec_test::ReadBytes;
using shapec_test::ReadSample;
using shapec_test::ScratchDir;
using tool_support::IndexedFont;
using tool_support::ShapeFontForm;
using tool_support::ShapeFontListing;
using tool_support::ShapeIndexOutcome;
using tool_support::ShapeIndexStatus;

namespace {

// Compiles a sample definition file into `file` of the scratch folder.
std::string Compile(const ScratchDir &dir, const std::string &sample, const std::string &file,
                    velko_shapec::Form form,
                    const velko_shapec::Options &options = velko_shapec::Options()) {
    std::vector<velko_shapec::ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(velko_shapec::ParseShapes(ReadSample(sample), &defs, &error)) << error;
    std::vector<uint8_t> bytes = velko_shapec::CompileShx(defs, form, options, &error);
    EXPECT_FALSE(bytes.empty()) << error;
    return dir.Write(file, bytes);
}

std::string CompileBigFont(const ScratchDir &dir) {
    velko_shapec::Options options;
    options.ranges.push_back({0x81, 0x82});
    return Compile(dir, "bigfont.shp", "bigfont.shx", velko_shapec::Form::kBigFont, options);
}

// The byte codes of a shape of `file` by number, for the stroke walks' subshapes.
bool CodesOf(const CShapeFile &file, int number, std::vector<uint8_t> *codes) {
    return file.CodesOf(number, codes);
}

void ExpectSameStrokes(const tool_support::ShapeStrokes &got, const ShapeDrawing &wanted) {
    ASSERT_EQ(got.strokes.size(), wanted.strokes.size());
    for (size_t s = 0; s < wanted.strokes.size(); ++s) {
        ASSERT_EQ(got.strokes[s].points.size(), wanted.strokes[s].points.size()) << s;
        for (size_t p = 0; p < wanted.strokes[s].points.size(); ++p) {
            EXPECT_EQ(got.strokes[s].points[p].x, wanted.strokes[s].points[p].x);
            EXPECT_EQ(got.strokes[s].points[p].y, wanted.strokes[s].points[p].y);
        }
    }
    EXPECT_EQ(got.end.x, wanted.end.x);
    EXPECT_EQ(got.end.y, wanted.end.y);
}

} // namespace

TEST(ToolSupportShapes, AShapeFileIsListedAsTheLoaderHasIt) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    const std::string path =
        Compile(dir, "symbols.shp", "symbols.shx", velko_shapec::Form::kShapes11);
    std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
    ASSERT_TRUE(font);
    ShapeFontListing listing;
    ASSERT_TRUE(tool_support::ListShapeFont(path, &listing));
    EXPECT_EQ(listing.form, ShapeFontForm::kShapes11);
    EXPECT_EQ(listing.above, font->above);
    EXPECT_EQ(listing.max_shape_id, font->max_shape_id);

    std::vector<unsigned> numbers;
    for (size_t n = 0; n < font->shapes.size(); ++n)
        if (font->shapes[n].data_length > 0)
            numbers.push_back(static_cast<unsigned>(n));
    for (const ExtraShape &extra : font->extra_shapes)
        numbers.push_back(extra.shape_id);
    ASSERT_EQ(listing.shapes.size(), numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) {
        const tool_support::ListedShape &shape = listing.shapes[i];
        EXPECT_EQ(shape.number, numbers[i]);
        EXPECT_TRUE(shape.has_width);
        if (shape.number < 256) {
            const ShapeEntry &entry = font->shapes[shape.number];
            EXPECT_EQ(shape.length, entry.data_length);
            EXPECT_EQ(shape.width, entry.width);
            EXPECT_EQ(shape.name, std::string(reinterpret_cast<const char *>(entry.data.data()),
                                              ShapeNameLength(entry.data)));
        }
    }
    EXPECT_EQ(listing.shapes.back().number, 300u) << "the shape from 256 up comes last";
}

TEST(ToolSupportShapes, UnifontsAndBigFontsCarryNoWidths) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    ShapeFontListing uni;
    ASSERT_TRUE(tool_support::ListShapeFont(
        Compile(dir, "unifont.shp", "uni.shx", velko_shapec::Form::kUnifont), &uni));
    EXPECT_EQ(uni.form, ShapeFontForm::kUnifont);
    ASSERT_FALSE(uni.shapes.empty());
    for (const tool_support::ListedShape &shape : uni.shapes)
        EXPECT_FALSE(shape.has_width) << shape.number;

    ShapeFontListing big;
    ASSERT_TRUE(tool_support::ListShapeFont(CompileBigFont(dir), &big));
    EXPECT_EQ(big.form, ShapeFontForm::kBigFont);
    EXPECT_EQ(big.above, 1.0);
    EXPECT_EQ(big.max_shape_id, -1);
    ASSERT_EQ(big.shapes.size(), 4u);
    EXPECT_EQ(big.shapes[1].number, 0x8140u);
    EXPECT_EQ(big.shapes[1].name, "ideographic space");
    EXPECT_EQ(big.shapes[1].length, 5 + 18);
    EXPECT_FALSE(big.shapes[1].has_width);
    EXPECT_EQ(big.shapes[1].width, 0.0);
}

TEST(ToolSupportShapes, WhatIsNoShapeFileIsNotListed) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    ShapeFontListing listing;
    listing.shapes.push_back({});
    EXPECT_FALSE(tool_support::ListShapeFont(dir.Write("text.shx", "not a font"), &listing));
    EXPECT_FALSE(tool_support::ListShapeFont(dir.File("missing.shx"), &listing));
}

TEST(ToolSupportShapes, AnIndexOfTheSampleFontsReadsBack) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    const std::vector<IndexedFont> fonts = {
        {"STROKES", Compile(dir, "strokes.shp", "strokes.shx", velko_shapec::Form::kShapes11)},
        {"KANJI", CompileBigFont(dir)}};
    const std::string sdx = dir.File("VELKO.SDX");
    const ShapeIndexOutcome outcome = tool_support::WriteShapeIndex(sdx, fonts);
    ASSERT_EQ(outcome.status, ShapeIndexStatus::kWritten);
    EXPECT_EQ(outcome.bytes, ReadBytes(sdx).size());

    CShapeIndex index;
    ASSERT_EQ(index.Open(sdx), 1);
    ASSERT_EQ(index.Entries().size(), 2u);
    EXPECT_EQ(index.Lookup("strokes"), 1);
    EXPECT_EQ(index.Entries()[0].kind, CShapeIndex::kShapeFileKind);
    EXPECT_EQ(index.Entries()[1].kind, CShapeIndex::kBigFontKind);
    std::unique_ptr<CShapeFile> strokes = index.LoadShapeFile(0);
    std::unique_ptr<CShapeFile> original = CShapeFile::Load(fonts[0].path);
    ASSERT_TRUE(strokes && original);
    ASSERT_EQ(strokes->shapes.size(), original->shapes.size());
    for (size_t n = 0; n < original->shapes.size(); ++n) {
        EXPECT_EQ(strokes->shapes[n].data, original->shapes[n].data) << n;
        EXPECT_EQ(strokes->shapes[n].width, original->shapes[n].width) << n;
    }
    std::unique_ptr<BigFont> big = index.LoadBigFont(1);
    ASSERT_TRUE(big);
    EXPECT_EQ(big->shapes.size(), 4u);
}

TEST(ToolSupportShapes, TheIndexRefusesBeforeItWritesAndNamesTheFont) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    const std::string font =
        Compile(dir, "strokes.shp", "strokes.shx", velko_shapec::Form::kShapes11);
    const std::string sdx = dir.File("REFUSED.SDX");
    auto status = [&](const std::vector<IndexedFont> &fonts, size_t at) {
        const ShapeIndexOutcome outcome = tool_support::WriteShapeIndex(sdx, fonts);
        EXPECT_EQ(outcome.font, at);
        EXPECT_TRUE(ReadBytes(sdx).empty()) << "nothing written";
        return outcome.status;
    };
    const std::string longest(tool_support::kLongestIndexedFontName, 'N');
    EXPECT_EQ(status({{"A", font}, {longest + "N", font}}, 1), ShapeIndexStatus::kBadName);
    EXPECT_EQ(status({{"A", font}, {"", font}}, 1), ShapeIndexStatus::kBadName);
    EXPECT_EQ(status({{"A", font}, {"A", font}}, 1), ShapeIndexStatus::kDuplicateName);
    EXPECT_EQ(status({{"A", font}, {"B", dir.File("missing.shx")}}, 1),
              ShapeIndexStatus::kUnreadableFont);
    EXPECT_EQ(status(std::vector<IndexedFont>(tool_support::kMostIndexedFonts + 1), 0),
              ShapeIndexStatus::kTooManyFonts);
    // The names are all checked before a font is read.
    EXPECT_EQ(status({{"A", dir.File("missing.shx")}, {"A", font}}, 1),
              ShapeIndexStatus::kDuplicateName);

    const ShapeIndexOutcome unwritable =
        tool_support::WriteShapeIndex(dir.File("no/such/folder.sdx"), {{longest, font}});
    EXPECT_EQ(unwritable.status, ShapeIndexStatus::kNotWritten);
}

TEST(ToolSupportShapes, StrokesOfEverySampleShapeAreTheLibrarysWalk) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    int walked = 0;
    for (const char *sample : {"strokes.shp", "symbols.shp"}) {
        std::unique_ptr<CShapeFile> font = CShapeFile::Load(
            Compile(dir, sample, std::string(sample) + ".shx", velko_shapec::Form::kShapes11));
        ASSERT_TRUE(font) << sample;
        const CShapeFile &file = *font;
        auto lookup = [&file](int number, std::vector<uint8_t> *codes) {
            return CodesOf(file, number, codes);
        };
        std::vector<const std::vector<uint8_t> *> shapes;
        for (const ShapeEntry &entry : file.shapes)
            shapes.push_back(&entry.data);
        for (const ExtraShape &extra : file.extra_shapes)
            shapes.push_back(&extra.data);
        for (const std::vector<uint8_t> *data : shapes) {
            size_t length = 0;
            const uint8_t *codes = ShapeCodes(*data, &length);
            if (!codes)
                continue;
            ExpectSameStrokes(tool_support::DrawShapeStrokes(codes, length, lookup),
                              DrawShape(codes, length, lookup));
            ExpectSameStrokes(tool_support::DrawShapeStrokes(codes, length, nullptr),
                              DrawShape(codes, length, ShapeCodesLookup()));
            ++walked;
        }
    }
    EXPECT_GE(walked, 9);
}

TEST(ShapeIndexWriter, ARefusedFontLeavesTheIndexAsItWas) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    const std::string font =
        Compile(dir, "strokes.shp", "strokes.shx", velko_shapec::Form::kShapes11);
    CShapeIndexWriter writer(2);
    const size_t empty = CShapeIndex::kDirectoryOffset + 2 * CShapeIndex::kEntrySize;
    ASSERT_EQ(writer.Bytes().size(), empty);
    const std::vector<uint8_t> before = writer.Bytes();
    EXPECT_EQ(writer.Add("MISSING", dir.File("missing.shx")),
              CShapeIndexWriter::Added::kUnreadable);
    EXPECT_EQ(writer.Add(std::string(CShapeIndexWriter::kLongestName + 1, 'X'), font),
              CShapeIndexWriter::Added::kTooLarge);
    EXPECT_EQ(writer.Bytes(), before);
    EXPECT_EQ(writer.Add("ONE", font), CShapeIndexWriter::Added::kAdded);
    EXPECT_EQ(writer.Add("TWO", font), CShapeIndexWriter::Added::kAdded);
    const std::vector<uint8_t> full = writer.Bytes();
    EXPECT_GT(full.size(), empty);
    EXPECT_EQ(writer.Add("THREE", font), CShapeIndexWriter::Added::kTooLarge)
        << "the directory has room for two";
    EXPECT_EQ(writer.Bytes(), full);
}

TEST(ShapeIndexWriter, NamesOfOneToThirtyOneCharactersFit) {
    EXPECT_FALSE(CShapeIndexWriter::NameFits(""));
    EXPECT_TRUE(CShapeIndexWriter::NameFits("A"));
    EXPECT_TRUE(CShapeIndexWriter::NameFits(std::string(31, 'A')));
    EXPECT_FALSE(CShapeIndexWriter::NameFits(std::string(32, 'A')));
}
