#pragma once
// The faces of a segmentation as plain arrays, in an order that does not depend on where
// objects were allocated. The kernel delivers its face meshes in a set ordered by pointer,
// and within a face lists the triangles in the pointer order of their source triangles; both
// change from run to run. Here faces are ordered by their lowest source triangle, the
// triangles of a face by source index, and a face's vertices by first use.
#include "model_io.h"

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace orvane {

// The face meshes the kernel delivered, released with their vertices and triangles. Their
// vertices share the source mesh's points, which stay the source's.
struct FaceMeshes {
    std::set<odb::Triangulation *> meshes;
    FaceMeshes() = default;
    FaceMeshes(FaceMeshes const &) = delete;
    FaceMeshes &operator=(FaceMeshes const &) = delete;
    ~FaceMeshes();
};

struct FaceSplit {
    // False when the model has no edge sharper than the angle and no border: the kernel
    // then reports failure, and the whole model is the one face.
    bool creased = true;
    std::vector<ModelData> faces;
    // For every source triangle, the index of its face in `faces`, or -1 for a triangle in
    // no face (a smooth part without any strong edge beside a creased one).
    std::vector<std::int64_t> faceOf;
    // The kernel's face meshes, no longer needed: freeing millions of small objects takes
    // seconds, so the host chooses when (the tool ends the process instead).
    std::unique_ptr<FaceMeshes> kernelFaces;
    double kernelSeconds = 0;   // the kernel's segmentize alone
};

// Segments `source` at `angle` degrees (0 to 180) with the kernel. With `keepSourceMesh`
// false the source's Triangulation (its edges: more than half of its memory) is deleted as
// soon as the kernel is done with it, before the faces are put in order, so that a host
// that needs the source no more keeps one whole mesh less at its peak; its points and
// triangles stay, as the faces share the points. Repeated source triangles (the same three corners) are matched to the face copies
// one to one, lowest index first. Throws std::runtime_error with the kernel's message when
// segmentation fails for another reason than finding no strong edge.
FaceSplit splitFaces(OwnedMesh &source, double angle, bool keepSourceMesh = true);

}  // namespace orvane
