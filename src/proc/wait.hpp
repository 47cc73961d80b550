#pragma once
// Waiting for a child while its input is still being written. Private to this module.

#include <chrono>
#include <cstdint>
#include <string_view>

#include "util/fd.hpp"

namespace mbproc {

using Clock = std::chrono::steady_clock;

// Whole milliseconds until then, 0 when it is past.
int64_t millisecondsLeft(Clock::time_point deadline);

// What a child has yet to read. Written bit by bit whenever its pipe has room, so that no thread
// can be held up by a child that does not read.
class Feeder {
public:
    // Takes the descriptor; -1 means that there is nothing to write.
    Feeder(int fd, std::string_view input);

    // For poll() with POLLOUT; -1 once all is written or nobody reads any more.
    int fd() const { return pipe.value; }
    // Writes as much as there is room for; the descriptor is closed when it is done with.
    void writeSome();
    // Writes the rest for a reader that outlives the child, until the deadline.
    void finish(Clock::time_point deadline);

private:
    mbutil::Fd pipe;
    std::string_view rest;
};

// As waitFor(), but a `limitMs` of 0 tries once; feeds meanwhile.
int32_t collect(int32_t pid, int64_t limitMs, Feeder& feeder, bool& reaped);

}  // namespace mbproc
