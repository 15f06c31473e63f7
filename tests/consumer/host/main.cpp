// Slices a 2-unit cube into 4 layers through the installed (or embedded) library and checks
// that it gets 4 closed contours named Slice_1 .. Slice_4. Exit code 0 when it does.
#include "Direction3D.h"
#include "Outcome.h"
#include "PLC.h"
#include "Point3D.h"
#include "Profiler.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <cstdio>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;

int main() {
    std::vector<odb::Vertex *> vertices;
    std::vector<odb::Triangle *> triangles;
    auto *mesh = new odb::Triangulation();
    for (int k = 0; k < 8; ++k) {
        vertices.push_back(new odb::Vertex(new odb::Point3D(k & 4 ? 1 : -1, k & 2 ? 1 : -1, k & 1 ? 1 : -1)));
        mesh->addVertex(vertices.back());
    }
    int const faces[12][3] = {{0, 1, 3}, {0, 3, 2}, {4, 6, 7}, {4, 7, 5}, {0, 4, 5}, {0, 5, 1},
                              {2, 3, 7}, {2, 7, 6}, {0, 2, 6}, {0, 6, 4}, {1, 5, 7}, {1, 7, 3}};
    for (auto const &f : faces) {
        triangles.push_back(new odb::Triangle(f[0], f[1], f[2]));
        mesh->addTriangle(triangles.back());
    }

    int failures = 0;
    {
        odb::Direction3D up(0, 0, 1);
        odb::Profiler slicer(mesh, &up, 4);
        std::vector<odb::PLC *> contours;
        odb::Outcome const outcome = slicer.generateProfile(contours);
        if (!outcome.isOk()) ++failures;
        if (contours.size() != 4) ++failures;
        for (std::size_t i = 0; i < contours.size(); ++i) {
            std::vector<odb::Point3D *> *points = contours[i]->pointList();
            if (contours[i]->getName() != "Slice_" + std::to_string(i + 1)) ++failures;
            if (points->size() < 4 || !(*points->front() == *points->back())) ++failures;
            delete contours[i];
            for (odb::Point3D *p : *points) delete p;
            delete points;
        }
    }
    delete mesh;
    for (odb::Triangle *t : triangles) delete t;
    for (odb::Vertex *v : vertices) delete v;
    std::printf("host: %s\n", failures == 0 ? "4 closed layers" : "unexpected result");
    return failures == 0 ? 0 : 1;
}
