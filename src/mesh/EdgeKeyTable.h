#pragma once
// The key index of a mesh's edges: which edge number has a given vertex-index pair as key.
//
// Edges are numbered 0, 1, 2, ... and their owner keeps each key (an ordered pair of 32-bit
// indices) with the edge itself, where the mesh reads it anyway when it adds a triangle to
// the edge; the owner hands keys back through keyOf(n), a function returning number n's key
// as std::pair<std::uint32_t, std::uint32_t>. The index holds only numbers: a power-of-two
// array of 32-bit slots, probed linearly, at most three quarters used. A slot holds a
// number (low bits) and a few more bits of its key's hash (the rest), so that nearly every
// mismatch is told from the slot alone and a key is read only for a likely hit.
//
// A search is for the undirected pair: the owner never stores both orientations of one pair
// (it only adds a key after finding neither), so one search accepting either orientation
// answers "(a, b), else (b, a)".
//
// Where a key goes. Meshes number their vertices coherently (scanners, marching cubes and
// welding in file order all do), and a triangle's edges are mostly made, and found again, next
// to those of the triangles added just before it. So the array is cut into regions of 1024
// slots (4 KiB), spread over the vertex indices in use, and a key goes to a hashed slot of
// the region of one of its two vertices (which one is a hash bit, so that the load does not
// pile up at either end of the index range however the vertices are numbered). Building a
// coherent mesh then touches a few regions at a time instead of a random slot per edge,
// which in a large mesh is the difference between cache hits and a memory access with a
// page walk. Within a region, slots are as random as a plain hash table's.
//
// Should the vertex numbering defeat this (a giant fan, indices far apart, adversarial
// input), the cost shows as long probe runs: every search and placement counts the slots it
// steps over, and once those average more than 8 per operation (2 is usual) the next reserve() rebuilds
// the array with keys spread by hash alone, until it next grows. Work therefore stays linear
// whatever the input. The slots depend only on the sequence of operations, never on
// addresses.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {
namespace topology {

class EdgeKeyTable {
public:
    // Returned by find when no key matches. Numbers are below it.
    static constexpr std::uint32_t kAbsent = UINT32_MAX;

    // The number whose key is (a, b) or (b, a); kAbsent when there is none.
    template <class KeyOf>
    std::uint32_t find(std::uint32_t a, std::uint32_t b, KeyOf const &keyOf) {
        if (m_count == 0) return kAbsent;
        std::uint64_t const h = hash(a, b);
        std::uint32_t const tag = tagOf(h);
        std::size_t const home = homeOf(a, b, h);
        ++m_operations;
        // The array always has a free slot, which ends every search.
        for (std::size_t i = home;; i = (i + 1) & m_mask) {
            std::uint32_t const s = m_slots[i];
            if (s == 0) {
                m_stepped += (i - home) & m_mask;
                return kAbsent;
            }
            if ((s & ~m_numberMask) != tag) continue;
            std::uint32_t const n = (s & m_numberMask) - 1;
            std::pair<std::uint32_t, std::uint32_t> const key = keyOf(n);
            if ((key.first == a && key.second == b) || (key.first == b && key.second == a)) {
                m_stepped += (i - home) & m_mask;
                return n;
            }
        }
    }

    // Asks the processor to start loading the slot where a search for {a, b} begins, so that
    // the searches of a triangle's three edges wait for memory together rather than in turn.
    // A hint: no effect on any result.
    void prefetch(std::uint32_t a, std::uint32_t b) const noexcept {
#if defined(__GNUC__) || defined(__clang__)
        if (m_count != 0) __builtin_prefetch(&m_slots[homeOf(a, b, hash(a, b))]);
#else
        (void)a;
        (void)b;
#endif
    }

    // Makes room for `more` further numbers, from `numbers` (how many numbers the owner has
    // handed out, indexed here or not) on, with keys of indices up to `top`. Rebuilds the
    // array when it must grow (or must give up vertex regions, see above) from the numbers
    // below `numbers` for which indexed(n) is true, their keys read in number order. Throws
    // std::bad_alloc leaving the index as it was.
    template <class KeyOf, class Indexed>
    void reserve(std::size_t more, std::size_t numbers, std::uint32_t top, KeyOf const &keyOf,
                 Indexed const &indexed) {
        std::size_t const needed = m_count + more, below = numbers + more;
        bool const grow = m_slots.empty() || !fits(needed, below, m_bits);
        if (!grow && !congestedRegions()) return;
        unsigned bits = std::max(m_bits, kFirstBits);
        while (!fits(needed, below, bits)) ++bits;
        std::vector<std::uint32_t> slots(std::size_t(1) << bits, 0);
        m_top = std::max(m_top, top);
        // Regions pay when the vertices below m_top already have most of their edges: a
        // closed mesh has about three edges per vertex, and one built in coherent order has
        // nearly that many per index at any time (but not during its first rows, and never
        // when built in random order, where regions would only fill unevenly). A congested
        // array goes by hash alone until it next grows, when regions are tried afresh; a
        // rebuild by region that congests by itself is abandoned for one by hash alone. Each
        // size is thus built at most three times: linear work in all.
        bool byRegion = grow && m_count >= kKeysPerIndex * (std::size_t(m_top) + 1);
        while (!rebuild(slots, bits, byRegion, numbers, keyOf, indexed)) byRegion = false;
        m_slots.swap(slots);
    }

    // Adds number n (below kAbsent) with key (first, second). Preconditions: reserve made
    // room for it, and neither orientation of the pair is a key.
    void insert(std::uint32_t first, std::uint32_t second, std::uint32_t n) noexcept {
        place(m_slots, first, second, n);
        ++m_count;
    }

    // Removes number n, whose key is (first, second); no effect when it is absent.
    template <class KeyOf>
    void erase(std::uint32_t first, std::uint32_t second, std::uint32_t n, KeyOf const &keyOf) noexcept {
        if (m_count == 0) return;
        std::uint64_t const h = hash(first, second);
        std::uint32_t const slot = tagOf(h) | (n + 1);
        std::size_t hole = homeOf(first, second, h);
        for (;; hole = (hole + 1) & m_mask) {
            if (m_slots[hole] == 0) return;
            if (m_slots[hole] == slot) break;
        }
        // Backward-shift deletion: a later slot of the run whose home does not lie in the
        // cyclic range (hole, j] would be cut off by the hole, so it moves into it.
        for (std::size_t j = (hole + 1) & m_mask;; j = (j + 1) & m_mask) {
            std::uint32_t const s = m_slots[j];
            if (s == 0) break;
            std::pair<std::uint32_t, std::uint32_t> const key = keyOf((s & m_numberMask) - 1);
            std::size_t const home = homeOf(key.first, key.second, hash(key.first, key.second));
            bool const reachable = hole <= j ? (hole < home && home <= j) : (hole < home || home <= j);
            if (!reachable) {
                m_slots[hole] = s;
                hole = j;
            }
        }
        m_slots[hole] = 0;
        --m_count;
    }

    std::size_t size() const { return m_count; }

    // True while keys go by vertex region (see above).
    bool byRegion() const { return m_spreadBits < m_bits; }

private:
    static constexpr unsigned kFirstBits = 4;     // 16 slots at first
    static constexpr unsigned kRegionBits = 10;   // regions of 1024 slots
    static constexpr std::size_t kSteps = 8;      // slots stepped over per operation, at most
    static constexpr std::size_t kStepAllowance = 1024;
    static constexpr std::size_t kKeysPerIndex = 2;   // keys per vertex index, for regions

    // Finaliser of MurmurHash3 over the unordered pair: every input bit reaches every output
    // bit. Bit 0 picks the vertex whose region holds the key, the top bits the slot in the
    // region, the low bits the tag.
    static std::uint64_t hash(std::uint32_t a, std::uint32_t b) {
        std::uint64_t k = std::uint64_t(std::min(a, b)) << 32 | std::max(a, b);
        k ^= k >> 33;
        k *= 0xff51afd7ed558ccdULL;
        k ^= k >> 33;
        k *= 0xc4ceb9fe1a85ec53ULL;
        k ^= k >> 33;
        return k;
    }
    // 2^bits slots hold `count` numbers, all below `below`: a quarter stays free, and every
    // number + 1 fits the number bits (numbers may exceed count: the owner keeps some keys
    // elsewhere).
    static bool fits(std::size_t count, std::size_t below, unsigned bits) {
        return count <= (std::size_t(3) << bits) / 4 && (bits >= 32 || below < (std::size_t(1) << bits));
    }

    // The region of vertex v starts at slot (v * m_scale / 2^16) rounded down to a multiple
    // of the region size; m_scale (slots per vertex index, fixed point) is 0 once keys go by
    // hash alone, and then every key is in "region 0", the whole array.
    std::size_t homeOf(std::uint32_t a, std::uint32_t b, std::uint64_t h) const {
        std::uint64_t const v = (h & 1) ? std::min(a, b) : std::max(a, b);
        std::size_t const region = static_cast<std::size_t>((v * m_scale) >> 16) >> m_spreadBits;
        return ((region << m_spreadBits) | static_cast<std::size_t>(h >> (64 - m_spreadBits))) & m_mask;
    }
    std::uint32_t tagOf(std::uint64_t h) const { return static_cast<std::uint32_t>(h) & ~m_numberMask; }
    // Regions are in use and their probe runs have grown too long.
    bool congestedRegions() const {
        return m_spreadBits < m_bits && m_stepped > kSteps * m_operations + kStepAllowance;
    }

    // Sets the geometry of an array of 2^bits slots, by vertex region or by hash alone.
    void shape(unsigned bits, bool byRegion) {
        m_bits = bits;
        m_mask = (std::size_t(1) << bits) - 1;
        // A slot holds number + 1 (0 is a free slot) in the low bits; the rest is tag.
        m_numberMask = bits >= 32 ? UINT32_MAX : (std::uint32_t(1) << bits) - 1;
        if (byRegion && bits > kRegionBits) {
            // Spread the indices 0..m_top over the array; kept within [1, 2^32] so that
            // v * m_scale cannot overflow.
            std::uint64_t const scale = (std::uint64_t(1) << (bits + 16)) / (std::uint64_t(m_top) + 1);
            m_scale = std::min<std::uint64_t>(std::max<std::uint64_t>(scale, 1), std::uint64_t(1) << 32);
            m_spreadBits = kRegionBits;
        } else {
            // Small arrays are one region: the same as hashing alone, which they keep using
            // after growing only if chosen so.
            m_scale = byRegion ? 1 : 0;
            m_spreadBits = bits;
        }
        m_stepped = 0;
        m_operations = 0;
    }

    // Fills `slots` (2^bits, all free) with the indexed numbers below `numbers`; false, with
    // the geometry in an unspecified state, when a rebuild by region congests.
    template <class KeyOf, class Indexed>
    bool rebuild(std::vector<std::uint32_t> &slots, unsigned bits, bool byRegion, std::size_t numbers,
                 KeyOf const &keyOf, Indexed const &indexed) {
        std::fill(slots.begin(), slots.end(), 0u);
        shape(bits, byRegion);
        for (std::size_t n = 0; n < numbers; ++n) {
            if (!indexed(n)) continue;
            std::pair<std::uint32_t, std::uint32_t> const key = keyOf(static_cast<std::uint32_t>(n));
            place(slots, key.first, key.second, static_cast<std::uint32_t>(n));
            if (congestedRegions()) return false;
        }
        return true;
    }

    void place(std::vector<std::uint32_t> &slots, std::uint32_t first, std::uint32_t second,
               std::uint32_t n) noexcept {
        std::uint64_t const h = hash(first, second);
        std::size_t const home = homeOf(first, second, h);
        std::size_t i = home;
        while (slots[i] != 0) i = (i + 1) & m_mask;
        slots[i] = tagOf(h) | (n + 1);
        m_stepped += (i - home) & m_mask;
        ++m_operations;
        m_top = std::max({m_top, first, second});
    }

    std::vector<std::uint32_t> m_slots;   // empty, or 2^m_bits slots
    unsigned m_bits = 0;
    std::size_t m_mask = 0;
    std::uint32_t m_numberMask = 0;
    std::uint64_t m_scale = 1;       // slots per vertex index, 16.16 fixed point; 0: by hash alone
    unsigned m_spreadBits = 0;       // slots within a region: 2^m_spreadBits
    std::uint32_t m_top = 0;         // largest vertex index seen in a key
    std::size_t m_count = 0;
    std::size_t m_stepped = 0;       // slots stepped over since the last rebuild
    std::size_t m_operations = 0;    // searches and placements since the last rebuild
};

} // namespace topology
} // namespace ORVANE_DATABASE
