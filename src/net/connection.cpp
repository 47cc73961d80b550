#include "net/connection.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "net/response_head.hpp"
#include "net/socket.hpp"

namespace mbnet {

namespace {

constexpr uint32_t kSilenceMs = 15000;        // between requests, and within one
constexpr size_t kReceiveBytes = 16384;       // at most so much in one receive
constexpr uint64_t kMaxBodyBytes = 67108864;  // 64 MiB
constexpr size_t kOneSendBytes = 65536;       // a body up to this goes out together with its head

}  // namespace

Connection::Connection(Server* owner, std::shared_ptr<Gate> shared, mbutil::Fd connected)
    : server(owner), gate(std::move(shared)), socket(std::move(connected)) {}

void Connection::serve() {
    setReceiveTimeout(socket.value, kSilenceMs);
    size_t headEnd = 0;
    while (gate->running && readHead(headEnd) && serveOne(headEnd)) {
    }
}

bool Connection::receiveSome() {
    std::array<char, kReceiveBytes> received;
    const ssize_t got = receive(socket.value, received.data(), received.size());
    if (got < 1) return false;
    buffer.append({received.data(), static_cast<size_t>(got)});
    return true;
}

bool Connection::readHead(size_t& headEnd) {
    while ((headEnd = buffer.findHeadEnd()) == std::string::npos) {
        if (buffer.tooLong() || !receiveSome()) return false;
    }
    return true;
}

bool Connection::serveOne(size_t headEnd) {
    Request request;
    std::string version;
    if (!parseRequestHead(buffer.head(headEnd), request, version)) return false;
    buffer.dropHead(headEnd);
    if (wantsWebSocket(request)) {
        becomeWebSocket(request);
        return false;
    }
    const uint64_t length = contentLength(request);
    if (length > kMaxBodyBytes) {
        refuseBody();
        return false;
    }
    if (!readBody(static_cast<size_t>(length), request.body)) return false;
    const bool keepAlive = wantsKeepAlive(request, version);
    if (!answer(request, keepAlive)) return false;
    if (!keepAlive) closeGracefully(std::move(socket));
    return keepAlive;
}

// What is not here yet is received straight into the body, and no byte behind it. The body grows
// as it comes: a length that is only announced costs nothing.
bool Connection::readBody(size_t length, std::string& body) {
    body = buffer.takeBody(length);
    while (body.size() < length) {
        const size_t before = body.size();
        body.resize(before + std::min(kReceiveBytes, length - before));
        const ssize_t got = receive(socket.value, body.data() + before, body.size() - before);
        if (got < 1) return false;
        body.resize(before + static_cast<size_t>(got));
    }
    return true;
}

// A small answer is sent before the gate is left: the one to a request to shut down must not be
// lost to the end of the process. A large one may wait for its reader for any time, so nobody
// waits for that.
bool Connection::answer(const Request& request, bool keepAlive) {
    GatePass pass(gate);
    if (!pass) return false;
    const Response response = server->respond(request);
    if (response.body.size() > kOneSendBytes) pass.leave();
    return send(response, keepAlive);
}

bool Connection::send(const Response& response, bool keepAlive) {
    const std::string head = responseHead(response, keepAlive);
    if (!statusHasBody(response.status)) return sendAll(socket.value, head);
    if (response.body.size() <= kOneSendBytes) return sendAll(socket.value, head, response.body);
    return sendAll(socket.value, head) && sendAll(socket.value, response.body);
}

void Connection::becomeWebSocket(const Request& request) {
    const GatePass pass(gate);
    if (!pass) return;
    if (!server->authorised(request)) {
        (void)sendAll(
            socket.value,  // the connection ends in any case
            "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        return;
    }
    setReceiveTimeout(socket.value, 0);
    server->serveWebSocket(std::move(socket), request);
}

void Connection::refuseBody() {
    constexpr std::string_view kBody = R"({"ok":false,"error":"request body too large"})";
    std::string answer = "HTTP/1.1 413 Payload Too Large\r\nContent-Length: ";
    answer.append(std::to_string(kBody.size()));
    answer.append("\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n").append(kBody);
    if (sendAll(socket.value, answer)) closeGracefully(std::move(socket));
}

}  // namespace mbnet
