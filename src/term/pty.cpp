#include "term/pty.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

#include "proc/launch.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbterm {

using mbutil::Fd;

namespace {

constexpr int32_t kSmallestSide = 2;

unsigned short side(int32_t wanted) {
    constexpr int32_t kLargestSide = std::numeric_limits<unsigned short>::max();
    return static_cast<unsigned short>(std::clamp(wanted, kSmallestSide, kLargestSide));
}

// Opened by steps and not by forkpty(), which cannot mark the master close-on-exec at its birth: a
// child that another thread starts in between would keep the terminal open for ever.
struct Pty {
    Fd master;
    Fd slave;
};

bool openPty(Pty& pty, const winsize& size) {
    std::array<char, 64> name{};
    pty.master.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    if (!pty.master || ::grantpt(pty.master.value) != 0 || ::unlockpt(pty.master.value) != 0 ||
        ::ptsname_r(pty.master.value, name.data(), name.size()) != 0)
        return false;
    pty.slave.reset(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return pty.slave && mbproc::moveAboveStreams(pty.slave) &&
           ::ioctl(pty.slave.value, TIOCSWINSZ, &size) == 0;
}

// All that the child needs, made before it exists.
struct Plan {
    int slave = -1;
    const char* folder = nullptr;  // null keeps ours
    const char* otherFolder = nullptr;
    char* const* arguments = nullptr;
    char* const* environment = nullptr;
};

// Also those that we ignore, or that whoever started us did: a terminal's programs expect SIGPIPE,
// and its end is told by SIGHUP. Our handlers must not run in the child, which shares our memory.
void resetSignals() {
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) (void)::sigaction(number, &byDefault, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    (void)::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

// Runs in the child. It leads its group once the parent goes on.
[[noreturn]] void becomeShell(const void* given, const sigset_t&) {
    const Plan& plan = *static_cast<const Plan*>(given);
    (void)::setsid();
    (void)::ioctl(plan.slave, TIOCSCTTY, 0);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        (void)::dup2(plan.slave, stream);
    // Better a shell in the wrong folder than none.
    if (plan.folder && ::chdir(plan.folder) != 0 && ::chdir(plan.otherFolder) != 0) {
    }
    resetSignals();
    ::execve("/bin/sh", plan.arguments, plan.environment);
    ::_exit(127);
}

}  // namespace

winsize windowSize(int32_t cols, int32_t rows) {
    winsize size = {};
    size.ws_col = side(cols);
    size.ws_row = side(rows);
    return size;
}

std::vector<std::string> terminalEnvironment(std::vector<std::string> inherited,
                                             const std::map<std::string, std::string>& env) {
    std::vector<std::string> entries = std::move(inherited);
    std::erase_if(entries, [&](const std::string& entry) {
        const std::string name = entry.substr(0, entry.find('='));
        return name == "TERM" || name == "COLORTERM" || env.contains(name);
    });
    entries.insert(entries.end(),
                   {"TERM=xterm-256color", "COLORTERM=truecolor", "TERM_PROGRAM=MarlinBench"});
    for (const auto& [name, value] : env) entries.push_back(name + "=" + value);
    return entries;
}

bool spawnInPty(const SpawnOptions& options, Fd& master, int32_t& pid, std::string& error) {
    Pty pty;
    if (!openPty(pty, windowSize(options.cols, options.rows))) {
        error = std::strerror(errno);
        return false;
    }
    // A line may hold quotes and several words. The shell gives way to its program, so our child is
    // the program itself.
    std::vector<std::string> arguments = {"/bin/sh", "-c", "exec " + options.command};
    std::vector<std::string> environment =
        terminalEnvironment(mbproc::inheritedEnvironment(), options.env);
    const std::vector<char*> argumentPointers = mbproc::pointersTo(arguments);
    const std::vector<char*> environmentPointers = mbproc::pointersTo(environment);
    const std::string home = mbutil::homeDir();

    Plan plan;
    plan.slave = pty.slave.value;
    plan.folder = options.cwd.empty() ? nullptr : options.cwd.c_str();
    plan.otherFolder = home.c_str();
    plan.arguments = argumentPointers.data();
    plan.environment = environmentPointers.data();
    const pid_t started = mbproc::launch(becomeShell, &plan);
    if (started < 0) {
        error = std::strerror(errno);
        return false;
    }
    master = std::move(pty.master);
    pid = started;
    return true;
}

}  // namespace mbterm
