#include "EPoint.h"

#include <string>

namespace ORVANE_DATABASE {

EPoint::EPoint() : Entity(nullptr), m_point(nullptr) {
    EPoint::generateEntityName();
    m_point = new Point3D(0.0, 0.0, 0.0);   // last: nothing after it can throw and lose it
}

EPoint::EPoint(EPoint const &other) : Entity(other), m_point(new Point3D(*other.m_point)) {}

EPoint &EPoint::operator=(EPoint const &other) {
    if (this == &other) return *this;
    Entity::operator=(other);
    *m_point = *other.m_point;
    return *this;
}

EPoint::~EPoint() { delete m_point; }

void EPoint::setPoint(Point3D *p) {
    m_point = p;
    box().add(*p);
}

Entity::_EntityType EPoint::entityType() { return ET_POINT; }

void EPoint::generateEntityName() { setName("Point_" + std::to_string(getID())); }

} // namespace ORVANE_DATABASE
