#include "slice_plan.h"


#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <tuple>
#include <vector>

namespace orvane {

namespace {

// The incentre of the slicer's cutting triangle, on its in-plane v axis.
constexpr double kIncentreV = -323.0;
// The scaled model's largest extent lies in [kExtentLow, 2 * kExtentLow).
constexpr double kExtentLow = 256.0;
// Plane offsets stay within this fraction of a layer.
constexpr double kMostOffset = 1.0 / 16;
// An offset that keeps every vertex this fraction of a layer away is taken as it is.
constexpr double kWantedClearance = 1e-3;
// Below this clearance (slicer frame: a hundred times its merge tolerance) a vertex counts as
// lying on a plane.
constexpr double kSafeClearance = 1e-6;

double dot(Vec3 const &a, Vec3 const &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3 cross(Vec3 const &a, Vec3 const &b) {
    return {{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}
Vec3 unit(Vec3 v) {
    double const l = std::sqrt(dot(v, v));
    if (l >= 1e-13)
        for (double &c : v) c /= l;
    return v;
}

std::string text(double v) {
    std::ostringstream s;
    s.precision(6);
    s << v;
    return s.str();
}

// The offset t in [-limit, limit] for a plane with vertices at the sorted signed distances
// `near` from it: the one closest to zero that keeps every value at least `wanted` away,
// else the one that keeps them farthest away. Returns t and its distance to the nearest value.
std::pair<double, double> offsetBetween(std::vector<double> const &near, double limit, double wanted) {
    double const far = std::numeric_limits<double>::infinity();
    double bestT = 0, bestClear = -1, closestT = far;
    // Gaps between neighbouring values (and beyond the first and last).
    for (std::size_t i = 0; i <= near.size(); ++i) {
        double const a = i == 0 ? -far : near[i - 1];
        double const b = i == near.size() ? far : near[i];
        double const lo = std::max(a + wanted, -limit), hi = std::min(b - wanted, limit);
        if (lo <= hi) {
            double const t = std::clamp(0.0, lo, hi);
            if (std::fabs(t) < std::fabs(closestT)) closestT = t;
        }
        double const t = std::clamp(std::isfinite(a) && std::isfinite(b) ? (a + b) / 2 : (std::isfinite(a) ? limit : -limit),
                                    -limit, limit);
        double const clear = std::min(t - a, b - t);
        if (clear > bestClear) bestT = t, bestClear = clear;
    }
    double const t = std::isfinite(closestT) ? closestT : bestT;
    double clearance = far;
    auto const at = std::lower_bound(near.begin(), near.end(), t);
    if (at != near.end()) clearance = std::min(clearance, *at - t);
    if (at != near.begin()) clearance = std::min(clearance, t - *(at - 1));
    return {t, clearance};
}

// The offset for the evenly spaced planes (k + 1/2) h + t, and its clearance over all of `z`.
std::pair<double, double> chooseOffset(std::vector<double> const &z, double h, double limit, double wanted) {
    // Each value's position relative to its nearest plane, in [-h/2, h/2).
    std::vector<double> near;
    double const window = limit + wanted;
    for (double v : z) {
        double const r = v - h / 2 - h * std::round((v - h / 2) / h);
        if (std::fabs(r) <= window) near.push_back(r);
    }
    std::sort(near.begin(), near.end());
    auto const [t, clearance] = offsetBetween(near, limit, wanted);
    // Values outside the window lie farther than window - |t| from the moved plane, and values
    // nearer the next plane at least h/2 - |t|.
    return {t, std::min({clearance, window - std::fabs(t), h / 2 - std::fabs(t)})};
}

// The offset for a single plane at `plane`, and its clearance over all of `z`.
std::pair<double, double> chooseSingleOffset(std::vector<double> const &z, double plane, double limit, double wanted) {
    std::vector<double> near;
    double const window = limit + wanted;
    for (double v : z)
        if (std::fabs(v - plane) <= window) near.push_back(v - plane);
    std::sort(near.begin(), near.end());
    auto const [t, clearance] = offsetBetween(near, limit, wanted);
    return {t, std::min(clearance, window - std::fabs(t))};
}

}  // namespace

void slicerPlaneAxes(Vec3 const &n, Vec3 &u, Vec3 &v) {
    Vec3 const w = std::fabs(n[0]) < 1.0 / 64 && std::fabs(n[1]) < 1.0 / 64 ? Vec3{{0, 1, 0}} : Vec3{{0, 0, 1}};
    u = unit(cross(w, n));
    v = unit(cross(n, u));
}

double SlicePlan::height(long long k) const {
    if (thinLast && k == layers - 1) return (layerBottom(k) + top) / 2;
    return bottom + (static_cast<double>(k) + 0.5) * layerHeight;
}

double SlicePlan::layerBottom(long long k) const { return bottom + static_cast<double>(k) * layerHeight; }

double SlicePlan::layerTop(long long k) const {
    return k == layers - 1 ? top : bottom + static_cast<double>(k + 1) * layerHeight;
}

long long SlicePlan::layerOf(double z) const {
    double const h = layerHeight * scale;
    // Planes (guards included) lie at (j - 1/2) h + offset for j = 0 .. sweepLayers() + 1.
    double const j = std::floor((z - offset * scale) / h + 1);
    if (!(j >= 1) || j > static_cast<double>(sweepLayers())) return -1;
    return static_cast<long long>(j) - 1;
}

ORVANE_DATABASE::Point3D SlicePlan::toModel(ORVANE_DATABASE::Point3D const &p, long long k) const {
    // Placement: q = s R p + t, R's rows u, v, direction. Inverse: p = R^T (q - t) / s, with
    // the height replaced by the layer's nominal one.
    double const x = (p.x() - placement.t[0]) / scale, y = (p.y() - placement.t[1]) / scale;
    double const z = height(k);
    Vec3 out{};
    for (int c = 0; c < 3; ++c) out[c] = axisU[c] * x + axisV[c] * y + direction[c] * z;
    return {out[0], out[1], out[2]};
}

SlicePlan planSlices(ModelData const &model, Vec3 const &dir, long long layers, double layerHeight,
                     long long mostLayers) {
    SlicePlan plan;
    plan.direction = dir;
    slicerPlaneAxes(dir, plan.axisU, plan.axisV);
    Vec3 const rows[3] = {plan.axisU, plan.axisV, dir};

    // The model in the rotated frame: its box there.
    std::size_t const count = model.vertexCount();
    Vec3 lo{{HUGE_VAL, HUGE_VAL, HUGE_VAL}}, hi{{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL}};
    for (std::size_t i = 0; i < count; ++i) {
        Vec3 const p{{model.coords[3 * i], model.coords[3 * i + 1], model.coords[3 * i + 2]}};
        for (int c = 0; c < 3; ++c) {
            double const q = dot(rows[c], p);
            lo[c] = std::min(lo[c], q);
            hi[c] = std::max(hi[c], q);
        }
    }
    plan.bottom = lo[2];
    plan.top = hi[2];
    double const extent = hi[2] - lo[2];
    if (layers > 0) {
        plan.layers = layers;
        plan.layerHeight = extent > 0 ? extent / static_cast<double>(layers) : 1.0;
    } else {
        // A whole number of layers when the extent is one within rounding; else one more,
        // the last one thinner.
        double const wanted = std::max(1.0, std::ceil(extent / layerHeight * (1 - 1e-9)));
        if (wanted > static_cast<double>(mostLayers))
            throw UsageError("--layer-height " + text(layerHeight) + " gives " + text(wanted) +
                             " layers over the model's extent of " + text(extent) + "; at most " +
                             std::to_string(mostLayers));
        plan.layers = static_cast<long long>(wanted);
        plan.layerHeight = layerHeight;
        double const rest = extent - static_cast<double>(plan.layers - 1) * layerHeight;
        plan.thinLast = rest < layerHeight * (1 - 1e-9);
    }

    // The power of two that brings the largest extent into [256, 512).
    double const largest = std::max({hi[0] - lo[0], hi[1] - lo[1], extent});
    int exponent = 0;
    if (largest > 0 && std::isfinite(largest)) {
        int log2 = 0;
        std::frexp(largest / kExtentLow, &log2);   // largest / 256 = m 2^log2, m in [1/2, 1)
        exponent = std::clamp(1 - log2, -1000, 1000);   // largest 2^exponent = 2m 256
    }
    plan.scale = std::ldexp(1.0, exponent);
    double const s = plan.scale;
    double const h = plan.layerHeight * s;   // a layer in the slicer's frame

    // Placement: q = s R p + t; the box centre across the axis onto the incentre, the bottom
    // to z = 0.
    Placement &place = plan.placement;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) place.a[r][c] = s * rows[r][c];
    place.t[0] = -s * (lo[0] + hi[0]) / 2;
    place.t[1] = -s * (lo[1] + hi[1]) / 2 + kIncentreV;
    place.t[2] = -s * lo[2];

    // The heights the mesh's vertices will have, computed as the mesh builder will.
    std::vector<double> z(count);
    for (std::size_t i = 0; i < count; ++i)
        z[i] = place.apply(model.coords[3 * i], model.coords[3 * i + 1], model.coords[3 * i + 2])[2];
    double t = 0, clearance = HUGE_VAL;
    if (plan.sweepLayers() > 0)
        std::tie(t, clearance) = chooseOffset(z, h, kMostOffset * h, kWantedClearance * h);
    plan.offset = t / s;
    plan.clearance = clearance / s;
    plan.clear = clearance >= kSafeClearance;
    if (plan.thinLast) {
        // The thin layer's own plane, in the middle of what is left above the others; it
        // moves at most a quarter of that layer, so that it stays inside it.
        double const rest = s * (plan.top - plan.layerBottom(plan.layers - 1));
        double const nominal = s * (plan.height(plan.layers - 1) - plan.bottom);
        auto const [lastT, lastClearance] = chooseSingleOffset(
            z, nominal, std::min(kMostOffset * h, rest / 4), std::min(kWantedClearance * h, rest / 8));
        plan.lastPlane = nominal + lastT;
        plan.clearance = std::min(plan.clearance, lastClearance / s);
        plan.clear = plan.clear && lastClearance >= kSafeClearance;
    }

    // Guards: one layer below the first plane's layer and one above the last.
    double const n = static_cast<double>(plan.sweepLayers());
    plan.guardLow = {{0, kIncentreV, t - h}};
    plan.guardHigh = {{0, kIncentreV, t + (n + 1) * h}};
    return plan;
}

}  // namespace orvane
