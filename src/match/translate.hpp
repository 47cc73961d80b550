#pragma once
// From a regular expression of std::regex to one of PCRE2 that matches the same. Private to this
// module.

#include <string>
#include <string_view>

namespace mbmatch {

struct Translation {
    std::string pattern;  // without callouts
    // The same with a callout wherever it can turn back: behind each quantifier and before each
    // alternative but the first. Between two of them a match takes time in proportion to the text.
    std::string interruptible;
    // A text that every match holds, empty where none is known. Case counts as in the pattern.
    std::string required;
    bool withinLine = true;  // no match holds a newline
    bool branches = false;   // it has alternatives or lookaheads
};

// `pattern` must be one that std::regex has accepted with these flags.
Translation translate(std::string_view pattern, bool foldCase);

}  // namespace mbmatch
