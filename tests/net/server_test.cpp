// HTTP over real sockets.

#include <gtest/gtest.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "bridge.hpp"

namespace {

using namespace std::string_literals;

using mbnet::Request;
using mbnet::Response;
using mbtest::Bridge;
using mbtest::echo;
using mbtest::HttpAnswer;
using mbtest::HttpClient;
using mbtest::RawSocket;

void addEcho(mbnet::Server& server) { server.route("/echo", echo, true); }

std::string echoRequest(const std::string& more, const std::string& body = "") {
    return "POST /echo?token=sesame HTTP/1.1\r\n" + more + "\r\n" + body;
}

std::string echoBody(const std::string& body) {
    return "POST\n/echo\ntoken=sesame\n?token=sesame\n" + body;
}

mbnet::Handler answering(const std::string& text) {
    return [text](const Request&, Response& response) {
        response.body = text;
        return true;
    };
}

uint32_t segmentsReceived(const RawSocket& socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    EXPECT_EQ(::getsockopt(socket.descriptor(), IPPROTO_TCP, TCP_INFO, &info, &size), 0);
    return info.tcpi_data_segs_in;
}

TEST(NetServer, AnswerIsExactToTheByte) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/a",
            [](const Request&, Response& response) {
                response.headers = {{"X-B", "2"}, {"X-A", "1"}};
                response.body = "{}";
                return true;
            },
            false);
    });
    RawSocket client(bridge.port);
    client.send("GET /a HTTP/1.1\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client.recvToEnd(),
              "HTTP/1.1 200 OK\r\nContent-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 2\r\nConnection: close\r\nX-A: 1\r\nX-B: 2\r\n\r\n{}");
    EXPECT_FALSE(client.wasReset());
}

TEST(NetServer, RequestWithoutVersionIsServedAndClosedGracefully) {
    Bridge bridge;
    RawSocket client(bridge.port);
    // What the server has not read must not make the system throw the answer away.
    client.send("GET /index.html\r\n\r\n" + std::string(30000, 'z'));
    const HttpAnswer answer = mbtest::recvAnswer(client);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("connection"), "close");
    EXPECT_EQ(answer.body, "<h1>page</h1>");
    EXPECT_TRUE(client.closedSilently());
    EXPECT_FALSE(client.wasReset());
}

TEST(NetServer, GracefulCloseGivesUpOnAClientThatStays) {
    Bridge bridge;
    RawSocket client(bridge.port);
    client.send("GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(mbtest::recvAnswer(client).status, 200);
    EXPECT_TRUE(client.closedSilently());
    // The server's side is closed for good 200 ms later, and the system then refuses what comes.
    EXPECT_TRUE(mbtest::waitUntil([&] { return !client.send("x"); }));
}

TEST(NetServer, PipelinedRequestsAreAnsweredInOrder) {
    Bridge bridge(addEcho);
    RawSocket client(bridge.port);
    std::string requests;
    for (int i = 0; i < 50; ++i)
        requests += echoRequest("Content-Length: 2\r\n", std::to_string(10 + i));
    client.send(requests);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(mbtest::recvAnswer(client).body, echoBody(std::to_string(10 + i)));
}

TEST(NetServer, RequestsCutAtEveryByteAreTheSame) {
    Bridge bridge(addEcho);
    const std::string bytes =
        echoRequest("Content-Length: 5\r\nX: y\r\n", "a\r\n\r\n") + echoRequest("", "");
    RawSocket client(bridge.port);
    for (size_t cut = 1; cut < bytes.size(); ++cut) {
        client.send(bytes.substr(0, cut));
        client.send(bytes.substr(cut));
        ASSERT_EQ(mbtest::recvAnswer(client).body, echoBody("a\r\n\r\n")) << cut;
        ASSERT_EQ(mbtest::recvAnswer(client).body, echoBody("")) << cut;
    }
    for (const char byte : bytes) client.send({&byte, 1});
    EXPECT_EQ(mbtest::recvAnswer(client).body, echoBody("a\r\n\r\n"));
    EXPECT_EQ(mbtest::recvAnswer(client).body, echoBody(""));
}

TEST(NetServer, MalformedRequestLineIsClosedSilently) {
    Bridge bridge;
    for (const std::string bytes :
         {"GET\r\n\r\n", "\r\n\r\n", "\r\nGET / HTTP/1.1\r\n\r\n", "   \r\n\r\n"}) {
        RawSocket client(bridge.port);
        client.send(bytes);
        EXPECT_TRUE(client.closedSilently()) << bytes;
    }
}

TEST(NetServer, OversizedHeadIsClosedSilently) {
    Bridge bridge;
    RawSocket client(bridge.port);
    client.send("GET / HTTP/1.1\r\nX: " + std::string(70000, 'x'));
    EXPECT_TRUE(client.closedSilently());
}

TEST(NetServer, HeadUpToTheLimitIsServed) {
    Bridge bridge;
    RawSocket client(bridge.port);
    std::string head = "GET / HTTP/1.1\r\nX: ";
    head.append(65536 - head.size(), 'x');
    client.send(head);
    client.send("\r\n\r\n");
    EXPECT_EQ(mbtest::recvAnswer(client).status, 200);
}

TEST(NetServer, ClientThatLeavesInTheMiddleHarmsNobody) {
    Bridge bridge(addEcho);
    for (const std::string& bytes :
         {std::string(), std::string("GET / HT"), echoRequest("Content-Length: 100\r\n", "half")}) {
        RawSocket client(bridge.port);
        client.send(bytes);
        client.finishSending();
        EXPECT_TRUE(client.closedSilently()) << bytes;
    }
    EXPECT_EQ(HttpClient(bridge.port).get("/").status, 200);
}

TEST(NetServer, OddContentLengthsAreSurvived) {
    Bridge bridge(addEcho);
    for (const std::string length : {"abc", "", "0", "-0", "99999999999999999999999", "0x10"}) {
        RawSocket client(bridge.port);
        client.send(echoRequest("Content-Length: " + length + "\r\n"));
        const HttpAnswer answer = mbtest::recvAnswer(client);
        EXPECT_EQ(answer.status, 200) << length;
        EXPECT_EQ(answer.body, echoBody("")) << length;
        EXPECT_EQ(answer.header("connection"), "keep-alive") << length;
    }
    for (const std::string length : {"+3", "3abc", "3 4", "\v3", "003"}) {
        RawSocket client(bridge.port);
        client.send(echoRequest("Content-Length: " + length + "\r\n", "xyz"));
        EXPECT_EQ(mbtest::recvAnswer(client).body, echoBody("xyz")) << length;
    }
}

TEST(NetServer, BodyOverTheLimitIsRefusedUnread) {
    Bridge bridge(addEcho);
    for (const std::string length : {"67108865", "-1", "18446744073709551615"}) {
        RawSocket client(bridge.port);
        client.send(echoRequest("Content-Length: " + length + "\r\n", std::string(100000, 'z')));
        EXPECT_EQ(client.recvToEnd(), "HTTP/1.1 413 Payload Too Large\r\nContent-Length: 45\r\n"
                                      "Content-Type: application/json\r\nConnection: close\r\n\r\n"
                                      "{\"ok\":false,\"error\":\"request body too large\"}")
            << length;
        EXPECT_FALSE(client.wasReset()) << length;
    }
}

TEST(NetServer, BodyOfExactlyTheLimitIsAccepted) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/size",
            [](const Request& request, Response& response) {
                const size_t other = request.body.find_first_not_of('b');
                response.body = std::to_string(request.body.size()) +
                                (other == std::string::npos ? " all b" : " mixed");
                return true;
            },
            true);
    });
    HttpClient client(bridge.port, "sesame");
    const HttpAnswer answer =
        client.request("POST", "/size", {}, std::string(67108864, 'b'), 60000);
    EXPECT_EQ(answer.body, "67108864 all b");
}

TEST(NetServer, ChunkedBodyIsReadAsTheNextRequest) {
    Bridge bridge(addEcho);
    RawSocket client(bridge.port);
    client.send(echoRequest("Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n\r\n"));
    EXPECT_EQ(mbtest::recvAnswer(client).body, echoBody(""));
    EXPECT_TRUE(client.closedSilently()) << "the first line of the chunk has one word";
}

TEST(NetServer, HandlerSeesTheDecodedRequest) {
    Bridge bridge([](mbnet::Server& server) {
        server.token = "";
        server.route("/", echo, true);
    });
    const std::pair<std::string, std::string> kRows[] = {
        {"/a%2Fb", "GET\n/a/b\n\n"},
        {"/a+b", "GET\n/a b\n\n"},
        {"/%zz%4", "GET\n/%zz%4\n\n"},
        {"/p?a=%2B+&a=2", "GET\n/p\na=%2B+&a=2\n?a=2\n"},
        {"/p?q=1?2", "GET\n/p\nq=1?2\n?q=1?2\n"},
        {"/n%00l", "GET\n/n\0l\n\n"s},
    };
    HttpClient client(bridge.port);
    for (const auto& [target, seen] : kRows) EXPECT_EQ(client.get(target).body, seen) << target;
}

TEST(NetServer, RawNulBytesInTheHeadAreKept) {
    Bridge bridge([](mbnet::Server& server) { server.route("/", echo, false); });
    RawSocket client(bridge.port);
    client.send("GE\0T /a\0b HTTP/1.1\r\nX\0: \0\r\n\r\n"s);
    EXPECT_EQ(mbtest::recvAnswer(client).body, "GE\0T\n/a\0b\n\n"s);
}

TEST(NetServer, LongestPrefixIsAskedFirstWithoutABoundary) {
    Bridge bridge([](mbnet::Server& server) {
        server.route("/api/c", answering("c"), false);
        server.route("/api/config", answering("config"), false);
        server.route("/api/con", answering("con"), false);
    });
    HttpClient client(bridge.port);
    EXPECT_EQ(client.get("/api/config").body, "config");
    EXPECT_EQ(client.get("/api/configure").body, "config");
    EXPECT_EQ(client.get("/api/confi").body, "con");
    EXPECT_EQ(client.get("/api/c").body, "c");
    EXPECT_EQ(client.get("/api/").status, 404);
    std::vector<std::string> prefixes;
    for (const mbnet::Route& route : bridge.server.routeTable()) prefixes.push_back(route.prefix);
    EXPECT_EQ(prefixes, (std::vector<std::string>{"/api/config", "/api/con", "/api/c"}));
}

TEST(NetServer, DecliningHandlerLeavesItsTracesToTheNext) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/api/long",
            [](const Request&, Response& response) {
                response.headers["X-Trace"] = "left";
                response.status = 409;
                return false;
            },
            false);
        server.route(
            "/api",
            [](const Request& request, Response& response) {
                response.body = "short";
                return request.path != "/api/long/none";
            },
            false);
    });
    HttpClient client(bridge.port);
    const HttpAnswer answer = client.get("/api/long");
    EXPECT_EQ(answer.head.substr(0, 17), "HTTP/1.1 409 OK\r\n");
    EXPECT_EQ(answer.header("x-trace"), "left");
    EXPECT_EQ(answer.body, "short");
    const HttpAnswer none = client.get("/api/long/none");
    EXPECT_EQ(none.status, 404);
    EXPECT_EQ(none.header("x-trace"), "") << "the static answer is a new one";
    EXPECT_EQ(client.get("/api/../../x").status, 200);
}

TEST(NetServer, DeclinedPathFallsThroughToTheFiles) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/api/", [](const Request&, Response&) { return false; }, true);
    });
    HttpClient client(bridge.port, "sesame");
    const HttpAnswer missing = client.get("/api/x");
    EXPECT_EQ(missing.status, 404);
    EXPECT_EQ(missing.body, "{\"ok\":false,\"error\":\"not found: /api/x\"}");
    EXPECT_EQ(client.get("/api/../../x").status, 403);
    bridge.root.write("api/there.txt", "a file");
    EXPECT_EQ(client.get("/api/there.txt").body, "a file");
}

TEST(NetServer, MissingTokenIsRefusedAndTheConnectionStays) {
    Bridge bridge([](mbnet::Server& server) {
        server.route("/api/state", answering("{}"), true);
        server.route("/vendor/", answering("vendor"), false);
    });
    HttpClient client(bridge.port);
    for (const std::string method : {"GET", "POST", "PUT"}) {
        const HttpAnswer refused = client.request(method, "/api/state", {}, "");
        EXPECT_EQ(refused.status, 401);
        EXPECT_EQ(refused.body, "{\"ok\":false,\"error\":\"invalid or missing session token\"}");
        EXPECT_EQ(refused.header("content-type"), "application/json; charset=utf-8");
        EXPECT_EQ(refused.header("connection"), "keep-alive");
    }
    EXPECT_TRUE(client.connection().connected());
    EXPECT_EQ(client.get("/api/state?token=sesame").body, "{}");
    EXPECT_EQ(client.get("/vendor/x.js").body, "vendor");
    const HttpAnswer unknown = client.get("/api/foo");
    EXPECT_EQ(unknown.status, 404);
    EXPECT_EQ(unknown.body, "{\"ok\":false,\"error\":\"not found: /api/foo\"}");
}

TEST(NetServer, MissingTokenEndsTheWalk) {
    std::atomic<int> asked{0};
    Bridge bridge([&](mbnet::Server& server) {
        server.route("/api/secret", answering("secret"), true);
        server.route(
            "/api", [&](const Request&, Response&) { return ++asked > 0; }, false);
    });
    EXPECT_EQ(HttpClient(bridge.port).get("/api/secret").status, 401);
    EXPECT_EQ(asked, 0);
}

TEST(NetServer, TokenIsTakenFromQueryHeaderOrCookie) {
    Bridge bridge([](mbnet::Server& server) { server.route("/api/state", answering("{}"), true); });
    struct Row {
        std::string target;
        mbtest::Headers headers;
        int status;
    };
    const Row kRows[] = {
        {"?token=sesame", {}, 200},
        {"?token=ses%61me", {}, 200},
        {"?token=sesame&token=x", {}, 401},
        {"?token=sesam", {}, 401},
        {"?token=", {}, 401},
        {"", {{"x-marlin-token", "sesame"}}, 200},
        {"?token=x", {{"X-Marlin-Token", " sesame "}}, 200},
        {"", {{"X-Marlin-Token", "Sesame"}}, 401},
        {"", {{"Cookie", "marlin_token=sesame"}}, 200},
        {"", {{"Cookie", "a=b; marlin_token=sesame; c=d"}}, 200},
        {"", {{"Cookie", "marlin_token=sesame-and-more"}}, 200},
        {"", {{"Cookie", "old_marlin_token=sesame"}}, 200},
        {"", {{"Cookie", "marlin_token=x; y=sesame"}}, 401},
        {"", {{"Cookie", "Marlin_Token=sesame"}}, 401},
        {"", {{"Cookie", "marlin_token=sesam"}}, 401},
        {"", {{"Authorization", "sesame"}}, 401},
    };
    HttpClient client(bridge.port);
    for (const Row& row : kRows)
        EXPECT_EQ(client.get("/api/state" + row.target, row.headers).status, row.status)
            << row.target << testing::PrintToString(row.headers);
}

TEST(NetServer, NoContentCarriesNeitherTypeNorLengthNorBody) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/none",
            [](const Request&, Response& response) {
                response.status = 204;
                response.body = "never sent";
                return true;
            },
            false);
    });
    RawSocket client(bridge.port);
    client.send("GET /none HTTP/1.1\r\n\r\nGET /none HTTP/1.0\r\n\r\n");
    EXPECT_EQ(client.recvToEnd(), "HTTP/1.1 204 No Content\r\nConnection: keep-alive\r\n\r\n"
                                  "HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n");
}

TEST(NetServer, BodiesAroundTheSizeOfOneSendArriveWhole) {
    Bridge bridge([](mbnet::Server& server) {
        server.route(
            "/size",
            [](const Request& request, Response& response) {
                response.body.assign(std::stoul(request.param("n")), 'x');
                return true;
            },
            false);
    });
    HttpClient client(bridge.port);
    for (const size_t size :
         {size_t{0}, size_t{65535}, size_t{65536}, size_t{65537}, size_t{9000000}})
        EXPECT_EQ(client.get("/size?n=" + std::to_string(size)).body, std::string(size, 'x'));
}

TEST(NetServer, SmallAnswerIsOneSegment) {
    Bridge bridge([](mbnet::Server& server) {
        server.route("/small", answering(std::string(2000, 'x')), false);
    });
    RawSocket client(bridge.port);
    for (uint32_t requests = 1; requests <= 5; ++requests) {
        client.send("GET /small HTTP/1.1\r\n\r\n");
        EXPECT_EQ(mbtest::recvAnswer(client).body.size(), 2000U);
        EXPECT_EQ(segmentsReceived(client), requests);
    }
}

TEST(NetServer, AnswerThatCannotBeSentEndsTheConnectionOnly) {
    Bridge bridge([](mbnet::Server& server) {
        server.route("/large", answering(std::string(30000000, 'x')), false);
    });
    for (int i = 0; i < 5; ++i) {
        RawSocket client(bridge.port);
        client.send("GET /large HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(client.recvUntil("\r\n\r\n"));
    }
    EXPECT_EQ(HttpClient(bridge.port).get("/").status, 200);
}

TEST(NetServer, StartOnATakenPortGivesZero) {
    Bridge bridge;
    ASSERT_GT(bridge.port, 0);
    EXPECT_EQ(bridge.server.boundPort(), bridge.port);
    mbnet::Server second;
    EXPECT_EQ(second.start(bridge.port), 0);
    EXPECT_EQ(second.boundPort(), 0);
    second.stop();
    const int freed = bridge.port;
    bridge.server.stop();
    mbnet::Server third;
    EXPECT_EQ(third.start(freed), freed) << "a port just left can be taken again";
}

TEST(NetServer, ListensOnTheLoopbackAddressOnly) {
    Bridge bridge;
    sockaddr_in other{};
    other.sin_family = AF_INET;
    other.sin_addr.s_addr = htonl(0x7F000002);  // 127.0.0.2: this machine, not our address
    other.sin_port = htons(static_cast<uint16_t>(bridge.port));
    const mbutil::Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_NE(::connect(socket.value, reinterpret_cast<const sockaddr*>(&other), sizeof other), 0);
}

}  // namespace
