#pragma once
// What the tests of language servers share: command lines of the fake one, and what was told.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "lsp/lsp.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"
#include "json/json.hpp"

namespace mbtest {

using Texts = std::vector<std::string>;

// A command line of the fake server; tests/fakes/language_server.cpp lists the commands.
inline std::string fakeServer(const Texts& commands) {
    std::string line = mbproc::quote(FAKE_LANGUAGE_SERVER);
    for (const std::string& command : commands) line += " " + mbproc::quote(command);
    return line;
}

// What a server told, in its order. Filled by the server's threads.
class Record {
public:
    struct Event {
        std::string kind;
        std::string text;
        bool operator==(const Event&) const = default;
    };

    void add(Event event) {
        const std::lock_guard lock(mutex);
        all.push_back(std::move(event));
    }
    std::vector<Event> events() const {
        const std::lock_guard lock(mutex);
        return all;
    }
    Texts of(const std::string& kind) const {
        Texts texts;
        for (const Event& event : events())
            if (event.kind == kind) texts.push_back(event.text);
        return texts;
    }
    Texts messages() const { return of("message"); }
    Texts exits() const { return of("exit"); }
    bool heard(const std::string& part) const {
        for (const std::string& message : messages())
            if (message.find(part) != std::string::npos) return true;
        return false;
    }

private:
    mutable std::mutex mutex;
    std::vector<Event> all;  // guarded by mutex
};

struct Rig {
    TempDir folder;
    Record record;
    mblsp::Server server;

    bool startLine(const std::string& command) {
        std::string error;
        const bool started = server.start(
            command, folder.path(),
            [this](const std::string& body) {
                record.add({"message", body});
            },
            [this](int code) {
                record.add({"exit", std::to_string(code)});
            },
            error);
        EXPECT_EQ(error, "");
        return started;
    }
    bool start(const Texts& commands) { return startLine(fakeServer(commands)); }
    bool waitForMessages(size_t count) {
        return waitUntil([&] { return record.messages().size() >= count; });
    }
    bool waitForExit() {
        return waitUntil([&] { return !record.exits().empty(); });
    }
    // What the server has noted in a file of its working folder.
    std::string noted(const std::string& file) const {
        EXPECT_TRUE(waitUntil([&] { return ::access(folder.at(file).c_str(), F_OK) == 0; }));
        return slurp(folder.at(file));
    }
};

inline int openThreads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

// What a server must give back; taken before it, and asked after it.
struct Possessions {
    int descriptors = 0;
    int threads = 0;

    // With the first thread of ours a sanitizer's runtime starts one of its own, which is not to be
    // counted against the server. A thread that was joined can still be listed for a moment.
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
