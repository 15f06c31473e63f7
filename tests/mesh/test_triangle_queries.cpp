// Per-triangle queries: plane, weights, point position classes, closest point.
#include "primitives/expect_near.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Loc = Triangulation::PointPos;

namespace {

// A mesh of the triangle A, B, C (corners 0, 1, 2), and the same corners reversed.
struct OneTriangle {
    TestMesh m;
    Triangle *t, *reversed;
    OneTriangle(Point3D const &a, Point3D const &b, Point3D const &c) {
        for (Point3D const *p : {&a, &b, &c}) m.addVertex(p->x(), p->y(), p->z());
        t = m.addTriangle(0, 1, 2);
        reversed = m.addTriangle(0, 2, 1);
    }
    Point3D const &corner(int i) { return *m.mesh().vertex(t, i)->point(); }
};

// Closest point by the textbook route: the foot if it lies inside, else the best of the
// three clamped segment projections.
Point3D referenceClosest(Point3D const &a, Point3D const &b, Point3D const &c, Point3D const &p) {
    Vector3D const n = (b.vector() - a.vector()) ^ (c.vector() - a.vector());
    Point3D const foot = p - n * ((n * (p.vector() - a.vector())) / (n * n));
    auto inside = [&](Point3D const &u, Point3D const &v) {
        return (((v.vector() - u.vector()) ^ (foot.vector() - u.vector())) * n) >= 0;
    };
    if (inside(a, b) && inside(b, c) && inside(c, a)) return foot;
    Point3D best;
    for (auto const &[u, v] : {std::pair(&a, &b), std::pair(&b, &c), std::pair(&c, &a)}) {
        Vector3D const d = v->vector() - u->vector();
        double const s = std::clamp(((p.vector() - u->vector()) * d) / (d * d), 0.0, 1.0);
        if (u == &a || (*u + d * s).distance(p) < best.distance(p)) best = *u + d * s;
    }
    return best;
}

} // namespace

TEST(TriangleQueries, PlaneWeightsAndPositions) {
    OneTriangle r(Point3D(0, 0, 0), Point3D(1, 0, 0), Point3D(0, 1, 0));
    Triangulation &mesh = r.m.mesh();
    EXPECT_TRUE(vectorNear(mesh.plane(r.t).normal().vector3D(), Vector3D(0, 0, 1)));
    EXPECT_TRUE(vectorNear(mesh.plane(r.reversed).normal().vector3D(), Vector3D(0, 0, -1)));

    struct Case {
        Point3D p;
        Loc::_Location want;
    };
    for (Case const &c :
         {Case{{0.25, 0.25, 0}, Loc::LOC_INSIDE}, Case{{0.5, 0, 0}, Loc::LOC_EDGE_01},
          Case{{0.5, 0.5, 0}, Loc::LOC_EDGE_12}, Case{{0, 0.5, 0}, Loc::LOC_EDGE_20},
          Case{{0, 0, 0}, Loc::LOC_VERTEX_0}, Case{{1, 0, 0}, Loc::LOC_VERTEX_1},
          Case{{0, 1, 0}, Loc::LOC_VERTEX_2}, Case{{1, 1, 0}, Loc::LOC_OUTSIDE},
          Case{{-0.5, 0.5, 0}, Loc::LOC_OUTSIDE}, Case{{0.5, 1e-14, 0}, Loc::LOC_EDGE_01},
          Case{{0.25, 0.25, 5e-14}, Loc::LOC_INSIDE}, Case{{0.25, 0.25, 1}, Loc::LOC_OFF_PLANE}})
        EXPECT_EQ(mesh.pointPosition(r.t, c.p, Tolerance()).location, c.want)
            << c.p.x() << " " << c.p.y() << " " << c.p.z();
    Loc in = mesh.pointPosition(r.t, Point3D(0.25, 0.25, 0), Tolerance());
    EXPECT_TRUE(vectorNear(Vector3D(in.weights), Vector3D(0.5, 0.25, 0.25)));
    Loc out = mesh.pointPosition(r.t, Point3D(1, 1, 0), Tolerance());
    EXPECT_TRUE(vectorNear(Vector3D(out.weights), Vector3D(1, 1, 1)));   // unsigned: sum 3

    // A big triangle inflates the unnormalised plane test; the true distance still decides.
    OneTriangle big(Point3D(0, 0, 0), Point3D(1e4, 0, 0), Point3D(0, 1e4, 0));
    EXPECT_EQ(big.m.mesh().pointPosition(big.t, Point3D(10, 10, 5e-14), Tolerance()).location,
              Loc::LOC_INSIDE);
    EXPECT_EQ(big.m.mesh().pointPosition(big.t, Point3D(10, 10, 2e-13), Tolerance()).location,
              Loc::LOC_OFF_PLANE);
}

// Closest point: a rounding case next to a corner, then random triangles and points (every
// region: face, edges, corners) against the textbook reference.
TEST(TriangleQueries, ClosestPointAgainstReference) {
    // A foot within rounding of corner B: the squared distance from edge A-B rounds below
    // zero (its distance is NaN), which must not send the answer to the far corner C.
    OneTriangle thin(Point3D(-19.25, 0, 2e-9), Point3D(2e-9, -20, -20), Point3D(-20, -19.5, -19));
    Point3D const nearB(3.5500808180207669e-270, -20, -20);
    EXPECT_LT(thin.m.mesh().closestPoint(thin.t, nearB, Tolerance()).distance(nearB), 1e-8);

    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-2, 2);
    for (int i = 0; i < 300; ++i) {
        OneTriangle k(Point3D(u(rng), u(rng), u(rng)), Point3D(u(rng), u(rng), u(rng)),
                      Point3D(u(rng), u(rng), u(rng)));
        Point3D const p(2 * u(rng), 2 * u(rng), 2 * u(rng));
        EXPECT_TRUE(pointNear(k.m.mesh().closestPoint(k.t, p, Tolerance()),
                              referenceClosest(k.corner(0), k.corner(1), k.corner(2), p), 1e-9));
    }
}
