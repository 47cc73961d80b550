#include "proc/pipes.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <vector>

namespace mbproc {

using mbutil::Fd;

namespace {

// How many bytes were taken; 0 at the end of the file and on an error.
size_t takeSome(int pipe, std::vector<char>& buffer, size_t limit, const Take& take) {
    ssize_t got = 0;
    do {
        got = ::read(pipe, buffer.data(), std::min(limit, buffer.size()));
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return 0;
    take({buffer.data(), static_cast<size_t>(got)});
    return static_cast<size_t>(got);
}

// What the pipe holds now, and no more: somebody the child has started may keep its other end for
// ever, and keep writing.
void takeRest(int pipe, std::vector<char>& buffer, const Take& take) {
    int held = 0;
    if (::ioctl(pipe, FIONREAD, &held) != 0) return;
    for (size_t left = static_cast<size_t>(held); left > 0;) {
        const size_t got = takeSome(pipe, buffer, left, take);
        if (got == 0) return;
        left -= got;
    }
}

}  // namespace

bool openWake(Fd& wake) {
    wake.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return static_cast<bool>(wake);
}

// Nobody reads it, so it stays readable. The only failure is a counter that is full, so it is too.
void raiseWake(const Fd& wake) {
    const uint64_t one = 1;
    (void)!::write(wake.value, &one, sizeof one);
}

void readPipe(int pipe, int wake, size_t bufferBytes, const Take& take) {
    std::vector<char> buffer(bufferBytes);
    for (;;) {
        pollfd waited[] = {{pipe, POLLIN, 0}, {wake, POLLIN, 0}};
        if (::poll(waited, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (waited[1].revents != 0) return takeRest(pipe, buffer, take);
        if (takeSome(pipe, buffer, bufferBytes, take) == 0) return;
    }
}

bool writeAll(int pipe, int wake, std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(pipe, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<size_t>(written));
            continue;
        }
        if (written == 0 || (errno != EAGAIN && errno != EINTR)) return false;
        pollfd waited[] = {{pipe, POLLOUT, 0}, {wake, POLLIN, 0}};
        if (::poll(waited, 2, -1) < 0 && errno != EINTR) return false;
        if (waited[1].revents != 0) return false;
    }
    return true;
}

}  // namespace mbproc
