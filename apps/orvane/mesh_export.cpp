#include "mesh_export.h"

#include "cli_support.h"
#include "number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace orvane {

bool isMeshOutput(std::string const &extension) {
    return extension == "stl" || extension == "obj" || extension == "ply";
}

MeshPart partOf(OwnedMesh &mesh, std::string const &name, bool dropDegenerate) {
    MeshPart part;
    part.name = name;
    part.mesh.coords.reserve(3 * mesh.vertexCount());
    for (std::size_t v = 0; v < mesh.vertexCount(); ++v) {
        odb::Point3D const &p = mesh.point(v);
        part.mesh.coords.insert(part.mesh.coords.end(), {p.x(), p.y(), p.z()});
    }
    for (std::size_t t = 0; t < mesh.triangleCount(); ++t) {
        odb::Triangle &tri = mesh.triangle(t);
        std::size_t a = tri.vertexIndex(0), b = tri.vertexIndex(1), c = tri.vertexIndex(2);
        if (dropDegenerate && (a == b || b == c || c == a)) continue;
        part.mesh.corners.insert(part.mesh.corners.end(), {static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b),
                                                           static_cast<std::uint32_t>(c)});
    }
    return part;
}

std::array<float, 4> partColour(std::size_t index) {
    // Hue steps of the golden angle keep consecutive faces far apart on the colour wheel.
    double h = std::fmod(static_cast<double>(index) * 137.50776405, 360.0) / 60.0;
    double s = 0.65, v = 0.92, c = v * s;
    double x = c * (1 - std::fabs(std::fmod(h, 2.0) - 1));
    double r = 0, g = 0, b = 0;
    switch (static_cast<int>(h)) {
        case 0: r = c, g = x; break;
        case 1: r = x, g = c; break;
        case 2: g = c, b = x; break;
        case 3: g = x, b = c; break;
        case 4: r = x, b = c; break;
        default: r = c, b = x; break;
    }
    double m = v - c;
    return {{static_cast<float>(r + m), static_cast<float>(g + m), static_cast<float>(b + m), 1.0f}};
}

namespace {

// Little-endian binary values, whatever the machine's own order.
void putU32(std::string &out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>(v >> (8 * i) & 0xff));
}
void putFloat(std::string &out, float f) {
    std::uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    putU32(out, bits);
}

// Flushes `buffer` to the file once it has grown past a few megabytes (and at the end).
void spill(AtomicFile &file, std::string &buffer, bool last = false) {
    if (last || buffer.size() >= (std::size_t(4) << 20)) {
        file.write(buffer);
        buffer.clear();
    }
}

std::array<double, 3> vertexOf(ModelData const &m, std::uint32_t v) {
    return {{m.coords[3 * std::size_t(v)], m.coords[3 * std::size_t(v) + 1], m.coords[3 * std::size_t(v) + 2]}};
}

void writeStl(AtomicFile &file, std::vector<MeshPart> const &parts) {
    std::string out;
    // The header must not begin with "solid", which marks the text form.
    std::string header = "orvane binary STL";
    if (parts.size() == 1) header += ": " + parts[0].name;
    header.resize(80, ' ');
    out += header;
    std::size_t triangles = 0;
    for (MeshPart const &p : parts) triangles += p.mesh.triangleCount();
    putU32(out, static_cast<std::uint32_t>(triangles));
    for (MeshPart const &p : parts)
        for (std::size_t t = 0; t < p.mesh.triangleCount(); ++t) {
            // The normal of the corners as stored (in single precision).
            std::array<double, 3> corner[3];
            for (int i = 0; i < 3; ++i) {
                std::array<double, 3> const q = vertexOf(p.mesh, p.mesh.corners[3 * t + static_cast<std::size_t>(i)]);
                for (int k = 0; k < 3; ++k) corner[i][k] = static_cast<float>(q[k]);
            }
            std::array<double, 3> const n = facetNormal(corner[0], corner[1], corner[2]);
            for (double x : n) putFloat(out, static_cast<float>(x));
            for (auto const &q : corner)
                for (double x : q) putFloat(out, static_cast<float>(x));
            out.push_back('\0');
            out.push_back('\0');
            spill(file, out);
        }
    spill(file, out, true);
}

void writeObj(AtomicFile &file, std::vector<MeshPart> const &parts) {
    std::string out = "# orvane\n";
    std::size_t base = 1;
    for (MeshPart const &p : parts) {
        out += "o " + p.name + "\n";
        for (std::size_t v = 0; v < p.mesh.vertexCount(); ++v) {
            out += "v";
            for (int k = 0; k < 3; ++k) {
                out += ' ';
                appendShortest(out, p.mesh.coords[3 * v + static_cast<std::size_t>(k)]);
            }
            out += '\n';
            spill(file, out);
        }
        for (std::size_t t = 0; t < p.mesh.triangleCount(); ++t) {
            out += "f";
            for (int k = 0; k < 3; ++k) out += ' ' + std::to_string(base + p.mesh.corners[3 * t + static_cast<std::size_t>(k)]);
            out += '\n';
            spill(file, out);
        }
        base += p.mesh.vertexCount();
    }
    spill(file, out, true);
}

void writePly(AtomicFile &file, std::vector<MeshPart> const &parts) {
    bool const colours = parts.size() > 1;
    std::size_t vertices = 0, triangles = 0;
    for (MeshPart const &p : parts) vertices += p.mesh.vertexCount(), triangles += p.mesh.triangleCount();
    std::string out = "ply\nformat binary_little_endian 1.0\ncomment orvane\nelement vertex " +
                      std::to_string(vertices) + "\nproperty float x\nproperty float y\nproperty float z\n";
    if (colours) out += "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n";
    out += "element face " + std::to_string(triangles) + "\nproperty list uchar int vertex_indices\nend_header\n";
    for (MeshPart const &p : parts) {
        unsigned char rgba[4];
        for (int k = 0; k < 4; ++k)
            rgba[k] = static_cast<unsigned char>(std::lround(std::clamp(p.colour[static_cast<std::size_t>(k)], 0.0f, 1.0f) * 255));
        for (std::size_t v = 0; v < p.mesh.vertexCount(); ++v) {
            for (int k = 0; k < 3; ++k) putFloat(out, static_cast<float>(p.mesh.coords[3 * v + static_cast<std::size_t>(k)]));
            if (colours) out.append(reinterpret_cast<char const *>(rgba), 4);
            spill(file, out);
        }
    }
    std::uint32_t base = 0;
    for (MeshPart const &p : parts) {
        for (std::size_t t = 0; t < p.mesh.triangleCount(); ++t) {
            out.push_back('\3');
            for (int k = 0; k < 3; ++k) putU32(out, base + p.mesh.corners[3 * t + static_cast<std::size_t>(k)]);
            spill(file, out);
        }
        base += static_cast<std::uint32_t>(p.mesh.vertexCount());
    }
    spill(file, out, true);
}

}  // namespace

void writeMesh(AtomicFile &file, std::vector<MeshPart> const &parts) {
    std::string const ext = extensionOf(file.target());
    if (ext == "stl") writeStl(file, parts);
    else if (ext == "obj") writeObj(file, parts);
    else if (ext == "ply") writePly(file, parts);
    else throw UsageError("cannot write '" + file.target() + "': unknown mesh type (use .stl, .obj or .ply)");
}

}  // namespace orvane
