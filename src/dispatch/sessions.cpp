// The sessions of the tasks: launch, what they say, how they end. No lock is held while one is
// stopped: that joins its threads, which take the lock to tell what they have read.

#include <stdexcept>
#include <utility>

#include "dispatch/dispatch.hpp"
#include "dispatch/task.hpp"
#include "util/util.hpp"

namespace mbdispatch {

using mbjson::Json;

namespace {

constexpr const char* kNoSuchTask = "no such task";
constexpr const char* kNotRunning = "that task is not running";
constexpr const char* kNotWritten = "could not write to the session";

// Null for what is no JSON.
Json parsed(const std::string& line) {
    try {
        return Json::parse(line);
    } catch (const std::out_of_range&) {
        return {};
    }
}

Json textEvent(const char* type, const std::string& id, const char* key, const std::string& text) {
    Json event = Json::object();
    event.set("type", type);
    event.set("id", id);
    event.set(key, mbutil::toUtf8Lenient(text));
    return event;
}

bool isClosed(const Task& task) { return task.status == kMerged || task.status == kDiscarded; }

// Does this run still belong to the task?
bool owns(const Task* task, int run) { return task && task->run && task->run->number == run; }

}  // namespace

// Under the lock, the start of the child included.
bool Manager::launch(Task& task, std::string& error) {
    mbagent::StartOptions options;
    if (provider) options = provider(task.work.directory);
    if (options.command.empty()) {
        error = "the Claude CLI could not be found";
        return false;
    }
    options.cwd = task.work.directory;
    if (!task.model.empty()) options.model = task.model;
    options.permissionMode = task.mode;
    options.resume = task.sessionId;

    auto run = std::make_shared<Run>();
    run->number = ++launches;
    install(*run, task.id);
    if (!run->session.start(options, error)) return false;
    giveFirstTurn(run, std::exchange(task.prompt, ""));
    std::erase_if(task.runs, [](const std::weak_ptr<Run>& old) { return old.expired(); });
    task.runs.push_back(run);
    task.current = run->number;
    task.run = std::move(run);
    task.status = kRunning;
    task.error.clear();
    return true;
}

void Manager::install(Run& run, const std::string& id) {
    const int number = run.number;
    run.session.onLine = [this, id, number](const std::string& line) { onLine(id, number, line); };
    run.session.onExit = [this, id, number](int code) { onExit(id, number, code); };
    run.session.onStderr = [this, id](const std::string& text) { tellStderr(id, text); };
}

// On a thread of its own: a CLI that does not read yet would otherwise hold up all tasks, and one
// that wants its output read first would wait for us for ever.
void Manager::giveFirstTurn(const std::shared_ptr<Run>& run, std::string prompt) {
    if (prompt.empty()) return run->firstTurn.count_down();
    const auto give = [run, prompt = std::move(prompt)] {
        // When it fails the CLI has ended, and its exit tells of that.
        (void)run->session.sendUserMessage(prompt);
        run->firstTurn.count_down();
    };
    if (!workers.start(give)) give();
}

void Manager::tellStderr(const std::string& id, const std::string& text) const {
    if (!closing) push(textEvent("dispatch.stderr", id, "text", text));
}

void Manager::onLine(const std::string& id, int run, const std::string& line) {
    const Json message = parsed(line);
    {
        const std::lock_guard lock(mutex);
        Task* task = find(id);
        if (closing || !task) return;
        const bool ended = task->current == run && hear(*task, message);
        push(textEvent("dispatch.event", id, "line", line));
        if (!ended) return;
        publish(*task);
        if (!owns(task, run)) return;
    }
    // The CLI would wait for more input and keep what it holds. Without a thread it does: until the
    // next turn, stop() or the end.
    (void)workers.start([this, id, run] { retire(id, run); });
}

void Manager::onExit(const std::string& id, int run, int code) {
    {
        const std::lock_guard lock(mutex);
        if (closing || !owns(find(id), run)) return;
    }
    if (!workers.start([this, id, run, code] { settle(id, run, code); })) fail(id, run, code);
}

// The exit can be told before the last lines, when these are many or the page reads slowly. Only
// after stop() it is certain that no result was among them.
void Manager::settle(const std::string& id, int run, int code) {
    std::shared_ptr<Run> ended;
    {
        const std::lock_guard lock(mutex);
        const Task* task = find(id);
        if (closing || !owns(task, run)) return;
        ended = task->run;
    }
    ended->session.stop();
    fail(id, run, code);
    retire(id, run);
}

// Only a task that has heard no result.
void Manager::fail(const std::string& id, int run, int code) {
    const std::lock_guard lock(mutex);
    Task* task = find(id);
    if (closing || !owns(task, run) || task->status != kRunning) return;
    task->status = kFailed;
    task->error = "Claude stopped unexpectedly (exit code " + std::to_string(code) + ")";
    publish(*task);
}

// Leaves the task alone when it has gone on with another run meanwhile.
void Manager::retire(const std::string& id, int run) {
    std::shared_ptr<Run> ended;
    {
        const std::lock_guard lock(mutex);
        Task* task = find(id);
        if (closing || !owns(task, run) || task->status == kRunning) return;
        ended = std::move(task->run);
        publish(*task);
    }
    endRun(ended);
}

// Not with the lock held.
void Manager::endRun(const std::shared_ptr<Run>& run) {
    run->session.stop();
    pump();
}

bool Manager::send(const std::string& id, const std::string& text, std::string& error) {
    std::shared_ptr<Run> working, ended;
    {
        const std::lock_guard lock(mutex);
        Task* task = find(id);
        if (!task || isClosed(*task)) {
            error = task ? "that task is closed" : kNoSuchTask;
            return false;
        }
        // Behind its result a CLI is on its way out, even while it still runs.
        if (task->status == kRunning && task->run && task->run->session.isRunning()) {
            working = task->run;
        } else {
            task->prompt = text;
            task->status = kQueued;
            task->current = 0;
            ended = std::move(task->run);
        }
        publish(*task);
    }
    if (working) {
        working->firstTurn.wait();
        if (working->session.sendUserMessage(text)) return true;
        error = kNotWritten;
        return false;
    }
    pump();
    const auto end = [this, ended] { endRun(ended); };
    if (ended && !workers.start(end)) end();
    return true;
}

bool Manager::stop(const std::string& id, std::string& error) {
    if (halt(id)) return true;
    error = kNoSuchTask;
    return false;
}

bool Manager::halt(const std::string& id) {
    std::shared_ptr<Run> ended;
    {
        const std::lock_guard lock(mutex);
        Task* task = find(id);
        if (!task) return false;
        ended = std::move(task->run);
        if (task->status == kRunning || task->status == kQueued) {
            task->status = kStopped;
            task->prompt.clear();
        }
        publish(*task);
    }
    if (ended) endRun(ended);
    return true;
}

// The task's run, if any. Its prompt has been written, so what follows comes behind it.
std::shared_ptr<Run> Manager::readyRun(const std::string& id) const {
    std::shared_ptr<Run> run;
    {
        const std::lock_guard lock(mutex);
        if (const Task* task = find(id)) run = task->run;
    }
    if (run) run->firstTurn.wait();
    return run;
}

bool Manager::control(const std::string& id, const std::string& requestJson, std::string& error) {
    const std::shared_ptr<Run> run = readyRun(id);
    std::string requestId;
    if (run && run->session.sendControl(requestJson, requestId)) return true;
    error = run ? kNotWritten : kNotRunning;
    return false;
}

bool Manager::respond(const std::string& id, const std::string& responseJson, std::string& error) {
    const std::shared_ptr<Run> run = readyRun(id);
    if (run && run->session.sendControlResponse(responseJson)) return true;
    error = run ? kNotWritten : kNotRunning;
    return false;
}

void Manager::shutdown() {
    std::vector<std::shared_ptr<Run>> live;
    {
        const std::lock_guard lock(mutex);
        if (closing.exchange(true)) return;
        for (const auto& [id, task] : tasks) {
            // Those that somebody else is stopping are waited for.
            for (const std::weak_ptr<Run>& run : task->runs)
                if (std::shared_ptr<Run> held = run.lock()) live.push_back(std::move(held));
            task->run.reset();  // held by `live`, so nothing ends here
        }
    }
    for (std::shared_ptr<Run>& run : live) {
        run->session.stop();
        run.reset();
    }
    workers.join();
}

}  // namespace mbdispatch
