#pragma once
// One background task and its sessions. Private to this module.

#include <cstdint>
#include <latch>
#include <memory>
#include <string>
#include <vector>

#include "agent/agent.hpp"
#include "dispatch/repo.hpp"
#include "json/json.hpp"

namespace mbdispatch {

inline constexpr const char* kQueued = "queued";
inline constexpr const char* kRunning = "running";
inline constexpr const char* kDone = "done";
inline constexpr const char* kFailed = "failed";
inline constexpr const char* kStopped = "stopped";
inline constexpr const char* kMerged = "merged";
inline constexpr const char* kDiscarded = "discarded";

// One start of the CLI. Shared by the task and by those who write to it or stop it at the moment;
// whoever lets go last must not hold the manager's lock, as that joins the session's threads.
struct Run {
    int number = 0;
    mbagent::Session session;
    std::latch firstTurn{1};  // at 0 once the prompt is written: further turns come behind it
};

struct Task {
    std::string id;
    int number = 0;  // settles the order of tasks of the same millisecond
    Work work;
    std::string baseBranch;  // empty without a worktree
    std::string model;
    std::string mode;
    std::string status = kQueued;
    std::string sessionId;  // the CLI's, for --resume
    std::string error;
    std::string prompt;  // for the next launch
    double cost = 0;     // US dollars
    int64_t createdAt = 0;
    int tryNumber = 1;
    int tries = 1;
    std::shared_ptr<Run> run;  // null when no CLI is at work
    // The run whose words count, also when it is being stopped already; 0 once a follow-up waits or
    // the task is closed: what an earlier one still has to say is handed on and changes nothing.
    int current = 0;
    std::vector<std::weak_ptr<Run>> runs;  // all that may not have ended yet
};

mbjson::Json describe(const Task& task);

// Takes over what a line of the CLI tells; `message` is the line, null when it is no JSON. True
// when it was the result that ends the task.
bool hear(Task& task, const mbjson::Json& message);

}  // namespace mbdispatch
