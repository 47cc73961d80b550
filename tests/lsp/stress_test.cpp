// Everything at once, for a few seconds: most of its worth is under the thread sanitizer.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lsp/lsp.hpp"
#include "lsp_support.hpp"

namespace {

using mblsp::Manager;
using mblsp::Server;
using mbtest::fakeServer;
using mbtest::Possessions;

constexpr int kTestMs = 2500;

struct Counts {
    std::atomic<int> started = 0;
    std::atomic<int> messages = 0;
    std::atomic<int> exits = 0;
    std::atomic<int> sent = 0;
};

void countIn(Manager& manager, Counts& counts) {
    manager.emit = [&](const mbjson::Json& event) {
        if (event["type"].asString() == "lsp.message") ++counts.messages;
        if (event["type"].asString() != "lsp.exit") return;
        EXPECT_EQ(event["code"].asInt(), 9);
        ++counts.exits;
    };
}

TEST(LspStress, StartSendDieAndStopInALoop) {
    const Possessions before;
    {
        Manager manager;
        Counts counts;
        countIn(manager, counts);
        std::atomic<bool> over = false;
        std::vector<std::thread> threads;
        const auto loop = [&](auto step) {
            threads.emplace_back([&over, step] {
                for (int i = 0; !over; ++i) step(i);
            });
        };
        // Some die on their own soon, in the middle of what is sent to them; some live on.
        for (int thread = 0; thread < 2; ++thread)
            loop([&](int i) {
                const std::string id = i % 2 == 0 ? "a" : "b";
                std::string error;
                const std::string command =
                    i % 3 == 0 ? fakeServer({"flood 500 20", "err dying", "exit 9"})
                               : fakeServer({"err living", "echo"});
                EXPECT_TRUE(manager.ensure(id, "", command, error)) << error;
                ++counts.started;
                std::this_thread::yield();
            });
        for (const std::string id : {"a", "b"})
            loop([&manager, &counts, id](int) {
                if (manager.send(id, std::string(20000, 'm')))
                    ++counts.sent;
                else
                    std::this_thread::yield();
            });
        for (int thread = 0; thread < 2; ++thread)
            loop([&, thread](int) {
                const int heard = counts.messages;
                (void)mbtest::waitUntil([&] { return over || counts.messages > heard + 30; });
                manager.stop(thread == 0 ? "a" : "b");
            });
        loop([&](int) {
            (void)manager.log("a");
            (void)manager.running("b");
            std::this_thread::yield();
        });
        const mbtest::Stopwatch watch;
        EXPECT_TRUE(mbtest::waitUntil([&] { return watch.ms() > kTestMs; }));
        over = true;
        for (std::thread& thread : threads) thread.join();
        manager.stopAll();
        EXPECT_GT(counts.started, 20);
        EXPECT_GT(counts.messages, 300);
        EXPECT_GT(counts.exits, 3);
        EXPECT_GT(counts.sent, 50);
    }
    before.expectUnchanged();
}

TEST(LspStress, SendStopAndDeathOfOneServerAtOnce) {
    for (int round = 0; round < 40; ++round) {
        const Possessions before;
        std::atomic<int> exits = 0;
        {
            Server server;
            std::string error;
            ASSERT_TRUE(server.start(
                fakeServer({round % 2 == 0 ? "echo" : "flood 1000 50"}), "", [](auto) {},
                [&](int) { ++exits; }, error));
            const int pid = server.processId();
            std::vector<std::thread> threads;
            for (int i = 0; i < 2; ++i)
                threads.emplace_back([&] {
                    while (server.send(std::string(30000, 'm'))) {
                    }
                });
            threads.emplace_back([&] { server.stop(); });
            if (round % 4 < 2 && server.processId() == pid) ::kill(pid, SIGKILL);
            for (std::thread& thread : threads) thread.join();
        }
        EXPECT_LE(exits, 1);
        before.expectUnchanged();
    }
}

TEST(LspStress, ManyServersAtOnceComeAndGo) {
    const Possessions before;
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 4; ++round) {
                mbtest::Rig rig;
                ASSERT_TRUE(rig.start({"echo"}));
                EXPECT_TRUE(rig.server.send("hello"));
                EXPECT_TRUE(rig.waitForMessages(1));
                rig.server.stop();
                EXPECT_EQ(rig.record.exits(), mbtest::Texts{});
            }
        });
    for (std::thread& thread : threads) thread.join();
    before.expectUnchanged();
}

}  // namespace
