// Many terminals by their ids.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "term/term_support.hpp"

namespace {

using mbtest::NothingLeft;
using mbtest::optionsFor;
using mbtest::Stopwatch;
using Ids = std::vector<std::pair<std::string, std::string>>;

// What all terminals of a manager have told, by id.
struct Journal {
    std::mutex mutex;
    std::map<std::string, std::string> output;
    std::map<std::string, std::vector<int32_t>> codes;

    std::string create(mbterm::Manager& manager, const std::string& command) {
        std::string error;
        const std::string id = manager.create(
            optionsFor(command),
            [this](const std::string& from, const std::string& bytes) {
                const std::lock_guard lock(mutex);
                output[from] += bytes;
            },
            [this](const std::string& from, int32_t code) {
                const std::lock_guard lock(mutex);
                codes[from].push_back(code);
            },
            error);
        EXPECT_NE(id, "") << error;
        return id;
    }
    size_t exits() {
        const std::lock_guard lock(mutex);
        return codes.size();
    }
    bool printed(const std::string& id, const std::string& part) {
        const std::lock_guard lock(mutex);
        return output[id].find(part) != std::string::npos;
    }
};

TEST(TermManager, IdsCountFromOneAndAreNeverUsedAgain) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    EXPECT_EQ(journal.create(manager, "sleep 300"), "term1");
    EXPECT_EQ(journal.create(manager, "sleep 301"), "term2");
    EXPECT_TRUE(manager.kill("term2"));
    EXPECT_EQ(journal.create(manager, "sleep 302"), "term3");
    EXPECT_EQ(manager.list(), (Ids{{"term1", "sleep 300"}, {"term3", "sleep 302"}}));
}

TEST(TermManager, UnknownIdIsToldOrIgnored) {
    mbterm::Manager manager;
    EXPECT_EQ(manager.get("term1"), nullptr);
    EXPECT_FALSE(manager.write("term1", "x"));
    EXPECT_FALSE(manager.kill("term1"));
    manager.resize("term1", 80, 25);
    EXPECT_TRUE(manager.list().empty());
    manager.killAll();
}

TEST(TermManager, OutputAndInputGoByTheId) {
    Journal journal;
    mbterm::Manager manager;
    const std::string first = journal.create(manager, "cat");
    const std::string second = journal.create(manager, "cat");
    EXPECT_TRUE(manager.write(first, "one\n"));
    EXPECT_TRUE(manager.write(second, "two\n"));
    EXPECT_TRUE(mbtest::waitUntil([&] { return journal.printed(first, "one\r\none\r\n"); }));
    EXPECT_TRUE(mbtest::waitUntil([&] { return journal.printed(second, "two\r\ntwo\r\n"); }));
    EXPECT_FALSE(journal.printed(first, "two"));
}

TEST(TermManager, ResizeGoesByTheId) {
    Journal journal;
    mbterm::Manager manager;
    const std::string id = journal.create(manager, "sh -c 'stty -echo; read line; stty size'");
    manager.resize(id, 0, 44);
    EXPECT_TRUE(manager.write(id, "\n"));
    EXPECT_TRUE(mbtest::waitUntil([&] { return journal.printed(id, "44 2\r\n"); }));
}

TEST(TermManager, EndedTerminalStaysUntilItIsKilled) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    const std::string id = journal.create(manager, "sh -c 'exit 9'");
    ASSERT_TRUE(mbtest::waitUntil([&] { return journal.exits() == 1; }));
    EXPECT_EQ(manager.list().size(), 1U);
    EXPECT_TRUE(manager.write(id, "into nothing"));
    manager.resize(id, 10, 10);
    EXPECT_TRUE(manager.kill(id));
    EXPECT_FALSE(manager.kill(id));
    EXPECT_FALSE(manager.write(id, "x"));
    EXPECT_EQ(journal.codes[id], std::vector<int32_t>{9});
}

TEST(TermManager, KilledTerminalTellsItsExitBeforeKillReturns) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    const std::string id = journal.create(manager, "sleep 300");
    EXPECT_TRUE(manager.kill(id));
    EXPECT_EQ(journal.codes[id], std::vector<int32_t>{128 + SIGHUP});
}

TEST(TermManager, KillLetsAStuckWriteGo) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    const std::string id =
        journal.create(manager, "sh -c 'trap \"\" HUP; stty raw -echo; echo ready; sleep 300'");
    ASSERT_TRUE(mbtest::waitUntil([&] { return journal.printed(id, "ready"); }));
    std::atomic<bool> written = false;
    std::thread writer([&] {
        EXPECT_TRUE(manager.write(id, std::string(1 << 20, 'x')));
        written = true;
    });
    EXPECT_TRUE(mbtest::waitUntil([&] { return manager.get(id).use_count() > 2; }));
    EXPECT_FALSE(written);
    EXPECT_TRUE(manager.kill(id));
    writer.join();
    EXPECT_EQ(journal.codes[id], std::vector<int32_t>{128 + SIGKILL});
}

TEST(TermManager, CallbacksMayBeMissing) {
    mbterm::Manager manager;
    std::string error;
    const std::string id = manager.create(optionsFor("echo x"), nullptr, nullptr, error);
    const std::shared_ptr<mbterm::Terminal> terminal = manager.get(id);
    ASSERT_NE(terminal, nullptr);
    EXPECT_TRUE(mbtest::waitUntil([&] { return !terminal->isRunning(); }));
}

TEST(TermManager, FiftyTerminalsAtOnceGetDifferentIdsAndTheirOwnOutput) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    std::mutex mutex;
    std::map<std::string, int> numbers;  // by id
    std::vector<std::thread> threads;
    threads.reserve(5);
    for (int thread = 0; thread < 5; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 10; ++i) {
                const int number = thread * 10 + i;
                const std::string id = journal.create(
                    manager, "sh -c 'echo is " + std::to_string(number) + "; read line; exit " +
                                 std::to_string(number) + "'");
                const std::lock_guard lock(mutex);
                numbers[id] = number;
            }
        });
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(numbers.size(), 50U);
    for (const auto& [id, number] : numbers)
        EXPECT_TRUE(mbtest::waitUntil(
            [&] { return journal.printed(id, "is " + std::to_string(number) + "\r\n"); }, 30000));
    for (const auto& [id, number] : numbers) EXPECT_TRUE(manager.write(id, "\n"));
    EXPECT_TRUE(mbtest::waitUntil([&] { return journal.exits() == 50; }, 30000));
    for (const auto& [id, number] : numbers)
        EXPECT_EQ(journal.codes[id], std::vector<int32_t>{number});
}

TEST(TermManager, KillAllWaitsForFiftyThatIgnoreItNoLongerThanForOne) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    std::set<std::string> ids;
    for (int i = 0; i < 50; ++i)
        ids.insert(journal.create(manager, "sh -c 'trap \"\" HUP; echo ready; exec sleep 300'"));
    for (const std::string& id : ids)
        EXPECT_TRUE(mbtest::waitUntil([&] { return journal.printed(id, "ready"); }, 30000));
    const Stopwatch watch;
    manager.killAll();
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 8000);
    EXPECT_EQ(journal.exits(), 50U);
    for (const std::string& id : ids)
        EXPECT_EQ(journal.codes[id], std::vector<int32_t>{128 + SIGKILL});
    EXPECT_TRUE(manager.list().empty());
}

TEST(TermManager, DestructionEndsAllTerminals) {
    const NothingLeft nothing;
    Journal journal;
    {
        mbterm::Manager manager;
        for (int i = 0; i < 3; ++i) (void)journal.create(manager, "sleep 300");
    }
    EXPECT_EQ(journal.exits(), 3U);
}

// Ids are guessed, so that threads meet on one terminal while it comes and goes.
TEST(TermManager, CreatingWritingResizingAndKillingAtOnceLeavesNothing) {
    const NothingLeft nothing;
    Journal journal;
    mbterm::Manager manager;
    std::atomic<bool> stop = false;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 2; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 40; ++i) {
                const std::string id = journal.create(manager, i % 4 == 0 ? "true" : "cat");
                (void)manager.write(id, "line\n");
                if (i % 3 == 0) continue;  // left to killAll()
                EXPECT_TRUE(manager.kill(id));
            }
        });
    for (int thread = 0; thread < 2; ++thread)
        threads.emplace_back([&] {
            while (!stop)
                for (const auto& [id, command] : manager.list()) {
                    (void)manager.write(id, std::string(5000, 'x') + "\n");
                    manager.resize(id, 90, 30);
                }
        });
    for (int i = 0; i < 2; ++i) threads[static_cast<size_t>(i)].join();
    manager.killAll();
    stop = true;
    for (int i = 2; i < 4; ++i) threads[static_cast<size_t>(i)].join();
    EXPECT_EQ(journal.exits(), 80U);
}

}  // namespace
