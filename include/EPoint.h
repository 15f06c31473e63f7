#pragma once
// An entity standing for a single point. Name "Point_<id>", entity default colour.
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"

namespace ORVANE_DATABASE {

// Ownership: the entity owns its current point and deletes it on destruction. setPoint takes
// over the new point and gives up the previous one WITHOUT deleting it: the caller that
// replaces a point releases the previous one (read it with point() first), including the
// (0, 0, 0) point that the constructor created.
class ORVANE_API EPoint : public Entity {
public:
    // A new point (0, 0, 0); the box stays empty (the initial point is not added to it).
    EPoint();
    // Copies hold their own point, a new object with the source's coordinates; the entity part
    // follows Entity's copy rule. Assignment copies the coordinates into this entity's own
    // point. Self-assignment is a no-op.
    EPoint(EPoint const &other);
    EPoint &operator=(EPoint const &other);
    // Deletes the current point.
    ~EPoint() override;

    // Takes over p (from new, not null) as the current point and grows the box by it; the box
    // never shrinks. The previous point is handed back to the caller (see above).
    void setPoint(Point3D *p);
    Point3D *point() { return m_point; }

    _EntityType entityType() override;
    void generateEntityName() override;

private:
    Point3D *m_point;   // owned, never null
};

} // namespace ORVANE_DATABASE
