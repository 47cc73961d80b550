#include "update/release_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "update/digest.hpp"
#include "update/transport.hpp"
#include "util/util.hpp"

namespace mbupdate {

namespace fs = std::filesystem;

namespace {

constexpr const char* kWriteFailed = "the disk write failed";

// What a transfer writes to. Removed at the end unless it was renamed.
class PartFile {
public:
    explicit PartFile(std::string where)
        : path(std::move(where)), file(std::fopen(path.c_str(), "wbe")), exists(file != nullptr) {}
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;
    ~PartFile() {
        (void)close();
        if (exists) (void)::unlink(path.c_str());
    }

    bool isOpen() const { return file != nullptr; }
    bool write(const char* data, size_t length) {
        return std::fwrite(data, 1, length, file) == length;
    }
    // False when what was still in the buffer could not be written.
    bool close() { return file == nullptr || std::fclose(std::exchange(file, nullptr)) == 0; }
    bool renameTo(const std::string& target) {
        if (std::rename(path.c_str(), target.c_str()) != 0) return false;
        exists = false;
        return true;
    }

private:
    std::string path;
    std::FILE* file;
    bool exists;
};

// Files of earlier downloads, and of one that the process's death cut short. One that cannot be
// removed only takes room.
void removeOthers(const std::string& folder, const std::string& keptPath) {
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code ignored;
        const bool plain = fs::is_regular_file(entry->symlink_status(ignored));
        if (plain && entry->path().filename() != fs::path(keptPath).filename())
            (void)::unlink(entry->path().c_str());
    }
}

// Into `part`; false with the reason.
bool transfer(const Release& release, PartFile& part, Sha256& digest, const StopSignal& stop,
              const std::function<void(int32_t)>& onPercent, std::string& error) {
    uint64_t received = 0;
    int32_t lastPercent = -1;
    const Sink sink = [&](const char* data, size_t length, uint64_t total) {
        if (!part.write(data, length)) {
            error = kWriteFailed;
            return false;
        }
        digest.update(data, length);
        received += length;
        // A server can send more than it announced.
        const auto percent = static_cast<int32_t>(
            std::min<uint64_t>(received * 100 / std::max<uint64_t>(total, 1), 100));
        if (percent != std::exchange(lastPercent, percent)) onPercent(percent);
        return true;
    };
    const bool complete = httpGet(release.url, sink, stop, error);
    const bool closed = part.close();
    if (!complete) {
        if (error.empty()) error = "the download failed";
        return false;
    }
    if (!closed) error = kWriteFailed;
    return closed;
}

}  // namespace

std::string fileNameFor(std::string_view url) {
    constexpr std::string_view kKept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789+-._";
    std::string_view last = url.substr(url.rfind('/') + 1);
    last = last.substr(0, last.find_first_of("?#"));
    std::string name;
    for (const char byte : last)
        if (kKept.find(byte) != std::string_view::npos) name += byte;
    return name.empty() || name.front() == '.' ? "MarlinBench-update" + name : name;
}

std::string fetchRelease(const Release& release, const std::string& folder, const StopSignal& stop,
                         const std::function<void(int32_t percent)>& onPercent,
                         std::string& error) {
    // A folder that cannot be made shows when the file cannot be opened.
    (void)mbutil::ensureDir(folder);
    const std::string path = mbutil::pathJoin(folder, fileNameFor(release.url));
    PartFile part(path + ".part");
    if (!part.isOpen()) {
        error = "could not write to " + folder;
        return {};
    }
    Sha256 digest;
    if (!transfer(release, part, digest, stop, onPercent, error)) return {};
    if (digest.finish() != release.sha256) {
        error = "the download did not match the published checksum and was discarded";
        return {};
    }
    if (!part.renameTo(path)) {
        error = "could not finish writing the update";
        return {};
    }
    removeOthers(folder, path);
    return path;
}

}  // namespace mbupdate
