// The working tree's status and the text of what is pending.

#include <utility>

#include "git/git.hpp"
#include "git/parse.hpp"
#include "git/run.hpp"
#include "git/text.hpp"
#include "util/util.hpp"

namespace mbgit {

namespace {

constexpr uint32_t kStatusMs = 25000;
constexpr uint32_t kDiffMs = 25000;
constexpr uint32_t kListMs = 15000;

}  // namespace

Status status(const std::string& root) {
    Status status;
    if (root.empty()) return status;
    if (!available()) {
        status.error = "git was not found on PATH.";
        return status;
    }
    const mbproc::Result result =
        git(root, "status --porcelain=v2 --branch --untracked-files=all", kStatusMs);
    if (!result.started) {
        status.error = "could not run git";
    } else if (result.code != 0) {
        status.error = mbutil::trim(result.err);
    } else {
        status.isRepo = true;
        status.root = root;
        parseStatus(result.out, status);
    }
    return status;
}

bool pendingDiff(const std::string& root, bool againstHead, std::string& out, std::string& error) {
    const std::string side = againstHead ? "HEAD" : "--cached";
    mbproc::Result diff = git(root, "diff --no-color --no-ext-diff " + side, kDiffMs);
    if (failed(diff)) {
        error = failureText(diff);
        if (error.empty()) error = "git diff failed";
        return false;
    }
    out = std::move(diff.out);
    if (!againstHead) return true;
    const mbproc::Result added = git(root, "ls-files --others --exclude-standard", kListMs);
    if (failed(added) || mbutil::trim(added.out).empty()) return true;  // the diff stands alone
    out += "\n# New files, not shown above:\n";
    for (const std::string_view name : splitLines(added.out))
        out.append("#   ").append(name).append("\n");
    return true;
}

}  // namespace mbgit
