#pragma once
// Releasing what the kernel delivers, as a host must: shared by the tests, the fuzz targets
// and the benchmarks. Public headers only.
#include "PLC.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <set>
#include <vector>

namespace orvane_test {

// Contours (slices, borders): each PLC, its point list and its points.
inline void releaseContours(std::vector<ORVANE_DATABASE::PLC *> &contours) {
    for (ORVANE_DATABASE::PLC *c : contours) {
        std::vector<ORVANE_DATABASE::Point3D *> *points = c->pointList();
        delete c;
        for (ORVANE_DATABASE::Point3D *p : *points) delete p;
        delete points;
    }
    contours.clear();
}

// A mesh that owns its vertices, their points and its triangles (a voxel surface).
inline void releaseSurface(ORVANE_DATABASE::Triangulation *mesh) {
    if (mesh == nullptr) return;
    std::vector<ORVANE_DATABASE::Vertex *> vertices = mesh->vertexList();
    std::vector<ORVANE_DATABASE::Triangle *> triangles = mesh->triangleList();
    delete mesh;
    for (ORVANE_DATABASE::Triangle *t : triangles) delete t;
    for (ORVANE_DATABASE::Vertex *v : vertices) delete v;
}

// Face meshes of a segmentation: their vertices name the source mesh's points, which
// ~Vertex would delete, so they are detached first.
inline void releaseFaces(std::set<ORVANE_DATABASE::Triangulation *> &faces) {
    for (ORVANE_DATABASE::Triangulation *face : faces) {
        for (ORVANE_DATABASE::Vertex *v : face->vertexList())
            *v = ORVANE_DATABASE::Vertex(nullptr);   // the point stays with the source
        releaseSurface(face);
    }
    faces.clear();
}

}  // namespace orvane_test
