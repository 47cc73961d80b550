// The end of the updater while something runs: prompt, whatever it waits for, and with nothing left
// behind. Without a stop each of these would wait for longer than the tests' limit.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>

#include "site.hpp"
#include "update/transport.hpp"
#include "util/util.hpp"

namespace {

using mbtest::Reply;
using mbtest::waitUntil;
using mbupdate::Updater;
using Clock = std::chrono::steady_clock;

constexpr auto kPrompt = std::chrono::seconds(10);
constexpr int kLimitMs = 30000;

mbutil::Fd bound(int type, uint16_t& port) {
    mbutil::Fd socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(socket.value, reinterpret_cast<sockaddr*>(&address), length) != 0) return {};
    ::getsockname(socket.value, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return socket;
}

bool readable(const mbutil::Fd& socket) {
    pollfd one = {socket.value, POLLIN, 0};
    return ::poll(&one, 1, kLimitMs) == 1;
}

struct UpdateStop : mbtest::SandboxTest {
    mbtest::TempDir dir;

    void start(Updater& updater, const std::string& url) const {
        updater.configure(url, "", "0.2.5", dir.at("updates"), mbupdate::InstallKind::Deb, "/x");
        updater.checkAsync(true);
    }
    static Clock::duration stopTime(Updater& updater) {
        const auto begin = Clock::now();
        updater.stop();
        return Clock::now() - begin;
    }
};

TEST_F(UpdateStop, InANameLookup) {
    uint16_t port = 53;
    const mbutil::Fd nameServer = bound(SOCK_DGRAM, port);
    if (!nameServer) GTEST_SKIP() << "no right to play the name server";
    Updater updater;
    start(updater, "https://nowhere.example");
    ASSERT_TRUE(readable(nameServer));
    EXPECT_LT(stopTime(updater), kPrompt);
}

TEST_F(UpdateStop, InAConnect) {
    uint16_t port = 0;
    const mbutil::Fd listener = bound(SOCK_STREAM, port);
    ASSERT_EQ(::listen(listener.value, 0), 0);
    // Once its queue is full the kernel does not answer further callers.
    std::vector<mbutil::Fd> callers;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        ::connect(callers.back().value, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    const auto calling = [] {
        // State 02 of the table is a connection whose first packet was not answered.
        const std::string table = mbtest::slurp("/proc/net/tcp");
        int count = 0;
        for (size_t at = 0; (at = table.find(" 02 ", at)) != std::string::npos; ++at) ++count;
        return count;
    };
    const int before = calling();
    Updater updater;
    start(updater, "https://127.0.0.1:" + std::to_string(port));
    ASSERT_TRUE(waitUntil([&] { return calling() > before; }, kLimitMs));
    EXPECT_LT(stopTime(updater), kPrompt);
}

TEST_F(UpdateStop, InAHandshake) {
    uint16_t port = 0;
    const mbutil::Fd listener = bound(SOCK_STREAM, port);
    ASSERT_EQ(::listen(listener.value, 4), 0);
    Updater updater;
    start(updater, "https://127.0.0.1:" + std::to_string(port));
    const mbutil::Fd accepted(::accept4(listener.value, nullptr, nullptr, SOCK_CLOEXEC));
    ASSERT_TRUE(readable(accepted));
    EXPECT_LT(stopTime(updater), kPrompt);
}

Reply stalled() {
    Reply reply;
    reply.body = std::string(5000, 'x');
    reply.missing = 5000;
    reply.stall = true;
    return reply;
}

TEST_F(UpdateStop, InAStallWithinAMoment) {
    mbtest::HttpsServer server(mbtest::trustedIdentity());
    server.serve("/", stalled());
    Clock::duration best = kPrompt;
    for (int i = 0; i < 8; ++i) {
        mbupdate::StopSignal stop;
        std::atomic<size_t> received{0};
        std::thread transfer([&] {
            std::string error;
            const auto sink = [&](const char*, size_t length, uint64_t) {
                received += length;
                return true;
            };
            EXPECT_FALSE(mbupdate::httpGet(server.url("/"), sink, stop, error));
        });
        EXPECT_TRUE(waitUntil([&] { return received == stalled().body.size(); }, kLimitMs));
        const auto begin = Clock::now();
        stop.raise();
        transfer.join();
        best = std::min(best, Clock::now() - begin);
    }
    // Of several, as a busy machine may hold up one. The library's own timers take 200 ms and more.
    EXPECT_LT(best, std::chrono::milliseconds(180));
}

TEST_F(UpdateStop, TheDestructorStopsToo) {
    mbtest::HttpsServer server(mbtest::trustedIdentity());
    server.serve("/linux/stable/update.json", stalled());
    std::atomic<int> told{0};
    const auto begin = Clock::now();
    {
        Updater updater;
        updater.setCallback([&](const mbupdate::Status&) { ++told; });
        start(updater, server.url(""));
        ASSERT_TRUE(waitUntil([&] { return server.requests().size() == 1; }, kLimitMs));
    }
    EXPECT_LT(Clock::now() - begin, kPrompt);
    EXPECT_EQ(told, 1) << "its end is nobody's business any more";
}

TEST_F(UpdateStop, NothingStartsAfterwards) {
    mbtest::HttpsServer server(mbtest::trustedIdentity());
    Updater updater;
    std::atomic<int> told{0};
    updater.setCallback([&](const mbupdate::Status&) { ++told; });
    updater.stop();
    updater.stop();
    start(updater, server.url(""));
    EXPECT_EQ(told, 0);
    EXPECT_EQ(updater.status().state, mbupdate::State::Idle);
    EXPECT_TRUE(server.requests().empty());
}

struct UpdateStopDownload : mbtest::SiteTest {};

TEST_F(UpdateStopDownload, LeavesNoPartBehind) {
    publish(manifest("0.3.0"));
    EXPECT_EQ(check(), "available");
    server.serve("/updates/linux/stable/app.bin", stalled());
    updater.downloadAsync();
    const std::string part = dir.at("updates/app.bin.part");
    ASSERT_TRUE(waitUntil([&] { return updater.status().progress == 50; }, kLimitMs));
    EXPECT_TRUE(mbutil::fileExists(part));
    const auto begin = Clock::now();
    updater.stop();
    EXPECT_LT(Clock::now() - begin, kPrompt);
    EXPECT_FALSE(mbutil::fileExists(part));
}

// The signal is what ends a transfer that nobody else would.
TEST_F(UpdateStop, ARaisedSignalStartsNoTransfer) {
    mbtest::HttpsServer server(mbtest::trustedIdentity());
    mbupdate::StopSignal stop;
    stop.raise();
    std::string error;
    const auto sink = [](const char*, size_t, uint64_t) { return true; };
    EXPECT_FALSE(mbupdate::httpGet(server.url("/"), sink, stop, error));
    EXPECT_TRUE(server.requests().empty());
}

}  // namespace
