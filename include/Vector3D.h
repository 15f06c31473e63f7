#pragma once
// Vector3D: a free vector of three contiguous doubles (i, j, k), readable as an array.
//
// Vector3D, Point3D, Direction3D and Matrix4x4 refer to each other (direction(),
// positionVector(), transformVector()). Each of the four headers can be included alone:
// this header pulls in the other three at its end, and every member that needs another of
// the types complete is defined inline in that type's header, right after its class.
#include "OrvaneExport.h"
#include "Tolerance.h"

#include <cmath>

namespace ORVANE_DATABASE {

class Direction3D;
class Point3D;
class Matrix4x4;

class ORVANE_API Vector3D {
public:
    Vector3D(double i = 0.0, double j = 0.0, double k = 0.0) : m_c{i, j, k} {}
    Vector3D(double * const a) : m_c{a[0], a[1], a[2]} {}
    Vector3D(Vector3D const &) = default;
    Vector3D &operator=(Vector3D const &) = default;
    Vector3D &operator=(double const * const a) {
        m_c[0] = a[0];
        m_c[1] = a[1];
        m_c[2] = a[2];
        return *this;
    }

    double i() const { return m_c[0]; }
    double j() const { return m_c[1]; }
    double k() const { return m_c[2]; }
    double &i() { return m_c[0]; }
    double &j() { return m_c[1]; }
    double &k() { return m_c[2]; }
    // Index 0..2; no range check.
    double operator[](int index) const { return m_c[index]; }
    double &operator[](int index) { return m_c[index]; }
    double *array() { return m_c; }
    void doubleArray(double * const out) const {
        out[0] = m_c[0];
        out[1] = m_c[1];
        out[2] = m_c[2];
    }
    void set(double i, double j, double k) {
        m_c[0] = i;
        m_c[1] = j;
        m_c[2] = k;
    }

    double magnitudeSqr() const { return m_c[0] * m_c[0] + m_c[1] * m_c[1] + m_c[2] * m_c[2]; }
    double magnitude() const { return std::sqrt(magnitudeSqr()); }

    // Scales to unit length and returns true, unless the magnitude is strictly below
    // tol.value(): then the vector is left as it is and the result is false. A magnitude
    // equal to the threshold is normalised.
    bool normalize(Tolerance const &tol) {
        double const m = magnitude();
        if (m < tol.value()) return false;
        m_c[0] /= m;
        m_c[1] /= m;
        m_c[2] /= m;
        return true;
    }

    // The unit vector under tol; (0, 0, 0) when the magnitude is below tol.value().
    Direction3D direction(Tolerance const &tol) const;
    // The point whose coordinates are the components.
    Point3D positionVector() const;

    Vector3D operator*(int s) const { return *this * static_cast<double>(s); }
    Vector3D operator*(double s) const { return Vector3D(m_c[0] * s, m_c[1] * s, m_c[2] * s); }
    // Division by zero is not guarded: it yields the floating-point infinities or NaN.
    Vector3D operator/(int s) const { return *this / static_cast<double>(s); }
    Vector3D operator/(double s) const { return Vector3D(m_c[0] / s, m_c[1] / s, m_c[2] / s); }
    Vector3D operator-() const { return Vector3D(-m_c[0], -m_c[1], -m_c[2]); }
    Vector3D operator+(Vector3D const &b) const {
        return Vector3D(m_c[0] + b.m_c[0], m_c[1] + b.m_c[1], m_c[2] + b.m_c[2]);
    }
    Vector3D operator-(Vector3D const &b) const {
        return Vector3D(m_c[0] - b.m_c[0], m_c[1] - b.m_c[1], m_c[2] - b.m_c[2]);
    }
    // Dot product.
    double operator*(Vector3D const &b) const {
        return m_c[0] * b.m_c[0] + m_c[1] * b.m_c[1] + m_c[2] * b.m_c[2];
    }
    // Cross product this x b.
    Vector3D operator^(Vector3D const &b) const {
        return Vector3D(m_c[1] * b.m_c[2] - m_c[2] * b.m_c[1],
                        m_c[2] * b.m_c[0] - m_c[0] * b.m_c[2],
                        m_c[0] * b.m_c[1] - m_c[1] * b.m_c[0]);
    }
    Vector3D &operator*=(int s) { return *this *= static_cast<double>(s); }
    Vector3D &operator*=(double s) {
        m_c[0] *= s;
        m_c[1] *= s;
        m_c[2] *= s;
        return *this;
    }
    Vector3D &operator/=(int s) { return *this /= static_cast<double>(s); }
    Vector3D &operator/=(double s) {
        m_c[0] /= s;
        m_c[1] /= s;
        m_c[2] /= s;
        return *this;
    }
    Vector3D &operator+=(Vector3D const &b) {
        m_c[0] += b.m_c[0];
        m_c[1] += b.m_c[1];
        m_c[2] += b.m_c[2];
        return *this;
    }
    Vector3D &operator-=(Vector3D const &b) {
        m_c[0] -= b.m_c[0];
        m_c[1] -= b.m_c[1];
        m_c[2] -= b.m_c[2];
        return *this;
    }
    Vector3D &operator^=(Vector3D const &b) { return *this = *this ^ b; }

    // Component-wise, strictly below the fixed 1e-10 (independent of any Tolerance; points
    // use 1e-13).
    bool operator==(Vector3D const &b) const {
        return std::fabs(m_c[0] - b.m_c[0]) < 1e-10 && std::fabs(m_c[1] - b.m_c[1]) < 1e-10 &&
               std::fabs(m_c[2] - b.m_c[2]) < 1e-10;
    }
    bool operator!=(Vector3D const &b) const { return !(*this == b); }
    // Component-wise (a per-axis box, not a Euclidean ball), strictly below tol.value().
    bool isEqual(Vector3D const &b, Tolerance const &tol) const {
        double const t = tol.value();
        return std::fabs(m_c[0] - b.m_c[0]) < t && std::fabs(m_c[1] - b.m_c[1]) < t &&
               std::fabs(m_c[2] - b.m_c[2]) < t;
    }
    bool isNotEqual(Vector3D const &b, Tolerance const &tol) const { return !isEqual(b, tol); }

    // Unsigned angle in [0, pi] between this vector a and b; -1.0 (axis untouched) when
    // either is shorter than tol.value(). The turning sense goes to the axis: the direction
    // of a x b under tol, i.e. the right-hand normal from a to b, which is (0, 0, 0) for
    // parallel and antiparallel vectors. An angle below tol.value() is returned as 0.0.
    //
    // The axis is optional. C++ has no null reference, so "not wanted" is spelled with the
    // pointer overload and nullptr; the reference form must name a real object and simply
    // forwards its address.
    double angle(Vector3D const &b, Direction3D &axis, Tolerance const &tol) const;
    double angle(Vector3D const &b, Direction3D *axis, Tolerance const &tol) const;

    // Applies the upper three rows of the row-major matrix m to (i, j, k, 1): the
    // translation column is added, the bottom row ignored, nothing divided. Points are
    // transformed by passing their position vector.
    Vector3D transformVector(Matrix4x4 const &m) const;

    // Signed solid angle at the origin of the triangle with corners a, b, c (Van Oosterom
    // and Strackee): 2 atan2(a . (b x c), |a||b||c| + (a.b)|c| + (a.c)|b| + (b.c)|a|), in
    // (-2 pi, 2 pi]. Positive when a, b, c run counter-clockwise seen from the origin.
    static double tri_projection(Vector3D const &a, Vector3D const &b, Vector3D const &c);
    // tri_projection(p - a, p - b, p - c): the solid angle of triangle a, b, c seen from p,
    // with the sign opposite to tri_projection(a - p, b - p, c - p). Summed over a closed
    // mesh oriented counter-clockwise from outside: -4 pi for p inside, 0 outside.
    static double geo_solid_angle_wiki(Vector3D const &a, Vector3D const &b, Vector3D const &c,
                                       Vector3D const &p);

private:
    double m_c[3];
};

} // namespace ORVANE_DATABASE

#include "Direction3D.h"
#include "Matrix4x4.h"
#include "Point3D.h"
