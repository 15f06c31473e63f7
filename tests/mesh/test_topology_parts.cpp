// The edge key table on its own against a std::map: removals (which only a failed add makes
// through the mesh), small and full index ranges, a giant fan that defeats vertex regions. The
// block store and the corner lists are checked through Triangulation (test_triangulation.cpp,
// test_triangulation_failures.cpp).
#include "mesh/EdgeKeyTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <vector>

using namespace ORVANE_DATABASE::topology;
using Pair32 = std::pair<std::uint32_t, std::uint32_t>;

namespace {

// A key table with its keys in a vector and a std::map as reference.
struct Keys {
    EdgeKeyTable table;
    std::vector<Pair32> key;   // number -> key
    std::vector<bool> live;
    std::map<Pair32, std::uint32_t> ref;

    std::function<Pair32(std::uint32_t)> keyOf() const {
        return [this](std::uint32_t n) { return key[n]; };
    }
    std::uint32_t find(std::uint32_t a, std::uint32_t b) { return table.find(a, b, keyOf()); }
    std::uint32_t expected(std::uint32_t a, std::uint32_t b) const {
        auto it = ref.find(Pair32(a, b));
        if (it == ref.end()) it = ref.find(Pair32(b, a));
        return it == ref.end() ? EdgeKeyTable::kAbsent : it->second;
    }
    // The mesh's use: search, and store (b, a) when absent.
    void request(std::uint32_t a, std::uint32_t b) {
        table.reserve(1, key.size(), std::max(a, b), keyOf(), [this](std::size_t n) { return bool(live[n]); });
        std::uint32_t const n = find(a, b);
        ASSERT_EQ(n, expected(a, b));
        if (n != EdgeKeyTable::kAbsent) return;
        std::uint32_t const made = static_cast<std::uint32_t>(key.size());
        key.emplace_back(b, a);
        live.push_back(true);
        ref.emplace(Pair32(b, a), made);
        table.insert(b, a, made);
    }
    void erase(std::uint32_t n) {
        table.erase(key[n].first, key[n].second, n, keyOf());
        ref.erase(key[n]);
        live[n] = false;
    }
    void check() {
        ASSERT_EQ(table.size(), ref.size());
        for (auto const &entry : ref) {
            ASSERT_EQ(find(entry.first.first, entry.first.second), entry.second);
            ASSERT_EQ(find(entry.first.second, entry.first.first), entry.second);
        }
    }
};

} // namespace

TEST(EdgeKeyTable, MatchesMapThroughGrowthAndRemovals) {
    std::mt19937 rng(1);
    for (std::uint32_t range : {6u, 60u, 3000u, UINT32_MAX - 1}) {
        Keys k;
        for (int i = 0; i < 20000; ++i) {
            std::uint32_t const a = static_cast<std::uint32_t>(rng() % range);
            std::uint32_t const b = static_cast<std::uint32_t>(rng() % range);
            k.request(a, b);
            if (rng() % 5 == 0 && !k.ref.empty()) {   // remove a live key (backward shift)
                auto it = k.ref.begin();
                std::advance(it, rng() % k.ref.size());
                k.erase(it->second);
            }
        }
        k.check();
    }
}

// A coherent grid keeps vertex regions; a fan of 20000 edges around one of its vertices then
// congests them and the table falls back to hashing alone, with the same answers throughout.
TEST(EdgeKeyTable, RegionsAndTheirFallbackGiveTheSameAnswers) {
    Keys k;
    int const n = 300;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            std::uint32_t const v = static_cast<std::uint32_t>(i * n + j);
            k.request(v, v + 1);
            k.request(v + 1, v + n);
            k.request(v + n, v);
        }
    EXPECT_TRUE(k.table.byRegion());
    k.check();
    for (std::uint32_t i = 1; i <= 20000; ++i) k.request(0, 7 * i);
    EXPECT_FALSE(k.table.byRegion());
    k.check();
}
