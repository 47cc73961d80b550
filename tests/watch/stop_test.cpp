// Starting, stopping, running short of things.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <thread>

#include "util/fd.hpp"
#include "watch/watch.hpp"
#include "watch/watch_support.hpp"

namespace {

using mbtest::openDescriptors;
using mbtest::TempDir;
using mbtest::Told;
using mbtest::waitForWatches;
using mbtest::waitUntil;
using mbtest::Watched;
using mbwatch::Watcher;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(WatcherStop, IdleThreadEndsAtOnce) {
    Watched root;
    root.start(1);
    const auto begin = steady_clock::now();
    root.watcher.reset();
    EXPECT_LT(steady_clock::now() - begin, milliseconds(5000));
    EXPECT_EQ(mbtest::watchCount(), 0);
}

TEST(WatcherStop, ResetForgetsTheFoldersAndStopDoesNot) {
    Watched root;
    root.start(1);
    root.watcher.stop();
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(1));
    EXPECT_TRUE(root.told.waitFor(root.folder.write("a", "")));
    root.watcher.reset();
    TempDir other;
    root.watcher.watch(other.path());
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(1));
    root.folder.write("b", "");
    EXPECT_TRUE(root.told.waitFor(other.write("c", "")));
    EXPECT_FALSE(root.told.has(root.folder.at("b")));
}

TEST(WatcherStop, SecondStartDoesNothing) {
    Watched root;
    root.start(1);
    const int descriptors = openDescriptors();
    Told second;
    root.watcher.start(second.callback());
    EXPECT_EQ(openDescriptors(), descriptors);
    root.settle();
    EXPECT_TRUE(second.batches().empty());
}

TEST(WatcherStop, StopWithoutStartAndStartWithoutFoldersAreHarmless) {
    Told told;
    Watcher watcher;
    watcher.stop();
    watcher.reset();
    watcher.start(told.callback());
    watcher.start(nullptr);
    watcher.stop();
    watcher.stop();
}

TEST(WatcherStop, PendingChangesAreDropped) {
    Watched root;
    root.start(1);
    const std::string first = root.folder.write("a", "");
    root.watcher.stop();
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(1));
    root.settle();
    EXPECT_FALSE(root.told.has(first));
}

TEST(WatcherStop, WaitsForACallbackThatRuns) {
    TempDir folder;
    std::atomic<bool> entered{false};
    std::atomic<bool> mayLeave{false};
    std::atomic<bool> left{false};
    Watcher watcher;
    watcher.watch(folder.path());
    watcher.start([&](const std::vector<std::string>&) {
        entered = true;
        EXPECT_TRUE(waitUntil([&] { return mayLeave.load(); }, mbtest::kWatchLimitMs));
        left = true;
    });
    ASSERT_TRUE(waitForWatches(1));
    folder.write("a", "");
    ASSERT_TRUE(waitUntil([&] { return entered.load(); }, mbtest::kWatchLimitMs));
    std::atomic<bool> leftAtStop{false};
    std::thread stopper([&] {
        watcher.stop();
        leftAtStop = left.load();
    });
    mayLeave = true;
    stopper.join();
    EXPECT_TRUE(leftAtStop);
}

TEST(WatcherStop, CallbackThatRunsOutOfMemoryLosesItsBatchOnly) {
    TempDir folder;
    Told told;
    std::atomic<int> calls{0};
    Watcher watcher;
    watcher.watch(folder.path());
    watcher.start([&](const std::vector<std::string>& paths) {
        if (++calls == 1) throw std::bad_alloc();
        told.callback()(paths);
    });
    ASSERT_TRUE(waitForWatches(1));
    folder.write("a", "");
    ASSERT_TRUE(waitUntil([&] { return calls == 1; }, mbtest::kWatchLimitMs));
    EXPECT_TRUE(told.waitFor(folder.write("b", "")));
    EXPECT_FALSE(told.has(folder.at("a")));
}

// With no room for another descriptor, or for one more, or for two; it takes three.
TEST(WatcherStop, StaysOffWhereDescriptorsRunOut) {
    Watched root;
    root.watcher.watch(root.folder.path());
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int open = openDescriptors();
    const int next = mbutil::Fd(::fcntl(0, F_DUPFD_CLOEXEC, 0)).value;  // the lowest that is free
    for (const int room : {0, 1, 2}) {
        const rlimit tight = {static_cast<rlim_t>(next + room), before.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
        root.watcher.start(root.told.callback());
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
        EXPECT_EQ(openDescriptors(), open);
        root.watcher.stop();
    }
    root.watcher.start(root.told.callback());
    EXPECT_TRUE(waitForWatches(1));
    root.settle();
}

// Runs the works side by side until the time is over.
void repeatAtOnce(milliseconds duration, const std::vector<std::function<void(int)>>& works) {
    const auto end = steady_clock::now() + duration;
    std::vector<std::thread> threads;
    for (const auto& work : works)
        threads.emplace_back([&work, end] {
            for (int round = 0; steady_clock::now() < end; ++round) work(round);
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(WatcherStop, RestartsUnderLoadLeakNothing) {
    TempDir folder;
    for (int i = 0; i < 200; ++i) folder.mkdir(std::to_string(i) + "/sub");
    const auto write = [&](int round) {
        folder.write(std::to_string(round % 200) + "/sub/" + std::to_string(round % 10), "x");
        folder.mkdir(std::to_string(round % 200) + "/new");
    };
    const int descriptors = openDescriptors();
    std::atomic<int> batches{0};
    Watcher watcher;
    const auto restart = [&](int round) {
        watcher.reset();
        watcher.watch(folder.path());
        watcher.start([&](const std::vector<std::string>&) { ++batches; });
        if (round % 7 == 0) std::this_thread::sleep_for(milliseconds(round % 5));
    };
    repeatAtOnce(milliseconds(600), {write, restart});
    EXPECT_TRUE(waitUntil([&] { return mbtest::watchCount() > 400; }, mbtest::kWatchLimitMs));
    watcher.stop();
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(WatcherStop, ManyThreadsMayStartAndStopAtOnce) {
    Watched root;
    for (int i = 0; i < 20; ++i) root.folder.mkdir(std::to_string(i));
    const int descriptors = openDescriptors();
    const auto start = [&](int) { root.watcher.start(root.told.callback()); };
    const auto add = [&](int) { root.watcher.watch(root.folder.path()); };
    const auto stop = [&](int) { root.watcher.stop(); };
    const auto reset = [&](int) { root.watcher.reset(); };
    const auto write = [&](int round) { root.folder.write(std::to_string(round % 20) + "/a", ""); };
    repeatAtOnce(milliseconds(600), {start, start, add, stop, stop, reset, write});
    root.watcher.reset();
    EXPECT_EQ(openDescriptors(), descriptors);
    root.start(21);
    root.settle();
}

}  // namespace
