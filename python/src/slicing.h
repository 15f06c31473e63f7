#pragma once
// Mesh.slice: layer contours placed and classified exactly as the tool's `slice` command
// places and classifies them, nested into polygons (an outer contour with the holes directly
// inside it) and handed to Python as NumPy arrays.
#include "mesh.h"
#include "release_queue.h"
#include "slice_plan.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <vector>

namespace orvane::python {

namespace py = pybind11;

// The layer count the tool allows.
constexpr long long kMostLayers = 100000;

// A slicing run in C++ terms: per layer its closed contours nested into polygons, and its
// open contours, every contour in model coordinates on its layer's nominal plane.
struct SlicedPolygon {
    ContourData outer;
    std::vector<ContourData> holes;
};
struct SlicedLayer {
    int index = 0;        // 1-based
    double height = 0;    // along the direction, from the origin
    std::vector<SlicedPolygon> polygons;
    std::vector<ContourData> open;
};
struct SliceRun {
    std::vector<SlicedLayer> layers;
    double layerHeight = 0;
    bool clear = true;        // no vertex lies on or next to a plane
    double clearance = 0;     // nearest distance of a vertex to a plane
    bool closed = true;       // the model has neither border nor non-manifold edges
    std::size_t openContours = 0;
    // The slicer, its placed mesh and its contours, to be released once the layers are
    // handed over (release_queue.h).
    std::unique_ptr<Garbage> spent;
};

// Slices `model` (at least one triangle) along `direction` (not zero): `layers` layers over
// its extent when `layers` > 0, else layers of exactly `layerHeight` from its bottom; the
// tool's placement (slice_plan.h), slicer and nesting. Throws UsageError for more than
// kMostLayers layers. Runs inside a KernelWork scope.
SliceRun sliceModelLayers(ModelData const &model, Vec3 const &direction, long long layers, double layerHeight);

// What Python receives.
struct PythonPolygon {
    py::array outer;   // (K, 3), closed: the last point repeats the first
    py::list holes;    // of (K, 3) arrays
};
struct PythonLayer {
    int index = 0;
    double height = 0;
    py::list polygons;        // of PythonPolygon
    py::list openContours;    // of (K, 3) arrays
};

// Mesh.slice(direction, layers, layer_height) with its checks and warnings.
py::list sliceMesh(Mesh &mesh, py::handle direction, py::handle layers, py::handle layerHeight);

}  // namespace orvane::python
