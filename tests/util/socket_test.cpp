#include "util/socket.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <thread>

#include "util/fd.hpp"

namespace {

struct Socket : testing::Test {
    mbutil::Fd ours, theirs;

    void SetUp() override {
        int ends[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        ours.reset(ends[0]);
        theirs.reset(ends[1]);
    }
};

TEST_F(Socket, MoreThanTheSocketHoldsArrivesWhole) {
    std::string sent;
    for (int i = 0; sent.size() < (8U << 20); ++i) sent += std::to_string(i);
    std::string received;
    std::thread reader([&] {
        char buffer[4096];
        for (ssize_t got = 0; (got = ::recv(theirs.value, buffer, sizeof buffer, 0)) > 0;)
            received.append(buffer, static_cast<size_t>(got));
    });
    EXPECT_TRUE(mbutil::sendAll(ours.value, sent));
    ours.reset();
    reader.join();
    EXPECT_TRUE(received == sent);
}

TEST_F(Socket, NothingAtAllIsSentAtOnce) { EXPECT_TRUE(mbutil::sendAll(ours.value, "")); }

// The default action of SIGPIPE would end the test program.
TEST_F(Socket, OtherEndThatIsGoneIsAFailureWithoutASignal) {
    theirs.reset();
    EXPECT_FALSE(mbutil::sendAll(ours.value, "x"));
}

TEST_F(Socket, LimitOfTheSocketEndsTheWaitForAReader) {
    const timeval limit = {0, 20000};
    ASSERT_EQ(::setsockopt(ours.value, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit), 0);
    EXPECT_FALSE(mbutil::sendAll(ours.value, std::string(8U << 20, 'x')));
}

}  // namespace
