// Segmentation against CGAL in the same run: CGAL 5's sharp-edge detection and patch
// labelling (Polygon_mesh_processing::detect_sharp_edges, then connected_components across
// edges that are not sharp) on a Surface_mesh, next to Orvane's segmentize and to the part of
// segmentize that CGAL does not do: making one Triangulation per face (its vertices,
// triangles and shared edges) through the public interface.
//
// Meshes: fandisk.off from the mesh folder, tiled 1 x 1 and 4 x 4 (13 k and 207 k
// triangles). Angle 30 degrees. Compare times as ratios within one run.
#include "bench_common.h"
#include "segmentation_bench.h"

#include "Point3D.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/connected_components.h>
#include <CGAL/Polygon_mesh_processing/detect_features.h>
#include <CGAL/Surface_mesh.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

namespace odb = ORVANE_DATABASE;
namespace pmp = CGAL::Polygon_mesh_processing;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using SurfaceMesh = CGAL::Surface_mesh<Kernel::Point_3>;

constexpr double kAngle = 30.0;

// fandisk tiled state.range(0) x state.range(0) times (translated copies), or null after
// marking the benchmark skipped with the reason.
std::unique_ptr<orvane::OwnedMesh> tiledFandisk(benchmark::State &state) {
    std::string why;
    auto part = orvane_bench::loadBenchMesh("fandisk.off", &why);
    if (!part) {
        state.SkipWithError(why.c_str());
        return nullptr;
    }
    auto m = std::make_unique<orvane::OwnedMesh>();
    orvane_bench::buildTiledCopy(*m, part->mesh(), static_cast<int>(state.range(0)));
    return m;
}

SurfaceMesh surfaceMeshOf(odb::Triangulation &mesh) {
    SurfaceMesh sm;
    std::vector<SurfaceMesh::Vertex_index> vertex;
    for (odb::Vertex *v : mesh.vertexList())
        vertex.push_back(sm.add_vertex(Kernel::Point_3(v->point()->x(), v->point()->y(), v->point()->z())));
    for (odb::Triangle *t : mesh.triangleList())
        sm.add_face(vertex[t->vertexIndex(0)], vertex[t->vertexIndex(1)], vertex[t->vertexIndex(2)]);
    return sm;
}

void counters(benchmark::State &state, std::size_t faces, std::size_t triangles) {
    state.counters["faces"] = static_cast<double>(faces);
    state.counters["triangles"] = static_cast<double>(triangles);
    state.counters["triangles/s"] =
        benchmark::Counter(static_cast<double>(triangles), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_SegmentationCgalSharpPatches(benchmark::State &state) {
    auto m = tiledFandisk(state);
    if (!m) return;
    SurfaceMesh sm = surfaceMeshOf(m->mesh());
    auto sharp = sm.add_property_map<SurfaceMesh::Edge_index, bool>("e:sharp", false).first;
    auto patch = sm.add_property_map<SurfaceMesh::Face_index, std::size_t>("f:patch", 0).first;
    std::size_t patches = 0;
    for (auto _ : state) {
        for (SurfaceMesh::Edge_index e : sm.edges()) sharp[e] = false;
        pmp::detect_sharp_edges(sm, kAngle, sharp);
        patches = pmp::connected_components(sm, patch, CGAL::parameters::edge_is_constrained_map(sharp));
        benchmark::DoNotOptimize(patches);
    }
    counters(state, patches, sm.number_of_faces());
}

void BM_SegmentationOrvaneSegmentize(benchmark::State &state) {
    auto m = tiledFandisk(state);
    if (!m) return;
    odb::Segmentation segmentation(&m->mesh(), kAngle);
    std::size_t faces = 0;
    for (auto _ : state) {
        std::set<odb::Triangulation *> out;
        segmentation.segmentize(out);
        faces = out.size();
        state.PauseTiming();
        orvane_test::releaseFaces(out);
        state.ResumeTiming();
    }
    counters(state, faces, m->mesh().triangleList().size());
}

// The face meshes alone, rebuilt from a recorded segmentize result.
void BM_SegmentationOrvaneFaceMeshesOnly(benchmark::State &state) {
    auto m = tiledFandisk(state);
    if (!m) return;
    std::vector<orvane_bench::FaceRecipe> recipes;
    {
        std::set<odb::Triangulation *> faces;
        odb::Segmentation(&m->mesh(), kAngle).segmentize(faces);
        recipes = orvane_bench::recipesOf(faces);
        orvane_test::releaseFaces(faces);
    }
    for (auto _ : state) {
        std::set<odb::Triangulation *> out;
        orvane_bench::buildFaces(recipes, out);
        state.PauseTiming();
        orvane_test::releaseFaces(out);
        state.ResumeTiming();
    }
    counters(state, recipes.size(), m->mesh().triangleList().size());
}

}  // namespace

BENCHMARK(BM_SegmentationCgalSharpPatches)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SegmentationOrvaneSegmentize)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SegmentationOrvaneFaceMeshesOnly)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
