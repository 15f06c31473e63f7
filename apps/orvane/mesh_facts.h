#pragma once
// What a triangle mesh given as flat arrays is made of: its edges (how many triangles use
// each), whether it is closed and consistently wound, its area, volume and connected parts.
// `info` reports these, `slice` asks whether a model is closed, and the tests check every
// mesh the tool writes with them. Linear in the size of the mesh.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace orvane {

struct MeshFacts {
    std::size_t edges = 0;              // distinct undirected vertex pairs that are triangle sides
    std::size_t borderEdges = 0;        // used by one triangle
    std::size_t nonManifoldEdges = 0;   // used by more than two
    std::size_t misorientedEdges = 0;   // used by two triangles that run it the same way
    std::size_t degenerate = 0;         // triangles of zero area (a repeated corner, or corners in a line)
    std::size_t parts = 0;              // sets of triangles connected through shared vertices
    double area = 0;
    // Signed volume enclosed (divergence theorem): positive when the triangles wind
    // counter-clockwise seen from outside. Meaningful only for a closed mesh.
    double volume = 0;

    bool closed() const { return borderEdges == 0 && nonManifoldEdges == 0; }
    // Closed, and every edge run once each way: the triangles agree on one side as outside.
    bool consistentlyWound() const { return closed() && misorientedEdges == 0; }
};

// The edges behind two of the counts, as vertex index pairs (the lower index first), sorted.
struct MeshEdgeLists {
    std::vector<std::uint32_t> border;        // two indices per edge that one triangle uses
    std::vector<std::uint32_t> nonManifold;   // two indices per edge that more than two use
};

// Facts of the mesh with `vertexCount` vertices (x, y, z each in `coords`) and
// `triangleCount` triangles (three vertex indices each in `corners`, all below vertexCount).
// A triangle's edges are counted once each even when it repeats a corner. `report`, when
// given, hears the triangles done so far (of triangleCount). `lists`, when given, receives
// the border and non-manifold edges themselves.
MeshFacts meshFacts(double const *coords, std::size_t vertexCount, std::uint32_t const *corners,
                    std::size_t triangleCount,
                    std::function<void(std::size_t done, std::size_t total)> const &report = {},
                    MeshEdgeLists *lists = nullptr);

}  // namespace orvane
