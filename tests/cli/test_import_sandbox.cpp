// The reader's child-process import: a mesh comes back exactly, an InputError keeps its
// message, a crashing, looping or throwing importer becomes a one-line InputError, and the
// child's address space is capped.
#include "import_sandbox.h"
#include "model_io.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

using orvane::InputError;
using orvane::ModelData;

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

}  // namespace

TEST(ImportSandbox, ModelsProgressAndMessagesComeBackUnchanged) {
    auto build = [](orvane::ImportReport const &report) {
        ModelData m;
        m.coords = {0, 0, 0, 0.1, -1e300, 4.9e-324, 0.1, -1e300, 4.9e-324, -0.0, 3, 1e-9};
        m.corners = {0, 1, 3, 2, 2, 1, 3, 1, 0};   // a degenerate triangle comes back as it is
        if (report) report(orvane::ImportStage::Welding, 9, 9);
        return m;
    };
    ModelData const direct = build({});
    std::vector<std::size_t> reports;
    ModelData const copied =
        orvane::importIsolated(build, "m.stl", 10, 0, [&](orvane::ImportStage stage, std::size_t done, std::size_t total) {
            reports.insert(reports.end(), {static_cast<std::size_t>(stage == orvane::ImportStage::Welding), done, total});
        });
    EXPECT_EQ(reports, (std::vector<std::size_t>{1, 9, 9}));
    orvane_test::expectSameBits(copied.coords, direct.coords);
    EXPECT_EQ(copied.corners, direct.corners);

    EXPECT_EQ(inputError([] {
                  orvane::importIsolated(
                      [](orvane::ImportReport const &) -> ModelData { throw InputError("'m.stl' is empty"); },
                      "m.stl", 10);
              }),
              "'m.stl' is empty");
    EXPECT_EQ(inputError([] {
                  orvane::importIsolated(
                      [](orvane::ImportReport const &) -> ModelData { throw std::bad_alloc(); }, "m.stl", 10);
              }),
              "'m.stl' cannot be read: not enough memory for it");
}

TEST(ImportSandbox, CrashingAndLoopingImportersBecomeMessages) {
    std::string crashed = inputError([] {
        orvane::importIsolated([](orvane::ImportReport const &) -> ModelData { std::abort(); }, "m.ply", 10);
    });
    EXPECT_EQ(crashed.rfind("'m.ply' cannot be read: the importer ", 0), 0u) << crashed;
    EXPECT_EQ(crashed.find('\n'), std::string::npos);

    std::string looped = inputError([] {
        orvane::importIsolated(
            [](orvane::ImportReport const &) -> ModelData {
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
                [](orvane::ImportReport const &) -> ModelData {
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
                      [](orvane::ImportReport const &) -> ModelData {
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
    orvane_test::TempDir const dir("sandbox");
    std::string const file = dir / "corrupt.ply";
    for (char const *content : {assertionA, assertionB, hugeList}) {
        std::ofstream(file, std::ios::binary) << content;
        std::string message = inputError([&] { orvane::loadModel(file); });
        EXPECT_EQ(message.rfind("'" + file + "' cannot be read: ", 0), 0u) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos);
        if (content == hugeList && orvane::importMemoryCapAvailable()) {
            EXPECT_EQ(message, "'" + file + "' cannot be read: not enough memory for it");
        }
    }
}
