// How sessions end: the stages of stop(), children that resist, and what must not be left behind.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "agent/agent.hpp"
#include "agent_support.hpp"

namespace {

using mbagent::Session;
using mbtest::Possessions;
using mbtest::Rig;
using mbtest::Stopwatch;
using mbtest::waitUntil;
using Texts = std::vector<std::string>;

TEST(AgentEnd, StopOnAnIdleSessionDoesNothing) {
    const Possessions before;
    Session session;
    session.stop();
    session.stop();
    before.expectUnchanged();
}

TEST(AgentEnd, ChildThatEndsWithItsInputIsWaitedFor) {
    Rig rig("out ready\nawait-end\nsleep 300\nrepeat 20000 out word ${n}\nerr bye\nexit 5");
    ASSERT_TRUE(rig.startAndHear("ready"));
    rig.session.stop();
    EXPECT_EQ(rig.record.exits(), Texts{"5"});
    // More than a pipe holds: the child could not have ended had nobody read on.
    EXPECT_EQ(rig.record.lines().size(), 20001U);
    EXPECT_EQ(rig.record.errors(), "bye");
    EXPECT_EQ(rig.record.events().back().kind, "exit");
    EXPECT_FALSE(rig.session.isRunning());
}

TEST(AgentEnd, ChildThatIgnoresItsInputGetsSigtermAfterOneAndAHalfSeconds) {
    Rig rig("ignore-end\ngrandchild 60000\nout ${grandchild}");
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(waitUntil([&] { return !rig.record.lines().empty(); }));
    const Stopwatch watch;
    rig.session.stop();
    EXPECT_GE(watch.ms(), 1500);
    EXPECT_LT(watch.ms(), 3400);
    EXPECT_EQ(rig.record.exits(), Texts{"143"});
    // The signal went to the group.
    EXPECT_TRUE(waitUntil([&] { return mbtest::gone(rig.record.lines()[0]); }));
}

TEST(AgentEnd, ChildThatIgnoresSigtermIsKilledTwoSecondsLater) {
    Rig rig("ignore-end\nignore-term\ngrandchild 60000 stubborn\nout ${grandchild}");
    const Possessions before;
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(waitUntil([&] { return !rig.record.lines().empty(); }));
    const Stopwatch watch;
    rig.session.stop();
    EXPECT_GE(watch.ms(), 3500);
    EXPECT_LT(watch.ms(), 6000);
    EXPECT_EQ(rig.record.exits(), Texts{"137"});
    EXPECT_TRUE(waitUntil([&] { return mbtest::gone(rig.record.lines()[0]); }));
    before.expectUnchanged();
}

TEST(AgentEnd, NothingIsLeftAfterAnyEnding) {
    struct Row {
        const char* script;
        bool endsByItself;
    };
    constexpr Row kRows[] = {{"exit 0", true},
                             {"kill 9", true},
                             {"kill 11", true},
                             {"out a\nraw b\nkill 15", true},
                             {"close out\nclose err\nexit 1", true},
                             {"out ready", false},
                             {"close out\nclose err", false},
                             {"close in\nawait-end", false}};
    for (const Row& row : kRows) {
        const Possessions before;
        {
            Rig rig(row.script);
            ASSERT_TRUE(rig.start());
            EXPECT_TRUE(!row.endsByItself || rig.waitForExit()) << row.script;
        }
        before.expectUnchanged();
    }
}

TEST(AgentEnd, DestructionEndsTheChild) {
    const Possessions before;
    int pid = -1;
    {
        Rig rig("out ready");
        ASSERT_TRUE(rig.startAndHear("ready"));
        pid = rig.session.processId();
    }
    EXPECT_TRUE(mbtest::gone(std::to_string(pid)));
    before.expectUnchanged();
}

TEST(AgentEnd, TwoThreadsMayStopAtOnce) {
    for (int round = 0; round < 10; ++round) {
        const Possessions before;
        Rig rig("out ready\nawait-end\nsleep 20\nexit 6");
        ASSERT_TRUE(rig.startAndHear("ready"));
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                rig.session.stop();
                // Whoever comes second does not come back before the child is gone.
                EXPECT_EQ(rig.record.exits(), Texts{"6"});
                EXPECT_EQ(rig.session.processId(), -1);
            });
        for (std::thread& thread : threads) thread.join();
        before.expectUnchanged();
    }
}

TEST(AgentEnd, StartWaitsForAStopAndThenStarts) {
    Rig rig("out ready\nawait-end\nsleep 200\nexit 6");
    ASSERT_TRUE(rig.startAndHear("ready"));
    std::thread stopper([&] { rig.session.stop(); });
    ASSERT_TRUE(waitUntil([&] { return !rig.session.isRunning(); }));
    std::string error;
    EXPECT_TRUE(rig.session.start(rig.options, error));
    EXPECT_EQ(rig.record.exits(), Texts{"6"});
    EXPECT_TRUE(rig.session.isRunning());
    stopper.join();
}

// Whatever a process that the CLI has left behind does with the pipes.
class AgentEndWithGrandchild : public ::testing::TestWithParam<const char*> {
protected:
    Rig rig{std::string("grandchild 20000 away") + GetParam() +
            "\nnote GRANDCHILD ${grandchild}\nout last words\nexit 3"};

    void SetUp() override {
        rig.options.cwd = rig.folder.path();
        ASSERT_TRUE(rig.start());
    }
    void TearDown() override {
        const std::string pid = mbtest::slurp(rig.folder.at("GRANDCHILD"));
        ASSERT_FALSE(pid.empty());
        EXPECT_EQ(::kill(std::stoi(pid), 0), 0) << "it was to outlive the session";
        ::kill(std::stoi(pid), SIGKILL);
    }
};

TEST_P(AgentEndWithGrandchild, ExitIsToldWithTheLastWordsBeforeIt) {
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_TRUE(rig.record.heard("last words"));
    EXPECT_EQ(rig.record.exits(), Texts{"3"});
}

TEST_P(AgentEndWithGrandchild, StopAndRestartAreNotHeld) {
    ASSERT_TRUE(rig.waitForExit());
    const Stopwatch watch;
    rig.session.stop();
    rig.play("out second");
    ASSERT_TRUE(rig.startAndHear("second"));
    EXPECT_LT(watch.ms(), 5000);
    rig.session.stop();
    EXPECT_EQ(rig.record.exits(), (Texts{"3", "0"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, AgentEndWithGrandchild, ::testing::Values("", " chatty"),
                         [](const auto& row) { return *row.param ? "Chatty" : "Silent"; });

// A line that is longer than a pipe holds, sent until somebody ends it.
struct BlockedSend {
    explicit BlockedSend(Session& session)
        : result(std::async(std::launch::async, [&session] {
              return session.writeLine(std::string(size_t{4} << 20, 'z'));
          })) {}
    bool waits() {
        return result.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    }
    std::future<bool> result;
};

TEST(AgentEnd, StopFreesSendersToAChildThatDoesNotRead) {
    Rig rig("out deaf\nhang");
    ASSERT_TRUE(rig.startAndHear("deaf"));
    BlockedSend first(rig.session), second(rig.session);
    ASSERT_TRUE(first.waits() && second.waits());
    const Stopwatch watch;
    std::thread stopper([&] { rig.session.stop(); });
    EXPECT_FALSE(first.result.get());
    EXPECT_FALSE(second.result.get());
    EXPECT_LT(watch.ms(), 1400) << "freed by the stop, not by the child's end";
    stopper.join();
    EXPECT_EQ(rig.record.exits(), Texts{"143"});
}

TEST(AgentEnd, ExitFreesASenderWhosePipeSomebodyElseKeepsOpen) {
    Rig rig("grandchild 20000 away\nout ${grandchild}\nawait go\nexit 0");
    rig.options.cwd = rig.folder.path();
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(waitUntil([&] { return !rig.record.lines().empty(); }));
    BlockedSend send(rig.session);
    ASSERT_TRUE(send.waits());
    const Stopwatch watch;
    rig.folder.write("go", "");
    EXPECT_FALSE(send.result.get());
    EXPECT_LT(watch.ms(), 10000) << "freed by the exit, not by the other's end";
    EXPECT_EQ(::kill(std::stoi(rig.record.lines()[0]), SIGKILL), 0);
}

TEST(AgentEnd, SlowCallbackDelaysTheExitByAThirdOfASecondAtMost) {
    Rig rig("out line\nexit 2");
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    std::atomic<int> code = -1;
    std::atomic<bool> delivered = false;
    rig.session.onLine = [&](const std::string&) {
        released.wait();
        delivered = true;
    };
    rig.session.onExit = [&](int exitCode) { code = exitCode; };
    std::string error;
    ASSERT_TRUE(rig.session.start(rig.options, error));
    EXPECT_TRUE(waitUntil([&] { return code == 2; }));
    EXPECT_FALSE(delivered);
    release.set_value();
    rig.session.stop();  // waits for the callback
    EXPECT_TRUE(delivered);
}

}  // namespace
