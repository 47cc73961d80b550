// What the program in a terminal finds: size, variables, folder, signals, descriptors.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "term/pty.hpp"
#include "term/term_support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::NothingLeft;
using mbtest::optionsFor;
using mbtest::outputOf;
using mbtest::Pane;
using mbtest::ScopedEnv;
using mbtest::TempDir;

TEST(TermSpawn, SizeIsTwoAtLeastAndFitsTheKernelsBits) {
    const struct {
        int32_t cols, rows;
        std::string printed;  // rows first
    } cases[] = {
        {120, 30, "30 120\n"},           {1, 1, "2 2\n"}, {-7, 0, "2 2\n"}, {2, 3, "3 2\n"},
        {70000, 65536, "65535 65535\n"},
    };
    for (const auto& [cols, rows, printed] : cases) {
        mbterm::SpawnOptions options = optionsFor("stty size");
        options.cols = cols;
        options.rows = rows;
        EXPECT_EQ(outputOf(options), printed);
    }
}

TEST(TermSpawn, SizeIs120By30UnlessToldOtherwise) { EXPECT_EQ(outputOf("stty size"), "30 120\n"); }

TEST(TermSpawn, ResizeReachesTheProgram) {
    Pane pane("sh -c 'stty -echo; echo ready; while read line; do echo \"[$(stty size)]\"; done'");
    ASSERT_TRUE(pane.transcript.waitForText("ready"));
    const struct {
        int32_t cols, rows;
        std::string printed;
    } cases[] = {{100, 40, "[40 100]"}, {1, -3, "[2 2]"}, {99999, 7, "[7 65535]"}};
    for (const auto& [cols, rows, printed] : cases) {
        pane.terminal.resize(cols, rows);
        pane.terminal.write("\n");
        EXPECT_TRUE(pane.transcript.waitForText(printed)) << pane.transcript.text();
    }
}

TEST(TermSpawn, ResizeIsToldToTheProgramBySignal) {
    Pane pane("sh -c 'trap \"echo changed\" WINCH; echo ready; while :; do sleep 0.02; done'");
    ASSERT_TRUE(pane.transcript.waitForText("ready"));
    pane.terminal.resize(90, 20);
    EXPECT_TRUE(pane.transcript.waitForText("changed"));
}

TEST(TermSpawn, EnvironmentIsInheritedThenTheKindOfTerminalThenWhatWasAdded) {
    const std::vector<std::string> entries = mbterm::terminalEnvironment(
        {"A=1", "TERM=dumb", "TERM_PROGRAM=other", "COLORTERM=no", "B=2", "TERMINAL=x"},
        {{"B", "3"}, {"Z", "a b=c"}});
    EXPECT_EQ(entries, (std::vector<std::string>{"A=1", "TERM_PROGRAM=other", "TERMINAL=x",
                                                 "TERM=xterm-256color", "COLORTERM=truecolor",
                                                 "TERM_PROGRAM=MarlinBench", "B=3", "Z=a b=c"}));
}

// The shell's own environment as it was handed over; what it exports has its own order.
TEST(TermSpawn, ProgramGetsThisEnvironment) {
    const ScopedEnv scope({{"TERM", "dumb"},
                           {"TERM_PROGRAM", "other"},
                           {"MB_OURS", "1"},
                           {"MB_OLD", "old"},
                           {"COLORTERM", std::nullopt},
                           {"APPDIR", "/mnt/app"},
                           {"MB_LIST", "/mnt/app/lib:/usr/lib"}});
    mbterm::SpawnOptions options =
        optionsFor("printf '%s\\n' \"$(tr '\\0' '\\n' < /proc/$$/environ)\"");
    options.env = {{"MB_OLD", "new"}, {"MB_ADDED", "x"}};
    const std::string all = outputOf(options);
    EXPECT_TRUE(mbutil::endsWith(all, "\nTERM=xterm-256color\nCOLORTERM=truecolor\n"
                                      "TERM_PROGRAM=MarlinBench\nMB_ADDED=x\nMB_OLD=new\n"))
        << all;
    EXPECT_EQ(all.find("MB_OLD=old"), std::string::npos);
    EXPECT_EQ(all.find("TERM=dumb"), std::string::npos);
    EXPECT_NE(all.find("MB_OURS=1\n"), std::string::npos);
    EXPECT_NE(all.find("MB_LIST=/usr/lib\n"), std::string::npos);
    EXPECT_LT(all.find("TERM_PROGRAM=other\n"), all.find("TERM_PROGRAM=MarlinBench\n"));
}

TEST(TermSpawn, CommandLineMayHoldSeveralWordsAndQuotes) {
    EXPECT_EQ(outputOf("printf '%s|' \"a b\" 'c'\"'\"d $((1 + 2))"), "a b|c'd|3|");
}

bool becomes(const Pane& pane, const std::string& program) {
    const std::string name = "/proc/" + std::to_string(pane.terminal.processId()) + "/comm";
    return mbtest::waitUntil([&] { return mbtest::slurp(name) == program + "\n"; });
}

TEST(TermSpawn, ProgramTakesThePlaceOfTheShell) {
    const Pane pane("sleep 20");
    EXPECT_TRUE(becomes(pane, "sleep"));
    EXPECT_EQ(pane.terminal.commandLine(), "sleep 20");
}

TEST(TermSpawn, ProgramLeadsASessionWhoseTerminalThisIs) {
    Pane pane("sh -c 'tty; echo $$ > /dev/tty; read line'");
    const int32_t pid = pane.terminal.processId();
    ASSERT_TRUE(pane.transcript.waitForText(std::to_string(pid) + "\r\n"));
    EXPECT_EQ(::getsid(pid), pid);
    EXPECT_EQ(::getpgid(pid), pid);
    EXPECT_TRUE(mbutil::startsWith(pane.transcript.text(), "/dev/pts/"));
}

TEST(TermSpawn, ControlCEndsTheForegroundProgram) {
    Pane pane("sleep 300");
    ASSERT_TRUE(becomes(pane, "sleep"));
    pane.terminal.write("\x03");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.codes(), std::vector<int32_t>{128 + SIGINT});
}

std::string folderIn(const std::string& cwd) {
    mbterm::SpawnOptions options = optionsFor("pwd -P");
    options.cwd = cwd;
    return outputOf(options);
}

TEST(TermSpawn, FolderIsEnteredElseHomeElseTmp) {
    const TempDir folder;
    const std::string home = folder.mkdir("home dir");
    const std::string real = std::filesystem::canonical(folder.path()).string();
    {
        const ScopedEnv scope({{"HOME", home}});
        EXPECT_EQ(folderIn(folder.path()), real + "\n");
        EXPECT_EQ(folderIn(folder.at("gone")), real + "/home dir\n");
        EXPECT_EQ(folderIn(folder.write("file", "")), real + "/home dir\n");
    }
    for (const std::optional<std::string>& unset : {std::optional<std::string>(""), {}}) {
        const ScopedEnv scope({{"HOME", unset}});
        EXPECT_EQ(folderIn(folder.at("gone")), "/tmp\n");
    }
}

TEST(TermSpawn, EmptyFolderKeepsOurs) {
    EXPECT_EQ(folderIn(""), std::filesystem::current_path().string() + "\n");
}

TEST(TermSpawn, NoSignalIsIgnoredOrBlocked) {
    sigset_t wanted, before;
    ::sigemptyset(&wanted);
    ::sigaddset(&wanted, SIGTERM);
    struct sigaction ignore = {}, hangUp = {};
    ignore.sa_handler = SIG_IGN;
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &wanted, &before), 0);
    ASSERT_EQ(::sigaction(SIGHUP, &ignore, &hangUp), 0);
    const std::string fields = outputOf("grep -E '^Sig(Blk|Ign):' /proc/self/status");
    ASSERT_EQ(::sigaction(SIGHUP, &hangUp, nullptr), 0);
    ASSERT_EQ(::pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
    EXPECT_EQ(fields, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST(TermSpawn, ProgramGetsThreeDescriptors) {
    EXPECT_EQ(outputOf("sh -c 'ls -1 /proc/$$/fd; :'"), "0\n1\n2\n");
}

// A child that another thread starts at the wrong moment would keep the terminal open for ever.
TEST(TermSpawn, OtherChildrenNeverGetTheMaster) {
    const NothingLeft nothing;
    std::atomic<bool> stop = false;
    std::thread creator([&] {
        while (!stop) (void)outputOf("true");
    });
    for (int i = 0; i < 40; ++i) {
        const std::string open = mbtest::runFor("ls -l /proc/$$/fd").out;
        EXPECT_EQ(open.find("ptmx"), std::string::npos) << open;
        EXPECT_EQ(open.find("/pts/"), std::string::npos) << open;
    }
    stop = true;
    creator.join();
}

TEST(TermSpawn, WorksWhateverStandardStreamsAreClosed) {
    for (int closed = 1; closed < 8; ++closed) {
        const int right = mbtest::inCopy([closed] {
            for (int stream = 0; stream < 3; ++stream)
                if (closed & (1 << stream)) ::close(stream);
            return outputOf("sh -c 'echo out; echo err >&2; ls -1 /proc/$$/fd; :'") ==
                   "out\nerr\n0\n1\n2\n";
        });
        EXPECT_EQ(right, 1) << "closed streams " << closed;
    }
}

// With nothing else opened before, both ends get the numbers of the streams.
TEST(TermSpawn, EndsOfTheTerminalDoNotCollideWithTheStreams) {
    const int right = mbtest::inCopy([] {
        for (int stream = 0; stream < 3; ++stream) ::close(stream);
        mbutil::Fd master;
        int32_t pid = -1;
        std::string error, printed;
        if (!mbterm::spawnInPty(optionsFor("sh -c 'echo out; echo err >&2'"), master, pid, error))
            return 2;
        bool reaped = false;
        if (mbproc::waitFor(pid, 20000, reaped) != 0) return 3;
        char buffer[100];
        for (ssize_t got = 0; (got = ::read(master.value, buffer, sizeof buffer)) > 0;)
            printed.append(buffer, static_cast<size_t>(got));
        return printed == "out\r\nerr\r\n" ? 1 : 0;
    });
    EXPECT_EQ(right, 1);
}

TEST(TermSpawn, UnknownProgramEndsWithTheShellsWordsAndCode) {
    Pane pane("no-such-program-of-ours");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.codes(), std::vector<int32_t>{127});
    EXPECT_NE(pane.transcript.text().find("not found"), std::string::npos);
}

// Room for only `extra` more descriptors, while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t extra) {
        const mbutil::Fd next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
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

TEST(TermSpawn, ShortageOfDescriptorsIsToldAndLeaksNothing) {
    const NothingLeft nothing;
    for (rlim_t extra = 0; extra < 4; ++extra) {
        mbterm::Manager manager;
        std::string error, id = "none";
        {
            const DescriptorLimit limit(extra);
            id = manager.create(optionsFor("true"), nullptr, nullptr, error);
        }
        EXPECT_EQ(id, "");
        EXPECT_EQ(error, "could not create a terminal: Too many open files");
        EXPECT_TRUE(manager.list().empty());
    }
}

// As another user, whose processes and threads are limited to so many.
int createWithProcesses(rlim_t most) {
    const rlimit limit = {most, most};
    if (::setrlimit(RLIMIT_NPROC, &limit) != 0) return 2;
    if (::getuid() == 0 && ::setuid(65534) != 0) return 3;  // root has no such limit
    const int before = mbtest::openDescriptors();
    std::atomic<int> exits = 0;
    std::string error;
    {
        mbterm::Manager manager;
        const std::string id = manager.create(
            optionsFor("sleep 300"), nullptr, [&](const std::string&, int32_t) { ++exits; }, error);
        if (!id.empty()) return 4;
    }
    if (error != "could not create a terminal: Resource temporarily unavailable") return 5;
    if (mbtest::hasChildren() || exits != 0) return 6;
    return mbtest::openDescriptors() == before ? 1 : 7;
}

// None for the child; none for the reader; none for the waiter.
TEST(TermSpawn, ShortageOfProcessesAndThreadsIsToldAndLeaksNothing) {
    for (rlim_t most = 1; most <= 3; ++most)
        EXPECT_EQ(mbtest::inCopy([most] { return createWithProcesses(most); }), 1) << most;
}

}  // namespace
