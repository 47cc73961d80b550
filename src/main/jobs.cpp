#include "main/jobs.hpp"

#include <algorithm>
#include <cstring>

#include "agent/launch.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;

namespace {

constexpr const char* kReadOnly =
    " --disallowedTools Edit Write NotebookEdit Bash Task WebFetch WebSearch";
constexpr const char* kEditing = " --permission-mode acceptEdits"
                                 " --disallowedTools Bash WebFetch WebSearch";

std::string commandLine(const ClaudeJob& job) {
    std::string line =
        mbproc::quote(job.command) + " --print" + (job.mayEdit ? kEditing : kReadOnly);
    if (!job.model.empty()) line += " --model " + mbproc::quote(job.model);
    for (const std::string& folder : job.addDirs) line += " --add-dir " + mbproc::quote(folder);
    return line;
}

}  // namespace

ClaudeJob jobIn(const App& app, const std::string& folder, uint32_t timeoutMs) {
    ClaudeJob job;
    job.command = mbagent::resolveClaudeCommand(app.workspace.config()->claudeCommand);
    job.cwd = folder;
    job.timeoutMs = timeoutMs;
    return job;
}

mbproc::Result runClaude(const ClaudeJob& job) {
    mbproc::Options options;
    options.cwd = job.cwd;
    options.input = job.prompt;
    options.timeoutMs = job.timeoutMs;
    return mbproc::run(commandLine(job), options);
}

ClaudeAnswer askClaude(const ClaudeJob& job) {
    ClaudeAnswer answer;
    if (job.command.empty()) {
        answer.error = kNoClaude;
        return answer;
    }
    const mbproc::Result result = runClaude(job);
    if (!result.started) {
        answer.error = result.err.empty() ? "Claude could not start" : result.err;
    } else if (result.code != 0) {
        answer.error = mbutil::trim(result.err.empty() ? result.out : result.err);
        if (answer.error.empty()) answer.error = "Claude could not answer";
    } else {
        answer.ok = true;
        answer.text = mbutil::toUtf8Lenient(mbutil::trim(result.out));
    }
    return answer;
}

std::string failureWords(const mbproc::Result& result, const char* otherwise) {
    if (!result.started) return result.err;
    const std::string& words = result.err.empty() ? result.out : result.err;
    return words.empty() ? otherwise : words;
}

Json extractJson(std::string_view text, char opening) {
    const size_t begin = text.find(opening);
    const size_t end = text.rfind(opening == '[' ? ']' : '}');
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) return {};
    return Json::parseText(text.substr(begin, end - begin + 1));
}

std::string withoutFence(std::string text) {
    constexpr std::string_view kFence = "```";
    if (mbutil::startsWith(text, kFence)) {
        const size_t lineEnd = text.find('\n');
        text.erase(0, lineEnd == std::string::npos ? text.size() : lineEnd + 1);
        if (const size_t closing = text.rfind(kFence); closing != std::string::npos)
            text.resize(closing);
    }
    return mbutil::trim(text);
}

std::string modelName(const std::string& given) {
    const auto allowed = [](char byte) {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= '0' && byte <= '9') || (byte != '\0' && std::strchr("-._", byte));
    };
    return std::all_of(given.begin(), given.end(), allowed) ? given : "";
}

bool keepBeginning(std::string& text, size_t limit) {
    if (text.size() <= limit) return false;
    text.resize(limit);
    return true;
}

void keepEnd(std::string& text, size_t limit) {
    if (text.size() <= limit) return;
    size_t begin = text.size() - limit;
    while (begin < text.size() && (text[begin] & 0xc0) == 0x80) ++begin;
    text.erase(0, begin);
}

}  // namespace mbapp
