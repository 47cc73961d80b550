#include "index/scan.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "index/skip.hpp"
#include "util/util.hpp"

namespace mbindex {

namespace {

constexpr unsigned kFewestWalkers = 2;
constexpr unsigned kMostWalkers = 8;
constexpr size_t kUsualPath = 80;  // bytes

struct Job {
    std::string folder;  // absolute
    uint32_t root = 0;
};

// What one walker has found.
struct Batch {
    struct File {
        uint32_t start = 0;
        uint32_t length = 0;
        FileFacts facts;
    };
    std::string paths;
    std::vector<File> files;

    std::string_view path(const File& file) const {
        return std::string_view(paths).substr(file.start, file.length);
    }
    void add(std::string_view prefix, std::string_view name, FileFacts facts) {
        facts.nameLength = static_cast<uint32_t>(name.size());
        const auto start = static_cast<uint32_t>(paths.size());
        files.push_back({start, static_cast<uint32_t>(prefix.size() + name.size()), facts});
        paths.append(prefix).append(name);
    }
    // Of equal paths the last stays the last.
    void sort() {
        std::stable_sort(files.begin(), files.end(),
                         [this](const File& a, const File& b) { return path(a) < path(b); });
    }
};

// False for what is neither a folder nor a regular file, and for what is gone again. Of a folder
// only the type is told.
bool look(DIR* folder, const dirent& entry, struct stat& status) {
    const std::string_view name = entry.d_name;
    if (name == "." || name == "..") return false;
    status.st_mode = S_IFDIR;
    if (entry.d_type == DT_DIR) return true;
    if (entry.d_type != DT_REG && entry.d_type != DT_UNKNOWN) return false;
    if (::fstatat(::dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode);
}

class Walk {
public:
    Walk(const std::vector<Root>& walkedRoots, int fileLimit, const std::atomic<bool>& cancelFlag)
        : roots(walkedRoots), limit(fileLimit), cancelled(cancelFlag) {
        for (size_t i = 0; i < roots.size(); ++i)
            jobs.push_back({roots[i].path, static_cast<uint32_t>(i)});
    }

    std::vector<Batch> run();
    bool ranOutOfMemory() const { return outOfMemory; }

private:
    const std::vector<Root>& roots;
    const int limit;
    const std::atomic<bool>& cancelled;
    std::atomic<int> count{0};  // files in all batches

    std::mutex mutex;
    std::condition_variable changed;  // jobs or busy
    std::vector<Job> jobs;            // a stack, guarded by mutex
    unsigned busy = 0;                // walkers that read a folder, guarded by mutex

    std::atomic<bool> outOfMemory{false};

    bool over() const { return cancelled || outOfMemory || count >= limit; }
    bool takeJob(Job& job);
    void finishJob(std::vector<Job>& found);
    void readFolder(const Job& job, Batch& batch, std::vector<Job>& found);
    void readFolders(Batch& batch);
    void walk(Batch& batch);  // runs on each walker
};

// False when nothing is left and nothing can come any more, or when the walk is over.
bool Walk::takeJob(Job& job) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !jobs.empty() || busy == 0 || over(); });
    if (jobs.empty() || over()) return false;
    job = std::move(jobs.back());
    jobs.pop_back();
    ++busy;
    return true;
}

void Walk::finishJob(std::vector<Job>& found) {
    {
        const std::lock_guard lock(mutex);
        std::move(found.begin(), found.end(), std::back_inserter(jobs));
        --busy;
    }
    found.clear();
    changed.notify_all();
}

void Walk::readFolder(const Job& job, Batch& batch, std::vector<Job>& found) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(job.folder.c_str()), &::closedir);
    if (!folder) return;
    const Root& root = roots[job.root];
    // Empty for a root itself, also for "/".
    const std::string below = job.folder.substr(root.path.size());
    const std::string prefix =
        mbutil::pathJoin(root.name + "/", below) + (below.empty() ? "" : "/");
    while (const dirent* entry = ::readdir(folder.get())) {
        struct stat status = {};
        if (!look(folder.get(), *entry, status)) continue;
        if (S_ISDIR(status.st_mode)) {
            if (!shouldSkipDir(entry->d_name))
                found.push_back({mbutil::pathJoin(job.folder, entry->d_name), job.root});
            continue;
        }
        batch.add(prefix, entry->d_name,
                  {static_cast<uint64_t>(status.st_size), status.st_mtime, job.root, 0});
        ++count;
        if (over()) return;
    }
}

void Walk::readFolders(Batch& batch) {
    // Address space alone costs nothing, while to grow means to copy.
    batch.files.reserve(static_cast<size_t>(limit));
    batch.paths.reserve(static_cast<size_t>(limit) * kUsualPath);
    Job job;
    std::vector<Job> found;
    while (takeJob(job)) {
        readFolder(job, batch, found);
        finishJob(found);
    }
    batch.sort();
}

// A walker without memory ends the walk: the others would wait for what it was reading.
void Walk::walk(Batch& batch) {
    try {
        readFolders(batch);
    } catch (const std::bad_alloc&) {
        {
            const std::lock_guard lock(mutex);
            outOfMemory = true;
        }
        changed.notify_all();
    }
}

std::vector<Batch> Walk::run() {
    const unsigned walkers =
        std::clamp(std::thread::hardware_concurrency(), kFewestWalkers, kMostWalkers);
    std::vector<Batch> batches(walkers);
    std::vector<std::jthread> helpers;
    try {
        for (unsigned i = 1; i < walkers; ++i)
            helpers.emplace_back([this, &batch = batches[i]] { walk(batch); });
    } catch (const std::system_error&) {
        // The system has no more threads for us: those that there are do it.
    }
    walk(batches[0]);
    helpers.clear();  // joins
    return batches;
}

// Each walker may have found a file after the one that was the last.
void cutTo(std::vector<Batch>& batches, size_t left) {
    for (Batch& batch : batches) {
        batch.files.resize(std::min(batch.files.size(), left));
        left -= batch.files.size();
    }
}

// Goes through all batches at once in the order of the paths.
std::unique_ptr<FileTable> merge(const std::vector<Batch>& batches,
                                 const std::vector<Root>& roots) {
    auto table = std::make_unique<FileTable>();
    for (const Root& root : roots) (void)table->rootNumber(root);
    size_t fileCount = 0;
    size_t pathBytes = 0;
    for (const Batch& batch : batches) {
        fileCount += batch.files.size();
        pathBytes += batch.paths.size();
    }
    table->reserve(fileCount, pathBytes);
    std::vector<size_t> next(batches.size());
    for (; fileCount > 0; --fileCount) {
        size_t best = batches.size();
        std::string_view bestPath;
        for (size_t i = 0; i < batches.size(); ++i) {
            if (next[i] == batches[i].files.size()) continue;
            const std::string_view path = batches[i].path(batches[i].files[next[i]]);
            if (best < batches.size() && path >= bestPath) continue;
            best = i;
            bestPath = path;
        }
        table->append(bestPath, batches[best].files[next[best]++].facts);
    }
    return table;
}

}  // namespace

Scan collect(const std::vector<Root>& roots, int limit, const std::atomic<bool>& cancelled) {
    Scan scan;
    try {
        Walk walk(roots, limit, cancelled);
        std::vector<Batch> batches = walk.run();
        if (walk.ranOutOfMemory()) return scan;
        cutTo(batches, static_cast<size_t>(limit));
        for (const Batch& batch : batches) scan.found += static_cast<int>(batch.files.size());
        scan.files = merge(batches, roots);
    } catch (const std::bad_alloc&) {
        // Half a list would hide files that the old one knows.
    }
    return scan;
}

}  // namespace mbindex
