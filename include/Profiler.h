#pragma once
// Profiler: the slicer. Cuts a triangle mesh with a family of parallel, evenly spaced planes
// and returns the cut contours as PLC entities named "Slice_1", "Slice_2", ...
//
// Each plane is represented by a fixed cutting triangle lying in it (corners 1000 and 1500
// units out along in-plane axes around the plane's foot point); a mesh triangle is cut by
// the exact triangle-triangle test against that triangle, so mesh parts beyond the cutting
// triangle's reach are not cut.
//
// Choices made where the behaviour is open:
//  - Candidate order. Within a plane, mesh triangles are cut in ascending triangle index,
//    so the contour order within a plane and each contour's start are deterministic.
//  - Repeated segments. Before stitching, a segment whose two ends both match (each
//    coordinate strictly within 1e-8) the ends of an earlier kept segment of the same plane,
//    in either direction, is dropped: a plane through a mesh edge shared by two cut
//    triangles (or through duplicated faces) gives that stretch once, so no contour runs
//    twice over the same stretch.
//  - Copying. Copy construction is deleted; assignment is a deep copy: the target releases
//    what it owned and takes its own copies of the source's cell index and segment
//    records, and shares the source's (non-owned) mesh and direction. No owned object is
//    ever released twice.
//  - Degenerate set-ups give no contours and success: a slice count below 1 (no planes), a
//    null or zero-length (or non-finite) direction, a null mesh, and any plane whose
//    distance is not finite (a mesh with NaN or infinite coordinates) is passed over.
//  - Odd coordinates in the cell index: a cell quotient that is NaN counts as 0 and one
//    beyond the integer range as that range's end, instead of an undefined conversion.
//  - Segment records. Every cut segment is recorded for the slicer's lifetime as the index
//    of the triangle cut, under its plane's cutting triangle (about 4 bytes per segment; the
//    end points are recomputed from them bit for bit), instead of one Edge and two Point3D
//    objects each; edgeEnds/edgeByEnds hold only the segments materialised through
//    recordSegment for the one-step stitching operations. The cell index reads the triangles' corner
//    indices once, at construction, and keeps them (12 bytes per triangle); its cells are
//    computed only if it is queried.
#include "OrvaneExport.h"
#include "Outcome.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {

class Direction3D;
class Edge;
class Plane;
class PLC;
class Triangulation;
class VoxelGrid;
namespace slicing {
class SegmentRecords;
}

// Möller's triangle-triangle test with intersection line, in double precision: V0..V2 the
// first triangle, U0..U2 the second. Returns 1 when they cross in a segment, whose end
// points go to isect1 and isect2 (three doubles each), else 0. Plane values below 1e-16 in
// magnitude count as zero; when the first triangle lies within 1e-13 of the second's plane
// (unnormalised values) the pair counts as coplanar and the result is 0. `coplanar` is set
// to 0 once both plane tests pass and is untouched on earlier returns. No pointer is tested.
ORVANE_API int tri_tri_intersect_with_isectline_double(double *const V0, double *const V1,
                                                       double *const V2, double *const U0,
                                                       double *const U1, double *const U2,
                                                       int *coplanar, double *const isect1,
                                                       double *const isect2);

class ORVANE_API Profiler {
public:
    // Keeps the three pointers (nothing is copied) and builds the cell index over the mesh.
    // The mesh must stay alive and unchanged, and the direction alive, while the slicer is
    // used. A triangle corner index outside the vertex list throws std::out_of_range.
    Profiler(Triangulation *mesh, Direction3D *direction, int sliceCount);
    // Releases the cell index and the segment records; the mesh, the direction and the
    // delivered contours are untouched.
    ~Profiler();
    Profiler(Profiler const &) = delete;
    // Deep copy (see above). Self-assignment changes nothing.
    Profiler &operator=(Profiler const &other);

    // Cuts the mesh with the planes, in ascending order along the direction, and appends
    // one PLC per contour to `out` (existing elements stay), named Slice_1, Slice_2, ... in
    // the order delivered; every call numbers from Slice_1 again. Open contours are
    // delivered too. The caller owns each PLC, its point list and its points. Always
    // success.
    Outcome generateProfile(std::vector<PLC *> &out);

private:
    friend class ProfilerTestAccess;

    // Empties `planes` (nodes only) and fills it with sliceCount new planes in ascending
    // distance; the caller owns them. Nothing is added for a slice count below 1.
    void generateCuttingPlanes(std::list<Plane *> &planes);
    // The arbitrary-axis rule: in-plane axes X, Y for the normal N (reference axis A1 when
    // |N.x| and |N.y| are both below 1/64, else A2), Z = N. Always success.
    Outcome findArbitraryAxis(Vector3D normal, Vector3D axis1, Vector3D axis2, Vector3D &x,
                              Vector3D &y, Vector3D &z);
    // Overwrites the first three elements of `points` (which must exist) with the plane's
    // cutting triangle.
    void getPointsOnPlane(Plane &plane, std::vector<Point3D> &points);
    // Cuts the second triangle (three consecutive points) with the first. On success the
    // segment holds two new points owned by the caller; "No Intersection" when the test
    // finds nothing or a segment shorter than 1e-10 (the segment is then untouched or
    // reset to nulls).
    Outcome findTriangleIntersection(Point3D *const first, Point3D *const second,
                                     std::pair<Point3D *, Point3D *> &segment);
    // Chains the recorded segments of `segments` (consumed) into contours appended to `out`,
    // with the result of repeated stichSegments steps, in near-linear time. Segments not
    // recorded in edgeEnds are passed over; a null `out` receives nothing. Always success.
    Outcome orderSegments(std::list<Edge *> &segments, std::vector<PLC *> *out, bool closedOnly);
    // One stitching step: attaches the earliest segment touching the chain's front or back
    // at the finest of the tolerances 1e-8, 1e-7, ... 1e-3; fails with "Error in segment
    // stitching." when none touches (or the chain is empty), leaving both unchanged.
    Outcome stichSegments(std::list<Edge *> &segments, std::list<Point3D *> &chain);
    // Builds the cell index: k = pow(T, 0.333333) truncated, at least 3, cells per axis.
    Outcome createVoxel();

    // Records a segment as an Edge with two new end points in edgeEnds and edgeByEnds
    // (owned by the slicer) and returns the Edge, for the one-step operations above.
    Edge *recordSegment(Point3D const &first, Point3D const &second);
    void releaseRecordedEdges();

    std::unique_ptr<VoxelGrid> voxelGrid;
    std::unique_ptr<std::map<Edge *, std::pair<Point3D *, Point3D *>>> edgeEnds;
    std::unique_ptr<std::map<std::pair<Point3D *, Point3D *>, Edge *>> edgeByEnds;
    Triangulation *triangulation;
    Direction3D *direction;
    int sliceCount;
    std::unique_ptr<slicing::SegmentRecords> segmentRecords;
};

}  // namespace ORVANE_DATABASE
