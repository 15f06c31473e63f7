// orvane inside: inside / outside / on the surface per point, from the model's BSP tree.
#include "commands.h"

#include "Triangle.h"

#include "BSPTree.h"
#include "Edge.h"
#include "Plane.h"

#include <cmath>
#include <fstream>
#include <iostream>
#include <sstream>

namespace orvane {

namespace {

struct InsideOptions {
    std::vector<std::string> args;   // [MODEL] [X Y Z]
    std::string pointsFile;
};

bool isNumber(std::string const &text) {
    std::size_t used = 0;
    try {
        std::stod(text, &used);
    } catch (std::exception const &) {
        return false;
    }
    return !text.empty() && used == text.size();
}

double parseNumber(std::string const &text, std::string const &what) {
    if (!isNumber(text)) throw UsageError(what + " must be a number (got '" + text + "')");
    double const v = std::stod(text);
    requireFinite(v, what);
    return v;
}

// Points file: one point a line as three numbers separated by spaces, tabs or commas;
// blank lines and lines starting with '#' are skipped.
std::vector<odb::Point3D> readPoints(std::string const &path) {
    std::ifstream in(path);
    if (!in) throw InputError("'" + path + "': cannot open the points file");
    std::vector<odb::Point3D> points;
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        std::size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        for (char &c : line)
            if (c == ',') c = ' ';
        std::istringstream fields(line);
        double x, y, z;
        std::string rest;
        if (!(fields >> x >> y >> z) || (fields >> rest))
            throw InputError("'" + path + "' line " + std::to_string(number) +
                             ": expected three numbers X Y Z");
        if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
            throw InputError("'" + path + "' line " + std::to_string(number) +
                             ": coordinates must be finite");
        points.emplace_back(x, y, z);
    }
    if (points.empty()) throw InputError("'" + path + "' holds no points");
    return points;
}

char const *answer(odb::Plane::_Pos pos) {
    switch (pos) {
        case odb::Plane::POS_BELOW: return "inside";
        case odb::Plane::POS_ABOVE: return "outside";
        case odb::Plane::POS_ON: return "on";
        default: return "unknown";
    }
}

int runInside(InsideOptions const &o, CommonOptions const &common) {
    // [MODEL] X Y Z: the model is the first argument when there are four, or when the first
    // is not a number.
    std::string model;
    std::vector<std::string> coords = o.args;
    if (!coords.empty() && (coords.size() == 4 || !isNumber(coords[0]))) {
        model = coords[0];
        coords.erase(coords.begin());
    }
    std::vector<odb::Point3D> points;
    if (coords.size() == 3) {
        if (!o.pointsFile.empty()) throw UsageError("give either X Y Z or --points, not both");
        points.emplace_back(parseNumber(coords[0], "X"), parseNumber(coords[1], "Y"), parseNumber(coords[2], "Z"));
    } else if (!coords.empty()) {
        throw UsageError("a point needs three numbers X Y Z (got " + counted(coords.size(), "value") + (model.empty() ? "" : " after the model '" + model + "'") +
                         "); inside takes [MODEL] X Y Z or [MODEL] --points FILE");
    } else if (o.pointsFile.empty()) {
        throw UsageError("give a point X Y Z or --points FILE");
    }
    if (points.empty()) points = readPoints(o.pointsFile);

    Progress progress(common);
    ModelInput in = loadInput(model, progress);
    bool closed = true;
    for (odb::Triangle *t : in.mesh->mesh().triangleList())
        for (int e = 0; e < 3 && closed; ++e) closed = t->edge(e)->triangles->size() == 2;
    if (!closed)
        warn(common, in.name + " is not a closed surface; inside and outside are not "
                               "well defined for it");

    progress.stage("Building the BSP tree of " + counted(in.mesh->triangleCount(), "triangle"));
    BspTreePtr tree(in.mesh->mesh().BSP());
    progress.done();
    if (!tree)
        throw InputError("the BSP tree of " + in.name +
                         " cannot be built: it would need more than 7000 levels (too many "
                         "triangles in distinct planes); inside/outside is not available for "
                         "this model");
    for (odb::Point3D const &p : points)
        std::cout << p.x() << " " << p.y() << " " << p.z() << " " << answer(tree->pointPosition(p))
                  << "\n";
    return finishRun(0);
}

}  // namespace

Runner addInsideCommand(CLI::App &root, CommonOptions const &common) {
    auto o = std::make_shared<InsideOptions>();
    CLI::App *cmd = root.add_subcommand(
        "inside", "Tell whether points are inside, outside or on a closed model (BSP tree)");
    cmd->add_option("ARGS", o->args,
                    "[MODEL] X Y Z: the model (the built-in part when left out) and one point");
    cmd->add_option("-p,--points", o->pointsFile,
                    "File of points, one 'X Y Z' a line ('#' starts a comment)");
    cmd->footer("Prints one line per point: X Y Z inside|outside|on.\n"
                "Examples:\n"
                "  orvane inside part.stl 10 0 4\n"
                "  orvane inside part.stl --points probes.txt\n"
                "  orvane inside -- 0 0 -5            (the built-in part; '--' before negatives)");
    return [o, &common] { return runInside(*o, common); };
}

}  // namespace orvane
