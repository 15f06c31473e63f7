#pragma once
// orvane.marching_cubes: the zero level surface of a sampled field, polygonised cube by cube
// with the kernel's MarchingCubes and welded into one mesh.
#include "model_io.h"

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>

namespace orvane::python {

namespace py = pybind11;

// The surface of the samples `values` (C order, counts[0] x counts[1] x counts[2], at least 2
// each, finite) at the points origin + spacing * (i, j, k). Cubes are polygonised at their
// grid positions (edge 1) and the result mapped afterwards, so that welding (PointWelder,
// 1e-9) works in grid units whatever the spacing. Triangles whose corners weld together are
// dropped. Wound by orientSurface as `orvane isosurface` winds its surfaces: consistently,
// a closed piece outward from what it encloses (a cavity's wall into the cavity), an open
// piece so that its normals point towards growing values (the gradient of each triangle's
// cube).
ModelData polygonise(double const *values, std::array<std::size_t, 3> const &counts,
                     std::array<double, 3> const &spacing, std::array<double, 3> const &origin);

// orvane.marching_cubes(values, spacing, origin) -> Mesh.
py::object marchingCubes(py::handle values, py::handle spacing, py::handle origin);

}  // namespace orvane::python
