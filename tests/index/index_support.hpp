#pragma once
// What the tests of the index share.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "index/index.hpp"
#include "support/support.hpp"

namespace mbtest {

// Loaded machines and sanitizers are slow; a wait that succeeds takes no longer for it.
constexpr int kIndexLimitMs = 60000;

inline void scan(mbindex::Index& index) {
    index.rescanAsync(nullptr);
    index.waitForScan();
}

inline std::vector<std::string> pathsOf(const std::vector<mbindex::FileEntry>& files) {
    std::vector<std::string> paths;
    for (const mbindex::FileEntry& file : files) paths.push_back(file.relative);
    return paths;
}

// The workspace paths of all files.
inline std::vector<std::string> listOf(const mbindex::Index& index) {
    std::vector<std::string> paths;
    for (const auto& file : index.filesWhere([](const mbindex::FileEntry&) { return true; }))
        paths.push_back(file.second);
    return paths;
}

// The one file whose workspace path is that; an empty record when there is none.
inline mbindex::FileEntry fileAt(const mbindex::Index& index, const std::string& relative) {
    mbindex::FileEntry found;
    (void)index.filesWhere([&](const mbindex::FileEntry& file) {
        if (file.relative == relative) found = file;
        return false;
    });
    return found;
}

// Opens once, for all who wait.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        changed.notify_all();
    }
    bool wait() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(kIndexLimitMs),
                                [this] { return isOpen; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
};

// A folder with one root, "app".
struct OneRoot {
    OneRoot() { index.setRoots({{"app", folder.path()}}); }

    TempDir folder;
    mbindex::Index index;
};

}  // namespace mbtest
