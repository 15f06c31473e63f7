#include "contour_export.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace orvane {

char const *kindName(ContourKind kind) {
    switch (kind) {
        case ContourKind::Outer: return "outer";
        case ContourKind::Hole: return "hole";
        default: return "open";
    }
}

namespace {

double dot(Vec3 const &a, odb::Point3D const &p) { return a[0] * p.x() + a[1] * p.y() + a[2] * p.z(); }

struct Flat {
    std::vector<std::array<double, 2>> pts;
    double lo[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    double hi[2] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
};

Flat flatten(ContourData const &c, ViewFrame const &frame) {
    Flat f;
    for (odb::Point3D const &p : c.points) {
        std::array<double, 2> q{{dot(frame.u, p), dot(frame.v, p)}};
        f.pts.push_back(q);
        for (int k = 0; k < 2; ++k) {
            f.lo[k] = std::min(f.lo[k], q[k]);
            f.hi[k] = std::max(f.hi[k], q[k]);
        }
    }
    return f;
}

// Even-odd test of q against the closed polygon f.
bool inside(Flat const &f, std::array<double, 2> const &q) {
    if (q[0] < f.lo[0] || q[0] > f.hi[0] || q[1] < f.lo[1] || q[1] > f.hi[1]) return false;
    bool in = false;
    std::size_t n = f.pts.size();
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
        auto const &a = f.pts[i], &b = f.pts[j];
        if ((a[1] > q[1]) != (b[1] > q[1]) &&
            q[0] < (b[0] - a[0]) * (q[1] - a[1]) / (b[1] - a[1]) + a[0])
            in = !in;
    }
    return in;
}

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

std::string num(double v) {
    std::ostringstream s;
    s << std::setprecision(6) << v;
    return s.str();
}

}  // namespace

void classifyContours(Layer &layer, ViewFrame const &frame) {
    std::size_t n = layer.contours.size();
    std::vector<Flat> flats;
    flats.reserve(n);
    for (ContourData const &c : layer.contours) flats.push_back(flatten(c, frame));
    layer.kinds.assign(n, ContourKind::Open);
    for (std::size_t i = 0; i < n; ++i) {
        if (!layer.contours[i].closed || flats[i].pts.empty()) continue;
        int depth = 0;
        for (std::size_t j = 0; j < n; ++j)
            if (j != i && layer.contours[j].closed && flats[j].pts.size() >= 3 &&
                inside(flats[j], flats[i].pts.front()))
                ++depth;
        layer.kinds[i] = depth % 2 ? ContourKind::Hole : ContourKind::Outer;
    }
}

std::string layersSvg(std::vector<Layer> const &layers, ViewFrame const &frame,
                      std::string const &title) {
    // One scale for every panel, from the extent of all contours.
    double lo[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    double hi[2] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
    std::vector<std::vector<Flat>> flats;
    for (Layer const &layer : layers) {
        flats.emplace_back();
        for (ContourData const &c : layer.contours) {
            flats.back().push_back(flatten(c, frame));
            for (int k = 0; k < 2; ++k) {
                lo[k] = std::min(lo[k], flats.back().back().lo[k]);
                hi[k] = std::max(hi[k], flats.back().back().hi[k]);
            }
        }
    }
    if (lo[0] > hi[0]) lo[0] = lo[1] = hi[0] = hi[1] = 0;
    double du = std::max(hi[0] - lo[0], 1e-12), dv = std::max(hi[1] - lo[1], 1e-12);

    std::size_t const count = std::max<std::size_t>(layers.size(), 1);
    std::size_t cols = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    std::size_t rows = (count + cols - 1) / cols;
    double const pad = 10, label = 18, titleHeight = 30;
    double contentW = std::clamp(1200.0 / static_cast<double>(cols) - 2 * pad, 70.0, 480.0);
    double contentH = std::clamp(contentW * dv / du, contentW * 0.25, contentW * 2.0);
    double scale = std::min(contentW / du, contentH / dv);
    double panelW = contentW + 2 * pad, panelH = contentH + 2 * pad + label;
    double pageW = std::max(panelW * static_cast<double>(cols), 320.0);
    double pageH = panelH * static_cast<double>(rows) + titleHeight;
    double stroke = std::clamp(contentW / 250.0, 0.5, 1.5);

    std::ostringstream s;
    s << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << num(pageW) << "\" height=\""
      << num(pageH) << "\" viewBox=\"0 0 " << num(pageW) << " " << num(pageH) << "\">\n"
      << "<title>" << xmlEscape(title) << "</title>\n"
      << "<style>\n"
      << "  .outer { fill: #cfe2f3; stroke: #1f4e79; }\n"
      << "  .hole { fill: #ffffff; stroke: #c0392b; }\n"
      << "  .open { fill: none; stroke: #e67e22; stroke-dasharray: 4 2; }\n"
      << "  path { stroke-width: " << num(stroke) << "; stroke-linejoin: round; }\n"
      << "  text { font-family: sans-serif; font-size: 11px; fill: #333333; }\n"
      << "  .frame { fill: #ffffff; stroke: #dddddd; stroke-width: 1; }\n"
      << "</style>\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"#f7f7f7\"/>\n"
      << "<text x=\"" << num(pad) << "\" y=\"20\" style=\"font-size:14px\">" << xmlEscape(title)
      << " (outer: blue, hole: red, open: dashed orange)</text>\n";
    for (std::size_t l = 0; l < layers.size(); ++l) {
        Layer const &layer = layers[l];
        double x0 = panelW * static_cast<double>(l % cols);
        double y0 = titleHeight + panelH * static_cast<double>(l / cols);
        s << "<g id=\"Layer_" << layer.index << "\" class=\"layer\" data-layer=\"" << layer.index
          << "\" data-height=\"" << num(layer.height) << "\">\n"
          << "  <rect class=\"frame\" x=\"" << num(x0 + 2) << "\" y=\"" << num(y0 + 2)
          << "\" width=\"" << num(panelW - 4) << "\" height=\"" << num(panelH - 4) << "\"/>\n"
          << "  <text x=\"" << num(x0 + pad) << "\" y=\"" << num(y0 + 14) << "\">Layer "
          << layer.index << " at " << num(layer.height) << "</text>\n";
        // Panel centre; v grows upwards in the drawing, y downwards on the page.
        double cx = x0 + panelW / 2, cy = y0 + label + pad + contentH / 2;
        double mu = (lo[0] + hi[0]) / 2, mv = (lo[1] + hi[1]) / 2;
        // Outer regions first, holes over them, open contours on top.
        for (ContourKind pass : {ContourKind::Outer, ContourKind::Hole, ContourKind::Open})
            for (std::size_t c = 0; c < layer.contours.size(); ++c) {
                ContourKind kind = c < layer.kinds.size() ? layer.kinds[c] : ContourKind::Open;
                if (kind != pass) continue;
                Flat const &f = flats[l][c];
                if (f.pts.empty()) continue;
                std::size_t n = f.pts.size();
                if (kind != ContourKind::Open && n > 1) --n;   // the closing repeat
                s << "  <path id=\"" << xmlEscape(layer.contours[c].name) << "\" class=\""
                  << kindName(kind) << "\" d=\"";
                for (std::size_t i = 0; i < n; ++i)
                    s << (i ? " L" : "M") << num(cx + (f.pts[i][0] - mu) * scale) << " "
                      << num(cy - (f.pts[i][1] - mv) * scale);
                if (kind != ContourKind::Open) s << " Z";
                s << "\"/>\n";
            }
        s << "</g>\n";
    }
    s << "</svg>\n";
    return s.str();
}

namespace {
nlohmann::json pointsJson(std::vector<odb::Point3D> const &points) {
    nlohmann::json out = nlohmann::json::array();
    for (odb::Point3D const &p : points) out.push_back({p.x(), p.y(), p.z()});
    return out;
}
}  // namespace

std::string layersJson(std::vector<Layer> const &layers, SliceInfo const &info) {
    nlohmann::json contours = nlohmann::json::array();
    for (Layer const &layer : layers)
        for (std::size_t c = 0; c < layer.contours.size(); ++c) {
            ContourData const &d = layer.contours[c];
            ContourKind kind = c < layer.kinds.size() ? layer.kinds[c] : ContourKind::Open;
            contours.push_back({{"name", d.name},
                                {"layer", layer.index},
                                {"height", layer.height},
                                {"closed", d.closed},
                                {"kind", kindName(kind)},
                                {"points", pointsJson(d.points)}});
        }
    nlohmann::json doc = {{"model", info.model},
                          {"direction", {info.direction[0], info.direction[1], info.direction[2]}},
                          {"layers", layers.size()},
                          {"layer_height", info.spacing},
                          {"contours", std::move(contours)}};
    return doc.dump() + "\n";
}

std::string contoursJson(std::vector<ContourData> const &contours, std::string const &model) {
    nlohmann::json list = nlohmann::json::array();
    for (ContourData const &d : contours)
        list.push_back({{"name", d.name}, {"closed", d.closed}, {"points", pointsJson(d.points)}});
    nlohmann::json doc = {{"model", model}, {"contours", std::move(list)}};
    return doc.dump() + "\n";
}

}  // namespace orvane
