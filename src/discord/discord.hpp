#pragma once
// Shows in the user's Discord status what is being edited, over Discord's local socket.
//
// Use: start() with the application's id, set() what is to be shown, stop() or destroy.
// Limits: one message in four seconds, whatever set() is told; the last state always arrives.
// While Discord is not running, its socket is looked for every 15 seconds.
// Errors: none is reported; isReady() says whether Discord listens.
// Threads: one of its own, between start() and stop(), which alone touches the socket. All
// functions may be called on any other thread, at once.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "discord/ipc.hpp"

namespace mbdiscord {

struct Activity {
    std::string details;    // the first line
    std::string state;      // the second
    std::string largeText;  // of the picture; empty for the program's name

    friend bool operator==(const Activity&, const Activity&) = default;
};

// What the loop waits for; only tests want other times.
struct Timing {
    std::chrono::milliseconds reconnect{15000};
    std::chrono::milliseconds handshake{500};  // between two looks for Discord's READY
    std::chrono::milliseconds interval{4000};  // between two messages
};

class Presence {
public:
    Presence() = default;
    explicit Presence(const Timing& times) : timing(times) {}
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;
    ~Presence() { stop(); }

    // Does nothing with an empty id, or when it runs already.
    void start(const std::string& id);
    // Says goodbye to a Discord that listens, and returns when the thread has ended: within about a
    // second, also when the other side has stopped reading.
    void stop();
    // Nothing is sent when both lines stand already.
    void set(const Activity& activity);

    bool isReady() const { return ready; }

private:
    using Clock = std::chrono::steady_clock;

    void run();              // on worker, as all below
    void serveConnection();  // one round with an open socket
    void waitForWork(std::chrono::milliseconds limit);
    void rest(std::chrono::milliseconds time);
    bool connect();
    void disconnect();
    void drainIncoming();
    bool takeFrame();  // false when the connection is gone
    void sendWanted(const Activity& activity);
    std::string activityBody(const Activity& activity) const;

    const Timing timing{};
    std::mutex controlMutex;  // one start() or stop() at a time; taken before mutex
    std::string applicationId;
    int64_t startSeconds = 0;
    std::thread worker;
    std::atomic<bool> running{false};
    std::atomic<bool> ready{false};
    Connection connection;       // the worker's
    Clock::time_point lastSend;  // the worker's; counts while hasSent
    bool hasSent = false;        // the worker's: on this connection

    std::mutex mutex;
    std::condition_variable changed;
    Activity wanted;         // guarded by mutex, as the rest
    bool hasWanted = false;  // set() has been called with something to show
    bool dirty = false;      // wanted is not what this connection was told last
};

}  // namespace mbdiscord
