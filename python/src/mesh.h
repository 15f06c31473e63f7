#pragma once
// The Python Mesh: a model as the flat arrays the tool's reader produces (welded coordinates
// and triangle corners), immutable once made, plus what the kernel builds from them on first
// use and keeps for later calls: the Triangulation, the BSP tree and the edge figures.
//
// The arrays are the mesh's own: Python sees them through read-only views. The kernel's
// objects are made and released here (OwnedMesh, BspTreePtr), so nothing the kernel hands
// over outlives the Mesh or leaks past it.
#include "cli_support.h"
#include "mesh_facts.h"
#include "model_io.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace orvane::python {

// What `orvane info` reports of the mesh's edges (mesh_facts.h), with the border and
// non-manifold edges listed.
struct EdgeFacts {
    MeshFacts facts;
    MeshEdgeLists lists;
};

class Mesh {
public:
    explicit Mesh(ModelData data);
    ~Mesh();
    Mesh(Mesh const &) = delete;
    Mesh &operator=(Mesh const &) = delete;

    ModelData const &data() const { return data_; }
    std::size_t vertexCount() const { return data_.vertexCount(); }
    std::size_t triangleCount() const { return data_.triangleCount(); }

    // The caches below are filled on first use and must be reached inside a KernelWork scope
    // (kernel_work.h): the lock keeps two threads from filling one twice.

    // The Triangulation of the arrays, every vertex added (also those no triangle uses).
    OwnedMesh &kernelMesh();
    // The BSP tree of kernelMesh(); throws InputError when the kernel cannot build one.
    ORVANE_DATABASE::BSPTree const &insideTree();
    EdgeFacts const &edgeFacts();

private:
    ModelData data_;
    std::unique_ptr<OwnedMesh> kernel_;
    BspTreePtr tree_;
    std::unique_ptr<EdgeFacts> edges_;
};

// The arrays of a mesh from Python's vertices (N, 3) and triangles (M, 3), checked
// (arrays.h). With `weld`, corners are merged exactly as the tool's reader merges a file's:
// each vertex is welded when a triangle first uses it, in corner order, through PointWelder
// (the kernel's tolerant point order, 1e-9 per coordinate), so vertices no triangle uses are
// dropped; without it both arrays are kept as given.
ModelData modelFromArrays(pybind11::handle vertices, pybind11::handle triangles, bool weld);

}  // namespace orvane::python
