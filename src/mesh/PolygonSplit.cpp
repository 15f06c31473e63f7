#include "mesh/PolygonSplit.h"

namespace ORVANE_DATABASE {
namespace bsp {

Plane polygonPlane(Point3D const *pts, std::size_t n) {
    if (n < 3) return Plane(Direction3D(), 0.0);
    std::size_t best = n;   // none yet
    double bestLength = -1.0;
    Vector3D bestCross;
    for (std::size_t i = 0; i + 2 < n; ++i) {
        Vector3D const &p = pts[i].vector();
        Vector3D const c = (pts[i + 1].vector() - p) ^ (pts[i + 2].vector() - p);
        double const m = c.magnitude();
        if (m >= bestLength) {   // also false for NaN, which never wins
            best = i;
            bestLength = m;
            bestCross = c;
        }
    }
    if (best == n || bestLength < kDegenerateNormal) return Plane(Direction3D(), 0.0);
    Direction3D const normal(bestCross, Tolerance());
    return Plane(normal, -(normal * pts[best].vector()));
}

void cutPolygon(Point3D const *pts, std::size_t n, unsigned char const *classes, Plane &plane,
                Tolerance const &tol, Point3D *front, std::size_t &frontSize, Point3D *back,
                std::size_t &backSize) {
    std::size_t f = 0, b = 0;
    for (std::size_t i = 0, prev = n - 1; i < n; prev = i++) {
        unsigned char const c = classes[i];
        unsigned char const pc = classes[prev];
        if (c == kOn) {
            front[f++] = pts[i];
            if (pc == kBack) back[b++] = pts[i];
        } else if (c == kFront) {
            if (pc == kBack) {
                Point3D const cut = plane.intersection(pts[prev], pts[i], tol);
                front[f++] = cut;
                back[b++] = cut;
            }
            front[f++] = pts[i];
        } else {
            if (pc == kFront) {
                Point3D const cut = plane.intersection(pts[prev], pts[i], tol);
                front[f++] = cut;
                back[b++] = cut;
            } else if (pc == kOn) {
                back[b++] = pts[prev];
            }
            back[b++] = pts[i];
        }
    }
    frontSize = f;
    backSize = b;
}

} // namespace bsp
} // namespace ORVANE_DATABASE
