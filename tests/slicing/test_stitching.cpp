// Segment stitching: the one-step rules, orderSegments' closed-only filter, and the repeat
// removal against a pairwise check. (Contour shapes and tolerances of the chaining:
// test_segment_chainer against a literal chaining, and test_profile's reference slicer.)
#include "slicing/profiler_access.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::closed;
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

TEST_F(Stitching, ClosedOnlyAndSteps) {
    Point3D a(0, 0, 0), b(1, 0, 0), c(1, 1, 0);
    EXPECT_EQ(order({{a, b}, {c, b}, {c, a}}, true), Sizes{4});   // a closed triangle is kept
    std::vector<Seg> const gap = {{a, b}, {b, c}, {c, Point3D(5e-4, 0, 0)}};
    EXPECT_EQ(order(gap, true), Sizes{});   // closed at 5e-4 only: dropped when closed-only
    EXPECT_EQ(order(gap), Sizes{104});

    // One step: the exact touch beats an earlier one at 5e-5; at equal tolerance the earlier
    // segment wins; then nothing touches.
    Point3D two(2, 0, 0);
    std::list<Edge *> list = segments({{Point3D(1 + 5e-5, 0, 0), c}, {b, two}, {two, Point3D(3, 0, 0)}, {two, Point3D(2, 1, 0)}});
    std::list<Point3D *> chain{new Point3D(a), new Point3D(b)};
    EXPECT_TRUE(ProfilerTestAccess::stitch(slicer, list, chain).isOk() && chain.back()->x() == 2.0);
    EXPECT_TRUE(ProfilerTestAccess::stitch(slicer, list, chain).isOk() && chain.back()->x() == 3.0);
    EXPECT_EQ(ProfilerTestAccess::stitch(slicer, list, chain).mesg(), "Error in segment stitching.");
    EXPECT_TRUE(chain.size() == 4 && list.size() == 2);
    for (Point3D *p : chain) delete p;
}

TEST(RepeatedSegments, MatchPairwiseCheck) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> coord(-3, 3), unit(-1, 1);
    std::uniform_int_distribution<int> pick(0, 3);
    SegmentChainer chainer;
    // The segments the chainer keeps after dropRepeats, in order.
    auto remove = [&](std::vector<SegmentEnds> &s) {
        chainer.reset(s.data(), s.size());
        chainer.dropRepeats();
        std::vector<SegmentEnds> kept;
        ChainPoint const *first, *last;
        std::vector<bool> seen(s.size());
        while (chainer.nextChain(first, last))
            for (ChainPoint const *c = first; c != last; ++c) seen[c->segment] = true;
        for (std::size_t i = 0; i < s.size(); ++i)
            if (seen[i]) kept.push_back(s[i]);
        s = kept;
    };
    auto const repeats = &ProfilerTestAccess::repeats;
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
            if (std::none_of(expected.begin(), expected.end(), [&](SegmentEnds const &k) { return repeats(k, e); }))
                expected.push_back(e);
        remove(s);
        ASSERT_EQ(s.size(), expected.size()) << round;
        for (std::size_t i = 0; i < s.size(); ++i)
            EXPECT_TRUE(s[i].first.x() == expected[i].first.x() && s[i].second.y() == expected[i].second.y());
    }

    // Coordinates near the double range: the keys and the measured magnitude overflow to
    // infinity: those segments are compared with the exact test alone.
    Point3D const huge(1e308, 1e308, 1e308), other(1e308, -1e308, 1e308);
    std::vector<SegmentEnds> wild{{huge, other}, {huge, other}, {Point3D(1, 2, 3), Point3D(0, 0, 0)}};
    remove(wild);
    EXPECT_EQ(wild.size(), 2u);   // the repeat is still found, by the exact test
    EXPECT_EQ(wild.back().first.x(), 1.0);
}

}  // namespace
