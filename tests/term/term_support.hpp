#pragma once
// What the tests of terminals share.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "proc/proc_support.hpp"
#include "support/support.hpp"
#include "term/term.hpp"

namespace mbtest {

// Loaded machines and sanitizers are slow; a wait that succeeds takes no longer for it.
constexpr int kTerminalLimitMs = 30000;

// What a terminal has told so far. Outlives it, as the callbacks come until its destruction ends.
class Transcript {
public:
    void add(const std::string& bytes) {
        const std::lock_guard lock(mutex);
        all += bytes;
        list.push_back(bytes);
        changed.notify_all();
    }
    void end(int32_t code) {
        const std::lock_guard lock(mutex);
        codeList.push_back(code);
        sizeAtExit = all.size();
        changed.notify_all();
    }
    void attach(mbterm::Terminal& terminal) {
        terminal.onData = [this](const std::string& bytes) { add(bytes); };
        terminal.onExit = [this](int32_t code) { end(code); };
    }

    // True once `part` has been printed, behind the first `from` bytes.
    bool waitForText(std::string_view part, size_t from = 0) {
        return waitFor([&] { return all.find(part, from) != std::string::npos; });
    }
    bool waitForExit() {
        return waitFor([&] { return !codeList.empty(); });
    }

    std::string text() {
        const std::lock_guard lock(mutex);
        return all;
    }
    std::vector<std::string> pieces() {
        const std::lock_guard lock(mutex);
        return list;
    }
    // One for each time that the exit was told.
    std::vector<int32_t> codes() {
        const std::lock_guard lock(mutex);
        return codeList;
    }
    // How much had been printed when the exit was told.
    size_t printedBeforeExit() {
        const std::lock_guard lock(mutex);
        return sizeAtExit;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::string all;
    std::vector<std::string> list;
    std::vector<int32_t> codeList;
    size_t sizeAtExit = 0;

    template <typename Condition>
    bool waitFor(const Condition& condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(kTerminalLimitMs), condition);
    }
};

inline mbterm::SpawnOptions optionsFor(const std::string& command) {
    mbterm::SpawnOptions options;
    options.command = command;
    return options;
}

// A terminal and its transcript.
struct Pane {
    Transcript transcript;
    mbterm::Terminal terminal;

    explicit Pane(const std::string& command) : Pane(optionsFor(command)) {}
    explicit Pane(const mbterm::SpawnOptions& options) {
        transcript.attach(terminal);
        std::string error;
        EXPECT_TRUE(terminal.start(options, error)) << error;
    }
};

// What the command has printed at its end, with the line ends that it wrote.
inline std::string outputOf(const mbterm::SpawnOptions& options) {
    Pane pane(options);
    EXPECT_TRUE(pane.transcript.waitForExit());
    std::string text = pane.transcript.text();
    std::erase(text, '\r');
    return text;
}
inline std::string outputOf(const std::string& command) { return outputOf(optionsFor(command)); }

inline int ownThreads() {
    const std::string status = slurp("/proc/self/status");
    return std::stoi(status.substr(status.find("Threads:") + 8));
}

// Fails where a scope leaves a descriptor, a thread or a child behind. A thread that was joined may
// be seen for another moment.
class NothingLeft {
public:
    // With the first thread of ours a sanitizer's runtime starts one of its own, which is not to be
    // counted against the terminal.
    NothingLeft() {
        pid_t number = 0;
        std::thread([&] { number = ::gettid(); }).join();
        const std::string entry = "/proc/self/task/" + std::to_string(number);
        EXPECT_TRUE(waitUntil([&] { return ::access(entry.c_str(), F_OK) != 0; }));
        descriptors = openDescriptors();
        threads = ownThreads();
    }
    NothingLeft(const NothingLeft&) = delete;
    NothingLeft& operator=(const NothingLeft&) = delete;
    ~NothingLeft() {
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_TRUE(waitUntil([this] { return ownThreads() == threads; })) << ownThreads();
        EXPECT_FALSE(hasChildren());
    }

private:
    int descriptors = 0;
    int threads = 0;
};

}  // namespace mbtest
