#pragma once
// Reading the history: commits of a file or branch, the graph over all refs, refs, one commit with
// its files, and a file at a revision. What git prints is given as it is, whatever its encoding;
// the JSON functions make UTF-8 of it.
//
// Errors: a git that fails gives an empty list; the functions that return bool give its words.
// Threads: as in git.hpp.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/json.hpp"

namespace mbgit {

struct Commit {
    std::string hash;
    std::string shortHash;
    std::string author;
    std::string date;  // relative, as "2 days ago"
    std::string subject;
    std::string refs;  // "HEAD -> main, tag: v1"
};

struct GraphCommit {
    std::string hash;
    std::string shortHash;
    std::vector<std::string> parents;
    std::string author;
    std::string email;
    int64_t time = 0;  // seconds since the epoch
    std::string subject;
    std::string refs;
};

struct RefInfo {
    std::string name;  // short, as "main" or "origin/main"
    std::string kind;  // "local", "remote" or "tag"
    std::string hash;  // of the commit, also for an annotated tag
    bool current = false;
    std::string upstream;
    int32_t ahead = 0;
    int32_t behind = 0;
    int64_t time = 0;  // seconds since the epoch; 0 for an annotated tag
    std::string subject;
};

struct CommitFile {
    std::string path;
    std::string oldPath;     // of a rename or a copy, else empty
    std::string status;      // git's letter
    int32_t additions = -1;  // lines; -1: unknown or binary
    int32_t deletions = -1;
};

struct CommitDetail {
    std::string hash;
    std::vector<std::string> parents;
    std::string author;
    std::string email;
    int64_t time = 0;  // seconds since the epoch
    std::string committer;
    std::string message;
    std::string refs;
    std::vector<CommitFile> files;  // a merge's: against its first parent
};

// Both sides of a file for a diff view.
struct FileSides {
    std::string original;
    std::string modified;
};

// The number a page asked for, or `fallback` when that is none.
int64_t logLimit(std::string_view text);    // 40
int64_t graphLimit(std::string_view text);  // 400; held between 1 and 5000

// From HEAD backwards, only what touched `path` unless it is empty. A negative limit means all.
std::vector<Commit> log(const std::string& root, int64_t limit, const std::string& path);

std::vector<GraphCommit> graph(const std::string& root, int64_t limit);

// Branches, remote branches and tags, newest first.
std::vector<RefInfo> refs(const std::string& root);

std::vector<std::string> branches(const std::string& root, bool includeRemote);

// False with the reason in `error`; `detail` is then untouched.
bool commitDetail(const std::string& root, const std::string& hash, CommitDetail& detail,
                  std::string& error);

// A file that is not there at that revision is empty, and no error. False with the reason in
// `error`.
bool showFile(const std::string& root, const std::string& rev, const std::string& path,
              std::string& content, std::string& error);

// The file at `rev`, HEAD when that is empty, and as it is on disk. Missing ones are empty.
bool fileSides(const std::string& root, const std::string& rev, const std::string& path,
               FileSides& sides, std::string& error);

struct CommitDiffRequest {
    std::string hash;
    std::string parent;  // empty for a root commit: the older side is then empty
    std::string path;
    std::string oldPath;  // empty: as `path`
};
// The file before and after a commit. Also false for a hash or parent that is none.
bool commitSides(const std::string& root, const CommitDiffRequest& request, FileSides& sides,
                 std::string& error);

// {"commits"}; `withPushed` adds "hasUpstream" and a "pushed" to each, which is false for all when
// there is no upstream.
mbjson::Json logJson(const std::string& root, int64_t limit, const std::string& path,
                     bool withPushed);
// {"commits","refs"}
mbjson::Json graphJson(const std::string& root, int64_t limit);
mbjson::Json commitDetailJson(const CommitDetail& detail);
// {"branches"}
mbjson::Json branchesJson(const std::string& root, bool includeRemote);
// {"original","modified"}
mbjson::Json sidesJson(FileSides sides);

}  // namespace mbgit
