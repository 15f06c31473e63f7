// orvane slice: layer contours of a model from the kernel's Profiler, as SVG and/or JSON.
#include "commands.h"
#include "contour_export.h"

#include "BoundingBox3D.h"
#include "Direction3D.h"
#include "Outcome.h"
#include "PLC.h"
#include "Profiler.h"
#include "Vector3D.h"

#include <algorithm>
#include <array>
#include <memory>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace orvane {

namespace {

constexpr long long kMostLayers = 100000;

// The slicer cuts each plane with a fixed triangle around the plane's foot point: corners
// (-1000, -1000), (1000, -1000), (0, 1500) on the plane's in-plane axes. Its inscribed circle
// (radius about 677) is centred at (0, -323); the model is placed so that its box centre
// projects there, which gives every cross-section the most room.
constexpr double kTriangle[3][2] = {{-1000, -1000}, {1000, -1000}, {0, 1500}};
constexpr double kIncentreV = -323.0;
constexpr double kInscribedRadius = 677.0;

struct SliceOptions {
    std::string model;
    long long layers = 0;
    double layerHeight = 0;
    std::string direction = "0,0,1";
    std::vector<std::string> outputs;
    CLI::Option *layersOption = nullptr;
    CLI::Option *heightOption = nullptr;
};

Vec3 parseDirection(std::string const &text) {
    std::string s = text;
    std::replace(s.begin(), s.end(), ',', ' ');
    std::istringstream in(s);
    Vec3 d{};
    std::string rest;
    if (!(in >> d[0] >> d[1] >> d[2]) || (in >> rest))
        throw UsageError("--direction must be three numbers X,Y,Z (got '" + text + "')");
    for (double c : d) requireFinite(c, "--direction");
    if (std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]) < 1e-9)
        throw UsageError("--direction must not be the zero vector");
    return d;
}

// The slicer's in-plane axes for the unit normal n (the arbitrary-axis rule it uses): the
// world Y axis is the reference when n is within 1/64 of +-Z in x and y, else the world Z axis.
void planeAxes(Vec3 const &n, Vec3 &x, Vec3 &y) {
    auto cross = [](Vec3 const &a, Vec3 const &b) {
        return Vec3{{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
    };
    auto unit = [](Vec3 v) {
        double l = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (l >= 1e-13)
            for (double &c : v) c /= l;
        return v;
    };
    Vec3 w = std::fabs(n[0]) < 1.0 / 64 && std::fabs(n[1]) < 1.0 / 64 ? Vec3{{0, 1, 0}} : Vec3{{0, 0, 1}};
    x = unit(cross(w, n));
    y = unit(cross(n, x));
}

double dot(Vec3 const &a, Vec3 const &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Whether the in-plane point (u, v) lies inside the cutting triangle, `margin` units in.
bool withinReach(double u, double v, double margin) {
    for (int e = 0; e < 3; ++e) {
        double const *a = kTriangle[e], *b = kTriangle[(e + 1) % 3];
        double ex = b[0] - a[0], ey = b[1] - a[1];
        double cross = ex * (v - a[1]) - ey * (u - a[0]);   // > 0 inside (counter-clockwise)
        if (cross < margin * std::hypot(ex, ey)) return false;
    }
    return true;
}

std::string fmt(double v, int precision = 4) {
    std::ostringstream s;
    s << std::setprecision(precision) << v;
    return s.str();
}

int runSlice(SliceOptions const &o, CommonOptions const &common) {
    bool const byHeight = o.heightOption->count() > 0;
    if (byHeight) requirePositive(o.layerHeight, "--layer-height");
    else requireCount(o.layersOption->count() > 0 ? o.layers : 20, kMostLayers, "--layers");
    Vec3 const dirIn = parseDirection(o.direction);
    double len = std::sqrt(dot(dirIn, dirIn));
    Vec3 const d{{dirIn[0] / len, dirIn[1] / len, dirIn[2] / len}};
    std::vector<std::string> outputs = o.outputs;
    for (std::string const &out : outputs) {
        std::string ext = extensionOf(out);
        if (ext != "svg" && ext != "json")
            throw UsageError("output '" + out + "': slice writes .svg or .json files");
    }

    Progress progress(common);
    ModelInput in = readInput(o.model, progress);
    if (outputs.empty()) outputs.push_back(in.stem + "-slices.svg");

    // Half the box's extent along the direction, measured as the slicer measures it (from
    // the box corners), so that the plane positions below are the slicer's.
    std::array<double, 6> const box = in.data.box();
    Vec3 const centre{{(box[0] + box[3]) / 2, (box[1] + box[4]) / 2, (box[2] + box[5]) / 2}};
    double half = 0;
    for (int k = 0; k < 8; ++k) {
        Vec3 corner{{k & 4 ? box[0] : box[3], k & 2 ? box[1] : box[4], k & 1 ? box[2] : box[5]}};
        half = std::max(half, dot(d, {{corner[0] - centre[0], corner[1] - centre[1], corner[2] - centre[2]}}));
    }
    long long layers = o.layersOption->count() > 0 ? o.layers : 20;
    if (byHeight) {
        double count = std::ceil(2 * half / o.layerHeight - 1e-9);
        if (count > static_cast<double>(kMostLayers))
            throw UsageError("--layer-height " + fmt(o.layerHeight) + " gives " + fmt(count) +
                             " layers over the model's extent of " + fmt(2 * half) +
                             "; at most " + std::to_string(kMostLayers));
        layers = std::max(1LL, static_cast<long long>(count));
    }
    double const spacing = 2 * half / static_cast<double>(layers);

    // Place the model: box centre onto the cutting triangle's incentre (on the slicing axis).
    // The mesh is built placed; contours are moved back when they are read.
    Vec3 axisX, axisY;
    planeAxes(d, axisX, axisY);
    Vec3 const shift{{-centre[0] + kIncentreV * axisY[0], -centre[1] + kIncentreV * axisY[1],
                      -centre[2] + kIncentreV * axisY[2]}};
    Placement placement;
    for (int k = 0; k < 3; ++k) placement.t[k] = shift[k];
    double uLo = 1e300, uHi = -1e300, vLo = 1e300, vHi = -1e300;
    bool reach = true;
    for (std::size_t v = 0; v < in.data.vertexCount(); ++v) {
        double const *p = &in.data.coords[3 * v];
        Vec3 q{{p[0] + shift[0], p[1] + shift[1], p[2] + shift[2]}};
        double u = dot(axisX, q), w = dot(axisY, q);
        uLo = std::min(uLo, u), uHi = std::max(uHi, u), vLo = std::min(vLo, w), vHi = std::max(vHi, w);
        if (!withinReach(u, w, 1e-6)) reach = false;
    }
    if (!reach)
        warn(common, "the model is " + fmt(uHi - uLo) + " x " + fmt(vHi - vLo) +
                         " units across the slicing direction, more than the slicer reaches "
                         "(about " + fmt(kInscribedRadius, 3) + " units around each layer's "
                         "centre): some contours will be missing or open");
    buildInputMesh(in, progress, &placement);
    OwnedMesh &placed = *in.mesh;

    progress.stage("Slicing " + std::to_string(layers) + " layers");
    odb::Direction3D direction(d[0], d[1], d[2]);
    ContourList contours;
    auto profiler = std::make_unique<odb::Profiler>(&placed.mesh(), &direction, static_cast<int>(layers));
    profiler->generateProfile(contours.items);
    double const seconds = progress.done();

    // Group the contours by plane: plane k (0-based, ascending along d) lies at
    // (k + 1/2) * spacing - half from the centre, in the placed model's frame.
    std::vector<Layer> byPlane(static_cast<std::size_t>(layers));
    double const base = dot(d, centre);   // the centre's height in the original frame
    for (long long k = 0; k < layers; ++k) {
        byPlane[k].index = static_cast<int>(k + 1);
        byPlane[k].height = base + (static_cast<double>(k) + 0.5) * spacing - half;
    }
    std::size_t open = 0;
    for (odb::PLC *plc : contours.items) {
        ContourData data = contourData(*plc);
        if (data.points.empty()) continue;
        Vec3 p0{{data.points[0].x(), data.points[0].y(), data.points[0].z()}};
        double h = dot(d, p0) + half;   // placed frame: 0 at the lowest box corner
        long long k = spacing > 0 ? static_cast<long long>(std::floor(h / spacing)) : 0;
        k = std::clamp(k, 0LL, layers - 1);
        for (odb::Point3D &p : data.points)
            p = odb::Point3D(p.x() - shift[0], p.y() - shift[1], p.z() - shift[2]);
        if (!data.closed) ++open;
        byPlane[k].contours.push_back(std::move(data));
    }
    ViewFrame frame;
    frame.u = axisX;
    frame.v = axisY;
    frame.w = d;
    for (Layer &layer : byPlane) classifyContours(layer, frame);

    progress.stage("Writing " + joinPaths(outputs));
    for (std::string const &out : outputs) {
        AtomicFile file(out);
        if (extensionOf(out) == "svg") {
            file.write(layersSvg(byPlane, frame, in.name + ", " + std::to_string(layers) +
                                                     " layers along (" + fmt(d[0]) + ", " +
                                                     fmt(d[1]) + ", " + fmt(d[2]) + ")"));
        } else {
            SliceInfo info;
            info.model = in.name;
            info.direction = d;
            info.spacing = spacing;
            file.write(layersJson(byPlane, info));
        }
        file.commit();
    }
    progress.done();
    std::cout << in.name << ": " << layers << " layers, " << contours.items.size()
              << " contours, " << open << " open, " << runTimes(seconds, "slicing") << "; wrote "
              << joinPaths(outputs) << "\n";
    return finishRun(0);
}

}  // namespace

Runner addSliceCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<SliceOptions>();
    CLI::App *cmd = root.add_subcommand("slice", "Cut a model into layer contours (SVG, JSON)");
    addModelArgument(*cmd, o->model);
    auto *layers = cmd->add_option("-n,--layers", o->layers, "Number of layers (default 20)");
    auto *height = cmd->add_option("--layer-height", o->layerHeight,
                                   "Layer thickness; the layer count follows from the model's "
                                   "extent along the direction");
    layers->excludes(height);
    o->layersOption = layers;
    o->heightOption = height;
    cmd->add_option("-d,--direction", o->direction, "Slicing direction X,Y,Z (default 0,0,1)");
    cmd->add_option("-o,--output", o->outputs,
                    "Output file, .svg (a picture with a panel per layer) or .json (every "
                    "contour's points); repeat for both. Default: MODEL-slices.svg")
        ->allow_extra_args(false);
    cmd->footer("Examples:\n"
                "  orvane slice part.stl --layer-height 0.2 -o part.svg -o part.json\n"
                "  orvane slice -n 12 -d 1,0,0 -o side.svg      (the built-in part, sideways)");
    return [o, &common] { return runSlice(*o, common); };
}

}  // namespace orvane
