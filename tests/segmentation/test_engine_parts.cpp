// The parts of the segmentation engine against plain procedures on random input: the angle
// shortcut against Vector3D::angle, pointer ranks against a sorted array, the radix sort
// against std::stable_sort, and face meshes merged through point classes against the
// LessThan map.
#include "segmentation/CornerPoints.h"
#include "segmentation/FaceGraph.h"
#include "segmentation/FaceMesh.h"
#include "segmentation/PointClasses.h"
#include "segmentation/PointerRanks.h"
#include "segmentation/RadixSort.h"
#include "segmentation_reference.h"
#include "support/release.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;

TEST(SegmentationEngine, AngleShortcutDecidesAsVectorAngle) {
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    double const inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    // Limits inside and outside the shortcut's range, in radians.
    double const limits[] = {30 * 3.141592653589793 / 180.0, 0.5235987755982988, 1e-3, 2e-3, 1.5697963267948966,
                             1.5707963267948966, 2.0, 1e-14, 0.0, -0.5, -2.0, nan};
    double const nudges[] = {0, 1e-16, -1e-16, 1e-13, -1e-13, 1e-10, -1e-10, 1e-8, -1e-8, 1e-6, -1e-6, 0.1, -0.1};
    double const scales[] = {1, 1e-13, 3e-13, 1e-7, 1e6, 1e150, 1e200, 1e-160};
    for (double limit : limits) {
        AngleLimit const test(limit);
        for (int k = 0; k < 4000; ++k) {
            Vector3D n(unit(rng), unit(rng), unit(rng));
            // m: n turned by about the limit (plus a nudge) about a random axis, or odd.
            Vector3D axis = n ^ Vector3D(unit(rng), unit(rng), unit(rng));
            double const turn = (std::isfinite(limit) ? limit : 0.5) + nudges[rng() % 13];
            double const a = axis.magnitude();
            Vector3D m = n;
            if (a > 0) {
                Vector3D const w = axis * (1.0 / a), perp = w ^ n;
                m = n * std::cos(turn) + perp * std::sin(turn);
            }
            n = n * scales[rng() % 8];
            m = m * scales[rng() % 8];
            if (k % 97 == 0) m = Vector3D(k % 2 ? nan : inf, 1, 0);
            if (k % 89 == 0) m = Vector3D(0, 0, 0);
            bool const expected = n.angle(m, static_cast<Direction3D *>(nullptr), Tolerance()) > limit;
            ASSERT_EQ(test.exceeded(n, m), expected) << "limit " << limit << " case " << k;
        }
    }
}

TEST(SegmentationEngine, PointerRanksMatchASortedArray) {
    std::mt19937 rng(5);
    // Objects in one array (a regular run), every third object of another (irregular gaps),
    // and objects allocated one by one.
    std::vector<std::array<double, 8>> packed(3000), sparse(3000);
    std::vector<std::unique_ptr<std::array<double, 8>>> single;
    for (int k = 0; k < 500; ++k) single.push_back(std::make_unique<std::array<double, 8>>());
    std::vector<std::array<double, 8> *> items;
    for (auto &o : packed) items.push_back(&o);
    for (std::size_t k = 0; k < sparse.size(); k += 1 + rng() % 3) items.push_back(&sparse[k]);
    for (auto &o : single) items.push_back(o.get());
    std::shuffle(items.begin(), items.end(), rng);
    items.push_back(items[7]);   // a duplicate
    PointerRanks<std::array<double, 8>> ranks(items);

    std::vector<std::array<double, 8> *> sorted = items;
    std::sort(sorted.begin(), sorted.end(), std::less<std::array<double, 8> *>());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    ASSERT_EQ(ranks.items(), sorted);
    for (std::size_t r = 0; r < sorted.size(); ++r) ASSERT_EQ(ranks.rankOf(sorted[r]), r);
    // Non-members: the skipped objects, and addresses inside objects.
    for (std::size_t k = 0; k < sparse.size(); ++k) {
        bool const listed = std::binary_search(sorted.begin(), sorted.end(), &sparse[k], std::less<std::array<double, 8> *>());
        if (!listed) {
            EXPECT_EQ(ranks.rankOf(&sparse[k]), ranks.kNone);
        }
    }
    auto *inside = reinterpret_cast<std::array<double, 8> *>(&packed[10][3]);
    EXPECT_EQ(ranks.rankOf(inside), ranks.kNone);
    EXPECT_EQ(ranks.rankOf(nullptr), ranks.kNone);
    EXPECT_EQ(PointerRanks<int>(std::vector<int *>()).rankOf(nullptr), PointerRanks<int>::kNone);
}

TEST(SegmentationEngine, RadixSortIsAStableSort) {
    std::mt19937_64 rng(9);
    for (int round = 0; round < 20; ++round) {
        std::vector<std::pair<std::uint64_t, int>> items(round * 500 + 1);
        std::uint64_t const mask = round % 2 ? ~std::uint64_t(0) : 0xff0ff000ull;   // few distinct bits
        for (std::size_t k = 0; k < items.size(); ++k) items[k] = {rng() & mask, static_cast<int>(k)};
        auto expected = items;
        std::stable_sort(expected.begin(), expected.end(), [](auto const &a, auto const &b) { return a.first < b.first; });
        radixSort(items, [](auto const &item) { return item.first; });
        ASSERT_EQ(items, expected);
    }
    std::vector<double> values = {0.0, -0.0, 1.0, -1.0, 1e-300, -1e300, std::numeric_limits<double>::infinity(), 2.5};
    std::vector<double> sorted = values;
    std::stable_sort(sorted.begin(), sorted.end());
    radixSort(values, [](double d) { return orderKey(d); });
    for (std::size_t k = 0; k < values.size(); ++k) EXPECT_EQ(values[k], sorted[k]);   // -0 == 0
}

namespace {

// A source mesh of points on a coarse grid, with near copies of some of them and random
// triangles over all of them. Tame copies stay within 4e-10 of their point or clear of the
// band, so LessThan is a strict weak order on them; wild ones add offsets that chain across
// the band or sit on its rounding edge (1e-9), and a rim stepping 0.6e-9 in x.
std::unique_ptr<TestMesh> pointCloudMesh(std::mt19937 &rng, bool wild) {
    auto mesh = std::make_unique<TestMesh>();
    std::size_t const grid = 60;
    for (std::size_t k = 0; k < grid; ++k) mesh->addVertex(double(rng() % 4), double(rng() % 4), double(rng() % 3) * 0.5);
    static const double offsets[] = {0, 1e-10, -4e-10, 4e-10, 2.5e-9, -3e-9, 9.99e-10, 1e-9, -1.5e-9, 2e-9};
    std::size_t const choices = wild ? 10 : 6;
    for (std::size_t k = 0; k < 30; ++k) {
        Point3D const &p = *mesh->mesh().vertexList()[rng() % grid]->point();
        mesh->addVertex(p.x() + offsets[rng() % choices], p.y() + offsets[rng() % choices], p.z() + offsets[rng() % choices]);
    }
    if (wild)
        for (int k = 0; k < 5; ++k) mesh->addVertex(7 + k * 0.6e-9, 1 + (k % 2) * 3.0, 0);
    std::size_t const count = mesh->mesh().vertexList().size();
    for (std::size_t k = 0; k < 200; ++k) mesh->addTriangle(rng() % count, rng() % count, rng() % count);
    return mesh;
}

}  // namespace

TEST(SegmentationEngine, FaceMeshesThroughClassesMatchTheMap) {
    std::mt19937 rng(13);
    for (int round = 0; round < 30; ++round) {
        auto source = pointCloudMesh(rng, round % 3 == 0);
        std::vector<Vertex *> const &vertices = source->mesh().vertexList();
        std::vector<Triangle *> const &list = source->mesh().triangleList();
        CornerPoints const points(vertices, list);
        FaceMeshBuilder builder(vertices, points);
        // Welded grid points and tame near copies are classified without the map; the rim
        // finer than the band needs it.
        EXPECT_EQ(PointClasses(points).anyUnsure(), round % 3 == 0);
        for (int face = 0; face < 5; ++face) {
            std::vector<Triangle *> triangles;
            for (Triangle *t : list)
                if (rng() % 3 == 0) triangles.push_back(t);
            std::set<Triangulation *> made{new Triangulation(), new Triangulation()};
            Triangulation &fast = **made.begin(), &plain = **made.rbegin();
            builder.build(triangles, fast);
            buildFaceMeshWithMap(vertices, triangles, plain);
            orvane_test::FaceRecord a = orvane_test::recordOf(fast), b = orvane_test::recordOf(plain);
            EXPECT_EQ(a.points, b.points);
            EXPECT_EQ(a.triangles, b.triangles);
            orvane_test::releaseFaces(made);
        }
    }
}
