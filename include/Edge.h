#pragma once
// Edge: the shared edge of an undirected vertex pair, knowing the triangles that use it.
// A Triangulation creates its edges and releases them when it is destroyed; the slicer also
// creates bare edges (empty sets) as identities of cut segments, owned by whoever made them.
//
// A mesh keeps its edges, and their triangle sets, in blocks of its own rather than one
// allocation each: such an edge names a set that the mesh made beside it, and the mesh ends
// both. To the user the two kinds are the same, except that the set of a mesh's edge may be
// changed but never deleted or replaced (nothing in the library does either).
#include "OrvaneExport.h"

#include <set>

namespace ORVANE_DATABASE {

class Triangle;
class Triangulation;

class ORVANE_API Edge {
public:
    // The triangles using this edge, ordered by pointer value: two for an interior edge of a
    // closed two-manifold mesh, one for a border edge, more for a non-manifold edge. Created
    // empty with the edge and ended with it. Never null for a constructed edge.
    std::set<Triangle *> *triangles;

    Edge() : triangles(new std::set<Triangle *>()) {}
    ~Edge() { delete triangles; }

    // A copy would share the owned set with its source, so edges are not copied.
    Edge(Edge const &) = delete;
    Edge &operator=(Edge const &) = delete;

private:
    friend class Triangulation;
    // An edge naming a set it does not own (a mesh's edge, see above). Whoever made it
    // clears `triangles` before the edge is destroyed and ends the set itself.
    explicit Edge(std::set<Triangle *> *borrowed) noexcept : triangles(borrowed) {}
};

} // namespace ORVANE_DATABASE
