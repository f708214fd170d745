// The renderer's page: primitives gathered per entity and written as one SVG document.
#include "render/svg_canvas.h"

#include "render/curve_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace render {

namespace {

// Page coordinates are held within this many pixels of the page so that far-off points
// never print as huge or infinite numbers.
constexpr double kPageLimit = 1e9;
// The tallest page written, in pixels; a very narrow window is shown smaller instead.
constexpr int kMaxPagePixels = 32768;

bool Finite(const Point2 &p) {
    return std::isfinite(p.x) && std::isfinite(p.y);
}

// A number for the page: at most three decimals, no trailing zeros, never "-0", and
// anything not finite written as 0.
std::string Number(double value) {
    if (!std::isfinite(value))
        value = 0;
    value = std::max(-kPageLimit, std::min(kPageLimit, value));
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", value);
    std::string out = text;
    size_t dot = out.find('.');
    if (dot != std::string::npos) {
        size_t last = out.find_last_not_of('0');
        out.erase(last == dot ? dot : last + 1);
    }
    if (out == "-0")
        out = "0";
    return out;
}

// The Unicode code points of the bytes 0x80 to 0x9f in code page 1252; 0 where the code
// page leaves the byte unassigned (such bytes are dropped).
const uint16_t kCp1252High[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                  0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                  0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                  0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

void AppendUtf8(unsigned code, std::string *out) {
    if (code < 0x80) {
        out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (code >> 6)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        out->push_back(static_cast<char>(0xE0 | (code >> 12)));
        out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

// Drawing text (code page 1252 bytes) as XML character data or attribute value in UTF-8:
// markup characters escaped, control characters dropped.
std::string EscapeText(const std::string &text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        unsigned byte = static_cast<unsigned char>(c);
        switch (byte) {
        case '&':
            out += "&amp;";
            continue;
        case '<':
            out += "&lt;";
            continue;
        case '>':
            out += "&gt;";
            continue;
        case '"':
            out += "&quot;";
            continue;
        case '\'':
            out += "&apos;";
            continue;
        default:
            break;
        }
        if (byte < 0x20 || byte == 0x7F)
            continue;
        if (byte >= 0x80 && byte < 0xA0) {
            unsigned code = kCp1252High[byte - 0x80];
            if (code != 0)
                AppendUtf8(code, &out);
            continue;
        }
        AppendUtf8(byte, &out);
    }
    return out;
}

const char *AnchorName(TextAnchor anchor) {
    switch (anchor) {
    case TextAnchor::kMiddle:
        return "middle";
    case TextAnchor::kEnd:
        return "end";
    default:
        return "start";
    }
}

double OrZero(double value) {
    return std::isfinite(value) ? value : 0;
}

// The window actually shown and its mapping to page pixels.
class PageMap {
public:
    PageMap(const Point2 &min, const Point2 &max, int width_px) {
        Point2 low = min, high = max;
        if (!Finite(low) || !Finite(high)) {
            low = {0, 0};
            high = {1, 1};
        }
        double cx = low.x / 2 + high.x / 2, cy = low.y / 2 + high.y / 2;
        double w = high.x - low.x, h = high.y - low.y;
        // An extent that is not positive, or lost against the size of the coordinates,
        // does not count.
        double smallest = 1e-9 * std::max({1.0, std::fabs(cx), std::fabs(cy)});
        bool has_w = std::isfinite(w) && w > smallest;
        bool has_h = std::isfinite(h) && h > smallest;
        if (!has_w && !has_h)
            w = h = std::max(1.0, 1e-6 * std::max(std::fabs(cx), std::fabs(cy)));
        else if (!has_w)
            w = h;
        else if (!has_h)
            h = w;
        if (!std::isfinite(w) || !std::isfinite(h)) {
            // So wide that the halves overflow: fall back to a plain unit window.
            cx = cy = 0.5;
            w = h = 1;
        }
        min_x_ = cx - w / 2;
        max_y_ = cy + h / 2;
        width_ = std::max(1, std::min(width_px, kMaxPagePixels));
        scale_ = width_ / w;
        double height = std::ceil(h * scale_ - 1e-6);
        if (!(height <= kMaxPagePixels)) {
            height = kMaxPagePixels;
            scale_ = height / h;
            width_ = std::max(1, static_cast<int>(std::ceil(w * scale_ - 1e-6)));
        }
        height_ = std::max(1, static_cast<int>(height));
    }

    double X(double x) const { return (x - min_x_) * scale_; }
    double Y(double y) const { return (max_y_ - y) * scale_; }
    // A length of the world in pixels, never thinner than one.
    double Thickness(double world) const {
        double px = OrZero(world) * scale_;
        return px > 1 && std::isfinite(px) ? px : 1;
    }
    double Scale() const { return scale_; }
    int Width() const { return width_; }
    int Height() const { return height_; }

private:
    double min_x_ = 0, max_y_ = 0, scale_ = 1;
    int width_ = 1, height_ = 1;
};

std::string PointList(const PageMap &page, const std::vector<Point2> &points) {
    std::string out;
    for (const Point2 &p : points) {
        if (!out.empty())
            out += ' ';
        out += Number(page.X(p.x));
        out += ',';
        out += Number(page.Y(p.y));
    }
    return out;
}

} // namespace

void SvgCanvas::BeginEntity(const char *kind) {
    groups_.push_back(Group{kind ? kind : "", {}});
    open_ = true;
}

void SvgCanvas::EndEntity() {
    open_ = false;
}

SvgCanvas::Item &SvgCanvas::NewItem() {
    // Drawing outside an entity's pair gets a group of its own, without a kind.
    if (!open_) {
        groups_.push_back(Group{"", {}});
        open_ = true;
        loose_ = true;
    }
    groups_.back().items.emplace_back();
    return groups_.back().items.back();
}

void SvgCanvas::Polyline(const std::vector<Point2> &points, bool closed, const StrokeStyle &style) {
    if (points.empty())
        return;
    Item &item = NewItem();
    item.kind = Item::kPolyline;
    item.points = points;
    item.closed = closed;
    item.style = style;
    CloseLooseGroup();
}

void SvgCanvas::EndlessLine(const Point2 &base, const Point2 &direction, bool both_ways,
                            const Rgb &color) {
    Item &item = NewItem();
    item.kind = Item::kEndless;
    item.points = {base, direction};
    item.closed = both_ways;
    item.style.color = color;
    CloseLooseGroup();
}

void SvgCanvas::Dot(const Point2 &at, const Rgb &color) {
    Item &item = NewItem();
    item.kind = Item::kDot;
    item.points.push_back(at);
    item.style.color = color;
    CloseLooseGroup();
}

void SvgCanvas::Text(const Point2 &at, double height, double rotation_degrees, double width_factor,
                     double oblique_degrees, const std::string &text, TextAnchor anchor,
                     const Rgb &color) {
    Item &item = NewItem();
    item.kind = Item::kText;
    item.points.push_back(at);
    item.height = OrZero(height);
    item.rotation = OrZero(rotation_degrees);
    item.width_factor = std::isfinite(width_factor) && width_factor != 0 ? width_factor : 1;
    // A slant near a right angle has no usable shear; it is held within the steepest
    // slant a text can sensibly show.
    item.oblique = std::max(-kSteepestOblique, std::min(kSteepestOblique, OrZero(oblique_degrees)));
    item.text = text;
    item.anchor = anchor;
    item.style.color = color;
    CloseLooseGroup();
}

void SvgCanvas::CloseLooseGroup() {
    if (loose_) {
        open_ = false;
        loose_ = false;
    }
}

bool SvgCanvas::Extents(Point2 *min, Point2 *max) const {
    bool any = false;
    Point2 low, high;
    auto take = [&](const Point2 &p) {
        if (!Finite(p))
            return;
        if (!any) {
            low = high = p;
            any = true;
            return;
        }
        low.x = std::min(low.x, p.x);
        low.y = std::min(low.y, p.y);
        high.x = std::max(high.x, p.x);
        high.y = std::max(high.y, p.y);
    };
    for (const Group &group : groups_) {
        for (const Item &item : group.items) {
            if (item.kind == Item::kEndless)
                continue; // endless: cut to whatever window the rest asks for
            if (item.kind != Item::kText) {
                for (const Point2 &p : item.points)
                    take(p);
                continue;
            }
            // A text's box: 0.7 of its height for each character, as high as the text,
            // placed by its anchor and turned about its point.
            const Point2 &at = item.points.front();
            double length = kCharWidth * item.height * std::fabs(item.width_factor) *
                            static_cast<double>(item.text.size());
            double left = item.anchor == TextAnchor::kStart    ? 0
                          : item.anchor == TextAnchor::kMiddle ? -length / 2
                                                               : -length;
            double turn = Radians(item.rotation);
            double c = std::cos(turn), s = std::sin(turn);
            const double corners[4][2] = {
                {left, 0}, {left + length, 0}, {left + length, item.height}, {left, item.height}};
            for (const auto &corner : corners)
                take({at.x + corner[0] * c - corner[1] * s, at.y + corner[0] * s + corner[1] * c});
        }
    }
    if (any) {
        if (min)
            *min = low;
        if (max)
            *max = high;
    }
    return any;
}

int SvgCanvas::EntityCount() const {
    return static_cast<int>(groups_.size());
}

void SvgCanvas::WriteSvg(std::ostream &out, const Point2 &min, const Point2 &max,
                         int width_px) const {
    PageMap page(min, max, width_px);
    const std::string width = std::to_string(page.Width());
    const std::string height = std::to_string(page.Height());
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" << width
        << "\" height=\"" << height << "\" viewBox=\"0 0 " << width << ' ' << height << "\">\n"
        << "<rect x=\"0\" y=\"0\" width=\"" << width << "\" height=\"" << height
        << "\" fill=\"#ffffff\"/>\n";
    for (const Group &group : groups_) {
        out << "<g class=\"entity\" data-kind=\"" << EscapeText(group.kind) << "\">";
        for (const Item &item : group.items) {
            const std::string color = RgbHex(item.style.color);
            switch (item.kind) {
            case Item::kPolyline: {
                bool polygon = item.closed || item.style.filled;
                out << (polygon ? "<polygon" : "<polyline") << " points=\""
                    << PointList(page, item.points) << '"';
                if (item.style.filled)
                    out << " fill=\"" << color << "\" stroke=\"none\"/>";
                else
                    out << " fill=\"none\" stroke=\"" << color << "\" stroke-width=\""
                        << Number(page.Thickness(item.style.width))
                        << "\" stroke-linecap=\"round\" stroke-linejoin=\"round\"/>";
                break;
            }
            case Item::kEndless: {
                Point2 from, to;
                if (ClipEndlessLine(item.points[0], item.points[1], item.closed, min, max, &from,
                                    &to))
                    out << "<polyline points=\"" << PointList(page, {from, to})
                        << "\" fill=\"none\" stroke=\"" << color
                        << "\" stroke-width=\"1\" stroke-linecap=\"round\"/>";
                break;
            }
            case Item::kDot: {
                const Point2 &at = item.points.front();
                out << "<circle cx=\"" << Number(page.X(at.x)) << "\" cy=\"" << Number(page.Y(at.y))
                    << "\" r=\"0.5\" fill=\"" << color << "\"/>";
                break;
            }
            case Item::kText: {
                const Point2 &at = item.points.front();
                const double px = page.X(at.x), py = page.Y(at.y);
                const std::string x = Number(px), y = Number(py);
                out << "<text x=\"" << x << "\" y=\"" << y << "\" font-family=\"sans-serif\""
                    << " font-size=\"" << Number(std::fabs(item.height) * page.Scale())
                    << "\" text-anchor=\"" << AnchorName(item.anchor) << "\" fill=\"" << color
                    << '"';
                // The page's y runs down, so counter-clockwise turns and forward slants
                // change sign; all three act about the text's own point.
                bool turned = item.rotation != 0, slanted = item.oblique != 0,
                     stretched = item.width_factor != 1;
                if (turned || slanted || stretched) {
                    out << " transform=\"translate(" << x << ' ' << y << ')';
                    if (turned)
                        out << " rotate(" << Number(-item.rotation) << ')';
                    if (slanted)
                        out << " skewX(" << Number(-item.oblique) << ')';
                    if (stretched)
                        out << " scale(" << Number(item.width_factor) << " 1)";
                    out << " translate(" << Number(-px) << ' ' << Number(-py) << ")\"";
                }
                out << '>' << EscapeText(item.text) << "</text>";
                break;
            }
            }
        }
        out << "</g>\n";
    }
    out << "</svg>\n";
}

} // namespace render
