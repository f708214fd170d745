// The drawing of the kinds that release 13 added: ellipses, splines, endless lines,
// multi-line texts, leaders, tolerance frames and multilines. Their points are world
// coordinates; the modeler kinds (REGION, 3DSOLID, BODY) and OLE frames draw nothing.
#include "render/annotation_geometry.h"
#include "render/curve_geometry.h"
#include "render/drawing_walker.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace render {
namespace {

// Text height and arrow size of a drawing whose header does not give them.
constexpr double kDefaultAnnotationSize = 0.18;
// The distance between the baselines of a multi-line text, as a part of its height.
constexpr double kMTextLineSpacing = 5.0 / 3.0;
// The most vertices of a leader or fit points and control points of a spline read.
constexpr int kMaxArrayCount = 32767;

Vec3 V(CDB_POINT3 p) {
    return {p.x, p.y, p.z};
}

Vec3 Plus(const Vec3 &a, const Vec3 &b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

std::vector<Point2> Plan(const Affine &map, const std::vector<Vec3> &points) {
    std::vector<Point2> plan;
    plan.reserve(points.size());
    for (const Vec3 &p : points)
        plan.push_back(map.ApplyPlan(p));
    return plan;
}

StrokeStyle Line(const Rgb &color, bool filled = false) {
    StrokeStyle style;
    style.color = color;
    style.filled = filled;
    return style;
}

// A positive finite size from the header variable `name`, or the default.
double HeaderSize(int16_t drawing, const char *name) {
    CDB_VAR_VALUE_type value;
    std::memset(&value, 0, sizeof value);
    if (CDBGetVariableValue(drawing, name, &value) == CDB_VAR_REAL &&
        std::isfinite(value.real_value) && value.real_value > 0)
        return value.real_value;
    return kDefaultAnnotationSize;
}

// The frame of an annotation: its origin and its x direction in the plan.
Affine AnnotationFrame(const Affine &map, const Vec3 &origin, const Vec3 &x_direction) {
    double angle = 0;
    if (std::isfinite(x_direction.x) && std::isfinite(x_direction.y) &&
        (x_direction.x != 0 || x_direction.y != 0))
        angle = std::atan2(x_direction.y, x_direction.x);
    return map.After(Affine::Translation(origin)).After(Affine::RotationZ(angle));
}

std::vector<Vec3> Points(const CDB_POINT3 *points, int count) {
    std::vector<Vec3> out;
    for (int i = 0; points && i < std::min(count, kMaxArrayCount); ++i)
        out.push_back(V(points[i]));
    return out;
}

} // namespace

void DrawingWalker::DrawRelease13Kind(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    switch (e.entity_type) {
    case CDB_ELLIPSE:
        DrawEllipse(e, at, color);
        break;
    case CDB_SPLINE:
        DrawSpline(e, at, color);
        break;
    case CDB_RAY:
    case CDB_XLINE:
        DrawEndlessLine(e, at, color);
        break;
    case CDB_MTEXT:
        DrawMText(e, at, color);
        break;
    case CDB_LEADER:
        DrawLeader(e, at, color);
        break;
    case CDB_TOLERANCE:
        DrawTolerance(e, at, color);
        break;
    case CDB_MLINE:
        DrawMline(e, at, color);
        break;
    case CDB_REGION:
    case CDB_3DSOLID:
    case CDB_BODY:
        ++counts_.opaque;
        break;
    default:
        break;
    }
}

// An ellipse from its start to its end parameter, at most one turn, about its normal.
void DrawingWalker::DrawEllipse(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const Vec3 major = V(e.ellipse.major_axis);
    const Vec3 minor = MinorAxis(V(e.extrusion), major, e.ellipse.axis_ratio);
    const std::vector<Vec3> points = EllipsePoints(
        V(e.ellipse.center), major, minor, e.ellipse.start_parameter, e.ellipse.end_parameter);
    if (!points.empty())
        canvas_.Polyline(Plan(at.map, points), false, Line(color));
}

// The curve of the control points and knots; a spline of fit points only runs through them.
void DrawingWalker::DrawSpline(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const CDB_SPLINE_type &s = e.spline;
    std::vector<Vec3> points;
    if (s.control_points && s.control_point_count > 0) {
        std::vector<WeightedPoint> controls;
        for (int i = 0; i < std::min<int>(s.control_point_count, kMaxArrayCount); ++i) {
            const CDB_SPLINE_CONTROL_POINT c = s.control_points[i];
            controls.push_back({{c.x, c.y, c.z}, c.weight});
        }
        std::vector<double> knots;
        for (int i = 0; s.knots && i < s.knot_count; ++i)
            knots.push_back(s.knots[i]);
        points = BSplinePoints(s.degree, knots, controls);
    } else {
        points = FitCurvePoints(Points(s.fit_points, s.fit_point_count));
    }
    if (!points.empty())
        canvas_.Polyline(Plan(at.map, points), false, Line(color));
}

void DrawingWalker::DrawEndlessLine(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const Vec3 base = V(e.ray.base_point);
    const Point2 from = at.map.ApplyPlan(base);
    const Point2 ahead = at.map.ApplyPlan(Plus(base, V(e.ray.direction)));
    canvas_.EndlessLine(from, {ahead.x - from.x, ahead.y - from.y}, e.entity_type == CDB_XLINE,
                        color);
}

// The text's paragraphs wrapped at its width, placed by its attachment point (1 to 9: top,
// middle, bottom rows of left, centre, right) in the frame of its x direction.
void DrawingWalker::DrawMText(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const CDB_MTEXT_type &m = e.mtext;
    const double height = std::isfinite(m.height) ? std::fabs(m.height) : 0;
    const TextMeasure measure = [this, height](const std::string &run) {
        return texts_.Measure(0, run, height, 1);
    };
    std::vector<std::string> lines;
    for (const std::string &paragraph : MTextParagraphs(m.text ? m.text : ""))
        for (const std::string &line : WrapParagraph(paragraph, m.width, measure))
            lines.push_back(line);
    const int attachment =
        m.attachment_point >= 1 && m.attachment_point <= 9 ? m.attachment_point - 1 : 0;
    const double spacing = height * kMTextLineSpacing;
    const double block = height + spacing * static_cast<double>(lines.size() - 1);
    const double top = (attachment / 3) * block / 2;
    const Affine frame = AnnotationFrame(at.map, V(m.insertion_point), V(m.x_axis_direction));
    for (size_t i = 0; i < lines.size(); ++i) {
        TextLayout layout;
        layout.text = lines[i];
        layout.height = height;
        layout.horizontal = attachment % 3;
        layout.insertion = {0, top - height - spacing * static_cast<double>(i), 0};
        layout.alignment = layout.insertion;
        if (texts_.DrawText(layout, frame, color, canvas_))
            ++counts_.shape_texts;
        else
            ++counts_.plain_texts;
    }
}

// The path through the vertices (a spline path through them when its path type is 1), with
// an arrowhead at the first vertex when the leader asks for one.
void DrawingWalker::DrawLeader(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const CDB_LEADER_type &l = e.leader;
    const std::vector<Vec3> vertices = Points(l.vertices, l.vertex_count);
    if (vertices.empty())
        return;
    const std::vector<Vec3> path = l.path_type == 1 ? FitCurvePoints(vertices) : vertices;
    canvas_.Polyline(Plan(at.map, path), false, Line(color));
    if (l.arrow_head == 0 || path.size() < 2)
        return;
    const double size = std::isfinite(l.arrow_size) && l.arrow_size > 0
                            ? +l.arrow_size
                            : HeaderSize(drawing_, "dimasz");
    const std::vector<Vec3> arrow = ArrowHead(path[0], path[1], size);
    if (!arrow.empty())
        canvas_.Polyline(Plan(at.map, arrow), true, Line(color, true));
}

// The frame's boxes row under row from the insertion point (the middle of the first row's
// left side), each holding its text, in the drawing's dimension text height.
void DrawingWalker::DrawTolerance(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const CDB_TOLERANCE_type &t = e.tolerance;
    const double height = HeaderSize(drawing_, "dimtxt");
    const double gap = height / 2, row_height = 2 * height;
    const Affine frame = AnnotationFrame(at.map, V(t.insertion_point), V(t.x_axis_direction));
    const std::vector<std::vector<std::string>> rows = ToleranceRows(t.text ? t.text : "");
    for (size_t r = 0; r < rows.size(); ++r) {
        const double top = row_height / 2 - row_height * static_cast<double>(r);
        double x = 0;
        for (const std::string &box : rows[r]) {
            const double width = texts_.Measure(0, box, height, 1) + 2 * gap;
            canvas_.Polyline(Plan(frame, {{x, top, 0},
                                          {x + width, top, 0},
                                          {x + width, top - row_height, 0},
                                          {x, top - row_height, 0}}),
                             true, Line(color));
            TextLayout layout;
            layout.text = box;
            layout.height = height;
            layout.insertion = {x + gap, top - row_height / 2 - height / 2, 0};
            if (texts_.DrawText(layout, frame, color, canvas_))
                ++counts_.shape_texts;
            else
                ++counts_.plain_texts;
            x += width;
        }
    }
}

void DrawingWalker::DrawMline(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const bool closed = e.mline.flags & kMlineClosed;
    for (const std::vector<Vec3> &run : MlineRuns(e.mline))
        if (!run.empty())
            canvas_.Polyline(Plan(at.map, run), closed && run.size() > 2, Line(color));
}

} // namespace render
