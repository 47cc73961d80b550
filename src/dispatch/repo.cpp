#include "dispatch/repo.hpp"

#include <utility>

#include "dispatch/text.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbdispatch {

using mbjson::Json;
using mbproc::quote;
using mbproc::Result;

namespace {

constexpr uint32_t kTimeoutMs = 60000;
constexpr uint32_t kCheckoutTimeoutMs = 120000;  // for what writes a whole working copy

Result git(const std::string& directory, const std::string& arguments,
           uint32_t timeoutMs = kTimeoutMs) {
    mbproc::Options options;
    options.cwd = directory;
    options.timeoutMs = timeoutMs;
    return mbproc::run("git -c core.quotepath=false -c credential.interactive=never -C " +
                           quote(directory) + " " + arguments,
                       options);
}

bool succeeded(const Result& result) { return result.started && result.code == 0; }

const std::string& words(const Result& result) {
    return result.err.empty() ? result.out : result.err;
}

}  // namespace

std::string worktreesFolder() {
    return mbutil::xdgDir("XDG_DATA_HOME", ".local/share") + "/marlin-bench/worktrees";
}

bool readHead(const std::string& directory, std::string& commit) {
    const Result result = git(directory, "rev-parse HEAD");
    if (!succeeded(result)) return false;
    commit = firstLine(result.out);
    return true;
}

std::string branchName(const std::string& directory) {
    return firstLine(git(directory, "rev-parse --abbrev-ref HEAD").out);
}

// A branch that git has made before it failed stays: it could be one of the same name from an
// earlier run of the program, with somebody's work on it.
bool addWorktree(const Work& work, std::string& error, std::string& said) {
    const Result result = git(work.repoRoot,
                              "worktree add -b " + quote(work.branch) + " " +
                                  quote(work.directory) + " " + quote(work.baseCommit),
                              kCheckoutTimeoutMs);
    if (succeeded(result)) return true;
    error = "could not create a worktree: " + firstLine(words(result));
    said = words(result);
    return false;
}

void removeWorktree(const Work& work, bool force) {
    (void)git(work.repoRoot, "worktree remove --force " + quote(work.directory),
              kCheckoutTimeoutMs);
    (void)git(work.repoRoot, "worktree prune");
    (void)git(work.repoRoot, (force ? "branch -D " : "branch -d ") + quote(work.branch));
}

bool commitChanges(const Work& work, std::string& error) {
    (void)git(work.directory, "add -A");
    // Against the start of the task, so that commits of the agent's own count as changes.
    if (succeeded(git(work.directory, "diff --cached --quiet " + quote(work.baseCommit)))) {
        error = "this task changed nothing, so there is nothing to merge";
        return false;
    }
    if (succeeded(git(work.directory, "diff --cached --quiet"))) return true;
    const Result result = git(work.directory, "commit -m " + quote(commitSubject(work.title)));
    if (succeeded(result)) return true;
    error = "could not commit the task's changes: " + firstLine(words(result));
    return false;
}

bool landBranch(const Work& work, std::string& error) {
    // With a merge of the user's own under way git refuses ours, and there is nothing of ours to
    // abort: it would be the user's that is thrown away.
    const bool busy = succeeded(git(work.repoRoot, "rev-parse --quiet --verify MERGE_HEAD"));
    const Result result =
        git(work.repoRoot, "merge --no-ff --no-edit " + quote(work.branch), kCheckoutTimeoutMs);
    if (succeeded(result)) return true;
    if (!busy) (void)git(work.repoRoot, "merge --abort");
    error = "the merge did not go through, and nothing was changed: " + firstLine(words(result)) +
            ". Commit or stash your own changes, then try again.";
    return false;
}

Json workDiff(const Work& work, std::string& error) {
    if (work.baseCommit.empty() || !mbutil::dirExists(work.directory)) {
        error = "there is nothing to compare against";
        return {};
    }
    // In the user's own folder the index is left alone.
    if (!work.branch.empty()) (void)git(work.directory, "add -A");
    const std::string range = (work.branch.empty() ? "" : "--cached ") + quote(work.baseCommit);

    Json files = Json::array();
    double added = 0, removed = 0;
    for (const FileCount& count : readNumstat(git(work.directory, "diff --numstat " + range).out)) {
        Json file = Json::object();
        file.set("path", mbutil::toUtf8Lenient(count.path));
        file.set("added", count.added);
        file.set("removed", count.removed);
        files.push(std::move(file));
        added += count.added;
        removed += count.removed;
    }
    Json answer = Json::object();
    answer.set("fileCount", files.asArray().size());
    answer.set("files", std::move(files));
    answer.set("added", added);
    answer.set("removed", removed);
    answer.set("patch", readableLines(limitPatch(git(work.directory, "diff " + range).out)));
    return answer;
}

}  // namespace mbdispatch
