// The slicer's set-up, plane geometry, cell index construction and one-step stitching.
// The profile engine (generateProfile) is in ProfileGeneration.cpp, the triangle test in
// TriangleIntersection.cpp.
#include "Profiler.h"

#include "Direction3D.h"
#include "Edge.h"
#include "PLC.h"
#include "Plane.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "entities/SegmentChainer.h"
#include "slicing/CuttingPlanes.h"
#include "slicing/SegmentRecords.h"
#include "slicing/VoxelGrid.h"

#include <cmath>
#include <cstddef>

namespace ORVANE_DATABASE {

namespace {

Outcome stitchingFailure() {
    return Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "Error in segment stitching.");
}

}  // namespace

Profiler::Profiler(Triangulation *mesh, Direction3D *dir, int count)
    : triangulation(mesh), direction(dir), sliceCount(count) {
    createVoxel();
    edgeEnds = std::make_unique<std::map<Edge *, std::pair<Point3D *, Point3D *>>>();
    edgeByEnds = std::make_unique<std::map<std::pair<Point3D *, Point3D *>, Edge *>>();
    segmentRecords = std::make_unique<slicing::SegmentRecords>();
}

Profiler::~Profiler() { releaseRecordedEdges(); }

void Profiler::releaseRecordedEdges() {
    if (!edgeEnds) return;
    for (auto &entry : *edgeEnds) {
        delete entry.second.first;
        delete entry.second.second;
        delete entry.first;
    }
    edgeEnds->clear();
    if (edgeByEnds) edgeByEnds->clear();
}

Profiler &Profiler::operator=(Profiler const &other) {
    if (this == &other) return *this;
    // Copies first, so that a failed allocation leaves this slicer as it was.
    auto grid = other.voxelGrid ? std::make_unique<VoxelGrid>(*other.voxelGrid) : nullptr;
    auto records = std::make_unique<slicing::SegmentRecords>(*other.segmentRecords);
    auto ends = std::make_unique<std::map<Edge *, std::pair<Point3D *, Point3D *>>>();
    auto byEnds = std::make_unique<std::map<std::pair<Point3D *, Point3D *>, Edge *>>();
    try {
        for (auto const &entry : *other.edgeEnds) {
            auto edge = std::make_unique<Edge>();
            auto p = std::make_unique<Point3D>(*entry.second.first);
            auto q = std::make_unique<Point3D>(*entry.second.second);
            (*ends)[edge.get()] = {p.get(), q.get()};
            (*byEnds)[{p.get(), q.get()}] = edge.get();
            edge.release();
            p.release();
            q.release();
        }
    } catch (...) {
        for (auto &entry : *ends) {
            delete entry.second.first;
            delete entry.second.second;
            delete entry.first;
        }
        throw;
    }
    releaseRecordedEdges();
    voxelGrid = std::move(grid);
    segmentRecords = std::move(records);
    edgeEnds = std::move(ends);
    edgeByEnds = std::move(byEnds);
    triangulation = other.triangulation;
    direction = other.direction;
    sliceCount = other.sliceCount;
    return *this;
}

void Profiler::generateCuttingPlanes(std::list<Plane *> &planes) {
    planes.clear();
    Direction3D normal;
    std::vector<double> distances;
    BoundingBox3D const box = triangulation ? *triangulation->getBoundingBox() : BoundingBox3D();
    slicing::planeDistances(direction ? direction->vector3D() : Vector3D(), box, sliceCount, normal,
                            distances);
    std::vector<std::unique_ptr<Plane>> made;
    made.reserve(distances.size());
    for (double d : distances) made.push_back(std::make_unique<Plane>(normal, d));
    for (auto &plane : made) planes.push_back(plane.release());
}

Outcome Profiler::findArbitraryAxis(Vector3D normal, Vector3D axis1, Vector3D axis2, Vector3D &x,
                                    Vector3D &y, Vector3D &z) {
    slicing::arbitraryAxes(normal, axis1, axis2, x, y);
    z = normal;
    return Outcome();
}

void Profiler::getPointsOnPlane(Plane &plane, std::vector<Point3D> &points) {
    Vector3D x, y, z;
    findArbitraryAxis(plane.normal().vector3D(), Vector3D(0, 1, 0), Vector3D(0, 0, 1), x, y, z);
    Point3D corners[3];
    slicing::cuttingTriangle(x, y, plane.normal().vector3D(), plane.distance(), corners);
    points[0] = corners[0];
    points[1] = corners[1];
    points[2] = corners[2];
}

Outcome Profiler::createVoxel() {
    std::size_t const triangles = triangulation ? triangulation->triangleList().size() : 0;
    auto steps = static_cast<std::size_t>(std::pow(static_cast<double>(triangles), 0.333333));
    if (steps < 3) steps = 3;
    voxelGrid = std::make_unique<VoxelGrid>(triangulation, steps, steps, steps);
    // Corner indices are read (and range-checked, so a bad one throws from the constructor)
    // now; the cells of the triangles are computed on the index's first query.
    voxelGrid->insertMeshTriangles(triangulation);
    return Outcome();
}

Edge *Profiler::recordSegment(Point3D const &first, Point3D const &second) {
    auto edge = std::make_unique<Edge>();
    auto p = std::make_unique<Point3D>(first);
    auto q = std::make_unique<Point3D>(second);
    (*edgeByEnds)[{p.get(), q.get()}] = edge.get();
    try {
        (*edgeEnds)[edge.get()] = {p.get(), q.get()};
    } catch (...) {
        edgeByEnds->erase({p.get(), q.get()});
        throw;
    }
    p.release();
    q.release();
    return edge.release();
}

Outcome Profiler::stichSegments(std::list<Edge *> &segments, std::list<Point3D *> &chain) {
    if (chain.empty()) return stitchingFailure();
    for (double t : stitchTolerances()) {
        Point3D const &front = *chain.front();
        Point3D const &back = *chain.back();
        for (auto it = segments.begin(); it != segments.end(); ++it) {
            auto found = edgeEnds->find(*it);
            if (found == edgeEnds->end()) continue;
            Point3D const &p = *found->second.first;
            Point3D const &q = *found->second.second;
            bool const atFront = endsMatch(front, p, t) || endsMatch(front, q, t);
            bool const farIsQ = atFront ? endsMatch(front, p, t) : endsMatch(back, p, t);
            if (!atFront && !farIsQ && !endsMatch(back, q, t)) continue;
            auto copy = std::make_unique<Point3D>(farIsQ ? q : p);
            if (atFront)
                chain.push_front(copy.get());
            else
                chain.push_back(copy.get());
            copy.release();
            segments.erase(it);
            return Outcome();
        }
    }
    return stitchingFailure();
}

Outcome Profiler::orderSegments(std::list<Edge *> &segments, std::vector<PLC *> *out, bool closedOnly) {
    std::vector<SegmentEnds> ends;
    ends.reserve(segments.size());
    for (Edge *e : segments) {
        auto found = edgeEnds->find(e);
        if (found != edgeEnds->end()) ends.push_back({*found->second.first, *found->second.second});
    }
    segments.clear();
    if (out == nullptr || ends.empty()) return Outcome();
    chainSegments(ends, *out, closedOnly);
    return Outcome();
}

}  // namespace ORVANE_DATABASE
