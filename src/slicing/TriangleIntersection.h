#pragma once
// Möller's triangle-triangle test with intersection line ("A Fast Triangle-Triangle
// Intersection Test", JGT 1997), in double precision, with this library's constants:
//  - a signed plane value whose magnitude is below 1e-16 counts as zero;
//  - coplanar triangles never intersect: when the first triangle lies within 1e-13 of the
//    second's plane (all three scaled values) the test answers "no" without an in-plane
//    overlap test.
//
// The slicer tests one cutting triangle against many mesh triangles, so the first
// triangle's plane is prepared once (FirstTriangle) and reused; the exported
// tri_tri_intersect_with_isectline_double is prepareFirstTriangle + intersectPrepared, so
// both paths run the very same arithmetic and give bit-identical answers.
#include <cmath>

namespace ORVANE_DATABASE {
namespace slicing {

// The first triangle of the test with its (unnormalised) plane N1.x + d1 = 0.
struct FirstTriangle {
    double v[3][3];
    double n[3];
    double d;
};

inline void sub3(double *r, double const *a, double const *b) {
    r[0] = a[0] - b[0];
    r[1] = a[1] - b[1];
    r[2] = a[2] - b[2];
}
inline void cross3(double *r, double const *a, double const *b) {
    r[0] = a[1] * b[2] - a[2] * b[1];
    r[1] = a[2] * b[0] - a[0] * b[2];
    r[2] = a[0] * b[1] - a[1] * b[0];
}
inline double dot3(double const *a, double const *b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline void prepareFirstTriangle(double const *v0, double const *v1, double const *v2,
                                 FirstTriangle &first) {
    for (int c = 0; c < 3; ++c) {
        first.v[0][c] = v0[c];
        first.v[1][c] = v1[c];
        first.v[2][c] = v2[c];
    }
    double e1[3], e2[3];
    sub3(e1, v1, v0);
    sub3(e2, v2, v0);
    cross3(first.n, e1, e2);
    first.d = -dot3(first.n, v0);
}

// The interval that a triangle covers on the line of intersection: its two ends on the
// projection axis, and what gives the 3-D point at each end, C_L + (C_A - C_L) t_A for the
// lone corner L and the other two corners A, B in increasing order. The points are formed
// only for the ends the segment uses (the same arithmetic whenever they are formed).
struct Interval {
    double end[2];
    double const *lone;
    double const *other[2];
    double t[2];

    void point(int k, double *out) const {
        for (int c = 0; c < 3; ++c) out[c] = (other[k][c] - lone[c]) * t[k] + lone[c];
    }
};

// Picks the lone corner by the published rule and fills `iv`. Returns false, setting
// nothing, when all three values are zero (the triangle lies in the other's plane).
inline bool computeInterval(double const *c0, double const *c1, double const *c2, double p0,
                            double p1, double p2, double d0, double d1, double d2, double d0d1,
                            double d0d2, Interval &iv) {
    double const *corner[3] = {c0, c1, c2};
    double const projected[3] = {p0, p1, p2};
    double const value[3] = {d0, d1, d2};
    int lone, a, b;
    if (d0d1 > 0.0)
        lone = 2, a = 0, b = 1;
    else if (d0d2 > 0.0)
        lone = 1, a = 0, b = 2;
    else if (d1 * d2 > 0.0 || d0 != 0.0)
        lone = 0, a = 1, b = 2;
    else if (d1 != 0.0)
        lone = 1, a = 0, b = 2;
    else if (d2 != 0.0)
        lone = 2, a = 0, b = 1;
    else
        return false;
    double const pl = projected[lone], dl = value[lone];
    iv.lone = corner[lone];
    iv.other[0] = corner[a];
    iv.other[1] = corner[b];
    iv.t[0] = dl / (dl - value[a]);
    iv.end[0] = pl + (projected[a] - pl) * iv.t[0];
    iv.t[1] = dl / (dl - value[b]);
    iv.end[1] = pl + (projected[b] - pl) * iv.t[1];
    return true;
}

// The second triangle's (unnormalised) plane N2.x + d2 = 0 as the test forms it; `plane`
// gets N2 then d2. A triangle met by many cutting planes computes it once.
inline void secondPlane(double const *u0, double const *u1, double const *u2, double *plane) {
    double e1[3], e2[3];
    sub3(e1, u1, u0);
    sub3(e2, u2, u0);
    cross3(plane, e1, e2);
    plane[3] = -dot3(plane, u0);
}

// Signed distances (unnormalised) of the second triangle's corners from the first
// triangle's plane, with values below 1e-16 in magnitude snapped to zero. False when all
// three lie strictly on one side: the triangles cannot meet.
inline bool secondCornersStraddle(FirstTriangle const &first, double const *u0,
                                  double const *u1, double const *u2, double *du) {
    double const zero = 1e-16;
    du[0] = dot3(first.n, u0) + first.d;
    du[1] = dot3(first.n, u1) + first.d;
    du[2] = dot3(first.n, u2) + first.d;
    for (int k = 0; k < 3; ++k)
        if (std::fabs(du[k]) < zero) du[k] = 0.0;
    return !(du[0] * du[1] > 0.0 && du[0] * du[2] > 0.0);
}

// The rest of the test, once the second triangle's corner distances du (as
// secondCornersStraddle forms them, straddling) and its plane (as secondPlane forms it) are
// known. Returns 1 with the segment's end points in isect1/isect2, or 0. `coplanar` is
// written only once both plane tests have passed (always 0 then); on an early return it
// keeps the caller's value.
inline int intersectStraddling(FirstTriangle const &first, double const *u0, double const *u1,
                               double const *u2, double const *plane2, double const *du,
                               int *coplanar, double *isect1, double *isect2);

// The test proper against a prepared first triangle, forming the second triangle's plane
// only when its corners straddle the first triangle's plane.
inline int intersectPrepared(FirstTriangle const &first, double const *u0, double const *u1,
                             double const *u2, int *coplanar, double *isect1, double *isect2) {
    double du[3];
    if (!secondCornersStraddle(first, u0, u1, u2, du)) return 0;
    double plane2[4];
    secondPlane(u0, u1, u2, plane2);
    return intersectStraddling(first, u0, u1, u2, plane2, du, coplanar, isect1, isect2);
}

// The same test with the second triangle's plane given (a triangle met by many planes).
inline int intersectPreparedPlanes(FirstTriangle const &first, double const *u0,
                                   double const *u1, double const *u2, double const *plane2,
                                   int *coplanar, double *isect1, double *isect2) {
    double du[3];
    if (!secondCornersStraddle(first, u0, u1, u2, du)) return 0;
    return intersectStraddling(first, u0, u1, u2, plane2, du, coplanar, isect1, isect2);
}

inline int intersectStraddling(FirstTriangle const &first, double const *u0, double const *u1,
                               double const *u2, double const *plane2, double const *du,
                               int *coplanar, double *isect1, double *isect2) {
    double const du0 = du[0], du1 = du[1], du2 = du[2];
    double const du0du1 = du0 * du1;
    double const du0du2 = du0 * du2;
    double const zero = 1e-16;

    double const *n2 = plane2;
    double const d2 = plane2[3];
    double const *v0 = first.v[0];
    double const *v1 = first.v[1];
    double const *v2 = first.v[2];
    double dv0 = dot3(n2, v0) + d2;
    double dv1 = dot3(n2, v1) + d2;
    double dv2 = dot3(n2, v2) + d2;
    if (std::fabs(dv0) < zero) dv0 = 0.0;
    if (std::fabs(dv1) < zero) dv1 = 0.0;
    if (std::fabs(dv2) < zero) dv2 = 0.0;
    double const dv0dv1 = dv0 * dv1;
    double const dv0dv2 = dv0 * dv2;
    if (dv0dv1 > 0.0 && dv0dv2 > 0.0) return 0;

    // The first triangle lies in the second's plane: coplanar pairs are "no intersection".
    double const coplanarLimit = 1e-13;
    if (std::fabs(dv0) < coplanarLimit && std::fabs(dv1) < coplanarLimit &&
        std::fabs(dv2) < coplanarLimit)
        return 0;

    double dir[3];
    cross3(dir, first.n, n2);
    double max = std::fabs(dir[0]);
    int index = 0;
    double const b = std::fabs(dir[1]);
    double const c = std::fabs(dir[2]);
    if (b > max) max = b, index = 1;
    if (c > max) index = 2;

    Interval ia, ib;
    // All three values zero cannot happen for the first triangle after the coplanar rule. For
    // the second it can (a triangle within 1e-16 / |N1| of a huge first triangle's plane);
    // the published code then reads an unset interval, here the pair counts as coplanar.
    if (!computeInterval(v0, v1, v2, v0[index], v1[index], v2[index], dv0, dv1, dv2, dv0dv1,
                         dv0dv2, ia))
        return 0;
    *coplanar = 0;
    if (!computeInterval(u0, u1, u2, u0[index], u1[index], u2[index], du0, du1, du2, du0du1,
                         du0du2, ib))
        return 0;

    // Ordered ends: lowA/highA are the original end numbers of the first interval's lower
    // and upper end (the published SORT2 swaps when end 0 > end 1).
    int const lowA = ia.end[0] > ia.end[1] ? 1 : 0, highA = 1 - lowA;
    int const lowB = ib.end[0] > ib.end[1] ? 1 : 0, highB = 1 - lowB;
    double const a0 = ia.end[lowA], a1 = ia.end[highA];
    double const b0 = ib.end[lowB], b1 = ib.end[highB];
    if (a1 < b0 || b1 < a0) return 0;

    if (b0 < a0) {
        ia.point(lowA, isect1);
        if (b1 < a1)
            ib.point(highB, isect2);
        else
            ia.point(highA, isect2);
    } else {
        ib.point(lowB, isect1);
        if (b1 > a1)
            ia.point(highA, isect2);
        else
            ib.point(highB, isect2);
    }
    return 1;
}

// The cut test of the slicer's wrapper: a found segment shorter than 1e-10 (Euclidean, as
// Point3D::distance computes it) is no cut. Writes the two end points on success.
inline bool cutSegment(FirstTriangle const &first, double const *u0, double const *u1,
                       double const *u2, double const *plane2, double *p, double *q) {
    int coplanar = 0;
    if (intersectPreparedPlanes(first, u0, u1, u2, plane2, &coplanar, p, q) == 0) return false;
    double const dx = p[0] - q[0];
    double const dy = p[1] - q[1];
    double const dz = p[2] - q[2];
    return !(std::sqrt(dx * dx + dy * dy + dz * dz) < 1e-10);
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
