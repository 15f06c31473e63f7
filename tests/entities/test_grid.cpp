// Grid: addressing, normals at interior, edge and corner points (including the settled corner
// and one-neighbour cases), texture settings, and deep copies of the points it owns.
#include "Grid.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

using namespace ORVANE_DATABASE;

namespace {

// height x width grid with the point (j, i, a j + b i) at row i, column j: columns run along
// +x, rows along +y.
Grid *planeGrid(std::size_t height, std::size_t width, double a = 0.0, double b = 0.0) {
    Grid *g = new Grid(height, width);
    for (std::size_t i = 0; i < height; ++i)
        for (std::size_t j = 0; j < width; ++j) {
            double const x = static_cast<double>(j), y = static_cast<double>(i);
            g->addRowPoints(new Point3D(x, y, a * x + b * y));
        }
    return g;
}

} // namespace

TEST(Grid, AddressingAndRangeErrors) {
    Grid *g = planeGrid(3, 3);
    EXPECT_EQ(g->getIndex(5, 1), 16u);   // no range test
    EXPECT_EQ(g->getPoint(2, 1), g->rowPointList()->at(7));
    EXPECT_EQ(g->getPoint(1, -1), g->rowPointList()->at(2));   // negative column, row 1
    EXPECT_THROW(g->getPoint(3, 0), std::out_of_range);
    EXPECT_THROW(g->getNormal(3, 0), std::out_of_range);
    EXPECT_TRUE(g->getBoundingBox()->isEqual(BoundingBox3D(Point3D(0, 0, 0), Point3D(2, 2, 0)),
                                             Tolerance()));
    delete g;   // releases the nine points
    Grid partial(2, 2);   // a neighbour that was never supplied
    partial.addRowPoints(new Point3D(0, 0, 0));
    partial.addRowPoints(new Point3D(1, 0, 0));
    EXPECT_THROW(partial.getNormal(0, 0), std::out_of_range);
}

// On a plane z = a x + b y every product of neighbour vectors is parallel to the plane's
// normal, so every grid point (interior: four products; edges: two, one of them zero on two
// edges; corners: one, the last-row first-column corner in ring order) must give (a, b, -1)
// normalised, the orientation of a flat grid's (0, 0, -1).
TEST(Grid, NormalsAgreeAtInteriorEdgeAndCornerPoints) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> slope(-2.0, 2.0);
    for (int trial = 0; trial < 20; ++trial) {
        double const a = trial == 0 ? 0.0 : slope(rng), b = trial == 0 ? 0.0 : slope(rng);
        std::size_t const h = 2 + trial % 4, w = 2 + trial % 3;
        Grid *g = planeGrid(h, w, a, b);
        Vector3D expected(a, b, -1.0);
        expected.normalize(Tolerance());
        for (int i = 0; i < static_cast<int>(h); ++i)
            for (int j = 0; j < static_cast<int>(w); ++j)
                EXPECT_TRUE(g->getNormal(i, j) == expected) << "at " << i << ", " << j;
        delete g;
    }
    // Fewer than two neighbours (the ends of a single row), or two collinear ones: the zero
    // vector.
    Grid *row = planeGrid(1, 3);
    for (int j = 0; j < 3; ++j) EXPECT_TRUE(row->getNormal(0, j) == Vector3D(0, 0, 0)) << j;
    delete row;
}

TEST(Grid, TextureSettingsAndDeepCopies) {
    Grid *g = planeGrid(2, 2);
    g->setDelta(0.25);
    g->setFilePath(std::string("tex.png\0junk", 12));
    EXPECT_EQ(g->textureFilePath(), "");   // flag not set
    g->applyAsTexture(true);
    EXPECT_EQ(g->textureFilePath(), "tex.png");
    Grid noPath(1, 1);
    noPath.applyAsTexture(true);
    EXPECT_EQ(noPath.textureFilePath(), "");

    Grid *copy = new Grid(*g);
    EXPECT_TRUE(*copy->getPoint(1, 1) == *g->getPoint(1, 1));
    delete g;   // source first: the copy's points and path are its own
    EXPECT_EQ(copy->textureFilePath(), "tex.png");
    noPath = *copy;
    Grid &alias = noPath;
    noPath = alias;
    EXPECT_EQ(noPath.rowPointList()->size(), 4u);
    EXPECT_DOUBLE_EQ(noPath.delta(), 0.25);
    EXPECT_TRUE(noPath.getNormal(1, 0) == Vector3D(0, 0, -1));
    delete copy;
}
