// One server's process: messages both ways, its log, its death.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "lsp/lsp.hpp"
#include "lsp_support.hpp"

namespace {

using mblsp::Server;
using mbtest::fakeServer;
using mbtest::Possessions;
using mbtest::Rig;
using mbtest::Texts;
using mbtest::waitUntil;

TEST(LspServer, RequestIsAnswered) {
    Rig rig;
    ASSERT_TRUE(rig.start({"serve"}));
    EXPECT_TRUE(rig.server.isRunning());
    EXPECT_GT(rig.server.processId(), 0);
    EXPECT_TRUE(rig.server.send(R"({"id":1,"method":"ask","params":["\u00e9",2]})"));
    ASSERT_TRUE(rig.waitForMessages(1));
    EXPECT_EQ(
        rig.record.messages()[0],
        "{\"id\":1,\"jsonrpc\":\"2.0\",\"result\":{\"method\":\"ask\",\"params\":[\"é\",2]}}");
}

TEST(LspServer, WorksInTheFolderGiven) {
    Rig rig;
    ASSERT_TRUE(rig.start({"note cwd ${cwd}"}));
    EXPECT_EQ(rig.noted("cwd"), rig.folder.path());
}

TEST(LspServer, TakesThePlaceOfItsShell) {
    Rig rig;
    ASSERT_TRUE(rig.start({"note pid ${pid}", "drain"}));
    EXPECT_EQ(rig.noted("pid"), std::to_string(rig.server.processId()));
}

TEST(LspServer, BodiesArriveAsTheyWereSent) {
    Rig rig;
    ASSERT_TRUE(rig.start({"echo"}));
    const Texts bodies = {"{}",
                          "",
                          std::string("\0\xff\r\n\r\n", 6),
                          "Content-Length: 3\r\n\r\nabc",
                          std::string(200000, 'x'),
                          "last"};
    for (const std::string& body : bodies) EXPECT_TRUE(rig.server.send(body));
    ASSERT_TRUE(rig.waitForMessages(bodies.size()));
    EXPECT_EQ(rig.record.messages(), bodies);
}

TEST(LspServer, MessageOfThirtyTwoMebibytesGoesBothWays) {
    Rig rig;
    ASSERT_TRUE(rig.start({"echo"}));
    std::string body(size_t{32} << 20, '\0');
    for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 7);
    EXPECT_TRUE(rig.server.send(body));
    ASSERT_TRUE(rig.waitForMessages(1));
    EXPECT_TRUE(rig.record.messages()[0] == body);
}

TEST(LspServer, OddOutputGivesItsMessagesInOrder) {
    Rig rig;
    ASSERT_TRUE(rig.start({"raw starting up\\nX: 1\\r\\n\\r\\nContent-LENGTH: 3\\r\\n\\r\\none"
                           "content-length:0\\r\\n\\r\\nContent-Length: 4\\r\\n\\r\\n",
                           "raw tw", "raw o!Content-Length: 1\\r\\n\\r", "raw \\n3", "drain"}));
    ASSERT_TRUE(rig.waitForMessages(4));
    EXPECT_EQ(rig.record.messages(), (Texts{"one", "", "two!", "3"}));
}

TEST(LspServer, DeathIsToldOnceWithItsCode) {
    const struct {
        const char* command;
        const char* code;
    } rows[] = {{"exit 0", "0"}, {"exit 5", "5"}, {"kill 9", "137"}, {"kill 15", "143"}};
    for (const auto& [command, code] : rows) {
        const Possessions before;
        {
            Rig rig;
            ASSERT_TRUE(rig.start({"send last words", command}));
            ASSERT_TRUE(rig.waitForExit());
            EXPECT_FALSE(rig.server.isRunning());
            EXPECT_EQ(rig.server.processId(), -1);
            EXPECT_FALSE(rig.server.send("{}"));
            rig.server.stop();
            EXPECT_EQ(rig.record.exits(), Texts{code}) << command;
            // What it said comes before its exit.
            EXPECT_EQ(rig.record.events().front().text, "last words");
        }
        before.expectUnchanged();
    }
}

TEST(LspServer, DeathInTheMiddleOfAMessageDropsTheRest) {
    Rig rig;
    ASSERT_TRUE(rig.start({"send whole", "raw Content-Length: 10\\r\\n\\r\\nhalf", "exit 1"}));
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_EQ(rig.record.messages(), Texts{"whole"});
}

TEST(LspServer, ManyMessagesBeforeTheDeathAllArrive) {
    Rig rig;
    ASSERT_TRUE(rig.start({"flood 1000 3000", "exit 3"}));
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_EQ(rig.record.messages().size(), 3000U);
    EXPECT_EQ(rig.record.events().back().kind, "exit");
}

TEST(LspServer, ProgramThatDoesNotExistDiesWithTheShellsCode) {
    Rig rig;
    ASSERT_TRUE(rig.startLine("marlin-no-such-program"));
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_EQ(rig.record.exits(), Texts{"127"});
    EXPECT_NE(rig.server.recentLog().find("not found"), std::string::npos);
}

TEST(LspServer, FolderThatDoesNotExistIsADeath) {
    mbtest::Record record;
    Server server;
    std::string error;
    ASSERT_TRUE(server.start(
        fakeServer({"serve"}), "/no/such/folder", {},
        [&](int code) {
            record.add({"exit", std::to_string(code)});
        },
        error));
    ASSERT_TRUE(waitUntil([&] { return !record.exits().empty(); }));
    EXPECT_EQ(record.exits(), Texts{"127"});
}

TEST(LspServer, HandlersMayBeEmpty) {
    Server server;
    std::string error;
    ASSERT_TRUE(server.start(fakeServer({"send ignored", "exit 1"}), "", {}, {}, error));
    EXPECT_TRUE(waitUntil([&] { return !server.isRunning(); }));
}

TEST(LspServer, BeforeItsStartItDoesNothing) {
    const Possessions before;
    Server server;
    EXPECT_FALSE(server.isRunning());
    EXPECT_EQ(server.processId(), -1);
    EXPECT_FALSE(server.send("{}"));
    EXPECT_EQ(server.recentLog(), "");
    server.stop();
    before.expectUnchanged();
}

TEST(LspServer, ShortageOfDescriptorsIsToldAndLeaksNothing) {
    const Possessions before;
    for (rlim_t extra = 0; extra < 8; ++extra) {
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        rlimit old = {};
        ::getrlimit(RLIMIT_NOFILE, &old);
        const rlimit lowered = {static_cast<rlim_t>(next) + extra, old.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
        Server server;
        std::string error;
        const bool started = server.start(fakeServer({"serve"}), "", {}, {}, error);
        ::setrlimit(RLIMIT_NOFILE, &old);
        EXPECT_FALSE(started);
        EXPECT_EQ(error, std::string("could not start the language server: ") +
                             (extra < 2 ? "eventfd" : "pipe") + " failed: Too many open files");
        EXPECT_FALSE(server.isRunning());
        before.expectUnchanged();
    }
}

// With room for a child and so many threads. 1: refused in the right words, with nothing left.
int startWithThreads(rlim_t threads, const std::string& command) {
    // A user without other processes, also when several of these tests run at once.
    const auto nobodyElses = static_cast<uid_t>(100000 + ::getpid());
    if (::setuid(nobodyElses) != 0) return 2;
    const rlimit room = {2 + threads, 2 + threads};
    if (::setrlimit(RLIMIT_NPROC, &room) != 0) return 3;
    const int descriptors = mbtest::openDescriptors();
    {
        Server server;
        std::string error;
        if (server.start(command, "", {}, {}, error)) return 4;
        if (!error.starts_with("could not start the language server: ") ||
            error.find("Resource temporarily unavailable") == std::string::npos)
            return 5;
        if (server.isRunning() || server.processId() != -1) return 6;
    }
    if (mbtest::openDescriptors() != descriptors) return 7;
    return mbtest::hasChildren() ? 8 : 1;
}

TEST(LspServer, ShortageOfThreadsIsToldAndLeavesNoChild) {
    if (::getuid() != 0) GTEST_SKIP() << "only root can become a user without other processes";
    // It has to live on: had it ended, its reader's thread would leave room for the next.
    for (rlim_t threads = 0; threads < 3; ++threads)
        EXPECT_EQ(mbtest::inCopy([&] { return startWithThreads(threads, "cat"); }), 1) << threads;
}

TEST(LspServer, LogKeepsTheLastOfStandardError) {
    Rig rig;
    ASSERT_TRUE(rig.start({"err first ", "noise 100000", "err the end", "send done", "drain"}));
    ASSERT_TRUE(waitUntil([&] { return rig.server.recentLog().ends_with("the end"); }));
    const std::string log = rig.server.recentLog();
    EXPECT_EQ(log.size(), 2000U);
    EXPECT_EQ(log.find("first"), std::string::npos);
}

TEST(LspServer, ShortLogIsThereWhole) {
    for (const size_t bytes : {1UL, 1999UL, 2000UL, 2001UL}) {
        Rig rig;
        ASSERT_TRUE(rig.start({"noise " + std::to_string(bytes), "exit 0"}));
        ASSERT_TRUE(rig.waitForExit());
        EXPECT_EQ(rig.server.recentLog().size(), std::min(bytes, 2000UL));
        EXPECT_EQ(rig.server.recentLog()[0], bytes > 2000 ? '\n' : '0');
    }
}

TEST(LspServer, ServerThatIsNotReadAloudDoesNotStopReading) {
    // More on standard error than a pipe holds, between two messages.
    Rig rig;
    ASSERT_TRUE(rig.start({"send one", "noise 1000000", "send two", "drain"}));
    ASSERT_TRUE(rig.waitForMessages(2));
}

TEST(LspServer, FramesOfSeveralSendersDoNotMix) {
    Rig rig;
    ASSERT_TRUE(rig.start({"echo"}));
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter)
        threads.emplace_back([&rig, letter] {
            for (size_t i = 0; i < 20; ++i)
                EXPECT_TRUE(rig.server.send(std::string(1 + i * 9973, letter)));
        });
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(rig.waitForMessages(80));
    std::vector<size_t> next(4, 0);
    for (const std::string& message : rig.record.messages()) {
        size_t& i = next[static_cast<size_t>(message[0] - 'a')];
        EXPECT_EQ(message, std::string(1 + i++ * 9973, message[0]));
    }
}

}  // namespace
