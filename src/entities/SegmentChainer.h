#pragma once
// Chaining of loose segments into contours, shared by the slicer (cut segments of one plane)
// and the segmentation (border edges of a mesh). Both grow a chain one segment at a time:
//
//  - a chain starts at the first unused segment with copies of its ends P then Q;
//  - a step tries the tolerances of stitchTolerances() from the finest; at a tolerance t a
//    segment fits when one of its ends matches the chain's front F or back B at t (strict
//    per-coordinate box test |a - b| < t); the earliest fitting unused segment (list order)
//    at the finest fitting t is attached, its action being the first of the tests
//    F~P (copy of Q goes to the front), F~Q (P to the front), B~P (Q to the back),
//    B~Q (P to the back);
//  - a chain ends when no unused segment fits at any tolerance.
//
// The front tests come first, so a loop closes at its front: its first point becomes a copy of
// the position of its last point.
//
// The literal procedure rescans the remaining segments for every step. SegmentChainer gives
// the same chains in near-linear time. Where segments meet, their ends coincide (two cuts of
// one mesh edge, two border edges at one vertex), so one pass over the ends finds, for every
// end, the ends of other segments that match it at the finest tolerance: usually exactly one,
// the neighbour on the contour. A step then reads the candidates of the chain's two ends from
// that table, which is exact (it holds every finest-level match), so the earliest-segment rule
// is applied literally to a set of one or two. A producer that knows which ends meet (the
// slicer: two cuts of one mesh edge) may offer that as the table, which the chainer verifies
// instead of searching. The coarser tolerances are consulted only when
// neither end has an unused finest-level match: at the end of every chain (a closed loop
// still asks whether anything lies within 1e-3 of it) and at gaps.
#include "Point3D.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ORVANE_DATABASE {

class PLC;

// P and Q of one segment, in the order the producer recorded them.
struct SegmentEnds {
    Point3D first;
    Point3D second;
};

// One point of a chain: a copy of end `end` (0 = first/P, 1 = second/Q) of segment `segment`
// (its position in the input).
struct ChainPoint {
    std::size_t segment;
    int end;
};

// The stitching tolerances: 1e-8, then each previous value times 10.0 while it stays below
// 0.01 (six values; the doubles of repeated multiplication, not the literals 1e-7, 1e-6, ...).
std::vector<double> const &stitchTolerances();

// The matching rule of chaining: every coordinate difference strictly below t in absolute
// value. A NaN or infinite coordinate never matches.
inline bool endsMatch(Point3D const &a, Point3D const &b, double t) {
    return std::fabs(a.x() - b.x()) < t && std::fabs(a.y() - b.y()) < t &&
           std::fabs(a.z() - b.z()) < t;
}

// The repeat rule of the slicer: both ends of `later` match (finest tolerance) the two ends of
// `earlier`, in either direction.
inline bool repeatsSegment(SegmentEnds const &earlier, SegmentEnds const &later) {
    double const t = 1e-8;
    return (endsMatch(earlier.first, later.first, t) && endsMatch(earlier.second, later.second, t)) ||
           (endsMatch(earlier.first, later.second, t) && endsMatch(earlier.second, later.first, t));
}

// The chainer, with its working buffers kept from one use to the next (a slicer chains every
// plane with one chainer). Use: reset with the segments, optionally dropRepeats, then
// nextChain until it returns false.
class SegmentChainer {
public:
    SegmentChainer();
    ~SegmentChainer();
    SegmentChainer(SegmentChainer const &) = delete;
    SegmentChainer &operator=(SegmentChainer const &) = delete;

    // Starts on `count` segments at `segments` (read in place: they must stay unchanged while
    // the chainer works on them), all unused, and finds the finest-level matches of every end.
    // Throws std::length_error for more than 2^31 - 1 segments.
    //
    // `partners`, when given (2 * count values, kNoPartner or an end index 2 s + e), is the
    // producer's claim of which end each end meets: a cut through a mesh edge knows the cut of
    // the triangle across it. The claim is adopted only once verified: partners name each
    // other and match at the finest tolerance, and where two unpaired ends or pairs come
    // within four times that tolerance of each other (a cut through or near a mesh vertex, a
    // very short segment) their matches are taken from the coordinates instead. When the claim
    // does not hold together, or too many ends crowd (coincident sheets, unwelded meshes), all
    // matches are found from the coordinates. Either way the chains are the same.
    static constexpr std::uint32_t kNoPartner = 0xFFFFFFFFu;
    void reset(SegmentEnds const *segments, std::size_t count,
               std::uint32_t const *partners = nullptr);
    // Whether the last reset adopted the producer's partners (repaired where ends crowd).
    bool adoptedPartners() const;

    // Marks as used (never chained) every segment that repeats an earlier kept one by
    // repeatsSegment; the rest keep their order. Call before the first nextChain. Returns the
    // number dropped. Only segments whose two ends both have finest-level matches in one
    // earlier segment are compared, so the usual cost is two table reads per segment.
    std::size_t dropRepeats();

    // The next chain: its points from front to back, valid until the next call (k segments
    // give k + 1 points). False, with nothing written, when every segment is used.
    bool nextChain(ChainPoint const *&first, ChainPoint const *&last);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

// The chains of `segments`, in start order, each as its points from front to back. Every
// segment appears in exactly one chain.
std::vector<std::vector<ChainPoint>> chainSegmentEnds(std::vector<SegmentEnds> const &segments);

// A new PLC holding new Point3D copies of the chain's points, added front to back with addPoint.
// The caller owns it, its point list and its points.
PLC *makeContour(SegmentEnds const *segments, ChainPoint const *first, ChainPoint const *last);

// Chains `segments` and appends one new PLC per chain to `out`, in start order (see
// makeContour). With closedOnly, a chain whose first and last points differ by 1e-8 or more in
// some coordinate is not delivered: its PLC is still made (it takes its entity identifier, so
// the names of later contours do not depend on the flag) and is then released with its list
// and its points.
void chainSegments(std::vector<SegmentEnds> const &segments, std::vector<PLC *> &out,
                   bool closedOnly);

// Releases a produced contour: its points, its point list and the PLC itself.
void releaseContour(PLC *contour);

}  // namespace ORVANE_DATABASE
