// Fuzz target: the BSP tree (BSPTree::create from a mesh and from a polygon list,
// pointPosition, findClosestPoint, release, and Triangulation::BSP) with any tolerance and
// depth limit, and polygons of zero to six points of any coordinates; and the build's
// shortcuts (a polygon's ball, the one-pass side) against the classes of its points.
#include "fuzz_input.h"
#include "mesh/PolygonSplit.h"

#include "BSPTree.h"
#include "Plane.h"
#include "Point3D.h"
#include "Tolerance.h"
#include "Triangulation.h"

#include <cmath>
#include <cstring>
#include <list>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;

namespace {

char const *const kDepthFailure = "BSP Build Fail Due To high No. Of Triangles ";

std::size_t depthLimit(ByteReader &in) {
    std::uint8_t b = in.byte();
    if (b < 160) return b % 16;
    static const std::size_t special[] = {7000, 1, 0, static_cast<std::size_t>(-1)};
    return special[b % 4];
}

bool samePolygons(std::list<odb::BSPTree::Polygon> const &a,
                  std::list<odb::BSPTree::Polygon> const &b) {
    if (a.size() != b.size()) return false;
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
        if (i->sourceTriangles != j->sourceTriangles || i->points.size() != j->points.size())
            return false;
        for (auto p = i->points.begin(), q = j->points.begin(); p != i->points.end(); ++p, ++q)
            if (std::memcmp(&*p, &*q, sizeof(odb::Point3D)) != 0) return false;
    }
    return true;
}

void checkBuild(odb::BSPTree *tree, std::string const &error) {
    FUZZ_CHECK((tree == nullptr) == !error.empty());
    if (!tree) FUZZ_CHECK(error == kDepthFailure);
}

void query(odb::BSPTree const *tree, odb::Point3D const &q) {
    odb::Plane::_Pos pos = tree->pointPosition(q);
    FUZZ_CHECK(pos == odb::Plane::POS_NONE || pos == odb::Plane::POS_ON ||
               pos == odb::Plane::POS_ABOVE || pos == odb::Plane::POS_BELOW);
    odb::Point3D origin = tree->findClosestPoint(q);
    FUZZ_CHECK(origin.x() == 0 && origin.y() == 0 && origin.z() == 0);
}

bool nearOrigin(orvane_fuzz::DecodedMesh const &m) {
    for (odb::Point3D const &p : {m.solidLow, m.solidHigh})
        if (std::fabs(p.x()) > 64 || std::fabs(p.y()) > 64 || std::fabs(p.z()) > 64) return false;
    return true;
}

// Every polygon against the plane of every polygon: a side the ball decides agrees with the
// classes of the points.
void checkQuickSides(std::list<odb::BSPTree::Polygon> const &polygons, double t) {
    std::vector<std::vector<odb::Point3D>> all;
    for (odb::BSPTree::Polygon const &p : polygons) all.emplace_back(p.points.begin(), p.points.end());
    for (auto const &splitter : all) {
        odb::Plane const plane = odb::bsp::polygonPlane(splitter.data(), splitter.size());
        if (odb::bsp::isDegenerate(plane)) continue;
        odb::bsp::PlaneEquation const eq(plane);
        double const tau = odb::bsp::quickThreshold(plane, t);
        for (auto const &pts : all) {
            std::vector<unsigned char> classes(pts.size() + 1);
            unsigned const seen = odb::bsp::classifyPoints(pts.data(), pts.size(), eq, t, classes.data());
            unsigned const uniform = seen == odb::bsp::kFront || seen == odb::bsp::kBack ? seen : 0u;
            unsigned const quick = odb::bsp::quickSide(eq, odb::bsp::ballAround(pts.data(), pts.size()), tau);
            FUZZ_CHECK(quick == 0 || quick == uniform);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    orvane_fuzz::DecodedMesh m = orvane_fuzz::decodeMesh(in);
    odb::Triangulation &mesh = m.mesh().mesh();
    odb::Tolerance tol = in.tolerance();
    std::size_t depth = depthLimit(in);
    std::size_t second = in.below(4);
    std::uint8_t flags = in.byte();

    std::vector<odb::Point3D> queries;
    for (std::size_t i = in.below(5); i > 0; --i) queries.push_back(in.point());

    // From the mesh.
    std::string error = "left over";
    odb::BSPTree *tree = odb::BSPTree::create(&mesh, error, tol, depth, second);
    checkBuild(tree, error);
    if (tree) {
        for (odb::Point3D const &q : queries) query(tree, q);
        // A closed convex solid with outward triangles: its centre is inside, a point far
        // beyond its box is outside. The tolerance is absolute, so far from the origin
        // rounding alone splits faces into slivers that misclassify: check near it only.
        if (m.pureSolid && tol.value() == 1e-13 && m.moderate && nearOrigin(m)) {
            odb::Point3D centre = m.solidLow.mid(m.solidHigh);
            odb::Point3D far(m.solidHigh.x() + 50, m.solidHigh.y() + 50, m.solidHigh.z() + 50);
            FUZZ_CHECK(tree->pointPosition(centre) == odb::Plane::POS_BELOW);
            FUZZ_CHECK(tree->pointPosition(far) == odb::Plane::POS_ABOVE);
        }
        tree->release();
    }
    if (depth == 0) FUZZ_CHECK(tree == nullptr);

    // The mesh's own accessor.
    if (flags & 1) {
        odb::BSPTree const *own = mesh.BSP();
        if (own) {
            for (odb::Point3D const &q : queries) query(own, q);
            const_cast<odb::BSPTree *>(own)->release();
        }
    }

    // From a polygon list whose source triangles are null or the mesh's.
    std::list<odb::BSPTree::Polygon> polygons;
    std::vector<odb::Triangle *> const &triangles = mesh.triangleList();
    for (std::size_t n = in.below(9); n > 0; --n) {
        odb::BSPTree::Polygon p;
        for (std::size_t k = in.below(7); k > 0; --k) p.points.push_back(in.point());
        for (std::size_t k = in.below(3); k > 0; --k)
            p.sourceTriangles.push_back(
                triangles.empty() ? nullptr : triangles[in.below(triangles.size())]);
        polygons.push_back(p);
    }
    std::list<odb::BSPTree::Polygon> const original = polygons;
    checkQuickSides(polygons, tol.value());
    error = "left over";
    odb::BSPTree *fromList = odb::BSPTree::create(polygons, error, tol, depth, second);
    checkBuild(fromList, error);
    FUZZ_CHECK(samePolygons(polygons, original));
    if (fromList) {
        for (odb::Point3D const &q : queries) query(fromList, q);
        fromList->release();
    }
    return 0;
}
