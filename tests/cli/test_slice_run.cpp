// The slicing pipeline as a scripting module sees it: polygons nested and oriented, the thin
// last layer cut apart exactly as the whole mesh would be cut there.
#include "default_model.h"
#include "slice_run.h"

#include "Direction3D.h"
#include "PLC.h"
#include "Profiler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

double areaAbout(orvane::Ring3 const &ring, orvane::Vec3 const &d) {
    double n[3] = {0, 0, 0};
    for (std::size_t i = 0; i < ring.size(); ++i) {
        orvane::Point3 const &p = ring[i], &q = ring[(i + 1) % ring.size()];
        n[0] += p[1] * q[2] - p[2] * q[1];
        n[1] += p[2] * q[0] - p[0] * q[2];
        n[2] += p[0] * q[1] - p[1] * q[0];
    }
    return (n[0] * d[0] + n[1] * d[1] + n[2] * d[2]) / 2;
}

TEST(SliceRun, PolygonsAreNestedAndOrientedAboutTheDirection) {
    for (orvane::Vec3 d : {orvane::Vec3{{0, 0, 1}}, orvane::Vec3{{0, 0, -2}}, orvane::Vec3{{1, 1, 1}}}) {
        orvane::SliceRequest request;
        request.direction = d;
        request.layerHeight = 1;
        std::vector<std::string> stages;
        orvane::SliceCallbacks callbacks;
        callbacks.stage = [&](std::string const &what, std::size_t) { stages.push_back(what); };
        orvane::SliceResult const r = orvane::sliceModel(orvane::makeDefaultModel(), request, callbacks);
        EXPECT_TRUE(r.modelClosed);
        EXPECT_EQ(r.openContours, 0u);
        EXPECT_EQ(stages.size(), 3u);   // building, slicing, nesting
        double const length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        for (double &c : d) c /= length;
        for (orvane::SliceLayer const &layer : r.layers)
            for (orvane::SlicePolygon const &p : layer.polygons) {
                EXPECT_GT(areaAbout(p.outer, d), 0) << layer.index;
                for (orvane::Ring3 const &hole : p.holes) EXPECT_LT(areaAbout(hole, d), 0) << layer.index;
            }
    }
}

// The thin last layer of the built-in part (25 high in layers of 3: eight layers and one of
// 1), cut on its own mesh of nearby triangles, against the whole mesh cut on the same plane.
TEST(SliceRun, ThinLastLayerMatchesCuttingTheWholeMesh) {
    orvane::SliceRequest request;
    request.layerHeight = 3;
    orvane::SliceResult const r = orvane::sliceModel(orvane::makeDefaultModel(), request);
    orvane::SlicePlan const &plan = r.plan;
    ASSERT_TRUE(plan.thinLast);
    ASSERT_EQ(r.layers.size(), 9u);
    EXPECT_DOUBLE_EQ(r.layers.back().height, 24.5);

    orvane::ModelData const model = orvane::makeDefaultModel();
    std::unique_ptr<orvane::OwnedMesh> whole = orvane::buildMesh(model, &plan.placement);
    whole->addVertex(0, -323, plan.lastPlane - 1000);
    whole->addVertex(0, -323, plan.lastPlane + 1000);
    ORVANE_DATABASE::Direction3D up(0, 0, 1);
    std::vector<ORVANE_DATABASE::PLC *> contours;
    ORVANE_DATABASE::Profiler(&whole->mesh(), &up, 1).generateProfile(contours);
    std::vector<std::array<double, 2>> expected, got;
    for (ORVANE_DATABASE::PLC *c : contours) {
        std::vector<ORVANE_DATABASE::Point3D *> *points = c->pointList();
        EXPECT_NEAR(points->front()->z(), plan.lastPlane, 1e-9);
        for (std::size_t i = 0; i + 1 < points->size(); ++i)   // closed: the repeat left out
            expected.push_back({{((*points)[i]->x() - plan.placement.t[0]) / plan.scale,
                                 ((*points)[i]->y() - plan.placement.t[1]) / plan.scale}});
        delete c;
        for (ORVANE_DATABASE::Point3D *p : *points) delete p;
        delete points;
    }
    for (orvane::SlicePolygon const &p : r.layers.back().polygons) {
        for (orvane::Point3 const &q : p.outer) got.push_back({{q[0], q[1]}});
        for (orvane::Ring3 const &hole : p.holes)
            for (orvane::Point3 const &q : hole) got.push_back({{q[0], q[1]}});
    }
    std::sort(expected.begin(), expected.end());
    std::sort(got.begin(), got.end());
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_NEAR(got[i][0], expected[i][0], 1e-9);
        EXPECT_NEAR(got[i][1], expected[i][1], 1e-9);
    }
}

}  // namespace
