#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "bridge.hpp"
#include "win/win.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::object;

TEST(ConfigRoute, AGetSavesAndGivesTheSettings) {
    Bridge bridge;
    const Json answer = bridge.get("/api/config").json();
    EXPECT_TRUE(answer["ok"].asBool());
    EXPECT_EQ(answer["config"].asObject().size(), 13U);
    EXPECT_EQ(mbtest::slurp(bridge.app.configPath), answer["config"].dump());
}

TEST(ConfigRoute, APresentNonBooleanCountsAsTrue) {
    Bridge bridge;
    bridge.post("/api/config", object({{"discordPresence", false}, {"automaticUpdates", false}}));
    EXPECT_FALSE(bridge.app.workspace.config()->discordPresence);
    EXPECT_FALSE(bridge.app.workspace.config()->automaticUpdates);
    EXPECT_TRUE(bridge.app.workspace.config()->discordShowFileNames);
    bridge.post("/api/config", object({{"discordPresence", "no"}, {"automaticUpdates", Json()}}));
    EXPECT_TRUE(bridge.app.workspace.config()->discordPresence);
    EXPECT_TRUE(bridge.app.workspace.config()->automaticUpdates);
}

TEST(ConfigRoute, TheChannelIsBetaOrStable) {
    Bridge bridge;
    const auto set = [&](const Json& value) {
        return bridge.post("/api/config", object({{"updateChannel", value}}))
            .json()["config"]["updateChannel"]
            .asString();
    };
    EXPECT_EQ(set("beta"), "beta");
    EXPECT_EQ(set("nightly"), "stable");
    EXPECT_EQ(set("beta"), "beta");
    EXPECT_EQ(set(1), "stable");
}

TEST(ConfigRoute, ClaudeIsReplacedWholeByAnObjectOnly) {
    Bridge bridge;
    bridge.post("/api/config", object({{"claude", object({{"a", 1}, {"b", 2}})}}));
    bridge.post("/api/config", object({{"claude", object({{"c", 1.5}})}}));
    EXPECT_EQ(bridge.app.workspace.config()->claude.dump(), R"({"c":1.5})");
    bridge.post("/api/config", object({{"claude", "x"}}));
    EXPECT_EQ(bridge.app.workspace.config()->claude.dump(), R"({"c":1.5})");
}

TEST(ConfigRoute, ClaudeCommandIsTrimmedAndNeverEmpty) {
    Bridge bridge;
    const auto set = [&](const Json& value) {
        bridge.post("/api/config", object({{"claudeCommand", value}}));
        return bridge.app.workspace.config()->claudeCommand;
    };
    EXPECT_EQ(set(" /opt/claude \n"), "/opt/claude");
    EXPECT_EQ(set("  "), "claude");
    EXPECT_EQ(set("x"), "x");
    EXPECT_EQ(set(7), "claude");
}

TEST(ConfigRoute, ABodyThatIsNoObjectChangesNothing) {
    Bridge bridge;
    const std::string before = bridge.app.workspace.config()->toJson().dump();
    for (const char* body : {"[1,2]", "{\"discordPresence\":", "\"x\"", "", "{\"a\":1e999}"}) {
        const Answer answer = bridge.send("POST", "/api/config", body);
        EXPECT_EQ(answer.status, 200) << body;
        EXPECT_EQ(answer.json()["config"].dump(), before) << body;
    }
}

TEST(ConfigRoute, WritersAtOnceNeverTearTheRecord) {
    Bridge bridge;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer)
        writers.emplace_back([&bridge, writer] {
            for (int i = 0; i < 25; ++i) {
                const std::string word(200, static_cast<char>('a' + writer));
                bridge.post("/api/config", object({{"claudeCommand", word}}));
                const std::string seen =
                    bridge.get("/api/state").json()["config"]["claudeCommand"].asString();
                EXPECT_EQ(seen, std::string(200, seen.empty() ? '?' : seen[0]));
            }
        });
    for (std::thread& writer : writers) writer.join();
}

TEST(StateRoute, GivesTheSnapshot) {
    Bridge bridge;
    bridge.addRoot("proj");
    const Json state = bridge.get("/api/state").json();
    EXPECT_TRUE(state["ok"].asBool());
    EXPECT_EQ(state["version"].asString(), "0.2.5");
    EXPECT_EQ(state["config"]["roots"][0]["name"].asString(), "proj");
    EXPECT_EQ(state["index"].dump(),
              R"({"files":0,"scanning":false,"seconds":0,"truncated":false})");
    EXPECT_TRUE(state["presenceConnected"].isBool());
    EXPECT_TRUE(state["pendingOpen"].isArray());
}

TEST(UiStateRoute, StoresAndReturnsAnyTextUnparsed) {
    Bridge bridge;
    EXPECT_EQ(bridge.get("/api/ui-state").body, "{}");
    EXPECT_EQ(bridge.send("POST", "/api/ui-state", "not { json").body, R"({"ok":true})");
    EXPECT_EQ(bridge.get("/api/ui-state").body, "not { json");
    EXPECT_EQ(mbtest::slurp(bridge.dir.at("config/ui-state.json")), "not { json");
    // Only POST writes.
    EXPECT_EQ(bridge.send("PUT", "/api/ui-state", "other").body, "not { json");
}

TEST(UiStateRoute, AnEmptyStoreReadsAsAnEmptyObject) {
    Bridge bridge;
    EXPECT_EQ(bridge.send("POST", "/api/ui-state", "").status, 200);
    EXPECT_EQ(bridge.get("/api/ui-state").body, "{}");
}

TEST(UiStateRoute, TheLimitIsTheLastThatFits) {
    Bridge bridge;
    const std::string fits(524288, 'x');
    EXPECT_EQ(bridge.send("POST", "/api/ui-state", fits).status, 200);
    const Answer over = bridge.send("POST", "/api/ui-state", fits + "y");
    EXPECT_EQ(over.status, 413);
    EXPECT_EQ(over.error(), "ui state too large");
    EXPECT_EQ(bridge.get("/api/ui-state").body, fits);
}

TEST(UiStateRoute, AFolderThatIsGoneGivesTheWords) {
    Bridge bridge;
    bridge.app.configPath = bridge.dir.at("gone/marlin-bench.json");
    const Answer answer = bridge.send("POST", "/api/ui-state", "{}");
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.error(), "could not write ui-state.json");
}

TEST(WindowRoute, WithoutAWindowItIsNotReady) {
    Bridge bridge;
    for (const char* command : {"state", "close", "anything"}) {
        const Answer answer = bridge.post("/api/window", object({{"cmd", command}}));
        EXPECT_EQ(answer.status, 503);
        EXPECT_EQ(answer.error(), "the window is not ready");
    }
}

TEST(WindowRoute, StateIsTheWindowsOwn) {
    Bridge bridge;
    mbwin::Host host;
    mbapp::g_host = &host;
    host.handleWindowState(true, false);
    EXPECT_EQ(bridge.post("/api/window", object({{"cmd", "state"}})).body,
              R"({"active":false,"frameless":false,"maximized":true,"ok":true})");
    mbapp::g_host = nullptr;
    EXPECT_EQ(mbapp::windowState().dump(),
              R"({"active":true,"frameless":false,"maximized":false,"ok":true})");
}

TEST(BrowserRoute, OnlyWebAddressesGoOutside) {
    Bridge bridge;
    for (const char* url : {"file:///etc/passwd", "HTTP://x", "", "javascript:1", "ftp://x"}) {
        const Answer answer =
            bridge.post("/api/browser", object({{"cmd", "external"}, {"url", url}}));
        EXPECT_EQ(answer.status, 400) << url;
        EXPECT_EQ(answer.error(), "only web addresses can be opened") << url;
    }
}

TEST(BrowserRoute, OtherCommandsNeedAWindow) {
    Bridge bridge;
    const Answer answer = bridge.post("/api/browser", object({{"cmd", "show"}}));
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.error(), "the window is not ready");
}

TEST(ArtifactRoute, RefusesWhatIsNoSavedPage) {
    Bridge bridge;
    bridge.addRoot("proj");
    bridge.dir.write("proj/a.txt", "x");
    bridge.dir.mkdir("proj/folder.html");
    for (const char* path :
         {"", "proj/a.txt", "proj/missing.html", "proj/folder.html", "../a.html", "other/a.html"}) {
        const Answer answer = bridge.post("/api/artifact/open", object({{"path", path}}));
        EXPECT_EQ(answer.status, 400) << path;
        EXPECT_EQ(answer.error(), "save the artifact to the workspace first") << path;
    }
}

TEST(ArtifactRoute, RefusesAddressesThatAreNotLocal) {
    Bridge bridge;
    for (const char* url : {"http://localhost/", "https://localhost:1/", "http://127.0.0.2:1/",
                            "http://evil/?http://localhost:1"}) {
        const Answer answer = bridge.post("/api/artifact/open", object({{"url", url}}));
        EXPECT_EQ(answer.status, 400) << url;
        EXPECT_EQ(answer.error(), "only local http addresses can be opened") << url;
    }
}

TEST(ShutdownRoute, ClearsRunningAlsoWithoutAWindow) {
    Bridge bridge;
    EXPECT_EQ(bridge.get("/api/shutdown").body, R"({"ok":true})");
    EXPECT_FALSE(mbapp::g_running);
    mbapp::g_running = true;
}

TEST(Routes, NeedTheTokenWhateverTheMethod) {
    Bridge bridge;
    for (const char* token : {"", "wrong"})
        for (const char* method : {"GET", "POST", "DELETE", "whatever"}) {
            mbtest::HttpClient stranger(bridge.app.server.boundPort(), token);
            const mbtest::HttpAnswer answer = stranger.request(method, "/api/state", {}, "");
            EXPECT_EQ(answer.status, 401) << method;
            EXPECT_EQ(answer.body, R"({"ok":false,"error":"invalid or missing session token"})");
        }
}

TEST(Routes, LongerPathsReachTheRouteTheyBeginWith) {
    Bridge bridge;
    EXPECT_TRUE(bridge.get("/api/configure").json()["config"].isObject());
}

}  // namespace
