// Whole sessions with a CLI that plays a script: start, both directions, exit, restart.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "agent/agent.hpp"
#include "agent_support.hpp"
#include "proc/proc.hpp"

namespace {

using mbagent::Session;
using mbtest::Possessions;
using mbtest::Rig;
using mbtest::waitUntil;
using Texts = std::vector<std::string>;

constexpr const char* kNotFound =
    "The Claude CLI was not found. Install it (npm install -g @anthropic-ai/claude-code, or the "
    "native installer) or set \"claudeCommand\" in marlin-bench.json to its full path.";

TEST(AgentSession, CommandThatIsNoFileIsNotFound) {
    const mbtest::TempDir folder;
    for (const std::string& command : {std::string(), folder.at("nothing"), folder.path(),
                                       std::string("claude"), std::string("/bin/sh\0x", 9)}) {
        Session session;
        std::string error;
        EXPECT_FALSE(session.start(mbtest::onlyCommand(command), error));
        EXPECT_EQ(error, kNotFound);
        EXPECT_FALSE(session.isRunning());
        EXPECT_EQ(session.processId(), -1);
        EXPECT_EQ(session.lastExitCode(), -1);
    }
}

TEST(AgentSession, ArgumentsArriveWordByWord) {
    Rig rig("out ready");
    rig.options.cwd = rig.folder.mkdir("my project");
    rig.options.model = "opus";
    rig.options.permissionMode = "bypassPermissions";
    rig.options.resume = "5 6";
    rig.options.additionalDirectories = {"/a b", "/c"};
    rig.options.extraArguments = {"--system-prompt", "it's\n\"$HOME\"", ""};
    ASSERT_TRUE(rig.startAndHear("ready"));
    EXPECT_EQ(rig.arguments(),
              "--print\n--input-format\nstream-json\n--output-format\nstream-json\n--verbose\n"
              "--include-partial-messages\n--permission-prompt-tool\nstdio\n"
              "--permission-mode\nbypassPermissions\n--allow-dangerously-skip-permissions\n"
              "--model\nopus\n--resume\n5 6\n--add-dir\n/a b\n--add-dir\n/c\n"
              "--system-prompt\nit's\\n\"$HOME\"\n\n");
}

TEST(AgentSession, ProcessIsTheCliItselfInItsFolderAndLeadsItsGroup) {
    Rig rig("out ${pid} ${cwd}");
    rig.options.cwd = rig.folder.mkdir("inner");
    ASSERT_TRUE(rig.startAndHear("inner"));
    EXPECT_EQ(rig.record.lines(),
              Texts{std::to_string(rig.session.processId()) + " " + rig.options.cwd});
    EXPECT_EQ(::getpgid(rig.session.processId()), rig.session.processId());
}

TEST(AgentSession, StartWritesNothing) {
    Rig rig("await-end\nout end");
    ASSERT_TRUE(rig.start());
    rig.session.stop();
    EXPECT_EQ(rig.record.lines(), Texts{"end"});
    EXPECT_EQ(rig.input(), "");
}

TEST(AgentSession, EverythingSentArrivesToTheByte) {
    Rig rig("expect last\nout heard");
    ASSERT_TRUE(rig.start());
    std::string id;
    EXPECT_TRUE(rig.session.sendUserMessage("say \"hi\"\n\xc3\xa4"));
    EXPECT_TRUE(rig.session.sendUserContent(R"([{"type":"text"}])"));
    EXPECT_TRUE(rig.session.sendControl(R"({"subtype":"initialize"})", id));
    EXPECT_TRUE(rig.session.sendControlResponse(R"({"subtype":"success"})"));
    EXPECT_TRUE(rig.session.writeLine("last"));
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("heard"); }));
    EXPECT_EQ(
        rig.input(),
        "{\"type\":\"user\",\"message\":{\"role\":\"user\",\"content\":"
        "[{\"type\":\"text\",\"text\":\"say \\\"hi\\\"\\n\xc3\xa4\"}]}}\n"
        "{\"type\":\"user\",\"message\":{\"role\":\"user\",\"content\":[{\"type\":\"text\"}]}}\n"
        "{\"type\":\"control_request\",\"request_id\":\"" +
            id +
            "\",\"request\":{\"subtype\":\"initialize\"}}\n"
            "{\"type\":\"control_response\",\"response\":{\"subtype\":\"success\"}}\n"
            "last\n");
}

constexpr const char* kConversation = R"(
out {"type":"system","subtype":"init","session_id":"s1"}
expect "type":"user"
out {"type":"stream_event","event":{"type":"content_block_delta"}}
out {"type":"control_request","request_id":"ask-1","request":{"subtype":"can_use_tool"}}
expect "control_response"
out {"type":"assistant","got":${line}}
expect "subtype":"interrupt"
out {"type":"control_response","response":{"subtype":"success","request_id":"${id}"}}
out {"type":"result","is_error":false,"result":"done"}
)";

TEST(AgentSession, ConversationIsHandedOnUntouched) {
    Rig rig(kConversation);
    ASSERT_TRUE(rig.startAndHear("init"));
    EXPECT_TRUE(rig.session.sendUserMessage("go"));
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("can_use_tool"); }));
    EXPECT_TRUE(rig.session.sendControlResponse(R"({"request_id":"ask-1"})"));
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("assistant"); }));
    EXPECT_TRUE(rig.session.interrupt());
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("result"); }));
    const Texts lines = rig.record.lines();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], R"({"type":"system","subtype":"init","session_id":"s1"})");
    EXPECT_EQ(lines[3], R"({"type":"assistant","got":{"type":"control_response",)"
                        R"("response":{"request_id":"ask-1"}}})");
    EXPECT_EQ(lines[4].find(R"({"type":"control_response","response":{"subtype":"success",)"
                            R"("request_id":"mb-interrupt-)"),
              0U);
    rig.session.stop();
    EXPECT_EQ(rig.record.exits(), Texts{"0"});
    EXPECT_EQ(rig.session.sessionId, "");
}

TEST(AgentSession, LinesAreCutAndErrorsAreNot) {
    Rig rig("raw one\\r\\n\\r\\n\\ntwo\nsleep 20\nraw  words\\nlast\\r\n"
            "err half\nsleep 20\nerr \\xff line\\n\\n\nexit 0");
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_EQ(rig.record.lines(), (Texts{"one", "two words", "last\r"}));
    EXPECT_EQ(rig.record.errors(), "half\xff line\n\n");
}

TEST(AgentSession, LineOf64MiBArrivesWholeAndOnce) {
    constexpr size_t kBytes = size_t{64} << 20;
    Rig rig("big " + std::to_string(kBytes) + "\nout after");
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("after"); }, 60000));
    const Texts lines = rig.record.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].size(), kBytes);
    const std::string begin = R"({"type":"big","pad":")";
    EXPECT_TRUE(lines[0] == begin + std::string(kBytes - begin.size() - 2, 'x') + "\"}");
}

TEST(AgentSession, MessageOfManyMegabytesGoesOutWhole) {
    Rig rig("read\nout heard");
    ASSERT_TRUE(rig.start());
    const std::string text(size_t{8} << 20, 'y');
    EXPECT_TRUE(rig.session.sendUserMessage(text));
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("heard"); }, 60000));
    EXPECT_TRUE(rig.input() ==
                R"({"type":"user","message":{"role":"user","content":[{"type":"text","text":")" +
                    text + "\"}]}}\n");
}

TEST(AgentSession, ExitCodesFollowTheShellsConvention) {
    struct Row {
        const char* script;
        const char* code;
    };
    constexpr Row kRows[] = {{"exit 0", "0"},   {"exit 1", "1"},    {"exit 255", "255"},
                             {"kill 9", "137"}, {"kill 15", "143"}, {"kill 6", "134"}};
    for (const Row& row : kRows) {
        Rig rig(row.script);
        ASSERT_TRUE(rig.start());
        ASSERT_TRUE(rig.waitForExit());
        EXPECT_EQ(rig.record.exits(), Texts{row.code}) << row.script;
        EXPECT_EQ(std::to_string(rig.session.lastExitCode()), row.code);
        EXPECT_FALSE(rig.session.isRunning());
        EXPECT_EQ(rig.session.processId(), -1);
    }
}

TEST(AgentSession, FolderOrFileThatCannotBeUsedShowsInTheExitCode) {
    Rig lost("exit 0");
    lost.options.cwd = "/nowhere/at/all";
    ASSERT_TRUE(lost.start());
    ASSERT_TRUE(lost.waitForExit());
    EXPECT_EQ(lost.record.exits(), Texts{"127"});

    Rig plain("exit 0");
    plain.options.command = plain.folder.write("plain", "no program");
    ASSERT_TRUE(plain.start());
    ASSERT_TRUE(plain.waitForExit());
    EXPECT_EQ(plain.record.exits(), Texts{"126"});
    EXPECT_NE(plain.record.errors().find("plain"), std::string::npos);
}

// As when somebody else has collected the child: the system no longer tells how it ended.
TEST(AgentSession, ChildThatCannotBeCollectedGivesMinusOne) {
    ::signal(SIGCHLD, SIG_IGN);
    Rig rig("exit 3");
    EXPECT_TRUE(rig.start());
    EXPECT_TRUE(rig.waitForExit());
    ::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(rig.record.exits(), Texts{"-1"});
    EXPECT_FALSE(rig.session.isRunning());
}

TEST(AgentSession, LastWordsComeBeforeTheExit) {
    for (int round = 0; round < 15; ++round) {
        Rig rig("repeat 300 out ${n}\nerr bye\nraw unfinished\nkill 9");
        ASSERT_TRUE(rig.start());
        ASSERT_TRUE(rig.waitForExit());
        const auto events = rig.record.events();
        ASSERT_EQ(rig.record.lines().size(), 301U);
        EXPECT_EQ(rig.record.lines().back(), "unfinished");
        EXPECT_EQ(rig.record.errors(), "bye");
        EXPECT_EQ(events.back().kind, "exit");
    }
}

TEST(AgentSession, ExitIsToldAfterItHasStoppedRunning) {
    Rig rig("exit 0");
    std::promise<std::vector<int>> seen;
    rig.session.onExit = [&](int code) {
        seen.set_value({code, rig.session.isRunning(), rig.session.processId(),
                        rig.session.lastExitCode(), rig.session.sendUserMessage("x")});
    };
    std::string error;
    ASSERT_TRUE(rig.session.start(rig.options, error));
    EXPECT_EQ(seen.get_future().get(), (std::vector<int>{0, 0, -1, 0, 0}));
}

TEST(AgentSession, WorksWithoutCallbacks) {
    Rig rig("out line\nerr words\nexit 4");
    std::string error;
    ASSERT_TRUE(rig.session.start(rig.options, error));
    EXPECT_TRUE(waitUntil([&] { return !rig.session.isRunning(); }));
    EXPECT_EQ(rig.session.lastExitCode(), 4);
}

TEST(AgentSession, SameObjectCanBeStartedAgain) {
    Rig rig("out first\nexit 3");
    const Possessions before;
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(rig.start());
        ASSERT_TRUE(
            waitUntil([&] { return rig.record.exits().size() == static_cast<size_t>(round); }));
        EXPECT_EQ(rig.session.lastExitCode(), 3);
    }
    rig.play("out second");
    ASSERT_TRUE(rig.startAndHear("second"));
    EXPECT_TRUE(rig.session.isRunning());
    EXPECT_EQ(rig.session.lastExitCode(), -1);
    rig.session.stop();
    EXPECT_EQ(rig.record.lines(), (Texts{"first", "first", "first", "second"}));
    EXPECT_EQ(rig.record.exits(), (Texts{"3", "3", "3", "0"}));
    before.expectUnchanged();
}

// The threads of the run before keep its callbacks to their end.
TEST(AgentSession, CallbacksSetForARestartDoNotReachTheRunBefore) {
    Rig rig("exit 3");
    mbtest::Record second;
    std::promise<void> release;
    std::atomic<int> firstCode = -1;
    rig.session.onExit = [&](int code) {
        release.get_future().wait();
        firstCode = code;
    };
    std::string error;
    ASSERT_TRUE(rig.session.start(rig.options, error));
    ASSERT_TRUE(waitUntil([&] { return !rig.session.isRunning(); }));
    rig.play("out again\nexit 4");
    second.install(rig.session);
    release.set_value();
    ASSERT_TRUE(rig.session.start(rig.options, error));
    ASSERT_TRUE(waitUntil([&] { return !second.exits().empty(); }));
    EXPECT_EQ(firstCode, 3);
    EXPECT_EQ(second.exits(), Texts{"4"});
}

TEST(AgentSession, StartWhileRunningLeavesTheProcessAlone) {
    Rig rig("out ready");
    ASSERT_TRUE(rig.startAndHear("ready"));
    const int pid = rig.session.processId();
    std::string error;
    EXPECT_TRUE(rig.session.start(mbtest::onlyCommand("/nowhere"), error));
    EXPECT_EQ(rig.session.processId(), pid);
    EXPECT_TRUE(rig.session.isRunning());
}

TEST(AgentSession, SendOnAStoppedSessionIsFalseAndStillNamesItsRequest) {
    Rig rig("out ready");
    ASSERT_TRUE(rig.startAndHear("ready"));
    rig.session.stop();
    std::string id;
    EXPECT_FALSE(rig.session.sendUserMessage("x"));
    EXPECT_FALSE(rig.session.sendUserContent("[]"));
    EXPECT_FALSE(rig.session.sendControl("{}", id));
    EXPECT_FALSE(rig.session.sendControlResponse("{}"));
    EXPECT_FALSE(rig.session.interrupt());
    EXPECT_FALSE(rig.session.writeLine("x"));
    EXPECT_EQ(id.find("mb-control-"), 0U);
    EXPECT_EQ(rig.input(), "");
}

TEST(AgentSession, SendToAChildThatHasClosedItsInputIsFalse) {
    Rig rig("close in\nout closed\nhang");
    ASSERT_TRUE(rig.startAndHear("closed"));
    EXPECT_FALSE(rig.session.sendUserMessage("x"));
    EXPECT_TRUE(rig.session.isRunning());
}

TEST(AgentSession, SendersAtOnceProduceIntactLines) {
    constexpr int kSenders = 4, kLines = 100;
    Rig rig("read\nout go\nawait-end");
    ASSERT_TRUE(rig.start());
    std::vector<std::thread> senders;
    for (int sender = 0; sender < kSenders; ++sender)
        senders.emplace_back([&rig, sender] {
            const char letter = static_cast<char>('a' + sender);
            // Up to twice what a pipe holds, so that many of them go out in pieces.
            for (int i = 1; i <= kLines; ++i)
                EXPECT_TRUE(
                    rig.session.writeLine(std::string(static_cast<size_t>(i) * 1300, letter)));
        });
    for (std::thread& sender : senders) sender.join();
    rig.session.stop();
    std::vector<size_t> next(kSenders, 1);
    std::istringstream input(rig.input());
    int lines = 0;
    for (std::string line; std::getline(input, line); ++lines) {
        ASSERT_FALSE(line.empty());
        const auto sender = static_cast<size_t>(line[0] - 'a');
        ASSERT_LT(sender, next.size());
        ASSERT_TRUE(line == std::string(1300 * next[sender]++, line[0]));
    }
    EXPECT_EQ(lines, kSenders * kLines);
}

TEST(AgentSession, ShortageOfDescriptorsIsToldAndLeaksNothing) {
    Rig rig("exit 0");
    const Possessions before;
    for (rlim_t extra = 0; extra < 8; ++extra) {
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        rlimit old = {};
        ::getrlimit(RLIMIT_NOFILE, &old);
        const rlimit lowered = {static_cast<rlim_t>(next) + extra, old.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
        std::string error;
        const bool started = rig.session.start(rig.options, error);
        ::setrlimit(RLIMIT_NOFILE, &old);
        EXPECT_FALSE(started);
        EXPECT_EQ(error, std::string("Could not start the Claude CLI: ") +
                             (extra < 2 ? "eventfd" : "pipe") + " failed: Too many open files");
        EXPECT_FALSE(rig.session.isRunning());
        before.expectUnchanged();
    }
    ASSERT_TRUE(rig.start());
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
        Session session;
        std::string error;
        if (session.start(mbtest::onlyCommand(command), error)) return 4;
        if (error.find("Could not start the Claude CLI: ") != 0 ||
            error.find("Resource temporarily unavailable") == std::string::npos)
            return 5;
        if (session.isRunning() || session.processId() != -1 || session.lastExitCode() != -1)
            return 6;
    }
    if (mbtest::hasChildren()) return 7;
    return mbtest::openDescriptors() == descriptors ? 1 : 8;
}

TEST(AgentSession, ShortageOfThreadsIsToldAndLeaksNothing) {
    if (::getuid() != 0) GTEST_SKIP() << "only root can become a user without other processes";
    // It has to live on: had it ended, its reader's thread would leave room for the next.
    const mbtest::TempDir folder;
    const std::string command = folder.write("cli", "#!/bin/sh\nexec cat\n");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(command.c_str(), 0755), 0);
    for (rlim_t threads = 0; threads < 3; ++threads)
        EXPECT_EQ(mbtest::inCopy([&] { return startWithThreads(threads, command); }), 1) << threads;
}

}  // namespace
