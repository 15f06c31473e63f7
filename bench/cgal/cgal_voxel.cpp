// Same-run comparison of the voxel marking with CGAL (Epick).
//
//  - OrvaneVoxel/<mesh>/<n>: Voxelization::voxelize(vertices, quads) over an n^3 grid: the
//    marking and the quads; counters mark_ms and quads_ms split it by the progress messages,
//    cells counts the marked cells.
//  - CgalVoxelTree/<mesh>/<n>: the same grid marked with CGAL: an AABB tree over the
//    triangles, then the tree's do_intersect with the box of every candidate cell (the cells
//    of every triangle's index box, each tested once); tree build included.
//  - CgalVoxel/<mesh>/<n>: the same grid marked with CGAL the way the kernel does it: for each
//    triangle, CGAL::do_intersect of the triangle and each not yet marked cell of its index
//    box. Counter cells.
// Both CGAL cases start from the same mesh objects as the kernel (reading the corners
// through the Vertex objects into CGAL triangles is part of their time).
// All times are thread CPU time of the work itself (manual time), so that neither the
// mesh's construction and destruction nor other work on a shared machine enters them. The
// kernel's tolerances and CGAL's exact predicates may disagree on cells the surface only
// grazes; the cell counters show how far. Run with repetitions and
// --benchmark_enable_random_interleaving=true to interleave the cases.
#include "bench_common.h"

#include "Feedback.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalTriangle = Kernel::Triangle_3;
using TriangleList = std::vector<CgalTriangle>;
using Primitive = CGAL::AABB_triangle_primitive<Kernel, TriangleList::const_iterator>;
using Tree = CGAL::AABB_tree<CGAL::AABB_traits<Kernel, Primitive>>;

orvane::OwnedMesh *voxelMesh(std::string const &name, std::string &why) {
    static std::map<std::string, std::unique_ptr<orvane::OwnedMesh>> loaded;
    if (auto it = loaded.find(name); it != loaded.end()) return it->second.get();
    auto mesh = orvane_bench::loadBenchMesh(name, &why);
    if (!mesh) return nullptr;
    return (loaded[name] = std::move(mesh)).get();
}

double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

struct StageTimes : odb::Feedback {
    std::map<std::string, double> at;
    void progressMessage(std::string message, int, int) override { at[message] = threadSeconds(); }
    void progressValue(int) override {}
};

void orvaneVoxel(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *owner = voxelMesh(name, why);
    if (!owner) {
        state.SkipWithError(why.c_str());
        return;
    }
    std::size_t const n = std::size_t(state.range(0));
    double mark = 0, quads = 0, cells = 0;
    for (auto _ : state) {
        auto *mesh = new odb::Triangulation();   // the voxelizer destroys it
        for (odb::Vertex *v : owner->mesh().vertexList()) mesh->addVertex(v);
        for (odb::Triangle *t : owner->mesh().triangleList()) mesh->addTriangle(t);
        StageTimes times;
        std::vector<odb::Vertex *> vertices;
        std::vector<std::size_t> indices;
        {
            odb::Voxelization voxels(mesh, n, n, n, &times);
            double const start = threadSeconds();
            voxels.voxelize(vertices, indices);
            state.SetIterationTime(threadSeconds() - start);
        }
        mark += times.at["Marking Voxels done."] - times.at["\nMarking Voxels..."];
        quads += times.at["Creating Quads done."] - times.at["Creating Quads..."];
        cells = double(indices.size() / 24);
        for (odb::Vertex *v : vertices) delete v;
    }
    state.counters["mark_ms"] = 1e3 * mark / double(state.iterations());
    state.counters["quads_ms"] = 1e3 * quads / double(state.iterations());
    state.counters["cells"] = cells;
}

// The mesh's triangles for CGAL, read from the same mesh objects the kernel reads (a part of
// the timed work, as it is for the kernel), and the grid over their box.
struct CgalGrid {
    TriangleList triangles;
    double lo[3] = {0, 0, 0}, size[3] = {0, 0, 0};
    std::size_t n = 0;

    CgalGrid(orvane::OwnedMesh &owner, std::size_t cells) : n(cells) {
        triangles.reserve(owner.triangleCount());
        double hi[3] = {0, 0, 0};
        for (std::size_t t = 0; t < owner.triangleCount(); ++t) {
            odb::Triangle &tri = owner.triangle(t);
            Kernel::Point_3 p[3];
            for (int c = 0; c < 3; ++c) {
                odb::Point3D const &q = owner.point(tri.vertexIndex(std::size_t(c)));
                p[c] = Kernel::Point_3(q.x(), q.y(), q.z());
                double const v[3] = {q.x(), q.y(), q.z()};
                for (int a = 0; a < 3; ++a) {
                    lo[a] = t == 0 && c == 0 ? v[a] : std::min(lo[a], v[a]);
                    hi[a] = t == 0 && c == 0 ? v[a] : std::max(hi[a], v[a]);
                }
            }
            triangles.emplace_back(p[0], p[1], p[2]);
        }
        for (int a = 0; a < 3; ++a) size[a] = (hi[a] - lo[a]) / double(n);
    }
    std::size_t index(double v, int a) const {
        double const q = (v - lo[a]) / size[a];
        return q < 1 ? std::size_t(0) : q >= double(n) ? n - 1 : std::size_t(q);
    }
    CGAL::Bbox_3 cell(std::size_t i, std::size_t j, std::size_t k) const {
        return CGAL::Bbox_3(lo[0] + double(i) * size[0], lo[1] + double(j) * size[1],
                            lo[2] + double(k) * size[2], lo[0] + double(i + 1) * size[0],
                            lo[1] + double(j + 1) * size[1], lo[2] + double(k + 1) * size[2]);
    }
    // Calls f(i, j, k) for the cells of the index box of triangle t.
    template <class F>
    void forIndexBox(CgalTriangle const &t, F &&f) const {
        CGAL::Bbox_3 const b = t.bbox();
        for (std::size_t i = index(b.xmin(), 0), i1 = index(b.xmax(), 0); i <= i1; ++i)
            for (std::size_t j = index(b.ymin(), 1), j1 = index(b.ymax(), 1); j <= j1; ++j)
                for (std::size_t k = index(b.zmin(), 2), k1 = index(b.zmax(), 2); k <= k1; ++k)
                    f(i, j, k);
    }
};

void cgalVoxelTree(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *owner = voxelMesh(name, why);
    if (!owner) {
        state.SkipWithError(why.c_str());
        return;
    }
    double cells = 0;
    for (auto _ : state) {
        double const start = threadSeconds();
        CgalGrid const grid(*owner, std::size_t(state.range(0)));
        std::size_t const n = grid.n;
        Tree tree(grid.triangles.begin(), grid.triangles.end());
        std::vector<unsigned char> marks(n * n * n, 0);   // 1: candidate, 2: marked
        for (CgalTriangle const &t : grid.triangles)
            grid.forIndexBox(t, [&](std::size_t i, std::size_t j, std::size_t k) { marks[(i * n + j) * n + k] = 1; });
        std::size_t marked = 0;
        for (std::size_t c = 0; c < marks.size(); ++c) {
            if (marks[c] == 0) continue;
            if (tree.do_intersect(grid.cell(c / (n * n), c / n % n, c % n))) {
                marks[c] = 2;
                ++marked;
            }
        }
        benchmark::DoNotOptimize(marks.data());
        state.SetIterationTime(threadSeconds() - start);
        cells = double(marked);
    }
    state.counters["cells"] = cells;
}

void cgalVoxel(benchmark::State &state, std::string const &name) {
    std::string why;
    orvane::OwnedMesh *owner = voxelMesh(name, why);
    if (!owner) {
        state.SkipWithError(why.c_str());
        return;
    }
    double cells = 0;
    for (auto _ : state) {
        double const start = threadSeconds();
        CgalGrid const grid(*owner, std::size_t(state.range(0)));
        std::size_t const n = grid.n;
        std::vector<unsigned char> marks(n * n * n, 0);
        std::size_t marked = 0;
        for (CgalTriangle const &t : grid.triangles)
            grid.forIndexBox(t, [&](std::size_t i, std::size_t j, std::size_t k) {
                unsigned char &m = marks[(i * n + j) * n + k];
                if (m == 0 && CGAL::do_intersect(t, grid.cell(i, j, k))) {
                    m = 1;
                    ++marked;
                }
            });
        benchmark::DoNotOptimize(marks.data());
        state.SetIterationTime(threadSeconds() - start);
        cells = double(marked);
    }
    state.counters["cells"] = cells;
}

void registerVoxel() {
    for (char const *name : {"armadillo.off", "bunny00.off"}) {
        benchmark::RegisterBenchmark((std::string("OrvaneVoxel/") + name).c_str(),
                                     [name](benchmark::State &s) { orvaneVoxel(s, name); })
            ->Arg(64)->Arg(256)->UseManualTime()->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("CgalVoxel/") + name).c_str(),
                                     [name](benchmark::State &s) { cgalVoxel(s, name); })
            ->Arg(64)->Arg(256)->UseManualTime()->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("CgalVoxelTree/") + name).c_str(),
                                     [name](benchmark::State &s) { cgalVoxelTree(s, name); })
            ->Arg(64)->Arg(256)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
}

int const registered = (registerVoxel(), 0);

} // namespace
