// Thousands of generated patterns over generated texts, by the standard library's own matcher and
// by ours: every match and every group is compared. What is known to differ is not generated; see
// docs/decisions/0004-regex-engine.md.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "match/match.hpp"

namespace {

using mbmatch::Match;
using mbmatch::Matcher;
using mbmatch::Options;

// The same numbers on every machine, which std::uniform_int_distribution does not promise.
class Dice {
public:
    explicit Dice(uint32_t seed) : engine(seed) {}
    size_t below(size_t limit) { return engine() % limit; }
    bool oneIn(size_t times) { return below(times) == 0; }
    template <typename List>
    std::string any(const List& list) {
        return std::string(list[below(std::size(list))]);
    }

private:
    std::mt19937 engine;
};

constexpr const char* kBytes[] = {"a", "b", "c", "A",  "B",    "_",
                                  " ", "1", "-", "\n", "\xc3", "\xa9"};
constexpr const char* kEscapes[] = {"\\d",   "\\D",   "\\w",     "\\W", "\\s",  "\\S", "\\n",
                                    "\\x61", "\\x41", "\\u0062", "\\.", "\\-",  "\\q", "\\cA",
                                    "\\0",   "\\t",   "\\_",     "]",   "}",    "\\{", "\\xc3",
                                    "\\/",   "\\e",   "\\xA9",   ",",   "\\cb", "\\("};
constexpr const char* kClassParts[] = {
    "a",   "b-c",        "A-B",   "\\d",        "\\W",      "[:alpha:]", "[:upper:]", "[:space:]",
    "_",   "[=a=]",      "[.b.]", "[.space.]",  "\\n",      "\\x61-c",   "[:w:]",     "[",
    ".",   "\xc3-\xff",  "\\]",   "[:^alpha:]", "\\b",      "*",         "[=A=]",     "^",
    "$",   "[:lower:]",  "\\\\",  "[.hyphen.]", "\\s",      "[.A.]-b",   "[:d:]",     "0-9",
    "\\S", "[:xdigit:]", "+--",   "-",          "[:alnum:]"};
constexpr const char* kQuantifiers[] = {"*",   "+",     "?",     "*?",     "+?",
                                        "??",  "{2}",   "{0,2}", "{1,}",   "{2,3}?",
                                        "{0}", "{1,2}", "{0,}?", "{00002}"};
constexpr const char* kStacked[] = {"**", "+*", "{2}{2}", "*?+?", "?{2,}", "{0,1}+", "???"};

// Which constructs a pattern may hold.
struct Grammar {
    bool lookaheads = false;
    bool assertions = false;
    bool groups = true;  // that capture
    bool emptyLoops = true;
};

class Patterns {
public:
    Patterns(Dice& source, Grammar kind) : dice(source), grammar(kind) {}

    std::string make() {
        groups = 0;
        loops = 3;
        return disjunction(3);
    }

private:
    Dice& dice;
    Grammar grammar;
    size_t groups = 0;  // that are closed, so that a reference to them is valid
    int loops = 0;      // that may yet be made

    std::string disjunction(int depth) {
        std::string text = alternative(depth);
        while (dice.oneIn(4)) text += "|" + alternative(depth);
        return text;
    }

    std::string alternative(int depth) {
        std::string text;
        for (size_t i = dice.below(4); i > 0; --i) text += term(depth);
        return text;
    }

    std::string term(int depth) {
        if (grammar.assertions && dice.oneIn(8)) return dice.any(kAssertions);
        if (grammar.lookaheads && depth > 0 && dice.oneIn(8))
            return dice.any(kLookaheads) + disjunction(depth - 1) + ")";
        std::string text = atom(depth);
        if (loops > 0 && dice.oneIn(3)) {
            --loops;
            text +=
                text.back() != ')' && dice.oneIn(4) ? dice.any(kStacked) : dice.any(kQuantifiers);
        }
        return text;
    }

    std::string atom(int depth) {
        const size_t kind = dice.below(10);
        if (kind < 4) return dice.any(kBytes);
        if (kind == 4) return dice.any(kEscapes);
        if (kind == 5) return bracket();
        if (kind == 6) return ".";
        if (kind == 7 && groups > 0) return "\\" + std::to_string(1 + dice.below(groups));
        if (depth == 0) return "b";
        if (!grammar.groups || dice.oneIn(3)) return "(?:" + disjunction(depth - 1) + ")";
        const std::string inside = disjunction(depth - 1);
        ++groups;
        return "(" + inside + ")";
    }

    std::string bracket() {
        std::string text = dice.oneIn(3) ? "[^" : "[";
        for (size_t i = dice.below(4); i > 0; --i) text += dice.any(kClassParts);
        return text + "]";
    }

    static constexpr const char* kAssertions[] = {"^", "$", "\\b", "\\B"};
    static constexpr const char* kLookaheads[] = {"(?=", "(?!"};
};

// Walks over a text and gives up after so many looks: the library's matcher takes exponential time
// for some patterns and cannot be stopped otherwise.
struct TooSlow {};

class Cursor {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    Cursor() = default;
    Cursor(const char* place, int& looksLeft) : at(place), left(&looksLeft) {}
    const char& operator*() const { return *at; }
    Cursor& operator++() { return ++at, *this; }
    Cursor operator++(int) { return {at++, *left}; }
    Cursor& operator--() { return --at, *this; }
    Cursor operator--(int) { return {at--, *left}; }
    bool operator==(const Cursor& other) const {
        if (left && --*left < 0) throw TooSlow();
        return at == other.at;
    }
    bool operator!=(const Cursor& other) const { return !(*this == other); }

private:
    const char* at = nullptr;
    int* left = nullptr;
};

std::string makeText(Dice& dice) {
    std::string text;
    for (size_t i = dice.below(9); i > 0; --i) text += dice.any(kBytes);
    if (dice.oneIn(20)) text += std::string(1, '\0') + "a";
    return text;
}

std::string show(const std::string& bytes) {
    std::string shown;
    for (const char byte : bytes) {
        char hex[8];
        const auto value = static_cast<unsigned char>(byte);
        std::snprintf(hex, sizeof hex, value >= 32 && value < 127 ? "%c" : "\\x%02x", value);
        shown += hex;
    }
    return shown;
}

// All matches with their groups, as the loop of a search meets them.
std::string theirs(const std::regex& regex, const std::string& text) {
    std::string all;
    int looksLeft = 100'000;
    const Cursor end(text.data() + text.size(), looksLeft);
    for (size_t at = 0; at <= text.size();) {
        const Cursor begin(text.data() + at, looksLeft);
        const auto flags =
            at > 0 ? std::regex_constants::match_prev_avail : std::regex_constants::match_default;
        std::match_results<Cursor> found;
        if (!std::regex_search(begin, end, found, regex, flags)) break;
        looksLeft += 1000;  // asking for the match looks as well
        const size_t start = at + static_cast<size_t>(found.position(0));
        const auto length = static_cast<size_t>(found.length(0));
        all += std::to_string(start) + "+" + std::to_string(length);
        for (size_t group = 1; group < 10; ++group) all += "," + show(found[group].str());
        all += ";";
        at = start + std::max<size_t>(length, 1);
    }
    return all;
}

std::string ours(Matcher& matcher, const std::string& text) {
    std::string all;
    Match match;
    for (size_t at = 0; at <= text.size() && matcher.next(text, at, match);) {
        all += std::to_string(match.start) + "+" + std::to_string(match.length);
        for (int group = 1; group < 10; ++group)
            all += "," + show(matcher.expand("$" + std::to_string(group)));
        all += ";";
        at = match.start + std::max<size_t>(match.length, 1);
    }
    return all;
}

std::optional<std::regex> standard(const std::string& pattern, bool caseSensitive) {
    auto flags = std::regex::ECMAScript | std::regex::optimize;
    if (!caseSensitive) flags |= std::regex::icase;
    try {
        return std::regex(pattern, flags);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

// Returns the number of texts that both have searched.
int compareAll(uint32_t seed, const Grammar& grammar, int patterns) {
    Dice dice(seed);
    Patterns source(dice, grammar);
    int compared = 0, differences = 0;
    for (int i = 0; i < patterns && differences < 10; ++i) {
        const std::string pattern = source.make();
        const bool caseSensitive = dice.oneIn(2);
        if (pattern.empty()) continue;
        const auto regex = standard(pattern, caseSensitive);
        Matcher matcher;
        std::string error;
        const Options options{.caseSensitive = caseSensitive, .regex = true};
        EXPECT_EQ(matcher.compile(pattern, options, error), regex.has_value()) << show(pattern);
        if (!regex) continue;
        for (int round = 0; round < 6; ++round) {
            const std::string text = makeText(dice);
            std::string expected;
            try {
                expected = theirs(*regex, text);
            } catch (const TooSlow&) {
                continue;
            }
            ++compared;
            const std::string found = ours(matcher, text);
            if (found == expected) continue;
            ++differences;
            ADD_FAILURE() << "/" << show(pattern) << "/" << (caseSensitive ? "" : "i") << " in \""
                          << show(text) << "\": expected " << expected << " found " << found;
            break;
        }
    }
    return compared;
}

TEST(MatchDifferential, RegularExpressionsMatchWhatTheStandardLibraryMatches) {
    EXPECT_GT(compareAll(1, {}, 8000), 6000);
}

TEST(MatchDifferential, AssertionsMatchWhatTheStandardLibraryMatches) {
    EXPECT_GT(compareAll(2, {.assertions = true}, 6000), 4000);
}

TEST(MatchDifferential, LookaheadsMatchWhatTheStandardLibraryMatches) {
    EXPECT_GT(compareAll(3, {.lookaheads = true, .groups = false}, 6000), 4000);
}

}  // namespace
