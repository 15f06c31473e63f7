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

PointClasses::PointClasses(CornerPoints const &points) : m_class(points.vertexCount(), kUnused) {
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
    std::vector<Entry> entries;
    entries.reserve(byX.size());
    for (auto const &e : byX) {
        Vector3D const &p = points.point(e.second);
        entries.push_back({{p.i(), p.j(), p.k()}, e.second});
    }
    for (auto first = entries.begin(); first != entries.end();) {
        auto last = first + 1;
        while (last != entries.end() && last->c[0] == first->c[0]) ++last;
        if (last - first > 1) sortFrom(&*first, &*first + (last - first), 1);
        first = last;
    }
    cluster(entries.data(), entries.data() + entries.size(), 0);
}

void PointClasses::cluster(Entry *begin, Entry *end, int level) {
    // [begin, end) is sorted by coordinate `level` (then by the following ones).
    for (Entry *first = begin; first != end;) {
        Entry *last = first + 1;   // one past the cluster
        while (last != end && !comesFirst(last[-1].c[level], last->c[level])) ++last;
        double const low = first->c[level], high = last[-1].c[level];
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

void PointClasses::sortFrom(Entry *begin, Entry *end, int level) {
    std::sort(begin, end, [level](Entry const &a, Entry const &b) {
        for (int k = level; k < 3; ++k)
            if (a.c[k] != b.c[k]) return a.c[k] < b.c[k];
        return a.vertex < b.vertex;
    });
}

void PointClasses::mark(Entry *begin, Entry *end, Class c) {
    for (Entry *e = begin; e != end; ++e) m_class[e->vertex] = c;
}

}  // namespace ORVANE_DATABASE
