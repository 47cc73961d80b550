#include <cstdint>
#include <cstring>

#include "util/util.hpp"

namespace mbutil {

namespace {

uint8_t byteAt(std::string_view text, size_t at) { return static_cast<uint8_t>(text[at]); }

bool inRange(uint8_t byte, uint8_t low, uint8_t high) { return byte >= low && byte <= high; }

// Length of the well-formed sequence at `at`, 0 when there is none. The bounds of the second byte
// are those of the Unicode standard's table of well-formed sequences: they rule out overlong forms,
// surrogates and what lies above U+10FFFF.
size_t wellFormedLength(std::string_view text, size_t at) {
    const uint8_t lead = byteAt(text, at);
    if (lead < 0x80) return 1;
    const size_t length = inRange(lead, 0xc2, 0xdf)   ? 2
                          : inRange(lead, 0xe0, 0xef) ? 3
                          : inRange(lead, 0xf0, 0xf4) ? 4
                                                      : 0;
    if (length == 0 || length > text.size() - at) return 0;
    const uint8_t low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    const uint8_t high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    if (!inRange(byteAt(text, at + 1), low, high)) return 0;
    for (size_t i = 2; i < length; ++i)
        if (!inRange(byteAt(text, at + i), 0x80, 0xbf)) return 0;
    return length;
}

// The first place from `at` on that is not well-formed, or the size.
size_t firstBad(std::string_view text, size_t at) {
    while (at < text.size()) {
        uint64_t word = 0;
        if (text.size() - at >= sizeof word) {
            std::memcpy(&word, text.data() + at, sizeof word);
            if ((word & 0x8080808080808080u) == 0) {
                at += sizeof word;
                continue;
            }
        }
        const size_t length = wellFormedLength(text, at);
        if (length == 0) return at;
        at += length;
    }
    return at;
}

}  // namespace

std::string toUtf8Strict(std::string text) {
    size_t bad = firstBad(text, 0);
    if (bad == text.size()) return text;
    std::string clean;
    clean.reserve(text.size() + 16);
    size_t from = 0;
    while (bad < text.size()) {
        clean.append(text, from, bad - from).append("\xef\xbf\xbd");
        from = bad + 1;
        bad = firstBad(text, from);
    }
    return clean.append(text, from, std::string::npos);
}

}  // namespace mbutil
