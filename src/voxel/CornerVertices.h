#pragma once
// Merging the corners of marked voxel cells into shared vertices, and the walk over the
// marked cells that the two surface builders share.
//
// The rule: a corner point equivalent under OrvaneDatabase::LessThan (every coordinate within
// 1e-9) to the point of an earlier corner reuses that corner's vertex; otherwise it gets a new
// vertex. PointMapCorners applies the rule literally with an ordered point map (a tree search
// per corner). LatticeCorners gets the same answers from the corner's lattice position in
// O(1), but only where that is provably the same: latticeAxis() checks, per axis, that the
// lattice coordinates fall into classes that LessThan separates cleanly (the coordinates of
// one lattice plane, however they were rounded, tie; those of different planes are apart by
// the dead band). Then LessThan restricted to the corner points is the lexicographic order of
// their class triples, so the map would find an earlier point exactly when an earlier corner
// had the same class triple. Tiny cells (below the dead band), coordinates so large that a
// lattice plane's two roundings differ by 1e-9 or more, and NaN or infinite geometry fail the
// check and take the point map.
#include "CellGeometry.h"
#include "OrvaneDatabase.h"
#include "Point3D.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {
namespace voxel {

// How the lattice planes of one axis fall into LessThan classes.
enum class AxisClasses {
    Distinct,    // every lattice plane is a class of its own
    Collapsed,   // the axis has zero extent: all planes are one class
    Unproven     // neither could be shown: use the point map
};

// The one-axis steps of LessThan: `before` decides "a comes first" on this axis, `after`
// decides "a does not come first", and a tie passes the decision on to the next axis.
inline bool axisBefore(double a, double b) { return b - 1e-9 > a; }
inline bool axisAfter(double a, double b) { return !axisBefore(a, b) && std::fabs(a - b) >= 1e-9; }
inline bool axisTie(double a, double b) { return !axisBefore(a, b) && std::fabs(a - b) < 1e-9; }

// Classifies the lattice planes 0 .. count of `axis`. Plane p is reached as corner offset 0 of
// cell p (p < count) and as corner offset 1 of cell p - 1 (p > 0); the two roundings must tie,
// and every value of plane p must come strictly before every value of plane p + 1 under both
// argument orders. Checking neighbours suffices: the values then increase from plane to plane
// and rounding is monotonic, so planes further apart are separated at least as well.
inline AxisClasses latticeAxis(CellGeometry const &g, int axis, std::size_t count) {
    auto low = [&](std::size_t p) { return g.corner(axis, 0, double(p)); };
    auto high = [&](std::size_t p) { return g.corner(axis, 1, double(p - 1)); };

    bool collapsed = true;
    double const first = low(0);
    for (std::size_t p = 0; p <= count && collapsed; ++p) {
        if (p < count && !(low(p) == first)) collapsed = false;
        if (p > 0 && !(high(p) == first)) collapsed = false;
    }
    if (collapsed) return AxisClasses::Collapsed;

    for (std::size_t p = 0; p <= count; ++p) {
        double values[2];
        int n = 0;
        if (p < count) values[n++] = low(p);
        if (p > 0) values[n++] = high(p);
        if (n == 2 && !(axisTie(values[0], values[1]) && axisTie(values[1], values[0])))
            return AxisClasses::Unproven;
        if (p == count) break;
        double next[2];
        int m = 0;
        if (p + 1 < count) next[m++] = low(p + 1);
        next[m++] = high(p + 1);
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < m; ++b)
                if (!(axisBefore(values[a], next[b]) && axisAfter(next[b], values[a])))
                    return AxisClasses::Unproven;
    }
    return AxisClasses::Distinct;
}

// The literal rule: an ordered map from corner point to vertex index.
class PointMapCorners {
public:
    void enterRow(std::size_t) {}

    // Vertex index for the corner at `corner` (lattice position unused); newVertex takes a new
    // point and returns the index of the vertex made for it.
    template <class NewVertex>
    int vertexOf(Point3D const &corner, std::size_t, std::size_t, std::size_t,
                 NewVertex &newVertex) {
        auto found = m_map.find(const_cast<Point3D *>(&corner));
        if (found != m_map.end()) return found->second;
        auto point = std::make_unique<Point3D>(corner);
        Point3D *key = point.get();
        int const index = newVertex(std::move(point));
        m_map.emplace(key, index);
        return index;
    }

private:
    std::map<Point3D *, int, OrvaneDatabase::LessThan> m_map;
};

// The same answers by lattice position, for grids whose axes latticeAxis() classified as
// Distinct or Collapsed. Holds the vertex indices of two lattice layers across x (the x
// planes of the row of cells being walked), each a dense (y, z) table.
class LatticeCorners {
public:
    LatticeCorners(std::size_t const count[3], AxisClasses const classes[3]) {
        for (int a = 0; a < 3; ++a) m_collapsed[a] = classes[a] == AxisClasses::Collapsed;
        m_planesZ = m_collapsed[2] ? 1 : count[2] + 1;
        std::size_t const planesY = m_collapsed[1] ? 1 : count[1] + 1;
        for (auto &layer : m_layer) layer.assign(planesY * m_planesZ, -1);
    }

    // Bytes the two layers need for a grid with these counts and classes.
    static std::size_t layerBytes(std::size_t const count[3], AxisClasses const classes[3]) {
        std::size_t const y = classes[1] == AxisClasses::Collapsed ? 1 : count[1] + 1;
        std::size_t const z = classes[2] == AxisClasses::Collapsed ? 1 : count[2] + 1;
        return 2 * y * z * sizeof(std::int32_t);
    }

    // Makes the layers of x planes i and i + 1 current, keeping what plane i already holds.
    // Rows are entered in increasing order. A layer is cleared by resetting only the entries
    // it was given, so a row costs what its marked cells cost, not the size of a layer.
    void enterRow(std::size_t i) {
        std::size_t const lo = xClass(i), hi = xClass(i + 1);
        if (m_label[0] == lo && m_label[1] == hi) return;
        if (m_label[1] == lo) {
            std::swap(m_layer[0], m_layer[1]);
            std::swap(m_written[0], m_written[1]);
        } else {
            clear(0);
        }
        m_label[0] = lo;
        if (hi != lo) clear(1);
        m_label[1] = hi;
    }

    template <class NewVertex>
    int vertexOf(Point3D const &corner, std::size_t li, std::size_t lj, std::size_t lk,
                 NewVertex &newVertex) {
        std::size_t const xc = xClass(li);
        std::size_t const slot = (m_collapsed[1] ? 0 : lj) * m_planesZ + (m_collapsed[2] ? 0 : lk);
        int const layer = xc == m_label[0] ? 0 : 1;
        std::int32_t &entry = m_layer[layer][slot];
        if (entry < 0) {
            entry = newVertex(std::make_unique<Point3D>(corner));
            m_written[layer].push_back(slot);
        }
        return entry;
    }

private:
    std::size_t xClass(std::size_t plane) const { return m_collapsed[0] ? 0 : plane; }
    void clear(int layer) {
        for (std::size_t slot : m_written[layer]) m_layer[layer][slot] = -1;
        m_written[layer].clear();
    }

    bool m_collapsed[3];
    std::size_t m_planesZ = 1;
    std::vector<std::int32_t> m_layer[2];
    std::vector<std::size_t> m_written[2];   // the entries of each layer that were set
    std::size_t m_label[2] = {SIZE_MAX, SIZE_MAX};
};

// Walks the cells of `grid` (count[0] x count[1] x count[2] bytes, x slowest, z fastest) in
// grid order and, for each marked cell, finds the vertex index of each of its eight corners
// in corner order (bit 2 of the corner number: +x, bit 1: +y, bit 0: +z) with `corners` and
// calls emitCell(int const (&)[8]). Corner points are computed with CellGeometry::corner.
// The first marked cell of cells[0..n), or n: eight cells at a time over unmarked stretches.
inline std::size_t nextMarked(unsigned char const *cells, std::size_t n) {
    std::size_t k = 0;
    for (; k + 8 <= n; k += 8) {
        std::uint64_t word;
        std::memcpy(&word, cells + k, 8);
        if (word != 0) break;
    }
    while (k < n && cells[k] == 0) ++k;
    return k;
}

// Walks the cells of `grid` (count[0] x count[1] x count[2] bytes, x slowest, z fastest) in
// grid order and, for each marked cell, finds the vertex index of each of its eight corners
// in corner order (bit 2 of the corner number: +x, bit 1: +y, bit 0: +z) with `corners` and
// calls emitCell(int const (&)[8]). Corner points are computed with CellGeometry::corner.
template <class Corners, class NewVertex, class EmitCell>
void walkMarkedCells(unsigned char const *grid, std::size_t const count[3], CellGeometry const &g,
                     Corners &corners, NewVertex &newVertex, EmitCell &emitCell) {
    unsigned char const *row = grid;
    for (std::size_t i = 0; i < count[0]; ++i) {
        bool rowEntered = false;
        for (std::size_t j = 0; j < count[1]; ++j, row += count[2]) {
            for (std::size_t k = nextMarked(row, count[2]); k < count[2];
                 k += 1 + nextMarked(row + k + 1, count[2] - k - 1)) {
                if (!rowEntered) {
                    corners.enterRow(i);
                    rowEntered = true;
                }
                int index[8];
                for (int q = 0; q < 8; ++q) {
                    int const bx = (q >> 2) & 1, by = (q >> 1) & 1, bz = q & 1;
                    Point3D const point(g.corner(0, bx, double(i)), g.corner(1, by, double(j)),
                                        g.corner(2, bz, double(k)));
                    index[q] = corners.vertexOf(point, i + bx, j + by, k + bz, newVertex);
                }
                emitCell(index);
            }
        }
    }
}

// Number of marked cells of grid[0..n) (each 0 or 1), eight at a time.
inline std::size_t markedCount(unsigned char const *grid, std::size_t n) {
    std::size_t count = 0, k = 0;
    for (; k + 8 <= n; k += 8) {
        std::uint64_t word;
        std::memcpy(&word, grid + k, 8);
        // Bytes of 0 or 1: summing the bytes pairwise, then in fours, then all eight.
        word = (word & 0x00ff00ff00ff00ffu) + ((word >> 8) & 0x00ff00ff00ff00ffu);
        word = (word & 0x0000ffff0000ffffu) + ((word >> 16) & 0x0000ffff0000ffffu);
        count += std::size_t((word & 0xffffffffu) + (word >> 32));
    }
    for (; k < n; ++k) count += grid[k] != 0;
    return count;
}

// Whether the lattice lookup gives the point map's answers for this grid, and its layers
// stay within the grid's own size (or 1 MiB): thin grids with wide layers and few marked cells
// are better served by the map.
inline bool latticeApplies(CellGeometry const &g, std::size_t const count[3],
                           AxisClasses classes[3]) {
    for (int a = 0; a < 3; ++a) {
        classes[a] = latticeAxis(g, a, count[a]);
        if (classes[a] == AxisClasses::Unproven) return false;
    }
    std::size_t const cells = count[0] * count[1] * count[2];
    return LatticeCorners::layerBytes(count, classes) <= std::max<std::size_t>(cells, 1u << 20);
}

// Walks the marked cells with the lattice lookup where it applies and the point map
// otherwise; `allowLattice` false forces the point map (the reference).
template <class NewVertex, class EmitCell>
void buildCorners(unsigned char const *grid, std::size_t const count[3], CellGeometry const &g,
                  bool allowLattice, NewVertex &&newVertex, EmitCell &&emitCell) {
    AxisClasses classes[3];
    if (allowLattice && latticeApplies(g, count, classes)) {
        LatticeCorners corners(count, classes);
        walkMarkedCells(grid, count, g, corners, newVertex, emitCell);
    } else {
        PointMapCorners corners;
        walkMarkedCells(grid, count, g, corners, newVertex, emitCell);
    }
}

} // namespace voxel
} // namespace ORVANE_DATABASE
