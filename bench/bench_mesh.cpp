// Mesh construction, destruction, memory and topology queries of Triangulation.
//
//  - Build/<mesh>: a Triangulation filled with addVertex, then addTriangle (the tool's order),
//    edge sharing and the vertex-to-triangle lists included. The Vertex, Triangle and Point3D
//    objects are made once, outside the timing, as a host would own them. Counters:
//      triangles/s         build rate (build time only);
//      cpu_ns/tri          processor time of the build per triangle;
//      destroy_ns/tri      time of the mesh's destructor per triangle (destroy_cpu_ns/tri: the
//                          processor time);
//      bytes/tri           heap the finished mesh holds per triangle (allocator's figure, chunk
//                          overheads included; the host's objects are not counted);
//      allocs/tri          operator-new calls of the build per triangle.
//  - Interleaved/<mesh>: the voxel surface's and the face meshes' order, each triangle's new
//    vertices added just before it, and adjustantTriangles of its first corner asked right
//    after it; counter triangles/s.
//  - Adjacent/<mesh>: adjustantTriangles of every vertex of a built mesh; counter vertices/s.
//  - EdgeList/<mesh>: edgeList() of a built mesh; counter edges/s.
// Meshes: closed torus grids of 0.1 M, 1 M and 8 M triangles (generated), real meshes from the
// mesh folder when the model reader is built, and the file named by $ORVANE_BENCH_MESH (any
// path, e.g. a large isosurface) as "Build/env" when that is set.
// Run the 8 M cases alone when comparing builds (--benchmark_filter=8M): they hold ~3 GB.
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#if __has_include("model_io.h")
#include "bench_common.h"
#define ORVANE_BENCH_HAS_READER 1
#endif

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

// Every allocation of the process (the library's included) passes through here, so that a
// build's allocations can be counted.
namespace {
std::atomic<std::size_t> g_allocations{0};
}

void *operator new(std::size_t n) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void *p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void *operator new(std::size_t n, std::align_val_t alignment) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    std::size_t const a = static_cast<std::size_t>(alignment);
    if (void *p = std::aligned_alloc(a, ((n ? n : 1) + a - 1) / a * a)) return p;
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete(void *p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void *p, std::size_t, std::align_val_t) noexcept { std::free(p); }

namespace {

namespace odb = ORVANE_DATABASE;
using Clock = std::chrono::steady_clock;

// Bytes the allocator has handed out and not taken back (0 where glibc's figure is missing).
std::size_t heldBytes() {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33))
    struct mallinfo2 const info = mallinfo2();
    return info.uordblks + info.hblkhd;
#else
    return 0;
#endif
}

// The vertices and triangles of a mesh, owned here, ready to be handed to a Triangulation.
struct MeshParts {
    std::deque<odb::Vertex> vertices;
    std::deque<odb::Triangle> triangles;
    void vertex(double x, double y, double z) { vertices.emplace_back(new odb::Point3D(x, y, z)); }
    void triangle(std::size_t a, std::size_t b, std::size_t c) { triangles.emplace_back(a, b, c); }
    // Fills a new mesh, all vertices first; the parts must outlive it.
    std::unique_ptr<odb::Triangulation> build() {
        auto mesh = std::make_unique<odb::Triangulation>();
        for (auto &v : vertices) mesh->addVertex(&v);
        for (auto &t : triangles) mesh->addTriangle(&t);
        return mesh;
    }
    // Fills a new mesh in the interleaved order of interleaved(): before triangle i the
    // newVertices[i] vertices it is the first to name; after it, the triangles of its first
    // corner are asked for. Returns the mesh; `seen` accumulates the answers' sizes.
    std::unique_ptr<odb::Triangulation> buildInterleaved(std::vector<unsigned char> const &newVertices,
                                                         std::size_t &seen) {
        auto mesh = std::make_unique<odb::Triangulation>();
        std::size_t next = 0;
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            for (unsigned char k = 0; k < newVertices[i]; ++k) mesh->addVertex(&vertices[next++]);
            mesh->addTriangle(&triangles[i]);
            seen += mesh->adjustantTriangles(triangles[i].vertexIndex(0)).size();
        }
        return mesh;
    }
};

// Closed torus grid of n x n quads (2 n^2 triangles), every vertex of valence six, triangles
// in row order (as a scanner or a marching-cubes sweep delivers them).
std::unique_ptr<MeshParts> torus(int n) {
    auto parts = std::make_unique<MeshParts>();
    double const pi = 3.14159265358979323846;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double const u = 2 * pi * i / n, v = 2 * pi * j / n;
            double const r = 2 + std::cos(v);
            parts->vertex(r * std::cos(u), r * std::sin(u), std::sin(v));
        }
    auto at = [n](int i, int j) { return std::size_t((i % n) * n + (j % n)); };
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            parts->triangle(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            parts->triangle(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return parts;
}

// Parts by name, made once: "torus-0.1M", "torus-1M", "torus-8M", "env" ($ORVANE_BENCH_MESH)
// or a file of the mesh folder (read with the model reader and copied, so that every case
// times the same kind of objects).
MeshParts *partsFor(std::string const &name, std::string &why) {
    static std::map<std::string, std::unique_ptr<MeshParts>> made;
    if (auto it = made.find(name); it != made.end()) return it->second.get();
    std::unique_ptr<MeshParts> parts;
    if (name == "torus-0.1M") {
        parts = torus(224);
    } else if (name == "torus-1M") {
        parts = torus(707);
    } else if (name == "torus-8M") {
        parts = torus(2000);
    } else {
#ifdef ORVANE_BENCH_HAS_READER
        std::string file = name;
        if (name == "env") {
            char const *env = std::getenv("ORVANE_BENCH_MESH");
            if (!env || !*env) {
                why = "set ORVANE_BENCH_MESH to a model file";
                return nullptr;
            }
            file = env;   // an absolute path replaces the mesh folder
        }
        auto owned = orvane_bench::loadBenchMesh(file, &why);
        if (!owned) return nullptr;
        parts = std::make_unique<MeshParts>();
        for (std::size_t v = 0; v < owned->vertexCount(); ++v)
            parts->vertex(owned->point(v).x(), owned->point(v).y(), owned->point(v).z());
        for (std::size_t t = 0; t < owned->triangleCount(); ++t) {
            odb::Triangle &tri = owned->triangle(t);
            parts->triangle(tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2));
        }
#else
        why = "the model reader (orvane_io) is not built";
        return nullptr;
#endif
    }
    return (made[name] = std::move(parts)).get();
}

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

void buildMesh(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    double destroy = 0, buildCpu = 0, destroyCpu = 0, held = 0, allocations = 0;
    for (auto _ : state) {
        std::size_t const heldBefore = heldBytes();
        std::size_t const allocationsBefore = g_allocations.load();
        std::clock_t const cpuStart = std::clock();
        Clock::time_point const start = Clock::now();
        std::unique_ptr<odb::Triangulation> mesh = parts->build();
        Clock::time_point const built = Clock::now();
        std::clock_t const cpuBuilt = std::clock();
        benchmark::DoNotOptimize(mesh.get());
        held += static_cast<double>(heldBytes() - heldBefore);
        allocations += static_cast<double>(g_allocations.load() - allocationsBefore);
        std::clock_t const cpuDestroyStart = std::clock();
        Clock::time_point const destroyStart = Clock::now();
        mesh.reset();
        destroy += seconds(Clock::now() - destroyStart);
        destroyCpu += static_cast<double>(std::clock() - cpuDestroyStart) / CLOCKS_PER_SEC;
        buildCpu += static_cast<double>(cpuBuilt - cpuStart) / CLOCKS_PER_SEC;
        state.SetIterationTime(seconds(built - start));
    }
    double const n = static_cast<double>(parts->triangles.size());
    double const runs = static_cast<double>(state.iterations());
    state.counters["triangles"] = n;
    state.counters["triangles/s"] =
        benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate);
    // Processor time beside wall time: on a shared machine it shows the mesh's own cost.
    state.counters["cpu_ns/tri"] = buildCpu / runs / n * 1e9;
    state.counters["destroy_ns/tri"] = destroy / runs / n * 1e9;
    state.counters["destroy_cpu_ns/tri"] = destroyCpu / runs / n * 1e9;
    state.counters["bytes/tri"] = held / runs / n;
    state.counters["allocs/tri"] = allocations / runs / n;
}

// The parts renumbered for interleaved building: vertices in the order triangles first name
// them, and per triangle the count of vertices it names first.
struct InterleavedParts {
    MeshParts parts;
    std::vector<unsigned char> newVertices;
};

std::unique_ptr<InterleavedParts> interleaved(MeshParts &source) {
    auto out = std::make_unique<InterleavedParts>();
    std::vector<std::size_t> position(source.vertices.size(), SIZE_MAX);
    std::size_t count = 0;
    for (auto &t : source.triangles) {
        std::size_t c[3];
        unsigned char fresh = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            std::size_t &p = position[t.vertexIndex(k)];
            if (p == SIZE_MAX) {
                odb::Point3D const &q = *source.vertices[t.vertexIndex(k)].point();
                out->parts.vertex(q.x(), q.y(), q.z());
                p = count++;
                ++fresh;
            }
            c[k] = p;
        }
        out->parts.triangle(c[0], c[1], c[2]);
        out->newVertices.push_back(fresh);
    }
    return out;
}

void buildInterleaved(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::unique_ptr<InterleavedParts> order = interleaved(*parts);
    std::size_t seen = 0;
    for (auto _ : state) {
        std::unique_ptr<odb::Triangulation> mesh = order->parts.buildInterleaved(order->newVertices, seen);
        state.PauseTiming();
        mesh.reset();
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(seen);
    state.counters["triangles/s"] = benchmark::Counter(
        static_cast<double>(parts->triangles.size()), benchmark::Counter::kIsIterationInvariantRate);
}

void adjacent(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::unique_ptr<odb::Triangulation> mesh = parts->build();
    std::size_t const n = parts->vertices.size();
    std::size_t seen = 0;
    for (auto _ : state)
        for (std::size_t v = 0; v < n; ++v) seen += mesh->adjustantTriangles(v).size();
    benchmark::DoNotOptimize(seen);
    state.counters["vertices/s"] =
        benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate);
}

void edgeList(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::unique_ptr<odb::Triangulation> mesh = parts->build();
    std::size_t edges = 0;
    for (auto _ : state) edges = mesh->edgeList().size();
    state.counters["edges/s"] = benchmark::Counter(static_cast<double>(edges),
                                                   benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace

int main(int argc, char **argv) {
    for (char const *name : {"torus-0.1M", "torus-1M", "torus-8M", "bunny00.off",
                             "refined_elephant.off", "env"})
        benchmark::RegisterBenchmark((std::string("Build/") + name).c_str(),
                                     [name](benchmark::State &s) { buildMesh(s, name); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    for (char const *name : {"torus-0.1M", "torus-1M", "bunny00.off"}) {
        benchmark::RegisterBenchmark((std::string("Interleaved/") + name).c_str(),
                                     [name](benchmark::State &s) { buildInterleaved(s, name); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("Adjacent/") + name).c_str(),
                                     [name](benchmark::State &s) { adjacent(s, name); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("EdgeList/") + name).c_str(),
                                     [name](benchmark::State &s) { edgeList(s, name); })
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
