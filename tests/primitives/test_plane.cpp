#include "Matrix4x4.h"
#include "Plane.h"
#include "Tolerance.h"
#include "expect_near.h"

#include <gtest/gtest.h>

#include <random>

using namespace ORVANE_DATABASE;

// The normal's orientation by point order: TriangleQueries.PlaneWeightsAndPositions in
// tests/mesh.
TEST(Plane, ThroughThreePointsDistanceSignAndCollinearPoints) {
    Plane const lifted(Point3D(0, 0, 5), Point3D(1, 0, 5), Point3D(0, 1, 5));
    EXPECT_EQ(lifted.distance(), -5.0);
    Plane const collinear(Point3D(0, 0, 0), Point3D(1, 1, 1), Point3D(2, 2, 2));
    EXPECT_TRUE(vectorNear(collinear.normal().vector3D(), Vector3D(), 0.0));
}

TEST(Plane, ClassificationIntersectionAndProjections) {
    Tolerance const tol;
    Plane z5(Direction3D(0, 0, 1, tol), -5);
    EXPECT_EQ(z5.distance(Point3D(0, 0, 7)), 2.0);
    EXPECT_EQ(z5.distance(Point3D(0, 0, 3)), -2.0);
    EXPECT_EQ(z5.pointPosition(Point3D(0, 0, 5 + 1e-14), tol), Plane::POS_ON);
    // A signed distance of exactly +t is neither on nor strictly above.
    Plane const z0(Direction3D(0, 0, 1, tol), 0);
    EXPECT_EQ(z0.pointPosition(Point3D(0, 0, 1e-13), tol), Plane::POS_BELOW);
    EXPECT_EQ(z0.pointPosition(Point3D(0, 0, -1e-13), tol), Plane::POS_BELOW);
    EXPECT_EQ(z0.pointPosition(Point3D(0, 0, 2e-13), tol), Plane::POS_ABOVE);
    EXPECT_EQ(Plane().pointPosition(Point3D(1, 2, 3), tol), Plane::POS_ON);

    EXPECT_TRUE(pointNear(z5.intersection(Point3D(0, 0, 0), Point3D(0, 0, 1), tol),
                          Point3D(0, 0, 5)));   // beyond the segment: not clamped
    EXPECT_TRUE(pointNear(z5.intersection(Point3D(0, 0, 0), Point3D(1, 0, 0), tol),
                          Point3D(0, 0, 0), 0.0));   // parallel: the first point
    EXPECT_TRUE(pointNear(z5.intersection(Point3D(1, 1, 4), Point3D(3, 5, 6), tol),
                          Point3D(2, 3, 5)));

    EXPECT_TRUE(pointNear(z5.pointProjection(Point3D(1, 2, 3)), Point3D(1, 2, 0), 0.0));
}

TEST(Plane, ToXYTransformationOnWorkedPlanes) {
    Tolerance const tol;
    Matrix4x4 const up = Plane(Direction3D(0, 0, 1, tol), -5).toXYTransformation(tol);
    EXPECT_TRUE(up == Matrix4x4::translation(0, 0, -5));

    Matrix4x4 const side = Plane(Direction3D(1, 0, 0, tol), -2).toXYTransformation(tol);
    EXPECT_TRUE(vectorNear(Vector3D(2, 3, 4).transformVector(side), Vector3D(-4, 3, 0)));

    // Normal straight down: the half turn about +X reverses it, so z = 3 still maps to z = 0.
    Matrix4x4 const down = Plane(Direction3D(0, 0, -1, tol), 3).toXYTransformation(tol);
    EXPECT_TRUE(vectorNear(Vector3D(1, 2, 3).transformVector(down), Vector3D(1, -2, 0)));
}

TEST(Plane, ToXYTransformationFlattensRandomPlanes) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> coord(-20.0, 20.0);
    Tolerance const tol;
    for (int n = 0; n < 300; ++n) {
        Point3D const a(coord(rng), coord(rng), coord(rng)), b(coord(rng), coord(rng), coord(rng)),
            c(coord(rng), coord(rng), coord(rng));
        Plane plane(a, b, c);
        if (n % 10 == 0) plane = Plane(Direction3D(0, 0, n % 20 == 0 ? 1 : -1, tol), coord(rng));
        Matrix4x4 const m = plane.toXYTransformation(tol);
        Matrix4x4 rotation = m;
        rotation(2, 3) = 0;
        EXPECT_TRUE(vectorNear(plane.normal().vector3D().transformVector(rotation),
                               Vector3D(0, 0, 1), 1e-9));
        Matrix4x4 back = m;
        ASSERT_TRUE(back.inverse(tol));
        for (Point3D const &p : {a, b, c, a.mid(b)}) {
            Point3D const onPlane = plane.closestPoint(p);
            Vector3D const flat = onPlane.vector().transformVector(m);
            EXPECT_NEAR(flat.k(), 0.0, 1e-9);
            EXPECT_TRUE(vectorNear(flat.transformVector(back), onPlane.vector(), 1e-9));
        }
    }
}
