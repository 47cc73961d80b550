#pragma once
// Cutting git's output, reading its numbers, and paths for the page. Private to this module.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/json.hpp"

namespace mbgit {

// Without line ends, CR LF or LF; nothing stands behind a final newline.
std::vector<std::string_view> splitLines(std::string_view text);
// Keeps empty pieces, as mbutil::split() does, without copying.
std::vector<std::string_view> splitAt(std::string_view text, char separator);
// The pieces between blanks, without empty ones.
std::vector<std::string> words(std::string_view text);

// The whole of `text` as a decimal number that the result can hold. False leaves `value` alone.
bool readNumber(std::string_view text, int64_t& value);
// 0 when the text is no number.
int64_t toNumber(std::string_view text);
// A number of lines or commits; `fallback` when the text is none.
int32_t toCount(std::string_view text, int32_t fallback);

// A path for the page. Each component is converted by itself: names of different ages rarely share
// an encoding.
mbjson::Json pathJson(std::string_view path);

}  // namespace mbgit
