// Patterns that would end the process, or hold it for hours, if nothing bounded them.

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <regex>
#include <string>

#include "match/match.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbmatch::Match;
using mbmatch::Matcher;
using namespace std::chrono_literals;

std::string repeated(const std::string& part, size_t times) {
    std::string all;
    for (size_t i = 0; i < times; ++i) all += part;
    return all;
}

std::string errorOf(const std::string& pattern) {
    Matcher matcher;
    std::string error;
    return matcher.compile(pattern, {.regex = true}, error) ? "accepted" : error;
}

bool isRefused(const std::string& pattern) {
    return mbutil::startsWith(errorOf(pattern), "invalid pattern: ");
}

// Seconds that it takes to go through all matches.
double secondsFor(const std::string& pattern, const std::string& text) {
    Matcher matcher;
    std::string error;
    EXPECT_TRUE(matcher.compile(pattern, {.caseSensitive = true, .regex = true}, error)) << error;
    const auto begin = std::chrono::steady_clock::now();
    Match match;
    for (size_t at = 0; at <= text.size() && matcher.next(text, at, match);)
        at = match.start + (match.length > 0 ? match.length : 1);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// On a thread of this many bytes of stack, as a connection has them.
void runWithStack(size_t bytes, std::function<void()> work) {
    pthread_attr_t attributes;
    ASSERT_EQ(::pthread_attr_init(&attributes), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&attributes, bytes), 0);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, run, &work), 0);
    ::pthread_join(thread, nullptr);
    ::pthread_attr_destroy(&attributes);
}

TEST(MatchBounds, RefusalIsTheStandardLibrarysOwn) {
    EXPECT_TRUE(isRefused("("));
    EXPECT_TRUE(isRefused("a)"));
    EXPECT_TRUE(isRefused("[b-a]"));
    EXPECT_TRUE(isRefused("*"));
    EXPECT_TRUE(isRefused("\\1(a)"));
    try {
        const std::regex unused("[");
        FAIL();
    } catch (const std::regex_error& failure) {
        EXPECT_EQ(errorOf("["), std::string("invalid pattern: ") + failure.what());
    }
}

TEST(MatchBounds, NestingIsRefusedOnlyBeyondItsLimit) {
    for (const std::string opening : {"(", "(?:", "(?=", "(?!"}) {
        EXPECT_EQ(errorOf(repeated(opening, 250) + "a" + repeated(")", 250)), "accepted");
        EXPECT_TRUE(isRefused(repeated(opening, 251) + "a" + repeated(")", 251)));
        EXPECT_TRUE(isRefused(repeated(opening, 100'000)));
    }
    EXPECT_EQ(errorOf("a" + repeated("*", 250)), "accepted");
    EXPECT_TRUE(isRefused("a" + repeated("*", 251)));
    // What names a byte opens and closes nothing.
    EXPECT_EQ(errorOf(repeated("\\c(", 300) + repeated("[(]", 300) + repeated("\\(", 300)),
              "accepted");
    EXPECT_TRUE(isRefused("\\c[" + repeated("(", 300) + "]"));
    EXPECT_TRUE(isRefused("[\\c]]" + repeated("(", 300)));
}

TEST(MatchBounds, LongPatternsEndInTimeAndWithinAnOrdinaryStack) {
    runWithStack(8 << 20, [] {
        EXPECT_EQ(errorOf(repeated("a", 8192)), "accepted");
        EXPECT_TRUE(isRefused(repeated("a", 8193)));
        EXPECT_TRUE(isRefused(repeated("a|", 100'000)));
        for (const std::string part : {"a|", "|", "\\d", "(?:)", "()", "[a]", "a*", "a{2}", "\\b"})
            (void)errorOf(repeated(part, 8192 / part.size()));
        (void)errorOf(repeated("(?:\\d?", 250) + repeated("a", 6000) + repeated(")", 250));
    });
}

TEST(MatchBounds, CountsThatMultiplyAreRefused) {
    EXPECT_TRUE(isRefused("a{1000}{1000}"));
    EXPECT_TRUE(isRefused("a{100001}"));
    EXPECT_TRUE(isRefused("(?:){50000}"));
    EXPECT_TRUE(isRefused("(?:(?:){300}){300}"));
    EXPECT_TRUE(isRefused("a{99999999999999999999}"));
    EXPECT_TRUE(isRefused("(a)\\99999999999999999999"));
    EXPECT_TRUE(isRefused("(?:abc|def){9000}"));  // more than the engine holds
    EXPECT_EQ(errorOf("(?:abc|def){900}"), "accepted");
}

TEST(MatchBounds, AlternativesInALoopGoThroughALongText) {
    std::string text = repeated("ab", 150'000);
    Matcher matcher;
    std::string error;
    ASSERT_TRUE(matcher.compile("(a|b)*c", {.regex = true}, error));
    Match match;
    EXPECT_FALSE(matcher.next(text, 0, match));
    text += 'c';
    ASSERT_TRUE(matcher.next(text, 0, match));
    EXPECT_EQ(match.length, text.size());
}

// Each of them takes exponential or at least quadratic time.
TEST(MatchBounds, NoPatternHoldsItsThreadForMoreThanSeconds) {
    const std::string row(30'000, 'a');
    for (const std::string pattern : {"(a+)+[bc]", "(a*)*[^a]", "(a|aa)+[^a]", "(?=(a+)+[bc])a"})
        EXPECT_LT(secondsFor(pattern, row), 4) << pattern;
    EXPECT_LT(secondsFor("[^]*[^]*[^]*[xy]z", repeated(row + "\n", 10)), 4);
    EXPECT_LT(secondsFor(repeated("(?:a|a)", 1000) + "[bc]", row), 4);
}

TEST(MatchBounds, TextsAfterOneThatWasGivenUpAreSearched) {
    Matcher matcher;
    std::string error;
    ASSERT_TRUE(matcher.compile("(a+)+[bc]", {.regex = true}, error));
    const std::string row(30'000, 'a');
    Match match;
    EXPECT_FALSE(matcher.next(row, 0, match));
    EXPECT_FALSE(matcher.next(row + "b", 1, match));  // the same text, as far as it knows
    EXPECT_TRUE(matcher.next("aab", 0, match));
}

TEST(MatchBounds, MatcherThatHasLostTooMuchTimeFindsNothingAnyMore) {
    Matcher matcher;
    std::string error;
    ASSERT_TRUE(matcher.compile("(a+)+[bc]", {.regex = true}, error));
    const std::string row(30'000, 'a');
    const auto begin = std::chrono::steady_clock::now();
    Match match;
    for (int i = 0; i < 100; ++i) EXPECT_FALSE(matcher.next(row, 0, match));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 8s);
    EXPECT_FALSE(matcher.next("aab", 0, match));
    EXPECT_TRUE(Matcher(matcher).next("aab", 0, match));  // a copy has its own patience
}

}  // namespace
