#pragma once
// Tolerance: the record of closeness thresholds handed by const reference to every tolerant
// test. Only the threshold in force, value(), is ever read by the library: `coarse` when
// `useCoarse` is set, `fine` otherwise (1e-13 for a default Tolerance). The scale and count
// fields travel with the record but no operation reads them.
//
// Spelled as public fields, in this order, so that the record stays a plain trivially
// copyable value; everything is inline, nothing is exported from the library.
#include "OrvaneExport.h"

#include <cstdint>

namespace ORVANE_DATABASE {

class ORVANE_API Tolerance {
public:
    bool useCoarse = false;
    double coarse = 1e-7;
    double fine = 1e-13;
    double coarseScale = 1e8;     // 10 / coarse
    double fineScale = 1e14;      // 10 / fine
    std::uint64_t coarseCount = 1000000u;
    std::uint64_t fineCount = 4294967295u;   // 2^32 - 1

    Tolerance() = default;

    // A record with the coarse threshold c (coarseScale = 10 / c); every other field keeps
    // its default, so the threshold in force is still `fine`. Explicit, so that a bare
    // number is never silently taken for a Tolerance whose value() is not that number.
    // c = 0 gives an infinite coarseScale (floating-point division, no trap).
    explicit Tolerance(double c) : coarse(c), coarseScale(10.0 / c) {}

    // The threshold in force.
    double value() const { return useCoarse ? coarse : fine; }
};

} // namespace ORVANE_DATABASE
