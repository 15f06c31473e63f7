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
    // Each as (upper vertex, side) in one 64-bit key, so that ordering a bucket by key brings
    // the sides of one edge together, in side order.
    std::vector<std::uint64_t> bucket(start[vertices]);
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t s = 0; s < sides; ++s) {
            std::uint32_t const a = corners[s], b = corners[other(s)];
            if (a == b || a >= vertices || b >= vertices) continue;
            bucket[fill[std::min(a, b)]++] = (static_cast<std::uint64_t>(std::max(a, b)) << 32) | s;
        }
    }
    for (std::size_t v = 0; v < vertices; ++v) {
        std::uint64_t *const first = bucket.data() + start[v];
        std::uint64_t *const last = bucket.data() + start[v + 1];
        if (last - first > 16) {
            std::sort(first, last);
        } else {   // buckets hold a vertex's few edges: an insertion sort
            for (std::uint64_t *i = first + 1; i < last; ++i)
                for (std::uint64_t *j = i; j > first && j[-1] > *j; --j) std::swap(j[-1], *j);
        }
        for (std::uint64_t *run = first; run != last;) {
            std::uint64_t *end = run + 1;
            while (end != last && (*end >> 32) == (*run >> 32)) ++end;
            if (end - run == 2) {
                auto const a = static_cast<std::uint32_t>(run[0]), b = static_cast<std::uint32_t>(run[1]);
                if (a / 3 != b / 3) {   // not two sides of one (degenerate) triangle
                    neighbour[a] = b;
                    neighbour[b] = a;
                }
            }
            run = end;
        }
    }
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
