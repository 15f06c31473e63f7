#include "Feedback.h"
#include "Point3D.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"
#include "Voxelization.h"
#include "support/release.h"
#include "support/test_mesh.h"
#include "voxel/CornerVertices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using namespace ORVANE_DATABASE;
using orvane_test::TestMesh;
using Strings = std::vector<std::string>;

namespace {

struct Recorder : Feedback {
    Strings messages;
    std::string throwOn;
    void progressMessage(std::string message, int current, int total) override {
        EXPECT_EQ(current, 0);
        EXPECT_EQ(total, 0);
        messages.push_back(message);
        if (message == throwOn) throw std::runtime_error("cancelled");
    }
    void progressValue(int) override {}
};

using orvane_test::releaseSurface;
void release(std::vector<Vertex *> &vertices) {
    for (Vertex *v : vertices) delete v;
}

Vector3D at(Triangulation &m, std::size_t t, int c) {
    return m.vertex(m.triangleList()[t], c)->point()->vector();
}
Vector3D normal(Triangulation &m, std::size_t t) {
    return (at(m, t, 1) - at(m, t, 0)) ^ (at(m, t, 2) - at(m, t, 0));
}

Strings const kMeshMessages{"\nMarking Voxels...", "Marking Voxels done.", "Creating Triangulation...",
                            "Creating Triangulation done."};

} // namespace

// Two cells along z: each cell's twelve triangles, two per face, face into the cell, so the
// shared face at z = 1 comes twice, once from each cell, opposite ways.
TEST(VoxelSurface, CellMeshAndQuadsFaceIntoTheirCells) {
    auto slab = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 2));   // owns what the mesh lists
    Voxelization v(slab->release(), 1, 1, 2, nullptr);
    Triangulation *mesh = v.voxelize();
    ASSERT_NE(mesh, nullptr);
    ASSERT_EQ(mesh->vertexList().size(), 12u);
    ASSERT_EQ(mesh->triangleList().size(), 24u);
    for (std::size_t t = 0; t < 24; ++t) {   // cell by cell
        Vector3D const centre(0.5, 0.5, t < 12 ? 0.5 : 1.5);
        EXPECT_GT(normal(*mesh, t) * (centre - at(*mesh, t, 0)), 0.0) << t;
        EXPECT_TRUE(normal(*mesh, t) == normal(*mesh, t ^ 1)) << t;
    }
    releaseSurface(mesh);

    std::vector<Vertex *> vertices;
    std::vector<std::size_t> indices;
    v.voxelize(vertices, indices);
    ASSERT_EQ(vertices.size(), 12u);
    ASSERT_EQ(indices.size(), 48u);
    EXPECT_EQ(std::vector<std::size_t>(indices.begin(), indices.begin() + 4), (std::vector<std::size_t>{0, 2, 3, 1}));
    Vector3D const yLow[4] = {{1, 0, 0}, {1, 0, 1}, {0, 0, 1}, {0, 0, 0}};   // the lower cell's fourth quad
    for (int c = 0; c < 4; ++c) EXPECT_TRUE(vertices[indices[12 + c]]->point()->vector() == yLow[c]);
    release(vertices);
}

TEST(VoxelSurface, NeighbouringCellsShareCorners) {
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));   // owns what the mesh lists
    Voxelization shell(cube->release(), 3, 3, 3, nullptr);
    for (int call = 0; call < 2; ++call) {   // a second call builds the same surface again
        Triangulation *mesh = shell.voxelize();
        ASSERT_NE(mesh, nullptr);
        EXPECT_EQ(mesh->getName(), "Voxel_3_3_3");
        EXPECT_EQ(mesh->vertexList().size(), 64u);
        EXPECT_EQ(mesh->triangleList().size(), 312u);
        releaseSurface(mesh);
    }
    std::vector<Vertex *> vertices;   // appended after five existing entries
    for (int i = 0; i < 5; ++i) vertices.push_back(new Vertex(new Point3D(-1, -1, -1)));
    std::vector<std::size_t> indices{99};
    shell.voxelize(vertices, indices);
    EXPECT_EQ(vertices.size(), 69u);
    ASSERT_EQ(indices.size(), 625u);
    EXPECT_EQ(indices[0], 99u);
    EXPECT_EQ(*std::min_element(indices.begin() + 1, indices.end()), 5u);
    EXPECT_EQ(*std::max_element(indices.begin() + 1, indices.end()), 68u);
    release(vertices);
}

// Without a mesh or without triangles nothing comes back, and the stage messages are the same.
TEST(VoxelSurface, MessagesWhenNothingIsDelivered) {
    Recorder log;
    Voxelization none(nullptr, 1, 1, 1, &log);
    std::vector<Vertex *> vertices;
    std::vector<std::size_t> indices;
    EXPECT_EQ(none.voxelize(), nullptr);
    none.voxelize(vertices, indices);
    EXPECT_EQ(log.messages, (Strings{kMeshMessages[0], kMeshMessages[1], kMeshMessages[0], kMeshMessages[1]}));

    log.messages.clear();
    TestMesh pointsOnly;
    pointsOnly.addVertex(0, 0, 0), pointsOnly.addVertex(1, 1, 1);
    Voxelization empty(pointsOnly.release(), 2, 2, 2, &log);
    EXPECT_EQ(empty.voxelize(), nullptr);
    EXPECT_EQ(log.messages, kMeshMessages);
    empty.voxelize(vertices, indices);
    EXPECT_TRUE(vertices.empty() && indices.empty());
    EXPECT_EQ(Strings(log.messages.begin() + 4, log.messages.end()),
              (Strings{kMeshMessages[0], kMeshMessages[1], "Creating Quads...", "Creating Quads done."}));

    // A host that cancels from its callback loses nothing (the sanitizers see no leak).
    Recorder cancel;
    cancel.throwOn = "Creating Triangulation done.";
    auto cube = TestMesh::box(Point3D(0, 0, 0), Point3D(1, 1, 1));
    Voxelization v(cube->release(), 2, 2, 2, &cancel);
    EXPECT_THROW(v.voxelize(), std::runtime_error);
}

// The lattice lookup must hand out exactly the vertices and indices of the point map, also
// where it declines (tiny cells, far-off origins with coarse rounding) or collapses flat axes.
TEST(VoxelSurface, LatticeCornersMatchThePointMap) {
    std::mt19937 rng(11);
    double const sizes[] = {0.1, 1.0 / 3, 0.0, 4e-10, 2e-9, 7.3};
    double const origins[] = {0.0, -2.5, 1e7 + 0.1, 3e6};
    int latticeRounds = 0;
    for (int round = 0; round < 200; ++round) {
        std::size_t const count[3] = {1 + rng() % 5, 1 + rng() % 5, 1 + rng() % 5};
        voxel::CellGeometry g;
        for (int a = 0; a < 3; ++a) g.origin[a] = origins[rng() % 4], g.size[a] = sizes[rng() % 6];
        std::vector<unsigned char> grid(count[0] * count[1] * count[2]);
        for (auto &c : grid) c = rng() % 3 == 0;
        voxel::AxisClasses classes[3];
        latticeRounds += voxel::latticeApplies(g, count, classes);

        using Points = std::vector<std::unique_ptr<Point3D>>;   // kept alive: the map keys them
        auto build = [&](bool lattice, Points &points, std::vector<int> &corners) {
            voxel::buildCorners(
                grid.data(), count, g, lattice,
                [&](std::unique_ptr<Point3D> p) {
                    points.push_back(std::move(p));
                    return int(points.size() - 1);
                },
                [&](int const (&c)[8]) { corners.insert(corners.end(), c, c + 8); });
        };
        Points fast, reference;
        std::vector<int> fastCorners, referenceCorners;
        build(true, fast, fastCorners);
        build(false, reference, referenceCorners);
        ASSERT_EQ(fastCorners, referenceCorners) << "round " << round;
        ASSERT_EQ(fast.size(), reference.size());
        for (std::size_t i = 0; i < fast.size(); ++i)
            ASSERT_TRUE(fast[i]->x() == reference[i]->x() && fast[i]->y() == reference[i]->y() &&
                        fast[i]->z() == reference[i]->z());
    }
    EXPECT_GT(latticeRounds, 40);   // both ways were compared
    EXPECT_LT(latticeRounds, 160);
}
