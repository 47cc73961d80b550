// What a child's command line and environment are made of.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbproc {

namespace {

constexpr std::string_view kHarmless =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
    "-_./=:,+@%";
constexpr std::string_view kRuntimeNames[] = {"APPDIR", "APPIMAGE", "ARGV0", "OWD"};

bool belongsToRuntime(std::string_view name) {
    return mbutil::startsWith(name, "APPIMAGE_") ||
           std::find(std::begin(kRuntimeNames), std::end(kRuntimeNames), name) !=
               std::end(kRuntimeNames);
}

// The ":"-separated pieces that do not lie in the mounted image. Any variable may be such a list,
// so there is no table of names.
std::string withoutMountPoint(std::string_view value, std::string_view mountPoint) {
    std::string kept;
    bool first = true;
    for (const std::string& piece : mbutil::split(value, ':')) {
        if (mbutil::startsWith(piece, mountPoint)) continue;
        if (!first) kept += ':';
        kept += piece;
        first = false;
    }
    return kept;
}

}  // namespace

std::string quote(std::string_view text) {
    if (!text.empty() && text.find_first_not_of(kHarmless) == std::string_view::npos)
        return std::string(text);
    std::string quoted = "'";
    for (const char byte : text) {
        if (byte == '\'')
            quoted += "'\\''";
        else
            quoted += byte;
    }
    return quoted + "'";
}

std::vector<std::string> inheritedEnvironment() {
    const char* appDir = ::getenv("APPDIR");
    const std::string_view mountPoint = appDir ? appDir : "";
    std::vector<std::string> kept;
    for (char** entry = ::environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos) continue;
        if (mountPoint.empty()) {
            kept.emplace_back(text);
            continue;
        }
        const std::string_view name = text.substr(0, equals);
        const std::string_view value = text.substr(equals + 1);
        if (belongsToRuntime(name)) continue;
        if (value.find(mountPoint) == std::string_view::npos) {
            kept.emplace_back(text);
            continue;
        }
        const std::string cleaned = withoutMountPoint(value, mountPoint);
        if (!cleaned.empty()) kept.push_back(std::string(name) + "=" + cleaned);
    }
    return kept;
}

}  // namespace mbproc
