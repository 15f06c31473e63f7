#pragma once
// Strong edges and triangle adjacency for face growing, from one pass over the edges.
//
// An edge is strong when fewer than two triangles use it, or when the normals of the first
// two triangles of its set (pointer order) make an angle above the threshold. Faces grow
// across edges that are not strong, from a triangle to its neighbour: the triangle that
// follows it in the edge's set, wrapping to the first, so that around a non-manifold edge the
// neighbours form a cycle. Asking that of std::sets at every step costs several tree searches;
// FaceGraph answers it from flat arrays built in one pass. Triangles are numbered by rank in
// pointer order, so sorting a face's ranks gives its triangles in std::set<Triangle*> order.
#include "Vector3D.h"
#include "segmentation/PointerRanks.h"

#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {

class CornerPoints;
class Edge;
class Triangle;
class Triangulation;
class Vertex;

// The neighbour of t across e: none (null) when e's set holds fewer than two triangles or
// not t; otherwise the triangle after t in the set, or the first when t is the last.
Triangle *neighbourAcross(Triangle *t, Edge *e);

// The unnormalised normal (q - p) ^ (r - p) of t from the points of its corners, read through
// vertices.at() (so a corner that names no vertex throws std::out_of_range, corners 0, 1, 2
// in turn).
Vector3D triangleNormal(std::vector<Vertex *> const &vertices, Triangle *t);

// The angle test of one edge: whether Vector3D::angle of two normals (no axis, default
// tolerance: -1 for a normal shorter than 1e-13, 0 below 1e-13 radians) is above a limit in
// radians. Bit for bit that comparison; for limits between 1e-3 and pi/2 - 1e-3 it first
// compares |n ^ m|^2 with (n . m)^2 tan^2(limit) and calls atan2 only for the few angles
// within a relative 5e-7 of the limit, where the shortcut could not be sure.
class AngleLimit {
public:
    explicit AngleLimit(double limit);
    bool exceeded(Vector3D const &n, Vector3D const &m) const;

private:
    double m_limit;
    bool m_shortcut = false;
    double m_surelyBelow = 0.0, m_surelyAbove = 0.0;   // tan^2(limit) scaled by 1 -/+ 1e-6
};

class FaceGraph {
public:
    using Rank = PointerRanks<Triangle>::Rank;
    static constexpr Rank kNone = PointerRanks<Triangle>::kNone;

    // Ranks the distinct triangles of the mesh's list (`points` holds their corners' points)
    // and visits every edge once, from the
    // first triangle of its set when that triangle is in the list (edges are made by
    // addTriangle, so for a mesh's own edges it always is): judges it against `limit`
    // (radians) and records, for each triangle slot using it, the neighbour across it (none
    // when it is strong). Slots whose edge is not visited that way (an edge whose first
    // triangle is not in this mesh's list) get the plain neighbour and are never strong.
    // Neighbours outside the mesh's triangle list count as absent.
    //
    // A corner naming no vertex: throws std::out_of_range when the edge test has to read
    // that triangle's points (the first two triangles of a visited edge), exactly as reading
    // them through vertices.at() would; otherwise the graph is built and requireCorners()
    // reports it. Throws std::length_error for 2^32 - 2 triangles or more.
    FaceGraph(Triangulation const &mesh, CornerPoints const &points, double limit);

    std::size_t size() const { return m_ranks.size(); }
    Triangle *triangle(Rank r) const { return m_ranks.item(r); }
    // The distinct triangles of the mesh's list, by rank.
    std::vector<Triangle *> const &triangles() const { return m_ranks.items(); }
    // Hands the triangles by rank over, once the graph is no longer needed.
    std::vector<Triangle *> takeTriangles() { return m_ranks.takeItems(); }
    // The rank of t, or kNone when t is not in the mesh's triangle list.
    Rank rankOf(Triangle const *t) const { return m_ranks.rankOf(t); }
    // The neighbour of r across its edge `slot` (0..2), or kNone when there is none or that
    // edge is strong.
    Rank across(Rank r, int slot) const { return m_nodes[r].across[slot]; }
    // A number per triangle for the face growing (initially 0). It lives beside the
    // neighbours because growing reads both for every triangle: one cache line instead of two.
    std::uint32_t face(Rank r) const { return m_nodes[r].face; }
    void setFace(Rank r, std::uint32_t f) { m_nodes[r].face = f; }
    // A strong edge with the ranks of the first and second triangles of its set (kNone where
    // there is none, or it is not in the mesh's list): the candidates it offers as a seed.
    struct StrongEdge {
        Edge *edge;
        Rank first, second;
    };
    // The strong edges, distinct, in ascending pointer order.
    std::vector<StrongEdge> const &strongEdges() const { return m_strong; }
    // Throws std::out_of_range when a triangle of the list names no vertex.
    void requireCorners() const;

private:
    static constexpr Rank kUnset = kNone - 1;
    void setSlots(Triangle *t, Rank r, Edge *e, Rank value);

    struct Node {
        Rank across[3] = {kUnset, kUnset, kUnset};
        std::uint32_t face = 0;
    };

    PointerRanks<Triangle> m_ranks;
    std::vector<Node> m_nodes;   // per rank
    std::vector<StrongEdge> m_strong;
    bool m_badCorner = false;
};

}  // namespace ORVANE_DATABASE
