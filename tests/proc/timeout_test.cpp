#include <errno.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "proc/proc.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::runFor;
using mbtest::Stopwatch;

struct Waited {
    int32_t code;
    bool reaped;
};

bool operator==(const Waited& left, const Waited& right) {
    return left.code == right.code && left.reaped == right.reaped;
}

Waited waitFor(int32_t pid, uint32_t timeoutMs) {
    Waited waited{0, true};
    waited.code = mbproc::waitFor(pid, timeoutMs, waited.reaped);
    return waited;
}

// Starts a child and lets go of its pipes.
int32_t start(const std::string& command) {
    mbproc::Child child;
    std::string error;
    if (!mbproc::spawnPiped(command, "", {}, false, child, error)) return -1;
    ::close(child.stdoutFd);
    ::close(child.stderrFd);
    return child.pid;
}

TEST(ProcTimeout, OutputSoFarIsKeptAndTheCodeIsOne) {
    const Stopwatch watch;
    const mbproc::Result result = runFor("echo out; echo err >&2; sleep 30", 500);
    EXPECT_GE(watch.ms(), 499);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
}

TEST(ProcTimeout, EverythingThatTheShellStartedIsEnded) {
    const mbproc::Result result = runFor("sleep 30 & echo $!; (sleep 30 & echo $!); sleep 30", 500);
    const std::vector<std::string> pids = mbutil::split(mbutil::trim(result.out), '\n');
    ASSERT_EQ(pids.size(), 2U);
    for (const std::string& pid : pids)
        EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::gone(pid); })) << pid;
}

TEST(ProcTimeout, ChildMayTidyUpAtThePoliteSignal) {
    const mbtest::TempDir folder;
    const mbproc::Result result = runFor("trap 'echo tidy > " + folder.at("trace") +
                                             "; exit 7' TERM; echo up; sleep 30 & wait",
                                         500);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(mbtest::slurp(folder.at("trace")), "tidy\n");
}

TEST(ProcTimeout, ChildThatIgnoresThePoliteSignalIsGone200MillisecondsLater) {
    const Stopwatch watch;
    const mbproc::Result result =
        runFor("trap '' TERM; echo $$; while :; do sleep 0.05; done", 500);
    EXPECT_GE(watch.ms(), 699);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(mbtest::gone(mbutil::trim(result.out)));
    EXPECT_FALSE(mbtest::hasChildren());
}

TEST(ProcTimeout, ZeroKillsAtOnce) {
    const Stopwatch watch;
    const mbproc::Result result = runFor("sleep 30", 0);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.code, 1);
}

TEST(ProcTimeout, GrandchildWithTheOutputPipeHoldsRunUntilTheDeadline) {
    const Stopwatch watch;
    const mbproc::Result result = runFor("sleep 30 & echo $!", 600);
    EXPECT_GE(watch.ms(), 599);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::gone(mbutil::trim(result.out)); }));
}

TEST(ProcTimeout, ShellThatClosedItsOutputsIsKilledWhenItsTimeIsOver) {
    const Stopwatch watch;
    const mbproc::Result result = runFor("exec >/dev/null 2>&1; sleep 30", 500);
    EXPECT_GE(watch.ms(), 499);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 1);
    EXPECT_FALSE(mbtest::hasChildren());
}

// Out of the group's reach, with the input open, never reading it.
TEST(ProcTimeout, InputHeldByAProcessThatDoesNotReadDoesNotHoldRun) {
    mbproc::Options options;
    options.timeoutMs = 500;
    options.input = std::string(1 << 20, 'x');
    const Stopwatch watch;
    const mbproc::Result result =
        mbproc::run("exec 3<&0; setsid sleep 30 <&3 >/dev/null 2>&1 & echo $!; sleep 30", options);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(::kill(std::stoi(result.out), SIGKILL), 0);
}

TEST(ProcTimeout, InputHeldAfterTheShellEndedDoesNotHoldRunPastTheDeadline) {
    mbproc::Options options;
    options.timeoutMs = 500;
    options.input = std::string(1 << 20, 'x');
    const Stopwatch watch;
    const mbproc::Result result =
        mbproc::run("exec 3<&0; sleep 30 <&3 >/dev/null 2>&1 & echo $!", options);
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(::kill(std::stoi(result.out), SIGKILL), 0);
}

TEST(ProcWait, GivesTheExitCodeOrTheSignal) {
    EXPECT_EQ(waitFor(start("exit 9"), 20000), (Waited{9, true}));
    EXPECT_EQ(waitFor(start("exit 9"), 0), (Waited{9, true}));
    EXPECT_EQ(waitFor(start("kill -TERM $$"), 20000), (Waited{128 + SIGTERM, true}));
    EXPECT_EQ(waitFor(start("kill -TERM $$"), 0), (Waited{128 + SIGTERM, true}));
}

TEST(ProcWait, TimeThatIsOverLeavesTheChildUncollected) {
    const int32_t pid = start("sleep 30");
    const Stopwatch watch;
    EXPECT_EQ(waitFor(pid, 100), (Waited{-1, false}));
    EXPECT_GE(watch.ms(), 99);
    EXPECT_EQ(waitFor(pid, 1), (Waited{-1, false}));
    ::kill(-pid, SIGKILL);
    EXPECT_EQ(waitFor(pid, 20000), (Waited{128 + SIGKILL, true}));
}

TEST(ProcWait, NobodyKeepsWaitingForAChildThatIsGone) {
    const int32_t pid = start("true");
    EXPECT_EQ(waitFor(pid, 0), (Waited{0, true}));
    EXPECT_EQ(waitFor(pid, 0), (Waited{-1, true}));
    EXPECT_EQ(waitFor(pid, 20000), (Waited{-1, true}));
}

TEST(ProcWait, StoppedChildIsNotAnEndedOne) {
    const int32_t pid = start("kill -STOP $$; exit 6");
    EXPECT_EQ(waitFor(pid, 200), (Waited{-1, false}));
    ASSERT_TRUE(mbtest::waitUntil([&] {
        ::kill(-pid, SIGCONT);
        return mbtest::gone(std::to_string(pid));
    }));
    EXPECT_EQ(waitFor(pid, 20000), (Waited{6, true}));
}

// From here on, for this process, the kernel knows no pidfd_open.
bool forbidExitDescriptors() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(rules)), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 &&
           ::syscall(SYS_pidfd_open, ::getpid(), 0) < 0 && errno == ENOSYS;
}

TEST(ProcWait, OlderKernelWithoutExitDescriptorsGivesTheSameResults) {
    const int right = mbtest::inCopy([] {
        if (!forbidExitDescriptors()) return 2;
        mbproc::Options options;
        options.timeoutMs = 20000;
        options.input = std::string(1 << 20, 'x');
        const mbproc::Result closed =
            mbproc::run("exec >/dev/null 2>&1; sleep 0.1; cat; exit 8", options);
        const mbproc::Result late = runFor("trap '' TERM; while :; do sleep 0.05; done", 300);
        const int32_t pid = start("sleep 30");
        const bool waits = waitFor(pid, 50) == Waited{-1, false};
        ::kill(-pid, SIGKILL);
        return closed.code == 8 && late.code == 1 && waits &&
                       waitFor(pid, 20000) == Waited{128 + SIGKILL, true} && !mbtest::hasChildren()
                   ? 1
                   : 0;
    });
    EXPECT_EQ(right, 1);
}

}  // namespace
