#pragma once
// Mesh.slice: the tool's slicing pipeline (slice_run.h) on a Mesh, its layers handed to
// Python as NumPy arrays: the same placement, contours, nesting and orientation as
// `orvane slice`.
#include "mesh.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace orvane::python {

namespace py = pybind11;

// The layer count the tool allows.
constexpr long long kMostLayers = 100000;

// What Python receives.
struct PythonPolygon {
    py::array outer;   // (K, 3), counter-clockwise about the direction, the first point not repeated
    py::list holes;    // of (K, 3) arrays, clockwise
};
struct PythonLayer {
    long long index = 0;
    double height = 0, bottom = 0, top = 0;
    py::list polygons;        // of PythonPolygon
    py::list openContours;    // of (K, 3) arrays
};

// Mesh.slice(direction, layers, layer_height): the arguments checked here (ValueError and
// TypeError naming them), the work done by sliceModel without the GIL, its warnings raised
// as RuntimeWarning, and the slicer's placed mesh released in the background.
py::list sliceMesh(Mesh &mesh, py::handle direction, py::handle layers, py::handle layerHeight);

}  // namespace orvane::python
