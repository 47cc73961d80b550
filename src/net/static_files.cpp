#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "net/net.hpp"
#include "type/type.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace mbnet {

namespace {

constexpr uint64_t kCacheBytes = 100663296;  // 96 MiB

bool isBelow(const std::string& base, const std::string& full) {
    return full.starts_with(base) && (full.size() == base.size() || full[base.size()] == '/');
}

// What `path` is now, without its body. False when there is no such file, or a folder.
bool examine(const std::string& path, CachedFile& file) {
    struct stat info {};
    // A path is never cut at a NUL byte: what stands before it is another file.
    if (path.find('\0') != std::string::npos) return false;
    if (::stat(path.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
    file.size = static_cast<uint64_t>(info.st_size);
    file.mtimeNs = static_cast<uint64_t>(info.st_mtim.tv_sec) * 1000000000U +
                   static_cast<uint64_t>(info.st_mtim.tv_nsec);
    char etag[48];
    std::snprintf(etag, sizeof etag, "\"%llx-%llx\"", static_cast<unsigned long long>(file.size),
                  static_cast<unsigned long long>(file.mtimeNs));
    file.etag = etag;
    return true;
}

// The rest of the file; a failing read ends it like the end of the file does.
std::string readToEnd(int file, size_t expectedSize) {
    // One byte more than expected, so that the end shows without making the buffer grow.
    std::string body(expectedSize + 1, '\0');
    size_t used = 0;
    for (;;) {
        if (used == body.size()) body.resize(used + 65536);
        const ssize_t got = ::read(file, body.data() + used, body.size() - used);
        if (got < 0 && errno == EINTR) continue;
        if (got < 1) break;
        used += static_cast<size_t>(got);
    }
    body.resize(used);
    return body;
}

// Null when it cannot be opened or is no regular file: a pipe without a writer or an endless device
// behind a link would hold the thread for ever.
std::shared_ptr<const std::string> readBody(const std::string& path) {
    const mbutil::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!file || ::fstat(file.value, &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
    return std::make_shared<const std::string>(
        readToEnd(file.value, static_cast<size_t>(info.st_size)));
}

}  // namespace

std::string mimeTypeFor(const std::string& path) {
    const mbtype::Rule* rule = mbtype::findRule(mbtype::extensionOf(path));
    if (rule != nullptr) return std::string(rule->mime);
    return mbutil::extension(path) == "wasm" ? "application/wasm" : "application/octet-stream";
}

Response Server::serveStatic(const Request& request) {
    if (staticRoot.empty()) return Response::error(404, "not found");
    const bool index = request.path.empty() || request.path == "/";
    return serveFile(request, staticRoot, index ? "/index.html" : request.path);
}

Response Server::serveFile(const Request& request, const std::string& root,
                           const std::string& relative) {
    const std::string base = mbutil::canonical(root);
    const std::string full = mbutil::canonical(mbutil::pathJoin(base, relative));
    if (!isBelow(base, full)) return Response::error(403, "path escapes static root");
    CachedFile now;
    if (!examine(full, now)) return Response::error(404, "not found: " + relative);
    Response response;
    response.contentType = mimeTypeFor(full);
    response.headers = {{"Cache-Control", "no-cache"}, {"ETag", now.etag}};
    if (request.header("if-none-match") == now.etag) {
        response.status = 304;
        return response;
    }
    now.body = cachedBody(full, now);
    if (!now.body) {
        now.body = readBody(full);
        if (!now.body) return Response::error(500, "read failed: " + relative);
        remember(full, now);
    }
    response.body = *now.body;
    return response;
}

// Null unless the cache holds the file as it is now.
std::shared_ptr<const std::string> Server::cachedBody(const std::string& path,
                                                      const CachedFile& now) {
    const std::lock_guard lock(cacheMutex);
    const auto entry = fileCache.find(path);
    if (entry == fileCache.end()) return nullptr;
    const bool fresh = entry->second.size == now.size && entry->second.mtimeNs == now.mtimeNs;
    return fresh ? entry->second.body : nullptr;
}

// Nothing is thrown out to make room: a body that does not fit is read again each time.
void Server::remember(const std::string& path, const CachedFile& file) {
    const std::lock_guard lock(cacheMutex);
    const auto old = fileCache.find(path);
    if (old != fileCache.end()) {
        cacheBytes -= old->second.body->size();
        fileCache.erase(old);
    }
    if (cacheBytes + file.body->size() > kCacheBytes) return;
    cacheBytes += file.body->size();
    fileCache.emplace(path, file);
}

}  // namespace mbnet
