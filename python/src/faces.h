#pragma once
// Mesh.segment and Mesh.boundaries: the kernel's Segmentation on a mesh, its face meshes and
// border contours turned into arrays and released.
#include "mesh.h"

#include <pybind11/pybind11.h>

namespace orvane::python {

namespace py = pybind11;

// Mesh.segment(angle): (list of Mesh, int64 array of the face of each triangle), through the
// tool's splitFaces (face_split.h), so that faces are numbered and ordered as `orvane
// segment` writes them.
py::tuple segmentMesh(Mesh &mesh, py::handle angle);
// Mesh.boundaries(): the border contours as (K, 3) arrays.
py::list meshBoundaries(Mesh &mesh);

}  // namespace orvane::python
