// The curves of the release 13 kinds: ellipse arcs, B-splines with and without weights, fit
// curves and endless lines cut to a window.
#include "render/curve_geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using render::Point2;
using render::Vec3;
using render::WeightedPoint;

constexpr double kTight = 1e-9;

void ExpectAt(const Vec3 &p, double x, double y, double z = 0) {
    EXPECT_NEAR(p.x, x, kTight);
    EXPECT_NEAR(p.y, y, kTight);
    EXPECT_NEAR(p.z, z, kTight);
}

TEST(RenderEllipse, AQuarterRunsFromTheMajorToTheMinorAxisOnTheCurve) {
    const Vec3 major = {2, 0, 0};
    const Vec3 minor = render::MinorAxis({0, 0, 1}, major, 0.5);
    ExpectAt(minor, 0, 1);
    const std::vector<Vec3> points =
        render::EllipsePoints({10, 20, 0}, major, minor, 0, render::kPi / 2);
    ASSERT_GE(points.size(), 3u);
    ExpectAt(points.front(), 12, 20);
    ExpectAt(points.back(), 10, 21);
    for (const Vec3 &p : points) {
        const double u = (p.x - 10) / 2, v = (p.y - 20) / 1;
        EXPECT_NEAR(u * u + v * v, 1, kTight);
        EXPECT_GE(u, -kTight);
        EXPECT_GE(v, -kTight);
    }
}

TEST(RenderEllipse, AnEndBelowTheStartGoesOnPastAFullTurnAndAtMostOneTurnIsDrawn) {
    const std::vector<Vec3> wrapped =
        render::EllipsePoints({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 3 * render::kPi / 2, 0);
    ASSERT_FALSE(wrapped.empty());
    ExpectAt(wrapped.front(), 0, -1);
    ExpectAt(wrapped.back(), 1, 0);
    const std::vector<Vec3> whole = render::EllipsePoints({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 0, 100);
    ExpectAt(whole.back(), std::cos(0.0), 0);
    EXPECT_LE(whole.size(), 70u);
}

TEST(RenderEllipse, AParameterThatIsNotFiniteDrawsNothing) {
    EXPECT_TRUE(render::EllipsePoints({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 0, std::nan("")).empty());
}

TEST(RenderSpline, AClampedQuadraticStartsAndEndsOnItsEndControlPoints) {
    const std::vector<WeightedPoint> controls = {{{0, 0, 0}, 1}, {{1, 2, 0}, 1}, {{2, 0, 0}, 1}};
    const std::vector<Vec3> points = render::BSplinePoints(2, {0, 0, 0, 1, 1, 1}, controls);
    ASSERT_EQ(points.size(), static_cast<size_t>(render::kCurveStepsPerSpan + 1));
    ExpectAt(points.front(), 0, 0);
    ExpectAt(points.back(), 2, 0);
    // A quadratic Bezier at its middle: (P0 + 2 P1 + P2) / 4.
    ExpectAt(points[render::kCurveStepsPerSpan / 2], 1, 1);
}

TEST(RenderSpline, AClampedCubicWithAnInnerKnotPassesItsKnownPoint) {
    const std::vector<WeightedPoint> controls = {
        {{0, 0, 0}, 1}, {{1, 1, 0}, 1}, {{2, 1, 0}, 1}, {{3, 0, 0}, 1}, {{4, 0, 0}, 1}};
    const std::vector<double> knots = {0, 0, 0, 0, 0.5, 1, 1, 1, 1};
    const std::vector<Vec3> points = render::BSplinePoints(3, knots, controls);
    ASSERT_EQ(points.size(), static_cast<size_t>(2 * render::kCurveStepsPerSpan + 1));
    ExpectAt(points.front(), 0, 0);
    ExpectAt(points.back(), 4, 0);
    // At the inner knot only P1, P2, P3 act: (P1 + 2 P2 + P3) / 4 for this knot vector.
    ExpectAt(points[render::kCurveStepsPerSpan], 2, 0.75);
}

TEST(RenderSpline, WeightsMakeARationalQuadraticAQuarterCircle) {
    const double w = std::sqrt(0.5);
    const std::vector<WeightedPoint> controls = {{{1, 0, 0}, 1}, {{1, 1, 0}, w}, {{0, 1, 0}, 1}};
    const std::vector<Vec3> points = render::BSplinePoints(2, {0, 0, 0, 1, 1, 1}, controls);
    ASSERT_FALSE(points.empty());
    for (const Vec3 &p : points)
        EXPECT_NEAR(std::hypot(p.x, p.y), 1, kTight);
    ExpectAt(points[render::kCurveStepsPerSpan / 2], w, w);
}

TEST(RenderSpline, AWeightThatIsNotPositiveCountsAsOne) {
    const std::vector<WeightedPoint> zero = {{{0, 0, 0}, 1}, {{1, 2, 0}, 0}, {{2, 0, 0}, 1}};
    const std::vector<Vec3> points = render::BSplinePoints(2, {0, 0, 0, 1, 1, 1}, zero);
    ExpectAt(points[render::kCurveStepsPerSpan / 2], 1, 1);
}

TEST(RenderSpline, KnotsThatDoNotFitTheControlPointsGiveTheControlPolygon) {
    const std::vector<WeightedPoint> controls = {{{0, 0, 0}, 1}, {{1, 2, 0}, 1}, {{2, 0, 0}, 1}};
    EXPECT_EQ(render::BSplinePoints(2, {0, 0, 1, 1}, controls).size(), 3u);
    EXPECT_EQ(render::BSplinePoints(2, {0, 0, 1, 0, 1, 1}, controls).size(), 3u);
    EXPECT_EQ(render::BSplinePoints(0, {0, 0, 0}, controls).size(), 3u);
    EXPECT_TRUE(render::BSplinePoints(2, {}, {}).empty());
}

TEST(RenderFitCurve, TheCurvePassesThroughEveryFitPoint) {
    const std::vector<Vec3> fit = {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 1, 0}};
    const std::vector<Vec3> points = render::FitCurvePoints(fit);
    ASSERT_EQ(points.size(), 3u * render::kCurveStepsPerSpan + 1);
    for (size_t i = 0; i < fit.size(); ++i)
        ExpectAt(points[i * render::kCurveStepsPerSpan], fit[i].x, fit[i].y);
}

TEST(RenderFitCurve, TwoPointsGiveTheirSegment) {
    EXPECT_EQ(render::FitCurvePoints({{0, 0, 0}, {1, 1, 0}}).size(), 2u);
}

TEST(RenderEndlessLine, ARayIsCutWhereItLeavesTheWindowAndStartsAtItsBase) {
    Point2 from, to;
    ASSERT_TRUE(render::ClipEndlessLine({0, 0}, {1, 1}, false, {-10, -10}, {10, 5}, &from, &to));
    EXPECT_NEAR(from.x, 0, kTight);
    EXPECT_NEAR(from.y, 0, kTight);
    EXPECT_NEAR(to.x, 5, kTight);
    EXPECT_NEAR(to.y, 5, kTight);
}

TEST(RenderEndlessLine, ARayPointingAwayFromTheWindowMissesIt) {
    Point2 from, to;
    EXPECT_FALSE(render::ClipEndlessLine({20, 0}, {1, 0}, false, {-10, -10}, {10, 10}, &from, &to));
    ASSERT_TRUE(render::ClipEndlessLine({20, 0}, {-1, 0}, false, {-10, -10}, {10, 10}, &from, &to));
    EXPECT_NEAR(from.x, 10, kTight);
    EXPECT_NEAR(to.x, -10, kTight);
}

TEST(RenderEndlessLine, AnXlineRunsAcrossTheWholeWindowBothWays) {
    Point2 from, to;
    ASSERT_TRUE(render::ClipEndlessLine({0, 3}, {2, 0}, true, {-10, -10}, {10, 10}, &from, &to));
    EXPECT_NEAR(from.x, -10, kTight);
    EXPECT_NEAR(to.x, 10, kTight);
    EXPECT_NEAR(from.y, 3, kTight);
    EXPECT_FALSE(render::ClipEndlessLine({0, 30}, {1, 0}, true, {-10, -10}, {10, 10}, &from, &to));
}

TEST(RenderEndlessLine, ADirectionWithoutLengthOrAValueNotFiniteDrawsNothing) {
    Point2 from, to;
    EXPECT_FALSE(render::ClipEndlessLine({0, 0}, {0, 0}, true, {-1, -1}, {1, 1}, &from, &to));
    EXPECT_FALSE(
        render::ClipEndlessLine({std::nan(""), 0}, {1, 0}, true, {-1, -1}, {1, 1}, &from, &to));
}

} // namespace
