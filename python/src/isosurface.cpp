#include "isosurface.h"

#include "arrays.h"
#include "mesh.h"

#include "surface_orientation.h"

#include "MarchingCubes.h"
#include "Vertex.h"

#include <pybind11/numpy.h>

#include <array>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::python {

namespace odb = ORVANE_DATABASE;

namespace {

// The polygoniser's output of one cube (each Vertex owns its point).
struct CubeTriangles {
    std::vector<std::vector<odb::Vertex *>> items;
    CubeTriangles() = default;
    CubeTriangles(CubeTriangles const &) = delete;
    CubeTriangles &operator=(CubeTriangles const &) = delete;
    void clear() {
        for (auto &triangle : items)
            for (odb::Vertex *v : triangle) delete v;
        items.clear();
    }
    ~CubeTriangles() { clear(); }
};

// Corner offsets in the polygoniser's order.
constexpr int kCorner[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};

}  // namespace

ModelData polygonise(double const *values, std::array<std::size_t, 3> const &counts,
                     std::array<double, 3> const &spacing, std::array<double, 3> const &origin) {
    std::size_t const ny = counts[1], nz = counts[2];
    auto sample = [&](std::size_t i, std::size_t j, std::size_t k) { return values[(i * ny + j) * nz + k]; };
    ModelData out;
    PointWelder welder(out.coords);
    odb::MarchingCubes cubes;
    CubeTriangles cube;
    // Per triangle kept: its unit normal against the field's gradient in its cube.
    std::vector<double> agreement;
    for (std::size_t i = 0; i + 1 < counts[0]; ++i)
        for (std::size_t j = 0; j + 1 < ny; ++j)
            for (std::size_t k = 0; k + 1 < nz; ++k) {
                double v[8];
                for (int c = 0; c < 8; ++c) v[c] = sample(i + kCorner[c][0], j + kCorner[c][1], k + kCorner[c][2]);
                if (!cubes.vMarchCube(&cube.items, v, static_cast<double>(i), static_cast<double>(j),
                                      static_cast<double>(k), 1.0))
                    continue;
                double const gradient[3] = {(v[1] - v[0] + v[2] - v[3] + v[5] - v[4] + v[6] - v[7]) / 4,
                                            (v[3] - v[0] + v[2] - v[1] + v[7] - v[4] + v[6] - v[5]) / 4,
                                            (v[4] - v[0] + v[5] - v[1] + v[6] - v[2] + v[7] - v[3]) / 4};
                for (auto const &triangle : cube.items) {
                    std::uint32_t idx[3];
                    std::array<double, 3> p[3];
                    for (int c = 0; c < 3; ++c) {
                        odb::Point3D const &q = *triangle[c]->point();
                        p[c] = {{q.x(), q.y(), q.z()}};
                        idx[c] = welder.add(q.x(), q.y(), q.z());
                    }
                    // Corners at a sample of value exactly 0 collapse edges; such slivers have
                    // no area and are left out.
                    if (idx[0] == idx[1] || idx[1] == idx[2] || idx[2] == idx[0]) continue;
                    out.corners.insert(out.corners.end(), {idx[0], idx[1], idx[2]});
                    std::array<double, 3> const n = facetNormal(p[0], p[1], p[2]);
                    agreement.push_back(n[0] * gradient[0] + n[1] * gradient[1] + n[2] * gradient[2]);
                }
                cube.clear();
            }
    // Wound as the tool winds its isosurfaces; in grid units, which the positive spacing
    // maps without turning anything over.
    orientSurface(out, [&](std::size_t t) { return agreement[t]; });
    for (std::size_t v = 0; v < out.coords.size(); v += 3)
        for (int a = 0; a < 3; ++a) out.coords[v + a] = origin[a] + spacing[a] * out.coords[v + a];
    return out;
}

namespace {

std::array<double, 3> spacingArgument(py::handle spacing) {
    if (PyNumber_Check(spacing.ptr()) && !py::isinstance<py::array>(spacing)) {
        double const s = finiteNumber(spacing, "spacing", true);
        return {{s, s, s}};
    }
    std::array<double, 3> s = threeNumbers(spacing, "spacing");
    for (double c : s)
        if (!(c > 0)) throw py::value_error("spacing must be greater than 0 along every axis");
    return s;
}

}  // namespace

py::object marchingCubes(py::handle values, py::handle spacing, py::handle origin) {
    py::array a = py::module_::import("numpy").attr("asarray")(values);
    char const kind = a.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u')
        throw py::type_error("values must hold real numbers (float or integer dtype), got dtype " +
                             py::str(a.dtype()).cast<std::string>());
    if (a.ndim() != 3 || a.shape(0) < 2 || a.shape(1) < 2 || a.shape(2) < 2)
        throw py::value_error("values must be a 3-D array with at least 2 samples along each axis, got shape " +
                              py::str(a.attr("shape")).cast<std::string>());
    std::array<double, 3> const step = spacingArgument(spacing);
    std::array<double, 3> const start = threeNumbers(origin, "origin");
    auto samples = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    if (!samples) throw py::error_already_set();
    std::size_t const total = static_cast<std::size_t>(samples.size());
    double const *v = samples.data();
    for (std::size_t i = 0; i < total; ++i)
        if (!std::isfinite(v[i])) {
            std::ostringstream s;
            s << "values must be finite, the sample at flat index " << i << " is " << v[i];
            throw py::value_error(s.str());
        }
    std::array<std::size_t, 3> const counts{{static_cast<std::size_t>(a.shape(0)), static_cast<std::size_t>(a.shape(1)),
                                              static_cast<std::size_t>(a.shape(2))}};
    ModelData surface;
    {
        // The polygoniser keeps no state and creates no entity: no kernel lock is needed.
        py::gil_scoped_release release;
        surface = polygonise(v, counts, step, start);
    }
    for (double c : surface.coords)
        if (!std::isfinite(c))
            throw py::value_error("spacing and origin place the surface beyond the range of float64");
    return py::cast(std::make_unique<Mesh>(std::move(surface)));
}

}  // namespace orvane::python
