// The part of each entity kind of CDB_ENTITY, field by field, as velko dump prints it.
#include "record_fields.h"

namespace {

// Short names of the record parts, for the table below.
using Line = CDB_LINE_type;
using PointPart = CDB_POINT_type;
using Circle = CDB_CIRCLE_type;
using Shape = CDB_SHAPE_type;
using Text = CDB_TEXT_type;
using Arc = CDB_ARC_type;
using Trace = CDB_TRACE_type;
using Block = CDB_BLOCK_type;
using Insert = CDB_INSERT_type;
using Attdef = CDB_ATTDEF_type;
using Attrib = CDB_ATTRIB_type;
using Polyline = CDB_POLYLINE_type;
using Vertex = CDB_VERTEX_type;
using Face = CDB_3DFACE_type;
using Dimension = CDB_DIMENSION_type;
using Viewport = CDB_VIEWPORT_type;

// The fields of each kind's part, in the order they are printed.
const Field kLineFields[] = {FIELD(Line, start_point), FIELD(Line, end_point)};
const Field kPointFields[] = {FIELD(PointPart, location), FIELD(PointPart, x_axis_angle)};
const Field kCircleFields[] = {FIELD(Circle, center), FIELD(Circle, radius)};
const Field kShapeFields[] = {FIELD(Shape, insertion_point), FIELD(Shape, size),
                              FIELD(Shape, shape_number),    FIELD(Shape, shape_style_index),
                              FIELD(Shape, rotation),        FIELD(Shape, x_scale),
                              FIELD(Shape, oblique_angle)};
const Field kTextFields[] = {FIELD(Text, insertion_point),
                             FIELD(Text, height),
                             FIELD(Text, text),
                             FIELD(Text, rotation),
                             FIELD(Text, width_factor),
                             FIELD(Text, oblique_angle),
                             FIELD(Text, style_index),
                             FIELD(Text, generation_flags),
                             FIELD(Text, horizontal_justification),
                             FIELD(Text, vertical_justification),
                             FIELD(Text, alignment_point)};
const Field kArcFields[] = {FIELD(Arc, center), FIELD(Arc, radius), FIELD(Arc, start_angle),
                            FIELD(Arc, end_angle)};
const Field kTraceFields[] = {FIELD(Trace, corner_1), FIELD(Trace, corner_2),
                              FIELD(Trace, corner_3), FIELD(Trace, corner_4)};
const Field kBlockFields[] = {FIELD(Block, xref_path), FIELD(Block, name), FIELD(Block, name_2),
                              FIELD(Block, flags), FIELD(Block, base_point)};
const Field kInsertFields[] = {
    FIELD(Insert, attributes_follow), FIELD(Insert, block_index),  FIELD(Insert, insertion_point),
    FIELD(Insert, x_scale),           FIELD(Insert, y_scale),      FIELD(Insert, z_scale),
    FIELD(Insert, rotation),          FIELD(Insert, column_count), FIELD(Insert, row_count),
    FIELD(Insert, column_spacing),    FIELD(Insert, row_spacing)};
const Field kAttdefFields[] = {FIELD(Attdef, insertion_point),
                               FIELD(Attdef, height),
                               FIELD(Attdef, default_value),
                               FIELD(Attdef, prompt),
                               FIELD(Attdef, tag),
                               FIELD(Attdef, flags),
                               FIELD(Attdef, field_length),
                               FIELD(Attdef, rotation),
                               FIELD(Attdef, width_factor),
                               FIELD(Attdef, oblique_angle),
                               FIELD(Attdef, style_index),
                               FIELD(Attdef, generation_flags),
                               FIELD(Attdef, horizontal_justification),
                               FIELD(Attdef, vertical_justification),
                               FIELD(Attdef, alignment_point)};
const Field kAttribFields[] = {FIELD(Attrib, insertion_point),
                               FIELD(Attrib, height),
                               FIELD(Attrib, value),
                               FIELD(Attrib, tag),
                               FIELD(Attrib, flags),
                               FIELD(Attrib, field_length),
                               FIELD(Attrib, rotation),
                               FIELD(Attrib, width_factor),
                               FIELD(Attrib, oblique_angle),
                               FIELD(Attrib, style_index),
                               FIELD(Attrib, generation_flags),
                               FIELD(Attrib, horizontal_justification),
                               FIELD(Attrib, vertical_justification),
                               FIELD(Attrib, alignment_point)};
const Field kPolylineFields[] = {FIELD(Polyline, vertices_follow),
                                 FIELD(Polyline, origin),
                                 FIELD(Polyline, flags),
                                 FIELD(Polyline, start_width),
                                 FIELD(Polyline, end_width),
                                 FIELD(Polyline, mesh_m_count),
                                 FIELD(Polyline, mesh_n_count),
                                 FIELD(Polyline, smooth_m_density),
                                 FIELD(Polyline, smooth_n_density),
                                 FIELD(Polyline, curve_type)};
const Field kVertexFields[] = {FIELD(Vertex, location),
                               FIELD(Vertex, start_width),
                               FIELD(Vertex, end_width),
                               FIELD(Vertex, bulge),
                               FIELD(Vertex, flags),
                               FIELD(Vertex, tangent_direction),
                               FIELD(Vertex, polyface_index_1),
                               FIELD(Vertex, polyface_index_2),
                               FIELD(Vertex, polyface_index_3),
                               FIELD(Vertex, polyface_index_4)};
const Field kFaceFields[] = {FIELD(Face, corner_1), FIELD(Face, corner_2), FIELD(Face, corner_3),
                             FIELD(Face, corner_4), FIELD(Face, invisible_edges)};
const Field kDimensionFields[] = {FIELD(Dimension, text),
                                  FIELD(Dimension, block_index),
                                  FIELD(Dimension, dimstyle_index),
                                  FIELD(Dimension, definition_point),
                                  FIELD(Dimension, text_midpoint),
                                  FIELD(Dimension, clone_insertion_point),
                                  FIELD(Dimension, definition_point_2),
                                  FIELD(Dimension, definition_point_3),
                                  FIELD(Dimension, definition_point_4),
                                  FIELD(Dimension, arc_definition_point),
                                  FIELD(Dimension, leader_length),
                                  FIELD(Dimension, text_rotation),
                                  FIELD(Dimension, horizontal_direction),
                                  FIELD(Dimension, extension_line_rotation),
                                  FIELD(Dimension, oblique_angle),
                                  FIELD(Dimension, dimension_type)};
const Field kViewportFields[] = {FIELD(Viewport, view_center),
                                 FIELD(Viewport, snap_base),
                                 FIELD(Viewport, snap_spacing),
                                 FIELD(Viewport, grid_spacing),
                                 FIELD(Viewport, view_direction),
                                 FIELD(Viewport, view_target),
                                 FIELD(Viewport, view_height),
                                 FIELD(Viewport, aspect_ratio),
                                 FIELD(Viewport, lens_length),
                                 FIELD(Viewport, front_clip),
                                 FIELD(Viewport, back_clip),
                                 FIELD(Viewport, snap_angle),
                                 FIELD(Viewport, twist_angle),
                                 FIELD(Viewport, vx_index),
                                 FIELD(Viewport, viewport_id),
                                 FIELD(Viewport, view_mode),
                                 FIELD(Viewport, circle_zoom),
                                 FIELD(Viewport, fast_zoom),
                                 FIELD(Viewport, ucs_icon),
                                 FIELD(Viewport, snap_mode),
                                 FIELD(Viewport, grid_mode),
                                 FIELD(Viewport, snap_style),
                                 FIELD(Viewport, snap_isopair),
                                 FIELD(Viewport, center),
                                 FIELD(Viewport, width),
                                 FIELD(Viewport, height),
                                 FIELD(Viewport, eed_version),
                                 FIELD(Viewport, eed_application),
                                 FIELD(Viewport, data_version),
                                 FIELD(Viewport, hidden_in_plot),
                                 LIST(Viewport, frozen_layers, Print::kShorts, frozen_layer_count)};

using Ellipse = CDB_ELLIPSE_type;
using Spline = CDB_SPLINE_type;
using Modeler = CDB_MODELER_type;
using Solid3d = CDB_3DSOLID_type;
using Ray = CDB_RAY_type;
using MText = CDB_MTEXT_type;
using Leader = CDB_LEADER_type;
using Tolerance = CDB_TOLERANCE_type;
using Mline = CDB_MLINE_type;
using Ole = CDB_OLE_type;

// The kinds of release 13. Their blocks of data (a multiline's vertices, the modeler and
// OLE data) are printed by AddRelease13Blocks.
const Field kEllipseFields[] = {FIELD(Ellipse, center), FIELD(Ellipse, major_axis),
                                FIELD(Ellipse, axis_ratio), FIELD(Ellipse, start_parameter),
                                FIELD(Ellipse, end_parameter)};
const Field kSplineFields[] = {
    FIELD(Spline, flags),
    FIELD(Spline, degree),
    FIELD(Spline, knot_count),
    FIELD(Spline, control_point_count),
    FIELD(Spline, fit_point_count),
    FIELD(Spline, knot_tolerance),
    FIELD(Spline, control_tolerance),
    FIELD(Spline, fit_tolerance),
    FIELD(Spline, start_tangent),
    FIELD(Spline, end_tangent),
    LIST(Spline, knots, Print::kNumbers, knot_count),
    LIST(Spline, control_points, Print::kWeightedPoints, control_point_count),
    LIST(Spline, fit_points, Print::kPoints3, fit_point_count)};
const Field kModelerFields[] = {FIELD(Modeler, format_version)};
const Field kSolid3dFields[] = {FIELD(Solid3d, reserved), FIELD(Solid3d, format_version)};
const Field kRayFields[] = {FIELD(Ray, base_point), FIELD(Ray, direction)};
const Field kMTextFields[] = {FIELD(MText, insertion_point),
                              FIELD(MText, x_axis_direction),
                              FIELD(MText, normal),
                              FIELD(MText, width),
                              FIELD(MText, height),
                              FIELD(MText, text),
                              FIELD(MText, attachment_point),
                              FIELD(MText, drawing_direction),
                              FIELD(MText, reserved),
                              FIELD(MText, line_spacing),
                              FIELD(MText, line_spacing_extra),
                              FIELD(MText, style_handle)};
const Field kLeaderFields[] = {
    FIELD(Leader, vertex_count),    LIST(Leader, vertices, Print::kPoints3, vertex_count),
    FIELD(Leader, path_type),       FIELD(Leader, normal),
    FIELD(Leader, x_direction),     FIELD(Leader, dimstyle_index),
    FIELD(Leader, dimstyle_handle), FIELD(Leader, arrow_head),
    FIELD(Leader, annotation_type), FIELD(Leader, hookline_on_x),
    FIELD(Leader, hookline),        FIELD(Leader, text_height),
    FIELD(Leader, text_width),      FIELD(Leader, color),
    FIELD(Leader, box_height),      FIELD(Leader, arrow_type),
    FIELD(Leader, arrow_size),      FIELD(Leader, field_b),
    FIELD(Leader, field_c),         FIELD(Leader, end_point_projection),
    FIELD(Leader, offset_to_block)};
const Field kToleranceFields[] = {
    FIELD(Tolerance, insertion_point), FIELD(Tolerance, x_axis_direction),
    FIELD(Tolerance, normal),          FIELD(Tolerance, text),
    FIELD(Tolerance, dimstyle_index),  FIELD(Tolerance, dimstyle_handle)};
const Field kMlineFields[] = {FIELD(Mline, scale),        FIELD(Mline, justification),
                              FIELD(Mline, flags),        FIELD(Mline, base_point),
                              FIELD(Mline, vertex_count), FIELD(Mline, line_count),
                              FIELD(Mline, style_index),  FIELD(Mline, style_handle)};
const Field kOleFields[] = {FIELD(Ole, ole_version), FIELD(Ole, data_size)};

const KindFields kKinds[] = {
    Kind(CDB_LINE, offsetof(CDB_ENTITY, line), kLineFields),
    Kind(CDB_3DLINE, offsetof(CDB_ENTITY, line), kLineFields),
    Kind(CDB_POINT, offsetof(CDB_ENTITY, point), kPointFields),
    Kind(CDB_CIRCLE, offsetof(CDB_ENTITY, circle), kCircleFields),
    Kind(CDB_SHAPE, offsetof(CDB_ENTITY, shape), kShapeFields),
    Kind(CDB_TEXT, offsetof(CDB_ENTITY, text), kTextFields),
    Kind(CDB_ARC, offsetof(CDB_ENTITY, arc), kArcFields),
    Kind(CDB_TRACE, offsetof(CDB_ENTITY, trace), kTraceFields),
    Kind(CDB_SOLID, offsetof(CDB_ENTITY, trace), kTraceFields),
    Kind(CDB_BLOCK, offsetof(CDB_ENTITY, block), kBlockFields),
    Kind(CDB_INSERT, offsetof(CDB_ENTITY, insert), kInsertFields),
    Kind(CDB_ATTDEF, offsetof(CDB_ENTITY, attdef), kAttdefFields),
    Kind(CDB_ATTRIB, offsetof(CDB_ENTITY, attrib), kAttribFields),
    Kind(CDB_POLYLINE, offsetof(CDB_ENTITY, polyline), kPolylineFields),
    Kind(CDB_VERTEX, offsetof(CDB_ENTITY, vertex), kVertexFields),
    Kind(CDB_3DFACE, offsetof(CDB_ENTITY, face), kFaceFields),
    Kind(CDB_DIMENSION, offsetof(CDB_ENTITY, dimension), kDimensionFields),
    Kind(CDB_VIEWPORT, offsetof(CDB_ENTITY, viewport), kViewportFields),
    Kind(CDB_ELLIPSE, offsetof(CDB_ENTITY, ellipse), kEllipseFields),
    Kind(CDB_SPLINE, offsetof(CDB_ENTITY, spline), kSplineFields),
    Kind(CDB_REGION, offsetof(CDB_ENTITY, region), kModelerFields),
    Kind(CDB_3DSOLID, offsetof(CDB_ENTITY, solid3d), kSolid3dFields),
    Kind(CDB_BODY, offsetof(CDB_ENTITY, body), kModelerFields),
    Kind(CDB_RAY, offsetof(CDB_ENTITY, ray), kRayFields),
    Kind(CDB_XLINE, offsetof(CDB_ENTITY, xline), kRayFields),
    Kind(CDB_MTEXT, offsetof(CDB_ENTITY, mtext), kMTextFields),
    Kind(CDB_LEADER, offsetof(CDB_ENTITY, leader), kLeaderFields),
    Kind(CDB_TOLERANCE, offsetof(CDB_ENTITY, tolerance), kToleranceFields),
    Kind(CDB_MLINE, offsetof(CDB_ENTITY, mline), kMlineFields),
    Kind(CDB_OLEFRAME, offsetof(CDB_ENTITY, ole), kOleFields),
};

} // namespace

const KindFields *FindKindFields(int kind) {
    for (const KindFields &row : kKinds)
        if (row.kind == kind)
            return &row;
    return nullptr;
}
