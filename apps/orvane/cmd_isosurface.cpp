// orvane isosurface: a sphere or a gyroid lattice polygonised cube by cube with the kernel's
// MarchingCubes, welded into one mesh, wound outward and written.
#include "commands.h"
#include "mesh_export.h"
#include "surface_orientation.h"

#include "MarchingCubes.h"
#include "Vertex.h"

#include <array>
#include <cmath>
#include <iostream>

namespace orvane {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr long long kMostCubes = 512;   // per axis: 512^3 cubes is already ~10 s of work

struct IsoOptions {
    double sphere = 0;
    double gyroid = 0;
    double size = 0;
    long long grid = 48;
    std::string output;
    CLI::Option *sphereOption = nullptr;
    CLI::Option *gyroidOption = nullptr;
    CLI::Option *sizeOption = nullptr;
};

// Scalar fields, negative inside (the polygoniser's inside is "at most 0").
struct Field {
    bool gyroid = false;
    double radius = 1;   // sphere
    double k = 1;        // gyroid: 2 pi / period
    double operator()(double x, double y, double z) const {
        if (!gyroid) return std::sqrt(x * x + y * y + z * z) - radius;
        return std::sin(k * x) * std::cos(k * y) + std::sin(k * y) * std::cos(k * z) +
               std::sin(k * z) * std::cos(k * x);
    }
};

// Releases the polygoniser's output of one cube (each Vertex owns its point).
struct CubeTriangles {
    std::vector<std::vector<odb::Vertex *>> items;
    void clear() {
        for (auto &tri : items)
            for (odb::Vertex *v : tri) delete v;
        items.clear();
    }
    ~CubeTriangles() { clear(); }
};

int runIsosurface(IsoOptions const &o, CommonOptions const &common) {
    bool const sphere = o.sphereOption->count() > 0, gyroid = o.gyroidOption->count() > 0;
    if (sphere == gyroid) throw UsageError("give exactly one of --sphere R and --gyroid PERIOD");
    requireCount(o.grid, kMostCubes, "--grid");
    Field field;
    double edge;   // the cubic domain's edge, centred on the origin
    if (sphere) {
        requirePositive(o.sphere, "--sphere");
        if (o.sizeOption->count() > 0) throw UsageError("--size applies to --gyroid only");
        field.radius = o.sphere;
        edge = 2.2 * o.sphere;   // a margin of one tenth of the radius around the sphere
    } else {
        requirePositive(o.gyroid, "--gyroid");
        field.gyroid = true;
        field.k = 2 * kPi / o.gyroid;
        edge = o.gyroid * 2;
        if (o.sizeOption->count() > 0) {
            requirePositive(o.size, "--size");
            edge = o.size;
        }
    }
    std::string output = o.output.empty() ? std::string(sphere ? "sphere.stl" : "gyroid.stl") : o.output;
    if (!isMeshOutput(extensionOf(output)))
        throw UsageError("output '" + output + "': isosurface writes .stl, .obj or .ply files");
    OutputFiles files({output}, "", false);

    Progress progress(common);
    std::size_t const n = static_cast<std::size_t>(o.grid);
    double const step = edge / static_cast<double>(n), origin = -edge / 2;
    auto at = [&](std::size_t i) { return origin + step * static_cast<double>(i); };
    // Two planes of samples at a time: (n + 1)^2 values each.
    std::vector<double> below((n + 1) * (n + 1)), above((n + 1) * (n + 1));
    auto fill = [&](std::vector<double> &plane, std::size_t k) {
        for (std::size_t j = 0; j <= n; ++j)
            for (std::size_t i = 0; i <= n; ++i) plane[j * (n + 1) + i] = field(at(i), at(j), at(k));
    };
    MeshPart part;
    part.name = sphere ? "sphere" : "gyroid";
    ModelData &mesh = part.mesh;
    PointWelder welder(mesh.coords);
    odb::MarchingCubes cubes;
    CubeTriangles out;
    progress.stage("Polygonising " + std::to_string(n) + "^3 cubes", n);
    fill(below, 0);
    for (std::size_t k = 0; k < n; ++k) {
        fill(above, k + 1);
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t i = 0; i < n; ++i) {
                auto v = [&](std::vector<double> const &p, std::size_t di, std::size_t dj) {
                    return p[(j + dj) * (n + 1) + i + di];
                };
                // Corner order of the polygoniser: 0 (0,0,0), 1 (1,0,0), 2 (1,1,0), 3 (0,1,0),
                // then the same four one step up.
                double values[8] = {v(below, 0, 0), v(below, 1, 0), v(below, 1, 1), v(below, 0, 1),
                                    v(above, 0, 0), v(above, 1, 0), v(above, 1, 1), v(above, 0, 1)};
                if (!cubes.vMarchCube(&out.items, values, at(i), at(j), at(k), step)) continue;
                for (auto const &tri : out.items) {
                    std::uint32_t idx[3];
                    for (int c = 0; c < 3; ++c) {
                        odb::Point3D const &p = *tri[static_cast<std::size_t>(c)]->point();
                        idx[c] = welder.add(p.x(), p.y(), p.z());
                    }
                    // Corners at a sample of value exactly 0 collapse edges; such slivers
                    // have no area and are left out.
                    if (idx[0] != idx[1] && idx[1] != idx[2] && idx[2] != idx[0])
                        mesh.corners.insert(mesh.corners.end(), {idx[0], idx[1], idx[2]});
                }
                out.clear();
            }
        std::swap(below, above);
        progress.step(k + 1);
    }
    progress.done();
    if (mesh.triangleCount() == 0)
        throw UsageError("the surface does not cross the grid: nothing to write (try a finer --grid)");

    // Outward: the closed sphere by its volume; the gyroid, open where the block cuts it, by
    // the field, which grows towards the outside.
    orientSurface(mesh, [&](std::size_t t) {
        std::array<double, 3> p[3];
        for (int c = 0; c < 3; ++c)
            for (int a = 0; a < 3; ++a) p[c][static_cast<std::size_t>(a)] = mesh.coords[3 * mesh.corners[3 * t + static_cast<std::size_t>(c)] + static_cast<std::size_t>(a)];
        std::array<double, 3> const normal = facetNormal(p[0], p[1], p[2]);
        double m[3], g[3], h = step * 1e-3;
        for (int a = 0; a < 3; ++a) m[a] = (p[0][static_cast<std::size_t>(a)] + p[1][static_cast<std::size_t>(a)] + p[2][static_cast<std::size_t>(a)]) / 3;
        for (int a = 0; a < 3; ++a) {
            double lo[3] = {m[0], m[1], m[2]}, hi[3] = {m[0], m[1], m[2]};
            lo[a] -= h;
            hi[a] += h;
            g[a] = field(hi[0], hi[1], hi[2]) - field(lo[0], lo[1], lo[2]);
        }
        return normal[0] * g[0] + normal[1] * g[1] + normal[2] * g[2];
    });

    progress.stage("Writing " + output);
    writeMesh(files.file(0), {part});
    files.commit();
    progress.done();
    summary(common, std::string(sphere ? "sphere" : "gyroid") + ": " + std::to_string(n) + "^3 cubes, " +
                        counted(mesh.triangleCount(), "triangle") + ", " + counted(mesh.vertexCount(), "vertex", "vertices") +
                        "; wrote " + output);
    return finishRun(0);
}

}  // namespace

Runner addIsosurfaceCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<IsoOptions>();
    CLI::App *cmd = root.add_subcommand(
        "isosurface", "Polygonise a sphere or a gyroid lattice with marching cubes");
    o->sphereOption = cmd->add_option("--sphere", o->sphere, "A sphere of radius R (model units)");
    o->gyroidOption = cmd->add_option("--gyroid", o->gyroid,
                                      "A gyroid lattice (the infill pattern) of period PERIOD");
    o->sphereOption->excludes(o->gyroidOption);
    o->sizeOption = cmd->add_option("--size", o->size,
                                    "Edge of the gyroid's cubic block (default two periods)");
    cmd->add_option("-g,--grid", o->grid, "Cubes per axis (default 48, at most 512)");
    cmd->add_option("-o,--output", o->output,
                    "Output mesh, .stl, .obj or .ply (default sphere.stl or gyroid.stl), wound "
                    "outward");
    cmd->footer("Examples:\n"
                "  orvane isosurface --sphere 10 --grid 40 -o ball.stl\n"
                "  orvane isosurface --gyroid 8 --size 40 --grid 96 -o infill.ply");
    return [o, &common] { return runIsosurface(*o, common); };
}

}  // namespace orvane
