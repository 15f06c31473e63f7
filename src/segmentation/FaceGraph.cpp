#include "segmentation/FaceGraph.h"

#include "segmentation/CornerPoints.h"
#include "segmentation/RadixSort.h"

#include "Edge.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <cmath>
#include <set>
#include <stdexcept>

namespace ORVANE_DATABASE {

Triangle *neighbourAcross(Triangle *t, Edge *e) {
    std::set<Triangle *> const &around = *e->triangles;
    if (around.size() < 2) return nullptr;
    auto it = around.find(t);
    if (it == around.end()) return nullptr;
    ++it;
    return it == around.end() ? *around.begin() : *it;
}

Vector3D triangleNormal(std::vector<Vertex *> const &vertices, Triangle *t) {
    Vector3D const &p = vertices.at(t->vertexIndex(0))->point()->vector();
    Vector3D const &q = vertices.at(t->vertexIndex(1))->point()->vector();
    Vector3D const &r = vertices.at(t->vertexIndex(2))->point()->vector();
    return (q - p) ^ (r - p);
}

AngleLimit::AngleLimit(double limit) : m_limit(limit) {
    // Inside this range the shortcut's margin (about 5e-7 * sin * cos of the limit, at least
    // 5e-10 radians) is far above the rounding of atan2, sqrt and tan.
    double const halfPi = 1.5707963267948966;
    if (limit >= 1e-3 && limit <= halfPi - 1e-3) {
        double const t = std::tan(limit);
        m_shortcut = true;
        m_surelyBelow = t * t * (1.0 - 1e-6);
        m_surelyAbove = t * t * (1.0 + 1e-6);
    }
}

bool AngleLimit::exceeded(Vector3D const &n, Vector3D const &m) const {
    // Vector3D::angle(m, nullptr, Tolerance()) step by step, on the same doubles.
    double const t = Tolerance().value();
    // |v| < t, with the square root taken only near the threshold (|v|^2 >= 4 t^2 means
    // |v| >= 2 t).
    auto shorter = [t](Vector3D const &v) { return v.magnitudeSqr() < 4 * t * t && v.magnitude() < t; };
    if (shorter(n) || shorter(m)) return -1.0 > m_limit;
    Vector3D const c = n ^ m;
    double const sine2 = c.magnitudeSqr();   // |n ^ m|^2
    double const cosine = n * m;
    if (m_shortcut && cosine > 0.0) {
        // With the limit in (0, pi/2), the angle is atan(|n ^ m| / (n . m)); a finite ratio
        // clearly below or above tan(limit) decides. (Both lengths are at least 1e-13, so
        // sine2 and cosine^2 cannot both be tiny: an underflowing square is negligible.)
        double const cosine2 = cosine * cosine;
        if (std::isfinite(sine2) && std::isfinite(cosine2)) {
            if (sine2 < cosine2 * m_surelyBelow) return false;
            if (sine2 > cosine2 * m_surelyAbove) return true;
        }
    }
    double const theta = std::atan2(std::sqrt(sine2), cosine);
    return (theta < t ? 0.0 : theta) > m_limit;
}

namespace {

// The reads of the edge-by-edge strong test in its own order (the mesh's list, edges 0, 1, 2,
// each edge from the first triangle of its set, then its second triangle): the first corner
// naming no vertex throws std::out_of_range from vertices.at(), as that test would. Run only
// when some triangle has such a corner.
void readJudgedCorners(Triangulation const &mesh) {
    std::vector<Vertex *> const &vertices = mesh.vertexList();
    for (Triangle *t : mesh.triangleList())
        for (int slot = 0; slot < 3; ++slot) {
            Edge *e = t->edge(slot);
            if (!e || e->triangles->size() < 2 || *e->triangles->begin() != t) continue;
            auto it = e->triangles->begin();
            triangleNormal(vertices, *it);
            triangleNormal(vertices, *++it);
        }
}

}  // namespace

FaceGraph::FaceGraph(Triangulation const &mesh, CornerPoints const &points, double limit)
    : m_ranks(mesh.triangleList()), m_badCorner(points.badCorner()) {
    std::vector<Vertex *> const &vertices = mesh.vertexList();
    std::size_t const count = m_ranks.size();
    if (m_badCorner) readJudgedCorners(mesh);   // throws if the edge test reads such a corner

    // Normals are computed where an edge is judged, from the gathered points (a few flops
    // instead of a stored array). Triangles outside the list are read directly. A triangle
    // with a corner naming no vertex is never judged here (readJudgedCorners would have
    // thrown).
    auto normalOf = [&](Triangle *t, Rank r) {
        return r != kNone ? points.normal(t) : triangleNormal(vertices, t);
    };

    AngleLimit const angleLimit(limit);
    m_nodes.assign(count, Node());
    std::vector<Triangle *> ring;
    std::vector<Rank> ringRanks;
    // Visiting triangles in pointer order keeps the reads of Triangle objects in address order.
    for (Rank r = 0; r < count; ++r) {
        Triangle *t = m_ranks.item(r);
        for (int slot = 0; slot < 3; ++slot) {
            if (m_nodes[r].across[slot] != kUnset) continue;
            Edge *e = t->edge(slot);
            if (!e) {
                m_nodes[r].across[slot] = kNone;
                continue;
            }
            std::set<Triangle *> const &around = *e->triangles;
            if (around.empty() || *around.begin() != t) continue;   // visited from its first triangle
            if (around.size() == 1) {
                m_strong.push_back({e, r, kNone});
                setSlots(t, r, e, kNone);
                continue;
            }
            auto second = std::next(around.begin());
            Triangle *u = *second;
            Rank const ru = m_ranks.rankOf(u);
            bool const strong = angleLimit.exceeded(normalOf(t, r), normalOf(u, ru));
            if (strong) m_strong.push_back({e, r, ru});
            if (around.size() == 2) {
                setSlots(t, r, e, strong ? kNone : ru);
                if (ru != kNone) setSlots(u, ru, e, strong ? kNone : r);
                continue;
            }
            ring.assign(around.begin(), around.end());
            ringRanks.resize(ring.size());
            for (std::size_t i = 0; i < ring.size(); ++i) ringRanks[i] = i == 0 ? r : i == 1 ? ru : m_ranks.rankOf(ring[i]);
            for (std::size_t i = 0; i < ring.size(); ++i)
                if (ringRanks[i] != kNone)
                    setSlots(ring[i], ringRanks[i], e, strong ? kNone : ringRanks[(i + 1) % ring.size()]);
        }
    }
    // Slots not reached from an edge's first triangle: that triangle is not in this mesh's
    // list, or this triangle is not in the edge's set. Such an edge was not judged, so it is
    // not strong.
    for (Rank r = 0; r < count; ++r)
        for (int slot = 0; slot < 3; ++slot) {
            Rank &a = m_nodes[r].across[slot];
            if (a != kUnset) continue;
            Triangle *n = neighbourAcross(m_ranks.item(r), m_ranks.item(r)->edge(slot));
            a = n ? m_ranks.rankOf(n) : kNone;
        }
    sortByAddress(m_strong, [](StrongEdge const &s) { return s.edge; });
}

void FaceGraph::setSlots(Triangle *t, Rank r, Edge *e, Rank value) {
    for (int slot = 0; slot < 3; ++slot) {
        Rank &a = m_nodes[r].across[slot];
        if (a == kUnset && t->edge(slot) == e) a = value;
    }
}

void FaceGraph::requireCorners() const {
    if (m_badCorner) throw std::out_of_range("Segmentation: a triangle corner names no vertex");
}

}  // namespace ORVANE_DATABASE
