#pragma once
// Face meshes: a new Triangulation per face over the source mesh's own points.
//
// A face mesh has one new Triangle per source triangle of the face, in the given order and
// with its corner order, over new Vertex objects that refer to the source's Point3D objects:
// one per point class of OrvaneDatabase::LessThan (1e-9) among the corners, in order of first
// appearance, each referring to the point of that first corner. Every corner index must name
// a source vertex (checked by the caller).
#include "segmentation/PointClasses.h"

#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {

class CornerPoints;
class Point3D;
class Triangle;
class Triangulation;
class Vertex;

// The face mesh made the literal way: a std::map<Point3D*, int, LessThan> from point to
// face-mesh vertex, searched for every corner. The reference for FaceMeshBuilder, and its
// fallback where LessThan is not a strict weak order.
void buildFaceMeshWithMap(std::vector<Vertex *> const &sourceVertices,
                          std::vector<Triangle *> const &face, Triangulation &mesh);

// Builds the face meshes of one source mesh with the same result as buildFaceMeshWithMap,
// from the point classes of the whole mesh (PointClasses): a corner's vertex is found by two
// array lookups, source vertex -> its point and class, class -> the vertex made for it in the
// current face (with a per-face stamp, so nothing is cleared between faces). A face with a
// corner whose class is unsure is built with the map. Memory: 24 bytes per source vertex.
class FaceMeshBuilder {
public:
    // `points`: the corner points of the source triangles that faces will be made of (every
    // corner naming a vertex).
    FaceMeshBuilder(std::vector<Vertex *> const &sourceVertices, CornerPoints const &points);

    // Fills `mesh` (new, empty) with the face made of `face`, in that order.
    void build(std::vector<Triangle *> const &face, Triangulation &mesh);

private:
    struct Corner {
        Point3D *point = nullptr;
        PointClasses::Class cls = PointClasses::kUnused;
    };
    struct ClassSlot {
        std::uint32_t face = 0;    // the face that last used the class
        std::uint32_t index = 0;   // its vertex in that face's mesh
    };

    std::vector<Vertex *> const &m_vertices;
    std::vector<Corner> m_corner;     // per source vertex
    std::vector<ClassSlot> m_class;   // per class
    bool m_anyUnsure = false;
    std::uint32_t m_face = 0;
};

}  // namespace ORVANE_DATABASE
