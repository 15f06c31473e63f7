#pragma once
// Candidate triangles per cutting plane, for any slicing direction.
//
// Every triangle has an interval [low, high] along the slicing direction outside which no
// plane can cut it (its corners' projections, widened by a safety margin). The planes,
// merged into groups of equal distance, are ascending; each triangle is filed under the
// first group it reaches, and a sweep over the groups keeps the list of triangles whose
// interval contains the current group, in ascending triangle index. Advancing costs the
// triangles entering, leaving and staying, so a whole sweep is O(T + G + candidates) after
// O(T) filing: the work follows the cross-sections, not triangles x planes, whatever the
// direction.
//
// A listed triangle's data (its corners, its plane, the caller's links) is gathered
// from the mesh once, when it enters, into a slot of a pool that it keeps until it leaves; the
// list itself is a few indices per triangle, so keeping it in order from plane to plane moves
// 12 bytes per listed triangle, not the data. The pool holds only the triangles listed at
// once, so it stays in cache while the per-plane loop reads it.
//
// Triangles whose interval is unknown (a NaN or infinite bound) are candidates of every
// group: they enter at the first group and never leave.
#include "slicing/TriangleIntersection.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

class PlaneSweep {
public:
    using Index = std::uint32_t;
    static constexpr Index kNever = std::numeric_limits<Index>::max();

    // A listed triangle's data: its shape for the triangle test (corners, plane, products),
    // three links for the caller (per corner or per side) and its index. Aligned to cache lines
    // (three of them on 64-bit targets): a record that straddles one more line costs a miss
    // that the prefetch does not cover.
    struct alignas(64) Candidate {
        SecondTriangle shape;
        Index links[3];
        Index triangle;
    };
    // An entry of the list: the triangle, its slot in the pool, the last group it reaches.
    struct Listed {
        Index triangle;
        Index slot;
        Index last;
    };

    // `groups`: strictly ascending finite plane distances (kept by reference; must outlive
    // the sweep). `interval(t, low, high)` gives triangle t's interval, a NaN or infinite
    // bound making t a candidate of every group. Restarts the sweep before the first group.
    template <class Interval>
    void reset(std::vector<double> const &groups, std::size_t triangles, Interval &&interval) {
        start(groups, triangles);
        for (std::size_t t = 0; t < triangles; ++t) {
            double low = 0.0, high = 0.0;
            interval(t, low, high);
            file(t, low, high);
        }
        finish();
    }

    // The listed triangles of the next group, ascending by triangle; call once per group, in
    // order. `describe(t, candidate)` fills entering triangle t's shape and links.
    // `prefetch(t, stage)` is told of entering triangle t some entries before describe is
    // called for it: stage 0 far ahead (for what locates its data), stage 1 nearer (for the
    // data itself); it must not change anything observable. The list and the candidates
    // stay valid until the next call.
    template <class Describe, class Prefetch>
    std::vector<Listed> const &next(Describe &&describe, Prefetch &&prefetch) {
        std::size_t const g = group_++;
        // The entering triangles first, in a loop of their own: their data are the sweep's
        // only scattered reads, and independent, so they overlap (helped along by prefetching
        // some entries ahead).
        entering_.clear();
        std::size_t const bucketEnd = bucketStart_[g + 1];
        for (std::size_t p = bucketStart_[g]; p < bucketEnd; ++p) {
            if (p + kFar < bucketEnd) prefetch(filed_[p + kFar], 0);
            if (p + kNear < bucketEnd) prefetch(filed_[p + kNear], 1);
            Index const t = filed_[p];
            Index const slot = take();
            Candidate &c = pool_[slot];
            describe(t, c);
            c.triangle = t;
            entering_.push_back(Listed{t, slot, filedLast_[p]});
        }
        // Survivors of the previous group merged with the entering ones, both ascending.
        scratch_.clear();
        Listed const *in = entering_.data();
        Listed const *inEnd = in + entering_.size();
        for (Listed const &l : active_) {
            if (l.last < g) {
                free_.push_back(l.slot);
                continue;
            }
            while (in != inEnd && in->triangle < l.triangle) scratch_.push_back(*in++);
            scratch_.push_back(l);
        }
        scratch_.insert(scratch_.end(), in, inEnd);
        active_.swap(scratch_);
        return active_;
    }

    Candidate const &candidate(Index slot) const { return pool_[slot]; }
    // Asks for a candidate's data to be fetched ahead of use (changes nothing observable).
    void prefetch(Index slot) const {
#if defined(__GNUC__) || defined(__clang__)
        char const *p = reinterpret_cast<char const *>(&pool_[slot]);
        for (std::size_t b = 0; b < sizeof(Candidate); b += 64) __builtin_prefetch(p + b);
#else
        (void)slot;
#endif
    }

private:
    static constexpr std::size_t kFar = 16, kNear = 6;

    void start(std::vector<double> const &groups, std::size_t triangles);
    // Files t under its entering group (the first, for an unknown interval).
    void file(std::size_t t, double low, double high);
    void finish();
    std::size_t firstAtLeast(double x) const;   // first group with distance >= x
    std::size_t firstAbove(double x) const;     // first group with distance > x
    std::size_t guess(double x) const;
    Index take() {
        if (free_.empty()) {
            pool_.emplace_back();
            return static_cast<Index>(pool_.size() - 1);
        }
        Index const slot = free_.back();
        free_.pop_back();
        return slot;
    }

    std::vector<double> const *groups_ = nullptr;
    double origin_ = 0.0;
    double inverseStep_ = 0.0;

    std::vector<Index> lastGroup_;      // per triangle while filing: last group its interval reaches
    std::vector<Index> bucketStart_;    // per group: its entering triangles in filed_
    std::vector<Index> filed_;          // triangles by entering group, ascending index within
    std::vector<Index> filedLast_;      // the last group of each filed_ entry
    std::vector<Listed> active_, scratch_, entering_;
    std::vector<Candidate> pool_;
    std::vector<Index> free_;
    std::size_t group_ = 0;
};

}  // namespace slicing
}  // namespace ORVANE_DATABASE
