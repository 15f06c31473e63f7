// Distances, collinearity, closest points and area on Point3D. The tolerance value t is an
// absolute threshold compared with lengths, squared lengths and dot products alike, without
// rescaling: callers rely on exactly these comparisons.
#include "Point3D.h"

#include "Direction3D.h"

#include <algorithm>
#include <cmath>

namespace ORVANE_DATABASE {

namespace {

double clamp01(double v) { return std::max(0.0, std::min(1.0, v)); }

} // namespace

double Point3D::distanceSqr(Point3D const &a, Point3D const &b, bool segment,
                            Tolerance const &tol) const {
    double const t = tol.value();
    Vector3D const d = b.m_v - a.m_v;
    Vector3D const w = m_v - a.m_v;
    double const len = d * d;
    double const k = w * d;
    if (segment) {
        if (k <= t) return w.magnitudeSqr();
        if (k >= len - t) return (m_v - b.m_v).magnitudeSqr();
    }
    // Also the exit for a degenerate line (a == b gives k == 0), before dividing by len.
    if (std::fabs(k) < t) return w.magnitudeSqr();
    double const r = w.magnitudeSqr() - k * k / len;
    return std::fabs(r) < t ? 0.0 : r;
}

double Point3D::distance(Point3D const &a, Point3D const &b, bool segment,
                         Tolerance const &tol) const {
    return std::sqrt(distanceSqr(a, b, segment, tol));
}

bool Point3D::isCollinear(Point3D const &a, Point3D const &b, double &ratio,
                          Tolerance const &tol) const {
    return isCollinear(a, b, &ratio, tol);
}

bool Point3D::isCollinear(Point3D const &a, Point3D const &b, double *ratio,
                          Tolerance const &tol) const {
    double const t = tol.value();
    if (std::fabs(distanceSqr(a, b, false, tol)) >= t) return false;
    if (ratio == nullptr) return true;

    double const pa = (m_v - a.m_v).magnitudeSqr();
    double const ab = (a.m_v - b.m_v).magnitudeSqr();
    double const pb = (m_v - b.m_v).magnitudeSqr();
    if (pa < t) {
        *ratio = 0.0;
    } else if (std::fabs(pa - ab) < t) {
        *ratio = 1.0;
    } else {
        // ab > 0 here: a == b makes every point farther than t from a non-collinear.
        double r = std::sqrt(pa / ab);
        if ((pa > ab || pb > ab) && pb > pa) r = -r;   // beyond a, on the side away from b
        *ratio = r;
    }
    return true;
}

bool Point3D::closestPoints(Point3D const &p1, Point3D const &q1, Point3D const &p2,
                            Point3D const &q2, double &s, double &u, bool clamp,
                            Tolerance const &tol) {
    double const t = tol.value();
    Vector3D const d1 = q1.m_v - p1.m_v;
    Vector3D const d2 = q2.m_v - p2.m_v;
    Vector3D const r = p1.m_v - p2.m_v;
    double const a = d1 * d1;
    double const e = d2 * d2;
    double const f = d2 * r;

    if (a < t && e < t) {
        s = u = 0.0;
        return true;
    }
    if (a < t) {
        s = 0.0;
        u = clamp ? clamp01(f / e) : f / e;
        return true;
    }
    double const c = d1 * r;
    if (e < t) {
        u = 0.0;
        s = clamp ? clamp01(-c / a) : -c / a;
        return true;
    }
    double const b = d1 * d2;
    double const denom = a * e - b * b;
    if (std::fabs(denom) < t) return false;

    s = (b * f - c * e) / denom;
    if (clamp) s = clamp01(s);
    u = (b * s + f) / e;
    if (!clamp) return true;

    // The point on the second segment fell outside it: pin it to that end and recompute the
    // closest parameter on the first segment for the pinned point.
    if (u < -t) {
        u = 0.0;
        s = clamp01(-c / a);
    } else if (u - t > 1.0) {
        u = 1.0;
        s = clamp01((b - c) / a);
    }
    return true;
}

double Point3D::area(Point3D const &a, Point3D const &b, Point3D const &c, Direction3D &normal,
                     Tolerance const &tol) {
    return area(a, b, c, &normal, tol);
}

double Point3D::area(Point3D const &a, Point3D const &b, Point3D const &c, Direction3D *normal,
                     Tolerance const &tol) {
    Vector3D const cross = (b.m_v - a.m_v) ^ (c.m_v - a.m_v);
    if (normal != nullptr) *normal = Direction3D(cross, tol);
    return cross.magnitude() / 2.0;
}

} // namespace ORVANE_DATABASE
