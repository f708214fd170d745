// Plane and space geometry of the renderer: affine maps (insert placement, the object
// coordinate system of an extrusion), and circular arcs and bulges turned into points.
#ifndef VELKO_RENDER_GEOMETRY_H
#define VELKO_RENDER_GEOMETRY_H

#include <vector>

namespace render {

struct Vec3 {
    double x = 0, y = 0, z = 0;
};

struct Point2 {
    double x = 0, y = 0;
};

constexpr double kPi = 3.14159265358979323846;
// The largest angle between two points of a tessellated arc: 64 points to a circle.
constexpr double kArcStep = kPi / 32;
// The steepest slant a text is shown with, in degrees either way: a slant near a right
// angle has no usable shear.
constexpr double kSteepestOblique = 85;

inline double Radians(double degrees) {
    return degrees * kPi / 180;
}

// An affine map of space, p' = linear * p + offset.
class Affine {
public:
    static Affine Identity();
    static Affine Translation(const Vec3 &offset);
    static Affine Scaling(double sx, double sy, double sz);
    // A turn about the z axis by `radians`, counter-clockwise seen from +z.
    static Affine RotationZ(double radians);
    // The object coordinate system of an entity with this extrusion direction, by the
    // arbitrary axis rule: maps object coordinates to world coordinates. (0, 0, 1) and a
    // zero vector give the identity.
    static Affine FromExtrusion(const Vec3 &extrusion);

    // This map applied after `inner`: the result maps p to this(inner(p)).
    Affine After(const Affine &inner) const;
    Vec3 Apply(const Vec3 &p) const;
    // Applies the map and projects onto the plan view (drops z).
    Point2 ApplyPlan(const Vec3 &p) const;
    // Whether the map turns the plan view over (its plan determinant is negative).
    bool Mirrors() const;
    // The factor by which the map scales lengths in the plan view, taken as the square
    // root of the plan determinant's magnitude (for widths and text heights).
    double PlanScale() const;

    double linear[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double offset[3] = {0, 0, 0};
};

// Points along a circle of `radius` about `centre`, in the circle's own plane (z of
// `centre`), counter-clockwise from angle `start` to angle `end` (radians; an `end` below
// `start` goes on past a full turn), both ends included, no two more than `max_step`
// apart. A full circle is asked for with end = start + 2 pi.
std::vector<Vec3> ArcPoints(const Vec3 &centre, double radius, double start, double end,
                            double max_step = kArcStep);

// The points of the arc from `from` to `to` whose bulge is `bulge` (the tangent of a
// quarter of its included angle, positive counter-clockwise), in the plane of `from`;
// `from` is left out, `to` is the last point. A bulge of 0 gives just `to`. The z of the
// points goes linearly from `from` to `to`.
std::vector<Vec3> BulgePoints(const Vec3 &from, const Vec3 &to, double bulge,
                              double max_step = kArcStep);

} // namespace render

#endif
