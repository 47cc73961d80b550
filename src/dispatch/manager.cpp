// Making tasks and the queue they wait in.

#include <algorithm>
#include <chrono>
#include <utility>

#include "dispatch/dispatch.hpp"
#include "dispatch/task.hpp"
#include "dispatch/text.hpp"
#include "util/util.hpp"

namespace mbdispatch {

using mbjson::Json;

namespace {

constexpr int kMostRunning = 8;
constexpr int kMostTries = 4;

int64_t wallClockMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// What all tries of a request have in common. False with the reason in `error`.
bool prepare(const CreateRequest& request, Task& task, std::string& error) {
    task.prompt = mbutil::trim(request.prompt);
    if (task.prompt.empty()) {
        error = "describe the task first";
        return false;
    }
    if (!mbutil::dirExists(request.directory)) {
        error = "that folder does not exist";
        return false;
    }
    // Without a worktree any folder does.
    if (!readHead(request.directory, task.work.baseCommit) && request.worktree) {
        error = "a worktree needs a git repository with at least one commit";
        return false;
    }
    if (request.worktree) task.baseBranch = branchName(request.directory);
    task.work.title = mbutil::trim(request.title);
    if (task.work.title.empty()) task.work.title = task.prompt;
    task.work.repoRoot = request.directory;
    task.model = request.model;
    task.mode = request.plan ? "plan" : request.mode;
    task.tries = std::clamp(request.tries, 1, kMostTries);
    return true;
}

void assignId(Task& task, int number, bool worktree) {
    task.number = number;
    task.createdAt = wallClockMs();
    task.id = "t" + std::to_string(number) + "-" + std::to_string(task.createdAt % 100000);
    task.work.directory = worktree ? worktreesFolder() + "/" + task.id : task.work.repoRoot;
    if (worktree) task.work.branch = "marlin/" + slug(task.work.title) + "-" + task.id;
}

bool isEarlier(const Task* left, const Task* right) {
    return std::pair(left->createdAt, left->number) < std::pair(right->createdAt, right->number);
}

}  // namespace

Manager::Manager() = default;

Manager::~Manager() { shutdown(); }

void Manager::init(EventSink eventSink, OptionsProvider optionsProvider) {
    sink = std::move(eventSink);
    provider = std::move(optionsProvider);
}

void Manager::setMaxRunning(int limit) {
    {
        const std::lock_guard lock(mutex);
        runningLimit = std::clamp(limit, 1, kMostRunning);
    }
    pump();
}

int Manager::maxRunning() const {
    const std::lock_guard lock(mutex);
    return runningLimit;
}

std::vector<std::string> Manager::create(const CreateRequest& request, std::string& error) {
    Task common;
    if (!prepare(request, common, error)) return {};
    std::vector<std::string> ids;
    for (int tryNumber = 1; tryNumber <= common.tries; ++tryNumber) {
        auto task = std::make_unique<Task>(common);
        task->tryNumber = tryNumber;
        {
            const std::lock_guard lock(mutex);
            assignId(*task, ++sequence, request.worktree);
        }
        // The earlier tries wait until something else looks at the queue.
        if (request.worktree && !makeWorktree(*task, error)) return ids;
        ids.push_back(task->id);
        const std::lock_guard lock(mutex);
        publish(*task);
        tasks[task->id] = std::move(task);
    }
    pump();
    return ids;
}

bool Manager::makeWorktree(const Task& task, std::string& error) const {
    std::string said;
    if (addWorktree(task.work, error, said)) return true;
    // The first line alone is often no more than what git was about to do.
    tellStderr(task.id, said);
    return false;
}

Json Manager::list() const {
    const std::lock_guard lock(mutex);
    Json all = Json::array();
    for (const auto& [id, task] : tasks) all.push(describe(*task));
    return all;
}

Task* Manager::find(const std::string& id) const {
    const auto found = tasks.find(id);
    return found == tasks.end() ? nullptr : found->second.get();
}

void Manager::push(const Json& event) const {
    if (sink) sink(event);
}

// Under the lock, so that the events of a task come in the order of its changes.
void Manager::publish(const Task& task) const {
    Json event = Json::object();
    event.set("type", "dispatch.state");
    event.set("task", describe(task));
    push(event);
}

void Manager::pump() {
    const std::lock_guard lock(mutex);
    if (closing) return;
    int running = 0;
    std::vector<Task*> queue;
    for (const auto& [id, task] : tasks) {
        if (task->status == kRunning) ++running;
        if (task->status == kQueued) queue.push_back(task.get());
    }
    std::sort(queue.begin(), queue.end(), isEarlier);
    for (Task* task : queue) {
        if (running >= runningLimit) return;
        std::string error;
        if (launch(*task, error)) {
            ++running;
        } else {
            task->status = kFailed;
            task->error = error;
        }
        publish(*task);
    }
}

}  // namespace mbdispatch
