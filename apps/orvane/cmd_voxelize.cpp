// orvane voxelize: the cells of a grid over the model that its surface touches, written as a
// printable mesh (voxel_surface.h). The voxelizer's progress messages are shown on stderr.
#include "commands.h"
#include "mesh_export.h"
#include "voxel_surface.h"

#include "Feedback.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>

namespace orvane {

namespace {

// Grid bytes the tool allows (one per cell): 2^29, half a gigabyte.
constexpr long long kMostCells = 1LL << 29;

struct VoxelOptions {
    std::string model;
    std::vector<std::string> grid;   // counts, possibly followed by the model (see runVoxelize)
    double voxelSize = 0;
    std::string output;
    bool raw = false;
    CLI::Option *sizeOption = nullptr;
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
struct VoxelMesh {
    odb::Triangulation *mesh = nullptr;
    ~VoxelMesh() {
        if (!mesh) return;
        for (odb::Vertex *v : mesh->vertexList()) delete v;
        for (odb::Triangle *t : mesh->triangleList()) delete t;
        delete mesh;
    }
};

bool isCount(std::string const &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) || c == '-' || c == '+'; });
}

int runVoxelize(VoxelOptions o, CommonOptions const &common) {
    // `--grid 32 model.stl` gives the model to the grid's list: take it back.
    if (!o.grid.empty() && !isCount(o.grid.back()) && o.model.empty()) {
        o.model = o.grid.back();
        o.grid.pop_back();
    }
    bool const bySize = o.sizeOption->count() > 0;
    if (bySize == !o.grid.empty())
        throw UsageError("give either --grid N (or NX NY NZ) or --voxel-size S");
    if (!bySize && o.grid.size() != 1 && o.grid.size() != 3)
        throw UsageError("--grid takes one count N (an N x N x N grid) or three counts NX NY NZ");
    std::array<long long, 3> counts{};
    for (std::size_t a = 0; a < o.grid.size() && a < 3; ++a) {
        std::size_t used = 0;
        long long v = 0;
        try {
            v = std::stoll(o.grid[a], &used);
        } catch (std::exception const &) {
            used = 0;
        }
        if (used == 0 || used != o.grid[a].size())
            throw UsageError("--grid takes whole numbers (got '" + o.grid[a] + "')");
        requireCount(v, kMostCells, "--grid");
        counts[a] = v;
    }
    if (o.grid.size() == 1) counts[1] = counts[2] = counts[0];
    if (bySize) requirePositive(o.voxelSize, "--voxel-size");
    std::string const output = o.output.empty() ? modelStem(o.model) + "-voxels.stl" : o.output;
    if (!isMeshOutput(extensionOf(output)))
        throw UsageError("output '" + output + "': voxelize writes .stl, .obj or .ply files");
    OutputFiles files({output}, o.model, false);

    Progress progress(common);
    ModelInput in = readInput(o.model, progress);
    // The box the grid spans is the model's, widened where needed (voxelGridBox); with
    // --voxel-size, the counts are the fewest cubic cells that cover the model.
    std::array<double, 6> const box = in.data.box();
    if (bySize) {
        for (int a = 0; a < 3; ++a) {
            double const extent = box[3 + a] - box[a];
            double const cells = std::max(1.0, std::ceil(extent / o.voxelSize * (1 - 1e-9)));
            if (cells > static_cast<double>(kMostCells))
                throw UsageError("--voxel-size " + numberText(o.voxelSize, 4) + " gives more than " + std::to_string(kMostCells) + " cells");
            counts[static_cast<std::size_t>(a)] = static_cast<long long>(cells);
        }
    }
    if (counts[0] * counts[1] > kMostCells / counts[2])
        throw UsageError("a grid of " + std::to_string(counts[0]) + " x " + std::to_string(counts[1]) + " x " +
                         std::to_string(counts[2]) + " has more than " + std::to_string(kMostCells) + " cells");
    std::array<std::size_t, 3> const n{{static_cast<std::size_t>(counts[0]), static_cast<std::size_t>(counts[1]),
                                        static_cast<std::size_t>(counts[2])}};
    VoxelGridBox const grid = voxelGridBox(box, n, bySize ? o.voxelSize : 0);
    buildInputMesh(in, progress);
    if (grid.widened) {
        // Two vertices that no triangle uses stretch the mesh's box, which the grid spans.
        in.mesh->addVertex(grid.lower[0], grid.lower[1], grid.lower[2]);
        in.mesh->addVertex(grid.upper[0], grid.upper[1], grid.upper[2]);
    }
    VoxelGridFrame const frame = voxelGridFrame(grid.lower, grid.upper, n);

    ProgressFeedback feedback(progress);
    MeshPart part;
    part.name = "voxels";
    std::size_t cells = 0, filled = 0;
    // The voxelizer destroys the Triangulation object it is given (the vertices and triangles
    // stay with `in.mesh`, declared before it and so destroyed after it). That takes seconds
    // on a model of millions of triangles, so the voxelizer lives to the end of the run,
    // whose finishRun skips the release.
    auto voxels = std::make_unique<odb::Voxelization>(in.mesh->releaseMesh(), n[0], n[1], n[2], &feedback);
    QuadSurface quads;
    {
        if (o.raw) {
            // The kernel's surface: twelve triangles per marked cell, shared faces twice. The
            // kernel winds them into the cell; they are written reversed, out of it.
            VoxelMesh raw;
            raw.mesh = voxels->voxelize();
            if (raw.mesh) {
                for (odb::Vertex *v : raw.mesh->vertexList()) {
                    odb::Point3D const &p = *v->point();
                    part.mesh.coords.insert(part.mesh.coords.end(), {p.x(), p.y(), p.z()});
                }
                for (odb::Triangle *t : raw.mesh->triangleList())
                    part.mesh.corners.insert(part.mesh.corners.end(),
                                             {static_cast<std::uint32_t>(t->vertexIndex(0)), static_cast<std::uint32_t>(t->vertexIndex(2)),
                                              static_cast<std::uint32_t>(t->vertexIndex(1))});
                cells = part.mesh.triangleCount() / 12;
            }
        } else {
            voxels->voxelize(quads.vertices, quads.indices);
            std::vector<double> coords;
            coords.reserve(3 * quads.vertices.size());
            for (odb::Vertex *v : quads.vertices) {
                odb::Point3D const &p = *v->point();
                coords.insert(coords.end(), {p.x(), p.y(), p.z()});
            }
            progress.stage("Building the outer surface of " + counted(quads.indices.size() / 24, "cell"));
            VoxelSurface surface = voxelSurface(coords, quads.indices, frame);
            progress.done();
            cells = surface.cells;
            filled = surface.filled;
            part.mesh = std::move(surface.mesh);
        }
    }
    if (part.mesh.triangleCount() == 0)
        throw InputError(in.name + ": no voxel was marked (the model has no usable triangles)");
    progress.stage("Writing " + output);
    writeMesh(files.file(0), {part});
    files.commit();
    progress.done();
    std::string line = in.name + ": " + std::to_string(n[0]) + " x " + std::to_string(n[1]) + " x " +
                       std::to_string(n[2]) + " grid of " + numberText(frame.size[0], 4) + " x " + numberText(frame.size[1], 4) + " x " +
                       numberText(frame.size[2], 4) + " cells, " + counted(cells, "cell") + " marked";
    if (filled > 0) line += ", " + std::to_string(filled) + " added where cells met only along an edge or at a corner";
    line += ", " + counted(part.mesh.triangleCount(), "triangle") + "; wrote " + output;
    summary(common, line);
    return finishRun(0);
}

}  // namespace

Runner addVoxelizeCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<VoxelOptions>();
    CLI::App *cmd = root.add_subcommand(
        "voxelize", "Mark the grid cells a model's surface touches and write them as a mesh");
    addModelArgument(*cmd, o->model);
    auto *grid = cmd->add_option("-g,--grid", o->grid, "Cell counts NX NY NZ over the model's box (or one N)")
                     ->expected(1, 3);
    o->sizeOption = cmd->add_option("--voxel-size", o->voxelSize,
                                    "Cubic cells of this edge (model units, normally mm), as many as "
                                    "cover the model, centred on it");
    o->sizeOption->excludes(grid);
    cmd->add_option("-o,--output", o->output,
                    "Output mesh, .stl, .obj or .ply (default MODEL-voxels.stl): the outer "
                    "surface of the marked cells, outward, every edge shared by two triangles");
    cmd->add_flag("--raw", o->raw,
                  "Write the kernel's surface instead: twelve triangles per cell (wound out of "
                  "it), faces between cells included");
    cmd->footer("Examples:\n"
                "  orvane voxelize part.stl --grid 64 64 32 -o part-voxels.stl\n"
                "  orvane voxelize part.stl --voxel-size 0.5 -o part-voxels.stl\n"
                "  orvane voxelize --grid 24 -o blocks.obj       (the built-in part)");
    return [o, &common] { return runVoxelize(*o, common); };
}

}  // namespace orvane
