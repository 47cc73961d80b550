#include "dispatch/text.hpp"

#include <charconv>

#include "util/util.hpp"

namespace mbdispatch {

namespace {

constexpr size_t kSlugCharacters = 32;
constexpr int kSlugBreaks = 3;
constexpr size_t kSubjectCharacters = 68;
constexpr std::string_view kEllipsis = "...";
constexpr const char* kCutRemark = "\n\u2026 (diff truncated)\n";

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

// Of ASCII only, whatever the locale: a branch's name goes everywhere.
bool isAlphanumeric(char byte) {
    return isDigit(byte) || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

// Where in UTF-8 text the character of this number begins; the size when there are fewer.
size_t characterAt(std::string_view text, size_t number) {
    size_t at = 0;
    for (; at < text.size(); ++at)
        if (!continuesCharacter(text[at]) && number-- == 0) break;
    return at;
}

// 0 for "-", which stands for a binary file, and for anything else that is no number.
double lineCount(std::string_view text) {
    long count = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), count);
    return read.ec == std::errc() ? static_cast<double>(count) : 0;
}

}  // namespace

std::string firstLine(std::string_view text) {
    const std::string trimmed = mbutil::trim(text);
    return mbutil::trim(std::string_view(trimmed).substr(0, trimmed.find('\n')));
}

std::string slug(std::string_view title) {
    std::string name;
    bool separated = false;
    int breaks = 0;
    for (const char byte : title) {
        if (!isAlphanumeric(byte)) {
            separated = true;
            continue;
        }
        if (separated && !name.empty()) {
            if (++breaks > kSlugBreaks || name.size() + 1 == kSlugCharacters) break;
            name += '-';
        }
        separated = false;
        name += mbutil::lowerCase({&byte, 1});
        if (name.size() == kSlugCharacters) break;
    }
    return name.empty() ? "task" : name;
}

std::string commitSubject(std::string_view title) {
    std::string subject = firstLine(title);
    // A command line would end there.
    std::erase(subject, '\0');
    if (characterAt(subject, kSubjectCharacters) < subject.size()) {
        subject.resize(characterAt(subject, kSubjectCharacters - kEllipsis.size()));
        subject += kEllipsis;
    }
    return "Dispatch: " + subject;
}

std::vector<FileCount> readNumstat(std::string_view output) {
    std::vector<FileCount> files;
    for (const std::string& line : mbutil::split(output, '\n')) {
        const size_t first = line.find('\t');
        const size_t second = first == std::string::npos ? first : line.find('\t', first + 1);
        if (second == std::string::npos) continue;
        const std::string_view text = line;
        files.push_back({mbutil::trim(text.substr(second + 1)), lineCount(text.substr(0, first)),
                         lineCount(text.substr(first + 1, second - first - 1))});
    }
    return files;
}

std::string limitPatch(std::string patch) {
    if (patch.size() <= kPatchBytes) return patch;
    size_t end = kPatchBytes;
    // A character takes four bytes at most; text that is no UTF-8 loses no more than it would.
    while (end > kPatchBytes - 3 && continuesCharacter(patch[end])) --end;
    patch.resize(end);
    return patch + kCutRemark;
}

std::string readableLines(const std::string& text) {
    std::string readable;
    readable.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        const size_t next = end == std::string::npos ? text.size() : end + 1;
        readable += mbutil::toUtf8Lenient(text.substr(at, next - at));
        at = next;
    }
    return readable;
}

}  // namespace mbdispatch
