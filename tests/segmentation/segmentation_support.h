#pragma once
// Reaches the private one-step operations of Segmentation, and releases what it delivers.
#include "Edge.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <list>
#include <set>
#include <vector>

namespace ORVANE_DATABASE {

class SegmentationTestAccess {
public:
    explicit SegmentationTestAccess(Segmentation &s) : s_(s) {}
    Outcome findStrongEdges(std::set<Edge *> &e) { return s_.findStrongEdges(e); }
    void createFaces(std::set<Triangle *> &u, std::set<Edge *> &e, Triangulation &m) { s_.createFaces(u, e, m); }
    Outcome findFaceBoundary(Triangulation *m, std::vector<PLC *> &c) { return s_.findFaceBoundary(m, c); }
    Outcome orderSegments(Triangulation *m, std::list<Edge *> &e, std::vector<PLC *> *c, bool closed) {
        return s_.orderSegments(m, e, c, closed);
    }
    Outcome stichSegments(Triangulation *m, std::list<Edge *> &e, std::list<Point3D *> &c) {
        return s_.stichSegments(m, e, c);
    }

private:
    Segmentation &s_;
};

}  // namespace ORVANE_DATABASE

namespace orvane_test {

// Face-mesh vertices name the source mesh's points, which ~Vertex would delete: they are
// detached from them first.
inline void releaseFaces(std::set<ORVANE_DATABASE::Triangulation *> &faces) {
    for (auto *face : faces) {
        std::vector<ORVANE_DATABASE::Vertex *> vertices = face->vertexList();
        std::vector<ORVANE_DATABASE::Triangle *> triangles = face->triangleList();
        delete face;
        for (auto *t : triangles) delete t;
        for (auto *v : vertices) {
            *v = ORVANE_DATABASE::Vertex(nullptr);  // the point stays with the source
            delete v;
        }
    }
    faces.clear();
}

inline void releaseContours(std::vector<ORVANE_DATABASE::PLC *> &contours) {
    for (auto *c : contours) {
        std::vector<ORVANE_DATABASE::Point3D *> *points = c->pointList();
        delete c;
        for (auto *p : *points) delete p;
        delete points;
    }
    contours.clear();
}

}  // namespace orvane_test
