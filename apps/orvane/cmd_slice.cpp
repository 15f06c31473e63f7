// orvane slice: the layers of a model, nested into polygons, as an SVG picture and/or JSON.
// The work itself is sliceModel (slice_run.h); this is its command line.
#include "commands.h"
#include "contour_export.h"
#include "slice_run.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>

namespace orvane {

namespace {

constexpr long long kMostLayers = 100000;
// A picture with more panels than this draws every k-th layer unless told otherwise.
constexpr std::size_t kMostPanels = 100;

struct SliceOptions {
    std::string model;
    long long layers = 0;
    double layerHeight = 0;
    std::string direction = "0,0,1";
    std::vector<std::string> outputs;
    std::string range;
    long long every = 0;
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

int runSlice(SliceOptions const &o, CommonOptions const &common) {
    SliceRequest request;
    bool const byHeight = o.heightOption->count() > 0;
    if (byHeight) {
        requirePositive(o.layerHeight, "--layer-height");
        request.layerHeight = o.layerHeight;
    } else {
        request.layers = o.layersOption->count() > 0 ? o.layers : 20;
        requireCount(request.layers, kMostLayers, "--layers");
    }
    request.mostLayers = kMostLayers;
    request.direction = parseDirection(o.direction);
    LayerSelection selection;
    if (!o.range.empty()) selection = parseLayerRange(o.range);
    if (o.every != 0) {
        requireCount(o.every, kMostLayers, "--every");
        selection.every = o.every;
    }

    std::vector<std::string> outputs = o.outputs;
    if (outputs.empty()) outputs.push_back(modelStem(o.model) + "-slices.svg");
    std::size_t toStdout = 0;
    for (std::string const &out : outputs) {
        if (out == "-") {
            ++toStdout;
            continue;
        }
        std::string const ext = extensionOf(out);
        if (ext != "svg" && ext != "json")
            throw UsageError("output '" + out + "': slice writes .svg or .json files (or JSON to standard output with '-o -')");
    }
    OutputFiles files(outputs, o.model, true);

    Progress progress(common);
    ModelInput in = readInput(o.model, progress);
    SliceCallbacks callbacks;
    callbacks.stage = [&](std::string const &what, std::size_t total) { progress.stage(what, total); };
    callbacks.step = [&](std::size_t done, std::size_t total) { progress.step(done, total); };
    callbacks.done = [&] { progress.done(); };
    SliceResult result = sliceModel(std::move(in.data), request, callbacks);
    // Left for the end of the run (finishRun), which skips its piecewise release.
    in.mesh = std::move(result.slicedMesh);
    for (std::string const &warning : sliceWarnings(result)) warn(common, warning);
    SlicePlan const &plan = result.plan;

    std::vector<std::size_t> chosen = selection.pick(result.layers.size());
    bool const wantsPicture = std::any_of(outputs.begin(), outputs.end(), [](std::string const &out) {
        return out != "-" && extensionOf(out) == "svg";
    });
    if (wantsPicture && chosen.empty())
        throw UsageError("--layers-range " + o.range + " holds none of the " + counted(result.layers.size(), "layer"));
    if (wantsPicture && o.every == 0 && chosen.size() > kMostPanels) {
        selection.every = static_cast<long long>((chosen.size() + kMostPanels - 1) / kMostPanels);
        chosen = selection.pick(result.layers.size());
        note(common, "the picture shows every " + ordinal(selection.every) + " of the " +
                         counted(result.layers.size(), "layer") + " (choose with --every and --layers-range)");
    }

    progress.stage("Writing " + joinPaths(outputs));
    std::string const direction = "(" + numberText(plan.direction[0], 4) + ", " + numberText(plan.direction[1], 4) + ", " +
                                  numberText(plan.direction[2], 4) + ")";
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!files.isStdout(i) && extensionOf(files.target(i)) == "svg") {
            ViewFrame frame;
            frame.u = plan.axisU;
            frame.v = plan.axisV;
            frame.w = plan.direction;
            std::string title = in.name + ": " + counted(result.layers.size(), "layer") + " of " + numberText(plan.layerHeight, 4) +
                                " along " + direction;
            if (chosen.size() < result.layers.size()) title += ", " + counted(chosen.size(), "layer") + " shown";
            files.write(i, layersSvg(result, chosen, frame, title));
        } else {
            files.write(i, layersJson(result, in.name));
        }
    }
    files.commit();
    progress.done();

    std::size_t polygons = 0, holes = 0;
    for (SliceLayer const &layer : result.layers) {
        polygons += layer.polygons.size();
        for (SlicePolygon const &p : layer.polygons) holes += p.holes.size();
    }
    std::string line = in.name + ": " + counted(result.layers.size(), "layer") + " of " + numberText(plan.layerHeight, 4) +
                       (plan.thinLast ? " (the last thinner)" : "") + ", " +
                       counted(result.closedContours + result.openContours, "contour") + ", " +
                       std::to_string(result.openContours) + " open";
    if (result.openContours > 0)
        line += std::string(result.modelClosed ? "" : " (the model has border or non-manifold edges)") + " in layer" +
                (result.openLayers.size() == 1 ? " " : "s ") + listSome(result.openLayers);
    line += "; " + counted(polygons, "polygon") + " with " + counted(holes, "hole") + "; " +
            runTimes(result.slicingSeconds, "slicing") + "; wrote " + joinPaths(outputs);
    summary(common, line, files.usesStdout());
    return finishRun(0);
}

}  // namespace

Runner addSliceCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<SliceOptions>();
    CLI::App *cmd = root.add_subcommand("slice", "Cut a model into layers of nested polygons (SVG, JSON)");
    addModelArgument(*cmd, o->model);
    auto *layers = cmd->add_option("-n,--layers", o->layers,
                                   "Number of layers of equal height over the model's extent "
                                   "along the direction (default 20)");
    auto *height = cmd->add_option("--layer-height", o->layerHeight,
                                   "Layer thickness in model units (normally mm): layers are "
                                   "stacked from the model's bottom, each cut in its middle (the "
                                   "first at half a layer), every layer exactly this thick but "
                                   "the last, which may be thinner");
    layers->excludes(height);
    o->layersOption = layers;
    o->heightOption = height;
    cmd->add_option("-d,--direction", o->direction,
                    "Slicing direction X,Y,Z (default 0,0,1): layers are stacked along it and "
                    "drawn as seen from its tip");
    cmd->add_option("-o,--output", o->outputs,
                    "Output file, .svg (a picture with a panel per layer) or .json (every "
                    "layer's polygons: outer contour and holes); '-' writes the JSON to "
                    "standard output. Repeat for several. Default: MODEL-slices.svg")
        ->allow_extra_args(false);
    cmd->add_option("--layers-range", o->range,
                    "Layers the picture shows: A:B, A: or :B (1-based, inclusive; default all)");
    cmd->add_option("--every", o->every,
                    "The picture shows every K-th layer of the range (default 1; with more than " +
                        std::to_string(kMostPanels) + " layers, enough to stay within " +
                        std::to_string(kMostPanels) + " panels)");
    cmd->footer("Lengths and heights are in model units (normally mm).\n"
                "Examples:\n"
                "  orvane slice part.stl --layer-height 0.2 -o part.svg -o part.json\n"
                "  orvane slice part.stl --layer-height 0.2 --layers-range 10:40 --every 5 -o some.svg\n"
                "  orvane slice part.stl -n 50 -o - | jq '.layers[0].polygons | length'\n"
                "  orvane slice -n 12 -d 1,0,0 -o side.svg      (the built-in part, sideways)");
    return [o, &common] { return runSlice(*o, common); };
}

}  // namespace orvane
