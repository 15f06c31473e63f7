// Fuzz target: the per-triangle queries of Triangulation (plane, barycentricValue,
// pointPosition, closestPoint) on a decoded mesh, with query points that are arbitrary,
// exactly at a corner, or a lattice combination of the corners (on edges, inside, outside).
#include "fuzz_input.h"

#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;
using Pos = odb::Triangulation::PointPos;

namespace {

odb::Point3D queryPoint(ByteReader &in, odb::Point3D const *corner[3]) {
    std::uint8_t mode = in.byte() % 4;
    if (mode == 0) return in.point();
    if (mode == 1) return *corner[in.below(3)];
    // w0 A + w1 B + w2 C with lattice weights (sum 1 in mode 2, free in mode 3), lifted off
    // the plane by a lattice amount in mode 3.
    double w1 = (static_cast<int>(in.below(9)) - 2) * 0.25;
    double w2 = (static_cast<int>(in.below(9)) - 2) * 0.25;
    double w0 = mode == 2 ? 1.0 - w1 - w2 : (static_cast<int>(in.below(9)) - 2) * 0.25;
    odb::Point3D p(w0 * corner[0]->x() + w1 * corner[1]->x() + w2 * corner[2]->x(),
                   w0 * corner[0]->y() + w1 * corner[1]->y() + w2 * corner[2]->y(),
                   w0 * corner[0]->z() + w1 * corner[1]->z() + w2 * corner[2]->z());
    if (mode == 3) p.z() += (static_cast<int>(in.below(5)) - 2) * 0.5;
    return p;
}

bool sameWeight(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    orvane_fuzz::DecodedMesh m = orvane_fuzz::decodeMesh(in, 12, 12);
    odb::Triangulation &mesh = m.mesh().mesh();
    odb::Tolerance tol = in.tolerance();
    std::vector<odb::Triangle *> const &triangles = mesh.triangleList();
    if (triangles.empty()) return 0;

    for (std::size_t left = 1 + in.below(8); left > 0; --left) {
        odb::Triangle *t = triangles[in.below(triangles.size())];
        odb::Point3D const *corner[3];
        for (int i = 0; i < 3; ++i) corner[i] = mesh.vertex(t, i)->point();
        odb::Point3D p = queryPoint(in, corner);

        odb::Plane plane = mesh.plane(t);
        if (orvane_fuzz::dumping())
            std::fprintf(stderr, "query t%zu p %.17g %.17g %.17g tol %g\n",
                         static_cast<std::size_t>(std::find(triangles.begin(), triangles.end(), t) -
                                                  triangles.begin()),
                         p.x(), p.y(), p.z(), tol.value());
        double w[3];
        mesh.barycentricValue(t, p, w);
        for (double x : w) FUZZ_CHECK(!(x < 0));   // unsigned areas: never negative

        Pos pos = mesh.pointPosition(t, p, tol);
        FUZZ_CHECK(pos.location >= Pos::LOC_NONE && pos.location <= Pos::LOC_INSIDE);
        if (pos.location == Pos::LOC_OFF_PLANE) {
            for (double x : pos.weights) FUZZ_CHECK(x == 0);
        } else {
            for (int i = 0; i < 3; ++i) FUZZ_CHECK(sameWeight(pos.weights[i], w[i]));
        }

        bool finite = orvane_fuzz::isModerate(p) && orvane_fuzz::isModerate(*corner[0]) &&
                      orvane_fuzz::isModerate(*corner[1]) && orvane_fuzz::isModerate(*corner[2]);
        odb::Point3D closest;
        try {
            closest = mesh.closestPoint(t, p, tol);
        } catch (std::runtime_error const &e) {
            // Documented only for input that is not finite.
            FUZZ_CHECK(!finite);
            FUZZ_CHECK(std::string(e.what()) == "closest Point implementation Failed. ");
            continue;
        }
        if (orvane_fuzz::dumping())
            std::fprintf(stderr, "  location %d closest %.17g %.17g %.17g\n",
                         int(pos.location), closest.x(), closest.y(), closest.z());
        odb::Vector3D normal = plane.normal().vector3D();
        double area2 = ((*corner[1]).vector() - (*corner[0]).vector())
                           .operator^((*corner[2]).vector() - (*corner[0]).vector())
                           .magnitude();
        double scale = 1.0;
        for (auto *c : corner)
            scale = std::max({scale, std::fabs(c->x()), std::fabs(c->y()), std::fabs(c->z())});
        scale = std::max({scale, std::fabs(p.x()), std::fabs(p.y()), std::fabs(p.z())});
        // The tolerance is absolute, so beyond a few hundred units rounding alone can put the
        // foot of p off the plane (the foot is then the answer): check near the origin only.
        if (!finite || tol.value() != 1e-13 || scale > 64 || area2 < 1e-3 * scale * scale)
            continue;
        // A proper triangle at the default tolerance: its plane has a unit normal, and the
        // closest point lies on the triangle (in its box) no farther away than any corner.
        FUZZ_CHECK(std::fabs(normal.magnitude() - 1.0) < 1e-9);
        double eps = 1e-7 * scale;
        for (int a = 0; a < 3; ++a) {
            double lo = std::min({corner[0]->vector()[a], corner[1]->vector()[a],
                                  corner[2]->vector()[a]});
            double hi = std::max({corner[0]->vector()[a], corner[1]->vector()[a],
                                  corner[2]->vector()[a]});
            FUZZ_CHECK(closest.vector()[a] >= lo - eps && closest.vector()[a] <= hi + eps);
        }
        double d = closest.distance(p);
        for (auto *c : corner) FUZZ_CHECK(d <= c->distance(p) + eps);
    }
    return 0;
}
