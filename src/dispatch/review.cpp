// Looking at what a task did, landing it, throwing it away. Git runs without the lock.

#include <utility>

#include "dispatch/dispatch.hpp"
#include "dispatch/task.hpp"

namespace mbdispatch {

using mbjson::Json;

Json Manager::diff(const std::string& id, std::string& error) const {
    Work work;
    if (!workOf(id, work, error)) return {};
    return workDiff(work, error);
}

bool Manager::merge(const std::string& id, std::string& error) {
    quiet(id);
    Work work;
    if (!workOf(id, work, error)) return false;
    // A task in the user's own folder has nothing to land.
    if (!work.branch.empty()) {
        if (!commitChanges(work, error) || !landBranch(work, error)) return false;
        removeWorktree(work, false);
    }
    close(id, kMerged);
    return true;
}

bool Manager::discard(const std::string& id, std::string& error) {
    quiet(id);
    Work work;
    if (!workOf(id, work, error)) return false;
    if (!work.branch.empty()) removeWorktree(work, true);
    close(id, kDiscarded);
    return true;
}

bool Manager::workOf(const std::string& id, Work& work, std::string& error) const {
    const std::lock_guard lock(mutex);
    const Task* task = find(id);
    if (!task) {
        error = "no such task";
        return false;
    }
    work = task->work;
    return true;
}

// Stops the task, and waits for those of its sessions too that somebody else is stopping: none may
// write while its work is landed.
void Manager::quiet(const std::string& id) {
    (void)halt(id);
    std::vector<std::shared_ptr<Run>> ending;
    {
        const std::lock_guard lock(mutex);
        const Task* task = find(id);
        if (!task) return;
        for (const std::weak_ptr<Run>& run : task->runs)
            if (std::shared_ptr<Run> held = run.lock()) ending.push_back(std::move(held));
    }
    for (const std::shared_ptr<Run>& run : ending) run->session.stop();
}

void Manager::close(const std::string& id, const char* status) {
    std::shared_ptr<Run> ended;
    {
        const std::lock_guard lock(mutex);
        Task* task = find(id);
        if (!task) return;
        task->status = status;
        task->current = 0;
        // There is one when a follow-up came while git ran.
        ended = std::move(task->run);
        publish(*task);
    }
    if (ended) endRun(ended);
}

}  // namespace mbdispatch
