// Cutting planes, cutting triangles and the cell index.
#include "slicing/profiler_access.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;

namespace {

std::vector<double> distances(Triangulation *mesh, Direction3D d, int n) {
    Profiler p(mesh, &d, n);
    return ProfilerTestAccess::planeDistances(p);
}

TEST(CuttingPlanes, DistancesAndTriangles) {
    auto tall = TestMesh::box(Point3D(-1, -1, -10), Point3D(1, 1, 10));
    Direction3D z(0, 0, 1);
    EXPECT_EQ(distances(tall->get(), z, 4), (std::vector<double>{-7.5, -2.5, 2.5, 7.5}));
    EXPECT_EQ(distances(tall->get(), z, 5), (std::vector<double>{-8, -4, 0, 4, 8}));
    EXPECT_TRUE(distances(tall->get(), z, 0).empty() && distances(tall->get(), z, -3).empty());
    // Off-centre box, oblique direction: ascending, outermost planes at 5/6 of the half extent.
    auto offset = TestMesh::box(Point3D(3, 4, 5), Point3D(5, 8, 6));
    std::vector<double> d = distances(offset->get(), Direction3D(1, 1, 1), 6);
    ASSERT_TRUE(d.size() == 6 && std::is_sorted(d.begin(), d.end()));
    EXPECT_NEAR(d.front(), (15.5 - 3.5 * 5 / 6) / std::sqrt(3.0), 1e-12);
    EXPECT_NEAR(d.back(), (15.5 + 3.5 * 5 / 6) / std::sqrt(3.0), 1e-12);

    Profiler p(tall->get(), &z, 1);
    std::vector<Point3D> t = ProfilerTestAccess::cuttingTriangle(p, Plane(Direction3D(0, 0, 1), 5));
    EXPECT_TRUE(t[0] == Point3D(-1000, -1000, 5) && t[1] == Point3D(1000, -1000, 5) && t[2] == Point3D(0, 1500, 5));
    Direction3D tilted(1, 2, 3);   // in the plane, same size
    t = ProfilerTestAccess::cuttingTriangle(p, Plane(tilted, -7));
    for (Point3D const &c : t) EXPECT_NEAR(tilted * c.vector(), -7, 1e-9);
    EXPECT_NEAR(t[0].distance(t[1]), 2000, 1e-9);
    EXPECT_NEAR(t[0].distance(t[2]), std::hypot(1000, 2500), 1e-9);
}

TEST(CellIndex, ResolutionAndBadCorners) {
    Direction3D z(0, 0, 1);
    for (auto [triangles, steps] : {std::pair<int, std::size_t>{0, 3}, {64, 3}, {65, 4}, {125, 4}, {126, 5}, {1000, 9}, {1001, 10}}) {
        TestMesh m;
        m.addVertex(0, 0, 0);
        for (int t = 0; t < triangles; ++t) m.addTriangle(0, 0, 0);
        Profiler p(m.get(), &z, 1);
        EXPECT_EQ(ProfilerTestAccess::grid(p).cellCount(0), steps) << triangles;
    }
    TestMesh bad;
    bad.addVertex(0, 0, 0);
    bad.addTriangle(0, 0, 3);
    EXPECT_THROW(Profiler(bad.get(), &z, 1), std::out_of_range);
}

TEST(CellIndex, LayersQueriesAndFailures) {
    auto cube = TestMesh::box(Point3D(-1, -1, -1), Point3D(1, 1, 1));
    VoxelGrid grid(cube->get(), 3, 3, 3);
    Triangle top(0, 1, 2), middle(0, 1, 2), low(0, 1, 2);
    // Touching the upper face z = 1 registers in layer 2, not in the extra layer 3.
    EXPECT_TRUE(grid.insertTriangle(&top, BoundingBox3D(Point3D(-1, -1, 0.9), Point3D(1, 1, 1))).isOk());
    EXPECT_TRUE(grid.insertTriangle(&middle, BoundingBox3D(Point3D(0, 0, -0.1), Point3D(0.1, 0.1, 0.1))).isOk());
    EXPECT_TRUE(grid.insertTriangle(&low, BoundingBox3D(Point3D(-1, -1, -1), Point3D(1, 1, -0.9))).isOk());
    EXPECT_TRUE(grid.cell(0, 0, 2).contains(&top) && !grid.cell(0, 0, 3).contains(&top));
    EXPECT_EQ(grid.insertTriangle(&low, BoundingBox3D(Point3D(2, 2, 2), Point3D(3, 3, 3))).mesg(), "OUT_OF_BOUNDING_BOX");

    std::unordered_set<Triangle *> found;   // a flat query: one layer
    EXPECT_TRUE(grid.findTriangles(BoundingBox3D(Point3D(-5, -5, 0), Point3D(5, 5, 0)), found).isOk());
    EXPECT_EQ(found, (std::unordered_set<Triangle *>{&middle}));
    found = {&top};   // partly outside: clamped; adds to the set
    EXPECT_TRUE(grid.findTriangles(BoundingBox3D(Point3D(-1e300, -5, -5), Point3D(0, 5, -0.95)), found).isOk());
    EXPECT_EQ(found, (std::unordered_set<Triangle *>{&top, &low}));
    found.clear();
    EXPECT_EQ(grid.findTriangles(BoundingBox3D(Point3D(0, 0, 2), Point3D(0, 0, 3)), found).mesg(), "OUT_OF_BOUNDING_BOX");
    EXPECT_EQ(grid.findTriangles(BoundingBox3D(Point3D(0.9, 0.9, 0), Point3D(1, 1, 0.1)), found).mesg(), "ENTITY_NOT_EXIST");

    // The empty mesh: a 4 x 4 x 4 grid of empty cells.
    TestMesh empty;
    Direction3D z(0, 0, 1);
    Profiler p(empty.get(), &z, 1);
    EXPECT_EQ(ProfilerTestAccess::grid(p).findTriangles(BoundingBox3D(Point3D()), found).mesg(), "ENTITY_NOT_EXIST");
    EXPECT_EQ(ProfilerTestAccess::grid(p).findTriangles(BoundingBox3D(Point3D(1, 1, 1)), found).mesg(), "OUT_OF_BOUNDING_BOX");
}

// The slicer's division-free membership test against registrationBlock + meets, with box
// coordinates on cell borders and a few ulps off them, NaNs and out-of-box values.
TEST(CellIndex, MembershipThresholdsMatchDivisions) {
    auto odd = TestMesh::box(Point3D(-1.1, 0.3, -7), Point3D(3.7, 0.30000001, 1e6));
    VoxelGrid grid(odd->get(), 7, 3, 11);
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> pick(0, 11), ulps(-3, 3);
    std::uniform_real_distribution<double> unit(-0.2, 1.2);
    auto coordinate = [&](int a) {
        double const base = grid.boxLower().vector()[a], size = grid.cellSize(a);
        int const mode = pick(rng);
        if (mode == 0) return std::numeric_limits<double>::quiet_NaN();
        if (mode < 4) return base + unit(rng) * size * grid.cellCount(a);
        double x = base + (pick(rng) % (grid.cellCount(a) + 2)) * size;
        for (int k = ulps(rng); k != 0; k += k > 0 ? -1 : 1) x = std::nextafter(x, k > 0 ? 1e300 : -1e300);
        return x;
    };
    for (int round = 0; round < 3000; ++round) {
        CellBlock query;
        for (int a = 0; a < 3; ++a) {
            std::size_t n = grid.cellCount(a);
            query.lower[a] = pick(rng) % (n + 1);
            query.upper[a] = std::max(query.lower[a], static_cast<std::size_t>(pick(rng) % (n + 1)));
        }
        IndexMembership const offered(grid, query);
        for (int box = 0; box < 20; ++box) {
            Point3D a(coordinate(0), coordinate(1), coordinate(2)), b(coordinate(0), coordinate(1), coordinate(2));
            BoundingBox3D const cb = VoxelGrid::cornerBox(a, b, b);
            double lo[3] = {cb.lower().x(), cb.lower().y(), cb.lower().z()};
            double hi[3] = {cb.upper().x(), cb.upper().y(), cb.upper().z()};
            CellBlock block;
            ASSERT_EQ(offered.offers(lo, hi), grid.registrationBlock(cb, block) && block.meets(query)) << round;
        }
    }
}

}  // namespace
