// Stop and destruction while clients are about, shortage, and many connections at once.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bridge.hpp"

namespace {

using mbnet::Request;
using mbnet::Response;
using mbtest::Bridge;
using mbtest::HttpClient;
using mbtest::RawSocket;
using mbtest::WsClient;

// A handler that stays inside until the test lets it go.
struct SlowRoute {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> inside{0};

    void add(mbnet::Server& server) {
        server.route(
            "/slow",
            [this](const Request&, Response& response) {
                ++inside;
                released.wait();
                response.body = "late";
                return true;
            },
            false);
    }
};

// Puts the limit back at the end.
class ScopedLimit {
public:
    ScopedLimit(__rlimit_resource limited, rlim_t soft) : resource(limited) {
        ::getrlimit(resource, &before);
        rlimit wanted = before;
        wanted.rlim_cur = soft;
        set = ::setrlimit(resource, &wanted) == 0;
    }
    ~ScopedLimit() { ::setrlimit(resource, &before); }
    bool set = false;

private:
    __rlimit_resource resource;
    rlimit before{};
};

TEST(NetLifecycle, StopIsIdempotentAndRefusesNewConnections) {
    Bridge bridge;
    EXPECT_EQ(HttpClient(bridge.port).get("/").status, 200);
    bridge.server.stop();
    bridge.server.stop();
    EXPECT_FALSE(RawSocket(bridge.port).connected());
    EXPECT_TRUE(bridge.server.waitForHandlers(10000));
    EXPECT_TRUE(bridge.server.waitForHandlers(0));
}

TEST(NetLifecycle, StopWithoutStartDoesNothing) {
    mbnet::Server server;
    server.stop();
    EXPECT_TRUE(server.waitForHandlers(0));
    server.broadcast("nobody");
}

TEST(NetLifecycle, StopClosesWebSocketsAndRunsTheirHook) {
    std::atomic<int> closed{0};
    Bridge bridge([&](mbnet::Server& server) {
        server.onWsClose = [&](const auto& connection) {
            EXPECT_FALSE(connection->isOpen());
            ++closed;
        };
    });
    WsClient first(bridge.port, "sesame"), second(bridge.port, "sesame");
    ASSERT_TRUE(first.connected() && second.connected());
    EXPECT_FALSE(bridge.server.waitForHandlers(0)) << "a WebSocket counts as inside";
    bridge.server.stop();
    EXPECT_TRUE(first.connection().closedSilently());
    EXPECT_TRUE(second.connection().closedSilently());
    EXPECT_TRUE(bridge.server.waitForHandlers(10000));
    EXPECT_EQ(closed, 2);
}

TEST(NetLifecycle, StopFreesAPusherWhoseClientDoesNotRead) {
    Bridge bridge;
    WsClient client(bridge.port, "sesame");
    ASSERT_TRUE(client.connected());
    std::atomic<bool> stopped{false};
    std::thread pusher([&] {
        const std::string text(1000000, 'x');
        while (!stopped) bridge.server.broadcast(text);
    });
    // Its first bytes are here, and the rest is more than any buffer holds: the pusher is stuck.
    EXPECT_TRUE(client.connection().recvExactly(10));
    bridge.server.stop();
    stopped = true;
    pusher.join();
    EXPECT_TRUE(bridge.server.waitForHandlers(10000));
}

TEST(NetLifecycle, ServerMayGoWhileConnectionsIdleAndHandlersRun) {
    SlowRoute slow;
    auto bridge = std::make_unique<Bridge>([&](mbnet::Server& server) { slow.add(server); });
    std::vector<HttpClient> idle;
    for (int i = 0; i < 50; ++i) ASSERT_EQ(idle.emplace_back(bridge->port).get("/").status, 200);
    std::vector<RawSocket> halves(5), waiting(5);
    for (RawSocket& half : halves) {
        ASSERT_TRUE(half.connect(bridge->port));
        half.send("GET / HT");
    }
    for (RawSocket& client : waiting) {
        ASSERT_TRUE(client.connect(bridge->port));
        client.send("GET /slow HTTP/1.1\r\n\r\n");
    }
    WsClient channel(bridge->port, "sesame");
    ASSERT_TRUE(mbtest::waitUntil([&] { return slow.inside == 5; }));

    bridge->server.stop();
    EXPECT_FALSE(bridge->server.waitForHandlers(50));
    slow.release.set_value();
    EXPECT_TRUE(bridge->server.waitForHandlers(10000));
    bridge.reset();

    for (RawSocket& client : waiting) {
        EXPECT_EQ(mbtest::recvAnswer(client).body, "late");
        EXPECT_TRUE(client.closedSilently());
    }
    for (HttpClient& client : idle) {
        client.connection().send("GET /slow HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(client.connection().closedSilently());
    }
    for (RawSocket& half : halves) {
        half.send("TP/1.1\r\n\r\n");
        EXPECT_TRUE(half.closedSilently());
    }
    EXPECT_TRUE(channel.connection().closedSilently());
}

TEST(NetLifecycle, DestructorWaitsForHandlers) {
    SlowRoute slow;
    auto bridge = std::make_unique<Bridge>([&](mbnet::Server& server) { slow.add(server); });
    RawSocket client(bridge->port);
    client.send("GET /slow HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(mbtest::waitUntil([&] { return slow.inside == 1; }));
    std::future<void> destroyed = std::async(std::launch::async, [&] { bridge.reset(); });
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    slow.release.set_value();
    EXPECT_EQ(destroyed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(mbtest::recvAnswer(client).body, "late");
}

TEST(NetLifecycle, ReaderOfALargeAnswerDoesNotHoldTheEnd) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/large",
            [](const Request&, Response& response) {
                response.body.assign(50000000, 'x');
                return true;
            },
            false);
    });
    RawSocket client(bridge.port);
    client.send("GET /large HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(client.recvUntil("\r\n\r\n"));
    bridge.server.stop();
    EXPECT_TRUE(bridge.server.waitForHandlers(10000));
    EXPECT_EQ(client.recvExactly(50000000, 30000), std::string(50000000, 'x'));
}

TEST(NetLifecycle, ConnectionsComeAndGoDuringAStop) {
    for (int round = 0; round < 20; ++round) {
        auto bridge = std::make_unique<Bridge>();
        const int port = bridge->port;
        std::atomic<bool> over{false};
        std::atomic<int> served{0};
        std::vector<std::thread> clients;
        for (int i = 0; i < 4; ++i) {
            clients.emplace_back([&, i] {
                while (!over) {
                    if (i % 2 == 0)
                        served += HttpClient(port).get("/").status == 200 ? 1 : 0;
                    else
                        served += WsClient(port, "sesame").connected() ? 1 : 0;
                }
            });
        }
        EXPECT_TRUE(mbtest::waitUntil([&] { return served > 20; }));
        bridge.reset();
        over = true;
        for (std::thread& client : clients) client.join();
    }
}

TEST(NetLifecycle, SilenceEndsHttpConnectionsButNotWebSockets) {
    Bridge bridge([](mbnet::Server& server) { server.route("/echo", mbtest::echo, false); });
    WsClient channel(bridge.port, "sesame");
    HttpClient afterOne(bridge.port);
    ASSERT_EQ(afterOne.get("/").status, 200);
    const auto start = std::chrono::steady_clock::now();
    std::vector<RawSocket> silent(3);
    for (RawSocket& client : silent) ASSERT_TRUE(client.connect(bridge.port));
    silent[1].send("GET / HTTP/1.1\r\nX:");
    silent[2].send("POST /echo HTTP/1.1\r\nContent-Length: 9\r\n\r\nhalf");
    for (RawSocket& client : silent) EXPECT_TRUE(client.closedSilently(30000));
    EXPECT_TRUE(afterOne.connection().closedSilently(30000));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(14900));
    EXPECT_LT(waited, std::chrono::seconds(25));
    bridge.server.broadcast("still here");
    EXPECT_EQ(channel.recvText(), "still here");
}

TEST(NetLifecycle, ShortageOfThreadsCostsTheConnectionOnly) {
    Bridge bridge;
    pthread_attr_t before, huge;
    ASSERT_EQ(::pthread_getattr_default_np(&before), 0);
    ASSERT_EQ(::pthread_getattr_default_np(&huge), 0);
    // No machine has room for such a stack, so no thread can be made.
    ASSERT_EQ(::pthread_attr_setstacksize(&huge, size_t{1} << 46), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
    RawSocket refused(bridge.port);
    refused.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(refused.closedSilently());
    ASSERT_EQ(::pthread_setattr_default_np(&before), 0);
    EXPECT_EQ(HttpClient(bridge.port).get("/").status, 200);
    ::pthread_attr_destroy(&before);
    ::pthread_attr_destroy(&huge);
}

TEST(NetLifecycle, ShortageOfDescriptorsDelaysTheConnectionOnly) {
    Bridge bridge;
    RawSocket probe(bridge.port);
    ASSERT_TRUE(probe.send("GET / HTTP/1.1\r\n\r\n"));
    ASSERT_EQ(mbtest::recvAnswer(probe).status, 200);  // the server's end is open too
    RawSocket first, second;
    ASSERT_TRUE(first.prepare() && second.prepare());
    std::vector<mbutil::Fd> fillers;
    const ScopedLimit few(RLIMIT_NOFILE, static_cast<rlim_t>(probe.descriptor()) + 20);
    ASSERT_TRUE(few.set);
    for (;;) {
        mbutil::Fd filler(::dup(probe.descriptor()));
        if (!filler) break;
        fillers.push_back(std::move(filler));
    }
    // No EXPECT until there are descriptors again: sanitizers need one for their own checks.
    const std::string request = "GET / HTTP/1.1\r\n\r\n";
    const bool sent = first.connect(bridge.port) && first.send(request) &&
                      second.connect(bridge.port) && second.send(request);
    // An accept that waits has its number already, so the first may get through; the next cannot.
    const bool tooEarly = second.recvSome(200).has_value();
    fillers.clear();
    EXPECT_TRUE(sent);
    EXPECT_FALSE(tooEarly);
    EXPECT_EQ(mbtest::recvAnswer(first).body, "<h1>page</h1>");
    EXPECT_EQ(mbtest::recvAnswer(second).body, "<h1>page</h1>");
}

TEST(NetLifecycle, ManyIdleAndBusyConnectionsAreHeldAndAnswered) {
    constexpr int kIdle = 2000, kBusy = 64, kRequests = 50;
    // Both ends are in this process.
    const ScopedLimit descriptors(RLIMIT_NOFILE, 2 * (kIdle + kBusy) + 200);
    ASSERT_TRUE(descriptors.set);
    Bridge bridge([](mbnet::Server& server) { server.route("/echo", mbtest::echo, false); });
    std::vector<RawSocket> idle(kIdle);
    for (RawSocket& client : idle) {
        ASSERT_TRUE(client.connect(bridge.port));
        ASSERT_TRUE(client.send("GET /echo?first HTTP/1.1\r\n\r\n"));
    }
    for (RawSocket& client : idle)
        ASSERT_EQ(mbtest::recvAnswer(client, 30000).body, "GET\n/echo\nfirst\n?first=\n");
    std::atomic<int> answered{0};
    std::vector<std::thread> busy;
    for (int i = 0; i < kBusy; ++i) {
        busy.emplace_back([&, i] {
            HttpClient client(bridge.port);
            for (int k = 0; k < kRequests; ++k) {
                const std::string body = std::to_string(i) + "/" + std::to_string(k);
                if (client.post("/echo", body).body == "POST\n/echo\n\n" + body) ++answered;
            }
        });
    }
    for (std::thread& client : busy) client.join();
    EXPECT_EQ(answered, kBusy * kRequests);
    for (RawSocket& client : idle) ASSERT_TRUE(client.send("GET /echo?second HTTP/1.1\r\n\r\n"));
    for (RawSocket& client : idle)
        ASSERT_EQ(mbtest::recvAnswer(client, 30000).body, "GET\n/echo\nsecond\n?second=\n");
}

}  // namespace
