#include "slicing/VoxelGrid.h"

#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace ORVANE_DATABASE {

namespace {

double axisValue(Point3D const &p, int axis) { return p.vector()[axis]; }

// Truncation to an unsigned cell index limited to 0..n. A NaN or negative quotient gives 0
// and one at or beyond n gives n, so no out-of-range double reaches the conversion.
std::size_t registrationIndex(double q, std::size_t n) {
    if (!(q > 0.0)) return 0;
    if (q >= static_cast<double>(n)) return n;
    return static_cast<std::size_t>(q);
}

// Truncation to a 32-bit signed integer, saturating: NaN gives 0, values beyond the range
// its ends.
std::int64_t truncate32(double q) {
    if (std::isnan(q)) return 0;
    if (q >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
    if (q <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(q);
}

}  // namespace

VoxelGrid::VoxelGrid(Triangulation *mesh, std::size_t nx, std::size_t ny, std::size_t nz)
    : cellSize_{0.0, 0.0, 0.0}, cellCount_{nx, ny, nz} {
    BoundingBox3D box;
    if (mesh != nullptr) box = *mesh->getBoundingBox();
    Vector3D const widen(1e-13, 1e-13, 1e-13);
    Point3D const lo = box.lower() - widen;
    Point3D const hi = box.upper() + widen;
    boxLower_ = Point3D(std::min(lo.x(), hi.x()), std::min(lo.y(), hi.y()), std::min(lo.z(), hi.z()));
    boxUpper_ = Point3D(std::max(lo.x(), hi.x()), std::max(lo.y(), hi.y()), std::max(lo.z(), hi.z()));
    for (int a = 0; a < 3; ++a)
        cellSize_[a] = (axisValue(boxUpper_, a) - axisValue(boxLower_, a)) /
                       static_cast<double>(cellCount_[a]);
}

VoxelGrid::~VoxelGrid() = default;

BoundingBox3D VoxelGrid::cornerBox(Point3D const &a, Point3D const &b, Point3D const &c) {
    Point3D const lo(std::min(std::min(a.x(), b.x()), c.x()), std::min(std::min(a.y(), b.y()), c.y()),
                     std::min(std::min(a.z(), b.z()), c.z()));
    Point3D const hi(std::max(std::max(a.x(), b.x()), c.x()), std::max(std::max(a.y(), b.y()), c.y()),
                     std::max(std::max(a.z(), b.z()), c.z()));
    return BoundingBox3D(lo, hi);
}

bool VoxelGrid::overlaps(BoundingBox3D const &box) const {
    for (int a = 0; a < 3; ++a) {
        if (axisValue(boxLower_, a) > axisValue(box.upper(), a) ||
            axisValue(box.lower(), a) > axisValue(boxUpper_, a))
            return false;
    }
    return true;
}

bool VoxelGrid::registrationBlock(BoundingBox3D const &box, CellBlock &block) const {
    if (!overlaps(box)) return false;
    for (int a = 0; a < 3; ++a) {
        double const base = axisValue(boxLower_, a);
        block.lower[a] = registrationIndex((axisValue(box.lower(), a) - base) / cellSize_[a], cellCount_[a]);
        block.upper[a] = registrationIndex((axisValue(box.upper(), a) - base) / cellSize_[a], cellCount_[a]);
    }
    return true;
}

bool VoxelGrid::queryBlock(BoundingBox3D const &box, CellBlock &block) const {
    if (!overlaps(box)) return false;
    for (int a = 0; a < 3; ++a) {
        double const base = axisValue(boxLower_, a);
        std::int64_t const n = static_cast<std::int64_t>(
            std::min<std::size_t>(cellCount_[a], std::numeric_limits<std::int32_t>::max()));
        std::int64_t lo = truncate32((axisValue(box.lower(), a) - base) / cellSize_[a]);
        std::int64_t hi = truncate32((axisValue(box.upper(), a) - base) / cellSize_[a]);
        if (lo > n) lo = n - 1;
        if (hi > n) hi = n;
        if (lo < 0) lo = 0;
        if (hi < 0) hi = 0;
        block.lower[a] = static_cast<std::size_t>(lo);
        block.upper[a] = static_cast<std::size_t>(hi);
    }
    return true;
}

Outcome VoxelGrid::insertTriangle(Triangle *t, BoundingBox3D box) {
    Registration r{t, {}};
    if (!registrationBlock(box, r.block))
        return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "OUT_OF_BOUNDING_BOX");
    registrations_.push_back(r);
    cellStart_.clear();
    return Outcome();
}

void VoxelGrid::insertMeshTriangles(Triangulation *mesh) {
    if (mesh == nullptr) return;
    std::vector<Vertex *> const &vertices = mesh->vertexList();
    std::vector<Triangle *> const &triangles = mesh->triangleList();
    if (vertices.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("VoxelGrid: too many vertices");
    std::vector<std::uint32_t> corners(3 * triangles.size());
    for (std::size_t t = 0; t < triangles.size(); ++t)
        for (std::size_t c = 0; c < 3; ++c) {
            std::size_t const v = triangles[t]->vertexIndex(c);
            (void)vertices.at(v);   // corner access is range-checked
            corners[3 * t + c] = static_cast<std::uint32_t>(v);
        }
    meshes_.push_back(MeshRegistration{mesh, std::move(corners), false});
    cellStart_.clear();
}

void VoxelGrid::expandPendingMeshes() {
    for (MeshRegistration &m : meshes_) {
        if (m.expanded) continue;
        m.expanded = true;
        std::vector<Vertex *> const &vertices = m.mesh->vertexList();
        std::vector<Triangle *> const &triangles = m.mesh->triangleList();
        for (std::size_t t = 0; t < m.corners.size() / 3; ++t) {   // the triangles read at registration
            Point3D const &a = *vertices[m.corners[3 * t]]->point();
            Point3D const &b = *vertices[m.corners[3 * t + 1]]->point();
            Point3D const &c = *vertices[m.corners[3 * t + 2]]->point();
            insertTriangle(triangles[t], cornerBox(a, b, c));
        }
    }
}

void VoxelGrid::buildCells() {
    expandPendingMeshes();
    if (!cellStart_.empty()) return;
    // (n_x + 1)(n_y + 1)(n_z + 1) cells; a count that does not fit in memory is reported as
    // the allocation failure a grid of that many cells would meet.
    std::size_t cells = 1;
    for (int a = 0; a < 3; ++a) {
        std::size_t const side = cellCount_[a] + 1;
        if (side == 0 || cells > std::numeric_limits<std::size_t>::max() / sizeof(std::size_t) / side)
            throw std::bad_alloc();
        cells *= side;
    }
    std::vector<std::size_t> start(cells + 1, 0);
    for (Registration const &r : registrations_)
        for (std::size_t i = r.block.lower[0]; i <= r.block.upper[0]; ++i)
            for (std::size_t j = r.block.lower[1]; j <= r.block.upper[1]; ++j)
                for (std::size_t k = r.block.lower[2]; k <= r.block.upper[2]; ++k)
                    ++start[cellIndex(i, j, k) + 1];
    for (std::size_t c = 0; c < cells; ++c) start[c + 1] += start[c];
    std::vector<Triangle *> list(start[cells]);
    std::vector<std::size_t> fill(start.begin(), start.end() - 1);
    for (Registration const &r : registrations_)
        for (std::size_t i = r.block.lower[0]; i <= r.block.upper[0]; ++i)
            for (std::size_t j = r.block.lower[1]; j <= r.block.upper[1]; ++j)
                for (std::size_t k = r.block.lower[2]; k <= r.block.upper[2]; ++k)
                    list[fill[cellIndex(i, j, k)]++] = r.triangle;
    cellStart_.swap(start);
    cellTriangles_.swap(list);
}

VoxelCell VoxelGrid::cell(std::size_t i, std::size_t j, std::size_t k) {
    buildCells();
    std::size_t const c = cellIndex(i, j, k);
    Triangle *const *data = cellTriangles_.data();
    return VoxelCell(data + cellStart_[c], data + cellStart_[c + 1]);
}

Outcome VoxelGrid::findTriangles(BoundingBox3D box, std::unordered_set<Triangle *> &found) {
    CellBlock block;
    if (!queryBlock(box, block))
        return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "OUT_OF_BOUNDING_BOX");
    buildCells();
    for (std::size_t i = block.lower[0]; i <= block.upper[0]; ++i)
        for (std::size_t j = block.lower[1]; j <= block.upper[1]; ++j)
            for (std::size_t k = block.lower[2]; k <= block.upper[2]; ++k) {
                std::size_t const c = cellIndex(i, j, k);
                for (std::size_t e = cellStart_[c]; e < cellStart_[c + 1]; ++e)
                    found.insert(cellTriangles_[e]);
            }
    if (found.empty()) return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "ENTITY_NOT_EXIST");
    return Outcome();
}

namespace {

// The doubles from -inf to +inf in order, as integers (NaNs excluded by the callers).
std::int64_t orderKey(double x) {
    std::int64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits >= 0 ? bits : -(bits & std::numeric_limits<std::int64_t>::max());
}
double fromOrderKey(std::int64_t key) {
    std::uint64_t bits = key >= 0 ? static_cast<std::uint64_t>(key)
                                  : (static_cast<std::uint64_t>(-key) | (std::uint64_t{1} << 63));
    double x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}

}  // namespace

IndexMembership::IndexMembership(VoxelGrid const &grid, CellBlock const &query)
    : grid_(grid), query_(query) {
    for (int a = 0; a < 3; ++a) {
        boxLower_[a] = axisValue(grid.boxLower(), a);
        boxUpper_[a] = axisValue(grid.boxUpper(), a);
        double const base = axisValue(grid.boxLower(), a);
        double const size = grid.cellSize(a);
        if (!std::isfinite(base) || !std::isfinite(axisValue(grid.boxUpper(), a)) || !(size > 0.0) ||
            !std::isfinite(size))
            divide_ = true;
    }
    if (divide_) return;
    for (int a = 0; a < 3; ++a) {
        std::size_t const n = grid.cellCount(a);
        upperOpen_[a] = query.upper[a] >= n;
        lowerOpen_[a] = query.lower[a] == 0;
        below_[a] = upperOpen_[a] ? 0.0 : firstReaching(a, query.upper[a] + 1);
        reaching_[a] = lowerOpen_[a] ? 0.0 : firstReaching(a, query.lower[a]);
    }
}

// The smallest double x whose registration index along `axis` is at least `index`
// (1 <= index <= n): index(-inf) = 0 and index(+inf) = n bracket it; a gallop from the
// estimate boxLower + index * cellSize narrows the bracket to a few ulps before bisecting.
double IndexMembership::firstReaching(int axis, std::size_t index) const {
    double const base = axisValue(grid_.boxLower(), axis);
    double const size = grid_.cellSize(axis);
    std::size_t const n = grid_.cellCount(axis);
    auto reaches = [&](std::int64_t key) {
        return registrationIndex((fromOrderKey(key) - base) / size, n) >= index;
    };
    double const inf = std::numeric_limits<double>::infinity();
    std::int64_t below = orderKey(-inf), at = orderKey(inf);   // !reaches(below), reaches(at)
    // Key distances as unsigned: the whole key range does not fit a signed 64-bit difference.
    auto gap = [](std::int64_t from, std::int64_t to) {
        return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
    };
    double const estimate = base + static_cast<double>(index) * size;
    if (std::isfinite(estimate)) {
        std::int64_t const start = orderKey(estimate);
        bool const up = !reaches(start);
        (up ? below : at) = start;
        for (std::uint64_t step = 1; step < (std::uint64_t{1} << 62); step *= 2) {
            if (step >= (up ? gap(start, at) : gap(below, start))) break;
            std::int64_t const probe = up ? start + static_cast<std::int64_t>(step)
                                          : start - static_cast<std::int64_t>(step);
            bool const hit = reaches(probe);
            (hit ? at : below) = probe;
            if (hit == up) break;
        }
    }
    while (gap(below, at) > 1) {
        std::int64_t const mid = below + static_cast<std::int64_t>(gap(below, at) / 2);
        (reaches(mid) ? at : below) = mid;
    }
    return fromOrderKey(at);
}

bool IndexMembership::offersByDivision(double const *lower, double const *upper) const {
    BoundingBox3D const box(Point3D(lower[0], lower[1], lower[2]), Point3D(upper[0], upper[1], upper[2]));
    CellBlock block;
    return grid_.registrationBlock(box, block) && block.meets(query_);
}

}  // namespace ORVANE_DATABASE
