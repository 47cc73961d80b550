#include "memory/memory.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

#include "util/util.hpp"

namespace mbmem {

namespace {

constexpr size_t kLeadingBytes = 600;  // searched for keys in a text without frontmatter
constexpr std::string_view kFence = "---";

bool isAsciiAlnum(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isMarkdown(std::string_view file) { return mbutil::endsWith(mbutil::lowerCase(file), ".md"); }

// The part of a text in which "key: value" lines count.
std::string_view keyZone(std::string_view text) {
    if (mbutil::startsWith(text, kFence)) {
        const size_t end = text.find("\n---", kFence.size());
        if (end != std::string_view::npos) return text.substr(0, end);
    }
    return text.substr(0, kLeadingBytes);
}

void readEntry(const std::string& path, Entry& entry) {
    std::string text;
    if (!readNote(path, text)) return;
    text = mbutil::toUtf8Lenient(std::move(text));
    entry.name = frontmatterValue(text, "name");
    entry.description = frontmatterValue(text, "description");
    entry.type = frontmatterValue(text, "type");
    entry.modified = frontmatterValue(text, "modified");
    entry.links = linksIn(text);
}

Entry entryOf(const std::string& directory, const std::string& file, const struct stat& info) {
    Entry entry;
    entry.file = file;
    entry.bytes = static_cast<uint64_t>(info.st_size);
    entry.mtime = info.st_mtime;
    entry.isIndex = mbutil::lowerCase(file) == "memory.md";
    readEntry(mbutil::pathJoin(directory, file), entry);
    if (entry.name.empty()) entry.name = mbutil::toUtf8Lenient(file.substr(0, file.rfind('.')));
    return entry;
}

}  // namespace

std::string memoryFolderOf(const std::string& projectPath) {
    std::string slug = projectPath;
    for (char& c : slug)
        if (!isAsciiAlnum(c)) c = '-';
    return mbutil::homeDir() + "/.claude/projects/" + slug + "/memory";
}

std::string directoryFor(const std::vector<std::string>& projectPaths) {
    for (const std::string& path : projectPaths) {
        std::string folder = memoryFolderOf(path);
        if (mbutil::dirExists(folder)) return folder;
    }
    return "";
}

std::vector<Entry> list(const std::string& directory) {
    std::vector<Entry> entries;
    if (directory.empty()) return entries;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(directory.c_str()), ::closedir);
    if (!folder) return entries;
    while (const dirent* found = ::readdir(folder.get())) {
        const std::string file = found->d_name;
        struct stat info = {};
        if (!isMarkdown(file)) continue;
        // Gone meanwhile, or a link to nothing: there is nothing to open.
        if (::stat(mbutil::pathJoin(directory, file).c_str(), &info) != 0) continue;
        if (!S_ISDIR(info.st_mode)) entries.push_back(entryOf(directory, file, info));
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.isIndex != b.isIndex ? a.isIndex : a.mtime > b.mtime;
    });
    return entries;
}

bool resolve(const std::string& directory, const std::string& file, std::string& out) {
    if (directory.empty() || file.empty() || !isMarkdown(file)) return false;
    // A NUL would end the name for the system before its extension.
    if (file.find_first_of(std::string_view("/\\\0", 3)) != std::string::npos) return false;
    if (file.find("..") != std::string::npos) return false;
    out = directory + "/" + file;
    return true;
}

bool readNote(const std::string& path, std::string& out) {
    struct stat info = {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           mbutil::readFileRaw(path, out);
}

bool writeNote(const std::string& path, std::string_view text) {
    struct stat info = {};
    const bool taken = ::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
    return !taken && mbutil::writeFileRaw(path, text);
}

std::string frontmatterValue(std::string_view text, std::string_view key) {
    for (const std::string& raw : mbutil::split(keyZone(text), '\n')) {
        const std::string line = mbutil::trim(raw);
        if (!mbutil::startsWith(line, key) || line.size() == key.size() || line[key.size()] != ':')
            continue;
        std::string value = mbutil::trim(std::string_view(line).substr(key.size() + 1));
        const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
        return quoted ? value.substr(1, value.size() - 2) : value;
    }
    return "";
}

std::vector<std::string> linksIn(std::string_view text) {
    std::vector<std::string> links;
    for (size_t at = text.find("[["); at != std::string_view::npos; at = text.find("[[", at)) {
        const size_t start = at + 2;
        const size_t end = text.find("]]", start);
        if (end == std::string_view::npos) break;
        std::string target = mbutil::trim(text.substr(start, end - start));
        if (!target.empty() && std::find(links.begin(), links.end(), target) == links.end())
            links.push_back(std::move(target));
        at = end + 2;
    }
    return links;
}

}  // namespace mbmem
