// Starting a child.

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "proc/launch.hpp"
#include "proc/proc.hpp"
#include "util/fd.hpp"

namespace mbproc {

using mbutil::Fd;

namespace {

struct Pipe {
    Fd readEnd;
    Fd writeEnd;
};

// All that the child needs, made before it exists.
struct Plan {
    const char* folder = nullptr;  // null keeps ours
    int stdinFd = -1;              // -1: "/dev/null"
    int stdoutFd = -1;
    int stderrFd = -1;
    char* const* arguments = nullptr;
    char* const* environment = nullptr;
};

bool openPipe(Pipe& pipe) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    pipe.readEnd.reset(ends[0]);
    pipe.writeEnd.reset(ends[1]);
    return moveAboveStreams(pipe.readEnd) && moveAboveStreams(pipe.writeEnd);
}

// Our variables without those that `env` sets, then those.
std::vector<std::string> childEnvironment(const std::map<std::string, std::string>& env) {
    std::vector<std::string> entries = inheritedEnvironment();
    if (!env.empty())
        std::erase_if(entries, [&](const std::string& entry) {
            return env.contains(entry.substr(0, entry.find('=')));
        });
    for (const auto& [name, value] : env) entries.push_back(name + "=" + value);
    return entries;
}

// Our handlers must not run in the child, which shares our memory until its execve().
void resetSignals() {
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action = {};
        if (::sigaction(number, nullptr, &action) != 0) continue;
        const bool caught = (action.sa_flags & SA_SIGINFO) != 0 ||
                            (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
        // We ignore SIGPIPE; tools expect to be ended by it.
        if (caught || number == SIGPIPE) (void)::sigaction(number, &byDefault, nullptr);
    }
}

void connectStreams(const Plan& plan) {
    if (plan.stdinFd >= 0) {
        (void)::dup2(plan.stdinFd, STDIN_FILENO);
    } else if (const int null = ::open("/dev/null", O_RDONLY); null > STDIN_FILENO) {
        (void)::dup2(null, STDIN_FILENO);
        (void)::close(null);
    }
    (void)::dup2(plan.stdoutFd, STDOUT_FILENO);
    (void)::dup2(plan.stderrFd, STDERR_FILENO);
}

// Runs in the child; see ChildMain.
[[noreturn]] void becomeShell(const void* given, const sigset_t& signalMask) {
    const Plan& plan = *static_cast<const Plan*>(given);
    (void)::setpgid(0, 0);  // one group, so that a whole pipeline can be signalled
    connectStreams(plan);
    if (plan.folder && ::chdir(plan.folder) != 0) ::_exit(127);
    resetSignals();
    (void)::pthread_sigmask(SIG_SETMASK, &signalMask, nullptr);
    ::execve("/bin/sh", plan.arguments, plan.environment);
    ::_exit(127);
}

}  // namespace

bool spawnPiped(const std::string& command, const std::string& cwd,
                const std::map<std::string, std::string>& env, bool wantStdin, Child& child,
                std::string& error) {
    Pipe in, out, err;
    if ((wantStdin && !openPipe(in)) || !openPipe(out) || !openPipe(err)) {
        error = std::string("pipe failed: ") + std::strerror(errno);
        return false;
    }
    std::vector<std::string> arguments = {"/bin/sh", "-c", command};
    std::vector<std::string> environment = childEnvironment(env);
    const std::vector<char*> argumentPointers = pointersTo(arguments);
    const std::vector<char*> environmentPointers = pointersTo(environment);

    Plan plan;
    plan.folder = cwd.empty() ? nullptr : cwd.c_str();
    plan.stdinFd = in.readEnd.value;
    plan.stdoutFd = out.writeEnd.value;
    plan.stderrFd = err.writeEnd.value;
    plan.arguments = argumentPointers.data();
    plan.environment = environmentPointers.data();
    const pid_t pid = launch(becomeShell, &plan);
    if (pid < 0) {
        error = std::string("fork failed: ") + std::strerror(errno);
        return false;
    }
    // The child does this too. Where vfork() is a plain fork (as under ThreadSanitizer) we may come
    // first, and the group must exist before anybody signals it.
    (void)::setpgid(pid, pid);
    child.pid = pid;
    child.stdinFd = in.writeEnd.release();
    child.stdoutFd = out.readEnd.release();
    child.stderrFd = err.readEnd.release();
    return true;
}

}  // namespace mbproc
