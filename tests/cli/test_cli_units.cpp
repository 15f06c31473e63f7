// Unit tests of the orvane tool's parts: the model reader's welding and placement, the
// all-or-nothing output file, and the picture's choice of layers.
#include "cli_support.h"
#include "contour_export.h"
#include "slice_run.h"
#include "model_io.h"
#include "test_support.h"

#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

// A node under `parent` showing the scene's mesh 0, moved by (x, y, z).
aiNode *addNode(aiNode *parent, float x, float y, float z) {
    aiNode *node = new aiNode("node");
    aiMatrix4x4::Translation(aiVector3D(x, y, z), node->mTransformation);
    node->mMeshes = new unsigned[1]{0};
    node->mNumMeshes = 1;
    node->mParent = parent;
    auto **children = new aiNode *[parent->mNumChildren + 1];
    for (unsigned c = 0; c < parent->mNumChildren; ++c) children[c] = parent->mChildren[c];
    delete[] parent->mChildren;
    parent->mChildren = children;
    children[parent->mNumChildren++] = node;
    return node;
}

TEST(ModelReader, WeldsCornersWithTheKernelsOrderAndPlacesEveryNode) {
    // Two triangles of a unit square, each with its own corners (a triangle soup, as STL
    // stores it): the shared corners differ by 5e-10, one point under the kernel's 1e-9 order.
    aiScene scene;
    scene.mRootNode = new aiNode("root");
    scene.mMeshes = new aiMesh *[1]{new aiMesh()};
    scene.mNumMeshes = 1;
    aiMesh &square = *scene.mMeshes[0];
    square.mNumVertices = 6;
    square.mVertices = new aiVector3D[6]{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 5e-10f}, {1, 1, 0}, {0, 1, 0}};
    square.mNumFaces = 2;
    square.mFaces = new aiFace[2];
    for (unsigned f = 0; f < 2; ++f) {
        square.mFaces[f].mNumIndices = 3;
        square.mFaces[f].mIndices = new unsigned[3]{3 * f, 3 * f + 1, 3 * f + 2};
    }
    aiNode *moved = addNode(scene.mRootNode, 10, 0, 0);
    addNode(moved, 0, 5, 0);   // composed: (10, 5, 0)
    addNode(scene.mRootNode, 0, 0, 0);
    orvane::ModelData const model = orvane::modelFromScene(scene, "scene");
    EXPECT_EQ(model.triangleCount(), 6u);
    EXPECT_EQ(model.vertexCount(), 12u);   // four per placed square: shared corners welded
    EXPECT_DOUBLE_EQ(model.box()[3], 11.0);
    EXPECT_DOUBLE_EQ(model.box()[4], 6.0);
}

// Refusals of bad output lists and removal on a signal are checked end to end by the tool's
// own tests.
TEST(AtomicFile, AppearsWholeOrNotAtAll) {
    orvane_test::TempDir const dir("atomic");
    std::string const target = dir / "out.txt";
    {
        orvane::AtomicFile file(target);
        file.write("half");
    }   // no commit: nothing remains, not even the temporary file
    EXPECT_TRUE(dir.empty());
    std::ofstream(target) << "old";
    {
        orvane::AtomicFile file(target);
        file.write("new");
        file.commit();
    }
    std::ifstream in(target);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, "new");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), std::filesystem::directory_iterator()), 1);
    EXPECT_THROW(orvane::AtomicFile(dir / "missing/x.svg"), orvane::UsageError);
    EXPECT_THROW(orvane::AtomicFile(dir.path.string()), orvane::UsageError);
}

TEST(LayerSelection, RangesAndSteps) {
    orvane::LayerSelection s = orvane::parseLayerRange("10:40");
    s.every = 15;
    EXPECT_EQ(s.pick(1400), (std::vector<std::size_t>{9, 24, 39}));
    EXPECT_EQ(orvane::parseLayerRange(":3").pick(10), (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(orvane::parseLayerRange("9:").pick(10), (std::vector<std::size_t>{8, 9}));
    EXPECT_EQ(orvane::parseLayerRange("4").pick(10), (std::vector<std::size_t>{3}));
    EXPECT_TRUE(orvane::parseLayerRange("20:30").pick(10).empty());
    for (char const *bad : {"0:4", "a:b", "5:2", "1:2:3", "-1"})
        EXPECT_THROW(orvane::parseLayerRange(bad), orvane::UsageError) << bad;
}

}  // namespace
