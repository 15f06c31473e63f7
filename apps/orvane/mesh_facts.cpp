#include "mesh_facts.h"

#include "flat_hash.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace orvane {

namespace {

struct EdgeHash {
    std::size_t operator()(std::uint64_t key) const { return static_cast<std::size_t>(mixBits(key)); }
};

// Uses of an edge in the low half, uses from the lower to the higher vertex index in the
// high half; both saturate, which only matters past 65535 triangles on one edge.
constexpr std::uint32_t kUse = 1, kForward = 1u << 16, kHalf = 0xffffu;

std::uint32_t root(std::vector<std::uint32_t> &parent, std::uint32_t v) {
    while (parent[v] != v) {
        parent[v] = parent[parent[v]];   // path halving
        v = parent[v];
    }
    return v;
}

}  // namespace

MeshFacts meshFacts(double const *coords, std::size_t vertexCount, std::uint32_t const *corners,
                    std::size_t triangleCount,
                    std::function<void(std::size_t done, std::size_t total)> const &report,
                    MeshEdgeLists *lists) {
    MeshFacts facts;
    FlatHashMap<std::uint64_t, std::uint32_t, EdgeHash> uses(triangleCount * 3 / 2);
    std::vector<std::uint32_t> parent(vertexCount);
    std::iota(parent.begin(), parent.end(), 0u);

    // Volume and area relative to the box centre, where the products lose the least.
    double lo[3] = {0, 0, 0}, hi[3] = {0, 0, 0};
    for (std::size_t v = 0; v < vertexCount; ++v)
        for (int c = 0; c < 3; ++c) {
            double const x = coords[3 * v + c];
            if (v == 0 || x < lo[c]) lo[c] = x;
            if (v == 0 || x > hi[c]) hi[c] = x;
        }
    double const centre[3] = {(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2};

    auto edgeKey = [](std::uint64_t a, std::uint64_t b) { return a < b ? a << 32 | b : b << 32 | a; };
    constexpr std::size_t kAhead = 16;   // triangles whose edge slots are fetched in advance
    double volume6 = 0, area2 = 0;
    for (std::size_t t = 0; t < triangleCount; ++t) {
        if (t % kAhead == 0)
            for (std::size_t u = t + kAhead; u < std::min(t + 2 * kAhead, triangleCount); ++u)
                for (int i = 0; i < 3; ++i) uses.prefetch(edgeKey(corners[3 * u + i], corners[3 * u + (i + 1) % 3]));
        std::uint32_t const *c = &corners[3 * t];
        std::uint64_t keys[3];
        bool forward[3];
        for (int i = 0; i < 3; ++i) {
            keys[i] = edgeKey(c[i], c[(i + 1) % 3]);
            forward[i] = c[i] < c[(i + 1) % 3];
        }
        for (int i = 0; i < 3; ++i) {
            if ((i >= 1 && keys[i] == keys[0]) || (i >= 2 && keys[i] == keys[1])) continue;
            std::uint32_t &n = uses.insert(keys[i], 0);
            if ((n & kHalf) != kHalf) n += kUse;
            if (forward[i] && (n >> 16) != kHalf) n += kForward;
        }
        std::uint32_t const r0 = root(parent, c[0]);
        for (int i = 1; i < 3; ++i) {
            std::uint32_t const r = root(parent, c[i]);
            if (r != r0) parent[r] = r0;
        }

        double p[3][3];
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k < 3; ++k) p[i][k] = coords[3 * c[i] + k] - centre[k];
        double const e1[3] = {p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]};
        double const e2[3] = {p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]};
        double const n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                             e1[0] * e2[1] - e1[1] * e2[0]};
        double const twiceArea = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        area2 += twiceArea;
        volume6 += p[0][0] * n[0] + p[0][1] * n[1] + p[0][2] * n[2];
        // Zero area, up to the rounding of the cross product of its two longest sides.
        double const longest = std::max({e1[0] * e1[0] + e1[1] * e1[1] + e1[2] * e1[2],
                                         e2[0] * e2[0] + e2[1] * e2[1] + e2[2] * e2[2]});
        if (c[0] == c[1] || c[1] == c[2] || c[2] == c[0] || twiceArea <= 1e-14 * longest) ++facts.degenerate;
        if (report && t % 65536 == 0) report(t, triangleCount);
    }
    if (report) report(triangleCount, triangleCount);

    facts.edges = uses.size();
    std::vector<std::uint64_t> border, nonManifold;
    uses.forEach([&](std::uint64_t key, std::uint32_t n) {
        std::uint32_t const used = n & kHalf, forward = n >> 16;
        if (used < 2) {
            ++facts.borderEdges;
            if (lists) border.push_back(key);
        } else if (used > 2) {
            ++facts.nonManifoldEdges;
            if (lists) nonManifold.push_back(key);
        } else if (forward != 1) {
            ++facts.misorientedEdges;
        }
    });
    if (lists) {
        // The table's order depends on the hashing: the lists are sorted instead.
        auto pairs = [](std::vector<std::uint64_t> &keys, std::vector<std::uint32_t> &out) {
            std::sort(keys.begin(), keys.end());
            out.clear();
            out.reserve(2 * keys.size());
            for (std::uint64_t k : keys) out.insert(out.end(), {static_cast<std::uint32_t>(k >> 32), static_cast<std::uint32_t>(k)});
        };
        pairs(border, lists->border);
        pairs(nonManifold, lists->nonManifold);
    }
    std::vector<char> used(vertexCount, 0);
    for (std::size_t i = 0; i < 3 * triangleCount; ++i) used[corners[i]] = 1;
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (used[v] && parent[v] == v) ++facts.parts;
    facts.area = area2 / 2;
    facts.volume = volume6 / 6;
    return facts;
}

}  // namespace orvane
