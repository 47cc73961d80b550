// The WebSocket channel over real sockets.

#include <gtest/gtest.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bridge.hpp"

namespace mbnet {

// Sees the list that sweeping keeps short.
struct ServerPeek {
    static size_t listed(Server& server) {
        const std::lock_guard lock(server.wsMutex);
        return server.connections.size();
    }
};

}  // namespace mbnet

namespace {

using namespace std::string_literals;

using mbnet::ServerPeek;
using mbtest::Bridge;
using mbtest::clientFrame;
using mbtest::HttpClient;
using mbtest::RawSocket;
using mbtest::waitUntil;
using mbtest::WsClient;
using mbtest::WsFrame;

using Connection = std::shared_ptr<mbnet::WsConnection>;

// Keeps what the hooks are told.
struct Recorder {
    std::mutex mutex;
    std::vector<std::string> messages;  // "text:..." or "binary:..."
    std::vector<Connection> opened;
    std::atomic<int> closed{0};

    void hook(mbnet::Server& server) {
        server.onWsOpen = [this](const Connection& connection, const mbnet::Request&) {
            const std::lock_guard lock(mutex);
            opened.push_back(connection);
        };
        server.onWsMessage = [this](const Connection&, const std::string& message, bool binary) {
            const std::lock_guard lock(mutex);
            messages.push_back((binary ? "binary:" : "text:") + message);
        };
        server.onWsClose = [this](const Connection&) { ++closed; };
    }
    std::vector<std::string> seen() {
        const std::lock_guard lock(mutex);
        return messages;
    }
    Connection firstOpened() {
        EXPECT_TRUE(waitUntil([this] {
            const std::lock_guard lock(mutex);
            return !opened.empty();
        }));
        const std::lock_guard lock(mutex);
        return opened.empty() ? nullptr : opened.front();
    }
    void forgetConnections() {
        const std::lock_guard lock(mutex);
        opened.clear();
    }
};

// All frames before it have been acted on once its pong is back.
void expectPong(WsClient& client, const std::string& payload) {
    ASSERT_TRUE(client.send(9, payload));
    const std::optional<WsFrame> pong = client.recvFrame(60000);
    ASSERT_TRUE(pong) << client.error();
    EXPECT_EQ(pong->opcode, 10);
    EXPECT_EQ(pong->payload, payload);
}

std::string handshake(const std::string& target, const std::string& headers) {
    return "GET " + target + " HTTP/1.1\r\nUpgrade: websocket\r\n" + headers + "\r\n";
}

constexpr char kKey[] = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
constexpr char kAccepted[] =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";

uint32_t segmentsReceived(const RawSocket& socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    EXPECT_EQ(::getsockopt(socket.descriptor(), IPPROTO_TCP, TCP_INFO, &info, &size), 0);
    return info.tcpi_data_segs_in;
}

TEST(NetWebSocket, HandshakeIsExactOnAnyPath) {
    Bridge bridge([](mbnet::Server& server) { server.route("/api/x", mbtest::echo, true); });
    for (const std::string path : {"/ws", "/", "/api/x", "/nowhere"}) {
        RawSocket client(bridge.port);
        client.send(handshake(path + "?token=sesame", kKey));
        EXPECT_EQ(client.recvUntil("\r\n\r\n"), kAccepted) << path;
    }
    RawSocket folded(bridge.port);
    folded.send("POST /ws\r\nuPgRaDe: WebSocket\r\nX-Marlin-Token: sesame\r\n" + std::string(kKey) +
                "\r\n");
    EXPECT_EQ(folded.recvUntil("\r\n\r\n"), kAccepted);
    RawSocket cookie(bridge.port);
    cookie.send(handshake("/ws", std::string(kKey) + "Cookie: marlin_token=sesame\r\n"));
    EXPECT_EQ(cookie.recvUntil("\r\n\r\n"), kAccepted);
}

TEST(NetWebSocket, MissingTokenIsARawRefusal) {
    Bridge bridge;
    for (const std::string target : {"/ws", "/ws?token=wrong", "/vendor/x"}) {
        RawSocket client(bridge.port);
        client.send(handshake(target, kKey));
        EXPECT_EQ(client.recvToEnd(),
                  "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    }
}

TEST(NetWebSocket, MissingKeyIsClosedSilently) {
    Bridge bridge;
    for (const std::string key : {"", "Sec-WebSocket-Key:\r\n", "Sec-WebSocket-Key:  \r\n"}) {
        RawSocket client(bridge.port);
        client.send(handshake("/ws?token=sesame", key));
        EXPECT_TRUE(client.closedSilently()) << key;
    }
}

TEST(NetWebSocket, BytesSentAheadOfTheAnswerAreDropped) {
    Bridge bridge;
    RawSocket client(bridge.port);
    client.send(handshake("/ws?token=sesame", kKey) + clientFrame(9, "early"));
    EXPECT_EQ(client.recvUntil("\r\n\r\n"), kAccepted);
    client.send(clientFrame(9, "late"));
    EXPECT_EQ(client.recvExactly(6), "\x8A\x04late");
}

TEST(NetWebSocket, OpenHookRunsOnceThePushesReachTheClient) {
    mbnet::Server* self = nullptr;
    Bridge bridge([&](mbnet::Server& server) {
        self = &server;
        server.onWsOpen = [&](const Connection& connection, const mbnet::Request& request) {
            EXPECT_TRUE(connection->isOpen());
            self->broadcast("welcome " + request.path);
        };
    });
    EXPECT_EQ(WsClient(bridge.port, "sesame", "/there").recvText(), "welcome /there");
}

TEST(NetWebSocket, MessagesReachTheHookMaskedOrNot) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    client.send(1, "masked");
    client.send(1, "bare", {.masked = false});
    client.send(2, "\0\xFF"s);
    client.send(1, "\xFF not UTF-8");
    client.send(1, "");
    expectPong(client, "");
    EXPECT_EQ(recorder.seen(),
              (std::vector<std::string>{"text:masked", "text:bare", "binary:\0\xFF"s,
                                        "text:\xFF not UTF-8", "text:"}));
}

TEST(NetWebSocket, FragmentsAreJoinedAcrossPings) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    client.send(2, "one ", {.fin = false});
    expectPong(client, std::string(125, 'p'));
    client.send(0, "two ", {.fin = false});
    client.send(10, "pong");
    client.send(0, "three");
    client.send(1, "next");
    expectPong(client, "end");
    EXPECT_EQ(recorder.seen(), (std::vector<std::string>{"binary:one two three", "text:next"}));
}

TEST(NetWebSocket, OddSequencesOfFragmentsAreTakenAsTheyCome) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    client.send(0, "no start");
    client.send(1, "dropped", {.fin = false});
    client.send(2, "replaces");
    client.send(0, "stays binary");
    expectPong(client, "end");
    EXPECT_EQ(recorder.seen(), (std::vector<std::string>{"text:no start", "binary:replaces",
                                                         "binary:stays binary"}));
}

TEST(NetWebSocket, UnknownOpcodesAreIgnored) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    client.send(1, "a", {.fin = false});
    for (const int opcode : {3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 15})
        client.send(static_cast<uint8_t>(opcode), "ignored");
    client.send(0, "b");
    expectPong(client, "end");
    EXPECT_EQ(recorder.seen(), std::vector<std::string>{"text:ab"});
}

TEST(NetWebSocket, FramesCutAtEveryByteAreTheSame) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    const std::string bytes = clientFrame(1, "one") + clientFrame(2, std::string(126, 'x'));
    std::vector<std::string> expected;
    for (size_t cut = 1; cut < bytes.size(); ++cut) {
        client.connection().send(bytes.substr(0, cut));
        client.connection().send(bytes.substr(cut));
        expected.insert(expected.end(), {"text:one", "binary:" + std::string(126, 'x')});
    }
    expectPong(client, "end");
    EXPECT_EQ(recorder.seen(), expected);
}

TEST(NetWebSocket, CloseIsEchoedWithItsPayload) {
    for (const std::string& payload :
         {std::string(), std::string("\x03\xE8 bye"), std::string("x"), std::string(3000, 'c')}) {
        Recorder recorder;
        Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
        WsClient client(bridge.port, "sesame");
        client.send(8, payload);
        const std::optional<WsFrame> echo = client.recvFrame();
        ASSERT_TRUE(echo) << client.error();
        EXPECT_EQ(echo->opcode, 8);
        EXPECT_EQ(echo->payload, payload);
        EXPECT_TRUE(client.connection().closedSilently());
        EXPECT_TRUE(waitUntil([&] { return recorder.closed == 1; }));
    }
}

TEST(NetWebSocket, NothingIsReadBehindAClose) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    client.connection().send(clientFrame(8, "") + clientFrame(1, "late"));
    EXPECT_TRUE(client.recvFrame());
    EXPECT_TRUE(waitUntil([&] { return recorder.closed == 1; }));
    EXPECT_TRUE(recorder.seen().empty());
}

TEST(NetWebSocket, FrameOverTheLimitEndsTheConnectionWithoutACloseFrame) {
    Recorder recorder;  // holds the connection, which is closed all the same
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    // The mask is still to come.
    client.connection().send("\x82\xFF\x00\x00\x00\x00\x04\x00\x00\x01"s);
    EXPECT_TRUE(client.connection().closedSilently());
}

TEST(NetWebSocket, FrameOfExactlyTheLimitIsTaken) {
    std::atomic<size_t> size{0};
    Bridge bridge([&](mbnet::Server& server) {
        server.onWsMessage = [&](const Connection&, const std::string& message, bool) {
            size = message.size();
        };
    });
    WsClient client(bridge.port, "sesame");
    ASSERT_TRUE(client.send(2, std::string(67108864, 'x'), {.masked = false}));
    expectPong(client, "end");
    EXPECT_EQ(size, 67108864U);
}

TEST(NetWebSocket, MessagesAreDroppedWhenNobodyListens) {
    Bridge bridge;
    WsClient client(bridge.port, "sesame");
    client.send(1, "a", {.fin = false});
    client.send(0, std::string(500000, 'b'), {.fin = false});
    expectPong(client, "between");
    client.send(0, "c");
    expectPong(client, "end");
}

TEST(NetWebSocket, PushTakesTheShortestLengthAndOneSegment) {
    Bridge bridge;
    RawSocket client(bridge.port);
    client.send(handshake("/ws?token=sesame", kKey));
    ASSERT_TRUE(client.recvUntil("\r\n\r\n"));
    ASSERT_TRUE(waitUntil([&] { return ServerPeek::listed(bridge.server) == 1; }));
    const std::pair<size_t, std::string> kRows[] = {
        {0, "\x81\x00"s},
        {1, "\x81\x01"s},
        {125, "\x81\x7D"s},
        {126, "\x81\x7E\x00\x7E"s},
        {30000, "\x81\x7E\x75\x30"s},
        {65535, "\x81\x7E\xFF\xFF"s},
        {65536, "\x81\x7F\x00\x00\x00\x00\x00\x01\x00\x00"s},
        {5000000, "\x81\x7F\x00\x00\x00\x00\x00\x4C\x4B\x40"s},
    };
    for (const auto& [size, header] : kRows) {
        const uint32_t before = segmentsReceived(client);
        const std::string text(size, 'x');
        std::thread pusher([&] { bridge.server.broadcast(text); });
        EXPECT_EQ(client.recvExactly(header.size()), header) << size;
        EXPECT_EQ(client.recvExactly(size), text) << size;
        pusher.join();
        if (size <= 30000) {
            EXPECT_EQ(segmentsReceived(client), before + 1) << size;
        }
    }
}

TEST(NetWebSocket, BroadcastReachesEveryClientInTheSameForm) {
    Bridge bridge;
    bridge.server.broadcast("nobody hears this");
    std::vector<std::unique_ptr<WsClient>> clients;
    for (int i = 0; i < 40; ++i) {
        clients.push_back(std::make_unique<WsClient>(bridge.port, "sesame"));
        ASSERT_TRUE(clients.back()->connected()) << clients.back()->error();
    }
    ASSERT_TRUE(waitUntil([&] { return ServerPeek::listed(bridge.server) == 40; }));
    bridge.server.broadcast(R"({"type":"one"})");
    bridge.server.broadcast(R"({"type":"two"})");
    for (const auto& client : clients) {
        EXPECT_EQ(client->recvText(), R"({"type":"one"})");
        EXPECT_EQ(client->recvText(), R"({"type":"two"})");
    }
}

TEST(NetWebSocket, SlowReaderGetsWholeFramesFromManyPushers) {
    constexpr int kPushers = 4, kFrames = 60;
    Bridge bridge;
    WsClient client(bridge.port, "sesame");
    ASSERT_TRUE(waitUntil([&] { return ServerPeek::listed(bridge.server) == 1; }));
    std::vector<std::thread> pushers;
    for (int i = 0; i < kPushers; ++i) {
        pushers.emplace_back([&, i] {
            for (int k = 0; k < kFrames; ++k)
                bridge.server.broadcast(std::to_string(k) +
                                        std::string(100000, static_cast<char>('a' + i)));
        });
    }
    // 24 MB: the pushers wait for the reader again and again.
    std::vector<int> next(kPushers, 0);
    for (int received = 0; received < kPushers * kFrames; ++received) {
        const std::optional<std::string> text = client.recvText(30000);
        ASSERT_TRUE(text) << client.error();
        const char letter = text->back();
        const auto pusher = static_cast<size_t>(letter - 'a');
        ASSERT_LT(pusher, next.size());
        ASSERT_EQ(*text, std::to_string(next[pusher]++) + std::string(100000, letter));
    }
    for (std::thread& pusher : pushers) pusher.join();
}

TEST(NetWebSocket, VanishedClientIsSweptAtTheNextBroadcast) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    auto client = std::make_unique<WsClient>(bridge.port, "sesame");
    WsClient stays(bridge.port, "sesame");
    ASSERT_TRUE(waitUntil([&] { return ServerPeek::listed(bridge.server) == 2; }));
    std::weak_ptr<mbnet::WsConnection> first = recorder.firstOpened();
    recorder.forgetConnections();
    client.reset();
    ASSERT_TRUE(waitUntil([&] { return first.expired(); }));
    EXPECT_EQ(ServerPeek::listed(bridge.server), 2U) << "the entry waits for a sweep";
    bridge.server.broadcast("sweep");
    EXPECT_EQ(ServerPeek::listed(bridge.server), 1U);
    EXPECT_EQ(stays.recvText(), "sweep");
}

TEST(NetWebSocket, NewConnectionSweepsToo) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    auto client = std::make_unique<WsClient>(bridge.port, "sesame");
    std::weak_ptr<mbnet::WsConnection> first = recorder.firstOpened();
    recorder.forgetConnections();
    client.reset();
    ASSERT_TRUE(waitUntil([&] { return first.expired(); }));
    WsClient second(bridge.port, "sesame");
    expectPong(second, "registered");
    EXPECT_EQ(ServerPeek::listed(bridge.server), 1U);
}

TEST(NetWebSocket, SendToAVanishedClientClosesTheConnection) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    auto client = std::make_unique<WsClient>(bridge.port, "sesame");
    const Connection connection = recorder.firstOpened();
    ASSERT_TRUE(connection);
    client.reset();
    EXPECT_TRUE(waitUntil([&] {
        connection->sendText("anybody?");
        return !connection->isOpen();
    }));
    connection->sendText("nothing happens");
    EXPECT_TRUE(waitUntil([&] { return recorder.closed == 1; }));
}

TEST(NetWebSocket, ServerSideCloseEndsBothDirectionsOnce) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) { recorder.hook(server); });
    WsClient client(bridge.port, "sesame");
    const Connection connection = recorder.firstOpened();
    ASSERT_TRUE(connection);
    const std::string bytes = "binary";
    connection->sendBinary(bytes.data(), bytes.size());
    connection->close();
    connection->close();
    connection->sendText("too late");
    EXPECT_FALSE(connection->isOpen());
    const std::optional<WsFrame> frame = client.recvFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->opcode, 2);
    EXPECT_EQ(frame->payload, "binary");
    EXPECT_TRUE(client.connection().closedSilently()) << "no close frame";
    EXPECT_TRUE(waitUntil([&] { return recorder.closed == 1; }));
}

TEST(NetWebSocket, HookMayCloseItsConnection) {
    Recorder recorder;
    Bridge bridge([&](mbnet::Server& server) {
        recorder.hook(server);
        server.onWsMessage = [](const Connection& connection, const std::string&, bool) {
            connection->close();
        };
    });
    WsClient client(bridge.port, "sesame");
    client.sendText("go");
    EXPECT_TRUE(client.connection().closedSilently());
    EXPECT_TRUE(waitUntil([&] { return recorder.closed == 1; }));
}

TEST(NetWebSocket, PushesNeverLandInAnotherConnection) {
    Bridge bridge([](mbnet::Server& server) { server.route("/echo", mbtest::echo, false); });
    std::atomic<bool> over{false};
    std::atomic<int> wrong{0}, right{0}, channels{0};
    std::thread pusher([&] {
        while (!over) bridge.server.broadcast("a push that must not be seen in an answer");
    });
    std::vector<std::thread> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back([&] {
            // The server closes while pushes go on.
            while (!over) {
                WsClient channel(bridge.port, "sesame");
                if (channel.send(8, "") && channel.connection().recvToEnd()) ++channels;
            }
        });
        // Each request on a connection of its own, so that numbers are used again at once.
        clients.emplace_back([&] {
            while (!over) {
                const bool good = HttpClient(bridge.port).get("/echo").body == "GET\n/echo\n\n";
                ++(good ? right : wrong);
            }
        });
    }
    EXPECT_TRUE(waitUntil([&] { return right > 1000 && channels > 300; }, 60000));
    over = true;
    pusher.join();
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(wrong, 0);
}

TEST(NetWebSocket, DescriptorsAreGivenBack) {
    Bridge bridge;
    const int before = mbtest::openDescriptors();
    for (int i = 0; i < 50; ++i) {
        WsClient client(bridge.port, "sesame");
        expectPong(client, "here");
        HttpClient http(bridge.port);
        EXPECT_EQ(http.get("/").status, 200);
    }
    EXPECT_TRUE(waitUntil([&] { return mbtest::openDescriptors() == before; }));
}

}  // namespace
