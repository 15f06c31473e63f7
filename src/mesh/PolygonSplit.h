#pragma once
// The two geometric steps of the BSP build, kept apart from the tree so they can be tested
// on their own: the plane of a polygon, and the classification of a polygon against a plane
// with its cut into a front and a back piece.
//
// The classification is the build's inner loop (every polygon against every plane above it),
// so it is inline and takes one pass over the corners: each corner's class is computed once,
// kept for the cut, and OR-ed into a mask from which the side of nearly every polygon follows
// without a second look at its points.
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
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

// A plane's four numbers by value, for the classification loops: held in registers, they
// need not be reloaded after every store of a polygon record (which a Plane passed by
// reference would require). distance() is Plane::distance with the same arithmetic, in the
// same order, so it gives the same doubles.
struct PlaneEquation {
    double a, b, c, d;
    explicit PlaneEquation(Plane const &plane)
        : a(plane.normal().vector3D()[0]), b(plane.normal().vector3D()[1]),
          c(plane.normal().vector3D()[2]), d(plane.distance()) {}
    double distance(Point3D const &q) const {
        return a * q.x() + b * q.y() + c * q.z() + d;
    }
};

// Point classes as bits, so that a polygon's classes OR into one mask as they are computed.
enum PointClass : unsigned char { kOn = 1, kFront = 2, kBack = 4 };

// The class of q against `plane` with threshold t: on when |s| < t, front when s > t, back
// otherwise (s == t and NaN included), s being the signed distance: the rule of
// Plane::pointPosition, evaluated with the same arithmetic. Written without branches: the
// classes of a mesh's corners against a plane follow no pattern a predictor could learn.
inline unsigned char pointClass(PlaneEquation plane, Point3D const &q, double t) {
    double const s = plane.distance(q);
    unsigned const on = std::fabs(s) < t;
    unsigned const front = s > t;   // never together with on
    return static_cast<unsigned char>(on | front << 1 | ((on | front) ^ 1u) << 2);
}

// Writes the class of each point of pts[0..n) to classes[0..n) and returns their union.
inline unsigned classifyPoints(Point3D const *pts, std::size_t n, PlaneEquation plane, double t,
                               unsigned char *classes) {
    if (n == 3) {   // a triangle, most polygons: straight-line code
        unsigned char const c0 = pointClass(plane, pts[0], t), c1 = pointClass(plane, pts[1], t),
                            c2 = pointClass(plane, pts[2], t);
        classes[0] = c0;
        classes[1] = c1;
        classes[2] = c2;
        return unsigned(c0 | c1 | c2);
    }
    unsigned seen = 0;
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char const c = pointClass(plane, pts[i], t);
        classes[i] = c;
        seen |= c;
    }
    return seen;
}

// The side of a polygon of n points whose classes are classes[0..n), with union `seen`: the
// result of the walk that cutPolygon performs. Spanning when an edge (the first point's
// predecessor being the last) runs from a front point straight to a back point or back;
// otherwise Coplanar when every point is on (an empty polygon included), Front or Back when
// the walk's pieces would leave the other side empty, and for a polygon with back points and
// also on or front points but no crossing edge, the side whose piece would be larger, ties to
// the back.
inline PolygonSide sideOf(unsigned char const *classes, std::size_t n, unsigned seen) {
    // Without back points the walk puts every point in the front piece and nothing in the
    // back piece; without front or on points it does the opposite.
    if (!(seen & kBack)) return (seen & kFront) ? PolygonSide::Front : PolygonSide::Coplanar;
    if (!(seen & (kFront | kOn))) return PolygonSide::Back;
    // In a triangle every two corners are neighbours: a front and a back corner make a
    // crossing edge; on and back corners alone give a back piece of at least three points
    // against a front piece of at most two.
    if (n == 3) return (seen & kFront) ? PolygonSide::Spanning : PolygonSide::Back;

    unsigned const crossing = kFront | kBack;
    for (std::size_t i = 0, prev = n - 1; i < n; prev = i++)
        if (unsigned(classes[i] | classes[prev]) == crossing) return PolygonSide::Spanning;
    // Not cut: every on or front point goes to the front piece once; the back piece gets
    // every back point, plus an on point next to a back point once per such neighbour.
    std::size_t frontPiece = 0, backPiece = 0;
    for (std::size_t i = 0, prev = n - 1; i < n; prev = i++) {
        unsigned char const c = classes[i], pc = classes[prev];
        if (c == kBack) {
            backPiece += 1 + (pc == kOn);
        } else {
            ++frontPiece;
            backPiece += c == kOn && pc == kBack;
        }
    }
    return backPiece < frontPiece ? PolygonSide::Front : PolygonSide::Back;
}

// Classifies the polygon pts[0..n) against `plane` with threshold t in one pass over its
// points (see sideOf), leaving each point's class in classes[0..n) for cutPolygon.
inline PolygonSide classifyPolygon(Point3D const *pts, std::size_t n, PlaneEquation plane, double t,
                                   unsigned char *classes) {
    return sideOf(classes, n, classifyPoints(pts, n, plane, t, classes));
}

// A ball around a polygon's points, stored with the polygon so that the classification of
// a polygon far from a plane (most of them: a plane sees most of a mesh well to one side)
// reads four numbers instead of every point.
struct PointBall {
    double centre[3];
    double reach;   // +inf: the ball decides nothing
};

// The slack factor of the quick test below: 2^-40, some two thousand times the rounding it
// has to cover, and still far below anything geometric.
constexpr double kQuickSlack = 0x1p-40;
// Magnitudes up to which the quick test's arithmetic provably neither overflows nor loses
// relative precision in subnormals.
constexpr double kQuickLargest = 1e300;
constexpr double kQuickSmallest = 1e-300;

// The ball of pts[0..n): centre the middle of their box, reach r the largest distance of a
// point from it, widened to r + 2^-40 (r + |c|_1). The reach is +inf (the ball decides
// nothing) for an empty polygon and when anything is not finite or exceeds 1e300.
inline PointBall ballAround(Point3D const *pts, std::size_t n) {
    PointBall ball{{0.0, 0.0, 0.0}, std::numeric_limits<double>::infinity()};
    if (n == 0) return ball;
    double lo[3], hi[3];
    for (int a = 0; a < 3; ++a) lo[a] = hi[a] = pts[0].vector()[a];
    for (std::size_t i = 1; i < n; ++i)
        for (int a = 0; a < 3; ++a) {
            double const v = pts[i].vector()[a];
            lo[a] = std::min(lo[a], v);
            hi[a] = std::max(hi[a], v);
        }
    double centreSize = 0.0;
    for (int a = 0; a < 3; ++a) {
        ball.centre[a] = 0.5 * lo[a] + 0.5 * hi[a];   // no overflow for finite coordinates
        centreSize += std::fabs(ball.centre[a]);
    }
    double r2 = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        double q = 0.0;
        for (int a = 0; a < 3; ++a) {
            double const e = pts[i].vector()[a] - ball.centre[a];
            q += e * e;
        }
        if (q > r2 || q != q) r2 = q;   // a NaN, once in, stays (std::max would drop it)
    }
    double const r = std::sqrt(r2);
    double const reach = r + kQuickSlack * (r + centreSize);
    // Also rejects NaN (every comparison fails) and infinities.
    if (centreSize <= kQuickLargest && reach <= kQuickLargest) ball.reach = reach;
    return ball;
}

// The threshold tau of the quick test for a plane and the classification threshold t:
// t + 2^-40 (t + |d|) + 1e-300; +inf (the quick test decides nothing) when t is negative or
// not finite, or |d| exceeds 1e300.
inline double quickThreshold(Plane const &plane, double t) {
    double const d = std::fabs(plane.distance());
    if (!(t >= 0.0 && t <= kQuickLargest && d <= kQuickLargest))
        return std::numeric_limits<double>::infinity();
    return t + kQuickSlack * (t + d) + kQuickSmallest;
}

// kFront when every point within the ball classifies front against `plane`, kBack when every
// one classifies back, 0 when the ball cannot tell; tau from quickThreshold.
//
// Why it never contradicts pointClass. Let S(x) = n . x + d exactly and s(x) its computed
// value (Plane::distance: three products and three sums). The normal is a unit vector
// computed in floating point, so |n_a| <= 1 + 3u per component (u = 2^-53), and the usual
// bound for a dot product gives |s(x) - S(x)| <= 5u (|x|_1 + |d|) while everything stays
// below 1e300 in magnitude and above 1e-300 or zero (no overflow, no loss in subnormals; the
// guards of ballAround and quickThreshold ensure it, and the 1e-300 in tau covers absolute
// rounding of subnormal results). The ball's computed r is the exact largest distance from c
// within 5u relative, so a point p of the polygon has |p - c| <= (1 + 5u) r and
// |p|_1 <= |c|_1 + 2r. Then
//     s(p) >= S(p) - 5u (|p|_1 + |d|) >= S(c) - (1 + 9u) r - 5u (|c|_1 + 2r + |d|)
//          >= s(c) - r - 19u r - 10u |c|_1 - 10u |d|
//          >= s(c) - reach - 10u |d|,
// because the reach adds 2^-40 (r + |c|_1), far above 19u r + 10u |c|_1 even after its own
// rounding. The test below passes only when the computed s(c) - reach exceeds tau, so the
// exact s(c) - reach exceeds tau (1 - 5u) >= t + 10u |d| (the 2^-40 (t + |d|) in tau pays
// for the rounding of the subtraction and of tau itself), hence s(p) > t: p is front (and not on,
// as |s(p)| >= s(p) > t). The back case is the mirror image: s(p) < -t, so p is neither on
// nor front. NaN anywhere fails both comparisons, and an infinite reach or tau decides
// nothing, so those polygons go to the exact classification.
inline unsigned quickSide(PlaneEquation plane, double x, double y, double z, double reach,
                          double tau) {
    double const s = plane.a * x + plane.b * y + plane.c * z + plane.d;
    // |s| - reach > tau is s - reach > tau for s > 0 and, negated exactly, s + reach < -tau
    // for s < 0, with the same roundings: one comparison for both sides.
    unsigned const decided = std::fabs(s) - reach > tau;
    unsigned const back = s < 0.0;
    return decided << (1 + back);   // kFront, kBack or 0
}
inline unsigned quickSide(PlaneEquation plane, PointBall const &ball, double tau) {
    return quickSide(plane, ball.centre[0], ball.centre[1], ball.centre[2], ball.reach, tau);
}

// The pieces of a polygon that classifyPolygon found Spanning, from the classes it wrote:
// the walk over the points, each with its predecessor (the last point for the first), that
// sends on points to the front piece (and to the back piece after a back point), front points
// to the front piece and back points to the back piece (after the on point before them), and
// puts the crossing point of every front-back edge, Plane::intersection of the predecessor and
// the point, into both. `front` and `back` need room for 2n points each (a step adds at most
// two to a piece); their sizes are returned in frontSize and backSize. The plane is not
// changed (Plane::intersection merely is not const).
void cutPolygon(Point3D const *pts, std::size_t n, unsigned char const *classes, Plane &plane,
                Tolerance const &tol, Point3D *front, std::size_t &frontSize, Point3D *back,
                std::size_t &backSize);

} // namespace bsp
} // namespace ORVANE_DATABASE
