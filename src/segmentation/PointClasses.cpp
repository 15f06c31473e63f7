#include "segmentation/PointClasses.h"

#include "segmentation/CornerPoints.h"
#include "segmentation/RadixSort.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace ORVANE_DATABASE {

namespace {

constexpr double kBand = 1e-9;   // OrvaneDatabase::LessThan's dead band

// LessThan's tests at one coordinate, written as it writes them: a comes first when
// b - 1e-9 > a; the two are equal at this level (and the next coordinate decides) when
// neither comes first and |a - b| < 1e-9.
bool comesFirst(double a, double b) { return b - kBand > a; }
bool equalAtLevel(double low, double high) {
    return !comesFirst(low, high) && !comesFirst(high, low) && !(std::fabs(low - high) >= kBand);
}

}  // namespace

PointClasses::PointClasses(CornerPoints const &points) : m_points(points), m_class(points.vertexCount(), kUnused) {
    if (points.vertexCount() >= kUnused) throw std::length_error("PointClasses: too many vertices");
    // Exact lexicographic order of (x, y, z, vertex): a stable radix sort of (x key, vertex)
    // pairs made in vertex order, then each run of equal x sorted by the rest.
    std::vector<std::pair<std::uint64_t, std::uint32_t>> byX;
    for (std::size_t v = 0; v < points.vertexCount(); ++v) {
        if (!points.used(v)) continue;
        Vector3D const &p = points.point(v);
        if (std::isnan(p.i()) || std::isnan(p.j()) || std::isnan(p.k())) {
            m_class[v] = kUnsure;   // NaN is equal to everything at its level
            m_anyUnsure = true;
            continue;
        }
        byX.emplace_back(orderKey(p.i()), static_cast<std::uint32_t>(v));
    }
    radixSort(byX, [](std::pair<std::uint64_t, std::uint32_t> const &e) { return e.first; });
    std::vector<std::uint32_t> order(byX.size());
    for (std::size_t k = 0; k < byX.size(); ++k) order[k] = byX[k].second;
    byX = {};
    for (std::size_t first = 0, last; first < order.size(); first = last) {
        double const x = coordinate(order[first], 0);
        for (last = first + 1; last < order.size() && coordinate(order[last], 0) == x; ++last) {}
        if (last - first > 1) sortFrom(&order[first], &order[first] + (last - first), 1);
    }
    cluster(order.data(), order.data() + order.size(), 0);
}

void PointClasses::cluster(std::uint32_t *begin, std::uint32_t *end, int level) {
    // [begin, end) is sorted by coordinate `level` (then by the following ones).
    for (std::uint32_t *first = begin; first != end;) {
        std::uint32_t *last = first + 1;   // one past the cluster
        while (last != end && !comesFirst(coordinate(last[-1], level), coordinate(*last, level))) ++last;
        double const low = coordinate(*first, level), high = coordinate(last[-1], level);
        if (!equalAtLevel(low, high)) {
            mark(first, last, kUnsure);
            m_anyUnsure = true;
        } else if (level == 2) {
            mark(first, last, static_cast<Class>(m_count++));
        } else {
            if (low != high) sortFrom(first, last, level + 1);   // near-equal values at this level
            cluster(first, last, level + 1);
        }
        first = last;
    }
}

void PointClasses::sortFrom(std::uint32_t *begin, std::uint32_t *end, int level) const {
    std::sort(begin, end, [this, level](std::uint32_t a, std::uint32_t b) {
        for (int k = level; k < 3; ++k)
            if (coordinate(a, k) != coordinate(b, k)) return coordinate(a, k) < coordinate(b, k);
        return a < b;
    });
}

double PointClasses::coordinate(std::uint32_t v, int level) const { return m_points.point(v)[level]; }

void PointClasses::mark(std::uint32_t const *begin, std::uint32_t const *end, Class c) {
    for (std::uint32_t const *v = begin; v != end; ++v) m_class[*v] = c;
}

}  // namespace ORVANE_DATABASE
