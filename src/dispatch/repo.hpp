#pragma once
// What the tasks do with git: worktrees, commits, merges, diffs. Private to this module.
//
// All functions block until git has ended, 60 or 120 seconds at most. Whatever comes from a title,
// a folder or a branch is quoted, so that none of it can run.

#include <string>

#include "json/json.hpp"

namespace mbdispatch {

// What git must know of a task. Copied out of it, so that git runs without the lock.
struct Work {
    std::string title;
    std::string repoRoot;    // the folder the task was created for
    std::string directory;   // the worktree's, or the same folder
    std::string branch;      // empty: there is no worktree
    std::string baseCommit;  // empty outside of a repository
};

// The folder that worktrees lie in, one a task.
std::string worktreesFolder();

// False when the folder has no commit to start from.
bool readHead(const std::string& directory, std::string& commit);
// "HEAD" when no branch is checked out.
std::string branchName(const std::string& directory);

// False with git's reason in `error` and all that git said in `said`.
bool addWorktree(const Work& work, std::string& error, std::string& said);

// Worktree and branch; an unmerged branch stays unless `force` is set. What git thinks of it does
// not matter: what is gone already cannot be removed.
void removeWorktree(const Work& work, bool force);

// Commits all that the task has left uncommitted, if anything. False with the reason in `error`,
// also when the task has changed nothing since its start.
bool commitChanges(const Work& work, std::string& error);

// Merges the branch into what is checked out in repoRoot. False with the reason in `error`;
// repoRoot is then as it was.
bool landBranch(const Work& work, std::string& error);

// See Manager::diff(). Null with the reason in `error`.
mbjson::Json workDiff(const Work& work, std::string& error);

}  // namespace mbdispatch
