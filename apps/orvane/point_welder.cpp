#include "point_welder.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

namespace orvane {

namespace odb = ORVANE_DATABASE;

namespace {

// Below 2^24 in magnitude, coordinates fall into cells 2^-20 wide, far wider than the 1e-9
// band, so a point's equivalents lie in its own cell or the next one. Above, neighbouring
// doubles are already 2^-28 or more apart and each value is a cell of its own.
constexpr double kSmall = 16777216.0;   // 2^24
constexpr double kCellsPerUnit = 1048576.0;   // 2^20

std::uint64_t bitsOf(double v) {
    v += 0.0;   // -0 and +0 are one value for LessThan
    std::uint64_t u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

std::uint64_t cellOf(double v) {
    if (std::fabs(v) < kSmall) return static_cast<std::uint64_t>(static_cast<std::int64_t>(std::floor(v * kCellsPerUnit)));
    return bitsOf(v);
}

std::uint64_t mix(std::uint64_t h, std::uint64_t v) {
    h ^= v + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2);
    h ^= h >> 31;
    h *= 0xbf58476d1ce4e5b9ull;
    return h ^ (h >> 29);
}

// How far (at most) a coordinate w of a point LessThan-equivalent to one at v lies from v on
// the first coordinate where they differ: 1e-9, plus the rounding of the band test's
// subtraction, generously bounded.
double reach(double v) { return 2e-9 + std::fabs(v) * 0x1p-49; }

// Distinct floats of magnitude at least 2^-5 are 2^-28 (3.7e-9) or more apart: farther than
// the reach of either. Coordinates below this (plus the reach) may have close neighbours.
constexpr double kFloatIsolated = 0x1p-5;
bool nearZero(double v) { return std::fabs(v) < kFloatIsolated + 1e-8; }
bool isFloat(double v) { return static_cast<double>(static_cast<float>(v)) == v; }

// Calls f(cell) for every cell that can hold a value within reach(v) of v.
template <class F>
void forEachNearCell(double v, F &&f) {
    double const r = reach(v);
    double const lower = v - r, upper = v + r;
    if (upper > -kSmall && lower < kSmall) {
        auto const first = static_cast<std::int64_t>(std::floor(std::max(lower, -kSmall) * kCellsPerUnit));
        auto const last = static_cast<std::int64_t>(std::floor(std::min(upper, kSmall) * kCellsPerUnit));
        for (std::int64_t c = first; c <= last; ++c) f(static_cast<std::uint64_t>(c));
    }
    // Values of magnitude 2^24 or more are cells of their own: a handful of doubles.
    if (upper >= kSmall)
        for (double w = std::nextafter(std::max(lower, kSmall), 0.0); w <= upper && std::isfinite(w);
             w = std::nextafter(w, HUGE_VAL))
            if (w >= kSmall) f(bitsOf(w));
    if (lower <= -kSmall)
        for (double w = std::nextafter(std::min(upper, -kSmall), 0.0); w >= lower && std::isfinite(w);
             w = std::nextafter(w, -HUGE_VAL))
            if (w <= -kSmall) f(bitsOf(w));
}

std::uint64_t vertexKey(double x, double y, std::uint64_t zCell) {
    return mix(mix(bitsOf(x), bitsOf(y)), zCell);
}
std::uint64_t pairKey(double x, std::uint64_t yCell) { return mix(mix(bitsOf(x), yCell), 1); }
std::uint64_t valueKey(std::uint64_t xCell) { return mix(xCell, 2); }

}  // namespace

// Open addressing with linear probing from a 64-bit cell key to the head of that cell's
// chain. Slots hold only the head; a slot's key is recomputed from its head through the
// caller's keyOf, which costs no more than reading a stored key (the head's coordinates are
// read next anyway) and keeps the table at four bytes a slot.
class PointWelder::Index {
public:
    Index() : slots_(16, kNone) {}

    // Sizes an empty index for `count` chains without rehashing later.
    void reserve(std::size_t count) {
        std::size_t size = 16;
        while (size < 2 * count) size *= 2;
        if (used_ == 0 && size > slots_.size()) slots_.assign(size, kNone);
    }

    // Asks the processor to fetch the slot where `key` starts probing.
    void prefetch(std::uint64_t key) const { __builtin_prefetch(&slots_[key & (slots_.size() - 1)]); }
    // The slot where `key` starts probing (a hint: may be another key's chain).
    std::uint32_t firstSlot(std::uint64_t key) const { return slots_[key & (slots_.size() - 1)]; }

    // The head of the chain of cell `key`, or kNone.
    template <class KeyOf>
    std::uint32_t head(std::uint64_t key, KeyOf const &keyOf) const {
        std::size_t const mask = slots_.size() - 1;
        for (std::size_t s = key & mask;; s = (s + 1) & mask) {
            std::uint32_t const h = slots_[s];
            if (h == kNone) return kNone;
            if (keyOf(h) == key) return h;
        }
    }

    // Makes `item` the head of the chain of cell `key`; returns the previous head or kNone.
    template <class KeyOf>
    std::uint32_t push(std::uint64_t key, std::uint32_t item, KeyOf const &keyOf) {
        if (2 * (used_ + 1) > slots_.size()) rehash(2 * slots_.size(), keyOf);
        std::size_t const mask = slots_.size() - 1;
        for (std::size_t s = key & mask;; s = (s + 1) & mask) {
            std::uint32_t const h = slots_[s];
            if (h == kNone) {
                slots_[s] = item;
                ++used_;
                return kNone;
            }
            if (keyOf(h) == key) {
                slots_[s] = item;
                return h;
            }
        }
    }

private:
    template <class KeyOf>
    void rehash(std::size_t size, KeyOf const &keyOf) {
        std::vector<std::uint32_t> old(size, kNone);
        old.swap(slots_);
        std::size_t const mask = slots_.size() - 1;
        for (std::uint32_t h : old) {
            if (h == kNone) continue;
            std::size_t s = keyOf(h) & mask;
            while (slots_[s] != kNone) s = (s + 1) & mask;
            slots_[s] = h;
        }
    }

    std::vector<std::uint32_t> slots_;
    std::size_t used_ = 0;
};

PointWelder::PointWelder(std::vector<double> &coords)
    : coords_(coords), vertices_(new Index()), pairs_(new Index()), values_(new Index()) {}

PointWelder::~PointWelder() = default;

void PointWelder::reserve(std::size_t points) {
    coords_.reserve(3 * points);
    if (vertexCount() == 0 && vertices_) vertices_->reserve(points);
    for (auto *v : {&nextInCell_, &nextWithPair_, &nextWithValue_}) v->reserve(points);
}

std::uint32_t PointWelder::add(double x, double y, double z) {
    return map_ ? addOrdered(x, y, z) : addFast(x, y, z);
}

void PointWelder::addAll(double const *points, std::size_t count, std::uint32_t *indices) {
    constexpr std::size_t kAhead = 16;
    std::vector<std::uint64_t> keys;
    if (!map_) {
        keys.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            double const *p = points + 3 * i;
            keys[i] = vertexKey(p[0], p[1], cellOf(p[2]));
            vertices_->prefetch(keys[i]);
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!map_ && i + kAhead < count) {
            std::uint32_t const h = vertices_->firstSlot(keys[i + kAhead]);
            if (h != kNone) __builtin_prefetch(at(h));
        }
        double const *p = points + 3 * i;
        indices[i] = add(p[0], p[1], p[2]);
    }
}

std::uint32_t PointWelder::appendVertex(double x, double y, double z) {
    std::size_t const n = vertexCount();
    if (n >= kNone) throw std::length_error("more than 4294967294 distinct vertices");
    coords_.insert(coords_.end(), {x, y, z});
    return static_cast<std::uint32_t>(n);
}

std::uint32_t PointWelder::addFast(double x, double y, double z) {
    auto const vertexKeyOf = [this](std::uint32_t v) {
        double const *q = at(v);
        return vertexKey(q[0], q[1], cellOf(q[2]));
    };
    std::uint64_t const key = vertexKey(x, y, cellOf(z));
    for (std::uint32_t v = vertices_->head(key, vertexKeyOf); v != kNone; v = nextInCell_[v]) {
        double const *q = at(v);
        if (q[0] == x && q[1] == y && q[2] == z) return v;
    }
    if (floats_ && !(isFloat(x) && isFloat(y) && isFloat(z))) leaveFloatMode();
    double const p[3] = {x, y, z};
    if (hasEquivalent(p)) {
        switchToOrderedMap();
        return addOrdered(x, y, z);
    }

    std::uint32_t const v = appendVertex(x, y, z);
    nextInCell_.push_back(vertices_->push(key, v, vertexKeyOf));
    nextWithPair_.push_back(kNone);
    nextWithValue_.push_back(kNone);
    if (!floats_ || nearZero(y)) indexPair(v);
    if (!floats_ || nearZero(x)) indexValue(v);
    return v;
}

void PointWelder::leaveFloatMode() {
    floats_ = false;
    for (std::uint32_t v = 0; v < vertexCount(); ++v) {
        double const *q = at(v);
        if (!nearZero(q[1])) indexPair(v);
        if (!nearZero(q[0])) indexValue(v);
    }
}

// Lists v under its (x, y) pair: an existing group or a new one.
void PointWelder::indexPair(std::uint32_t v) {
    double const x = at(v)[0], y = at(v)[1];
    auto const pairKeyOf = [this](std::uint32_t g) {
        double const *q = at(pairFirst_[g]);
        return pairKey(q[0], cellOf(q[1]));
    };
    std::uint64_t const pk = pairKey(x, cellOf(y));
    std::uint32_t pair = pairs_->head(pk, pairKeyOf);
    for (; pair != kNone; pair = pairNextInCell_[pair]) {
        double const *q = at(pairFirst_[pair]);
        if (q[0] == x && q[1] == y) break;
    }
    if (pair == kNone) {
        pair = static_cast<std::uint32_t>(pairFirst_.size());
        pairFirst_.push_back(v);
        pairNextInCell_.push_back(pairs_->push(pk, pair, pairKeyOf));
    } else {
        nextWithPair_[v] = nextWithPair_[pairFirst_[pair]];
        nextWithPair_[pairFirst_[pair]] = v;
    }
}

// Lists v under its x value: an existing group or a new one.
void PointWelder::indexValue(std::uint32_t v) {
    double const x = at(v)[0];
    auto const valueKeyOf = [this](std::uint32_t g) { return valueKey(cellOf(at(valueFirst_[g])[0])); };
    std::uint64_t const vk = valueKey(cellOf(x));
    std::uint32_t value = values_->head(vk, valueKeyOf);
    for (; value != kNone; value = valueNextInCell_[value])
        if (at(valueFirst_[value])[0] == x) break;
    if (value == kNone) {
        value = static_cast<std::uint32_t>(valueFirst_.size());
        valueFirst_.push_back(v);
        valueNextInCell_.push_back(values_->push(vk, value, valueKeyOf));
    } else {
        nextWithValue_[v] = nextWithValue_[valueFirst_[value]];
        nextWithValue_[valueFirst_[value]] = v;
    }
}

bool PointWelder::equivalent(double const *p, std::uint32_t vertex) const {
    double const *q = at(vertex);
    odb::Point3D a(p[0], p[1], p[2]), b(q[0], q[1], q[2]);
    odb::OrvaneDatabase::LessThan const less;
    return !less(&a, &b) && !less(&b, &a);
}

bool PointWelder::hasEquivalent(double const *p) const {
    double const x = p[0], y = p[1], z = p[2];
    bool found = false;
    // Same x and y, z within reach.
    auto const vertexKeyOf = [this](std::uint32_t v) {
        double const *q = at(v);
        return vertexKey(q[0], q[1], cellOf(q[2]));
    };
    // While every coordinate is a float, an axis away from zero has no close values.
    bool const checkZ = !floats_ || nearZero(z), checkY = !floats_ || nearZero(y),
               checkX = !floats_ || nearZero(x);
    if (checkZ) forEachNearCell(z, [&](std::uint64_t zCell) {
        for (std::uint32_t v = vertices_->head(vertexKey(x, y, zCell), vertexKeyOf); v != kNone && !found;
             v = nextInCell_[v]) {
            double const *q = at(v);
            found = q[0] == x && q[1] == y && equivalent(p, v);
        }
    });
    if (found) return true;
    // Same x, another y within reach: every vertex with that (x, y).
    auto const pairKeyOf = [this](std::uint32_t g) {
        double const *q = at(pairFirst_[g]);
        return pairKey(q[0], cellOf(q[1]));
    };
    if (checkY) forEachNearCell(y, [&](std::uint64_t yCell) {
        for (std::uint32_t g = pairs_->head(pairKey(x, yCell), pairKeyOf); g != kNone && !found;
             g = pairNextInCell_[g]) {
            double const *q = at(pairFirst_[g]);
            if (q[0] != x || q[1] == y || std::fabs(q[1] - y) > reach(y)) continue;
            for (std::uint32_t v = pairFirst_[g]; v != kNone && !found; v = nextWithPair_[v])
                found = equivalent(p, v);
        }
    });
    if (found) return true;
    // Another x within reach: every vertex with that x.
    auto const valueKeyOf = [this](std::uint32_t g) { return valueKey(cellOf(at(valueFirst_[g])[0])); };
    if (checkX) forEachNearCell(x, [&](std::uint64_t xCell) {
        for (std::uint32_t g = values_->head(valueKey(xCell), valueKeyOf); g != kNone && !found;
             g = valueNextInCell_[g]) {
            double const qx = at(valueFirst_[g])[0];
            if (qx == x || std::fabs(qx - x) > reach(x)) continue;
            for (std::uint32_t v = valueFirst_[g]; v != kNone && !found; v = nextWithValue_[v])
                found = equivalent(p, v);
        }
    });
    return found;
}

void PointWelder::switchToOrderedMap() {
    map_.reset(new std::map<odb::Point3D *, std::uint32_t, odb::OrvaneDatabase::LessThan>());
    // Every vertex so far went into the literal procedure's map as it was made, and none was
    // equivalent to an earlier one, so inserting them in order rebuilds its very tree.
    for (std::uint32_t v = 0; v < vertexCount(); ++v) {
        double const *q = at(v);
        points_.emplace_back(q[0], q[1], q[2]);
        map_->emplace(&points_.back(), v);
    }
    // The fast path's indices are no longer needed.
    vertices_.reset();
    pairs_.reset();
    values_.reset();
    for (auto *v : {&nextInCell_, &pairFirst_, &valueFirst_, &pairNextInCell_,
                    &valueNextInCell_, &nextWithPair_, &nextWithValue_})
        std::vector<std::uint32_t>().swap(*v);
}

std::uint32_t PointWelder::addOrdered(double x, double y, double z) {
    odb::Point3D probe(x, y, z);
    auto const found = map_->find(&probe);
    if (found != map_->end()) return found->second;
    std::uint32_t const v = appendVertex(x, y, z);
    points_.emplace_back(x, y, z);
    map_->emplace(&points_.back(), v);
    return v;
}

}  // namespace orvane
