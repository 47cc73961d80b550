// How the program ends: whoever asks for it and whatever goes on at that moment, nothing is left.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "app/app_test.hpp"
#include "support/desktop.hpp"
#include "support/display.hpp"
#include "support/held_start.hpp"
#include "support/inspector.hpp"

namespace {

using mbtest::body;
using mbtest::Display;
using mbtest::HttpAnswer;
using mbtest::Layout;
using mbtest::Program;

constexpr int kSoonMs = 8000;  // far below the 15 s after which connections end by themselves

void expectGone(Program& program, int code) {
    EXPECT_EQ(program.process.waitForExit(kSoonMs), code) << program.errors();
    EXPECT_TRUE(program.awaitNothingLeft());
}

TEST(AppEnd, WindowManagerClosesTheWindow) {
    const Display display;
    const mbtest::WindowManager manager(display.name());
    const Layout layout;
    Program program(layout, {.display = display.name()});
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    mbtest::closeThroughManager(display.name(), program.window().value_or(0));
    expectGone(program, 0);
}

TEST(AppEnd, PageClosesTheWindow) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    EXPECT_EQ(program.request("/api/window", body("cmd", "close")).body, R"({"ok":true})");
    expectGone(program, 0);
}

TEST(AppEnd, ShutdownIsAskedForThroughTheBridge) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    (void)program.request("/api/shutdown");
    expectGone(program, 0);
}

// The start URL is written before there is a window.
TEST(AppEnd, ShutdownInTheInstantOfTheStartUrlIsNotLost) {
    for (int round = 0; round < 6; ++round) {
        const Layout layout;
        Program program(layout);
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        (void)program.request("/api/shutdown");
        EXPECT_EQ(program.process.waitForExit(kSoonMs), 0) << program.errors();
        EXPECT_TRUE(program.awaitNothingLeft());
    }
}

// The same in slow motion: the answer is given before the window is made.
TEST(AppEnd, ShutdownBetweenTheStartUrlAndTheWindowIsNotLost) {
    const Layout layout;
    Program program(layout);
    mbtest::HeldStart held(program);
    if (!held.holding() && program.process.running())
        GTEST_SKIP() << "this system does not let a test follow its child";
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/api/shutdown").body, R"({"ok":true})");
    EXPECT_FALSE(program.window());
    held.release();
    EXPECT_EQ(program.process.waitForExit(kSoonMs), 0) << program.errors();
    EXPECT_TRUE(program.awaitNothingLeft());
}

TEST(AppEnd, PoliteSignalsEndItLikeItsCloseButton) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        const Layout layout;
        Program program(layout, {.inspector = true});
        ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
        // Answers from the main loop, which is what hears the signal.
        ASSERT_TRUE(mbtest::Inspector(program).connected());
        program.process.signal(number);
        expectGone(program, 0);
    }
}

TEST(AppEnd, LostDisplayEndsItWithAnErrorAndWithoutChildren) {
    Display display;
    const Layout layout;
    Program program(layout, {.display = display.name()});
    ASSERT_TRUE(program.awaitWindow() && program.awaitBridge()) << program.errors();
    // A shell that the mere end of its terminal would not take along.
    mbtest::WsClient events(program.port(), program.token());
    const std::string id = program.ask("/api/terminal/create", "{}")["id"].asString();
    program.request("/api/terminal/input",
                    R"({"id":")" + id +
                        R"(","data":"trap '' HUP; echo re''ady; exec sleep 1000\n"})");
    ASSERT_TRUE(events.recvTextWith("ready")) << events.error();
    display.kill();
    expectGone(program, 1);
}

TEST(AppEnd, SettingsAreNotWrittenAtTheEnd) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    ASSERT_TRUE(mbutil::writeFileRaw(layout.settingsPath(), "mine"));
    (void)program.request("/api/shutdown");
    expectGone(program, 0);
    EXPECT_EQ(mbtest::slurp(layout.settingsPath()), "mine");
}

// Clients that do all there is to do to a bridge, until it is gone.
class Clients {
public:
    explicit Clients(const Program& program) {
        for (int i = 0; i < 50; ++i) idle.push_back(idleConnection(program));
        for (int i = 0; i < 20; ++i)
            sockets.push_back(std::make_unique<mbtest::WsClient>(program.port(), program.token()));
        for (int i = 0; i < 5; ++i) halfSent.push_back(halfARequest(program));
        for (int i = 0; i < 6; ++i) busy.emplace_back([this, &program] { askOnAndOn(program); });
    }
    ~Clients() {
        for (std::thread& thread : busy) thread.join();
    }

    bool ready() const {
        for (const auto& connection : idle)
            if (!connection->connected()) return false;
        for (const auto& socket : sockets)
            if (!socket->connected()) return false;
        return mbtest::waitUntil([&] { return answers > 50; });
    }

private:
    using Connection = std::unique_ptr<mbtest::RawSocket>;

    static std::string head(const Program& program, const std::string& line) {
        return line + " HTTP/1.1\r\nX-Marlin-Token: " + program.token() + "\r\n";
    }
    static Connection idleConnection(const Program& program) {
        auto connection = std::make_unique<mbtest::RawSocket>(program.port());
        connection->send(head(program, "GET /api/config") + "\r\n");
        if (mbtest::recvAnswer(*connection).status != 200) connection->close();
        return connection;
    }
    static Connection halfARequest(const Program& program) {
        auto connection = std::make_unique<mbtest::RawSocket>(program.port());
        connection->send(head(program, "POST /api/config") + "Content-Length: 1000\r\n\r\n{");
        return connection;
    }
    void askOnAndOn(const Program& program) {
        while (program.request("/api/config").status == 200) ++answers;
    }

    std::atomic<int> answers{0};
    std::vector<Connection> idle;
    std::vector<Connection> halfSent;
    std::vector<std::unique_ptr<mbtest::WsClient>> sockets;
    std::vector<std::thread> busy;
};

TEST(AppEnd, UnderLoadItIsAsQuickAndClean) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    const Clients clients(program);
    ASSERT_TRUE(clients.ready());
    (void)program.request("/api/shutdown");
    expectGone(program, 0);
}

TEST(AppEnd, ClosedWindowUnderLoadLeavesNothingEither) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    const Clients clients(program);
    ASSERT_TRUE(clients.ready());
    (void)program.request("/api/window", body("cmd", "close"));
    expectGone(program, 0);
}

TEST(AppEnd, HandlerThatStillWaitsForTheDesktopDoesNotHoldIt) {
    const Layout layout;
    const mbtest::SessionBus bus;
    const mbtest::FileManager manager(layout, bus, "hang");
    layout.write("home/proj/a.txt", "a");
    Program program(layout, {.arguments = {layout.at("home/proj")},
                             .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    std::thread asking(
        [&] { (void)program.request("/api/shell/reveal", body("path", "proj/a.txt")); });
    EXPECT_TRUE(
        mbtest::waitUntil([&] { return manager.calls().find("ShowItems") != std::string::npos; }));
    (void)program.request("/api/shutdown");
    expectGone(program, 0);
    asking.join();
}

}  // namespace
