// The faces of a segmentation as the tool writes them: every face triangle is the source
// triangle that faceOf names, faces come in the order of their lowest source triangle,
// triangles in source order and vertices in order of first use, whatever the order in which
// the kernel delivered them.
#include "default_model.h"
#include "face_split.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using orvane::ModelData;

// The model with its triangles in a random order (seeded), the first one repeated if asked.
ModelData scrambled(ModelData model, unsigned seed, bool repeatFirst) {
    std::size_t const n = model.triangleCount();
    std::vector<std::size_t> order(n);
    for (std::size_t i = 0; i < n; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    std::vector<std::uint32_t> corners;
    for (std::size_t t : order) corners.insert(corners.end(), &model.corners[3 * t], &model.corners[3 * t + 3]);
    if (repeatFirst) corners.insert(corners.end(), &model.corners[3 * order[0]], &model.corners[3 * order[0] + 3]);
    model.corners = std::move(corners);
    return model;
}

void expectFacesFollowTheSource(ModelData const &model, orvane::FaceSplit const &split) {
    ASSERT_EQ(split.faceOf.size(), model.triangleCount());
    std::vector<std::vector<std::size_t>> members(split.faces.size());
    for (std::size_t t = 0; t < model.triangleCount(); ++t) {
        ASSERT_LT(split.faceOf[t], static_cast<std::int64_t>(split.faces.size()));
        if (split.faceOf[t] >= 0) {
            members[static_cast<std::size_t>(split.faceOf[t])].push_back(t);
        }
    }
    for (std::size_t f = 0; f < split.faces.size(); ++f) {
        ModelData const &face = split.faces[f];
        ASSERT_EQ(face.triangleCount(), members[f].size()) << "face " << f;
        ASSERT_FALSE(members[f].empty());
        if (f > 0) {
            EXPECT_LT(members[f - 1].front(), members[f].front()) << "faces by lowest triangle";
        }
        std::uint32_t next = 0;
        for (std::size_t k = 0; k < members[f].size(); ++k)
            for (int c = 0; c < 3; ++c) {
                std::uint32_t const local = face.corners[3 * k + c];
                EXPECT_LE(local, next) << "vertices by first use";
                if (local == next) ++next;
                std::uint32_t const v = model.corners[3 * members[f][k] + c];
                for (int x = 0; x < 3; ++x) EXPECT_EQ(face.coords[3 * local + x], model.coords[3 * v + x]);
            }
        EXPECT_EQ(next, face.vertexCount());
    }
}

TEST(FaceSplit, FacesFollowTheSourceOrderWhateverTheKernelsOrder) {
    for (unsigned seed : {0u, 1u, 2u}) {
        ModelData const model = seed == 0 ? orvane::makeDefaultModel() : scrambled(orvane::makeDefaultModel(), seed, false);
        auto mesh = orvane::buildMesh(model);
        orvane::FaceSplit const split = orvane::splitFaces(*mesh, 30);
        EXPECT_TRUE(split.creased);
        EXPECT_GT(split.faces.size(), 10u);
        expectFacesFollowTheSource(model, split);
        // A second run on a second copy of the mesh (other addresses) writes the same faces.
        auto again = orvane::buildMesh(model);
        orvane::FaceSplit const other = orvane::splitFaces(*again, 30);
        ASSERT_EQ(other.faces.size(), split.faces.size());
        EXPECT_EQ(other.faceOf, split.faceOf);
        for (std::size_t f = 0; f < split.faces.size(); ++f) {
            EXPECT_EQ(other.faces[f].coords, split.faces[f].coords);
            EXPECT_EQ(other.faces[f].corners, split.faces[f].corners);
        }
    }
}

TEST(FaceSplit, RepeatedTrianglesEachFindTheirOwnSource) {
    // Around the repeated triangle's non-manifold edges the kernel's faces depend on where
    // its objects lie; whatever they are, each face triangle maps to a source triangle of its
    // own.
    ModelData const model = scrambled(orvane::makeDefaultModel(), 3, true);
    auto mesh = orvane::buildMesh(model);
    orvane::FaceSplit const split = orvane::splitFaces(*mesh, 30);
    expectFacesFollowTheSource(model, split);
}

TEST(FaceSplit, ASmoothClosedModelIsOneFace) {
    // An octahedron at 100 degrees: every edge turns by about 71, none is strong.
    ModelData model;
    model.coords = {1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1};
    model.corners = {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5};
    auto mesh = orvane::buildMesh(model);
    orvane::FaceSplit const split = orvane::splitFaces(*mesh, 100);
    EXPECT_FALSE(split.creased);
    ASSERT_EQ(split.faces.size(), 1u);
    EXPECT_EQ(split.faces[0].corners, model.corners);
    EXPECT_EQ(split.faceOf, std::vector<std::int64_t>(8, 0));
}

}  // namespace
