#pragma once
// Welding of points into shared vertices, in linear time, with exactly the result of the
// library's own way of merging: a std::map ordered by OrvaneDatabase::LessThan, asked for each
// point in turn (find; on a miss, a new vertex and an insertion).
//
// LessThan treats coordinates closer than 1e-9 as equal. That order is not transitive, so
// which earlier point the map finds for a near-duplicate depends on the shape of its tree.
// The welder therefore takes the fast path only while it can prove that the map would find
// exactly what a hash finds:
//   - a point numerically equal to an earlier vertex (every coordinate ==, so +0 and -0 agree)
//     compares with every map key exactly as that vertex does, so the map's search ends at
//     that vertex (or at an equivalent one, which the next rule excludes);
//   - a new point that LessThan finds equivalent to no earlier vertex is a miss for the map.
// To know the second, the welder looks up every earlier vertex that could be LessThan-
// equivalent to the new point - those whose first differing coordinate (x, then y, then z)
// lies within 2e-9 plus rounding of the point's - through three hash indices (distinct x
// values, distinct (x, y) pairs, vertices), and evaluates LessThan on each. Real meshes
// either repeat corners bit for bit or keep them far apart, so these candidates are rare.
// The first time one is equivalent, the welder switches for good to the literal procedure:
// it builds the ordered map from the vertices so far, inserted in the same order (so the
// map's tree is the one the literal procedure would have), and goes on with it.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "OrvaneDatabase.h"
#include "Point3D.h"

namespace orvane {

class PointWelder {
public:
    // New vertices are appended to `coords` (x, y, z each), which must start empty and must
    // not be changed by anyone else while the welder lives.
    explicit PointWelder(std::vector<double> &coords);
    ~PointWelder();
    PointWelder(PointWelder const &) = delete;
    PointWelder &operator=(PointWelder const &) = delete;

    // Room for about `points` distinct vertices (a hint).
    void reserve(std::size_t points);

    // Index of the vertex for (x, y, z): an earlier one the ordered map would find, or a new
    // one. Coordinates must be finite. Throws std::length_error past 2^32 - 1 vertices.
    std::uint32_t add(double x, double y, double z);

    // add() for `count` points (x, y, z each) in order, writing their indices to `indices`;
    // the same result, faster on large inputs (the hash probes of later points are fetched
    // from memory while earlier ones are welded).
    void addAll(double const *points, std::size_t count, std::uint32_t *indices);

    std::size_t vertexCount() const { return coords_.size() / 3; }
    // Whether a near-duplicate made the welder fall back to the ordered map (for tests).
    bool usesOrderedMap() const { return map_ != nullptr; }

private:
    class Index;   // open-addressing hash from a 64-bit key to a chain head

    static constexpr std::uint32_t kNone = 0xffffffffu;

    std::uint32_t addFast(double x, double y, double z);
    std::uint32_t addOrdered(double x, double y, double z);
    std::uint32_t appendVertex(double x, double y, double z);
    void switchToOrderedMap();
    // List a vertex under its (x, y) pair and its x value (every vertex, or only those near
    // zero on that axis while every coordinate is a float).
    void indexPair(std::uint32_t v);
    void indexValue(std::uint32_t v);
    // Leaves the float mode: indexes the groups of every vertex so far.
    void leaveFloatMode();
    // Whether LessThan finds some earlier vertex equivalent to p (which is equal to none).
    bool hasEquivalent(double const *p) const;
    bool equivalent(double const *p, std::uint32_t vertex) const;
    double const *at(std::uint32_t vertex) const { return coords_.data() + 3 * std::size_t(vertex); }

    std::vector<double> &coords_;
    // Vertices by (x, y, cell of z); chained through nextInCell_.
    std::unique_ptr<Index> vertices_;
    std::vector<std::uint32_t> nextInCell_;
    // Distinct (x, y) pairs by (x, cell of y), and distinct x values by cell of x; each pair
    // or value is represented by its first vertex and lists every vertex that has it.
    std::unique_ptr<Index> pairs_;
    std::unique_ptr<Index> values_;
    std::vector<std::uint32_t> pairFirst_, valueFirst_;        // per group: first vertex
    std::vector<std::uint32_t> pairNextInCell_, valueNextInCell_;
    std::vector<std::uint32_t> nextWithPair_, nextWithValue_;  // per vertex: same group
    bool floats_ = true;   // every coordinate so far is a float

    // The literal procedure, once a near-duplicate has been met.
    std::deque<ORVANE_DATABASE::Point3D> points_;
    std::unique_ptr<std::map<ORVANE_DATABASE::Point3D *, std::uint32_t,
                             ORVANE_DATABASE::OrvaneDatabase::LessThan>>
        map_;
};

}  // namespace orvane
