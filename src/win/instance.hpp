#pragma once
// One window a user: a second start hands its paths to the running process and ends.
//
// Two files below one base name: a lock that says who owns the desktop, and the socket on which the
// owner listens. One message a connection: a JSON object with the array "paths", ended by the
// client's half-close. "ok" answers it, which says that it arrived, not that it made sense.
//
// Errors: none. Where a file or a socket cannot be had, the program runs as if it were alone.
// Threads: forwarding blocks its caller; the listener has a thread of its own.

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/fd.hpp"

namespace mbwin {

// What both files' paths begin with: the runtime folder when it is one, else "/tmp".
std::string instanceBaseIn(const char* runtimeFolder, uid_t user);
// The same for this process, settled by the first call: the runtime folder may come into being
// while we start, and the lock and the socket must not come apart.
const std::string& instanceBase();
std::string instanceSocketPath();

struct ForwardOptions {
    std::string base;  // of both files
    int attempts = 30;
    int answerMs = 3000;  // the wait for an answer; no longer for a connection or to send
    int pauseMs = 100;    // between attempts
};

// True: a running instance took the paths, and the caller must exit. False: this process goes on,
// as the owner unless the owner did not answer. The lock is then held to the end of the process.
bool forwardToExistingInstance(const std::vector<std::string>& paths,
                               const ForwardOptions& options);

// False for text that is no message; `paths` is then untouched. What is no list reads as an empty
// one, which asks for the window alone.
bool readInstanceMessage(std::string_view text, std::vector<std::string>& paths);

// The owner's end of the channel.
class InstanceListener {
public:
    using Callback = std::function<void(std::vector<std::string> paths)>;

    InstanceListener() = default;
    InstanceListener(const InstanceListener&) = delete;
    InstanceListener& operator=(const InstanceListener&) = delete;
    ~InstanceListener() { stop(); }

    // Replaces whatever lies at the path. The callback runs on the listener's thread. A sender that
    // is silent for `silenceMs` has said all. Without a socket to be had nothing is listened to.
    void start(const std::string& path, Callback callback, int silenceMs = 2000);
    // No callback runs afterwards; removes the socket. Safe to call twice, not from the callback.
    void stop();

private:
    std::string socketPath;  // as bound; empty: not listening
    mbutil::Fd listenFd;
    mbutil::Fd wakeFd;  // readable once stop() was called
    std::atomic<bool> closing{false};
    std::thread listener;
    Callback onPaths;
    int silenceLimitMs = 0;

    bool bindSocket(const std::string& path);
    // On the listener's thread.
    void listen();
    void serve(mbutil::Fd connection);
    std::string receive(int connection) const;
    bool awaitReadable(int fd, int limitMs) const;
};

}  // namespace mbwin
