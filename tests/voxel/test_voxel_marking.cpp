#include "Plane.h"
#include "Point3D.h"
#include "Triangulation.h"
#include "Voxelization.h"
#include "support/test_mesh.h"
#include "voxel_test_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Access = VoxelizationTestAccess;
using Cells = std::vector<std::array<std::size_t, 3>>;

namespace {

// Marks a voxelizer built on the test mesh (which hands over its Triangulation).
Cells mark(TestMesh &m, std::size_t nx, std::size_t ny, std::size_t nz) {
    Voxelization v(m.release(), nx, ny, nz, nullptr);
    EXPECT_TRUE(Access::markVoxels(v));
    return Access::markedCells(v);
}

// The marking written out step by step, without the production code's shortcuts (no early
// outs or guarded divisions, every corner distance first, the crossing test at every straddle).
Cells referenceMarking(Triangulation &mesh, std::size_t const n[3]) {
    double const t = 1e-13;
    auto seg = [t](Vector3D s0, Vector3D s1, Vector3D t0, Vector3D t1, Vector3D t2) {
        Vector3D w = s0 - t0, e1 = t1 - t0, e2 = t2 - t0, d = s1 - s0, nn = e1 ^ e2;
        double u = ((e2 ^ d) * w) / ((e2 ^ d) * e1), v = ((e1 ^ d) * w) / ((e1 ^ d) * e2), r = -(nn * w) / (nn * d);
        return (std::fabs(u) < t || u > t) && (std::fabs(v) < t || v > t) && (u + v + t < 1 || std::fabs(1 - (u + v)) < t) &&
               (std::fabs(r) < t || r > t) && (r + t < 1 || std::fabs(1 - r) < t);
    };
    auto inside = [t](Vector3D p, Vector3D t1, Vector3D t2, Vector3D t3) {
        Vector3D e1 = t2 - t1, e2 = t3 - t1, nn = e1 ^ e2, w = p - t1;
        double b = (nn * (w ^ e2)) / nn.magnitudeSqr(), g = ((w ^ e1) * (-nn)) / nn.magnitudeSqr();
        return (std::fabs(b) < t || b > t) && (std::fabs(g) < t || g > t) && (b + g + t < 1 || std::fabs(1 - (b + g)) < t);
    };
    static int const faces[12][3] = {{1, 0, 2}, {1, 2, 3}, {7, 6, 4}, {7, 4, 5}, {1, 3, 7}, {1, 7, 5},
                                     {2, 0, 4}, {2, 4, 6}, {3, 2, 6}, {3, 6, 7}, {5, 4, 0}, {5, 0, 1}};
    BoundingBox3D const box = *mesh.getBoundingBox();
    double o[3], d[3];
    for (int a = 0; a < 3; ++a) {
        o[a] = box.lower().vector()[a];
        d[a] = std::fabs(box.lower().vector()[a] - box.upper().vector()[a]) / double(n[a]);
    }
    std::vector<unsigned char> grid(n[0] * n[1] * n[2], 0);
    for (Triangle *tri : mesh.triangleList()) {
        Vector3D p[3];
        for (int c = 0; c < 3; ++c) p[c] = mesh.vertex(tri, c)->point()->vector();
        Plane const plane(p[0].positionVector(), p[1].positionVector(), p[2].positionVector());
        int first[3], last[3];
        double lo[3], hi[3];
        for (int a = 0; a < 3; ++a) {
            lo[a] = std::min({p[0][a], p[1][a], p[2][a]});
            hi[a] = std::max({p[0][a], p[1][a], p[2][a]});
            first[a] = std::min(std::max(d[a] == 0 ? 0 : int((lo[a] - o[a]) / d[a]), 0), int(n[a]) - 1);
            last[a] = std::min(std::max(d[a] == 0 ? 0 : int((hi[a] - o[a]) / d[a]), 0), int(n[a]) - 1);
        }
        for (int i = first[0]; i <= last[0]; ++i)
            for (int j = first[1]; j <= last[1]; ++j)
                for (int k = first[2]; k <= last[2]; ++k) {
                    unsigned char &cell = grid[(i * n[1] + j) * n[2] + k];
                    int const idx[3] = {i, j, k};
                    Vector3D c[8];
                    double s[8];
                    for (int q = 0; q < 8; ++q) {
                        for (int a = 0; a < 3; ++a) c[q][a] = ((q >> (2 - a)) & 1) * d[a] + (idx[a] * d[a] + o[a]);
                        s[q] = plane.distance(c[q].positionVector());
                    }
                    bool reject = false, contain = true;
                    for (int a = 0; a < 3; ++a) {
                        reject = reject || c[0][a] - t > hi[a] || lo[a] > c[7][a] + t;
                        contain = contain && c[0][a] - t <= lo[a] && lo[a] <= c[7][a] + t && c[0][a] - t <= hi[a] &&
                                  hi[a] <= c[7][a] + t;
                    }
                    if (cell || reject) continue;
                    if (contain) cell = 1;
                    for (int q = 0, ref = 0; q < 8 && !cell; ++q) {
                        if (std::fabs(s[q]) < t) {
                            cell = inside(c[q], p[0], p[1], p[2]);
                            continue;
                        }
                        int const side = s[q] > t ? 1 : -1;
                        if (ref == 0) ref = side;
                        else if (side != ref)
                            for (auto const &f : faces)
                                for (int e = 0; e < 3; ++e)
                                    cell = cell || seg(p[e], p[(e + 1) % 3], c[f[0]], c[f[1]], c[f[2]]) ||
                                           seg(c[f[e]], c[f[(e + 1) % 3]], p[0], p[1], p[2]);
                    }
                }
    }
    Cells cells;
    for (std::size_t v = 0; v < grid.size(); ++v)
        if (grid[v]) cells.push_back({v / (n[1] * n[2]), v / n[2] % n[1], v % n[2]});
    return cells;
}

} // namespace

// A cell set worked out by hand for a boundary rule that the reference shares.
TEST(VoxelMarking, HandWorkedBoundaryCell) {
    // Lowest x exactly 1.0 with dx = 0.5 gives i0 = 2: cell 1, whose upper face the triangle
    // lies in, is never tested.
    TestMesh wall;
    wall.addVertex(1, 0, 0), wall.addVertex(1, 1, 0), wall.addVertex(1, 0, 1);
    wall.addVertex(0, 0, 0), wall.addVertex(2, 1, 1);   // only widen the box
    wall.addTriangle(0, 1, 2);
    EXPECT_EQ(mark(wall, 4, 1, 1), (Cells{{2, 0, 0}}));
}

TEST(VoxelMarking, MatchesTheStepByStepReferenceOnRandomMeshes) {
    std::mt19937 rng(7);
    // Coordinates on a coarse lattice make in-plane corners, axis-parallel and coplanar edges
    // and degenerate triangles common, so that every tolerance rule is exercised.
    std::uniform_int_distribution<int> coord(0, 8), count(1, 6);
    for (int round = 0; round < 60; ++round) {
        TestMesh m;
        for (int v = 0; v < 12; ++v)
            m.addVertex(coord(rng) * 0.25, coord(rng) * 0.25, round % 5 == 0 ? 0.0 : coord(rng) * 0.25);
        for (int t = 0; t < 10; ++t) m.addTriangle(rng() % 12, rng() % 12, rng() % 12);
        std::size_t const n[3] = {std::size_t(count(rng)), std::size_t(count(rng)), std::size_t(count(rng))};
        Cells const expected = referenceMarking(m.mesh(), n);
        EXPECT_EQ(mark(m, n[0], n[1], n[2]), expected) << "round " << round;
    }
}

TEST(VoxelMarking, OddInputStaysInBounds) {
    // Counts the grid cannot have give an empty grid: marking succeeds and marks nothing.
    std::size_t const big = std::size_t(std::numeric_limits<std::int32_t>::max()) + 1;
    for (auto n : {std::array<std::size_t, 3>{0, 2, 2}, {2, big, 1}, {SIZE_MAX / 2, 4, 4}}) {
        auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
        Voxelization v(cube->release(), n[0], n[1], n[2], nullptr);
        EXPECT_TRUE(Access::markVoxels(v) && Access::markedCells(v).empty());
    }

    // NaN and overflowing coordinates: indices clamp; the NaN triangle marks nothing.
    TestMesh odd;
    odd.addVertex(0, 0, 0), odd.addVertex(1, 0, 0), odd.addVertex(std::nan(""), 0.5, 0.5);
    odd.addTriangle(0, 1, 2);
    EXPECT_TRUE(mark(odd, 3, 3, 3).empty());
    TestMesh far;
    far.addVertex(-1e308, 0, 0), far.addVertex(1e308, 1, 0), far.addVertex(0, 0, 1e300);
    far.addTriangle(0, 1, 2);   // the box's extent overflows to infinity
    mark(far, 4, 4, 4);

    TestMesh broken;   // a corner naming no vertex
    broken.addVertex(0, 0, 0), broken.addVertex(1, 1, 1);
    broken.addTriangle(0, 1, 7);
    Voxelization v(broken.release(), 2, 2, 2, nullptr);
    EXPECT_THROW(Access::markVoxels(v), std::out_of_range);
}

TEST(VoxelMarking, CopiesShareGridAndMesh) {
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    auto other = TestMesh::box(Point3D(0, 0, 0), Point3D(2, 2, 2));
    Voxelization a(cube->release(), 2, 2, 2, nullptr);
    Voxelization b(a);
    Voxelization c(other->release(), 3, 3, 3, nullptr);
    c = b;   // c's own mesh and grid go here; the sanitizers check that nothing leaks or repeats
    Voxelization &alias = c;
    c = alias;
    ASSERT_TRUE(Access::markVoxels(a));
    EXPECT_EQ(Access::markedCells(b).size(), 8u);
    EXPECT_EQ(Access::markedCells(c).size(), 8u);
}
