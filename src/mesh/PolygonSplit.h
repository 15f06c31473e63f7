#pragma once
// The two geometric steps of the BSP build, kept apart from the tree so they can be tested
// on their own: the plane of a polygon, and the classification of a polygon against a plane
// with its cut into a front and a back piece.
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {
namespace bsp {

// Normal length below which a polygon's plane counts as degenerate (fixed, whatever the
// build's tolerance).
constexpr double kDegenerateNormal = 1e-13;

// Plane of the polygon pts[0..n): over every run of three consecutive points (not wrapping
// around), c_i = (p_i+1 - p_i) x (p_i+2 - p_i); the run with the longest c_i (the later run on
// ties) gives the unit normal c_i / |c_i| and the distance -(n . p_i). Fewer than three
// points, or no run with |c_i| >= 1e-13, give the zero normal (a degenerate polygon).
// Runs with non-finite cross products are never chosen.
Plane polygonPlane(Point3D const *pts, std::size_t n);

inline bool isDegenerate(Plane const &plane) {
    return plane.normal().vector3D().magnitude() < kDegenerateNormal;
}

enum class PolygonSide { Coplanar, Front, Back, Spanning };

// Classifies the polygon pts[0..n) against `plane` with tol.value() (each point on, front or
// back by Plane::pointPosition) by walking its points, each with its predecessor (the first
// point's predecessor is the last). A polygon with an edge running from a front point
// straight to a back point (or back) is Spanning; then `front` and `back` receive its two
// pieces, with the crossing points computed by Plane::intersection. Otherwise it is Coplanar
// (every point on, including an empty polygon), Front or Back; a polygon with back points and
// also on or front points but no crossing edge goes to the side whose piece would be larger,
// ties to the back. The pieces are meaningful only for Spanning. `classes` is scratch space.
// The plane is not changed (Plane::intersection merely is not const).
PolygonSide splitPolygon(Point3D const *pts, std::size_t n, Plane &plane, Tolerance const &tol,
                         std::vector<Point3D> &front, std::vector<Point3D> &back,
                         std::vector<Plane::_Pos> &classes);

} // namespace bsp
} // namespace ORVANE_DATABASE
