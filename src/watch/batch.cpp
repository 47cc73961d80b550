#include "watch/batch.hpp"

#include <algorithm>
#include <utility>

#include "util/util.hpp"

namespace mbwatch {

namespace {

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Objects and logs come in thousands; branches, HEAD and the index are what the page shows.
bool isGitNoise(std::string_view path) {
    const bool inGit = contains(path, "/.git/") || mbutil::endsWith(path, "/.git");
    const bool shown = contains(path, "/.git/refs/") || mbutil::endsWith(path, "/.git/HEAD") ||
                       contains(path, "/.git/index");
    return inGit && !shown;
}

}  // namespace

bool worthTelling(std::string_view path) {
    if (isGitNoise(path) || contains(path, "/node_modules/")) return false;
    for (const std::string_view suffix : {".tmp", "~", ".swp"})
        if (mbutil::endsWith(path, suffix)) return false;
    return true;
}

void Batch::add(std::string path, Clock::time_point now) {
    if (pending.empty())
        begin = now;
    else if (pending.back() == path)
        return;
    pending.push_back(std::move(path));
}

bool Batch::due(Clock::time_point now) const {
    return !empty() && (full() || now - begin >= kLongestHold);
}

int Batch::timeoutMs(Clock::time_point now) const {
    if (empty()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(begin + kLongestHold - now);
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), kQuietTime).count());
}

std::vector<std::string> Batch::take() {
    std::sort(pending.begin(), pending.end());
    pending.erase(std::unique(pending.begin(), pending.end()), pending.end());
    return std::exchange(pending, {});
}

}  // namespace mbwatch
