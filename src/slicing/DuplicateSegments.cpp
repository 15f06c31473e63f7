#include "slicing/DuplicateSegments.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

namespace {

constexpr double kMatch = 1e-8;
constexpr double kA = 0.7548776662466927;   // plastic number, inverse and its square
constexpr double kB = 0.5698402909980532;
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

double key(Point3D const &p) { return p.x() + kA * p.y() + kB * p.z(); }

bool finitePoint(Point3D const &p) {
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

bool sameSegment(SegmentEnds const &s, SegmentEnds const &o) {
    return (endsMatch(s.first, o.first, kMatch) && endsMatch(s.second, o.second, kMatch)) ||
           (endsMatch(s.first, o.second, kMatch) && endsMatch(s.second, o.first, kMatch));
}

}  // namespace

std::size_t DuplicateSegments::remove(std::vector<SegmentEnds> &segments, double magnitude) {
    std::size_t const n = segments.size();
    if (n < 2) return 0;
    if (n >= kNone) throw std::length_error("DuplicateSegments: too many segments");

    // Keys of matching segments differ by less than the window: (1 + a + b) 1e-8 for the
    // exact values, plus the rounding of two keys (a few ulps of the largest term).
    keys_.resize(n);
    bool const measure = !(magnitude >= 0.0);
    if (measure) magnitude = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        SegmentEnds const &s = segments[i];
        if (!finitePoint(s.first) || !finitePoint(s.second)) {
            keys_[i] = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        keys_[i] = std::min(key(s.first), key(s.second));
        if (measure)
            for (Point3D const *p : {&s.first, &s.second})
                magnitude = std::max(magnitude, std::fabs(p->x()) + std::fabs(p->y()) + std::fabs(p->z()));
    }
    double const window = (1.0 + kA + kB) * kMatch * (1.0 + 1e-9) + 4e-15 * magnitude;
    // Cells sixteen windows wide: a match of key k lies in k's cell or, when k is within a
    // sixteenth of a cell (plus rounding, below 0.003 cell for any magnitude since the window
    // grows with it) of a border, in the neighbour across it.
    double const scale = 1.0 / (16.0 * window);

    std::size_t buckets = 16;
    while (buckets < 2 * n) buckets *= 2;
    head_.assign(buckets, kNone);
    next_.resize(n);
    kept_.assign(n, 1);
    auto bucketOf = [&](std::int64_t cell) {
        std::uint64_t h = static_cast<std::uint64_t>(cell) * 0x9E3779B97F4A7C15ull;
        return static_cast<std::size_t>(h >> 32) & (buckets - 1);
    };
    auto repeats = [&](std::size_t i, std::int64_t cell) {
        for (std::uint32_t j = head_[bucketOf(cell)]; j != kNone; j = next_[j])
            if (std::fabs(keys_[j] - keys_[i]) <= window && sameSegment(segments[i], segments[j])) return true;
        return false;
    };

    // Keys that overflow (finite coordinates near the double range) have no cell: such a
    // segment is checked against every kept segment, and every later one against it, with
    // the exact test alone. Usually there are none.
    std::vector<std::uint32_t> unhashed;
    auto repeatsUnhashed = [&](std::size_t i) {
        for (std::uint32_t j : unhashed)
            if (sameSegment(segments[i], segments[j])) return true;
        return false;
    };

    std::size_t removed = 0;
    for (std::size_t i = 0; i < n; ++i) {
        double const k = keys_[i];
        if (std::isnan(k)) continue;
        if (std::isinf(k)) {
            bool duplicate = false;
            for (std::size_t j = 0; j < i && !duplicate; ++j)
                duplicate = kept_[j] && !std::isnan(keys_[j]) && sameSegment(segments[i], segments[j]);
            if (duplicate) {
                kept_[i] = 0;
                ++removed;
            } else {
                unhashed.push_back(static_cast<std::uint32_t>(i));
            }
            continue;
        }
        // Clamped so that the integer conversion is always defined; clamped keys only share
        // cells, the exact test still decides. (A finite key times a finite scale is never
        // NaN; an infinite window gives scale 0 and one shared cell.)
        double const q = std::clamp(k * scale, -9.0e18, 9.0e18);
        auto cell = static_cast<std::int64_t>(q);   // floor, without a libm call
        if (static_cast<double>(cell) > q) --cell;
        double const frac = q - static_cast<double>(cell);
        bool duplicate = !unhashed.empty() && repeatsUnhashed(i);
        if (!duplicate) duplicate = repeats(i, cell);
        if (!duplicate && frac < 0.075) duplicate = repeats(i, cell - 1);
        if (!duplicate && frac > 0.925) duplicate = repeats(i, cell + 1);
        if (duplicate) {
            kept_[i] = 0;
            ++removed;
            continue;
        }
        std::size_t const b = bucketOf(cell);
        next_[i] = head_[b];
        head_[b] = static_cast<std::uint32_t>(i);
    }
    if (removed == 0) return 0;
    std::size_t out = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (kept_[i]) segments[out++] = segments[i];
    segments.resize(out);
    return removed;
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
