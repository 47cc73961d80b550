// Everything at once, for the thread sanitizer to look at.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>

#include "index/index.hpp"
#include "index/index_support.hpp"

namespace {

namespace fs = std::filesystem;

using mbindex::Index;
using mbtest::listOf;
using mbtest::OneRoot;
using mbtest::scan;

TEST(IndexStress, ScansAskedForAtOnceDoNotMeet) {
    OneRoot root;
    for (int i = 0; i < 50; ++i)
        root.folder.write("d" + std::to_string(i % 5) + "/" + std::to_string(i), "");
    std::atomic<int> running{0};
    std::atomic<int> done{0};
    std::atomic<bool> met{false};
    const Index::Progress progress = [&](const std::string& phase, int, int) {
        if (phase == "index") met = met || ++running > 1;
        if (phase == "done") --running;
        if (phase == "done") ++done;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 15; ++round) {
                root.index.rescanAsync(progress);
                if (round % 4 == 0) root.index.waitForScan();
            }
        });
    for (std::thread& thread : threads) thread.join();
    root.index.waitForScan();
    EXPECT_FALSE(met);
    EXPECT_EQ(done, 8 * 15);
    EXPECT_FALSE(root.index.statsJson()["scanning"].asBool());
    EXPECT_EQ(root.index.stats().fileCount, 50);
}

TEST(IndexStress, ScansSearchesAndSingleFilesAtOnce) {
    OneRoot root;
    for (int i = 0; i < 300; ++i)
        root.folder.write("d" + std::to_string(i % 20) + "/file" + std::to_string(i), "");
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    const auto repeat = [&](std::function<void(int)> work) {
        threads.emplace_back([&over, work = std::move(work)] {
            for (int round = 0; !over; ++round) work(round);
        });
    };
    repeat([&](int) { (void)root.index.searchFiles("file1", 200); });
    repeat([&](int) { EXPECT_LE(listOf(root.index).size(), 320U); });
    repeat([&](int round) {
        const std::string path = root.folder.write("new/" + std::to_string(round % 20), "x");
        root.index.reindexFile(path);
    });
    repeat([&](int round) {
        root.index.removeFile(root.folder.at("new/" + std::to_string(round % 20)));
        root.index.removeFile(root.folder.at("d" + std::to_string(round % 20)));
    });
    repeat([&](int round) {
        (void)root.index.statsJson().dump();
        if (round % 50 == 0) root.index.setRoots({{"app", root.folder.path()}});
    });
    for (int i = 0; i < 60; ++i) {
        root.index.rescanAsync(nullptr);
        if (i % 3 == 0) root.index.waitForScan();
    }
    over = true;
    for (std::thread& thread : threads) thread.join();
    fs::remove_all(root.folder.at("new"));
    scan(root.index);
    EXPECT_EQ(root.index.stats().fileCount, 300);
}

}  // namespace
