#include "main/routes.hpp"
#include "shell/shell.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

Response shellStatus(App&, const Request&) {
    const mbshell::ShellStatus status = mbshell::status();
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("registered", status.registered);
    answer.set("stale", status.stale);
    answer.set("registeredExecutable", utf8Path(status.registeredExecutable));
    answer.set("currentExecutable", utf8Path(status.currentExecutable));
    return Response::json(answer.dump());
}

Response shellRegister(App&, const Request&) {
    std::string error;
    return mbshell::registerShell(error) ? okResponse() : Response::error(500, error);
}

// A success in every case: what the page wants is an entry that no longer serves, and the status
// tells whether there is one.
Response shellUnregister(App&, const Request&) {
    std::string error;
    (void)mbshell::unregisterShell(error);
    return okResponse();
}

// Holds its connection for as long as the dialog is open.
Response pickFolder(App&, const Request&) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("path", utf8Path(mbshell::pickFolder()));
    return Response::json(answer.dump());
}

}  // namespace

void registerShellRoutes(App& app) {
    addRoute(app, "/api/shell/status", shellStatus);
    addRoute(app, "/api/shell/register", shellRegister);
    addRoute(app, "/api/shell/unregister", shellUnregister);
    addRoute(app, "/api/shell/pick-folder", pickFolder);
}

}  // namespace mbapp
