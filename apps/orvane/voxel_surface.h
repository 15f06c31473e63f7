#pragma once
// The printable surface of the cells a voxelizer marked: one closed, outward, 2-manifold mesh.
//
// The kernel's voxelizer delivers six quads per marked cell, five wound into the cell and one
// out of it, and keeps the faces two marked cells share. The surface built here
//   - has only the faces between a marked and an unmarked cell (or the grid's outside), each
//     wound counter-clockwise seen from outside the cells (so the volume is positive);
//   - shares every lattice point between the cells that meet there, so touching cells share
//     their edges;
//   - is a 2-manifold: where marked cells meet only along an edge or at a corner, the surface
//     would pinch there (an edge of four faces, a vertex where two sheets touch), which
//     printers and mesh checkers reject. Such places are filled with the fewest further cells
//     of the grid that make the cells around every lattice point one solid piece with one
//     piece of outside around it; the added cells are counted.
#include "model_io.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane {

// Where the grid lies: the voxelizer's own geometry, origin the box's lower corner and cell
// sizes the box's extent divided by the counts.
struct VoxelGridFrame {
    std::array<double, 3> origin{};
    std::array<double, 3> size{};   // cell edges, > 0
    std::array<std::size_t, 3> counts{};
};

struct VoxelSurface {
    ModelData mesh;          // lattice points and outward triangles
    std::size_t cells = 0;   // marked by the voxelizer
    std::size_t filled = 0;  // added to keep the surface a 2-manifold
};

// The surface of the cells whose quads the voxelizer delivered: `coords` its corner points
// (x, y, z each), `quads` four corner indices per face, 24 per marked cell (its six faces
// together, in any order), `frame` the grid they lie in. Cells are found from their
// corners, so the quads' winding and order do not matter. Deterministic: vertices are
// numbered in order of first use, cells visited in the voxelizer's grid order.
// `markedCells`, when given, receives the voxelizer's cells (not the added ones) by grid
// index (i ny + j) nz + k, in the order of their quads.
VoxelSurface voxelSurface(std::vector<double> const &coords, std::vector<std::size_t> const &quads,
                          VoxelGridFrame const &frame, std::vector<std::uint64_t> *markedCells = nullptr);

// The box a grid of `counts` cells spans over a mesh whose vertices' box is `box` (lower
// corner, then upper): the mesh's box, except
//  - with `cellSize` > 0, cubic cells of that edge: the box widened or narrowed about its
//    centre to counts * cellSize along each axis (the caller chooses counts that cover the
//    mesh);
//  - otherwise along an axis where the mesh is flat: there cells as large as the largest of
//    the other axes' (1 when the mesh is a point), so that a flat plate becomes a slab of
//    cells rather than cells without thickness.
// When `widened`, the box is not the mesh's: the voxelizer, which spans the box of its mesh,
// is then given two further vertices, at `lower` and `upper`, that no triangle uses.
struct VoxelGridBox {
    std::array<double, 3> lower{}, upper{};
    bool widened = false;
};
VoxelGridBox voxelGridBox(std::array<double, 6> const &box, std::array<std::size_t, 3> const &counts,
                          double cellSize = 0);

// The grid frame the voxelizer derives from a mesh whose box runs from `lower` to `upper`.
VoxelGridFrame voxelGridFrame(std::array<double, 3> const &lower, std::array<double, 3> const &upper,
                              std::array<std::size_t, 3> const &counts);

}  // namespace orvane
