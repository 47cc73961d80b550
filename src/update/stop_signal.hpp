#pragma once
// A word to stop that wakes a poll. Raised once, never lowered.

#include <atomic>

#include "util/fd.hpp"

namespace mbupdate {

class StopSignal {
public:
    StopSignal();

    void raise();
    bool raised() const { return isRaised; }
    // Readable once raised; -1 when the system gave none, then only raised() tells.
    int descriptor() const { return event.value; }

private:
    std::atomic<bool> isRaised{false};
    mbutil::Fd event;
};

}  // namespace mbupdate
