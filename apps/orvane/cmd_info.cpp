// orvane info: what a model is made of and whether it is closed.
#include "commands.h"

#include "BoundingBox3D.h"
#include "Edge.h"

#include <nlohmann/json.hpp>

#include <iostream>
#include <sstream>

namespace orvane {

namespace {

struct InfoOptions {
    std::string model;
    bool json = false;
};

std::string point(odb::Point3D const &p) {
    std::ostringstream s;
    s << "(" << p.x() << ", " << p.y() << ", " << p.z() << ")";
    return s.str();
}

int runInfo(InfoOptions const &o, CommonOptions const &common) {
    Progress progress(common);
    ModelInput in = loadInput(o.model, progress);
    odb::Triangulation &mesh = in.mesh->mesh();
    std::size_t edges = 0, border = 0, nonManifold = 0;
    for (auto const &entry : mesh.edgeList()) {
        ++edges;
        std::size_t users = entry.first->triangles->size();
        if (users < 2) ++border;
        else if (users > 2) ++nonManifold;
    }
    odb::BoundingBox3D const &box = *mesh.getBoundingBox();
    odb::Point3D const &lo = box.lower(), &hi = box.upper();
    bool closed = border == 0 && nonManifold == 0;
    if (o.json) {
        nlohmann::json doc = {{"model", in.name},
                              {"triangles", in.mesh->triangleCount()},
                              {"vertices", in.mesh->vertexCount()},
                              {"edges", edges},
                              {"border_edges", border},
                              {"non_manifold_edges", nonManifold},
                              {"degenerate_triangles", in.mesh->degenerateTriangles()},
                              {"closed", closed},
                              {"box", {{lo.x(), lo.y(), lo.z()}, {hi.x(), hi.y(), hi.z()}}}};
        std::cout << doc.dump() << "\n";
        return 0;
    }
    std::cout << "model        " << in.name << "\n"
              << "triangles    " << in.mesh->triangleCount() << "\n"
              << "vertices     " << in.mesh->vertexCount() << "\n"
              << "box          " << point(lo) << " to " << point(hi) << ", size "
              << hi.x() - lo.x() << " x " << hi.y() - lo.y() << " x " << hi.z() - lo.z() << "\n"
              << "edges        " << edges << " (" << border << " border, " << nonManifold
              << " non-manifold)\n"
              << "closed       " << (closed ? "yes" : "no") << "\n";
    if (in.mesh->degenerateTriangles())
        std::cout << "degenerate   " << in.mesh->degenerateTriangles()
                  << " triangles repeat a vertex\n";
    return 0;
}

}  // namespace

Runner addInfoCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<InfoOptions>();
    CLI::App *cmd = root.add_subcommand(
        "info", "Triangles, vertices, box, border and non-manifold edges, closed or not");
    addModelArgument(*cmd, o->model);
    cmd->add_flag("--json", o->json, "Print the figures as one JSON object");
    cmd->footer("Example:\n  orvane info bracket.stl");
    return [o, &common] { return runInfo(*o, common); };
}

}  // namespace orvane
