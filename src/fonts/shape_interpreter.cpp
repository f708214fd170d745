// The shape interpreter: one decoding of the byte codes, reported to a listener.
//
// The walk keeps the pen, the scale, whether the pen draws, and a stack of four pen
// positions. Each displacement of a code 9 and each arc of a code 13 is reported on its own.
//
// Code 14 leaves a skip pending. A movement (a vector, or code 8 to 13, a 9 or 13 with all
// its parts) that meets it is passed over whole, the pen staying where it was, so that a
// move meant for vertical text shifts nothing of horizontal text. Pen up and pen down are
// themselves passed over by a pending skip, and clear it. What codes 3 to 7 do with it
// depends on the rule the walk was given (ShapeSkip).
//
// A fractional arc (code 11) starts in octant S at start offset x 45/256 degrees, and ends
// in the C-th octant counted from S in its direction (S + C - 1, or S - C + 1 clockwise) at
// end offset x 45/256 degrees: the arc of 55 to 95 degrees is 11,(56,28,0,3,012).
#include "fonts/shape_interpreter.h"
#include "records/angles.h"

#include <cmath>

namespace {

// The 16 directions of a vector byte, in units of its length.
constexpr double kDirections[16][2] = {
    {1, 0},  {1, 0.5},   {1, 1},   {0.5, 1},   {0, 1},  {-0.5, 1}, {-1, 1}, {-1, 0.5},
    {-1, 0}, {-1, -0.5}, {-1, -1}, {-0.5, -1}, {0, -1}, {0.5, -1}, {1, -1}, {1, -0.5},
};

// Cosine and sine of octant k (k x 45 degrees), exact at the axes.
constexpr double kHalfRoot2 = 0.70710678118654752440;
constexpr double kOctantCos[8] = {1, kHalfRoot2, 0, -kHalfRoot2, -1, -kHalfRoot2, 0, kHalfRoot2};
constexpr double kOctantSin[8] = {0, kHalfRoot2, 1, kHalfRoot2, 0, -kHalfRoot2, -1, -kHalfRoot2};

} // namespace

ShapeInterpreter::ShapeInterpreter(const uint8_t *codes, size_t length, ShapePenListener &listener,
                                   ShapeSkip skip, const ShapePenState &start)
    : codes(codes), length(codes ? length : 0), listener(listener), skip_rule(skip), pen(start) {}

void ShapeInterpreter::Run() {
    while (pos < length) {
        uint8_t code = codes[pos++];
        if (code == 0)
            break;
        if (!Command(code))
            break;
        listener.CommandDone(pen);
    }
}

// Takes `n` operand bytes; false when the codes end before them.
bool ShapeInterpreter::Take(size_t n, const uint8_t **out) {
    if (length - pos < n)
        return false;
    *out = codes + pos;
    pos += n;
    return true;
}

// A straight move by (dx, dy), already scaled. A pending skip passes it over.
void ShapeInterpreter::Move(double dx, double dy) {
    if (skipping)
        return;
    ShapePoint from{pen.x, pen.y};
    pen.x += dx;
    pen.y += dy;
    listener.Moved(from, ShapePoint{pen.x, pen.y}, pen.down);
}

void ShapeInterpreter::Arc(const ShapeArc &arc) {
    if (skipping)
        return;
    pen.x = arc.to.x;
    pen.y = arc.to.y;
    listener.Arced(arc, pen.down);
}

void ShapeInterpreter::OctantArc(uint8_t radius_byte, uint8_t octants) {
    const double r = radius_byte * pen.scale;
    const bool clockwise = (octants & 0x80) != 0;
    const int start = (octants >> 4) & 7;
    int count = octants & 7;
    if (count == 0)
        count = 8;
    const int end = ((clockwise ? start - count : start + count) % 8 + 8) % 8;
    ShapeArc arc;
    arc.centre = {pen.x - r * kOctantCos[start], pen.y - r * kOctantSin[start]};
    arc.radius = r;
    arc.start = start * kPi / 4;
    arc.sweep = (clockwise ? -count : count) * kPi / 4;
    arc.from = {pen.x, pen.y};
    arc.to = {arc.centre.x + r * kOctantCos[end], arc.centre.y + r * kOctantSin[end]};
    Arc(arc);
}

// The arc starts in octant S, offset by start_offset x 45/256 degrees, and ends in the C-th
// octant counted from S in its direction, offset by end_offset x 45/256 degrees.
void ShapeInterpreter::FractionalArc(const uint8_t *op) {
    const double r = (op[2] * 256 + op[3]) * pen.scale;
    const uint8_t octants = op[4];
    const bool clockwise = (octants & 0x80) != 0;
    const int start_octant = (octants >> 4) & 7;
    int count = octants & 7;
    if (count == 0)
        count = 8;
    const int end_octant = clockwise ? start_octant - (count - 1) : start_octant + (count - 1);
    const double start_deg = start_octant * 45.0 + op[0] * 45.0 / 256.0;
    const double end_deg = end_octant * 45.0 + op[1] * 45.0 / 256.0;
    double sweep_deg = std::fmod(clockwise ? start_deg - end_deg : end_deg - start_deg, 360.0);
    if (sweep_deg < 0)
        sweep_deg += 360.0;
    if (clockwise)
        sweep_deg = -sweep_deg;
    ShapeArc arc;
    arc.start = start_deg * kPi / 180.0;
    arc.sweep = sweep_deg * kPi / 180.0;
    const double end = arc.start + arc.sweep;
    arc.radius = r;
    arc.centre = {pen.x - r * std::cos(arc.start), pen.y - r * std::sin(arc.start)};
    arc.from = {pen.x, pen.y};
    arc.to = {arc.centre.x + r * std::cos(end), arc.centre.y + r * std::sin(end)};
    Arc(arc);
}

// An arc to (dx, dy) whose bulge, over 127, is the tangent of a quarter of its angle. A
// bulge of 0 is a straight move.
void ShapeInterpreter::BulgeArc(int8_t dx_byte, int8_t dy_byte, int8_t bulge) {
    const double dx = dx_byte * pen.scale;
    const double dy = dy_byte * pen.scale;
    const double chord = std::hypot(dx, dy);
    if (bulge == 0 || chord == 0) {
        Move(dx, dy);
        return;
    }
    const double angle = 4 * std::atan(bulge / 127.0);
    // The centre lies off the chord's midpoint, to the left for a counter-clockwise arc of
    // less than half a circle.
    const double along = (chord / 2) / std::tan(angle / 2);
    ShapeArc arc;
    arc.centre = {pen.x + dx / 2 - dy / chord * along, pen.y + dy / 2 + dx / chord * along};
    arc.radius = std::hypot(pen.x - arc.centre.x, pen.y - arc.centre.y);
    arc.start = std::atan2(pen.y - arc.centre.y, pen.x - arc.centre.x);
    arc.sweep = angle;
    arc.from = {pen.x, pen.y};
    arc.to = {pen.x + dx, pen.y + dy};
    Arc(arc);
}

// One command behind its code; false when the walk ends.
bool ShapeInterpreter::Command(uint8_t code) {
    const bool was_skipping = skipping;
    bool ok = true;
    if (code > 14) {
        Vector(code);
    } else if (code >= 8 && code <= 13) {
        if (!Movement(code))
            return false;
        skipping = false;
    } else {
        ok = StateCommand(code);
    }
    if (was_skipping && skip_rule == ShapeSkip::kNextCommand)
        skipping = false;
    return ok;
}

// A vector byte: its length in the high four bits, its direction in the low four.
void ShapeInterpreter::Vector(uint8_t code) {
    const double *d = kDirections[code & 0x0F];
    const double n = (code >> 4) * pen.scale;
    Move(d[0] * n, d[1] * n);
    skipping = false;
}

// Codes 8 to 13, the movements; false when the codes end inside one.
bool ShapeInterpreter::Movement(uint8_t code) {
    const uint8_t *op = nullptr;
    switch (code) {
    case 8:
        if (!Take(2, &op))
            return false;
        Move(int8_t(op[0]) * pen.scale, int8_t(op[1]) * pen.scale);
        return true;
    case 9:
        return Displacements(false);
    case 10:
        if (!Take(2, &op))
            return false;
        OctantArc(op[0], op[1]);
        return true;
    case 11:
        if (!Take(5, &op))
            return false;
        FractionalArc(op);
        return true;
    case 12:
        if (!Take(3, &op))
            return false;
        BulgeArc(int8_t(op[0]), int8_t(op[1]), int8_t(op[2]));
        return true;
    default: // 13
        return Displacements(true);
    }
}

// Codes 9 and 13: displacements up to (0,0), each a straight move or, `with_bulge`, an arc
// by the bulge byte behind it (the closing (0,0) has none).
bool ShapeInterpreter::Displacements(bool with_bulge) {
    const uint8_t *op = nullptr;
    for (;;) {
        if (!Take(2, &op))
            return false;
        if (op[0] == 0 && op[1] == 0)
            return true;
        const int8_t dx = int8_t(op[0]), dy = int8_t(op[1]);
        if (!with_bulge) {
            Move(dx * pen.scale, dy * pen.scale);
            continue;
        }
        if (!Take(1, &op))
            return false;
        BulgeArc(dx, dy, int8_t(op[0]));
    }
}

// Codes 1 to 7 and 14, which change the pen's state and move nothing of their own; false
// when the walk ends.
bool ShapeInterpreter::StateCommand(uint8_t code) {
    const uint8_t *op = nullptr;
    switch (code) {
    case 1:
    case 2:
        if (!skipping) {
            pen.down = code == 1;
            listener.PenChanged(pen.down);
        }
        skipping = false;
        return true;
    case 3:
    case 4:
        if (!Take(1, &op))
            return false;
        if (!Muted())
            Rescale(code, op[0]);
        return true;
    case 5:
        return Muted() || Push();
    case 6:
        return Muted() || Pop();
    case 7:
        if (!Take(1, &op))
            return false;
        if (!Muted() && listener.DrawsSubshapes()) {
            // The subshape draws with this shape's scale, which it can't change.
            const double scale = pen.scale;
            listener.Subshape(op[0], &pen);
            pen.scale = scale;
        }
        return true;
    case 14:
        if (!Muted())
            skipping = true;
        return true;
    default:
        return true;
    }
}

// Code 3 divides the scale by `factor`, code 4 multiplies it. A divisor of 0 would leave no
// scale at all: the scale stays.
void ShapeInterpreter::Rescale(uint8_t code, uint8_t factor) {
    if (code == 4)
        pen.scale *= factor;
    else if (factor != 0)
        pen.scale /= factor;
}

// Code 5 keeps the pen's position; false on a fifth push.
bool ShapeInterpreter::Push() {
    if (depth == 4)
        return false;
    stack[depth] = {pen.x, pen.y};
    ++depth;
    return true;
}

// Code 6 takes the last kept position back; false on an empty stack.
bool ShapeInterpreter::Pop() {
    if (depth == 0)
        return false;
    --depth;
    pen.x = stack[depth].x;
    pen.y = stack[depth].y;
    return true;
}
