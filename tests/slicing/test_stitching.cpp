// Segment stitching: the one-step rules, orderSegments' contours, and the repeat removal
// against a pairwise check. (orderSegments against repeated steps: test_profile's reference
// slicer and test_segment_chainer.)
#include "slicing/DuplicateSegments.h"
#include "slicing/profiler_access.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::closed;
using orvane_test::contourDifference;
using orvane_test::releaseContours;

namespace {

using Seg = std::pair<Point3D, Point3D>;

class Stitching : public ::testing::Test {
protected:
    std::list<Edge *> segments(std::vector<Seg> const &s) {
        std::list<Edge *> out;
        for (Seg const &e : s) out.push_back(ProfilerTestAccess::record(slicer, e.first, e.second));
        return out;
    }
    // orderSegments' point counts (fast path); the contours are released.
    std::vector<std::size_t> order(std::vector<Seg> const &s, bool closedOnly = false) {
        std::list<Edge *> list = segments(s);
        std::vector<PLC *> out;
        EXPECT_TRUE(ProfilerTestAccess::order(slicer, list, &out, closedOnly).isOk() && list.empty());
        std::vector<std::size_t> n;
        for (PLC *p : out) n.push_back(closed(p) ? p->pointList()->size() : 100 + p->pointList()->size());
        releaseContours(out);
        return n;
    }
    std::unique_ptr<orvane_test::TestMesh> mesh = orvane_test::TestMesh::tetrahedron();
    Direction3D up{0, 0, 1};
    Profiler slicer{mesh->get(), &up, 1};
};

using Sizes = std::vector<std::size_t>;   // closed contours: points; open: 100 + points

TEST_F(Stitching, ContourShapes) {
    Point3D k(0, 0, 0), l(1, 0, 0), m(0, 1, 0);
    EXPECT_EQ(order({{k, l}}), Sizes{102});
    EXPECT_EQ(order({{k, l}}, true), Sizes{});
    // The three sides of a triangle in any order and direction: one closed contour of four.
    std::vector<Seg> const sides = {{k, l}, {l, m}, {m, k}};
    int perm[3] = {0, 1, 2};
    do
        for (int flips = 0; flips < 8; ++flips) {
            std::vector<Seg> s;
            for (int i = 0; i < 3; ++i) {
                s.push_back(sides[perm[i]]);
                if (flips & (1 << i)) std::swap(s.back().first, s.back().second);
            }
            EXPECT_EQ(order(s), Sizes{4});
        }
    while (std::next_permutation(perm, perm + 3));
    // K-L, L-M, M-K closes at the front: M, K, L, M.
    std::list<Edge *> list = segments(sides);
    std::vector<PLC *> out;
    ProfilerTestAccess::order(slicer, list, &out, false);
    auto const &pts = *out[0]->pointList();
    EXPECT_TRUE(*pts[0] == m && *pts[1] == k && *pts[2] == l && *pts[3] == m);
    releaseContours(out);

    // Two squares, segments interleaved: two closed contours, the first segment's loop first.
    auto square = [](double x0) {
        Point3D a(x0, 0, 0), b(x0 + 1, 0, 0), d(x0 + 1, 1, 0), e(x0, 1, 0);
        return std::vector<Seg>{{a, b}, {d, e}, {b, d}, {e, a}};
    };
    std::vector<Seg> left = square(0), right = square(5), mixed;
    for (int i = 0; i < 4; ++i) mixed.insert(mixed.end(), {left[i], right[i]});
    EXPECT_EQ(order(mixed), (Sizes{5, 5}));
    // Two loops sharing O, the first closing while O is at the front: one contour through O
    // twice.
    Point3D o(0, 0, 0), a(1, 0, 0), b(1, 1, 0), c(-1, 0, 0), d(-1, -1, 0);
    EXPECT_EQ(order({{o, a}, {a, b}, {o, c}, {c, d}, {d, o}, {b, o}}), Sizes{7});
}

TEST_F(Stitching, TolerancesAndSteps) {
    Point3D a(0, 0, 0), b(1, 0, 0), c(1, 1, 0);
    EXPECT_EQ(order({{a, b}, {Point3D(1 + 5e-4, 0, 0), c}}), Sizes{103});       // 5e-4 gap attaches
    EXPECT_EQ(order({{a, b}, {Point3D(1 + 2e-3, 0, 0), c}}), (Sizes{102, 102}));   // 2e-3 does not
    std::vector<Seg> const gap = {{a, b}, {b, c}, {c, Point3D(5e-4, 0, 0)}};
    EXPECT_EQ(order(gap, true), Sizes{});   // closed at 5e-4 only: dropped when closed-only
    EXPECT_EQ(order(gap), Sizes{104});

    // One step: the exact touch beats an earlier one at 5e-5; at equal tolerance the earlier
    // segment wins; then nothing touches, and an empty list fails at once.
    Point3D two(2, 0, 0);
    std::list<Edge *> list = segments({{Point3D(1 + 5e-5, 0, 0), c}, {b, two}, {two, Point3D(3, 0, 0)}, {two, Point3D(2, 1, 0)}});
    std::list<Point3D *> chain{new Point3D(a), new Point3D(b)};
    EXPECT_TRUE(ProfilerTestAccess::stitch(slicer, list, chain).isOk() && chain.back()->x() == 2.0);
    EXPECT_TRUE(ProfilerTestAccess::stitch(slicer, list, chain).isOk() && chain.back()->x() == 3.0);
    EXPECT_EQ(ProfilerTestAccess::stitch(slicer, list, chain).mesg(), "Error in segment stitching.");
    std::list<Edge *> none;
    EXPECT_FALSE(ProfilerTestAccess::stitch(slicer, none, chain).isOk());
    EXPECT_TRUE(chain.size() == 4 && list.size() == 2);
    for (Point3D *p : chain) delete p;
}

TEST(DuplicateSegmentsTest, MatchesPairwiseCheck) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> coord(-3, 3), unit(-1, 1);
    std::uniform_int_distribution<int> pick(0, 3);
    slicing::DuplicateSegments remover;
    auto same = [](SegmentEnds const &k, SegmentEnds const &e) {
        return (endsMatch(k.first, e.first, 1e-8) && endsMatch(k.second, e.second, 1e-8)) ||
               (endsMatch(k.first, e.second, 1e-8) && endsMatch(k.second, e.first, 1e-8));
    };
    for (int round = 0; round < 200; ++round) {
        std::vector<SegmentEnds> s;
        double const far = round % 3 == 0 ? 1e5 : 0.0;   // keys with large magnitudes
        for (int i = 0; i < 1 + round % 30; ++i) {
            if (!s.empty() && pick(rng) == 0) {   // a near copy of an earlier one, maybe reversed
                SegmentEnds e = s[std::uniform_int_distribution<std::size_t>(0, s.size() - 1)(rng)];
                double j = pick(rng) == 0 ? 2e-8 : 6e-9;
                e.first = e.first + Vector3D(j * unit(rng), j * unit(rng), j * unit(rng));
                if (pick(rng) < 2) std::swap(e.first, e.second);
                s.push_back(e);
            } else {
                s.push_back({Point3D(far + coord(rng), coord(rng), 1), Point3D(coord(rng), far + coord(rng), 1)});
            }
        }
        std::vector<SegmentEnds> expected;
        for (SegmentEnds const &e : s)
            if (std::none_of(expected.begin(), expected.end(), [&](SegmentEnds const &k) { return same(k, e); }))
                expected.push_back(e);
        remover.remove(s);
        ASSERT_EQ(s.size(), expected.size()) << round;
        for (std::size_t i = 0; i < s.size(); ++i)
            EXPECT_TRUE(s[i].first.x() == expected[i].first.x() && s[i].second.y() == expected[i].second.y());
    }

    // Coordinates near the double range: the keys and the measured magnitude overflow to
    // infinity: those segments are compared with the exact test alone.
    Point3D const huge(1e308, 1e308, 1e308), other(1e308, -1e308, 1e308);
    std::vector<SegmentEnds> wild{{huge, other}, {huge, other}, {Point3D(1, 2, 3), Point3D(0, 0, 0)}};
    remover.remove(wild);
    EXPECT_EQ(wild.size(), 2u);   // the repeat is still found, by the exact test
    EXPECT_EQ(wild.back().first.x(), 1.0);
}

}  // namespace
