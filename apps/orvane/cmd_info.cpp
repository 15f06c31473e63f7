// orvane info: what a model is made of and whether it is closed.
#include "commands.h"
#include "flat_hash.h"

#include "BoundingBox3D.h"
#include "Edge.h"

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

std::string point(odb::Point3D const &p) {
    std::ostringstream s;
    s << "(" << p.x() << ", " << p.y() << ", " << p.z() << ")";
    return s.str();
}

struct PairHash {
    std::size_t operator()(std::uint64_t key) const { return static_cast<std::size_t>(mixBits(key)); }
};

// Edge figures of a model, counted as a Triangulation would share its edges: one edge per
// undirected vertex pair, used by every distinct triangle that has it as a side.
struct EdgeCounts {
    std::size_t edges = 0, border = 0, nonManifold = 0;
};

EdgeCounts countEdges(ModelData const &data, Progress &progress) {
    std::size_t const triangles = data.triangleCount();
    progress.stage("Counting the edges of " + std::to_string(triangles) + " triangles", triangles);
    FlatHashMap<std::uint64_t, std::uint32_t, PairHash> users(triangles * 3 / 2);
    for (std::size_t t = 0; t < triangles; ++t) {
        std::uint32_t const *c = &data.corners[3 * t];
        std::uint64_t keys[3];
        for (int i = 0; i < 3; ++i) {
            std::uint64_t const a = c[i], b = c[(i + 1) % 3];
            keys[i] = a < b ? a << 32 | b : b << 32 | a;
        }
        for (int i = 0; i < 3; ++i)
            if ((i < 1 || keys[i] != keys[0]) && (i < 2 || keys[i] != keys[1])) ++users.insert(keys[i], 0);
        if (t % 65536 == 0) progress.step(t);
    }
    EdgeCounts counts;
    counts.edges = users.size();
    users.forEach([&](std::uint64_t, std::uint32_t n) {
        if (n < 2) ++counts.border;
        else if (n > 2) ++counts.nonManifold;
    });
    progress.done();
    return counts;
}

int runInfo(InfoOptions const &o, CommonOptions const &common) {
    Progress progress(common);
    ModelInput in = readInput(o.model, progress);
    EdgeCounts const counts = countEdges(in.data, progress);
    std::size_t const edges = counts.edges, border = counts.border, nonManifold = counts.nonManifold;
    std::array<double, 6> const box = in.data.box();
    odb::Point3D const lo(box[0], box[1], box[2]), hi(box[3], box[4], box[5]);
    bool closed = border == 0 && nonManifold == 0;
    std::size_t const degenerate = in.data.degenerateTriangles();
    if (o.json) {
        nlohmann::json doc = {{"model", in.name},
                              {"triangles", in.data.triangleCount()},
                              {"vertices", in.data.vertexCount()},
                              {"edges", edges},
                              {"border_edges", border},
                              {"non_manifold_edges", nonManifold},
                              {"degenerate_triangles", degenerate},
                              {"closed", closed},
                              {"box", {{lo.x(), lo.y(), lo.z()}, {hi.x(), hi.y(), hi.z()}}}};
        std::cout << doc.dump() << "\n";
        return finishRun(0);
    }
    std::cout << "model        " << in.name << "\n"
              << "triangles    " << in.data.triangleCount() << "\n"
              << "vertices     " << in.data.vertexCount() << "\n"
              << "box          " << point(lo) << " to " << point(hi) << ", size "
              << hi.x() - lo.x() << " x " << hi.y() - lo.y() << " x " << hi.z() - lo.z() << "\n"
              << "edges        " << edges << " (" << border << " border, " << nonManifold
              << " non-manifold)\n"
              << "closed       " << (closed ? "yes" : "no") << "\n";
    if (degenerate)
        std::cout << "degenerate   " << degenerate
                  << " triangles repeat a vertex\n";
    return finishRun(0);
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
