#pragma once
// Mesh.segment and Mesh.boundaries: the kernel's Segmentation on a mesh, its face meshes and
// border contours turned into arrays and released.
#include "mesh.h"

#include <pybind11/pybind11.h>

#include <cstdint>
#include <vector>

namespace orvane::python {

namespace py = pybind11;

// The faces of a mesh split along edges sharper than `angle` degrees, numbered as the tool's
// `segment` numbers them (by their lowest source triangle, so that the numbering does not
// depend on where the kernel's objects were allocated); within a face, triangles follow the
// source's order and vertices their first use. `faceOf` gives each source triangle's face.
// A mesh without any strong edge (smooth and closed) is one face. Runs inside KernelWork.
struct FaceSplit {
    std::vector<ModelData> faces;
    std::vector<std::int64_t> faceOf;
};
FaceSplit splitFaces(Mesh &mesh, double angle);

// Mesh.segment(angle): (list of Mesh, int64 array of the face of each triangle).
py::tuple segmentMesh(Mesh &mesh, py::handle angle);
// Mesh.boundaries(): the border contours as (K, 3) arrays.
py::list meshBoundaries(Mesh &mesh);

}  // namespace orvane::python
