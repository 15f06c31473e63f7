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
#include "point_welder.h"
#include "tool_errors.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct aiScene;

namespace orvane {

namespace odb = ORVANE_DATABASE;

// Objects of T in blocks that never move, so that a mesh can point at them, created one by
// one without an allocation each and destroyed in the order they were made.
template <class T>
class StableStore {
public:
    StableStore() = default;
    ~StableStore() { clear(); }
    StableStore(StableStore const &) = delete;
    StableStore &operator=(StableStore const &) = delete;

    template <class... Args>
    T &emplace(Args &&...args) {
        if (blocks_.empty() || used_ == kBlock) {
            blocks_.push_back(std::make_unique<Slot[]>(kBlock));
            used_ = 0;
        }
        T *made = new (&blocks_.back()[used_]) T(std::forward<Args>(args)...);
        ++used_;
        ++size_;
        return *made;
    }
    T &operator[](std::size_t i) { return *std::launder(reinterpret_cast<T *>(&blocks_[i / kBlock][i % kBlock])); }
    T const &operator[](std::size_t i) const {
        return *std::launder(reinterpret_cast<T const *>(&blocks_[i / kBlock][i % kBlock]));
    }
    std::size_t size() const { return size_; }
    void clear() {
        for (std::size_t i = 0; i < size_; ++i) (*this)[i].~T();
        blocks_.clear();
        byAddress_.clear();
        used_ = size_ = 0;
    }

    // The index of the object at `p`, or SIZE_MAX when `p` is not one of this store's
    // objects. A binary search over the blocks by address: O(log blocks), no hashing. Not
    // safe to call from two threads while a block is being added.
    std::size_t indexOf(T const *p) const {
        std::uintptr_t const a = reinterpret_cast<std::uintptr_t>(p);
        if (byAddress_.size() != blocks_.size()) {
            byAddress_.clear();
            for (std::size_t b = 0; b < blocks_.size(); ++b)
                byAddress_.emplace_back(reinterpret_cast<std::uintptr_t>(blocks_[b].get()), b);
            std::sort(byAddress_.begin(), byAddress_.end());
        }
        auto it = std::upper_bound(byAddress_.begin(), byAddress_.end(),
                                   std::make_pair(a, SIZE_MAX));
        if (it == byAddress_.begin()) return SIZE_MAX;
        --it;
        std::uintptr_t const offset = a - it->first;
        if (offset >= kBlock * sizeof(Slot) || offset % sizeof(Slot) != 0) return SIZE_MAX;
        std::size_t const index = it->second * kBlock + offset / sizeof(Slot);
        return index < size_ ? index : SIZE_MAX;
    }

private:
    struct alignas(T) Slot {
        unsigned char bytes[sizeof(T)];
    };
    static constexpr std::size_t kBlock = 4096;
    std::vector<std::unique_ptr<Slot[]>> blocks_;
    mutable std::vector<std::pair<std::uintptr_t, std::size_t>> byAddress_;   // (start, block)
    std::size_t used_ = 0;
    std::size_t size_ = 0;
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
    odb::Point3D const &point(std::size_t v) const { return points_[v]; }
    // The index of the vertex whose point is `p`, or SIZE_MAX when `p` is not a point of
    // this mesh (face meshes of a segmentation share the source mesh's points).
    std::size_t vertexOfPoint(odb::Point3D const *p) const { return points_.indexOf(p); }
    odb::Triangle &triangle(std::size_t t) { return triangles_[t]; }

    // Triangles that name one vertex twice (after welding). Kept in the mesh as read; counted
    // so that `info` can report them.
    std::size_t degenerateTriangles() const { return degenerate_; }

private:
    std::unique_ptr<odb::Triangulation> mesh_;
    // The points live in blocks of their own rather than one heap object per vertex: one
    // allocation per 4096 points, and a point's vertex found by its address. Every vertex is
    // detached from its point before it is destroyed, since ~Vertex deletes its point.
    StableStore<odb::Point3D> points_;
    StableStore<odb::Vertex> vertices_;
    StableStore<odb::Triangle> triangles_;
    std::size_t degenerate_ = 0;
};

// A model as flat arrays, the form in which it travels from the reader to the commands:
// welded vertex coordinates and triangle corners, in the order the file gave them.
struct ModelData {
    std::vector<double> coords;          // x, y, z of each vertex
    std::vector<std::uint32_t> corners;  // three vertex indices per triangle

    std::size_t vertexCount() const { return coords.size() / 3; }
    std::size_t triangleCount() const { return corners.size() / 3; }
    // Triangles that name one vertex twice.
    std::size_t degenerateTriangles() const;
    // Lower and upper corner of the vertices' box (zeros for no vertex).
    std::array<double, 6> box() const;
};

// An affine map p -> A p + t that a command applies to the coordinates while it builds the
// mesh (to place the model where an algorithm works best) and undoes on what it writes.
struct Placement {
    double a[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double t[3] = {0, 0, 0};
    std::array<double, 3> apply(double x, double y, double z) const {
        return {{a[0][0] * x + a[0][1] * y + a[0][2] * z + t[0],
                 a[1][0] * x + a[1][1] * y + a[1][2] * z + t[1],
                 a[2][0] * x + a[2][1] * y + a[2][2] * z + t[2]}};
    }
};

// Progress of a long step: called with the work done so far and the whole (same unit).
using ProgressReport = std::function<void(std::size_t done, std::size_t total)>;
// The reader's progress: which of its two steps, and how far along it.
enum class ImportStage : unsigned char { Reading = 0, Welding = 1 };
using ImportReport = std::function<void(ImportStage stage, std::size_t done, std::size_t total)>;

// Builds the Triangulation of `data`, every vertex placed by `placement` (when given), all
// vertices before the triangles.
std::unique_ptr<OwnedMesh> buildMesh(ModelData const &data, Placement const *placement = nullptr,
                                     ProgressReport const &report = {});

// Adds vertices to an OwnedMesh, merging a point with an earlier one when the library's
// tolerant point order (OrvaneDatabase::LessThan, 1e-9 per coordinate) finds them
// equivalent, so that neighbouring triangles share vertices and therefore edges. Exactly the
// merging of an ordered map, in linear time (PointWelder).
class VertexWelder {
public:
    explicit VertexWelder(OwnedMesh &owner);
    // Index of the vertex at (x, y, z): an existing equivalent one, or a new one.
    std::size_t add(double x, double y, double z);

private:
    OwnedMesh &owner_;
    std::size_t base_;
    std::vector<double> coords_;
    PointWelder welder_;
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
// `report`, when given, hears the importer's progress: reading (permille of the file), then
// welding (corners done of all corners).
ModelData readModel(std::string const &path, ImportReport const &report = {});
// readModel, then buildMesh without placement: the welded mesh of a file.
std::unique_ptr<OwnedMesh> loadModel(std::string const &path);

// The welded model of an imported scene: every mesh of every node, placed by the node's
// transforms (composed from the root down); only triangles are taken. `source` names the
// file in messages. Throws InputError for a non-finite coordinate, a vertex index out of
// range and a scene without triangles.
ModelData modelFromScene(aiScene const &scene, std::string const &source,
                         ImportReport const &report = {});

}  // namespace orvane
