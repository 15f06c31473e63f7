// addTriangle under allocation failure: whichever allocation fails (the lists, the edge table
// growing, an edge block, a key past 32 bits, a set node), std::bad_alloc leaves the mesh
// exactly as it was and the triangle untouched, and the same add then succeeds.
//
// This executable's operator new can be told to fail the n-th allocation from now.
#include "Edge.h"
#include "Triangle.h"
#include "Triangulation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

namespace {
// Allocations still allowed before one fails; negative: none fails.
long g_allowed = -1;

void *allocate(std::size_t n, std::size_t alignment) {
    if (g_allowed == 0) {
        g_allowed = -1;
        throw std::bad_alloc();
    }
    if (g_allowed > 0) --g_allowed;
    n = n ? (n + alignment - 1) / alignment * alignment : alignment;
    void *p = alignment > alignof(std::max_align_t) ? std::aligned_alloc(alignment, n) : std::malloc(n);
    if (!p) throw std::bad_alloc();
    return p;
}
} // namespace

void *operator new(std::size_t n) { return allocate(n, 1); }
void *operator new(std::size_t n, std::align_val_t a) { return allocate(n, static_cast<std::size_t>(a)); }
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete(void *p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void *p, std::size_t, std::align_val_t) noexcept { std::free(p); }

using namespace ORVANE_DATABASE;
using Key = std::pair<std::size_t, std::size_t>;

namespace {

// Everything a caller can observe of a mesh's topology, on the vertices in `probe`.
struct Snapshot {
    std::vector<Triangle *> triangles;
    std::map<Edge *, Key> keys;
    std::map<Edge *, std::set<Triangle *>> sets;
    std::vector<std::vector<Triangle *>> adjacent;   // empty with `thrown` set when out of range
    std::vector<bool> thrown;
    bool operator==(Snapshot const &o) const {
        return triangles == o.triangles && keys == o.keys && sets == o.sets && adjacent == o.adjacent &&
               thrown == o.thrown;
    }
};

Snapshot snapshot(Triangulation &mesh, std::vector<std::size_t> const &probe) {
    Snapshot s;
    s.triangles = mesh.triangleList();
    for (auto const &[edge, key] : mesh.edgeList()) {
        s.keys.emplace(edge, key);
        s.sets.emplace(edge, *edge->triangles);
    }
    for (std::size_t v : probe) {
        try {
            s.adjacent.push_back(mesh.adjustantTriangles(v));
            s.thrown.push_back(false);
        } catch (std::out_of_range const &) {
            s.adjacent.emplace_back();
            s.thrown.push_back(true);
        }
    }
    return s;
}

} // namespace

TEST(TriangulationFailures, FailedAddLeavesMeshUnchanged) {
    std::size_t const odd[] = {UINT32_MAX - 1, UINT32_MAX, std::size_t(1) << 40, SIZE_MAX};
    std::vector<std::size_t> probe = {odd[0], odd[1], odd[2], odd[3], SIZE_MAX - 1};
    for (std::size_t v = 0; v < 70; ++v) probe.push_back(v);

    std::mt19937 rng(4);
    std::vector<std::unique_ptr<Triangle>> owned;
    auto mesh = std::make_unique<Triangulation>();
    std::size_t failures = 0;
    for (int i = 0; i < 200; ++i) {
        std::size_t v[3];
        for (auto &x : v) x = rng() % 12 == 0 ? odd[rng() % 4] : rng() % 60;
        owned.push_back(std::make_unique<Triangle>(v[0], v[1], v[2]));
        Triangle *t = owned.back().get();
        for (long allowed = 0;; ++allowed) {
            Snapshot const before = snapshot(*mesh, probe);
            g_allowed = allowed;
            try {
                mesh->addTriangle(t);
                g_allowed = -1;
                break;
            } catch (std::bad_alloc const &) {
                g_allowed = -1;
                ++failures;
                ASSERT_TRUE(snapshot(*mesh, probe) == before) << "triangle " << i << ", allocation " << allowed;
                for (int k = 0; k < 3; ++k) ASSERT_EQ(t->edge(k), nullptr);
            }
        }
        ASSERT_EQ(mesh->triangleList().back(), t);
    }
    EXPECT_GT(failures, 200u);   // every add met at least one failure (a set node at least)
    mesh.reset();
}
