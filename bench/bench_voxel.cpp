// Voxelization and marching cubes on real meshes.
//
// Voxelize/<mesh>/<n>: a Voxelization over an n x n x n grid, through the public voxelize().
// The phases are timed from the progress messages in thread CPU time: mark_s is the marking,
// surface_s the building of the voxel mesh (per call, averaged); peak_MB is the most heap the call held at
// once beyond what was live before it (grid, point lookup, delivered mesh), counted by the
// global allocation functions below. Quads/<mesh>/<n> does the same for the quad variant.
// MarchCube/<n>: vMarchCube over every cube of an n^3 grid sampling a smooth field (a torus);
// items_per_second is cubes per second.
#include "bench_common.h"

#include "Feedback.h"
#include "MarchingCubes.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

// Live and peak heap bytes of the process. Each block carries its size in a 16-byte header.
std::atomic<std::size_t> gLive{0};
std::atomic<std::size_t> gPeak{0};

void *countedAlloc(std::size_t size) {
    void *block = std::malloc(size + 16);
    if (block == nullptr) throw std::bad_alloc();
    *static_cast<std::size_t *>(block) = size;
    std::size_t const live = gLive += size;
    std::size_t peak = gPeak.load();
    while (live > peak && !gPeak.compare_exchange_weak(peak, live)) {}
    return static_cast<char *>(block) + 16;
}
void countedFree(void *p) {
    if (p == nullptr) return;
    void *block = static_cast<char *>(p) - 16;
    gLive -= *static_cast<std::size_t *>(block);
    std::free(block);
}

} // namespace

void *operator new(std::size_t size) { return countedAlloc(size); }
void *operator new[](std::size_t size) { return countedAlloc(size); }
void operator delete(void *p) noexcept { countedFree(p); }
void operator delete[](void *p) noexcept { countedFree(p); }
void operator delete(void *p, std::size_t) noexcept { countedFree(p); }
void operator delete[](void *p, std::size_t) noexcept { countedFree(p); }

namespace {

namespace odb = ORVANE_DATABASE;

// Records the thread's CPU time at each progress message (CPU time rather than wall time,
// so that other work on a shared machine does not inflate the phases).
struct StageClock : odb::Feedback {
    std::map<std::string, double> at;
    void progressMessage(std::string message, int, int) override { at[message] = cpuSeconds(); }
    void progressValue(int) override {}
    double seconds(char const *from, char const *to) { return at[to] - at[from]; }
    static double cpuSeconds() {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
    }
};

// A fresh Triangulation over the vertices and triangles of `owner` (a voxelizer destroys the
// mesh it is given, not its contents, so each run gets its own).
odb::Triangulation *meshOver(orvane::OwnedMesh &owner) {
    auto *mesh = new odb::Triangulation();
    for (odb::Vertex *v : owner.mesh().vertexList()) mesh->addVertex(v);
    for (odb::Triangle *t : owner.mesh().triangleList()) mesh->addTriangle(t);
    return mesh;
}

void voxelizeMesh(benchmark::State &state, char const *file, bool quads) {
    std::string why;
    auto owner = orvane_bench::loadBenchMesh(file, &why);
    if (!owner) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::size_t const n = std::size_t(state.range(0));
    double mark = 0, surface = 0, peak = 0, vertices = 0, elements = 0;
    for (auto _ : state) {
        state.PauseTiming();
        odb::Triangulation *mesh = meshOver(*owner);
        StageClock clock;
        std::size_t const before = gLive.load();
        gPeak = before;
        state.ResumeTiming();

        odb::Voxelization voxels(mesh, n, n, n, &clock);
        std::vector<odb::Vertex *> quadVertices;
        std::vector<std::size_t> quadIndices;
        odb::Triangulation *result = nullptr;
        if (quads) {
            voxels.voxelize(quadVertices, quadIndices);
        } else {
            result = voxels.voxelize();
        }

        state.PauseTiming();
        peak = double(gPeak.load() - before) / (1024.0 * 1024.0);
        mark += clock.seconds("\nMarking Voxels...", "Marking Voxels done.");
        surface += quads ? clock.seconds("Creating Quads...", "Creating Quads done.")
                         : clock.seconds("Creating Triangulation...", "Creating Triangulation done.");
        if (quads) {
            vertices = double(quadVertices.size());
            elements = double(quadIndices.size() / 4);
            for (odb::Vertex *v : quadVertices) delete v;
        } else if (result != nullptr) {
            vertices = double(result->vertexList().size());
            elements = double(result->triangleList().size());
        }
        orvane_test::releaseSurface(result);
        state.ResumeTiming();
    }
    double const runs = double(state.iterations());
    state.counters["mark_s"] = mark / runs;
    state.counters["surface_s"] = surface / runs;
    state.counters["peak_MB"] = peak;
    state.counters["triangles_in"] = double(owner->triangleCount());
    state.counters["vertices_out"] = vertices;
    state.counters[quads ? "quads_out" : "triangles_out"] = elements;
}

void marchTorus(benchmark::State &state) {
    int const n = int(state.range(0));
    // A torus around z (radii 0.6 and 0.25) sampled on the n+1 lattice points of [-1, 1]^3.
    double const s = 2.0 / n;
    std::vector<double> field(std::size_t(n + 1) * (n + 1) * (n + 1));
    auto at = [n](int i, int j, int k) { return (std::size_t(i) * (n + 1) + j) * (n + 1) + k; };
    for (int i = 0; i <= n; ++i)
        for (int j = 0; j <= n; ++j)
            for (int k = 0; k <= n; ++k) {
                double const x = -1 + i * s, y = -1 + j * s, z = -1 + k * s;
                double const q = std::sqrt(x * x + y * y) - 0.6;
                field[at(i, j, k)] = std::sqrt(q * q + z * z) - 0.25;
            }
    static int const offset[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                     {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    odb::MarchingCubes const mc;
    std::size_t triangles = 0;
    for (auto _ : state) {
        std::vector<std::vector<odb::Vertex *>> out;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < n; ++k) {
                    double values[8];
                    for (int c = 0; c < 8; ++c)
                        values[c] = field[at(i + offset[c][0], j + offset[c][1], k + offset[c][2])];
                    mc.vMarchCube(&out, values, -1 + i * s, -1 + j * s, -1 + k * s, s);
                }
        state.PauseTiming();
        triangles = out.size();
        for (auto &t : out)
            for (odb::Vertex *v : t) delete v;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(n) * n * n);
    state.counters["triangles"] = double(triangles);
}

} // namespace

#define VOXEL_BENCH(name, file)                                                              \
    BENCHMARK_CAPTURE(voxelizeMesh, name, file, false)                                       \
        ->Arg(64)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond)->MinTime(1.0);          \
    BENCHMARK_CAPTURE(voxelizeMesh, name##_quads, file, true)                                \
        ->Arg(64)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond)->MinTime(1.0)

VOXEL_BENCH(bunny, "bunny00.off");
VOXEL_BENCH(armadillo, "armadillo.off");
VOXEL_BENCH(fandisk, "fandisk.off");
VOXEL_BENCH(elephant, "elephant.off");
BENCHMARK(marchTorus)->Arg(64)->Arg(128)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
