#pragma once
// Reading and writing a child's pipes so that another thread can end it.
//
// A wake is an event that is readable for ever once it was raised.

#include <cstddef>
#include <functional>
#include <string_view>

#include "util/fd.hpp"

namespace mbproc {

using Take = std::function<void(std::string_view)>;

bool openWake(mbutil::Fd& wake);
void raiseWake(const mbutil::Fd& wake);

// Hands over what comes until the end of the file, an error or the wake; in that case what the pipe
// holds then goes out first.
void readPipe(int pipe, int wake, size_t bufferBytes, const Take& take);

// For a pipe that does not block. False on an error or the wake; part of it may be written then.
bool writeAll(int pipe, int wake, std::string_view rest);

}  // namespace mbproc
