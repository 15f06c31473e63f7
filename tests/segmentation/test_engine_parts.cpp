// Parts of the segmentation engine against plain counterparts on random input: the angle
// shortcut against Vector3D::angle and pointer ranks against a sorted array. (Face meshes
// merged through point classes meet the LessThan map in test_reference_comparison.cpp.)
#include "Direction3D.h"
#include "Tolerance.h"
#include "Vector3D.h"
#include "segmentation/FaceGraph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using namespace ORVANE_DATABASE;

TEST(SegmentationEngine, AngleShortcutDecidesAsVectorAngle) {
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    // Limits inside and outside the shortcut's range; turns at the limit give or take a nudge.
    double const limits[] = {0.5235987755982988, 1e-3, 1.5697963267948966, 1.5707963267948966, 2.0, 1e-14, 0.0, -2.0, nan};
    double const nudges[] = {0, 1e-16, -1e-16, 1e-13, -1e-13, 1e-10, -1e-10, 1e-8, -1e-8, 1e-6, -1e-6, 0.1, -0.1};
    double const scales[] = {1, 1e-13, 3e-13, 1e6, 1e150, 1e200, 1e-160};
    for (double limit : limits) {
        AngleLimit const test(limit);
        for (int k = 0; k < 4000; ++k) {
            Vector3D n(unit(rng), unit(rng), unit(rng));
            Vector3D const w = n ^ Vector3D(unit(rng), unit(rng), unit(rng)), perp = w * (1.0 / w.magnitude()) ^ n;
            double const turn = (std::isfinite(limit) ? limit : 0.5) + nudges[rng() % 13];
            Vector3D m = k % 89 == 0 ? Vector3D() : k % 97 == 0 ? Vector3D(nan, 1, 0) : n * std::cos(turn) + perp * std::sin(turn);
            n = n * scales[rng() % 7], m = m * scales[rng() % 7];
            ASSERT_EQ(test.exceeded(n, m), n.angle(m, static_cast<Direction3D *>(nullptr), Tolerance()) > limit)
                << "limit " << limit << " case " << k;
        }
    }
}

TEST(SegmentationEngine, PointerRanksMatchASortedArray) {
    // Objects of one array (a regular run), every few of another (irregular gaps), objects
    // allocated one by one, and a duplicate.
    using Object = std::array<double, 8>;
    std::mt19937 rng(5);
    std::vector<Object> packed(3000), sparse(3000);
    std::vector<std::unique_ptr<Object>> single(500);
    std::vector<Object *> items;
    for (auto &o : packed) items.push_back(&o);
    for (std::size_t k = 0; k < sparse.size(); k += 1 + rng() % 3) items.push_back(&sparse[k]);
    for (auto &o : single) items.push_back((o = std::make_unique<Object>()).get());
    std::shuffle(items.begin(), items.end(), rng);
    items.push_back(items[7]);
    PointerRanks<Object> const ranks(items);

    std::vector<Object *> sorted = items;
    std::sort(sorted.begin(), sorted.end(), std::less<Object *>());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    ASSERT_EQ(ranks.items(), sorted);
    for (std::size_t r = 0; r < sorted.size(); ++r) ASSERT_EQ(ranks.rankOf(sorted[r]), r);
    for (Object &o : sparse) {   // the skipped ones are not items, nor is an address inside one
        bool const listed = std::binary_search(sorted.begin(), sorted.end(), &o, std::less<Object *>());
        EXPECT_EQ(ranks.rankOf(&o) == ranks.kNone, !listed);
    }
    EXPECT_EQ(ranks.rankOf(reinterpret_cast<Object *>(&packed[10][3])), ranks.kNone);
    EXPECT_EQ(ranks.rankOf(nullptr), ranks.kNone);
}
