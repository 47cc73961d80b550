#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "match/match.hpp"

namespace {

using mbmatch::Match;
using mbmatch::Matcher;
using mbmatch::Options;

constexpr Options kRegex{.caseSensitive = true, .regex = true};

Matcher matcherFor(const std::string& pattern, const Options& options) {
    Matcher matcher;
    std::string error;
    EXPECT_TRUE(matcher.compile(pattern, options, error)) << pattern << ": " << error;
    return matcher;
}

std::string errorOf(const std::string& pattern, const Options& options) {
    Matcher matcher;
    std::string error = "none";
    return matcher.compile(pattern, options, error) ? "accepted" : error;
}

// Where the pattern matches, as "start+length" each.
std::string matches(const std::string& pattern, std::string_view text, const Options& options) {
    Matcher matcher = matcherFor(pattern, options);
    std::string all;
    Match match;
    for (size_t at = 0; at <= text.size() && matcher.next(text, at, match);) {
        if (!all.empty()) all += ' ';
        all += std::to_string(match.start) + "+" + std::to_string(match.length);
        at = match.start + (match.length > 0 ? match.length : 1);
    }
    return all;
}

std::string replaced(const std::string& pattern, std::string_view text,
                     const std::string& replacement, const Options& options = kRegex) {
    Matcher matcher = matcherFor(pattern, options);
    uint64_t count = 0;
    const std::string result = mbmatch::replaceAll(matcher, text, replacement, count);
    return std::to_string(count) + ":" + result;
}

TEST(Matcher, EmptyPatternIsNothingToSearchFor) {
    EXPECT_EQ(errorOf("", {}), "nothing to search for");
    EXPECT_EQ(errorOf("", kRegex), "nothing to search for");
}

TEST(Matcher, NothingMatchesBeforeAPatternIsCompiled) {
    Matcher matcher;
    Match match{7, 7};
    EXPECT_FALSE(matcher.next("text", 0, match));
    EXPECT_FALSE(matcher.mayMatch("text"));
    EXPECT_EQ(match.start, 7u);
}

TEST(Matcher, FailedCompileForgetsThePatternBefore) {
    Matcher matcher = matcherFor("a", {});
    std::string error;
    EXPECT_FALSE(matcher.compile("(", kRegex, error));
    Match match;
    EXPECT_FALSE(matcher.next("a", 0, match));
}

TEST(Matcher, OffsetBeyondTheTextFindsNothing) {
    Match match;
    EXPECT_FALSE(matcherFor("a", {}).next("a", 2, match));
    EXPECT_FALSE(matcherFor("a*", kRegex).next("a", 2, match));
    EXPECT_TRUE(matcherFor("a*", kRegex).next("a", 1, match));
}

TEST(Matcher, LiteralCaseCountsOnlyWhenAsked) {
    EXPECT_EQ(matches("foo", "Foo foo FOO", {}), "0+3 4+3 8+3");
    EXPECT_EQ(matches("foo", "Foo foo FOO", {.caseSensitive = true}), "4+3");
    EXPECT_EQ(matches("[x]", "{x} [X]", {}), "4+3");  // "[" and "{" differ in the bit of case only
    EXPECT_EQ(matches("@", "` @", {}), "2+1");
}

TEST(Matcher, LiteralFoldsNoLetterBeyondAscii) {
    EXPECT_EQ(matches("\u00e4B", "\u00c4b \u00e4b", {}), "4+3");
}

TEST(Matcher, WholeWordHasNoWordByteOnEitherSide) {
    const Options word{.wholeWord = true};
    EXPECT_EQ(matches("foo", "foo.bar", word), "0+3");
    EXPECT_EQ(matches("foo", "foobar foo_bar afoo 1foo foo1 Foo", word), "30+3");
    EXPECT_EQ(matches("foo", "\u00e4foo\u00e4", word), "2+3");
    // The search goes on at the next byte, not behind the candidate.
    EXPECT_EQ(matches("..", "x...", word), "2+2");
    EXPECT_EQ(matches("a.a", "xa.a.a", word), "3+3");
}

TEST(Matcher, WholeWordHasNoEffectOnARegularExpression) {
    EXPECT_EQ(matches("foo", "foobar", {.wholeWord = true, .regex = true}), "0+3");
}

// Every length around the blocks of the scan, with the match at every place of them.
TEST(Matcher, LiteralIsFoundAtEveryPlaceOfEveryText) {
    for (const std::string needle : {"q", "Qx", "needle", "a text longer than a block of the scan"})
        for (size_t size = needle.size(); size < needle.size() + 70; ++size)
            for (size_t place = 0; place + needle.size() <= size; ++place) {
                // Without spare capacity, so that a sanitizer sees a look behind its end.
                std::vector<char> bytes(size, '.');
                std::copy(needle.begin(), needle.end(),
                          bytes.begin() + static_cast<std::ptrdiff_t>(place));
                const std::string_view text(bytes.data(), bytes.size());
                for (const bool caseSensitive : {true, false}) {
                    Matcher matcher = matcherFor(needle, {.caseSensitive = caseSensitive});
                    Match match;
                    ASSERT_TRUE(matcher.next(text, 0, match)) << needle << size << place;
                    ASSERT_EQ(match.start, place);
                    ASSERT_TRUE(matcher.next(text, place, match));
                    ASSERT_FALSE(matcher.next(text, place + 1, match));
                }
            }
}

TEST(Matcher, NulBytesAreBytesLikeOthers) {
    const std::string text("a\0b\0b", 5);
    EXPECT_EQ(matches(std::string("\0b", 2), text, {}), "1+2 3+2");
    EXPECT_EQ(matches("\\0b", text, kRegex), "1+2 3+2");
    EXPECT_EQ(matches("a.b", text, kRegex), "0+3");
}

TEST(Matcher, AnchorsHoldAtTheEndsOfTheWholeTextOnly) {
    EXPECT_EQ(matches("^a", "a\na\naa", kRegex), "0+1");
    EXPECT_EQ(matches("a$", "a\na\naa", kRegex), "5+1");
    EXPECT_EQ(matches("a$", "a\n", kRegex), "");
    Match match;
    EXPECT_FALSE(matcherFor("^a", kRegex).next("aa", 1, match));
}

TEST(Matcher, WordBoundarySeesTheByteBeforeTheOffset) {
    Match match;
    EXPECT_FALSE(matcherFor("\\bb", kRegex).next("ab", 1, match));
    EXPECT_TRUE(matcherFor("\\Bb", kRegex).next("ab", 1, match));
    EXPECT_TRUE(matcherFor("\\bb", kRegex).next("-b", 1, match));
}

TEST(Matcher, RegularExpressionFoldsCaseUnlessAskedNotTo) {
    EXPECT_EQ(matches("a[b-c]", "AB", {.regex = true}), "0+2");
    EXPECT_EQ(matches("a[b-c]", "AB", kRegex), "");
    EXPECT_EQ(matches("(a)\\1", "aA", {.regex = true}), "0+2");
    EXPECT_EQ(matches("\u00e4", "\u00c4", {.regex = true}), "");
}

TEST(Matcher, RequiredTextNarrowsTheSearchToItsLines) {
    // Matches in later lines, before the required text in its line, and several in one line.
    EXPECT_EQ(matches("\\w+need\\d", "none\n  xneed1 yneed2\nneed\nzzneed3", kRegex),
              "7+6 14+6 26+7");
    // One that lies across lines is found as well.
    EXPECT_EQ(matches("one\\s+two", "one\n\ntwo one two", kRegex), "0+8 9+7");
    EXPECT_EQ(matches("[^x]*need", "ab\ncd need", kRegex), "0+10");
    EXPECT_EQ(matches("(?:need)?a", "a\nneeda", kRegex), "0+1 2+5");
    EXPECT_EQ(matches("need|a", "a\nneed", kRegex), "0+1 2+4");
    EXPECT_EQ(matches("(?=need)n", "n need", kRegex), "2+1");
}

TEST(Matcher, LowerBranchesAreNotLostToTheEnginesShortcuts) {
    EXPECT_EQ(matches("1|(.|)c*a", "a", kRegex), "0+1");
    EXPECT_EQ(matches("-|([^]|)\\S*.", "_", kRegex), "0+1");
    EXPECT_EQ(matches("(?=B)c*B", "B-", kRegex), "0+1");
}

TEST(Matcher, CountsBeyondTheEnginesOwnLimitAreKept) {
    const std::string text(70001, 'a');
    EXPECT_EQ(matches("a{70000}b?", text, kRegex), "0+70000");
    EXPECT_EQ(matches("a{70002}", text, kRegex), "");
    EXPECT_EQ(matches("^a{40000,66000}", text, kRegex), "0+66000");
    EXPECT_EQ(matches("a{69999,}", text, kRegex), "0+70001");
}

TEST(Matcher, MayMatchSeesThroughOtherEncodings) {
    EXPECT_FALSE(matcherFor("need", {}).mayMatch("none \xe9"));
    EXPECT_TRUE(matcherFor("need", {}).mayMatch("\xe9NEED\xe9"));
    // Latin-1 text that becomes a match only once it is converted.
    EXPECT_TRUE(matcherFor("\u00e9", {}).mayMatch("\xe9"));
    EXPECT_FALSE(matcherFor("x+need", kRegex).mayMatch("xx nee"));
    EXPECT_TRUE(matcherFor("x+need", kRegex).mayMatch("need"));
    EXPECT_TRUE(matcherFor("[a-z]", kRegex).mayMatch(""));
}

TEST(Matcher, CopySearchesOnItsOwn) {
    Matcher first = matcherFor("(a)(b)?", kRegex);
    Match match;
    ASSERT_TRUE(first.next("ab", 0, match));
    Matcher second(first);
    EXPECT_EQ(second.expand("$1"), "$1");  // it has had no match yet
    ASSERT_TRUE(second.next("a", 0, match));
    EXPECT_EQ(second.expand("[$1$2]"), "[a]");
    EXPECT_EQ(first.expand("[$1$2]"), "[ab]");
    second = first;
    ASSERT_TRUE(second.next("ab", 0, match));
    EXPECT_EQ(second.expand("$2"), "b");
}

TEST(MatchExpand, DollarSignsStandForTheLastMatch) {
    Matcher matcher = matcherFor("(b)(x)?(c)", kRegex);
    Match match;
    ASSERT_TRUE(matcher.next("abcd", 0, match));
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"$1a", "ba"},    {"$10", "b0"}, {"$0", "bc"},  {"$&$&", "bcbc"}, {"$$1", "$1"},
        {"[$2]", "[]"},   {"$9", ""},    {"$x", "$x"},  {"a$", "a$"},     {"$", "$"},
        {"$$$3$", "$c$"}, {"", ""},      {"\\1", "\\1"}};
    for (const auto& [replacement, expected] : rows)
        EXPECT_EQ(matcher.expand(replacement), expected) << replacement;
}

TEST(MatchExpand, LiteralMatchLeavesTheReplacementAsItIs) {
    EXPECT_EQ(replaced("a", "a", "$&$1$$", {}), "1:$&$1$$");
}

TEST(MatchExpand, NothingIsExpandedAfterASearchThatFailed) {
    Matcher matcher = matcherFor("(a)", kRegex);
    Match match;
    ASSERT_TRUE(matcher.next("a", 0, match));
    ASSERT_FALSE(matcher.next("a", 1, match));
    EXPECT_EQ(matcher.expand("$1"), "$1");
}

TEST(MatchReplace, EmptyMatchesKeepEveryByteAndTakeTheEndToo) {
    EXPECT_EQ(replaced("x*", "abc", "-"), "4:-a-b-c-");
    EXPECT_EQ(replaced("x*", "", "-"), "1:-");
    // Behind a match that is not empty an empty one begins at the very next place.
    EXPECT_EQ(replaced("b*", "abc", "-"), "4:-a--c-");
    EXPECT_EQ(replaced("$", "ab\n", "!"), "1:ab\n!");
}

TEST(MatchReplace, TextWithoutAMatchStaysAsItIs) {
    EXPECT_EQ(replaced("z", "abc", "-"), "0:abc");
    EXPECT_EQ(replaced("b+", "abbcbd", "<$&>"), "2:a<bb>c<b>d");
    EXPECT_EQ(replaced("FOO", "foo bar Foo", "x", {}), "2:x bar x");
}

}  // namespace
