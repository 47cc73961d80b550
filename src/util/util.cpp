#include "util/util.hpp"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace mbutil {

namespace {

// Reading the environment is safe as long as nobody writes it, and the program does not once it
// has threads.
std::string_view environment(const char* variable) {
    const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
    return value ? std::string_view(value) : std::string_view();
}

bool isBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n'; }

// "~" and "~/..." only: a user's name behind the tilde would need the user database.
std::string expandHome(std::string path) {
    if (path != "~" && !startsWith(path, "~/")) return path;
    return homeDir() + path.substr(1);
}

std::string workingFolder() {
    std::array<char, 4096> buffer;
    const char* folder = ::getcwd(buffer.data(), buffer.size());
    return folder ? folder : "";
}

}  // namespace

bool startsWith(std::string_view text, std::string_view prefix) { return text.starts_with(prefix); }

bool endsWith(std::string_view text, std::string_view suffix) { return text.ends_with(suffix); }

std::string trim(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return std::string(text);
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    for (;;) {
        const size_t at = text.find(separator);
        pieces.emplace_back(text.substr(0, at));
        if (at == std::string_view::npos) return pieces;
        text.remove_prefix(at + 1);
    }
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& byte : lower)
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    return lower;
}

std::string pathJoin(std::string_view left, std::string_view right) {
    if (left.empty()) return std::string(right);
    if (right.empty()) return std::string(left);
    if (left.size() > 1 && left.back() == '/') left.remove_suffix(1);
    if (right.front() == '/') right.remove_prefix(1);
    std::string joined(left);
    if (left != "/") joined += '/';
    joined += right;
    return joined;
}

std::string toPosixPath(std::string_view path) {
    std::string posix(path);
    std::replace(posix.begin(), posix.end(), '\\', '/');
    return posix;
}

std::string canonical(std::string_view path) {
    std::string absolute = expandHome(toPosixPath(path));
    if (absolute.empty()) return absolute;
    if (absolute.front() != '/') absolute = workingFolder() + "/" + absolute;

    // The kept pieces stand in `clean`, each behind its slash, so ".." cuts at the last one.
    std::string clean;
    clean.reserve(absolute.size());
    std::string_view rest(absolute);
    while (!rest.empty()) {
        const size_t slash = rest.find('/');
        const std::string_view piece = rest.substr(0, slash);
        rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
        if (piece.empty() || piece == ".") continue;
        if (piece == "..")
            clean.resize(clean.empty() ? 0 : clean.rfind('/'));
        else
            clean.append(1, '/').append(piece);
    }
    return clean.empty() ? "/" : clean;
}

std::string dirName(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || path == "/") return "";
    return std::string(path.substr(0, std::max<size_t>(slash, 1)));
}

std::string baseName(std::string_view path) {
    return std::string(path.substr(path.rfind('/') + 1));  // npos + 1 is 0
}

std::string extension(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    const size_t dot = name.rfind('.');
    return dot == std::string_view::npos ? "" : lowerCase(name.substr(dot + 1));
}

std::string homeDir() {
    const std::string_view home = environment("HOME");
    return std::string(home.empty() ? "/tmp" : home);
}

std::string xdgDir(const char* variable, std::string_view fallback) {
    const std::string_view folder = environment(variable);
    if (startsWith(folder, "/")) return std::string(folder);
    std::string below = homeDir() + "/";
    below += fallback;
    return below;
}

std::string findOnPath(const std::string& name) {
    if (name.empty() || name.find('\0') != std::string::npos) return "";
    if (name.find('/') != std::string::npos) return ::access(name.c_str(), X_OK) == 0 ? name : "";
    std::string_view folders = environment("PATH");
    if (folders.empty()) folders = "/usr/local/bin:/usr/bin:/bin";
    for (const std::string& folder : split(folders, ':')) {
        if (folder.empty()) continue;
        std::string candidate = folder + "/" + name;
        if (fileExists(candidate) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return "";
}

}  // namespace mbutil
