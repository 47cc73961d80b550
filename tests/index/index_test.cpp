// Finding files, and keeping single ones current.

#include "index/index.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "index/index_support.hpp"

namespace {

namespace fs = std::filesystem;

using mbindex::FileEntry;
using mbindex::Index;
using mbtest::fileAt;
using mbtest::listOf;
using mbtest::OneRoot;
using mbtest::pathsOf;
using mbtest::scan;
using mbtest::TempDir;

using Paths = std::vector<std::string>;

TEST(Index, EmptyQueryGivesTheShortestPaths) {
    OneRoot root;
    for (int length = 1; length <= 250; ++length)
        root.folder.write(std::string(static_cast<size_t>(length), 'x'), "");
    scan(root.index);
    const std::vector<FileEntry> found = root.index.searchFiles("", 200);
    ASSERT_EQ(found.size(), 200U);
    for (size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i].name.size(), i + 1);
}

TEST(Index, QueryFindsNamesInAnyCaseAndRanksFoldersBelow) {
    OneRoot root;
    root.folder.write("docs/readme.md", "");
    root.folder.write("a-name-long-enough-to-push-the-match-far-behind-README.txt", "");
    root.folder.write("readme/x", "");
    root.folder.write("other", "");
    scan(root.index);
    EXPECT_EQ(
        pathsOf(root.index.searchFiles("README", 200)),
        (Paths{"app/docs/readme.md",
               "app/a-name-long-enough-to-push-the-match-far-behind-README.txt", "app/readme/x"}));
}

TEST(Index, PositionAndLengthOfANameWeighTheSame) {
    OneRoot root;
    root.folder.write("xx_key", "");         // 3 + 6
    root.folder.write("sub/key_and_m", "");  // 0 + 9, the same
    root.folder.write("key", "");            // 0 + 3
    root.folder.write("xxxxxxx_key", "");    // 8 + 11
    scan(root.index);
    const Paths found = pathsOf(root.index.searchFiles("key", 200));
    ASSERT_EQ(found.size(), 4U);
    EXPECT_EQ(found[0], "app/key");
    EXPECT_EQ(found[3], "app/xxxxxxx_key");
}

TEST(Index, WholeQueryIsOneSubstringOfThePath) {
    OneRoot root;
    root.folder.write("src/main.cpp", "");
    root.folder.write("src/other/main.cpp", "");
    root.folder.write("a b", "");
    scan(root.index);
    EXPECT_EQ(pathsOf(root.index.searchFiles("rc/ma", 200)), Paths{"app/src/main.cpp"});
    EXPECT_EQ(pathsOf(root.index.searchFiles("APP/SRC/O", 200)), Paths{"app/src/other/main.cpp"});
    EXPECT_EQ(pathsOf(root.index.searchFiles("a b", 200)), Paths{"app/a b"});
    EXPECT_TRUE(root.index.searchFiles("main src", 200).empty());
    EXPECT_TRUE(root.index.searchFiles(" main", 200).empty());
}

TEST(Index, LettersBeyondAsciiMatchOnlyThemselves) {
    OneRoot root;
    root.folder.write("\xc3\x89t\xc3\xa9.txt", "");  // "Été.txt"
    scan(root.index);
    EXPECT_EQ(root.index.searchFiles("\xc3\x89T\xc3\xa9", 200).size(), 1U);
    EXPECT_TRUE(root.index.searchFiles("\xc3\xa9t\xc3\xa9", 200).empty());
}

TEST(Index, LimitIsNeverPassedAndNegativeGivesNone) {
    OneRoot root;
    for (const char* name : {"a1", "a2", "a3"}) root.folder.write(name, "");
    scan(root.index);
    EXPECT_EQ(root.index.searchFiles("a", 2).size(), 2U);
    EXPECT_EQ(root.index.searchFiles("a", 200).size(), 3U);
    for (const int limit : {0, -1, -200}) {
        EXPECT_TRUE(root.index.searchFiles("a", limit).empty()) << limit;
        EXPECT_TRUE(root.index.searchFiles("", limit).empty()) << limit;
    }
}

TEST(Index, FilesWhereGivesPairsInTheByteOrderOfTheWorkspacePaths) {
    OneRoot root;
    for (const char* name : {"a/x", "a-b/x", "a.txt", "a0", "B", "\xff", "a/x.y"})
        root.folder.write(name, "");
    scan(root.index);
    EXPECT_EQ(listOf(root.index), (Paths{"app/B", "app/a-b/x", "app/a.txt", "app/a/x", "app/a/x.y",
                                         "app/a0", "app/\xff"}));
    const auto picked =
        root.index.filesWhere([](const FileEntry& file) { return file.name == "x"; });
    ASSERT_EQ(picked.size(), 2U);
    EXPECT_EQ(picked[0].first, root.folder.at("a-b/x"));
    EXPECT_EQ(picked[0].second, "app/a-b/x");
}

TEST(Index, NewFilesTakeTheirPlaceInTheOrder) {
    OneRoot root;
    for (const char* name : {"b", "d"}) root.folder.write(name, "");
    scan(root.index);
    for (const char* name : {"e", "a", "c"}) root.index.reindexFile(root.folder.write(name, ""));
    EXPECT_EQ(listOf(root.index), (Paths{"app/a", "app/b", "app/c", "app/d", "app/e"}));
    EXPECT_EQ(root.index.stats().fileCount, 5);
}

TEST(Index, ReindexUpdatesSizeAndTime) {
    OneRoot root;
    const std::string path = root.folder.write("a/b.txt", "1");
    scan(root.index);
    root.folder.write("a/b.txt", "12345");
    const timespec times[2] = {{0, 0}, {1234567890, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_EQ(fileAt(root.index, "app/a/b.txt").size, 1U);
    root.index.reindexFile(path);
    const FileEntry file = fileAt(root.index, "app/a/b.txt");
    EXPECT_EQ(file.size, 5U);
    EXPECT_EQ(file.modified, 1234567890);
    EXPECT_EQ(file.absolute, path);
    EXPECT_EQ(file.name, "b.txt");
    EXPECT_EQ(file.root, "app");
    EXPECT_EQ(root.index.stats().fileCount, 1);
}

TEST(Index, ReindexTakesAPathThatIsNotCanonical) {
    OneRoot root;
    root.folder.write("sub/a", "");
    root.index.reindexFile(root.folder.path() + "//sub/./x/../a");
    EXPECT_EQ(fileAt(root.index, "app/sub/a").absolute, root.folder.at("sub/a"));
}

TEST(Index, ReindexOfAnythingButAFileInARootChangesNothing) {
    OneRoot root;
    TempDir outside;
    const std::string kept = root.folder.write("kept", "");
    scan(root.index);
    fs::remove(kept);
    root.index.reindexFile(kept);  // missing: the old entry stays
    root.index.reindexFile(root.folder.mkdir("folder"));
    root.index.reindexFile(outside.write("a", ""));
    root.index.reindexFile(root.folder.write("node_modules/a.js", ""));
    root.index.reindexFile(root.folder.write("src/OBJ/a.o", ""));
    ASSERT_EQ(::mkfifo(root.folder.at("pipe").c_str(), 0600), 0);
    root.index.reindexFile(root.folder.at("pipe"));
    root.index.reindexFile("");
    EXPECT_EQ(listOf(root.index), Paths{"app/kept"});
}

TEST(Index, FileThatIsCalledLikeASkippedFolderCounts) {
    OneRoot root;
    root.index.reindexFile(root.folder.write("obj", ""));
    EXPECT_EQ(listOf(root.index), Paths{"app/obj"});
    scan(root.index);
    EXPECT_EQ(listOf(root.index), Paths{"app/obj"});
}

TEST(Index, LinkIsAbsentAfterAScanAndPresentAfterReindex) {
    OneRoot root;
    TempDir outside;
    const std::string link = root.folder.at("link.txt");
    fs::create_symlink(outside.write("file.txt", "123"), link);
    fs::create_directory_symlink(outside.path(), root.folder.at("folder"));
    scan(root.index);
    EXPECT_TRUE(listOf(root.index).empty());
    root.index.reindexFile(link);
    EXPECT_EQ(listOf(root.index), Paths{"app/link.txt"});
    EXPECT_EQ(fileAt(root.index, "app/link.txt").size, 3U);
    EXPECT_EQ(fileAt(root.index, "app/link.txt").absolute, link);
    scan(root.index);
    EXPECT_TRUE(listOf(root.index).empty());
}

TEST(Index, RemovingAFolderRemovesAllBelowAndNothingBeside) {
    OneRoot root;
    for (const char* name : {"a/1", "a/b/2", "a/b/c/3", "a-b", "a.txt", "a0/1", "ab/1", "A/1"})
        root.folder.write(name, "");
    scan(root.index);
    root.index.removeFile(root.folder.at("a"));
    const Paths left = {"app/A/1", "app/a-b", "app/a.txt", "app/a0/1", "app/ab/1"};
    EXPECT_EQ(listOf(root.index), left);
    EXPECT_EQ(root.index.stats().fileCount, 5);
    root.index.removeFile(root.folder.at("a/b/2"));  // gone already
    root.index.removeFile(root.folder.at("a"));
    EXPECT_EQ(listOf(root.index), left);
}

TEST(Index, RemovingAFileLeavesThoseWhoseNamesBeginTheSame) {
    OneRoot root;
    for (const char* name : {"a", "ab", "a.txt"}) root.folder.write(name, "");
    scan(root.index);
    root.index.removeFile(root.folder.at("a"));
    EXPECT_EQ(listOf(root.index), (Paths{"app/a.txt", "app/ab"}));
}

TEST(Index, RemovingTheRootOrAPathOutside) {
    OneRoot root;
    root.folder.write("a", "");
    root.folder.write("b/c", "");
    scan(root.index);
    root.index.removeFile("/");
    root.index.removeFile(root.folder.path() + "x");
    EXPECT_EQ(root.index.stats().fileCount, 2);
    root.index.removeFile(root.folder.path());
    EXPECT_EQ(root.index.stats().fileCount, 0);
}

TEST(Index, PathsAreTurnedByItsOwnRoots) {
    Index index;
    index.setRoots({{"in", "/w/a/b/"}, {"out", "/w/a"}, {"again", "/w/a/b"}});
    std::string path = "untouched";
    for (const char* outside : {"/w", "/w/ab", "/x", ""}) {
        EXPECT_FALSE(index.toRelative(outside, path)) << outside;
        EXPECT_EQ(path, "untouched");
    }
    ASSERT_TRUE(index.toRelative("/w/a/b/c.txt", path));
    EXPECT_EQ(path, "in/c.txt");
    ASSERT_TRUE(index.toRelative("/w/a/./x/../c.txt", path));
    EXPECT_EQ(path, "out/c.txt");
    ASSERT_TRUE(index.toRelative("/w/a", path));
    EXPECT_EQ(path, "out");
}

TEST(Index, WorkspacePathsNeedASlashBehindAKnownRoot) {
    Index index;
    index.setRoots({{"app", "/w/./app/"}, {"folder", "/"}});
    std::string path = "untouched";
    for (const char* unknown : {"app", "ap/a", "apps/a", "/app/a", ""}) {
        EXPECT_FALSE(index.toAbsolute(unknown, path)) << unknown;
        EXPECT_EQ(path, "untouched");
    }
    ASSERT_TRUE(index.toAbsolute("app/src/a.cpp", path));
    EXPECT_EQ(path, "/w/app/src/a.cpp");
    ASSERT_TRUE(index.toAbsolute("folder/etc/hosts", path));
    EXPECT_EQ(path, "/etc/hosts");
}

}  // namespace
