#pragma once
// Finds a pattern in texts, literally or as a regular expression, and expands replacements.
//
// Use: compile() once, then next() from offset 0 on, each time behind the last match.
// The language of regular expressions is that of std::regex (ECMAScript), over bytes: "^" and "$"
// hold only at the ends of the whole text. docs/decisions tells where matches differ from its own.
// Limits: a regular expression is at most 8,192 bytes and nests at most 250 deep. It spends about a
// second at most, and a bounded amount of memory, on one text; a text that meets a bound counts as
// searched. Where that has cost three seconds in all, the matcher finds nothing any more.
// Errors: compile() gives false with the reason. Nothing raises but std::bad_alloc.
// Threads: a matcher belongs to one thread at a time, for next() writes into it. A copy is a
// matcher of its own that shares what compile() made, so it costs little.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace mbmatch {

struct Options {
    bool caseSensitive = false;  // else A to Z count as a to z; other bytes are never folded
    bool wholeWord = false;      // literal patterns only
    bool regex = false;
};

// In bytes of the searched text.
struct Match {
    uint64_t start = 0;
    uint64_t length = 0;
};

class Matcher {
public:
    Matcher();
    Matcher(const Matcher& other);
    Matcher(Matcher&& other) noexcept;
    Matcher& operator=(const Matcher& other);
    Matcher& operator=(Matcher&& other) noexcept;
    ~Matcher();

    // After a failure next() finds nothing.
    bool compile(const std::string& pattern, const Options& options, std::string& error);
    // The first match at or after the offset; `match` is untouched when there is none.
    bool next(std::string_view text, uint64_t start, Match& match);
    // The replacement of the last match: "$&", "$$" and "$0" to "$9" stand for something in regular
    // expressions. The text of that match must still be there.
    std::string expand(std::string_view replacement) const;
    // False when neither this text nor what mbutil::toUtf8Lenient() makes of it has a match. A
    // cheap look that saves the conversion; true promises nothing.
    bool mayMatch(std::string_view raw) const;

private:
    struct Compiled;  // never changes, so that copies share it
    struct Scratch;   // what a search writes into; made when it is first needed
    std::shared_ptr<const Compiled> compiled;
    std::unique_ptr<Scratch> scratch;

    bool nextRegex(std::string_view text, uint64_t start, Match& match);
};

// The text with each match replaced by what expand() makes of `replacement`. `count` gives the
// number of matches; with none the text comes back as it is.
std::string replaceAll(Matcher& matcher, std::string_view text, std::string_view replacement,
                       uint64_t& count);

}  // namespace mbmatch
