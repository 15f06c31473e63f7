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
// The list carries each triangle's corner coordinates: a triangle stays listed for every
// plane that crosses it, so its corners are fetched from the mesh once, when it enters,
// and the per-plane loop reads one contiguous array instead of three scattered vertices.
//
// Triangles whose interval is unknown (a NaN or infinite bound) are candidates of every
// group; they are merged into each list in index order.
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

    // A listed triangle: its corners (x, y, z of corner 0, 1, 2), its plane (N2 then d2, as
    // the triangle test forms it), what lies across each of its sides (for the caller), its
    // index, and the last group its interval reaches. All but the last two are derived once,
    // when the triangle enters, not per plane.
    struct Candidate {
        double corners[9];
        double plane[4];
        Index across[3];
        Index triangle;
        Index last;
    };
    // Fetches t's corners and what lies across its sides through `describe(t, corners,
    // across)` and derives its plane.
    template <class Describe>
    static void fill(Candidate &c, std::size_t t, Describe &&describe) {
        describe(t, c.corners, c.across);
        double const *u = c.corners;
        secondPlane(u, u + 3, u + 6, c.plane);
    }

    // `groups`: strictly ascending finite plane distances (kept by reference; must outlive
    // the sweep). `interval(t, low, high)` gives triangle t's interval, a NaN or infinite
    // bound making t a candidate of every group; `corners` describes a triangle (see fill).
    // Restarts the sweep before the first group.
    template <class Interval, class Corners>
    void reset(std::vector<double> const &groups, std::size_t triangles, Interval &&interval,
               Corners &&corners) {
        start(groups, triangles);
        for (std::size_t t = 0; t < triangles; ++t) {
            double low = 0.0, high = 0.0;
            interval(t, low, high);
            if (file(t, low, high)) {
                everywhere_.push_back(Candidate{{}, {}, {}, static_cast<Index>(t), kNever});
                fill(everywhere_.back(), t, corners);
            }
        }
        finish();
    }

    // Candidates of the next group, ascending by triangle; call once per group, in order.
    // `corners` describes entering triangles (see fill). The reference stays
    // valid until the next call.
    // `prefetch(t, stage)`, when given, is told of triangle t some entries before its corners
    // are fetched: stage 0 far ahead (for what locates the corners), stage 1 nearer (for the
    // corners themselves). It must not change anything observable.
    template <class Corners>
    std::vector<Candidate> const &next(Corners &&corners) {
        return next(corners, [](Index, int) {});
    }
    template <class Corners, class Prefetch>
    std::vector<Candidate> const &next(Corners &&corners, Prefetch &&prefetch) {
        std::size_t const g = group_++;
        // The entering triangles first, in a loop of their own: their corner fetches are the
        // sweep's only scattered reads, and independent, so they overlap (helped along by
        // prefetching some entries ahead).
        entering_.clear();
        std::size_t const bucketEnd = bucketStart_[g + 1];
        for (std::size_t p = bucketStart_[g]; p < bucketEnd; ++p) {
            if (p + kFar < bucketEnd) prefetch(filed_[p + kFar], 0);
            if (p + kNear < bucketEnd) prefetch(filed_[p + kNear], 1);
            entering_.push_back(Candidate{{}, {}, {}, filed_[p], filedLast_[p]});
            fill(entering_.back(), filed_[p], corners);
        }
        // Survivors of the previous group merged with the entering ones, both ascending.
        scratch_.clear();
        Candidate const *in = entering_.data();
        Candidate const *inEnd = in + entering_.size();
        for (Candidate const &c : active_) {
            if (c.last < g) continue;
            while (in != inEnd && in->triangle < c.triangle) scratch_.push_back(*in++);
            scratch_.push_back(c);
        }
        scratch_.insert(scratch_.end(), in, inEnd);
        active_.swap(scratch_);
        if (everywhere_.empty()) return active_;
        return mergeEverywhere();
    }

    // Whether some triangle has an unknown interval (is a candidate of every group).
    bool everywhere() const { return !everywhere_.empty(); }

private:
    static constexpr std::size_t kFar = 16, kNear = 6;

    void start(std::vector<double> const &groups, std::size_t triangles);
    // Files t under its entering group; true when its interval is unknown.
    bool file(std::size_t t, double low, double high);
    void finish();
    std::vector<Candidate> const &mergeEverywhere();
    std::size_t firstAtLeast(double x) const;   // first group with distance >= x
    std::size_t firstAbove(double x) const;     // first group with distance > x
    std::size_t guess(double x) const;

    std::vector<double> const *groups_ = nullptr;
    double origin_ = 0.0;
    double inverseStep_ = 0.0;

    std::vector<Index> lastGroup_;      // per triangle while filing: last group its interval reaches
    std::vector<Index> bucketStart_;    // per group: its entering triangles in filed_
    std::vector<Index> filed_;          // triangles by entering group, ascending index within
    std::vector<Index> filedLast_;      // the last group of each filed_ entry
    std::vector<Candidate> everywhere_; // triangles with an unknown interval
    std::vector<Candidate> active_, scratch_, entering_, result_;
    std::size_t group_ = 0;
};

}  // namespace slicing
}  // namespace ORVANE_DATABASE
