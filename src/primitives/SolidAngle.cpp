// Signed solid angles of triangles (Van Oosterom and Strackee, 1983).
#include "Vector3D.h"

#include <cmath>

namespace ORVANE_DATABASE {

double Vector3D::tri_projection(Vector3D const &a, Vector3D const &b, Vector3D const &c) {
    double const la = a.magnitude();
    double const lb = b.magnitude();
    double const lc = c.magnitude();
    double const numerator = a * (b ^ c);
    double const denominator = la * lb * lc + (a * b) * lc + (a * c) * lb + (b * c) * la;
    return 2.0 * std::atan2(numerator, denominator);
}

double Vector3D::geo_solid_angle_wiki(Vector3D const &a, Vector3D const &b, Vector3D const &c,
                                      Vector3D const &p) {
    return tri_projection(p - a, p - b, p - c);
}

} // namespace ORVANE_DATABASE
