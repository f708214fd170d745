// The curves of the release 13 kinds as points: an ellipse between two parameters, a
// rational B-spline from its control points, weights and knots, a smooth curve through fit
// points, and an endless line (RAY, XLINE) cut to a window.
//
// Every function takes whatever a damaged drawing holds: counts that do not agree, values
// that are not finite, knots out of order. It then gives a plainer picture (the control
// polygon, or nothing) instead of failing, and never runs longer than its inputs are large.
#ifndef VELKO_RENDER_CURVE_GEOMETRY_H
#define VELKO_RENDER_CURVE_GEOMETRY_H

#include "render/render_geometry.h"

#include <vector>

namespace render {

// Points drawn for each stretch of a curve between two knots or two fit points.
constexpr int kCurveStepsPerSpan = 16;

// The ellipse centred at `centre` whose axes are `major` and `minor` (vectors from the
// centre), from parameter `start` to `end` (radians, p(t) = centre + cos t major + sin t
// minor). An `end` at or below `start` goes on past a full turn; at most one turn is drawn.
// Empty when a parameter is not finite.
std::vector<Vec3> EllipsePoints(const Vec3 &centre, const Vec3 &major, const Vec3 &minor,
                                double start, double end);

// The minor axis of an ellipse: `major` turned a quarter about `normal` and scaled by
// `ratio` (normal x major, so that the ellipse runs counter-clockwise seen from the normal).
Vec3 MinorAxis(const Vec3 &normal, const Vec3 &major, double ratio);

// A control point of a spline with its weight.
struct WeightedPoint {
    Vec3 at;
    double weight = 1;
};

// The rational B-spline of `degree` over `knots` (control count + degree + 1 values, not
// decreasing), sampled from its first to its last usable knot. A weight that is not a
// positive finite number counts as 1. Inputs that define no curve give the control polygon.
std::vector<Vec3> BSplinePoints(int degree, const std::vector<double> &knots,
                                const std::vector<WeightedPoint> &controls);

// A smooth curve through every one of `fit` (a uniform Catmull-Rom curve, its ends
// continued straight); two points give their segment, one point itself.
std::vector<Vec3> FitCurvePoints(const std::vector<Vec3> &fit);

// The part of the line through `base` along `direction` inside the box [min, max]: from
// `base` on when `both_ways` is false (a ray), in both directions otherwise (an xline).
// False when it misses the box, or when the direction has no length or a value is not
// finite.
bool ClipEndlessLine(const Point2 &base, const Point2 &direction, bool both_ways, const Point2 &min,
                     const Point2 &max, Point2 *from, Point2 *to);

} // namespace render

#endif
