#include "BoundingBox3D.h"
#include "Tolerance.h"
#include "expect_near.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace ORVANE_DATABASE;

TEST(BoundingBox3D, GrowthFromEmpty) {
    BoundingBox3D box;
    box.add(Point3D(1, 2, 3));
    EXPECT_FALSE(box.isEmpty());
    EXPECT_TRUE(pointNear(box.lower(), Point3D(1, 2, 3), 0.0));   // not stretched to the origin
    EXPECT_TRUE(pointNear(box.upper(), Point3D(1, 2, 3), 0.0));

    BoundingBox3D const a(Point3D(0, 0, 0), Point3D(1, 1, 1)), empty;
    EXPECT_TRUE((empty + a) == a);
    EXPECT_FALSE((empty + a).isEmpty());
    EXPECT_TRUE((a + empty) == a);
    EXPECT_TRUE((empty + empty).isEmpty());

    // Growing point by point and merging boxes agree with plain minima and maxima.
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> coord(-100.0, 100.0);
    BoundingBox3D grown, merged;
    double lo[3] = {1e300, 1e300, 1e300}, hi[3] = {-1e300, -1e300, -1e300};
    for (int n = 0; n < 100; ++n) {
        Point3D const p(coord(rng), coord(rng), coord(rng));
        grown.add(p);
        merged.add(BoundingBox3D(p));
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], p.vector()[k]);
            hi[k] = std::max(hi[k], p.vector()[k]);
        }
    }
    EXPECT_TRUE(grown == BoundingBox3D(Point3D(lo[0], lo[1], lo[2]), Point3D(hi[0], hi[1], hi[2])));
    EXPECT_TRUE(merged == grown);
}

TEST(BoundingBox3D, CornersAndMeasures) {
    Point3D pts[2] = {Point3D(3, 0, 5), Point3D(1, 4, 2)};
    BoundingBox3D const box(pts);
    EXPECT_TRUE(pointNear(box[0], Point3D(1, 0, 2), 0.0));
    EXPECT_TRUE(pointNear(box[1], Point3D(3, 4, 5), 0.0));
    EXPECT_EQ(box.length(), 2.0);
    EXPECT_EQ(box.width(), 4.0);
    EXPECT_EQ(box.height(), 3.0);
    EXPECT_TRUE(pointNear(box.corner(BoundingBox3D::XMAX_YMIN_ZMIN), Point3D(3, 0, 2), 0.0));
    EXPECT_TRUE(pointNear(box.corner(BoundingBox3D::XMIN_YMAX_ZMIN), Point3D(1, 4, 2), 0.0));
    EXPECT_TRUE(pointNear(box.corner(static_cast<BoundingBox3D::_CornerType>(8)), Point3D(), 0.0));
    EXPECT_TRUE(pointNear(box.corner(static_cast<BoundingBox3D::_CornerType>(-1)), Point3D(), 0.0));
    EXPECT_TRUE(vectorNear(box.vector(BoundingBox3D::XMIN_YMIN_ZMIN, BoundingBox3D::XMAX_YMAX_ZMAX),
                           box.diagonal(), 0.0));
    EXPECT_TRUE(vectorNear(box.diagonal(), Vector3D(2, 4, 3), 0.0));

    BoundingBox3D const empty;
    EXPECT_TRUE(empty == BoundingBox3D(Point3D()));   // empty flags are not compared
    EXPECT_TRUE(empty.isNotEqual(BoundingBox3D(Point3D(0, 0, 1e-13)), Tolerance()));
}

TEST(BoundingBox3D, ClashAndContainsIncludeTheToleranceBand) {
    Tolerance const tol;
    BoundingBox3D const unit(Point3D(0, 0, 0), Point3D(1, 1, 1));
    EXPECT_TRUE(unit.isInClash(BoundingBox3D(Point3D(1, 1, 1), Point3D(2, 2, 2)), tol));
    EXPECT_TRUE(unit.isInClash(BoundingBox3D(Point3D(1 + 1e-14, 0, 0), Point3D(2, 2, 2)), tol));
    EXPECT_FALSE(unit.isInClash(BoundingBox3D(Point3D(1.001, 0, 0), Point3D(2, 2, 2)), tol));
    EXPECT_TRUE(unit.isInClash(Point3D(0.2, 0.2, 0.2), Point3D(0.3, 0.3, 0.3), tol));
    // The corner form takes its points as lower and upper without sorting them.
    EXPECT_FALSE(unit.isInClash(Point3D(0.3, 0.3, 0.3), Point3D(0.2, 0.2, -5), tol));
    Point3D const corners[2] = {Point3D(-1, -1, -1), Point3D(0, 0, 0)};
    EXPECT_TRUE(unit.isInClash(corners, tol));

    EXPECT_TRUE(unit.contains(Point3D(1, 0.5, 0.5), tol));
    EXPECT_TRUE(unit.contains(Point3D(1 + 1e-14, 0.5, 0.5), tol));
    EXPECT_FALSE(unit.contains(Point3D(1.001, 0.5, 0.5), tol));
    Tolerance coarse;
    coarse.useCoarse = true;
    EXPECT_TRUE(unit.contains(Point3D(0.5, 0.5, -5e-8), coarse));
}
