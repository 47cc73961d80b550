#include "support/inspector.hpp"

#include "support/support.hpp"
#include "util/util.hpp"

namespace mbtest {

using mbjson::Json;

namespace {

// The page's process answers at once unless it was exchanged for another meanwhile.
constexpr int kSilenceMs = 3000;

// The list of pages is a page itself; each entry's link names the socket.
std::string socketPath(int port) {
    const std::string list = HttpClient(port).get("/").body;
    const size_t begin = list.find("/socket/");
    if (begin == std::string::npos) return "";
    const size_t end = list.find_first_of("'\"<> ", begin);
    return list.substr(begin, end - begin);
}

}  // namespace

Inspector::Inspector(const Program& program) : port(program.inspectorPort()) {
    (void)waitUntil([&] { return connect(); }, 30000);
}

bool Inspector::connect() {
    target.clear();
    const std::string path = socketPath(port);
    if (path.empty() || !socket.connect(port) || !shakeHands(path)) return false;
    while (target.empty() && nextMessage().isObject()) {
    }
    return connected();
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
    const std::optional<std::string> start = socket.recvExactly(2, kSilenceMs);
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
    Json message = text ? parseJson(*text) : Json();
    followTarget(message);
    return message;
}

// A page that is being loaded may move to another web process, and then has another id.
void Inspector::followTarget(const Json& message) {
    const std::string& method = message["method"].asString();
    const Json& params = message["params"];
    const Json& info = params["targetInfo"];
    if (method == "Target.didCommitProvisionalTarget") target = params["newTargetId"].asString();
    if (method == "Target.targetCreated" && info["type"].asString() == "page" &&
        !info["isProvisional"].asBool())
        target = info["targetId"].asString();
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
    unanswered = !send(message);
    for (Json got = nextMessage(); got.isObject(); got = nextMessage()) {
        if (got["method"].asString() != "Target.dispatchMessageFromTarget") continue;
        const Json answer = parseJson(got["params"]["message"].asString());
        if (answer["id"].asInt() != id) continue;
        const Json& result = answer["result"];
        return result["wasThrown"].asBool() ? Json() : result["result"]["value"];
    }
    unanswered = true;
    return {};
}

bool Inspector::await(const std::string& expression, int limitMs) {
    const std::string asBool = "!!(" + expression + ")";
    return waitUntil(
        [&] {
            if (unanswered && !connect()) return false;
            return evaluate(asBool).asBool();
        },
        limitMs);
}

}  // namespace mbtest
