#pragma once
// The two kinds of failure the orvane tool and its reusable parts report, and their exit codes.
#include <stdexcept>

namespace orvane {

// A model file that cannot be used: missing, unknown format, corrupt, empty, non-finite.
// what() is one line naming the file and the problem, ready for stderr. Exit code 1.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Wrong use of the tool (a bad number, a missing argument, an unknown output type, an output
// that would overwrite the input). Exit code 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace orvane
