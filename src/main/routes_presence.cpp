#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr const char* kProgram = "Marlin Bench";
constexpr const char* kIdle = "Idle";

std::string detailsFor(const Json& body, bool showFileNames) {
    const std::string& file = body["file"].asString();
    if (body["idle"].asBool() || file.empty()) return kIdle;
    return showFileNames ? "Editing " + mbutil::baseName(file) : "Editing";
}

Response presence(App& app, const Request& request) {
    const auto config = app.workspace.config();
    if (!config->discordPresence) {
        app.presence.set({"", "", kProgram});
        return okResponse();
    }
    const Json body = parseBody(request);
    app.presence.set(
        {detailsFor(body, config->discordShowFileNames), body["project"].asString(), kProgram});
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("connected", app.presence.isReady());
    return Response::json(answer.dump());
}

}  // namespace

bool applyPresence(App& app) {
    const auto config = app.workspace.config();
    const bool wanted = config->discordPresence && !config->discordAppId.empty();
    if (wanted && g_running)
        app.presence.start(config->discordAppId);
    else if (!config->discordPresence)
        app.presence.stop();
    return wanted;
}

void startPresence(App& app) {
    if (!applyPresence(app)) return;
    const auto config = app.workspace.config();
    app.presence.set({kIdle, config->roots.empty() ? "" : config->roots.front().name, kProgram});
}

void registerPresenceRoutes(App& app) { addRoute(app, "/api/presence", presence); }

}  // namespace mbapp
