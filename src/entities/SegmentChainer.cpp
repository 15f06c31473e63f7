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
constexpr Index kMany = kNone - 1;   // a link meaning "several matches: see the list"

constexpr double kClamp = 4611686018427387904.0;   // 2^62
constexpr double kCoarse = 70368744177664.0;       // 2^46: beyond, fractions of cells are not exact

std::int64_t floorOf(double q) {
    auto k = static_cast<std::int64_t>(q);
    return static_cast<double>(k) > q ? k - 1 : k;
}

bool finitePoint(Point3D const &p) {
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

// The cell of quotient q (clamped, so that the conversion is always defined; clamped values
// only share cells, the exact test still decides) and whether [q - m, q + m] crosses the
// cell's lower or upper border. Beyond 2^46 both sides count.
void cellOf(double q, double m, std::int64_t &cell, bool &below, bool &above) {
    q = std::clamp(q, -kClamp, kClamp);
    cell = floorOf(q);
    if (std::fabs(q) >= kCoarse) {
        below = above = true;
        return;
    }
    double const slack = m + std::fabs(q) * 0x1p-51 + 1e-9;
    double const frac = q - static_cast<double>(cell);
    below = frac <= slack;
    above = frac >= 1.0 - slack;
}

// The cell of a key's quotient q = k / width when width >= 32 windows, at least 4e-15 of the
// largest |x| + |y| + |z|: then |q| < 2^45, so the conversion is exact and the fraction q -
// floor(q) is known within 2^-7. A key's matches (within a window) lie in its cell or, when the
// fraction is within 1/32 (plus that rounding, so within 1/16) of a border, across it.
void keyCell(double q, std::int64_t &cell, bool &below, bool &above) {
    cell = static_cast<std::int64_t>(q);
    cell -= static_cast<double>(cell) > q;
    double const frac = q - static_cast<double>(cell);
    below = frac < 0.0625;
    above = frac > 0.9375;
}

std::size_t mix(std::int64_t i, std::int64_t j, std::int64_t k) {
    std::uint64_t h = static_cast<std::uint64_t>(i) * 0x9E3779B97F4A7C15ull;
    h ^= static_cast<std::uint64_t>(j) * 0xC2B2AE3D27D4EB4Full;
    h ^= static_cast<std::uint64_t>(k) * 0x165667B19E3779F9ull;
    h ^= h >> 29;
    return static_cast<std::size_t>(h);
}

// End points hashed by a grid of cubic cells `width` wide, for the searches at the coarse
// tolerances (rare: at chain ends, and only once scans of the segments have become too
// costly). A point x's matches at tolerance t lie in the cells of [q - m, q + m] per axis,
// q = x / width, m = t / width (plus rounding). Points with a NaN or infinite coordinate
// match nothing and are left out. Buckets list entries in ascending order; entries of used
// segments are unlinked by the walks that meet them.
class EndHash {
public:
    EndHash(SegmentEnds const *segments, std::size_t count, double tolerance, double width)
        : segments_(segments), scale_(1.0 / width), margin_(tolerance / width) {
        std::size_t const entries = 2 * count;
        std::size_t buckets = 16;
        while (buckets < entries) buckets *= 2;
        mask_ = buckets - 1;
        head_.assign(buckets, kNone);
        next_.assign(entries, kNone);
        for (std::size_t e = entries; e-- > 0;) {
            Point3D const &p = point(static_cast<Index>(e));
            if (!finitePoint(p)) continue;
            std::int64_t own[3];
            bool below, above;
            cellOf(p.x() * scale_, margin_, own[0], below, above);
            cellOf(p.y() * scale_, margin_, own[1], below, above);
            cellOf(p.z() * scale_, margin_, own[2], below, above);
            std::size_t const b = mix(own[0], own[1], own[2]) & mask_;
            next_[e] = head_[b];
            head_[b] = static_cast<Index>(e);
        }
    }

    // Calls f(entry) for every unused entry whose point may match x (a superset).
    template <class F>
    void visit(Point3D const &x, std::vector<char> const &used, F &&f) {
        if (!finitePoint(x)) return;
        double const c[3] = {x.x(), x.y(), x.z()};
        std::int64_t lo[3], hi[3];
        for (int axis = 0; axis < 3; ++axis) {
            bool below, above;
            cellOf(c[axis] * scale_, margin_, lo[axis], below, above);
            hi[axis] = lo[axis] + above;
            lo[axis] -= below;
        }
        for (std::int64_t i = lo[0]; i <= hi[0]; ++i)
            for (std::int64_t j = lo[1]; j <= hi[1]; ++j)
                for (std::int64_t k = lo[2]; k <= hi[2]; ++k) walk(mix(i, j, k) & mask_, used, f);
    }

    Point3D const &point(Index entry) const {
        SegmentEnds const &s = segments_[entry >> 1];
        return (entry & 1) ? s.second : s.first;
    }

private:
    template <class F>
    void walk(std::size_t b, std::vector<char> const &used, F &f) {
        Index *link = &head_[b];
        while (*link != kNone) {
            Index const entry = *link;
            if (used[entry >> 1]) {
                *link = next_[entry];
                continue;
            }
            f(entry);
            link = &next_[entry];
        }
    }

    SegmentEnds const *segments_;
    double scale_;
    double margin_;
    std::size_t mask_ = 0;
    std::vector<Index> head_;
    std::vector<Index> next_;
};

// The finest ladder level at which a and b match, or the ladder's size when none does.
std::size_t matchLevel(Point3D const &a, Point3D const &b, std::vector<double> const &ladder) {
    double const d = std::max(std::fabs(a.x() - b.x()), std::max(std::fabs(a.y() - b.y()), std::fabs(a.z() - b.z())));
    std::size_t level = 0;
    while (level < ladder.size() && !(d < ladder[level])) ++level;
    return level;
}

}  // namespace

// The finest-level matches of every end are found once, by one pass over the ends through a
// hash of one scalar key per end, k(p) = x + a y + b z (a, b irrational-looking, so that ends
// along axis-parallel lines do not share keys). Two ends matching at t have keys closer than
// (1 + a + b) t plus the rounding of the two keys, the window; keys are filed in cells of 32
// windows, so an end's matches lie in its own cell or, within a window of a border, in the
// neighbour across it. The exact per-coordinate test decides every candidate, so the table is
// exact: link_[e] is the one matching end, kNone, or kMany with the list in manyList_.
class SegmentChainer::Impl {
public:
    void reset(SegmentEnds const *segments, std::size_t count, Index const *partners) {
        if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
            throw std::length_error("SegmentChainer: too many segments");
        segments_ = segments;
        n_ = count;
        used_.assign(count, 0);
        unused_ = count;
        nextStart_ = 0;
        coarse_.reset();
        scanBudget_ = 4 * count;
        chain_.resize(2 * count + 2);
        adopted_ = partners != nullptr && adoptPartners(partners);
        if (!adopted_) findMatches();
    }

    bool adopted() const { return adopted_; }

    std::size_t dropRepeats() {
        std::size_t dropped = 0;
        for (std::size_t s = 0; s < n_; ++s) {
            if (used_[s]) continue;
            Index const p = link_[2 * s], q = link_[2 * s + 1];
            if (p == kNone || q == kNone) continue;
            // A repeat's first end matches an end of the earlier segment, so the candidates
            // are the matches of P; with single links on both ends, only a common segment.
            if (p != kMany && q != kMany && (p >> 1) != (q >> 1)) continue;
            bool repeat = false;
            forEachMatch(static_cast<Index>(2 * s), [&](Index o) {
                std::size_t const earlier = o >> 1;
                if (!repeat && earlier < s && !used_[earlier])
                    repeat = repeatsSegment(segments_[earlier], segments_[s]);
            });
            if (repeat) {
                used_[s] = 1;
                --unused_;
                ++dropped;
            }
        }
        return dropped;
    }

    bool nextChain(ChainPoint const *&first, ChainPoint const *&last) {
        while (nextStart_ < n_ && used_[nextStart_]) ++nextStart_;
        if (nextStart_ >= n_) return false;
        std::size_t const start = nextStart_;
        used_[start] = 1;
        --unused_;
        std::vector<double> const &ladder = stitchTolerances();
        // The chain grows from the middle of its buffer: at most n - 1 points join either side.
        std::size_t head = n_, tail = n_ + 2;
        chain_[head] = ChainPoint{start, 0};
        chain_[head + 1] = ChainPoint{start, 1};
        Index front = static_cast<Index>(2 * start), back = front + 1;
        while (unused_ > 0) {
            Index best = earliestUnused(back, earliestUnused(front, kNone));
            Index const p = 2 * best, q = p + 1;
            // The four tests in order. At the finest tolerance the table answers them: an end
            // matches the chain's front exactly when it is among the front end's matches (the
            // front point is a copy of that end's point).
            int action;
            if (best != kNone) {
                action = matches(front, p) ? 0 : matches(front, q) ? 1 : matches(back, p) ? 2 : 3;
            } else {
                std::size_t level = ladder.size();
                coarseBest(point(front), point(back), level, best);
                if (best == kNone) break;
                double const t = ladder[level];
                SegmentEnds const &s = segments_[best];
                Point3D const &f = point(front);
                Point3D const &b = point(back);
                action = endsMatch(f, s.first, t) ? 0 : endsMatch(f, s.second, t) ? 1 : endsMatch(b, s.first, t) ? 2 : 3;
            }
            used_[best] = 1;
            --unused_;
            Index const far = (action & 1) ? 2 * best : 2 * best + 1;   // the end not matched
            ChainPoint const added{best, static_cast<int>(far & 1)};
            if (action < 2) {
                chain_[--head] = added;
                front = far;
            } else {
                chain_[tail++] = added;
                back = far;
            }
        }
        first = chain_.data() + head;
        last = chain_.data() + tail;
        return true;
    }

private:
    static constexpr double kA = 0.7548776662466927;   // plastic number, inverse and its square
    static constexpr double kB = 0.5698402909980532;

    Point3D const &point(Index entry) const {
        SegmentEnds const &s = segments_[entry >> 1];
        return (entry & 1) ? s.second : s.first;
    }

    template <class F>
    void forEachMatch(Index entry, F &&f) const {
        Index const l = link_[entry];
        if (l == kNone) return;
        if (l != kMany) {
            f(l);
            return;
        }
        for (Index k = manyStart_[entry]; k < manyStart_[entry + 1]; ++k) f(manyList_[k]);
    }

    // Whether end `other` (of another segment) matches end `entry`'s point at the finest
    // tolerance.
    bool matches(Index entry, Index other) const {
        Index const l = link_[entry];
        if (l != kMany) return l == other;
        for (Index k = manyStart_[entry]; k < manyStart_[entry + 1]; ++k)
            if (manyList_[k] == other) return true;
        return false;
    }

    // The earliest unused segment below `best` with an end matching `entry`'s point at the
    // finest tolerance, else `best`.
    Index earliestUnused(Index entry, Index best) const {
        Index const l = link_[entry];
        if (l == kNone) return best;
        if (l != kMany) {
            Index const s = l >> 1;
            return !used_[s] && s < best ? s : best;
        }
        for (Index k = manyStart_[entry]; k < manyStart_[entry + 1]; ++k) {
            Index const s = manyList_[k] >> 1;
            if (!used_[s] && s < best) best = s;
        }
        return best;
    }

    // Takes `partners` as the match table when it is exactly the finest-level matches (see
    // the header). Ends are grouped: a pair of partners, or an end without one. Each end of a
    // group lies within t = 1e-8 of the group's first end (its representative), so when the
    // representatives of any two groups differ by 4t or more in some coordinate, no two ends of
    // different groups match at t (they differ there by more than 4t - 2t, rounding included).
    //
    // That is checked through the representatives' scalar keys (as in findMatches, with the
    // window of 4t) filed in cells of 32 windows; a representative within a window of a cell
    // border is filed under the neighbour cell too, so two representatives within 4t share a
    // cell. Cells are hashed into a bitmap of 64 to 128 bits per representative: a bit met twice
    // is rare (a few per plane) and only the representatives of such bits are compared, exactly. Every
    // step is a linear pass with branches that almost always go one way.
    bool adoptPartners(Index const *partners) {
        std::size_t const entries = 2 * n_;
        double const finest = stitchTolerances().front();
        double const apart = 4.0 * finest;
        reps_.resize(entries);
        std::size_t reps = 0;
        bool bad = false;
        for (std::size_t e = 0; e < entries; ++e) {
            Index const h = partners[e];
            if (h != kNone) {
                if (h >= entries) return false;
                bad |= (partners[h] != e) | ((h >> 1) == (e >> 1));
            }
            reps_[reps] = static_cast<Index>(e);
            reps += h > e;   // the group's first end (kNone exceeds every end)
        }
        if (bad) return false;
        keys_.resize(reps);
        double magnitude = 0.0;
        for (std::size_t r = 0; r < reps; ++r) {
            Index const e = reps_[r], h = partners[e];
            Point3D const &p = point(e);
            if (h != kNone && !endsMatch(p, point(h), finest)) return false;
            double const k = p.x() + kA * p.y() + kB * p.z();
            if (!std::isfinite(k)) {
                // A point with a NaN or infinite coordinate (hence such a key) matches nothing
                // (and has no partner, by the test above): it is left out. A finite point
                // whose key overflows is left to findMatches.
                if (finitePoint(p)) return false;
                keys_[r] = std::numeric_limits<double>::quiet_NaN();
                continue;
            }
            keys_[r] = k;
            magnitude = std::max(magnitude, std::fabs(p.x()) + std::fabs(p.y()) + std::fabs(p.z()));
        }
        double const window = (1.0 + kA + kB) * apart * (1.0 + 1e-9) + 4e-15 * magnitude;
        double const width = 32.0 * window;
        if (!std::isfinite(width)) return false;
        double const scale = 1.0 / width;

        std::size_t bits = 1024;
        while (bits < 64 * reps) bits *= 2;
        int shift = 64;
        for (std::size_t b = bits; b > 1; b /= 2) --shift;
        seen_.assign(bits / 64, 0);
        twice_.assign(bits / 64, 0);
        cells_.resize(reps);
        bool contested = false;
        auto file = [&](std::int64_t cell) {
            std::uint64_t const bit = (static_cast<std::uint64_t>(cell) * 0x9E3779B97F4A7C15ull) >> shift;
            std::uint64_t const mask = std::uint64_t{1} << (bit & 63);
            std::uint64_t const was = seen_[bit >> 6] & mask;
            seen_[bit >> 6] |= mask;
            twice_[bit >> 6] |= was;
            contested |= was != 0;
        };
        std::vector<std::uint8_t> &border = border_;
        border.resize(reps);
        for (std::size_t r = 0; r < reps; ++r) {
            double const k = keys_[r];
            if (std::isnan(k)) continue;
            std::int64_t cell;
            bool below, above;
            keyCell(k * scale, cell, below, above);
            cells_[r] = cell;
            border[r] = static_cast<std::uint8_t>(below | (above << 1));
            file(cell);
            if (below) file(cell - 1);
            if (above) file(cell + 1);
        }
        link_.assign(partners, partners + entries);
        return !contested || repairCrowded(partners, reps, shift, apart);
    }

    // Where representatives lie within `apart` of each other (a cut through or near a mesh
    // vertex, a segment shorter than that), the claims are not the matches there: the ends of
    // those groups (few) get their matches from the coordinates, compared with one another.
    // Every other end keeps its claim: its group lies 4t from all others, and an end of a
    // crowded group matches only ends of crowded groups. The candidates, representatives
    // filed under one contested bit, are compared pairwise. False, with the table left to
    // findMatches, when too many groups crowd for pairwise comparison.
    bool repairCrowded(Index const *partners, std::size_t reps, int shift, double apart) {
        std::vector<std::pair<std::uint64_t, Index>> &filed = contested_;
        filed.clear();
        auto gather = [&](std::int64_t cell, std::size_t r) {
            std::uint64_t const bit = (static_cast<std::uint64_t>(cell) * 0x9E3779B97F4A7C15ull) >> shift;
            if (twice_[bit >> 6] & (std::uint64_t{1} << (bit & 63))) filed.emplace_back(bit, static_cast<Index>(r));
        };
        for (std::size_t r = 0; r < reps; ++r) {
            if (std::isnan(keys_[r])) continue;
            gather(cells_[r], r);
            if (border_[r] & 1) gather(cells_[r] - 1, r);
            if (border_[r] & 2) gather(cells_[r] + 1, r);
        }
        std::sort(filed.begin(), filed.end());
        std::vector<Index> &crowd = crowd_;   // ends of crowded groups
        crowd.clear();
        for (std::size_t i = 0; i < filed.size(); ++i)
            for (std::size_t j = i + 1; j < filed.size() && filed[j].first == filed[i].first; ++j) {
                Index const a = reps_[filed[i].second], b = reps_[filed[j].second];
                if (!endsMatch(point(a), point(b), apart)) continue;
                for (Index e : {a, b}) {
                    crowd.push_back(e);
                    if (partners[e] != kNone) crowd.push_back(partners[e]);
                }
            }
        if (crowd.empty()) return true;
        std::sort(crowd.begin(), crowd.end());
        crowd.erase(std::unique(crowd.begin(), crowd.end()), crowd.end());
        if (crowd.size() > 256) return false;
        double const finest = stitchTolerances().front();
        pairs_.clear();
        for (Index e : crowd) link_[e] = kNone;
        for (std::size_t i = 0; i < crowd.size(); ++i)
            for (std::size_t j = i + 1; j < crowd.size(); ++j) {
                Index const x = crowd[i], y = crowd[j];
                if ((x >> 1) == (y >> 1) || !endsMatch(point(x), point(y), finest)) continue;
                pairs_.push_back(x);
                pairs_.push_back(y);
            }
        linkPairs();
        return true;
    }

    void findMatches() {
        std::size_t const entries = 2 * n_;
        double const finest = stitchTolerances().front();
        keys_.resize(entries);
        cells_.resize(entries);
        pairs_.clear();
        unhashed_.clear();
        double magnitude = 0.0;
        for (std::size_t e = 0; e < entries; ++e) {
            Point3D const &p = point(static_cast<Index>(e));
            if (!finitePoint(p)) {
                keys_[e] = std::numeric_limits<double>::quiet_NaN();
                continue;
            }
            keys_[e] = p.x() + kA * p.y() + kB * p.z();   // may overflow to infinity
            magnitude = std::max(magnitude, std::fabs(p.x()) + std::fabs(p.y()) + std::fabs(p.z()));
        }
        // The keys' rounding is a few ulps of the largest term, below 4e-16 |x| + |y| + |z|.
        double const window = (1.0 + kA + kB) * finest * (1.0 + 1e-9) + 4e-15 * magnitude;
        double const width = 32.0 * window;
        double const scale = std::isfinite(width) ? 1.0 / width : 0.0;

        std::size_t capacity = 16;
        while (capacity < 2 * entries) capacity *= 2;
        std::size_t const mask = capacity - 1;
        table_.assign(capacity, kNone);
        auto bucket = [&](std::int64_t cell) { return mix(cell, 0, 0) & mask; };
        auto probe = [&](std::int64_t cell, Index e) {
            Point3D const &x = point(e);
            for (std::size_t h = bucket(cell); table_[h] != kNone; h = (h + 1) & mask) {
                Index const o = table_[h];
                if (cells_[o] == cell && (o >> 1) != (e >> 1) && endsMatch(point(o), x, finest)) {
                    pairs_.push_back(o);
                    pairs_.push_back(e);
                }
            }
        };
        for (std::size_t e = 0; e < entries; ++e) {
            double const k = keys_[e];
            if (std::isnan(k)) continue;
            if (std::isinf(k)) {
                unhashed_.push_back(static_cast<Index>(e));
                continue;
            }
            std::int64_t cell;
            bool below, above;
            keyCell(k * scale, cell, below, above);
            cells_[e] = cell;
            Index const entry = static_cast<Index>(e);
            probe(cell, entry);
            if (below) probe(cell - 1, entry);
            if (above) probe(cell + 1, entry);
            std::size_t h = bucket(cell);
            while (table_[h] != kNone) h = (h + 1) & mask;
            table_[h] = entry;
        }
        // Keys that overflow (finite coordinates near the double range) have no cell: their
        // ends are compared with every other end by the exact test alone. Usually none.
        for (Index u : unhashed_)
            for (std::size_t e = 0; e < entries; ++e) {
                Index const o = static_cast<Index>(e);
                if ((o >> 1) == (u >> 1) || std::isnan(keys_[e]) || (std::isinf(keys_[e]) && o > u)) continue;
                if (endsMatch(point(o), point(u), finest)) {
                    pairs_.push_back(o);
                    pairs_.push_back(u);
                }
            }

        link_.assign(entries, kNone);
        linkPairs();
    }

    // Enters the matching pairs of pairs_ into the table, whose entries for their ends are
    // kNone: one match as the link, several as kMany with the list.
    void linkPairs() {
        bool many = false;
        for (std::size_t k = 0; k < pairs_.size(); k += 2)
            for (int side = 0; side < 2; ++side) {
                Index const e = pairs_[k + side], other = pairs_[k + 1 - side];
                if (link_[e] == kNone) {
                    link_[e] = other;
                } else {
                    link_[e] = kMany;
                    many = true;
                }
            }
        if (!many) return;
        std::size_t const entries = 2 * n_;
        manyStart_.assign(entries + 1, 0);
        for (Index const e : pairs_) ++manyStart_[e + 1];
        for (std::size_t e = 0; e < entries; ++e) manyStart_[e + 1] += manyStart_[e];
        manyList_.resize(pairs_.size());
        std::vector<Index> fill(manyStart_.begin(), manyStart_.end() - 1);
        for (std::size_t k = 0; k < pairs_.size(); k += 2) {
            manyList_[fill[pairs_[k]]++] = pairs_[k + 1];
            manyList_[fill[pairs_[k + 1]]++] = pairs_[k];
        }
    }

    // Best (level, segment) among unused ends within the coarsest tolerance of the chain's
    // front or back: a scan of the segments while the scans so far stay within a few times
    // n, then a coarse hash.
    void coarseBest(Point3D const &f, Point3D const &b, std::size_t &level, Index &best) {
        std::vector<double> const &ladder = stitchTolerances();
        double const coarsest = ladder.back();
        auto consider = [&](Index e, Point3D const &x) {
            Point3D const &p = point(e);
            if (!endsMatch(p, x, coarsest)) return;
            std::size_t const l = matchLevel(p, x, ladder);
            Index const s = e >> 1;
            if (l < level || (l == level && s < best)) level = l, best = s;
        };
        if (!coarse_ && scanBudget_ >= n_) {
            scanBudget_ -= n_;
            for (std::size_t s = 0; s < n_; ++s) {
                if (used_[s]) continue;
                for (Index e : {static_cast<Index>(2 * s), static_cast<Index>(2 * s + 1)}) {
                    consider(e, f);
                    consider(e, b);
                }
            }
            return;
        }
        if (!coarse_) coarse_ = std::make_unique<EndHash>(segments_, n_, coarsest, 4.0 * coarsest);
        for (Point3D const *x : {&f, &b})
            coarse_->visit(*x, used_, [&](Index e) { consider(e, *x); });
    }

    SegmentEnds const *segments_ = nullptr;
    std::size_t n_ = 0;
    std::vector<char> used_;
    std::size_t unused_ = 0;
    std::size_t nextStart_ = 0;
    std::vector<ChainPoint> chain_;

    std::vector<double> keys_;
    std::vector<std::int64_t> cells_;
    std::vector<Index> table_;
    std::vector<Index> pairs_;      // matching ends, two by two (earlier found first)
    std::vector<Index> unhashed_;
    std::vector<Index> link_;
    std::vector<Index> manyStart_, manyList_;
    std::vector<Index> reps_;                     // representatives of the partner groups
    std::vector<std::uint8_t> border_;            // per representative: filed below / above too
    std::vector<std::uint64_t> seen_, twice_;     // bitmaps of filed cells
    std::vector<std::pair<std::uint64_t, Index>> contested_;
    std::vector<Index> crowd_;

    bool adopted_ = false;
    std::unique_ptr<EndHash> coarse_;
    std::size_t scanBudget_ = 0;   // segments linear scans may visit before the coarse hash is built
};

SegmentChainer::SegmentChainer() : impl_(std::make_unique<Impl>()) {}
SegmentChainer::~SegmentChainer() = default;

void SegmentChainer::reset(SegmentEnds const *segments, std::size_t count, std::uint32_t const *partners) {
    impl_->reset(segments, count, partners);
}
bool SegmentChainer::adoptedPartners() const { return impl_->adopted(); }
std::size_t SegmentChainer::dropRepeats() { return impl_->dropRepeats(); }
bool SegmentChainer::nextChain(ChainPoint const *&first, ChainPoint const *&last) {
    return impl_->nextChain(first, last);
}

std::vector<std::vector<ChainPoint>> chainSegmentEnds(std::vector<SegmentEnds> const &segments) {
    std::vector<std::vector<ChainPoint>> chains;
    SegmentChainer chainer;
    chainer.reset(segments.data(), segments.size());
    ChainPoint const *first, *last;
    while (chainer.nextChain(first, last)) chains.emplace_back(first, last);
    return chains;
}

void releaseContour(PLC *contour) {
    if (!contour) return;
    std::vector<Point3D *> *points = contour->pointList();
    delete contour;
    for (Point3D *p : *points) delete p;
    delete points;
}

PLC *makeContour(SegmentEnds const *segments, ChainPoint const *first, ChainPoint const *last) {
    std::unique_ptr<PLC, void (*)(PLC *)> contour(new PLC(), &releaseContour);
    contour->pointList()->reserve(static_cast<std::size_t>(last - first));
    for (ChainPoint const *c = first; c != last; ++c) {
        SegmentEnds const &s = segments[c->segment];
        auto point = std::make_unique<Point3D>(c->end ? s.second : s.first);
        contour->addPoint(point.get());
        point.release();
    }
    return contour.release();
}

void chainSegments(std::vector<SegmentEnds> const &segments, std::vector<PLC *> &out,
                   bool closedOnly) {
    SegmentChainer chainer;
    chainer.reset(segments.data(), segments.size());
    ChainPoint const *first, *last;
    while (chainer.nextChain(first, last)) {
        std::unique_ptr<PLC, void (*)(PLC *)> contour(makeContour(segments.data(), first, last),
                                                      &releaseContour);
        std::vector<Point3D *> const &points = *contour->pointList();
        if (closedOnly && !endsMatch(*points.front(), *points.back(), 1e-8))
            continue;  // not delivered: the deleter releases it
        out.push_back(contour.get());
        contour.release();
    }
}

}  // namespace ORVANE_DATABASE
