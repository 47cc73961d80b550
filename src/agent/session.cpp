#include "agent/agent.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <system_error>

#include "agent/lines.hpp"
#include "agent/wire.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbagent {

using mbutil::Fd;

namespace {

constexpr size_t kOutputBytes = 65536;
constexpr size_t kErrorBytes = 8192;
constexpr int kInputEndMs = 1500;  // for a child that ends when its input does
constexpr int kTerminateMs = 2000;
constexpr int kLastWordsMs = 300;  // for the callbacks that are given them

constexpr const char* kNotFound =
    "The Claude CLI was not found. Install it (npm install -g @anthropic-ai/claude-code, or the "
    "native installer) or set \"claudeCommand\" in marlin-bench.json to its full path.";
constexpr const char* kCouldNotStart = "Could not start the Claude CLI: ";

using Take = std::function<void(std::string_view)>;

bool openWake(Fd& wake) {
    wake.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return static_cast<bool>(wake);
}

// Nobody reads it, so it stays readable. The only failure is a counter that is full, so it is too.
void wakeUp(const Fd& wake) {
    const uint64_t one = 1;
    (void)!::write(wake.value, &one, sizeof one);
}

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

// Until the end of the file, an error or the wake.
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

// False on an error or the wake; part of it may be written then.
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

}  // namespace

Session::~Session() { stop(); }

bool Session::start(const StartOptions& options, std::string& error) {
    const std::lock_guard lock(lifecycleMutex);
    if (running) return true;
    closeHandles();
    if (options.command.empty() || !mbutil::fileExists(options.command)) {
        error = kNotFound;
        return false;
    }
    mbproc::Child child;
    std::string reason;
    if (!openWakes(reason) ||
        !mbproc::spawnPiped(commandLine(options), options.cwd, {}, true, child, reason)) {
        error = kCouldNotStart + reason;
        closeHandles();
        return false;
    }
    adopt(child);
    if (!startThreads(reason)) {
        error = kCouldNotStart + reason;
        abandonChild();
        return false;
    }
    return true;
}

bool Session::openWakes(std::string& reason) {
    const std::lock_guard lock(writeMutex);
    if (openWake(writeWake) && openWake(readWake)) return true;
    reason = std::string("eventfd failed: ") + std::strerror(errno);
    return false;
}

void Session::adopt(const mbproc::Child& child) {
    stdoutFd.reset(child.stdoutFd);
    stderrFd.reset(child.stderrFd);
    {
        const std::lock_guard lock(writeMutex);
        stdinFd.reset(child.stdinFd);
        // The mark is on our end alone: the child's is another open file.
        (void)::fcntl(stdinFd.value, F_SETFL, O_NONBLOCK);
    }
    {
        const std::lock_guard lock(childMutex);
        pid = child.pid;
        readersLeft = 2;
    }
    exitCode = -1;
    running = true;
}

bool Session::startThreads(std::string& reason) {
    try {
        readThread = std::thread(&Session::readLoop, this, onLine);
        errorThread = std::thread(&Session::errorLoop, this, onStderr);
        waitThread = std::thread(&Session::waitLoop, this, onExit);
    } catch (const std::system_error& failure) {
        reason = failure.what();
        return false;
    }
    return true;
}

// For a child that there is no thread to wait for.
void Session::abandonChild() {
    running = false;
    wakeUp(writeWake);
    signalGroup(SIGKILL);
    (void)collect();
    wakeUp(readWake);
    closeHandles();
    exitCode = -1;
}

void Session::stop() {
    const std::lock_guard lock(lifecycleMutex);
    if (running.exchange(false)) endChild();
    closeHandles();
}

// Readers go on meanwhile: what the child has to say at its end is delivered.
void Session::endChild() {
    wakeUp(writeWake);
    {
        const std::lock_guard lock(writeMutex);
        stdinFd.reset();
    }
    if (collectedWithin(kInputEndMs)) return;
    signalGroup(SIGTERM);
    if (collectedWithin(kTerminateMs)) return;
    signalGroup(SIGKILL);
}

bool Session::collectedWithin(int limitMs) {
    std::unique_lock lock(childMutex);
    return childChanged.wait_for(lock, std::chrono::milliseconds(limitMs),
                                 [this] { return pid < 1; });
}

void Session::signalGroup(int number) {
    const std::lock_guard lock(childMutex);
    if (pid > 0) (void)::kill(-pid, number);
}

void Session::closeHandles() {
    running = false;
    for (std::thread* thread : {&readThread, &errorThread, &waitThread})
        if (thread->joinable()) thread->join();
    // Only now: until their end the threads use them.
    stdoutFd.reset();
    stderrFd.reset();
    readWake.reset();
    const std::lock_guard lock(writeMutex);
    stdinFd.reset();
    writeWake.reset();
}

void Session::readLoop(const TextHandler& handler) {
    LineCutter cutter;
    readPipe(stdoutFd.value, readWake.value, kOutputBytes,
             [&](std::string_view bytes) { cutter.feed(bytes, handler); });
    cutter.finish(handler);
    readerDone();
}

void Session::errorLoop(const TextHandler& handler) {
    readPipe(stderrFd.value, readWake.value, kErrorBytes, [&](std::string_view bytes) {
        if (handler) handler(std::string(bytes));
    });
    readerDone();
}

void Session::readerDone() {
    const std::lock_guard lock(childMutex);
    --readersLeft;
    childChanged.notify_all();
}

void Session::waitLoop(const ExitHandler& handler) {
    const int code = collect();
    running = false;
    wakeUp(writeWake);
    wakeUp(readWake);
    {
        std::unique_lock lock(childMutex);
        (void)childChanged.wait_for(lock, std::chrono::milliseconds(kLastWordsMs),
                                    [this] { return readersLeft == 0; });
    }
    if (handler) handler(code);
}

// Blocks until the child has ended; sets exitCode and pid. The result is exitCode.
int Session::collect() {
    // The child is left uncollected at first, without the lock, and collected under it: between
    // the two its number is still its own, so that a signal cannot reach a stranger.
    siginfo_t ended = {};
    while (::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    const std::lock_guard lock(childMutex);
    bool reaped = false;
    exitCode = mbproc::waitFor(pid, 0, reaped);
    pid = -1;
    childChanged.notify_all();
    return exitCode;
}

bool Session::writeLine(const std::string& line) {
    if (!running) return false;
    const std::string whole = line + "\n";
    const std::lock_guard lock(writeMutex);
    // The session may have ended while another line was written.
    if (!running || !stdinFd) return false;
    return writeAll(stdinFd.value, writeWake.value, whole);
}

bool Session::sendUserMessage(const std::string& text) { return writeLine(textTurn(text)); }

bool Session::sendUserContent(const std::string& contentJson) {
    return writeLine(richTurn(contentJson));
}

bool Session::sendControl(const std::string& requestJson, std::string& requestId) {
    requestId = nextControlId();
    return writeLine(controlRequest(requestId, requestJson));
}

bool Session::sendControlResponse(const std::string& responseJson) {
    return writeLine(controlResponse(responseJson));
}

bool Session::interrupt() { return writeLine(interruptRequest(nextInterruptId())); }

}  // namespace mbagent
