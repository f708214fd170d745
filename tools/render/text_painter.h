// Texts and shapes of a drawing on the page: each character drawn from the byte codes of
// its shape in the style's font, placed by height, width factor, slant, turn and
// justification; a text whose style has no font found falls back to the page's font.
#ifndef VELKO_RENDER_TEXT_PAINTER_H
#define VELKO_RENDER_TEXT_PAINTER_H

#include "render/svg_canvas.h"

#include "interface/tool_support.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace render {

// A text as its entity gives it (TEXT, ATTRIB, ATTDEF), in the entity's object
// coordinates, angles in degrees.
struct TextLayout {
    std::string text;
    Vec3 insertion, alignment;
    double height = 0;
    double rotation = 0;
    double width_factor = 1;
    double oblique = 0;
    int style_index = 0;
    // 0 left, 1 centre, 2 right, 3 aligned, 4 middle, 5 fit.
    int horizontal = 0;
    // 0 baseline, 1 bottom, 2 middle, 3 top.
    int vertical = 0;
};

// The character codes of a text with its control sequences resolved: %%d the degree
// sign (127), %%p plus/minus (128), %%c the diameter sign (129), %%% a percent sign,
// %%nnn the code nnn; the underline and overline toggles %%u and %%o are dropped.
std::vector<int> TextCodes(const std::string &text);

// The codes as the canvas takes them (code page 1252 bytes), the three signs included.
std::string PageText(const std::vector<int> &codes);

class TextPainter {
public:
    explicit TextPainter(int16_t drawing) : drawing_(drawing) {}

    // Draws the text through `to_world` (its object coordinates to the world). True when
    // its style's shape font drew it, false when it fell back to the page's font.
    bool DrawText(const TextLayout &layout, const Affine &to_world, const Rgb &color,
                  SvgCanvas &canvas);

    // The width of `text` drawn left-aligned in the style `style_index` with `height` and
    // `width_factor`: by its font's character advances, or by the page font's estimate
    // when the style has no font.
    double Measure(int style_index, const std::string &text, double height, double width_factor);

    // Draws shape `number` of the font in table slot `slot` (its codes already fetched)
    // at `insertion` with `size`, turned by `rotation` degrees, stretched by `x_scale` and
    // slanted by `oblique` degrees.
    void DrawShapeCodes(int slot, const std::vector<uint8_t> &codes, const Vec3 &insertion,
                        double size, double rotation, double x_scale, double oblique,
                        const Affine &to_world, const Rgb &color, SvgCanvas &canvas);

private:
    // A font of the shape table: its slot and the height above and below the baseline
    // that its shape 0 gives.
    struct Font {
        int slot = -1;
        double above = 1;
        double below = 0;
    };
    // The font of a text style, or null when none was found.
    const Font *StyleFont(int style_index);
    const Font &SlotFont(int slot);
    // The byte codes of shape `number` in slot `slot`; false when the font has none.
    bool ShapeCodes(int slot, int number, std::vector<uint8_t> *codes);
    // The strokes of a character, drawn once and kept.
    const tool_support::ShapeStrokes &Glyph(int slot, int code);
    void DrawStrokes(const std::vector<tool_support::Stroke> &strokes, const Affine &local_to_world,
                     const Rgb &color, SvgCanvas &canvas) const;

    int16_t drawing_;
    std::map<int, int> style_slots_; // style index -> slot, -1 for none
    std::map<int, Font> slot_fonts_;
    std::map<std::pair<int, int>, tool_support::ShapeStrokes> glyphs_;
    std::vector<char> buffer_;
};

} // namespace render

#endif
