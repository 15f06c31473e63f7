// Strong edges and face growing through the public operation on meshes whose answer is known.
#include "segmentation_reference.h"
#include "segmentation_support.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <map>
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

// A triangle naming no vertex is refused by a throw before any face is made. (Odd but valid
// geometry, NaN and huge corners included, is the segmentation fuzz target's ground.)
TEST(Segmentation, VertexIndexOutOfRangeThrowsBeforeAnyFace) {
    TestMesh mesh;
    mesh.addVertex(0, 0, 0), mesh.addVertex(1, 0, 0), mesh.addVertex(0, 1, 0);
    mesh.addTriangle(0, 1, 2), mesh.addTriangle(1, 0, 99);
    std::set<Triangulation *> faces;
    EXPECT_THROW(Segmentation(mesh.get(), 30).segmentize(faces), std::out_of_range);
    EXPECT_TRUE(faces.empty());

    // A bad corner on a third triangle of a cube edge: the strong-edge test throws exactly
    // when that triangle is among the edge's first two (here: first in memory), as the
    // reference does; segmentize throws either way, before any face.
    auto box = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    for (bool badFirst : {true, false}) {
        std::vector<Triangle> storage;   // contiguous: memory order is index order
        for (Triangle *t : box->mesh().triangleList()) storage.emplace_back(t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2));
        storage.insert(badFirst ? storage.begin() : storage.end(), Triangle(1, 0, 99));
        Triangulation cube;
        for (Vertex *v : box->mesh().vertexList()) cube.addVertex(v);
        for (Triangle &t : storage) cube.addTriangle(&t);
        Segmentation s(&cube, 90);
        std::set<Edge *> strong;
        bool threw = false;
        try {
            EXPECT_EQ(SegmentationTestAccess(s).findStrongEdges(strong).isOk(), true);
            EXPECT_EQ(strong, orvane_test::referenceStrongEdges(cube, 90));   // the bad triangle's borders
        } catch (std::out_of_range const &) {
            threw = true;
            EXPECT_THROW(orvane_test::referenceStrongEdges(cube, 90), std::out_of_range);
        }
        EXPECT_EQ(threw, badFirst);
        EXPECT_THROW(s.segmentize(faces), std::out_of_range);
        EXPECT_TRUE(faces.empty());
    }
}
