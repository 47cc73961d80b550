#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/close_range.h>
#include <signal.h>
#include <unistd.h>

// As the program does it: SIGPIPE is ignored, and no descriptor that a test runner left open is
// handed on.
int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    (void)::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
