// Fuzz target: the marching-cubes polygoniser (MarchingCubes::vMarchCube) with arbitrary
// corner values (NaN, infinities, signed zeros, denormals, huge values), positions and sizes,
// called one to three times on the same output vector.
#include "fuzz_input.h"

#include "MarchingCubes.h"
#include "Point3D.h"
#include "Vertex.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace odb = ORVANE_DATABASE;
using orvane_fuzz::ByteReader;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    ByteReader in(data, size);
    odb::MarchingCubes cubes;
    std::vector<std::vector<odb::Vertex *>> out;
    int calls = 1 + static_cast<int>(in.below(3));
    for (int call = 0; call < calls; ++call) {
        double values[8];
        bool moderate = true;
        int inside = 0;
        for (double &v : values) {
            v = in.number();
            moderate = moderate && std::isfinite(v) && std::fabs(v) < 1e300;
            if (v <= 0) ++inside;   // NaN is outside
        }
        odb::Point3D corner = in.point();
        double edge = in.number();
        moderate = moderate && orvane_fuzz::isModerate(corner) && orvane_fuzz::isModerate(edge);

        std::size_t before = out.size();
        bool any = cubes.vMarchCube(&out, values, corner.x(), corner.y(), corner.z(), edge);
        // A surface exactly when the corners are not all on one side, at most five triangles.
        FUZZ_CHECK(any == (inside != 0 && inside != 8));
        FUZZ_CHECK(any == (out.size() > before));
        FUZZ_CHECK(out.size() - before <= 5);
        for (std::size_t t = before; t < out.size(); ++t) {
            FUZZ_CHECK(out[t].size() == 3);
            for (odb::Vertex *v : out[t]) {
                FUZZ_CHECK(v != nullptr && v->point() != nullptr);
                if (!moderate) continue;
                // Edge points interpolate between corners of opposite sides: inside the cube.
                odb::Point3D const &p = *v->point();
                double lo[3] = {corner.x(), corner.y(), corner.z()};
                double pc[3] = {p.x(), p.y(), p.z()};
                double tol = 1e-9 * (1.0 + std::fabs(edge) + std::max({std::fabs(lo[0]),
                                                                        std::fabs(lo[1]),
                                                                        std::fabs(lo[2])}));
                for (int a = 0; a < 3; ++a) {
                    double from = std::min(lo[a], lo[a] + edge);
                    double to = std::max(lo[a], lo[a] + edge);
                    FUZZ_CHECK(pc[a] >= from - tol && pc[a] <= to + tol);
                }
            }
        }
    }
    // Every corner is a Vertex of its own, owning a point of its own.
    for (auto &triangle : out)
        for (odb::Vertex *v : triangle) delete v;
    return 0;
}
