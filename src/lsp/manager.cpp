// Servers by id. The lock covers the map; what takes time happens outside of it.

#include <algorithm>
#include <utility>

#include "lsp/lsp.hpp"
#include "util/util.hpp"

namespace mblsp {

using mbjson::Json;

namespace {

const ServerSpec* findRow(const std::string& id) {
    const std::vector<ServerSpec>& table = knownServers();
    const auto row = std::find_if(table.begin(), table.end(),
                                  [&](const ServerSpec& spec) { return spec.id == id; });
    return row == table.end() ? nullptr : &*row;
}

bool commandFor(const std::string& id, const std::string& custom, std::string& command,
                std::string& error) {
    if (!custom.empty()) {
        command = custom;
        return true;
    }
    const ServerSpec* row = findRow(id);
    std::string path;
    if (row && resolve(*row, path, command)) return true;
    error = row ? row->name + " is not installed" : "unknown language server: " + id;
    return false;
}

Json eventOf(const char* type, const std::string& id) {
    Json event = Json::object();
    event.set("type", type);
    event.set("server", id);
    return event;
}

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Without the halves of characters that may stand at its ends: the tail begins anywhere, and the
// server may be in the middle of writing.
std::string_view wholeCharacters(std::string_view tail) {
    for (int i = 0; i < 3 && !tail.empty() && continuesCharacter(tail.front()); ++i)
        tail.remove_prefix(1);
    size_t last = tail.size();
    for (int i = 0; i < 4 && last > 0; ++i) {
        const auto lead = static_cast<unsigned char>(tail[--last]);
        if (lead < 0x80) return tail;
        if (lead < 0xC0) continue;
        const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        return tail.size() - last < length ? tail.substr(0, last) : tail;
    }
    return tail;
}

// A character that was cut does not make a log one in another encoding.
std::string logText(const std::string& tail) {
    const std::string_view whole = wholeCharacters(tail);
    std::string text = mbutil::toUtf8Lenient(std::string(whole));
    return text == whole ? text : mbutil::toUtf8Lenient(tail);
}

Json rowJson(const ServerSpec& spec, const std::string& custom, bool running) {
    Json row = Json::object();
    row.set("id", spec.id);
    row.set("name", spec.name);
    Json languages = Json::array();
    for (const std::string& language : spec.languages) languages.push(language);
    row.set("languages", std::move(languages));
    std::string path, command;
    const bool available = !custom.empty() || resolve(spec, path, command);
    row.set("available", available);
    if (available) row.set("path", mbutil::toUtf8Lenient(path));
    row.set("running", running);
    row.set("install", spec.install);
    row.set("homepage", spec.homepage);
    return row;
}

}  // namespace

bool Manager::ensure(const std::string& id, const std::string& cwd, const std::string& custom,
                     std::string& error) {
    std::unique_lock lock(mutex);
    idle.wait(lock, [&] { return !busy.contains(id); });
    const auto found = servers.find(id);
    const std::shared_ptr<Server> before = found == servers.end() ? nullptr : found->second;
    if (before && before->isRunning()) return true;
    busy.insert(id);
    lock.unlock();
    // The page is told of its exit before it hears the next one.
    if (before) before->stop();
    std::shared_ptr<Server> started = launch(id, cwd, custom, error);
    const bool success = started != nullptr;
    lock.lock();
    if (success) servers[id] = std::move(started);
    busy.erase(id);
    idle.notify_all();
    return success;
}

std::shared_ptr<Server> Manager::launch(const std::string& id, const std::string& cwd,
                                        const std::string& custom, std::string& error) const {
    std::string command;
    if (!commandFor(id, custom, command, error)) return nullptr;
    const auto onMessage = [id, push = emit](std::string body) {
        if (!push) return;
        Json event = eventOf("lsp.message", id);
        event.set("message", mbutil::toUtf8Lenient(std::move(body)));
        push(event);
    };
    const auto onExit = [id, push = emit](int code) {
        if (!push) return;
        Json event = eventOf("lsp.exit", id);
        event.set("code", code);
        push(event);
    };
    auto server = std::make_shared<Server>();
    return server->start(command, cwd, onMessage, onExit, error) ? server : nullptr;
}

bool Manager::send(const std::string& id, std::string_view body) {
    const std::shared_ptr<Server> server = find(id);
    return server && server->send(body);
}

void Manager::stop(const std::string& id) {
    std::unique_lock lock(mutex);
    idle.wait(lock, [&] { return !busy.contains(id); });
    Servers taken;
    taken.insert(servers.extract(id));
    end(taken, lock);
}

void Manager::stopAll() {
    std::unique_lock lock(mutex);
    idle.wait(lock, [this] { return busy.empty(); });
    Servers taken;
    taken.swap(servers);
    end(taken, lock);
}

// Lets go of the lock meanwhile.
void Manager::end(const Servers& taken, std::unique_lock<std::mutex>& lock) {
    for (const auto& [id, server] : taken) busy.insert(id);
    lock.unlock();
    for (const auto& [id, server] : taken) server->hangUp();
    // One deadline for all: those that ignore the signal ignore it at the same time.
    const auto deadline = std::chrono::steady_clock::now() + Server::kPoliteTime;
    for (const auto& [id, server] : taken) server->awaitEnd(deadline);
    lock.lock();
    for (const auto& [id, server] : taken) busy.erase(id);
    idle.notify_all();
}

bool Manager::running(const std::string& id) const {
    const std::shared_ptr<Server> server = find(id);
    return server && server->isRunning();
}

std::string Manager::log(const std::string& id) const {
    const std::shared_ptr<Server> server = find(id);
    return server ? logText(server->recentLog()) : "";
}

Json Manager::serversJson(const Json& customCommands) const {
    Json rows = Json::array();
    for (const ServerSpec& spec : knownServers())
        rows.push(rowJson(spec, customCommands[spec.id].asString(), running(spec.id)));
    return rows;
}

std::shared_ptr<Server> Manager::find(const std::string& id) const {
    const std::lock_guard lock(mutex);
    const auto found = servers.find(id);
    return found == servers.end() ? nullptr : found->second;
}

}  // namespace mblsp
