#include "PLC.h"

#include <string>

namespace ORVANE_DATABASE {

PLC::PLC() : Entity(nullptr), m_points(nullptr) {
    setColor(0, 0, 0, 255);
    PLC::generateEntityName();
    m_points = new std::vector<Point3D *>();   // last: nothing after it can throw and lose it
}

PLC::PLC(PLC const &other) : Entity(other), m_points(other.m_points) {}

PLC &PLC::operator=(PLC const &other) {
    if (this == &other) return *this;
    Entity::operator=(other);
    m_points = other.m_points;
    return *this;
}

// The list and its points belong to whoever holds the PLC.
PLC::~PLC() = default;

Entity::_EntityType PLC::entityType() { return ET_PLC; }

void PLC::generateEntityName() { setName("PLC_" + std::to_string(getID())); }

} // namespace ORVANE_DATABASE
