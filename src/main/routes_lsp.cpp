#include <utility>

#include "main/routes.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

Response servers(App& app, const Request&) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("servers", app.lsp.serversJson(app.workspace.config()->languageServers));
    return Response::json(answer.dump());
}

// All servers run in the first root: the page tells each of them about the folders.
Response start(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& id = body["server"].asString();
    if (body["restart"].asBool()) app.lsp.stop(id);
    const auto config = app.workspace.config();
    const std::string custom = config->languageServers[id].asString();
    const std::string folder = config->roots.empty() ? "" : config->roots.front().path;
    std::string error;
    if (!app.lsp.ensure(id, folder, custom, error)) return Response::error(400, error);
    return okResponse();
}

Response send(App& app, const Request& request) {
    const Json body = parseBody(request);
    const Json& message = body["message"];
    if (!message.isObject() || !app.lsp.send(body["server"].asString(), message.dump()))
        return Response::error(409, mblsp::kNotRunning);
    return okResponse();
}

Response stop(App& app, const Request& request) {
    app.lsp.stop(parseBody(request)["server"].asString());
    return okResponse();
}

Response log(App& app, const Request& request) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("log", app.lsp.log(request.param("server")));
    return Response::json(answer.dump());
}

}  // namespace

void registerLspRoutes(App& app) {
    app.lsp.emit = [&app](const Json& event) { app.push(event); };
    addRoute(app, "/api/lsp/servers", servers);
    addRoute(app, "/api/lsp/start", start);
    addRoute(app, "/api/lsp/send", send);
    addRoute(app, "/api/lsp/stop", stop);
    addRoute(app, "/api/lsp/log", log);
}

}  // namespace mbapp
