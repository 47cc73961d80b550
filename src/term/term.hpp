#pragma once
// Programs in pseudo-terminals, for the page's terminal panes.
//
// Use: Manager::create() starts one and names it; write() is what the user types, the data callback
// what the program prints, the exit callback comes once at its end. An ended terminal stays in the
// list until kill(). Which shell to start is the business of term/shell.hpp.
// Limits: none on the number. Output is not kept: it goes out as it is read, a piece at most 16384
// bytes and three that were carried over so that no UTF-8 character is cut. Bytes that are no UTF-8
// come as they are.
// Errors: only create() and start() fail. A program that does not exist ends with the shell's code.
// Threads: two a terminal. The data callback runs on the reader, the exit callback on the waiter;
// neither may end or destroy its own terminal. All else may be called on any thread. write() blocks
// while the program does not read, until the terminal is ended.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "util/fd.hpp"

namespace mbterm {

struct SpawnOptions {
    std::string command;  // a line for /bin/sh, of which its program takes the place
    std::string cwd;      // empty keeps ours; one that cannot be entered becomes HOME or "/tmp"
    int32_t cols = 120;   // 2 at least, here and in resize()
    int32_t rows = 30;
    std::map<std::string, std::string> env;  // added or replaced
};

class Terminal {
public:
    // What a program has to end in after the hang-up.
    static constexpr std::chrono::milliseconds kPoliteTime{1000};

    Terminal() = default;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    // Ends the program, tells of its exit, joins both threads. Takes about a second when the
    // program ignores the hang-up.
    ~Terminal();

    // Set before start().
    std::function<void(const std::string& bytes)> onData;
    std::function<void(int32_t code)> onExit;

    // At most once. False with the reason in `error`; nothing is left of the attempt then.
    bool start(const SpawnOptions& options, std::string& error);

    // All bytes, or those up to an error or the terminal's end: nobody is told.
    void write(std::string_view bytes);
    void resize(int32_t cols, int32_t rows);

    // Hangs up and waits until the program is gone, at most kPoliteTime, then kills its group.
    void terminate();
    // The two halves, for many terminals at once; awaitEnd() kills when the time is over.
    void hangUp();
    void awaitEnd(std::chrono::steady_clock::time_point deadline);

    // Ends the reading, waits for the program's end without a limit and gives everything back, so
    // terminate() comes first. Idempotent.
    void cleanup();

    bool isRunning() const { return running; }       // until the exit callback
    int32_t processId() const { return pid; }        // -1 when it is gone
    int32_t exitStatus() const { return exitCode; }  // -1 before; 128 + number after a signal
    const std::string& commandLine() const { return command; }

private:
    std::string command;
    mbutil::Fd master;  // non-blocking; closed by cleanup() under both locks below
    // Each becomes readable once and stays so.
    mbutil::Fd hangUpEvent;  // tells write() to give up
    mbutil::Fd stopEvent;    // wakes readLoop() for `stopping`
    std::mutex writeMutex;   // held for a whole write, so that two do not mix
    std::mutex resizeMutex;  // apart from writeMutex: a resize does not wait for a stuck write

    std::mutex childMutex;
    std::condition_variable childChanged;  // pid or readerDone, both written under childMutex
    std::atomic<int32_t> pid{-1};          // also the group
    std::atomic<bool> readerDone{false};
    std::atomic<bool> stopping{false};
    std::atomic<bool> running{false};
    std::atomic<int32_t> exitCode{-1};
    std::thread reader;
    std::thread waiter;

    bool startThreads(int32_t started, std::string& reason);
    bool waitForRoom();
    void signalGroup(int number);
    int32_t collectChild();
    // These run on reader.
    void readLoop();
    void readPieces();
    bool waitForOutput();
    void waitLoop();  // runs on waiter
};

class Manager {
public:
    using DataCallback = std::function<void(const std::string& id, const std::string& bytes)>;
    using ExitCallback = std::function<void(const std::string& id, int32_t code)>;

    Manager() = default;
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    ~Manager() { killAll(); }

    // The new id, "term1" and so on, never one twice; empty with the reason in `error`. The first
    // output may be delivered before this returns.
    std::string create(const SpawnOptions& options, DataCallback onData, ExitCallback onExit,
                       std::string& error);
    // Null for an unknown id.
    std::shared_ptr<Terminal> get(const std::string& id);
    // False for an unknown id. True does not mean that anybody read it.
    bool write(const std::string& id, std::string_view bytes);
    void resize(const std::string& id, int32_t cols, int32_t rows);
    // False for an unknown id. Otherwise the program is ended and its exit told when this returns,
    // unless a write() is still about to let go of the terminal.
    bool kill(const std::string& id);
    // All at once, so it takes no longer than one.
    void killAll();
    // Ids and command lines, in the byte order of the ids.
    std::vector<std::pair<std::string, std::string>> list();

private:
    std::mutex mutex;
    // Guarded by mutex. Shared with callers that write or resize while the entry goes.
    std::map<std::string, std::shared_ptr<Terminal>> terminals;
    int32_t nextId = 1;  // guarded by mutex
};

}  // namespace mbterm
