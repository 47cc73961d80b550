// Which folders come under watch.

#include "watch/folders.hpp"

#include <gtest/gtest.h>
#include <sys/inotify.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "support/support.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"
#include "watch/watch_support.hpp"

namespace {

namespace fs = std::filesystem;

using mbtest::TempDir;
using mbwatch::Folders;

using Paths = std::vector<std::string>;

struct Instance {
    mbutil::Fd inotify{::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    std::atomic<bool> goOn{true};
};

// The paths of all, in byte order, without the folder itself before them. The kernel numbers
// from 1.
Paths watchedIn(const Folders& folders, const std::string& base) {
    Paths paths;
    for (int watch = 1; watch < 1000; ++watch)
        if (const std::string* path = folders.find(watch))
            paths.push_back(path->substr(base.size()));
    std::sort(paths.begin(), paths.end());
    return paths;
}

TEST(WatchFolders, TreeIsAddedWithoutLinksAndWhatIsSkipped) {
    TempDir folder;
    TempDir outside;
    for (const char* path : {"a/b/c", "Node_Modules/x", "a/Target/y", "\xff\n"}) folder.mkdir(path);
    folder.write("file", "");
    fs::create_directory_symlink(outside.path(), folder.at("link"));
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addTree(folder.path());
    EXPECT_EQ(watchedIn(folders, folder.path()), (Paths{"", "/a", "/a/b", "/a/b/c", "/\xff\n"}));
    EXPECT_EQ(mbtest::watchCount(), 5);
}

TEST(WatchFolders, OfGitOnlyTheFolderAndItsRefs) {
    TempDir folder;
    for (const char* path : {".git/objects/aa", ".git/logs", ".git/refs/heads/feature", "src"})
        folder.mkdir(path);
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addRoot(folder.path());
    EXPECT_EQ(
        watchedIn(folders, folder.path()),
        (Paths{"", "/.git", "/.git/refs", "/.git/refs/heads", "/.git/refs/heads/feature", "/src"}));
}

TEST(WatchFolders, RootMayBeCalledLikeASkippedFolder) {
    TempDir folder;
    folder.mkdir("target/a");
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addRoot(folder.at("target"));
    EXPECT_EQ(watchedIn(folders, folder.at("target")), (Paths{"", "/a"}));
}

TEST(WatchFolders, LimitHoldsAndFreedPlacesServeAgain) {
    TempDir folder;
    for (int i = 0; i < 20; ++i) folder.mkdir("d" + std::to_string(i));
    folder.mkdir(".git/refs");
    const std::string other = folder.mkdir("node_modules/other");
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn, 10);
    folders.addRoot(folder.path());
    EXPECT_EQ(mbtest::watchCount(), 10);
    folders.addTree(other);
    EXPECT_EQ(mbtest::watchCount(), 10);
    folders.forget(3);
    EXPECT_EQ(folders.find(3), nullptr);
    folders.addTree(other);
    EXPECT_EQ(mbtest::watchCount(), 11);
    EXPECT_EQ(*folders.find(11), other);
}

TEST(WatchFolders, LimitLeavesRoomForTheRefsOrNot) {
    TempDir folder;
    folder.mkdir(".git/refs/heads");
    for (const size_t limit : {1U, 2U, 3U}) {
        Instance instance;
        Folders folders(instance.inotify.value, instance.goOn, limit);
        folders.addRoot(folder.path());
        EXPECT_EQ(mbtest::watchCount(), static_cast<int>(limit));
    }
}

TEST(WatchFolders, KnownFolderUnderAnotherPathGetsThatPath) {
    TempDir folder;
    folder.mkdir("old/in");
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addTree(folder.path());
    fs::rename(folder.at("old"), folder.at("new"));
    folders.addTree(folder.at("new"));
    EXPECT_EQ(watchedIn(folders, folder.path()), (Paths{"", "/new", "/new/in"}));
    EXPECT_EQ(mbtest::watchCount(), 3);
}

TEST(WatchFolders, MissingOnesAndFilesArePassedOver) {
    TempDir folder;
    Instance instance;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addRoot(folder.at("none"));
    folders.addRoot(folder.write("file", ""));
    folders.addRoot("");
    EXPECT_EQ(mbtest::watchCount(), 0);
}

TEST(WatchFolders, ClearedFlagEndsAnAddition) {
    TempDir folder;
    folder.mkdir(".git/refs");
    Instance instance;
    instance.goOn = false;
    Folders folders(instance.inotify.value, instance.goOn);
    folders.addRoot(folder.path());
    EXPECT_EQ(mbtest::watchCount(), 0);
}

TEST(WatchFolders, NoDoubledSlashBelowTheWholeDisk) {
    EXPECT_EQ(mbwatch::inFolder("/", "a"), "/a");
    EXPECT_EQ(mbwatch::inFolder("/a", "b"), "/a/b");
}

}  // namespace
