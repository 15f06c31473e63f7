#include "Plane.h"

#include <algorithm>
#include <cmath>

namespace ORVANE_DATABASE {

Matrix4x4 Plane::toXYTransformation(Tolerance const &tol) const {
    Vector3D const z(0.0, 0.0, 1.0);
    Vector3D const &n = m_normal.vector3D();
    // A normalised normal along the z axis can come out a rounding step beyond 1 in its z
    // component; clamping keeps arccos defined there without changing any other result.
    double const cosTheta = std::max(-1.0, std::min(1.0, z * n));
    double const theta = std::acos(cosTheta);

    Direction3D axis;
    axis = n ^ z;   // fixed 1e-13 normalisation
    if (axis.vector3D().magnitude() < tol.value()) {
        // Normal along the z axis: any axis perpendicular to Z reverses a downward normal,
        // whereas Z itself would leave it pointing down.
        axis = (n.k() < 0.0) ? Vector3D(1.0, 0.0, 0.0) : z;
    }

    Matrix4x4 m = Matrix4x4::rotation(axis, theta);
    m(2, 3) = m_distance;
    return m;
}

} // namespace ORVANE_DATABASE
