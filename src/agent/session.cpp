#include "agent/agent.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "agent/lines.hpp"
#include "agent/wire.hpp"
#include "proc/pipes.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbagent {

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
    if (mbproc::openWake(writeWake) && mbproc::openWake(readWake)) return true;
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
    mbproc::raiseWake(writeWake);
    signalGroup(SIGKILL);
    (void)collect();
    mbproc::raiseWake(readWake);
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
    mbproc::raiseWake(writeWake);
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
    mbproc::readPipe(stdoutFd.value, readWake.value, kOutputBytes,
                     [&](std::string_view bytes) { cutter.feed(bytes, handler); });
    cutter.finish(handler);
    readerDone();
}

void Session::errorLoop(const TextHandler& handler) {
    mbproc::readPipe(stderrFd.value, readWake.value, kErrorBytes, [&](std::string_view bytes) {
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
    mbproc::raiseWake(writeWake);
    mbproc::raiseWake(readWake);
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
    return mbproc::writeAll(stdinFd.value, writeWake.value, whole);
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
