// BSP tree: polygon planes, classification and cuts against the literal walk, the quick
// tests against the exact classes, node structure and depth budget by hand, whole trees
// against the procedure written out step by step (random input, long lists, real meshes),
// queries against a recursive reference and the solid-angle sum.
#include "BSPTree.h"
#include "mesh/PolygonSplit.h"
#include "support/mesh_folder.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

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
using Points = std::vector<Point3D>;

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

bool same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
bool same(Point3D const &a, Point3D const &b) {
    return same(a.x(), b.x()) && same(a.y(), b.y()) && same(a.z(), b.z());
}
bool same(Points const &a, Points const &b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!same(a[i], b[i])) return false;
    return true;
}

// ---------------------------------------------------------------------------------------------
// The build procedure written out step by step: lists of polygons, the plane of the longest
// cross product, the walk with Plane::pointPosition and Plane::intersection, the last polygon
// as splitter, front subtree before back subtree.

struct RefPolygon {
    Points points;
    Tris sources;
};

struct RefNode {
    bool hasPlane = false;
    Plane plane;
    Tris coplanar;
    std::unique_ptr<RefNode> front, back;
};

Plane refPlane(Points const &p) {
    double best = -1;
    Plane plane;
    for (std::size_t i = 0; i + 2 < p.size(); ++i) {
        Vector3D const c = (p[i + 1].vector() - p[i].vector()) ^ (p[i + 2].vector() - p[i].vector());
        if (c.magnitude() >= best) {
            best = c.magnitude();
            Direction3D const n = c.magnitude() < 1e-13 ? Direction3D() : Direction3D(c, Tolerance());
            plane = Plane(n, -(n * p[i].vector()));
        }
    }
    return plane;
}
bool refDegenerate(Plane const &plane) { return plane.normal().vector3D().magnitude() < 1e-13; }

enum class RefSide { Coplanar, Front, Back, Spanning };

RefSide refSplit(Points const &pts, Plane plane, Tolerance const &tol, Points &f, Points &b) {
    f.clear();
    b.clear();
    bool spanning = false, allOn = true;
    std::size_t const n = pts.size();
    for (std::size_t i = 0; i < n; ++i) {
        Point3D const &cur = pts[i], &prev = pts[(i + n - 1) % n];
        Pos const c = plane.pointPosition(cur, tol), pc = plane.pointPosition(prev, tol);
        if (c == Plane::POS_ON) {
            f.push_back(cur);
            if (pc == Plane::POS_BELOW) b.push_back(cur);
            continue;
        }
        allOn = false;
        bool const crossing = (c == Plane::POS_ABOVE) != (pc == Plane::POS_ABOVE) && pc != Plane::POS_ON;
        if (crossing) {
            Point3D const cut = plane.intersection(prev, cur, tol);
            f.push_back(cut), b.push_back(cut);
            spanning = true;
        } else if (c == Plane::POS_BELOW && pc == Plane::POS_ON) {
            b.push_back(prev);
        }
        (c == Plane::POS_ABOVE ? f : b).push_back(cur);
    }
    if (spanning) return RefSide::Spanning;
    if (allOn) return RefSide::Coplanar;
    if (!f.empty() && b.empty()) return RefSide::Front;
    if (f.empty() && !b.empty()) return RefSide::Back;
    return b.size() < f.size() ? RefSide::Front : RefSide::Back;
}

// Returns null with the message in `error` when the depth runs out. Pending subtrees wait on
// an explicit stack (real meshes give deep trees), front before back.
std::unique_ptr<RefNode> refBuild(std::list<RefPolygon> input, Tolerance const &tol,
                                  std::size_t depth, std::string &error) {
    error.clear();
    if (input.empty()) return depth == 0 ? (error = kTooDeep, nullptr) : nullptr;
    auto root = std::make_unique<RefNode>();
    struct Task {
        RefNode *node;
        std::list<RefPolygon> list;
        std::size_t depth;
    };
    std::vector<Task> stack;
    stack.push_back(Task{root.get(), std::move(input), depth});
    while (!stack.empty()) {
        Task task = std::move(stack.back());
        stack.pop_back();
        if (task.depth == 0) {
            error = kTooDeep;
            return nullptr;
        }
        RefNode &node = *task.node;
        std::list<RefPolygon> &list = task.list;
        while (!list.empty()) {
            RefPolygon const splitter = list.back();
            list.pop_back();
            node.coplanar.insert(node.coplanar.end(), splitter.sources.begin(), splitter.sources.end());
            node.plane = refPlane(splitter.points);
            if (!refDegenerate(node.plane)) {
                node.hasPlane = true;
                break;
            }
        }
        if (!node.hasPlane) continue;
        std::list<RefPolygon> front, back;
        Points f, b;
        for (RefPolygon const &p : list) {
            switch (refSplit(p.points, node.plane, tol, f, b)) {
            case RefSide::Coplanar:
                node.coplanar.insert(node.coplanar.end(), p.sources.begin(), p.sources.end());
                break;
            case RefSide::Front: front.push_back(p); break;
            case RefSide::Back: back.push_back(p); break;
            case RefSide::Spanning:
                front.push_back(RefPolygon{f, p.sources});
                back.push_back(RefPolygon{b, p.sources});
                break;
            }
        }
        if (!back.empty()) {
            node.back = std::make_unique<RefNode>();
            stack.push_back(Task{node.back.get(), std::move(back), task.depth - 1});
        }
        if (!front.empty()) {
            node.front = std::make_unique<RefNode>();
            stack.push_back(Task{node.front.get(), std::move(front), task.depth - 1});
        }
    }
    return root;
}

std::list<RefPolygon> polygonsOf(Triangulation &mesh) {
    std::list<RefPolygon> list;
    for (Triangle *t : mesh.triangleList())
        list.push_back(RefPolygon{{*mesh.vertex(t, 0)->point(), *mesh.vertex(t, 1)->point(),
                                   *mesh.vertex(t, 2)->point()},
                                  {t}});
    return list;
}

// Node by node: plane bits, coplanar triangles in order, children. Returns the node count.
std::size_t expectSameTree(Node const *got, RefNode const *want) {
    std::size_t nodes = 0;
    std::vector<std::pair<Node const *, RefNode const *>> stack{{got, want}};
    while (!stack.empty()) {
        auto [g, w] = stack.back();
        stack.pop_back();
        if ((g == nullptr) != (w == nullptr)) {
            ADD_FAILURE() << "a node is missing or extra after " << nodes << " nodes";
            return nodes;
        }
        if (g == nullptr) continue;
        ++nodes;
        bool const match =
            (g->plane() != nullptr) == w->hasPlane && g->coplanarTriangles() == w->coplanar &&
            (!w->hasPlane || (same(g->plane()->distance(), w->plane.distance()) &&
                              same(Point3D(g->plane()->normal().vector3D().positionVector()),
                                   Point3D(w->plane.normal().vector3D().positionVector()))));
        if (!match) {
            ADD_FAILURE() << "node " << nodes << " differs";
            return nodes;
        }
        stack.push_back({g->back(), w->back.get()});
        stack.push_back({g->front(), w->front.get()});
    }
    return nodes;
}

std::list<RefPolygon> refListOf(std::list<BSPTree::Polygon> const &list) {
    std::list<RefPolygon> refList;
    for (BSPTree::Polygon const &p : list)
        refList.push_back(RefPolygon{Points(p.points.begin(), p.points.end()), p.sourceTriangles});
    return refList;
}

// A built tree (or its failure, `error`) against the procedure on the same input: the
// messages agree and the trees match node for node. Returns the nodes compared.
std::size_t expectSameAsProcedure(Tree const &got, std::string const &error, std::list<RefPolygon> const &input,
                                  Tolerance const &tol, std::size_t limit) {
    std::string wantError;
    std::unique_ptr<RefNode> const want = refBuild(input, tol, limit, wantError);
    EXPECT_EQ(error, wantError);
    EXPECT_EQ(got == nullptr, !wantError.empty());
    return got && want ? expectSameTree(rootOf(got), want.get()) : 0;
}

} // namespace

// ---------------------------------------------------------------------------------------------

// Polygons of 0 to 7 lattice points (so that points on the plane, repeated points and
// crossing edges through corners are common) against planes through lattice points:
// side, pieces and plane bit for bit as the literal walk.
TEST(PolygonSplit, ClassificationAndCutMatchTheLiteralWalk) {
    std::mt19937 rng(17);
    std::uniform_int_distribution<int> coord(-2, 2);
    auto lattice = [&] { return Point3D(coord(rng) * 0.5, coord(rng) * 0.5, coord(rng) * 0.5); };
    Tolerance loose, zero;
    loose.fine = 0.3;   // wide enough to put whole lattice planes on the plane
    zero.fine = 0;      // nothing is on the plane
    int spans = 0, ties = 0;
    for (int round = 0; round < 20000; ++round) {
        Points pts(rng() % 8);
        for (Point3D &p : pts) p = lattice();
        Points through{lattice(), lattice(), lattice()};
        Plane plane = bsp::polygonPlane(through.data(), 3);
        ASSERT_TRUE(same(Point3D(plane.normal().vector3D().positionVector()),
                         Point3D(refPlane(through).normal().vector3D().positionVector())));
        if (bsp::isDegenerate(plane)) continue;
        Tolerance const &tol = round % 4 == 0 ? loose : round % 4 == 1 ? zero : Tolerance();
        Points wantF, wantB;
        RefSide const want = refSplit(pts, plane, tol, wantF, wantB);
        unsigned char classes[8];
        bsp::PolygonSide const got =
            bsp::classifyPolygon(pts.data(), pts.size(), bsp::PlaneEquation(plane), tol.value(), classes);
        ASSERT_EQ(int(got), int(want)) << "round " << round;
        // The build settles a polygon whose classes are all front or all back from their
        // union alone.
        unsigned char unused[8];
        unsigned const seen =
            bsp::classifyPoints(pts.data(), pts.size(), bsp::PlaneEquation(plane), tol.value(), unused);
        if (seen == bsp::kFront || seen == bsp::kBack) {
            ASSERT_EQ(int(want), int(seen == bsp::kFront ? RefSide::Front : RefSide::Back));
        }
        if (got != bsp::PolygonSide::Spanning) {
            ties += (got == bsp::PolygonSide::Back && !wantF.empty() && wantF.size() == wantB.size());
            continue;
        }
        ++spans;
        Points f(2 * pts.size()), b(2 * pts.size());
        std::size_t fs = 0, bs = 0;
        bsp::cutPolygon(pts.data(), pts.size(), classes, plane, tol, f.data(), fs, b.data(), bs);
        f.resize(fs), b.resize(bs);
        ASSERT_TRUE(same(f, wantF) && same(b, wantB)) << "round " << round;
        ASSERT_TRUE(same(Point3D(bsp::polygonPlane(f.data(), f.size()).normal().vector3D().positionVector()),
                         Point3D(refPlane(f).normal().vector3D().positionVector())));
    }
    EXPECT_GT(spans, 1000);
    EXPECT_GT(ties, 10);
}

// The ball tests decide only what the exact classes say, on polygons placed just off the
// plane (within a few units of rounding of the threshold), far away, huge, tiny, with NaN and
// infinite coordinates, and for odd thresholds.
TEST(PolygonSplit, QuickTestsNeverContradictTheClasses) {
    std::mt19937 rng(23);
    std::uniform_real_distribution<double> unit(-1, 1);
    double const inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    double const scales[] = {1, 1e-9, 1e6, 1e250, 1e-300, 3e300};
    double const thresholds[] = {1e-13, 0, 1e-3, -1, nan, inf};
    int decided = 0, nearMisses = 0;
    for (int round = 0; round < 200000; ++round) {
        double const scale = scales[rng() % 6];
        double const t = round % 3 ? 1e-13 : thresholds[rng() % 6];
        Points through{{unit(rng) * scale, unit(rng) * scale, unit(rng) * scale},
                       {unit(rng) * scale, unit(rng) * scale, unit(rng) * scale},
                       {unit(rng) * scale, unit(rng) * scale, unit(rng) * scale}};
        Plane plane = bsp::polygonPlane(through.data(), 3);
        if (bsp::isDegenerate(plane)) continue;
        bsp::PlaneEquation const eq(plane);
        Vector3D const &n = plane.normal().vector3D();
        // Points at a chosen signed distance from the plane: just beyond the threshold
        // plus a little rounding, or well away.
        Points pts(1 + rng() % 5);
        double const offset = rng() % 2 ? t * (1 + 1e-15 * double(rng() % 8)) + 1e-16 * scale * double(rng() % 4)
                                        : unit(rng) * scale;
        double const side = rng() % 2 ? 1 : -1;
        Point3D const base = through[0] + n * (side * offset);
        for (Point3D &p : pts) {
            Vector3D const along(unit(rng), unit(rng), unit(rng));
            Vector3D const inPlane = along - n * (n * along);
            p = base + inPlane * (scale * 1e-3 * unit(rng));
        }
        if (round % 500 == 0) pts[rng() % pts.size()] = Point3D(nan, 0, 0);
        if (round % 500 == 1) pts[rng() % pts.size()] = Point3D(0, inf, 0);
        unsigned char classes[8];
        unsigned const seen = bsp::classifyPoints(pts.data(), pts.size(), eq, t, classes);
        double const tau = bsp::quickThreshold(plane, t);
        unsigned const quick = bsp::quickSide(eq, bsp::ballAround(pts.data(), pts.size()), tau);
        if (quick != 0) {
            ++decided;
            ASSERT_EQ(seen, quick) << "round " << round;
        }
        nearMisses += quick == 0 && (seen == bsp::kFront || seen == bsp::kBack);
    }
    EXPECT_GT(decided, 20000);
    EXPECT_GT(nearMisses, 1000);
}

// Whole trees, node for node, against the procedure written out: triangle soups on a coarse
// lattice (points on planes, coplanar and degenerate triangles, duplicates) and polygon lists
// of 0 to 6 points with several source triangles each, with several tolerances and depth
// limits (the failures must agree as well).
TEST(BSPTree, SameTreeAsTheProcedureOnRandomInput) {
    std::mt19937 rng(29);
    std::uniform_int_distribution<int> coord(0, 4);
    auto lattice = [&] { return Point3D(coord(rng) * 0.5, coord(rng) * 0.5, coord(rng) * 0.5); };
    TestMesh sources;   // only as distinct Triangle pointers
    for (int i = 0; i < 8; ++i) sources.addTriangle(0, 0, 0);
    std::vector<Triangle *> const &sourceList = sources.mesh().triangleList();
    int built = 0, failed = 0;
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        Tolerance tol;
        if (round % 5 == 1) tol.fine = 0.1;
        if (round % 5 == 2) tol.fine = 0;
        std::size_t const limit = round % 3 == 0 ? 4 + rng() % 6 : 7000;
        std::string error = "stale";
        if (round % 2 == 0) {
            TestMesh m;
            for (int v = 0; v < 14; ++v) m.addVertex(coord(rng) * 0.5, coord(rng) * 0.5, coord(rng) * 0.5);
            for (int t = 0; t < 30; ++t) m.addTriangle(rng() % 14, rng() % 14, rng() % 14);
            Tree const got(BSPTree::create(m.get(), error, tol, limit, round % 4));
            built += 0 < expectSameAsProcedure(got, error, polygonsOf(m.mesh()), tol, limit);
        } else {
            std::list<BSPTree::Polygon> list(25);
            for (BSPTree::Polygon &polygon : list) {
                for (int k = rng() % 7; k > 0; --k) polygon.points.push_back(lattice());
                for (int k = rng() % 3; k > 0; --k) polygon.sourceTriangles.push_back(sourceList[rng() % 8]);
            }
            Tree const got(BSPTree::create(list, error, tol, limit, 0));
            built += 0 < expectSameAsProcedure(got, error, refListOf(list), tol, limit);
        }
        failed += !error.empty();
    }
    EXPECT_GT(built, 150);
    EXPECT_GT(failed, 20);
}

// Lists long enough for the build's blocks of polygons to matter: hundreds of polygons, so
// that most nodes see several blocks, cuts in one block move the point array under the next,
// and open polygons of many sizes share a block. Triangles mix continuous corners (many
// cuts) with lattice corners (points on the planes, coplanar and touching neighbours);
// polygon lists add fans of up to twelve points with several source triangles.
TEST(BSPTree, SameTreeAsTheProcedureOnLongLists) {
    std::mt19937 rng(31);
    std::uniform_real_distribution<double> unit(0, 2);
    std::uniform_int_distribution<int> coord(0, 4);
    TestMesh sources;   // only as distinct Triangle pointers
    for (int i = 0; i < 8; ++i) sources.addTriangle(0, 0, 0);
    std::vector<Triangle *> const &sourceList = sources.mesh().triangleList();
    auto corner = [&]() {
        return rng() % 3 ? Point3D(unit(rng), unit(rng), unit(rng))
                         : Point3D(coord(rng) * 0.5, coord(rng) * 0.5, coord(rng) * 0.5);
    };
    std::size_t nodes = 0;
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        std::string error;
        if (round % 2 == 0) {
            TestMesh m;
            for (int v = 0; v < 120; ++v) {
                Point3D const p = corner();
                m.addVertex(p.x(), p.y(), p.z());
            }
            for (int t = 0; t < 260; ++t) m.addTriangle(rng() % 120, rng() % 120, rng() % 120);
            Tree const got(BSPTree::create(m.get(), error, Tolerance(), 7000, 0));
            nodes += expectSameAsProcedure(got, error, polygonsOf(m.mesh()), Tolerance(), 7000);
        } else {
            std::list<BSPTree::Polygon> list(200);
            for (BSPTree::Polygon &polygon : list) {
                // A fan around a centre in a random plane, or a few loose corners.
                Point3D const centre = corner();
                Vector3D const u(unit(rng) - 1, unit(rng) - 1, unit(rng) - 1);
                Vector3D const v(unit(rng) - 1, unit(rng) - 1, unit(rng) - 1);
                int const count = rng() % 8 == 0 ? int(rng() % 4) : 3 + int(rng() % 10);
                for (int k = 0; k < count; ++k) {
                    double const a = 2 * kPi * k / count;
                    polygon.points.push_back(rng() % 10 ? centre + u * (0.3 * std::cos(a)) + v * (0.3 * std::sin(a))
                                                        : corner());
                }
                for (int k = 1 + rng() % 3; k > 0; --k) polygon.sourceTriangles.push_back(sourceList[rng() % 8]);
            }
            Tree const got(BSPTree::create(list, error, Tolerance(), 7000, 0));
            nodes += expectSameAsProcedure(got, error, refListOf(list), Tolerance(), 7000);
        }
    }
    EXPECT_GT(nodes, 100000u);   // the trees were built, and cut a lot
}

TEST(BSPTree, SameTreeAsTheProcedureOnRealMeshes) {
    int compared = 0;
    for (char const *name : {"cow.off", "elephant.off"}) {
        std::unique_ptr<TestMesh> mesh = orvane_test::meshFromFolder(name);
        if (!mesh) continue;
        std::string error;
        Tree const got = build(*mesh, error, 7000);
        std::size_t const nodes = expectSameAsProcedure(got, error, polygonsOf(mesh->mesh()), Tolerance(), 7000);
        if (got) {
            EXPECT_GT(nodes, mesh->mesh().triangleList().size()) << name;
        }
        ++compared;
    }
    if (compared == 0) GTEST_SKIP() << "no mesh folder (scripts/fetch-meshes.sh fills it)";
}

// All degenerate: a root without plane; nothing at all: no root. Both answer POS_NONE, and
// neither builds with a limit of 0. (Node contents, cuts and the depth budget at large: the
// comparisons with the procedure.)
TEST(BSPTree, EmptyAndAllDegenerateInputs) {
    std::string error;
    Tree tree;
    BSPTree::Polygon flat;
    flat.points = {Point3D(0, 0, 0), Point3D(1, 1, 1), Point3D(2, 2, 2)};
    using Polygons = std::list<BSPTree::Polygon>;
    for (Polygons const &input : {Polygons{flat, flat}, Polygons{}}) {
        tree.reset(BSPTree::create(input, error, Tolerance(), 3, 0));
        ASSERT_TRUE(tree);
        EXPECT_EQ(tree->pointPosition(Point3D()), Plane::POS_NONE);
        EXPECT_FALSE(BSPTree::create(input, error, Tolerance(), 0, 0));
        EXPECT_EQ(error, kTooDeep);
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
