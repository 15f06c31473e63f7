#include "slicing/SideNeighbours.h"

#include <algorithm>
#include <stdexcept>

namespace ORVANE_DATABASE {
namespace slicing {

void findSideNeighbours(std::vector<std::uint32_t> const &corners, std::size_t vertices,
                        std::vector<std::uint32_t> &neighbour) {
    std::size_t const sides = corners.size() - corners.size() % 3;
    if (sides >= kNoNeighbour || vertices >= kNoNeighbour)
        throw std::length_error("findSideNeighbours: too many triangles or vertices");
    neighbour.assign(sides, kNoNeighbour);
    auto other = [&](std::size_t side) { return side % 3 == 2 ? side - 2 : side + 1; };
    // Sides bucketed by their lower vertex (a counting sort), each as (upper vertex, side).
    std::vector<std::uint32_t> start(vertices + 1, 0);
    for (std::size_t side = 0; side < sides; ++side) {
        std::uint32_t const a = corners[side], b = corners[other(side)];
        if (a != b && a < vertices && b < vertices) ++start[std::min(a, b) + 1];
    }
    for (std::size_t v = 0; v < vertices; ++v) start[v + 1] += start[v];
    // Each as its upper vertex and the side.
    std::vector<std::uint32_t> upper(start[vertices]), side(start[vertices]);
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t s = 0; s < sides; ++s) {
            std::uint32_t const a = corners[s], b = corners[other(s)];
            if (a == b || a >= vertices || b >= vertices) continue;
            std::uint32_t const k = fill[std::min(a, b)]++;
            upper[k] = std::max(a, b);
            side[k] = static_cast<std::uint32_t>(s);
        }
    }
    // Within a bucket the sides of one edge share the upper vertex. Buckets hold a vertex's
    // few edges, so every entry is compared with every other one, without branches on the
    // comparisons (which, as sort comparisons, would be mispredicted all the time); a rare
    // large bucket (a vertex with many edges) is sorted instead.
    std::vector<std::uint32_t> order;
    for (std::size_t v = 0; v < vertices; ++v) {
        std::uint32_t const first = start[v], count = start[v + 1] - first;
        std::uint32_t const *up = upper.data() + first;
        std::uint32_t const *sd = side.data() + first;
        auto link = [&](std::uint32_t a, std::uint32_t b) {
            if (a / 3 == b / 3) return;   // two sides of one (degenerate) triangle
            neighbour[a] = b;
            neighbour[b] = a;
        };
        if (count <= 32) {
            for (std::uint32_t i = 0; i < count; ++i) {
                std::uint32_t same = 0, at = i;
                for (std::uint32_t j = 0; j < count; ++j) {
                    bool const eq = j != i && up[j] == up[i];
                    same += eq;
                    at = eq ? j : at;
                }
                if (same == 1 && i < at) link(sd[i], sd[at]);
            }
            continue;
        }
        order.resize(count);
        for (std::uint32_t i = 0; i < count; ++i) order[i] = i;
        std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
            return up[a] != up[b] ? up[a] < up[b] : a < b;
        });
        for (std::uint32_t r = 0; r < count;) {
            std::uint32_t e = r + 1;
            while (e < count && up[order[e]] == up[order[r]]) ++e;
            if (e - r == 2) link(sd[order[r]], sd[order[r + 1]]);
            r = e;
        }
    }
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
