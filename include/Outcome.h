#pragma once
// Outcome: the result object of the library's algorithms that can fail in an expected way
// (slicing, segmentation). It carries a severity code, an error class and a message text.
//
// The message lives in a heap string that every constructor allocates and the destructor
// releases, so each Outcome owns exactly one string for its whole life (the pointer is never
// null). Assignment writes into the string already owned instead of replacing it.
#include "OrvaneExport.h"

#include <string>

namespace ORVANE_DATABASE {

class ORVANE_API Outcome {
public:
    // Severity. Both enumerations have a fixed 32-bit underlying type, so any 32-bit value
    // (for instance one read back from a host) can be held and handed to errorString safely.
    enum _Code : int {
        SUCCESS = 0,
        WARNING = 1,
        FAILURE = 2
    };

    // Class of the error; NON on success.
    enum _ErrorCode : int {
        NON = 0,
        UNKNOWN = 1,
        API_FAIL = 2,
        BAD_IN_ARGUMENT = 3
    };

    // Outcome() is a success with an empty message.
    Outcome(_Code code = SUCCESS, _ErrorCode errorCode = NON,
            std::string const &mesg = std::string());
    // Deep copy: the copy allocates its own message string.
    Outcome(Outcome const &other);
    // Copies code and error code and assigns the text into the string this object already
    // owns. Self-assignment leaves the object as it was.
    Outcome &operator=(Outcome const &other);
    ~Outcome();

    // True for SUCCESS and WARNING (code not greater than 1).
    bool isOk() const { return static_cast<int>(m_code) <= 1; }
    _Code code() const { return m_code; }
    _ErrorCode errorCode() const { return m_errorCode; }
    // The owned message; valid as long as this Outcome lives.
    std::string const &mesg() const { return *m_mesg; }
    // errorString(errorCode()).
    std::string errorString() const { return errorString(m_errorCode); }
    // "NON", "UNKNOWN", "API FAIL", "BAD IN ARGUMENT" for the values 0 to 3; the empty string
    // for any other value.
    static std::string errorString(_ErrorCode errorCode);

private:
    // The member-wise transfer shared by operator=.
    void copyData(Outcome const &other);

    _Code m_code;
    _ErrorCode m_errorCode;
    std::string *m_mesg;
};

} // namespace ORVANE_DATABASE
