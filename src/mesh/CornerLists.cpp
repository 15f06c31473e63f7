// Linked corner lists of a mesh's vertices (see CornerLists.h).
#include "mesh/CornerLists.h"

#include <algorithm>
#include <stdexcept>

namespace ORVANE_DATABASE {
namespace topology {

namespace {

// The head array reaches up to the vertex count plus twice the corner count plus this much:
// every index of a mesh whose corners name its vertices fits, even when triangles come
// before their vertices, while a single odd index cannot size the array.
constexpr std::size_t kHeadMargin = 4096;

} // namespace

std::uint32_t CornerLists::head(std::size_t v) const {
    if (v < m_heads.size()) return m_heads[v];
    if (m_far.empty()) return kNone;
    auto const found = m_far.find(v);
    return found == m_far.end() ? kNone : found->second;
}

std::uint32_t &CornerLists::headSlot(std::size_t v) {
    if (v < m_heads.size()) return m_heads[v];
    return m_far.find(v)->second;   // made by reserve()
}

void CornerLists::reserve(std::size_t const v[3], std::size_t vertexCount) {
    std::size_t const corners = m_previous.size() + 3;
    if (corners > kMaxCorners) throw std::length_error("Triangulation: too many triangles");
    m_previous.reserve(3);
    std::size_t const reach = vertexCount + 2 * corners + kHeadMargin;
    for (int k = 0; k < 3; ++k) {
        if (v[k] < m_heads.size()) continue;
        if (v[k] < reach)
            growHeads(v[k]);
        else
            m_far.emplace(v[k], kNone);   // an empty list: nothing observable changes
    }
}

void CornerLists::growHeads(std::size_t v) {
    // Growing by half keeps the copies amortised and the unused tail small.
    if (m_heads.capacity() <= v) m_heads.reserve(std::max(v + 1, m_heads.capacity() + m_heads.capacity() / 2));
    m_heads.resize(v + 1, kNone);
    // Every mapped head lies at or past the old size; those now covered move into the array.
    auto entry = m_far.begin();
    while (entry != m_far.end() && entry->first <= v) {
        m_heads[entry->first] = entry->second;
        entry = m_far.erase(entry);
    }
}

void CornerLists::append(std::size_t const v[3]) noexcept {
    std::size_t const top = std::max({v[0], v[1], v[2]});
    if (m_previous.size() == 0 || top > m_largest) m_largest = top;
    for (int k = 0; k < 3; ++k) {
        std::uint32_t &head = headSlot(v[k]);
        std::uint32_t const corner = static_cast<std::uint32_t>(m_previous.size());
        m_previous.emplace_back(head);   // within the room reserve() made
        head = corner;
    }
}

} // namespace topology
} // namespace ORVANE_DATABASE
