#pragma once
// Plane: oriented plane in Hessian normal form, n . p + d = 0, with n the unit normal and d
// the distance. The signed distance n . p + d is positive on the side the normal points to;
// the plane z = 5 with normal (0, 0, 1) has d = -5.
#include "OrvaneExport.h"
#include "Direction3D.h"
#include "Matrix4x4.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

class ORVANE_API Plane {
public:
    // Point classes; also the BSP tree's classification, where POS_NONE means "no root".
    enum _Pos : int {
        POS_NONE = 0,
        POS_ON = 7,
        POS_ABOVE = 9,
        POS_BELOW = 10
    };

    // The normal is copied as given, not normalised again.
    Plane(Direction3D const &normal = Direction3D(), double distance = 0.0)
        : m_distance(distance), m_normal(normal) {}
    // Plane through p1, p2, p3 with the right-hand normal over p1 -> p2 -> p3 (the points run
    // counter-clockwise seen from the positive side). Collinear or coincident points give the
    // normal (0, 0, 0) and distance 0.
    Plane(Point3D const &p1, Point3D const &p2, Point3D const &p3)
        : m_distance(0.0),
          m_normal((p2.vector() - p1.vector()) ^ (p3.vector() - p1.vector()), Tolerance()) {
        m_distance = -(m_normal * p1.vector());
    }
    Plane(Plane const &) = default;
    Plane &operator=(Plane const &) = default;
    ~Plane() = default;

    Direction3D &normal() { return m_normal; }
    Direction3D const &normal() const { return m_normal; }
    double &distance() { return m_distance; }
    double distance() const { return m_distance; }
    // Signed distance n . p + d.
    double distance(Point3D const &p) const { return m_normal * p.vector() + m_distance; }

    // With s = n . p + d and t = tol.value(): POS_ON when |s| < t, POS_ABOVE when s > t,
    // POS_BELOW otherwise (so s == +t classifies as POS_BELOW).
    _Pos pointPosition(Point3D const &p, Tolerance const &tol) const {
        double const s = distance(p);
        double const t = tol.value();
        if (std::fabs(s) < t) return POS_ON;
        if (s > t) return POS_ABOVE;
        return POS_BELOW;
    }

    // Where the infinite line through p1 and p2 meets the plane; the parameter is not
    // clamped, so the point may lie outside the segment. A line parallel to the plane
    // (|n . (p2 - p1)| < tol.value()), whether in it or not, gives p1 unchanged.
    Point3D intersection(Point3D const &p1, Point3D const &p2, Tolerance const &tol) {
        Vector3D const u = p2.vector() - p1.vector();
        double const q = m_normal * u;
        if (std::fabs(q) < tol.value()) return p1;
        double const lambda = -(m_normal * p1.vector() + m_distance) / q;
        return p1 + u * lambda;
    }

    // p - ((n . p) / (n . n)) n: the projection onto the parallel plane through the origin
    // (d takes no part). A zero normal divides by zero.
    Point3D pointProjection(Point3D const &p) const {
        Vector3D const &n = m_normal.vector3D();
        double const k = (n * p.vector()) / (n * n);
        return p - n * k;
    }

    // p - (n . p + d) n: the orthogonal foot of p on the plane.
    Point3D closestPoint(Point3D const &p) const {
        return p - m_normal.vector3D() * distance(p);
    }

    // Rigid transform that lays this plane onto z = 0 and its normal onto +Z: the rotation by
    // arccos(n . Z) about n x Z (normalised with the fixed 1e-13), with d as z translation.
    // When n x Z is shorter than tol.value() (n along the z axis) the rotation axis falls
    // back to +Z for a normal pointing up (the identity, up to the tiny angle), and to +X for
    // a normal pointing down, so that the half turn reverses the normal and the plane
    // z = d is again mapped onto z = 0, as for every other plane. A zero normal keeps +Z.
    // Its inverse carries points built in the XY plane back into this plane.
    Matrix4x4 toXYTransformation(Tolerance const &tol) const;

private:
    double m_distance;
    Direction3D m_normal;
};

} // namespace ORVANE_DATABASE
