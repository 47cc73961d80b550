#include "git/actions.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "git/git.hpp"
#include "git/run.hpp"
#include "git/text.hpp"
#include "proc/proc.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace mbgit {

using mbutil::Fd;

namespace {

constexpr uint32_t kPathsMs = 30000;
constexpr uint32_t kCommitMs = 60000;
constexpr uint32_t kBranchNameMs = 10000;
constexpr uint32_t kRemoteMs = 120000;
constexpr uint32_t kCheckoutMs = 60000;
constexpr uint32_t kMergeMs = 120000;
constexpr uint32_t kUnpushedMs = 15000;

bool runPaths(const std::string& root, std::string command, const Paths& paths,
              std::string& error) {
    if (paths.empty()) {
        error = "no paths given";
        return false;
    }
    for (const std::string& path : paths) command += " " + mbproc::quote(path);
    const mbproc::Result result = gitWith(kLiteralPaths, root, command, kPathsMs);
    if (!failed(result)) return true;
    error = failureText(result);
    return false;
}

bool runForOutput(const std::string& root, const std::string& args, uint32_t timeoutMs,
                  std::string& output, std::string& error) {
    const mbproc::Result result = git(root, args, timeoutMs);
    output = result.out + result.err;
    if (!failed(result)) return true;
    error = failureText(result);
    return false;
}

// Removes the file when it goes.
struct MessageFile {
    std::string path;
    bool made = false;

    explicit MessageFile(const std::string& root)
        : path(mbutil::pathJoin(root, ".git/MARLIN_COMMITMSG")) {}
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;
    ~MessageFile() {
        if (made) (void)::unlink(path.c_str());
    }

    bool write(std::string_view text) {
        if (path.front() != '/') return false;  // no root: it would be the working folder's
        Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (!file) return false;
        made = true;
        while (!text.empty()) {
            const ssize_t written = ::write(file.value, text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            text.remove_prefix(static_cast<size_t>(written));
        }
        return ::close(file.release()) == 0;
    }
};

// git allows names on which the shell would act, and a clone can bring one along; any other name
// stays as git printed it.
std::string branchWord(const std::string& name) {
    constexpr std::string_view kHarmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                           "0123456789 -_./=:,+@%#";
    const std::string plain = looksLikeOption(name) ? "refs/heads/" + name : name;
    return plain.find_first_not_of(kHarmless) == std::string::npos ? plain : mbproc::quote(plain);
}

// Runs `command` with one branch behind it.
bool runBranch(const std::string& root, const std::string& command, const std::string& branch,
               uint32_t timeoutMs, std::string& output, std::string& error) {
    if (looksLikeOption(branch)) {
        error = "'" + branch + "' is not a branch name";
        return false;
    }
    return runForOutput(root, command + mbproc::quote(branch), timeoutMs, output, error);
}

}  // namespace

bool stage(const std::string& root, const Paths& paths, std::string& error) {
    return runPaths(root, "add --", paths, error);
}

bool unstage(const std::string& root, const Paths& paths, std::string& error) {
    return runPaths(root, "restore --staged --", paths, error);
}

bool discard(const std::string& root, const Paths& paths, std::string& error) {
    return runPaths(root, "checkout --", paths, error);
}

bool commit(const std::string& root, const CommitOptions& options, std::string& output,
            std::string& error) {
    if (options.message.empty() && !options.amend) {
        error = "a commit message is required";
        return false;
    }
    if (options.stageAll) {
        const mbproc::Result added = git(root, "add --all", kPathsMs);
        if (failed(added)) {
            error = mbutil::trim(added.err);
            return false;
        }
    }
    MessageFile file(root);
    if (!file.write(options.message)) {
        error = "could not write the commit message file";
        return false;
    }
    std::string args = "commit --file=" + mbproc::quote(file.path);
    if (options.amend) args += " --amend";
    return runForOutput(root, args, kCommitMs, output, error);
}

bool push(const std::string& root, bool setUpstream, std::string& output, std::string& error) {
    std::string args = "push";
    if (setUpstream) {
        const mbproc::Result head = git(root, "rev-parse --abbrev-ref HEAD", kBranchNameMs);
        if (!failed(head)) args += " --set-upstream origin " + branchWord(mbutil::trim(head.out));
    }
    return runForOutput(root, args, kRemoteMs, output, error);
}

bool pull(const std::string& root, std::string& output, std::string& error) {
    return runForOutput(root, "pull --ff-only", kRemoteMs, output, error);
}

bool fetch(const std::string& root, std::string& output, std::string& error) {
    return runForOutput(root, "fetch --all --prune", kRemoteMs, output, error);
}

bool checkout(const std::string& root, const std::string& branch, bool create, std::string& output,
              std::string& error) {
    return runBranch(root, create ? "checkout -b " : "checkout ", branch, kCheckoutMs, output,
                     error);
}

bool merge(const std::string& root, const std::string& branch, std::string& output,
           std::string& error) {
    return runBranch(root, "merge --no-edit ", branch, kMergeMs, output, error);
}

bool unpushed(const std::string& root, std::vector<std::string>& list) {
    list.clear();
    const mbproc::Result result = git(root, "rev-list @{upstream}..HEAD", kUnpushedMs);
    if (failed(result)) return false;
    for (const std::string_view line : splitLines(result.out)) list.push_back(mbutil::trim(line));
    return true;
}

ActionInput readActionInput(const mbjson::Json& body) {
    ActionInput input;
    for (const mbjson::Json& path : body["paths"].asArray()) input.paths.push_back(path.asString());
    input.commit.message = body["message"].asString();
    input.commit.amend = body["amend"].asBool();
    input.commit.stageAll = body["stageAll"].asBool();
    input.setUpstream = body["setUpstream"].asBool();
    input.branch = body["branch"].asString();
    input.create = body["create"].asBool();
    return input;
}

const std::vector<Action>& actions() {
    using Root = const std::string&;
    using Input = const ActionInput&;
    using Text = std::string&;
    static const std::vector<Action> kActions = {
        {"stage",
         [](Root root, Input in, Text, Text error) { return stage(root, in.paths, error); }},
        {"unstage",
         [](Root root, Input in, Text, Text error) { return unstage(root, in.paths, error); }},
        {"discard",
         [](Root root, Input in, Text, Text error) { return discard(root, in.paths, error); }},
        {"commit", [](Root root, Input in, Text output,
                      Text error) { return commit(root, in.commit, output, error); }},
        {"push", [](Root root, Input in, Text output,
                    Text error) { return push(root, in.setUpstream, output, error); }},
        {"pull",
         [](Root root, Input, Text output, Text error) { return pull(root, output, error); }},
        {"fetch",
         [](Root root, Input, Text output, Text error) { return fetch(root, output, error); }},
        {"checkout",
         [](Root root, Input in, Text output, Text error) {
             return checkout(root, in.branch, in.create, output, error);
         }},
        {"merge", [](Root root, Input in, Text output,
                     Text error) { return merge(root, in.branch, output, error); }},
    };
    return kActions;
}

bool runAction(const Action& action, const std::string& root, const ActionInput& input,
               std::string& output, std::string& error) {
    if (action.run(root, input, output, error)) return true;
    if (error.empty()) error = std::string(action.name) + " failed";
    return false;
}

}  // namespace mbgit
