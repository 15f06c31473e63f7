#pragma once
// Ellipse given by centre, semi-axes, normal, major-axis direction and segment count, turned
// at construction into a closed polygon of segment count + 1 point pointers (the last repeats
// the first object).
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

// Ownership: the ellipse takes over the centre, the normal and the major-axis direction it is
// given (all from new; a null centre is replaced by its own origin point, a null normal by its
// own (0, 0, 1), a null major-axis direction by its own (1, 0, 0)) and owns its list container. The points in the list are
// created by the ellipse but NOT owned by it: they outlive it, and whoever takes them from
// pointList() deletes them, the first object once although the list holds it twice.
//
// Points are generated only when the major-axis direction is exactly perpendicular to the
// normal (their dot product, as stored, is exactly 0); otherwise the list and the box stay
// empty and nothing is reported.
//
// Placement: the ellipse lies in the plane through the centre with the given normal, and its
// middle is the centre. Its major axis (semi-axis majorAxis) lies along the given major-axis
// direction, and the points run counter-clockwise seen from the tip of the normal, starting at
// centre + majorAxis * direction. The frame is the plane's to-XY transformation
// (Plane::toXYTransformation, inverted) turned about the normal until its local x axis meets
// the major-axis direction; for a zero major-axis direction (perpendicular to everything) the
// local x axis itself is used.
class ORVANE_API Ellipse : public Entity {
public:
    // Centre, major and minor semi-axis, normal, major-axis direction, segment count N.
    // Generates N points (a cos(j t), b sin(j t)) in the frame above with t = 6.2831852 / N,
    // then repeats the first pointer. N = 0 (with the perpendicularity test passed) throws
    // std::out_of_range; whatever the constructor had taken over is released first.
    Ellipse(Point3D *center, double majorAxis, double minorAxis, Vector3D *normal,
            Vector3D *mjNormal, std::size_t noOfSeg);
    // Copies are deep for what the ellipse owns: new centre and vectors with the same values
    // and a new list container holding the same point pointers (the points are never the
    // ellipse's to release). The entity part follows Entity's copy rule. Self-assignment is a
    // no-op.
    Ellipse(Ellipse const &other);
    Ellipse &operator=(Ellipse const &other);
    // Deletes the centre, both vectors and the list container, not the points.
    ~Ellipse() override;

    Point3D const *center() { return m_center; }
    // The normal and the major-axis direction as given (not normalised).
    Vector3D const *normal() { return m_normal; }
    Vector3D const *mjNormal() { return m_mjNormal; }
    double majorAxis() { return m_majorAxis; }
    double minorAxis() { return m_minorAxis; }
    std::size_t noOfSeg() const { return m_noOfSeg; }
    std::vector<Point3D *> *pointList() { return m_points; }

    _EntityType entityType() override;

private:
    void generateEntityName() override;
    // Fills the (empty) list as described above and grows the box by every entry, the
    // repeated first point included.
    void generatePoints();

    Point3D *m_center;                 // owned
    Vector3D *m_normal;                // owned
    double m_majorAxis;
    double m_minorAxis;
    Vector3D *m_mjNormal;              // owned
    std::size_t m_noOfSeg;
    std::vector<Point3D *> *m_points;  // container owned, points not
};

} // namespace ORVANE_DATABASE
