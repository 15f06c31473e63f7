// Border contours of a mesh or of one face mesh.
#include "Segmentation.h"

#include "Edge.h"
#include "PLC.h"
#include "Point3D.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "entities/SegmentChainer.h"
#include "segmentation/BorderEdges.h"

#include <map>
#include <memory>

namespace ORVANE_DATABASE {

namespace {

Outcome noBoundary() { return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "No boundry found."); }

}  // namespace

Outcome Segmentation::boundaries(std::vector<PLC *> &contours) {
    std::vector<Edge *> border = borderEdges(*m_mesh);
    if (border.empty()) return noBoundary();
    std::vector<PLC *> result;
    chainSegments(edgeEnds(*m_mesh, border), result, false);
    contours = std::move(result);
    return Outcome();
}

Outcome Segmentation::findFaceBoundary(Triangulation *mesh, std::vector<PLC *> &contours) {
    std::vector<Edge *> border = borderEdges(*mesh);
    if (border.empty()) return noBoundary();
    chainSegments(edgeEnds(*mesh, border), contours, true);
    return Outcome();
}

Outcome Segmentation::orderSegments(Triangulation *mesh, std::list<Edge *> &edges,
                                    std::vector<PLC *> *contours, bool closedOnly) {
    std::vector<SegmentEnds> ends = edgeEnds(*mesh, std::vector<Edge *>(edges.begin(), edges.end()));
    edges.clear();
    std::vector<PLC *> made;
    chainSegments(ends, contours ? *contours : made, closedOnly);
    for (PLC *unwanted : made) releaseContour(unwanted);   // nowhere to deliver them
    return Outcome();
}

Outcome Segmentation::stichSegments(Triangulation *mesh, std::list<Edge *> &edges,
                                    std::list<Point3D *> &chain) {
    Outcome const failed(Outcome::FAILURE, Outcome::UNKNOWN, "Error in segment stitching.");
    if (chain.empty()) return failed;
    // The one-step form reads the ends straight from the edge table, as described; the
    // chaining used by boundaries derives the same pairs without building this map.
    std::map<Edge *, std::pair<std::size_t, std::size_t>> const keys = mesh->edgeList();
    std::vector<Vertex *> const &vertices = mesh->vertexList();
    std::vector<SegmentEnds> ends;
    for (Edge *e : edges) {
        std::pair<std::size_t, std::size_t> const &key = keys.at(e);
        ends.push_back({*vertices.at(key.first)->point(), *vertices.at(key.second)->point()});
    }
    for (double t : stitchTolerances()) {
        std::size_t k = 0;
        for (auto it = edges.begin(); it != edges.end(); ++it, ++k) {
            Point3D const &f = *chain.front();
            Point3D const &b = *chain.back();
            SegmentEnds const &s = ends[k];
            if (endsMatch(f, s.first, t)) chain.push_front(new Point3D(s.second));
            else if (endsMatch(f, s.second, t)) chain.push_front(new Point3D(s.first));
            else if (endsMatch(b, s.first, t)) chain.push_back(new Point3D(s.second));
            else if (endsMatch(b, s.second, t)) chain.push_back(new Point3D(s.first));
            else continue;
            edges.erase(it);
            return Outcome();
        }
    }
    return failed;
}

}  // namespace ORVANE_DATABASE
