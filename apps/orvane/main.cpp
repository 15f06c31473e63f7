// orvane: the command-line face of the Orvane geometry kernel. Reads model files, runs the
// kernel's algorithms on them and writes pictures, data and meshes.
//
// Exit codes: 0 success, 1 unusable input (or a failure while working), 2 wrong usage.
// Every failure is one line on stderr; no output file is left half-written.
#include "commands.h"

#include <cctype>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#ifndef ORVANE_VERSION
#define ORVANE_VERSION "unknown"
#endif

namespace {

// An argument the command line reads as a value, never as an option: anything not starting
// with '-', and negative numbers ("-15", "-.5", "-1e3").
bool plainValue(std::string const &arg) {
    if (arg.empty() || arg[0] != '-') return true;
    std::size_t const digit = arg.size() > 1 && arg[1] == '.' ? 2 : 1;
    return arg.size() > digit && std::isdigit(static_cast<unsigned char>(arg[digit]));
}

}  // namespace

int main(int argc, char **argv) {
    using namespace orvane;
    CommonOptions common;
    CLI::App app{"orvane: slice, segment, voxelize and probe triangle meshes with the Orvane "
                 "kernel.\nWithout a MODEL argument the built-in part (a flange plate with "
                 "holes and a boss) is used. Lengths are in model units (normally mm).",
                 "orvane"};
    app.require_subcommand(1);
    app.fallthrough();   // the common options below may follow the subcommand
    app.set_version_flag("--version", std::string("orvane ") + ORVANE_VERSION);
    app.add_flag("-q,--quiet", common.quiet, "Nothing on stdout or stderr but errors and the data asked for");
    app.add_flag("--progress", common.progress,
                 "Show progress on stderr even when it is not a terminal");
    app.footer("Examples:\n"
               "  orvane slice -o layers.svg           slice the built-in part into a picture\n"
               "  orvane info part.stl\n"
               "Run 'orvane <command> --help' for the options of a command.");

    std::vector<std::pair<CLI::App *, Runner>> commands;
    auto add = [&](Runner (*make)(CLI::App &, CommonOptions const &)) {
        Runner run = make(app, common);
        commands.emplace_back(app.get_subcommands({}).back(), std::move(run));
    };
    add(addInfoCommand);
    add(addSliceCommand);
    add(addSegmentCommand);
    add(addBoundariesCommand);
    add(addVoxelizeCommand);
    add(addInsideCommand);
    add(addIsosurfaceCommand);

    if (argc <= 1) {
        std::cerr << app.help();
        return 2;
    }
    std::vector<std::string> args(argv + 1, argv + argc);
    // CLI11 reports an unknown command only as a missing one; name it.
    for (std::string const &arg : args) {
        if (arg.empty() || arg[0] == '-') continue;
        bool known = false;
        for (auto const &command : commands) known = known || command.first->get_name() == arg;
        if (!known) {
            std::cerr << "orvane: unknown command '" << arg << "' (see 'orvane --help')\n";
            return 2;
        }
        break;
    }
    // "--" before values that look like options ("inside part.stl -- -15 -10 -10", as the help
    // suggests) confuses this CLI11, which then hands them back reversed as unexpected; it
    // already reads negative numbers as values, so a "--" followed only by such values is
    // dropped.
    for (std::size_t i = 0; i < args.size(); ++i)
        if (args[i] == "--") {
            bool plain = true;
            for (std::size_t j = i + 1; j < args.size(); ++j) plain = plain && plainValue(args[j]);
            if (plain) args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    std::reverse(args.begin(), args.end());   // CLI11 takes its arguments last first
    try {
        app.parse(args);
    } catch (CLI::Success const &e) {   // --help, --version
        return app.exit(e);
    } catch (CLI::ParseError const &e) {
        std::string where = "orvane";
        for (auto const &command : commands)
            if (command.first->parsed()) where += " " + command.first->get_name();
        std::cerr << "orvane: " << e.what() << " (see '" << where << " --help')\n";
        return 2;
    }

    try {
        for (auto &command : commands)
            if (command.first->parsed()) return command.second();
        std::cerr << "orvane: no command given (see 'orvane --help')\n";
        return 2;
    } catch (UsageError const &e) {
        std::cerr << "orvane: " << e.what() << "\n";
        return 2;
    } catch (InputError const &e) {
        std::cerr << "orvane: " << e.what() << "\n";
        return 1;
    } catch (std::bad_alloc const &) {
        std::cerr << "orvane: out of memory\n";
        return 1;
    } catch (std::exception const &e) {
        std::cerr << "orvane: " << e.what() << "\n";
        return 1;
    }
}
