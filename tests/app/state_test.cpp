// The window's state: what the window manager does to it, and what the page asks for.

#include <gtest/gtest.h>

#include <algorithm>

#include "app/app_test.hpp"
#include "support/display.hpp"

namespace {

using mbjson::Json;
using mbtest::body;
using mbtest::Display;
using mbtest::Events;
using mbtest::Layout;
using mbtest::Program;
using mbtest::WindowManager;

constexpr const char* kOther = "Another window";

// A program's window under a window manager, with its focus and a client of its events.
class AppWindowState : public testing::Test {
protected:
    Display display;
    WindowManager manager{display.name()};
    Layout layout;
    Program program{layout, {.display = display.name()}};

    void SetUp() override {
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        ASSERT_TRUE(program.awaitWindow()) << program.errors();
        ASSERT_TRUE(mbtest::waitUntil([&] { return active() && has("_NET_WM_STATE_FOCUSED"); }));
    }

    Json state() const { return program.ask("/api/window", body("cmd", "state")); }
    bool active() const { return state()["active"].asBool(); }
    bool maximized() const { return state()["maximized"].asBool(); }
    void command(const std::string& name) const {
        EXPECT_EQ(program.request("/api/window", body("cmd", name)).body, R"({"ok":true})");
    }
    mbtest::WindowId window() const { return program.window().value_or(0); }
    bool has(const std::string& stateName) const {
        return mbtest::hasState(display.name(), window(), stateName);
    }
};

TEST_F(AppWindowState, IsAskedForThroughTheBridge) {
    EXPECT_EQ(program.request("/api/window", body("cmd", "state")).body,
              R"({"active":true,"frameless":false,"maximized":false,"ok":true})");
}

TEST_F(AppWindowState, MaximizeTwiceRestoresTheWindow) {
    Events events(program);
    ASSERT_TRUE(events.connected()) << events.error();
    const auto before = mbtest::geometryOf(display.name(), window());
    command("maximize");
    const auto larger =
        events.await("window.state", [](const Json& event) { return event["maximized"].asBool(); });
    ASSERT_TRUE(larger);
    EXPECT_EQ(
        larger->dump(),
        R"({"active":true,"frameless":false,"maximized":true,"ok":true,"type":"window.state"})");
    EXPECT_TRUE(maximized());
    EXPECT_TRUE(has("_NET_WM_STATE_MAXIMIZED_VERT"));
    command("maximize");
    ASSERT_TRUE(events.await("window.state",
                             [](const Json& event) { return !event["maximized"].asBool(); }));
    EXPECT_FALSE(maximized());
    EXPECT_TRUE(mbtest::waitUntil([&] {
        const auto now = mbtest::geometryOf(display.name(), window());
        return now && now->width == before->width && now->height == before->height;
    }));
}

TEST_F(AppWindowState, MinimizeTakesTheFocusAway) {
    Events events(program);
    command("minimize");
    EXPECT_TRUE(
        events.await("window.state", [](const Json& event) { return !event["active"].asBool(); }));
    EXPECT_FALSE(active());
    // Off the screen: no longer found among the visible ones.
    EXPECT_TRUE(mbtest::waitUntil([&] { return window() == 0; }));
}

TEST_F(AppWindowState, FocusGoesToAnotherWindowAndComesBack) {
    Events events(program);
    mbtest::Spawn spawn;
    spawn.command = {"xmessage", "-title", kOther, "-geometry", "300x100+10+10", "hello"};
    spawn.environment = mbtest::ownEnvironment();
    spawn.environment["DISPLAY"] = display.name();
    const mbtest::Process other(spawn);
    EXPECT_TRUE(
        events.await("window.state", [](const Json& event) { return !event["active"].asBool(); }));
    mbtest::activateThroughManager(display.name(), window());
    EXPECT_TRUE(
        events.await("window.state", [](const Json& event) { return event["active"].asBool(); }));
    EXPECT_TRUE(active());
}

// Being put on all desktops changes neither flag, though the toolkit reports it.
TEST_F(AppWindowState, ChangeOfNeitherFlagIsNotPushed) {
    Events events(program);
    ASSERT_TRUE(events.catchUp(layout));
    const int before = events.count("window.state");
    for (const bool sticky : {true, false}) {
        mbtest::setSticky(display.name(), window(), sticky);
        ASSERT_TRUE(mbtest::waitUntil([&] { return has("_NET_WM_STATE_STICKY") == sticky; }));
    }
    // A change that is pushed comes behind whatever the two could have pushed.
    command("maximize");
    ASSERT_TRUE(events.await("window.state",
                             [](const Json& event) { return event["maximized"].asBool(); }));
    EXPECT_EQ(events.count("window.state"), before + 1);
}

TEST_F(AppWindowState, UnknownCommandsAreIgnored) {
    for (const char* name : {"", "explode", "Close", "maximise"}) command(name);
    EXPECT_TRUE(active());
    EXPECT_FALSE(maximized());
    EXPECT_TRUE(program.process.running());
}

}  // namespace
