// Draws an open drawing onto an SvgCanvas through the library's flat interface: the lists
// walked in the display order of CDBNavigate (inserts followed into their blocks, the
// filters applied), every kind as its geometry, in its colour, texts by their shape fonts.
#ifndef VELKO_RENDER_DRAWING_RENDERER_H
#define VELKO_RENDER_DRAWING_RENDERER_H

#include "render/svg_canvas.h"

#include <cstdint>
#include <string>

namespace render {

struct RenderOptions {
    // Paper space instead of model space.
    bool paper = false;
    // Layer filter bits for CDBLayerFilter, added to the hiding of off and frozen layers.
    int16_t layer_filter = 0;
    // Width of the page in pixels.
    int width_px = 1024;
};

struct RenderSummary {
    // Entity groups drawn: one for each entity the walk shows, its vertices and sequence
    // end counted with their polyline.
    int entities = 0;
    // Texts drawn with shape fonts, and texts that fell back to the page's font.
    int shape_texts = 0;
    int plain_texts = 0;
    // REGION, 3DSOLID and BODY entities shown: their modeler data draws nothing.
    int opaque = 0;
    // The world window shown, and whether it came from the header's extents.
    Point2 min, max;
    bool header_extents = false;
};

// Draws drawing `h` (a handle of the flat interface, list mode) onto `canvas` and fills
// `summary`. False when the drawing can't be walked.
bool RenderDrawing(int16_t h, const RenderOptions &options, SvgCanvas &canvas,
                   RenderSummary *summary);

// Opens `file`, draws it and writes the SVG to `svg_path`. False with a message in `error`
// when the file can't be opened or written.
bool RenderFile(const std::string &file, const std::string &svg_path, const RenderOptions &options,
                RenderSummary *summary, std::string *error);

} // namespace render

#endif
