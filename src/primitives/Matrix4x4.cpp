#include "Matrix4x4.h"

#include "Direction3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

double Matrix4x4::cofactor(int i, int j) const {
    // The minor keeps the remaining rows and columns in their order.
    double m[3][3];
    for (int r = 0, mr = 0; r < 4; ++r) {
        if (r == i) continue;
        for (int c = 0, mc = 0; c < 4; ++c) {
            if (c == j) continue;
            m[mr][mc++] = m_e[4 * r + c];
        }
        ++mr;
    }
    double const det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    return ((i + j) % 2 != 0) ? -det : det;
}

double Matrix4x4::determinant() const {
    double det = 0.0;
    for (int j = 0; j < 4; ++j) det += m_e[j] * cofactor(0, j);
    return det;
}

Matrix4x4 Matrix4x4::inverseMatrix(Tolerance const &tol) const {
    double const det = determinant();
    Matrix4x4 inv;
    if (std::fabs(det) < tol.value()) return inv;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) inv.m_e[4 * r + c] = cofactor(c, r) / det;
    return inv;
}

bool Matrix4x4::inverse(Tolerance const &tol) {
    // The singularity test is repeated here rather than read off inverseMatrix's zero result:
    // the inverse of a valid matrix can itself be null under the tolerance.
    double const det = determinant();
    if (std::fabs(det) < tol.value()) return false;
    Matrix4x4 inv;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) inv.m_e[4 * r + c] = cofactor(c, r) / det;
    *this = inv;
    return true;
}

Matrix4x4 Matrix4x4::rotation(Direction3D const &axis, double angle) {
    Vector3D const &u = axis.vector3D();
    double const x = u.i(), y = u.j(), z = u.k();
    double const c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
    Matrix4x4 m;
    m.m_e[0] = x * x * t + c;
    m.m_e[1] = x * y * t - z * s;
    m.m_e[2] = x * z * t + y * s;
    m.m_e[4] = x * y * t + z * s;
    m.m_e[5] = y * y * t + c;
    m.m_e[6] = y * z * t - x * s;
    m.m_e[8] = x * z * t - y * s;
    m.m_e[9] = y * z * t + x * s;
    m.m_e[10] = z * z * t + c;
    m.m_e[15] = 1.0;
    return m;
}

} // namespace ORVANE_DATABASE
