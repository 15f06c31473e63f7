// The fast chainer against a literal list-based chaining (rescan from the front for every
// step, passes from 1e-8 times 10 while below 0.01) on randomised segment soups.
#include "entities/SegmentChainer.h"

#include "PLC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <list>
#include <map>
#include <random>

using namespace ORVANE_DATABASE;

namespace {

using Chains = std::vector<std::vector<ChainPoint>>;

Chains referenceChains(std::vector<SegmentEnds> const &s) {
    auto at = [&](ChainPoint c) { return c.end ? s[c.segment].second : s[c.segment].first; };
    auto near = [](Point3D const &a, Point3D const &b, double t) {
        return std::fabs(a.x() - b.x()) < t && std::fabs(a.y() - b.y()) < t && std::fabs(a.z() - b.z()) < t;
    };
    auto step = [&](std::list<std::size_t> &rest, std::list<ChainPoint> &chain) {
        for (double t = 1e-8; t < 0.01; t *= 10.0)
            for (auto it = rest.begin(); it != rest.end(); ++it) {
                Point3D f = at(chain.front()), b = at(chain.back());
                SegmentEnds const &e = s[*it];
                if (near(f, e.first, t)) chain.push_front({*it, 1});
                else if (near(f, e.second, t)) chain.push_front({*it, 0});
                else if (near(b, e.first, t)) chain.push_back({*it, 1});
                else if (near(b, e.second, t)) chain.push_back({*it, 0});
                else continue;
                rest.erase(it);
                return true;
            }
        return false;
    };
    std::list<std::size_t> rest;
    for (std::size_t i = 0; i < s.size(); ++i) rest.push_back(i);
    Chains out;
    while (!rest.empty()) {
        std::list<ChainPoint> chain{{rest.front(), 0}, {rest.front(), 1}};
        rest.pop_front();
        while (!rest.empty() && step(rest, chain)) {}
        out.emplace_back(chain.begin(), chain.end());
    }
    return out;
}

void expectSameChains(Chains const &a, Chains const &b) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t c = 0; c < a.size(); ++c) {
        ASSERT_EQ(a[c].size(), b[c].size()) << "chain " << c;
        for (std::size_t k = 0; k < a[c].size(); ++k) {
            EXPECT_EQ(a[c][k].segment, b[c][k].segment) << "chain " << c << " point " << k;
            EXPECT_EQ(a[c][k].end, b[c][k].end) << "chain " << c << " point " << k;
        }
    }
}

// Open and closed paths whose corners are jittered by amounts falling into each tolerance
// pass (or beyond 1e-3), with corners shared between paths, grid corners that make many ends
// coincide (list order decides), gaps, random segment direction and a shuffled list.
std::vector<SegmentEnds> randomSoup(std::mt19937 &rng, double offset) {
    static const double jitters[] = {0.0, 3e-9, 6e-9, 4e-8, 9e-8, 5e-7, 5e-6, 5e-5, 5e-4, 9e-4, 2e-3};
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    auto jittered = [&](Point3D const &p) {
        double j = jitters[rng() % 11];
        return Point3D(p.x() + j * (2 * unit(rng) - 1), p.y() + j * (2 * unit(rng) - 1), p.z() + j * (2 * unit(rng) - 1));
    };
    std::vector<SegmentEnds> soup;
    std::vector<Point3D> seen;
    for (int path = 0, paths = 1 + rng() % 6; path < paths; ++path) {
        std::size_t corners = 2 + rng() % 8;
        std::vector<Point3D> pts;
        for (std::size_t c = 0; c < corners; ++c) {
            double pick = unit(rng);
            if (!seen.empty() && pick < 0.15) pts.push_back(seen[rng() % seen.size()]);
            else if (pick < 0.4) pts.emplace_back(offset + rng() % 3, double(rng() % 3), 0.0);
            else pts.emplace_back(offset + unit(rng), unit(rng), unit(rng) * 0.01);
        }
        seen.insert(seen.end(), pts.begin(), pts.end());
        std::size_t segments = unit(rng) < 0.6 ? corners : corners - 1;
        for (std::size_t k = 0; k < segments; ++k) {
            if (unit(rng) < 0.05) continue;
            Point3D a = jittered(pts[k]), b = jittered(pts[(k + 1) % corners]);
            if (rng() % 2) std::swap(a, b);
            soup.push_back({a, b});
        }
    }
    std::shuffle(soup.begin(), soup.end(), rng);
    return soup;
}

}  // namespace

TEST(SegmentChainer, MatchesLiteralChainingOnRandomSoups) {
    std::mt19937 rng(20240611);
    // Offsets move the soups to where quotients are large and cell rounding is coarse.
    const double offsets[] = {0.0, -3.75, 1e4, 2.5e7 + 0.123, -1e12};
    for (int round = 0; round < 400; ++round) {
        std::vector<SegmentEnds> soup = randomSoup(rng, offsets[round % 5]);
        SCOPED_TRACE(round);
        expectSameChains(chainSegmentEnds(soup), referenceChains(soup));
    }
}

TEST(SegmentChainer, EndsAtTheEdgeOfEachToleranceAndCell) {
    // Gaps just below and at each tolerance, on and beside multiples of the grid's cell size,
    // at small and large magnitudes.
    std::vector<SegmentEnds> soup;
    for (double t : stitchTolerances())
        for (double base : {0.0, 1.0, 4.0e7, -123456.789})
            for (double cell : {0.0, 4.0 * t, -4.0 * t, 2.0 * t, 1e6 * t})
                for (double gap : {std::nextafter(t, 0.0), t, 0.5 * t, 2.0 * t}) {
                    double x = base + cell;
                    soup.push_back({Point3D(x - 1.0, 0, 0), Point3D(x, 0, 0)});
                    soup.push_back({Point3D(x + gap, 0, 0), Point3D(x + 1.0, 0.5, 0)});
                    soup.push_back({Point3D(x + 1.0, 0.5, gap), Point3D(x, 1, gap)});
                }
    std::mt19937 rng(3);
    for (int round = 0; round < 2; ++round) {
        expectSameChains(chainSegmentEnds(soup), referenceChains(soup));
        std::shuffle(soup.begin(), soup.end(), rng);
    }
}

// Chains with the producer's partner claims: the claims as a slicer would make them (the two
// ends made from one corner), claims with errors (one-sided, within one segment, between ends
// that do not meet, missing), and none. Whatever the claims, the chains are the literal ones;
// a clean claim on a clean soup is adopted.
TEST(SegmentChainer, PartnerClaimsNeverChangeTheChains) {
    std::mt19937 rng(99);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    using Claims = std::vector<std::uint32_t>;
    auto chainsWith = [](std::vector<SegmentEnds> const &soup, Claims const *claims, bool *adopted) {
        SegmentChainer chainer;
        chainer.reset(soup.data(), soup.size(), claims ? claims->data() : nullptr);
        if (adopted) *adopted = chainer.adoptedPartners();
        Chains out;
        ChainPoint const *first, *last;
        while (chainer.nextChain(first, last)) out.emplace_back(first, last);
        return out;
    };
    int adopted = 0;
    for (int round = 0; round < 300; ++round) {
        // Closed and open polylines; a corner's two ends may differ by a little (as cuts of one
        // edge computed from its two triangles do), by too much, or a third end may come near.
        std::vector<SegmentEnds> soup;
        std::vector<std::size_t> cornerOf;   // per end, the corner it was made from
        std::size_t corners = 0;
        double const jitter = round % 4 == 0 ? 0.0 : (round % 4 == 1 ? 1e-15 : (round % 4 == 2 ? 3e-9 : 2e-8));
        for (int path = 0, paths = 1 + static_cast<int>(rng() % 4); path < paths; ++path) {
            int const k = 3 + static_cast<int>(rng() % 7);
            bool const closed = rng() % 3 != 0;
            double const cx = 3.0 * path + (round % 5 == 0 ? 1e6 : 0.0), r = 0.5 + unit(rng);
            auto at = [&](int i) {
                double const a = 6.283185307179586 * i / k;
                return Point3D(cx + r * std::cos(a), r * std::sin(a), 0.25 * path);
            };
            std::size_t const base = corners;
            corners += k;
            for (int i = 0; i < (closed ? k : k - 1); ++i) {
                auto near = [&](Point3D p) {
                    return Point3D(p.x() + jitter * (2 * unit(rng) - 1), p.y() + jitter * (2 * unit(rng) - 1), p.z());
                };
                Point3D a = near(at(i)), b = near(at(i + 1));
                std::size_t ca = base + i, cb = base + (i + 1) % k;
                if (rng() % 2) std::swap(a, b), std::swap(ca, cb);
                soup.push_back({a, b});
                cornerOf.insert(cornerOf.end(), {ca, cb});
            }
        }
        if (round % 7 == 3 && soup.size() > 2) {   // a stray end right at another one's corner
            soup.push_back({soup[1].second, Point3D(9, 9, 9)});
            cornerOf.insert(cornerOf.end(), {corners, corners + 1});
        }
        // The sorted order of the list is the producer's; shuffle segments (with their ends).
        std::vector<std::size_t> order(soup.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::shuffle(order.begin(), order.end(), rng);
        std::vector<SegmentEnds> shuffled;
        std::vector<std::size_t> corner;
        for (std::size_t i : order) {
            shuffled.push_back(soup[i]);
            corner.insert(corner.end(), {cornerOf[2 * i], cornerOf[2 * i + 1]});
        }
        // Claims: the two ends of one corner (a corner of three or more ends claims nothing).
        Claims claims(corner.size(), SegmentChainer::kNoPartner);
        std::map<std::size_t, std::vector<std::uint32_t>> byCorner;
        for (std::uint32_t e = 0; e < corner.size(); ++e) byCorner[corner[e]].push_back(e);
        for (auto const &c : byCorner)
            if (c.second.size() == 2) claims[c.second[0]] = c.second[1], claims[c.second[1]] = c.second[0];

        SCOPED_TRACE(round);
        Chains const expected = referenceChains(shuffled);
        bool took = false;
        expectSameChains(chainsWith(shuffled, &claims, &took), expected);
        adopted += took;
        bool const clean = round % 4 == 0 && round % 5 != 0 && round % 7 != 3;
        EXPECT_TRUE(took || !clean);
        expectSameChains(chainsWith(shuffled, nullptr, nullptr), expected);
        Claims wrong = claims;
        std::uint32_t const e = static_cast<std::uint32_t>(rng() % wrong.size());
        std::uint32_t const f = static_cast<std::uint32_t>(rng() % wrong.size());
        switch (round % 4) {
        case 0: wrong[e] = f; break;                                     // one-sided
        case 1: wrong[e] = e ^ 1, wrong[e ^ 1] = e; break;               // within a segment
        case 2: wrong[e] = f, wrong[f] = e; break;                       // ends that need not meet
        default: wrong[e] = SegmentChainer::kNoPartner; break;           // a pair broken
        }
        expectSameChains(chainsWith(shuffled, &wrong, nullptr), expected);
    }
    EXPECT_GT(adopted, 100);
}

TEST(SegmentChainer, OddCoordinatesAndClosedOnlyContours) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const double big = std::numeric_limits<double>::max();
    std::vector<SegmentEnds> soup = {
        {Point3D(nan, 0, 0), Point3D(0, 0, 0)}, {Point3D(nan, 0, 0), Point3D(1, 0, 0)},
        {Point3D(0, 0, 0), Point3D(1, 0, 0)}, {Point3D(big, 0, 0), Point3D(-big, 1e300, 0)},
        {Point3D(-big, 1e300, 0), Point3D(big, 0, 0)}, {Point3D(inf, 0, 0), Point3D(inf, 0, 0)},
        {Point3D(inf, 0, 0), Point3D(-inf, nan, 0)}, {Point3D(1e300, 0, 0), Point3D(1e300, 1e-300, 0)}};
    expectSameChains(chainSegmentEnds(soup), referenceChains(soup));   // NaN ends never match

    // Closed: the huge loop (segments 3, 4) and the 1e-300 segment; each point a new copy.
    std::vector<PLC *> out;
    chainSegments(soup, out, true);
    ASSERT_EQ(out.size(), 2u);
    std::vector<Point3D *> const &pts = *out[0]->pointList();
    EXPECT_EQ(pts.size(), 3u);
    EXPECT_EQ(pts.front()->x(), -big);   // closed at the front
    EXPECT_EQ(out[1]->pointList()->size(), 2u);
    for (PLC *c : out) releaseContour(c);
}
