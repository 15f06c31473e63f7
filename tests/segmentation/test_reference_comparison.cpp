// segmentize, findStrongEdges and the one-pass createFaces against the plain procedures of
// segmentation_reference.h, bit for bit, on random meshes with what the engine has fast
// paths for (creases at the threshold, borders, non-manifold fins, degenerate triangles,
// exact and near-duplicate corners within and across the 1e-9 band, a rim finer than it,
// odd coordinates, a triangle listed twice) and on real meshes from the mesh folder.
#include "segmentation_reference.h"
#include "segmentation_support.h"
#include "support/mesh_folder.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;

namespace {

double const kNaN = std::numeric_limits<double>::quiet_NaN();

template <class T, std::size_t N>
T pick(std::mt19937 &rng, T const (&values)[N]) { return values[rng() % N]; }

// A random mesh: boxes, a strip folded by angles at the thresholds, fins,
// degenerate triangles, corners moved to copies of their point at offsets around the band.
std::unique_ptr<TestMesh> randomMesh(std::mt19937 &rng, int round) {
    auto m = std::make_unique<TestMesh>();
    for (int b = 0, n = 1 + rng() % 4; b < n; ++b) {
        Point3D const lo(rng() % 5, rng() % 5, rng() % 5);
        m->appendBox(lo, Point3D(lo.x() + 1 + rng() % 2, lo.y() + 1, lo.z() + 0.5 + rng() % 3 * 0.5));
    }
    double const folds[] = {29.999999, 30, 30.000001, 49.9999999, 50.0000001, 5, 179.5};
    double x = 0, z = 0, heading = 0;
    std::size_t a = m->addVertex(0, -10, 0), b = m->addVertex(0, -9, 0);
    std::vector<std::array<std::size_t, 3>> corners;
    for (int k = 0; k < 6; ++k, heading += pick(rng, folds) * 3.141592653589793 / 180) {
        x += std::cos(heading), z += std::sin(heading);
        std::size_t c = m->addVertex(x, -10, z), d = m->addVertex(x, -9, z);
        corners.push_back({a, c, d}), corners.push_back({a, d, b});
        a = c, b = d;
    }
    for (Triangle *t : m->mesh().triangleList()) corners.push_back({t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)});
    std::size_t const welded = corners.size();
    for (int k = 0; k < 3; ++k) {   // a fin on an edge, a corner named twice, a sliver
        auto t = corners[rng() % welded];
        corners.push_back({t[1], t[0], m->addVertex(rng() % 7, -1, 3)});
        corners.push_back({t[0], t[0], t[1]});
        Point3D const &p = *m->mesh().vertexList()[t[2]]->point();
        corners.push_back({t[2], m->addVertex(p.x() + 1e-14, p.y(), p.z()), t[0]});
    }
    double const offsets[] = {0, 1e-10, -4e-10, 9.9e-10, 1e-9, -1e-9, 1.5e-9, 2e-9, -2.9e-9, 3.1e-9, 1e-7, -0.0};
    for (auto &t : corners)
        for (std::size_t &c : t)
            if (round % 2 && rng() % 5 == 0) {
                Point3D const p = *m->mesh().vertexList()[c]->point();
                c = m->addVertex(p.x() + pick(rng, offsets), p.y() + pick(rng, offsets), p.z() + pick(rng, offsets));
            }
    if (round % 4 == 2)   // a fan whose rim steps 0.6e-9 in x while y jumps: LessThan is not transitive
        for (std::size_t k = 1, hub = m->addVertex(0.5, 30, 0); k < 6; ++k)
            corners.push_back({hub, m->addVertex((k - 1) * 0.6e-9, 31 + (k % 3) * 0.25, 0), m->addVertex(k * 0.6e-9, 31 - (k % 2) * 0.5, 0)});
    if (round % 5 == 4) {   // NaN, infinite, huge and negative-zero coordinates
        double const odd[] = {kNaN, std::numeric_limits<double>::infinity(), 1e300, -0.0};
        std::size_t p = m->addVertex(pick(rng, odd), 40, 0), q = m->addVertex(41, pick(rng, odd), 0);
        corners.push_back({p, q, m->addVertex(41, 41, 0)});
    }
    auto mesh = std::make_unique<TestMesh>();
    for (Vertex *v : m->mesh().vertexList()) mesh->addVertex(v->point()->x(), v->point()->y(), v->point()->z());
    for (auto const &t : corners) mesh->addTriangle(t[0], t[1], t[2]);
    if (round % 7 == 3) mesh->mesh().addTriangle(mesh->mesh().triangleList()[rng() % corners.size()]);   // listed twice
    return mesh;
}

void expectSameAsReference(TestMesh &mesh, double angle) {
    Segmentation s(mesh.get(), angle);
    SegmentationTestAccess access(s);
    std::set<Edge *> strong;
    bool const found = access.findStrongEdges(strong).isOk();
    EXPECT_EQ(found, !strong.empty());
    EXPECT_EQ(strong, orvane_test::referenceStrongEdges(mesh.mesh(), angle));

    std::string failure;
    std::vector<orvane_test::FaceRecord> const expected = orvane_test::referenceSegmentize(mesh.mesh(), angle, &failure);
    std::set<Triangulation *> faces;
    Outcome result = s.segmentize(faces);
    EXPECT_EQ(result.mesg(), failure);
    EXPECT_TRUE(orvane_test::recordsOf(faces) == expected);
    orvane_test::releaseFaces(faces);

    // The one-pass operations, driven pass by pass, give the same faces.
    std::vector<Triangle *> const &list = mesh.mesh().triangleList();
    std::set<Triangle *> unassigned(list.begin(), strong.empty() ? list.begin() : list.end());
    for (std::size_t k = 0; !unassigned.empty(); ++k) {
        Triangulation *face = *faces.insert(new Triangulation()).first;
        access.createFaces(unassigned, strong, *face);
        orvane_test::FaceRecord const made = orvane_test::recordOf(*face);
        EXPECT_TRUE(k < expected.size() && made.points == expected[k].points && made.triangles == expected[k].triangles) << k;
        orvane_test::releaseFaces(faces);
    }
}

}  // namespace

TEST(SegmentationReference, RandomMeshesBitForBit) {
    std::mt19937 rng(20240611);
    double const angles[] = {30, 30, 50, 0, -5, 89.99999, 90, 179, 180, 22.5, kNaN};
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        expectSameAsReference(*randomMesh(rng, round), pick(rng, angles));
    }
}

TEST(SegmentationReference, RealMeshes) {
    int compared = 0;
    for (char const *name : {"fandisk.off", "cube-shuffled.off", "blobby_3cc.off", "mech-holes-shark.off"})
        if (auto mesh = orvane_test::meshFromFolder(name)) {
            SCOPED_TRACE(name);
            expectSameAsReference(*mesh, 30);
            ++compared;
        }
    if (compared == 0) GTEST_SKIP() << "none of the meshes in " << orvane_test::meshFolder() << " (scripts/fetch-meshes.sh)";
}
