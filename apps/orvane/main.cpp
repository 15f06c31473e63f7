// orvane: the command-line face of the Orvane geometry kernel. Reads model files, runs the
// kernel's algorithms on them and writes pictures, data and meshes.
//
// Exit codes: 0 success, 1 unusable input (or a failure while working), 2 wrong usage.
// Every failure is one line on stderr; no output file is left half-written.
#include "commands.h"

#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

int main(int argc, char **argv) {
    using namespace orvane;
    CommonOptions common;
    CLI::App app{"orvane: slice, segment, voxelize and probe triangle meshes with the Orvane "
                 "kernel.\nWithout a MODEL argument the built-in part (a flange plate with "
                 "holes and a boss) is used.",
                 "orvane"};
    app.require_subcommand(1);
    app.fallthrough();   // the common options below may follow the subcommand
    app.add_flag("-q,--quiet", common.quiet, "No progress and no warnings on stderr");
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
    // CLI11 reports an unknown command only as a missing one; name it.
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg.empty() || arg[0] == '-') continue;
        bool known = false;
        for (auto const &command : commands) known = known || command.first->get_name() == arg;
        if (!known) {
            std::cerr << "orvane: unknown command '" << arg << "' (see 'orvane --help')\n";
            return 2;
        }
        break;
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const &e) {
        return app.exit(e);
    } catch (CLI::CallForAllHelp const &e) {
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
