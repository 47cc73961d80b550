#include "bridge.hpp"

#include <stdexcept>
#include <utility>

#include "main/routes.hpp"

namespace mbtest {

using mbjson::Json;

namespace {

constexpr const char* kToken = "0123456789abcdef";

}  // namespace

Json Answer::json() const {
    try {
        return Json::parse(body);
    } catch (const std::out_of_range&) {
        return {};
    }
}

Bridge::Bridge()
    : environment({{"HOME", dir.mkdir("home")},
                   {"XDG_CONFIG_HOME", std::nullopt},
                   {"XDG_DATA_HOME", std::nullopt},
                   {"XDG_CACHE_HOME", std::nullopt},
                   {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}}) {
    dir.mkdir("config");
    app.configPath = dir.at("config/marlin-bench.json");
    app.server.token = kToken;
    mbapp::registerRoutes(app);
    app.server.start(0);
}

// A connection that idles does not hold the end, a handler that runs must.
Bridge::~Bridge() {
    app.server.stop();
    app.server.waitForHandlers(10000);
}

std::string Bridge::addRoot(const std::string& name) {
    const std::string folder = dir.mkdir(name);
    mbws::Config next = *app.workspace.config();
    next.roots.push_back({name, folder});
    app.workspace.setConfig(std::move(next));
    return folder;
}

Answer Bridge::send(const std::string& method, const std::string& target, const std::string& body) {
    return sendAs(kToken, method, target, body);
}

Answer Bridge::sendAs(const std::string& token, const std::string& method,
                      const std::string& target, const std::string& body) {
    HttpClient client(app.server.boundPort(), token);
    HttpAnswer answer = client.request(method, target, {}, body, 60000);
    return {answer.status, std::move(answer.headers), std::move(answer.body)};
}

WsClient Bridge::events() {
    WsClient client(app.server.boundPort(), kToken);
    // The upgrade is answered before the connection is listed; a frame sent back to us proves it.
    client.send(9, "listed?");
    client.recvFrame();
    return client;
}

Json object(std::initializer_list<std::pair<const char*, Json>> fields) {
    Json value = Json::object();
    for (const auto& [key, field] : fields) value.set(key, field);
    return value;
}

Json list(std::initializer_list<Json> items) {
    Json value = Json::array();
    for (const Json& item : items) value.push(item);
    return value;
}

}  // namespace mbtest
