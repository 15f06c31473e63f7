// orvane voxelize: the cells of a grid over the model that its surface touches, written as a
// mesh. The voxelizer's progress messages are shown on stderr.
#include "commands.h"
#include "mesh_export.h"

#include "Feedback.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <cstdint>
#include <map>

namespace orvane {

namespace {

// Grid bytes the tool allows (one per cell): 2^29, half a gigabyte.
constexpr long long kMostCells = 1LL << 29;

struct VoxelOptions {
    std::string model;
    std::vector<long long> grid;
    std::string output;
    bool raw = false;
};

// Shows the voxelizer's stage messages as progress lines.
class ProgressFeedback final : public odb::Feedback {
public:
    explicit ProgressFeedback(Progress &progress) : progress_(progress) {}
    void progressMessage(std::string message, int, int) override {
        message.erase(0, message.find_first_not_of('\n'));
        progress_.message(message);
    }
    void progressValue(int) override {}

private:
    Progress &progress_;
};

// Everything the voxelizer delivered through its quad form: the caller owns each Vertex.
struct QuadSurface {
    std::vector<odb::Vertex *> vertices;
    std::vector<std::size_t> indices;
    ~QuadSurface() {
        for (odb::Vertex *v : vertices) delete v;
    }
};

// A voxel mesh from voxelize(): its vertices and triangles are the caller's.
void releaseVoxelMesh(odb::Triangulation *mesh) {
    if (!mesh) return;
    for (odb::Vertex *v : mesh->vertexList()) delete v;
    for (odb::Triangle *t : mesh->triangleList()) delete t;
    delete mesh;
}

std::array<double, 3> coords(odb::Vertex *v) {
    odb::Point3D const &p = *v->point();
    return {{p.x(), p.y(), p.z()}};
}

int runVoxelize(VoxelOptions const &o, CommonOptions const &common) {
    if (o.grid.size() != 1 && o.grid.size() != 3)
        throw UsageError("--grid takes one count N (an N x N x N grid) or three counts NX NY NZ");
    std::array<long long, 3> counts{};
    for (int a = 0; a < 3; ++a) {
        counts[a] = o.grid[o.grid.size() == 1 ? 0 : a];
        requireCount(counts[a], kMostCells, "--grid");
    }
    if (counts[0] * counts[1] > kMostCells / counts[2])
        throw UsageError("--grid " + std::to_string(counts[0]) + " x " + std::to_string(counts[1]) +
                         " x " + std::to_string(counts[2]) + " has more than " +
                         std::to_string(kMostCells) + " cells");
    Progress progress(common);
    ModelInput in = loadInput(o.model, progress);
    std::string output = o.output.empty() ? in.stem + "-voxels.stl" : o.output;
    if (!isMeshOutput(extensionOf(output)))
        throw UsageError("output '" + output + "': voxelize writes .stl, .obj or .ply files");

    ProgressFeedback feedback(progress);
    MeshPart part;
    part.name = "voxels";
    std::size_t cells = 0;
    {
        // The voxelizer destroys the Triangulation object it is given; the vertices and
        // triangles stay with `in.mesh`, which outlives it.
        odb::Voxelization voxels(in.mesh->releaseMesh(), static_cast<std::size_t>(counts[0]),
                                 static_cast<std::size_t>(counts[1]),
                                 static_cast<std::size_t>(counts[2]), &feedback);
        if (o.raw) {
            // The surface as the kernel builds it: twelve triangles per marked cell, wound
            // into the cell, shared faces twice.
            odb::Triangulation *mesh = voxels.voxelize();
            struct Guard {
                odb::Triangulation *m;
                ~Guard() { releaseVoxelMesh(m); }
            } guard{mesh};
            if (mesh) {
                for (odb::Vertex *v : mesh->vertexList()) part.points.push_back(coords(v));
                for (odb::Triangle *t : mesh->triangleList())
                    part.triangles.push_back({{t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)}});
                cells = part.triangles.size() / 12;
            }
        } else {
            // The outer surface: six outward quads per marked cell, of which the faces two
            // marked cells share (emitted once by each) are dropped.
            QuadSurface quads;
            voxels.voxelize(quads.vertices, quads.indices);
            cells = quads.indices.size() / 24;
            std::map<std::array<std::size_t, 4>, int> faceUse;
            auto key = [&](std::size_t q) {
                std::array<std::size_t, 4> k{{quads.indices[4 * q], quads.indices[4 * q + 1],
                                              quads.indices[4 * q + 2], quads.indices[4 * q + 3]}};
                std::sort(k.begin(), k.end());
                return k;
            };
            std::size_t const count = quads.indices.size() / 4;
            for (std::size_t q = 0; q < count; ++q) ++faceUse[key(q)];
            std::vector<std::size_t> remap(quads.vertices.size(), SIZE_MAX);
            auto index = [&](std::size_t v) {
                if (remap[v] == SIZE_MAX) {
                    remap[v] = part.points.size();
                    part.points.push_back(coords(quads.vertices[v]));
                }
                return remap[v];
            };
            for (std::size_t q = 0; q < count; ++q) {
                if (faceUse[key(q)] > 1) continue;
                std::size_t const *c = &quads.indices[4 * q];
                std::size_t a = index(c[0]), b = index(c[1]), d = index(c[2]), e = index(c[3]);
                part.triangles.push_back({{a, b, d}});
                part.triangles.push_back({{a, d, e}});
            }
        }
    }
    if (part.triangles.empty())
        throw InputError(in.name + ": no voxel was marked (the model has no usable triangles)");
    writeMesh(output, {part});
    std::cout << in.name << ": " << counts[0] << " x " << counts[1] << " x " << counts[2]
              << " grid, " << cells << " cells marked, " << part.triangles.size()
              << " triangles; wrote " << output << "\n";
    return finishRun(0);
}

}  // namespace

Runner addVoxelizeCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<VoxelOptions>();
    CLI::App *cmd = root.add_subcommand(
        "voxelize", "Mark the grid cells a model's surface touches and write them as a mesh");
    addModelArgument(*cmd, o->model);
    cmd->add_option("-g,--grid", o->grid, "Cell counts NX NY NZ over the model's box (or one N)")
        ->required()
        ->expected(1, 3);
    cmd->add_option("-o,--output", o->output,
                    "Output mesh, .stl, .obj or .ply (default MODEL-voxels.stl)");
    cmd->add_flag("--raw", o->raw,
                  "Write the kernel's surface as it is (twelve triangles per cell, inner faces "
                  "included, wound into the cells) instead of the outer surface");
    cmd->footer("Examples:\n"
                "  orvane voxelize part.stl --grid 64 64 32 -o part-voxels.stl\n"
                "  orvane voxelize --grid 24 -o blocks.obj       (the built-in part)");
    return [o, &common] { return runVoxelize(*o, common); };
}

}  // namespace orvane
