#include "slicing/SideNeighbours.h"

#include <algorithm>
#include <stdexcept>

namespace ORVANE_DATABASE {
namespace slicing {

namespace {

int bitsFor(std::size_t count) {
    int bits = 1;
    while (bits < 64 && (std::uint64_t{1} << bits) < count) ++bits;
    return bits;
}

// Sorts `keys` (and `values` along, when not null) by the bits [low, low + bits) of the keys:
// a least significant digit radix sort, 11 bits a pass, stable. Linear passes without
// data-dependent branches: comparison sorts of edge keys mispredict at every other step.
void radixSort(std::vector<std::uint64_t> &keys, std::vector<std::uint32_t> *values, int low, int bits) {
    int const digit = 11;
    std::uint64_t const mask = (std::uint64_t{1} << digit) - 1;
    std::vector<std::uint32_t> count(std::size_t{1} << digit);
    std::vector<std::uint64_t> keysOut(keys.size());
    std::vector<std::uint32_t> valuesOut(values ? values->size() : 0);
    for (int shift = low; shift < low + bits; shift += digit) {
        std::fill(count.begin(), count.end(), 0);
        for (std::uint64_t k : keys) ++count[(k >> shift) & mask];
        std::uint32_t sum = 0;
        for (std::uint32_t &c : count) {
            std::uint32_t const here = c;
            c = sum;
            sum += here;
        }
        for (std::size_t i = 0; i < keys.size(); ++i) {
            std::uint32_t const at = count[(keys[i] >> shift) & mask]++;
            keysOut[at] = keys[i];
            if (values) valuesOut[at] = (*values)[i];
        }
        keys.swap(keysOut);
        if (values) values->swap(valuesOut);
    }
}

}  // namespace

// Every side becomes an edge key (lower vertex, upper vertex) with its side number; sorting by
// key brings the sides of one edge together, in side order, and runs of exactly two sides of
// different triangles are neighbours. When key and side fit one 64-bit word together (meshes
// of up to about a million vertices) they are sorted as one.
void findSideNeighbours(std::vector<std::uint32_t> const &corners, std::size_t vertices,
                        std::vector<std::uint32_t> &neighbour) {
    std::size_t const sides = corners.size() - corners.size() % 3;
    if (sides >= kNoNeighbour || vertices >= kNoNeighbour)
        throw std::length_error("findSideNeighbours: too many triangles or vertices");
    neighbour.assign(sides, kNoNeighbour);
    int const vertexBits = bitsFor(vertices), keyBits = 2 * vertexBits, sideBits = bitsFor(sides);
    bool const packed = keyBits + sideBits <= 64;
    std::vector<std::uint64_t> keys;
    std::vector<std::uint32_t> sideOf;
    keys.reserve(sides);
    if (!packed) sideOf.reserve(sides);
    for (std::size_t s = 0; s < sides; ++s) {
        std::uint32_t const a = corners[s], b = corners[s % 3 == 2 ? s - 2 : s + 1];
        if (a == b || a >= vertices || b >= vertices) continue;
        std::uint64_t const key = (static_cast<std::uint64_t>(std::min(a, b)) << vertexBits) | std::max(a, b);
        if (packed) {
            keys.push_back(key << sideBits | s);
        } else {
            keys.push_back(key);
            sideOf.push_back(static_cast<std::uint32_t>(s));
        }
    }
    int const low = packed ? sideBits : 0;
    radixSort(keys, packed ? nullptr : &sideOf, low, keyBits);
    std::uint64_t const sideMask = packed ? (std::uint64_t{1} << sideBits) - 1 : 0;
    auto side = [&](std::size_t i) {
        return static_cast<std::uint32_t>(packed ? keys[i] & sideMask : sideOf[i]);
    };
    for (std::size_t i = 0; i < keys.size();) {
        std::size_t e = i + 1;
        while (e < keys.size() && (keys[e] >> low) == (keys[i] >> low)) ++e;
        if (e - i == 2) {
            std::uint32_t const a = side(i), b = side(i + 1);
            if (a / 3 != b / 3) {   // not two sides of one (degenerate) triangle
                neighbour[a] = b;
                neighbour[b] = a;
            }
        }
        i = e;
    }
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
