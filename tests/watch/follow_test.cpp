// The index is kept current by what the watcher tells, as the program joins the two.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "index/index.hpp"
#include "watch/watch_support.hpp"

namespace {

namespace fs = std::filesystem;

using mbtest::waitForWatches;
using mbtest::waitUntil;

class Followed {
public:
    Followed() { index.setRoots({{"app", folder.path()}}); }
    // With the files that are there and so many folders.
    void start(int folders) {
        index.rescanAsync(nullptr);
        index.waitForScan();
        watcher.watch(folder.path());
        watcher.start([this](const std::vector<std::string>& paths) {
            for (const std::string& path : paths) follow(path);
            told.callback()(paths);
        });
        EXPECT_TRUE(waitForWatches(folders));
    }
    bool waitForFiles(int count) {
        return waitUntil([&] { return index.stats().fileCount == count; }, mbtest::kWatchLimitMs);
    }
    bool holds(const std::string& relative) {
        return !index.filesWhere([&](const auto& file) { return file.relative == relative; })
                    .empty();
    }

    mbtest::TempDir folder;
    mbindex::Index index;
    mbtest::Told told;
    mbwatch::Watcher watcher;

private:
    void follow(const std::string& path) {
        struct stat status = {};
        if (::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
            index.reindexFile(path);
        else
            index.removeFile(path);
    }
};

TEST(WatchFollow, BurstOf3000FilesReachesTheIndexWhole) {
    Followed root;
    for (int i = 0; i < 30; ++i) root.folder.mkdir("d" + std::to_string(i));
    root.start(31);
    for (int i = 0; i < 3000; ++i)
        root.folder.write("d" + std::to_string(i % 30) + "/" + std::to_string(i), "text");
    EXPECT_TRUE(root.waitForFiles(3000));
    for (int i = 0; i < 3000; ++i)
        root.folder.write("d" + std::to_string(i % 30) + "/" + std::to_string(i), "longer text");
    EXPECT_TRUE(waitUntil(
        [&] {
            return root.index.filesWhere([](const auto& f) { return f.size == 11; }).size() == 3000;
        },
        mbtest::kWatchLimitMs));
    for (int i = 0; i < 3000; ++i)
        fs::remove(root.folder.at("d" + std::to_string(i % 30) + "/" + std::to_string(i)));
    EXPECT_TRUE(root.waitForFiles(0));
}

TEST(WatchFollow, BatchOf500PathsReachesTheIndexWhole) {
    Followed root;
    root.start(1);
    for (int i = 0; i < 500; ++i) root.folder.write(std::to_string(i), "");
    EXPECT_TRUE(root.told.waitForCount(500));
    EXPECT_EQ(root.index.stats().fileCount, 500);
}

TEST(WatchFollow, DeletedAndMovedFoldersLeaveTheIndex) {
    Followed root;
    for (const char* name : {"gone/a", "gone/sub/b", "moved/c", "stays/d"})
        root.folder.write(name, "");
    root.start(5);
    EXPECT_EQ(root.index.stats().fileCount, 4);
    fs::remove_all(root.folder.at("gone"));
    EXPECT_TRUE(root.waitForFiles(2));
    // What was moved comes back with the next scan only: the event names no file.
    fs::rename(root.folder.at("moved"), root.folder.at("new"));
    EXPECT_TRUE(root.waitForFiles(1));
    EXPECT_TRUE(root.told.waitFor(root.folder.at("new")));
    EXPECT_TRUE(root.holds("app/stays/d"));
    EXPECT_FALSE(root.holds("app/new/c"));
    root.index.rescanAsync(nullptr);
    root.index.waitForScan();
    EXPECT_TRUE(root.holds("app/new/c"));
}

}  // namespace
