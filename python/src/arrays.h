#pragma once
// Arguments from Python checked and turned into flat C++ arrays, and flat arrays turned into
// NumPy arrays. Every check raises TypeError (wrong kind of value) or ValueError (right kind,
// unusable value) with a message that names the argument, before any kernel call.
#include "contour_export.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane::python {

namespace py = pybind11;

// An (N, 3) array of finite coordinates, as float64 in C order (the argument itself when it
// already is one, else a converted copy). Any array-like of floats or integers is accepted;
// booleans, complex numbers, strings and objects raise TypeError; another shape or a NaN or
// infinite coordinate raises ValueError. `what` names the argument in messages.
py::array_t<double, py::array::c_style> pointRows(py::handle value, char const *what);

// An (M, 3) array of integer vertex indices, each in [0, vertexCount), as three 32-bit
// corners per row. Floats and other non-integers raise TypeError; another shape or an index
// out of range raises ValueError naming the row.
std::vector<std::uint32_t> triangleRows(py::handle value, std::size_t vertexCount);

// Three finite numbers (a direction, an origin, ...): a sequence or array of length 3.
std::array<double, 3> threeNumbers(py::handle value, char const *what);

// A finite number; `positive` also requires it to be greater than 0.
double finiteNumber(py::handle value, char const *what, bool positive);

// An integer in [least, most] (booleans are not integers here).
long long integerInRange(py::handle value, char const *what, long long least, long long most);

// A new float64 array of `rows` x 3 filled from `xyz` (3 * rows values).
py::array_t<double> pointArray(double const *xyz, std::size_t rows);
// A new (K, 3) float64 array of the points (a ring or an open contour of a slice).
py::array_t<double> pointArray(std::vector<std::array<double, 3>> const &points);

// A border contour's points as a new (K, 3) float64 array.
py::array_t<double> contourPoints(ContourData const &contour);

// A read-only view of `values` as rows of `columns` values that `owner` keeps alive (no copy).
py::array readOnlyRows(std::vector<double> const &values, std::size_t columns, py::handle owner);
py::array readOnlyRows(std::vector<std::uint32_t> const &values, std::size_t columns, py::handle owner);

}  // namespace orvane::python
