// orvane segment: the faces of a model split along sharp edges, written as one mesh with a
// group (OBJ) or a colour (PLY) per face. orvane boundaries: the model's border contours.
#include "commands.h"
#include "contour_export.h"
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
#include <sstream>

namespace orvane {

namespace {

// The source mesh's triangles listed under their lowest corner, in index order: finds the
// source triangle of a face triangle from its corners' source vertices in a few steps
// (a vertex has about six triangles), with one array of each size instead of a hash map.
class SourceTriangles {
public:
    explicit SourceTriangles(OwnedMesh &source) : source_(source), start_(source.vertexCount() + 2, 0) {
        // Counting sort by lowest corner; a triangle naming no vertex of the mesh is left out.
        std::size_t const count = source.triangleCount(), vertices = source.vertexCount();
        for (std::size_t t = 0; t < count; ++t)
            if (lowest(t) < vertices) ++start_[lowest(t) + 2];
        for (std::size_t v = 2; v < start_.size(); ++v) start_[v] += start_[v - 1];
        list_.resize(start_.back());
        for (std::size_t t = 0; t < count; ++t)
            if (lowest(t) < vertices) list_[start_[lowest(t) + 1]++] = static_cast<std::uint32_t>(t);
    }

    // The lowest index of the source triangles with exactly these corners (in any order), or
    // SIZE_MAX when there is none (a corner that is no source vertex is SIZE_MAX).
    std::size_t find(std::array<std::size_t, 3> corners) const {
        std::sort(corners.begin(), corners.end());
        if (corners[2] >= source_.vertexCount()) return SIZE_MAX;
        for (std::size_t i = start_[corners[0]]; i < start_[corners[0] + 1]; ++i)
            if (sorted(list_[i]) == corners) return list_[i];
        return SIZE_MAX;
    }

private:
    std::array<std::size_t, 3> sorted(std::size_t t) const {
        odb::Triangle &tri = source_.triangle(t);
        std::array<std::size_t, 3> k{{tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2)}};
        std::sort(k.begin(), k.end());
        return k;
    }
    std::size_t lowest(std::size_t t) const {
        odb::Triangle &tri = source_.triangle(t);
        return std::min({tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2)});
    }

    OwnedMesh &source_;
    std::vector<std::size_t> start_;     // triangles of lowest corner v: list_[start_[v] .. start_[v + 1])
    std::vector<std::uint32_t> list_;
};

struct SegmentOptions {
    std::string model;
    double angle = 30;
    std::string output;
};

// The face meshes segmentize() delivers. Their vertices share the source mesh's points, so
// a face vertex is released without running ~Vertex (which would delete the shared point).
struct FaceSet {
    std::set<odb::Triangulation *> meshes;
    FaceSet() = default;
    FaceSet(FaceSet const &) = delete;
    FaceSet &operator=(FaceSet const &) = delete;
    ~FaceSet() {
        for (odb::Triangulation *face : meshes) {
            std::vector<odb::Vertex *> vertices = face->vertexList();
            std::vector<odb::Triangle *> triangles = face->triangleList();
            delete face;
            for (odb::Triangle *t : triangles) delete t;
            for (odb::Vertex *v : vertices) {
                *v = odb::Vertex(nullptr);  // the point belongs to the source mesh
                delete v;
            }
        }
    }
};

std::string angleText(double angle) {
    std::ostringstream s;
    s << angle;
    return s.str();
}

int runSegment(SegmentOptions const &o, CommonOptions const &common) {
    requireFinite(o.angle, "--angle");
    if (o.angle < 0 || o.angle > 180)
        throw UsageError("--angle must lie between 0 and 180 degrees (got " + angleText(o.angle) + ")");
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
    FaceSet faces;
    odb::Segmentation segmentation(&source.mesh(), o.angle);
    odb::Outcome result = segmentation.segmentize(faces.meshes);
    double const seconds = progress.done();
    progress.stage("Ordering the faces");

    std::vector<MeshPart> parts;
    std::string const suffix = "_" + angleText(o.angle);
    if (!result.isOk()) {
        // No sharp or border edge at all: a smooth closed surface is one face.
        if (!faces.meshes.empty() || result.mesg() != "Strong Edge not found")
            throw std::runtime_error("segmentation failed: " + result.mesg());
        note(common, in.name + " has no edge sharper than " + angleText(o.angle) +
                         " degrees and no border: it is a single face");
        parts.push_back(partOf(source, "Face-1" + suffix, false));
    } else {
        // The kernel numbers faces in pointer order, which changes from run to run; the file
        // numbers them by their lowest source triangle instead, so that output is repeatable.
        SourceTriangles const sourceTriangles(source);
        std::vector<std::pair<std::size_t, MeshPart>> ordered;
        for (odb::Triangulation *face : faces.meshes) {
            // Within a face too, triangles follow the source's order and vertices their
            // first use, so that the file does not depend on where objects were allocated.
            std::vector<odb::Vertex *> const &vertices = face->vertexList();
            std::vector<std::pair<std::size_t, std::array<std::size_t, 3>>> triangles;
            for (odb::Triangle *t : face->triangleList()) {
                std::array<std::size_t, 3> local{{t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)}};
                std::array<std::size_t, 3> k{};
                for (int c = 0; c < 3; ++c) k[c] = source.vertexOfPoint(vertices[local[c]]->point());
                triangles.emplace_back(sourceTriangles.find(k), local);
            }
            std::stable_sort(triangles.begin(), triangles.end(),
                             [](auto const &a, auto const &b) { return a.first < b.first; });
            MeshPart part;
            std::vector<std::uint32_t> renumber(vertices.size(), UINT32_MAX);
            for (auto const &entry : triangles) {
                for (int c = 0; c < 3; ++c) {
                    std::uint32_t &v = renumber[entry.second[c]];
                    if (v == UINT32_MAX) {
                        odb::Point3D const &p = *vertices[entry.second[c]]->point();
                        v = static_cast<std::uint32_t>(part.mesh.vertexCount());
                        part.mesh.coords.insert(part.mesh.coords.end(), {p.x(), p.y(), p.z()});
                    }
                    part.mesh.corners.push_back(v);
                }
            }
            ordered.emplace_back(triangles.empty() ? SIZE_MAX : triangles.front().first, std::move(part));
        }
        std::stable_sort(ordered.begin(), ordered.end(),
                         [](auto const &a, auto const &b) { return a.first < b.first; });
        for (auto &entry : ordered) parts.push_back(std::move(entry.second));
        for (std::size_t i = 0; i < parts.size(); ++i)
            parts[i].name = "Face-" + std::to_string(i + 1) + suffix;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) parts[i].colour = partColour(i);
    progress.stage("Writing " + output);
    writeMesh(files.file(0), parts);
    files.commit();
    progress.done();

    std::size_t largest = 0;
    for (MeshPart const &p : parts) largest = std::max(largest, p.mesh.triangleCount());
    summary(common, in.name + ": " + counted(parts.size(), "face") + " at " + angleText(o.angle) + " degrees, the largest of " +
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
