// The triangle-triangle test and the slicer's wrapper, against the cutting triangle of the
// plane z = 0: (-1000, -1000, 0), (1000, -1000, 0), (0, 1500, 0).
#include "slicing/profiler_access.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>

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

}  // namespace
