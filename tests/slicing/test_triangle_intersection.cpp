// The triangle-triangle test and the slicer's wrapper, against the cutting triangle of the
// plane z = 0: (-1000, -1000, 0), (1000, -1000, 0), (0, 1500, 0).
#include "slicing/CuttingPlanes.h"
#include "slicing/TriangleIntersection.h"
#include "slicing/profiler_access.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;

namespace {

// The wrapper's segment, or nothing on "No Intersection" (the segment then stays null).
std::vector<Point3D> cut(Point3D a, Point3D b, Point3D c) {
    auto mesh = orvane_test::TestMesh::tetrahedron();
    Direction3D up(0, 0, 1);
    Profiler slicer(mesh->get(), &up, 1);
    Point3D plane[3] = {Point3D(-1000, -1000, 0), Point3D(1000, -1000, 0), Point3D(0, 1500, 0)};
    Point3D triangle[3] = {a, b, c};
    std::pair<Point3D *, Point3D *> s(nullptr, nullptr);
    Outcome r = ProfilerTestAccess::intersect(slicer, plane, triangle, s);
    if (!r.isOk()) {
        EXPECT_TRUE(r.mesg() == "No Intersection" && s.first == nullptr && s.second == nullptr);
        return {};
    }
    std::vector<Point3D> ends{*s.first, *s.second};
    return delete s.first, delete s.second, ends;
}

// Exactly the segment a-b, in either direction.
bool segmentIs(std::vector<Point3D> const &s, Point3D const &a, Point3D const &b) {
    auto eq = [](Point3D const &x, Point3D const &y) { return x.x() == y.x() && x.y() == y.y() && x.z() == y.z(); };
    return s.size() == 2 && ((eq(s[0], a) && eq(s[1], b)) || (eq(s[0], b) && eq(s[1], a)));
}

TEST(TriangleIntersection, SidesCrossingsAndTouches) {
    EXPECT_TRUE(cut({0, 0, 1}, {1, 0, 1}, {0, 1, 2}).empty());      // above
    EXPECT_TRUE(cut({0, 0, -1}, {1, 0, -1}, {0, 1, -2}).empty());   // below
    EXPECT_TRUE(segmentIs(cut({0, 0, -1}, {1, 0, 1}, {0, 1, 1}), {0.5, 0, 0}, {0, 0.5, 0}));
    EXPECT_TRUE(cut({0, 0, 0}, {1, 0, 1}, {0, 1, 1}).empty());   // a corner touches: degenerate
    EXPECT_TRUE(segmentIs(cut({0, 0, 0}, {1, 1, 1}, {1, -1, -1}), {0, 0, 0}, {1, 0, 0}));   // corner to edge
    // An edge in the plane is the segment, from the triangles on both sides of it.
    EXPECT_TRUE(segmentIs(cut({0, 0, 0}, {2, 0, 0}, {0, 1, 1}), {0, 0, 0}, {2, 0, 0}));
    EXPECT_TRUE(segmentIs(cut({2, 0, 0}, {0, 0, 0}, {0, 1, -1}), {0, 0, 0}, {2, 0, 0}));
    EXPECT_TRUE(cut({0, 0, 0}, {1, 0, 0}, {0, 1, 0}).empty());                // coplanar
    EXPECT_TRUE(cut({5000, 0, -1}, {5001, 0, 1}, {5000, 1, 1}).empty());      // beyond reach
}

TEST(TriangleIntersection, CoplanarFlagAndArgumentOrder) {
    double v0[3] = {-1000, -1000, 0}, v1[3] = {1000, -1000, 0}, v2[3] = {0, 1500, 0};
    double p[3] = {7, 7, 7}, q[3], r1[3], r2[3];
    int coplanar = 5;
    double c0[3] = {0, 0, 0}, c1[3] = {1, 0, 0}, c2[3] = {0, 1, 0};
    EXPECT_EQ(tri_tri_intersect_with_isectline_double(v0, v1, v2, c0, c1, c2, &coplanar, p, q), 0);
    EXPECT_TRUE(coplanar == 5 && p[0] == 7);   // early return: nothing written

    // Swapped crossing triangles give the same end points.
    double u0[3] = {0, 0, -1}, u1[3] = {1, 0, 1}, u2[3] = {0, 1, 1};
    ASSERT_EQ(tri_tri_intersect_with_isectline_double(v0, v1, v2, u0, u1, u2, &coplanar, p, q), 1);
    EXPECT_EQ(coplanar, 0);
    ASSERT_EQ(tri_tri_intersect_with_isectline_double(u0, u1, u2, v0, v1, v2, &coplanar, r1, r2), 1);
    auto same = [](double const *x, double const *y) { return std::equal(x, x + 3, y); };
    EXPECT_TRUE((same(p, r1) && same(q, r2)) || (same(p, r2) && same(q, r1)));

    // The coplanar rule reads the first triangle against the second's unnormalised plane: a
    // tiny triangle's values for the big one stay below 1e-13, so (big, tiny) is coplanar
    // while (tiny, big) finds the crossing.
    double t0[3] = {0, 0, -1e-9}, t1[3] = {1e-9, 0, 1e-9}, t2[3] = {0, 1e-9, 1e-9};
    EXPECT_EQ(tri_tri_intersect_with_isectline_double(v0, v1, v2, t0, t1, t2, &coplanar, p, q), 0);
    EXPECT_EQ(tri_tri_intersect_with_isectline_double(t0, t1, t2, v0, v1, v2, &coplanar, p, q), 1);
}

// The shortcut for triangles deep inside the cutting triangle, with and without the products
// shared by planes of one normal, against the full test, on random planes and boxes and
// triangles of every awkward kind inside the boxes: crossing, with a corner or a side in the
// plane, nearly parallel to it, tiny, slivers and degenerate. Outcome, end points (bit for
// bit) and sides must agree.
TEST(TriangleIntersection, InsideShortcutMatchesFullTest) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0), positive(0.0, 1.0);
    std::uniform_int_distribution<int> kind(0, 7);
    int shortcut = 0, cuts = 0;
    double const shortSquare = slicing::shortSegmentSquare();
    for (int round = 0; round < 400; ++round) {
        Vector3D n = round % 4 == 0 ? Vector3D(0, 0, 1) : Vector3D(unit(rng), unit(rng), unit(rng));
        if (round % 4 == 1) n = Vector3D(1e-3 * unit(rng), 1, 0);
        n.normalize(Tolerance());
        double const distance = 5.0 * unit(rng);
        Vector3D x, y;
        slicing::arbitraryAxes(n, Vector3D(0, 1, 0), Vector3D(0, 0, 1), x, y);
        Point3D corners[3];
        slicing::cuttingTriangle(x, y, n, distance, corners);
        double v[3][3];
        for (int c = 0; c < 3; ++c) corners[c].vector().doubleArray(v[c]);
        slicing::FirstTriangle cutter;
        slicing::prepareFirstTriangle(v[0], v[1], v[2], cutter);

        // A box around a point of the plane; triangles inside it.
        double const size = std::pow(10.0, -3.0 + 3.5 * positive(rng));
        Point3D const centre = (n * distance).positionVector() + Vector3D(unit(rng), unit(rng), unit(rng)) * (3 * size);
        double lo[3], hi[3];
        for (int a = 0; a < 3; ++a) lo[a] = centre.vector()[a] - 4 * size, hi[a] = centre.vector()[a] + 4 * size;
        slicing::InsideCut inside;
        inside.prepare(cutter, lo, hi);
        ASSERT_TRUE(inside.enabled);
        auto inBox = [&](Vector3D const &offset) { return centre + offset * size; };
        auto onPlane = [&](Point3D p) { return p - n * (n * p.vector() - distance); };
        for (int t = 0; t < 200; ++t) {
            Point3D u[3];
            for (Point3D &c : u) c = inBox(Vector3D(unit(rng), unit(rng), unit(rng)));
            switch (kind(rng)) {
            case 1: u[0] = onPlane(u[0]); break;                          // a corner in the plane
            case 2:                                                       // a side in the plane
                u[0] = onPlane(u[0]), u[1] = onPlane(u[1]);
                if (t % 2) u[2] = u[0].mid(u[1]) + n * (std::pow(10.0, -6.0 - 12.0 * positive(rng)) * size);
                break;
            case 3: {                                                     // nearly parallel
                double const tilt = std::pow(10.0, -14.0 * positive(rng));
                for (Point3D &c : u) c = onPlane(c) + n * (tilt * size * unit(rng));
                break;
            }
            case 4: {                                                     // tiny
                double const tiny = std::pow(10.0, -4.0 - 12.0 * positive(rng));
                for (int k = 1; k < 3; ++k) u[k] = u[0] + Vector3D(unit(rng), unit(rng), unit(rng)) * (tiny * size);
                u[0] = onPlane(u[0]);
                break;
            }
            case 5: u[2] = u[0].mid(u[1]); break;                        // collinear
            case 6: u[2] = u[1]; break;                                   // repeated corner
            case 7: u[2] = u[0].mid(u[1]) + Vector3D(1, -1, 1) * (std::pow(10.0, -9.0 - 8.0 * positive(rng)) * size); break;   // sliver
            default: break;
            }
            // The shape alone, with products shared by planes of this normal, and the full test.
            slicing::SecondTriangle plain, products;
            for (int k = 0; k < 3; ++k) u[k].vector().doubleArray(plain.corners + 3 * k);
            products = plain;
            plain.prepare(nullptr);
            products.prepare(cutter.n);
            shortcut += inside.applies(products.planeSquare, products.dirSquare);
            double p[3][3], q[3][3];
            int sd[3][2];
            bool const full = slicing::cutSegment(cutter, slicing::InsideCut(), false, plain, shortSquare, p[0], q[0], sd[0]);
            bool const fast = slicing::cutSegment(cutter, inside, false, plain, shortSquare, p[1], q[1], sd[1]);
            bool const shared = slicing::cutSegment(cutter, inside, true, products, shortSquare, p[2], q[2], sd[2]);
            ASSERT_TRUE(fast == full && shared == full) << round << " " << t;
            if (!full) continue;
            ++cuts;
            for (int k = 1; k < 3; ++k) {
                ASSERT_TRUE(std::equal(p[k], p[k] + 3, p[0]) && std::equal(q[k], q[k] + 3, q[0])) << round << " " << t;
                ASSERT_TRUE(sd[k][0] == sd[0][0] && sd[k][1] == sd[0][1]) << round << " " << t;
            }
        }
    }
    EXPECT_GT(shortcut, 30000);   // the shortcut is the usual path
    EXPECT_GT(cuts, 12000);

    // Boxes reaching out of the cutting triangle, or too large for their distance from its
    // sides, or far away, leave it to the full test.
    double v[3][3] = {{-1000, -1000, 0}, {1000, -1000, 0}, {0, 1500, 0}};
    slicing::FirstTriangle cutter;
    slicing::prepareFirstTriangle(v[0], v[1], v[2], cutter);
    slicing::InsideCut inside;
    auto enabledFor = [&](double x, double y, double half) {
        double lo[3] = {x - half, y - half, -half}, hi[3] = {x + half, y + half, half};
        inside.prepare(cutter, lo, hi);
        return inside.enabled;
    };
    EXPECT_TRUE(enabledFor(0, 0, 20));
    EXPECT_FALSE(enabledFor(0, -990, 5));     // 10 from the bottom side: closer than 2 diagonals
    EXPECT_FALSE(enabledFor(0, -1000, 1));    // across it
    EXPECT_FALSE(enabledFor(0, 0, 300));      // its diagonal too large for the room left
    EXPECT_FALSE(enabledFor(0, 0, std::numeric_limits<double>::quiet_NaN()));
}

}  // namespace
