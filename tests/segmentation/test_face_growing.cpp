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

// Counts, names, corner order and merged points at large: the reference comparisons. Here
// what those do not reach: the failure without strong edges, a face turned round, and numbers
// continuing from the set's size.
TEST(Segmentation, StrongEdgesAndFaceNumbers) {
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
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

    faces.clear();
    ASSERT_TRUE(Segmentation(cube->get(), 30).segmentize(faces).isOk());
    ASSERT_TRUE(Segmentation(cube->get(), 12.3456789).segmentize(faces).isOk());
    auto const named = byName(faces);
    EXPECT_TRUE(named.count("Face-6_30") && named.count("Face-7_12.3457"));
    orvane_test::releaseFaces(faces);   // detaches the shared points: a copied one would leak
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
