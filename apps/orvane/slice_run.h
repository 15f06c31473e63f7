#pragma once
// The work of `orvane slice`, apart from any command line, console or file: a model in,
// its layers out, each as polygons (an outer contour and its holes) in model coordinates.
// Whatever calls it (the tool, a scripting module) places layers and nests contours the
// same way.
//
// Layers follow slice_plan.h: along the unit direction, exactly the height asked from the
// model's bottom, each cut in its middle (the last layer possibly thinner), the planes moved
// off the model's vertices by a shift far below a layer. Within a layer, each closed contour
// is classified by nesting (nestRings): one inside an even number of others bounds material
// (an outer contour), one inside an odd number a hole of the contour right around it; so an
// island inside a hole is a polygon of its own. Outer contours run counter-clockwise about
// the direction (right-hand rule: seen from the side the direction points to, from above
// for 0,0,1), holes clockwise.
#include "model_io.h"
#include "slice_plan.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace orvane {

using Point3 = std::array<double, 3>;
// A closed contour: its corners in order, the first not repeated at the end.
using Ring3 = std::vector<Point3>;

struct SlicePolygon {
    Ring3 outer;                // counter-clockwise about the direction
    std::vector<Ring3> holes;   // clockwise, each inside `outer` and in no other hole
};

struct SliceLayer {
    long long index = 0;   // 1-based, from the bottom
    // Along the direction, in model units: the cutting plane (the layer's middle, rounded to
    // 12 significant digits so that it reads as the decimal it is), and the layer's extent.
    double height = 0, bottom = 0, top = 0;
    std::vector<SlicePolygon> polygons;     // in the order the slicer found their outer contours
    std::vector<std::vector<Point3>> open;  // open contours, as the slicer ran them
};

struct SliceRequest {
    Vec3 direction{{0, 0, 1}};   // any length but zero
    long long layers = 0;        // > 0: this many layers of equal height over the extent
    double layerHeight = 0;      // otherwise: layers of this height (> 0) from the bottom
    long long mostLayers = 100000;
};

// Progress of the long steps, for whoever shows it; any of the three may be left empty.
struct SliceCallbacks {
    std::function<void(std::string const &what, std::size_t total)> stage;   // total 0: unknown
    std::function<void(std::size_t done, std::size_t total)> step;
    std::function<void()> done;
};

struct SliceResult {
    SlicePlan plan;
    std::vector<SliceLayer> layers;          // every layer, empty ones included
    bool modelClosed = false;                // no border and no non-manifold edge
    std::size_t closedContours = 0;
    std::size_t openContours = 0;
    std::vector<long long> openLayers;       // 1-based indices of layers with open contours
    double slicingSeconds = 0;               // the slicer's own time
    // The mesh the slicer cut (placed in its frame, with two guard vertices), kept so that
    // its release, which takes seconds on a model of millions of triangles, happens when the
    // caller drops the result, or not at all in a tool that is about to exit.
    std::unique_ptr<OwnedMesh> slicedMesh;
};

// Slices `model` (taken over: its arrays are released once the mesh is built). Throws
// UsageError for a zero or non-finite direction, a layer count below 1, a height that is not
// positive, or more layers than request.mostLayers.
SliceResult sliceModel(ModelData model, SliceRequest const &request, SliceCallbacks const &callbacks = {});

// What a user should hear about a result, one line each: planes that could not be kept off
// the vertices, and open contours of a closed model (naming the layers).
std::vector<std::string> sliceWarnings(SliceResult const &result);

// `value` rounded to 12 significant digits: a height computed as bottom + (k + 1/2) h reads
// as the decimal it stands for (0.1, not 0.09999999999999964).
double cleanDecimal(double value);

// "1, 2, 5 and 12 more": up to `most` numbers of a list.
std::string listSome(std::vector<long long> const &numbers, std::size_t most = 10);

}  // namespace orvane
