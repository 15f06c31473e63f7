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

PolygonSide splitPolygon(Point3D const *pts, std::size_t n, Plane &plane, Tolerance const &tol,
                         std::vector<Point3D> &front, std::vector<Point3D> &back,
                         std::vector<Plane::_Pos> &classes) {
    front.clear();
    back.clear();
    classes.resize(n);
    Plane::_Pos *const cls = classes.data();
    std::size_t counts[3] = {0, 0, 0};   // on, front, back
    for (std::size_t i = 0; i < n; ++i) {
        Plane::_Pos const c = plane.pointPosition(pts[i], tol);
        cls[i] = c;
        ++counts[c == Plane::POS_ON ? 0 : c == Plane::POS_ABOVE ? 1 : 2];
    }
    std::size_t const onCount = counts[0], frontCount = counts[1], backCount = counts[2];
    // Without back points the walk puts every point in the front piece and nothing in the
    // back piece; without front or on points it does the opposite.
    if (backCount == 0) return frontCount > 0 ? PolygonSide::Front : PolygonSide::Coplanar;
    if (frontCount == 0 && onCount == 0) return PolygonSide::Back;

    // Only an edge running straight between a front and a back point cuts the polygon.
    bool spanning = false;
    for (std::size_t i = 0, prev = n - 1; i < n && !spanning; prev = i++)
        spanning = (cls[i] == Plane::POS_ABOVE && cls[prev] == Plane::POS_BELOW) ||
                   (cls[i] == Plane::POS_BELOW && cls[prev] == Plane::POS_ABOVE);
    if (!spanning) {
        // Not cut: the side is decided by the sizes the walk below would give the pieces.
        // Every on or front point goes to the front piece once; the back piece gets every
        // back point, plus an on point next to a back point once per such neighbour.
        std::size_t backPiece = backCount;
        for (std::size_t i = 0, prev = n - 1; i < n; prev = i++)
            backPiece += (cls[i] == Plane::POS_ON && cls[prev] == Plane::POS_BELOW) +
                         (cls[i] == Plane::POS_BELOW && cls[prev] == Plane::POS_ON);
        return backPiece < onCount + frontCount ? PolygonSide::Front : PolygonSide::Back;
    }

    for (std::size_t i = 0, prev = n - 1; i < n; prev = i++) {
        Plane::_Pos const c = cls[i];
        Plane::_Pos const pc = cls[prev];
        if (c == Plane::POS_ON) {
            front.push_back(pts[i]);
            if (pc == Plane::POS_BELOW) back.push_back(pts[i]);
        } else if (c == Plane::POS_ABOVE) {
            if (pc == Plane::POS_BELOW) {
                Point3D const cut = plane.intersection(pts[prev], pts[i], tol);
                front.push_back(cut);
                back.push_back(cut);
            }
            front.push_back(pts[i]);
        } else {
            if (pc == Plane::POS_ABOVE) {
                Point3D const cut = plane.intersection(pts[prev], pts[i], tol);
                front.push_back(cut);
                back.push_back(cut);
            } else if (pc == Plane::POS_ON) {
                back.push_back(pts[prev]);
            }
            back.push_back(pts[i]);
        }
    }
    return PolygonSide::Spanning;
}

} // namespace bsp
} // namespace ORVANE_DATABASE
