#pragma once
// What is to be told of, and when: no descriptors and no clock of its own.

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace mbwatch {

using Clock = std::chrono::steady_clock;

// Quiet after which changes are told of: one save makes several events in a row.
inline constexpr std::chrono::milliseconds kQuietTime{220};
// How long they are held at most, so that a build which never pauses shows all the same.
inline constexpr std::chrono::milliseconds kLongestHold{1500};
inline constexpr size_t kMostPaths = 4096;

// False for what nobody needs to hear of: temporary files, "node_modules" and most of ".git".
bool worthTelling(std::string_view path);

class Batch {
public:
    // A path like the one before it is dropped: of what the kernel tells in a row, most is of one
    // file.
    void add(std::string path, Clock::time_point now);
    bool empty() const { return pending.empty(); }
    bool full() const { return pending.size() >= kMostPaths; }
    bool due(Clock::time_point now) const;
    // How long to wait for more; none (-1) while it is empty.
    int timeoutMs(Clock::time_point now) const;
    // All paths in byte order, each once; the batch is empty afterwards.
    std::vector<std::string> take();

private:
    std::vector<std::string> pending;
    Clock::time_point begin;  // when the first path came
};

}  // namespace mbwatch
