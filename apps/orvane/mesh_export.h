#pragma once
// Mesh output of the orvane tool: binary STL, OBJ and binary PLY, written directly (no
// exporter in between), so that what the file holds is exactly the triangles given: every
// STL facet carries the normal of its own corner order (a true facet normal, never one
// averaged over a vertex's neighbours), OBJ and PLY carry no normals at all, and a
// triangle's corner order is its winding. A mesh is written as one or more named parts (the
// faces of a segmentation): OBJ gives each part its own object, PLY its own vertex colour
// when there are several, STL merges them.
#include "model_io.h"
#include "surface_orientation.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace orvane {

class AtomicFile;

struct MeshPart {
    std::string name;
    ModelData mesh;   // vertices and triangles (three vertex indices each)
    std::array<float, 4> colour{{0.7f, 0.7f, 0.7f, 1.0f}};
};

// Mesh file types the tool writes, by extension: "stl", "obj", "ply".
bool isMeshOutput(std::string const &extension);

// The vertices and triangles of an owned mesh as one part (triangles that repeat a vertex are
// dropped when `dropDegenerate`).
MeshPart partOf(OwnedMesh &mesh, std::string const &name, bool dropDegenerate);

// Writes the parts to `file`, in the type its target's extension names. Throws UsageError for
// an extension other than stl, obj and ply, and std::runtime_error when writing fails.
void writeMesh(AtomicFile &file, std::vector<MeshPart> const &parts);

// A distinct, well-separated colour for part number `index` (golden-angle hues).
std::array<float, 4> partColour(std::size_t index);

}  // namespace orvane
