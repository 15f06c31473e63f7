#pragma once
// Voxelization: lays a regular grid of nx x ny x nz cells over the bounding box of a triangle
// mesh, marks every cell that a triangle touches, and returns the marked cells as a closed
// cell surface: a new mesh (voxelize()) or vertices and quads (voxelize(vertices, indices)).
//
// Grid. One byte per cell, cell (i, j, k) at (i * ny + j) * nz + k (x slowest, z fastest),
// 0 until a triangle marks it (then 1). The geometry is derived from the mesh's box B each
// time it is needed: origin O = B.lower, cell sizes dx = |B.lower.x - B.upper.x| / nx (and
// likewise dy, dz), cell (i, j, k) starting at (i dx + O.x, j dy + O.y, k dz + O.z). Corner q
// of a cell is offset by dx, dy, dz where bits 2, 1, 0 of q are set: corner 0 is the base
// point, 1 = +z, 2 = +y, 4 = +x, 7 the opposite corner.
//
// Ownership. The voxelizer takes over the Triangulation object given to the constructor and
// destroys it with itself; the mesh's vertices and triangles stay their creator's (a
// Triangulation owns neither). Everything delivered belongs to the caller: the mesh returned
// by voxelize() does not own its vertices and triangles either, so a host releases it as
//     for (Vertex *v : mesh->vertexList()) delete v;      // deletes each point too
//     for (Triangle *t : mesh->triangleList()) delete t;
//     delete mesh;
// (in any order: the mesh's destructor touches neither), and deletes every Vertex appended to
// the vector of voxelize(vertices, indices).
//
// Choices:
// - Copies share. Copy construction and assignment make both voxelizers refer to the same
//   grid and the same mesh (a cell marked through one is marked for the other); the grid and
//   the mesh are released once, when the last voxelizer sharing them is destroyed. The grid
//   and mesh that an assigned-to voxelizer held before are released then if no other
//   voxelizer shares them.
// - Counts. A count of 0, a count above 2^31 - 1 (cell indices are 32-bit), or counts whose
//   product nx * ny * nz does not fit in size_t give an empty grid: nothing is allocated,
//   marking marks nothing (markVoxels still returns true for a mesh), and both voxelize
//   operations send all four messages and deliver nothing. The counts are kept as given.
//   A grid too large for memory throws std::bad_alloc from the constructor, which then
//   destroys the mesh it was handed.
// - Odd coordinates. Cell index ranges are clamped as doubles before any conversion to int,
//   so NaN and huge coordinates never convert out of range: an axis of zero extent gives
//   index 0, NaN gives 0, values beyond the grid give 0 or count - 1. Every comparison with
//   NaN fails, so a triangle with a NaN coordinate has no corner in its plane and no
//   straddle: only the containment test, which reads the triangle's box, can mark for it.
// - A null Feedback receives nothing: the messages are skipped.
// - While a surface is built, vertex indices are held as 32-bit numbers: a surface of more
//   than 2^31 - 1 vertices (some 100 GB of them) is not supported.
#include "OrvaneExport.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace ORVANE_DATABASE {

class BoundingBox3D;
class Feedback;
class Plane;
class Point3D;
class Tolerance;
class Triangle;
class Triangulation;
class Vertex;

class ORVANE_API Voxelization {
public:
    // Takes over `mesh` (may be null: marking then fails), stores the counts and the
    // feedback (not owned; it must outlive the voxelize calls), and allocates the grid,
    // all 0. See "Counts" above for counts the grid cannot have.
    Voxelization(Triangulation *mesh, std::size_t nx, std::size_t ny, std::size_t nz,
                 Feedback *feedback);
    // Shares grid and mesh with `other` (see "Copies share").
    Voxelization(Voxelization const &other);
    // Destroys the mesh and releases the grid unless another copy still shares them.
    ~Voxelization();
    // Copies every field, so that both voxelizers refer to the same grid and mesh.
    Voxelization &operator=(Voxelization const &other);

    // Marks the grid, then builds the voxel surface as a new mesh named
    // "Voxel_<nx>_<ny>_<nz>": twelve triangles per marked cell, two per face, each wound so
    // that its right-hand normal points into the cell; neighbouring cells share corner
    // vertices (points equal within 1e-9), and a face two marked cells share is emitted by
    // both. Returns null when the mesh is null or no cell is marked. Progress messages:
    // "\nMarking Voxels...", "Marking Voxels done." and, unless the mesh is null,
    // "Creating Triangulation...", "Creating Triangulation done.".
    Triangulation *voxelize();
    // Marks the grid, then appends the corners of the marked cells (shared as above) to
    // `vertices` and six quads per marked cell, four vertex indices each, to `indices`;
    // indices count the entries `vertices` held before. Messages as above with
    // "Creating Quads..." and "Creating Quads done.". A null mesh appends nothing.
    void voxelize(std::vector<Vertex *> &vertices, std::vector<std::size_t> &indices);

private:
    // Tests every triangle against the cells of its index box; false only for a null mesh.
    // Throws std::out_of_range for a triangle corner that names no vertex.
    bool markVoxels();
    // Tests triangle t against the cells i0..i1, j0..j1, k0..k1 (inclusive, intersected with
    // the grid).
    void markVoxelsPerTriangle(Triangle *t, int i0, int j0, int k0, int i1, int j1, int k1);
    // The cell test of cell (i, j, k) against the triangle p0, p1, p2 with box `box` and plane
    // `plane`; marks the cell when they touch. Cells outside the grid are left alone.
    void voxelxTriangleIntersection(BoundingBox3D &box, Plane &plane, Point3D &p0, Point3D &p1,
                                    Point3D &p2, int i, int j, int k);
    // Whether `point`, assumed to lie in the plane of t1, t2, t3, is inside that triangle or
    // on its border (barycentric weights within tol.value()). Never for a degenerate triangle.
    bool pointInsideTriangle(Point3D &point, Point3D &t1, Point3D &t2, Point3D &t3,
                             Tolerance tol);
    // Whether the segment s0-s1 crosses the triangle t0, t1, t2 (ends and borders within
    // tol.value() included). A segment parallel to the plane, or lying in it, never crosses.
    bool segxtri(Point3D &s0, Point3D &s1, Point3D &t0, Point3D &t1, Point3D &t2, Tolerance tol);
    // Whether an edge of either triangle crosses the other triangle (segxtri, default
    // tolerance): a0-a1, a1-a2, a2-a0 against b, then b0-b1, b1-b2, b2-b0 against a.
    bool trixtri(Point3D &a0, Point3D &a1, Point3D &a2, Point3D &b0, Point3D &b1, Point3D &b2);
    // Whether the triangle p0, p1, p2 crosses one of the twelve triangles that split the six
    // faces of the cell whose eight corners `corners` lists in corner order.
    bool voxelxTriangle(Point3D &p0, Point3D &p1, Point3D &p2, Point3D *corners);
    // Cell sizes dx, dy, dz (0 without a mesh).
    double deltax();
    double deltay();
    double deltaz();
    // The surface builders behind the two voxelize operations: they read the grid once, in
    // grid order, and emit each marked cell's faces.
    Triangulation *triangulation();
    void quadulation(std::vector<Vertex *> &vertices, std::vector<std::size_t> &indices);

    // Number of cells, 0 for an empty grid.
    std::size_t cellCount() const;
    void send(char const *message);

    std::shared_ptr<unsigned char[]> m_grid;   // nx * ny * nz bytes; null for an empty grid
    std::shared_ptr<Triangulation> m_mesh;
    std::size_t m_nx;
    std::size_t m_ny;
    std::size_t m_nz;
    Feedback *m_feedback;

    friend class VoxelizationTestAccess;
};

} // namespace ORVANE_DATABASE
