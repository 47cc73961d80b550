#include "main/events.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "shell/shell.hpp"
#include "util/util.hpp"
#include "win/win.hpp"

namespace mbapp {

using mbjson::Json;

namespace {

constexpr size_t kReportedChanges = 200;  // paths that an event names

Json event(const char* type) {
    Json object = Json::object();
    object.set("type", type);
    return object;
}

void pushDrop(App& app, const std::vector<std::string>& paths, int32_t x, int32_t y) {
    Json list = Json::array();
    for (const std::string& path : paths) list.push(utf8Path(mbutil::toPosixPath(path)));
    Json dropped = event("files.dropped");
    dropped.set("paths", std::move(list));
    dropped.set("x", x);
    dropped.set("y", y);
    app.push(dropped);
}

// A missing path may have been a folder, and so may one that is a folder again: what lay below it
// leaves the index. Files of a folder that was moved here come with the next scan.
void updateIndex(App& app, const std::string& path) {
    struct stat info = {};
    if (::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode))
        app.index.reindexFile(path);
    else
        app.index.removeFile(path);
}

// A page that no longer reads holds up whoever pushes to it, and so the services that are being
// stopped, whose last events wait for it. When they take longer than they ever should, the page's
// connection is cut, which frees them.
class StallGuard {
public:
    explicit StallGuard(mbnet::Server& server) {
        try {
            thread = std::thread([this, &server] {
                std::unique_lock lock(mutex);
                if (!changed.wait_for(lock, kPatience, [this] { return done; })) server.stop();
            });
        } catch (const std::system_error&) {
            // Without a thread to be had the stop goes unguarded.
        }
    }
    StallGuard(const StallGuard&) = delete;
    StallGuard& operator=(const StallGuard&) = delete;
    ~StallGuard() {
        {
            const std::lock_guard lock(mutex);
            done = true;
        }
        changed.notify_all();
        if (thread.joinable()) thread.join();
    }

private:
    // More than a session (3.5 s), terminals (1 s) and language servers (1 s) that ignore every
    // polite word take. Of background tasks as stubborn the page misses the end.
    static constexpr std::chrono::seconds kPatience{6};

    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;  // guarded by mutex
    std::thread thread;
};

}  // namespace

void filesChanged(App& app, const std::vector<std::string>& paths) {
    Json list = Json::array();
    for (size_t i = 0; i < std::min(paths.size(), kReportedChanges); ++i) {
        std::string relative;
        list.push(utf8Path(app.workspace.toRelative(paths[i], relative) ? relative : paths[i]));
    }
    for (const std::string& path : paths) updateIndex(app, path);
    Json changed = event("fs.changed");
    changed.set("paths", std::move(list));
    changed.set("count", paths.size());
    app.push(changed);
}

void stopServices(App& app) {
    g_running = false;
    const StallGuard guard(app.server);
    {
        const std::lock_guard lock(app.watchMutex);
        app.watcher.stop();
    }
    app.index.endScan();
    mbshell::endPicking();
    app.agent.stop();
    app.dispatch.shutdown();
    app.terminals.killAll();
    app.lsp.stopAll();
    app.presence.stop();
    app.server.stop();
}

void connectHostEvents(App& app, mbwin::Host& host) {
    host.onClose = [&app] { stopServices(app); };
    host.onOpenPaths = [&app](const std::vector<std::string>& paths) {
        app.requestOpen(paths, false);
    };
    host.onWindowStateChanged = [&app] {
        Json state = windowState();
        state.set("type", "window.state");
        app.push(state);
    };
    host.onBrowserEvent = [&app](const std::string& json) {
        Json report = Json::parseText(json);
        report.set("type", "browser.event");
        app.push(report);
    };
    host.beforeClose = [] { mbshell::cancelPicking(); };
    host.onDragActive = [&app](bool active) {
        Json state = event("drag.state");
        state.set("active", active);
        app.push(state);
    };
    host.onDragOver = [&app](int32_t x, int32_t y) {
        Json over = event("drag.over");
        over.set("x", x);
        over.set("y", y);
        app.push(over);
    };
    host.onDropPaths = [&app](const std::vector<std::string>& paths, int32_t x, int32_t y) {
        pushDrop(app, paths, x, y);
    };
}

}  // namespace mbapp
