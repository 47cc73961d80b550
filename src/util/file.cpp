#include "util/util.hpp"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "util/fd.hpp"

namespace mbutil {

namespace {

constexpr size_t kReadStep = 65536;

// The kernel would stop at a NUL and reach another file than the one that was named.
bool usable(const std::string& path) {
    if (path.find('\0') == std::string::npos) return true;
    errno = EINVAL;
    return false;
}

bool statPath(const std::string& path, struct stat& found) {
    return usable(path) && ::stat(path.c_str(), &found) == 0;
}

Fd openFile(const std::string& path, int flags) {
    if (!usable(path)) return Fd();
    for (;;) {
        const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
        if (descriptor >= 0 || errno != EINTR) return Fd(descriptor);
    }
}

}  // namespace

bool dirExists(const std::string& path) {
    struct stat found;
    return statPath(path, found) && S_ISDIR(found.st_mode);
}

bool fileExists(const std::string& path) {
    struct stat found;
    return statPath(path, found) && !S_ISDIR(found.st_mode);
}

bool ensureDir(const std::string& path) {
    if (path.empty() || dirExists(path)) return true;
    if (!usable(path)) return false;
    if (path.size() >= PATH_MAX) {  // no call would take it; do not walk up its many parents
        errno = ENAMETOOLONG;
        return false;
    }
    std::vector<std::string> missing{path};
    for (;;) {
        std::string parent = dirName(missing.back());
        if (parent.empty() || parent == missing.back() || dirExists(parent)) break;
        missing.push_back(std::move(parent));
    }
    for (; !missing.empty(); missing.pop_back())
        // EEXIST: another thread or program was quicker, which is as good.
        if (::mkdir(missing.back().c_str(), 0755) != 0 && errno != EEXIST) return false;
    return true;
}

bool readFileRaw(const std::string& path, std::string& out) {
    const Fd file = openFile(path, O_RDONLY);
    struct stat info;
    if (!file || ::fstat(file.value, &info) != 0 || S_ISDIR(info.st_mode)) return false;

    out.clear();
    // One byte more than the size, so that the end of a file that does not grow is seen without
    // making the buffer larger. Files in /proc say 0 whatever they hold.
    out.resize(info.st_size > 0 ? static_cast<size_t>(info.st_size) + 1 : kReadStep);
    size_t used = 0;
    for (;;) {
        if (used == out.size()) out.resize(used + kReadStep);
        const ssize_t got = ::read(file.value, out.data() + used, out.size() - used);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;  // an error half-way keeps what is there
        used += static_cast<size_t>(got);
    }
    out.resize(used);
    return true;
}

bool writeFileRaw(const std::string& path, std::string_view data) {
    Fd file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file) return false;
    while (!data.empty()) {
        const ssize_t written = ::write(file.value, data.data(), data.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) {
            const int reason = errno;
            file.reset();
            errno = reason;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(written));
    }
    // A file system over the network may tell of a full disk only here.
    return ::close(file.release()) == 0;
}

}  // namespace mbutil
