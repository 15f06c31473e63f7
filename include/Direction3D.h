#pragma once
// Direction3D: a unit vector, or (0, 0, 0) when it was built from a vector shorter than the
// threshold in force. The zero vector is the only failure marker: a caller that needs a
// valid direction tests for it.
#include "OrvaneExport.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

class ORVANE_API Direction3D {
public:
    // (x, y, z) / L with L its length; (0, 0, 0) when L is strictly below tol.value().
    Direction3D(double x = 0.0, double y = 0.0, double z = 0.0,
                Tolerance const &tol = Tolerance())
        : m_v(unit(x, y, z, tol.value())) {}
    Direction3D(double * const a, Tolerance const &tol)
        : m_v(unit(a[0], a[1], a[2], tol.value())) {}
    Direction3D(Vector3D const &v, Tolerance const &tol)
        : m_v(unit(v.i(), v.j(), v.k(), tol.value())) {}
    // Plain copies, no renormalisation.
    Direction3D(Direction3D const &) = default;
    Direction3D &operator=(Direction3D const &) = default;
    // Normalises v with the fixed threshold 1e-13: (0, 0, 0) below it.
    Direction3D &operator=(Vector3D const &v) {
        m_v = unit(v.i(), v.j(), v.k(), 1e-13);
        return *this;
    }

    // Unlike the constructor, a vector shorter than tol.value() leaves the direction as it
    // was, so a valid direction is never replaced by the failure marker.
    void set(double x, double y, double z, Tolerance const &tol) {
        double const len = std::sqrt(x * x + y * y + z * z);
        if (len < tol.value()) return;
        m_v.set(x / len, y / len, z / len);
    }

    double operator*(Direction3D const &b) const { return m_v * b.m_v; }
    double operator*(Vector3D const &b) const { return m_v * b; }
    // Cross products as plain, not normalised, vectors.
    Vector3D operator^(Direction3D const &b) const { return m_v ^ b.m_v; }
    Vector3D operator^(Vector3D const &b) const { return m_v ^ b; }

    // Vector3D::angle on the components; the same optional-axis convention (the pointer
    // overload takes nullptr for "not wanted").
    double angle(Direction3D const &b, Direction3D &axis, Tolerance const &tol) const {
        return m_v.angle(b.m_v, &axis, tol);
    }
    double angle(Direction3D const &b, Direction3D *axis, Tolerance const &tol) const {
        return m_v.angle(b.m_v, axis, tol);
    }

    Vector3D const &vector3D() const { return m_v; }

private:
    static Vector3D unit(double x, double y, double z, double threshold) {
        double const len = std::sqrt(x * x + y * y + z * z);
        if (len < threshold) return Vector3D();
        return Vector3D(x / len, y / len, z / len);
    }

    Vector3D m_v;
};

// Members of Vector3D that need Direction3D complete.

inline Direction3D Vector3D::direction(Tolerance const &tol) const {
    return Direction3D(m_c[0], m_c[1], m_c[2], tol);
}

inline double Vector3D::angle(Vector3D const &b, Direction3D &axis, Tolerance const &tol) const {
    return angle(b, &axis, tol);
}

inline double Vector3D::angle(Vector3D const &b, Direction3D *axis, Tolerance const &tol) const {
    double const t = tol.value();
    if (magnitude() < t || b.magnitude() < t) return -1.0;
    Vector3D const c = *this ^ b;
    double const theta = std::atan2(c.magnitude(), *this * b);
    if (axis != nullptr) *axis = Direction3D(c, tol);
    return theta < t ? 0.0 : theta;
}

} // namespace ORVANE_DATABASE
