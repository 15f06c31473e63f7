#include "default_model.h"

#include <cstdint>
#include <cmath>
#include <vector>

namespace orvane {

char const *const kDefaultModelName = "built-in part";
char const *const kDefaultModelStem = "orvane-part";

namespace {

// The plate is a 3 x 3 arrangement of square tiles on one lattice: every tile side has the
// same kSteps lattice points, so neighbouring tiles meet at identical points and the welded
// mesh is closed without T-junctions. Round features take their angles from the lattice
// points of their tile's border (projected radially), so each ring is one quad strip.
constexpr int kSteps = 12;              // lattice steps per tile side
constexpr int kTiles = 3;
constexpr double kTile = 30.0;          // tile edge
constexpr double kHalf = kTile * kTiles / 2;
constexpr double kThickness = 8.0;
constexpr double kHoleRadius = 5.0;
constexpr double kBossRadius = 12.0;
constexpr double kBossTop = 25.0;
constexpr double kBoreRadius = 6.0;
constexpr int kWallRows = 4;            // rows up the boss and its bore

struct P2 {
    double x, y;
};

class Builder {
public:
    explicit Builder(ModelData &model) : model_(model), welder_(model.coords) {}

    // Quad a-b-c-d, counter-clockwise seen from outside the solid.
    void quad(P2 a, double za, P2 b, double zb, P2 c, double zc, P2 d, double zd) {
        std::uint32_t ia = welder_.add(a.x, a.y, za), ib = welder_.add(b.x, b.y, zb);
        std::uint32_t ic = welder_.add(c.x, c.y, zc), id = welder_.add(d.x, d.y, zd);
        model_.corners.insert(model_.corners.end(), {ia, ib, ic, ia, ic, id});
    }
    // Flat ring at height z between outer loop o and inner loop i (both counter-clockwise
    // seen from above, equal length); `up` chooses the side the faces look to.
    void ring(std::vector<P2> const &o, std::vector<P2> const &i, double z, bool up) {
        std::size_t n = o.size();
        for (std::size_t k = 0; k < n; ++k) {
            std::size_t k1 = (k + 1) % n;
            if (up) quad(o[k], z, o[k1], z, i[k1], z, i[k], z);
            else quad(o[k], z, i[k], z, i[k1], z, o[k1], z);
        }
    }
    // Vertical wall along loop l (counter-clockwise seen from above) from z0 to z1 in `rows`
    // rows, facing away from the loop's inside when `outward`.
    void wall(std::vector<P2> const &l, double z0, double z1, int rows, bool outward) {
        std::size_t n = l.size();
        for (int r = 0; r < rows; ++r) {
            double lo = z0 + (z1 - z0) * r / rows, hi = z0 + (z1 - z0) * (r + 1) / rows;
            for (std::size_t k = 0; k < n; ++k) {
                std::size_t k1 = (k + 1) % n;
                if (outward) quad(l[k], lo, l[k1], lo, l[k1], hi, l[k], hi);
                else quad(l[k], lo, l[k], hi, l[k1], hi, l[k1], lo);
            }
        }
    }

private:
    ModelData &model_;
    PointWelder welder_;
};

double lattice(int index) { return -kHalf + kTile / kSteps * index; }

// Border of the tile whose lower-left lattice index is (i0, j0), counter-clockwise.
std::vector<P2> tileBorder(int i0, int j0) {
    std::vector<P2> b;
    for (int k = 0; k < kSteps; ++k) b.push_back({lattice(i0 + k), lattice(j0)});
    for (int k = 0; k < kSteps; ++k) b.push_back({lattice(i0 + kSteps), lattice(j0 + k)});
    for (int k = 0; k < kSteps; ++k) b.push_back({lattice(i0 + kSteps - k), lattice(j0 + kSteps)});
    for (int k = 0; k < kSteps; ++k) b.push_back({lattice(i0), lattice(j0 + kSteps - k)});
    return b;
}

// The border points projected radially onto the circle of radius r about c.
std::vector<P2> circleFor(std::vector<P2> const &border, P2 c, double r) {
    std::vector<P2> out;
    for (P2 p : border) {
        double dx = p.x - c.x, dy = p.y - c.y, len = std::hypot(dx, dy);
        out.push_back({c.x + r * dx / len, c.y + r * dy / len});
    }
    return out;
}

}  // namespace

ModelData makeDefaultModel() {
    ModelData model;
    Builder b(model);
    for (int tx = 0; tx < kTiles; ++tx)
        for (int ty = 0; ty < kTiles; ++ty) {
            int i0 = tx * kSteps, j0 = ty * kSteps;
            P2 centre{lattice(i0 + kSteps / 2), lattice(j0 + kSteps / 2)};
            std::vector<P2> border = tileBorder(i0, j0);
            bool corner = tx != 1 && ty != 1;
            bool middle = tx == 1 && ty == 1;
            if (corner) {
                std::vector<P2> hole = circleFor(border, centre, kHoleRadius);
                b.ring(border, hole, kThickness, true);
                b.ring(border, hole, 0.0, false);
                b.wall(hole, 0.0, kThickness, 1, false);
            } else if (middle) {
                std::vector<P2> boss = circleFor(border, centre, kBossRadius);
                std::vector<P2> bore = circleFor(border, centre, kBoreRadius);
                b.ring(border, boss, kThickness, true);
                b.wall(boss, kThickness, kBossTop, kWallRows, true);
                b.ring(boss, bore, kBossTop, true);
                b.wall(bore, 0.0, kBossTop, kWallRows, false);
                b.ring(border, bore, 0.0, false);
            } else {
                for (int i = 0; i < kSteps; ++i)
                    for (int j = 0; j < kSteps; ++j) {
                        P2 p00{lattice(i0 + i), lattice(j0 + j)};
                        P2 p10{lattice(i0 + i + 1), lattice(j0 + j)};
                        P2 p11{lattice(i0 + i + 1), lattice(j0 + j + 1)};
                        P2 p01{lattice(i0 + i), lattice(j0 + j + 1)};
                        b.quad(p00, kThickness, p10, kThickness, p11, kThickness, p01, kThickness);
                        b.quad(p00, 0.0, p01, 0.0, p11, 0.0, p10, 0.0);
                    }
            }
        }
    // The plate's outer side, counter-clockwise seen from above.
    std::vector<P2> outline;
    int n = kSteps * kTiles;
    for (int k = 0; k < n; ++k) outline.push_back({lattice(k), lattice(0)});
    for (int k = 0; k < n; ++k) outline.push_back({lattice(n), lattice(k)});
    for (int k = 0; k < n; ++k) outline.push_back({lattice(n - k), lattice(n)});
    for (int k = 0; k < n; ++k) outline.push_back({lattice(0), lattice(n - k)});
    b.wall(outline, 0.0, kThickness, 1, true);
    return model;
}

}  // namespace orvane
