// Everything at once, for a few seconds: most of its worth is under the thread sanitizer.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbtest::DispatchRig;
using mbtest::kErrorResult;
using mbtest::kInit;
using mbtest::kResult;
using mbtest::kStayBusy;
using mbtest::Possessions;
using mbtest::Texts;

constexpr int kTestMs = 2500;

// The tasks that the threads hand each other.
class Ids {
public:
    void add(const std::string& id) {
        const std::lock_guard lock(mutex);
        all.push_back(id);
    }
    // One of the latest, a different one for each number; an unknown one while there is none.
    std::string pick(size_t number) const {
        const std::lock_guard lock(mutex);
        if (all.empty()) return "t0-0";
        return all[all.size() - 1 - number % std::min<size_t>(all.size(), 6)];
    }
    size_t count() const {
        const std::lock_guard lock(mutex);
        return all.size();
    }

private:
    mutable std::mutex mutex;
    Texts all;  // guarded by mutex
};

struct Crowd {
    DispatchRig rig;
    Ids ids;
    std::atomic<bool> over = false;
    std::atomic<int> calls = 0;
    std::vector<std::thread> threads;

    // A few rounds for each new task: no more than that is of any interest.
    void add(const std::function<void(size_t round)>& work) {
        threads.emplace_back([this, work] {
            for (size_t round = 0; !over; ++round) {
                work(round);
                ++calls;
                (void)mbtest::waitUntil([&] { return over || round < 3 * ids.count(); });
            }
        });
    }
    void create(bool worktree) {
        mbdispatch::CreateRequest wanted = rig.request();
        wanted.worktree = worktree;
        wanted.tries = 2;
        std::string error;
        for (const std::string& id : rig->create(wanted, error)) ids.add(id);
    }
    // They may fail at any time, and then with words.
    void expectWords(bool succeeded, const std::string& error) {
        EXPECT_NE(succeeded, !error.empty()) << error;
    }
};

void addEverybody(Crowd& crowd) {
    DispatchRig& rig = crowd.rig;
    crowd.add([&](size_t) { crowd.create(false); });
    crowd.add([&](size_t) { crowd.create(true); });
    crowd.add([&](size_t round) {
        std::string error;
        crowd.expectWords(rig->send(crowd.ids.pick(round), "more", error), error);
    });
    crowd.add([&](size_t round) {
        std::string error;
        crowd.expectWords(rig->respond(crowd.ids.pick(round), "{}", error), error);
        error.clear();
        crowd.expectWords(rig->control(crowd.ids.pick(round + 1), "{}", error), error);
    });
    crowd.add([&](size_t round) {
        std::string error;
        crowd.expectWords(rig->stop(crowd.ids.pick(round), error), error);
    });
    crowd.add([&](size_t round) {
        std::string error;
        crowd.expectWords(rig->merge(crowd.ids.pick(round), error), error);
        error.clear();
        crowd.expectWords(!rig->diff(crowd.ids.pick(round), error).isNull(), error);
    });
    crowd.add([&](size_t round) {
        std::string error;
        crowd.expectWords(rig->discard(crowd.ids.pick(round * 5), error), error);
    });
    crowd.add([&](size_t round) {
        rig->setMaxRunning(static_cast<int>(round % 9));
        for (const mbjson::Json all = rig->list(); const mbjson::Json& task : all.asArray())
            EXPECT_EQ(task.asObject().size(), 17u);
    });
}

void expectSoundEnd(Crowd& crowd) {
    const std::set<std::string> known = {"queued",  "running", "done",     "failed",
                                         "stopped", "merged",  "discarded"};
    std::set<std::string> listed, told;
    const mbjson::Json all = crowd.rig->list();
    for (const mbjson::Json& task : all.asArray()) {
        listed.insert(task["id"].asString());
        EXPECT_EQ(known.count(task["status"].asString()), 1u) << task.dump();
        EXPECT_FALSE(task["live"].asBool());
    }
    for (const mbjson::Json& event : crowd.rig.feed.events()) {
        const mbjson::Json& task = event["task"];
        if (task.isNull() || !told.insert(task["id"].asString()).second) continue;
        EXPECT_EQ(task["status"].asString(), "queued") << "the first that is heard of a task";
    }
    EXPECT_EQ(listed, told);
}

TEST(DispatchStress, CreateAnswerStopMergeAndShutDownFromManyThreads) {
    const Possessions before;
    {
        Crowd crowd;
        DispatchRig& rig = crowd.rig;
        rig.play({std::string(kInit) + "note work.txt ${pid}\nread\nout ${line}\n" + kResult,
                  std::string(kInit) + "note work.txt ${pid}\n" + kStayBusy,
                  std::string(kResult) + "exit 0\n", "exit 3\n",
                  std::string(kInit) + "await-end\nerr bye\n" + kErrorResult});
        addEverybody(crowd);
        const mbtest::Stopwatch watch;
        EXPECT_TRUE(mbtest::waitUntil([&] {
            rig.replay();
            return watch.ms() > kTestMs;
        }));
        std::thread second([&] { rig->shutdown(); });
        rig->shutdown();
        second.join();
        crowd.over = true;
        for (std::thread& thread : crowd.threads) thread.join();

        expectSoundEnd(crowd);
        EXPECT_GT(rig.launches(), 5);
        EXPECT_GT(crowd.calls, 100);
        RecordProperty("launches", rig.launches());
        RecordProperty("calls", crowd.calls);
    }
    before.expectUnchanged();
}

}  // namespace
