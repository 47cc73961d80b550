#pragma once
// One regular expression in PCRE2, and searches with it that are bounded in time and memory.
// Private to this module.

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "match/literal.hpp"

struct pcre2_real_code_8;
struct pcre2_real_match_data_8;
struct pcre2_real_match_context_8;
struct pcre2_real_jit_stack_8;

namespace mbmatch {

// Does not change once it is made, so that searches on several threads share it.
class Regex {
public:
    // Null with the reason in `error`.
    static std::shared_ptr<const Regex> compile(const std::string& pattern, bool foldCase,
                                                std::string& error);
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;
    ~Regex();

    // A text that every match holds; empty where none is known.
    const Literal& required() const { return literal; }
    bool withinLine() const { return oneLine; }

private:
    friend class RegexSearch;
    Regex() = default;

    pcre2_real_code_8* plain = nullptr;
    pcre2_real_code_8* interruptible = nullptr;
    Literal literal;
    bool oneLine = false;
};

// What one thread needs to search. After a bound is met, find() finds nothing in that text any
// more.
class RegexSearch {
public:
    explicit RegexSearch(std::shared_ptr<const Regex> regex);
    RegexSearch(const RegexSearch&) = delete;
    RegexSearch& operator=(const RegexSearch&) = delete;
    ~RegexSearch();

    // The first match at or behind `start`. A start of 0 begins a new text, with new patience.
    bool find(std::string_view text, size_t start);
    // Group 0 is the whole match. Nothing for one that took no part in it, or does not exist.
    std::optional<std::string_view> group(size_t number) const;

private:
    using Clock = std::chrono::steady_clock;

    // How far one call of the engine goes, for its time must end without a look at the clock.
    struct Stride {
        size_t starts;
        uint32_t steps;
    };

    std::shared_ptr<const Regex> regex;
    pcre2_real_match_data_8* data = nullptr;
    pcre2_real_match_context_8* context = nullptr;
    pcre2_real_jit_stack_8* jitStack = nullptr;

    std::string_view text;  // of the last match
    std::vector<size_t> ends;
    Clock::duration spent{};  // on this text
    Clock::duration lost{};   // on texts that were given up
    Clock::time_point deadline;
    bool givenUp = false;
    int calloutsToClock = 0;

    bool search(size_t start);
    bool searchLines(size_t start);
    bool searchStarts(size_t first, size_t last, size_t reach);
    int match(pcre2_real_code_8* code, size_t first, size_t last, uint32_t steps);
    static Stride strideFor(size_t reach);
    bool pastDeadline();
};

}  // namespace mbmatch
