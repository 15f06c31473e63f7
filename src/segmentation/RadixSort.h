#pragma once
// A stable least-significant-digit radix sort on 64-bit keys, for the large sorts of the
// segmentation (triangle and edge pointers, vertex coordinates), which a comparison sort does
// in O(n log n) with a branch per comparison.
//
// Only the key bits that differ between the items are sorted on: heap addresses of one kind
// of object share their high bits and their alignment bits, and coordinates read from
// single-precision files have 29 zero bits at the bottom, so a sort usually takes three or
// four passes of 11 bits. Items with equal keys keep their order (the sort is stable).
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace ORVANE_DATABASE {

// Sorts `items` by keyOf(item) (a std::uint64_t), ascending and stably.
template <class Item, class KeyOf>
void radixSort(std::vector<Item> &items, KeyOf keyOf) {
    if (items.size() < 2) return;
    std::uint64_t low = keyOf(items[0]), varying = 0;
    for (Item const &item : items) low = keyOf(item) < low ? keyOf(item) : low;
    for (Item const &item : items) varying |= keyOf(item) - low;
    if (varying == 0) return;
    int lowBit = 0, highBit = 0;
    while (!((varying >> lowBit) & 1)) ++lowBit;
    for (std::uint64_t v = varying; v != 0; v >>= 1) ++highBit;

    constexpr int kDigit = 11;
    constexpr std::uint64_t kMask = (std::uint64_t(1) << kDigit) - 1;
    std::vector<Item> scratch(items.size());
    std::vector<std::size_t> count(std::size_t(1) << kDigit);
    for (int shift = lowBit; shift < highBit; shift += kDigit) {
        std::fill(count.begin(), count.end(), 0);
        for (Item const &item : items) ++count[((keyOf(item) - low) >> shift) & kMask];
        std::size_t sum = 0;
        for (std::size_t &c : count) {
            std::size_t const n = c;
            c = sum;
            sum += n;
        }
        for (Item const &item : items) scratch[count[((keyOf(item) - low) >> shift) & kMask]++] = item;
        items.swap(scratch);
    }
}

// Sorts `items` by the pointer pointerOf(item), into std::less order, stably.
template <class Item, class PointerOf>
void sortByAddress(std::vector<Item> &items, PointerOf pointerOf) {
    radixSort(items, [&](Item const &item) {
        return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointerOf(item)));
    });
    // Address order is std::less order on every flat-memory platform; should a platform
    // differ, a comparison sort decides.
    auto less = [&](Item const &a, Item const &b) { return std::less<decltype(pointerOf(a))>()(pointerOf(a), pointerOf(b)); };
    if (!std::is_sorted(items.begin(), items.end(), less)) std::stable_sort(items.begin(), items.end(), less);
}

// A key whose unsigned order is the numeric order of non-NaN doubles, with -0 and +0 equal.
inline std::uint64_t orderKey(double d) {
    if (d == 0.0) d = 0.0;
    std::uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return bits >> 63 ? ~bits : bits | (std::uint64_t(1) << 63);
}

}  // namespace ORVANE_DATABASE
