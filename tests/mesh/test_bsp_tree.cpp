// BSP tree: polygon planes and cuts, node structure, depth budget, queries against a
// recursive reference and against the solid-angle sum on closed meshes.
#include "BSPTree.h"
#include "mesh/PolygonSplit.h"
#include "primitives/expect_near.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

namespace ORVANE_DATABASE {
class BSPTreeTestAccess {
public:
    static BSPTree::Node const *root(BSPTree const *tree) { return tree->m_nodes.get(); }
};
} // namespace ORVANE_DATABASE

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Node = BSPTree::Node;
using Pos = Plane::_Pos;
using Tris = std::list<Triangle *>;

namespace {

constexpr double kPi = 3.14159265358979323846;
char const *const kTooDeep = "BSP Build Fail Due To high No. Of Triangles ";

struct Release {
    void operator()(BSPTree const *t) const { const_cast<BSPTree *>(t)->release(); }
};
using Tree = std::unique_ptr<BSPTree const, Release>;

Tree build(TestMesh &m, std::string &error, std::size_t limit) {
    return Tree(BSPTree::create(m.get(), error, Tolerance(), limit, 0));
}
Node const *rootOf(BSPTree const *t) { return BSPTreeTestAccess::root(t); }
Node const *rootOf(Tree const &t) { return rootOf(t.get()); }

std::size_t backChainLength(Node const *n) {
    std::size_t length = 0;
    for (; n != nullptr; n = n->back(), ++length) EXPECT_EQ(n->front(), nullptr);
    return length;
}

// Classification exactly as defined, recursively; for small trees only.
Pos classify(Node const *n, Point3D const &q) {
    auto live = [](Node const *c) { return c != nullptr && c->plane() != nullptr; };
    Pos const side = n->plane()->pointPosition(q, Tolerance());
    Pos const front = live(n->front()) ? classify(n->front(), q) : Plane::POS_ABOVE;
    if (side == Plane::POS_ABOVE) return front;
    Pos const back = live(n->back()) ? classify(n->back(), q) : Plane::POS_BELOW;
    if (side == Plane::POS_BELOW) return back;
    return front == back ? front : Plane::POS_ON;
}

// Closed pyramid: apex (0,0,1) over a regular `sides`-gon of radius 1 at z = 0, the base fan
// last. Every face has a plane of its own, so its tree is a chain of sides + 1 nodes.
std::unique_ptr<TestMesh> pyramid(int sides) {
    auto m = std::make_unique<TestMesh>();
    m->addVertex(0, 0, 1);
    for (int s = 0; s < sides; ++s)
        m->addVertex(std::cos(2 * kPi * s / sides), std::sin(2 * kPi * s / sides), 0);
    for (int s = 0; s < sides; ++s) m->addTriangle(0, 1 + s, 1 + (s + 1) % sides);
    for (int s = 1; s + 1 < sides; ++s) m->addTriangle(1, 2 + s, 1 + s);
    return m;
}

} // namespace

TEST(PolygonSplit, PlanesClassesAndPieces) {
    std::vector<Point3D> pts{{0, 0, 1}, {0, 0, 1}, {1, 0, 1}, {0, 2, 1}};   // one run degenerate
    Plane p = bsp::polygonPlane(pts.data(), pts.size());
    EXPECT_TRUE(vectorNear(p.normal().vector3D(), Vector3D(0, 0, 1)));
    EXPECT_DOUBLE_EQ(p.distance(), -1.0);
    EXPECT_TRUE(bsp::isDegenerate(bsp::polygonPlane(pts.data(), 2)));

    Plane plane(Direction3D(0, 0, 1), 0);   // z = 0, front is +z
    std::vector<Point3D> f, b;
    auto split = [&](std::vector<Point3D> const &pts) {
        unsigned char classes[8];
        auto side = bsp::classifyPolygon(pts.data(), pts.size(), bsp::PlaneEquation(plane), 1e-13, classes);
        if (side == bsp::PolygonSide::Spanning) bsp::cutPolygon(pts.data(), pts.size(), classes, plane, Tolerance(), f, b);
        return side;
    };
    // One corner in front, two behind: a triangle and a quadrilateral; the walk starts with
    // the edge from the last point to the first.
    EXPECT_EQ(split({{0, 0, 1}, {1, 0, -1}, {0, 1, -1}}), bsp::PolygonSide::Spanning);
    ASSERT_EQ(f.size(), 3u);
    ASSERT_EQ(b.size(), 4u);
    EXPECT_TRUE(pointNear(f[0], Point3D(0, 0.5, 0)) && pointNear(f[2], Point3D(0.5, 0, 0)));
    EXPECT_TRUE(pointNear(b[1], Point3D(0.5, 0, 0)) && pointNear(b[3], Point3D(0, 1, -1)));
    // Cut through a corner on the plane: two triangles sharing it and the cut point.
    EXPECT_EQ(split({{0, 0, 0}, {1, 0, 1}, {1, 1, -1}}), bsp::PolygonSide::Spanning);
    ASSERT_EQ(f.size() + b.size(), 6u);
    EXPECT_TRUE(pointNear(f[0], Point3D()) && pointNear(f[2], Point3D(1, 0.5, 0)));
    EXPECT_TRUE(pointNear(b[0], Point3D()) && pointNear(b[1], Point3D(1, 0.5, 0)));
    // Not cut: two corners on the plane and one behind go back (the larger piece); a point
    // exactly at +t counts as behind.
    EXPECT_EQ(split({{0, 0, 0}, {1, 0, 0}, {0, 1, -1}}), bsp::PolygonSide::Back);
    EXPECT_EQ(split({{0, 0, 1e-13}, {1, 0, -1}, {0, 1, -3}}), bsp::PolygonSide::Back);
    EXPECT_EQ(split({{0, 0, 1e-14}, {1, 0, -5e-14}, {0, 1, 0}}), bsp::PolygonSide::Coplanar);
}

TEST(BSPTree, NodesAndDepthBudgetOfSmallInputs) {
    std::string error = "stale";
    TestMesh m;
    m.addVertex(0, 0, 0);
    m.addVertex(1, 0, 0);
    m.addVertex(0, 1, 0);
    m.addVertex(3, 3, 0);
    Triangle *t0 = m.addTriangle(0, 1, 2);
    Triangle *t1 = m.addTriangle(1, 3, 2);   // coplanar: joins the node after the splitter
    Tree tree = build(m, error, 1);
    ASSERT_TRUE(tree);
    EXPECT_EQ(error, "");
    EXPECT_EQ(rootOf(tree)->coplanarTriangles(), (Tris{t1, t0}));
    EXPECT_FALSE(build(m, error, 0));
    EXPECT_EQ(error, kTooDeep);

    // A degenerate last triangle is passed over but kept in the node, before the splitter.
    m.addVertex(0, 0, 5);
    Triangle *vertical = m.addTriangle(0, 1, 4);
    Triangle *degenerate = m.addTriangle(0, 0, 0);
    tree = build(m, error, 2);
    ASSERT_TRUE(tree);
    EXPECT_EQ(rootOf(tree)->coplanarTriangles(), (Tris{degenerate, vertical}));

    // A polygon list: a crossing triangle is cut, one piece on either side.
    BSPTree::Polygon splitter, crossing, flat;
    splitter.points = {Point3D(0, 0, 0), Point3D(1, 0, 0), Point3D(0, 1, 0)};
    splitter.sourceTriangles = {t0};
    crossing.points = {Point3D(0, 0, 1), Point3D(1, 0, -1), Point3D(0, 1, -1)};
    crossing.sourceTriangles = {t1, vertical};
    tree.reset(BSPTree::create({crossing, splitter}, error, Tolerance(), 2, 0));
    ASSERT_TRUE(tree && rootOf(tree)->front() && rootOf(tree)->back());
    EXPECT_EQ(rootOf(tree)->front()->coplanarTriangles(), (Tris{t1, vertical}));
    EXPECT_EQ(rootOf(tree)->back()->coplanarTriangles(), (Tris{t1, vertical}));

    // All degenerate: a root without plane; nothing at all: no root. Both answer POS_NONE,
    // and neither builds with a limit of 0.
    flat.points = {Point3D(0, 0, 0), Point3D(1, 1, 1), Point3D(2, 2, 2)};
    using Polygons = std::list<BSPTree::Polygon>;
    for (Polygons const &input : {Polygons{flat, flat}, Polygons{}}) {
        tree.reset(BSPTree::create(input, error, Tolerance(), 3, 0));
        ASSERT_TRUE(tree);
        EXPECT_EQ(tree->pointPosition(Point3D()), Plane::POS_NONE);
        EXPECT_FALSE(BSPTree::create(input, error, Tolerance(), 0, 0));
    }
}

// The deepest tree the mesh's accessor allows: built, walked and released without recursion.
TEST(BSPTree, SevenThousandLevelChain) {
    auto deepest = pyramid(6999);
    BSPTree const *tree = deepest->mesh().BSP();
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(backChainLength(rootOf(tree)), 7000u);
    EXPECT_EQ(tree->pointPosition(Point3D(0, 0, 0.3)), Plane::POS_BELOW);
    EXPECT_EQ(tree->pointPosition(Point3D(0, 0, 1)), Plane::POS_ON);   // apex: in every plane
    const_cast<BSPTree *>(tree)->release();
    EXPECT_EQ(pyramid(7000)->mesh().BSP(), nullptr);   // 7001 planes
}

// Random points against the recursive definition, including points in many planes (mesh
// vertices, edge midpoints), and, away from the surface, against the solid-angle sum.
TEST(BSPTree, ClosedMeshesAgainstReferences) {
    std::vector<std::unique_ptr<TestMesh>> meshes;
    meshes.push_back(TestMesh::sphere(1.0, 9, 14));
    meshes.push_back(TestMesh::box(Point3D(-1, -1, -1), Point3D(0, 0.5, 1)));
    meshes.back()->appendBox(Point3D(0.2, -0.8, -0.3), Point3D(1.2, 1.1, 0.4));
    meshes.push_back(pyramid(7));
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-1.4, 1.4);
    for (auto &m : meshes) {
        Triangulation &mesh = m->mesh();
        std::string error;
        Tree tree = build(*m, error, 7000);
        ASSERT_TRUE(tree) << error;
        std::vector<Point3D> points;
        for (Triangle *t : mesh.triangleList()) {
            points.push_back(*mesh.vertex(t, 0)->point());
            points.push_back(mesh.vertex(t, 1)->point()->mid(*mesh.vertex(t, 2)->point()));
        }
        for (int i = 0; i < 1500; ++i) points.emplace_back(u(rng), u(rng), u(rng));
        int inside = 0;
        for (Point3D const &p : points) {
            Pos const got = tree->pointPosition(p);
            ASSERT_EQ(got, classify(rootOf(tree), p));
            double nearest = 1e300, solidAngle = 0;
            for (Triangle *t : mesh.triangleList()) {
                nearest = std::min(nearest, mesh.closestPoint(t, p, Tolerance()).distance(p));
                solidAngle += Vector3D::geo_solid_angle_wiki(
                    mesh.vertex(t, 0)->point()->vector(), mesh.vertex(t, 1)->point()->vector(),
                    mesh.vertex(t, 2)->point()->vector(), p.vector());
            }
            if (nearest < 1e-3) continue;
            bool const in = std::fabs(solidAngle + 4 * kPi) < 1.0;
            inside += in;
            EXPECT_EQ(got, in ? Plane::POS_BELOW : Plane::POS_ABOVE);
        }
        EXPECT_GT(inside, 30);
    }
}
