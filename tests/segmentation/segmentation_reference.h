#pragma once
// What segmentize must deliver, computed the plain way: strong edges from edgeList() and
// Vector3D::angle, faces grown over std::sets with the seed search restarted on every pass,
// face-mesh vertices found through a std::map<Point3D*, int, OrvaneDatabase::LessThan>.
// Shared by the tests and the fuzz target.
#include "Direction3D.h"
#include "Edge.h"
#include "OrvaneDatabase.h"
#include "Tolerance.h"
#include "Triangle.h"
#include "Triangulation.h"
#include "Vertex.h"

#include <array>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace orvane_test {

namespace odb = ORVANE_DATABASE;

// A face mesh as delivered: name, its vertices' points in order, its triangles' corners.
struct FaceRecord {
    std::string name;
    std::vector<odb::Point3D *> points;
    std::vector<std::array<std::size_t, 3>> triangles;
    bool operator==(FaceRecord const &o) const { return name == o.name && points == o.points && triangles == o.triangles; }
};

inline FaceRecord recordOf(odb::Triangulation &face) {
    FaceRecord r{face.getName(), {}, {}};
    for (odb::Vertex *v : face.vertexList()) r.points.push_back(v->point());
    for (odb::Triangle *t : face.triangleList()) r.triangles.push_back({t->vertexIndex(0), t->vertexIndex(1), t->vertexIndex(2)});
    return r;
}

// Delivered faces in the order of their numbers ("Face-<k>_...").
inline std::vector<FaceRecord> recordsOf(std::set<odb::Triangulation *> const &faces) {
    std::map<long, FaceRecord> byNumber;
    for (odb::Triangulation *f : faces) byNumber[std::stol(f->getName().substr(5))] = recordOf(*f);
    std::vector<FaceRecord> out;
    for (auto &entry : byNumber) out.push_back(entry.second);
    return out;
}

inline odb::Vector3D referenceNormal(odb::Triangulation &mesh, odb::Triangle *t) {
    odb::Vector3D p = mesh.vertex(t, 0)->point()->vector(), q = mesh.vertex(t, 1)->point()->vector(),
                  r = mesh.vertex(t, 2)->point()->vector();
    return (q - p) ^ (r - p);
}

inline std::set<odb::Edge *> referenceStrongEdges(odb::Triangulation &mesh, double angle) {
    std::set<odb::Edge *> strong;
    for (auto const &entry : mesh.edgeList()) {
        std::set<odb::Triangle *> const &around = *entry.first->triangles;
        auto it = around.begin();
        if (around.size() < 2 ||
            referenceNormal(mesh, *it).angle(referenceNormal(mesh, *std::next(it)), static_cast<odb::Direction3D *>(nullptr),
                                             odb::Tolerance()) > angle * 3.141592653589793 / 180.0)
            strong.insert(entry.first);
    }
    return strong;
}

// The faces segmentize delivers into an empty set, by number; `failure` receives the message
// when it fails instead.
inline std::vector<FaceRecord> referenceSegmentize(odb::Triangulation &mesh, double angle, std::string *failure) {
    std::vector<FaceRecord> faces;
    std::set<odb::Edge *> const strong = referenceStrongEdges(mesh, angle);
    if (strong.empty()) *failure = "Strong Edge not found";
    std::vector<odb::Triangle *> const &list = mesh.triangleList();
    std::set<odb::Triangle *> unassigned(list.begin(), strong.empty() ? list.begin() : list.end());
    while (!unassigned.empty()) {
        odb::Triangle *seed = nullptr;
        for (auto e = strong.begin(); !seed && e != strong.end(); ++e) {
            std::set<odb::Triangle *> const &around = *(*e)->triangles;
            int k = 0;
            for (auto it = around.begin(); !seed && it != around.end() && k < 2; ++it, ++k)
                if (unassigned.count(*it)) seed = *it;
        }
        for (std::size_t i = 0; !seed; ++i)   // no strong edge offers one: the first in the list
            if (unassigned.count(list[i])) seed = list[i];
        std::set<odb::Triangle *> face{seed};
        std::vector<odb::Triangle *> queue{seed};
        for (std::size_t i = 0; i < queue.size(); ++i)
            for (int k = 0; k < 3; ++k) {   // across each edge that is not strong, to the next in its set
                odb::Edge *e = queue[i]->edge(k);
                std::set<odb::Triangle *> const &around = *e->triangles;
                auto it = around.find(queue[i]);
                if (strong.count(e) || around.size() < 2 || it == around.end()) continue;
                odb::Triangle *n = ++it == around.end() ? *around.begin() : *it;
                if (face.insert(n).second) queue.push_back(n);
            }
        std::ostringstream name;
        name << "Face-" << faces.size() + 1 << "_" << angle;
        FaceRecord record{name.str(), {}, {}};
        std::map<odb::Point3D *, int, odb::OrvaneDatabase::LessThan> index;
        for (odb::Triangle *t : face) {
            unassigned.erase(t);
            std::array<std::size_t, 3> corners{};
            for (std::size_t c = 0; c < 3; ++c) {
                odb::Point3D *p = mesh.vertexList().at(t->vertexIndex(c))->point();
                auto found = index.find(p);
                if (found == index.end()) {   // a new vertex, then the map entry (which may find an old one)
                    found = index.emplace(p, static_cast<int>(record.points.size())).first;
                    record.points.push_back(p);
                }
                corners[c] = static_cast<std::size_t>(found->second);
            }
            record.triangles.push_back(corners);
        }
        faces.push_back(record);
    }
    return faces;
}

}  // namespace orvane_test
