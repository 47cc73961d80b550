#include "dispatch/workers.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "agent/agent_support.hpp"

namespace {

using mbdispatch::Workers;

TEST(DispatchWorkers, JoinWaitsForAllAndForWhatTheyStart) {
    const mbtest::Possessions before;
    std::atomic<int> done = 0;
    {
        Workers workers;
        workers.join();
        for (int i = 0; i < 20; ++i)
            ASSERT_TRUE(workers.start([&] {
                EXPECT_TRUE(workers.start([&] { ++done; }));
                ++done;
            }));
        workers.join();
        EXPECT_EQ(done, 40);
        ASSERT_TRUE(workers.start([&] { ++done; }));
    }
    EXPECT_EQ(done, 41);
    before.expectUnchanged();
}

// What the work holds may need a lock to go away, and start() may be called with that lock held.
TEST(DispatchWorkers, StartDoesNotWaitForWhatAWorkLetsGo) {
    Workers workers;
    std::mutex mutex;
    std::shared_ptr<int> held(new int(1), [&](const int* number) {
        const std::lock_guard lock(mutex);
        delete number;
    });
    {
        const std::lock_guard lock(mutex);
        std::atomic<int> done = 0;
        ASSERT_TRUE(workers.start([held = std::move(held), &done] { ++done; }));
        for (int i = 2; i <= 50; ++i) {
            ASSERT_TRUE(mbtest::waitUntil([&] { return done == i - 1; }));
            ASSERT_TRUE(workers.start([&] { ++done; }));
        }
        ASSERT_TRUE(mbtest::waitUntil([&] { return done == 50; }));
    }
    workers.join();
}

}  // namespace
