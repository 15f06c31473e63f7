#include "MarchingCubes.h"
#include "OrvaneDatabase.h"
#include "Point3D.h"
#include "Vertex.h"
#include "voxel_test_access.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <vector>

using namespace ORVANE_DATABASE;
using MC = MarchingCubesTestAccess;

namespace {

// Owns what vMarchCube appends.
struct Output {
    std::vector<std::vector<Vertex *>> triangles;
    ~Output() {
        for (auto &t : triangles)
            for (Vertex *v : t) delete v;
    }
    Vector3D at(std::size_t t, int c) { return triangles[t][c]->point()->vector(); }
};

} // namespace

TEST(MarchingCubes, CornerCasesPlaceTheEdgePoints) {
    MarchingCubes mc;
    Output out;
    // All outside, all inside (0 is inside), NaN counted outside: no surface.
    std::vector<double> outside(8, 1.0), zero(8, 0.0), nan(8, 1.0);
    nan[0] = std::numeric_limits<double>::quiet_NaN();
    for (auto *v : {&outside, &zero, &nan}) EXPECT_FALSE(mc.vMarchCube(&out.triangles, v->data(), 0, 0, 0, 1));
    EXPECT_TRUE(out.triangles.empty());

    std::vector<double> values{-1, 1, 1, 1, 1, 1, 1, 1};   // only corner 0 inside
    EXPECT_FALSE(mc.vMarchCube(nullptr, values.data(), 0, 0, 0, 1));   // a surface, nowhere to go
    ASSERT_TRUE(mc.vMarchCube(&out.triangles, values.data(), 0, 0, 0, 1));
    ASSERT_TRUE(mc.vMarchCube(&out.triangles, values.data(), 10, 0, 0, 2));   // appended
    values[1] = 3.0;   // a quarter of the way from -1 to 3
    ASSERT_TRUE(mc.vMarchCube(&out.triangles, values.data(), 0, 0, 0, 1));
    values[0] = 0.0;   // exactly 0: inside, and the surface passes through the corner
    ASSERT_TRUE(mc.vMarchCube(&out.triangles, values.data(), 0, 0, 0, 1));
    std::vector<std::vector<Vector3D>> const expected{
        {{0.5, 0, 0}, {0, 0, 0.5}, {0, 0.5, 0}},   // edges 0, 8, 3
        {{11, 0, 0}, {10, 0, 1}, {10, 1, 0}},
        {{0.25, 0, 0}, {0, 0, 0.5}, {0, 0.5, 0}},
        {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}};
    ASSERT_EQ(out.triangles.size(), expected.size());
    for (std::size_t t = 0; t < expected.size(); ++t)
        for (int c = 0; c < 3; ++c) EXPECT_TRUE(out.at(t, c) == expected[t][c]) << t << " " << c;
}

TEST(MarchingCubes, TablesAreConsistent) {
    for (int cube = 0; cube < 256; ++cube) {
        int flags = 0;
        for (int e = 0; e < 12; ++e)
            if (((cube >> MC::edgeCorner(e, 0)) & 1) != ((cube >> MC::edgeCorner(e, 1)) & 1))
                flags |= 1 << e;
        EXPECT_EQ(MC::edgeFlags(cube), flags) << cube;

        int const *row = MC::triangleRow(cube);
        int used = 0, length = 0;
        while (length < 16 && row[length] >= 0) used |= 1 << row[length++];
        EXPECT_EQ(length % 3, 0) << cube;
        EXPECT_EQ(used, flags) << "row " << cube << " uses other edges than it flags";
        for (int i = length; i < 16; ++i) EXPECT_EQ(row[i], -1) << cube;
    }
}

// A sphere field sampled on a full grid: the triangles, welded at equal points, close into a
// consistently oriented surface (each edge used once in each direction) of genus 0 whose area
// approaches the sphere's.
TEST(MarchingCubes, SphereFieldGivesAWatertightSurface) {
    MarchingCubes mc;
    Output out;
    double const r = 0.7371, s = 2.0 / 24;
    auto field = [&](double x, double y, double z) { return std::sqrt(x * x + y * y + z * z) - r; };
    for (int i = 0; i < 24; ++i)
        for (int j = 0; j < 24; ++j)
            for (int k = 0; k < 24; ++k) {
                double const x = -1 + i * s, y = -1 + j * s, z = -1 + k * s;
                double values[8];
                for (int c = 0; c < 8; ++c)
                    values[c] = field(-1 + (i + MC::cornerOffset(c, 0)) * s, -1 + (j + MC::cornerOffset(c, 1)) * s,
                                      -1 + (k + MC::cornerOffset(c, 2)) * s);
                mc.vMarchCube(&out.triangles, values, x, y, z, s);
            }
    std::map<Point3D *, int, OrvaneDatabase::LessThan> weld;
    std::map<std::pair<int, int>, int> directed;
    double area = 0.0;
    for (std::size_t t = 0; t < out.triangles.size(); ++t) {
        int id[3];
        for (int c = 0; c < 3; ++c) id[c] = weld.emplace(out.triangles[t][c]->point(), int(weld.size())).first->second;
        for (int c = 0; c < 3; ++c) ++directed[{id[c], id[(c + 1) % 3]}];
        area += ((out.at(t, 1) - out.at(t, 0)) ^ (out.at(t, 2) - out.at(t, 0))).magnitude() / 2;
    }
    for (auto const &[edge, uses] : directed) {
        EXPECT_EQ(uses, 1);
        EXPECT_EQ(directed.count({edge.second, edge.first}), 1u) << "open edge";
    }
    EXPECT_EQ(long(weld.size()) - long(directed.size() / 2) + long(out.triangles.size()), 2);
    double const sphere = 4 * 3.14159265358979323846 * r * r;
    EXPECT_NEAR(area, sphere, 0.01 * sphere);
}
