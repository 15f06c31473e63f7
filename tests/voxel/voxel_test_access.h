#pragma once
// Test-side access to the private members of Voxelization and MarchingCubes (both declare
// these classes friends).
#include "MarchingCubes.h"
#include "Voxelization.h"

#include <array>
#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

class VoxelizationTestAccess {
public:
    static bool markVoxels(Voxelization &v) { return v.markVoxels(); }
    // Marked cells as (i, j, k), in grid order.
    static std::vector<std::array<std::size_t, 3>> markedCells(Voxelization const &v) {
        std::vector<std::array<std::size_t, 3>> cells;
        for (std::size_t c = 0; c < v.cellCount(); ++c)
            if (v.m_grid[c] != 0) cells.push_back({c / (v.m_ny * v.m_nz), c / v.m_nz % v.m_ny, c % v.m_nz});
        return cells;
    }
};

class MarchingCubesTestAccess {
public:
    static int edgeFlags(int cube) { return MarchingCubes::aiCubeEdgeFlags[cube]; }
    static int const *triangleRow(int cube) { return MarchingCubes::a2iTriangleConnectionTable[cube]; }
    static int edgeCorner(int edge, int end) { return MarchingCubes::a2iEdgeConnection[edge][end]; }
    static float cornerOffset(int corner, int axis) { return MarchingCubes::a2fVertexOffset[corner][axis]; }
};

} // namespace ORVANE_DATABASE
