#include "net/websocket.hpp"

#include <sys/socket.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "net/frame.hpp"
#include "net/gate.hpp"
#include "net/net.hpp"
#include "net/socket.hpp"
#include "util/util.hpp"

namespace mbnet {

namespace {

enum Opcode : uint8_t {
    kContinuation = 0,
    kText = 1,
    kBinary = 2,
    kClose = 8,
    kPing = 9,
    kPong = 10
};

std::string handshakeAnswer(const std::string& key) {
    std::array<uint8_t, 20> digest{};
    mbutil::sha1(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", digest);
    return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Accept: " +
           mbutil::base64Encode(digest.data(), digest.size()) + "\r\n\r\n";
}

void dropExpired(std::vector<std::weak_ptr<WsConnection>>& connections) {
    std::erase_if(connections, [](const auto& connection) { return connection.expired(); });
}

// Joins the fragments of one message after another.
struct MessageReader {
    std::string message;
    bool binary = false;

    // True when the frame completes a message. A continuation without a start is a start.
    bool take(Frame& frame) {
        switch (frame.opcode) {
        case kContinuation:
            message += frame.payload;
            break;
        case kText:
        case kBinary:
            message = std::move(frame.payload);
            binary = frame.opcode == kBinary;
            break;
        default:
            return false;
        }
        return frame.fin;
    }
};

}  // namespace

void WsConnection::sendFrame(uint8_t opcode, const void* data, size_t size) {
    if (!open) return;
    const FrameHeader header = frameHeader(opcode, size);
    const std::lock_guard lock(writeMutex);
    if (!sendAll(socket.value, header.view(), {static_cast<const char*>(data), size}))
        open = false;  // the reading thread does the rest
}

void WsConnection::close() {
    if (open.exchange(false)) ::shutdown(socket.value, SHUT_RDWR);
}

void Server::serveWebSocket(mbutil::Fd socket, const Request& request) {
    const std::string& key = request.header("sec-websocket-key");
    if (key.empty() || !sendAll(socket.value, handshakeAnswer(key))) return;
    const auto connection = std::make_shared<WsConnection>(std::move(socket));
    registerWebSocket(connection);
    if (onWsOpen) onWsOpen(connection, request);
    readFrames(connection);
    // After a failed send the flag is down already and close() would leave the client hanging for
    // as long as somebody else holds the connection.
    connection->open = false;
    ::shutdown(connection->socket.value, SHUT_RDWR);
    if (onWsClose) onWsClose(connection);
}

// One that comes in behind the back of stop() is not closed by it: its reading loop finds the
// server stopped before the first frame.
void Server::registerWebSocket(const std::shared_ptr<WsConnection>& connection) {
    const std::lock_guard lock(wsMutex);
    dropExpired(connections);
    connections.push_back(connection);
}

void Server::readFrames(const std::shared_ptr<WsConnection>& connection) {
    MessageReader messages;
    const auto act = [&](Frame& frame) {
        if (frame.opcode == kPing)
            connection->sendFrame(kPong, frame.payload.data(), frame.payload.size());
        if (frame.opcode == kClose) {
            connection->sendFrame(kClose, frame.payload.data(), frame.payload.size());
            connection->close();
        }
        const bool whole = messages.take(frame);
        if (!connection->open) return false;
        if (whole) {
            if (onWsMessage) onWsMessage(connection, messages.message, messages.binary);
            messages.message.clear();
        }
        return connection->open && gate->running;
    };
    FrameReader frames;
    frames.keepsPayload = [this](uint8_t opcode) {
        // Nobody would see a message, and its size has no limit.
        const bool data = opcode == kContinuation || opcode == kText || opcode == kBinary;
        return opcode == kPing || opcode == kClose || (data && onWsMessage);
    };
    std::array<char, 16384> received;
    while (gate->running && connection->open) {
        const ssize_t got = receive(connection->socket.value, received.data(), received.size());
        if (got < 1 || !frames.feed({received.data(), static_cast<size_t>(got)}, act)) return;
    }
}

void Server::closeWebSockets() {
    const std::lock_guard lock(wsMutex);
    for (const auto& weak : connections) {
        if (const auto connection = weak.lock()) connection->close();
    }
    connections.clear();
}

void Server::broadcast(std::string_view text) {
    std::vector<std::shared_ptr<WsConnection>> open;
    {
        const std::lock_guard lock(wsMutex);
        dropExpired(connections);
        for (const auto& weak : connections) {
            if (auto connection = weak.lock()) open.push_back(std::move(connection));
        }
    }
    // Outside of the lock: a client that does not read holds up this thread for any time.
    for (const auto& connection : open) connection->sendText(text);
}

}  // namespace mbnet
