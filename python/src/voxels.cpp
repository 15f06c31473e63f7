#include "voxels.h"

#include "arrays.h"
#include "kernel_work.h"

#include "voxel_surface.h"

#include "Vertex.h"
#include "Voxelization.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <exception>
#include <string>

namespace orvane::python {

namespace odb = ORVANE_DATABASE;

namespace {

// What the voxelizer delivers in its quad form: the caller owns each Vertex.
struct Quads {
    std::vector<odb::Vertex *> vertices;
    std::vector<std::size_t> indices;
    Quads() = default;
    Quads(Quads const &) = delete;
    Quads &operator=(Quads const &) = delete;
    ~Quads() {
        for (odb::Vertex *v : vertices) delete v;
    }
};

// The kernel's stage messages, passed to a Python callable under the GIL. An exception the
// callable raises is kept and raised once the kernel has finished (it cannot be stopped).
class PythonFeedback final : public odb::Feedback {
public:
    explicit PythonFeedback(py::handle callback) : callback_(callback) {}
    void progressMessage(std::string message, int, int) override {
        if (failure_) return;
        message.erase(0, message.find_first_not_of('\n'));
        py::gil_scoped_acquire gil;
        try {
            callback_(message);
        } catch (...) {
            failure_ = std::current_exception();
        }
    }
    void progressValue(int) override {}
    void rethrow() const {
        if (failure_) std::rethrow_exception(failure_);
    }

private:
    py::handle callback_;
    std::exception_ptr failure_;
};

}  // namespace

VoxelRun voxelizeModel(ModelData const &model, std::array<std::size_t, 3> const &counts, odb::Feedback *feedback) {
    // What the run leaves behind, released in reverse order: the quads' vertices, the
    // voxelizer with the Triangulation object it was given, then the vertices and triangles.
    struct Spent final : Garbage {
        std::unique_ptr<OwnedMesh> mesh;
        std::unique_ptr<odb::Voxelization> voxels;
        Quads quads;
    };
    auto spent = std::make_unique<Spent>();
    VoxelGridBox const box = voxelGridBox(model.box(), counts);
    spent->mesh = buildMesh(model);
    if (box.widened) {
        spent->mesh->addVertex(box.lower[0], box.lower[1], box.lower[2]);
        spent->mesh->addVertex(box.upper[0], box.upper[1], box.upper[2]);
    }
    spent->voxels = std::make_unique<odb::Voxelization>(spent->mesh->releaseMesh(), counts[0], counts[1], counts[2],
                                                        feedback);
    Quads &quads = spent->quads;
    spent->voxels->voxelize(quads.vertices, quads.indices);

    std::vector<double> coords;
    coords.reserve(3 * quads.vertices.size());
    for (odb::Vertex *v : quads.vertices) {
        odb::Point3D const &p = *v->point();
        coords.insert(coords.end(), {p.x(), p.y(), p.z()});
    }
    VoxelRun run;
    run.surface = voxelSurface(coords, quads.indices, voxelGridFrame(box.lower, box.upper, counts), &run.marked).mesh;
    run.spent = std::move(spent);
    return run;
}

namespace {

std::array<std::size_t, 3> gridCounts(py::handle grid) {
    std::array<long long, 3> counts{};
    if (PyIndex_Check(grid.ptr()) && !PyBool_Check(grid.ptr())) {
        counts.fill(integerInRange(grid, "grid", 1, kMostCells));
    } else {
        if (!py::isinstance<py::sequence>(grid) || py::isinstance<py::str>(grid))
            throw py::type_error("grid must be an integer N or three integers (nx, ny, nz)");
        py::sequence const items = py::reinterpret_borrow<py::sequence>(grid);
        if (items.size() != 3)
            throw py::value_error("grid must be three integers (nx, ny, nz), got " + std::to_string(items.size()) +
                                  " values");
        for (std::size_t a = 0; a < 3; ++a) counts[a] = integerInRange(items[a], "grid", 1, kMostCells);
    }
    if (counts[0] * counts[1] > kMostCells / counts[2])
        throw py::value_error("grid " + std::to_string(counts[0]) + " x " + std::to_string(counts[1]) + " x " +
                              std::to_string(counts[2]) + " has more than " + std::to_string(kMostCells) + " cells");
    return {{static_cast<std::size_t>(counts[0]), static_cast<std::size_t>(counts[1]),
             static_cast<std::size_t>(counts[2])}};
}

}  // namespace

py::tuple voxelizeMesh(Mesh &mesh, py::handle grid, py::handle progress) {
    std::array<std::size_t, 3> const counts = gridCounts(grid);
    if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
        throw py::type_error("progress must be a callable taking one string, or None");
    PythonFeedback feedback(progress);
    VoxelRun run;
    {
        KernelWork work;
        run = voxelizeModel(mesh.data(), counts, progress.is_none() ? nullptr : &feedback);
    }
    feedback.rethrow();
    py::array_t<bool> occupancy({static_cast<py::ssize_t>(counts[0]), static_cast<py::ssize_t>(counts[1]),
                                 static_cast<py::ssize_t>(counts[2])});
    bool *cells = occupancy.mutable_data();
    std::fill(cells, cells + occupancy.size(), false);
    for (std::uint64_t cell : run.marked) cells[cell] = true;
    py::tuple out = py::make_tuple(occupancy, py::cast(std::make_unique<Mesh>(std::move(run.surface))));
    releaseLater(std::move(run.spent));
    return out;
}

}  // namespace orvane::python
