// Triangulation topology: vertex and triangle lists, shared edges, vertex-to-triangle table.
#include "Triangulation.h"

#include "Edge.h"
#include "Triangle.h"
#include "Vertex.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace ORVANE_DATABASE {

namespace {
// Most vertices of a surface mesh are shared by about six triangles: one allocation of this
// size covers the common case instead of growing 1, 2, 4, 8.
constexpr std::size_t kTypicalValence = 6;
} // namespace

Triangulation::Triangulation()
    : Entity(nullptr),
      m_vertices(new std::vector<Vertex *>()),
      m_triangles(new std::vector<Triangle *>()),
      m_boundaries(new std::vector<PLC *>()),
      m_edges(new EdgeTable()),
      m_vertexTriangles(new std::vector<std::vector<std::size_t>>()) {
    generateEntityName();
}

Triangulation::~Triangulation() {
    m_vertices.reset();
    m_triangles.reset();
    // The edges were made by addEdge and belong to nobody else; the triangles pointing at
    // them are not touched (their creator may have deleted them already).
    for (auto const &entry : *m_edges) delete entry.second;
    m_edges.reset();
    m_boundaries.reset();
    m_vertexTriangles.reset();
}

void Triangulation::generateEntityName() {
    setName("Triangulation_" + std::to_string(getID()));
}

std::size_t Triangulation::addVertex(Vertex *v) {
    m_vertices->push_back(v);
    box().add(*v->point());
    return m_vertices->size() - 1;
}

void Triangulation::addTriangle(Triangle *t) {
    std::size_t const i0 = t->vertexIndex(0);
    std::size_t const i1 = t->vertexIndex(1);
    std::size_t const i2 = t->vertexIndex(2);

    // Grow the vertex-to-triangle table before touching anything else, so that an index it
    // cannot hold leaves the mesh as it was.
    auto &table = *m_vertexTriangles;
    std::size_t const highest = std::max(i0, std::max(i1, i2));
    if (highest >= table.size()) {
        // highest + 1 must not wrap around for an index such as SIZE_MAX.
        if (highest >= table.max_size()) throw std::length_error("vertex index too large");
        // The table's size is observable (adjustantTriangles' range), so only capacity may
        // run ahead: most meshes name every listed vertex, so reserve for all of them, and
        // at least double it, so that meshes built by interleaving vertices and triangles
        // (the voxel surface) do not copy the table on every triangle.
        if (table.capacity() <= highest)
            table.reserve(std::max({highest + 1, m_vertices->size(), 2 * table.capacity()}));
        table.resize(highest + 1);
    }

    m_triangles->push_back(t);
    std::size_t const index = m_triangles->size() - 1;
    for (std::size_t const v : {i0, i1, i2}) {
        std::vector<std::size_t> &entry = table[v];
        if (entry.empty()) entry.reserve(kTypicalValence);
        entry.push_back(index);
    }

    Edge *const e0 = addEdge(i0, i1);
    Edge *const e1 = addEdge(i1, i2);
    Edge *const e2 = addEdge(i2, i0);
    t->setEdge(0, e0);
    t->setEdge(1, e1);
    t->setEdge(2, e2);
    e0->triangles->insert(t);
    e1->triangles->insert(t);
    e2->triangles->insert(t);
}

Edge *Triangulation::addEdge(std::size_t a, std::size_t b) {
    EdgeTable &table = *m_edges;
    // In a consistently oriented mesh the neighbour across an edge requests the pair in the
    // opposite order to the triangle that created it, so this first search usually hits.
    auto const same = table.find(std::make_pair(a, b));
    if (same != table.end()) return same->second;
    // The second search doubles as the insertion point of a new edge.
    auto const reversedKey = std::make_pair(b, a);
    auto const hint = table.lower_bound(reversedKey);
    if (hint != table.end() && hint->first == reversedKey) return hint->second;
    auto edge = std::make_unique<Edge>();
    table.emplace_hint(hint, reversedKey, edge.get());
    return edge.release();
}

Vertex *Triangulation::vertex(Triangle *t, int i) const {
    return m_vertices->at(t->vertexIndex(static_cast<std::size_t>(i)));
}

const std::map<Edge *, std::pair<std::size_t, std::size_t>> Triangulation::edgeList() {
    // Sorting once and appending at the end is linear after the sort, instead of a tree
    // search per edge.
    std::vector<std::pair<Edge *, std::pair<std::size_t, std::size_t>>> byEdge;
    byEdge.reserve(m_edges->size());
    for (auto const &entry : *m_edges) byEdge.emplace_back(entry.second, entry.first);
    std::sort(byEdge.begin(), byEdge.end(), [](auto const &l, auto const &r) {
        return std::less<Edge *>()(l.first, r.first);
    });
    std::map<Edge *, std::pair<std::size_t, std::size_t>> result;
    for (auto const &entry : byEdge) result.emplace_hint(result.end(), entry);
    return result;
}

const std::vector<Triangle *> Triangulation::adjustantTriangles(std::size_t v) {
    std::vector<std::size_t> const &indices = m_vertexTriangles->at(v);
    std::vector<Triangle *> result;
    result.reserve(indices.size());
    for (std::size_t index : indices) result.push_back((*m_triangles)[index]);
    return result;
}

} // namespace ORVANE_DATABASE
