// Any pattern over any text: matches come in order and lie in the text, a replacement by the match
// itself changes nothing, and nothing takes long. The first byte holds the options, a line end
// separates the pattern from the text.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "match/match.hpp"

namespace {

using mbmatch::Match;
using mbmatch::Matcher;

void require(bool holds) {
    if (!holds) std::abort();
}

void checkMatches(Matcher& matcher, std::string_view text) {
    uint64_t at = 0;
    Match match;
    while (at <= text.size() && matcher.next(text, at, match)) {
        require(match.start >= at && match.start + match.length <= text.size());
        at = match.start + (match.length > 0 ? match.length : 1);
    }
    require(!matcher.next(text, text.size() + 1, match));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    mbmatch::Options options;
    options.caseSensitive = (data[0] & 1) != 0;
    options.wholeWord = (data[0] & 2) != 0;
    options.regex = (data[0] & 4) != 0;
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const size_t end = input.find('\n');
    const std::string pattern(input.substr(0, end));
    const std::string_view text = end == std::string_view::npos ? "" : input.substr(end + 1);
    Matcher matcher;
    std::string error;
    if (!matcher.compile(pattern, options, error)) {
        require(!error.empty());
        return 0;
    }
    checkMatches(matcher, text);
    uint64_t count = 0;
    if (options.regex) require(replaceAll(matcher, text, "$&", count) == text);
    return 0;
}
