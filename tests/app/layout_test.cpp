// Where the program finds its page and keeps its files; its settings and its port.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "app/app_test.hpp"

namespace {

namespace fs = std::filesystem;
using mbtest::Layout;
using mbtest::Program;

unsigned modeOf(const std::string& path) {
    struct stat info = {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
}

// A start, the settings that it has written, an orderly end.
mbjson::Json settingsAfterStart(const Layout& layout, int& port) {
    Program program(layout);
    EXPECT_TRUE(program.awaitBridge()) << program.errors();
    port = program.port();
    (void)program.request("/api/shutdown");
    EXPECT_EQ(program.process.waitForExit(), 0) << program.errors();
    return layout.settings();
}

TEST(AppLayout, WebFolderBesideTheProgramMeansUserFolders) {
    const Layout layout;
    layout.page("installed", "which.txt");
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/which.txt").body, "installed");
    EXPECT_TRUE(mbutil::fileExists(layout.at("home/.config/marlin-bench/marlin-bench.json")));
    EXPECT_FALSE(mbutil::fileExists(layout.at("app/marlin-bench.json")));
    EXPECT_FALSE(mbutil::fileExists(layout.at("marlin-bench.json")));
    EXPECT_FALSE(mbutil::fileExists(layout.at("app/session-url.txt")));
}

TEST(AppLayout, WithoutItThePageAndTheSettingsAreInTheParent) {
    const Layout layout(Layout::Kind::SourceTree);
    layout.page("source tree", "which.txt");
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/which.txt").body, "source tree");
    EXPECT_TRUE(mbutil::fileExists(layout.at("marlin-bench.json")));
    EXPECT_FALSE(mbutil::dirExists(layout.at("home/.config/marlin-bench")));
    EXPECT_EQ(modeOf(layout.at("build/session-url.txt")), 0600U);
    EXPECT_FALSE(mbutil::dirExists(layout.at("run/marlin-bench")));
}

TEST(AppLayout, XdgConfigHomeMovesTheSettings) {
    const Layout layout;
    Program program(layout, {.environment = {{"XDG_CONFIG_HOME", layout.at("home/cfg")}}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_TRUE(mbutil::fileExists(layout.at("home/cfg/marlin-bench/marlin-bench.json")));
    EXPECT_FALSE(mbutil::fileExists(layout.settingsPath()));
}

TEST(AppLayout, StartUrlHasTheTokenAndOnlyTheUserMayReadIt) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    // awaitBridge() has looked at the token's 48 lower-case hexadecimal digits.
    EXPECT_EQ(mbtest::slurp(layout.sessionUrlPath()),
              "http://127.0.0.1:" + std::to_string(program.port()) + "/?token=" + program.token());
    EXPECT_EQ(modeOf(layout.sessionUrlPath()), 0600U);
}

TEST(AppLayout, StartUrlReplacesOneThatOthersCouldRead) {
    const Layout layout;
    layout.write("run/marlin-bench/session-url.txt", std::string(500, 'x'));
    ::chmod(layout.sessionUrlPath().c_str(), 0644);
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(modeOf(layout.sessionUrlPath()), 0600U);
}

TEST(AppLayout, WithoutARuntimeFolderTheStartUrlIsInTheCache) {
    for (const bool unset : {true, false}) {
        const Layout layout;
        mbtest::Start start;
        // The files that tell starts of each other are then in "/tmp", which others use too.
        start.wrapper = layout.ownTmp();
        if (start.wrapper.empty()) GTEST_SKIP() << "this system gives a program no /tmp of its own";
        if (unset) start.without = {"XDG_RUNTIME_DIR"};
        if (!unset) start.environment = {{"XDG_RUNTIME_DIR", ""}};
        Program program(layout, start);
        const std::string path = layout.at("home/.cache/marlin-bench/session-url.txt");
        EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::slurp(path).size() > 60; }));
        EXPECT_EQ(modeOf(path), 0600U);
        const std::string user = std::to_string(::getuid());
        EXPECT_TRUE(mbutil::fileExists(layout.at("tmp/marlin-bench-" + user + ".lock")));
    }
}

TEST(AppLayout, TokenIsNewAtEachStartAndNotInTheSettings) {
    const Layout layout;
    std::string first;
    {
        Program program(layout);
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        first = program.token();
    }
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_NE(program.token(), first);
    EXPECT_EQ(mbtest::slurp(layout.settingsPath()).find(program.token()), std::string::npos);
}

TEST(AppSettings, FirstStartWritesTheDefaults) {
    const Layout layout;
    int port = 0;
    const mbjson::Json settings = settingsAfterStart(layout, port);
    EXPECT_EQ(settings.asObject().size(), 13U);
    EXPECT_EQ(settings["claudeCommand"].asString(), "claude");
    EXPECT_EQ(settings["theme"].asString(), "marlin-dark");
    EXPECT_EQ(settings["updateChannel"].asString(), "stable");
    EXPECT_TRUE(settings["roots"].isArray());
    EXPECT_TRUE(settings["roots"].asArray().empty());
    EXPECT_EQ(settings["bridgePort"].asInt(), port);
}

TEST(AppSettings, FileThatDoesNotParseIsReplacedByDefaults) {
    for (const char* text : {"", "{", "{\"theme\":\"mine\"} x", "\xEF\xBB\xBF",
                             "{\"theme\":\"mine\",\"bridgePort\":1e999}",
                             "{\"theme\":\"mine\",\"claude\":{\"deep\":[-1e400]}}"}) {
        const Layout layout;
        layout.write("home/.config/marlin-bench/marlin-bench.json", text);
        int port = 0;
        EXPECT_EQ(settingsAfterStart(layout, port)["theme"].asString(), "marlin-dark") << text;
    }
}

TEST(AppSettings, FileThatParsesIsKept) {
    const Layout layout;
    layout.write("home/.config/marlin-bench/marlin-bench.json",
                 "\xEF\xBB\xBF{\"theme\":\"mine\",\"claude\":{\"x\":1.5}}");
    int port = 0;
    const mbjson::Json settings = settingsAfterStart(layout, port);
    EXPECT_EQ(settings["theme"].asString(), "mine");
    EXPECT_EQ(settings["claude"]["x"].asNumber(), 1.5);
}

TEST(AppPort, IsKeptFromOneStartToTheNext) {
    const Layout layout;
    int first = 0;
    int second = 0;
    (void)settingsAfterStart(layout, first);
    (void)settingsAfterStart(layout, second);
    EXPECT_GE(first, 1024);
    EXPECT_EQ(second, first);
}

TEST(AppPort, ThatIsTakenIsReplacedSilentlyAndTheNewOneSaved) {
    const Layout layout;
    const mbtest::BusyPort busy;
    layout.write("home/.config/marlin-bench/marlin-bench.json",
                 "{\"theme\":\"mine\",\"bridgePort\":" + std::to_string(busy.port()) + "}");
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_NE(program.port(), busy.port());
    EXPECT_EQ(layout.settings()["bridgePort"].asInt(), program.port());
    EXPECT_EQ(layout.settings()["theme"].asString(), "mine");
    EXPECT_EQ(program.errors().find("Marlin Bench:"), std::string::npos) << program.errors();
    EXPECT_TRUE(program.awaitWindow());
}

// Run by root, who could have it.
TEST(AppPort, OutsideOf1024To65535IsNotTried) {
    for (const int wanted : {80, 1023, 65536, -1}) {
        const Layout layout;
        layout.write("home/.config/marlin-bench/marlin-bench.json",
                     "{\"bridgePort\":" + std::to_string(wanted) + "}");
        int port = 0;
        const mbjson::Json settings = settingsAfterStart(layout, port);
        EXPECT_GE(port, 1024) << wanted;
        EXPECT_EQ(settings["bridgePort"].asInt(), port) << wanted;
    }
}

}  // namespace
