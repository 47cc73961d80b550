#include <algorithm>
#include <utility>

#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

Response addFolder(App& app, const Request& request) {
    const std::string path = mbutil::toPosixPath(parseBody(request)["path"].asString());
    const bool cut = path.find('\0') != std::string::npos;
    if (path.empty() || cut || !mbutil::dirExists(path))
        return Response::error(400, "not a folder: " + path);
    bool created = false;
    const std::string name = app.ensureRoot(path, created);
    if (created) {
        app.watchRoots();
        app.startIndex();
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("name", utf8Path(name));
    answer.set("alreadyOpen", !created);
    return Response::json(answer.dump());
}

Response removeFolder(App& app, const Request& request) {
    const std::string name = parseBody(request)["name"].asString();
    mbws::Config next = *app.workspace.config();
    const size_t removed =
        std::erase_if(next.roots, [&](const mbindex::Root& root) { return root.name == name; });
    if (removed == 0) return Response::error(404, "no folder called " + name + " in the workspace");
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("config", next.toJson());
    app.workspace.setConfig(std::move(next));
    (void)app.workspace.saveConfig(app.configPath);
    app.watchRoots();
    app.startIndex();
    return Response::json(answer.dump());
}

Response open(App& app, const Request& request) {
    std::vector<std::string> paths;
    const Json body = parseBody(request);
    for (const Json& path : body["paths"].asArray())
        if (!path.asString().empty()) paths.push_back(path.asString());
    app.requestOpen(paths, false);
    return okResponse();
}

}  // namespace

void registerWorkspaceRoutes(App& app) {
    addRoute(app, "/api/workspace/add", addFolder);
    addRoute(app, "/api/workspace/remove", removeFolder);
    addRoute(app, "/api/open", open);
}

}  // namespace mbapp
