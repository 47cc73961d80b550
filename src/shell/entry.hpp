#pragma once
// The desktop entry's text.

#include <string>
#include <string_view>

namespace mbshell {

// One word of an "Exec" line.
std::string execQuote(std::string_view text);

// The whole file, for a program at that path.
std::string composeEntry(const std::string& executable);

// The program of the first "Exec" line as it stands there; empty when there is none.
std::string entryProgram(std::string_view entry);

}  // namespace mbshell
