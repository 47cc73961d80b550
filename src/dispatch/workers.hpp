#pragma once
// Short-lived threads that nobody waits for until the end. Private to this module.

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace mbdispatch {

class Workers {
public:
    Workers() = default;
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers() { join(); }

    // False when the system gives no thread; `work` is then not run. Does not block.
    bool start(std::function<void()> work);
    // Returns when all have ended, those included that they have started. Not for a worker.
    void join();

private:
    std::mutex mutex;  // no other lock is taken under it
    std::condition_variable changed;
    std::map<int, std::thread> running;
    std::vector<std::thread> ended;  // have put themselves here as the last thing they did
    int started = 0;

    void finish(int number);
    void joinEnded();
};

}  // namespace mbdispatch
