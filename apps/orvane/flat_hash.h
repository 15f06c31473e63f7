#pragma once
// An insert-only hash map with open addressing and linear probing, for the tool's lookups
// over millions of vertices and triangles (a node-based map costs an allocation and a cache
// miss per entry).
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace orvane {

template <class Key, class Value, class Hash>
class FlatHashMap {
public:
    explicit FlatHashMap(std::size_t expected = 0) {
        std::size_t size = 16;
        while (size < 2 * expected) size *= 2;
        slots_.resize(size);
    }

    // The value stored under `key`, or null.
    Value const *find(Key const &key) const {
        std::size_t const mask = slots_.size() - 1;
        for (std::size_t s = Hash()(key) & mask;; s = (s + 1) & mask) {
            Slot const &slot = slots_[s];
            if (!slot.used) return nullptr;
            if (slot.key == key) return &slot.value;
        }
    }

    // Stores `value` under `key` unless the key is present; returns the stored value.
    Value &insert(Key const &key, Value const &value) {
        if (2 * (count_ + 1) > slots_.size()) grow();
        std::size_t const mask = slots_.size() - 1;
        for (std::size_t s = Hash()(key) & mask;; s = (s + 1) & mask) {
            Slot &slot = slots_[s];
            if (!slot.used) {
                slot = Slot{key, value, true};
                ++count_;
                return slot.value;
            }
            if (slot.key == key) return slot.value;
        }
    }

    // Asks the processor to fetch the slot where a lookup of `key` starts, so that a batch of
    // lookups waits for memory once rather than once each.
    void prefetch(Key const &key) const {
        __builtin_prefetch(&slots_[Hash()(key) & (slots_.size() - 1)]);
    }

    std::size_t size() const { return count_; }

    // Calls f(key, value) for every entry, in the table's order: only for results that do
    // not depend on order (counts, sums).
    template <class F>
    void forEach(F &&f) const {
        for (Slot const &slot : slots_)
            if (slot.used) f(slot.key, slot.value);
    }

private:
    struct Slot {
        Key key{};
        Value value{};
        bool used = false;
    };

    void grow() {
        std::vector<Slot> old(2 * slots_.size());
        old.swap(slots_);
        count_ = 0;
        for (Slot const &slot : old)
            if (slot.used) insert(slot.key, slot.value);
    }

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

// A 64-bit mix (the finaliser of splitmix64), for hashing integers and pointers.
inline std::uint64_t mixBits(std::uint64_t x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ull;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

}  // namespace orvane
