#pragma once
// GitHub through the user's gh: what it knows of a folder's repository, and one comment on a pull
// request. No token is held here and no HTTP spoken.
//
// Errors: words for the user, gh's own where it has any. A reply that is no JSON is an empty value.
// Threads: any function on any thread, at once too. All block until gh has ended; each run has a
// time limit.

#include <cstdint>
#include <string>

#include "json/json.hpp"

namespace mbgh {

struct Availability {
    bool installed = false;
    bool authenticated = false;
    std::string version;
    std::string account;
    std::string message;  // why nothing can be asked; empty when it can
};

struct List {
    mbjson::Json items = mbjson::Json::array();  // as gh gives them
    std::string error;
};

// Where gh is; empty when it is not. Looked for once in the life of the process.
const std::string& executable();

Availability check();

// Open ones; of the runs the latest. `cwd` is a folder of the repository.
List pullRequests(const std::string& cwd, int limit);
List issues(const std::string& cwd, int limit);
List runs(const std::string& cwd, int limit);

// "owner/name"; empty when gh cannot tell.
std::string nameWithOwner(const std::string& cwd);

struct PullRequest {
    std::string diff;  // whole, whatever its size
    std::string head;  // hash of the newest commit
    std::string title;
};
bool pullRequestDiff(const std::string& cwd, int32_t number, PullRequest& found,
                     std::string& error);

// On a line of the new side. `head` must be a hash: it goes into a command line.
struct ReviewComment {
    int32_t number = 0;  // of the pull request
    std::string head;
    std::string path;
    int32_t line = 0;
    std::string body;
};
// `url` is the comment's; empty when gh did not tell it.
bool postReviewComment(const std::string& cwd, const ReviewComment& comment, std::string& url,
                       std::string& error);

}  // namespace mbgh
