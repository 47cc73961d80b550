#pragma once
// The shell script that replaces the program once it is gone.

#include <cstdint>
#include <string>
#include <string_view>

#include "update/update.hpp"

namespace mbupdate {

// One word for the shell, always in single quotes.
std::string shellQuote(std::string_view text);

// Waits for the end of process `pid`, installs the file `downloaded` and runs `target`.
std::string installScript(InstallKind kind, int32_t pid, const std::string& downloaded,
                          const std::string& target);

// Starts the script in a session of its own and does not wait. False: no process could be made.
bool startInstaller(const std::string& script);

}  // namespace mbupdate
