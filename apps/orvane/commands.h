#pragma once
// The subcommands of the orvane tool. Each add*Command registers its subcommand with its
// options, help text and example on the root app, and returns the function that runs it once
// the command line has been parsed. Runners return the exit code and throw UsageError
// (exit 2) or InputError (exit 1) for the main function to report.
#include "cli_support.h"
#include "model_io.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>

namespace orvane {

using Runner = std::function<int()>;

// A model to work on: the file's, or the built-in part when `path` is empty. It is read as
// flat arrays first; the mesh is built once, from them, where the command wants it placed.
struct ModelInput {
    ModelData data;
    std::unique_ptr<OwnedMesh> mesh;   // null until buildInputMesh (or a mesh kept to the end of the run)
    std::string name;   // for messages and file titles
};
// Reads the model (with progress for reading and welding); builds no mesh.
ModelInput readInput(std::string const &path, Progress &progress);
// Builds in.mesh from in.data, placed by `placement` when given, with progress; then
// empties in.data.
void buildInputMesh(ModelInput &in, Progress &progress, Placement const *placement = nullptr);
// readInput, then buildInputMesh without placement.
ModelInput loadInput(std::string const &path, Progress &progress);

// The stem of default output names for the model at `path` ("orvane-part" for the built-in
// part when `path` is empty).
std::string modelStem(std::string const &path);

// Adds the MODEL positional argument (optional: the built-in part when left out).
void addModelArgument(CLI::App &command, std::string &path);
// Adds -o/--output for one file, with the default named in the help.
void addOutputOption(CLI::App &command, std::string &path, std::string const &what);
// "Wrote <path>" on stdout-bound summaries: the paths of every output.
std::string joinPaths(std::vector<std::string> const &paths);

Runner addInfoCommand(CLI::App &root, CommonOptions const &common);
Runner addSliceCommand(CLI::App &root, CommonOptions const &common);
Runner addSegmentCommand(CLI::App &root, CommonOptions const &common);
Runner addBoundariesCommand(CLI::App &root, CommonOptions const &common);
Runner addVoxelizeCommand(CLI::App &root, CommonOptions const &common);
Runner addInsideCommand(CLI::App &root, CommonOptions const &common);
Runner addIsosurfaceCommand(CLI::App &root, CommonOptions const &common);

}  // namespace orvane
