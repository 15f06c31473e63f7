#pragma once
// Numbers as text for the tool's output files: fast (millions of coordinates) and locale-free.
#include <algorithm>
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

// Appends `value` rounded to `decimals` places after the point, without trailing zeros (and
// without the sign of a value that rounds to zero).
inline void appendFixed(std::string &out, double value, int decimals) {
    char buffer[400];
    auto const r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    char *end = r.ptr;
    if (std::find(buffer, end, '.') != end) {
        while (end[-1] == '0') --end;
        if (end[-1] == '.') --end;
    }
    bool const zero = std::all_of(buffer, end, [](char c) { return c == '-' || c == '0'; });
    if (zero) out += '0';
    else out.append(buffer, end);
}

}  // namespace orvane
