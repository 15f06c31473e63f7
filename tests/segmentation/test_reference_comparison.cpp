// segmentize and findStrongEdges against the plain procedures of segmentation_reference.h,
// bit for bit: the same faces, numbered alike, with the same vertex points in the same order
// and the same triangles. On random meshes with everything the engine has a fast path for
// (creases near the threshold, open borders, non-manifold fins, degenerate triangles, exact
// and near-duplicate vertices within and across the 1e-9 band, chains finer than the band,
// NaN and infinite coordinates) and on real meshes from the mesh folder.
#include "segmentation_reference.h"
#include "segmentation_support.h"
#include "support/test_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>

using namespace ORVANE_DATABASE;
using orvane_test::FaceRecord;
using orvane_test::TestMesh;

namespace {

constexpr double kPi = 3.141592653589793;

// A mesh described by coordinates and corner indices, turned into a TestMesh at the end.
struct Soup {
    std::vector<std::array<double, 3>> points;
    std::vector<std::array<std::size_t, 3>> triangles;

    std::size_t add(double x, double y, double z) {
        points.push_back({x, y, z});
        return points.size() - 1;
    }
    void box(double x, double y, double z, double sx, double sy, double sz, bool open) {
        std::size_t b = points.size();
        for (int q = 0; q < 8; ++q) add(x + (q & 1) * sx, y + ((q >> 1) & 1) * sy, z + ((q >> 2) & 1) * sz);
        static const int faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                                         {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
        for (int f = open ? 2 : 0; f < 12; ++f) triangles.push_back({b + faces[f][0], b + faces[f][1], b + faces[f][2]});
    }
    void sphere(double cx, double radius, int rings, int segments) {
        std::size_t top = add(cx, 0, radius);
        for (int r = 1; r < rings; ++r)
            for (int s = 0; s < segments; ++s) {
                double phi = kPi * r / rings, th = 2 * kPi * s / segments;
                add(cx + radius * std::sin(phi) * std::cos(th), radius * std::sin(phi) * std::sin(th), radius * std::cos(phi));
            }
        std::size_t bottom = add(cx, 0, -radius);
        auto ring = [&](int r, int s) { return top + 1 + std::size_t(r - 1) * segments + (s % segments); };
        for (int s = 0; s < segments; ++s) triangles.push_back({top, ring(1, s), ring(1, s + 1)});
        for (int r = 1; r < rings - 1; ++r)
            for (int s = 0; s < segments; ++s) {
                triangles.push_back({ring(r, s), ring(r + 1, s), ring(r + 1, s + 1)});
                triangles.push_back({ring(r, s), ring(r + 1, s + 1), ring(r, s + 1)});
            }
        for (int s = 0; s < segments; ++s) triangles.push_back({bottom, ring(rings - 1, s + 1), ring(rings - 1, s)});
    }
    // A strip of quads along x whose consecutive quads fold by the given angles (degrees).
    void foldedStrip(double y0, std::vector<double> const &folds) {
        double x = 0, z = 0, heading = 0;
        std::size_t a = add(x, y0, z), b = add(x, y0 + 1, z);
        for (double fold : folds) {
            x += std::cos(heading), z += std::sin(heading);
            std::size_t c = add(x, y0, z), d = add(x, y0 + 1, z);
            triangles.push_back({a, c, d});
            triangles.push_back({a, d, b});
            a = c, b = d;
            heading += fold * kPi / 180.0;
        }
    }
};

double pickAngle(std::mt19937 &rng) {
    static const double angles[] = {30, 30, 50, 0, -5, 89.99999, 90, 120, 179, 180, 22.5,
                                    std::numeric_limits<double>::quiet_NaN()};
    return angles[rng() % (sizeof angles / sizeof angles[0])];
}

// Offsets around LessThan's 1e-9 band: inside it, on its edge, just across, and clear of it.
double pickOffset(std::mt19937 &rng) {
    static const double offsets[] = {0, 0, 1e-10, -4e-10, 9.9e-10, 1e-9, -1e-9, 1.0000001e-9, 1.5e-9,
                                     2e-9, -2.9e-9, 3.1e-9, 1e-7, -0.0};
    return offsets[rng() % (sizeof offsets / sizeof offsets[0])];
}

Soup randomSoup(std::mt19937 &rng, int round) {
    Soup soup;
    for (int b = 0, boxes = 1 + rng() % 4; b < boxes; ++b)
        soup.box(rng() % 5, rng() % 5, rng() % 5, 1 + rng() % 2, 1, 0.5 + (rng() % 3) * 0.5, rng() % 5 == 0);
    if (round % 3 == 0) soup.sphere(20, 1.0, 4 + rng() % 3, 5 + rng() % 4);
    // Creases just below, at and above 30 and 50 degrees, and shallow ones.
    std::vector<double> folds;
    for (int k = 0, n = 3 + rng() % 5; k < n; ++k) {
        static const double near[] = {29.999999, 30, 30.000001, 49.9999999, 50.0000001, 5, 60, 179.5, 0};
        folds.push_back(near[rng() % (sizeof near / sizeof near[0])]);
    }
    soup.foldedStrip(-10, folds);
    std::size_t const welded = soup.triangles.size();
    // Non-manifold fins on existing edges, degenerate triangles (a corner named twice,
    // collinear corners, a normal shorter than 1e-13).
    for (int k = 0, n = rng() % 4; k < n; ++k) {
        auto t = soup.triangles[rng() % welded];
        std::size_t tip = soup.add(soup.points[t[0]][0] + 0.3, soup.points[t[0]][1] - 0.7, soup.points[t[0]][2] + 0.2);
        soup.triangles.push_back(rng() % 2 ? std::array<std::size_t, 3>{t[0], t[1], tip} : std::array<std::size_t, 3>{t[1], t[0], tip});
    }
    if (rng() % 2) {
        auto t = soup.triangles[rng() % welded];
        soup.triangles.push_back({t[0], t[0], t[1]});
        std::size_t m = soup.add((soup.points[t[0]][0] + soup.points[t[1]][0]) / 2, (soup.points[t[0]][1] + soup.points[t[1]][1]) / 2,
                                 (soup.points[t[0]][2] + soup.points[t[1]][2]) / 2);
        soup.triangles.push_back({t[1], t[0], m});
        std::size_t near = soup.add(soup.points[t[2]][0] + 1e-14, soup.points[t[2]][1], soup.points[t[2]][2]);
        soup.triangles.push_back({t[2], near, t[0]});
    }
    // Near-duplicate and exact-duplicate corners: some corners move to a new vertex at an
    // offset per coordinate from their point.
    if (round % 2 == 1)
        for (auto &t : soup.triangles)
            for (std::size_t &c : t)
                if (rng() % 6 == 0) {
                    auto p = soup.points[c];
                    c = soup.add(p[0] + pickOffset(rng), p[1] + pickOffset(rng), p[2] + pickOffset(rng));
                }
    // A fan whose rim points step 0.6e-9 in x while y jumps: LessThan is not transitive there.
    if (round % 4 == 2) {
        std::size_t hub = soup.add(0.5, 30, 0), previous = soup.add(0, 31, 0);
        for (int k = 1; k < 6; ++k) {
            std::size_t next = soup.add(k * 0.6e-9, 31 + (k % 3) * 0.25 - (k % 2) * 0.5, 0);
            soup.triangles.push_back({hub, previous, next});
            previous = next;
        }
    }
    // Odd coordinates on a separate triangle pair.
    if (round % 5 == 4) {
        double const odd[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300, -0.0};
        std::size_t a = soup.add(odd[rng() % 4], 40, 0), b = soup.add(41, odd[rng() % 4], 0), c = soup.add(41, 41, 0), d = soup.add(40, 41, 1);
        soup.triangles.push_back({a, b, c});
        soup.triangles.push_back({a, c, d});
    }
    return soup;
}

std::unique_ptr<TestMesh> meshOf(Soup const &soup) {
    auto mesh = std::make_unique<TestMesh>();
    for (auto const &p : soup.points) mesh->addVertex(p[0], p[1], p[2]);
    for (auto const &t : soup.triangles) mesh->addTriangle(t[0], t[1], t[2]);
    return mesh;
}

// segmentize on `mesh` equals the reference, and so do the strong edges.
void expectSameAsReference(TestMesh &mesh, double angle) {
    Segmentation s(mesh.get(), angle);
    std::set<Edge *> strong;
    Outcome found = SegmentationTestAccess(s).findStrongEdges(strong);
    EXPECT_EQ(strong, orvane_test::referenceStrongEdges(mesh.mesh(), angle));
    EXPECT_EQ(found.isOk(), !strong.empty());

    std::string failure;
    std::vector<FaceRecord> expected = orvane_test::referenceSegmentize(mesh.mesh(), angle, &failure);
    std::set<Triangulation *> faces;
    Outcome result = s.segmentize(faces);
    if (!failure.empty()) {
        EXPECT_EQ(result.code(), Outcome::FAILURE);
        EXPECT_EQ(result.mesg(), failure);
        EXPECT_TRUE(faces.empty());
        return;
    }
    ASSERT_TRUE(result.isOk()) << result.mesg();
    std::vector<FaceRecord> actual = orvane_test::recordsOf(faces);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < actual.size(); ++k) {
        EXPECT_EQ(actual[k].name, expected[k].name);
        EXPECT_EQ(actual[k].points, expected[k].points) << actual[k].name;
        EXPECT_EQ(actual[k].triangles, expected[k].triangles) << actual[k].name;
    }
    orvane_test::releaseFaces(faces);
}

// Vertices and triangles of an OFF file (triangulated as a fan), or false.
bool readOff(std::filesystem::path const &file, Soup &soup) {
    std::ifstream in(file);
    std::string magic;
    std::size_t nv = 0, nf = 0, ne = 0;
    if (!(in >> magic >> nv >> nf >> ne) || magic != "OFF") return false;
    for (std::size_t i = 0; i < nv; ++i) {
        double x, y, z;
        if (!(in >> x >> y >> z)) return false;
        soup.add(x, y, z);
    }
    for (std::size_t i = 0; i < nf; ++i) {
        std::size_t k;
        if (!(in >> k) || k < 3) return false;
        std::vector<std::size_t> corners(k);
        for (std::size_t &c : corners)
            if (!(in >> c) || c >= nv) return false;
        for (std::size_t j = 1; j + 1 < k; ++j) soup.triangles.push_back({corners[0], corners[j], corners[j + 1]});
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return true;
}

}  // namespace

TEST(SegmentationReference, RandomMeshesBitForBit) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        Soup soup = randomSoup(rng, round);
        auto mesh = meshOf(soup);
        if (round % 7 == 3) mesh->mesh().addTriangle(mesh->mesh().triangleList()[rng() % soup.triangles.size()]);   // listed twice
        expectSameAsReference(*mesh, pickAngle(rng));
    }
}

TEST(SegmentationReference, UnweldedAndNearDuplicateCopies) {
    // Every triangle with vertices of its own (a triangle soup as STL delivers it), exact
    // copies and copies moved by offsets around the band: faces merge corners only where
    // LessThan does.
    std::mt19937 rng(7);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        Soup welded = randomSoup(rng, 0), soup;
        for (auto const &t : welded.triangles) {
            std::array<std::size_t, 3> own{};
            for (int c = 0; c < 3; ++c) {
                auto p = welded.points[t[c]];
                double d = round < 4 ? 0.0 : pickOffset(rng);
                own[c] = soup.add(p[0] + d, p[1] - (round % 3 == 2 ? d : 0.0), p[2]);
            }
            soup.triangles.push_back(own);
        }
        auto mesh = meshOf(soup);
        expectSameAsReference(*mesh, 30);
    }
}

TEST(SegmentationReference, RealMeshes) {
    char const *env = std::getenv("ORVANE_MESHES");
    char const *home = std::getenv("HOME");
    std::filesystem::path folder = env && *env ? env : std::filesystem::path(home ? home : ".") / ".cache" / "orvane-meshes";
    int compared = 0;
    for (char const *name : {"fandisk.off", "cube-shuffled.off", "blobby_3cc.off", "mech-holes-shark.off", "elephant-with-holes.off"}) {
        Soup soup;
        if (!readOff(folder / name, soup)) continue;
        SCOPED_TRACE(name);
        auto mesh = meshOf(soup);
        for (double angle : {30.0, 60.0}) expectSameAsReference(*mesh, angle);
        ++compared;
    }
    if (compared == 0) GTEST_SKIP() << "no mesh of the set in " << folder << " (scripts/fetch-meshes.sh)";
}
