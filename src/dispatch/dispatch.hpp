#pragma once
// Background Claude tasks beside the chat: each runs in a CLI session of its own and, as a rule, in
// a git worktree on a branch of its own, until the user lands or discards what it did.
//
// Use: init(), setMaxRunning(), create() tasks, follow them through the events; when one has ended
// diff() it, then merge() or discard() it. requests.hpp reads what the page asks for.
// Events, in the order of what happened:
//   {"type":"dispatch.state","task":{..}}       after every change; the task as in list()
//   {"type":"dispatch.event","id":..,"line":..} each line of a task's CLI
//   {"type":"dispatch.stderr","id":..,"text":..} a piece of its error stream, or what git said of a
//                                               worktree that could not be made
// Limits: 1 to 8 tasks run at once, the others wait. Tasks are not written to disk and none is ever
// forgotten; their worktrees lie in "marlin-bench/worktrees" below the user's data folder.
// Errors: a false or an empty result with words for the user in `error`; `error` is else untouched.
// Threads: any function on any thread. create(), merge(), discard() and diff() block while git
// runs; send(), control() and respond() while the CLI does not read; stop(), merge(), discard() and
// shutdown() until the CLI has ended, which takes it 3.5 s at most. The sink runs on the thread
// that made the change or on one of a session's, as a rule under the lock of the tasks: it must not
// call the manager.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/agent.hpp"
#include "dispatch/workers.hpp"
#include "json/json.hpp"

namespace mbdispatch {

struct Run;
struct Task;
struct Work;

struct CreateRequest {
    std::string prompt;
    std::string title;  // empty: the prompt
    std::string directory;
    bool worktree = true;  // false: the agent works in `directory` itself
    int tries = 1;         // competing tasks of the same description, held between 1 and 4
    bool plan = false;     // takes the place of `mode`
    std::string model;     // empty: the settings decide
    std::string mode = "acceptEdits";
};

class Manager {
public:
    using EventSink = std::function<void(const mbjson::Json&)>;
    using OptionsProvider = std::function<mbagent::StartOptions(const std::string& directory)>;

    Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    ~Manager();  // shuts down

    // Before anything else. The provider is asked at each launch, under the lock of the tasks: it
    // must not call the manager.
    void init(EventSink sink, OptionsProvider provider);

    // Held between 1 and 8. What runs is left alone when there is less room, what waits is launched
    // when there is more.
    void setMaxRunning(int limit);
    int maxRunning() const;

    // The ids of the new tasks. When a later try fails the earlier ones are in the list and wait,
    // and `error` says why there are no more.
    std::vector<std::string> create(const CreateRequest& request, std::string& error);

    // An array of all tasks, by id.
    mbjson::Json list() const;

    // A further turn: to the CLI while it works, else by resuming its conversation as soon as there
    // is room. A text that still waits for a launch is replaced.
    bool send(const std::string& id, const std::string& text, std::string& error);
    // A task that neither runs nor waits keeps its status.
    bool stop(const std::string& id, std::string& error);
    // JSON for Session::sendControl() and sendControlResponse().
    bool control(const std::string& id, const std::string& requestJson, std::string& error);
    bool respond(const std::string& id, const std::string& responseJson, std::string& error);

    // What the task has changed since its start: "files", "added", "removed", "fileCount", "patch",
    // of which at most 400,000 bytes are kept. Null with the reason in `error`. Stages everything
    // in the task's own worktree, so that new files count.
    mbjson::Json diff(const std::string& id, std::string& error) const;
    // Stops the task, commits what it left and merges its branch into what is checked out in the
    // folder it was created for; worktree and branch are then gone. After a merge that git refuses
    // that folder is as before, and so are worktree and branch, with the commit on them.
    bool merge(const std::string& id, std::string& error);
    // Stops the task and removes its worktree and its branch. Without a worktree all changes stay.
    bool discard(const std::string& id, std::string& error);

    // Ends all sessions, one after the other, and tells nobody: no event goes out from here on for
    // anything that a session does, and none is launched.
    void shutdown();

private:
    mutable std::mutex mutex;  // comes before a session's own locks; never held across its stop()
    std::map<std::string, std::unique_ptr<Task>> tasks;
    EventSink sink;
    OptionsProvider provider;
    int runningLimit = 2;
    int sequence = 0;  // of the ids
    int launches = 0;  // numbers the runs
    // Written under mutex; atomic for the error stream's callback, which takes no lock.
    std::atomic<bool> closing{false};
    // Last, so that its threads are over before what they use goes away.
    Workers workers;

    Task* find(const std::string& id) const;
    void push(const mbjson::Json& event) const;
    void publish(const Task& task) const;
    void tellStderr(const std::string& id, const std::string& text) const;
    bool makeWorktree(const Task& task, std::string& error) const;

    void pump();
    bool launch(Task& task, std::string& error);
    void install(Run& run, const std::string& id);
    void giveFirstTurn(const std::shared_ptr<Run>& run, std::string prompt);
    std::shared_ptr<Run> readyRun(const std::string& id) const;

    // These two run on the session's threads.
    void onLine(const std::string& id, int run, const std::string& line);
    void onExit(const std::string& id, int run, int code);
    // These run on threads of `workers`.
    void settle(const std::string& id, int run, int code);
    void fail(const std::string& id, int run, int code);
    void retire(const std::string& id, int run);

    void endRun(const std::shared_ptr<Run>& run);
    bool halt(const std::string& id);

    bool workOf(const std::string& id, Work& work, std::string& error) const;
    void quiet(const std::string& id);
    void close(const std::string& id, const char* status);
};

}  // namespace mbdispatch
