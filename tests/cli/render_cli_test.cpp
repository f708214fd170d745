// velko render, run as a user runs it: the shipped drawing as an SVG page (and a PNG when
// the converter is installed), its summary, and wrong usage.
#include "interface/test_files.h"
#include "support/mini_xml.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using Outcome = velko_test::CommandOutcome;
using velko_test::RunCommand;
using velko_test::RunVelko;

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

std::string ReadText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool HaveConverter() {
    return RunCommand("command -v rsvg-convert >/dev/null 2>&1").status == 0;
}

TEST(RenderCli, TheShippedDrawingBecomesAWellFormedPage) {
    velko_test::TempFile svg("render_cli.svg");
    Outcome r = RunVelko("render " + kSample + " " + svg.path());
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("entities:"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(svg.path()), std::string::npos) << r.out;
    const std::string page = ReadText(svg.path());
    velko_test::xml::Document doc = velko_test::xml::Parse(page);
    ASSERT_TRUE(doc.ok()) << doc.error;
    EXPECT_EQ(doc.root->name, "svg");
}

TEST(RenderCli, JsonSummaryTellsWhatWasDrawn) {
    velko_test::TempFile svg("render_cli_json.svg");
    Outcome r = RunVelko("render --json " + kSample + " " + svg.path() + " --width 300");
    ASSERT_EQ(r.status, 0) << r.out;
    ASSERT_FALSE(r.out.empty());
    EXPECT_EQ(r.out.front(), '{');
    EXPECT_NE(r.out.find("\"entities\": "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"window_from\": \"header\""), std::string::npos) << r.out;
    // The sample holds no modeler kinds: nothing was left undrawn.
    EXPECT_NE(r.out.find("\"opaque\": 0"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"svg\": "), std::string::npos) << r.out;
    EXPECT_NE(ReadText(svg.path()).find("width=\"300\""), std::string::npos);
}

TEST(RenderCli, PaperSpaceAndALayerFilterAreTaken) {
    velko_test::TempFile svg("render_cli_paper.svg");
    Outcome r = RunVelko("render " + kSample + " " + svg.path() + " --paper --layer-filter 2");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("paper"), std::string::npos) << r.out;
}

TEST(RenderCli, WrongUsageExitsTwo) {
    EXPECT_EQ(RunVelko("render").status, 2);
    EXPECT_EQ(RunVelko("render " + kSample).status, 2);
    EXPECT_EQ(RunVelko("render " + kSample + " a.svg b.svg").status, 2);
    EXPECT_EQ(RunVelko("render " + kSample + " a.svg --width 0").status, 2);
    EXPECT_EQ(RunVelko("render " + kSample + " a.svg --width").status, 2);
    EXPECT_EQ(RunVelko("render " + kSample + " a.svg --layer-filter x").status, 2);
    EXPECT_EQ(RunVelko("render " + kSample + " a.svg --frobnicate").status, 2);
    EXPECT_EQ(RunVelko("render --help").status, 0);
}

TEST(RenderCli, ARefusedDrawingExitsOne) {
    velko_test::TempFile bad("render_refused.dwg", std::string("AC1099") + std::string(400, '\0'));
    velko_test::TempFile svg("render_refused.svg");
    Outcome r = RunVelko("render " + bad.path() + " " + svg.path(), true);
    EXPECT_EQ(r.status, 1) << r.out;
}

TEST(RenderCli, PngThroughTheConverter) {
    if (!HaveConverter())
        GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
    velko_test::TempFile svg("render_cli_png.svg");
    velko_test::TempFile png("render_cli_png.png");
    Outcome r = RunVelko("render " + kSample + " " + svg.path() + " --png " + png.path());
    ASSERT_EQ(r.status, 0) << r.out;
    const std::string picture = ReadText(png.path());
    ASSERT_GE(picture.size(), 8u);
    EXPECT_EQ(picture.substr(1, 3), "PNG");
}

TEST(RenderCli, AnOutputEndingInPngWritesThePageNextToIt) {
    if (!HaveConverter())
        GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
    velko_test::TempFile png("render_cli_named.png");
    const std::string svg = png.path().substr(0, png.path().size() - 4) + ".svg";
    Outcome r = RunVelko("render " + kSample + " " + png.path());
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(ReadText(png.path()).substr(1, 3), "PNG");
    EXPECT_NE(ReadText(svg).find("<svg"), std::string::npos);
    std::remove(svg.c_str());
}

} // namespace

namespace {

// The entity groups of a page: children <g class="entity"> of the root, at any depth.
int EntityGroups(const velko_test::xml::Element &element) {
    int count = 0;
    for (const auto &child : element.children) {
        if (child->name == "g" && child->Has("class") && child->attributes.at("class") == "entity")
            ++count;
        count += EntityGroups(*child);
    }
    return count;
}

int RenderedGroups(const std::string &drawing, const std::string &svg) {
    Outcome r = RunVelko("render " + drawing + " " + svg);
    if (r.status != 0)
        return -1;
    velko_test::xml::Document doc = velko_test::xml::Parse(ReadText(svg));
    return doc.ok() ? EntityGroups(*doc.root) : -1;
}

// The picture that `make run` shows: the sample with a plan of 24 entities drawn on it by
// the library's own editing calls and writer.
TEST(RenderCli, TheShippedPictureShowsItsPlan) {
    velko_test::TempFile svg("render_picture.svg");
    EXPECT_EQ(RenderedGroups(std::string(VELKO_SOURCE_DIR) + "/data/picture.dwg", svg.path()), 24);
}

TEST(RenderCli, ThePictureMadeAgainShowsTheSamePlan) {
    velko_test::TempFile made("render_picture_made.dwg");
    velko_test::TempFile svg("render_picture_made.svg");
    ASSERT_EQ(RunCommand(std::string(VELKO_MKPICTURE) + " " + kSample + " " + made.path()).status,
              0);
    EXPECT_EQ(RenderedGroups(made.path(), svg.path()), 24);
}

} // namespace
