// Affine maps of space and the tessellation of arcs and bulges for the renderer.
#include "render/render_geometry.h"

#include <cmath>

namespace render {

namespace {

constexpr double kTwoPi = 2 * kPi;
// No arc is cut into more pieces than this, whatever step or span it is asked for.
constexpr double kMaxArcSegments = 4096;
// Below this magnitude of |x| and |y| an extrusion counts as (nearly) the world z axis, and
// the x axis of its plane is taken from the world y axis instead of the world z axis.
constexpr double kArbitraryAxisLimit = 1.0 / 64;

Vec3 Cross(const Vec3 &a, const Vec3 &b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double Length(const Vec3 &v) {
    return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
}

// `v` scaled to length 1; false (and `v` untouched) when it has no usable length.
bool Normalise(Vec3 *v) {
    double length = Length(*v);
    if (!(length > 0) || !std::isfinite(length))
        return false;
    v->x /= length;
    v->y /= length;
    v->z /= length;
    return true;
}

// The number of equal pieces an arc of `span` radians is cut into so that none is longer
// than `max_step` radians: at least one, at most kMaxArcSegments.
int SegmentsFor(double span, double max_step) {
    if (!(max_step > 0) || !std::isfinite(max_step))
        max_step = kArcStep;
    double pieces = std::ceil(std::fabs(span) / max_step - 1e-9);
    if (!(pieces >= 1))
        return 1;
    if (pieces > kMaxArcSegments)
        return static_cast<int>(kMaxArcSegments);
    return static_cast<int>(pieces);
}

} // namespace

Affine Affine::Identity() {
    return Affine();
}

Affine Affine::Translation(const Vec3 &offset) {
    Affine map;
    map.offset[0] = offset.x;
    map.offset[1] = offset.y;
    map.offset[2] = offset.z;
    return map;
}

Affine Affine::Scaling(double sx, double sy, double sz) {
    Affine map;
    map.linear[0][0] = sx;
    map.linear[1][1] = sy;
    map.linear[2][2] = sz;
    return map;
}

Affine Affine::RotationZ(double radians) {
    Affine map;
    double c = std::cos(radians), s = std::sin(radians);
    map.linear[0][0] = c;
    map.linear[0][1] = -s;
    map.linear[1][0] = s;
    map.linear[1][1] = c;
    return map;
}

Affine Affine::FromExtrusion(const Vec3 &extrusion) {
    Vec3 normal = extrusion;
    if (!Normalise(&normal))
        return Identity();
    const Vec3 world_y{0, 1, 0}, world_z{0, 0, 1};
    bool near_world_z =
        std::fabs(normal.x) < kArbitraryAxisLimit && std::fabs(normal.y) < kArbitraryAxisLimit;
    Vec3 axis_x = Cross(near_world_z ? world_y : world_z, normal);
    Normalise(&axis_x);
    Vec3 axis_y = Cross(normal, axis_x);
    Normalise(&axis_y);
    // The object axes are the columns: (x, y, z) goes to x * Ax + y * Ay + z * N.
    const Vec3 *columns[3] = {&axis_x, &axis_y, &normal};
    Affine map;
    for (int j = 0; j < 3; ++j) {
        map.linear[0][j] = columns[j]->x;
        map.linear[1][j] = columns[j]->y;
        map.linear[2][j] = columns[j]->z;
    }
    return map;
}

Affine Affine::After(const Affine &inner) const {
    Affine result;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double sum = 0;
            for (int k = 0; k < 3; ++k)
                sum += linear[i][k] * inner.linear[k][j];
            result.linear[i][j] = sum;
        }
        double moved = offset[i];
        for (int k = 0; k < 3; ++k)
            moved += linear[i][k] * inner.offset[k];
        result.offset[i] = moved;
    }
    return result;
}

Vec3 Affine::Apply(const Vec3 &p) const {
    double in[3] = {p.x, p.y, p.z}, out[3];
    for (int i = 0; i < 3; ++i)
        out[i] = linear[i][0] * in[0] + linear[i][1] * in[1] + linear[i][2] * in[2] + offset[i];
    return {out[0], out[1], out[2]};
}

Point2 Affine::ApplyPlan(const Vec3 &p) const {
    Vec3 world = Apply(p);
    return {world.x, world.y};
}

bool Affine::Mirrors() const {
    return linear[0][0] * linear[1][1] - linear[0][1] * linear[1][0] < 0;
}

double Affine::PlanScale() const {
    return std::sqrt(std::fabs(linear[0][0] * linear[1][1] - linear[0][1] * linear[1][0]));
}

std::vector<Vec3> ArcPoints(const Vec3 &centre, double radius, double start, double end,
                            double max_step) {
    std::vector<Vec3> points;
    if (!std::isfinite(start) || !std::isfinite(end))
        return points;
    if (end < start) {
        // Goes on past the zero angle; whole turns are added until the end comes after the
        // start (by arithmetic, so far-off angles cost no loop).
        end += kTwoPi * std::ceil((start - end) / kTwoPi);
        if (end < start)
            end += kTwoPi;
    }
    double span = end - start;
    int pieces = SegmentsFor(span, max_step);
    points.reserve(static_cast<size_t>(pieces) + 1);
    for (int i = 0; i <= pieces; ++i) {
        double angle = i == pieces ? end : start + span * i / pieces;
        points.push_back(
            {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle), centre.z});
    }
    return points;
}

std::vector<Vec3> BulgePoints(const Vec3 &from, const Vec3 &to, double bulge, double max_step) {
    double dx = to.x - from.x, dy = to.y - from.y;
    double chord = std::sqrt(dx * dx + dy * dy);
    if (bulge == 0 || !std::isfinite(bulge) || !(chord > 0) || !std::isfinite(chord))
        return {to};
    double included = 4 * std::atan(bulge);
    // The centre stands off the chord's midpoint along its left normal, by
    // chord/2 * (1 - b^2) / (2b): to the left for 0 < b < 1, on the chord for |b| = 1.
    double off = (1 - bulge * bulge) / (4 * bulge);
    double cx = (from.x + to.x) / 2 - dy * off;
    double cy = (from.y + to.y) / 2 + dx * off;
    double radius = std::hypot(from.x - cx, from.y - cy);
    double start = std::atan2(from.y - cy, from.x - cx);
    int pieces = SegmentsFor(included, max_step);
    std::vector<Vec3> points;
    points.reserve(static_cast<size_t>(pieces));
    for (int i = 1; i < pieces; ++i) {
        double t = static_cast<double>(i) / pieces;
        double angle = start + included * t;
        points.push_back({cx + radius * std::cos(angle), cy + radius * std::sin(angle),
                          from.z + (to.z - from.z) * t});
    }
    points.push_back(to);
    return points;
}

} // namespace render
