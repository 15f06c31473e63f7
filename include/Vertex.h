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

    // Makes this vertex name the source's point: both vertices then share one point. The
    // point this vertex owned before is deleted (it would otherwise be lost). Because both
    // destructors would delete the shared point, only one of the two may reach destruction;
    // assigning a vertex to itself changes nothing.
    Vertex &operator=(Vertex const &other) {
        if (other.m_point != m_point) {
            delete m_point;
            m_point = other.m_point;
        }
        return *this;
    }

    Point3D *point() { return m_point; }

private:
    Point3D *m_point;
};

} // namespace ORVANE_DATABASE
