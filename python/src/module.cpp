// The orvane Python module: the kernel's algorithms and the tool's reader on NumPy arrays.
#include "arrays.h"
#include "faces.h"
#include "isosurface.h"
#include "kernel_work.h"
#include "mesh.h"
#include "release_queue.h"
#include "slicing.h"
#include "voxels.h"

#include "default_model.h"
#include "mesh_export.h"

#include "BSPTree.h"
#include "Plane.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl/filesystem.h>

#include <cerrno>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <sstream>
#include <string>

// Present only when a sanitizer runtime is loaded: its allocator's count of live bytes.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace orvane::python {

std::mutex &kernelLock() {
    static std::mutex lock;
    return lock;
}

namespace {

namespace odb = ORVANE_DATABASE;

std::unique_ptr<Mesh> meshFromArrays(py::handle vertices, py::handle triangles, bool weld) {
    return std::make_unique<Mesh>(modelFromArrays(vertices, triangles, weld));
}

std::unique_ptr<Mesh> loadMesh(std::filesystem::path const &path) {
    std::string const name = path.string();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        PyErr_SetObject(PyExc_FileNotFoundError,
                        py::make_tuple(ENOENT, "No such file or directory", name).ptr());
        throw py::error_already_set();
    }
    ModelData data;
    {
        // The reader runs the importer in a child process and creates no kernel object.
        py::gil_scoped_release release;
        data = readModel(name);
    }
    return std::make_unique<Mesh>(std::move(data));
}

void saveMesh(Mesh const &mesh, std::filesystem::path const &path) {
    std::string const target = path.string();
    try {
        py::gil_scoped_release release;   // the Mesh never changes, and the caller keeps it alive
        std::vector<MeshPart> parts(1);
        parts[0].name = stemOf(target);
        parts[0].mesh = mesh.data();
        AtomicFile file(target, false);   // Ctrl-C stays Python's KeyboardInterrupt
        writeMesh(file, parts);
        file.commit();
    } catch (UsageError const &e) {
        throw py::value_error(e.what());
    } catch (std::runtime_error const &e) {
        PyErr_SetString(PyExc_OSError, e.what());
        throw py::error_already_set();
    }
}

py::array_t<std::int8_t> containsPoints(Mesh &mesh, py::handle points) {
    auto const rows = pointRows(points, "points");
    std::size_t const n = static_cast<std::size_t>(rows.shape(0));
    py::array_t<std::int8_t> out(static_cast<py::ssize_t>(n));
    std::int8_t *answer = out.mutable_data();
    double const *p = rows.data();
    KernelWork work;
    odb::BSPTree const &tree = mesh.insideTree();
    for (std::size_t i = 0; i < n; ++i) {
        switch (tree.pointPosition(odb::Point3D(p[3 * i], p[3 * i + 1], p[3 * i + 2]))) {
            case odb::Plane::POS_BELOW: answer[i] = 1; break;
            case odb::Plane::POS_ON: answer[i] = 0; break;
            default: answer[i] = -1; break;   // above, or a tree without root (no triangles)
        }
    }
    return out;
}

EdgeFacts const &edgeFactsOf(Mesh &mesh) {
    KernelWork work;   // the lock keeps two threads from filling the cache twice
    return mesh.edgeFacts();
}

std::size_t heapBytes() {
    drainReleases();
    if (__sanitizer_get_current_allocated_bytes) return __sanitizer_get_current_allocated_bytes();
#if defined(__GLIBC__)
    struct mallinfo2 const info = mallinfo2();
    return info.uordblks + info.hblkhd;
#else
    return 0;   // no way to tell
#endif
}

char const *const kModuleDoc = R"doc(Orvane's geometry kernel for 3-D printing on NumPy arrays.

A Mesh is made from an (N, 3) float64 array of vertices and an (M, 3) integer array of
triangles, or read from a model file (STL, OBJ, PLY, OFF, 3MF) with the same reader as the
orvane command-line tool. Results come back as NumPy arrays and new Mesh objects.

Example:
    >>> import numpy as np, orvane
    >>> v = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], dtype=float)
    >>> t = np.array([[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])
    >>> tet = orvane.Mesh(v, t)
    >>> tet.is_closed
    True
    >>> tet.contains([[0.1, 0.1, 0.1], [1, 1, 1]]).tolist()
    [1, -1]

Long computations release the GIL; the kernel itself runs one call at a time.
)doc";

char const *const kMeshDoc = R"doc(A triangle mesh: vertex coordinates and triangles of three vertex indices.

Mesh(vertices, triangles, weld=False)

vertices: (N, 3) array of finite numbers (converted to float64).
triangles: (M, 3) array of integer vertex indices in [0, N).
weld: merge vertices whose coordinates agree within 1e-9 (the kernel's tolerant point order),
    exactly as the orvane tool welds the corners of a model file: each vertex is welded when a
    triangle first names it, so vertices that no triangle uses are dropped and the vertices
    are renumbered in order of first use. Without it both arrays are kept as given.

A Mesh never changes. `vertices` and `triangles` are read-only views of its own arrays (no
copy); np.array(mesh.triangles, dtype=np.int64) makes a writable copy. Raises TypeError for
arrays of the wrong kind (for instance float triangles) and ValueError for a wrong shape, a
NaN or infinite coordinate or an index out of range.

Example:
    >>> import numpy as np, orvane
    >>> soup = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], float)
    >>> mesh = orvane.Mesh(soup, np.arange(6).reshape(2, 3), weld=True)
    >>> mesh.vertices.shape, mesh.triangles.tolist()
    ((4, 3), [[0, 1, 2], [1, 3, 2]])
)doc";

char const *const kLoadDoc = R"doc(Reads a model file: STL (ASCII or binary), OBJ, PLY, OFF or 3MF.

The reader is the orvane tool's: every mesh of the file, placed by its node transforms,
polygons triangulated, corners welded within 1e-9 (see Mesh), lines and points ignored.
Raises FileNotFoundError for a missing file and ValueError (with a one-line reason) for an
unknown format, a corrupt or truncated file, a file without triangles or non-finite
coordinates. The importer runs in a child process, so a file that makes it crash becomes
an error here too.

Example:
    >>> mesh = orvane.Mesh.load("bracket.stl")
    >>> mesh.triangles.shape, mesh.is_closed
    ((2468, 3), True)
)doc";

char const *const kSaveDoc = R"doc(Writes the mesh to a file by its extension: .stl, .obj or .ply, with the orvane tool's writers.

The triangles are written as they are, their corner order their winding: binary STL with
every facet's normal computed from its own corners (single-precision coordinates), OBJ
with the coordinates in full (the shortest decimals that read back exactly) and no normals,
binary PLY with single-precision coordinates and no normals. The file is written under a
temporary name and renamed into place, so it appears whole or not at all. Raises ValueError
for another extension or a missing folder, OSError when writing fails.

Example:
    >>> orvane.builtin_part().save("part.stl")
)doc";

char const *const kSliceDoc = R"doc(Cuts the mesh into layers along a direction; returns a list of Layer.

slice(direction=(0, 0, 1), layers=None, layer_height=None)

direction: three numbers, not all zero (normalised here).
layers: a count of layers of equal height over the mesh's extent along the direction (1 to
    100000; 20 when neither argument is given).
layer_height: layers of exactly this height from the mesh's bottom (its lowest point along
    the direction); when the extent is not a whole number of layers, the last one is
    thinner and ends at the mesh's top.

The work is that of `orvane slice`, and so are the results. Each layer is cut in its middle
(Layer.height, halfway between Layer.bottom and Layer.top; a thin last layer too), the
planes moved by at most 1/16 of a layer so that they keep off the vertices, and contours
come back on their layer's plane. Heights are rounded to 12 significant digits, so that they
read as the decimals they stand for (0.1, not 0.09999999999999964).

Closed contours are nested into polygons: a contour inside an even number of others bounds
material (Polygon.outer), one inside an odd number is a hole of the contour right around it
(Polygon.holes), so an island standing in a hole is a polygon of its own. Outer contours run
counter-clockwise about the direction (right-hand rule: seen from the side the direction
points to, from above for (0, 0, 1)), holes clockwise. A ring lists its corners once: the
first point is not repeated at the end. Contours that do not close (the mesh has a border
there) are in Layer.open_contours, as the slicer ran them. The tool's warnings come as
RuntimeWarning: no position of the planes keeps every layer off the vertices, or a closed
mesh gave open contours (naming the layers).

Example:
    >>> layers = orvane.builtin_part().slice(layer_height=2.5)
    >>> len(layers), layers[0].height, (layers[0].bottom, layers[0].top)
    (10, 1.25, (0.0, 2.5))
    >>> [len(p.holes) for p in layers[0].polygons]
    [5]
)doc";

char const *const kSegmentDoc = R"doc(Splits the mesh into faces along sharp edges.

segment(angle=30) -> (faces, face_of_triangle)

An edge is sharp when the normals of its two triangles differ by more than `angle` degrees
(0 to 180), and every border edge splits too. `faces` is a list of Mesh, numbered as the
tool's `orvane segment` numbers them (by their lowest triangle); `face_of_triangle` is an
int64 array giving, for each triangle of this mesh, the index of its face in `faces`. A smooth
closed mesh is one face.

Example:
    >>> faces, face_of = orvane.builtin_part().segment(30)
    >>> len(faces), face_of.dtype, len(face_of)
    (13, dtype('int64'), 4800)
)doc";

char const *const kBoundariesDoc = R"doc(The border contours of the mesh (chains of edges that only one triangle uses).

Returns a list of (K, 3) float64 arrays, each running against the winding of its triangles; a
closed border's last point repeats its first. A closed mesh has none.

Example:
    >>> square = orvane.Mesh([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], [[0, 1, 2], [0, 2, 3]])
    >>> [b.shape for b in square.boundaries()]
    [(5, 3)]
)doc";

char const *const kVoxelizeDoc = R"doc(Marks the cells of a grid over the mesh that its surface touches, as `orvane voxelize --grid` does.

voxelize(grid, progress=None) -> (occupancy, surface)

grid: N for an N x N x N grid, or (nx, ny, nz); at most 2**29 cells.
progress: a callable that receives the kernel's stage messages ("Marking Voxels...");
    an exception it raises is raised once the kernel has finished.

The grid spans the mesh's box, except along an axis where the mesh is flat: there the box is
widened about the mesh to cells as large as the largest of the other axes' (a flat plate
becomes a slab of cells one cell thick). Cell (i, j, k) spans lower + (i, j, k) * size to
lower + (i + 1, j + 1, k + 1) * size, size = (upper - lower) / grid, for that box's lower and
upper corners.

occupancy is an (nx, ny, nz) bool array of the cells the kernel's voxelizer marked.
surface is the Mesh the tool writes for them (`orvane voxelize`, not --raw): only the faces
between a cell and the outside, each wound counter-clockwise seen from outside the cells
(positive volume; a hollow's wall faces into the hollow), lattice points shared between
touching cells, every edge used by exactly two triangles. Where marked cells meet only along
an edge or at a corner, the surface would pinch; there it also encloses the fewest further
cells that make it a 2-manifold, as the tool's does. Those cells are not in occupancy: their
count, which the tool's summary reports as added, is
round(volume of surface / volume of a cell) - occupancy.sum().

Example:
    >>> occupancy, surface = orvane.builtin_part().voxelize((64, 64, 32), progress=print)
    >>> occupancy.shape, occupancy.dtype
    ((64, 64, 32), dtype('bool'))
)doc";

char const *const kContainsDoc = R"doc(Where points lie relative to the mesh: 1 inside, 0 on the surface, -1 outside.

points: (P, 3) array of finite numbers. Returns an int8 array of length P. The answers come
from the kernel's BSP tree of the mesh, built on the first call and kept with the mesh; they
are meaningful for a closed mesh whose triangles run counter-clockwise seen from outside. A
mesh without triangles has everything outside. Raises ValueError when the tree cannot be
built (more than 7000 levels).

Example:
    >>> orvane.builtin_part().contains([[0, 0, 4], [0, 0, 40]]).tolist()
    [-1, -1]
    >>> orvane.builtin_part().contains([[30, 0, 4]]).tolist()
    [1]
)doc";

char const *const kMarchingCubesDoc = R"doc(The zero level surface of a sampled scalar field, by marching cubes.

marching_cubes(values, spacing=1.0, origin=(0, 0, 0)) -> Mesh

values: (nx, ny, nz) array of finite numbers, at least 2 along each axis; sample (i, j, k)
    lies at origin + spacing * (i, j, k). Points where the value is at most 0 are inside.
spacing: the distance between samples, one number or one per axis.
origin: the position of sample (0, 0, 0).

The cubes' triangles are welded into one mesh (corners within 1e-9 of a grid unit merge) and
wound as `orvane isosurface` winds its surfaces: consistently, every closed piece outward from
what it encloses (positive volume; a cavity's wall faces into the cavity), and every open
piece (cut by the block of samples) so that its normals point towards growing values:
outward for a signed distance.

Example:
    >>> x, y, z = np.mgrid[-1:1:41j, -1:1:41j, -1:1:41j]
    >>> ball = orvane.marching_cubes(np.sqrt(x*x + y*y + z*z) - 0.8, spacing=0.05, origin=(-1, -1, -1))
    >>> ball.is_closed
    True
)doc";

std::string meshRepr(Mesh const &mesh) {
    std::ostringstream s;
    s << "<orvane.Mesh with " << mesh.vertexCount() << " vertices and " << mesh.triangleCount() << " triangles>";
    return s.str();
}

std::string layerRepr(PythonLayer const &layer) {
    std::ostringstream s;
    s << "<orvane.Layer " << layer.index << " at height " << layer.height << ": " << py::len(layer.polygons)
      << " polygons, " << py::len(layer.openContours) << " open contours>";
    return s.str();
}

}  // namespace

}  // namespace orvane::python

PYBIND11_MODULE(orvane, m) {
    using namespace orvane;
    using namespace orvane::python;
    m.doc() = kModuleDoc;
    py::register_exception_translator([](std::exception_ptr failure) {
        try {
            if (failure) std::rethrow_exception(failure);
        } catch (InputError const &e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        } catch (UsageError const &e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });

    py::class_<Mesh>(m, "Mesh", kMeshDoc)
        .def(py::init(&meshFromArrays), py::arg("vertices"), py::arg("triangles"), py::arg("weld") = false)
        .def_static("load", &loadMesh, py::arg("path"), kLoadDoc)
        .def("save", &saveMesh, py::arg("path"), kSaveDoc)
        .def_property_readonly(
            "vertices",
            [](py::object self) { return readOnlyRows(self.cast<Mesh const &>().data().coords, 3, self); },
            "(N, 3) float64, read-only view of the vertex coordinates.\n\n"
            "Example:\n    >>> orvane.builtin_part().vertices[:, 2].max()   # the top\n    25.0")
        .def_property_readonly(
            "triangles",
            [](py::object self) { return readOnlyRows(self.cast<Mesh const &>().data().corners, 3, self); },
            "(M, 3) uint32, read-only view of the triangles' vertex indices.\n\n"
            "Example:\n    >>> mesh = orvane.builtin_part()\n    >>> mesh.vertices[mesh.triangles].shape   # corner coordinates\n    (4800, 3, 3)")
        .def_property_readonly(
            "bounds",
            [](Mesh const &mesh) {
                std::array<double, 6> const box = mesh.data().box();
                return pointArray(box.data(), 2);
            },
            "(2, 3) float64: the lowest and the highest corner of the vertices' box (zeros without "
            "vertices).\n\nExample:\n    >>> lo, hi = orvane.builtin_part().bounds\n    >>> hi - lo\n    array([90., 90., 25.])")
        .def_property_readonly(
            "is_closed",
            [](Mesh &mesh) {
                return edgeFactsOf(mesh).facts.closed();
            },
            "True when every edge is shared by exactly two triangles (no border, no non-manifold "
            "edge), as `orvane info` judges it.\n\nExample:\n    >>> orvane.builtin_part().is_closed\n    True")
        .def_property_readonly(
            "border_edges",
            [](py::object self) { return readOnlyRows(edgeFactsOf(self.cast<Mesh &>()).lists.border, 2, self); },
            "(E, 2) uint32, read-only: the edges that only one triangle uses, as vertex index pairs "
            "(lower index first, sorted). One edge per undirected vertex pair, as `orvane info` "
            "counts them.\n\nExample:\n    >>> square = orvane.Mesh([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], [[0, 1, 2], [0, 2, 3]])\n"
            "    >>> square.border_edges.tolist()\n    [[0, 1], [0, 3], [1, 2], [2, 3]]")
        .def_property_readonly(
            "nonmanifold_edges",
            [](py::object self) { return readOnlyRows(edgeFactsOf(self.cast<Mesh &>()).lists.nonManifold, 2, self); },
            "(E, 2) uint32, read-only: the edges that more than two triangles use, as vertex index "
            "pairs (lower index first, sorted).\n\nExample:\n    >>> len(orvane.builtin_part().nonmanifold_edges)\n    0")
        .def("slice", &sliceMesh, py::arg("direction") = py::make_tuple(0, 0, 1), py::arg("layers") = py::none(),
             py::arg("layer_height") = py::none(), kSliceDoc)
        .def("segment", &segmentMesh, py::arg("angle") = 30.0, kSegmentDoc)
        .def("boundaries", &meshBoundaries, kBoundariesDoc)
        .def("voxelize", &voxelizeMesh, py::arg("grid"), py::arg("progress") = py::none(), kVoxelizeDoc)
        .def("contains", &containsPoints, py::arg("points"), kContainsDoc)
        .def(
            "prepare", [](Mesh &mesh) { KernelWork work; mesh.kernelMesh(); },
            "Builds the kernel's mesh now. segment, boundaries and contains build it on first use\n"
            "and keep it; call this to pay that cost at a moment of your choosing (or to time it).\n\n"
            "Example:\n    >>> mesh.prepare()")
        .def("__repr__", &meshRepr);

    py::class_<PythonPolygon>(m, "Polygon",
                        "A region of material in a layer: an outer contour and the holes right inside it.\n\n"
                        "Example:\n    >>> p = orvane.builtin_part().slice(layers=20)[0].polygons[0]\n"
                        "    >>> p.outer.shape, len(p.holes)\n    ((288, 3), 5)")
        .def_readonly("outer", &PythonPolygon::outer,
                      "(K, 3) float64: the outer contour, counter-clockwise about the slicing direction; "
                      "its first point is not repeated at the end.")
        .def_readonly("holes", &PythonPolygon::holes,
                      "list of (K, 3) float64 arrays: the holes, each clockwise about the slicing direction, "
                      "the first point not repeated.")
        .def("__repr__", [](PythonPolygon const &p) {
            return "<orvane.Polygon: outer of " + std::to_string(p.outer.shape(0)) + " points, " +
                   std::to_string(py::len(p.holes)) + " holes>";
        });

    py::class_<PythonLayer>(m, "Layer",
                      "One layer of Mesh.slice: its number, its extent and plane along the direction, and "
                      "its contours.\n\n"
                      "Example:\n    >>> layer = orvane.builtin_part().slice(layers=10)[3]\n"
                      "    >>> layer.index, layer.bottom, layer.height, layer.top, len(layer.polygons)\n"
                      "    (4, 7.5, 8.75, 10.0, 1)")
        .def_readonly("index", &PythonLayer::index, "1-based number of the layer, from the bottom.")
        .def_readonly("height", &PythonLayer::height,
                      "Position of the layer's plane along the slicing direction (dot product with the unit "
                      "direction): the middle of the layer, rounded to 12 significant digits.")
        .def_readonly("bottom", &PythonLayer::bottom,
                      "Where the layer begins along the slicing direction (rounded like height).")
        .def_readonly("top", &PythonLayer::top,
                      "Where the layer ends along the slicing direction; the last layer ends at the mesh's top.")
        .def_readonly("polygons", &PythonLayer::polygons,
                      "list of Polygon: the closed contours, nested, in the order the slicer found their outer "
                      "contours.")
        .def_readonly("open_contours", &PythonLayer::openContours,
                      "list of (K, 3) float64 arrays: contours that do not close (the mesh has a border or "
                      "a non-manifold edge there).")
        .def("__repr__", &layerRepr);

    m.def("marching_cubes", &marchingCubes, py::arg("values"), py::arg("spacing") = 1.0,
          py::arg("origin") = py::make_tuple(0, 0, 0), kMarchingCubesDoc);
    m.def(
        "builtin_part", [] { return std::make_unique<Mesh>(makeDefaultModel()); },
        "The orvane tool's built-in part as a Mesh: a 90 x 90 x 8 flange plate with four holes and a\n"
        "bored boss rising to z = 25, closed and outward-oriented, 4,800 triangles.\n\n"
        "Example:\n    >>> orvane.builtin_part().bounds.tolist()\n    [[-45.0, -45.0, 0.0], [45.0, 45.0, 25.0]]");
    m.def("_heap_bytes", &heapBytes,
          "Bytes the C allocator holds for live allocations, once the releases still under way\n"
          "have finished (for leak tests).\n\n"
          "Example:\n    >>> orvane._heap_bytes() > 0\n    True");
    m.attr("__version__") = ORVANE_VERSION;
}
