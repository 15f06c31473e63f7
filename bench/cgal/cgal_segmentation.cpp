// Segmentation against CGAL in the same run: CGAL 5's sharp-edge detection and patch
// labelling (Polygon_mesh_processing::detect_sharp_edges, then connected_components across
// edges that are not sharp) on a Surface_mesh, next to Orvane's segmentize and to the part of
// segmentize that CGAL does not do: making one Triangulation per face (its vertices,
// triangles and shared edges) through the public interface.
//
// Meshes: fandisk.off from the mesh folder, tiled 1 x 1 and 4 x 4 (13 k and 207 k
// triangles). Angle 30 degrees. Compare times as ratios within one run.
#include "bench_common.h"

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

// fandisk tiled `tiles` x `tiles` times (translated copies), or null with the reason.
std::unique_ptr<orvane::OwnedMesh> tiledFandisk(int tiles, std::string &why) {
    auto part = orvane_bench::loadBenchMesh("fandisk.off", &why);
    if (!part) return nullptr;
    auto m = std::make_unique<orvane::OwnedMesh>();
    odb::BoundingBox3D const *box = part->mesh().getBoundingBox();
    double const step = 1.5 * std::max(box->upper().x() - box->lower().x(), box->upper().y() - box->lower().y());
    for (int tx = 0; tx < tiles; ++tx)
        for (int ty = 0; ty < tiles; ++ty) {
            std::size_t const base = m->mesh().vertexList().size();
            for (odb::Vertex *v : part->mesh().vertexList())
                m->addVertex(v->point()->x() + tx * step, v->point()->y() + ty * step, v->point()->z());
            for (odb::Triangle *t : part->mesh().triangleList())
                m->addTriangle(base + t->vertexIndex(0), base + t->vertexIndex(1), base + t->vertexIndex(2));
        }
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
    std::string why;
    auto m = tiledFandisk(static_cast<int>(state.range(0)), why);
    if (!m) {
        state.SkipWithError(why.c_str());
        return;
    }
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
    std::string why;
    auto m = tiledFandisk(static_cast<int>(state.range(0)), why);
    if (!m) {
        state.SkipWithError(why.c_str());
        return;
    }
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
    std::string why;
    auto m = tiledFandisk(static_cast<int>(state.range(0)), why);
    if (!m) {
        state.SkipWithError(why.c_str());
        return;
    }
    struct Recipe {
        std::string name;
        std::vector<odb::Point3D *> points;
        std::vector<std::array<std::size_t, 3>> triangles;
    };
    std::vector<Recipe> recipes;
    {
        std::set<odb::Triangulation *> faces;
        odb::Segmentation(&m->mesh(), kAngle).segmentize(faces);
        for (odb::Triangulation *f : faces) {
            Recipe r{f->getName(), {}, {}};
            for (odb::Vertex *v : f->vertexList()) r.points.push_back(v->point());
            for (odb::Triangle *t : f->triangleList()) r.triangles.push_back({t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)});
            recipes.push_back(std::move(r));
        }
        orvane_test::releaseFaces(faces);
    }
    for (auto _ : state) {
        std::set<odb::Triangulation *> out;
        for (Recipe const &r : recipes) {
            auto *mesh = new odb::Triangulation();
            for (odb::Point3D *p : r.points) mesh->addVertex(new odb::Vertex(p));
            for (auto const &t : r.triangles) mesh->addTriangle(new odb::Triangle(t[0], t[1], t[2]));
            mesh->setName(r.name);
            out.insert(mesh);
        }
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
