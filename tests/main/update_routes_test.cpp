#include <gtest/gtest.h>

#include "bridge.hpp"

namespace mbupdate {

struct UpdaterPeek {
    static Channel channelOf(Updater& updater) {
        const std::lock_guard lock(updater.mutex);
        return updater.channel;
    }
};

}  // namespace mbupdate

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::object;
using mbtest::waitUntil;
using mbupdate::Channel;

struct UpdateRoutes : testing::Test {
    Bridge bridge;

    // An address that is refused, so that every check fails at once and without a network.
    void configure() {
        bridge.app.updater.configure("http://127.0.0.1:1", "", "0.2.5", bridge.dir.at("updates"),
                                     mbupdate::InstallKind::Deb, "/usr/bin/marlin-bench");
    }
    Answer act(const std::string& action) { return bridge.get("/api/update?action=" + action); }
    bool becomes(const std::string& state, const std::string& error) {
        return waitUntil(
            [&] {
                const Json status = bridge.get("/api/update").json();
                return status["state"].asString() == state && status["error"].asString() == error;
            },
            30000);
    }
    Channel channel() { return mbupdate::UpdaterPeek::channelOf(bridge.app.updater); }
};

TEST_F(UpdateRoutes, AnUnconfiguredUpdaterAnswersAndDoesNothing) {
    const std::string nothing = R"({"currentVersion":"","error":"","lastCheck":0,"notes":"",)"
                                R"("progress":0,"published":"","size":0,"state":"idle",)"
                                R"("version":""})";
    EXPECT_EQ(bridge.get("/api/update").body, nothing);
    for (const char* action : {"", "check", "check-quiet", "download", "unknown"})
        EXPECT_EQ(act(action).body, nothing) << action;
    EXPECT_EQ(act("skip").json()["state"].asString(), "uptodate");
}

TEST_F(UpdateRoutes, AppliesOnlyWhatIsReady) {
    const Answer answer = act("apply");
    EXPECT_EQ(answer.status, 409);
    EXPECT_EQ(answer.error(), "there is no verified download to install");
    configure();
    EXPECT_EQ(act("apply").status, 409);
}

TEST_F(UpdateRoutes, ACheckRunsOnItsOwn) {
    configure();
    EXPECT_EQ(bridge.get("/api/update").json()["currentVersion"].asString(), "0.2.5");
    EXPECT_EQ(act("check").status, 200);
    EXPECT_TRUE(becomes("failed", "refusing a plain http update url"));
    EXPECT_GT(bridge.get("/api/update").json()["lastCheck"].asNumber(), 0);
}

TEST_F(UpdateRoutes, AQuietCheckFailsQuietly) {
    configure();
    EXPECT_EQ(bridge.post("/api/update?action=check-quiet", Json::object()).status, 200);
    EXPECT_TRUE(becomes("idle", "refusing a plain http update url"));
}

TEST_F(UpdateRoutes, TheSettingsChooseTheChannel) {
    const auto set = [&](const std::string& text) {
        mbws::Config next = *bridge.app.workspace.config();
        next.updateChannel = text;
        bridge.app.workspace.setConfig(std::move(next));
        mbapp::applyUpdateChannel(bridge.app);
        return channel();
    };
    EXPECT_EQ(set("beta"), Channel::Beta);
    for (const char* text : {"BETA", "Beta", "", "nightly", "stable", "beta "}) {
        set("beta");
        EXPECT_EQ(set(text), Channel::Stable) << text;
    }
}

TEST_F(UpdateRoutes, AChangeOfTheSettingsCountsAtOnce) {
    bridge.post("/api/config", object({{"updateChannel", "beta"}}));
    EXPECT_EQ(channel(), Channel::Beta);
    bridge.post("/api/config", object({{"automaticUpdates", false}}));
    EXPECT_EQ(channel(), Channel::Beta);
    bridge.post("/api/config", object({{"updateChannel", "nightly"}}));
    EXPECT_EQ(channel(), Channel::Stable);
}

}  // namespace
