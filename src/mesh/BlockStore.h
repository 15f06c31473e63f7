#pragma once
// Objects of T numbered 0, 1, 2, ... in blocks that never move, so that others may point at
// them: one allocation per block instead of one per object.
//
// Blocks grow from 16 objects by doubling up to 16384 and stay at that size after it: a
// small mesh wastes little, a large one allocates rarely and leaves at most one partly used
// block. Object i lives in block 0 for i < 16, in block k - 3 for 2^k <= i < 2^(k+1) up to
// 16384, and in block 10 + i / 16384 beyond, so finding an object is a few shifts.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace ORVANE_DATABASE {
namespace topology {

template <class T>
class BlockStore {
public:
    BlockStore() = default;
    BlockStore(BlockStore const &) = delete;
    BlockStore &operator=(BlockStore const &) = delete;
    // Destroys the objects in the order they were made, block by block.
    ~BlockStore() {
        for (std::size_t b = 0; b < m_blocks.size(); ++b) {
            if (!std::is_trivially_destructible<T>::value) {
                std::size_t const first = blockStart(b);
                std::size_t const last = std::min(m_size, first + blockSize(b));
                for (std::size_t i = first; i < last; ++i) m_blocks[b][i - first].~T();
            }
            std::allocator<T>().deallocate(m_blocks[b], blockSize(b));
        }
    }

    std::size_t size() const { return m_size; }

    T &operator[](std::size_t i) { return *address(i); }
    T const &operator[](std::size_t i) const { return *address(i); }

    // Makes sure `more` further objects can be made without an allocation. Throws
    // std::bad_alloc leaving the store as it was.
    void reserve(std::size_t more) {
        if (m_capacity - m_size >= more) return;
        m_blocks.reserve(blockOf(m_size + more - 1) + 1);
        while (m_capacity < m_size + more) {
            std::size_t const size = blockSize(m_blocks.size());
            m_blocks.push_back(std::allocator<T>().allocate(size));   // the vector has room
            m_capacity += size;
        }
    }

    // Makes object number size() from args and returns it; T's constructor and a block
    // allocation are what can throw, leaving the store as it was.
    template <class... Args>
    T &emplace_back(Args &&...args) {
        reserve(1);
        T *made = ::new (static_cast<void *>(address(m_size))) T(std::forward<Args>(args)...);
        ++m_size;
        return *made;
    }

    // Destroys the newest object (its block stays for reuse).
    void pop_back() noexcept {
        --m_size;
        address(m_size)->~T();
    }

    // Calls f(i, object i) for every object in ascending order of address (std::less on
    // pointers), which is index order within a block and block by block in address order.
    template <class F>
    void forEachByAddress(F &&f) {
        std::vector<std::size_t> order(m_blocks.size());
        for (std::size_t b = 0; b < order.size(); ++b) order[b] = b;
        std::sort(order.begin(), order.end(), [this](std::size_t l, std::size_t r) {
            return std::less<T *>()(m_blocks[l], m_blocks[r]);
        });
        for (std::size_t b : order) {
            std::size_t const first = blockStart(b);
            if (first >= m_size) continue;
            std::size_t const last = std::min(m_size, first + blockSize(b));
            for (std::size_t i = first; i < last; ++i) f(i, m_blocks[b][i - first]);
        }
    }

private:
    static constexpr unsigned kFirstBits = 4;   // 16 objects in block 0
    static constexpr unsigned kLastBits = 14;   // blocks stop growing at 16384 objects
    static constexpr std::size_t kLarge = std::size_t(1) << kLastBits;
    static constexpr std::size_t kGrowingBlocks = kLastBits - kFirstBits + 1;   // 0..10

    static std::size_t blockSize(std::size_t b) {
        if (b == 0) return std::size_t(1) << kFirstBits;
        if (b < kGrowingBlocks) return std::size_t(1) << (kFirstBits + b - 1);
        return kLarge;
    }
    static std::size_t blockStart(std::size_t b) {
        if (b == 0) return 0;
        if (b < kGrowingBlocks) return std::size_t(1) << (kFirstBits + b - 1);
        return (b - kGrowingBlocks + 1) * kLarge;
    }
    static std::size_t blockOf(std::size_t i) {
        if (i >= kLarge) return kGrowingBlocks - 1 + (i >> kLastBits);
        std::size_t b = 0;
        for (std::size_t rest = i >> kFirstBits; rest != 0; rest >>= 1) ++b;
        return b;
    }
    T *address(std::size_t i) const {
        if (i >= kLarge) return m_blocks[kGrowingBlocks - 1 + (i >> kLastBits)] + (i & (kLarge - 1));
        std::size_t const b = blockOf(i);
        return m_blocks[b] + (i - blockStart(b));
    }

    std::vector<T *> m_blocks;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;   // objects the blocks can hold
};

} // namespace topology
} // namespace ORVANE_DATABASE
