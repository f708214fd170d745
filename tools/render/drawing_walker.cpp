// The display walk of the renderer and the geometry of each kind.
#include "render/drawing_walker.h"
#include "interface/tool_support.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace render {
namespace {

// The most cells of one insert's grid that are drawn.
constexpr long kMaxInsertCells = 100000;

// Flags of a polyline head.
constexpr int kPolylineClosed = 1;
constexpr int kPolyline3D = 8;
constexpr int kPolylineMesh = 16;
constexpr int kMeshClosedInN = 32;
constexpr int kPolylinePolyface = 64;
// Flags of a vertex.
constexpr int kVertexSplineFit = 8;
constexpr int kVertexSplineFrame = 16;
constexpr int kVertexMesh = 64;
constexpr int kVertexPolyface = 128;
// The attribute flag that hides an ATTRIB or ATTDEF.
constexpr int kAttributeInvisible = 1;
// The viewport whose id is 1 is the paper space itself.
constexpr int kPaperSpaceViewportId = 1;

Vec3 V(CDB_POINT3 p) {
    return {p.x, p.y, p.z};
}

// An angle of the drawing in radians; one that is not finite counts as 0.
double FiniteRadians(double degrees) {
    return std::isfinite(degrees) ? Radians(degrees) : 0;
}

bool SamePoint(const Vec3 &a, const Vec3 &b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

std::vector<Point2> Plan(const Affine &map, const std::vector<Vec3> &points) {
    std::vector<Point2> plan;
    plan.reserve(points.size());
    for (const Vec3 &p : points)
        plan.push_back(map.ApplyPlan(p));
    return plan;
}

StrokeStyle Line(const Rgb &color) {
    StrokeStyle style;
    style.color = color;
    return style;
}

StrokeStyle Fill(const Rgb &color) {
    StrokeStyle style = Line(color);
    style.filled = true;
    return style;
}

// A vertex as the polyline drawing needs it.
struct VertexData {
    Vec3 at;
    double start_width = 0, end_width = 0, bulge = 0;
    int flags = 0;
    int index[4] = {0, 0, 0, 0};
};

// The four corners of a segment of width w0 at `a` and w1 at `b`, in the plane.
std::vector<Vec3> WideSegment(const Vec3 &a, const Vec3 &b, double w0, double w1) {
    double dx = b.x - a.x, dy = b.y - a.y;
    double length = std::hypot(dx, dy);
    if (!(length > 0))
        return {};
    double nx = -dy / length, ny = dx / length;
    return {{a.x + nx * w0 / 2, a.y + ny * w0 / 2, a.z},
            {b.x + nx * w1 / 2, b.y + ny * w1 / 2, b.z},
            {b.x - nx * w1 / 2, b.y - ny * w1 / 2, b.z},
            {a.x - nx * w0 / 2, a.y - ny * w0 / 2, a.z}};
}

// The vertices a path runs through: a spline's frame (control points) gives way to its
// fitted vertices when it has them.
std::vector<VertexData> FitVertices(const std::vector<VertexData> &vertices) {
    bool fitted = std::any_of(vertices.begin(), vertices.end(),
                              [](const VertexData &v) { return v.flags & kVertexSplineFit; });
    if (!fitted)
        return vertices;
    std::vector<VertexData> kept;
    for (const VertexData &v : vertices)
        if (!(v.flags & kVertexSplineFrame))
            kept.push_back(v);
    return kept;
}

// A polyline's path. Segments with a width are painted as filled quadrilaterals (an arc
// segment as a stroke of its mean width); without any width the path is one line.
// `planar` paths (2D polylines) know bulges and widths.
void DrawPath(const std::vector<VertexData> &vertices, bool planar, bool closed,
              double default_start, double default_end, const Affine &map, const Rgb &color,
              SvgCanvas &canvas) {
    const size_t n = vertices.size();
    if (n == 0)
        return;
    if (n == 1) {
        canvas.Dot(map.ApplyPlan(vertices[0].at), color);
        return;
    }
    const size_t segments = closed ? n : n - 1;
    auto widths = [&](const VertexData &v, double *w0, double *w1) {
        *w0 = v.start_width;
        *w1 = v.end_width;
        if (*w0 == 0 && *w1 == 0) {
            *w0 = default_start;
            *w1 = default_end;
        }
        if (!std::isfinite(*w0))
            *w0 = 0;
        if (!std::isfinite(*w1))
            *w1 = 0;
    };
    bool wide = false;
    if (planar) {
        for (size_t i = 0; i < segments; ++i) {
            double w0, w1;
            widths(vertices[i], &w0, &w1);
            wide = wide || w0 != 0 || w1 != 0;
        }
    }
    if (!wide) {
        std::vector<Vec3> points = {vertices[0].at};
        for (size_t i = 0; i < segments; ++i) {
            const VertexData &from = vertices[i], &to = vertices[(i + 1) % n];
            const double bulge = planar && std::isfinite(from.bulge) ? from.bulge : 0;
            std::vector<Vec3> run = BulgePoints(from.at, to.at, bulge);
            points.insert(points.end(), run.begin(), run.end());
        }
        if (closed && points.size() > 1)
            points.pop_back(); // back at the first vertex
        canvas.Polyline(Plan(map, points), closed, Line(color));
        return;
    }
    const double scale = map.PlanScale();
    for (size_t i = 0; i < segments; ++i) {
        const VertexData &from = vertices[i], &to = vertices[(i + 1) % n];
        double w0, w1;
        widths(from, &w0, &w1);
        const double bulge = std::isfinite(from.bulge) ? from.bulge : 0;
        if (bulge != 0 || (w0 == 0 && w1 == 0)) {
            std::vector<Vec3> points = {from.at};
            std::vector<Vec3> run = BulgePoints(from.at, to.at, bulge);
            points.insert(points.end(), run.begin(), run.end());
            StrokeStyle style = Line(color);
            style.width = std::fabs(w0 + w1) / 2 * scale;
            canvas.Polyline(Plan(map, points), false, style);
            continue;
        }
        std::vector<Vec3> quad = WideSegment(from.at, to.at, w0, w1);
        if (!quad.empty())
            canvas.Polyline(Plan(map, quad), true, Fill(color));
    }
}

// A polygon mesh of M x N vertices: its rows and its columns, closed as its flags say.
// A smoothed mesh whose vertex count matches its smoothing densities is drawn by those.
void DrawMesh(const std::vector<VertexData> &all, const CDB_POLYLINE_type &head, const Affine &map,
              const Rgb &color, SvgCanvas &canvas) {
    std::vector<VertexData> vertices;
    for (const VertexData &v : all)
        if (v.flags & kVertexMesh || v.flags == 0)
            vertices.push_back(v);
    long m = head.mesh_m_count, n = head.mesh_n_count;
    const long sm = head.smooth_m_density, sn = head.smooth_n_density;
    const long count = static_cast<long>(vertices.size());
    if (m * n != count && sm > 0 && sn > 0 && sm * sn == count) {
        m = sm;
        n = sn;
    }
    if (m <= 0 || n <= 0 || m * n > count)
        return;
    const bool closed_m = head.flags & kPolylineClosed, closed_n = head.flags & kMeshClosedInN;
    std::vector<Vec3> run;
    for (long i = 0; i < m; ++i) {
        run.clear();
        for (long j = 0; j < n; ++j)
            run.push_back(vertices[static_cast<size_t>(i * n + j)].at);
        canvas.Polyline(Plan(map, run), closed_n, Line(color));
    }
    for (long j = 0; j < n; ++j) {
        run.clear();
        for (long i = 0; i < m; ++i)
            run.push_back(vertices[static_cast<size_t>(i * n + j)].at);
        canvas.Polyline(Plan(map, run), closed_m, Line(color));
    }
}

// A polyface mesh: its vertices carry the coordinates, its face records the 1-based
// numbers of their corners; a negative number hides the edge that starts there.
void DrawPolyface(const std::vector<VertexData> &all, const Affine &map, const Rgb &color,
                  SvgCanvas &canvas) {
    std::vector<Vec3> points;
    for (const VertexData &v : all)
        if ((v.flags & kVertexPolyface) && (v.flags & kVertexMesh))
            points.push_back(v.at);
    for (const VertexData &v : all) {
        if (!(v.flags & kVertexPolyface) || (v.flags & kVertexMesh))
            continue;
        int corners[4];
        int used = 0;
        for (int k = 0; k < 4; ++k)
            if (v.index[k] != 0)
                corners[used++] = v.index[k];
        for (int k = 0; k < used && used >= 2; ++k) {
            const int from = corners[k], to = corners[(k + 1) % used];
            if (from < 0 || (used == 2 && k == 1))
                continue;
            const long a = std::labs(from) - 1, b = std::labs(to) - 1;
            if (a >= static_cast<long>(points.size()) || b >= static_cast<long>(points.size()))
                continue;
            canvas.Polyline(
                Plan(map, {points[static_cast<size_t>(a)], points[static_cast<size_t>(b)]}), false,
                Line(color));
        }
    }
}

// The layout of a TEXT, ATTRIB or ATTDEF record part, which share their field names, with
// the text it shows.
template <typename Part> TextLayout LayoutOf(const Part &part, const char *text) {
    TextLayout layout;
    layout.text = text ? text : "";
    layout.insertion = V(part.insertion_point);
    layout.alignment = V(part.alignment_point);
    layout.height = part.height;
    layout.rotation = part.rotation;
    layout.width_factor = part.width_factor;
    layout.oblique = part.oblique_angle;
    layout.style_index = part.style_index;
    layout.horizontal = part.horizontal_justification;
    layout.vertical = part.vertical_justification;
    return layout;
}

} // namespace

// An entity record fetched from a list; the texts that the library hands out as copies
// are freed with it.
class DrawingWalker::Record {
public:
    Record() { Clear(); }
    ~Record() { Release(); }
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;

    bool Fetch(int16_t drawing, int16_t block, int position) {
        Release();
        Clear();
        if (position < 0 || position > 0xFFFF)
            return false;
        const int32_t id = CDBPackEntityId(block, static_cast<uint16_t>(position));
        return CDBGetEntity(drawing, id, &e) >= 0;
    }
    CDB_ENTITY e;

private:
    void Clear() { std::memset(static_cast<void *>(&e), 0, sizeof e); }
    // The texts that the library copied for this record are the kind's owned texts.
    void Release() {
        tool_support::FreeEntityTexts(&e);
        e.entity_type = 0;
    }
};

DrawingWalker::DrawingWalker(int16_t drawing, bool paper, SvgCanvas &canvas)
    : drawing_(drawing), paper_(paper), canvas_(canvas), texts_(drawing) {}

void DrawingWalker::DrawMainList() {
    DrawList(-1, Placement());
}

bool DrawingWalker::Hidden(Record &record, const Placement &at) {
    // The space is a matter of the main list; a block's entities are drawn wherever
    // their insert stands.
    if (at.depth == 0 && (record.e.space != 0) != paper_)
        return true;
    return CDBCheckEntityFiltering(drawing_, &record.e) == 15;
}

int DrawingWalker::SkipHidden(int16_t block, int position, int count) {
    // A hidden entity followed by vertices or attributes takes them along, up to and
    // with their sequence end.
    Record next;
    if (position >= count || !next.Fetch(drawing_, block, position))
        return position;
    const int kind = next.e.entity_type;
    if (kind != CDB_VERTEX && kind != CDB_ATTRIB)
        return position;
    for (; position < count; ++position) {
        if (!next.Fetch(drawing_, block, position))
            return count;
        if (next.e.entity_type == CDB_SEQEND)
            return position + 1;
        if (next.e.entity_type == CDB_ENDBLK)
            return position;
    }
    return position;
}

void DrawingWalker::DrawList(int16_t block, const Placement &at) {
    const int count = CDBEntityCount(drawing_, block);
    Record record;
    for (int position = 0; position < count && drawn_ < kMaxDrawnEntities;) {
        if (++visited_ > kMaxVisitedRecords || !record.Fetch(drawing_, block, position))
            break;
        const int kind = record.e.entity_type;
        if (kind == CDB_ENDBLK)
            break;
        if (kind == CDB_INSERT) {
            // Followed whatever its layer; only the space of the main list counts.
            if (!(at.depth == 0 && (record.e.space != 0) != paper_))
                FollowInsert(record.e, at);
            ++position;
            continue;
        }
        if (kind == CDB_BLOCK || (kind == CDB_ATTDEF && at.depth > 0)) {
            // Block starts are no drawing; attribute definitions inside an inserted
            // block only ask for the values that its ATTRIBs carry.
            ++position;
            continue;
        }
        if (Hidden(record, at)) {
            position = SkipHidden(block, position + 1, count);
            continue;
        }
        if (kind == CDB_POLYLINE) {
            position = DrawPolyline(block, position, count, record, at);
            continue;
        }
        if (kind != CDB_VERTEX && kind != CDB_SEQEND)
            DrawEntity(record, at);
        ++position;
    }
}

void DrawingWalker::DrawEntity(Record &record, const Placement &at) {
    CDB_ENTITY &e = record.e;
    ++drawn_;
    const Rgb color = AciColor(ColorNumber(e, at));
    if (at.own_groups) {
        ++counts_.groups;
        canvas_.BeginEntity(tool_support::EntityKindName(e.entity_type));
    }
    DrawGeometry(e, at, color);
    if (at.own_groups)
        canvas_.EndEntity();
}

void DrawingWalker::DrawGeometry(CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const Affine ocs = at.map.After(Affine::FromExtrusion(V(e.extrusion)));
    switch (e.entity_type) {
    case CDB_LINE:
    case CDB_3DLINE:
        canvas_.Polyline(Plan(at.map, {V(e.line.start_point), V(e.line.end_point)}), false,
                         Line(color));
        break;
    case CDB_POINT:
        canvas_.Dot(at.map.ApplyPlan(V(e.point.location)), color);
        break;
    case CDB_CIRCLE:
        canvas_.Polyline(
            Plan(ocs, ArcPoints(V(e.circle.center), std::fabs(+e.circle.radius), 0, 2 * kPi)), true,
            Line(color));
        break;
    case CDB_ARC:
        canvas_.Polyline(
            Plan(ocs, ArcPoints(V(e.arc.center), std::fabs(+e.arc.radius),
                                FiniteRadians(e.arc.start_angle), FiniteRadians(e.arc.end_angle))),
            false, Line(color));
        break;
    case CDB_TRACE:
    case CDB_SOLID: {
        // The corners run 1, 2, 4, 3 around the outline; equal third and fourth corners
        // make a triangle.
        const Vec3 c1 = V(e.trace.corner_1), c2 = V(e.trace.corner_2), c3 = V(e.trace.corner_3),
                   c4 = V(e.trace.corner_4);
        std::vector<Vec3> outline = {c1, c2, c4, c3};
        if (SamePoint(c3, c4))
            outline = {c1, c2, c3};
        canvas_.Polyline(Plan(ocs, outline), true, Fill(color));
        break;
    }
    case CDB_3DFACE:
        DrawFaceEdges(e, at, color);
        break;
    case CDB_TEXT:
        DrawText(LayoutOf(e.text, e.text.text), e, at, color);
        break;
    case CDB_ATTRIB:
        if (!(e.attrib.flags & kAttributeInvisible))
            DrawText(LayoutOf(e.attrib, e.attrib.value), e, at, color);
        break;
    case CDB_ATTDEF:
        // Outside a block an attribute definition shows its tag.
        if (!(e.attdef.flags & kAttributeInvisible))
            DrawText(LayoutOf(e.attdef, e.attdef.tag), e, at, color);
        break;
    case CDB_SHAPE:
        DrawShapeEntity(e, at, color);
        break;
    case CDB_DIMENSION: {
        // The picture of a dimension is its anonymous block, in place as it stands.
        Vec3 base;
        if (BlockBase(e.dimension.block_index, &base))
            DrawBlock(e.dimension.block_index,
                      at.map.After(Affine::Translation({-base.x, -base.y, -base.z})),
                      ColorNumber(e, at), false, at);
        break;
    }
    case CDB_VIEWPORT:
        if (paper_ && e.viewport.viewport_id != kPaperSpaceViewportId)
            DrawViewportFrame(e, at, color);
        break;
    default:
        DrawRelease13Kind(e, at, color);
        break;
    }
}

// The visible edges of a 3D face; an edge whose ends meet draws nothing.
void DrawingWalker::DrawFaceEdges(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const Vec3 corners[4] = {V(e.face.corner_1), V(e.face.corner_2), V(e.face.corner_3),
                             V(e.face.corner_4)};
    const int invisible = e.face.invisible_edges;
    for (int edge = 0; edge < 4; ++edge) {
        if (invisible & (1 << edge))
            continue;
        const Vec3 &from = corners[edge], &to = corners[(edge + 1) % 4];
        if (!SamePoint(from, to))
            canvas_.Polyline(Plan(at.map, {from, to}), false, Line(color));
    }
}

// The outline of a paper space viewport.
void DrawingWalker::DrawViewportFrame(const CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    const Vec3 c = V(e.viewport.center);
    const double w = e.viewport.width / 2, h = e.viewport.height / 2;
    canvas_.Polyline(Plan(at.map, {{c.x - w, c.y - h, c.z},
                                   {c.x + w, c.y - h, c.z},
                                   {c.x + w, c.y + h, c.z},
                                   {c.x - w, c.y + h, c.z}}),
                     true, Line(color));
}

void DrawingWalker::DrawText(const TextLayout &layout, const CDB_ENTITY &e, const Placement &at,
                             const Rgb &color) {
    const Affine ocs = at.map.After(Affine::FromExtrusion(V(e.extrusion)));
    if (texts_.DrawText(layout, ocs, color, canvas_))
        ++counts_.shape_texts;
    else
        ++counts_.plain_texts;
}

void DrawingWalker::DrawShapeEntity(CDB_ENTITY &e, const Placement &at, const Rgb &color) {
    std::vector<char> buffer(65536, 0);
    CDB_SHAPE_ENTITY_type *shape = reinterpret_cast<CDB_SHAPE_ENTITY_type *>(&e);
    const int16_t length = CDBGetShapeDataFromEntity(drawing_, shape, buffer.data());
    if (length <= 0)
        return;
    const std::vector<uint8_t> codes(buffer.begin(), buffer.begin() + length);
    // A shape names its font by the slot in the shape table, as the shape lookups take it.
    const int16_t slot = e.shape.shape_style_index;
    const Affine ocs = at.map.After(Affine::FromExtrusion(V(e.extrusion)));
    texts_.DrawShapeCodes(slot, codes, V(e.shape.insertion_point), e.shape.size, e.shape.rotation,
                          e.shape.x_scale, e.shape.oblique_angle, ocs, color, canvas_);
}

int DrawingWalker::DrawPolyline(int16_t block, int position, int count, Record &head,
                                const Placement &at) {
    // The vertices that follow the head, then its sequence end.
    std::vector<VertexData> vertices;
    Record next;
    int after = position + 1;
    for (; after < count; ++after) {
        if (!next.Fetch(drawing_, block, after) || next.e.entity_type != CDB_VERTEX)
            break;
        VertexData v;
        v.at = V(next.e.vertex.location);
        v.start_width = next.e.vertex.start_width;
        v.end_width = next.e.vertex.end_width;
        v.bulge = next.e.vertex.bulge;
        v.flags = next.e.vertex.flags;
        v.index[0] = next.e.vertex.polyface_index_1;
        v.index[1] = next.e.vertex.polyface_index_2;
        v.index[2] = next.e.vertex.polyface_index_3;
        v.index[3] = next.e.vertex.polyface_index_4;
        vertices.push_back(v);
    }
    if (after < count && next.e.entity_type == CDB_SEQEND)
        ++after;

    const CDB_ENTITY &e = head.e;
    ++drawn_;
    const Rgb color = AciColor(ColorNumber(e, at));
    if (at.own_groups) {
        ++counts_.groups;
        canvas_.BeginEntity("POLYLINE");
    }
    const int flags = e.polyline.flags;
    if (flags & kPolylinePolyface)
        DrawPolyface(vertices, at.map, color, canvas_);
    else if (flags & kPolylineMesh)
        DrawMesh(vertices, e.polyline, at.map, color, canvas_);
    else if (flags & kPolyline3D)
        DrawPath(FitVertices(vertices), false, flags & kPolylineClosed, 0, 0, at.map, color,
                 canvas_);
    else
        DrawPath(FitVertices(vertices), true, flags & kPolylineClosed, e.polyline.start_width,
                 e.polyline.end_width, at.map.After(Affine::FromExtrusion(V(e.extrusion))), color,
                 canvas_);
    if (at.own_groups)
        canvas_.EndEntity();
    return after;
}

bool DrawingWalker::BlockBase(int16_t block, Vec3 *base) {
    auto found = block_bases_.find(block);
    if (found == block_bases_.end()) {
        // A deleted block, or a number without a block, has no list to draw.
        bool usable = block >= 0 && CDBEntityCount(drawing_, block) > 0;
        Vec3 point;
        CDB_STARTBLOCK_ENTITY_type start;
        std::memset(static_cast<void *>(&start), 0, sizeof start);
        if (usable && CDBBlockGet(drawing_, block, &start) == 0) {
            point = V(start.base_point);
            if (!std::isfinite(point.x) || !std::isfinite(point.y) || !std::isfinite(point.z))
                point = Vec3();
        }
        std::free(start.xref_path);
        std::free(start.name);
        std::free(start.name_2);
        found = block_bases_.emplace(block, std::make_pair(usable, point)).first;
    }
    *base = found->second.second;
    return found->second.first;
}

void DrawingWalker::FollowInsert(const CDB_ENTITY &e, const Placement &at) {
    if (at.depth + 1 > kMaxInsertDepth)
        return;
    const int16_t block = e.insert.block_index;
    Vec3 base;
    if (!BlockBase(block, &base))
        return;
    auto finite_or = [](double value, double fallback) {
        return std::isfinite(value) ? value : fallback;
    };
    const Affine ocs = at.map.After(Affine::FromExtrusion(V(e.extrusion)));
    const Affine placed = ocs.After(Affine::Translation(V(e.insert.insertion_point)))
                              .After(Affine::RotationZ(FiniteRadians(e.insert.rotation)));
    const Affine scaled =
        Affine::Scaling(finite_or(e.insert.x_scale, 1), finite_or(e.insert.y_scale, 1),
                        finite_or(e.insert.z_scale, 1))
            .After(Affine::Translation({-base.x, -base.y, -base.z}));
    const long columns = std::max<long>(1, e.insert.column_count);
    const long rows = std::max<long>(1, e.insert.row_count);
    const double column_spacing = finite_or(e.insert.column_spacing, 0);
    const double row_spacing = finite_or(e.insert.row_spacing, 0);
    const int byblock = ColorNumber(e, at);
    long cells = 0;
    for (long row = 0; row < rows; ++row) {
        for (long column = 0; column < columns; ++column) {
            if (++cells > kMaxInsertCells || drawn_ >= kMaxDrawnEntities)
                return;
            ++drawn_;
            const Affine cell =
                placed.After(Affine::Translation({column * column_spacing, row * row_spacing, 0}))
                    .After(scaled);
            DrawBlock(block, cell, byblock, at.own_groups, at);
        }
    }
}

void DrawingWalker::DrawBlock(int16_t block, const Affine &placement, int byblock_color,
                              bool own_groups, const Placement &at) {
    if (at.depth + 1 > kMaxInsertDepth)
        return;
    Placement inner;
    inner.map = placement;
    inner.byblock_color = byblock_color;
    inner.depth = at.depth + 1;
    inner.own_groups = own_groups;
    DrawList(block, inner);
}

int DrawingWalker::LayerColor(int layer_index) {
    auto found = layer_colors_.find(layer_index);
    if (found != layer_colors_.end())
        return found->second;
    int color = 7;
    CDB_LAYER_TBL_type layer;
    std::memset(static_cast<void *>(&layer), 0, sizeof layer);
    if (layer_index >= 0 && layer_index <= 0x7FFF &&
        CDBLayerTableGet(drawing_, static_cast<int16_t>(layer_index), &layer) == 0) {
        // A negative colour is the layer's own colour, switched off.
        color = std::abs(static_cast<int>(layer.color));
        if (color < 1 || color > 255)
            color = 7;
    }
    layer_colors_[layer_index] = color;
    return color;
}

int DrawingWalker::ColorNumber(const CDB_ENTITY &e, const Placement &at) {
    const int color = e.color;
    if (color == 256 || color == -1)
        return LayerColor(e.layer_index);
    if (color == 0)
        return at.byblock_color;
    return color;
}

} // namespace render
