// The 256 standard colour numbers of drawings, as the common colour table gives them,
// for a light page.
#ifndef VELKO_RENDER_ACI_COLORS_H
#define VELKO_RENDER_ACI_COLORS_H

#include <cstdint>
#include <string>

namespace render {

struct Rgb {
    uint8_t r = 0, g = 0, b = 0;
    bool operator==(const Rgb &o) const { return r == o.r && g == o.g && b == o.b; }
};

// The colour of number 1 to 255. Number 7 (white on a dark screen) is drawn dark on the
// light page, and so is any number outside 1 to 255 (0 BYBLOCK and 256 BYLAYER are
// resolved by the caller before asking). The rule for the light page: whatever the table
// gives as pure white (7 and 255) is drawn as black (#000000) so that it stays visible; no
// number gives #ffffff. Numbers 10 to 249 are 24 hues 15 degrees apart, ten shades each:
// even shades fully saturated, odd shades half, at brightness 255, 204, 153, 127 and 76 for
// the shade pairs; 250 to 255 are the greys 51, 80, 105, 130, 190 and 255.
Rgb AciColor(int number);

// "#rrggbb".
std::string RgbHex(const Rgb &color);

} // namespace render

#endif
