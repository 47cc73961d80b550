#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "util/util.hpp"

namespace {

using namespace mbutil;

std::string hexSha1(std::string_view text) {
    std::array<uint8_t, 20> digest;
    sha1(text, digest);
    std::string hex;
    for (const uint8_t byte : digest) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

std::string encoded(std::string_view text) { return base64Encode(text.data(), text.size()); }

std::string decoded(std::string_view text) {
    const std::vector<uint8_t> bytes = base64Decode(text);
    return std::string(bytes.begin(), bytes.end());
}

TEST(UtilToken, IsLowerCaseHexadecimalOfTwiceTheLength) {
    for (size_t bytes : {0u, 1u, 16u, 24u, 1000u}) {
        const std::string token = randomToken(bytes);
        EXPECT_EQ(token.size(), 2 * bytes);
        EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos) << token;
    }
}

TEST(UtilToken, DiffersEachTimeAndUsesAllDigits) {
    std::set<std::string> tokens;
    for (int i = 0; i < 1000; ++i) EXPECT_TRUE(tokens.insert(randomToken(16)).second);
    const std::string digits = randomToken(1000);
    EXPECT_EQ(std::set<char>(digits.begin(), digits.end()).size(), 16u);
}

// From here on getrandom() fails in this process, as it does under an old kernel or a sandbox.
bool forbidGetrandom() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_getrandom, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{std::size(rules), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(UtilToken, IsDrawnFromTheDeviceWhereGetrandomFails) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        char byte = 0;
        if (!forbidGetrandom() || ::syscall(SYS_getrandom, &byte, 1, 0) != -1) ::_exit(2);
        const std::string one = randomToken(32), two = randomToken(32);
        const std::string zeros(64, '0');
        ::_exit(one != two && one != zeros && two != zeros ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "no system call filters here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(UtilSha1, KnownDigests) {
    EXPECT_EQ(hexSha1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(hexSha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(hexSha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(hexSha1(std::string(1000000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST(UtilSha1, EveryLengthAroundABlock) {
    // Digests of so many "a", by another implementation.
    struct Case {
        size_t length;
        const char* digest;
    };
    for (const Case& c : {Case{55, "c1c8bbdc22796e28c0e15163d20899b65621d65a"},
                          {56, "c2db330f6083854c99d4b5bfb6e8f29f201be699"},
                          {63, "03f09f5b158a7a8cdad920bddc29b81c18a551f5"},
                          {64, "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
                          {65, "11655326c708d70319be2610e8a57d9a5b959d3b"},
                          {119, "ee971065aaa017e0632a8ca6c77bb3bf8b1dfc56"},
                          {120, "f34c1488385346a55709ba056ddd08280dd4c6d6"},
                          {128, "ad5b3fdbcb526778c2839d2f151ea753995e26a0"}})
        EXPECT_EQ(hexSha1(std::string(c.length, 'a')), c.digest) << c.length;
}

TEST(UtilBase64, WebSocketAcceptValueOfTheProtocolsExample) {
    std::array<uint8_t, 20> digest;
    sha1("dGhlIHNhbXBsZSBub25jZQ==258EAFA5-E914-47DA-95CA-C5AB0DC85B11", digest);
    EXPECT_EQ(base64Encode(digest.data(), digest.size()), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
}

TEST(UtilBase64, EncodesWithPaddingAndWithoutLineBreaks) {
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encoded("\xfb\xff\xfe"), "+//+");
    EXPECT_EQ(encoded(std::string(300, 'x')).find('\n'), std::string::npos);
}

TEST(UtilBase64, DecodesWhatWasEncoded) {
    std::mt19937 random(1);
    for (size_t size = 0; size < 200; ++size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        EXPECT_EQ(decoded(encoded(bytes)), bytes);
    }
}

TEST(UtilBase64, BlanksAreSkippedAnywhere) {
    EXPECT_EQ(decoded(" Z\tm\r\n9 v\n"), "foo");
    EXPECT_EQ(decoded(" \r\n"), "");
}

TEST(UtilBase64, FirstPaddingByteEndsTheText) {
    EXPECT_EQ(decoded("Zg==Zm9v"), "f");
    EXPECT_EQ(decoded("Zm8=!!!"), "fo");
    EXPECT_EQ(decoded("=Zm9v"), "");
}

TEST(UtilBase64, MissingPaddingIsAccepted) {
    EXPECT_EQ(decoded("Zg"), "f");
    EXPECT_EQ(decoded("Zm8"), "fo");
    EXPECT_EQ(decoded("Zm9vYg"), "foob");
    EXPECT_EQ(decoded("Z"), "");  // six bits are no byte
    EXPECT_EQ(decoded("Zm9vY"), "foo");
}

TEST(UtilBase64, OtherBytesMakeTheWholeResultEmpty) {
    for (const char* text : {"Zm9v!", "Zm-v", "Zm_v", "Zm9v\xc3", "!Zm9v", "Zm\v9v"})
        EXPECT_EQ(decoded(text), "") << text;
    EXPECT_EQ(decoded(std::string_view("Zm9v\0", 5)), "");
}

TEST(UtilUtf8, ValidTextIsUnchanged) {
    for (const std::string text : {"", "plain", "A\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "\x01\x7f",
                                   // The pattern of the lead byte is all that counts: an overlong
                                   // form, half a surrogate pair, a code point past the last one.
                                   "\xc0\x80", "\xed\xa0\x80", "\xf7\xbf\xbf\xbf"})
        EXPECT_EQ(toUtf8Lenient(text), text);
    EXPECT_EQ(toUtf8Lenient(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(UtilUtf8, InvalidTextIsReadAsWindows1252Whole) {
    EXPECT_EQ(toUtf8Lenient("\x41\xe9\x42"), "A\xc3\xa9"
                                             "B");
    // Also the sequences that were valid are encoded again.
    EXPECT_EQ(toUtf8Lenient("\xc3\xa9 \xe9"), "\xc3\x83\xc2\xa9 \xc3\xa9");
}

TEST(UtilUtf8, EveryInvalidFormIsRecognised) {
    for (const char* text : {"\x80", "\xbf", "\xf8\x88\x80\x80\x80", "\xff", "\xfe", "\xc3",
                             "a\xc3", "\xc3(", "\xe2\x82", "\xe2(\x82", "\xe2\x82(", "\xf0\x9f\x98",
                             "\xf0\x9f(\x80", "\xf0\x9f\x98(", "\xc3\xc3\xa9"})
        EXPECT_NE(toUtf8Lenient(text), text);
}

TEST(UtilUtf8, InvalidByteIsFoundAtEveryPlace) {
    for (size_t size = 1; size < 40; ++size) {
        for (size_t at = 0; at < size; ++at) {
            std::string text(size, 'x'), expected(size, 'x');
            text[at] = '\xe9';
            expected.replace(at, 1, "\xc3\xa9");
            EXPECT_EQ(toUtf8Lenient(text), expected);
        }
    }
}

TEST(UtilUtf8, AllOfWindows1252IsCovered) {
    // 80 to 9F by code page; the five that it leaves undefined stay C1 controls.
    const char* high[32] = {"\xe2\x82\xac", "\xc2\x81",     "\xe2\x80\x9a", "\xc6\x92",
                            "\xe2\x80\x9e", "\xe2\x80\xa6", "\xe2\x80\xa0", "\xe2\x80\xa1",
                            "\xcb\x86",     "\xe2\x80\xb0", "\xc5\xa0",     "\xe2\x80\xb9",
                            "\xc5\x92",     "\xc2\x8d",     "\xc5\xbd",     "\xc2\x8f",
                            "\xc2\x90",     "\xe2\x80\x98", "\xe2\x80\x99", "\xe2\x80\x9c",
                            "\xe2\x80\x9d", "\xe2\x80\xa2", "\xe2\x80\x93", "\xe2\x80\x94",
                            "\xcb\x9c",     "\xe2\x84\xa2", "\xc5\xa1",     "\xe2\x80\xba",
                            "\xc5\x93",     "\xc2\x9d",     "\xc5\xbe",     "\xc5\xb8"};
    for (int byte = 0; byte < 256; ++byte) {
        std::string expected;
        if (byte < 0x80) {
            expected = std::string(1, static_cast<char>(byte));
        } else if (byte < 0xa0) {
            expected = high[byte - 0x80];
        } else {
            expected = {static_cast<char>(0xc0 | byte >> 6), static_cast<char>(0x80 | (byte & 63))};
        }
        // A lone continuation byte in front makes the whole text Windows-1252.
        EXPECT_EQ(toUtf8Lenient(std::string("\xa0") + static_cast<char>(byte)),
                  "\xc2\xa0" + expected)
            << byte;
    }
}

TEST(UtilUtf8, LargeTextIsConvertedWhole) {
    const std::string text(1 << 20, '\xe9');
    const std::string converted = toUtf8Lenient(text);
    EXPECT_EQ(converted.size(), 2 * text.size());
    EXPECT_EQ(converted.substr(converted.size() - 4), "\xc3\xa9\xc3\xa9");
}

}  // namespace
