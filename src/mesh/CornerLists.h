#pragma once
// The vertex-to-triangle table of a mesh as linked lists of corners.
//
// Corner c is corner c % 3 of triangle c / 3, numbered in the order triangles are added. Each
// vertex has a list of the corners that name it, newest first: a head per vertex and, per
// corner, a link to the previous corner of the same vertex. Adding a triangle writes three
// links and three heads (no allocation per vertex, no rebuild, links kept in blocks that
// never move), a query walks one list, so adds and queries may interleave freely.
//
// Heads are kept in an array indexed by vertex while the indices are what meshes use
// (below the vertex count plus a margin that grows with the corner count); an index far
// beyond that (up to SIZE_MAX) gets its head in an ordered map instead, which moves into the
// array should the array grow to cover it. So no corner index makes the table allocate in
// proportion to its value.
#include "mesh/BlockStore.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace ORVANE_DATABASE {
namespace topology {

class CornerLists {
public:
    // Corners are numbered in 32 bits, with one value kept for "none".
    static constexpr std::size_t kMaxCorners = UINT32_MAX - 1;

    // Makes room for the three corners of one more triangle naming v[0..2], so that
    // append(v) cannot fail; vertexCount (the mesh's vertex count) sizes the head array.
    // Throws std::length_error past kMaxCorners and std::bad_alloc; either way nothing
    // observable changes.
    void reserve(std::size_t const v[3], std::size_t vertexCount);

    // Appends the corners of the next triangle, naming v[0..2]. Precondition: reserve(v, ...)
    // was the last change.
    void append(std::size_t const v[3]) noexcept;

    std::size_t cornerCount() const { return m_previous.size(); }

    // True when v is at most the largest vertex index appended so far.
    bool covers(std::size_t v) const { return m_previous.size() != 0 && v <= m_largest; }

    // Corners naming v, counted.
    std::size_t count(std::size_t v) const {
        std::size_t n = 0;
        for (std::uint32_t c = head(v); c != kNone; c = m_previous[c]) ++n;
        return n;
    }

    // Calls f(corner) for every corner naming v, newest first.
    template <class F>
    void forEachNewestFirst(std::size_t v, F &&f) const {
        for (std::uint32_t c = head(v); c != kNone; c = m_previous[c]) f(std::size_t(c));
    }

private:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    std::uint32_t head(std::size_t v) const;
    std::uint32_t &headSlot(std::size_t v);
    // Grows the head array to cover index v, taking over the mapped heads it then covers.
    void growHeads(std::size_t v);

    BlockStore<std::uint32_t> m_previous;         // per corner: previous corner of its vertex
    std::vector<std::uint32_t> m_heads;           // per vertex below its size: newest corner
    std::map<std::size_t, std::uint32_t> m_far;   // heads of vertices at or past m_heads.size()
    std::size_t m_largest = 0;                    // largest vertex index appended
};

} // namespace topology
} // namespace ORVANE_DATABASE
