#include "segmentation/FaceGraph.h"

#include "Edge.h"
#include "OrvaneDatabase.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

namespace ORVANE_DATABASE {

Triangle *neighbourAcross(Triangle *t, Edge *e) {
    std::set<Triangle *> const &around = *e->triangles;
    if (around.size() < 2) return nullptr;
    auto it = around.find(t);
    if (it == around.end()) return nullptr;
    ++it;
    return it == around.end() ? *around.begin() : *it;
}

void buildFaceMesh(Triangulation const &source, std::vector<Triangle *> const &face,
                   Triangulation &mesh) {
    std::vector<Vertex *> const &vertices = source.vertexList();
    std::vector<Point3D *> corners;
    corners.reserve(3 * face.size());
    for (Triangle *t : face)
        for (std::size_t c = 0; c < 3; ++c) corners.push_back(vertices.at(t->vertexIndex(c))->point());

    // The dead band makes the order non-transitive for points spaced below 1e-9; which earlier
    // point such a point merges with is whatever this map's search finds, so the map (and its
    // insertion order) is kept exactly as it is.
    std::map<Point3D *, int, OrvaneDatabase::LessThan> index;
    std::size_t next = 0;
    for (std::size_t f = 0; f < face.size(); ++f) {
        std::size_t corner[3];
        for (std::size_t c = 0; c < 3; ++c) {
            Point3D *p = corners[next++];
            auto found = index.find(p);
            if (found == index.end()) {
                auto vertex = std::make_unique<Vertex>(p);
                std::size_t added = mesh.addVertex(vertex.get());
                vertex.release();
                found = index.emplace(p, static_cast<int>(added)).first;
            }
            corner[c] = static_cast<std::size_t>(found->second);
        }
        auto triangle = std::make_unique<Triangle>(corner[0], corner[1], corner[2]);
        mesh.addTriangle(triangle.get());
        triangle.release();
    }
}

FaceGraph::FaceGraph(Triangulation const &mesh, std::set<Edge *> const &strong) {
    std::vector<Triangle *> const &list = mesh.triangleList();
    std::size_t vertexCount = mesh.vertexList().size();
    for (Triangle *t : list)
        for (std::size_t c = 0; c < 3; ++c)
            if (t->vertexIndex(c) >= vertexCount)
                throw std::out_of_range("Segmentation: a triangle corner names no vertex");
    if (list.size() >= kNone) throw std::length_error("Segmentation: too many triangles");

    m_triangles = list;
    std::sort(m_triangles.begin(), m_triangles.end(), std::less<Triangle *>());
    m_triangles.erase(std::unique(m_triangles.begin(), m_triangles.end()), m_triangles.end());

    m_across.assign(3 * m_triangles.size(), kNone);
    for (std::size_t r = 0; r < m_triangles.size(); ++r) {
        Triangle *t = m_triangles[r];
        for (int slot = 0; slot < 3; ++slot) {
            Edge *e = t->edge(slot);
            if (!e || strong.count(e)) continue;
            if (Triangle *n = neighbourAcross(t, e)) m_across[3 * r + slot] = rankOf(n);
        }
    }
}

FaceGraph::Rank FaceGraph::rankOf(Triangle *t) const {
    auto it = std::lower_bound(m_triangles.begin(), m_triangles.end(), t, std::less<Triangle *>());
    if (it == m_triangles.end() || *it != t) return kNone;
    return static_cast<Rank>(it - m_triangles.begin());
}

}  // namespace ORVANE_DATABASE
