#include "slicing/SegmentRecords.h"

#include <algorithm>
#include <stdexcept>

namespace ORVANE_DATABASE {
namespace slicing {

std::uint32_t SegmentRecords::record(std::size_t i, double *plane) const {
    if (i >= triangles_.size()) throw std::out_of_range("SegmentRecords: no such record");
    // The last plane whose first record is at or before i.
    auto const it = std::upper_bound(planes_.begin(), planes_.end(), i,
                                     [](std::size_t k, Plane const &p) { return k < p.first; });
    Plane const &p = *(it - 1);
    std::copy(p.corners, p.corners + 9, plane);
    return triangles_[i];
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
