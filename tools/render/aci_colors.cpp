// The standard colour numbers of drawings turned into RGB for a light page.
#include "render/aci_colors.h"

#include <cmath>
#include <cstdio>

namespace render {

namespace {

const Rgb kDark{0, 0, 0};

// Numbers 1 to 9: the named colours.
const Rgb kNamed[10] = {
    {0, 0, 0},       // 0 is resolved by the caller; drawn dark
    {255, 0, 0},     // 1 red
    {255, 255, 0},   // 2 yellow
    {0, 255, 0},     // 3 green
    {0, 255, 255},   // 4 cyan
    {0, 0, 255},     // 5 blue
    {255, 0, 255},   // 6 magenta
    {255, 255, 255}, // 7 white (made dark below)
    {128, 128, 128}, // 8 dark grey
    {192, 192, 192}, // 9 light grey
};

// Numbers 250 to 255: the grey ramp.
const uint8_t kGreys[6] = {51, 80, 105, 130, 190, 255};

// The brightness of each pair of shades in the 24 hue columns (shades 0/1, 2/3, ...).
const double kShadeLevels[5] = {255, 204, 153, 127, 76};

uint8_t Channel(double value) {
    // Levels are cut, not rounded, so that 255 * 0.5 gives 127.
    double cut = std::floor(value + 1e-9);
    if (cut < 0)
        return 0;
    if (cut > 255)
        return 255;
    return static_cast<uint8_t>(cut);
}

// The colour of hue `degrees` (0 to 360) at brightness `value` (0 to 255) and saturation
// `saturation` (0 to 1), on the usual six-sector colour wheel.
Rgb FromHsv(double degrees, double value, double saturation) {
    double low = value * (1 - saturation);
    double sector = degrees / 60;
    int whole = static_cast<int>(std::floor(sector));
    double part = sector - whole;
    double rising = low + (value - low) * part;
    double falling = value - (value - low) * part;
    // Each sector takes its red, green and blue from these four levels.
    enum Level { kValue, kRising, kFalling, kLow };
    static const Level kSectorLevels[6][3] = {{kValue, kRising, kLow}, {kFalling, kValue, kLow},
                                              {kLow, kValue, kRising}, {kLow, kFalling, kValue},
                                              {kRising, kLow, kValue}, {kValue, kLow, kFalling}};
    const double levels[4] = {value, rising, falling, low};
    const Level *rgb = kSectorLevels[((whole % 6) + 6) % 6];
    return {Channel(levels[rgb[0]]), Channel(levels[rgb[1]]), Channel(levels[rgb[2]])};
}

Rgb TableColor(int number) {
    if (number < 1 || number > 255)
        return kDark;
    if (number < 10)
        return kNamed[number];
    if (number >= 250) {
        uint8_t grey = kGreys[number - 250];
        return {grey, grey, grey};
    }
    int hue = (number - 10) / 10;
    int shade = number % 10;
    return FromHsv(hue * 15.0, kShadeLevels[shade / 2], shade % 2 == 0 ? 1.0 : 0.5);
}

} // namespace

Rgb AciColor(int number) {
    Rgb color = TableColor(number);
    // Pure white would vanish on the white page.
    if (color.r == 255 && color.g == 255 && color.b == 255)
        return kDark;
    return color;
}

std::string RgbHex(const Rgb &color) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", color.r, color.g, color.b);
    return text;
}

} // namespace render
