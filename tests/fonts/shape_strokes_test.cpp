// The strokes of a shape: each command drawn from hand-made byte codes, with the strokes
// and the end point worked out by hand; and the width that the loader stores, checked
// against the same walk over every shape of the project's sample shape files.
#include "fonts/shape_file.h"
#include "fonts/shape_interpreter.h"
#include "fonts/shape_strokes.h"
#include "shapec/shape_compiler.h"
#include "shapec/shapec_test_util.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using Codes = std::vector<uint8_t>;
using Points = std::vector<std::pair<double, double>>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kEps = 1e-9;

// The codes are copied into a block of exactly their size, so that a read past them shows
// under the address sanitizer.
ShapeDrawing Draw(const Codes &codes, const ShapeCodesLookup &lookup = ShapeCodesLookup()) {
    std::vector<uint8_t> exact(codes);
    exact.shrink_to_fit();
    return DrawShape(exact.empty() ? nullptr : exact.data(), exact.size(), lookup);
}

// A lookup into a fixed set of subshapes.
ShapeCodesLookup Subshapes(std::map<int, Codes> shapes) {
    return [shapes](int number, std::vector<uint8_t> *codes) {
        auto it = shapes.find(number);
        if (it == shapes.end())
            return false;
        *codes = it->second;
        return true;
    };
}

void ExpectStroke(const ShapeStroke &stroke, const Points &expected) {
    ASSERT_EQ(stroke.points.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(stroke.points[i].x, expected[i].first, kEps) << "point " << i;
        EXPECT_NEAR(stroke.points[i].y, expected[i].second, kEps) << "point " << i;
    }
}

void ExpectEnd(const ShapeDrawing &drawing, double x, double y) {
    EXPECT_NEAR(drawing.end.x, x, kEps);
    EXPECT_NEAR(drawing.end.y, y, kEps);
}

// Every point of the stroke lies on the circle about (cx, cy) of radius r.
void ExpectOnCircle(const ShapeStroke &stroke, double cx, double cy, double r) {
    for (const ShapePoint &p : stroke.points)
        EXPECT_NEAR(std::hypot(p.x - cx, p.y - cy), r, 1e-9);
}

// The largest angle between neighbouring points of an arc's stroke about (cx, cy).
double LargestStep(const ShapeStroke &stroke, double cx, double cy) {
    double largest = 0;
    for (size_t i = 1; i < stroke.points.size(); ++i) {
        const ShapePoint &a = stroke.points[i - 1], &b = stroke.points[i];
        double step = std::fabs(std::remainder(
            std::atan2(b.y - cy, b.x - cx) - std::atan2(a.y - cy, a.x - cx), 2 * kPi));
        largest = std::max(largest, step);
    }
    return largest;
}

// The subshape lookup of a stroke walk: the codes behind a shape's name, or false with the
// caller's buffer left alone.
TEST(ShapeFileCodes, CodesBehindTheNameOfAShapeOfTheDirectTable) {
    CShapeFile file;
    file.max_shape_id = 2;
    file.shapes.resize(3);
    file.shapes[1].data = {'A', 'B', 0, 0x01, 0x02};
    file.shapes[1].data_length = 5;
    file.shapes[2].data = {'N', 'O', 'N', 'U', 'L'};
    file.shapes[2].data_length = 5;
    std::vector<uint8_t> codes = {9};
    ASSERT_TRUE(file.CodesOf(1, &codes));
    EXPECT_EQ(codes, (std::vector<uint8_t>{0x01, 0x02}));
    for (int missing : {-1, 0, 2, 3, 256}) {
        codes = {9};
        EXPECT_FALSE(file.CodesOf(missing, &codes)) << missing;
        EXPECT_EQ(codes, std::vector<uint8_t>{9}) << missing;
    }
}

TEST(ShapeStrokes, EmptyAndNullCodesDrawNothing) {
    ShapeDrawing d = DrawShape(nullptr, 5, ShapeCodesLookup());
    EXPECT_TRUE(d.strokes.empty());
    ExpectEnd(d, 0, 0);
    EXPECT_TRUE(Draw({}).strokes.empty());
    EXPECT_TRUE(Draw({0, 0x40}).strokes.empty());
}

TEST(ShapeStrokes, VectorsDrawWithThePenDownFromTheStart) {
    // 3 to the right, 3 up, 2 along direction 6 (-1, 1).
    ShapeDrawing d = Draw({0x30, 0x34, 0x26, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {3, 0}, {3, 3}, {1, 5}});
    ExpectEnd(d, 1, 5);
}

TEST(ShapeStrokes, PenUpSplitsTheStrokes) {
    // Down 2 right; up, 2 right; down, 2 up; up, 1 right (not drawn).
    ShapeDrawing d = Draw({0x20, 2, 0x20, 1, 0x24, 2, 0x10, 0});
    ASSERT_EQ(d.strokes.size(), 2u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 0}});
    ExpectStroke(d.strokes[1], {{4, 0}, {4, 2}});
    ExpectEnd(d, 5, 2);
}

TEST(ShapeStrokes, PenDownWithoutAMoveDrawsNothing) {
    ShapeDrawing d = Draw({2, 0x20, 1, 2, 0});
    EXPECT_TRUE(d.strokes.empty());
    ExpectEnd(d, 2, 0);
}

TEST(ShapeStrokes, SingleAndRepeatedDisplacements) {
    // 8: (2, 3); 9: (1, 0), (-1, -2), then the closing pair.
    ShapeDrawing d = Draw({8, 2, 3, 9, 1, 0, 0xFF, 0xFE, 0, 0, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 3}, {3, 3}, {2, 1}});
    ExpectEnd(d, 2, 1);
}

TEST(ShapeStrokes, DisplacementWithThePenUpMovesOnly) {
    ShapeDrawing d = Draw({2, 8, 0xFD, 4, 1, 8, 1, 0, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{-3, 4}, {-2, 4}});
}

TEST(ShapeStrokes, OctantArcCounterClockwiseBecomesPoints) {
    // Radius 2, from octant 0, four octants counter-clockwise: a half circle over the top
    // about (-2, 0), in steps of 1/16 of a turn.
    ShapeDrawing d = Draw({10, 2, 0x04, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    const ShapeStroke &s = d.strokes[0];
    ASSERT_EQ(s.points.size(), 9u);
    ExpectOnCircle(s, -2, 0, 2);
    EXPECT_NEAR(s.points[4].x, -2, kEps);
    EXPECT_NEAR(s.points[4].y, 2, kEps);
    EXPECT_LE(LargestStep(s, -2, 0), kPi / 8 + kEps);
    ExpectEnd(d, -4, 0);
}

TEST(ShapeStrokes, OctantArcClockwiseAndFullCircle) {
    // Clockwise from octant 0 over four octants: the half circle under the centre.
    ShapeDrawing d = Draw({10, 2, 0x84, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    EXPECT_NEAR(d.strokes[0].points[4].y, -2, kEps);
    ExpectEnd(d, -4, 0);
    // Count 0 is a whole circle: 16 steps, ending where it started.
    d = Draw({10, 1, 0x20, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    EXPECT_EQ(d.strokes[0].points.size(), 17u);
    ExpectOnCircle(d.strokes[0], 0, -1, 1);
    ExpectEnd(d, 0, 0);
}

TEST(ShapeStrokes, FractionalArcFromFiftyFiveToNinetyFiveDegrees) {
    ShapeDrawing d = Draw({11, 56, 28, 0, 3, 0x12, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    const double a0 = (45 + 56 * 45.0 / 256) * kPi / 180;
    const double a1 = (90 + 28 * 45.0 / 256) * kPi / 180;
    const double cx = -3 * std::cos(a0), cy = -3 * std::sin(a0);
    // About 40 degrees: two steps.
    ExpectStroke(d.strokes[0],
                 {{0, 0},
                  {cx + 3 * std::cos((a0 + a1) / 2), cy + 3 * std::sin((a0 + a1) / 2)},
                  {cx + 3 * std::cos(a1), cy + 3 * std::sin(a1)}});
    ExpectEnd(d, cx + 3 * std::cos(a1), cy + 3 * std::sin(a1));
}

TEST(ShapeStrokes, BulgeArcHalfCircleAndClosedCircle) {
    // A bulge of 127 is a half circle, counter-clockwise from (0, 0) to (4, 0): under the
    // chord.
    ShapeDrawing d = Draw({12, 4, 0, 127, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ASSERT_EQ(d.strokes[0].points.size(), 9u);
    ExpectOnCircle(d.strokes[0], 2, 0, 2);
    EXPECT_NEAR(d.strokes[0].points[4].x, 2, kEps);
    EXPECT_NEAR(d.strokes[0].points[4].y, -2, kEps);
    ExpectEnd(d, 4, 0);
    // Code 13: the same half circle and its way back make one closed stroke.
    d = Draw({13, 4, 0, 127, 0xFC, 0, 127, 0, 0, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    EXPECT_EQ(d.strokes[0].points.size(), 17u);
    ExpectOnCircle(d.strokes[0], 2, 0, 2);
    ExpectEnd(d, 0, 0);
}

TEST(ShapeStrokes, BulgeOfZeroIsAStraightMove) {
    ShapeDrawing d = Draw({12, 3, 4, 0, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {3, 4}});
}

TEST(ShapeStrokes, PushAndPopJumpWithoutDrawing) {
    // Push, 2 right, pop back to the origin, 2 up: two strokes from the origin.
    ShapeDrawing d = Draw({5, 0x20, 6, 0x24, 0});
    ASSERT_EQ(d.strokes.size(), 2u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 0}});
    ExpectStroke(d.strokes[1], {{0, 0}, {0, 2}});
    ExpectEnd(d, 0, 2);
}

TEST(ShapeStrokes, FifthPushAndEmptyPopEndTheWalk) {
    ShapeDrawing d = Draw({0x10, 5, 5, 5, 5, 5, 0x10, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectEnd(d, 1, 0);
    d = Draw({0x10, 6, 0x10, 0});
    ExpectEnd(d, 1, 0);
}

TEST(ShapeStrokes, ScaleMultipliedAndDivided) {
    // Times 3: 1 unit is 3; divided by 6: half a unit; divided by 0: unchanged.
    ShapeDrawing d = Draw({4, 3, 0x10, 3, 6, 0x10, 3, 0, 0x14, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {3, 0}, {3.5, 0}, {3.5, 0.5}});
}

TEST(ShapeStrokes, SubshapeDrawsInPlaceWithTheScale) {
    // 1 right; scale 2; subshape 66 lifts the pen, moves 2 (4) right, puts it down and
    // draws 1 (2) up; back in the shape, 1 (2) right with the pen the subshape left down.
    ShapeCodesLookup lookup = Subshapes({{66, {2, 0x20, 1, 0x14, 0}}});
    ShapeDrawing d = Draw({0x10, 4, 2, 7, 66, 0x10, 0}, lookup);
    ASSERT_EQ(d.strokes.size(), 2u);
    ExpectStroke(d.strokes[0], {{0, 0}, {1, 0}});
    ExpectStroke(d.strokes[1], {{5, 0}, {5, 2}, {7, 2}});
    ExpectEnd(d, 7, 2);
    // The width's walk passes the subshape by.
    Codes codes = {0x10, 4, 2, 7, 66, 0x10, 0};
    EXPECT_DOUBLE_EQ(ShapeWidth(codes.data(), codes.size()), 3.0);
}

TEST(ShapeStrokes, SubshapeCannotChangeTheCallersScale) {
    ShapeCodesLookup lookup = Subshapes({{1, {4, 5, 0x10, 0}}});
    ShapeDrawing d = Draw({7, 1, 0x10, 0}, lookup);
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {5, 0}, {6, 0}});
}

TEST(ShapeStrokes, MissingSubshapeOrNoLookupDrawsNothingInItsPlace) {
    ShapeDrawing d = Draw({0x10, 7, 9, 0x10, 0}, Subshapes({}));
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {1, 0}, {2, 0}});
    d = Draw({0x10, 7, 9, 0x10, 0});
    ExpectEnd(d, 2, 0);
    // A subshape number missing its byte ends the walk.
    d = Draw({0x10, 7});
    ExpectEnd(d, 1, 0);
}

TEST(ShapeStrokes, SubshapeThatCallsItselfStopsEightDeep) {
    ShapeCodesLookup lookup = Subshapes({{66, {0x10, 7, 66, 0}}});
    ShapeDrawing d = Draw({7, 66, 0}, lookup);
    ASSERT_EQ(d.strokes.size(), 1u);
    EXPECT_EQ(d.strokes[0].points.size(), 9u);
    ExpectEnd(d, 8, 0);
}

TEST(ShapeStrokes, SubshapesCalledManyTimesEndQuickly) {
    // Each level calls the next 50 times: the total of subshapes drawn is bounded.
    Codes body;
    for (int i = 0; i < 50; ++i) {
        body.push_back(7);
        body.push_back(66);
    }
    body.push_back(0x10);
    body.push_back(0);
    ShapeDrawing d = Draw(body, Subshapes({{66, body}}));
    EXPECT_FALSE(d.strokes.empty());
    EXPECT_GT(d.end.x, 0);
}

TEST(ShapeStrokes, CodeFourteenSkipsTheNextCommand) {
    // The displacement after 14 is for vertical text only.
    ShapeDrawing d = Draw({14, 8, 0xFE, 0xFA, 0x20, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 0}});
    // A scale change after 14 is skipped too, and so is a pen up.
    d = Draw({14, 3, 2, 0x20, 14, 2, 0x10, 0});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 0}, {3, 0}});
    // 14 twice: the second is the skipped command, the vector after it is drawn.
    d = Draw({14, 14, 0x10, 0});
    ExpectEnd(d, 1, 0);
    // A subshape after 14 is skipped.
    d = Draw({14, 7, 66, 0x10, 0}, Subshapes({{66, {0x50, 0}}}));
    ExpectEnd(d, 1, 0);
}

TEST(ShapeStrokes, WidthsSkipStaysPendingUntilAMovement) {
    // The common vertical-only pattern of a font: half scale, a move, double scale, each
    // behind its 14. Drawing skips exactly those three commands.
    Codes codes = {14, 3, 2, 14, 8, 0xFE, 0xFA, 14, 4, 2, 0x40, 0x10, 0};
    ShapeDrawing d = Draw(codes);
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectStroke(d.strokes[0], {{0, 0}, {4, 0}, {5, 0}});
    // The stored width keeps the skip pending past codes 3 and 4, so that the first vector
    // passes without effect: only the last one counts.
    EXPECT_DOUBLE_EQ(ShapeWidth(codes.data(), codes.size()), 1.0);
}

TEST(ShapeStrokes, NeverReadsPastTheCodes) {
    // Every command cut short of its operands, and the repeating commands without their
    // closing pair.
    const Codes cut[] = {{3},        {4},        {7},           {8, 1},
                         {9, 1, 1},  {9, 1},     {10, 1},       {11, 1, 2, 3, 4},
                         {12, 1, 2}, {13, 1, 1}, {13, 1, 1, 9}, {13, 1, 1, 9, 2, 2}};
    for (const Codes &codes : cut) {
        ShapeDrawing d = Draw(codes);
        for (const ShapeStroke &s : d.strokes)
            EXPECT_GE(s.points.size(), 2u);
    }
    // The part of a code 9 before the cut is drawn.
    ShapeDrawing d = Draw({9, 1, 1});
    ASSERT_EQ(d.strokes.size(), 1u);
    ExpectEnd(d, 1, 1);
}

TEST(ShapeStrokes, EveryByteStringEndsWithStrokesOfTwoPointsOrMore) {
    // Pseudo-random codes, each byte drawn from a simple generator: no crash, no endless
    // walk, and no stroke of a single point.
    uint32_t state = 12345;
    for (int run = 0; run < 2000; ++run) {
        Codes codes(1 + run % 40);
        for (uint8_t &b : codes) {
            state = state * 1664525u + 1013904223u;
            b = static_cast<uint8_t>(state >> 24);
        }
        ShapeDrawing d = Draw(codes, Subshapes({{codes[0], codes}}));
        for (const ShapeStroke &s : d.strokes)
            ASSERT_GE(s.points.size(), 2u) << run;
        ASSERT_TRUE(std::isfinite(d.end.x) && std::isfinite(d.end.y)) << run;
    }
}

// ---- The stored width and the walk -----------------------------------------------------

// Records the largest x of the pen after each command and each part of a movement, as the
// width's walk reports them.
class LargestX : public ShapePenListener {
public:
    void Moved(ShapePoint, ShapePoint to, bool) override { Take(to.x); }
    void Arced(const ShapeArc &arc, bool) override { Take(arc.to.x); }
    void CommandDone(const ShapePenState &state) override { Take(state.x); }
    double largest = 0;

private:
    void Take(double x) { largest = std::max(largest, x); }
};

double LargestXOf(const uint8_t *codes, size_t length) {
    LargestX listener;
    ShapeInterpreter(codes, length, listener, ShapeSkip::kUntilMovement).Run();
    return listener.largest;
}

std::unique_ptr<CShapeFile> CompiledSample(const shapec_test::ScratchDir &dir,
                                           const std::string &name) {
    std::vector<velko_shapec::ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(velko_shapec::ParseShapes(shapec_test::ReadSample(name), &defs, &error)) << error;
    std::vector<uint8_t> bytes = velko_shapec::CompileShx(defs, velko_shapec::Form::kShapes11,
                                                          velko_shapec::Options(), &error);
    EXPECT_FALSE(bytes.empty()) << error;
    return CShapeFile::Load(dir.Write(name + ".shx", bytes));
}

TEST(ShapeStrokes, StoredWidthOfEverySampleShapeIsTheWalksLargestX) {
    shapec_test::ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    int measured = 0;
    for (const char *sample : {"strokes.shp", "symbols.shp"}) {
        std::unique_ptr<CShapeFile> font = CompiledSample(dir, sample);
        ASSERT_TRUE(font) << sample;
        for (const ShapeEntry &entry : font->shapes) {
            size_t length = 0;
            const uint8_t *codes = ShapeCodes(entry.data, &length);
            if (!codes)
                continue;
            EXPECT_DOUBLE_EQ(entry.width, LargestXOf(codes, length)) << sample;
            ++measured;
        }
        for (const ExtraShape &extra : font->extra_shapes) {
            size_t length = 0;
            const uint8_t *codes = ShapeCodes(extra.data, &length);
            EXPECT_DOUBLE_EQ(extra.width, LargestXOf(codes, length)) << extra.shape_id;
            ++measured;
        }
    }
    EXPECT_GE(measured, 9);
}

TEST(ShapeStrokes, SampleWidthsAsWorkedOutByHand) {
    shapec_test::ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::unique_ptr<CShapeFile> strokes = CompiledSample(dir, "strokes.shp");
    ASSERT_TRUE(strokes);
    for (int number : {32, 65, 66, 67})
        EXPECT_DOUBLE_EQ(strokes->shapes[number].width, 6.0) << number;
    std::unique_ptr<CShapeFile> symbols = CompiledSample(dir, "symbols.shp");
    ASSERT_TRUE(symbols);
    EXPECT_DOUBLE_EQ(symbols->shapes[1].width, 4.0);
    EXPECT_DOUBLE_EQ(symbols->shapes[2].width, 4.0);
    EXPECT_DOUBLE_EQ(symbols->shapes[3].width, 4.0);
}

TEST(ShapeStrokes, SampleShapeDrawsItsSubshapesFromTheFont) {
    shapec_test::ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::unique_ptr<CShapeFile> font = CompiledSample(dir, "symbols.shp");
    ASSERT_TRUE(font);
    ASSERT_EQ(font->extra_shapes.size(), 1u);
    const CShapeFile &file = *font;
    ShapeCodesLookup lookup = [&file](int number, std::vector<uint8_t> *codes) {
        return file.CodesOf(number, codes);
    };
    // RING: the BOX, then the CROSS from the same corner. The cross's first arm goes on
    // from where the box closed.
    size_t length = 0;
    const uint8_t *codes = ShapeCodes(file.extra_shapes[0].data, &length);
    ShapeDrawing d = DrawShape(codes, length, lookup);
    ASSERT_EQ(d.strokes.size(), 2u);
    ExpectStroke(d.strokes[0], {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}, {0, 4}});
    ExpectStroke(d.strokes[1], {{0, 0}, {4, 0}});
    ExpectEnd(d, 0, 0);
    // The letter A of the stroke font: two slanted strokes and the bar.
    std::unique_ptr<CShapeFile> strokes = CompiledSample(dir, "strokes.shp");
    ASSERT_TRUE(strokes);
    codes = ShapeCodes(strokes->shapes[65].data, &length);
    d = DrawShape(codes, length, ShapeCodesLookup());
    ASSERT_EQ(d.strokes.size(), 2u);
    ExpectStroke(d.strokes[0], {{0, 0}, {2, 6}, {4, 0}});
    ExpectStroke(d.strokes[1], {{1, 3}, {3, 3}});
    ExpectEnd(d, 6, 0);
}

} // namespace
