// Where `slice` puts a model for the slicer: the placement maps the model into the slicer's
// comfort zone and back, the planes lie where the layers ask, and off every vertex.
#include "slice_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

// Distance of the slicer-frame height z from the nearest plane of the plan.
double planeDistance(orvane::SlicePlan const &plan, double z) {
    double const h = plan.layerHeight * plan.scale, t = plan.offset * plan.scale;
    double const r = z - t - h / 2;
    return std::fabs(r - h * std::round(r / h));
}

}  // namespace

TEST(SlicePlan, PlanesLieAtExactLayerHeightsAndOffEveryVertex) {
    std::mt19937 rng(5);
    for (double unit : {1e-3, 0.2, 1.0, 7.0, 4000.0})
        for (orvane::Vec3 d : {orvane::Vec3{{0, 0, 1}}, orvane::Vec3{{0, 0, -1}}, orvane::Vec3{{1, 0, 0}},
                               orvane::Vec3{{0.6, 0, 0.8}}}) {
            // Points on a lattice of step `unit`: with layers of `unit` from the bottom, every
            // vertex lies half a layer from a nominal plane, or exactly on one with layers of
            // 2 `unit`... plus random points.
            orvane::ModelData model;
            std::uniform_int_distribution<int> lattice(0, 40);
            for (int i = 0; i < 400; ++i)
                for (int c = 0; c < 3; ++c) model.coords.push_back(lattice(rng) * unit * 0.5);
            std::uniform_real_distribution<double> anywhere(0, 20 * unit);
            for (int i = 0; i < 100; ++i)
                for (int c = 0; c < 3; ++c) model.coords.push_back(anywhere(rng));
            orvane::SlicePlan const plan = orvane::planSlices(model, d, 0, unit, 100000);
            double const extent = plan.top - plan.bottom;
            EXPECT_EQ(plan.layers, static_cast<long long>(std::ceil(extent / unit - 1e-9)));
            EXPECT_DOUBLE_EQ(plan.height(0), plan.bottom + unit / 2);
            // The scaled model's largest extent is below 512; the offset is small.
            EXPECT_LT(extent * plan.scale, 512.0);
            EXPECT_LE(std::fabs(plan.offset), unit / 16);
            EXPECT_TRUE(plan.clear);
            for (std::size_t v = 0; v < model.vertexCount(); ++v) {
                double const *p = &model.coords[3 * v];
                std::array<double, 3> const q = plan.placement.apply(p[0], p[1], p[2]);
                EXPECT_GE(planeDistance(plan, q[2]), 1e-3 * unit * plan.scale * 0.999);
                if (plan.thinLast) {
                    double const rest = (plan.top - plan.layerBottom(plan.layers - 1)) * plan.scale;
                    EXPECT_GE(std::fabs(q[2] - plan.lastPlane), std::min(1e-3 * unit * plan.scale, rest / 8) * 0.999);
                }
                // Back to the model, moved onto layer k's plane: the point's own coordinates
                // across the direction, the plane's height along it.
                double const h = unit * plan.scale, t = plan.offset * plan.scale;
                long long const k = std::clamp(static_cast<long long>(std::floor((q[2] - t) / h)), 0LL, plan.layers - 1);
                if (q[2] > t && q[2] < t + static_cast<double>(plan.sweepLayers()) * h) {
                    EXPECT_EQ(plan.layerOf(q[2]), k);
                }
                ORVANE_DATABASE::Point3D const moved = plan.toModel({q[0], q[1], q[2]}, k);
                double const back[3] = {moved.x(), moved.y(), moved.z()};
                double const tolerance = 1e-12 * 40 * unit;
                double along = 0, shift = 0;
                for (int c = 0; c < 3; ++c) {
                    along += back[c] * d[c];
                    shift += (p[c] - back[c]) * d[c];
                }
                EXPECT_NEAR(along, plan.height(k), tolerance);
                EXPECT_LE(std::fabs(shift), unit);   // within its own layer
                for (int c = 0; c < 3; ++c) EXPECT_NEAR(p[c] - shift * d[c], back[c], tolerance);
            }
            // The guards fix the slicer's box one layer beyond the first and last plane.
            double const h = unit * plan.scale, t = plan.offset * plan.scale;
            EXPECT_DOUBLE_EQ(plan.guardLow[2], t - h);
            EXPECT_DOUBLE_EQ(plan.guardHigh[2], t + static_cast<double>(plan.sweepLayers() + 1) * h);
            EXPECT_EQ(plan.layerOf(t - h / 2), -1);
            EXPECT_EQ(plan.layerOf(t + (static_cast<double>(plan.sweepLayers()) + 0.5) * h), -1);
            // A thin last layer is cut in its own middle, inside it.
            if (plan.thinLast) {
                double const lo = (plan.layerBottom(plan.layers - 1) - plan.bottom) * plan.scale;
                double const hi = (plan.top - plan.bottom) * plan.scale;
                EXPECT_GT(plan.lastPlane, lo + (hi - lo) / 4);
                EXPECT_LT(plan.lastPlane, hi - (hi - lo) / 4);
            }
        }
}
