#pragma once
// Mesh output of the orvane tool through Assimp's exporter: binary STL, OBJ (no material
// file), binary PLY. A mesh is written as one or more named parts (the faces of a
// segmentation); OBJ gives each part its own group, PLY its own vertex colour, STL merges them.
#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace orvane {

class OwnedMesh;

struct MeshPart {
    std::string name;
    std::vector<std::array<double, 3>> points;
    std::vector<std::array<std::size_t, 3>> triangles;   // indices into points
    std::array<float, 4> colour{{0.7f, 0.7f, 0.7f, 1.0f}};
};

// Mesh file types the tool writes, by extension: "stl", "obj", "ply".
bool isMeshOutput(std::string const &extension);

// The vertices and triangles of an owned mesh as one part (triangles that repeat a vertex are
// dropped when `dropDegenerate`).
MeshPart partOf(OwnedMesh &mesh, std::string const &name, bool dropDegenerate);

// Writes the parts to `path` (the type by its extension) through a temporary file renamed
// into place. Throws UsageError for an unsupported extension and std::runtime_error when
// the exporter fails.
void writeMesh(std::string const &path, std::vector<MeshPart> const &parts);

// A distinct, well-separated colour for part number `index` (golden-angle hues).
std::array<float, 4> partColour(std::size_t index);

}  // namespace orvane
