#pragma once
// The slicer's cell index: a uniform grid over the mesh's box (widened by 1e-13 on every
// side) in which each triangle is registered in every cell that its own box overlaps.
// Internal to the slicer; not exported.
//
// Representation. A grid of k^3 cells each owning a hash set would cost one heap object per
// cell and one hash node per registration, built eagerly for every slicer even though the
// slicer's own sweep (PlaneSweep.h) never needs to query it. Here a registration is one
// record (triangle, block of cells), and the cells exist only as runs of one flat list,
// ordered by cell (x outermost, then y, then z), built on the first query after a change.
// A mesh registered with insertMeshTriangles is recorded as "every triangle of this mesh"
// (with its corner indices, read once and kept: the slicer's engine reads them from here
// instead of from the mesh's triangle objects) and expanded into records on that same first
// query, so a slicer that never queries pays one pass over the triangles and 12 bytes per
// triangle. Query results are sets, so none of this shows.
#include "BoundingBox3D.h"
#include "Outcome.h"
#include "Point3D.h"

#include <cstddef>
#include <cstdint>
#include <unordered_set>
#include <vector>

namespace ORVANE_DATABASE {

class Triangle;
class Triangulation;

// Inclusive range of cell indices along x, y and z.
struct CellBlock {
    std::size_t lower[3];
    std::size_t upper[3];

    bool meets(CellBlock const &o) const {
        for (int a = 0; a < 3; ++a)
            if (lower[a] > o.upper[a] || o.lower[a] > upper[a]) return false;
        return true;
    }
};

// The triangles registered in one cell (a view into its grid; valid until the grid changes).
// A triangle registered twice in a cell may appear twice; queries collect into sets.
class VoxelCell {
public:
    VoxelCell(Triangle *const *first, Triangle *const *last) : first_(first), last_(last) {}
    Triangle *const *begin() const { return first_; }
    Triangle *const *end() const { return last_; }
    std::size_t size() const { return static_cast<std::size_t>(last_ - first_); }
    bool empty() const { return first_ == last_; }
    bool contains(Triangle const *t) const {
        for (Triangle *const *p = first_; p != last_; ++p)
            if (*p == t) return true;
        return false;
    }

private:
    Triangle *const *first_;
    Triangle *const *last_;
};

class VoxelGrid {
public:
    // Grid of nx, ny, nz cell steps over the mesh's box widened by 1e-13; (n + 1) cells per
    // axis, the last one beyond the box's upper face. A null mesh stands for an empty box at
    // the origin.
    VoxelGrid(Triangulation *mesh, std::size_t nx, std::size_t ny, std::size_t nz);
    ~VoxelGrid();
    VoxelGrid(VoxelGrid const &) = default;
    VoxelGrid &operator=(VoxelGrid const &) = default;

    // Registers t in every cell of `box`'s registration block. A box entirely outside the
    // indexed box gives "OUT_OF_BOUNDING_BOX" and registers nothing.
    Outcome insertTriangle(Triangle *t, BoundingBox3D box);
    // Adds to `found` every triangle registered in the cells of `box`'s query block. Fails
    // with "OUT_OF_BOUNDING_BOX" (set unchanged) when the box misses the indexed box, and
    // with "ENTITY_NOT_EXIST" when `found` is empty afterwards.
    Outcome findTriangles(BoundingBox3D box, std::unordered_set<Triangle *> &found);

    // Registers every triangle of `mesh` (in triangleList() order) with the box of its three
    // corners, as insertTriangle would. The corner indices are read and range-checked now
    // (std::out_of_range for an index outside the vertex list); the records are made on the
    // next query, from the corner positions as they are then: the mesh must not change in
    // between (the slicer requires an unchanged mesh for its whole life anyway).
    void insertMeshTriangles(Triangulation *mesh);
    // The corner indices (3 per triangle) of the first mesh registered whole, or null.
    std::vector<std::uint32_t> const *meshCorners() const {
        return meshes_.empty() ? nullptr : &meshes_.front().corners;
    }

    // The overlap test of registration and queries: false when, on some axis, the box lies
    // wholly below or above the indexed box (touching counts as overlapping).
    bool overlaps(BoundingBox3D const &box) const;
    // The registration block of `box`: per axis (box - boxLower) / cellSize truncated and
    // limited to 0..n. False when the box misses the indexed box.
    bool registrationBlock(BoundingBox3D const &box, CellBlock &block) const;
    // The query block of `box`: per axis the same quotients truncated to 32-bit integers,
    // then a lower index above n becomes n - 1, an upper index above n becomes n, and any
    // index below 0 becomes 0. False when the box misses the indexed box.
    //
    // Conversions never overflow: quotients are limited before the integer conversion (a
    // NaN quotient counts as 0, one beyond the 32-bit range as that range's end), which is
    // where a literal truncation of a huge or NaN double would be undefined.
    bool queryBlock(BoundingBox3D const &box, CellBlock &block) const;

    // The cell [i][j][k] (each index at most the axis count).
    VoxelCell cell(std::size_t i, std::size_t j, std::size_t k);

    Point3D const &boxLower() const { return boxLower_; }
    Point3D const &boxUpper() const { return boxUpper_; }
    double cellSize(int axis) const { return cellSize_[axis]; }
    std::size_t cellCount(int axis) const { return cellCount_[axis]; }

    // Box of a triangle's corners: per coordinate std::min / std::max of the three values,
    // first with second, then with third (the rule both registration and queries use).
    static BoundingBox3D cornerBox(Point3D const &a, Point3D const &b, Point3D const &c);

private:
    struct Registration {
        Triangle *triangle;
        CellBlock block;
    };

    void expandPendingMeshes();
    void buildCells();
    std::size_t cellIndex(std::size_t i, std::size_t j, std::size_t k) const {
        return (i * (cellCount_[1] + 1) + j) * (cellCount_[2] + 1) + k;
    }

    Point3D boxLower_;
    Point3D boxUpper_;
    double cellSize_[3];
    std::size_t cellCount_[3];

    std::vector<Registration> registrations_;
    struct MeshRegistration {
        Triangulation *mesh;
        std::vector<std::uint32_t> corners;
        bool expanded;
    };
    std::vector<MeshRegistration> meshes_;
    // Cell lists: cellStart_[c] .. cellStart_[c + 1] in cellTriangles_; empty when stale.
    std::vector<std::size_t> cellStart_;
    std::vector<Triangle *> cellTriangles_;
};

// Whether a query of the grid offers a triangle: its box registers (overlaps the indexed
// box) and its registration block meets the query block. Answers exactly as
// registrationBlock + CellBlock::meets would, but per query the block bounds are turned into
// coordinate thresholds once, so that each test is a few comparisons instead of six
// divisions. (The index of a coordinate, truncate((x - boxLower) / cellSize) limited to
// 0..n, never decreases as x grows, so "index <= k" is "x below the first double whose
// index exceeds k", found by a search over the doubles.) Boxes with a NaN coordinate, and
// grids whose geometry is not finite, take the division path.
class IndexMembership {
public:
    IndexMembership(VoxelGrid const &grid, CellBlock const &query);

    // `lower`/`upper`: the triangle's box, as VoxelGrid::cornerBox makes it.
    bool offers(double const *lower, double const *upper) const {
        for (int a = 0; a < 3; ++a)
            if (divide_ || !(lower[a] <= upper[a])) return offersByDivision(lower, upper);
        for (int a = 0; a < 3; ++a) {
            if (boxLower_[a] > upper[a] || lower[a] > boxUpper_[a]) return false;
            if (!upperOpen_[a] && lower[a] >= below_[a]) return false;
            if (!lowerOpen_[a] && upper[a] < reaching_[a]) return false;
        }
        return true;
    }

private:
    double firstReaching(int axis, std::size_t index) const;
    bool offersByDivision(double const *lower, double const *upper) const;

    VoxelGrid const &grid_;
    CellBlock query_;
    bool divide_ = false;
    double boxLower_[3], boxUpper_[3];
    bool upperOpen_[3] = {};   // the query reaches the last cell: any registration block qualifies
    bool lowerOpen_[3] = {};   // the query starts at cell 0
    double below_[3] = {};     // block start <= query end  <=>  lower < below_
    double reaching_[3] = {};  // block end >= query start  <=>  upper >= reaching_
};

}  // namespace ORVANE_DATABASE
