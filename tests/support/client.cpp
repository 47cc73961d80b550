#include "support/client.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>
#include <vector>

#include "util/util.hpp"

namespace mbtest {

namespace {

int64_t nowMs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

Headers parseHeaders(const std::string& head) {
    Headers headers;
    const std::vector<std::string> lines = mbutil::split(head, '\n');
    for (size_t i = 1; i < lines.size(); ++i) {
        const size_t colon = lines[i].find(':');
        if (colon == std::string::npos) continue;
        headers[mbutil::lowerCase(lines[i].substr(0, colon))] =
            mbutil::trim(lines[i].substr(colon + 1));
    }
    return headers;
}

// Bytes of the sequence that this byte begins, 0 when none begins with it.
size_t sequenceLength(uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// As strict as a browser: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const auto byteAt = [&](size_t at) { return static_cast<uint8_t>(text[at]); };
        const uint8_t lead = byteAt(i);
        const size_t length = sequenceLength(lead);
        if (length == 0 || i + length > text.size()) return false;
        for (size_t k = 1; k < length; ++k) {
            if ((byteAt(i + k) & 0xC0) != 0x80) return false;
        }
        const uint8_t second = length > 1 ? byteAt(i + 1) : uint8_t{0};
        if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)) return false;
        if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) return false;
        i += length;
    }
    return true;
}

}  // namespace

bool RawSocket::prepare() {
    buffer.clear();
    end = End::none;
    prepared.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return static_cast<bool>(prepared);
}

bool RawSocket::connect(int port) {
    if (!prepared && !prepare()) return false;
    socket = std::move(prepared);
    const int on = 1;
    ::setsockopt(socket.value, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    if (::connect(socket.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket.reset();
    return connected();
}

bool RawSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket.value, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 1) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

void RawSocket::finishSending() { ::shutdown(socket.value, SHUT_WR); }

bool RawSocket::receiveMore(int64_t deadlineMs) {
    if (!socket || ended()) return false;
    pollfd readable{socket.value, POLLIN, 0};
    const int64_t left = std::max<int64_t>(0, deadlineMs - nowMs());
    if (::poll(&readable, 1, static_cast<int>(left)) < 1) return false;
    std::array<char, 65536> received;
    const ssize_t got = ::recv(socket.value, received.data(), received.size(), 0);
    if (got < 1) {
        end = got == 0 ? End::endOfFile : End::reset;
        return false;
    }
    buffer.append(received.data(), static_cast<size_t>(got));
    return true;
}

std::optional<std::string> RawSocket::recvUntil(std::string_view mark, int limitMs) {
    const int64_t deadline = nowMs() + limitMs;
    size_t found = 0;
    while ((found = buffer.find(mark)) == std::string::npos) {
        if (!receiveMore(deadline)) return std::nullopt;
    }
    std::string taken = buffer.substr(0, found + mark.size());
    buffer.erase(0, taken.size());
    return taken;
}

std::optional<std::string> RawSocket::recvExactly(size_t size, int limitMs) {
    const int64_t deadline = nowMs() + limitMs;
    while (buffer.size() < size) {
        if (!receiveMore(deadline)) return std::nullopt;
    }
    std::string taken = buffer.substr(0, size);
    buffer.erase(0, size);
    return taken;
}

std::optional<std::string> RawSocket::recvSome(int limitMs) {
    if (buffer.empty() && !receiveMore(nowMs() + limitMs)) return std::nullopt;
    return std::exchange(buffer, "");
}

std::optional<std::string> RawSocket::recvToEnd(int limitMs) {
    const int64_t deadline = nowMs() + limitMs;
    while (receiveMore(deadline)) {
    }
    if (!ended()) return std::nullopt;
    return std::exchange(buffer, "");
}

bool RawSocket::closedSilently(int limitMs) {
    const std::optional<std::string> rest = recvToEnd(limitMs);
    return rest && rest->empty();
}

const std::string& HttpAnswer::header(const std::string& name) const {
    static const std::string kEmpty;
    const auto found = headers.find(name);
    return found == headers.end() ? kEmpty : found->second;
}

HttpAnswer recvAnswer(RawSocket& socket, int limitMs) {
    HttpAnswer answer;
    const std::optional<std::string> head = socket.recvUntil("\r\n\r\n", limitMs);
    if (!head || !head->starts_with("HTTP/1.1 ")) return {};
    answer.head = *head;
    answer.headers = parseHeaders(*head);
    const size_t length = std::strtoull(answer.header("content-length").c_str(), nullptr, 10);
    const std::optional<std::string> body = socket.recvExactly(length, limitMs);
    if (!body) return {};
    answer.body = *body;
    answer.status = std::atoi(head->c_str() + 9);
    return answer;
}

HttpAnswer HttpClient::get(const std::string& target, const Headers& headers) {
    return request("GET", target, headers, "");
}

HttpAnswer HttpClient::post(const std::string& target, const std::string& body,
                            const Headers& headers) {
    return request("POST", target, headers, body);
}

HttpAnswer HttpClient::request(const std::string& method, const std::string& target,
                               const Headers& headers, const std::string& body, int limitMs) {
    if ((!socket.connected() || socket.ended()) && !socket.connect(port)) return {};
    std::string bytes = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (!token.empty()) bytes += "X-Marlin-Token: " + token + "\r\n";
    if (!body.empty()) bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    for (const auto& [name, value] : headers) bytes += name + ": " + value + "\r\n";
    bytes += "\r\n" + body;
    if (!socket.send(bytes)) {
        socket.close();
        return {};
    }
    HttpAnswer answer = recvAnswer(socket, limitMs);
    if (answer.status == 0 || answer.header("connection") != "keep-alive") socket.close();
    return answer;
}

std::string clientFrame(uint8_t opcode, std::string_view payload, const WsSendOptions& options) {
    const uint8_t maskBit = options.masked ? 0x80 : 0;
    int lengthBits = options.lengthBits;
    if (lengthBits == 0) lengthBits = payload.size() < 126 ? 7 : payload.size() < 65536 ? 16 : 64;
    const size_t shortLength = lengthBits == 7 ? payload.size() : lengthBits == 16 ? 126 : 127;
    std::string frame;
    frame += static_cast<char>((options.fin ? 0x80 : 0) | opcode);
    frame += static_cast<char>(maskBit | shortLength);
    for (int shift = lengthBits == 7 ? -1 : lengthBits - 8; shift >= 0; shift -= 8)
        frame += static_cast<char>(static_cast<uint64_t>(payload.size()) >> shift & 0xFF);
    if (!options.masked) return frame.append(payload);
    constexpr std::array<uint8_t, 4> kMask{0x9D, 0x01, 0xE7, 0x5A};
    for (const uint8_t byte : kMask) frame += static_cast<char>(byte);
    for (size_t i = 0; i < payload.size(); ++i)
        frame += static_cast<char>(static_cast<uint8_t>(payload[i]) ^ kMask[i % 4]);
    return frame;
}

WsClient::WsClient(int port, const std::string& token, const std::string& path) {
    if (!socket.connect(port)) {
        failure = "no connection";
        return;
    }
    shakeHands(token, path);
    awaitPong();
}

void WsClient::awaitPong() {
    if (!send(9, "listed?")) return;
    for (;;) {
        std::optional<WsFrame> frame = recvFromSocket(kClientLimitMs);
        if (frame && frame->opcode == 10 && frame->payload == "listed?") return;
        if (!frame) {
            fail("no pong: " + failure);
            return;
        }
        pushed.push_back(*std::move(frame));
    }
}

void WsClient::shakeHands(const std::string& token, const std::string& path) {
    const std::string key = mbutil::base64Encode(mbutil::randomToken(8).data(), 16);
    const std::string query = token.empty() ? "" : "?token=" + token;
    const bool sent = socket.send(
        "GET " + path + query + " HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n" +
        "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\nSec-WebSocket-Key: " + key +
        "\r\n\r\n");
    const std::optional<std::string> head =
        sent ? socket.recvUntil("\r\n\r\n") : std::optional<std::string>();
    std::array<uint8_t, 20> digest{};
    mbutil::sha1(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", digest);
    const std::string expected =
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: " +
        mbutil::base64Encode(digest.data(), digest.size()) + "\r\n\r\n";
    if (!head) fail("no answer to the handshake");
    if (head && *head != expected) fail("wrong answer to the handshake: " + *head);
}

bool WsClient::fail(const std::string& reason) {
    failure = reason;
    socket.close();
    return false;
}

bool WsClient::send(uint8_t opcode, std::string_view payload, const WsSendOptions& options) {
    return connected() && socket.send(clientFrame(opcode, payload, options));
}

bool WsClient::recvLength(uint8_t second, uint64_t& length, int limitMs) {
    length = second;
    if (second < 126) return true;
    const std::optional<std::string> bytes = socket.recvExactly(second == 126 ? 2 : 8, limitMs);
    if (!bytes) return fail("a frame's header was cut");
    length = 0;
    for (const char byte : *bytes) length = length << 8 | static_cast<uint8_t>(byte);
    const uint64_t least = second == 126 ? 126 : 65536;
    return length >= least || fail("a length is not in its shortest form");
}

std::optional<WsFrame> WsClient::recvFrame(int limitMs) {
    if (pushed.empty()) return recvFromSocket(limitMs);
    WsFrame frame = std::move(pushed.front());
    pushed.pop_front();
    return frame;
}

std::optional<WsFrame> WsClient::recvFromSocket(int limitMs) {
    if (!connected()) return std::nullopt;
    const std::optional<std::string> start = socket.recvExactly(2, limitMs);
    if (!start) return std::nullopt;
    const auto first = static_cast<uint8_t>((*start)[0]);
    const auto second = static_cast<uint8_t>((*start)[1]);
    WsFrame frame;
    frame.opcode = first & 0x0F;
    uint64_t length = 0;
    if ((first & 0x80) == 0) fail("a fragmented frame");
    if ((first & 0x70) != 0) fail("reserved bits");
    if ((second & 0x80) != 0) fail("a masked frame");
    if (!connected() || !recvLength(second & 0x7F, length, limitMs)) return std::nullopt;
    const std::optional<std::string> payload = socket.recvExactly(length, limitMs);
    if (!payload) {
        fail("a frame was cut");
        return std::nullopt;
    }
    frame.payload = *payload;
    if (frame.opcode == 1 && !isUtf8(frame.payload)) fail("a text is not UTF-8");
    return connected() ? std::optional(frame) : std::nullopt;
}

std::optional<std::string> WsClient::recvText(int limitMs) {
    const std::optional<WsFrame> frame = recvFrame(limitMs);
    if (!frame) return std::nullopt;
    if (frame->opcode != 1) {
        fail("not a text frame");
        return std::nullopt;
    }
    return frame->payload;
}

std::optional<std::string> WsClient::recvTextWith(std::string_view part, int limitMs) {
    const int64_t deadline = nowMs() + limitMs;
    for (;;) {
        const int64_t left = std::max<int64_t>(0, deadline - nowMs());
        const std::optional<std::string> text = recvText(static_cast<int>(left));
        if (!text || text->find(part) != std::string::npos) return text;
    }
}

}  // namespace mbtest
