// BSP tree throughput on closed meshes, through the mesh's own accessor Triangulation::BSP()
// (depth limit 7000):
//  - BspBuild/<mesh>: building the tree (its release is not timed); counter triangles.
//  - BspRelease/<mesh>: releasing a built tree (manual time, five iterations).
//  - BspQuery/<mesh>: pointPosition of 4096 random points in the mesh's box, cycled;
//    counters queries/s and inside_share (the share answered POS_BELOW).
// Meshes: a generated UV sphere and real meshes from the mesh folder (skipped when absent).
#include "bench_common.h"

#include "BSPTree.h"
#include "BoundingBox3D.h"
#include "Point3D.h"
#include "Triangulation.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;

struct ReleaseTree {
    void operator()(odb::BSPTree const *t) const {
        if (t) const_cast<odb::BSPTree *>(t)->release();
    }
};
using Tree = std::unique_ptr<odb::BSPTree const, ReleaseTree>;

// Closed UV sphere with outward triangles: 2 * segments * (rings - 1) triangles.
std::unique_ptr<orvane::OwnedMesh> uvSphere(int rings, int segments) {
    auto mesh = std::make_unique<orvane::OwnedMesh>();
    double const pi = 3.14159265358979323846;
    mesh->addVertex(0, 0, 1);
    for (int r = 1; r < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            double const phi = pi * r / rings, theta = 2 * pi * s / segments;
            mesh->addVertex(std::sin(phi) * std::cos(theta), std::sin(phi) * std::sin(theta),
                            std::cos(phi));
        }
    std::size_t const bottom = mesh->addVertex(0, 0, -1);
    auto ring = [&](int r, int s) { return std::size_t(1 + (r - 1) * segments + s % segments); };
    for (int s = 0; s < segments; ++s) mesh->addTriangle(0, ring(1, s), ring(1, s + 1));
    for (int r = 1; r + 1 < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            mesh->addTriangle(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
            mesh->addTriangle(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
        }
    for (int s = 0; s < segments; ++s)
        mesh->addTriangle(bottom, ring(rings - 1, s + 1), ring(rings - 1, s));
    return mesh;
}

// Meshes by name, read once: "sphere" or a file of the mesh folder.
orvane::OwnedMesh *meshFor(std::string const &name, std::string &why) {
    static std::map<std::string, std::unique_ptr<orvane::OwnedMesh>> loaded;
    if (auto it = loaded.find(name); it != loaded.end()) return it->second.get();
    std::unique_ptr<orvane::OwnedMesh> mesh =
        name == "sphere" ? uvSphere(40, 40) : orvane_bench::loadBenchMesh(name, &why);
    if (!mesh) return nullptr;
    return (loaded[name] = std::move(mesh)).get();
}

void bspBuild(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *mesh = meshFor(name, why);
    if (!mesh) {
        state.SkipWithError(why.c_str());
        return;
    }
    for (auto _ : state) {
        Tree tree(mesh->mesh().BSP());
        if (!tree) {
            state.SkipWithError("the tree needs more than 7000 levels");
            break;
        }
        state.PauseTiming();
        tree.reset();
        state.ResumeTiming();
    }
    state.counters["triangles"] = double(mesh->triangleCount());
}

void bspRelease(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *mesh = meshFor(name, why);
    if (!mesh) {
        state.SkipWithError(why.c_str());
        return;
    }
    // Manual time: pausing the clock around each build would make the framework run
    // thousands of untimed builds to fill its minimum time.
    for (auto _ : state) {
        Tree tree(mesh->mesh().BSP());
        if (!tree) {
            state.SkipWithError("the tree needs more than 7000 levels");
            break;
        }
        auto const start = std::chrono::steady_clock::now();
        tree.reset();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

void bspQuery(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *mesh = meshFor(name, why);
    if (!mesh) {
        state.SkipWithError(why.c_str());
        return;
    }
    Tree tree(mesh->mesh().BSP());
    if (!tree) {
        state.SkipWithError("the tree needs more than 7000 levels");
        return;
    }
    odb::BoundingBox3D const box = *mesh->mesh().getBoundingBox();
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(0, 1);
    std::vector<odb::Point3D> points;
    odb::Vector3D const d = box.diagonal();
    for (int i = 0; i < 4096; ++i)
        points.push_back(box.lower() + odb::Vector3D(d.i() * u(rng), d.j() * u(rng), d.k() * u(rng)));
    std::size_t i = 0, inside = 0;
    for (auto _ : state) {
        odb::Plane::_Pos const p = tree->pointPosition(points[i++ & 4095]);
        inside += p == odb::Plane::POS_BELOW;
        benchmark::DoNotOptimize(p);
    }
    state.counters["triangles"] = double(mesh->triangleCount());
    state.counters["queries/s"] = benchmark::Counter(1, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["inside_share"] = double(inside) / double(state.iterations());
}

} // namespace

int main(int argc, char **argv) {
    for (char const *name : {"sphere", "bunny00.off", "elephant.off", "cow.off"}) {
        benchmark::RegisterBenchmark((std::string("BspBuild/") + name).c_str(),
                                     [name](benchmark::State &s) { bspBuild(s, name); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("BspRelease/") + name).c_str(),
                                     [name](benchmark::State &s) { bspRelease(s, name); })
            ->UseManualTime()
            ->Iterations(5)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("BspQuery/") + name).c_str(),
                                     [name](benchmark::State &s) { bspQuery(s, name); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
