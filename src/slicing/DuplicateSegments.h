#pragma once
// Removal of repeated cut segments before stitching.
//
// A plane that contains a mesh edge cuts both triangles on that edge along it, and a plane
// through duplicated faces cuts each copy: the cut then holds the same stretch twice, and
// stitching would run the contour over it twice. A segment is dropped when both its ends
// match (each coordinate strictly within 1e-8, the finest stitching tolerance) the two ends
// of an earlier kept segment, in either direction; everything else keeps its order.
//
// Candidates are found through one scalar key per segment, the smaller of k(P), k(Q) with
// k(p) = x + a y + b z (a, b irrational-looking, so that ends on axis-aligned lines do not
// share keys). Two matching segments have keys closer than (1 + a + b) * 1e-8 (plus
// rounding slack), so a hash of key cells a few such windows wide, probed at the key's cell
// and at most one neighbour, finds every earlier kept duplicate in O(1) expected time; the
// exact per-coordinate test decides. Ends with a NaN or infinite coordinate match nothing,
// so their segments are always kept.
#include "entities/SegmentChainer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

class DuplicateSegments {
public:
    // Removes the duplicates from `segments` in place, keeping the order of the rest.
    // Returns the number removed. `magnitude`, when given (>= 0), bounds |x| + |y| + |z| of
    // every finite end point (it sizes the rounding slack); otherwise it is measured.
    // Buffers are kept for the next call.
    std::size_t remove(std::vector<SegmentEnds> &segments, double magnitude = -1.0);

private:
    std::vector<double> keys_;
    std::vector<std::uint32_t> head_, next_;
    std::vector<char> kept_;
};

}  // namespace slicing
}  // namespace ORVANE_DATABASE
