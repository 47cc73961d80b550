// Lists: commits, the graph, refs and branches.

#include "git/history.hpp"

#include <algorithm>

#include "git/git.hpp"
#include "git/parse.hpp"
#include "git/run.hpp"
#include "git/text.hpp"
#include "proc/proc.hpp"

namespace mbgit {

namespace {

constexpr uint32_t kLogMs = 20000;
constexpr uint32_t kGraphMs = 30000;
constexpr uint32_t kRefsMs = 20000;
constexpr uint32_t kBranchesMs = 15000;

constexpr int64_t kLogLimit = 40;
constexpr int64_t kGraphLimit = 400;
constexpr int64_t kLargestGraph = 5000;

// Fields of a record end in a byte that hardly stands in a name or a subject. For log it goes into
// the command line as it is; for-each-ref writes it itself.
constexpr const char* kLogFormat = "--pretty=format:%H\x1f%h\x1f%an\x1f%ad\x1f%s\x1f%D";
constexpr const char* kGraphFormat =
    "--pretty=format:%H\x1f%h\x1f%P\x1f%an\x1f%ae\x1f%at\x1f%s\x1f%D";
constexpr const char* kRefFormat =
    "--format=%(refname)%1f%(refname:short)%1f%(HEAD)%1f%(upstream:short)%1f%(upstream:track)"
    "%1f%(objectname)%1f%(*objectname)%1f%(committerdate:unix)%1f%(contents:subject)";
constexpr const char* kBranchFormat = "--format=%(refname:short)";

int64_t limitOf(std::string_view text, int64_t fallback) {
    int64_t limit = fallback;
    (void)readNumber(text, limit);  // leaves the fallback
    return limit;
}

}  // namespace

int64_t logLimit(std::string_view text) { return limitOf(text, kLogLimit); }

int64_t graphLimit(std::string_view text) {
    return std::clamp<int64_t>(limitOf(text, kGraphLimit), 1, kLargestGraph);
}

std::vector<Commit> log(const std::string& root, int64_t limit, const std::string& path) {
    std::string args = "log --max-count=" + std::to_string(limit) + " --date=relative ";
    args += kLogFormat;
    if (!path.empty()) args += " -- " + mbproc::quote(path);
    const mbproc::Result result = gitWith(kLiteralPaths, root, args, kLogMs);
    return failed(result) ? std::vector<Commit>() : parseLog(result.out);
}

std::vector<GraphCommit> graph(const std::string& root, int64_t limit) {
    std::string args = "log --all --date-order --max-count=" + std::to_string(limit) + " ";
    args += kGraphFormat;
    const mbproc::Result result = git(root, args, kGraphMs);
    return failed(result) ? std::vector<GraphCommit>() : parseGraph(result.out);
}

std::vector<RefInfo> refs(const std::string& root) {
    const std::string args = "for-each-ref --sort=-committerdate " + mbproc::quote(kRefFormat) +
                             " refs/heads refs/remotes refs/tags";
    const mbproc::Result result = git(root, args, kRefsMs);
    return failed(result) ? std::vector<RefInfo>() : parseRefs(result.out);
}

std::vector<std::string> branches(const std::string& root, bool includeRemote) {
    const std::string args =
        (includeRemote ? "branch --all " : "branch ") + mbproc::quote(kBranchFormat);
    const mbproc::Result result = git(root, args, kBranchesMs);
    return failed(result) ? std::vector<std::string>() : parseBranches(result.out);
}

}  // namespace mbgit
