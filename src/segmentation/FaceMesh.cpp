#include "segmentation/FaceMesh.h"

#include "OrvaneDatabase.h"
#include "segmentation/CornerPoints.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

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
    : m_vertices(sourceVertices) {
    PointClasses const classes(points);
    m_anyUnsure = classes.anyUnsure();
    m_corner.resize(points.vertexCount());
    for (std::size_t v = 0; v < points.vertexCount(); ++v)
        if (points.used(v)) m_corner[v] = {sourceVertices[v]->point(), classes.classOf(v)};
    m_class.resize(classes.count());
}

void FaceMeshBuilder::build(std::vector<Triangle *> const &face, Triangulation &mesh) {
    if (m_anyUnsure)
        for (Triangle *t : face)
            for (std::size_t c = 0; c < 3; ++c)
                if (m_corner[t->vertexIndex(c)].cls == PointClasses::kUnsure) {
                    buildFaceMeshWithMap(m_vertices, face, mesh);
                    return;
                }
    if (++m_face == 0) {   // the stamp wrapped round: forget every earlier face
        for (ClassSlot &slot : m_class) slot.face = 0;
        m_face = 1;
    }
    for (Triangle *t : face) {
        std::size_t corner[3];
        for (std::size_t c = 0; c < 3; ++c) {
            Corner const &from = m_corner[t->vertexIndex(c)];
            ClassSlot &slot = m_class[from.cls];
            if (slot.face != m_face) {
                slot.index = static_cast<std::uint32_t>(addVertexFor(mesh, from.point));
                slot.face = m_face;
            }
            corner[c] = slot.index;
        }
        addTriangleOf(mesh, corner);
    }
}

}  // namespace ORVANE_DATABASE
