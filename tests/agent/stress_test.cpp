// Everything at once, for a few seconds: most of its worth is under the thread sanitizer.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "agent/agent.hpp"
#include "agent_support.hpp"

namespace {

using mbagent::Session;
using mbtest::Possessions;
using mbtest::Rig;

constexpr int kTestMs = 2500;

struct Counts {
    std::atomic<int> exits = 0;
    std::atomic<int> lines = 0;
    std::atomic<int> sent = 0;
};

void startInALoop(Session& session, const mbagent::StartOptions& options,
                  const std::atomic<bool>& over) {
    while (!over) {
        std::string error;
        EXPECT_TRUE(session.start(options, error)) << error;
        std::this_thread::yield();
    }
}

void sendInALoop(Session& session, Counts& counts, const std::atomic<bool>& over) {
    for (int i = 0; !over; ++i) {
        std::string id;
        const bool sent = i % 3 == 0   ? session.interrupt()
                          : i % 3 == 1 ? session.sendControl("{}", id)
                                       : session.sendUserMessage(std::string(20000, 'm'));
        if (sent) ++counts.sent;
        if (!sent) std::this_thread::yield();
    }
}

TEST(AgentStress, StartSendKillAndStopInALoop) {
    const Possessions before;
    {
        Rig rig("out ready\nloop\nread\nout heard ${n}\nerr noise\nagain");
        Counts counts;
        rig.session.onLine = [&](const std::string&) { ++counts.lines; };
        rig.session.onExit = [&](int code) {
            EXPECT_TRUE(code == 0 || code == 137) << code;
            ++counts.exits;
        };
        std::atomic<bool> over = false;
        std::vector<std::thread> threads;
        threads.emplace_back([&] { startInALoop(rig.session, rig.options, over); });
        for (int i = 0; i < 2; ++i)
            threads.emplace_back([&] { sendInALoop(rig.session, counts, over); });
        threads.emplace_back([&] {
            for (int lines = 0; !over; lines = counts.lines) {
                // Only a child that has spoken since: what is killed is not always just born.
                (void)mbtest::waitUntil([&] { return over || counts.lines > lines + 20; });
                const int pid = rig.session.processId();
                if (pid > 0) ::kill(pid, SIGKILL);
            }
        });
        for (int i = 0; i < 2; ++i)
            threads.emplace_back([&] {
                for (int lines = 0; !over; lines = counts.lines) {
                    (void)mbtest::waitUntil([&] { return over || counts.lines > lines + 30; });
                    rig.session.stop();
                }
            });
        const mbtest::Stopwatch watch;
        EXPECT_TRUE(mbtest::waitUntil([&] { return watch.ms() > kTestMs; }));
        over = true;
        for (std::thread& thread : threads) thread.join();
        rig.session.stop();
        EXPECT_GT(counts.exits, 5);
        EXPECT_GT(counts.lines, 100);
        EXPECT_GT(counts.sent, 100);
        RecordProperty("exits", counts.exits);
        RecordProperty("lines", counts.lines);
    }
    before.expectUnchanged();
}

TEST(AgentStress, ManySessionsAtOnceComeAndGo) {
    const Possessions before;
    {
        const Rig rig("out ready\nread\nout answered\nawait-end\nexit 9");
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i)
            threads.emplace_back([&rig] {
                for (int round = 0; round < 5; ++round) {
                    Session session;
                    mbtest::Record record;
                    record.install(session);
                    std::string error;
                    ASSERT_TRUE(session.start(rig.options, error)) << error;
                    EXPECT_TRUE(session.sendUserMessage("hello"));
                    EXPECT_TRUE(mbtest::waitUntil([&] { return record.heard("answered"); }));
                    session.stop();
                    EXPECT_EQ(record.exits(), std::vector<std::string>{"9"});
                }
            });
        for (std::thread& thread : threads) thread.join();
    }
    before.expectUnchanged();
}

}  // namespace
