// Strong edges and face growing through the public operation, and the fast run against the
// one-pass operations driven the described way.
#include "segmentation_reference.h"
#include "segmentation_support.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>
#include <stdexcept>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;

namespace {

std::map<std::string, Triangulation *> byName(std::set<Triangulation *> const &faces) {
    std::map<std::string, Triangulation *> named;
    for (Triangulation *f : faces) named[f->getName()] = f;
    return named;
}

std::size_t strongCount(TestMesh &mesh, double angle) {
    Segmentation s(mesh.get(), angle);
    std::set<Edge *> strong;
    SegmentationTestAccess(s).findStrongEdges(strong);
    return strong.size();
}

// Appends a copy of `part` to `mesh`.
void append(TestMesh &mesh, TestMesh &part) {
    std::size_t base = mesh.mesh().vertexList().size();
    for (Vertex *v : part.mesh().vertexList()) mesh.addVertex(v->point()->x(), v->point()->y(), v->point()->z());
    for (Triangle *t : part.mesh().triangleList())
        mesh.addTriangle(base + t->vertexIndex(0), base + t->vertexIndex(1), base + t->vertexIndex(2));
}

}  // namespace

TEST(Segmentation, StrongEdges) {
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    EXPECT_EQ(strongCount(*cube, 30), 12u);   // cube edges at pi/2; diagonals flat
    EXPECT_EQ(strongCount(*cube, -1), 18u);   // a negative limit takes every edge

    Segmentation at90(cube->get(), 90);   // pi/2 is not greater than 90 * pi / 180
    std::set<Triangulation *> faces{nullptr};
    Outcome none = at90.segmentize(faces);
    EXPECT_EQ(none.code(), Outcome::FAILURE);
    EXPECT_EQ(none.errorCode(), Outcome::UNKNOWN);
    EXPECT_EQ(none.mesg(), "Strong Edge not found");
    EXPECT_EQ(faces, std::set<Triangulation *>{nullptr});

    TestMesh reversed;   // the cube with its first triangle (0, 2, 1) turned round
    for (int q = 0; q < 8; ++q) reversed.addVertex(q & 1, (q >> 1) & 1, (q >> 2) & 1);
    reversed.addTriangle(0, 1, 2);
    for (std::size_t t = 1; t < 12; ++t) {
        Triangle *src = cube->mesh().triangleList()[t];
        reversed.addTriangle(src->vertexIndex(0), src->vertexIndex(1), src->vertexIndex(2));
    }
    EXPECT_EQ(strongCount(reversed, 30), 13u);
    EXPECT_EQ(strongCount(reversed, 179), 1u);   // only the diagonal, at pi

    TestMesh square;
    square.addVertex(0, 0, 0), square.addVertex(1, 0, 0), square.addVertex(1, 1, 0), square.addVertex(0, 1, 0);
    square.addTriangle(0, 1, 2), square.addTriangle(0, 2, 3);
    EXPECT_EQ(strongCount(square, 30), 4u);
}

TEST(Segmentation, CubeGivesSixNamedFacesSharingItsPoints) {
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    std::set<Triangulation *> faces;
    ASSERT_TRUE(Segmentation(cube->get(), 30).segmentize(faces).isOk());
    auto named = byName(faces);
    ASSERT_EQ(named.size(), 6u);
    for (int i = 1; i <= 6; ++i) {
        Triangulation *f = named["Face-" + std::to_string(i) + "_30"];
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->triangleList().size(), 2u);
        EXPECT_EQ(f->vertexList().size(), 4u);
        // Corner order kept: the normal still points out of the cube.
        Triangle *t = f->triangleList()[0];
        Vector3D a = f->vertex(t, 0)->point()->vector(), b = f->vertex(t, 1)->point()->vector(),
                 c = f->vertex(t, 2)->point()->vector();
        EXPECT_GT(((b - a) ^ (c - a)) * ((a + b + c) / 3.0 - Vector3D(0.5, 0.5, 0.5)), 0.0);
    }
    // Numbers continue from the set's size; the threshold prints as a stream writes it.
    ASSERT_TRUE(Segmentation(cube->get(), 12.3456789).segmentize(faces).isOk());
    EXPECT_TRUE(byName(faces).count("Face-7_12.3457"));
    orvane_test::releaseFaces(faces);   // detaches the shared points: a copied one would leak
}

TEST(Segmentation, NonManifoldCycleAndMergedPoints) {
    // Two triangles folded by 90 degrees along (0,0,0)-(1,0,0), and a third that makes the
    // fold edge non-manifold. Above 90 degrees the edge is not strong and its neighbour cycle
    // brings all three into one face whichever seeds it; at 30 degrees the two triangles
    // first in pointer order judge it.
    TestMesh fold;
    fold.addVertex(0, 0, 0), fold.addVertex(1, 0, 0), fold.addVertex(0, 1, 0), fold.addVertex(0, 0, 1);
    Triangle *flat = fold.addTriangle(0, 1, 2);
    Triangle *upright = fold.addTriangle(1, 0, 3);
    fold.addVertex(0.5, -1, 0);
    Triangle *flatToo = fold.addTriangle(1, 0, 4);
    std::set<Triangulation *> faces;
    ASSERT_TRUE(Segmentation(fold.get(), 100).segmentize(faces).isOk());
    ASSERT_EQ(faces.size(), 1u);
    EXPECT_EQ((*faces.begin())->vertexList().size(), 5u);
    orvane_test::releaseFaces(faces);
    bool flatPairFirst = std::max(flat, flatToo, std::less<Triangle *>()) < upright;
    ASSERT_TRUE(Segmentation(fold.get(), 30).segmentize(faces).isOk());
    EXPECT_EQ(faces.size(), flatPairFirst ? 1u : 3u);
    orvane_test::releaseFaces(faces);

    TestMesh fan;   // a closed fan whose last spoke ends 1e-10 from its first
    fan.addVertex(0, 0, 0), fan.addVertex(1, 0, 0), fan.addVertex(0, 1, 0), fan.addVertex(-1, 0, 0);
    fan.addVertex(1 + 1e-10, 0, 0);
    fan.addTriangle(0, 1, 2), fan.addTriangle(0, 2, 3), fan.addTriangle(0, 3, 4);
    ASSERT_TRUE(Segmentation(fan.get(), 30).segmentize(faces).isOk());
    ASSERT_EQ(faces.size(), 1u);
    EXPECT_EQ((*faces.begin())->vertexList().size(), 4u);
    orvane_test::releaseFaces(faces);
}

TEST(Segmentation, FastRunMatchesOnePassOperations) {
    std::mt19937 rng(11);
    for (int round = 0; round < 12; ++round) {
        TestMesh mesh;   // overlapping boxes, a smooth sphere, creases and non-manifold edges
        for (int b = 0; b < 6; ++b) {
            double x = rng() % 6, y = rng() % 6, z = rng() % 6;
            mesh.appendBox(Point3D(x, y, z), Point3D(x + 1 + rng() % 2, y + 1, z + 1));
        }
        if (round % 3 == 0) append(mesh, *TestMesh::sphere(1.0, 6, 8, Point3D(20, 0, 0)));
        mesh.addTriangle(0, 9, 17), mesh.addTriangle(0, 1, 9), mesh.addTriangle(1, 0, 17);
        double angle = round % 2 ? 30.0 : 50.0;
        Segmentation s(mesh.get(), angle);
        std::set<Triangulation *> fast;
        ASSERT_TRUE(s.segmentize(fast).isOk());

        SegmentationTestAccess access(s);
        std::set<Edge *> strong;
        ASSERT_TRUE(access.findStrongEdges(strong).isOk());
        std::set<Triangle *> unassigned(mesh.mesh().triangleList().begin(), mesh.mesh().triangleList().end());
        std::set<Triangulation *> literal;
        auto named = byName(fast);
        for (std::size_t i = 1; !unassigned.empty(); ++i) {
            auto *face = *literal.insert(new Triangulation()).first;
            access.createFaces(unassigned, strong, *face);
            std::ostringstream name;
            name << "Face-" << i << "_" << angle;
            Triangulation *f = named[name.str()];
            ASSERT_NE(f, nullptr) << name.str();
            ASSERT_EQ(f->vertexList().size(), face->vertexList().size());
            for (std::size_t v = 0; v < f->vertexList().size(); ++v)
                EXPECT_EQ(f->vertexList()[v]->point(), face->vertexList()[v]->point());
            ASSERT_EQ(f->triangleList().size(), face->triangleList().size());
            for (std::size_t t = 0; t < f->triangleList().size(); ++t)
                for (std::size_t c = 0; c < 3; ++c)
                    EXPECT_EQ(f->triangleList()[t]->vertexIndex(c), face->triangleList()[t]->vertexIndex(c));
        }
        EXPECT_EQ(literal.size(), fast.size());
        orvane_test::releaseFaces(literal);
        orvane_test::releaseFaces(fast);
    }
}

// A triangle naming no vertex is refused by a throw before any face is made. (Odd but valid
// geometry, NaN and huge corners included, is the segmentation fuzz target's ground.)
TEST(Segmentation, VertexIndexOutOfRangeThrowsBeforeAnyFace) {
    TestMesh mesh;
    mesh.addVertex(0, 0, 0), mesh.addVertex(1, 0, 0), mesh.addVertex(0, 1, 0);
    mesh.addTriangle(0, 1, 2), mesh.addTriangle(1, 0, 99);
    std::set<Triangulation *> faces;
    EXPECT_THROW(Segmentation(mesh.get(), 30).segmentize(faces), std::out_of_range);
    EXPECT_TRUE(faces.empty());

    // A bad corner on the third triangle of a cube edge: the strong-edge test throws exactly
    // when it reads that triangle (among the first two in pointer order, here when it lies
    // first in memory), as the reference does; segmentize throws either way, before any face.
    for (bool badFirst : {true, false}) {
        TestMesh cube;
        for (int q = 0; q < 8; ++q) cube.addVertex(q & 1, (q >> 1) & 1, (q >> 2) & 1);
        auto box = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
        std::vector<Triangle> storage;   // contiguous: memory order is index order
        if (badFirst) storage.emplace_back(1, 0, 99);
        for (Triangle *t : box->mesh().triangleList()) storage.emplace_back(t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2));
        if (!badFirst) storage.emplace_back(1, 0, 99);
        for (std::size_t k = 0; k < storage.size(); ++k)
            if (storage[k].vertexIndex(2) != 99) cube.mesh().addTriangle(&storage[k]);
        cube.mesh().addTriangle(badFirst ? &storage.front() : &storage.back());

        Segmentation s(cube.get(), 90);
        std::set<Edge *> strong;
        if (badFirst) {
            EXPECT_THROW(orvane_test::referenceStrongEdges(cube.mesh(), 90), std::out_of_range);
            EXPECT_THROW(SegmentationTestAccess(s).findStrongEdges(strong), std::out_of_range);
            EXPECT_TRUE(strong.empty());
        } else {
            EXPECT_EQ(SegmentationTestAccess(s).findStrongEdges(strong).isOk(), true);
            EXPECT_EQ(strong, orvane_test::referenceStrongEdges(cube.mesh(), 90));
            EXPECT_EQ(strong.size(), 2u);   // the bad triangle's own border edges
        }
        EXPECT_THROW(s.segmentize(faces), std::out_of_range);
        EXPECT_TRUE(faces.empty());
    }
}
