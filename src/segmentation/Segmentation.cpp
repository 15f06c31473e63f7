// Strong edges and face growing.
#include "Segmentation.h"

#include "Direction3D.h"
#include "Edge.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "segmentation/FaceGraph.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

namespace ORVANE_DATABASE {

namespace {

Vector3D normalOf(std::vector<Vertex *> const &vertices, Triangle *t) {
    Vector3D const &p = vertices.at(t->vertexIndex(0))->point()->vector();
    Vector3D const &q = vertices.at(t->vertexIndex(1))->point()->vector();
    Vector3D const &r = vertices.at(t->vertexIndex(2))->point()->vector();
    return (q - p) ^ (r - p);
}

// Border edges, and edges whose first two triangles' normals differ by more than `limit`
// radians (-1 for a degenerate triangle, so such an edge is strong only for a limit below -1).
bool isStrong(std::vector<Vertex *> const &vertices, Edge *e, double limit) {
    std::set<Triangle *> const &around = *e->triangles;
    if (around.size() < 2) return true;
    auto it = around.begin();
    Vector3D n = normalOf(vertices, *it);
    Vector3D m = normalOf(vertices, *++it);
    return n.angle(m, static_cast<Direction3D *>(nullptr), Tolerance()) > limit;
}

std::string faceName(std::size_t number, double angle) {
    std::ostringstream name;
    name << "Face-" << number << "_" << angle;
    return name.str();
}

// The seed of the next face: the first triangle, then the second, of the first strong edge
// (from `cursor` on, in set order) that is still unassigned. The cursor stays on the edge that
// gave the seed, since its other triangle may seed a later face; an edge passed over never
// offers a seed again, because triangles only ever leave the unassigned set.
template <class IsUnassigned>
Triangle *seedFromStrongEdges(std::set<Edge *>::const_iterator &cursor,
                              std::set<Edge *>::const_iterator end, IsUnassigned isUnassigned) {
    for (; cursor != end; ++cursor) {
        std::set<Triangle *> const &around = *(*cursor)->triangles;
        if (around.empty()) continue;
        auto it = around.begin();
        if (isUnassigned(*it)) return *it;
        if (around.size() >= 2 && isUnassigned(*++it)) return *it;
    }
    return nullptr;
}

// Face growing over a FaceGraph: the same seeds and the same breadth-first order as
// createFaces/getConnected on std::sets, with flags and arrays instead of tree searches, and a
// seed search that resumes where the previous face's search stopped.
class FaceGrower {
public:
    FaceGrower(Triangulation const &mesh, std::set<Edge *> const &strong)
        : m_mesh(mesh), m_graph(mesh, strong), m_strongCursor(strong.begin()),
          m_strongEnd(strong.end()), m_unassigned(m_graph.size(), 1),
          m_faceOf(m_graph.size(), 0), m_remaining(m_graph.size()) {}

    bool done() const { return m_remaining == 0; }

    // The source triangles of the next face, in pointer order.
    void nextFace(std::vector<Triangle *> &face) {
        face.clear();
        FaceGraph::Rank seed = nextSeed();
        if (seed == FaceGraph::kNone) return;
        ++m_face;
        m_queue.assign(1, seed);
        join(seed);
        for (std::size_t i = 0; i < m_queue.size(); ++i)
            for (int slot = 0; slot < 3; ++slot) {
                FaceGraph::Rank n = m_graph.across(m_queue[i], slot);
                if (n != FaceGraph::kNone && m_faceOf[n] != m_face) {
                    m_queue.push_back(n);
                    join(n);
                }
            }
        std::sort(m_queue.begin(), m_queue.end());
        face.reserve(m_queue.size());
        for (FaceGraph::Rank r : m_queue) face.push_back(m_graph.triangle(r));
    }

private:
    void join(FaceGraph::Rank r) {
        m_faceOf[r] = m_face;
        if (m_unassigned[r]) {
            m_unassigned[r] = 0;
            --m_remaining;
        }
    }

    FaceGraph::Rank nextSeed() {
        Triangle *seed = seedFromStrongEdges(m_strongCursor, m_strongEnd, [this](Triangle *t) {
            FaceGraph::Rank r = m_graph.rankOf(t);
            return r != FaceGraph::kNone && m_unassigned[r];
        });
        if (seed) return m_graph.rankOf(seed);
        // No strong edge touches what is left: the lowest-index unassigned triangle.
        std::vector<Triangle *> const &list = m_mesh.triangleList();
        for (; m_listCursor < list.size(); ++m_listCursor) {
            FaceGraph::Rank r = m_graph.rankOf(list[m_listCursor]);
            if (m_unassigned[r]) return r;
        }
        return FaceGraph::kNone;
    }

    Triangulation const &m_mesh;
    FaceGraph m_graph;
    std::set<Edge *>::const_iterator m_strongCursor, m_strongEnd;
    std::size_t m_listCursor = 0;
    std::vector<char> m_unassigned;
    std::vector<std::uint32_t> m_faceOf;   // serial of the face a triangle joined; 0 for none
    std::uint32_t m_face = 0;
    std::size_t m_remaining;
    std::vector<FaceGraph::Rank> m_queue;
};

}  // namespace

Segmentation::Segmentation(Triangulation *mesh, double angle) : m_mesh(mesh), m_angle(angle) {}

Segmentation::~Segmentation() = default;

Segmentation &Segmentation::operator=(Segmentation const &other) {
    m_mesh = other.m_mesh;
    m_angle = other.m_angle;
    return *this;
}

Outcome Segmentation::findStrongEdges(std::set<Edge *> &strong) {
    double const limit = m_angle * 3.141592653589793 / 180.0;
    std::vector<Vertex *> const &vertices = m_mesh->vertexList();
    // Every edge of the mesh is visited once, from the first triangle of its set; edges are
    // made only by addTriangle, so that triangle is in the triangle list. The strong edges
    // are gathered first so that an out_of_range from a bad corner leaves `strong` untouched.
    std::vector<Edge *> found;
    for (Triangle *t : m_mesh->triangleList())
        for (int slot = 0; slot < 3; ++slot) {
            Edge *e = t->edge(slot);
            if (e && !e->triangles->empty() && *e->triangles->begin() == t &&
                isStrong(vertices, e, limit))
                found.push_back(e);
        }
    strong.insert(found.begin(), found.end());
    if (strong.empty()) return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "Strong Edge not found");
    return Outcome();
}

Outcome Segmentation::segmentize(std::set<Triangulation *> &faces) {
    std::set<Edge *> strong;
    Outcome found = findStrongEdges(strong);
    if (!found.isOk()) return found;

    FaceGrower grower(*m_mesh, strong);
    std::vector<Triangle *> face;
    while (!grower.done()) {
        auto mesh = std::make_unique<Triangulation>();
        grower.nextFace(face);
        buildFaceMesh(*m_mesh, face, *mesh);
        if (mesh->triangleList().empty() && mesh->vertexList().empty()) {
            faces.clear();
            return Outcome(Outcome::FAILURE, Outcome::API_FAIL, "Triangulation creation failed");
        }
        mesh->setName(faceName(faces.size() + 1, m_angle));
        faces.insert(mesh.get());
        mesh.release();
    }
    return Outcome();
}

void Segmentation::createFaces(std::set<Triangle *> &unassigned, std::set<Edge *> &strong,
                               Triangulation &face) {
    auto cursor = strong.cbegin();
    auto isUnassigned = [&](Triangle *t) { return unassigned.count(t) != 0; };
    Triangle *seed = seedFromStrongEdges(cursor, strong.cend(), isUnassigned);
    if (!seed) {
        std::vector<Triangle *> const &list = m_mesh->triangleList();
        auto first = std::find_if(list.begin(), list.end(), isUnassigned);
        if (first == list.end()) {
            unassigned.clear();   // nothing of this mesh is left to seed a face
            return;
        }
        seed = *first;
    }
    std::set<Triangle *> members;
    getConnected(seed, unassigned, strong, members);
    if (!members.empty())
        createTriangulation(members, face);
}

void Segmentation::getConnected(Triangle *seed, std::set<Triangle *> &unassigned,
                                std::set<Edge *> &strong, std::set<Triangle *> &face) {
    if (!face.insert(seed).second) return;
    unassigned.erase(seed);
    std::vector<Triangle *> queue{seed};
    for (std::size_t i = 0; i < queue.size(); ++i) {
        Triangle *t = queue[i];
        for (int slot = 0; slot < 3; ++slot) {
            Edge *e = t->edge(slot);
            if (!e || strong.count(e)) continue;
            Triangle *n = neighbourAcross(t, e);
            if (n && face.insert(n).second) {
                queue.push_back(n);
                unassigned.erase(n);
            }
        }
    }
}

void Segmentation::createTriangulation(std::set<Triangle *> const &face, Triangulation &mesh) {
    buildFaceMesh(*m_mesh, std::vector<Triangle *>(face.begin(), face.end()), mesh);
}

}  // namespace ORVANE_DATABASE
