#include "main/app.hpp"

#include <sys/stat.h>

#include <algorithm>
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

// What runs on threads of its own pushes to the server, which is destroyed before it.
App::~App() {
    server.stop();
    watcher.stop();
    index.endScan();
}

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
    if (rootsChanged) {
        watchRoots();
        startIndex();
    }
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

void App::watchRoots() {
    const std::lock_guard<std::mutex> lock(watchMutex);
    watcher.reset();
    if (!g_running || !fsChangedHandler) return;
    for (const mbindex::Root& root : workspace.config()->roots) watcher.watch(root.path);
    watcher.start(fsChangedHandler);
}

void App::startIndex() {
    if (!g_running) return;
    index.setRoots(workspace.config()->roots);
    index.rescanAsync([this](const std::string& phase, int done, int total) {
        Json event = Json::object();
        event.set("type", "index.progress");
        event.set("phase", phase);
        event.set("done", done);
        event.set("total", total);
        if (phase == "done") event.set("stats", index.statsJson());
        push(event);
    });
}

void App::findRepositories() {
    for (const mbindex::Root& root : workspace.config()->roots) {
        const std::string repository = mbgit::discoverRoot(root.path);
        const bool known = std::any_of(repoRoots.begin(), repoRoots.end(),
                                       [&](const auto& one) { return one.root == repository; });
        if (!repository.empty() && !known) repoRoots.push_back({root.name, repository});
    }
}

std::string App::repoRootFor(const std::string& name) const {
    for (const mbgit::Repository& one : repoRoots)
        if (one.name == name) return one.root;
    return repoRoots.empty() ? "" : repoRoots.front().root;
}

void App::reindex(const std::string& path) {
    std::string full;
    if (workspace.resolveInside(path, full)) index.reindexFile(full);
}

void App::unindex(const std::string& path) {
    std::string full;
    if (workspace.resolveInside(path, full)) index.removeFile(full);
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
    Json body = Json::parseText(request.body, &ok);
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
