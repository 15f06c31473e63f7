#pragma once
// Matrix4x4: homogeneous transform of sixteen doubles, row-major (element (r, c) at 4r + c),
// acting on column vectors with the translation in the fourth column. A default matrix is
// all zeros, not the identity.
#include "OrvaneExport.h"
#include "Tolerance.h"
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

class Direction3D;

class ORVANE_API Matrix4x4 {
public:
    Matrix4x4() : m_e{} {}
    // Sixteen doubles, row-major.
    Matrix4x4(double * const a) { assign(a); }
    Matrix4x4(double (* const a)[4]) { assign(a[0], a[1], a[2], a[3]); }
    Matrix4x4(Matrix4x4 const &) = default;
    Matrix4x4 &operator=(Matrix4x4 const &) = default;
    Matrix4x4 &operator=(double const * const a) {
        assign(a);
        return *this;
    }
    Matrix4x4 &operator=(double const (* const a)[4]) {
        assign(a[0], a[1], a[2], a[3]);
        return *this;
    }

    // Element (r, c); no range check.
    double &operator()(int r, int c) { return m_e[4 * r + c]; }
    double operator()(int r, int c) const { return m_e[4 * r + c]; }
    double value(int r, int c) const { return m_e[4 * r + c]; }
    // Stores v at (r, c) and returns true when both indices lie in 0..3; otherwise changes
    // nothing and returns false.
    bool set(int r, int c, double v) {
        if (r < 0 || r > 3 || c < 0 || c > 3) return false;
        m_e[4 * r + c] = v;
        return true;
    }

    // The product this x m.
    Matrix4x4 operator*(Matrix4x4 const &m) const {
        Matrix4x4 p;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k) sum += m_e[4 * r + k] * m.m_e[4 * k + c];
                p.m_e[4 * r + c] = sum;
            }
        return p;
    }

    // All sixteen differences strictly below the fixed 1e-13.
    bool operator==(Matrix4x4 const &m) const { return allClose(m, 1e-13); }
    bool operator!=(Matrix4x4 const &m) const { return !(*this == m); }
    // All sixteen differences strictly below tol.value().
    bool isEqual(Matrix4x4 const &m, Tolerance const &tol) const { return allClose(m, tol.value()); }
    bool isNotEqual(Matrix4x4 const &m, Tolerance const &tol) const { return !isEqual(m, tol); }
    // Every element strictly below tol.value() in absolute value; how a caller recognises the
    // zero matrix that inverseMatrix returns for a singular matrix.
    bool isNull(Tolerance const &tol) const { return allClose(Matrix4x4(), tol.value()); }
    bool isIdentity(Tolerance const &tol) const { return allClose(identity(), tol.value()); }

    // Signed cofactor of element (i, j): determinant of the 3x3 minor without row i and
    // column j, negated when i + j is odd.
    double cofactor(int i, int j) const;
    // Expansion along row 0.
    double determinant() const;

    Matrix4x4 transposeMatrix() const {
        Matrix4x4 t;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) t.m_e[4 * c + r] = m_e[4 * r + c];
        return t;
    }
    void transpose() { *this = transposeMatrix(); }

    // Adjugate over determinant. A determinant strictly below tol.value() in absolute value
    // (raw, not scale-invariant) counts as singular: inverseMatrix then returns the zero
    // matrix (test with isNull), and inverse returns false leaving this matrix unchanged.
    Matrix4x4 inverseMatrix(Tolerance const &tol) const;
    bool inverse(Tolerance const &tol);

    void makeIdentity() { *this = identity(); }
    static Matrix4x4 identity() {
        Matrix4x4 m;
        m.m_e[0] = m.m_e[5] = m.m_e[10] = m.m_e[15] = 1.0;
        return m;
    }
    // Identity with (tx, ty, tz) in the fourth column.
    static Matrix4x4 translation(double tx, double ty, double tz) {
        Matrix4x4 m = identity();
        m.m_e[3] = tx;
        m.m_e[7] = ty;
        m.m_e[11] = tz;
        return m;
    }
    // Right-handed rotation by angle (radians) about the axis, used as given: it is not
    // normalised again, and a zero axis gives a uniform scaling by cos(angle) of the upper
    // 3x3 block rather than an error.
    static Matrix4x4 rotation(Direction3D const &axis, double angle);

private:
    void assign(double const *a) {
        for (int n = 0; n < 16; ++n) m_e[n] = a[n];
    }
    void assign(double const *r0, double const *r1, double const *r2, double const *r3) {
        for (int c = 0; c < 4; ++c) {
            m_e[c] = r0[c];
            m_e[4 + c] = r1[c];
            m_e[8 + c] = r2[c];
            m_e[12 + c] = r3[c];
        }
    }
    bool allClose(Matrix4x4 const &m, double threshold) const {
        for (int n = 0; n < 16; ++n)
            if (!(std::fabs(m_e[n] - m.m_e[n]) < threshold)) return false;
        return true;
    }

    double m_e[16];
};

// Member of Vector3D that needs Matrix4x4 complete.
inline Vector3D Vector3D::transformVector(Matrix4x4 const &m) const {
    return Vector3D(m(0, 0) * m_c[0] + m(0, 1) * m_c[1] + m(0, 2) * m_c[2] + m(0, 3),
                    m(1, 0) * m_c[0] + m(1, 1) * m_c[1] + m(1, 2) * m_c[2] + m(1, 3),
                    m(2, 0) * m_c[0] + m(2, 1) * m_c[1] + m(2, 2) * m_c[2] + m(2, 3));
}

} // namespace ORVANE_DATABASE
