#pragma once
// Runs outside programs, each through "/bin/sh -c" in a process group of its own, with an
// environment that is clean of a packaged runtime's variables.
//
// Use: run() for a child whose output is wanted whole, spawnPiped() for one that lives on. Build
// the command line with quote().
// Limits: run() ends at its time limit, in milliseconds; captured output has no limit.
// Errors: see Result and spawnPiped(); nothing raises. The process must ignore SIGPIPE, which a
// child that does not read its input would raise; children get its default action back.
// Threads: any number may spawn at once. No descriptor of this process reaches a child unless it
// lacks the close-on-exec mark.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace mbproc {

struct Options {
    std::string cwd;                         // empty keeps ours
    std::string input;                       // for standard input; "/dev/null" when empty
    uint32_t timeoutMs = 0;                  // always set it: at 0 the child is killed at once
    std::map<std::string, std::string> env;  // set or replaced
};

struct Result {
    bool started = false;  // false: the child could not be spawned, `err` says why
    int32_t code = -1;     // exit code, 128 + signal number, or 1 when it had to be killed
    std::string out;
    std::string err;
};

// Bare numbers: whoever calls spawnPiped() owns the descriptors and must collect the child.
struct Child {
    int32_t pid = -1;  // also the process group
    int32_t stdinFd = -1;
    int32_t stdoutFd = -1;
    int32_t stderrFd = -1;
};

// One word for the shell, unchanged if it is harmless.
std::string quote(std::string_view text);

// "NAME=value" strings of our environment, without what an AppImage's runtime put there.
std::vector<std::string> inheritedEnvironment();

// Starts `command` and does not wait. A `cwd` that cannot be entered shows as exit code 127.
// False with the reason in `error` when there is no child; `child` is then untouched.
bool spawnPiped(const std::string& command, const std::string& cwd,
                const std::map<std::string, std::string>& env, bool wantStdin, Child& child,
                std::string& error);

// The exit code, 128 + signal number after a signal; -1 when the time is over (`reaped` false) or
// there is no such child (`reaped` true). A `timeoutMs` of 0 waits for ever.
int32_t waitFor(int32_t pid, uint32_t timeoutMs, bool& reaped);

// Blocks until both output pipes are closed and the child is collected, or until the time is over:
// then the whole group gets SIGTERM, 200 ms later SIGKILL, and what was captured is kept.
Result run(const std::string& command, const Options& options);

}  // namespace mbproc
