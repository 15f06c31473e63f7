#include "Voxelization.h"

#include "BoundingBox3D.h"
#include "Feedback.h"
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "voxel/CellGeometry.h"
#include "voxel/CellTriangleTest.h"
#include "voxel/CornerVertices.h"
#include "voxel/TriangleCellTest.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <string>

namespace ORVANE_DATABASE {

namespace {

using voxel::CellGeometry;

// Triangles of a marked cell in emission order, two per face: x low, y high, x high, y low,
// z high, z low. Each is wound so that its right-hand normal points into the cell.
constexpr int kSurfaceTriangles[12][3] = {{1, 0, 2}, {1, 2, 3}, {3, 2, 6}, {3, 6, 7},
                                          {7, 6, 4}, {7, 4, 5}, {5, 4, 0}, {5, 0, 1},
                                          {1, 3, 7}, {1, 7, 5}, {2, 0, 4}, {2, 4, 6}};

// Quads of a marked cell in emission order: x low, x high, y high, y low, z high, z low. The
// y-low quad runs the opposite way round to the other five (its normal points out).
constexpr int kSurfaceQuads[6][4] = {{0, 2, 3, 1}, {6, 4, 5, 7}, {2, 6, 7, 3},
                                     {4, 5, 1, 0}, {3, 7, 5, 1}, {0, 4, 6, 2}};

// nx * ny * nz when every count is in 1 .. 2^31 - 1 and the product fits in size_t, else 0
// (the empty grid).
std::size_t validCellCount(std::size_t nx, std::size_t ny, std::size_t nz) {
    std::size_t const most = std::size_t(std::numeric_limits<std::int32_t>::max());
    std::size_t const counts[3] = {nx, ny, nz};
    std::size_t cells = 1;
    for (std::size_t n : counts) {
        if (n == 0 || n > most) return 0;
        if (cells > std::numeric_limits<std::size_t>::max() / n) return 0;
        cells *= n;
    }
    return cells;
}

// Origin and cell sizes over the mesh's box: the sizes are |lower - upper| / count.
CellGeometry geometryOf(Triangulation &mesh, std::size_t const count[3]) {
    BoundingBox3D const &box = *mesh.getBoundingBox();
    CellGeometry g;
    for (int a = 0; a < 3; ++a) {
        g.origin[a] = box.lower().vector()[a];
        g.size[a] = std::fabs(box.lower().vector()[a] - box.upper().vector()[a]) / double(count[a]);
    }
    return g;
}

// Releases a voxel mesh with its vertices and triangles (a Triangulation owns neither).
void releaseVoxelMesh(Triangulation *mesh) {
    if (mesh == nullptr) return;
    for (Triangle *t : mesh->triangleList()) delete t;
    for (Vertex *v : mesh->vertexList()) delete v;
    delete mesh;
}

// Holds a voxel mesh until it is handed out, so that a surface interrupted by an exception
// (an allocation, or the host's progress callback) leaves nothing behind.
class VoxelMeshGuard {
public:
    explicit VoxelMeshGuard(Triangulation *mesh) : m_mesh(mesh) {}
    VoxelMeshGuard(VoxelMeshGuard const &) = delete;
    VoxelMeshGuard &operator=(VoxelMeshGuard const &) = delete;
    ~VoxelMeshGuard() { releaseVoxelMesh(m_mesh); }

    Triangulation *get() const { return m_mesh; }
    Triangulation *release() {
        Triangulation *mesh = m_mesh;
        m_mesh = nullptr;
        return mesh;
    }

    // Adds the triangle a, b, c. Once addTriangle has listed it the guard releases it with the
    // mesh; before that (an allocation failure in the list itself) it is deleted here.
    void addTriangle(int a, int b, int c) {
        Triangle *t = new Triangle(std::size_t(a), std::size_t(b), std::size_t(c));
        try {
            m_mesh->addTriangle(t);
        } catch (...) {
            auto const &list = m_mesh->triangleList();
            if (list.empty() || list.back() != t) delete t;
            throw;
        }
    }

private:
    Triangulation *m_mesh;
};

} // namespace

Voxelization::Voxelization(Triangulation *mesh, std::size_t nx, std::size_t ny, std::size_t nz,
                           Feedback *feedback)
    : m_grid(), m_mesh(mesh), m_nx(nx), m_ny(ny), m_nz(nz), m_feedback(feedback) {
    std::size_t const cells = validCellCount(nx, ny, nz);
    if (cells == 0) return;
    // calloc rather than new[](): a large zeroed block comes straight from the system as
    // zero pages, so the grid is not written twice (once to clear it, once to mark it).
    void *grid = std::calloc(cells, 1);
    if (grid == nullptr) throw std::bad_alloc();
    m_grid = std::shared_ptr<unsigned char[]>(static_cast<unsigned char *>(grid), std::free);
}

Voxelization::Voxelization(Voxelization const &other) = default;
Voxelization::~Voxelization() = default;
Voxelization &Voxelization::operator=(Voxelization const &other) = default;

std::size_t Voxelization::cellCount() const { return m_grid ? m_nx * m_ny * m_nz : 0; }

void Voxelization::send(char const *message) {
    if (m_feedback != nullptr) m_feedback->progressMessage(std::string(message), 0, 0);
}

double Voxelization::deltax() {
    return m_mesh ? m_mesh->getBoundingBox()->length() / double(m_nx) : 0.0;
}
double Voxelization::deltay() {
    return m_mesh ? m_mesh->getBoundingBox()->width() / double(m_ny) : 0.0;
}
double Voxelization::deltaz() {
    return m_mesh ? m_mesh->getBoundingBox()->height() / double(m_nz) : 0.0;
}

// ---------------------------------------------------------------------------------------------
// Marking

// Marks the cells first..last (inclusive, within the grid) that the triangle p0, p1, p2
// touches, skipping cells already marked: the loop of markVoxelsPerTriangle, with the cell
// test prepared once for the triangle.
static void markTriangle(unsigned char *grid, std::size_t const count[3], CellGeometry const &g,
                         voxel::CellDirections const &directions, Point3D const &p0,
                         Point3D const &p1, Point3D const &p2, int const first[3],
                         int const last[3]) {
    voxel::TriangleCellTest test(g, directions, p0, p1, p2);
    for (int i = first[0]; i <= last[0]; ++i)
        for (int j = first[1]; j <= last[1]; ++j) {
            unsigned char *row = grid + (std::size_t(i) * count[1] + std::size_t(j)) * count[2];
            for (int k = first[2]; k <= last[2]; ++k)
                if (row[k] == 0 && test.touches(i, j, k)) row[k] |= 1;
        }
}

bool Voxelization::markVoxels() {
    if (!m_mesh) return false;
    if (cellCount() == 0) return true;
    std::size_t const count[3] = {m_nx, m_ny, m_nz};
    CellGeometry const g = geometryOf(*m_mesh, count);
    voxel::CellDirections const directions(g);
    std::int32_t const limit[3] = {std::int32_t(m_nx), std::int32_t(m_ny), std::int32_t(m_nz)};
    double inverse[3];
    for (int a = 0; a < 3; ++a) inverse[a] = g.size[a] > 0.0 ? 1.0 / g.size[a] : 0.0;

    Triangulation &mesh = *m_mesh;
    std::vector<Vertex *> const &vertices = mesh.vertexList();
    std::vector<Triangle *> const &triangles = mesh.triangleList();
    std::size_t const vertexCount = vertices.size();
    // The corner points are copied a block of triangles at a time before the block is marked:
    // the copy loop's iterations are independent, so the memory reads of many triangles
    // (triangle, vertex, point: three dependent loads each) overlap instead of stalling the
    // cell tests one triangle at a time. A block stops short at a triangle corner that names
    // no vertex; the triangles before it are marked first and the range-tested lookup then
    // throws for it, as a triangle-by-triangle walk would.
    constexpr std::size_t kBlock = 64;
    Point3D points[kBlock][3];
    for (std::size_t begin = 0; begin < triangles.size(); begin += kBlock) {
        std::size_t const end = std::min(triangles.size(), begin + kBlock);
        std::size_t filled = 0;
        Triangle *invalid = nullptr;
        for (std::size_t t = begin; t < end; ++t, ++filled) {
            Triangle *triangle = triangles[t];
            std::size_t const v[3] = {triangle->vertexIndex(0), triangle->vertexIndex(1),
                                      triangle->vertexIndex(2)};
            if (v[0] >= vertexCount || v[1] >= vertexCount || v[2] >= vertexCount) {
                invalid = triangle;
                break;
            }
            for (int c = 0; c < 3; ++c) points[filled][c] = *vertices[v[c]]->point();
        }
        for (std::size_t t = 0; t < filled; ++t) {
            Point3D const &p0 = points[t][0], &p1 = points[t][1], &p2 = points[t][2];
            int first[3], last[3];
            for (int a = 0; a < 3; ++a) {
                double const lo = std::min(std::min(p0.vector()[a], p1.vector()[a]), p2.vector()[a]);
                double const hi = std::max(std::max(p0.vector()[a], p1.vector()[a]), p2.vector()[a]);
                first[a] = voxel::cellIndex(lo - g.origin[a], g.size[a], inverse[a], limit[a]);
                last[a] = voxel::cellIndex(hi - g.origin[a], g.size[a], inverse[a], limit[a]);
            }
            markTriangle(m_grid.get(), count, g, directions, p0, p1, p2, first, last);
        }
        if (invalid != nullptr) {
            // Triangulation::vertex's lookup, range test included: throws std::out_of_range.
            for (std::size_t c = 0; c < 3; ++c) (void)vertices.at(invalid->vertexIndex(c));
        }
    }
    return true;
}

void Voxelization::markVoxelsPerTriangle(Triangle *t, int i0, int j0, int k0, int i1, int j1,
                                         int k1) {
    if (!m_mesh || cellCount() == 0) return;
    Triangulation &mesh = *m_mesh;
    Point3D const &p0 = *mesh.vertex(t, 0)->point();
    Point3D const &p1 = *mesh.vertex(t, 1)->point();
    Point3D const &p2 = *mesh.vertex(t, 2)->point();
    std::size_t const count[3] = {m_nx, m_ny, m_nz};
    int const first[3] = {std::max(i0, 0), std::max(j0, 0), std::max(k0, 0)};
    int const last[3] = {std::min(i1, int(m_nx) - 1),   // a valid grid's counts fit in 32 bits
                         std::min(j1, int(m_ny) - 1), std::min(k1, int(m_nz) - 1)};
    CellGeometry const g = geometryOf(mesh, count);
    markTriangle(m_grid.get(), count, g, voxel::CellDirections(g), p0, p1, p2, first, last);
}

void Voxelization::voxelxTriangleIntersection(BoundingBox3D &box, Plane &plane, Point3D &p0,
                                              Point3D &p1, Point3D &p2, int i, int j, int k) {
    if (!m_mesh || cellCount() == 0) return;
    if (i < 0 || j < 0 || k < 0 || std::size_t(i) >= m_nx || std::size_t(j) >= m_ny ||
        std::size_t(k) >= m_nz)
        return;
    unsigned char &cell = m_grid[(std::size_t(i) * m_ny + std::size_t(j)) * m_nz + std::size_t(k)];
    if (cell != 0) return;
    std::size_t const count[3] = {m_nx, m_ny, m_nz};
    BoundingBox3D const &cbox = box;
    if (voxel::cellTouchesTriangle(geometryOf(*m_mesh, count), cbox.lower(), cbox.upper(), plane,
                                   p0, p1, p2, i, j, k))
        cell |= 1;
}

bool Voxelization::pointInsideTriangle(Point3D &point, Point3D &t1, Point3D &t2, Point3D &t3,
                                       Tolerance tol) {
    return voxel::pointInTriangle(point, t1, t2, t3, tol.value());
}

bool Voxelization::segxtri(Point3D &s0, Point3D &s1, Point3D &t0, Point3D &t1, Point3D &t2,
                           Tolerance tol) {
    return voxel::segmentCrossesTriangle(s0, s1, t0, t1, t2, tol.value());
}

bool Voxelization::trixtri(Point3D &a0, Point3D &a1, Point3D &a2, Point3D &b0, Point3D &b1,
                           Point3D &b2) {
    return voxel::trianglesCross(a0, a1, a2, b0, b1, b2);
}

bool Voxelization::voxelxTriangle(Point3D &p0, Point3D &p1, Point3D &p2, Point3D *corners) {
    return voxel::triangleCrossesCell(p0, p1, p2, corners);
}

// ---------------------------------------------------------------------------------------------
// Surface

Triangulation *Voxelization::triangulation() {
    VoxelMeshGuard guard(new Triangulation());
    if (m_mesh && cellCount() > 0) {
        Triangulation &mesh = *guard.get();
        std::size_t const count[3] = {m_nx, m_ny, m_nz};
        auto newVertex = [&mesh](std::unique_ptr<Point3D> point) {
            auto vertex = std::make_unique<Vertex>(point.release());
            std::size_t const index = mesh.addVertex(vertex.get());
            vertex.release();
            return static_cast<int>(index);
        };
        auto emitCell = [&guard](int const (&corner)[8]) {
            for (auto const &t : kSurfaceTriangles)
                guard.addTriangle(corner[t[0]], corner[t[1]], corner[t[2]]);
        };
        voxel::buildCorners(m_grid.get(), count, geometryOf(*m_mesh, count), true, newVertex,
                            emitCell);
    }
    if (guard.get()->triangleList().empty()) return nullptr;
    return guard.release();
}

void Voxelization::quadulation(std::vector<Vertex *> &vertices,
                               std::vector<std::size_t> &indices) {
    if (!m_mesh || cellCount() == 0) return;
    std::size_t const count[3] = {m_nx, m_ny, m_nz};
    // The caller's vectors grow once: 24 indices per marked cell, and room for two corners
    // per cell (a surface of cells shares most corners; a vector that needs more grows).
    std::size_t const marked = voxel::markedCount(m_grid.get(), cellCount());
    indices.reserve(indices.size() + 24 * marked);
    vertices.reserve(vertices.size() + 2 * marked + 8);
    auto newVertex = [&vertices](std::unique_ptr<Point3D> point) {
        auto vertex = std::make_unique<Vertex>(point.release());
        vertices.push_back(vertex.get());
        vertex.release();
        return static_cast<int>(vertices.size() - 1);
    };
    auto emitCell = [&indices](int const (&corner)[8]) {
        std::size_t cell[24];
        std::size_t *out = cell;
        for (auto const &quad : kSurfaceQuads)
            for (int q : quad) *out++ = static_cast<std::size_t>(corner[q]);
        indices.insert(indices.end(), cell, cell + 24);   // one capacity check per cell
    };
    voxel::buildCorners(m_grid.get(), count, geometryOf(*m_mesh, count), true, newVertex,
                        emitCell);
}

Triangulation *Voxelization::voxelize() {
    send("\nMarking Voxels...");
    bool const marked = markVoxels();
    send("Marking Voxels done.");
    if (!marked) return nullptr;

    send("Creating Triangulation...");
    VoxelMeshGuard built(triangulation());   // held until the last message is through
    if (built.get() != nullptr)
        built.get()->setName("Voxel_" + std::to_string(m_nx) + "_" + std::to_string(m_ny) + "_" +
                       std::to_string(m_nz));
    send("Creating Triangulation done.");
    return built.release();
}

void Voxelization::voxelize(std::vector<Vertex *> &vertices, std::vector<std::size_t> &indices) {
    send("\nMarking Voxels...");
    bool const marked = markVoxels();
    send("Marking Voxels done.");
    if (!marked) return;
    send("Creating Quads...");
    quadulation(vertices, indices);
    send("Creating Quads done.");
}

} // namespace ORVANE_DATABASE
