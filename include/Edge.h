#pragma once
// Edge: the shared edge of an undirected vertex pair, knowing the triangles that use it.
// A Triangulation creates its edges and releases them when it is destroyed; the slicer also
// creates bare edges (empty sets) as identities of cut segments, owned by whoever made them.
#include "OrvaneExport.h"

#include <set>

namespace ORVANE_DATABASE {

class Triangle;

class ORVANE_API Edge {
public:
    // The triangles using this edge, ordered by pointer value: two for an interior edge of a
    // closed two-manifold mesh, one for a border edge, more for a non-manifold edge. Owned:
    // created empty with the edge, deleted with it. Never null for a constructed edge.
    std::set<Triangle *> *triangles;

    Edge() : triangles(new std::set<Triangle *>()) {}
    ~Edge() { delete triangles; }

    // A copy would share the owned set with its source, so edges are not copied.
    Edge(Edge const &) = delete;
    Edge &operator=(Edge const &) = delete;
};

} // namespace ORVANE_DATABASE
