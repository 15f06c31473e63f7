// Mesh topology: vertex-to-triangle table and range rules; edges against a brute-force reading.
#include "Edge.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <stdexcept>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Key = std::pair<std::size_t, std::size_t>;
using List = std::vector<Triangle *>;

TEST(Triangulation, VertexTableAndRanges) {
    TestMesh m;
    m.addVertex(0, 0, 0);
    m.addVertex(2, -1, 5);
    for (int i = 0; i < 4; ++i) m.addVertex(i, i * i, 1);   // equal points still append
    EXPECT_THROW(m.mesh().adjustantTriangles(0), std::out_of_range);   // no triangles yet

    Triangle *t0 = m.addTriangle(0, 1, 2);
    Triangle *t1 = m.addTriangle(1, 0, 3);
    EXPECT_EQ(t0->edge(3), nullptr);

    Triangle *t2 = m.addTriangle(4, 4, 0);   // names a vertex twice: listed twice
    EXPECT_EQ(m.mesh().adjustantTriangles(0), (List{t0, t1, t2}));
    EXPECT_EQ(m.mesh().adjustantTriangles(2), List{t0});
    EXPECT_EQ(m.mesh().adjustantTriangles(4), (List{t2, t2}));
    EXPECT_THROW(m.mesh().adjustantTriangles(5), std::out_of_range);
    EXPECT_EQ(m.mesh().vertex(t1, 2), m.mesh().vertexList()[3]);

    Triangle *dangling = m.addTriangle(0, 1, 9);   // the mesh does not check indices...
    EXPECT_EQ(m.mesh().adjustantTriangles(8), List{});
    EXPECT_THROW(m.mesh().vertex(dangling, 2), std::out_of_range);   // ...its lookups do
    EXPECT_THROW(m.mesh().plane(dangling), std::out_of_range);
    Triangle huge(0, 1, static_cast<std::size_t>(-1));   // too large for the table
    EXPECT_ANY_THROW(m.mesh().addTriangle(&huge));
    EXPECT_EQ(m.mesh().triangleList().size(), 4u);
}

// Random soups (repeated, degenerate and non-manifold triangles) against a brute-force
// reading of the rules: one edge per unordered pair, keyed by its first request reversed,
// holding every triangle that has the pair among its three corner pairs.
TEST(Triangulation, RandomSoupMatchesReferenceTopology) {
    std::mt19937 rng(7);
    for (int round = 0; round < 20; ++round) {
        TestMesh m;
        std::uniform_int_distribution<std::size_t> pick(0, 3 + round % 9);
        for (std::size_t i = 0; i <= pick.max(); ++i) m.addVertex(double(i), 0, 0);
        List tris;
        std::map<Key, Key> firstKey;   // unordered pair -> expected stored key
        std::map<Key, std::set<Triangle *>> users;
        for (int i = 0; i < 40; ++i) {
            Triangle *t = m.addTriangle(pick(rng), pick(rng), pick(rng));
            tris.push_back(t);
            for (std::size_t c = 0; c < 3; ++c) {
                std::size_t a = t->vertexIndex(c), b = t->vertexIndex((c + 1) % 3);
                firstKey.emplace(Key(std::min(a, b), std::max(a, b)), Key(b, a));
                users[Key(std::min(a, b), std::max(a, b))].insert(t);
            }
        }
        auto const edges = m.mesh().edgeList();
        ASSERT_EQ(edges.size(), firstKey.size());
        for (auto const &[edge, key] : edges) {
            Key const u(std::min(key.first, key.second), std::max(key.first, key.second));
            EXPECT_EQ(key, firstKey[u]);
            EXPECT_EQ(*edge->triangles, users[u]);
        }
        for (Triangle *t : tris)
            for (int c = 0; c < 3; ++c) EXPECT_TRUE(edges.count(t->edge(c)));
    }
}
