#pragma once
// What is refused before the standard library sees it. Private to this module.

#include <string>
#include <string_view>

namespace mbmatch {

// std::regex recurses while it compiles, for each group that is open and each item of a row, and
// the time that it takes grows with the square of some of its states. This looks only at the
// brackets and counts of a pattern, valid or not. False with the reason in `error`.
bool compilesSafely(std::string_view pattern, std::string& error);

}  // namespace mbmatch
