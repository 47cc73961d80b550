#include "support/inspector.hpp"

#include "support/support.hpp"
#include "util/util.hpp"

namespace mbtest {

using mbjson::Json;

namespace {

// The list of pages is a page itself; each entry's link names the socket.
std::string socketPath(int port) {
    const std::string list = HttpClient(port).get("/").body;
    const size_t begin = list.find("/socket/");
    if (begin == std::string::npos) return "";
    const size_t end = list.find_first_of("'\"<> ", begin);
    return list.substr(begin, end - begin);
}

}  // namespace

Inspector::Inspector(const Program& program) {
    std::string path;
    const int port = program.inspectorPort();
    if (!waitUntil([&] { return !(path = socketPath(port)).empty(); }, 30000)) return;
    if (socket.connect(port) && shakeHands(path)) findTarget();
}

bool Inspector::shakeHands(const std::string& path) {
    const bool sent =
        socket.send("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: Upgrade\r\n" +
                    "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n" +
                    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    const std::optional<std::string> head = sent ? socket.recvUntil("\r\n\r\n") : std::nullopt;
    return head && mbutil::startsWith(*head, "HTTP/1.1 101 ");
}

// Its frames are whole and without a mask.
std::optional<std::string> Inspector::nextText() {
    const std::optional<std::string> start = socket.recvExactly(2);
    if (!start) return {};
    uint64_t length = static_cast<uint8_t>((*start)[1]);
    if (length >= 126) {
        const std::optional<std::string> bytes = socket.recvExactly(length == 126 ? 2 : 8);
        if (!bytes) return {};
        length = 0;
        for (const char byte : *bytes) length = length << 8 | static_cast<uint8_t>(byte);
    }
    return socket.recvExactly(length);
}

Json Inspector::nextMessage() {
    const std::optional<std::string> text = nextText();
    return text ? parseJson(*text) : Json();
}

void Inspector::findTarget() {
    for (Json message = nextMessage(); message.isObject(); message = nextMessage()) {
        const Json& info = message["params"]["targetInfo"];
        if (message["method"].asString() != "Target.targetCreated") continue;
        if (info["type"].asString() != "page" || info["isProvisional"].asBool()) continue;
        target = info["targetId"].asString();
        return;
    }
}

bool Inspector::send(const Json& message) {
    Json params = Json::object();
    params.set("targetId", target);
    params.set("message", message.dump());
    Json outer = Json::object();
    outer.set("id", ++lastId);
    outer.set("method", "Target.sendMessageToTarget");
    outer.set("params", std::move(params));
    return socket.send(clientFrame(1, outer.dump()));
}

Json Inspector::evaluate(const std::string& expression) {
    if (!connected()) return {};
    Json params = Json::object();
    params.set("expression", expression);
    params.set("returnByValue", true);
    const int id = ++lastId;
    Json message = Json::object();
    message.set("id", id);
    message.set("method", "Runtime.evaluate");
    message.set("params", std::move(params));
    if (!send(message)) return {};
    for (Json got = nextMessage(); got.isObject(); got = nextMessage()) {
        if (got["method"].asString() != "Target.dispatchMessageFromTarget") continue;
        const Json answer = parseJson(got["params"]["message"].asString());
        if (answer["id"].asInt() != id) continue;
        const Json& result = answer["result"];
        return result["wasThrown"].asBool() ? Json() : result["result"]["value"];
    }
    return {};
}

bool Inspector::await(const std::string& expression, int limitMs) {
    const std::string asBool = "!!(" + expression + ")";
    return waitUntil([&] { return evaluate(asBool).asBool(); }, limitMs);
}

}  // namespace mbtest
