#pragma once
// Base of every object the library keeps in its database or hands to a host: a process-wide
// identifier, a generated name, a colour, an axis-aligned box, a read-only flag and a place in
// a parent/child hierarchy in which a parent owns its children.
#include "BoundingBox3D.h"
#include "OrvaneExport.h"

#include <set>
#include <string>

namespace ORVANE_DATABASE {

class ORVANE_API Entity {
public:
    // The kind of an entity, as each class's entityType() reports it.
    enum _EntityType {
        ET_TRIANGULATION = 0,
        ET_PLC = 1,
        ET_POINT = 2,
        ET_CIRCLE = 3,
        ET_ELLIPSE = 4,
        ET_GROUP = 5,
        ET_GRID = 6,
        ET_ENTITY = 7
    };

    // Takes the next identifier from sID, names the entity "Entity_<id>", colour
    // (127, 127, 127, 255), empty box, no sub-entities. The parent link is only a link: the
    // new entity is not inserted into the parent's sub-entity set.
    explicit Entity(Entity *parent = nullptr);

    // Copies. Children have exactly one owner, and name, box and set are released by every
    // destructor, so copies never share storage with their source:
    // - the copy constructor keeps the source's identifier (sID is not touched) and copies
    //   the name text, colour, box, parent link and read-only flag into storage of its own;
    //   the copy starts with an empty sub-entity set (the source's children stay the source's);
    // - assignment copies the same attributes, identifier included, into this entity's own
    //   storage and leaves this entity's sub-entities (and their ownership) as they were.
    // Right after copying, identifier, name, colour, box, parent and read-only flag read the
    // same as the source's. Self-assignment changes nothing.
    Entity(Entity const &other);
    Entity &operator=(Entity const &other);

    // Returns the identifier; never changes after construction. (Returned as a plain value: a
    // const-qualified scalar return type carries no meaning.)
    unsigned long long getID() { return m_id; }
    // A copy of the name.
    std::string const getName() { return *m_name; }
    // Replaces the name text; allowed on read-only entities too.
    void setName(std::string name);
    // The four colour components in the order of setColor's arguments.
    int const *color() { return m_color; }
    // Stores the colour unless the entity is read-only, in which case nothing changes.
    void setColor(int r, int g, int b, int a);
    bool isAttributeReadOnly() { return m_readOnly; }
    void setReadOnly(bool readOnly) { m_readOnly = readOnly; }
    Entity *parent() { return m_parent; }
    std::set<Entity *> const *subEntities() { return m_subEntities; }

    // Hands child (not null) over to this entity: inserts it into the set (once), grows this
    // entity's box by the child's box even when the child was already present, and makes
    // this entity the child's parent. A child still listed by another parent stays listed
    // there; the caller must not leave it in two sets.
    void addSubEntity(Entity *child);
    // Takes child (one of this entity's sub-entities) out of the set, clears its parent link
    // and destroys it. The box is not recomputed: it keeps covering the removed child.
    void removeSubEntity(Entity *child);

    // Virtual operations, in this order for every entity class: getBoundingBox,
    // entityType, generateEntityName, then the destructor.
    virtual BoundingBox3D const *getBoundingBox();
    virtual _EntityType entityType();

protected:
    // Sets the name to the class prefix followed by the identifier in decimal.
    virtual void generateEntityName();

public:
    // Destroys every sub-entity in ascending pointer order (recursively), then releases the
    // set, the name and the box. The entity does not take itself out of its parent's set.
    virtual ~Entity();

protected:
    // The entity's own box, writable, for the classes that grow it as geometry is added.
    BoundingBox3D &box() { return *m_box; }

    // Next identifier to hand out; shared by every entity class, starts at 1, never reused.
    // Not atomic: entities are created from one thread at a time.
    static unsigned long long sID;

private:
    unsigned long long m_id;
    Entity *m_parent;                    // not owned
    std::string *m_name;                 // owned, never null
    int m_color[4];
    BoundingBox3D *m_box;                // owned, never null
    std::set<Entity *> *m_subEntities;   // owned, and so is every entity in it
    bool m_readOnly;
};

} // namespace ORVANE_DATABASE
