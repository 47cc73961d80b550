#include "support/held_start.hpp"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>

namespace mbtest {

namespace {

// What the system call that the process has entered would write; empty for any other call.
std::string writtenBytes(pid_t pid, const __ptrace_syscall_info& info) {
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY || info.entry.nr != SYS_write) return "";
    std::string bytes(std::min<size_t>(info.entry.args[2], 256), '\0');
    iovec local = {bytes.data(), bytes.size()};
    iovec remote = {reinterpret_cast<void*>(info.entry.args[1]), bytes.size()};
    const ssize_t got = ::process_vm_readv(pid, &local, 1, &remote, 1, 0);
    return got == static_cast<ssize_t>(bytes.size()) ? bytes : "";
}

// Stops at the next system call's beginning or end. False when the process has ended.
bool nextStop(pid_t pid, int& signal) {
    if (::ptrace(PTRACE_SYSCALL, pid, nullptr, static_cast<long>(signal)) != 0) return false;
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return false;
    const int number = WSTOPSIG(status);
    signal = number == (SIGTRAP | 0x80) || number == SIGTRAP ? 0 : number;
    return true;
}

}  // namespace

HeldStart::HeldStart(const Program& program) : pid(program.process.pid()) {
    if (::ptrace(PTRACE_SEIZE, pid, nullptr, static_cast<long>(PTRACE_O_TRACESYSGOOD)) != 0) return;
    if (::ptrace(PTRACE_INTERRUPT, pid, nullptr, nullptr) != 0) return;
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return;
    bool written = false;
    for (int signal = 0; nextStop(pid, signal);) {
        __ptrace_syscall_info info = {};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) <= 0) continue;
        if (written) {
            held = true;  // at the end of that write
            return;
        }
        written = writtenBytes(pid, info).find("/?token=") != std::string::npos;
    }
}

void HeldStart::release() {
    if (held) ::ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
    held = false;
}

}  // namespace mbtest
