// Strong edges and face growing.
#include "Segmentation.h"

#include "Edge.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "segmentation/CornerPoints.h"
#include "segmentation/FaceGraph.h"
#include "segmentation/FaceGrowing.h"
#include "segmentation/FaceMesh.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

namespace ORVANE_DATABASE {

namespace {

// The threshold in radians, as the strong-edge test compares it.
double limitRadians(double degrees) { return degrees * 3.141592653589793 / 180.0; }

Outcome strongEdgeNotFound() { return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "Strong Edge not found"); }

std::string faceName(std::size_t number, double angle) {
    std::ostringstream name;
    name << "Face-" << number << "_" << angle;
    return name.str();
}

// The seed of the next face: the first triangle, then the second, of the first strong edge
// (in set order) that is still unassigned; null when no strong edge offers one.
template <class IsUnassigned>
Triangle *seedFromStrongEdges(std::set<Edge *> const &strong, IsUnassigned isUnassigned) {
    for (Edge *e : strong) {
        std::set<Triangle *> const &around = *e->triangles;
        if (around.empty()) continue;
        auto it = around.begin();
        if (isUnassigned(*it)) return *it;
        if (around.size() >= 2 && isUnassigned(*++it)) return *it;
    }
    return nullptr;
}

// Releases a face mesh that will not be delivered, with its vertices (detached from the
// source's points, which they share) and triangles.
void discardFaceMesh(std::unique_ptr<Triangulation> mesh) {
    std::vector<Vertex *> vertices = mesh->vertexList();
    std::vector<Triangle *> triangles = mesh->triangleList();
    mesh.reset();
    for (Triangle *t : triangles) delete t;
    for (Vertex *v : vertices) {
        *v = Vertex(nullptr);
        delete v;
    }
}

}  // namespace

Segmentation::Segmentation(Triangulation *mesh, double angle) : m_mesh(mesh), m_angle(angle) {}

Segmentation::~Segmentation() = default;

Segmentation &Segmentation::operator=(Segmentation const &other) {
    m_mesh = other.m_mesh;
    m_angle = other.m_angle;
    return *this;
}

Outcome Segmentation::findStrongEdges(std::set<Edge *> &strong) {
    // The graph's edge pass is the strong-edge test; a corner naming no vertex throws only
    // where the test reads it, so `strong` is left untouched then.
    FaceGraph const graph(*m_mesh, CornerPoints(m_mesh->vertexList(), m_mesh->triangleList()),
                          limitRadians(m_angle));
    for (FaceGraph::StrongEdge const &s : graph.strongEdges()) strong.insert(strong.end(), s.edge);
    if (strong.empty()) return strongEdgeNotFound();
    return Outcome();
}

Outcome Segmentation::segmentize(std::set<Triangulation *> &faces) {
    // Finding the faces needs the graph and the corner points; they are released before the
    // face meshes (most of the memory) are made.
    std::vector<Triangle *> triangles;   // by rank: pointer order
    GrownFaces grown;
    std::unique_ptr<FaceMeshBuilder> builder;
    {
        CornerPoints const points(m_mesh->vertexList(), m_mesh->triangleList());
        FaceGraph graph(*m_mesh, points, limitRadians(m_angle));
        if (graph.strongEdges().empty()) return strongEdgeNotFound();
        graph.requireCorners();   // before any face is made
        grown = growFaces(*m_mesh, graph);
        triangles = graph.takeTriangles();
        builder = std::make_unique<FaceMeshBuilder>(m_mesh->vertexList(), points);
    }

    std::vector<Triangle *> face;
    for (std::size_t k = 0; k < grown.count(); ++k) {
        auto mesh = std::make_unique<Triangulation>();
        face.clear();
        for (std::size_t i = grown.first[k]; i < grown.first[k + 1]; ++i) face.push_back(triangles[grown.ranks[i]]);
        // Grown faces are never empty, so the failure below is not reached; it answers a pass
        // that yields an empty mesh, as the one-pass operations do.
        if (face.empty()) {
            faces.clear();
            return Outcome(Outcome::FAILURE, Outcome::API_FAIL, "Triangulation creation failed");
        }
        try {
            builder->build(face, *mesh);
            mesh->setName(faceName(faces.size() + 1, m_angle));
            faces.insert(mesh.get());
        } catch (...) {   // out of memory: release what this face made, keep the faces before
            discardFaceMesh(std::move(mesh));
            throw;
        }
        mesh.release();
    }
    return Outcome();
}

void Segmentation::createFaces(std::set<Triangle *> &unassigned, std::set<Edge *> &strong,
                               Triangulation &face) {
    auto isUnassigned = [&](Triangle *t) { return unassigned.count(t) != 0; };
    Triangle *seed = seedFromStrongEdges(strong, isUnassigned);
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
    std::vector<Triangle *> const triangles(face.begin(), face.end());
    std::vector<Vertex *> const &vertices = m_mesh->vertexList();
    for (Triangle *t : triangles)   // every corner resolved before anything is allocated
        for (std::size_t c = 0; c < 3; ++c) vertices.at(t->vertexIndex(c));
    buildFaceMeshWithMap(vertices, triangles, mesh);
}

}  // namespace ORVANE_DATABASE
