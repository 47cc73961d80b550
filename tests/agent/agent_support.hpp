#pragma once
// What the tests of sessions share: a session whose CLI plays a script, and what it has told.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "agent/agent.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"

namespace mbtest {

// Filled by the session's threads.
class Record {
public:
    void install(mbagent::Session& session) {
        session.onLine = [this](const std::string& line) { add({"line", line}); };
        session.onStderr = [this](const std::string& chunk) { add({"stderr", chunk}); };
        session.onExit = [this](int code) { add({"exit", std::to_string(code)}); };
    }

    struct Event {
        std::string kind;
        std::string text;
    };
    std::vector<Event> events() const {
        const std::lock_guard lock(mutex);
        return all;
    }
    std::vector<std::string> of(const std::string& kind) const {
        std::vector<std::string> texts;
        for (const Event& event : events())
            if (event.kind == kind) texts.push_back(event.text);
        return texts;
    }
    std::vector<std::string> lines() const { return of("line"); }
    std::vector<std::string> exits() const { return of("exit"); }
    // In one piece: how standard error was cut is up to the system.
    std::string errors() const {
        std::string whole;
        for (const std::string& chunk : of("stderr")) whole += chunk;
        return whole;
    }
    bool heard(const std::string& part) const {
        for (const std::string& line : lines())
            if (line.find(part) != std::string::npos) return true;
        return false;
    }

private:
    mutable std::mutex mutex;
    std::vector<Event> all;  // guarded by mutex

    void add(Event event) {
        const std::lock_guard lock(mutex);
        all.push_back(std::move(event));
    }
};

inline mbagent::StartOptions onlyCommand(const std::string& command) {
    mbagent::StartOptions options;
    options.command = command;
    return options;
}

class Rig {
public:
    explicit Rig(const std::string& script) { play(script); }

    TempDir folder;
    Record record;
    mbagent::StartOptions options = onlyCommand(FAKE_CLAUDE);
    mbagent::Session session;

    // For the next start.
    void play(const std::string& script) {
        environment.reset();
        environment = std::make_unique<ScopedEnv>(std::map<std::string, std::optional<std::string>>{
            {"FAKE_CLAUDE_SCRIPT", folder.write("script", script)},
            {"FAKE_CLAUDE_LOG", folder.path()}});
    }
    bool start() {
        record.install(session);
        std::string error;
        const bool started = session.start(options, error);
        EXPECT_EQ(error, "");
        return started;
    }
    bool startAndHear(const std::string& part) {
        return start() && waitUntil([&] { return record.heard(part); });
    }
    bool waitForExit() {
        return waitUntil([&] { return !record.exits().empty(); });
    }
    std::string input() const { return slurp(folder.at("stdin")); }
    std::string arguments() const { return slurp(folder.at("argv")); }

private:
    std::unique_ptr<ScopedEnv> environment;
};

inline int openThreads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

// What a session must give back; taken before it, and asked after it.
struct Possessions {
    int descriptors = 0;
    int threads = 0;

    // With the first thread of ours a sanitizer's runtime starts one of its own, which is not to be
    // counted against the session. A thread that was joined can still be listed for a moment.
    Possessions() {
        pid_t number = 0;
        std::thread([&] { number = ::gettid(); }).join();
        const std::string entry = "/proc/self/task/" + std::to_string(number);
        EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(entry); }));
        descriptors = openDescriptors();
        threads = openThreads();
    }

    void expectUnchanged() const {
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_TRUE(waitUntil([this] { return openThreads() == threads; }));
        EXPECT_FALSE(hasChildren());
    }
};

}  // namespace mbtest
