#pragma once
// Test-side owner of a Triangulation: the mesh points at its vertices and triangles but owns
// neither, so every test that builds a mesh needs the same bookkeeping. TestMesh creates the
// Vertex and Triangle objects, hands them to its mesh, and releases all of it (mesh first).
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace orvane_test {

using ORVANE_DATABASE::Point3D;
using ORVANE_DATABASE::Triangle;
using ORVANE_DATABASE::Triangulation;
using ORVANE_DATABASE::Vertex;

class TestMesh {
public:
    TestMesh() : mesh_(new Triangulation()) {}
    TestMesh(TestMesh const &) = delete;
    TestMesh &operator=(TestMesh const &) = delete;
    ~TestMesh() {
        mesh_.reset();
        for (Triangle *t : triangles_) delete t;
        for (Vertex *v : vertices_) delete v;
    }

    Triangulation &mesh() { return *mesh_; }
    Triangulation *get() { return mesh_.get(); }
    // Hands the mesh to a new owner (a Voxelization destroys its mesh); the vertices and
    // triangles stay with this object and are released by it.
    Triangulation *release() { return mesh_.release(); }

    // Appends a vertex at (x, y, z) and returns its index.
    std::size_t addVertex(double x, double y, double z) {
        Vertex *v = new Vertex(new Point3D(x, y, z));
        vertices_.push_back(v);
        return mesh_->addVertex(v);
    }
    Triangle *addTriangle(std::size_t a, std::size_t b, std::size_t c) {
        Triangle *t = new Triangle(a, b, c);
        triangles_.push_back(t);
        mesh_->addTriangle(t);
        return t;
    }

    // Axis-aligned box from lo to hi: 8 vertices, 12 triangles wound counter-clockwise seen
    // from outside (right-hand normals point outward), two per face.
    static std::unique_ptr<TestMesh> box(Point3D const &lo, Point3D const &hi) {
        auto m = std::make_unique<TestMesh>();
        m->appendBox(lo, hi);
        return m;
    }
    // Adds a box to this mesh (several boxes make a multi-part mesh).
    void appendBox(Point3D const &lo, Point3D const &hi) {
        std::size_t base = mesh_->vertexList().size();
        for (int q = 0; q < 8; ++q)   // bit 0: x, bit 1: y, bit 2: z
            addVertex(q & 1 ? hi.x() : lo.x(), q & 2 ? hi.y() : lo.y(), q & 4 ? hi.z() : lo.z());
        static const int faces[12][3] = {
            {0, 2, 1}, {1, 2, 3},   // z low
            {4, 5, 6}, {5, 7, 6},   // z high
            {0, 1, 4}, {1, 5, 4},   // y low
            {2, 6, 3}, {3, 6, 7},   // y high
            {0, 4, 2}, {2, 4, 6},   // x low
            {1, 3, 5}, {3, 7, 5}};  // x high
        for (auto const &f : faces) addTriangle(base + f[0], base + f[1], base + f[2]);
    }

    // The tetrahedron (0,0,0), (1,0,0), (0,1,0), (0,0,1) with outward-facing triangles.
    static std::unique_ptr<TestMesh> tetrahedron() {
        auto m = std::make_unique<TestMesh>();
        m->addVertex(0, 0, 0);
        m->addVertex(1, 0, 0);
        m->addVertex(0, 1, 0);
        m->addVertex(0, 0, 1);
        m->addTriangle(0, 2, 1);
        m->addTriangle(0, 1, 3);
        m->addTriangle(0, 3, 2);
        m->addTriangle(1, 2, 3);
        return m;
    }

    // Closed UV sphere (outward triangles): `rings` >= 2 latitude bands, `segments` >= 3
    // longitude steps; 2 * segments * (rings - 1) triangles.
    static std::unique_ptr<TestMesh> sphere(double radius, int rings, int segments,
                                            Point3D const &centre = Point3D()) {
        auto m = std::make_unique<TestMesh>();
        const double pi = 3.14159265358979323846;
        std::size_t top = m->addVertex(centre.x(), centre.y(), centre.z() + radius);
        for (int r = 1; r < rings; ++r) {
            double phi = pi * r / rings;
            for (int s = 0; s < segments; ++s) {
                double th = 2 * pi * s / segments;
                m->addVertex(centre.x() + radius * std::sin(phi) * std::cos(th),
                             centre.y() + radius * std::sin(phi) * std::sin(th),
                             centre.z() + radius * std::cos(phi));
            }
        }
        std::size_t bottom = m->addVertex(centre.x(), centre.y(), centre.z() - radius);
        auto ring = [&](int r, int s) { return 1 + std::size_t(r - 1) * segments + (s % segments); };
        for (int s = 0; s < segments; ++s) m->addTriangle(top, ring(1, s), ring(1, s + 1));
        for (int r = 1; r < rings - 1; ++r)
            for (int s = 0; s < segments; ++s) {
                m->addTriangle(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
                m->addTriangle(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
            }
        for (int s = 0; s < segments; ++s) m->addTriangle(bottom, ring(rings - 1, s + 1), ring(rings - 1, s));
        return m;
    }

private:
    std::unique_ptr<Triangulation> mesh_;
    std::vector<Vertex *> vertices_;
    std::vector<Triangle *> triangles_;
};

}  // namespace orvane_test
