#include "main/installation.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bridge.hpp"

namespace {

using mbapp::installationOf;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using mbupdate::InstallKind;
using Variables = std::map<std::string, std::optional<std::string>>;

TEST(Installation, WordsOfThePackages) {
    const TempDir dir;
    const ScopedEnv environment(Variables{{"APPIMAGE", std::nullopt}, {"PATH", dir.path()}});
    const struct {
        const char* word;
        InstallKind kind;
    } rows[] = {{"deb", InstallKind::Deb},       {" rpm\n", InstallKind::Rpm},
                {"arch", InstallKind::Arch},     {"Deb", InstallKind::None},
                {"appimage", InstallKind::None}, {"", InstallKind::None}};
    EXPECT_EQ(installationOf(dir.path()).kind, InstallKind::None);
    for (const auto& [word, kind] : rows) {
        dir.write("install-kind", word);
        EXPECT_EQ(installationOf(dir.path()).kind, kind) << word;
    }
}

TEST(Installation, TargetIsTheProgramOfThePathElseTheUsualOne) {
    const TempDir dir;
    dir.write("install-kind", "deb");
    const ScopedEnv environment(Variables{{"APPIMAGE", ""}, {"PATH", dir.path()}});
    EXPECT_EQ(installationOf(dir.path()).target, "/usr/bin/marlin-bench");
    const std::string program = dir.write("marlin-bench", "");
    ASSERT_EQ(::chmod(program.c_str(), 0755), 0);
    EXPECT_EQ(installationOf(dir.path()).target, program);
}

TEST(Installation, AppImageComesFirstWhenItsFileIsThere) {
    const TempDir dir;
    dir.write("install-kind", "rpm");
    const ScopedEnv missing(Variables{{"APPIMAGE", dir.at("x.AppImage")}});
    EXPECT_EQ(installationOf(dir.path()).kind, InstallKind::Rpm);
    dir.write("x.AppImage", "");
    EXPECT_EQ(installationOf(dir.path()).kind, InstallKind::AppImage);
    EXPECT_EQ(installationOf(dir.path()).target, dir.at("x.AppImage"));
}

// Nothing listens on the address, so that a check shows itself and ends.
struct InstalledUpdater : testing::Test {
    mbtest::Bridge bridge;
    ScopedEnv environment{Variables{{"APPIMAGE", std::nullopt}}};
    mbapp::Folders folders{bridge.dir.path(), bridge.dir.path(), bridge.dir.path()};

    void start(const char* url, bool automatic) {
        mbws::Config config = *bridge.app.workspace.config();
        config.updateUrl = url;
        config.automaticUpdates = automatic;
        bridge.app.workspace.setConfig(std::move(config));
        mbapp::startUpdater(bridge.app, folders);
    }
    mbjson::Json status() { return bridge.get("/api/update").json(); }
};

TEST_F(InstalledUpdater, StaysUnconfiguredWithoutAKindOrAnAddress) {
    start("https://127.0.0.1:1", true);
    EXPECT_EQ(status()["currentVersion"].asString(), "");
    bridge.dir.write("install-kind", "deb");
    start("", true);
    EXPECT_EQ(status()["currentVersion"].asString(), "");
    EXPECT_EQ(status()["lastCheck"].asNumber(), 0);
}

TEST_F(InstalledUpdater, ChecksByItselfOnlyWhenTheSettingsWantIt) {
    bridge.dir.write("install-kind", "deb");
    start("https://127.0.0.1:1", false);
    EXPECT_EQ(status()["currentVersion"].asString(), mbapp::kVersion);
    EXPECT_EQ(status()["lastCheck"].asNumber(), 0);
    EXPECT_EQ(status()["state"].asString(), "idle");

    auto events = bridge.events();
    start("https://127.0.0.1:1", true);
    const auto checking = events.recvTextWith("update.state");
    ASSERT_TRUE(checking);
    EXPECT_EQ(mbjson::Json::parseText(*checking)["state"].asString(), "checking");
    const auto over = events.recvTextWith("update.state");
    ASSERT_TRUE(over);
    const mbjson::Json end = mbjson::Json::parseText(*over);
    EXPECT_EQ(end["state"].asString(), "idle") << "a failure that nobody asked for";
    EXPECT_NE(end["error"].asString(), "");
    EXPECT_GT(end["lastCheck"].asNumber(), 0);
}

TEST(ManifestCheck, FilesThatCannotBeReadAreAnError) {
    const TempDir dir;
    const std::string manifest = dir.write("update.json", "{}");
    EXPECT_EQ(mbapp::verifyManifestFiles(manifest, dir.at("none")), 2);
    EXPECT_EQ(mbapp::verifyManifestFiles(dir.at("none"), manifest), 2);
    testing::internal::CaptureStdout();
    EXPECT_EQ(mbapp::verifyManifestFiles(manifest, dir.write("update.json.sig", "AAAA")), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "signature BAD\n");
}

}  // namespace
