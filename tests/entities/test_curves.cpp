// Circle and Ellipse: generated points against a direct parametric reference, placement about
// the centre, and the ownership split (the entity releases its data, the caller the points).
#include "Circle.h"
#include "Ellipse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>
#include <vector>

using namespace ORVANE_DATABASE;

namespace {

constexpr double kTurn = 6.2831852;

// The caller's share: every point once (the last entry repeats the first object).
void releasePoints(std::vector<Point3D *> &list) {
    for (std::size_t n = 0; n + 1 < list.size(); ++n) delete list[n];
    list.clear();
}

// Expects the first four entries at the given points (within 1e-6) and the fifth to repeat
// the first object.
void expectSquare(std::vector<Point3D *> const &pts, std::vector<Point3D> const &expected) {
    ASSERT_EQ(pts.size(), 5u);
    EXPECT_EQ(pts[4], pts[0]);
    for (int n = 0; n < 4; ++n)
        EXPECT_LT(pts[n]->distance(expected[n]), 1e-6) << "point " << n;
}

} // namespace

TEST(Circle, PointsForAxisNormals) {
    Circle c(1.0, new Point3D(0, 0, 0), new Vector3D(0, 0, 1), 4);
    expectSquare(*c.pointList(), {{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}});
    EXPECT_LT(c.getBoundingBox()->lower().distance(Point3D(-1, -1, 0)), 1e-6);
    EXPECT_LT(c.getBoundingBox()->upper().distance(Point3D(1, 1, 0)), 1e-6);
    EXPECT_EQ(c.getName(), "Circle_" + std::to_string(c.getID()));
    Circle defaulted(1.0, new Point3D(0, 0, 0), nullptr, 4);   // the +z normal
    EXPECT_TRUE(*defaulted.pointList()->at(1) == *c.pointList()->at(1));
    Circle one(2.0, new Point3D(0, 0, 0), new Vector3D(0, 0, 5), 1);
    ASSERT_EQ(one.pointList()->size(), 2u);
    EXPECT_EQ(one.pointList()->at(0), one.pointList()->at(1));
    EXPECT_TRUE(*one.pointList()->at(0) == Point3D(2, 0, 0));
    for (Circle *done : {&c, &defaulted, &one}) releasePoints(*done->pointList());
}

TEST(Circle, ZeroSegmentsThrowWithoutLeaking) {
    EXPECT_THROW(Circle(1.0, new Point3D(1, 2, 3), new Vector3D(0, 1, 0), 0), std::out_of_range);
    EXPECT_THROW(Ellipse(new Point3D(), 2.0, 1.0, nullptr, nullptr, 0), std::out_of_range);
    // A failed perpendicularity test generates nothing, so nothing is read and nothing thrown.
    Ellipse skew(new Point3D(), 2.0, 1.0, new Vector3D(0, 0, 1), new Vector3D(1, 0, 1e-3), 0);
    EXPECT_TRUE(skew.pointList()->empty());
    EXPECT_TRUE(skew.getBoundingBox()->isEmpty());
    EXPECT_EQ(skew.getName(), "Ellipse_" + std::to_string(skew.getID()));
}

// Random centres and normals: every point lies at the radius from the centre, in the plane
// through it, one step further counter-clockwise about the normal (so the points' mean is the
// centre).
TEST(Circle, CentredInPlaneAndCounterClockwiseForRandomPlacements) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> coord(-10.0, 10.0);
    for (int trial = 0; trial < 50; ++trial) {
        Point3D const centre(coord(rng), coord(rng), coord(rng));
        // Trial 0 faces straight down, where the plane's frame needs its own axis choice.
        Vector3D n = trial == 0 ? Vector3D(0, 0, -3) : Vector3D(coord(rng), coord(rng), coord(rng));
        std::size_t const count = 3 + trial % 17;
        double const r = 0.5 + trial * 0.1;
        Circle c(r, new Point3D(centre), new Vector3D(n), count);
        n.normalize(Tolerance());
        std::vector<Point3D *> &pts = *c.pointList();
        ASSERT_EQ(pts.size(), count + 1);
        for (std::size_t k = 0; k < count; ++k) {
            Vector3D const a = pts[k]->vector() - centre.vector();
            Vector3D const b = pts[k + 1]->vector() - centre.vector();
            EXPECT_NEAR(a.magnitude(), r, 1e-9 * r);
            EXPECT_NEAR(a * n, 0.0, 1e-9);
            if (k + 1 < count) {
                EXPECT_NEAR(std::atan2((a ^ b) * n, a * b), kTurn / static_cast<double>(count), 1e-9);
            }
        }
        releasePoints(pts);
    }
}

TEST(Circle, CopiesOwnTheirDataWhilePointsOutliveEveryone) {
    Circle *source = new Circle(1.5, new Point3D(1, 1, 1), new Vector3D(0, 1, 0), 6);
    Circle *copy = new Circle(*source);
    EXPECT_EQ(*copy->pointList(), *source->pointList());
    Circle assigned(1.0, new Point3D(), new Vector3D(0, 0, 1), 3);
    releasePoints(*assigned.pointList());
    assigned = *copy;
    EXPECT_EQ(assigned.noOfSeg(), 6u);
    std::vector<Point3D *> points = *source->pointList();
    delete source;   // source first, then the copy: each releases only its own data
    delete copy;
    EXPECT_NEAR(points[3]->distance(Point3D(1, 1, 1)), 1.5, 1e-9);
    releasePoints(points);
}

// The major axis lies along the given direction: compare with c + a cos(phi) m + b sin(phi)
// (n x m) for random normals (p, q, r) and the exactly perpendicular directions (-q, p, 0),
// and for the default normals.
TEST(Ellipse, MajorAxisAlongGivenDirectionForRandomPlacements) {
    std::mt19937 rng(99);
    std::uniform_real_distribution<double> coord(-5.0, 5.0);
    for (int trial = 0; trial < 50; ++trial) {
        double const p = coord(rng), q = coord(rng), r = coord(rng), a = 3.0, b = 1.25;
        Point3D const centre(coord(rng), coord(rng), coord(rng));
        std::size_t const count = 1 + trial % 23;
        bool const defaults = trial == 0;   // no normals given: +z normal, major axis along +x
        Vector3D n = defaults ? Vector3D(0, 0, 1) : Vector3D(p, q, r);
        Vector3D m = defaults ? Vector3D(1, 0, 0) : Vector3D(-q, p, 0);
        Ellipse e(new Point3D(centre), a, b, defaults ? nullptr : new Vector3D(n),
                  defaults ? nullptr : new Vector3D(m), count);
        n.normalize(Tolerance());
        m.normalize(Tolerance());
        std::vector<Point3D *> &pts = *e.pointList();
        ASSERT_EQ(pts.size(), count + 1);
        for (std::size_t k = 0; k < count; ++k) {
            double const phi = static_cast<double>(k) * (kTurn / static_cast<double>(count));
            Vector3D const expected =
                centre.vector() + m * (a * std::cos(phi)) + (n ^ m) * (b * std::sin(phi));
            EXPECT_LT((pts[k]->vector() - expected).magnitude(), 1e-9);
        }
        releasePoints(pts);
    }
}
