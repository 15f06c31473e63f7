#pragma once
// Model reading for the orvane tool and the benchmarks: files in, a welded Triangulation out.
//
// A Triangulation points at its Vertex and Triangle objects but owns neither, so every mesh
// the tool builds lives in an OwnedMesh that holds all three and releases them in the one
// safe order (mesh, then triangles, then vertices).
#include "OrvaneDatabase.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

struct aiScene;

namespace orvane {

namespace odb = ORVANE_DATABASE;

// A model file that cannot be used: missing, unknown format, corrupt, empty, non-finite.
// what() is one line naming the file and the problem, ready for stderr.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Owner of a Triangulation and of the Vertex and Triangle objects it points to.
class OwnedMesh {
public:
    OwnedMesh();
    ~OwnedMesh();
    OwnedMesh(OwnedMesh const &) = delete;
    OwnedMesh &operator=(OwnedMesh const &) = delete;

    // The mesh; precondition: not released.
    odb::Triangulation &mesh() { return *mesh_; }
    odb::Triangulation const &mesh() const { return *mesh_; }
    bool hasMesh() const { return mesh_ != nullptr; }

    // Appends a new vertex at (x, y, z) (no welding) and returns its index.
    std::size_t addVertex(double x, double y, double z);
    // Appends the triangle of three vertex indices (corner order kept). Builders add all
    // vertices before the triangles where they can: the mesh sizes its per-vertex tables by
    // the vertex count at that moment.
    void addTriangle(std::size_t a, std::size_t b, std::size_t c);

    // Hands the Triangulation object alone to a new owner (a Voxelization destroys the mesh
    // it is given). The vertices and triangles stay here and are released by this object,
    // which must therefore outlive the new owner's use of the mesh.
    odb::Triangulation *releaseMesh() { return mesh_.release(); }

    std::size_t vertexCount() const { return vertices_.size(); }
    std::size_t triangleCount() const { return triangles_.size(); }
    odb::Point3D const &point(std::size_t v) const { return *vertices_[v]->point(); }
    odb::Triangle &triangle(std::size_t t) { return *triangles_[t]; }

    // Triangles that name one vertex twice (after welding). Kept in the mesh as read; counted
    // so that `info` can report them.
    std::size_t degenerateTriangles() const { return degenerate_; }

private:
    std::unique_ptr<odb::Triangulation> mesh_;
    std::vector<std::unique_ptr<odb::Vertex>> vertices_;
    std::vector<std::unique_ptr<odb::Triangle>> triangles_;
    std::size_t degenerate_ = 0;
};

// Adds vertices to an OwnedMesh, merging a point with an earlier one when the library's
// tolerant point order (OrvaneDatabase::LessThan, 1e-9 per coordinate) finds them
// equivalent, so that neighbouring triangles share vertices and therefore edges.
class VertexWelder {
public:
    explicit VertexWelder(OwnedMesh &owner) : owner_(owner) {}
    // Index of the vertex at (x, y, z): an existing equivalent one, or a new one.
    std::size_t add(double x, double y, double z);

private:
    OwnedMesh &owner_;
    // Keys are the points owned by the mesh's vertices, which live as long as the owner.
    std::map<odb::Point3D *, std::size_t, odb::OrvaneDatabase::LessThan> index_;
};

// Model formats the reader accepts, by lower-case file extension without the dot.
bool isModelExtension(std::string const &extension);
// "STL, OBJ, PLY, OFF or 3MF": for messages.
std::string modelFormatList();

// Reads a model file (STL ascii or binary, OBJ, PLY, OFF, 3MF) with Assimp, triangulating
// polygons, and returns one welded mesh of all the scene's meshes, each placed by its node
// transforms. Lines and points in the file are ignored; triangles that repeat a vertex are
// kept and counted. Throws InputError (one line: file and problem) for a missing or
// unreadable file, an unknown format, a file the importer rejects (truncated, corrupt), a
// file without triangles and non-finite coordinates.
std::unique_ptr<OwnedMesh> loadModel(std::string const &path);

// The welded mesh of an imported scene: every mesh of every node, placed by the node's
// transforms (composed from the root down); only triangles are taken. `source` names the
// file in messages. Throws InputError for a non-finite coordinate, a vertex index out of
// range and a scene without triangles.
std::unique_ptr<OwnedMesh> meshFromScene(aiScene const &scene, std::string const &source);

}  // namespace orvane
