#pragma once
// Segmentation: splits a triangle mesh into faces along strong edges and extracts its border
// contours.
//
// An edge is strong when fewer than two triangles use it (a border edge) or when the
// unnormalised normals (q - p) ^ (r - p) of the first two triangles of its set (pointer order)
// make an angle greater than threshold * 3.141592653589793 / 180.0 (strictly; an edge with a
// degenerate triangle has angle -1). A face is a maximal group of triangles reachable from one
// another across edges that are not strong.
//
// Order: the edge and triangle sets are ordered by pointer value, and that order decides which
// face is found (and numbered) first and which two triangles judge a non-manifold edge. It is
// stable for one mesh in one process, not from run to run.
#include "OrvaneExport.h"
#include "Outcome.h"

#include <list>
#include <set>
#include <vector>

namespace ORVANE_DATABASE {

class Edge;
class PLC;
class Point3D;
class Triangle;
class Triangulation;

class ORVANE_API Segmentation {
public:
    // Keeps the mesh (not owned, not checked; must not be null when an operation runs) and the
    // threshold in degrees (any value; it also appears in the names of the face meshes).
    Segmentation(Triangulation *mesh, double angle);
    // Releases nothing.
    ~Segmentation();
    // Copies the mesh pointer and the threshold.
    Segmentation &operator=(Segmentation const &other);

    // Adds one new face mesh per face to `faces` (not cleared first) and returns Outcome().
    // Faces are found by seeds next to strong edges, visited in pointer order; each face
    // grows breadth first across edges that are not strong (around an edge with three or
    // more triangles the neighbours form a cycle in pointer order). Each face mesh is named
    // "Face-" + (faces.size() + 1) + "_" + the threshold as a default std::ostream writes a
    // double ("Face-1_30", "Face-2_22.5", "Face-3_12.3457"). Its triangles are those of the
    // face in pointer order, with their corner order; its vertices are merged through
    // OrvaneDatabase::LessThan (1e-9) in order of first appearance and share the source's
    // Point3D objects.
    //
    // Smooth closed parts (chosen here): triangles that no strong edge touches, directly or
    // through their face (for instance a sphere lying beside a box), are not dropped and no
    // face is delivered twice. Once no strong edge offers an unassigned triangle, the
    // lowest-index unassigned triangle of the triangle list seeds the next face, until every
    // triangle belongs to exactly one face.
    //
    // Failures: no strong edge at all gives FAILURE, UNKNOWN, "Strong Edge not found" and
    // `faces` unchanged. FAILURE, API_FAIL, "Triangulation creation failed" (with `faces`
    // emptied, its meshes not destroyed) is kept for a pass that yields an empty mesh, which
    // the seeding above never produces. A corner index that names no vertex throws
    // std::out_of_range before any face is made (`faces` unchanged).
    //
    // Ownership: the caller owns each face mesh and its Vertex and Triangle objects, but not
    // the points: they belong to the source mesh's vertices, and ~Vertex deletes its point.
    // Release a face mesh without touching the shared points: take its vertexList() and
    // triangleList(), delete the mesh, delete each triangle, and detach each face vertex from
    // its shared point before deleting it: `*v = Vertex(nullptr); delete v;`.
    Outcome segmentize(std::set<Triangulation *> &faces);

    // Replaces the content of `contours` (the old entries are dropped, not destroyed) with the
    // border contours of the mesh, open and closed, in the order their chains were started,
    // and returns Outcome(). Border edges are taken from the triangle list in index order,
    // edges 0, 1, 2 of each; an edge runs from the first to the second vertex of its
    // edgeList() pair, against the winding of its triangle. Chains grow by one edge at a time
    // at the finest of the tolerances 1e-8 ... 1e-3 that fits, front before back. No border
    // edge: FAILURE, UNKNOWN, "No boundry found." and `contours` unchanged. The caller owns
    // every delivered PLC, its point list and its points (new copies of the mesh's points).
    Outcome boundaries(std::vector<PLC *> &contours);

private:
    friend class SegmentationTestAccess;

    // Inserts every strong edge of the mesh into `strong` (not cleared first). Outcome() when
    // the set is non-empty afterwards, else FAILURE, UNKNOWN, "Strong Edge not found".
    Outcome findStrongEdges(std::set<Edge *> &strong);
    // One pass of face growing: the seed is the first or second triangle (pointer order) of
    // the first strong edge, in the set's order, whose triangle is still unassigned; without
    // such an edge, the lowest-index unassigned triangle (see segmentize). Grows its face out
    // of `unassigned` and fills `face` (new, empty) with it. When `unassigned` holds no
    // triangle of the mesh's list, it is emptied and `face` stays empty.
    void createFaces(std::set<Triangle *> &unassigned, std::set<Edge *> &strong,
                     Triangulation &face);
    // Breadth-first growth from `seed` across edges not in `strong`: every triangle reached
    // joins `face` and leaves `unassigned`. Stops at once if the seed is already in `face`.
    void getConnected(Triangle *seed, std::set<Triangle *> &unassigned, std::set<Edge *> &strong,
                      std::set<Triangle *> &face);
    // Fills `mesh` with new triangles, one per triangle of `face` in set order and corner
    // order, over new vertices that share the source's points (merged within 1e-9).
    void createTriangulation(std::set<Triangle *> const &face, Triangulation &mesh);
    // Appends the closed border contours of `mesh` to `contours` (open chains are released,
    // not delivered) and returns Outcome(). A mesh without border edges (a closed face)
    // returns FAILURE, UNKNOWN, "No boundry found." with `contours` unchanged (chosen here,
    // as boundaries answers a closed mesh).
    Outcome findFaceBoundary(Triangulation *mesh, std::vector<PLC *> &contours);
    // Cuts the border edges `edges` of `mesh` into chains and appends one contour per chain
    // to `contours` (only closed ones, within 1e-8, when `closedOnly`; the others are
    // released with their points). Empties `edges`; always returns Outcome().
    Outcome orderSegments(Triangulation *mesh, std::list<Edge *> &edges,
                          std::vector<PLC *> *contours, bool closedOnly);
    // One stitching step: attaches the earliest edge of `edges` fitting an end of `chain` at
    // the finest fitting tolerance (new copy of its far end inserted at that end, edge
    // removed) and returns Outcome(); FAILURE, UNKNOWN, "Error in segment stitching." with
    // both unchanged when none fits within 1e-3 (or the chain is empty). Edge ends are read
    // from mesh->edgeList(); an edge that is not the mesh's throws std::out_of_range. The
    // chain's points are new Point3D objects owned by whoever holds the chain.
    Outcome stichSegments(Triangulation *mesh, std::list<Edge *> &edges,
                          std::list<Point3D *> &chain);

    Triangulation *m_mesh;
    double m_angle;
};

}  // namespace ORVANE_DATABASE
