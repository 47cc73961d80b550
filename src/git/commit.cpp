// One commit, and files at a revision.

#include <array>
#include <utility>

#include "git/git.hpp"
#include "git/history.hpp"
#include "git/parse.hpp"
#include "git/run.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbgit {

namespace {

constexpr uint32_t kShowMs = 20000;
constexpr uint32_t kTreeMs = 20000;

constexpr const char* kNotACommit = "not a commit id";

// How git says that a file is not there at a revision, or that the revision itself is not.
constexpr std::array<std::string_view, 3> kMissing = {
    "does not exist", "exists on disk, but not in", "unknown revision"};

bool saysMissing(const std::string& message) {
    for (const std::string_view words : kMissing)
        if (message.find(words) != std::string::npos) return true;
    return false;
}

void readFiles(const std::string& root, const std::string& hash, CommitDetail& detail) {
    const std::string tree =
        detail.parents.empty() ? "--root " + hash : detail.parents.front() + " " + hash;
    const std::string diff = "diff-tree --no-commit-id -r -M ";
    const mbproc::Result names = git(root, diff + "--name-status " + tree, kTreeMs);
    if (!failed(names)) detail.files = parseNameStatus(names.out);
    const mbproc::Result counts = git(root, diff + "--numstat " + tree, kTreeMs);
    if (!failed(counts)) addNumstat(counts.out, detail.files);
}

}  // namespace

bool commitDetail(const std::string& root, const std::string& hash, CommitDetail& detail,
                  std::string& error) {
    if (!isHash(hash)) {
        error = kNotACommit;
        return false;
    }
    const mbproc::Result shown = git(
        root, "show -s --format=%H%x1f%P%x1f%an%x1f%ae%x1f%at%x1f%cn%x1f%D%x1f%B " + hash, kShowMs);
    if (failed(shown)) {
        error = mbutil::trim(shown.err);
        return false;
    }
    CommitDetail found;
    if (!parseCommit(shown.out, found)) {
        error = "unexpected output from git show";
        return false;
    }
    readFiles(root, hash, found);
    detail = std::move(found);
    return true;
}

bool showFile(const std::string& root, const std::string& rev, const std::string& path,
              std::string& content, std::string& error) {
    if (looksLikeOption(rev)) {
        error = "'" + rev + "' is not a revision";
        return false;
    }
    mbproc::Result shown =
        gitWith(kEnglish, root, "show " + mbproc::quote(rev + ":" + path), kShowMs);
    if (!failed(shown)) {
        content = std::move(shown.out);
        return true;
    }
    if (saysMissing(shown.err)) {
        content.clear();
        return true;
    }
    error = mbutil::trim(shown.err);
    return false;
}

bool fileSides(const std::string& root, const std::string& rev, const std::string& path,
               FileSides& sides, std::string& error) {
    FileSides found;
    if (!showFile(root, rev.empty() ? "HEAD" : rev, path, found.original, error)) return false;
    (void)mbutil::readFileRaw(mbutil::pathJoin(root, path), found.modified);  // may be gone
    sides = std::move(found);
    return true;
}

bool commitSides(const std::string& root, const CommitDiffRequest& request, FileSides& sides,
                 std::string& error) {
    if (!isHash(request.hash) || (!request.parent.empty() && !isHash(request.parent))) {
        error = kNotACommit;
        return false;
    }
    const std::string& oldPath = request.oldPath.empty() ? request.path : request.oldPath;
    FileSides found;
    if (!request.parent.empty() && !showFile(root, request.parent, oldPath, found.original, error))
        return false;
    if (!showFile(root, request.hash, request.path, found.modified, error)) return false;
    sides = std::move(found);
    return true;
}

}  // namespace mbgit
