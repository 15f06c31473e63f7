#include "entities/SegmentChainer.h"

#include "PLC.h"

#include <algorithm>
#include <cmath>
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

// End points hashed by a grid of cells `width` wide for a tolerance t. A point x's matches
// (|a - x| < t per coordinate) lie within the cells of [q - m, q + m], q = x / width, with
// m = t / width plus the rounding of the two quotients (|q| 2^-51) plus a hair: with
// width = 64 t that is one cell per axis except within 1/64 of a border. From |q| = 2^46 on
// the quotients are multiples of 1/64 or coarser, and two doubles within t are at most one
// cell apart, so the cells k - 1 .. k + 1 are visited. Quotients are clamped to +-2^60 before the integer
// conversion; a clamped key only merges cells, the exact test decides. Points with a NaN or infinite coordinate match
// nothing and are left out.
//
// Every entry (2 * segment + end) remembers its own cell's bucket and whether its range
// crosses a border, so that the usual query (for an entry's own point) walks one bucket.
// Buckets list entries in ascending order; entries of used segments are unlinked by the
// walks that meet them.
class EndHash {
public:
    EndHash(std::vector<SegmentEnds> const &segments, double tolerance, double width)
        : segments_(segments), scale_(1.0 / width), margin_(tolerance / width) {
        std::size_t const entries = 2 * segments.size();
        std::size_t buckets = 16;
        while (buckets < entries) buckets *= 2;
        mask_ = buckets - 1;
        head_.assign(buckets, kNone);
        next_.assign(entries, kNone);
        home_.resize(entries);
        for (std::size_t e = entries; e-- > 0;) {
            Point3D const &p = point(static_cast<Index>(e));
            double const c[3] = {p.x(), p.y(), p.z()};
            if (!(std::isfinite(c[0]) && std::isfinite(c[1]) && std::isfinite(c[2]))) {
                home_[e] = kNotHashed;
                continue;
            }
            std::int64_t own[3];
            bool single = true;
            for (int axis = 0; axis < 3; ++axis) {
                bool below, above;
                borders(c[axis], own[axis], below, above);
                single = single && !below && !above;
            }
            std::size_t const b = bucket(own[0], own[1], own[2]);
            next_[e] = head_[b];
            head_[b] = static_cast<Index>(e);
            home_[e] = single ? b : kSeveral;
        }
    }

    // Calls f(entry) for every unused entry whose point may match x (a superset), where x is
    // `from`'s point when `from` is an entry, else any point. f returns false to stop.
    template <class F>
    void visit(Point3D const &x, Index from, std::vector<char> const &used, F &&f) {
        std::size_t const home = from == kNone ? kSeveral : home_[from];
        if (home == kNotHashed) return;
        if (home != kSeveral) {
            walk(home, used, f);
            return;
        }
        double const c[3] = {x.x(), x.y(), x.z()};
        std::int64_t lo[3], hi[3];
        for (int axis = 0; axis < 3; ++axis) {
            if (!std::isfinite(c[axis])) return;
            bool below, above;
            borders(c[axis], lo[axis], below, above);
            hi[axis] = lo[axis] + above;
            lo[axis] -= below;
        }
        for (std::int64_t i = lo[0]; i <= hi[0]; ++i)
            for (std::int64_t j = lo[1]; j <= hi[1]; ++j)
                for (std::int64_t k = lo[2]; k <= hi[2]; ++k)
                    if (!walk(bucket(i, j, k), used, f)) return;
    }

    Point3D const &point(Index entry) const {
        SegmentEnds const &s = segments_[entry >> 1];
        return (entry & 1) ? s.second : s.first;
    }

private:
    static constexpr double kClamp = 1152921504606846976.0;  // 2^60
    static constexpr double kCoarse = 70368744177664.0;      // 2^46
    static constexpr std::size_t kSeveral = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t kNotHashed = kSeveral - 1;

    template <class F>
    bool walk(std::size_t b, std::vector<char> const &used, F &f) {
        Index *link = &head_[b];
        while (*link != kNone) {
            Index const entry = *link;
            if (used[entry >> 1]) {
                *link = next_[entry];
                continue;
            }
            if (!f(entry)) return false;
            link = &next_[entry];
        }
        return true;
    }
    static std::int64_t floorOf(double q) {
        auto k = static_cast<std::int64_t>(q);
        return static_cast<double>(k) > q ? k - 1 : k;
    }
    double quotient(double v) const { return std::clamp(v * scale_, -kClamp, kClamp); }
    // The own cell of v (floor of its quotient q) and whether [q - m, q + m] crosses its lower
    // or upper border (frac = q - floor(q) is exact below 2^46; beyond, both sides count).
    void borders(double v, std::int64_t &own, bool &below, bool &above) const {
        double const q = quotient(v);
        own = floorOf(q);
        if (std::fabs(q) >= kCoarse) {
            below = above = true;
            return;
        }
        double const m = margin_ + std::fabs(q) * 0x1p-51 + 1e-9;
        double const frac = q - static_cast<double>(own);
        below = frac <= m;
        above = frac >= 1.0 - m;
    }
    std::size_t bucket(std::int64_t i, std::int64_t j, std::int64_t k) const {
        std::uint64_t h = static_cast<std::uint64_t>(i) * 0x9E3779B97F4A7C15ull;
        h ^= static_cast<std::uint64_t>(j) * 0xC2B2AE3D27D4EB4Full;
        h ^= static_cast<std::uint64_t>(k) * 0x165667B19E3779F9ull;
        h ^= h >> 29;
        return static_cast<std::size_t>(h) & mask_;
    }

    std::vector<SegmentEnds> const &segments_;
    double scale_;
    double margin_;
    std::size_t mask_ = 0;
    std::vector<Index> head_;
    std::vector<Index> next_;
    std::vector<std::size_t> home_;
};

// The finest ladder level at which a and b match, or the ladder's size when none does.
std::size_t matchLevel(Point3D const &a, Point3D const &b, std::vector<double> const &ladder) {
    double const d = std::max(std::fabs(a.x() - b.x()), std::max(std::fabs(a.y() - b.y()), std::fabs(a.z() - b.z())));
    std::size_t level = 0;
    while (level < ladder.size() && !(d < ladder[level])) ++level;
    return level;
}

}  // namespace

// Every step asks: among unused segments with an end matching the chain's front F or back B,
// at the finest ladder level at which any does, which comes first? At the finest level the
// answer comes from each chain end's matches, found once when the point becomes a chain end
// (one hash probe, usually one cell); segments used since are skipped. Only when neither end
// has an unused match there (the chain's end, or a gap) are the coarser levels consulted, all
// at once: the unused ends within the coarsest tolerance of F or B, each with the finest
// level at which it matches, from a scan while that is cheap, then from a coarse hash.
std::vector<std::vector<ChainPoint>> chainSegmentEnds(std::vector<SegmentEnds> const &segments) {
    std::vector<std::vector<ChainPoint>> chains;
    std::size_t const n = segments.size();
    if (n == 0) return chains;
    if (n > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw std::length_error("chainSegmentEnds: too many segments");

    std::vector<double> const &ladder = stitchTolerances();
    double const finest = ladder.front(), coarsest = ladder.back();
    EndHash fine(segments, finest, 64.0 * finest);
    std::unique_ptr<EndHash> coarse;
    std::size_t scanBudget = 4 * n;   // segments linear scans may visit before the coarse hash is built

    std::vector<char> used(n, 0);
    std::size_t unused = n;
    auto point = [&](Index entry) -> Point3D const & { return fine.point(entry); };

    // The finest-level matches of a chain end (segments, ascending, may repeat).
    struct End {
        Index entry;
        std::vector<Index> matches;
    };
    auto collect = [&](End &end) {
        end.matches.clear();
        Point3D const &x = point(end.entry);
        fine.visit(x, end.entry, used, [&](Index e) {
            if (endsMatch(point(e), x, finest)) end.matches.push_back(e >> 1);
            return true;
        });
    };
    auto firstUnused = [&](End const &end, Index best) {
        for (Index s : end.matches)
            if (s < best && !used[s]) best = s;
        return best;
    };
    // Best (level, segment) among unused ends within the coarsest tolerance of the chain's
    // front or back: a scan of the segments while the scans so far stay within a few times
    // n, then a coarse hash.
    auto coarseBest = [&](Point3D const &f, Point3D const &b, std::size_t &level, Index &best) {
        auto consider = [&](Index e, Point3D const &x) {
            Point3D const &p = point(e);
            if (!endsMatch(p, x, coarsest)) return;
            std::size_t const l = matchLevel(p, x, ladder);
            Index const s = e >> 1;
            if (l < level || (l == level && s < best)) level = l, best = s;
        };
        if (!coarse && scanBudget >= n) {
            scanBudget -= n;
            for (std::size_t s = 0; s < n; ++s) {
                if (used[s]) continue;
                for (Index e : {static_cast<Index>(2 * s), static_cast<Index>(2 * s + 1)}) {
                    consider(e, f);
                    consider(e, b);
                }
            }
            return;
        }
        if (!coarse) coarse = std::make_unique<EndHash>(segments, coarsest, 4.0 * coarsest);
        for (Point3D const *x : {&f, &b})
            coarse->visit(*x, kNone, used, [&](Index e) {
                consider(e, *x);
                return true;
            });
    };

    End front, back;
    std::vector<ChainPoint> frontPoints, backPoints;
    for (std::size_t start = 0; start < n; ++start) {
        if (used[start]) continue;
        used[start] = 1;
        --unused;
        frontPoints.clear();
        backPoints.assign({ChainPoint{start, 0}, ChainPoint{start, 1}});
        front.entry = static_cast<Index>(2 * start);
        back.entry = static_cast<Index>(2 * start + 1);
        collect(front);
        collect(back);
        while (unused > 0) {
            Index best = firstUnused(back, firstUnused(front, kNone));
            double tolerance = finest;
            if (best == kNone) {
                std::size_t level = ladder.size();
                coarseBest(point(front.entry), point(back.entry), level, best);
                if (best == kNone) break;
                tolerance = ladder[level];
            }
            SegmentEnds const &s = segments[best];
            used[best] = 1;
            --unused;
            Point3D const &f = point(front.entry);
            Point3D const &b = point(back.entry);
            Index const p = 2 * best, q = 2 * best + 1;
            if (endsMatch(f, s.first, tolerance)) {
                frontPoints.push_back({best, 1});
                front.entry = q;
                collect(front);
            } else if (endsMatch(f, s.second, tolerance)) {
                frontPoints.push_back({best, 0});
                front.entry = p;
                collect(front);
            } else if (endsMatch(b, s.first, tolerance)) {
                backPoints.push_back({best, 1});
                back.entry = q;
                collect(back);
            } else {
                backPoints.push_back({best, 0});
                back.entry = p;
                collect(back);
            }
        }
        std::vector<ChainPoint> chain;
        chain.reserve(frontPoints.size() + backPoints.size());
        chain.assign(frontPoints.rbegin(), frontPoints.rend());
        chain.insert(chain.end(), backPoints.begin(), backPoints.end());
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
