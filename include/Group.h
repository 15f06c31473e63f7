#pragma once
// An entity that collects other entities as its sub-entities (addSubEntity /
// removeSubEntity of Entity), tagged with a group type that the library stores but never
// interprets. Name "Group_<id>", colour (0, 0, 0, 255).
#include "Entity.h"
#include "OrvaneExport.h"

namespace ORVANE_DATABASE {

class ORVANE_API Group : public Entity {
public:
    // Kinds a host may tag a group with; the library only stores and returns the value.
    enum _GroupType {
        GT_GENERIC = 0,    // no particular meaning
        GT_ASSEMBLY = 1,   // parts that belong together
        GT_LAYER = 2,      // contours or parts of one layer
        GT_SELECTION = 3   // a host-side selection
    };

    explicit Group(_GroupType type);
    // Copies follow Entity's copy rule (the copy starts without sub-entities) and take the
    // group type; self-assignment is a no-op.
    Group(Group const &other);
    Group &operator=(Group const &other);
    // Destroys the sub-entities with the entity part.
    ~Group() override;

    _GroupType groupType() { return m_type; }
    _EntityType entityType() override;
    void generateEntityName() override;

private:
    _GroupType m_type;
};

} // namespace ORVANE_DATABASE
