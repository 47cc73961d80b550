#pragma once
// Reports changes below the workspace roots, in debounced batches of paths.
//
// Use: watch() each root, start() with a callback; reset() before other roots, stop() or destroy.
// A new folder is watched when its event is read: what was put into it before is not reported.
// Limits: 50,000 watched folders; a batch goes out after 220 ms of quiet, after 1500 ms in any
// case, or at 4096 paths. Folders that the index skips are left out, and of ".git" all but what
// tells of commits and branches. Errors: none. Where the system is short of something, less is
// watched; a change that the kernel's queue had no room for is lost. Threads: the callback runs on
// the watcher's own thread and must not call back into the watcher; a slow one delays the next
// batch. All else may be called on any thread. stop() waits for a callback that runs.

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "util/fd.hpp"

namespace mbwatch {

class Watcher {
public:
    // Absolute paths in byte order, each once; any bytes. A path may be gone again.
    using Callback = std::function<void(const std::vector<std::string>& paths)>;

    Watcher() = default;
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    ~Watcher() { stop(); }

    // A folder for the next start().
    void watch(const std::string& folder);
    // Nothing while it runs. Returns before the folders are watched.
    void start(Callback onChange);
    // What has not been reported is dropped.
    void stop();
    // stop() and forget the folders.
    void reset();

private:
    // Held by all public functions, also for the join: a start() in the middle of a stop() must
    // find the old thread gone. The thread itself never takes it.
    std::mutex controlMutex;
    std::vector<std::string> roots;  // canonical; the thread has a copy
    std::thread thread;
    std::atomic<bool> running{false};
    // These change while the thread does not run.
    mbutil::Fd inotifyFd;
    mbutil::Fd wakeRead;  // readable once the thread is to end
    mbutil::Fd wakeWrite;
    Callback callback;

    void stopLocked();
    bool openDescriptors();
    void closeDescriptors();
};

}  // namespace mbwatch
