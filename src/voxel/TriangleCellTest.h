#pragma once
// The cell test of one triangle against many cells, prepared once per triangle: the same
// answers as cellTouchesTriangle (the cell test written step by step), cheaper.
//
//  - The triangle's box is computed once, its plane when a cell first needs the corner walk,
//    its crossing-test frame and separating axes when a cell first straddles the plane (a
//    small triangle in a single, or already marked, cell needs none of them).
//  - A cell whose corners all lie clearly on one side of the plane is settled from its centre.
//  - The crossing test runs only for a cell that the separating axes cannot set apart from
//    the triangle (see SeparatingAxes.h for why that never changes its answer).
//  - The crossing test is true when any of its 72 segment-triangle tests is, whatever their
//    order, so it first tries the tests that geometry suggests (triangle edges that reach a
//    face's plane, cell edges and diagonals whose ends lie on both sides of the triangle's
//    plane) and runs the full list only when none of those holds.
#include "CellGeometry.h"
#include "CellTriangleTest.h"
#include "Plane.h"
#include "Point3D.h"
#include "SeparatingAxes.h"
#include "Vector3D.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace ORVANE_DATABASE {
namespace voxel {

class TriangleCellTest {
public:
    // The triangle p0, p1, p2 (kept by reference) against the cells of g, which `directions`
    // describes for the separating axes.
    TriangleCellTest(CellGeometry const &g, CellDirections const &directions, Point3D const &p0,
                     Point3D const &p1, Point3D const &p2)
        : m_g(g), m_directions(directions), m_p{&p0, &p1, &p2} {
        // The box as BoundingBox3D::add builds it from p0, p1, p2 (the same min and max
        // calls, so NaN coordinates fall the same way).
        m_small = true;
        for (int a = 0; a < 3; ++a) {
            m_lo[a] = std::min(std::min(p0.vector()[a], p1.vector()[a]), p2.vector()[a]);
            m_hi[a] = std::max(std::max(p0.vector()[a], p1.vector()[a]), p2.vector()[a]);
            m_small = m_small && m_hi[a] - m_lo[a] < g.size[a];
        }
        m_faceTestFits = fitsFaceTest(m_lo) && fitsFaceTest(m_hi);
    }

    // Box of the triangle.
    Vector3D const &lower() const { return m_lo; }
    Vector3D const &upper() const { return m_hi; }

    // Whether cell (i, j, k) touches the triangle: the answer of cellTouchesTriangle.
    bool touches(int i, int j, int k) {
        double const eps = kCellEps;
        double const index[3] = {double(i), double(j), double(k)};
        double vMin[3], vMax[3];
        for (int a = 0; a < 3; ++a) {
            vMin[a] = m_g.corner(a, 0, index[a]);
            vMax[a] = m_g.corner(a, 1, index[a]);
        }
        for (int a = 0; a < 3; ++a)
            if (vMin[a] - eps > m_hi[a]) return false;
        for (int a = 0; a < 3; ++a)
            if (m_lo[a] > vMax[a] + eps) return false;
        bool contained = true;
        for (int a = 0; a < 3 && contained; ++a)
            contained = vMin[a] - eps <= m_lo[a] && m_lo[a] <= vMax[a] + eps &&
                        vMin[a] - eps <= m_hi[a] && m_hi[a] <= vMax[a] + eps;
        if (contained) return true;

        if (!m_plane) m_plane.emplace(*m_p[0], *m_p[1], *m_p[2]);
        if (apartFromPlane(vMin, vMax)) return false;
        Point3D const corners[8] = {
            Point3D(vMin[0], vMin[1], vMin[2]), Point3D(vMin[0], vMin[1], vMax[2]),
            Point3D(vMin[0], vMax[1], vMin[2]), Point3D(vMin[0], vMax[1], vMax[2]),
            Point3D(vMax[0], vMin[1], vMin[2]), Point3D(vMax[0], vMin[1], vMax[2]),
            Point3D(vMax[0], vMax[1], vMin[2]), Point3D(vMax[0], vMax[1], vMax[2])};
        double s[8];
        for (int q = 0; q < 8; ++q) s[q] = m_plane->distance(corners[q]);
        // The corner walk: a corner in the plane marks the cell when it lies in the triangle;
        // corners on both sides call for the crossing test, whose answer does not depend on
        // which corner revealed the straddle, so it runs at most once.
        int reference = 0;
        bool crossingTried = false;
        for (int q = 0; q < 8; ++q) {
            if (std::fabs(s[q]) < eps) {
                if (pointInTriangle(corners[q], *m_p[0], *m_p[1], *m_p[2], eps)) return true;
                continue;
            }
            int const side = s[q] > eps ? 1 : -1;
            if (reference == 0) {
                reference = side;
            } else if (side != reference && !crossingTried) {
                crossingTried = true;
                if (crosses(corners, s, vMin, vMax)) return true;
            }
        }
        return false;
    }

private:
    // Whether every corner of the cell vMin..vMax lies more than 1e-13 from the plane, all on
    // one side: then the corner walk finds no corner in the plane and no straddle, and the
    // cell test is false. Decided from the cell's centre c and half sizes h: each corner q
    // has |S(q) - S(c)| <= rho = sum |n_a| h_a for the exact signed distance S, and the
    // computed distances differ from the exact ones by at most 5u (|x|_1 + |d|) (a unit
    // normal; u = 2^-53). So |s(c)| - rho > 1e-13 + 2^-40 (rho + |c|_1 + |h|_1 + |d|) + 1e-300
    // makes every computed corner distance exceed 1e-13 with the sign of s(c): the slack is
    // thousands of times the rounding of all these steps (1e-300 covering subnormal
    // results). NaN fails the comparison; magnitudes beyond 1e300, which could overflow,
    // skip the test.
    bool apartFromPlane(double const vMin[3], double const vMax[3]) const {
        Vector3D const &n = m_plane->normal().vector3D();
        double const d = m_plane->distance();
        double c[3], h[3], size = std::fabs(d), rho = 0.0;
        for (int a = 0; a < 3; ++a) {
            c[a] = 0.5 * vMin[a] + 0.5 * vMax[a];
            h[a] = 0.5 * vMax[a] - 0.5 * vMin[a];
            size += std::fabs(c[a]) + h[a];
            rho += std::fabs(n[a]) * h[a];
        }
        if (!(size <= 1e300)) return false;
        double const sc = n[0] * c[0] + n[1] * c[1] + n[2] * c[2] + d;
        return std::fabs(sc) - rho > kCellEps + 0x1p-40 * (rho + size) + 1e-300;
    }

    // triangleCrossesCell of the triangle and the cell with these corners (corner distances
    // from the plane s, box vMin..vMax). Its answer is the union of its 72 tests in any
    // order, so the separating axes, which can show that none holds, come first, then the
    // tests that usually hold (the triangle's edges for a triangle smaller than a cell, the
    // cell's edges for a larger one, then the other kind), and the full list last.
    bool crosses(Point3D const corners[8], double const s[8], double const vMin[3],
                 double const vMax[3]) {
        // The axes first for every triangle: a straddling cell that the edge tests would
        // clear is usually one the triangle passes beside, which the axes reject for a few
        // products, while all of the edge tests run before such a cell is cleared.
        if (!m_axes) {
            m_frame.emplace(*m_p[0], *m_p[1], *m_p[2]);
            m_axes.emplace(*m_p[0], *m_p[1], *m_p[2], *m_frame, m_lo, m_hi, m_directions);
        }
        if (m_axes->active() && m_axes->separated(vMin, vMax)) return false;
        if (m_small && edgesCross(corners, vMin, vMax)) return true;
        if (cellEdgesCross(corners, s) || (!m_small && edgesCross(corners, vMin, vMax))) return true;
        return triangleCrossesCell(*m_p[0], *m_p[1], *m_p[2], corners);
    }

    // The triangle's edges that reach a face's plane, against that face's two triangles.
    bool edgesCross(Point3D const corners[8], double const vMin[3], double const vMax[3]) const {
        // The faces in the order of kCellFaceTriangles: x low, x high, z high, z low, y high,
        // y low.
        static constexpr int kFaceAxis[6] = {0, 0, 2, 2, 1, 1};
        static constexpr bool kFaceHigh[6] = {false, true, true, false, true, false};
        bool const faceTest = m_faceTestFits && fitsFaceTest(vMin) && fitsFaceTest(vMax);
        for (int face = 0; face < 6; ++face) {
            int const a = kFaceAxis[face];
            double const plane = kFaceHigh[face] ? vMax[a] : vMin[a];
            for (int e = 0; e < 3; ++e) {
                Point3D const &p = *m_p[e], &q = *m_p[(e + 1) % 3];
                double const lo = std::min(p.vector()[a], q.vector()[a]);
                double const hi = std::max(p.vector()[a], q.vector()[a]);
                if (!(lo <= plane && plane <= hi)) continue;
                for (int half = 0; half < 2; ++half) {
                    int const *t = kCellFaceTriangles[2 * face + half];
                    if (faceTest) {
                        if (segmentCrossesFaceTriangle(p.vector(), q.vector(), corners[t[0]].vector(),
                                                       corners[t[1]].vector(), corners[t[2]].vector(),
                                                       a, kCellEps))
                            return true;
                        continue;
                    }
                    TriangleFrame const target(corners[t[0]], corners[t[1]], corners[t[2]]);
                    if (segmentCrossesTriangle(p, q, target, kCellEps)) return true;
                }
            }
        }
        return false;
    }

    // Whether every coordinate of v is finite and within the face test's bound (NaN fails).
    template <class Coordinates>
    static bool fitsFaceTest(Coordinates const &v) {
        return std::fabs(v[0]) <= kFaceTestBound && std::fabs(v[1]) <= kFaceTestBound &&
               std::fabs(v[2]) <= kFaceTestBound;
    }

    // The cell's edges and diagonals whose ends are not both on one side of the plane (s: the
    // corners' distances), against the triangle.
    bool cellEdgesCross(Point3D const corners[8], double const s[8]) const {
        double const eps = kCellEps;
        for (auto const &f : kCellFaceTriangles)
            for (int e = 0; e < 3; ++e) {
                int const a = f[e], b = f[(e + 1) % 3];
                bool const apart = (s[a] > eps && s[b] > eps) || (s[a] < -eps && s[b] < -eps);
                if (!apart && segmentCrossesTriangle(corners[a], corners[b], *m_frame, eps))
                    return true;
            }
        return false;
    }

    CellGeometry const &m_g;
    CellDirections const &m_directions;
    Point3D const *m_p[3];
    Vector3D m_lo, m_hi;
    bool m_small;   // narrower than a cell on every axis
    bool m_faceTestFits;   // the triangle's coordinates admit segmentCrossesFaceTriangle
    std::optional<Plane> m_plane;
    std::optional<TriangleFrame> m_frame;
    std::optional<SeparatingAxes> m_axes;
};

} // namespace voxel
} // namespace ORVANE_DATABASE
