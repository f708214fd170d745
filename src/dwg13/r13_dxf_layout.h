// The DXF groups of every release 13 entity kind, written down once as data.
//
// A kind's list holds its groups in the order in which the release 13 writer puts them out:
// its subclass markers (group 100 and the marker's text) as entries of their own, each group
// with the record field it fills, the value kind that says how, and the condition under which
// the writer writes it. Groups that the reader takes and the writer never writes stand in the
// list too, with the condition kNever. The reader finds a group's entry by its code, whatever
// order the file has; the writer walks the list.
//
// What callers may rely on:
// - a code may stand more than once in a list only where every entry of it fills the same
//   field the same way (the points of the DIMENSION forms); markers, the extrusion triple and
//   the extended data are writer positions and are never found by code (the common groups
//   read them), and this is checked when the library is compiled;
// - the common groups of every entity (handle, layer, line type, colour, ...) are one list of
//   their own, kR13CommonDxfGroups, in the writer's order, read before a kind's list is asked;
// - the few groups that do not go plainly to one field say so by their value kind: a name
//   looked up in a table, a block name kept for later, the arrays of SPLINE, LEADER and MLINE,
//   the joined texts of MTEXT and the modeler kinds, the chunks of an OLE frame, the vertex's
//   mesh markers.
#ifndef VELKO_R13_DXF_LAYOUT_H
#define VELKO_R13_DXF_LAYOUT_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>

// What a group's value is and where it goes.
enum class R13DxfValue : uint8_t {
    kMarker,       // group 100: a subclass marker, its text in `marker`; the reader passes it
    kExtrusion,    // the writer's triple 210, 220, 230 of the extrusion; read by common groups
    kExtendedData, // the writer's place of the extended data; read by the collector
    kReal,         // a real to a double
    kZBoth,        // the z of the block start's base point, also its elevation
    kInt16,        // an integer to an i16
    kUInt16,       // an integer to a u16
    kByte,         // an integer to a u8
    kText,         // a text to a new heap copy; an empty value leaves the field null
    kTextKept,     // a text to a new heap copy, also when it is empty
    kHandle,       // a handle text, kept as it stands
    kSpace,        // group 67: the space; paper space marks the drawing
    kLayerName,    // a layer name: the layer's handle text
    kLineTypeName, // a line type name: "BYBLOCK" "0", "BYLAYER" "-1", else the handle text
    kTextStyle,    // a text style name: the style's handle text
    kDimstyle,     // a dimension style name: the dimension style's handle text
    kMlineStyle,   // a multiline style name: the style's handle text, when the table has it
    kBlockName,    // a block name: its block record's handle, the name kept for later
    kShapeName,    // a shape name: the shape tables give the number and the style's handle
    kNone,         // read past; the writer makes the value itself
    // The arrays and joined texts of the new kinds; `offset` is the component of an item.
    kSplineKnotCount,    // 72: the knot count, which allocates the knots
    kSplineControlCount, // 73: the control point count, which allocates the control points
    kSplineFitCount,     // 74: the fit point count, which allocates the fit points
    kSplineKnot,         // 40: the next knot
    kSplineControl,      // 10, 20, 30: a coordinate of the next control point
    kSplineWeight,       // 41: the next weight, taken only when flag bit 4 is set
    kSplineFit,          // 11, 21, 31: a coordinate of the next fit point
    kLeaderCount,        // 76: the vertex count that allocates the vertices
    kLeaderVertex,       // 10, 20, 30: a coordinate of the next vertex
    kMlineVertexCount,   // 72: the vertex count that allocates the vertices
    kMlineLineCount,     // 73: the lines of each vertex
    kMlineVertexStart,   // 11: the next vertex begins, with its location's x
    kMlineVertexPoint,   // 21 to 33: a coordinate of the vertex being read
    kMlineSegmentCount,  // 74: the next line of the vertex and its segment parameter count
    kMlineSegment,       // 41: the next segment parameter of that line
    kMlineFillCount,     // 75: the fill parameter count of that line
    kMlineFill,          // 42: the next fill parameter of that line
    kJoinedText,         // 1, 3 of MTEXT: appended to the text in arrival order
    kModelerLine,        // 1, 3 of the modeler kinds: appended with CR LF
    kOleSize,            // 90: the data size that allocates the block
    kOleChunk,           // 310: a chunk appended to the block
    kMeshMarker,         // group 100 of a vertex: a mesh marker that the reader looks for
};

// When the writer writes a group.
enum class R13DxfWhen : uint8_t {
    kAlways,
    kNever,            // read only
    kPositive,         // [>0]: the value is greater than 0
    kNotZero,          // [0]: the value is not 0
    kIsOne,            // [1] of the space of a block start or end: only when it is 1
    kNotOne,           // [1.0], [1]: the value is not 1; the reader starts the field at 1
    kNotThree,         // [3]: the value is not 3; the reader starts the field at 3
    kNotUnitX,         // [1, 0, 0]: the point is not 1, 0, 0; the reader starts it there
    kNotMinusOne,      // the colour is not -1
    kNotByLayer,       // the line type handle is not "-1"
    kNotNull,          // a text that is not null
    kPointNotZero,     // the point that the coordinate belongs to is not 0, 0, 0
    kDefinitionPoint,  // not 0, 0, 0, but always for a group 70 of 38 or 102
    kStyleSet,         // the dimension style is set
    kExtrusionNotUnit, // E: the extrusion is not 0, 0, 1
    kHasExtendedData,  // X: the entity has extended data
    kPolyline2D,       // the flags are not 8
    kPolyline3D,       // the flags are 8 exactly
    kVertexAtOrigin,   // the vertex's point is 0, 0, 0
    kVertexOffOrigin,  // the vertex's point is not 0, 0, 0
    kEachItem,         // once for each item of its array
};

// The forms of a DIMENSION by its group 70, for the groups of one form only.
enum class R13DxfForm : uint8_t {
    kAny,
    kLinearOrAligned, // 32, 33
    kLinear,          // 32
    kDiameter,        // 35
    kRadius,          // 36
    kAngular,         // 34, 37, 162, 165
    kOrdinate,        // 38, 102
};

struct R13DxfGroup {
    int16_t code;
    R13DxfValue value;
    R13DxfWhen when;
    uint16_t offset;    // byte offset of the field in the record (component of an item)
    const char *marker; // the text of a subclass marker, null for other groups
    R13DxfForm form = R13DxfForm::kAny;
};

struct R13DxfLayout {
    const R13DxfGroup *groups;
    size_t count;
    // The entry of each code below kDirectCodes: its index + 1, 0 for none.
    const uint8_t *direct;
    static constexpr int kDirectCodes = 360;

    // The entry that reads `code`, or null.
    const R13DxfGroup *Find(int code) const {
        if (code < 0 || code >= kDirectCodes || direct[code] == 0)
            return nullptr;
        return &groups[direct[code] - 1];
    }
};

// The groups that every entity has, in the writer's order: 5, the marker "AcDbEntity", 8, 6,
// 62, 48, 67; and, read only, 38, 39, 60, 210, 220, 230.
extern const R13DxfLayout kR13CommonDxfGroups;

// The groups of the kind with the public code `code` (CDB_LINE, ..., CDB_BLOCK, CDB_ENDBLK,
// CDB_OLEFRAME), or null for a code that has no DXF entity of release 13.
const R13DxfLayout *R13DxfLayoutOf(int code);

// The marker texts the DXF files of this release use.
extern const char kR13EntityMarker[];       // "AcDbEntity"
extern const char kR13PolygonMeshVertex[];  // "AcDbPolygonMeshVertex"
extern const char kR13PolyFaceMeshVertex[]; // "AcDbPolyFaceMeshVertex"

#endif
