#include "Direction3D.h"
#include "Matrix4x4.h"
#include "Tolerance.h"
#include "expect_near.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace ORVANE_DATABASE;

TEST(Matrix4x4, ConstructionAccessAndComparison) {
    Tolerance const tol;
    EXPECT_TRUE(Matrix4x4().isNull(tol));
    Matrix4x4 m = Matrix4x4::identity();
    EXPECT_FALSE(m.set(4, 0, 1.0));
    EXPECT_FALSE(m.set(0, -1, 1.0));
    EXPECT_TRUE(m.isIdentity(tol));

    double flat[16], rows[4][4];
    for (int n = 0; n < 16; ++n) flat[n] = rows[n / 4][n % 4] = n + 1;
    Matrix4x4 const a(flat), b(rows);
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a(1, 2), 7.0);   // row-major: element (1, 2) at 4 * 1 + 2
    EXPECT_EQ(a.transposeMatrix()(2, 1), 7.0);

    Matrix4x4 near = a;
    near(2, 2) += 5e-14;
    EXPECT_TRUE(near == a);
    near(2, 2) += 1e-13;
    EXPECT_TRUE(near != a);
    Tolerance coarse;
    coarse.useCoarse = true;
    EXPECT_TRUE(near.isEqual(a, coarse));
}

TEST(Matrix4x4, ProductsAndRotation) {
    Tolerance const tol;
    double const pi = std::acos(-1.0);
    Matrix4x4 const rz = Matrix4x4::rotation(Direction3D(0, 0, 1, tol), pi / 2);
    Matrix4x4 const rx = Matrix4x4::rotation(Direction3D(1, 0, 0, tol), pi / 2);
    EXPECT_TRUE(vectorNear(Vector3D(1, 0, 0).transformVector(rz), Vector3D(0, 1, 0)));
    // The product applies the right factor first (and rx turns +y to +z).
    EXPECT_TRUE(vectorNear(Vector3D(1, 0, 0).transformVector(rx * rz), Vector3D(0, 0, 1)));

    // A zero axis is used as given: a uniform scaling by cos(angle).
    Matrix4x4 expected = Matrix4x4::identity();
    expected(0, 0) = expected(1, 1) = expected(2, 2) = std::cos(pi / 3);
    EXPECT_TRUE(Matrix4x4::rotation(Direction3D(), pi / 3) == expected);
}

TEST(Matrix4x4, InverseAndSingularRule) {
    Tolerance const tol;
    Matrix4x4 nearlySingular = Matrix4x4::identity();
    nearlySingular(3, 3) = 1e-14;
    Matrix4x4 const before = nearlySingular;
    EXPECT_FALSE(nearlySingular.inverse(tol));
    EXPECT_TRUE(nearlySingular == before);
    EXPECT_TRUE(nearlySingular.inverseMatrix(tol).isNull(tol));

    // The threshold applies to the raw determinant, so a coarse tolerance rejects more.
    Matrix4x4 small;
    small(0, 0) = small(1, 1) = small(2, 2) = small(3, 3) = 1e-2;   // det 1e-8
    EXPECT_NEAR(small.inverseMatrix(tol)(2, 2), 100.0, 1e-9);
    Tolerance coarse;
    coarse.useCoarse = true;
    EXPECT_TRUE(small.inverseMatrix(coarse).isNull(tol));
    EXPECT_FALSE(small.inverse(coarse));

    // Swapping two rows of the identity flips the determinant's sign.
    double swapped[16] = {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 2};
    EXPECT_EQ(Matrix4x4(swapped).determinant(), -6.0);

    // Adjugate over determinant against the defining property, on random matrices.
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> value(-5.0, 5.0);
    for (int n = 0; n < 200; ++n) {
        Matrix4x4 m;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) m(r, c) = value(rng);
        if (std::fabs(m.determinant()) < 1e-3) continue;
        Matrix4x4 const inv = m.inverseMatrix(tol);
        EXPECT_TRUE((m * inv).isIdentity(coarse));
        ASSERT_TRUE(m.inverse(tol));
        EXPECT_TRUE(m == inv);
    }
}
