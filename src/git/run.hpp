#pragma once
// Running git beyond the public git(), what a failure says, and work on a second thread. Private to
// this module.

#include <cstdint>
#include <future>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "proc/proc.hpp"

namespace mbgit {

using Variables = std::map<std::string, std::string>;

// Messages in English whatever the user's language: for where they decide.
inline const Variables kEnglish = {{"LC_ALL", "C"}};
// A path is that path and no pattern: staging a file named "*" must not stage all.
inline const Variables kLiteralPaths = {{"GIT_LITERAL_PATHSPECS", "1"}};

// As git(), with these variables set.
mbproc::Result gitWith(const Variables& env, const std::string& root, const std::string& args,
                       uint32_t timeoutMs);

// git would take the name for an option, and a repository from elsewhere can bring such names
// along.
bool looksLikeOption(std::string_view name);

// Not started, or an exit code other than 0.
bool failed(const mbproc::Result& result);
// Standard error or, when that is empty, standard output; trimmed.
std::string failureText(const mbproc::Result& result);

// Runs `work` on a thread of its own, or in get() when no thread is to be had. The future's
// destructor waits, so what `work` refers to need only outlive the future.
template <typename Work>
auto startBeside(Work work) {
    try {
        return std::async(std::launch::async, work);
    } catch (const std::system_error&) {
        return std::async(std::launch::deferred, std::move(work));
    }
}

}  // namespace mbgit
