#pragma once
// The slicer's record of every segment it has cut, kept for the slicer's lifetime.
//
// The record exists so that the slicer owns what it cut (a second call adds to it); nothing
// reads it back while slicing. A cut is a function of the plane's cutting triangle and the
// mesh triangle, so a record is the index of the triangle cut (4 bytes), grouped by plane
// under the plane's cutting triangle; the segment's end points are recomputed on request,
// bit for bit, from the mesh (which must be unchanged for the slicer's life anyway). At 1000
// planes through a mesh of 75 k triangles that is about 2 MB instead of 27 MB.
#include "entities/SegmentChainer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVANE_DATABASE {
namespace slicing {

class SegmentRecords {
public:
    // Opens the records of a plane whose cutting triangle has corners v (x, y, z of corner 0,
    // 1, 2); the triangles added next belong to it.
    void beginPlane(double const *v) {
        Plane p;
        for (int c = 0; c < 9; ++c) p.corners[c] = v[c];
        p.first = triangles_.size();
        planes_.push_back(p);
    }
    // Records the cut of triangle t in the open plane.
    void add(std::uint32_t t) { triangles_.push_back(t); }
    void add(std::uint32_t const *first, std::uint32_t const *last) {
        triangles_.insert(triangles_.end(), first, last);
    }

    std::size_t size() const { return triangles_.size(); }
    // Bytes held for the records.
    std::size_t bytes() const {
        return triangles_.capacity() * sizeof(std::uint32_t) + planes_.capacity() * sizeof(Plane);
    }

    // Record i: its cutting triangle (9 doubles to `plane`) and the triangle cut.
    std::uint32_t record(std::size_t i, double *plane) const;

private:
    struct Plane {
        double corners[9];
        std::size_t first;   // its first record
    };
    std::vector<Plane> planes_;
    std::vector<std::uint32_t> triangles_;
};

}  // namespace slicing
}  // namespace ORVANE_DATABASE
