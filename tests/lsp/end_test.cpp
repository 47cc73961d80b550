// How servers end: the stages of stop(), processes that resist, and what must not be left behind.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "lsp/lsp.hpp"
#include "lsp_support.hpp"

namespace {

using mblsp::Server;
using mbtest::gone;
using mbtest::Possessions;
using mbtest::Rig;
using mbtest::Stopwatch;
using mbtest::Texts;
using mbtest::waitUntil;

TEST(LspEnd, StopTellsNoExit) {
    const Possessions before;
    Rig rig;
    ASSERT_TRUE(rig.start({"send ready", "drain"}));
    ASSERT_TRUE(rig.waitForMessages(1));
    const Stopwatch watch;
    rig.server.stop();
    EXPECT_LT(watch.ms(), 900) << "the end is awaited, not a time";
    EXPECT_FALSE(rig.server.isRunning());
    EXPECT_EQ(rig.server.processId(), -1);
    EXPECT_EQ(rig.record.exits(), Texts{});
    EXPECT_FALSE(rig.server.send("{}"));
    rig.server.stop();
    before.expectUnchanged();
}

TEST(LspEnd, EndOfInputIsEnough) {
    // The signal is ignored, so only the closed input can have ended it.
    Rig rig;
    ASSERT_TRUE(rig.start({"ignore-term", "send ready", "drain", "send seen", "exit 0"}));
    ASSERT_TRUE(rig.waitForMessages(1));
    const Stopwatch watch;
    rig.server.stop();
    EXPECT_LT(watch.ms(), 900);
    EXPECT_EQ(rig.record.messages(), (Texts{"ready", "seen"}));
}

TEST(LspEnd, SigtermComesAtOnce) {
    // It reads nothing, so only the signal can have ended it.
    Rig rig;
    ASSERT_TRUE(rig.start({"child 60000", "note child ${child}", "hang"}));
    const std::string child = rig.noted("child");
    const Stopwatch watch;
    rig.server.stop();
    EXPECT_LT(watch.ms(), 900);
    // The signal went to the group.
    EXPECT_TRUE(waitUntil([&] { return gone(child); }));
}

TEST(LspEnd, LastWordsAfterTheSignalAreDelivered) {
    Rig rig;
    ASSERT_TRUE(rig.start({"slow-term 300", "send ready", "hang"}));
    ASSERT_TRUE(rig.waitForMessages(1));
    const Stopwatch watch;
    // Not stop(): on a busy machine its second may be over before the server has its turn.
    rig.server.hangUp();
    rig.server.awaitEnd(std::chrono::steady_clock::now() + std::chrono::seconds(20));
    EXPECT_GE(watch.ms(), 300);
    EXPECT_EQ(rig.record.messages(), (Texts{"ready", "bye"}));
    EXPECT_EQ(rig.record.exits(), Texts{});
}

TEST(LspEnd, ServerThatResistsIsKilledASecondLater) {
    const Possessions before;
    Rig rig;
    ASSERT_TRUE(rig.start({"ignore-term", "child 60000 stubborn", "note child ${child}", "hang"}));
    const std::string child = rig.noted("child");
    const Stopwatch watch;
    rig.server.stop();
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 2500);
    EXPECT_TRUE(waitUntil([&] { return gone(child); }));
    EXPECT_EQ(rig.record.exits(), Texts{});
    before.expectUnchanged();
}

TEST(LspEnd, NothingIsLeftAfterAnyEnding) {
    const struct {
        Texts commands;
        bool endsByItself;
    } rows[] = {{{"exit 0"}, true},
                {{"kill 9"}, true},
                {{"kill 11"}, true},
                {{"send a", "raw Content-Le", "kill 15"}, true},
                {{"close out", "close err", "exit 1"}, true},
                {{"no-such-command"}, true},
                {{"serve"}, false},
                {{"close out", "close err", "drain"}, false},
                {{"close in", "hang"}, false},
                {{"flood 100000 100000"}, false}};
    for (const auto& [commands, endsByItself] : rows) {
        const Possessions before;
        {
            Rig rig;
            ASSERT_TRUE(rig.start(commands));
            EXPECT_TRUE(!endsByItself || rig.waitForExit()) << commands[0];
        }
        before.expectUnchanged();
    }
}

TEST(LspEnd, DestructionEndsTheProcess) {
    std::string pid;
    {
        Rig rig;
        ASSERT_TRUE(rig.start({"send ready", "hang"}));
        ASSERT_TRUE(rig.waitForMessages(1));
        pid = std::to_string(rig.server.processId());
    }
    EXPECT_TRUE(gone(pid));
}

TEST(LspEnd, TwoThreadsMayStopAtOnce) {
    for (int round = 0; round < 10; ++round) {
        const Possessions before;
        Rig rig;
        ASSERT_TRUE(rig.start({"slow-term 20", "send ready", "hang"}));
        ASSERT_TRUE(rig.waitForMessages(1));
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                rig.server.stop();
                // Whoever comes second does not come back before the process is gone.
                EXPECT_EQ(rig.server.processId(), -1);
                EXPECT_EQ(rig.record.messages(), (Texts{"ready", "bye"}));
            });
        for (std::thread& thread : threads) thread.join();
        before.expectUnchanged();
    }
}

// Whatever a process that the server has left behind in a group of its own does with the pipes.
class LspEndWithStranger : public ::testing::TestWithParam<const char*> {
protected:
    Rig rig;
    std::string stranger;

    void startThen(const char* command) {
        ASSERT_TRUE(rig.start({std::string("child 30000 away") + GetParam(),
                               "note stranger ${child}", "send last words", command}));
        stranger = rig.noted("stranger");
    }
    void TearDown() override {
        ASSERT_FALSE(stranger.empty());
        EXPECT_EQ(::kill(std::stoi(stranger), 0), 0) << "it was to outlive the server";
        ::kill(std::stoi(stranger), SIGKILL);
    }
};

TEST_P(LspEndWithStranger, DoesNotHoldTheNewsOfADeath) {
    startThen("exit 3");
    const Stopwatch watch;
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_TRUE(rig.record.heard("last words"));
    EXPECT_EQ(rig.record.exits(), Texts{"3"});
    rig.server.stop();
    EXPECT_LT(watch.ms(), 5000);
}

TEST_P(LspEndWithStranger, DoesNotHoldAStop) {
    startThen("hang");
    ASSERT_TRUE(waitUntil([&] { return rig.record.heard("last words"); }));
    const Stopwatch watch;
    rig.server.stop();
    EXPECT_LT(watch.ms(), 5000);
    EXPECT_EQ(rig.record.exits(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(Kinds, LspEndWithStranger, ::testing::Values("", " chatty"),
                         [](const auto& row) { return *row.param ? "Chatty" : "Silent"; });

// A message that is longer than a pipe holds, sent until somebody ends it.
struct BlockedSend {
    explicit BlockedSend(Server& server)
        : result(std::async(std::launch::async,
                            [&server] { return server.send(std::string(size_t{4} << 20, 'z')); })) {
    }
    bool waits() {
        return result.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    }
    std::future<bool> result;
};

TEST(LspEnd, StopFreesSendersToAServerThatDoesNotRead) {
    Rig rig;
    ASSERT_TRUE(rig.start({"ignore-term", "send deaf", "hang"}));
    ASSERT_TRUE(rig.waitForMessages(1));
    BlockedSend first(rig.server), second(rig.server);
    ASSERT_TRUE(first.waits() && second.waits());
    const Stopwatch watch;
    std::thread stopper([&] { rig.server.stop(); });
    EXPECT_FALSE(first.result.get());
    EXPECT_FALSE(second.result.get());
    EXPECT_LT(watch.ms(), 900) << "freed by the stop, not by the server's end";
    stopper.join();
}

TEST(LspEnd, DeathFreesASenderWhosePipeSomebodyElseKeepsOpen) {
    Rig rig;
    ASSERT_TRUE(rig.start({"child 30000 away", "note child ${child}", "await go", "exit 0"}));
    const int child = std::stoi(rig.noted("child"));
    BlockedSend send(rig.server);
    ASSERT_TRUE(send.waits());
    rig.folder.write("go", "");
    EXPECT_FALSE(send.result.get());
    EXPECT_EQ(::kill(child, SIGKILL), 0) << "freed by the death, not by the other's end";
}

TEST(LspEnd, DeathEndsTheInputOfThoseLeftBehind) {
    Rig rig;
    // By another number, as a shell without job control gives "/dev/null" to what it puts aside.
    ASSERT_TRUE(rig.startLine("3<&0; sh -c 'echo begun >left; cat; echo over >left' <&3 & exit 4"));
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_TRUE(waitUntil([&] { return mbtest::slurp(rig.folder.at("left")) == "over\n"; }));
}

TEST(LspEnd, NewsOfADeathIsNotHeldBack) {
    const Stopwatch watch;
    for (int i = 0; i < 10; ++i) {
        Rig rig;
        ASSERT_TRUE(rig.start({"send last words", "exit 1"}));
        ASSERT_TRUE(rig.waitForExit());
    }
    EXPECT_LT(watch.ms(), 2900) << "a third of a second for each would be for slow handlers";
}

TEST(LspEnd, SlowHandlerDelaysTheExitByAThirdOfASecondAtMost) {
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    std::atomic<int> code = -1;
    std::atomic<bool> delivered = false;
    Server server;
    std::string error;
    ASSERT_TRUE(server.start(
        mbtest::fakeServer({"send text", "exit 2"}), "",
        [&](const std::string&) {
            released.wait();
            delivered = true;
        },
        [&](int exitCode) { code = exitCode; }, error));
    EXPECT_TRUE(waitUntil([&] { return code == 2; }));
    EXPECT_FALSE(delivered);
    release.set_value();
    server.stop();  // waits for the handler
    EXPECT_TRUE(delivered);
}

}  // namespace
