#pragma once
// Triangle adjacency for face growing, built once per segmentation run.
//
// Faces grow across edges that are not strong, from a triangle to its neighbour: the
// triangle that follows it in the edge's triangle set (pointer order), wrapping to the first,
// so that around a non-manifold edge the neighbours form a cycle. Answering that through
// std::set lookups costs several tree searches per step; FaceGraph answers it from flat
// arrays. Triangles are numbered by rank in pointer order, so sorting a face's ranks gives
// its triangles in the order of a std::set<Triangle*>.
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

namespace ORVANE_DATABASE {

class Edge;
class Triangle;
class Triangulation;

// The neighbour of t across e: none (null) when e's set holds fewer than two triangles or
// not t; otherwise the triangle after t in the set, or the first when t is the last.
Triangle *neighbourAcross(Triangle *t, Edge *e);

// Fills `mesh` with one new Triangle per triangle of `face` (in the given order, same corner
// order) over new Vertex objects that refer to the source's points, one per point class of
// OrvaneDatabase::LessThan in order of first appearance. Every corner is resolved before
// anything is allocated, so a corner index that names no source vertex throws
// std::out_of_range with `mesh` untouched.
void buildFaceMesh(Triangulation const &source, std::vector<Triangle *> const &face,
                   Triangulation &mesh);

class FaceGraph {
public:
    using Rank = std::uint32_t;
    static constexpr Rank kNone = std::numeric_limits<Rank>::max();

    // Ranks every distinct triangle of mesh's triangle list and records, per triangle and
    // edge slot, the neighbour across that edge unless the edge is in `strong`. Neighbours
    // outside the mesh's triangle list are treated as absent. Throws std::out_of_range when a
    // triangle's corner names no vertex, before any face is grown.
    FaceGraph(Triangulation const &mesh, std::set<Edge *> const &strong);

    std::size_t size() const { return m_triangles.size(); }
    Triangle *triangle(Rank r) const { return m_triangles[r]; }
    // The rank of t, or kNone when t is not in the mesh's triangle list.
    Rank rankOf(Triangle *t) const;
    // The neighbour of r across its edge `slot` (0..2), or kNone when there is none or that
    // edge is strong.
    Rank across(Rank r, int slot) const { return m_across[3 * std::size_t(r) + slot]; }

private:
    std::vector<Triangle *> m_triangles;   // distinct, ascending pointer order
    std::vector<Rank> m_across;            // 3 per rank
};

}  // namespace ORVANE_DATABASE
