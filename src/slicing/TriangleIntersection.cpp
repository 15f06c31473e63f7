#include "slicing/TriangleIntersection.h"

#include "Profiler.h"

#include <cmath>
#include <limits>
#include <memory>

namespace ORVANE_DATABASE {

namespace slicing {

double shortSegmentSquare() {
    static double const square = [] {
        double const inf = std::numeric_limits<double>::infinity();
        double s = 1e-20;
        while (std::sqrt(s) >= 1e-10) s = std::nextafter(s, 0.0);
        while (std::sqrt(s) < 1e-10) s = std::nextafter(s, inf);
        return s;
    }();
    return square;
}

}  // namespace slicing

int tri_tri_intersect_with_isectline_double(double *const V0, double *const V1, double *const V2,
                                            double *const U0, double *const U1, double *const U2,
                                            int *coplanar, double *const isect1, double *const isect2) {
    slicing::FirstTriangle first;
    slicing::prepareFirstTriangle(V0, V1, V2, first);
    return slicing::intersectPrepared(first, U0, U1, U2, coplanar, isect1, isect2);
}

Outcome Profiler::findTriangleIntersection(Point3D *const first, Point3D *const second,
                                           std::pair<Point3D *, Point3D *> &segment) {
    double v[3][3], u[3][3];
    for (int c = 0; c < 3; ++c) {
        first[c].vector().doubleArray(v[c]);
        second[c].vector().doubleArray(u[c]);
    }
    int coplanar = 0;
    double p[3], q[3];
    if (tri_tri_intersect_with_isectline_double(v[0], v[1], v[2], u[0], u[1], u[2], &coplanar, p, q) == 0)
        return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "No Intersection");
    auto a = std::make_unique<Point3D>(p);
    auto b = std::make_unique<Point3D>(q);
    if (a->distance(*b) < 1e-10) {
        segment = {nullptr, nullptr};
        return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "No Intersection");
    }
    segment = {a.release(), b.release()};
    return Outcome();
}

}  // namespace ORVANE_DATABASE
