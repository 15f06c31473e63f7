// Nesting of a layer's contours: the banded ray test against the plain one (every corner
// tested against every other contour), on random families of nested, non-crossing rings.
#include "contour_nesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr double kPi = 3.14159265358979323846;
using orvane::Point2;
using orvane::Ring2;

struct Circle {
    double x, y, r;
    long long parent;
};

// Circles in a random tree: each inside its parent, apart from its siblings.
std::vector<Circle> circleTree(std::mt19937 &rng, std::size_t count) {
    std::vector<Circle> out{{0, 0, 1000, -1}};
    std::uniform_real_distribution<double> unit(0, 1);
    for (int attempt = 0; out.size() < count && attempt < 100000; ++attempt) {
        std::size_t const p = std::uniform_int_distribution<std::size_t>(0, out.size() - 1)(rng);
        Circle const &parent = out[p];
        // Within half the parent's radius, where even a triangle standing for the parent
        // encloses it.
        double const r = parent.r * (0.03 + 0.15 * unit(rng));
        double const a = 2 * kPi * unit(rng), d = (parent.r / 2 - r) * 0.95 * std::sqrt(unit(rng));
        Circle c{parent.x + d * std::cos(a), parent.y + d * std::sin(a), r, static_cast<long long>(p)};
        bool clear = true;
        for (Circle const &o : out)
            if (o.parent == c.parent && std::hypot(o.x - c.x, o.y - c.y) < o.r + c.r) clear = false;
        if (clear) out.push_back(c);
    }
    return out;
}

// A circle as a ring: a random number of corners from a random start, either way round.
Ring2 ringOf(Circle const &c, std::mt19937 &rng) {
    std::size_t const n = std::uniform_int_distribution<std::size_t>(3, 40)(rng);
    double const start = std::uniform_real_distribution<double>(0, 2 * kPi)(rng);
    double const way = rng() % 2 ? 1 : -1;
    Ring2 ring;
    for (std::size_t i = 0; i < n; ++i) {
        double const a = start + way * 2 * kPi * static_cast<double>(i) / static_cast<double>(n);
        ring.push_back({{c.x + c.r * std::cos(a), c.y + c.r * std::sin(a)}});
    }
    return ring;
}

bool insideRing(Ring2 const &ring, Point2 const &q) {
    bool in = false;
    for (std::size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++)
        if ((ring[i][1] > q[1]) != (ring[j][1] > q[1]) &&
            q[0] < ring[i][0] + (q[1] - ring[i][1]) * (ring[j][0] - ring[i][0]) / (ring[j][1] - ring[i][1]))
            in = !in;
    return in;
}

TEST(ContourNesting, BandedRaysAgreeWithTestingEveryPair) {
    std::mt19937 rng(11);
    for (std::size_t trial = 0; trial < 40; ++trial) {
        std::vector<Circle> const circles = circleTree(rng, 2 + trial * 5);
        std::vector<Ring2> rings;
        for (Circle const &c : circles) rings.push_back(ringOf(c, rng));
        // Shuffled, so that parents do not come first.
        std::vector<std::size_t> order(rings.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::shuffle(order.begin(), order.end(), rng);
        std::vector<Ring2> shuffled;
        for (std::size_t i : order) shuffled.push_back(rings[i]);

        orvane::RingNesting const fast = orvane::nestRings(shuffled);
        for (std::size_t r = 0; r < shuffled.size(); ++r) {
            std::size_t depth = 0;
            long long parent = -1;
            for (std::size_t s = 0; s < shuffled.size(); ++s)
                if (s != r && insideRing(shuffled[s], shuffled[r][0])) {
                    ++depth;
                    if (parent < 0 || std::fabs(orvane::twiceSignedArea(shuffled[s])) <
                                          std::fabs(orvane::twiceSignedArea(shuffled[static_cast<std::size_t>(parent)])))
                        parent = static_cast<long long>(s);
                }
            ASSERT_EQ(fast.depth[r], depth) << "trial " << trial << " ring " << r;
            ASSERT_EQ(fast.parent[r], parent) << "trial " << trial << " ring " << r;
            // And the tree the rings were made from.
            long long const made = circles[order[r]].parent;
            long long const expected =
                made < 0 ? -1 : static_cast<long long>(std::find(order.begin(), order.end(), static_cast<std::size_t>(made)) - order.begin());
            ASSERT_EQ(fast.parent[r], expected);
        }
    }
}

TEST(ContourNesting, AreaSignFollowsTheWayRound) {
    Ring2 square{{{0, 0}}, {{2, 0}}, {{2, 2}}, {{0, 2}}};
    EXPECT_DOUBLE_EQ(orvane::twiceSignedArea(square), 8);
    std::reverse(square.begin(), square.end());
    EXPECT_DOUBLE_EQ(orvane::twiceSignedArea(square), -8);
    // A ring far from the origin keeps its area exactly.
    for (Point2 &p : square) p[0] += 1e6, p[1] -= 1e6;
    EXPECT_DOUBLE_EQ(orvane::twiceSignedArea(square), -8);
}

}  // namespace
