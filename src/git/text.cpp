#include "git/text.hpp"

#include <algorithm>
#include <charconv>
#include <limits>

#include "util/util.hpp"

namespace mbgit {

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const size_t end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return pieces;
        text.remove_prefix(end + 1);
    }
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> found;
    for (const std::string_view piece : splitAt(text, ' '))
        if (!piece.empty()) found.emplace_back(piece);
    return found;
}

bool readNumber(std::string_view text, int64_t& value) {
    int64_t read = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, failure] = std::from_chars(text.data(), end, read);
    if (failure != std::errc() || stopped != end) return false;
    value = read;
    return true;
}

int64_t toNumber(std::string_view text) {
    int64_t value = 0;
    (void)readNumber(text, value);  // leaves 0
    return value;
}

int32_t toCount(std::string_view text, int32_t fallback) {
    int64_t value = 0;
    if (!readNumber(text, value) || value < std::numeric_limits<int32_t>::min() ||
        value > std::numeric_limits<int32_t>::max())
        return fallback;
    return static_cast<int32_t>(value);
}

mbjson::Json pathJson(std::string_view path) {
    const auto ascii = [](char byte) { return static_cast<signed char>(byte) >= 0; };
    if (std::all_of(path.begin(), path.end(), ascii)) return path;
    std::string converted;
    converted.reserve(path.size() + 1);
    for (const std::string_view component : splitAt(path, '/')) {
        converted += mbutil::toUtf8Lenient(std::string(component));
        converted += '/';
    }
    converted.pop_back();
    return converted;
}

}  // namespace mbgit
