#include "face_split.h"

#include "Outcome.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <array>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <chrono>
#include <set>
#include <stdexcept>
#include <utility>

namespace orvane {

FaceMeshes::~FaceMeshes() {
    for (odb::Triangulation *face : meshes) {
        std::vector<odb::Vertex *> const vertices = face->vertexList();
        std::vector<odb::Triangle *> const triangles = face->triangleList();
        delete face;
        for (odb::Triangle *t : triangles) delete t;
        for (odb::Vertex *v : vertices) {
            *v = odb::Vertex(nullptr);   // ~Vertex would delete the source's point
            delete v;
        }
    }
}

namespace {

constexpr std::size_t kNone = SIZE_MAX;

// The source mesh's triangles listed under their lowest corner, in index order: finds the
// source triangle of a face triangle from its corners' source vertices in a few steps (a
// vertex has about six triangles), with two flat arrays instead of a hash map of triples.
class SourceTriangles {
public:
    explicit SourceTriangles(OwnedMesh &source)
        : source_(source), start_(source.vertexCount() + 2, 0), claimed_(source.triangleCount(), false) {
        // Counting sort by lowest corner; a triangle naming no vertex of the mesh is left out.
        std::size_t const count = source.triangleCount(), vertices = source.vertexCount();
        for (std::size_t t = 0; t < count; ++t)
            if (lowest(t) < vertices) ++start_[lowest(t) + 2];
        for (std::size_t v = 2; v < start_.size(); ++v) start_[v] += start_[v - 1];
        list_.resize(start_.back());
        for (std::size_t t = 0; t < count; ++t)
            if (lowest(t) < vertices) list_[start_[lowest(t) + 1]++] = static_cast<std::uint32_t>(t);
    }

    // The lowest index of the source triangles with exactly these corners (in any order) that
    // no earlier call returned, or kNone (a corner that is no source vertex is kNone).
    std::size_t claim(std::array<std::size_t, 3> corners) {
        std::sort(corners.begin(), corners.end());
        if (corners[2] >= source_.vertexCount()) return kNone;
        for (std::size_t i = start_[corners[0]]; i < start_[corners[0] + 1]; ++i) {
            std::uint32_t const t = list_[i];
            if (!claimed_[t] && sorted(t) == corners) {
                claimed_[t] = true;
                return t;
            }
        }
        return kNone;
    }

private:
    std::array<std::size_t, 3> sorted(std::size_t t) const {
        odb::Triangle &tri = source_.triangle(t);
        std::array<std::size_t, 3> k{{tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2)}};
        std::sort(k.begin(), k.end());
        return k;
    }
    std::size_t lowest(std::size_t t) const {
        odb::Triangle &tri = source_.triangle(t);
        return std::min({tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2)});
    }

    OwnedMesh &source_;
    std::vector<std::size_t> start_;   // lowest corner v: list_[start_[v] .. start_[v + 1])
    std::vector<std::uint32_t> list_;
    std::vector<bool> claimed_;
};

// The whole source mesh as one face.
ModelData wholeMesh(OwnedMesh &source) {
    ModelData data;
    data.coords.reserve(3 * source.vertexCount());
    for (std::size_t v = 0; v < source.vertexCount(); ++v) {
        odb::Point3D const &p = source.point(v);
        data.coords.insert(data.coords.end(), {p.x(), p.y(), p.z()});
    }
    data.corners.reserve(3 * source.triangleCount());
    for (std::size_t t = 0; t < source.triangleCount(); ++t)
        for (int c = 0; c < 3; ++c)
            data.corners.push_back(static_cast<std::uint32_t>(source.triangle(t).vertexIndex(static_cast<std::size_t>(c))));
    return data;
}

}  // namespace

FaceSplit splitFaces(OwnedMesh &source, double angle, bool keepSourceMesh) {
    FaceSplit split;
    split.faceOf.assign(source.triangleCount(), -1);
    split.kernelFaces = std::make_unique<FaceMeshes>();
    FaceMeshes &faces = *split.kernelFaces;
    odb::Segmentation segmentation(&source.mesh(), angle);
    auto const started = std::chrono::steady_clock::now();
    odb::Outcome const result = segmentation.segmentize(faces.meshes);
    split.kernelSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (!keepSourceMesh) {
        delete source.releaseMesh();
#ifdef __GLIBC__
        malloc_trim(0);   // hand the freed pages back, or the ordering below grows the peak anyway
#endif
    }
    if (!result.isOk()) {
        if (!faces.meshes.empty() || result.mesg() != "Strong Edge not found")
            throw std::runtime_error("segmentation failed: " + result.mesg());
        split.creased = false;
        split.faces.push_back(wholeMesh(source));
        std::fill(split.faceOf.begin(), split.faceOf.end(), 0);
        return split;
    }

    struct Face {
        std::size_t lowest = kNone;
        std::vector<std::pair<std::size_t, std::array<std::size_t, 3>>> triangles;   // source index, local corners
        odb::Triangulation *mesh = nullptr;
    };
    SourceTriangles sourceTriangles(source);
    std::vector<Face> ordered;
    ordered.reserve(faces.meshes.size());
    for (odb::Triangulation *mesh : faces.meshes) {
        Face face;
        face.mesh = mesh;
        std::vector<odb::Vertex *> const &vertices = mesh->vertexList();
        face.triangles.reserve(mesh->triangleList().size());
        for (odb::Triangle *t : mesh->triangleList()) {
            std::array<std::size_t, 3> const local{{t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)}};
            std::array<std::size_t, 3> k{};
            for (int c = 0; c < 3; ++c) k[c] = source.vertexOfPoint(vertices.at(local[c])->point());
            face.triangles.emplace_back(sourceTriangles.claim(k), local);
        }
        std::stable_sort(face.triangles.begin(), face.triangles.end(),
                         [](auto const &a, auto const &b) { return a.first < b.first; });
        if (!face.triangles.empty()) face.lowest = face.triangles.front().first;
        ordered.push_back(std::move(face));
    }
    std::stable_sort(ordered.begin(), ordered.end(), [](Face const &a, Face const &b) { return a.lowest < b.lowest; });

    split.faces.reserve(ordered.size());
    for (Face &face : ordered) {
        std::int64_t const number = static_cast<std::int64_t>(split.faces.size());
        ModelData data;
        std::vector<odb::Vertex *> const &vertices = face.mesh->vertexList();
        std::vector<std::uint32_t> renumber(vertices.size(), UINT32_MAX);
        data.corners.reserve(3 * face.triangles.size());
        for (auto const &[sourceIndex, local] : face.triangles) {
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
        face.triangles = {};   // the face's share of the peak ends here
        split.faces.push_back(std::move(data));
    }
    return split;
}

}  // namespace orvane
