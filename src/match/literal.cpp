#include "match/literal.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace mbmatch {

namespace {

// The bytes of source text, commonest first. What is not here is rarer than all of them.
constexpr std::string_view kCommonBytes =
    " etarnoisclpdumfhg\n.,()_;yv\"bw-=/xkq:{}'*>jzSTECAR<01LIPNDMOFBUG2[]&#+\tVH3W\\K4586X97Y!@|"
    "$Q%?JZ`~^\r";

// 0 for the rarest.
constexpr std::array<uint8_t, 256> kCommonness = [] {
    std::array<uint8_t, 256> ranks{};
    for (size_t i = 0; i < kCommonBytes.size(); ++i)
        ranks[static_cast<uint8_t>(kCommonBytes[i])] =
            static_cast<uint8_t>(kCommonBytes.size() - i);
    return ranks;
}();

uint8_t toByte(char value) { return static_cast<uint8_t>(value); }

bool isUpper(char byte) { return byte >= 'A' && byte <= 'Z'; }
bool isLower(char byte) { return byte >= 'a' && byte <= 'z'; }
char lower(char byte) { return isUpper(byte) ? static_cast<char>(byte | 0x20) : byte; }

}  // namespace

Literal::Literal(std::string text, bool fold) : needle(std::move(text)), foldCase(fold) {
    if (needle.empty()) return;
    if (foldCase) std::transform(needle.begin(), needle.end(), needle.begin(), lower);
    const auto rank = [this](size_t at) { return kCommonness[toByte(needle[at])]; };
    size_t rarest = 0;
    for (size_t i = 1; i < needle.size(); ++i)
        if (rank(i) < rank(rarest)) rarest = i;
    size_t second = rarest == 0 ? needle.size() - 1 : 0;
    for (size_t i = 0; i < needle.size(); ++i)
        if (i != rarest && rank(i) < rank(second)) second = i;
    probes = {probeAt(rarest), probeAt(second)};
}

Literal::Probe Literal::probeAt(size_t offset) const {
    const bool bothCases = foldCase && isLower(needle[offset]);
    return {offset, toByte(needle[offset]), static_cast<uint8_t>(bothCases ? 0x20 : 0)};
}

bool Literal::ascii() const {
    return std::all_of(needle.begin(), needle.end(), [](char byte) { return toByte(byte) < 0x80; });
}

bool Literal::standsAt(const char* place) const {
    if (!foldCase) return std::memcmp(place, needle.data(), needle.size()) == 0;
    for (size_t i = 0; i < needle.size(); ++i)
        if (lower(place[i]) != needle[i]) return false;
    return true;
}

size_t Literal::findSlowly(std::string_view text, size_t from) const {
    const Probe& probe = probes[0];
    for (size_t at = from; at + needle.size() <= text.size(); ++at)
        if ((toByte(text[at + probe.offset]) | probe.mask) == probe.byte &&
            standsAt(text.data() + at))
            return at;
    return kNone;
}

#ifdef __SSE2__

size_t Literal::find(std::string_view text, size_t from) const {
    if (needle.empty() || text.size() < needle.size() || from > text.size() - needle.size())
        return kNone;
    constexpr size_t kStep = sizeof(__m128i);
    const auto spread = [](uint8_t byte) { return _mm_set1_epi8(static_cast<char>(byte)); };
    const __m128i byte0 = spread(probes[0].byte), mask0 = spread(probes[0].mask);
    const __m128i byte1 = spread(probes[1].byte), mask1 = spread(probes[1].mask);
    const auto hits = [](const char* place, __m128i byte, __m128i mask) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(place));
        return _mm_cmpeq_epi8(_mm_or_si128(block, mask), byte);
    };
    // Places where the needle can begin; all loads below `end` stay inside of the text.
    const size_t end = text.size() - needle.size() + 1;
    size_t at = from;
    for (; end - at >= kStep; at += kStep) {
        const char* place = text.data() + at;
        const __m128i both = _mm_and_si128(hits(place + probes[0].offset, byte0, mask0),
                                           hits(place + probes[1].offset, byte1, mask1));
        for (auto bits = static_cast<unsigned>(_mm_movemask_epi8(both)); bits; bits &= bits - 1) {
            const auto index = static_cast<size_t>(std::countr_zero(bits));
            if (standsAt(place + index)) return at + index;
        }
    }
    return findSlowly(text, at);
}

#else

size_t Literal::find(std::string_view text, size_t from) const {
    return needle.empty() ? kNone : findSlowly(text, from);
}

#endif

}  // namespace mbmatch
