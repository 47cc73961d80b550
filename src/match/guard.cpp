#include "match/guard.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mbmatch {

namespace {

// A row of so many items takes 1 MiB of stack, 5 MiB under a sanitizer.
constexpr size_t kLongestPattern = 8192;
constexpr size_t kDeepestNesting = 250;
// Above that, joining the empty states of a compiled pattern takes seconds.
constexpr uint64_t kMostEmptyStates = 20000;
// A count of more digits overflows the library's arithmetic, whose result is then undefined.
constexpr size_t kMostDigits = 18;

// Walks over a pattern and keeps the number of empty states of each open group.
class Walk {
public:
    explicit Walk(std::string_view walked) : pattern(walked) { groups.emplace_back(); }

    // Null, or why the pattern is refused.
    const char* run() {
        while (at < pattern.size() && !reason) step();
        while (groups.size() > 1 && !reason) close();
        if (!reason && total(groups.back()) > kMostEmptyStates) reason = "the pattern is too large";
        return reason;
    }

private:
    struct Group {
        uint64_t before = 0;  // states of all its items but the last
        uint64_t item = 0;    // states of its last item, which a count multiplies
        size_t stacked = 0;   // quantifiers of the last item
    };

    std::string_view pattern;
    size_t at = 0;
    std::vector<Group> groups;
    const char* reason = nullptr;

    static uint64_t total(const Group& group) {
        return std::min(group.before + group.item, kMostEmptyStates + 1);
    }

    void item(uint64_t states) {
        Group& group = groups.back();
        group = {total(group), states, 0};
    }

    void close() {
        const uint64_t states = total(groups.back());
        groups.pop_back();
        item(states + 2);
    }

    void step() {
        const char byte = pattern[at++];
        switch (byte) {
        case '\\':
            return escape();
        case '[':
            return bracket();
        case '(':
            if (groups.size() > kDeepestNesting) reason = "the groups are nested too deeply";
            groups.emplace_back();
            return;
        case ')':
            if (groups.size() > 1) close();
            return;
        case '|':
            return item(2);
        case '{':
            return count();
        case '*':
        case '+':
        case '?':
            return quantifier(1);
        default:
            return item(0);
        }
    }

    // "\c(" names a byte and opens nothing; a reference to a group can have several digits.
    void escape() {
        if (at < pattern.size() && pattern[at] == 'c') ++at;
        size_t digits = 0;
        while (at + digits < pattern.size() && isDigit(pattern[at + digits])) ++digits;
        if (digits > kMostDigits) reason = "a number is too large";
        at += std::max<size_t>(digits, 1);
        item(0);
    }

    void bracket() {
        for (; at < pattern.size() && pattern[at] != ']'; ++at) {
            if (pattern[at] == '[')
                name();
            else if (pattern[at] == '\\')
                at += pattern.substr(at + 1, 1) == "c" ? 2u : 1u;
        }
        ++at;
        item(0);
    }

    // Over "[:alpha:]" and the like, whose "]" does not end the class.
    void name() {
        const char kind = at + 1 < pattern.size() ? pattern[at + 1] : '\0';
        if (kind != ':' && kind != '.' && kind != '=') return;
        const size_t end = pattern.find(kind, at + 2);
        if (end != std::string_view::npos) at = end + 1;
    }

    void count() {
        uint64_t largest = 0;
        while (at < pattern.size() && pattern[at] != '}') {
            const size_t first = at;
            uint64_t value = 0;
            for (; at < pattern.size() && isDigit(pattern[at]); ++at)
                value = std::min(value * 10 + static_cast<uint64_t>(pattern[at] - '0'),
                                 kMostEmptyStates + 1);
            if (at - first > kMostDigits) reason = "a number is too large";
            largest = std::max(largest, value);
            if (at == first) ++at;
        }
        ++at;
        quantifier(largest);
    }

    void quantifier(uint64_t times) {
        Group& group = groups.back();
        group.item = std::min(group.item * times + 2, kMostEmptyStates + 1);
        // Each one nests what stands before it once more.
        if (++group.stacked > kDeepestNesting) reason = "the quantifiers are nested too deeply";
    }

    static bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }
};

}  // namespace

bool compilesSafely(std::string_view pattern, std::string& error) {
    const char* reason =
        pattern.size() > kLongestPattern ? "the pattern is too long" : Walk(pattern).run();
    if (reason) error = reason;
    return !reason;
}

}  // namespace mbmatch
