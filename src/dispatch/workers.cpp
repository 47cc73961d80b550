#include "dispatch/workers.hpp"

#include <system_error>
#include <utility>

namespace mbdispatch {

bool Workers::start(std::function<void()> work) {
    const std::lock_guard lock(mutex);
    joinEnded();
    const int number = ++started;
    try {
        running[number] = std::thread([this, number, work = std::move(work)]() mutable {
            work();
            // Before the thread counts as ended: what `work` holds may take a while to go away.
            work = nullptr;
            finish(number);
        });
    } catch (const std::system_error&) {
        running.erase(number);
        return false;
    }
    return true;
}

void Workers::join() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return running.empty(); });
    joinEnded();
}

void Workers::finish(int number) {
    const std::lock_guard lock(mutex);
    const auto own = running.find(number);
    ended.push_back(std::move(own->second));
    running.erase(own);
    changed.notify_all();
}

// Under the lock, which these threads have given back already: all that is left of them is their
// return.
void Workers::joinEnded() {
    for (std::thread& thread : ended) thread.join();
    ended.clear();
}

}  // namespace mbdispatch
