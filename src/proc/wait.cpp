#include "proc/wait.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "proc/proc.hpp"

namespace mbproc {

using mbutil::Fd;

namespace {

constexpr int64_t kPollStepMs = 10;  // between tries where no descriptor tells of the exit
constexpr int64_t kLongestPollMs = 1000;

int32_t exitCode(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

// Readable once the child has ended. None on a kernel before 5.3, or when descriptors are short.
Fd openExitDescriptor(int32_t pid) {
    return Fd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

// Returns when the child has ended or the time is over, or for no reason.
void awaitExit(Fd& exitDescriptor, Feeder& feeder, int64_t limitMs) {
    pollfd waited[] = {{exitDescriptor.value, POLLIN, 0}, {feeder.fd(), POLLOUT, 0}};
    const int64_t step = exitDescriptor ? kLongestPollMs : kPollStepMs;
    if (::poll(waited, 2, static_cast<int>(std::min(limitMs, step))) <= 0) return;
    if (waited[1].revents != 0) feeder.writeSome();
    // Under a debugger a child can have ended and still not be ours to collect: poll on in steps.
    if (waited[0].revents != 0) exitDescriptor.reset();
}

}  // namespace

int64_t millisecondsLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return std::max<int64_t>(left.count(), 0);
}

Feeder::Feeder(int fd, std::string_view input) : pipe(fd), rest(input) {
    // The mark is on our end alone: the child's is another open file.
    if (pipe) (void)::fcntl(pipe.value, F_SETFL, O_NONBLOCK);
}

void Feeder::writeSome() {
    while (pipe) {
        const ssize_t written = ::write(pipe.value, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && errno == EAGAIN) return;
        if (written > 0) rest.remove_prefix(static_cast<size_t>(written));
        if (written < 0 || rest.empty()) pipe.reset();
    }
}

void Feeder::finish(Clock::time_point deadline) {
    while (pipe) {
        const int64_t left = millisecondsLeft(deadline);
        if (left <= 0) return;
        pollfd waited = {pipe.value, POLLOUT, 0};
        const int ready = ::poll(&waited, 1, static_cast<int>(std::min(left, kLongestPollMs)));
        if (ready < 0 && errno != EINTR) return;
        if (ready > 0) writeSome();
    }
}

int32_t collect(int32_t pid, int64_t limitMs, Feeder& feeder, bool& reaped) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(limitMs);
    Fd exitDescriptor;
    reaped = false;
    for (bool first = true;; first = false) {
        int status = 0;
        const pid_t got = ::waitpid(pid, &status, WNOHANG);
        if (got > 0 || (got < 0 && errno != EINTR)) {
            reaped = true;  // also without such a child: nobody shall wait for it any longer
            return got > 0 ? exitCode(status) : -1;
        }
        const int64_t left = millisecondsLeft(deadline);
        if (left <= 0) return -1;
        if (first) exitDescriptor = openExitDescriptor(pid);
        awaitExit(exitDescriptor, feeder, left);
    }
}

int32_t waitFor(int32_t pid, uint32_t timeoutMs, bool& reaped) {
    if (timeoutMs > 0) {
        Feeder nothing(-1, {});
        return collect(pid, timeoutMs, nothing, reaped);
    }
    reaped = false;
    int status = 0;
    pid_t got = 0;
    do {
        got = ::waitpid(pid, &status, 0);
    } while (got < 0 && errno == EINTR);
    reaped = true;
    return got > 0 ? exitCode(status) : -1;
}

}  // namespace mbproc
