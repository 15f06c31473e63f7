#pragma once
// Vertex: a mesh corner, holding the position it owns. A Triangulation lists vertices by
// pointer and never owns them; whoever creates a Vertex deletes it, which deletes its point.
#include "OrvaneExport.h"
#include "Point3D.h"

namespace ORVANE_DATABASE {

class ORVANE_API Vertex {
public:
    // Takes ownership of `point` (deleted by the destructor). Null is allowed and stays null.
    explicit Vertex(Point3D *point) : m_point(point) {}
    ~Vertex() { delete m_point; }

    // A copy would name the same point and both destructors would delete it, so vertices
    // are not copy-constructed.
    Vertex(Vertex const &) = delete;

    // Makes this vertex name the source's point: both vertices then share one point, which
    // only one of them may still own when it is destroyed. The point this vertex named before
    // is not deleted; it stays with whoever else owns it. Assigning a null vertex detaches a
    // vertex from a point it shares without owning it (a face mesh's vertex shares the source
    // mesh's point): `*v = Vertex(nullptr); delete v;` releases v and leaves the point alone.
    Vertex &operator=(Vertex const &other) {
        m_point = other.m_point;
        return *this;
    }

    Point3D *point() { return m_point; }

private:
    Point3D *m_point;
};

} // namespace ORVANE_DATABASE
