#include "main/app.hpp"

#include <sys/stat.h>

#include <stdexcept>
#include <utility>

#include "util/util.hpp"
#include "win/win.hpp"

namespace mbapp {

using mbjson::Json;

std::atomic<bool> g_running{true};
std::atomic<mbwin::Host*> g_host{nullptr};

namespace {

std::string posixCanonical(const std::string& path) {
    return mbutil::toPosixPath(mbutil::canonical(path));
}

// Unique among the roots regardless of case: "app", "App-2", "app-3".
std::string freeRootName(const std::vector<mbindex::Root>& roots, const std::string& folder) {
    // The page addresses files by this name, and its own texts are always UTF-8.
    std::string base = mbutil::toUtf8Lenient(mbutil::baseName(folder));
    if (base.empty()) base = "folder";
    const auto taken = [&](const std::string& candidate) {
        for (const mbindex::Root& root : roots)
            if (mbutil::lowerCase(root.name) == mbutil::lowerCase(candidate)) return true;
        return false;
    };
    std::string candidate = base;
    for (int counter = 2; taken(candidate); ++counter)
        candidate = base + "-" + std::to_string(counter);
    return candidate;
}

// Null for a path that does not exist or cannot be placed under a root.
Json openTarget(App& app, const std::string& path, bool& rootsChanged) {
    struct stat info = {};
    const std::string posixPath = mbutil::toPosixPath(path);
    // A NUL would cut the path for the system and open something else.
    if (posixPath.find('\0') != std::string::npos) return {};
    if (::stat(posixPath.c_str(), &info) != 0) return {};
    bool created = false;
    std::string target;
    if (S_ISDIR(info.st_mode)) {
        target = app.ensureRoot(path, created);
    } else {
        const std::string file = posixCanonical(path);
        if (!app.workspace.toRelative(file, target)) {
            app.ensureRoot(mbutil::dirName(file), created);
            if (!app.workspace.toRelative(file, target)) return {};
        }
    }
    rootsChanged = rootsChanged || created;
    Json object = Json::object();
    object.set("path", utf8Path(target));
    object.set("directory", S_ISDIR(info.st_mode));
    return object;
}

}  // namespace

std::string App::ensureRoot(const std::string& path, bool& created) {
    created = false;
    const std::string key = posixCanonical(path);
    mbws::Config next = *workspace.config();
    for (const mbindex::Root& root : next.roots)
        if (posixCanonical(root.path) == key) return root.name;
    const std::string name = freeRootName(next.roots, key);
    next.roots.push_back({name, key});
    workspace.setConfig(std::move(next));
    // A settings file that cannot be written leaves the root in memory until the next save.
    (void)workspace.saveConfig(configPath);
    created = true;
    return name;
}

void App::requestOpen(const std::vector<std::string>& paths, bool queue) {
    Json targets = Json::array();
    bool rootsChanged = false;
    for (const std::string& path : paths) {
        Json target = openTarget(*this, path, rootsChanged);
        if (target.isObject()) targets.push(std::move(target));
    }
    if (targets.asArray().empty()) return;
    if (queue) {
        const std::lock_guard<std::mutex> lock(pendingMutex);
        for (const Json& target : targets.asArray()) pendingOpen.push_back(target);
    }
    Json event = Json::object();
    event.set("type", "open.request");
    event.set("targets", std::move(targets));
    event.set("rootsChanged", rootsChanged);
    push(event);
}

void App::push(const Json& event) { server.broadcast(mbutil::toUtf8Strict(event.dump())); }

Json App::drainPendingOpen() {
    std::vector<Json> taken;
    {
        const std::lock_guard<std::mutex> lock(pendingMutex);
        taken.swap(pendingOpen);
    }
    Json list = Json::array();
    for (Json& target : taken) list.push(std::move(target));
    return list;
}

Json parseBody(const mbnet::Request& request) {
    bool ok = false;
    Json body;
    try {
        body = Json::parse(request.body, &ok);
    } catch (const std::out_of_range&) {
        ok = false;  // a number that no double can hold: text that does not parse
    }
    return ok ? body : Json::object();
}

mbnet::Response okResponse() { return mbnet::Response::json(R"({"ok":true})"); }

std::string rootPathFor(const App& app, const std::string& name) {
    const auto config = app.workspace.config();
    for (const mbindex::Root& root : config->roots)
        if (root.name == name) return root.path;
    return config->roots.empty() ? "" : config->roots.front().path;
}

Json windowState() {
    const mbwin::Host* host = g_host;
    Json state = Json::object();
    state.set("ok", true);
    state.set("frameless", false);
    state.set("maximized", host != nullptr && host->isMaximized());
    state.set("active", host == nullptr || host->isFocused());
    return state;
}

Json unscannedIndex() {
    Json stats = Json::object();
    stats.set("files", 0);
    stats.set("truncated", false);
    stats.set("seconds", 0);
    stats.set("scanning", false);
    return stats;
}

Json utf8Path(std::string_view path) {
    std::string converted;
    for (const std::string& component : mbutil::split(path, '/')) {
        converted += mbutil::toUtf8Lenient(component);
        converted += '/';
    }
    converted.pop_back();
    return converted;
}

}  // namespace mbapp
