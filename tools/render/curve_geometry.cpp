// The curves of the release 13 kinds: ellipse, B-spline, fit curve, endless lines.
#include "render/curve_geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace render {
namespace {

bool Finite(const Vec3 &p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// A point in homogeneous form: the weighted coordinates and the weight.
struct Homogeneous {
    double x = 0, y = 0, z = 0, w = 1;
};

Homogeneous Blend(const Homogeneous &a, const Homogeneous &b, double alpha) {
    return {a.x + (b.x - a.x) * alpha, a.y + (b.y - a.y) * alpha, a.z + (b.z - a.z) * alpha,
            a.w + (b.w - a.w) * alpha};
}

Homogeneous Lift(const WeightedPoint &p) {
    const double w = std::isfinite(p.weight) && p.weight > 0 ? p.weight : 1;
    return {p.at.x * w, p.at.y * w, p.at.z * w, w};
}

// Whether the knots and control points make a B-spline this file can sample.
bool SplineIsUsable(int degree, const std::vector<double> &knots,
                    const std::vector<WeightedPoint> &controls) {
    const size_t n = controls.size();
    if (degree < 1 || n < static_cast<size_t>(degree) + 1 || knots.size() != n + degree + 1)
        return false;
    for (size_t i = 0; i < knots.size(); ++i)
        if (!std::isfinite(knots[i]) || (i > 0 && knots[i] < knots[i - 1]))
            return false;
    for (const WeightedPoint &p : controls)
        if (!Finite(p.at))
            return false;
    return knots[static_cast<size_t>(degree)] < knots[n];
}

// The curve's point at `t` of the knot span [knots[span], knots[span + 1]), by repeated
// blending of the degree + 1 control points that act there.
Vec3 SplinePoint(int degree, const std::vector<double> &knots,
                 const std::vector<WeightedPoint> &controls, size_t span, double t) {
    const size_t p = static_cast<size_t>(degree);
    std::vector<Homogeneous> d(p + 1);
    for (size_t j = 0; j <= p; ++j)
        d[j] = Lift(controls[span - p + j]);
    for (size_t r = 1; r <= p; ++r) {
        for (size_t j = p; j >= r; --j) {
            const size_t i = span - p + j;
            const double denominator = knots[i + p - r + 1] - knots[i];
            const double alpha = denominator > 0 ? (t - knots[i]) / denominator : 0;
            d[j] = Blend(d[j - 1], d[j], alpha);
        }
    }
    const Homogeneous &h = d[p];
    return {h.x / h.w, h.y / h.w, h.z / h.w};
}

// A point of the uniform Catmull-Rom segment from b to c at u in [0, 1].
Vec3 CatmullRom(const Vec3 &a, const Vec3 &b, const Vec3 &c, const Vec3 &d, double u) {
    auto one = [u](double p0, double p1, double p2, double p3) {
        return 0.5 * (2 * p1 + (p2 - p0) * u + (2 * p0 - 5 * p1 + 4 * p2 - p3) * u * u +
                      (3 * p1 - p0 - 3 * p2 + p3) * u * u * u);
    };
    return {one(a.x, b.x, c.x, d.x), one(a.y, b.y, c.y, d.y), one(a.z, b.z, c.z, d.z)};
}

// Narrows [*low, *high] to the values of t where start + t * step lies within [min, max].
bool ClipAxis(double start, double step, double min, double max, double *low, double *high) {
    if (step == 0)
        return start >= min && start <= max;
    double t0 = (min - start) / step, t1 = (max - start) / step;
    if (t0 > t1)
        std::swap(t0, t1);
    *low = std::max(*low, t0);
    *high = std::min(*high, t1);
    return *low <= *high;
}

} // namespace

Vec3 MinorAxis(const Vec3 &normal, const Vec3 &major, double ratio) {
    return {ratio * (normal.y * major.z - normal.z * major.y),
            ratio * (normal.z * major.x - normal.x * major.z),
            ratio * (normal.x * major.y - normal.y * major.x)};
}

std::vector<Vec3> EllipsePoints(const Vec3 &centre, const Vec3 &major, const Vec3 &minor,
                                double start, double end) {
    if (!std::isfinite(start) || !std::isfinite(end) || std::fabs(start) > 1e6 ||
        std::fabs(end) > 1e6)
        return {};
    while (end <= start)
        end += 2 * kPi;
    end = std::min(end, start + 2 * kPi);
    std::vector<Vec3> points;
    for (const Vec3 &p : ArcPoints({0, 0, 0}, 1, start, end))
        points.push_back({centre.x + p.x * major.x + p.y * minor.x,
                          centre.y + p.x * major.y + p.y * minor.y,
                          centre.z + p.x * major.z + p.y * minor.z});
    return points;
}

std::vector<Vec3> BSplinePoints(int degree, const std::vector<double> &knots,
                                const std::vector<WeightedPoint> &controls) {
    std::vector<Vec3> points;
    if (!SplineIsUsable(degree, knots, controls)) {
        for (const WeightedPoint &p : controls)
            points.push_back(p.at);
        return points;
    }
    const size_t p = static_cast<size_t>(degree), n = controls.size();
    for (size_t span = p; span < n; ++span) {
        const double a = knots[span], b = knots[span + 1];
        if (!(b > a))
            continue;
        for (int step = points.empty() ? 0 : 1; step <= kCurveStepsPerSpan; ++step) {
            // The span's end is reached from inside it: the knot itself begins the next.
            const double t = a + (b - a) * step / kCurveStepsPerSpan;
            points.push_back(SplinePoint(degree, knots, controls, span, std::min(t, b)));
        }
    }
    return points;
}

std::vector<Vec3> FitCurvePoints(const std::vector<Vec3> &fit) {
    if (fit.size() < 3)
        return fit;
    std::vector<Vec3> points = {fit.front()};
    const size_t last = fit.size() - 1;
    for (size_t i = 0; i < last; ++i) {
        const Vec3 &b = fit[i], &c = fit[i + 1];
        // Beyond the ends the curve is continued by mirroring the neighbour.
        const Vec3 a = i > 0 ? fit[i - 1] : Vec3{2 * b.x - c.x, 2 * b.y - c.y, 2 * b.z - c.z};
        const Vec3 d =
            i + 1 < last ? fit[i + 2] : Vec3{2 * c.x - b.x, 2 * c.y - b.y, 2 * c.z - b.z};
        for (int step = 1; step < kCurveStepsPerSpan; ++step)
            points.push_back(
                CatmullRom(a, b, c, d, static_cast<double>(step) / kCurveStepsPerSpan));
        points.push_back(c);
    }
    return points;
}

bool ClipEndlessLine(const Point2 &base, const Point2 &direction, bool both_ways, const Point2 &min,
                     const Point2 &max, Point2 *from, Point2 *to) {
    const double values[] = {base.x, base.y, direction.x, direction.y, min.x, min.y, max.x, max.y};
    for (double v : values)
        if (!std::isfinite(v))
            return false;
    if (direction.x == 0 && direction.y == 0)
        return false;
    const double infinity = std::numeric_limits<double>::infinity();
    double low = both_ways ? -infinity : 0, high = infinity;
    if (!ClipAxis(base.x, direction.x, min.x, max.x, &low, &high) ||
        !ClipAxis(base.y, direction.y, min.y, max.y, &low, &high))
        return false;
    *from = {base.x + low * direction.x, base.y + low * direction.y};
    *to = {base.x + high * direction.x, base.y + high * direction.y};
    return true;
}

} // namespace render
