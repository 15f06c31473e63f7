#pragma once
// Polyline: an ordered run of point pointers, the form in which contours leave the library.
// A closed contour is one whose last point repeats the first point's coordinates; the PLC
// itself records no closedness and makes no duplicate or collinearity test.
#include "BoundingBox3D.h"
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"

#include <cstddef>
#include <vector>

namespace ORVANE_DATABASE {

// Ownership: a PLC owns neither its point list nor the points in it. The constructor creates
// the list, but the destructor releases neither; whoever holds the PLC (for contours the
// library delivers, the caller who received them) deletes the points, then the list
// (pointList()), then the PLC. Name "PLC_<id>", colour (0, 0, 0, 255).
class ORVANE_API PLC : public Entity {
public:
    PLC();
    // The entity part is copied by Entity's copy rule (own name, box and empty sub-entity
    // set; same identifier). The point-list pointer is copied as it stands: copy and source
    // share one list, so a point added through either is seen by both, and neither releases it.
    PLC(PLC const &other);
    PLC &operator=(PLC const &other);
    // Destroys the entity part only; the list and its points stay valid for their holder.
    ~PLC() override;

    // Appends p (not null; the pointer, not a copy), grows the box by it and returns the
    // number of points in the list afterwards (1 for the first point).
    std::size_t addPoint(Point3D *p) {
        m_points->push_back(p);
        box().add(*p);
        return m_points->size();
    }
    // The list itself, writable. Points changed or inserted through it do not update the box.
    std::vector<Point3D *> *pointList() const { return m_points; }

    _EntityType entityType() override;
    void generateEntityName() override;

private:
    std::vector<Point3D *> *m_points;   // never null; not owned (see above)
};

} // namespace ORVANE_DATABASE
