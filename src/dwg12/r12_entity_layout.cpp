// The kinds' bodies as data; see r12_entity_layout.h.
#include "dwg12/r12_entity_layout.h"

namespace {

#define AT(member) static_cast<uint16_t>(offsetof(CDB_ENTITY, member))
#define KIND_BYTES(member)                                                                         \
    static_cast<uint16_t>(offsetof(CDB_ENTITY, member) + sizeof(CDB_ENTITY::member))
constexpr uint16_t kCommonBytes = static_cast<uint16_t>(offsetof(CDB_ENTITY, line));

constexpr R12When A = R12When::kAlways;
constexpr R12When O1 = R12When::kOptions1;
constexpr R12When O2 = R12When::kOptions2;
constexpr TableBase N = TableBase::kNone;

using V = R12Value;

constexpr R12EntityField kLine[] = {
    {A, 0, V::kXYz, N, AT(line.start_point)},
    {A, 0, V::kXYz, N, AT(line.end_point)},
    {O1, 0x01, V::kXYZ, N, AT(extrusion)},
};

constexpr R12EntityField kPoint[] = {
    {A, 0, V::kXYz, N, AT(point.location)},
    {O1, 0x01, V::kXYZ, N, AT(extrusion)},
    {O1, 0x10, V::kAngle, N, AT(point.x_axis_angle)},
};

constexpr R12EntityField kCircle[] = {
    {A, 0, V::kXYz, N, AT(circle.center)},
    {A, 0, V::kF64, N, AT(circle.radius)},
    {O1, 0x01, V::kXYZ, N, AT(extrusion)},
};

constexpr R12EntityField kShape[] = {
    {A, 0, V::kXYz, N, AT(shape.insertion_point)},
    {A, 0, V::kF64, N, AT(shape.size)},
    {A, 0, V::kU8, N, AT(shape.shape_number)},
    {O1, 0x01, V::kAngle, N, AT(shape.rotation)},
    {O1, 0x02, V::kU8, TableBase::kStyles, AT(shape.shape_style_index)},
    {O1, 0x04, V::kF64, N, AT(shape.x_scale)},
    {O1, 0x08, V::kAngle, N, AT(shape.oblique_angle)},
    {O1, 0x10, V::kXYZ, N, AT(extrusion)},
};

// The vertical justification of options_2 is read before the extrusion of options_1.
constexpr R12EntityField kText[] = {
    {A, 0, V::kXYz, N, AT(text.insertion_point)},
    {A, 0, V::kF64, N, AT(text.height)},
    {A, 0, V::kText, N, AT(text.text)},
    {O1, 0x01, V::kAngle, N, AT(text.rotation)},
    {O1, 0x02, V::kF64, N, AT(text.width_factor)},
    {O1, 0x04, V::kAngle, N, AT(text.oblique_angle)},
    {O1, 0x08, V::kU8, TableBase::kStyles, AT(text.style_index)},
    {O1, 0x10, V::kU8, N, AT(text.generation_flags)},
    {O1, 0x20, V::kU8Byte, N, AT(text.horizontal_justification)},
    {O1, 0x40, V::kXY0, N, AT(text.alignment_point)},
    {O2, 0x01, V::kU8Byte, N, AT(text.vertical_justification)},
    {O1, 0x80, V::kXYZ, N, AT(extrusion)},
};

constexpr R12EntityField kArc[] = {
    {A, 0, V::kXYz, N, AT(arc.center)},        {A, 0, V::kF64, N, AT(arc.radius)},
    {A, 0, V::kAngle, N, AT(arc.start_angle)}, {A, 0, V::kAngle, N, AT(arc.end_angle)},
    {O1, 0x01, V::kXYZ, N, AT(extrusion)},
};

// Trace and solid.
constexpr R12EntityField kCorners[] = {
    {A, 0, V::kXYz, N, AT(trace.corner_1)}, {A, 0, V::kXYz, N, AT(trace.corner_2)},
    {A, 0, V::kXYz, N, AT(trace.corner_3)}, {A, 0, V::kXYz, N, AT(trace.corner_4)},
    {O1, 0x01, V::kXYZ, N, AT(extrusion)},
};

constexpr R12EntityField kBeginBlock[] = {
    {A, 0, V::kXYz, N, AT(block.base_point)},
    {O1, 0x02, V::kNameText, N, AT(block.xref_path)},
    {O1, 0x04, V::kNameText, N, AT(block.name_2)},
};

// The scales start at 1.0; rotation is read between y_scale and z_scale.
constexpr R12EntityField kInsert[] = {
    {A, 0, V::kFlag80, N, AT(insert.attributes_follow)},
    {A, 0, V::kI16, TableBase::kBlocks, AT(insert.block_index)},
    {A, 0, V::kXY0, N, AT(insert.insertion_point)},
    {O1, 0x01, V::kF64, N, AT(insert.x_scale)},
    {O1, 0x02, V::kF64, N, AT(insert.y_scale)},
    {O1, 0x04, V::kAngle, N, AT(insert.rotation)},
    {O1, 0x08, V::kF64, N, AT(insert.z_scale)},
    {O1, 0x10, V::kI16, N, AT(insert.column_count)},
    {O1, 0x20, V::kI16, N, AT(insert.row_count)},
    {O1, 0x40, V::kF64, N, AT(insert.column_spacing)},
    {O1, 0x80, V::kF64, N, AT(insert.row_spacing)},
    {O2, 0x01, V::kXYZ, N, AT(extrusion)},
};

// The definition sets the z of its alignment point to 0.
constexpr R12EntityField kAttDef[] = {
    {A, 0, V::kXYz, N, AT(attdef.insertion_point)},
    {A, 0, V::kF64, N, AT(attdef.height)},
    {A, 0, V::kText, N, AT(attdef.default_value)},
    {A, 0, V::kText, N, AT(attdef.prompt)},
    {A, 0, V::kText, N, AT(attdef.tag)},
    {A, 0, V::kU8, N, AT(attdef.flags)},
    {O1, 0x01, V::kI16, N, AT(attdef.field_length)},
    {O1, 0x02, V::kAngle, N, AT(attdef.rotation)},
    {O1, 0x04, V::kF64, N, AT(attdef.width_factor)},
    {O1, 0x08, V::kAngle, N, AT(attdef.oblique_angle)},
    {O1, 0x10, V::kU8, TableBase::kStyles, AT(attdef.style_index)},
    {O1, 0x20, V::kU8, N, AT(attdef.generation_flags)},
    {O1, 0x40, V::kU8, N, AT(attdef.horizontal_justification)},
    {O1, 0x80, V::kXY0, N, AT(attdef.alignment_point)},
    {O2, 0x01, V::kXYZ, N, AT(extrusion)},
    {O2, 0x02, V::kU8, N, AT(attdef.vertical_justification)},
};

// The attribute leaves the z of its alignment point alone.
constexpr R12EntityField kAttrib[] = {
    {A, 0, V::kXYz, N, AT(attrib.insertion_point)},
    {A, 0, V::kF64, N, AT(attrib.height)},
    {A, 0, V::kText, N, AT(attrib.value)},
    {A, 0, V::kText, N, AT(attrib.tag)},
    {A, 0, V::kU8, N, AT(attrib.flags)},
    {O1, 0x01, V::kI16, N, AT(attrib.field_length)},
    {O1, 0x02, V::kAngle, N, AT(attrib.rotation)},
    {O1, 0x04, V::kF64, N, AT(attrib.width_factor)},
    {O1, 0x08, V::kAngle, N, AT(attrib.oblique_angle)},
    {O1, 0x10, V::kU8, TableBase::kStyles, AT(attrib.style_index)},
    {O1, 0x20, V::kU8, N, AT(attrib.generation_flags)},
    {O1, 0x40, V::kU8, N, AT(attrib.horizontal_justification)},
    {O1, 0x80, V::kXY, N, AT(attrib.alignment_point)},
    {O2, 0x01, V::kXYZ, N, AT(extrusion)},
    {O2, 0x02, V::kU8, N, AT(attrib.vertical_justification)},
};

// The sequence end's owner position belongs to the object, not to the record.
constexpr R12EntityField kSeqEnd[] = {
    {A, 0, V::kI32, N, 0},
};

constexpr R12EntityField kPolyline[] = {
    {A, 0, V::kFlag80, N, AT(polyline.vertices_follow)},
    {O1, 0x01, V::kU8, N, AT(polyline.flags)},
    {O1, 0x02, V::kF64, N, AT(polyline.start_width)},
    {O1, 0x04, V::kF64, N, AT(polyline.end_width)},
    {O1, 0x08, V::kXYZ, N, AT(extrusion)},
    {O1, 0x10, V::kI16, N, AT(polyline.mesh_m_count)},
    {O1, 0x20, V::kI16, N, AT(polyline.mesh_n_count)},
    {O1, 0x40, V::kI16, N, AT(polyline.smooth_m_density)},
    {O1, 0x80, V::kI16, N, AT(polyline.smooth_n_density)},
    {O2, 0x01, V::kU8, N, AT(polyline.curve_type)},
};

// The location is there only when options_2 is 0 as a whole.
constexpr R12EntityField kVertex[] = {
    {R12When::kOptions2Zero, 0, V::kXYz, N, AT(vertex.location)},
    {O1, 0x01, V::kF64, N, AT(vertex.start_width)},
    {O1, 0x02, V::kF64, N, AT(vertex.end_width)},
    {O1, 0x04, V::kF64, N, AT(vertex.bulge)},
    {O1, 0x08, V::kU8, N, AT(vertex.flags)},
    {O1, 0x10, V::kAngle, N, AT(vertex.tangent_direction)},
    {O1, 0x20, V::kI16, N, AT(vertex.polyface_index_1)},
    {O1, 0x40, V::kI16, N, AT(vertex.polyface_index_2)},
    {O1, 0x80, V::kI16, N, AT(vertex.polyface_index_3)},
    {O2, 0x01, V::kI16, N, AT(vertex.polyface_index_4)},
};

constexpr R12EntityField kFace[] = {
    {A, 0, V::kXYz, N, AT(face.corner_1)},           {A, 0, V::kXYz, N, AT(face.corner_2)},
    {A, 0, V::kXYz, N, AT(face.corner_3)},           {A, 0, V::kXYz, N, AT(face.corner_4)},
    {O1, 0x01, V::kU8, N, AT(face.invisible_edges)},
};

// The dimension's oblique angle is not in the frame.
constexpr R12EntityField kDimension[] = {
    {A, 0, V::kI16, TableBase::kBlocks, AT(dimension.block_index)},
    {A, 0, V::kXYZ, N, AT(dimension.definition_point)},
    {A, 0, V::kXY0, N, AT(dimension.text_midpoint)},
    {O1, 0x01, V::kXY0, N, AT(dimension.clone_insertion_point)},
    {O1, 0x02, V::kU8, N, AT(dimension.dimension_type)},
    {O1, 0x04, V::kText, N, AT(dimension.text)},
    {O1, 0x08, V::kXYZ, N, AT(dimension.definition_point_2)},
    {O1, 0x10, V::kXYZ, N, AT(dimension.definition_point_3)},
    {O1, 0x20, V::kXYZ, N, AT(dimension.definition_point_4)},
    {O1, 0x40, V::kXYZ, N, AT(dimension.arc_definition_point)},
    {O1, 0x80, V::kF64, N, AT(dimension.leader_length)},
    {O2, 0x01, V::kAngle, N, AT(dimension.text_rotation)},
    {O2, 0x04, V::kAngle, N, AT(dimension.extension_line_rotation)},
    {O2, 0x20, V::kAngle, N, AT(dimension.horizontal_direction)},
    {O2, 0x40, V::kXYZ, N, AT(extrusion)},
    {O2, 0x80, V::kI16, TableBase::kDimstyles, AT(dimension.dimstyle_index)},
};

// The rest of the viewport stands in its extended data.
constexpr R12EntityField kViewport[] = {
    {A, 0, V::kXYZ, N, AT(viewport.center)},
    {A, 0, V::kF64, N, AT(viewport.width)},
    {A, 0, V::kF64, N, AT(viewport.height)},
    {A, 0, V::kI16, N, AT(viewport.viewport_id)},
};

#define FIELDS(table) table, sizeof(table) / sizeof(table[0])
constexpr uint16_t kFlat = kR12FlatCoordinates;

} // namespace

// clang-format off
//                                         code  fields              record bytes            rules                    z rule's point
const R12EntityLayout kR12LineFrame       = {1,  FIELDS(kLine),      KIND_BYTES(line),      kFlat,                   0};
const R12EntityLayout kR12PointFrame      = {2,  FIELDS(kPoint),     KIND_BYTES(point),     kFlat,                   0};
const R12EntityLayout kR12CircleFrame     = {3,  FIELDS(kCircle),    KIND_BYTES(circle),    kR12ZeroZTakesElevation, AT(circle.center)};
const R12EntityLayout kR12ShapeFrame      = {4,  FIELDS(kShape),     KIND_BYTES(shape),     kR12RuleNone,            0};
const R12EntityLayout kR12TextFrame       = {7,  FIELDS(kText),      KIND_BYTES(text),      kR12RuleNone,            0};
const R12EntityLayout kR12ArcFrame        = {8,  FIELDS(kArc),       KIND_BYTES(arc),       kR12ZeroZTakesElevation, AT(arc.center)};
const R12EntityLayout kR12TraceFrame      = {9,  FIELDS(kCorners),   KIND_BYTES(trace),     kR12RuleNone,            0};
const R12EntityLayout kR12SolidFrame      = {11, FIELDS(kCorners),   KIND_BYTES(solid),     kR12RuleNone,            0};
const R12EntityLayout kR12BeginBlockFrame = {12, FIELDS(kBeginBlock), KIND_BYTES(block),    kR12XrefPathNeverNull,   0};
const R12EntityLayout kR12EndBlockFrame   = {13, nullptr, 0,         kCommonBytes,          kR12RuleNone,            0};
const R12EntityLayout kR12InsertFrame     = {14, FIELDS(kInsert),    KIND_BYTES(insert),    kR12ScalesStartAtOne,    0};
const R12EntityLayout kR12AttDefFrame     = {15, FIELDS(kAttDef),    KIND_BYTES(attdef),    kR12RuleNone,            0};
const R12EntityLayout kR12AttribFrame     = {16, FIELDS(kAttrib),    KIND_BYTES(attrib),    kR12RuleNone,            0};
const R12EntityLayout kR12SeqEndFrame     = {17, FIELDS(kSeqEnd),    kCommonBytes,          kR12RuleNone,            0};
const R12EntityLayout kR12PolylineFrame   = {19, FIELDS(kPolyline),  KIND_BYTES(polyline),  kR12OriginIsElevation,   0};
const R12EntityLayout kR12VertexFrame     = {20, FIELDS(kVertex),    KIND_BYTES(vertex),    kR12ZeroZTakesElevation, AT(vertex.location)};
const R12EntityLayout kR12FaceFrame       = {22, FIELDS(kFace),      KIND_BYTES(face),      kFlat,                   0};
const R12EntityLayout kR12DimensionFrame  = {23, FIELDS(kDimension), KIND_BYTES(dimension), kR12RuleNone,            0};
const R12EntityLayout kR12ViewportFrame   = {24, FIELDS(kViewport),  KIND_BYTES(viewport),  kR12UnpackMview,         0};
// clang-format on
