#include "util/util.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>

#include "util/fd.hpp"

namespace mbutil {

namespace {

// For a kernel or a sandbox without getrandom().
void readUrandom(uint8_t* out, size_t size) {
    const Fd source(::open("/dev/urandom", O_RDONLY | O_CLOEXEC));
    while (size > 0) {
        const ssize_t got = ::read(source.value, out, size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        out += got;
        size -= static_cast<size_t>(got);
    }
}

void fillRandom(uint8_t* out, size_t size) {
    while (size > 0) {
        const ssize_t got = ::getrandom(out, size, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return readUrandom(out, size);
        out += got;
        size -= static_cast<size_t>(got);
    }
}

using Sha1State = std::array<uint32_t, 5>;
constexpr size_t kSha1Block = 64;

void sha1Block(Sha1State& state, const uint8_t* block) {
    std::array<uint32_t, 80> words;
    for (size_t i = 0; i < 16; ++i)
        words[i] = uint32_t{block[4 * i]} << 24 | uint32_t{block[4 * i + 1]} << 16 |
                   uint32_t{block[4 * i + 2]} << 8 | uint32_t{block[4 * i + 3]};
    for (size_t i = 16; i < 80; ++i)
        words[i] = std::rotl(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);

    auto [a, b, c, d, e] = state;
    for (size_t i = 0; i < 80; ++i) {
        uint32_t mix, constant;
        if (i < 20) {
            mix = (b & c) | (~b & d);
            constant = 0x5a827999;
        } else if (i < 40) {
            mix = b ^ c ^ d;
            constant = 0x6ed9eba1;
        } else if (i < 60) {
            mix = (b & c) | (b & d) | (c & d);
            constant = 0x8f1bbcdc;
        } else {
            mix = b ^ c ^ d;
            constant = 0xca62c1d6;
        }
        const uint32_t next = std::rotl(a, 5) + mix + e + constant + words[i];
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d, state[4] + e};
}

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of each byte in the alphabet, -1 for those outside of it.
constexpr std::array<int, 256> kBase64Value = [] {
    std::array<int, 256> values;
    values.fill(-1);
    for (int i = 0; i < 64; ++i) values[static_cast<uint8_t>(kBase64[i])] = i;
    return values;
}();

// The first byte at or after `at` that is not ASCII, or `size`. Eight bytes a step: nearly all
// text that comes here is ASCII.
size_t skipAscii(const char* text, size_t at, size_t size) {
    for (; size - at >= 8; at += 8) {
        uint64_t word;
        std::memcpy(&word, text + at, 8);
        if (word & 0x8080808080808080u) break;
    }
    while (at < size && static_cast<uint8_t>(text[at]) < 0x80) ++at;
    return at;
}

// Length of the sequence that starts with `lead`, 0 for a byte that can start none.
size_t sequenceLength(uint8_t lead) {
    if (lead < 0x80) return 1;
    if ((lead & 0xe0) == 0xc0) return 2;
    if ((lead & 0xf0) == 0xe0) return 3;
    if ((lead & 0xf8) == 0xf0) return 4;
    return 0;
}

// By lead-byte pattern alone: overlong forms and surrogates pass.
bool looksLikeUtf8(std::string_view text) {
    size_t at = 0;
    for (;;) {
        at = skipAscii(text.data(), at, text.size());
        if (at == text.size()) return true;
        const size_t length = sequenceLength(static_cast<uint8_t>(text[at]));
        if (length == 0 || length > text.size() - at) return false;
        for (size_t i = 1; i < length; ++i)
            if ((static_cast<uint8_t>(text[at + i]) & 0xc0) != 0x80) return false;
        at += length;
    }
}

// Windows-1252's 80 to 9F. The five bytes that it leaves undefined are the C1 controls of the same
// number, so that nothing is lost.
constexpr uint16_t kWindows1252[32] = {
    0x20ac, 0x0081, 0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021, 0x02c6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008d, 0x017d, 0x008f, 0x0090, 0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
    0x2013, 0x2014, 0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0x009d, 0x017e, 0x0178};

void appendWindows1252(std::string& out, uint8_t byte) {
    if (byte < 0x80) {
        out += static_cast<char>(byte);
        return;
    }
    const unsigned codePoint = byte < 0xa0 ? kWindows1252[byte - 0x80] : byte;
    if (codePoint < 0x800) {
        out += static_cast<char>(0xc0 | codePoint >> 6);
    } else {
        out += static_cast<char>(0xe0 | codePoint >> 12);
        out += static_cast<char>(0x80 | (codePoint >> 6 & 0x3f));
    }
    out += static_cast<char>(0x80 | (codePoint & 0x3f));
}

}  // namespace

std::string randomToken(size_t bytes) {
    std::vector<uint8_t> random(bytes);
    fillRandom(random.data(), random.size());
    std::string token;
    token.reserve(bytes * 2);
    for (const uint8_t byte : random) {
        token += "0123456789abcdef"[byte >> 4];
        token += "0123456789abcdef"[byte & 15];
    }
    return token;
}

void sha1(std::string_view text, std::array<uint8_t, 20>& out) {
    Sha1State state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
    const uint64_t bits = uint64_t{text.size()} * 8;
    for (; text.size() >= kSha1Block; text.remove_prefix(kSha1Block))
        sha1Block(state, reinterpret_cast<const uint8_t*>(text.data()));

    // The rest, a 1 bit, zeros and the length take one block or two.
    std::array<uint8_t, 2 * kSha1Block> tail{};
    std::copy(text.begin(), text.end(), tail.begin());
    tail[text.size()] = 0x80;
    const size_t tailSize = text.size() + 9 <= kSha1Block ? kSha1Block : 2 * kSha1Block;
    for (size_t i = 0; i < 8; ++i) tail[tailSize - 1 - i] = static_cast<uint8_t>(bits >> (8 * i));
    for (size_t at = 0; at < tailSize; at += kSha1Block) sha1Block(state, tail.data() + at);

    for (size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
}

std::string base64Encode(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (size_t at = 0; at < size; at += 3) {
        const size_t count = std::min<size_t>(size - at, 3);
        unsigned group = unsigned{bytes[at]} << 16;
        if (count > 1) group |= unsigned{bytes[at + 1]} << 8;
        if (count > 2) group |= bytes[at + 2];
        text += kBase64[group >> 18];
        text += kBase64[group >> 12 & 63];
        text += count > 1 ? kBase64[group >> 6 & 63] : '=';
        text += count > 2 ? kBase64[group & 63] : '=';
    }
    return text;
}

std::vector<uint8_t> base64Decode(std::string_view text) {
    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    unsigned group = 0;
    int bits = 0;
    for (const char byte : text) {
        if (byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r') continue;
        if (byte == '=') break;
        const int value = kBase64Value[static_cast<uint8_t>(byte)];
        if (value < 0) return {};
        group = (group << 6 | static_cast<unsigned>(value)) & 0xffff;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<uint8_t>(group >> bits));
        }
    }
    return bytes;
}

std::string toUtf8Lenient(std::string text) {
    if (looksLikeUtf8(text)) return text;
    std::string encoded;
    encoded.reserve(text.size() + text.size() / 8);
    for (const char byte : text) appendWindows1252(encoded, static_cast<uint8_t>(byte));
    return encoded;
}

}  // namespace mbutil
