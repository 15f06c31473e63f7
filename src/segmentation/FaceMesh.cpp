#include "segmentation/FaceMesh.h"

#include "OrvaneDatabase.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

namespace ORVANE_DATABASE {

namespace {

std::size_t addVertexFor(Triangulation &mesh, Point3D *p) {
    auto vertex = std::make_unique<Vertex>(p);
    std::size_t const added = mesh.addVertex(vertex.get());
    vertex.release();
    return added;
}

void addTriangleOf(Triangulation &mesh, std::size_t const (&corner)[3]) {
    auto triangle = std::make_unique<Triangle>(corner[0], corner[1], corner[2]);
    mesh.addTriangle(triangle.get());
    triangle.release();
}

}  // namespace

void buildFaceMeshWithMap(std::vector<Vertex *> const &sourceVertices,
                          std::vector<Triangle *> const &face, Triangulation &mesh) {
    // The dead band makes the order non-transitive for points spaced below 1e-9; which earlier
    // point such a point merges with is whatever this map's search finds, so the map (and its
    // insertion order) is kept exactly as it is.
    std::map<Point3D *, int, OrvaneDatabase::LessThan> index;
    for (Triangle *t : face) {
        std::size_t corner[3];
        for (std::size_t c = 0; c < 3; ++c) {
            Point3D *p = sourceVertices[t->vertexIndex(c)]->point();
            auto found = index.find(p);
            if (found == index.end())
                found = index.emplace(p, static_cast<int>(addVertexFor(mesh, p))).first;
            corner[c] = static_cast<std::size_t>(found->second);
        }
        addTriangleOf(mesh, corner);
    }
}

FaceMeshBuilder::FaceMeshBuilder(std::vector<Vertex *> const &sourceVertices, CornerPoints const &points)
    : m_vertices(sourceVertices), m_classes(points),
      m_stamp(m_classes.count(), 0), m_index(m_classes.count(), 0) {}

void FaceMeshBuilder::build(std::vector<Triangle *> const &face, Triangulation &mesh) {
    if (m_classes.anyUnsure())
        for (Triangle *t : face)
            for (std::size_t c = 0; c < 3; ++c)
                if (m_classes.classOf(t->vertexIndex(c)) == PointClasses::kUnsure) {
                    buildFaceMeshWithMap(m_vertices, face, mesh);
                    return;
                }
    if (++m_face == 0) {   // the stamp wrapped round: forget every earlier face
        std::fill(m_stamp.begin(), m_stamp.end(), 0);
        m_face = 1;
    }
    for (Triangle *t : face) {
        std::size_t corner[3];
        for (std::size_t c = 0; c < 3; ++c) {
            std::size_t const v = t->vertexIndex(c);
            PointClasses::Class const k = m_classes.classOf(v);
            if (m_stamp[k] != m_face) {
                m_index[k] = static_cast<std::uint32_t>(addVertexFor(mesh, m_vertices[v]->point()));
                m_stamp[k] = m_face;
            }
            corner[c] = m_index[k];
        }
        addTriangleOf(mesh, corner);
    }
}

}  // namespace ORVANE_DATABASE
