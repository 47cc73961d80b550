#pragma once
// Reads what the page asks of the tasks. Plain functions of their arguments but for hasGit(); a
// value that is missing or of the wrong type counts as the default.

#include <string>

#include "dispatch/dispatch.hpp"
#include "json/json.hpp"

namespace mbdispatch {

// From "task", "title", "worktree", "tries", "plan", "model" and "mode" of a body; which folder its
// "root" stands for is the caller's business.
CreateRequest readCreateRequest(const mbjson::Json& body, const std::string& directory);

// How many tasks run at once, as the page or the settings say it; not held to any limits yet.
int readLimit(const mbjson::Json& value);

// Looks at the disk: is this folder the top of a repository, of a linked worktree or a submodule?
bool hasGit(const std::string& folder);

}  // namespace mbdispatch
