#pragma once
// Progress callback that a host implements and hands to the voxelizer, which reports the start
// and end of each of its stages through progressMessage. The library never owns, copies or
// deletes a Feedback; the host keeps it alive for as long as the voxelizer may call it.
#include "OrvaneExport.h"

#include <string>

namespace ORVANE_DATABASE {

class ORVANE_API Feedback {
public:
    Feedback() = default;
    Feedback(Feedback const &) = default;
    // Nothing to copy: the object stays as it is.
    Feedback &operator=(Feedback const &) { return *this; }

    // Receives a progress message (its own copy of the text). The library always passes 0 for
    // both integers; they are there for a host that forwards messages with its own counters.
    virtual void progressMessage(std::string message, int current, int total) = 0;
    // Receives a progress value in percent. The library never calls it; a host may use it for
    // its own reporting through the same object.
    virtual void progressValue(int percent) = 0;

protected:
    // Non-virtual, as the library never destroys a Feedback: the host destroys it as its own
    // type. Protected so that deleting a host object through a Feedback pointer (which would
    // skip the host class's destructor) does not compile.
    ~Feedback() = default;
};

} // namespace ORVANE_DATABASE
