// The updater without a site.

#include <gtest/gtest.h>

#include <vector>

#include "support/support.hpp"
#include "update/update.hpp"

namespace {

using mbupdate::InstallKind;
using mbupdate::State;
using mbupdate::Status;
using mbupdate::Updater;

TEST(UpdateState, UnconfiguredDoesNothing) {
    Updater updater;
    std::vector<State> told;
    updater.setCallback([&](const Status& status) { told.push_back(status.state); });
    updater.checkAsync(true);
    updater.checkAsync(false);
    updater.downloadAsync();
    EXPECT_FALSE(updater.applyAndRestart());
    EXPECT_TRUE(told.empty());
    updater.skipCurrentRelease();
    EXPECT_EQ(told, std::vector<State>{State::UpToDate});
    EXPECT_EQ(mbupdate::updateStatusJson(updater.status()).dump(),
              R"({"currentVersion":"","error":"","lastCheck":0,"notes":"","progress":0,)"
              R"("published":"","size":0,"state":"uptodate","version":""})");
}

TEST(UpdateState, WithoutAKindOrAnUrlNothingIsChecked) {
    Updater updater;
    updater.configure("https://127.0.0.1:1", "", "1", "/nowhere", InstallKind::None, "/x");
    updater.checkAsync(true);
    EXPECT_EQ(updater.status().state, State::Idle);
    updater.configure("//", "", "1", "/nowhere", InstallKind::Deb, "/x");
    updater.checkAsync(true);
    EXPECT_EQ(updater.status().state, State::Idle);
    EXPECT_EQ(updater.status().currentVersion, "1");
}

TEST(UpdateState, OnlyHttpsIsAsked) {
    Updater updater;
    updater.configure("http://127.0.0.1:1", "", "1", "/nowhere", InstallKind::Deb, "/x");
    std::vector<std::string> errors;
    updater.setCallback([&](const Status& status) { errors.push_back(status.error); });
    updater.checkAsync(true);
    EXPECT_TRUE(mbtest::waitUntil([&] { return updater.status().state == State::Failed; }, 30000));
    // Its thread, which told of that, is over then.
    updater.stop();
    EXPECT_EQ(errors.back(), "refusing a plain http update url");
}

TEST(UpdateState, HasAWordForEach) {
    const auto wordOf = [](State state) {
        Status status;
        status.state = state;
        return mbupdate::updateStatusJson(status)["state"].asString();
    };
    EXPECT_EQ(wordOf(State::Idle), "idle");
    EXPECT_EQ(wordOf(State::Checking), "checking");
    EXPECT_EQ(wordOf(State::UpToDate), "uptodate");
    EXPECT_EQ(wordOf(State::Available), "available");
    EXPECT_EQ(wordOf(State::Downloading), "downloading");
    EXPECT_EQ(wordOf(State::Ready), "ready");
    EXPECT_EQ(wordOf(State::Failed), "failed");
}

TEST(UpdateState, CarriesTheRelease) {
    Status status;
    status.currentVersion = "0.2.5";
    status.release = {"0.3.0", "All new", "https://h/x", "aa", 5000000000, "2026-01-31"};
    status.progress = 7;
    status.error = "words";
    status.skippedVersion = "0.2.9";
    status.lastCheck = 1700000000;
    EXPECT_EQ(mbupdate::updateStatusJson(status).dump(),
              R"({"currentVersion":"0.2.5","error":"words","lastCheck":1700000000,)"
              R"("notes":"All new","progress":7,"published":"2026-01-31","size":5000000000,)"
              R"("state":"idle","version":"0.3.0"})");
}

TEST(UpdateState, EveryKindHasItsAsset) {
    EXPECT_STREQ(mbupdate::assetKey(InstallKind::None), "");
    EXPECT_STREQ(mbupdate::assetKey(InstallKind::AppImage), "appimage");
    EXPECT_STREQ(mbupdate::assetKey(InstallKind::Deb), "deb");
    EXPECT_STREQ(mbupdate::assetKey(InstallKind::Rpm), "rpm");
    EXPECT_STREQ(mbupdate::assetKey(InstallKind::Arch), "arch");
}

}  // namespace
