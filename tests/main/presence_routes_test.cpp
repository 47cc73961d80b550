#include <gtest/gtest.h>

#include "bridge.hpp"
#include "support/fake_discord.hpp"

namespace {

using mbjson::Json;
using mbtest::object;

// The status as the routes' caller has switched it; Discord is there from the start.
struct PresenceRoutes : testing::Test {
    mbtest::Bridge bridge;
    mbtest::ScopedEnv environment{{{"XDG_RUNTIME_DIR", bridge.dir.path()}}};
    mbtest::FakeDiscord discord{bridge.dir.at("discord-ipc-0")};

    ~PresenceRoutes() override { bridge.app.presence.stop(); }

    void setId(const std::string& id, bool on) {
        mbws::Config config = *bridge.app.workspace.config();
        config.discordAppId = id;
        config.discordPresence = on;
        bridge.app.workspace.setConfig(std::move(config));
    }
    void configure(const char* key, const Json& value) {
        EXPECT_EQ(bridge.post("/api/config", object({{key, value}})).status, 200);
    }
    void connect() {
        setId("42", false);
        configure("discordPresence", true);
        discord.frame(0);
        discord.ready();
        ASSERT_TRUE(mbtest::waitUntil([this] { return bridge.app.presence.isReady(); }));
    }
    Json tell(const char* file, const char* project, const Json& idle = {}) {
        return bridge
            .post("/api/presence", object({{"file", file}, {"project", project}, {"idle", idle}}))
            .json();
    }
};

TEST_F(PresenceRoutes, FileNameIsTheLastPartOfThePath) {
    connect();
    EXPECT_EQ(tell("proj/src/a.cpp", "proj").dump(), R"({"connected":true,"ok":true})");
    const Json activity = discord.frame(1).activity();
    EXPECT_EQ(activity["details"].asString(), "Editing a.cpp");
    EXPECT_EQ(activity["state"].asString(), "proj");
    EXPECT_TRUE(bridge.get("/api/state").json()["presenceConnected"].asBool());
}

TEST_F(PresenceRoutes, NoFileNameLeavesTheProcessWhenNamesAreOff) {
    configure("discordShowFileNames", false);
    connect();
    tell("proj/secret.cpp", "");
    const mbtest::FakeDiscord::Frame frame = discord.frame(1);
    EXPECT_EQ(frame.activity()["details"].asString(), "Editing");
    EXPECT_FALSE(frame.activity().has("state"));
    EXPECT_EQ(frame.body.find("secret"), std::string::npos);
}

TEST_F(PresenceRoutes, IdleOrNoFileIsIdle) {
    connect();
    tell("proj/a.cpp", "proj", true);
    EXPECT_EQ(discord.frame(1).activity()["details"].asString(), "Idle");
}

TEST_F(PresenceRoutes, NoFileIsIdle) {
    connect();
    tell("", "proj");
    EXPECT_EQ(discord.frame(1).activity()["details"].asString(), "Idle");
}

TEST_F(PresenceRoutes, SwitchedOffItSaysGoodbyeAndNothingMore) {
    connect();
    configure("discordPresence", false);
    EXPECT_TRUE(discord.waitForEnd(1));
    EXPECT_EQ(discord.frame(1).opcode, 2u);
    EXPECT_EQ(tell("proj/a.cpp", "proj").dump(), R"({"ok":true})");
    EXPECT_FALSE(bridge.get("/api/state").json()["presenceConnected"].asBool(true));
    EXPECT_EQ(discord.frameCount(), 2u);
}

TEST_F(PresenceRoutes, NotConnectedIsSaid) {
    setId("", true);
    configure("discordPresence", true);
    EXPECT_EQ(tell("a", "b").dump(), R"({"connected":false,"ok":true})");
    EXPECT_EQ(discord.frameCount(), 0u) << "without an id there is nothing to start";
}

TEST_F(PresenceRoutes, StartShowsTheFirstRoot) {
    bridge.addRoot("first");
    bridge.addRoot("second");
    setId("42", true);
    mbapp::startPresence(bridge.app);
    discord.frame(0);
    discord.ready();
    const Json activity = discord.frame(1).activity();
    EXPECT_EQ(activity["details"].asString(), "Idle");
    EXPECT_EQ(activity["state"].asString(), "first");
    EXPECT_EQ(activity["assets"]["large_text"].asString(), "Marlin Bench");
}

}  // namespace
