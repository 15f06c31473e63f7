#include "MarchingCubes.h"

#include "Point3D.h"
#include "Vertex.h"

#include <memory>

namespace ORVANE_DATABASE {

const float MarchingCubes::a2fVertexOffset[8][3] = {
    {0.f, 0.f, 0.f}, {1.f, 0.f, 0.f}, {1.f, 1.f, 0.f}, {0.f, 1.f, 0.f},
    {0.f, 0.f, 1.f}, {1.f, 0.f, 1.f}, {1.f, 1.f, 1.f}, {0.f, 1.f, 1.f}};

const int MarchingCubes::a2iEdgeConnection[12][2] = {
    {0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};

const float MarchingCubes::a2fEdgeDirection[12][3] = {
    {1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}, {-1.f, 0.f, 0.f}, {0.f, -1.f, 0.f},
    {1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}, {-1.f, 0.f, 0.f}, {0.f, -1.f, 0.f},
    {0.f, 0.f, 1.f}, {0.f, 0.f, 1.f}, {0.f, 0.f, 1.f}, {0.f, 0.f, 1.f}};

namespace {

// A vertex owning a new point at (x, y, z); neither leaks if either allocation fails.
std::unique_ptr<Vertex> newVertex(double const *p) {
    auto point = std::make_unique<Point3D>(p[0], p[1], p[2]);
    auto vertex = std::make_unique<Vertex>(point.get());
    point.release();
    return vertex;
}

} // namespace

double MarchingCubes::fGetOffset(double start, double end, double level) const {
    double const delta = end - start;
    if (delta == 0.0) return 0.5;
    return (level - start) / delta;
}

bool MarchingCubes::vMarchCube(std::vector<std::vector<Vertex *>> *out, double *values, double x,
                               double y, double z, double size) const {
    if (out == nullptr || values == nullptr) return false;

    double value[8];
    int cubeIndex = 0;
    for (int corner = 0; corner < 8; ++corner) {
        value[corner] = values[corner];
        if (value[corner] <= 0.0) cubeIndex |= 1 << corner;   // NaN compares false: outside
    }

    int const edgeFlags = aiCubeEdgeFlags[cubeIndex];
    if (edgeFlags == 0) return false;

    // Only the flagged edges carry a surface point; the triangle rows name no others.
    double edgePoint[12][3];
    for (int edge = 0; edge < 12; ++edge) {
        if ((edgeFlags & (1 << edge)) == 0) continue;
        int const a = a2iEdgeConnection[edge][0];
        int const b = a2iEdgeConnection[edge][1];
        double const t = fGetOffset(value[a], value[b], 0.0);
        edgePoint[edge][0] = x + size * (double(a2fVertexOffset[a][0]) + t * double(a2fEdgeDirection[edge][0]));
        edgePoint[edge][1] = y + size * (double(a2fVertexOffset[a][1]) + t * double(a2fEdgeDirection[edge][1]));
        edgePoint[edge][2] = z + size * (double(a2fVertexOffset[a][2]) + t * double(a2fEdgeDirection[edge][2]));
    }

    int const *row = a2iTriangleConnectionTable[cubeIndex];
    for (int triangle = 0; triangle < 5 && row[3 * triangle] >= 0; ++triangle) {
        // The three corners are held by unique_ptr until the output vector has taken them,
        // so that an allocation failure part-way leaks nothing.
        std::unique_ptr<Vertex> corner[3];
        for (int c = 0; c < 3; ++c) corner[c] = newVertex(edgePoint[row[3 * triangle + c]]);
        out->emplace_back(std::vector<Vertex *>{corner[0].get(), corner[1].get(), corner[2].get()});
        for (auto &c : corner) c.release();
    }
    return true;
}

} // namespace ORVANE_DATABASE
