#include "Direction3D.h"
#include "Matrix4x4.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Vector3D.h"
#include "expect_near.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;

namespace {
double const kPi = std::acos(-1.0);
}

TEST(Tolerance, ThresholdInForce) {
    Tolerance tol;
    EXPECT_EQ(tol.value(), 1e-13);
    tol.useCoarse = true;
    EXPECT_EQ(tol.value(), 1e-7);
    // A coarse threshold of its own does not put it in force.
    Tolerance const bsp(1e-5);
    EXPECT_DOUBLE_EQ(bsp.coarseScale, 1e6);
    EXPECT_EQ(bsp.value(), 1e-13);
}

TEST(Direction3D, NormalisationThresholds) {
    Tolerance const tol;
    EXPECT_TRUE(vectorNear(Direction3D(1e-14, 0, 0, tol).vector3D(), Vector3D(), 0.0));
    EXPECT_TRUE(vectorNear(Direction3D(3, 0, 4, tol).vector3D(), Vector3D(0.6, 0, 0.8)));

    // set() keeps a valid direction when given a too-short vector; the constructor does not.
    Direction3D d(1, 0, 0, tol);
    d.set(0, 0, 0, tol);
    EXPECT_TRUE(vectorNear(d.vector3D(), Vector3D(1, 0, 0), 0.0));

    // Assignment from a vector uses the fixed 1e-13, whatever tolerance is around.
    Tolerance coarse;
    coarse.useCoarse = true;
    EXPECT_TRUE(vectorNear(Direction3D(Vector3D(1e-9, 0, 0), coarse).vector3D(), Vector3D(), 0.0));
    d = Vector3D(1e-9, 0, 0);
    EXPECT_TRUE(vectorNear(d.vector3D(), Vector3D(1, 0, 0), 0.0));
    d = Vector3D(9e-14, 0, 0);
    EXPECT_TRUE(vectorNear(d.vector3D(), Vector3D(), 0.0));

    Vector3D atThreshold(0, 0, 1e-13), below(0, 0, 9e-14);
    EXPECT_TRUE(atThreshold.normalize(tol));
    EXPECT_EQ(atThreshold.k(), 1.0);
    EXPECT_FALSE(below.normalize(tol));
    EXPECT_EQ(below.k(), 9e-14);
}

TEST(Vector3D, EqualityThresholdsAreStrictAndDifferByType) {
    EXPECT_TRUE(Vector3D(1, 0, 0) == Vector3D(1 + 5e-11, 0, 0));
    EXPECT_FALSE(Point3D(1, 0, 0) == Point3D(1 + 5e-11, 0, 0));
    EXPECT_TRUE(Vector3D(0, 0, 0) != Vector3D(0, 1e-10, 0));
    EXPECT_TRUE(Point3D(0, 0, 0) == Point3D(0, 0, 9e-14));
    EXPECT_FALSE(Point3D(0, 0, 0) == Point3D(0, 0, 1e-13));

    Tolerance tol;
    Point3D origin, p(1e-13, 0, 0);
    EXPECT_FALSE(origin.isEqual(p, tol));
    EXPECT_FALSE(origin.isEqualPoint(p, 1e-13));
    tol.useCoarse = true;
    EXPECT_TRUE(origin.isEqual(p, tol));
    // Per-axis box, not a ball: (0.9t, 0.9t, 0.9t) is equal although its length exceeds t.
    EXPECT_TRUE(Vector3D().isEqual(Vector3D(9e-8, 9e-8, 9e-8), tol));

    // Every inequality is the negation of its equality, NaN included.
    Vector3D const v(std::numeric_limits<double>::quiet_NaN(), 0, 0);
    EXPECT_TRUE(v != v);
    EXPECT_TRUE(v.isNotEqual(v, tol));
}

TEST(Vector3D, ScalarsAndTransforms) {
    // An int scalar is converted to double first: no integer division.
    EXPECT_TRUE(vectorNear(Vector3D(1, 2, 3) / 2, Vector3D(0.5, 1, 1.5), 0.0));
    // Transforms add the translation column and ignore the bottom row.
    Matrix4x4 m = Matrix4x4::translation(1, -2, 3);
    m(3, 0) = 5;
    EXPECT_TRUE(vectorNear(Vector3D().transformVector(m), Vector3D(1, -2, 3), 0.0));
}

TEST(Vector3D, AngleIsUnsignedWithOrientedAxis) {
    Tolerance const tol;
    Direction3D axis;
    EXPECT_EQ(Vector3D(2, 0, 0).angle(Vector3D(5, 0, 0), axis, tol), 0.0);
    EXPECT_TRUE(vectorNear(axis.vector3D(), Vector3D(), 0.0));
    EXPECT_DOUBLE_EQ(Vector3D(2, 0, 0).angle(Vector3D(-5, 0, 0), axis, tol), kPi);
    EXPECT_TRUE(vectorNear(axis.vector3D(), Vector3D(), 0.0));

    axis = Direction3D(0, 1, 0, tol);
    EXPECT_EQ(Vector3D().angle(Vector3D(1, 0, 0), axis, tol), -1.0);
    EXPECT_TRUE(vectorNear(axis.vector3D(), Vector3D(0, 1, 0), 0.0));   // untouched

    // Turning a by the angle about the axis reaches b's direction.
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> coord(-10.0, 10.0);
    for (int n = 0; n < 500; ++n) {
        Vector3D const a(coord(rng), coord(rng), coord(rng)), b(coord(rng), coord(rng), coord(rng));
        double const theta = a.angle(b, axis, tol);
        Vector3D turned = a.transformVector(Matrix4x4::rotation(axis, theta));
        turned.normalize(tol);
        EXPECT_TRUE(vectorNear(turned, b.direction(tol).vector3D(), 1e-9));
    }
}
