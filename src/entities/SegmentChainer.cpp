#include "entities/SegmentChainer.h"

#include "PLC.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>

namespace ORVANE_DATABASE {

std::vector<double> const &stitchTolerances() {
    static const std::vector<double> ladder = [] {
        std::vector<double> t;
        for (double value = 1e-8; value < 0.01; value *= 10.0) t.push_back(value);
        return t;
    }();
    return ladder;
}

namespace {

using Index = std::uint32_t;
constexpr Index kNone = std::numeric_limits<Index>::max();

// Unused end points of the segments, hashed by a grid of cell size 4t for one tolerance t.
//
// Cells a query must visit: if |a - x| < t (the computed difference; then also the exact one)
// the exact quotients a/4t and x/4t differ by less than 0.25. Each computed quotient is off
// by at most half an ulp, so below 2^50 the cells floor(q - m) .. floor(q + m) with
// m = 0.25 + |q| 2^-51 + 1e-9 hold every match: one or two cells per axis. From 2^50 on the
// three cells k-1 .. k+1 are visited, which stays complete: there the quotients are so coarse
// that two doubles closer than t are at most one cell apart. Quotients are clamped to
// +-2^60 before the integer conversion, so huge coordinates are well defined; a clamped key
// only merges cells, the exact box test still decides. Points with a NaN or infinite
// coordinate never match anything and are left out.
//
// Each bucket is a singly linked list of end-point entries (2 * segment + end) in ascending
// order, so a walk can stop at its first match and at any segment not earlier than the best
// found so far. Used segments are unlinked lazily by the walks that meet them. Distinct
// cells sharing a bucket only add candidates.
class EndGrid {
public:
    EndGrid(std::vector<SegmentEnds> const &segments, double tolerance)
        : segments_(segments), tolerance_(tolerance), scale_(1.0 / (4.0 * tolerance)) {
        std::size_t entries = 2 * segments.size();
        std::size_t buckets = 16;
        while (buckets < entries) buckets *= 2;
        mask_ = buckets - 1;
        head_.assign(buckets, kNone);
        next_.assign(entries, kNone);
        for (std::size_t e = entries; e-- > 0;) {
            Point3D const &p = point(static_cast<Index>(e));
            if (!finite(p)) continue;
            std::size_t b = bucket(cellOf(p.x()), cellOf(p.y()), cellOf(p.z()));
            next_[e] = head_[b];
            head_[b] = static_cast<Index>(e);
        }
    }

    // Lowers `best` to the earliest unused segment (below `best`) with an end matching `x`.
    void query(Point3D const &x, std::vector<char> const &used, Index &best) {
        if (!finite(x)) return;
        std::int64_t lo[3], hi[3];
        double c[3] = {x.x(), x.y(), x.z()};
        for (int axis = 0; axis < 3; ++axis) cellRange(c[axis], lo[axis], hi[axis]);
        for (std::int64_t i = lo[0]; i <= hi[0]; ++i)
            for (std::int64_t j = lo[1]; j <= hi[1]; ++j)
                for (std::int64_t k = lo[2]; k <= hi[2]; ++k) walk(bucket(i, j, k), x, used, best);
    }

private:
    static constexpr double kClamp = 1152921504606846976.0;  // 2^60
    static constexpr double kFine = 1125899906842624.0;      // 2^50

    static bool finite(Point3D const &p) {
        return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
    }
    double quotient(double v) const { return std::clamp(v * scale_, -kClamp, kClamp); }
    std::int64_t cellOf(double v) const {
        return static_cast<std::int64_t>(std::floor(quotient(v)));
    }
    void cellRange(double v, std::int64_t &lo, std::int64_t &hi) const {
        double q = quotient(v);
        if (std::fabs(q) >= kFine) {
            auto cell = static_cast<std::int64_t>(std::floor(q));
            lo = cell - 1;
            hi = cell + 1;
            return;
        }
        double margin = 0.25 + std::fabs(q) * 0x1p-51 + 1e-9;
        lo = static_cast<std::int64_t>(std::floor(q - margin));
        hi = static_cast<std::int64_t>(std::floor(q + margin));
    }
    std::size_t bucket(std::int64_t i, std::int64_t j, std::int64_t k) const {
        std::uint64_t h = static_cast<std::uint64_t>(i) * 0x9E3779B97F4A7C15ull;
        h ^= static_cast<std::uint64_t>(j) * 0xC2B2AE3D27D4EB4Full + (h << 6) + (h >> 2);
        h ^= static_cast<std::uint64_t>(k) * 0x165667B19E3779F9ull + (h << 6) + (h >> 2);
        h ^= h >> 29;
        return static_cast<std::size_t>(h) & mask_;
    }
    Point3D const &point(Index entry) const {
        SegmentEnds const &s = segments_[entry >> 1];
        return (entry & 1) ? s.second : s.first;
    }
    void walk(std::size_t b, Point3D const &x, std::vector<char> const &used, Index &best) {
        Index *link = &head_[b];
        while (*link != kNone) {
            Index entry = *link;
            Index segment = entry >> 1;
            if (segment >= best) return;
            if (used[segment]) {
                *link = next_[entry];
                continue;
            }
            if (endsMatch(point(entry), x, tolerance_)) {
                best = segment;
                return;
            }
            link = &next_[entry];
        }
    }

    std::vector<SegmentEnds> const &segments_;
    double tolerance_;
    double scale_;
    std::size_t mask_ = 0;
    std::vector<Index> head_;
    std::vector<Index> next_;
};

}  // namespace

std::vector<std::vector<ChainPoint>> chainSegmentEnds(std::vector<SegmentEnds> const &segments) {
    std::vector<std::vector<ChainPoint>> chains;
    std::size_t n = segments.size();
    if (n == 0) return chains;
    if (n > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw std::length_error("chainSegmentEnds: too many segments");

    // Grids are built on first use: the finest and the coarsest serve nearly every query,
    // the four between only steps that attach across a small gap.
    std::vector<double> const &ladder = stitchTolerances();
    std::vector<std::unique_ptr<EndGrid>> built(ladder.size());
    auto grid = [&](std::size_t level) -> EndGrid & {
        if (!built[level]) built[level] = std::make_unique<EndGrid>(segments, ladder[level]);
        return *built[level];
    };

    std::size_t const coarsest = ladder.size() - 1;
    std::vector<char> used(n, 0);
    std::vector<ChainPoint> front, back;
    for (std::size_t start = 0; start < n; ++start) {
        if (used[start]) continue;
        used[start] = 1;
        front.clear();
        back.assign({ChainPoint{start, 0}, ChainPoint{start, 1}});
        Point3D frontPoint = segments[start].first;
        Point3D backPoint = segments[start].second;
        for (;;) {
            Index best = kNone;
            double tolerance = 0.0;
            // Nearly every step attaches at the finest tolerance; when it does not, the
            // coarsest tells at once whether anything attaches at all (the chain's end).
            for (std::size_t level : {std::size_t(0), coarsest}) {
                grid(level).query(frontPoint, used, best);
                grid(level).query(backPoint, used, best);
                tolerance = ladder[level];
                if (best != kNone) break;
            }
            if (best == kNone) break;
            if (tolerance != ladder[0]) {
                for (std::size_t level = 1; level < coarsest; ++level) {
                    Index finer = kNone;
                    grid(level).query(frontPoint, used, finer);
                    grid(level).query(backPoint, used, finer);
                    if (finer != kNone) {
                        best = finer;
                        tolerance = ladder[level];
                        break;
                    }
                }
            }
            SegmentEnds const &s = segments[best];
            used[best] = 1;
            if (endsMatch(frontPoint, s.first, tolerance)) {
                front.push_back({best, 1});
                frontPoint = s.second;
            } else if (endsMatch(frontPoint, s.second, tolerance)) {
                front.push_back({best, 0});
                frontPoint = s.first;
            } else if (endsMatch(backPoint, s.first, tolerance)) {
                back.push_back({best, 1});
                backPoint = s.second;
            } else {
                back.push_back({best, 0});
                backPoint = s.first;
            }
        }
        std::vector<ChainPoint> chain(front.rbegin(), front.rend());
        chain.insert(chain.end(), back.begin(), back.end());
        chains.push_back(std::move(chain));
    }
    return chains;
}

void releaseContour(PLC *contour) {
    if (!contour) return;
    std::vector<Point3D *> *points = contour->pointList();
    delete contour;
    for (Point3D *p : *points) delete p;
    delete points;
}

void chainSegments(std::vector<SegmentEnds> const &segments, std::vector<PLC *> &out,
                   bool closedOnly) {
    for (std::vector<ChainPoint> const &chain : chainSegmentEnds(segments)) {
        std::unique_ptr<PLC, void (*)(PLC *)> contour(new PLC(), &releaseContour);
        contour->pointList()->reserve(chain.size());
        for (ChainPoint const &c : chain) {
            SegmentEnds const &s = segments[c.segment];
            auto point = std::make_unique<Point3D>(c.end ? s.second : s.first);
            contour->addPoint(point.get());
            point.release();
        }
        std::vector<Point3D *> const &points = *contour->pointList();
        if (closedOnly && !endsMatch(*points.front(), *points.back(), 1e-8))
            continue;  // not delivered: the deleter releases it
        out.push_back(contour.get());
        contour.release();
    }
}

}  // namespace ORVANE_DATABASE
