// Mesh topology against a straightforward reference (an ordered-map edge table and a
// vertex-to-triangle map of lists) on randomised meshes: soups with duplicate and degenerate
// triangles, shuffled grids, non-manifold fans, corner indices up to SIZE_MAX, and adds
// interleaved with queries. Plus the documented small cases and the ranges of the queries.
#include "Edge.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Key = std::pair<std::size_t, std::size_t>;
using List = std::vector<Triangle *>;

namespace {

// The rules read literally: look up (a, b), then (b, a), else store under (b, a).
struct Reference {
    std::map<Key, std::size_t> edgeOf;   // stored key -> edge number
    std::vector<Key> keys;               // edge number -> stored key
    std::vector<std::set<Triangle *>> users;
    std::map<std::size_t, List> table;   // vertex -> triangles in order added
    bool any = false;
    std::size_t top = 0;                 // largest corner index
    List triangles;
    std::vector<std::array<std::size_t, 3>> edges;   // per triangle added: its edge numbers

    std::size_t addEdge(std::size_t a, std::size_t b) {
        if (auto it = edgeOf.find(Key(a, b)); it != edgeOf.end()) return it->second;
        if (auto it = edgeOf.find(Key(b, a)); it != edgeOf.end()) return it->second;
        edgeOf.emplace(Key(b, a), keys.size());
        keys.emplace_back(b, a);
        users.emplace_back();
        return keys.size() - 1;
    }
    void add(Triangle *t) {
        triangles.push_back(t);
        std::array<std::size_t, 3> e{};
        for (std::size_t c = 0; c < 3; ++c) {
            std::size_t const v = t->vertexIndex(c);
            table[v].push_back(t);
            top = any ? std::max(top, v) : v;
            any = true;
        }
        for (std::size_t c = 0; c < 3; ++c) e[c] = addEdge(t->vertexIndex(c), t->vertexIndex((c + 1) % 3));
        for (std::size_t c = 0; c < 3; ++c) users[e[c]].insert(t);
        edges.push_back(e);
    }
    List adjacent(std::size_t v) const {
        auto it = table.find(v);
        return it == table.end() ? List{} : it->second;
    }
};

// Vertex indices worth asking about: small ones, every corner named, and the range's ends.
std::vector<std::size_t> probes(Reference const &ref) {
    std::vector<std::size_t> v;
    for (std::size_t i = 0; i < 40; ++i) v.push_back(i);
    for (auto const &entry : ref.table) v.push_back(entry.first);
    if (ref.any && ref.top > 0) v.push_back(ref.top - 1);
    if (ref.any && ref.top < SIZE_MAX) v.push_back(ref.top + 1);
    v.push_back(SIZE_MAX);
    return v;
}

void expectSame(Triangulation &mesh, Reference const &ref) {
    ASSERT_EQ(mesh.triangleList(), ref.triangles);
    // Edge pointers of the triangles against reference edge numbers, one to one.
    std::map<Edge *, std::size_t> number;
    std::map<std::size_t, Edge *> edge;
    for (std::size_t i = 0; i < ref.triangles.size(); ++i)
        for (int c = 0; c < 3; ++c) {
            Edge *e = ref.triangles[i]->edge(c);
            ASSERT_NE(e, nullptr);
            ASSERT_EQ(number.emplace(e, ref.edges[i][c]).first->second, ref.edges[i][c]);
            ASSERT_EQ(edge.emplace(ref.edges[i][c], e).first->second, e);
        }
    auto const list = mesh.edgeList();
    ASSERT_EQ(list.size(), ref.keys.size());
    for (auto const &[e, key] : list) {
        ASSERT_TRUE(number.count(e));
        EXPECT_EQ(key, ref.keys[number[e]]);
        EXPECT_EQ(*e->triangles, ref.users[number[e]]);
    }
    for (std::size_t v : probes(ref)) {
        if (ref.any && v <= ref.top)
            EXPECT_EQ(mesh.adjustantTriangles(v), ref.adjacent(v)) << "vertex " << v;
        else
            EXPECT_THROW(mesh.adjustantTriangles(v), std::out_of_range) << "vertex " << v;
    }
}

// A mesh and its reference, fed together.
struct Pair {
    TestMesh mesh;
    Reference ref;
    void add(std::size_t a, std::size_t b, std::size_t c) { ref.add(mesh.addTriangle(a, b, c)); }
};

} // namespace

TEST(Triangulation, DocumentedSmallMesh) {
    TestMesh m;
    m.addVertex(0, 0, 0);
    m.addVertex(2, -1, 5);
    for (int i = 0; i < 4; ++i) m.addVertex(i, i * i, 1);   // equal points still append
    EXPECT_EQ(m.mesh().vertexList().size(), 6u);
    EXPECT_THROW(m.mesh().adjustantTriangles(0), std::out_of_range);   // no triangles yet
    EXPECT_TRUE(m.mesh().edgeList().empty());

    Triangle *t0 = m.addTriangle(0, 1, 2);
    Triangle *t1 = m.addTriangle(1, 0, 3);
    EXPECT_EQ(t0->edge(3), nullptr);
    auto const edges = m.mesh().edgeList();
    std::set<Key> keys;
    for (auto const &entry : edges) keys.insert(entry.second);
    EXPECT_EQ(keys, (std::set<Key>{{1, 0}, {2, 1}, {0, 2}, {3, 0}, {1, 3}}));
    EXPECT_EQ(*t0->edge(0)->triangles, (std::set<Triangle *>{t0, t1}));
    EXPECT_EQ(m.mesh().adjustantTriangles(1), (List{t0, t1}));
    EXPECT_THROW(m.mesh().adjustantTriangles(4), std::out_of_range);

    Triangle *t2 = m.addTriangle(4, 4, 0);   // names a vertex twice: listed twice
    EXPECT_EQ(m.mesh().adjustantTriangles(4), (List{t2, t2}));
    EXPECT_EQ(t2->edge(1), t2->edge(2));     // (4, 0) and (0, 4): one edge
    Triangle *dangling = m.addTriangle(0, 1, 9);   // the mesh does not check indices...
    EXPECT_EQ(m.mesh().adjustantTriangles(8), List{});
    EXPECT_THROW(m.mesh().vertex(dangling, 2), std::out_of_range);   // ...its lookups do
    EXPECT_EQ(m.mesh().vertex(t1, 2), m.mesh().vertexList()[3]);
    EXPECT_THROW(m.mesh().plane(dangling), std::out_of_range);

    BoundingBox3D const &box = *m.mesh().getBoundingBox();
    EXPECT_EQ(box.lower(), Point3D(0, -1, 0));
    EXPECT_EQ(box.upper(), Point3D(3, 9, 5));
    EXPECT_EQ(m.mesh().entityType(), Entity::ET_TRIANGULATION);
    EXPECT_EQ(m.mesh().getName(), "Triangulation_" + std::to_string(m.mesh().getID()));
}

// Grids large enough for the edge table to grow many times, in shuffled order with random
// orientation, some triangles repeated, and fans of hundreds of triangles around one vertex.
TEST(Triangulation, ShuffledGridsAndFansMatchReference) {
    std::mt19937 rng(11);
    for (int round = 0; round < 4; ++round) {
        Pair p;
        int const n = 40 + 30 * round;
        std::vector<std::array<std::size_t, 3>> tris;
        auto at = [n](int i, int j) { return std::size_t(i * (n + 1) + j); };
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                tris.push_back({at(i, j), at(i + 1, j), at(i + 1, j + 1)});
                tris.push_back({at(i, j), at(i + 1, j + 1), at(i, j + 1)});
            }
        std::size_t const hub = at(n, n) + 1;
        for (int k = 0; k < 200 * (round + 1); ++k) tris.push_back({hub, std::size_t(k), std::size_t(k + 1)});
        if (round % 2) std::shuffle(tris.begin(), tris.end(), rng);
        for (auto &t : tris) {
            if (rng() % 3 == 0) std::swap(t[1], t[2]);
            p.add(t[0], t[1], t[2]);
            if (rng() % 50 == 0) p.add(t[2], t[0], t[1]);   // the same triangle, rotated
        }
        expectSame(p.mesh.mesh(), p.ref);
    }
}

// Indices past 32 bits, at the 32-bit boundary and up to SIZE_MAX, mixed with small ones;
// and indices far past the vertex count that a later growth of the vertex list brings into
// the range the vertex-to-triangle table keeps in an array.
TEST(Triangulation, HugeCornerIndicesWork) {
    std::size_t const odd[] = {std::size_t(1) << 31, UINT32_MAX - 2, UINT32_MAX - 1, UINT32_MAX,
                               std::size_t(1) << 32, std::size_t(1) << 40, SIZE_MAX - 1, SIZE_MAX,
                               30000, 30001};
    std::mt19937 rng(3);
    for (int round = 0; round < 12; ++round) {
        Pair p;
        for (int i = 0; i < 80; ++i) {
            std::size_t v[3];
            for (auto &x : v) x = rng() % 3 == 0 ? odd[rng() % 10] : rng() % (5 + round);
            p.add(v[0], v[1], v[2]);
            if (round == 11 && i == 40)
                for (int k = 0; k < 30000; ++k) p.mesh.addVertex(0, 0, 0);
        }
        expectSame(p.mesh.mesh(), p.ref);
    }
    Pair single;   // the range ends at SIZE_MAX itself: every index is inside it
    single.add(0, 5, SIZE_MAX);
    EXPECT_EQ(single.mesh.mesh().adjustantTriangles(SIZE_MAX - 7), List{});
    expectSame(single.mesh.mesh(), single.ref);
}

// Vertices and triangles interleaved (as the voxel surface and the face meshes build), with
// queries between the adds; indices sometimes run ahead of the vertex list.
TEST(Triangulation, InterleavedAddsAndQueriesMatchReference) {
    std::mt19937 rng(5);
    Pair p;
    std::size_t vertices = 0;
    for (int step = 0; step < 4000; ++step) {
        if (vertices < 3 || rng() % 2) {
            p.mesh.addVertex(double(vertices), 0, 0);
            ++vertices;
        }
        std::size_t const reach = vertices + (rng() % 8 == 0 ? 50 : 0);
        std::size_t const a = vertices - 1 - rng() % std::min<std::size_t>(vertices, 12);
        p.add(a, rng() % reach, rng() % reach);
        std::size_t const v = rng() % (p.ref.top + 2);
        if (v <= p.ref.top)
            ASSERT_EQ(p.mesh.mesh().adjustantTriangles(v), p.ref.adjacent(v));
        else
            ASSERT_THROW(p.mesh.mesh().adjustantTriangles(v), std::out_of_range);
        if (step % 500 == 0) expectSame(p.mesh.mesh(), p.ref);
    }
    expectSame(p.mesh.mesh(), p.ref);
}
