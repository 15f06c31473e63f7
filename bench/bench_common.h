#pragma once
// Shared set-up of the benchmarks: where the public mesh set lives and how a mesh of it is
// read. scripts/fetch-meshes.sh fills the folder; a benchmark whose mesh is absent skips
// itself with the reason instead of failing. Delivered results are released with the
// helpers of tests/support/release.h.
#include "model_io.h"
#include "support/release.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace orvane_bench {

// The mesh folder: $ORVANE_MESHES, else $HOME/.cache/orvane-meshes (fetch-meshes.sh's default).
inline std::filesystem::path meshFolder() {
    if (char const *env = std::getenv("ORVANE_MESHES"); env && *env) return env;
    char const *home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : ".") / ".cache" / "orvane-meshes";
}

// Reads mesh `name` (a file name such as "bunny00.off") from the mesh folder, welded into a
// Triangulation. Returns null when the file is absent or unreadable, with the reason in
// *why when given, so that the benchmark can call state.SkipWithError(why.c_str()).
inline std::unique_ptr<orvane::OwnedMesh> loadBenchMesh(std::string const &name,
                                                        std::string *why = nullptr) {
    std::filesystem::path const file = meshFolder() / name;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec)) {
        if (why) *why = "mesh " + file.string() + " is absent (run scripts/fetch-meshes.sh)";
        return nullptr;
    }
    try {
        return orvane::loadModel(file.string());
    } catch (std::exception const &e) {
        if (why) *why = e.what();
        return nullptr;
    }
}

}  // namespace orvane_bench
