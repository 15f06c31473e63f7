// Triangulation topology: vertex and triangle lists, shared edges, vertex-to-triangle table.
#include "Triangulation.h"

#include "Edge.h"
#include "Triangle.h"
#include "Vertex.h"
#include "mesh/CornerLists.h"
#include "mesh/EdgeStore.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace ORVANE_DATABASE {

namespace {

// Corners and edges are numbered in 32 bits (three of each at most per triangle).
constexpr std::size_t kMaxTriangles = topology::CornerLists::kMaxCorners / 3;

// Capacity for a list that is full at `size`: half as much again (rather than the library's
// usual double), so that a large mesh's lists carry a quarter unused on average, not half.
std::size_t grown(std::size_t size) { return size + std::max<std::size_t>(size / 2, 16); }

} // namespace

Triangulation::Triangulation()
    : Entity(nullptr),
      m_vertices(new std::vector<Vertex *>()),
      m_triangles(new std::vector<Triangle *>()),
      m_boundaries(new std::vector<PLC *>()),
      m_edges(new EdgeStore()),
      m_vertexTriangles(new topology::CornerLists()) {
    generateEntityName();
}

Triangulation::~Triangulation() {
    m_vertices.reset();
    m_triangles.reset();
    // The edges end with their table; the triangles pointing at them are not touched (their
    // creator may have deleted them already).
    m_edges.reset();
    m_boundaries.reset();
    m_vertexTriangles.reset();
}

void Triangulation::generateEntityName() {
    setName("Triangulation_" + std::to_string(getID()));
}

std::size_t Triangulation::addVertex(Vertex *v) {
    if (m_vertices->size() == m_vertices->capacity()) m_vertices->reserve(grown(m_vertices->size()));
    m_vertices->push_back(v);
    box().add(*v->point());
    return m_vertices->size() - 1;
}

void Triangulation::addTriangle(Triangle *t) {
    std::size_t const v[3] = {t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)};
    std::vector<Triangle *> &triangles = *m_triangles;
    if (triangles.size() >= kMaxTriangles) throw std::length_error("Triangulation: too many triangles");

    // Room first: every step below that could fail for want of memory fails here, while the
    // mesh is still as it was.
    if (triangles.size() == triangles.capacity()) triangles.reserve(grown(triangles.size()));
    m_vertexTriangles->reserve(v, m_vertices->size());
    m_edges->reserve(3, std::max({v[0], v[1], v[2]}));
    for (int k = 0; k < 3; ++k) m_edges->prefetch(v[k], v[(k + 1) % 3]);

    // The edges, and the triangle in their sets. What is left to fail (a key with an index
    // past 32 bits, a set node) undoes the edges made and the insertions done, newest first.
    Edge *edge[3] = {nullptr, nullptr, nullptr};
    bool inserted[3] = {false, false, false};
    std::size_t made = 0;
    std::size_t madeKey[3][2];
    try {
        for (int k = 0; k < 3; ++k) {
            std::size_t const a = v[k], b = v[(k + 1) % 3];
            std::size_t const before = m_edges->size();
            edge[k] = addEdge(a, b);
            if (m_edges->size() != before) {
                madeKey[made][0] = b;
                madeKey[made][1] = a;
                ++made;
            }
        }
        for (int k = 0; k < 3; ++k) inserted[k] = edge[k]->triangles->insert(t).second;
    } catch (...) {
        for (int k = 3; k-- > 0;)
            if (inserted[k]) edge[k]->triangles->erase(t);
        while (made > 0) {
            --made;
            m_edges->removeNewest(madeKey[made][0], madeKey[made][1]);
        }
        throw;
    }

    // Nothing below can fail.
    triangles.push_back(t);
    m_vertexTriangles->append(v);
    for (int k = 0; k < 3; ++k) t->setEdge(k, edge[k]);
}

Edge *Triangulation::addEdge(std::size_t a, std::size_t b) {
    // No key holds both orientations of a pair, so one search that accepts either is the
    // search for (a, b) followed by the one for (b, a).
    if (Edge *found = m_edges->find(a, b)) return found;
    return m_edges->create(b, a);
}

Vertex *Triangulation::vertex(Triangle *t, int i) const {
    return m_vertices->at(t->vertexIndex(static_cast<std::size_t>(i)));
}

const std::map<Edge *, std::pair<std::size_t, std::size_t>> Triangulation::edgeList() {
    return m_edges->list();
}

const std::vector<Triangle *> Triangulation::adjustantTriangles(std::size_t v) {
    topology::CornerLists const &lists = *m_vertexTriangles;
    if (!lists.covers(v))
        throw std::out_of_range("Triangulation::adjustantTriangles: vertex " + std::to_string(v) +
                                " is past every triangle corner");
    // The lists run newest first: fill from the back to return them in the order added.
    std::vector<Triangle *> result(lists.count(v));
    std::size_t next = result.size();
    std::vector<Triangle *> const &triangles = *m_triangles;
    lists.forEachNewestFirst(v, [&](std::size_t corner) { result[--next] = triangles[corner / 3]; });
    return result;
}

} // namespace ORVANE_DATABASE
