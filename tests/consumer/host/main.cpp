// Slices a 2-unit cube into 4 layers through the installed (or embedded) library; exit code 0
// when it gets 4 closed contours named Slice_1 .. Slice_4.
#include "Direction3D.h"
#include "PLC.h"
#include "Profiler.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

namespace odb = ORVANE_DATABASE;

int main() {
    std::deque<odb::Vertex> vertices;   // not copyable: stays where it is built
    std::vector<odb::Triangle> triangles;
    odb::Triangulation mesh;
    for (int k = 0; k < 8; ++k)
        vertices.emplace_back(new odb::Point3D(k & 4 ? 1 : -1, k & 2 ? 1 : -1, k & 1 ? 1 : -1));
    int const faces[12][3] = {{0, 1, 3}, {0, 3, 2}, {4, 6, 7}, {4, 7, 5}, {0, 4, 5}, {0, 5, 1},
                              {2, 3, 7}, {2, 7, 6}, {0, 2, 6}, {0, 6, 4}, {1, 5, 7}, {1, 7, 3}};
    for (auto const &f : faces) triangles.emplace_back(f[0], f[1], f[2]);
    for (auto &v : vertices) mesh.addVertex(&v);
    for (auto &t : triangles) mesh.addTriangle(&t);

    odb::Direction3D up(0, 0, 1);
    std::vector<odb::PLC *> contours;
    bool ok = odb::Profiler(&mesh, &up, 4).generateProfile(contours).isOk() && contours.size() == 4;
    for (std::size_t i = 0; i < contours.size(); ++i) {
        std::vector<odb::Point3D *> *points = contours[i]->pointList();
        ok = ok && contours[i]->getName() == "Slice_" + std::to_string(i + 1) && points->size() >= 4 &&
             *points->front() == *points->back();
        delete contours[i];
        for (odb::Point3D *p : *points) delete p;
        delete points;
    }
    std::printf("host: %s\n", ok ? "4 closed layers" : "unexpected result");
    return ok ? 0 : 1;
}
