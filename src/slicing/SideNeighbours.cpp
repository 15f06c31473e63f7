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
    // Within a bucket, the sides of one edge share the upper vertex. `seenIn[u]` says in which
    // bucket (plus one) u was last met, `count[u]` and `firstAt[u]` how often and where first.
    std::vector<std::uint32_t> seenIn(vertices, 0), count(vertices, 0), firstAt(vertices, 0);
    for (std::size_t v = 0; v < vertices; ++v) {
        std::uint32_t const mark = static_cast<std::uint32_t>(v + 1);
        for (std::uint32_t k = start[v]; k < start[v + 1]; ++k) {
            std::uint32_t const u = upper[k];
            if (seenIn[u] != mark) {
                seenIn[u] = mark;
                count[u] = 1;
                firstAt[u] = k;
            } else {
                ++count[u];
            }
        }
        for (std::uint32_t k = start[v]; k < start[v + 1]; ++k) {
            std::uint32_t const u = upper[k];
            if (count[u] != 2 || firstAt[u] == k) continue;
            std::uint32_t const a = side[firstAt[u]], b = side[k];
            if (a / 3 == b / 3) continue;   // two sides of one (degenerate) triangle
            neighbour[a] = b;
            neighbour[b] = a;
        }
    }
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
