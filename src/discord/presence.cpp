#include <unistd.h>

#include <system_error>

#include "discord/discord.hpp"
#include "util/util.hpp"
#include "json/json.hpp"

namespace mbdiscord {

using mbjson::Json;

namespace {

constexpr uint32_t kBodyLimit = 1048576;  // a body from here on is not read

}  // namespace

void Presence::start(const std::string& id) {
    if (id.empty()) return;
    const std::lock_guard control(controlMutex);
    if (running.exchange(true)) return;
    applicationId = id;
    startSeconds = std::chrono::duration_cast<std::chrono::seconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
    try {
        worker = std::thread(&Presence::run, this);
    } catch (const std::system_error&) {
        running = false;  // an ornament: no thread to be had is no news either
    }
}

void Presence::stop() {
    const std::lock_guard control(controlMutex);
    {
        const std::lock_guard lock(mutex);
        if (!running.exchange(false)) return;
    }
    changed.notify_all();
    worker.join();
}

void Presence::set(const Activity& activity) {
    {
        const std::lock_guard lock(mutex);
        if (activity.details == wanted.details && activity.state == wanted.state) return;
        wanted = activity;
        hasWanted = true;
        dirty = true;
    }
    changed.notify_all();
}

void Presence::run() {
    while (running) {
        if (connection)
            serveConnection();
        else if (!connect())
            rest(timing.reconnect);
    }
    if (ready) (void)connection.send(Opcode::Close, "{}");
    disconnect();
}

void Presence::serveConnection() {
    drainIncoming();
    if (!ready) {
        rest(timing.handshake);
        return;
    }
    waitForWork(timing.interval);
    Activity next;
    {
        const std::lock_guard lock(mutex);
        if (!dirty || !running) return;
        next = wanted;
    }
    const auto since = Clock::now() - lastSend;
    if (hasSent && since < timing.interval)
        // Rounded up, so that the next round is not a moment early and waits again.
        rest(std::chrono::ceil<std::chrono::milliseconds>(timing.interval - since));
    else
        sendWanted(next);
}

void Presence::waitForWork(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex);
    (void)changed.wait_for(lock, limit, [this] { return dirty || !running; });
}

void Presence::rest(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex);
    (void)changed.wait_for(lock, time, [this] { return !running; });
}

bool Presence::connect() {
    Json hello = Json::object();
    hello.set("v", 1);
    hello.set("client_id", applicationId);
    const std::string body = mbutil::toUtf8Strict(hello.dump());
    for (const std::string& path : candidatePaths()) {
        if (!running) return false;
        if (!connection.open(path)) continue;
        if (connection.send(Opcode::Handshake, body)) {
            hasSent = false;
            const std::lock_guard lock(mutex);
            // Whatever the connection before was told, this one knows nothing yet.
            dirty = hasWanted;
            return true;
        }
        connection.close();
    }
    return false;
}

void Presence::disconnect() {
    connection.close();
    ready = false;
}

void Presence::drainIncoming() {
    while (connection && running)
        if (!takeFrame()) return;
}

// False when there is no whole header to read now.
bool Presence::takeFrame() {
    const int waiting = connection.waiting();
    Connection::Header header;
    std::string body;
    if (waiting >= 0 && waiting < 8) {
        if (connection.ended()) disconnect();
        return false;
    }
    if (waiting < 0 || !connection.readHeader(header)) {
        disconnect();
        return false;
    }
    if (header.length > 0 && header.length < kBodyLimit) {
        body.resize(header.length);
        if (!connection.readExactly(body.data(), body.size())) {
            disconnect();
            return false;
        }
    }
    switch (static_cast<Opcode>(header.opcode)) {
    case Opcode::Ping:
        (void)connection.send(Opcode::Pong, body);
        break;
    case Opcode::Close:
        disconnect();
        break;
    case Opcode::Frame:
        if (Json::parseText(body)["evt"].asString() == "READY") ready = true;
        break;
    default:
        break;
    }
    return true;
}

void Presence::sendWanted(const Activity& activity) {
    if (!connection.send(Opcode::Frame, activityBody(activity))) {
        disconnect();
        return;
    }
    lastSend = Clock::now();
    hasSent = true;
    const std::lock_guard lock(mutex);
    dirty = !(wanted == activity);
}

std::string Presence::activityBody(const Activity& activity) const {
    Json timestamps = Json::object();
    timestamps.set("start", startSeconds);
    Json assets = Json::object();
    assets.set("large_image", "logo");
    assets.set("large_text", activity.largeText.empty() ? "Marlin Bench" : activity.largeText);
    Json shown = Json::object();
    if (!activity.details.empty()) shown.set("details", activity.details);
    if (!activity.state.empty()) shown.set("state", activity.state);
    shown.set("timestamps", std::move(timestamps));
    shown.set("assets", std::move(assets));
    Json args = Json::object();
    args.set("pid", static_cast<int>(::getpid()));
    args.set("activity", std::move(shown));
    Json body = Json::object();
    body.set("cmd", "SET_ACTIVITY");
    body.set("args", std::move(args));
    body.set("nonce", mbutil::randomToken(8));
    return mbutil::toUtf8Strict(body.dump());
}

}  // namespace mbdiscord
