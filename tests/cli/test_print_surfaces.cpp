// The meshes the tool writes: the voxel surface is closed, outward and 2-manifold whatever
// cells were marked; orientSurface winds scrambled meshes back outward, cavities inward;
// meshFacts counts what a mesh checker counts.
#include "mesh_facts.h"
#include "surface_orientation.h"
#include "voxel_surface.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace {

using orvane::ModelData;

// The voxelizer's quad form of the cells `marked` (x slowest, z fastest) of a grid with
// origin (1, 2, 3) and cells 0.5 x 1 x 2: shared corner vertices, six quads per cell.
struct QuadForm {
    std::vector<double> coords;
    std::vector<std::size_t> quads;
    orvane::VoxelGridFrame frame;
};
QuadForm quadForm(std::array<std::size_t, 3> n, std::vector<bool> const &marked) {
    QuadForm q;
    q.frame.origin = {{1, 2, 3}};
    q.frame.size = {{0.5, 1, 2}};
    q.frame.counts = n;
    std::map<std::array<std::size_t, 3>, std::size_t> vertex;
    static int const faces[6][4] = {{0, 2, 3, 1}, {6, 4, 5, 7}, {2, 6, 7, 3}, {4, 5, 1, 0}, {3, 7, 5, 1}, {0, 4, 6, 2}};
    for (std::size_t i = 0; i < n[0]; ++i)
        for (std::size_t j = 0; j < n[1]; ++j)
            for (std::size_t k = 0; k < n[2]; ++k) {
                if (!marked[(i * n[1] + j) * n[2] + k]) continue;
                std::size_t corner[8];
                for (int c = 0; c < 8; ++c) {
                    std::array<std::size_t, 3> const p{{i + (c >> 2 & 1), j + (c >> 1 & 1), k + (c & 1)}};
                    auto const found = vertex.emplace(p, vertex.size());
                    if (found.second)
                        for (int a = 0; a < 3; ++a)
                            q.coords.push_back(static_cast<double>(p[a]) * q.frame.size[a] + q.frame.origin[a]);
                    corner[c] = found.first->second;
                }
                for (auto const &f : faces)
                    for (int c : f) q.quads.push_back(corner[c]);
            }
    return q;
}

double volume(ModelData const &m) {
    return orvane::meshFacts(m.coords.data(), m.vertexCount(), m.corners.data(), m.triangleCount()).volume;
}

// Every edge run once each way, and around every vertex its triangles form one fan.
void expectTwoManifold(ModelData const &m, std::string const &what) {
    ASSERT_TRUE(orvane::meshFacts(m.coords.data(), m.vertexCount(), m.corners.data(), m.triangleCount()).consistentlyWound())
        << what;
    std::map<std::uint32_t, std::map<std::uint32_t, std::uint32_t>> next;   // vertex: link a -> b
    for (std::size_t t = 0; t < m.triangleCount(); ++t)
        for (int i = 0; i < 3; ++i) {
            std::uint32_t const a = m.corners[3 * t + i], b = m.corners[3 * t + (i + 1) % 3], c = m.corners[3 * t + (i + 2) % 3];
            ASSERT_TRUE(next[a].emplace(b, c).second) << what << ": vertex " << a << " has two fans";
        }
    for (auto const &[v, link] : next) {
        std::size_t steps = 0;
        std::uint32_t at = link.begin()->first;
        do {
            auto const found = link.find(at);
            ASSERT_NE(found, link.end()) << what;
            at = found->second;
            ++steps;
        } while (at != link.begin()->first && steps <= link.size());
        ASSERT_EQ(steps, link.size()) << what << ": the triangles around vertex " << v << " form several fans";
    }
}

TEST(VoxelSurface, RandomCellsGiveAClosedOutwardTwoManifold) {
    std::mt19937 rng(3);
    for (int trial = 0; trial < 60; ++trial) {
        std::array<std::size_t, 3> const n{{2 + rng() % 4, 2 + rng() % 4, 1 + rng() % 4}};
        double const density = 0.15 + 0.1 * (trial % 6);
        std::vector<bool> marked(n[0] * n[1] * n[2]);
        std::size_t count = 0;
        for (std::size_t c = 0; c < marked.size(); ++c) count += marked[c] = std::uniform_real_distribution<double>(0, 1)(rng) < density;
        if (count == 0) continue;
        QuadForm const q = quadForm(n, marked);
        std::vector<std::uint64_t> cells;
        orvane::VoxelSurface const s = orvane::voxelSurface(q.coords, q.quads, q.frame, &cells);
        EXPECT_EQ(s.cells, count);
        std::vector<std::uint64_t> expected;   // the quads come in grid order
        for (std::size_t c = 0; c < marked.size(); ++c)
            if (marked[c]) expected.push_back(c);
        EXPECT_EQ(cells, expected) << trial;
        expectTwoManifold(s.mesh, "trial " + std::to_string(trial));
        // Every cell, marked or added, counts once: faces between cells are gone.
        EXPECT_NEAR(volume(s.mesh), static_cast<double>(s.cells + s.filled) * 0.5 * 1 * 2, 1e-9) << trial;
    }
}

TEST(VoxelSurface, FillsOnlyWhereCellsPinch) {
    // Two cells meeting along an edge: one more cell joins them.
    QuadForm const edge = quadForm({{2, 2, 1}}, {true, false, false, true});
    EXPECT_EQ(orvane::voxelSurface(edge.coords, edge.quads, edge.frame).filled, 1u);
    // Two cells meeting at a corner: two more make a path of faces between them.
    std::vector<bool> corner(8, false);
    corner[0] = corner[7] = true;
    QuadForm const point = quadForm({{2, 2, 2}}, corner);
    orvane::VoxelSurface const joined = orvane::voxelSurface(point.coords, point.quads, point.frame);
    EXPECT_EQ(joined.filled, 2u);
    expectTwoManifold(joined.mesh, "corner");
}

TEST(VoxelSurface, GridBoxWidensFlatAxesAndFitsCubicCells) {
    using Box = std::array<double, 6>;
    orvane::VoxelGridBox g = orvane::voxelGridBox(Box{{0, 0, 1, 4, 2, 1}}, {{4, 4, 3}});
    EXPECT_TRUE(g.widened);   // flat in z: cells as tall as the widest (1), centred on the plate
    EXPECT_EQ(g.lower, (std::array<double, 3>{{0, 0, -0.5}}));
    EXPECT_EQ(g.upper, (std::array<double, 3>{{4, 2, 2.5}}));
    EXPECT_FALSE(orvane::voxelGridBox(Box{{0, 0, 0, 4, 2, 1}}, {{4, 4, 3}}).widened);
    g = orvane::voxelGridBox(Box{{0, 0, 1, 4, 2, 1}}, {{9, 4, 1}}, 0.5);
    EXPECT_EQ(g.lower, (std::array<double, 3>{{-0.25, 0, 0.75}}));
    EXPECT_EQ(g.upper, (std::array<double, 3>{{4.25, 2, 1.25}}));
    // A single point: cells of 1.
    g = orvane::voxelGridBox(Box{{3, 3, 3, 3, 3, 3}}, {{2, 1, 1}});
    EXPECT_EQ(g.lower, (std::array<double, 3>{{2, 2.5, 2.5}}));
}

// An axis-aligned box as 12 outward triangles appended to `m`; inward when `inward`.
void addBox(ModelData &m, double x0, double y0, double z0, double x1, double y1, double z1, bool inward = false) {
    std::uint32_t const base = static_cast<std::uint32_t>(m.vertexCount());
    for (int q = 0; q < 8; ++q) m.coords.insert(m.coords.end(), {q & 1 ? x1 : x0, q & 2 ? y1 : y0, q & 4 ? z1 : z0});
    static std::uint32_t const faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                                               {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
    for (auto const &f : faces) m.corners.insert(m.corners.end(), {base + f[0], base + (inward ? f[2] : f[1]), base + (inward ? f[1] : f[2])});
}

TEST(SurfaceOrientation, ScrambledWindingComesBackOutwardWithCavitiesInward) {
    // A hollow box (a cavity inside), a box inside the cavity, and a box apart.
    ModelData reference;
    addBox(reference, 0, 0, 0, 10, 10, 10);
    addBox(reference, 2, 2, 2, 8, 8, 8, true);
    addBox(reference, 4, 4, 4, 6, 6, 6);
    addBox(reference, 20, 0, 0, 21, 1, 1);
    double const expected = 1000 - 216 + 8 + 1;
    ASSERT_DOUBLE_EQ(volume(reference), expected);
    std::mt19937 rng(7);
    for (int trial = 0; trial < 20; ++trial) {
        ModelData m = reference;
        for (std::size_t t = 0; t < m.triangleCount(); ++t)
            if (rng() % 2) std::swap(m.corners[3 * t + 1], m.corners[3 * t + 2]);
        orvane::OrientationReport const report = orvane::orientSurface(m);
        EXPECT_EQ(report.pieces, 4u);
        EXPECT_EQ(report.closedPieces, 4u);
        EXPECT_NEAR(volume(m), expected, 1e-9);
        orvane::MeshFacts const facts = orvane::meshFacts(m.coords.data(), m.vertexCount(), m.corners.data(), m.triangleCount());
        EXPECT_TRUE(facts.consistentlyWound());
    }
}

TEST(SurfaceOrientation, OpenPiecesFollowTheScore) {
    // Two triangles of a square in z = 0, wound apart; the score wants +z.
    ModelData m;
    m.coords = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    m.corners = {0, 1, 2, 0, 3, 2};
    orvane::OrientationReport const report = orvane::orientSurface(m, [&](std::size_t t) {
        auto p = [&](int c) { return &m.coords[3 * m.corners[3 * t + static_cast<std::size_t>(c)]]; };
        return (p(1)[0] - p(0)[0]) * (p(2)[1] - p(0)[1]) - (p(1)[1] - p(0)[1]) * (p(2)[0] - p(0)[0]);
    });
    EXPECT_EQ(report.undecided, 0u);
    EXPECT_EQ(m.corners, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3}));
}

TEST(MeshFacts, CountsWhatAMeshCheckerCounts) {
    ModelData m;
    addBox(m, 0, 0, 0, 2, 3, 4);
    addBox(m, 5, 0, 0, 6, 1, 1);
    orvane::MeshFacts f = orvane::meshFacts(m.coords.data(), m.vertexCount(), m.corners.data(), m.triangleCount());
    EXPECT_EQ(f.edges, 36u);
    EXPECT_TRUE(f.consistentlyWound());
    EXPECT_EQ(f.parts, 2u);
    EXPECT_DOUBLE_EQ(f.volume, 25);
    EXPECT_DOUBLE_EQ(f.area, 2 * (6 + 8 + 12) + 6);
    // One triangle turned: its three edges run the same way as their neighbours'.
    std::swap(m.corners[1], m.corners[2]);
    // A fin on an edge of the first box, and apart a sliver with its corners in a line.
    m.coords.insert(m.coords.end(), {1, -1, 0, 10, 0, 0, 11, 0, 0, 12, 0, 0});
    m.corners.insert(m.corners.end(), {0, 1, 16, 17, 18, 19});
    orvane::MeshEdgeLists lists;
    f = orvane::meshFacts(m.coords.data(), m.vertexCount(), m.corners.data(), m.triangleCount(), {}, &lists);
    EXPECT_EQ(lists.nonManifold, (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(lists.border, (std::vector<std::uint32_t>{0, 16, 1, 16, 17, 18, 17, 19, 18, 19}));
    EXPECT_EQ(f.misorientedEdges, 2u);   // the fin makes the third non-manifold
    EXPECT_EQ(f.nonManifoldEdges, 1u);
    EXPECT_EQ(f.borderEdges, 5u);
    EXPECT_EQ(f.degenerate, 1u);
    EXPECT_EQ(f.parts, 3u);
    EXPECT_FALSE(f.closed());
}

}  // namespace
