#include "arrays.h"

#include <cmath>
#include <sstream>
#include <string>
#include <type_traits>

namespace orvane::python {

namespace {

std::string dtypeName(py::array const &a) { return py::str(a.dtype()).cast<std::string>(); }

std::string shapeText(py::array const &a) {
    std::ostringstream s;
    s << "(";
    for (py::ssize_t d = 0; d < a.ndim(); ++d) s << (d ? ", " : "") << a.shape(d);
    s << (a.ndim() == 1 ? ",)" : ")");
    return s.str();
}

// The argument as a NumPy array (numpy.asarray), or ValueError when NumPy cannot make one
// (ragged nested lists).
py::array asArray(py::handle value, char const *what) {
    try {
        return py::module_::import("numpy").attr("asarray")(value);
    } catch (py::error_already_set const &e) {
        throw py::value_error(std::string(what) + " cannot be read as an array: " + e.what());
    }
}

// Requires an (rows, 3) shape.
void requireRowsOfThree(py::array const &a, char const *what, char const *example) {
    if (a.ndim() != 2 || a.shape(1) != 3)
        throw py::value_error(std::string(what) + " must have shape (" + example + ", 3), got " + shapeText(a));
}

}  // namespace

py::array_t<double, py::array::c_style> pointRows(py::handle value, char const *what) {
    py::array a = asArray(value, what);
    char const kind = a.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u')
        throw py::type_error(std::string(what) + " must hold real numbers (float or integer dtype), got dtype " +
                             dtypeName(a));
    requireRowsOfThree(a, what, "N");
    auto rows = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    if (!rows) throw py::error_already_set();
    double const *p = rows.data();
    std::size_t const n = static_cast<std::size_t>(rows.shape(0));
    for (std::size_t i = 0; i < 3 * n; ++i)
        if (!std::isfinite(p[i])) {
            std::ostringstream s;
            s << what << "[" << i / 3 << ", " << i % 3 << "] is " << p[i] << ": coordinates must be finite";
            throw py::value_error(s.str());
        }
    return rows;
}

std::vector<std::uint32_t> triangleRows(py::handle value, std::size_t vertexCount) {
    py::array a = asArray(value, "triangles");
    char const kind = a.dtype().kind();
    if (kind != 'i' && kind != 'u')
        throw py::type_error("triangles must hold integer vertex indices, got dtype " + dtypeName(a));
    requireRowsOfThree(a, "triangles", "M");
    std::vector<std::uint32_t> corners(3 * static_cast<std::size_t>(a.shape(0)));
    auto check = [&](auto const *p) {
        using Index = std::remove_const_t<std::remove_pointer_t<decltype(p)>>;
        for (std::size_t i = 0; i < corners.size(); ++i) {
            bool inRange;
            if constexpr (std::is_signed_v<Index>)
                inRange = p[i] >= 0 && static_cast<std::uint64_t>(p[i]) < vertexCount;
            else
                inRange = p[i] < vertexCount;
            if (!inRange) {
                std::ostringstream s;
                s << "triangles[" << i / 3 << ", " << i % 3 << "] is " << p[i] << ": vertex indices must lie in [0, "
                  << vertexCount << ")";
                throw py::value_error(s.str());
            }
            corners[i] = static_cast<std::uint32_t>(p[i]);
        }
    };
    if (kind == 'u') {
        auto rows = py::array_t<std::uint64_t, py::array::c_style | py::array::forcecast>::ensure(a);
        if (!rows) throw py::error_already_set();
        check(rows.data());
    } else {
        auto rows = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
        if (!rows) throw py::error_already_set();
        check(rows.data());
    }
    return corners;
}

std::array<double, 3> threeNumbers(py::handle value, char const *what) {
    py::array a = asArray(value, what);
    char const kind = a.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u')
        throw py::type_error(std::string(what) + " must be three numbers, got dtype " + dtypeName(a));
    if (a.ndim() != 1 || a.shape(0) != 3)
        throw py::value_error(std::string(what) + " must be three numbers, got shape " + shapeText(a));
    auto v = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    if (!v) throw py::error_already_set();
    std::array<double, 3> out{{v.data()[0], v.data()[1], v.data()[2]}};
    for (double c : out)
        if (!std::isfinite(c)) throw py::value_error(std::string(what) + " must be finite numbers");
    return out;
}

double finiteNumber(py::handle value, char const *what, bool positive) {
    if (PyBool_Check(value.ptr()) || !PyNumber_Check(value.ptr()) || PyComplex_Check(value.ptr()))
        throw py::type_error(std::string(what) + " must be a number, got " +
                             py::str(py::type::handle_of(value).attr("__name__")).cast<std::string>());
    double const v = py::float_(py::reinterpret_borrow<py::object>(value)).cast<double>();
    if (!std::isfinite(v)) throw py::value_error(std::string(what) + " must be finite, got " + std::to_string(v));
    if (positive && !(v > 0))
        throw py::value_error(std::string(what) + " must be greater than 0, got " + py::repr(value).cast<std::string>());
    return v;
}

long long integerInRange(py::handle value, char const *what, long long least, long long most) {
    if (PyBool_Check(value.ptr()) || !PyIndex_Check(value.ptr()))
        throw py::type_error(std::string(what) + " must be an integer, got " +
                             py::str(py::type::handle_of(value).attr("__name__")).cast<std::string>());
    py::int_ const number = py::reinterpret_steal<py::int_>(PyNumber_Index(value.ptr()));
    if (!number) throw py::error_already_set();
    int overflow = 0;
    long long const v = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    if (overflow != 0 || v < least || v > most)
        throw py::value_error(std::string(what) + " must lie between " + std::to_string(least) + " and " +
                              std::to_string(most) + ", got " + py::repr(value).cast<std::string>());
    return v;
}

py::array_t<double> pointArray(double const *xyz, std::size_t rows) {
    py::array_t<double> out({static_cast<py::ssize_t>(rows), py::ssize_t(3)});
    std::copy(xyz, xyz + 3 * rows, out.mutable_data());
    return out;
}

py::array_t<double> pointArray(std::vector<std::array<double, 3>> const &points) {
    static_assert(sizeof(std::array<double, 3>) == 3 * sizeof(double), "points lie back to back");
    return pointArray(points.empty() ? nullptr : points.front().data(), points.size());
}

py::array_t<double> contourPoints(ContourData const &contour) {
    py::array_t<double> out({static_cast<py::ssize_t>(contour.points.size()), py::ssize_t(3)});
    double *q = out.mutable_data();
    for (ORVANE_DATABASE::Point3D const &p : contour.points) *q++ = p.x(), *q++ = p.y(), *q++ = p.z();
    return out;
}

namespace {
template <class T>
py::array readOnly(std::vector<T> const &values, std::size_t columns, py::handle owner) {
    py::ssize_t const size = sizeof(T);
    py::ssize_t const rows = static_cast<py::ssize_t>(values.size() / columns);
    py::array out(py::dtype::of<T>(), {rows, static_cast<py::ssize_t>(columns)},
                  {static_cast<py::ssize_t>(columns) * size, size}, values.data(), owner);
    py::detail::array_proxy(out.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return out;
}
}  // namespace

py::array readOnlyRows(std::vector<double> const &values, std::size_t columns, py::handle owner) {
    return readOnly(values, columns, owner);
}
py::array readOnlyRows(std::vector<std::uint32_t> const &values, std::size_t columns, py::handle owner) {
    return readOnly(values, columns, owner);
}

}  // namespace orvane::python
