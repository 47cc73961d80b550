// One terminal: its two threads, writing, and its end.

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "proc/proc.hpp"
#include "term/pty.hpp"
#include "term/split.hpp"
#include "term/term.hpp"

namespace mbterm {

using mbutil::Fd;

namespace {

constexpr size_t kReadBytes = 16384;
// A program that was left in the background can keep the terminal open, so the reader's end is
// not waited for any longer before the exit is told.
constexpr auto kLastOutputTime = std::chrono::milliseconds(300);
constexpr const char* kFailure = "could not create a terminal: ";

Fd newEvent() { return Fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); }

void raise(const Fd& event) {
    const uint64_t one = 1;
    if (event) (void)!::write(event.value, &one, sizeof one);
}

// Returns at its end, and leaves the child to be collected.
void awaitExit(int32_t pid) {
    siginfo_t info = {};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0) {
        if (errno != EINTR) return;
    }
}

}  // namespace

Terminal::~Terminal() {
    terminate();
    cleanup();
}

bool Terminal::start(const SpawnOptions& options, std::string& error) {
    command = options.command;
    hangUpEvent = newEvent();
    stopEvent = newEvent();
    if (!hangUpEvent || !stopEvent) {
        error = std::string(kFailure) + std::strerror(errno);
        return false;
    }
    int32_t started = -1;
    std::string reason;
    if (!spawnInPty(options, master, started, reason) || !startThreads(started, reason)) {
        error = kFailure + reason;
        cleanup();
        return false;
    }
    return true;
}

// Where the system has no thread for us, the child goes unheard.
bool Terminal::startThreads(int32_t started, std::string& reason) {
    pid = started;
    running = true;
    try {
        reader = std::thread([this] { readLoop(); });
        waiter = std::thread([this] { waitLoop(); });
        return true;
    } catch (const std::system_error& failure) {
        reason = failure.code().message();
    }
    signalGroup(SIGKILL);
    (void)collectChild();
    running = false;
    return false;
}

void Terminal::write(std::string_view bytes) {
    const std::lock_guard lock(writeMutex);
    while (!bytes.empty() && waitForRoom()) {
        const ssize_t written = ::write(master.value, bytes.data(), bytes.size());
        if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (written <= 0) return;
        bytes.remove_prefix(static_cast<size_t>(written));
    }
}

// False once the terminal is being ended, as its program may never read, and when nobody has it
// open any more: the kernel then goes on to take bytes until it is full.
bool Terminal::waitForRoom() {
    if (!master) return false;
    pollfd waited[] = {{master.value, POLLOUT, 0}, {hangUpEvent.value, POLLIN, 0}};
    int ready = 0;
    do {
        ready = ::poll(waited, 2, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && waited[0].revents == POLLOUT && waited[1].revents == 0;
}

void Terminal::resize(int32_t cols, int32_t rows) {
    const winsize size = windowSize(cols, rows);
    const std::lock_guard lock(resizeMutex);
    if (master) (void)::ioctl(master.value, TIOCSWINSZ, &size);
}

void Terminal::terminate() {
    hangUp();
    awaitEnd(std::chrono::steady_clock::now() + kPoliteTime);
}

void Terminal::hangUp() {
    raise(hangUpEvent);
    signalGroup(SIGHUP);
}

void Terminal::awaitEnd(std::chrono::steady_clock::time_point deadline) {
    bool gone = false;
    {
        std::unique_lock lock(childMutex);
        gone = childChanged.wait_until(lock, deadline, [this] { return pid <= 0; });
    }
    if (!gone) signalGroup(SIGKILL);
}

// Under the lock, as nobody collects the child meanwhile: its number names this group and no other.
void Terminal::signalGroup(int number) {
    const std::lock_guard lock(childMutex);
    if (pid <= 0 || ::kill(-pid, number) == 0) return;
    // No such group: vfork() was a plain fork (as under ThreadSanitizer) and the child has not come
    // to lead one yet.
    (void)::kill(pid, number);
}

void Terminal::cleanup() {
    raise(hangUpEvent);
    stopping = true;
    raise(stopEvent);
    if (reader.joinable()) reader.join();
    if (waiter.joinable()) waiter.join();
    const std::scoped_lock lock(writeMutex, resizeMutex);
    master.reset();
}

void Terminal::readLoop() {
    readPieces();
    {
        const std::lock_guard lock(childMutex);
        readerDone = true;
    }
    childChanged.notify_all();
}

// Until nobody has the terminal open any more, which reads as an error, or until it is ended here.
// Each read goes out at once: no timer, nothing collected.
void Terminal::readPieces() {
    std::array<char, kReadBytes> buffer;
    std::string pending;
    while (!stopping) {
        const ssize_t got = ::read(master.value, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN && waitForOutput()) continue;
        if (got <= 0) break;
        pending.append(buffer.data(), static_cast<size_t>(got));
        const size_t length = completeLength(pending);
        if (length == 0) continue;
        const std::string kept = pending.substr(length);
        pending.resize(length);
        if (onData) onData(pending);
        pending = kept;
    }
    if (!pending.empty() && onData) onData(pending);
}

bool Terminal::waitForOutput() {
    pollfd waited[] = {{master.value, POLLIN, 0}, {stopEvent.value, POLLIN, 0}};
    return ::poll(waited, 2, -1) >= 0 || errno == EINTR;
}

void Terminal::waitLoop() {
    awaitExit(pid);
    const int32_t code = collectChild();
    {
        std::unique_lock lock(childMutex);
        childChanged.wait_for(lock, kLastOutputTime, [this] { return readerDone.load(); });
    }
    running = false;
    if (onExit) onExit(code);
}

int32_t Terminal::collectChild() {
    int32_t code = -1;
    {
        const std::lock_guard lock(childMutex);
        bool reaped = false;
        code = mbproc::waitFor(pid, 0, reaped);
        exitCode = code;
        pid = -1;
    }
    childChanged.notify_all();
    return code;
}

}  // namespace mbterm
