#pragma once
// The real meshes of the benchmark folder ($ORVANE_MESHES, else ~/.cache/orvane-meshes), read
// from their OFF files for tests that compare against a reference on real input.
#include "support/test_mesh.h"

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace orvane_test {

inline std::string meshFolder() {
    char const *env = std::getenv("ORVANE_MESHES"), *home = std::getenv("HOME");
    return env && *env ? env : std::string(home ? home : ".") + "/.cache/orvane-meshes";
}

// The named mesh (polygons split into fans), or null when the file is absent or malformed.
inline std::unique_ptr<TestMesh> meshFromFolder(char const *name) {
    std::ifstream in(meshFolder() + "/" + name);
    std::string tag, rest;
    std::size_t vertices = 0, faces = 0, edges = 0, k = 0;
    if (!(in >> tag >> vertices >> faces >> edges) || tag != "OFF") return nullptr;
    auto m = std::make_unique<TestMesh>();
    for (double x, y, z; vertices > m->mesh().vertexList().size() && in >> x >> y >> z;) m->addVertex(x, y, z);
    for (std::size_t f = 0; f < faces; ++f) {
        if (!(in >> k) || k < 3) return nullptr;
        std::vector<std::size_t> c(k);
        for (std::size_t &i : c)
            if (!(in >> i) || i >= vertices) return nullptr;
        for (std::size_t i = 2; i < k; ++i) m->addTriangle(c[0], c[i - 1], c[i]);
        std::getline(in, rest);   // colours, if any
    }
    return m->mesh().vertexList().size() == vertices ? std::move(m) : nullptr;
}

} // namespace orvane_test
