#include "slicing.h"

#include "arrays.h"
#include "contour_export.h"
#include "kernel_work.h"

#include "Direction3D.h"
#include "Edge.h"
#include "PLC.h"
#include "Profiler.h"
#include "Triangle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

namespace orvane::python {

namespace odb = ORVANE_DATABASE;

namespace {

// A closed contour flattened into its layer's plane, for nesting.
struct Ring {
    std::vector<std::array<double, 2>> points;
    double lo[2] = {HUGE_VAL, HUGE_VAL}, hi[2] = {-HUGE_VAL, -HUGE_VAL};
    double area = 0;   // unsigned
};

Ring flatten(ContourData const &c, ViewFrame const &frame) {
    Ring r;
    for (odb::Point3D const &p : c.points) {
        std::array<double, 2> const q{{frame.u[0] * p.x() + frame.u[1] * p.y() + frame.u[2] * p.z(),
                                       frame.v[0] * p.x() + frame.v[1] * p.y() + frame.v[2] * p.z()}};
        r.points.push_back(q);
        for (int k = 0; k < 2; ++k) r.lo[k] = std::min(r.lo[k], q[k]), r.hi[k] = std::max(r.hi[k], q[k]);
    }
    double twice = 0;
    for (std::size_t i = 0, n = r.points.size(); i < n; ++i) {
        auto const &a = r.points[i], &b = r.points[(i + 1) % n];
        twice += a[0] * b[1] - a[1] * b[0];
    }
    r.area = std::fabs(twice) / 2;
    return r;
}

// Even-odd test of q against the closed ring r, as the tool's contour classification does.
bool encloses(Ring const &r, std::array<double, 2> const &q) {
    if (r.points.size() < 3 || q[0] < r.lo[0] || q[0] > r.hi[0] || q[1] < r.lo[1] || q[1] > r.hi[1]) return false;
    bool in = false;
    for (std::size_t i = 0, j = r.points.size() - 1; i < r.points.size(); j = i++) {
        auto const &a = r.points[i], &b = r.points[j];
        if ((a[1] > q[1]) != (b[1] > q[1]) && q[0] < (b[0] - a[0]) * (q[1] - a[1]) / (b[1] - a[1]) + a[0]) in = !in;
    }
    return in;
}

// The layer's contours as polygons: classifyContours tells outer from hole (by nesting
// depth), and each hole joins the smallest outer contour that encloses its first point,
// which is the innermost one. A hole that no outer contour encloses (only possible for
// contours that cross one another) becomes a polygon of its own.
SlicedLayer nestLayer(Layer &layer, ViewFrame const &frame) {
    classifyContours(layer, frame);
    SlicedLayer out;
    out.index = layer.index;
    out.height = layer.height;
    std::size_t const n = layer.contours.size();
    std::vector<Ring> rings(n);
    std::vector<std::size_t> polygonOf(n, SIZE_MAX);
    for (std::size_t i = 0; i < n; ++i) {
        if (layer.kinds[i] == ContourKind::Open) continue;
        rings[i] = flatten(layer.contours[i], frame);
        if (layer.kinds[i] == ContourKind::Outer) {
            polygonOf[i] = out.polygons.size();
            out.polygons.push_back({layer.contours[i], {}});
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (layer.kinds[i] == ContourKind::Open) {
            out.open.push_back(std::move(layer.contours[i]));
            continue;
        }
        if (layer.kinds[i] != ContourKind::Hole) continue;
        std::size_t parent = SIZE_MAX;
        if (!rings[i].points.empty())
            for (std::size_t j = 0; j < n; ++j)
                if (layer.kinds[j] == ContourKind::Outer && encloses(rings[j], rings[i].points.front()) &&
                    (parent == SIZE_MAX || rings[j].area < rings[parent].area))
                    parent = j;
        if (parent == SIZE_MAX) out.polygons.push_back({std::move(layer.contours[i]), {}});
        else out.polygons[polygonOf[parent]].holes.push_back(std::move(layer.contours[i]));
    }
    return out;
}

}  // namespace

SliceRun sliceModelLayers(ModelData const &model, Vec3 const &direction, long long layers, double layerHeight) {
    double const length = std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] + direction[2] * direction[2]);
    Vec3 const d{{direction[0] / length, direction[1] / length, direction[2] / length}};
    SlicePlan const plan = planSlices(model, d, layers, layerHeight, kMostLayers);
    SliceRun run;
    run.layerHeight = plan.layerHeight;
    run.clear = plan.clear;
    run.clearance = plan.clearance;

    // What the run leaves behind, released in reverse order.
    struct Spent final : Garbage {
        std::unique_ptr<OwnedMesh> placed;
        ContourList contours;
        std::unique_ptr<odb::Profiler> profiler;
    };
    auto spent = std::make_unique<Spent>();
    spent->placed = buildMesh(model, &plan.placement);
    OwnedMesh &placed = *spent->placed;
    placed.addVertex(plan.guardLow[0], plan.guardLow[1], plan.guardLow[2]);
    placed.addVertex(plan.guardHigh[0], plan.guardHigh[1], plan.guardHigh[2]);
    for (odb::Triangle *t : placed.mesh().triangleList())
        for (int e = 0; e < 3 && run.closed; ++e) run.closed = t->edge(e)->triangles->size() == 2;

    odb::Direction3D up(0, 0, 1);
    spent->profiler = std::make_unique<odb::Profiler>(&placed.mesh(), &up, static_cast<int>(plan.slicerPlanes()));
    spent->profiler->generateProfile(spent->contours.items);

    std::vector<Layer> byPlane(static_cast<std::size_t>(plan.layers));
    for (long long k = 0; k < plan.layers; ++k) {
        byPlane[k].index = static_cast<int>(k + 1);
        byPlane[k].height = plan.height(k);
    }
    for (odb::PLC *plc : spent->contours.items) {
        ContourData data = contourData(*plc);
        if (data.points.empty()) continue;
        long long const k = plan.layerOf(data.points[0].z());
        if (k < 0) continue;   // a guard plane (never cut)
        for (odb::Point3D &p : data.points) p = plan.toModel(p, k);
        if (!data.closed) ++run.openContours;
        byPlane[k].contours.push_back(std::move(data));
    }
    run.spent = std::move(spent);

    ViewFrame frame;
    frame.u = plan.axisU;
    frame.v = plan.axisV;
    frame.w = d;
    run.layers.reserve(byPlane.size());
    for (Layer &layer : byPlane) run.layers.push_back(nestLayer(layer, frame));
    return run;
}

namespace {

void warn(std::string const &text) {
    if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 1) != 0) throw py::error_already_set();
}

std::string number(double v) {
    std::ostringstream s;
    s.precision(4);
    s << v;
    return s.str();
}

}  // namespace

py::list sliceMesh(Mesh &mesh, py::handle direction, py::handle layers, py::handle layerHeight) {
    Vec3 const d = threeNumbers(direction, "direction");
    if (std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]) < 1e-9)
        throw py::value_error("direction must not be the zero vector");
    if (!layers.is_none() && !layerHeight.is_none()) throw py::value_error("give layers or layer_height, not both");
    long long count = 0;
    double height = 0;
    if (!layerHeight.is_none()) height = finiteNumber(layerHeight, "layer_height", true);
    else count = layers.is_none() ? 20 : integerInRange(layers, "layers", 1, kMostLayers);
    if (mesh.triangleCount() == 0) throw py::value_error("the mesh has no triangles to slice");

    SliceRun run;
    try {
        KernelWork work;
        run = sliceModelLayers(mesh.data(), d, count, height);
    } catch (UsageError const &e) {
        // The planner words its refusal for the command line.
        std::string text = e.what();
        if (text.rfind("--layer-height", 0) == 0) text.replace(0, 14, "layer_height");
        throw py::value_error(text);
    }

    if (!run.clear)
        warn("no position of the planes keeps every layer off the mesh's vertices (the nearest lies " +
             number(run.clearance) + " units from a plane); some contours may come out open");
    if (run.openContours > 0 && run.closed)
        warn("the mesh is closed, yet " + std::to_string(run.openContours) + " contours came out open");
    py::list out;
    for (SlicedLayer const &sliced : run.layers) {
        PythonLayer layer;
        layer.index = sliced.index;
        layer.height = sliced.height;
        for (SlicedPolygon const &p : sliced.polygons) {
            PythonPolygon polygon;
            polygon.outer = contourPoints(p.outer);
            for (ContourData const &h : p.holes) polygon.holes.append(contourPoints(h));
            layer.polygons.append(py::cast(std::move(polygon)));
        }
        for (ContourData const &c : sliced.open) layer.openContours.append(contourPoints(c));
        out.append(py::cast(std::move(layer)));
    }
    releaseLater(std::move(run.spent));
    return out;
}

}  // namespace orvane::python
