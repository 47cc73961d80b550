#include "index/index.hpp"

#include <sys/stat.h>

#include <chrono>
#include <system_error>

#include "index/scan.hpp"
#include "index/skip.hpp"
#include "index/table.hpp"
#include "util/util.hpp"

namespace mbindex {

namespace {

// `path` and the roots' are canonical. Null when no root holds the path; of nested ones the first.
const Root* rootOf(const std::vector<Root>& roots, std::string_view path) {
    for (const Root& root : roots) {
        if (!mbutil::startsWith(path, root.path)) continue;
        // A prefix only counts up to a slash: "/a/bc" is not in "/a/b".
        if (path.size() == root.path.size() || path[root.path.size()] == '/') return &root;
    }
    return nullptr;
}

std::string relativeTo(const Root& root, std::string_view path) {
    return root.name + std::string(path.substr(root.path.size()));
}

}  // namespace

Index::Index() : files(std::make_unique<FileTable>()) {}

Index::~Index() { endScan(); }

void Index::setRoots(std::vector<Root> next) {
    for (Root& root : next) root.path = mbutil::canonical(root.path);
    const std::unique_lock lock(mutex);
    roots.swap(next);
}

void Index::rescanAsync(Progress progress) {
    // Before the lock, so that whoever waits for the old scan under it is soon done; and under it,
    // as the scan that runs may have been started in between.
    cancelled = true;
    // Held for the join: two scans that are asked for at once must not both start their thread.
    const std::lock_guard lock(workerMutex);
    cancelled = true;
    if (worker.joinable()) worker.join();
    cancelled = false;
    scanning = true;
    try {
        worker = std::thread([this, report = std::move(progress)] { scanWorker(report); });
    } catch (const std::system_error&) {
        scanning = false;  // no thread, no scan: the list stays as it is
    }
}

void Index::endScan() {
    cancelled = true;
    waitForScan();
}

void Index::waitForScan() {
    const std::lock_guard lock(workerMutex);
    if (worker.joinable()) worker.join();
}

void Index::scanWorker(const Progress& progress) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<Root> scanned;
    {
        const std::shared_lock lock(mutex);
        scanned = roots;
    }
    Scan scan = collect(scanned, kMaxFiles, cancelled);
    if (progress) progress("index", scan.found, 0);
    if (!cancelled && scan.files) {
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        takeOver(std::move(scan.files), taken.count());
    }
    scanning = false;
    const int fileCount = stats().fileCount;
    if (progress) progress("done", fileCount, fileCount);
}

// The list was made before, and the old one goes after: nobody waits for either.
void Index::takeOver(std::unique_ptr<FileTable> found, double taken) {
    const std::unique_lock lock(mutex);
    files.swap(found);
    truncated = files->size() >= static_cast<size_t>(kMaxFiles);
    seconds = taken;
}

std::vector<FileEntry> Index::searchFiles(std::string_view query, int limit) const {
    const std::shared_lock lock(mutex);
    return files->search(query, limit);
}

std::vector<std::pair<std::string, std::string>> Index::filesWhere(const Predicate& accept) const {
    const std::shared_lock lock(mutex);
    return files->where(accept);
}

void Index::reindexFile(const std::string& absolutePath) {
    const std::string path = mbutil::canonical(absolutePath);
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    const std::unique_lock lock(mutex);
    const Root* root = rootOf(roots, path);
    if (root == nullptr) return;
    const std::string relative = relativeTo(*root, path);
    if (inSkippedDir(relative)) return;
    const bool full = files->size() >= static_cast<size_t>(kMaxFiles);
    if (full && !files->contains(relative)) return;
    FileFacts facts;
    facts.size = static_cast<uint64_t>(status.st_size);
    facts.modified = status.st_mtime;
    facts.root = files->rootNumber(*root);
    facts.nameLength = static_cast<uint32_t>(relative.size() - (relative.rfind('/') + 1));
    files->put(relative, facts);
}

void Index::removeFile(const std::string& absolutePath) {
    std::string relative;
    if (!toRelative(absolutePath, relative)) return;
    const std::unique_lock lock(mutex);
    if (!files->erase(relative)) files->eraseBelow(relative);
}

Stats Index::stats() const {
    const std::shared_lock lock(mutex);
    return {static_cast<int>(files->size()), truncated, seconds};
}

mbjson::Json Index::statsJson() const {
    const Stats now = stats();
    mbjson::Json json = mbjson::Json::object();
    json.set("files", now.fileCount);
    json.set("truncated", now.truncated);
    json.set("seconds", now.seconds);
    json.set("scanning", scanning.load());
    return json;
}

bool Index::toRelative(const std::string& absolutePath, std::string& workspacePath) const {
    const std::string path = mbutil::canonical(absolutePath);
    const std::shared_lock lock(mutex);
    const Root* root = rootOf(roots, path);
    if (root == nullptr) return false;
    workspacePath = relativeTo(*root, path);
    return true;
}

bool Index::toAbsolute(const std::string& workspacePath, std::string& absolutePath) const {
    const size_t slash = workspacePath.find('/');
    if (slash == std::string::npos) return false;
    const std::shared_lock lock(mutex);
    for (const Root& root : roots) {
        if (workspacePath.compare(0, slash, root.name) != 0) continue;
        absolutePath = mbutil::pathJoin(root.path, workspacePath.substr(slash + 1));
        return true;
    }
    return false;
}

}  // namespace mbindex
