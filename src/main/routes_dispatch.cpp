#include <utility>

#include "agent/launch.hpp"
#include "dispatch/requests.hpp"
#include "main/routes.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr const char* kLimitKey = "dispatchLimit";  // in the settings' object "claude"

Response done(bool succeeded, int status, const std::string& error) {
    return succeeded ? okResponse() : Response::error(status, error);
}

Response list(App& app, const Request&) {
    Json roots = Json::array();
    for (const mbindex::Root& root : app.workspace.config()->roots) {
        Json row = Json::object();
        row.set("name", utf8Path(root.name));
        row.set("git", mbdispatch::hasGit(root.path));
        roots.push(std::move(row));
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("tasks", app.dispatch.list());
    answer.set("limit", app.dispatch.maxRunning());
    answer.set("roots", std::move(roots));
    return Response::json(answer.dump());
}

Response create(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string folder = rootPathFor(app, body["root"].asString());
    std::string error;
    const std::vector<std::string> made =
        app.dispatch.create(mbdispatch::readCreateRequest(body, folder), error);
    if (made.empty()) return Response::error(400, error);
    Json ids = Json::array();
    for (const std::string& id : made) ids.push(id);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("ids", std::move(ids));
    return Response::json(answer.dump());
}

Response send(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::string error;
    return done(app.dispatch.send(body["id"].asString(), body["text"].asString(), error), 400,
                error);
}

// As the chat's, but the CLI is neither interrupted nor given rules to remember.
Response permission(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& behavior = body["behavior"].asString();
    if (behavior != "allow" && behavior != "deny") return Response::error(400, "allow or deny");
    Json given = Json::object();
    for (const char* key : {"requestId", "behavior", "input", "message"})
        if (body.has(key)) given.set(key, body[key]);
    std::string error;
    return done(app.dispatch.respond(body["id"].asString(), permissionAnswer(given).dump(), error),
                409, error);
}

Response control(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& subtype = body["request"]["subtype"].asString();
    if (subtype != "set_permission_mode" && subtype != "interrupt")
        return Response::error(400, "unsupported control request");
    std::string error;
    return done(app.dispatch.control(body["id"].asString(), body["request"].dump(), error), 409,
                error);
}

Response stop(App& app, const Request& request) {
    std::string error;
    return done(app.dispatch.stop(parseBody(request)["id"].asString(), error), 400, error);
}

Response diff(App& app, const Request& request) {
    std::string error;
    Json answer = app.dispatch.diff(request.param("id"), error);
    if (!answer.isObject()) return Response::error(400, error);
    answer.set("ok", true);
    return Response::json(answer.dump());
}

Response merge(App& app, const Request& request) {
    std::string error;
    return done(app.dispatch.merge(parseBody(request)["id"].asString(), error), 409, error);
}

Response discard(App& app, const Request& request) {
    std::string error;
    return done(app.dispatch.discard(parseBody(request)["id"].asString(), error), 400, error);
}

Response limit(App& app, const Request& request) {
    app.dispatch.setMaxRunning(mbdispatch::readLimit(parseBody(request)["limit"]));
    mbws::Config next = *app.workspace.config();
    if (!next.claude.isObject()) next.claude = Json::object();
    next.claude.set(kLimitKey, app.dispatch.maxRunning());
    app.workspace.setConfig(std::move(next));
    (void)app.workspace.saveConfig(app.configPath);
    return okResponse();
}

}  // namespace

void registerDispatchRoutes(App& app) {
    app.dispatch.init([&app](const Json& event) { app.push(event); },
                      [&app](const std::string& folder) {
                          const auto config = app.workspace.config();
                          return mbagent::baseAgentOptions(config->claude, config->claudeCommand,
                                                           folder);
                      });
    app.dispatch.setMaxRunning(mbdispatch::readLimit(app.workspace.config()->claude[kLimitKey]));
    addRoute(app, "/api/dispatch/list", list);
    addRoute(app, "/api/dispatch/create", create);
    addRoute(app, "/api/dispatch/send", send);
    addRoute(app, "/api/dispatch/permission", permission);
    addRoute(app, "/api/dispatch/control", control);
    addRoute(app, "/api/dispatch/stop", stop);
    addRoute(app, "/api/dispatch/diff", diff);
    addRoute(app, "/api/dispatch/merge", merge);
    addRoute(app, "/api/dispatch/discard", discard);
    addRoute(app, "/api/dispatch/limit", limit);
}

}  // namespace mbapp
