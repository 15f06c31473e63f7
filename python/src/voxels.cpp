#include "voxels.h"

#include "arrays.h"
#include "flat_hash.h"
#include "kernel_work.h"

#include "Vertex.h"
#include "Voxelization.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <cmath>
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

struct QuadHash {
    std::size_t operator()(std::array<std::size_t, 4> const &k) const {
        return static_cast<std::size_t>(mixBits(k[0] ^ mixBits(k[1] ^ mixBits(k[2] ^ mixBits(k[3])))));
    }
};

std::array<std::size_t, 4> sortedCorners(std::size_t const *quad) {
    std::array<std::size_t, 4> k{{quad[0], quad[1], quad[2], quad[3]}};
    std::sort(k.begin(), k.end());
    return k;
}

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
    VoxelRun run;
    run.occupancy.assign(counts[0] * counts[1] * counts[2], 0);
    std::unique_ptr<OwnedMesh> owned = buildMesh(model);
    Quads quads;
    {
        // The voxelizer destroys the Triangulation object it is given; the vertices and
        // triangles stay with `owned`, which outlives it.
        odb::Voxelization voxels(owned->releaseMesh(), counts[0], counts[1], counts[2], feedback);
        voxels.voxelize(quads.vertices, quads.indices);
    }
    run.spent = std::make_unique<HeldGarbage<std::unique_ptr<OwnedMesh>>>(std::move(owned));
    if (quads.indices.empty()) return run;

    // The grid over the model's box, as the voxelizer lays it.
    std::array<double, 6> const box = model.box();
    double size[3];
    for (int a = 0; a < 3; ++a) size[a] = std::fabs(box[3 + a] - box[a]) / static_cast<double>(counts[a]);
    auto at = [&](std::size_t v) -> odb::Point3D const & { return *quads.vertices[v]->point(); };

    std::size_t const quadCount = quads.indices.size() / 4;
    FlatHashMap<std::array<std::size_t, 4>, std::uint32_t, QuadHash> uses(quadCount);
    for (std::size_t q = 0; q < quadCount; ++q) ++uses.insert(sortedCorners(&quads.indices[4 * q]), 0);

    std::vector<std::uint32_t> renumber(quads.vertices.size(), UINT32_MAX);
    auto index = [&](std::size_t v) {
        if (renumber[v] == UINT32_MAX) {
            renumber[v] = static_cast<std::uint32_t>(run.surface.vertexCount());
            odb::Point3D const &p = at(v);
            run.surface.coords.insert(run.surface.coords.end(), {p.x(), p.y(), p.z()});
        }
        return renumber[v];
    };
    auto addTriangle = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        if (a != b && b != c && c != a) run.surface.corners.insert(run.surface.corners.end(), {a, b, c});
    };
    // Six quads (24 indices) per marked cell, in grid order.
    for (std::size_t cell = 0; cell + 24 <= quads.indices.size(); cell += 24) {
        double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        for (std::size_t i = cell; i < cell + 24; ++i) {
            odb::Point3D const &p = at(quads.indices[i]);
            double const c[3] = {p.x(), p.y(), p.z()};
            for (int a = 0; a < 3; ++a) lo[a] = std::min(lo[a], c[a]), hi[a] = std::max(hi[a], c[a]);
        }
        std::size_t ijk[3];
        for (int a = 0; a < 3; ++a) {
            double const steps = size[a] > 0 ? std::round((lo[a] - box[a]) / size[a]) : 0.0;
            ijk[a] = static_cast<std::size_t>(std::clamp(steps, 0.0, static_cast<double>(counts[a] - 1)));
        }
        run.occupancy[(ijk[0] * counts[1] + ijk[1]) * counts[2] + ijk[2]] = 1;

        double const centre[3] = {(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2};
        for (std::size_t q = cell; q < cell + 24; q += 4) {
            std::size_t const *quad = &quads.indices[q];
            if (*uses.find(sortedCorners(quad)) > 1) continue;   // between two marked cells
            odb::Point3D const &p0 = at(quad[0]), &p1 = at(quad[1]), &p2 = at(quad[2]), &p3 = at(quad[3]);
            // The quad's normal from its diagonals, against the direction from the cell's centre.
            double const d0[3] = {p2.x() - p0.x(), p2.y() - p0.y(), p2.z() - p0.z()};
            double const d1[3] = {p3.x() - p1.x(), p3.y() - p1.y(), p3.z() - p1.z()};
            double const n[3] = {d0[1] * d1[2] - d0[2] * d1[1], d0[2] * d1[0] - d0[0] * d1[2],
                                 d0[0] * d1[1] - d0[1] * d1[0]};
            double const out[3] = {(p0.x() + p1.x() + p2.x() + p3.x()) / 4 - centre[0],
                                   (p0.y() + p1.y() + p2.y() + p3.y()) / 4 - centre[1],
                                   (p0.z() + p1.z() + p2.z() + p3.z()) / 4 - centre[2]};
            bool const inward = n[0] * out[0] + n[1] * out[1] + n[2] * out[2] < 0;
            std::uint32_t const a = index(quad[0]), c = index(quad[2]);
            std::uint32_t const b = index(quad[inward ? 3 : 1]), d = index(quad[inward ? 1 : 3]);
            addTriangle(a, b, c);
            addTriangle(a, c, d);
        }
    }
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
    std::copy(run.occupancy.begin(), run.occupancy.end(), occupancy.mutable_data());
    py::tuple out = py::make_tuple(occupancy, py::cast(std::make_unique<Mesh>(std::move(run.surface))));
    releaseLater(std::move(run.spent));
    return out;
}

}  // namespace orvane::python
