// OrvaneDatabase ownership (top-level entities, nested groups, shared sets) and the tolerant
// point order LessThan against a reference that quantises coordinates.
#include "Group.h"
#include "OrvaneDatabase.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

using namespace ORVANE_DATABASE;

namespace {
struct Counted : Entity {
    static int alive;
    Counted() { ++alive; }
    ~Counted() override { --alive; }
};
int Counted::alive = 0;
} // namespace

TEST(OrvaneDatabase, RemovesTopLevelAndNestedEntities) {
    Counted::alive = 0;
    OrvaneDatabase db;
    Group *outer = new Group(Group::GT_ASSEMBLY);
    Group *inner = new Group(Group::GT_LAYER);
    Counted *leaf = new Counted();
    inner->addSubEntity(leaf);
    inner->addSubEntity(new Counted());
    outer->addSubEntity(inner);
    outer->addSubEntity(new Counted());
    Counted *single = new Counted();
    db.addEntity(outer);
    db.addEntity(outer);
    db.addEntity(nullptr);
    db.addEntity(single);
    EXPECT_EQ(db.entities()->size(), 2u);
    db.removeEntity(leaf);   // through its parent; the database's set is untouched
    EXPECT_EQ(Counted::alive, 3);
    EXPECT_EQ(inner->subEntities()->size(), 1u);
    db.removeEntity(single);
    EXPECT_EQ(db.entities()->count(single), 0u);
    db.removeAllEntity();   // both groups and what they hold
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_TRUE(db.entities()->empty());
}

TEST(OrvaneDatabase, CopiesShareOneSetReleasedOnce) {
    Counted::alive = 0;
    OrvaneDatabase a;
    a.addEntity(new Counted());
    Counted *orphan = new Counted();
    {
        OrvaneDatabase b;
        b.addEntity(orphan);
        b = a;   // b's first set is released without destroying its entity
        b.addEntity(new Counted());
        OrvaneDatabase c(b);
        EXPECT_EQ(c.entities(), a.entities());
    }
    EXPECT_EQ(Counted::alive, 3);
    a.removeAllEntity();
    EXPECT_EQ(Counted::alive, 1);
    delete orphan;
}

TEST(LessThan, DeadBandOfOneNanometre) {
    // The order of the coordinates (x first) is checked by the merging test below.
    OrvaneDatabase::LessThan less;
    Point3D o(0, 0, 0), near(5e-10, 0, 0), far(2e-9, 0, 0);
    EXPECT_FALSE(less(&o, &near));
    EXPECT_FALSE(less(&near, &o));
    EXPECT_TRUE(less(&o, &far));
    EXPECT_FALSE(less(&far, &o));
}

// Points jittered by less than 1e-10 around lattice sites 1e-3 apart merge into exactly one
// entry per site, in the lattice's lexicographic order.
TEST(LessThan, MergesJitteredPointsLikeQuantisedReference) {
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> site(-20, 20);
    std::uniform_real_distribution<double> jitter(-1e-10, 1e-10);
    std::vector<Point3D> points;
    std::set<std::tuple<long, long, long>> reference;
    for (int n = 0; n < 4000; ++n) {
        int const i = site(rng), j = site(rng), k = site(rng);
        reference.emplace(i, j, k);
        points.emplace_back(i * 1e-3 + jitter(rng), j * 1e-3 + jitter(rng), k * 1e-3 + jitter(rng));
    }
    std::map<Point3D *, int, OrvaneDatabase::LessThan> merged;
    for (Point3D &p : points) merged.emplace(&p, 0);
    auto ref = reference.begin();
    for (auto const &entry : merged) {
        Point3D const &p = *entry.first;
        ASSERT_TRUE(ref != reference.end());
        EXPECT_EQ(std::make_tuple(std::lround(p.x() * 1e3), std::lround(p.y() * 1e3),
                                  std::lround(p.z() * 1e3)), *ref++);
    }
    EXPECT_EQ(merged.size(), reference.size());
}
