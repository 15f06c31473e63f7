// Inputs and the face-mesh replay shared by the segmentation benchmarks (bench_segmentation
// and the CGAL comparison).
#pragma once

#include "bench_common.h"

#include "BoundingBox3D.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace orvane_bench {

// `tiles` x `tiles` translated copies of `source`, added to `m`.
inline void buildTiledCopy(orvane::OwnedMesh &m, ORVANE_DATABASE::Triangulation &source, int tiles) {
    namespace odb = ORVANE_DATABASE;
    odb::BoundingBox3D const *box = source.getBoundingBox();
    double const step = 1.5 * std::max(box->upper().x() - box->lower().x(), box->upper().y() - box->lower().y());
    for (int tx = 0; tx < tiles; ++tx)
        for (int ty = 0; ty < tiles; ++ty) {
            std::size_t const base = m.mesh().vertexList().size();
            for (odb::Vertex *v : source.vertexList())
                m.addVertex(v->point()->x() + tx * step, v->point()->y() + ty * step, v->point()->z());
            for (odb::Triangle *t : source.triangleList())
                m.addTriangle(base + t->vertexIndex(0), base + t->vertexIndex(1), base + t->vertexIndex(2));
        }
}

// What segmentize delivered for one face: its name, its vertices' points and its triangles.
struct FaceRecipe {
    std::string name;
    std::vector<ORVANE_DATABASE::Point3D *> points;
    std::vector<std::array<std::size_t, 3>> triangles;
};

inline std::vector<FaceRecipe> recipesOf(std::set<ORVANE_DATABASE::Triangulation *> const &faces) {
    std::vector<FaceRecipe> recipes;
    for (ORVANE_DATABASE::Triangulation *f : faces) {
        FaceRecipe r{f->getName(), {}, {}};
        for (ORVANE_DATABASE::Vertex *v : f->vertexList()) r.points.push_back(v->point());
        for (ORVANE_DATABASE::Triangle *t : f->triangleList())
            r.triangles.push_back({t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)});
        recipes.push_back(std::move(r));
    }
    return recipes;
}

// The face meshes of the recipes, made through the public interface as segmentize makes them.
inline void buildFaces(std::vector<FaceRecipe> const &recipes, std::set<ORVANE_DATABASE::Triangulation *> &out) {
    namespace odb = ORVANE_DATABASE;
    for (FaceRecipe const &r : recipes) {
        auto *mesh = new odb::Triangulation();
        for (odb::Point3D *p : r.points) mesh->addVertex(new odb::Vertex(p));
        for (auto const &t : r.triangles) mesh->addTriangle(new odb::Triangle(t[0], t[1], t[2]));
        mesh->setName(r.name);
        out.insert(mesh);
    }
}

} // namespace orvane_bench
