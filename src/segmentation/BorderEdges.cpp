#include "segmentation/BorderEdges.h"

#include "Edge.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace ORVANE_DATABASE {

std::vector<Edge *> borderEdges(Triangulation const &mesh) {
    std::vector<Edge *> border;
    for (Triangle *t : mesh.triangleList())
        for (int slot = 0; slot < 3; ++slot) {
            Edge *e = t->edge(slot);
            if (e && e->triangles->size() < 2) border.push_back(e);
        }
    return border;
}

namespace {

using Key = std::pair<std::size_t, std::size_t>;

// The table key of an edge that only `t` uses: addEdge stores a new pair reversed, and t's
// first request of this edge is its first slot naming it.
std::optional<Key> keyFromOnlyTriangle(Edge *e) {
    if (e->triangles->size() != 1) return std::nullopt;
    Triangle *t = *e->triangles->begin();
    for (int slot = 0; slot < 3; ++slot)
        if (t->edge(slot) == e)
            return Key(t->vertexIndex((slot + 1) % 3), t->vertexIndex(static_cast<std::size_t>(slot)));
    return std::nullopt;
}

}  // namespace

std::vector<SegmentEnds> edgeEnds(Triangulation &mesh, std::vector<Edge *> const &edges) {
    std::vector<Vertex *> const &vertices = mesh.vertexList();
    std::optional<std::map<Edge *, Key>> table;
    std::vector<SegmentEnds> ends;
    ends.reserve(edges.size());
    for (Edge *e : edges) {
        std::optional<Key> key = keyFromOnlyTriangle(e);
        if (!key) {
            if (!table) table = mesh.edgeList();
            auto found = table->find(e);
            if (found == table->end()) throw std::out_of_range("Segmentation: edge not in mesh");
            key = found->second;
        }
        ends.push_back({*vertices.at(key->first)->point(), *vertices.at(key->second)->point()});
    }
    return ends;
}

}  // namespace ORVANE_DATABASE
