#include "match/regex.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <regex>
#include <utility>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include "match/guard.hpp"
#include "match/translate.hpp"

namespace mbmatch {

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kNestingLimit = 2000;  // of brackets, our own included; guard.cpp bounds them
constexpr size_t kJitStackStart = size_t{32} << 10;
constexpr size_t kJitStackLimit = size_t{64} << 20;
constexpr uint32_t kHeapLimitKiB = 128 << 10;  // where there is no JIT
constexpr size_t kShortestRequired = 2;
// In front of a pattern with alternatives or lookaheads this keeps PCRE2 (10.42 at least) from two
// shortcuts that lose matches, of "1|(.|)c*a" and "(?=b)c*b" for instance.
constexpr const char* kNoShortcuts = "(?=)(?:";

// A text has one second, and more when it is very long; all texts that used theirs up have three.
constexpr auto kPatience = 1s;
constexpr auto kPatienceAByte = 100ns;
constexpr auto kPatienceWithAll = 3s;
constexpr int kCalloutsAClock = 16;

constexpr const char* kInvalid = "invalid pattern: ";

// The standard library decides what is a pattern. Its object is not kept: its matcher recurses once
// for each byte of a match.
bool accepted(const std::string& pattern, bool foldCase, std::string& error) {
    auto flags = std::regex::ECMAScript | std::regex::optimize;
    if (foldCase) flags |= std::regex::icase;
    try {
        const std::regex unused(pattern, flags);
        return true;
    } catch (const std::regex_error& failure) {
        error = failure.what();
    } catch (const std::bad_alloc&) {
        error = "the pattern is too large";
    }
    return false;
}

pcre2_code* build(std::string pattern, bool branches, bool foldCase) {
    if (branches) pattern = kNoShortcuts + pattern + ")";
    pcre2_compile_context* context = ::pcre2_compile_context_create(nullptr);
    if (!context) return nullptr;
    ::pcre2_set_parens_nest_limit(context, kNestingLimit);
    // Of Unicode and of locales it knows nothing: bytes, and A to Z.
    const uint32_t options =
        PCRE2_USE_OFFSET_LIMIT | PCRE2_NEVER_UTF | (foldCase ? uint32_t{PCRE2_CASELESS} : 0);
    int code = 0;
    PCRE2_SIZE place = 0;
    pcre2_code* built = ::pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()),
                                        pattern.size(), options, &code, &place, context);
    ::pcre2_compile_context_free(context);
    // Where the machine allows no JIT the interpreter does it.
    if (built) (void)::pcre2_jit_compile(built, PCRE2_JIT_COMPLETE);
    return built;
}

}  // namespace

std::shared_ptr<const Regex> Regex::compile(const std::string& pattern, bool foldCase,
                                            std::string& error) {
    std::string reason;
    if (!compilesSafely(pattern, reason) || !accepted(pattern, foldCase, reason)) {
        error = kInvalid + reason;
        return nullptr;
    }
    Translation translation = translate(pattern, foldCase);
    const std::shared_ptr<Regex> regex(new Regex);
    regex->plain = build(translation.pattern, translation.branches, foldCase);
    regex->interruptible = build(translation.interruptible, translation.branches, foldCase);
    if (!regex->plain || !regex->interruptible) {
        // The engine holds 64 KiB of code, with every copy that a counted group makes.
        error = std::string(kInvalid) + "the pattern is too large";
        return nullptr;
    }
    if (translation.required.size() >= kShortestRequired)
        regex->literal = Literal(std::move(translation.required), foldCase);
    regex->oneLine = translation.withinLine;
    return regex;
}

Regex::~Regex() {
    ::pcre2_code_free(plain);
    ::pcre2_code_free(interruptible);
}

RegexSearch::RegexSearch(std::shared_ptr<const Regex> searched) : regex(std::move(searched)) {
    data = ::pcre2_match_data_create_from_pattern(regex->plain, nullptr);
    context = ::pcre2_match_context_create(nullptr);
    jitStack = ::pcre2_jit_stack_create(kJitStackStart, kJitStackLimit, nullptr);
    if (!data || !context) {
        givenUp = true;
        lost = kPatienceWithAll;
        return;
    }
    ::pcre2_set_heap_limit(context, kHeapLimitKiB);
    if (jitStack) ::pcre2_jit_stack_assign(context, nullptr, jitStack);
    ::pcre2_set_callout(
        context,
        [](pcre2_callout_block*, void* self) {
            return static_cast<RegexSearch*>(self)->pastDeadline() ? PCRE2_ERROR_CALLOUT : 0;
        },
        this);
}

RegexSearch::~RegexSearch() {
    ::pcre2_match_data_free(data);
    ::pcre2_match_context_free(context);
    ::pcre2_jit_stack_free(jitStack);
}

bool RegexSearch::find(std::string_view searched, size_t start) {
    if (lost >= kPatienceWithAll) return false;
    if (start == 0) {
        spent = {};
        givenUp = false;
    }
    if (givenUp) return false;
    text = searched;
    const auto begin = Clock::now();
    const auto patience = kPatience + kPatienceAByte * text.size();
    deadline = begin + (patience - spent);
    const bool found = regex->required().empty() ? searchStarts(start, text.size(), text.size())
                       : regex->withinLine()     ? searchLines(start)
                                                 : search(start);
    spent += Clock::now() - begin;
    if (givenUp) lost += spent;
    return found;
}

// Matches may lie across lines, and so may what they hold.
bool RegexSearch::search(size_t start) {
    return regex->required().find(text, start) != Literal::kNone &&
           searchStarts(start, text.size(), text.size());
}

// Only lines that hold the required text are looked at.
bool RegexSearch::searchLines(size_t start) {
    while (!givenUp) {
        const size_t place = regex->required().find(text, start);
        if (place == Literal::kNone) return false;
        const size_t before = text.substr(start, place - start).rfind('\n');
        const size_t first = before == std::string_view::npos ? start : start + before + 1;
        const size_t last = std::min(text.find('\n', place), text.size());
        if (searchStarts(first, last, last - first)) return true;
        if (last == text.size()) return false;
        start = last + 1;
    }
    return false;
}

// Matches that begin at first to last; none of them looks at more than `reach` bytes at once.
bool RegexSearch::searchStarts(size_t first, size_t last, size_t reach) {
    const Stride stride = strideFor(reach);
    while (true) {
        const size_t until = last - first > stride.starts ? first + stride.starts : last;
        int result = match(regex->plain, first, until, stride.steps);
        if (result == PCRE2_ERROR_MATCHLIMIT)
            result =
                match(regex->interruptible, first, until, std::numeric_limits<uint32_t>::max());
        if (result > 0) {
            const PCRE2_SIZE* vector = ::pcre2_get_ovector_pointer(data);
            ends.assign(vector, vector + 2 * ::pcre2_get_ovector_count(data));
            return true;
        }
        if (result != PCRE2_ERROR_NOMATCH || (until < last && Clock::now() > deadline)) {
            givenUp = true;
            return false;
        }
        if (until == last) return false;
        first = until + 1;
    }
}

int RegexSearch::match(pcre2_real_code_8* code, size_t first, size_t last, uint32_t steps) {
    // An empty view has no address, which PCRE2 takes for an error.
    const char* subject = text.empty() ? "" : text.data();
    ::pcre2_set_offset_limit(context, last);
    ::pcre2_set_match_limit(context, steps);
    calloutsToClock = kCalloutsAClock;
    return ::pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(subject), text.size(), first, 0, data,
                         context);
}

// A step can go over `reach` bytes, so their product bounds a call to a few seconds, were it the
// worst of patterns. What needs more steps is tried again with a look at the clock.
RegexSearch::Stride RegexSearch::strideFor(size_t reach) {
    constexpr double kByteSteps = 2e9;
    const double product = kByteSteps / static_cast<double>(std::max<size_t>(reach, 1));
    const double steps = std::clamp(2 * std::sqrt(product), 16.0, 1000.0);
    const double starts = std::clamp(product / steps, 4.0, 4096.0);
    return {static_cast<size_t>(starts), static_cast<uint32_t>(steps)};
}

bool RegexSearch::pastDeadline() {
    if (--calloutsToClock > 0) return false;
    calloutsToClock = kCalloutsAClock;
    return Clock::now() > deadline;
}

std::optional<std::string_view> RegexSearch::group(size_t number) const {
    if (2 * number + 1 >= ends.size() || ends[2 * number] == PCRE2_UNSET) return std::nullopt;
    return text.substr(ends[2 * number], ends[2 * number + 1] - ends[2 * number]);
}

}  // namespace mbmatch
