// Texts and shapes drawn from the shape table's byte codes.
#include "render/text_painter.h"

#include "velkow32.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace render {

using tool_support::DrawShapeStrokes;
using tool_support::ShapeStrokes;
using tool_support::Stroke;
using tool_support::StrokePoint;
using tool_support::SubshapeLookup;

namespace {

// What CDBGetShapeData may write: the largest shape a file can hold.
constexpr size_t kShapeBufferSize = 65536;
// The signs that the shape fonts keep in codes 127 to 129.
constexpr int kDegreeCode = 127;
constexpr int kPlusMinusCode = 128;
constexpr int kDiameterCode = 129;
double Slant(double oblique_degrees) {
    if (!std::isfinite(oblique_degrees))
        return 0;
    double limited = std::max(-kSteepestOblique, std::min(kSteepestOblique, oblique_degrees));
    return std::tan(Radians(limited));
}

// The map of the text's own units: x stretched and slanted, then shifted.
Affine TextLocal(double sx, double sy, double slant, double dx, double dy) {
    Affine local;
    local.linear[0][0] = sx;
    local.linear[0][1] = sy * slant;
    local.linear[1][1] = sy;
    local.offset[0] = dx;
    local.offset[1] = dy;
    return local;
}

// The map of a text's baseline frame: turned about and moved to `origin`, then through
// the entity's own coordinates into the world.
Affine Baseline(const Vec3 &origin, double radians, const Affine &to_world) {
    return to_world.After(Affine::Translation(origin).After(Affine::RotationZ(radians)));
}

} // namespace

std::vector<int> TextCodes(const std::string &text) {
    std::vector<int> codes;
    const size_t n = text.size();
    for (size_t i = 0; i < n;) {
        if (text[i] == '%' && i + 2 < n && text[i + 1] == '%') {
            const char c = text[i + 2];
            const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (lower == 'd' || lower == 'p' || lower == 'c') {
                codes.push_back(lower == 'd'   ? kDegreeCode
                                : lower == 'p' ? kPlusMinusCode
                                               : kDiameterCode);
                i += 3;
                continue;
            }
            if (lower == 'u' || lower == 'o') {
                i += 3;
                continue;
            }
            if (c == '%') {
                codes.push_back('%');
                i += 3;
                continue;
            }
            if (std::isdigit(static_cast<unsigned char>(c))) {
                int value = 0;
                size_t j = i + 2;
                for (; j < n && j < i + 5 && std::isdigit(static_cast<unsigned char>(text[j])); ++j)
                    value = value * 10 + (text[j] - '0');
                codes.push_back(value & 0xFF);
                i = j;
                continue;
            }
        }
        codes.push_back(static_cast<unsigned char>(text[i]));
        ++i;
    }
    return codes;
}

std::string PageText(const std::vector<int> &codes) {
    // The canvas takes the drawing's code page 1252; it has no diameter sign, and the
    // letter O with stroke stands in for it.
    std::string out;
    for (int code : codes) {
        if (code == kDegreeCode)
            out.push_back(static_cast<char>(0xB0));
        else if (code == kPlusMinusCode)
            out.push_back(static_cast<char>(0xB1));
        else if (code == kDiameterCode)
            out.push_back(static_cast<char>(0xD8));
        else if (code >= 0x20 && code <= 0xFF)
            out.push_back(static_cast<char>(code));
    }
    return out;
}

bool TextPainter::ShapeCodes(int slot, int number, std::vector<uint8_t> *codes) {
    codes->clear();
    if (slot < 0 || number < 0 || number > 0x7FFF)
        return false;
    if (buffer_.size() < kShapeBufferSize)
        buffer_.assign(kShapeBufferSize, 0);
    const int16_t length = CDBGetShapeData(drawing_, static_cast<int16_t>(slot),
                                           static_cast<int16_t>(number), buffer_.data());
    if (length <= 0)
        return false;
    const size_t size = std::min(static_cast<size_t>(length), kShapeBufferSize);
    codes->assign(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(size));
    return true;
}

const TextPainter::Font &TextPainter::SlotFont(int slot) {
    auto found = slot_fonts_.find(slot);
    if (found != slot_fonts_.end())
        return found->second;
    Font font;
    font.slot = slot;
    std::vector<uint8_t> head;
    // Shape 0 of a font: the height above the baseline, the depth below it, the modes.
    if (ShapeCodes(slot, 0, &head) && head.size() >= 2) {
        if (head[0] > 0)
            font.above = head[0];
        font.below = head[1];
    }
    return slot_fonts_.emplace(slot, font).first->second;
}

const TextPainter::Font *TextPainter::StyleFont(int style_index) {
    auto found = style_slots_.find(style_index);
    int slot;
    if (found != style_slots_.end()) {
        slot = found->second;
    } else {
        int16_t answer = CDBGetStyleShapeIndex(drawing_, static_cast<int16_t>(style_index));
        slot = answer >= 0 ? answer : -1;
        style_slots_[style_index] = slot;
    }
    return slot < 0 ? nullptr : &SlotFont(slot);
}

const ShapeStrokes &TextPainter::Glyph(int slot, int code) {
    auto key = std::make_pair(slot, code);
    auto found = glyphs_.find(key);
    if (found != glyphs_.end())
        return found->second;
    std::vector<uint8_t> codes;
    ShapeStrokes drawing;
    if (ShapeCodes(slot, code, &codes)) {
        SubshapeLookup lookup = [this, slot](int number, std::vector<uint8_t> *sub) {
            return ShapeCodes(slot, number, sub);
        };
        drawing = DrawShapeStrokes(codes.data(), codes.size(), lookup);
    }
    return glyphs_.emplace(key, std::move(drawing)).first->second;
}

void TextPainter::DrawStrokes(const std::vector<Stroke> &strokes, const Affine &local_to_world,
                              const Rgb &color, SvgCanvas &canvas) const {
    StrokeStyle style;
    style.color = color;
    std::vector<Point2> points;
    for (const Stroke &stroke : strokes) {
        points.clear();
        for (const StrokePoint &p : stroke.points)
            points.push_back(local_to_world.ApplyPlan({p.x, p.y, 0}));
        if (points.size() >= 2)
            canvas.Polyline(points, false, style);
    }
}

bool TextPainter::DrawText(const TextLayout &layout, const Affine &to_world, const Rgb &color,
                           SvgCanvas &canvas) {
    const std::vector<int> codes = TextCodes(layout.text);
    const double height = std::isfinite(layout.height) ? layout.height : 0;
    const double width_factor =
        std::isfinite(layout.width_factor) && layout.width_factor != 0 ? layout.width_factor : 1;
    const bool between_points = layout.horizontal == 3 || layout.horizontal == 5;
    const bool at_insertion = layout.horizontal == 0 && layout.vertical == 0;
    const Vec3 origin = between_points || at_insertion ? layout.insertion : layout.alignment;
    double angle = Radians(std::isfinite(layout.rotation) ? layout.rotation : 0);
    double span = 0;
    if (between_points) {
        const double ex = layout.alignment.x - layout.insertion.x;
        const double ey = layout.alignment.y - layout.insertion.y;
        span = std::hypot(ex, ey);
        if (span > 0)
            angle = std::atan2(ey, ex);
    }

    const Font *font = StyleFont(layout.style_index);
    if (!font) {
        // The page's font: anchored by the horizontal justification, lifted or lowered
        // by the vertical one as far as a text of that height would be.
        TextAnchor anchor = TextAnchor::kStart;
        Vec3 at = origin;
        if (between_points) {
            anchor = TextAnchor::kMiddle;
            at = {(layout.insertion.x + layout.alignment.x) / 2,
                  (layout.insertion.y + layout.alignment.y) / 2, layout.insertion.z};
        } else if (layout.horizontal == 1 || layout.horizontal == 4) {
            anchor = TextAnchor::kMiddle;
        } else if (layout.horizontal == 2) {
            anchor = TextAnchor::kEnd;
        }
        double dy = 0;
        if (layout.vertical == 2 || (layout.horizontal == 4 && layout.vertical == 0))
            dy = -height / 2;
        else if (layout.vertical == 3)
            dy = -height;
        const Affine frame = Baseline(at, angle, to_world);
        const Point2 base = frame.ApplyPlan({0, dy, 0});
        const Point2 ahead = frame.ApplyPlan({1, dy, 0});
        const double world_angle = std::atan2(ahead.y - base.y, ahead.x - base.x) * 180 / kPi;
        canvas.Text(base, height * to_world.PlanScale(), world_angle, width_factor, layout.oblique,
                    PageText(codes), anchor, color);
        return false;
    }

    // Lay the characters along the baseline in the font's units.
    std::vector<Stroke> strokes;
    double pen_x = 0, pen_y = 0;
    for (int code : codes) {
        const ShapeStrokes &glyph = Glyph(font->slot, code);
        for (const Stroke &stroke : glyph.strokes) {
            Stroke placed;
            placed.points.reserve(stroke.points.size());
            for (const StrokePoint &p : stroke.points)
                placed.points.push_back({p.x + pen_x, p.y + pen_y});
            strokes.push_back(std::move(placed));
        }
        pen_x += glyph.end.x;
        pen_y += glyph.end.y;
    }
    const double scale = height / font->above;
    double sx = scale * width_factor, sy = scale;
    double width = pen_x * sx;
    if (between_points && width > 0 && span > 0) {
        const double stretch = span / width;
        sx *= stretch;
        if (layout.horizontal == 3) // aligned keeps the proportions, fit keeps the height
            sy *= stretch;
        width = span;
    }
    const double text_height = font->above * sy;
    double dx = 0, dy = 0;
    if (layout.horizontal == 1 || layout.horizontal == 4)
        dx = -width / 2;
    else if (layout.horizontal == 2)
        dx = -width;
    if (layout.vertical == 1)
        dy = font->below * sy;
    else if (layout.vertical == 2 || (layout.horizontal == 4 && layout.vertical == 0))
        dy = -text_height / 2;
    else if (layout.vertical == 3)
        dy = -text_height;
    const Affine local = TextLocal(sx, sy, Slant(layout.oblique), dx, dy);
    DrawStrokes(strokes, Baseline(origin, angle, to_world).After(local), color, canvas);
    return true;
}

double TextPainter::Measure(int style_index, const std::string &text, double height,
                            double width_factor) {
    const std::vector<int> codes = TextCodes(text);
    const double stretch =
        std::isfinite(width_factor) && width_factor != 0 ? std::fabs(width_factor) : 1;
    const double size = std::isfinite(height) ? std::fabs(height) : 0;
    const Font *font = StyleFont(style_index);
    if (!font)
        return kCharWidth * size * stretch * static_cast<double>(codes.size());
    double advance = 0;
    for (int code : codes)
        advance += Glyph(font->slot, code).end.x;
    return std::fabs(advance) * size / font->above * stretch;
}

void TextPainter::DrawShapeCodes(int slot, const std::vector<uint8_t> &codes, const Vec3 &insertion,
                                 double size, double rotation, double x_scale, double oblique,
                                 const Affine &to_world, const Rgb &color, SvgCanvas &canvas) {
    SubshapeLookup lookup;
    double above = 1;
    if (slot >= 0) {
        lookup = [this, slot](int number, std::vector<uint8_t> *sub) {
            return ShapeCodes(slot, number, sub);
        };
        above = SlotFont(slot).above;
    }
    const ShapeStrokes drawing = DrawShapeStrokes(codes.data(), codes.size(), lookup);
    const double scale = (std::isfinite(size) ? size : 0) / above;
    const double stretch = std::isfinite(x_scale) && x_scale != 0 ? x_scale : 1;
    const double turn = Radians(std::isfinite(rotation) ? rotation : 0);
    const Affine local = TextLocal(scale * stretch, scale, Slant(oblique), 0, 0);
    DrawStrokes(drawing.strokes, Baseline(insertion, turn, to_world).After(local), color, canvas);
}

} // namespace render
