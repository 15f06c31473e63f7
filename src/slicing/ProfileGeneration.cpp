// The profile engine: Profiler::generateProfile.
//
// The result is that of cutting, plane by plane in ascending order, every triangle that the
// cell index offers for the plane's cutting triangle, in ascending triangle index, with the
// exact triangle-triangle test, then stitching the plane's segments. The engine reaches the
// same result without asking the cell index per plane (for an oblique plane its query box
// spans the whole grid, so every triangle would be tested against every plane):
//
//  1. Candidates come from a sweep over the planes' distances (PlaneSweep.h). A triangle is
//     offered to a plane when its corners' projections on the normal, widened by a margin,
//     reach the plane's distance. The margin bounds how far the exact test's arithmetic (a
//     cutting triangle built from rounded axes around a rounded foot point, unnormalised
//     plane values) can stray from the projections; it is far larger than that bound and
//     still negligible (about 1e-8 units for meshes within 1000 units of the origin). A
//     triangle outside it has all three plane values of one strict sign in the exact test,
//     which therefore rejects it: the candidates are a superset of what the test cuts.
//  2. Every candidate goes through the very test the private operations use
//     (TriangleIntersection.h), and a cut is kept only if the cell index would have offered
//     the triangle: its registration block meets the plane's query block. That check costs
//     a few comparisons per cut and makes the equivalence exact, also where the cell rules
//     (clamping, the cutting triangle's limited box) decide. Two shortcuts leave the test's
//     outcome bit for bit as it is: where the whole mesh lies deep inside the cutting
//     triangle, a triangle's cut is its own interval on the line of intersection
//     (InsideCut), and where all planes share one normal (slicing along an axis), a
//     triangle's products with that normal are formed once, when it enters the sweep.
//  3. Cuts of one plane through one mesh edge meet, so their ends are paired. Where planes
//     are dense (several cuts per triangle) each triangle side learns once, from a sort of
//     all sides (SideNeighbours.h), which side lies across it, and an end finds its partner
//     through the triangle across. Where they are sparse, as when a large mesh is cut into
//     layers, that mesh-wide sort would cost more time and memory than the cuts themselves:
//     the ends then record their edge's vertex pair and meet in lists under the edge's lower
//     vertex (EdgePairing). The two can differ only around edges of three or more triangles
//     (a sort sees all of them, a plane only those it cuts), which is why pairs are a claim:
//     the shared chainer adopts them as the finest-level matches once it has verified them
//     (taking the matches from the coordinates where ends crowd, near mesh vertices, or
//     everywhere when the pairs do not hold together: coincident sheets, unwelded meshes),
//     drops repeated segments and builds the one-step stitching's chains in linear time.
//     The chains are the same whichever pairs it is given.
//  4. Planes of equal distance give equal cuts: the first is computed, the others deliver
//     copies (a flat mesh sliced n times costs one plane, not n).
//
// Nothing is allocated per candidate, and per plane only the delivered contours: vertex
// coordinates and projections are read once per call into flat arrays, corner indices come
// from the cell index (read once, at construction), a triangle's data are gathered into the
// sweep's pool once, when it enters, and the per-plane buffers (cut, edge pairing, chainer)
// are reused.
#include "Profiler.h"

#include "Direction3D.h"
#include "PLC.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "entities/SegmentChainer.h"
#include "slicing/CuttingPlanes.h"
#include "slicing/PlaneSweep.h"
#include "slicing/SegmentRecords.h"
#include "slicing/SideNeighbours.h"
#include "slicing/TriangleIntersection.h"
#include "slicing/VoxelGrid.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

namespace ORVANE_DATABASE {

namespace {

using slicing::PlaneSweep;
using Index = PlaneSweep::Index;

// Coordinates beyond this magnitude (or not finite) could overflow the test's products, so
// the margin argument does not cover them: such triangles are offered to every plane.
constexpr double kWild = 1e100;

// The mesh as flat arrays: vertex coordinates and projections read once per call, corner
// indices as the cell index read them at construction.
struct MeshArrays {
    std::vector<double> xyz;                    // 3 per vertex
    std::vector<double> projection;             // per vertex: normal . point; NaN for wild vertices
    std::vector<std::uint32_t> const *corners;  // 3 per triangle
    double magnitude = 0.0;                     // largest |coordinate| of the tame vertices
    double lower[3], upper[3];                  // box of the vertices ...
    bool allTame = true;                        // ... meaningful when every vertex is tame

    void read(Triangulation &mesh, std::vector<std::uint32_t> const &cornerIndices, Vector3D const &n) {
        std::vector<Vertex *> const &vertices = mesh.vertexList();
        corners = &cornerIndices;
        xyz.resize(3 * vertices.size());
        projection.resize(vertices.size());
        magnitude = 0.0;
        allTame = true;
        for (int a = 0; a < 3; ++a) {
            lower[a] = std::numeric_limits<double>::infinity();
            upper[a] = -std::numeric_limits<double>::infinity();
        }
        for (std::size_t v = 0; v < vertices.size(); ++v) {
            Point3D const &p = *vertices[v]->point();
            double const x = p.x(), y = p.y(), z = p.z();
            xyz[3 * v] = x;
            xyz[3 * v + 1] = y;
            xyz[3 * v + 2] = z;
            double const m = std::max(std::fabs(x), std::max(std::fabs(y), std::fabs(z)));
            if (m <= kWild) {
                projection[v] = n.i() * x + n.j() * y + n.k() * z;
                magnitude = std::max(magnitude, m);
                double const c[3] = {x, y, z};
                for (int a = 0; a < 3; ++a) {
                    lower[a] = std::min(lower[a], c[a]);
                    upper[a] = std::max(upper[a], c[a]);
                }
            } else {
                projection[v] = std::numeric_limits<double>::quiet_NaN();
                allTame = false;
            }
        }
    }
    Index corner(std::size_t t, std::size_t c) const { return (*corners)[3 * t + c]; }
    double const *point(Index v) const { return xyz.data() + 3 * static_cast<std::size_t>(v); }
};

// Cuts per triangle (on average) from which the mesh-wide side neighbours pay off: they cost
// a sort of all sides once per call, the edge lists a little more per cut.
constexpr double kDenseCuts = 3.0;

// No mesh edge: an end inside its triangle, or on a side whose two corners are one vertex.
constexpr std::uint64_t kNoEdge = ~std::uint64_t{0};

// The mesh edge joining vertices a and b, as one key whichever way round.
std::uint64_t edgeKey(Index a, Index b) {
    if (a == b) return kNoEdge;
    return static_cast<std::uint64_t>(std::min(a, b)) << 32 | std::max(a, b);
}

// How the ends of one plane's cuts find the end they meet (see the header comment).
enum class Pairing { AcrossSides, ByEdges };

// One plane's cut: the segments in candidate order, each with the triangle it cuts and, per
// end, the side of that triangle it lies on (slicing::kNoSide) with either the side across
// it (AcrossSides: 3 t' + s', or slicing::kNoNeighbour) or the mesh edge it lies on
// (ByEdges: edgeKey, or kNoEdge), and the end it meets, when known. Reused from plane to
// plane.
struct PlaneCut {
    std::vector<SegmentEnds> segments;
    std::vector<std::uint32_t> triangles;
    std::vector<std::int8_t> sides;
    std::vector<std::uint32_t> across;     // per end, AcrossSides
    std::vector<std::uint64_t> edges;      // per end, ByEdges
    std::vector<std::uint32_t> partners;   // per end, for the chainer

    void clear() {
        segments.clear();
        triangles.clear();
        sides.clear();
        across.clear();
        edges.clear();
    }
    // Sizes the per-segment arrays for `n` segments, and the per-end arrays that `pairing`
    // uses for their 2n ends.
    void resize(std::size_t n, Pairing pairing) {
        segments.resize(n);
        triangles.resize(n);
        sides.resize(2 * n);
        if (pairing == Pairing::AcrossSides)
            across.resize(2 * n);
        else
            edges.resize(2 * n);
    }
    // Adds the cut to the slicer's records, under the plane's cutting triangle.
    void record(slicing::FirstTriangle const &cutter, slicing::SegmentRecords &records) const {
        records.beginPlane(&cutter.v[0][0]);
        records.add(triangles.data(), triangles.data() + triangles.size());
    }
};

// Cuts every candidate with the plane's cutting triangle and keeps the cuts of the
// triangles that the cell index offers (`offered`). `inside` and `sharedNormal` are the
// test's shortcuts for this plane (see TriangleIntersection.h).
void cutCandidates(slicing::FirstTriangle const &cutter, slicing::InsideCut const &inside,
                   bool sharedNormal, IndexMembership const &offered, PlaneSweep const &sweep,
                   std::vector<PlaneSweep::Listed> const &candidates, double shortSquare,
                   Pairing pairing, PlaneCut &cut) {
    // Sized for every candidate, written in place (no temporaries), trimmed at the end.
    cut.resize(candidates.size(), pairing);
    std::size_t m = 0;
    // Candidates sit in the sweep's pool in no particular order: each is requested a few
    // entries ahead of use.
    constexpr std::size_t kAhead = 4;
    for (std::size_t k = 0; k < candidates.size(); ++k) {
        if (k + kAhead < candidates.size()) sweep.prefetch(candidates[k + kAhead].slot);
        PlaneSweep::Listed const &listed = candidates[k];
        PlaneSweep::Candidate const &candidate = sweep.candidate(listed.slot);
        double const *u = candidate.shape.corners;
        double *p = &cut.segments[m].first.vector()[0];
        double *q = &cut.segments[m].second.vector()[0];
        int sides[2];
        if (!slicing::cutSegment(cutter, inside, sharedNormal, candidate.shape, shortSquare, p, q, sides)) continue;
        // The triangle's box as VoxelGrid::cornerBox forms it (min/max of the corners).
        double lower[3], upper[3];
        for (int a = 0; a < 3; ++a) {
            lower[a] = std::min(std::min(u[a], u[3 + a]), u[6 + a]);
            upper[a] = std::max(std::max(u[a], u[3 + a]), u[6 + a]);
        }
        if (!offered.offers(lower, upper)) continue;
        cut.triangles[m] = candidate.triangle;
        for (int e = 0; e < 2; ++e) {
            int const s = sides[e];
            cut.sides[2 * m + e] = static_cast<std::int8_t>(s);
            if (pairing == Pairing::AcrossSides) {
                cut.across[2 * m + e] = s == slicing::kNoSide ? slicing::kNoNeighbour : candidate.links[s];
            } else {
                // Side s joins corners s and s + 1 (mod 3).
                static constexpr int kNext[3] = {1, 2, 0};
                cut.edges[2 * m + e] =
                    s == slicing::kNoSide ? kNoEdge : edgeKey(candidate.links[s], candidate.links[kNext[s]]);
            }
        }
        ++m;
    }
    cut.resize(m, pairing);
}

// AcrossSides: pairs the end on side s of triangle t with the end on the side across it, when
// that triangle was cut in this plane as well. `cutAs` (per triangle) holds, for the
// triangles cut in plane `plane` (high 32 bits), the segment (low 32 bits).
void pairAcrossSides(PlaneCut &cut, std::vector<std::uint64_t> &cutAs, std::uint32_t plane) {
    std::size_t const n = cut.segments.size();
    std::uint64_t const stamp = static_cast<std::uint64_t>(plane) << 32;
    for (std::size_t s = 0; s < n; ++s) cutAs[cut.triangles[s]] = stamp | s;
    cut.partners.assign(2 * n, SegmentChainer::kNoPartner);
    for (std::size_t e = 0; e < 2 * n; ++e) {
        std::uint32_t const across = cut.across[e];
        if (across == slicing::kNoNeighbour) continue;
        std::uint64_t const as = cutAs[across / 3];
        if ((as >> 32) != plane) continue;
        std::uint32_t const other = static_cast<std::uint32_t>(as);
        int const otherSide = static_cast<int>(across % 3);
        if (cut.sides[2 * other] == otherSide)
            cut.partners[e] = 2 * other;
        else if (cut.sides[2 * other + 1] == otherSide)
            cut.partners[e] = 2 * other + 1;
    }
}

// ByEdges: pairs the ends of one plane's cuts that lie on one mesh edge: exactly two ends on
// the edge, of two different triangles. An edge with one end (a border), three or more (a
// non-manifold edge, a duplicated face) or two ends of one degenerate triangle pairs
// nothing, as findSideNeighbours gives no neighbour to its sides. The pairs are a claim that
// the chainer verifies.
//
// The first end found on an edge is listed under the edge's lower vertex (a per-vertex head,
// stamped per plane so that it is never cleared), later ends on the edge find it there. Ends
// come in triangle order and neighbouring triangles share vertices of nearby indices, so the
// heads touched in a row lie close together, as the cuts' vertices do.
class EdgePairing {
public:
    explicit EdgePairing(std::size_t vertices) : head_(vertices) {}

    void pair(PlaneCut &cut) {
        std::size_t const ends = cut.edges.size();
        if (ends >= kNone) throw std::length_error("generateProfile: too many cuts in one plane");
        if (++stamp_ == 0) {   // wrapped: stamps of old planes could come back
            std::fill(head_.begin(), head_.end(), Head{0, 0});
            stamp_ = 1;
        }
        cut.partners.assign(ends, SegmentChainer::kNoPartner);
        std::uint32_t *partners = cut.partners.data();
        next_.resize(ends);
        many_.assign(ends, 0);
        std::uint64_t const *edges = cut.edges.data();
        for (std::uint32_t e = 0; e < ends; ++e) {
            std::uint64_t const key = edges[e];
            if (key == kNoEdge) continue;
            Head &head = head_[static_cast<std::size_t>(key >> 32)];
            std::uint32_t f = head.stamp == stamp_ ? head.end : kNone;
            while (f != kNone && edges[f] != key) f = next_[f];
            if (f == kNone) {   // the edge's first end
                next_[e] = head.stamp == stamp_ ? head.end : kNone;
                head = Head{stamp_, e};
            } else if (many_[f]) {
            } else if (partners[f] == SegmentChainer::kNoPartner && f / 2 != e / 2) {
                partners[f] = e;
                partners[e] = f;
            } else {   // not an edge of exactly two cut triangles
                if (partners[f] != SegmentChainer::kNoPartner)
                    partners[partners[f]] = SegmentChainer::kNoPartner;
                partners[f] = SegmentChainer::kNoPartner;
                many_[f] = 1;
            }
        }
    }

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;
    struct Head {
        std::uint32_t stamp, end;
    };
    std::vector<Head> head_;            // per vertex: the last first-end listed under it
    std::vector<std::uint32_t> next_;   // per first end: the one listed before it, same vertex
    std::vector<std::uint8_t> many_;    // per first end: three or more ends on its edge
    std::uint32_t stamp_ = 0;
};

void releaseAll(std::vector<PLC *> &contours) {
    for (PLC *c : contours) releaseContour(c);
    contours.clear();
}

// Names a contour Slice_<counter + 1> and hands it to `out` (or releases it on failure).
void deliverOne(PLC *contour, std::vector<PLC *> &out, int &counter) {
    std::unique_ptr<PLC, void (*)(PLC *)> owned(contour, &releaseContour);
    owned->setName("Slice_" + std::to_string(counter + 1));
    out.push_back(owned.get());
    owned.release();
    ++counter;
}

// Names the contours Slice_<counter> in order and hands them to `out`.
void deliver(std::vector<PLC *> &contours, std::vector<PLC *> &out, int &counter) {
    try {
        for (PLC *&c : contours) {
            PLC *const contour = c;
            c = nullptr;
            deliverOne(contour, out, counter);
        }
    } catch (...) {
        releaseAll(contours);
        throw;
    }
    contours.clear();
}

// New contours with new points at the coordinates of out[first, last), in order.
void copyContours(std::vector<PLC *> const &out, std::size_t first, std::size_t last,
                  std::vector<PLC *> &copies) {
    try {
        for (std::size_t k = first; k < last; ++k) {
            std::unique_ptr<PLC, void (*)(PLC *)> copy(new PLC(), &releaseContour);
            std::vector<Point3D *> const &points = *out[k]->pointList();
            copy->pointList()->reserve(points.size());
            for (Point3D const *p : points) {
                auto point = std::make_unique<Point3D>(*p);
                copy->addPoint(point.get());
                point.release();
            }
            copies.push_back(copy.release());
        }
    } catch (...) {
        releaseAll(copies);
        throw;
    }
}

// Chains the plane's segments (repeats dropped) and delivers one contour per chain.
void chainAndDeliver(PlaneCut &cut, SegmentChainer &chainer, std::vector<PLC *> &out, int &counter) {
    if (cut.segments.empty()) return;
    chainer.reset(cut.segments.data(), cut.segments.size(), cut.partners.data());
    chainer.dropRepeats();
    ChainPoint const *first, *last;
    while (chainer.nextChain(first, last)) deliverOne(makeContour(cut.segments.data(), first, last), out, counter);
}

}  // namespace

Outcome Profiler::generateProfile(std::vector<PLC *> &out) {
    if (sliceCount < 1 || triangulation == nullptr || direction == nullptr) return Outcome();

    Direction3D normal;
    std::vector<double> distances;
    slicing::planeDistances(direction->vector3D(), *triangulation->getBoundingBox(), sliceCount,
                            normal, distances);
    Vector3D const n = normal.vector3D();
    // A zero normal gives degenerate cutting triangles that cut nothing; a NaN one cuts
    // nothing meaningful. Either way: no contours.
    if (!(std::isfinite(n.i()) && std::isfinite(n.j()) && std::isfinite(n.k())) ||
        !(n.magnitudeSqr() > 0.0))
        return Outcome();

    Vector3D axisX, axisY, axisZ;
    findArbitraryAxis(n, Vector3D(0, 1, 0), Vector3D(0, 0, 1), axisX, axisY, axisZ);

    // The triangles the cell index registered at construction (triangles added to the mesh
    // later are never offered by it), with the corner indices it read then.
    std::vector<std::uint32_t> const *cornerIndices = voxelGrid->meshCorners();
    if (cornerIndices == nullptr || cornerIndices->empty()) return Outcome();
    std::size_t const triangleCount = cornerIndices->size() / 3;
    MeshArrays mesh;
    mesh.read(*triangulation, *cornerIndices, n);

    // Distinct finite distances, ascending: the sweep's groups.
    std::vector<double> groups;
    for (double d : distances)
        if (std::isfinite(d)) groups.push_back(d);
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    if (groups.empty()) return Outcome();

    double const reach = std::max(std::fabs(groups.front()), std::fabs(groups.back()));
    double const span = reach + 2.0 * mesh.magnitude + 2500.0;
    double const margin = 1e-12 * (span + span * span / 1000.0);

    auto interval = [&](std::size_t t, double &low, double &high) {
        double const a = mesh.projection[mesh.corner(t, 0)];
        double const b = mesh.projection[mesh.corner(t, 1)];
        double const c = mesh.projection[mesh.corner(t, 2)];
        if (std::isnan(a) || std::isnan(b) || std::isnan(c)) {
            low = high = std::numeric_limits<double>::quiet_NaN();
            return;
        }
        low = std::min(a, std::min(b, c)) - margin;
        high = std::max(a, std::max(b, c)) + margin;
    };
    // A plane's cutting triangle, as points and prepared for the test.
    auto cutterFor = [&](double distance, Point3D *corners, slicing::FirstTriangle &first) {
        slicing::cuttingTriangle(axisX, axisY, n, distance, corners);
        double v[3][3];
        for (int c = 0; c < 3; ++c) corners[c].vector().doubleArray(v[c]);
        slicing::prepareFirstTriangle(v[0], v[1], v[2], first);
    };
    // The cutting triangles' normal, when all planes share one bit for bit (planes along a
    // coordinate axis do): then each triangle's products with it are formed once.
    double sharedNormal[3] = {0, 0, 0};
    bool shared = true, seen = false;
    for (double d : groups) {
        Point3D corners[3];
        slicing::FirstTriangle first;
        cutterFor(d, corners, first);
        if (!seen) std::copy(first.n, first.n + 3, sharedNormal);
        shared = std::memcmp(first.n, sharedNormal, sizeof sharedNormal) == 0;
        seen = true;
        if (!shared) break;
    }
    // Sides across sides when the planes cut each triangle several times on average (judged
    // on an even sample of up to 4096 triangles), edge lists otherwise.
    Pairing pairing = Pairing::ByEdges;
    {
        std::size_t const step = std::max<std::size_t>(1, triangleCount / 4096);
        double cuts = 0.0, sampled = 0.0;
        for (std::size_t t = 0; t < triangleCount; t += step) {
            double low, high;
            interval(t, low, high);
            sampled += 1.0;
            if (!(low <= high)) continue;
            cuts += static_cast<double>(std::upper_bound(groups.begin(), groups.end(), high) -
                                        std::lower_bound(groups.begin(), groups.end(), low));
        }
        if (cuts >= kDenseCuts * sampled) pairing = Pairing::AcrossSides;
    }
    std::vector<std::uint32_t> neighbour;
    if (pairing == Pairing::AcrossSides)
        slicing::findSideNeighbours(*cornerIndices, triangulation->vertexList().size(), neighbour);
    auto corners = [&](std::size_t t, PlaneSweep::Candidate &c) {
        double *nine = c.shape.corners;
        for (std::size_t k = 0; k < 3; ++k) {
            Index const v = mesh.corner(t, k);
            double const *p = mesh.point(v);
            nine[3 * k] = p[0];
            nine[3 * k + 1] = p[1];
            nine[3 * k + 2] = p[2];
            c.links[k] = pairing == Pairing::AcrossSides ? neighbour[3 * t + k] : v;
        }
        c.shape.prepare(shared ? sharedNormal : nullptr);
    };
    // Entering triangles' corner indices, then their vertices, are requested ahead of use.
    auto prefetch = [&](Index t, int stage) {
#if defined(__GNUC__) || defined(__clang__)
        std::uint32_t const *row = mesh.corners->data() + 3 * static_cast<std::size_t>(t);
        if (stage == 0) {
            __builtin_prefetch(row);
            if (pairing == Pairing::AcrossSides)
                __builtin_prefetch(neighbour.data() + 3 * static_cast<std::size_t>(t));
            return;
        }
        for (int c = 0; c < 3; ++c) __builtin_prefetch(mesh.point(row[c]));
#else
        (void)t;
        (void)stage;
#endif
    };
    PlaneSweep sweep;
    sweep.reset(groups, triangleCount, interval);
    double const shortSquare = slicing::shortSegmentSquare();

    VoxelGrid &grid = *voxelGrid;
    PlaneCut cut;
    EdgePairing byEdges(pairing == Pairing::ByEdges ? mesh.projection.size() : 0);
    std::vector<std::uint64_t> cutAs(pairing == Pairing::AcrossSides ? triangleCount : 0, 0);
    std::uint32_t planeNumber = 0;
    SegmentChainer chainer;
    std::vector<PLC *> copies;   // a repeated plane's contours, not yet delivered
    std::size_t nextGroup = 0;
    int counter = 0;
    bool havePrevious = false;
    double previousDistance = 0.0;
    std::size_t previousFirst = 0, previousLast = 0;
    slicing::FirstTriangle cutter;

    for (std::size_t plane = 0; plane < distances.size(); ++plane) {
        double const distance = distances[plane];
        if (!std::isfinite(distance)) {
            havePrevious = false;
            continue;
        }
        if (havePrevious && distance == previousDistance) {
            cut.record(cutter, *segmentRecords);
            copyContours(out, previousFirst, previousLast, copies);
            std::size_t const first = out.size();
            deliver(copies, out, counter);
            previousFirst = first;
            previousLast = out.size();
            continue;
        }

        std::size_t const group = static_cast<std::size_t>(
            std::lower_bound(groups.begin(), groups.end(), distance) - groups.begin());
        // Distances ascend, so groups come in order; should one not, the sweep starts over.
        if (group < nextGroup) {
            sweep.reset(groups, triangleCount, interval);
            nextGroup = 0;
        }
        std::vector<PlaneSweep::Listed> const *candidates = nullptr;
        while (nextGroup <= group) {
            candidates = &sweep.next(corners, prefetch);
            ++nextGroup;
        }

        // The plane's cutting triangle and the cells its box covers.
        Point3D corners[3];
        cutterFor(distance, corners, cutter);
        CellBlock query;
        bool const reached = grid.queryBlock(VoxelGrid::cornerBox(corners[0], corners[1], corners[2]), query);
        if (reached) {
            // Every registered triangle lies in the vertices' box (when all are tame).
            slicing::InsideCut inside;
            if (mesh.allTame) inside.prepare(cutter, mesh.lower, mesh.upper);
            cutCandidates(cutter, inside, shared, IndexMembership(grid, query), sweep, *candidates, shortSquare,
                          pairing, cut);
        } else {
            cut.clear();
        }
        cut.record(cutter, *segmentRecords);
        std::size_t const first = out.size();
        if (!cut.segments.empty()) {
            if (pairing == Pairing::AcrossSides)
                pairAcrossSides(cut, cutAs, ++planeNumber);
            else
                byEdges.pair(cut);
            chainAndDeliver(cut, chainer, out, counter);
        }
        havePrevious = true;
        previousDistance = distance;
        previousFirst = first;
        previousLast = out.size();
    }
    return Outcome();
}

}  // namespace ORVANE_DATABASE
