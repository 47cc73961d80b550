#pragma once
// Searches in JSON text, eight bytes a step: the inner loops of the parser and the serialiser.
//
// Use: internal to this folder. All of them give `end` when nothing is found.

#include <bit>
#include <cstdint>
#include <cstring>

namespace mbjson {

namespace scan {

constexpr uint64_t kOnes = 0x0101010101010101u;
constexpr uint64_t kHighs = 0x8080808080808080u;

inline uint64_t loadWord(const char* at) {
    uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// The high bit of each byte that equals `byte`. Bytes above the lowest match may be marked wrongly.
constexpr uint64_t markEqual(uint64_t word, char byte) {
    const uint64_t zeroWhereEqual = word ^ kOnes * static_cast<uint8_t>(byte);
    return (zeroWhereEqual - kOnes) & ~zeroWhereEqual & kHighs;
}

// The high bit of each byte below 0x20, with the same reservation.
constexpr uint64_t markControl(uint64_t word) { return (word - kOnes * 0x20) & ~word & kHighs; }

// The first byte for which `isStop` holds. `markStops` marks it in a word: a word with no mark is
// skipped, and the lowest mark, the first byte where the lowest byte comes first, is exact.
template <class MarkStops, class IsStop>
const char* find(const char* at, const char* end, MarkStops markStops, IsStop isStop) {
    for (; end - at >= 8; at += 8) {
        const uint64_t marks = markStops(loadWord(at));
        if (marks == 0) continue;
        if constexpr (std::endian::native == std::endian::little)
            return at + std::countr_zero(marks) / 8;
        break;
    }
    while (at != end && !isStop(*at)) ++at;
    return at;
}

}  // namespace scan

// The quote or backslash that ends a run of plain bytes in a string.
inline const char* findStringEnd(const char* at, const char* end) {
    return scan::find(
        at, end,
        [](uint64_t word) { return scan::markEqual(word, '"') | scan::markEqual(word, '\\'); },
        [](char byte) { return byte == '"' || byte == '\\'; });
}

// The first byte that must be escaped.
inline const char* findEscaped(const char* at, const char* end) {
    return scan::find(
        at, end,
        [](uint64_t word) {
            return scan::markEqual(word, '"') | scan::markEqual(word, '\\') |
                   scan::markControl(word);
        },
        [](char byte) { return byte == '"' || byte == '\\' || static_cast<uint8_t>(byte) < 0x20; });
}

// Whether the text from `at` on closes `depth` brackets. A glance that counts brackets outside of
// strings; whether each has its right partner is left to the parser.
inline bool bracketsClose(const char* at, const char* end, size_t depth) {
    for (; at != end; ++at) {
        if (depth > static_cast<size_t>(end - at)) return false;
        if (*at == '[' || *at == '{') {
            ++depth;
        } else if (*at == ']' || *at == '}') {
            if (--depth == 0) return true;
        } else if (*at == '"') {
            for (++at; (at = findStringEnd(at, end)) != end && *at != '"'; ++at) {
                if (++at == end) return false;
            }
            if (at == end) return false;
        }
    }
    return false;
}

}  // namespace mbjson
