#pragma once
// Mesh.voxelize: the kernel's Voxelization of a mesh, as an occupancy array of the cells it
// marked and the printable surface the tool writes for them (voxel_surface.h).
#include "mesh.h"
#include "release_queue.h"

#include "Feedback.h"

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace orvane::python {

namespace py = pybind11;

// Grid cells the module allows (one byte each): 2^29, as the tool.
constexpr long long kMostCells = 1LL << 29;

struct VoxelRun {
    std::vector<std::uint64_t> marked;   // the cells the voxelizer marked, by index (i * ny + j) * nz + k
    ModelData surface;                   // voxelSurface's: outward, closed, 2-manifold
    std::unique_ptr<Garbage> spent;      // the voxelizer, its mesh and its quads
};

// Voxelizes `model` as `orvane voxelize --grid` does: a grid of counts[0] x counts[1] x
// counts[2] cells over the box voxelGridBox gives (the model's, widened along a flat axis),
// the voxelizer's quads turned into voxelSurface's surface. `feedback` (may be null) hears
// the kernel's stage messages. Runs inside KernelWork.
VoxelRun voxelizeModel(ModelData const &model, std::array<std::size_t, 3> const &counts,
                       ORVANE_DATABASE::Feedback *feedback);

// Mesh.voxelize(grid, progress): (bool array (nx, ny, nz), Mesh).
py::tuple voxelizeMesh(Mesh &mesh, py::handle grid, py::handle progress);

}  // namespace orvane::python
