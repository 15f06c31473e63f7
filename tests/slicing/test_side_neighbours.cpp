// Side neighbours against a brute-force pairing, on random triangle soups with shared,
// repeated and degenerate corners, through both sort layouts (a vertex count small enough to
// pack edge key and side in one word, and one too large for that).
#include "slicing/SideNeighbours.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace ORVANE_DATABASE;

namespace {

// Side s' is across side s when they join the same two (different) vertices, belong to
// different triangles and no other side joins them.
std::vector<std::uint32_t> bruteForce(std::vector<std::uint32_t> const &c) {
    std::size_t const sides = c.size();
    auto ends = [&](std::size_t s) {
        std::uint32_t const a = c[s], b = c[s % 3 == 2 ? s - 2 : s + 1];
        return std::make_pair(std::min(a, b), std::max(a, b));
    };
    std::vector<std::uint32_t> out(sides, slicing::kNoNeighbour);
    for (std::size_t s = 0; s < sides; ++s) {
        if (ends(s).first == ends(s).second) continue;
        std::vector<std::size_t> same;
        for (std::size_t t = 0; t < sides; ++t)
            if (t != s && ends(t) == ends(s)) same.push_back(t);
        if (same.size() == 1 && same[0] / 3 != s / 3) out[s] = static_cast<std::uint32_t>(same[0]);
    }
    return out;
}

TEST(SideNeighbours, MatchBruteForce) {
    std::mt19937 rng(17);
    for (int round = 0; round < 300; ++round) {
        std::uint32_t const vertices = 3 + rng() % 12;
        std::vector<std::uint32_t> corners;
        for (int t = 0, n = 1 + static_cast<int>(rng() % 25); t < n; ++t) {
            std::uint32_t a = rng() % vertices, b = rng() % vertices, c = rng() % vertices;
            if (rng() % 4 == 0 && !corners.empty()) {   // a copy of an earlier triangle, maybe turned
                std::size_t const k = 3 * (rng() % (corners.size() / 3));
                a = corners[k + 1], b = corners[k], c = corners[k + 2];
            }
            corners.insert(corners.end(), {a, b, c});
        }
        std::vector<std::uint32_t> const expected = bruteForce(corners);
        std::vector<std::uint32_t> found;
        slicing::findSideNeighbours(corners, vertices, found);
        EXPECT_EQ(found, expected) << round;
        slicing::findSideNeighbours(corners, std::size_t{1} << 31, found);   // unpacked keys
        EXPECT_EQ(found, expected) << round;
    }
}

}  // namespace
