#pragma once
// The user's git: the one runner of repository commands, finding a repository, its status with line
// counts, and the text of pending changes. Nothing is remembered between calls but available().
//
// Use: a root is the folder that discoverRoot() gave. history.hpp reads commits and refs,
// actions.hpp changes a repository.
// Paths are relative to the root and stand as git prints them, so in quotes with C escapes where
// they hold a double quote, a backslash or a control character.
// Limits: every run has a time limit, in milliseconds; see also addLineCounts().
// Errors: a git that fails is an empty result, a false, or Status::error; the words are git's own.
// Threads: any function on any thread, at once too. All block until git has ended.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "proc/proc.hpp"
#include "json/json.hpp"

namespace mbgit {

struct FileChange {
    std::string path;   // for a rename, the new one
    std::string index;  // one character: X of git's XY; "." when untracked, "U" when conflicted
    std::string work;   // one character: Y of git's XY; "?" when untracked, "U" when conflicted
    bool staged = false;
    bool unstaged = false;  // also for untracked and conflicted paths
    bool untracked = false;
    bool conflicted = false;
    int32_t stagedAdded = -1;  // lines, index against HEAD; -1: unknown or binary
    int32_t stagedRemoved = -1;
    int32_t workAdded = -1;  // lines, working tree against index
    int32_t workRemoved = -1;
};

struct Status {
    bool isRepo = false;  // git answered
    std::string root;
    std::string branch;    // or "(detached)"
    std::string upstream;  // empty when there is none
    int32_t ahead = 0;
    int32_t behind = 0;
    bool detached = false;
    std::vector<FileChange> files;  // by path, in the order of bytes
    std::string error;
};

struct LineCount {
    int32_t added = -1;
    int32_t removed = -1;
};

// A repository of the workspace.
struct Repository {
    std::string name;
    std::string root;
};

// Runs git in `root`. `args` is a piece of a shell's command line: what comes from outside must
// have gone through mbproc::quote(). An empty root is "no repository", and nothing is run.
mbproc::Result git(const std::string& root, const std::string& args, uint32_t timeoutMs);

// Whether git is on PATH. Asked once in the life of the process.
bool available();

// The nearest folder at or above `path` that holds a ".git" of any kind; empty when none does.
// Links are not followed.
std::string discoverRoot(const std::string& path);

// An empty root gives an empty status without an error. The line counts are all unknown.
Status status(const std::string& root);

// Changed lines by path; empty when git fails.
std::unordered_map<std::string, LineCount> numstat(const std::string& root, bool cached);

// Fills the counts of `status.files`. Of untracked files the first 300 are read, and only regular
// ones of at most 1048576 bytes without a NUL byte in their first 8000.
void addLineCounts(const std::string& root, Status& status);

mbjson::Json statusJson(const Status& status);

// The text of {"gitAvailable","ok","repos"}, where "repos" has the statusJson() of each with its
// "name" added, in the order given. All are asked at the same time.
std::string statusAnswer(const std::vector<Repository>& repositories, bool lineCounts);

// What a review or a commit message is written from: the diff against HEAD and the names of new
// files, or with `againstHead` false what is staged. False with the reason in `error`.
bool pendingDiff(const std::string& root, bool againstHead, std::string& out, std::string& error);

// 7 to 40 hexadecimal digits of either case.
bool isHash(std::string_view text);

}  // namespace mbgit
