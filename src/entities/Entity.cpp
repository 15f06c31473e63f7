#include "Entity.h"

#include <memory>
#include <utility>

namespace ORVANE_DATABASE {

unsigned long long Entity::sID = 1;

Entity::Entity(Entity *parent)
    : m_id(0),
      m_parent(parent),
      m_name(nullptr),
      m_color{127, 127, 127, 255},
      m_box(nullptr),
      m_subEntities(nullptr),
      m_readOnly(false) {
    // unique_ptr guards keep a failed allocation from leaking what came before it.
    std::unique_ptr<BoundingBox3D> box(new BoundingBox3D());
    std::unique_ptr<std::set<Entity *>> subs(new std::set<Entity *>());
    std::unique_ptr<std::string> name(new std::string());
    m_box = box.release();
    m_subEntities = subs.release();
    m_name = name.release();
    m_id = sID++;
    Entity::generateEntityName();
}

Entity::Entity(Entity const &other)
    : m_id(other.m_id),
      m_parent(other.m_parent),
      m_name(nullptr),
      m_color{other.m_color[0], other.m_color[1], other.m_color[2], other.m_color[3]},
      m_box(nullptr),
      m_subEntities(nullptr),
      m_readOnly(other.m_readOnly) {
    std::unique_ptr<BoundingBox3D> box(new BoundingBox3D(*other.m_box));
    std::unique_ptr<std::set<Entity *>> subs(new std::set<Entity *>());
    std::unique_ptr<std::string> name(new std::string(*other.m_name));
    m_box = box.release();
    m_subEntities = subs.release();
    m_name = name.release();
}

Entity &Entity::operator=(Entity const &other) {
    if (this == &other) return *this;
    m_id = other.m_id;
    m_parent = other.m_parent;
    *m_name = *other.m_name;
    for (int c = 0; c < 4; ++c) m_color[c] = other.m_color[c];
    *m_box = *other.m_box;
    m_readOnly = other.m_readOnly;
    return *this;
}

Entity::~Entity() {
    // Children go first, in the set's (ascending pointer) order; each releases its own.
    for (Entity *child : *m_subEntities) delete child;
    m_subEntities->clear();
    delete m_subEntities;
    delete m_name;
    delete m_box;
}

void Entity::setName(std::string name) { *m_name = std::move(name); }

void Entity::setColor(int r, int g, int b, int a) {
    if (m_readOnly) return;
    m_color[0] = r;
    m_color[1] = g;
    m_color[2] = b;
    m_color[3] = a;
}

void Entity::addSubEntity(Entity *child) {
    m_subEntities->insert(child);
    *m_box += *child->getBoundingBox();
    child->m_parent = this;
}

void Entity::removeSubEntity(Entity *child) {
    m_subEntities->erase(child);
    child->m_parent = nullptr;
    delete child;
}

BoundingBox3D const *Entity::getBoundingBox() { return m_box; }

Entity::_EntityType Entity::entityType() { return ET_ENTITY; }

void Entity::generateEntityName() { *m_name = "Entity_" + std::to_string(m_id); }

} // namespace ORVANE_DATABASE
