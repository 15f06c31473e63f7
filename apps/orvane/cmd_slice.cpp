// orvane slice: layer contours of a model from the kernel's Profiler, as SVG and/or JSON.
#include "commands.h"
#include "contour_export.h"
#include "slice_plan.h"

#include "Direction3D.h"
#include "Outcome.h"
#include "PLC.h"
#include "Profiler.h"
#include "Edge.h"
#include "Triangle.h"
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
    double len = std::sqrt(dirIn[0] * dirIn[0] + dirIn[1] * dirIn[1] + dirIn[2] * dirIn[2]);
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

    // Rotated, scaled and moved where the slicer works best (slice_plan.h); the mesh is
    // built there once, and the contours are moved back as they are read.
    SlicePlan const plan = planSlices(in.data, d, byHeight ? 0 : (o.layersOption->count() > 0 ? o.layers : 20),
                                      o.layerHeight, kMostLayers);
    long long const layers = plan.layers;
    if (!plan.clear)
        warn(common, "no position of the planes keeps every layer off the model's vertices (the "
                     "nearest lies " + fmt(plan.clearance, 3) + " units from a plane); some "
                     "contours may come out open");
    buildInputMesh(in, progress, &plan.placement);
    OwnedMesh &placed = *in.mesh;
    placed.addVertex(plan.guardLow[0], plan.guardLow[1], plan.guardLow[2]);
    placed.addVertex(plan.guardHigh[0], plan.guardHigh[1], plan.guardHigh[2]);
    bool closed = true;
    for (odb::Triangle *t : placed.mesh().triangleList())
        for (int e = 0; e < 3 && closed; ++e) closed = t->edge(e)->triangles->size() == 2;

    progress.stage("Slicing " + std::to_string(layers) + " layers");
    odb::Direction3D direction(0, 0, 1);
    ContourList contours;
    auto profiler = std::make_unique<odb::Profiler>(&placed.mesh(), &direction,
                                                    static_cast<int>(plan.slicerPlanes()));
    profiler->generateProfile(contours.items);
    double const seconds = progress.done();

    // Group the contours by layer, in model coordinates on their nominal planes.
    std::vector<Layer> byPlane(static_cast<std::size_t>(layers));
    for (long long k = 0; k < layers; ++k) {
        byPlane[k].index = static_cast<int>(k + 1);
        byPlane[k].height = plan.height(k);
    }
    std::size_t open = 0, kept = 0;
    std::vector<long long> openLayers;
    for (odb::PLC *plc : contours.items) {
        ContourData data = contourData(*plc);
        if (data.points.empty()) continue;
        long long const k = plan.layerOf(data.points[0].z());
        if (k < 0) continue;   // a guard plane (never cut)
        for (odb::Point3D &p : data.points) p = plan.toModel(p, k);
        if (!data.closed) {
            ++open;
            if (openLayers.empty() || openLayers.back() != k + 1) openLayers.push_back(k + 1);
        }
        ++kept;
        byPlane[k].contours.push_back(std::move(data));
    }
    if (open > 0 && closed) {
        std::string list;
        for (std::size_t i = 0; i < std::min<std::size_t>(openLayers.size(), 10); ++i)
            list += (i ? ", " : "") + std::to_string(openLayers[i]);
        if (openLayers.size() > 10) list += " and " + std::to_string(openLayers.size() - 10) + " more";
        warn(common, "the model is closed, yet " + std::to_string(open) + " contours came out open, in layer" +
                         (openLayers.size() == 1 ? " " : "s ") + list);
    }
    ViewFrame frame;
    frame.u = plan.axisU;
    frame.v = plan.axisV;
    frame.w = d;
    for (Layer &layer : byPlane) classifyContours(layer, frame);

    progress.stage("Writing " + joinPaths(outputs));
    for (std::string const &out : outputs) {
        AtomicFile file(out);
        if (extensionOf(out) == "svg") {
            file.write(layersSvg(byPlane, frame, in.name + ", " + std::to_string(layers) +
                                                     " layers of " + fmt(plan.layerHeight) + " along (" +
                                                     fmt(d[0]) + ", " + fmt(d[1]) + ", " + fmt(d[2]) + ")"));
        } else {
            SliceInfo info;
            info.model = in.name;
            info.direction = d;
            info.spacing = plan.layerHeight;
            file.write(layersJson(byPlane, info));
        }
        file.commit();
    }
    progress.done();
    std::cout << in.name << ": " << layers << " layers of " << fmt(plan.layerHeight) << ", " << kept
              << " contours, " << open << " open" << (open && !closed ? " (the model has border or non-manifold edges)" : "")
              << ", " << runTimes(seconds, "slicing") << "; wrote " << joinPaths(outputs) << "\n";
    return finishRun(0);
}

}  // namespace

Runner addSliceCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<SliceOptions>();
    CLI::App *cmd = root.add_subcommand("slice", "Cut a model into layer contours (SVG, JSON)");
    addModelArgument(*cmd, o->model);
    auto *layers = cmd->add_option("-n,--layers", o->layers,
                                   "Number of layers of equal height over the model's extent "
                                   "along the direction (default 20)");
    auto *height = cmd->add_option("--layer-height", o->layerHeight,
                                   "Layer thickness in model units (normally mm): the first "
                                   "plane lies half a layer above the model's bottom, every "
                                   "layer has exactly this height, the last one possibly less");
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
