// The standard colour numbers on the light page.
#include "render/aci_colors.h"

#include <gtest/gtest.h>

using render::AciColor;
using render::Rgb;
using render::RgbHex;

namespace {

std::string Hex(int number) {
    return RgbHex(AciColor(number));
}

} // namespace

TEST(RenderAciColors, PrimaryColours) {
    EXPECT_EQ(Hex(1), "#ff0000");
    EXPECT_EQ(Hex(2), "#ffff00");
    EXPECT_EQ(Hex(3), "#00ff00");
    EXPECT_EQ(Hex(4), "#00ffff");
    EXPECT_EQ(Hex(5), "#0000ff");
    EXPECT_EQ(Hex(6), "#ff00ff");
}

TEST(RenderAciColors, SevenIsDrawnDarkOnTheLightPage) {
    EXPECT_EQ(Hex(7), "#000000");
}

TEST(RenderAciColors, TheTwoGreys) {
    EXPECT_EQ(Hex(8), "#808080");
    EXPECT_EQ(Hex(9), "#c0c0c0");
}

TEST(RenderAciColors, ShadesOfTheRedColumn) {
    EXPECT_EQ(AciColor(10), (Rgb{255, 0, 0}));
    EXPECT_EQ(AciColor(11), (Rgb{255, 127, 127}));
    EXPECT_EQ(AciColor(12), (Rgb{204, 0, 0}));
    EXPECT_EQ(AciColor(13), (Rgb{204, 102, 102}));
    EXPECT_EQ(AciColor(14), (Rgb{153, 0, 0}));
    EXPECT_EQ(AciColor(15), (Rgb{153, 76, 76}));
    EXPECT_EQ(AciColor(16), (Rgb{127, 0, 0}));
    EXPECT_EQ(AciColor(17), (Rgb{127, 63, 63}));
    EXPECT_EQ(AciColor(18), (Rgb{76, 0, 0}));
    EXPECT_EQ(AciColor(19), (Rgb{76, 38, 38}));
}

TEST(RenderAciColors, PrimaryHueColumnsMatchTheNamedColours) {
    // Hue 60 (yellow) is column 4, 120 green column 8, 240 blue column 16.
    EXPECT_EQ(AciColor(50), AciColor(2));
    EXPECT_EQ(AciColor(90), AciColor(3));
    EXPECT_EQ(AciColor(130), AciColor(4));
    EXPECT_EQ(AciColor(170), AciColor(5));
    EXPECT_EQ(AciColor(210), AciColor(6));
    EXPECT_EQ(AciColor(172), (Rgb{0, 0, 204}));
    EXPECT_EQ(AciColor(91), (Rgb{127, 255, 127}));
}

TEST(RenderAciColors, InBetweenHuesInterpolate) {
    // Hue 30 degrees at full value: red full, green half way.
    Rgb orange = AciColor(30);
    EXPECT_EQ(orange.r, 255);
    EXPECT_EQ(orange.g, 127);
    EXPECT_EQ(orange.b, 0);
    // Hue 15 degrees: a quarter of the way from red to yellow.
    Rgb c20 = AciColor(20);
    EXPECT_EQ(c20.r, 255);
    EXPECT_EQ(c20.g, 63);
    EXPECT_EQ(c20.b, 0);
    // Hue 345 degrees: red with a quarter of blue.
    Rgb c240 = AciColor(240);
    EXPECT_EQ(c240.r, 255);
    EXPECT_EQ(c240.g, 0);
    EXPECT_EQ(c240.b, 63);
}

TEST(RenderAciColors, GreyRamp) {
    EXPECT_EQ(Hex(250), "#333333");
    EXPECT_EQ(Hex(251), "#505050");
    EXPECT_EQ(Hex(252), "#696969");
    EXPECT_EQ(Hex(253), "#828282");
    EXPECT_EQ(Hex(254), "#bebebe");
    // 255 is white in the table, drawn dark on the light page.
    EXPECT_EQ(Hex(255), "#000000");
}

TEST(RenderAciColors, EveryNumberGivesAColourAndNoneIsPureWhite) {
    const Rgb white{255, 255, 255};
    for (int n = -5; n <= 300; ++n) {
        Rgb c = AciColor(n);
        EXPECT_FALSE(c == white) << n;
        EXPECT_EQ(RgbHex(c).size(), 7u) << n;
    }
}

TEST(RenderAciColors, NumbersOutsideTheTableAreDark) {
    EXPECT_EQ(Hex(0), "#000000");
    EXPECT_EQ(Hex(256), "#000000");
    EXPECT_EQ(Hex(-3), "#000000");
    EXPECT_EQ(Hex(32767), "#000000");
}

TEST(RenderAciColors, HexIsLowerCaseWithAHash) {
    EXPECT_EQ(RgbHex(Rgb{0xAB, 0x0C, 0xFF}), "#ab0cff");
}
