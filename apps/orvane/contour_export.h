#pragma once
// SVG and JSON output of contours: the layers of a slice, or the border contours of a mesh.
#include "cli_support.h"

#include <array>
#include <string>
#include <vector>

namespace orvane {

using Vec3 = std::array<double, 3>;

// A drawing plane: contours are drawn in the coordinates (p . u, p . v); w is the viewing
// direction (the slicing direction), used for heights.
struct ViewFrame {
    Vec3 u{{1, 0, 0}}, v{{0, 1, 0}}, w{{0, 0, 1}};
};

// How a contour sits among the closed contours of its layer.
enum class ContourKind { Outer, Hole, Open };
char const *kindName(ContourKind kind);

struct Layer {
    int index = 0;          // 1-based, in slicing order
    double height = 0;      // plane position along the slicing direction
    std::vector<ContourData> contours;
    std::vector<ContourKind> kinds;   // filled by classifyContours
};

// Marks each closed contour of a layer as outer or hole by nesting (a contour inside an odd
// number of other closed contours of its layer is a hole), so the result does not depend on
// the direction in which the slicer happened to run the contour. Open contours stay Open.
void classifyContours(Layer &layer, ViewFrame const &frame);

// One SVG page with a panel per layer in a grid, all at one scale: a group per layer
// (id "Layer_<n>", data-height the plane position), a path per contour (id the contour's
// name, class outer / hole / open). Outer regions are filled, holes cut out, open contours
// dashed.
std::string layersSvg(std::vector<Layer> const &layers, ViewFrame const &frame,
                      std::string const &title);

struct SliceInfo {
    std::string model;
    Vec3 direction{{0, 0, 1}};
    double spacing = 0;
};
// Every contour with its name, layer, height, kind, closed flag and points.
std::string layersJson(std::vector<Layer> const &layers, SliceInfo const &info);

// Border contours (3-D polylines): JSON with name, closed flag and points.
std::string contoursJson(std::vector<ContourData> const &contours, std::string const &model);

}  // namespace orvane
