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

// A model to work on: the file's mesh, or the built-in part when `path` is empty.
struct ModelInput {
    std::unique_ptr<OwnedMesh> mesh;
    std::string name;   // for messages and file titles
    std::string stem;   // for default output names
};
ModelInput loadInput(std::string const &path, Progress &progress);

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
