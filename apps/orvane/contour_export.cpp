#include "contour_export.h"

#include "number_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace orvane {

std::vector<std::size_t> LayerSelection::pick(std::size_t count) const {
    std::vector<std::size_t> out;
    long long const end = last > 0 ? std::min<long long>(last, static_cast<long long>(count)) : static_cast<long long>(count);
    for (long long k = std::max(1LL, first); k <= end; k += std::max(1LL, every)) out.push_back(static_cast<std::size_t>(k - 1));
    return out;
}

LayerSelection parseLayerRange(std::string const &text) {
    auto number = [&](std::string const &part) {
        std::size_t used = 0;
        long long v = 0;
        try {
            v = std::stoll(part, &used);
        } catch (std::exception const &) {
            used = 0;
        }
        if (part.empty() || used != part.size() || v < 1)
            throw UsageError("--layers-range takes A:B, A: or :B with layer numbers from 1 (got '" + text + "')");
        return v;
    };
    LayerSelection s;
    std::size_t const colon = text.find(':');
    if (colon == std::string::npos) {
        s.first = s.last = number(text);
        return s;
    }
    std::string const a = text.substr(0, colon), b = text.substr(colon + 1);
    if (a.empty() && b.empty()) return s;
    if (!a.empty()) s.first = number(a);
    if (!b.empty()) s.last = number(b);
    if (s.last > 0 && s.last < s.first)
        throw UsageError("--layers-range " + text + " is empty: its end comes before its start");
    return s;
}

ContourData contourData(odb::PLC &contour) {
    ContourData data;
    data.name = contour.getName();
    for (odb::Point3D const *p : *contour.pointList()) data.points.push_back(*p);
    if (data.points.size() >= 2) {
        odb::Point3D const &a = data.points.front();
        odb::Point3D const &b = data.points.back();
        data.closed = std::fabs(a.x() - b.x()) < 1e-8 && std::fabs(a.y() - b.y()) < 1e-8 &&
                      std::fabs(a.z() - b.z()) < 1e-8;
    }
    return data;
}

namespace {

double dot(Vec3 const &a, Point3 const &p) { return a[0] * p[0] + a[1] * p[1] + a[2] * p[2]; }

std::string xmlEscape(std::string const &s) {
    std::string out;
    for (char c : s) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

// Pixel positions and sizes: two decimals are plenty.
std::string px(double v) {
    std::string out;
    appendRounded(out, std::round(v * 100) / 100 + 0.0, 8);
    return out;
}

// A model length or height for a label.
std::string length(double v) {
    std::string out;
    appendRounded(out, v == 0 ? 0.0 : v, 6);
    return out;
}

// 1, 2 or 5 times a power of ten, at most `most` (and above 0).
double niceLength(double most) {
    if (!(most > 0) || !std::isfinite(most)) return 1;
    double const power = std::pow(10.0, std::floor(std::log10(most)));
    for (double m : {5.0, 2.0, 1.0})
        if (m * power <= most) return m * power;
    return power;
}

// The page: panels of `contentW` x `contentH` drawing area in a grid of `cols` columns,
// mapping model (u, v) to the page at one scale.
struct Layout {
    double lo[2] = {0, 0}, hi[2] = {0, 0};
    std::size_t cols = 1, rows = 1;
    double pad = 10, label = 18, header = 46;
    double contentW = 0, contentH = 0, scale = 1, panelW = 0, panelH = 0, pageW = 0, pageH = 0, stroke = 1;

    Layout(double const l[2], double const h[2], std::size_t panels) {
        bool const empty = !(l[0] <= h[0]);
        for (int k = 0; k < 2; ++k) lo[k] = empty ? 0 : l[k], hi[k] = empty ? 0 : h[k];
        double const du = std::max(hi[0] - lo[0], 1e-12), dv = std::max(hi[1] - lo[1], 1e-12);
        std::size_t const count = std::max<std::size_t>(panels, 1);
        cols = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
        rows = (count + cols - 1) / cols;
        contentW = std::clamp(1200.0 / static_cast<double>(cols) - 2 * pad, 70.0, 480.0);
        contentH = std::clamp(contentW * dv / du, contentW * 0.25, contentW * 2.0);
        scale = std::min(contentW / du, contentH / dv);
        panelW = contentW + 2 * pad;
        panelH = contentH + 2 * pad + label;
        pageW = std::max(panelW * static_cast<double>(cols), 560.0);
        pageH = panelH * static_cast<double>(rows) + header;
        stroke = std::clamp(contentW / 250.0, 0.5, 1.5);
    }
    double x0(std::size_t panel) const { return panelW * static_cast<double>(panel % cols); }
    double y0(std::size_t panel) const { return header + panelH * static_cast<double>(panel / cols); }
    // Page position of model (u, v) in a panel.
    double pageX(std::size_t panel, double u) const { return x0(panel) + panelW / 2 + (u - (lo[0] + hi[0]) / 2) * scale; }
    double pageY(std::size_t panel, double v) const {
        return y0(panel) + label + pad + contentH / 2 - (v - (lo[1] + hi[1]) / 2) * scale;
    }
};

// The page's opening: size, title, style, and a scale bar with its length in model units.
void openPage(std::string &s, Layout const &page, std::string const &title, std::string const &legend,
              std::string const &style) {
    s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
         px(page.pageW) + "\" height=\"" + px(page.pageH) + "\" viewBox=\"0 0 " + px(page.pageW) + " " +
         px(page.pageH) + "\">\n<title>" + xmlEscape(title) + "</title>\n<style>\n" + style +
         "  text { font-family: sans-serif; font-size: 11px; fill: #333333; }\n"
         "  .frame { fill: #ffffff; stroke: #dddddd; stroke-width: 1; }\n"
         "  .scale { stroke: #333333; stroke-width: 1.5; fill: none; }\n</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#f7f7f7\"/>\n";
    // The title shrinks to stay clear of the scale bar.
    double const titleFont = std::clamp((page.pageW - 170) / (0.6 * static_cast<double>(title.size())), 6.0, 13.0);
    s += "<text x=\"10\" y=\"18\" style=\"font-size:" + px(titleFont) + "px\">" + xmlEscape(title) + "</text>\n";
    s += "<text x=\"10\" y=\"36\">" + xmlEscape(legend) + "; lengths in model units (normally mm)</text>\n";
    // Scale bar at the top right: a round length about a third of a panel wide.
    double const unitsWide = niceLength(page.contentW / 3 / page.scale);
    double const barPx = unitsWide * page.scale, right = page.pageW - 12, y = 30;
    s += "<g class=\"scale-bar\" data-length=\"" + length(unitsWide) + "\"><path class=\"scale\" d=\"M" +
         px(right - barPx) + " " + px(y - 4) + " V" + px(y) + " H" + px(right) + " V" + px(y - 4) + "\"/>" +
         "<text x=\"" + px(right) + "\" y=\"" + px(y - 8) + "\" text-anchor=\"end\">" + length(unitsWide) +
         " units</text></g>\n";
}

// A label that fits `width` pixels: the font shrinks to fit, and below 7 px the short form
// is used instead.
std::string label(double x, double y, double width, std::string const &text, std::string const &shortText) {
    auto fontFor = [&](std::string const &t) { return std::min(11.0, width / (0.6 * static_cast<double>(t.size()))); };
    std::string const &chosen = fontFor(text) >= 7 || shortText.empty() ? text : shortText;
    double const font = std::max(4.0, fontFor(chosen));
    return "<text x=\"" + px(x) + "\" y=\"" + px(y) + "\" style=\"font-size:" + px(font) + "px\">" + xmlEscape(chosen) +
           "</text>";
}

// Appends a contour's points as one subpath, skipping points within a tenth of a pixel of
// the last one drawn.
template <class Points, class ToPage>
void subpath(std::string &d, Points const &points, ToPage toPage, bool close) {
    double lastX = std::numeric_limits<double>::quiet_NaN(), lastY = lastX;
    bool first = true;
    for (auto const &p : points) {
        auto const q = toPage(p);
        if (!first && std::fabs(q[0] - lastX) < 0.1 && std::fabs(q[1] - lastY) < 0.1) continue;
        d += first ? "M" : " L";
        d += px(q[0]) + " " + px(q[1]);
        lastX = q[0], lastY = q[1];
        first = false;
    }
    if (!first && close) d += " Z";
    if (!first) d += ' ';
}

}  // namespace

std::string layersSvg(SliceResult const &result, std::vector<std::size_t> const &chosen, ViewFrame const &frame,
                      std::string const &title) {
    double lo[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    double hi[2] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
    auto grow = [&](Point3 const &p) {
        double const q[2] = {dot(frame.u, p), dot(frame.v, p)};
        for (int k = 0; k < 2; ++k) lo[k] = std::min(lo[k], q[k]), hi[k] = std::max(hi[k], q[k]);
    };
    for (std::size_t l : chosen) {
        SliceLayer const &layer = result.layers[l];
        for (SlicePolygon const &poly : layer.polygons)
            for (Point3 const &p : poly.outer) grow(p);
        for (auto const &c : layer.open)
            for (Point3 const &p : c) grow(p);
    }
    Layout const page(lo, hi, chosen.size());
    std::string s;
    openPage(s, page, title, "material: blue, holes left open; open contours: dashed orange",
             "  .material { fill: #cfe2f3; fill-rule: evenodd; stroke: #1f4e79; stroke-linejoin: round; stroke-width: " +
                 px(page.stroke) + "; }\n"
                 "  .open { fill: none; stroke: #e67e22; stroke-dasharray: 4 2; stroke-width: " + px(page.stroke) + "; }\n");
    for (std::size_t panel = 0; panel < chosen.size(); ++panel) {
        SliceLayer const &layer = result.layers[chosen[panel]];
        std::size_t holes = 0;
        for (SlicePolygon const &poly : layer.polygons) holes += poly.holes.size();
        double const x0 = page.x0(panel), y0 = page.y0(panel);
        s += "<g id=\"Layer_" + std::to_string(layer.index) + "\" class=\"layer\" data-layer=\"" +
             std::to_string(layer.index) + "\" data-height=\"" + length(layer.height) + "\" data-polygons=\"" +
             std::to_string(layer.polygons.size()) + "\" data-holes=\"" + std::to_string(holes) + "\" data-open=\"" +
             std::to_string(layer.open.size()) + "\">\n";
        s += "  <rect class=\"frame\" x=\"" + px(x0 + 2) + "\" y=\"" + px(y0 + 2) + "\" width=\"" + px(page.panelW - 4) +
             "\" height=\"" + px(page.panelH - 4) + "\"/>\n  " +
             label(x0 + page.pad, y0 + 14, page.panelW - 2 * page.pad,
                   "Layer " + std::to_string(layer.index) + " at " + length(layer.height),
                   std::to_string(layer.index) + ": " + length(layer.height)) +
             "\n";
        auto toPage = [&](Point3 const &p) {
            return std::array<double, 2>{{page.pageX(panel, dot(frame.u, p)), page.pageY(panel, dot(frame.v, p))}};
        };
        if (!layer.polygons.empty()) {
            s += "  <path class=\"material\" d=\"";
            for (SlicePolygon const &poly : layer.polygons) {
                subpath(s, poly.outer, toPage, true);
                for (Ring3 const &hole : poly.holes) subpath(s, hole, toPage, true);
            }
            if (s.back() == ' ') s.pop_back();
            s += "\"/>\n";
        }
        if (!layer.open.empty()) {
            s += "  <path class=\"open\" d=\"";
            for (auto const &c : layer.open) subpath(s, c, toPage, false);
            if (s.back() == ' ') s.pop_back();
            s += "\"/>\n";
        }
        s += "</g>\n";
    }
    s += "</svg>\n";
    return s;
}

namespace {

// Coordinates and heights are written to a fixed number of decimals, 11 digits below the
// model's size: far below any printer's resolution, and enough to drop the noise that moving
// contours back from the slicer's frame leaves (0.5625 rather than 0.562500000002).
struct JsonNumbers {
    int decimals = 10;
    void number(std::string &out, double v) const { appendFixed(out, v, decimals); }
    void point(std::string &out, Point3 const &p) const {
        out += '[';
        number(out, p[0]);
        out += ',';
        number(out, p[1]);
        out += ',';
        number(out, p[2]);
        out += ']';
    }
    void points(std::string &out, std::vector<Point3> const &ring) const {
        out += '[';
        for (std::size_t i = 0; i < ring.size(); ++i) {
            if (i) out += ',';
            point(out, ring[i]);
        }
        out += ']';
    }
};

}  // namespace

std::string layersJson(SliceResult const &result, std::string const &model) {
    SlicePlan const &plan = result.plan;
    // The plan's scale brings the model's largest extent into [256, 512).
    JsonNumbers const json{std::clamp(11 - static_cast<int>(std::floor(std::log10(512 / plan.scale))), 0, 17)};
    auto number = [&](std::string &o, double v) { json.number(o, v); };
    auto point = [&](std::string &o, Point3 const &p) { json.point(o, p); };
    auto points = [&](std::string &o, std::vector<Point3> const &r) { json.points(o, r); };
    std::string out = "{\"model\":" + nlohmann::json(model).dump() + ",\"units\":\"model units (normally mm)\"";
    out += ",\"direction\":";
    point(out, {{plan.direction[0], plan.direction[1], plan.direction[2]}});
    out += ",\"layer_height\":";
    number(out, plan.layerHeight);
    out += ",\"layer_count\":" + std::to_string(result.layers.size()) + ",\"bottom\":";
    number(out, cleanDecimal(plan.bottom));
    out += ",\"top\":";
    number(out, cleanDecimal(plan.top));
    out += std::string(",\"model_closed\":") + (result.modelClosed ? "true" : "false");
    out += ",\"closed_contours\":" + std::to_string(result.closedContours) +
           ",\"open_contours\":" + std::to_string(result.openContours) + ",\"open_layers\":[";
    for (std::size_t i = 0; i < result.openLayers.size(); ++i) out += (i ? "," : "") + std::to_string(result.openLayers[i]);
    out += "],\"layers\":[";
    for (std::size_t l = 0; l < result.layers.size(); ++l) {
        SliceLayer const &layer = result.layers[l];
        out += l ? ",\n" : "\n";
        out += "{\"layer\":" + std::to_string(layer.index) + ",\"height\":";
        number(out, layer.height);
        out += ",\"bottom\":";
        number(out, layer.bottom);
        out += ",\"top\":";
        number(out, layer.top);
        out += ",\"polygons\":[";
        for (std::size_t p = 0; p < layer.polygons.size(); ++p) {
            SlicePolygon const &poly = layer.polygons[p];
            out += p ? ",{\"outer\":" : "{\"outer\":";
            points(out, poly.outer);
            out += ",\"holes\":[";
            for (std::size_t h = 0; h < poly.holes.size(); ++h) {
                if (h) out += ',';
                points(out, poly.holes[h]);
            }
            out += "]}";
        }
        out += "],\"open\":[";
        for (std::size_t c = 0; c < layer.open.size(); ++c) {
            if (c) out += ',';
            points(out, layer.open[c]);
        }
        out += "]}";
    }
    out += "\n]}\n";
    return out;
}

std::string bordersSvg(std::vector<ContourData> const &contours, ViewFrame const &frame, std::string const &title) {
    auto uv = [&](odb::Point3D const &p) {
        Point3 const q{{p.x(), p.y(), p.z()}};
        return std::array<double, 2>{{dot(frame.u, q), dot(frame.v, q)}};
    };
    double lo[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    double hi[2] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
    for (ContourData const &c : contours)
        for (odb::Point3D const &p : c.points) {
            auto const q = uv(p);
            for (int k = 0; k < 2; ++k) lo[k] = std::min(lo[k], q[k]), hi[k] = std::max(hi[k], q[k]);
        }
    Layout const page(lo, hi, 1);
    std::string s;
    openPage(s, page, title, "border contours: closed loops solid red, open ones dashed orange",
             "  .border { fill: none; stroke: #c0392b; stroke-linejoin: round; stroke-width: " + px(page.stroke) +
                 "; }\n  .border.open { stroke: #e67e22; stroke-dasharray: 4 2; }\n");
    s += "<g class=\"borders\">\n  <rect class=\"frame\" x=\"2\" y=\"" + px(page.y0(0) + 2) + "\" width=\"" +
         px(page.panelW - 4) + "\" height=\"" + px(page.panelH - 4) + "\"/>\n";
    auto toPage = [&](odb::Point3D const &p) {
        auto const q = uv(p);
        return std::array<double, 2>{{page.pageX(0, q[0]), page.pageY(0, q[1])}};
    };
    for (ContourData const &c : contours) {
        std::string d;
        std::vector<odb::Point3D> pts = c.points;
        if (c.closed && pts.size() > 1) pts.pop_back();   // the closing repeat: Z draws it
        subpath(d, pts, toPage, c.closed);
        if (!d.empty() && d.back() == ' ') d.pop_back();
        s += "  <path id=\"" + xmlEscape(c.name) + "\" class=\"border" + (c.closed ? "" : " open") + "\" d=\"" + d + "\"/>\n";
    }
    s += "</g>\n</svg>\n";
    return s;
}

std::string contoursJson(std::vector<ContourData> const &contours, std::string const &model) {
    nlohmann::json list = nlohmann::json::array();
    for (ContourData const &d : contours) {
        nlohmann::json pts = nlohmann::json::array();
        for (odb::Point3D const &p : d.points) pts.push_back({p.x(), p.y(), p.z()});
        list.push_back({{"name", d.name}, {"closed", d.closed}, {"points", std::move(pts)}});
    }
    nlohmann::json doc = {{"model", model}, {"units", "model units (normally mm)"}, {"contours", std::move(list)}};
    return doc.dump() + "\n";
}

}  // namespace orvane
