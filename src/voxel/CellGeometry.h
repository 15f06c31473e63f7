#pragma once
// Geometry of a voxel grid laid over a mesh's box: origin, cell sizes, cell corners and the
// cell index of a coordinate. Marking and surface building both read corners through
// corner(), so that the two see bit-identical coordinates.
#include <cstddef>
#include <cstdint>

namespace ORVANE_DATABASE {
namespace voxel {

struct CellGeometry {
    double origin[3] = {0.0, 0.0, 0.0};
    double size[3] = {0.0, 0.0, 0.0};

    // Coordinate along `axis` of a corner of the cell with index `index` on that axis: the
    // corner offset `bit` (0 or 1) times the size, plus the cell's base (index times size plus
    // origin), evaluated in exactly that order.
    double corner(int axis, int bit, double index) const {
        return double(bit) * size[axis] + (index * size[axis] + origin[axis]);
    }
};

// The index of the cell holding `offset` (a coordinate minus the origin) along an axis of
// cells of `size` and `count` cells: offset / size truncated toward zero, then clamped to
// 0 .. count - 1. The clamping is done on the double, before any conversion, so that every
// double gives a defined index: an axis of zero extent (size 0) gives 0, NaN gives 0, values
// beyond the grid give 0 or count - 1. `count` is at least 1.
inline std::int32_t cellIndex(double offset, double size, std::int32_t count) {
    if (!(size > 0.0)) return 0;
    double const q = offset / size;
    if (!(q >= 1.0)) return 0;   // below 1 truncates to 0 or clamps to 0; NaN fails here too
    if (q >= double(count)) return count - 1;
    return static_cast<std::int32_t>(q);
}

// cellIndex(offset, size, count) with the division replaced by a multiplication by
// `inverse` = 1 / size where that provably gives the same index. The product differs from the
// quotient by a few units in the last place (under 1e-6 for quotients below 1e9), so when it
// lies more than 1e-6 from every integer, the quotient truncates, and compares with 1 and
// count, the same way. Products near an integer (a coordinate on a lattice plane, such as the
// box's own faces), large, infinite or NaN take the division.
inline std::int32_t cellIndex(double offset, double size, double inverse, std::int32_t count) {
    if (!(size > 0.0)) return 0;
    double const q = offset * inverse;
    if (q < 1.0 - 1e-6) return 0;   // the quotient is below 1 as well
    if (q < 1e9) {                  // also false for NaN
        double const whole = double(static_cast<std::int64_t>(q));
        double const fraction = q - whole;   // exact: q is below 2^52
        if (fraction > 1e-6 && fraction < 1.0 - 1e-6)
            return whole >= double(count) ? count - 1 : static_cast<std::int32_t>(whole);
    }
    return cellIndex(offset, size, count);
}

} // namespace voxel
} // namespace ORVANE_DATABASE
