#pragma once
// The slicer's record of every segment it has cut, kept for the slicer's lifetime.
//
// The record exists so that the slicer owns what it cut (a second call adds to it); nothing
// reads it back while slicing. A record is the two end points as six doubles, 48 bytes,
// stored in blocks that double in size up to 64 Ki records, so growth never copies what is
// already stored and never holds more than one partly filled block.
#include "entities/SegmentChainer.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

class SegmentRecords {
public:
    SegmentRecords() = default;
    SegmentRecords(SegmentRecords const &other) { *this = other; }
    SegmentRecords &operator=(SegmentRecords const &other) {
        if (this == &other) return *this;
        blocks_.clear();
        capacity_ = size_ = 0;
        other.forEach([this](SegmentEnds const &s) { append(&s, &s + 1); });
        return *this;
    }

    void append(SegmentEnds const *first, SegmentEnds const *last) {
        while (first != last) {
            if (size_ == capacity_) grow();
            Block &b = blocks_.back();
            std::size_t const room = b.capacity - b.used;
            std::size_t const n = std::min<std::size_t>(room, static_cast<std::size_t>(last - first));
            std::copy(first, first + n, b.data.get() + b.used);
            b.used += n;
            size_ += n;
            first += n;
        }
    }

    std::size_t size() const { return size_; }
    // Bytes held for the records (blocks' capacity), without the small block table.
    std::size_t bytes() const { return capacity_ * sizeof(SegmentEnds); }

    template <class F>
    void forEach(F &&f) const {
        for (Block const &b : blocks_)
            for (std::size_t i = 0; i < b.used; ++i) f(b.data[i]);
    }

private:
    struct Block {
        std::unique_ptr<SegmentEnds[]> data;
        std::size_t capacity;
        std::size_t used;
    };

    void grow() {
        std::size_t const next = blocks_.empty() ? 256 : std::min<std::size_t>(blocks_.back().capacity * 2, 65536);
        blocks_.push_back(Block{std::unique_ptr<SegmentEnds[]>(new SegmentEnds[next]), next, 0});
        capacity_ += next;
    }

    std::vector<Block> blocks_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

}  // namespace slicing
}  // namespace ORVANE_DATABASE
