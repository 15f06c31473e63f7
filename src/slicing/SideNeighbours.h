#pragma once
// Which triangle lies across each side of each triangle, from the corner indices alone.
//
// Side s of a triangle joins its corners s and s + 1 (mod 3). Two sides are neighbours when
// they join the same two vertices (in either order) and no third side does: the sides of an
// edge shared by exactly two triangles. Sides of border edges, of edges shared by three or
// more triangles (non-manifold edges, duplicated faces) and sides whose two corners are the
// same vertex have none. The slicer uses this to pair the cuts of one plane that pass through
// the same mesh edge.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

constexpr std::uint32_t kNoNeighbour = 0xFFFFFFFFu;

// `corners`: 3 vertex indices per triangle, each below `vertices`. `neighbour` receives
// 3 entries per triangle: 3 t' + s' for the side s' of triangle t' across side s of triangle t,
// or kNoNeighbour. Linear time: sides are bucketed by their lower vertex.
void findSideNeighbours(std::vector<std::uint32_t> const &corners, std::size_t vertices,
                        std::vector<std::uint32_t> &neighbour);

}  // namespace slicing
}  // namespace ORVANE_DATABASE
