#pragma once
// What the tests of background tasks share: a repository in a home of its own, a manager whose CLI
// plays scripts, and what the manager has told.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/agent_support.hpp"
#include "dispatch/dispatch.hpp"
#include "git/repository.hpp"
#include "support/support.hpp"
#include "json/json.hpp"

namespace mbtest {

using Texts = std::vector<std::string>;

constexpr const char* kInit = R"(out {"type":"system","subtype":"init","session_id":"s-1"})"
                              "\n";
constexpr const char* kResult =
    R"(out {"type":"result","is_error":false,"total_cost_usd":0.25,"result":"all good"})"
    "\n";
constexpr const char* kErrorResult = R"(out {"type":"result","is_error":true,"result":"no credit"})"
                                     "\n";

// Until it is told to end, which it does at once.
constexpr const char* kStayBusy = "expect never\n";

// The manager's events; filled by any thread.
class Feed {
public:
    void add(const mbjson::Json& event) {
        const std::lock_guard lock(mutex);
        all.push_back(event);
    }
    std::vector<mbjson::Json> events() const {
        const std::lock_guard lock(mutex);
        return all;
    }
    size_t size() const { return events().size(); }
    // "queued", "running live" and so on, "line TEXT", "stderr TEXT": what was told of one task.
    Texts of(const std::string& id) const {
        Texts texts;
        for (const mbjson::Json& event : events()) {
            const mbjson::Json& task = event["task"];
            if (task["id"].asString() == id)
                texts.push_back(task["status"].asString() + (task["live"].asBool() ? " live" : ""));
            if (event["id"].asString() != id) continue;
            const bool line = event["type"].asString() == "dispatch.event";
            texts.push_back(line ? "line " + event["line"].asString()
                                 : "stderr " + event["text"].asString());
        }
        return texts;
    }
    Texts states(const std::string& id) const {
        Texts texts = of(id);
        std::erase_if(texts, [](const std::string& text) {
            return text.rfind("line ", 0) == 0 || text.rfind("stderr ", 0) == 0;
        });
        return texts;
    }
    bool heard(const std::string& id, const std::string& part) const {
        const Texts texts = of(id);
        return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
            return text.find(part) != std::string::npos;
        });
    }

private:
    mutable std::mutex mutex;
    std::vector<mbjson::Json> all;  // guarded by mutex
};

class DispatchRig {
public:
    GitHome home;
    std::string repo = home.init("repo", "echo one > seed.txt\ngit add -A\ngit commit -qm start");
    Feed feed;
    mbagent::StartOptions base;  // the settings'; set before the tasks, like the next
    std::function<void(const mbjson::Json&)> onEvent;  // called by the sink

    DispatchRig() : manager(std::make_unique<mbdispatch::Manager>()) {
        manager->init([this](const mbjson::Json& event) { take(event); },
                      [this](const std::string& folder) { return options(folder); });
    }

    mbdispatch::Manager& operator*() { return *manager; }
    mbdispatch::Manager* operator->() { return manager.get(); }
    void destroy() { manager.reset(); }

    // For the first launch, the second and so on; the last one goes for all that follow.
    void play(Texts wanted) {
        const std::lock_guard lock(mutex);
        scripts = std::move(wanted);
        firstScript = launched;
    }
    // From the first of them again.
    void replay() {
        const std::lock_guard lock(mutex);
        if (launched - firstScript >= static_cast<int>(scripts.size())) firstScript = launched;
    }
    int launches() const {
        const std::lock_guard lock(mutex);
        return launched;
    }
    // Of a launch, from 1.
    std::string input(int launch) const { return slurp(logOf(launch) + "/stdin"); }
    std::string arguments(int launch) const { return slurp(logOf(launch) + "/argv"); }

    // A gate is a file: "await" in a script stands before it until open() is called.
    std::string gate(const std::string& name) const { return home.at("gate-" + name); }
    std::string awaitGate(const std::string& name) const { return "await " + gate(name) + "\n"; }
    void open(const std::string& name) const { home.write("gate-" + name, ""); }
    bool reached(const std::string& name) const {
        return waitUntil([&] { return !slurp(gate(name)).empty(); });
    }
    // The script's side of reached(): puts its process id there.
    std::string reach(const std::string& name) const { return "note " + gate(name) + " ${pid}\n"; }
    std::string pidAt(const std::string& name) const {
        const std::string text = slurp(gate(name));
        return text.substr(0, text.find('\n'));
    }

    mbdispatch::CreateRequest request(const std::string& prompt = "do it") const {
        mbdispatch::CreateRequest wanted;
        wanted.prompt = prompt;
        wanted.directory = repo;
        return wanted;
    }
    Texts create(const mbdispatch::CreateRequest& wanted) {
        std::string error;
        Texts ids = manager->create(wanted, error);
        EXPECT_EQ(error, "");
        return ids;
    }
    std::string createOne(const std::string& prompt = "do it") {
        const Texts ids = create(request(prompt));
        return ids.size() == 1 ? ids[0] : "";
    }
    // In the folder itself.
    std::string createInPlace(const std::string& folder) {
        mbdispatch::CreateRequest wanted = request();
        wanted.directory = folder;
        wanted.worktree = false;
        const Texts ids = create(wanted);
        return ids.size() == 1 ? ids[0] : "";
    }
    std::string createError(const mbdispatch::CreateRequest& wanted) {
        std::string error;
        EXPECT_EQ(manager->create(wanted, error), Texts());
        return error;
    }

    mbjson::Json task(const std::string& id) const {
        const mbjson::Json all = manager->list();
        for (const mbjson::Json& one : all.asArray())
            if (one["id"].asString() == id) return one;
        return {};
    }
    std::string status(const std::string& id) const { return task(id)["status"].asString(); }
    std::string text(const std::string& id, const char* key) const {
        return task(id)[key].asString();
    }
    bool become(const std::string& id, const std::string& wanted) const {
        return waitUntil([&] { return status(id) == wanted; });
    }
    // And the session is gone.
    bool settle(const std::string& id, const std::string& wanted) const {
        return become(id, wanted) && waitUntil([&] { return !task(id)["live"].asBool(); });
    }
    bool send(const std::string& id, const std::string& words) {
        std::string error;
        const bool sent = manager->send(id, words, error);
        EXPECT_EQ(error, "");
        return sent;
    }
    bool stop(const std::string& id) {
        std::string error;
        return manager->stop(id, error);
    }
    bool merge(const std::string& id) {
        std::string error;
        const bool merged = manager->merge(id, error);
        EXPECT_EQ(error, "");
        return merged;
    }
    bool discard(const std::string& id) {
        std::string error;
        const bool discarded = manager->discard(id, error);
        EXPECT_EQ(error, "");
        return discarded;
    }
    // A new task that has done its script, which gets the whole of its work from `script`.
    std::string finished(const std::string& script, const std::string& prompt = "do it") {
        play({kInit + script + kResult});
        const std::string id = createOne(prompt);
        EXPECT_TRUE(settle(id, "done")) << text(id, "error");
        return id;
    }
    std::string sh(const std::string& script) const { return home.sh(script, "repo"); }
    std::string worktrees() const { return home.at("data/marlin-bench/worktrees"); }

private:
    ScopedEnv environment{{{"XDG_DATA_HOME", home.at("data")}}};
    mutable std::mutex mutex;
    Texts scripts = {std::string(kInit) + "read\n" + kResult};  // guarded by mutex, like the next
    int launched = 0;
    int firstScript = 0;
    // Last: its threads use all of the above.
    std::unique_ptr<mbdispatch::Manager> manager;

    void take(const mbjson::Json& event) {
        feed.add(event);
        if (onEvent) onEvent(event);
    }
    std::string logOf(int launch) const { return home.at("log" + std::to_string(launch)); }

    // Each launch gets a CLI of its own, with its script and its log.
    mbagent::StartOptions options(const std::string& folder) {
        const std::lock_guard lock(mutex);
        const size_t index = static_cast<size_t>(launched - firstScript);
        const std::string number = std::to_string(++launched);
        const std::string script =
            home.write("script" + number, scripts[std::min(index, scripts.size() - 1)]);
        home.write("log" + number + "/argv", "");
        const std::string cli = home.write(
            "claude" + number, "#!/bin/sh\nFAKE_CLAUDE_SCRIPT='" + script + "' FAKE_CLAUDE_LOG='" +
                                   logOf(launched) + "' exec '" + FAKE_CLAUDE + "' \"$@\"\n");
        ::chmod(cli.c_str(), 0755);
        mbagent::StartOptions made = base;
        if (made.command.empty()) made.command = cli;
        made.cwd = folder;
        return made;
    }
};

}  // namespace mbtest
