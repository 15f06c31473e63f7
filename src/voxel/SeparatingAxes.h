#pragma once
// A conservative separating-axis test between one triangle and the cells of a voxel grid, run
// in front of the expensive step of the exact cell test: the crossing test
// triangleCrossesCell (72 segment-triangle tests), which the cell test runs for a cell whose
// corners lie on both sides of the triangle's plane. Most such cells only straddle the plane
// somewhere beside the triangle; the nine axes e x a (e a triangle edge, a a coordinate axis)
// show it with a few products, and the crossing test then runs only on cells the triangle
// may touch.
//
// Claim: when separated() holds for a cell, triangleCrossesCell of the triangle and that cell
// is false. So skipping it never changes the marking.
//
// Proof. Let D bound every distance between a triangle corner and a corner of the cell, and
// every edge of both (the triangle's box and two cell sizes on each axis give it, as the cell
// overlaps the triangle's box), t = 1e-13 the crossing test's tolerance and u = 2^-53. The
// crossing test is true only when one of its segment-triangle tests is: a segment s0 -> s1
// (d = s1 - s0, w = s0 - t0, as computed) meets a triangle t0 + u e1 + v e2 (n = e1 x e2)
// with computed r, u, v in (-t, 1 + t), u + v below 1 + t. With the exact quotients of the
// computed inputs, the point Y = s0 + w' + r d (w' = w - (s0 - t0)) satisfies
// Y - t0 = u e1 + v e2 (Cramer's rule: (e2 x d).d = 0 and so on), so Y lies within r's excess
// times |d| of the segment and within the weights' excesses times |e1| + |e2| of the triangle,
// up to the rounding of w, d, e1, e2 (u D each). It remains to bound how far the computed
// r, u, v can be from the exact ones:
//  - A triangle edge against a face triangle of the cell (face x = X, say). The face's e1, e2
//    have x components exactly 0 and one of their cross terms is exactly 0 (a right triangle
//    along the axes), so n = (n_x, 0, 0), r = -(w_x / d_x)(1 + 3u) and a passing r gives
//    |w_x| <= 1.01 |d_x|. Every term of (e2 x d).w and (e2 x d).e1 then carries the factor
//    d_x, the denominator is d_x times a face area within 3u, and u, v are off by at most
//    24u (|w| + |d|)(1 + A) / |e1| and the like, A the largest ratio of two cell sizes.
//  - A cell edge or face diagonal d against the triangle. All three denominators equal n.d
//    up to 7u |e1||e2||d|; with eta = |n| / (|e1||e2|) (the sine of the triangle's angle)
//    and sigma = |n.d| / (|n||d|) (the sine of the angle between d and the plane) their
//    relative error is at most 7u / (eta sigma), and r, u, v are off by at most
//    22u D / (eta sigma |d|), 21u D / (eta sigma |e1|) and the like. Where the computed n.d is
//    exactly 0 (n_x == 0 for a cell edge along x, for instance), the test is false outright.
// With Amp bounding 1 + A and 1 / (eta sigma) over the directions d of the cell's edges and
// diagonals whose n.d is not identically 0 (the filter runs only where Amp = 1e6 does),
// both cases give a point within delta = 3 t D + 160 u D Amp of the triangle and of the
// cell. Then along any axis a the
// projections of triangle and cell come closer than 2 delta |a|, and separated() demands a
// gap of more than |a|_1 (2 delta' + 32 u L), with delta' = 4 t D + 256 u D Amp above delta
// and 32 u L |a|_1 above the rounding of the projections themselves (L bounds every
// coordinate). So a separated cell has no such point, and the crossing test is false.
//
// The bounds need finite input of sane size and a well-conditioned configuration; where
// that is not the case (a degenerate or sliver triangle, a triangle within 1e-6 of parallel
// to a cell edge or diagonal without being exactly parallel, cells of very unequal sizes,
// coordinates beyond 1e100, edge components or cell sizes below 1e-60 but not 0, whose
// products would lose precision in subnormal numbers), active() is false and every cell gets
// the crossing test.
#include "CellGeometry.h"
#include "CellTriangleTest.h"
#include "Point3D.h"
#include "Vector3D.h"

#include <algorithm>
#include <cmath>

namespace ORVANE_DATABASE {
namespace voxel {

// What the separating axes need to know of the grid, the same for every triangle: the
// directions of the cells' edges and face diagonals, and whether the cell sizes keep the
// bounds of the proof (each 0 or between 1e-60 and 1e100, no two nonzero sizes more than
// 1e6 apart).
struct CellDirections {
    bool usable = false;
    double d[9][3];       // x, y, z edges, then the six face diagonals
    double length[9];
    double size[3];

    explicit CellDirections(CellGeometry const &g) {
        for (int a = 0; a < 3; ++a) {
            size[a] = g.size[a];
            if (!(size[a] >= 0.0) || !saneMagnitude(size[a])) return;
        }
        for (int a = 0; a < 3; ++a)
            for (int b = a + 1; b < 3; ++b)
                if (size[a] > 0.0 && size[b] > 0.0 &&
                    !(1.0 + std::max(size[a] / size[b], size[b] / size[a]) <= kAmplification))
                    return;
        double const sx = size[0], sy = size[1], sz = size[2];
        double const all[9][3] = {{sx, 0, 0},  {0, sy, 0},  {0, 0, sz},  {0, sy, -sz}, {0, sy, sz},
                                  {sx, sy, 0}, {sx, -sy, 0}, {sx, 0, -sz}, {sx, 0, sz}};
        for (int i = 0; i < 9; ++i) {
            for (int c = 0; c < 3; ++c) d[i][c] = all[i][c];
            length[i] = std::sqrt(d[i][0] * d[i][0] + d[i][1] * d[i][1] + d[i][2] * d[i][2]);
        }
        usable = true;
    }

    // The largest error amplification the proof admits (Amp).
    static constexpr double kAmplification = 1e6;

    // 0, or a magnitude between 1e-60 and 1e100: products of three such numbers stay in the
    // normal range, where rounding is relative.
    static bool saneMagnitude(double v) {
        v = std::fabs(v);
        return v == 0.0 || (v >= 1e-60 && v <= 1e100);
    }
};

class SeparatingAxes {
public:
    // For the triangle p0, p1, p2, whose crossing-test frame is `frame`, with box lo..hi, and
    // the cells described by `cells`.
    SeparatingAxes(Point3D const &p0, Point3D const &p1, Point3D const &p2,
                   TriangleFrame const &frame, Vector3D const &lo, Vector3D const &hi,
                   CellDirections const &cells) {
        if (!cells.usable) return;
        double constexpr u = 0x1p-53;
        Vector3D const *pts[3] = {&p0.vector(), &p1.vector(), &p2.vector()};
        double bound = 0.0, reach = 0.0;   // L and D
        for (int a = 0; a < 3; ++a) {
            double const size = cells.size[a];
            bound = std::max(bound, std::max(std::fabs(lo[a]), std::fabs(hi[a])) + 2.0 * size);
            reach += (hi[a] - lo[a]) + 2.0 * size;
            for (int e = 0; e < 3; ++e)
                if (!CellDirections::saneMagnitude((*pts[(e + 1) % 3])[a] - (*pts[e])[a])) return;
        }
        if (!(bound <= 1e100)) return;   // also NaN

        // 1 / (eta sigma) = |d||e1||e2| / |n.d| at most Amp for every direction whose n.d is
        // not exactly 0 (those tests are false whatever the cell).
        double const spread = std::sqrt(frame.e1.magnitudeSqr() * frame.e2.magnitudeSqr());
        if (!(spread > 0.0) || !(frame.n.magnitude() >= 1e-120)) return;
        for (int i = 0; i < 9; ++i) {
            double const *d = cells.d[i];
            bool zero = true;
            for (int a = 0; a < 3; ++a)
                if (d[a] != 0.0 && frame.n[a] != 0.0) zero = false;
            if (zero) continue;
            double const dot = frame.n[0] * d[0] + frame.n[1] * d[1] + frame.n[2] * d[2];
            if (!(cells.length[i] * spread <= CellDirections::kAmplification * std::fabs(dot))) return;
        }

        double const delta = 4.0 * kCellEps * reach + 256.0 * u * reach * CellDirections::kAmplification;
        double const margin = 2.0 * delta + 32.0 * u * bound;
        Vector3D const edges[3] = {frame.e1, p2.vector() - p1.vector(), frame.e2};
        int axis = 0;
        for (Vector3D const &f : edges)
            for (int zero = 0; zero < 3; ++zero) {   // f x (the axis `zero`): 0 there
                int const b = (zero + 1) % 3, c = (zero + 2) % 3;
                double *a = m_axis[axis];
                a[zero] = 0.0;
                a[b] = f[c];
                a[c] = -f[b];
                double low = a[b] * (*pts[0])[b] + a[c] * (*pts[0])[c], high = low;
                for (int q = 1; q < 3; ++q) {
                    double const s = a[b] * (*pts[q])[b] + a[c] * (*pts[q])[c];
                    low = std::min(low, s);
                    high = std::max(high, s);
                }
                m_low[axis] = low;
                m_high[axis] = high;
                m_slack[axis] = (std::fabs(a[b]) + std::fabs(a[c])) * margin;
                ++axis;
            }
        m_active = true;
    }

    bool active() const { return m_active; }

    // Whether the cell from lo to hi lies apart from the triangle, beyond the margin, along
    // one of the nine axes (see the proof above); only meaningful when active().
    bool separated(double const lo[3], double const hi[3]) const {
        double c[3], h[3];
        for (int a = 0; a < 3; ++a) {
            c[a] = 0.5 * lo[a] + 0.5 * hi[a];
            h[a] = 0.5 * hi[a] - 0.5 * lo[a];
        }
        for (int i = 0; i < 9; ++i) {
            double const *a = m_axis[i];
            double const centre = a[0] * c[0] + a[1] * c[1] + a[2] * c[2];
            double const radius = std::fabs(a[0]) * h[0] + std::fabs(a[1]) * h[1] + std::fabs(a[2]) * h[2];
            if ((centre - radius) - m_high[i] > m_slack[i] || m_low[i] - (centre + radius) > m_slack[i])
                return true;
        }
        return false;
    }

private:
    bool m_active = false;
    double m_axis[9][3];
    double m_low[9], m_high[9], m_slack[9];
};

} // namespace voxel
} // namespace ORVANE_DATABASE
