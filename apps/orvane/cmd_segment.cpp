// orvane segment: the faces of a model split along sharp edges, written as one mesh with a
// group (OBJ) or a colour (PLY) per face. orvane boundaries: the model's border contours.
#include "commands.h"
#include "contour_export.h"
#include "face_split.h"
#include "mesh_export.h"

#include "Outcome.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <map>
#include <set>

namespace orvane {

namespace {

struct SegmentOptions {
    std::string model;
    double angle = 30;
    std::string output;
};

int runSegment(SegmentOptions const &o, CommonOptions const &common) {
    requireFinite(o.angle, "--angle");
    if (o.angle < 0 || o.angle > 180)
        throw UsageError("--angle must lie between 0 and 180 degrees (got " + numberText(o.angle) + ")");
    std::string const output = o.output.empty() ? modelStem(o.model) + "-faces.obj" : o.output;
    std::string const ext = extensionOf(output);
    if (ext != "obj" && ext != "ply")
        throw UsageError("output '" + output + "': segment writes .obj (a group per face) or "
                         ".ply (a colour per face) files");
    OutputFiles files({output}, o.model, false);
    Progress progress(common);
    ModelInput in = loadInput(o.model, progress);
    OwnedMesh &source = *in.mesh;

    progress.stage("Segmenting " + counted(source.triangleCount(), "triangle"));
    FaceSplit split = splitFaces(source, o.angle, false);
    progress.done();
    double const seconds = split.kernelSeconds;
    if (!split.creased)
        note(common, in.name + " has no edge sharper than " + numberText(o.angle) +
                         " degrees and no border: it is a single face");

    std::string const suffix = "_" + numberText(o.angle);
    std::vector<MeshPart> parts(split.faces.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        parts[i].name = "Face-" + std::to_string(i + 1) + suffix;
        parts[i].mesh = std::move(split.faces[i]);
    }
    for (std::size_t i = 0; i < parts.size(); ++i) parts[i].colour = partColour(i);
    progress.stage("Writing " + output);
    writeMesh(files.file(0), parts);
    files.commit();
    progress.done();

    std::size_t largest = 0;
    for (MeshPart const &p : parts) largest = std::max(largest, p.mesh.triangleCount());
    summary(common, in.name + ": " + counted(parts.size(), "face") + " at " + numberText(o.angle) + " degrees, the largest of " +
                        counted(largest, "triangle") + "; " + runTimes(seconds, "segmenting") + "; wrote " + output);
    return finishRun(0);
}

struct BoundaryOptions {
    std::string model;
    std::string output;
};

int runBoundaries(BoundaryOptions const &o, CommonOptions const &common) {
    std::string const output = o.output.empty() ? modelStem(o.model) + "-boundaries.json" : o.output;
    std::string const ext = output == "-" ? "json" : extensionOf(output);
    if (ext != "json" && ext != "svg")
        throw UsageError("output '" + output + "': boundaries writes .json or .svg files (or JSON to standard output with '-o -')");
    OutputFiles files({output}, o.model, true);
    Progress progress(common);
    ModelInput in = loadInput(o.model, progress);

    progress.stage("Tracing the borders of " + counted(in.mesh->triangleCount(), "triangle"));
    ContourList contours;
    odb::Segmentation segmentation(&in.mesh->mesh(), 30);
    odb::Outcome result = segmentation.boundaries(contours.items);
    double const seconds = progress.done();
    bool const closed = !result.isOk();   // "No boundry found.": no border edge at all
    std::vector<ContourData> borders;
    std::size_t open = 0;
    for (odb::PLC *plc : contours.items) {
        borders.push_back(contourData(*plc));
        if (!borders.back().closed) ++open;
    }
    if (ext == "json") files.write(0, contoursJson(borders, in.name));
    else files.write(0, bordersSvg(borders, ViewFrame(), in.name + ": border contours seen from above"));
    files.commit();
    summary(common, in.name + ": " + counted(borders.size(), "border contour") + ", " + std::to_string(open) + " open" +
                        (closed ? " (the model has no border)" : "") + "; " + runTimes(seconds, "tracing") + "; wrote " + output,
            files.usesStdout());
    return finishRun(0);
}

}  // namespace

Runner addSegmentCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<SegmentOptions>();
    CLI::App *cmd = root.add_subcommand(
        "segment", "Split a model into faces along sharp edges (OBJ or PLY, one group or colour per face)");
    addModelArgument(*cmd, o->model);
    cmd->add_option("-a,--angle", o->angle,
                    "Edges whose faces turn by more than this many degrees split faces "
                    "(0 to 180, default 30)");
    cmd->add_option("-o,--output", o->output,
                    "Output mesh, .obj (a group per face) or .ply (a colour per face); "
                    "default MODEL-faces.obj");
    cmd->footer("Examples:\n"
                "  orvane segment bracket.stl --angle 20 -o bracket-faces.ply\n"
                "  orvane segment -o part-faces.obj              (the built-in part)");
    return [o, &common] { return runSegment(*o, common); };
}

Runner addBoundariesCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<BoundaryOptions>();
    CLI::App *cmd = root.add_subcommand(
        "boundaries", "Border contours of an open model (JSON, or an SVG seen from above)");
    addModelArgument(*cmd, o->model);
    cmd->add_option("-o,--output", o->output,
                    "Output file, .json (every contour's points) or .svg (seen from above); "
                    "'-' writes the JSON to standard output. Default MODEL-boundaries.json");
    cmd->footer("Example:\n  orvane boundaries scan.ply -o scan-borders.svg");
    return [o, &common] { return runBoundaries(*o, common); };
}

}  // namespace orvane
