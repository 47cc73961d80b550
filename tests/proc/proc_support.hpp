#pragma once
// What the tests of child processes share.

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>

#include "proc/proc.hpp"

namespace mbtest {

inline mbproc::Result runFor(const std::string& command, uint32_t timeoutMs = 20000) {
    mbproc::Options options;
    options.timeoutMs = timeoutMs;
    return mbproc::run(command, options);
}

// Runs `body` in a forked copy of this process, for what would spoil it: closed streams, lowered
// limits. The result is the body's, -1 when the copy ended otherwise.
inline int inCopy(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(body());
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A process that ended counts as gone also while nobody has collected it.
inline bool gone(const std::string& pid) {
    std::ifstream file("/proc/" + pid + "/stat");
    std::string text;
    if (!std::getline(file, text)) return true;
    const size_t name = text.rfind(')');
    return name == std::string::npos || text.substr(name, 3) == ") Z";
}

inline bool hasChildren() { return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

class Stopwatch {
public:
    int64_t ms() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - start)
            .count();
    }

private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

}  // namespace mbtest
