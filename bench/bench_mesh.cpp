// Mesh construction and BSP tree throughput.
//
//  - Build/<mesh>: a Triangulation filled with addVertex and addTriangle (edge sharing and the
//    vertex-to-triangle table included, mesh destruction excluded); counter triangles/s. The
//    Vertex and Triangle objects are made once, outside the timing, as a host would own them.
//  - BspBuild/<mesh>: Triangulation::BSP() on a closed mesh; BspQuery/<mesh>: pointPosition
//    of random points in the mesh's box; counters triangles, queries/s.
// Meshes: a generated torus grid (2 M triangles) and UV sphere, and real meshes from the mesh
// folder when the model reader is built (otherwise those cases are skipped).
#include "BSPTree.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#if __has_include("model_io.h")
#include "bench_common.h"
#define ORVANE_BENCH_HAS_READER 1
#endif

#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;

// The vertices and triangles of a mesh, owned here, ready to be handed to a Triangulation.
struct MeshParts {
    std::vector<std::unique_ptr<odb::Vertex>> vertices;
    std::vector<std::unique_ptr<odb::Triangle>> triangles;
    void vertex(double x, double y, double z) {
        vertices.push_back(std::make_unique<odb::Vertex>(new odb::Point3D(x, y, z)));
    }
    void triangle(std::size_t a, std::size_t b, std::size_t c) {
        triangles.push_back(std::make_unique<odb::Triangle>(a, b, c));
    }
    // Fills a new mesh; the parts must outlive it.
    std::unique_ptr<odb::Triangulation> build() {
        auto mesh = std::make_unique<odb::Triangulation>();
        for (auto &v : vertices) mesh->addVertex(v.get());
        for (auto &t : triangles) mesh->addTriangle(t.get());
        return mesh;
    }
};

// Closed torus grid of n x n quads (2 n^2 triangles), every vertex of valence six.
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

// Closed UV sphere with outward triangles: 2 * segments * (rings - 1) triangles.
std::unique_ptr<MeshParts> sphere(int rings, int segments) {
    auto parts = std::make_unique<MeshParts>();
    double const pi = 3.14159265358979323846;
    parts->vertex(0, 0, 1);
    for (int r = 1; r < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            double const phi = pi * r / rings, th = 2 * pi * s / segments;
            double const r = std::sin(phi);
            parts->vertex(r * std::cos(th), r * std::sin(th), std::cos(phi));
        }
    parts->vertex(0, 0, -1);
    std::size_t const bottom = parts->vertices.size() - 1;
    auto ring = [&](int r, int s) { return std::size_t(1 + (r - 1) * segments + s % segments); };
    for (int s = 0; s < segments; ++s) parts->triangle(0, ring(1, s), ring(1, s + 1));
    for (int r = 1; r + 1 < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            parts->triangle(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
            parts->triangle(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
        }
    for (int s = 0; s < segments; ++s)
        parts->triangle(bottom, ring(rings - 1, s + 1), ring(rings - 1, s));
    return parts;
}

// Parts by name, made once: "torus", "sphere" or a file of the mesh folder (read with the
// model reader and copied, so that every case times the same kind of objects).
MeshParts *partsFor(std::string const &name, std::string &why) {
    static std::map<std::string, std::unique_ptr<MeshParts>> made;
    if (auto it = made.find(name); it != made.end()) return it->second.get();
    std::unique_ptr<MeshParts> parts;
    if (name == "torus") {
        parts = torus(1000);
    } else if (name == "sphere") {
        parts = sphere(40, 40);
    } else {
#ifdef ORVANE_BENCH_HAS_READER
        auto owned = orvane_bench::loadBenchMesh(name, &why);
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

void buildMesh(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    for (auto _ : state) {
        std::unique_ptr<odb::Triangulation> mesh = parts->build();
        benchmark::DoNotOptimize(mesh.get());
        state.PauseTiming();
        mesh.reset();
        state.ResumeTiming();
    }
    double const n = static_cast<double>(parts->triangles.size());
    state.counters["triangles"] = n;
    state.counters["triangles/s"] =
        benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate);
}

void bspBuild(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::unique_ptr<odb::Triangulation> mesh = parts->build();
    for (auto _ : state) {
        odb::BSPTree *tree = const_cast<odb::BSPTree *>(mesh->BSP());
        if (!tree) {
            state.SkipWithError("the tree needs more than 7000 levels");
            break;
        }
        state.PauseTiming();
        tree->release();
        state.ResumeTiming();
    }
    state.counters["triangles"] = static_cast<double>(parts->triangles.size());
}

void bspQuery(benchmark::State &state, std::string const &name) {
    std::string why;
    MeshParts *parts = partsFor(name, why);
    if (!parts) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::unique_ptr<odb::Triangulation> mesh = parts->build();
    std::unique_ptr<odb::BSPTree, void (*)(odb::BSPTree *)> tree(
        const_cast<odb::BSPTree *>(mesh->BSP()), [](odb::BSPTree *t) { if (t) t->release(); });
    if (!tree) {
        state.SkipWithError("the tree needs more than 7000 levels");
        return;
    }
    odb::BoundingBox3D const box = *mesh->getBoundingBox();
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(0, 1);
    std::vector<odb::Point3D> points;
    odb::Vector3D const d = box.diagonal();
    for (int i = 0; i < 4096; ++i)
        points.push_back(box.lower() +
                         odb::Vector3D(d.i() * u(rng), d.j() * u(rng), d.k() * u(rng)));
    std::size_t i = 0, inside = 0;
    for (auto _ : state) {
        odb::Plane::_Pos const p = tree->pointPosition(points[i++ & 4095]);
        inside += p == odb::Plane::POS_BELOW;
        benchmark::DoNotOptimize(p);
    }
    state.counters["triangles"] = static_cast<double>(parts->triangles.size());
    state.counters["queries/s"] =
        benchmark::Counter(1, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["inside_share"] =
        static_cast<double>(inside) / static_cast<double>(state.iterations());
}

}  // namespace

int main(int argc, char **argv) {
    for (char const *name : {"torus", "bunny00.off", "refined_elephant.off"})
        benchmark::RegisterBenchmark((std::string("Build/") + name).c_str(),
                                     [name](benchmark::State &s) { buildMesh(s, name); })
            ->Unit(benchmark::kMillisecond);
    for (char const *name : {"sphere", "elephant.off", "cow.off"}) {
        benchmark::RegisterBenchmark((std::string("BspBuild/") + name).c_str(),
                                     [name](benchmark::State &s) { bspBuild(s, name); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("BspQuery/") + name).c_str(),
                                     [name](benchmark::State &s) { bspQuery(s, name); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
