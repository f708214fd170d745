// The strokes of a shape: the shape interpreter walking a shape's byte codes with the pen
// drawing, for a client that shows texts and SHAPE entities. The width that the loader
// stores comes from the same walk with the pen drawing nothing.
#ifndef VELKO_SHAPE_STROKES_H
#define VELKO_SHAPE_STROKES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

struct ShapePoint {
    double x = 0, y = 0;
};

// One stroke: the pen's path between putting it down and lifting it (or the shape's end),
// in the units of the codes. A stroke has at least two points.
struct ShapeStroke {
    std::vector<ShapePoint> points;
};

// The byte codes of subshape `number` of the same font, behind its name: false when the
// font has no such shape.
using ShapeCodesLookup = std::function<bool(int number, std::vector<uint8_t> *codes)>;

struct ShapeDrawing {
    std::vector<ShapeStroke> strokes;
    // Where the pen stands when the codes end: the start of the next character.
    ShapePoint end;
};

// Walks the codes as horizontal text draws them: the pen starts down at (0, 0) with scale
// 1; a command after code 14 is skipped; arcs become points at most 1/16 of a turn apart
// (finer for large radii is not needed at text sizes). Subshapes (code 7) are looked up
// through `lookup` (may be empty) and drawn in place, at most 8 deep. Damaged codes end
// the walk where they stop making sense, as the width's walk does.
ShapeDrawing DrawShape(const uint8_t *codes, size_t length, const ShapeCodesLookup &lookup);

#endif
