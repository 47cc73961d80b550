#pragma once
// The CLI's command line, and the lines that are written to it. Private to this module.

#include <string>

#include "agent/agent.hpp"

namespace mbagent {

// One command for "/bin/sh -c".
std::string commandLine(const StartOptions& options);

// Without the newline at their end. What is named ...Json is inserted as it is.
std::string textTurn(const std::string& text);
std::string richTurn(const std::string& contentJson);
std::string controlRequest(const std::string& id, const std::string& requestJson);
std::string interruptRequest(const std::string& id);
std::string controlResponse(const std::string& responseJson);

// "mb-control-1" and on, "mb-interrupt-1" and on, unique in this process.
std::string nextControlId();
std::string nextInterruptId();

}  // namespace mbagent
