#pragma once
// Where `slice` puts a model for the kernel's slicer, and where its layers lie.
//
// The slicer cuts n planes spread evenly over the mesh's box along the slicing direction,
// with absolute tolerances (cut segments within 1e-8 merged, chain ends within 1e-3
// bridged) and a cutting triangle that reaches about 677 units around (0, -323) in each
// plane; and its contours are closed only where a plane passes through no vertex. The tool
// is the host, and places the model so that none of this shows:
//   - rotation: the slicing direction becomes the z axis (rows of the rotation: the slicer's
//     own in-plane axes u, v for that direction, then the direction), so the layers span the
//     model's own extent along the direction, not its axis-aligned box's;
//   - scale: by a power of two (exact in floating point), so that the model's largest extent
//     lies in [256, 512) units: far above the tolerances, well inside the triangle's reach;
//   - translation: the box centre across the axis onto the triangle's incentre, the bottom
//     (lowest point along the direction) to z = 0;
//   - layers: exactly the height asked, each cut in its middle, the first plane at half a
//     layer above the bottom. Two vertices that no triangle uses fix the slicer's box along z
//     to one layer below the first plane's layer and one above the last, so its evenly spaced
//     planes fall exactly there; what the two guard planes cut is dropped. When the extent is
//     not a whole number of layers, the last layer is thinner, and its middle is off the even
//     spacing: it is cut apart, with a slicer of one plane over just the triangles that reach
//     its height (the same triangles in the same order give the same contour the whole mesh
//     would);
//   - clearance: the planes are moved together by a small offset (at most 1/16 of a layer)
//     chosen so that no vertex lies on or near a plane: the offset closest to zero that keeps
//     every vertex at least 1/1000 of a layer away, else the one that keeps them farthest away.
//     A thin last layer's plane is moved on its own, by at most a quarter of that layer.
// Contours come back in model coordinates, on their layer's nominal plane.
#include "model_io.h"

#include "Point3D.h"

#include <array>
#include <cstddef>

namespace orvane {

using Vec3 = std::array<double, 3>;

struct SlicePlan {
    Vec3 direction{{0, 0, 1}};   // unit
    Vec3 axisU{{1, 0, 0}}, axisV{{0, 1, 0}};   // in-plane axes: (u, v, direction) right-handed
    double layerHeight = 0;      // model units
    long long layers = 0;
    double bottom = 0;           // lowest point of the model along the direction
    double top = 0;              // highest point
    double scale = 1;            // the power of two applied
    Placement placement;         // model coordinates to the slicer's frame
    bool thinLast = false;       // the last layer is thinner and cut on a plane of its own
    double offset = 0;           // the evenly spaced planes lie this far above their layers' middles (model units)
    double lastPlane = 0;        // the thin last layer's plane, in the slicer's frame
    double clearance = 0;        // nearest distance of a vertex to a plane (model units)
    bool clear = true;           // clearance reaches the safe margin (a millionth of the extent)
    Vec3 guardLow{}, guardHigh{};   // the two unused vertices, in the slicer's frame

    // Layers cut by the evenly spaced planes: all but a thin last one.
    long long sweepLayers() const { return thinLast ? layers - 1 : layers; }
    // Planes the slicer is asked for in the sweep: its layers and the two guards.
    long long slicerPlanes() const { return sweepLayers() + 2; }
    // Nominal height of layer k (0-based) along the direction, the middle of the layer, in
    // model units.
    double height(long long k) const;
    // Where layer k begins and ends along the direction (the last one ends at the top).
    double layerBottom(long long k) const;
    double layerTop(long long k) const;
    // The layer (0-based) of a contour of the sweep whose points lie at height z in the
    // slicer's frame, or -1 for a guard plane.
    long long layerOf(double z) const;
    // A contour point from the slicer's frame back to model coordinates, moved along the
    // direction onto layer k's nominal plane.
    ORVANE_DATABASE::Point3D toModel(ORVANE_DATABASE::Point3D const &p, long long k) const;
};

// The in-plane axes the slicer itself uses for a unit normal n (the arbitrary-axis rule).
void slicerPlaneAxes(Vec3 const &n, Vec3 &u, Vec3 &v);

// Plans the slicing of `model` (at least one vertex) along the unit `direction`: `layers`
// layers over its extent when `layers` > 0, else layers of `layerHeight` (> 0) from its
// bottom. `mostLayers` caps the count; a larger count throws UsageError (cli_support.h) with
// the figures.
SlicePlan planSlices(ModelData const &model, Vec3 const &direction, long long layers, double layerHeight,
                     long long mostLayers);

}  // namespace orvane
