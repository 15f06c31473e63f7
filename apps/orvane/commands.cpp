#include "commands.h"

#include "default_model.h"

namespace orvane {

ModelInput loadInput(std::string const &path, Progress &progress) {
    ModelInput in;
    if (path.empty()) {
        in.mesh = makeDefaultModel();
        in.name = kDefaultModelName;
        in.stem = kDefaultModelStem;
        return in;
    }
    progress.stage("Reading " + path);
    in.mesh = loadModel(path);
    progress.done();
    in.name = path;
    in.stem = stemOf(path);
    return in;
}

void addModelArgument(CLI::App &command, std::string &path) {
    command.add_option("MODEL", path,
                       "Model file: STL (ASCII or binary), OBJ, PLY, OFF or 3MF; the built-in "
                       "part when left out");
}

void addOutputOption(CLI::App &command, std::string &path, std::string const &what) {
    command.add_option("-o,--output", path, what);
}

std::string joinPaths(std::vector<std::string> const &paths) {
    std::string out;
    for (std::string const &p : paths) out += (out.empty() ? "" : ", ") + p;
    return out;
}

}  // namespace orvane
