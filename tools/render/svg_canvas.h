// The page of the renderer: primitives collected in world plan coordinates, grouped by
// the entity that made them, and written as one SVG document that shows a window of the
// world.
#ifndef VELKO_RENDER_SVG_CANVAS_H
#define VELKO_RENDER_SVG_CANVAS_H

#include "render/aci_colors.h"
#include "render/render_geometry.h"

#include <ostream>
#include <string>
#include <vector>

namespace render {

// The estimated advance of one character of a text in the page's font, as a part of its
// height.
constexpr double kCharWidth = 0.7;

struct StrokeStyle {
    Rgb color;
    // The line's width in world units; 0 draws the thinnest line the page shows.
    double width = 0;
    // Filled shapes (SOLID, TRACE, wide polyline segments) are painted inside, not stroked.
    bool filled = false;
};

// Where a fallback text element stands against its anchor point.
enum class TextAnchor { kStart, kMiddle, kEnd };

class SvgCanvas {
public:
    // What follows until EndEntity is the drawing of one entity, of the kind named by its
    // DXF name ("LINE"). Each pair makes one group in the page, also when nothing was
    // drawn in between; groups do not nest (a second BeginEntity starts the next group).
    // A primitive drawn outside any pair makes a group of its own with an empty kind.
    void BeginEntity(const char *kind);
    void EndEntity();

    // A run of points joined by straight lines; closed joins the last to the first.
    void Polyline(const std::vector<Point2> &points, bool closed, const StrokeStyle &style);
    // A line without end (RAY: from `base` along `direction`; XLINE, `both_ways`: in both
    // directions). It adds nothing to the extents and is cut to the page's window when the
    // page is written; a line that misses the window draws nothing.
    void EndlessLine(const Point2 &base, const Point2 &direction, bool both_ways, const Rgb &color);
    // A POINT: a dot of the page's thinnest line width.
    void Dot(const Point2 &at, const Rgb &color);
    // A text the page's own font shows (when no shape font is at hand): its baseline starts
    // at `at` (by `anchor`), `height` in world units, turned by `rotation_degrees`,
    // stretched by `width_factor` and slanted by `oblique_degrees`.
    void Text(const Point2 &at, double height, double rotation_degrees, double width_factor,
              double oblique_degrees, const std::string &text, TextAnchor anchor, const Rgb &color);

    // The smallest box that holds everything drawn so far (texts by an estimate of their
    // box); false when nothing was drawn.
    bool Extents(Point2 *min, Point2 *max) const;
    // The number of entity groups.
    int EntityCount() const;

    // Writes the document: the window from `min` to `max` of the world, y up, on a light
    // page `width_px` pixels wide and as high as the window's proportions ask. A window
    // without extent is widened around its centre.
    // Numbers are written with at most three decimals; lines of width 0 (or thinner than a
    // pixel) are one pixel wide; a fallback text's font-size is its height in pixels.
    // Neither side of the page exceeds 32768 pixels; a window that is not finite shows
    // the unit square.
    void WriteSvg(std::ostream &out, const Point2 &min, const Point2 &max, int width_px) const;

private:
    struct Item {
        enum Kind { kPolyline, kDot, kText, kEndless } kind;
        std::vector<Point2> points;
        bool closed = false;
        StrokeStyle style;
        double height = 0, rotation = 0, width_factor = 1, oblique = 0;
        std::string text;
        TextAnchor anchor = TextAnchor::kStart;
    };
    struct Group {
        std::string kind;
        std::vector<Item> items;
    };
    // The item a primitive fills in: in the open entity's group, or, drawn outside any
    // entity, in a group of its own without a kind (closed again by CloseLooseGroup).
    Item &NewItem();
    void CloseLooseGroup();

    std::vector<Group> groups_;
    bool open_ = false;
    bool loose_ = false;
};

} // namespace render

#endif
