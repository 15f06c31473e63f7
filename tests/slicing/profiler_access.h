#pragma once
// Test access to the slicer's private operations, and a straightforward reference slicer
// built from them: every triangle the cell index offers against every plane, repeats
// dropped by pairwise comparison, literal one-step stitching.
#include "Direction3D.h"
#include "Edge.h"
#include "PLC.h"
#include "Plane.h"
#include "Profiler.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "entities/SegmentChainer.h"
#include "slicing/SegmentRecords.h"
#include "slicing/VoxelGrid.h"
#include "support/release.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <unordered_set>
#include <vector>

namespace ORVANE_DATABASE {

class ProfilerTestAccess {
public:
    static std::vector<double> planeDistances(Profiler &p) {
        std::list<Plane *> planes{new Plane()};   // replaced, not released, by the call
        Plane *stale = planes.front();
        p.generateCuttingPlanes(planes);
        delete stale;
        std::vector<double> d;
        for (Plane *plane : planes) d.push_back(plane->distance()), delete plane;
        return d;
    }
    static std::vector<Point3D> cuttingTriangle(Profiler &p, Plane plane) {
        std::vector<Point3D> pts(3);
        p.getPointsOnPlane(plane, pts);
        return pts;
    }
    static Outcome intersect(Profiler &p, Point3D *a, Point3D *b, std::pair<Point3D *, Point3D *> &s) {
        return p.findTriangleIntersection(a, b, s);
    }
    static Edge *record(Profiler &p, Point3D const &a, Point3D const &b) { return p.recordSegment(a, b); }
    static Outcome stitch(Profiler &p, std::list<Edge *> &s, std::list<Point3D *> &chain) {
        return p.stichSegments(s, chain);
    }
    static Outcome order(Profiler &p, std::list<Edge *> &s, std::vector<PLC *> *out, bool closedOnly) {
        return p.orderSegments(s, out, closedOnly);
    }
    static VoxelGrid &grid(Profiler &p) { return *p.voxelGrid; }
    static std::size_t recordedSegments(Profiler &p) { return p.segmentRecords->size(); }
    // Record i, recomputed: its cutting triangle's cut of its mesh triangle, by the wrapper.
    static SegmentEnds recordedSegment(Profiler &p, std::size_t i) {
        double v[9];
        Triangle *t = p.triangulation->triangleList().at(p.segmentRecords->record(i, v));
        Point3D plane[3] = {Point3D(v), Point3D(v + 3), Point3D(v + 6)}, c[3];
        for (int k = 0; k < 3; ++k) c[k] = *p.triangulation->vertexList().at(t->vertexIndex(k))->point();
        std::pair<Point3D *, Point3D *> s(nullptr, nullptr);
        if (!p.findTriangleIntersection(plane, c, s).isOk()) return {};
        SegmentEnds e{*s.first, *s.second};
        delete s.first;
        delete s.second;
        return e;
    }

    // The repeat rule: both ends match (1e-8), in either direction.
    static bool repeats(SegmentEnds const &k, SegmentEnds const &e) {
        return (endsMatch(k.first, e.first, 1e-8) && endsMatch(k.second, e.second, 1e-8)) ||
               (endsMatch(k.first, e.second, 1e-8) && endsMatch(k.second, e.first, 1e-8));
    }

    // orderSegments done literally: a chain from the first segment, stichSegments until it
    // fails, one PLC per chain.
    static void literalOrder(Profiler &p, std::list<Edge *> &segments, std::vector<PLC *> &out) {
        while (!segments.empty()) {
            auto ends = p.edgeEnds->at(segments.front());
            segments.pop_front();
            std::list<Point3D *> chain{new Point3D(*ends.first), new Point3D(*ends.second)};
            while (!segments.empty() && p.stichSegments(segments, chain).isOk()) {
            }
            PLC *plc = new PLC();
            for (Point3D *pt : chain) plc->addPoint(pt);
            out.push_back(plc);
        }
    }

    // The slicing procedure done literally (with the documented choices: planes of a zero or
    // non-finite normal or distance cut nothing; candidates in triangle order; repeats out).
    static void referenceProfile(Profiler &p, std::vector<PLC *> &out, std::vector<SegmentEnds> *cuts = nullptr) {
        std::list<Plane *> planes;
        p.generateCuttingPlanes(planes);
        Triangulation &mesh = *p.triangulation;
        int counter = 0;
        for (Plane *plane : planes) {
            std::vector<Point3D> tri(3);
            p.getPointsOnPlane(*plane, tri);
            std::unordered_set<Triangle *> offered, seen;
            bool const usable = std::isfinite(plane->distance()) && plane->normal().vector3D().magnitude() > 0;
            if (usable && p.voxelGrid->findTriangles(VoxelGrid::cornerBox(tri[0], tri[1], tri[2]), offered).isOk()) {
                std::vector<SegmentEnds> kept;
                for (Triangle *t : mesh.triangleList()) {
                    if (!offered.count(t) || !seen.insert(t).second) continue;
                    Point3D c[3];
                    for (int i = 0; i < 3; ++i) c[i] = *mesh.vertexList().at(t->vertexIndex(i))->point();
                    std::pair<Point3D *, Point3D *> s(nullptr, nullptr);
                    if (!p.findTriangleIntersection(tri.data(), c, s).isOk()) continue;
                    SegmentEnds e{*s.first, *s.second};
                    delete s.first;
                    delete s.second;
                    if (cuts) cuts->push_back(e);
                    if (std::none_of(kept.begin(), kept.end(), [&](SegmentEnds const &k) { return repeats(k, e); }))
                        kept.push_back(e);
                }
                std::list<Edge *> segments;
                for (SegmentEnds const &e : kept) segments.push_back(p.recordSegment(e.first, e.second));
                std::size_t const first = out.size();
                literalOrder(p, segments, out);
                for (std::size_t k = first; k < out.size(); ++k) out[k]->setName("Slice_" + std::to_string(++counter));
            }
            delete plane;
        }
    }
};

}  // namespace ORVANE_DATABASE

namespace orvane_test {

// A closed contour: more than two points, the last a distinct copy of the first (1e-8).
inline bool closed(ORVANE_DATABASE::PLC *c) {
    auto const &p = *c->pointList();
    return p.size() > 2 && ORVANE_DATABASE::endsMatch(*p.front(), *p.back(), 1e-8) && p.front() != p.back();
}

// Empty when the two contour lists are identical (names unless told otherwise, point
// counts, coordinates bit for bit); otherwise the first difference.
inline std::string contourDifference(std::vector<ORVANE_DATABASE::PLC *> const &a,
                                     std::vector<ORVANE_DATABASE::PLC *> const &b, bool names = true) {
    auto bits = [](double v) {
        std::uint64_t u;
        std::memcpy(&u, &v, sizeof u);
        return u;
    };
    if (a.size() != b.size()) return "contour counts " + std::to_string(a.size()) + " vs " + std::to_string(b.size());
    for (std::size_t k = 0; k < a.size(); ++k) {
        auto const &pa = *a[k]->pointList();
        auto const &pb = *b[k]->pointList();
        if ((names && a[k]->getName() != b[k]->getName()) || pa.size() != pb.size())
            return "contour " + std::to_string(k);
        for (std::size_t i = 0; i < pa.size(); ++i)
            for (int c = 0; c < 3; ++c)
                if (bits(pa[i]->vector()[c]) != bits(pb[i]->vector()[c]))
                    return "point " + std::to_string(i) + " of contour " + std::to_string(k);
    }
    return {};
}

}  // namespace orvane_test
