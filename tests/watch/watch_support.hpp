#pragma once
// What the tests of the watcher share.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "support/support.hpp"
#include "watch/watch.hpp"

namespace mbtest {

// Loaded machines and sanitizers are slow; a wait that succeeds takes no longer for it.
constexpr int kWatchLimitMs = 30000;

// The folders that all inotify instances of this process watch, as the kernel counts them.
inline int watchCount() {
    int count = 0;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (gone || target != "anon_inode:inotify") continue;
        std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
        for (std::string line; std::getline(info, line);)
            count += line.compare(0, 11, "inotify wd:") == 0 ? 1 : 0;
    }
    return count;
}

inline bool waitForWatches(int count) {
    return waitUntil([=] { return watchCount() == count; }, kWatchLimitMs);
}

// What has been told so far. Outlives the watcher.
class Told {
public:
    using Paths = std::vector<std::string>;

    mbwatch::Watcher::Callback callback() {
        return [this](const Paths& paths) {
            const std::lock_guard lock(mutex);
            list.push_back(paths);
            changed.notify_all();
        };
    }
    bool waitFor(const std::string& path) {
        return wait([&] { return hasLocked(path); });
    }
    bool waitForCount(size_t count) {
        return wait([&] { return allLocked().size() >= count; });
    }
    bool has(const std::string& path) {
        const std::lock_guard lock(mutex);
        return hasLocked(path);
    }
    // Each path once.
    std::set<std::string> all() {
        const std::lock_guard lock(mutex);
        return allLocked();
    }
    std::vector<Paths> batches() {
        const std::lock_guard lock(mutex);
        return list;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Paths> list;

    bool hasLocked(const std::string& path) const {
        return std::any_of(list.begin(), list.end(), [&](const Paths& paths) {
            return std::find(paths.begin(), paths.end(), path) != paths.end();
        });
    }
    std::set<std::string> allLocked() const {
        std::set<std::string> paths;
        for (const Paths& batch : list) paths.insert(batch.begin(), batch.end());
        return paths;
    }
    template <typename Condition>
    bool wait(const Condition& condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(kWatchLimitMs), condition);
    }
};

// A folder with so many folders in it to be watched, itself among them, under a watcher.
class Watched {
public:
    void start(int folders) {
        watcher.watch(folder.path());
        watcher.start(told.callback());
        EXPECT_TRUE(waitForWatches(folders));
    }
    // Events come in order: once this has been told, all before it has been, or never will be.
    void settle() {
        const std::string mark = "mark" + std::to_string(++marks);
        EXPECT_TRUE(told.waitFor(folder.write(mark, "")));
    }

    TempDir folder;
    Told told;
    mbwatch::Watcher watcher;

private:
    int marks = 0;
};

}  // namespace mbtest
