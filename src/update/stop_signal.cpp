#include "update/stop_signal.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace mbupdate {

StopSignal::StopSignal() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void StopSignal::raise() {
    isRaised = true;
    const uint64_t one = 1;
    // Only a full counter refuses, and that is readable.
    if (event) (void)!::write(event.value, &one, sizeof one);
}

}  // namespace mbupdate
