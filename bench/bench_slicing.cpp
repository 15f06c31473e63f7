// Slicing throughput: Profiler construction (cell index included) plus generateProfile, on
// real meshes from the mesh folder, along (0, 0, 1) and (1, 1, 1), with 100 and 1000
// slices; growth with triangles (bunny00 subdivided 4-way once and twice: 75 k, 302 k,
// 1.2 M triangles) and with slices (100 to 10000).
//
// Counters:
//  - segments: segments in the delivered contours (points minus one per contour);
//  - segments/s: throughput over construction + slicing, per CPU second;
//  - peak_MB: peak heap above the starting level during construction + slicing (delivered
//    contours included), from a counting operator new;
//  - held_B/seg: heap the slicer still holds after the call once the contours are released
//    (cell index and segment records), per delivered segment;
//  - rss_MB: the process's peak resident set so far (meshes included).
// Releasing the delivered contours is the caller's cost and is not timed (the slicer's own
// destruction is), nor is the merging of the freed blocks that glibc defers to the next large
// allocation. Rates are per CPU second (the machine may be shared).
#include "bench_common.h"

#include "Direction3D.h"
#include "PLC.h"
#include "Point3D.h"
#include "Profiler.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

bool gCounting = false;
std::size_t gLive = 0;
std::size_t gPeak = 0;

}  // namespace

// Heap accounting for peak_MB and held_B/seg, switched on for one untimed pass whose
// allocations are all released within it (the library's allocations come through here too:
// the global allocation functions are replaced process-wide).
void *operator new(std::size_t n) {
    void *p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    if (gCounting) {
        gLive += malloc_usable_size(p);
        if (gLive > gPeak) gPeak = gLive;
    }
    return p;
}
namespace {
void release(void *p) {
    if (!p) return;
    if (gCounting) gLive -= std::min(gLive, malloc_usable_size(p));
    std::free(p);
}
}  // namespace
void operator delete(void *p) noexcept { release(p); }
void operator delete(void *p, std::size_t) noexcept { release(p); }

namespace {

namespace odb = ORVANE_DATABASE;
using Mesh = orvane::OwnedMesh;
using orvane_test::releaseContours;

// 4-way midpoint subdivision of `source` into `m` (orientation kept, midpoints shared).
void subdivide(odb::Triangulation &source, Mesh &m) {
    for (odb::Vertex *v : source.vertexList()) m.addVertex(v->point()->x(), v->point()->y(), v->point()->z());
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> mids;
    auto mid = [&](std::size_t a, std::size_t b) {
        auto key = std::minmax(a, b);
        auto it = mids.find(key);
        if (it != mids.end()) return it->second;
        std::vector<odb::Vertex *> const &vertices = m.mesh().vertexList();
        odb::Point3D const mid = vertices[a]->point()->mid(*vertices[b]->point());
        std::size_t v = m.addVertex(mid.x(), mid.y(), mid.z());
        mids.emplace(key, v);
        return v;
    };
    for (odb::Triangle *t : source.triangleList()) {
        std::size_t a = t->vertexIndex(0), b = t->vertexIndex(1), c = t->vertexIndex(2);
        std::size_t ab = mid(a, b), bc = mid(b, c), ca = mid(c, a);
        m.addTriangle(a, ab, ca);
        m.addTriangle(ab, b, bc);
        m.addTriangle(ca, bc, c);
        m.addTriangle(ab, bc, ca);
    }
}

// Meshes by (file, subdivision level), read once.
odb::Triangulation *meshFor(std::string const &file, int level, std::string &why) {
    static std::map<std::pair<std::string, int>, std::unique_ptr<Mesh>> built;
    static std::map<std::string, std::unique_ptr<orvane::OwnedMesh>> read;
    auto key = std::make_pair(file, level);
    if (auto it = built.find(key); it != built.end()) return &it->second->mesh();
    if (level == 0) {
        auto &owned = read[file];
        if (!owned) owned = orvane_bench::loadBenchMesh(file, &why);
        if (!owned) {
            read.erase(file);
            return nullptr;
        }
        return &owned->mesh();
    }
    odb::Triangulation *coarser = meshFor(file, level - 1, why);
    if (!coarser) return nullptr;
    auto m = std::make_unique<Mesh>();
    subdivide(*coarser, *m);
    return &(built[key] = std::move(m))->mesh();
}

void runSlicing(benchmark::State &state, std::string const &file, int level, odb::Direction3D direction,
                int slices) {
    std::string why;
    odb::Triangulation *mesh = meshFor(file, level, why);
    if (!mesh) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::size_t segments = 0, contours = 0, peak = 0, held = 0;
    {
        gLive = gPeak = 0;
        gCounting = true;
        std::vector<odb::PLC *> out;
        {
            odb::Profiler slicer(mesh, &direction, slices);
            slicer.generateProfile(out);
            peak = gPeak;
            for (odb::PLC *c : out) segments += c->pointList()->size() - 1;
            contours = out.size();
            releaseContours(out);
            held = gLive;
        }
        std::vector<odb::PLC *>().swap(out);
        gCounting = false;
    }
    for (auto _ : state) {
        std::vector<odb::PLC *> out;
        odb::Profiler slicer(mesh, &direction, slices);
        slicer.generateProfile(out);
        state.PauseTiming();
        releaseContours(out);
        // glibc merges the small blocks a release frees only at the next large allocation;
        // one here keeps the caller's release out of the next iteration's timing.
        std::free(std::malloc(4096));
        state.ResumeTiming();
    }
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    double const n = static_cast<double>(segments);
    state.counters["triangles"] = static_cast<double>(mesh->triangleList().size());
    state.counters["contours"] = static_cast<double>(contours);
    state.counters["segments"] = n;
    state.counters["segments/s"] = benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_MB"] = static_cast<double>(peak) / (1 << 20);
    state.counters["held_B/seg"] = segments ? static_cast<double>(held) / n : 0.0;
    state.counters["rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void add(std::string const &file, int level, char const *directionName, odb::Direction3D direction, int slices) {
    std::string name = "Slice/" + file + (level ? "/x" + std::to_string(1 << (2 * level)) : "") + "/" +
                       directionName + "/" + std::to_string(slices);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        runSlicing(state, file, level, direction, slices);
    })->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char **argv) {
    odb::Direction3D const z(0, 0, 1), diagonal(1, 1, 1);
    for (char const *file : {"bunny00.off", "armadillo.off", "fandisk.off", "elephant.off"})
        for (int slices : {100, 1000}) {
            add(file, 0, "z", z, slices);
            add(file, 0, "xyz", diagonal, slices);
        }
    // Growth with triangles (bunny00 at 1x, 4x, 16x) and with slices.
    for (int level : {1, 2})
        for (int slices : {100, 1000}) {
            add("bunny00.off", level, "z", z, slices);
            add("bunny00.off", level, "xyz", diagonal, slices);
        }
    for (int slices : {3000, 10000}) {
        add("bunny00.off", 0, "z", z, slices);
        add("bunny00.off", 0, "xyz", diagonal, slices);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
