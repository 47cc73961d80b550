#include <cstdlib>
#include <utility>

#include "agent/launch.hpp"
#include "main/routes.hpp"
#include "proc/proc.hpp"
#include "term/shell.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

// The first root's folder, unless the body names a place inside the workspace: a folder, or a file
// to open the terminal beside.
std::string folderFor(const App& app, const Json& body) {
    const auto config = app.workspace.config();
    std::string folder = config->roots.empty() ? "" : config->roots.front().path;
    std::string wanted;
    if (!body.has("cwd") || !app.workspace.resolveInside(body["cwd"].asString(), wanted))
        return folder;
    return mbutil::dirExists(wanted) ? wanted : mbutil::dirName(wanted);
}

// A path is one word to the shell, whatever blanks it holds; any other setting runs as it stands.
std::string claudeLine(const std::string& command) {
    return mbutil::fileExists(command) ? mbproc::quote(command) : command;
}

std::string commandFor(const App& app, const std::string& kind,
                       std::map<std::string, std::string>& env) {
    const auto config = app.workspace.config();
    if (kind == "claude") return claudeLine(mbagent::resolveClaudeCommand(config->claudeCommand));
    const char* shell = std::getenv("SHELL");
    return mbterm::integrateShell(
        mbterm::chooseShell(config->shellCommand, shell ? shell : "", mbterm::loginShell()),
        mbagent::integrationFolder, env);
}

void pushOutput(App& app, const std::string& id, const std::string& bytes) {
    Json event = Json::object();
    event.set("type", "terminal.data");
    event.set("id", id);
    event.set("data", mbutil::toUtf8Lenient(bytes));
    app.push(event);
}

void pushExit(App& app, const std::string& id, int32_t code) {
    Json event = Json::object();
    event.set("type", "terminal.exit");
    event.set("id", id);
    event.set("code", code);
    app.push(event);
}

Response create(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string kind = body["kind"].isString() ? body["kind"].asString() : "shell";
    mbterm::SpawnOptions options;
    options.cols = body["cols"].asInt(120);
    options.rows = body["rows"].asInt(30);
    options.cwd = folderFor(app, body);
    options.command = commandFor(app, kind, options.env);
    std::string error;
    const std::string id = app.terminals.create(
        options,
        [&app](const std::string& from, const std::string& bytes) { pushOutput(app, from, bytes); },
        [&app](const std::string& from, int32_t code) { pushExit(app, from, code); }, error);
    if (id.empty()) return Response::error(500, error);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("id", id);
    answer.set("kind", kind);
    answer.set("command", mbutil::toUtf8Lenient(options.command));
    answer.set("cwd", mbutil::toUtf8Lenient(options.cwd));
    return Response::json(answer.dump());
}

Response input(App& app, const Request& request) {
    const Json body = parseBody(request);
    Json answer = Json::object();
    answer.set("ok", app.terminals.write(body["id"].asString(), body["data"].asString()));
    return Response::json(answer.dump());
}

Response resize(App& app, const Request& request) {
    const Json body = parseBody(request);
    app.terminals.resize(body["id"].asString(), body["cols"].asInt(120), body["rows"].asInt(30));
    return okResponse();
}

Response kill(App& app, const Request& request) {
    app.terminals.kill(parseBody(request)["id"].asString());
    return okResponse();
}

}  // namespace

void registerTerminalRoutes(App& app) {
    addRoute(app, "/api/terminal/create", create);
    addRoute(app, "/api/terminal/input", input);
    addRoute(app, "/api/terminal/resize", resize);
    addRoute(app, "/api/terminal/kill", kill);
}

}  // namespace mbapp
