// Same-run comparison of the BSP tree's inside/outside answers with CGAL (Epick).
//
//  - OrvaneBspBuild/<mesh>: Triangulation::BSP() (the tree's release is not timed).
//  - CgalSideBuild/<mesh>: CGAL::Side_of_triangle_mesh over a Surface_mesh of the same
//    triangles: its AABB tree, built by a first query (the Surface_mesh is made beforehand,
//    as the Triangulation is).
//  - OrvaneBspQuery/<mesh>, CgalSideQuery/<mesh>: classifying 4096 random points of the
//    mesh's box (the points of bench_bsp), timed per pass; counters ns_per_point and
//    inside_share, the share answered inside (POS_BELOW, ON_BOUNDED_SIDE).
// All times are thread CPU time (manual time) of the work itself. Run with repetitions and
// --benchmark_enable_random_interleaving=true to interleave the cases.
#include "bench_common.h"

#include "BSPTree.h"
#include "BoundingBox3D.h"
#include "Point3D.h"
#include "Triangulation.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Side_of_triangle_mesh.h>
#include <CGAL/Surface_mesh.h>

#include <benchmark/benchmark.h>

#include <ctime>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using SurfaceMesh = CGAL::Surface_mesh<Kernel::Point_3>;
using Side = CGAL::Side_of_triangle_mesh<SurfaceMesh, Kernel>;

double bspThreadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

struct BspCase {
    std::unique_ptr<orvane::OwnedMesh> mesh;
    SurfaceMesh surface;
    std::vector<odb::Point3D> points;
};

BspCase *bspCase(std::string const &name, std::string &why) {
    static std::map<std::string, std::unique_ptr<BspCase>> loaded;
    if (auto it = loaded.find(name); it != loaded.end()) return it->second.get();
    auto c = std::make_unique<BspCase>();
    c->mesh = orvane_bench::loadBenchMesh(name, &why);
    if (!c->mesh) return nullptr;
    std::vector<SurfaceMesh::Vertex_index> vertices;
    for (std::size_t v = 0; v < c->mesh->vertexCount(); ++v) {
        odb::Point3D const &p = c->mesh->point(v);
        vertices.push_back(c->surface.add_vertex(Kernel::Point_3(p.x(), p.y(), p.z())));
    }
    for (std::size_t t = 0; t < c->mesh->triangleCount(); ++t) {
        odb::Triangle &tri = c->mesh->triangle(t);
        c->surface.add_face(vertices[tri.vertexIndex(0)], vertices[tri.vertexIndex(1)],
                            vertices[tri.vertexIndex(2)]);
    }
    odb::BoundingBox3D const box = *c->mesh->mesh().getBoundingBox();
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(0, 1);
    odb::Vector3D const d = box.diagonal();
    for (int i = 0; i < 4096; ++i)
        c->points.push_back(box.lower() + odb::Vector3D(d.i() * u(rng), d.j() * u(rng), d.k() * u(rng)));
    return (loaded[name] = std::move(c)).get();
}

// The loaded case, or null after marking the benchmark skipped with the reason.
BspCase *bspCaseOrSkip(benchmark::State &state, std::string const &name) {
    std::string why;
    BspCase *c = bspCase(name, why);
    if (!c) state.SkipWithError(why.c_str());
    return c;
}

struct ReleaseBsp {
    void operator()(odb::BSPTree const *t) const {
        if (t) const_cast<odb::BSPTree *>(t)->release();
    }
};

// Times `inside` over all points per pass; counters inside_share and ns_per_point.
template <class Point, class Inside>
void timeQueries(benchmark::State &state, std::vector<Point> const &points, Inside inside) {
    double share = 0, seconds = 0;
    for (auto _ : state) {
        double const start = bspThreadSeconds();
        std::size_t in = 0;
        for (Point const &p : points) in += inside(p) ? 1 : 0;
        double const spent = bspThreadSeconds() - start;
        state.SetIterationTime(spent);
        seconds += spent;
        share = double(in) / double(points.size());
    }
    state.counters["inside_share"] = share;
    state.counters["ns_per_point"] = 1e9 * seconds / double(state.iterations() * points.size());
}

void orvaneBspBuild(benchmark::State &state, std::string const &name) {
    BspCase *c = bspCaseOrSkip(state, name);
    if (!c) return;
    for (auto _ : state) {
        double const start = bspThreadSeconds();
        std::unique_ptr<odb::BSPTree const, ReleaseBsp> tree(c->mesh->mesh().BSP());
        state.SetIterationTime(bspThreadSeconds() - start);
        if (!tree) state.SkipWithError("the tree needs more than 7000 levels");
    }
}

void cgalSideBuild(benchmark::State &state, std::string const &name) {
    BspCase *c = bspCaseOrSkip(state, name);
    if (!c) return;
    for (auto _ : state) {
        double const start = bspThreadSeconds();
        Side side(c->surface);
        odb::Point3D const &p = c->points[0];
        benchmark::DoNotOptimize(side(Kernel::Point_3(p.x(), p.y(), p.z())));
        state.SetIterationTime(bspThreadSeconds() - start);
    }
}

void orvaneBspQuery(benchmark::State &state, std::string const &name) {
    BspCase *c = bspCaseOrSkip(state, name);
    if (!c) return;
    std::unique_ptr<odb::BSPTree const, ReleaseBsp> tree(c->mesh->mesh().BSP());
    if (!tree) {
        state.SkipWithError("the tree needs more than 7000 levels");
        return;
    }
    timeQueries(state, c->points,
                [&](odb::Point3D const &p) { return tree->pointPosition(p) == odb::Plane::POS_BELOW; });
}

void cgalSideQuery(benchmark::State &state, std::string const &name) {
    BspCase *c = bspCaseOrSkip(state, name);
    if (!c) return;
    Side side(c->surface);
    std::vector<Kernel::Point_3> points;
    for (odb::Point3D const &p : c->points) points.emplace_back(p.x(), p.y(), p.z());
    side(points[0]);   // builds the tree
    timeQueries(state, points, [&](Kernel::Point_3 const &p) { return side(p) == CGAL::ON_BOUNDED_SIDE; });
}

void registerBsp() {
    for (char const *name : {"bunny00.off", "elephant.off", "cow.off"}) {
        auto add = [name](char const *label, void (*run)(benchmark::State &, std::string const &)) {
            benchmark::RegisterBenchmark((std::string(label) + "/" + name).c_str(),
                                         [name, run](benchmark::State &s) { run(s, name); })
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        };
        add("OrvaneBspBuild", orvaneBspBuild);
        add("CgalSideBuild", cgalSideBuild);
        add("OrvaneBspQuery", orvaneBspQuery);
        add("CgalSideQuery", cgalSideQuery);
    }
}

int const registered = (registerBsp(), 0);

} // namespace
