#include "main/arguments.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "main/folders.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbapp::absolutePaths;
using mbapp::foldersFor;
using mbapp::readArguments;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using Paths = std::vector<std::string>;
using Variables = std::map<std::string, std::optional<std::string>>;

Paths pathsOf(std::vector<const char*> words) {
    words.insert(words.begin(), "marlin-bench");
    return readArguments(static_cast<int>(words.size()), words.data()).paths;
}

TEST(Arguments, PathsKeepTheirOrder) { EXPECT_EQ(pathsOf({"b", "/a"}), (Paths{"b", "/a"})); }

TEST(Arguments, UnknownOptionsAndEmptyWordsAreIgnored) {
    EXPECT_EQ(pathsOf({"-x", "", "--unknown=1", "a", "-"}), Paths{"a"});
}

TEST(Arguments, ManifestCheckWithoutItsSecondFileIsIgnored) {
    EXPECT_EQ(pathsOf({"--verify-manifest", "a"}), Paths{"a"});
}

TEST(Arguments, ManifestCheckTakesTheTwoWordsBehindIt) {
    const char* words[] = {"marlin-bench", "x", "--verify-manifest", "a", "--version"};
    EXPECT_EQ(readArguments(5, words).verify, (Paths{"a", "--version"}));
    EXPECT_FALSE(readArguments(5, words).version);
    EXPECT_TRUE(readArguments(4, words).verify.empty());
}

TEST(Arguments, VersionIsSeenBehindPaths) {
    const char* words[] = {"marlin-bench", "a", "--version"};
    EXPECT_TRUE(readArguments(3, words).version);
    EXPECT_FALSE(readArguments(2, words).version);
}

TEST(Arguments, DesktopActionsAreFlagsAnywhere) {
    const char* words[] = {"marlin-bench", "a", "--quiet", "--unregister-shell",
                           "--register-shell"};
    const mbapp::Arguments all = readArguments(5, words);
    EXPECT_TRUE(all.registerShell && all.unregisterShell && all.quiet);
    EXPECT_EQ(all.paths, Paths{"a"});
    const mbapp::Arguments none = readArguments(2, words);
    EXPECT_FALSE(none.registerShell || none.unregisterShell || none.quiet);
}

TEST(Arguments, RelativePathsStandOnTheWorkingFolder) {
    const ScopedEnv env(Variables{{"OWD", std::nullopt}});
    char here[4096];
    ASSERT_NE(::getcwd(here, sizeof here), nullptr);
    EXPECT_EQ(absolutePaths({"x/../a.txt", "/b/../c"}),
              (Paths{mbutil::canonical(std::string(here) + "/a.txt"), "/b/../c"}));
}

TEST(Arguments, TheUsersFolderOfAnAppImageComesFirst) {
    const ScopedEnv env(Variables{{"OWD", "/home/me"}});
    EXPECT_EQ(absolutePaths({"file.txt", "../b"}), (Paths{"/home/me/file.txt", "/home/b"}));
}

TEST(Arguments, AnEmptyUsersFolderCountsAsNone) {
    const ScopedEnv env(Variables{{"OWD", ""}});
    EXPECT_NE(absolutePaths({"file.txt"}), Paths{"/file.txt"});
}

TEST(Folders, WebBesideTheExecutableMeansXdgFolders) {
    const TempDir dir;
    dir.mkdir("app/web");
    const ScopedEnv env(Variables{{"XDG_CONFIG_HOME", dir.at("config")}});
    const mbapp::Folders folders = foldersFor(dir.at("app"));
    EXPECT_EQ(folders.webBase, dir.at("app"));
    EXPECT_EQ(folders.configuration, dir.at("config/marlin-bench"));
    EXPECT_FALSE(folders.sourceTree());
}

TEST(Folders, WithoutWebTheParentServesAndKeepsTheSettings) {
    const TempDir dir;
    dir.mkdir("tree/build");
    const mbapp::Folders folders = foldersFor(dir.at("tree/build"));
    EXPECT_EQ(folders.webBase, dir.at("tree"));
    EXPECT_EQ(folders.configuration, dir.at("tree"));
    EXPECT_TRUE(folders.sourceTree());
}

TEST(Folders, ARelativeConfigHomeIsIgnored) {
    const TempDir dir;
    dir.mkdir("app/web");
    const ScopedEnv env(Variables{{"XDG_CONFIG_HOME", "config"}, {"HOME", dir.at("home")}});
    EXPECT_EQ(foldersFor(dir.at("app")).configuration, dir.at("home/.config/marlin-bench"));
}

TEST(Folders, IconLiesUnderTheWebBase) {
    const TempDir dir;
    dir.mkdir("app/web");
    const std::string icon = dir.write("app/assets/marlin-bench.png", "png");
    EXPECT_EQ(mbapp::iconPathFor(foldersFor(dir.at("app"))), icon);
}

}  // namespace
