#include "voxel_surface.h"

#include "flat_hash.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace orvane {

namespace {

struct KeyHash {
    std::size_t operator()(std::uint64_t key) const { return static_cast<std::size_t>(mixBits(key)); }
};

// The eight cells around a lattice point are its octants, numbered by bits as the voxelizer
// numbers a cell's corners: bit 2 the x side, bit 1 y, bit 0 z (1 = the cell above the point).
// Two octants share a face when their numbers differ in one bit.
bool octantsConnected(unsigned mask) {
    if (mask == 0) return true;
    unsigned seen = mask & (~mask + 1);   // the lowest octant
    for (unsigned grown = 0; grown != seen;) {
        grown = seen;
        for (unsigned o = 0; o < 8; ++o)
            if (seen >> o & 1)
                for (unsigned b : {1u, 2u, 4u}) seen |= 1u << (o ^ b) & mask;
    }
    return seen == mask;
}

// The surface around a lattice point is a disc exactly when the marked octants form one
// piece and so do the unmarked ones (the point's neighbourhood is a sphere cut by the faces
// between them into two connected regions, whose common border is then one simple loop).
struct OctantRules {
    bool manifold[256];
    std::vector<unsigned> byCount;   // all masks, fewest octants first, then by value
    OctantRules() {
        for (unsigned m = 0; m < 256; ++m)
            manifold[m] = m == 0 || m == 255 || (octantsConnected(m) && octantsConnected(~m & 255u));
        for (unsigned m = 0; m < 256; ++m) byCount.push_back(m);
        std::stable_sort(byCount.begin(), byCount.end(), [](unsigned a, unsigned b) {
            return __builtin_popcount(a) < __builtin_popcount(b);
        });
    }
    // The fewest octants among `free` whose marking makes `marked` a disc (lowest mask on a
    // tie). Marking every free octant always works: the octants inside the grid form a box.
    unsigned fill(unsigned marked, unsigned free) const {
        for (unsigned s : byCount)
            if ((s & ~free) == 0 && manifold[marked | s]) return s;
        return free;
    }
};

class Grid {
public:
    explicit Grid(std::array<std::size_t, 3> const &n) : n_(n), bits_((n[0] * n[1] * n[2] + 63) / 64, 0) {}

    bool inside(long long i, long long j, long long k) const {
        return i >= 0 && j >= 0 && k >= 0 && static_cast<std::size_t>(i) < n_[0] &&
               static_cast<std::size_t>(j) < n_[1] && static_cast<std::size_t>(k) < n_[2];
    }
    std::uint64_t index(long long i, long long j, long long k) const {
        return (static_cast<std::uint64_t>(i) * n_[1] + static_cast<std::uint64_t>(j)) * n_[2] +
               static_cast<std::uint64_t>(k);
    }
    bool marked(long long i, long long j, long long k) const {
        if (!inside(i, j, k)) return false;
        std::uint64_t const v = index(i, j, k);
        return bits_[v / 64] >> (v % 64) & 1;
    }
    // Marks the cell; false when it already was.
    bool mark(long long i, long long j, long long k) {
        std::uint64_t const v = index(i, j, k);
        std::uint64_t const bit = std::uint64_t(1) << (v % 64);
        if (bits_[v / 64] & bit) return false;
        bits_[v / 64] |= bit;
        return true;
    }
    // Calls f(i, j, k) for every marked cell, in grid order (x slowest, z fastest).
    template <class F>
    void forEachMarked(F &&f) const {
        for (std::size_t w = 0; w < bits_.size(); ++w)
            for (std::uint64_t word = bits_[w]; word; word &= word - 1) {
                std::uint64_t const v = 64 * w + static_cast<unsigned>(__builtin_ctzll(word));
                f(static_cast<long long>(v / (n_[1] * n_[2])), static_cast<long long>(v / n_[2] % n_[1]),
                  static_cast<long long>(v % n_[2]));
            }
    }
    std::array<std::size_t, 3> const &counts() const { return n_; }

private:
    std::array<std::size_t, 3> n_;
    std::vector<std::uint64_t> bits_;
};

// Lattice points are keyed by (I (ny + 1) + J) (nz + 1) + K.
struct Lattice {
    std::array<std::size_t, 3> n;
    std::uint64_t key(long long i, long long j, long long k) const {
        return (static_cast<std::uint64_t>(i) * (n[1] + 1) + static_cast<std::uint64_t>(j)) * (n[2] + 1) +
               static_cast<std::uint64_t>(k);
    }
    std::array<long long, 3> point(std::uint64_t key) const {
        return {{static_cast<long long>(key / ((n[1] + 1) * (n[2] + 1))),
                 static_cast<long long>(key / (n[2] + 1) % (n[1] + 1)), static_cast<long long>(key % (n[2] + 1))}};
    }
};

// Adds the fewest cells that make the surface around every lattice point a disc; returns
// how many. Works in rounds over the points whose cells changed, each round in key order.
std::size_t fillPinches(Grid &grid) {
    static OctantRules const rules;
    Lattice const lattice{grid.counts()};
    std::vector<std::uint64_t> points;
    auto addCorners = [&](long long i, long long j, long long k) {
        for (int o = 0; o < 8; ++o) points.push_back(lattice.key(i + (o >> 2 & 1), j + (o >> 1 & 1), k + (o & 1)));
    };
    grid.forEachMarked(addCorners);
    std::size_t added = 0;
    while (!points.empty()) {
        std::sort(points.begin(), points.end());
        points.erase(std::unique(points.begin(), points.end()), points.end());
        std::vector<std::uint64_t> round;
        round.swap(points);
        for (std::uint64_t key : round) {
            std::array<long long, 3> const p = lattice.point(key);
            unsigned marked = 0, free = 0;
            for (unsigned o = 0; o < 8; ++o) {
                long long const i = p[0] - 1 + (o >> 2 & 1), j = p[1] - 1 + (o >> 1 & 1), k = p[2] - 1 + (o & 1);
                if (grid.marked(i, j, k)) marked |= 1u << o;
                else if (grid.inside(i, j, k)) free |= 1u << o;
            }
            if (rules.manifold[marked]) continue;
            unsigned const fill = rules.fill(marked, free);
            for (unsigned o = 0; o < 8; ++o) {
                if (!(fill >> o & 1)) continue;
                long long const i = p[0] - 1 + (o >> 2 & 1), j = p[1] - 1 + (o >> 1 & 1), k = p[2] - 1 + (o & 1);
                if (grid.mark(i, j, k)) {
                    ++added;
                    addCorners(i, j, k);
                }
            }
        }
    }
    return added;
}

}  // namespace

VoxelGridFrame voxelGridFrame(std::array<double, 3> const &lower, std::array<double, 3> const &upper,
                              std::array<std::size_t, 3> const &counts) {
    VoxelGridFrame frame;
    frame.counts = counts;
    for (int a = 0; a < 3; ++a) {
        frame.origin[a] = lower[a];
        frame.size[a] = std::fabs(lower[a] - upper[a]) / static_cast<double>(counts[a]);
    }
    return frame;
}

VoxelGridBox voxelGridBox(std::array<double, 6> const &box, std::array<std::size_t, 3> const &counts,
                          double cellSize) {
    VoxelGridBox grid;
    for (int a = 0; a < 3; ++a) grid.lower[a] = box[a], grid.upper[a] = box[3 + a];
    double largestCell = 0;
    for (int a = 0; a < 3; ++a)
        largestCell = std::max(largestCell, (grid.upper[a] - grid.lower[a]) / static_cast<double>(counts[a]));
    if (!(largestCell > 0)) largestCell = 1;
    for (int a = 0; a < 3; ++a) {
        double const n = static_cast<double>(counts[a]), extent = grid.upper[a] - grid.lower[a];
        double const want = cellSize > 0 ? n * cellSize : extent > 0 ? extent : n * largestCell;
        if (want != extent) {
            double const centre = (grid.lower[a] + grid.upper[a]) / 2;
            grid.lower[a] = centre - want / 2;
            grid.upper[a] = centre + want / 2;
            grid.widened = true;
        }
    }
    return grid;
}

VoxelSurface voxelSurface(std::vector<double> const &coords, std::vector<std::size_t> const &quads,
                          VoxelGridFrame const &frame, std::vector<std::uint64_t> *markedCells) {
    VoxelSurface out;
    Grid grid(frame.counts);
    std::size_t const vertices = coords.size() / 3;
    for (std::size_t c = 0; c + 24 <= quads.size(); c += 24) {
        // The cell's lowest corner, and from it the cell's place in the grid.
        double low[3] = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
                         std::numeric_limits<double>::infinity()};
        bool usable = true;
        for (std::size_t q = c; q < c + 24; ++q) {
            if (quads[q] >= vertices) {
                usable = false;
                break;
            }
            for (int a = 0; a < 3; ++a) low[a] = std::min(low[a], coords[3 * quads[q] + a]);
        }
        long long cell[3] = {0, 0, 0};
        for (int a = 0; a < 3 && usable; ++a) {
            double const at = frame.size[a] > 0 ? (low[a] - frame.origin[a]) / frame.size[a] : 0.0;
            usable = std::isfinite(at) && at > -0.5 && at < static_cast<double>(frame.counts[a]) - 0.5;
            if (usable) cell[a] = std::llround(at);
        }
        if (usable && grid.mark(cell[0], cell[1], cell[2])) {
            ++out.cells;
            if (markedCells) markedCells->push_back(grid.index(cell[0], cell[1], cell[2]));
        }
    }
    out.filled = fillPinches(grid);

    // Faces between a marked cell and the outside, each a quad split into two triangles.
    Lattice const lattice{frame.counts};
    FlatHashMap<std::uint64_t, std::uint32_t, KeyHash> index(out.cells * 2);
    auto vertex = [&](long long i, long long j, long long k) {
        std::uint64_t const key = lattice.key(i, j, k);
        std::uint32_t const next = static_cast<std::uint32_t>(out.mesh.coords.size() / 3);
        std::uint32_t const v = index.insert(key, next);
        if (v == next) {
            long long const at[3] = {i, j, k};
            // The voxelizer's own corner formula, j * size + origin.
            for (int a = 0; a < 3; ++a)
                out.mesh.coords.push_back(static_cast<double>(at[a]) * frame.size[a] + frame.origin[a]);
        }
        return v;
    };
    grid.forEachMarked([&](long long i, long long j, long long k) {
        long long const cell[3] = {i, j, k};
        for (int axis = 0; axis < 3; ++axis)
            for (int side = 0; side < 2; ++side) {
                long long nb[3] = {i, j, k};
                nb[axis] += side ? 1 : -1;
                if (grid.marked(nb[0], nb[1], nb[2])) continue;
                // (b, c) follow `axis` cyclically, so corners in the order (0,0) (1,0) (1,1)
                // (0,1) of (b, c) wind counter-clockwise seen from the +axis side.
                int const b = (axis + 1) % 3, c = (axis + 2) % 3;
                std::uint32_t q[4];
                static int const steps[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
                for (int n = 0; n < 4; ++n) {
                    long long p[3] = {cell[0], cell[1], cell[2]};
                    p[axis] += side;
                    p[b] += steps[n][0];
                    p[c] += steps[n][1];
                    q[n] = vertex(p[0], p[1], p[2]);
                }
                if (!side) std::swap(q[1], q[3]);
                out.mesh.corners.insert(out.mesh.corners.end(), {q[0], q[1], q[2], q[0], q[2], q[3]});
            }
    });
    return out;
}

}  // namespace orvane
