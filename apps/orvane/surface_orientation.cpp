#include "surface_orientation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace orvane {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

struct P2 {
    double y, z;
};

// Which side of the line s -> e the point q lies on, in the (y, z) plane, with q moved by an
// infinitesimal step (1, eps) so that the answer is never "on the line" (unless s == e): a
// point then lies inside exactly one of two projected triangles sharing an edge, and inside
// none at a vertex shared by a fan, so a ray's crossings are counted without double counts.
// The product is always formed with the two ends in one fixed order, so that both triangles
// of an edge get bit for bit the same value.
int side(P2 s, P2 e, P2 q) {
    bool const swapped = e.y < s.y || (e.y == s.y && e.z < s.z);
    if (swapped) std::swap(s, e);
    double const f = (e.y - s.y) * (q.z - s.z) - (e.z - s.z) * (q.y - s.y);
    int sign = (f > 0) - (f < 0);
    if (sign == 0) sign = (s.z > e.z) - (s.z < e.z);
    if (sign == 0) sign = (e.y > s.y) - (e.y < s.y);
    return swapped ? -sign : sign;
}

struct Mesh {
    ModelData &data;
    std::array<double, 3> point(std::uint32_t v) const {
        return {{data.coords[3 * v], data.coords[3 * v + 1], data.coords[3 * v + 2]}};
    }
    std::uint32_t corner(std::size_t t, int i) const { return data.corners[3 * t + static_cast<std::size_t>(i)]; }
    bool degenerate(std::size_t t) const {
        return corner(t, 0) == corner(t, 1) || corner(t, 1) == corner(t, 2) || corner(t, 2) == corner(t, 0);
    }
};

// Whether the ray from q along +x crosses triangle t (wound either way) beyond q.
bool rayCrosses(Mesh const &m, std::size_t t, std::array<double, 3> const &q) {
    std::array<double, 3> const a = m.point(m.corner(t, 0)), b = m.point(m.corner(t, 1)), c = m.point(m.corner(t, 2));
    P2 const pa{a[1], a[2]}, pb{b[1], b[2]}, pc{c[1], c[2]}, pq{q[1], q[2]};
    int const s1 = side(pa, pb, pq), s2 = side(pb, pc, pq), s3 = side(pc, pa, pq);
    if (s1 != s2 || s2 != s3 || s1 == 0) return false;
    auto area = [](P2 u, P2 v, P2 w) { return (v.y - u.y) * (w.z - u.z) - (v.z - u.z) * (w.y - u.y); };
    double const wa = area(pb, pc, pq), wb = area(pc, pa, pq), wc = area(pa, pb, pq);
    double const sum = wa + wb + wc;
    if (sum == 0) return false;
    return (wa * a[0] + wb * b[0] + wc * c[0]) / sum > q[0];
}

}  // namespace

std::array<double, 3> facetNormal(std::array<double, 3> const &a, std::array<double, 3> const &b,
                                  std::array<double, 3> const &c) {
    double const e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    double const e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    std::array<double, 3> n{{e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                             e1[0] * e2[1] - e1[1] * e2[0]}};
    double const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (!(length > 0) || !std::isfinite(length)) return {{0, 0, 0}};
    for (double &x : n) x /= length;
    return n;
}

OrientationReport orientSurface(ModelData &data, OutwardScore const &score) {
    Mesh const m{data};
    std::size_t const triangles = data.triangleCount(), vertices = data.vertexCount();
    OrientationReport report;

    // Triangles around each vertex (CSR), degenerate ones left out.
    std::vector<std::uint32_t> start(vertices + 1, 0);
    for (std::size_t t = 0; t < triangles; ++t)
        if (!m.degenerate(t))
            for (int i = 0; i < 3; ++i) ++start[m.corner(t, i) + 1];
    for (std::size_t v = 0; v < vertices; ++v) start[v + 1] += start[v];
    std::vector<std::uint32_t> around(start[vertices]);
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t t = 0; t < triangles; ++t)
            if (!m.degenerate(t))
                for (int i = 0; i < 3; ++i) around[fill[m.corner(t, i)]++] = static_cast<std::uint32_t>(t);
    }
    // Across each side e of each triangle (corner e to corner e + 1): the one other triangle
    // using that edge, or kNone when it has none or several. `same` marks a neighbour that
    // runs the edge the same way.
    std::vector<std::uint32_t> across(3 * triangles, kNone);
    std::vector<char> same(3 * triangles, 0);
    for (std::size_t t = 0; t < triangles; ++t) {
        if (m.degenerate(t)) continue;
        for (int e = 0; e < 3; ++e) {
            std::uint32_t const a = m.corner(t, e), b = m.corner(t, (e + 1) % 3);
            std::uint32_t other = kNone;
            int users = 1;
            bool sameWay = false;
            for (std::uint32_t i = start[a]; i < start[a + 1]; ++i) {
                std::uint32_t const u = around[i];
                if (u == t) continue;
                for (int f = 0; f < 3; ++f) {
                    if (m.corner(u, f) != a) continue;
                    if (m.corner(u, (f + 1) % 3) == b) ++users, other = u, sameWay = true;
                    else if (m.corner(u, (f + 2) % 3) == b) ++users, other = u, sameWay = false;
                }
            }
            if (users == 2) {
                across[3 * t + static_cast<std::size_t>(e)] = other;
                same[3 * t + static_cast<std::size_t>(e)] = sameWay;
            }
        }
    }

    // Pieces by breadth-first search from their lowest triangle; flip[t] makes t agree with it.
    std::vector<std::uint32_t> piece(triangles, kNone);
    std::vector<char> flip(triangles, 0);
    struct Piece {
        bool closed = true, orientable = true;
        double volume6 = 0, score = 0;
        std::array<double, 3> lo{}, hi{};
        std::size_t widest = 0;   // triangle of largest area, for the inside test
        double widestArea = -1;
        std::vector<std::uint32_t> members;
    };
    std::vector<Piece> pieces;
    std::vector<std::uint32_t> queue;
    for (std::size_t seed = 0; seed < triangles; ++seed) {
        if (m.degenerate(seed) || piece[seed] != kNone) continue;
        std::uint32_t const id = static_cast<std::uint32_t>(pieces.size());
        pieces.emplace_back();
        Piece &p = pieces.back();
        queue.assign(1, static_cast<std::uint32_t>(seed));
        piece[seed] = id;
        for (std::size_t head = 0; head < queue.size(); ++head) {
            std::uint32_t const t = queue[head];
            p.members.push_back(t);
            for (int e = 0; e < 3; ++e) {
                std::uint32_t const u = across[3 * std::size_t(t) + static_cast<std::size_t>(e)];
                if (u == kNone) {
                    p.closed = false;
                    continue;
                }
                char const want = static_cast<char>(flip[t] ^ same[3 * std::size_t(t) + static_cast<std::size_t>(e)]);
                if (piece[u] == kNone) {
                    piece[u] = id;
                    flip[u] = want;
                    queue.push_back(u);
                } else if (flip[u] != want) {
                    p.orientable = false;
                }
            }
        }
    }

    // Volume (relative to the box centre), box, widest triangle and score of each piece.
    double lo[3] = {0, 0, 0}, hi[3] = {0, 0, 0};
    for (std::size_t v = 0; v < vertices; ++v)
        for (int c = 0; c < 3; ++c) {
            double const x = data.coords[3 * v + static_cast<std::size_t>(c)];
            if (v == 0 || x < lo[c]) lo[c] = x;
            if (v == 0 || x > hi[c]) hi[c] = x;
        }
    double const centre[3] = {(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2};
    for (Piece &p : pieces) {
        bool first = true;
        for (std::uint32_t t : p.members) {
            std::array<double, 3> q[3];
            for (int i = 0; i < 3; ++i) {
                q[i] = m.point(m.corner(t, i));
                for (int c = 0; c < 3; ++c) {
                    p.lo[c] = first ? q[i][c] : std::min(p.lo[c], q[i][c]);
                    p.hi[c] = first ? q[i][c] : std::max(p.hi[c], q[i][c]);
                    q[i][c] -= centre[c];
                }
                first = false;
            }
            double const e1[3] = {q[1][0] - q[0][0], q[1][1] - q[0][1], q[1][2] - q[0][2]};
            double const e2[3] = {q[2][0] - q[0][0], q[2][1] - q[0][1], q[2][2] - q[0][2]};
            double const n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                                 e1[0] * e2[1] - e1[1] * e2[0]};
            double const sign = flip[t] ? -1.0 : 1.0;
            p.volume6 += sign * (q[0][0] * n[0] + q[0][1] * n[1] + q[0][2] * n[2]);
            double const area = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
            if (area > p.widestArea) p.widestArea = area, p.widest = t;
            if (score && !p.closed) p.score += sign * score(t);
        }
    }

    // Decide each piece's outward side.
    report.pieces = pieces.size();
    for (std::size_t id = 0; id < pieces.size(); ++id) {
        Piece &p = pieces[id];
        bool reverse = false;
        if (!p.orientable) {
            ++report.nonOrientable;
            for (std::uint32_t t : p.members) flip[t] = 0;
            continue;
        }
        if (p.closed) {
            ++report.closedPieces;
            // The inside test: how many other closed pieces a ray from this piece crosses an
            // odd number of times.
            std::array<double, 3> q{};
            for (int i = 0; i < 3; ++i) {
                std::array<double, 3> const c = m.point(m.corner(p.widest, i));
                for (int k = 0; k < 3; ++k) q[k] += c[k] / 3;
            }
            int depth = 0;
            for (std::size_t other = 0; other < pieces.size(); ++other) {
                Piece const &o = pieces[other];
                if (other == id || !o.closed || !o.orientable || o.hi[0] < q[0] || q[1] < o.lo[1] ||
                    q[1] > o.hi[1] || q[2] < o.lo[2] || q[2] > o.hi[2])
                    continue;
                bool in = false;
                for (std::uint32_t t : o.members) in ^= rayCrosses(m, t, q);
                depth += in;
            }
            bool const cavity = depth % 2 == 1;
            reverse = cavity ? p.volume6 > 0 : p.volume6 < 0;
        } else if (score && p.score != 0) {
            reverse = p.score < 0;
        } else {
            ++report.undecided;
        }
        if (reverse)
            for (std::uint32_t t : p.members) flip[t] ^= 1;
    }
    for (std::size_t t = 0; t < triangles; ++t)
        if (flip[t]) {
            std::swap(data.corners[3 * t + 1], data.corners[3 * t + 2]);
            ++report.flipped;
        }
    return report;
}

}  // namespace orvane
