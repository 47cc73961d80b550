// One server's process: its three threads, and the stages of its end.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "lsp/frames.hpp"
#include "lsp/lsp.hpp"
#include "proc/pipes.hpp"
#include "proc/proc.hpp"

namespace mblsp {

namespace {

constexpr size_t kOutputBytes = 65536;
constexpr size_t kErrorBytes = 8192;
constexpr size_t kLogBytes = 16384;
constexpr size_t kRecentLogBytes = 2000;
constexpr std::chrono::milliseconds kLastWordsTime{300};  // for the handlers that are given them

constexpr const char* kCouldNotStart = "could not start the language server: ";

}  // namespace

bool Server::start(const std::string& command, const std::string& cwd, MessageHandler onMessage,
                   ExitHandler onExit, std::string& error) {
    messageHandler = std::move(onMessage);
    exitHandler = std::move(onExit);
    mbproc::Child child;
    std::string reason;
    if (!openWakes(reason) ||
        !mbproc::spawnPiped("exec " + command, cwd, {}, true, child, reason)) {
        error = kCouldNotStart + reason;
        joinAll();
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

bool Server::openWakes(std::string& reason) {
    if (mbproc::openWake(writeWake) && mbproc::openWake(readWake)) return true;
    reason = std::string("eventfd failed: ") + std::strerror(errno);
    return false;
}

void Server::adopt(const mbproc::Child& child) {
    stdoutFd.reset(child.stdoutFd);
    stderrFd.reset(child.stderrFd);
    stdinFd.reset(child.stdinFd);
    // The mark is on our end alone: the child's is another open file.
    (void)::fcntl(stdinFd.value, F_SETFL, O_NONBLOCK);
    const std::lock_guard lock(childMutex);
    pid = child.pid;
    readersLeft = 2;
    running = true;
}

bool Server::startThreads(std::string& reason) {
    try {
        reader = std::thread(&Server::readLoop, this);
        errorReader = std::thread(&Server::errorLoop, this);
        waiter = std::thread(&Server::waitLoop, this);
    } catch (const std::system_error& failure) {
        reason = failure.what();
        return false;
    }
    return true;
}

// For a process that there is no thread to wait for.
void Server::abandonChild() {
    running = false;
    signalGroup(SIGKILL);
    (void)collect();
    mbproc::raiseWake(readWake);
    joinAll();
}

bool Server::send(std::string_view body) {
    std::string message = frameHeader(body.size());
    message += body;
    const std::lock_guard lock(writeMutex);
    if (!running || !stdinFd) return false;
    return mbproc::writeAll(stdinFd.value, writeWake.value, message);
}

void Server::stop() {
    hangUp();
    awaitEnd(std::chrono::steady_clock::now() + kPoliteTime);
}

// The readers go on meanwhile: what the server has to say at its end is delivered.
void Server::hangUp() {
    if (!running.exchange(false)) return;
    closeInput();
    signalGroup(SIGTERM);
}

void Server::awaitEnd(std::chrono::steady_clock::time_point deadline) {
    {
        std::unique_lock lock(childMutex);
        if (!childChanged.wait_until(lock, deadline, [this] { return pid < 1; }))
            (void)::kill(-pid, SIGKILL);
    }
    joinAll();
}

// A sender that waits for room, and holds writeMutex meanwhile, gives up first.
void Server::closeInput() {
    {
        const std::lock_guard lock(childMutex);
        mbproc::raiseWake(writeWake);
    }
    const std::lock_guard lock(writeMutex);
    stdinFd.reset();
}

void Server::signalGroup(int number) {
    const std::lock_guard lock(childMutex);
    if (pid > 0) (void)::kill(-pid, number);
}

void Server::joinAll() {
    const std::lock_guard ending(endMutex);
    for (std::thread* thread : {&reader, &errorReader, &waiter})
        if (thread->joinable()) thread->join();
    // Only now: until their end the threads use them.
    stdoutFd.reset();
    stderrFd.reset();
    readWake.reset();
    const std::scoped_lock lock(writeMutex, childMutex);
    stdinFd.reset();
    writeWake.reset();
}

void Server::readLoop() {
    FrameReader frames;
    mbproc::readPipe(stdoutFd.value, readWake.value, kOutputBytes,
                     [&](std::string_view bytes) { frames.feed(bytes, messageHandler); });
    readerDone();
}

void Server::errorLoop() {
    mbproc::readPipe(stderrFd.value, readWake.value, kErrorBytes, [this](std::string_view bytes) {
        const std::lock_guard lock(logMutex);
        log += bytes;
        if (log.size() > kLogBytes) log.erase(0, log.size() - kLogBytes);
    });
    readerDone();
}

void Server::readerDone() {
    const std::lock_guard lock(childMutex);
    --readersLeft;
    childChanged.notify_all();
}

void Server::waitLoop() {
    const int code = collect();
    const bool byItself = running.exchange(false);
    mbproc::raiseWake(readWake);
    // Those whom the server has left behind may read it, and shall not wait for more.
    closeInput();
    if (!byItself || !exitHandler) return;
    {
        std::unique_lock lock(childMutex);
        (void)childChanged.wait_for(lock, kLastWordsTime, [this] { return readersLeft == 0; });
    }
    exitHandler(code);
}

// Blocks until the process has ended; `pid` is -1 then.
int Server::collect() {
    // It is left uncollected at first, without the lock, and collected under it: between the two
    // its number is still its own, so that a signal cannot reach a stranger.
    siginfo_t ended = {};
    while (::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    const std::lock_guard lock(childMutex);
    bool reaped = false;
    const int code = mbproc::waitFor(pid, 0, reaped);
    pid = -1;
    childChanged.notify_all();
    return code;
}

std::string Server::recentLog() const {
    const std::lock_guard lock(logMutex);
    return log.size() > kRecentLogBytes ? log.substr(log.size() - kRecentLogBytes) : log;
}

}  // namespace mblsp
