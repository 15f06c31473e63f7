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
// The literal procedure rescans the remaining segments for every step; chainSegmentEnds gives
// the same chains through one spatial hash of unused end points per tolerance, so chaining n
// segments costs O(n) hash probes instead of O(n^2) comparisons.
#include "Point3D.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

class PLC;

// P and Q of one segment, in the order the producer recorded them.
struct SegmentEnds {
    Point3D first;
    Point3D second;
};

// One point of a chain: a copy of end `end` (0 = first/P, 1 = second/Q) of segment `segment`
// (its position in the input vector).
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

// The chains of `segments`, in start order, each as its points from front to back (k segments
// give k + 1 points). Every segment appears in exactly one chain.
// Throws std::length_error for more than 2^31 - 1 segments.
std::vector<std::vector<ChainPoint>> chainSegmentEnds(std::vector<SegmentEnds> const &segments);

// Chains `segments` and appends one new PLC per chain to `out`, in start order; its points are
// new Point3D copies of the segment ends, added front to back with addPoint. With closedOnly,
// a chain whose first and last points differ by 1e-8 or more in some coordinate is not
// delivered: its PLC is still made (it takes its entity identifier, so the names of later
// contours do not depend on the flag) and is then released with its list and its points.
// The caller owns each delivered PLC, its point list and its points.
void chainSegments(std::vector<SegmentEnds> const &segments, std::vector<PLC *> &out,
                   bool closedOnly);

// Releases a produced contour: its points, its point list and the PLC itself.
void releaseContour(PLC *contour);

}  // namespace ORVANE_DATABASE
