#pragma once
// Finds the Claude CLI and turns the user's settings into its launch arguments.
//
// All functions are plain reads of the environment and of their arguments. "The settings" are the
// free-form object under "claude" in the settings file; a value of the wrong type in it counts as
// absent. Nothing is reported: what cannot be used falls away.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "agent/agent.hpp"
#include "json/json.hpp"

namespace mbagent {

inline constexpr std::array<std::string_view, 7> kModes = {
    "default", "manual", "acceptEdits", "plan", "auto", "dontAsk", "bypassPermissions"};

bool isPermissionMode(std::string_view mode);

// `configured` as it is unless it is empty or "claude"; else the CLI on PATH or in one of the
// places where its installers put it; else "claude". Never empty, and not always there.
std::string resolveClaudeCommand(const std::string& configured);

// For StartOptions::extraArguments.
std::vector<std::string> claudeArguments(const mbjson::Json& settings);

// Items of a list as the user typed it: trimmed, none empty. Commas and line ends separate, but no
// comma inside of parentheses does, as in "Bash(git log, git diff)".
std::vector<std::string> splitList(std::string_view text);

// The settings' model, permission mode and arguments; nothing to resume and no further folders.
StartOptions baseAgentOptions(const mbjson::Json& settings, const std::string& claudeCommand,
                              const std::string& cwd);

// The cache folder for shell integration, made if it is missing, with its subfolder "zsh".
std::string integrationFolder();

}  // namespace mbagent
