#pragma once
// A pseudo-terminal and the child that has it as its controlling terminal. Private to this module.

#include <sys/ioctl.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "term/term.hpp"
#include "util/fd.hpp"

namespace mbterm {

// Both raised to 2; what the kernel's 16 bits cannot hold becomes the most that they can.
winsize windowSize(int32_t cols, int32_t rows);

// The inherited entries without those that are set here, then the terminal's kind, then `env`. An
// inherited TERM_PROGRAM stays, in front of ours.
std::vector<std::string> terminalEnvironment(std::vector<std::string> inherited,
                                             const std::map<std::string, std::string>& env);

// Starts the command and does not wait: `master` is ours, non-blocking, and the child, which leads
// a session, must be collected. False with the system's words in `error`; else untouched.
bool spawnInPty(const SpawnOptions& options, mbutil::Fd& master, int32_t& pid, std::string& error);

}  // namespace mbterm
