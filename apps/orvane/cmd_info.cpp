// orvane info: what a model is made of, whether it is closed, its area, volume and parts.
#include "commands.h"
#include "mesh_facts.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <iostream>
#include <sstream>

namespace orvane {

namespace {

struct InfoOptions {
    std::string model;
    bool json = false;
};

std::string point(double x, double y, double z) {
    std::ostringstream s;
    s << "(" << x << ", " << y << ", " << z << ")";
    return s.str();
}

int runInfo(InfoOptions const &o, CommonOptions const &common) {
    Progress progress(common);
    ModelInput in = readInput(o.model, progress);
    ModelData const &data = in.data;
    progress.stage("Counting the edges of " + counted(data.triangleCount(), "triangle"), data.triangleCount());
    MeshFacts const facts = meshFacts(data.coords.data(), data.vertexCount(), data.corners.data(), data.triangleCount(),
                                      [&](std::size_t done, std::size_t total) { progress.step(done, total); });
    progress.done();
    std::array<double, 6> const box = data.box();
    bool const closed = facts.closed();
    if (o.json) {
        nlohmann::json doc = {{"model", in.name},
                              {"units", "model units (normally mm)"},
                              {"triangles", data.triangleCount()},
                              {"vertices", data.vertexCount()},
                              {"edges", facts.edges},
                              {"border_edges", facts.borderEdges},
                              {"non_manifold_edges", facts.nonManifoldEdges},
                              {"misoriented_edges", facts.misorientedEdges},
                              {"degenerate_triangles", facts.degenerate},
                              {"parts", facts.parts},
                              {"closed", closed},
                              {"area", facts.area},
                              {"volume", closed ? nlohmann::json(facts.volume) : nlohmann::json(nullptr)},
                              {"box", {{box[0], box[1], box[2]}, {box[3], box[4], box[5]}}}};
        std::cout << doc.dump() << "\n";
        return finishRun(0);
    }
    std::ostringstream s;
    s << "model        " << in.name << "\n"
      << "triangles    " << data.triangleCount() << "\n"
      << "vertices     " << data.vertexCount() << "\n"
      << "box          " << point(box[0], box[1], box[2]) << " to " << point(box[3], box[4], box[5]) << ", size "
      << box[3] - box[0] << " x " << box[4] - box[1] << " x " << box[5] - box[2] << " (model units, normally mm)\n"
      << "edges        " << facts.edges << " (" << facts.borderEdges << " border, " << facts.nonManifoldEdges
      << " non-manifold)\n"
      << "closed       " << (closed ? "yes" : "no") << "\n"
      << "orientation  "
      << (facts.misorientedEdges == 0 ? "consistent" : counted(facts.misorientedEdges, "edge") + " run the same way by both of their triangles")
      << "\n"
      << "parts        " << facts.parts << "\n"
      << "area         " << facts.area << "\n";
    if (closed)
        s << "volume       " << facts.volume
          << (facts.volume < 0 ? " (negative: the triangles face inward)" : "") << "\n";
    else
        s << "volume       none (the surface is not closed)\n";
    s << "degenerate   " << counted(facts.degenerate, "triangle") << " without area\n";
    std::cout << s.str();
    return finishRun(0);
}

}  // namespace

Runner addInfoCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<InfoOptions>();
    CLI::App *cmd = root.add_subcommand(
        "info", "Triangles, vertices, box, edges, closed or not, area, volume, parts");
    addModelArgument(*cmd, o->model);
    cmd->add_flag("--json", o->json, "Print the figures as one JSON object");
    cmd->footer("Lengths, areas and volumes are in model units (normally mm, mm^2, mm^3).\n"
                "Example:\n  orvane info bracket.stl");
    return [o, &common] { return runInfo(*o, common); };
}

}  // namespace orvane
