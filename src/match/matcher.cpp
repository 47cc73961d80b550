#include "match/match.hpp"

#include <cstddef>
#include <optional>
#include <utility>

#include "match/literal.hpp"
#include "match/regex.hpp"

namespace mbmatch {

namespace {

bool isWordByte(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           (byte >= '0' && byte <= '9') || byte == '_';
}

bool standsAlone(std::string_view text, size_t start, size_t length) {
    const size_t end = start + length;
    return (start == 0 || !isWordByte(text[start - 1])) &&
           (end == text.size() || !isWordByte(text[end]));
}

}  // namespace

struct Matcher::Compiled {
    Literal literal;  // of a literal pattern
    bool wholeWord = false;
    std::shared_ptr<const Regex> regex;  // null for a literal pattern
};

struct Matcher::Scratch {
    explicit Scratch(std::shared_ptr<const Regex> regex) : search(std::move(regex)) {}

    RegexSearch search;
    bool matched = false;  // there is a last match to expand
};

Matcher::Matcher() = default;
Matcher::Matcher(const Matcher& other) : compiled(other.compiled) {}
Matcher::Matcher(Matcher&& other) noexcept = default;
Matcher& Matcher::operator=(Matcher&& other) noexcept = default;
Matcher::~Matcher() = default;

Matcher& Matcher::operator=(const Matcher& other) {
    if (this != &other) *this = Matcher(other);
    return *this;
}

bool Matcher::compile(const std::string& pattern, const Options& options, std::string& error) {
    compiled.reset();
    scratch.reset();
    if (pattern.empty()) {
        error = "nothing to search for";
        return false;
    }
    const auto made = std::make_shared<Compiled>();
    if (options.regex) {
        made->regex = Regex::compile(pattern, !options.caseSensitive, error);
        if (!made->regex) return false;
    } else {
        made->literal = Literal(pattern, !options.caseSensitive);
        made->wholeWord = options.wholeWord;
    }
    compiled = made;
    return true;
}

bool Matcher::next(std::string_view text, uint64_t start, Match& match) {
    if (!compiled || start > text.size()) return false;
    if (compiled->regex) return nextRegex(text, start, match);
    const Literal& literal = compiled->literal;
    size_t place = literal.find(text, start);
    while (place != Literal::kNone && compiled->wholeWord &&
           !standsAlone(text, place, literal.size()))
        place = literal.find(text, place + 1);
    if (place == Literal::kNone) return false;
    match = {place, literal.size()};
    return true;
}

bool Matcher::nextRegex(std::string_view text, uint64_t start, Match& match) {
    if (!scratch) scratch = std::make_unique<Scratch>(compiled->regex);
    scratch->matched = scratch->search.find(text, start);
    if (!scratch->matched) return false;
    const std::string_view whole = *scratch->search.group(0);
    match = {static_cast<uint64_t>(whole.data() - text.data()), whole.size()};
    return true;
}

bool Matcher::mayMatch(std::string_view raw) const {
    if (!compiled) return false;
    const Literal& needed = compiled->regex ? compiled->regex->required() : compiled->literal;
    // The conversion changes other bytes only, each into some that are not ASCII either.
    return needed.empty() || !needed.ascii() || needed.find(raw, 0) != Literal::kNone;
}

std::string Matcher::expand(std::string_view replacement) const {
    std::string expanded;
    if (!scratch || !scratch->matched) return std::string(replacement);
    for (size_t i = 0; i < replacement.size(); ++i) {
        const char next =
            replacement[i] == '$' && i + 1 < replacement.size() ? replacement[i + 1] : '\0';
        if (next == '$') {
            expanded += '$';
        } else if (next == '&' || (next >= '0' && next <= '9')) {
            const size_t number = next == '&' ? 0 : static_cast<size_t>(next - '0');
            expanded += scratch->search.group(number).value_or(std::string_view());
        } else {
            expanded += replacement[i];
            continue;
        }
        ++i;
    }
    return expanded;
}

std::string replaceAll(Matcher& matcher, std::string_view text, std::string_view replacement,
                       uint64_t& count) {
    std::string out;
    count = 0;
    uint64_t at = 0;
    Match match;
    while (at <= text.size() && matcher.next(text, at, match)) {
        out.append(text, at, match.start - at).append(matcher.expand(replacement));
        at = match.start + match.length;
        ++count;
        if (match.length > 0) continue;
        if (at < text.size()) out += text[at];
        ++at;
    }
    if (at < text.size()) out.append(text, at);
    return out;
}

}  // namespace mbmatch
