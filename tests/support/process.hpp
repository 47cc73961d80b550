#pragma once
// Child processes of tests, which end with their owner, and a look at what others have left behind.

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace mbtest {

struct Spawn {
    std::vector<std::string> command;                // [0] is looked for on our PATH
    std::map<std::string, std::string> environment;  // all of it, nothing is inherited
    std::string cwd;                                 // empty: ours
    std::string outputPath;                          // standard output; empty: /dev/null
    std::string errorPath;                           // standard error; empty: ours
    int keptDescriptor = -1;                         // stays open in the child under its number
};

// A process in a group of its own. It is killed when its owner, or the test program, ends.
class Process {
public:
    Process() = default;
    explicit Process(const Spawn& spawn);
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    ~Process();

    pid_t pid() const { return id; }
    bool running();
    void signal(int number) const;
    // The exit code, 128 + number after a signal, nothing when it still runs at the end of the
    // time.
    std::optional<int> waitForExit(int limitMs = 20000);
    void kill();

private:
    pid_t id = -1;
    std::optional<int> code;  // once it is collected

    bool collect();
};

// Environment of the test program itself, for helpers that may see all of it.
std::map<std::string, std::string> ownEnvironment();

// Living processes, also grandchildren in groups of their own, whose environment holds
// "NAME=value".
std::vector<pid_t> processesMarked(const std::string& assignment);

// Children of `parent` that have ended and were not collected.
std::vector<pid_t> zombiesOf(pid_t parent);

// Living children of `parent`.
std::vector<pid_t> childrenOf(pid_t parent);

// The process's open descriptors, and its threads.
int descriptorsOf(pid_t process);
int threadsOf(pid_t process);

}  // namespace mbtest
