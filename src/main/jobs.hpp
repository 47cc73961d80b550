#pragma once
// One-shot Claude jobs: one run of the CLI in print mode each, the prompt on its standard input,
// the reply on its standard output. Each blocks its caller to its end or its time limit.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "main/app.hpp"
#include "proc/proc.hpp"
#include "json/json.hpp"

namespace mbapp {

inline constexpr const char* kNoClaude = "the Claude CLI could not be found";

// What a job's child is started with. `command` is the CLI's path.
struct ClaudeJob {
    std::string command;
    std::string prompt;
    std::string cwd;
    std::vector<std::string> addDirs;
    std::string model;  // empty: the CLI's own choice
    bool mayEdit = false;
    uint32_t timeoutMs = 0;
};

// A job with the user's CLI in that folder; the rest is the caller's.
ClaudeJob jobIn(const App& app, const std::string& folder, uint32_t timeoutMs);

// Runs it and gives what came of it. A job that may not edit has no tool that could.
mbproc::Result runClaude(const ClaudeJob& job);

struct ClaudeAnswer {
    bool ok = false;
    std::string text;   // trimmed, UTF-8
    std::string error;  // for the user
};
ClaudeAnswer askClaude(const ClaudeJob& job);

// What a job's child said that could not be started or ended with a code other than 0: standard
// error, else standard output, else `otherwise`.
std::string failureWords(const mbproc::Result& result, const char* otherwise);

// The JSON value in a reply that may be wrapped in words or fences, from the first `opening`, "["
// or "{", to the last closer that matches; null when there is none.
mbjson::Json extractJson(std::string_view text, char opening);

// The reply without the fence that it begins with; trimmed.
std::string withoutFence(std::string text);

// A model's name goes into a command line: one with other characters than such names have is
// dropped.
std::string modelName(const std::string& given);

// The first `limit` bytes; true when anything was cut.
bool keepBeginning(std::string& text, size_t limit);
// The last `limit` bytes of a UTF-8 text, without what is left of a character that was cut.
void keepEnd(std::string& text, size_t limit);

}  // namespace mbapp
