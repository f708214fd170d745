// The renderer's entry points: a drawing walked onto a canvas, and a file drawn into an
// SVG document, with the window that the header's extents give.
#include "render/drawing_renderer.h"

#include "render/drawing_walker.h"

#include "velkow32.h"

#include <cmath>
#include <cstring>
#include <fstream>

namespace render {
namespace {

// Extents at or beyond this size are the header's "not yet set" values.
constexpr double kUnsetExtent = 1e19;

bool SaneCoordinate(double value) {
    return std::isfinite(value) && std::fabs(value) < kUnsetExtent;
}

// A point variable of the header, as two plan coordinates.
bool HeaderPoint(int16_t h, const char *name, Point2 *point) {
    CDB_VAR_VALUE_type value;
    std::memset(&value, 0, sizeof value);
    const int16_t type = CDBGetVariableValue(h, name, &value);
    if (type == CDB_VAR_POINT3) {
        *point = {value.point3_value.x, value.point3_value.y};
        return true;
    }
    if (type == CDB_VAR_POINT2) {
        *point = {value.point2_value.x, value.point2_value.y};
        return true;
    }
    return false;
}

// The window of the header's extents of the space, when they are set and sane.
bool HeaderWindow(int16_t h, bool paper, Point2 *min, Point2 *max) {
    if (!HeaderPoint(h, paper ? "pextmin" : "extmin", min) ||
        !HeaderPoint(h, paper ? "pextmax" : "extmax", max))
        return false;
    return SaneCoordinate(min->x) && SaneCoordinate(min->y) && SaneCoordinate(max->x) &&
           SaneCoordinate(max->y) && min->x < max->x && min->y < max->y;
}

} // namespace

bool RenderDrawing(int16_t h, const RenderOptions &options, SvgCanvas &canvas,
                   RenderSummary *summary) {
    RenderSummary local;
    RenderSummary &out = summary ? *summary : local;
    out = RenderSummary();
    // Off and frozen layers are never drawn; the filter bits stay with the drawing.
    if (CDBLayerFilter(h, static_cast<int16_t>(1 | 4 | options.layer_filter)) != 1)
        return false;
    DrawingWalker walker(h, options.paper, canvas);
    walker.DrawMainList();
    out.entities = walker.Counts().groups;
    out.shape_texts = walker.Counts().shape_texts;
    out.plain_texts = walker.Counts().plain_texts;
    out.opaque = walker.Counts().opaque;
    out.header_extents = HeaderWindow(h, options.paper, &out.min, &out.max);
    if (!out.header_extents && !canvas.Extents(&out.min, &out.max))
        out.min = out.max = Point2();
    return true;
}

bool RenderFile(const std::string &file, const std::string &svg_path, const RenderOptions &options,
                RenderSummary *summary, std::string *error) {
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    if (h < 0) {
        const int16_t code = CDBGetErrorNumber(CDB_FAIL);
        char message[256] = {};
        CDBGetErrorMessage(code, message, sizeof message - 1);
        if (error)
            *error = file + ": " + message + " (" + std::to_string(code) + ")";
        return false;
    }
    SvgCanvas canvas;
    RenderSummary local;
    RenderSummary &out = summary ? *summary : local;
    const bool drawn = RenderDrawing(h, options, canvas, &out);
    CDBEndOperation(h);
    if (!drawn) {
        if (error)
            *error = file + ": the drawing can't be walked";
        return false;
    }
    std::ofstream svg(svg_path, std::ios::binary | std::ios::trunc);
    if (svg)
        canvas.WriteSvg(svg, out.min, out.max, options.width_px);
    svg.close();
    if (!svg) {
        if (error)
            *error = svg_path + ": can't be written";
        return false;
    }
    return true;
}

} // namespace render
