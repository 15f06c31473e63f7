#pragma once
// The cell-triangle test of the voxel marking and the crossing tests it is built from. All
// tolerances are absolute; a weight or parameter w passes a lower bound 0 when |w| < t or
// w > t, an upper bound 1 when w + t < 1 or |1 - w| < t.
//
// Divisions by an exact 0 are skipped by returning false up front: with a zero denominator
// the quotient is infinite or NaN, and no such value passes both bounds of its test (an
// infinite weight fails its upper bound; NaN fails every comparison), so the answer is the
// one the division would have given, without the floating-point exception.
#include "CellGeometry.h"
#include "Plane.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {
namespace voxel {

constexpr double kCellEps = 1e-13;

inline bool atLeastZero(double w, double t) { return std::fabs(w) < t || w > t; }
inline bool atMostOne(double w, double t) { return w + t < 1.0 || std::fabs(1.0 - w) < t; }

// Whether p, taken to lie in the plane of t1, t2, t3, is inside that triangle or on its
// border within t: the weights beta of t2 and gamma of t3 are each at least 0 and their sum
// at most 1. The distance of p from the plane is not looked at. A degenerate triangle
// (|n|^2 = 0) contains nothing.
inline bool pointInTriangle(Point3D const &p, Point3D const &t1, Point3D const &t2,
                            Point3D const &t3, double t) {
    Vector3D const e1 = t2.vector() - t1.vector();
    Vector3D const e2 = t3.vector() - t1.vector();
    Vector3D const n = e1 ^ e2;
    Vector3D const w = p.vector() - t1.vector();
    double const nn = n.magnitudeSqr();
    if (nn == 0.0) return false;
    double const beta = (n * (w ^ e2)) / nn;
    double const gamma = ((w ^ e1) * (-n)) / nn;
    return atLeastZero(beta, t) && atLeastZero(gamma, t) && atMostOne(beta + gamma, t);
}

// A triangle t0, t1, t2 as the crossing test reads it: t0, the edge vectors e1 = t1 - t0,
// e2 = t2 - t0 and n = e1 x e2. Computed once per triangle instead of once per segment; the
// values are the same either way.
struct TriangleFrame {
    Vector3D t0, e1, e2, n;
    TriangleFrame(Point3D const &a, Point3D const &b, Point3D const &c)
        : t0(a.vector()), e1(b.vector() - a.vector()), e2(c.vector() - a.vector()), n(e1 ^ e2) {}
};

// Whether the segment s0-s1 crosses the triangle `tri`: the point where the segment's line
// meets the plane has weights u (of t1) and v (of t2) at least 0 with u + v at most 1, and
// lies at r between 0 (s0) and 1 (s1), all within t. A segment parallel to the plane, lying
// in it included, never crosses (n . d = 0).
inline bool segmentCrossesTriangle(Point3D const &s0, Point3D const &s1, TriangleFrame const &tri,
                                   double t) {
    Vector3D const w = s0.vector() - tri.t0;
    Vector3D const d = s1.vector() - s0.vector();
    double const rDen = tri.n * d;
    if (rDen == 0.0) return false;
    double const r = -(tri.n * w) / rDen;
    if (!atLeastZero(r, t) || !atMostOne(r, t)) return false;
    Vector3D const e2d = tri.e2 ^ d;
    Vector3D const e1d = tri.e1 ^ d;
    double const uDen = e2d * tri.e1;
    double const vDen = e1d * tri.e2;
    if (uDen == 0.0 || vDen == 0.0) return false;
    double const u = (e2d * w) / uDen;
    double const v = (e1d * w) / vDen;
    return atLeastZero(u, t) && atLeastZero(v, t) && atMostOne(u + v, t);
}

inline bool segmentCrossesTriangle(Point3D const &s0, Point3D const &s1, Point3D const &t0,
                                   Point3D const &t1, Point3D const &t2, double t) {
    return segmentCrossesTriangle(s0, s1, TriangleFrame(t0, t1, t2), t);
}

// Whether a cell-face test may use segmentCrossesFaceTriangle: every coordinate of the
// segment and the face is finite and at most 1e75 in magnitude.
constexpr double kFaceTestBound = 1e75;

// segmentCrossesTriangle(s0, s1, TriangleFrame(A, B, C), t) for a triangle A, B, C that lies
// in a plane of constant coordinate `axis` (a cell face triangle: A, B, C share that
// coordinate exactly), with the same answer and fewer operations. The frame's edges then
// have the component `axis` exactly 0, so its normal has only that component, and every
// product with one of those zeros is a (signed) zero that leaves the sums it enters
// unchanged; only the other products are computed, in the order the general test uses.
// Signed zeros can differ from the general test's, but a zero denominator returns false in
// both and a zero numerator or weight passes and fails the same comparisons. The zero
// products are exact only for finite factors that cannot overflow: every coordinate must be
// finite and at most kFaceTestBound in magnitude (differences then stay below 2e75 and the
// products of up to three of them finite).
inline bool segmentCrossesFaceTriangle(Vector3D const &s0, Vector3D const &s1,
                                       Vector3D const &A, Vector3D const &B, Vector3D const &C,
                                       int axis, double t) {
    int const a = axis, b = (axis + 1) % 3, c = (axis + 2) % 3;
    double const e1b = B[b] - A[b], e1c = B[c] - A[c];
    double const e2b = C[b] - A[b], e2c = C[c] - A[c];
    double const na = e1b * e2c - e1c * e2b;   // the frame's normal, component `axis`
    double const w[3] = {s0[0] - A[0], s0[1] - A[1], s0[2] - A[2]};
    double const d[3] = {s1[0] - s0[0], s1[1] - s0[1], s1[2] - s0[2]};
    double const rDen = na * d[a];
    if (rDen == 0.0) return false;
    double const r = -(na * w[a]) / rDen;
    if (!atLeastZero(r, t) || !atMostOne(r, t)) return false;
    // e2 x d and e1 x d, component by component as the cross product forms them.
    double e2d[3], e1d[3];
    e2d[a] = e2b * d[c] - e2c * d[b];
    e2d[b] = e2c * d[a];
    e2d[c] = -(e2b * d[a]);
    e1d[a] = e1b * d[c] - e1c * d[b];
    e1d[b] = e1c * d[a];
    e1d[c] = -(e1b * d[a]);
    double const uDen = e2d[b] * e1b + e2d[c] * e1c;
    double const vDen = e1d[b] * e2b + e1d[c] * e2c;
    if (uDen == 0.0 || vDen == 0.0) return false;
    double const u = (e2d[0] * w[0] + e2d[1] * w[1] + e2d[2] * w[2]) / uDen;
    double const v = (e1d[0] * w[0] + e1d[1] * w[1] + e1d[2] * w[2]) / vDen;
    return atLeastZero(u, t) && atLeastZero(v, t) && atMostOne(u + v, t);
}

// Whether an edge of either triangle crosses the other: a0-a1, a1-a2, a2-a0 against b, then
// b0-b1, b1-b2, b2-b0 against a, each with the tolerance 1e-13.
inline bool trianglesCross(Point3D const &a0, Point3D const &a1, Point3D const &a2,
                           TriangleFrame const &a, Point3D const &b0, Point3D const &b1,
                           Point3D const &b2) {
    double const t = kCellEps;
    TriangleFrame const b(b0, b1, b2);
    return segmentCrossesTriangle(a0, a1, b, t) || segmentCrossesTriangle(a1, a2, b, t) ||
           segmentCrossesTriangle(a2, a0, b, t) || segmentCrossesTriangle(b0, b1, a, t) ||
           segmentCrossesTriangle(b1, b2, a, t) || segmentCrossesTriangle(b2, b0, a, t);
}

inline bool trianglesCross(Point3D const &a0, Point3D const &a1, Point3D const &a2,
                           Point3D const &b0, Point3D const &b1, Point3D const &b2) {
    return trianglesCross(a0, a1, a2, TriangleFrame(a0, a1, a2), b0, b1, b2);
}

// The twelve triangles that split a cell's faces, in the order the crossing test tries them:
// x low, x high, z high, z low, y high, y low.
constexpr int kCellFaceTriangles[12][3] = {{1, 0, 2}, {1, 2, 3}, {7, 6, 4}, {7, 4, 5},
                                           {1, 3, 7}, {1, 7, 5}, {2, 0, 4}, {2, 4, 6},
                                           {3, 2, 6}, {3, 6, 7}, {5, 4, 0}, {5, 0, 1}};

// Whether the triangle p0, p1, p2 crosses one of the face triangles of the cell whose corners
// `corners` holds in corner order.
inline bool triangleCrossesCell(Point3D const &p0, Point3D const &p1, Point3D const &p2,
                                Point3D const *corners) {
    TriangleFrame const p(p0, p1, p2);
    for (auto const &f : kCellFaceTriangles)
        if (trianglesCross(p0, p1, p2, p, corners[f[0]], corners[f[1]], corners[f[2]]))
            return true;
    return false;
}

// Whether cell (i, j, k) touches the triangle p0, p1, p2 whose box runs from lo to hi and
// whose plane is `plane`; the cell's marked state is the caller's business. Cheap tests
// first: box rejection and containment within 1e-13, then the corner distances, and the
// crossing test only for a cell whose corners lie on both sides of the plane.
//
// A corner within 1e-13 of the plane marks the cell when it lies in the triangle. Among the
// other corners, one on the opposite side to the first of them means the cell straddles the
// plane and the crossing test decides. The crossing test does not depend on which corner
// revealed the straddle, so it runs at most once per cell.
inline bool cellTouchesTriangle(CellGeometry const &g, Point3D const &lo, Point3D const &hi,
                                Plane const &plane, Point3D const &p0, Point3D const &p1,
                                Point3D const &p2, int i, int j, int k) {
    double const eps = kCellEps;
    double const index[3] = {double(i), double(j), double(k)};
    double vMin[3], vMax[3];
    for (int a = 0; a < 3; ++a) {
        vMin[a] = g.corner(a, 0, index[a]);
        vMax[a] = g.corner(a, 1, index[a]);
    }
    Vector3D const &tLo = lo.vector();
    Vector3D const &tHi = hi.vector();
    for (int a = 0; a < 3; ++a)
        if (vMin[a] - eps > tHi[a]) return false;
    for (int a = 0; a < 3; ++a)
        if (tLo[a] > vMax[a] + eps) return false;

    bool contained = true;
    for (int a = 0; a < 3 && contained; ++a)
        contained = vMin[a] - eps <= tLo[a] && tLo[a] <= vMax[a] + eps &&
                    vMin[a] - eps <= tHi[a] && tHi[a] <= vMax[a] + eps;
    if (contained) return true;

    Point3D corners[8];
    for (int q = 0; q < 8; ++q)
        corners[q] = Point3D((q & 4) ? vMax[0] : vMin[0], (q & 2) ? vMax[1] : vMin[1],
                             (q & 1) ? vMax[2] : vMin[2]);
    int reference = 0;
    bool crossingTried = false;
    for (int q = 0; q < 8; ++q) {
        double const s = plane.distance(corners[q]);
        if (std::fabs(s) < eps) {
            if (pointInTriangle(corners[q], p0, p1, p2, eps)) return true;
            continue;
        }
        int const side = s > eps ? 1 : -1;
        if (reference == 0) {
            reference = side;
        } else if (side != reference && !crossingTried) {
            crossingTried = true;
            if (triangleCrossesCell(p0, p1, p2, corners)) return true;
        }
    }
    return false;
}

} // namespace voxel
} // namespace ORVANE_DATABASE
