#include "OrvaneDatabase.h"

#include <utility>

namespace ORVANE_DATABASE {

OrvaneDatabase::OrvaneDatabase() : m_entities(std::make_shared<std::set<Entity *>>()) {}

OrvaneDatabase::OrvaneDatabase(OrvaneDatabase const &other) = default;

OrvaneDatabase &OrvaneDatabase::operator=(OrvaneDatabase const &other) = default;

OrvaneDatabase::~OrvaneDatabase() = default;

void OrvaneDatabase::addEntity(Entity *entity) {
    if (entity != nullptr) m_entities->insert(entity);
}

void OrvaneDatabase::removeEntity(Entity *entity) {
    if (Entity *parent = entity->parent()) {
        parent->removeSubEntity(entity);
        return;
    }
    m_entities->erase(entity);
    delete entity;
}

void OrvaneDatabase::removeAllEntity() {
    // Taken out of the set first, so the set is already empty (and consistent) while the
    // entities are being destroyed.
    std::set<Entity *> held;
    held.swap(*m_entities);
    for (Entity *entity : held) delete entity;
}

} // namespace ORVANE_DATABASE
