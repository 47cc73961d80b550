#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/support.hpp"
#include "workspace/workspace.hpp"

namespace {

using mbtest::slurp;
using mbtest::TempDir;
using mbws::Config;
using mbws::Workspace;

std::string dump(const Workspace& workspace) { return workspace.config()->toJson().dump(); }

// A workspace whose record differs from the defaults.
void mark(Workspace& workspace) {
    Config config;
    config.theme = "marked";
    workspace.setConfig(config);
}

TEST(SettingsFile, SaveWritesOneCompactLineAndLoadTakesItBack) {
    const TempDir folder;
    Workspace workspace;
    Config config;
    config.roots = {{"app", "/srv/app"}};
    config.theme = "t";
    config.claude.set("model", "m");
    workspace.setConfig(config);
    ASSERT_TRUE(workspace.saveConfig(folder.at("deep/er/marlin-bench.json")));
    EXPECT_EQ(slurp(folder.at("deep/er/marlin-bench.json")), config.toJson().dump());

    Workspace other;
    ASSERT_TRUE(other.loadConfig(folder.at("deep/er/marlin-bench.json")));
    EXPECT_EQ(dump(other), dump(workspace));
}

TEST(SettingsFile, SaveReplacesALongerFileInPlace) {
    const TempDir folder;
    const std::string path = folder.write("s.json", std::string(100000, 'x'));
    struct stat before = {}, after = {};
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    const Workspace workspace;
    ASSERT_TRUE(workspace.saveConfig(path));
    ASSERT_EQ(::stat(path.c_str(), &after), 0);
    EXPECT_EQ(slurp(path), dump(workspace));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 0777U, 0600U);
}

TEST(SettingsFile, TwoSavesAreByteIdentical) {
    const TempDir folder;
    Workspace workspace;
    Config config;
    config.languageServers.set("z", "1");
    config.languageServers.set("a", "2");
    workspace.setConfig(config);
    ASSERT_TRUE(workspace.saveConfig(folder.at("one")));
    ASSERT_TRUE(workspace.loadConfig(folder.at("one")));
    ASSERT_TRUE(workspace.saveConfig(folder.at("two")));
    EXPECT_EQ(slurp(folder.at("one")), slurp(folder.at("two")));
}

TEST(SettingsFile, SaveThatCannotBeDoneIsFalse) {
    const TempDir folder;
    const Workspace workspace;
    folder.write("file", "");
    EXPECT_FALSE(workspace.saveConfig(folder.at("file/s.json")));
    EXPECT_FALSE(workspace.saveConfig(folder.mkdir("folder")));
    EXPECT_FALSE(workspace.saveConfig("/proc/no/such/s.json"));
}

TEST(SettingsFile, FileThatDoesNotParseLeavesTheRecordAlone) {
    const TempDir folder;
    Workspace workspace;
    mark(workspace);
    const std::string before = dump(workspace);
    EXPECT_FALSE(workspace.loadConfig(folder.at("missing")));
    EXPECT_FALSE(workspace.loadConfig(folder.mkdir("folder")));
    for (const char* bytes : {"", " ", "\xef\xbb\xbf", "{", "{\"theme\":\"x\"} x", "{} {}", "{}\v",
                              "{\"theme\":\"x\",}", "{\"bridgePort\":1e999}", "[1e-400]"}) {
        EXPECT_FALSE(workspace.loadConfig(folder.write("s.json", bytes))) << bytes;
        EXPECT_EQ(dump(workspace), before) << bytes;
    }
}

TEST(SettingsFile, FifoIsNeitherReadNorWritten) {
    const TempDir folder;
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    Workspace workspace;
    EXPECT_FALSE(workspace.loadConfig(folder.at("fifo")));
    EXPECT_FALSE(workspace.saveConfig(folder.at("fifo")));
}

TEST(SettingsFile, ByteOrderMarkAndBlanksAroundTheValueAreAllowed) {
    const TempDir folder;
    Workspace workspace;
    EXPECT_TRUE(workspace.loadConfig(folder.write("s", "\xef\xbb\xbf \t{\"theme\":\"x\"}\r\n\t ")));
    EXPECT_EQ(workspace.config()->theme, "x");
}

TEST(SettingsFile, TextThatIsNotUtf8CountsAsWindows1252) {
    const TempDir folder;
    Workspace workspace;
    EXPECT_TRUE(workspace.loadConfig(folder.write("s", "{\"theme\":\"caf\xe9\"}")));
    EXPECT_EQ(workspace.config()->theme, "caf\xc3\xa9");
}

TEST(SettingsFile, ValidJsonOfAnotherShapeLoadsAsDefaultsAndStays) {
    const TempDir folder;
    Workspace workspace;
    for (const char* bytes : {"[]", "5"}) {
        mark(workspace);
        const std::string path = folder.write("s.json", bytes);
        EXPECT_TRUE(workspace.loadConfig(path));
        EXPECT_EQ(dump(workspace), Config().toJson().dump());
        EXPECT_EQ(slurp(path), bytes);
    }
}

TEST(SettingsFile, UnknownKeysVanishAtTheNextSaveButForThoseOfTheFreeObjects) {
    const TempDir folder;
    Workspace workspace;
    const std::string path =
        folder.write("s", R"({"other":1,"claude":{"other":2},"languageServers":{"other":3}})");
    ASSERT_TRUE(workspace.loadConfig(path));
    ASSERT_TRUE(workspace.saveConfig(path));
    const std::string saved = slurp(path);
    EXPECT_EQ(saved.find("\"other\":1"), std::string::npos);
    EXPECT_NE(saved.find("\"claude\":{\"other\":2}"), std::string::npos);
    EXPECT_NE(saved.find("\"languageServers\":{\"other\":3}"), std::string::npos);
}

TEST(SettingsFile, PathsOfRootsBecomeCanonicalAndAreSavedSo) {
    const TempDir folder;
    const mbtest::ScopedEnv scope({{"HOME", folder.path()}});
    folder.mkdir("real");
    ASSERT_EQ(::symlink(folder.at("real").c_str(), folder.at("link").c_str()), 0);
    Workspace workspace;
    const std::string path = folder.write(
        "s", R"({"roots":[{"name":"a","path":"~/a/./b//"},{"name":"b","path":"/x/../y/"},)"
             R"({"name":"c","path":")" +
                 folder.at("link") + R"("},{"name":"a","path":"~/a/b"}]})");
    ASSERT_TRUE(workspace.loadConfig(path));
    const auto config = workspace.config();
    ASSERT_EQ(config->roots.size(), 4U);
    EXPECT_EQ(config->roots[0].path, folder.at("a/b"));
    EXPECT_EQ(config->roots[1].path, "/y");
    EXPECT_EQ(config->roots[2].path, folder.at("link"));
    EXPECT_EQ(config->roots[3].path, folder.at("a/b"));
    ASSERT_TRUE(workspace.saveConfig(path));
    EXPECT_NE(slurp(path).find("\"path\":\"" + folder.at("a/b") + "\""), std::string::npos);
}

TEST(SettingsFile, DetectedDefaultsDoNotDependOnTheFolder) {
    EXPECT_EQ(Workspace::detectDefaults("/anywhere").toJson().dump(), Config().toJson().dump());
    EXPECT_EQ(Workspace::detectDefaults("").toJson().dump(), Config().toJson().dump());
}

// Under ThreadSanitizer also: a snapshot is never written again.
TEST(SettingsFile, SnapshotIsWholeWhileOthersChangeTheSettings) {
    Workspace workspace;
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (int number = 0; !stop; ++number) {
            Config config;
            config.theme = config.shellCommand =
                std::string(100, static_cast<char>('a' + number % 26));
            workspace.setConfig(std::move(config));
        }
    });
    const auto first = workspace.config();
    const std::string theme = first->theme;
    for (int i = 0; i < 5000; ++i) {
        const auto config = workspace.config();
        if (config->theme != "marlin-dark") {
            EXPECT_EQ(config->theme, config->shellCommand);
        }
    }
    stop = true;
    writer.join();
    EXPECT_EQ(first->theme, theme);
}

}  // namespace
