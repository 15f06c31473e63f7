#pragma once
// MarchingCubes: turns one cube of a sampled scalar field into the triangles of the field's
// zero level surface inside that cube. The host walks its own grid and calls vMarchCube once
// per cube; the object has no state, so one instance may serve any number of threads as long
// as each has its own output vector.
//
// Corner numbering (offsets of the unit cube): 0 (0,0,0), 1 (1,0,0), 2 (1,1,0), 3 (0,1,0),
// 4 (0,0,1), 5 (1,0,1), 6 (1,1,1), 7 (0,1,1). Edges 0-3 run around the bottom face
// (0->1, 1->2, 2->3, 3->0), edges 4-7 around the top face in the same way, and edges 8-11 go
// up from corners 0, 1, 2, 3. This is the numbering of the standard marching-cubes tables.
#include "OrvaneExport.h"

#include <vector>

namespace ORVANE_DATABASE {

class Vertex;

class ORVANE_API MarchingCubes {
public:
    MarchingCubes() = default;
    ~MarchingCubes() = default;
    // Nothing to copy: the tables are class-wide constants.
    MarchingCubes &operator=(MarchingCubes const &) { return *this; }

    // Polygonises one cube at the level 0.
    //   out     triangles are appended (never cleared): one inner vector of exactly three new
    //           Vertex objects, each owning a new Point3D, per triangle. Corners are never
    //           shared, not even between triangles of the same cube. The caller owns them all
    //           (deleting a Vertex deletes its point).
    //   values  the eight corner values in corner order 0..7. A corner is inside when its value
    //           is at most 0; NaN counts as outside. An edge point lies where the linear
    //           interpolation of the edge's two values crosses 0 (the middle when both values
    //           are equal); it is not clamped, so NaN or infinite values give non-finite points
    //           but never undefined behaviour.
    //   x, y, z position of corner 0; size is the cube's edge length.
    // Returns true when triangles were appended, false when the cube holds no surface.
    // A null out or values pointer appends nothing and returns false.
    bool vMarchCube(std::vector<std::vector<Vertex *>> *out, double *values, double x, double y,
                    double z, double size) const;

private:
    // Where `level` lies between the value `start` at an edge's start and `end` at its end, as
    // a fraction from the start: (level - start) / (end - start), or 0.5 when end - start is
    // exactly 0. Not clamped.
    double fGetOffset(double start, double end, double level) const;

    static const float a2fVertexOffset[8][3];
    static const int a2iEdgeConnection[12][2];
    static const float a2fEdgeDirection[12][3];
    // For each cube index (bit i set when corner i is inside), bit e is set exactly when the
    // two corners of edge e lie on different sides.
    static const int aiCubeEdgeFlags[256];
    // For each cube index, up to five triangles as triples of edge numbers, ended by -1.
    static const int a2iTriangleConnectionTable[256][16];

    friend class MarchingCubesTestAccess;
};

} // namespace ORVANE_DATABASE
