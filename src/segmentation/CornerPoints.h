#pragma once
// The coordinates of the vertices that a mesh's triangles name, copied once into one array.
//
// Reading a corner's point goes through the vertex list, the Vertex and its Point3D: two
// dependent loads into separately allocated objects. The strong-edge test reads every
// triangle's three corners and the point classes read every named vertex, so the
// segmentation reads each vertex that way once, here, and works on contiguous doubles after
// that (the same doubles, so the results are bit for bit those of reading the objects).
// Vertices that no triangle names are never read (they may be unusable).
#include "Vector3D.h"

#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {

class Triangle;
class Vertex;

class CornerPoints {
public:
    // Gathers the points of the vertices named by the corners of `triangles`. A corner that
    // names no vertex is skipped and reported by badCorner().
    CornerPoints(std::vector<Vertex *> const &vertices, std::vector<Triangle *> const &triangles);

    std::size_t vertexCount() const { return m_used.size(); }
    bool used(std::size_t v) const { return m_used[v] != 0; }
    // The point of vertex v; valid only when used(v).
    Vector3D const &point(std::size_t v) const { return m_point[v]; }
    bool badCorner() const { return m_badCorner; }
    // The normal (q - p) ^ (r - p) of a triangle whose corners all name vertices.
    Vector3D normal(Triangle *t) const;

private:
    std::vector<Vector3D> m_point;
    std::vector<std::uint8_t> m_used;
    bool m_badCorner = false;
};

}  // namespace ORVANE_DATABASE
