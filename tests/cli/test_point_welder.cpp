// The linear-time welder against the literal procedure it replaces (a std::map ordered by
// OrvaneDatabase::LessThan, asked point by point), and the reader's own binary STL path
// against the Assimp path it stands in for.
#include "model_io.h"
#include "point_welder.h"
#include "test_support.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <fstream>
#include <map>
#include <random>
#include <vector>

namespace odb = ORVANE_DATABASE;

namespace {

// The literal procedure: find; on a miss, a new vertex and an insertion.
std::vector<std::uint32_t> referenceWeld(std::vector<double> const &points, std::vector<double> &coords) {
    std::deque<odb::Point3D> keys;
    std::map<odb::Point3D *, std::uint32_t, odb::OrvaneDatabase::LessThan> index;
    std::vector<std::uint32_t> out;
    for (std::size_t i = 0; i < points.size(); i += 3) {
        odb::Point3D probe(points[i], points[i + 1], points[i + 2]);
        auto found = index.find(&probe);
        if (found != index.end()) {
            out.push_back(found->second);
            continue;
        }
        auto const v = static_cast<std::uint32_t>(coords.size() / 3);
        coords.insert(coords.end(), {points[i], points[i + 1], points[i + 2]});
        keys.push_back(probe);
        index.emplace(&keys.back(), v);
        out.push_back(v);
    }
    return out;
}

// Welds `points` both ways and expects the same indices and the same vertex coordinates,
// bit for bit. Returns whether the welder had to fall back to the ordered map.
bool expectSameWeld(std::vector<double> const &points, bool batch) {
    std::vector<double> expectedCoords, coords;
    std::vector<std::uint32_t> const expected = referenceWeld(points, expectedCoords);
    orvane::PointWelder welder(coords);
    std::vector<std::uint32_t> got(points.size() / 3);
    if (batch) {
        welder.addAll(points.data(), got.size(), got.data());
    } else {
        for (std::size_t i = 0; i < got.size(); ++i)
            got[i] = welder.add(points[3 * i], points[3 * i + 1], points[3 * i + 2]);
    }
    EXPECT_EQ(got, expected);
    orvane_test::expectSameBits(coords, expectedCoords);
    return welder.usesOrderedMap();
}

// A cloud on a coarse lattice whose points repeat, some moved by a small offset on some axes:
// offsets below, at and beyond the 1e-9 band (and at its rounding edge), signs of zero,
// single- and double-precision values.
std::vector<double> cloud(std::mt19937 &rng, double scale, double offset, bool floats, int count) {
    std::uniform_int_distribution<int> lattice(-6, 6), pick(0, 9), axis(0, 7);
    std::vector<double> points;
    for (int i = 0; i < count; ++i) {
        double p[3];
        for (double &c : p) {
            c = lattice(rng) * scale;
            if (floats) c = static_cast<float>(c);
        }
        if (pick(rng) == 0) {
            int const moved = axis(rng);
            for (int k = 0; k < 3; ++k)
                if (moved & (1 << k)) p[k] += (pick(rng) < 5 ? 1 : -1) * offset;
        }
        if (pick(rng) == 1) p[pick(rng) % 3] = -0.0;
        points.insert(points.end(), p, p + 3);
    }
    return points;
}

}  // namespace

TEST(PointWelder, EqualsTheOrderedMapOnCloudsWithNearDuplicates) {
    std::mt19937 rng(7);
    int fallbacks = 0, fast = 0;
    for (double scale : {1e-9, 7e-10, 0.3, 1e3, 3e7, 1e300})
        for (double offset : {0.0, 3e-10, 9.9e-10, 1e-9, 1.0000000000000002e-9, 2e-9, 1e-6})
            for (bool floats : {true, false})
                for (int round = 0; round < 3; ++round) {
                    bool const fellBack = expectSameWeld(cloud(rng, scale, offset, floats, 600), round == 1);
                    (fellBack ? fallbacks : fast) += 1;
                }
    // Both paths were exercised.
    EXPECT_GT(fallbacks, 0);
    EXPECT_GT(fast, 0);
}

TEST(PointWelder, TakesTheFastPathOnRealMeshesAndStillAgrees) {
    // Exact repeats (as STL stores corners) and points far apart: never a fallback.
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> coordinate(-50, 50);
    std::vector<double> points;
    for (int i = 0; i < 3000; ++i) {
        points.insert(points.end(), {coordinate(rng), coordinate(rng), coordinate(rng)});
        if (i % 3 == 2)   // repeat an earlier corner bit for bit
            points.insert(points.end(), points.begin() + 3 * (i / 2), points.begin() + 3 * (i / 2) + 3);
    }
    EXPECT_FALSE(expectSameWeld(points, true));

    // A value at the rounding edge of the band on x makes LessThan call two points equal
    // whatever their y and z: the welder must notice and fall back.
    std::vector<double> edge = {0, 0, 0, 1e-9, 100, -100, 0, 0, 0};
    EXPECT_TRUE(expectSameWeld(edge, false));
}

TEST(ModelReader, BinaryStlPathEqualsTheImporter) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> coordinate(-2, 2);
    std::vector<float> corners;
    for (int t = 0; t < 500; ++t)
        for (int c = 0; c < 3; ++c) {
            bool const repeat = !corners.empty() && rng() % 3 == 0;
            std::size_t const from = repeat ? 3 * (rng() % (corners.size() / 3)) : 0;
            for (int k = 0; k < 3; ++k) {
                float v = repeat ? corners[from + k] : coordinate(rng);
                if (!repeat && rng() % 7 == 0) v = static_cast<float>(1e-9 * (rng() % 5));   // near zero
                if (!repeat && rng() % 11 == 0) v = -0.0f;
                corners.push_back(v);
            }
        }
    orvane_test::TempDir const dir("binary");
    std::string const file = dir / "soup.stl";
    {
        std::ofstream out(file, std::ios::binary);
        char header[80] = "solid looks like ascii but is binary";
        out.write(header, 80);
        std::uint32_t const count = static_cast<std::uint32_t>(corners.size() / 9);
        out.write(reinterpret_cast<char const *>(&count), 4);
        for (std::uint32_t t = 0; t < count; ++t) {
            float const normal[3] = {0, 0, 1};
            out.write(reinterpret_cast<char const *>(normal), 12);
            out.write(reinterpret_cast<char const *>(&corners[9 * t]), 36);
            out.write("\0\0", 2);
        }
    }
    orvane::ModelData const fast = orvane::readModel(file);
    Assimp::Importer importer;
    aiScene const *scene = importer.ReadFile(file, aiProcess_Triangulate | aiProcess_SortByPType);
    ASSERT_NE(scene, nullptr);
    orvane::ModelData const imported = orvane::modelFromScene(*scene, file);
    EXPECT_EQ(fast.corners, imported.corners);
    orvane_test::expectSameBits(fast.coords, imported.coords);
}
