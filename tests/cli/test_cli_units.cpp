// Unit tests of the orvane tool's parts: the model reader's welding and placement, the
// all-or-nothing output files, and the picture's choice of layers.
#include "cli_support.h"
#include "contour_export.h"
#include "slice_run.h"
#include "model_io.h"

#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

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
    std::array<double, 6> const box = model.box();
    double const xMax = box[3], yMax = box[4];
    EXPECT_DOUBLE_EQ(xMax, 11.0);
    EXPECT_DOUBLE_EQ(yMax, 6.0);
}

TEST(AtomicFile, AppearsWholeOrNotAtAll) {
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("orvane-atomic-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::string target = (dir / "out.txt").string();
    {
        orvane::AtomicFile file(target);
        file.write("half");
    }   // no commit: nothing remains, not even the temporary file
    EXPECT_TRUE(fs::is_empty(dir));
    std::ofstream(target) << "old";
    {
        orvane::AtomicFile file(target);
        file.write("new");
        file.commit();
    }
    std::ifstream in(target);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, "new");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    EXPECT_THROW(orvane::AtomicFile((dir / "missing" / "x.svg").string()), orvane::UsageError);
    EXPECT_THROW(orvane::AtomicFile(dir.string()), orvane::UsageError);
    fs::remove_all(dir);
}

TEST(OutputFiles, RefusedBeforeAnyFileIsMade) {
    namespace fs = std::filesystem;
    fs::path const dir = fs::temp_directory_path() / ("orvane-outputs-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::string const a = (dir / "a.svg").string(), model = (dir / "model.stl").string();
    std::ofstream(model) << "solid x\nendsolid x\n";
    using Targets = std::vector<std::string>;
    for (Targets const &targets : {Targets{a, (dir / "." / "a.svg").string()}, Targets{a, model},
                                   Targets{a, (dir / "missing" / "b.json").string()}, Targets{a, "-", "-"}})
        EXPECT_THROW(orvane::OutputFiles(targets, model, true), orvane::UsageError);
    EXPECT_THROW(orvane::OutputFiles({"-"}, model, false), orvane::UsageError);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);   // the model only
    {
        orvane::OutputFiles files({a, (dir / "b.json").string()}, model, false);
        files.write(0, "<svg/>");
        files.write(1, "{}");
        files.commit();
    }
    EXPECT_TRUE(fs::exists(a) && fs::exists(dir / "b.json"));
    fs::remove_all(dir);
}

TEST(AtomicFile, RemovedWhenASignalEndsTheTool) {
    namespace fs = std::filesystem;
    fs::path const dir = fs::temp_directory_path() / ("orvane-signal-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) {
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            orvane::AtomicFile file((dir / "big.svg").string());
            file.write("half of a picture");
            std::raise(sig);
            std::_Exit(0);   // not reached
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == sig);
        EXPECT_TRUE(fs::is_empty(dir)) << "signal " << sig;
    }
    fs::remove_all(dir);
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
