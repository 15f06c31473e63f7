#pragma once
// Point3D: a position, held as its position vector.
#include "OrvaneExport.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

class Direction3D;

class ORVANE_API Point3D {
public:
    Point3D(double x = 0.0, double y = 0.0, double z = 0.0) : m_v(x, y, z) {}
    Point3D(double * const a) : m_v(a) {}
    Point3D(Point3D const &) = default;
    Point3D &operator=(Point3D const &) = default;
    Point3D &operator=(double const * const a) {
        m_v = a;
        return *this;
    }

    double x() const { return m_v.i(); }
    double y() const { return m_v.j(); }
    double z() const { return m_v.k(); }
    double &x() { return m_v.i(); }
    double &y() { return m_v.j(); }
    double &z() { return m_v.k(); }
    // The position vector member itself, not a copy.
    Vector3D const &vector() const { return m_v; }
    Vector3D &vector() { return m_v; }

    Point3D operator+(Vector3D const &v) const { return Point3D(m_v + v); }
    Point3D operator-(Vector3D const &v) const { return Point3D(m_v - v); }
    Point3D &operator+=(Vector3D const &v) {
        m_v += v;
        return *this;
    }
    Point3D &operator-=(Vector3D const &v) {
        m_v -= v;
        return *this;
    }

    Point3D mid(Point3D const &p) const {
        return Point3D((x() + p.x()) / 2.0, (y() + p.y()) / 2.0, (z() + p.z()) / 2.0);
    }
    double distanceSqr(Point3D const &p) const { return (m_v - p.m_v).magnitudeSqr(); }
    double distance(Point3D const &p) const { return std::sqrt(distanceSqr(p)); }

    // Per coordinate, strictly below the fixed 1e-13 (vectors use 1e-10).
    bool operator==(Point3D const &p) const {
        return std::fabs(x() - p.x()) < 1e-13 && std::fabs(y() - p.y()) < 1e-13 &&
               std::fabs(z() - p.z()) < 1e-13;
    }
    bool operator!=(Point3D const &p) const { return !(*this == p); }
    bool isEqual(Point3D const &p, Tolerance const &tol) const { return m_v.isEqual(p.m_v, tol); }
    bool isNotEqual(Point3D const &p, Tolerance const &tol) const { return !isEqual(p, tol); }
    // Per coordinate, strictly below the bare threshold.
    bool isEqualPoint(Point3D const &p, double threshold) {
        return std::fabs(x() - p.x()) < threshold && std::fabs(y() - p.y()) < threshold &&
               std::fabs(z() - p.z()) < threshold;
    }

    // Squared distance of this point P from the segment (segment = true) or the infinite
    // line (false) through a and b. With d = b - a, w = P - a, k = w . d and t = tol.value():
    // for a segment, k <= t gives |w|^2 and k >= |d|^2 - t gives |P - b|^2; |k| < t gives
    // |w|^2; otherwise |w|^2 - k^2 / |d|^2, returned as 0 when below t in absolute value.
    // t is compared with squared lengths and dot products as is. a == b never divides by 0.
    double distanceSqr(Point3D const &a, Point3D const &b, bool segment,
                       Tolerance const &tol) const;
    // Square root of the above with the same arguments.
    double distance(Point3D const &a, Point3D const &b, bool segment, Tolerance const &tol) const;

    // True when this point P lies on the line a-b (squared line distance below t in absolute
    // value); then the ratio, if wanted, receives the position of P along the line, so that
    // P = a + ratio (b - a): 0 when P is within t of a, exactly 1 when |P - a|^2 equals
    // |a - b|^2 within t, otherwise sqrt(|P - a|^2 / |a - b|^2), negative when P lies beyond a
    // on the side away from b. False leaves the ratio untouched.
    //
    // The ratio is optional: the pointer overload takes nullptr for "not wanted" (C++ has
    // no null reference); the reference form forwards its address.
    bool isCollinear(Point3D const &a, Point3D const &b, double &ratio, Tolerance const &tol) const;
    bool isCollinear(Point3D const &a, Point3D const &b, double *ratio, Tolerance const &tol) const;

    // Closest points of the segments p1-q1 and p2-q2 as parameters: p1 + s (q1 - p1) and
    // p2 + u (q2 - p2). Degenerate segments (squared length below t) get parameter 0. With
    // clamp the parameters are kept in [0, 1] (u may stay up to t outside); without it they
    // are those of the infinite lines. Returns false for parallel segments (|a e - b^2| < t),
    // leaving s and u as they were; true otherwise.
    static bool closestPoints(Point3D const &p1, Point3D const &q1, Point3D const &p2,
                              Point3D const &q2, double &s, double &u, bool clamp,
                              Tolerance const &tol);

    // Area of the triangle a, b, c: |(b - a) x (c - a)| / 2. The normal, if wanted, receives
    // the right-hand unit normal over a -> b -> c, or (0, 0, 0) when the cross product is
    // shorter than tol.value(). The pointer overload takes nullptr for "not wanted"; the
    // reference form forwards its address.
    static double area(Point3D const &a, Point3D const &b, Point3D const &c, Direction3D &normal,
                       Tolerance const &tol);
    static double area(Point3D const &a, Point3D const &b, Point3D const &c, Direction3D *normal,
                       Tolerance const &tol);

private:
    // The public way from a vector to a point is Vector3D::positionVector.
    Point3D(Vector3D const &v) : m_v(v) {}

    Vector3D m_v;
};

// Member of Vector3D that needs Point3D complete.
inline Point3D Vector3D::positionVector() const { return Point3D(m_c[0], m_c[1], m_c[2]); }

} // namespace ORVANE_DATABASE
