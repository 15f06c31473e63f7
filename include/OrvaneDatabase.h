#pragma once
// The container in which a host keeps its top-level entities, and the library's tolerant
// order of points (LessThan) by which the mesh builders merge points into shared vertices.
#include "Entity.h"
#include "OrvaneExport.h"
#include "Point3D.h"

#include <cmath>
#include <memory>
#include <set>

namespace ORVANE_DATABASE {

class ORVANE_API OrvaneDatabase {
public:
    // Lexicographic order of points by (x, y, z) in which coordinates closer than 1e-9 count
    // as equal, so a std::map<Point3D*, V, LessThan> finds an earlier point that a new one
    // repeats within 1e-9. The dead band is fixed, independent of any Tolerance. Points spaced
    // more finely than 1e-9 along a chain make the equivalence non-transitive.
    // It carries the member types of the standard binary-predicate adaptor instead of
    // deriving from it (std::binary_function is gone from C++17); they name Point3D, as the
    // adaptor's arguments did.
    class LessThan {
    public:
        typedef Point3D first_argument_type;
        typedef Point3D second_argument_type;
        typedef bool result_type;

        LessThan() = default;
        LessThan(LessThan const &) = default;
        LessThan &operator=(LessThan const &) = default;   // stateless: nothing to copy

        // True when a comes before b. Both must be non-null.
        bool operator()(Point3D const *a, Point3D const *b) const {
            const double eps = 1e-9;
            if (b->x() - eps > a->x()) return true;
            if (std::fabs(a->x() - b->x()) >= eps) return false;
            if (b->y() - eps > a->y()) return true;
            if (std::fabs(a->y() - b->y()) >= eps) return false;
            return b->z() - eps > a->z();
        }
    };

    // An empty database.
    OrvaneDatabase();
    // Copy and assignment make both databases share one entity set: an entity added or
    // removed through either is seen by the other. The set lives until the last database
    // sharing it is destroyed (so it is released exactly once); the set this database held
    // before an assignment is released when no other database shares it, without destroying
    // its entities (as the destructor does).
    OrvaneDatabase(OrvaneDatabase const &other);
    OrvaneDatabase &operator=(OrvaneDatabase const &other);
    // Releases the set only: the entities in it are not destroyed (call removeAllEntity first
    // to release them).
    ~OrvaneDatabase();

    // Takes over a top-level entity (one without a parent). A null pointer is ignored; an
    // entity already present is kept once.
    void addEntity(Entity *entity);
    // Destroys entity: a sub-entity through its parent's removeSubEntity (this database's set
    // is then untouched), a top-level entity after erasing it from the set.
    void removeEntity(Entity *entity);
    // Destroys every entity of the set (with their sub-entities) in ascending pointer order,
    // then empties the set. The database stays usable.
    void removeAllEntity();
    std::set<Entity *> const *entities() { return m_entities.get(); }

private:
    std::shared_ptr<std::set<Entity *>> m_entities;   // never null
};

} // namespace ORVANE_DATABASE
