// What a task makes of its CLI's words and end, and what it tells the CLI.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbtest::DispatchRig;
using mbtest::kErrorResult;
using mbtest::kInit;
using mbtest::kResult;
using mbtest::kStayBusy;
using mbtest::Texts;

const std::string kInitLine = R"({"type":"system","subtype":"init","session_id":"s-1"})";
const std::string kResultLine =
    R"({"type":"result","is_error":false,"total_cost_usd":0.25,"result":"all good"})";

std::string turn(const std::string& text) {
    return R"({"type":"user","message":{"role":"user","content":[{"type":"text","text":")" + text +
           "\"}]}}\n";
}

// In place, where no git takes time.
std::string quick(DispatchRig& rig, const Texts& scripts) {
    rig.play(scripts);
    return rig.createInPlace(rig.repo);
}

// With its three threads: all that follows from the end of another one has happened.
bool onlyOneSessionLeft(const mbtest::Possessions& before) {
    return mbtest::waitUntil([&] { return mbtest::openThreads() == before.threads + 3; });
}

TEST(DispatchSession, LifeOfATaskIsToldInOrder) {
    DispatchRig rig;
    const std::string id = quick(rig, {std::string(kInit) + "read\nout heard ${line}\n" + kResult});
    ASSERT_TRUE(rig.settle(id, "done"));
    std::string heard = turn("do it");
    heard.pop_back();
    EXPECT_EQ(rig.feed.of(id),
              (Texts{"queued", "running live", "line " + kInitLine, "line heard " + heard,
                     "line " + kResultLine, "done live", "done"}));
    EXPECT_EQ(rig.input(1), turn("do it"));
    EXPECT_EQ(rig.text(id, "sessionId"), "s-1");
    EXPECT_EQ(rig.task(id)["cost"].asNumber(), 0.25);
    EXPECT_EQ(rig.text(id, "error"), "");
}

TEST(DispatchSession, EventsHaveTheirFieldsAndNoMore) {
    DispatchRig rig;
    const std::string id = quick(rig, {"out plain\nerr oops\n" + std::string(kResult)});
    ASSERT_TRUE(rig.settle(id, "done"));
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.heard(id, "stderr"); }));
    Texts seen;
    for (const mbjson::Json& event : rig.feed.events()) {
        if (event["type"].asString() == "dispatch.state") {
            EXPECT_EQ(event.asObject().size(), 2u);
            EXPECT_EQ(event["task"].asObject().size(), 17u);
        } else if (event["line"].asString() != kResultLine) {
            seen.push_back(event.dump());
        }
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (Texts{R"({"id":")" + id + R"(","line":"plain","type":"dispatch.event"})",
                           R"({"id":")" + id + R"(","text":"oops","type":"dispatch.stderr"})"}));
}

TEST(DispatchSession, InitGivesTheSessionIdWithoutAStateEvent) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {"out {\"type\":\"system\",\"subtype\":\"init\",\"session_id\":\"one\"}\n"
                    "out {\"type\":\"system\",\"subtype\":\"init\",\"session_id\":7}\n"
                    "out {\"type\":\"system\",\"subtype\":\"other\",\"session_id\":\"two\"}\n"
                    "out {\"type\":\"other\",\"subtype\":\"init\",\"session_id\":\"three\"}\n"
                    "out last\n" +
                    std::string(kStayBusy)});
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.heard(id, "last"); }));
    EXPECT_EQ(rig.text(id, "sessionId"), "one");
    EXPECT_EQ(rig.feed.states(id), (Texts{"queued", "running live"}));
}

TEST(DispatchSession, ResultDecidesOfStatusErrorAndCost) {
    struct Case {
        const char* line;
        const char* status;
        const char* error;
        double cost;
    };
    for (const Case& wanted : {
             Case{R"({"type":"result","is_error":true,"result":"no credit"})", "failed",
                  "no credit", 0},
             Case{R"({"type":"result","is_error":true,"result":7,"total_cost_usd":1.5})", "failed",
                  "", 1.5},
             Case{R"({"type":"result","is_error":"true","result":"fine"})", "done", "", 0},
             Case{R"({"type":"result","total_cost_usd":"2"})", "done", "", 0},
             Case{"\xef\xbb\xbf{\"type\":\"result\"} \t", "done", "", 0},
         }) {
        DispatchRig rig;
        const std::string id = quick(rig, {"out " + std::string(wanted.line) + "\n"});
        ASSERT_TRUE(rig.settle(id, wanted.status)) << wanted.line;
        EXPECT_EQ(rig.text(id, "error"), wanted.error) << wanted.line;
        EXPECT_EQ(rig.task(id)["cost"].asNumber(), wanted.cost) << wanted.line;
    }
}

TEST(DispatchSession, LineThatIsNoJsonIsHandedOnAndNoMore) {
    DispatchRig rig;
    const Texts lines = {"{\"type\":\"result\"} x", "{\"type\":\"result\"", "[\"result\"]", "17",
                         "{\"type\":\"result\",\"total_cost_usd\":1e999}"};
    std::string script;
    for (const std::string& line : lines) script += "out " + line + "\n";
    const std::string id = quick(rig, {script + kStayBusy});
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.of(id).size() == 2 + lines.size(); }));
    Texts told = {"queued", "running live"};
    for (const std::string& line : lines) told.push_back("line " + line);
    EXPECT_EQ(rig.feed.of(id), told);
    EXPECT_EQ(rig.status(id), "running");
}

TEST(DispatchSession, WordsOfOtherEncodingsLeaveAsUtf8) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {"raw gr\\xfc\\xdf\\n\nerr \\xe4\nawait " + rig.gate("go") + "\n" + kResult});
    ASSERT_TRUE(mbtest::waitUntil([&] {
        return rig.feed.heard(id, "line gr\u00fc\u00df") && rig.feed.heard(id, "stderr \u00e4");
    }));
    rig.open("go");
    EXPECT_TRUE(rig.settle(id, "done"));
}

TEST(DispatchSession, CliThatDiesWithoutAResultHasFailed) {
    for (const auto& [script, code] : std::map<std::string, std::string>{
             {"exit 3\n", "3"}, {"exit 0\n", "0"}, {"kill 9\nhang\n", "137"}}) {
        DispatchRig rig;
        const std::string id = quick(rig, {kInit + script});
        ASSERT_TRUE(rig.settle(id, "failed"));
        EXPECT_EQ(rig.text(id, "error"), "Claude stopped unexpectedly (exit code " + code + ")");
        EXPECT_EQ(rig.feed.states(id), (Texts{"queued", "running live", "failed live", "failed"}));
    }
}

TEST(DispatchSession, ResultAndExitAtOnceEndByTheResult) {
    DispatchRig rig;
    rig->setMaxRunning(8);
    rig.play({kResult + std::string("exit 1\n"), kErrorResult + std::string("exit 0\n")});
    for (int round = 0; round < 10; ++round) {
        rig.play({kResult + std::string("exit 1\n"), kErrorResult + std::string("exit 0\n")});
        const std::string good = rig.createInPlace(rig.repo), bad = rig.createInPlace(rig.repo);
        ASSERT_TRUE(rig.settle(good, "done"));
        ASSERT_TRUE(rig.settle(bad, "failed"));
        EXPECT_EQ(rig.text(good, "error"), "");
        EXPECT_EQ(rig.text(bad, "error"), "no credit");
        EXPECT_EQ(rig.feed.states(good), (Texts{"queued", "running live", "done live", "done"}));
        EXPECT_EQ(rig.feed.states(bad), (Texts{"queued", "running live", "failed live", "failed"}));
    }
}

// The session gives its callbacks 300 ms before it tells of the exit, so the task hears of that
// among the many lines before the result.
TEST(DispatchSession, ResultBehindASlowPageStillDecides) {
    DispatchRig rig;
    mbdispatch::Manager manager;
    mbtest::Feed feed;
    const std::string cli = rig.home.write(
        "cli", std::string("#!/bin/sh\necho slow\nseq 3000\necho '") + kResultLine + "'\nexit 5\n");
    ::chmod(cli.c_str(), 0755);
    manager.init(
        [&](const mbjson::Json& event) {
            const mbtest::Stopwatch watch;
            const bool slow = event["line"].asString() == "slow";
            EXPECT_TRUE(mbtest::waitUntil([&] { return !slow || watch.ms() > 700; }));
            feed.add(event);
        },
        [&](const std::string&) { return mbtest::onlyCommand(cli); });
    mbdispatch::CreateRequest wanted = rig.request();
    wanted.worktree = false;
    std::string error;
    const std::string id = manager.create(wanted, error).at(0);
    ASSERT_TRUE(mbtest::waitUntil([&] { return feed.states(id).size() == 4; }));
    EXPECT_EQ(feed.states(id), (Texts{"queued", "running live", "done live", "done"}));
    EXPECT_TRUE(feed.heard(id, "line 3000"));
    EXPECT_EQ(manager.list()[0]["error"].asString(), "");
}

TEST(DispatchSession, StopEndsTheCli) {
    DispatchRig rig;
    const std::string id = quick(rig, {rig.reach("up") + kStayBusy});
    ASSERT_TRUE(rig.reached("up"));
    ASSERT_TRUE(rig.stop(id));
    EXPECT_TRUE(mbtest::gone(rig.pidAt("up")));
    EXPECT_EQ(rig.feed.states(id), (Texts{"queued", "running live", "stopped"}));
    EXPECT_EQ(rig.text(id, "error"), "");
    // Of one that neither runs nor waits nothing changes.
    ASSERT_TRUE(rig.stop(id));
    EXPECT_EQ(rig.status(id), "stopped");
    std::string error;
    EXPECT_FALSE(rig->stop("t99-1", error));
    EXPECT_EQ(error, "no such task");
}

TEST(DispatchSession, StopLeavesAFinishedTaskWhatItIs) {
    DispatchRig rig;
    const std::string done = quick(rig, {kResult}), failed = quick(rig, {"exit 1\n"});
    ASSERT_TRUE(rig.settle(done, "done"));
    ASSERT_TRUE(rig.settle(failed, "failed"));
    EXPECT_TRUE(rig.stop(done));
    EXPECT_TRUE(rig.stop(failed));
    EXPECT_EQ(rig.status(done), "done");
    EXPECT_EQ(rig.status(failed), "failed");
    EXPECT_EQ(rig.feed.states(done),
              (Texts{"queued", "running live", "done live", "done", "done"}));
}

TEST(DispatchSession, StopForgetsTheTextThatWaits) {
    DispatchRig rig;
    rig->setMaxRunning(1);
    rig.play({kStayBusy, kResult});
    const std::string busy = rig.createInPlace(rig.repo), waiting = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.stop(waiting));
    ASSERT_TRUE(rig.stop(busy));
    EXPECT_EQ(rig.status(waiting), "stopped");
    EXPECT_EQ(rig.launches(), 1);
}

TEST(DispatchSession, ResultAfterStopStillCounts) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {std::string(kInit) + rig.reach("up") + "await-end\n" + kErrorResult});
    ASSERT_TRUE(rig.reached("up"));
    ASSERT_TRUE(rig.stop(id));
    EXPECT_EQ(rig.status(id), "failed");
    EXPECT_EQ(rig.text(id, "error"), "no credit");
    EXPECT_EQ(rig.feed.states(id), (Texts{"queued", "running live", "stopped", "failed"}));
}

TEST(DispatchSession, FollowUpResumesTheConversation) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {std::string(kInit) + kResult,
                    std::string(kInit) + "expect again\n" + rig.awaitGate("go") + kErrorResult,
                    std::string(kInit) + kResult});
    ASSERT_TRUE(rig.settle(id, "done"));
    ASSERT_TRUE(rig.send(id, "again"));
    EXPECT_EQ(rig.status(id), "running");
    rig.open("go");
    ASSERT_TRUE(rig.settle(id, "failed"));
    EXPECT_EQ(rig.text(id, "error"), "no credit");
    // That result names no cost, so the last one stands.
    EXPECT_EQ(rig.task(id)["cost"].asNumber(), 0.25);
    EXPECT_NE(rig.arguments(2).find("--resume\ns-1\n"), std::string::npos);
    EXPECT_EQ(rig.arguments(1).find("--resume"), std::string::npos);
    EXPECT_EQ(rig.input(2), turn("again"));
    // The next launch takes the error away.
    ASSERT_TRUE(rig.send(id, "and again"));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.text(id, "error"), "");
    EXPECT_EQ(rig.feed.states(id),
              (Texts{"queued", "running live", "done live", "done", "queued", "running live",
                     "failed live", "failed", "queued", "running live", "done live", "done"}));
    EXPECT_EQ(rig.text(id, "sessionId"), "s-1");
}

TEST(DispatchSession, FollowUpGoesToTheCliThatWorks) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {std::string(kInit) + rig.reach("up") + "expect more\n" + kResult});
    ASSERT_TRUE(rig.reached("up"));
    ASSERT_TRUE(rig.send(id, "more"));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.launches(), 1);
    EXPECT_EQ(rig.input(1), turn("do it") + turn("more"));
    EXPECT_EQ(rig.feed.states(id),
              (Texts{"queued", "running live", "running live", "done live", "done"}));
}

// The old CLI takes its time to end, says more while it does, and then ends with a code.
TEST(DispatchSession, OldCliThatIsStillEndingTouchesNothingOfTheFollowUp) {
    const mbtest::Possessions before;
    DispatchRig rig;
    const std::string id =
        quick(rig, {kInit + rig.reach("old") + kResult + "ignore-term\nawait-end\n" +
                        rig.awaitGate("last") + "out late words\n" + kErrorResult + "exit 9\n",
                    std::string(kInit) + rig.reach("new") + "expect finish\n" + kResult});
    ASSERT_TRUE(rig.become(id, "done"));
    ASSERT_TRUE(rig.send(id, "go on"));
    ASSERT_TRUE(rig.reached("new"));
    EXPECT_FALSE(mbtest::gone(rig.pidAt("old")));
    rig.open("last");
    ASSERT_TRUE(mbtest::waitUntil([&] { return mbtest::gone(rig.pidAt("old")); }));
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.heard(id, "no credit"); }));
    EXPECT_TRUE(rig.feed.heard(id, "late words"));
    ASSERT_TRUE(onlyOneSessionLeft(before));
    EXPECT_EQ(rig.status(id), "running");
    EXPECT_TRUE(rig.task(id)["live"].asBool());
    EXPECT_FALSE(mbtest::gone(rig.pidAt("new")));
    ASSERT_TRUE(rig.send(id, "finish"));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.text(id, "error"), "");
    for (const std::string& state : rig.feed.states(id))
        EXPECT_EQ(state.find("failed"), state.npos);
}

// Between the result and the end of its session a task is done and live: the text must not go to a
// CLI that is about to leave. The sender stands at the lock already when the result is told.
TEST(DispatchSession, FollowUpsRightBehindTheResultAreAllAnswered) {
    DispatchRig rig;
    rig->setMaxRunning(8);
    std::atomic<bool> told = false;
    rig.onEvent = [&](const mbjson::Json& event) {
        if (event["task"]["status"].asString() != "done" || told.exchange(true)) return;
        const mbtest::Stopwatch watch;
        EXPECT_TRUE(mbtest::waitUntil([&] { return watch.ms() > 10; }));
    };
    for (int round = 0; round < 12; ++round) {
        told = false;
        rig.play({std::string(kInit) + "read\n" + kResult + "await-end\n"});
        const std::string id = rig.createInPlace(rig.repo);
        ASSERT_TRUE(mbtest::waitUntil([&] { return told.load(); }));
        ASSERT_TRUE(rig.send(id, "again"));
        ASSERT_TRUE(mbtest::waitUntil([&] { return rig.launches() == 2 * (round + 1); }));
        ASSERT_TRUE(rig.settle(id, "done")) << rig.text(id, "error");
        EXPECT_EQ(rig.text(id, "error"), "");
    }
}

TEST(DispatchSession, FollowUpAfterStopIsSafeFromTheOldExit) {
    const mbtest::Possessions before;
    DispatchRig rig;
    const std::string id =
        quick(rig, {kInit + rig.reach("old") + "await-end\n" + rig.awaitGate("end") + "exit 7\n",
                    std::string(kInit) + rig.reach("new") + "expect finish\n" + kResult});
    ASSERT_TRUE(rig.reached("old"));
    std::thread stopping([&] { EXPECT_TRUE(rig.stop(id)); });
    ASSERT_TRUE(rig.become(id, "stopped"));
    ASSERT_TRUE(rig.send(id, "on"));
    ASSERT_TRUE(rig.reached("new"));
    rig.open("end");
    stopping.join();
    ASSERT_TRUE(onlyOneSessionLeft(before));
    EXPECT_EQ(rig.status(id), "running");
    ASSERT_TRUE(rig.send(id, "finish"));
    EXPECT_TRUE(rig.settle(id, "done"));
}

TEST(DispatchSession, FollowUpThatWaitsIsNotLostToALateResult) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {kInit + rig.reach("old") + "await-end\n" + rig.awaitGate("end") + kErrorResult,
                    kStayBusy, std::string(kInit) + "expect once more\n" + kResult});
    const std::string other = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.reached("old"));
    rig->setMaxRunning(1);
    std::thread stopping([&] { EXPECT_TRUE(rig.stop(id)); });
    ASSERT_TRUE(rig.become(id, "stopped"));
    ASSERT_TRUE(rig.send(id, "once more"));
    rig.open("end");
    stopping.join();
    EXPECT_TRUE(rig.feed.heard(id, "no credit"));
    EXPECT_EQ(rig.status(id), "queued");
    ASSERT_TRUE(rig.stop(other));
    EXPECT_TRUE(rig.settle(id, "done"));
}

TEST(DispatchSession, FollowUpThatCannotBeSentSaysWhy) {
    DispatchRig rig;
    const std::string id =
        quick(rig, {kInit + std::string("close in\n") + rig.reach("up") + rig.awaitGate("end")});
    ASSERT_TRUE(rig.reached("up"));
    std::string error;
    EXPECT_FALSE(rig->send(id, "x", error));
    EXPECT_EQ(error, "could not write to the session");
    EXPECT_FALSE(rig->control(id, "{}", error = ""));
    EXPECT_EQ(error, "could not write to the session");
    EXPECT_FALSE(rig->respond(id, "{}", error = ""));
    EXPECT_EQ(error, "could not write to the session");
    EXPECT_FALSE(rig->send("t0-0", "x", error = ""));
    EXPECT_EQ(error, "no such task");
    rig.open("end");
    ASSERT_TRUE(rig.discard(id));
    EXPECT_FALSE(rig->send(id, "x", error = ""));
    EXPECT_EQ(error, "that task is closed");
    const std::string merged = quick(rig, {kResult});
    ASSERT_TRUE(rig.merge(merged));
    EXPECT_FALSE(rig->send(merged, "x", error = ""));
    EXPECT_EQ(error, "that task is closed");
}

TEST(DispatchSession, QuestionOfTheCliGetsItsAnswer) {
    DispatchRig rig;
    const std::string question =
        R"({"type":"control_request","request_id":"q-1","request":{"subtype":"can_use_tool"}})";
    const std::string answer =
        R"({"subtype":"success","request_id":"q-1","response":{"behavior":"allow","updatedInput":{}}})";
    const std::string id = quick(rig, {"read\nout " + question + "\nread\n" + kResult});
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.heard(id, "can_use_tool"); }));
    std::string error;
    EXPECT_TRUE(rig->respond(id, answer, error));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.input(1),
              turn("do it") + R"({"type":"control_response","response":)" + answer + "}\n");
    EXPECT_FALSE(rig->respond(id, answer, error));
    EXPECT_EQ(error, "that task is not running");
    EXPECT_FALSE(rig->respond("t0-0", answer, error = ""));
    EXPECT_EQ(error, "that task is not running");
}

TEST(DispatchSession, ControlRequestReachesTheCli) {
    DispatchRig rig;
    const std::string id = quick(rig, {"read\nread\nout got ${line}\n" + std::string(kResult)});
    std::string error;
    ASSERT_TRUE(rig->control(id, R"({"subtype":"interrupt"})", error));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_TRUE(rig.feed.heard(id, R"(got {"type":"control_request","request_id":"mb-control-)"));
    EXPECT_TRUE(rig.feed.heard(id, R"("request":{"subtype":"interrupt"}})"));
    EXPECT_FALSE(rig->control(id, "{}", error));
    EXPECT_EQ(error, "that task is not running");
    EXPECT_FALSE(rig->control("t0-0", "{}", error = ""));
    EXPECT_EQ(error, "that task is not running");
}

// More than a pipe holds in both directions, and the CLI wants its words taken first.
TEST(DispatchSession, LongPromptAndATalkativeCliDoNotWaitForEachOther) {
    DispatchRig rig;
    const std::string prompt(1000000, 'p');
    rig.play({"big 300000\nread\n" + std::string(kResult)});
    mbdispatch::CreateRequest wanted = rig.request(prompt);
    wanted.worktree = false;
    const std::string id = rig.create(wanted).at(0);
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.input(1), turn(prompt));
}

TEST(DispatchSession, CliThatReadsNothingHoldsNobodyElse) {
    DispatchRig rig;
    rig.play({rig.reach("deaf") + "hang\n", kResult});
    mbdispatch::CreateRequest wanted = rig.request(std::string(1000000, 'p'));
    wanted.worktree = false;
    const std::string deaf = rig.create(wanted).at(0);
    ASSERT_TRUE(rig.reached("deaf"));
    const std::string other = rig.createInPlace(rig.repo);
    EXPECT_TRUE(rig.settle(other, "done"));
    EXPECT_EQ(rig.status(deaf), "running");
    // A further turn waits behind the first, and gives up with it.
    std::thread follower([&] {
        std::string error;
        EXPECT_FALSE(rig->send(deaf, "more", error));
        EXPECT_EQ(error, "could not write to the session");
    });
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.states(deaf).size() == 3; }));
    EXPECT_TRUE(rig.stop(deaf));
    follower.join();
    EXPECT_EQ(rig.status(deaf), "stopped");
}

}  // namespace
