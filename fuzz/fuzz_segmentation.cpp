// Fuzz target: the segmentation (Segmentation::segmentize and Segmentation::boundaries) on a
// decoded mesh with an angle threshold that may be negative, huge, infinite or NaN. The faces
// must be exactly those of the plain std::set / std::map procedure (segmentation_reference.h).
#include "contour_checks.h"
#include "fuzz_input.h"
#include "support/release.h"
#include "segmentation/segmentation_reference.h"
#include "segmentation/segmentation_support.h"

#include "Edge.h"
#include "Outcome.h"
#include "PLC.h"
#include "Segmentation.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <set>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;

namespace {

double angle(ByteReader &in) {
    std::uint8_t b = in.byte();
    if (b < 128) return b % 4 == 0 ? b * 1.5 : b;   // 0 .. 190 degrees
    return in.number();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    orvane_fuzz::DecodedMesh m = orvane_fuzz::decodeMesh(in);
    odb::Triangulation &mesh = m.mesh().mesh();
    double const threshold = angle(in);
    odb::Segmentation segmentation(&mesh, threshold);

    // Faces: every triangle of the mesh lands in exactly one face mesh, and the faces are
    // the reference's, bit for bit.
    std::set<odb::Triangulation *> faces;
    odb::Outcome grown = segmentation.segmentize(faces);
    std::string failure;
    std::vector<orvane_test::FaceRecord> expected = orvane_test::referenceSegmentize(mesh, threshold, &failure);
    FUZZ_CHECK(grown.isOk() == failure.empty());
    FUZZ_CHECK(grown.isOk() ? orvane_test::recordsOf(faces) == expected : grown.mesg() == failure);
    std::set<odb::Point3D *> sourcePoints;
    for (odb::Vertex *v : mesh.vertexList()) sourcePoints.insert(v->point());
    if (grown.isOk()) {
        std::size_t triangles = 0;
        std::set<std::string> names;
        for (odb::Triangulation *face : faces) {
            FUZZ_CHECK(face != nullptr);
            std::size_t vertices = face->vertexList().size();
            FUZZ_CHECK(!face->triangleList().empty() && vertices > 0);
            for (odb::Triangle *t : face->triangleList())
                for (std::size_t i = 0; i < 3; ++i) FUZZ_CHECK(t->vertexIndex(i) < vertices);
            // Face vertices share the source mesh's points rather than copying them.
            for (odb::Vertex *v : face->vertexList()) FUZZ_CHECK(sourcePoints.count(v->point()));
            triangles += face->triangleList().size();
            FUZZ_CHECK(face->getName().rfind("Face-", 0) == 0);
            FUZZ_CHECK(names.insert(face->getName()).second);
        }
        FUZZ_CHECK(triangles == mesh.triangleList().size());
    } else {
        FUZZ_CHECK(faces.empty());
        FUZZ_CHECK(grown.mesg() == "Strong Edge not found" ||
                   grown.mesg() == "Triangulation creation failed");
    }
    orvane_test::releaseFaces(faces);   // detaches face vertices from the shared points

    // Border contours: every border edge (listed once per triangle side that uses it) is
    // chained exactly once, so a contour of k edges has k + 1 points.
    std::size_t borderSides = 0;
    for (odb::Triangle *t : mesh.triangleList())
        for (int e = 0; e < 3; ++e)
            if (t->edge(e)->triangles->size() < 2) ++borderSides;
    std::vector<odb::PLC *> contours;
    odb::Outcome border = segmentation.boundaries(contours);
    if (borderSides == 0) {
        FUZZ_CHECK(!border.isOk() && border.mesg() == "No boundry found.");
        FUZZ_CHECK(contours.empty());
    } else {
        FUZZ_CHECK(border.isOk());
        std::set<odb::Point3D *> seen;
        orvane_fuzz::checkContours(contours, seen);
        std::size_t points = 0;
        for (odb::PLC *c : contours) points += c->pointList()->size();
        FUZZ_CHECK(points == borderSides + contours.size());
        // The points are copies: none of them is a point of the mesh.
        for (odb::Vertex *v : mesh.vertexList()) FUZZ_CHECK(seen.count(v->point()) == 0);
    }
    orvane_test::releaseContours(contours);
    return 0;
}
