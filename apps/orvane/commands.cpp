#include "commands.h"

#include "default_model.h"

namespace orvane {

ModelInput readInput(std::string const &path, Progress &progress) {
    ModelInput in;
    if (path.empty()) {
        in.data = makeDefaultModel();
        in.name = kDefaultModelName;
        return in;
    }
    progress.stage("Reading " + path, 1000);
    ImportStage shown = ImportStage::Reading;
    in.data = readModel(path, [&](ImportStage stage, std::size_t done, std::size_t total) {
        if (stage != shown) {
            shown = stage;
            progress.stage("Welding corners", total);
        }
        progress.step(done, total);
    });
    progress.done();
    in.name = path;
    return in;
}

void buildInputMesh(ModelInput &in, Progress &progress, Placement const *placement) {
    progress.stage("Building the mesh of " + counted(in.data.triangleCount(), "triangle"),
                   in.data.vertexCount() + in.data.triangleCount());
    in.mesh = buildMesh(in.data, placement,
                        [&](std::size_t done, std::size_t total) { progress.step(done, total); });
    in.data = ModelData();   // the mesh holds the model now; its arrays would only add to the peak
    progress.done();
}

ModelInput loadInput(std::string const &path, Progress &progress) {
    ModelInput in = readInput(path, progress);
    buildInputMesh(in, progress);
    return in;
}

std::string modelStem(std::string const &path) { return path.empty() ? kDefaultModelStem : stemOf(path); }

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
