#include "segmentation/CornerPoints.h"

#include "Point3D.h"
#include "Triangle.h"
#include "Vertex.h"

namespace ORVANE_DATABASE {

CornerPoints::CornerPoints(std::vector<Vertex *> const &vertices, std::vector<Triangle *> const &triangles)
    : m_point(vertices.size()), m_used(vertices.size(), 0) {
    for (Triangle *t : triangles)
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::size_t const v = t->vertexIndex(corner);
            if (v >= vertices.size()) {
                m_badCorner = true;
            } else if (!m_used[v]) {
                m_used[v] = 1;
                m_point[v] = vertices[v]->point()->vector();
            }
        }
}

Vector3D CornerPoints::normal(Triangle *t) const {
    Vector3D const &p = m_point[t->vertexIndex(0)];
    Vector3D const &q = m_point[t->vertexIndex(1)];
    Vector3D const &r = m_point[t->vertexIndex(2)];
    return (q - p) ^ (r - p);
}

}  // namespace ORVANE_DATABASE
