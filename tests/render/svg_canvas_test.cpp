// The renderer's page: groups, coordinates, styles, text escaping and odd windows, each
// checked on the SVG parsed back.
#include "render/svg_canvas.h"
#include "support/mini_xml.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

using render::Point2;
using render::Rgb;
using render::StrokeStyle;
using render::SvgCanvas;
using render::TextAnchor;
namespace xml = velko_test::xml;

namespace {

std::string Write(const SvgCanvas &canvas, Point2 min, Point2 max, int width_px) {
    std::ostringstream out;
    canvas.WriteSvg(out, min, max, width_px);
    return out.str();
}

// Parses the page and checks its frame: an svg root with the SVG namespace, its size and
// view box, and a white background first.
xml::Document ParsePage(const std::string &svg) {
    xml::Document doc = xml::Parse(svg);
    EXPECT_TRUE(doc.ok()) << doc.error << "\n" << svg;
    if (!doc.ok())
        return doc;
    EXPECT_EQ(doc.root->name, "svg");
    EXPECT_EQ(doc.root->Attr("xmlns"), "http://www.w3.org/2000/svg");
    EXPECT_TRUE(doc.root->Has("width"));
    EXPECT_TRUE(doc.root->Has("height"));
    EXPECT_TRUE(doc.root->Has("viewBox"));
    auto children = doc.root->Children();
    EXPECT_FALSE(children.empty());
    if (!children.empty()) {
        EXPECT_EQ(children.front()->name, "rect");
        EXPECT_EQ(children.front()->Attr("fill"), "#ffffff");
    }
    return doc;
}

std::vector<const xml::Element *> Groups(const xml::Document &doc) {
    std::vector<const xml::Element *> out;
    for (const xml::Element *g : doc.root->Children("g"))
        if (g->Attr("class") == "entity")
            out.push_back(g);
    return out;
}

std::vector<double> Numbers(const std::string &text) {
    std::vector<double> out;
    std::string token;
    for (size_t i = 0; i <= text.size(); ++i) {
        char c = i < text.size() ? text[i] : ' ';
        if (c == ' ' || c == ',') {
            if (!token.empty())
                out.push_back(std::strtod(token.c_str(), nullptr));
            token.clear();
        } else {
            token += c;
        }
    }
    return out;
}

double Num(const xml::Element *e, const char *key) {
    return std::strtod(e->Attr(key).c_str(), nullptr);
}

// Every number attribute of the page must be finite: no "nan" or "inf" anywhere.
void ExpectNoBadNumbers(const std::string &svg) {
    EXPECT_EQ(svg.find("nan"), std::string::npos) << svg;
    EXPECT_EQ(svg.find("inf"), std::string::npos) << svg;
    EXPECT_EQ(svg.find("NaN"), std::string::npos) << svg;
}

const Rgb kRed{255, 0, 0};

StrokeStyle Thin(Rgb color = kRed) {
    StrokeStyle style;
    style.color = color;
    return style;
}

} // namespace

TEST(RenderSvgCanvas, OneGroupPerEntityWithItsKind) {
    SvgCanvas canvas;
    canvas.BeginEntity("LINE");
    canvas.Polyline({{0, 0}, {10, 10}}, false, Thin());
    canvas.EndEntity();
    canvas.BeginEntity("CIRCLE");
    canvas.Polyline({{1, 1}, {2, 2}, {3, 1}}, true, Thin());
    canvas.EndEntity();
    canvas.BeginEntity("TEXT"); // nothing drawn: still a group
    canvas.EndEntity();
    EXPECT_EQ(canvas.EntityCount(), 3);
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {10, 10}, 100));
    ASSERT_TRUE(doc.ok());
    auto groups = Groups(doc);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0]->Attr("data-kind"), "LINE");
    EXPECT_EQ(groups[1]->Attr("data-kind"), "CIRCLE");
    EXPECT_EQ(groups[2]->Attr("data-kind"), "TEXT");
    EXPECT_EQ(groups[0]->Children("polyline").size(), 1u);
    EXPECT_EQ(groups[1]->Children("polygon").size(), 1u);
    EXPECT_TRUE(groups[2]->Children().empty());
}

TEST(RenderSvgCanvas, LineCoordinatesAreMappedWithYFlipped) {
    SvgCanvas canvas;
    canvas.BeginEntity("LINE");
    canvas.Polyline({{0, 0}, {10, 5}}, false, Thin());
    canvas.EndEntity();
    // The world window (0,0)-(20,10) on a page 200 wide: 10 pixels to the unit, 100 high.
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {20, 10}, 200));
    ASSERT_TRUE(doc.ok());
    EXPECT_EQ(doc.root->Attr("width"), "200");
    EXPECT_EQ(doc.root->Attr("height"), "100");
    EXPECT_EQ(doc.root->Attr("viewBox"), "0 0 200 100");
    auto lines = doc.root->Descendants("polyline");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(Numbers(lines[0]->Attr("points")), (std::vector<double>{0, 100, 100, 50}));
    EXPECT_EQ(lines[0]->Attr("fill"), "none");
    EXPECT_EQ(lines[0]->Attr("stroke"), "#ff0000");
    EXPECT_EQ(lines[0]->Attr("stroke-width"), "1");
}

TEST(RenderSvgCanvas, WindowOffsetIsSubtracted) {
    SvgCanvas canvas;
    canvas.Polyline({{105, 210}, {110, 220}}, false, Thin());
    xml::Document doc = ParsePage(Write(canvas, {100, 200}, {110, 220}, 50));
    ASSERT_TRUE(doc.ok());
    EXPECT_EQ(doc.root->Attr("height"), "100");
    auto lines = doc.root->Descendants("polyline");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(Numbers(lines[0]->Attr("points")), (std::vector<double>{25, 50, 50, 0}));
}

TEST(RenderSvgCanvas, NumbersHaveAtMostThreeDecimals) {
    SvgCanvas canvas;
    canvas.Polyline({{1.0 / 3, 2.0 / 3}, {0.123456, 0.5}}, false, Thin());
    std::string svg = Write(canvas, {0, 0}, {1, 1}, 1);
    xml::Document doc = ParsePage(svg);
    ASSERT_TRUE(doc.ok());
    std::string points = doc.root->Descendants("polyline")[0]->Attr("points");
    EXPECT_EQ(points, "0.333,0.333 0.123,0.5");
}

TEST(RenderSvgCanvas, FilledPolygonHasFillAndNoStroke) {
    SvgCanvas canvas;
    canvas.BeginEntity("SOLID");
    StrokeStyle style = Thin(Rgb{0, 0, 255});
    style.filled = true;
    canvas.Polyline({{0, 0}, {4, 0}, {4, 4}, {0, 4}}, true, style);
    canvas.EndEntity();
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {4, 4}, 40));
    ASSERT_TRUE(doc.ok());
    auto polygons = doc.root->Descendants("polygon");
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_EQ(polygons[0]->Attr("fill"), "#0000ff");
    EXPECT_EQ(polygons[0]->Attr("stroke"), "none");
    EXPECT_EQ(Numbers(polygons[0]->Attr("points")),
              (std::vector<double>{0, 40, 40, 40, 40, 0, 0, 0}));
}

TEST(RenderSvgCanvas, ClosedUnfilledOutlineIsAStrokedPolygon) {
    SvgCanvas canvas;
    canvas.Polyline({{0, 0}, {1, 0}, {1, 1}}, true, Thin());
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {1, 1}, 10));
    ASSERT_TRUE(doc.ok());
    auto polygons = doc.root->Descendants("polygon");
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_EQ(polygons[0]->Attr("fill"), "none");
    EXPECT_EQ(polygons[0]->Attr("stroke"), "#ff0000");
}

TEST(RenderSvgCanvas, WidthInWorldUnitsIsScaledAndNeverBelowOnePixel) {
    SvgCanvas canvas;
    StrokeStyle wide = Thin();
    wide.width = 0.5;
    canvas.Polyline({{0, 0}, {10, 0}}, false, wide);
    StrokeStyle fine = Thin();
    fine.width = 0.001;
    canvas.Polyline({{0, 1}, {10, 1}}, false, fine);
    StrokeStyle bad = Thin();
    bad.width = NAN;
    canvas.Polyline({{0, 2}, {10, 2}}, false, bad);
    std::string svg = Write(canvas, {0, 0}, {10, 10}, 100);
    ExpectNoBadNumbers(svg);
    xml::Document doc = ParsePage(svg);
    ASSERT_TRUE(doc.ok());
    auto lines = doc.root->Descendants("polyline");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0]->Attr("stroke-width"), "5");
    EXPECT_EQ(lines[1]->Attr("stroke-width"), "1");
    EXPECT_EQ(lines[2]->Attr("stroke-width"), "1");
}

TEST(RenderSvgCanvas, DotIsATinyCircle) {
    SvgCanvas canvas;
    canvas.BeginEntity("POINT");
    canvas.Dot({5, 5}, Rgb{0, 255, 0});
    canvas.EndEntity();
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {10, 10}, 100));
    ASSERT_TRUE(doc.ok());
    auto circles = doc.root->Descendants("circle");
    ASSERT_EQ(circles.size(), 1u);
    EXPECT_EQ(Num(circles[0], "cx"), 50);
    EXPECT_EQ(Num(circles[0], "cy"), 50);
    EXPECT_EQ(Num(circles[0], "r"), 0.5);
    EXPECT_EQ(circles[0]->Attr("fill"), "#00ff00");
}

TEST(RenderSvgCanvas, TextIsPlacedSizedAndEscaped) {
    SvgCanvas canvas;
    canvas.BeginEntity("TEXT");
    canvas.Text({2, 3}, 0.5, 0, 1, 0, "a<b & \"c\" >d", TextAnchor::kMiddle, kRed);
    canvas.EndEntity();
    std::string svg = Write(canvas, {0, 0}, {10, 10}, 100);
    xml::Document doc = ParsePage(svg);
    ASSERT_TRUE(doc.ok());
    auto texts = doc.root->Descendants("text");
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0]->text, "a<b & \"c\" >d");
    EXPECT_EQ(Num(texts[0], "x"), 20);
    EXPECT_EQ(Num(texts[0], "y"), 70);
    EXPECT_EQ(Num(texts[0], "font-size"), 5);
    EXPECT_EQ(texts[0]->Attr("text-anchor"), "middle");
    EXPECT_EQ(texts[0]->Attr("fill"), "#ff0000");
    EXPECT_FALSE(texts[0]->Has("transform"));
}

TEST(RenderSvgCanvas, TextDropsControlCharactersAndWritesLatin1AsUtf8) {
    SvgCanvas canvas;
    // "\xb0" degree sign, "\xe9" e acute, "\x80" euro in code page 1252, "\x81" unassigned.
    canvas.Text({0, 0}, 1, 0, 1, 0, std::string("x\x01\ty\x7f\xb0\xe9\x80\x81z"),
                TextAnchor::kStart, kRed);
    std::string svg = Write(canvas, {0, 0}, {10, 10}, 100);
    xml::Document doc = ParsePage(svg);
    ASSERT_TRUE(doc.ok());
    auto texts = doc.root->Descendants("text");
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0]->text, "xy\xc2\xb0\xc3\xa9\xe2\x82\xacz");
}

TEST(RenderSvgCanvas, KindIsEscapedToo) {
    SvgCanvas canvas;
    canvas.BeginEntity("A\"<&>");
    canvas.EndEntity();
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {1, 1}, 10));
    ASSERT_TRUE(doc.ok());
    ASSERT_EQ(Groups(doc).size(), 1u);
    EXPECT_EQ(Groups(doc)[0]->Attr("data-kind"), "A\"<&>");
}

TEST(RenderSvgCanvas, TextTransformTurnsSlantsAndStretchesAboutItsPoint) {
    SvgCanvas canvas;
    canvas.Text({1, 1}, 1, 90, 0.5, 15, "T", TextAnchor::kStart, kRed);
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {10, 10}, 100));
    ASSERT_TRUE(doc.ok());
    auto texts = doc.root->Descendants("text");
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0]->Attr("transform"),
              "translate(10 90) rotate(-90) skewX(-15) scale(0.5 1) translate(-10 -90)");
}

TEST(RenderSvgCanvas, DegenerateWindowIsWidened) {
    SvgCanvas canvas;
    canvas.Dot({3, 4}, kRed);
    for (auto window :
         {std::make_pair(Point2{3, 4}, Point2{3, 4}), std::make_pair(Point2{5, 5}, Point2{1, 1}),
          std::make_pair(Point2{NAN, 0}, Point2{1, INFINITY}),
          std::make_pair(Point2{-1e308, -1e308}, Point2{1e308, 1e308}),
          std::make_pair(Point2{1e12, 0}, Point2{1e12, 0})}) {
        std::string svg = Write(canvas, window.first, window.second, 100);
        ExpectNoBadNumbers(svg);
        xml::Document doc = ParsePage(svg);
        ASSERT_TRUE(doc.ok());
        EXPECT_GE(Num(doc.root.get(), "width"), 1);
        EXPECT_GE(Num(doc.root.get(), "height"), 1);
    }
    // A point window: the dot sits in the middle of a square page.
    xml::Document doc = ParsePage(Write(canvas, {3, 4}, {3, 4}, 100));
    ASSERT_TRUE(doc.ok());
    EXPECT_EQ(doc.root->Attr("height"), "100");
    auto circles = doc.root->Descendants("circle");
    ASSERT_EQ(circles.size(), 1u);
    EXPECT_EQ(Num(circles[0], "cx"), 50);
    EXPECT_EQ(Num(circles[0], "cy"), 50);
}

TEST(RenderSvgCanvas, FlatWindowTakesTheOtherSide) {
    SvgCanvas canvas;
    canvas.Polyline({{0, 2}, {10, 2}}, false, Thin());
    xml::Document doc = ParsePage(Write(canvas, {0, 2}, {10, 2}, 100));
    ASSERT_TRUE(doc.ok());
    EXPECT_EQ(doc.root->Attr("height"), "100");
    EXPECT_EQ(Numbers(doc.root->Descendants("polyline")[0]->Attr("points")),
              (std::vector<double>{0, 50, 100, 50}));
}

TEST(RenderSvgCanvas, BadPageWidthAndFarPointsStayFinite) {
    SvgCanvas canvas;
    canvas.Polyline({{0, 0}, {1e300, -1e300}, {NAN, 1}}, false, Thin());
    canvas.Text({INFINITY, 0}, NAN, NAN, NAN, NAN, "x", TextAnchor::kEnd, kRed);
    for (int width : {0, -5, 1, 1000000}) {
        std::string svg = Write(canvas, {0, 0}, {1, 1e-300}, width);
        ExpectNoBadNumbers(svg);
        EXPECT_TRUE(xml::Parse(svg).ok());
    }
}

TEST(RenderSvgCanvas, ExtentsCoverPolylinesDotsAndTextBoxes) {
    SvgCanvas canvas;
    Point2 min, max;
    EXPECT_FALSE(canvas.Extents(&min, &max));
    canvas.Polyline({{1, 2}, {3, -1}}, false, Thin());
    canvas.Dot({-2, 0}, kRed);
    ASSERT_TRUE(canvas.Extents(&min, &max));
    EXPECT_DOUBLE_EQ(min.x, -2);
    EXPECT_DOUBLE_EQ(min.y, -1);
    EXPECT_DOUBLE_EQ(max.x, 3);
    EXPECT_DOUBLE_EQ(max.y, 2);
    // Ten characters of height 2: 14 wide, 2 high, from (5, 5).
    canvas.Text({5, 5}, 2, 0, 1, 0, "0123456789", TextAnchor::kStart, kRed);
    ASSERT_TRUE(canvas.Extents(&min, &max));
    EXPECT_DOUBLE_EQ(max.x, 19);
    EXPECT_DOUBLE_EQ(max.y, 7);
}

TEST(RenderSvgCanvas, ExtentsOfTurnedAndAnchoredText) {
    SvgCanvas canvas;
    Point2 min, max;
    // Turned by 90 degrees, the 7 long box runs up from (0, 0) and the height goes left.
    canvas.Text({0, 0}, 1, 90, 1, 0, "0123456789", TextAnchor::kStart, kRed);
    ASSERT_TRUE(canvas.Extents(&min, &max));
    EXPECT_NEAR(min.x, -1, 1e-12);
    EXPECT_NEAR(max.x, 0, 1e-12);
    EXPECT_NEAR(min.y, 0, 1e-12);
    EXPECT_NEAR(max.y, 7, 1e-12);
    SvgCanvas centred;
    centred.Text({0, 0}, 1, 0, 1, 0, "0123456789", TextAnchor::kMiddle, kRed);
    ASSERT_TRUE(centred.Extents(&min, &max));
    EXPECT_NEAR(min.x, -3.5, 1e-12);
    EXPECT_NEAR(max.x, 3.5, 1e-12);
    SvgCanvas ended;
    ended.Text({0, 0}, 1, 0, 1, 0, "0123456789", TextAnchor::kEnd, kRed);
    ASSERT_TRUE(ended.Extents(&min, &max));
    EXPECT_NEAR(min.x, -7, 1e-12);
    EXPECT_NEAR(max.x, 0, 1e-12);
}

TEST(RenderSvgCanvas, DrawingOutsideAnEntityMakesItsOwnGroup) {
    SvgCanvas canvas;
    canvas.Dot({0, 0}, kRed);
    canvas.BeginEntity("LINE");
    canvas.Polyline({{0, 0}, {1, 1}}, false, Thin());
    canvas.EndEntity();
    canvas.EndEntity(); // an extra end is harmless
    EXPECT_EQ(canvas.EntityCount(), 2);
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {1, 1}, 10));
    ASSERT_TRUE(doc.ok());
    auto groups = Groups(doc);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0]->Attr("data-kind"), "");
    EXPECT_EQ(groups[1]->Attr("data-kind"), "LINE");
}

TEST(RenderSvgCanvas, BeginWithoutEndStartsTheNextGroup) {
    SvgCanvas canvas;
    canvas.BeginEntity("LINE");
    canvas.Polyline({{0, 0}, {1, 1}}, false, Thin());
    canvas.BeginEntity("ARC");
    canvas.Polyline({{0, 0}, {1, 0}}, false, Thin());
    canvas.EndEntity();
    xml::Document doc = ParsePage(Write(canvas, {0, 0}, {1, 1}, 10));
    ASSERT_TRUE(doc.ok());
    auto groups = Groups(doc);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0]->Children().size(), 1u);
    EXPECT_EQ(groups[1]->Children().size(), 1u);
}

TEST(RenderSvgCanvas, SystemXmlParserAcceptsThePage) {
    // An outside check of well-formedness with the Python standard library's parser.
    if (access("/usr/bin/python3", X_OK) != 0)
        GTEST_SKIP() << "/usr/bin/python3 not found";
    SvgCanvas canvas;
    canvas.BeginEntity("TEXT");
    canvas.Text({1, 1}, 1, 30, 0.8, 10, std::string("<&>\"'\xb0\x05"), TextAnchor::kEnd, kRed);
    canvas.EndEntity();
    canvas.BeginEntity("SOLID");
    StrokeStyle filled = Thin();
    filled.filled = true;
    canvas.Polyline({{0, 0}, {1, 0}, {1, 1}}, false, filled);
    canvas.EndEntity();
    char path[] = "/tmp/velko_svg_canvas_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        std::ofstream file(path, std::ios::binary);
        canvas.WriteSvg(file, {0, 0}, {2, 2}, 64);
    }
    std::string command = std::string("/usr/bin/python3 -c \"import sys, xml.dom.minidom as m; "
                                      "d = m.parse(sys.argv[1]); "
                                      "print(len(d.getElementsByTagName('g')))\" ") +
                          path;
    FILE *pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char line[64] = {0};
    bool got = std::fgets(line, sizeof line, pipe) != nullptr;
    int status = pclose(pipe);
    std::remove(path);
    ASSERT_TRUE(got);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(std::string(line), "2\n");
}

TEST(RenderSvgCanvas, TheTestXmlCheckerRejectsMalformedPages) {
    // The checker the page tests rely on must itself catch what a broken writer would make.
    EXPECT_TRUE(xml::Parse("<?xml version=\"1.0\"?><a x=\"1\"><b/>t&amp;</a>").ok());
    EXPECT_FALSE(xml::Parse("<a><b></a></b>").ok());
    EXPECT_FALSE(xml::Parse("<a>x & y</a>").ok());
    EXPECT_FALSE(xml::Parse("<a>x < y</a>").ok());
    EXPECT_FALSE(xml::Parse("<a x=\"1\" x=\"2\"/>").ok());
    EXPECT_FALSE(xml::Parse("<a x=\"<\"/>").ok());
    EXPECT_FALSE(xml::Parse("<a/><b/>").ok());
    EXPECT_FALSE(xml::Parse("<a>").ok());
    EXPECT_FALSE(xml::Parse("<a>\x01</a>").ok());
    EXPECT_FALSE(xml::Parse("<a>\xb0</a>").ok());
    EXPECT_FALSE(xml::Parse("").ok());
}
