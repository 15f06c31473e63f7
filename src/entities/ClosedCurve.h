#pragma once
// Point generation shared by Circle and Ellipse: a closed curve given in a local XY frame is
// carried into its plane by one placement matrix, one new point per step, and closed by
// repeating the first point's pointer.
#include "BoundingBox3D.h"
#include "Direction3D.h"
#include "Matrix4x4.h"
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {
namespace curve_detail {

// The angle the curves divide into N steps: 6.2831852, about 1e-7 short of 2 pi. The curve
// is closed by repeating the first point, never by an N-th computed point, so the shortfall
// never shows as a gap; the constant fixes where every point lands.
constexpr double kFullTurn = 6.2831852;

// Rotation part of the plane's to-XY transform for the (normalised) normal, for the plane
// through the origin: it turns the unit normal onto +Z and has no translation, so it works the
// same for every choice a Plane makes about planes off the origin. A normal shorter than 1e-13
// is taken as the zero direction, as Direction3D does.
inline Matrix4x4 toLocalFrame(Vector3D const &normal) {
    Tolerance const tol;
    return Plane(Direction3D(normal, tol), 0.0).toXYTransformation(tol);
}

// Placement of local points (x, y, 0): the inverse of toLocal (a rigid motion taking the
// local XY plane into the curve's plane), followed by the move of the local origin onto the
// centre, so that the curve's middle is the centre.
inline Matrix4x4 placement(Matrix4x4 toLocal, Point3D const &centre) {
    toLocal.inverse(Tolerance());
    return Matrix4x4::translation(centre.x(), centre.y(), centre.z()) * toLocal;
}

// Appends n new points to the empty list, the s-th at placement applied to the local point
// that next(x, y) yields on its s-th call, then the first pointer once more; grows box by
// every entry. n == 0 throws std::out_of_range (there is no first point to repeat). On any
// exception the points created so far are deleted (nobody else can reach them) and the list
// is left empty.
template <class NextLocalPoint>
void appendClosedCurve(std::vector<Point3D *> &list, BoundingBox3D &box,
                       Matrix4x4 const &placement, std::size_t n, NextLocalPoint next) {
    // Reserving first keeps push_back from throwing once a point exists; a count too large
    // for a vector fails here, before anything is created.
    list.reserve(n < list.max_size() ? n + 1 : n);
    try {
        for (std::size_t s = 0; s < n; ++s) {
            double x = 0.0;
            double y = 0.0;
            next(x, y);
            Vector3D const image = Vector3D(x, y, 0.0).transformVector(placement);
            Point3D *p = new Point3D(image.i(), image.j(), image.k());
            list.push_back(p);
            box.add(*p);
        }
        Point3D *first = list.at(0);
        list.push_back(first);
        box.add(*first);
    } catch (...) {
        for (Point3D *p : list) delete p;
        list.clear();
        throw;
    }
}

} // namespace curve_detail
} // namespace ORVANE_DATABASE
