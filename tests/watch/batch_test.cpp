// What is told, and when, without a disk and without waiting.

#include "watch/batch.hpp"

#include <gtest/gtest.h>

namespace {

using mbwatch::Batch;
using mbwatch::Clock;
using mbwatch::kMostPaths;
using mbwatch::worthTelling;
using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(WatchBatch, NoiseIsNotWorthTelling) {
    for (const char* path :
         {"/w/.git/objects/aa/bb", "/w/.git", "/w/.git/COMMIT_EDITMSG", "/w/.git/logs/HEAD2",
          "/w/.git/refs", "/w/a.tmp", "/w/.tmp", "/w/a~", "/w/~", "/w/.a.swp",
          "/w/node_modules/a.js", "/w/.git/refs/heads/main.tmp", "/w/.git/index~",
          "/w/node_modules/.git/index", "/w/sub/.git/config"})
        EXPECT_FALSE(worthTelling(path)) << path;
}

TEST(WatchBatch, ChangesOfFilesAndBranchesAre) {
    for (const char* path : {"/w",
                             "/w/a.txt",
                             "/w/.gitignore",
                             "/w/.github/x.yml",
                             "/w/git/x",
                             "/w/.git/refs/heads/main",
                             "/w/.git/refs/tags",
                             "/w/.git/HEAD",
                             "/w/.git/logs/.git/HEAD",
                             "/w/.git/index",
                             "/w/.git/index.lock",
                             "/w/sub/.git/HEAD",
                             "/w/a.tmpx",
                             "/w/a.tmp/b",
                             "/w/~/b",
                             "/w/b.swp.txt",
                             "/w/node_modules",
                             "/w/my_node_modules/a",
                             "/w/x.git",
                             "/w/\xff\n"})
        EXPECT_TRUE(worthTelling(path)) << path;
}

TEST(WatchBatch, WaitsForQuietButNeverLongerThanTheHold) {
    const Clock::time_point start{};
    Batch batch;
    EXPECT_EQ(batch.timeoutMs(start), -1);
    EXPECT_FALSE(batch.due(start + milliseconds(5000)));
    batch.add("/a", start);
    EXPECT_EQ(batch.timeoutMs(start), 220);
    batch.add("/b", start + milliseconds(1200));  // the hold counts from the first
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(1280)), 220);
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(1281)), 219);
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(1499)), 1);
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(1499) + microseconds(500)), 1);
    EXPECT_FALSE(batch.due(start + milliseconds(1499)));
    EXPECT_TRUE(batch.due(start + milliseconds(1500)));
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(9000)), 0);
}

TEST(WatchBatch, IsDueWhenFull) {
    const Clock::time_point start{};
    Batch batch;
    for (size_t i = 1; i < kMostPaths; ++i) batch.add("/" + std::to_string(i), start);
    EXPECT_FALSE(batch.due(start));
    EXPECT_FALSE(batch.full());
    batch.add("/last", start);
    EXPECT_TRUE(batch.due(start));
    EXPECT_TRUE(batch.full());
    EXPECT_EQ(batch.take().size(), 4096U);
}

TEST(WatchBatch, ManyEventsOfOneFileDoNotFillIt) {
    Batch batch;
    for (size_t i = 0; i < 2 * kMostPaths; ++i) batch.add("/a", Clock::time_point{});
    EXPECT_FALSE(batch.full());
    EXPECT_EQ(batch.take().size(), 1U);
}

TEST(WatchBatch, GivesEachPathOnceInByteOrderAndIsEmptyThen) {
    const Clock::time_point start{};
    Batch batch;
    for (const char* path : {"/b", "/b", "/a", "/\xff", "/b", "/B"}) batch.add(path, start);
    EXPECT_EQ(batch.take(), (std::vector<std::string>{"/B", "/a", "/b", "/\xff"}));
    EXPECT_TRUE(batch.empty());
    batch.add("/c", start + milliseconds(2000));  // a new hold begins
    EXPECT_EQ(batch.timeoutMs(start + milliseconds(2000)), 220);
    EXPECT_FALSE(batch.due(start + milliseconds(3000)));
}

}  // namespace
