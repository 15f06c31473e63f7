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
        return b <= 0 ? std::size_t(0) : std::min(bands - 1, static_cast<std::size_t>(b));
    };

    // Every edge of every ring, listed in each band its y range meets.
    struct EdgeRef {
        std::uint32_t ring, from;   // the edge from corner `from` to the next
    };
    std::vector<std::size_t> start(bands + 1, 0);
    auto forEachEdge = [&](auto &&f) {
        for (std::size_t r = 0; r < n; ++r) {
            Ring2 const &ring = rings[r];
            if (ring.size() < 3) continue;
            for (std::size_t i = 0; i < ring.size(); ++i) {
                double const y0 = ring[i][1], y1 = ring[(i + 1) % ring.size()][1];
                f(r, i, band(std::min(y0, y1)), band(std::max(y0, y1)));
            }
        }
    };
    forEachEdge([&](std::size_t, std::size_t, std::size_t b0, std::size_t b1) {
        for (std::size_t b = b0; b <= b1; ++b) ++start[b + 1];
    });
    for (std::size_t b = 0; b < bands; ++b) start[b + 1] += start[b];
    std::vector<EdgeRef> inBand(start[bands]);
    {
        std::vector<std::size_t> fill(start.begin(), start.end() - 1);
        forEachEdge([&](std::size_t r, std::size_t i, std::size_t b0, std::size_t b1) {
            for (std::size_t b = b0; b <= b1; ++b)
                inBand[fill[b]++] = {static_cast<std::uint32_t>(r), static_cast<std::uint32_t>(i)};
        });
    }

    std::vector<double> area(n);
    for (std::size_t r = 0; r < n; ++r) area[r] = std::fabs(twiceSignedArea(rings[r]));
    std::vector<char> odd(n, 0);
    std::vector<std::uint32_t> touched;
    for (std::size_t r = 0; r < n; ++r) {
        if (rings[r].empty()) continue;
        Point2 const q = rings[r][0];
        std::size_t const b = band(q[1]);
        touched.clear();
        for (std::size_t e = start[b]; e < start[b + 1]; ++e) {
            EdgeRef const ref = inBand[e];
            if (ref.ring == r) continue;
            Ring2 const &ring = rings[ref.ring];
            Point2 const &a = ring[ref.from], &c = ring[(ref.from + 1) % ring.size()];
            // Half-open in y, so a ray through a corner counts one of its two edges.
            if ((a[1] > q[1]) == (c[1] > q[1])) continue;
            double const x = a[0] + (q[1] - a[1]) * (c[0] - a[0]) / (c[1] - a[1]);
            if (x <= q[0]) continue;
            if (!odd[ref.ring]) touched.push_back(ref.ring);
            odd[ref.ring] ^= 1;
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
