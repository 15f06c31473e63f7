#pragma once
// Test-side access to the private members of Voxelization and MarchingCubes (both declare
// these classes friends).
#include "BoundingBox3D.h"
#include "MarchingCubes.h"
#include "Plane.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <array>
#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

class VoxelizationTestAccess {
public:
    static bool markVoxels(Voxelization &v) { return v.markVoxels(); }
    // The marking through the named cell test: voxelxTriangleIntersection on every cell of
    // every triangle's index box (the box rule of markVoxels), in triangle order.
    static void markCellByCell(Voxelization &v) {
        Triangulation &mesh = *v.m_mesh;
        BoundingBox3D const &box = *mesh.getBoundingBox();
        double const size[3] = {v.deltax(), v.deltay(), v.deltaz()};
        std::size_t const n[3] = {v.m_nx, v.m_ny, v.m_nz};
        for (Triangle *t : mesh.triangleList()) {
            Point3D p[3] = {*mesh.vertex(t, 0)->point(), *mesh.vertex(t, 1)->point(), *mesh.vertex(t, 2)->point()};
            BoundingBox3D tri;
            for (Point3D const &q : p) tri.add(q);
            Plane plane(p[0], p[1], p[2]);
            int first[3], last[3];
            for (int a = 0; a < 3; ++a) {
                auto index = [&](double c) {
                    double const q = (c - box.lower().vector()[a]) / size[a];
                    return !(size[a] > 0) || !(q >= 1) ? 0 : q >= double(n[a]) ? int(n[a]) - 1 : int(q);
                };
                first[a] = index(tri.lower().vector()[a]);
                last[a] = index(tri.upper().vector()[a]);
            }
            for (int i = first[0]; i <= last[0]; ++i)
                for (int j = first[1]; j <= last[1]; ++j)
                    for (int k = first[2]; k <= last[2]; ++k)
                        v.voxelxTriangleIntersection(tri, plane, p[0], p[1], p[2], i, j, k);
        }
    }
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
