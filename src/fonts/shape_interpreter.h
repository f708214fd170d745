// The shape interpreter: decodes a shape's byte codes (the commands 0 to 14 and the
// vectors) and reports what the pen does to a listener. The width that the loader stores
// and the strokes that a client draws are two listeners of this one walk.
#ifndef VELKO_SHAPE_INTERPRETER_H
#define VELKO_SHAPE_INTERPRETER_H

#include "fonts/shape_strokes.h"

#include <cstddef>
#include <cstdint>

// Where the pen stands, how large a unit is, and whether it draws.
struct ShapePenState {
    double x = 0, y = 0;
    double scale = 1.0;
    bool down = true;
};

// An arc the pen followed: about `centre` with `radius`, from angle `start` sweeping
// `sweep` (radians, positive counter-clockwise), from `from` to `to`.
struct ShapeArc {
    ShapePoint centre;
    double radius = 0;
    double start = 0;
    double sweep = 0;
    ShapePoint from;
    ShapePoint to;
};

// What the walk reports. Movements that a pending skip passes over are not reported.
class ShapePenListener {
public:
    virtual ~ShapePenListener() = default;
    // A straight move of the pen, drawing when `pen_down`.
    virtual void Moved(ShapePoint from, ShapePoint to, bool pen_down) = 0;
    // An arc of the pen, drawing when `pen_down`.
    virtual void Arced(const ShapeArc &arc, bool pen_down) = 0;
    // The pen was lifted or put down (codes 2 and 1).
    virtual void PenChanged(bool /*down*/) {}
    // A command has ended with the pen in `state`.
    virtual void CommandDone(const ShapePenState & /*state*/) {}
    // Whether code 7 draws its subshape through Subshape; otherwise its number is passed.
    virtual bool DrawsSubshapes() const { return false; }
    // Draws subshape `number` from `state` and leaves the pen where it ends.
    virtual void Subshape(int /*number*/, ShapePenState * /*state*/) {}
};

// How far code 14's skip reaches.
enum class ShapeSkip {
    // Until the next movement: codes 3 to 7 in between take effect and leave the skip
    // pending. The width that the loader stores is measured this way.
    kUntilMovement,
    // Exactly the next command, whatever it is: how horizontal text is drawn.
    kNextCommand,
};

// One walk over a shape's codes. The walk ends at code 0, at the end of the codes, at a
// command whose operands the codes don't hold, at a fifth push and at a pop of an empty
// stack. Every loop is bounded by the codes' length.
class ShapeInterpreter {
public:
    ShapeInterpreter(const uint8_t *codes, size_t length, ShapePenListener &listener,
                     ShapeSkip skip, const ShapePenState &start = ShapePenState());

    void Run();
    const ShapePenState &State() const { return pen; }

private:
    bool Take(size_t n, const uint8_t **out);
    bool Command(uint8_t code);
    // The command groups and steps behind Command.
    void Vector(uint8_t code);
    bool Movement(uint8_t code);
    bool Displacements(bool with_bulge);
    bool StateCommand(uint8_t code);
    void Rescale(uint8_t code, uint8_t factor);
    bool Push();
    bool Pop();
    bool Muted() const { return skipping && skip_rule == ShapeSkip::kNextCommand; }
    void Move(double dx, double dy);
    void Arc(const ShapeArc &arc);
    void OctantArc(uint8_t radius_byte, uint8_t octants);
    void FractionalArc(const uint8_t *op);
    void BulgeArc(int8_t dx_byte, int8_t dy_byte, int8_t bulge);

    const uint8_t *codes;
    size_t length;
    ShapePenListener &listener;
    ShapeSkip skip_rule;
    size_t pos = 0;
    ShapePenState pen;
    ShapePoint stack[4];
    int depth = 0;
    bool skipping = false;
};

#endif
