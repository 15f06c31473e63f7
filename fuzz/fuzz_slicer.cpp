// Fuzz target: the slicer (Profiler::generateProfile) and its triangle-triangle test
// (tri_tri_intersect_with_isectline_double).
//
// Byte 0 chooses the mode. Odd: two triangles of arbitrary coordinates go to the
// triangle-triangle test. Even: a decoded mesh, a slicing direction (an axis, any vector or
// zero) and a slice count (small, zero, negative or extreme) go to a Profiler.
#include "contour_checks.h"
#include "fuzz_input.h"
#include "support/release.h"

#include "Direction3D.h"
#include "Entity.h"
#include "PLC.h"
#include "Profiler.h"
#include "slicing/profiler_access.h"

#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;

namespace {

bool inBox(double const *p, double const *const tri[3], double tol) {
    for (int a = 0; a < 3; ++a) {
        double lo = std::min({tri[0][a], tri[1][a], tri[2][a]});
        double hi = std::max({tri[0][a], tri[1][a], tri[2][a]});
        if (p[a] < lo - tol || p[a] > hi + tol) return false;
    }
    return true;
}

void fuzzTriangleTest(ByteReader &in) {
    double c[6][3];
    double scale = 1.0;
    bool moderate = true;
    for (auto &corner : c)
        for (double &v : corner) {
            v = in.number();
            moderate = moderate && orvane_fuzz::isModerate(v);
            if (std::isfinite(v)) scale = std::max(scale, std::fabs(v));
        }
    int coplanar = 7;
    double a[3] = {12345, 12345, 12345};
    double b[3] = {12345, 12345, 12345};
    int hit = odb::tri_tri_intersect_with_isectline_double(c[0], c[1], c[2], c[3], c[4], c[5],
                                                           &coplanar, a, b);
    FUZZ_CHECK(hit == 0 || hit == 1);
    FUZZ_CHECK(coplanar == 7 || coplanar == 0);
    if (hit == 0) {
        // Nothing but the coplanar flag is written when the triangles do not cross.
        for (int i = 0; i < 3; ++i) FUZZ_CHECK(a[i] == 12345 && b[i] == 12345);
        return;
    }
    FUZZ_CHECK(coplanar == 0);
    if (moderate) {
        // The segment is common to both triangles, so it lies in both of their boxes.
        double const *first[3] = {c[0], c[1], c[2]};
        double const *second[3] = {c[3], c[4], c[5]};
        double tol = 1e-6 * scale;
        FUZZ_CHECK(inBox(a, first, tol) && inBox(b, first, tol));
        FUZZ_CHECK(inBox(a, second, tol) && inBox(b, second, tol));
    }
}

int sliceCount(ByteReader &in) {
    std::uint8_t b = in.byte();
    if (b < 224) return b % 40 - 3;
    static const int special[] = {0, -1, INT_MIN, INT_MIN + 1, 1, 2, 255, 256};
    return special[b % 8];
}

// The slice names of one call: Slice_1, Slice_2, ... in delivery order.
void checkNames(std::vector<odb::PLC *> const &contours, std::size_t first) {
    for (std::size_t i = first; i < contours.size(); ++i)
        FUZZ_CHECK(contours[i]->getName() == "Slice_" + std::to_string(i - first + 1));
}

void fuzzProfile(ByteReader &in) {
    orvane_fuzz::DecodedMesh m = orvane_fuzz::decodeMesh(in);
    std::uint8_t dirMode = in.byte() % 8;
    double d[3] = {0, 0, 0};
    bool axis = dirMode < 6;
    if (axis) {
        d[dirMode / 2] = dirMode % 2 ? -1.0 : 1.0;
    } else if (dirMode == 6) {
        odb::Point3D p = in.point();
        d[0] = p.x();
        d[1] = p.y();
        d[2] = p.z();
    }
    odb::Direction3D direction(d[0], d[1], d[2]);
    int count = sliceCount(in);
    std::uint8_t flags = in.byte();

    odb::Profiler profiler(m.mesh().get(), &direction, count);
    std::vector<odb::PLC *> out;
    FUZZ_CHECK(profiler.generateProfile(out).isOk());
    std::set<odb::Point3D *> seen;
    orvane_fuzz::checkContours(out, seen);
    checkNames(out, 0);
    if (count < 1) FUZZ_CHECK(out.empty());

    odb::Vector3D const &u = direction.vector3D();
    double ulen = std::sqrt(u.magnitudeSqr());
    if (m.moderate && std::isfinite(ulen) && ulen > 0.5) {
        // Every point lies on a mesh triangle, hence in the mesh's box, and all points of one
        // contour lie in one cutting plane.
        odb::BoundingBox3D const *box = m.mesh().mesh().getBoundingBox();
        odb::Point3D lo = box->lower(), hi = box->upper();
        double scale = 1.0 + std::max({std::fabs(lo.x()), std::fabs(lo.y()), std::fabs(lo.z()),
                                       std::fabs(hi.x()), std::fabs(hi.y()), std::fabs(hi.z())});
        double tol = 1e-9 * (scale + 1500.0);
        for (odb::PLC *c : out) {
            double level = u * (*c->pointList()->front()).vector();
            for (odb::Point3D *p : *c->pointList()) {
                FUZZ_CHECK(p->x() >= lo.x() - tol && p->x() <= hi.x() + tol);
                FUZZ_CHECK(p->y() >= lo.y() - tol && p->y() <= hi.y() + tol);
                FUZZ_CHECK(p->z() >= lo.z() - tol && p->z() <= hi.z() + tol);
                FUZZ_CHECK(std::fabs(u * p->vector() - level) <= 1e3 * tol);
            }
        }
    }
    // A box well inside the cutting triangles' reach, sliced along an axis: every plane cuts
    // a closed rectangle of eight segments (two per side face).
    if (m.pureSolid && m.solid == orvane_fuzz::DecodedMesh::BOX && axis && count >= 1 &&
        count <= 64 && std::fabs(m.solidLow.x()) < 100 && std::fabs(m.solidLow.y()) < 100 &&
        std::fabs(m.solidLow.z()) < 100) {
        FUZZ_CHECK(out.size() == static_cast<std::size_t>(count));
        for (odb::PLC *c : out) {
            FUZZ_CHECK(orvane_fuzz::isClosed(c));
            FUZZ_CHECK(c->pointList()->size() == 9);
        }
    }

    if (flags & 1) {
        // A second call delivers the same contours again, named from Slice_1.
        std::vector<odb::PLC *> again;
        FUZZ_CHECK(profiler.generateProfile(again).isOk());
        orvane_fuzz::checkContours(again, seen);
        FUZZ_CHECK(orvane_test::contourDifference(out, again).empty());
        orvane_test::releaseContours(again);
    }
    if (flags & 2) {
        // Assignment gives a slicer of its own that slices like its source; both are then
        // destroyed without releasing anything twice.
        odb::Direction3D other(0, 0, 1);
        odb::Profiler copy(m.mesh().get(), &other, 1);
        copy = profiler;
        std::vector<odb::PLC *> mine;
        FUZZ_CHECK(copy.generateProfile(mine).isOk());
        FUZZ_CHECK(orvane_test::contourDifference(out, mine).empty());
        orvane_test::releaseContours(mine);
    }
    if (flags & 4) {
        // The plane sweep and chaining give exactly what the literal procedure gives: every
        // candidate cut in index order, repeats dropped pairwise, quadratic stitching.
        std::vector<odb::PLC *> literal;
        odb::ProfilerTestAccess::referenceProfile(profiler, literal);
        std::string difference = orvane_test::contourDifference(out, literal);
        if (!difference.empty()) std::fprintf(stderr, "reference: %s\n", difference.c_str());
        FUZZ_CHECK(difference.empty());
        orvane_test::releaseContours(literal);
    }
    orvane_test::releaseContours(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    if (in.byte() & 1)
        fuzzTriangleTest(in);
    else
        fuzzProfile(in);
    return 0;
}
