#pragma once
// Where output may be cut without dividing a character. Private to this module.

#include <cstddef>
#include <string_view>

namespace mbterm {

// How many bytes may go out now: all of them, unless they end in the beginning of a UTF-8 sequence.
// What is no UTF-8 is never held back, so a program that prints something else is not delayed.
size_t completeLength(std::string_view bytes);

}  // namespace mbterm
