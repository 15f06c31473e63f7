#pragma once
// Checks of delivered contours (slicer and segmentation), shared by their fuzz targets.
#include "fuzz_input.h"

#include "PLC.h"
#include "Point3D.h"

#include <cmath>
#include <set>
#include <vector>

namespace orvane_fuzz {

using ORVANE_DATABASE::PLC;

// Every contour a caller receives: non-null, with its own point list of at least two
// non-null points, and no point object handed out twice (the caller deletes each point, so
// a shared one would be released twice). `seen` collects the points across calls.
inline void checkContours(std::vector<PLC *> const &contours, std::set<Point3D *> &seen) {
    for (PLC *c : contours) {
        FUZZ_CHECK(c != nullptr);
        FUZZ_CHECK(c->pointList() != nullptr);
        std::vector<Point3D *> const &points = *c->pointList();
        FUZZ_CHECK(points.size() >= 2);
        for (Point3D *p : points) {
            FUZZ_CHECK(p != nullptr);
            FUZZ_CHECK(seen.insert(p).second);
        }
    }
}

// Whether the contour ends where it starts (each coordinate within 1e-8).
inline bool isClosed(PLC *c) {
    std::vector<Point3D *> const &points = *c->pointList();
    Point3D const &a = *points.front();
    Point3D const &b = *points.back();
    return std::fabs(a.x() - b.x()) < 1e-8 && std::fabs(a.y() - b.y()) < 1e-8 &&
           std::fabs(a.z() - b.z()) < 1e-8;
}

}  // namespace orvane_fuzz
