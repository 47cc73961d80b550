// The synchronous form: capture to the end or to the time limit.

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "proc/proc.hpp"
#include "proc/wait.hpp"
#include "util/fd.hpp"

namespace mbproc {

using mbutil::Fd;

namespace {

constexpr int64_t kLongestPollMs = 1000;
constexpr int64_t kPoliteMs = 200;  // after SIGTERM
constexpr int64_t kKillMs = 2000;   // after SIGKILL

// Closes the pipe at its end or on an error.
void readSome(Fd& pipe, std::string& text) {
    std::array<char, 16384> buffer;
    const ssize_t got = ::read(pipe.value, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) return;
    if (got <= 0)
        pipe.reset();
    else
        text.append(buffer.data(), static_cast<size_t>(got));
}

// Feeds and captures until both pipes are closed. False when the deadline came first.
bool capture(Fd out, Fd err, Feeder& feeder, Clock::time_point deadline, Result& result) {
    while (out || err) {
        const int64_t left = millisecondsLeft(deadline);
        if (left < 1) return false;
        pollfd waited[] = {
            {out.value, POLLIN, 0}, {err.value, POLLIN, 0}, {feeder.fd(), POLLOUT, 0}};
        if (::poll(waited, 3, static_cast<int>(std::min(left, kLongestPollMs))) < 0) {
            if (errno == EINTR) continue;
            return true;
        }
        if (waited[0].revents != 0) readSome(out, result.out);
        if (waited[1].revents != 0) readSome(err, result.err);
        if (waited[2].revents != 0) feeder.writeSome();
    }
    return true;
}

// Only for a child that is not collected: its number still names the group, and no other.
void endGroup(int32_t pid, Feeder& feeder) {
    bool reaped = false;
    (void)::kill(-pid, SIGTERM);
    (void)collect(pid, kPoliteMs, feeder, reaped);
    if (reaped) return;
    (void)::kill(-pid, SIGKILL);
    (void)collect(pid, kKillMs, feeder, reaped);
}

}  // namespace

Result run(const std::string& command, const Options& options) {
    Result result;
    Child child;
    if (!spawnPiped(command, options.cwd, options.env, !options.input.empty(), child, result.err))
        return result;
    result.started = true;
    // Fed from this thread, between the reads, so a child that fills its output while it reads
    // cannot deadlock against us, and one that never reads cannot hold us.
    Feeder feeder(child.stdinFd, options.input);
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(options.timeoutMs);

    bool reaped = false;
    if (capture(Fd(child.stdoutFd), Fd(child.stderrFd), feeder, deadline, result))
        result.code = collect(child.pid, options.timeoutMs, feeder, reaped);
    if (reaped) {
        feeder.finish(deadline);
    } else {
        endGroup(child.pid, feeder);
        result.code = 1;
    }
    return result;
}

}  // namespace mbproc
