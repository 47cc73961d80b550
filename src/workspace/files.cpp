// What the page does to single files and folders.

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "type/type.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"
#include "workspace/disk.hpp"
#include "workspace/workspace.hpp"

namespace mbws {

namespace {

constexpr const char* kOutside = "path is outside the workspace";
constexpr size_t kSniffedBytes = 8192;

bool fail(std::string& error, std::string reason) {
    error = std::move(reason);
    return false;
}

// Whether a NUL byte stands in the first 8192 bytes, which is the only test of content. A file that
// cannot be read has none.
bool looksBinary(const std::string& path) {
    const mbutil::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return false;
    std::array<char, kSniffedBytes> head;
    size_t filled = 0;
    while (filled < head.size()) {
        const ssize_t got = ::read(file.value, head.data() + filled, head.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        filled += static_cast<size_t>(got);
    }
    return std::memchr(head.data(), 0, filled) != nullptr;
}

void classify(const std::string& path, bool regular, FileInfo& info) {
    info.mime = "text/plain; charset=utf-8";
    info.language = "plaintext";
    if (const mbtype::Rule* rule = mbtype::findRule(mbtype::extensionOf(path))) {
        info.kind = rule->kind;
        info.mime = rule->mime;
        info.language = rule->language;
        info.binary = info.kind != "text";
        if (info.binary) return;  // an extension of another kind is believed
    }
    // Opening a FIFO would wait for its writer.
    if (!regular || !looksBinary(path)) return;
    info.kind = "binary";
    info.mime = "application/octet-stream";
    info.language.clear();
    info.binary = true;
}

// "unknown error" stands where GIO gives no reason.
bool moveToTrash(const std::string& path, std::string& reason) {
    GFile* file = ::g_file_new_for_path(path.c_str());
    GError* failure = nullptr;
    const bool moved = ::g_file_trash(file, nullptr, &failure);
    if (!moved) reason = failure && failure->message ? failure->message : "unknown error";
    ::g_clear_error(&failure);
    ::g_object_unref(file);
    return moved;
}

std::vector<DirEntry> listRoots(const Config& config) {
    std::vector<DirEntry> entries;
    for (const mbindex::Root& root : config.roots) {
        DirEntry& entry = entries.emplace_back();
        entry.name = root.name;
        entry.path = root.name;
        entry.directory = true;
    }
    return entries;
}

// A link counts as what it leads to; one that leads nowhere as an empty file.
DirEntry readEntry(const std::string& folder, const std::string& workspacePath, std::string name) {
    DirEntry entry;
    entry.path = workspacePath + "/" + name;
    struct stat status = {};
    if (::stat(mbutil::pathJoin(folder, name).c_str(), &status) == 0) {
        entry.directory = S_ISDIR(status.st_mode);
        if (!entry.directory) {
            entry.size = static_cast<uint64_t>(status.st_size);
            entry.modified = status.st_mtime;
        }
    }
    entry.name = std::move(name);
    return entry;
}

// Folders first, then by folded name. The keys are made once, not in each comparison.
void sortEntries(std::vector<DirEntry>& entries) {
    std::vector<std::pair<std::string, DirEntry>> keyed;
    keyed.reserve(entries.size());
    for (DirEntry& entry : entries) {
        std::string key = mbutil::lowerCase(entry.name);
        keyed.emplace_back(std::move(key), std::move(entry));
    }
    std::sort(keyed.begin(), keyed.end(), [](const auto& left, const auto& right) {
        if (left.second.directory != right.second.directory) return left.second.directory;
        return left.first < right.first;
    });
    for (size_t i = 0; i < keyed.size(); ++i) entries[i] = std::move(keyed[i].second);
}

}  // namespace

FileInfo Workspace::inspect(const std::string& workspacePath) const {
    FileInfo info;
    std::string path;
    struct stat status = {};
    if (!resolveInside(workspacePath, path) || ::stat(path.c_str(), &status) != 0) return info;
    info.exists = true;
    if (S_ISDIR(status.st_mode)) {
        info.directory = true;
        info.kind = "directory";
        return info;
    }
    info.size = static_cast<uint64_t>(status.st_size);
    info.modified = status.st_mtime;
    classify(path, S_ISREG(status.st_mode), info);
    return info;
}

bool Workspace::readRawFile(const std::string& workspacePath, std::string& bytes,
                            std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) return fail(error, kOutside);
    if (!mbutil::fileExists(path)) return fail(error, "file not found");
    if (!readWholeFile(path, bytes)) return fail(error, "could not read the file");
    return true;
}

bool Workspace::readTextFile(const std::string& workspacePath, std::string& text,
                             std::string& error) const {
    std::string bytes;
    if (!readRawFile(workspacePath, bytes, error)) return false;
    text = mbutil::toUtf8Lenient(std::move(bytes));
    return true;
}

bool Workspace::writeTextFile(const std::string& workspacePath, const std::string& text,
                              std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) return fail(error, kOutside);
    if (!writeWholeFile(path, text)) return fail(error, "could not write the file");
    return true;
}

bool Workspace::createFile(const std::string& workspacePath, const std::string& contents,
                           std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) return fail(error, kOutside);
    // A dangling link counts as a file: writing through it would make one somewhere else. A folder
    // is left to the write, which fails.
    if (existsInAnyForm(path) && !mbutil::dirExists(path))
        return fail(error, "a file with that name already exists");
    if (!mbutil::ensureDir(mbutil::dirName(path)))
        return fail(error, "could not create the containing folder");
    if (!writeWholeFile(path, contents)) return fail(error, "could not create the file");
    return true;
}

bool Workspace::createDirectory(const std::string& workspacePath, std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) return fail(error, kOutside);
    if (!mbutil::ensureDir(path)) return fail(error, "could not create the folder");
    return true;
}

bool Workspace::deletePath(const std::string& workspacePath, std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) return fail(error, kOutside);
    const auto settings = config();
    for (const mbindex::Root& root : settings->roots)
        if (mbutil::canonical(root.path) == path)
            return fail(error, "refusing to delete a workspace root");
    std::string reason;
    if (!moveToTrash(path, reason)) return fail(error, "could not move it to the Trash: " + reason);
    return true;
}

bool Workspace::renamePath(const std::string& from, const std::string& to,
                           std::string& error) const {
    std::string source, target;
    if (!resolveInside(from, source) || !resolveInside(to, target)) return fail(error, kOutside);
    if (existsInAnyForm(target)) return fail(error, "the destination already exists");
    if (std::rename(source.c_str(), target.c_str()) != 0)
        return fail(error, std::string("rename failed: ") + std::strerror(errno));
    return true;
}

std::vector<DirEntry> Workspace::listDirectory(const std::string& workspacePath,
                                               bool& listed) const {
    listed = true;
    if (workspacePath.empty() || workspacePath == "/") return listRoots(*config());

    std::string folder;
    std::vector<std::string> names;
    listed = resolveInside(workspacePath, folder) && readFolder(folder, names);
    std::vector<DirEntry> entries;
    for (std::string& name : names)
        if (name != ".git") entries.push_back(readEntry(folder, workspacePath, std::move(name)));
    sortEntries(entries);
    return entries;
}

}  // namespace mbws
