// Segmentation throughput: segmentize (strong edges + face growing + face meshes) and
// boundaries (border chaining) on CAD-like meshes with many faces, at 1x, 4x and 16x the size,
// so that the growth of the time per triangle shows whether the run stays linear.
//
// FaceMeshes measures the part of segmentize that no engine can skip: making the delivered
// face meshes (one Triangulation per face, its Vertex and Triangle objects, addVertex and
// addTriangle, the name) from a recorded result. segmentize minus FaceMeshes is the cost of
// finding the faces.
//
// Meshes:
//  - voxel: the surface of a union of random boxes on a grid (welded, with non-manifold
//    edges where boxes touch along an edge), tiled 1, 4 or 16 times;
//  - fandisk: the finely faceted fandisk.off part from the mesh folder, tiled likewise;
//  - split: the voxel surface with every face's vertices duplicated (as a per-face CAD
//    export delivers it), the input of boundaries: every face becomes a border loop.
#include "bench_common.h"
#include "segmentation_bench.h"

#include "PLC.h"
#include "Point3D.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;
using Mesh = orvane::OwnedMesh;   // a generated mesh and the objects it points to
using orvane_test::releaseContours;
using orvane_test::releaseFaces;
using orvane_bench::buildFaces;
using orvane_bench::buildTiledCopy;
using orvane_bench::FaceRecipe;
using orvane_bench::recipesOf;

constexpr int kCells = 48, kLayers = 12;

// Occupancy of one tile: the union of random boxes.
std::vector<char> voxelTile() {
    std::vector<char> filled(kCells * kCells * kLayers, 0);
    std::mt19937 rng(42);
    std::uniform_int_distribution<int> at(0, kCells - 1), size(2, 10), up(0, kLayers - 1);
    for (int b = 0; b < 60; ++b) {
        int x0 = at(rng), y0 = at(rng), z0 = up(rng), sx = size(rng), sy = size(rng), sz = 1 + size(rng) / 3;
        for (int x = x0; x < std::min(kCells, x0 + sx); ++x)
            for (int y = y0; y < std::min(kCells, y0 + sy); ++y)
                for (int z = z0; z < std::min(kLayers, z0 + sz); ++z) filled[(x * kCells + y) * kLayers + z] = 1;
    }
    return filled;
}

// The outward-wound, welded surface of `tiles` x `tiles` copies of the voxel tile.
void buildVoxelSurface(Mesh &m, int tiles) {
    static const std::vector<char> tile = voxelTile();
    auto filled = [&](int x, int y, int z) {
        if (x < 0 || y < 0 || z < 0 || x >= kCells || y >= kCells || z >= kLayers) return false;
        return tile[(x * kCells + y) * kLayers + z] != 0;
    };
    for (int tx = 0; tx < tiles; ++tx)
        for (int ty = 0; ty < tiles; ++ty) {
            std::map<std::array<int, 3>, std::size_t> welded;
            auto corner = [&](std::array<int, 3> p) {
                auto [it, fresh] = welded.emplace(p, 0);
                if (fresh) it->second = m.addVertex(p[0] + tx * (kCells + 4), p[1] + ty * (kCells + 4), p[2]);
                return it->second;
            };
            for (int x = 0; x < kCells; ++x)
                for (int y = 0; y < kCells; ++y)
                    for (int z = 0; z < kLayers; ++z) {
                        if (!filled(x, y, z)) continue;
                        for (int d = 0; d < 3; ++d)
                            for (int s : {-1, 1}) {
                                std::array<int, 3> n{x, y, z};
                                n[d] += s;
                                if (filled(n[0], n[1], n[2])) continue;
                                int u = (d + 1) % 3, v = (d + 2) % 3;
                                std::array<int, 3> base{x, y, z};
                                if (s > 0) base[d] += 1;
                                std::array<int, 3> q[4] = {base, base, base, base};
                                q[1][u] += 1, q[2][u] += 1, q[2][v] += 1, q[3][v] += 1;
                                std::size_t c[4] = {corner(q[0]), corner(q[1]), corner(q[2]), corner(q[3])};
                                if (s > 0) m.addTriangle(c[0], c[1], c[2]), m.addTriangle(c[0], c[2], c[3]);
                                else m.addTriangle(c[0], c[2], c[1]), m.addTriangle(c[0], c[3], c[2]);
                            }
                    }
        }
}

// `items` faces (or contours) per run of a mesh of `triangles` triangles.
void report(benchmark::State &state, char const *what, std::size_t items, std::size_t triangles) {
    using benchmark::Counter;
    state.counters[what] = static_cast<double>(items);
    state.counters["triangles"] = static_cast<double>(triangles);
    state.counters[std::string(what) + "/s"] =
        Counter(static_cast<double>(items), Counter::kIsIterationInvariantRate);
    state.counters["triangles/s"] = Counter(static_cast<double>(triangles), Counter::kIsIterationInvariantRate);
}

void runSegmentize(benchmark::State &state, Mesh &m) {
    odb::Segmentation segmentation(&m.mesh(), 30.0);
    std::size_t faces = 0;
    for (auto _ : state) {
        std::set<odb::Triangulation *> out;
        odb::Outcome result = segmentation.segmentize(out);
        if (!result.isOk()) {
            state.SkipWithError(result.mesg().c_str());
            break;
        }
        faces = out.size();
        state.PauseTiming();
        releaseFaces(out);
        state.ResumeTiming();
    }
    report(state, "faces", faces, m.mesh().triangleList().size());
}

// Builds the face meshes of the recorded result through the public interface, as segmentize
// must, and releases them untimed.
void runFaceMeshes(benchmark::State &state, Mesh &m) {
    std::set<odb::Triangulation *> faces;
    odb::Outcome result = odb::Segmentation(&m.mesh(), 30.0).segmentize(faces);
    if (!result.isOk()) {
        state.SkipWithError(result.mesg().c_str());
        return;
    }
    std::vector<FaceRecipe> const recipes = recipesOf(faces);
    releaseFaces(faces);
    for (auto _ : state) {
        std::set<odb::Triangulation *> out;
        buildFaces(recipes, out);
        state.PauseTiming();
        releaseFaces(out);
        state.ResumeTiming();
    }
    report(state, "faces", recipes.size(), m.mesh().triangleList().size());
}

void BM_SegmentizeVoxel(benchmark::State &state) {
    Mesh m;
    buildVoxelSurface(m, static_cast<int>(state.range(0)));
    runSegmentize(state, m);
}

// fandisk.off tiled state.range(0) x state.range(0) times into `m`; false (the benchmark
// skipped) where the mesh folder lacks it.
bool tiledFandisk(benchmark::State &state, Mesh &m) {
    std::string why;
    auto part = orvane_bench::loadBenchMesh("fandisk.off", &why);
    if (!part) {
        state.SkipWithError(why.c_str());
        return false;
    }
    buildTiledCopy(m, part->mesh(), static_cast<int>(state.range(0)));
    return true;
}

void BM_SegmentizeFandisk(benchmark::State &state) {
    Mesh m;
    if (tiledFandisk(state, m)) runSegmentize(state, m);
}

void BM_FaceMeshesFandisk(benchmark::State &state) {
    Mesh m;
    if (tiledFandisk(state, m)) runFaceMeshes(state, m);
}

// The voxel surface cut into its faces, each with vertices of its own.
void BM_BoundariesSplit(benchmark::State &state) {
    Mesh voxel;
    buildVoxelSurface(voxel, static_cast<int>(state.range(0)));
    std::set<odb::Triangulation *> faces;
    odb::Segmentation(&voxel.mesh(), 30.0).segmentize(faces);
    // Faces in the order of their lowest corner, so that the layout (and with it the border
    // edge order) does not depend on pointer values.
    std::multimap<std::array<double, 7>, odb::Triangulation *> ordered;
    for (odb::Triangulation *f : faces) {
        std::array<double, 3> lo{1e300, 1e300, 1e300}, hi{-1e300, -1e300, -1e300};
        for (odb::Vertex *v : f->vertexList()) {
            std::array<double, 3> p{v->point()->x(), v->point()->y(), v->point()->z()};
            lo = std::min(lo, p);
            hi = std::max(hi, p);
        }
        ordered.emplace(std::array<double, 7>{lo[0], lo[1], lo[2], hi[0], hi[1], hi[2],
                                              double(f->triangleList().size())}, f);
    }
    Mesh split;
    for (auto const &entry : ordered) {
        // Within a face, triangles by their corners and vertices welded in that order.
        odb::Triangulation *f = entry.second;
        std::vector<std::array<std::array<double, 3>, 3>> corners;
        for (odb::Triangle *t : f->triangleList()) {
            corners.emplace_back();
            for (int c = 0; c < 3; ++c) {
                odb::Point3D const *p = f->vertex(t, c)->point();
                corners.back()[c] = {p->x(), p->y(), p->z()};
            }
        }
        std::sort(corners.begin(), corners.end());
        std::map<std::array<double, 3>, std::size_t> welded;
        auto at = [&](std::array<double, 3> const &p) {
            auto [it, fresh] = welded.emplace(p, 0);
            if (fresh) it->second = split.addVertex(p[0], p[1], p[2]);
            return it->second;
        };
        for (auto const &t : corners) split.addTriangle(at(t[0]), at(t[1]), at(t[2]));
    }
    releaseFaces(faces);
    odb::Segmentation segmentation(&split.mesh(), 30.0);
    std::size_t contours = 0;
    for (auto _ : state) {
        std::vector<odb::PLC *> out;
        segmentation.boundaries(out);
        contours = out.size();
        state.PauseTiming();
        releaseContours(out);
        state.ResumeTiming();
    }
    report(state, "contours", contours, split.mesh().triangleList().size());
}

}  // namespace

BENCHMARK(BM_SegmentizeVoxel)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SegmentizeFandisk)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FaceMeshesFandisk)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BoundariesSplit)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
