#pragma once
// Reaches the private one-step operations of Segmentation.
#include "Edge.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "support/release.h"

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
    Outcome stichSegments(Triangulation *m, std::list<Edge *> &e, std::list<Point3D *> &c) {
        return s_.stichSegments(m, e, c);
    }

private:
    Segmentation &s_;
};

}  // namespace ORVANE_DATABASE
