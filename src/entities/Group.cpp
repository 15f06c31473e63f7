#include "Group.h"

#include <string>

namespace ORVANE_DATABASE {

Group::Group(_GroupType type) : Entity(nullptr), m_type(type) {
    setColor(0, 0, 0, 255);
    Group::generateEntityName();
}

Group::Group(Group const &other) : Entity(other), m_type(other.m_type) {}

Group &Group::operator=(Group const &other) {
    if (this == &other) return *this;
    Entity::operator=(other);
    m_type = other.m_type;
    return *this;
}

Group::~Group() = default;

Entity::_EntityType Group::entityType() { return ET_GROUP; }

void Group::generateEntityName() { setName("Group_" + std::to_string(getID())); }

} // namespace ORVANE_DATABASE
