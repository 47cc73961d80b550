#include "proc/launch.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

namespace mbproc {

namespace {

// vfork() in place of fork() spares copying the page tables, which takes milliseconds when the
// process is large. Other threads go on meanwhile. Not inlined, so that no other function's
// variables live in the frame that both processes use.
[[gnu::noinline]] pid_t branch(ChildMain childMain, const void* plan, const sigset_t& signalMask) {
    // The checks know vfork() as a trap, and only that. What the child may do stands in the header.
    const pid_t pid = ::vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (pid == 0) {
        childMain(plan, signalMask);  // NOLINT(clang-analyzer-unix.Vfork)
        ::_exit(127);
    }
    return pid;
}

}  // namespace

bool moveAboveStreams(mbutil::Fd& fd) {
    if (fd.value > STDERR_FILENO) return true;
    const int moved = ::fcntl(fd.value, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0) return false;
    fd.reset(moved);
    return true;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

pid_t launch(ChildMain childMain, const void* plan) {
    // A handler of ours that ran in the child would run on our memory, so all signals wait.
    sigset_t all, before;
    ::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = branch(childMain, plan, before);
    const int failure = errno;
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = failure;
    return pid;
}

}  // namespace mbproc
