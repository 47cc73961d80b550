#include <gtest/gtest.h>

#include <chrono>

#include "bridge.hpp"
#include "main/events.hpp"

namespace {

using mbtest::Bridge;
using mbtest::object;

struct StopServices : testing::Test {
    ~StopServices() override { mbapp::g_running = true; }
};

TEST_F(StopServices, EndsTerminalsAndTellsOfIt) {
    Bridge bridge;
    mbws::Config next = *bridge.app.workspace.config();
    next.shellCommand = "sleep 100";
    bridge.app.workspace.setConfig(std::move(next));
    mbtest::WsClient events = bridge.events();
    ASSERT_EQ(bridge.post("/api/terminal/create", object({})).status, 200);
    mbapp::stopServices(bridge.app);
    EXPECT_TRUE(events.recvTextWith("terminal.exit"));
    EXPECT_TRUE(bridge.app.terminals.list().empty());
    EXPECT_FALSE(mbapp::g_running);
    mbapp::stopServices(bridge.app);
}

TEST_F(StopServices, IsNotHeldByAPageThatStoppedReading) {
    Bridge bridge;
    mbws::Config next = *bridge.app.workspace.config();
    next.shellCommand = "cat /dev/zero";
    bridge.app.workspace.setConfig(std::move(next));
    mbtest::WsClient frozen = bridge.events();
    mbtest::WsClient reader = bridge.events();
    ASSERT_EQ(bridge.post("/api/terminal/create", object({})).status, 200);
    // Output comes until the frozen page's buffers are full, then no more.
    ASSERT_TRUE(mbtest::waitUntil([&] { return !reader.recvText(500); }, 60000));
    const auto begin = std::chrono::steady_clock::now();
    mbapp::stopServices(bridge.app);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

}  // namespace
