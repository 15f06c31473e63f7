#include "Plane.h"
#include "Point3D.h"
#include "Triangulation.h"
#include "Voxelization.h"
#include "support/mesh_folder.h"
#include "support/test_mesh.h"
#include "voxel/CellTriangleTest.h"
#include "voxel/SeparatingAxes.h"
#include "voxel/TriangleCellTest.h"
#include "voxel_test_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
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

namespace {

// Triangles and grids made to hit every boundary of the cell test: corners on cell corners,
// edges and faces (computed exactly as the grid computes them), points within 1e-13 of
// those or a few units of rounding off, slivers and collinear or repeated corners, planes
// tilted by tiny angles off the axes and off cell diagonals, flat grids (a size of 0),
// coordinates far from the origin.
struct NastyCase {
    voxel::CellGeometry g;
    int count[3];
    Point3D p[3];
};

NastyCase nastyCase(std::mt19937 &rng) {
    std::uniform_real_distribution<double> unit(0, 1);
    double const sizes[] = {0.5, 1.0 / 3, 0.0, 1e-3, 7.3, 1.0};
    double const origins[] = {0.0, -2.5, 1e6 + 0.1, 0.1};
    NastyCase c;
    for (int a = 0; a < 3; ++a) {
        c.count[a] = 1 + int(rng() % 4);
        c.g.origin[a] = origins[rng() % 4];
        c.g.size[a] = sizes[rng() % (a == 2 ? 6 : 5) == 2 && a < 2 ? 5 : rng() % 6];
    }
    auto coordinate = [&](int a) {
        double const lattice = c.g.corner(a, 0, double(rng() % (c.count[a] + 1)));
        double v = lattice;
        switch (rng() % 6) {
        case 0: break;                                                    // on a lattice plane
        case 1: {   // within the tolerance of a lattice plane, or just beyond the filter's margin
            double const gaps[] = {0, 1e-13, 2e-13, 1e-12, 1e-11, 1e-10};
            v = lattice + (rng() % 2 ? 1 : -1) * gaps[rng() % 6];
            break;
        }
        case 2: v = std::nextafter(lattice, rng() % 2 ? 1e300 : -1e300); break;
        case 3: v = lattice + c.g.size[a] * 0.5; break;                   // a cell's middle
        default: v = c.g.origin[a] + c.g.size[a] * c.count[a] * (unit(rng) * 1.2 - 0.1);
        }
        return v;
    };
    auto point = [&] { return Point3D(coordinate(0), coordinate(1), coordinate(2)); };
    c.p[0] = point();
    c.p[1] = point();
    switch (rng() % 6) {
    case 0: {   // sliver: nearly on the line through the other two
        double const t = unit(rng) * 2 - 0.5;
        Vector3D const along = c.p[1].vector() - c.p[0].vector();
        c.p[2] = c.p[0] + (along * t + Vector3D(1e-14, -3e-15, 2e-13) * double(rng() % 3));
        break;
    }
    case 1: c.p[2] = rng() % 2 ? c.p[0] : c.p[1]; break;   // repeated corner
    case 2: {   // tilted by a tiny angle off an axis or a diagonal
        c.p[2] = c.p[0];
        int const a = int(rng() % 3);
        c.p[2].vector()[(a + 1) % 3] += c.g.size[(a + 1) % 3] + 1.0;
        c.p[1] = c.p[0];
        c.p[1].vector()[a] += 1.0;
        c.p[1].vector()[(a + 2) % 3] += 1e-12 * double(rng() % 3);
        if (rng() % 2) c.p[1].vector()[(a + 1) % 3] += 1.0;
        break;
    }
    default: c.p[2] = point();
    }
    return c;
}

} // namespace

// The prepared cell test against the test written step by step, cell by cell over the whole
// grid and a margin of cells around it; and the claim the separating axes rest on: a cell
// they set apart is one the crossing test rejects, also just beyond the margin (every other
// round uses triangles in general position about one cell in size, which the filter serves).
TEST(VoxelMarking, PreparedCellTestMatchesTheStepByStepTest) {
    std::mt19937 rng(41);
    std::uniform_real_distribution<double> unit(-1, 1);
    long cells = 0, touching = 0, active = 0, separated = 0;
    for (int round = 0; round < 8000; ++round) {
        NastyCase c = nastyCase(rng);
        if (round % 2)
            for (Point3D &p : c.p)
                for (int a = 0; a < 3; ++a) p.vector()[a] = c.g.origin[a] + c.g.size[a] * (1.5 + unit(rng));
        voxel::CellDirections const directions(c.g);
        voxel::TriangleCellTest test(c.g, directions, c.p[0], c.p[1], c.p[2]);
        voxel::SeparatingAxes const axes(c.p[0], c.p[1], c.p[2], voxel::TriangleFrame(c.p[0], c.p[1], c.p[2]),
                                         test.lower(), test.upper(), directions);
        active += axes.active();
        Plane const plane(c.p[0], c.p[1], c.p[2]);
        Point3D const lo = test.lower().positionVector(), hi = test.upper().positionVector();
        for (int i = -1; i <= c.count[0]; ++i)
            for (int j = -1; j <= c.count[1]; ++j)
                for (int k = -1; k <= c.count[2]; ++k) {
                    bool const want = voxel::cellTouchesTriangle(c.g, lo, hi, plane, c.p[0], c.p[1], c.p[2], i, j, k);
                    ASSERT_EQ(test.touches(i, j, k), want) << "round " << round << " cell " << i << " " << j << " " << k;
                    ++cells, touching += want;
                    int const idx[3] = {i, j, k};
                    double v[2][3];
                    for (int a = 0; a < 3; ++a)
                        for (int b = 0; b < 2; ++b) v[b][a] = c.g.corner(a, b, double(idx[a]));
                    if (!axes.active() || !axes.separated(v[0], v[1])) continue;
                    ++separated;
                    Point3D corners[8];
                    for (int q = 0; q < 8; ++q) corners[q] = Point3D(v[q >> 2 & 1][0], v[q >> 1 & 1][1], v[q & 1][2]);
                    ASSERT_FALSE(voxel::triangleCrossesCell(c.p[0], c.p[1], c.p[2], corners)) << "round " << round;
                }
    }
    EXPECT_GT(touching, cells / 20);
    EXPECT_GT(active, 8000 / 3);
    EXPECT_GT(separated, 20000);
}

// Real meshes, a CAD part with axis-parallel faces among them, against the step-by-step
// reference.
TEST(VoxelMarking, RealMeshesMatchTheReference) {
    int compared = 0;
    for (char const *name : {"fandisk.off", "elephant.off"})
        for (std::size_t n : {std::size_t(17), std::size_t(40)}) {
            std::unique_ptr<TestMesh> mesh = orvane_test::meshFromFolder(name);
            if (!mesh) continue;
            std::size_t const counts[3] = {n, n + 3, n - 5};
            Cells const want = referenceMarking(mesh->mesh(), counts);
            EXPECT_EQ(mark(*mesh, counts[0], counts[1], counts[2]), want) << name << " " << n;
            ++compared;
        }
    if (compared == 0) GTEST_SKIP() << "no mesh folder (scripts/fetch-meshes.sh fills it)";
}

// The index by multiplication against the index by division, on quotients near and away from
// integers (lattice planes, the grid's ends), beyond the grid, huge and NaN.
TEST(VoxelMarking, CellIndexByInverseMatchesTheDivision) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> unit(0, 1);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    long checked = 0;
    for (int round = 0; round < 4000; ++round) {
        double const size = std::ldexp(0.5 + unit(rng), int(unit(rng) * 40) - 20);
        std::int32_t const count = round % 3 ? std::int32_t(1 + unit(rng) * 300) : std::int32_t(1 + unit(rng) * 2e9);
        double const inverse = 1.0 / size;
        double const countAsDouble = double(count);
        for (int s = 0; s < 50; ++s) {
            double const plane = std::floor(unit(rng) * (countAsDouble + 2)) - 1;
            double offsets[] = {plane * size, std::nextafter(plane * size, 1e300), std::nextafter(plane * size, -1e300),
                                (plane + unit(rng)) * size, (plane + 1e-7 * (unit(rng) - 0.5)) * size,
                                unit(rng) * countAsDouble * size * 2, -unit(rng) * size, 1e300, -1e300, nan};
            for (double offset : offsets) {
                ASSERT_EQ(voxel::cellIndex(offset, size, inverse, count), voxel::cellIndex(offset, size, count))
                    << offset << " " << size << " " << count;
                ++checked;
            }
        }
    }
    EXPECT_EQ(voxel::cellIndex(1.0, 0.0, 0.0, 5), 0);
    EXPECT_GT(checked, 100000);
}

// The face-triangle crossing test against the general one on the faces of random cells, with
// segments that end on the faces' edges and planes as well as anywhere around them.
TEST(VoxelMarking, FaceTriangleCrossingMatchesTheGeneralTest) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> unit(-1, 2);
    long crossing = 0, checked = 0;
    for (int round = 0; round < 20000; ++round) {
        double lo[3], hi[3];
        for (int a = 0; a < 3; ++a) {
            lo[a] = std::ldexp(unit(rng), round % 5 == 0 ? 30 : 0);
            hi[a] = round % 17 == 0 && a == 1 ? lo[a] : lo[a] + std::ldexp(0.25 + unit(rng) + 1.0, round % 7 - 3);
        }
        Point3D corners[8];
        for (int q = 0; q < 8; ++q)
            corners[q] = Point3D(q & 4 ? hi[0] : lo[0], q & 2 ? hi[1] : lo[1], q & 1 ? hi[2] : lo[2]);
        // Ends on a lattice of the cell's quarters (edges, planes, diagonals) or anywhere.
        auto end = [&]() {
            Point3D p;
            for (int a = 0; a < 3; ++a) {
                double const f = rng() % 2 ? std::floor(unit(rng) * 4) / 4 : unit(rng);
                p.vector()[a] = lo[a] + f * (hi[a] - lo[a]);
            }
            return p;
        };
        static int const axisOfFace[6] = {0, 0, 2, 2, 1, 1};
        for (int s = 0; s < 4; ++s) {
            Point3D const s0 = end(), s1 = s % 2 ? end() : corners[rng() % 8];
            for (int f = 0; f < 12; ++f) {
                int const *t = voxel::kCellFaceTriangles[f];
                bool const want = voxel::segmentCrossesTriangle(
                    s0, s1, voxel::TriangleFrame(corners[t[0]], corners[t[1]], corners[t[2]]), voxel::kCellEps);
                bool const got = voxel::segmentCrossesFaceTriangle(s0.vector(), s1.vector(), corners[t[0]].vector(),
                                                                   corners[t[1]].vector(), corners[t[2]].vector(),
                                                                   axisOfFace[f / 2], voxel::kCellEps);
                ASSERT_EQ(got, want) << "round " << round << " face triangle " << f;
                crossing += want;
                ++checked;
            }
        }
    }
    EXPECT_GT(crossing, checked / 20);
}
