// generateProfile end to end, and against the literal reference slicer on generated meshes.
#include "slicing/profiler_access.h"
#include "support/mesh_folder.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::closed;
using orvane_test::contourDifference;
using orvane_test::releaseContours;
using orvane_test::TestMesh;

namespace {

std::vector<PLC *> slice(Triangulation *mesh, Direction3D d, int n) {
    Profiler p(mesh, &d, n);
    std::vector<PLC *> out;
    EXPECT_TRUE(p.generateProfile(out).isOk());
    return out;
}

// A copy of `source`, every vertex moved by up to `jitter`; `unwelded`: 3 vertices per triangle.
std::unique_ptr<TestMesh> remade(Triangulation &source, double jitter, bool unwelded, unsigned seed) {
    auto m = std::make_unique<TestMesh>();
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> shift(-jitter, jitter);
    auto add = [&](std::size_t v) {
        Point3D const &p = *source.vertexList()[v]->point();
        return m->addVertex(p.x() + shift(rng), p.y() + shift(rng), p.z() + shift(rng));
    };
    for (std::size_t v = 0; !unwelded && v < source.vertexList().size(); ++v) add(v);
    for (Triangle *t : source.triangleList()) {
        std::size_t c[3] = {t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)};
        for (std::size_t &v : c) v = unwelded ? add(v) : v;
        m->addTriangle(c[0], c[1], c[2]);
    }
    return m;
}

bool sameBits(Point3D const &a, Point3D const &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(Profile, Cube) {
    auto cube = TestMesh::box(Point3D(-1, -1, -1), Point3D(1, 1, 1));
    std::vector<PLC *> one = slice(cube->get(), Direction3D(0, 0, 1), 1);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_TRUE(one[0]->getName() == "Slice_1" && one[0]->pointList()->size() == 9 && closed(one[0]));
    int corners = 0;
    for (Point3D *p : *one[0]->pointList()) corners += p->z() == 0 && std::fabs(p->x()) == 1 && std::fabs(p->y()) == 1;
    EXPECT_GE(corners, 4);
    releaseContours(one);

    // Appending after a contour already there; a second call numbers from Slice_1 again and
    // adds its segments to the slicer's records.
    Direction3D z(0, 0, 1);
    Profiler p(cube->get(), &z, 2);
    PLC *existing = new PLC();
    std::vector<PLC *> out{existing}, again;
    EXPECT_TRUE(p.generateProfile(out).isOk());
    ASSERT_TRUE(out.size() == 3 && out[0] == existing && out[1]->getName() == "Slice_1");
    std::size_t const recorded = ProfilerTestAccess::recordedSegments(p);
    EXPECT_TRUE(p.generateProfile(again).isOk());
    EXPECT_EQ(contourDifference(std::vector<PLC *>(out.begin() + 1, out.end()), again), "");
    EXPECT_EQ(ProfilerTestAccess::recordedSegments(p), 2 * recorded);
    releaseContours(out), releaseContours(again);
}

TEST(Profile, SmallCases) {
    auto twin = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    twin->appendBox(Point3D(2, 0, 0), Point3D(3, 1, 1));

    // Flat mesh (a single triangle) and zero direction: nothing, success.
    TestMesh flat;
    for (int i = 0; i < 3; ++i) flat.addVertex(i & 1, i >> 1, 0);
    flat.addTriangle(0, 1, 2);
    EXPECT_TRUE(slice(flat.get(), Direction3D(0, 0, 1), 5).empty());
    EXPECT_TRUE(slice(twin->get(), Direction3D(0, 0, 0), 3).empty());

    // Copy assignment is a deep copy; self-assignment changes nothing.
    Direction3D z(0, 0, 1), x(1, 0, 0);
    Profiler a(twin->get(), &z, 3), b(flat.get(), &x, 2);
    b = a;
    b = *&b;
    std::vector<PLC *> fromA, fromB;
    a.generateProfile(fromA), b.generateProfile(fromB);
    EXPECT_EQ(contourDifference(fromA, fromB), "");
    releaseContours(fromA), releaseContours(fromB);
}

// Meshes of every kind the slicer meets, in several directions and counts: the engine's
// contours must be exactly the reference's; watertight meshes within reach give closed ones.
TEST(Profile, MatchesReferenceSlicer) {
    std::vector<std::unique_ptr<TestMesh>> meshes;
    auto added = [&](std::unique_ptr<TestMesh> m) -> TestMesh & { return *meshes.emplace_back(std::move(m)); };
    meshes.push_back(TestMesh::sphere(2, 14, 24));
    meshes.push_back(TestMesh::sphere(1, 4, 8));   // rings on the planes of 1 and 3 slices
    meshes.push_back(remade(meshes[0]->mesh(), 0.05, false, 1));
    meshes.push_back(remade(meshes[0]->mesh(), 1e-9, true, 2));   // unwelded, gaps below 1e-8
    meshes.push_back(TestMesh::box(Point3D(-1, -1, -1), Point3D(1, 1, 1)));
    meshes.back()->appendBox(Point3D(-1, -1, -1), Point3D(1, 1, 1));   // duplicated faces
    meshes.push_back(TestMesh::box(Point3D(-2500, -1, -1), Point3D(2500, 1, 1)));   // beyond reach
    meshes.push_back(TestMesh::sphere(300, 10, 16, Point3D(400, 900, -20)));
    TestMesh &soup = added(std::make_unique<TestMesh>());   // a soup with corners on the planes
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> c(-2, 2);
    for (int i = 0; i < 60; ++i) soup.addVertex(c(rng), c(rng), std::round(c(rng) * 2) / 2);
    std::uniform_int_distribution<std::size_t> v(0, 59);
    for (int i = 0; i < 150; ++i) soup.addTriangle(v(rng), v(rng), v(rng));
    meshes.push_back(remade(meshes[1]->mesh(), 0, false, 4));   // a NaN corner
    *meshes.back()->mesh().vertexList()[5]->point() = Point3D(std::numeric_limits<double>::quiet_NaN(), 0, 0);
    // Points moved after they were added: the stale mesh box leaves the moved triangle wholly
    // outside the cell index, which therefore never offers it.
    TestMesh &moved = added(TestMesh::box(Point3D(-1, -1, -1), Point3D(1, 1, 1)));
    for (Point3D p : {Point3D(5, 0, -1), Point3D(6, 0, 1), Point3D(5, 1, 1)})
        *moved.mesh().vertexList()[moved.addVertex(0, 0, 0)]->point() = p;
    moved.addTriangle(8, 9, 10);

    // Two boxes sharing a face: the middle plane (odd counts) holds coplanar faces, their
    // edges and vertices.
    meshes.push_back(TestMesh::box(Point3D(-1, -1, -1), Point3D(1, 1, 0)));
    meshes.back()->appendBox(Point3D(-1, -1, 0), Point3D(1, 1, 1));
    // An open box (no top), a non-manifold book of three pages on one edge beside a bow tie
    // (two triangles meeting in a vertex), and a sphere with degenerate triangles (a repeated
    // corner, three collinear corners) and a duplicated triangle.
    {
        TestMesh &m = added(std::make_unique<TestMesh>());
        for (int q = 0; q < 8; ++q) m.addVertex(q & 1 ? 1 : -1, q & 2 ? 1 : -1, q & 4 ? 1 : -1);
        static const int faces[10][3] = {{0, 2, 1}, {1, 2, 3}, {0, 1, 4}, {1, 5, 4}, {2, 6, 3},
                                         {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
        for (auto const &f : faces) m.addTriangle(f[0], f[1], f[2]);
        TestMesh &n = added(std::make_unique<TestMesh>());
        std::size_t const a = n.addVertex(0, 0, -1), b = n.addVertex(0, 0, 1);
        for (double angle : {0.0, 2.0, 4.0}) n.addTriangle(a, b, n.addVertex(std::cos(angle), std::sin(angle), 0.3));
        std::size_t const centre = n.addVertex(3, 0, 0.1);
        n.addTriangle(centre, n.addVertex(4, -1, 1), n.addVertex(4, 1, 1));
        n.addTriangle(centre, n.addVertex(2, 1, -1), n.addVertex(2, -1, -1));
        TestMesh &d = added(remade(meshes[1]->mesh(), 0, false, 5));
        d.addTriangle(3, 3, 7);
        d.addTriangle(d.addVertex(0.2, 0.2, -0.9), d.addVertex(0.2, 0.2, 0.0), d.addVertex(0.2, 0.2, 0.9));
        Triangle *t = d.mesh().triangleList()[4];
        d.addTriangle(t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2));
    }

    std::vector<Direction3D> directions = {Direction3D(0, 0, 1), Direction3D(1, 1, 1), Direction3D(0.3, -0.7, 0.2),
                                           Direction3D(1, 0, 0), Direction3D(0, 0.01, -1)};
    for (std::size_t m = 0; m < meshes.size(); ++m)
        for (Direction3D &d : directions)
            for (int n : {1, 2, 3, 7, 40}) {
                Profiler fast(meshes[m]->get(), &d, n), literal(meshes[m]->get(), &d, n);
                std::vector<PLC *> a, b;
                std::vector<SegmentEnds> cuts;
                EXPECT_TRUE(fast.generateProfile(a).isOk());
                ProfilerTestAccess::referenceProfile(literal, b, &cuts);
                EXPECT_EQ(contourDifference(a, b), "") << "mesh " << m << " n " << n;
                // The records reproduce every cut, in order.
                ASSERT_EQ(ProfilerTestAccess::recordedSegments(fast), cuts.size());
                for (std::size_t i = 0; i < cuts.size(); ++i) {
                    SegmentEnds const r = ProfilerTestAccess::recordedSegment(fast, i);
                    EXPECT_TRUE(sameBits(r.first, cuts[i].first) && sameBits(r.second, cuts[i].second)) << i;
                }
                for (PLC *c : a) EXPECT_TRUE(m >= 3 || closed(c)) << "mesh " << m << " n " << n;
                bool const partlyCut = m == 5 && n == 1 && d.vector3D().k() == 1;   // beyond reach: open
                EXPECT_TRUE(!partlyCut || (!a.empty() && !closed(a[0])));
                releaseContours(a), releaseContours(b);
            }
}

// Real meshes from the mesh folder (skipped when it is absent), a few planes in three
// directions: the engine against the literal reference, bit for bit. fandisk has sharp
// features and flat faces, open_cube and mesh_with_border are open, degtri_sliding has
// degenerate triangles.
TEST(Profile, RealMeshesMatchReferenceSlicer) {
    int found = 0;
    for (char const *name : {"bunny00.off", "fandisk.off", "open_cube.off", "mesh_with_border.off", "degtri_sliding.off"}) {
        std::unique_ptr<TestMesh> const mesh = orvane_test::meshFromFolder(name);
        if (!mesh) continue;
        TestMesh &m = *mesh;
        ++found;
        for (Direction3D d : {Direction3D(0, 0, 1), Direction3D(1, 1, 1), Direction3D(0.3, -0.7, 0.2)}) {
            int const n = 9;
            Profiler fast(m.get(), &d, n), literal(m.get(), &d, n);
            std::vector<PLC *> a, b;
            EXPECT_TRUE(fast.generateProfile(a).isOk());
            ProfilerTestAccess::referenceProfile(literal, b);
            EXPECT_EQ(contourDifference(a, b), "") << name;
            releaseContours(a), releaseContours(b);
        }
    }
    if (found == 0) GTEST_SKIP() << "no meshes in " << orvane_test::meshFolder();
}

}  // namespace
