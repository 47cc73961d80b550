#pragma once
// Clients of the bridge for tests: raw bytes, HTTP requests, a strict WebSocket.
//
// Every wait has a limit, 10 s unless told otherwise; a wait that runs out fails like a connection
// that ends. Nothing here asserts: look at the results. One thread a client.

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "util/fd.hpp"

namespace mbtest {

constexpr int kClientLimitMs = 10000;

// A connection to 127.0.0.1. What was received and not yet asked for waits in a buffer.
class RawSocket {
public:
    RawSocket() = default;
    explicit RawSocket(int port) { connect(port); }

    bool connect(int port);
    // Makes the socket ahead of connect(), for a test in which descriptors run short.
    bool prepare();
    bool connected() const { return static_cast<bool>(socket); }
    int descriptor() const { return socket.value; }

    bool send(std::string_view bytes);
    // Tells the server that no more comes; answers can still be read.
    void finishSending();
    void close() { socket.reset(); }

    // Up to and with `mark`, taken out of the buffer. Nothing when the connection ends before.
    std::optional<std::string> recvUntil(std::string_view mark, int limitMs = kClientLimitMs);
    std::optional<std::string> recvExactly(size_t size, int limitMs = kClientLimitMs);
    // What one receive brings, or what is in the buffer.
    std::optional<std::string> recvSome(int limitMs = kClientLimitMs);
    // All bytes up to the end of the connection; nothing when it does not end in time.
    std::optional<std::string> recvToEnd(int limitMs = kClientLimitMs);
    // True when the server ends the connection in time without having sent another byte.
    bool closedSilently(int limitMs = kClientLimitMs);

    // How the connection ended: by the server's end of file, or thrown away by a reset.
    bool ended() const { return end != End::none; }
    bool wasReset() const { return end == End::reset; }

private:
    enum class End { none, endOfFile, reset };

    mbutil::Fd prepared;
    mbutil::Fd socket;
    std::string buffer;
    End end = End::none;

    bool receiveMore(int64_t deadlineMs);
};

using Headers = std::map<std::string, std::string>;

struct HttpAnswer {
    int status = 0;    // 0: no whole answer came
    std::string head;  // as sent, with the blank line
    Headers headers;   // names in lower case
    std::string body;

    const std::string& header(const std::string& name) const;
};

// Reads one answer, by its Content-Length; a 204 or 304 has no body.
HttpAnswer recvAnswer(RawSocket& socket, int limitMs = kClientLimitMs);

// Requests over one connection, which is opened at first use and again once it has ended.
class HttpClient {
public:
    explicit HttpClient(int serverPort, std::string sessionToken = "")
        : port(serverPort), token(std::move(sessionToken)) {}

    // The token, when there is one, goes along as "X-Marlin-Token".
    HttpAnswer get(const std::string& target, const Headers& headers = {});
    HttpAnswer post(const std::string& target, const std::string& body,
                    const Headers& headers = {});
    HttpAnswer request(const std::string& method, const std::string& target, const Headers& headers,
                       const std::string& body, int limitMs = kClientLimitMs);
    RawSocket& connection() { return socket; }

private:
    int port;
    std::string token;
    RawSocket socket;
};

struct WsFrame {
    uint8_t opcode = 0;
    std::string payload;
};

struct WsSendOptions {
    bool fin = true;
    bool masked = true;
    // The form of the length: 0 is the shortest, else 7, 16 or 64 bits.
    int lengthBits = 0;
};

// The bytes of one frame as a client sends it.
std::string clientFrame(uint8_t opcode, std::string_view payload,
                        const WsSendOptions& options = {});

// Takes nothing from the server that a browser would refuse: the handshake must be exact, frames
// unmasked, unfragmented, with the shortest length and no reserved bits, text valid UTF-8. A
// violation is kept in error() and ends the connection.
class WsClient {
public:
    // Connects, shakes hands and exchanges a ping, so that every later push reaches the client: the
    // server lists it only after its answer to the handshake. See connected().
    explicit WsClient(int port, const std::string& token = "", const std::string& path = "/ws");

    bool connected() const { return socket.connected() && failure.empty(); }
    const std::string& error() const { return failure; }

    bool send(uint8_t opcode, std::string_view payload, const WsSendOptions& options = {});
    bool sendText(std::string_view text) { return send(1, text); }
    // Nothing when no whole frame came in time, the connection ended, or a rule was broken.
    std::optional<WsFrame> recvFrame(int limitMs = kClientLimitMs);
    // The same for the next frame, which must be a text.
    std::optional<std::string> recvText(int limitMs = kClientLimitMs);
    // The next text that holds `part`; others before it are dropped.
    std::optional<std::string> recvTextWith(std::string_view part, int limitMs = kClientLimitMs);

    RawSocket& connection() { return socket; }

private:
    RawSocket socket;
    std::string failure;
    std::deque<WsFrame> pushed;  // came before the first pong

    void awaitPong();
    std::optional<WsFrame> recvFromSocket(int limitMs);
    void shakeHands(const std::string& token, const std::string& path);
    bool fail(const std::string& reason);
    bool recvLength(uint8_t second, uint64_t& length, int limitMs);
};

}  // namespace mbtest
