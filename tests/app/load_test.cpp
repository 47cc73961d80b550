// Many connections at once.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>

#include "app/app_test.hpp"
#include "support/display.hpp"

namespace {

using mbtest::Layout;
using mbtest::Program;
using mbtest::RawSocket;

constexpr int kIdle = 2000;
constexpr int kBusy = 64;
constexpr int kRequestsEach = 50;

// Both sides of each connection need a descriptor; the program inherits the limit.
bool allowDescriptors(rlim_t wanted) {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max < wanted) return false;
    limit.rlim_cur = std::max(limit.rlim_cur, wanted);
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

// One request on a connection that stays open.
bool ask(RawSocket& socket, const std::string& request) {
    return socket.send(request) && mbtest::recvAnswer(socket).status == 200;
}

TEST(AppLoad, TwoThousandIdleAndSixtyFourBusyConnectionsAreHeldAndAnswered) {
    if (!allowDescriptors(4096)) GTEST_SKIP() << "no more than 4096 descriptors are allowed here";
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    const int threadsBefore = mbtest::threadsOf(program.process.pid());
    const int descriptorsBefore = mbtest::descriptorsOf(program.process.pid());
    const std::string request =
        "GET /api/ui-state HTTP/1.1\r\nX-Marlin-Token: " + program.token() + "\r\n\r\n";
    std::vector<std::unique_ptr<RawSocket>> idle;
    for (int i = 0; i < kIdle; ++i) {
        idle.push_back(std::make_unique<RawSocket>(program.port()));
        ASSERT_TRUE(ask(*idle.back(), request)) << "connection " << i;
    }
    std::atomic<int> answered{0};
    std::vector<std::thread> busy;
    for (int i = 0; i < kBusy; ++i)
        busy.emplace_back([&] {
            RawSocket socket(program.port());
            for (int k = 0; k < kRequestsEach; ++k)
                if (ask(socket, request)) ++answered;
        });
    for (std::thread& thread : busy) thread.join();
    EXPECT_EQ(answered, kBusy * kRequestsEach);
    int held = 0;
    for (const auto& socket : idle)
        if (ask(*socket, request)) ++held;
    EXPECT_EQ(held, kIdle);
    EXPECT_TRUE(program.window());
    idle.clear();
    EXPECT_TRUE(mbtest::waitUntil(
        [&] {
            return mbtest::threadsOf(program.process.pid()) <= threadsBefore + 4 &&
                   mbtest::descriptorsOf(program.process.pid()) <= descriptorsBefore + 8;
        },
        20000));
    (void)program.request("/api/shutdown");
    EXPECT_EQ(program.process.waitForExit(), 0) << program.errors();
}

}  // namespace
