// Slicing against CGAL 5.5 in one run: Orvane's Profiler (construction with its cell index,
// plus generateProfile) and CGAL::Polygon_mesh_slicer over a Surface_mesh with the Epick
// kernel (construction, which builds its AABB tree of edges, plus one call per plane), on the
// same real meshes, directions and plane heights.
//
// The planes are the Profiler's: n planes at the centres of n equal slabs tiling the mesh's
// extent along the unit direction (the formula of the Profiler's cutting planes, repeated
// here since they are private). Both sides build their mesh once, untimed; releasing
// Orvane's delivered contours is the caller's cost and is not timed.
//
// Releasing the delivered results ends with settleHeap(), inside the untimed part: glibc
// defers merging the small blocks a release frees until the next large allocation, which
// would otherwise charge the caller's release of Orvane's one heap point per contour point to
// whatever the next iteration allocates first.
//
// Counters: contours and points delivered, and the total contour length, which must agree
// between the two (Orvane counts each polyline's segments; CGAL's closed polylines repeat
// their first point just as Orvane's do). Run with --benchmark_enable_random_interleaving and
// repetitions to interleave the two and compare the medians as ratios.
#include "bench_common.h"

#include "BoundingBox3D.h"
#include "Direction3D.h"
#include "PLC.h"
#include "Point3D.h"
#include "Profiler.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_slicer.h>
#include <CGAL/Surface_mesh.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalMesh = CGAL::Surface_mesh<Kernel::Point_3>;
using Polyline = std::vector<Kernel::Point_3>;

struct Meshes {
    std::unique_ptr<orvane::OwnedMesh> orvane;
    CgalMesh cgal;
};

// The mesh read once through the tool's reader, and the same vertices and triangles as a
// Surface_mesh. Null (with the reason) when the file is absent.
Meshes *meshesFor(std::string const &file, std::string &why) {
    static std::map<std::string, std::unique_ptr<Meshes>> cache;
    auto &m = cache[file];
    if (m) return m.get();
    auto owned = orvane_bench::loadBenchMesh(file, &why);
    if (!owned) {
        cache.erase(file);
        return nullptr;
    }
    m = std::make_unique<Meshes>();
    odb::Triangulation &mesh = owned->mesh();
    std::vector<CgalMesh::Vertex_index> vertex;
    for (odb::Vertex *v : mesh.vertexList()) {
        odb::Point3D const &p = *v->point();
        vertex.push_back(m->cgal.add_vertex(Kernel::Point_3(p.x(), p.y(), p.z())));
    }
    for (odb::Triangle *t : mesh.triangleList())
        m->cgal.add_face(vertex[t->vertexIndex(0)], vertex[t->vertexIndex(1)], vertex[t->vertexIndex(2)]);
    m->orvane = std::move(owned);
    return m.get();
}

// Lets the allocator finish what the release of the previous results started (see above):
// a request of a large block merges the freed small blocks.
void settleHeap() { std::free(std::malloc(4096)); }

// The Profiler's plane distances along the unit direction d (ascending).
std::vector<double> planeDistances(odb::Triangulation &mesh, odb::Vector3D d, int n) {
    d = d * (1.0 / d.magnitude());
    odb::BoundingBox3D const box = *mesh.getBoundingBox();
    odb::Point3D const m = box.centroid();
    double const p0 = m.vector() * d;
    double h = 0.0;
    for (int k = 0; k < 8; ++k)
        h = std::max(h, d * (box.corner(static_cast<odb::BoundingBox3D::_CornerType>(k)).vector() - m.vector()));
    double const s = (h * 2.0) / n;
    std::vector<double> distances;
    for (int k = 0; k < n; ++k) distances.push_back(p0 - h + s * (k + 0.5));
    return distances;
}

void sliceOrvane(benchmark::State &state, std::string const &file, odb::Vector3D direction, int slices) {
    std::string why;
    Meshes *m = meshesFor(file, why);
    if (!m) return state.SkipWithError(why.c_str());
    odb::Direction3D d(direction.i(), direction.j(), direction.k());
    std::size_t contours = 0, points = 0;
    double length = 0.0;
    for (auto _ : state) {
        std::vector<odb::PLC *> out;
        odb::Profiler slicer(&m->orvane->mesh(), &d, slices);
        slicer.generateProfile(out);
        state.PauseTiming();
        contours = out.size();
        points = 0;
        length = 0.0;
        for (odb::PLC *c : out) {
            std::vector<odb::Point3D *> const &p = *c->pointList();
            points += p.size();
            for (std::size_t i = 1; i < p.size(); ++i) length += p[i - 1]->distance(*p[i]);
        }
        orvane_test::releaseContours(out);
        settleHeap();
        state.ResumeTiming();
    }
    state.counters["contours"] = static_cast<double>(contours);
    state.counters["points"] = static_cast<double>(points);
    state.counters["length"] = length;
}

void sliceCgal(benchmark::State &state, std::string const &file, odb::Vector3D direction, int slices) {
    std::string why;
    Meshes *m = meshesFor(file, why);
    if (!m) return state.SkipWithError(why.c_str());
    std::vector<double> const distances = planeDistances(m->orvane->mesh(), direction, slices);
    odb::Vector3D const n = direction * (1.0 / direction.magnitude());
    std::size_t contours = 0, points = 0;
    double length = 0.0;
    for (auto _ : state) {
        std::vector<Polyline> out;
        CGAL::Polygon_mesh_slicer<CgalMesh, Kernel> slicer(m->cgal);
        for (double dist : distances) slicer(Kernel::Plane_3(n.i(), n.j(), n.k(), -dist), std::back_inserter(out));
        state.PauseTiming();
        contours = out.size();
        points = 0;
        length = 0.0;
        for (Polyline const &p : out) {
            points += p.size();
            for (std::size_t i = 1; i < p.size(); ++i) length += std::sqrt(CGAL::squared_distance(p[i - 1], p[i]));
        }
        out.clear();
        settleHeap();
        state.ResumeTiming();
    }
    state.counters["contours"] = static_cast<double>(contours);
    state.counters["points"] = static_cast<double>(points);
    state.counters["length"] = length;
}

void add(std::string const &file, char const *directionName, odb::Vector3D direction, int slices) {
    std::string const tail = "/" + file + "/" + directionName + "/" + std::to_string(slices);
    benchmark::RegisterBenchmark(("SliceOrvane" + tail).c_str(), [=](benchmark::State &state) {
        sliceOrvane(state, file, direction, slices);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("SliceCgal" + tail).c_str(), [=](benchmark::State &state) {
        sliceCgal(state, file, direction, slices);
    })->Unit(benchmark::kMillisecond);
}

int registerAll() {
    odb::Vector3D const z(0, 0, 1), x(1, 0, 0), y(0, 1, 0), diagonal(1, 1, 1);
    add("bunny00.off", "z", z, 1000);
    add("bunny00.off", "x", x, 1000);
    add("bunny00.off", "y", y, 1000);
    add("bunny00.off", "xyz", diagonal, 1000);
    add("bunny00.off", "z", z, 10000);
    add("fandisk.off", "z", z, 1000);
    add("armadillo.off", "z", z, 1000);
    add("elephant.off", "xyz", diagonal, 1000);
    return 0;
}

int const registered = registerAll();

}  // namespace
