#include "Outcome.h"

namespace ORVANE_DATABASE {

Outcome::Outcome(_Code code, _ErrorCode errorCode, std::string const &mesg)
    : m_code(code), m_errorCode(errorCode), m_mesg(new std::string(mesg)) {}

Outcome::Outcome(Outcome const &other)
    : m_code(other.m_code), m_errorCode(other.m_errorCode), m_mesg(new std::string(*other.m_mesg)) {}

Outcome &Outcome::operator=(Outcome const &other) {
    copyData(other);
    return *this;
}

Outcome::~Outcome() { delete m_mesg; }

void Outcome::copyData(Outcome const &other) {
    m_code = other.m_code;
    m_errorCode = other.m_errorCode;
    // Assigning into the owned string keeps the one-string-per-Outcome invariant and is a
    // no-op on self-assignment.
    *m_mesg = *other.m_mesg;
}

std::string Outcome::errorString(_ErrorCode errorCode) {
    switch (static_cast<int>(errorCode)) {
    case NON: return "NON";
    case UNKNOWN: return "UNKNOWN";
    case API_FAIL: return "API FAIL";
    case BAD_IN_ARGUMENT: return "BAD IN ARGUMENT";
    default: return std::string();
    }
}

} // namespace ORVANE_DATABASE
