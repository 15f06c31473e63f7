#include "slicing.h"

#include "arrays.h"
#include "kernel_work.h"
#include "release_queue.h"

#include "slice_run.h"

#include <cmath>
#include <string>
#include <utility>

namespace orvane::python {

namespace {

void warn(std::string const &text) {
    if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 1) != 0) throw py::error_already_set();
}

py::list ringList(std::vector<Ring3> const &rings) {
    py::list out;
    for (Ring3 const &ring : rings) out.append(pointArray(ring));
    return out;
}

}  // namespace

py::list sliceMesh(Mesh &mesh, py::handle direction, py::handle layers, py::handle layerHeight) {
    SliceRequest request;
    request.direction = threeNumbers(direction, "direction");
    Vec3 const &d = request.direction;
    if (std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]) < 1e-9)
        throw py::value_error("direction must not be the zero vector");
    if (!layers.is_none() && !layerHeight.is_none()) throw py::value_error("give layers or layer_height, not both");
    if (!layerHeight.is_none()) request.layerHeight = finiteNumber(layerHeight, "layer_height", true);
    else request.layers = layers.is_none() ? 20 : integerInRange(layers, "layers", 1, kMostLayers);
    request.mostLayers = kMostLayers;
    if (mesh.triangleCount() == 0) throw py::value_error("the mesh has no triangles to slice");

    SliceResult result;
    try {
        KernelWork work;
        result = sliceModel(mesh.data(), request);   // a copy: the Mesh keeps its arrays
    } catch (UsageError const &e) {
        // The only refusal left after the checks above is the planner's, for too many layers
        // of a given height, worded for the command line.
        std::string text = e.what();
        std::string const option = "--layer-height";
        if (text.compare(0, option.size(), option) == 0) text.replace(0, option.size(), "layer_height");
        throw py::value_error(text);
    }
    // The placed mesh goes on the background thread, before the layers are converted.
    if (result.slicedMesh) releaseLater(std::move(result.slicedMesh));

    for (std::string const &warning : sliceWarnings(result)) warn(warning);
    py::list out;
    for (SliceLayer const &sliced : result.layers) {
        PythonLayer layer;
        layer.index = sliced.index;
        layer.height = sliced.height;
        layer.bottom = sliced.bottom;
        layer.top = sliced.top;
        for (SlicePolygon const &p : sliced.polygons) {
            PythonPolygon polygon;
            polygon.outer = pointArray(p.outer);
            polygon.holes = ringList(p.holes);
            layer.polygons.append(py::cast(std::move(polygon)));
        }
        layer.openContours = ringList(sliced.open);
        out.append(py::cast(std::move(layer)));
    }
    return out;
}

}  // namespace orvane::python
