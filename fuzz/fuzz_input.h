#pragma once
// Decoding of fuzzer bytes into geometry, shared by every fuzz target.
//
// The bytes are read front to back; a reader that runs dry yields zeros, so every input,
// however short, decodes to something. Coordinates come mostly from a coarse lattice (so
// that repeated, collinear and coplanar points are common), sometimes from a table of
// awkward values (NaN, infinities, the largest and smallest doubles, denormals, values just
// around the library's thresholds) and sometimes from eight raw bytes. Meshes start from an
// optional generated solid (a box or a UV sphere, whose right answers are known) and get
// extra vertices and triangles; triangle corners are always valid vertex indices but may
// repeat.
#include "Point3D.h"
#include "Tolerance.h"

#include "support/test_mesh.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

// An invariant that must hold for every input; a violation is a finding.
#define FUZZ_CHECK(condition)                                                               \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            std::fprintf(stderr, "%s:%d: invariant violated: %s\n", __FILE__, __LINE__,     \
                         #condition);                                                       \
            std::abort();                                                                   \
        }                                                                                   \
    } while (0)

namespace orvane_fuzz {

using ORVANE_DATABASE::Point3D;
using ORVANE_DATABASE::Tolerance;

class ByteReader {
public:
    ByteReader(std::uint8_t const *data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return pos_ >= size_; }

    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

    std::uint64_t u64() {
        std::uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = (v << 8) | byte();
        return v;
    }

    double rawDouble() {
        std::uint64_t bits = u64();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }

    // A number in [0, n); 0 for n == 0.
    std::size_t below(std::size_t n) { return n == 0 ? 0 : byte() % n; }
    bool flag() { return (byte() & 1) != 0; }

    // A coordinate or scalar: lattice, awkward value or raw bits (see the file comment).
    double number() {
        std::uint8_t s = byte();
        if (s < 160) return (static_cast<int>(s) - 80) * 0.25;
        if (s < 232) return special(s - 160);
        return rawDouble();
    }

    Point3D point() {
        double x = number();
        double y = number();
        double z = number();
        return Point3D(x, y, z);
    }

    // The default tolerance most of the time, else one whose value() is any number.
    Tolerance tolerance() {
        Tolerance tol;
        if (byte() >= 192) {
            tol.useCoarse = true;
            tol.coarse = number();
        }
        return tol;
    }

    static double special(unsigned i) {
        constexpr double inf = std::numeric_limits<double>::infinity();
        static const double table[] = {
            0.0, -0.0, std::numeric_limits<double>::quiet_NaN(), inf, -inf,
            std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(),
            std::numeric_limits<double>::denorm_min(), -std::numeric_limits<double>::denorm_min(),
            std::numeric_limits<double>::min(), 1e-300, 1e300, -1e300, 1e154, -1e154,
            1e-154, 1e15, -1e15, 9007199254740993.0, 4294967296.0, 2147483648.0,
            -2147483649.0, 1e-16, 1e-13, 5e-14, 2e-13, 1e-10, 1e-9, 2e-9, 1e-8, 1e-3, 5e-4,
            1000.0, -1000.0, 1500.0, 677.0, 1e6, -1e6, 0.1, 1.0 / 3.0, 0.015625, 0.0156,
            1.0 + 1e-15, 1.0 - 1e-16, 180.0, 90.0, 30.0, 3.141592653589793,
            -std::numeric_limits<double>::quiet_NaN()};
        return table[i % (sizeof table / sizeof table[0])];
    }

private:
    std::uint8_t const *data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

// Whether ORVANE_FUZZ_DUMP is set: the decoders then print what they decoded, for triage of
// a finding (run the target on the one input).
inline bool dumping() {
    static bool const on = std::getenv("ORVANE_FUZZ_DUMP") != nullptr;
    return on;
}

// A decoded mesh with what the decoder knows about it.
struct DecodedMesh {
    std::unique_ptr<orvane_test::TestMesh> owner;
    // The mesh is exactly one generated solid (no extra vertex or triangle).
    enum Solid { NONE, BOX, SPHERE } solid = NONE;
    bool pureSolid = false;
    Point3D solidLow, solidHigh;   // the solid's box (sphere: its bounding box)
    // Every coordinate finite and of magnitude at most 1e6: sums and products of a few of
    // them stay exact enough for geometric checks.
    bool moderate = true;

    orvane_test::TestMesh &mesh() { return *owner; }
};

inline bool isModerate(double v) { return std::isfinite(v) && std::fabs(v) <= 1e6; }
inline bool isModerate(Point3D const &p) {
    return isModerate(p.x()) && isModerate(p.y()) && isModerate(p.z());
}

// Limits keep one input fast: at most `maxExtraVertices` free vertices and
// `maxExtraTriangles` free triangles on top of the generated solid (at most 64 triangles).
inline DecodedMesh decodeMesh(ByteReader &in, std::size_t maxExtraVertices = 24,
                              std::size_t maxExtraTriangles = 48) {
    DecodedMesh out;
    out.owner = std::make_unique<orvane_test::TestMesh>();

    std::uint8_t shape = in.byte();
    switch (shape % 4) {
    case 1: {   // box at a lattice (or odd) corner with positive lattice extents
        Point3D lo = in.point();
        Point3D hi(lo.x() + 0.5 * (1 + in.below(8)), lo.y() + 0.5 * (1 + in.below(8)),
                   lo.z() + 0.5 * (1 + in.below(8)));
        out.owner->appendBox(lo, hi);
        out.solid = DecodedMesh::BOX;
        out.solidLow = lo;
        out.solidHigh = hi;
        break;
    }
    case 2: {   // UV sphere: 2 * segments * (rings - 1) triangles, at most 64
        double radius = 0.5 * (1 + in.below(8));
        int rings = 2 + static_cast<int>(in.below(4));
        int segments = 3 + static_cast<int>(in.below(6));
        Point3D c = in.point();
        out.owner = orvane_test::TestMesh::sphere(radius, rings, segments, c);
        out.solid = DecodedMesh::SPHERE;
        out.solidLow = Point3D(c.x() - radius, c.y() - radius, c.z() - radius);
        out.solidHigh = Point3D(c.x() + radius, c.y() + radius, c.z() + radius);
        break;
    }
    default:
        break;
    }
    orvane_test::TestMesh &mesh = *out.owner;

    std::size_t extraVertices = in.below(maxExtraVertices + 1);
    for (std::size_t i = 0; i < extraVertices; ++i) {
        Point3D p = in.point();
        mesh.addVertex(p.x(), p.y(), p.z());
    }
    std::size_t vertexCount = mesh.mesh().vertexList().size();
    std::size_t extraTriangles = vertexCount ? in.below(maxExtraTriangles + 1) : 0;
    for (std::size_t i = 0; i < extraTriangles; ++i) {
        std::size_t a = in.below(vertexCount);
        std::size_t b = in.below(vertexCount);
        std::size_t c = in.below(vertexCount);
        mesh.addTriangle(a, b, c);
    }
    out.pureSolid = out.solid != DecodedMesh::NONE && extraVertices == 0 && extraTriangles == 0;
    for (auto *v : mesh.mesh().vertexList())
        if (!isModerate(*v->point())) out.moderate = false;
    if (dumping()) {
        std::fprintf(stderr, "mesh: solid %d pure %d moderate %d\n", int(out.solid),
                     int(out.pureSolid), int(out.moderate));
        std::size_t i = 0;
        for (auto *v : mesh.mesh().vertexList())
            std::fprintf(stderr, "  v%zu %.17g %.17g %.17g\n", i++, v->point()->x(),
                         v->point()->y(), v->point()->z());
        i = 0;
        for (auto *t : mesh.mesh().triangleList())
            std::fprintf(stderr, "  t%zu %zu %zu %zu\n", i++, t->vertexIndex(0),
                         t->vertexIndex(1), t->vertexIndex(2));
    }
    return out;
}

}  // namespace orvane_fuzz
