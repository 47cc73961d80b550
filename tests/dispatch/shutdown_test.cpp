// The end of the manager: what it stops, what it leaves alone and what it no longer tells.

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbtest::DispatchRig;
using mbtest::kInit;
using mbtest::kResult;
using mbtest::kStayBusy;
using mbtest::Possessions;
using mbtest::Texts;

TEST(DispatchShutdown, TasksOfEveryStatusStayAsTheyAre) {
    const Possessions before;
    {
        DispatchRig rig;
        rig.play({kResult, "exit 1\n", kStayBusy, kResult, kResult,
                  kResult + rig.reach("ending") + "ignore-end\n",
                  rig.reach("running") + kStayBusy});
        Texts ids;
        const auto add = [&] { return ids.emplace_back(rig.createInPlace(rig.repo)); };
        ASSERT_TRUE(rig.settle(add(), "done"));
        ASSERT_TRUE(rig.settle(add(), "failed"));
        ASSERT_TRUE(rig.stop(add()));
        ASSERT_TRUE(rig.settle(add(), "done"));
        ASSERT_TRUE(rig.merge(ids.back()));
        ASSERT_TRUE(rig.settle(add(), "done"));
        ASSERT_TRUE(rig.discard(ids.back()));
        // Its session is being ended all the while.
        ASSERT_TRUE(rig.settle(add(), "done"));
        ASSERT_TRUE(rig.reached("ending"));
        rig->setMaxRunning(1);
        ASSERT_TRUE(rig.become(add(), "running"));
        ASSERT_TRUE(rig.reached("running"));
        ASSERT_TRUE(rig.become(add(), "queued"));
        EXPECT_FALSE(mbtest::gone(rig.pidAt("ending")));

        const size_t told = rig.feed.size();
        rig->shutdown();
        EXPECT_TRUE(mbtest::gone(rig.pidAt("ending")));
        EXPECT_TRUE(mbtest::gone(rig.pidAt("running")));
        Texts statuses;
        for (const std::string& id : ids) {
            statuses.push_back(rig.status(id));
            EXPECT_FALSE(rig.task(id)["live"].asBool());
        }
        EXPECT_EQ(statuses, (Texts{"done", "failed", "stopped", "merged", "discarded", "done",
                                   "running", "queued"}));
        EXPECT_EQ(rig.feed.size(), told);
        EXPECT_EQ(rig.launches(), 7);
        rig->shutdown();
        EXPECT_EQ(rig.feed.size(), told);
    }
    before.expectUnchanged();
}

TEST(DispatchShutdown, LastWordsChangeNothingAndAreNotTold) {
    DispatchRig rig;
    rig.play({kInit + rig.reach("up") + "await-end\nout bye\nerr bye\n" + kResult + "exit 3\n"});
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.reached("up"));
    const size_t told = rig.feed.size();
    rig->shutdown();
    EXPECT_EQ(rig.feed.size(), told);
    EXPECT_EQ(rig.status(id), "running");
    EXPECT_EQ(rig.task(id)["cost"].asNumber(), 0);
    EXPECT_EQ(rig.text(id, "error"), "");
}

TEST(DispatchShutdown, NothingIsLaunchedAfterwards) {
    DispatchRig rig;
    rig.play({kResult});
    const std::string done = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.settle(done, "done"));
    rig->shutdown();
    EXPECT_EQ(rig.status(rig.createInPlace(rig.repo)), "queued");
    EXPECT_TRUE(rig.send(done, "more"));
    EXPECT_EQ(rig.status(done), "queued");
    rig->setMaxRunning(8);
    EXPECT_EQ(rig.launches(), 1);
}

TEST(DispatchShutdown, DestructorEndsWhatRuns) {
    const Possessions before;
    {
        DispatchRig rig;
        rig.play({rig.reach("one") + kStayBusy, rig.reach("two") + kStayBusy});
        rig.createInPlace(rig.repo);
        rig.createInPlace(rig.repo);
        ASSERT_TRUE(rig.reached("one"));
        ASSERT_TRUE(rig.reached("two"));
        rig.destroy();
        EXPECT_TRUE(mbtest::gone(rig.pidAt("one")));
        EXPECT_TRUE(mbtest::gone(rig.pidAt("two")));
    }
    before.expectUnchanged();
}

TEST(DispatchShutdown, PromptThatNobodyReadsHoldsNothingUp) {
    const Possessions before;
    {
        DispatchRig rig;
        rig.play({rig.reach("deaf") + "hang\n"});
        mbdispatch::CreateRequest wanted = rig.request(std::string(1000000, 'p'));
        wanted.worktree = false;
        rig.create(wanted);
        ASSERT_TRUE(rig.reached("deaf"));
        rig->shutdown();
        EXPECT_TRUE(mbtest::gone(rig.pidAt("deaf")));
    }
    before.expectUnchanged();
}

TEST(DispatchShutdown, WaitsForASessionThatSomebodyElseIsStopping) {
    DispatchRig rig;
    rig.play(
        {rig.reach("up") + "await-end\n" + rig.reach("ending") + rig.awaitGate("go") + "exit 0\n"});
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.reached("up"));
    std::thread stopping([&] { EXPECT_TRUE(rig.stop(id)); });
    ASSERT_TRUE(rig.reached("ending"));
    std::thread opening([&] { rig.open("go"); });
    rig->shutdown();
    EXPECT_TRUE(mbtest::gone(rig.pidAt("ending")));
    opening.join();
    stopping.join();
}

TEST(DispatchShutdown, NextManagerKnowsNothingOfTheLast) {
    DispatchRig rig;
    const std::string id = rig.finished("note work.txt x\n");
    const std::string folder = rig.text(id, "directory");
    rig.destroy();
    const mbdispatch::Manager next;
    EXPECT_EQ(next.list().dump(), "[]");
    // The work itself stays where it is.
    EXPECT_EQ(mbtest::slurp(folder + "/work.txt"), "x\n");
}

}  // namespace
