// Line counts: of tracked files by git, of untracked ones by reading them.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <string_view>

#include "git/git.hpp"
#include "git/parse.hpp"
#include "git/run.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace mbgit {

using Counts = std::unordered_map<std::string, LineCount>;

namespace {

constexpr uint32_t kNumstatMs = 25000;

// What one status may read of files that git does not know.
constexpr int kUntrackedFiles = 300;
constexpr size_t kLargestFile = 1048576;
constexpr size_t kBinaryProbe = 8000;
constexpr size_t kReadStep = 65536;

bool countable(const struct stat& info) {
    return S_ISREG(info.st_mode) && static_cast<size_t>(info.st_size) <= kLargestFile;
}

// The whole file into the front of `buffer`; `used` bytes of it count. False also for a file that
// outgrew the limit meanwhile.
bool readAll(int file, size_t size, std::string& buffer, size_t& used) {
    used = 0;
    buffer.resize(std::max(buffer.size(), size + 1));  // one more, to see the end without growing
    for (;;) {
        if (used == buffer.size()) buffer.resize(used + kReadStep);
        const ssize_t got = ::read(file, buffer.data() + used, buffer.size() - used);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) return true;
        used += static_cast<size_t>(got);
        if (used > kLargestFile) return false;
    }
}

// Lines of a text file, also one without an end; -1 for anything else. `buffer` only saves making
// one for every file.
int32_t countLines(const std::string& path, std::string& buffer) {
    // Asked before opening: to open a pipe or a device can block or have effects of its own. The
    // flags are for what takes the file's place in between.
    struct stat info;
    if (::stat(path.c_str(), &info) != 0 || !countable(info)) return -1;
    const mbutil::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file || ::fstat(file.value, &info) != 0 || !countable(info)) return -1;
    size_t used = 0;
    if (!readAll(file.value, static_cast<size_t>(info.st_size), buffer, used)) return -1;
    const std::string_view text(buffer.data(), used);
    if (text.substr(0, kBinaryProbe).find('\0') != std::string_view::npos) return -1;
    if (text.empty()) return 0;
    const auto ends = std::count(text.begin(), text.end(), '\n');
    return static_cast<int32_t>(ends) + (text.back() == '\n' ? 0 : 1);
}

LineCount find(const Counts& counts, const std::string& path) {
    const auto found = counts.find(path);
    return found == counts.end() ? LineCount{} : found->second;
}

void addTracked(const Counts& staged, const Counts& work, FileChange& change) {
    if (change.staged) {
        const LineCount count = find(staged, change.path);
        change.stagedAdded = count.added;
        change.stagedRemoved = count.removed;
    }
    if (change.unstaged) {
        const LineCount count = find(work, change.path);
        change.workAdded = count.added;
        change.workRemoved = count.removed;
    }
}

}  // namespace

Counts numstat(const std::string& root, bool cached) {
    const std::string args = "diff --numstat -z --no-color --no-ext-diff";
    const mbproc::Result result = git(root, cached ? args + " --cached" : args, kNumstatMs);
    return failed(result) ? Counts() : parseNumstat(result.out);
}

void addLineCounts(const std::string& root, Status& status) {
    if (!status.isRepo) return;
    std::future<Counts> cached = startBeside([&root] { return numstat(root, true); });
    const Counts work = numstat(root, false);
    const Counts staged = cached.get();

    int budget = kUntrackedFiles;
    std::string buffer;
    for (FileChange& change : status.files) {
        if (!change.untracked) {
            addTracked(staged, work, change);
        } else if (budget-- > 0) {
            change.workAdded = countLines(mbutil::pathJoin(root, change.path), buffer);
            change.workRemoved = change.workAdded < 0 ? -1 : 0;
        }
    }
}

}  // namespace mbgit
