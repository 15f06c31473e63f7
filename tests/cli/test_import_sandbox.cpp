// The reader's child-process import: a mesh comes back exactly, an InputError keeps its
// message, a crashing, looping or throwing importer becomes a one-line InputError, and the
// child's address space is capped.
#include "import_sandbox.h"
#include "model_io.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

using orvane::InputError;
using orvane::OwnedMesh;

namespace {

// The message of the InputError that `run` throws ("" when it throws none).
template <class Run>
std::string inputError(Run run) {
    try {
        run();
    } catch (InputError const &e) {
        return e.what();
    }
    return "";
}

std::uint64_t bits(double v) {
    std::uint64_t u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

}  // namespace

TEST(ImportSandbox, MeshesAndMessagesComeBackUnchanged) {
    auto build = [] {
        auto m = std::make_unique<OwnedMesh>();
        m->addVertex(0, 0, 0);
        m->addVertex(0.1, -1e300, 4.9e-324);
        m->addVertex(0.1, -1e300, 4.9e-324);   // a repeated point stays its own vertex
        m->addVertex(-0.0, 3, 1e-9);
        m->addTriangle(0, 1, 3);
        m->addTriangle(2, 2, 1);   // degenerate: comes back as it is
        m->addTriangle(3, 1, 0);
        return m;
    };
    std::unique_ptr<OwnedMesh> direct = build();
    std::unique_ptr<OwnedMesh> copied = orvane::importIsolated(build, "m.stl", 10);
    ASSERT_EQ(copied->vertexCount(), direct->vertexCount());
    ASSERT_EQ(copied->triangleCount(), direct->triangleCount());
    for (std::size_t v = 0; v < direct->vertexCount(); ++v) {
        EXPECT_EQ(bits(copied->point(v).x()), bits(direct->point(v).x()));
        EXPECT_EQ(bits(copied->point(v).y()), bits(direct->point(v).y()));
        EXPECT_EQ(bits(copied->point(v).z()), bits(direct->point(v).z()));
    }
    for (std::size_t t = 0; t < direct->triangleCount(); ++t)
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(copied->triangle(t).vertexIndex(i), direct->triangle(t).vertexIndex(i));

    EXPECT_EQ(inputError([] {
                  orvane::importIsolated(
                      []() -> std::unique_ptr<OwnedMesh> { throw InputError("'m.stl' is empty"); },
                      "m.stl", 10);
              }),
              "'m.stl' is empty");
    EXPECT_EQ(inputError([] {
                  orvane::importIsolated(
                      []() -> std::unique_ptr<OwnedMesh> { throw std::bad_alloc(); }, "m.stl", 10);
              }),
              "'m.stl' cannot be read: not enough memory for it");
}

TEST(ImportSandbox, CrashingAndLoopingImportersBecomeMessages) {
    std::string crashed = inputError([] {
        orvane::importIsolated([]() -> std::unique_ptr<OwnedMesh> { std::abort(); }, "m.ply", 10);
    });
    EXPECT_EQ(crashed.rfind("'m.ply' cannot be read: the importer ", 0), 0u) << crashed;
    EXPECT_EQ(crashed.find('\n'), std::string::npos);

    std::string looped = inputError([] {
        orvane::importIsolated(
            []() -> std::unique_ptr<OwnedMesh> {
                for (volatile unsigned long i = 0;; i = i + 1) {
                }
            },
            "m.ply", 1);
    });
    EXPECT_EQ(looped, "'m.ply' cannot be read: the importer did not finish within 1 s of "
                      "processor time (the file is probably corrupt)");
}

// The cap is what the child uses plus the budget, so that a runaway allocation becomes a
// refusal. Under a sanitizer (terabytes of shadow memory) the limit is left as it was.
TEST(ImportSandbox, CapsTheChildsAddressSpace) {
    std::uint64_t const budget = orvane::importMemoryLimit(1000);
    auto limitIn = [](std::uint64_t memory) {
        return inputError([memory] {
            orvane::importIsolated(
                []() -> std::unique_ptr<OwnedMesh> {
                    rlimit seen{};
                    ::getrlimit(RLIMIT_AS, &seen);
                    throw InputError(std::to_string(seen.rlim_cur));
                },
                "m.ply", 5, memory);
        });
    };
    rlimit own{};
    ::getrlimit(RLIMIT_AS, &own);
    EXPECT_EQ(limitIn(0), std::to_string(own.rlim_cur));
    if (!orvane::importMemoryCapAvailable()) {
        EXPECT_EQ(limitIn(budget), std::to_string(own.rlim_cur));
        return;
    }
    std::uint64_t const capped = std::stoull(limitIn(budget));
    EXPECT_GT(capped, budget);
    EXPECT_LT(capped, budget + (std::uint64_t(64) << 30));
    EXPECT_EQ(inputError([budget] {
                  orvane::importIsolated(
                      []() -> std::unique_ptr<OwnedMesh> {
                          static char *volatile kept;   // the allocation may not be elided
                          kept = new char[std::size_t(64) << 30];
                          delete[] kept;
                          throw InputError("allocated");
                      },
                      "m.ply", 5, budget);
              }),
              "'m.ply' cannot be read: not enough memory for it");
}

// PLY files found by fuzzing the reader: two make Assimp 5.2 fail an internal assertion and
// abort, one (a list length of 22 digits) makes it ask for about 30 GB. The tool reports
// them instead of dying or filling the machine.
TEST(ImportSandbox, CorruptPlyFilesThatBreakTheImporter) {
    static char const assertionA[] =
        "ply\nformat ascii 1.0\nelement vertex 4\nproperty float $\nproperty float y\n"
        "property float z\nelement face 4\nproperty list uchar int vertex_indices\nend_header\n"
        "0 0 0\n1 60 0\n0 1 0\n0 0 1\n y\nprop3 0 2 1\n3 0 1 3\n3 0 3 2\x98\n3 1 2 3\n";
    static char const assertionB[] =
        "ply\nformat ascii 1.0\nelement vertex 4\nproperty float $\nproperty float y\n"
        "property float z\nelement face 3\nproperty list uchar int vertex_indices\nend_header\n"
        "0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n. 0 1 3\n3 0 3 2\n3 1 2"
        "\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8\xc8 3\n";
    static char const hugeList[] =
        "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
        "property float z\nelement face 9\nproperty list uchar int vertex_indices\nend_header\n"
        "0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n4444444444444444444444 0 1 3\n3 0 3 2\n3 1 2 3\n";
    std::filesystem::path const dir =
        std::filesystem::temp_directory_path() / ("orvane-sandbox-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    for (char const *content : {assertionA, assertionB, hugeList}) {
        std::filesystem::path const file = dir / "corrupt.ply";
        std::ofstream(file, std::ios::binary) << content;
        std::string message = inputError([&] { orvane::loadModel(file.string()); });
        EXPECT_EQ(message.rfind("'" + file.string() + "' cannot be read: ", 0), 0u) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos);
        if (content == hugeList && orvane::importMemoryCapAvailable()) {
            EXPECT_EQ(message, "'" + file.string() + "' cannot be read: not enough memory for it");
        }
    }
    std::filesystem::remove_all(dir);
}
