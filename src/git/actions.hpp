#pragma once
// Changing a repository. Each action is one or two runs of git; nothing is queued and nothing is
// rolled back. Of two actions at once the second may fail on git's own lock.
//
// Errors: false with git's words in `error`. `output` is what git wrote, standard output and then
// standard error, also after a failure.
// Threads: as in git.hpp.

#include <string>
#include <string_view>
#include <vector>

#include "json/json.hpp"

namespace mbgit {

using Paths = std::vector<std::string>;

// An empty list of paths is a failure.
bool stage(const std::string& root, const Paths& paths, std::string& error);
bool unstage(const std::string& root, const Paths& paths, std::string& error);
bool discard(const std::string& root, const Paths& paths, std::string& error);

struct CommitOptions {
    std::string message;  // may be empty for an amend only; git refuses that
    bool amend = false;
    bool stageAll = false;  // stays staged when the commit fails
};
// The message goes through a file in ".git", so this fails in a linked worktree, where that is no
// folder.
bool commit(const std::string& root, const CommitOptions& options, std::string& output,
            std::string& error);

bool push(const std::string& root, bool setUpstream, std::string& output, std::string& error);
bool pull(const std::string& root, std::string& output, std::string& error);
bool fetch(const std::string& root, std::string& output, std::string& error);
bool checkout(const std::string& root, const std::string& branch, bool create, std::string& output,
              std::string& error);
bool merge(const std::string& root, const std::string& branch, std::string& output,
           std::string& error);

// The hashes that the upstream has not. False, and an empty list, when there is no upstream.
bool unpushed(const std::string& root, std::vector<std::string>& list);

// What an action may be given; each takes what it needs.
struct ActionInput {
    Paths paths;
    CommitOptions commit;
    bool setUpstream = false;
    std::string branch;
    bool create = false;
};

// Missing fields are empty or false, an element of "paths" that is no string is an empty path.
ActionInput readActionInput(const mbjson::Json& body);

using ActionFunction = bool (*)(const std::string& root, const ActionInput& input,
                                std::string& output, std::string& error);
struct Action {
    std::string_view name;
    ActionFunction run;
};
// stage, unstage, discard, commit, push, pull, fetch, checkout, merge.
const std::vector<Action>& actions();

// As `action.run`, and a failure always has words: at least "<name> failed".
bool runAction(const Action& action, const std::string& root, const ActionInput& input,
               std::string& output, std::string& error);

}  // namespace mbgit
