// The DXF groups of the release 13 entity kinds as data; see r13_dxf_layout.h.
#include "dwg13/r13_dxf_layout.h"

#include <array>

const char kR13EntityMarker[] = "AcDbEntity";
const char kR13PolygonMeshVertex[] = "AcDbPolygonMeshVertex";
const char kR13PolyFaceMeshVertex[] = "AcDbPolyFaceMeshVertex";

namespace {

using V = R13DxfValue;
using W = R13DxfWhen;
using F = R13DxfForm;
using Direct = std::array<uint8_t, R13DxfLayout::kDirectCodes>;

constexpr W A = W::kAlways;

// An item of an array of points (the vertices of a leader, the fit points of a spline).
struct PointItem {
    CDB_POINT3 point;
};

#define E(member) static_cast<uint16_t>(offsetof(CDB_ENTITY, member))
#define ITEM(type, member) static_cast<uint16_t>(offsetof(type, member))

// A subclass marker, for every form or for one.
#define M(text)                                                                                    \
    { 100, V::kMarker, A, 0, text }
#define MW(text, when)                                                                             \
    { 100, V::kMarker, when, 0, text }
#define MF(text, form)                                                                             \
    { 100, V::kMarker, A, 0, text, form }
// A point of three reals under code, code + 10, code + 20.
#define XYZ(code, member, when)                                                                    \
    {code, V::kReal, when, E(member.x), nullptr},                                                  \
        {code + 10, V::kReal, when, E(member.y), nullptr}, {                                       \
        code + 20, V::kReal, when, E(member.z), nullptr                                            \
    }
// The same, written for one DIMENSION form only.
#define XYZF(code, member, when, form)                                                             \
    {code, V::kReal, when, E(member.x), nullptr, form},                                            \
        {code + 10, V::kReal, when, E(member.y), nullptr, form}, {                                 \
        code + 20, V::kReal, when, E(member.z), nullptr, form                                      \
    }
// The coordinates of an array's item: `type` is the item, `member` its point.
#define ITEM_XYZ(code, value, type, member)                                                        \
    {code, value, W::kEachItem, ITEM(type, member.x), nullptr},                                    \
        {code + 10, value, W::kEachItem, ITEM(type, member.y), nullptr}, {                         \
        code + 20, value, W::kEachItem, ITEM(type, member.z), nullptr                              \
    }
// The writer's positions of the extrusion (E), the extended data (X) and the thickness.
#define EXTRUSION                                                                                  \
    { 210, V::kExtrusion, W::kExtrusionNotUnit, E(extrusion), nullptr }
#define EED                                                                                        \
    { 1001, V::kExtendedData, W::kHasExtendedData, E(eed_data), nullptr }
#define THICKNESS                                                                                  \
    { 39, V::kReal, W::kPositive, E(thickness), nullptr }

// ---- The common groups --------------------------------------------------------------------

constexpr R13DxfGroup kCommon[] = {
    {5, V::kHandle, A, E(handle), nullptr},
    M(kR13EntityMarker),
    {8, V::kLayerName, A, E(layer_handle), nullptr},
    {6, V::kLineTypeName, W::kNotByLayer, E(line_type_handle), nullptr},
    {62, V::kInt16, W::kNotMinusOne, E(color), nullptr},
    {48, V::kReal, W::kNotOne, E(line_type_scale), nullptr},
    {67, V::kSpace, W::kNotZero, E(space), nullptr},
    // Each kind decides where these go out, or that they do not.
    {38, V::kReal, W::kNever, E(elevation), nullptr},
    {39, V::kReal, W::kNever, E(thickness), nullptr},
    {60, V::kUInt16, W::kNever, E(invisibility), nullptr},
    {210, V::kReal, W::kNever, E(extrusion.x), nullptr},
    {220, V::kReal, W::kNever, E(extrusion.y), nullptr},
    {230, V::kReal, W::kNever, E(extrusion.z), nullptr},
};

// ---- The kinds of release 12 --------------------------------------------------------------

constexpr R13DxfGroup kLine[] = {
    M("AcDbLine"), THICKNESS, XYZ(10, line.start_point, A), XYZ(11, line.end_point, A), EED,
};

// A point writes no extended data.
constexpr R13DxfGroup kPoint[] = {
    M("AcDbPoint"),
    XYZ(10, point.location, A),
    THICKNESS,
    EXTRUSION,
    {50, V::kReal, W::kNotZero, E(point.x_axis_angle), nullptr},
};

constexpr R13DxfGroup kCircle[] = {
    M("AcDbCircle"),
    THICKNESS,
    XYZ(10, circle.center, A),
    {40, V::kReal, A, E(circle.radius), nullptr},
    EED,
};

constexpr R13DxfGroup kArc[] = {
    M("AcDbCircle"),
    THICKNESS,
    XYZ(10, arc.center, A),
    {40, V::kReal, A, E(arc.radius), nullptr},
    M("AcDbArc"),
    {50, V::kReal, A, E(arc.start_angle), nullptr},
    {51, V::kReal, A, E(arc.end_angle), nullptr},
    EXTRUSION,
    EED,
};

constexpr R13DxfGroup kTrace[] = {
    M("AcDbTrace"),
    THICKNESS,
    XYZ(10, trace.corner_1, A),
    XYZ(11, trace.corner_2, A),
    XYZ(12, trace.corner_3, A),
    XYZ(13, trace.corner_4, A),
    EED,
};

// A solid has the trace's marker, its thickness behind the corners, and its extrusion.
constexpr R13DxfGroup kSolid[] = {
    M("AcDbTrace"),
    XYZ(10, trace.corner_1, A),
    XYZ(11, trace.corner_2, A),
    XYZ(12, trace.corner_3, A),
    XYZ(13, trace.corner_4, A),
    THICKNESS,
    EXTRUSION,
    EED,
};

constexpr R13DxfGroup kFace[] = {
    M("AcDbFace"),
    XYZ(10, face.corner_1, A),
    XYZ(11, face.corner_2, A),
    XYZ(12, face.corner_3, A),
    XYZ(13, face.corner_4, A),
    {70, V::kInt16, W::kNotZero, E(face.invisible_edges), nullptr},
    EED,
};

// The text's marker stands twice: the vertical justification has a subclass of its own.
constexpr R13DxfGroup kText[] = {
    M("AcDbText"),
    THICKNESS,
    XYZ(10, text.insertion_point, A),
    {40, V::kReal, A, E(text.height), nullptr},
    {1, V::kText, A, E(text.text), nullptr},
    {50, V::kReal, W::kNotZero, E(text.rotation), nullptr},
    {41, V::kReal, W::kNotOne, E(text.width_factor), nullptr},
    {51, V::kReal, W::kNotZero, E(text.oblique_angle), nullptr},
    {7, V::kTextStyle, A, E(text.style_handle), nullptr},
    {71, V::kInt16, A, E(text.generation_flags), nullptr},
    {72, V::kByte, A, E(text.horizontal_justification), nullptr},
    XYZ(11, text.alignment_point, A),
    EXTRUSION,
    M("AcDbText"),
    {73, V::kByte, A, E(text.vertical_justification), nullptr},
    EED,
};

constexpr R13DxfGroup kShape[] = {
    M("AcDbShape"),
    THICKNESS,
    XYZ(10, shape.insertion_point, A),
    {40, V::kReal, A, E(shape.size), nullptr},
    {2, V::kShapeName, A, E(shape.shape_number), nullptr},
    {50, V::kReal, W::kNotZero, E(shape.rotation), nullptr},
    {41, V::kReal, W::kNotOne, E(shape.x_scale), nullptr},
    {51, V::kReal, W::kNotZero, E(shape.oblique_angle), nullptr},
    EXTRUSION,
    EED,
};

// INSERT and MINSERT: the grid's groups are left out at their defaults.
constexpr R13DxfGroup kInsert[] = {
    M("AcDbBlockReference"),
    {66, V::kInt16, A, E(insert.attributes_follow), nullptr},
    {2, V::kBlockName, A, E(insert.block_handle), nullptr},
    XYZ(10, insert.insertion_point, A),
    {41, V::kReal, W::kNotOne, E(insert.x_scale), nullptr},
    {42, V::kReal, W::kNotOne, E(insert.y_scale), nullptr},
    {43, V::kReal, W::kNotOne, E(insert.z_scale), nullptr},
    {50, V::kReal, W::kNotZero, E(insert.rotation), nullptr},
    {70, V::kInt16, W::kNotOne, E(insert.column_count), nullptr},
    {71, V::kInt16, W::kNotOne, E(insert.row_count), nullptr},
    {44, V::kReal, W::kNotZero, E(insert.column_spacing), nullptr},
    {45, V::kReal, W::kNotZero, E(insert.row_spacing), nullptr},
    EXTRUSION,
    EED,
};

constexpr R13DxfGroup kAttdef[] = {
    M("AcDbText"),
    THICKNESS,
    XYZ(10, attdef.insertion_point, A),
    {40, V::kReal, A, E(attdef.height), nullptr},
    {1, V::kText, A, E(attdef.default_value), nullptr},
    M("AcDbAttributeDefinition"),
    {3, V::kText, A, E(attdef.prompt), nullptr},
    {2, V::kText, A, E(attdef.tag), nullptr},
    {70, V::kInt16, A, E(attdef.flags), nullptr},
    {73, V::kInt16, A, E(attdef.field_length), nullptr},
    {50, V::kReal, W::kNotZero, E(attdef.rotation), nullptr},
    {41, V::kReal, W::kNotOne, E(attdef.width_factor), nullptr},
    {51, V::kReal, W::kNotZero, E(attdef.oblique_angle), nullptr},
    {7, V::kTextStyle, A, E(attdef.style_handle), nullptr},
    {71, V::kInt16, A, E(attdef.generation_flags), nullptr},
    {72, V::kInt16, A, E(attdef.horizontal_justification), nullptr},
    {74, V::kInt16, A, E(attdef.vertical_justification), nullptr},
    XYZ(11, attdef.alignment_point, A),
    EXTRUSION,
    EED,
};

constexpr R13DxfGroup kAttrib[] = {
    M("AcDbText"),
    THICKNESS,
    XYZ(10, attrib.insertion_point, A),
    {40, V::kReal, A, E(attrib.height), nullptr},
    {1, V::kText, A, E(attrib.value), nullptr},
    M("AcDbAttribute"),
    {2, V::kText, A, E(attrib.tag), nullptr},
    {70, V::kInt16, A, E(attrib.flags), nullptr},
    {73, V::kInt16, A, E(attrib.field_length), nullptr},
    {50, V::kReal, W::kNotZero, E(attrib.rotation), nullptr},
    {41, V::kReal, W::kNotOne, E(attrib.width_factor), nullptr},
    {51, V::kReal, W::kNotZero, E(attrib.oblique_angle), nullptr},
    {7, V::kTextStyle, A, E(attrib.style_handle), nullptr},
    {71, V::kInt16, A, E(attrib.generation_flags), nullptr},
    {72, V::kInt16, A, E(attrib.horizontal_justification), nullptr},
    {74, V::kInt16, A, E(attrib.vertical_justification), nullptr},
    XYZ(11, attrib.alignment_point, A),
    EXTRUSION,
    EED,
};

// The marker says the form: a 3D polyline has the flags 8 exactly.
constexpr R13DxfGroup kPolyline[] = {
    MW("AcDb2dPolyline", W::kPolyline2D),
    MW("AcDb3dPolyline", W::kPolyline3D),
    {66, V::kInt16, A, E(polyline.vertices_follow), nullptr},
    XYZ(10, polyline.origin, A),
    THICKNESS,
    {70, V::kInt16, A, E(polyline.flags), nullptr},
    {40, V::kReal, W::kNotZero, E(polyline.start_width), nullptr},
    {41, V::kReal, W::kNotZero, E(polyline.end_width), nullptr},
    {71, V::kInt16, A, E(polyline.mesh_m_count), nullptr},
    {72, V::kInt16, A, E(polyline.mesh_n_count), nullptr},
    {73, V::kInt16, A, E(polyline.smooth_m_density), nullptr},
    {74, V::kInt16, A, E(polyline.smooth_n_density), nullptr},
    {75, V::kInt16, A, E(polyline.curve_type), nullptr},
    EED,
};

// The writer's second marker goes by the point: "AcDb3dVertex" at 0, 0, 0, "AcDb2dVertex"
// anywhere else. The reader looks for the two mesh markers, which the writer never writes.
// A negative bulge is not written.
constexpr R13DxfGroup kVertex[] = {
    M("AcDbVertex"),
    MW("AcDb3dVertex", W::kVertexAtOrigin),
    MW("AcDb2dVertex", W::kVertexOffOrigin),
    {100, V::kMeshMarker, W::kNever, 0, kR13PolygonMeshVertex},
    {100, V::kMeshMarker, W::kNever, 0, kR13PolyFaceMeshVertex},
    XYZ(10, vertex.location, A),
    {40, V::kReal, W::kPositive, E(vertex.start_width), nullptr},
    {41, V::kReal, W::kPositive, E(vertex.end_width), nullptr},
    {42, V::kReal, W::kPositive, E(vertex.bulge), nullptr},
    {70, V::kInt16, A, E(vertex.flags), nullptr},
    {50, V::kReal, W::kNotZero, E(vertex.tangent_direction), nullptr},
    {71, V::kInt16, A, E(vertex.polyface_index_1), nullptr},
    {72, V::kInt16, A, E(vertex.polyface_index_2), nullptr},
    {73, V::kInt16, A, E(vertex.polyface_index_3), nullptr},
    {74, V::kInt16, A, E(vertex.polyface_index_4), nullptr},
    EED,
};

constexpr R13DxfGroup kSeqEnd[] = {EED};

// The viewport's status (68) has no field: the writer makes it.
constexpr R13DxfGroup kViewport[] = {
    M("AcDbViewPort"),
    {68, V::kNone, A, 0, nullptr},
    XYZ(10, viewport.center, A),
    {40, V::kReal, A, E(viewport.width), nullptr},
    {41, V::kReal, A, E(viewport.height), nullptr},
    {69, V::kInt16, A, E(viewport.viewport_id), nullptr},
    EED,
};

// The head of every form, then the groups of each form by its group 70; each point of a
// form goes out only when it is not 0, 0, 0. The definition point is always written for the
// ordinate forms.
constexpr R13DxfGroup kDimension[] = {
    M("AcDbDimension"),
    {2, V::kBlockName, A, E(dimension.block_handle), nullptr},
    XYZ(10, dimension.definition_point, W::kDefinitionPoint),
    XYZ(11, dimension.text_midpoint, W::kPointNotZero),
    {70, V::kInt16, A, E(dimension.dimension_type), nullptr},
    {1, V::kText, A, E(dimension.text), nullptr},
    {53, V::kReal, W::kNotZero, E(dimension.oblique_angle), nullptr},
    {51, V::kReal, W::kNotZero, E(dimension.horizontal_direction), nullptr},
    EXTRUSION,
    {3, V::kDimstyle, W::kStyleSet, E(dimension.dimstyle_handle), nullptr},
    // Linear (32) and aligned (33).
    MF("AcDbAlignedDimension", F::kLinearOrAligned),
    XYZF(12, dimension.clone_insertion_point, W::kPointNotZero, F::kLinearOrAligned),
    XYZF(13, dimension.definition_point_2, W::kPointNotZero, F::kLinearOrAligned),
    XYZF(14, dimension.definition_point_3, W::kPointNotZero, F::kLinearOrAligned),
    {50, V::kReal, W::kNotZero, E(dimension.text_rotation), nullptr, F::kLinear},
    {52, V::kReal, W::kNotZero, E(dimension.extension_line_rotation), nullptr, F::kLinear},
    MF("AcDbRotatedDimension", F::kLinear),
    // Diameter (35) and radius (36).
    MF("AcDbDiametricDimension", F::kDiameter),
    XYZF(15, dimension.definition_point_4, W::kPointNotZero, F::kDiameter),
    {40, V::kReal, A, E(dimension.leader_length), nullptr, F::kDiameter},
    MF("AcDbRadialDimension", F::kRadius),
    XYZF(15, dimension.definition_point_4, W::kPointNotZero, F::kRadius),
    {40, V::kReal, A, E(dimension.leader_length), nullptr, F::kRadius},
    // Angular (34, 37, 162, 165).
    MF("AcDb2LineAngularDimension", F::kAngular),
    XYZF(13, dimension.definition_point_2, W::kPointNotZero, F::kAngular),
    XYZF(14, dimension.definition_point_3, W::kPointNotZero, F::kAngular),
    XYZF(15, dimension.definition_point_4, W::kPointNotZero, F::kAngular),
    XYZF(16, dimension.arc_definition_point, W::kPointNotZero, F::kAngular),
    // Ordinate (38, 102).
    MF("AcDbOrdinateDimension", F::kOrdinate),
    XYZF(13, dimension.definition_point_2, W::kPointNotZero, F::kOrdinate),
    XYZF(14, dimension.definition_point_3, W::kPointNotZero, F::kOrdinate),
    EED,
};

// ---- The block start and end --------------------------------------------------------------

// The block's own order of the common groups: handle, the entity marker, space, layer. The
// base point's z is the block start's elevation too.
constexpr R13DxfGroup kBlockStart[] = {
    {5, V::kHandle, W::kNotNull, E(handle), nullptr},
    M(kR13EntityMarker),
    {67, V::kSpace, W::kIsOne, E(space), nullptr},
    {8, V::kLayerName, A, E(layer_handle), nullptr},
    M("AcDbBlockBegin"),
    {2, V::kTextKept, W::kNotNull, E(block.name), nullptr},
    {70, V::kInt16, A, E(block.flags), nullptr},
    {10, V::kReal, A, E(block.base_point.x), nullptr},
    {20, V::kReal, A, E(block.base_point.y), nullptr},
    {30, V::kZBoth, A, E(block.base_point.z), nullptr},
    {3, V::kTextKept, W::kNotNull, E(block.name_2), nullptr},
    {1, V::kTextKept, A, E(block.xref_path), nullptr},
};

constexpr R13DxfGroup kBlockEnd[] = {
    {5, V::kHandle, W::kNotNull, E(handle), nullptr},
    M(kR13EntityMarker),
    {67, V::kSpace, W::kIsOne, E(space), nullptr},
    {8, V::kLayerName, A, E(layer_handle), nullptr},
    M("AcDbBlockEnd"),
};

// ---- The kinds of release 13 --------------------------------------------------------------

constexpr R13DxfGroup kXline[] = {
    M("AcDbXline"),
    XYZ(10, xline.base_point, A),
    XYZ(11, xline.direction, A),
    EED,
};

constexpr R13DxfGroup kRay[] = {
    M("AcDbRay"),
    XYZ(10, ray.base_point, A),
    XYZ(11, ray.direction, A),
    EED,
};

// An ellipse writes its extrusion always, and no extended data.
constexpr R13DxfGroup kEllipse[] = {
    M("AcDbEllipse"),
    XYZ(10, ellipse.center, A),
    XYZ(11, ellipse.major_axis, A),
    {210, V::kExtrusion, A, E(extrusion), nullptr},
    {40, V::kReal, A, E(ellipse.axis_ratio), nullptr},
    {41, V::kReal, A, E(ellipse.start_parameter), nullptr},
    {42, V::kReal, A, E(ellipse.end_parameter), nullptr},
};

// One 10, 20, 30 per vertex. The normal and the x direction are read, not written.
constexpr R13DxfGroup kLeader[] = {
    M("AcDbLeader"),
    {3, V::kDimstyle, A, E(leader.dimstyle_handle), nullptr},
    {71, V::kInt16, A, E(leader.arrow_head), nullptr},
    {72, V::kInt16, A, E(leader.path_type), nullptr},
    {73, V::kInt16, W::kNotThree, E(leader.annotation_type), nullptr},
    {74, V::kInt16, A, E(leader.hookline_on_x), nullptr},
    {75, V::kInt16, A, E(leader.hookline), nullptr},
    {40, V::kReal, A, E(leader.text_height), nullptr},
    {41, V::kReal, A, E(leader.text_width), nullptr},
    {76, V::kLeaderCount, A, E(leader.vertex_count), nullptr},
    ITEM_XYZ(10, V::kLeaderVertex, PointItem, point),
    {77, V::kInt16, A, E(leader.color), nullptr},
    EXTRUSION,
    EED,
    XYZ(11, leader.normal, W::kNever),
    XYZ(12, leader.x_direction, W::kNever),
};

// The writer puts the whole text under 1; a reader joins 3 and 1 in the order they come.
constexpr R13DxfGroup kMtext[] = {
    M("AcDbMText"),
    XYZ(10, mtext.insertion_point, A),
    {40, V::kReal, A, E(mtext.height), nullptr},
    {41, V::kReal, A, E(mtext.width), nullptr},
    {71, V::kInt16, A, E(mtext.attachment_point), nullptr},
    {72, V::kInt16, A, E(mtext.drawing_direction), nullptr},
    {1, V::kJoinedText, A, E(mtext.text), nullptr},
    {7, V::kTextStyle, A, E(mtext.style_handle), nullptr},
    EXTRUSION,
    XYZ(11, mtext.x_axis_direction, W::kNotUnitX),
    EED,
    {3, V::kJoinedText, W::kNever, E(mtext.text), nullptr},
    XYZ(12, mtext.normal, W::kNever),
};

constexpr R13DxfGroup kTolerance[] = {
    M("AcDbFcf"),
    {3, V::kDimstyle, A, E(tolerance.dimstyle_handle), nullptr},
    XYZ(10, tolerance.insertion_point, A),
    {1, V::kTextKept, A, E(tolerance.text), nullptr},
    EXTRUSION,
    XYZ(11, tolerance.x_axis_direction, W::kNotUnitX),
    EED,
    XYZ(12, tolerance.normal, W::kNever),
};

// Per vertex its three points, then per line its segment and fill parameters. The style's
// name is written by its handle; a reader takes the handle (340), and a name only when the
// multiline style table knows it.
constexpr R13DxfGroup kMline[] = {
    M("AcDbMline"),
    {2, V::kMlineStyle, A, E(mline.style_handle), nullptr},
    {340, V::kHandle, A, E(mline.style_handle), nullptr},
    {40, V::kReal, A, E(mline.scale), nullptr},
    {70, V::kInt16, A, E(mline.justification), nullptr},
    {71, V::kInt16, A, E(mline.flags), nullptr},
    {72, V::kMlineVertexCount, A, E(mline.vertex_count), nullptr},
    {73, V::kMlineLineCount, A, E(mline.line_count), nullptr},
    XYZ(10, mline.base_point, A),
    EXTRUSION,
    {11, V::kMlineVertexStart, W::kEachItem, ITEM(CDB_MLINE_VERTEX, location.x), nullptr},
    {21, V::kMlineVertexPoint, W::kEachItem, ITEM(CDB_MLINE_VERTEX, location.y), nullptr},
    {31, V::kMlineVertexPoint, W::kEachItem, ITEM(CDB_MLINE_VERTEX, location.z), nullptr},
    ITEM_XYZ(12, V::kMlineVertexPoint, CDB_MLINE_VERTEX, direction),
    ITEM_XYZ(13, V::kMlineVertexPoint, CDB_MLINE_VERTEX, miter_direction),
    {74, V::kMlineSegmentCount, W::kEachItem, ITEM(CDB_MLINE_LINE, segment_parameter_count),
     nullptr},
    {41, V::kMlineSegment, W::kEachItem, ITEM(CDB_MLINE_LINE, segment_parameters), nullptr},
    {75, V::kMlineFillCount, W::kEachItem, ITEM(CDB_MLINE_LINE, fill_parameter_count), nullptr},
    {42, V::kMlineFill, W::kEachItem, ITEM(CDB_MLINE_LINE, fill_parameters), nullptr},
    EED,
    {7, V::kMlineStyle, W::kNever, E(mline.style_handle), nullptr},
};

// The knots, the control points and the fit points, each as many as its count says. The
// weights are read, not written.
constexpr R13DxfGroup kSpline[] = {
    M("AcDbSpline"),
    EXTRUSION,
    {70, V::kInt16, A, E(spline.flags), nullptr},
    {71, V::kInt16, A, E(spline.degree), nullptr},
    {72, V::kSplineKnotCount, A, E(spline.knot_count), nullptr},
    {73, V::kSplineControlCount, A, E(spline.control_point_count), nullptr},
    {74, V::kSplineFitCount, A, E(spline.fit_point_count), nullptr},
    {42, V::kReal, A, E(spline.knot_tolerance), nullptr},
    {43, V::kReal, A, E(spline.control_tolerance), nullptr},
    {44, V::kReal, A, E(spline.fit_tolerance), nullptr},
    XYZ(12, spline.start_tangent, A),
    XYZ(13, spline.end_tangent, A),
    {40, V::kSplineKnot, W::kEachItem, 0, nullptr},
    {10, V::kSplineControl, W::kEachItem, ITEM(CDB_SPLINE_CONTROL_POINT, x), nullptr},
    {20, V::kSplineControl, W::kEachItem, ITEM(CDB_SPLINE_CONTROL_POINT, y), nullptr},
    {30, V::kSplineControl, W::kEachItem, ITEM(CDB_SPLINE_CONTROL_POINT, z), nullptr},
    ITEM_XYZ(11, V::kSplineFit, PointItem, point),
    EED,
    {41, V::kSplineWeight, W::kNever, ITEM(CDB_SPLINE_CONTROL_POINT, weight), nullptr},
};

// The modeler kinds and the OLE frame have no writer: every group is read only.
constexpr R13DxfGroup kModeler[] = {
    {70, V::kInt16, W::kNever, E(region.format_version), nullptr},
    {1, V::kModelerLine, W::kNever, E(region.data), nullptr},
    {3, V::kModelerLine, W::kNever, E(region.data), nullptr},
};
constexpr R13DxfGroup kSolid3D[] = {
    {70, V::kInt16, W::kNever, E(solid3d.format_version), nullptr},
    {1, V::kModelerLine, W::kNever, E(solid3d.data), nullptr},
    {3, V::kModelerLine, W::kNever, E(solid3d.data), nullptr},
};
constexpr R13DxfGroup kOle[] = {
    {70, V::kInt16, W::kNever, E(ole.ole_version), nullptr},
    {90, V::kOleSize, W::kNever, E(ole.data_size), nullptr},
    {310, V::kOleChunk, W::kNever, E(ole.data), nullptr},
};

#undef M
#undef MW
#undef MF
#undef XYZ
#undef XYZF
#undef ITEM_XYZ
#undef EXTRUSION
#undef EED
#undef THICKNESS
#undef ITEM
#undef E

// ---- The direct index of each layout ------------------------------------------------------

// The entries that only the writer walks to: the reader never finds them by code.
constexpr bool IsWriterPosition(R13DxfValue value) {
    return value == V::kMarker || value == V::kExtrusion || value == V::kExtendedData ||
           value == V::kMeshMarker;
}

template <size_t N> constexpr Direct DirectOf(const R13DxfGroup (&groups)[N]) {
    static_assert(N < 255, "a layout's entries are numbered in one byte");
    Direct direct{};
    for (size_t i = 0; i < N; ++i) {
        const R13DxfGroup &g = groups[i];
        if (!IsWriterPosition(g.value) && direct[size_t(g.code)] == 0)
            direct[size_t(g.code)] = static_cast<uint8_t>(i + 1);
    }
    return direct;
}

// Every code that the reader finds lies in the direct range, and where a code stands more
// than once, every entry of it fills the same field the same way. A marker has its text.
template <size_t N> constexpr bool LayoutIsSound(const R13DxfGroup (&groups)[N]) {
    for (size_t i = 0; i < N; ++i) {
        const R13DxfGroup &a = groups[i];
        if ((a.value == V::kMarker || a.value == V::kMeshMarker) != (a.marker != nullptr))
            return false;
        if (IsWriterPosition(a.value))
            continue;
        if (a.code < 0 || a.code >= R13DxfLayout::kDirectCodes || a.code == 100)
            return false;
        for (size_t j = i + 1; j < N; ++j) {
            const R13DxfGroup &b = groups[j];
            if (!IsWriterPosition(b.value) && a.code == b.code &&
                (a.value != b.value || a.offset != b.offset))
                return false;
        }
    }
    return true;
}

#define LAYOUT(var, groups)                                                                        \
    static_assert(LayoutIsSound(groups), "a code of " #groups " fills two fields");                \
    constexpr Direct var##Direct = DirectOf(groups);                                               \
    const R13DxfLayout var = {groups, sizeof(groups) / sizeof(groups[0]), var##Direct.data()}

LAYOUT(kLineLayout, kLine);
LAYOUT(kPointLayout, kPoint);
LAYOUT(kCircleLayout, kCircle);
LAYOUT(kArcLayout, kArc);
LAYOUT(kTraceLayout, kTrace);
LAYOUT(kSolidLayout, kSolid);
LAYOUT(kFaceLayout, kFace);
LAYOUT(kTextLayout, kText);
LAYOUT(kShapeLayout, kShape);
LAYOUT(kInsertLayout, kInsert);
LAYOUT(kAttdefLayout, kAttdef);
LAYOUT(kAttribLayout, kAttrib);
LAYOUT(kPolylineLayout, kPolyline);
LAYOUT(kVertexLayout, kVertex);
LAYOUT(kSeqEndLayout, kSeqEnd);
LAYOUT(kViewportLayout, kViewport);
LAYOUT(kDimensionLayout, kDimension);
LAYOUT(kBlockStartLayout, kBlockStart);
LAYOUT(kBlockEndLayout, kBlockEnd);
LAYOUT(kXlineLayout, kXline);
LAYOUT(kRayLayout, kRay);
LAYOUT(kEllipseLayout, kEllipse);
LAYOUT(kLeaderLayout, kLeader);
LAYOUT(kMtextLayout, kMtext);
LAYOUT(kToleranceLayout, kTolerance);
LAYOUT(kMlineLayout, kMline);
LAYOUT(kSplineLayout, kSpline);
LAYOUT(kModelerLayout, kModeler);
LAYOUT(kSolid3DLayout, kSolid3D);
LAYOUT(kOleLayout, kOle);

} // namespace

LAYOUT(kR13CommonDxfGroups, kCommon);
#undef LAYOUT

const R13DxfLayout *R13DxfLayoutOf(int code) {
    switch (code) {
    case CDB_LINE:
        return &kLineLayout;
    case CDB_POINT:
        return &kPointLayout;
    case CDB_CIRCLE:
        return &kCircleLayout;
    case CDB_ARC:
        return &kArcLayout;
    case CDB_TRACE:
        return &kTraceLayout;
    case CDB_SOLID:
        return &kSolidLayout;
    case CDB_3DFACE:
        return &kFaceLayout;
    case CDB_TEXT:
        return &kTextLayout;
    case CDB_SHAPE:
        return &kShapeLayout;
    case CDB_INSERT:
        return &kInsertLayout;
    case CDB_ATTDEF:
        return &kAttdefLayout;
    case CDB_ATTRIB:
        return &kAttribLayout;
    case CDB_POLYLINE:
        return &kPolylineLayout;
    case CDB_VERTEX:
        return &kVertexLayout;
    case CDB_SEQEND:
        return &kSeqEndLayout;
    case CDB_VIEWPORT:
        return &kViewportLayout;
    case CDB_DIMENSION:
        return &kDimensionLayout;
    case CDB_BLOCK:
        return &kBlockStartLayout;
    case CDB_ENDBLK:
        return &kBlockEndLayout;
    case CDB_XLINE:
        return &kXlineLayout;
    case CDB_RAY:
        return &kRayLayout;
    case CDB_ELLIPSE:
        return &kEllipseLayout;
    case CDB_LEADER:
        return &kLeaderLayout;
    case CDB_MTEXT:
        return &kMtextLayout;
    case CDB_TOLERANCE:
        return &kToleranceLayout;
    case CDB_MLINE:
        return &kMlineLayout;
    case CDB_SPLINE:
        return &kSplineLayout;
    case CDB_REGION:
    case CDB_BODY:
        return &kModelerLayout;
    case CDB_3DSOLID:
        return &kSolid3DLayout;
    case CDB_OLEFRAME:
        return &kOleLayout;
    default:
        return nullptr;
    }
}
