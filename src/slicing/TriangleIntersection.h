#pragma once
// Möller's triangle-triangle test with intersection line ("A Fast Triangle-Triangle
// Intersection Test", JGT 1997), in double precision, with this library's constants:
//  - a signed plane value whose magnitude is below 1e-16 counts as zero;
//  - coplanar triangles never intersect: when the first triangle lies within 1e-13 of the
//    second's plane (all three scaled values) the test answers "no" without an in-plane
//    overlap test.
//
// The slicer tests one cutting triangle against many mesh triangles, so the first
// triangle's plane is prepared once (FirstTriangle) and reused, and a mesh triangle met by
// several planes forms its own plane once. The exported tri_tri_intersect_with_isectline_double
// is prepareFirstTriangle + intersectPrepared: every path runs the very same arithmetic and
// gives bit-identical answers.
#include <cmath>
#include <limits>

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
// Plane values below 1e-16 in magnitude count as zero.
inline double snapZero(double x) { return std::fabs(x) < 1e-16 ? 0.0 : x; }

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

// The second triangle's (unnormalised) plane N2.x + d2 = 0 as the test forms it; `plane`
// gets N2 then d2.
inline void secondPlane(double const *u0, double const *u1, double const *u2, double *plane) {
    double e1[3], e2[3];
    sub3(e1, u1, u0);
    sub3(e2, u2, u0);
    cross3(plane, e1, e2);
    plane[3] = -dot3(plane, u0);
}

// The interval that a triangle covers on the line of intersection: its two ends on the
// projection axis, and what gives the 3-D point at each end, C_L + (C_A - C_L) t_A for the
// lone corner L and the other two corners A, B in increasing order. The points are formed
// only for the ends the segment uses (the same arithmetic whenever they are formed).
struct Interval {
    double end[2];
    double t[2];
    int lone;
    int other[2];

    void point(double const *const *corner, int k, double *out) const {
        double const *l = corner[lone];
        double const *o = corner[other[k]];
        for (int c = 0; c < 3; ++c) out[c] = (o[c] - l[c]) * t[k] + l[c];
    }
};

// Picks the lone corner by the published rule (from the values d against the other
// triangle's plane, with d0d1 = d0 * d1 and d0d2 = d0 * d2) and fills `iv` from the projected
// corners p. Returns false, setting nothing, when all three values are zero.
inline bool computeInterval(double const *p, double const *d, double d0d1, double d0d2,
                            Interval &iv) {
    // The rule as selections rather than branches: which corner is alone varies from one
    // triangle to the next, so branches on it would be mispredicted half of the time.
    bool const c1 = d0d1 > 0.0, c2 = d0d2 > 0.0;
    bool const c3 = (d[1] * d[2] > 0.0) | (d[0] != 0.0);
    bool const c4 = d[1] != 0.0, c5 = d[2] != 0.0;
    if (!(c1 | c2 | c3 | c4 | c5)) return false;
    int const lone = c1 ? 2 : (c2 ? 1 : (c3 ? 0 : (c4 ? 1 : 2)));
    int const a = lone == 0 ? 1 : 0;
    int const b = lone == 2 ? 1 : 2;
    double const pl = p[lone], dl = d[lone];
    iv.lone = lone;
    iv.other[0] = a;
    iv.other[1] = b;
    iv.t[0] = dl / (dl - d[a]);
    iv.end[0] = pl + (p[a] - pl) * iv.t[0];
    iv.t[1] = dl / (dl - d[b]);
    iv.end[1] = pl + (p[b] - pl) * iv.t[1];
    return true;
}

// Signed distances (unnormalised) of the second triangle's corners from the first
// triangle's plane, snapped. False when all three lie strictly on one side: the triangles
// cannot meet.
inline bool secondCornersStraddle(FirstTriangle const &first, double const *u0,
                                  double const *u1, double const *u2, double *du) {
    du[0] = snapZero(dot3(first.n, u0) + first.d);
    du[1] = snapZero(dot3(first.n, u1) + first.d);
    du[2] = snapZero(dot3(first.n, u2) + first.d);
    return !((du[0] * du[1] > 0.0) & (du[0] * du[2] > 0.0));
}

// Where an end point of the segment lies on the second triangle: on the inside of its side
// `s` (joining corners s and s + 1 mod 3), or kNoSide (at a corner, or an end of the first
// triangle's interval).
constexpr int kNoSide = -1;

// The projection axis of the line of intersection: the axis of the largest component of
// D = N1 x N2 (axis 0 unless |D_y| > |D_x|, axis 2 when |D_z| exceeds the larger of those).
inline int projectionAxis(double const *d) {
    double max = std::fabs(d[0]);
    int index = 0;
    double const b = std::fabs(d[1]);
    double const c = std::fabs(d[2]);
    if (b > max) max = b, index = 1;
    if (c > max) index = 2;
    return index;
}

// The sides of the second triangle holding the segment's ends: fromB[e] is the end of the
// second interval that end e is, or -1. End k of the second interval lies inside the side
// joining the lone corner and corner other[k], unless one of the two lies in the first
// triangle's plane.
inline void segmentSides(Interval const &ib, double const *du, int const *fromB, int *sides) {
    // The side joining corners l and o, by l + o (1: side 0, 2: side 2, 3: side 1); without
    // branches, as which side it is varies at random from one triangle to the next.
    static constexpr int sideOf[4] = {kNoSide, 0, 2, 1};
    for (int e = 0; e < 2; ++e) {
        if (fromB[e] < 0) {
            sides[e] = kNoSide;
            continue;
        }
        int const l = ib.lone, o = ib.other[fromB[e]];
        int const inside = (du[l] != 0.0) & (du[o] != 0.0);
        sides[e] = sideOf[(l + o) * inside];
    }
}

// The rest of the test, once the second triangle's corner distances du (as
// secondCornersStraddle forms them, straddling) and its plane (as secondPlane forms it) are
// known. Returns 1 with the segment's end points in isect1/isect2, or 0. `coplanar` is
// written only once both plane tests have passed (always 0 then); on an early return it
// keeps the caller's value. `sides`, when not null, receives on success the sides of the
// second triangle on which isect1 and isect2 lie.
inline int intersectStraddling(FirstTriangle const &first, double const *u0, double const *u1,
                               double const *u2, double const *plane2, double const *du,
                               int *coplanar, double *isect1, double *isect2,
                               int *sides = nullptr) {
    double const *n2 = plane2;
    double const d2 = plane2[3];
    double const dv[3] = {snapZero(dot3(n2, first.v[0]) + d2), snapZero(dot3(n2, first.v[1]) + d2),
                          snapZero(dot3(n2, first.v[2]) + d2)};
    double const dv0dv1 = dv[0] * dv[1];
    double const dv0dv2 = dv[0] * dv[2];
    if (dv0dv1 > 0.0 && dv0dv2 > 0.0) return 0;

    // The first triangle lies in the second's plane: coplanar pairs are "no intersection".
    double const coplanarLimit = 1e-13;
    if (std::fabs(dv[0]) < coplanarLimit && std::fabs(dv[1]) < coplanarLimit &&
        std::fabs(dv[2]) < coplanarLimit)
        return 0;

    double dir[3];
    cross3(dir, first.n, n2);
    int const index = projectionAxis(dir);

    double const *cornerA[3] = {first.v[0], first.v[1], first.v[2]};
    double const *cornerB[3] = {u0, u1, u2};
    double const pa[3] = {first.v[0][index], first.v[1][index], first.v[2][index]};
    double const pb[3] = {u0[index], u1[index], u2[index]};
    Interval ia, ib;
    // All three values zero cannot happen for the first triangle after the coplanar rule. For
    // the second it can (a triangle within 1e-16 / |N1| of a huge first triangle's plane);
    // the published code then reads an unset interval, here the pair counts as coplanar.
    if (!computeInterval(pa, dv, dv0dv1, dv0dv2, ia)) return 0;
    *coplanar = 0;
    if (!computeInterval(pb, du, du[0] * du[1], du[0] * du[2], ib)) return 0;

    // Ordered ends: lowA/highA are the original end numbers of the first interval's lower
    // and upper end (the published SORT2 swaps when end 0 > end 1).
    int const lowA = ia.end[0] > ia.end[1] ? 1 : 0, highA = 1 - lowA;
    int const lowB = ib.end[0] > ib.end[1] ? 1 : 0, highB = 1 - lowB;
    double const a0 = ia.end[lowA], a1 = ia.end[highA];
    double const b0 = ib.end[lowB], b1 = ib.end[highB];
    if (a1 < b0 || b1 < a0) return 0;

    // The end of the second interval that each point is (-1: an end of the first interval).
    int fromB[2] = {-1, -1};
    if (b0 < a0) {
        ia.point(cornerA, lowA, isect1);
        if (b1 < a1) {
            ib.point(cornerB, highB, isect2);
            fromB[1] = highB;
        } else {
            ia.point(cornerA, highA, isect2);
        }
    } else {
        ib.point(cornerB, lowB, isect1);
        fromB[0] = lowB;
        if (b1 > a1) {
            ia.point(cornerA, highA, isect2);
        } else {
            ib.point(cornerB, highB, isect2);
            fromB[1] = highB;
        }
    }
    if (sides) segmentSides(ib, du, fromB, sides);
    return 1;
}

// A shortcut of the test for a first triangle far larger than the second ones, as the
// slicer's cutting triangle is next to a mesh: when the second triangle lies deep inside the
// first one's prism, the segment is the second triangle's own interval, and the first
// triangle's values and interval (a third of the test) need not be formed. The outcome is
// bit for bit the test's; where that cannot be shown in advance the caller runs the test.
//
// Why. Let every second triangle lie in a box whose projection on the first triangle's plane
// is at least mu inside each of its sides, and let the second triangle straddle that plane
// (computed values du) and meet it at an angle whose sine is at least kappa (from the computed
// D = N1 x N2). The line of intersection L of the two planes passes through the box's
// projection, so the first triangle's corners lie at least mu from L on both sides and their
// values against the second plane are at least |N2| mu kappa on both sides: far beyond the
// rounding of the values (14 u |N2| R, R the largest coordinate, u = 2^-53) when mu kappa
// >= 1e-6 R. So the values straddle, are not all below the coplanar limit once
// |N2| mu kappa >= 4e-13, and the lone corner is a corner at least that far off; each
// interval parameter is then accurate to 2e-8 and each end of the first interval lies within
// 3e-5 + 12 u R (along the projection axis) of a point where L leaves the first triangle,
// at least mu / sqrt(3) (the axis takes at least that share of L's length) beyond any point
// of the segment. The second interval's computed ends lie within the box's diagonal of the
// segment. With mu >= 2 diag and mu >= 1e-3 R the first interval thus contains the second
// with room to spare, and the test returns the second interval's ends, lower first.
struct InsideCut {
    bool enabled = false;
    double sineSquare = 0.0;   // the shortcut needs |D|^2 >= sineSquare |N2|^2 ...
    double normSquare = 0.0;   // ... and |N2|^2 >= normSquare

    // For the first triangle `first` and a box lo..hi holding every second triangle.
    void prepare(FirstTriangle const &first, double const *lo, double const *hi) {
        enabled = false;
        double const kappa = 1e-3;
        double r = 0.0;
        for (int c = 0; c < 3; ++c) {
            r = std::fmax(r, std::fmax(std::fabs(lo[c]), std::fabs(hi[c])));
            for (int k = 0; k < 3; ++k) r = std::fmax(r, std::fabs(first.v[k][c]));
        }
        if (!(r <= 1e30)) return;   // also NaN; beyond, squares of normals may overflow
        double const n1Square = dot3(first.n, first.n);
        double const n1 = std::sqrt(n1Square);
        if (!(n1 > 0.0)) return;
        double diag[3];
        sub3(diag, hi, lo);
        double const diagonal = std::sqrt(dot3(diag, diag));
        // mu: the least distance, within the plane, of a box corner's projection inside a side.
        double mu = std::numeric_limits<double>::infinity();
        for (int side = 0; side < 3; ++side) {
            double const *a = first.v[side];
            double const *b = first.v[(side + 1) % 3];
            double const *c = first.v[(side + 2) % 3];
            double edge[3], toC[3], inward[3];
            sub3(edge, b, a);
            sub3(toC, c, a);
            // In-plane direction across the side towards the third corner: N1 x edge.
            cross3(inward, first.n, edge);
            double const length = std::sqrt(dot3(inward, inward));
            if (!(length > 0.0)) return;
            double const sign = dot3(inward, toC) > 0.0 ? 1.0 : -1.0;
            for (int k = 0; k < 8; ++k) {
                double const q[3] = {(k & 1) ? hi[0] : lo[0], (k & 2) ? hi[1] : lo[1], (k & 4) ? hi[2] : lo[2]};
                double toQ[3];
                sub3(toQ, q, a);
                mu = std::fmin(mu, sign * dot3(inward, toQ) / length);
            }
        }
        mu -= 1e-9 * r;   // the rounding of the distances themselves, with plenty to spare
        if (!(mu >= 2.0 * diagonal && mu >= 1e-3 * r)) return;
        sineSquare = 4.0 * kappa * kappa * n1Square;
        double const norm = 4e-13 / (mu * kappa);
        normSquare = norm * norm;
        enabled = true;
    }

    // Whether the shortcut gives the test's outcome for a second triangle with N2 . N2 =
    // planeSquare and D . D = dirSquare, D = N1 x N2.
    bool applies(double planeSquare, double dirSquare) const {
        return enabled && planeSquare >= normSquare && dirSquare >= sineSquare * planeSquare;
    }
};

// A second triangle of the slicer with what its tests against many cutting triangles can
// share. Its plane is its own. When the cutting triangles all have one normal N1, bit for bit
// (as the planes along a coordinate axis do), the products with N1 are the same for every
// plane too, and are formed once (prepared with that normal; `shared` tells).
struct SecondTriangle {
    // (What every plane reads first, in the first cache line.)
    double dots[3];       // N1 . corner k
    double planeSquare;   // N2 . N2
    double dirSquare;     // D . D
    int axis;             // projectionAxis(D)
    bool shared;
    double corners[9];
    double plane[4];      // N2, d2
    double dir[3];        // D = N1 x N2

    // With the corners set: the plane, and the shared products when `normal` is not null.
    void prepare(double const *normal) {
        secondPlane(corners, corners + 3, corners + 6, plane);
        planeSquare = dot3(plane, plane);
        shared = normal != nullptr;
        if (!shared) return;
        for (int k = 0; k < 3; ++k) dots[k] = dot3(normal, corners + 3 * k);
        cross3(dir, normal, plane);
        dirSquare = dot3(dir, dir);
        axis = projectionAxis(dir);
    }
};

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

// The smallest double s with sqrt(s) >= 1e-10. sqrt is correctly rounded, hence monotonic,
// so sqrt(s) < 1e-10 exactly when s < shortSegmentSquare().
double shortSegmentSquare();

// The cut test of the slicer's wrapper: a found segment shorter than 1e-10 (Euclidean, as
// Point3D::distance computes it) is no cut. Writes the two end points on success, and their
// sides (see intersectStraddling) when `sides` is not null.
// `inside`, when enabled, lets triangles deep inside the first one skip part of the test;
// `sharedNormal` says that the first triangle's normal is the one `second` was prepared with.
inline bool cutSegment(FirstTriangle const &first, InsideCut const &inside, bool sharedNormal,
                       SecondTriangle const &second, double shortSquare, double *p, double *q,
                       int *sides = nullptr) {
    double const *u0 = second.corners, *u1 = u0 + 3, *u2 = u0 + 6;
    bool const shared = sharedNormal && second.shared;
    double du[3];
    if (shared) {
        for (int k = 0; k < 3; ++k) du[k] = snapZero(second.dots[k] + first.d);
        if ((du[0] * du[1] > 0.0) & (du[0] * du[2] > 0.0)) return false;
    } else if (!secondCornersStraddle(first, u0, u1, u2, du)) {
        return false;
    }
    double dirFormed[3];
    double const *dir = second.dir;
    double dirSquare = second.dirSquare;
    if (!shared) {
        cross3(dirFormed, first.n, second.plane);
        dir = dirFormed;
        dirSquare = dot3(dir, dir);
    }
    if (inside.applies(second.planeSquare, dirSquare)) {
        int const index = shared ? second.axis : projectionAxis(dir);
        double const *cornerB[3] = {u0, u1, u2};
        double const pb[3] = {u0[index], u1[index], u2[index]};
        Interval ib;
        if (!computeInterval(pb, du, du[0] * du[1], du[0] * du[2], ib)) return false;
        int const lowB = ib.end[0] > ib.end[1] ? 1 : 0, highB = 1 - lowB;
        ib.point(cornerB, lowB, p);
        ib.point(cornerB, highB, q);
        if (sides) {
            int const fromB[2] = {lowB, highB};
            segmentSides(ib, du, fromB, sides);
        }
    } else {
        int coplanar = 0;
        if (intersectStraddling(first, u0, u1, u2, second.plane, du, &coplanar, p, q, sides) == 0)
            return false;
    }
    double const dx = p[0] - q[0];
    double const dy = p[1] - q[1];
    double const dz = p[2] - q[2];
    return !(dx * dx + dy * dy + dz * dz < shortSquare);
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
