#include "main/events.hpp"

#include <utility>

#include "util/util.hpp"
#include "win/win.hpp"

namespace mbapp {

using mbjson::Json;

namespace {

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

}  // namespace

void stopServices(App& app) {
    g_running = false;
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
