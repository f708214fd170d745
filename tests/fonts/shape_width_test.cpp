// The shape interpreter's width: every command, with the expected width worked out by hand
// in each test. The loader's width is the pen's x after each command; the whole-arc reach
// also counts the points inside an arc.
#include "fonts/shape_file.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Codes = std::vector<uint8_t>;

constexpr double kRoot2 = 1.41421356237309504880;

// The codes are copied into a block of exactly their size, so that a read past them shows
// under the address sanitizer.
double Width(const Codes &codes, ArcReach reach = ArcReach::kEndPoint) {
    std::vector<uint8_t> exact(codes);
    exact.shrink_to_fit();
    return ShapeWidth(exact.empty() ? nullptr : exact.data(), exact.size(), reach);
}

double Rad(double degrees) {
    return degrees * 3.14159265358979323846 / 180.0;
}

TEST(ShapeWidth, EmptyAndNullCodesHaveNoWidth) {
    EXPECT_EQ(ShapeWidth(nullptr, 0), 0.0);
    EXPECT_EQ(ShapeWidth(nullptr, 10), 0.0);
    EXPECT_EQ(Width({0}), 0.0);
    EXPECT_EQ(Width({}), 0.0);
}

TEST(ShapeWidth, VectorsInAllSixteenDirections) {
    // Length 2 in direction d: the pen ends at 2 x the direction's x; the width is that x
    // when it is positive, else 0.
    const double x_of[16] = {1, 1, 1, 0.5, 0, -0.5, -1, -1, -1, -1, -1, -0.5, 0, 0.5, 1, 1};
    for (int d = 0; d < 16; ++d) {
        const double expected = x_of[d] > 0 ? 2 * x_of[d] : 0.0;
        EXPECT_DOUBLE_EQ(Width({static_cast<uint8_t>(0x20 | d), 0}), expected) << d;
    }
    // Two moves: 3 to the right (x 3), then 5 up and left at direction 7 (x -2).
    EXPECT_DOUBLE_EQ(Width({0x30, 0x57, 0}), 3.0);
    // Direction 3 (0.5, 1) three times at length 15: x 7.5, 15, 22.5.
    EXPECT_DOUBLE_EQ(Width({0xF3, 0xF3, 0xF3, 0}), 22.5);
    // Left first, then right past the start: -4, then -4 + 6 = 2.
    EXPECT_DOUBLE_EQ(Width({0x48, 0x60, 0}), 2.0);
}

TEST(ShapeWidth, VectorOfLengthZeroStaysPut) {
    EXPECT_EQ(Width({0x0F, 0x00}), 0.0);
    EXPECT_DOUBLE_EQ(Width({0x10, 0x0F, 0}), 1.0);
}

TEST(ShapeWidth, PenUpAndDownDoNotMove) {
    EXPECT_DOUBLE_EQ(Width({2, 0x40, 1, 0x20, 2, 0}), 6.0);
}

TEST(ShapeWidth, ScaleDividedAndMultiplied) {
    // x4: 2 x 4 = 8; /8: scale 0.5, 1 more = 8.5.
    EXPECT_DOUBLE_EQ(Width({4, 4, 0x20, 3, 8, 0x10, 0}), 8.5);
    // /2 then x3: 1.5 per unit; 2 units = 3.
    EXPECT_DOUBLE_EQ(Width({3, 2, 4, 3, 0x20, 0}), 3.0);
    // The scale also multiplies displacements: x10, (5, 0) = 50.
    EXPECT_DOUBLE_EQ(Width({4, 10, 8, 5, 0, 0}), 50.0);
}

TEST(ShapeWidth, DivisionByZeroKeepsTheScale) {
    EXPECT_DOUBLE_EQ(Width({3, 0, 0x30, 0}), 3.0);
    // Multiplying by 0 is taken as it is: nothing moves any more.
    EXPECT_DOUBLE_EQ(Width({0x10, 4, 0, 0x70, 0}), 1.0);
}

TEST(ShapeWidth, PushAndPop) {
    // push (0,0); right 3: x 3; pop back to 0; right 1: x 1. Width 3.
    EXPECT_DOUBLE_EQ(Width({5, 0x30, 6, 0x10, 0}), 3.0);
    // push at x 2; right 5: 7; pop to 2; right 6: 8.
    EXPECT_DOUBLE_EQ(Width({0x20, 5, 0x50, 6, 0x60, 0}), 8.0);
    // Nested pushes and pops come back in reverse order.
    EXPECT_DOUBLE_EQ(Width({0x10, 5, 0x10, 5, 0x10, 6, 6, 0x88, 0}), 3.0);
}

TEST(ShapeWidth, FourPushesAreAllowedTheFifthEndsTheWalk) {
    EXPECT_DOUBLE_EQ(Width({5, 5, 5, 5, 0x30, 0}), 3.0);
    EXPECT_DOUBLE_EQ(Width({0x10, 5, 5, 5, 5, 5, 0x30, 0}), 1.0);
}

TEST(ShapeWidth, PopOnAnEmptyStackEndsTheWalk) {
    EXPECT_EQ(Width({6, 0x30, 0}), 0.0);
    EXPECT_DOUBLE_EQ(Width({0x20, 5, 6, 6, 0x70, 0}), 2.0);
}

TEST(ShapeWidth, SubshapeSkipsOneByteAndKeepsTheScale) {
    // 7, 0x40: the 0x40 is the subshape's number, not a move.
    EXPECT_DOUBLE_EQ(Width({7, 0x40, 0x20, 0}), 2.0);
    EXPECT_DOUBLE_EQ(Width({4, 3, 7, 65, 0x10, 0}), 3.0);
}

TEST(ShapeWidth, SingleDisplacement) {
    // Signed bytes: (-3, 2) then (10, -1): x -3, 7.
    EXPECT_DOUBLE_EQ(Width({8, 0xFD, 2, 8, 10, 0xFF, 0}), 7.0);
    EXPECT_EQ(Width({8, 0x80, 0, 0}), 0.0); // -128
    EXPECT_DOUBLE_EQ(Width({8, 127, 0, 0}), 127.0);
}

TEST(ShapeWidth, DisplacementsUntilZeroPair) {
    // (5, 0), (-2, 3), (4, 0): x 5, 3, 7; the pair 0, 0 ends the command.
    EXPECT_DOUBLE_EQ(Width({9, 5, 0, 0xFE, 3, 4, 0, 0, 0, 0}), 7.0);
    // Each displacement counts, not only the last: 9 right, then 9 left.
    EXPECT_DOUBLE_EQ(Width({9, 9, 0, 0xF7, 0, 0, 0, 0}), 9.0);
    // Codes go on behind the closing pair.
    EXPECT_DOUBLE_EQ(Width({9, 1, 0, 0, 0, 0x40, 0}), 5.0);
}

TEST(ShapeWidth, OctantArcEndPoints) {
    // Radius 3, from octant 4 (180 degrees) counter-clockwise through 4 octants: the centre
    // is at (3, 0), the arc ends at angle 0, at (6, 0).
    EXPECT_DOUBLE_EQ(Width({10, 3, 0x44, 0}), 6.0);
    // Clockwise (bit 7) from octant 2 (90 degrees) through 2 octants: centre (0, -2), end at
    // angle 0, at (2, -2).
    EXPECT_DOUBLE_EQ(Width({10, 2, 0xA2, 0}), 2.0);
    // One octant from 315 degrees: centre (-2 root 2, 2 root 2), end (4 - 2 root 2, ...).
    EXPECT_NEAR(Width({10, 4, 0x71, 0}), 4 - 2 * kRoot2, 1e-12);
    // Scale 2 doubles the radius: centre (6, 0), end (12, 0).
    EXPECT_DOUBLE_EQ(Width({4, 2, 10, 3, 0x44, 0}), 12.0);
    // The pen goes on from the arc's end: (6, 0) then 1 more.
    EXPECT_DOUBLE_EQ(Width({10, 3, 0x44, 0x10, 0}), 7.0);
}

TEST(ShapeWidth, OctantArcInteriorCountsOnlyForTheWholeArc) {
    // From 270 degrees counter-clockwise through 4 octants to 90 degrees, radius 3: centre
    // (0, 3), end (0, 6). The pen's x after the command is 0; the arc passes angle 0 at x 3.
    EXPECT_EQ(Width({10, 3, 0x64, 0}), 0.0);
    EXPECT_DOUBLE_EQ(Width({10, 3, 0x64, 0}, ArcReach::kWholeArc), 3.0);
    // Count 0 is a full circle: from 180 degrees, centre (1, 0), back at the start.
    EXPECT_EQ(Width({10, 1, 0x40, 0}), 0.0);
    EXPECT_DOUBLE_EQ(Width({10, 1, 0x40, 0}, ArcReach::kWholeArc), 2.0);
    // Counter-clockwise from 90 degrees to 270 through 180: never right of the start.
    EXPECT_EQ(Width({10, 3, 0x24, 0}, ArcReach::kWholeArc), 0.0);
    // Clockwise from 90 degrees to 270 it passes angle 0: centre (0, -3), x 3 there.
    EXPECT_EQ(Width({10, 3, 0xA4, 0}), 0.0);
    EXPECT_DOUBLE_EQ(Width({10, 3, 0xA4, 0}, ArcReach::kWholeArc), 3.0);
}

TEST(ShapeWidth, FractionalArcAsPublishedExample) {
    // Radius 3 from 55 to 95 degrees: start octant 1, offset 56 (9.84375 degrees), end in
    // the second octant counted (octant 2), offset 28 (4.921875 degrees). The centre lies at
    // radius 3 against the start angle; the end point's x is negative, so the width is 0.
    EXPECT_EQ(Width({11, 56, 28, 0, 3, 0x12, 0}), 0.0);
    // The same arc, then straight right by 10 from its end.
    const double s = Rad(45 + 56 * 45.0 / 256), e = Rad(90 + 28 * 45.0 / 256);
    const double end_x = 3 * (std::cos(e) - std::cos(s));
    EXPECT_NEAR(Width({11, 56, 28, 0, 3, 0x12, 8, 10, 0, 0}), end_x + 10, 1e-12);
}

TEST(ShapeWidth, FractionalArcAcrossAngleZero) {
    // Radius 2 from 315 degrees counter-clockwise, count 2: ends in octant 0 at offset 128,
    // 22.5 degrees. Centre (-root 2, root 2); end x = -root 2 + 2 cos 22.5.
    const double end_x = -kRoot2 + 2 * std::cos(Rad(22.5));
    EXPECT_NEAR(Width({11, 0, 128, 0, 2, 0x72, 0}), end_x, 1e-12);
    // The whole arc passes angle 0, at x = -root 2 + 2.
    EXPECT_NEAR(Width({11, 0, 128, 0, 2, 0x72, 0}, ArcReach::kWholeArc), 2 - kRoot2, 1e-12);
}

TEST(ShapeWidth, FractionalArcRadiusHasAHighByte) {
    // Radius 256 (high 1, low 0) from 180 degrees, count 2: ends at 225 degrees. Centre
    // (256, 0); end x = 256 - 256 cos 45.
    EXPECT_NEAR(Width({11, 0, 0, 1, 0, 0x42, 0}), 256 - 256 * kRoot2 / 2, 1e-9);
}

TEST(ShapeWidth, FractionalArcClockwise) {
    // Radius 2, clockwise from octant 1 offset 128 (67.5 degrees) to octant 0 offset 0 (0
    // degrees). Centre -(2 cos 67.5, 2 sin 67.5); end x = centre x + 2.
    const double end_x = 2 - 2 * std::cos(Rad(67.5));
    EXPECT_NEAR(Width({11, 128, 0, 0, 2, 0x92, 0}), end_x, 1e-12);
    EXPECT_NEAR(Width({11, 128, 0, 0, 2, 0x92, 0}, ArcReach::kWholeArc), end_x, 1e-12);
}

TEST(ShapeWidth, BulgeArc) {
    // Half circle (bulge 127) counter-clockwise up from (0, 0) to (0, 4): the centre is
    // (0, 2), the arc swings right through angle 0 to x 2. The pen ends at x 0.
    EXPECT_EQ(Width({12, 0, 4, 127, 0}), 0.0);
    EXPECT_NEAR(Width({12, 0, 4, 127, 0}, ArcReach::kWholeArc), 2.0, 1e-12);
    // Clockwise (bulge -127) the half circle swings left: nothing right of 0.
    EXPECT_EQ(Width({12, 0, 4, 0x81, 0}, ArcReach::kWholeArc), 0.0);
    // Bulge 0 is a straight line.
    EXPECT_DOUBLE_EQ(Width({12, 3, 3, 0, 0}), 3.0);
    // The end point counts: to (5, 0) on a half circle below the chord.
    EXPECT_DOUBLE_EQ(Width({12, 5, 0, 127, 0}), 5.0);
    // Scaled by 2: to (10, 0).
    EXPECT_DOUBLE_EQ(Width({4, 2, 12, 5, 0, 64, 0}), 10.0);
}

TEST(ShapeWidth, BulgeArcSmallerThanAHalfCircle) {
    // Up from (0, 0) to (0, 6), bulge 64 counter-clockwise: tan(angle / 4) = 64 / 127. The
    // arc bulges to the right of the chord by the sagitta 3 x 64 / 127, which is its
    // largest x.
    const double sagitta = 3.0 * 64 / 127;
    EXPECT_EQ(Width({12, 0, 6, 64, 0}), 0.0);
    EXPECT_NEAR(Width({12, 0, 6, 64, 0}, ArcReach::kWholeArc), sagitta, 1e-12);
}

TEST(ShapeWidth, BulgeArcsUntilZeroPair) {
    // Half circle up to (0, 4) (x 2 inside), then a straight bulge-0 step to (1, 4), then
    // the closing pair (2 bytes, no bulge).
    const Codes codes = {13, 0, 4, 127, 1, 0, 0, 0, 0, 0};
    EXPECT_DOUBLE_EQ(Width(codes), 1.0);
    EXPECT_NEAR(Width(codes, ArcReach::kWholeArc), 2.0, 1e-12);
    // Codes behind the closing pair go on: (1, 4) and then 3 right.
    EXPECT_DOUBLE_EQ(Width({13, 0, 4, 127, 1, 0, 0, 0, 0, 0x30, 0}), 4.0);
}

TEST(ShapeWidth, VerticalOnlyCommandDoesNotCount) {
    // 14 makes the next movement pass: the pen does not go 10 to the right.
    EXPECT_DOUBLE_EQ(Width({14, 8, 10, 0, 0x10, 0}), 1.0);
    // Pen up clears the pending skip: the vector behind it counts.
    EXPECT_DOUBLE_EQ(Width({14, 2, 0x30, 0}), 3.0);
    EXPECT_DOUBLE_EQ(Width({14, 1, 0x30, 0}), 3.0);
    // A scale change leaves the skip pending for the next movement: 0x40 (2 at scale 0.5)
    // passes, 0x10 counts 0.5.
    EXPECT_DOUBLE_EQ(Width({14, 3, 2, 0x40, 0x10, 0}), 0.5);
    // Only one movement passes.
    EXPECT_DOUBLE_EQ(Width({14, 0x50, 0x20, 0}), 2.0);
    // All displacements of one code 9 pass together.
    EXPECT_DOUBLE_EQ(Width({14, 9, 5, 0, 5, 0, 0, 0, 0x10, 0}), 1.0);
    // Arcs pass too.
    EXPECT_EQ(Width({14, 10, 3, 0x44, 0}), 0.0);
    EXPECT_EQ(Width({14, 12, 0, 4, 127, 0}, ArcReach::kWholeArc), 0.0);
    EXPECT_EQ(Width({14, 11, 0, 128, 0, 2, 0x72, 0}), 0.0);
    EXPECT_EQ(Width({14, 13, 8, 0, 0, 0, 0, 0}), 0.0);
    // The usual frame of a vertical-text character: move down-left for vertical text only,
    // draw, and move back for vertical text only.
    EXPECT_DOUBLE_EQ(Width({2, 14, 8, 0xFE, 0xFA, 1, 0x40, 2, 14, 8, 0xFC, 0xFD, 0}), 4.0);
}

TEST(ShapeWidth, NeverReadsPastTheCodes) {
    // Every command cut short of its operands ends the walk where it stands.
    EXPECT_EQ(Width({3}), 0.0);
    EXPECT_EQ(Width({4}), 0.0);
    EXPECT_EQ(Width({7}), 0.0);
    EXPECT_EQ(Width({8, 5}), 0.0);
    EXPECT_DOUBLE_EQ(Width({9, 5, 0, 3}), 5.0);
    EXPECT_EQ(Width({10, 3}), 0.0);
    EXPECT_EQ(Width({11, 0, 0, 0, 3}), 0.0);
    EXPECT_EQ(Width({12, 4, 0}), 0.0);
    EXPECT_DOUBLE_EQ(Width({13, 4, 0, 0, 2, 0}), 4.0);
    EXPECT_DOUBLE_EQ(Width({0x30}), 3.0); // no closing 0
}

TEST(ShapeWidth, EndOfShapeStopsTheWalk) {
    EXPECT_DOUBLE_EQ(Width({0x20, 0, 0x70}), 2.0);
}

} // namespace
