#include "dispatch/text.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using mbdispatch::commitSubject;
using mbdispatch::firstLine;
using mbdispatch::kPatchBytes;
using mbdispatch::limitPatch;
using mbdispatch::readableLines;
using mbdispatch::readNumstat;
using mbdispatch::slug;

const std::string kRemark = "\n\u2026 (diff truncated)\n";

std::string times(size_t count, const std::string& text) {
    std::string all;
    for (size_t i = 0; i < count; ++i) all += text;
    return all;
}

TEST(DispatchText, FirstLineIsTrimmedOnBothSidesOfTheCut) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},
        {" \t\r\n", ""},
        {"one", "one"},
        {"\n\n  one \t\r\ntwo\n", "one"},
        {"one\n\ntwo", "one"},
        {"one\rtwo\nthree", "one\rtwo"},
    };
    for (const auto& [text, line] : cases) EXPECT_EQ(firstLine(text), line) << text;
}

TEST(DispatchText, SlugHoldsFourWordsOfATitle) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"Fix the login bug in the parser", "fix-the-login-bug"},
        {"one two three four", "one-two-three-four"},
        {"one two three four!", "one-two-three-four"},
        {"  --Fix__THIS/now..", "fix-this-now"},
        {"a1 B2", "a1-b2"},
        {"!?.,;:-_", "task"},
        {"", "task"},
        {"\u00fcber \u00e4lter", "ber-lter"},
        {"one\ntwo\tthree", "one-two-three"},
        {"$(touch x); `rm -rf /`", "touch-x-rm-rf"},
    };
    for (const auto& [title, name] : cases) EXPECT_EQ(slug(title), name) << title;
}

TEST(DispatchText, SlugNeverGoesAboveItsLength) {
    EXPECT_EQ(slug(std::string(32, 'a')), std::string(32, 'a'));
    EXPECT_EQ(slug(std::string(33, 'a')), std::string(32, 'a'));
    EXPECT_EQ(slug(std::string(30, 'a') + " bc"), std::string(30, 'a') + "-b");
    // There is room for a separator and for nothing behind it.
    EXPECT_EQ(slug(std::string(31, 'a') + " b"), std::string(31, 'a'));
    EXPECT_EQ(slug(std::string(32, 'a') + " b"), std::string(32, 'a'));
}

TEST(DispatchText, SubjectIsCutAboveSixtyEightCharacters) {
    EXPECT_EQ(commitSubject("short"), "Dispatch: short");
    EXPECT_EQ(commitSubject("  first\nsecond"), "Dispatch: first");
    EXPECT_EQ(commitSubject(std::string(68, 'x')), "Dispatch: " + std::string(68, 'x'));
    EXPECT_EQ(commitSubject(std::string(69, 'x')), "Dispatch: " + std::string(65, 'x') + "...");
    EXPECT_EQ(commitSubject(std::string(70, 'x')), "Dispatch: " + std::string(65, 'x') + "...");
    EXPECT_EQ(commitSubject(std::string("a\0b", 3)), "Dispatch: ab");
}

TEST(DispatchText, SubjectCountsCharactersAndCutsNone) {
    EXPECT_EQ(commitSubject(times(68, "\u00fc")), "Dispatch: " + times(68, "\u00fc"));
    EXPECT_EQ(commitSubject(times(69, "\u20ac")), "Dispatch: " + times(65, "\u20ac") + "...");
}

TEST(DispatchText, NumstatRowsNeedTwoTabs) {
    const auto files = readNumstat("12\t3\tsrc/a b.cpp\n"
                                   "-\t-\tlogo.png\n"
                                   "no tabs\n"
                                   "1\tone tab\n"
                                   "\n"
                                   "0\t7\told => new\twith tab \r\n"
                                   "99999999999999999999999\t1\thuge\n"
                                   "5\t6\tlast");
    ASSERT_EQ(files.size(), 5u);
    const auto expect = [&](size_t at, const char* path, double added, double removed) {
        EXPECT_EQ(files[at].path, path);
        EXPECT_EQ(files[at].added, added) << path;
        EXPECT_EQ(files[at].removed, removed) << path;
    };
    expect(0, "src/a b.cpp", 12, 3);
    expect(1, "logo.png", 0, 0);
    expect(2, "old => new\twith tab", 0, 7);
    expect(3, "huge", 0, 1);
    expect(4, "last", 5, 6);
    EXPECT_TRUE(readNumstat("").empty());
}

TEST(DispatchText, PatchOfTheLimitIsWholeAndOneByteMoreIsCut) {
    EXPECT_EQ(limitPatch(""), "");
    const std::string whole(kPatchBytes, 'p');
    EXPECT_EQ(limitPatch(whole), whole);
    EXPECT_EQ(limitPatch(whole + "q"), whole + kRemark);
    EXPECT_EQ(limitPatch(whole + std::string(1000000, 'q')), whole + kRemark);
}

TEST(DispatchText, PatchIsNotCutInsideOfACharacter) {
    for (const std::string character : {"\u00fc", "\u20ac", "\U0001f600"}) {
        for (size_t inside = 1; inside < character.size(); ++inside) {
            const std::string before(kPatchBytes - inside, 'p');
            EXPECT_EQ(limitPatch(before + character + "rest"), before + kRemark) << inside;
        }
        const std::string before(kPatchBytes - character.size(), 'p');
        EXPECT_EQ(limitPatch(before + character + "rest"), before + character + kRemark);
    }
    // No UTF-8: as much goes as one character could have had.
    const std::string bytes(kPatchBytes + 10, '\x80');
    EXPECT_EQ(limitPatch(bytes), bytes.substr(0, kPatchBytes - 3) + kRemark);
}

TEST(DispatchText, EachLineKeepsItsOwnEncoding) {
    EXPECT_EQ(readableLines("+gr\xfc\xdf\n+gr\u00fc\u00df\nend"),
              "+gr\u00fc\u00df\n+gr\u00fc\u00df\nend");
    EXPECT_EQ(readableLines("\n\n"), "\n\n");
    EXPECT_EQ(readableLines(""), "");
}

}  // namespace
