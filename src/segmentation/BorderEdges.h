#pragma once
// Border edges of a mesh as segments for the shared chainer.
#include "entities/SegmentChainer.h"

#include <vector>

namespace ORVANE_DATABASE {

class Edge;
class Triangulation;

// The edges used by fewer than two triangles, visiting the triangle list in index order and
// edges 0, 1, 2 of each (an edge a triangle names twice is listed twice).
std::vector<Edge *> borderEdges(Triangulation const &mesh);

// The end points of each edge: P and Q are the points of the vertices of the edge's key in
// the mesh's edge table, (first, second) as edgeList() reports it. For an edge with a single
// triangle the key is derived from that triangle (the reverse of its first corner pair naming
// the edge, which is how the table stored it) instead of building the whole edge map; other
// edges are looked up in edgeList(). All points are resolved before returning, so a bad vertex
// index throws std::out_of_range before the caller allocates anything.
std::vector<SegmentEnds> edgeEnds(Triangulation &mesh, std::vector<Edge *> const &edges);

}  // namespace ORVANE_DATABASE
