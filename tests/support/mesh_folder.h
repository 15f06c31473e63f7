#pragma once
// Real meshes for the tests that compare with a reference on them: read from the mesh folder
// ($ORVANE_MESHES, else ~/.cache/orvane-meshes, filled by scripts/fetch-meshes.sh).
#include "support/test_mesh.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace orvane_test {

inline std::filesystem::path meshFolder() {
    char const *env = std::getenv("ORVANE_MESHES"), *home = std::getenv("HOME");
    return env && *env ? std::filesystem::path(env) : std::filesystem::path(home ? home : ".") / ".cache" / "orvane-meshes";
}

// Vertices and triangles (fans of the polygons) of the folder's OFF file `name`, or null when
// the folder or the file is absent or unreadable.
inline std::unique_ptr<TestMesh> meshFromFolder(char const *name) {
    std::ifstream in(meshFolder() / name);
    std::string magic;
    std::size_t nv = 0, nf = 0, ne = 0;
    if (!(in >> magic >> nv >> nf >> ne) || magic != "OFF") return nullptr;
    auto mesh = std::make_unique<TestMesh>();
    for (double x, y, z; nv-- > 0 && in >> x >> y >> z;) mesh->addVertex(x, y, z);
    for (std::size_t k; nf-- > 0 && in >> k;) {
        std::vector<std::size_t> c(k);
        for (std::size_t &i : c) in >> i;
        for (std::size_t j = 1; j + 1 < k; ++j) mesh->addTriangle(c[0], c[j], c[j + 1]);
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');   // colours, if any
    }
    return in ? std::move(mesh) : nullptr;
}

} // namespace orvane_test
