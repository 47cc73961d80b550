#pragma once
// Running gh.

#include <cstdint>
#include <string>

#include "json/json.hpp"

namespace mbgh {

// `args` is a piece of a shell's command line: what comes from outside must have gone through
// mbproc::quote(). False with the reason in `error`.
bool runText(const std::string& args, const std::string& cwd, std::string& out, std::string& error,
             uint32_t timeoutMs);

// Output that is no JSON gives null, and true.
bool runJson(const std::string& args, const std::string& cwd, mbjson::Json& value,
             std::string& error);

}  // namespace mbgh
