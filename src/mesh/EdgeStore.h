#pragma once
// The edge table of a Triangulation: the key of every edge, and the edges themselves.
//
// Edges are numbered in the order they are made. Edge n, its triangle set and its key live
// together in record n of a BlockStore (one cache line each), so a mesh allocates per edge
// only the nodes of its set, and the record that a key search ends on is the one the
// triangle then joins. Keys of 32-bit indices are found through an EdgeKeyTable; the rare
// keys naming a larger index (or UINT32_MAX, which marks such records) through an ordered
// map. The edges stay where they were made until the store is destroyed, which ends every
// set and edge: the edges a mesh handed out die with it.
#include "Edge.h"
#include "Triangulation.h"
#include "mesh/BlockStore.h"
#include "mesh/EdgeKeyTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <utility>

namespace ORVANE_DATABASE {

class Triangulation::EdgeStore {
public:
    // The edge stored under (a, b) or (b, a); null when neither is a key.
    Edge *find(std::size_t a, std::size_t b) {
        if (isCompact(a, b)) {
            std::uint32_t const n = m_index.find(static_cast<std::uint32_t>(a),
                                                 static_cast<std::uint32_t>(b), KeyOf{this});
            return n == topology::EdgeKeyTable::kAbsent ? nullptr : &m_records[n].edge;
        }
        if (m_wide.empty()) return nullptr;
        auto found = m_wide.find(std::make_pair(a, b));
        if (found == m_wide.end()) found = m_wide.find(std::make_pair(b, a));
        return found == m_wide.end() ? nullptr : &m_records[found->second].edge;
    }

    // Starts loading what a later find(a, b) reads first (a hint; no effect on results).
    void prefetch(std::size_t a, std::size_t b) const noexcept {
        if (isCompact(a, b)) m_index.prefetch(static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b));
    }

    // Makes room for `more` edges with keys of indices up to `top`, so that creating as many
    // with keys of 32-bit indices cannot fail. Throws std::bad_alloc leaving the store as it
    // was.
    void reserve(std::size_t more, std::size_t top) {
        m_records.reserve(more);
        // A top past 32 bits belongs to a key the index never sees.
        m_index.reserve(more, m_records.size(), top < kWide ? static_cast<std::uint32_t>(top) : 0, KeyOf{this},
                        Indexed{this});
    }

    // A new edge with an empty set, stored under (first, second). Precondition: neither
    // orientation is a key, and the store holds fewer than UINT32_MAX - 1 edges. Throws
    // std::bad_alloc leaving the store as it was.
    Edge *create(std::size_t first, std::size_t second) {
        std::uint32_t const n = static_cast<std::uint32_t>(m_records.size());
        bool const compact = isCompact(first, second);
        m_records.reserve(1);
        if (compact)
            m_index.reserve(1, m_records.size(), static_cast<std::uint32_t>(std::max(first, second)),
                            KeyOf{this}, Indexed{this});
        else
            m_wide.emplace(std::make_pair(first, second), n);
        Record &made = m_records.emplace_back();   // cannot fail: the room is there
        if (compact) {
            made.first = static_cast<std::uint32_t>(first);
            made.second = static_cast<std::uint32_t>(second);
            m_index.insert(made.first, made.second, n);
        }
        return &made.edge;
    }

    // Ends the newest edge, stored under (first, second); its set must be empty again.
    void removeNewest(std::size_t first, std::size_t second) noexcept {
        std::uint32_t const n = static_cast<std::uint32_t>(m_records.size() - 1);
        if (isCompact(first, second))
            m_index.erase(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second), n,
                          KeyOf{this});
        else
            m_wide.erase(std::make_pair(first, second));
        m_records.pop_back();
    }

    std::size_t size() const { return m_records.size(); }

    // Every edge with its key, by edge pointer (the form of Triangulation::edgeList()).
    std::map<Edge *, std::pair<std::size_t, std::size_t>> list() {
        std::map<std::uint32_t, std::pair<std::size_t, std::size_t>> wideKeys;
        for (auto const &entry : m_wide) wideKeys.emplace(entry.second, entry.first);
        // Records ascend in address within a block, so visiting the blocks by address gives
        // the edges in the map's order and every insertion goes at the end.
        std::map<Edge *, std::pair<std::size_t, std::size_t>> result;
        m_records.forEachByAddress([&](std::size_t n, Record &r) {
            result.emplace_hint(result.end(), &r.edge,
                                r.first != kWide ? std::make_pair(std::size_t(r.first), std::size_t(r.second))
                                                 : wideKeys[static_cast<std::uint32_t>(n)]);
        });
        return result;
    }

private:
    // First index of the records whose key is kept in m_wide.
    static constexpr std::uint32_t kWide = UINT32_MAX;

    // An edge beside the set it names, and its key. Member order matters: the set exists
    // before the edge takes its address.
    struct alignas(64) Record {
        std::set<Triangle *> triangles;
        Edge edge;
        std::uint32_t first = kWide;
        std::uint32_t second = kWide;
        Record() noexcept : triangles(), edge(&triangles) {}
        ~Record() { edge.triangles = nullptr; }   // the set ends as a member, not through ~Edge
        Record(Record const &) = delete;
        Record &operator=(Record const &) = delete;
    };

    struct KeyOf {
        EdgeStore const *store;
        std::pair<std::uint32_t, std::uint32_t> operator()(std::uint32_t n) const {
            Record const &r = store->m_records[n];
            return std::make_pair(r.first, r.second);
        }
    };
    struct Indexed {
        EdgeStore const *store;
        bool operator()(std::size_t n) const { return store->m_records[n].first != kWide; }
    };

    static bool isCompact(std::size_t a, std::size_t b) { return a < kWide && b < kWide; }

    topology::BlockStore<Record> m_records;
    topology::EdgeKeyTable m_index;
    std::map<std::pair<std::size_t, std::size_t>, std::uint32_t> m_wide;
};

} // namespace ORVANE_DATABASE
