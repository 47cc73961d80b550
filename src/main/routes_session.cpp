#include "main/desktop.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"
#include "win/win.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr size_t kUiStateLimit = 524288;  // bytes; more is refused

// A key that is there but is no boolean counts as true.
void takeBool(const Json& body, const char* key, bool& value) {
    if (body.has(key)) value = body[key].asBool(true);
}

void changeConfig(const Json& body, mbws::Config& config) {
    if (!body.isObject()) return;
    takeBool(body, "discordPresence", config.discordPresence);
    takeBool(body, "discordShowFileNames", config.discordShowFileNames);
    takeBool(body, "automaticUpdates", config.automaticUpdates);
    if (body.has("updateChannel"))
        config.updateChannel = body["updateChannel"].asString() == "beta" ? "beta" : "stable";
    if (body["claude"].isObject()) config.claude = body["claude"];
    if (!body.has("claudeCommand")) return;
    config.claudeCommand = mbutil::trim(body["claudeCommand"].asString());
    if (config.claudeCommand.empty()) config.claudeCommand = "claude";
}

Response config(App& app, const Request& request) {
    mbws::Config next = *app.workspace.config();
    changeConfig(parseBody(request), next);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("config", next.toJson());
    app.workspace.setConfig(std::move(next));
    (void)app.workspace.saveConfig(app.configPath);
    applyUpdateChannel(app);
    (void)applyPresence(app);
    return Response::json(answer.dump());
}

// The page's own storage: bytes that are never looked into.
Response uiState(App& app, const Request& request) {
    const std::string path = mbutil::pathJoin(mbutil::dirName(app.configPath), "ui-state.json");
    if (request.method != "POST") {
        std::string stored;
        if (!mbutil::readFileRaw(path, stored) || stored.empty()) stored = "{}";
        return Response::json(std::move(stored));
    }
    if (request.body.size() > kUiStateLimit) return Response::error(413, "ui state too large");
    if (!mbutil::writeFileRaw(path, request.body))
        return Response::error(500, "could not write ui-state.json");
    return okResponse();
}

Response state(App& app, const Request&) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("config", app.workspace.config()->toJson());
    answer.set("index", app.index.statsJson());
    answer.set("version", kVersion);
    answer.set("presenceConnected", app.presence.isReady());
    answer.set("pendingOpen", app.drainPendingOpen());
    return Response::json(answer.dump());
}

Response shutdown(App&, const Request&) {
    // Order matters: main looks at g_running after it has set g_host, so one of the two is seen.
    g_running = false;
    if (mbwin::Host* host = g_host) host->quit();
    return okResponse();
}

Response window(App&, const Request& request) {
    mbwin::Host* host = g_host;
    if (host == nullptr) return Response::error(503, "the window is not ready");
    const std::string command = parseBody(request)["cmd"].asString();
    if (command == "state") return Response::json(windowState().dump());
    host->windowCommand(command);
    return okResponse();
}

Response browser(App&, const Request& request) {
    const Json body = parseBody(request);
    if (body["cmd"].asString() != "external") {
        mbwin::Host* host = g_host;
        if (host == nullptr) return Response::error(503, "the window is not ready");
        host->browserCommand(body.dump());
        return okResponse();
    }
    const std::string url = body["url"].asString();
    if (!mbwin::isWeb(url)) return Response::error(400, "only web addresses can be opened");
    openWithDesktop(url);
    return okResponse();
}

bool isArtifactName(const std::string& path) {
    const std::string lower = mbutil::lowerCase(path);
    for (const char* ending : {".html", ".htm", ".svg", ".md"})
        if (mbutil::endsWith(lower, ending)) return true;
    return false;
}

Response artifactOpen(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::string target = body["url"].asString();
    if (target.empty()) {
        const std::string path = body["path"].asString();
        if (!isArtifactName(path) || !app.workspace.resolveInside(path, target) ||
            !mbutil::fileExists(target))
            return Response::error(400, "save the artifact to the workspace first");
    } else if (!mbutil::startsWith(target, "http://localhost:") &&
               !mbutil::startsWith(target, "http://127.0.0.1:")) {
        return Response::error(400, "only local http addresses can be opened");
    }
    openWithDesktop(target);
    return okResponse();
}

}  // namespace

void registerSessionRoutes(App& app) {
    addRoute(app, "/api/config", config);
    addRoute(app, "/api/ui-state", uiState);
    addRoute(app, "/api/state", state);
    addRoute(app, "/api/shutdown", shutdown);
    addRoute(app, "/api/artifact/open", artifactOpen);
    addRoute(app, "/api/browser", browser);
    addRoute(app, "/api/window", window);
}

}  // namespace mbapp
