#include "git/run.hpp"

#include "git/git.hpp"
#include "util/util.hpp"

namespace mbgit {

namespace {

// Reading must not take locks that the user's own git then meets; names beyond ASCII come as they
// are; nobody sits at a terminal to be asked for a password.
constexpr const char* kPrefix =
    "git --no-optional-locks -c core.quotepath=false -c credential.interactive=never ";

constexpr uint32_t kVersionMs = 8000;

}  // namespace

mbproc::Result gitWith(const Variables& env, const std::string& root, const std::string& args,
                       uint32_t timeoutMs) {
    mbproc::Result result;
    // Without a folder git would act on whatever repository this program was started in.
    if (root.empty()) {
        result.err = "no repository";
        return result;
    }
    mbproc::Options options;
    options.cwd = root;
    options.timeoutMs = timeoutMs;
    options.env = env;
    return mbproc::run(kPrefix + args, options);
}

mbproc::Result git(const std::string& root, const std::string& args, uint32_t timeoutMs) {
    return gitWith({}, root, args, timeoutMs);
}

// "-" alone is the branch before this one.
bool looksLikeOption(std::string_view name) { return name.size() > 1 && name.front() == '-'; }

bool failed(const mbproc::Result& result) { return !result.started || result.code != 0; }

std::string failureText(const mbproc::Result& result) {
    return mbutil::trim(result.err.empty() ? result.out : result.err);
}

bool available() {
    static const bool answers = [] {
        mbproc::Options options;
        options.timeoutMs = kVersionMs;
        return !failed(mbproc::run("git --version", options));
    }();
    return answers;
}

std::string discoverRoot(const std::string& path) {
    std::string folder = mbutil::toPosixPath(mbutil::canonical(path));
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    while (!folder.empty()) {
        // A file in a linked worktree and in a submodule.
        const std::string marker = folder + "/.git";
        if (mbutil::dirExists(marker) || mbutil::fileExists(marker)) return folder;
        folder = mbutil::dirName(folder);  // empty behind "/"
    }
    return "";
}

bool isHash(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    return text.size() >= 7 && text.size() <= 40 &&
           text.find_first_not_of(kDigits) == std::string_view::npos;
}

}  // namespace mbgit
