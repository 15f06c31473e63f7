#pragma once
// BSPTree: a binary space partition by the planes of a mesh's triangles (or of a caller's
// polygons), classifying points against the surface it was built from. For a closed mesh
// with outward triangles (counter-clockwise seen from outside) POS_ABOVE means outside,
// POS_BELOW inside and POS_ON on the surface.
//
// A tree is made only by create() and ended only by release(). It never changes in between,
// so any number of threads may query one tree at once.
//
// Depth: the tree may be as deep as its depth limit (7000 from Triangulation::BSP()); the
// build and the queries walk it with explicit stacks and the release walks the flat node
// array, so depth costs heap, never call stack.
#include "OrvaneExport.h"
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace ORVANE_DATABASE {

class Triangle;
class Triangulation;

class ORVANE_API BSPTree {
public:
    // One node: a splitting plane, the subtrees in front of it (positive side) and behind it,
    // and the mesh triangles of every polygon that ended in the plane (the splitter's, those
    // of degenerate polygons passed over while choosing it, and the coplanar ones).
    class ORVANE_API Node {
    public:
        Node() = default;
        // Releases the node's own coplanar list. The nodes of a tree live in one array that
        // the tree owns and releases as a whole; a node frees no other node.
        ~Node();
        Node(Node const &) = delete;
        Node &operator=(Node const &) = delete;

        // Null only when every polygon reaching the node was degenerate; such a node counts
        // as no node for the queries.
        Plane const *plane() const { return m_hasPlane ? &m_plane : nullptr; }
        Node const *front() const { return m_front; }
        Node const *back() const { return m_back; }
        // Pointers into the mesh, not owned; a cut triangle can appear in several nodes.
        std::list<Triangle *> const &coplanarTriangles() const { return m_coplanar; }

    private:
        friend class BSPTree;
        friend class BSPBuilder;
        Plane m_plane;
        bool m_hasPlane = false;
        Node const *m_front = nullptr;   // elements of the same node array
        Node const *m_back = nullptr;
        std::list<Triangle *> m_coplanar;
    };

    // A polygon to partition: its corners in order and the mesh triangles it stands for.
    // The pieces of a cut polygon both inherit its whole triangle list.
    class ORVANE_API Polygon {
    public:
        std::list<Point3D> points;
        std::list<Triangle *> sourceTriangles;
    };

    // Builds a tree over `mesh` (not null), one polygon per triangle in triangle-list order.
    //   error      cleared on entry; "BSP Build Fail Due To high No. Of Triangles " when the
    //              tree would need more than `depthLimit` levels (then the result is null)
    //   tol        classifies polygons against planes; copied into the tree for the queries
    //   depthLimit most node levels allowed; 0 always fails
    //   secondCount carried for compatibility; it cannot change the tree (the degeneracy test
    //              of a polygon's plane always runs at 1e-13), so it is not read
    // Returns the new tree (caller releases it) or null. A triangle naming a vertex outside
    // the mesh's vertex list throws std::out_of_range and builds nothing.
    // A mesh without triangles gives a tree without root, answering POS_NONE to every query.
    static BSPTree *create(Triangulation const *mesh, std::string &error, Tolerance const &tol,
                           std::size_t depthLimit, std::size_t secondCount);
    // The same over a copy of the caller's polygon list (which is not modified); the tree
    // keeps no mesh. An empty list gives a tree without root, as above.
    static BSPTree *create(std::list<BSPTree::Polygon> const &polygons, std::string &error,
                           Tolerance const &tol, std::size_t depthLimit,
                           std::size_t secondCount);

    // Frees the nodes, the tolerance copy and the tree object itself (never the triangles or
    // the mesh). The call needs a tree: C++ gives no meaning to a member call through a null
    // pointer, so a host holding a possibly null tree tests it first.
    void release();

    // Where q lies: POS_ABOVE / POS_BELOW on the side of the last plane met, POS_ON when q lies
    // in a node plane and that plane's two sides disagree, POS_NONE when the tree has no root
    // or its root has no plane.
    Plane::_Pos pointPosition(Point3D const &q) const;

    // Always the origin: no search is made.
    Point3D findClosestPoint(Point3D const &q) const;

private:
    friend class BSPTreeTestAccess;

    // Takes ownership of the node array whose first element, the root, is `root` (allocated
    // with new Node[]; null for a tree without root); keeps a heap copy of tol.
    BSPTree(BSPTree::Node *root, Tolerance const &tol, Triangulation const *mesh);
    ~BSPTree();
    BSPTree(BSPTree const &) = delete;
    BSPTree &operator=(BSPTree const &) = delete;

    [[maybe_unused]] Triangulation const *m_mesh;   // for reference only; never read
    // Every node of the tree, the root first, each subtree's nodes after its root, the front
    // subtree's before the back subtree's.
    std::unique_ptr<Node[]> m_nodes;
    std::unique_ptr<Tolerance> m_tolerance;
};

} // namespace ORVANE_DATABASE
