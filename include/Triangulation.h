#pragma once
// Triangulation: the library's indexed triangle mesh, an entity (kind ET_TRIANGULATION,
// named "Triangulation_" and its identifier).
//
// It lists vertices and triangles by pointer and owns neither: their creator releases them,
// after the mesh or before it. It shares edges between triangles through an edge table keyed
// by vertex-index pairs, and keeps for every vertex index the triangles that use it.
//
// Edges: the mesh creates them (one per distinct undirected vertex pair), keeps them with
// their triangle sets in blocks of its own, and its destructor ends them. A triangle's edge
// pointers are therefore valid only while its mesh lives. The destructor never touches
// vertices or triangles, which may already be gone.
//
// Copying: a mesh is not copyable. A member-wise copy would share the containers and edges
// with its source and both destructors would release them; nothing in the library copies a
// mesh, and a host that needs a second mesh builds one.
#include "Entity.h"
#include "OrvaneExport.h"
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {

class BSPTree;
class Edge;
class PLC;
class Triangle;
class Vertex;
namespace topology {
class CornerLists;
}

class ORVANE_API Triangulation : public Entity {
public:
    // Where a point lies relative to one triangle (see pointPosition).
    struct PointPos {
        enum _Location : std::int32_t {
            LOC_NONE = 0,
            LOC_OFF_PLANE = 1,
            LOC_OUTSIDE = 2,
            LOC_VERTEX_0 = 3,
            LOC_VERTEX_1 = 4,
            LOC_VERTEX_2 = 5,
            LOC_EDGE_12 = 6,
            LOC_EDGE_20 = 7,
            LOC_EDGE_01 = 8,
            LOC_INSIDE = 9
        };
        _Location location;
        // Barycentric weights of corners 0, 1, 2 (barycentricValue); zeros for LOC_OFF_PLANE.
        double weights[3];
    };

    // An empty mesh with no parent, named "Triangulation_<id>".
    Triangulation();
    Triangulation(Triangulation const &) = delete;
    Triangulation &operator=(Triangulation const &) = delete;
    // Releases the containers and the edges the mesh created; vertices, triangles and
    // boundary polylines are left to their creators.
    ~Triangulation() override;

    // Appends v (not null) and grows the box by its point; returns v's index. No search for
    // an equal point: every call appends, so a repeated vertex gets a second index.
    std::size_t addVertex(Vertex *v);

    // Appends t (not null), lists it under each of its corner vertices, and shares its three
    // edges (corner pairs 0-1, 1-2, 2-0) with the triangles added before, creating those that
    // are new. Neither the vertex list nor the box is consulted. Amortised constant time.
    // Every corner index works, up to SIZE_MAX: no table is sized by an index's value (the
    // rare indices from 2^32 - 1 up take a slower, ordered path). The mesh numbers corners
    // and edges in 32 bits, so it holds at most 1 431 655 764 triangles (some 400 GB of
    // memory); one more throws std::length_error. Allocation failure throws std::bad_alloc.
    // Either failure leaves the mesh exactly as it was and t untouched.
    void addTriangle(Triangle *t);

    std::vector<Vertex *> const &vertexList() const { return *m_vertices; }
    std::vector<Triangle *> const &triangleList() const { return *m_triangles; }
    // Boundary contours; no operation of the library fills this list.
    std::vector<PLC *> const &boundaries() { return *m_boundaries; }

    // The vertex at corner i (0..2) of t. Throws std::out_of_range when that corner's index
    // is not below the vertex count.
    Vertex *vertex(Triangle *t, int i) const;

    // A new map from every edge to its key in the edge table, ordered by edge pointer. The
    // key of an edge is the corner pair that first requested it, reversed: triangle (0, 1, 2)
    // added first creates the keys (1, 0), (2, 1) and (0, 2). Linear in the edge count (no
    // search per edge: the map is filled in its own order).
    const std::map<Edge *, std::pair<std::size_t, std::size_t>> edgeList();

    // The triangles having vertex v as a corner, in the order they were added (a triangle
    // naming v twice appears twice). Throws std::out_of_range when v is not below one more
    // than the largest vertex index of any triangle added so far; a vertex inside that range
    // that no triangle uses gives an empty vector. Time in proportion to the answer, however
    // adds and queries interleave.
    const std::vector<Triangle *> adjustantTriangles(std::size_t v);

    _EntityType entityType() override { return ET_TRIANGULATION; }

    // Queries on one triangle of this mesh. A, B, C are the points of corners 0, 1, 2. Each of
    // plane, barycentricValue, pointPosition and closestPoint throws std::out_of_range when a
    // corner's vertex index is not below the vertex count.

    // Plane through A, B, C with the right-hand normal of (B - A) x (C - A); normal (0, 0, 0)
    // for a degenerate triangle.
    Plane plane(Triangle *t) const;

    // Writes to w[0..2] the unsigned areas of the sub-triangles PBC, APC, ABP divided by the
    // area of ABC: never negative, summing to 1 for p inside ABC and to more outside it. p need
    // not lie in the plane. A zero-area triangle divides by zero (infinities or NaN result).
    void barycentricValue(Triangle *t, Point3D const &p, double * const w) const;

    // Classifies p against the triangle with tolerance t = tol.value(), compared alike with
    // weights, with the unnormalised (B - A) x (C - A) . (p - A) and with lengths:
    // LOC_OFF_PLANE, LOC_OUTSIDE, a corner, an edge, or LOC_INSIDE. A degenerate triangle
    // yields non-finite weights and whatever class they fall into; it never traps.
    PointPos pointPosition(Triangle *t, Point3D const &p, Tolerance const &tol) const;

    // The point of the triangle nearest to p: the foot of p on the plane when that lies on the
    // triangle, else the nearest point of the nearest edge (ties go to the later edge of
    // A-B, B-C, C-A). Edge distances are Point3D::distance of the foot from each edge; when
    // rounding makes a squared distance negative (the foot lies within rounding of an edge
    // end) that distance is NaN and the comparison rule cannot decide, and such an edge
    // then counts as distance 0. Throws std::runtime_error "closest Point implementation
    // Failed. " (a std::exception) should no edge give an answer, which cannot happen for
    // finite input.
    Point3D closestPoint(Triangle *t, Point3D const &p, Tolerance const &tol) const;

    // A new BSP tree over this mesh (default tolerance, depth limit 7000), or null when the
    // build fails (more than 7000 levels needed). The caller owns the tree and ends it with
    // BSPTree::release(), which is not const: the caller casts the constness away for that.
    // Every call builds a fresh tree. An empty mesh gives a tree without root, which answers
    // POS_NONE.
    BSPTree const *BSP() const;

private:
    // The one edge of the undirected pair {a, b}: the existing one (looked up as (a, b), then
    // as (b, a), in one search) or a new one stored under (b, a). Creating an edge throws
    // std::bad_alloc leaving the table as it was.
    Edge *addEdge(std::size_t a, std::size_t b);
    void generateEntityName() override;

    // The edge table: keys in an open-addressing table, the edges with their triangle sets
    // in blocks owned by the mesh.
    class EdgeStore;

    std::unique_ptr<std::vector<Vertex *>> m_vertices;
    std::unique_ptr<std::vector<Triangle *>> m_triangles;
    std::unique_ptr<std::vector<PLC *>> m_boundaries;
    std::unique_ptr<EdgeStore> m_edges;
    // The vertex-to-triangle table, as linked lists of triangle corners.
    std::unique_ptr<topology::CornerLists> m_vertexTriangles;
};

} // namespace ORVANE_DATABASE
