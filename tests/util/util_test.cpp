#include "util/util.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/support.hpp"

namespace {

using namespace mbutil;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using Variables = std::map<std::string, std::optional<std::string>>;
using Pieces = std::vector<std::string>;

std::string workingFolder() { return std::filesystem::current_path().string(); }

// Runs in another working folder, on a thread of its own that has its own one.
void inFolder(const std::string& folder, const std::function<void()>& work) {
    std::thread([&] {
        ASSERT_EQ(::unshare(CLONE_FS), 0);
        ASSERT_EQ(::chdir(folder.c_str()), 0);
        work();
    }).join();
}

TEST(UtilText, PrefixAndSuffixAreCompared) {
    EXPECT_TRUE(startsWith("abc", "ab"));
    EXPECT_TRUE(startsWith("abc", ""));
    EXPECT_TRUE(startsWith("", ""));
    EXPECT_TRUE(startsWith("abc", "abc"));
    EXPECT_FALSE(startsWith("abc", "abcd"));
    EXPECT_FALSE(startsWith("abc", "AB"));
    EXPECT_TRUE(endsWith("abc", "bc"));
    EXPECT_TRUE(endsWith("abc", ""));
    EXPECT_FALSE(endsWith("abc", "ab"));
    EXPECT_FALSE(endsWith("c", "bc"));
}

TEST(UtilText, TrimStripsFourBytesOnly) {
    EXPECT_EQ(trim(" \t\r\na b\n\r\t "), "a b");
    EXPECT_EQ(trim(" \t\r\n"), "");
    EXPECT_EQ(trim(""), "");
    EXPECT_EQ(trim("\v a \f"), "\v a \f");
    EXPECT_EQ(trim("\xc2\xa0x"), "\xc2\xa0x");
    EXPECT_EQ(trim(std::string_view("\0 ", 2)), std::string(1, '\0'));
}

TEST(UtilText, SplitKeepsEmptyPieces) {
    EXPECT_EQ(split("", ','), Pieces{""});
    EXPECT_EQ(split("a", ','), Pieces{"a"});
    EXPECT_EQ(split("a,", ','), (Pieces{"a", ""}));
    EXPECT_EQ(split(",a", ','), (Pieces{"", "a"}));
    EXPECT_EQ(split(",,", ','), (Pieces{"", "", ""}));
    EXPECT_EQ(split("a,b;c", ','), (Pieces{"a", "b;c"}));
}

TEST(UtilText, LowerCaseFoldsAsciiOnly) {
    EXPECT_EQ(lowerCase("AbZ@[`{0"), "abz@[`{0");
    EXPECT_EQ(lowerCase("\xc3\x84\xc0\xdd"), "\xc3\x84\xc0\xdd");
}

TEST(UtilPath, JoinDropsOneSlashOnEitherSide) {
    struct Case {
        const char *left, *right, *joined;
    };
    for (const Case& c : {Case{"", "b", "b"},
                          {"", "/b", "/b"},
                          {"a", "", "a"},
                          {"a/", "", "a/"},
                          {"", "", ""},
                          {"a", "b", "a/b"},
                          {"a/", "b", "a/b"},
                          {"a", "/b", "a/b"},
                          {"a/", "/b", "a/b"},
                          {"/a//", "b", "/a//b"},
                          {"/a", "//b", "/a//b"},
                          {"/", "x", "/x"},
                          {"/", "/x", "/x"},
                          {"//", "x", "/x"},
                          {"///", "x", "///x"},
                          {"/", "/", "/"},
                          {"a", "/", "a/"},
                          {"/a", "/b/c/", "/a/b/c/"}})
        EXPECT_EQ(pathJoin(c.left, c.right), c.joined) << c.left << " and " << c.right;
}

TEST(UtilPath, BackslashesBecomeSlashes) {
    EXPECT_EQ(toPosixPath("a\\b\\\\c/d"), "a/b//c/d");
    EXPECT_EQ(toPosixPath(""), "");
}

TEST(UtilPath, CanonicalCleansUpWithoutLookingAtTheDisk) {
    struct Case {
        const char *path, *clean;
    };
    for (const Case& c : {Case{"", ""},
                          {"/", "/"},
                          {"//", "/"},
                          {"/a/../..//b/./c/", "/b/c"},
                          {"/..", "/"},
                          {"/../../x", "/x"},
                          {"/a/b/..", "/a"},
                          {"/a/b/../..", "/"},
                          {"/a/./", "/a"},
                          {"/a/...", "/a/..."},
                          {"/a/..b", "/a/..b"},
                          {"\\a\\..\\b", "/b"},
                          {"/does/not/exist/../x", "/does/not/x"}})
        EXPECT_EQ(canonical(c.path), c.clean) << c.path;
}

TEST(UtilPath, CanonicalDoesNotFollowLinks) {
    const TempDir folder;
    folder.mkdir("real/deep");
    ASSERT_EQ(::symlink(folder.at("real/deep").c_str(), folder.at("link").c_str()), 0);
    EXPECT_EQ(canonical(folder.at("link/../x")), folder.at("x"));
}

TEST(UtilPath, TildeIsTheHomeFolderOnlyAlone) {
    {
        const ScopedEnv home(Variables{{"HOME", "/home/me/"}});
        EXPECT_EQ(canonical("~"), "/home/me");
        EXPECT_EQ(canonical("~/x/../y"), "/home/me/y");
        EXPECT_EQ(canonical("~\\x"), "/home/me/x");
        EXPECT_EQ(canonical("~bob"), workingFolder() + "/~bob");
        EXPECT_EQ(canonical("/a/~"), "/a/~");
    }
    const ScopedEnv empty(Variables{{"HOME", ""}});
    EXPECT_EQ(canonical("~/x"), "/tmp/x");
    const ScopedEnv unset(Variables{{"HOME", std::nullopt}});
    EXPECT_EQ(canonical("~"), "/tmp");
}

TEST(UtilPath, RelativeHomeIsBelowTheWorkingFolder) {
    const ScopedEnv home(Variables{{"HOME", "rel"}});
    EXPECT_EQ(canonical("~/x"), workingFolder() + "/rel/x");
}

TEST(UtilPath, RelativePathIsBelowTheWorkingFolder) {
    EXPECT_EQ(canonical("a/b"), workingFolder() + "/a/b");
    EXPECT_EQ(canonical("."), workingFolder());
    EXPECT_EQ(canonical("./a/../b/"), workingFolder() + "/b");
}

TEST(UtilPath, RelativePathIsBuiltAsAbsoluteWithoutAWorkingFolder) {
    const TempDir folder;
    const std::string gone = folder.mkdir("gone");
    inFolder(gone, [&] {
        ASSERT_EQ(::rmdir(gone.c_str()), 0);
        EXPECT_EQ(canonical("a/../b"), "/b");
        EXPECT_EQ(canonical(".."), "/");
    });
}

TEST(UtilPath, DirNameIsTheTextBeforeTheLastSlash) {
    struct Case {
        const char *path, *folder;
    };
    for (const Case& c : {Case{"", ""},
                          {"/", ""},
                          {"a", ""},
                          {"/a", "/"},
                          {"a/b", "a"},
                          {"/a/b", "/a"},
                          {"/a/b/", "/a/b"},
                          {"a/", "a"},
                          {"//", "/"},
                          {"//a", "/"}})
        EXPECT_EQ(dirName(c.path), c.folder) << c.path;
}

TEST(UtilPath, BaseNameIsTheTextBehindTheLastSlash) {
    EXPECT_EQ(baseName("/a/b.txt"), "b.txt");
    EXPECT_EQ(baseName("b.txt"), "b.txt");
    EXPECT_EQ(baseName("/a/"), "");
    EXPECT_EQ(baseName("/"), "");
    EXPECT_EQ(baseName(""), "");
}

TEST(UtilPath, ExtensionIsTheTextBehindTheLastDotOfTheBaseName) {
    EXPECT_EQ(extension("/a/b.TXT"), "txt");
    EXPECT_EQ(extension("b.tar.gz"), "gz");
    EXPECT_EQ(extension("folder.d/Makefile"), "");
    EXPECT_EQ(extension(".gitignore"), "gitignore");
    EXPECT_EQ(extension("x.wasm"), "wasm");
    EXPECT_EQ(extension("a."), "");
    EXPECT_EQ(extension("a.b/"), "");
    EXPECT_EQ(extension(""), "");
    EXPECT_EQ(extension("a.\xc3\x84"), "\xc3\x84");
}

TEST(UtilFolders, HomeFallsBackToTmp) {
    {
        const ScopedEnv home(Variables{{"HOME", "/home/me"}});
        EXPECT_EQ(homeDir(), "/home/me");
    }
    {
        const ScopedEnv empty(Variables{{"HOME", ""}});
        EXPECT_EQ(homeDir(), "/tmp");
    }
    const ScopedEnv unset(Variables{{"HOME", std::nullopt}});
    EXPECT_EQ(homeDir(), "/tmp");
}

TEST(UtilFolders, XdgFolderCountsOnlyWhenAbsolute) {
    const ScopedEnv home(Variables{{"HOME", "/home/me"}, {"XDG_CONFIG_HOME", "/conf"}});
    EXPECT_EQ(xdgDir("XDG_CONFIG_HOME", ".config"), "/conf");
    for (const std::optional<std::string>& value :
         {std::optional<std::string>("rel"), std::optional<std::string>(""),
          std::optional<std::string>("~/conf"), std::optional<std::string>()}) {
        const ScopedEnv other(Variables{{"XDG_CONFIG_HOME", value}});
        EXPECT_EQ(xdgDir("XDG_CONFIG_HOME", ".config"), "/home/me/.config");
    }
    const ScopedEnv unset(Variables{{"HOME", std::nullopt}, {"XDG_DATA_HOME", std::nullopt}});
    EXPECT_EQ(xdgDir("XDG_DATA_HOME", ".local/share"), "/tmp/.local/share");
}

// Two folders on PATH; what the second one holds is hidden by the first.
class UtilFindOnPath : public testing::Test {
protected:
    std::string program(const std::string& relative, mode_t mode = 0755) const {
        const std::string path = folder.write(relative, "#!/bin/sh\n");
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }

    TempDir folder;
    ScopedEnv environment{
        Variables{{"PATH", ":" + folder.at("one") + "::" + folder.at("two") + ":"}}};
};

TEST_F(UtilFindOnPath, FirstExecutableInOrderIsFound) {
    program("two/tool");
    EXPECT_EQ(findOnPath("tool"), folder.at("two/tool"));
    program("one/tool");
    EXPECT_EQ(findOnPath("tool"), folder.at("one/tool"));
}

TEST_F(UtilFindOnPath, FoldersAndPlainFilesArePassedOver) {
    folder.mkdir("one/tool");
    program("two/tool");
    EXPECT_EQ(findOnPath("tool"), folder.at("two/tool"));
    program("one/other", 0644);
    EXPECT_EQ(findOnPath("other"), "");
    program("two/other");
    EXPECT_EQ(findOnPath("other"), folder.at("two/other"));
}

TEST_F(UtilFindOnPath, NameWithASlashIsTestedAsItStands) {
    const std::string tool = program("one/tool");
    const std::string plain = program("one/plain", 0644);
    EXPECT_EQ(findOnPath(tool), tool);
    EXPECT_EQ(findOnPath(plain), "");
    EXPECT_EQ(findOnPath(folder.at("missing")), "");
    EXPECT_EQ(findOnPath("./no-such-tool"), "");
}

TEST_F(UtilFindOnPath, EmptyOrUnknownNameIsNotFound) {
    EXPECT_EQ(findOnPath(""), "");
    EXPECT_EQ(findOnPath("no-such-tool"), "");
    program("one/tool");
    EXPECT_EQ(findOnPath(std::string("tool\0x", 6)), "");
}

TEST_F(UtilFindOnPath, EmptyEntryIsNotTheWorkingFolder) {
    program("here/tool");
    inFolder(folder.at("here"), [] { EXPECT_EQ(findOnPath("tool"), ""); });
}

TEST_F(UtilFindOnPath, DefaultFoldersServeWithoutAPath) {
    for (const std::optional<std::string>& value :
         {std::optional<std::string>(""), std::optional<std::string>()}) {
        const ScopedEnv other(Variables{{"PATH", value}});
        const std::string shell = findOnPath("env");
        EXPECT_TRUE(shell == "/usr/local/bin/env" || shell == "/usr/bin/env") << shell;
    }
}

}  // namespace
