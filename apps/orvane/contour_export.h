#pragma once
// SVG and JSON output of contours: the layers of a slice, or the border contours of a mesh.
// Lengths and heights are in model units (normally mm), as the model file gave them.
#include "cli_support.h"
#include "slice_run.h"

#include <array>
#include <string>
#include <vector>

namespace orvane {

// A drawing plane: points are drawn at (p . u, p . v), u to the right and v up, which is the
// view from the side w points to when (u, v, w) is right-handed.
struct ViewFrame {
    Vec3 u{{1, 0, 0}}, v{{0, 1, 0}}, w{{0, 0, 1}};
};

// Which layers a picture shows: those from `first` to `last` (1-based, inclusive; 0 for the
// end of the range), every `every`-th of them counting from `first`.
struct LayerSelection {
    long long first = 1, last = 0, every = 1;
    // The 0-based indices of the chosen layers among `count`.
    std::vector<std::size_t> pick(std::size_t count) const;
};
// Parses "A:B", "A:", ":B" or "A" (one layer). Throws UsageError.
LayerSelection parseLayerRange(std::string const &text);

// One SVG page with a panel per chosen layer, in a grid, all at one scale with a scale bar:
// per layer a group (id "Layer_<n>", data-height its plane, data-polygons and data-holes its
// counts) holding one path of all its closed contours, filled by the even-odd rule so that
// holes stay open and islands inside holes are filled again, and one dashed path of its open
// contours. Points closer than a tenth of a pixel to the last one drawn are left out.
std::string layersSvg(SliceResult const &result, std::vector<std::size_t> const &chosen, ViewFrame const &frame,
                      std::string const &title);

// The whole result: units, direction, layer height, per layer its plane, extent, polygons
// (outer contour counter-clockwise about the direction, holes clockwise, each ring's first
// point not repeated) and open contours. Numbers to 12 significant digits.
std::string layersJson(SliceResult const &result, std::string const &model);

// A border contour of a mesh (3-D polyline).
struct ContourData {
    std::string name;
    std::vector<odb::Point3D> points;
    bool closed = false;   // last point repeats the first within 1e-8 per coordinate
};
ContourData contourData(odb::PLC &contour);

// Border contours drawn as lines seen along w (closed loops solid, open ones dashed), with a
// legend and a scale bar.
std::string bordersSvg(std::vector<ContourData> const &contours, ViewFrame const &frame, std::string const &title);

// Border contours: JSON with name, closed flag and points.
std::string contoursJson(std::vector<ContourData> const &contours, std::string const &model);

}  // namespace orvane
