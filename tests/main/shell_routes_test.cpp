// The desktop's routes without a window. The picker's dialog is tested with the program.

#include <gtest/gtest.h>

#include <future>

#include "bridge.hpp"
#include "main/events.hpp"
#include "util/util.hpp"
#include "win/win.hpp"

namespace {

using mbtest::Answer;
using mbtest::Bridge;

TEST(ShellRoutes, RegisterTellAndUnregister) {
    Bridge bridge;
    const std::string entry = bridge.dir.at("home/.local/share/applications/marlin-bench.desktop");
    EXPECT_FALSE(bridge.get("/api/shell/status").json()["registered"].asBool());
    EXPECT_EQ(bridge.post("/api/shell/register", {}).body, R"({"ok":true})");
    EXPECT_TRUE(mbutil::fileExists(entry));
    const mbjson::Json status = bridge.get("/api/shell/status").json();
    EXPECT_TRUE(status["registered"].asBool());
    EXPECT_FALSE(status["stale"].asBool());
    EXPECT_EQ(status["registeredExecutable"].dump(), status["currentExecutable"].dump());
    EXPECT_EQ(bridge.get("/api/shell/unregister").body, R"({"ok":true})");
    EXPECT_FALSE(mbutil::fileExists(entry));
    EXPECT_EQ(bridge.get("/api/shell/unregister").body, R"({"ok":true})");
}

TEST(ShellRoutes, ProgramThatWasMovedIsStaleAndReadable) {
    Bridge bridge;
    bridge.dir.write("home/.local/share/applications/marlin-bench.desktop",
                     "Exec=\"/opt/caf\xE9/marlin-bench\"\n");
    const mbjson::Json status = bridge.get("/api/shell/status").json();
    EXPECT_TRUE(status["stale"].asBool());
    EXPECT_EQ(status["registeredExecutable"].asString(), "/opt/caf\xC3\xA9/marlin-bench");
}

TEST(ShellRoutes, FailureToRegisterGivesTheWords) {
    Bridge bridge;
    const std::string folder = bridge.dir.write("home/.local/share", "a file") + "/applications";
    const Answer answer = bridge.post("/api/shell/register", {});
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.error(), "could not create " + folder);
}

// There is no main loop here that would ever show the dialog.
TEST(ShellRoutes, PickThatNobodyAnswersEndsWithTheServices) {
    Bridge bridge;
    std::future<Answer> first =
        std::async(std::launch::async, [&] { return bridge.get("/api/shell/pick-folder"); });
    EXPECT_EQ(bridge.get("/api/state").status, 200);
    mbapp::stopServices(bridge.app);
    mbapp::g_running = true;
    EXPECT_TRUE(bridge.app.server.waitForHandlers(20000));
    (void)first.get();
}

TEST(ShellRoutes, BrowserCommandsReachTheWindow) {
    Bridge bridge;
    mbwin::Host host;
    mbapp::g_host = &host;
    EXPECT_EQ(bridge.send("POST", "/api/browser", R"({"cmd":"bounds"})").body, R"({"ok":true})");
    EXPECT_EQ(bridge.send("POST", "/api/browser", "").body, R"({"ok":true})");
    mbapp::g_host = nullptr;
}

TEST(ShellRoutes, BrowserReportsArePushedWithTheirType) {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();
    mbwin::Host host;
    mbapp::connectHostEvents(bridge.app, host);
    host.onBrowserEvent(R"({"kind":"state","loading":true})");
    host.onBrowserEvent("no json");
    EXPECT_EQ(events.recvText(), R"({"kind":"state","loading":true,"type":"browser.event"})");
    EXPECT_EQ(events.recvText(), R"({"type":"browser.event"})");
}

}  // namespace
