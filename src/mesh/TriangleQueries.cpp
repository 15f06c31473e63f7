// Per-triangle queries of Triangulation: plane, barycentric weights, point position, closest
// point, and the accessor that builds a BSP tree over the whole mesh.
#include "Triangulation.h"

#include "BSPTree.h"
#include "Triangle.h"
#include "Vertex.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace ORVANE_DATABASE {

namespace {

struct Corners {
    Point3D const &a;
    Point3D const &b;
    Point3D const &c;
};

// Depth limit of the mesh's own BSP accessor.
constexpr std::size_t kMeshBspDepthLimit = 7000;

// Resolves the corners once per query (each lookup is range-checked).
Corners cornersOf(Triangulation const &mesh, Triangle *t) {
    return Corners{*mesh.vertex(t, 0)->point(), *mesh.vertex(t, 1)->point(),
                   *mesh.vertex(t, 2)->point()};
}

Plane planeOf(Corners const &k) { return Plane(k.a, k.b, k.c); }

void weightsOf(Corners const &k, Point3D const &p, double * const w) {
    Vector3D const &a = k.a.vector();
    Vector3D const &b = k.b.vector();
    Vector3D const &c = k.c.vector();
    Vector3D const &q = p.vector();
    double const area = ((b - a) ^ (c - a)).magnitude() / 2.0;
    w[0] = ((b - q) ^ (c - q)).magnitude() / 2.0 / area;
    w[1] = ((q - a) ^ (c - a)).magnitude() / 2.0 / area;
    w[2] = ((b - a) ^ (q - a)).magnitude() / 2.0 / area;
}

} // namespace

Plane Triangulation::plane(Triangle *t) const { return planeOf(cornersOf(*this, t)); }

void Triangulation::barycentricValue(Triangle *t, Point3D const &p, double * const w) const {
    weightsOf(cornersOf(*this, t), p, w);
}

Triangulation::PointPos Triangulation::pointPosition(Triangle *t, Point3D const &p,
                                                     Tolerance const &tol) const {
    Corners const k = cornersOf(*this, t);
    double const eps = tol.value();
    PointPos result{PointPos::LOC_NONE, {0.0, 0.0, 0.0}};

    // The unnormalised test is cheap and decides most points off the plane; the true distance
    // is only needed when it says "off", since a long normal inflates N . (P - A).
    Vector3D const n = (k.b.vector() - k.a.vector()) ^ (k.c.vector() - k.a.vector());
    if (std::fabs(n * (p.vector() - k.a.vector())) >= eps &&
        std::fabs(planeOf(k).distance(p)) >= eps) {
        result.location = PointPos::LOC_OFF_PLANE;
        return result;
    }

    double *const w = result.weights;
    weightsOf(k, p, w);
    auto const located = [&result](PointPos::_Location where) {
        result.location = where;
        return result;
    };

    if (w[0] < -eps || w[1] < -eps || w[2] < -eps) return located(PointPos::LOC_NONE);
    if (w[0] + w[1] + w[2] - eps > 1.0) return located(PointPos::LOC_OUTSIDE);

    bool const w0Zero = std::fabs(w[0]) < eps;
    bool const w1Zero = std::fabs(w[1]) < eps;
    bool const w2Zero = std::fabs(w[2]) < eps;
    if (w0Zero) {
        if (!w1Zero) return located(w2Zero ? PointPos::LOC_VERTEX_1 : PointPos::LOC_EDGE_12);
        return located(w2Zero ? PointPos::LOC_NONE : PointPos::LOC_VERTEX_2);
    }
    if (w1Zero) return located(w2Zero ? PointPos::LOC_VERTEX_0 : PointPos::LOC_EDGE_20);
    if (w2Zero) return located(PointPos::LOC_EDGE_01);

    if (std::fabs(w[0] + w[1] - 1.0) < eps) return located(PointPos::LOC_EDGE_01);
    if (std::fabs(w[1] + w[2] - 1.0) < eps) return located(PointPos::LOC_EDGE_12);
    if (std::fabs(w[0] + w[2] - 1.0) < eps) return located(PointPos::LOC_EDGE_20);

    if (p.distance(k.a) < eps) return located(PointPos::LOC_VERTEX_0);
    if (p.distance(k.b) < eps) return located(PointPos::LOC_VERTEX_1);
    if (p.distance(k.c) < eps) return located(PointPos::LOC_VERTEX_2);

    Tolerance const lineTol;
    if (p.distance(k.a, k.b, false, lineTol) < eps) return located(PointPos::LOC_EDGE_01);
    if (p.distance(k.b, k.c, false, lineTol) < eps) return located(PointPos::LOC_EDGE_12);
    if (p.distance(k.c, k.a, false, lineTol) < eps) return located(PointPos::LOC_EDGE_20);

    return located(PointPos::LOC_INSIDE);
}

Point3D Triangulation::closestPoint(Triangle *t, Point3D const &p, Tolerance const &tol) const {
    Corners const k = cornersOf(*this, t);
    Point3D const q = planeOf(k).closestPoint(p);
    if (pointPosition(t, q, tol).location != PointPos::LOC_OUTSIDE) return q;

    // Edges in the order A-B, B-C, C-A.
    Point3D const *const from[3] = {&k.a, &k.b, &k.c};
    Point3D const *const to[3] = {&k.b, &k.c, &k.a};
    double const dAB = q.distance(k.a, k.b, true, tol);
    double const dBC = q.distance(k.b, k.c, true, tol);
    double const dCA = q.distance(k.c, k.a, true, tol);
    // Ties go to the later edge.
    auto choose = [](double ab, double bc, double ca) {
        if (bc <= ab) return ca <= bc ? 2 : 1;
        if (bc > ab) return ca > ab ? 0 : 2;
        return -1;   // ab or bc is NaN: the rule does not decide
    };
    int nearest = choose(dAB, dBC, dCA);
    if (nearest < 0) {
        // For finite input a NaN distance is the square root of a squared distance that
        // rounding made negative: q is within rounding of that edge, so it counts as 0.
        auto rounded = [&](Point3D const &a, Point3D const &b) {
            double const squared = q.distanceSqr(a, b, true, tol);
            return squared < 0.0 ? 0.0 : std::sqrt(squared);
        };
        nearest = choose(rounded(k.a, k.b), rounded(k.b, k.c), rounded(k.c, k.a));
        if (nearest < 0) nearest = 2;   // NaN input: every distance is NaN
    }

    for (int e = nearest; e < 3; ++e) {
        double s = 0.0;
        double u = 0.0;
        if (!Point3D::closestPoints(*from[e], *to[e], q, q, s, u, true, tol)) continue;
        s = std::fmin(std::fmax(s, 0.0), 1.0);
        return (from[e]->vector() * (1.0 - s) + to[e]->vector() * s).positionVector();
    }
    throw std::runtime_error("closest Point implementation Failed. ");
}

BSPTree const *Triangulation::BSP() const {
    std::string message;
    BSPTree *tree = BSPTree::create(this, message, Tolerance(), kMeshBspDepthLimit, 0);
    if (!message.empty()) {
        if (tree != nullptr) tree->release();
        return nullptr;
    }
    return tree;
}

} // namespace ORVANE_DATABASE
