#pragma once
// Growing all faces of a mesh over its FaceGraph.
//
// The seeds and the breadth-first order are those of Segmentation::createFaces and
// getConnected on std::sets: the seed of the next face is the first, then the second,
// triangle of the first strong edge (pointer order) that is still unassigned, and without
// one, the lowest-index unassigned triangle of the mesh's list; a face takes in every
// triangle reached across edges that are not strong. Here the seed search resumes where the
// previous one stopped (an edge passed over never offers a seed again, because triangles only
// ever leave the unassigned set), the graph's per-triangle face number says both whether a
// triangle is unassigned (0) and whether it joined the current face, and each face's
// triangles are put into pointer order by one counting pass over all ranks at the end instead
// of a sort per face.
#include "segmentation/FaceGraph.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

class Triangulation;

struct GrownFaces {
    // Face k (0 for the first grown) is ranks[first[k]] .. ranks[first[k + 1] - 1], ascending.
    std::vector<FaceGraph::Rank> ranks;
    std::vector<std::size_t> first;

    std::size_t count() const { return first.empty() ? 0 : first.size() - 1; }
};

// Grows faces until every triangle of the mesh's list belongs to one. A triangle normally
// joins one face; one that a later face reaches again (possible only where a neighbour cycle
// around an edge passes through a triangle outside the list) belongs to both, as with the
// std::set procedure. Leaves the graph's face numbers set (last face joined, from 1).
GrownFaces growFaces(Triangulation const &mesh, FaceGraph &graph);

}  // namespace ORVANE_DATABASE
