#include "update/transport.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "https_server.hpp"
#include "sandbox.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::HttpsServer;
using mbtest::Reply;
using mbtest::ScopedEnv;
using mbupdate::httpGet;
using mbupdate::Sink;
using mbupdate::StopSignal;
using mbupdate::TransportLimits;

struct Outcome {
    bool complete = false;
    std::string body;
    std::string error;
    std::vector<uint64_t> totals;
};

struct UpdateTransport : mbtest::SandboxTest {
    StopSignal stop;

    Outcome get(const std::string& url, const TransportLimits& limits = {}) const {
        Outcome outcome;
        const Sink sink = [&](const char* data, size_t length, uint64_t total) {
            outcome.body.append(data, length);
            outcome.totals.push_back(total);
            return true;
        };
        outcome.complete = httpGet(url, sink, stop, outcome.error, limits);
        EXPECT_EQ(outcome.complete, outcome.error.empty());
        return outcome;
    }
};

Reply text(std::string body, int status = 200) {
    Reply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

Reply redirect(const std::string& location) {
    Reply reply = text("a page that nobody sees, and longer than what it leads to", 302);
    reply.headers = {"Location: " + location};
    return reply;
}

TEST_F(UpdateTransport, GetsAFile) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/file?x=1", text("hello"));
    for (const char* host : {"127.0.0.1", "localhost"}) {
        const Outcome got = get(server.url("/file?x=1", host));
        EXPECT_TRUE(got.complete) << got.error;
        EXPECT_EQ(got.body, "hello");
        EXPECT_EQ(got.totals, std::vector<uint64_t>{5});
    }
    const std::string head = server.requests().at(0);
    for (const char* line : {"GET /file?x=1 HTTP/", "User-Agent: MarlinBench-Updater\r\n",
                             "Cache-Control: no-cache\r\n", "Pragma: no-cache\r\n"})
        EXPECT_NE(head.find(line), std::string::npos) << head;
}

TEST_F(UpdateTransport, RefusesPlainHttp) {
    for (const char* url : {"http://127.0.0.1/", "", "HTTPS://127.0.0.1/", "file:///etc/passwd"})
        EXPECT_EQ(get(url).error, "refusing a plain http update url") << url;
}

TEST_F(UpdateTransport, RefusesACertificateThatIsNotTrusted) {
    HttpsServer stranger(mbtest::makeIdentity());
    stranger.serve("/", text("hello"));
    const Outcome got = get(stranger.url("/"));
    EXPECT_TRUE(mbutil::startsWith(got.error, "the update request failed: ")) << got.error;
    EXPECT_EQ(got.body, "");
    EXPECT_TRUE(stranger.requests().empty());
}

TEST_F(UpdateTransport, RefusesACertificateOfAnotherHost) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", text("hello"));
    EXPECT_TRUE(get(server.url("/")).complete);
    const Outcome got = get(server.url("/", "127.0.0.2"));
    EXPECT_TRUE(mbutil::startsWith(got.error, "the update request failed: ")) << got.error;
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(UpdateTransport, FollowsFiveRedirects) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/6", redirect(server.url("/5", "localhost")));
    for (int i = 5; i > 0; --i)
        server.serve("/" + std::to_string(i), redirect("/" + std::to_string(i - 1)));
    server.serve("/0", text("hello"));
    const Outcome got = get(server.url("/5"));
    EXPECT_TRUE(got.complete) << got.error;
    EXPECT_EQ(got.body, "hello");
    EXPECT_EQ(get(server.url("/6")).error,
              "the update request failed: Number of redirects hit maximum amount");
}

TEST_F(UpdateTransport, ARedirectStaysOnHttps) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/plain", redirect("http://127.0.0.1:9/"));
    server.serve("/file", redirect("file:///etc/passwd"));
    for (const char* path : {"/plain", "/file"})
        EXPECT_EQ(get(server.url(path)).error, "the update request failed: Unsupported protocol");
}

TEST_F(UpdateTransport, OtherAnswersAreFailures) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/broken", text("no", 500));
    server.serve("/nothing", text("", 204));
    server.serve("/nowhere", text("a redirect without a place", 302));
    EXPECT_EQ(get(server.url("/missing")).error, "no release has been published there yet");
    EXPECT_EQ(get(server.url("/broken")).error, "the update server answered 500");
    EXPECT_EQ(get(server.url("/nothing")).error, "the update server answered 204");
    EXPECT_EQ(get(server.url("/nowhere")).error, "the update server answered 302");
}

TEST_F(UpdateTransport, A404CountsMoreThanItsCutBody) {
    HttpsServer server(mbtest::trustedIdentity());
    Reply reply = text("short", 404);
    reply.missing = 100;
    server.serve("/", reply);
    EXPECT_EQ(get(server.url("/")).error, "no release has been published there yet");
}

TEST_F(UpdateTransport, ACutTransferFails) {
    HttpsServer server(mbtest::trustedIdentity());
    Reply reply = text(std::string(5000, 'x'));
    reply.missing = 1;
    server.serve("/", reply);
    const Outcome got = get(server.url("/"));
    EXPECT_TRUE(mbutil::startsWith(got.error, "the update request failed: ")) << got.error;
    EXPECT_EQ(got.body.size(), 5000U);
}

TEST_F(UpdateTransport, AStalledTransferFails) {
    HttpsServer server(mbtest::trustedIdentity());
    Reply reply = text("begin");
    reply.missing = 100;
    reply.stall = true;
    server.serve("/", reply);
    TransportLimits limits;
    limits.lowSpeedSeconds = 1;
    EXPECT_EQ(get(server.url("/"), limits).error, "the update request failed: Timeout was reached");
}

TEST_F(UpdateTransport, AServerThatIsNotThereFails) {
    EXPECT_TRUE(
        mbutil::startsWith(get("https://127.0.0.1:1/").error, "the update request failed: "));
    EXPECT_TRUE(mbutil::startsWith(get("https://").error, "the update request failed: "));
}

TEST_F(UpdateTransport, WithoutALengthTheTotalIsWhatCameSoFar) {
    HttpsServer server(mbtest::trustedIdentity());
    Reply reply = text(std::string(100000, 'x'));
    reply.announceLength = false;
    server.serve("/file", reply);
    // The length of an answer on the way does not count.
    server.serve("/", redirect("/file"));
    const Outcome got = get(server.url("/"));
    EXPECT_TRUE(got.complete) << got.error;
    ASSERT_GT(got.totals.size(), 1U);
    EXPECT_LT(got.totals.front(), 100000U);
    EXPECT_EQ(got.totals.back(), 100000U);
}

TEST_F(UpdateTransport, TheAnnouncedLengthIsTheTotalInAnyCase) {
    HttpsServer server(mbtest::trustedIdentity());
    Reply reply = text(std::string(100000, 'x'));
    reply.announceLength = false;
    reply.headers = {"cOnTENT-lENGTH:   100000"};
    server.serve("/", reply);
    const Outcome got = get(server.url("/"));
    ASSERT_GT(got.totals.size(), 1U);
    EXPECT_EQ(got.totals.front(), 100000U);
}

TEST_F(UpdateTransport, TheSinkCanStopIt) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", text(std::string(100000, 'x')));
    int calls = 0;
    std::string error;
    const Sink refuse = [&](const char*, size_t, uint64_t) { return ++calls < 2; };
    EXPECT_FALSE(httpGet(server.url("/"), refuse, stop, error));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(error, "the download was interrupted");

    std::string own;
    const Sink tell = [&](const char*, size_t, uint64_t) {
        own = "the sink's own words";
        return false;
    };
    EXPECT_FALSE(httpGet(server.url("/"), tell, stop, own));
    EXPECT_EQ(own, "the sink's own words");
}

TEST_F(UpdateTransport, ASinkWithoutMemoryStopsIt) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", text("hello"));
    std::string error;
    const Sink hungry = [](const char*, size_t, uint64_t) -> bool { throw std::bad_alloc(); };
    EXPECT_FALSE(httpGet(server.url("/"), hungry, stop, error));
    EXPECT_EQ(error, "out of memory");
}

TEST_F(UpdateTransport, TheProxyOfTheEnvironmentIsForItsSchemeOnly) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", text("hello"));
    {
        const ScopedEnv environment{{{"http_proxy", "http://127.0.0.1:1"}, {"https_proxy", {}}}};
        EXPECT_TRUE(get(server.url("/")).complete);
    }
    const ScopedEnv environment{{{"http_proxy", {}}, {"https_proxy", "http://127.0.0.1:1"}}};
    EXPECT_TRUE(mbutil::startsWith(get(server.url("/")).error, "the update request failed: "));
}

TEST_F(UpdateTransport, LeavesNoDescriptors) {
    HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", text("hello"));
    const auto settled = [&] {
        get(server.url("/"));
        get(server.url("/missing"));
        get("https://127.0.0.1:1/");
    };
    settled();
    int before = 0;
    const auto stable = [&] { return std::exchange(before, mbtest::openDescriptors()) == before; };
    ASSERT_TRUE(mbtest::waitUntil(stable));
    settled();
    EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::openDescriptors() == before; }, 30000));
}

}  // namespace
