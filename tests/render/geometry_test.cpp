// Affine maps, the object coordinate system of an extrusion, arcs and bulges.
#include "render/render_geometry.h"

#include <gtest/gtest.h>

#include <cmath>

using render::Affine;
using render::ArcPoints;
using render::BulgePoints;
using render::Point2;
using render::Vec3;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kEps = 1e-9;

void ExpectVec(const Vec3 &v, double x, double y, double z) {
    EXPECT_NEAR(v.x, x, kEps);
    EXPECT_NEAR(v.y, y, kEps);
    EXPECT_NEAR(v.z, z, kEps);
}

double Distance(const Vec3 &a, double x, double y) {
    return std::hypot(a.x - x, a.y - y);
}

} // namespace

TEST(RenderAffine, IdentityLeavesPointsAlone) {
    ExpectVec(Affine::Identity().Apply({1.5, -2, 3}), 1.5, -2, 3);
}

TEST(RenderAffine, TranslationScalingRotation) {
    ExpectVec(Affine::Translation({1, 2, 3}).Apply({1, 1, 1}), 2, 3, 4);
    ExpectVec(Affine::Scaling(2, 3, 4).Apply({1, 1, 1}), 2, 3, 4);
    ExpectVec(Affine::RotationZ(kPi / 2).Apply({1, 0, 5}), 0, 1, 5);
}

TEST(RenderAffine, AfterAppliesInnerFirst) {
    // Scale by 2, then turn by 90 degrees, then move by (10, 0): (1, 0) -> (2, 0) ->
    // (0, 2) -> (10, 2). The insert placement of a block's line.
    Affine map = Affine::Translation({10, 0, 0})
                     .After(Affine::RotationZ(kPi / 2))
                     .After(Affine::Scaling(2, 2, 2));
    ExpectVec(map.Apply({1, 0, 0}), 10, 2, 0);
    ExpectVec(map.Apply({0, 0, 0}), 10, 0, 0);
    Point2 plan = map.ApplyPlan({1, 0, 7});
    EXPECT_NEAR(plan.x, 10, kEps);
    EXPECT_NEAR(plan.y, 2, kEps);
}

TEST(RenderAffine, AfterCarriesTheInnerOffsetThroughTheOuterMap) {
    Affine map = Affine::Scaling(3, 3, 3).After(Affine::Translation({1, 2, 0}));
    ExpectVec(map.Apply({0, 0, 0}), 3, 6, 0);
}

TEST(RenderAffine, MirrorsAndPlanScale) {
    EXPECT_FALSE(Affine::Identity().Mirrors());
    EXPECT_TRUE(Affine::Scaling(-1, 1, 1).Mirrors());
    EXPECT_FALSE(Affine::Scaling(-1, -1, 1).Mirrors());
    EXPECT_NEAR(Affine::Scaling(2, 8, 1).PlanScale(), 4, kEps);
    EXPECT_NEAR(Affine::RotationZ(0.3).After(Affine::Scaling(-3, 3, 1)).PlanScale(), 3, kEps);
    EXPECT_TRUE(Affine::RotationZ(0.3).After(Affine::Scaling(-3, 3, 1)).Mirrors());
}

TEST(RenderExtrusion, WorldZAndZeroVectorGiveIdentity) {
    for (const Vec3 &n : {Vec3{0, 0, 1}, Vec3{0, 0, 0}, Vec3{0, 0, 5}}) {
        Affine map = Affine::FromExtrusion(n);
        ExpectVec(map.Apply({1, 2, 3}), 1, 2, 3);
    }
}

TEST(RenderExtrusion, NegativeZMirrorsX) {
    // Wy x (0,0,-1) = (-1, 0, 0); Ay = N x Ax = (0, 1, 0).
    Affine map = Affine::FromExtrusion({0, 0, -1});
    ExpectVec(map.Apply({1, 0, 0}), -1, 0, 0);
    ExpectVec(map.Apply({0, 1, 0}), 0, 1, 0);
    ExpectVec(map.Apply({0, 0, 1}), 0, 0, -1);
    EXPECT_TRUE(map.Mirrors());
}

TEST(RenderExtrusion, WorldXUsesTheWorldZAxisRule) {
    // Wz x (1,0,0) = (0, 1, 0); Ay = (1,0,0) x (0,1,0) = (0, 0, 1).
    Affine map = Affine::FromExtrusion({2, 0, 0});
    ExpectVec(map.Apply({1, 0, 0}), 0, 1, 0);
    ExpectVec(map.Apply({0, 1, 0}), 0, 0, 1);
    ExpectVec(map.Apply({0, 0, 1}), 1, 0, 0);
}

TEST(RenderExtrusion, NearlyWorldZStillUsesTheWorldYAxisRule) {
    // |Nx| just under 1/64: the x axis comes from Wy x N, close to the world x axis.
    Vec3 n{0.015, 0, 1};
    Affine map = Affine::FromExtrusion(n);
    Vec3 ax = map.Apply({1, 0, 0});
    EXPECT_GT(ax.x, 0.99);
    EXPECT_NEAR(ax.y, 0, kEps);
    // Just over the limit the rule switches to Wz x N, which points along +y.
    Affine other = Affine::FromExtrusion({0.02, 0, 0.9});
    Vec3 bx = other.Apply({1, 0, 0});
    EXPECT_NEAR(bx.x, 0, kEps);
    EXPECT_NEAR(bx.y, 1, kEps);
}

TEST(RenderExtrusion, AxesAreOrthonormalAndRightHanded) {
    Vec3 n{1, 2, 3};
    Affine map = Affine::FromExtrusion(n);
    Vec3 ax = map.Apply({1, 0, 0}), ay = map.Apply({0, 1, 0}), az = map.Apply({0, 0, 1});
    auto dot = [](const Vec3 &a, const Vec3 &b) { return a.x * b.x + a.y * b.y + a.z * b.z; };
    EXPECT_NEAR(dot(ax, ax), 1, kEps);
    EXPECT_NEAR(dot(ay, ay), 1, kEps);
    EXPECT_NEAR(dot(az, az), 1, kEps);
    EXPECT_NEAR(dot(ax, ay), 0, kEps);
    EXPECT_NEAR(dot(ax, az), 0, kEps);
    double len = std::sqrt(14.0);
    ExpectVec(az, 1 / len, 2 / len, 3 / len);
    // Ax x Ay = N.
    Vec3 cross{ax.y * ay.z - ax.z * ay.y, ax.z * ay.x - ax.x * ay.z, ax.x * ay.y - ax.y * ay.x};
    ExpectVec(cross, az.x, az.y, az.z);
}

TEST(RenderArc, QuarterArcEndsAndStep) {
    auto points = ArcPoints({1, 1, 2}, 2, 0, kPi / 2);
    ASSERT_GE(points.size(), 2u);
    ExpectVec(points.front(), 3, 1, 2);
    ExpectVec(points.back(), 1, 3, 2);
    for (const Vec3 &p : points)
        EXPECT_NEAR(Distance(p, 1, 1), 2, kEps);
    // 90 degrees at 64 steps to the circle: 16 pieces.
    EXPECT_EQ(points.size(), 17u);
}

TEST(RenderArc, FullCircleClosesOnItsStart) {
    auto points = ArcPoints({0, 0, 0}, 1, 0.5, 0.5 + 2 * kPi);
    EXPECT_EQ(points.size(), 65u);
    EXPECT_NEAR(points.front().x, points.back().x, kEps);
    EXPECT_NEAR(points.front().y, points.back().y, kEps);
}

TEST(RenderArc, EndBelowStartGoesOnPastZero) {
    // From 270 degrees to 90 degrees counter-clockwise passes through 0 degrees (x = +1).
    auto points = ArcPoints({0, 0, 0}, 1, 1.5 * kPi, 0.5 * kPi);
    ExpectVec(points.front(), 0, -1, 0);
    ExpectVec(points.back(), 0, 1, 0);
    bool passes_zero = false;
    for (const Vec3 &p : points) {
        EXPECT_GE(p.x, -kEps);
        if (std::fabs(p.x - 1) < kEps)
            passes_zero = true;
    }
    EXPECT_TRUE(passes_zero);
}

TEST(RenderArc, StepIsHonoured) {
    auto points = ArcPoints({0, 0, 0}, 1, 0, 1.0, 0.1);
    EXPECT_EQ(points.size(), 11u);
}

TEST(RenderArc, DegenerateInputsStayBounded) {
    EXPECT_TRUE(ArcPoints({0, 0, 0}, 1, NAN, 1).empty());
    EXPECT_TRUE(ArcPoints({0, 0, 0}, 1, 0, INFINITY).empty());
    // A far-off end and a zero step cost no endless loop and no huge list.
    EXPECT_LE(ArcPoints({0, 0, 0}, 1, 0, 1e12).size(), 4097u);
    EXPECT_LE(ArcPoints({0, 0, 0}, 1, 1e12, 0).size(), 4097u);
    EXPECT_EQ(ArcPoints({0, 0, 0}, 1, 0, 1, 0).size(), 12u); // the default step
    // Start equal to end: both ends, no span.
    auto same = ArcPoints({0, 0, 0}, 1, 1, 1);
    ASSERT_EQ(same.size(), 2u);
    EXPECT_NEAR(same[0].x, same[1].x, kEps);
}

TEST(RenderBulge, ZeroBulgeGivesTheEndOnly) {
    auto points = BulgePoints({0, 0, 0}, {4, 0, 0}, 0);
    ASSERT_EQ(points.size(), 1u);
    ExpectVec(points[0], 4, 0, 0);
}

TEST(RenderBulge, BulgeOfOneIsAHalfCircleBelowTheChordGoingCounterClockwise) {
    // From (0,0) to (2,0) counter-clockwise about (1,0): the arc runs below the chord.
    auto points = BulgePoints({0, 0, 0}, {2, 0, 0}, 1);
    ASSERT_GE(points.size(), 2u);
    ExpectVec(points.back(), 2, 0, 0);
    double lowest = 0;
    for (const Vec3 &p : points) {
        EXPECT_NEAR(Distance(p, 1, 0), 1, kEps);
        EXPECT_LE(p.y, kEps);
        lowest = std::min(lowest, p.y);
    }
    EXPECT_NEAR(lowest, -1, kEps);
    EXPECT_EQ(points.size(), 32u); // 180 degrees in 32 pieces, the start left out
}

TEST(RenderBulge, NegativeBulgeGoesClockwiseAboveTheChord) {
    auto points = BulgePoints({0, 0, 0}, {2, 0, 0}, -1);
    for (const Vec3 &p : points)
        EXPECT_GE(p.y, -kEps);
    ExpectVec(points[points.size() / 2 - 1], 1, 1, 0);
}

TEST(RenderBulge, SmallPositiveBulgeHasItsCentreLeftOfTheChord) {
    // Chord along +x; left is +y. The arc itself bows to the right (below).
    double b = std::tan(kPi / 8); // included angle 90 degrees
    auto points = BulgePoints({0, 0, 0}, {2, 0, 0}, b);
    double r = std::sqrt(2.0);
    for (const Vec3 &p : points) {
        EXPECT_NEAR(Distance(p, 1, 1), r, 1e-9);
        EXPECT_LE(p.y, kEps);
    }
    EXPECT_EQ(points.size(), 16u);
}

TEST(RenderBulge, LargeBulgeTakesTheLongWay) {
    // b = tan(67.5 deg): an included angle of 270 degrees, centre right of the chord.
    double b = std::tan(3 * kPi / 8);
    auto points = BulgePoints({0, 0, 0}, {2, 0, 0}, b);
    double r = std::sqrt(2.0);
    double lowest = 0;
    for (const Vec3 &p : points) {
        EXPECT_NEAR(Distance(p, 1, -1), r, 1e-9);
        lowest = std::min(lowest, p.y);
    }
    EXPECT_NEAR(lowest, -1 - r, 1e-6);
}

TEST(RenderBulge, ZGoesLinearly) {
    auto points = BulgePoints({0, 0, 0}, {2, 0, 4}, 1);
    ASSERT_EQ(points.size(), 32u);
    EXPECT_NEAR(points[15].z, 2, kEps); // halfway
    EXPECT_NEAR(points.back().z, 4, kEps);
}

TEST(RenderBulge, CoincidentEndsAndBadBulgeGiveTheEndOnly) {
    EXPECT_EQ(BulgePoints({1, 1, 0}, {1, 1, 0}, 1).size(), 1u);
    EXPECT_EQ(BulgePoints({0, 0, 0}, {1, 0, 0}, NAN).size(), 1u);
    EXPECT_EQ(BulgePoints({0, 0, 0}, {1, 0, 0}, INFINITY).size(), 1u);
    // An enormous bulge is nearly a full circle, still a bounded list.
    EXPECT_LE(BulgePoints({0, 0, 0}, {1, 0, 0}, 1e9).size(), 4096u);
}
