// Fuzz target: the voxelizer (both Voxelization::voxelize forms) on a decoded mesh with cell
// counts that are small, zero, beyond 32 bits, or whose product overflows; and, for every
// triangle of the mesh, the prepared cell test against the cell test written step by step
// on every cell of the grid and around it.
#include "fuzz_input.h"
#include "support/release.h"
#include "voxel/CellTriangleTest.h"
#include "voxel/TriangleCellTest.h"

#include "BoundingBox3D.h"
#include "Entity.h"
#include "Plane.h"
#include "Feedback.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;

namespace {

class Recorder : public odb::Feedback {
public:
    void progressMessage(std::string message, int current, int total) override {
        FUZZ_CHECK(current == 0 && total == 0);
        messages.push_back(std::move(message));
    }
    void progressValue(int) override { FUZZ_CHECK(false); }
    std::vector<std::string> messages;
};

std::size_t cellCount(ByteReader &in) {
    std::uint8_t b = in.byte();
    if (b < 200) return 1 + b % 6;
    constexpr std::size_t max = std::numeric_limits<std::size_t>::max();
    static const std::size_t special[] = {0,           2147483647u,     2147483648u,
                                          4294967296u, 4294967297u,     max,
                                          max / 2 + 1, std::size_t(1) << 40};
    return special[b % 8];
}

// Whether the library gives these counts a grid (each in 1 .. 2^31 - 1, product in size_t).
bool gridFor(std::size_t nx, std::size_t ny, std::size_t nz, std::size_t &cells) {
    constexpr std::size_t limit = 2147483647u;
    if (nx == 0 || ny == 0 || nz == 0 || nx > limit || ny > limit || nz > limit) return false;
    constexpr std::size_t max = std::numeric_limits<std::size_t>::max();
    if (nx > max / ny || nx * ny > max / nz) return false;
    cells = nx * ny * nz;
    return true;
}

// The prepared cell test (markVoxels' engine) gives the step-by-step test's answer on every
// cell of a grid of counts n over the mesh's box, and on a layer of cells around it.
void checkCellTests(odb::Triangulation &mesh, std::size_t const n[3]) {
    odb::BoundingBox3D const &box = *mesh.getBoundingBox();
    odb::voxel::CellGeometry g;
    for (int a = 0; a < 3; ++a) {
        g.origin[a] = box.lower().vector()[a];
        g.size[a] = std::fabs(box.lower().vector()[a] - box.upper().vector()[a]) / double(n[a]);
    }
    odb::voxel::CellDirections const directions(g);
    for (odb::Triangle *t : mesh.triangleList()) {
        odb::Point3D const &p0 = *mesh.vertex(t, 0)->point();
        odb::Point3D const &p1 = *mesh.vertex(t, 1)->point();
        odb::Point3D const &p2 = *mesh.vertex(t, 2)->point();
        odb::voxel::TriangleCellTest test(g, directions, p0, p1, p2);
        odb::Plane const plane(p0, p1, p2);
        odb::Point3D const lo = test.lower().positionVector(), hi = test.upper().positionVector();
        for (int i = -1; i <= int(n[0]); ++i)
            for (int j = -1; j <= int(n[1]); ++j)
                for (int k = -1; k <= int(n[2]); ++k)
                    FUZZ_CHECK(test.touches(i, j, k) ==
                               odb::voxel::cellTouchesTriangle(g, lo, hi, plane, p0, p1, p2, i, j, k));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    orvane_fuzz::DecodedMesh m = orvane_fuzz::decodeMesh(in);
    std::size_t nx = cellCount(in), ny = cellCount(in), nz = cellCount(in);
    std::size_t cells = 0;
    bool grid = gridFor(nx, ny, nz, cells);
    if (grid && cells > 4096) {   // a real grid that large only costs time here
        nx = 1 + nx % 6;
        ny = 1 + ny % 6;
        nz = 1 + nz % 6;
        cells = nx * ny * nz;
    }
    std::uint8_t flags = in.byte();

    if (grid && m.mesh().mesh().vertexList().size() > 0) {
        std::size_t const n[3] = {nx, ny, nz};
        checkCellTests(m.mesh().mesh(), n);
    }

    Recorder feedback;
    std::size_t triangles = m.mesh().mesh().triangleList().size();
    // The voxelizer destroys the Triangulation object; its vertices and triangles stay with
    // the TestMesh, which outlives the voxelizer.
    auto vox = std::make_unique<odb::Voxelization>(m.mesh().release(), nx, ny, nz, &feedback);
    std::unique_ptr<odb::Voxelization> copy;
    if (flags & 1) copy = std::make_unique<odb::Voxelization>(*vox);

    odb::Triangulation *surface = vox->voxelize();
    std::vector<odb::Vertex *> vertices;
    std::vector<std::size_t> quads;
    (copy ? *copy : *vox).voxelize(vertices, quads);
    if (flags & 2) vox.reset();   // the copy alone keeps grid and mesh from here on

    FUZZ_CHECK((feedback.messages ==
                std::vector<std::string>{"\nMarking Voxels...", "Marking Voxels done.",
                                         "Creating Triangulation...",
                                         "Creating Triangulation done.", "\nMarking Voxels...",
                                         "Marking Voxels done.", "Creating Quads...",
                                         "Creating Quads done."}));

    // Six quads per marked cell, twelve triangles per marked cell, over the same corners.
    FUZZ_CHECK(quads.size() % 24 == 0);
    std::size_t marked = quads.size() / 24;
    if (!grid || triangles == 0) FUZZ_CHECK(marked == 0);
    FUZZ_CHECK(marked <= cells);
    for (std::size_t q : quads) FUZZ_CHECK(q < vertices.size());
    for (odb::Vertex *v : vertices) FUZZ_CHECK(v != nullptr && v->point() != nullptr);
    FUZZ_CHECK((surface == nullptr) == (marked == 0));
    if (surface) {
        FUZZ_CHECK(surface->triangleList().size() == 12 * marked);
        FUZZ_CHECK(surface->vertexList().size() == vertices.size());
        std::size_t count = surface->vertexList().size();
        for (odb::Triangle *t : surface->triangleList())
            for (std::size_t i = 0; i < 3; ++i) FUZZ_CHECK(t->vertexIndex(i) < count);
        FUZZ_CHECK(surface->getName() == "Voxel_" + std::to_string(nx) + "_" +
                                             std::to_string(ny) + "_" + std::to_string(nz));
    }
    // A box well inside the grid's number range marks exactly its shell of cells.
    if (m.pureSolid && m.solid == orvane_fuzz::DecodedMesh::BOX && grid &&
        std::fabs(m.solidLow.x()) < 100 && std::fabs(m.solidLow.y()) < 100 &&
        std::fabs(m.solidLow.z()) < 100) {
        auto inner = [](std::size_t n) { return n > 2 ? n - 2 : 0; };
        FUZZ_CHECK(marked == cells - inner(nx) * inner(ny) * inner(nz));
    }

    orvane_test::releaseSurface(surface);
    for (odb::Vertex *v : vertices) delete v;
    return 0;
}
