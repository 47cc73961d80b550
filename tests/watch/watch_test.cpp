// What is told of changes to real folders.

#include "watch/watch.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "watch/watch_support.hpp"

namespace {

namespace fs = std::filesystem;

using mbtest::TempDir;
using mbtest::Told;
using mbtest::waitForWatches;
using mbtest::Watched;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

using Paths = std::vector<std::string>;

TEST(Watcher, TellsOfNewChangedMovedAndDeletedFiles) {
    Watched root;
    const std::string changed = root.folder.write("sub/changed", "");
    const std::string deleted = root.folder.write("sub/deleted", "");
    const std::string from = root.folder.write("from", "");
    root.start(2);
    const std::string created = root.folder.write("sub/created", "1");
    EXPECT_TRUE(root.told.waitFor(created));
    root.folder.write("sub/changed", "22");
    EXPECT_TRUE(root.told.waitFor(changed));
    fs::remove(deleted);
    EXPECT_TRUE(root.told.waitFor(deleted));
    fs::rename(from, root.folder.at("sub/to"));
    EXPECT_TRUE(root.told.waitFor(from));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("sub/to")));
    EXPECT_EQ(root.told.all().size(), 5U);
}

TEST(Watcher, ReadingAndFileModesAreNoChanges) {
    Watched root;
    const std::string path = root.folder.write("a", "1");
    root.start(1);
    (void)mbtest::slurp(path);
    fs::permissions(path, fs::perms::owner_read);
    root.settle();
    EXPECT_FALSE(root.told.has(path));
}

TEST(Watcher, QuietEndsABatchAndEachPathIsInItOnceInByteOrder) {
    Watched root;
    root.start(1);
    for (const char* name : {"b", "a", "c", "b", "a"}) root.folder.write(name, "x");
    EXPECT_TRUE(root.told.waitForCount(3));
    const Paths told = {root.folder.at("a"), root.folder.at("b"), root.folder.at("c")};
    for (const Paths& batch : root.told.batches()) {
        EXPECT_TRUE(std::is_sorted(batch.begin(), batch.end()));
        EXPECT_EQ(std::adjacent_find(batch.begin(), batch.end()), batch.end());
    }
    EXPECT_EQ(root.told.all(), std::set<std::string>(told.begin(), told.end()));
}

// Writes without a pause go on for four seconds here, so a batch is due twice by 1500 ms of hold.
TEST(Watcher, WritesWithoutAPauseAreToldOfEvery1500Ms) {
    Watched root;
    root.start(1);
    int stalls = 0;  // a machine that stands still for longer than the quiet ends a batch early
    const auto begin = steady_clock::now();
    auto last = begin;
    while (steady_clock::now() - begin < milliseconds(4000)) {
        root.folder.write("a", "x");
        const auto now = steady_clock::now();
        stalls += now - last > milliseconds(150) ? 1 : 0;
        last = now;
        std::this_thread::sleep_for(milliseconds(10));  // the pace of the writer
    }
    const auto batches = static_cast<int>(root.told.batches().size());
    EXPECT_GE(batches, 2);
    EXPECT_LE(batches, 3 + stalls);
}

TEST(Watcher, SavingThroughATemporaryNameTellsTheFinalNameOnly) {
    Watched root;
    root.start(1);
    const std::string temporary = root.folder.write("a.txt.tmp", "new");
    root.folder.write("a.txt~", "old");
    root.folder.write(".a.txt.swp", "");
    fs::rename(temporary, root.folder.at("a.txt"));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("a.txt")));
    root.settle();
    EXPECT_EQ(root.told.all(),
              (std::set<std::string>{root.folder.at("a.txt"), root.folder.at("mark1")}));
}

TEST(Watcher, NewFolderIsWatchedFromItsEventOn) {
    Watched root;
    root.start(1);
    const std::string folder = root.folder.mkdir("new");
    EXPECT_TRUE(waitForWatches(2));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("new/a", "")));
    EXPECT_TRUE(root.told.has(folder));
    root.folder.mkdir("new/deep/er");
    EXPECT_TRUE(waitForWatches(4));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("new/deep/er/b", "")));
}

TEST(Watcher, FilesThatCameWithAFolderAreNotTold) {
    Watched root;
    TempDir outside;
    outside.write("folder/in/early", "");
    root.start(1);
    fs::rename(outside.at("folder"), root.folder.at("folder"));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("folder")));
    EXPECT_TRUE(waitForWatches(3));
    const std::string late = root.folder.write("folder/in/late", "");
    EXPECT_TRUE(root.told.waitFor(late));
    EXPECT_EQ(root.told.all(), (std::set<std::string>{root.folder.at("folder"), late}));
}

TEST(Watcher, FolderThatIsMovedIsToldUnderItsNewName) {
    Watched root;
    root.folder.mkdir("old/in");
    root.start(3);
    fs::rename(root.folder.at("old"), root.folder.at("new"));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("new")));
    EXPECT_TRUE(root.told.has(root.folder.at("old")));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("new/in/a", "")));
    EXPECT_FALSE(root.told.has(root.folder.at("old/in/a")));
}

TEST(Watcher, SkippedFoldersThatAppearAreNotWatched) {
    Watched root;
    root.start(1);
    for (const char* name : {"node_modules", "Target", ".git"}) root.folder.mkdir(name);
    root.settle();
    EXPECT_EQ(mbtest::watchCount(), 1);
    for (const char* name : {"node_modules", "Target", ".git"})
        root.folder.write(std::string(name) + "/a", "");
    root.settle();
    for (const char* name : {"node_modules", "Target", ".git"})
        EXPECT_FALSE(root.told.has(root.folder.at(std::string(name) + "/a"))) << name;
}

TEST(Watcher, LinksAreNotFollowed) {
    Watched root;
    TempDir outside;
    fs::create_directory_symlink(outside.path(), root.folder.at("link"));
    root.start(1);
    outside.write("a", "");
    root.settle();
    EXPECT_FALSE(root.told.has(root.folder.at("link/a")));
}

TEST(Watcher, OfGitOnlyBranchesHeadAndIndexAreTold) {
    Watched root;
    for (const char* name : {".git/objects/aa", ".git/refs/heads"}) root.folder.mkdir(name);
    root.start(4);  // the root, .git, refs and heads
    root.folder.write(".git/objects/aa/blob", "");
    root.folder.write(".git/COMMIT_EDITMSG", "");
    root.folder.write(".git/config", "");
    std::set<std::string> told;
    for (const char* name : {".git/HEAD", ".git/index", ".git/index.lock", ".git/refs/heads/main"})
        told.insert(root.folder.write(name, ""));
    root.settle();
    told.insert(root.folder.at("mark1"));
    EXPECT_EQ(root.told.all(), told);
}

TEST(Watcher, CommitIsTold) {
    Watched root;
    const mbtest::ScopedEnv home({{"HOME", root.folder.path()},
                                  {"GIT_CONFIG_NOSYSTEM", "1"},
                                  {"GIT_AUTHOR_NAME", "a"},
                                  {"GIT_AUTHOR_EMAIL", "a@example.org"},
                                  {"GIT_COMMITTER_NAME", "a"},
                                  {"GIT_COMMITTER_EMAIL", "a@example.org"}});
    const std::string git = "git -C " + root.folder.path();
    ASSERT_EQ(std::system((git + " init -q -b main").c_str()), 0);
    root.start(5);  // the root, .git, refs, heads and tags
    ASSERT_EQ(std::system((git + " commit -q --allow-empty -m one").c_str()), 0);
    EXPECT_TRUE(root.told.waitFor(root.folder.at(".git/refs/heads/main")));
    ASSERT_EQ(std::system((git + " checkout -q -b other").c_str()), 0);
    EXPECT_TRUE(root.told.waitFor(root.folder.at(".git/HEAD")));
    for (const std::string& path : root.told.all())
        EXPECT_EQ(path.find("/objects"), std::string::npos) << path;
}

TEST(Watcher, NamesAreAnyBytes) {
    Watched root;
    root.folder.mkdir("\xff");
    root.start(2);
    EXPECT_TRUE(root.told.waitFor(root.folder.write("\xff/a\n\x01\xc3", "")));
}

TEST(Watcher, DeletedRootIsToldAndNotWatchedAnyMore) {
    Watched root;
    const std::string gone = root.folder.mkdir("gone/sub");
    root.watcher.watch(root.folder.at("gone"));
    root.watcher.watch(root.folder.mkdir("stays"));
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(3));
    fs::remove_all(root.folder.at("gone"));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("gone")));
    EXPECT_TRUE(waitForWatches(1));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("stays/a", "")));
}

TEST(Watcher, BatchesHoldAtMost4096Paths) {
    Watched root;
    root.start(1);
    constexpr size_t kFiles = 6000;
    for (size_t i = 0; i < kFiles; ++i) {
        const std::string path = root.folder.at(std::to_string(i));
        ASSERT_EQ(::mknod(path.c_str(), S_IFREG | 0600, 0), 0);  // one event each
    }
    EXPECT_TRUE(root.told.waitForCount(kFiles));
    for (const Paths& batch : root.told.batches()) EXPECT_LE(batch.size(), 4096U);
}

TEST(Watcher, FoldersAreMadeCanonical) {
    Watched root;
    root.folder.mkdir("a");
    root.watcher.watch(root.folder.at("b/../a//"));
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(1));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("a/x", "")));
}

}  // namespace
