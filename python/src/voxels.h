#pragma once
// Mesh.voxelize: the kernel's Voxelization of a mesh, as an occupancy array and the outer
// surface of the marked cells.
#include "mesh.h"
#include "release_queue.h"

#include "Feedback.h"

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane::python {

namespace py = pybind11;

// Grid cells the module allows (one byte each): 2^29, as the tool.
constexpr long long kMostCells = 1LL << 29;

struct VoxelRun {
    std::vector<std::uint8_t> occupancy;   // 1 for a marked cell, (i * ny + j) * nz + k
    ModelData surface;
    std::unique_ptr<Garbage> spent;   // the kernel mesh voxelized, to be released afterwards
};

// Voxelizes `model` on a grid of counts[0] x counts[1] x counts[2] cells over its box. The
// surface is made of the kernel's quads: faces that two marked cells share are left out,
// each remaining face is turned to run counter-clockwise seen from outside its cell (the
// kernel's quads do not all run one way), and faces that collapse on an axis of zero extent
// are dropped. `feedback` (may be null) hears the kernel's stage
// messages. Runs inside KernelWork.
VoxelRun voxelizeModel(ModelData const &model, std::array<std::size_t, 3> const &counts,
                       ORVANE_DATABASE::Feedback *feedback);

// Mesh.voxelize(grid, progress): (bool array (nx, ny, nz), Mesh).
py::tuple voxelizeMesh(Mesh &mesh, py::handle grid, py::handle progress);

}  // namespace orvane::python
