// Which task is launched when, and with which options.

#include <gtest/gtest.h>

#include <string>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbtest::DispatchRig;
using mbtest::kInit;
using mbtest::kResult;
using mbtest::Texts;

// Statuses in the order of `ids`, a letter each: q(ueued), r(unning), d(one), f(ailed), s(topped).
std::string letters(const DispatchRig& rig, const Texts& ids) {
    std::string all;
    for (const std::string& id : ids) all += rig.status(id).substr(0, 1);
    return all;
}

// So many tasks in place, made one after the other.
Texts tasks(DispatchRig& rig, int count) {
    Texts ids;
    for (int i = 0; i < count; ++i) ids.push_back(rig.createInPlace(rig.repo));
    return ids;
}

// Each launch waits for a word of its own, and has then done its work.
Texts obedient(int count) {
    return Texts(static_cast<size_t>(count), std::string(kInit) + "expect finish\n" + kResult);
}

TEST(DispatchQueue, WaitingTaskStartsWhenASlotIsFree) {
    DispatchRig rig;
    rig.play(obedient(5));
    const Texts ids = tasks(rig, 5);
    EXPECT_EQ(letters(rig, ids), "rrqqq");
    EXPECT_EQ(rig.launches(), 2);
    EXPECT_EQ(rig.feed.states(ids[2]), Texts{"queued"});
    // A result frees a slot,
    ASSERT_TRUE(rig.send(ids[1], "finish"));
    ASSERT_TRUE(rig.become(ids[2], "running"));
    EXPECT_EQ(letters(rig, ids), "rdrqq");
    // and so does stop().
    ASSERT_TRUE(rig.stop(ids[0]));
    EXPECT_EQ(letters(rig, ids), "sdrrq");
    ASSERT_TRUE(rig.stop(ids[4]));
    EXPECT_EQ(letters(rig, ids), "sdrrs");
    EXPECT_EQ(rig.launches(), 4);
    EXPECT_EQ(rig.feed.states(ids[4]), (Texts{"queued", "stopped"}));
}

TEST(DispatchQueue, LessRoomStopsNothingAndMoreLaunchesAtOnce) {
    DispatchRig rig;
    rig.play(obedient(6));
    rig->setMaxRunning(3);
    const Texts ids = tasks(rig, 6);
    EXPECT_EQ(letters(rig, ids), "rrrqqq");
    rig->setMaxRunning(1);
    EXPECT_EQ(letters(rig, ids), "rrrqqq");
    ASSERT_TRUE(rig.send(ids[0], "finish"));
    ASSERT_TRUE(rig.settle(ids[0], "done"));
    ASSERT_TRUE(rig.stop(ids[1]));
    EXPECT_EQ(letters(rig, ids), "dsrqqq");
    rig->setMaxRunning(3);
    EXPECT_EQ(letters(rig, ids), "dsrrrq");
}

TEST(DispatchQueue, LimitIsHeldBetweenOneAndEight) {
    DispatchRig rig;
    EXPECT_EQ(rig->maxRunning(), 2);
    for (const auto& [asked, held] : std::map<int, int>{
             {-1000000, 1}, {0, 1}, {1, 1}, {5, 5}, {8, 8}, {9, 8}, {12, 8}, {2147483647, 8}}) {
        rig->setMaxRunning(asked);
        EXPECT_EQ(rig->maxRunning(), held) << asked;
    }
    rig.play(obedient(9));
    EXPECT_EQ(letters(rig, tasks(rig, 9)), "rrrrrrrrq");
}

TEST(DispatchQueue, FailedLaunchLeavesItsSlotToTheNext) {
    DispatchRig rig;
    rig.base.command = rig.home.at("no such program");
    const Texts ids = tasks(rig, 3);
    EXPECT_EQ(letters(rig, ids), "fff");
    EXPECT_EQ(rig.text(ids[0], "error").substr(0, 31), "The Claude CLI was not found. I");
    EXPECT_EQ(rig.feed.states(ids[2]), (Texts{"queued", "failed"}));
    EXPECT_FALSE(rig.task(ids[0])["live"].asBool());

    // One that failed gets its text with the next launch that works.
    rig.base.command.clear();
    rig.play(obedient(1));
    ASSERT_TRUE(rig.send(ids[0], "finish"));
    ASSERT_TRUE(rig.settle(ids[0], "done"));
    EXPECT_EQ(rig.text(ids[0], "error"), "");
}

TEST(DispatchQueue, WithoutAnyCliATaskSaysSo) {
    mbtest::GitHome home;
    mbtest::Feed feed;
    mbdispatch::Manager manager;
    manager.init([&](const mbjson::Json& event) { feed.add(event); },
                 [](const std::string&) { return mbagent::StartOptions(); });
    mbdispatch::CreateRequest wanted;
    wanted.prompt = "x";
    wanted.directory = home.path();
    wanted.worktree = false;
    std::string error;
    ASSERT_EQ(manager.create(wanted, error).size(), 1u);
    const mbjson::Json tasks = manager.list();
    EXPECT_EQ(tasks[0]["status"].asString(), "failed");
    EXPECT_EQ(tasks[0]["error"].asString(), "the Claude CLI could not be found");
}

TEST(DispatchQueue, TaskTellsTheCliWhatItsOwnIs) {
    DispatchRig rig;
    rig.base.model = "from settings";
    rig.base.permissionMode = "plan";
    rig.base.resume = "somebody else's";
    rig.base.extraArguments = {"--effort", "high"};
    rig.play({std::string("note ") + rig.gate("cwd") + " ${cwd}\n" + kInit + kResult});
    mbdispatch::CreateRequest wanted = rig.request("the prompt");
    wanted.model = "opus";
    wanted.mode = "bypassPermissions";
    const std::string id = rig.create(wanted).at(0);
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(mbtest::slurp(rig.gate("cwd")), rig.text(id, "directory") + "\n");
    const std::string fixed = "--print\n--input-format\nstream-json\n--output-format\nstream-json\n"
                              "--verbose\n--include-partial-messages\n--permission-prompt-tool\n"
                              "stdio\n";
    EXPECT_EQ(rig.arguments(1), fixed + "--permission-mode\nbypassPermissions\n"
                                        "--allow-dangerously-skip-permissions\n--model\nopus\n"
                                        "--effort\nhigh\n");
    wanted.model = "";
    wanted.mode = "acceptEdits";
    wanted.worktree = false;
    const std::string next = rig.create(wanted).at(0);
    ASSERT_TRUE(rig.settle(next, "done"));
    EXPECT_EQ(rig.arguments(2), fixed + "--permission-mode\nacceptEdits\n--model\nfrom settings\n"
                                        "--effort\nhigh\n");
    EXPECT_EQ(mbtest::slurp(rig.gate("cwd")), rig.repo + "\n");
}

TEST(DispatchQueue, FollowUpWaitsInTheOrderOfTheTasks) {
    DispatchRig rig;
    rig->setMaxRunning(1);
    rig.play({std::string(kInit) + kResult, std::string(kInit) + "expect finish\n" + kResult,
              std::string(kInit) + mbtest::kStayBusy});
    const Texts first = tasks(rig, 1);
    ASSERT_TRUE(rig.settle(first[0], "done"));
    Texts ids = tasks(rig, 2);
    ids.insert(ids.begin(), first[0]);
    ASSERT_TRUE(rig.send(ids[0], "once more"));
    EXPECT_EQ(letters(rig, ids), "qrq");
    ASSERT_TRUE(rig.send(ids[1], "finish"));
    // The oldest goes first, although it has come back last.
    ASSERT_TRUE(rig.become(ids[0], "running"));
    EXPECT_EQ(letters(rig, ids), "rdq");
}

TEST(DispatchQueue, TextThatWaitsIsReplacedByALaterOne) {
    DispatchRig rig;
    rig->setMaxRunning(1);
    rig.play({mbtest::kStayBusy, std::string(kInit) + "expect finish\n" + kResult});
    const Texts ids = tasks(rig, 2);
    ASSERT_TRUE(rig.send(ids[1], "no, finish"));
    EXPECT_EQ(rig.feed.states(ids[1]), (Texts{"queued", "queued"}));
    ASSERT_TRUE(rig.stop(ids[0]));
    ASSERT_TRUE(rig.settle(ids[1], "done"));
    EXPECT_EQ(rig.input(2),
              "{\"type\":\"user\",\"message\":{\"role\":\"user\",\"content\":[{\"type\":\"text\","
              "\"text\":\"no, finish\"}]}}\n");
}

}  // namespace
