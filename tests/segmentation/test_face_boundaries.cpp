// Border contours: the public boundaries, the closed-only face variant, and one-step
// stitching of border edges.
#include "segmentation_support.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;

namespace {

void expectPoints(PLC *contour, std::vector<Point3D> const &expected) {
    std::vector<Point3D *> const &points = *contour->pointList();
    ASSERT_EQ(points.size(), expected.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(points[i]->x(), expected[i].x()) << i;
        EXPECT_EQ(points[i]->y(), expected[i].y()) << i;
        EXPECT_EQ(points[i]->z(), expected[i].z()) << i;
    }
}

}  // namespace

TEST(SegmentationBoundaries, SquareFarPairAndClosedCube) {
    TestMesh square;
    square.addVertex(0, 0, 0), square.addVertex(1, 0, 0), square.addVertex(1, 1, 0), square.addVertex(0, 1, 0);
    square.addTriangle(0, 1, 2), square.addTriangle(0, 2, 3);
    std::vector<PLC *> contours;
    ASSERT_TRUE(Segmentation(square.get(), 30).boundaries(contours).isOk());
    ASSERT_EQ(contours.size(), 1u);   // against the winding, closed on a copy of the start
    expectPoints(contours[0], {Point3D(0, 0, 0), Point3D(0, 1, 0), Point3D(1, 1, 0), Point3D(1, 0, 0), Point3D(0, 0, 0)});

    TestMesh pair;   // two far-apart triangles: two contours
    pair.addVertex(0, 0, 0), pair.addVertex(1, 0, 0), pair.addVertex(0, 1, 0);
    pair.addVertex(5, 5, 5), pair.addVertex(6, 5, 5), pair.addVertex(5, 6, 5);
    pair.addTriangle(0, 1, 2), pair.addTriangle(3, 4, 5);
    std::vector<PLC *> before = contours;   // replaced, not appended to
    ASSERT_TRUE(Segmentation(pair.get(), 30).boundaries(contours).isOk());
    EXPECT_EQ(contours.size(), 2u);
    orvane_test::releaseContours(before);

    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    std::vector<PLC *> kept = contours;
    Outcome none = Segmentation(cube->get(), 30).boundaries(contours);
    EXPECT_EQ(none.code(), Outcome::FAILURE);
    EXPECT_EQ(none.errorCode(), Outcome::UNKNOWN);
    EXPECT_EQ(none.mesg(), "No boundry found.");
    EXPECT_EQ(contours, kept);
    orvane_test::releaseContours(contours);
}

TEST(SegmentationBoundaries, WideningAt5e7AndClosedOnlyFaceBoundaries) {
    // A square whose two triangles do not share the diagonal: the second starts at a copy of
    // (0,0,0) moved by 5e-7, which the 1e-6 pass attaches; the chain ends 5e-7 from its start.
    TestMesh slit;
    slit.addVertex(0, 0, 0), slit.addVertex(1, 0, 0), slit.addVertex(1, 1, 0), slit.addVertex(0, 1, 0);
    slit.addVertex(5e-7, 0, 0);
    slit.addTriangle(0, 1, 2), slit.addTriangle(4, 2, 3);
    Segmentation s(slit.get(), 30);
    std::vector<PLC *> contours;
    ASSERT_TRUE(s.boundaries(contours).isOk());
    ASSERT_EQ(contours.size(), 1u);
    std::vector<Point3D> const ring = {Point3D(5e-7, 0, 0), Point3D(0, 1, 0), Point3D(1, 1, 0), Point3D(0, 0, 0),
                                       Point3D(1, 1, 0), Point3D(1, 0, 0), Point3D(0, 0, 0)};
    expectPoints(contours[0], ring);
    orvane_test::releaseContours(contours);

    // Its six border edges stitched one step at a time from the first give the same chain;
    // then nothing is left to attach.
    SegmentationTestAccess access(s);
    std::list<Edge *> edges;
    for (Triangle *t : slit.mesh().triangleList())
        for (int k = 0; k < 3; ++k) edges.push_back(t->edge(k));
    auto const first = slit.mesh().edgeList().at(edges.front());
    std::list<Point3D *> chain{new Point3D(*slit.mesh().vertexList()[first.first]->point()),
                               new Point3D(*slit.mesh().vertexList()[first.second]->point())};
    edges.pop_front();
    for (int step = 0; step < 5; ++step) EXPECT_TRUE(access.stichSegments(slit.get(), edges, chain).isOk());
    EXPECT_EQ(access.stichSegments(slit.get(), edges, chain).mesg(), "Error in segment stitching.");
    EXPECT_EQ(chain.size(), ring.size());
    std::size_t k = 0;
    for (Point3D *p : chain) {
        EXPECT_TRUE(k < ring.size() && p->x() == ring[k].x() && p->y() == ring[k].y()) << k;
        ++k, delete p;
    }
    contours.push_back(new PLC());
    ASSERT_TRUE(access.findFaceBoundary(slit.get(), contours).isOk());
    EXPECT_EQ(contours.size(), 1u);   // the open chain is released, not delivered

    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    std::set<Triangulation *> faces;
    ASSERT_TRUE(Segmentation(cube->get(), 30).segmentize(faces).isOk());
    for (Triangulation *f : faces) ASSERT_TRUE(access.findFaceBoundary(f, contours).isOk());
    ASSERT_EQ(contours.size(), 7u);   // appended after the earlier entry
    for (std::size_t i = 1; i < 7; ++i) EXPECT_EQ(contours[i]->pointList()->size(), 5u);
    EXPECT_EQ(access.findFaceBoundary(cube->get(), contours).mesg(), "No boundry found.");
    EXPECT_EQ(contours.size(), 7u);
    orvane_test::releaseFaces(faces);
    orvane_test::releaseContours(contours);
}
