#include "contour_nesting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace orvane {

double twiceSignedArea(Ring2 const &ring) {
    double sum = 0;
    std::size_t const n = ring.size();
    if (n < 3) return 0;
    // Relative to the first corner, where the products lose the least.
    Point2 const o = ring[0];
    for (std::size_t i = 1; i + 1 < n; ++i)
        sum += (ring[i][0] - o[0]) * (ring[i + 1][1] - o[1]) - (ring[i + 1][0] - o[0]) * (ring[i][1] - o[1]);
    return sum;
}

RingNesting nestRings(std::vector<Ring2> const &rings) {
    std::size_t const n = rings.size();
    RingNesting out;
    out.depth.assign(n, 0);
    out.parent.assign(n, -1);
    if (n < 2) return out;

    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    std::size_t edges = 0;
    for (Ring2 const &r : rings) {
        if (r.size() < 3) continue;   // encloses nothing
        edges += r.size();
        for (Point2 const &p : r) lo = std::min(lo, p[1]), hi = std::max(hi, p[1]);
    }
    if (edges == 0 || !(hi > lo)) return out;
    std::size_t const bands = std::clamp<std::size_t>(
        static_cast<std::size_t>(std::sqrt(static_cast<double>(edges))), 1, 1 << 16);
    double const height = (hi - lo) / static_cast<double>(bands);
    auto band = [&](double y) {
        double const b = std::floor((y - lo) / height);
        return b <= 0 ? std::size_t(0) : b >= static_cast<double>(bands - 1) ? bands - 1 : static_cast<std::size_t>(b);
    };

    // Every edge of every ring, with its ends, listed in each band its y range meets.
    struct Edge {
        Point2 a, c;
        std::uint32_t ring;
    };
    std::vector<std::size_t> start(bands + 1, 0);
    auto forEachEdge = [&](auto &&f) {
        for (std::size_t r = 0; r < n; ++r) {
            Ring2 const &ring = rings[r];
            if (ring.size() < 3) continue;
            for (std::size_t i = 0; i < ring.size(); ++i) {
                Point2 const &a = ring[i], &c = ring[i + 1 < ring.size() ? i + 1 : 0];
                f(Edge{a, c, static_cast<std::uint32_t>(r)}, band(std::min(a[1], c[1])), band(std::max(a[1], c[1])));
            }
        }
    };
    forEachEdge([&](Edge const &, std::size_t b0, std::size_t b1) {
        for (std::size_t b = b0; b <= b1; ++b) ++start[b + 1];
    });
    for (std::size_t b = 0; b < bands; ++b) start[b + 1] += start[b];
    std::vector<Edge> inBand(start[bands]);
    {
        std::vector<std::size_t> fill(start.begin(), start.end() - 1);
        forEachEdge([&](Edge const &e, std::size_t b0, std::size_t b1) {
            for (std::size_t b = b0; b <= b1; ++b) inBand[fill[b]++] = e;
        });
    }
    // The rings in the order of their test points' bands, so that one band's edges serve
    // all the rings tested in it while they are in the cache.
    std::vector<std::size_t> byBand;
    byBand.reserve(n);
    for (std::size_t r = 0; r < n; ++r)
        if (!rings[r].empty()) byBand.push_back(r);
    std::stable_sort(byBand.begin(), byBand.end(),
                     [&](std::size_t x, std::size_t y) { return band(rings[x][0][1]) < band(rings[y][0][1]); });

    std::vector<double> area(n);
    for (std::size_t r = 0; r < n; ++r) area[r] = std::fabs(twiceSignedArea(rings[r]));
    std::vector<char> odd(n, 0);
    std::vector<std::uint32_t> touched;
    for (std::size_t r : byBand) {
        Point2 const q = rings[r][0];
        std::size_t const b = band(q[1]);
        touched.clear();
        for (std::size_t i = start[b]; i < start[b + 1]; ++i) {
            Edge const &e = inBand[i];
            // Half-open in y, so a ray through a corner counts one of its two edges.
            if ((e.a[1] > q[1]) == (e.c[1] > q[1]) || e.ring == r) continue;
            double const x = e.a[0] + (q[1] - e.a[1]) * (e.c[0] - e.a[0]) / (e.c[1] - e.a[1]);
            if (x <= q[0]) continue;
            if (!odd[e.ring]) touched.push_back(e.ring);
            odd[e.ring] ^= 1;
        }
        double nearest = std::numeric_limits<double>::infinity();
        for (std::uint32_t s : touched) {
            if (!odd[s]) continue;
            odd[s] = 0;
            ++out.depth[r];
            if (area[s] < nearest || (area[s] == nearest && static_cast<long long>(s) < out.parent[r]))
                nearest = area[s], out.parent[r] = s;
        }
        for (std::uint32_t s : touched) odd[s] = 0;
    }
    return out;
}

}  // namespace orvane
