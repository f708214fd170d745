// The strokes of a shape: a listener of the shape interpreter that turns the pen's drawing
// moves and arcs into polylines, and draws subshapes in place.
#include "fonts/shape_strokes.h"

#include "fonts/shape_interpreter.h"
#include "records/angles.h"

#include <algorithm>
#include <cmath>

namespace {

// Arcs become points at most this far apart in angle: 1/16 of a turn.
constexpr double kArcStep = kPi / 8;
// Subshapes are followed this deep, and no more than this many in all, so that shapes
// that call themselves end.
constexpr int kMaxSubshapeDepth = 8;
constexpr int kMaxSubshapes = 4096;
// The points of one drawing stop growing here.
constexpr size_t kMaxPoints = size_t(1) << 20;

class StrokeBuilder : public ShapePenListener {
public:
    explicit StrokeBuilder(const ShapeCodesLookup &lookup) : lookup(lookup) {}

    void Moved(ShapePoint from, ShapePoint to, bool pen_down) override {
        if (!pen_down) {
            Finish();
            return;
        }
        StartAt(from);
        Add(to);
    }

    void Arced(const ShapeArc &arc, bool pen_down) override {
        if (!pen_down) {
            Finish();
            return;
        }
        StartAt(arc.from);
        const int steps =
            std::max(1, static_cast<int>(std::ceil(std::fabs(arc.sweep) / kArcStep - 1e-9)));
        for (int i = 1; i < steps; ++i) {
            const double angle = arc.start + arc.sweep * i / steps;
            Add({arc.centre.x + arc.radius * std::cos(angle),
                 arc.centre.y + arc.radius * std::sin(angle)});
        }
        Add(arc.to);
    }

    void PenChanged(bool down) override {
        if (!down)
            Finish();
    }

    bool DrawsSubshapes() const override { return true; }

    void Subshape(int number, ShapePenState *state) override {
        if (!lookup || depth >= kMaxSubshapeDepth || subshapes >= kMaxSubshapes)
            return;
        ++subshapes;
        std::vector<uint8_t> codes;
        if (!lookup(number, &codes))
            return;
        ++depth;
        ShapeInterpreter walk(codes.data(), codes.size(), *this, ShapeSkip::kNextCommand, *state);
        walk.Run();
        --depth;
        *state = walk.State();
    }

    // Ends the stroke being drawn; one of a single point is dropped.
    void Finish() {
        if (current.points.size() >= 2)
            drawing.strokes.push_back(std::move(current));
        current.points.clear();
    }

    ShapeDrawing drawing;

private:
    // The stroke goes on from `from` when it ends there; otherwise a new one starts.
    void StartAt(ShapePoint from) {
        if (!current.points.empty()) {
            const ShapePoint &last = current.points.back();
            if (last.x == from.x && last.y == from.y)
                return;
            Finish();
        }
        Add(from);
    }

    void Add(ShapePoint point) {
        if (points >= kMaxPoints)
            return;
        ++points;
        current.points.push_back(point);
    }

    const ShapeCodesLookup &lookup;
    ShapeStroke current;
    int depth = 0;
    int subshapes = 0;
    size_t points = 0;
};

} // namespace

ShapeDrawing DrawShape(const uint8_t *codes, size_t length, const ShapeCodesLookup &lookup) {
    StrokeBuilder builder(lookup);
    ShapeInterpreter walk(codes, length, builder, ShapeSkip::kNextCommand);
    walk.Run();
    builder.Finish();
    builder.drawing.end = {walk.State().x, walk.State().y};
    return std::move(builder.drawing);
}
