// Border contours: the public boundaries, the closed-only face variant, and the chaining of
// border edges against repeated one-step stitching.
#include "segmentation_support.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

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
    EXPECT_NE(contours[0]->pointList()->front(), contours[0]->pointList()->back());

    TestMesh pair;   // two far-apart triangles; the earlier one's contour comes first
    pair.addVertex(0, 0, 0), pair.addVertex(1, 0, 0), pair.addVertex(0, 1, 0);
    pair.addVertex(5, 5, 5), pair.addVertex(6, 5, 5), pair.addVertex(5, 6, 5);
    pair.addTriangle(0, 1, 2), pair.addTriangle(3, 4, 5);
    std::vector<PLC *> before = contours;   // replaced, not appended to
    ASSERT_TRUE(Segmentation(pair.get(), 30).boundaries(contours).isOk());
    ASSERT_EQ(contours.size(), 2u);
    expectPoints(contours[0], {Point3D(0, 0, 0), Point3D(0, 1, 0), Point3D(1, 0, 0), Point3D(0, 0, 0)});
    EXPECT_EQ(contours[1]->pointList()->front()->x(), 5.0);
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
    expectPoints(contours[0], {Point3D(5e-7, 0, 0), Point3D(0, 1, 0), Point3D(1, 1, 0), Point3D(0, 0, 0),
                               Point3D(1, 1, 0), Point3D(1, 0, 0), Point3D(0, 0, 0)});
    orvane_test::releaseContours(contours);

    SegmentationTestAccess access(s);
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

TEST(SegmentationBoundaries, OrderSegmentsMatchesRepeatedStitching) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> jitter(-0.6, 0.6);
    for (int round = 0; round < 20; ++round) {
        // A sheet with holes whose corners are jittered by 6e-3 to 6e-9: border edges meet at
        // every tolerance, leave gaps, and loops share points.
        TestMesh sheet;
        int n = 4 + round % 5;
        for (int i = 0; i <= n; ++i)
            for (int j = 0; j <= n; ++j) {
                double scale = (i + j) % 3 == 0 ? std::pow(10.0, -2.0 - double(rng() % 7)) : 0.0;
                sheet.addVertex(i + scale * jitter(rng), j + scale * jitter(rng), 0);
            }
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                if (rng() % 4 == 0) continue;
                std::size_t a = i * (n + 1) + j, b = a + n + 1;
                sheet.addTriangle(a, b, b + 1), sheet.addTriangle(a, b + 1, a + 1);
            }
        Segmentation s(sheet.get(), 30);
        SegmentationTestAccess access(s);
        std::list<Edge *> edges;
        for (Triangle *t : sheet.mesh().triangleList())
            for (int k = 0; k < 3; ++k)
                if (t->edge(k)->triangles->size() < 2) edges.push_back(t->edge(k));
        std::vector<PLC *> fast;
        for (bool closedOnly : {false, true}) {
            std::list<Edge *> consumed = edges;
            ASSERT_TRUE(access.orderSegments(sheet.get(), consumed, &fast, closedOnly).isOk());
            EXPECT_TRUE(consumed.empty());
        }
        // The described procedure: start at the first remaining edge, stitch until it fails.
        auto keys = sheet.mesh().edgeList();
        auto point = [&](std::size_t v) { return new Point3D(*sheet.mesh().vertexList()[v]->point()); };
        std::vector<std::list<Point3D *>> chains;
        while (!edges.empty()) {
            chains.push_back({point(keys.at(edges.front()).first), point(keys.at(edges.front()).second)});
            edges.pop_front();
            while (!edges.empty() && access.stichSegments(sheet.get(), edges, chains.back()).isOk()) {}
        }
        std::size_t k = 0;
        for (bool closedOnly : {false, true})
            for (auto const &chain : chains) {
                Point3D const &a = *chain.front(), &b = *chain.back();
                if (closedOnly && !(std::fabs(a.x() - b.x()) < 1e-8 && std::fabs(a.y() - b.y()) < 1e-8)) continue;
                ASSERT_LT(k, fast.size());
                std::vector<Point3D> expected;
                for (Point3D *p : chain) expected.push_back(*p);
                expectPoints(fast[k++], expected);
            }
        EXPECT_EQ(k, fast.size());
        for (auto &chain : chains)
            for (Point3D *p : chain) delete p;
        orvane_test::releaseContours(fast);
    }
}
