#include "Direction3D.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"
#include "expect_near.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace ORVANE_DATABASE;

namespace {


// Squared distance to the segment or line by the textbook projection, the reference for
// Point3D::distanceSqr away from its tolerance bands.
double referenceDistanceSqr(Point3D const &p, Point3D const &a, Point3D const &b, bool segment) {
    Vector3D const d = b.vector() - a.vector();
    double tau = ((p.vector() - a.vector()) * d) / (d * d);
    if (segment) tau = std::max(0.0, std::min(1.0, tau));
    return p.distanceSqr(a + d * tau);
}

Point3D along(Point3D const &p, Point3D const &q, double s) {
    return p + (q.vector() - p.vector()) * s;
}

} // namespace

TEST(PointMeasures, SegmentAndLineDistance) {
    Tolerance const tol;
    Point3D const a(0, 0, 0);
    EXPECT_EQ(Point3D(3, 4, 0).distanceSqr(a, a, false, tol), 25.0);   // degenerate line

    std::mt19937 rng(17);
    std::uniform_real_distribution<double> coord(-10.0, 10.0);
    for (int n = 0; n < 1000; ++n) {
        Point3D const p(coord(rng), coord(rng), coord(rng)), s(coord(rng), coord(rng), coord(rng)),
            e(coord(rng), coord(rng), coord(rng));
        for (bool segment : {true, false}) {
            double const want = referenceDistanceSqr(p, s, e, segment);
            EXPECT_NEAR(p.distanceSqr(s, e, segment, tol), want, 1e-9 * (1.0 + want));
        }
    }
}

TEST(PointMeasures, CollinearityRatio) {
    Tolerance const tol;
    Point3D const a(0, 0, 0), b(1, 0, 0);
    double ratio = 42.0;
    EXPECT_TRUE(b.isCollinear(a, b, ratio, tol));
    EXPECT_EQ(ratio, 1.0);
    EXPECT_TRUE(a.isCollinear(a, b, ratio, tol));
    EXPECT_EQ(ratio, 0.0);
    ratio = 42.0;
    EXPECT_FALSE(Point3D(0.5, 1, 0).isCollinear(a, b, ratio, tol));
    EXPECT_EQ(ratio, 42.0);
    EXPECT_FALSE(Point3D(7, 1, 0).isCollinear(a, a, nullptr, tol));   // degenerate line

    // The ratio reproduces the point along an arbitrary line.
    Point3D const p(1, 2, 3), q(4, -2, 3);
    for (double want : {-3.5, -0.25, 0.3, 0.999, 1.7, 12.0}) {
        ASSERT_TRUE(along(p, q, want).isCollinear(p, q, ratio, tol)) << want;
        EXPECT_NEAR(ratio, want, 1e-12);
    }
}

TEST(PointMeasures, ClosestPointsOfSegments) {
    Tolerance const tol;
    double s = -7, u = -7;
    EXPECT_FALSE(Point3D::closestPoints(Point3D(0, 0, 0), Point3D(1, 0, 0), Point3D(0, 1, 0),
                                        Point3D(2, 1, 0), s, u, true, tol));
    EXPECT_EQ(s, -7.0);   // untouched
    EXPECT_EQ(u, -7.0);

    // A segment against a point, clamped: TriangleQueries' closest-point reference in tests/mesh.
    Point3D const p(3, 2, 0);
    EXPECT_TRUE(Point3D::closestPoints(Point3D(0, 0, 0), Point3D(1, 0, 0), p, p, s, u, false, tol));
    EXPECT_DOUBLE_EQ(s, 3.0);
    EXPECT_TRUE(Point3D::closestPoints(p, p, Point3D(0, 0, 0), Point3D(0, 4, 0), s, u, true, tol));
    EXPECT_EQ(s, 0.0);
    EXPECT_DOUBLE_EQ(u, 0.5);

    // Clamped parameters give points no farther apart than any sampled pair of the segments.
    std::mt19937 rng(23);
    std::uniform_real_distribution<double> coord(-5.0, 5.0);
    for (int n = 0; n < 200; ++n) {
        Point3D const p1(coord(rng), coord(rng), coord(rng)), q1(coord(rng), coord(rng), coord(rng)),
            p2(coord(rng), coord(rng), coord(rng)), q2(coord(rng), coord(rng), coord(rng));
        ASSERT_TRUE(Point3D::closestPoints(p1, q1, p2, q2, s, u, true, tol));
        ASSERT_GE(s, 0.0);
        ASSERT_LE(s, 1.0);
        double const best = along(p1, q1, s).distance(along(p2, q2, u));
        double sampled = 1e300;
        for (int i = 0; i <= 40; ++i)
            for (int j = 0; j <= 40; ++j)
                sampled = std::min(sampled, along(p1, q1, i / 40.0).distance(along(p2, q2, j / 40.0)));
        EXPECT_LE(best, sampled + 1e-9);
    }
}

TEST(PointMeasures, AreaAndNormal) {
    Tolerance const tol;
    Direction3D normal;
    EXPECT_DOUBLE_EQ(Point3D::area(Point3D(0, 0, 0), Point3D(2, 0, 0), Point3D(0, 2, 0), normal, tol),
                     2.0);
    EXPECT_TRUE(vectorNear(normal.vector3D(), Vector3D(0, 0, 1), 0.0));
    Point3D::area(Point3D(0, 0, 0), Point3D(0, 2, 0), Point3D(2, 0, 0), normal, tol);
    EXPECT_TRUE(vectorNear(normal.vector3D(), Vector3D(0, 0, -1), 0.0));
    EXPECT_EQ(Point3D::area(Point3D(0, 0, 0), Point3D(1, 1, 1), Point3D(2, 2, 2), normal, tol), 0.0);
    EXPECT_TRUE(vectorNear(normal.vector3D(), Vector3D(), 0.0));
    EXPECT_DOUBLE_EQ(Point3D::area(Point3D(0, 0, 0), Point3D(2, 0, 0), Point3D(0, 2, 0), nullptr, tol),
                     2.0);
}
