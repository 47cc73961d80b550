#include "main/routes.hpp"

namespace mbapp {

using mbnet::Request;
using mbnet::Response;

namespace {

// The actions only start things, whose course the page hears of by "update.state".
Response update(App& app, const Request& request) {
    const std::string& action = request.param("action");
    if (action == "check") app.updater.checkAsync(true);
    if (action == "check-quiet") app.updater.checkAsync(false);
    if (action == "download") app.updater.downloadAsync();
    if (action == "skip") app.updater.skipCurrentRelease();
    if (action == "apply" && !app.updater.applyAndRestart())
        return Response::error(409, "there is no verified download to install");
    return Response::json(mbupdate::updateStatusJson(app.updater.status()).dump());
}

}  // namespace

void applyUpdateChannel(App& app) {
    const bool beta = app.workspace.config()->updateChannel == "beta";
    app.updater.setChannel(beta ? mbupdate::Channel::Beta : mbupdate::Channel::Stable);
}

void registerUpdateRoutes(App& app) { addRoute(app, "/api/update", update); }

}  // namespace mbapp
