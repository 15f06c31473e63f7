#include "faces.h"

#include "arrays.h"
#include "flat_hash.h"
#include "kernel_work.h"

#include "Outcome.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <stdexcept>
#include <string>

namespace orvane::python {

namespace odb = ORVANE_DATABASE;

namespace {

constexpr std::size_t kNone = SIZE_MAX;

struct PointerHash {
    std::size_t operator()(odb::Point3D const *p) const {
        return static_cast<std::size_t>(mixBits(reinterpret_cast<std::uintptr_t>(p)));
    }
};
struct TripleHash {
    std::size_t operator()(std::array<std::size_t, 3> const &k) const {
        return static_cast<std::size_t>(mixBits(k[0] ^ mixBits(k[1] ^ mixBits(k[2]))));
    }
};

// The face meshes segmentize() delivers. Their vertices share the source mesh's points, so
// each face vertex is detached from its point before it is deleted.
struct FaceMeshes {
    std::set<odb::Triangulation *> meshes;
    FaceMeshes() = default;
    FaceMeshes(FaceMeshes const &) = delete;
    FaceMeshes &operator=(FaceMeshes const &) = delete;
    ~FaceMeshes() {
        for (odb::Triangulation *face : meshes) {
            std::vector<odb::Vertex *> const vertices = face->vertexList();
            std::vector<odb::Triangle *> const triangles = face->triangleList();
            delete face;
            for (odb::Triangle *t : triangles) delete t;
            for (odb::Vertex *v : vertices) {
                *v = odb::Vertex(nullptr);
                delete v;
            }
        }
    }
};

// Source triangles by their sorted corner triple; repeated triangles chained in index order,
// so that each face triangle claims the lowest one not claimed yet.
class TriangleFinder {
public:
    explicit TriangleFinder(OwnedMesh &source)
        : first_(source.triangleCount()), next_(source.triangleCount(), kNone), claimed_(source.triangleCount()) {
        std::vector<std::size_t> last(source.triangleCount(), kNone);
        for (std::size_t t = 0; t < source.triangleCount(); ++t) {
            std::size_t &head = first_.insert(key(source.triangle(t)), t);
            if (head == t) {
                last[t] = t;
            } else {
                next_[last[head]] = t;
                last[head] = t;
            }
        }
    }
    static std::array<std::size_t, 3> key(odb::Triangle &t) {
        std::array<std::size_t, 3> k{{t.vertexIndex(0), t.vertexIndex(1), t.vertexIndex(2)}};
        std::sort(k.begin(), k.end());
        return k;
    }
    // The source triangle with these sorted corners, or kNone.
    std::size_t claim(std::array<std::size_t, 3> const &k) {
        std::size_t const *head = first_.find(k);
        for (std::size_t t = head ? *head : kNone; t != kNone; t = next_[t])
            if (!claimed_[t]) {
                claimed_[t] = true;
                return t;
            }
        return kNone;
    }

private:
    FlatHashMap<std::array<std::size_t, 3>, std::size_t, TripleHash> first_;
    std::vector<std::size_t> next_;
    std::vector<bool> claimed_;
};

}  // namespace

FaceSplit splitFaces(Mesh &mesh, double angle) {
    OwnedMesh &source = mesh.kernelMesh();
    FaceSplit split;
    split.faceOf.assign(source.triangleCount(), -1);
    FaceMeshes faces;
    odb::Segmentation segmentation(&source.mesh(), angle);
    odb::Outcome const result = segmentation.segmentize(faces.meshes);
    if (!result.isOk()) {
        if (!faces.meshes.empty() || result.mesg() != "Strong Edge not found")
            throw std::runtime_error("segmentation failed: " + result.mesg());
        split.faces.push_back(mesh.data());
        std::fill(split.faceOf.begin(), split.faceOf.end(), 0);
        return split;
    }

    FlatHashMap<odb::Point3D const *, std::size_t, PointerHash> sourceVertex(source.vertexCount());
    for (std::size_t v = 0; v < source.vertexCount(); ++v) sourceVertex.insert(&source.point(v), v);
    TriangleFinder finder(source);
    struct Face {
        std::size_t lowest;
        std::vector<std::pair<std::size_t, std::array<std::size_t, 3>>> triangles;   // source index, local corners
        odb::Triangulation *mesh;
    };
    std::vector<Face> ordered;
    for (odb::Triangulation *face : faces.meshes) {
        Face f{kNone, {}, face};
        std::vector<odb::Vertex *> const &vertices = face->vertexList();
        for (odb::Triangle *t : face->triangleList()) {
            std::array<std::size_t, 3> const local{{t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)}};
            std::array<std::size_t, 3> k{};
            for (int c = 0; c < 3; ++c) {
                std::size_t const *found = sourceVertex.find(vertices.at(local[c])->point());
                k[c] = found ? *found : kNone;
            }
            std::sort(k.begin(), k.end());
            f.triangles.emplace_back(finder.claim(k), local);
        }
        std::stable_sort(f.triangles.begin(), f.triangles.end(),
                         [](auto const &a, auto const &b) { return a.first < b.first; });
        f.lowest = f.triangles.empty() ? kNone : f.triangles.front().first;
        ordered.push_back(std::move(f));
    }
    std::stable_sort(ordered.begin(), ordered.end(), [](Face const &a, Face const &b) { return a.lowest < b.lowest; });

    for (Face const &f : ordered) {
        std::int64_t const number = static_cast<std::int64_t>(split.faces.size());
        ModelData data;
        std::vector<odb::Vertex *> const &vertices = f.mesh->vertexList();
        std::vector<std::uint32_t> renumber(vertices.size(), UINT32_MAX);
        for (auto const &[sourceIndex, local] : f.triangles) {
            if (sourceIndex != kNone) split.faceOf[sourceIndex] = number;
            for (std::size_t c : local) {
                std::uint32_t &v = renumber[c];
                if (v == UINT32_MAX) {
                    odb::Point3D const &p = *vertices[c]->point();
                    v = static_cast<std::uint32_t>(data.vertexCount());
                    data.coords.insert(data.coords.end(), {p.x(), p.y(), p.z()});
                }
                data.corners.push_back(v);
            }
        }
        split.faces.push_back(std::move(data));
    }
    return split;
}

py::tuple segmentMesh(Mesh &mesh, py::handle angle) {
    double const a = finiteNumber(angle, "angle", false);
    if (a < 0 || a > 180) throw py::value_error("angle must lie between 0 and 180 degrees, got " + std::to_string(a));
    FaceSplit split;
    {
        KernelWork work;
        split = splitFaces(mesh, a);
    }
    py::list faces;
    for (ModelData &data : split.faces) faces.append(py::cast(std::make_unique<Mesh>(std::move(data))));
    py::array_t<std::int64_t> faceOf(static_cast<py::ssize_t>(split.faceOf.size()));
    std::copy(split.faceOf.begin(), split.faceOf.end(), faceOf.mutable_data());
    return py::make_tuple(faces, faceOf);
}

py::list meshBoundaries(Mesh &mesh) {
    std::vector<ContourData> borders;
    {
        KernelWork work;
        ContourList contours;
        odb::Segmentation segmentation(&mesh.kernelMesh().mesh(), 30);
        segmentation.boundaries(contours.items);   // "No boundry found.": a closed mesh, no contour
        for (odb::PLC *plc : contours.items) borders.push_back(contourData(*plc));
    }
    py::list out;
    for (ContourData const &c : borders) out.append(contourPoints(c));
    return out;
}

}  // namespace orvane::python
