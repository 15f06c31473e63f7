#pragma once
// Circle given by radius, centre, normal and segment count, turned at construction into a
// closed polygon of segment count + 1 point pointers (the last repeats the first object).
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

// Ownership: the circle takes over the centre and the normal it is given (both from new; a
// null centre is replaced by its own origin point, a null normal by its own (0, 0, 1)) and owns its list container. The points in the
// list are created by the circle but NOT owned by it: they outlive it, and whoever takes them
// from pointList() deletes them, the first object once although the list holds it twice.
//
// Placement: the circle lies in the plane through the centre with the given normal, and its
// middle is the centre. The in-plane axes are those of the plane's to-XY transformation
// (Plane::toXYTransformation of the normal, inverted): the first point lies on the image of the
// local x axis at distance radius from the centre, and the points run counter-clockwise seen
// from the tip of the normal. For a centre at the origin this is exactly the plane's inverse
// to-XY transform applied to the local points.
class ORVANE_API Circle : public Entity {
public:
    // Radius, centre, normal (any length), segment count N. Generates N points by
    // incremental rotation through the angle 6.2831852 / N, then repeats the first pointer.
    // N = 0 throws std::out_of_range; whatever the constructor had taken over (centre,
    // normal) is released before the exception leaves it.
    Circle(double radius, Point3D *center, Vector3D *normal, std::size_t noOfSeg);
    // Copies are deep for what the circle owns: new centre and normal with the same values
    // and a new list container holding the same point pointers (the points are never the
    // circle's to release). The entity part follows Entity's copy rule. Self-assignment is a
    // no-op.
    Circle(Circle const &other);
    Circle &operator=(Circle const &other);
    // Deletes the centre, the normal and the list container, not the points.
    ~Circle() override;

    double const &radius() const { return m_radius; }
    Point3D const *center() const { return m_center; }
    // The normal as given (not normalised).
    Vector3D const *normal() const { return m_normal; }
    std::size_t noOfSeg() const { return m_noOfSeg; }
    std::vector<Point3D *> *pointList() { return m_points; }

    _EntityType entityType() override;

private:
    void generateEntityName() override;
    // Fills the (empty) list as described at the constructor and grows the box by every
    // entry, the repeated first point included.
    void generatePoints();

    std::size_t m_noOfSeg;
    double m_radius;
    Point3D *m_center;                 // owned
    Vector3D *m_normal;                // owned
    std::vector<Point3D *> *m_points;  // container owned, points not
};

} // namespace ORVANE_DATABASE
