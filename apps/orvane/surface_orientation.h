#pragma once
// Consistent, outward winding for a triangle mesh given as flat arrays: the repair the tool
// applies to the surfaces it builds itself (marching cubes) before writing them, so that
// every written triangle's corner order gives its true facet normal, pointing out of the solid.
#include "model_io.h"

#include <array>
#include <cstddef>
#include <functional>

namespace orvane {

// The unit normal of the triangle (a, b, c) by its corner order (the right-hand rule); zero
// for a triangle without area. What an STL facet's normal must be.
std::array<double, 3> facetNormal(std::array<double, 3> const &a, std::array<double, 3> const &b,
                                  std::array<double, 3> const &c);

// For triangle t of the mesh as it stands: positive when its present winding agrees with the
// outward side (say, the field gradient of an isosurface through it), negative when not.
using OutwardScore = std::function<double(std::size_t triangle)>;

struct OrientationReport {
    std::size_t pieces = 0;          // sets of triangles joined through edges of two triangles
    std::size_t closedPieces = 0;    // pieces without a border or non-manifold edge
    std::size_t flipped = 0;         // triangles whose corner order was reversed
    std::size_t nonOrientable = 0;   // pieces that cannot be wound consistently (left as found)
    std::size_t undecided = 0;       // open pieces with no (or a zero) score: wound consistently only
};

// Rewinds `mesh.corners` in place:
//  - consistency: within each piece (triangles joined through edges that exactly two
//    triangles use) every shared edge ends up run once each way, the piece's lowest-numbered
//    triangle keeping its order;
//  - outward: a closed piece encloses positive volume, unless an odd number of other closed
//    pieces enclose it (the wall of a cavity), in which case negative; an open piece follows
//    the sum of `score` over its triangles when a score is given.
// Degenerate triangles (repeated corners) are left alone. Deterministic.
OrientationReport orientSurface(ModelData &mesh, OutwardScore const &score = {});

}  // namespace orvane
