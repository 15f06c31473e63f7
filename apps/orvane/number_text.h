#pragma once
// Numbers as text for the tool's output files: fast (millions of coordinates) and locale-free.
#include <charconv>
#include <string>
#include <system_error>

namespace orvane {

// Appends the shortest decimal that reads back as exactly `value`.
inline void appendShortest(std::string &out, double value) {
    char buffer[32];
    auto const r = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, r.ptr);
}

// Appends `value` rounded to `digits` significant digits, in the shorter of the fixed and
// the exponent form, without trailing zeros (0.3 for 0.30000000000000004).
inline void appendRounded(std::string &out, double value, int digits) {
    char buffer[48];
    auto const r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
    out.append(buffer, r.ptr);
}

}  // namespace orvane
