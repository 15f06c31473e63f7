#pragma once
// Where the cutting planes lie and the triangle that stands for each of them. Shared by
// Profiler::generateCuttingPlanes / getPointsOnPlane and the profile engine, so that the
// engine's planes and triangles are bit for bit those of the plane objects.
#include "BoundingBox3D.h"
#include "Direction3D.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

// The distances of n planes of normal `normal` (the direction normalised), ascending: the
// centres of n slabs of equal thickness tiling the box's extent along the direction,
// computed as P0 + k s (n odd) or a + k s, b - k s around a = P0 + s/2, b = P0 - s/2
// (n even), P0 being the centroid's distance and s = 2h / n with h the box's half extent.
// A direction shorter than 1e-13 is used as it is (giving the zero normal). No plane for
// n < 1.
inline void planeDistances(Vector3D d, BoundingBox3D const &box, int n, Direction3D &normal,
                           std::vector<double> &distances) {
    distances.clear();
    double const length = d.magnitude();
    if (length >= 1e-13) d = Vector3D(d.i() / length, d.j() / length, d.k() / length);
    normal = Direction3D(d, Tolerance());
    if (n < 1) return;
    Point3D const m = box.centroid();
    double const p0 = m.vector() * d;
    double h = 0.0;
    for (int k = 0; k < 8; ++k) {
        double const p = d * (box.corner(static_cast<BoundingBox3D::_CornerType>(k)).vector() - m.vector());
        if (p > h) h = p;
    }
    double const s = (h * 2.0) / n;
    distances.reserve(static_cast<std::size_t>(n));
    if (n % 2 == 1) {
        int const side = (n - 1) / 2;
        for (int k = side; k >= 1; --k) distances.push_back(p0 + static_cast<double>(k) * (-s));
        distances.push_back(p0);
        for (int k = 1; k <= side; ++k) distances.push_back(p0 + static_cast<double>(k) * s);
    } else {
        int const side = n / 2 - 1;
        double const a = p0 + s * 0.5;
        double const b = p0 + (-s) * 0.5;
        for (int k = side; k >= 1; --k) distances.push_back(b + static_cast<double>(k) * (-s));
        distances.push_back(b);
        distances.push_back(a);
        for (int k = 1; k <= side; ++k) distances.push_back(a + static_cast<double>(k) * s);
    }
}

// The arbitrary-axis rule: X = W ^ N (W = axis1 when |N.x| and |N.y| are below 1/64, else
// axis2), Y = N ^ X, both made unit unless shorter than 1e-13; N is normalised first under
// the same guard.
inline void arbitraryAxes(Vector3D const &n, Vector3D const &axis1, Vector3D const &axis2,
                          Vector3D &x, Vector3D &y) {
    Vector3D unit = n;
    unit.normalize(Tolerance());
    double const limit = 0.015625;
    Vector3D const &w = (std::fabs(n.i()) < limit && std::fabs(n.j()) < limit) ? axis1 : axis2;
    x = w ^ unit;
    x.normalize(Tolerance());
    y = unit ^ x;
    y.normalize(Tolerance());
}

// The cutting triangle of the plane of normal n and distance D: around the foot point
// O = n D, the corners O - 1000 X - 1000 Y, O + 1000 X - 1000 Y, O + 0 X + 1500 Y.
inline void cuttingTriangle(Vector3D const &x, Vector3D const &y, Vector3D const &n,
                            double distance, Point3D *corners) {
    Vector3D const o = n * distance;
    corners[0] = (o + x * (-1000) + y * (-1000)).positionVector();
    corners[1] = (o + x * 1000 + y * (-1000)).positionVector();
    corners[2] = (o + x * 0 + y * 1500).positionVector();
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
