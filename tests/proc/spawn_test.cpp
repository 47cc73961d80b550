#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "proc/proc.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"
#include "util/fd.hpp"

namespace {

using mbtest::runFor;
using mbutil::Fd;

// A long-lived child with owners for what it was given; collected at the end.
struct Spawned {
    mbproc::Child child;
    Fd in, out, err;
    std::string error;

    Spawned(const std::string& command, bool wantStdin) {
        if (!mbproc::spawnPiped(command, "", {}, wantStdin, child, error)) return;
        in.reset(child.stdinFd);
        out.reset(child.stdoutFd);
        err.reset(child.stderrFd);
    }
    Spawned(const Spawned&) = delete;
    Spawned& operator=(const Spawned&) = delete;
    ~Spawned() {
        if (child.pid <= 0) return;
        ::kill(-child.pid, SIGKILL);
        bool reaped = false;
        (void)mbproc::waitFor(child.pid, 0, reaped);
    }
};

std::string readAll(const Fd& fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(fd.value, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(got));
    return text;
}

// A field of the child's /proc/PID/status. A shell that waits has another mask, hence the exec.
std::string statusField(const std::string& name) {
    const std::string line = runFor("exec grep ^" + name + ": /proc/self/status").out;
    return line.substr(line.find('\t') + 1);
}

TEST(ProcSpawn, FillsTheChildAndDoesNotWait) {
    Spawned spawned("cat", true);
    ASSERT_GT(spawned.child.pid, 0) << spawned.error;
    EXPECT_GE(spawned.child.stdinFd, 0);
    EXPECT_EQ(::write(spawned.in.value, "hello", 5), 5);
    spawned.in.reset();
    EXPECT_EQ(readAll(spawned.out), "hello");
    EXPECT_EQ(readAll(spawned.err), "");
}

TEST(ProcSpawn, StandardInputIsDevNullWhenNoneIsWanted) {
    Spawned spawned("readlink /proc/self/fd/0", false);
    EXPECT_EQ(spawned.child.stdinFd, -1);
    EXPECT_EQ(readAll(spawned.out), "/dev/null\n");
}

TEST(ProcSpawn, ChildLeadsAGroupOfItsOwn) {
    Spawned spawned("sleep 20", false);
    EXPECT_EQ(::getpgid(spawned.child.pid), spawned.child.pid);
}

TEST(ProcSpawn, DescriptorsAreCloseOnExec) {
    Spawned spawned("sleep 20", true);
    for (const Fd* fd : {&spawned.in, &spawned.out, &spawned.err})
        EXPECT_EQ(::fcntl(fd->value, F_GETFD), FD_CLOEXEC);
}

TEST(ProcSpawn, WorkingFolderIsEntered) {
    const mbtest::TempDir folder;
    mbproc::Options options;
    options.timeoutMs = 20000;
    options.cwd = folder.path();
    EXPECT_EQ(mbproc::run("pwd -P", options).out, folder.path() + "\n");
}

TEST(ProcSpawn, FolderThatCannotBeEnteredGives127AndNoWord) {
    mbproc::Options options;
    options.timeoutMs = 20000;
    options.cwd = "/nowhere/at/all";
    const mbproc::Result result = mbproc::run("echo out", options);
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.code, 127);
    EXPECT_EQ(result.out + result.err, "");
}

TEST(ProcSpawn, VariablesAreReplacedOnceAndStandLastInKeyOrder) {
    const mbtest::ScopedEnv scope({{"MB_REPLACED", "old"}, {"MB_KEPT", "kept"}});
    mbproc::Options options;
    options.timeoutMs = 20000;
    options.env = {{"MB_REPLACED", "new"}, {"MB_ADDED", "a b=c"}};
    const std::string all = mbproc::run("tr '\\0' '\\n' < /proc/$$/environ; :", options).out;
    const std::string tail = "MB_ADDED=a b=c\nMB_REPLACED=new\n";
    ASSERT_GE(all.size(), tail.size());
    EXPECT_EQ(all.substr(all.size() - tail.size()), tail);
    EXPECT_EQ(all.find("MB_REPLACED=old"), std::string::npos);
    EXPECT_NE(all.find("MB_KEPT=kept\n"), std::string::npos);
}

TEST(ProcSpawn, SigpipeHasItsDefaultActionInTheChild) {
    const unsigned long ignored = std::stoul(statusField("SigIgn"), nullptr, 16);
    EXPECT_EQ(ignored & (1UL << (SIGPIPE - 1)), 0U);
}

// Some shells clear their mask when they start, so the signal that is blocked here may be gone.
TEST(ProcSpawn, NoSignalIsBlockedThatTheCallerDidNotBlock) {
    sigset_t wanted, before, after;
    ::sigemptyset(&wanted);
    ::sigaddset(&wanted, SIGUSR1);
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, &wanted, &before), 0);
    const std::string blocked = statusField("SigBlk");
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, &before, &after), 0);
    EXPECT_EQ(std::stoul(blocked, nullptr, 16) & ~(1UL << (SIGUSR1 - 1)), 0U);
    EXPECT_EQ(::sigismember(&after, SIGUSR1), 1);
    EXPECT_EQ(::sigismember(&after, SIGUSR2), 0);
}

pid_t g_self = 0;
std::atomic<int> g_handledHere = 0;
std::atomic<int> g_handledInAChild = 0;  // counted in our memory, which the child shares at first

// In a group of its own, which a child belongs to until it makes another, while signals that the
// group is sent come as fast as they can.
int spawnInAStorm() {
    if (::setpgid(0, 0) != 0) return 2;
    g_self = ::getpid();
    struct sigaction action = {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = [](int) {
        (::syscall(SYS_getpid) == g_self ? g_handledHere : g_handledInAChild).fetch_add(1);
    };
    // By default SIGURG does nothing, so it does no harm to a child that gets it.
    if (::sigaction(SIGURG, &action, nullptr) != 0) return 3;
    std::atomic<bool> stop = false;
    std::thread storm([&] {
        while (!stop) ::kill(0, SIGURG);
    });
    int right = 0;
    for (int i = 0; i < 100; ++i) right += runFor("echo well").out == "well\n";
    stop = true;
    storm.join();
    return right == 100 && g_handledHere > 0 && g_handledInAChild == 0 ? 1 : 0;
}

TEST(ProcSpawn, HandlersOfThisProcessDoNotRunInTheChild) {
    EXPECT_EQ(mbtest::inCopy(spawnInAStorm), 1);
}

TEST(ProcSpawn, ChildGetsThreeDescriptorsWhileOthersOpenAndSpawn) {
    std::atomic<bool> stop = false;
    std::vector<std::thread> others;
    others.reserve(2);
    for (int i = 0; i < 2; ++i)
        others.emplace_back([&] {
            while (!stop) {
                const Fd file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
                (void)runFor("true");
            }
        });
    for (int i = 0; i < 30; ++i) EXPECT_EQ(runFor("ls /proc/$$/fd; :").out, "0\n1\n2\n");
    stop = true;
    for (std::thread& other : others) other.join();
}

TEST(ProcSpawn, ThreadsSpawnAtOnceAndEachGetsItsOwnOutput) {
    std::vector<std::thread> threads;
    threads.reserve(8);
    std::atomic<int> right = 0;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([i, &right] {
            for (int round = 0; round < 10; ++round) {
                mbproc::Options options;
                options.timeoutMs = 60000;
                options.input = std::string(100000, static_cast<char>('a' + i));
                options.env = {{"MB_NUMBER", std::to_string(i)}};
                const mbproc::Result result =
                    mbproc::run("cat; echo $MB_NUMBER >&2; exit " + std::to_string(i), options);
                if (result.out == options.input && result.err == std::to_string(i) + "\n" &&
                    result.code == i)
                    ++right;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 80);
    EXPECT_FALSE(mbtest::hasChildren());
}

TEST(ProcSpawn, WorksWhateverStandardStreamsAreClosed) {
    for (int closed = 1; closed < 8; ++closed) {
        const int right = mbtest::inCopy([closed] {
            for (int stream = 0; stream < 3; ++stream)
                if (closed & (1 << stream)) ::close(stream);
            mbproc::Options options;
            options.timeoutMs = 20000;
            options.input = "in";
            const mbproc::Result fed = mbproc::run("cat; echo err >&2", options);
            const mbproc::Result unfed = runFor("readlink /proc/$$/fd/0; ls /proc/$$/fd; :");
            return fed.out == "in" && fed.err == "err\n" && unfed.out == "/dev/null\n0\n1\n2\n" &&
                   unfed.err.empty();
        });
        EXPECT_EQ(right, 1) << "closed streams " << closed;
    }
}

// Leaves room for only `extra` more descriptors while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t extra) {
        const Fd next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit lowered = {static_cast<rlim_t>(next.value) + extra, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before); }

private:
    rlimit before = {};
};

TEST(ProcSpawn, ShortageOfDescriptorsIsToldAndLeaksNothing) {
    const int before = mbtest::openDescriptors();
    for (rlim_t extra = 0; extra < 6; ++extra) {
        mbproc::Child child;
        std::string error;
        bool spawned = true;
        {
            const DescriptorLimit limit(extra);
            spawned = mbproc::spawnPiped("true", "", {}, true, child, error);
        }
        EXPECT_FALSE(spawned);
        EXPECT_EQ(error, "pipe failed: Too many open files");
        EXPECT_EQ(child.pid, -1);
        EXPECT_EQ(child.stdoutFd, -1);
    }
    EXPECT_EQ(mbtest::openDescriptors(), before);
}

TEST(ProcSpawn, RunTellsOfAChildThatCouldNotBeSpawned) {
    const DescriptorLimit limit(0);
    const mbproc::Result result = runFor("true");
    EXPECT_FALSE(result.started);
    EXPECT_EQ(result.code, -1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "pipe failed: Too many open files");
}

TEST(ProcSpawn, ShortageOfProcessesIsToldAndLeaksNothing) {
    const int right = mbtest::inCopy([] {
        const rlimit none = {0, 0};
        if (::setrlimit(RLIMIT_NPROC, &none) != 0) return 2;
        if (::getuid() == 0 && ::setuid(65534) != 0) return 3;  // root has no such limit
        const int before = mbtest::openDescriptors();
        const mbproc::Result result = runFor("true");
        return !result.started && mbtest::openDescriptors() == before &&
                       result.err == "fork failed: Resource temporarily unavailable"
                   ? 1
                   : 0;
    });
    EXPECT_EQ(right, 1);
}

}  // namespace
