#pragma once
// Releasing what the kernel hands to its caller, in the order its ownership rules ask for.
#include "BSPTree.h"
#include "PLC.h"
#include "Point3D.h"

#include <memory>
#include <vector>

namespace orvane {

namespace odb = ORVANE_DATABASE;

// A delivered contour: the PLC, then its points and its point list.
inline void releaseContour(odb::PLC *contour) {
    if (!contour) return;
    std::vector<odb::Point3D *> *points = contour->pointList();
    delete contour;
    for (odb::Point3D *p : *points) delete p;
    delete points;
}

// The contours of one slicer or segmentation call; an entry may be released early and set
// to null.
struct ContourList {
    std::vector<odb::PLC *> items;
    ContourList() = default;
    ContourList(ContourList const &) = delete;
    ContourList &operator=(ContourList const &) = delete;
    ~ContourList() {
        for (odb::PLC *c : items) releaseContour(c);
    }
};

// A BSP tree from Triangulation::BSP(), ended with release().
struct BspRelease {
    void operator()(odb::BSPTree const *tree) const {
        // BSP() hands out a const tree that the caller still ends with release().
        if (tree) const_cast<odb::BSPTree *>(tree)->release();
    }
};
using BspTreePtr = std::unique_ptr<odb::BSPTree const, BspRelease>;

}  // namespace orvane
