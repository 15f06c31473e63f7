// Fuzz target: model import through the orvane tool's reader (orvane::loadModel). Byte 0
// chooses the file extension; the other bytes are the file, written to a private temporary
// folder. Every input must either give a usable mesh or an InputError with a one-line
// message; nothing else may leave the reader.
#include "fuzz_input.h"
#include "model_io.h"

#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

// A folder of this process's own, removed at exit. Held through a pointer that is never
// released, so that the exit handler never sees it destroyed.
std::filesystem::path const &workFolder() {
    static std::filesystem::path const *const folder = [] {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "orvane-fuzz-XXXXXX").string();
        char *made = mkdtemp(pattern.data());
        if (!made) std::abort();
        return new std::filesystem::path(made);
    }();
    static bool const cleanup = std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(*folder, ignored);
    }) == 0;
    (void)cleanup;
    return *folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    static char const *const extensions[] = {"stl", "obj", "ply", "off", "3mf", "STL", "txt", ""};
    std::string ext = size ? extensions[data[0] % 8] : "stl";
    std::filesystem::path file = workFolder() / ("model" + (ext.empty() ? "" : "." + ext));
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        if (size > 1) out.write(reinterpret_cast<char const *>(data + 1),
                                static_cast<std::streamsize>(size - 1));
    }
    try {
        std::unique_ptr<orvane::OwnedMesh> model = orvane::loadModel(file.string());
        FUZZ_CHECK(model && model->hasMesh());
        if (orvane_fuzz::dumping())
            std::fprintf(stderr, "%s: %zu triangles, %zu vertices\n", ext.c_str(),
                         model->triangleCount(), model->vertexCount());
        FUZZ_CHECK(model->triangleCount() > 0);
        FUZZ_CHECK(model->mesh().triangleList().size() == model->triangleCount());
        FUZZ_CHECK(model->mesh().vertexList().size() == model->vertexCount());
        for (std::size_t v = 0; v < model->vertexCount(); ++v) {
            ORVANE_DATABASE::Point3D const &p = model->point(v);
            FUZZ_CHECK(std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z()));
        }
        for (std::size_t t = 0; t < model->triangleCount(); ++t)
            for (std::size_t i = 0; i < 3; ++i)
                FUZZ_CHECK(model->triangle(t).vertexIndex(i) < model->vertexCount());
    } catch (orvane::InputError const &e) {
        std::string message = e.what();
        if (orvane_fuzz::dumping()) std::fprintf(stderr, "InputError: %s\n", e.what());
        FUZZ_CHECK(!message.empty() && message.find('\n') == std::string::npos);
    }
    return 0;
}
