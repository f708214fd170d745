// The layout of the release 13 annotations: multi-line text codes and wrapping, the leader
// arrow, multiline offsets and tolerance boxes, on hand-made records.
#include "render/annotation_geometry.h"
#include "render/svg_canvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {

using render::Vec3;
using Lines = std::vector<std::string>;

constexpr double kTight = 1e-9;

// One unit of width for each character.
double CountChars(const std::string &text) {
    return static_cast<double>(text.size());
}

TEST(RenderMText, TheParagraphCodeSplitsTheText) {
    EXPECT_EQ(render::MTextParagraphs("first\\Psecond\\Pthird"),
              (Lines{"first", "second", "third"}));
}

TEST(RenderMText, FormattingCodesAndBracesAreDroppedAndEscapesKept) {
    EXPECT_EQ(render::MTextParagraphs("{\\Fromans;\\H0.5;big} \\Lunder\\l \\C1;red"),
              (Lines{"big under red"}));
    EXPECT_EQ(render::MTextParagraphs("a\\\\b\\{c\\}d\\~e"), (Lines{"a\\b{c}d e"}));
}

TEST(RenderMText, AStackedFractionShowsAsASlash) {
    EXPECT_EQ(render::MTextParagraphs("1\\S1^2; inch"), (Lines{"11/2 inch"}));
}

TEST(RenderMText, ACodeWithoutItsSemicolonEndsTheText) {
    EXPECT_EQ(render::MTextParagraphs("ab\\H2.5"), (Lines{"ab"}));
    EXPECT_EQ(render::MTextParagraphs("ab\\"), (Lines{"ab\\"}));
}

TEST(RenderMText, AParagraphIsWrappedAtItsWidthBetweenWords) {
    EXPECT_EQ(render::WrapParagraph("one two three four", 9, CountChars),
              (Lines{"one two", "three", "four"}));
}

TEST(RenderMText, AWordWiderThanTheWidthKeepsALineToItself) {
    EXPECT_EQ(render::WrapParagraph("a enormousword b", 4, CountChars),
              (Lines{"a", "enormousword", "b"}));
}

TEST(RenderMText, AWidthThatIsNotPositiveBreaksNothing) {
    EXPECT_EQ(render::WrapParagraph("one two three", 0, CountChars), (Lines{"one two three"}));
    EXPECT_EQ(render::WrapParagraph("", 5, CountChars), (Lines{""}));
}

TEST(RenderLeader, TheArrowHasItsTipAtTheFirstVertexAndPointsAwayFromTheSecond) {
    const std::vector<Vec3> arrow = render::ArrowHead({0, 0, 0}, {10, 0, 0}, 3);
    ASSERT_EQ(arrow.size(), 3u);
    EXPECT_NEAR(arrow[0].x, 0, kTight);
    EXPECT_NEAR(arrow[1].x, 3, kTight);
    EXPECT_NEAR(arrow[2].x, 3, kTight);
    EXPECT_NEAR(arrow[1].y, 0.5, kTight);
    EXPECT_NEAR(arrow[2].y, -0.5, kTight);
}

TEST(RenderLeader, NoArrowWhenTheVerticesMeetOrTheSizeIsNotPositive) {
    EXPECT_TRUE(render::ArrowHead({1, 1, 0}, {1, 1, 0}, 3).empty());
    EXPECT_TRUE(render::ArrowHead({0, 0, 0}, {1, 0, 0}, 0).empty());
    EXPECT_TRUE(render::ArrowHead({0, 0, 0}, {1, 0, 0}, std::nan("")).empty());
}

// A straight multiline of three vertices along x with two lines, at +0.5 and -0.5.
struct TwoLineMline {
    TwoLineMline() {
        for (int v = 0; v < 3; ++v) {
            for (int l = 0; l < 2; ++l) {
                lines[v][l] = CDB_MLINE_LINE();
                lines[v][l].segment_parameter_count = 1;
                lines[v][l].segment_parameters = &offsets[l];
            }
            vertices[v] = CDB_MLINE_VERTEX();
            vertices[v].location = {10.0 * v, 0, 0};
            vertices[v].direction = {1, 0, 0};
            vertices[v].miter_direction = {0, 1, 0};
            vertices[v].lines = lines[v];
        }
        record = CDB_MLINE_type();
        record.vertex_count = 3;
        record.line_count = 2;
        record.vertices = vertices;
    }
    double offsets[2] = {0.5, -0.5};
    CDB_MLINE_LINE lines[3][2];
    CDB_MLINE_VERTEX vertices[3];
    CDB_MLINE_type record;
};

TEST(RenderMline, EachLineIsOffsetAlongTheMiterByItsFirstSegmentParameter) {
    TwoLineMline m;
    m.vertices[1].miter_direction = {0, 2, 0}; // a longer miter at a bend moves the point further
    const std::vector<std::vector<Vec3>> runs = render::MlineRuns(m.record);
    ASSERT_EQ(runs.size(), 2u);
    ASSERT_EQ(runs[0].size(), 3u);
    EXPECT_NEAR(runs[0][0].y, 0.5, kTight);
    EXPECT_NEAR(runs[0][1].y, 1.0, kTight);
    EXPECT_NEAR(runs[0][2].x, 20, kTight);
    EXPECT_NEAR(runs[1][2].y, -0.5, kTight);
}

TEST(RenderMline, AVertexWhoseLineHasNoParametersIsLeftOutOfThatLine) {
    TwoLineMline m;
    m.lines[1][0].segment_parameter_count = 0;
    m.lines[1][0].segment_parameters = nullptr;
    const std::vector<std::vector<Vec3>> runs = render::MlineRuns(m.record);
    EXPECT_EQ(runs[0].size(), 2u);
    EXPECT_EQ(runs[1].size(), 3u);
}

TEST(RenderMline, CountsBelowOneOrNullArraysGiveNothing) {
    TwoLineMline m;
    m.record.line_count = 0;
    EXPECT_TRUE(render::MlineRuns(m.record).empty());
    m.record.line_count = 2;
    m.record.vertices = nullptr;
    EXPECT_TRUE(render::MlineRuns(m.record).empty());
}

TEST(RenderTolerance, RowsAndBoxesAreSplitAndFontSwitchesDropped) {
    const auto rows = render::ToleranceRows("{\\Fgdt;j}%%v0.5%%vA^J{\\Fgdt;r}%%v0.1");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (Lines{"j", "0.5", "A"}));
    EXPECT_EQ(rows[1], (Lines{"r", "0.1"}));
}

TEST(RenderTolerance, ALineFeedAlsoStartsARow) {
    const auto rows = render::ToleranceRows("{\\Fgdt;r}%%v1%%v2\n10");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (Lines{"r", "1", "2"}));
    EXPECT_EQ(rows[1], (Lines{"10"}));
}

TEST(RenderCanvas, AnEndlessLineIsCutToThePageWindowAndAddsNoExtents) {
    render::SvgCanvas canvas;
    canvas.BeginEntity("RAY");
    canvas.EndlessLine({0, 0}, {1, 0}, false, render::Rgb());
    canvas.EndEntity();
    EXPECT_FALSE(canvas.Extents(nullptr, nullptr));
    std::ostringstream svg;
    canvas.WriteSvg(svg, {-10, -10}, {10, 10}, 100);
    // The window is 20 units over 100 pixels: the ray runs from the centre to the right edge.
    EXPECT_NE(svg.str().find("points=\"50,50 100,50\""), std::string::npos) << svg.str();
}

} // namespace
