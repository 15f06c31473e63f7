#pragma once
// The classes of points that OrvaneDatabase::LessThan treats as one, for the vertices of a
// mesh, so that face meshes can merge corners by an array lookup instead of a tolerant map.
//
// A face mesh gets one vertex per point class of LessThan (a lexicographic order on x, y, z
// with a 1e-9 dead band) among its corners, in order of first appearance, as a
// std::map<Point3D*, int, LessThan> finds them. On points where LessThan is a strict weak
// order that map finds, for every corner, the vertex made for the first corner of its
// equivalence class; then any structure that knows the classes gives the same vertices. On
// points spaced more finely than the dead band in chains, LessThan is not transitive and the
// map's answers depend on the shape of its tree: no other structure reproduces them, so
// such points are reported as unsure and their faces are built with the map itself.
//
// The classes are found level by level, as LessThan compares: the points are sorted exactly
// by (x, y, z); along x, consecutive values that LessThan does not separate ("b - 1e-9 > a")
// are linked into clusters; a cluster is clean when LessThan finds its smallest and largest
// values equal at this level (then, as every test is monotone in the difference, it finds all
// its pairs equal and all pairs across clusters ordered); points of a clean cluster are then
// clustered along y, then z. A clean cluster at z is one class. Points of a cluster that is
// not clean, and points with a NaN coordinate, are unsure. Welded meshes, unwelded ones
// (exact duplicates) and meshes with isolated near-duplicates are all clean.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace ORVANE_DATABASE {

class CornerPoints;

class PointClasses {
public:
    using Class = std::uint32_t;
    static constexpr Class kUnsure = std::numeric_limits<Class>::max();
    static constexpr Class kUnused = kUnsure - 1;

    // Classifies the points of the vertices that some triangle names (CornerPoints::used);
    // the others are kUnused. `points` is read during the construction only.
    explicit PointClasses(CornerPoints const &points);

    // The class of vertex v (dense numbers below count()), kUnsure or kUnused.
    Class classOf(std::size_t v) const { return m_class[v]; }
    std::size_t count() const { return m_count; }
    bool anyUnsure() const { return m_anyUnsure; }

private:
    // The vertices [begin, end), sorted by coordinate `level` and then by the following ones,
    // are split into clusters at that level; clean clusters go on to the next level.
    void cluster(std::uint32_t *begin, std::uint32_t *end, int level);
    // Sorts vertices by their coordinates from `level` on, then by number.
    void sortFrom(std::uint32_t *begin, std::uint32_t *end, int level) const;
    void mark(std::uint32_t const *begin, std::uint32_t const *end, Class c);
    double coordinate(std::uint32_t v, int level) const;

    CornerPoints const &m_points;
    std::vector<Class> m_class;
    std::size_t m_count = 0;
    bool m_anyUnsure = false;
};

}  // namespace ORVANE_DATABASE
