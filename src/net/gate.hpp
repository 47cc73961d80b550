#pragma once
// Keeps connection threads, which nobody joins, away from a server that is stopping.
//
// A thread passes the gate before it touches the server, and the server waits for those inside
// before it goes away. Threads and server share the gate, so it outlives both.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

namespace mbnet {

struct Gate {
    std::atomic<bool> running{false};  // written under mutex, so that enter() cannot miss it
    std::mutex mutex;
    std::condition_variable emptied;
    size_t inside = 0;  // guarded by mutex

    void open() {
        const std::lock_guard lock(mutex);
        running = true;
    }
    bool enter() {
        const std::lock_guard lock(mutex);
        if (!running) return false;
        ++inside;
        return true;
    }
    void leave() {
        const std::lock_guard lock(mutex);
        if (--inside == 0) emptied.notify_all();
    }
    // False for all but the first call after the start.
    bool shut() {
        const std::lock_guard lock(mutex);
        return running.exchange(false);
    }
    void waitUntilEmpty() {
        std::unique_lock lock(mutex);
        emptied.wait(lock, [this] { return inside == 0; });
    }
    bool waitUntilEmpty(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex);
        return emptied.wait_for(lock, limit, [this] { return inside == 0; });
    }
};

// Being inside, for a scope. False when the gate was shut already.
class GatePass {
public:
    explicit GatePass(std::shared_ptr<Gate> shared) : gate(std::move(shared)) {
        if (!gate->enter()) gate.reset();
    }
    GatePass(const GatePass&) = delete;
    GatePass& operator=(const GatePass&) = delete;
    ~GatePass() { leave(); }

    explicit operator bool() const { return gate != nullptr; }
    void leave() {
        if (gate) gate->leave();
        gate.reset();
    }

private:
    std::shared_ptr<Gate> gate;
};

}  // namespace mbnet
