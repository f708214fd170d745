// The field visitors of the kinds that only release 13 drawings hold: the ellipse, the
// spline, the ray and the construction line, the paragraph text, the leader, the
// tolerance, the multiline and the modeler kinds. Lists are compared element by element as
// far as both counts reach; the counts themselves are fields, so a longer list shows there.
#include "support/drawing_snapshot.h"

#include <cstring>
#include <string>

namespace velko_test {
namespace snapshot {

namespace {

// Element i of a list of a byte-packed record, copied out before use.
template <typename T> T At(const T *list, int i) {
    T value;
    std::memcpy(&value, list + i, sizeof value);
    return value;
}

std::string Item(const std::string &field, int i) {
    return field + "[" + std::to_string(i) + "]";
}

void Points(FieldSink &s, const std::string &field, const CDB_POINT3 *a, int na,
            const CDB_POINT3 *b, int nb) {
    for (int i = 0; i < na && i < nb && a && b; ++i)
        P3(s, Item(field, i), -1, At(a, i), At(b, i));
}

void Numbers(FieldSink &s, const std::string &field, const double *a, int na, const double *b,
             int nb) {
    for (int i = 0; i < na && i < nb && a && b; ++i)
        s.Real(Item(field, i), -1, At(a, i), At(b, i));
}

void Ellipse(const CDB_ELLIPSE_type &a, const CDB_ELLIPSE_type &b, FieldSink &s) {
    P3(s, "center", 10, a.center, b.center);
    P3(s, "major_axis", 11, a.major_axis, b.major_axis);
    s.Real("axis_ratio", 40, a.axis_ratio, b.axis_ratio);
    s.Real("start_parameter", 41, a.start_parameter, b.start_parameter);
    s.Real("end_parameter", 42, a.end_parameter, b.end_parameter);
}

void Spline(const CDB_SPLINE_type &a, const CDB_SPLINE_type &b, FieldSink &s) {
    s.Int("flags", 70, a.flags, b.flags);
    s.Int("degree", 71, a.degree, b.degree);
    s.Int("knot_count", 72, a.knot_count, b.knot_count);
    s.Int("control_point_count", 73, a.control_point_count, b.control_point_count);
    s.Int("fit_point_count", 74, a.fit_point_count, b.fit_point_count);
    s.Real("knot_tolerance", 42, a.knot_tolerance, b.knot_tolerance);
    s.Real("control_tolerance", 43, a.control_tolerance, b.control_tolerance);
    s.Real("fit_tolerance", 44, a.fit_tolerance, b.fit_tolerance);
    P3(s, "start_tangent", 12, a.start_tangent, b.start_tangent);
    P3(s, "end_tangent", 13, a.end_tangent, b.end_tangent);
    Points(s, "fit_points", a.fit_points, a.fit_point_count, b.fit_points, b.fit_point_count);
    for (int i = 0; i < a.control_point_count && i < b.control_point_count && a.control_points &&
                    b.control_points;
         ++i) {
        const CDB_SPLINE_CONTROL_POINT pa = At(a.control_points, i);
        const CDB_SPLINE_CONTROL_POINT pb = At(b.control_points, i);
        const std::string field = Item("control_points", i);
        s.Real(field + ".x", 10, pa.x, pb.x);
        s.Real(field + ".y", 20, pa.y, pb.y);
        s.Real(field + ".z", 30, pa.z, pb.z);
        s.Real(field + ".weight", 41, pa.weight, pb.weight);
    }
    Numbers(s, "knots", a.knots, a.knot_count, b.knots, b.knot_count);
}

void Mtext(const CDB_MTEXT_type &a, const CDB_MTEXT_type &b, FieldSink &s) {
    P3(s, "insertion_point", 10, a.insertion_point, b.insertion_point);
    P3(s, "x_axis_direction", 11, a.x_axis_direction, b.x_axis_direction);
    P3(s, "normal", 210, a.normal, b.normal);
    s.Real("width", 41, a.width, b.width);
    s.Real("height", 40, a.height, b.height);
    s.Text("text", 1, a.text, b.text);
    s.Int("attachment_point", 71, a.attachment_point, b.attachment_point);
    s.Int("drawing_direction", 72, a.drawing_direction, b.drawing_direction);
    s.Real("line_spacing", 44, a.line_spacing, b.line_spacing);
    s.Real("line_spacing_extra", -1, a.line_spacing_extra, b.line_spacing_extra);
    s.Text("style_handle", 7, a.style_handle, b.style_handle);
}

void Leader(const CDB_LEADER_type &a, const CDB_LEADER_type &b, FieldSink &s) {
    s.Int("vertex_count", 76, a.vertex_count, b.vertex_count);
    Points(s, "vertices", a.vertices, a.vertex_count, b.vertices, b.vertex_count);
    s.Int("path_type", 72, a.path_type, b.path_type);
    P3(s, "normal", 210, a.normal, b.normal);
    P3(s, "x_direction", 211, a.x_direction, b.x_direction);
    s.Int("dimstyle_index", 3, a.dimstyle_index, b.dimstyle_index);
    s.Text("dimstyle_handle", -1, a.dimstyle_handle, b.dimstyle_handle);
    s.Int("arrow_head", 71, a.arrow_head, b.arrow_head);
    s.Int("annotation_type", 73, a.annotation_type, b.annotation_type);
    s.Int("hookline_on_x", 74, a.hookline_on_x, b.hookline_on_x);
    s.Int("hookline", 75, a.hookline, b.hookline);
    s.Real("text_height", 40, a.text_height, b.text_height);
    s.Real("text_width", 41, a.text_width, b.text_width);
    s.Int("color", 77, a.color, b.color);
    P3(s, "end_point_projection", -1, a.end_point_projection, b.end_point_projection);
    P3(s, "offset_to_block", 212, a.offset_to_block, b.offset_to_block);
}

void Tolerance(const CDB_TOLERANCE_type &a, const CDB_TOLERANCE_type &b, FieldSink &s) {
    P3(s, "insertion_point", 10, a.insertion_point, b.insertion_point);
    P3(s, "x_axis_direction", 11, a.x_axis_direction, b.x_axis_direction);
    P3(s, "normal", 210, a.normal, b.normal);
    s.Text("text", 1, a.text, b.text);
    s.Int("dimstyle_index", 3, a.dimstyle_index, b.dimstyle_index);
    s.Text("dimstyle_handle", -1, a.dimstyle_handle, b.dimstyle_handle);
}

void MlineLine(FieldSink &s, const std::string &at, const CDB_MLINE_LINE &a,
               const CDB_MLINE_LINE &b) {
    s.Int(at + ".segment_parameter_count", 74, a.segment_parameter_count,
          b.segment_parameter_count);
    Numbers(s, at + ".segment_parameters", a.segment_parameters, a.segment_parameter_count,
            b.segment_parameters, b.segment_parameter_count);
    s.Int(at + ".fill_parameter_count", 75, a.fill_parameter_count, b.fill_parameter_count);
    Numbers(s, at + ".fill_parameters", a.fill_parameters, a.fill_parameter_count,
            b.fill_parameters, b.fill_parameter_count);
}

void Mline(const CDB_MLINE_type &a, const CDB_MLINE_type &b, FieldSink &s) {
    s.Real("scale", 40, a.scale, b.scale);
    s.Int("justification", 70, a.justification, b.justification);
    s.Int("flags", 71, a.flags, b.flags);
    P3(s, "base_point", 10, a.base_point, b.base_point);
    s.Int("vertex_count", 72, a.vertex_count, b.vertex_count);
    s.Int("line_count", 73, a.line_count, b.line_count);
    s.Int("style_index", 2, a.style_index, b.style_index);
    s.Text("style_handle", 340, a.style_handle, b.style_handle);
    for (int i = 0; i < a.vertex_count && i < b.vertex_count && a.vertices && b.vertices; ++i) {
        const CDB_MLINE_VERTEX va = At(a.vertices, i);
        const CDB_MLINE_VERTEX vb = At(b.vertices, i);
        const std::string at = Item("vertices", i);
        P3(s, at + ".location", 11, va.location, vb.location);
        P3(s, at + ".direction", 12, va.direction, vb.direction);
        P3(s, at + ".miter_direction", 13, va.miter_direction, vb.miter_direction);
        if (a.line_count != b.line_count || !va.lines || !vb.lines)
            continue;
        for (int k = 0; k < a.line_count; ++k)
            MlineLine(s, at + Item(".lines", k), At(va.lines, k), At(vb.lines, k));
    }
}

} // namespace

void VisitRelease13Kind(const CDB_ENTITY &a, const CDB_ENTITY &b, FieldSink &s) {
    switch (a.entity_type) {
    case CDB_ELLIPSE:
        Ellipse(a.ellipse, b.ellipse, s);
        break;
    case CDB_SPLINE:
        Spline(a.spline, b.spline, s);
        break;
    case CDB_RAY:
        P3(s, "base_point", 10, a.ray.base_point, b.ray.base_point);
        P3(s, "direction", 11, a.ray.direction, b.ray.direction);
        break;
    case CDB_XLINE:
        P3(s, "base_point", 10, a.xline.base_point, b.xline.base_point);
        P3(s, "direction", 11, a.xline.direction, b.xline.direction);
        break;
    case CDB_MTEXT:
        Mtext(a.mtext, b.mtext, s);
        break;
    case CDB_LEADER:
        Leader(a.leader, b.leader, s);
        break;
    case CDB_TOLERANCE:
        Tolerance(a.tolerance, b.tolerance, s);
        break;
    case CDB_MLINE:
        Mline(a.mline, b.mline, s);
        break;
    case CDB_REGION:
    case CDB_BODY:
        s.Int("format_version", 70, a.region.format_version, b.region.format_version);
        break;
    case CDB_3DSOLID:
        s.Int("format_version", 70, a.solid3d.format_version, b.solid3d.format_version);
        break;
    default:
        break;
    }
}

} // namespace snapshot
} // namespace velko_test
