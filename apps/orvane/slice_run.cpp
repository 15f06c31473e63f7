#include "slice_run.h"

#include "contour_nesting.h"
#include "library_release.h"
#include "mesh_facts.h"

#include "Direction3D.h"
#include "Edge.h"
#include "PLC.h"
#include "Profiler.h"
#include "Triangle.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <memory>
#include <sstream>
#include <system_error>

namespace orvane {

namespace {

using Clock = std::chrono::steady_clock;

// One layer's contours as the slicer delivered them, in its frame (x, y).
struct Collected {
    std::vector<Ring2> closed;
    std::vector<Ring2> open;
};

void begin(SliceCallbacks const &cb, std::string const &what, std::size_t total) {
    if (cb.stage) cb.stage(what, total);
}
void end(SliceCallbacks const &cb) {
    if (cb.done) cb.done();
}

std::string count(std::size_t n, char const *one, char const *many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string text(double v) {
    std::ostringstream s;
    s.precision(3);
    s << v;
    return s.str();
}

// Runs the slicer over `mesh` with `planes` planes along z and files every contour under the
// layer `layerOf` names for the height of its first point (a negative layer drops it). A
// contour is closed when its last point repeats its first within the slicer's own 1e-8.
template <class LayerOf>
void cutAndCollect(OwnedMesh &mesh, long long planes, LayerOf layerOf, std::vector<Collected> &layers) {
    odb::Direction3D up(0, 0, 1);
    ContourList contours;
    {
        odb::Profiler profiler(&mesh.mesh(), &up, static_cast<int>(planes));
        profiler.generateProfile(contours.items);
    }
    for (odb::PLC *&plc : contours.items) {
        std::vector<odb::Point3D *> const &points = *plc->pointList();
        if (!points.empty()) {
            long long const k = layerOf(points.front()->z());
            if (k >= 0) {
                odb::Point3D const &a = *points.front(), &b = *points.back();
                bool const closed = points.size() >= 2 && std::fabs(a.x() - b.x()) < 1e-8 &&
                                    std::fabs(a.y() - b.y()) < 1e-8 && std::fabs(a.z() - b.z()) < 1e-8;
                Ring2 ring;
                ring.reserve(points.size());
                for (std::size_t i = 0; i + (closed ? 1 : 0) < points.size(); ++i)
                    ring.push_back({{points[i]->x(), points[i]->y()}});
                Collected &layer = layers[static_cast<std::size_t>(k)];
                (closed ? layer.closed : layer.open).push_back(std::move(ring));
            }
        }
        releaseContour(plc);   // as we go: the points are copied
        plc = nullptr;
    }
}

// Whether every edge of the kernel's mesh joins exactly two triangles.
bool closedMesh(OwnedMesh &mesh) {
    for (std::size_t t = 0; t < mesh.triangleCount(); ++t)
        for (int e = 0; e < 3; ++e) {
            odb::Edge *edge = mesh.triangle(t).edge(e);
            if (!edge || edge->triangles->size() != 2) return false;
        }
    return true;
}

// The triangles of `model` that reach within `margin` of the placed height `plane`, with
// the vertices they use (in model coordinates, first use first), in their order.
ModelData trianglesNear(ModelData const &model, Placement const &placement, double plane, double margin) {
    ModelData out;
    std::vector<double> z(model.vertexCount());
    for (std::size_t v = 0; v < z.size(); ++v)
        z[v] = placement.apply(model.coords[3 * v], model.coords[3 * v + 1], model.coords[3 * v + 2])[2];
    std::vector<std::uint32_t> renumber(z.size(), UINT32_MAX);
    for (std::size_t t = 0; t < model.triangleCount(); ++t) {
        std::uint32_t const *c = &model.corners[3 * t];
        double const lo = std::min({z[c[0]], z[c[1]], z[c[2]]}), hi = std::max({z[c[0]], z[c[1]], z[c[2]]});
        if (lo > plane + margin || hi < plane - margin) continue;
        for (int i = 0; i < 3; ++i) {
            std::uint32_t &n = renumber[c[i]];
            if (n == UINT32_MAX) {
                n = static_cast<std::uint32_t>(out.vertexCount());
                out.coords.insert(out.coords.end(), &model.coords[3 * c[i]], &model.coords[3 * c[i]] + 3);
            }
            out.corners.push_back(n);
        }
    }
    return out;
}

// Polygons of one layer: nesting decides outer and hole, orientation follows from it, and
// the points go back to model coordinates on the plane at `height`.
void assembleLayer(Collected &cut, SlicePlan const &plan, SliceLayer &layer) {
    double const s = plan.scale, tx = plan.placement.t[0], ty = plan.placement.t[1];
    auto toModel = [&](Point2 const &p) {
        double const x = (p[0] - tx) / s, y = (p[1] - ty) / s;
        Point3 out{};
        for (int c = 0; c < 3; ++c) out[c] = plan.axisU[c] * x + plan.axisV[c] * y + plan.direction[c] * layer.height;
        return out;
    };
    auto ring3 = [&](Ring2 const &ring, bool counterClockwise) {
        Ring3 out;
        out.reserve(ring.size());
        bool const reverse = (twiceSignedArea(ring) > 0) != counterClockwise && ring.size() >= 3;
        // Reversed from the same first corner, so that a contour starts where the slicer began it.
        for (std::size_t i = 0; i < ring.size(); ++i) out.push_back(toModel(ring[reverse && i ? ring.size() - i : i]));
        return out;
    };
    RingNesting const nesting = nestRings(cut.closed);
    std::vector<long long> polygonOf(cut.closed.size(), -1);
    for (std::size_t r = 0; r < cut.closed.size(); ++r) {
        bool const hole = nesting.depth[r] % 2 == 1 && nesting.parent[r] >= 0 &&
                          nesting.depth[static_cast<std::size_t>(nesting.parent[r])] % 2 == 0;
        if (hole) continue;
        polygonOf[r] = static_cast<long long>(layer.polygons.size());
        layer.polygons.push_back({ring3(cut.closed[r], true), {}});
    }
    for (std::size_t r = 0; r < cut.closed.size(); ++r)
        if (polygonOf[r] < 0) {
            long long const outer = polygonOf[static_cast<std::size_t>(nesting.parent[r])];
            layer.polygons[static_cast<std::size_t>(outer)].holes.push_back(ring3(cut.closed[r], false));
        }
    for (Ring2 const &ring : cut.open) {
        std::vector<Point3> out;
        out.reserve(ring.size());
        for (Point2 const &p : ring) out.push_back(toModel(p));
        layer.open.push_back(std::move(out));
    }
    cut = Collected();
}

}  // namespace

double cleanDecimal(double value) {
    if (!std::isfinite(value)) return value;
    char buffer[64];
    auto const written = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 12);
    double clean = value;
    std::from_chars(buffer, written.ptr, clean);
    return clean;
}

std::string listSome(std::vector<long long> const &numbers, std::size_t most) {
    std::string list;
    for (std::size_t i = 0; i < std::min(numbers.size(), most); ++i)
        list += (i ? ", " : "") + std::to_string(numbers[i]);
    if (numbers.size() > most) list += " and " + std::to_string(numbers.size() - most) + " more";
    return list;
}

SliceResult sliceModel(ModelData model, SliceRequest const &request, SliceCallbacks const &cb) {
    Vec3 d = request.direction;
    double const length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    if (!std::isfinite(length) || length < 1e-9)
        throw UsageError("the slicing direction must be three finite numbers, not all zero");
    for (double &c : d) c /= length;
    if (request.layers <= 0 && !(request.layerHeight > 0 && std::isfinite(request.layerHeight)))
        throw UsageError("give a layer count of at least 1 or a layer height greater than 0");
    if (model.vertexCount() == 0) throw InputError("the model has no vertices");

    SliceResult result;
    result.plan = planSlices(model, d, request.layers, request.layerHeight, request.mostLayers);
    SlicePlan const &plan = result.plan;
    std::vector<Collected> cut(static_cast<std::size_t>(plan.layers));
    double const h = plan.layerHeight * plan.scale;

    // The thin last layer's triangles, taken before the model's arrays go.
    ModelData last;
    if (plan.thinLast) last = trianglesNear(model, plan.placement, plan.lastPlane, h);
    if (plan.sweepLayers() == 0) {
        MeshFacts const facts = meshFacts(model.coords.data(), model.vertexCount(), model.corners.data(),
                                          model.triangleCount());
        result.modelClosed = facts.closed();
    }

    if (plan.sweepLayers() > 0) {
        begin(cb, "Building the mesh of " + count(model.triangleCount(), "triangle", "triangles"),
              model.vertexCount() + model.triangleCount());
        std::unique_ptr<OwnedMesh> mesh = buildMesh(model, &plan.placement, [&](std::size_t done, std::size_t total) {
            if (cb.step) cb.step(done, total);
        });
        model = ModelData();   // the mesh holds the model now; its arrays would only add to the peak
        end(cb);
        mesh->addVertex(plan.guardLow[0], plan.guardLow[1], plan.guardLow[2]);
        mesh->addVertex(plan.guardHigh[0], plan.guardHigh[1], plan.guardHigh[2]);
        result.modelClosed = closedMesh(*mesh);

        begin(cb, "Slicing " + count(static_cast<std::size_t>(plan.layers), "layer", "layers"), 0);
        auto const started = Clock::now();
        cutAndCollect(*mesh, plan.slicerPlanes(), [&](double z) { return plan.layerOf(z); }, cut);
        result.slicingSeconds = std::chrono::duration<double>(Clock::now() - started).count();
        end(cb);
        result.slicedMesh = std::move(mesh);
    }
    model = ModelData();
    if (plan.thinLast && last.triangleCount() > 0) {
        // One plane through the middle of the box that two guards centre on it.
        std::unique_ptr<OwnedMesh> mesh = buildMesh(last, &plan.placement);
        double reach = h;
        for (std::size_t v = 0; v < mesh->vertexCount(); ++v)
            reach = std::max(reach, std::fabs(mesh->point(v).z() - plan.lastPlane));
        mesh->addVertex(plan.guardLow[0], plan.guardLow[1], plan.lastPlane - 2 * reach);
        mesh->addVertex(plan.guardLow[0], plan.guardLow[1], plan.lastPlane + 2 * reach);
        auto const started = Clock::now();
        long long const k = plan.layers - 1;
        cutAndCollect(*mesh, 1, [k](double) { return k; }, cut);
        result.slicingSeconds += std::chrono::duration<double>(Clock::now() - started).count();
    }

    begin(cb, "Nesting the contours of " + count(static_cast<std::size_t>(plan.layers), "layer", "layers"),
          static_cast<std::size_t>(plan.layers));
    result.layers.resize(static_cast<std::size_t>(plan.layers));
    for (long long k = 0; k < plan.layers; ++k) {
        if (cb.step && k % 16 == 0) cb.step(static_cast<std::size_t>(k), static_cast<std::size_t>(plan.layers));
        SliceLayer &layer = result.layers[static_cast<std::size_t>(k)];
        layer.index = k + 1;
        layer.height = cleanDecimal(plan.height(k));
        layer.bottom = cleanDecimal(plan.layerBottom(k));
        layer.top = cleanDecimal(plan.layerTop(k));
        Collected &c = cut[static_cast<std::size_t>(k)];
        result.closedContours += c.closed.size();
        result.openContours += c.open.size();
        if (!c.open.empty()) result.openLayers.push_back(layer.index);
        assembleLayer(c, plan, layer);
    }
    end(cb);
    return result;
}

std::vector<std::string> sliceWarnings(SliceResult const &result) {
    std::vector<std::string> out;
    if (!result.plan.clear)
        out.push_back("no position of the planes keeps every layer off the model's vertices (the nearest lies " +
                      text(result.plan.clearance) + " units from a plane); some contours may come out open");
    if (result.modelClosed && result.openContours > 0)
        out.push_back("the model is closed, yet " + count(result.openContours, "contour", "contours") +
                      " came out open, in layer" +
                      (result.openLayers.size() == 1 ? " " : "s ") + listSome(result.openLayers));
    return out;
}

}  // namespace orvane
