#pragma once
// Dense ranks for a set of objects known by pointer, in ascending pointer order.
//
// Several orders of the segmentation are pointer orders (the triangles of a face mesh, the
// visiting order of the strong edges), and its working arrays are indexed by triangle. A
// PointerRanks sorts the distinct pointers once (RadixSort.h) and answers "which rank has this pointer" without a tree or a hash table, whose
// random probes into a table several times the size of the items are what a lookup costs on
// a large mesh.
//
// The sorted addresses are cut into segments wherever two neighbours lie more than 4 KiB
// apart. Objects that a host keeps in arrays (the usual way to hold millions of them) make
// segments of one fixed stride: there a rank is arithmetic, with no memory touched but the
// short segment list. Other segments (objects allocated one by one) get a bucket index of
// power-of-two width, about one bucket per object, recording the first rank of each bucket:
// a lookup reads one bucket and scans its few ranks. A crowded bucket is binary searched, so
// no layout makes a lookup worse than O(log n). Memory: 8 bytes per item for the sorted
// pointers, about 4 for the buckets of irregular segments.
//
// Lookups only: nothing is iterated in address-dependent order beyond the pointer order
// itself, which is what the callers want.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include "segmentation/RadixSort.h"

namespace ORVANE_DATABASE {

template <class T>
class PointerRanks {
public:
    using Rank = std::uint32_t;
    static constexpr Rank kNone = std::numeric_limits<Rank>::max();

    PointerRanks() = default;

    // Ranks the distinct pointers of `items` (duplicates allowed, null allowed). Throws
    // std::length_error when there are too many to number below kNone - 1 (the rank kNone - 1
    // is kept free for callers' sentinels).
    explicit PointerRanks(std::vector<T *> const &items) {
        if (items.size() >= kNone - 1) throw std::length_error("PointerRanks: too many items");
        m_sorted = items;
        sortPointers(m_sorted);
        m_sorted.erase(std::unique(m_sorted.begin(), m_sorted.end()), m_sorted.end());
        buildSegments();
    }

    std::size_t size() const { return m_sorted.size(); }
    T *item(Rank r) const { return m_sorted[r]; }
    std::vector<T *> const &items() const { return m_sorted; }
    // Hands over the sorted items; no rank is looked up afterwards.
    std::vector<T *> takeItems() { return std::move(m_sorted); }

    // The rank of p, or kNone when p is not one of the items.
    Rank rankOf(T const *p) const {
        std::uintptr_t const a = address(p);
        // The last segment starting at or before a.
        auto next = std::upper_bound(m_segmentStart.begin(), m_segmentStart.end(), a);
        if (next == m_segmentStart.begin()) return kNone;
        Segment const &s = m_segments[static_cast<std::size_t>(next - m_segmentStart.begin()) - 1];
        std::uintptr_t const offset = a - s.start;
        if (offset > s.span) return kNone;
        if (s.stride != 0)   // a full arithmetic run: every aligned address in it is an item
            return offset % s.stride == 0 ? static_cast<Rank>(s.first + offset / s.stride) : kNone;
        std::size_t const b = s.buckets + static_cast<std::size_t>(offset >> s.shift);
        Rank const first = m_bucketFirst[b], last = m_bucketFirst[b + 1];
        if (last - first > 8) {
            auto it = std::lower_bound(m_sorted.begin() + first, m_sorted.begin() + last, p,
                                       std::less<T const *>());
            return it != m_sorted.begin() + last && *it == p ? static_cast<Rank>(it - m_sorted.begin())
                                                              : kNone;
        }
        for (Rank r = first; r < last; ++r)
            if (m_sorted[r] == p) return r;
        return kNone;
    }

    // Sorts pointers into ascending std::less order.
    static void sortPointers(std::vector<T *> &v) {
        sortByAddress(v, [](T *p) { return p; });
    }

private:
    static constexpr std::uintptr_t kMaxGap = 4096;

    struct Segment {
        std::uintptr_t start;    // address of its first item
        std::uintptr_t span;     // last item's address - start
        Rank first;              // rank of its first item
        std::uintptr_t stride;   // the constant distance between neighbours, or 0
        unsigned shift;          // bucket width (irregular segments)
        std::size_t buckets;     // index of its first bucket in m_bucketFirst
    };

    static std::uintptr_t address(T const *p) { return reinterpret_cast<std::uintptr_t>(p); }

    void buildSegments() {
        for (std::size_t begin = 0, end; begin < m_sorted.size(); begin = end) {
            std::uintptr_t const start = address(m_sorted[begin]);
            std::uintptr_t const stride = begin + 1 < m_sorted.size() ? address(m_sorted[begin + 1]) - start : 0;
            bool regular = stride != 0 && stride <= kMaxGap;
            for (end = begin + 1; end < m_sorted.size(); ++end) {
                std::uintptr_t const gap = address(m_sorted[end]) - address(m_sorted[end - 1]);
                if (gap > kMaxGap) break;
                regular = regular && gap == stride;
            }
            Segment s{start, address(m_sorted[end - 1]) - start, static_cast<Rank>(begin),
                      regular ? stride : 0, 0, 0};
            if (!regular) addBuckets(s, begin, end);
            m_segments.push_back(s);
            m_segmentStart.push_back(start);
        }
    }

    // Buckets of power-of-two width over an irregular segment, at most one per item; entry b
    // (and one past the last) holds the first rank whose address falls in bucket b or later.
    void addBuckets(Segment &s, std::size_t begin, std::size_t end) {
        std::size_t const count = end - begin;
        while ((s.span >> s.shift) >= count) ++s.shift;
        std::size_t const buckets = static_cast<std::size_t>(s.span >> s.shift) + 1;
        s.buckets = m_bucketFirst.size();
        m_bucketFirst.resize(s.buckets + buckets + 1);
        std::size_t b = 0;
        for (std::size_t r = begin; r < end; ++r) {
            std::size_t const own = static_cast<std::size_t>((address(m_sorted[r]) - s.start) >> s.shift);
            while (b <= own) m_bucketFirst[s.buckets + b++] = static_cast<Rank>(r);
        }
        while (b <= buckets) m_bucketFirst[s.buckets + b++] = static_cast<Rank>(end);
    }

    std::vector<T *> m_sorted;                  // distinct, ascending
    std::vector<Segment> m_segments;            // ascending
    std::vector<std::uintptr_t> m_segmentStart; // the segments' starts, for the search
    std::vector<Rank> m_bucketFirst;            // buckets of the irregular segments
};

}  // namespace ORVANE_DATABASE
