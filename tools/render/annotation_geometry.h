// The annotations of release 13 as the renderer lays them out: the plain lines of a
// multi-line text (its formatting codes read, its paragraphs wrapped at its width), the
// arrowhead of a leader, the lines of a multiline and the boxes of a tolerance frame.
//
// Pure functions of the records' values: a damaged record (null arrays, counts that do not
// fit, values that are not finite) gives less to draw, never a read outside its arrays.
#ifndef VELKO_RENDER_ANNOTATION_GEOMETRY_H
#define VELKO_RENDER_ANNOTATION_GEOMETRY_H

#include "render/render_geometry.h"

#include "velkow32.h"

#include <functional>
#include <string>
#include <vector>

namespace render {

// The paragraphs of a multi-line text as plain text. \P ends a paragraph; \~ is a space
// that does not break; \\, \{ and \} are the characters themselves; a stacked fraction
// \Sa^b; (or a/b, a#b) shows as a/b; the codes with a value up to ';' (\A \C \F \H \Q \T \W
// \p) and the switches \L \l \O \o \K \k are dropped, as are the braces that group them.
std::vector<std::string> MTextParagraphs(const std::string &text);

// The width of a run of text in drawing units, as the font that draws it measures it.
using TextMeasure = std::function<double(const std::string &)>;

// The lines of one paragraph broken at spaces so that none is wider than `width` where a
// break allows it (a word wider than `width` keeps a line to itself). A width that is not
// positive breaks nothing. The breaking spaces are dropped.
std::vector<std::string> WrapParagraph(const std::string &paragraph, double width,
                                       const TextMeasure &measure);

// A filled arrowhead whose tip is at `tip`, pointing away from `from` (the next vertex of a
// leader): `size` long and a third of that wide. Empty when the two points meet or the
// size is not a positive finite number.
std::vector<Vec3> ArrowHead(const Vec3 &tip, const Vec3 &from, double size);

// The run of one line of a multiline: its points, one at each vertex, offset from the
// vertex along the vertex's miter direction by the line's first segment parameter.
// Vertices whose line has no segment parameters are left out. At most `kMaxMlineLines`
// lines and the first `vertex_count` vertices are read; null arrays give nothing.
constexpr int kMaxMlineLines = 64;
std::vector<std::vector<Vec3>> MlineRuns(const CDB_MLINE_type &mline);

// Whether a multiline's flags close it (its last vertex joined to its first).
constexpr int kMlineClosed = 2;

// The boxes of a tolerance frame, row by row: rows are separated by a line feed (written
// "^J" in DXF), boxes by "%%v";
// font switches (\Fname;) and braces are dropped from each box's text.
std::vector<std::vector<std::string>> ToleranceRows(const std::string &text);

} // namespace render

#endif
