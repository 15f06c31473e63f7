#pragma once
// Triangle: three vertex indices into the owning Triangulation's vertex list, the three
// shared edges set by Triangulation::addTriangle, and an optional RGBA colour.
//
// Edge i joins corner i and corner (i + 1) mod 3: edge 0 = corners 0-1, edge 1 = corners 1-2,
// edge 2 = corners 2-0. The edges belong to the mesh the triangle was added to and are
// released with it: a triangle's edge pointers are valid only while that mesh lives.
#include "OrvaneExport.h"

#include <cstddef>

namespace ORVANE_DATABASE {

class Edge;

class ORVANE_API Triangle {
public:
    // Corners 0, 1, 2 name vertices a, b, c; no colour (all components -1); edges null.
    Triangle(std::size_t a, std::size_t b, std::size_t c)
        : m_vertex{a, b, c}, m_edge{nullptr, nullptr, nullptr}, m_color{-1.f, -1.f, -1.f, -1.f} {}
    // The same from an array of three indices.
    explicit Triangle(std::size_t * const indices)
        : Triangle(indices[0], indices[1], indices[2]) {}
    Triangle(Triangle const &) = default;
    ~Triangle() = default;

    // Copies indices, edge pointers and colour.
    Triangle &operator=(Triangle const &) = default;

    // Vertex index of corner 0, 1 or 2 (no range check: 0..2 is a precondition).
    std::size_t vertexIndex(std::size_t corner) { return m_vertex[corner]; }

    // Edge 0, 1 or 2; null for an argument above 2 or before the triangle joined a mesh.
    // Negative arguments are a precondition violation.
    Edge *edge(int i) { return i > 2 ? nullptr : m_edge[i]; }
    // Sets edge 0, 1 or 2; no check.
    void setEdge(int i, Edge *e) { m_edge[i] = e; }

    void setColor(float r, float g, float b, float a) {
        m_color[0] = r;
        m_color[1] = g;
        m_color[2] = b;
        m_color[3] = a;
    }
    // The four components in setColor order, or null while the first component is negative
    // (the "no colour" state of a new triangle). A NaN first component is not negative.
    float const *color() { return m_color[0] < 0.f ? nullptr : m_color; }

private:
    std::size_t m_vertex[3];
    Edge *m_edge[3];
    float m_color[4];
};

} // namespace ORVANE_DATABASE
