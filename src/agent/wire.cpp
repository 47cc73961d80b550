#include "agent/wire.hpp"

#include <atomic>
#include <cstdint>

#include "proc/proc.hpp"
#include "json/json.hpp"

namespace mbagent {

namespace {

std::atomic<uint32_t> g_controls{0};
std::atomic<uint32_t> g_interrupts{0};

constexpr const char* kFixedFlags = " --print"
                                    " --input-format stream-json"
                                    " --output-format stream-json"
                                    " --verbose"
                                    " --include-partial-messages"
                                    " --permission-prompt-tool stdio";

void addFlag(std::string& line, const char* flag, const std::string& value) {
    if (!value.empty()) line += std::string(" ") + flag + " " + quoteArgument(value);
}

}  // namespace

std::string jsonQuote(std::string_view text) { return mbjson::Json(text).dump(); }

std::string quoteArgument(std::string_view text) { return mbproc::quote(text); }

std::string commandLine(const StartOptions& options) {
    // "exec" has the CLI take the shell's place: the process id is its own, and its group's.
    std::string line = "exec " + quoteArgument(options.command) + kFixedFlags;
    addFlag(line, "--permission-mode", options.permissionMode);
    // The CLI refuses that mode unless it is allowed by a flag of its own.
    if (options.permissionMode == "bypassPermissions")
        line += " --allow-dangerously-skip-permissions";
    addFlag(line, "--model", options.model);
    addFlag(line, "--resume", options.resume);
    for (const std::string& folder : options.additionalDirectories)
        line += " --add-dir " + quoteArgument(folder);
    for (const std::string& argument : options.extraArguments)
        line += " " + quoteArgument(argument);
    return line;
}

std::string textTurn(const std::string& text) {
    return R"({"type":"user","message":{"role":"user","content":[{"type":"text","text":)" +
           jsonQuote(text) + "}]}}";
}

std::string richTurn(const std::string& contentJson) {
    return R"({"type":"user","message":{"role":"user","content":)" + contentJson + "}}";
}

std::string controlRequest(const std::string& id, const std::string& requestJson) {
    return R"({"type":"control_request","request_id":)" + jsonQuote(id) + R"(,"request":)" +
           requestJson + "}";
}

std::string interruptRequest(const std::string& id) {
    return controlRequest(id, R"({"subtype":"interrupt"})");
}

std::string controlResponse(const std::string& responseJson) {
    return R"({"type":"control_response","response":)" + responseJson + "}";
}

std::string nextControlId() { return "mb-control-" + std::to_string(++g_controls); }

std::string nextInterruptId() { return "mb-interrupt-" + std::to_string(++g_interrupts); }

}  // namespace mbagent
