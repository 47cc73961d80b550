#pragma once
// The list of all files below the workspace roots, in memory, so that quick open and the search
// need not walk the disk. It knows paths, sizes and times, no contents.
//
// Use: setRoots(), rescanAsync(); then reindexFile() and removeFile() keep single files current.
// What those change during a scan may be lost when its result takes the list's place.
// Limits: kMaxFiles; which files a scan of more finds depends on its threads. Links and folders of
// skip.hpp are left out, and nothing but folders is opened.
// Errors: none; what cannot be read is passed over.
// Threads: every operation may be called on any thread at once, but for waitForScan(),
// rescanAsync() and the destructor, which must not be called from the progress callback. A scan
// runs on a thread of its own, with up to 7 helpers; others wait for it only while the lists change
// places.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "index/root.hpp"
#include "json/json.hpp"

namespace mbindex {

inline constexpr int kMaxFiles = 200'000;

class FileTable;

struct FileEntry {
    std::string relative;  // workspace path: the root's name, "/" and the path below the root
    std::string absolute;  // canonical
    std::string name;      // the last component
    std::string root;      // the root's name
    uint64_t size = 0;     // bytes
    int64_t modified = 0;  // seconds since the epoch
};

struct Stats {
    int fileCount = 0;
    bool truncated = false;  // the last scan came to kMaxFiles
    double seconds = 0;      // that the last finished scan took
};

class Index {
public:
    // "index" with the number of files found and 0 once the walk is over, then "done" with the
    // number of files in the list, twice. Runs on the scan's thread.
    using Progress = std::function<void(const std::string& phase, int done, int total)>;
    using Predicate = std::function<bool(const FileEntry& file)>;

    Index();
    Index(const Index&) = delete;
    Index& operator=(const Index&) = delete;
    ~Index();  // ends a scan and waits for it

    // Makes their paths canonical. The list stays as it is until the next scan.
    void setRoots(std::vector<Root> next);
    // Ends a scan that runs, which leaves the list as it was and reports "done", waits for it and
    // starts anew.
    void rescanAsync(Progress progress);
    // Until no scan runs.
    void waitForScan();
    // Ends a scan that runs, which leaves the list as it was, and waits for it.
    void endScan();
    bool isScanning() const { return scanning; }

    // At most `limit` files whose name, or else whose workspace path, holds the query, best first;
    // letters A to Z match in either case. An empty query finds the shortest paths.
    std::vector<FileEntry> searchFiles(std::string_view query, int limit) const;
    // (absolute, workspace path) of all files that the predicate accepts, in the byte order of the
    // workspace paths. The predicate runs here, under the lock of the list: it must not call back.
    std::vector<std::pair<std::string, std::string>> filesWhere(const Predicate& accept) const;

    // Adds or updates one regular file; follows a link, unlike a scan. Anything else changes
    // nothing: an old entry stays.
    void reindexFile(const std::string& absolutePath);
    // Removes a file, or all files of a folder. Does not look at the disk.
    void removeFile(const std::string& absolutePath);

    Stats stats() const;
    // "files", "truncated", "seconds" and "scanning".
    mbjson::Json statsJson() const;

    // Lexical. False, and the output untouched, for a path outside of all roots.
    bool toRelative(const std::string& absolutePath, std::string& workspacePath) const;
    // The reverse, for a path with a "/" behind a root's name.
    bool toAbsolute(const std::string& workspacePath, std::string& absolutePath) const;

private:
    mutable std::shared_mutex mutex;
    // These are guarded by mutex.
    std::vector<Root> roots;
    std::unique_ptr<FileTable> files;  // never null
    bool truncated = false;
    double seconds = 0;

    std::mutex workerMutex;  // guards worker: one joins and starts it at a time
    std::thread worker;
    std::atomic<bool> scanning{false};
    std::atomic<bool> cancelled{false};

    // These run on worker.
    void scanWorker(const Progress& progress);
    void takeOver(std::unique_ptr<FileTable> found, double taken);
};

}  // namespace mbindex
