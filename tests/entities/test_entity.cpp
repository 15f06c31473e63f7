// Entity base, Group, EPoint and PLC: identity, naming, colours, boxes, and above all who
// releases what (hierarchies, copies, lists that outlive their polyline).
#include "EPoint.h"
#include "Entity.h"
#include "Group.h"
#include "PLC.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace ORVANE_DATABASE;

namespace {

// Counts live instances, so that a test sees every descendant released exactly once.
struct Counted : Entity {
    static int alive;
    explicit Counted(Point3D const &corner) {
        ++alive;
        box().add(corner);
    }
    ~Counted() override { --alive; }
};
int Counted::alive = 0;

std::vector<int> colour(Entity &e) { return std::vector<int>(e.color(), e.color() + 4); }
std::string named(char const *prefix, Entity &e) { return prefix + std::to_string(e.getID()); }
bool sameBox(Entity &e, Point3D const &lo, Point3D const &hi) {
    return e.getBoundingBox()->isEqual(BoundingBox3D(lo, hi), Tolerance());
}

} // namespace

TEST(Entity, IdentifiersNamesColoursAcrossClasses) {
    Entity e;
    PLC plc;
    Group group(Group::GT_LAYER);
    EPoint point;
    // One process-wide counter for every class; it need not start fresh in this test.
    EXPECT_TRUE(plc.getID() == e.getID() + 1 && point.getID() == e.getID() + 3);
    EXPECT_TRUE(e.getName() == named("Entity_", e) && plc.getName() == named("PLC_", plc) &&
                group.getName() == named("Group_", group) && point.getName() == named("Point_", point));
    EXPECT_EQ(colour(e), (std::vector<int>{127, 127, 127, 255}));
    EXPECT_EQ(colour(group), (std::vector<int>{0, 0, 0, 255}));

    e.setReadOnly(true);
    e.setColor(1, 2, 3, 4);
    EXPECT_EQ(colour(e), (std::vector<int>{127, 127, 127, 255}));
    e.setName("renamed");   // names are not read-only
    EXPECT_EQ(e.getName(), "renamed");

    Entity child(&e);   // a parent link only: the parent's set stays empty
    EXPECT_TRUE(e.subEntities()->empty());
    delete plc.pointList();   // the holder of a PLC releases its list
}

TEST(Entity, HierarchyOwnsAndReleasesRecursively) {
    Counted::alive = 0;
    {
        Group root(Group::GT_ASSEMBLY);
        Group *inner = new Group(Group::GT_GENERIC);
        Counted *a = new Counted(Point3D(1, 2, 3));
        inner->addSubEntity(new Counted(Point3D(-1, 0, 0)));
        inner->addSubEntity(new Counted(Point3D(0, 0, 7)));
        root.addSubEntity(inner);
        root.addSubEntity(a);
        root.addSubEntity(a);   // kept once
        root.addSubEntity(new Counted(Point3D(0, 5, 0)));
        EXPECT_EQ(root.subEntities()->size(), 3u);
        EXPECT_TRUE(sameBox(root, Point3D(-1, 0, 0), Point3D(1, 5, 7)));
        root.removeSubEntity(a);   // the box keeps covering it
        EXPECT_TRUE(sameBox(root, Point3D(-1, 0, 0), Point3D(1, 5, 7)));
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Entity, CopiesOwnTheirStorageAndMatchTheirSource) {
    Counted::alive = 0;
    Group *parent = new Group(Group::GT_GENERIC);
    Group *source = new Group(Group::GT_SELECTION);
    parent->addSubEntity(source);
    source->addSubEntity(new Counted(Point3D(4, 5, 6)));
    source->setColor(9, 8, 7, 6);
    source->setReadOnly(true);
    source->setName("keep");
    auto sameAsSource = [&](Group &copy) {
        EXPECT_EQ(copy.getID(), source->getID());
        EXPECT_EQ(copy.getName(), "keep");
        EXPECT_EQ(colour(copy), (std::vector<int>{9, 8, 7, 6}));
        EXPECT_TRUE(copy.isAttributeReadOnly());
        EXPECT_EQ(copy.parent(), parent);
        EXPECT_EQ(copy.groupType(), Group::GT_SELECTION);
        EXPECT_TRUE(sameBox(copy, Point3D(4, 5, 6), Point3D(4, 5, 6)));
    };
    Group *copy = new Group(*source);
    sameAsSource(*copy);   // children have one owner: see the counts below
    Group assigned(Group::GT_GENERIC);
    Entity *own = new Counted(Point3D());
    assigned.addSubEntity(own);
    Group &alias = assigned;
    assigned = alias;
    assigned = *source;
    sameAsSource(assigned);
    EXPECT_EQ(assigned.subEntities()->size(), 1u);   // keeps its own child, takes none
    EXPECT_EQ(own->parent(), &assigned);

    delete parent;   // source and its child first, the copy after: nothing released twice
    EXPECT_EQ(Counted::alive, 1);
    delete copy;
}

TEST(EPoint, OwnsItsPointAndHandsBackTheReplacedOne) {
    EPoint e;
    std::unique_ptr<Point3D> initial(e.point());   // setPoint does not delete it
    e.setPoint(new Point3D(1, 2, 3));
    EXPECT_TRUE(sameBox(e, Point3D(1, 2, 3), Point3D(1, 2, 3)));
    std::unique_ptr<Point3D> second(e.point());
    e.setPoint(new Point3D(-1, 0, 5));
    EXPECT_TRUE(sameBox(e, Point3D(-1, 0, 3), Point3D(1, 2, 5)));
    EPoint copy(e);   // its own point: both destructors delete one each
    EXPECT_NE(copy.point(), e.point());
    EXPECT_DOUBLE_EQ(copy.point()->z(), 5.0);
}

TEST(PLC, CountsGrowsAndSharesAListItDoesNotOwn) {
    Point3D a(0, 0, 0), b(1, 2, 3);
    std::vector<Point3D *> *list = nullptr;
    {
        PLC plc;
        EXPECT_EQ(plc.addPoint(&a), 1u);
        EXPECT_EQ(plc.addPoint(&b), 2u);
        EXPECT_EQ(plc.addPoint(&b), 3u);   // no duplicate test
        EXPECT_TRUE(sameBox(plc, a, b));
        list = plc.pointList();
        PLC copy(plc);
        copy.addPoint(&a);
        EXPECT_EQ(plc.pointList()->size(), 4u);   // one list for both
        PLC assigned;
        std::unique_ptr<std::vector<Point3D *>> ownList(assigned.pointList());
        assigned = copy;
        EXPECT_EQ(assigned.pointList(), list);
    }
    ASSERT_EQ(list->size(), 4u);   // outlives every PLC that held it
    EXPECT_EQ((*list)[3], &a);
    delete list;
}
