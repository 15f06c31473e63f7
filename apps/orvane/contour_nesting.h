#pragma once
// How the closed contours of one layer nest: which contour lies inside which. A contour's
// depth is the number of contours around it; at even depth it bounds material (an outer
// contour), at odd depth a hole, and its parent is the nearest contour around it.
//
// Each contour is tested with one of its corners by ray parity: the corner lies inside every
// contour that a ray from it crosses an odd number of times. Contours of one plane cut from a
// closed mesh do not cross, so one corner decides for the whole contour. The edges are kept
// in horizontal bands, so that a ray meets only the edges of its band: a layer of n contours
// and E edges costs about E + n sqrt(E), not n E, even when one contour holds hundreds of
// holes.
#include <array>
#include <cstddef>
#include <vector>

namespace orvane {

using Point2 = std::array<double, 2>;
// A closed contour: its corners in order, the first not repeated at the end.
using Ring2 = std::vector<Point2>;

struct RingNesting {
    std::vector<std::size_t> depth;   // per ring: how many rings enclose it
    std::vector<long long> parent;    // per ring: the nearest enclosing ring, or -1
};

RingNesting nestRings(std::vector<Ring2> const &rings);

// Twice the signed area: positive when the ring runs counter-clockwise (x to the right, y up).
double twiceSignedArea(Ring2 const &ring);

}  // namespace orvane
