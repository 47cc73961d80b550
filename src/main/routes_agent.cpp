#include <utility>

#include "agent/launch.hpp"
#include "main/routes.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr const char* kNotRunning = "the Claude session is not running";
constexpr const char* kNotWritten = "could not write to the Claude session";
constexpr uint32_t kAuthTimeoutMs = 20000;

Json event(const char* type, const char* key, Json value) {
    Json object = Json::object();
    object.set("type", type);
    object.set(key, std::move(value));
    return object;
}

// Text of the child as a JSON string that may leave the process.
Json childText(const std::string& text) { return Json(mbutil::toUtf8Lenient(text)); }

Response written(bool whole) { return whole ? okResponse() : Response::error(500, kNotWritten); }

std::string stringOr(const Json& body, const Json& settings, const char* key,
                     const char* fallback) {
    if (body.has(key)) return body[key].asString();
    return settings[key].isString() ? settings[key].asString() : fallback;
}

mbagent::StartOptions chatOptions(const mbws::Config& config, const Json& body) {
    mbagent::StartOptions options;
    options.command = mbagent::resolveClaudeCommand(config.claudeCommand);
    if (!config.roots.empty()) options.cwd = config.roots.front().path;
    for (const mbindex::Root& root : config.roots)
        if (root.path != options.cwd) options.additionalDirectories.push_back(root.path);
    options.model = stringOr(body, config.claude, "model", "");
    if (options.model == "default") options.model.clear();
    options.permissionMode = stringOr(body, config.claude, "permissionMode", "acceptEdits");
    if (!mbagent::isPermissionMode(options.permissionMode)) options.permissionMode = "acceptEdits";
    options.resume = body["resume"].asString();
    for (const Json& entry : body["additionalDirectories"].asArray()) {
        const std::string folder = mbutil::trim(entry.asString());
        if (!folder.empty() && mbutil::dirExists(folder))
            options.additionalDirectories.push_back(folder);
    }
    options.extraArguments = mbagent::claudeArguments(config.claude);
    return options;
}

Response start(App& app, const Request& request) {
    Json answer = Json::object();
    answer.set("ok", true);
    if (app.agent.isRunning()) {
        answer.set("alreadyRunning", true);
        answer.set("sessionId", app.agent.sessionId);
        return Response::json(answer.dump());
    }
    const mbagent::StartOptions options = chatOptions(*app.workspace.config(), parseBody(request));
    std::string error;
    if (!app.agent.start(options, error)) return Response::error(500, error);
    answer.set("executable", mbutil::toUtf8Lenient(options.command));
    answer.set("cwd", mbutil::toUtf8Lenient(options.cwd));
    return Response::json(answer.dump());
}

bool isImageType(const std::string& type) {
    return type == "image/png" || type == "image/jpeg" || type == "image/gif" ||
           type == "image/webp";
}

// The content blocks of the images that can be used; an array, empty when there is none.
Json imageBlocks(const Json& images) {
    Json blocks = Json::array();
    for (const Json& image : images.asArray()) {
        const std::string& type = image["mediaType"].asString();
        const std::string& data = image["data"].asString();
        if (data.empty() || !isImageType(type)) continue;
        Json source = Json::object();
        source.set("type", "base64");
        source.set("media_type", type);
        source.set("data", data);
        Json block = Json::object();
        block.set("type", "image");
        block.set("source", std::move(source));
        blocks.push(std::move(block));
    }
    return blocks;
}

Response send(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& text = body["text"].asString();
    Json blocks = imageBlocks(body["images"]);
    const bool images = !blocks.asArray().empty();
    if (text.empty() && !images) return Response::error(400, "empty message");
    if (!app.agent.isRunning()) return Response::error(409, kNotRunning);
    if (!images) return written(app.agent.sendUserMessage(text));
    // The CLI expects words with an image.
    Json words = Json::object();
    words.set("type", "text");
    words.set("text", text.empty() ? "(see the image)" : text);
    blocks.push(std::move(words));
    return written(app.agent.sendUserContent(blocks.dump()));
}

bool isControlRequest(const std::string& subtype) {
    for (const char* known :
         {"set_model", "initialize", "interrupt", "get_usage", "get_context_usage"})
        if (subtype == known) return true;
    return false;
}

Response control(App& app, const Request& request) {
    const Json body = parseBody(request);
    const Json& wanted = body["request"];
    const std::string& subtype = wanted["subtype"].asString();
    if (subtype == "set_permission_mode") {
        if (!mbagent::isPermissionMode(wanted["mode"].asString()))
            return Response::error(400, "unknown permission mode");
    } else if (!isControlRequest(subtype)) {
        return Response::error(400, "unsupported control request: " + subtype);
    }
    if (!app.agent.isRunning()) return Response::error(409, kNotRunning);
    std::string id;
    if (!app.agent.sendControl(wanted.dump(), id)) return Response::error(500, kNotWritten);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("requestId", id);
    return Response::json(answer.dump());
}

Response permission(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& id = body["requestId"].asString();
    const std::string& behavior = body["behavior"].asString();
    if (id.empty() || (behavior != "allow" && behavior != "deny"))
        return Response::error(400, "a request id and allow or deny are required");
    if (!app.agent.isRunning()) return Response::error(409, kNotRunning);
    return written(app.agent.sendControlResponse(permissionAnswer(body).dump()));
}

Response interrupt(App& app, const Request&) {
    if (!app.agent.isRunning()) return Response::error(409, kNotRunning);
    return written(app.agent.interrupt());
}

Response stop(App& app, const Request&) {
    app.agent.stop();
    return okResponse();
}

Response status(App& app, const Request&) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("running", app.agent.isRunning());
    answer.set("sessionId", app.agent.sessionId);
    answer.set("executable", mbutil::toUtf8Lenient(mbagent::resolveClaudeCommand(
                                 app.workspace.config()->claudeCommand)));
    return Response::json(answer.dump());
}

// What stands before the first brace is a banner. Null when there is no JSON behind it.
Json jsonBehindBanner(const std::string& text) {
    const size_t brace = text.find('{');
    if (brace == std::string::npos) return {};
    return Json::parseText(std::string_view(text).substr(brace));
}

Response auth(App& app, const Request&) {
    const std::string command =
        mbagent::resolveClaudeCommand(app.workspace.config()->claudeCommand);
    if (command.empty()) return Response::error(500, "the Claude CLI could not be found");
    mbproc::Options options;
    options.timeoutMs = kAuthTimeoutMs;
    const Json told =
        jsonBehindBanner(mbproc::run(mbproc::quote(command) + " auth status", options).out);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("known", told.isObject());
    answer.set("loggedIn", told["loggedIn"].asBool());
    answer.set("authMethod", childText(told["authMethod"].asString()));
    answer.set("email", childText(told["email"].asString()));
    answer.set("subscription", childText(told["subscriptionType"].asString()));
    return Response::json(answer.dump());
}

}  // namespace

// A denial travels as a success too: the question was answered, `behavior` says how.
Json permissionAnswer(const Json& body) {
    Json response = Json::object();
    response.set("behavior", body["behavior"].asString());
    if (body["behavior"].asString() == "deny") {
        const Json& message = body["message"];
        response.set("message", message.isString() ? message : Json("The user declined this."));
        if (body["interrupt"].asBool()) response.set("interrupt", true);
    } else {
        response.set("updatedInput", body["input"].isObject() ? body["input"] : Json::object());
        if (body["updatedPermissions"].isArray())
            response.set("updatedPermissions", body["updatedPermissions"]);
    }
    Json envelope = Json::object();
    envelope.set("subtype", "success");
    envelope.set("request_id", body["requestId"].asString());
    envelope.set("response", std::move(response));
    return envelope;
}

void registerAgentRoutes(App& app) {
    app.agent.onLine = [&app](const std::string& line) {
        app.push(event("agent.event", "line", childText(line)));
    };
    app.agent.onStderr = [&app](const std::string& text) {
        app.push(event("agent.stderr", "text", childText(text)));
    };
    app.agent.onExit = [&app](int code) { app.push(event("agent.exit", "code", code)); };
    addRoute(app, "/api/agent/start", start);
    addRoute(app, "/api/agent/send", send);
    addRoute(app, "/api/claude/auth", auth);
    addRoute(app, "/api/agent/control", control);
    addRoute(app, "/api/agent/permission", permission);
    addRoute(app, "/api/agent/interrupt", interrupt);
    addRoute(app, "/api/agent/stop", stop);
    addRoute(app, "/api/agent/status", status);
}

}  // namespace mbapp
