#include "mesh.h"

#include "arrays.h"
#include "release_queue.h"

#include "BSPTree.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace orvane::python {

namespace py = pybind11;

Mesh::Mesh(ModelData data) : data_(std::move(data)) {}

// The kernel's objects go off the caller's time (Python holds the GIL here): the tree first,
// then the mesh it was built from (a pair releases its second member first).
Mesh::~Mesh() {
    if (kernel_) releaseLater(std::make_pair(std::move(kernel_), std::move(tree_)));
}

OwnedMesh &Mesh::kernelMesh() {
    if (!kernel_) kernel_ = buildMesh(data_);
    return *kernel_;
}

ORVANE_DATABASE::BSPTree const &Mesh::insideTree() {
    if (!tree_) {
        tree_.reset(kernelMesh().mesh().BSP());
        if (!tree_)
            throw InputError("the mesh's BSP tree cannot be built: it would need more than 7000 levels (too "
                             "many triangles in distinct planes), so inside and outside are not available");
    }
    return *tree_;
}

EdgeFacts const &Mesh::edgeFacts() {
    if (!edges_) {
        auto edges = std::make_unique<EdgeFacts>();
        edges->facts = meshFacts(data_.coords.data(), data_.vertexCount(), data_.corners.data(), data_.triangleCount(),
                                 {}, &edges->lists);
        edges_ = std::move(edges);
    }
    return *edges_;
}

ModelData modelFromArrays(py::handle vertices, py::handle triangles, bool weld) {
    auto const points = pointRows(vertices, "vertices");
    std::size_t const n = static_cast<std::size_t>(points.shape(0));
    if (n > std::numeric_limits<std::uint32_t>::max())
        throw py::value_error("vertices: at most 4294967295 vertices, got " + std::to_string(n));
    ModelData out;
    out.corners = triangleRows(triangles, n);
    double const *p = points.data();
    py::gil_scoped_release release;   // `points` stays alive in this scope; only its buffer is read
    if (!weld) {
        out.coords.assign(p, p + 3 * n);
        return out;
    }
    // The reader's order: a vertex is welded when a triangle first names it.
    constexpr std::uint32_t unused = std::numeric_limits<std::uint32_t>::max();
    std::vector<std::uint32_t> welded(n, unused);
    PointWelder welder(out.coords);
    welder.reserve(std::min(n, out.corners.size()) + 16);
    for (std::uint32_t &corner : out.corners) {
        std::uint32_t &v = welded[corner];
        if (v == unused) v = welder.add(p[3 * std::size_t(corner)], p[3 * std::size_t(corner) + 1], p[3 * std::size_t(corner) + 2]);
        corner = v;
    }
    return out;
}

}  // namespace orvane::python
